// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_AString.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_Utf16.h"

namespace {

constexpr std::int64_t kUnitsPerCharacter = 16;  // of a conversion through a table

struct CodePageRow {
  kt_long number;
  const char* converter;
};

// What ICU calls each code page; the vendor's table where it differs from the standard's.
constexpr CodePageRow kCodePages[] = {
    {437, "ibm-437"},       {850, "ibm-850"},       {866, "ibm-866"},       {874, "windows-874"},
    {932, "windows-932"},   {936, "windows-936"},   {949, "windows-949"},   {950, "windows-950"},
    {1201, "UTF-16BE"},     {1250, "windows-1250"}, {1251, "windows-1251"}, {1252, "windows-1252"},
    {1253, "windows-1253"}, {1254, "windows-1254"}, {1255, "windows-1255"}, {1256, "windows-1256"},
    {1257, "windows-1257"}, {1258, "windows-1258"}, {20127, "US-ASCII"},    {20866, "KOI8-R"},
    {28591, "ISO-8859-1"},  {28592, "ISO-8859-2"},  {28593, "ISO-8859-3"},  {28594, "ISO-8859-4"},
    {28595, "ISO-8859-5"},  {28596, "ISO-8859-6"},  {28597, "ISO-8859-7"},  {28598, "ISO-8859-8"},
    {28599, "ISO-8859-9"},  {28600, "ISO-8859-10"}, {28601, "ISO-8859-11"}, {28603, "ISO-8859-13"},
    {28604, "ISO-8859-14"}, {28605, "ISO-8859-15"}, {51932, "EUC-JP"},      {51949, "EUC-KR"},
    {54936, "GB18030"},
};

struct NameRow {
  std::u16string_view name;  // lower case, letters and digits only
  kt_long number;
};

// Names that are no number after a prefix. The names of a national standard mean the code page
// that extends it, because texts marked so use the extension.
constexpr NameRow kNames[] = {
    {u"ascii", 20127},   {u"big5", 950},     {u"eucjp", 51932},     {u"euckr", 949},
    {u"gb18030", 54936}, {u"gb2312", 936},   {u"gbk", 936},         {u"koi8r", 20866},
    {u"korean", 949},    {u"ksc5601", 949},  {u"ksc56011987", 949}, {u"latin1", 28591},
    {u"latin2", 28592},  {u"latin9", 28605}, {u"shiftjis", 932},    {u"sjis", 932},
    {u"uhc", 949},       {u"unicode", 1200}, {u"usascii", 20127},   {u"utf16", 1200},
    {u"utf16be", 1201},  {u"utf16le", 1200}, {u"utf8", 65001},
};

// Prefixes that a number follows, and what is added to that number.
constexpr NameRow kPrefixes[] = {
    {u"windows", 0}, {u"cp", 0}, {u"ms", 0}, {u"ibm", 0}, {u"iso8859", 28590}, {u"", 0},
};

bool IsUtf8(kt_long code_page) {
  return code_page == kCodePageDefault || code_page == kCodePageUtf8;
}

const char* ConverterName(kt_long code_page) {
  const auto* const row =
      std::lower_bound(std::begin(kCodePages), std::end(kCodePages), code_page,
                       [](const CodePageRow& a, kt_long number) { return a.number < number; });
  return row != std::end(kCodePages) && row->number == code_page ? row->converter : nullptr;
}

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

// Null for an unknown code page. Characters that cannot be converted become '?'.
Converter OpenConverter(kt_long code_page) {
  const char* const name = ConverterName(code_page);
  if (name == nullptr) return nullptr;
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(name, &status));
  if (converter && code_page != kCodePageUtf16Big) {
    UErrorCode ignored = U_ZERO_ERROR;  // a page without '?' keeps its own substitute
    ucnv_setSubstChars(converter.get(), "?", 1, &ignored);
  }
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
  return U_SUCCESS(status) ? std::move(converter) : nullptr;
}

// By hand, because a lone surrogate has to survive: ICU would replace it.
kt::CountedBytes ToUtf16Bytes(std::u16string_view text) {
  kt::CountedBytes out;
  out.reserve(text.size() * 2);
  const auto write = [&](std::size_t first, std::size_t count) {
    for (const char16_t unit : text.substr(first, count)) {
      out += static_cast<char>(unit & 0xFF);
      out += static_cast<char>(unit >> 8);
    }
    return true;
  };
  if (!kt::detail::InPieces(text.size(), 4, write)) return {};
  return out;
}

