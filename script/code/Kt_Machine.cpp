// SPDX-License-Identifier: MIT
//
// The loop that runs translated functions.
//
// An instruction works on plain numbers at once and leaves everything else to a function of its own
// (Kt_Machine_Slow.cpp), which also knows registers that refer to a counted variable: a reference
// is never a number, so this costs the fast way nothing. Before such a function the place and the
// count of units are put where others see them, and taken back afterwards.
//
// Steps: an instruction at which statements begin carries their number, and subtracts it from what
// is left. Whether that is used up is looked at where a path must come by: on the way back of a
// loop and when a function begins. Where less is left than the function can use between two looks,
// and where a frame is to go on by names, the loop runs through a second table that stops before
// every instruction at which a statement begins (BeginStatements): there the statements are charged
// one by one. So the run ends at the same statement as in the walk.
//
// House rules:
//  1. No local with a destructor lives across a dispatch.
//  2. References to registers are good until the frame ends: blocks of the stack never move.
//  3. What may throw or run other code is called through KT_SLOW.
#include "script/code/Kt_Machine.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_NativeStack.h"
#include "classlib/value/Kt_VarInline.h"
#include "object/Kt_ExprStackObj.h"
#include "object/Kt_MemoryDoor.h"
#include "script/detail/Kt_Interpreter.h"

namespace kt::detail {

namespace {

constexpr const char16_t* kSource = u"Kt_ScriptFunc";
constexpr std::int64_t kStep = Kt_WorkMeter::kUnitsPerStep;

// As IsLong(), by the whole first word: then the compiler knows that nothing counted is
// overwritten.
KT_ALWAYS_INLINE bool IsLongWord(const Kt_Variant& value) {
  std::uint64_t word = 0;
  std::memcpy(&word, static_cast<const void*>(&value), sizeof word);
  return word == kTagLong;
}

// dst = left op right when all are plain numbers; false, and nothing done, otherwise.
template <class Op>
KT_ALWAYS_INLINE bool TryNumbers(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& dst) {
  if (KT_UNLIKELY(dst.IsCounted())) return false;
  if (KT_LIKELY(left.IsLong() && right.IsLong())) {
    Op::Longs(left.AsLong(), right.AsLong(), dst);
    return true;
  }
  if (KT_LIKELY(left.IsDouble() && right.IsDouble())) {
    dst.Set(Op::Doubles(left.AsDouble(), right.AsDouble()));
    return true;
  }
  switch (KindPair(left.GetTag(), right.GetTag())) {
    case KindPair(kTagLong, kTagDouble):
      dst.Set(Op::Doubles(left.AsLong(), right.AsDouble()));
      return true;
    case KindPair(kTagDouble, kTagLong):
      dst.Set(Op::Doubles(left.AsDouble(), right.AsLong()));
      return true;
    default: return false;
  }
}

template <class Op>
KT_ALWAYS_INLINE bool TryNumber(const Kt_Variant& left, kt_long right, Kt_Variant& dst) {
  if (KT_UNLIKELY(dst.IsCounted())) return false;
  if (KT_LIKELY(left.IsLong())) {
    Op::Longs(left.AsLong(), right, dst);
    return true;
  }
  if (!left.IsDouble()) return false;
  dst.Set(Op::Doubles(left.AsDouble(), right));
  return true;
}

// What a register of a variable stands for: itself, or the counted variable that it refers to.
KT_ALWAYS_INLINE Kt_Variant& Held(Kt_Variant& reg) {
  return KT_LIKELY(!reg.IsRef()) ? reg : reg.GetRefVariable()->GetValueW();
}

// The item of the list in a register of a variable; null when there is none.
KT_ALWAYS_INLINE const Kt_Variant* ItemOf(const Kt_Variant& reg, const Kt_Variant& index) {
  if (KT_UNLIKELY(!index.IsLong())) return nullptr;
  const Kt_Variant* const item = reg.ListItem(index.AsLong());
  if (KT_LIKELY(item != nullptr)) return item;
  return reg.IsRef() ? reg.GetRefVariable()->GetValue().ListItem(index.AsLong()) : nullptr;
}

// dst = value where neither has content that is counted; false, and nothing done, otherwise.
KT_ALWAYS_INLINE bool TryCopy(const Kt_Variant& value, Kt_Variant& dst) {
  if (KT_UNLIKELY(value.IsCounted() || dst.IsCounted())) return false;
  dst = value;
  return true;
}

// Lists up to here are copied and freed in one step that nothing stops.
constexpr kt_long kShortList = 62;

// Whether it is a short list of numbers: it lets go of nothing else.
KT_NOINLINE bool IsListOfNumbers(const Kt_Variant& value) {
  const kt_long count = value.ListCount();
  if (count == 0 || count > kShortList) return false;
  const Kt_Variant* const items = value.ListItem(0);
  // No way out before the end: mostly there are none.
  int counted = static_cast<int>(items[count - 1].IsCounted());
  for (kt_long at = 0; at + 1 < count; at += 2) {
    counted |= static_cast<int>(items[at].IsCounted());
    counted |= static_cast<int>(items[at + 1].IsCounted());
  }
  return counted == 0;
}

// Whether a register lets go of what it has without running code or stopping the run.
KT_ALWAYS_INLINE bool GoesQuietly(const Kt_Variant& reg) {
  return !reg.IsCounted() || reg.IsString() || reg.IsContentShared() || IsListOfNumbers(reg);
}

// Whether both are lists of one content that has items.
KT_ALWAYS_INLINE bool AreOneList(const Kt_Variant& left, const Kt_Variant& right) {
  return left.ListItem(0) != nullptr && left.ListItem(0) == right.ListItem(0);
}

KT_ALWAYS_INLINE bool IsSharedList(const Kt_Variant& value) {
  return value.IsList() && value.IsContentShared();
}

// What an item of a list takes, or leaves behind, without a care: numbers and texts.
KT_ALWAYS_INLINE bool IsNumberOrText(const Kt_Variant& value) {
  return !value.IsCounted() || value.IsString();
}

// list[index] = value for a short list that somebody else has too: it is copied first.
// REQUIRES: there is such an item, and `value` is a number.
KT_NOINLINE void SetInCopyOfShort(Kt_Variant& list, kt_long index, const Kt_Variant& value) {
  const Kt_Variant number = value;
  *list.ListItemW(index) = number;
}

// target = target op value, likewise.
KT_ALWAYS_INLINE bool TryCombine(Operator op, Kt_Variant& target, const Kt_Variant& value) {
  switch (op) {
    case Operator::kAdd: return TryNumbers<AddOp>(target, value, target);
    case Operator::kSub: return TryNumbers<SubOp>(target, value, target);
    case Operator::kMul: return TryNumbers<MulOp>(target, value, target);
    case Operator::kDiv: return TryNumbers<DivOp>(target, value, target);
    default: return false;
  }
}

// The operands of an instruction again where some are variables that refer to another place. What
// lies at `temps` and after them is no variable, and has a reference as its value.
struct Operands {
  const Kt_Variant* temps;

  KT_ALWAYS_INLINE const Kt_Variant& At(const Kt_Variant& value) const {
    return value.IsRef() && &value < temps ? value.GetRefVariable()->GetValue() : value;
  }
};

template <class Op>
KT_NOINLINE bool TryHeld(Operands at, const Kt_Variant& left, const Kt_Variant& right,
                         Kt_Variant& dst) {
  return TryNumbers<Op>(at.At(left), at.At(right), const_cast<Kt_Variant&>(at.At(dst)));
}

constexpr std::int16_t kRelations[] = {kCmpEqual,        kCmpEqual, kCmpGreater,
                                       kCmpGreaterEqual, kCmpLess,  kCmpLessEqual};

// The register that a field names, in `base`; or the constant, in what ConstsOf answers.
KT_ALWAYS_INLINE Kt_Variant& At(Kt_Variant* base, std::uint16_t field) {
  return *reinterpret_cast<Kt_Variant*>(reinterpret_cast<char*>(base) + Instr::Distance(field));
}
KT_ALWAYS_INLINE const Kt_Variant& At(const Kt_Variant* base, std::uint16_t field) {
  return At(const_cast<Kt_Variant*>(base), field);
}

enum class Truth { kNo, kYes, kUnknown };

// Whether two texts are equal that are too short to be charged. Those of one unit mostly are one.
KT_ALWAYS_INLINE bool IsSameShortText(const Kt_Variant& left, const Kt_Variant& right) {
  const std::u16string_view a = left.AsStringView();
  const std::u16string_view b = right.AsStringView();
  if (a.size() != b.size()) return false;
  if (a.data() == b.data() || a.empty()) return true;
  return a[0] == b[0] && std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0;
}

KT_NOINLINE Truth AreEqual(const Kt_Variant& left, const Kt_Variant& right) {
  if (!AreShortTexts(left, right)) return Truth::kUnknown;
  return IsSameShortText(left, right) ? Truth::kYes : Truth::kNo;
}

// Whether an instruction goes on with the test if the register at `field` is equal to a constant.
// A text in a temp is dropped there.
KT_ALWAYS_INLINE bool IsTextTest(const Instr& in, std::uint16_t field) {
  return (in.Op() == InstrOp::kUnlessEqualXX || in.Op() == InstrOp::kIfEqualXX) && !in.IsEntry() &&
         in.a == field && Instr::IsConst(in.b);
}

// The fields of constants are odd, so these begin one unit of them earlier.
const Kt_Variant* ConstsOf(const FuncCode& code) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): as a pointer it must not leave its array
  return reinterpret_cast<const Kt_Variant*>(reinterpret_cast<std::uintptr_t>(code.consts.data()) -
                                             Instr::Distance(1));
}

