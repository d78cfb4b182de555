// SPDX-License-Identifier: MIT
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_Codes.h"
#include "classlib/formats/Kt_CellForms.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_UniqueIds.h"
#include "classlib/text/Kt_Number.h"
#include "connect/Kt_Xlsx.h"
#include "connect/detail/Kt_ColumnBuilder.h"
#include "connect/detail/Kt_Guarded.h"
#include "connect/detail/Kt_LibExpat.h"
#include "connect/detail/Kt_LibZip.h"
#include "connect/detail/Kt_XlsxBook.h"
#include "connect/detail/Kt_XmlEvents.h"
#include "connect/detail/Kt_Zip.h"

namespace {

using kt::CountedBytes;
using kt::detail::ColumnBuilder;
using kt::detail::XlsxBook;
using kt::detail::XmlAttributes;
using Type = Kt_ColumnType;

constexpr std::size_t kMaxColumns = 16'384;
constexpr std::int64_t kMaxRow = 1'048'576;

// A cell as the sheet writes it.
struct Cell {
  enum class Kind : std::uint8_t { kNumber, kShared, kText, kBool, kError, kDate };

  std::size_t column = 0;
  Kind kind = Kind::kNumber;
  std::size_t style = 0;
  bool has_value = false;
  bool has_formula = false;
  CountedBytes text;
};

Cell::Kind KindOf(std::string_view type) {
  if (type == "s") return Cell::Kind::kShared;
  if (type == "str" || type == "inlineStr") return Cell::Kind::kText;
  if (type == "b") return Cell::Kind::kBool;
  if (type == "e") return Cell::Kind::kError;
  if (type == "d") return Cell::Kind::kDate;
  return Cell::Kind::kNumber;
}

// The column of "AB12", from 0; nothing for what is no place of a cell.
std::optional<std::size_t> ColumnOf(std::string_view place) {
  std::size_t column = 0;
  std::size_t at = 0;
  for (; at < place.size() && place[at] >= 'A' && place[at] <= 'Z'; ++at) {
    column = column * 26 + static_cast<std::size_t>(place[at] - 'A') + 1;
    if (column > kMaxColumns) return std::nullopt;
  }
  if (at == 0) return std::nullopt;
  return column - 1;
}

// The number that is all of the text.
template <class Number>
std::optional<Number> NumberOf(std::string_view text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, number);
  if (fault != std::errc() || stop != end) return std::nullopt;
  return number;
}

// The moment of a day number of the sheet; nothing for one outside of the calendar. Those that
// count from 1900 have a 29th of February in that year, so days before it are one off.
std::optional<double> DayOf(double serial, bool begins_1904) {
  constexpr double kDaysTo1904 = 1462;
  constexpr double kMarch1900 = 60;
  constexpr double kYear10000 = 2'958'466;
  if (!(serial >= 0)) return std::nullopt;
  double day = serial;
  if (begins_1904) {
    day += kDaysTo1904;
  } else if (serial >= 1 && serial < kMarch1900) {
    day += 1;
  }
  if (day >= kYear10000) return std::nullopt;
  // The digits of a file stand for milliseconds.
  constexpr std::int64_t kMillisecond = 1000;
  std::int64_t microseconds = 0;
  double exact = day;
  if (kt::detail::MicrosecondsOf(day, microseconds)) {
    const std::int64_t rounded = (microseconds + kMillisecond / 2) / kMillisecond * kMillisecond;
    if (!kt::detail::ExactDay(rounded, exact)) exact = day;
  }
  return exact;
}

// A sheet on its way into columns.
class SheetReader : public kt::detail::XmlEvents {
 public:
  SheetReader(const XlsxBook& book, const Kt_XlsxOptions& options, Kt_LoadReport& report)
      : book_(book), options_(options), report_(report), reader_(options.rules) {}

