// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "object/Kt_ExprObjInfo.h"
#include "script/detail/Kt_SharedFunc.h"
#include "script/detail/Kt_SyntaxReporter.h"

class Kt_Expr;
class Kt_Script;
class Kt_ScriptFunc;

namespace kt::detail {

// What a load has changed in a script, for when memory runs out before its end.
class LoadUndo {
 public:
  explicit LoadUndo(Kt_Script& script) : script_(script) {}
  // Before the change. Nothing is changed when these throw.
  void NoteGlobal(const Kt_WString& name);
  void NoteFunc(const Kt_WString& name);
  // Takes everything back, last change first. Needs no memory.
  void Run() noexcept;

 private:
  struct Global {
    Kt_WString name;
    Kt_VariableHold variable;  // empty: there was none
    Kt_Variant value;
  };
  struct Func {
    Kt_WString name;
    bool is_new;
    kt_long args;
    kt_long ops;
    Kt_WString source_name;
    kt_long proto_line;
  };
  void UndoFunc(const Func& noted) noexcept;

  Kt_Script& script_;
  std::vector<Global> globals_;
  std::vector<Func> funcs_;
};

// Evaluates the declarators of a global `var` statement into the globals of `script`. The text is
// trimmed and without comments. 0, or the code of the first bad declarator with its place in
// `fault`. `reporter` gets warnings and the outline; null: nobody wants them.
kt_long AddGlobals(Kt_Script& script, const Slice& declaration, Slice& fault, LoadUndo& undo,
                   SyntaxReporter* reporter = nullptr);

// Looks at the same declarators without evaluating them.
kt_long CheckGlobals(const Slice& declaration, Slice& fault, SyntaxReporter& reporter);

// Cuts one script text into globals, functions and pragmas and loads each. Borrows everything.
class ScriptLoader {
 public:
  ScriptLoader(Kt_Script& script, const Kt_WString& source_name, Kt_WStrList& includes,
               std::u16string_view text, Kt_WStrList* errors);

  // 0, or -1 at the first fault outside of functions. Where memory runs out, the script is as it
  // was and std::bad_alloc goes on.
  kt_long Run();
  // The same for a text of a program, which is this loader's text: its functions are shared.
  kt_long Share(const ProgramText& text);

 private:
  // An item starts with the word at `start`; `end` is set to where the next one may start.
  struct Item {
    kt_long start;
    kt_long word;
    kt_long end;
  };
  struct FunctionText {
    Slice name;
    Slice proto;
    Slice body;
  };

  template <class Load>
  kt_long Undoable(const Load& load);
  kt_long LoadItems();
  kt_long ShareItem(const ProgramText::Item& item);
  kt_long LoadItem(Item& item);
  kt_long LoadGlobals(Item& item);
  kt_long LoadFunction(Item& item);
  kt_long LoadPragma(Item& item);
  kt_long CutFunction(Item& item, FunctionText& function);
  kt_long CutName(const Item& item, Slice& name);
  void ParseFunction(const Item& item, const FunctionText& function);
  void ParseTree(FuncTree& tree, const Kt_WString& name, const Item& item,
                 const FunctionText& function);

  KT_COLD kt_long Fail(kt_long code, kt_long line_at, const Slice& place,
                       const Slice* near_text = nullptr, const Slice* function_name = nullptr);

  Kt_Script& script_;
  const Kt_WString& source_name_;
  Kt_WStrList& includes_;
  Slice text_;
  SyntaxReporter reporter_;
  LoadUndo undo_;
  ProgramText* record_ = nullptr;  // where a program that is being made keeps the items
};

// The scanners end at a NUL: when something other than NULs and white space stands behind one, that
// is a fault of its own. It is recorded, and changes no result.
void ReportNul(const Kt_WString& source_name, const Kt_WString& text, Kt_WStrList* errors);

}  // namespace kt::detail
