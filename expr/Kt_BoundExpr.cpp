// SPDX-License-Identifier: MIT
//
// Binding: every name of the expression is looked up here, once, and what cannot be bound is
// refused with the words of the run-time errors.
#include "expr/Kt_BoundExpr.h"

#include <algorithm>
#include <optional>

#include "expr/detail/Kt_BoundBlocks.h"
#include "expr/detail/Kt_BoundContext.h"
#include "expr/detail/Kt_BoundForm.h"
#include "expr/detail/Kt_ExprCompiler.h"
#include "object/Kt_ExprObject.h"
#include "object/Kt_MemoryDoor.h"
#include "object/Kt_RunCharge.h"

using kt::detail::BoundForm;
using Kind = Kt_Bindings::Kind;

// Bindings ----------------------------------------------------------------------------------------

namespace {

bool IsFunction(Kind kind) { return kind == Kind::kNumbersFunc || kind == Kind::kValuesFunc; }

}  // namespace

// A variable and a function may have the same name; what is asked for is both.
const Kt_Bindings::Item* Kt_Bindings::Find(const Kt_WString& name, bool is_call) const {
  const auto found = std::find_if(items_.begin(), items_.end(), [&](const Item& item) {
    return (item.kind == Kind::kAsked || IsFunction(item.kind) == is_call) &&
           item.name.EqualsNoCase(name);
  });
  return found != items_.end() ? &*found : nullptr;
}

Kt_Bindings::Item& Kt_Bindings::Put(const Kt_WString& name, Kind kind) {
  const Item* const known = Find(name, IsFunction(kind));
  Item& item = known != nullptr ? items_[static_cast<std::size_t>(known - items_.data())]
                                : items_.emplace_back();
  const bool keeps_place = known != nullptr && known->IsPlace();
  const std::size_t place_index = keeps_place ? known->place_index : place_count_;
  item = Item();
  item.name = name;
  item.kind = kind;
  item.place_index = place_index;
  if (item.IsPlace() && !keeps_place) ++place_count_;
  return item;
}

Kt_Bindings& Kt_Bindings::PutPlace(const Kt_WString& name, Kind kind, const void* place) {
  Put(name, kind).place = place;
  return *this;
}

Kt_Bindings& Kt_Bindings::Add(const Kt_WString& name, const double* place) {
  return PutPlace(name, Kind::kDouble, place);
}
Kt_Bindings& Kt_Bindings::Add(const Kt_WString& name, const kt_long* place) {
  return PutPlace(name, Kind::kLong, place);
}
Kt_Bindings& Kt_Bindings::Add(const Kt_WString& name, const Kt_Variant* place) {
  return PutPlace(name, Kind::kValue, place);
}
Kt_Bindings& Kt_Bindings::Add(const Kt_WString& name, const Kt_WString* place) {
  return PutPlace(name, Kind::kText, place);
}

Kt_Bindings& Kt_Bindings::Add(const Kt_WString& name, const void* place, Kt_PlaceReader reader) {
  Item& item = Put(name, Kind::kReader);
  item.place = place;
  item.reader = reader;
  return *this;
}

Kt_Bindings& Kt_Bindings::AddFunction(const Kt_WString& name, kt_long args, Kt_NumbersFunc function,
                                      void* user) {
  Item& item = Put(name, Kind::kNumbersFunc);
  item.least_args = item.most_args = args;
  item.numbers = function;
  item.user = user;
  return *this;
}

Kt_Bindings& Kt_Bindings::AddFunction(const Kt_WString& name, kt_long least_args, kt_long most_args,
                                      Kt_ValuesFunc function) {
  Item& item = Put(name, Kind::kValuesFunc);
  item.least_args = least_args;
  item.most_args = most_args;
  item.values = std::move(function);
  return *this;
}

Kt_Bindings& Kt_Bindings::SetContext(Kt_ExprObject* context) {
  context_ = context;
  return *this;
}

Kt_Bindings& Kt_Bindings::Ask(const Kt_WString& name) {
  (void)Put(name, Kind::kAsked);
  return *this;
}