bool FromUtf16Bytes(std::string_view bytes, Kt_WString& out) {
  const auto unit = [bytes](std::size_t index) {
    return static_cast<char16_t>(static_cast<unsigned char>(bytes[index * 2]) |
                                 static_cast<unsigned char>(bytes[index * 2 + 1]) << 8);
  };
  std::size_t first = 0;
  std::size_t end = bytes.size() / 2;
  if (first < end && kt::IsLowSurrogate(unit(first))) ++first;
  if (first < end && kt::IsHighSurrogate(unit(end - 1))) --end;
  if (end - first > static_cast<std::size_t>(kMaxStringLength)) return false;
  char16_t* const text = out.GetBuffer(static_cast<kt_long>(end - first));
  if (text == nullptr) return false;
  return kt::detail::InPieces(end - first, 2, [&](std::size_t from, std::size_t count) {
    for (std::size_t index = from; index < from + count; ++index) text[index] = unit(first + index);
    return true;
  });
}

// The bytes without the remains of characters that were cut at either end.
std::string_view WholeUtf8(std::string_view bytes) {
  const auto is_tail = [&](std::size_t at) { return (bytes[at] & 0xC0) == 0x80; };
  std::size_t first = 0;
  while (first < 3 && first < bytes.size() && is_tail(first)) ++first;
  bytes.remove_prefix(first);
  std::size_t tails = 0;
  while (tails < 3 && tails < bytes.size() && is_tail(bytes.size() - 1 - tails)) ++tails;
  if (tails == bytes.size()) return bytes;
  const auto lead = static_cast<unsigned char>(bytes[bytes.size() - 1 - tails]);
  const std::size_t wanted = lead < 0xC2   ? 0
                             : lead < 0xE0 ? 1
                             : lead < 0xF0 ? 2
                             : lead < 0xF5 ? 3
                                           : 0;
  if (tails < wanted) bytes.remove_suffix(tails + 1);
  return bytes;
}

bool FromConverter(std::string_view bytes, kt_long code_page, Kt_WString& out) {
  const Converter converter = OpenConverter(code_page);
  // No code page makes more units than it takes bytes.
  if (!converter || bytes.size() > static_cast<std::size_t>(kMaxStringLength)) return false;
  char16_t* const text = out.GetBuffer(static_cast<kt_long>(bytes.size()));
  if (text == nullptr) return false;
  char16_t* end = text;
  const char* source = bytes.data();
  UErrorCode status = U_ZERO_ERROR;
  // Without the flush, the half of a character at the end stays inside the converter.
  const auto convert = [&](std::size_t first, std::size_t count) {
    ucnv_toUnicode(converter.get(), &end, text + bytes.size(), &source,
                   bytes.data() + first + count, nullptr, /*flush=*/false, &status);
    return U_SUCCESS(status);
  };
  const bool is_whole = kt::detail::InPieces(bytes.size(), kUnitsPerCharacter, convert);
  out = out.Mid(0, static_cast<kt_long>(end - text));
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
  return is_whole;
}

bool ToConverter(std::u16string_view text, kt_long code_page, kt::CountedBytes& out) {
  const Converter converter = OpenConverter(code_page);
  if (!converter) return false;
  std::array<char, 4096> piece;
  const char16_t* source = text.data();
  const char16_t* const source_end = source + text.size();
  UErrorCode status;
  kt::detail::RoundCharge charge;
  do {
    status = U_ZERO_ERROR;
    char* end = piece.data();
    ucnv_fromUnicode(converter.get(), &end, piece.data() + piece.size(), &source, source_end,
                     nullptr, /*flush=*/true, &status);
    out.append(piece.data(), end);
    if (!charge.Add((end - piece.data()) * kUnitsPerCharacter)) return false;
  } while (status == U_BUFFER_OVERFLOW_ERROR);
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
  return U_SUCCESS(status);
}

std::int64_t DecodeByConverter(std::string_view bytes, kt_long code_page, Kt_WString& out) {
  const Converter converter = OpenConverter(code_page);
  char16_t* const text = converter ? out.GetBuffer(static_cast<kt_long>(bytes.size())) : nullptr;
  if (text == nullptr) return 0;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  char16_t* end = text;
  const char* source = bytes.data();
  kt::detail::InPieces(bytes.size(), kUnitsPerCharacter, [&](std::size_t first, std::size_t count) {
    const bool is_last = first + count == bytes.size();
    ucnv_toUnicode(converter.get(), &end, text + bytes.size(), &source,
                   bytes.data() + first + count, nullptr, /*flush=*/is_last ? 1 : 0, &status);
    return U_SUCCESS(status);
  });
  out = out.Mid(0, static_cast<kt_long>(end - text));
  if (U_SUCCESS(status)) return -1;
  std::array<char, 32> bad;  // the converter has read these, and stands behind them
  auto bad_count = static_cast<std::int8_t>(bad.size());
  UErrorCode ignored = U_ZERO_ERROR;
  ucnv_getInvalidChars(converter.get(), bad.data(), &bad_count, &ignored);
  return std::max<std::int64_t>(source - bytes.data() - bad_count, 0);
}

