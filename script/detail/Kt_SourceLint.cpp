// SPDX-License-Identifier: MIT
//
// A source can show one thing to a reviewer and tell the engine another. A right-to-left override
// in a comment shows the text after it left of the text before it; a zero-width space makes
// two names of one; a Cyrillic letter has the shape of a Latin one. The text is cut into comments,
// strings, names and the rest without being parsed, because faulty sources are worth a look too:
//
//   comments  only controls of the writing direction; whatever else is in them does nothing
//   strings   hidden characters too, but not the joiners and selectors that emoji are made of
//   the rest  everything that cannot be seen, blanks beyond ASCII among it
//
// Names are compared by skeleton (Kt_LookAlike.h), which look-alikes share: each distinct name with
// the first one of its skeleton.
#include "script/detail/Kt_SourceLint.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "classlib/text/Kt_LookAlike.h"
#include "classlib/text/Kt_Unicode.h"
#include "expr/Kt_ExprUtil.h"

namespace kt::detail {
namespace {

// Nobody reads more, and a source may consist of nothing else.
constexpr int kMaxSourceWarnings = 1000;

enum class Part { kComment, kString, kCode };

bool IsNameUnit(char16_t unit) {
  return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
         (unit >= u'0' && unit <= u'9') || unit == u'_' || unit >= 0x80;
}

Kt_WString CodePointText(char32_t character) {
  char text[16];
  std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(character));
  return Kt_WString::FromUtf8(text);
}

// Joiners and variation selectors.
bool IsJoiner(char32_t character) {
  return character == 0x200C || character == 0x200D ||
         (character >= 0xFE00 && character <= 0xFE0F) ||
         (character >= 0xE0100 && character <= 0xE01EF);
}

bool IsHidden(char32_t character, Part part) {
  if (character == U'\t' || character == U'\n' || character == U'\r') return false;
  if (kt_ishiddenW(character)) return true;
  return part == Part::kCode && (IsJoiner(character) || kt_isspaceW(character));
}

class SourceLint {
 public:
  SourceLint(std::u16string_view source, SyntaxReporter& reporter)
      : source_(source), reporter_(reporter) {}

  void Run() {
    while (at_ < source_.size() && warnings_ < kMaxSourceWarnings) {
      const std::u16string_view rest = source_.substr(at_);
      if (rest.starts_with(u"//")) {
        Pass(std::min(rest.find_first_of(u"\r\n"), rest.size()), Part::kComment);
      } else if (rest.starts_with(u"/*")) {
        const std::size_t end = rest.find(u"*/", 2);
        Pass(end == rest.npos ? rest.size() : end + 2, Part::kComment);
      } else if (rest[0] == u'"' || rest[0] == u'\'') {
        Pass(StringLength(rest), Part::kString);
      } else if (IsNameUnit(rest[0])) {
        PassName(rest);
      } else {
        Pass(1, Part::kCode);
      }
    }
  }

 private:
  // One that is not closed is a fault of its own; what follows is read as code.
  static std::size_t StringLength(std::u16string_view rest) {
    const int length =
        Kt_ExprUtil::FindQuotEnd(rest.data(), static_cast<int>(rest.size()), rest[0]);
    return length > 0 ? static_cast<std::size_t>(length) : 1;
  }

  void Warn(Kt_ScriptWarning warning, std::size_t at, std::size_t length,
            const Kt_WString& detail) {
    if (++warnings_ > kMaxSourceWarnings) return;
    const Place place{static_cast<kt_long>(at), static_cast<kt_long>(length)};
    reporter_.Warn(warning, place, nullptr, detail);
  }

  // One warning for a run of the same character.
  void Pass(std::size_t length, Part part) {
    const std::size_t end = at_ + length;
    while (at_ < end) {
      const std::size_t start = at_;
      const char32_t character = Next();
      if (character < 0x7F && character >= 0x20) continue;
      const bool turns = kt_isbidicontrolW(character);
      if (!turns && (part == Part::kComment || !IsHidden(character, part))) continue;
      while (at_ < end && kt_codepointW(source_, at_).value == character) Next();
      Warn(turns ? Kt_ScriptWarning::kWarnBidiControl : Kt_ScriptWarning::kWarnInvisible, start,
           at_ - start, CodePointText(character));
    }
  }

  char32_t Next() {
    const Kt_CodePoint next = kt_codepointW(source_, at_);
    at_ += static_cast<std::size_t>(next.units);
    return next.value;
  }

  void PassName(std::u16string_view rest) {
    const auto end = std::find_if_not(rest.begin(), rest.end(), IsNameUnit);
    const Kt_WString name(rest.substr(0, static_cast<std::size_t>(end - rest.begin())));
    const std::size_t start = at_;
    Pass(name.View().size(), Part::kCode);
    const bool is_number = rest[0] >= u'0' && rest[0] <= u'9';
    if (!is_number && seen_.insert(Folded(name)).second) CheckName(name, start);
  }

  static std::u16string Folded(const Kt_WString& name) {
    std::u16string folded(name.View());
    for (char16_t& unit : folded) unit = kt_foldcaseW(unit);
    return folded;
  }

  static Kt_WString Seen(const Kt_WString& name) {
    Kt_WString seen;
    const std::u16string_view units = name;
    for (std::size_t at = 0; at < units.size();) {
      const Kt_CodePoint next = kt_codepointW(units, at);
      const auto length = static_cast<std::size_t>(next.units);
      if (!IsHidden(next.value, Part::kCode)) seen += units.substr(at, length);
      at += length;
    }
    return seen;
  }

  void CheckName(const Kt_WString& name, std::size_t start) {
    const std::size_t length = name.View().size();
    if (kt_mixesscriptsW(name)) Warn(Kt_ScriptWarning::kWarnMixedScripts, start, length, {});
    const Kt_WString skeleton = kt_skeletonW(Seen(name));
    const auto [first, is_new] = first_of_.emplace(skeleton.View(), start);
    if (is_new || skeleton.IsEmpty()) return;
    const LineTable& lines = reporter_.Lines();
    const auto offset = static_cast<kt_long>(first->second);
    const std::string place = std::to_string(lines.LineOf(offset) + 1) + ", column " +
                              std::to_string(lines.ColumnOf(offset));
    Warn(Kt_ScriptWarning::kWarnLookAlike, start, length,
         Kt_WString(u"line ") + Kt_WString::FromUtf8(place));
  }

  std::u16string_view source_;
  SyntaxReporter& reporter_;
  std::size_t at_ = 0;
  int warnings_ = 0;
  std::unordered_set<std::u16string> seen_;                   // names without regard to case
  std::unordered_map<std::u16string, std::size_t> first_of_;  // skeleton to offset
};

}  // namespace

void WarnOfSource(std::u16string_view source, SyntaxReporter& reporter) {
  SourceLint(source, reporter).Run();
}

}  // namespace kt::detail