  void OnStart(std::string_view name, const XmlAttributes& attributes) override {
    if (name == "c") {
      BeginCell(attributes);
    } else if (name == "v" || name == "t") {
      takes_text_ = phonetic_ == 0;
      cell_.has_value = true;
    } else if (name == "f") {
      cell_.has_formula = true;
    } else if (name == "row") {
      BeginRow(attributes);
    } else if (name == "rPh") {
      ++phonetic_;
    }
  }
  void OnEnd(std::string_view name) override {
    if (name == "c") {
      EndCell();
    } else if (name == "v" || name == "t") {
      takes_text_ = false;
    } else if (name == "row") {
      EndRow();
    } else if (name == "rPh") {
      --phonetic_;
    }
  }
  void OnText(std::string_view text) override {
    if (takes_text_) cell_.text += text;
  }

  // The columns once the sheet was read. False, with the reason in the report, when there are none.
  bool Take(std::vector<kt::ColumnData>& columns) {
    if (options_.header && !has_header_) {
      report_.error = u"the sheet has no rows";
      return false;
    }
    NameColumns();
    if (!HasStatedColumns()) return false;
    for (std::size_t at = 0; at < columns_.size(); ++at) {
      if (columns_[at].id.IsEmpty()) continue;
      columns.push_back({columns_[at].id, TakeCells(at)});
      nulls_.Tell(at, columns_[at].id, reader_, report_);
    }
    NameColumnsOfReport();
    report_.records = static_cast<kt_long>(row_numbers_.size());
    return true;
  }

 private:
  struct Column {
    CountedBytes heading;
    Kt_WString id;
    ColumnBuilder cells{Type::kString};
  };

  static Kt_WString Text(std::string_view utf8) { return Kt_WString::FromUtf8(utf8); }

  // ---- Rows and cells -------------------------------------------------------------------------

  void BeginRow(const XmlAttributes& attributes) {
    const std::string_view stated = attributes["r"];
    const std::int64_t row = stated.empty() ? row_ + 1 : NumberOf<std::int64_t>(stated).value_or(0);
    if (row <= row_ || row > kMaxRow) {
      failure =
          "row " + std::string(stated.substr(0, 20)) + " comes after row " + std::to_string(row_);
    }
    row_ = row;
    next_column_ = 0;
    row_has_values_ = false;
  }

  void BeginCell(const XmlAttributes& attributes) {
    const std::string_view place = attributes["r"];
    const std::optional<std::size_t> column = place.empty() ? next_column_ : ColumnOf(place);
    cell_.text.clear();
    cell_.has_value = cell_.has_formula = false;
    if (!column || *column < next_column_ || *column >= kMaxColumns) {
      failure = "row " + std::to_string(row_) + ": the cell '" + std::string(place.substr(0, 20)) +
                "' is out of place";
      return;
    }
    cell_.column = *column;
    next_column_ = cell_.column + 1;
    cell_.kind = KindOf(attributes["t"]);
    cell_.style = NumberOf<std::size_t>(attributes["s"]).value_or(0);
  }

  void EndCell() {
    if (row_ <= options_.skip) return;
    if (!cell_.has_value && !cell_.has_formula) return;  // only looks
    if (cell_.kind == Cell::Kind::kShared && !TakeShared()) return;
    if (cell_.kind == Cell::Kind::kText && kt::detail::HasXlsxEscapes(cell_.text)) {
      cell_.text = kt::detail::WithoutXlsxEscapes(cell_.text);
    }
    row_has_values_ = true;
    if (options_.header && !has_header_) {
      ColumnAt(cell_.column).heading = ShownText();
      return;
    }
    Column& column = ColumnAt(cell_.column);
    column.cells.AddNulls(row_numbers_.size() - column.cells.RowCount());
    AddTo(column.cells);
  }

  void EndRow() {
    if (!row_has_values_) return;
    if (options_.header && !has_header_) {
      has_header_ = true;
    } else {
      row_numbers_.push_back(static_cast<kt_long>(row_));
    }
  }

