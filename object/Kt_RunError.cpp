// SPDX-License-Identifier: MIT
//
// The last failure of each thread. Nothing is written while calls succeed; a failure costs the
// copies of a few texts, and a look for the nearest known name. Row expressions may fail in every
// row of a dataset, so a failure that repeats the last one keeps its message, with the first of
// the rows, and its calls.
#include "object/Kt_RunError.h"

#include <algorithm>
#include <new>

#include "classlib/base/Kt_StopCodes.h"
#include "classlib/base/Kt_ThreadEnd.h"
#include "classlib/text/Kt_NearestName.h"
#include "classlib/text/Kt_Result.h"
#include "classlib/value/Kt_Variable.h"
#include "expr/Kt_Expr.h"
#include "object/Kt_ExprNameSource.h"
#include "object/Kt_ExprObject.h"
#include "object/Kt_RowMark.h"
#include "script/Kt_Script.h"

KT_THREAD_LOCAL std::uint64_t kt::detail::failure_count = 0;

namespace {

struct State {
  Kt_RunError last;
  Kt_Result reported;     // what the message was made of
  Kt_WString noted;       // the same of a failure without a report: the message without the row
  bool has_place = true;  // nothing is to be placed at first
  kt_long start_op = 0;   // see SetFailureStart
};

KT_THREAD_LOCAL State* state = nullptr;
KT_THREAD_LOCAL bool has_ended = false;

// Frees the state of a thread that ends; what fails afterwards is not noted.
void EndState() {
  has_ended = true;
  delete state;
  state = nullptr;
}

// Null when memory ran out or the thread is ending.
State* TheState() {
  if (state != nullptr || has_ended) return state;
  if (!kt::AtThreadEnd<EndState>()) return nullptr;
  state = new (std::nothrow) State;
  return state;
}

// Names ---------------------------------------------------------------------------------------

void AddVariableNames(Kt_ExprObject& context, std::vector<Kt_WString>& names) {
  Kt_VariableListChain chain;
  context.AddVariableListChain(chain);
  for (kt_long list = 0; list < chain.GetCount(); ++list) {
    const Kt_VariableList& variables = *chain.GetItem(list);
    for (kt_long at = 0; at < variables.GetCount(); ++at) {
      names.push_back(variables.GetItemName(at));
    }
  }
}

void AddFunctionNames(Kt_ExprObject& context, std::vector<Kt_WString>& names) {
  for (Kt_ExprObject* scope = &context; scope != nullptr; scope = scope->GetParentCtx()) {
    const Kt_Script* const script = scope->GetScript();
    if (script == nullptr) continue;
    const Kt_ScriptFuncList& funcs = script->GetFuncs();
    for (kt_long at = 0; at < funcs.GetCount(); ++at) names.push_back(funcs.GetItem(at)->GetName());
    break;
  }
  const _EXPR_INTFUNC_INFO* const built_in = Kt_ExprObject::GetIntFuncMap();
  for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) {
    names.push_back(built_in[row].name);
  }
}

std::vector<Kt_WString> KnownNames(Kt_ExprObject* context, Kt_ExprNameSource::Names which) {
  std::vector<Kt_WString> names;
  if (context == nullptr) return names;
  if (which == Kt_ExprNameSource::Names::kValues) {
    AddVariableNames(*context, names);
  } else {
    AddFunctionNames(*context, names);
  }
  for (Kt_ExprObject* scope = context; scope != nullptr; scope = scope->GetParentCtx()) {
    const auto* const source = dynamic_cast<const Kt_ExprNameSource*>(scope);
    if (source != nullptr) source->AddNames(which, names);
  }
  return names;
}

// What a report is about -----------------------------------------------------------------------

// The name or operator at fault among the arguments of a report.
Kt_WString SubjectOf(const Kt_Result& result) {
  switch (result.GetCode()) {
    case kErrNoMethod:
    case kErrNoColumn: return result.GetArg(1);
    case kErrInvalidObject: return {};
    default: return result.GetArg(0);
  }
}

