// SPDX-License-Identifier: MIT
#include "cli/Kt_Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "classlib/base/Kt_WorkMeter.h"
#include "classlib/text/Kt_AString.h"
#include "classlib/text/Kt_Utf16.h"
#include "classlib/value/Kt_Object.h"
#include "cli/Kt_Visible.h"

namespace kt::cli {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// Marks that stand on the character before them, and invisible joiners and selectors.
constexpr Range kNoWidth[] = {
    {0x0300, 0x036F},   {0x0483, 0x0489},   {0x0591, 0x05BD},   {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x06D6, 0x06DC},   {0x0900, 0x0902},   {0x093C, 0x093C},   {0x0941, 0x0948}, {0x094D, 0x094D},
    {0x0E31, 0x0E31},   {0x0E34, 0x0E3A},   {0x0E47, 0x0E4E},   {0x1160, 0x11FF}, {0x1AB0, 0x1AFF},
    {0x1DC0, 0x1DFF},   {0x200B, 0x200F},   {0x202A, 0x202E},   {0x2060, 0x2064}, {0x20D0, 0x20FF},
    {0x302A, 0x302D},   {0x3099, 0x309A},   {0xFE00, 0xFE0F},   {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF},
    {0x1F3FB, 0x1F3FF}, {0xE0001, 0xE007F}, {0xE0100, 0xE01EF},
};

// East Asian wide and full-width characters, and the pictures that terminals draw as such.
constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},
    {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},   {0x26AA, 0x26AB},
    {0x26BD, 0x26BE},   {0x2705, 0x2705},   {0x270A, 0x270B},   {0x2728, 0x2728},
    {0x274C, 0x274C},   {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},
    {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2E80, 0x303E},   {0x3041, 0x33FF},
    {0x3400, 0x4DBF},   {0x4E00, 0xA4CF},   {0xA960, 0xA97F},   {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},   {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6},   {0x16FE0, 0x18AFF}, {0x1B000, 0x1B2FF}, {0x1F004, 0x1F004},
    {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F18E}, {0x1F191, 0x1F19A}, {0x1F200, 0x1F320},
    {0x1F32D, 0x1F335}, {0x1F337, 0x1F37C}, {0x1F37E, 0x1F393}, {0x1F3A0, 0x1F3CA},
    {0x1F3CF, 0x1F3D3}, {0x1F3E0, 0x1F3F0}, {0x1F3F4, 0x1F3F4}, {0x1F3F8, 0x1F43E},
    {0x1F440, 0x1F440}, {0x1F442, 0x1F4FC}, {0x1F4FF, 0x1F53D}, {0x1F54B, 0x1F567},
    {0x1F5A4, 0x1F5A4}, {0x1F5FB, 0x1F64F}, {0x1F680, 0x1F6C5}, {0x1F6CC, 0x1F6CC},
    {0x1F6D0, 0x1F6D7}, {0x1F6EB, 0x1F6EC}, {0x1F6F4, 0x1F6FC}, {0x1F7E0, 0x1F7EB},
    {0x1F90C, 0x1F9FF}, {0x1FA70, 0x1FAFF}, {0x20000, 0x3FFFD},
};

template <std::size_t N>
bool IsIn(const Range (&ranges)[N], char32_t character) {
  const Range* const found =
      std::lower_bound(std::begin(ranges), std::end(ranges), character,
                       [](const Range& range, char32_t c) { return range.last < c; });
  return found != std::end(ranges) && found->first <= character;
}

bool IsBreak(char16_t unit) { return unit == u'\r' || unit == u'\n'; }

// Units shown before and after the place, at the most.
constexpr std::size_t kUnitsBefore = 100;
constexpr std::size_t kUnitsBehind = 60;
constexpr int kTabWidth = 8;

// `text` on the screen from column `column` on; `column` moves to its end.
std::string OnScreen(std::u16string_view text, int& column) {
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t start = at;
    const char32_t character = NextCharacter(text, at);
    if (character == U'\t') {
      const int blanks = kTabWidth - column % kTabWidth;
      out.append(static_cast<std::size_t>(blanks), ' ');
      column += blanks;
    } else {
      const Kt_WString shown = WithVisibleControls(Kt_WString(text.substr(start, at - start)));
      out += shown.ToUtf8();
      column += DisplayWidth(shown);
    }
  }
  return out;
}

// Lists may nest as deep as a script likes; nobody reads further than this.
constexpr int kMaxListDepth = 50;

bool AppendBytes(std::span<const std::uint8_t> bytes, CountedBytes& out) {
  constexpr std::size_t kPiece = 1024;
  constexpr std::int64_t kUnitsPerByte = 32;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (at % kPiece == 0 && !kt::Charge(kPiece * kUnitsPerByte)) return false;
    fmt::format_to(std::back_inserter(out), "{:02x}", bytes[at]);
  }
  return true;
}

// Every function is false when the text would be too long, or the work was stopped.
class ValuePrinter {
 public:
  explicit ValuePrinter(CountedBytes& out) : out_(out) {}

