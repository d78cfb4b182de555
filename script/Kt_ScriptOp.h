// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "classlib/base/Kt_Types.h"
#include "classlib/value/Kt_ObjList.h"
#include "classlib/value/Kt_Operators.h"

// Every statement of a parsed function: name, code, the form that a dump shows. The high digit is
// the group: 1 declarations, 3 assignments to a plain name, 4 expression statements and
// assignments to a path, 5 a block, 6 control statements, 7 return. Compound forms stand in the
// order + - * / % in both groups.
// clang-format off
#define KT_SCRIPT_OPS(X)                     \
  X(kScriptVar,        0x1010, "var")        \
  X(kScriptVarArray,   0x1020, "var[]")      \
  X(kScriptInc,        0x3001, "name++")     \
  X(kScriptDec,        0x3002, "name--")     \
  X(kScriptSet,        0x3010, "name =")     \
  X(kScriptSetAdd,     0x3020, "name +=")    \
  X(kScriptSetSub,     0x3030, "name -=")    \
  X(kScriptSetMul,     0x3040, "name *=")    \
  X(kScriptSetDiv,     0x3050, "name /=")    \
  X(kScriptSetMod,     0x3060, "name %=")    \
  X(kScriptExpr,       0x4000, "expr")       \
  X(kScriptPathSet,    0x4010, "path =")     \
  X(kScriptPathSetAdd, 0x4020, "path +=")    \
  X(kScriptPathSetSub, 0x4030, "path -=")    \
  X(kScriptPathSetMul, 0x4040, "path *=")    \
  X(kScriptPathSetDiv, 0x4050, "path /=")    \
  X(kScriptPathSetMod, 0x4060, "path %=")    \
  X(kScriptBlock,      0x5000, "block")      \
  X(kScriptFor,        0x6010, "for")        \
  X(kScriptWhile,      0x6020, "while")      \
  X(kScriptContinue,   0x6030, "continue")   \
  X(kScriptBreak,      0x6040, "break")      \
  X(kScriptIf,         0x6050, "if")         \
  X(kScriptSwitch,     0x6060, "switch")     \
  X(kScriptReturn,     0x7000, "return")
// clang-format on

#define KT_SCRIPT_OP_CONSTANT(name, code, text) inline constexpr std::int16_t name = code;
KT_SCRIPT_OPS(KT_SCRIPT_OP_CONSTANT)
#undef KT_SCRIPT_OP_CONSTANT

// Code that gives a fresh op the payload of the plain-name assignments.
inline constexpr std::int16_t kScriptNameGroup = 0x3000;

// The code of an assignment, and its operator; none for a plain one. Both forms of one operator are
// 0x10 apart from those of the next.
constexpr std::int16_t AssignmentCode(bool is_name, std::optional<kt::Operator> op) {
  const int distance = op ? (static_cast<int>(*op) + 1) * 0x10 : 0;
  return static_cast<std::int16_t>((is_name ? kScriptSet : kScriptPathSet) + distance);
}
constexpr std::optional<kt::Operator> CompoundOperator(std::int16_t code) {
  const int distance = (code & 0xF0) - (kScriptSet & 0xF0);
  if (distance == 0) return std::nullopt;
  return static_cast<kt::Operator>(distance / 0x10 - 1);
}
static_assert(AssignmentCode(true, kt::Operator::kAdd) == kScriptSetAdd);
static_assert(AssignmentCode(false, kt::Operator::kMod) == kScriptPathSetMod);
static_assert(CompoundOperator(kScriptPathSetMod) == kt::Operator::kMod);

// The text of a code for dumps; "?" for an unknown one.
KT_SCRIPT_API const char* GetScriptOpText(std::int16_t code);

class Kt_ScriptOp;
class Kt_ScriptOpFor;
class Kt_ScriptOpIf;
class Kt_ScriptOpList;
class Kt_ScriptOpSet;
class Kt_ScriptOpSwitch;
class Kt_ScriptOpVar;
class Kt_ScriptOpWhile;

// The element operations of a Kt_ScriptOpList.
using Kt_ScriptOpHandler = Kt_ObjListHandlerOf<Kt_ScriptOp>;

// One statement: its code, the line on which it starts, and a payload whose class depends on the
// code.
//
// Owns its payload, and so everything nested in it. A tree is built in place inside its list;
// copying is for lists of simple statements: the copy of an if or of a block has no branches or
// statements, and that of a switch has no labels.
// Threads: const members may run in parallel.
class KT_SCRIPT_API Kt_ScriptOp {
 public:
  // The one handler of all op lists.
  static const Kt_ScriptOpHandler _KtScriptOpHandler;

