// SPDX-License-Identifier: MIT
#include "classlib/base/Kt_Codes.h"

#include <span>

namespace {

struct CodeText {
  kt_long code;
  const char16_t* text;
};

#define KT_CODE_ROW(name, value, text) {name, text},
constexpr CodeText kRunTimeTexts[] = {KT_RUN_TIME_CODES(KT_CODE_ROW)};
constexpr CodeText kScriptTexts[] = {KT_SCRIPT_SYNTAX_CODES(KT_CODE_ROW)};
constexpr CodeText kExprTexts[] = {KT_EXPR_SYNTAX_CODES(KT_CODE_ROW)};
#undef KT_CODE_ROW

#define KT_CAUSE_TEXT(name, text) text,
constexpr const char16_t* kCauseTexts[] = {KT_FAILURE_CAUSES(KT_CAUSE_TEXT)};
#undef KT_CAUSE_TEXT

const char16_t* Find(std::span<const CodeText> rows, kt_long code) {
  for (const CodeText& row : rows) {
    if (row.code == code) return row.text;
  }
  return nullptr;
}

}  // namespace

const char16_t* kt_runtimetextW(kt_long code) { return Find(kRunTimeTexts, code); }
const char16_t* kt_scripttextW(kt_long code) { return Find(kScriptTexts, code); }
const char16_t* kt_exprtextW(kt_long code) { return Find(kExprTexts, code); }
const char16_t* kt_causetextW(Kt_Cause cause) { return kCauseTexts[static_cast<int>(cause)]; }
