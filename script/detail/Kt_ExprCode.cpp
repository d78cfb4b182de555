// SPDX-License-Identifier: MIT
//
// Runs the compiled form (Kt_ExprProgram.h) over the variables of a script.
//
// Names are bound to variables once per evaluation, and instructions take their operands by
// reference: reading a variable or an element copies nothing, and pairs of numbers are computed
// inline (KT_OPERATORS). That is safe as long as nothing else runs, since only other code removes
// variables; before a call, or a question to an object, the bound variables are held
// (CodeFrame::Hold).
//
// A name that is no plain variable of the script, or a call that cannot be bound, is found before
// the first instruction; then nothing has been done yet and the evaluator does it all.
//
// Cost: a switch per instruction; a look-up per name and evaluation, which its hint makes a
// comparison. Temps are on the native stack: few for most expressions, since scripts recurse.
#include "script/detail/Kt_ExprCode.h"

#include <new>
#include <utility>

#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_VarInline.h"
#include "object/Kt_ExprStackObj.h"
#include "script/detail/Kt_Interpreter.h"

namespace kt::detail {

namespace {

constexpr const char16_t* kSource = u"Kt_Expr";

bool IsNumber(const Kt_Variant& value) { return value.IsLong() || value.IsDouble(); }

}  // namespace

// The temps and bound variables of one evaluation, on the native stack.
template <int kTemps>
class CodeFrame {
 public:
  CodeFrame(ExprCode& code, Scope& scope)
      : consts_(code.program_.consts.data()), code_(code), scope_(scope) {
    for (std::uint16_t temp = 0; temp < code.program_.temp_count; ++temp)
      new (&Temp(temp)) Kt_Variant;
  }
  CodeFrame(const CodeFrame&) = delete;
  CodeFrame& operator=(const CodeFrame&) = delete;
  ~CodeFrame() {
    for (std::uint16_t temp = 0; temp < code_.program_.temp_count; ++temp) Temp(temp).~Kt_Variant();
    if (is_holding_) {
      for (std::size_t var = 0; var < bound_count_; ++var) vars_[var]->Unref();
    }
  }

  // Before anything runs that may remove variables: calls, and questions to objects.
  void Hold() {
    if (is_holding_) return;
    is_holding_ = true;
    for (std::size_t var = 0; var < bound_count_; ++var) vars_[var]->AddRef();
  }

  // Finds the variables; false when one is not a plain variable of the script.
  bool Bind(const RunState& run) {
    for (ExprCode::Var& var : code_.vars_) {
      Kt_Variable* const found = run.FindVariable(&scope_, var.symbol, var.hint);
      if (KT_UNLIKELY(found == nullptr)) return false;
      vars_[bound_count_++] = found;
    }
    if (!code_.calls_.empty()) Hold();
    return true;
  }

  Kt_Variant& Temp(std::uint16_t temp) { return reinterpret_cast<Kt_Variant*>(temps_)[temp]; }
  Kt_Variable& Var(std::uint16_t operand) { return *vars_[operand - CodeOperand::kNameBase]; }
  const Kt_Variant& Get(std::uint16_t operand) {
    if (operand < CodeOperand::kConstBase) return Temp(operand);
    if (operand < CodeOperand::kNameBase) return consts_[operand - CodeOperand::kConstBase];
    const Kt_Variant& value = Var(operand).GetValue();
    return KT_LIKELY(!value.IsObject()) ? value : CheckedObject(value);
  }
  // An object gives the value of its default property.
  Kt_Variant GetStatic(std::uint16_t operand) {
    Kt_Variant value = Get(operand);
    if (KT_LIKELY(!value.IsObject())) return value;
    Hold();
    Kt_Variant plain;
    return ReadDefaultProp(value, plain) ? plain : Kt_Variant();
  }

 private:
  // A variable whose object was destroyed reads as empty.
  KT_COLD const Kt_Variant& CheckedObject(const Kt_Variant& value) {
    Hold();
    if (value.GetHolder().IsValid()) return value;
    (void)kt::Report(&scope_, u"kt_exprobj", kErrInvalidObject, u"InvalidObject");
    return Kt_Variant::_KtNullVariant;
  }

