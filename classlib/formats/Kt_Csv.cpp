// SPDX-License-Identifier: MIT
//
// CSV. The text is read twice: once to find the type of every column that states none, once to fill
// the columns. Reading twice is quicker than keeping the place of every cell, and a type is known
// before the first cell is stored, however late in the file the cell stands that decides it.
#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/formats/Kt_CellForms.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/formats/detail/Kt_CsvScanner.h"
#include "classlib/formats/detail/Kt_CsvSniffer.h"
#include "classlib/formats/detail/Kt_FileText.h"
#include "classlib/formats/detail/Kt_Transfer.h"
#include "classlib/store/Kt_UniqueIds.h"
#include "classlib/text/Kt_Number.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

constexpr auto kMaxUnits = static_cast<std::size_t>(kMaxStringLength);

// ---- Text -------------------------------------------------------------------------------------

// The text in UTF-16, in `buffer` where it has to be made. `whole` says whether that is all of it:
// not when there are bytes that are no UTF-8, nor when it is longer than a text may be and so empty
// here.
std::u16string_view ToWide(std::u16string_view text, kt::CountedText&, bool& whole) {
  whole = text.size() <= kMaxUnits;
  return whole ? text : std::u16string_view();
}

std::u16string_view ToWide(std::string_view text, kt::CountedText& buffer, bool& whole) {
  buffer.resize(text.size());
  std::size_t at = 0;
  for (; at < text.size() && static_cast<unsigned char>(text[at]) < 0x80; ++at) {
    buffer[at] = static_cast<unsigned char>(text[at]);
  }
  if (at == text.size()) return ToWide(std::u16string_view(buffer), buffer, whole);
  Kt_WString checked;
  whole = ConvertUtf8(text, checked) < 0;
  buffer = whole ? checked.View() : Kt_WString::FromUtf8(text).View();
  return buffer;
}

template <class Unit>
Kt_WString TextOf(std::basic_string_view<Unit> text) {
  kt::CountedText buffer;
  bool whole = false;
  return Kt_WString(ToWide(text.substr(0, kMaxUnits), buffer, whole));
}

// The start of a text, for messages.
template <class Unit>
Kt_WString ExcerptOf(std::basic_string_view<Unit> text) {
  constexpr std::size_t kEnough = 256;
  return kt_excerptW(TextOf(text.substr(0, kEnough)));
}

template <class Unit>
bool IsAscii(std::basic_string_view<Unit> text) {
  std::make_unsigned_t<Unit> all = 0;
  for (const Unit unit : text) all |= static_cast<std::make_unsigned_t<Unit>>(unit);
  return all < 0x80;
}

// ---- Header -----------------------------------------------------------------------------------

struct CsvColumn {
  Kt_WString id;
  Kt_ColumnType type = Kt_ColumnType::kString;
  kt_long size = 0;
  bool stated = false;      // the header or the options give the type
  bool settled = false;     // the type is known before the cells are
  bool has_tokens = false;  // texts may stand for null
  Kt_ColumnForms forms;     // while the type is not settled
};

// Whether a cell is written in quotes: also for the separators that are not the file's, so that no
// load takes one of them for it.
bool NeedsQuotes(std::u16string_view text, char16_t separator, char16_t quote) {
  return std::ranges::any_of(text, [=](char16_t unit) {
    switch (unit) {
      case u'"':
      case u'\n':
      case u'\r':
      case u',':
      case u';':
      case u'\t':
      case u'|': return true;
      default: return unit == separator || unit == quote;
    }
  });
}

// "id", "id:type" or "id:type(size)"; a part after the last colon that is no type belongs to the
// id.
CsvColumn ParseHeader(std::u16string_view text, bool may_have_type = true) {
  CsvColumn column;
  const std::size_t colon = text.rfind(u':');
  if (may_have_type && colon != std::u16string_view::npos) {
    std::u16string_view type = text.substr(colon + 1);
    if (const std::size_t paren = type.find(u'('); paren != std::u16string_view::npos) {
      column.size = Kt_WString(type.substr(paren + 1)).ToInteger();
      type = type.substr(0, paren);
    }
    column.stated = column.settled = kt_findcolumntypeW(type, column.type);
  }
  if (!column.stated) column.size = 0;
  column.id = column.stated ? text.substr(0, colon) : text;
  return column;
}