Kt_Bindings& Kt_Bindings::AskAll() {
  asks_all_ = true;
  return *this;
}

// Checks ------------------------------------------------------------------------------------------

namespace {

// Looks at every record of a parsed expression. Answers the code of the first fault, noted.
class BindCheck {
 public:
  BindCheck(const Kt_Expr& expr, const Kt_Bindings& bindings) : expr_(expr), bindings_(bindings) {}

  kt_long Run() const {
    const kt_long state = expr_.GetState();
    if (state == kStateEmpty) return kOk;
    if (state == kStateList) return Refuse(u"[");
    const Kt_ExprOpList& ops = expr_.GetOps();
    for (kt_long at = 0; at < ops.GetCount(); ++at) {
      const kt_long code = Check(at);
      if (code == kOk) continue;
      kt::detail::SetFailureStart(at);
      expr_.PlaceFailure();
      return code;
    }
    return kOk;
  }

 private:
  kt_long Check(kt_long at) const {
    const Kt_ExprOp& op = *expr_.GetOps().GetItem(at);
    switch (op.code) {
      case kOpName: return CheckName(op.text);
      case kOpCall: return expr_.GetState() == kStateTrace ? Refuse(op.text) : CheckCall(op, at);
      case kOpRef: return Refuse(u"ref");
      case kOpPreInc:
      case kOpPostInc: return Refuse(u"++");
      case kOpPreDec:
      case kOpPostDec: return Refuse(u"--");
      default: return kOk;
    }
  }

  static kt_long Refuse(const Kt_WString& what) {
    return kt::NoteCause(kErrBadOperation, Kt_Cause::kNotBound, {what});
  }

  bool CanAsk() const { return bindings_.GetContext() != nullptr; }
  bool IsAnswered(const Kt_Bindings::Item* item) const {
    if (item == nullptr) return bindings_.AsksAll() && CanAsk();
    return item->kind != Kind::kAsked || CanAsk();
  }

  kt_long CheckName(const Kt_WString& name) const {
    if (IsAnswered(bindings_.Find(name, false))) return kOk;
    return Unknown(kErrNoVariable, {name}, name, KnownNames(false));
  }

  kt_long CheckCall(const Kt_ExprOp& op, kt_long at) const {
    const Kt_Bindings::Item* const item = bindings_.Find(op.text, true);
    if (IsAnswered(item)) {
      const bool has_count = item != nullptr && item->kind != Kind::kAsked;
      return has_count ? CheckCount(op, at, item->least_args, item->most_args) : kOk;
    }
    if (op.GetBuiltinRow() >= 0 && item == nullptr) {
      return CheckCount(op, at, Kt_ExprObject::GetIntFuncMap()[op.GetBuiltinRow()].count, -1);
    }
    std::vector<Kt_WString> known = KnownNames(true);
    for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) {
      known.emplace_back(Kt_ExprObject::GetIntFuncMap()[row].name);
    }
    return Unknown(kErrNoMethod, {Kt_WString(), op.text}, op.text, known);
  }

  kt_long CheckCount(const Kt_ExprOp& op, kt_long at, kt_long least, kt_long most) const {
    const kt_long count = kt::detail::CountCallArgs(expr_.GetOps(), at);
    return kt::detail::CheckArgCount(op.text, count, least, most);
  }

  std::vector<Kt_WString> KnownNames(bool are_calls) const {
    std::vector<Kt_WString> names;
    for (const Kt_Bindings::Item& item : bindings_.GetItems()) {
      if (item.kind == Kind::kAsked || IsFunction(item.kind) == are_calls) {
        names.push_back(item.name);
      }
    }
    return names;
  }

  static kt_long Unknown(kt_long code, std::initializer_list<Kt_WString> args,
                         const Kt_WString& name, std::span<const Kt_WString> known) {
    Kt_WString text = kt_filltextW(kt_runtimetextW(code), {args.begin(), args.size()});
    text.Trim();
    return kt::NoteFailure(code, kt::WithHint(text, name, known), name);
  }

  const Kt_Expr& expr_;
  const Kt_Bindings& bindings_;
};