  bool Print(const Kt_Variant& value, bool in_list, int depth) {
    if (out_.size() > kMaxPrintedBytes) return false;
    if (depth > 1 && ++inner_items_ > kMaxPrintedItems) return false;
    if (!kt::Charge(2 * Kt_WorkMeter::kUnitsPerItem)) return false;
    switch (value.GetTag()) {
      case kTagEmpty:
        if (in_list) out_ += "null";
        return true;
      case kTagString:
        if (in_list) out_ += '\'';
        out_ += ToUtf8Bytes(value.AsString());
        if (in_list) out_ += '\'';
        return true;
      case kTagList: return PrintList(value.GetList(), depth);
      case kTagBinary: return AppendBytes(value.AsBinary(), out_);
      case kTagObject: return PrintObject(value, in_list, depth);
      case kTagRef: return Print(value.Dereference(), in_list, depth);
      default: out_ += ToUtf8Bytes(value.ToString()); return true;
    }
  }

 private:
  bool PrintList(const Kt_VariantList& list, int depth) {
    if (depth == kMaxListDepth) {
      out_ += "[...]";
      return true;
    }
    out_ += '[';
    const char* separator = "";
    for (const Kt_Variant& item : list) {
      out_ += separator;
      if (!Print(item, true, depth + 1)) return false;
      separator = ", ";
    }
    out_ += ']';
    return true;
  }

  // An object that stands for a plain value, such as a cell of a dataset, is that value.
  bool PrintObject(const Kt_Variant& value, bool in_list, int depth) {
    const Kt_WString property = value.GetHolder().GetDefaultProp();
    Kt_Variant plain;
    if (depth < kMaxListDepth && !property.IsEmpty() &&
        value.GetHolder().GetProperty(property, nullptr, plain) == 0) {
      return Print(plain, in_list, depth + 1);
    }
    const Kt_WString text = value.ToString();
    out_ += text.IsEmpty() ? "<object " + ToUtf8Bytes(value.GetHolder().GetID()) + '>'
                           : ToUtf8Bytes(text);
    return true;
  }

  CountedBytes& out_;
  std::int64_t inner_items_ = 0;
};

}  // namespace

int DisplayWidth(char32_t character) {
  if (character < 0x300) return 1;
  if (IsIn(kNoWidth, character)) return 0;
  return IsIn(kWide, character) ? 2 : 1;
}

int DisplayWidth(std::u16string_view text) {
  int width = 0;
  for (std::size_t at = 0; at < text.size();) width += DisplayWidth(NextCharacter(text, at));
  return width;
}

Place PlaceAt(std::u16string_view text, std::size_t offset) {
  Place place;
  for (std::size_t at = 0; at < offset;) {
    const char32_t character = NextCharacter(text, at);
    const bool ends_line =
        character == U'\n' || (character == U'\r' && (at == text.size() || text[at] != u'\n'));
    if (ends_line) {
      ++place.line;
      place.column = 1;
    } else {
      ++place.column;
    }
  }
  return place;
}

std::size_t LineStart(std::u16string_view text, kt_long line) {
  std::size_t at = 0;
  for (kt_long current = 1; current < line && at < text.size(); ++current) {
    while (at < text.size() && !IsBreak(text[at])) ++at;
    if (text.substr(at, 2) == u"\r\n") ++at;
    if (at < text.size()) ++at;
  }
  return at;
}

std::string LineWithCaret(std::u16string_view text, std::size_t offset, std::size_t length) {
  std::size_t start = offset;
  while (start > 0 && !IsBreak(text[start - 1])) --start;
  std::size_t end = offset;
  while (end < text.size() && !IsBreak(text[end])) ++end;

  std::string line;
  int column = 0;
  if (offset - start > kUnitsBefore) {
    start = offset - kUnitsBefore;
    if (IsLowSurrogate(text[start])) ++start;
    line = "...";
    column = 3;
  }
  const char* tail = "\n";
  if (end - offset > kUnitsBehind) {
    end = offset + kUnitsBehind;
    if (IsLowSurrogate(text[end])) ++end;
    tail = "...\n";
  }
  const std::size_t marked_end = std::clamp(offset + length, offset, end);
  line += OnScreen(text.substr(start, offset - start), column);
  const int caret = column;
  line += OnScreen(text.substr(offset, marked_end - offset), column);
  const int wave = std::max(column - caret - 1, 0);
  line += OnScreen(text.substr(marked_end, end - marked_end), column);
  return line + tail + std::string(static_cast<std::size_t>(caret), ' ') + '^' +
         std::string(static_cast<std::size_t>(wave), '~') + '\n';
}

std::vector<std::string> SplitLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::string ValueText(const Kt_Variant& value) {
  CountedBytes out;
  AppendValueText(value, out);
  return std::string(out);
}

bool AppendValueText(const Kt_Variant& value, CountedBytes& out) {
  return ValuePrinter(out).Print(value, false, 0) && kt::Charge(0);
}

}  // namespace kt::cli