// ---- Options ----------------------------------------------------------------------------------

bool IsAuto(char16_t unit) { return unit == Kt_CsvOptions::kAuto; }

// Why the options contradict each other; empty when they do not.
Kt_WString FaultOf(const Kt_CsvOptions& options) {
  const char16_t signs[] = {options.separator, options.quote, options.comment};
  for (std::size_t at = 0; at < 3; ++at) {
    if (signs[at] == u'\n' || signs[at] == u'\r')
      return u"a line end cannot separate or quote cells";
    for (std::size_t other = 0; other < at; ++other) {
      const bool are_set = signs[at] != 0 && !IsAuto(signs[at]);
      if (are_set && signs[at] == signs[other]) {
        return u"separator, quote and the sign of comments must differ";
      }
    }
  }
  return Kt_CellReader(options.rules).Fault();
}

// Whether all signs are single bytes of UTF-8.
bool HasByteSigns(const Kt_CsvOptions& options) {
  const auto is_byte = [](char16_t unit) { return unit < 128 || IsAuto(unit); };
  return is_byte(options.separator) && is_byte(options.preferred) && is_byte(options.quote) &&
         is_byte(options.comment);
}

// ---- Rows -------------------------------------------------------------------------------------

template <class Unit>
class CsvLoader {
 public:
  using View = std::basic_string_view<Unit>;
  using Scanner = CsvScanner<Unit>;
  using Cell = typename Scanner::Cell;
  using Row = typename Scanner::Row;

  CsvLoader(View text, const Kt_CsvOptions& options, Kt_LoadReport& report)
      : text_(text),
        options_(options),
        report_(report),
        reader_(options.rules),
        format_(FormatOf(text, options)),
        body_(text, format_) {
    report_.separator = static_cast<std::make_unsigned_t<Unit>>(format_.separator);
    report_.quote = static_cast<std::make_unsigned_t<Unit>>(format_.quote);
    body_.SkipLines(options.skip);
  }

  // False, with the reason in the report, when there are no columns or too many.
  bool ReadHeader() {
    Scanner scanner = body_;
    const Row row = FirstRow(scanner);
    if (row == Row::kBad) return Fail(scanner.Reason(), scanner.Line());
    if (row == Row::kEnd) {
      return Fail(options_.header ? u"the text has no header row" : u"the text has no rows", 1);
    }
    if (record_.size() > static_cast<std::size_t>(kMaxDatasetColumns)) {
      return Fail(u"too many columns", scanner.Line());
    }
    Kt_UniqueIds ids;
    for (const Cell& cell : record_) {
      CsvColumn column;
      if (options_.header) {
        bool whole = false;
        const View text = cell.Content(format_.quote, narrow_);
        const std::u16string_view heading = ToWide(text, wide_, whole);
        // A heading in quotes that it does not need is all id, "a:long" too.
        const bool is_all_id = cell.quoted && !heading.starts_with(u'\xFEFF') &&
                               !NeedsQuotes(heading, report_.separator, report_.quote);
        column = ParseHeader(heading, !is_all_id);
        if (!whole && text.size() > kMaxUnits)
          return Fail(u"a heading is too long", scanner.Line());
      }
      column.id = ids.MakeHeading(column.id);
      columns_.push_back(std::move(column));
    }
    if (options_.header) {
      body_ = scanner;
      FindRowNames(ids);
    }
    return StateTypes();
  }

