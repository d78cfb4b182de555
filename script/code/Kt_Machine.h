// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "classlib/base/Kt_Charge.h"
#include "object/Kt_ExprStackObj.h"
#include "script/code/Kt_FuncCode.h"
#include "script/detail/Kt_RunState.h"

namespace kt::detail {

// One call of a translated function.
struct CodeFrame : RunState::Frame {
  LinkedCode* link = nullptr;  // of its code
  Kt_Variant* base = nullptr;  // its registers
  Kt_Variant* end = nullptr;   // of the block of the stack that they lie in
  CodeFrame* up = nullptr;     // the function that called it, when no native call lies between
  CodeFrame* next = nullptr;   // kept for the next call
  CodeFrame* before = nullptr;
  std::size_t block = 0;
  std::uint16_t reg_count = 0;
  std::uint64_t failures = 0;  // noted on the thread before it was called
  bool is_stale = false;       // goes on by names with the next statement
  // The contexts of its scopes, outermost first, while somebody may look at them.
  struct Open {
    int info;  // which scope of the function it is
    std::unique_ptr<Scope> scope;
  };
  std::vector<Open> scopes;
  // Arguments that refer to items of lists, which get their values at the end.
  std::vector<std::pair<std::uint16_t, Kt_Variant>> items;
  // Members that were received and not read yet, by the register of their object.
  std::vector<std::pair<std::uint16_t, std::unique_ptr<Kt_ExprStackObj>>> members;
};

// Two texts whose comparison is not worth charging.
inline bool AreShortTexts(const Kt_Variant& left, const Kt_Variant& right) {
  return left.IsString() && right.IsString() && left.AsStringView().size() <= kShortUnits &&
         right.AsStringView().size() <= kShortUnits;
}
inline bool IsSameText(const Kt_Variant& left, const Kt_Variant& right) {
  return IsSameText(left.AsStringView(), right.AsStringView());
}

// The instruction that runs.
inline std::size_t PcOf(const CodeFrame& frame) {
  return static_cast<std::size_t>(frame.pc - frame.code->instrs.data()) - 1;
}

// Runs translated functions on a stack of registers that belongs to the run: calls between them
// take no native stack.
//
// Owned by the RunState of a script. Threads: the script's.
class Machine {
 public:
  explicit Machine(RunState& run);
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine();

  // The code of `func`; null when the walk has to run it.
  static LinkedCode* CodeOf(const Kt_ScriptFunc& func, Kt_Script& script);
  // Calls `func` with the `arg_count` values at `args`, which may be taken over.
  kt_long CallFresh(const Kt_ScriptFunc& func, Kt_Variant* args, int arg_count, Kt_Variant& result);
  // Lets go of the globals that no expression on the way needs: they are about to be removed.
  void LetGlobalsGo();

 private:
  kt_long Call(const Kt_ScriptFunc& func, LinkedCode& link, Kt_Variant* args, int arg_count,
               Kt_Variant& result);
  friend class Contexts;
  // What ReturnTo answers when the call that the loop was entered with has ended.
  static constexpr kt_long kCallEnds = -0x7FFFFFFF;
  // Calls nest up to here; a frame takes some hundred bytes and its registers.
  static constexpr std::size_t kMostFrames = 100000;
  static constexpr std::size_t kFirstBlock = 4096;     // registers
  static constexpr std::size_t kSpareRegisters = 256;  // left free by calls that are made at once
  static constexpr std::size_t kBlock = 65536;

  // A run that stops while an old value is freed is told by the next statement.
  class Storing {
   public:
    explicit Storing(Machine& machine)
        : machine_(machine), was_stopped_(machine.run_.GetStopCode() != kOk) {}
    Storing(const Storing&) = delete;
    Storing& operator=(const Storing&) = delete;
    ~Storing() {
      if (!was_stopped_ && machine_.run_.GetStopCode() != kOk) machine_.stops_late_ = true;
    }

   private:
    Machine& machine_;
    bool was_stopped_;
  };
  struct Block {
    std::unique_ptr<Kt_Variant[]> registers;
    std::size_t count;
  };

  // The loop.
  kt_long Run(CodeFrame& entry, Kt_Variant& result);
  kt_long Loop(CodeFrame& entry, Kt_Variant& result, kt_long failure);
  // The frame in hand fails with `code`: goes on somewhere (true), or ends the run of `entry`.
  bool Recover(CodeFrame& entry, kt_long& code);
  bool RecoverHere(CodeFrame& frame, kt_long& code);

