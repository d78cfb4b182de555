// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "classlib/text/Kt_WStrList.h"
#include "classlib/value/Kt_OneThread.h"
#include "script/Kt_RunBudget.h"
#include "script/Kt_ScriptContext.h"
#include "script/Kt_ScriptFunc.h"

class Kt_Expr;
class Kt_Program;
class Kt_ScriptLoadHandler;

namespace kt::detail {
class LoadUndo;
struct ProgramText;
class RunState;
class ScriptLoader;
}  // namespace kt::detail

// One script: its global variables and its functions, both visible to every expression in it.
//
//   Kt_Script script(&host_object);
//   Kt_WStrList errors;  // of faults inside functions only this tells
//   if (script.Parse(u"orders", text, nullptr, &errors) == 0 && errors.GetCount() == 0) {
//     Kt_Variant result;
//     if (script.ExecFunc(u"main", nullptr, result) != 0) Show(Kt_RunError::Last().text);
//   }
//
// Several texts may be parsed into one script; what they define adds up. A second definition of a
// function appends its arguments and statements to the first; a global declared again takes the
// new value.
// Ownership: owns globals and functions; borrows the external context, which must outlive it.
// Threads: a script belongs to one thread at a time. Debug builds stop where two threads are in
// one.
class KT_SCRIPT_API Kt_Script : public Kt_ScriptContext {
 public:
  // `external_context` answers what the script does not know itself; may be null.
  explicit Kt_Script(Kt_ExprObject* external_context = nullptr);
  Kt_Script(const Kt_Script&) = delete;
  Kt_Script& operator=(const Kt_Script&) = delete;
  ~Kt_Script() override;

  void SetExternalContext(Kt_ExprObject* context) {
    SetParentCtx(context);
    funcs_.NewVersion();  // names of calls may stand for something else now
  }
  Kt_ExprObject* GetExternalContext() const { return GetParentCtx(); }

  // Loads a text. Globals are evaluated at once; faults inside functions are recorded and loading
  // goes on; the first fault outside of functions stops it with -1 and what was loaded before
  // stays. `source_name` is for messages. With a `loader` and at least one #include, the result of
  // LoadIncludes; otherwise 0 or -1. One text line per fault is appended to `errors` (may be
  // null); a Kt_SyntaxErrorList also gets the places. Text after a NUL is not read, and a fault.
  kt_long Parse(const Kt_WString& source_name, const Kt_WString& text, Kt_ScriptLoadHandler* loader,
                Kt_WStrList* errors);
  // The same without the loader: the names of the includes are appended to `includes`.
  kt_long ParseScript(const Kt_WString& source_name, Kt_WStrList& includes, const char16_t* text,
                      Kt_WStrList* errors);
  // Loads what the program was made of, as Parse would: globals are evaluated, functions are added.
  // Those are shared with all scripts that have loaded the program. One that is here already is
  // read from the program's text and changes. 0 or -1, with a line in `errors` (may be null).
  // REQUIRES: a program.
  kt_long Load(const std::shared_ptr<const Kt_Program>& program, Kt_WStrList* errors = nullptr);
  // Evaluates "a = 1, b[3]" into globals. 0; at the first bad declarator a negative code.
  kt_long AddVariable(const Kt_WString& declaration);
  // Handles the text after a '#': appends the name of an include and returns its index; -1 for
  // every other pragma.
  kt_long AddInclude(Kt_WStrList& includes, const Kt_WString& pragma);
  // Copies variables of the host into the globals; existing ones only with `overwrite` not 0.
  // Returns the number of variables in `variables`, -1 when there are none.
  kt_long AddVariables(const Kt_VariableList& variables, int overwrite);
  // Removes globals and functions; functions that are running are finished first.
  void Clear();

  // The function of that name, in any case; null if there is none.
  Kt_ScriptFunc* GetFunc(const Kt_WString& name);
  // True while `func`, which GetFunc gave for `name` earlier, may still be called. Compares
  // addresses only, so `func` may have gone.
  bool HasFunc(const Kt_WString& name, const Kt_ScriptFunc* func) const;
  const Kt_ScriptFuncList& GetFuncs() const { return funcs_; }

  // Runs a function. -1 when there is none of that name, or `argc` is above 0 and `argv` null.
  kt_long ExecFunc(const Kt_WString& name, int argc, Kt_Variant* argv, Kt_Variant& result);
  kt_long ExecFunc(const Kt_WString& name, const Kt_VariantList* args, Kt_Variant& result);

  // For the host: a text and a code page that it keeps with the script; the engine uses neither.
  const Kt_WString& GetText() const { return text_; }
  void SetText(const Kt_WString& text) { text_ = text; }
  kt_long GetCodePage() const { return code_page_; }
  void SetCodePage(kt_long code_page) { code_page_ = code_page; }

  // What a call from outside may use up; null for no limit. Takes effect with the next call.
  void SetBudget(const Kt_RunBudget* budget);
  // False: functions run by the walk over their operation trees instead of as code, which gives the
  // same at a multiple of the time. For tests that compare the two, and for finding out where a
  // fault lies. True at first; at any time.
  void SetCompiled(bool is_compiled);
  // Where the script is while it runs, innermost call first: for a message in OnRunTimeError, say.
  Kt_ScriptCallStack GetCallStack() const;
  // The functions that run on this thread, of this script or any other that called into it,
  // innermost first. Of more than `inner` and `outer` ones together the middle is left out, so many
  // calls.
  static void GetThreadCalls(std::size_t inner, std::size_t outer, Kt_ScriptCallStack& calls,
                             std::size_t& left_out);
  // The expressions of the statement that runs on this thread, without those of statements in it.
  static void GetThreadExpressions(std::vector<const Kt_Expr*>& expressions);

  // Changes whenever what a called name stands for may have changed.
  std::uint64_t GetVersion() const { return funcs_.GetVersion(); }

 private:
  friend class kt::detail::LoadUndo;
  friend class kt::detail::RunState;
  friend class kt::detail::ScriptLoader;
  friend class Kt_Program;
  friend class Kt_ScriptFunc;

  Kt_ScriptFuncList funcs_;
  Kt_WString text_;
  kt_long code_page_ = 1252;
  void FreeRetired();
  KT_COLD kt_long NoteNoFunc(const Kt_WString& name) const;

  // What the interpreter keeps while functions run; null until the first call.
  std::shared_ptr<kt::detail::RunState> run_state_;
  // Functions that were cleared while they may have been running.
  std::vector<std::unique_ptr<Kt_ScriptFuncList>> retired_;
  // Of a program that is being made: what is parsed goes there, and no global is evaluated.
  std::vector<kt::detail::ProgramText>* program_texts_ = nullptr;
  Kt_OneThread one_thread_;
};