  // Columns that the header does not state have the types of the dataset, unless the load replaces
  // its columns.
  void TakeTypesOf(const Kt_Dataset& target) {
    const bool any_stated = std::ranges::any_of(columns_, &CsvColumn::stated);
    const bool replaces = options_.clear && any_stated;
    for (CsvColumn& column : columns_) {
      const kt_long col = target.GetColIndex(column.id);
      if (column.stated || replaces || col < 0 || target.IsLogicalColumn(col)) continue;
      column.type = target.GetColType(col);
      column.settled = true;
    }
  }

  void FindTypes() {
    const bool settled = std::ranges::all_of(columns_, &CsvColumn::settled);
    if (!settled) {
      EachRow([&](const Scanner&) { NoteForms(); }, [](const Scanner&, const char16_t*) {});
    }
    for (CsvColumn& column : columns_) {
      if (!column.settled) column.type = column.forms.Type();
      column.has_tokens = reader_.HasNullTokens(column.type);
    }
  }

  bool Fill() {
    // Counted before any column takes memory.
    if (row_count_ < 0) EachRow([](const Scanner&) {}, [](const Scanner&, const char16_t*) {});
    if (row_count_ > kMaxDatasetRows) return Fail(u"too many rows");
    if (IsBlownUp(columns_.size(), static_cast<std::size_t>(row_count_), text_.size())) {
      return Fail(u"too many empty cells");
    }
    for (const CsvColumn& column : columns_) {
      cells_.push_back(std::make_shared<Kt_Column>(column.type));
      cells_.back()->Reserve(static_cast<std::size_t>(row_count_));
    }
    EachRow(
        [&](const Scanner& scanner) {
          if (!options_.reject_bad_cells || Converts(scanner)) StoreRow(scanner);
        },
        [&](const Scanner& scanner, const char16_t* reason) { Reject(scanner, reason); });
    report_.records = stored_ + report_.rows_rejected;
    Tell();
    return true;
  }

  LoadedTable Table() {
    LoadedTable table;
    table.row_count = static_cast<std::uint32_t>(stored_);
    for (std::size_t col = 0; col < columns_.size(); ++col) {
      cells_[col]->ShrinkToFit();
      table.has_column_info = table.has_column_info || columns_[col].stated;
      table.columns.push_back(
          {columns_[col].id, {}, columns_[col].type, columns_[col].size, cells_[col]});
    }
    return table;
  }

 private:
  // Whether all headings have types: such a text was saved here, where quotes pair.
  static bool StatesTypes(View text, const CsvFormat<Unit>& format, const Kt_CsvOptions& options) {
    Scanner scanner(text, format);
    scanner.SkipLines(options.skip);
    typename Scanner::Cells cells;
    typename Scanner::Buffer narrow;
    kt::CountedText wide;
    bool whole = false;
    if (!options.header || scanner.Next(cells) != Row::kGood) return false;
    return std::ranges::all_of(cells, [&](const Cell& cell) {
      return ParseHeader(ToWide(cell.Content(format.quote, narrow), wide, whole)).stated;
    });
  }

  static CsvFormat<Unit> FormatOf(View text, const Kt_CsvOptions& options) {
    const bool finds_quote = IsAuto(options.quote);
    CsvFormat<Unit> format;
    format.separator = static_cast<Unit>(options.separator);
    format.quote = finds_quote ? Unit{'"'} : static_cast<Unit>(options.quote);
    format.comment = static_cast<Unit>(options.comment);
    const CsvSniffer<Unit> sniffer(text, options.skip);
    if (IsAuto(options.separator)) {
      format.separator = sniffer.Separator(format, static_cast<Unit>(options.preferred));
    }
    if (finds_quote && !StatesTypes(text, format, options) && !sniffer.HasQuotes(format)) {
      format.quote = 0;
    }
    return format;
  }

  bool Fail(const Kt_WString& reason, std::int64_t line = 0) {
    report_.error = reason;
    report_.error_line = line;
    return false;
  }

  bool IsEmptyRecord() const { return record_.size() == 1 && record_[0].IsNull(); }