// As FromUtf16Bytes, but every unit counts: nothing is taken for a cut.
std::int64_t DecodeUtf16(std::string_view bytes, bool big_endian, Kt_WString& out) {
  const std::size_t length = bytes.size() / 2;
  char16_t* const text = out.GetBuffer(static_cast<kt_long>(length));
  if (text == nullptr && length > 0) return kMaxStringLength;
  const std::size_t low = big_endian ? 1 : 0;
  for (std::size_t at = 0; at < length && kt::detail::GoesOnAt(at, 2); ++at) {
    text[at] = static_cast<char16_t>(static_cast<unsigned char>(bytes[at * 2 + low]) |
                                     static_cast<unsigned char>(bytes[at * 2 + 1 - low]) << 8);
  }
  return bytes.size() % 2 == 0 ? -1 : static_cast<std::int64_t>(bytes.size()) - 1;
}

// Lower case, without '-', '_', ' ' and ':'; empty for a name that is too long to be one.
std::u16string PlainName(std::u16string_view name) {
  std::u16string out;
  if (name.size() > 40) return out;
  for (const char16_t unit : name) {
    if (unit != u'-' && unit != u'_' && unit != u' ' && unit != u':') out += kt_foldcaseW(unit);
  }
  return out;
}

// The value of a text of one to five digits, else -1.
kt_long SmallNumber(std::u16string_view digits) {
  if (digits.empty() || digits.size() > 5) return -1;
  kt_long value = 0;
  for (const char16_t unit : digits) {
    if (unit < u'0' || unit > u'9') return -1;
    value = value * 10 + (unit - u'0');
  }
  return value;
}

}  // namespace

Kt_AString Kt_AString::Mid(kt_long start, kt_long count) const {
  const auto first = std::min(static_cast<std::size_t>(std::max(start, 0)), bytes_.size());
  return Kt_AString(View().substr(first, static_cast<std::size_t>(std::max(count, 0))));
}

bool Kt_AString::Assign(const Kt_WString& text, kt_long code_page) {
  bytes_.clear();
  if (IsUtf8(code_page)) {
    bytes_ = kt::ToUtf8Bytes(text.View());
    return true;
  }
  if (code_page == kCodePageUtf16) {
    bytes_ = ToUtf16Bytes(text.View());
    return true;
  }
  return ToConverter(text.View(), code_page, bytes_);
}

Kt_WString Kt_AString::ToWString(kt_long code_page) const {
  Kt_WString out;
  ToWString(out, code_page);
  return out;
}

bool Kt_AString::Decode(std::string_view bytes, Kt_WString& out, kt_long code_page) {
  out.Empty();
  if (IsUtf8(code_page)) {
    const std::string_view whole = WholeUtf8(bytes);
    out = Kt_WString::FromUtf8(whole);
    return whole.empty() || !out.IsEmpty();
  }
  if (code_page == kCodePageUtf16) return FromUtf16Bytes(bytes, out);
  return FromConverter(bytes, code_page, out);
}

bool kt_iscodepageW(kt_long code_page) {
  return IsUtf8(code_page) || code_page == kCodePageUtf16 || ConverterName(code_page) != nullptr;
}

kt_long kt_findcodepageW(std::u16string_view name) {
  const std::u16string plain = PlainName(name);
  for (const NameRow& row : kNames) {
    if (plain == row.name) return row.number;
  }
  for (const NameRow& prefix : kPrefixes) {
    if (!plain.starts_with(prefix.name)) continue;
    const kt_long digits = SmallNumber(std::u16string_view(plain).substr(prefix.name.size()));
    const kt_long number = digits + prefix.number;
    if (digits > 0 && kt_iscodepageW(number)) return number;
  }
  return 0;
}

Kt_WString kt_codepagenameW(kt_long code_page) {
  if (IsUtf8(code_page)) return u"UTF-8";
  if (code_page == kCodePageUtf16) return u"UTF-16";
  const char* const name = ConverterName(code_page);
  return name != nullptr ? Kt_WString::FromUtf8(name) : Kt_WString();
}

std::int64_t kt_decodeW(std::string_view bytes, kt_long code_page, Kt_WString& out) {
  out.Empty();
  if (IsUtf8(code_page)) return ConvertUtf8(bytes, out);
  const bool is_utf16 = code_page == kCodePageUtf16 || code_page == kCodePageUtf16Big;
  // No code page makes more units than it takes bytes.
  const std::size_t units = is_utf16 ? bytes.size() / 2 : bytes.size();
  if (units > static_cast<std::size_t>(kMaxStringLength)) return kMaxStringLength;
  if (bytes.empty()) return -1;
  return is_utf16 ? DecodeUtf16(bytes, code_page == kCodePageUtf16Big, out)
                  : DecodeByConverter(bytes, code_page, out);
}