  // Frames.
  CodeFrame* NextFrame();
  kt_long Begin(const Kt_ScriptFunc& func, LinkedCode& link, Kt_Variant* wanted, int arg_count);
  bool PlaceRegisters(CodeFrame& frame, Kt_Variant* wanted, Kt_Variant* end, std::size_t block,
                      std::size_t count, int arg_count);
  void BindArgs(CodeFrame& frame, int arg_count);
  KT_NOINLINE void NoteItem(CodeFrame& frame, std::uint16_t reg);
  void Trim();
  void ClearFrame(CodeFrame& frame);
  void EndFrame(CodeFrame& frame);
  void PopFrame(CodeFrame& frame);
  kt_long AfterCall(kt_long code);
  KT_NOINLINE kt_long EnterSlow(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long CallByWalk(CodeFrame& frame, Instr in, const Kt_ScriptFunc& func);
  // A call that leaves the code: its arguments side by side, the register for the result, the site.
  struct OutsideCall {
    Kt_Variant* args;
    int count;
    std::uint16_t result;
    std::uint16_t site;
  };
  static std::uint16_t ResultOf(Instr in) {
    return static_cast<std::uint16_t>(Instr::Operand(in.a) - (in.b >> 8));
  }
  static OutsideCall CallOf(const CodeFrame& frame, Instr in) {
    return {frame.base + Instr::Operand(in.a), in.b & 0xFF, ResultOf(in), in.c};
  }
  KT_NOINLINE kt_long CallByName(CodeFrame& frame, const OutsideCall& call);
  // Ends the frame with the value of `operand`, kNoRegister for what is in returned_.
  KT_NOINLINE kt_long ReturnTo(CodeFrame& frame, std::uint16_t operand, CodeFrame& entry,
                               Kt_Variant& result);

  // Instructions beside their fast ways.
  bool ComputeHeld(CodeFrame& frame, Operator op, std::uint16_t dst, std::uint16_t a,
                   const Kt_Variant& right);
  KT_NOINLINE kt_long Binary(CodeFrame& frame, Operator op, std::uint16_t dst, std::uint16_t a,
                             std::uint16_t b);
  bool JoinShort(CodeFrame& frame, std::uint16_t dst, std::uint16_t a, std::uint16_t b);
  KT_NOINLINE kt_long BinaryWith(CodeFrame& frame, Operator op, std::uint16_t dst, std::uint16_t a,
                                 kt_long number);
  KT_NOINLINE bool Relates(CodeFrame& frame, Operator op, std::uint16_t a, std::uint16_t b);
  KT_NOINLINE bool RelatesTo(CodeFrame& frame, Operator op, std::uint16_t a, kt_long number);
  KT_NOINLINE bool IsTrue(CodeFrame& frame, std::uint16_t operand);
  KT_NOINLINE kt_long Combine(CodeFrame& frame, Operator op, std::uint16_t dst, std::uint16_t a);
  KT_NOINLINE kt_long Move(CodeFrame& frame, std::uint16_t dst, std::uint16_t a);
  KT_NOINLINE bool IsCase(CodeFrame& frame, Instr in);
  KT_NOINLINE bool Test(CodeFrame& frame, Instr in, bool when);
  KT_NOINLINE kt_long Step(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long StepValue(CodeFrame& frame, Instr in, bool is_before);
  KT_NOINLINE kt_long JoinBegin(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long JoinEnd(CodeFrame& frame, Instr in);
  Kt_Variable* FreshGlobal(LinkedCode& link, std::uint16_t index) const;
  KT_NOINLINE kt_long GetGlobal(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long SetGlobal(CodeFrame& frame, Instr in);
  bool BeginsStatement(const CodeFrame& frame) const;
  void GoOnByNames(CodeFrame& frame);
  KT_NOINLINE kt_long BindGlobal(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long MakeList(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long DeclareArray(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long AssignNew(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long Element(CodeFrame& frame, Instr in);
  kt_long ElementAt(CodeFrame& frame, std::uint16_t reg, kt_long index, const Kt_WString& key,
                    Kt_Variant& element);
  kt_long Element2ByObject(CodeFrame& frame, Instr in, Instr more);
  KT_NOINLINE kt_long Element2(CodeFrame& frame, Instr in, Instr more);
  KT_NOINLINE kt_long Index(CodeFrame& frame, Instr in, Instr more);
  KT_NOINLINE kt_long SetElement(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long SetInCopy(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long ChangeElement(CodeFrame& frame, Instr in, Instr more);
  kt_long WriteElement(CodeFrame& frame, std::uint16_t reg, kt_long index, const Kt_WString& key,
                       const Kt_Variant& value);
  KT_NOINLINE kt_long CallBuiltin(CodeFrame& frame, Instr in);

  // Members (Kt_Machine_Members.cpp).
  KT_NOINLINE kt_long Receive(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long ReceiveObject(CodeFrame& frame, Instr in, Kt_Variant&& object);
  const Kt_Variant* KnownObject(CodeFrame& frame, Instr in, int number);
  kt_long ReceiveHost(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long CallMember(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long CallFoundMember(CodeFrame& frame, Instr in, const OutsideCall& call);
  kt_long ReadMember(CodeFrame& frame, const OutsideCall& call, Kt_ExprStackObj& entry);
  kt_long ReadMemberNow(CodeFrame& frame, const OutsideCall& call);
  kt_long FinishMember(CodeFrame& frame, const OutsideCall& call, Kt_Variant& value, kt_long code);
  // `is_used` says whether that was possible.
  kt_long UseMember(CodeFrame& frame, const FuncCode::Quick& quick, bool& is_used);
  KT_NOINLINE kt_long SetMember(CodeFrame& frame, Instr in, const FuncCode::Quick& quick);
  bool ChangeMember(CodeFrame& frame, Instr in, const FuncCode::Quick& quick, kt_long& code);
  bool CallQuick(CodeFrame& frame, const OutsideCall& call, kt_long& code);
  bool RunQuick(CodeFrame& frame, int number, const Kt_Variant& object, MemberUse use,
                const Kt_Variant* const* args, int arg_count, Kt_Variant& value, kt_long& code);
  bool IsQuick(CodeFrame& frame, int number, Kt_Object& object, MemberUse use, int arg_count);
  bool IsQuickToSet(CodeFrame& frame, const FuncCode::Quick& quick, const Kt_Variant& object);
  KT_NOINLINE bool FindQuick(CodeFrame& frame, int number, Kt_Object& object, MemberUse use,
                             int arg_count);
  const Kt_Variant* HostObject(const CodeFrame& frame, int host) const;
  KT_NOINLINE kt_long CallOutside(CodeFrame& frame, const OutsideCall& call);
  KT_NOINLINE kt_long Length(CodeFrame& frame, Instr in);
  KT_NOINLINE void Ref(CodeFrame& frame, Instr in);
  bool IsValueOfStatement(const CodeFrame& frame, const Kt_Expr& expr) const;
  kt_long FinishByName(CodeFrame& frame, Kt_Variant& value);
  KT_NOINLINE kt_long Eval(CodeFrame& frame, Instr in);
  // A return leaves its value in returned_.
  KT_NOINLINE kt_long Walk(CodeFrame& frame, Instr in, bool& is_return);
  kt_long RunByWalk(CodeFrame& frame, const Kt_ScriptOp& op, bool& is_return);
  KT_NOINLINE kt_long Rest(CodeFrame& frame, bool& is_return);
  KT_NOINLINE void Clear(Kt_Variant& value);
  KT_NOINLINE void Leave(CodeFrame& frame, Instr in);
  KT_NOINLINE kt_long Enter(CodeFrame& frame, Instr in);
  // Before the statements that begin at the instruction in hand: charges them one by one, and goes
  // over to the code by names. True in `is_moved` when the frame goes on elsewhere.
  KT_NOINLINE kt_long BeginStatements(CodeFrame& frame, bool& is_moved);

  // `row`: the field of an instruction.
  KT_NOINLINE bool IsPutBack(const CodeFrame& frame, const Instr* next, std::uint16_t row) const;

  // Operands.
  bool IsVariable(const CodeFrame& frame, std::uint16_t reg) const {
    return reg < frame.code->temp_base;
  }
  Kt_Variant& Place(CodeFrame& frame, std::uint16_t reg);
  const Kt_Variant& Peek(CodeFrame& frame, std::uint16_t operand);
  // The value, as an operator reads it; a temp is done with.
  Kt_Variant Read(CodeFrame& frame, std::uint16_t operand);
  Kt_Variant Checked(Kt_Variant value);
  void Store(CodeFrame& frame, std::uint16_t reg, Kt_Variant&& value);
  // What has failed leaves a variable as it was. The same code.
  kt_long StoreUnlessFailed(kt_long code, CodeFrame& frame, std::uint16_t reg, Kt_Variant&& value) {
    if (code == kOk) Store(frame, reg, std::move(value));
    return code;
  }
  void Drop(CodeFrame& frame, std::uint16_t operand);
  Kt_Variable* Box(CodeFrame& frame, std::uint16_t reg);
  const Kt_WString& NameOf(const CodeFrame& frame, std::uint16_t reg) const;
  LinkedCode* FreshCode(const Kt_ScriptFunc& func);

  RunState& run_;
  Kt_Script& script_;
  CodeFrame first_frame_;  // of the chain of kept ones; stands for no call
  CodeFrame* current_ = nullptr;
  std::size_t depth_ = 0;
  std::vector<Block> blocks_;
  Kt_Variant returned_;
  kt_long end_code_ = 0;
  bool stops_late_ = false;
};

}  // namespace kt::detail
