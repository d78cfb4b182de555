// SPDX-License-Identifier: MIT
//
// What instructions do beside their fast ways: other kinds than numbers, registers that refer to a
// counted variable, objects, calls out of the code. Each function does the whole instruction.
//
// A register of a variable that holds a reference stands for the counted variable behind it; a temp
// that holds one has it as its value (an argument made by ref()). A temp that has been read is
// empty.
#include <algorithm>
#include <span>
#include <utility>

#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_VarInline.h"
#include "object/Kt_ExprStackObj.h"
#include "object/Kt_MemoryDoor.h"
#include "script/Kt_ScriptOpPayloads.h"
#include "script/code/Kt_Contexts.h"
#include "script/code/Kt_Machine.h"
#include "script/detail/Kt_Interpreter.h"

namespace kt::detail {

namespace {

constexpr const char16_t* kSource = u"Kt_Expr";
constexpr const char16_t* kStatementSource = u"Kt_ScriptFunc";

bool IsPlain(const Kt_Variant& value) { return value.GetTag() < kTagList; }

}  // namespace

// Operands ----------------------------------------------------------------------------------------

Kt_Variant& Machine::Place(CodeFrame& frame, std::uint16_t reg) {
  Kt_Variant& place = frame.base[reg];
  return place.IsRef() && IsVariable(frame, reg) ? place.GetRefVariable()->GetValueW() : place;
}

const Kt_Variant& Machine::Peek(CodeFrame& frame, std::uint16_t operand) {
  if ((operand & kConstOperand) != 0) return frame.code->consts[operand & 0x7FFF];
  return Place(frame, operand);
}

// A variable whose object was destroyed reads as empty.
Kt_Variant Machine::Checked(Kt_Variant value) {
  if (KT_LIKELY(!value.IsObject()) || value.GetHolder().IsValid()) return value;
  (void)kt::Report(&script_, u"kt_exprobj", kErrInvalidObject, u"InvalidObject");
  return Kt_Variant();
}

Kt_Variant Machine::Read(CodeFrame& frame, std::uint16_t operand) {
  if ((operand & kConstOperand) != 0) return frame.code->consts[operand & 0x7FFF];
  if (!IsVariable(frame, operand)) return std::move(frame.base[operand]);
  return Checked(Place(frame, operand));
}

void Machine::Drop(CodeFrame& frame, std::uint16_t operand) {
  if ((operand & kConstOperand) == 0 && !IsVariable(frame, operand)) frame.base[operand].Clear();
}

void Machine::Store(CodeFrame& frame, std::uint16_t reg, Kt_Variant&& value) {
  const Storing storing(*this);
  if (!IsVariable(frame, reg)) {
    frame.base[reg] = std::move(value);
    return;
  }
  if (value.IsRef()) value = value.Dereference();
  if (Kt_Variable* const variable = frame.base[reg].GetRefVariable()) {
    const Kt_VariableHold hold(variable);
    variable->SetValue(std::move(value));
  } else {
    frame.base[reg] = std::move(value);
  }
}

// Moves the value of a variable to where others can share it.
Kt_Variable* Machine::Box(CodeFrame& frame, std::uint16_t reg) {
  Kt_Variant& place = frame.base[reg];
  if (Kt_Variable* const variable = place.GetRefVariable()) return variable;
  const Kt_WString& name = NameOf(frame, reg);
  Kt_Variable* const variable = Kt_Variable::New(name);
  variable->GetValueW() = std::exchange(place, {});
  place.SetRef(*variable);
  variable->Unref();
  return variable;
}

const Kt_WString& Machine::NameOf(const CodeFrame& frame, std::uint16_t reg) const {
  return frame.code->NameOf(PcOf(frame), reg);
}

// Values ------------------------------------------------------------------------------------------

kt_long Machine::Move(CodeFrame& frame, std::uint16_t dst, std::uint16_t a) {
  Store(frame, dst, Read(frame, a));
  return kOk;
}

void Machine::Ref(CodeFrame& frame, Instr in) {
  Kt_Variable* const variable = Box(frame, in.B());
  frame.base[in.A()].SetRef(*variable);
}

kt_long Machine::MakeList(CodeFrame& frame, Instr in) {
  const auto count = static_cast<kt_long>(in.C());
  Kt_VariantList list;
  if (!list.Resize(count)) return kt::Report(&script_, kSource, kErrListTooLong, Kt_WString());
  Kt_Variant* const items = list.GetItemW(0);
  for (kt_long at = 0; at < count; ++at) {
    Kt_Variant& value = frame.base[in.B() + at];
    if (KT_UNLIKELY(value.IsRef())) value = value.Dereference();
    items[at].Swap(value);
  }
  Store(frame, in.A(), Kt_Variant(std::move(list)));
  return kOk;
}

kt_long Machine::DeclareArray(CodeFrame& frame, Instr in) {
  const kt_long count = Read(frame, in.B()).ToInteger();
  Kt_Variant value;
  if (count > 0) {
    Kt_VariantList list;
    if (!list.Resize(count)) {
      const FuncCode::Entry* const entry = frame.code->EntryAt(PcOf(frame));
      return kt::Report(&script_, kStatementSource, kErrListTooLong, entry->op->GetVar()->name);
    }
    value.Set(std::move(list));
  }
  Store(frame, in.A(), std::move(value));
  return kOk;
}

// The host may have the name; then only names lead to it.
kt_long Machine::AssignNew(CodeFrame& frame, Instr in) {
  Kt_Variant value = Read(frame, in.B());
  if (!frame.base[in.A()].IsUndeclared()) {
    Store(frame, in.A(), std::move(value));
    return kOk;
  }
  const Kt_WString name = frame.code->EntryAt(PcOf(frame))->op->GetVar()->name;
  const FailureMark mark;
  const Storing storing(*this);
  const kt_long code = script_.SetCtxVar(name, value, 0);
  if (code == kUnknownName) {
    Store(frame, in.A(), std::move(value));
    return kOk;
  }
  if (code != kOk) {
    return mark.HasNoted(code) ? code : NoteCause(code, Kt_Cause::kNotStored, {name});
  }
  Contexts contexts(*this, frame);
  contexts.Keep();
  return kOk;
}

// Globals -----------------------------------------------------------------------------------------

// The global, found again when globals have come or gone.
Kt_Variable* Machine::FreshGlobal(LinkedCode& link, std::uint16_t index) const {
  if (link.globals_version != script_.GetVariables().GetVersion()) {
    link.BindGlobals(script_.GetVariables());
  }
  return link.globals[index];
}

kt_long Machine::GetGlobal(CodeFrame& frame, Instr in) {
  if (const Kt_Variable* const place = FreshGlobal(*frame.link, in.B())) {
    Store(frame, in.A(), Checked(place->GetValue()));
    return kOk;
  }
  Kt_Expr name(frame.code->globals[in.B()].GetText());
  const Contexts contexts(*this, frame);
  Kt_Variant value;
  const kt_long code = name.ExecExpr(contexts.Get(), value);
  return StoreUnlessFailed(code, frame, in.A(), std::move(value));
}

kt_long Machine::SetGlobal(CodeFrame& frame, Instr in) {
  const LinkedCode& link = *frame.link;
  Kt_Variable* const place = FreshGlobal(*frame.link, in.A());
  Kt_Variant value = Read(frame, in.B());
  if (place != nullptr && link.globals_version == script_.GetVariables().GetVersion()) {
    const Storing storing(*this);
    const Kt_VariableHold hold(place);
    place->SetValue(std::move(value));
    return kOk;
  }
  const Contexts contexts(*this, frame);
  const FailureMark mark;
  const Kt_WString& name = frame.code->globals[in.A()];
  const kt_long code = contexts.Get()->SetCtxVar(name, value, 1);
  if (code == kOk || mark.HasNoted(code)) return code;
  return NoteCause(code, Kt_Cause::kNotStored, {name});
}

kt_long Machine::BindGlobal(CodeFrame& frame, Instr in) {
  if (Kt_Variable* const place = FreshGlobal(*frame.link, in.B())) {
    frame.base[in.A()].SetRef(*place);
    return kOk;
  }
  if (BeginsStatement(frame)) {
    GoOnByNames(frame);
    return kOk;
  }
  // Gone: whoever has the name now is assigned to, or gives a value to work on.
  const Instr user = *frame.pc;
  const Kt_ScriptOp& op = *frame.code->EntryAt(PcOf(frame))->op;
  const bool combines = user.Op() >= InstrOp::kAddTo && user.Op() <= InstrOp::kModTo;
  if (combines && user.A() == in.A()) {
    Kt_Variant value = Read(frame, user.B());
    return FinishByName(frame, value);
  }
  if (op.opcode == kScriptInc || op.opcode == kScriptDec) {
    bool is_return = false;
    frame.pc = frame.code->instrs.data() + frame.code->EntryAt(PcOf(frame))->end;
    return RunByWalk(frame, op, is_return);
  }
  Kt_Expr name(frame.code->globals[in.B()].GetText());
  Kt_Variant value;
  kt_long code = kOk;
  {
    const Contexts contexts(*this, frame);
    code = name.ExecExpr(contexts.Get(), value);
  }
  if (code != kOk) return code;
  Kt_Variable* const variable = Kt_Variable::New(frame.code->globals[in.B()]);
  variable->SetValue(std::move(value));
  frame.base[in.A()].SetRef(*variable);
  variable->Unref();
  return kOk;
}

// Whether the expression in hand is the first of its statement and has bound globals at most.
bool Machine::BeginsStatement(const CodeFrame& frame) const {
  const FuncCode::Entry* const entry = frame.code->EntryAt(PcOf(frame));
  return entry != nullptr &&
         std::all_of(frame.code->instrs.data() + entry->pc, frame.pc - 1,
                     [](const Instr& in) { return in.Op() == InstrOp::kBindGlobal; });
}

// Begins the statement again, by names. It is charged there.
void Machine::GoOnByNames(CodeFrame& frame) {
  {
    Contexts contexts(*this, frame);
    contexts.Keep();
  }
  frame.pc = frame.code->instrs.data() + frame.code->EntryAt(PcOf(frame))->pc;
  Kt_WorkMeter& meter = run_.Meter();
  meter.SetLeft(meter.GetLeft() + frame.pc->Steps() * Kt_WorkMeter::kUnitsPerStep);
}

// Operators ---------------------------------------------------------------------------------------

// Numbers of which some are behind references. False, and nothing done, when they are not numbers.
bool Machine::ComputeHeld(CodeFrame& frame, Operator op, std::uint16_t dst, std::uint16_t a,
                          const Kt_Variant& right) {
  const auto is_number = [](const Kt_Variant& value) { return value.IsLong() || value.IsDouble(); };
  const Kt_Variant& left = Peek(frame, a);
  Kt_Variant& place = IsVariable(frame, dst) ? Place(frame, dst) : frame.base[dst];
  if (!is_number(left) || !is_number(right) || place.IsCounted()) return false;
  (void)Compute(op, left, right, place);
  return true;
}

kt_long Machine::Binary(CodeFrame& frame, Operator op, std::uint16_t dst, std::uint16_t a,
                        std::uint16_t b) {
  if (ComputeHeld(frame, op, dst, a, Peek(frame, b))) return kOk;
  if (op == Operator::kAdd && dst == a && IsVariable(frame, dst)) {
    // s = s + x: in place, when it fits; s stays as it is otherwise.
    Kt_Variant& place = Place(frame, dst);
    const Kt_Variant& right = Peek(frame, b);
    if (place.IsString() && right.IsString() && &place != &right) {
      const std::size_t length = place.AsStringView().size() + right.AsStringView().size();
      if (length > std::size_t{kMaxStringLength}) {
        return kt::Report(&script_, kSource, kErrStringTooLong, u"+");
      }
      const kt_long code = kt::VarAdd(place, right, place);
      Drop(frame, b);
      return code;
    }
  }
  if (op == Operator::kAdd && JoinShort(frame, dst, a, b)) return kOk;
  Kt_Variant left = Read(frame, a);
  const Kt_Variant right = Read(frame, b);
  const kt_long code = Compute(op, left, right, left);
  if (KT_UNLIKELY(code != kOk)) return kt::Report(&script_, kSource, code, OperatorText(op));
  Store(frame, dst, std::move(left));
  return kOk;
}

// Two texts that are too short to be charged or too long; the one in a temp is appended to. False,
// and nothing done, for other values.
bool Machine::JoinShort(CodeFrame& frame, std::uint16_t dst, std::uint16_t a, std::uint16_t b) {
  const Kt_Variant& left = Peek(frame, a);
  const Kt_Variant& right = Peek(frame, b);
  if (!AreShortTexts(left, right)) return false;
  const bool is_temp = (a & kConstOperand) == 0 && !IsVariable(frame, a);
  Kt_WString joined = is_temp ? frame.base[a].TakeString() : left.AsString();
  joined.Append(right.AsStringView());
  Drop(frame, b);
  Kt_Variant& place = frame.base[dst];
  if (KT_LIKELY(!place.IsCounted())) {
    place = Kt_Variant(std::move(joined));
  } else {
    Store(frame, dst, Kt_Variant(std::move(joined)));
  }
  return true;
}

kt_long Machine::BinaryWith(CodeFrame& frame, Operator op, std::uint16_t dst, std::uint16_t a,
                            kt_long number) {
  const Kt_Variant right(number);
  if (ComputeHeld(frame, op, dst, a, right)) return kOk;
  if (op == Operator::kAdd && dst == a && IsVariable(frame, dst)) {
    Kt_Variant& place = Place(frame, dst);
    if (place.IsString() && place.AsStringView().size() + 16 < std::size_t{kMaxStringLength}) {
      return kt::VarAdd(place, right, place);
    }
  }
  Kt_Variant left = Read(frame, a);
  const kt_long code = Compute(op, left, right, left);
  if (KT_UNLIKELY(code != kOk)) return kt::Report(&script_, kSource, code, OperatorText(op));
  Store(frame, dst, std::move(left));
  return kOk;
}

bool Machine::Relates(CodeFrame& frame, Operator op, std::uint16_t a, std::uint16_t b) {
  const Kt_Variant& left_place = Peek(frame, a);
  const Kt_Variant& right_place = Peek(frame, b);
  Kt_Variant truth;
  if (IsPlain(left_place) && IsPlain(right_place)) {
    (void)Compute(op, left_place, right_place, truth);
    Drop(frame, a);
    Drop(frame, b);
  } else {
    const Kt_Variant left = Read(frame, a);
    const Kt_Variant right = Read(frame, b);
    (void)Compute(op, left, right, truth);
  }
  return truth.AsLong() != 0;
}

bool Machine::RelatesTo(CodeFrame& frame, Operator op, std::uint16_t a, kt_long number) {
  const Kt_Variant left = Read(frame, a);
  Kt_Variant truth;
  (void)Compute(op, left, Kt_Variant(number), truth);
  return truth.AsLong() != 0;
}

bool Machine::IsTrue(CodeFrame& frame, std::uint16_t operand) {
  return IsConditionTrue(Read(frame, operand));
}

// The chosen value is needed until a label has matched.
bool Machine::IsCase(CodeFrame& frame, Instr in) {
  Kt_Variant& chosen = frame.base[in.A()];
  const Kt_Variant& label = Peek(frame, in.B());
  if (KT_LIKELY(AreShortTexts(chosen, label))) {
    const bool is_same = IsSameText(chosen, label);
    Drop(frame, in.B());
    if (is_same) chosen.Clear();
    return is_same;
  }
  const Kt_Variant held = chosen;
  const Kt_Variant value = Read(frame, in.B());
  const bool is_equal = kt::VarCmp(held, value, kCmpEqual) != 0;
  if (is_equal) chosen.Clear();
  return is_equal;
}

bool Machine::Test(CodeFrame& frame, Instr in, bool when) {
  Kt_Variant value = Read(frame, in.B());
  const bool is_true = IsConditionTrue(value);
  if (is_true == when) {
    frame.base[in.A()] = kt_long{is_true};
  } else {
    frame.base[in.A()] = std::move(value);
  }
  return is_true == when;
}

// target = target op value, in place, so that appending to a text does not copy it.
kt_long Machine::Combine(CodeFrame& frame, Operator op, std::uint16_t dst, std::uint16_t a) {
  const Storing storing(*this);  // outlives what is read
  const Kt_Variant value = Read(frame, a);
  const Kt_Variant kept = frame.base[dst].IsRef() ? frame.base[dst] : Kt_Variant();
  Kt_Variant& target = Place(frame, dst);
  const kt_long code = Compute(op, target, value, target);
  if (KT_LIKELY(code == kOk)) return kOk;
  return kt::Report(&script_, kStatementSource, code, Kt_WString(OperatorText(op)) + u"=");
}

kt_long Machine::Step(CodeFrame& frame, Instr in) {
  const auto step = static_cast<std::int16_t>(in.C());
  Kt_Variant value = Place(frame, in.A());  // held while it is read
  value = Stepped(value, step);
  Store(frame, in.A(), std::move(value));
  return kOk;
}

kt_long Machine::StepValue(CodeFrame& frame, Instr in, bool is_before) {
  Kt_Variant old_value = Checked(Place(frame, in.B()));
  if (old_value.IsObject()) {
    Kt_Variant plain;
    old_value = ReadDefaultProp(old_value, plain) ? plain : Kt_Variant();
  }
  const auto step = static_cast<std::int16_t>(in.C());
  const bool can_step = CanStep(old_value);
  Kt_Variant new_value = can_step ? Stepped(old_value, step) : old_value;
  Kt_Variant given = is_before ? new_value : old_value;
  if (can_step) Store(frame, in.B(), std::move(new_value));
  Store(frame, in.A(), std::move(given));
  return kOk;
}

// s = s + x + y -----------------------------------------------------------------------------------
//
// Joining texts is associative: the text of s is kept as it is read, which copies nothing, what
// follows is joined by itself, and at the end that is appended to s in place, provided that s still
// has the text. Until then s is as it was, for calls that read it and when anything fails.

kt_long Machine::JoinBegin(CodeFrame& frame, Instr in) {
  static const Kt_Variant kNoText(u"");
  Kt_Variant& joined = frame.base[in.A()];
  Kt_Variant& kept = frame.base[in.A() + 1];
  Kt_Variant left = Checked(Place(frame, in.B()));
  const Kt_Variant right = Read(frame, in.C());
  const bool is_text = left.IsString();
  kept.Clear();
  if (is_text) kept = left;
  const kt_long code = Compute(Operator::kAdd, is_text ? kNoText : left, right, left);
  if (KT_UNLIKELY(code != kOk)) return kt::Report(&script_, kSource, code, u"+");
  joined = std::move(left);
  return kOk;
}

kt_long Machine::JoinEnd(CodeFrame& frame, Instr in) {
  Kt_Variant added = std::move(frame.base[in.B()]);
  Kt_Variant kept = std::move(frame.base[in.B() + 1]);
  if (!kept.IsString() || !added.IsString()) {
    Store(frame, in.A(), std::move(added));
    return kOk;
  }
  if (kept.AsStringView().size() + added.AsStringView().size() > std::size_t{kMaxStringLength}) {
    return kt::Report(&script_, kSource, kErrStringTooLong, u"+");
  }
  Kt_Variant& place = Place(frame, in.A());
  if (place.IsString() && place.AsStringView().data() == kept.AsStringView().data()) {
    kept.Clear();  // so that nobody else holds the text
    return kt::VarAdd(place, added, place);
  }
  if (const kt_long code = kt::VarAdd(kept, added, kept)) return code;
  Store(frame, in.A(), std::move(kept));
  return kOk;
}

// Elements ----------------------------------------------------------------------------------------

kt_long Machine::Element(CodeFrame& frame, Instr in) {
  const Kt_Variant& place = Place(frame, in.B());
  const Kt_Variant& at = Peek(frame, in.C());
  if (place.IsString() && at.IsLong() && at.AsLong() >= 0) {
    Store(frame, in.A(), Kt_Variant(place.AsString().Mid(at.AsLong(), 1)));
    return kOk;
  }
  if (KT_LIKELY(place.IsList() && at.IsLong() && at.AsLong() >= 0)) {
    const Kt_Variant* const item = place.ListItem(at.AsLong());
    Store(frame, in.A(), item != nullptr ? Kt_Variant(*item) : Kt_Variant());
    return kOk;
  }
  kt_long index = -1;
  Kt_WString key;
  ReadIndex(Read(frame, in.C()), index, key);
  Kt_Variant element;
  const kt_long code = ElementAt(frame, in.B(), index, key, element);
  return StoreUnlessFailed(code, frame, in.A(), std::move(element));
}

// The element of a variable, whatever that holds.
kt_long Machine::ElementAt(CodeFrame& frame, std::uint16_t reg, kt_long index,
                           const Kt_WString& key, Kt_Variant& element) {
  const Kt_Variant kept = frame.base[reg].IsRef() ? frame.base[reg] : Kt_Variant();
  if (ClearReleased(&script_, Place(frame, reg))) return kOk;
  const Kt_Variant base = Place(frame, reg);
  return ReadElementOf(&script_, NameOf(frame, reg), base, index, key, element);
}

// The two steps of b[c][d], by way of the temp that `more` names.
kt_long Machine::Element2(CodeFrame& frame, Instr in, Instr more) {
  if (!IsPlain(Peek(frame, more.A()))) return Element2ByObject(frame, in, more);
  const std::uint16_t temp = more.C();
  if (const kt_long code = Element(frame, Instr::Of(InstrOp::kElement, temp, in.B(), in.C()))) {
    return code;
  }
  const Instr rest = Instr::Of(InstrOp::kMore, more.B(), 0, 0);
  return Index(frame, Instr::Of(InstrOp::kIndex, in.A(), temp, more.A()), rest);
}

// The same where the second index may be asked for its text: both indexes are read before elements.
kt_long Machine::Element2ByObject(CodeFrame& frame, Instr in, Instr more) {
  kt_long first = -1;
  kt_long second = -1;
  Kt_WString first_key;
  Kt_WString second_key;
  ReadIndex(Read(frame, in.C()), first, first_key);
  ReadIndex(Read(frame, more.A()), second, second_key);
  Kt_Variant row;
  if (const kt_long code = ElementAt(frame, in.B(), first, first_key, row)) return code;
  Kt_Variant element;
  const Kt_WString name = frame.code->consts[more.B() & 0x7FFF].ToString();
  const kt_long code =
      ReadElementOf(&script_, name, row.Dereference(), second, second_key, element);
  return StoreUnlessFailed(code, frame, in.A(), std::move(element));
}

kt_long Machine::Index(CodeFrame& frame, Instr in, Instr more) {
  const Kt_Variant base = Read(frame, in.B()).Dereference();
  const Kt_Variant key_value = Read(frame, in.C());
  kt_long index = -1;
  Kt_WString key;
  ReadIndex(key_value, index, key);
  Kt_Variant element;
  const Kt_WString name = frame.code->consts[more.A() & 0x7FFF].ToString();
  const kt_long code = ReadElementOf(&script_, name, base, index, key, element);
  return StoreUnlessFailed(code, frame, in.A(), std::move(element));
}

kt_long Machine::SetElement(CodeFrame& frame, Instr in) {
  const Kt_Variant& at = Peek(frame, in.B());
  if (KT_LIKELY(at.IsLong() && at.AsLong() >= 0)) {
    Kt_Variant& place = Place(frame, in.A());
    const Kt_Variant& value = Peek(frame, in.C());
    if (KT_LIKELY(place.IsList() && !value.IsRef() && !value.IsObject())) {
      const Storing storing(*this);
      const bool is_next = at.AsLong() == place.ListCount();
      // What a temp has moves. A list that nobody else has is not in it.
      const bool is_temp = (in.C() & kConstOperand) == 0 && !IsVariable(frame, in.C());
      if (is_temp && !place.IsContentShared() && (!is_next || place.ListAdd(Kt_Variant()))) {
        Kt_Variant* const item = place.ListItemW(at.AsLong());
        if (KT_LIKELY(item != nullptr)) {
          item->Swap(frame.base[in.C()]);
          frame.base[in.C()].Clear();
          return kOk;
        }
      }
      if (KT_LIKELY(is_next ? place.ListAdd(value) : place.ListSet(at.AsLong(), value))) {
        Drop(frame, in.C());
        return kOk;
      }
    }
  }
  const Storing storing(*this);  // outlives what is read
  const Kt_Variant key_value = Read(frame, in.B());
  const Kt_Variant value = Read(frame, in.C());
  const Kt_Variant kept = frame.base[in.A()].IsRef() ? frame.base[in.A()] : Kt_Variant();
  kt_long index = -1;
  Kt_WString key;
  ReadIndex(key_value, index, key);
  return WriteElement(frame, in.A(), index, key, value);
}

// An item of an object is assigned to through its own default property, which may refuse.
kt_long Machine::WriteElement(CodeFrame& frame, std::uint16_t reg, kt_long index,
                              const Kt_WString& key, const Kt_Variant& value) {
  const FailureMark mark;
  const Kt_WString name = NameOf(frame, reg);
  Kt_Variant& place = Place(frame, reg);
  const bool is_object = place.IsObject();
  const kt_long code = WriteElementOf(&script_, name, place, index, key, value);
  if (KT_LIKELY(code == kOk) || !is_object) return code;
  const Kt_Expr& target = frame.code->EntryAt(PcOf(frame))->op->GetSet()->target;
  return Interpreter::ReportStore(name, target, code, mark, &script_);
}

// A number in place of a number or text of a shared list, which is copied first.
kt_long Machine::SetInCopy(CodeFrame& frame, Instr in) {
  const Storing storing(*this);
  Kt_Variant* const item = Place(frame, in.A()).ListItemW(Peek(frame, in.B()).AsLong());
  if (KT_UNLIKELY(item == nullptr)) return SetElement(frame, in);  // the run was stopped
  *item = Peek(frame, in.C());
  return kOk;
}

kt_long Machine::ChangeElement(CodeFrame& frame, Instr in, Instr more) {
  const Storing storing(*this);  // outlives what is read
  const auto op = static_cast<Operator>(more.B());
  const Kt_Variant key_value = Read(frame, in.B());
  Kt_Variant value = Read(frame, in.C());
  const Kt_Variant kept = frame.base[in.A()].IsRef() ? frame.base[in.A()] : Kt_Variant();
  kt_long index = -1;
  Kt_WString key;
  ReadIndex(key_value, index, key);
  const Kt_WString name = NameOf(frame, in.A());
  Kt_Variant& place = Place(frame, in.A());
  const bool may_stay = index >= 0 && place.IsList() && IsPlain(value);
  Kt_Variant* const item = may_stay ? place.ListItemW(index) : nullptr;
  if (item != nullptr && IsPlain(*item)) {
    Kt_Variant current = std::move(*item);  // appended to in place
    const kt_long code = Compute(op, current, value, current);
    if (KT_LIKELY(code == kOk)) {
      *item = std::move(current);
      return kOk;
    }
    return kt::Report(&script_, kStatementSource, code, Kt_WString(OperatorText(op)) + u"=");
  }
  Kt_Variant current;
  if (!ClearReleased(&script_, place)) {
    const Kt_Variant held = Place(frame, in.A());
    if (const kt_long code = ReadElementOf(&script_, name, held, index, key, current)) return code;
  }
  current = current.Dereference();
  if (const kt_long code = Compute(op, current, value, current)) {
    return kt::Report(&script_, kStatementSource, code, Kt_WString(OperatorText(op)) + u"=");
  }
  value.Clear();  // it may be the list itself, which then need not be copied
  return WriteElement(frame, in.A(), index, key, current);
}

// Calls -------------------------------------------------------------------------------------------

// The code of `func` for the script as it is now; null when the walk has to run it.
LinkedCode* Machine::FreshCode(const Kt_ScriptFunc& func) {
  LinkedCode* const link = CodeOf(func, script_);
  if (link == nullptr || link->version == script_.GetVersion() || link->BindCalls(script_)) {
    return link;
  }
  func.DropCode();
  return CodeOf(func, script_);
}

kt_long Machine::EnterSlow(CodeFrame& frame, Instr in) {
  LinkedCode& link = *frame.link;
  if (link.version != script_.GetVersion() && !link.BindCalls(script_)) {
    return CallByName(frame, CallOf(frame, in));
  }
  LinkedCode::CallSite& site = link.calls[in.C()];
  const Kt_ScriptFunc& func = *site.func;
  LinkedCode* const callee = FreshCode(func);
  const int count = in.B() & 0xFF;
  if (callee == nullptr) return CallByWalk(frame, in, func);
  site.code = callee;
  site.code_version = script_.GetVersion();
  CodeFrame* const up = &frame;
  if (const kt_long failed = Begin(func, *callee, frame.base + in.A(), count)) return failed;
  current_->up = up;
  BindArgs(*current_, count);
  return kOk;
}

kt_long Machine::CallByWalk(CodeFrame& frame, Instr in, const Kt_ScriptFunc& func) {
  const int count = in.B() & 0xFF;
  Kt_Variant* const args = frame.base + in.A();
  Kt_Variant value;
  const FailureMark mark;
  kt_long code = Interpreter::CallFunc(func, args, count, value);
  for (int arg = 0; arg < count; ++arg) args[arg].Clear();
  if (code != kOk) {
    return mark.HasNoted(code) ? code : NoteSilentCall(frame.code->calls[in.C()].name, code);
  }
  code = CheckCallResult(&script_, value);
  return StoreUnlessFailed(code, frame, ResultOf(in), std::move(value));
}

// A call whose name stands for something else since the code was made.
kt_long Machine::CallByName(CodeFrame& frame, const OutsideCall& call) {
  const Kt_WString name = frame.code->calls[call.site].name;
  const Contexts contexts(*this, frame);
  Kt_ExprObject* const context = contexts.Get();
  Kt_ExprStackObj entry;
  const bool is_member = frame.code->calls[call.site].member >= 0;
  if (!is_member) (void)context->GetMethodType(name, entry);
  if (entry.GetKind() == EXPR_OBJ_NONE) {
    const Kt_Getter builtin = Kt_ExprObject::GetIntFunc(name.GetText());
    if (builtin == nullptr) {
      return kt::Report(context, kSource, kErrNoMethod, context->GetID(), name);
    }
    entry.SetIntFunc(context, name, builtin);
  }
  for (int arg = 0; arg < call.count; ++arg) {
    entry.GetArgs().AddRefVar(call.args[arg]);
    call.args[arg].Clear();
  }
  Kt_Variant value;
  const FailureMark mark;
  const kt_long code = entry.GetObjValue(context, value, 0);
  if (KT_LIKELY(code == kOk)) {
    const kt_long checked = CheckCallResult(context, value);
    return StoreUnlessFailed(checked, frame, call.result, std::move(value));
  }
  return mark.HasNoted(code) ? code : NoteSilentCall(name, code);
}

// Built-ins that need neither a list of arguments nor the script. Their work is small beside a step
// or charges itself.
kt_long Machine::CallBuiltin(CodeFrame& frame, Instr in) {
  const LinkedCode& link = *frame.link;
  const DirectFunc* const direct = link.calls[in.c].direct;
  const std::span<Kt_Variant> args(frame.base + Instr::Operand(in.a), in.b & 0xFF);
  unsigned tags = 0;  // those of objects and references have bits that no other has
  for (const Kt_Variant& arg : args) tags |= arg.GetTag();
  const bool is_direct =
      direct != nullptr && link.version == script_.GetVersion() && tags < kTagObject;
  if (is_direct && direct->of_one != nullptr && args.size() == 1) {
    const Kt_Variant& arg = args[0];
    Kt_Variant& dst = frame.base[ResultOf(in)];
    if (KT_LIKELY((arg.IsLong() || arg.IsDouble()) && !dst.IsCounted())) {
      dst.Set(direct->of_one(arg.IsLong() ? arg.AsLong() : arg.AsDouble()));
      return kOk;
    }
  }
  Kt_Variant value;
  if (KT_LIKELY(is_direct && direct->of_values != nullptr)) {
    direct->of_values(Kt_FuncArgs(args), value);
  } else if (!is_direct || !CallDirect(direct, args, value)) {
    return CallOutside(frame, CallOf(frame, in));
  }
  for (Kt_Variant& arg : args) arg.Clear();
  Kt_Variant& dst = frame.base[ResultOf(in)];
  if (KT_LIKELY(!dst.IsCounted())) {  // no reference either, and nothing goes
    dst = std::move(value);
  } else {
    Store(frame, ResultOf(in), std::move(value));
  }
  return kOk;
}

// Of a variable that holds neither a text nor a list.
kt_long Machine::Length(CodeFrame& frame, Instr in) {
  Kt_Variant arg = Read(frame, in.B());
  if (KT_UNLIKELY(arg.IsObject()) && frame.code->calls[in.C()].member >= 0) {
    if (const kt_long code = CheckCallResult(&script_, arg)) return code;
    return ReadMemberNow(frame, {&arg, 1, in.A(), in.C()});
  }
  return CallOutside(frame, {&arg, 1, in.A(), in.C()});
}

// Built-ins and functions of the host. The arguments move into a list whose memory the next call
// at this depth uses again.
kt_long Machine::CallOutside(CodeFrame& frame, const OutsideCall& call) {
  LinkedCode& link = *frame.link;
  if (KT_UNLIKELY(link.version != script_.GetVersion()) && !link.BindCalls(script_)) {
    return CallByName(frame, call);
  }
  // Nobody is called with what stopped work has left.
  if (const kt_long code = run_.ChargeTime(Kt_WorkMeter::kUnitsPerCall, &script_)) return code;
  // What is called may find the calls anew.
  const LinkedCode::CallSite& site = link.calls[call.site];
  const Kt_Getter builtin = site.builtin;
  const Kt_ExtApi ext_api = site.ext_api;
  Kt_ExprObject* const context = site.context;
  const RunState::Args list(run_);
  for (int arg = 0; arg < call.count; ++arg) {
    (void)(*list).Add(call.args[arg]);
    call.args[arg].Clear();
  }
  Kt_Variant value;
  const FailureMark mark;
  const std::uint32_t failures = kt::MemoryFailures();
  const kt_long code =
      builtin != nullptr ? (script_.*builtin)(&*list, value) : ext_api(context, &*list, value);
  kt::PassMemoryFailure(failures);
  if (KT_LIKELY(code == kOk)) {
    const kt_long checked = value.IsObject() ? CheckCallResult(&script_, value) : kOk;
    return StoreUnlessFailed(checked, frame, call.result, std::move(value));
  }
  return mark.HasNoted(code) ? code : NoteSilentCall(frame.code->calls[call.site].name, code);
}

kt_long Machine::ReturnTo(CodeFrame& frame, std::uint16_t operand, CodeFrame& entry,
                          Kt_Variant& result) {
  Kt_Variant value = operand == FuncCode::kNoRegister ? std::move(returned_) : Read(frame, operand);
  CodeFrame* const up = frame.up;
  ClearFrame(frame);
  // Temps are empty between statements.
  for (std::uint16_t reg = 0; reg < frame.code->var_count; ++reg) {
    if (frame.base[reg].IsCounted()) frame.base[reg].Clear();
  }
  stops_late_ = false;
  const kt_long code = run_.GetStopCode() != kOk ? run_.Check(&script_) : kOk;
  PopFrame(frame);
  if (&frame == &entry) {
    result = std::move(value);
    end_code_ = code;
    return kCallEnds;
  }
  if (code != kOk) return code;
  const kt_long checked = CheckCallResult(&script_, value);
  return StoreUnlessFailed(checked, *up, ResultOf(up->pc[-1]), std::move(value));
}

// Names -------------------------------------------------------------------------------------------

kt_long Machine::Eval(CodeFrame& frame, Instr in) {
  Kt_Expr& expr = *frame.code->exprs[in.B()].expr;
  Kt_Variant value;
  kt_long code = kOk;
  {
    const Contexts contexts(*this, frame);
    code = frame.func->Own(expr).ExecExpr(contexts.Get(), value);
    if (code == kOk) code = run_.Check(&script_);
  }
  if (code != kOk) return code;
  if (KT_UNLIKELY(frame.is_stale) && IsValueOfStatement(frame, expr)) {
    return FinishByName(frame, value);
  }
  Store(frame, in.A(), std::move(value));
  return kOk;
}

// Whether the statement in hand declares or assigns the value of `expr`.
bool Machine::IsValueOfStatement(const CodeFrame& frame, const Kt_Expr& expr) const {
  const Kt_ScriptOp& op = *frame.code->EntryAt(PcOf(frame))->op;
  if (op.HasName()) return &op.GetVar()->expression == &expr;
  const bool is_path = op.opcode > kScriptExpr && op.opcode <= kScriptPathSetMod;
  return is_path && &op.GetSet()->value == &expr;
}

// The names of the statement may stand for others since its value was computed.
kt_long Machine::FinishByName(CodeFrame& frame, Kt_Variant& value) {
  const Storing storing(*this);
  const FuncCode::Entry& entry = *frame.code->EntryAt(PcOf(frame));
  kt_long code = kOk;
  {
    const Storing storing(*this);
    const Contexts contexts(*this, frame);
    code = Interpreter(run_, frame).Finish(*entry.op, value, contexts.Get(), contexts.Get());
  }
  if (code == kOk) frame.pc = frame.code->instrs.data() + entry.end;
  return code;
}

kt_long Machine::Walk(CodeFrame& frame, Instr in, bool& is_return) {
  return RunByWalk(frame, *frame.code->statements[in.A()].op, is_return);
}

kt_long Machine::RunByWalk(CodeFrame& frame, const Kt_ScriptOp& op, bool& is_return) {
  const Storing storing(*this);
  const Contexts contexts(*this, frame);
  frame.op = &op;
  const Outcome outcome =
      Interpreter(run_, frame).Run(op, contexts.Get(), contexts.Get(), returned_);
  frame.op = nullptr;
  is_return = outcome.flow == Flow::kReturn;
  return outcome.code;
}

// Statements that were added to the function while it ran.
kt_long Machine::Rest(CodeFrame& frame, bool& is_return) {
  const Contexts contexts(*this, frame);
  const Outcome outcome = Interpreter(run_, frame)
                              .Body(frame.func->GetBody(), contexts.Get(), contexts.Get(),
                                    returned_, frame.code->body_count);
  frame.op = nullptr;
  is_return = outcome.code == kOk;
  return outcome.code;
}

kt_long Machine::Enter(CodeFrame& frame, Instr in) {
  Scope& outer = *frame.scopes.back().scope;
  frame.scopes.push_back({in.A(), std::make_unique<Scope>(&outer, &outer, script_)});
  return kOk;
}

void Machine::Clear(Kt_Variant& value) {
  const Storing storing(*this);
  value.Clear();
}

void Machine::Leave(CodeFrame& frame, Instr in) {
  while (frame.scopes.size() > in.C()) frame.scopes.pop_back();
  if (frame.code->is_by_name) return;
  for (int reg = in.A(); reg < in.A() + in.B(); ++reg) frame.base[reg].SetUndeclared();
}

kt_long Machine::BeginStatements(CodeFrame& frame, bool& is_moved) {
  const FuncCode& func = *frame.code;
  const auto pc = static_cast<std::uint32_t>(PcOf(frame));
  auto entry = std::lower_bound(
      func.entries.begin(), func.entries.end(), pc,
      [](const FuncCode::Entry& at, std::uint32_t place) { return at.pc < place; });
  is_moved = frame.is_stale && !func.is_by_name;
  if (is_moved) {
    std::unique_ptr<LinkedCode>& link = frame.link->by_name;
    if (link == nullptr) link = MakeCode(*frame.func, script_, &func);
    const bool has_room = frame.end - frame.base >= link->code->register_count;
    if (link->code->why_walk != nullptr || !has_room) {
      link.reset();
      return run_.StopTooDeep(&script_);
    }
    const FuncCode& by_name = *link->code;
    const FuncCode::Entry& there =
        by_name.entries[static_cast<std::size_t>(entry - func.entries.begin())];
    KT_ASSERT(there.op->opcode == entry->op->opcode);  // perhaps of a tree parsed again
    for (std::size_t at = 0; at < func.global_of_register.size(); ++at) {
      frame.base[func.box_base + at].Clear();
    }
    // Between two labels of a switch, its value.
    if (func.temp_base != by_name.temp_base) {
      frame.base[by_name.temp_base] = std::exchange(frame.base[func.temp_base], {});
    }
    frame.code = &by_name;
    frame.link = link.get();
    frame.reg_count = std::max(frame.reg_count, by_name.register_count);
    frame.pc = by_name.instrs.data() + there.pc;
    frame.is_stale = false;
    OpenScopes(frame, there.pc, script_);
    return kOk;
  }
  for (; entry != func.entries.end() && entry->pc == pc; ++entry) {
    frame.op = entry->op;
    for (int step = 0; step < entry->steps; ++step) {
      if (const kt_long code = run_.Tick(&script_)) return code;
    }
  }
  frame.op = nullptr;
  return kOk;
}

}  // namespace kt::detail
