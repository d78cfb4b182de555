// SPDX-License-Identifier: MIT
//
// The forms of a bound expression but for number code, and the choice among them.
#include "expr/detail/Kt_BoundForm.h"

#include <algorithm>

#include "classlib/base/Kt_NativeStack.h"
#include "expr/detail/Kt_BoundContext.h"
#include "expr/detail/Kt_Evaluator.h"
#include "expr/detail/Kt_ProgramRun.h"
#include "object/Kt_MemoryDoor.h"
#include "object/Kt_RunCharge.h"

namespace kt::detail {

namespace {

using Kind = Kt_Bindings::Kind;
using Places = BoundForm::Places;

constexpr const char16_t* kSource = u"Kt_Expr";

// Hears of errors where the host has no context. Has no state, so threads may share it.
Kt_ExprObject& QuietContext() {
  static Kt_ExprObject quiet(nullptr);
  return quiet;
}

// Functions that ask the context for more than to report a fault.
bool AsksContext(Kt_Getter function) {
  return function == kHandler<&Kt_ExprObject::_eval> ||
         function == kHandler<&Kt_ExprObject::_object> ||
         function == kHandler<&Kt_ExprObject::_DumpDataStatus>;
}

template <class T>
const T& At(const void* place) {
  return *static_cast<const T*>(place);
}

// One evaluation of the compiled form.
template <int kTemps>
class BoundRun : public ProgramRun<BoundRun<kTemps>, kTemps> {
  using Base = ProgramRun<BoundRun<kTemps>, kTemps>;
  friend Base;

 public:
  BoundRun(const BoundForm& form, Places places)
      : Base(form.program, form.context), form_(form), places_(places) {}

 private:
  static kt_long Ask(const CodeInstr&) { return kOk; }  // there are no questions

  KT_ALWAYS_INLINE const Kt_Variant* ReadName(std::size_t at, Kt_Variant& made) {
    const Kt_Bindings::Item& name = *form_.names[at];
    const void* const place = places_[name.place_index];
    switch (name.kind) {
      case Kind::kDouble: made.Set(At<double>(place)); return &made;
      case Kind::kLong: made.Set(At<kt_long>(place)); return &made;
      default: return ReadAny(name, made);
    }
  }
  KT_NOINLINE const Kt_Variant* ReadAny(const Kt_Bindings::Item& name, Kt_Variant& made) {
    const kt_long code = ReadPlace(name, places_, made);
    if (KT_UNLIKELY(code != kOk)) {
      // As a variable of a context that could not be read.
      (void)Report(form_.context, u"kt_exprobj", kErrNoVariable, name.name);
      ReturnFailureAs(code);
      return this->Fail(code);
    }
    (void)ClearReleased(form_.context, made);
    return &made;
  }

  kt_long RunCall(const CodeInstr& in, std::span<const Kt_Variant> args, Kt_Variant& value) {
    if (!ChargeTime(Kt_WorkMeter::kUnitsPerCall)) return CheckRun(form_.context);
    const BoundForm::Call& call = form_.calls[static_cast<std::size_t>(in.extra)];
    const kt_long code = call.bound != nullptr ? CallBound(*call.bound, args, value)
                                               : CallBuiltin(call, args, value);
    return KT_LIKELY(Kt_WorkMeter::CurrentStop() == kOk) ? code : CheckRun(form_.context);
  }
  kt_long CallBuiltin(const BoundForm::Call& call, std::span<const Kt_Variant> args,
                      Kt_Variant& value) {
    if (CallDirect(call.direct, args, value)) return kOk;
    Kt_VariantList list;
    list.Reserve(static_cast<kt_long>(args.size()));
    for (const Kt_Variant& arg : args) list.Add(arg);
    return (form_.context->*call.builtin)(&list, value);
  }

