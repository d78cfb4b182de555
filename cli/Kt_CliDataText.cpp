// SPDX-License-Identifier: MIT
#include "cli/Kt_CliDataText.h"

#include <fmt/format.h>

#include <algorithm>

#include "classlib/Kt_AString.h"

namespace kt::cli {
namespace {

constexpr kt_long kCodePageUtf16Big = 1201;
constexpr char16_t kUnreadable = u'\xFFFD';

bool IsUtf16(kt_long code_page) {
  return code_page == kCodePageUtf16 || code_page == kCodePageUtf16Big;
}
bool IsUtf8(kt_long code_page) {
  return code_page == kCodePageUtf8 || code_page == kCodePageDefault;
}

template <class Unit>
std::int64_t CountLines(std::basic_string_view<Unit> text, std::size_t offset) {
  std::int64_t line = 1;
  for (std::size_t at = 0; at < offset; ++at) {
    const bool ends =
        text[at] == '\n' || (text[at] == '\r' && (at + 1 == text.size() || text[at + 1] != '\n'));
    if (ends) ++line;
  }
  return line;
}

// By hand, because every unit counts here: Kt_AString takes the ends of its bytes for cuts.
bool FromUtf16(std::string_view bytes, bool big_endian, Kt_WString& text) {
  const std::size_t length = bytes.size() / 2;
  if (length > static_cast<std::size_t>(kMaxStringLength)) return false;
  char16_t* const out = text.GetBuffer(static_cast<kt_long>(length));
  if (out == nullptr) return false;
  const std::size_t low = big_endian ? 1 : 0;
  for (std::size_t at = 0; at < length; ++at) {
    out[at] = static_cast<char16_t>(static_cast<unsigned char>(bytes[at * 2 + low]) |
                                    static_cast<unsigned char>(bytes[at * 2 + 1 - low]) << 8);
  }
  return true;
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

void NoteUnreadable(std::u16string_view text, DataReport& report) {
  std::size_t counted = 0;
  std::int64_t line = 1;
  for (std::size_t at = 0; (at = text.find(kUnreadable, at)) != text.npos; ++at) {
    ++report.unreadable_count;
    if (report.unreadable.size() == Kt_LoadReport::kMaxListed) continue;
    line += CountLines(text.substr(counted), at - counted) - 1;
    counted = at;
    report.unreadable.push_back(line);
  }
}

std::size_t FirstDifference(std::u16string_view a, std::u16string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  return static_cast<std::size_t>(
      std::mismatch(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(common), b.begin()).first -
      a.begin());
}

}  // namespace

std::int64_t LineOf(std::string_view bytes, std::size_t offset) {
  return CountLines(bytes, std::min(offset, bytes.size()));
}

std::int64_t LineOf(std::u16string_view text, std::size_t offset) {
  return CountLines(text, std::min(offset, text.size()));
}

std::string EncodingName(kt_long code_page) {
  if (IsUtf8(code_page)) return "UTF-8";
  if (IsUtf16(code_page)) return "UTF-16";
  return fmt::format("code page {}", code_page);
}

kt_long EncodingOf(std::string_view bytes, std::optional<kt_long> wanted, std::size_t& mark) {
  mark = 0;
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    mark = 3;
    return kCodePageUtf8;
  }
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
    mark = 2;
    return bytes[0] == '\xFF' ? kCodePageUtf16 : kCodePageUtf16Big;
  }
  return wanted.value_or(kCodePageUtf8);
}

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

bool DecodeText(std::string_view bytes, std::optional<kt_long> wanted, Kt_WString& text,
                DataReport& report, std::string& reason) {
  std::size_t mark = 0;
  const kt_long code_page = EncodingOf(bytes, wanted, mark);
  bytes.remove_prefix(mark);
  reason = fmt::format("longer than {} characters", kMaxStringLength);
  if (IsUtf16(code_page)) {
    if (bytes.size() % 2 != 0) {
      reason = "UTF-16 with an odd number of bytes";
      return false;
    }
    return FromUtf16(bytes, code_page == kCodePageUtf16Big, text);
  }
  if (IsUtf8(code_page)) {
    if (ConvertUtf8(bytes, text) < 0) return true;
    text = Kt_WString::FromUtf8(bytes);
  } else if (bytes.size() > static_cast<std::size_t>(kMaxStringLength)) {
    return false;
  } else if (!Kt_AString(std::string(bytes)).ToWString(text, code_page)) {
    reason = "cannot be read as " + EncodingName(code_page);
    return false;
  }
  NoteUnreadable(text, report);
  return !text.IsEmpty() || bytes.empty();
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
  reason = fmt::format("{} has no character U+{:04X}", EncodingName(code_page),
                       static_cast<unsigned>(text.GetAt(static_cast<kt_long>(at))));
  return false;
}

}  // namespace kt::cli
