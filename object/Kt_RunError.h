// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>
#include <span>
#include <vector>

#include "classlib/base/Kt_Codes.h"
#include "classlib/text/Kt_WString.h"

class Kt_ExprObject;
class Kt_Result;

// One level of a running script, for messages and debuggers.
struct Kt_ScriptPosition {
  Kt_WString source_name;
  Kt_WString function;
  kt_long line = 0;  // of the statement being run; counts from 0
};
using Kt_ScriptCallStack = std::vector<Kt_ScriptPosition>;  // innermost call first

// Why the last call into the engine failed on this thread, for hosts that want to know more than
// its code:
//
//   if (script.ExecFunc(u"main", nullptr, result) != 0) Show(Kt_RunError::Last().text);
//
// It is filled where a fault is found, whether that is reported or not (kFailed, kNoMember and
// kUnknownName are not), and changes neither codes nor reports. While OnRunTimeError runs it is
// already the error that is being reported; its place in the expression is the first that fits
// then, and exact afterwards. Calls that succeed leave it as it was, and cost nothing for it.
//
// One per thread, valid until the next failure there: ask in the thread of the call, right after
// it. Plain data that owns its texts; copy it to keep it.
struct KT_SCRIPT_API Kt_RunError {
  kt_long code = 0;    // what the call returned; 0: nothing has failed so far
  kt_long report = 0;  // the code of the report that goes with it; 0: there is none
  Kt_WString text;     // the message, with the name that was probably meant
  Kt_WString subject;  // the name or operator at fault; may be empty
  // The statement that ran: line from 1; 0 and empty when no function of a script did.
  Kt_WString source_name;
  Kt_WString function;
  kt_long line = 0;
  // The expression that failed and where in it: column from 1, in UTF-16 units. 0: not known.
  Kt_WString expression;
  kt_long column = 0;
  kt_long length = 0;
  // The functions that were running, innermost first. Of a long chain the middle is left out: so
  // many calls after the first kInnerCalls.
  static constexpr std::size_t kInnerCalls = 12;
  static constexpr std::size_t kOuterCalls = 4;
  Kt_ScriptCallStack calls;
  std::size_t calls_left_out = 0;
  // Counts the failures of the thread: two records with the same number are the same failure.
  std::uint64_t serial = 0;

  static const Kt_RunError& Last();
  // Makes code 0 again, for hosts that look for failures that a call survives.
  static void Forget();
};

namespace kt {

// For functions of a host that fail without a report: says why. Returns `code`.
KT_COLD KT_SCRIPT_API kt_long NoteFailure(kt_long code, const Kt_WString& text,
                                          const Kt_WString& subject = {});

// The engine's own failures. The first argument is the name at fault, and the nearest of `known`
// (may be empty) is suggested for it.
KT_COLD KT_SCRIPT_API kt_long NoteCause(kt_long code, Kt_Cause cause,
                                        std::initializer_list<Kt_WString> args,
                                        std::span<const Kt_WString> known = {});

// The text of a cause with its arguments.
KT_SCRIPT_API Kt_WString CauseText(Kt_Cause cause, std::initializer_list<Kt_WString> args);
// `text`, and the nearest to `name` of the names that are known, if any is near.
KT_SCRIPT_API Kt_WString WithHint(const Kt_WString& text, const Kt_WString& name,
                                  std::span<const Kt_WString> known);

namespace detail {

// Failures noted so far on this thread.
extern KT_THREAD_LOCAL std::uint64_t failure_count;

// Knows whether a failure that comes back from a call has been noted on the way.
class FailureMark {
 public:
  bool HasNoted(kt_long code) const {
    return failure_count != count_ && Kt_RunError::Last().code == code;
  }

 private:
  std::uint64_t count_ = failure_count;
};

// Notes what is about to be reported through `context`; see ReportResult.
KT_COLD void NoteReport(Kt_ExprObject* context, const Kt_Result& result,
                        const Kt_WString& text = {}, const Kt_WString& subject = {});
// A function, or a member of the object `id`, failed with `code` and did not say why.
KT_COLD kt_long NoteSilentCall(const Kt_WString& name, kt_long code);
KT_COLD kt_long NoteSilentMember(const Kt_WString& name, const Kt_WString& id, kt_long code);
// The last failure comes back to the caller as `code`.
KT_COLD void ReturnFailureAs(kt_long code);

// The last failure while it has no place in an expression yet; null when it has.
KT_COLD Kt_RunError* FailureWithoutPlace();
// The operation at which the operand that failed began, as the evaluator numbers them.
KT_COLD void SetFailureStart(kt_long op_index);
KT_COLD kt_long GetFailureStart();
// The failure lies in `expression`, at `offset` from 0; a negative one says that this is not known.
// An empty expression leaves it where it seems to be.
KT_COLD void PlaceFailure(const Kt_WString& expression, kt_long offset, kt_long length);

}  // namespace detail
}  // namespace kt