  // The record that says how many columns there are. Empty lines above a header are left out;
  // without header, they are rows when there is one column.
  Row FirstRow(Scanner& scanner) {
    bool any_empty = false;
    for (;;) {
      const Row row = scanner.Next(record_);
      if (row == Row::kGood && IsEmptyRecord()) {
        any_empty = true;
      } else if (row == Row::kEnd && any_empty && !options_.header) {
        record_.resize(1);
        return Row::kGood;
      } else if (row != Row::kBad || options_.header) {
        return row;
      }
    }
  }

  // Tables of which the first column holds the names of rows come with a header that does not have
  // it. Not where the additional cells are empty: then the lines end with a separator.
  void FindRowNames(Kt_UniqueIds& ids) {
    constexpr std::size_t kSample = 1000;
    Scanner scanner = body_;
    std::size_t records = 0;
    std::size_t longer = 0;
    bool any_filled = false;
    for (Row row = scanner.Next(record_); row != Row::kEnd && records < kSample;
         row = scanner.Next(record_)) {
      if (row == Row::kBad || IsEmptyRecord()) continue;
      ++records;
      if (record_.size() != columns_.size() + 1) continue;
      ++longer;
      any_filled = any_filled || !record_.back().IsNull();
    }
    if (!any_filled || 10 * longer < 9 * records ||
        columns_.size() == static_cast<std::size_t>(kMaxDatasetColumns)) {
      return;
    }
    CsvColumn column;
    column.id = ids.Make(u"rowname");
    report_.row_name_column = column.id;
    columns_.insert(columns_.begin(), std::move(column));
  }

  bool StateTypes() {
    for (const auto& stated : options_.rules.types) {
      const Kt_WString& id = stated.first;
      const auto column = std::ranges::find_if(columns_, [&](const CsvColumn& candidate) {
        return kt_stricmpW(candidate.id.View(), id.View()) == 0;
      });
      if (column == columns_.end()) {
        if (options_.rules.types_may_lack_columns) continue;
        return Fail(Kt_WString(u"there is no column '") + id.View() + u"', whose type is stated");
      }
      column->type = stated.second;
      column->stated = column->settled = true;
    }
    return true;
  }

  // Calls good(scanner) for every record that has a place in the columns, with its cells in
  // record_, and bad(scanner, reason) for the others.
  template <class Good, class Bad>
  void EachRow(Good good, Bad bad) {
    Scanner scanner = body_;
    RoundCharge charge;
    row_count_ = 0;
    while (row_count_ <= kMaxDatasetRows) {
      const Row row = scanner.Next(record_);
      if (row == Row::kEnd) break;
      charge.AddOrLeave(UnitsOf(scanner.Text().size(), record_.size()));
      // Empty cells beyond the last column say nothing: the line ends with separators.
      while (record_.size() > columns_.size() && record_.back().IsNull()) record_.pop_back();
      if (row == Row::kBad) {
        bad(scanner, scanner.Reason());
      } else if (record_.size() > columns_.size()) {
        bad(scanner, u"more cells than columns");
      } else if (columns_.size() == 1 || !IsEmptyRecord()) {
        good(scanner);
        ++row_count_;
      }
    }
  }

  static std::int64_t UnitsOf(std::size_t units, std::size_t cells) {
    constexpr std::size_t kUnitsEach = 4;
    constexpr std::size_t kUnitsPerCell = 4 * Kt_WorkMeter::kUnitsPerCell;
    return static_cast<std::int64_t>(units * kUnitsEach + (cells + 1) * kUnitsPerCell);
  }

  void NoteForms() {
    for (std::size_t col = 0; col < record_.size(); ++col) {
      CsvColumn& column = columns_[col];
      const Cell& cell = record_[col];
      if (column.settled || cell.IsNull()) continue;
      column.forms.Note(reader_, cell.Content(format_.quote, narrow_));
    }
  }

