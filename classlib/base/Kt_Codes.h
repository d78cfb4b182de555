// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Types.h"

// The one list of result codes with their texts: name, value, text. In a run-time text %1, %2, ...
// stand for the message arguments, whose meaning the comment above gives.
// clang-format off
#define KT_RUN_TIME_CODES(X)                                                                       \
  /* element, "(Default)" */                                                                       \
  X(kErrNoDefaultProp,   0x83B01004, u"%1 has no property %2 to assign to")                        \
  /* method */                                                                                      \
  X(kErrBadArgument,     0x83B01008, u"no dataset, or too few arguments: %1")                      \
  /* element, "(Default)" */                                                                       \
  X(kErrNotAnObject,     0x83B01030, u"%1 is not an object, so it has no property %2")             \
  /* dataset */                                                                                     \
  X(kErrRowNotAdded,     0x83B01101, u"dataset %1 takes no more rows")                             \
  /* row position */                                                                               \
  X(kErrRowPosition,     0x83B01104, u"the row position cannot leave row %1")                      \
  /* row */                                                                                        \
  X(kErrRowReplaced,     0x83B01105, u"row %1 was replaced by another while the host was asked")   \
  /* column, row, old value, new value */                                                          \
  X(kErrColumnRejected,  0x83B01106, u"column %1 of row %2 cannot change from %3 to %4")           \
  /* dataset, columns */                                                                            \
  X(kErrSort,            0x83B01109, u"dataset %1 cannot be sorted by '%2'")                       \
  /* variable, key */                                                                              \
  X(kErrBadItemKey,      0x83B01525, u"%1 has no item '%2'")                                       \
  /* method */                                                                                      \
  X(kErrDataset,         0x83B01530, u"%1 is refused on a logical dataset")                                               \
  /* operation */                                                                                  \
  X(kErrEntryInUse,      0x83B03103, u"'%1' cannot follow a value")                                \
  /* variable */                                                                                   \
  X(kErrNoVariable,      0x83B03110, u"unknown variable '%1'")                                     \
  /* operation or function */                                                                      \
  X(kErrBadOperation,    0x83B03120, u"'%1' cannot be applied here")                               \
  /* object, method */                                                                             \
  X(kErrNoMethod,        0x83B03130, u"unknown function: %2 %1")                                   \
  /* object or reason */                                                                           \
  X(kErrInvalidObject,   0x83B03140, u"invalid object: %1")                                        \
  /* column */                                                                                     \
  X(kErrNoColumnToSet,   0x83B03150, u"unknown column '%1'")                                       \
  /* dataset, column */                                                                            \
  X(kErrNoColumn,        0x83B03160, u"%1 has no column '%2'")                                     \
  /* parser message, expression; or name, operation */                                             \
  X(kErrNotAllowed,      0x83B03210, u"%1: %2")                                                    \
  /* what grew too long */                                                                         \
  X(kErrStringTooLong,   0x83B03220, u"text too long: %1")                                         \
  /* what grew too long */                                                                         \
  X(kErrListTooLong,     0x83B03221, u"list too long: %1")                                         \
  /* function or expression */                                                                     \
  X(kErrTooDeep,         0x83B03230, u"nested too deeply: %1")                                     \
  /* where */                                                                                      \
  X(kErrNoMemory,        0x83B03231, u"out of memory: %1")                                         \
  /* function */                                                                                   \
  X(kErrStepBudget,      0x83B03240, u"step limit reached in %1")                                  \
  /* function */                                                                                   \
  X(kErrDeadline,        0x83B03241, u"time limit reached in %1")                                  \
  /* function */                                                                                   \
  X(kErrCancelled,       0x83B03242, u"cancelled in %1")

