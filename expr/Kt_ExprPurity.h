// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "classlib/text/Kt_WString.h"

namespace kt {

// What a plain name in an expression stands for.
enum class NameUse : std::uint8_t {
  kOther,     // the host, a script, or nothing
  kPlain,     // a number, text, date or binary
  kAnyValue,  // a value that may be a list, or an object of the host
};

// What an expression uses that may do more than compute a value: the first such thing, as a message
// names it ("writeText()", "++", "orders"); empty when there is none. Plain are constants,
// operators, names that `name_use` says are values, and built-in functions that are pure or read
// the clock, also in the notation of methods. Members and items of values that may be objects are
// not. A text that is no expression uses nothing: it cannot run.
//
// This judges the operations, not what the names of functions are bound to: evaluate in a context
// that offers no functions of its own.
KT_SCRIPT_API Kt_WString FindImpure(const Kt_WString& expression,
                                    const std::function<NameUse(const Kt_WString& name)>& name_use);

}  // namespace kt
