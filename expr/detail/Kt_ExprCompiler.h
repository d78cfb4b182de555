// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/Kt_Symbol.h"
#include "expr/Kt_ExprProgram.h"
#include "expr/detail/Kt_ExprWalk.h"

namespace kt::detail {

// The number of arguments of the call whose name is record `call`; -1 when its parentheses do not
// match.
kt_long CountCallArgs(const Kt_ExprOpList& ops, kt_long call);

// Makes the compiled form of an operation list by walking it as the evaluator does, with entries
// that say where a value will be instead of holding one.
//
// The evaluator reads entries late, and so does the code: a variable is an operand of the operation
// that reads it. A call is emitted at its ')', where the evaluator runs it. A jump is needed only
// for && and ||: a skipped operand ends at the closing record of its bracket, so the jump is
// patched there, and both ways leave the value in the same temp.
//
// Whatever is not certain to come out the same makes Compile return false.
class ExprCompiler : private ExprWalk<ExprCompiler, bool> {
 private:
  // The end of a chain of jumps: each keeps the one before it until it gets its target.
  static constexpr std::int32_t kNo = -1;

  struct Entry {
    enum class Kind : std::uint8_t { kNone, kValue, kName, kElement, kCall, kRef };
    Kind kind = Kind::kNone;
    bool is_closed = false;       // call: the argument list has ended
    std::int16_t pending = 0;     // the operator that follows
    std::uint16_t operand = 0;    // value, variable, or variable of the element
    std::uint16_t index = 0;      // of the element
    std::uint16_t first_arg = 0;  // of the call
    std::uint16_t arg_count = 0;
    std::int32_t call = -1;
    kt_long start = 0;        // the record at which the operand begins
    int logic_temp = -1;      // where && and || leave their value
    std::int32_t jump = kNo;  // the last one to be sent to where the closing record begins
  };

 public:
  // What the compiler works with; its memory may be used for many expressions.
  struct Space {
    std::vector<Entry> entries;
    std::vector<Kt_Symbol> names;
  };

  ExprCompiler(const Kt_ExprOpList& ops, ExprProgram& program, Space& space,
               const ExprProgram::Form& form = {})
      : ExprWalk(ops),
        program_(program),
        form_(form),
        entries_(space.entries),
        names_(space.names) {
    entries_.clear();
    names_.clear();
  }
  bool Compile();

 private:
  friend class ExprWalk<ExprCompiler, bool>;
  static constexpr bool kGoesOn = true;

  // What the walk asks for; false gives up.
  bool HasBelow() const { return entries_.size() > 1; }
  std::int16_t Pending() { return Below().pending; }
  bool HasOperand() { return Top().kind != Entry::Kind::kNone; }
  bool ApplyAtMarker();
  // Sends the jumps of skipped right sides to here, where the entry on top has its value.
  bool Settle();
  bool Constant(const Kt_Variant& value);
  bool Ref(const Kt_ExprOp& op);
  bool Member(const Kt_ExprOp& op);
  void NoteEnd(const Entry& entry);
  bool Misplaced(const Kt_ExprOp&) { return false; }
  bool Name(const Kt_ExprOp& op);
  bool IsUnread(std::uint16_t name) const;
  bool AskedName(const Kt_ExprOp& op);
  bool Call(const Kt_ExprOp& op);
  bool Operator(const Kt_ExprOp& op);
  bool Logical(const Kt_ExprOp& op);
  bool Postfix(const Kt_ExprOp& op);
  bool Apply();
  bool ApplyStep(std::int32_t step);
  bool FoldConstants(kt::Operator op, std::uint16_t a, std::uint16_t b);
  bool CollectArg();
  bool CloseParen(const Kt_ExprOp& op);
  bool CloseBracket(const Kt_ExprOp& op);
  bool Comma(const Kt_ExprOp& op);
  bool Finish();

  Entry& Top() { return entries_.back(); }
  Entry& Below() { return entries_[entries_.size() - 2]; }
  void SetValue(Entry& entry, std::uint16_t operand);
  // Emits what reads the entry, if anything; the operand to use by the next instruction.
  std::uint16_t Read(Entry& entry);
  std::uint16_t NewTemp();
  std::uint16_t AddConst(const Kt_Variant& value);
  void Emit(CodeOp op, std::uint16_t dst, std::uint16_t a, std::uint16_t b, std::int32_t extra = 0);
  // The operand for a value that must be read now and used later.
  std::uint16_t Fix(std::uint16_t operand);
  // If the last instruction only moved a variable into `operand`, takes it back and gives the
  // variable.
  std::uint16_t Unfix(std::uint16_t operand);

  ExprProgram& program_;
  ExprProgram::Form form_;
  std::vector<Entry>& entries_;
  std::vector<Kt_Symbol>& names_;  // of program_.names
  int temp_count_ = 0;
  std::size_t barrier_ = 0;  // instructions before it are jumped to and may not be taken back
  bool has_called_ = false;  // a call has been emitted
  bool has_failed_ = false;
};

}  // namespace kt::detail
