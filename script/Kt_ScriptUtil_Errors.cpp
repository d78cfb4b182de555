// SPDX-License-Identifier: MIT
#include <string>

#include "script/Kt_ScriptUtil.h"

namespace {

std::u16string Decimal(std::int64_t number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

}  // namespace

void Kt_ScriptUtil::SetSyntexError(Kt_WStrList* list, kt_long code, const char16_t* func_name,
                                   const char16_t* near_text, kt_long line) {
  if (list == nullptr) return;
  Kt_WString text(u"SYNTAX Error (line ");
  text += Decimal(std::int64_t{line} + 1);
  text += u") : ";
  if (near_text != nullptr) {
    text += near_text;
    text += u" : ";
  }
  if (func_name != nullptr) {
    text += u"in Function (";
    text += func_name;
    text += u") : ";
  }
  if (const char16_t* const message = kt_scripttextW(code)) text += message;
  list->Add(text);
}

Kt_WString Kt_ScriptUtil::GetSyntexError(const Kt_WStrList* list) {
  return list != nullptr ? list->Join(u"\r\n") : Kt_WString();
}
