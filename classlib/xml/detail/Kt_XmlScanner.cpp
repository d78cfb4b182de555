// SPDX-License-Identifier: MIT
#include "classlib/xml/detail/Kt_XmlScanner.h"

#include <algorithm>
#include <iterator>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_Utf16.h"

namespace kt::detail {

namespace {

bool IsBlank(char16_t unit) {
  return unit == u' ' || unit == u'\t' || unit == u'\n' || unit == u'\r';
}

bool EndsName(char16_t unit) {
  return IsBlank(unit) || unit == u'/' || unit == u'>' || unit == u'=' || unit == u'<';
}

// LF, CR LF and CR end lines.
bool EndsLine(std::u16string_view text, std::size_t at) {
  return text[at] == u'\n' ||
         (text[at] == u'\r' && (at + 1 == text.size() || text[at + 1] != u'\n'));
}

int DigitOf(char16_t unit, int base) {
  int digit = 99;
  if (unit >= u'0' && unit <= u'9') digit = unit - u'0';
  if (unit >= u'a' && unit <= u'f') digit = unit - u'a' + 10;
  if (unit >= u'A' && unit <= u'F') digit = unit - u'A' + 10;
  return digit < base ? digit : -1;
}

bool AppendCodePoint(std::u16string_view digits, int base, CountedText& out) {
  constexpr char32_t kMaxCodePoint = 0x10FFFF;
  char32_t code = 0;
  if (digits.empty()) return false;
  for (const char16_t unit : digits) {
    const int digit = DigitOf(unit, base);
    if (digit < 0) return false;
    code = code * static_cast<char32_t>(base) + static_cast<char32_t>(digit);
    if (code > kMaxCodePoint) return false;
  }
  auto end = std::back_inserter(out);
  WriteUtf16(code, end);
  return true;
}

void AppendReference(char16_t unit, CountedText& out) {
  constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  out += u"&#x";
  for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[unit >> shift & 15];
  out += u';';
}

}  // namespace

void AppendXmlText(std::u16string_view text, CountedText& out) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char16_t unit = text[at];
    if (!GoesOnAt(at, 4)) return;
    if (IsPairAt(text, at)) {
      out += unit;
      out += text[++at];
      continue;
    }
    switch (unit) {
      case u'<': out += u"&lt;"; break;
      case u'>': out += u"&gt;"; break;
      case u'&': out += u"&amp;"; break;
      case u'"': out += u"&quot;"; break;
      default:
        if (unit < 0x20 || IsSurrogate(unit) || unit >= 0xFFFE) {
          AppendReference(unit, out);
        } else {
          out += unit;
        }
    }
  }
}

const CountedText* XmlScanner::Attribute(std::u16string_view name) const {
  for (const auto& [attribute, value] : attributes_) {
    if (attribute == name) return &value;
  }
  return nullptr;
}

std::int64_t XmlScanner::Line() const {
  std::int64_t line = 1;
  for (std::size_t at = 0; at < at_ && GoesOnAt(at); ++at) line += EndsLine(text_, at) ? 1 : 0;
  return line;
}

std::int64_t XmlScanner::Column() const {
  std::size_t start = at_;
  while (start > 0 && !EndsLine(text_, start - 1) && GoesOnAt(start)) --start;
  return static_cast<std::int64_t>(at_ - start) + 1;
}

XmlScanner::Piece XmlScanner::Fail(const char16_t* error) {
  error_ = error;
  return Piece::kError;
}

void XmlScanner::SkipBlanks() {
  while (at_ < text_.size() && IsBlank(text_[at_]) && GoesOnAt(at_)) ++at_;
}

XmlScanner::Piece XmlScanner::FailAt(std::size_t at, const char16_t* error) {
  at_ = at;
  return Fail(error);
}

bool XmlScanner::SkipPast(std::size_t start, std::u16string_view mark) {
  const std::size_t found = text_.find(mark, start);
  if (found == std::u16string_view::npos) return false;
  at_ = found + mark.size();
  return true;
}

