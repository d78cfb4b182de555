// SPDX-License-Identifier: MIT
//
// One walk over the operation list with a stack of entries (Kt_ExprStackObj), without recursion of
// its own.
//
// The idea is to read late: a name fills an entry that says where a value is, an indexer or a
// member says more, and the value is read by what needs it. So one walk serves values, targets of
// assignments and references, and a variable is read after everything before its operator has run.
// Grouping was settled by the parser; a reduce marker applies what is pending (Kt_ExprWalk.h).
//
// The left side of && and || decides at the operator whether the right side is walked. A right side
// ends at the closing record of its bracket, or at a comma. So skipping needs no jumps in the list,
// and goes over all operators up to there: `0 && a || b` is 0 and reads neither a nor b.
//
// Cost: a switch and an entry per record; entries come in pooled blocks, so most expressions
// allocate nothing here. A skipped right side costs a look at each of its records.
#include "expr/detail/Kt_Evaluator.h"

#include "classlib/value/Kt_VarInline.h"
#include "expr/Kt_ExprProgram.h"
#include "expr/Kt_ExprUtil.h"
#include "expr/detail/Kt_TraceCalls.h"
#include "object/Kt_ExprColumnSource.h"
#include "object/Kt_ExprNameSource.h"
#include "object/Kt_RunCharge.h"
#include "script/Kt_Script.h"