  // Whether all cells of the record convert; otherwise it is rejected.
  bool Converts(const Scanner& scanner) {
    for (std::size_t col = 0; col < record_.size(); ++col) {
      if (record_[col].IsNull() || Converts(col, record_[col].Content(format_.quote, narrow_))) {
        continue;
      }
      Kt_WString reason = Kt_WString(u"column '") + columns_[col].id.View() + u"': ";
      if (columns_[col].type == Kt_ColumnType::kString) {
        reason += u"no text: too long, or characters that the encoding does not have";
      } else {
        reason += u"no ";
        reason += kt_columntypenameW(columns_[col].type);
        reason += u": '";
        reason += ExcerptOf(record_[col].Content(format_.quote, narrow_));
        reason += u"'";
      }
      Reject(scanner, reason);
      return false;
    }
    return true;
  }

  bool Converts(std::size_t col, View text) {
    const CsvColumn& column = columns_[col];
    const bool is_found = !column.settled && column.type != Kt_ColumnType::kString;
    if (is_found || (column.has_tokens && reader_.NullToken(text) >= 0)) return true;
    kt_long whole_number = 0;
    double number = 0;
    if (column.type == Kt_ColumnType::kLong && reader_.ReadLong(text, whole_number)) return true;
    if (column.type == Kt_ColumnType::kDouble && reader_.ReadDouble(text, number)) return true;
    bool whole = text.size() <= kMaxUnits && IsAscii(text);
    if (column.type == Kt_ColumnType::kString && whole) return true;
    const std::u16string_view wide = ToWide(text, wide_, whole);
    Kt_Variant value;
    return whole && reader_.Read(wide, column.type, value);
  }

  void StoreRow(const Scanner& scanner) {
    for (std::size_t col = 0; col < record_.size(); ++col) Store(col, record_[col], scanner);
    ++stored_;
    if (record_.size() == columns_.size()) return;
    for (std::size_t col = record_.size(); col < columns_.size(); ++col) {
      cells_[col]->AppendNulls(1);
    }
    ++report_.rows_short;
    if (report_.short_rows.size() < options_.max_listed) {
      report_.short_rows.push_back(
          {scanner.Line(), u"fewer cells than columns", TextOf(scanner.Text())});
    }
  }

  void Store(std::size_t col, const Cell& cell, const Scanner& scanner) {
    Kt_Column& target = *cells_[col];
    const CsvColumn& column = columns_[col];
    if (cell.IsNull()) return target.AppendNulls(1);
    const View text = cell.Content(format_.quote, narrow_);
    // Tokens that are null everywhere may look like numbers.
    const bool tokens_first = column.has_tokens && reader_.NullsInAllColumns();
    if (tokens_first && StoreNull(col, text)) return;
    if (StoreValue(target, text)) return;
    if (column.has_tokens && !tokens_first && StoreNull(col, text)) return;
    bool whole = false;
    const std::u16string_view wide = ToWide(text, wide_, whole);
    Kt_Variant value;
    const bool converts = reader_.Read(wide, column.type, value) && whole;
    if (!converts) NotConverted(scanner.Line(), col, text);
    // A column keeps what it can of a text that does not convert.
    if (wide.empty() && !text.empty()) value.Clear();
    target.Append(value);
  }

  bool StoreNull(std::size_t col, View text) {
    const int token = reader_.NullToken(text);
    if (token < 0) return false;
    cells_[col]->AppendNulls(1);
    nulls_.Add(col, token);
    return true;
  }

  // The usual cells, without a variant; false for all others.
  bool StoreValue(Kt_Column& target, View text) {
    kt_long whole_number = 0;
    Kt_DateTime moment;
    bool whole = false;
    switch (target.Type()) {
      case Kt_ColumnType::kLong:
        if (!reader_.ReadLong(text, whole_number)) return false;
        target.AppendLong(whole_number);
        return true;
      case Kt_ColumnType::kDouble:
        if (!reader_.ReadDouble(text, moment.days)) return false;
        target.AppendDouble(moment.days);
        return true;
      case Kt_ColumnType::kDateTime:
        if (!reader_.ReadDate(text, moment)) return false;
        target.AppendDouble(moment.days);
        return true;
      case Kt_ColumnType::kString: {
        const std::u16string_view wide = ToWide(text, wide_, whole);
        if (whole) target.AppendText(wide);
        return whole;
      }
      default: return false;
    }
  }