// Whether `left` relates to `right` as `op` says. REQUIRES: both are plain numbers (see below).
template <Operator kOperator, class T>
KT_ALWAYS_INLINE bool Holds(T left, T right) {
  constexpr std::int16_t kRelation =
      kRelations[static_cast<int>(kOperator) - static_cast<int>(Operator::kEqual)];
  return (Relate(left, right, kRelation) != 0) != (kOperator == Operator::kNotEqual);
}

constexpr bool IsEquality(Operator op) {
  return op == Operator::kEqual || op == Operator::kNotEqual;
}

template <Operator kOperator>
KT_ALWAYS_INLINE Truth TryRelation(const Kt_Variant& left, const Kt_Variant& right) {
  const auto give = [](bool holds) { return holds ? Truth::kYes : Truth::kNo; };
  if (KT_LIKELY(left.IsLong() && right.IsLong())) {
    return give(Holds<kOperator>(left.AsLong(), right.AsLong()));
  }
  if (KT_LIKELY(left.IsDouble() && right.IsDouble())) {
    return give(Holds<kOperator>(left.AsDouble(), right.AsDouble()));
  }
  switch (KindPair(left.GetTag(), right.GetTag())) {
    case KindPair(kTagLong, kTagDouble):
      return give(Holds<kOperator, double>(left.AsLong(), right.AsDouble()));
    case KindPair(kTagDouble, kTagLong):
      return give(Holds<kOperator, double>(left.AsDouble(), right.AsLong()));
    default: return Truth::kUnknown;
  }
}

template <Operator kOperator>
KT_NOINLINE Truth TryHeldRelation(Operands at, const Kt_Variant& left, const Kt_Variant& right) {
  return TryRelation<kOperator>(at.At(left), at.At(right));
}

template <Operator kOperator>
KT_ALWAYS_INLINE Truth TryRelationTo(const Kt_Variant& left, kt_long right) {
  if (KT_LIKELY(left.IsLong())) {
    return Holds<kOperator>(left.AsLong(), right) ? Truth::kYes : Truth::kNo;
  }
  if (!left.IsDouble()) return Truth::kUnknown;
  return Holds<kOperator, double>(left.AsDouble(), right) ? Truth::kYes : Truth::kNo;
}

}  // namespace

// Frames ------------------------------------------------------------------------------------------

Machine::Machine(RunState& run) : run_(run), script_(run.GetScript()) {}

Machine::~Machine() {
  for (CodeFrame* frame = first_frame_.next; frame != nullptr;) {
    CodeFrame* const next = frame->next;
    delete frame;
    frame = next;
  }
}

CodeFrame* Machine::NextFrame() {
  CodeFrame& before = current_ != nullptr ? *current_ : first_frame_;
  if (before.next == nullptr) {
    before.next = new CodeFrame;
    before.next->before = &before;
  }
  return before.next;
}

// Gives the frame its registers, from `wanted` on when they fit before `end`; otherwise in the next
// block, where the arguments are moved. False when calls nest too deeply.
bool Machine::PlaceRegisters(CodeFrame& frame, Kt_Variant* wanted, Kt_Variant* end,
                             std::size_t block, std::size_t count, int arg_count) {
  const auto args = static_cast<std::size_t>(arg_count);
  if (depth_ > kMostFrames) return false;
  if (wanted != nullptr && static_cast<std::size_t>(end - wanted) >= std::max(count, args)) {
    frame.base = wanted;
    frame.end = end;
    frame.block = block;
    return true;
  }
  const std::size_t next = wanted != nullptr ? block + 1 : 0;
  const std::size_t least = std::max(count, args);
  if (next < blocks_.size() && blocks_[next].count < least) blocks_.resize(next);
  if (next == blocks_.size()) {
    const std::size_t size = std::max(next == 0 ? kFirstBlock : kBlock, least);
    blocks_.push_back({std::make_unique<Kt_Variant[]>(size), size});
  }
  frame.base = blocks_[next].registers.get();
  frame.end = frame.base + blocks_[next].count;
  frame.block = next;
  if (wanted != nullptr) {
    for (std::size_t arg = 0; arg < args; ++arg) frame.base[arg] = std::move(wanted[arg]);
  }
  return true;
}

// An argument that refers to an item of a list: the function gets its value, and the item the
// argument's at the end.
void Machine::NoteItem(CodeFrame& frame, std::uint16_t reg) {
  Kt_Variant value = frame.base[reg].Dereference();
  frame.items.emplace_back(reg, std::move(frame.base[reg]));
  frame.base[reg] = std::move(value);
}

void Machine::BindArgs(CodeFrame& frame, int arg_count) {
  const FuncCode& code = *frame.code;
  const int params = code.param_count;
  Kt_Variant* const base = frame.base;
  for (int arg = 0; arg < arg_count; ++arg) {
    if (arg >= params) {
      base[arg].Clear();
    } else if (KT_UNLIKELY(base[arg].IsRef() && base[arg].GetRefItem() >= 0)) {
      NoteItem(frame, static_cast<std::uint16_t>(arg));
    }
  }
  for (int arg = arg_count; arg < params; ++arg) base[arg].Clear();
  for (int reg = params; reg < code.var_count; ++reg) base[reg].SetUndeclared();
}

void Machine::ClearFrame(CodeFrame& frame) {
  for (auto& [reg, item] : frame.items) {
    const Kt_Variant& value = frame.base[reg];
    if (!value.IsUndeclared()) (void)item.AssignThroughRef(value);
  }
  frame.items.clear();
  frame.members.clear();
  while (!frame.scopes.empty()) frame.scopes.pop_back();
  frame.is_stale = false;
}

// row[k] = v; g[y] = row: whether the instructions at `next` store the list of register `row` in
// the item of an own list that has the same content, which nobody else has. Then the row may be
// changed for both at once and need not be copied: the store cannot fail, and nobody looks between.
bool Machine::IsPutBack(const CodeFrame& frame, const Instr* next, std::uint16_t row) const {
  const FuncCode& func = *frame.code;
  const Kt_Variable* global = nullptr;
  if (next->Op() == InstrOp::kBindGlobal) {
    const LinkedCode& link = *frame.link;
    global = link.globals_version == script_.GetVariables().GetVersion() ? link.globals[next->b]
                                                                         : nullptr;
    if (global == nullptr || At(frame.base, next->a).GetRefVariable() != global) return false;
    ++next;
  }
  const bool is_store = next->Op() == InstrOp::kSetElement && next->c == row && next->a != row &&
                        Instr::Operand(row) < func.temp_base;
  if (!is_store) return false;
  const Kt_Variant& outer = Held(At(frame.base, next->a));
  if (global != nullptr && &outer != &global->GetValue()) return false;
  const Kt_Variant& index = At(Instr::IsConst(next->b) ? ConstsOf(func) : frame.base, next->b);
  const Kt_Variant& list = Held(At(frame.base, row));
  const Kt_Variant* const item = index.IsLong() ? outer.ListItem(index.AsLong()) : nullptr;
  if (item == nullptr || outer.IsContentShared() || !AreOneList(*item, list)) return false;
  auto& place = *const_cast<Kt_Variant*>(item);
  place.Clear();
  const bool is_alone = !list.IsContentShared();
  place = list;
  return is_alone;
}

