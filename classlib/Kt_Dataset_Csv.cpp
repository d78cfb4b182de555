// SPDX-License-Identifier: MIT
//
// CSV. The text is read twice: once to find the type of every column that states none, once to fill
// the columns. Reading twice is quicker than keeping the place of every cell, and a type is known
// before the first cell is stored, however late in the file the cell stands that decides it.
#include <charconv>
#include <limits>

#include "classlib/Kt_Dataset.h"
#include "classlib/Kt_Number.h"
#include "classlib/detail/Kt_CsvScanner.h"
#include "classlib/detail/Kt_FileText.h"
#include "classlib/detail/Kt_LoadedTable.h"
#include "classlib/detail/Kt_Refuse.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

// ---- Forms of cells ---------------------------------------------------------------------------

// Types that hold a cell unchanged, as bits.
constexpr std::uint8_t kAsLong = 1;
constexpr std::uint8_t kAsDouble = 2;
constexpr std::uint8_t kAsDate = 4;
constexpr std::uint8_t kAsAnything = kAsLong | kAsDouble | kAsDate;

template <class Unit>
std::size_t DigitsAt(std::basic_string_view<Unit> text, std::size_t at) {
  const std::size_t start = at;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9') ++at;
  return at - start;
}

// A number that shows as it is written: without leading zeros (those are codes, "007"), and with no
// more digits than a double keeps.
template <class Unit>
std::uint8_t NumberForm(std::basic_string_view<Unit> text) {
  constexpr std::size_t kMaxDigits = 15;
  const bool negative = text[0] == '-';
  std::size_t at = negative ? 1 : 0;
  const std::size_t whole = DigitsAt(text, at);
  const bool zero = whole == 1 && text[at] == '0';
  if (whole == 0 || (text[at] == '0' && !zero)) return 0;
  std::int64_t value = 0;
  for (std::size_t digit = 0; digit < std::min<std::size_t>(whole, 15); ++digit) {
    value = value * 10 + (text[at + digit] - '0');
  }
  at += whole;
  if (at == text.size() && !(negative && zero)) {
    const bool fits = whole <= 10 && (negative ? -value : value) >= INT32_MIN &&
                      (negative ? -value : value) <= INT32_MAX;
    return (fits ? kAsLong : 0) | (whole <= kMaxDigits ? kAsDouble : 0);
  }
  std::size_t digits = zero ? 0 : whole;
  bool is_real = false;  // a point or a sign in the exponent: 1E5 alone may well be a code
  if (at < text.size() && text[at] == '.') {
    const std::size_t part = DigitsAt(text, ++at);
    if (part == 0) return 0;
    at += part;
    digits += part;
    is_real = true;
  }
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
      ++at;
      is_real = true;
    }
    const std::size_t exponent = DigitsAt(text, at);
    if (exponent == 0 || exponent > 2 || !is_real) return 0;
    at += exponent;
  }
  return at == text.size() && digits <= kMaxDigits ? kAsDouble : 0;
}

template <class Unit>
bool ToWide(std::basic_string_view<Unit> text, std::u16string& wide) {
  wide.assign(text.begin(), text.end());
  return true;
}

// False when there were bytes that are no UTF-8.
bool ToWide(std::string_view text, std::u16string& wide) {
  wide.resize(text.size());
  std::size_t at = 0;
  for (; at < text.size() && static_cast<unsigned char>(text[at]) < 0x80; ++at) {
    wide[at] = static_cast<unsigned char>(text[at]);
  }
  if (at == text.size()) return true;
  Kt_WString checked;
  const bool good = ConvertUtf8(text, checked) < 0;
  wide = good ? checked.View() : Kt_WString::FromUtf8(text).View();
  return good;
}

// Year first, with two separators; "20240131" alone is a number.
template <class Unit>
bool IsDateForm(std::basic_string_view<Unit> text) {
  constexpr std::size_t kLongestDate = 32;
  if (text.size() < 8 || text.size() > kLongestDate || DigitsAt(text, 0) != 4) return false;
  if (text[4] != '-' && text[4] != '/' && text[4] != '.') return false;
  std::u16string wide;
  Kt_DateTime moment;
  return ToWide(text, wide) && wide.back() != u' ' && Kt_DateTime::FromText(wide, moment);
}

template <class Unit>
std::uint8_t FormOf(std::basic_string_view<Unit> text) {
  if (text.empty()) return 0;
  const bool digit_first = text[0] == '-' || (text[0] >= '0' && text[0] <= '9');
  if (!digit_first) return 0;
  const std::uint8_t form = NumberForm(text);
  return form != 0 ? form : (IsDateForm(text) ? kAsDate : 0);
}