  Column& ColumnAt(std::size_t column) {
    while (columns_.size() <= column) columns_.emplace_back();
    return columns_[column];
  }

  bool TakeShared() {
    const std::optional<std::size_t> at = NumberOf<std::size_t>(cell_.text);
    if (!at || *at >= book_.texts.Count()) {
      failure = "row " + std::to_string(row_) + ": a cell refers to a text that is not there";
      return false;
    }
    cell_.text = book_.texts[*at];
    return true;
  }

  bool IsDate() const { return cell_.style < book_.is_date.size() && book_.is_date[cell_.style]; }

  // What a heading says.
  CountedBytes ShownText() const {
    const std::optional<double> number = NumberOf<double>(cell_.text);
    if (cell_.kind != Cell::Kind::kNumber || !IsDate() || !number) return cell_.text;
    const std::optional<double> day = DayOf(*number, book_.begins_1904);
    return day ? CountedBytes(kt::detail::DateText(*day, false)) : cell_.text;
  }

  void AddTo(ColumnBuilder& cells) {
    // Programs that compute nothing write an empty value.
    const bool is_empty = cell_.kind == Cell::Kind::kNumber && cell_.text.empty();
    if (!cell_.has_value || (cell_.has_formula && is_empty)) {
      return NotConverted(cells, u"a formula without a value");
    }
    switch (cell_.kind) {
      case Cell::Kind::kNumber: return AddNumber(cells);
      case Cell::Kind::kBool: return cells.AddInteger(cell_.text == "1" || cell_.text == "true");
      case Cell::Kind::kDate: return AddIsoDate(cells);
      case Cell::Kind::kError: return AddError(cells);
      default: return AddText(cells);
    }
  }

  void AddNumber(ColumnBuilder& cells) {
    if (cell_.text.empty()) return cells.AddNull();
    const std::optional<double> number = NumberOf<double>(cell_.text);
    if (!number || !std::isfinite(*number)) return NotConverted(cells, Text(cell_.text));
    if (IsDate()) {
      if (const std::optional<double> day = DayOf(*number, book_.begins_1904)) {
        return cells.AddDay(*day);
      }
    }
    constexpr double kWhole = 9007199254740992.0;  // up to which doubles are exact
    if (*number == std::trunc(*number) && std::fabs(*number) <= kWhole) {
      return cells.AddInteger(static_cast<std::int64_t>(*number));
    }
    cells.AddReal(*number);
  }

  void AddIsoDate(ColumnBuilder& cells) {
    Kt_DateTime date;
    if (!reader_.ReadDate(cell_.text, date)) return NotConverted(cells, Text(cell_.text));
    cells.AddDay(date.days);
  }

  void AddError(ColumnBuilder& cells) {
    const int token = reader_.NullToken(cell_.text);
    if (token < 0) return NotConverted(cells, Text(cell_.text));
    nulls_.Add(cell_.column, token);
    cells.AddNull();
  }

  void AddText(ColumnBuilder& cells) {
    const int token = reader_.NullsInAllColumns() ? reader_.NullToken(cell_.text) : -1;
    if (token >= 0) {
      nulls_.Add(cell_.column, token);
      return cells.AddNull();
    }
    if (!cells.AddText(cell_.text)) NotConverted(cells, Text(cell_.text));
  }

  void NotConverted(ColumnBuilder& cells, const Kt_WString& text) {
    cells.AddNull();
    Note(row_, cell_.column, text);
  }
  // Columns have no ids yet: their numbers stand for them.
  void Note(std::int64_t row, std::size_t column, const Kt_WString& text) {
    ++report_.cells_not_converted;
    if (report_.not_converted.size() >= options_.max_listed) return;
    report_.not_converted.push_back({row, {}, kt_excerptW(text)});
    noted_columns_.push_back(column);
  }
  void NameColumnsOfReport() {
    for (std::size_t at = 0; at < noted_columns_.size(); ++at) {
      report_.not_converted[at].column = columns_[noted_columns_[at]].id;
    }
  }

