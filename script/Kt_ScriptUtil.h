// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Codes.h"
#include "classlib/text/Kt_WStrList.h"

// Scanners over raw script text: they find the end of a comment, a bracketed group, a statement, a
// statement with its block, or the next case label, without making tokens.
//
//   kt_long error_pos = 0;
//   const kt_long end = Kt_ScriptUtil::FindLineEnd(u"a = ';'; b", 10, error_pos);   // 8
//
// Every scanner takes a pointer and a length in UTF-16 units and gives a position relative to that
// pointer, or a negative code (kSyn...). A zero unit ends the text early. `error_pos` is written on
// failure only: the position of the fault; the length where the text just runs out. Literals in "
// and ' and, unless said otherwise, both kinds of comments are skipped.
//
// Threads: free functions without state. Only SplitLine, RemoveComment and the error functions
// allocate; none throws. Nesting deeper than kMaxBlockDepth or than the native stack allows ends in
// kSynTooDeep.
namespace Kt_ScriptUtil {

// Line breaks (CR LF, CR or LF) among the first `len` units.
KT_SCRIPT_API kt_long CountCRLF(const char16_t* text, kt_long len);
// Index just past the first line break, `len` if a zero unit comes first. The text must end with a
// zero unit: the length is not consulted on the way.
KT_SCRIPT_API kt_long FindCRLF(const char16_t* text, kt_long len);
// `text` starts with a slash and a star; index just past the end of the comment.
KT_SCRIPT_API kt_long FindCommentEnd(const char16_t* text, kt_long len);
// text[0] is an opening bracket; index just past the `close` that matches it. An unclosed comment
// adds its position to `error_pos`; every other fault sets it.
KT_SCRIPT_API kt_long FindBraceEnd(const char16_t* text, kt_long len, char16_t close,
                                   kt_long& error_pos);
// Index of the first unit that is neither blank nor in a comment; `len` if there is none.
KT_SCRIPT_API kt_long FindNextToken(const char16_t* text, kt_long len, kt_long& error_pos);
// Index of the first '=' outside ( and [, of whatever operator it is part of; 0 if none. Comments
// are not skipped.
KT_SCRIPT_API kt_long FindSetOP(const char16_t* text, kt_long len);
// Splits at the commas outside ( and [ and appends the trimmed pieces; the item count of `out`, -1
// for a closing bracket too many. A comma at the end adds no empty piece.
KT_SCRIPT_API kt_long SplitLine(const char16_t* text, kt_long len, Kt_WStrList& out);
// Index just past the first ';', -1 if none.
KT_SCRIPT_API kt_long FindLineEnd(const char16_t* text, kt_long len, kt_long& error_pos);
// Index of the first ':', -1 if none.
KT_SCRIPT_API kt_long FindColonEnd(const char16_t* text, kt_long len, kt_long& error_pos);
// A group in parentheses / braces after optional blanks: index past its end; the place of its
// trimmed contents in `start` and `length`.
KT_SCRIPT_API kt_long FindLineBlock(const char16_t* text, kt_long len, kt_long& start,
                                    kt_long& length, kt_long& error_pos);
KT_SCRIPT_API kt_long FindBraceBlock(const char16_t* text, kt_long len, kt_long& start,
                                     kt_long& length, kt_long& error_pos);
// One statement or block, as an if or a loop controls it: index past its end; the place of the
// statement, or of the contents of the braces, in `start` and `length`.
KT_SCRIPT_API kt_long FindBlock(const char16_t* text, kt_long len, kt_long& start, kt_long& length,
                                kt_long& error_pos);
// `text` starts with the keyword; index past the whole statement.
KT_SCRIPT_API kt_long FindIfBlock(const char16_t* text, kt_long len, kt_long& error_pos);
KT_SCRIPT_API kt_long FindForBlock(const char16_t* text, kt_long len, kt_long& error_pos);
KT_SCRIPT_API kt_long FindWhileBlock(const char16_t* text, kt_long len, kt_long& error_pos);
KT_SCRIPT_API kt_long FindSwitchBlock(const char16_t* text, kt_long len, kt_long& error_pos);
// Index of the next case or default label that is not inside a nested statement, `len` if none.
// These two words count in lower case only.
KT_SCRIPT_API kt_long FindCaseToken(const char16_t* text, kt_long len, kt_long& error_pos);
// Removes comments in place. The unit after a block comment, and the first one of the line after a
// line comment, go with it; a block comment leaves a blank behind.
KT_SCRIPT_API void RemoveComment(Kt_WString& text);

// Appends one line for `code` to `list` (null: not collected). `line` counts from 0; `func_name`
// and `near_text` may be null.
KT_SCRIPT_API void SetSyntexError(Kt_WStrList* list, kt_long code, const char16_t* func_name,
                                  const char16_t* near_text, kt_long line);
// All lines with CR LF between them; empty for null.
KT_SCRIPT_API Kt_WString GetSyntexError(const Kt_WStrList* list);

}  // namespace Kt_ScriptUtil
