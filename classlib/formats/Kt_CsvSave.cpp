// SPDX-License-Identifier: MIT
//
// Saving CSV, as UTF-8 or UTF-16. Cells of numbers are written where they stand in their columns,
// without a value or a text of their own. The text of a cell, with its quotes, is made once for all
// rows that have it, as far as the dictionary of the column knows that they do.
//
// Rows are written in blocks, on two threads if there are two (Kt_RowBlocks.h).
#include <algorithm>
#include <charconv>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/formats/detail/Kt_CsvHeading.h"
#include "classlib/formats/detail/Kt_FileText.h"
#include "classlib/formats/detail/Kt_RowBlocks.h"
#include "classlib/formats/detail/Kt_Transfer.h"
#include "classlib/text/Kt_AString.h"
#include "classlib/text/Kt_Number.h"
#include "classlib/text/Kt_Utf16.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

constexpr auto kMaxUnits = static_cast<std::size_t>(kMaxStringLength);
// Cells may share a long text: a table of few bytes could become a file of any length.
constexpr std::size_t kMaxBytes = std::size_t{1} << 31;

// ---- Text -------------------------------------------------------------------------------------

// The last units of the text and where they go when they are many: UTF-16 that is a text, or bytes
// of UTF-8.
class WideOut {
 public:
  using Unit = char16_t;
  using Text = kt::CountedText;

  explicit WideOut(Kt_WString& out) : out_(out) {}

  static bool Append(Text& to, std::u16string_view text) {
    to += text;
    return true;
  }
  // Whether so many units are no more than a text may have.
  static bool CanBe(std::size_t units) { return units <= kMaxUnits; }
  std::size_t Size() const { return out_.View().size(); }
  bool Take(const Text& text, double) { return out_.Append(text); }
  void Finish() { out_.FreeExtra(); }

 private:
  Kt_WString& out_;  // which grows without being copied
};

class Utf8Out {
 public:
  using Unit = char;
  using Text = kt::CountedBytes;

  explicit Utf8Out(Kt_Buffer& out) : out_(out) {}

  // False for half of a surrogate pair, which UTF-8 does not have.
  static bool Append(Text& to, std::u16string_view text) {
    const std::size_t start = to.size();
    char16_t all = 0;
    to.resize(start + text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
      to[start + at] = static_cast<char>(text[at]);
      all |= text[at];
    }
    if (all < 0x80) return true;
    to.resize(start);
    for (std::size_t at = 0; at < text.size();) {
      if (kt::IsSurrogate(kt::NextCharacter(text, at))) return false;
    }
    to += kt::ToUtf8Bytes(text);
    return true;
  }
  static bool CanBe(std::size_t bytes) { return bytes <= kMaxBytes; }
  std::size_t Size() const { return out_.Size(); }
  bool Take(const Text& text, double share) {
    out_.Append(text, share);
    return true;
  }
  void Finish() {}

 private:
  BlockBuffer out_;
};

template <class Out>
bool AppendCell(typename Out::Text& to, std::u16string_view text, bool quote, char16_t separator) {
  if (!quote && !NeedsCsvQuotes(text, separator, u'"')) return Out::Append(to, text);
  kt::CountedText quoted(1, u'"');
  for (const char16_t unit : text) quoted.append(unit == u'"' ? 2 : 1, unit);
  quoted += u'"';
  return Out::Append(to, quoted);
}

// What a spreadsheet takes for a formula it runs, and others ran what was in it.
void GuardFormula(Kt_WString& cell) {
  const char16_t first = cell.GetAt(0);
  double ignored = 0.0;
  const bool is_formula = first == u'=' || first == u'+' || first == u'-' || first == u'@' ||
                          first == u'\t' || first == u'\r';
  if (is_formula && !kt_readnumberW(cell, ignored)) cell = Kt_WString(u"'") + cell;
}

Kt_WString TypeSuffix(Kt_ColumnType type, kt_long size) {
  Kt_WString suffix = Kt_WString(u":") + kt_columntypenameW(type);
  if (size != 0) suffix += Kt_WString(u"(") + kt_longtextW(size).View() + u")";
  return suffix;
}

// In quotes a mark of byte order is the first unit of an id, and stays; and an id that looks like
// one with a type is all id, unless it needs quotes anyway: then its type is given.
template <class Out>
bool AppendHeading(typename Out::Text& to, const Kt_WString& id, std::u16string_view type,
                   const Kt_CsvSaveOptions& options) {
  const bool has_mark = id.GetAt(0) == u'\xFEFF';
  const bool looks_typed = !options.typed && ParseCsvHeading(id).stated;
  const bool needs_type = looks_typed && (has_mark || NeedsCsvQuotes(id, options.separator, u'"'));
  Kt_WString heading = options.typed || needs_type ? id + type : id;
  if (options.guard_formulas) GuardFormula(heading);
  const bool quote = heading.IsEmpty() || has_mark || looks_typed;
  return AppendCell<Out>(to, heading, quote, options.separator);
}