  void Reject(const Scanner& scanner, const Kt_WString& reason) {
    ++report_.rows_rejected;
    if (report_.rejected.size() < options_.max_listed) {
      report_.rejected.push_back({scanner.Line(), reason, TextOf(scanner.Text())});
    }
  }

  void NotConverted(std::int64_t line, std::size_t col, View text) {
    ++report_.cells_not_converted;
    if (report_.not_converted.size() < options_.max_listed) {
      report_.not_converted.push_back({line, columns_[col].id, ExcerptOf(text)});
    }
  }

  // What there is to say of the columns.
  void Tell() {
    for (std::size_t col = 0; col < columns_.size(); ++col) {
      const CsvColumn& column = columns_[col];
      nulls_.Tell(col, column.id, reader_, report_);
      Kt_LoadReport::Hint hint;
      hint.column = column.id;
      const bool is_found = !column.settled && column.type == Kt_ColumnType::kString;
      if (is_found && column.forms.FindHint(reader_, hint)) report_.hints.push_back(hint);
    }
  }

  View text_;
  const Kt_CsvOptions& options_;
  Kt_LoadReport& report_;
  const Kt_CellReader reader_;
  const CsvFormat<Unit> format_;
  Scanner body_;  // before the first row
  std::vector<CsvColumn> columns_;
  std::vector<std::shared_ptr<Kt_Column>> cells_;
  typename Scanner::Cells record_;  // the record in hand
  kt_long row_count_ = -1;          // records that have a place in the columns; not counted yet
  kt_long stored_ = 0;
  Kt_NullCounts nulls_;
  typename Scanner::Buffer narrow_;
  kt::CountedText wide_;
};