// To the '>' that is neither inside the definitions nor in quotes.
bool XmlScanner::SkipDocumentType() {
  bool in_definitions = false;
  while (at_ < text_.size()) {
    const char16_t unit = text_[at_];
    const std::u16string_view rest = text_.substr(at_);
    if (rest.starts_with(u"<!--")) {
      if (!SkipPast(at_ + 4, u"-->")) return false;
    } else if (rest.starts_with(u"<?")) {
      if (!SkipPast(at_ + 2, u"?>")) return false;
    } else if (unit == u'"' || unit == u'\'') {
      if (!SkipPast(at_ + 1, rest.substr(0, 1))) return false;
    } else {
      ++at_;
      if (unit == u'[') in_definitions = true;
      if (unit == u']') in_definitions = false;
      if (unit == u'>' && !in_definitions) return true;
    }
  }
  return false;
}

XmlScanner::Aside XmlScanner::SkipAside() {
  const std::size_t start = at_;
  const std::u16string_view rest = text_.substr(at_);
  bool closed = true;
  if (rest.starts_with(u"<!--")) {
    error_ = u"comment without end";
    closed = SkipPast(at_ + 4, u"-->");
  } else if (rest.starts_with(u"<?")) {
    error_ = u"instruction without end";
    closed = SkipPast(at_ + 2, u"?>");
  } else if (rest.starts_with(u"<!DOCTYPE") && open_.empty() && !root_seen_) {
    error_ = u"document type without end";
    closed = SkipDocumentType();
  } else {
    return Aside::kNone;
  }
  if (!closed) at_ = start;
  return closed ? Aside::kSkipped : Aside::kUnclosed;
}

bool XmlScanner::IsAtEnd() {
  for (;;) {
    SkipBlanks();
    if (at_ == text_.size()) return true;
    if (SkipAside() != Aside::kSkipped) break;
  }
  error_ = u"something stands behind the root element";
  return false;
}

std::u16string_view XmlScanner::ReadName() {
  const std::size_t start = at_;
  while (at_ < text_.size() && !EndsName(text_[at_])) ++at_;
  return text_.substr(start, at_ - start);
}

XmlScanner::Piece XmlScanner::Next() {
  constexpr std::int64_t kUnitsPerPiece = 64;
  const auto way = static_cast<std::int64_t>(at_ - charged_to_);
  charged_to_ = at_;
  if (!charge_.Add(way + kUnitsPerPiece)) return Fail(u"stopped");
  if (close_now_) {
    close_now_ = false;
    name_ = open_.back();
    open_.pop_back();
    return Piece::kEnd;
  }
  for (;;) {
    if (open_.empty()) {
      if (root_seen_) return Piece::kDone;
      SkipBlanks();
      if (at_ == text_.size()) return Fail(u"no root element");
      if (text_[at_] != u'<') return Fail(u"text before the root element");
    }
    if (at_ == text_.size()) return Fail(u"the text ends inside an element");
    if (text_[at_] != u'<') return CharacterData();
    const Aside aside = SkipAside();
    if (aside == Aside::kUnclosed) return Piece::kError;
    if (aside == Aside::kNone) return Markup();
  }
}

XmlScanner::Piece XmlScanner::Markup() {
  constexpr std::u16string_view kCdata = u"<![CDATA[";
  if (text_.substr(at_).starts_with(kCdata)) {
    const std::size_t start = at_ + kCdata.size();
    if (open_.empty()) return Fail(u"text before the root element");
    if (!SkipPast(start, u"]]>")) return Fail(u"CDATA without end");
    content_ = text_.substr(start, at_ - 3 - start);
    return Piece::kText;
  }
  ++at_;
  return at_ < text_.size() && text_[at_] == u'/' ? EndTag() : StartTag();
}

XmlScanner::Piece XmlScanner::StartTag() {
  const std::size_t start = at_;
  name_ = ReadName();
  attributes_.clear();
  if (name_.empty()) return Fail(u"element without a name");
  if (name_.front() == u'!') return FailAt(start, u"unknown markup");
  if (open_.size() == kMaxDepth) return FailAt(start, u"elements nested too deeply");
  for (;;) {
    SkipBlanks();
    if (at_ == text_.size()) return Fail(u"the text ends inside a tag");
    if (text_[at_] == u'>') break;
    if (text_[at_] == u'/') {
      if (at_ + 1 == text_.size() || text_[at_ + 1] != u'>') return Fail(u"stray '/' in a tag");
      ++at_;
      close_now_ = true;
      break;
    }
    if (!ReadAttribute()) return Piece::kError;
  }
  ++at_;
  root_seen_ = true;
  open_.push_back(name_);
  return Piece::kStart;
}

