// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_EncodingDetector.h"

#include <unicode/ucsdet.h>

#include <algorithm>
#include <memory>
#include <string>

#include "classlib/text/Kt_AString.h"

namespace {

// The detector looks at no more than this.
constexpr std::size_t kSampleBytes = 8000;

struct CloseDetector {
  void operator()(UCharsetDetector* detector) const { ucsdet_close(detector); }
};
using Detector = std::unique_ptr<UCharsetDetector, CloseDetector>;

// The lines that tell encodings apart: those with bytes beyond ASCII, from wherever they stand. A
// table may have its first such name far past what the detector reads. Zeros are UTF-16, in which
// the start is as good as any part, and lines are not cut at bytes.
std::string SampleOf(std::string_view bytes) {
  const std::string_view start = bytes.substr(0, kSampleBytes);
  if (start.find('\0') != start.npos) return std::string(start);
  std::string sample;
  for (std::size_t at = 0; at < bytes.size() && sample.size() < kSampleBytes;) {
    const std::size_t end = std::min(bytes.find('\n', at), bytes.size() - 1) + 1;
    const std::string_view line = bytes.substr(at, std::min(end - at, kSampleBytes));
    const bool tells =
        std::any_of(line.begin(), line.end(), [](char byte) { return (byte & 0x80) != 0; });
    if (tells) sample += line;
    at = end;
  }
  return sample.empty() ? std::string(start) : sample;
}

// UTF-16 without a zero would be a text without blanks, line ends and digits.
bool DecodesAs(const Kt_WString& name, std::string_view bytes, bool has_zeros) {
  const kt_long code_page = kt_findcodepageW(name);
  const bool is_utf16 = code_page == kCodePageUtf16 || code_page == kCodePageUtf16Big;
  Kt_WString ignored;
  return code_page != 0 && code_page != kCodePageUtf8 && is_utf16 == has_zeros &&
         kt_decodeW(bytes, code_page, ignored) < 0;
}

}  // namespace

// In pieces, so that a file that is longer than a text can be looked at.
std::int64_t kt_findbadutf8W(std::string_view bytes) {
  constexpr std::size_t kPieceBytes = 1 << 20;
  constexpr std::size_t kLongestCharacter = 4;
  Kt_WString ignored;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::string_view piece = bytes.substr(at, kPieceBytes);
    const std::int64_t bad = ConvertUtf8(piece, ignored);
    const std::size_t good = bad < 0 ? piece.size() : static_cast<std::size_t>(bad);
    const bool may_be_cut =
        at + piece.size() < bytes.size() && good > 0 && piece.size() - good < kLongestCharacter;
    if (bad >= 0 && !may_be_cut) return static_cast<std::int64_t>(at + good);
    at += good;
  }
  return -1;
}

std::vector<Kt_WString> kt_guessencodingsW(std::string_view bytes, std::size_t max_count) {
  std::vector<Kt_WString> names;
  const std::string sample = SampleOf(bytes);
  const bool has_zeros = sample.find('\0') != sample.npos;
  UErrorCode status = U_ZERO_ERROR;
  const Detector detector(ucsdet_open(&status));
  std::int32_t count = 0;
  const UCharsetMatch** matches = nullptr;
  ucsdet_setText(detector.get(), sample.data(), static_cast<std::int32_t>(sample.size()), &status);
  if (U_SUCCESS(status)) matches = ucsdet_detectAll(detector.get(), &count, &status);
  for (std::int32_t at = 0; U_SUCCESS(status) && at < count && names.size() < max_count; ++at) {
    const Kt_WString name = Kt_WString::FromUtf8(ucsdet_getName(matches[at], &status));
    const bool known = std::find(names.begin(), names.end(), name) != names.end();
    if (!known && DecodesAs(name, bytes, has_zeros)) names.push_back(name);
  }
  // One accented letter in a table of numbers is too little for the detector.
  for (const char16_t* const usual : {u"windows-1252", u"ISO-8859-1"}) {
    if (names.empty() && max_count > 0 && DecodesAs(usual, bytes, has_zeros)) {
      names.emplace_back(usual);
    }
  }
  return names;
}
