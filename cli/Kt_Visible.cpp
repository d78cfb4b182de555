// SPDX-License-Identifier: MIT
#include "cli/Kt_Visible.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "classlib/text/Kt_Unicode.h"

namespace kt::cli {
namespace {

bool IsPlain(std::u16string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char16_t unit) { return unit >= 0x20 && unit < 0x7F; });
}

bool IsPlainAscii(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(),
                     [](char byte) { return (byte >= ' ' && byte <= '~') || byte == '\n'; });
}

// True for what must not reach a terminal as it is.
bool NeedsPicture(char32_t character) {
  return kt_ishiddenW(character) || kt_isbidicontrolW(character);
}

Kt_WString Picture(char32_t character) {
  constexpr char32_t kFirstPicture = 0x2400;
  if (character < 0x20) return kt_characterW(kFirstPicture + character);
  if (character == 0x7F) return u"\u2421";
  return Kt_WString::FromUtf8(fmt::format("\\u{{{:X}}}", static_cast<unsigned>(character)));
}

Kt_WString JsonEscape(char32_t character) {
  std::string escapes;
  const Kt_WString units = kt_characterW(character);
  for (const char16_t unit : units.View()) {
    escapes += fmt::format("\\u{:04x}", static_cast<unsigned>(unit));
  }
  return Kt_WString::FromUtf8(escapes);
}

template <class Replace>
Kt_WString MakeVisible(std::u16string_view text, std::u16string_view kept, Replace replace) {
  Kt_WString out;
  std::size_t done = 0;
  for (std::size_t at = 0; at < text.size();) {
    const Kt_CodePoint character = kt_codepointW(text, at);
    const std::size_t next = at + static_cast<std::size_t>(character.units);
    if (NeedsPicture(character.value) && kept.find(text[at]) == kept.npos) {
      out += text.substr(done, at - done);
      out += replace(character.value);
      done = next;
    }
    at = next;
  }
  out += text.substr(done);
  return out;
}

// How many bytes at the end are the beginning of a character.
std::size_t BegunBytes(std::string_view bytes) {
  for (std::size_t back = 1; back <= std::min(bytes.size(), std::size_t{3}); ++back) {
    const auto unit = static_cast<unsigned char>(bytes[bytes.size() - back]);
    if (unit < 0x80) return 0;
    if (unit < 0xC0) continue;
    const std::size_t wanted = unit >= 0xF0 ? 4 : (unit >= 0xE0 ? 3 : 2);
    return back < wanted ? back : 0;
  }
  return 0;
}

}  // namespace

Kt_WString WithVisibleControls(const Kt_WString& text) {
  return IsPlain(text) ? text : MakeVisible(text, u"", Picture);
}

std::string WithVisibleControls(std::string_view utf8) {
  return WithVisibleControls(Kt_WString::FromUtf8(utf8)).ToUtf8();
}

std::string Shown(const Kt_WString& text) {
  if (text.GetLength() <= kMaxShownUnits) return WithVisibleControls(text).ToUtf8();
  const Kt_CodePoint last = kt_codepointW(text, kMaxShownUnits - 1);
  const kt_long kept = kMaxShownUnits - (last.units == 2 ? 1 : 0);
  return WithVisibleControls(text.Mid(0, kept)).ToUtf8() + "…";
}

std::string Shown(std::string_view utf8) { return Shown(Kt_WString::FromUtf8(utf8)); }

std::string WithJsonEscapes(std::string_view json) {
  return MakeVisible(Kt_WString::FromUtf8(json), u"", JsonEscape).ToUtf8();
}

// ---- Streams ----------------------------------------------------------------------------------

std::streambuf* VisibleStream::TargetOf(const std::ostream& stream) {
  const auto* const visible = dynamic_cast<const Buffer*>(stream.rdbuf());
  return visible != nullptr ? TargetOf(visible->Target()) : stream.rdbuf();
}

void VisibleStream::Buffer::Pass(std::string_view bytes) {
  Kt_WString text = Kt_WString::FromUtf8(bytes);
  target_ << (IsPlain(text) ? bytes : MakeVisible(text, u"\n\t", Picture).ToUtf8());
}

VisibleStream::Buffer::int_type VisibleStream::Buffer::overflow(int_type unit) {
  if (traits_type::eq_int_type(unit, traits_type::eof())) return traits_type::not_eof(unit);
  const char byte = traits_type::to_char_type(unit);
  return xsputn(&byte, 1) == 1 ? unit : traits_type::eof();
}

std::streamsize VisibleStream::Buffer::xsputn(const char* units, std::streamsize count) {
  const std::string_view added(units, static_cast<std::size_t>(count));
  if (begun_.empty() && IsPlainAscii(added)) {  // which needs no memory, when there is none
    target_ << added;
    return target_ ? count : 0;
  }
  begun_.append(units, static_cast<std::size_t>(count));
  const std::string bytes = std::exchange(begun_, {});
  const std::size_t whole = bytes.size() - BegunBytes(bytes);
  begun_ = bytes.substr(whole);
  Pass(std::string_view(bytes).substr(0, whole));
  return target_ ? count : 0;
}

int VisibleStream::Buffer::sync() {
  target_.flush();
  return target_ ? 0 : -1;
}

}  // namespace kt::cli
