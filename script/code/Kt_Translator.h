// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>
#include <unordered_map>

#include "expr/Kt_ExprProgram.h"
#include "script/Kt_ScriptOpItem.h"
#include "script/code/Kt_FuncCode.h"

namespace kt::detail {

// Makes the code of one function. Used once.
class Translator {
 public:
  // `code` is that of `link`.
  Translator(const Kt_ScriptFunc& func, Kt_Script& script, FuncCode& code, LinkedCode& link)
      : func_(func), script_(script), code_(code), link_(link) {}
  void Run();

 private:
  // Where to go later: bound to a place in the code at some time.
  using Label = std::size_t;
  static constexpr std::uint16_t kNone = FuncCode::kNoRegister;

  // What is known of a variable at the place in hand: declared, or perhaps.
  struct Known {
    std::uint16_t reg;
    bool is_certain;
  };
  struct OpenScope {
    std::size_t info;
    std::vector<std::pair<Kt_Symbol, Known>> slots;
    std::uint16_t first_reg;
  };
  // What a name stands for at the place in hand.
  struct Place {
    enum class Kind : std::uint8_t { kNobody, kRegister, kMaybe, kGlobal, kHost };
    Kind kind = Kind::kNobody;
    std::uint16_t reg = 0;  // or the number of the global, or of the host's name
    bool is_innermost = false;
  };
  // Where break and continue lead, and the scopes that stay open there.
  struct Jump {
    Label break_label;
    Label continue_label;
    std::size_t break_depth;
    std::size_t continue_depth;
    bool has_break;
    bool has_continue;
  };

  // Statements (Kt_Translator.cpp).
  void Body(const Kt_ScriptOpList& ops) { Body(ops, ops.GetCount()); }
  void Body(const Kt_ScriptOpList& ops, kt_long op_count);
  void Statement(const Kt_ScriptOp& op);
  void ScopedBody(const Kt_ScriptOpList& ops, bool is_loop);
  void Declare(const Kt_ScriptOp& op);
  void Assign(const Kt_ScriptOp& op);
  void AssignTo(std::uint16_t reg, const Kt_ScriptOp& op);
  void AssignGlobal(std::uint16_t global, const Kt_ScriptOp& op);
  void AssignNew(const Place& place, const Kt_ScriptOp& op);
  void Combine(const Kt_ScriptOp& op);
  void StepName(const Kt_ScriptOp& op);
  void AssignPath(const Kt_ScriptOp& op);
  void If(const Kt_ScriptOp& op);
  void Switch(const Kt_ScriptOp& op);
  void Choose(const Kt_ScriptOpSwitch& labels, std::uint16_t chosen,
              const std::vector<Label>& bodies, Label none);
  void Loop(const Kt_ScriptOp& op);
  void Block(const Kt_ScriptOp& op);
  void Return(const Kt_ScriptOp& op);
  void JumpOut(const Kt_ScriptOp& op);
  void Walk(const Kt_ScriptOp& op, const char* why);
  void MarkAgain(const Kt_ScriptOp& op);

  // Scopes and names.
  void OpenFunction();
  void OpenBlock(const Kt_ScriptOpList* loop_body);
  void CloseBlock();
  void Leave(std::size_t depth);
  void NoteMaybe(const Kt_ScriptOpList& ops);
  std::uint16_t SlotOf(const Kt_WString& name, bool is_certain);
  // `skip`: so many of the innermost scopes are left out.
  Place Find(const Kt_WString& name, std::size_t skip = 0);
  std::uint16_t GlobalNumber(const Kt_WString& name);
  int CountSlots(const Kt_ScriptOpList& ops, std::vector<Kt_Symbol>& visible, kt_long op_count);
  void CountName(const Kt_WString& name, bool is_var, std::vector<Kt_Symbol>& visible);

  // Expressions (Kt_Translator_Expr.cpp).
  struct Lowering;
  // A called name. All calls of one share a site, which is made when the first one is emitted;
  // members only what it is made of.
  struct KnownCall {
    FuncCode::Call call;
    LinkedCode::CallSite site;
    bool is_bound;
    std::uint16_t number = kNone;
  };
  // Of an expression in hand.
  struct Parts {
    ExprProgram program;
    std::vector<Place> names;           // what each name stands for
    std::vector<KnownCall*> calls;      // and each call
    std::vector<std::uint16_t> places;  // the register of each temp
    std::vector<std::uint16_t> sites;   // of calls of members that have one
  };
  // Emits what computes `expr`; the operand to use next. `want`: a register that the last
  // instruction may write.
  std::uint16_t Value(Kt_Expr& expr, std::uint16_t want = kNone);
  void ValueInto(Kt_Expr& expr, std::uint16_t reg);
  std::uint16_t ListValue(Kt_Expr& expr, std::uint16_t want);
  std::uint16_t EvaluateList(std::size_t begin, Kt_Expr& expr, std::uint16_t want, const char* why);
  const char* WhyNotLowered(Kt_Expr& expr);
  std::uint16_t Evaluate(Kt_Expr& expr, std::uint16_t want, const char* why);
  bool GivesConstant(Kt_Expr& expr, Kt_Variant& value);
  // Goes to `label` when the truth of `expr` is `sense`, else falls through.
  void Branch(Kt_Expr& expr, bool sense, Label label);
  void NoteRange(std::size_t begin, Kt_Expr& expr, std::uint16_t dst, std::size_t resume);
  void Compile(Lowering& low);
  bool Prepare(Lowering& low);
  void Spare(Lowering& low);
  std::unique_ptr<Parts> TakeParts();
  bool PrepareCalls(Lowering& low);
  KnownCall& CallOf(const Kt_WString& name, bool is_member);
  std::uint16_t SiteOf(Lowering& low, std::size_t call);
  std::uint16_t AddSite(const FuncCode::Call& call, const LinkedCode::CallSite& site);
  void Lower(Lowering& low, std::size_t end);
  void LowerInstr(Lowering& low, std::size_t at);
  void LowerCall(Lowering& low, const CodeInstr& in);
  std::uint16_t Read(Lowering& low, std::uint16_t operand);
  std::uint16_t Variable(Lowering& low, std::uint16_t operand);
  std::uint16_t Target(Lowering& low, std::uint16_t temp);
  void EmitOperator(Operator op, std::uint16_t dst, std::uint16_t a, std::uint16_t b);
  void EmitRelation(Operator op, bool sense, std::uint16_t a, std::uint16_t b, Label label);
  static void ReadIndexesInPlace(Lowering& low);
  bool PrepareGlobals(Lowering& low);

