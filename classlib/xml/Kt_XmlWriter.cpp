// SPDX-License-Identifier: MIT
#include "classlib/xml/Kt_XmlWriter.h"

#include <algorithm>
#include <exception>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_Utf16.h"
#include "classlib/xml/detail/Kt_XmlScanner.h"

namespace {

constexpr auto kMaxUnits = static_cast<std::size_t>(kMaxStringLength);

bool StartsName(char16_t unit) {
  return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || unit == u'_' ||
         unit == u':' || unit >= 128;
}

bool ContinuesName(char16_t unit) {
  return StartsName(unit) || (unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'.';
}

}  // namespace

bool kt_isxmlnameW(std::u16string_view name) {
  if (name.empty() || !StartsName(name.front())) return false;
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (name[at] >= u'a' && name[at] <= u'z') continue;  // nearly all of them
    if (!ContinuesName(name[at]) || name[at] >= 0xFFFE) return false;
    if (kt::IsPairAt(name, at)) {
      ++at;
    } else if (kt::IsSurrogate(name[at])) {
      return false;
    }
  }
  return true;
}

// Runs one piece of writing; what fails is remembered.
template <class Write>
bool Kt_XmlWriter::Do(Write write) {
  try {
    good_ = good_ && write() && Size() <= kMaxUnits;
    if (good_ && out_.size() >= kt::detail::kPieceUnits) good_ = PassOn();
  } catch (const std::exception&) {
    (void)kt::NoteMemoryFailure();
    good_ = false;
  }
  return good_;
}

bool Kt_XmlWriter::PassOn() {
  if (!text_.Append(out_)) return false;
  out_.clear();
  return true;
}

// In pieces, because references make a text up to eight times as long.
bool Kt_XmlWriter::AppendText(std::u16string_view text) {
  constexpr std::size_t kPiece = 1 << 16;
  while (!text.empty() && text.size() <= kMaxUnits - std::min(Size(), kMaxUnits)) {
    std::size_t units = std::min(kPiece, text.size());
    // Both halves of a pair stay together.
    if (units < text.size() && kt::IsHighSurrogate(text[units - 1])) --units;
    kt::detail::AppendXmlText(text.substr(0, units), out_);
    text.remove_prefix(units);
  }
  return text.empty();
}

bool Kt_XmlWriter::CloseTag() {
  if (in_tag_) out_ += u'>';
  in_tag_ = false;
  return true;
}

void Kt_XmlWriter::Indent(std::size_t depth) {
  if (!indent_) return;
  out_ += u'\n';
  out_.append(2 * depth, u' ');
}

bool Kt_XmlWriter::Start(std::u16string_view name) {
  return Do([&] {
    if (!kt_isxmlnameW(name)) return false;
    if (open_.empty()) {
      if (Size() > 0) return false;
      out_ = u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    } else {
      CloseTag();
      open_.back().has_children = true;
      if (!open_.back().has_text) Indent(open_.size());
    }
    // Elements inside text belong to it.
    const bool in_text = !open_.empty() && open_.back().has_text;
    open_.push_back({kt::CountedText(name), in_text, false});
    out_ += u'<';
    out_ += name;
    in_tag_ = true;
    return true;
  });
}

bool Kt_XmlWriter::Attribute(std::u16string_view name, std::u16string_view value) {
  return Do([&] {
    if (!in_tag_ || !kt_isxmlnameW(name)) return false;
    out_ += u' ';
    out_ += name;
    out_ += u"=\"";
    const bool fits = AppendText(value);
    out_ += u'"';
    return fits;
  });
}

bool Kt_XmlWriter::Text(std::u16string_view text) {
  return Do([&] {
    if (text.empty()) return true;
    if (open_.empty()) return false;
    CloseTag();
    open_.back().has_text = true;
    return AppendText(text);
  });
}

bool Kt_XmlWriter::Content() {
  return Do([&] { return !open_.empty() && CloseTag(); });
}

bool Kt_XmlWriter::NewLine() {
  return Do([&] {
    if (open_.empty()) return false;
    CloseTag();
    out_ += u'\n';
    return true;
  });
}

bool Kt_XmlWriter::End() {
  return Do([&] {
    if (open_.empty()) return false;
    const Open& closed = open_.back();
    const std::size_t depth = open_.size() - 1;
    if (in_tag_) {
      out_ += u"/>";
      in_tag_ = false;
    } else {
      if (closed.has_children && !closed.has_text) Indent(depth);
      out_ += u"</";
      out_ += closed.name;
      out_ += u'>';
    }
    open_.pop_back();
    if (depth == 0) out_ += u'\n';
    return true;
  });
}

bool Kt_XmlWriter::Finish(Kt_WString& out) {
  while (!open_.empty() && End()) {
  }
  const bool done = Do([&] { return Size() > 0 && PassOn(); });
  out = done ? std::move(text_) : Kt_WString();
  out.FreeExtra();
  *this = Kt_XmlWriter(indent_);
  return done;
}
