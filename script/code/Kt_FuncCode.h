// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <memory>
#include <mutex>
#include <typeinfo>
#include <vector>

#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprProgram.h"
#include "object/Kt_DirectFuncs.h"
#include "object/Kt_ExprObject.h"
#include "object/Kt_QuickMembers.h"
#include "script/Kt_Script.h"
#include "script/code/Kt_ChoiceTable.h"

namespace kt::detail {

enum class InstrOp : std::uint8_t {
#define KT_CODE_OP(name, operands, text) k##name,
#include "script/code/Kt_CodeOps.inc"
#undef KT_CODE_OP
  kCount
};

// Which operands of an instruction name registers or constants: bit 0 for a, 1 for b, 2 for c.
constexpr std::uint8_t RegisterOperands(const char* operands) {
  int bits = 0;
  for (int at = 0; at < 3; ++at) {
    const char kind = operands[at];
    if (kind == 'w' || kind == 'r' || kind == 'v' || kind == 'x') bits |= 1 << at;
  }
  return static_cast<std::uint8_t>(bits);
}
inline constexpr std::uint8_t kRegisterOperands[] = {
#define KT_CODE_OP(name, operands, text) RegisterOperands(operands),
#include "script/code/Kt_CodeOps.inc"
#undef KT_CODE_OP
};

// One instruction in eight bytes: code, steps, operands a, b and c of 16 bits; d is b and c as one
// signed number. Where a statement begins or goes on the code has kEntry as well, and the steps are
// the number of statements that begin.
//
// The fields of operands that name registers or constants hold their number times two, and one more
// for constants: an index of half a value, which the machine adds to where they lie. A(), B() and
// C() tell them as everything but the loop knows them.
struct alignas(8) Instr {
  std::uint8_t code = 0;
  std::uint8_t steps = 0;
  std::uint16_t a = 0;
  std::uint16_t b = 0;
  std::uint16_t c = 0;

  static constexpr std::uint8_t kEntry = 1;
  static constexpr int kMostSteps = 0x7F;

  static Instr Of(InstrOp op, std::uint16_t a, std::uint16_t b, std::uint16_t c) {
    const int bits = kRegisterOperands[static_cast<std::size_t>(op)];
    Instr in;
    in.code = static_cast<std::uint8_t>(static_cast<int>(op) << 1);
    in.a = std::rotl(a, bits & 1);
    in.b = std::rotl(b, bits >> 1 & 1);
    in.c = std::rotl(c, bits >> 2 & 1);
    return in;
  }
  static Instr Far(InstrOp op, std::uint16_t a, std::int32_t d) {
    return Of(op, a, static_cast<std::uint16_t>(d),
              static_cast<std::uint16_t>(static_cast<std::uint32_t>(d) >> 16));
  }
  // Of the field of a register or constant: the operand, whether it is a constant, and how far it
  // is from the first one, in bytes.
  static std::uint16_t Operand(std::uint16_t field) { return std::rotr(field, 1); }
  static bool IsConst(std::uint16_t field) { return (field & 1) != 0; }
  static std::size_t Distance(std::uint16_t field) { return std::size_t{field} * 8; }

  InstrOp Op() const { return static_cast<InstrOp>(code >> 1); }
  bool IsEntry() const { return (code & kEntry) != 0; }
  int Steps() const { return steps; }
  std::uint16_t A() const { return std::rotr(a, Registers() & 1); }
  std::uint16_t B() const { return std::rotr(b, Registers() >> 1 & 1); }
  std::uint16_t C() const { return std::rotr(c, Registers() >> 2 & 1); }
  std::int32_t D() const { return static_cast<std::int32_t>(std::uint32_t{c} << 16 | b); }
  void SetEntry(int count) {
    code |= kEntry;
    steps = static_cast<std::uint8_t>(count);
  }
  // Another instruction at this place; statements begin here as before.
  void Replace(Instr in) {
    in.code |= code & kEntry;
    in.steps = steps;
    *this = in;
  }

