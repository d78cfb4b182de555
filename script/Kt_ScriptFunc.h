// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <unordered_map>

#include "classlib/text/Kt_Symbol.h"
#include "classlib/text/Kt_WStrList.h"
#include "classlib/value/Kt_Variant.h"
#include "script/Kt_ScriptOpList.h"

class Kt_Expr;
class Kt_ExprObject;
class Kt_Script;
class Kt_ScriptFunc;

namespace kt::detail {
class CodeForms;
class LoadUndo;
class OwnExprs;
class ScriptLoader;
struct LinkedCode;
struct SharedFunc;

// What the text of a function says.
struct FuncTree {
  Kt_ScriptOpList args;  // 0x1010 ops, one per argument
  Kt_ScriptOpList body;
  Kt_WString source_name;
  kt_long proto_line = 0;
  // Of a function that belongs to a program: it does not change, and its expressions are never
  // evaluated themselves. Null for a tree that one function has for itself.
  std::shared_ptr<SharedFunc> shared;
};
}  // namespace kt::detail

// The element operations of a Kt_ScriptFuncList.
using Kt_ScriptFuncHandler = Kt_ObjListHandlerOf<Kt_ScriptFunc>;

// One function of a script: its arguments and its body as operation trees.
//
//   Kt_ScriptFunc func(u"half", &script);
//   func.SetInfo(u"file", u"x", u"return x / 2;", 0, 0, &errors);
//
// Parsing goes on past faulty expressions (their statements are in the tree all the same) and
// stops at faults of structure, leaving what was built so far. Both leave a line in `errors`,
// which may be null. Lines count from 0 everywhere except in those texts.
// Owns its trees, or shares those of a Kt_Program until it is changed; borrows the script. Threads:
// const members may run in parallel.
class KT_SCRIPT_API Kt_ScriptFunc {
 public:
  // The one handler of all function lists.
  static const Kt_ScriptFuncHandler _KtScriptFuncHandler;

  Kt_ScriptFunc();
  explicit Kt_ScriptFunc(const Kt_WString& name, Kt_Script* script = nullptr);
  Kt_ScriptFunc(const Kt_ScriptFunc& other);
  Kt_ScriptFunc& operator=(const Kt_ScriptFunc& other) {
    Set(other);
    return *this;
  }
  ~Kt_ScriptFunc();

  const Kt_WString& GetName() const { return name_; }
  const Kt_ScriptOpList& GetArgs() const { return tree_->args; }
  const Kt_ScriptOpList& GetBody() const { return tree_->body; }
  // The name that Kt_Script::Parse got for the text, and the line of the prototype in it.
  const Kt_WString& GetSourceName() const { return tree_->source_name; }
  kt_long GetProtoLine() const { return tree_->proto_line; }
  Kt_Script* GetScript() const { return script_; }

  void SetScript(Kt_Script* script) { script_ = script; }
  void Clear();
  // Copies the name and both trees, with the gaps that Kt_ScriptOp describes.
  void Set(const Kt_ScriptFunc& source);

  // Parses prototype ("a, b") and body and appends to what is there already. The lines are those
  // of the first character of each text.
  void SetInfo(const Kt_WString& source_name, const Kt_WString& proto, const Kt_WString& body,
               kt_long proto_line, kt_long body_line, Kt_WStrList* errors);
  // The same for one half, which is emptied first. The result of ParseProto / ParseBody.
  kt_long SetProto(const Kt_WString& proto, kt_long line, Kt_WStrList* errors);
  kt_long SetBody(const Kt_WString& body, kt_long line, Kt_WStrList* errors);

  // One construct each. 0, or -1 when parsing had to stop.
  kt_long ParseProto(const Kt_WString& proto, kt_long line, Kt_WStrList* errors);
  kt_long ParseBody(Kt_ScriptOpList& ops, const Kt_WString& text, kt_long line,
                    Kt_WStrList* errors);
  // A simple statement without its ';' / one declarator. `op` must be fresh for ParseLine and have
  // code 0x1010 for ParseVar.
  kt_long ParseLine(Kt_ScriptOp* op, const Kt_WString& statement, kt_long line,
                    Kt_WStrList* errors);
  kt_long ParseVar(Kt_ScriptOp* op, const Kt_WString& declarator, kt_long line,
                   Kt_WStrList* errors);
  // `op` must have the code of the statement.
  kt_long ParseFor(Kt_ScriptOp* op, const Kt_WString& head, kt_long head_line,
                   const Kt_WString& body, kt_long body_line, Kt_WStrList* errors);
  kt_long ParseWhile(Kt_ScriptOp* op, const Kt_WString& condition, kt_long condition_line,
                     const Kt_WString& body, kt_long body_line, Kt_WStrList* errors);
  kt_long ParseSwitch(Kt_ScriptOp* op, const Kt_WString& expression, kt_long expression_line,
                      const Kt_WString& body, kt_long body_line, Kt_WStrList* errors);

