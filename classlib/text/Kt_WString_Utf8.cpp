// SPDX-License-Identifier: MIT
//
// UTF-8 in and out. Each direction runs twice over its input, once to count and once to write, so
// that there is one allocation of the exact size.

#include <algorithm>
#include <cstring>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_AString.h"
#include "classlib/text/Kt_Utf16.h"
#include "classlib/text/Kt_WString.h"

namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Decoded {
  char32_t code_point;
  std::size_t length;  // bytes taken, at least 1
  bool good;
};

// The character that starts at `at`, by the table of well-formed sequences in the Unicode
// standard (chapter 3, table 3-7). A bad one takes the bytes that could have started a good one.
Decoded DecodeOne(std::string_view bytes, std::size_t at) {
  const auto byte = [&](std::size_t index) -> unsigned {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
  };
  const unsigned lead = byte(at);
  if (lead < 0x80) return {lead, 1, true};
  if (lead < 0xC2 || lead > 0xF4) return {kReplacement, 1, false};
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte alone decides about overlong forms, surrogates and the end of Unicode.
  const unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t code_point = lead & (0x7F >> length);
  for (std::size_t index = 1; index < length; ++index) {
    const unsigned next = byte(at + index);
    const bool fits = index == 1 ? next >= low && next <= high : (next & 0xC0) == 0x80;
    if (!fits) return {kReplacement, index, false};
    code_point = code_point << 6 | (next & 0x3F);
  }
  return {code_point, length, true};
}

// Number of ASCII bytes from `at`, by eights, so that the caller need not look at each of them.
// A longer run is answered in parts, so that its work can be charged.
std::size_t AsciiRun(std::string_view bytes, std::size_t at) {
  const std::size_t start = at;
  bytes = bytes.substr(0, std::min(bytes.size() - at, kt::detail::kPieceUnits) + at);
  for (; at + 8 <= bytes.size(); at += 8) {
    std::uint64_t block;
    std::memcpy(&block, bytes.data() + at, sizeof block);
    if (block & 0x8080808080808080u) break;
  }
  while (at < bytes.size() && static_cast<signed char>(bytes[at]) >= 0) ++at;
  return at - start;
}

// The work on a run of ASCII and the character after it.
std::int64_t UnitsOf(std::size_t run) { return static_cast<std::int64_t>(run) / 2 + 4; }

struct Measured {
  std::size_t units = 0;
  std::size_t bytes = 0;  // how far it went
  bool good = true;
};

// Counts units until the end, the first bad byte when `strict`, or the length limit.
Measured Measure(std::string_view bytes, bool strict) {
  constexpr auto kMaxUnits = static_cast<std::size_t>(kMaxStringLength);
  Measured sum;
  kt::detail::RoundCharge charge;
  while (sum.bytes < bytes.size() && sum.units <= kMaxUnits) {
    const std::size_t run = AsciiRun(bytes, sum.bytes);
    if (!charge.Add(UnitsOf(run))) return {};
    sum.units += run;
    sum.bytes += run;
    if (sum.bytes == bytes.size()) break;
    if (static_cast<signed char>(bytes[sum.bytes]) >= 0) continue;
    const Decoded next = DecodeOne(bytes, sum.bytes);
    sum.good = next.good || !strict;
    if (!sum.good) break;
    sum.units += next.code_point > 0xFFFF ? 2 : 1;
    sum.bytes += next.length;
  }
  return sum;
}

// False when the run was stopped on the way.
bool Write(std::string_view bytes, char16_t* out) {
  kt::detail::RoundCharge charge;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t run = AsciiRun(bytes, at);
    if (!charge.Add(UnitsOf(run))) return false;
    for (std::size_t index = 0; index < run; ++index) {
      out[index] = static_cast<unsigned char>(bytes[at + index]);
    }
    out += run;
    at += run;
    if (at == bytes.size()) break;
    if (static_cast<signed char>(bytes[at]) >= 0) continue;
    const Decoded next = DecodeOne(bytes, at);
    at += next.length;
    kt::WriteUtf16(next.code_point, out);
  }
  return true;
}

bool Convert(std::string_view bytes, std::size_t units, Kt_WString& out) {
  out.Empty();
  if (units == 0) return true;
  if (units > static_cast<std::size_t>(kMaxStringLength)) return false;
  char16_t* const text = out.GetBuffer(static_cast<kt_long>(units));
  if (text != nullptr && Write(bytes, text)) return true;
  out.Empty();
  return false;
}

// The character at `at` of UTF-16 text; moves `at` past it.
char32_t TakeCharacter(std::u16string_view text, std::size_t& at) {
  const char32_t character = kt::NextCharacter(text, at);
  return kt::IsSurrogate(character) ? kReplacement : character;
}

// False when the run was stopped on the way.
template <class Visit>
bool EachCharacter(std::u16string_view text, Visit visit) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(at + kt::detail::kPieceUnits, text.size());
    if (text.size() > 256 && !kt::Charge(static_cast<std::int64_t>(end - at) * 2)) return false;
    while (at < end) visit(TakeCharacter(text, at));
  }
  return true;
}

// The memory is touched piece by piece: the first touch of a page costs more than anything else
// that is done with it.
template <class Bytes>
bool Resize(Bytes& bytes, std::size_t size) {
  bytes.reserve(size);
  return kt::detail::InPieces(size, 1, [&](std::size_t first, std::size_t count) {
    bytes.resize(first + count);
    return true;
  });
}

std::size_t Utf8Size(char32_t character) {
  return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

char* Encode(char32_t character, char* out) {
  const std::size_t size = Utf8Size(character);
  if (size == 1) {
    *out = static_cast<char>(character);
    return out + 1;
  }
  for (std::size_t index = size - 1; index > 0; --index) {
    out[index] = static_cast<char>(0x80 | (character & 0x3F));
    character >>= 6;
  }
  out[0] = static_cast<char>((0xF00 >> size) | character);
  return out + size;
}

// Empty when the run was stopped on the way.
template <class Bytes>
Bytes Utf8Of(std::u16string_view text) {
  std::size_t size = 0;
  const auto measure = [&](char32_t character) { size += Utf8Size(character); };
  if (!EachCharacter(text, measure)) return {};
  Bytes out;
  if (!Resize(out, size)) return {};
  char* end = out.data();
  const auto write = [&](char32_t character) { end = Encode(character, end); };
  if (!EachCharacter(text, write)) return {};
  return out;
}

}  // namespace

Kt_WString Kt_WString::FromUtf8(std::string_view text) {
  Kt_WString out;
  Convert(text, Measure(text, false).units, out);
  return out;
}

void Kt_WString::Set(const char* text) {
  *this = FromUtf8(text ? std::string_view(text) : std::string_view());
}

std::string Kt_WString::ToUtf8() const { return Utf8Of<std::string>(View()); }

kt::CountedBytes kt::ToUtf8Bytes(std::u16string_view text) { return Utf8Of<CountedBytes>(text); }

std::int64_t ConvertUtf8(std::string_view bytes, Kt_WString& out) {
  const Measured sum = Measure(bytes, true);
  const bool fits = Convert(bytes.substr(0, sum.bytes), sum.units, out);
  return sum.good && fits ? -1 : static_cast<std::int64_t>(sum.bytes);
}