 private:
  int Registers() const { return kRegisterOperands[code >> 1]; }
};
static_assert(sizeof(Instr) == 8 && sizeof(Kt_Variant) == 2 * 8);
static_assert(static_cast<int>(InstrOp::kCount) <= 0x80);

// An operand that may be a constant has this bit then.
inline constexpr std::uint16_t kConstOperand = 0x8000;

// The site of a member that no built-in function has the name of, or of a name of the host.
inline constexpr std::uint16_t kObjectSite = 0x8000;

// A function as instructions over registers; see Kt_Translator.cpp for how it is made and
// Kt_Machine.cpp for how it runs.
//
// Registers: the variables of the function come first, arguments before others, then those that
// stand for globals, then temps. Borrows the function's trees. Does not change once it is made, so
// all scripts that share the function run it; what its names stand for in one is in LinkedCode.
struct FuncCode {
  // A variable of a scope.
  struct Slot {
    Kt_WString name;
    Kt_Symbol symbol;
    std::uint16_t reg;
    std::uint32_t since;  // the entry from which on; before, the register may be another's
  };
  // A scope of the function: the call, a block, the body of a loop. The call's is the first.
  struct ScopeInfo {
    int parent;
    int depth;
    std::vector<Slot> slots;
  };
  // Where statements begin, or loops go on with their condition, in the order of the code.
  struct Entry {
    std::uint32_t pc;
    std::uint32_t end;    // of a simple statement: one after its last instruction
    std::uint16_t scope;  // whose names the statement sees
    std::uint16_t open;   // the innermost one that has begun
    std::uint8_t steps;
    const Kt_ScriptOp* op;
  };
  // The instructions of one expression; ranges of pieces of a list come before that of the list.
  struct ExprRange {
    std::uint32_t begin;
    std::uint32_t end;
    std::uint32_t resume;  // where to go on when the value is to be empty
    std::uint16_t dst;     // what is emptied then; kNoRegister for nothing
    Kt_Expr* expr;
  };
  static constexpr std::uint16_t kNoRegister = 0xFFFF;
  enum class CallKind : std::uint8_t { kScript, kBuiltin, kHost };
  // What is called, as the instructions take it.
  struct Call {
    Kt_WString name;
    CallKind kind = CallKind::kScript;
    int member = -1;  // of `members`, for the built-in that the member of a value is
  };
  struct Member {
    Kt_Expr* expr;
    ExprProgram::Member place;
    Kt_WString name{};
    bool is_call = false;  // with brackets
    int arg_count = 0;
    // Of a name that only the host may know: number of it, and the operand that it is indexed by.
    int host = -1;
    std::uint16_t index = kNoRegister;
  };
  // A member that is used at once where the object allows it: with all that its use goes by, all of
  // it variables and constants. Its instruction then leads to `next`, else to `other`: the
  // instructions that take it to pieces. Members that follow one another share those. One that is
  // assigned to has neither: what it cannot do, the walk does with the value.
  struct Quick {
    static constexpr int kMostArgs = 3;
    MemberUse use;
    int member;
    std::uint16_t object = kNoRegister;  // unless the member is one of the host's name
    std::uint16_t args[kMostArgs] = {};
    int arg_count = 0;
    std::uint16_t dst = kNoRegister;
    int reader = -1;  // of a compound assignment: the member as a value
    Operator operation = Operator::kAdd;
    std::uint32_t next = 0;
    std::uint32_t other = 0;
  };
  // Something left to the evaluator, and why.
  struct Left {
    Kt_Expr* expr;
    const char* why;
  };
  struct LeftStatement {
    const Kt_ScriptOp* op;
    const char* why;
  };