// A register that stands for a global keeps it until it is bound anew. Those are needed that the
// expression in hand has bound.
void Machine::LetGlobalsGo() {
  for (CodeFrame* frame = current_; frame != nullptr && frame != &first_frame_;
       frame = frame->before) {
    const FuncCode& func = *frame->code;
    if (frame->pc == nullptr || func.global_of_register.empty()) continue;
    const std::size_t pc = PcOf(*frame);
    const FuncCode::Entry* const entry = func.EntryAt(pc);
    const Instr* const first = func.instrs.data() + (entry != nullptr ? entry->pc : 0);
    const Instr* const last = func.instrs.data() + pc;
    for (std::size_t at = 0; at < func.global_of_register.size(); ++at) {
      const auto reg = static_cast<std::uint16_t>(func.box_base + at);
      const bool is_needed = std::any_of(first, last, [reg](const Instr& in) {
        return in.Op() == InstrOp::kBindGlobal && in.A() == reg;
      });
      if (!is_needed) frame->base[reg].Clear();
    }
  }
}

// Empties the registers and leaves the frame.
void Machine::EndFrame(CodeFrame& frame) {
  ClearFrame(frame);
  for (std::uint16_t reg = 0; reg < frame.reg_count; ++reg) frame.base[reg].Clear();
  PopFrame(frame);
}

void Machine::PopFrame(CodeFrame& frame) {
  run_.Pop();
  --depth_;
  current_ = frame.before == &first_frame_ ? nullptr : frame.before;
}

// What a call ends with when its function has failed; see Interpreter::CallFunc.
kt_long Machine::AfterCall(kt_long code) {
  if (code == kErrTooDeep || code == kErrNoMemory) run_.NoteStop(code);
  if (run_.GetStopCode() != kOk) return run_.Check(&script_);
  if (code != kOk) PlaceFailure({}, -1, 0);
  return code;
}

LinkedCode* Machine::CodeOf(const Kt_ScriptFunc& func, Kt_Script& script) {
  std::shared_ptr<LinkedCode>& slot = func.CodeSlot();
  if (KT_UNLIKELY(slot == nullptr)) {
    slot = MakeCode(func, script, nullptr);
    // What was made while the run was being stopped may lack something.
    if (Kt_WorkMeter::CurrentStop() != kOk || slot->code->is_for_now) {
      slot.reset();
      return nullptr;
    }
  }
  return slot->code->why_walk == nullptr ? slot.get() : nullptr;
}

// Begins a call: the frame after the one in hand, with its registers from `wanted` on.
kt_long Machine::Begin(const Kt_ScriptFunc& func, LinkedCode& link, Kt_Variant* wanted,
                       int arg_count) {
  const FuncCode& code = *link.code;
  CodeFrame& frame = *NextFrame();
  CodeFrame* const outer = current_;
  frame.func = &func;
  frame.code = &code;
  frame.link = &link;
  frame.pc = nullptr;
  frame.op = nullptr;
  frame.up = nullptr;
  frame.base = wanted;
  frame.reg_count = 0;
  frame.failures = failure_count;
  run_.Push(frame);
  current_ = &frame;
  ++depth_;
  const bool has_room =
      kt_hasstack() &&
      PlaceRegisters(frame, wanted, outer != nullptr ? outer->end : nullptr,
                     outer != nullptr ? outer->block : 0, code.register_count, arg_count);
  const kt_long failed = has_room ? run_.Tick(&script_) : run_.StopTooDeep(&script_);
  if (failed != kOk) {
    EndFrame(frame);
    return failed;
  }
  frame.reg_count = std::max(code.register_count, static_cast<std::uint16_t>(arg_count));
  return kOk;
}

kt_long Machine::Call(const Kt_ScriptFunc& func, LinkedCode& link, Kt_Variant* args, int arg_count,
                      Kt_Variant& result) {
  // More than a function can have are dropped at once.
  const int count = std::min<int>(arg_count, link.code->param_count);
  Kt_Variant* const top = current_ != nullptr ? current_->base + current_->reg_count : nullptr;
  CodeFrame* const outer = current_;
  kt_long ended = kOk;
  stops_late_ = false;
  try {
    ended = Begin(func, link, top, 0);
    if (ended == kOk) {
      for (int arg = 0; arg < count; ++arg) current_->base[arg] = std::move(args[arg]);
      BindArgs(*current_, count);
    }
  } catch (const std::bad_alloc& failed) {
    (void)kt::NoteMemoryFailure(failed);
    ended = AfterCall(kt::ReportNoMemory(&script_, kSource, func.GetName()));
    if (current_ != outer) EndFrame(*current_);
  }
  if (ended == kOk) ended = Run(*current_, result);
  if (outer == nullptr) Trim();
  return ended;
}

// What deep recursion has taken goes when nothing runs any more.
void Machine::Trim() {
  constexpr int kKeptFrames = 256;
  if (blocks_.size() > 1) blocks_.resize(1);
  CodeFrame* last = &first_frame_;
  for (int kept = 0; kept < kKeptFrames && last->next != nullptr; ++kept) last = last->next;
  for (CodeFrame* frame = std::exchange(last->next, nullptr); frame != nullptr;) {
    delete std::exchange(frame, frame->next);
  }
}

kt_long Machine::CallFresh(const Kt_ScriptFunc& func, Kt_Variant* args, int arg_count,
                           Kt_Variant& result) {
  LinkedCode* const link = FreshCode(func);
  if (link == nullptr) return Interpreter::CallByWalk(func, args, arg_count, result);
  return Call(func, *link, args, arg_count, result);
}

// A function that has failed ends; its callers fail in turn, until one goes on.
kt_long Machine::Run(CodeFrame& entry, Kt_Variant& result) {
  kt_long failure = kOk;
  for (;;) {
    try {
      return Loop(entry, result, failure);
    } catch (const WorkStopped&) {
      failure = run_.GetStopCode();
    } catch (const std::bad_alloc& failed) {
      (void)kt::NoteMemoryFailure(failed);
      failure = kt::ReportNoMemory(&script_, kSource, current_->func->GetName());
    } catch (...) {
      // A callback of the host has thrown: that goes through.
      while (current_ != &entry) EndFrame(*current_);
      EndFrame(entry);
      throw;
    }
  }
}

bool Machine::Recover(CodeFrame& entry, kt_long& code) {
  for (;;) {
    CodeFrame& frame = *current_;
    if (RecoverHere(frame, code)) return true;
    for (std::uint16_t reg = frame.code->var_count; reg < frame.reg_count; ++reg) {
      frame.base[reg].Clear();
    }
    ClearFrame(frame);
    // Before it is asked whether the run has to stop: so much may go that this stops it.
    for (std::uint16_t reg = 0; reg < frame.code->var_count; ++reg) frame.base[reg].Clear();
    code = AfterCall(code);
    const bool is_noted = failure_count != frame.failures && Kt_RunError::Last().code == code;
    EndFrame(frame);
    if (&frame == &entry) return false;
    if (!is_noted) {
      const CodeFrame& caller = *current_;
      (void)NoteSilentCall(caller.code->calls[caller.pc[-1].C()].name, code);
    }
  }
}

// Whether the statement that has failed gives the failure a meaning: an object that was destroyed
// reads as empty, and a `return` returns all the same.
bool Machine::RecoverHere(CodeFrame& frame, kt_long& code) {
  if (frame.pc == nullptr || run_.GetStopCode() != kOk) return false;
  const FuncCode& func = *frame.code;
  const auto pc = static_cast<std::uint32_t>(frame.pc - func.instrs.data()) - 1;
  const FuncCode::ExprRange* range = nullptr;
  for (const FuncCode::ExprRange& at : func.ranges) {
    if (pc < at.begin || pc >= at.end) continue;
    at.expr->PlaceFailure();  // the innermost comes first
    range = &at;
  }
  if (range == nullptr) return false;
  if (code == kObjectGone && !run_.IsHostValid()) code = kAbort;
  const FuncCode::Entry* const statement = func.EntryAt(pc);
  const bool returns = statement != nullptr && statement->op->opcode == kScriptReturn &&
                       code != kAbort && code != kErrTooDeep && code != kErrNoMemory;
  if (code != kObjectGone && !returns) return false;
  for (std::uint16_t reg = func.temp_base; reg < func.register_count; ++reg) {
    frame.base[reg].Clear();
  }
  frame.members.clear();
  if (returns) {
    frame.pc = func.instrs.data() + func.return_null;
    return true;
  }
  if (frame.is_stale && IsValueOfStatement(frame, *range->expr)) {
    Kt_Variant value;
    code = FinishByName(frame, value);
    return code == kOk;
  }
  if (range->dst != FuncCode::kNoRegister) Store(frame, range->dst, Kt_Variant());
  frame.pc = func.instrs.data() + range->resume;
  return true;
}

