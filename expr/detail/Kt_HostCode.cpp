// SPDX-License-Identifier: MIT
#include "expr/detail/Kt_HostCode.h"

#include <algorithm>

#include "classlib/base/Kt_NativeStack.h"
#include "expr/detail/Kt_Evaluator.h"
#include "expr/detail/Kt_ProgramRun.h"
#include "object/Kt_MemoryDoor.h"

namespace kt::detail {

namespace {

constexpr const char16_t* kSource = u"Kt_Expr";

}  // namespace

// One run with the questions that have no answer yet.
template <int kTemps>
class HostRun : public ProgramRun<HostRun<kTemps>, kTemps> {
  using Base = ProgramRun<HostRun<kTemps>, kTemps>;
  friend Base;

 public:
  HostRun(const HostCode& code, Kt_ExprObject& context, Kt_ExprObjInfo* answers)
      : Base(code.program_, &context), code_(code), answers_(answers) {}

 private:
  std::size_t CallIndex(std::int32_t call) const {
    return code_.program_.names.size() + static_cast<std::size_t>(call);
  }
  Kt_ExprObjInfo& CallAnswer(std::int32_t call) { return answers_[CallIndex(call)]; }

  kt_long Ask(const CodeInstr& in) {
    if (in.op == kCodeAskName) {
      Kt_ExprObjInfo& answer = answers_[in.dst];
      if (answer.GetKind() == EXPR_OBJ_NONE) {
        AskName(context_, code_.program_.names[in.dst], answer);
      }
      return kOk;
    }
    Kt_ExprObjInfo& answer = CallAnswer(in.extra);
    if (answer.GetKind() != EXPR_OBJ_NONE) return kOk;
    const HostCode::Call& call = code_.calls_[static_cast<std::size_t>(in.extra)];
    return AskCall(context_, call.name, call.builtin, answer);
  }

  KT_ALWAYS_INLINE const Kt_Variant* ReadName(std::size_t name, Kt_Variant& made) {
    const Kt_ExprObjInfo& answer = answers_[name];
    if (KT_LIKELY(answer.GetKind() == EXPR_OBJ_VAR)) {
      const Kt_Variable* const variable = answer.GetConstObjVar().handle.Get();
      if (KT_LIKELY(variable != nullptr && !variable->GetValue().IsObject())) {
        return &variable->GetValue();
      }
    }
    return ReadOther(name, made);
  }
  KT_NOINLINE const Kt_Variant* ReadOther(std::size_t name, Kt_Variant& made) {
    Kt_ExprStackObj entry;
    entry.Set(answers_[name]);
    entry.SetOpStartIdx(code_.starts_[name]);
    const kt_long code = ReadEntry(context_, entry, made, 0);
    return code == kOk ? &made : this->Fail(code);
  }

  kt_long RunCall(const CodeInstr& in, std::span<const Kt_Variant> args, Kt_Variant& value) {
    const Kt_ExprObjInfo& answer = CallAnswer(in.extra);
    if (answer.GetKind() == EXPR_OBJ_INTFUNC) {
      if (!ChargeTime(Kt_WorkMeter::kUnitsPerCall)) return CheckRun(context_);
      const HostCode::Call& call = code_.calls_[static_cast<std::size_t>(in.extra)];
      const bool is_direct = answer.GetConstIntFunc().handle == call.builtin;
      if (is_direct && CallDirect(call.direct, args, value)) return kOk;
    }
    Kt_ExprStackObj entry;
    entry.Set(answer);
    entry.SetOpStartIdx(code_.starts_[CallIndex(in.extra)]);
    for (const Kt_Variant& arg : args) entry.GetArgs().Add(arg);
    return ReadEntry(context_, entry, value, 0);
  }