  const BoundForm& form_;
  Places places_;
};

// What Kt_BoundExpr calls ---------------------------------------------------------------------

const BoundForm& Form(const void* self) { return *static_cast<const BoundForm*>(self); }

kt_long EvaluateAny(const BoundForm* form, Places places, Kt_Variant& value) {
  return form->RunGeneral(places, value);
}

Kt_BoundDouble DoubleOfAny(const void* self, Places places) {
  Kt_Variant value;
  const kt_long code = Form(self).RunGeneral(places, value);
  return {value.ToDouble(), code};
}

Kt_BoundDouble DoubleOfNumbers(const void* self, Places places) {
  double value = 0;
  const kt_long code = Form(self).RunNumbers(places, value);
  if (KT_LIKELY(code != NumberCode::kNotSure)) return {value, code};
  return DoubleOfAny(self, places);
}

kt_long EvaluateNumbers(const BoundForm* form, Places places, Kt_Variant& value) {
  double number = 0;
  const kt_long code = form->RunNumbers(places, number);
  if (KT_UNLIKELY(code == NumberCode::kNotSure)) return form->RunGeneral(places, value);
  if (KT_UNLIKELY(code != kOk)) {
    value.Clear();
  } else if (form->numbers->GetKind() == NumberCode::Kind::kLong) {
    value.Set(static_cast<kt_long>(number));
  } else {
    value.Set(number);
  }
  return code;
}

// Nothing but the code.
template <NumberCode::Kind kKind>
kt_long EvaluateSure(const BoundForm* form, Places places, Kt_Variant& value) {
  const double number = form->run_numbers(form->numbers.get(), places).value;
  if constexpr (kKind == NumberCode::Kind::kLong) {
    value.Set(static_cast<kt_long>(number));
  } else {
    value.Set(number);
  }
  return kOk;
}

}  // namespace

kt_long ReadPlace(const Kt_Bindings::Item& name, Places places, Kt_Variant& value) {
  const void* const place = places[name.place_index];
  switch (name.kind) {
    case Kind::kDouble: value.Set(At<double>(place)); return kOk;
    case Kind::kLong: value.Set(At<kt_long>(place)); return kOk;
    case Kind::kText: value.Set(At<Kt_WString>(place)); return kOk;
    case Kind::kValue: value = At<Kt_Variant>(place).Target(); return kOk;
    default: break;
  }
  value.Clear();
  const kt_long code = name.reader(place, value);
  if (value.IsRef()) value = value.Dereference();
  return code;
}

// Choice of the form --------------------------------------------------------------------------

BoundForm::BoundForm(const Kt_Expr& parsed, const Kt_Bindings& bound)
    : expr(parsed), bindings(bound), places(bound.GetPlaceCount()) {
  for (const Binding& item : bindings.GetItems()) {
    if (item.IsPlace()) places[item.place_index] = item.place;
  }
  context = bindings.GetContext() != nullptr ? bindings.GetContext() : &QuietContext();
  program = ExprProgram::Of(expr, {.max_temps = kMaxTemps, .max_names = kMaxNames});
  if (!BindProgram()) program = ExprProgram();
  if (!program.IsEmpty()) MakeNumbers();
}

// False when there is more in it than the compiled form does.
bool BoundForm::BindProgram() {
  if (!IsOfValues(program)) return false;
  for (const Kt_WString& name : program.names) {
    const Binding* const item = bindings.Find(name, false);
    if (item == nullptr || !item->IsPlace()) return false;
    names.push_back(item);
  }
  for (const Kt_WString& name : program.calls) {
    Call call;
    call.bound = bindings.Find(name, true);
    const bool is_asked =
        call.bound != nullptr ? call.bound->kind == Kind::kAsked : bindings.AsksAll();
    call.builtin = Kt_ExprObject::GetIntFunc(name.GetText());
    if (is_asked) return false;
    if (call.bound == nullptr && (call.builtin == nullptr || AsksContext(call.builtin))) {
      return false;
    }
    call.direct = FindDirectFunc(call.builtin);
    calls.push_back(call);
  }
  return true;
}

void BoundForm::MakeNumbers() {
  constexpr std::size_t kMaxPlaces = 0xFFFF;
  const auto is_double = [](const Binding* name) { return name->kind == Kind::kDouble; };
  converts = places.size() > kMaxPlaces || !std::all_of(names.begin(), names.end(), is_double);
  std::vector<NumberCode::Name> kinds;
  for (const Binding* const name : names) {
    if (name->kind > Kind::kValue) return;
    const auto place = converts ? kinds.size() : name->place_index;
    const auto kind = name->kind == Kind::kDouble ? NumberCode::Kind::kDouble
                      : name->kind == Kind::kLong ? NumberCode::Kind::kLong
                                                  : NumberCode::Kind::kNumber;
    kinds.push_back({static_cast<std::uint16_t>(place), kind});
  }
  std::vector<NumberCode::Call> functions;
  for (const Call& call : calls) {
    NumberCode::Call& function = functions.emplace_back();
    if (call.bound == nullptr) {
      function.builtin = call.direct;
    } else {
      function.numbers = call.bound->numbers;
      function.user = call.bound->user;
      function.arg_count = static_cast<std::size_t>(call.bound->least_args);
    }
  }
  numbers = NumberCode::Make(program, kinds, functions);
  // A function of the host may change what was read in advance.
  if (numbers != nullptr && numbers->CallsHost() && converts) numbers = nullptr;
  if (numbers != nullptr) run_numbers = numbers->GetEntry();
}

std::vector<std::size_t> BoundForm::GetUsedPlaces() const {
  std::vector<std::size_t> used;
  if (!program.IsEmpty()) {
    for (const Binding* const name : names) used.push_back(name->place_index);
    return used;
  }
  for (std::size_t place = 0; place < places.size(); ++place) used.push_back(place);
  return used;
}

Kt_BoundExpr::Entry BoundForm::GetEntry() const {
  Kt_BoundExpr::Entry entry{DoubleOfAny, this, places.data(), EvaluateAny, this};
  if (numbers == nullptr) return entry;
  const bool is_bare =
      numbers->IsSure() && !converts && !numbers->CallsHost() && numbers->GetUnits() == 0;
  entry.evaluate_double = is_bare ? run_numbers : DoubleOfNumbers;
  if (is_bare) entry.self = numbers.get();
  switch (numbers->GetKind()) {
    case NumberCode::Kind::kDouble:
      entry.evaluate = is_bare ? EvaluateSure<NumberCode::Kind::kDouble> : EvaluateNumbers;
      break;
    case NumberCode::Kind::kLong:
      entry.evaluate = is_bare ? EvaluateSure<NumberCode::Kind::kLong> : EvaluateNumbers;
      break;
    case NumberCode::Kind::kNumber: break;  // the value says which
  }
  return entry;
}

// Evaluation ----------------------------------------------------------------------------------

// 0 with the value, a code that was reported, or kNotSure.
kt_long BoundForm::RunNumbers(Places at, double& value) const {
  if (numbers->GetUnits() != 0 && KT_UNLIKELY(!ChargeTime(numbers->GetUnits()))) {
    return CheckRun(context);
  }
  const auto run = [&](Places from) {
    const Kt_BoundDouble result = run_numbers(numbers.get(), from);
    value = result.value;
    return result.code;
  };
  if (numbers->CallsHost()) {
    if (!kt_hasstack()) return Report(context, kSource, kErrTooDeep, expr.GetText());
    const kt_long code = AtMemoryDoor(context, kSource, expr.GetText(), [&] { return run(at); });
    if (code != kOk) value = 0;
    return code;
  }
  if (!converts) return run(at);
  double read[kMaxNames];
  const void* table[kMaxNames];
  for (std::size_t name = 0; name < names.size(); ++name) {
    const void* const place = at[names[name]->place_index];
    table[name] = &read[name];
    if (!ReadNumber(*names[name], place, read[name])) return NumberCode::kNotSure;
  }
  return run(table);
}

kt_long BoundForm::RunProgram(Places at, Kt_Variant& value) const {
  constexpr int kFewTemps = 16;
  if (program.temp_count <= kFewTemps) return BoundRun<kFewTemps>(*this, at).Run(value);
  return BoundRun<kMaxTemps>(*this, at).Run(value);
}

kt_long BoundForm::RunEvaluator(Places at, Kt_Variant& value) const {
  BoundContext names_of(*this, at);
  Kt_ExprStackObj entry;
  value.Clear();
  if (const kt_long code = Evaluator(expr, &names_of).Run(entry)) return code;
  return entry.GetKind() == EXPR_OBJ_NONE ? kOk : ReadEntry(&names_of, entry, value, 0);
}

kt_long BoundForm::RunGeneral(Places at, Kt_Variant& value) const {
  const auto is_object = [&](const Binding* name) {
    return name->kind == Kind::kValue && At<Kt_Variant>(at[name->place_index]).IsObject();
  };
  const kt_long code = AtMemoryDoor(context, kSource, expr.GetText(), [&] {
    if (!kt_hasstack()) return Report(context, kSource, kErrTooDeep, expr.GetText());
    const bool is_plain = !program.IsEmpty() && std::none_of(names.begin(), names.end(), is_object);
    return is_plain ? RunProgram(at, value) : RunEvaluator(at, value);
  });
  if (KT_UNLIKELY(code != kOk)) {
    value.Clear();
    expr.PlaceFailure();
  }
  return code;
}

}  // namespace kt::detail