// The loop ----------------------------------------------------------------------------------------

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"  // labels as values
#define KT_DISPATCH() goto* table[pc++->code]
// An instruction at which statements begin has a way in of its own.
#define KT_CASE(name)              \
  entry_##name : KT_COUNT_STEPS(); \
  op_##name:
#else
#define KT_DISPATCH() goto dispatch
#define KT_CASE(name) case InstrOp::k##name:
#endif

// The instruction that runs: it lies before the place in hand. Its operands are read where they
// are; a register or constant is named by how far it is, which takes no arithmetic.
#define KT_IN pc[-1]
#define KT_COUNT_STEPS() left -= std::int64_t{KT_IN.steps} * kStep
#define KT_NEXT() KT_DISPATCH()

// What is slow reads the operands anew: nothing is kept for it that the fast way has no use for.
#if defined(__GNUC__)
#define KT_FORGET() asm("" : "+r"(pc))
#else
#define KT_FORGET() ((void)0)
#endif

#define KT_SAVE()        \
  do {                   \
    KT_FORGET();         \
    frame->pc = pc;      \
    meter.SetLeft(left); \
  } while (false)

// Calls what may be slow, throw, charge or run other code.
#define KT_SLOW(call) \
  do {                \
    KT_SAVE();        \
    code = (call);    \
    goto after_slow;  \
  } while (false)

// The same, where it may go on elsewhere.
#define KT_SLOW_AND_ON(call) \
  do {                       \
    KT_SAVE();               \
    code = (call);           \
    pc = frame->pc;          \
    goto after_slow;         \
  } while (false)

#define KT_R(field) At(base, field)
#define KT_X(field) At(Instr::IsConst(field) ? consts : base, field)
// A jump back may be one too many.
#define KT_LOOK()                   \
  if (KT_UNLIKELY(left < margin)) { \
    KT_FORGET();                    \
    table = kStepTable;             \
  }

// A temp that has been read lets go of its text.
#define KT_DROP_TEXT(field)                                                        \
  if (!Instr::IsConst(field) && Instr::Operand(field) >= frame->code->temp_base) { \
    KT_R(field).Clear();                                                           \
  }

// Nothing stops the run before the next instruction while nobody looks.
#define KT_IS_PUT_BACK(row) (table == kFastTable && IsPutBack(*frame, pc, row))

// Operands of the instruction for the functions beside the loop.
#define KT_A() Instr::Operand(KT_IN.a)
#define KT_B() Instr::Operand(KT_IN.b)
#define KT_C() Instr::Operand(KT_IN.c)

#define KT_HELD() (Operands{base + frame->code->temp_base})