  // ---- Whole columns --------------------------------------------------------------------------

  // A column without heading is called by its place; one that has no cells either is none.
  void NameColumns() {
    Kt_UniqueIds ids;
    for (std::size_t at = 0; at < columns_.size(); ++at) {
      Kt_WString heading = Text(columns_[at].heading);
      if (heading.IsEmpty() && columns_[at].cells.RowCount() > 0) {
        heading = Kt_WString(u"column") + kt_longtextW(static_cast<kt_long>(at) + 1);
      }
      if (!heading.IsEmpty()) columns_[at].id = ids.Make(heading);
    }
  }

  bool HasStatedColumns() {
    if (options_.rules.types_may_lack_columns) return true;
    for (const auto& stated : options_.rules.types) {
      const auto is_it = [&](const Column& column) { return column.id.EqualsNoCase(stated.first); };
      if (std::ranges::any_of(columns_, is_it)) continue;
      report_.error = Kt_WString(u"no column '") + stated.first + u"'";
      return false;
    }
    return true;
  }

  std::shared_ptr<Kt_Column> TakeCells(std::size_t at) {
    ColumnBuilder& cells = columns_[at].cells;
    cells.AddNulls(row_numbers_.size() - cells.RowCount());
    std::shared_ptr<Kt_Column> found = cells.Take();
    const std::optional<Type> stated = kt_statedtypeW(options_.rules, columns_[at].id);
    if (stated && *stated != found->Type()) return Converted(at, *found, *stated);
    if (found->Type() == Type::kVariant && IsMixedWithTokens(*found)) {
      return WithoutTokens(at, *found);
    }
    return found;
  }

  // As texts files: the usual tokens are null where all else is numbers or dates.
  bool IsMixedWithTokens(const Kt_Column& cells) const {
    bool has_texts = false;
    bool has_numbers = false;
    bool has_dates = false;
    for (std::size_t row = 0; row < cells.RowCount(); ++row) {
      const Kt_Variant value = cells.Read(row);
      if (value.IsEmpty()) continue;
      if (!value.IsString()) {
        (value.GetTag() == kTagDateTime ? has_dates : has_numbers) = true;
      } else if (reader_.NullToken(value.AsString().View()) < 0) {
        return false;
      } else {
        has_texts = true;
      }
    }
    return has_texts && has_numbers != has_dates;
  }

  std::shared_ptr<Kt_Column> WithoutTokens(std::size_t at, const Kt_Column& cells) {
    ColumnBuilder builder{Type::kString};
    for (std::size_t row = 0; row < cells.RowCount(); ++row) {
      const Kt_Variant value = cells.Read(row);
      if (value.IsString()) nulls_.Add(at, reader_.NullToken(value.AsString().View()));
      if (value.IsEmpty() || value.IsString()) {
        builder.AddNull();
      } else if (value.GetTag() == kTagDateTime) {
        builder.AddDay(value.AsDouble());
      } else if (value.GetTag() == kTagLong) {
        builder.AddInteger(value.AsLong());
      } else {
        builder.AddReal(value.ToDouble());
      }
    }
    return builder.Take();
  }

  std::shared_ptr<Kt_Column> Converted(std::size_t at, const Kt_Column& cells, Type type) {
    auto converted = std::make_shared<Kt_Column>(type);
    converted->Reserve(cells.RowCount());
    for (std::size_t row = 0; row < cells.RowCount(); ++row) {
      const Kt_Variant value = cells.Read(row);
      const bool is_number = value.IsDouble() || value.IsLong();
      if (value.IsEmpty() || (type == Type::kDouble && is_number)) {
        converted->Append(value);
        continue;
      }
      const Kt_WString text =
          value.GetTag() == kTagDateTime
              ? Kt_WString::FromUtf8(kt::detail::DateText(value.AsDouble(), false))
              : value.ToString();
      Kt_Variant read;
      if (!reader_.Read(text, type, read)) Note(row_numbers_[row], at, text);
      converted->Append(read);
    }
    return converted;
  }