  // Members (Kt_Translator_Members.cpp).
  struct QuickRun;
  bool IsOnlyReceived(const ExprProgram& program, std::uint16_t name) const;
  std::uint16_t HostName(const Kt_WString& name);
  void LowerReceive(Lowering& low, std::size_t at);
  void BeginQuicks(Lowering& low, std::size_t at);
  void EndQuicks(Lowering& low, std::size_t at);
  static bool IsSimple(const Lowering& low, std::uint16_t operand);
  static bool TakeQuick(Lowering& low, std::size_t at, QuickRun& run);
  static bool GivesPlainValues(const Lowering& low, const QuickRun& run);
  void HoldGlobals(const Lowering& low);
  void NoteBranch(std::size_t begin, Kt_Expr& expr, bool sense, Label label);
  void EmitGuards(const Lowering& low, Label label);
  bool LowerBranch(Lowering& low, bool sense, Label label, bool is_dry);
  std::size_t FindJoin(const Lowering& low, const Kt_WString& name) const;
  bool SetMember(const Kt_ScriptOp& op, Lowering& target);
  int QuickTarget(Lowering& target);
  // An assignment to an element; null, or why the walk has to do it.
  const char* PathTo(const Kt_ScriptOp& op);
  std::uint16_t JoinTo(Kt_Expr& expr, const Kt_WString& name, std::uint16_t reg);

  // Code.
  std::size_t Emit(InstrOp op, std::uint16_t a = 0, std::uint16_t b = 0, std::uint16_t c = 0);
  std::size_t EmitFar(InstrOp op, std::uint16_t a, std::int32_t d);
  void EmitJump(InstrOp op, std::uint16_t a, Label label);
  void EmitShort(InstrOp op, std::uint16_t a, std::uint16_t b, Label label);
  Label NewLabel();
  void Bind(Label label);
  std::size_t Here();
  void Mark(const Kt_ScriptOp& op, int steps);
  std::uint16_t AddConst(const Kt_Variant& value);
  std::uint16_t NewTemp(int count = 1);
  bool IsTemp(std::uint16_t operand) const {
    return operand >= temp_base_ && operand < kConstOperand;
  }
  std::uint16_t BoxOf(std::uint16_t global, int which = 0);
  std::uint16_t BoxOfName(const Lowering& low, std::size_t name);
  void BindName(const Lowering& low, std::size_t name);
  void BindNames(Lowering& low, std::size_t at);
  void GiveUp(const char* why);
  bool HasStack();
  void Finish();
  void JoinTests();

  const Kt_ScriptFunc& func_;
  Kt_Script& script_;
  FuncCode& code_;
  LinkedCode& link_;
  std::vector<OpenScope> open_;
  std::vector<Jump> jumps_;
  std::vector<std::pair<Kt_Symbol, std::uint16_t>> global_numbers_;
  struct Fixup {
    std::size_t at;
    Label label;
    bool is_short;
  };
  std::vector<Fixup> fixups_;
  std::vector<std::size_t> labels_;
  bool wants_plain_value_ = false;  // the next value is only an operand
  std::uint16_t empty_const_ = kNone;
  std::unordered_map<kt_long, std::uint16_t> long_consts_;
  std::unordered_map<std::u16string_view, std::uint16_t> text_consts_;  // texts of code_.consts
  ExprProgramMaker maker_{{.has_members = true, .notes_lookups = true}};
  std::vector<std::unique_ptr<Parts>> free_parts_;  // there is room for all that were made
  std::size_t parts_made_ = 0;
  // The program of an expression that was looked at and will be again.
  const Kt_Expr* spare_of_ = nullptr;
  ExprProgram spare_;
  // What the called names stand for, by their spelling, which messages show; of members apart.
  std::unordered_map<std::u16string_view, KnownCall> known_calls_[2];
  std::vector<std::pair<std::size_t, Label>> branch_resumes_;  // ranges that go on at a label
  std::size_t statement_count_ = 0;
  int hidden_scope_ = -1;  // open, but not seen by the step and condition of its loop
  int pending_steps_ = 0;
  bool is_pending_ = false;
  std::uint16_t next_slot_ = 0;
  std::uint16_t most_slots_ = 0;
  std::uint16_t slot_limit_ = 0;
  std::uint16_t temp_base_ = 0;
  std::uint16_t temp_floor_ = 0;
  std::uint16_t temp_top_ = 0;  // one after the highest temp in use
  std::uint16_t box_limit_ = 0;
};

}  // namespace kt::detail