void AppendCell(kt::CountedText& out, std::u16string_view text, bool quote, char16_t separator) {
  if (!quote && !NeedsQuotes(text, separator, u'"')) {
    out += text;
    return;
  }
  out += u'"';
  for (const char16_t unit : text) {
    if (unit == u'"') out += unit;
    out += unit;
  }
  out += u'"';
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
void AppendHeading(kt::CountedText& out, const Kt_WString& id, std::u16string_view type,
                   const Kt_CsvSaveOptions& options) {
  const bool has_mark = id.GetAt(0) == u'\xFEFF';
  const bool looks_typed = !options.typed && ParseHeader(id).stated;
  const bool needs_type = looks_typed && (has_mark || NeedsQuotes(id, options.separator, u'"'));
  Kt_WString heading = options.typed || needs_type ? id + type : id;
  if (options.guard_formulas) GuardFormula(heading);
  const bool quote = heading.IsEmpty() || has_mark || looks_typed;
  AppendCell(out, heading, quote, options.separator);
}

class CsvWriter {
 public:
  CsvWriter(const SavedRows& rows, const Kt_CsvSaveOptions& options, Kt_SaveReport& report)
      : rows_(rows), options_(options), report_(report) {}

  // kOk, or the code of the report.
  kt_long Write() {
    const auto& columns = rows_.columns;
    const auto& slots = rows_.slots;
    if (columns.empty() && !slots.empty()) {
      return report_.Refuse(kErrNotAllowed, u"rows without a column");
    }
    if (columns.empty()) return kOk;
    for (const SavedRows::Column& column : columns) {
      if (&column != &columns.front()) text_ += options_.separator;
      AppendHeading(text_, column.id, TypeSuffix(column.cells->Type(), column.size), options_);
    }
    text_ += u"\r\n";
    for (std::size_t row = 0; row < slots.size(); ++row) {
      for (std::size_t col = 0; col < columns.size(); ++col) {
        if (col > 0) text_ += options_.separator;
        const Kt_Column& cells = *columns[col].cells;
        if (cells.IsNull(slots[row])) continue;
        charge_.AddOrLeave(16 * Kt_WorkMeter::kUnitsPerCell);
        if (const kt_long code = WriteCell(cells.Read(slots[row]), row, col)) return code;
      }
      text_ += u"\r\n";
      if (text_.size() < kPieceUnits) continue;
      if (!saved_.Append(text_)) return report_.Refuse(kErrStringTooLong, {});
      text_.clear();
    }
    return saved_.Append(text_) ? kOk : report_.Refuse(kErrStringTooLong, {});
  }
  Kt_WString& Text() { return saved_; }

 private:
  kt_long WriteCell(const Kt_Variant& value, std::size_t row, std::size_t col) {
    if (value.IsList() || value.IsObject()) {
      return report_.Refuse(kErrNotAllowed,
                            PlaceOfCell(static_cast<kt_long>(row), rows_.columns[col].id) +
                                (value.IsList() ? u": a list" : u": an object"));
    }
    Kt_WString cell = FileText(value);
    if (options_.guard_formulas && value.IsString()) GuardFormula(cell);
    // Before the next cell is appended: cells may share one long text.
    if (saved_.View().size() + text_.size() + cell.View().size() > kMaxUnits) {
      return report_.Refuse(kErrStringTooLong, {});
    }
    AppendCell(text_, cell, cell.IsEmpty(), options_.separator);
    return kOk;
  }

  const SavedRows& rows_;
  const Kt_CsvSaveOptions& options_;
  Kt_SaveReport& report_;
  Kt_WString saved_;      // which grows without being copied
  kt::CountedText text_;  // of the last rows
  RoundCharge charge_;
};

// False, with the reason in the report, when the text is no table.
template <class Unit>
bool ReadCsv(std::basic_string_view<Unit> text, const Kt_CsvOptions& options,
             const Kt_Dataset& target, LoadedTable& table, Kt_LoadReport& report) {
  report.error = FaultOf(options);
  if (!report.error.IsEmpty()) return false;
  CsvLoader<Unit> loader(text, options, report);
  if (!loader.ReadHeader()) return false;
  loader.TakeTypesOf(target);
  loader.FindTypes();
  if (!loader.Fill()) return false;
  table = loader.Table();
  return true;
}

}  // namespace

kt_long kt::LoadCsv(Kt_Dataset& dataset, std::u16string_view text, const Kt_CsvOptions& options,
                    Kt_LoadReport& report) {
  if (!text.empty() && text.front() == u'\xFEFF') text.remove_prefix(1);
  return LoadTable(dataset, options.clear, report, [&](LoadedTable& table) {
    return ReadCsv(text, options, dataset, table, report);
  });
}

kt_long kt::LoadCsv(Kt_Dataset& dataset, std::string_view utf8, const Kt_CsvOptions& options,
                    Kt_LoadReport& report) {
  if (utf8.starts_with("\xEF\xBB\xBF")) utf8.remove_prefix(3);
  return LoadTable(dataset, options.clear, report, [&](LoadedTable& table) {
    if (HasByteSigns(options)) return ReadCsv(utf8, options, dataset, table, report);
    const Kt_WString text = Kt_WString::FromUtf8(utf8);
    return ReadCsv(text.View(), options, dataset, table, report);
  });
}

kt_long kt::SaveCsv(const Kt_Dataset& dataset, std::u16string_view type,
                    const Kt_CsvSaveOptions& options, Kt_WString& out, Kt_SaveReport& report) {
  out.Empty();
  return SaveTable<SavedRows>(dataset, type, report, [&](const SavedRows& rows) -> kt_long {
    CsvWriter writer(rows, options, report);
    if (const kt_long code = writer.Write()) return code;
    ChargeOrLeave(0);
    out = std::move(writer.Text());
    out.FreeExtra();
    return kOk;
  });
}