Kt_ColumnType TypeOfForms(std::uint8_t forms, bool any) {
  if (!any) return Kt_ColumnType::kString;
  if ((forms & kAsLong) != 0) return Kt_ColumnType::kLong;
  if ((forms & kAsDouble) != 0) return Kt_ColumnType::kDouble;
  return (forms & kAsDate) != 0 ? Kt_ColumnType::kDateTime : Kt_ColumnType::kString;
}

// ---- Header -----------------------------------------------------------------------------------

struct CsvColumn {
  Kt_WString id;
  Kt_ColumnType type = Kt_ColumnType::kString;
  kt_long size = 0;
  bool stated = false;   // the header gives the type
  bool settled = false;  // the type is known before the cells are
  std::uint8_t forms = kAsAnything;
  bool any = false;  // a cell that is not null was seen
};

// "id", "id:type" or "id:type(size)"; a part behind the last colon that is no type belongs to the
// id.
CsvColumn ParseHeader(std::u16string_view text) {
  CsvColumn column;
  const std::size_t colon = text.rfind(u':');
  if (colon != std::u16string_view::npos) {
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

// Ids that are missing or come twice get a number, so that no column is lost.
void MakeUnique(Kt_WString& id, std::size_t number, NameMap& names) {
  if (id.IsEmpty()) id = Kt_WString(u"column") + kt_longtextW(static_cast<kt_long>(number)).View();
  Kt_WString unique = id;
  for (kt_long copy = 2; names.Find(unique) >= 0; ++copy) {
    unique = id + u"_";
    unique += kt_longtextW(copy);
  }
  id = unique;
  names.Add(id, static_cast<kt_long>(number));
}

Kt_Tag TagOf(Kt_ColumnType type) {
  switch (type) {
    case Kt_ColumnType::kLong: return kTagLong;
    case Kt_ColumnType::kDouble: return kTagDouble;
    case Kt_ColumnType::kCurrency: return kTagCurrency;
    case Kt_ColumnType::kDateTime: return kTagDateTime;
    case Kt_ColumnType::kBinary: return kTagBinary;
    default: return kTagString;
  }
}

// ---- Rows -------------------------------------------------------------------------------------

template <class Unit>
class CsvLoader {
 public:
  using View = std::basic_string_view<Unit>;
  using Scanner = CsvScanner<Unit>;
  using Cell = typename Scanner::Cell;

  CsvLoader(View text, const Kt_CsvOptions& options, Kt_LoadReport& report)
      : text_(text), options_(options), report_(report) {}

  // False, with the reason in the report, when there are no columns or too many.
  bool ReadHeader() {
    Scanner scanner = Scan(text_);
    std::vector<Cell> cells;
    if (scanner.Next(cells) != Scanner::Row::kGood) return Fail(u"the text has no header row");
    if (cells.size() > static_cast<std::size_t>(kMaxDatasetColumns)) {
      return Fail(u"too many columns");
    }
    NameMap names;
    for (std::size_t at = 0; at < cells.size(); ++at) {
      CsvColumn column;
      if (options_.header) {
        ToWide(cells[at].Content(narrow_), wide_);
        column = ParseHeader(wide_);
      }
      MakeUnique(column.id, at + 1, names);
      columns_.push_back(column);
    }
    return true;
  }

  std::vector<CsvColumn>& Columns() { return columns_; }

  void FindTypes() {
    bool settled = true;
    for (const CsvColumn& column : columns_) settled = settled && column.settled;
    if (settled) return;
    EachRow([&](const std::vector<Cell>& cells, std::int64_t) { NoteForms(cells); },
            [](const Scanner&) {});
    for (CsvColumn& column : columns_) {
      if (!column.settled) column.type = TypeOfForms(column.forms, column.any);
    }
  }

  bool Fill() {
    // Counted before any column takes memory.
    if (row_count_ < 0) EachRow([](auto&, std::int64_t) {}, [](const Scanner&) {});
    if (row_count_ > kMaxDatasetRows) return Fail(u"too many rows");
    if (IsBlownUp(columns_.size(), static_cast<std::size_t>(row_count_), text_.size())) {
      return Fail(u"too many empty cells");
    }
    for (const CsvColumn& column : columns_) {
      cells_.push_back(std::make_shared<Kt_Column>(column.type));
      cells_.back()->Reserve(static_cast<std::size_t>(row_count_));
    }
    EachRow(
        [&](const std::vector<Cell>& cells, std::int64_t line) {
          for (std::size_t col = 0; col < columns_.size(); ++col) {
            if (col < cells.size()) {
              Store(col, cells[col], line);
            } else {
              cells_[col]->AppendNulls(1);
            }
          }
        },
        [&](const Scanner& scanner) { Reject(scanner.Line(), scanner.Reason()); });
    return true;
  }

  LoadedTable Table() {
    LoadedTable table;
    table.row_count = static_cast<std::uint32_t>(row_count_);
    for (std::size_t col = 0; col < columns_.size(); ++col) {
      cells_[col]->ShrinkToFit();
      table.has_column_info = table.has_column_info || columns_[col].stated;
      table.columns.push_back(
          {columns_[col].id, {}, columns_[col].type, columns_[col].size, cells_[col]});
    }
    return table;
  }

 private:
  Scanner Scan(View text) const { return Scanner(text, static_cast<Unit>(options_.separator)); }

  bool Fail(const char16_t* reason) {
    report_.error = reason;
    return false;
  }

  void Reject(std::int64_t line, const char16_t* reason) {
    ++report_.rows_rejected;
    if (report_.rejected.size() < Kt_LoadReport::kMaxListed) {
      report_.rejected.push_back({line, reason, {}});
    }
  }

  // Calls good(cells, line) for every row that has a place in the columns, and bad(scanner) for
  // the others.
  template <class Good, class Bad>
  void EachRow(Good good, Bad bad) {
    Scanner scanner = Scan(text_);
    std::vector<Cell> cells;
    if (options_.header) scanner.Next(cells);
    row_count_ = 0;
    while (row_count_ <= kMaxDatasetRows) {
      const auto row = scanner.Next(cells);
      if (row == Scanner::Row::kEnd) break;
      if (row == Scanner::Row::kBad) {
        bad(scanner);
      } else if (cells.size() > columns_.size()) {
        scanner.SetReason(u"more cells than columns");
        bad(scanner);
      } else if (columns_.size() == 1 || cells.size() > 1 || !cells[0].IsNull()) {
        good(cells, scanner.Line());
        ++row_count_;
      }
    }
  }

  void NoteForms(const std::vector<Cell>& cells) {
    for (std::size_t col = 0; col < cells.size(); ++col) {
      CsvColumn& column = columns_[col];
      if (column.settled || column.forms == 0 || cells[col].IsNull()) continue;
      column.any = true;
      column.forms &= cells[col].doubled ? 0 : FormOf(cells[col].text);
    }
  }

  void Store(std::size_t col, const Cell& cell, std::int64_t line) {
    Kt_Column& target = *cells_[col];
    const Kt_ColumnType type = columns_[col].type;
    // The other types have no empty value: for them "" is null too.
    const bool is_text = type == Kt_ColumnType::kString || type == Kt_ColumnType::kVariant ||
                         type == Kt_ColumnType::kBinary;
    if (cell.IsNull() || (cell.text.empty() && !is_text)) return target.AppendNulls(1);
    if (type == Kt_ColumnType::kLong || type == Kt_ColumnType::kDouble) {
      if (StoreNumber(target, cell.text)) return;
    }
    const bool readable = ToWide(cell.Content(narrow_), wide_);
    if (type == Kt_ColumnType::kString) {
      target.AppendText(wide_);
      if (!readable) NotConverted(col, line);
      return;
    }
    Kt_Variant value;
    if (!ReadFileText(wide_, TagOf(type), value)) {
      NotConverted(col, line);
      value = Kt_WString(wide_);
    } else if (!readable) {
      NotConverted(col, line);
    }
    target.Append(value);
  }

  // Numbers in plain form; false for all else.
  bool StoreNumber(Kt_Column& target, View text) {
    char digits[64];
    if (text.size() > sizeof digits) return false;
    for (std::size_t at = 0; at < text.size(); ++at) {
      if (static_cast<std::make_unsigned_t<Unit>>(text[at]) > 127) return false;
      digits[at] = static_cast<char>(text[at]);
    }
    const char* const end = digits + text.size();
    const auto parsed = [&](auto& value) {
      const auto [stop, error] = std::from_chars(digits, end, value);
      return error == std::errc() && stop == end;
    };
    if (target.Type() == Kt_ColumnType::kLong) {
      kt_long value = 0;
      if (!parsed(value)) return false;
      target.AppendLong(value);
    } else {
      double value = 0.0;
      if (!parsed(value)) return false;
      target.AppendDouble(value);
    }
    return true;
  }

  void NotConverted(std::size_t col, std::int64_t line) {
    ++report_.cells_not_converted;
    if (report_.not_converted.size() < Kt_LoadReport::kMaxListed) {
      report_.not_converted.push_back({line, columns_[col].id, {}});
    }
  }

  View text_;
  const Kt_CsvOptions& options_;
  Kt_LoadReport& report_;
  std::vector<CsvColumn> columns_;
  std::vector<std::shared_ptr<Kt_Column>> cells_;
  kt_long row_count_ = -1;  // not counted yet
  std::basic_string<Unit> narrow_;
  std::u16string wide_;
};

void AppendCell(std::u16string& out, std::u16string_view text, bool quote, char16_t separator) {
  const char16_t special[] = {u'"', u'\n', u'\r', separator};
  if (!quote && text.find_first_of(std::u16string_view(special, 4)) == std::u16string_view::npos) {
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
// one with a type is all id.
void AppendHeading(std::u16string& out, const Kt_WString& id, std::u16string_view type,
                   const Kt_CsvSaveOptions& options) {
  Kt_WString heading = id + type;
  if (options.guard_formulas) GuardFormula(heading);
  const bool quote = heading.IsEmpty() || heading.GetAt(0) == u'\xFEFF' ||
                     (type.empty() && ParseHeader(heading).stated);
  AppendCell(out, heading, quote, options.separator);
}

}  // namespace

template <class Unit>
kt_long Kt_Dataset::LoadCsvText(std::basic_string_view<Unit> text, const Kt_CsvOptions& options,
                                Kt_LoadReport& report) {
  report = {};
  const kt_long loaded = RefuseOnFailure([&]() -> kt_long {
    CsvLoader<Unit> loader(text, options, report);
    if (!loader.ReadHeader()) return -1;
    bool any_stated = false;
    for (const CsvColumn& column : loader.Columns()) any_stated = any_stated || column.stated;
    const bool replaces = options.clear && any_stated;
    for (CsvColumn& column : loader.Columns()) {
      const kt_long col = GetColIndex(column.id);
      if (column.stated || replaces || col < 0 || IsLogicalColumn(col)) continue;
      column.type = GetColType(col);
      column.settled = true;
    }
    loader.FindTypes();
    if (!loader.Fill()) return -1;
    LoadedTable table = loader.Table();
    return Adopt(table, options.clear);
  });
  if (loaded < 0 && report.error.IsEmpty())
    report.error = u"too many rows or columns, or no memory";
  report.rows_read = std::max(loaded, 0);
  return loaded;
}

kt_long Kt_Dataset::LoadCSV(std::u16string_view text, const Kt_CsvOptions& options,
                            Kt_LoadReport& report) {
  if (!text.empty() && text.front() == u'\xFEFF') text.remove_prefix(1);
  return LoadCsvText(text, options, report);
}

kt_long Kt_Dataset::LoadCSVBytes(std::string_view text, const Kt_CsvOptions& options,
                                 Kt_LoadReport& report) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  if (options.separator > 127) {  // which is more than one byte
    return LoadCsvText(Kt_WString::FromUtf8(text).View(), options, report);
  }
  return LoadCsvText(text, options, report);
}

kt_long Kt_Dataset::LoadCSV(std::u16string_view text, bool clear) {
  Kt_LoadReport report;
  Kt_CsvOptions options;
  options.clear = clear;
  return LoadCSV(text, options, report);
}

kt_long Kt_Dataset::SaveCSV(Kt_WString& out, std::u16string_view type, char16_t separator) const {
  Kt_CsvSaveOptions options;
  options.separator = separator;
  return SaveCSV(out, type, options);
}

kt_long Kt_Dataset::SaveCSV(Kt_WString& out, std::u16string_view type,
                            const Kt_CsvSaveOptions& options) const {
  const char16_t separator = options.separator;
  View view = kAllRows;
  bool changed_only = false;
  out.Empty();
  if (!SaveViewOf(type, view, changed_only)) return -1;
  return RefuseOnFailure([&]() -> kt_long {
    if (!IsPhysical()) return AsTable(view).SaveCSV(out, type, options);
    std::u16string text;
    std::vector<const Kt_Column*> cells;
    for (const Column& column : columns_) {
      if (column.cells == nullptr) continue;
      if (!cells.empty()) text += separator;
      AppendHeading(text, column.id, options.typed ? TypeSuffix(column.type, column.size) : u"",
                    options);
      cells.push_back(column.cells.get());
    }
    if (cells.empty()) return 0;
    text += u"\r\n";
    const std::vector<Slot> slots = RowsToSave(view, changed_only, false);
    for (const Slot slot : slots) {
      for (std::size_t col = 0; col < cells.size(); ++col) {
        if (col > 0) text += separator;
        if (cells[col]->IsNull(slot)) continue;
        const Kt_Variant value = cells[col]->Read(slot);
        Kt_WString cell = FileText(value);
        if (options.guard_formulas && value.IsString()) GuardFormula(cell);
        AppendCell(text, cell, cell.IsEmpty(), separator);
      }
      text += u"\r\n";
      if (text.size() > static_cast<std::size_t>(kMaxStringLength)) return -1;
    }
    out = Kt_WString(text);
    return static_cast<kt_long>(slots.size());
  });
}