kt_long ParseBound(Kt_Expr& expr, const Kt_WString& text) {
  Kt_WString error;
  const kt_long state = expr.Parse(text, error);
  if (state >= 0 || state == kErrNoMemory) return state == kErrNoMemory ? state : kOk;
  if (const kt_long stop_code = Kt_WorkMeter::CurrentStop()) return stop_code;
  const Kt_WString args[] = {error, expr.GetText()};
  (void)kt::NoteFailure(kErrNotAllowed, kt_filltextW(kt_runtimetextW(kErrNotAllowed), args));
  kt::detail::PlaceFailure(expr.GetText(), expr.GetErrorOffset(), 1);
  return kErrNotAllowed;
}

const std::shared_ptr<const BoundForm>& EmptyForm() {
  static const auto kForm = std::make_shared<const BoundForm>(Kt_Expr(), Kt_Bindings());
  return kForm;
}

}  // namespace

// Bound expressions -------------------------------------------------------------------------------

Kt_BoundExpr::Kt_BoundExpr() : form_(EmptyForm()) { entry_ = form_->GetEntry(); }

const Kt_WString& Kt_BoundExpr::GetText() const { return form_->expr.GetText(); }

kt_long Kt_BoundExpr::Bind(const Kt_WString& text, const Kt_Bindings& bindings) {
  return kt::AtMemoryDoor(bindings.GetContext(), u"Kt_BoundExpr", text, [&] {
    Kt_Expr expr;
    if (const kt_long code = ParseBound(expr, text)) return code;
    if (const kt_long code = BindCheck(expr, bindings).Run()) return code;
    form_ = std::make_shared<const BoundForm>(expr, bindings);
    entry_ = form_->GetEntry();
    return kOk;
  });
}

namespace {

// The evaluations of an expression over arrays, one by one.
class RowByRow {
 public:
  RowByRow(const Kt_BoundExpr& expr, const BoundForm& form, Kt_BoundExpr::Places places,
           const std::ptrdiff_t* strides)
      : expr_(expr),
        places_(places),
        strides_(strides),
        used_(form.GetUsedPlaces()),
        at_(places, places + form.places.size()) {}

  // 0, or the code of the first that failed.
  kt_long Run(std::size_t first, std::size_t rows, double* out) {
    kt_long first_code = kOk;
    for (std::size_t row = first; row < first + rows; ++row) {
      for (const std::size_t place : used_) {
        at_[place] = static_cast<const char*>(places_[place]) +
                     static_cast<std::ptrdiff_t>(row) * strides_[place];
      }
      const Kt_BoundDouble result = expr_.EvaluateDouble(at_.data());
      *out++ = result.value;
      if (KT_UNLIKELY(result.code != kOk && first_code == kOk)) first_code = result.code;
    }
    return first_code;
  }

 private:
  const Kt_BoundExpr& expr_;
  Kt_BoundExpr::Places places_;
  const std::ptrdiff_t* strides_;
  std::vector<std::size_t> used_;
  std::vector<const void*> at_;
};

}  // namespace

kt_long Kt_BoundExpr::EvaluateMany(std::size_t count, Places places, const std::ptrdiff_t* strides,
                                   double* out) const {
  using kt::detail::BoundBlocks;
  constexpr std::size_t kRows = BoundBlocks::kRows;
  RowByRow one_by_one(*this, *form_, places, strides);
  std::optional<BoundBlocks> blocks;
  if (form_->HasBlocks()) blocks.emplace(*form_, places, strides, std::min(count, kRows));
  // A look at the clock for so many; calls are charged by themselves.
  const auto charge = form_->GetUnits() * static_cast<std::int64_t>(kRows);
  kt_long first_code = kOk;
  for (std::size_t first = 0; first < count; first += kRows) {
    if (!kt::ChargeTime(charge)) {
      std::fill(out + first, out + count, 0.0);
      return kt::CheckRun(form_->context);
    }
    const std::size_t rows = std::min(kRows, count - first);
    if (blocks && blocks->Run(first, rows, out + first)) continue;
    const kt_long code = one_by_one.Run(first, rows, out + first);
    if (first_code == kOk) first_code = code;
  }
  return first_code;
}
