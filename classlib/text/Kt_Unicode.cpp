// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_Unicode.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_Utf16.h"

namespace {

bool IsAscii(std::u16string_view text) {
  // Pieces without an exit, so that the compiler can take many units at a time.
  return kt::detail::InPieces(text.size(), 1, [&](std::size_t first, std::size_t count) {
    char16_t bits = 0;
    for (const char16_t unit : text.substr(first, count)) bits |= unit;
    return bits < 0x80;
  });
}

struct UpperCase {
  static bool Changes(char16_t unit) { return unit >= u'a' && unit <= u'z'; }
  static std::int32_t Map(char16_t* out, std::int32_t room, std::u16string_view text,
                          UErrorCode* status) {
    return u_strToUpper(out, room, text.data(), static_cast<std::int32_t>(text.size()), "", status);
  }
};

struct LowerCase {
  static bool Changes(char16_t unit) { return unit >= u'A' && unit <= u'Z'; }
  static std::int32_t Map(char16_t* out, std::int32_t room, std::u16string_view text,
                          UErrorCode* status) {
    return u_strToLower(out, room, text.data(), static_cast<std::int32_t>(text.size()), "", status);
  }
};

template <class Case>
bool MapAscii(const Kt_WString& text, Kt_WString& out) {
  const std::u16string_view from = text.View();
  Kt_WString mapped;
  const auto stays = [&](std::size_t first, std::size_t count) {
    const std::u16string_view piece = from.substr(first, count);
    return std::none_of(piece.begin(), piece.end(), Case::Changes);
  };
  if (!kt::detail::InPieces(from.size(), 1, stays)) {
    char16_t* const units = mapped.GetBuffer(text.GetLength());
    const auto map = [&](std::size_t first, std::size_t count) {
      const std::u16string_view piece = from.substr(first, count);
      std::transform(piece.begin(), piece.end(), units + first, [](char16_t unit) {
        return static_cast<char16_t>(Case::Changes(unit) ? unit ^ 0x20 : unit);
      });
      return true;
    };
    if (units == nullptr || !kt::detail::InPieces(from.size(), 2, map)) return false;
  } else {
    mapped = text;
  }
  out = std::move(mapped);
  return true;
}

// Whether a text may be mapped in two parts that meet before `at`. What a letter becomes can
// depend on letters around it, over any number of marks: a capital sigma at the end of a word has a
// small form of its own. Between two units that are neither marks nor sigmas nothing looks across.
bool CanCut(std::u16string_view text, std::size_t at) {
  constexpr char16_t kSigma = 0x03A3;
  const auto is_plain = [](char16_t unit) {
    return unit != kSigma && !U16_IS_SURROGATE(unit) &&
           !u_hasBinaryProperty(unit, UCHAR_CASE_IGNORABLE);
  };
  return is_plain(text[at - 1]) && is_plain(text[at]);
}

// The end of the part that begins at `start`. Where nothing but marks and sigmas follow for longer
// than any word is, it ends between them.
std::size_t PartEnd(std::u16string_view text, std::size_t start) {
  constexpr std::size_t kLongestSearch = 4 * kt::detail::kPieceUnits;
  std::size_t end = start + kt::detail::kPieceUnits;
  if (end >= text.size()) return text.size();
  const std::size_t last = std::min(end + kLongestSearch, text.size());
  while (end < last && !CanCut(text, end)) ++end;
  return end < text.size() && U16_IS_TRAIL(text[end]) ? end + 1 : end;
}

// Most texts keep their length; the second try has the exact room for those that do not.
template <class Case>
bool MapPart(std::u16string_view part, Kt_WString& mapped, bool& is_same) {
  std::u16string buffer(part.size(), u'\0');
  for (int tries = 0; tries < 2; ++tries) {
    UErrorCode status = U_ZERO_ERROR;
    const auto room = static_cast<std::int32_t>(buffer.size());
    const std::int32_t length = Case::Map(buffer.data(), room, part, &status);
    const auto size = static_cast<std::size_t>(std::max(length, 0));
    if (U_SUCCESS(status)) {
      const std::u16string_view made = std::u16string_view(buffer).substr(0, size);
      is_same = is_same && made == part;
      return mapped.Append(made);
    }
    if (status != U_BUFFER_OVERFLOW_ERROR) return false;
    buffer.resize(size);
  }
  return false;
}

template <class Case>
bool MapUnicode(const Kt_WString& text, Kt_WString& out) {
  constexpr std::int64_t kUnitsEach = 16;
  const std::u16string_view from = text.View();
  Kt_WString mapped;
  bool is_same = true;
  for (std::size_t start = 0, end = 0; start < from.size(); start = end) {
    end = PartEnd(from, start);
    if (!kt::Charge(static_cast<std::int64_t>(end - start) * kUnitsEach) ||
        !MapPart<Case>(from.substr(start, end - start), mapped, is_same)) {
      return false;
    }
  }
  mapped.FreeExtra();
  if (is_same) {
    out = text;
  } else {
    out = std::move(mapped);
  }
  return true;
}

template <class Case>
bool MapCase(const Kt_WString& text, Kt_WString& out) {
  if (IsAscii(text.View())) return MapAscii<Case>(text, out);
  if (MapUnicode<Case>(text, out)) return true;
  out.Empty();
  return false;
}

// `count` characters from `half` on have their full-width forms from `full` on.
struct WidthRange {
  char16_t half;
  char16_t full;
  char16_t count;
};

constexpr WidthRange kWidths[] = {
    {0x0021, 0xFF01, 94}, {0x0020, 0x3000, 1}, {0x00A2, 0xFFE0, 2},  {0x00A5, 0xFFE5, 1},
    {0x00A6, 0xFFE4, 1},  {0x00AC, 0xFFE2, 1}, {0x00AF, 0xFFE3, 1},  {0x20A9, 0xFFE6, 1},
    {0x2985, 0xFF5F, 2},  {0xFFA0, 0x3164, 1}, {0xFFA1, 0x3131, 30}, {0xFFC2, 0x314F, 6},
    {0xFFCA, 0x3155, 6},  {0xFFD2, 0x315B, 6}, {0xFFDA, 0x3161, 3},  {0xFFE8, 0x2502, 1},
    {0xFFE9, 0x2190, 4},  {0xFFED, 0x25A0, 1}, {0xFFEE, 0x25CB, 1},
};

// The full-width forms of U+FF61 to U+FF9F, which stand in another order.
constexpr std::u16string_view kFullKana =
    u"。「」、・ヲァィゥェォャュョッーアイウエオカキクケコサシスセソタチツテトナニヌネノ"
    u"ハヒフヘホマミムメモヤユヨラリルレロワン゛゜";
constexpr char16_t kFirstFull = 0x2190;  // no character below it is a full-width form
constexpr char16_t kFirstHalfKana = 0xFF61;
constexpr char16_t kHalfVoiced = 0xFF9E;      // the mark that makes ga of ka
constexpr char16_t kHalfSemiVoiced = 0xFF9F;  // and pa of ha
static_assert(kFullKana.size() == 0xFF9F - 0xFF61 + 1);

// A full-width kana and what one of the two marks makes of it; only those with a form of their own.
struct VoicedKana {
  std::u16string_view plain;
  std::u16string_view with_mark;
};
constexpr VoicedKana kVoiced = {u"カキクケコサシスセソタチツテトハヒフヘホウワヲ",
                                u"ガギグゲゴザジズゼゾダヂヅデドバビブベボヴヷヺ"};
constexpr VoicedKana kSemiVoiced = {u"ハヒフヘホ", u"パピプペポ"};
static_assert(kVoiced.plain.size() == kVoiced.with_mark.size());

char16_t Find(std::u16string_view from, std::u16string_view to, char16_t unit) {
  const std::size_t at = from.find(unit);
  return at == from.npos ? u'\0' : to[at];
}

char16_t FullOf(char16_t unit) {
  if (unit >= kFirstHalfKana && unit <= kHalfSemiVoiced) return kFullKana[unit - kFirstHalfKana];
  for (const WidthRange& range : kWidths) {
    const auto offset = static_cast<char16_t>(unit - range.half);
    if (offset < range.count) return static_cast<char16_t>(range.full + offset);
  }
  return unit;
}

char16_t HalfOf(char16_t unit) {
  if (unit < kFirstFull) return unit;
  if (const std::size_t kana = kFullKana.find(unit); kana != kFullKana.npos) {
    return static_cast<char16_t>(kFirstHalfKana + kana);
  }
  for (const WidthRange& range : kWidths) {
    const auto offset = static_cast<char16_t>(unit - range.full);
    if (offset < range.count) return static_cast<char16_t>(range.half + offset);
  }
  return unit;
}

// The voiced kana that a full-width kana makes with the half-width mark after it; 0: none.
char16_t Voice(char16_t full, char16_t mark) {
  if (mark == kHalfVoiced) return Find(kVoiced.plain, kVoiced.with_mark, full);
  if (mark == kHalfSemiVoiced) return Find(kSemiVoiced.plain, kSemiVoiced.with_mark, full);
  return u'\0';
}

bool AppendHalf(Kt_WString& out, char16_t full) {
  char16_t mark = kHalfVoiced;
  char16_t plain = Find(kVoiced.with_mark, kVoiced.plain, full);
  if (plain == u'\0') {
    mark = kHalfSemiVoiced;
    plain = Find(kSemiVoiced.with_mark, kSemiVoiced.plain, full);
  }
  const char16_t units[] = {HalfOf(plain != u'\0' ? plain : full), mark};
  return out.Append({units, plain != u'\0' ? std::size_t{2} : std::size_t{1}});
}

bool IsWide(char32_t code_point) {
  switch (u_getIntPropertyValue(static_cast<UChar32>(code_point), UCHAR_EAST_ASIAN_WIDTH)) {
    case U_EA_WIDE:
    case U_EA_FULLWIDTH: return true;
    default: return false;
  }
}

bool HasNoWidth(char32_t code_point) {
  const int category = u_charType(static_cast<UChar32>(code_point));
  if (code_point == 0xAD) return false;  // the soft hyphen is drawn as a hyphen
  // The vowels and finals of Hangul letters join the syllable that the consonant began.
  if (code_point >= 0x1160 && code_point <= 0x11FF) return true;
  return category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK ||
         category == U_FORMAT_CHAR || category == U_CONTROL_CHAR;
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

}  // namespace

Kt_WString kt_characterW(char32_t code_point) {
  if (code_point > 0x10FFFF || kt::IsSurrogate(code_point)) return {};
  char16_t units[2];
  char16_t* end = units;
  kt::WriteUtf16(code_point, end);
  return Kt_WString(units, static_cast<kt_long>(end - units));
}

bool kt_toupperW(const Kt_WString& text, Kt_WString& out) { return MapCase<UpperCase>(text, out); }
bool kt_tolowerW(const Kt_WString& text, Kt_WString& out) { return MapCase<LowerCase>(text, out); }

bool kt_isalphaW(char32_t code_point) { return u_isalpha(static_cast<UChar32>(code_point)); }
bool kt_isdigitW(char32_t code_point) { return u_isdigit(static_cast<UChar32>(code_point)); }
bool kt_isalnumW(char32_t code_point) { return u_isalnum(static_cast<UChar32>(code_point)); }
bool kt_islowerW(char32_t code_point) { return u_isULowercase(static_cast<UChar32>(code_point)); }
bool kt_isupperW(char32_t code_point) { return u_isUUppercase(static_cast<UChar32>(code_point)); }
bool kt_isspaceW(char32_t code_point) { return u_isUWhiteSpace(static_cast<UChar32>(code_point)); }

bool kt_isbidicontrolW(char32_t code_point) {
  return u_hasBinaryProperty(static_cast<UChar32>(code_point), UCHAR_BIDI_CONTROL) != 0;
}

bool kt_ishiddenW(char32_t code_point) {
  if (code_point >= 0x20 && code_point < 0x7F) return false;
  const auto character = static_cast<UChar32>(code_point);
  const bool joins = code_point == 0x200C || code_point == 0x200D;
  if (joins || u_hasBinaryProperty(character, UCHAR_VARIATION_SELECTOR) != 0) return false;
  constexpr std::uint32_t kHidden = U_GC_CC_MASK | U_GC_CS_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK;
  constexpr char32_t kFirstAnchor = 0xFFF9;  // of annotations between lines
  constexpr char32_t kLastAnchor = 0xFFFB;
  return u_hasBinaryProperty(character, UCHAR_DEFAULT_IGNORABLE_CODE_POINT) != 0 ||
         (U_GET_GC_MASK(character) & kHidden) != 0 ||
         (code_point >= kFirstAnchor && code_point <= kLastAnchor);
}

int kt_digitvalueW(char32_t code_point) {
  return u_charDigitValue(static_cast<UChar32>(code_point));
}

bool kt_half2fullW(const Kt_WString& text, Kt_WString& out) {
  const std::u16string_view from = text.View();
  Kt_WString made;
  char16_t* const units = made.GetBuffer(text.GetLength());
  if (units == nullptr) return false;
  kt_long length = 0;
  for (std::size_t at = 0; at < from.size(); ++at) {
    if (!kt::detail::GoesOnAt(static_cast<std::size_t>(length), 16)) return false;
    const char16_t full = FullOf(from[at]);
    const char16_t next = at + 1 < from.size() ? from[at + 1] : u'\0';
    const char16_t voiced = full != from[at] ? Voice(full, next) : u'\0';
    if (voiced != u'\0') ++at;
    units[length++] = voiced != u'\0' ? voiced : full;
  }
  out = made.Mid(0, length);
  return true;
}

bool kt_full2halfW(const Kt_WString& text, Kt_WString& out) {
  Kt_WString made;
  bool fits = true;
  const std::u16string_view from = text.View();
  kt::detail::RoundCharge charge;
  for (std::size_t at = 0; fits && at < from.size();) {
    // Most of any text stays, and goes over in runs.
    const auto changes = [](char16_t unit) { return unit >= kFirstFull; };
    const std::u16string_view piece = from.substr(at, kt::detail::kPieceUnits);
    const auto run_end = std::find_if(piece.begin(), piece.end(), changes);
    const auto length = static_cast<std::size_t>(run_end - piece.begin());
    fits =
        charge.Add(static_cast<std::int64_t>(length) + 32) && made.Append(piece.substr(0, length));
    at += length;
    if (fits && length < piece.size()) fits = AppendHalf(made, from[at++]);
  }
  if (!fits) made.Empty();
  out = std::move(made);
  return fits;
}

kt_long kt_displaywidthW(std::u16string_view text) {
  kt_long width = 0;
  for (std::size_t at = 0; at < text.size();) {
    const Kt_CodePoint next = kt_codepointW(text, at);
    at += static_cast<std::size_t>(next.units);
    if (next.value >= 0x20 && next.value < 0x7F) {
      ++width;
    } else if (!HasNoWidth(next.value)) {
      width += IsWide(next.value) ? 2 : 1;
    }
  }
  return width;
}

std::int64_t kt_lineofW(std::string_view bytes, std::size_t offset) {
  return CountLines(bytes, std::min(offset, bytes.size()));
}

std::int64_t kt_lineofW(std::u16string_view text, std::size_t offset) {
  return CountLines(text, std::min(offset, text.size()));
}