  const Kt_Variant* consts_;
  ExprCode& code_;
  Scope& scope_;
  std::size_t bound_count_ = 0;
  bool is_holding_ = false;
  Kt_Variable* vars_[ExprCode::kMaxVars];
  alignas(Kt_Variant) unsigned char temps_[kTemps * sizeof(Kt_Variant)];
};

std::shared_ptr<ExprCode> ExprCode::Make(Kt_Expr& expr) {
  auto code = std::make_shared<ExprCode>();
  code->program_ = ExprProgram::Of(expr);
  // From here on the names stand in vars_ and calls_.
  const std::vector<Kt_WString> names = std::exchange(code->program_.names, {});
  const std::vector<Kt_WString> calls = std::exchange(code->program_.calls, {});
  code->vars_.reserve(names.size());
  for (const Kt_WString& name : names) code->vars_.push_back({name, kt_makesymbolW(name)});
  code->calls_.reserve(calls.size());
  for (const Kt_WString& name : calls) code->calls_.emplace_back().name = name;
  code->program_.instrs.shrink_to_fit();
  code->program_.consts.shrink_to_fit();
  return code;
}

// Calls -------------------------------------------------------------------------------------------

bool ExprCode::BindCall(Call& call, RunState& run, Scope& scope) {
  call.func = run.GetScript().GetFunc(call.name);
  call.kind = Call::Kind::kScript;
  if (call.func != nullptr) return true;
  Kt_ExprObjInfo info;
  const int kind = scope.GetMethodType(call.name, info);
  if (info.GetKind() == EXPR_OBJ_EXTAPI && info.GetExtAPI().handle != nullptr) {
    call.kind = Call::Kind::kExtApi;
    call.ext_api = info.GetExtAPI().handle;
    call.ext_context = info.GetExtAPI().context;
    return true;
  }
  if (info.GetKind() != EXPR_OBJ_NONE || kind != kUnknownName) return false;
  call.kind = Call::Kind::kBuiltin;
  call.builtin = Kt_ExprObject::GetIntFunc(call.name.GetText());
  return call.builtin != nullptr;
}

bool ExprCode::BindCalls(RunState& run, Scope& scope) {
  const std::uint64_t version = run.GetScript().GetVersion();
  is_bound_ = true;
  for (Call& call : calls_) {
    if (!BindCall(call, run, scope)) is_bound_ = false;
  }
  bound_version_ = version;
  return is_bound_;
}

// The walk ----------------------------------------------------------------------------------------

template <int kTemps>
kt_long ExprCode::RunIn(RunState& run, Scope& scope, Kt_Variant* result, Target* target,
                        Kt_Variant* base) {
  CodeFrame<kTemps> frame(*this, scope);
  if (KT_UNLIKELY(!frame.Bind(run))) return kUseEvaluator;
  const CodeInstr* const first = program_.instrs.data();
  for (const CodeInstr* in = first;; ++in) {
    kt_long code = kOk;
    switch (in->op) {
#define KT_RUN_OPERATOR(record, code_, token, name, compute)                                 \
  case CodeOp::name:                                                                         \
    code = Compute<Operator::name>(frame.Get(in->a), frame.Get(in->b), frame.Temp(in->dst)); \
    break;
      KT_OPERATORS(KT_RUN_OPERATOR)
#undef KT_RUN_OPERATOR
      case CodeOp::kMove: frame.Temp(in->dst) = frame.Get(in->a); break;
      case CodeOp::kTestAnd:
      case CodeOp::kTestOr: {
        const bool is_true = IsConditionTrue(frame.Get(in->a));
        if (is_true == (in->op == CodeOp::kTestOr)) {
          frame.Temp(in->dst) = kt_long{is_true};
          in = first + in->extra - 1;
        } else if (in->dst != in->a) {
          frame.Temp(in->dst) = frame.Get(in->a);
        }
        break;
      }
      case CodeOp::kStepBefore:
      case CodeOp::kStepAfter: {
        const Kt_Variant old_value = frame.GetStatic(in->a);
        Kt_Variant new_value = CanStep(old_value) ? Stepped(old_value, in->extra) : old_value;
        frame.Var(in->a).SetValue(new_value);
        frame.Temp(in->dst) = in->op == CodeOp::kStepBefore ? new_value : old_value;
        break;
      }
      case CodeOp::kElement: {
        const Kt_Variant& index = frame.Get(in->b);
        const Kt_Variant& base = frame.Var(in->a).GetValue();
        if (KT_LIKELY(index.IsLong() && base.IsList() && index.AsLong() >= 0)) {
          const Kt_Variant* const item = base.ListItem(index.AsLong());
          frame.Temp(in->dst) = item ? *item : Kt_Variant::_KtNullVariant;
          break;
        }
        frame.Hold();
        if (ClearReleased(&scope, frame.Var(in->a).GetValueW())) {
          frame.Temp(in->dst).Clear();
          break;
        }
        code = ReadElement(scope, vars_[in->a - CodeOperand::kNameBase].name, base, index,
                           frame.Temp(in->dst));
        break;
      }
      case CodeOp::kIndex:
        frame.Hold();
        code = ReadElement(scope, program_.consts[static_cast<std::size_t>(in->extra)].ToString(),
                           frame.Get(in->a), frame.Get(in->b), frame.Temp(in->dst));
        break;
      case CodeOp::kRef: frame.Temp(in->dst).SetRef(frame.Var(in->a)); break;
      case CodeOp::kCall:
        code = RunCall(run, scope, calls_[static_cast<std::size_t>(in->extra)],
                       in->b > 0 ? &frame.Temp(in->a) : nullptr, in->b, frame.Temp(in->dst));
        if (KT_UNLIKELY(code != kOk)) return code;
        break;
      case CodeOp::kReturn:
        if (in->a < CodeOperand::kConstBase) {
          *result = std::move(frame.Temp(in->a));
        } else {
          *result = frame.Get(in->a);
        }
        return kOk;
      case CodeOp::kTarget:
        if (target == nullptr) break;
        target->variable = Kt_VariableHold(&frame.Var(in->a));
        target->name = &vars_[in->a - CodeOperand::kNameBase].name;
        ReadIndex(frame.Get(in->b), target->index, target->key);
        return kOk;
      case CodeOp::kAppend: {
        static const Kt_Variant kNoText(u"");
        const Kt_Variant& left = frame.Get(in->a);
        const bool is_text = base != nullptr && left.IsString();
        if (is_text) *base = left;
        code = kt::VarAdd(is_text ? kNoText : left, frame.Get(in->b), frame.Temp(in->dst));
        break;
      }
    }
    if (KT_UNLIKELY(code != kOk)) {
      // Others were reported by what found the fault.
      const CodeOp op = in->op == CodeOp::kAppend ? CodeOp::kAdd : in->op;
      return IsOperator(op) ? kt::Report(&scope, kSource, code, OperatorText(OperatorOf(op)))
                            : code;
    }
  }
}

kt_long ExprCode::ReadElement(Scope& scope, const Kt_WString& name, const Kt_Variant& base,
                              const Kt_Variant& index, Kt_Variant& result) {
  kt_long at = -1;
  Kt_WString key;
  ReadIndex(index, at, key);
  const Kt_Variant held = base.Dereference();  // `base` may be the very place of the result
  Kt_Variant element;
  const kt_long code = ReadElementOf(&scope, name, held, at, key, element);
  result = std::move(element);
  return code;
}

kt_long ExprCode::RunCall(RunState& run, Scope& scope, const Call& call, Kt_Variant* args,
                          int arg_count, Kt_Variant& result) {
  // Nobody is called with what stopped work has left.
  if (const kt_long code = run.ChargeTime(Kt_WorkMeter::kUnitsPerCall, &scope)) return code;
  if (call.kind == Call::Kind::kScript) {
    Kt_Variant value;
    const kt_long code = Interpreter::CallFunc(*call.func, args, arg_count, value);
    result = std::move(value);
    return code != kOk ? code : CheckCallResult(&scope, result);
  }
  const RunState::Args list(run);
  for (int arg = 0; arg < arg_count; ++arg) (*list).Add(args[arg]);
  Kt_Variant value;
  const FailureMark mark;
  const std::uint32_t failures = kt::MemoryFailures();
  const bool is_builtin = call.kind == Call::Kind::kBuiltin;
  const kt_long code =
      is_builtin ? (scope.*call.builtin)(&*list, value)
                 : call.ext_api(call.ext_context ? call.ext_context : &scope, &*list, value);
  kt::PassMemoryFailure(failures);
  result = std::move(value);
  if (KT_LIKELY(code == kOk)) return CheckCallResult(&scope, result);
  return mark.HasNoted(code) ? code : NoteSilentCall(call.name, code);
}

const Kt_Variant* ExprCode::FindOperand(RunState& run, Scope& scope, std::uint16_t operand) {
  if (operand < CodeOperand::kConstBase) return nullptr;
  if (operand < CodeOperand::kNameBase) return &program_.consts[operand - CodeOperand::kConstBase];
  Var& var = vars_[operand - CodeOperand::kNameBase];
  const Kt_Variable* const found = run.FindVariable(&scope, var.symbol, var.hint);
  return found && !found->GetValue().IsObject() ? &found->GetValue() : nullptr;
}

bool ExprCode::StoreElement(RunState& run, Scope& scope, const Kt_Variant& value) {
  const CodeInstr& in = program_.instrs.front();
  if (in.op != CodeOp::kTarget || value.IsRef()) return false;
  const Kt_Variant* const index = FindOperand(run, scope, in.b);
  if (index == nullptr || !index->IsLong()) return false;
  Var& var = vars_[in.a - CodeOperand::kNameBase];
  Kt_Variable* const base = run.FindVariable(&scope, var.symbol, var.hint);
  return base != nullptr && base->GetValue().IsList() &&
         base->GetValueW().ListSet(index->AsLong(), value);
}

// One operator over two plain numbers, such as the condition of a loop.
bool ExprCode::RunSingle(RunState& run, Scope& scope, Kt_Variant& result) {
  const CodeInstr& in = program_.instrs.front();
  if (in.op == CodeOp::kReturn) {
    const Kt_Variant* const operand = FindOperand(run, scope, in.a);
    if (operand != nullptr) result = *operand;
    return operand != nullptr;
  }
  if (in.op > CodeOp::kLessEqual || program_.instrs[1].op != CodeOp::kReturn) return false;
  const Kt_Variant* const left = FindOperand(run, scope, in.a);
  const Kt_Variant* const right = FindOperand(run, scope, in.b);
  if (left == nullptr || right == nullptr || !IsNumber(*left) || !IsNumber(*right)) return false;
  (void)Compute(OperatorOf(in.op), *left, *right, result);  // plain numbers never fail
  return true;
}

// What is done before the code runs: a long one is paid for, calls are bound. 0, or why not to run.
kt_long ExprCode::Prepare(RunState& run, Scope& scope) {
  if (KT_UNLIKELY(program_.instrs.size() > kManyInstrs)) {
    const auto count = static_cast<std::int64_t>(program_.instrs.size());
    if (const kt_long code = run.ChargeTime(count * kUnitsPerInstr, &scope)) return code;
  }
  if (!calls_.empty()) {
    if (bound_version_ != run.GetScript().GetVersion()) BindCalls(run, scope);
    if (!is_bound_) return kUseEvaluator;
  }
  return kOk;
}

kt_long ExprCode::Run(RunState& run, Scope& scope, Kt_Variant& result) {
  if (program_.instrs.size() <= 2 && RunSingle(run, scope, result)) return kOk;
  if (const kt_long code = Prepare(run, scope)) return code;
  return program_.temp_count <= kFewTemps ? RunIn<kFewTemps>(run, scope, &result, nullptr)
                                          : RunIn<kMaxTemps>(run, scope, &result, nullptr);
}

kt_long ExprCode::RunAppend(RunState& run, Scope& scope, Kt_Variant& result, Kt_Variant& base) {
  ExprCode& code = *appending_;
  if (const kt_long failed = code.Prepare(run, scope)) return failed;
  return code.program_.temp_count <= kFewTemps
             ? code.RunIn<kFewTemps>(run, scope, &result, nullptr, &base)
             : code.RunIn<kMaxTemps>(run, scope, &result, nullptr, &base);
}

kt_long ExprCode::RunTarget(RunState& run, Scope& scope, Target& target) {
  if (!program_.has_target) return kUseEvaluator;
  if (!calls_.empty()) {
    if (bound_version_ != run.GetScript().GetVersion()) BindCalls(run, scope);
    if (!is_bound_) return kUseEvaluator;
  }
  return program_.temp_count <= kFewTemps ? RunIn<kFewTemps>(run, scope, nullptr, &target)
                                          : RunIn<kMaxTemps>(run, scope, nullptr, &target);
}

}  // namespace kt::detail