// Codes of the script scanners; the texts are part of the script language's interface.
#define KT_SCRIPT_SYNTAX_CODES(X)                                                                  \
  X(kSynCommentEnd,      -4352, u"Not Found Matching Comment '*/'")                                \
  X(kSynLineEnd,         -4624, u"Not Found Line End ';'")                                         \
  X(kSynLabelMark,       -4640, u"Not Found Lavel Mark ':'")                                       \
  X(kSynAtVariable,      -4864, u"at Variable Declaration")                                        \
  X(kSynBlockStart,      -5136, u"Not Found Block Start '{'")                                      \
  X(kSynBraceEnd,        -5152, u"Not Found Matching Brace '}'")                                   \
  X(kSynParenStart,      -5168, u"Not Found Block Start '('")                                      \
  X(kSynParenEnd,        -5184, u"Not Found Matching Brace ')'")                                   \
  X(kSynBracketStart,    -5200, u"Not Found Start '['")                                            \
  X(kSynBracketEnd,      -5216, u"Not Found Matching Braket ']'")                                  \
  X(kSynDoubleQuote,     -5232, u"Not Found Matching Quotation '\"'")                              \
  X(kSynSingleQuote,     -5248, u"Not Found Matching Quotation ''")                                \
  X(kSynAtPragma,        -5632, u"at Pragma")                                                      \
  X(kSynVariable,        -5904, u"Invalid Variable Declaration")                                   \
  X(kSynFunction,        -5920, u"Invalid Function Declaration")                                   \
  X(kSynPragma,          -5936, u"Invalid Pragma")                                                 \
  X(kSynArgument,        -5952, u"Invalid Argument")                                               \
  X(kSynExpression,      -5968, u"Invalid Expression")                                             \
  X(kSynKeyword,         -8192, u"Invalid Keyword")                                                \
  X(kSynName,            -8208, u"Invalid ID or Name")                                             \
  X(kSynNullExpr,        -8224, u"Invalid Null Expr")                                              \
  X(kSynBlockEnd,        -8240, u"Unexpected End of Block")                                        \
  X(kSynDuplicate,       -8256, u"Duplicated ID or Name")                                          \
  X(kSynTooDeep,         -8272, u"Nested Too Deeply")                                              \
  X(kSynNul,             -8288, u"Text After a NUL Is Not Read")

// Codes of the expression validator. Four of its codes (-4624, -5232, -5248, -8208, -8240) are
// shared with the list above, where the same number means another thing; their expression texts
// are here under names of their own.
#define KT_EXPR_SYNTAX_CODES(X)                                                                    \
  X(kExprNoOperator,     -4624,  u"operator expected between two values")                          \
  X(kExprDoubleQuote,    -5232,  u"string without closing \"")                                     \
  X(kExprSingleQuote,    -5248,  u"string without closing '")                                      \
  X(kExprBadToken,       -8208,  u"neither a number, a string nor a name")                         \
  X(kExprUnfinished,     -8240,  u"expression ends too early")                                     \
  X(kExprTooDeep,        -8272,  u"brackets nested too deeply")                                    \
  X(kExprNoOperand,      -12304, u"operand expected before this operator")                         \
  X(kExprParenOpen,      -12320, u"'(' cannot follow a value")                                     \
  X(kExprParenClose,     -12336, u"')' without matching '(' or after an operator")                 \
  X(kExprBracketOpen,    -12352, u"'[' must follow a name")                                        \
  X(kExprBracketClose,   -12368, u"']' without matching '[' or with nothing before it")            \
  X(kExprComma,          -12384, u"',' outside parentheses or after an operator")                  \
  X(kExprDot,            -12400, u"'.' must follow a name or a value")

