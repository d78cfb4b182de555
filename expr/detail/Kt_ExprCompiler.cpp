// SPDX-License-Identifier: MIT
//
// Compiled from the operation list by symbolic execution of the evaluator's rules: the same walk
// (Kt_ExprWalk.h), but an entry says where its value will be (a temp, a constant, a name) instead
// of holding one, and what the evaluator would compute is emitted as an instruction.
//
// Why it comes out the same: an instruction is emitted when the evaluator would compute, and reads
// its operands then, as the evaluator reads its entries then. So a name needs no instruction of its
// own, and calls, steps and reports keep their order. Only && and || choose a way at run time; the
// two ways meet at the closing record of their bracket, with the value in the same temp, so the
// entries below are the same on both. Whatever does not fit these rules makes Compile return false,
// and the evaluator does it; that costs speed and nothing else.
//
// Cost: one pass over the records, once per expression. Temps are not reused, so what needs more of
// them than a frame has is left to the evaluator.
#include "expr/detail/Kt_ExprCompiler.h"

#include <algorithm>
#include <utility>

#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_VarInline.h"
#include "expr/Kt_ExprTexts.h"
#include "expr/detail/Kt_Evaluator.h"

namespace kt::detail {

namespace {

using CodeOperand::kConstBase;
using CodeOperand::kNameBase;

bool IsName(std::uint16_t operand) { return operand >= kNameBase; }
bool IsConst(std::uint16_t operand) { return operand >= kConstBase && operand < kNameBase; }

}  // namespace

kt_long CountCallArgs(const Kt_ExprOpList& ops, kt_long call) {
  if (call + 2 >= ops.GetCount() || ops.GetItem(call + 1)->code != kOpParen) return -1;
  if (ops.GetItem(call + 2)->code == kOpParenEnd) return 0;
  int open = 0;
  kt_long count = 1;
  for (kt_long next = call + 2; next < ops.GetCount(); ++next) {
    switch (ops.GetItem(next)->code) {
      case kOpParen:
      case kOpBracket: ++open; break;
      case kOpBracketEnd: --open; break;
      case kOpParenEnd:
        if (open-- == 0) return count;
        break;
      case kOpComma: count += open == 0 ? 1 : 0; break;
      default: break;
    }
  }
  return -1;
}

bool ExprCompiler::Compile() {
  entries_.emplace_back();
  for (at_ = 0; at_ < ops_.GetCount(); ++at_) {
    const Kt_ExprOp& op = *ops_.GetItem(at_);
    if (!Step(op) || has_failed_) return false;
    if (op.code == kOpEnd) return Finish();
  }
  return false;
}

// Operands ----------------------------------------------------------------------------------------

void ExprCompiler::SetValue(Entry& entry, std::uint16_t operand) {
  entry.kind = Entry::Kind::kValue;
  entry.operand = operand;
}

bool ExprCompiler::Constant(const Kt_Variant& value) {
  if (HasOperand()) return false;
  SetValue(Top(), AddConst(value));
  return true;
}

bool ExprCompiler::Ref(const Kt_ExprOp&) {
  if (HasOperand()) return false;
  Top().kind = Entry::Kind::kRef;
  return true;
}

bool ExprCompiler::Name(const Kt_ExprOp& op) {
  if (Top().kind != Entry::Kind::kNone) return false;
  if (form_.asks) return AskedName(op);
  const Kt_Symbol symbol = kt_makesymbolW(op.text);
  const bool is_lookup = form_.notes_lookups && has_called_;
  std::uint16_t name = 0;
  while (name < names_.size() && (names_[name] != symbol || (is_lookup && IsUnread(name)))) ++name;
  if (name == names_.size()) {
    names_.push_back(symbol);
    program_.names.push_back(op.text);
    if (!is_lookup) program_.early_names = program_.names.size();
  }
  if (is_lookup) program_.lookups.push_back({program_.instrs.size(), name});
  Top().kind = Entry::Kind::kName;
  Top().operand = static_cast<std::uint16_t>(kNameBase + name);
  return program_.names.size() <= static_cast<std::size_t>(form_.max_names);
}

// Whether an entry stands for the name, or an element of it, that an instruction has yet to read.
bool ExprCompiler::IsUnread(std::uint16_t name) const {
  return std::any_of(entries_.begin(), entries_.end(), [name](const Entry& entry) {
    return (entry.kind == Entry::Kind::kName || entry.kind == Entry::Kind::kElement) &&
           entry.operand == kNameBase + name;
  });
}

bool ExprCompiler::AskedName(const Kt_ExprOp& op) {
  const auto name = static_cast<std::uint16_t>(program_.names.size());
  program_.names.push_back(op.text);
  Emit(kCodeAskName, name, 0, 0, static_cast<std::int32_t>(Top().start));
  Top().kind = Entry::Kind::kName;
  Top().operand = static_cast<std::uint16_t>(kNameBase + name);
  return program_.names.size() <= static_cast<std::size_t>(form_.max_names);
}

std::uint16_t ExprCompiler::NewTemp() {
  if (temp_count_ >= form_.max_temps) has_failed_ = true;
  return static_cast<std::uint16_t>(has_failed_ ? 0 : temp_count_++);
}

std::uint16_t ExprCompiler::AddConst(const Kt_Variant& value) {
  if (program_.consts.size() >= kConstBase) has_failed_ = true;
  if (has_failed_) return kConstBase;
  program_.consts.push_back(value);
  return static_cast<std::uint16_t>(kConstBase + program_.consts.size() - 1);
}

void ExprCompiler::Emit(CodeOp op, std::uint16_t dst, std::uint16_t a, std::uint16_t b,
                        std::int32_t extra) {
  program_.instrs.push_back({op, dst, a, b, extra});
  has_called_ = has_called_ || op == CodeOp::kCall || op == CodeOp::kReceive;
}

std::uint16_t ExprCompiler::Fix(std::uint16_t operand) {
  if (!IsName(operand)) return operand;
  const std::uint16_t temp = NewTemp();
  Emit(CodeOp::kMove, temp, operand, 0);
  return temp;
}

std::uint16_t ExprCompiler::Unfix(std::uint16_t operand) {
  if (program_.instrs.empty() || program_.instrs.size() <= barrier_) return operand;
  const CodeInstr last = program_.instrs.back();
  if (last.op != CodeOp::kMove || last.dst != operand || !IsName(last.a)) return operand;
  program_.instrs.pop_back();
  return last.a;
}

std::uint16_t ExprCompiler::Read(Entry& entry) {
  switch (entry.kind) {
    case Entry::Kind::kNone: return AddConst(Kt_Variant());
    case Entry::Kind::kValue:
    case Entry::Kind::kName: return entry.operand;
    case Entry::Kind::kElement: {
      const std::uint16_t index = Unfix(entry.index);
      const std::uint16_t temp = NewTemp();
      Emit(CodeOp::kElement, temp, entry.operand, index);
      SetValue(entry, temp);
      return temp;
    }
    case Entry::Kind::kCall: {
      const std::uint16_t temp = NewTemp();
      Emit(CodeOp::kCall, temp, entry.first_arg, entry.arg_count, entry.call);
      SetValue(entry, temp);
      return temp;
    }
    default: has_failed_ = true; return kConstBase;
  }
}

// Calls -------------------------------------------------------------------------------------------

bool ExprCompiler::Call(const Kt_ExprOp& op) {
  const int arg_count = CountCallArgs(ops_, at_);
  if (Top().kind != Entry::Kind::kNone || arg_count < 0) return false;
  if (temp_count_ + arg_count > form_.max_temps) return false;
  Entry& entry = Top();
  entry.kind = Entry::Kind::kCall;
  entry.is_closed = false;
  entry.arg_count = 0;
  // Side by side, so that the call finds them in a row.
  entry.first_arg = static_cast<std::uint16_t>(temp_count_);
  temp_count_ += arg_count;
  entry.call = static_cast<std::int32_t>(program_.calls.size());
  program_.calls.push_back(op.text);
  if (form_.asks) {
    Emit(kCodeAskCall, 0, static_cast<std::uint16_t>(entry.start), 0, entry.call);
  }
  return true;
}

// A member of a value is a built-in with that value as its first argument, or none; of an object it
// is another thing, which only the values say. Without brackets it is read later, and what an index
// or another member makes of it then depends on that, too.
bool ExprCompiler::Member(const Kt_ExprOp& op) {
  Entry& entry = Top();
  const bool is_called = op.code == kOpMethod;
  const int arg_count = is_called ? CountCallArgs(ops_, at_) : 0;
  const bool has_value = entry.kind == Entry::Kind::kValue || entry.kind == Entry::Kind::kName ||
                         entry.kind == Entry::Kind::kElement;
  if (!form_.has_members || arg_count < 0 || !has_value || entry.jump != kNo ||
      temp_count_ + arg_count + 1 > form_.max_temps) {
    return false;
  }
  const std::uint16_t receiver = Read(entry);
  entry.kind = Entry::Kind::kCall;
  entry.is_closed = !is_called;
  entry.arg_count = 1;
  entry.first_arg = static_cast<std::uint16_t>(temp_count_);
  temp_count_ += arg_count + 1;
  entry.call = static_cast<std::int32_t>(program_.calls.size());
  program_.members.push_back({program_.calls.size(), at_, entry.start, false});
  program_.calls.push_back(op.text);
  Emit(CodeOp::kReceive, entry.first_arg, receiver, 0, entry.call);
  return true;
}

// The call in `entry` gives the value of the whole expression.
void ExprCompiler::NoteEnd(const Entry& entry) {
  for (ExprProgram::Member& member : program_.members) {
    if (static_cast<std::int32_t>(member.call) == entry.call) member.is_end = true;
  }
}

bool ExprCompiler::CollectArg() {
  Entry& call = Below();
  if (call.kind == Entry::Kind::kRef) {
    if (Top().kind != Entry::Kind::kName) return false;
    const std::uint16_t temp = NewTemp();
    Emit(CodeOp::kRef, temp, Top().operand, 0);
    SetValue(call, temp);
    return true;
  }
  if (call.kind != Entry::Kind::kCall) return false;
  const auto slot = static_cast<std::uint16_t>(call.first_arg + call.arg_count++);
  const std::uint16_t value = Read(Top());
  // What was computed last can go straight to its place.
  CodeInstr* const last = program_.instrs.empty() ? nullptr : &program_.instrs.back();
  const bool is_fresh = last != nullptr && program_.instrs.size() > barrier_ &&
                        last->dst == value && !IsConst(value) && !IsName(value) &&
                        last->op != CodeOp::kTestAnd && last->op != CodeOp::kTestOr &&
                        last->op != kCodeAskName && last->op != kCodeAskCall;
  if (is_fresh) {
    last->dst = slot;
  } else {
    Emit(CodeOp::kMove, slot, value, 0);
  }
  return true;
}

// Operators ---------------------------------------------------------------------------------------

bool ExprCompiler::Operator(const Kt_ExprOp& op) {
  Entry& top = Top();
  if (op.code == kOpParen && top.kind != Entry::Kind::kNone) {
    const bool is_call = top.kind == Entry::Kind::kCall || top.kind == Entry::Kind::kRef;
    if (!is_call || top.is_closed) return false;
  }
  if ((op.code == kOpAnd || op.code == kOpOr) && !Logical(op)) return false;
  Top().pending = op.code;
  entries_.emplace_back().start = at_ + 1;
  return true;
}

bool ExprCompiler::Logical(const Kt_ExprOp& op) {
  Entry& top = Top();
  const std::uint16_t value = Read(top);
  if (top.logic_temp < 0) {
    const bool is_temp = !IsName(value) && !IsConst(value);
    top.logic_temp = is_temp ? value : NewTemp();
  }
  const auto temp = static_cast<std::uint16_t>(top.logic_temp);
  const auto jump = static_cast<std::int32_t>(program_.instrs.size());
  Emit(op.code == kOpAnd ? CodeOp::kTestAnd : CodeOp::kTestOr, temp, value, 0,
       std::exchange(top.jump, jump));
  SetValue(top, temp);
  return true;
}

// A value that a jump still has to reach would be lost among other entries.
bool ExprCompiler::ApplyAtMarker() { return Top().jump == kNo && Apply(); }

bool ExprCompiler::Apply() {
  Entry& left = Below();
  if (left.pending == kOpPreInc) return ApplyStep(1);
  if (left.pending == kOpPreDec) return ApplyStep(-1);
  const auto op = FindOperator(left.pending);
  if (!op) return false;
  const std::uint16_t a = Read(left);
  const std::uint16_t b = Read(Top());
  if (FoldConstants(*op, a, b)) return true;
  const bool is_logic = op == kt::Operator::kAnd || op == kt::Operator::kOr;
  if (is_logic && left.logic_temp < 0) return false;
  const std::uint16_t dst = is_logic ? static_cast<std::uint16_t>(left.logic_temp) : NewTemp();
  Emit(CodeOpOf(*op), dst, a, b);
  SetValue(left, dst);
  left.pending = 0;
  entries_.pop_back();
  return true;
}

// Signs and sums of constants are computed here, once.
bool ExprCompiler::FoldConstants(kt::Operator op, std::uint16_t a, std::uint16_t b) {
  if (!IsConst(a) || !IsConst(b) || !IsArithmetic(op) || has_failed_) return false;
  const Kt_Variant& left = program_.consts[a - kConstBase];
  const Kt_Variant& right = program_.consts[b - kConstBase];
  if (!right.IsLong() && !right.IsDouble()) return false;
  if (!left.IsLong() && !left.IsDouble() && !left.IsEmpty()) return false;
  Kt_Variant result;
  (void)Compute(op, left, right, result);  // plain numbers never fail
  SetValue(Below(), AddConst(result));
  Below().pending = 0;
  entries_.pop_back();
  return true;
}

bool ExprCompiler::ApplyStep(std::int32_t step) {
  if (Top().kind != Entry::Kind::kName) return false;
  const std::uint16_t dst = NewTemp();
  Emit(CodeOp::kStepBefore, dst, Top().operand, 0, step);
  SetValue(Below(), dst);
  Below().pending = 0;
  entries_.pop_back();
  return true;
}

bool ExprCompiler::Postfix(const Kt_ExprOp& op) {
  if (Top().kind != Entry::Kind::kName) return false;
  const std::uint16_t dst = NewTemp();
  Emit(CodeOp::kStepAfter, dst, Top().operand, 0, op.code == kOpPostInc ? 1 : -1);
  SetValue(Top(), dst);
  return true;
}

// Closing records ---------------------------------------------------------------------------------

bool ExprCompiler::Settle() {
  Entry& top = Top();
  if (top.jump == kNo) return true;
  if (top.kind != Entry::Kind::kValue || top.operand != top.logic_temp) return false;
  const auto here = static_cast<std::int32_t>(program_.instrs.size());
  while (top.jump != kNo) {
    top.jump = std::exchange(program_.instrs[static_cast<std::size_t>(top.jump)].extra, here);
  }
  barrier_ = program_.instrs.size();
  top.logic_temp = -1;
  return true;
}

bool ExprCompiler::CloseParen(const Kt_ExprOp&) {
  if (!HasBelow() || Below().pending != kOpParen) return false;
  Entry& below = Below();
  if (below.kind == Entry::Kind::kNone) {
    Entry inner = Top();
    inner.logic_temp = below.logic_temp;
    inner.jump = below.jump;
    inner.is_closed = true;
    below = inner;
  } else {
    const bool is_empty = ops_.GetItem(at_ - 1)->code == kOpParen;
    if (!is_empty && !CollectArg()) return false;
    if (is_empty && below.kind == Entry::Kind::kRef) return false;
    if (below.kind == Entry::Kind::kCall) {
      if (entries_.size() == 2 && ops_.GetItem(at_ + 1)->code == kOpEnd) NoteEnd(below);
      (void)Read(below);
    }
    below.is_closed = true;
  }
  below.pending = 0;
  entries_.pop_back();
  return true;
}

bool ExprCompiler::CloseBracket(const Kt_ExprOp&) {
  if (!HasBelow() || Below().pending != kOpBracket) return false;
  const std::uint16_t index = Fix(Read(Top()));
  const kt_long bracket = Top().start - 1;
  entries_.pop_back();
  Entry& entry = Top();
  entry.pending = 0;
  if (entry.kind == Entry::Kind::kName) {
    entry.kind = Entry::Kind::kElement;
    entry.index = index;
    return true;
  }
  if (entry.kind == Entry::Kind::kNone || entry.kind == Entry::Kind::kCall) return false;
  // What messages call the value.
  const bool is_element = entry.kind == Entry::Kind::kElement;
  const std::uint16_t name = AddConst(is_element ? program_.names[entry.operand - kNameBase]
                                                 : NameOfCallBefore(ops_, bracket));
  const std::uint16_t value = Read(entry);
  const std::uint16_t dst = NewTemp();
  Emit(CodeOp::kIndex, dst, value, index, name - kConstBase);
  SetValue(entry, dst);
  return true;
}

bool ExprCompiler::Comma(const Kt_ExprOp&) {
  if (!HasBelow() || Below().pending != kOpParen || Below().kind != Entry::Kind::kCall) {
    return false;
  }
  if (!CollectArg()) return false;
  Top() = Entry();
  Top().start = at_ + 1;
  return true;
}

bool ExprCompiler::Finish() {
  Entry& top = Top();
  if (top.kind == Entry::Kind::kElement) {
    const std::uint16_t index = Unfix(top.index);
    Emit(CodeOp::kTarget, 0, top.operand, index);
    program_.has_target = true;
    const std::uint16_t temp = NewTemp();
    Emit(CodeOp::kElement, temp, top.operand, index);
    Emit(CodeOp::kReturn, 0, temp, 0);
  } else {
    if (top.kind == Entry::Kind::kCall) NoteEnd(top);
    Emit(CodeOp::kReturn, 0, Read(top), 0);
  }
  program_.temp_count = static_cast<std::uint16_t>(temp_count_);
  return !has_failed_;
}

namespace {

bool HasForm(kt_long state) {
  return state == kStateOrdinary || state == kStateName || state == kStateConstant;
}

bool HasNoText(const Kt_Expr& expr) {
  return expr.GetText().IsEmpty() && expr.GetState() != kStateList;
}

// An empty expression gives an empty value.
void ReturnEmpty(ExprProgram& program) {
  program.consts.emplace_back();
  program.instrs.push_back({CodeOp::kReturn, 0, kConstBase, 0, 0});
}

}  // namespace

}  // namespace kt::detail

