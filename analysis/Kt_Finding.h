// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_WString.h"

// What can be found in scripts that are correct but hardly as meant: name, the name that users see.
// docs/language.md ("Warnings of kt check") has a section for each.
// clang-format off
#define KT_FINDINGS(X)                             \
  X(kUnknownFunction,   u"unknown-function")       \
  X(kUnknownVariable,   u"unknown-variable")       \
  X(kUnknownMember,     u"unknown-member")         \
  X(kUnknownColumn,     u"unknown-column")         \
  X(kRowExpression,     u"row-expression")         \
  X(kArgumentCount,     u"argument-count")         \
  X(kUnusedVariable,    u"unused-variable")        \
  X(kUnsetVariable,     u"unset-variable")         \
  X(kDeclaredTwice,     u"declared-twice")         \
  X(kHiddenVariable,    u"hidden-variable")        \
  X(kDuplicateArgument, u"duplicate-argument")     \
  X(kDuplicateLabel,    u"duplicate-label")        \
  X(kConstantCondition, u"constant-condition")     \
  X(kUnreachableCode,   u"unreachable-code")       \
  X(kMissingReturn,     u"missing-return")
// clang-format on

namespace kt::analysis {

enum class FindingCode : std::uint8_t {
#define KT_FINDING_NAME(name, user_name) name,
  KT_FINDINGS(KT_FINDING_NAME)
#undef KT_FINDING_NAME
};

// The name that users see.
const char16_t* NameOf(FindingCode code);

// All are warnings: a host may know more than a tool does.
struct Finding {
  FindingCode code;
  std::size_t file;  // which of those that were analysed
  kt_long offset;    // in its source
  kt_long length;
  Kt_WString message;  // with the nearest known name, if one is near
};

}  // namespace kt::analysis
