// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_LookAlike.h"

#include <unicode/uspoof.h>

#include <algorithm>
#include <memory>

namespace {

struct CloseChecker {
  void operator()(USpoofChecker* checker) const { uspoof_close(checker); }
};
using Checker = std::unique_ptr<USpoofChecker, CloseChecker>;

Checker MakeChecker() {
  UErrorCode status = U_ZERO_ERROR;
  Checker checker(uspoof_open(&status));
  if (U_FAILURE(status)) return nullptr;
  uspoof_setRestrictionLevel(checker.get(), USPOOF_MODERATELY_RESTRICTIVE);
  uspoof_setChecks(checker.get(), USPOOF_RESTRICTION_LEVEL, &status);
  return U_SUCCESS(status) ? std::move(checker) : nullptr;
}

// Does not change once it has been made, so that all threads may ask it. Null without its tables.
const USpoofChecker* SharedChecker() {
  static const Checker kChecker = MakeChecker();
  return kChecker.get();
}

bool IsAscii(std::u16string_view text) {
  return std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; });
}

bool WordMixesScripts(std::u16string_view word) {
  const USpoofChecker* const checker = SharedChecker();
  if (checker == nullptr || IsAscii(word)) return false;
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t failed =
      uspoof_check2(checker, word.data(), static_cast<std::int32_t>(word.size()), nullptr, &status);
  return U_SUCCESS(status) && (failed & USPOOF_RESTRICTION_LEVEL) != 0;
}

}  // namespace

Kt_WString kt_skeletonW(const Kt_WString& text) {
  const USpoofChecker* const checker = SharedChecker();
  if (checker == nullptr) return text;
  Kt_WString skeleton;
  std::int32_t room = text.GetLength();
  // Most are as long as the text; the second try has the exact room for those that are longer.
  for (int tries = 0; tries < 2; ++tries) {
    char16_t* const units = skeleton.GetBuffer(room);
    if (units == nullptr) return {};
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length =
        uspoof_getSkeleton(checker, 0, text.GetText(), text.GetLength(), units, room, &status);
    if (U_SUCCESS(status)) return skeleton.Mid(0, length);
    if (status != U_BUFFER_OVERFLOW_ERROR) return {};
    room = length;
  }
  return {};
}

bool kt_mixesscriptsW(const Kt_WString& name) {
  std::u16string_view rest = name.View();
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(u'_'), rest.size());
    if (WordMixesScripts(rest.substr(0, end))) return true;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return false;
}
