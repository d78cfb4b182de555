// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "classlib/value/Kt_Variant.h"
#include "expr/Kt_ExprOp.h"

class Kt_ExprObject;
class Kt_ExprStackObj;

namespace kt {
class ExprProgramMaker;
class ExprTexts;
}  // namespace kt
namespace kt::detail {
class HostCode;
struct ExprItems;
}  // namespace kt::detail

// One expression: its text, its operation list once parsed, and its parse state.
//
//   Kt_Expr expr(u"price * qty");
//   Kt_Variant value;
//   if (expr.ExecExpr(&context, value) == 0) Use(value);
//
// Parsed on first use, or by Parse when the caller wants the message; evaluated any number of
// times after that. A parsed expression does not change, apart from its compiled form.
//
// A context is asked what a name stands for whenever the expression comes to it; one that tells the
// version of its names (Kt_ExprObject::GetNameVersion) only when that has changed, or when another
// context was asked in between.
// Owns its text and operations. Threads: one thread at a time; copies are independent.
class KT_SCRIPT_API Kt_Expr {
 public:
  Kt_Expr();
  explicit Kt_Expr(const char16_t* text);
  // Copies text and operations; the copy parses again on first use.
  Kt_Expr(const Kt_Expr& other);
  Kt_Expr& operator=(const Kt_Expr& other);
  Kt_Expr& operator=(const Kt_WString& text);
  ~Kt_Expr();

  // kStateUnparsed, then as the other kState constants say; negative after a syntax error.
  kt_long GetState() const { return state_; }
  // After a bracket list was parsed: the inner text without the brackets.
  const Kt_WString& GetText() const { return text_; }
  // The text as it was given: a bracket list with its brackets.
  Kt_WString GetSource() const;
  const Kt_ExprOpList& GetOps() const { return ops_; }
  // The first record; a shared one with code 0 when there is none.
  const Kt_ExprOp* GetFirstOp() const;

  void Clear();
  void SetExpr(const Kt_WString& text);
  void SetExpr(const char16_t* text);
  // Stores `text` and parses it. Returns the parse state; kFailed with the message in `error` when
  // it is no expression; kStateEmpty for an empty text, which leaves the state as it was;
  // kErrNoMemory, to be parsed anew when it is evaluated.
  kt_long Parse(const Kt_WString& text, Kt_WString& error);
  // The same for `text`, or for the stored text when `text` is null or empty.
  kt_long Parse(Kt_WString& error, const char16_t* text);
  // After a failed parse: offset of the token at fault in the trimmed text; -1 otherwise.
  kt_long GetErrorOffset() const { return error_offset_; }

  // Evaluates to a plain value in `context` (null: only what needs no context). Returns 0 or a
  // code; errors are reported through the context once.
  kt_long ExecExpr(Kt_ExprObject* context, Kt_Variant& value);
  // Evaluates to an entry that may still stand for something to assign to.
  kt_long ExecExprObj(Kt_ExprObject* context, Kt_ExprStackObj& result);

  // For what evaluates this expression in a form of its own: says that the last failure of the
  // thread (Kt_RunError) lies here, unless it lies in an expression that this one called.
  KT_COLD void PlaceFailure() const;
  // The offset of the first name or operator `text`, in any case, in GetText(); -1 for none.
  kt_long FindName(const Kt_WString& text) const;

  // For tests that compare: false leaves every evaluation of the process to the evaluator.
  static void SetCompiled(bool is_compiled);

 protected:
  // One pass over the tokens; appends to the operation list. The error position (offset of the
  // token at fault) is kept in error_offset_.
  kt_long ParseExpr(const char16_t* text, kt_long length, Kt_WString& error);

 private:
  friend class kt::ExprProgramMaker;

  // Parses the text into `ops`, and leaves the expression as it is. The parse state; negative after
  // a syntax error, and when the run was stopped.
  kt_long ParseApart(Kt_ExprOpList& ops, kt::ExprTexts& texts) const;
  // Takes over what ParseApart gave.
  void Adopt(Kt_ExprOpList& ops, kt_long state);
  // Parses unless that was done; a failure is reported through `context` and returned.
  kt_long ParseOnce(Kt_ExprObject* context);
  kt_long GiveUpParse();
  kt_long Evaluate(Kt_ExprObject* context, Kt_ExprStackObj& result);
  kt_long EvaluateEntry(Kt_ExprObject* context, Kt_ExprStackObj& result);
  kt_long ExecAny(Kt_ExprObject* context, Kt_Variant& value);
  kt_long EvaluateValue(Kt_ExprObject* context, Kt_Variant& value);
  kt_long ExecList(Kt_ExprObject* context, Kt_ExprStackObj& result);
  kt_long ExecCtxVar(Kt_ExprObject* context, Kt_Variant& value);
  void DropCode();
  bool HasHostCode(Kt_ExprObject& context) {
    return KT_LIKELY(runs_ == kRunsCompiled) ? host_code_ != nullptr && MayCompile()
                                             : MakeHostCode(context);
  }
  bool MakeHostCode(Kt_ExprObject& context);
  static bool MayCompile();

  kt_long ParseText(Kt_WString& error);

  static constexpr std::uint8_t kRunsCompiled = 2;

  Kt_ExprOpList ops_;
  kt_long state_ = kStateUnparsed;
  Kt_WString text_;
  kt_long error_offset_ = -1;
  // Made on first use and dropped when the text changes. Shared, so that a running evaluation can
  // hold them while a callback changes this expression.
  std::shared_ptr<kt::detail::ExprItems> items_;  // the pieces of a bracket list
  // The compiled form for ExecExpr.
  struct HostCodeDrop {
    void operator()(kt::detail::HostCode* code) const;
  };
  std::unique_ptr<kt::detail::HostCode, HostCodeDrop> host_code_;
  std::uint8_t runs_ = 0;  // as far as that needs to know
};
