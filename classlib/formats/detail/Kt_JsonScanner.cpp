// SPDX-License-Identifier: MIT
#include "classlib/formats/detail/Kt_JsonScanner.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_Utf16.h"

namespace kt::detail {
namespace {

bool IsDigit(char unit) { return unit >= '0' && unit <= '9'; }

bool IsHexDigit(char unit) {
  return IsDigit(unit) || (unit >= 'a' && unit <= 'f') || (unit >= 'A' && unit <= 'F');
}

// The length of the UTF-8 character at the start of `text`, 0 when there is none.
std::size_t Utf8Length(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(0);
  const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (length == 1) return 1;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  for (std::size_t at = 1; at < length; ++at) {
    if ((byte(at) & 0xC0) != 0x80) return 0;
  }
  // Longer than need be, surrogates, and beyond the last code point.
  const unsigned char second = byte(1);
  const bool bad = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                   (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
  return bad ? 0 : length;
}

char16_t UnitOfEscape(char letter) {
  switch (letter) {
    case 'b': return u'\b';
    case 'f': return u'\f';
    case 'n': return u'\n';
    case 'r': return u'\r';
    case 't': return u'\t';
    default: return static_cast<char16_t>(letter);
  }
}

// REQUIRES: the bytes are a whole character.
char32_t CodePointOf(std::string_view bytes) {
  constexpr unsigned kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t value = static_cast<unsigned char>(bytes[0]) & kLeadBits[bytes.size()];
  for (const char byte : bytes.substr(1)) {
    value = value << 6 | (static_cast<unsigned char>(byte) & 0x3F);
  }
  return value;
}

void AppendUtf8(char32_t code_point, CountedBytes& out) {
  if (code_point < 0x80) {
    out += static_cast<char>(code_point);
    return;
  }
  const int tails = code_point < 0x800 ? 1 : code_point < 0x10000 ? 2 : 3;
  constexpr unsigned kLeads[] = {0, 0xC0, 0xE0, 0xF0};
  out += static_cast<char>(kLeads[tails] | code_point >> (6 * tails));
  for (int tail = tails - 1; tail >= 0; --tail) {
    out += static_cast<char>(0x80 | (code_point >> (6 * tail) & 0x3F));
  }
}

}  // namespace

JsonScanner::Piece JsonScanner::Fail(std::size_t at, std::u16string error) {
  offset_ = at;
  error_ = std::move(error);
  return Piece::kError;
}

std::size_t JsonScanner::AfterBlanks(std::size_t at) const {
  if (at < text_.size() && text_[at] > ' ') return at;  // most often there is none
  while (at < text_.size() &&
         (text_[at] == ' ' || text_[at] == '\n' || text_[at] == '\r' || text_[at] == '\t')) {
    ++at;
  }
  return at;
}

// Bytes that are those of a name, with a quote after them, are that name: what the first one was
// checked for holds for them.
bool JsonScanner::TakeName(std::string_view name) {
  if (state_ == State::kValue || !error_.empty()) return false;
  std::size_t at = AfterBlanks(at_);
  if (state_ == State::kAfter) {
    if (at >= text_.size() || text_[at] != ',') return false;
    at = AfterBlanks(at + 1);
  }
  const std::size_t end = at + 1 + name.size();
  if (end >= text_.size() || text_[at] != '"' || text_[end] != '"') return false;
  // Names are short: a call would cost more than this.
  for (std::size_t unit = 0; unit < name.size(); ++unit) {
    if (text_[at + 1 + unit] != name[unit]) return false;
  }
  const std::size_t colon = AfterBlanks(end + 1);
  if (colon >= text_.size() || text_[colon] != ':') return false;
  offset_ = at;
  piece_ = text_.substr(at + 1, name.size());
  at_ = colon + 1;
  state_ = State::kValue;
  return true;
}

JsonScanner::Piece JsonScanner::Next() {
  if (!error_.empty()) return Piece::kError;
  SkipBlanks();
  if (open_.empty()) {
    offset_ = at_;
    return IsAtEnd() ? Piece::kEnd : Value();
  }
  if (state_ == State::kAfter) return AfterValue();
  if (state_ == State::kValue) return Value();
  if (Peek() == (InObject() ? '}' : ']') && !IsAtEnd()) return Close(InObject());
  return InObject() ? Name() : Value();
}

JsonScanner::Piece JsonScanner::AfterValue() {
  const bool object = InObject();
  const char16_t* const wanted = object ? u"expected ',' or '}'" : u"expected ',' or ']'";
  if (IsAtEnd()) return Fail(at_, std::u16string(u"the text ends; ") + wanted);
  if (Peek() == (object ? '}' : ']')) return Close(object);
  if (Peek() != ',') return Fail(at_, wanted);
  ++at_;
  SkipBlanks();
  return object ? Name() : Value();
}

JsonScanner::Piece JsonScanner::Name() {
  if (Peek() != '"') return Fail(at_, u"expected the name of a member in double quotes");
  if (!String()) return Piece::kError;
  SkipBlanks();
  if (Peek() != ':') return Fail(at_, u"expected ':' behind the name of a member");
  ++at_;
  state_ = State::kValue;
  return Piece::kName;
}

JsonScanner::Piece JsonScanner::Value() {
  state_ = State::kAfter;
  switch (Peek()) {
    case '{': return Open(true);
    case '[': return Open(false);
    case '"': return String() ? Piece::kString : Piece::kError;
    case 't': return Word("true", Piece::kTrue);
    case 'f': return Word("false", Piece::kFalse);
    case 'n': return Word("null", Piece::kNull);
    default:
      if (Peek() == '-' || IsDigit(Peek())) return Number();
      return Fail(at_, IsAtEnd() ? u"the text ends; expected a value" : u"expected a value");
  }
}

JsonScanner::Piece JsonScanner::Open(bool object) {
  offset_ = at_++;
  piece_ = text_.substr(offset_, 1);
  open_.push_back(object);
  state_ = State::kFirst;
  return object ? Piece::kObject : Piece::kArray;
}

JsonScanner::Piece JsonScanner::Close(bool object) {
  offset_ = at_++;
  piece_ = text_.substr(offset_, 1);
  open_.pop_back();
  state_ = State::kAfter;
  return object ? Piece::kObjectEnd : Piece::kArrayEnd;
}

bool JsonScanner::SkipValue() {
  const std::size_t start = offset_;
  const std::size_t depth = open_.size();
  while (open_.size() >= depth) {
    if (Next() == Piece::kError) return false;
  }
  offset_ = start;
  piece_ = text_.substr(start, at_ - start);
  return true;
}

JsonScanner::Piece JsonScanner::Word(std::string_view word, Piece piece) {
  if (text_.substr(at_, word.size()) != word) return Fail(at_, u"expected a value");
  offset_ = at_;
  piece_ = word;
  at_ += word.size();
  return piece;
}

bool JsonScanner::Digits() {
  const std::size_t start = at_;
  while (IsDigit(Peek())) ++at_;
  return at_ > start;
}

JsonScanner::Piece JsonScanner::Number() {
  offset_ = at_;
  if (Peek() == '-') ++at_;
  const bool zero = Peek() == '0';
  const std::size_t whole = at_;
  if (!Digits()) return Fail(at_, u"expected a digit");
  if (zero && at_ - whole > 1) return Fail(whole, u"a number with a leading zero");
  if (Peek() == '.') {
    ++at_;
    if (!Digits()) return Fail(at_, u"expected a digit");
  }
  if (Peek() == 'e' || Peek() == 'E') {
    ++at_;
    if (Peek() == '-' || Peek() == '+') ++at_;
    if (!Digits()) return Fail(at_, u"expected a digit");
  }
  piece_ = text_.substr(offset_, at_ - offset_);
  return Piece::kNumber;
}

bool JsonScanner::String() {
  const std::size_t start = at_++;
  for (;;) {
    while (!IsAtEnd() && text_[at_] >= ' ' && text_[at_] != '"' && text_[at_] != '\\') ++at_;
    if (IsAtEnd()) {
      Fail(start, u"a text that is never closed");
      return false;
    }
    const char unit = text_[at_];
    if (unit == '"') break;
    if (unit == '\\') {
      if (!Escape()) return false;
    } else if (const std::size_t length = Utf8Length(text_.substr(at_));
               length == 0 || static_cast<unsigned char>(unit) < ' ') {
      Fail(at_, length == 0 ? u"no valid UTF-8" : u"a control character inside a text");
      return false;
    } else {
      at_ += length;
    }
  }
  offset_ = start;
  piece_ = text_.substr(start + 1, at_ - start - 1);
  ++at_;
  return true;
}

bool JsonScanner::Escape() {
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  const std::string_view rest = text_.substr(at_ + 1);
  if (!rest.empty() && kLetters.find(rest[0]) != kLetters.npos) {
    at_ += 2;
    return true;
  }
  bool hex = rest.size() >= 5 && rest[0] == 'u';
  for (std::size_t digit = 1; hex && digit < 5; ++digit) hex = IsHexDigit(rest[digit]);
  if (!hex) Fail(at_, u"an unknown escape");
  at_ += 6;
  return hex;
}

void DecodeJson(std::string_view raw, CountedText& text) {
  RoundCharge charge;
  text.clear();
  auto end = std::back_inserter(text);
  for (std::size_t at = 0; at < raw.size();) {
    charge.AddOrLeave(4);
    if (raw[at] == '\\' && raw[at + 1] == 'u') {
      std::uint16_t unit = 0;
      std::from_chars(raw.data() + at + 2, raw.data() + at + 6, unit, 16);
      text += static_cast<char16_t>(unit);
      at += 6;
    } else if (raw[at] == '\\') {
      text += UnitOfEscape(raw[at + 1]);
      at += 2;
    } else {
      const std::size_t length = Utf8Length(raw.substr(at));
      WriteUtf16(CodePointOf(raw.substr(at, length)), end);
      at += length;
    }
  }
}

namespace {

// Appends the ASCII at the start that stands for itself, as far as a piece goes; its length.
std::size_t AppendPlainStart(std::u16string_view text, CountedBytes& out) {
  text = text.substr(0, kPieceUnits);
  const auto is_plain = [](char16_t unit) {
    return unit >= 0x20 && unit < 0x80 && unit != u'"' && unit != u'\\';
  };
  const auto end = std::find_if_not(text.begin(), text.end(), is_plain);
  const auto length = static_cast<std::size_t>(end - text.begin());
  const std::size_t start = out.size();
  out.resize(start + length);
  std::transform(text.begin(), end, out.begin() + static_cast<std::ptrdiff_t>(start),
                 [](char16_t unit) { return static_cast<char>(unit); });
  return length;
}

}  // namespace

void AppendJsonString(std::u16string_view text, CountedBytes& out) {
  RoundCharge charge;
  out += '"';
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t plain = AppendPlainStart(text.substr(at), out);
    at += plain;
    charge.AddOrLeave(static_cast<std::int64_t>(plain) + 4);
    if (at == text.size()) break;
    const char32_t unit = NextCharacter(text, at);
    if (unit == U'"' || unit == U'\\') {
      out += '\\';
      out += static_cast<char>(unit);
    } else if (unit == U'\n') {
      out += "\\n";
    } else if (unit < 0x20 || IsSurrogate(unit)) {
      constexpr char kDigits[] = "0123456789abcdef";
      out += "\\u";
      for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[unit >> shift & 15];
    } else {
      AppendUtf8(unit, out);
    }
  }
  out += '"';
}

}  // namespace kt::detail
