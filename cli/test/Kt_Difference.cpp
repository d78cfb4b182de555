// SPDX-License-Identifier: MIT
#include "cli/test/Kt_Difference.h"

#include <fmt/format.h>

#include <algorithm>

#include "classlib/value/Kt_VarInline.h"
#include "cli/Kt_Diff.h"
#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"

namespace kt::cli {
namespace {

// Shorter texts are shown whole.
constexpr kt_long kLongText = 60;
constexpr kt_long kShownBefore = 12;
constexpr int kMaxDepth = 60;

std::string Quoted(const Kt_Variant& value) {
  if (value.IsEmpty()) return "null";
  const std::string text = Shown(value.IsString() ? value.ToString().ToUtf8() : ValueText(value));
  return value.IsString() ? "'" + text + "'" : text;
}

// A text from a place shortly before `at`.
std::string From(const Kt_WString& text, kt_long at) {
  const kt_long start = std::max(at - kShownBefore, kt_long{0});
  const kt_long size = std::min(text.GetLength() - start, kLongText);
  const char* const before = start > 0 ? "..." : "";
  const char* const behind = start + size < text.GetLength() ? "..." : "";
  return fmt::format("'{}{}{}'", before, WithVisibleControls(text.Mid(start, size).ToUtf8()),
                     behind);
}

std::string TextDifference(const Kt_WString& actual, const Kt_WString& expected) {
  const std::u16string_view a = actual.View();
  const std::u16string_view b = expected.View();
  if (a.find(u'\n') != a.npos || b.find(u'\n') != b.npos) {
    std::string lines = "the texts differ:\n" +
                        UnifiedDiff("expected", expected.ToUtf8(), "actual", actual.ToUtf8());
    lines.pop_back();
    std::string visible;
    for (std::size_t at = 0; at <= lines.size();) {
      const std::size_t end = std::min(lines.find('\n', at), lines.size());
      if (at > 0) visible += '\n';
      visible += WithVisibleControls(std::string_view(lines).substr(at, end - at));
      at = end + 1;
    }
    return visible;
  }
  if (actual.GetLength() < kLongText && expected.GetLength() < kLongText) {
    return fmt::format("{} is not {}", From(actual, 0), From(expected, 0));
  }
  const auto at =
      static_cast<kt_long>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin());
  return fmt::format("differs from character {} on: {} is not {}", at, From(actual, at),
                     From(expected, at));
}

std::string Difference(const Kt_Variant& actual, const Kt_Variant& expected,
                       const std::string& item) {
  const std::string where = item.empty() ? "" : "item " + item + ": ";
  if (actual.IsList() && expected.IsList() && item.size() < kMaxDepth) {
    const Kt_VariantList& a = actual.GetList();
    const Kt_VariantList& b = expected.GetList();
    for (kt_long at = 0; at < std::min(a.GetCount(), b.GetCount()); ++at) {
      std::string found =
          Difference(a.GetItemNN(at), b.GetItemNN(at), fmt::format("{}[{}]", item, at));
      if (!found.empty()) return found;
    }
    if (a.GetCount() == b.GetCount()) return {};
    return where + fmt::format("{} items, not {}", a.GetCount(), b.GetCount());
  }
  if (kt::VarCmp(actual, expected, kCmpEqual) != 0) return {};
  if (actual.IsString() && expected.IsString()) {
    return where + TextDifference(actual.ToString(), expected.ToString());
  }
  return where + fmt::format("{} is not {}", Quoted(actual), Quoted(expected));
}

}  // namespace

std::string DifferenceOf(const Kt_Variant& actual, const Kt_Variant& expected) {
  return Difference(actual.Dereference(), expected.Dereference(), "");
}

}  // namespace kt::cli
