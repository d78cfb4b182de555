// SPDX-License-Identifier: MIT
#include "classlib/xml/Kt_XmlWriter.h"

#include <exception>

#include "classlib/base/Kt_Memory.h"
#include "classlib/xml/detail/Kt_XmlScanner.h"

namespace {

bool StartsName(char16_t unit) {
  return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || unit == u'_' ||
         unit == u':' || unit >= 128;
}

bool ContinuesName(char16_t unit) {
  return StartsName(unit) || (unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'.';
}

bool IsHigh(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLow(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

}  // namespace

bool kt_isxmlnameW(std::u16string_view name) {
  if (name.empty() || !StartsName(name.front())) return false;
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (!ContinuesName(name[at]) || IsLow(name[at]) || name[at] >= 0xFFFE) return false;
    if (IsHigh(name[at]) && (++at == name.size() || !IsLow(name[at]))) return false;
  }
  return true;
}

// Runs one piece of writing; what fails is remembered.
template <class Write>
bool Kt_XmlWriter::Do(Write write) {
  try {
    good_ = good_ && write() && out_.size() <= static_cast<std::size_t>(kMaxStringLength);
  } catch (const std::exception&) {
    (void)kt::NoteMemoryFailure();
    good_ = false;
  }
  return good_;
}

bool Kt_XmlWriter::CloseTag() {
  if (in_tag_) out_ += u'>';
  in_tag_ = false;
  return true;
}

void Kt_XmlWriter::NewLine(std::size_t depth) {
  if (!indent_) return;
  out_ += u'\n';
  out_.append(2 * depth, u' ');
}

bool Kt_XmlWriter::Start(std::u16string_view name) {
  return Do([&] {
    if (!kt_isxmlnameW(name)) return false;
    if (open_.empty()) {
      if (!out_.empty()) return false;
      out_ = u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    } else {
      CloseTag();
      open_.back().has_children = true;
      if (!open_.back().has_text) NewLine(open_.size());
    }
    // Elements inside text belong to it.
    const bool in_text = !open_.empty() && open_.back().has_text;
    open_.push_back({std::u16string(name), in_text, false});
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
    kt::detail::AppendXmlText(value, out_);
    out_ += u'"';
    return true;
  });
}

bool Kt_XmlWriter::Text(std::u16string_view text) {
  return Do([&] {
    if (text.empty()) return true;
    if (open_.empty()) return false;
    CloseTag();
    open_.back().has_text = true;
    kt::detail::AppendXmlText(text, out_);
    return true;
  });
}

bool Kt_XmlWriter::End() {
  return Do([&] {
    if (open_.empty()) return false;
    const Open closed = std::move(open_.back());
    open_.pop_back();
    if (in_tag_) {
      out_ += u"/>";
      in_tag_ = false;
    } else {
      if (closed.has_children && !closed.has_text) NewLine(open_.size());
      out_ += u"</";
      out_ += closed.name;
      out_ += u'>';
    }
    if (open_.empty()) out_ += u'\n';
    return true;
  });
}

bool Kt_XmlWriter::Finish(Kt_WString& out) {
  while (!open_.empty() && End()) {
  }
  const bool done = good_ && !out_.empty();
  out = done ? Kt_WString(out_) : Kt_WString();
  *this = Kt_XmlWriter(indent_);
  return done;
}
