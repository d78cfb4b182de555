// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/Kt_WStrList.h"

struct Kt_ScriptOutline;

// What statements may contain without being wrong, though their author probably meant something
// else: name, the name that users see, text. Expressions have warnings of their own, see
// FindExprWarnings.
// clang-format off
#define KT_SCRIPT_WARNINGS(X)                                                                      \
  X(kWarnCommentEats,     u"comment-eats-character",                                               \
    u"this character is dropped together with the comment in front of it")                         \
  X(kWarnCompare,         u"compare-statement",                                                    \
    u"as a statement this is an assignment, not a comparison")                                     \
  X(kWarnElseWord,        u"else-two-letter-word",                                                 \
    u"a two-letter word behind 'else' is skipped and a condition expected")                        \
  X(kWarnForEver,         u"for-ever",                                                             \
    u"an empty condition is false, so this body never runs")                                       \
  X(kWarnLabelCase,       u"label-case",                                                           \
    u"behind the first statement of a switch only 'case' and 'default' in small letters are labels") \
  X(kWarnDefaultFirst,    u"default-before-last-label",                                            \
    u"this label takes every value, also those of the labels behind it")                           \
  X(kWarnSecondFunction,  u"second-definition",                                                    \
    u"a function of this name exists; this definition is appended to it")                          \
  X(kWarnBidiControl,     u"bidi-control",                                                         \
    u"this character changes the direction in which the text is shown")                            \
  X(kWarnInvisible,       u"invisible-character",                                                  \
    u"this character cannot be seen")                                                              \
  X(kWarnLookAlike,       u"look-alike-name",                                                      \
    u"this name looks like another one")                                                           \
  X(kWarnMixedScripts,    u"mixed-scripts",                                                        \
    u"this name mixes letters of scripts that look alike")
// clang-format on

enum class Kt_ScriptWarning : std::uint8_t {
#define KT_SCRIPT_WARNING_NAME(name, user_name, text) name,
  KT_SCRIPT_WARNINGS(KT_SCRIPT_WARNING_NAME)
#undef KT_SCRIPT_WARNING_NAME
};

// The name that users see, and the text.
KT_SCRIPT_API const char16_t* GetWarningName(Kt_ScriptWarning warning);
KT_SCRIPT_API const char16_t* GetWarningText(Kt_ScriptWarning warning);

// One fault or warning with its place in the source.
struct Kt_SyntaxError {
  bool is_warning = false;
  kt_long code = 0;  // kSyn...; 0 for a warning
  Kt_WString source_name;
  kt_long line = 0;          // from 1
  kt_long column = 0;        // from 1, in UTF-16 units
  kt_long length = 1;        // units to underline, all on that line
  Kt_WString function_name;  // empty outside of functions
  Kt_WString near_text;      // statement or keyword; may be empty
  Kt_WString message;
  Kt_WString detail;        // what is wrong with an expression; else empty
  kt_long detail_code = 0;  // of that text: kExpr...
  Kt_WString warning_name;  // empty for a fault
};

// An error list for Kt_Script::Parse that also learns where each fault stands, and collects
// warnings and an outline (Kt_ScriptOutline.h) when it is told to. The text lines are those that
// any other list gets; warnings leave none.
//
//   Kt_SyntaxErrorList errors;
//   script.Parse(u"a.kts", text, nullptr, &errors);
//   for (const Kt_SyntaxError& error : errors.GetErrors()) Show(error.line, error.column);
//
// Owns its records; borrows the outline. Threads: one thread at a time.
class KT_SCRIPT_API Kt_SyntaxErrorList : public Kt_WStrList {
 public:
  explicit Kt_SyntaxErrorList(bool wants_warnings = false, Kt_ScriptOutline* outline = nullptr)
      : wants_warnings_(wants_warnings), outline_(outline) {}

  bool WantsWarnings() const { return wants_warnings_; }
  // Null when none is wanted.
  Kt_ScriptOutline* GetOutline() const { return outline_; }
  // In the order in which they were found.
  const std::vector<Kt_SyntaxError>& GetErrors() const { return errors_; }
  // Whether one of them is no warning.
  bool HasFaults() const;
  void AddError(Kt_SyntaxError error) { errors_.push_back(std::move(error)); }
  void ClearErrors() {
    Clear();
    errors_.clear();
  }

 private:
  bool wants_warnings_;
  Kt_ScriptOutline* outline_;
  std::vector<Kt_SyntaxError> errors_;
};