namespace kt::detail {

namespace {

constexpr const char16_t* kSource = u"Kt_Expr";

Kt_Getter BuiltinOf(const Kt_ExprOp& op) {
  const int row = op.GetBuiltinRow();
  return row < 0 ? nullptr : Kt_ExprObject::GetIntFuncMap()[row].handler;
}

// Values of Kt_ExprStackObj::GetObjStat.
constexpr std::int16_t kArgsClosed = 1;  // the argument list of a call has ended

bool IsCallable(std::int16_t kind) {
  return kind == EXPR_OBJ_SCRIPTFUNC || kind == EXPR_OBJ_INTFUNC || kind == EXPR_OBJ_ARGREF ||
         kind == EXPR_OBJ_METHOD || kind == EXPR_OBJ_EXTAPI;
}

bool IsObjectEntry(std::int16_t kind) {
  return kind == EXPR_OBJ_DATASET || kind == EXPR_OBJ_COMPONENT || kind == EXPR_OBJ_COMPOSIT;
}

Kt_WString OpName(const Kt_ExprOp& op) {
  if (!op.text.IsEmpty()) return op.text;
  Kt_WString name;
  name.Set(GetOpText(op.code));
  return name;
}

Kt_WString MemberOf(const Kt_ExprStackObj& entry) {
  return entry.GetKind() == EXPR_OBJ_METHOD ? entry.GetConstObjMethod().name
                                            : entry.GetConstObjProperty().name;
}

bool IsMember(const Kt_ExprStackObj& entry) {
  return entry.GetKind() == EXPR_OBJ_METHOD || entry.GetKind() == EXPR_OBJ_PROPERTY;
}

// A code that came back from a host or a dataset without a word.
KT_COLD void NoteSilent(const Kt_ExprStackObj& entry, kt_long code) {
  const Kt_WString id = entry.GetObjID();
  if (IsMember(entry)) {
    (void)NoteSilentMember(MemberOf(entry), id, code);
  } else {
    (void)NoteSilentCall(id, code);
  }
}

// Nobody above would report it.
KT_COLD void ReportNoMember(Kt_ExprObject* context, const Kt_ExprStackObj& entry) {
  const Kt_WString name = MemberOf(entry);
  Kt_Result result;
  result.AddMsg(kErrNoMethod, kSource, 0, entry.GetObjID(), name);
  std::vector<Kt_WString> known;
  if (const auto* const source = dynamic_cast<const Kt_ExprNameSource*>(entry.GetComponent())) {
    using Names = Kt_ExprNameSource::Names;
    source->AddNames(entry.GetKind() == EXPR_OBJ_METHOD ? Names::kCalls : Names::kValues, known);
  }
  const Kt_WString text = CauseText(Kt_Cause::kNoMember, {name, entry.GetObjID()});
  (void)ReportResult(context, result, WithHint(text, name, known));
  ReturnFailureAs(kNoMember);
}

// What becomes of the code of an entry that could not be read or set; see ReadEntry.
KT_COLD kt_long AfterFailure(Kt_ExprObject* context, const Kt_ExprStackObj& entry, kt_long code,
                             const FailureMark& mark) {
  if (code == kNoMember && IsMember(entry)) {
    ReportNoMember(context, entry);
  } else if (!mark.HasNoted(code)) {
    NoteSilent(entry, code);
  }
  SetFailureStart(entry.GetOpStartIdx());
  if (entry.GetKind() == EXPR_OBJ_METHOD && code == kObjectGone && context != nullptr) {
    const Kt_Object* const container = context->GetContainer();
    const Kt_Object* const component = entry.GetComponent();
    if (container && component && container->IsParent(component)) {
      ReturnFailureAs(kAbort);
      return kAbort;
    }
  }
  return code;
}

// A value in a message: its text, cut where it gets long.
KT_COLD Kt_WString NameOfValue(const Kt_Variant& value) {
  constexpr kt_long kMaxShown = 40;
  if (value.IsList()) return u"the value";
  const Kt_WString text = value.ToString();
  Kt_WString shown = text.Mid(0, kMaxShown);
  if (!value.IsString()) return shown;
  return u"'" + shown + (text.GetLength() > kMaxShown ? u"...'" : u"'");
}

const char16_t* KindOfValue(const Kt_Variant& value) {
  struct Kind {
    Kt_Tag tag;
    const char16_t* text;
  };
#define KT_KIND_ROW(tag, text) {tag, text},
  static constexpr Kind kKinds[] = {KT_VALUE_KINDS(KT_KIND_ROW)};
#undef KT_KIND_ROW
  for (const Kind& kind : kKinds) {
    if (kind.tag == value.GetTag()) return kind.text;
  }
  return u"a value";
}

// The message about a member that a plain value does not have.
KT_COLD Kt_WString NoMemberText(const Kt_Variant& value, const Kt_WString& member) {
  if (value.IsEmpty()) return CauseText(Kt_Cause::kNullMember, {member});
  return CauseText(Kt_Cause::kValueMember, {NameOfValue(value), KindOfValue(value), member});
}

}  // namespace

Kt_WString NameOfCallBefore(const Kt_ExprOpList& ops, kt_long at) {
  if (at < 1 || at >= ops.GetCount() || ops.GetItem(at - 1)->code != kOpParenEnd) return {};
  const auto name = ops.GetItem(at - 1)->number.bits - 1;  // before the '('
  if (name < 0) return {};
  const Kt_ExprOp& op = *ops.GetItem(static_cast<kt_long>(name));
  return op.code == kOpCall || op.code == kOpMethod ? op.text : Kt_WString();
}

kt_long ReadEntry(Kt_ExprObject* context, Kt_ExprStackObj& entry, Kt_Variant& value, int by_ref) {
  const FailureMark mark;
  const kt_long code = entry.GetObjValue(context, value, by_ref);
  return KT_LIKELY(code == kOk) ? kOk : AfterFailure(context, entry, code, mark);
}

kt_long Evaluator::Run(Kt_ExprStackObj& result) {
  // Long expressions cost by their length; others are paid for with the statement.
  constexpr kt_long kManyOps = 64;
  constexpr std::int64_t kUnitsPerOp = 64;
  if (KT_UNLIKELY(ops_.GetCount() > kManyOps) && !kt::ChargeTime(ops_.GetCount() * kUnitsPerOp)) {
    return kt::CheckRun(context_);
  }
  stack_.Top().SetOpStartIdx(0);
  kt_long code = kOk;
  for (at_ = 0; at_ < ops_.GetCount() && code == kOk; ++at_) {
    const Kt_ExprOp& op = *ops_.GetItem(at_);
    code = Step(op);
    if (op.code == kOpEnd) break;
  }
  result.SetOpCode(kOpEnd);
  result.SetObject(&stack_.Bottom());
  return code;
}

kt_long Evaluator::Constant(const Kt_Variant& value) {
  stack_.Top().SetValueType(nullptr, value);
  return kOk;
}

kt_long Evaluator::Ref(const Kt_ExprOp& op) {
  if (stack_.Top().GetKind() != EXPR_OBJ_NONE) return Misplaced(op);
  stack_.Top().SetArgReference();
  return kOk;
}

kt_long Evaluator::Misplaced(const Kt_ExprOp& op) {
  return kt::Report(context_, kSource, kErrBadOperation, OpName(op));
}

// Names -------------------------------------------------------------------------------------------

namespace {

// A context may answer a kind without the handle: then the handle is asked for by name.
void FillByKind(Kt_ExprObject* context, int kind, const Kt_WString& name, Kt_ExprObjInfo& entry) {
  switch (kind) {
    case EXPR_OBJ_VAR: return entry.SetVarType(context, name, nullptr);
    case EXPR_OBJ_DATASET:
      return entry.SetDataset(kt::ToExprObject(context->GetChildDataset(name)));
    case EXPR_OBJ_COMPONENT:
      return entry.SetComponent(Kt_ExprObject::From(context->GetComponent(name)));
    case EXPR_OBJ_COMPOSIT: return entry.SetComposit(context->GetChildContext(name));
    default: return entry.SetAutoVar(context, name);
  }
}

void BindScriptFunc(Kt_ExprObject* context, const Kt_WString& name, Kt_ExprObjInfo& entry) {
  Kt_ScriptFunc* func = nullptr;
  for (Kt_ExprObject* scope = context; scope != nullptr && func == nullptr;
       scope = scope->GetParentCtx()) {
    if (Kt_Script* const script = scope->GetScript()) func = script->GetFunc(name);
  }
  entry.SetScriptFunc(context, name, func);
}

// A built-in function, a trace call, or a method of the context's own container.
kt_long BindPlainCall(Kt_ExprObject* context, const Kt_WString& name, Kt_Getter builtin,
                      Kt_ExprObjInfo& entry) {
  if (builtin != nullptr) {
    entry.SetIntFunc(context, name, builtin);
    return kOk;
  }
  if (const Kt_ExtApi trace = FindTraceCall(name)) {
    entry.SetExtAPI(context, name, trace);
    return kOk;
  }
  Kt_ExprObject* const container = context ? context->GetSelfContainer() : nullptr;
  Kt_Getter method = nullptr;
  if (container != nullptr && container->GetMethodInfo(name, method) != 0) {
    entry.SetObjMethod(container, name, method);
    return kOk;
  }
  return kt::Report(context, kSource, kErrNoMethod, context ? context->GetID() : Kt_WString(),
                    name);
}

}  // namespace

void AskName(Kt_ExprObject* context, const Kt_WString& name, Kt_ExprObjInfo& entry) {
  const int kind = context ? context->GetVarType(name, entry) : kUnknownName;
  if (entry.GetKind() == EXPR_OBJ_NONE) FillByKind(context, kind, name, entry);
}

kt_long AskCall(Kt_ExprObject* context, const Kt_WString& name, Kt_Getter builtin,
                Kt_ExprObjInfo& entry) {
  const int kind = context ? context->GetMethodType(name, entry) : kUnknownName;
  if (entry.GetKind() != EXPR_OBJ_NONE) return kOk;
  switch (kind) {
    case EXPR_OBJ_METHOD: {
      Kt_Getter method = nullptr;
      (void)context->GetMethodInfo(name, method);
      entry.SetObjMethod(context, name, method);
      return kOk;
    }
    case EXPR_OBJ_SCRIPTFUNC: BindScriptFunc(context, name, entry); return kOk;
    default: return BindPlainCall(context, name, builtin, entry);
  }
}

kt_long Evaluator::Name(const Kt_ExprOp& op) {
  Kt_ExprStackObj& top = stack_.Top();
  if (KT_UNLIKELY(top.GetKind() != EXPR_OBJ_NONE)) {
    return kt::Report(context_, kSource, kErrEntryInUse, OpName(op));
  }
  AskName(context_, op.text, top);
  return kOk;
}

kt_long Evaluator::Call(const Kt_ExprOp& op) {
  Kt_ExprStackObj& top = stack_.Top();
  if (top.GetKind() != EXPR_OBJ_NONE) {
    return kt::Report(context_, kSource, kErrEntryInUse, OpName(op));
  }
  return AskCall(context_, op.text, BuiltinOf(op), top);
}

// Members -----------------------------------------------------------------------------------------

namespace {

// Asks the object in the entry, which keeps its hold. What the object does not know in advance is
// bound by name and asked for when it is read.
void BindMember(const Kt_ExprOp& op, Kt_ExprStackObj& top) {
  Kt_ExprObject* const object = top.GetComponent();
  Kt_Getter get = nullptr;
  Kt_Setter set = nullptr;
  int flags = 0;
  if (op.code == kOpMethod) {
    if (object != nullptr) (void)object->GetMethodInfo(op.text, get);
    return top.SetObjMethod(nullptr, op.text, get);
  }
  if (object == nullptr) return top.SetObjProp(nullptr, op.text, 0, nullptr, nullptr);
  if (object->GetPropertyInfo(op.text, flags, get, set) != 0) {
    return top.SetObjProp(nullptr, op.text, flags, get, set);
  }
  const auto* const columns = dynamic_cast<Kt_ExprColumnSource*>(object);
  if (columns != nullptr && columns->HasData()) {
    const kt_long col = columns->FindColumn(op.text);
    if (col >= 0) return top.SetColumn(nullptr, op.text, col);
  }
  if (Kt_ExprObject* const component = Kt_ExprObject::From(object->GetComponent(op.text))) {
    return top.SetComponent(component);
  }
  if (Kt_ExprObject* const child = object->GetChildContext(op.text)) {
    return top.SetComposit(child);
  }
  top.SetObjProp(nullptr, op.text, 0, nullptr, nullptr);
}

}  // namespace

// Reads the entry in place: it becomes an object entry or a plain value.
kt_long ReadAsEntry(Kt_ExprObject* context, Kt_ExprStackObj& entry) {
  Kt_Variant value;
  if (const kt_long code = ReadEntry(context, entry, value, 0)) return code;
  if (!value.IsObject()) {
    entry.SetValueType(context, value);
    return kOk;
  }
  const Kt_ObjectHolder hold(value.GetHolder());
  return entry.FromObject(context, &hold);
}

namespace {

// The entry has no context of its own: it may be read when the one in hand has gone.
bool BindBuiltin(const Kt_ExprOp& op, const Kt_Variant& first_arg, Kt_ExprStackObj& entry) {
  const Kt_Getter builtin = BuiltinOf(op);
  if (builtin == nullptr) return false;
  entry.ClearValue();
  entry.SetIntFunc(nullptr, op.text, builtin);
  entry.GetArgs().Add(first_arg);
  return true;
}

kt_long MemberOfValue(Kt_ExprObject* context, const Kt_Expr& expr, const Kt_ExprOp& op,
                      const Kt_Variant& value, Kt_ExprStackObj& entry) {
  if (BindBuiltin(op, value, entry)) return kOk;
  const Kt_WString text = NoMemberText(value, op.text);
  if (op.code == kOpMember) return NoteFailure(kFailed, text, op.text);
  Kt_Result result;
  result.AddMsg(kErrNoMethod, kSource, 0, expr.GetText(), Kt_WString());
  return ReportResult(context, result, text, op.text);
}

kt_long MemberOfColumn(Kt_ExprObject* context, const Kt_ExprOp& op, Kt_ExprStackObj& entry) {
  if (op.GetBuiltinRow() >= 0) {
    Kt_Variant value;
    if (const kt_long code = ReadEntry(context, entry, value, 0)) return code;
    (void)BindBuiltin(op, value, entry);
    return kOk;
  }
  if (op.code == kOpMethod) {
    return kt::Report(context, kSource, kErrNoMethod, u"COLUMN", op.text);
  }
  entry.SetColumnProp(op.text);
  return kOk;
}

// The entry becomes the member of what it stands for.
kt_long MemberOf(Kt_ExprObject* context, const Kt_Expr& expr, const Kt_ExprOp& op,
                 Kt_ExprStackObj& entry) {
  if (entry.GetKind() == EXPR_OBJ_COLUMN) return MemberOfColumn(context, op, entry);
  if (!IsObjectEntry(entry.GetKind())) {
    if (const kt_long code = ReadAsEntry(context, entry)) return code;
  }
  if (!IsObjectEntry(entry.GetKind())) {
    const Kt_Variant value = entry.GetKind() == EXPR_OBJ_VALUE ? entry.GetValue() : Kt_Variant();
    return MemberOfValue(context, expr, op, value, entry);
  }
  BindMember(op, entry);
  return kOk;
}

}  // namespace

kt_long Evaluator::Member(const Kt_ExprOp& op) {
  return MemberOf(context_, expr_, op, stack_.Top());
}

// Operators ---------------------------------------------------------------------------------------

kt_long Evaluator::Operator(const Kt_ExprOp& op) {
  Kt_ExprStackObj& top = stack_.Top();
  if (op.code == kOpParen && top.GetKind() != EXPR_OBJ_NONE &&
      (!IsCallable(top.GetKind()) || top.GetObjStat() == kArgsClosed)) {
    return Misplaced(op);
  }
  if (op.code == kOpAnd || op.code == kOpOr) {
    bool skipped = false;
    if (const kt_long code = Logical(op, skipped)) return code;
    if (skipped) return kOk;
  }
  top.SetOpCode(op.code);
  if (KT_UNLIKELY(stack_.Depth() >= kMaxExprDepth)) {
    return kt::Report(context_, kSource, kErrTooDeep, u"expression");
  }
  stack_.Push(at_ + 1);
  return kOk;
}

// The left side of && and || decides by its integer value whether the right side is walked at all.
kt_long Evaluator::Logical(const Kt_ExprOp& op, bool& skipped) {
  Kt_ExprStackObj& top = stack_.Top();
  Kt_Variant value;
  if (const kt_long code = ReadEntry(context_, top, value, 0)) return code;
  const bool is_true = IsConditionTrue(value);
  skipped = is_true == (op.code == kOpOr);
  if (skipped) {
    top.SetValueType(context_, Kt_Variant(kt_long{is_true}));
    SkipRightOperand();
    return kOk;
  }
  if (!value.IsObject()) {
    top.SetValueType(context_, value);
    return kOk;
  }
  const Kt_ObjectHolder hold(value.GetHolder());
  return top.FromObject(context_, &hold);
}

void Evaluator::SkipRightOperand() {
  kt_long open = 0;
  for (kt_long next = at_ + 1; next < ops_.GetCount(); ++next) {
    const std::int16_t code = ops_.GetItem(next)->code;
    if (IsOpener(code)) {
      ++open;
      continue;
    }
    const bool is_closer = code == kOpParenEnd || code == kOpBracketEnd;
    if (code == kOpEnd || (open == 0 && (is_closer || code == kOpComma))) {
      at_ = next - 1;  // the walk goes on with the closing record
      return;
    }
    if (is_closer) --open;
  }
}

// Applies the operator that is pending below the top entry; its result takes the place of both.
kt_long Evaluator::Apply() {
  Kt_ExprStackObj& left = stack_.Below();
  const std::int16_t code = left.GetOpCode();
  if (code == kOpPreInc) return ApplyPrefixStep(1);
  if (code == kOpPreDec) return ApplyPrefixStep(-1);
  Kt_Variant left_value;
  Kt_Variant right_value;
  if (const kt_long failed = ReadEntry(context_, left, left_value, 0)) return failed;
  if (const kt_long failed = ReadEntry(context_, stack_.Top(), right_value, 0)) return failed;
  left.ClearValue();  // a text that only this value held can now be appended to in place
  const auto op = FindOperator(code);
  const kt_long failed = op ? Compute(*op, left_value, right_value, left_value) : kErrBadOperation;
  left.SetValueType(context_, left_value);
  left.SetOpCode(0);
  stack_.Pop();
  if (KT_LIKELY(failed == kOk)) return kOk;
  Kt_WString name;
  name.Set(GetOpText(code));
  return kt::Report(context_, kSource, failed, name);
}

// Reads what the top entry stands for and stores the next or previous value there; values that
// have none stay as they are.
kt_long Evaluator::StepEntry(kt_long step, Kt_Variant& old_value, Kt_Variant& new_value) {
  Kt_ExprStackObj& top = stack_.Top();
  const std::int16_t kind = top.GetKind();
  if (IsCallable(kind) && kind != EXPR_OBJ_METHOD && kind != EXPR_OBJ_ARGREF) {
    if (const kt_long code = ReadAsEntry(context_, top)) return code;  // a call runs once
  }
  (void)top.GetStaticValue(context_, old_value);
  old_value = old_value.Dereference();
  new_value = old_value;
  if (!CanStep(old_value)) return kOk;
  new_value = Stepped(old_value, step);
  const FailureMark mark;
  const kt_long code = top.SetObjValue(context_, new_value);
  return KT_LIKELY(code == kOk) ? kOk : AfterFailure(context_, top, code, mark);
}

kt_long Evaluator::ApplyPrefixStep(kt_long step) {
  Kt_Variant old_value;
  Kt_Variant value;
  if (const kt_long code = StepEntry(step, old_value, value)) {
    if (code != kFailed) return code;
    return kt::Report(context_, kSource, kErrBadOperation, step > 0 ? u"++" : u"--");
  }
  stack_.Below().SetValueType(context_, value);
  stack_.Below().SetOpCode(0);
  stack_.Pop();
  return kOk;
}

// Gives the old value and stores the new one at once.
kt_long Evaluator::Postfix(const Kt_ExprOp& op) {
  Kt_Variant old_value;
  Kt_Variant new_value;
  if (const kt_long code = StepEntry(op.code == kOpPostInc ? 1 : -1, old_value, new_value)) {
    return code == kFailed ? Misplaced(op) : code;
  }
  stack_.Top().SetValueType(context_, old_value);
  return kOk;
}

// Closing records ---------------------------------------------------------------------------------

kt_long Evaluator::CollectArg() {
  Kt_ExprStackObj& call = stack_.Below();
  Kt_Variant value;
  const int by_ref = call.GetKind() == EXPR_OBJ_ARGREF ? 1 : 0;
  if (const kt_long code = ReadEntry(context_, stack_.Top(), value, by_ref)) return code;
  if (value.IsRef()) {
    call.GetArgs().AddRefVar(value);
  } else {
    call.GetArgs().Add(value);
  }
  return kOk;
}

kt_long Evaluator::CloseParen(const Kt_ExprOp& op) {
  if (stack_.Depth() == 0 || stack_.Below().GetOpCode() != kOpParen) return Misplaced(op);
  Kt_ExprStackObj& below = stack_.Below();
  const bool is_group = below.GetKind() == EXPR_OBJ_NONE;
  if (is_group) {
    below.SetObject(&stack_.Top());
    below.SetObjStat(stack_.Top().GetObjStat());  // a ref() in the group takes no more arguments
  } else {
    const bool is_empty = ops_.GetItem(at_ - 1)->code == kOpParen;
    if (const kt_long code = is_empty ? kOk : CollectArg()) return code;
  }
  below.SetOpCode(0);
  stack_.Pop();
  return is_group ? kOk : FinishCall();
}

// Runs the call on top, whose arguments are complete. ref() is none, and a method that is assigned
// to is left as it is: the assignment gives its arguments to the object.
kt_long Evaluator::FinishCall() {
  Kt_ExprStackObj& call = stack_.Top();
  const bool is_method = call.GetKind() == EXPR_OBJ_METHOD;
  if (call.GetKind() != EXPR_OBJ_ARGREF && !(is_method && IsAssignedTo())) {
    return ReadAsEntry(context_, call);
  }
  call.SetObjStat(kArgsClosed);
  return kOk;
}

// Whether the operand that ends with the record in hand is one of ++ or --, or all there is: then
// it may be the target of an assignment, and if it is not, it is read next.
bool Evaluator::IsAssignedTo() {
  const std::int16_t next = ops_.GetItem(at_ + 1)->code;
  if (next == kOpPostInc || next == kOpPostDec) return true;
  if (stack_.Depth() == 0) return next == kOpEnd;
  const std::int16_t pending = stack_.Below().GetOpCode();
  return (pending == kOpPreInc || pending == kOpPreDec) && GetOpClass(next) == 7;
}

kt_long Evaluator::CloseBracket(const Kt_ExprOp& op) {
  if (stack_.Depth() == 0 || stack_.Below().GetOpCode() != kOpBracket) return Misplaced(op);
  Kt_Variant value;
  if (const kt_long code = ReadEntry(context_, stack_.Top(), value, 0)) return code;
  kt_long index = -1;
  Kt_WString key;
  ReadIndex(value, index, key);
  const kt_long bracket = stack_.Top().GetOpStartIdx() - 1;
  stack_.Pop();
  Kt_ExprStackObj& top = stack_.Top();
  top.SetOpCode(0);
  // A call that has run is a value, and has lost its name.
  const bool is_value = top.GetKind() == EXPR_OBJ_VALUE;
  const FailureMark mark;
  const kt_long code = is_value
                           ? top.ApplyIndex(context_, index, key, NameOfCallBefore(ops_, bracket))
                           : top.ApplyIndex(context_, index, key);
  return KT_LIKELY(code == kOk) ? kOk : AfterFailure(context_, top, code, mark);
}

kt_long Evaluator::Comma(const Kt_ExprOp& op) {
  if (stack_.Depth() == 0 || stack_.Below().GetOpCode() != kOpParen ||
      stack_.Below().GetKind() == EXPR_OBJ_NONE) {
    return Misplaced(op);
  }
  if (const kt_long code = CollectArg()) return code;
  stack_.Top().Clear();
  stack_.Top().SetObjStat(0);
  stack_.Top().SetOpStartIdx(at_ + 1);
  return kOk;
}

}  // namespace kt::detail

