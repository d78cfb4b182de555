// SPDX-License-Identifier: MIT
#include "script/Kt_SyntaxErrors.h"

#include <algorithm>

namespace {

struct WarningTexts {
  const char16_t* name;
  const char16_t* text;
};

constexpr WarningTexts kWarnings[] = {
#define KT_WARNING_TEXTS(name, user_name, text) {user_name, text},
    KT_SCRIPT_WARNINGS(KT_WARNING_TEXTS)
#undef KT_WARNING_TEXTS
};

}  // namespace

const char16_t* GetWarningName(Kt_ScriptWarning warning) {
  return kWarnings[static_cast<std::size_t>(warning)].name;
}

const char16_t* GetWarningText(Kt_ScriptWarning warning) {
  return kWarnings[static_cast<std::size_t>(warning)].text;
}

bool Kt_SyntaxErrorList::HasFaults() const {
  return std::any_of(errors_.begin(), errors_.end(),
                     [](const Kt_SyntaxError& error) { return !error.is_warning; });
}