bool XmlScanner::ReadAttribute() {
  error_ = attributes_.size() == kMaxAttributes ? u"too many attributes" : u"bad attribute";
  const std::u16string_view name = ReadName();
  if (name.empty() || attributes_.size() == kMaxAttributes) return false;
  SkipBlanks();
  if (at_ == text_.size() || text_[at_] != u'=') return false;
  ++at_;
  SkipBlanks();
  if (at_ == text_.size() || (text_[at_] != u'"' && text_[at_] != u'\'')) return false;
  const char16_t quote = text_[at_++];
  const std::size_t end = text_.find(quote, at_);
  if (end == std::u16string_view::npos) return false;
  CountedText value;
  if (!Expand(text_.substr(at_, end - at_), true, value)) return false;
  at_ = end + 1;
  attributes_.emplace_back(name, std::move(value));
  return true;
}

XmlScanner::Piece XmlScanner::EndTag() {
  const std::size_t start = ++at_;
  name_ = ReadName();
  SkipBlanks();
  if (at_ == text_.size() || text_[at_] != u'>') return Fail(u"bad end tag");
  ++at_;
  if (open_.empty() || open_.back() != name_) return FailAt(start, u"end tag of another element");
  open_.pop_back();
  return Piece::kEnd;
}

XmlScanner::Piece XmlScanner::CharacterData() {
  const std::size_t end = std::min(text_.find(u'<', at_), text_.size());
  content_.clear();
  if (!Expand(text_.substr(at_, end - at_), false, content_)) return Piece::kError;
  at_ = end;
  return Piece::kText;
}

bool XmlScanner::Expand(std::u16string_view raw, bool attribute, CountedText& out) {
  for (std::size_t at = 0; at < raw.size(); ++at) {
    const char16_t unit = raw[at];
    if (!GoesOnAt(at, 4)) return false;
    if (unit == u'&') {
      constexpr std::size_t kLongestReference = 12;
      const std::size_t end = raw.substr(at, kLongestReference).find(u';');
      if (end == std::u16string_view::npos || !ExpandReference(raw.substr(at + 1, end - 1), out)) {
        error_ = u"unknown entity";
        at_ = static_cast<std::size_t>(raw.data() - text_.data()) + at;
        return false;
      }
      at += end;
    } else if (unit == u'\r') {
      if (at + 1 == raw.size() || raw[at + 1] != u'\n') out += attribute ? u' ' : u'\n';
    } else {
      out += attribute && IsBlank(unit) ? u' ' : unit;
    }
  }
  return true;
}

bool XmlScanner::ExpandReference(std::u16string_view name, CountedText& out) {
  if (name.starts_with(u"#x")) return AppendCodePoint(name.substr(2), 16, out);
  if (name.starts_with(u"#")) return AppendCodePoint(name.substr(1), 10, out);
  struct Entity {
    std::u16string_view name;
    char16_t unit;
  };
  constexpr Entity kEntities[] = {
      {u"lt", u'<'}, {u"gt", u'>'}, {u"amp", u'&'}, {u"quot", u'"'}, {u"apos", u'\''}};
  for (const Entity& entity : kEntities) {
    if (entity.name != name) continue;
    out += entity.unit;
    return true;
  }
  return false;
}

bool XmlScanner::SkipElement() {
  CountedText text;
  return ElementText(text);
}

bool XmlScanner::ElementText(CountedText& text) {
  text.clear();
  for (std::size_t depth = 1; depth > 0;) {
    switch (Next()) {
      case Piece::kStart: ++depth; break;
      case Piece::kEnd: --depth; break;
      case Piece::kText:
        if (depth == 1) text += content_;
        break;
      default: return false;
    }
  }
  return true;
}

}  // namespace kt::detail