// ---- Rows -------------------------------------------------------------------------------------

// Writes blocks of rows, each into a text of its own.
template <class Out>
class CsvBlock {
 public:
  using Unit = typename Out::Unit;
  using Text = typename Out::Text;

  CsvBlock(const SavedRows& rows, const Kt_CsvSaveOptions& options)
      : rows_(rows), options_(options), made_(MadeCells<Text>::Of(rows)) {}

  // Ends with the first cell that cannot be saved.
  void Write(std::size_t first, std::size_t end) {
    text_.clear();
    texts_end_ = 0;
    report_ = {};
    for (std::size_t row = first; row < end; ++row) {
      code_ = WriteRow(row);
      if (code_ != kOk) return;
    }
  }

  // Of the block written last: its text; the length of that up to the end of its last cell of
  // text; and kOk, or why it ends before its end.
  const Text& GetText() const { return text_; }
  std::size_t GetTextsEnd() const { return texts_end_; }
  kt_long GetCode() const { return code_; }
  const Kt_SaveReport& GetReport() const { return report_; }

  kt_long WriteHeadings() {
    for (const SavedRows::Column& column : rows_.columns) {
      if (&column != &rows_.columns.front()) PutUnit(options_.separator);
      const Kt_WString type = TypeSuffix(column.cells->Type(), column.size);
      if (AppendHeading<Out>(text_, column.id, type, options_)) continue;
      return code_ = report_.Refuse(kErrNotAllowed, Kt_WString(u"column '") + column.id.View() +
                                                        u"': " + kNoCharacter);
    }
    EndLine();
    return kOk;
  }

 private:
  kt_long WriteRow(std::size_t row) {
    const auto& columns = rows_.columns;
    for (std::size_t col = 0; col < columns.size(); ++col) {
      if (col > 0) PutUnit(options_.separator);
      if (columns[col].cells->IsNull(rows_.slots[row])) continue;
      if (const kt_long code = WriteCell(row, col)) return code;
    }
    EndLine();
    return kOk;
  }

  void EndLine() {
    text_ += static_cast<Unit>('\r');
    text_ += static_cast<Unit>('\n');
  }

  void PutUnit(char16_t unit) {
    if (KT_LIKELY(unit < 0x80)) {
      text_ += static_cast<Unit>(unit);
    } else {
      Out::Append(text_, std::u16string_view(&unit, 1));
    }
  }

  // REQUIRES: the cell is not null.
  kt_long WriteCell(std::size_t row, std::size_t col) {
    const Kt_Column& cells = *rows_.columns[col].cells;
    const Slot slot = rows_.slots[row];
    char text[kMaxNumberUnits];
    switch (cells.Type()) {
      case Kt_ColumnType::kLong:
        return PutNumber(
            text,
            std::to_chars(text, text + sizeof text, cells.Cells<Kt_Column::Longs>()[slot]).ptr);
      case Kt_ColumnType::kDouble:
        return PutNumber(text, WriteFileDouble(cells.Cells<Kt_Column::Doubles>()[slot], text));
      case Kt_ColumnType::kDateTime: {
        const Kt_DateTime moment{cells.Cells<Kt_Column::Doubles>()[slot]};
        if (const char* const end = WriteFileDay(moment, text)) return PutNumber(text, end);
        break;
      }
      case Kt_ColumnType::kString:
        if (!made_[col].parts.empty()) return WriteMade(row, col);
        break;
      default: break;
    }
    if (const kt_long code = WriteValue(cells.Read(slot), row, col, text_)) return code;
    return EndText();
  }

  // A number that a sign of the file may be part of is in quotes.
  kt_long PutNumber(const char* first, const char* end) {
    const auto has_sign = [&] { return std::find(first, end, options_.separator) != end; };
    if (KT_UNLIKELY(options_.separator < 0x80 && IsPartOfNumbers(options_.separator)) &&
        has_sign()) {
      text_ += static_cast<Unit>('"');
      text_.append(first, end);
      text_ += static_cast<Unit>('"');
    } else {
      text_.append(first, end);
    }
    return kOk;
  }