// One loop by nature: what a machine dispatches to has to stand in one function.
// NOLINTNEXTLINE(readability-function-size)
kt_long Machine::Loop(CodeFrame& entry, Kt_Variant& result, kt_long failure) {
#if defined(__GNUC__)
#define KT_CODE_OP(name, operands, text) &&op_##name, &&entry_##name,
  static const void* const kFastTable[] = {
#include "script/code/Kt_CodeOps.inc"
  };
#undef KT_CODE_OP
#define KT_CODE_OP(name, operands, text) &&op_##name, &&step,
  static const void* const kStepTable[] = {
#include "script/code/Kt_CodeOps.inc"
  };
#undef KT_CODE_OP
  const void* const* table = kFastTable;
#else
  constexpr bool kFastTable = false;
  constexpr bool kStepTable = true;
  bool table = kFastTable;
#endif
  Kt_WorkMeter& meter = run_.Meter();
  CodeFrame* frame = current_;
  Kt_Variant* base = nullptr;
  const Kt_Variant* consts = nullptr;  // see At
  const Instr* pc = nullptr;
  std::int64_t left = meter.GetLeft();
  std::int64_t margin = 0;
  kt_long code = failure;
  bool flag = false;
  if (failure != kOk) goto failed;

enter_frame:
  frame = current_;
  base = frame->base;
  consts = ConstsOf(*frame->code);
  pc = frame->pc != nullptr ? frame->pc : frame->code->instrs.data();
  margin = frame->code->margin;
  table = left < margin || frame->is_stale ? kStepTable : kFastTable;
  KT_NEXT();

after_slow:
  left = meter.GetLeft();
  if (KT_UNLIKELY(code != kOk)) goto failed;
  if (KT_UNLIKELY(meter.GetStopCode() != kOk) && !std::exchange(stops_late_, false)) {
    code = run_.Check(&script_);
    goto failed;
  }
  if (KT_UNLIKELY(left < margin || frame->is_stale)) table = kStepTable;
  KT_NEXT();

failed:
  if (!Recover(entry, code)) return code;
  left = meter.GetLeft();
  goto enter_frame;

step:
  KT_SAVE();
  code = BeginStatements(*frame, flag);
  left = meter.GetLeft();
  if (KT_UNLIKELY(code != kOk)) goto failed;
  if (flag) goto enter_frame;
  if (left >= margin && !frame->is_stale) table = kFastTable;
#if defined(__GNUC__)
  goto* kFastTable[KT_IN.code & ~Instr::kEntry];
#else
  goto run;
dispatch:
  ++pc;
  if (KT_IN.IsEntry()) {
    if (table) goto step;
    KT_COUNT_STEPS();
  }
run:
  switch (KT_IN.Op()) {
#endif

  KT_CASE(Move) {
  move:;
    const Kt_Variant& value = KT_X(KT_IN.b);
    Kt_Variant& dst = KT_R(KT_IN.a);
    if (KT_LIKELY(TryCopy(value, dst))) KT_NEXT();
    // What a string was can go on the spot; other contents may run code when they go.
    if (KT_LIKELY(!dst.IsCounted() || dst.IsString())) {
      if (KT_LIKELY(!value.IsCounted() || Instr::IsConst(KT_IN.b))) {
        dst = value;
        KT_NEXT();
      }
      if (KT_LIKELY(value.IsString() || value.IsList())) {
        if (Instr::Operand(KT_IN.b) < frame->code->temp_base) {
          dst = value;
        } else {
          Kt_Variant& temp = KT_R(KT_IN.b);
          dst.Swap(temp);
          if (KT_UNLIKELY(temp.IsCounted())) temp.Clear();
        }
        KT_NEXT();
      }
    }
    if (!dst.IsCounted() && value.IsRef()) {
      const Kt_Variant& held = KT_HELD().At(value);
      if (!held.IsCounted()) {
        dst = held;
        KT_NEXT();
      }
    }
    KT_SLOW(Move(*frame, KT_A(), KT_B()));
  }
  KT_CASE(MoveR) {
    if (KT_LIKELY(TryCopy(KT_R(KT_IN.b), KT_R(KT_IN.a)))) KT_NEXT();
    KT_FORGET();
    goto move;
  }
  KT_CASE(GetGlobal) {
    const LinkedCode& link = *frame->link;
    if (KT_LIKELY(link.globals_version == script_.GetVariables().GetVersion())) {
      const Kt_Variable* const place = link.globals[KT_IN.b];
      Kt_Variant& dst = KT_R(KT_IN.a);
      if (KT_LIKELY(place != nullptr && !dst.IsCounted())) {
        const Kt_Variant& value = place->GetValue();
        if (KT_LIKELY(!value.IsCounted() || value.IsString() || value.IsList())) {
          dst = value;
          KT_NEXT();
        }
      }
    }
    KT_SLOW(GetGlobal(*frame, KT_IN));
  }
  KT_CASE(SetGlobal) {
    const LinkedCode& link = *frame->link;
    if (KT_LIKELY(link.globals_version == script_.GetVariables().GetVersion())) {
      Kt_Variable* const place = link.globals[KT_IN.a];
      const Kt_Variant& value = KT_X(KT_IN.b);
      if (KT_LIKELY(place != nullptr && !place->GetValue().IsCounted() && !value.IsCounted())) {
        place->GetValueW() = value;
        KT_NEXT();
      }
    }
    KT_SLOW(SetGlobal(*frame, KT_IN));
  }
  KT_CASE(BindGlobal) {
    const LinkedCode& link = *frame->link;
    if (KT_LIKELY(link.globals_version == script_.GetVariables().GetVersion())) {
      Kt_Variable* const place = link.globals[KT_IN.b];
      Kt_Variant& reg = KT_R(KT_IN.a);
      if (KT_LIKELY(place != nullptr && reg.GetRefVariable() == place)) KT_NEXT();
      if (KT_LIKELY(place != nullptr && !reg.IsCounted())) {
        reg.SetRef(*place);
        KT_NEXT();
      }
    }
    KT_SLOW_AND_ON(BindGlobal(*frame, KT_IN));
  }
  KT_CASE(Ref) {
    const Kt_Variant& variable = KT_R(KT_IN.b);
    Kt_Variant& dst = KT_R(KT_IN.a);
    if (KT_LIKELY(variable.IsRef() && !dst.IsCounted())) {
      dst = variable;
      KT_NEXT();
    }
    KT_SLOW((Ref(*frame, KT_IN), kOk));
  }
  KT_CASE(MakeList) KT_SLOW(MakeList(*frame, KT_IN));
  KT_CASE(DeclareArray) KT_SLOW(DeclareArray(*frame, KT_IN));
  KT_CASE(AssignNew) KT_SLOW(AssignNew(*frame, KT_IN));

#define KT_ARITHMETIC(name)                                                              \
  KT_CASE(name##RR) {                                                                    \
    if (KT_LIKELY(TryNumbers<name##Op>(KT_R(KT_IN.b), KT_R(KT_IN.c), KT_R(KT_IN.a)))) {  \
      KT_NEXT();                                                                         \
    }                                                                                    \
    KT_FORGET();                                                                         \
    if (TryHeld<name##Op>(KT_HELD(), KT_R(KT_IN.b), KT_R(KT_IN.c), KT_R(KT_IN.a))) {     \
      KT_NEXT();                                                                         \
    }                                                                                    \
    KT_SLOW(Binary(*frame, Operator::k##name, KT_A(), KT_B(), KT_C()));                  \
  }                                                                                      \
  KT_CASE(name##RI) {                                                                    \
    const auto number = static_cast<std::int16_t>(KT_IN.c);                              \
    if (KT_LIKELY(TryNumber<name##Op>(KT_R(KT_IN.b), number, KT_R(KT_IN.a)))) KT_NEXT(); \
    KT_FORGET();                                                                         \
    if (TryHeld<name##Op>(KT_HELD(), KT_R(KT_IN.b), kt_long{number}, KT_R(KT_IN.a))) {   \
      KT_NEXT();                                                                         \
    }                                                                                    \
    KT_SLOW(BinaryWith(*frame, Operator::k##name, KT_A(), KT_B(), number));              \
  }                                                                                      \
  KT_CASE(name##XX) {                                                                    \
    if (KT_LIKELY(TryNumbers<name##Op>(KT_X(KT_IN.b), KT_X(KT_IN.c), KT_R(KT_IN.a)))) {  \
      KT_NEXT();                                                                         \
    }                                                                                    \
    KT_SLOW(Binary(*frame, Operator::k##name, KT_A(), KT_B(), KT_C()));                  \
  }
  KT_ARITHMETIC(Add)
  KT_ARITHMETIC(Sub)
  KT_ARITHMETIC(Mul)
  KT_ARITHMETIC(Div)
  KT_ARITHMETIC(Mod)
#undef KT_ARITHMETIC

#define KT_VALUE_RELATION(name)                                                       \
  KT_CASE(name) {                                                                     \
    const Truth truth = TryRelation<Operator::k##name>(KT_X(KT_IN.b), KT_X(KT_IN.c)); \
    Kt_Variant& dst = KT_R(KT_IN.a);                                                  \
    if (KT_LIKELY(truth != Truth::kUnknown && !dst.IsCounted())) {                    \
      dst.Set(kt_long{truth == Truth::kYes});                                         \
      KT_NEXT();                                                                      \
    }                                                                                 \
    KT_SLOW(Binary(*frame, Operator::k##name, KT_A(), KT_B(), KT_C()));               \
  }
  KT_VALUE_RELATION(Equal)
  KT_VALUE_RELATION(NotEqual)
  KT_VALUE_RELATION(Greater)
  KT_VALUE_RELATION(GreaterEqual)
  KT_VALUE_RELATION(Less)
  KT_VALUE_RELATION(LessEqual)
#undef KT_VALUE_RELATION
#define KT_LOGIC(name, op)                                                  \
  KT_CASE(name) {                                                           \
    const Kt_Variant& first = KT_X(KT_IN.b);                                \
    const Kt_Variant& second = KT_X(KT_IN.c);                               \
    Kt_Variant& dst = KT_R(KT_IN.a);                                        \
    if (KT_LIKELY(first.IsLong() && second.IsLong() && !dst.IsCounted())) { \
      dst.Set(kt_long{first.AsLong() != 0 op second.AsLong() != 0});        \
      KT_NEXT();                                                            \
    }                                                                       \
    KT_SLOW(Binary(*frame, Operator::k##name, KT_A(), KT_B(), KT_C()));     \
  }
  KT_LOGIC(And, &&)
  KT_LOGIC(Or, ||)
#undef KT_LOGIC
  KT_CASE(Not) {
    const Kt_Variant& value = KT_X(KT_IN.c);
    Kt_Variant& dst = KT_R(KT_IN.a);
    if (KT_LIKELY(value.IsLong() && !dst.IsCounted())) {
      dst.Set(kt_long{value.AsLong() == 0});
      KT_NEXT();
    }
    KT_SLOW(Binary(*frame, Operator::kNot, KT_A(), KT_B(), KT_C()));
  }
  KT_CASE(LoneAnd) KT_SLOW(Binary(*frame, Operator::kLoneAnd, KT_A(), KT_B(), KT_C()));

#define KT_COMPOUND(name)                                                        \
  KT_CASE(name##To) {                                                            \
    Kt_Variant& dst = KT_R(KT_IN.a);                                             \
    if (KT_LIKELY(TryNumbers<name##Op>(dst, KT_X(KT_IN.b), dst))) KT_NEXT();     \
    KT_FORGET();                                                                 \
    if (dst.IsRef()) {                                                           \
      Kt_Variant& held = Held(dst);                                              \
      if (KT_LIKELY(TryNumbers<name##Op>(held, KT_X(KT_IN.b), held))) KT_NEXT(); \
    }                                                                            \
    if (TryHeld<name##Op>(KT_HELD(), dst, KT_X(KT_IN.b), dst)) KT_NEXT();        \
    KT_SLOW(Combine(*frame, Operator::k##name, KT_A(), KT_B()));                 \
  }
  KT_COMPOUND(Add)
  KT_COMPOUND(Sub)
  KT_COMPOUND(Mul)
  KT_COMPOUND(Div)
  KT_COMPOUND(Mod)
#undef KT_COMPOUND
  KT_CASE(Step) {
    Kt_Variant& value = KT_R(KT_IN.a);
    if (KT_LIKELY(IsLongWord(value))) {
      AddOp::Longs(value.AsLong(), static_cast<std::int16_t>(KT_IN.c), value);
      KT_NEXT();
    }
    if (value.IsRef() && IsLongWord(Held(value))) {
      Kt_Variant& held = Held(value);
      AddOp::Longs(held.AsLong(), static_cast<std::int16_t>(KT_IN.c), held);
      KT_NEXT();
    }
    KT_SLOW(Step(*frame, KT_IN));
  }
// The end of a counting loop: a whole number that stays one, and its test, which stands
// there as well for those who come from elsewhere.
#define KT_STEP_IF(form, relation, bound)                                                        \
  KT_CASE(StepIf##form) {                                                                        \
    Kt_Variant& value = KT_R(KT_IN.a);                                                           \
    const Instr& test = *pc;                                                                     \
    const std::int64_t next = std::int64_t{value.AsLong()} + static_cast<std::int16_t>(KT_IN.c); \
    if (KT_LIKELY(IsLongWord(value) && bound.IsLong() && next == static_cast<kt_long>(next))) {  \
      value.Set(static_cast<kt_long>(next));                                                     \
      ++pc;                                                                                      \
      if (KT_LIKELY(next relation bound.AsLong())) {                                             \
        pc += static_cast<std::int16_t>(test.c);                                                 \
        KT_LOOK();                                                                               \
      }                                                                                          \
      KT_NEXT();                                                                                 \
    }                                                                                            \
    KT_SLOW(Step(*frame, KT_IN));                                                                \
  }
#define KT_TEST_NUMBER Kt_Variant(kt_long{static_cast<std::int16_t>(test.b)})
  KT_STEP_IF(LessRR, <, KT_R(test.b))
  KT_STEP_IF(LessRI, <, KT_TEST_NUMBER)
  KT_STEP_IF(LessEqualRR, <=, KT_R(test.b))
  KT_STEP_IF(LessEqualRI, <=, KT_TEST_NUMBER)
  KT_STEP_IF(GreaterRI, >, KT_TEST_NUMBER)
  KT_STEP_IF(GreaterEqualRI, >=, KT_TEST_NUMBER)
#undef KT_TEST_NUMBER
#undef KT_STEP_IF
// The same with a step of any size. What is not done at once leaves the test to that instruction.
#define KT_ADD_TO_IF(form, relation)                                                      \
  KT_CASE(AddToIf##form) {                                                                \
    Kt_Variant& value = KT_R(KT_IN.a);                                                    \
    const Kt_Variant& step = KT_X(KT_IN.b);                                               \
    const Instr& test = *pc;                                                              \
    const Kt_Variant& bound = KT_R(test.b);                                               \
    const std::int64_t next = std::int64_t{value.AsLong()} + step.AsLong();               \
    if (KT_LIKELY(IsLongWord(value) && step.IsLong() && bound.IsLong() &&                 \
                  next == static_cast<kt_long>(next))) {                                  \
      value.Set(static_cast<kt_long>(next));                                              \
      ++pc;                                                                               \
      if (KT_LIKELY(value.AsLong() relation bound.AsLong())) {                            \
        pc += static_cast<std::int16_t>(test.c);                                          \
        KT_LOOK();                                                                        \
      }                                                                                   \
      KT_NEXT();                                                                          \
    }                                                                                     \
    Kt_Variant& dst = Held(value);                                                        \
    if (TryNumbers<AddOp>(dst, step, dst) || TryHeld<AddOp>(KT_HELD(), dst, step, dst)) { \
      KT_NEXT();                                                                          \
    }                                                                                     \
    KT_SLOW(Combine(*frame, Operator::kAdd, KT_A(), KT_B()));                             \
  }
  KT_ADD_TO_IF(LessRR, <)
  KT_ADD_TO_IF(LessEqualRR, <=)
#undef KT_ADD_TO_IF
  KT_CASE(StepBefore) {
    Kt_Variant& value = KT_R(KT_IN.b);
    Kt_Variant& dst = KT_R(KT_IN.a);
    if (KT_LIKELY(value.IsLong() && !dst.IsCounted())) {
      AddOp::Longs(value.AsLong(), static_cast<std::int16_t>(KT_IN.c), value);
      dst = value;
      KT_NEXT();
    }
    KT_SLOW(StepValue(*frame, KT_IN, true));
  }
  KT_CASE(StepAfter) {
    Kt_Variant& value = KT_R(KT_IN.b);
    Kt_Variant& dst = KT_R(KT_IN.a);
    if (KT_LIKELY(value.IsLong() && !dst.IsCounted() && &dst != &value)) {
      dst = value;
      AddOp::Longs(value.AsLong(), static_cast<std::int16_t>(KT_IN.c), value);
      KT_NEXT();
    }
    KT_SLOW(StepValue(*frame, KT_IN, false));
  }
  KT_CASE(JoinBegin) KT_SLOW(JoinBegin(*frame, KT_IN));
  KT_CASE(JoinEnd) KT_SLOW(JoinEnd(*frame, KT_IN));

// An item that is only compared, by the test that follows, which stands there as well for items
// that are no numbers.
#define KT_ELEMENT_TEST(form, sense, relation)                                   \
  KT_CASE(Element##form) {                                                       \
    const Kt_Variant& index = KT_X(KT_IN.c);                                     \
    const Instr& test = *pc;                                                     \
    const Kt_Variant* const item = ItemOf(KT_R(KT_IN.b), index);                 \
    const Truth truth = KT_LIKELY(item != nullptr) ? relation : Truth::kUnknown; \
    if (KT_UNLIKELY(truth == Truth::kUnknown)) goto element;                     \
    ++pc;                                                                        \
    if ((truth == Truth::kYes) == sense) {                                       \
      pc += static_cast<std::int16_t>(test.c);                                   \
      if (sense) KT_LOOK();                                                      \
    }                                                                            \
    KT_NEXT();                                                                   \
  }
#define KT_ELEMENT_TESTS(name, prefix, sense)                                                 \
  KT_ELEMENT_TEST(prefix##name##RI, sense,                                                    \
                  TryRelationTo<Operator::k##name>(*item, static_cast<std::int16_t>(test.b))) \
  KT_ELEMENT_TEST(prefix##name##RR, sense, TryRelation<Operator::k##name>(*item, KT_R(test.b)))
  KT_ELEMENT_TESTS(Equal, Unless, false)
  KT_ELEMENT_TESTS(Less, Unless, false)
  KT_ELEMENT_TESTS(Greater, Unless, false)
  KT_ELEMENT_TESTS(Less, If, true)
  KT_ELEMENT_TESTS(Greater, If, true)
#undef KT_ELEMENT_TESTS
#undef KT_ELEMENT_TEST
  KT_CASE(Element) {
  element:;
    const Kt_Variant& index = KT_X(KT_IN.c);
    Kt_Variant& dst = KT_R(KT_IN.a);
    const Kt_Variant* const item = ItemOf(KT_R(KT_IN.b), index);
    if (KT_LIKELY(item != nullptr)) {
      if (KT_LIKELY(TryCopy(*item, dst))) KT_NEXT();
      if (dst.IsList() && AreOneList(*item, dst)) KT_NEXT();  // as in the round before
      if (item->IsString() && IsTextTest(*pc, KT_IN.a) && KT_A() >= frame->code->temp_base) {
        const Truth is_same = dst.IsCounted() ? Truth::kUnknown : AreEqual(*item, KT_X(pc->b));
        if (KT_LIKELY(is_same != Truth::kUnknown)) {
          const Instr& test = *pc++;
          if ((is_same == Truth::kYes) == (test.Op() == InstrOp::kIfEqualXX)) {
            pc += static_cast<std::int16_t>(test.c);
            KT_LOOK();
          }
          KT_NEXT();
        }
      }
      if ((IsNumberOrText(dst) || IsSharedList(dst)) && (IsNumberOrText(*item) || item->IsList())) {
        dst = *item;
        KT_NEXT();
      }
    }
    KT_SLOW(Element(*frame, KT_IN));
  }
  KT_CASE(Element2) {
    const Kt_Variant& second = KT_X(pc->a);
    const Kt_Variant* const row = ItemOf(KT_R(KT_IN.b), KT_X(KT_IN.c));
    Kt_Variant& dst = KT_R(KT_IN.a);
    ++pc;
    if (KT_LIKELY(row != nullptr && second.IsLong())) {
      const Kt_Variant* const item = row->ListItem(second.AsLong());
      if (KT_LIKELY(item != nullptr)) {
        if (KT_LIKELY(TryCopy(*item, dst))) KT_NEXT();
        if (item->IsString() && !dst.IsCounted()) {
          dst = *item;
          KT_NEXT();
        }
      }
    }
    KT_SLOW(Element2(*frame, pc[-2], KT_IN));
  }
  KT_CASE(Index) {
    ++pc;
    KT_SLOW(Index(*frame, pc[-2], KT_IN));
  }
  KT_CASE(SetElement) {
    const Kt_Variant& value = KT_X(KT_IN.c);
    const Kt_Variant* const item = ItemOf(KT_R(KT_IN.a), KT_X(KT_IN.b));
    if (KT_LIKELY(item != nullptr)) {
      const Kt_Variant& list = Held(KT_R(KT_IN.a));
      // Asked first: nothing that was read before that is known after it.
      const bool is_own = !list.IsContentShared();
      if (KT_LIKELY(is_own && !value.IsCounted() && !item->IsCounted())) {
        *const_cast<Kt_Variant*>(item) = value;
        KT_NEXT();
      }
      if (IsNumberOrText(value) && IsNumberOrText(*item) && (is_own || KT_IS_PUT_BACK(KT_IN.a))) {
        *const_cast<Kt_Variant*>(item) = value;
        if (KT_UNLIKELY(value.IsCounted())) KT_DROP_TEXT(KT_IN.c);
        if (!is_own && pc->Op() == InstrOp::kSetElement) {
          ++pc;  // what stores it has nothing left to do
          KT_COUNT_STEPS();
        }
        KT_NEXT();
      }
      if (!value.IsCounted() && IsNumberOrText(*item)) {
        if (KT_UNLIKELY(list.ListCount() > kShortList)) KT_SLOW(SetInCopy(*frame, KT_IN));
        KT_SAVE();
        SetInCopyOfShort(const_cast<Kt_Variant&>(list), KT_X(KT_IN.b).AsLong(), KT_X(KT_IN.c));
        KT_NEXT();
      }
      // Where it came from, a list need not be stored.
      if (AreOneList(*item, value) && Instr::Operand(KT_IN.c) < frame->code->temp_base) KT_NEXT();
    }
    KT_SLOW(SetElement(*frame, KT_IN));
  }
  KT_CASE(ChangeElement) {
    const Kt_Variant& list = Held(KT_R(KT_IN.a));
    const Kt_Variant& value = KT_X(KT_IN.c);
    const Kt_Variant* const item = ItemOf(list, KT_X(KT_IN.b));
    ++pc;
    if (KT_LIKELY(
            item != nullptr && (!list.IsContentShared() || KT_IS_PUT_BACK(pc[-2].a)) &&
            TryCombine(static_cast<Operator>(KT_IN.b), *const_cast<Kt_Variant*>(item), value))) {
      KT_NEXT();
    }
    KT_SLOW(ChangeElement(*frame, pc[-2], KT_IN));
  }
  KT_CASE(More) KT_NEXT();

  KT_CASE(CallScript) {
    const LinkedCode::CallSite& site = frame->link->calls[KT_IN.c];
    LinkedCode* const link = site.code;
    CodeFrame* const inner = frame->next;
    Kt_Variant* const args = &KT_R(KT_IN.a);
    if (KT_UNLIKELY(site.code_version != script_.GetVersion() || inner == nullptr ||
                    depth_ >= kMostFrames ||
                    args + link->code->register_count + kSpareRegisters > frame->end)) {
      KT_SAVE();
      code = EnterSlow(*frame, KT_IN);
      left = meter.GetLeft();
      if (KT_UNLIKELY(code != kOk)) goto failed;
      goto enter_frame;
    }
    const FuncCode* const callee = link->code.get();
    const int arg_count = KT_IN.b & 0xFF;
    frame->pc = pc;
    inner->func = site.func;
    inner->code = callee;
    inner->link = link;
    inner->base = args;
    inner->end = frame->end;
    inner->block = frame->block;
    inner->up = frame;
    inner->op = nullptr;
    inner->reg_count = callee->register_count;
    inner->failures = failure_count;
    run_.Push(*inner);
    current_ = frame = inner;
    ++depth_;
    base = args;
    Kt_Variant* reg = args;
    Kt_Variant* const params = args + callee->param_count;
    if (KT_LIKELY(arg_count == callee->param_count)) {
      while (reg != params && KT_LIKELY(!reg->IsRef())) ++reg;
    } else {
      reg = nullptr;
    }
    if (KT_LIKELY(reg == params)) {
      for (Kt_Variant* const last = args + callee->var_count; reg != last; ++reg) {
        reg->SetUndeclared();
      }
    } else {
      inner->pc = nullptr;
      BindArgs(*inner, arg_count);
    }
    consts = ConstsOf(*callee);
    pc = callee->instrs.data();
    margin = callee->margin;
    left -= kStep;
    if (KT_UNLIKELY(left < margin)) {
      left += kStep;
      meter.SetLeft(left);
      inner->pc = nullptr;
      code = run_.Tick(&script_);
      left = meter.GetLeft();
      if (KT_UNLIKELY(code != kOk)) goto failed;
      if (left < margin) table = kStepTable;
    }
    KT_NEXT();
  }
  KT_CASE(Receive) {
    if (KT_LIKELY((KT_IN.c & kObjectSite) == 0)) {  // else it may be a name of the host
      const Kt_Variant& value = KT_X(KT_IN.b);
      Kt_Variant& dst = KT_R(KT_IN.a);
      if (KT_LIKELY((IsNumberOrText(value) || value.IsList()) && !dst.IsCounted())) {
        dst = value;
        if (KT_UNLIKELY(value.IsCounted())) KT_DROP_TEXT(KT_IN.b);
        KT_NEXT();
      }
    }
    KT_SLOW(Receive(*frame, KT_IN));
  }
  KT_CASE(Member) {
    const FuncCode::Quick& quick = frame->code->quicks[KT_IN.b];
    if (quick.use == MemberUse::kSet) KT_SLOW_AND_ON(SetMember(*frame, KT_IN, quick));
    KT_SAVE();
    code = UseMember(*frame, quick, flag);
    left = meter.GetLeft();
    if (KT_UNLIKELY(code != kOk)) goto failed;
    pc = frame->code->instrs.data() + (KT_LIKELY(flag) ? quick.next : quick.other);
    KT_LOOK();
    KT_NEXT();
  }
  KT_CASE(CallBuiltin) KT_SLOW(CallBuiltin(*frame, KT_IN));
  KT_CASE(CallMember) KT_SLOW_AND_ON(CallMember(*frame, KT_IN));
  KT_CASE(CallHost) KT_SLOW(CallOutside(*frame, CallOf(*frame, KT_IN)));
  KT_CASE(Length) {
    const Kt_Variant& value = Held(KT_R(KT_IN.b));
    Kt_Variant& dst = KT_R(KT_IN.a);
    if (KT_LIKELY(!dst.IsCounted() && frame->link->version == script_.GetVersion() &&
                  (value.IsList() || value.IsString()))) {
      dst.Set(value.IsList() ? value.ListCount()
                             : static_cast<kt_long>(value.AsStringView().size()));
      // The end of most loops over lists: i < length(list).
      const Instr& test = *pc;
      if (test.Op() == InstrOp::kIfLessRR && !test.IsEntry() && test.b == KT_IN.a) {
        const Kt_Variant& index = KT_R(test.a);
        if (KT_LIKELY(index.IsLong())) {
          ++pc;
          if (KT_LIKELY(index.AsLong() < dst.AsLong())) {
            pc += static_cast<std::int16_t>(test.c);
            KT_LOOK();
          }
        }
      }
      KT_NEXT();
    }
    KT_SLOW_AND_ON(Length(*frame, KT_IN));
  }

  KT_CASE(Jump) {
    pc += KT_IN.D();
    KT_LOOK();
    KT_NEXT();
  }
  KT_CASE(JumpIf) {
    const Kt_Variant& value = KT_R(KT_IN.a);
    if (KT_LIKELY(value.IsLong())) {
      flag = value.AsLong() != 0;
    } else {
      KT_SAVE();
      flag = IsTrue(*frame, KT_A());
      left = meter.GetLeft();
    }
    if (flag) {
      pc += KT_IN.D();
      KT_LOOK();
    }
    KT_NEXT();
  }
  KT_CASE(JumpIfNot) {
    const Kt_Variant& value = KT_R(KT_IN.a);
    if (KT_LIKELY(value.IsLong())) {
      flag = value.AsLong() != 0;
    } else {
      KT_SAVE();
      flag = IsTrue(*frame, KT_A());
      left = meter.GetLeft();
    }
    if (!flag) pc += KT_IN.D();
    KT_NEXT();
  }
#define KT_TEST(name, when)                               \
  KT_CASE(name) {                                         \
    const Kt_Variant& value = KT_X(KT_IN.b);              \
    Kt_Variant& dst = KT_R(KT_IN.a);                      \
    if (KT_LIKELY(value.IsLong() && !dst.IsCounted())) {  \
      flag = (value.AsLong() != 0) == when;               \
      dst.Set(flag ? kt_long{when} : value.AsLong());     \
      if (flag) pc += static_cast<std::int16_t>(KT_IN.c); \
      KT_NEXT();                                          \
    }                                                     \
    KT_SAVE();                                            \
    flag = Test(*frame, KT_IN, when);                     \
    goto after_test;                                      \
  }
  KT_TEST(TestAnd, false)
  KT_TEST(TestOr, true)
#undef KT_TEST
  KT_CASE(Choose) {
    Kt_Variant& chosen = KT_R(KT_IN.a);
    const std::int32_t target = frame->code->choices[KT_IN.b].Find(chosen);
    if (KT_LIKELY(target != ChoiceTable::kAsk)) {
      if (KT_A() >= frame->code->temp_base) chosen.Clear();  // a number or a text
      pc = frame->code->instrs.data() + target;
    }
    KT_NEXT();
  }
  KT_CASE(Case) {
    const Truth truth = TryRelation<Operator::kEqual>(KT_R(KT_IN.a), KT_X(KT_IN.b));
    if (KT_LIKELY(truth != Truth::kUnknown)) {
      if (truth == Truth::kYes) pc += static_cast<std::int16_t>(KT_IN.c);
      KT_NEXT();
    }
    KT_SAVE();
    flag = IsCase(*frame, KT_IN);
    goto after_test;
  }
  KT_CASE(Guard) {
    if (KT_UNLIKELY(KT_R(KT_IN.a).IsUndeclared())) pc += KT_IN.D();
    KT_NEXT();
  }

// Two texts are equal or not without a call; `flag` says for which the jump is made.
#define KT_TEXTS(name, sense)                                              \
  if constexpr (IsEquality(Operator::k##name)) {                           \
    if (KT_LIKELY(KT_X(KT_IN.a).IsString() && KT_X(KT_IN.b).IsString())) { \
      flag = (Operator::k##name == Operator::kEqual) == sense;             \
      goto texts;                                                          \
    }                                                                      \
  }
#define KT_RELATION_JUMP(form, sense, quick, texts, held, slow) \
  KT_CASE(form) {                                               \
    Truth truth = quick;                                        \
    if (KT_UNLIKELY(truth == Truth::kUnknown)) {                \
      KT_FORGET();                                              \
      texts truth = held;                                       \
    }                                                           \
    if (KT_LIKELY(truth != Truth::kUnknown)) {                  \
      if ((truth == Truth::kYes) == sense) {                    \
        pc += static_cast<std::int16_t>(KT_IN.c);               \
        if (sense) KT_LOOK();                                   \
      }                                                         \
      KT_NEXT();                                                \
    }                                                           \
    KT_SAVE();                                                  \
    flag = slow == sense;                                       \
    goto after_test;                                            \
  }
#define KT_RELATION_FORMS(name, sense, prefix)                                                  \
  KT_RELATION_JUMP(prefix##name##RR, sense,                                                     \
                   TryRelation<Operator::k##name>(KT_R(KT_IN.a), KT_R(KT_IN.b)),                \
                   KT_TEXTS(name, sense),                                                       \
                   TryHeldRelation<Operator::k##name>(KT_HELD(), KT_R(KT_IN.a), KT_R(KT_IN.b)), \
                   Relates(*frame, Operator::k##name, KT_A(), KT_B()))                          \
  KT_RELATION_JUMP(                                                                             \
      prefix##name##RI, sense,                                                                  \
      TryRelationTo<Operator::k##name>(KT_R(KT_IN.a), static_cast<std::int16_t>(KT_IN.b)), ,    \
      TryHeldRelation<Operator::k##name>(KT_HELD(), KT_R(KT_IN.a),                              \
                                         kt_long{static_cast<std::int16_t>(KT_IN.b)}),          \
      RelatesTo(*frame, Operator::k##name, KT_A(), static_cast<std::int16_t>(KT_IN.b)))         \
  KT_RELATION_JUMP(                                                                             \
      prefix##name##XX, sense, TryRelation<Operator::k##name>(KT_X(KT_IN.a), KT_X(KT_IN.b)),    \
      KT_TEXTS(name, sense), Truth::kUnknown, Relates(*frame, Operator::k##name, KT_A(), KT_B()))
#define KT_RELATION(name)           \
  KT_RELATION_FORMS(name, true, If) \
  KT_RELATION_FORMS(name, false, Unless)
  KT_RELATION(Equal)
  KT_RELATION(NotEqual)
  KT_RELATION(Greater)
  KT_RELATION(GreaterEqual)
  KT_RELATION(Less)
  KT_RELATION(LessEqual)
#undef KT_RELATION
#undef KT_RELATION_FORMS
#undef KT_RELATION_JUMP
#undef KT_TEXTS

texts:
  if (KT_LIKELY(AreShortTexts(KT_X(KT_IN.a), KT_X(KT_IN.b)))) {
    flag = IsSameShortText(KT_X(KT_IN.a), KT_X(KT_IN.b)) == flag;
    KT_DROP_TEXT(KT_IN.a);
    KT_DROP_TEXT(KT_IN.b);
    if (flag) pc += static_cast<std::int16_t>(KT_IN.c);
    KT_LOOK();
    KT_NEXT();
  }
  KT_SAVE();
  flag = Relates(*frame, Operator::kEqual, KT_A(), KT_B()) == flag;

after_test:
  left = meter.GetLeft();
  if (KT_UNLIKELY(meter.GetStopCode() != kOk)) {
    code = run_.Check(&script_);
    goto failed;
  }
  if (flag) pc += static_cast<std::int16_t>(KT_IN.c);
  if (KT_UNLIKELY(left < margin || frame->is_stale)) table = kStepTable;
  KT_NEXT();

  KT_CASE(Return) {
    CodeFrame* const up = frame->up;
    const Kt_Variant* const value = &KT_X(KT_IN.a);
    if (KT_LIKELY(up != nullptr && frame->scopes.empty() && frame->items.empty() &&
                  (!value->IsCounted() || value->IsString() || value->IsList()))) {
      const Instr& call = up->pc[-1];
      Kt_Variant& dst = At(up->base, static_cast<std::uint16_t>(call.a - (call.b >> 8) * 2));
      Kt_Variant* const last = base + frame->code->var_count;
      Kt_Variant* first_counted = base;
      while (first_counted != last && !first_counted->IsCounted()) ++first_counted;
      if (KT_LIKELY(first_counted == last)) {
        if (KT_LIKELY(TryCopy(*value, dst))) goto returned;
      }
      KT_FORGET();
      flag = GoesQuietly(dst) || &dst == base;
      for (const Kt_Variant* reg = first_counted; reg != last; ++reg) {
        flag = flag && (!reg->IsCounted() || GoesQuietly(*reg) || reg == value);
      }
      if (KT_LIKELY(flag)) {
        for (Kt_Variant* reg = first_counted; reg != last; ++reg) {
          if (reg->IsCounted() && reg != value) reg->Clear();
        }
        if (KT_UNLIKELY(value->IsCounted() && !Instr::IsConst(KT_IN.a))) {
          // The register is done with: its content moves.
          Kt_Variant& given = KT_R(KT_IN.a);
          if (&given != &dst) {
            dst.Clear();
            dst.Swap(given);
          }
        } else {
          dst = *value;
        }
      returned:
        run_.PopTo(*frame->up);
        --depth_;
        current_ = frame = frame->up;
        base = frame->base;
        consts = ConstsOf(*frame->code);
        pc = frame->pc;
        margin = frame->code->margin;
        if (KT_UNLIKELY(left < margin || frame->is_stale)) {
          KT_FORGET();
          table = kStepTable;
        }
        KT_NEXT();
      }
    }
    KT_SAVE();
    code = ReturnTo(*frame, KT_A(), entry, result);
    left = meter.GetLeft();
    if (code == kCallEnds) return end_code_;
    if (KT_UNLIKELY(code != kOk)) goto failed;
    goto enter_frame;
  }
  KT_CASE(ReturnNull) {
    KT_SAVE();
    returned_.Clear();
    code = ReturnTo(*frame, FuncCode::kNoRegister, entry, result);
    left = meter.GetLeft();
    if (code == kCallEnds) return end_code_;
    if (KT_UNLIKELY(code != kOk)) goto failed;
    goto enter_frame;
  }
  KT_CASE(End) {
    if (KT_LIKELY(frame->func->GetBody().GetCount() == frame->code->body_count)) KT_NEXT();
    KT_SAVE();
    code = Rest(*frame, flag);
    left = meter.GetLeft();
    if (KT_UNLIKELY(code != kOk)) goto failed;
    if (flag) goto return_kept;
    KT_NEXT();
  }
  KT_CASE(Nop) KT_NEXT();
  KT_CASE(Drop) {
    Kt_Variant& value = KT_R(KT_IN.a);
    if (KT_LIKELY(!value.IsCounted())) KT_NEXT();
    KT_SLOW((Clear(value), kOk));
  }
  KT_CASE(Enter) KT_SLOW(Enter(*frame, KT_IN));
  KT_CASE(Leave) {
    flag = frame->scopes.empty();
    for (Kt_Variant *reg = &KT_R(KT_IN.a), *last = reg + KT_IN.b; reg != last; ++reg) {
      flag = flag && (!reg->IsCounted() || reg->IsString());
    }
    if (KT_UNLIKELY(!flag)) {
      // A run that stops now, or has stopped late, is told by the next statement.
      KT_SAVE();
      Leave(*frame, KT_IN);
      left = meter.GetLeft();
      if (KT_UNLIKELY(left < margin || frame->is_stale)) table = kStepTable;
      KT_NEXT();
    }
    for (Kt_Variant *reg = &KT_R(KT_IN.a), *last = reg + KT_IN.b; reg != last; ++reg) {
      reg->SetUndeclared();
    }
    KT_NEXT();
  }
  KT_CASE(Eval) KT_SLOW_AND_ON(Eval(*frame, KT_IN));
  KT_CASE(Walk) {
    KT_SAVE();
    code = Walk(*frame, KT_IN, flag);
    if (code != kOk || !flag) goto after_slow;
  }
return_kept:
  left = meter.GetLeft();
  code = ReturnTo(*frame, FuncCode::kNoRegister, entry, result);
  left = meter.GetLeft();
  if (code == kCallEnds) return end_code_;
  if (KT_UNLIKELY(code != kOk)) goto failed;
  goto enter_frame;
#if !defined(__GNUC__)
  case InstrOp::kCount: break;
}
return kOk;
#endif
}

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

}  // namespace kt::detail
