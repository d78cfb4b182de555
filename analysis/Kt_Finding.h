// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

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
  X(kMissingReturn,     u"missing-return")         \
  X(kTextAsZero,        u"text-as-zero")
// clang-format on

// Why a script or an expression has a syntax error, as its author would say it. docs/errors.md
// ("Causes of syntax errors") has a section for each.
// clang-format off
#define KT_CAUSES(X)                                   \
  X(kUnclosedBracket,    u"unclosed-bracket")          \
  X(kStrayBracket,       u"stray-bracket")             \
  X(kMissingSemicolon,   u"missing-semicolon")         \
  X(kUnclosedString,     u"unclosed-string")           \
  X(kUnclosedComment,    u"unclosed-comment")          \
  X(kMissingColon,       u"missing-colon")             \
  X(kMissingParentheses, u"missing-parentheses")       \
  X(kOutsideFunction,    u"outside-function")          \
  X(kNestedFunction,     u"nested-function")           \
  X(kMisspeltKeyword,    u"misspelt-keyword")          \
  X(kForeignDeclaration, u"foreign-declaration")       \
  X(kForeignStatement,   u"foreign-statement")         \
  X(kForeignOperator,    u"foreign-operator")          \
  X(kForeignValue,       u"foreign-value")             \
  X(kForHead,            u"for-head")                  \
  X(kBadName,            u"bad-name")                  \
  X(kMisplacedWord,      u"misplaced-word")            \
  X(kEmptyCondition,     u"empty-condition")           \
  X(kTwoValues,          u"two-values")                \
  X(kNoOperand,          u"no-operand")                \
  X(kMisplacedMark,      u"misplaced-mark")            \
  X(kBadToken,           u"bad-token")                 \
  X(kBadSign,            u"bad-sign")                  \
  X(kIncomplete,         u"incomplete")                \
  X(kBadInclude,         u"bad-include")               \
  X(kNestedTooDeeply,    u"nested-too-deeply")         \
  X(kTextAfterNul,       u"text-after-nul")
// clang-format on

namespace kt::analysis {

enum class FindingCode : std::uint8_t {
#define KT_FINDING_NAME(name, user_name) name,
  KT_FINDINGS(KT_FINDING_NAME) KT_CAUSES(KT_FINDING_NAME)
#undef KT_FINDING_NAME
};

// The name that users see.
const char16_t* NameOf(FindingCode code);

// A part of a source.
struct SourcePart {
  kt_long offset = 0;
  kt_long length = 0;  // 0: a place between two characters, or no part at all
};

// A change of a source.
struct Edit {
  SourcePart part;
  Kt_WString text;  // what it becomes
};

// What was found in a source. That of Analyse are warnings: a host may know more than a tool does.
// That of Diagnose are errors.
struct Finding {
  FindingCode code;
  std::size_t file;  // which of those that were analysed
  kt_long offset;    // in its source
  kt_long length;
  Kt_WString message;  // with the nearest known name, if one is near

  bool is_error = false;
  kt_long syntax_code = 0;        // of an error in a script: kSyn...
  Kt_WString function_name = {};  // of an error in a function
  Kt_WString hint = {};           // what is wrong and what to write; may be empty
  SourcePart related = {};        // the other place that the hint is about, such as an open bracket
  std::vector<Edit> fix = {};     // when there is one cure: by ascending offset, without overlaps
};

}  // namespace kt::analysis