  static bool IsPartOfNumbers(char16_t unit) {
    return (unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'+' || unit == u'.' ||
           (unit >= u'a' && unit <= u'z');
  }

  kt_long WriteMade(std::size_t row, std::size_t col) {
    MadeCells<Text>& made = made_[col];
    const Kt_Column& cells = *rows_.columns[col].cells;
    const std::uint32_t code = cells.Cells<Kt_Column::Texts>().codes[rows_.slots[row]];
    auto& part = made.parts[code];
    if (part.end == 0) {
      const Kt_Variant value = cells.Read(rows_.slots[row]);
      const bool is_long = value.AsStringView().size() > MadeCells<Text>::kLongest;
      const std::size_t first = made.text.size();
      if (const kt_long refusal = WriteValue(value, row, col, is_long ? text_ : made.text)) {
        return refusal;
      }
      if (is_long) return EndText();
      part = {first, made.text.size()};
    }
    text_.append(made.text, part.first, part.end - part.first);
    return EndText();
  }

  kt_long EndText() {
    texts_end_ = text_.size();
    return Out::CanBe(texts_end_) ? kOk : report_.Refuse(kErrStringTooLong, {});
  }

  kt_long WriteValue(const Kt_Variant& value, std::size_t row, std::size_t col, Text& to) {
    const Kt_WString& id = rows_.columns[col].id;
    if (value.IsList() || value.IsObject()) {
      return report_.Refuse(kErrNotAllowed, PlaceOfCell(static_cast<kt_long>(row), id) +
                                                (value.IsList() ? u": a list" : u": an object"));
    }
    Kt_WString cell = FileText(value);
    if (options_.guard_formulas && value.IsString()) GuardFormula(cell);
    // Before the next cell is appended: cells may share one long text.
    if (!Out::CanBe(to.size() + cell.View().size())) return report_.Refuse(kErrStringTooLong, {});
    if (AppendCell<Out>(to, cell, cell.IsEmpty(), options_.separator)) return kOk;
    return report_.Refuse(kErrNotAllowed,
                          PlaceOfCell(static_cast<kt_long>(row), id) + u": " + kNoCharacter);
  }

  static constexpr const char16_t* kNoCharacter =
      u"half of a surrogate pair, which UTF-8 does not have";

  const SavedRows& rows_;
  const Kt_CsvSaveOptions& options_;
  Text text_;
  std::size_t texts_end_ = 0;
  kt_long code_ = kOk;
  Kt_SaveReport report_;
  std::vector<MadeCells<Text>> made_;
};

template <class Out>
class CsvWriter {
 public:
  CsvWriter(const SavedRows& rows, const Kt_CsvSaveOptions& options, Kt_SaveReport& report, Out out)
      : rows_(rows), options_(options), report_(report), out_(out) {}

  // kOk, or the code of the report.
  kt_long Write() {
    const auto& columns = rows_.columns;
    if (columns.empty() && !rows_.slots.empty()) {
      return report_.Refuse(kErrNotAllowed, u"rows without a column");
    }
    if (columns.empty()) return kOk;
    const auto make = [&] { return CsvBlock<Out>(rows_, options_); };
    auto headings = make();
    (void)headings.WriteHeadings();
    if (const kt_long code = Take(headings, 1)) return code;
    const auto pay = [&](std::size_t first, std::size_t end) {
      for (std::size_t row = first; row < end; ++row) {
        charge_.AddOrLeave(static_cast<std::int64_t>(8 * columns.size()) *
                           Kt_WorkMeter::kUnitsPerCell);
      }
    };
    const auto take = [&](const CsvBlock<Out>& block, double share) { return Take(block, share); };
    if (const kt_long code = WriteInBlocks(rows_, true, make, pay, take)) return code;
    ChargeOrLeave(0);
    out_.Finish();
    return kOk;
  }

 private:
  // Appends a block to what is there: kOk, or why it cannot be.
  kt_long Take(const CsvBlock<Out>& block, double share) {
    if (block.GetTextsEnd() > 0 && !Out::CanBe(out_.Size() + block.GetTextsEnd())) {
      return report_.Refuse(kErrStringTooLong, {});
    }
    if (block.GetCode() != kOk) {
      report_ = block.GetReport();
      return block.GetCode();
    }
    return out_.Take(block.GetText(), share) ? kOk : report_.Refuse(kErrStringTooLong, {});
  }

  const SavedRows& rows_;
  const Kt_CsvSaveOptions& options_;
  Kt_SaveReport& report_;
  Out out_;
  RoundCharge charge_;
};

template <class Out>
kt_long Save(const Kt_Dataset& dataset, std::u16string_view type, const Kt_CsvSaveOptions& options,
             Out out, Kt_SaveReport& report) {
  return SaveTable<SavedRows>(dataset, type, report, [&](const SavedRows& rows) {
    return CsvWriter<Out>(rows, options, report, out).Write();
  });
}

}  // namespace

kt_long kt::SaveCsv(const Kt_Dataset& dataset, std::u16string_view type,
                    const Kt_CsvSaveOptions& options, Kt_WString& out, Kt_SaveReport& report) {
  out.Empty();
  Kt_WString text;
  const kt_long saved = Save(dataset, type, options, WideOut(text), report);
  if (saved >= 0) out = std::move(text);
  return saved;
}

kt_long kt::SaveCsv(const Kt_Dataset& dataset, std::u16string_view type,
                    const Kt_CsvSaveOptions& options, Kt_Buffer& out, Kt_SaveReport& report) {
  out.Clear();
  if (kt::IsSurrogate(options.separator)) {
    return report.Refuse(kErrNotAllowed,
                         u"half of a surrogate pair cannot separate cells of UTF-8");
  }
  const kt_long saved = Save(dataset, type, options, Utf8Out(out), report);
  if (saved < 0) out.Clear();
  return saved;
}