// Why a call failed, where a code tells too little: for Kt_RunError only, never reported. %1, %2,
// ... stand for what the comment above gives.
#define KT_FAILURE_CAUSES(X)                                                                       \
  /* function, code */                                                                             \
  X(kCall,           u"'%1' failed with code %2")                                                  \
  /* member, object, code */                                                                       \
  X(kMember,         u"'%1' of %2 failed with code %3")                                            \
  /* function */                                                                                   \
  X(kNoFunction,     u"there is no function '%1'")                                                 \
  /* member, object */                                                                             \
  X(kNoMember,       u"no member '%1' in %2")                                                      \
  X(kNoColumn,       u"no column or member '%1' in %2")                                            \
  X(kNoMethod,       u"no method '%1' in %2")                                                      \
  /* value, what it is, member */                                                                  \
  X(kValueMember,    u"%1 is %2 and has no member '%3'")                                           \
  /* member */                                                                                     \
  X(kNullMember,     u"null has no member '%1'")                                                   \
  /* method, number that it needs, number that came */                                             \
  X(kFewArguments,   u"%1 needs %2 arguments or more; %3 came")                                    \
  /* method or object */                                                                           \
  X(kNoDataset,      u"there is no dataset behind %1")                                             \
  /* function, number or numbers that it takes, number that came */                                \
  X(kArgumentCount,  u"%1 takes %2 arguments; %3 came")                                            \
  /* operation, or what else */                                                                    \
  X(kNotBound,       u"'%1' cannot be used in a bound expression")                                 \
  /* what is assigned to */                                                                        \
  X(kNotStored,      u"'%1' cannot be assigned to")                                                \
  X(kReadOnly,       u"'%1' of %2 cannot be assigned to")                                          \
  /* name */                                                                                       \
  X(kNoContext,      u"'%1' needs a context")                                                      \
  X(kGone,           u"the object behind '%1' was destroyed")                                      \
  X(kStopped,        u"'%1' stopped the run")                                                      \
  /* code */                                                                                       \
  X(kOther,          u"ended with code %1")                                                        \
  /* message so far, the nearest known name */                                                     \
  X(kWithHint,       u"%1 (did you mean '%2'?)")

// What a value is, for messages.
#define KT_VALUE_KINDS(X)                                                                          \
  X(kTagLong,     u"a number")                                                                     \
  X(kTagDouble,   u"a number")                                                                     \
  X(kTagCurrency, u"an amount")                                                                    \
  X(kTagDateTime, u"a date")                                                                       \
  X(kTagBool,     u"a truth value")                                                                \
  X(kTagString,   u"a text")                                                                       \
  X(kTagBinary,   u"a binary")                                                                     \
  X(kTagList,     u"a list")                                                                       \
  X(kTagObject,   u"an object")
// clang-format on

enum class Kt_Cause : std::uint8_t {
#define KT_CAUSE_NAME(name, text) name,
  KT_FAILURE_CAUSES(KT_CAUSE_NAME)
#undef KT_CAUSE_NAME
};

#define KT_CODE_CONSTANT(name, value, text) \
  inline constexpr kt_long name = static_cast<kt_long>(value);
KT_RUN_TIME_CODES(KT_CODE_CONSTANT)
KT_SCRIPT_SYNTAX_CODES(KT_CODE_CONSTANT)
KT_EXPR_SYNTAX_CODES(KT_CODE_CONSTANT)
#undef KT_CODE_CONSTANT

// Answers that are no errors in themselves.
inline constexpr kt_long kOk = 0;
inline constexpr kt_long kFailed = -1;         // syntax error as text, or nothing available
inline constexpr kt_long kNoMember = -2;       // this object has no such member
inline constexpr kt_long kUnknownName = 1000;  // no context of the chain knows the name
inline constexpr kt_long kObjectGone = 9998;   // a component reference could not be read
inline constexpr kt_long kAbort = 9999;        // stop quietly

// Parse states of an expression.
inline constexpr kt_long kStateOrdinary = 0;
inline constexpr kt_long kStateList = 100;  // [a, b]
inline constexpr kt_long kStateEmpty = 200;
inline constexpr kt_long kStateName = 300;    // a single plain name
inline constexpr kt_long kStateCtxVar = 310;  // a single context variable
inline constexpr kt_long kStateConstant = 400;
inline constexpr kt_long kStateTrace = 500;  // trace(), tracedata(), tracevar()
inline constexpr kt_long kStateUnparsed = 999;

// The text of a run-time, script-syntax or expression-syntax code; null for any other.
KT_CLASS_API const char16_t* kt_runtimetextW(kt_long code);
KT_CLASS_API const char16_t* kt_scripttextW(kt_long code);
KT_CLASS_API const char16_t* kt_exprtextW(kt_long code);
KT_CLASS_API const char16_t* kt_causetextW(Kt_Cause cause);
