// SPDX-License-Identifier: MIT
#include "cli/data/Kt_Text.h"

#include <fmt/format.h>

#include <algorithm>

#include "classlib/text/Kt_AString.h"
#include "classlib/text/Kt_EncodingDetector.h"
#include "classlib/text/Kt_Unicode.h"

namespace kt::cli {
namespace {

bool IsUtf16(kt_long code_page) {
  return code_page == kCodePageUtf16 || code_page == kCodePageUtf16Big;
}
bool IsUtf8(kt_long code_page) {
  return code_page == kCodePageUtf8 || code_page == kCodePageDefault;
}

std::string ToUtf16(std::u16string_view text, bool big_endian) {
  std::string bytes;
  bytes.reserve(2 + text.size() * 2);
  const auto append = [&](char16_t unit) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += big_endian ? high : low;
    bytes += big_endian ? low : high;
  };
  append(u'\xFEFF');
  for (const char16_t unit : text) append(unit);
  return bytes;
}

std::size_t FirstDifference(std::u16string_view a, std::u16string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  return static_cast<std::size_t>(
      std::mismatch(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(common), b.begin()).first -
      a.begin());
}

// The encoding that the byte order mark says, whose length is `mark`; nothing without one.
std::optional<kt_long> MarkedEncoding(std::string_view bytes, std::size_t& mark) {
  mark = 0;
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    mark = 3;
    return kCodePageUtf8;
  }
  if (!bytes.starts_with("\xFF\xFE") && !bytes.starts_with("\xFE\xFF")) return std::nullopt;
  mark = 2;
  return bytes[0] == '\xFF' ? kCodePageUtf16 : kCodePageUtf16Big;
}

// The offset of the first byte that makes no sense, or -1.
std::int64_t Decode(std::string_view bytes, kt_long code_page, FileText& text) {
  if (!IsUtf8(code_page)) return kt_decodeW(bytes, code_page, text.text);
  const std::int64_t bad = kt_findbadutf8W(bytes);
  if (bad < 0) text.utf8 = bytes;
  return bad;
}

// The offset of the first zero when there are so many that this is UTF-16 without a byte order
// mark, which passes for UTF-8 while its characters are ASCII; otherwise -1.
std::int64_t FindZeros(std::string_view bytes) {
  const std::string_view start = bytes.substr(0, 1000);
  const auto zeros = std::count(start.begin(), start.end(), '\0');
  return zeros * 4 > std::ssize(start) ? static_cast<std::int64_t>(start.find('\0')) : -1;
}

bool IsTooLong(std::string_view bytes, kt_long code_page) {
  const std::size_t units = IsUtf16(code_page) ? bytes.size() / 2 : bytes.size();
  return !IsUtf8(code_page) && units > static_cast<std::size_t>(kMaxStringLength);
}

std::string FittingEncodings(const std::vector<Kt_WString>& names) {
  if (names.empty()) return "; no known encoding fits all of it";
  std::string list;
  for (const Kt_WString& name : names) list += (list.empty() ? "" : ", ") + name.ToUtf8();
  return fmt::format("; encodings that fit all of it: {} (option encoding; auto takes the first)",
                     list);
}

}  // namespace

std::optional<kt_long> XmlEncoding(std::string_view bytes) {
  if (!bytes.starts_with("<?xml")) return std::nullopt;
  const std::string_view declaration =
      bytes.substr(0, std::min(bytes.find("?>"), std::size_t{200}));
  constexpr std::string_view kKey = "encoding";
  std::size_t at = declaration.find(kKey);
  if (at == declaration.npos) return std::nullopt;
  at = declaration.find_first_of("\"'", at + kKey.size());
  if (at == declaration.npos) return std::nullopt;
  const std::size_t end = declaration.find(declaration[at], at + 1);
  if (end == declaration.npos) return std::nullopt;
  const std::optional<kt_long> found = FindEncoding(declaration.substr(at + 1, end - at - 1));
  // Whoever can read the declaration byte by byte is not reading UTF-16.
  return found && IsUtf16(*found) ? std::nullopt : found;
}

bool ReadText(std::string_view bytes, std::optional<kt_long> wanted, bool guess, FileText& text,
              DataReport& report) {
  std::size_t mark = 0;
  const std::optional<kt_long> marked = MarkedEncoding(bytes, mark);
  const kt_long code_page = marked ? *marked : wanted.value_or(kCodePageUtf8);
  const std::string_view content = bytes.substr(mark);
  if (IsTooLong(content, code_page)) {
    report.error = fmt::format("longer than {} characters", kMaxStringLength);
    return false;
  }
  std::int64_t bad = Decode(content, code_page, text);
  if (bad < 0 && !marked && !wanted) bad = FindZeros(content);
  if (bad < 0) return true;
  text.utf8.reset();
  // A byte order mark leaves nothing to choose.
  const std::vector<Kt_WString> names =
      marked ? std::vector<Kt_WString>() : kt_guessencodingsW(content);
  if (guess && !wanted && !names.empty()) {
    report.guessed_encoding = names[0].ToUtf8();
    return Decode(content, kt_findcodepageW(names[0]), text) < 0;
  }
  const auto offset = static_cast<std::size_t>(bad);
  report.error_line =
      IsUtf16(code_page) ? kt_lineofW(text.text.View(), offset / 2) : kt_lineofW(content, offset);
  report.error =
      fmt::format("no valid {} at byte offset {}{}", kt_codepagenameW(code_page).ToUtf8(),
                  offset + mark, marked ? "" : FittingEncodings(names));
  return false;
}

bool EncodeText(const Kt_WString& text, kt_long code_page, std::string& bytes,
                std::string& reason) {
  if (IsUtf16(code_page)) {
    bytes = ToUtf16(text, code_page == kCodePageUtf16Big);
    return true;
  }
  Kt_AString encoded;
  Kt_WString back;
  if (IsUtf8(code_page)) {
    bytes = text.ToUtf8();
    if (ConvertUtf8(bytes, back) < 0 && back == text) return true;
  } else if (encoded.Assign(text, code_page)) {
    bytes = encoded.View();
    if (encoded.ToWString(back, code_page) && back == text) return true;
  }
  const std::size_t at = FirstDifference(text, back);
  reason = fmt::format("{} has no character U+{:04X}", kt_codepagenameW(code_page).ToUtf8(),
                       static_cast<unsigned>(text.GetAt(static_cast<kt_long>(at))));
  return false;
}

}  // namespace kt::cli