  const XlsxBook& book_;
  const Kt_XlsxOptions& options_;
  Kt_LoadReport& report_;
  const Kt_CellReader reader_;
  std::vector<Column> columns_;
  kt::CountedVector<kt_long> row_numbers_;  // of the rows that were loaded, in the sheet
  Kt_NullCounts nulls_;
  std::vector<std::size_t> noted_columns_;  // of report_.not_converted
  bool has_header_ = false;

  std::int64_t row_ = 0;
  std::size_t next_column_ = 0;
  bool row_has_values_ = false;
  Cell cell_;
  bool takes_text_ = false;
  int phonetic_ = 0;
};

// The sheet that is wanted; null, with the reason, when there is none.
const XlsxBook::Sheet* FindSheet(const XlsxBook& book, const std::string& wanted,
                                 std::string& error) {
  if (book.sheets.empty()) {
    error = "the workbook has no sheets";
    return nullptr;
  }
  if (wanted.empty()) return &book.sheets.front();
  std::string names;
  for (const XlsxBook::Sheet& sheet : book.sheets) {
    if (Kt_WString::FromUtf8(sheet.name).EqualsNoCase(Kt_WString::FromUtf8(wanted))) return &sheet;
    if (names.size() < 200) names += (names.empty() ? "'" : ", '") + sheet.name + "'";
  }
  const std::optional<std::size_t> number = NumberOf<std::size_t>(wanted);
  if (number && *number >= 1 && *number <= book.sheets.size()) return &book.sheets[*number - 1];
  error = "no sheet '" + wanted + "'; there are " + names;
  return nullptr;
}

// Null, with the reason, for what is no workbook at all.
std::unique_ptr<kt::detail::ZipArchive> OpenBook(std::string_view bytes, std::string& error) {
  constexpr std::string_view kCompound = "\xD0\xCF\x11\xE0";
  if (bytes.starts_with(kCompound)) {
    error = "an old workbook (.xls) or one with a password: save it as .xlsx without";
    return nullptr;
  }
  std::string reason = "no archive";
  auto archive = kt::IsXlsx(bytes) ? kt::detail::ZipArchive::Open(bytes, reason) : nullptr;
  if (!archive) error = "no workbook: " + reason;
  return archive;
}

kt_long Load(Kt_Dataset& dataset, std::string_view bytes, const Kt_XlsxOptions& options,
             Kt_LoadReport& report, std::string& error) {
  if (!kt::detail::LoadLibZip(error) || !kt::detail::LoadLibExpat(error)) return kFailed;
  const auto archive = OpenBook(bytes, error);
  if (!archive) return kFailed;
  XlsxBook book;
  if (!ReadXlsxBook(*archive, book, error)) return kFailed;
  const XlsxBook::Sheet* const sheet = FindSheet(book, options.sheet, error);
  if (sheet == nullptr) return kFailed;
  SheetReader reader(book, options, report);
  if (!ReadXml(*archive, sheet->part, reader, error)) return kFailed;
  std::vector<kt::ColumnData> columns;
  if (!reader.Take(columns)) return kFailed;
  const kt_long loaded = kt::LoadColumns(dataset, columns, options.clear);
  if (loaded == kFailed) error = "the dataset takes no rows";
  return loaded;
}

}  // namespace

kt_long kt::LoadXlsx(Kt_Dataset& dataset, std::string_view bytes, const Kt_XlsxOptions& options,
                     Kt_LoadReport& report) {
  report = {};
  std::string error;
  const kt_long loaded =
      detail::Guarded(error, [&] { return Load(dataset, bytes, options, report, error); });
  if (loaded >= 0) {
    report.rows_read = loaded;
    return loaded;
  }
  const Kt_WString reason = error.empty() ? report.error : Kt_WString::FromUtf8(error);
  report = {};
  report.error = reason;
  return loaded;
}