  // Calls the function: binds `args` (may be null) to its arguments and runs the body. Returns 0
  // or a code; `result` is what it returned, empty if nothing.
  kt_long ExecFunc(const Kt_VariantList* args, Kt_Variant& result);
  // Runs `ops` in `ctx`. Returns 0, the code of a return, break or continue on its way out, or an
  // error code.
  kt_long ExecBody(const Kt_ScriptOpList& ops, Kt_ExprObject* ctx, Kt_Variant& result);

  // Where the engine keeps the code of the function, made at its first call. It goes when the
  // function changes; while the script runs it is kept aside.
  std::shared_ptr<kt::detail::LinkedCode>& CodeSlot() const { return code_; }
  void DropCode() const;
  // Of a function that shares its trees: their translations; null for any other.
  kt::detail::CodeForms* GetForms() const;
  // What evaluates `expr`, which is one of its trees or its code: itself, or the copy that this
  // script has when others share the function.
  Kt_Expr& Own(Kt_Expr& expr) const { return KT_LIKELY(!IsShared()) ? expr : OwnOf(expr); }
  bool IsShared() const { return shared_ != nullptr; }

 private:
  friend class kt::detail::LoadUndo;
  friend class kt::detail::ScriptLoader;

  void Share(const std::shared_ptr<kt::detail::FuncTree>& tree) { tree_ = shared_ = tree; }
  // Before any change: from here on the function has trees of its own.
  void MakeOwn();
  Kt_Expr& OwnOf(Kt_Expr& expr) const;
  kt_long CallWith(const Kt_VariantList* args, Kt_Variant& result);
  kt_long RunBody(const Kt_ScriptOpList& ops, Kt_ExprObject* ctx, Kt_Variant& result);

  Kt_WString name_;
  std::shared_ptr<kt::detail::FuncTree> tree_;  // never null
  // The tree of a program that it has, or had at first: calls that began then still run it.
  std::shared_ptr<kt::detail::FuncTree> shared_;
  Kt_Script* script_ = nullptr;
  mutable std::shared_ptr<kt::detail::LinkedCode> code_;     // never copied
  mutable std::unique_ptr<kt::detail::OwnExprs> own_exprs_;  // never copied
};

// The functions of a script, found by name without regard to case. Owns its functions; a function
// keeps its address until the list is cleared.
class KT_SCRIPT_API Kt_ScriptFuncList : public Kt_ObjList {
 public:
  Kt_ScriptFuncList() : Kt_ObjList(Kt_ScriptFunc::_KtScriptFuncHandler) {}
  Kt_ScriptFuncList(const Kt_ScriptFuncList&) = delete;
  Kt_ScriptFuncList& operator=(const Kt_ScriptFuncList&) = delete;

  // Null outside the list.
  const Kt_ScriptFunc* GetItem(kt_long index) const {
    return static_cast<const Kt_ScriptFunc*>(GetAt(index));
  }
  Kt_ScriptFunc* GetSafeItem(kt_long index) { return static_cast<Kt_ScriptFunc*>(GetAt(index)); }
  // Index of the function; -1 if there is none.
  kt_long FindId(const Kt_WString& name) const;
  // The function with the symbol `name`; null if there is none.
  Kt_ScriptFunc* Find(Kt_Symbol name);

  // Adds a copy that belongs to the same script, unless a function of that name is there already.
  // Returns the index of the function with the name; -1 when the list is full.
  kt_long Add(const Kt_ScriptFunc& func);
  // Nothing when there is none of that name.
  void Remove(Kt_Symbol name);
  void Clear();
  // Exchanges the functions; none moves in memory.
  void Swap(Kt_ScriptFuncList& other);
  // Changes whenever a function came or went; no two states of any lists have the same.
  std::uint64_t GetVersion() const { return version_; }
  void NewVersion();

 private:
  std::unordered_map<Kt_Symbol, kt_long> index_;
  std::uint64_t version_ = 0;
};