  // The last entry at or before `pc`; null before the first.
  const Entry* EntryAt(std::size_t pc) const;
  const Kt_WString& NameOf(std::size_t pc, std::uint16_t reg) const;
  // Calls action(scope, slot) for the variables of the scopes that are open at `pc`, whether they
  // are declared or not; the innermost scope comes first, the slots of one in their order.
  template <class Action>
  void ForSlots(std::size_t pc, const Action& action) const {
    const Entry* const entry = EntryAt(pc);
    const auto index = entry != nullptr ? static_cast<std::uint32_t>(entry - entries.data()) : 0;
    for (int at = entry != nullptr ? entry->open : 0; at >= 0;
         at = scopes[static_cast<std::size_t>(at)].parent) {
      const ScopeInfo& scope = scopes[static_cast<std::size_t>(at)];
      for (const Slot& slot : scope.slots) {
        if (slot.since <= index) action(scope, slot);
      }
    }
  }
  std::vector<Instr> instrs;
  std::vector<Kt_Variant> consts;
  std::vector<ScopeInfo> scopes;
  std::vector<Entry> entries;
  std::vector<ExprRange> ranges;
  std::vector<Kt_WString> globals;
  std::vector<Call> calls;
  std::vector<Member> members;
  std::vector<Quick> quicks;
  std::vector<Kt_WString> host_names;  // that stand before members
  std::vector<ChoiceTable> choices;
  std::vector<Left> exprs;
  std::vector<LeftStatement> statements;
  std::vector<std::unique_ptr<Kt_Expr>> pieces;   // of lists
  std::vector<std::uint16_t> global_of_register;  // for those after the slots
  const char* why_walk = nullptr;  // no code: the whole function runs by the walk, and why
  bool is_for_now = false;         // that reason may be gone at the next call
  bool is_by_name = false;
  std::uint16_t param_count = 0;
  std::uint16_t slot_count = 0;  // registers of variables
  std::uint16_t var_count = 0;   // and of those that stand for globals
  std::uint16_t box_base = 0;    // the first of those
  std::uint16_t temp_base = 0;
  std::uint16_t register_count = 0;
  std::uint32_t return_null = 0;  // pc of a ReturnNull
  kt_long body_count = 0;         // statements of the body that were translated
  std::int64_t margin = 0;        // units that one pass without a look can use
  // Calls that were left to the evaluator because nobody knew the name.
  std::vector<Kt_WString> unknown_calls;
};

// The code of a function in one script: where its globals lie and what its calls lead to. Owned by
// the function. Threads: the script's.
struct LinkedCode {
  static constexpr std::uint64_t kNoVersion = ~std::uint64_t{0};
  struct CallSite {
    Kt_ScriptFunc* func = nullptr;
    LinkedCode* code = nullptr;               // of func; null until it has been called
    std::uint64_t code_version = kNoVersion;  // of the script, when that was found
    Kt_Getter builtin = nullptr;
    const DirectFunc* direct = nullptr;  // of the built-in; null when it has none
    Kt_ExtApi ext_api = nullptr;
    Kt_ExprObject* context = nullptr;
  };

  // What a member did last time.
  struct MemberSite {
    const std::type_info* type = nullptr;  // of the object
    MemberUse use = MemberUse::kCall;      // which may be of an item or of the item's own member
    QuickMember quick = nullptr;           // of objects of that type; null: they have none
    kt_long hint = -1;
  };
  // What the host said a name stands for: an object. Good while none of the numbers changes.
  struct HostName {
    std::uint64_t name_version = 0;
    std::uint64_t globals_version = 0;
    std::uint64_t version = 0;
    Kt_Variant object;
  };

  // Room for what is found while the code runs.
  void Prepare() {
    members.resize(code->members.size());
    host_names.resize(code->host_names.size());
  }
  // Finds the globals again after some came or went.
  void BindGlobals(const Kt_VariableList& variables);
  // Finds out again what the calls stand for. False when that needs other instructions.
  bool BindCalls(Kt_Script& script);

  std::shared_ptr<const FuncCode> code;
  std::vector<Kt_Variable*> globals;  // as those of the code; null: there is none
  std::vector<CallSite> calls;        // as those of the code
  std::vector<MemberSite> members;    // as those of the code
  std::vector<HostName> host_names;   // as those of the code
  std::uint64_t version = 0;          // of the script when the calls were bound
  std::uint64_t globals_version = 0;
  std::shared_ptr<LinkedCode> next_retired;  // see RunState::Retire
  std::unique_ptr<LinkedCode> by_name;       // the same with everything by names, when needed
};

// The translations of a function that scripts share. A script that knows other names than those
// before it may need one of its own; mostly there is one.
class CodeForms {
 public:
  using Forms = std::vector<std::shared_ptr<const FuncCode>>;

  Forms Get() const {
    const std::lock_guard lock(mutex_);
    return forms_;
  }
  // False when others were added since `known` was all there is.
  bool Add(const std::shared_ptr<const FuncCode>& code, const Forms& known);

 private:
  static constexpr std::size_t kMostForms = 16;  // what comes after is its script's own

  mutable std::mutex mutex_;
  Forms forms_;
};

// Finds out what a call of that name (of a member) stands for now. False when only the evaluator
// can make it.
bool BindCall(FuncCode::Call& call, LinkedCode::CallSite& site, Kt_Script& script);

// Translates `func`, which belongs to `script`. Never null; may throw std::bad_alloc. With
// `by_name_of`, a translation of the same function, everything goes by names, for the arguments and
// statements that the function had then: more may have been loaded since.
std::unique_ptr<LinkedCode> Translate(const Kt_ScriptFunc& func, Kt_Script& script,
                                      const FuncCode* by_name_of);
// The same, but takes a translation that another script has made when there is a fitting one.
std::unique_ptr<LinkedCode> MakeCode(const Kt_ScriptFunc& func, Kt_Script& script,
                                     const FuncCode* by_name_of);

}  // namespace kt::detail
