// SPDX-License-Identifier: MIT
#include "cli/Kt_Vars.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "classlib/text/Kt_Utf16.h"
#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"

namespace kt::cli {
namespace {

constexpr int kMaxNameWidth = 24;
constexpr int kMaxValueWidth = 60;
// Enough to fill a line, whatever the widths of the characters are, or to see that it is too much.
constexpr std::size_t kMaxUnits = 200;

const char* KindName(Kt_Tag tag) {
  switch (tag) {
    case kTagEmpty: return "empty";
    case kTagLong: return "long";
    case kTagDouble: return "double";
    case kTagCurrency: return "currency";
    case kTagDateTime: return "datetime";
    case kTagString: return "string";
    case kTagBool: return "boolean";
    case kTagBinary: return "binary";
    case kTagList: return "list";
    default: return "object";
  }
}

// The beginning of a value as a list shows it: texts in quotes.
class Beginning {
 public:
  static Kt_WString Of(const Kt_Variant& value) {
    Beginning beginning;
    beginning.Add(value, 0);
    return beginning.out_;
  }

 private:
  static constexpr int kMaxDepth = 20;

  bool IsFull() const { return out_.View().size() >= kMaxUnits; }

  void Add(const Kt_Variant& value, int depth) {
    if (value.IsList()) return AddList(value.GetList(), depth);
    if (value.IsString()) {
      out_ += u"'";
      out_ += value.AsString().View().substr(0, kMaxUnits);
      out_ += u"'";
    } else if (value.GetTag() == kTagBinary) {
      const auto bytes = value.AsBinary();
      Kt_Variant shown;
      shown.SetBinary(bytes.data(), std::min(bytes.size(), kMaxUnits));
      out_ += Kt_WString::FromUtf8(ValueText(shown));
    } else {
      out_ += Kt_WString::FromUtf8(value.IsEmpty() ? "null" : ValueText(value));
    }
  }

  void AddList(const Kt_VariantList& list, int depth) {
    out_ += u"[";
    for (kt_long item = 0; item < list.GetCount() && !IsFull(); ++item) {
      if (item > 0) out_ += u", ";
      if (depth == kMaxDepth) {
        out_ += u"...";
        break;
      }
      Add(list.GetItemNN(item), depth + 1);
    }
    out_ += u"]";
  }

  Kt_WString out_;
};

// `text` in at most `limit` columns.
std::string Cut(const Kt_WString& text, int limit) {
  const std::u16string_view view = text;
  std::size_t fits = 0;  // with the mark
  int width = 0;
  for (std::size_t at = 0; at < view.size();) {
    const std::size_t units = IsPairAt(view, at) ? 2 : 1;
    width += DisplayWidth(view.substr(at, units));
    if (width > limit) return Kt_WString(view.substr(0, fits)).ToUtf8() + "...";
    at += units;
    if (width <= limit - 3) fits = at;
  }
  return text.ToUtf8();
}

using Row = std::array<std::string, 3>;

int Width(const std::string& text) { return DisplayWidth(Kt_WString::FromUtf8(text).View()); }

std::string Aligned(const std::vector<Row>& rows) {
  std::array<int, 2> widths = {0, 0};
  for (const Row& row : rows) {
    for (std::size_t col = 0; col < widths.size(); ++col) {
      widths[col] = std::max(widths[col], Width(row[col]));
    }
  }
  std::string out;
  for (const Row& row : rows) {
    for (std::size_t col = 0; col < widths.size(); ++col) {
      const int blanks = widths[col] - Width(row[col]) + 2;
      out += row[col] + std::string(static_cast<std::size_t>(blanks), ' ');
    }
    out += row[2] + "\n";
  }
  return out;
}

}  // namespace

std::string VariableTable(const Kt_VariableList& variables) {
  std::vector<std::pair<Kt_WString, const Kt_Variable*>> sorted;
  sorted.reserve(static_cast<std::size_t>(variables.GetCount()));
  for (kt_long var = 0; var < variables.GetCount(); ++var) {
    sorted.emplace_back(variables.GetItemName(var), variables.GetItem(var));
  }
  std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
    return kt_stricmpW(a.first.View(), b.first.View()) < 0;
  });
  std::vector<Row> rows;
  for (const auto& [name, variable] : sorted) {
    const Kt_WString value = WithVisibleControls(Beginning::Of(variable->GetValue()));
    rows.push_back({Cut(WithVisibleControls(name), kMaxNameWidth),
                    KindName(variable->GetValue().GetTag()), Cut(value, kMaxValueWidth)});
  }
  return Aligned(rows);
}

}  // namespace kt::cli