Kt_WString TextWithHint(Kt_ExprObject* context, const Kt_Result& result) {
  using Names = Kt_ExprNameSource::Names;
  using kt::WithHint;
  Kt_WString text = result.GetText();
  switch (result.GetCode()) {
    case kErrNoVariable:
      return WithHint(text, result.GetArg(0), KnownNames(context, Names::kValues));
    case kErrNoMethod:
      if (result.GetArg(1).IsEmpty()) return text;
      return WithHint(text, result.GetArg(1), KnownNames(context, Names::kCalls));
    default: return text;
  }
}

Kt_WString WithRow(const Kt_WString& text, kt_long code) {
  const kt_long row = kt::detail::RowMark::Current();
  if (row < 0 || kt::IsStop(code)) return text;
  return text + u" (row " + Kt_Variant(row).ToString() + u")";
}

bool IsSameReport(const Kt_Result& a, const Kt_Result& b) {
  if (a.GetCode() != b.GetCode() || a.GetArgCount() != b.GetArgCount()) return false;
  for (kt_long arg = 0; arg < a.GetArgCount(); ++arg) {
    if (a.GetArg(arg) != b.GetArg(arg)) return false;
  }
  return true;
}

bool IsSamePlace(const Kt_RunError& error, const Kt_ScriptCallStack& calls, std::size_t left_out) {
  if (error.calls.size() != calls.size() || error.calls_left_out != left_out) return false;
  return calls.empty() ||
         (error.calls[0].line == calls[0].line && error.calls[0].function == calls[0].function &&
          error.calls[0].source_name == calls[0].source_name);
}

// Where the report lies is known for sure when its evaluation has ended. Until then: the first
// expression of the statement that has the name at fault.
void GuessPlace(State& now) {
  if (now.last.calls.empty() || now.last.subject.IsEmpty()) return;
  std::vector<const Kt_Expr*> expressions;
  Kt_Script::GetThreadExpressions(expressions);
  for (const Kt_Expr* const expression : expressions) {
    const kt_long offset = expression->FindName(now.last.subject);
    if (offset < 0) continue;
    now.last.expression = expression->GetText();
    now.last.column = offset + 1;
    now.last.length = now.last.subject.GetLength();
    return;
  }
}

// Begins a new failure; the messages are for the caller to fill in. True when it is at the place
// of the last one.
bool Begin(State& now, kt_long code) {
  Kt_ScriptCallStack calls;
  std::size_t left_out = 0;
  Kt_Script::GetThreadCalls(Kt_RunError::kInnerCalls, Kt_RunError::kOuterCalls, calls, left_out);
  const bool is_same_place = now.last.code != 0 && IsSamePlace(now.last, calls, left_out);
  Kt_RunError& last = now.last;
  last.code = code;
  last.report = 0;
  last.serial = kt::detail::failure_count;
  last.source_name = calls.empty() ? Kt_WString() : calls[0].source_name;
  last.function = calls.empty() ? Kt_WString() : calls[0].function;
  last.line = calls.empty() ? 0 : calls[0].line + 1;
  last.calls = std::move(calls);
  last.calls_left_out = left_out;
  last.expression.Empty();
  last.column = last.length = 0;
  now.has_place = false;
  now.start_op = 0;
  return is_same_place;
}

// A failure without memory for its words; half of them would mislead.
kt_long NoteNothing(kt_long code) {
  Kt_RunError::Forget();
  return code;
}

}  // namespace

const Kt_RunError& Kt_RunError::Last() {
  static const Kt_RunError kNone;
  return state != nullptr ? state->last : kNone;
}

void Kt_RunError::Forget() {
  if (state == nullptr) return;
  state->last = Kt_RunError();
  state->reported = Kt_Result();
  state->noted.Empty();
  state->has_place = true;
}

kt_long kt::NoteFailure(kt_long code, const Kt_WString& text, const Kt_WString& subject) {
  if (Kt_WorkMeter::CurrentStop() != 0) return code;  // that it was stopped is the failure
  ++detail::failure_count;
  try {
    State* const now = TheState();
    if (now == nullptr) return code;
    if (!Begin(*now, code) || now->noted != text) now->last.text = WithRow(text, code);
    now->last.subject = subject;
    now->noted = text;
    now->reported = Kt_Result();
  } catch (const std::bad_alloc&) {
    return NoteNothing(code);
  }
  return code;
}

