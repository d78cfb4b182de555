// SPDX-License-Identifier: MIT
//
// Translates a function into register code: one pass over its statements; every expression is
// compiled by kt::ExprProgram and lowered to instructions (Kt_Translator_Expr.cpp).
//
// Variables. `var` declares at run time, and a name may stand for another variable until then. So
// the pass keeps, for every open scope, which variables are certainly declared at the place in
// hand: statements of one list run in order, so what one has declared the next ones may use. Only
// the body of a loop comes back to its beginning with what its end has declared; names of its own
// that are used before their declaration are guarded: where the register says "not declared" the
// expression is left to the evaluator.
//
// An assignment to a name that is unknown here asks the host first and declares the variable in the
// innermost scope (AssignNew).
//
// Two flavours. The second one, by names, has the same statements at the same entries, and leaves
// every expression and every simple statement to the walk. A function goes on in it when something
// has happened that the first one does not expect: a callback declared or removed variables of the
// running function, a host took an unknown name, the script was loaded anew.
#include "script/code/Kt_Translator.h"

#include <algorithm>

#include "classlib/base/Kt_NativeStack.h"

namespace kt::detail {

// Functions of more instructions, variables or constants than operands can name run by the walk.
namespace {
constexpr std::size_t kMostInstrs = 32000;
constexpr std::size_t kMostConsts = 0x7F00;
constexpr int kMostSlots = 0x4000;
constexpr std::uint16_t kMostRegisters = 0x7F00;
constexpr std::uint16_t kMostBoxes = 8;
}  // namespace

// Code --------------------------------------------------------------------------------------------

void Translator::GiveUp(const char* why) {
  if (code_.why_walk == nullptr) code_.why_walk = why;
}

std::size_t Translator::Emit(InstrOp op, std::uint16_t a, std::uint16_t b, std::uint16_t c) {
  if (code_.instrs.size() >= kMostInstrs) GiveUp("too long");
  code_.instrs.push_back(Instr::Of(op, a, b, c));
  if (is_pending_) {
    code_.instrs.back().SetEntry(pending_steps_);
    is_pending_ = false;
    pending_steps_ = 0;
  }
  return code_.instrs.size() - 1;
}

std::size_t Translator::EmitFar(InstrOp op, std::uint16_t a, std::int32_t d) {
  const Instr in = Instr::Far(op, a, d);
  return Emit(op, in.A(), in.B(), in.C());
}

void Translator::EmitJump(InstrOp op, std::uint16_t a, Label label) {
  fixups_.push_back({EmitFar(op, a, 0), label, false});
}

void Translator::EmitShort(InstrOp op, std::uint16_t a, std::uint16_t b, Label label) {
  fixups_.push_back({Emit(op, a, b, 0), label, true});
}

Translator::Label Translator::NewLabel() {
  labels_.push_back(0);
  return labels_.size() - 1;
}

std::size_t Translator::Here() {
  if (is_pending_) (void)Emit(InstrOp::kNop);
  return code_.instrs.size();
}

void Translator::Bind(Label label) { labels_[label] = Here(); }

// A statement begins, or a loop goes on with its condition.
void Translator::Mark(const Kt_ScriptOp& op, int steps) {
  if (pending_steps_ + steps > Instr::kMostSteps) (void)Here();
  is_pending_ = true;
  pending_steps_ += steps;
  code_.entries.push_back(
      {static_cast<std::uint32_t>(code_.instrs.size()), 0,
       static_cast<std::uint16_t>(open_.back().info),
       static_cast<std::uint16_t>(hidden_scope_ >= 0 ? hidden_scope_ : open_.back().info),
       static_cast<std::uint8_t>(steps), &op});
  if (code_.scopes.size() > 0xFFFF) GiveUp("too many blocks");
}

// Equal longs and short texts are there once: equal texts are then found so by their place.
std::uint16_t Translator::AddConst(const Kt_Variant& value) {
  if (code_.consts.size() >= kMostConsts) {
    GiveUp("too many constants");
    return kConstOperand;
  }
  const auto next = static_cast<std::uint16_t>(kConstOperand | code_.consts.size());
  std::uint16_t known = next;
  if (value.IsEmpty()) {
    if (empty_const_ == kNone) empty_const_ = next;
    known = empty_const_;
  } else if (value.IsLong()) {
    known = long_consts_.try_emplace(value.AsLong(), next).first->second;
  } else if (ChoiceTable::Takes(value)) {
    known = text_consts_.try_emplace(value.AsStringView(), next).first->second;
  }
  if (known == next) code_.consts.push_back(value);
  return known;
}

std::uint16_t Translator::NewTemp(int count) {
  const std::uint16_t first = temp_floor_;
  if (first + count > kMostRegisters) {
    GiveUp("too many registers");
    return temp_base_;
  }
  temp_floor_ = static_cast<std::uint16_t>(first + count);
  temp_top_ = std::max(temp_top_, temp_floor_);
  return first;
}

// The register that stands for a global variable, the first or another one; kNone when there are
// too many.
std::uint16_t Translator::BoxOf(std::uint16_t global, int which) {
  std::vector<std::uint16_t>& boxes = code_.global_of_register;
  auto found = std::find(boxes.begin(), boxes.end(), global);
  for (; which > 0 && found != boxes.end(); --which) {
    found = std::find(found + 1, boxes.end(), global);
  }
  const auto at = static_cast<std::uint16_t>(found - boxes.begin());
  if (found == boxes.end()) {
    if (boxes.size() >= box_limit_) return kNone;
    boxes.push_back(global);
  }
  return static_cast<std::uint16_t>(slot_limit_ + at);
}

// Scopes and names --------------------------------------------------------------------------------

namespace {

// The statements of a list that a scope's variables may come from.
template <class Action>
void ForNames(const Kt_ScriptOpList& ops, const Action& action) {
  for (kt_long at = 0; at < ops.GetCount(); ++at) {
    const Kt_ScriptOp& op = *ops.GetItem(at);
    if (op.opcode == kScriptVar || op.opcode == kScriptVarArray) action(op.GetVar()->name, true);
    if (op.opcode == kScriptSet) action(op.GetVar()->name, false);
    if (op.opcode != kScriptFor) continue;
    ForNames(op.GetFor()->init, action);
    ForNames(op.GetFor()->step, action);
  }
}

}  // namespace

void Translator::CountName(const Kt_WString& name, bool is_var, std::vector<Kt_Symbol>& visible) {
  const Kt_Symbol symbol = kt_makesymbolW(name);
  const bool is_known =
      !is_var && (std::find(visible.begin(), visible.end(), symbol) != visible.end() ||
                  script_.GetVariables().Find(symbol) != nullptr);
  if (!is_known) visible.push_back(symbol);
}

// How many variables can be declared at one time, at most.
int Translator::CountSlots(const Kt_ScriptOpList& ops, std::vector<Kt_Symbol>& visible,
                           kt_long op_count) {
  if (!HasStack()) return 0;
  statement_count_ += static_cast<std::size_t>(op_count);
  const std::size_t before = visible.size();
  int inner_most = 0;
  const auto inner = [&](const Kt_ScriptOpList& list) {
    inner_most = std::max(inner_most, CountSlots(list, visible, list.GetCount()));
  };
  for (kt_long at = 0; at < op_count; ++at) {
    const Kt_ScriptOp& op = *ops.GetItem(at);
    switch (op.opcode) {
      case kScriptVar:
      case kScriptVarArray: CountName(op.GetVar()->name, true, visible); break;
      case kScriptSet: CountName(op.GetVar()->name, false, visible); break;
      case kScriptBlock: inner(*op.GetBlock()); break;
      case kScriptWhile: inner(op.GetWhile()->body); break;
      case kScriptFor: {
        const auto count = [&](const Kt_WString& name, bool is_var) {
          CountName(name, is_var, visible);
        };
        ForNames(op.GetFor()->init, count);
        ForNames(op.GetFor()->step, count);
        inner(op.GetFor()->body);
        break;
      }
      case kScriptIf:
        for (kt_long item = 0; item < op.GetIf()->GetCount(); ++item) {
          inner(op.GetIf()->GetItem(item)->body);
        }
        break;
      case kScriptSwitch:
        for (kt_long item = 0; item < op.GetSwitch()->GetCount(); ++item) {
          inner(op.GetSwitch()->GetItem(item)->body);
        }
        break;
      default: break;
    }
  }
  const auto own = static_cast<int>(visible.size() - before);
  visible.resize(before);
  return own + inner_most;
}

// The register of a variable of the innermost scope; made if it is new.
std::uint16_t Translator::SlotOf(const Kt_WString& name, bool is_certain) {
  OpenScope& scope = open_.back();
  const Kt_Symbol symbol = kt_makesymbolW(name);
  for (auto& [known_symbol, known] : scope.slots) {
    if (known_symbol != symbol) continue;
    known.is_certain = known.is_certain || is_certain;
    return known.reg;
  }
  if (next_slot_ >= slot_limit_) {
    GiveUp("too many variables");
    return 0;
  }
  const std::uint16_t reg = next_slot_++;
  most_slots_ = std::max(most_slots_, next_slot_);
  scope.slots.push_back({symbol, {reg, is_certain}});
  const bool is_argument = reg < code_.param_count;
  code_.scopes[scope.info].slots.push_back(
      {name, symbol, reg, static_cast<std::uint32_t>(is_argument ? 0 : code_.entries.size())});
  return reg;
}

Translator::Place Translator::Find(const Kt_WString& name, std::size_t skip) {
  const Kt_Symbol symbol = kt_makesymbolW(name);
  for (std::size_t at = open_.size() - skip; at-- > 0;) {
    for (const auto& [known_symbol, known] : open_[at].slots) {
      if (known_symbol != symbol) continue;
      const auto kind = known.is_certain ? Place::Kind::kRegister : Place::Kind::kMaybe;
      return {kind, known.reg, at + 1 == open_.size()};
    }
  }
  if (script_.GetVariables().Find(symbol) == nullptr) return {};
  return {Place::Kind::kGlobal, GlobalNumber(name), false};
}

std::uint16_t Translator::GlobalNumber(const Kt_WString& name) {
  const Kt_Symbol symbol = kt_makesymbolW(name);
  for (const auto& [known_symbol, number] : global_numbers_) {
    if (known_symbol == symbol) return number;
  }
  const auto number = static_cast<std::uint16_t>(code_.globals.size());
  if (number >= 0x7F00) GiveUp("too many globals");
  code_.globals.push_back(name);
  global_numbers_.push_back({symbol, number});
  return number;
}

// Names that a list may declare sooner or later, where its beginning can come after its end.
void Translator::NoteMaybe(const Kt_ScriptOpList& ops) {
  ForNames(ops, [&](const Kt_WString& name, bool is_var) {
    if (is_var || Find(name).kind == Place::Kind::kNobody) (void)SlotOf(name, false);
  });
}

void Translator::OpenFunction() {
  code_.scopes.push_back({-1, 0, {}});
  open_.push_back({0, {}, 0});
  const Kt_ScriptOpList& args = func_.GetArgs();
  if (args.GetCount() > kMostSlots) return GiveUp("too many variables");
  const int arg_count = code_.param_count;
  std::vector<Kt_Symbol> visible;
  for (kt_long arg = 0; arg < arg_count; ++arg) {
    const Kt_Symbol symbol = kt_makesymbolW(args.GetItem(arg)->GetVar()->name);
    if (symbol == 0 || std::find(visible.begin(), visible.end(), symbol) != visible.end()) {
      GiveUp("two arguments of one name");
    }
    visible.push_back(symbol);
  }
  const int slots = arg_count + CountSlots(func_.GetBody(), visible, code_.body_count);
  if (slots > kMostSlots) return GiveUp("too many variables");
  slot_limit_ = static_cast<std::uint16_t>(slots);
  const kt_long globals = code_.is_by_name ? 0 : script_.GetVariables().GetCount();
  // Few expressions need two for one of them.
  const kt_long boxes = globals + std::min<kt_long>(globals, 4);
  box_limit_ = static_cast<std::uint16_t>(std::min<kt_long>(kMostBoxes, boxes));
  temp_base_ = temp_floor_ = temp_top_ = static_cast<std::uint16_t>(slot_limit_ + box_limit_);
  for (kt_long arg = 0; arg < arg_count; ++arg) {
    (void)SlotOf(args.GetItem(arg)->GetVar()->name, true);
  }
}

void Translator::OpenBlock(const Kt_ScriptOpList* loop_body) {
  const auto parent = static_cast<int>(open_.back().info);
  const auto depth = static_cast<int>(open_.size());
  code_.scopes.push_back({parent, depth, {}});
  open_.push_back({code_.scopes.size() - 1, {}, next_slot_});
  if (code_.is_by_name) {
    (void)Emit(InstrOp::kEnter, static_cast<std::uint16_t>(code_.scopes.size() - 1));
  } else if (loop_body != nullptr) {
    NoteMaybe(*loop_body);
  }
}

// What the scopes from `depth` on have declared goes.
void Translator::Leave(std::size_t depth) {
  if (depth >= open_.size()) return;
  const std::uint16_t first = open_[depth].first_reg;
  const auto count = static_cast<std::uint16_t>(next_slot_ - first);
  if (count == 0 && !code_.is_by_name) return;
  (void)Emit(InstrOp::kLeave, first, count, static_cast<std::uint16_t>(depth));
}

void Translator::CloseBlock() {
  Leave(open_.size() - 1);
  next_slot_ = open_.back().first_reg;
  open_.pop_back();
}

// Statements --------------------------------------------------------------------------------------

void Translator::Run() {
  OpenFunction();
  if (code_.why_walk != nullptr) return;
  // As most functions need; too much is given back at the end.
  const std::size_t count = std::min(statement_count_, kMostInstrs);
  code_.entries.reserve(count + count / 2);
  code_.instrs.reserve(count * 4);
  code_.ranges.reserve(count * 2);
  Body(func_.GetBody(), code_.body_count);
  (void)Emit(InstrOp::kEnd);
  code_.return_null = static_cast<std::uint32_t>(Emit(InstrOp::kReturnNull));
  Finish();
}

void Translator::Finish() {
  std::int64_t steps = 1;
  for (const Instr& in : code_.instrs) steps += in.Steps();
  code_.margin = (steps + 1) * Kt_WorkMeter::kUnitsPerStep;
  for (const Fixup& fixup : fixups_) {
    const Instr in = code_.instrs[fixup.at];
    const auto distance =
        static_cast<std::int32_t>(labels_[fixup.label]) - static_cast<std::int32_t>(fixup.at) - 1;
    code_.instrs[fixup.at].Replace(
        fixup.is_short ? Instr::Of(in.Op(), in.A(), in.B(), static_cast<std::uint16_t>(distance))
                       : Instr::Far(in.Op(), in.A(), distance));
  }
  for (const auto& [range, label] : branch_resumes_) {
    code_.ranges[range].resume = static_cast<std::uint32_t>(labels_[label]);
  }
  for (ChoiceTable& choice : code_.choices) {
    choice.MapTargets([&](std::int32_t label) {
      return static_cast<std::int32_t>(labels_[static_cast<std::size_t>(label)]);
    });
  }
  JoinTests();
  code_.slot_count = most_slots_;
  code_.var_count = code_.global_of_register.empty()
                        ? most_slots_
                        : static_cast<std::uint16_t>(slot_limit_ + code_.global_of_register.size());
  code_.box_base = slot_limit_;
  code_.register_count = std::max<std::uint16_t>(temp_top_, code_.var_count);
  code_.temp_base = temp_base_;
  code_.instrs.shrink_to_fit();
  code_.consts.shrink_to_fit();
  code_.entries.shrink_to_fit();
  code_.ranges.shrink_to_fit();
  for (const auto& [name, known] : known_calls_[0]) {
    if (!known.is_bound) code_.unknown_calls.push_back(known.call.name);
  }
  link_.Prepare();
  link_.BindGlobals(script_.GetVariables());
  link_.version = script_.GetVersion();
}

// The step of a counting loop does the test behind it as well, and so does a look at an item. What
// moves a register says so.
void Translator::JoinTests() {
  constexpr std::pair<InstrOp, InstrOp> kSteps[] = {
      {InstrOp::kIfLessRR, InstrOp::kStepIfLessRR},
      {InstrOp::kIfLessRI, InstrOp::kStepIfLessRI},
      {InstrOp::kIfLessEqualRR, InstrOp::kStepIfLessEqualRR},
      {InstrOp::kIfLessEqualRI, InstrOp::kStepIfLessEqualRI},
      {InstrOp::kIfGreaterRI, InstrOp::kStepIfGreaterRI},
      {InstrOp::kIfGreaterEqualRI, InstrOp::kStepIfGreaterEqualRI},
  };
  constexpr std::pair<InstrOp, InstrOp> kSums[] = {
      {InstrOp::kIfLessRR, InstrOp::kAddToIfLessRR},
      {InstrOp::kIfLessEqualRR, InstrOp::kAddToIfLessEqualRR},
  };
#define KT_ELEMENT_TEST(form) \
  { InstrOp::k##form, InstrOp::kElement##form }
  constexpr std::pair<InstrOp, InstrOp> kElements[] = {
      KT_ELEMENT_TEST(UnlessEqualRI),   KT_ELEMENT_TEST(UnlessEqualRR),
      KT_ELEMENT_TEST(UnlessLessRI),    KT_ELEMENT_TEST(UnlessLessRR),
      KT_ELEMENT_TEST(UnlessGreaterRI), KT_ELEMENT_TEST(UnlessGreaterRR),
      KT_ELEMENT_TEST(IfLessRI),        KT_ELEMENT_TEST(IfLessRR),
      KT_ELEMENT_TEST(IfGreaterRI),     KT_ELEMENT_TEST(IfGreaterRR),
  };
#undef KT_ELEMENT_TEST
  for (std::size_t at = 0; at + 1 < code_.instrs.size(); ++at) {
    Instr& first = code_.instrs[at];
    if (first.Op() == InstrOp::kMove && (first.B() & kConstOperand) == 0) {
      first.Replace(Instr::Of(InstrOp::kMoveR, first.A(), first.B(), 0));
    }
    const Instr test = code_.instrs[at + 1];
    if (test.A() != first.A() || test.Steps() != 0) continue;
    if (first.Op() == InstrOp::kStep) {
      for (const auto& [relation, joined] : kSteps) {
        if (test.Op() == relation) first.Replace(Instr::Of(joined, first.A(), 0, first.C()));
      }
    } else if (first.Op() == InstrOp::kAddTo) {
      for (const auto& [relation, joined] : kSums) {
        if (test.Op() == relation) first.Replace(Instr::Of(joined, first.A(), first.B(), 0));
      }
    } else if (first.Op() == InstrOp::kElement && IsTemp(first.A()) && !test.IsEntry()) {
      for (const auto& [relation, joined] : kElements) {
        if (test.Op() != relation || test.B() == first.A()) continue;
        first.Replace(Instr::Of(joined, first.A(), first.B(), first.C()));
      }
    }
  }
}

// Another thread may have more of it.
bool Translator::HasStack() {
  if (KT_LIKELY(kt_hasstack())) return true;
  code_.is_for_now = true;
  GiveUp("nests too deeply for the stack of this thread");
  return false;
}

void Translator::Body(const Kt_ScriptOpList& ops, kt_long op_count) {
  if (!HasStack()) return;
  for (kt_long at = 0; at < op_count && code_.why_walk == nullptr; ++at) {
    const Kt_ScriptOp& op = *ops.GetItem(at);
    Mark(op, 1);
    const std::size_t entry = code_.entries.size() - 1;
    temp_floor_ = temp_base_;
    Statement(op);
    code_.entries[entry].end = static_cast<std::uint32_t>(code_.instrs.size());
  }
}

void Translator::Statement(const Kt_ScriptOp& op) {
  switch (op.opcode) {
    case kScriptBlock: return Block(op);
    case kScriptContinue:
    case kScriptBreak: return JumpOut(op);
    case kScriptIf: return If(op);
    case kScriptSwitch: return Switch(op);
    case kScriptWhile:
    case kScriptFor: return Loop(op);
    default: break;
  }
  if (!op.HasPayload()) return;
  if (code_.is_by_name) return Walk(op, "by names");
  switch (op.opcode) {
    case kScriptVar:
    case kScriptVarArray: return Declare(op);
    case kScriptInc:
    case kScriptDec: return StepName(op);
    case kScriptSet: return Assign(op);
    case kScriptSetAdd:
    case kScriptSetSub:
    case kScriptSetMul:
    case kScriptSetDiv:
    case kScriptSetMod: return Combine(op);
    case kScriptExpr: {
      Kt_Expr& expr = op.GetSet()->value;
      if (expr.GetState() == kStateTrace) return Walk(op, "trace");
      const std::uint16_t value = Value(expr);
      if (IsTemp(value)) (void)Emit(InstrOp::kDrop, value);
      return;
    }
    case kScriptPathSet:
    case kScriptPathSetAdd:
    case kScriptPathSetSub:
    case kScriptPathSetMul:
    case kScriptPathSetDiv:
    case kScriptPathSetMod: return AssignPath(op);
    case kScriptReturn: return Return(op);
    default: return;
  }
}

void Translator::Walk(const Kt_ScriptOp& op, const char* why) {
  code_.statements.push_back({&op, why});
  if (code_.statements.size() >= 0x7F00) GiveUp("too long");
  (void)Emit(InstrOp::kWalk, static_cast<std::uint16_t>(code_.statements.size() - 1));
}

void Translator::Declare(const Kt_ScriptOp& op) {
  const Kt_ScriptOpVar& var = *op.GetVar();
  // The initialiser does not see the variable yet.
  const Kt_Symbol symbol = kt_makesymbolW(var.name);
  if (symbol == 0) return Walk(op, "no name");
  const auto& slots = open_.back().slots;
  const auto known = std::find_if(slots.begin(), slots.end(),
                                  [&](const auto& slot) { return slot.first == symbol; });
  const std::uint16_t reg = known != slots.end() ? known->second.reg : next_slot_;
  if (reg >= slot_limit_) return GiveUp("too many variables");
  if (op.opcode == kScriptVarArray) {
    (void)Emit(InstrOp::kDeclareArray, reg, Value(var.expression));
  } else {
    ValueInto(var.expression, reg);
  }
  (void)SlotOf(var.name, true);
}

void Translator::Assign(const Kt_ScriptOp& op) {
  const Place place = Find(op.GetVar()->name);
  switch (place.kind) {
    case Place::Kind::kRegister: return AssignTo(place.reg, op);
    case Place::Kind::kGlobal: return AssignGlobal(place.reg, op);
    case Place::Kind::kHost:  // only of a name in an expression
    case Place::Kind::kNobody: return AssignNew(place, op);
    case Place::Kind::kMaybe:
      // Another variable of the name may lie further out.
      if (place.is_innermost && Find(op.GetVar()->name, 1).kind == Place::Kind::kNobody)
        return AssignNew(place, op);
      return Walk(op, "the name may stand for two variables");
  }
}

void Translator::AssignTo(std::uint16_t reg, const Kt_ScriptOp& op) {
  const Kt_ScriptOpVar& var = *op.GetVar();
  if (JoinTo(var.expression, var.name, reg) == kNone) ValueInto(var.expression, reg);
}

void Translator::AssignGlobal(std::uint16_t global, const Kt_ScriptOp& op) {
  const Kt_ScriptOpVar& var = *op.GetVar();
  const std::uint16_t box = BoxOf(global);
  if (box != kNone && JoinTo(var.expression, var.name, box) != kNone) return;
  (void)Emit(InstrOp::kSetGlobal, global, Value(var.expression));
}

void Translator::AssignNew(const Place& place, const Kt_ScriptOp& op) {
  const Kt_ScriptOpVar& var = *op.GetVar();
  const std::uint16_t reg = place.kind == Place::Kind::kMaybe ? place.reg : next_slot_;
  if (reg >= slot_limit_) return GiveUp("too many variables");
  const std::uint16_t value = Value(var.expression);
  (void)SlotOf(var.name, true);
  (void)Emit(InstrOp::kAssignNew, reg, value);
}

void Translator::Combine(const Kt_ScriptOp& op) {
  const Kt_ScriptOpVar& var = *op.GetVar();
  const Place place = Find(var.name);
  const std::uint16_t reg = place.kind == Place::Kind::kGlobal ? BoxOf(place.reg) : place.reg;
  const bool is_known = place.kind == Place::Kind::kRegister || place.kind == Place::Kind::kGlobal;
  if (!is_known || reg == kNone) return Walk(op, "the name is no variable here");
  wants_plain_value_ = true;
  const std::uint16_t value = Value(var.expression);
  if (place.kind == Place::Kind::kGlobal) (void)Emit(InstrOp::kBindGlobal, reg, place.reg);
  const int distance = static_cast<int>(*CompoundOperator(op.opcode));
  (void)Emit(static_cast<InstrOp>(static_cast<int>(InstrOp::kAddTo) + distance), reg, value);
}

void Translator::StepName(const Kt_ScriptOp& op) {
  const Place place = Find(op.GetVar()->name);
  const auto step = static_cast<std::uint16_t>(op.opcode == kScriptInc ? 1 : -1);
  if (place.kind == Place::Kind::kRegister) {
    (void)Emit(InstrOp::kStep, place.reg, 0, step);
    return;
  }
  const std::uint16_t box = place.kind == Place::Kind::kGlobal ? BoxOf(place.reg) : kNone;
  if (box == kNone) return Walk(op, "the name is no variable here");
  (void)Emit(InstrOp::kBindGlobal, box, place.reg);
  (void)Emit(InstrOp::kStep, box, 0, step);
}

void Translator::Return(const Kt_ScriptOp& op) {
  Kt_Expr& expr = op.GetSet()->value;
  if (expr.GetState() == kStateTrace) return Walk(op, "trace");
  (void)Emit(InstrOp::kReturn, Value(expr));
}

void Translator::Block(const Kt_ScriptOp& op) {
  // `continue` ends the block and nothing else.
  const Label end = NewLabel();
  jumps_.push_back({0, end, 0, open_.size(), false, true});
  ScopedBody(*op.GetBlock(), false);
  jumps_.pop_back();
  Bind(end);
}

void Translator::ScopedBody(const Kt_ScriptOpList& ops, bool is_loop) {
  OpenBlock(is_loop ? &ops : nullptr);
  Body(ops);
  CloseBlock();
}

void Translator::If(const Kt_ScriptOp& op) {
  const Kt_ScriptOpIf& branches = *op.GetIf();
  const Label end = NewLabel();
  const kt_long count = branches.GetCount();
  for (kt_long at = 0; at < count; ++at) {
    const Kt_ScriptOpItem& branch = *branches.GetItem(at);
    temp_floor_ = temp_base_;
    const Label next = NewLabel();
    if (branch.flag != 1) Branch(branch.expression, false, next);
    ScopedBody(branch.body, false);
    if (at + 1 < count) EmitJump(InstrOp::kJump, 0, end);
    Bind(next);
    if (branch.flag == 1) break;
    // The condition of the next one belongs to this statement.
    if (at + 1 < count && branches.GetItem(at + 1)->flag != 1) MarkAgain(op);
  }
  Bind(end);
}

// The place belongs to `op` again, after statements inside of it.
void Translator::MarkAgain(const Kt_ScriptOp& op) { Mark(op, 0); }

// A table in front of the comparisons, when the labels allow it. `none`: where no label leads to.
void Translator::Choose(const Kt_ScriptOpSwitch& labels, std::uint16_t chosen,
                        const std::vector<Label>& bodies, Label none) {
  constexpr std::size_t kLeast = 3;
  if (code_.is_by_name) return;
  std::vector<ChoiceTable::Label> table;
  for (kt_long at = 0; at < labels.GetCount(); ++at) {
    const Kt_ScriptOpItem& label = *labels.GetItem(at);
    const Label body = bodies[static_cast<std::size_t>(at)];
    if (label.flag == 1) {
      none = body;
      break;
    }
    Kt_Variant value;
    if (!GivesConstant(label.expression, value) || !ChoiceTable::Takes(value)) return;
    if (!table.empty() && table.front().value.GetTag() != value.GetTag()) return;
    const Kt_Variant& label_value = code_.consts[AddConst(value) & ~kConstOperand];
    table.push_back({label_value, static_cast<std::int32_t>(body)});
  }
  if (table.size() < kLeast) return;
  const auto number = static_cast<std::uint16_t>(code_.choices.size());
  Instr& before = code_.instrs.back();
  if (before.Op() == InstrOp::kMove && before.A() == chosen && before.B() < temp_base_) {
    // A variable is looked at where it is.
    const Instr move = before;
    before.Replace(Instr::Of(InstrOp::kChoose, move.B(), number, 0));
    (void)Emit(InstrOp::kMove, chosen, move.B());
  } else {
    (void)Emit(InstrOp::kChoose, chosen, number);
  }
  code_.choices.emplace_back(std::move(table), static_cast<std::int32_t>(none));
}

// The label of a case is compared where the one before did not match; the bodies follow each other.
void Translator::Switch(const Kt_ScriptOp& op) {
  const Kt_ScriptOpSwitch& labels = *op.GetSwitch();
  const Label end = NewLabel();
  const std::uint16_t chosen = NewTemp();
  ValueInto(labels.expression, chosen);
  std::vector<Label> bodies;
  bodies.reserve(static_cast<std::size_t>(labels.GetCount()));
  for (kt_long at = 0; at < labels.GetCount(); ++at) bodies.push_back(NewLabel());
  Choose(labels, chosen, bodies, end);
  bool has_default = false;
  for (kt_long at = 0; at < labels.GetCount() && !has_default; ++at) {
    const Kt_ScriptOpItem& label = *labels.GetItem(at);
    const Label body = bodies[static_cast<std::size_t>(at)];
    has_default = label.flag == 1;
    if (has_default) {
      (void)Emit(InstrOp::kDrop, chosen);
      EmitJump(InstrOp::kJump, 0, body);
      continue;
    }
    temp_floor_ = static_cast<std::uint16_t>(chosen + 1);
    // What the expressions before have declared, this one sees.
    MarkAgain(op);
    const std::uint16_t value = Value(label.expression);
    EmitShort(InstrOp::kCase, chosen, value, body);
  }
  if (!has_default) {
    (void)Emit(InstrOp::kDrop, chosen);
    EmitJump(InstrOp::kJump, 0, end);
  }
  jumps_.push_back({end, 0, open_.size(), 0, true, false});
  for (kt_long at = 0; at < labels.GetCount(); ++at) {
    Bind(bodies[static_cast<std::size_t>(at)]);
    ScopedBody(labels.GetItem(at)->body, false);
  }
  jumps_.pop_back();
  Bind(end);
}

// The condition stands behind the body: one jump in a round.
void Translator::Loop(const Kt_ScriptOp& op) {
  const bool is_for = op.opcode == kScriptFor;
  const Kt_ScriptOpList* const step = is_for ? &op.GetFor()->step : nullptr;
  const Kt_ScriptOpList& body = is_for ? op.GetFor()->body : op.GetWhile()->body;
  Kt_Expr& condition = is_for ? op.GetFor()->condition : op.GetWhile()->condition;
  if (is_for) Body(op.GetFor()->init);
  if (step != nullptr && !code_.is_by_name) NoteMaybe(*step);
  const Label test = NewLabel();
  const Label next = NewLabel();
  const Label again = NewLabel();
  const Label leave = NewLabel();
  const Label end = NewLabel();
  OpenBlock(&body);
  const std::size_t depth = open_.size();
  EmitJump(InstrOp::kJump, 0, test);
  Bind(again);
  Mark(op, 1);
  jumps_.push_back({leave, next, depth, depth, true, true});
  Body(body);
  jumps_.pop_back();
  Bind(next);
  // Step and condition do not see the scope of the body.
  OpenScope inner = std::move(open_.back());
  open_.pop_back();
  hidden_scope_ = static_cast<int>(inner.info);
  if (step != nullptr) {
    const auto states = open_.back().slots;
    Body(*step);
    open_.back().slots = states;
  }
  Bind(test);
  MarkAgain(op);
  temp_floor_ = temp_base_;
  Branch(condition, true, again);
  hidden_scope_ = -1;
  open_.push_back(std::move(inner));
  Bind(leave);
  CloseBlock();
  Bind(end);
}

void Translator::JumpOut(const Kt_ScriptOp& op) {
  const bool is_break = op.opcode == kScriptBreak;
  for (auto jump = jumps_.rbegin(); jump != jumps_.rend(); ++jump) {
    if (!(is_break ? jump->has_break : jump->has_continue)) continue;
    Leave(is_break ? jump->break_depth : jump->continue_depth);
    EmitJump(InstrOp::kJump, 0, is_break ? jump->break_label : jump->continue_label);
    return;
  }
  (void)Emit(InstrOp::kReturnNull);  // outside of any loop it ends the function
}

void Translator::AssignPath(const Kt_ScriptOp& op) {
  const Kt_ScriptOpSet& set = *op.GetSet();
  if (const char* const why = PathTo(op)) {
    (void)set;
    Walk(op, why);
  }
}

}  // namespace kt::detail

std::unique_ptr<kt::detail::LinkedCode> kt::detail::Translate(const Kt_ScriptFunc& func,
                                                              Kt_Script& script,
                                                              const FuncCode* by_name_of) {
  auto link = std::make_unique<LinkedCode>();
  const auto code = std::make_shared<FuncCode>();
  link->code = code;
  code->is_by_name = by_name_of != nullptr;
  code->param_count = by_name_of != nullptr ? by_name_of->param_count
                                            : static_cast<std::uint16_t>(func.GetArgs().GetCount());
  code->body_count = by_name_of != nullptr ? by_name_of->body_count : func.GetBody().GetCount();
  Translator(func, script, *code, *link).Run();
  return link;
}