  using Base::context_;
  const HostCode& code_;
  Kt_ExprObjInfo* answers_;
};

// While it runs, what it is made of stays.
class HostCode::InUse {
 public:
  explicit InUse(HostCode& code) : code_(code) { ++code_.running_; }
  InUse(const InUse&) = delete;
  InUse& operator=(const InUse&) = delete;
  ~InUse() {
    if (--code_.running_ == 0 && KT_UNLIKELY(code_.is_dropped_)) delete &code_;
  }

 private:
  HostCode& code_;
};

HostCode* HostCode::Make(Kt_Expr& expr) {
  // As the evaluator charges them.
  constexpr kt_long kManyOps = 64;
  constexpr std::int64_t kUnitsPerOp = 64;
  auto code = std::make_unique<HostCode>();
  ExprProgram& program = code->program_;
  program = ExprProgram::Of(expr, {.max_names = kMaxAnswers, .asks = true});
  const std::size_t names = program.names.size();
  if (program.IsEmpty() || !IsOfValues(program)) return nullptr;
  if (names + program.calls.size() > kMaxAnswers) return nullptr;
  for (const Kt_WString& name : program.calls) {
    const Kt_Getter builtin = Kt_ExprObject::GetIntFunc(name.GetText());
    code->calls_.push_back({name, builtin, FindDirectFunc(builtin)});
  }
  code->starts_.resize(names + program.calls.size());
  for (const CodeInstr& in : program.instrs) {
    if (in.op == kCodeAskName) code->starts_[in.dst] = in.extra;
    if (in.op == kCodeAskCall) code->starts_[names + static_cast<std::size_t>(in.extra)] = in.a;
  }
  code->text_ = expr.GetText();
  const kt_long op_count = expr.GetOps().GetCount();
  if (op_count > kManyOps) code->units_ = op_count * kUnitsPerOp;
  return code.release();
}

void HostCode::Drop(HostCode* code) {
  if (code == nullptr) return;
  code->is_dropped_ = true;
  if (code->running_ == 0) delete code;
}

// False when it is to be evaluated in the other form.
KT_ALWAYS_INLINE bool HostCode::RunNumbers(Kt_Variant& value) {
  double read[kMaxAnswers];
  const void* table[kMaxAnswers];
  const std::size_t count = values_.size();
  for (std::size_t at = 0; at < count; ++at) {
    const auto [from, tag] = values_[at];
    table[at] = &read[at];
    if (KT_UNLIKELY(from->GetTag() != tag)) {
      numbers_ = nullptr;
      tries_numbers_ = true;
      return false;
    }
    read[at] = tag == kTagLong ? from->AsLong() : from->AsDouble();
  }
  if (numbers_->GetUnits() != 0 && !ChargeTime(numbers_->GetUnits())) return false;
  const Kt_BoundDouble number = run_numbers_(numbers_.get(), table);
  if (KT_UNLIKELY(number.code != kOk)) return false;
  if (numbers_->GetKind() == NumberCode::Kind::kLong) {
    value.Set(static_cast<kt_long>(number.value));
  } else {
    value.Set(number.value);
  }
  return true;
}

// A run inside of another one leaves alone what that one uses.
kt_long HostCode::Run(Kt_ExprObject& context, Kt_Variant& value, const Kt_Expr& owner) {
  const std::uint64_t version = running_ == 0 ? context.GetNameVersion() : 0;
  if (version == version_ && numbers_ != nullptr && context_.GetObject() == &context &&
      KT_LIKELY(RunNumbers(value))) {
    return kOk;
  }
  return RunAnyValues(context, version, value, owner);
}

kt_long HostCode::RunAnyValues(Kt_ExprObject& context, std::uint64_t version, Kt_Variant& value,
                               const Kt_Expr& owner) {
  const InUse in_use(*this);
  const kt_long code = AtMemoryDoor(&context, kSource, text_, [&] {
    if (!kt_hasstack()) return Report(&context, kSource, kErrTooDeep, text_);
    if (units_ != 0 && !ChargeTime(units_)) return CheckRun(&context);
    if (version == 0) return RunAsking(context, value);
    Keep(context, version);
    const kt_long run_code = RunProgram(context, answers_.data(), value);
    if (run_code == kOk && tries_numbers_) MakeNumbers(context);
    return run_code;
  });
  if (KT_LIKELY(code == kOk)) return kOk;
  value.Clear();
  if (!is_dropped_) owner.PlaceFailure();
  return code;
}

// From now on answers are those of this context as it is.
void HostCode::Keep(Kt_ExprObject& context, std::uint64_t version) {
  if (version == version_ && context_.GetObject() == &context) return;
  version_ = 0;
  answers_.clear();
  answers_.resize(program_.names.size() + program_.calls.size());
  context_.Set(nullptr, &context);
  version_ = version;
  tries_numbers_ = true;
  numbers_ = nullptr;
}

// Asks for every name anew.
kt_long HostCode::RunAsking(Kt_ExprObject& context, Kt_Variant& value) const {
  alignas(Kt_ExprObjInfo) unsigned char memory[kMaxAnswers * sizeof(Kt_ExprObjInfo)];
  auto* const answers = reinterpret_cast<Kt_ExprObjInfo*>(memory);
  std::uninitialized_default_construct_n(answers, starts_.size());
  const struct Destroyer {
    Kt_ExprObjInfo* first;
    std::size_t count;
    ~Destroyer() { std::destroy_n(first, count); }
  } destroyer{answers, starts_.size()};
  return RunProgram(context, answers, value);
}

kt_long HostCode::RunProgram(Kt_ExprObject& context, Answers answers, Kt_Variant& value) const {
  constexpr int kFewTemps = 8;
  if (program_.temp_count <= kFewTemps) {
    return HostRun<kFewTemps>(*this, context, answers).Run(value);
  }
  return HostRun<kMaxTemps>(*this, context, answers).Run(value);
}

// Number code -------------------------------------------------------------------------------------

// For the kinds that the variables have now.
void HostCode::MakeNumbers(Kt_ExprObject& context) {
  tries_numbers_ = false;
  values_.clear();
  const std::size_t name_count = program_.names.size();
  std::vector<NumberCode::Name> names(name_count);
  for (std::size_t name = 0; name < name_count; ++name) {
    // One that was not needed so far.
    if (answers_[name].GetKind() == EXPR_OBJ_NONE) {
      AskName(&context, program_.names[name], answers_[name]);
    }
    if (!TakeNumber(answers_[name], names[name])) return;
  }
  for (std::size_t call = name_count; call < answers_.size(); ++call) {
    if (answers_[call].GetKind() != EXPR_OBJ_INTFUNC) return;
  }
  std::vector<NumberCode::Call> calls;
  for (const Call& call : calls_) calls.emplace_back().builtin = call.direct;
  numbers_ = NumberCode::Make(program_, names, calls);
  if (numbers_ != nullptr && numbers_->GetKind() == NumberCode::Kind::kNumber) numbers_ = nullptr;
  if (numbers_ != nullptr) run_numbers_ = numbers_->GetEntry();
}

// False for what is no variable with a number. A variable that is used twice is read once.
bool HostCode::TakeNumber(const Kt_ExprObjInfo& answer, NumberCode::Name& name) {
  if (answer.GetKind() != EXPR_OBJ_VAR) return false;
  const Kt_Variable* const variable = answer.GetConstObjVar().handle.Get();
  if (variable == nullptr) return false;
  const Kt_Variant& value = variable->GetValue();
  if (!value.IsLong() && !value.IsDouble()) return false;
  auto at = std::find_if(values_.begin(), values_.end(),
                         [&](const Number& known) { return known.value == &value; });
  if (at == values_.end()) at = values_.insert(at, {&value, value.GetTag()});
  name.place = static_cast<std::uint16_t>(at - values_.begin());
  name.kind = value.IsLong() ? NumberCode::Kind::kLong : NumberCode::Kind::kDouble;
  return true;
}

}  // namespace kt::detail