kt_long kt::NoteCause(kt_long code, Kt_Cause cause, std::initializer_list<Kt_WString> args,
                      std::span<const Kt_WString> known) {
  const Kt_WString name = args.size() > 0 ? *args.begin() : Kt_WString();
  try {
    return NoteFailure(code, WithHint(CauseText(cause, args), name, known), name);
  } catch (const std::bad_alloc&) {
    return NoteNothing(code);
  }
}

Kt_WString kt::CauseText(Kt_Cause cause, std::initializer_list<Kt_WString> args) {
  return kt_filltextW(kt_causetextW(cause), {args.begin(), args.size()});
}

Kt_WString kt::WithHint(const Kt_WString& text, const Kt_WString& name,
                        std::span<const Kt_WString> known) {
  const Kt_WString* const nearest = kt_nearestnameW(name, known);
  if (nearest == nullptr || nearest->EqualsNoCase(name)) return text;
  return CauseText(Kt_Cause::kWithHint, {text, *nearest});
}

void kt::detail::NoteReport(Kt_ExprObject* context, const Kt_Result& result, const Kt_WString& text,
                            const Kt_WString& subject) {
  ++failure_count;
  try {
    State* const now = TheState();
    if (now == nullptr) return;
    const bool is_same_report = text.IsEmpty() && IsSameReport(now->reported, result);
    if (!Begin(*now, result.GetCode()) || !is_same_report) {
      now->reported = result;
      now->noted.Empty();
      now->last.subject = subject.IsEmpty() ? SubjectOf(result) : subject;
      now->last.text =
          text.IsEmpty() ? WithRow(TextWithHint(context, result), result.GetCode()) : text;
    }
    now->last.report = result.GetCode();
    GuessPlace(*now);
  } catch (const std::bad_alloc&) {
    Kt_RunError::Forget();
  }
}

kt_long kt::detail::NoteSilentCall(const Kt_WString& name, kt_long code) try {
  if (code == kAbort) return NoteCause(code, Kt_Cause::kStopped, {name});
  if (code == kObjectGone) return NoteCause(code, Kt_Cause::kGone, {name});
  if (const char16_t* const text = kt_runtimetextW(code)) {
    const Kt_WString function = name + u"()";  // the argument of most
    return NoteFailure(code, kt_filltextW(text, {&function, 1}), name);
  }
  return NoteCause(code, Kt_Cause::kCall, {name, Kt_Variant(code).ToString()});
} catch (const std::bad_alloc&) {
  return NoteNothing(code);
}

kt_long kt::detail::NoteSilentMember(const Kt_WString& name, const Kt_WString& id,
                                     kt_long code) try {
  const bool has_text =
      code == kAbort || code == kObjectGone || kt_runtimetextW(code) != nullptr || id.IsEmpty();
  if (has_text) return NoteSilentCall(name, code);
  return NoteCause(code, Kt_Cause::kMember, {name, id, Kt_Variant(code).ToString()});
} catch (const std::bad_alloc&) {
  return NoteNothing(code);
}

void kt::detail::ReturnFailureAs(kt_long code) {
  if (state != nullptr) state->last.code = code;
}

Kt_RunError* kt::detail::FailureWithoutPlace() {
  return state != nullptr && !state->has_place ? &state->last : nullptr;
}

void kt::detail::SetFailureStart(kt_long op_index) {
  if (state != nullptr && !state->has_place) state->start_op = op_index;
}

kt_long kt::detail::GetFailureStart() { return state != nullptr ? state->start_op : 0; }

void kt::detail::PlaceFailure(const Kt_WString& expression, kt_long offset, kt_long length) {
  if (state == nullptr || state->has_place) return;
  state->has_place = true;
  if (expression.IsEmpty()) return;
  state->last.expression = expression;
  state->last.column = offset + 1;
  state->last.length = offset < 0 ? 0 : length;
}
