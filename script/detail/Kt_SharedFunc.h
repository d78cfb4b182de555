// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <unordered_map>

#include "expr/Kt_Expr.h"
#include "script/Kt_ScriptFunc.h"
#include "script/code/Kt_FuncCode.h"
#include "script/detail/Kt_ScriptScan.h"

namespace kt::detail {

// What the scripts that share a function have in common beside its trees.
struct SharedFunc {
  CodeForms forms;
  Kt_WString text;  // that has the function, for scripts that change it
  Span proto;
  Span body;
};

// Makes the trees ones to be shared: their expressions are parsed, so that nothing in them changes
// any more.
void ShareTree(FuncTree& tree, const Kt_WString& text, Span proto, Span body);
// The trees of a shared function once more, from its text.
std::shared_ptr<FuncTree> ParseAgain(const FuncTree& shared, const Kt_WString& name);

// The expressions that one script evaluates in place of those that it shares: these learn what
// names stand for while they run. Each is made when it is first used.
class OwnExprs {
 public:
  Kt_Expr& Of(const Kt_Expr& shared);

 private:
  struct Own {
    Kt_WString source;  // of the shared one
    Kt_Expr expr;
  };
  // An address may be that of another expression later: the text tells.
  std::unordered_map<const Kt_Expr*, Own> exprs_;
};

// The items of one text, in their order, as a program keeps them.
struct ProgramText {
  struct Item {
    kt_long start;  // of its first word
    kt_long word;
    Kt_WString name;                 // of a function
    std::shared_ptr<FuncTree> tree;  // null for globals
  };
  Kt_WString source_name;
  Kt_WString text;
  std::vector<Item> items;
};

}  // namespace kt::detail