  Kt_ScriptOp() = default;
  Kt_ScriptOp(const Kt_ScriptOp& other) { Set(other); }
  Kt_ScriptOp& operator=(const Kt_ScriptOp& other) {
    Set(other);
    return *this;
  }
  ~Kt_ScriptOp() { ClearInfo(); }

  // The payload. REQUIRES: the op has one of that class. The codes of each class:
  const Kt_ScriptOpVar* GetVar() const { return As<Kt_ScriptOpVar>(Payload::kVar); }  // 1010-3060
  Kt_ScriptOpVar* GetVar() { return As<Kt_ScriptOpVar>(Payload::kVar); }
  const Kt_ScriptOpSet* GetSet() const { return As<Kt_ScriptOpSet>(Payload::kSet); }  // the others
  Kt_ScriptOpSet* GetSet() { return As<Kt_ScriptOpSet>(Payload::kSet); }
  const Kt_ScriptOpList* GetBlock() const { return As<Kt_ScriptOpList>(Payload::kBlock); }  // 5000
  Kt_ScriptOpList* GetBlock() { return As<Kt_ScriptOpList>(Payload::kBlock); }
  const Kt_ScriptOpFor* GetFor() const { return As<Kt_ScriptOpFor>(Payload::kFor); }  // 6010
  Kt_ScriptOpFor* GetFor() { return As<Kt_ScriptOpFor>(Payload::kFor); }
  const Kt_ScriptOpWhile* GetWhile() const { return As<Kt_ScriptOpWhile>(Payload::kWhile); }
  Kt_ScriptOpWhile* GetWhile() { return As<Kt_ScriptOpWhile>(Payload::kWhile); }
  const Kt_ScriptOpIf* GetIf() const { return As<Kt_ScriptOpIf>(Payload::kIf); }
  Kt_ScriptOpIf* GetIf() { return As<Kt_ScriptOpIf>(Payload::kIf); }
  const Kt_ScriptOpSwitch* GetSwitch() const { return As<Kt_ScriptOpSwitch>(Payload::kSwitch); }
  Kt_ScriptOpSwitch* GetSwitch() { return As<Kt_ScriptOpSwitch>(Payload::kSwitch); }
  bool HasPayload() const { return payload_ != nullptr; }
  bool HasName() const { return kind_ == Payload::kVar; }

  // Releases the payload, stores `code` and makes a fresh payload: plain-name assignments for
  // 0x1010 and group 0x3000, the class of the statement for 0x5000 and group 0x6000, and
  // Kt_ScriptOpSet for every other code. Without memory the op is left without payload and the
  // code as it was.
  void SetOpCode(std::int16_t code);
  // Makes the op a variant of its group (0x1020, 0x3001 to 0x3060, 0x4010 to 0x4060); the payload
  // stays.
  void SetVariant(std::int16_t code) { opcode = code; }
  void SetLine(kt_long new_line) {
    line32 = new_line;
    line = static_cast<std::int16_t>(new_line < 32767 ? new_line : 32767);
  }
  // Releases the payload; code and line stay.
  void ClearInfo();
  // Copies code and line, releases the own payload, then copies the payload (see the class).
  void Set(const Kt_ScriptOp& source);

  static void InitWithMemory(Kt_ScriptOp* op);
  static void FreeWithMemory(Kt_ScriptOp* op);

  std::int16_t opcode = 0;
  std::int16_t line = -1;  // counts from 0; 32767 also stands for every line after it
  kt_long line32 = -1;     // the line without that limit

 private:
  enum class Payload : std::uint8_t { kNone, kVar, kSet, kFor, kWhile, kIf, kSwitch, kBlock };

  template <class T>
  T* As([[maybe_unused]] Payload kind) const {
    KT_ASSERT(kind_ == kind);
    return static_cast<T*>(payload_);
  }
  static Payload KindOf(std::int16_t code);
  void MakePayload(Payload kind);
  static void Delete(Payload kind, void* payload);
  void CopyPayload(const Kt_ScriptOp& source);
  template <class T>
  void Make();
  template <class T>
  void Copy(const Kt_ScriptOp& source);

  // What payload_ points to. The code alone does not tell: an op may be assigned over one of
  // another group.
  Payload kind_ = Payload::kNone;
  void* payload_ = nullptr;
};
