// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_WString.h"

class Kt_ExprObject;
class Kt_ExprObjInfo;
class Kt_Variant;

// The scanners of the expression language: free functions over text given as pointer and length.
// The parser and the script scanners cut and check text with them.
//
//   for (kt_long at = 0; at < length;) {
//     int start = 0, token_length = 0;
//     const int next = FindToken(text + at, length - at, start, token_length);
//     if (next < 1) break;
//     Use(text + at + start, token_length);
//     at += next;
//   }
//
// A zero unit ends a text early wherever it stands. A null text is an empty one. Nothing is
// allocated, except that IsValidExpr takes memory for brackets nested deeper than 64, and that
// GetConstant writes a value.
// Threads: no shared state.
namespace Kt_ExprUtil {

// Number of leading word characters: ASCII letters, digits, '_'. A text that ends before another
// character came gives `length` itself, also when a zero unit ended it. A leading '#' or '{' is a
// word of one character. A `length` below 1 comes back as it is.
KT_SCRIPT_API int FindWordEnd(const char16_t* text, kt_long length);

// Length of the string literal that begins at text[0], with both quotes; a backslash protects the
// character after it. Without a closing `quote`: kExprSingleQuote when `quote` is ', else
// kExprDoubleQuote.
KT_SCRIPT_API int FindQuotEnd(const char16_t* text, kt_long length, char16_t quote);

// 1 for an integer, 2 for a number with a decimal point, 0 for anything else. A leading sign is
// allowed; a sign alone gives 1 and a point alone 2, which no caller asks about.
KT_SCRIPT_API int ChkNumber(const char16_t* text, kt_long length);

// 1 when the text is a name: word characters and characters from 128 upwards, no digit first.
KT_SCRIPT_API int ChkName(const char16_t* text, kt_long length);

// Finds the next token. Returns the position after it; below 1 when there is none: only white
// space remains (`start` is then `length`, `token_length` 0), a string without end (the code of
// FindQuotEnd is the token length), or a lone & or | among the first two characters.
// A lone & or | has the token length -1 and ends one position before it starts. Two blanks in
// front of it therefore make it a token, one blank or none ends the scan.
// A point begins a number only when a digit from 0 to 8 follows.
KT_SCRIPT_API int FindToken(const char16_t* text, kt_long length, int& start, int& token_length);
// The offset up to which the tokens of a text reach, which is where a text begins that is never
// closed; `length` when they reach the end. What stands behind it takes no part in the expression.
KT_SCRIPT_API kt_long TokensEnd(const char16_t* text, kt_long length);

// 0 when the expression is well formed, else an expression syntax code of Kt_Codes.h. Text that
// FindToken cannot go on with ends the check: a lone unterminated string is valid.
// `error_offset` (may be null) receives the offset of the token at fault, `length` where the text
// ends too early; it is not written on success.
KT_SCRIPT_API int IsValidExpr(const char16_t* text, kt_long length,
                              kt_long* error_offset = nullptr);

// What comes next, after white space and backslashes: 1 an operator or a comma, 2 '[', 3 '(',
// 9 ')' or ']', 4 '.', 0 anything else, -1 the end. `length` -1: up to the terminating zero.
KT_SCRIPT_API int GetTokenType(const char16_t* text, kt_long length = -1);

// 1 when the text is one of the words true, false, null, nil in any case.
KT_SCRIPT_API int IsConstant(const char16_t* text, kt_long length);

// The value of such a word: 1, 0, and twice empty. Returns 0 and leaves `value` alone for any
// other text.
KT_SCRIPT_API int GetConstant(const Kt_WString& word, Kt_Variant& value);

// Asks `object` what `name` stands for. -1 for a name of fewer than two characters, 1 without an
// object, else what its GetVarType answers.
KT_SCRIPT_API int GetExprVarType(Kt_ExprObject* object, const Kt_WString& name,
                                 Kt_ExprObjInfo& info);

}  // namespace Kt_ExprUtil