void kt::ExprProgram::Clear() {
  instrs.clear();
  consts.clear();
  names.clear();
  calls.clear();
  members.clear();
  lookups.clear();
  early_names = 0;
  has_target = false;
  temp_count = 0;
}

kt::ExprProgram kt::ExprProgram::Of(Kt_Expr& expr, const Form& form) {
  ExprProgram program;
  if (detail::HasNoText(expr)) {
    detail::ReturnEmpty(program);
    return program;
  }
  if (expr.GetState() == kStateUnparsed) {
    Kt_WString error;
    const kt_long parsed = expr.Parse(error, nullptr);
    if (parsed == kErrNoMemory) kt::PassMemoryFailure();
    if (parsed < 0) {
      // Back to unparsed: the evaluator finds the fault again, and reports it.
      expr.SetExpr(Kt_WString(expr.GetText()));
      return program;
    }
  }
  detail::ExprCompiler::Space space;
  if (!detail::HasForm(expr.GetState()) ||
      !detail::ExprCompiler(expr.GetOps(), program, space, form).Compile()) {
    program.instrs.clear();
  }
  return program;
}

struct kt::ExprProgramMaker::Parts {
  ExprProgram::Form form;
  detail::ExprCompiler::Space space;
  ExprTexts texts;
  Kt_Expr parsed;  // its list of operations is used
};

kt::ExprProgramMaker::ExprProgramMaker(const ExprProgram::Form& form)
    : parts_(std::make_unique<Parts>()) {
  parts_->form = form;
}
kt::ExprProgramMaker::~ExprProgramMaker() = default;

void kt::ExprProgramMaker::Make(Kt_Expr& expr, ExprProgram& program) {
  program.Clear();
  if (detail::HasNoText(expr)) return detail::ReturnEmpty(program);
  Kt_ExprOpList& ops = parts_->parsed.ops_;
  const bool is_new = expr.GetState() == kStateUnparsed;
  if (is_new) expr.text_.Trim();  // as parsing leaves it: places of faults count from there
  const kt_long state = is_new ? expr.ParseApart(ops, parts_->texts) : kStateUnparsed;
  if (!detail::HasForm(state)) {
    program = ExprProgram::Of(expr, parts_->form);
    return;
  }
  const bool has_code = detail::ExprCompiler(ops, program, parts_->space, parts_->form).Compile();
  if (!has_code) program.instrs.clear();
  // Members are read through their operations when the value turns out to be an object.
  if (!has_code || !program.members.empty()) expr.Adopt(ops, state);
}