namespace {

const Kt_ExprOp& OpOf(const Kt_Expr& expr, const kt::ExprProgram::Member& member) {
  return *expr.GetOps().GetItem(member.record);
}

}  // namespace

kt_long kt::BindMemberOf(Kt_ExprObject* context, const ExprProgram::Member& member,
                         const Kt_Expr& expr, const Kt_Variant& value, Kt_ExprStackObj& entry) {
  entry.SetOpStartIdx(member.start);
  const Kt_ExprOp& op = OpOf(expr, member);
  if (!value.IsObject()) return detail::MemberOfValue(context, expr, op, value, entry);
  const Kt_ObjectHolder hold(value.GetHolder());
  if (const kt_long code = entry.FromObject(context, &hold)) return code;
  return detail::MemberOf(context, expr, op, entry);
}

kt_long kt::BindMemberOfName(Kt_ExprObject* context, const ExprProgram::Member& member,
                             const Kt_Expr& expr, const Kt_WString& name, const Kt_Variant* index,
                             Kt_Variant& object, Kt_ExprStackObj& entry) {
  entry.SetOpStartIdx(member.start);
  detail::AskName(context, name, entry);
  if (detail::IsObjectEntry(entry.GetKind())) object = Kt_Variant(entry.GetConstObject());
  if (index != nullptr) {
    kt_long at = -1;
    Kt_WString key;
    detail::ReadIndex(*index, at, key);
    const detail::FailureMark mark;
    if (const kt_long code = entry.ApplyIndex(context, at, key)) {
      return detail::AfterFailure(context, entry, code, mark);
    }
  }
  return detail::MemberOf(context, expr, OpOf(expr, member), entry);
}

kt_long kt::ReadMemberOf(Kt_ExprObject* context, const ExprProgram::Member& member,
                         const Kt_Expr& expr, Kt_ExprStackObj& entry,
                         std::span<const Kt_Variant> args, Kt_Variant& value) {
  for (const Kt_Variant& arg : args) entry.GetArgs().AddRefVar(arg);
  const bool is_checked = OpOf(expr, member).code == kOpMethod && !member.is_end;
  const kt_long code = detail::ReadEntry(context, entry, value, 0);
  return code == kOk && is_checked ? detail::CheckCallResult(context, value) : code;
}
