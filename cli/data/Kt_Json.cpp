// SPDX-License-Identifier: MIT
//
// JSON. The text is read twice, as CSV is: once to find the columns and their types, once to fill
// them. A shape is known before that from the first value and, for an object, what follows it.
#include "cli/data/Kt_Json.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "classlib/text/Kt_Number.h"
#include "cli/Kt_Bounds.h"
#include "cli/data/Kt_JsonCells.h"
#include "cli/data/Kt_Text.h"

namespace kt::cli {
namespace {

using Piece = JsonScanner::Piece;

struct JsonColumn {
  Kt_WString id;
  std::string_view raw;  // the name as it was met last
  Kt_ColumnType type = Kt_ColumnType::kString;
  bool settled = false;  // the dataset or the options give the type
  Kt_ColumnForms forms;
  kt_long col = -1;               // in the dataset
  std::size_t offset = SIZE_MAX;  // of the row in which a value came last
};

bool IsOpening(Piece piece) { return piece == Piece::kObject || piece == Piece::kArray; }

// The columns of a text by the names that its members have.
class JsonColumns {
 public:
  JsonColumns(const Kt_Dataset& dataset, const Kt_CellRules& rules)
      : dataset_(dataset), rules_(rules) {}

  std::vector<JsonColumn>& List() { return columns_; }
  const std::vector<JsonColumn>& List() const { return columns_; }

  // The column of a member, made when it is the first of its name; `expected` is a guess. False at
  // the limit.
  bool Find(std::string_view raw, std::size_t expected, std::size_t& column) {
    if (expected < columns_.size() && columns_[expected].raw == raw) {
      column = expected;
      return true;
    }
    if (const auto found = by_raw_.find(raw); found != by_raw_.end()) {
      column = found->second;
      return true;
    }
    std::u16string name;
    DecodeJson(raw, name);
    const auto [found, is_new] = by_name_.try_emplace(name, columns_.size());
    if (is_new && !Add(name)) return false;
    column = found->second;
    columns_[column].raw = raw;
    by_raw_.emplace(raw, column);
    return true;
  }

  // A column of a list with that heading, however often it comes.
  bool Add(std::u16string_view name) {
    if (columns_.size() == static_cast<std::size_t>(kMaxDatasetColumns)) return false;
    JsonColumn column;
    column.id = UniqueId(name);
    // The id as it will be looked up, without regard to case.
    const kt_long known = dataset_.GetColIndex(column.id);
    if (const std::optional<Kt_ColumnType> stated = kt_statedtypeW(rules_, column.id)) {
      column.type = *stated;
      column.settled = true;
    } else if (rules_.types.empty() && known >= 0 && !dataset_.IsLogicalColumn(known)) {
      column.type = dataset_.GetColType(known);
      column.settled = true;
    }
    columns_.push_back(column);
    return true;
  }

  void SettleTypes() {
    for (JsonColumn& column : columns_) {
      if (!column.settled) column.type = JsonCellReader::TypeOf(column.forms);
    }
  }

 private:
  // Names of members may be empty or differ in case alone; ids of columns may not.
  Kt_WString UniqueId(std::u16string_view name) {
    Kt_WString id(name);
    if (id.IsEmpty()) {
      id = Kt_WString(u"column") + kt_longtextW(static_cast<kt_long>(columns_.size()) + 1).View();
    }
    Kt_WString unique = id;
    for (kt_long copy = 2; ids_.AddColumn(unique) < 0; ++copy) {
      unique = id + u"_";
      unique += kt_longtextW(copy);
    }
    return unique;
  }

  const Kt_Dataset& dataset_;
  const Kt_CellRules& rules_;
  std::vector<JsonColumn> columns_;
  std::unordered_map<std::string_view, std::size_t> by_raw_;
  std::unordered_map<std::u16string, std::size_t> by_name_;
  Kt_Dataset ids_;  // for its way of comparing ids
};

class JsonLoader {
 public:
  JsonLoader(std::string_view text, bool may_be_empty, const Kt_CsvOptions& options,
             const Kt_Dataset& dataset, DataReport& report)
      : text_(text),
        may_be_empty_(may_be_empty),
        options_(options),
        reader_(options.rules),
        columns_(dataset, options.rules),
        report_(report) {}

  // Fills `next`, a copy of the dataset without rows.
  bool Load(Kt_Dataset& next) {
    if (const std::u16string_view fault = reader_.Strings().Fault(); !fault.empty()) {
      report_.error = Kt_WString(fault).ToUtf8();
      return false;
    }
    if (!FindShape()) return false;
    const auto ignore = [](auto&&...) {};
    if (!EachRow([&](const auto& cells, std::size_t) { NoteForms(cells); }, ignore)) return false;
    columns_.SettleTypes();
    return FindStated() && AddColumns(next) && AddRows(next);
  }

 private:
  struct Converted {
    Kt_Variant value;
    int token = -1;      // the one for null that the cell was
    bool twice = false;  // the row has a value for this column already, which is lost
  };
  // Where the rows are.
  enum class Shape : std::uint8_t {
    kStream,  // values at the top are the rows
    kList,    // the rows are in the list at start_
  };

  bool Fail(std::size_t offset, std::string error) {
    const std::size_t at = std::min(offset, text_.size());
    const std::size_t line_start = text_.find_last_of("\r\n", at == 0 ? 0 : at - 1);
    std::size_t first = line_start == text_.npos || at == 0 ? 0 : line_start + 1;
    report_.error = std::move(error);
    report_.error_line = LineOf(text_, at);
    report_.error_column = 1;
    for (; first < at; ++first) {
      if ((text_[first] & 0xC0) != 0x80) ++report_.error_column;
    }
    return false;
  }
  bool Fail(const JsonScanner& scanner) { return Fail(scanner.Offset(), scanner.Error()); }

  bool FindShape() {
    JsonScanner scanner(text_);
    switch (scanner.Next()) {
      case Piece::kError: return Fail(scanner);
      case Piece::kEnd:
        if (may_be_empty_) return true;
        return Fail(0, "expected a list of rows; the text is empty");
      case Piece::kArray: return ShapeOfList(scanner);
      case Piece::kObject: return ShapeOfObject(scanner);
      default: return Fail(scanner.Offset(), "expected a list of rows or an object");
    }
  }

  // A list of plain values is a row itself, and its like follow.
  bool ShapeOfList(JsonScanner& scanner) {
    start_ = scanner.Offset();
    const Piece first = scanner.Next();
    if (first == Piece::kError) return Fail(scanner);
    const bool has_rows = IsOpening(first) || first == Piece::kArrayEnd;
    shape_ = has_rows ? Shape::kList : Shape::kStream;
    must_be_all_ = has_rows;
    return true;
  }

  // An object that is all of the text and has a list "rows" holds rows, any other is one.
  bool ShapeOfObject(JsonScanner& scanner) {
    bool has_rows = false;
    for (;;) {
      Piece piece = scanner.Next();
      if (piece == Piece::kObjectEnd) break;
      if (piece == Piece::kError) return Fail(scanner);
      const bool named_rows = scanner.Text() == "rows";
      piece = scanner.Next();
      if (piece == Piece::kError) return Fail(scanner);
      if (named_rows && piece == Piece::kArray) {
        has_rows = true;
        start_ = scanner.Offset();
      }
      if (IsOpening(piece) && !scanner.SkipValue()) return Fail(scanner);
    }
    if (has_rows && scanner.Next() == Piece::kEnd) {
      shape_ = Shape::kList;
    } else {
      start_ = 0;
    }
    return true;
  }

  // Calls good(cells, offset) for every row that has a place in the columns, and
  // bad(offset, reason) for the others. False when the text is no JSON.
  template <class Good, class Bad>
  bool EachRow(Good good, Bad bad) {
    JsonScanner scanner(text_, start_);
    if (shape_ == Shape::kList) scanner.Next();
    row_count_ = 0;
    bool first = true;
    for (;; first = false) {
      const Piece piece = scanner.Next();
      if (piece == Piece::kError) return Fail(scanner);
      if (piece == Piece::kEnd) return true;
      if (shape_ == Shape::kList && piece == Piece::kArrayEnd) return IsAll(scanner);
      if (first) rows_are_ = piece;
      if (!Row(scanner, piece, first, good, bad)) return false;
    }
  }

  bool IsAll(JsonScanner& scanner) {
    if (!must_be_all_) return true;
    const Piece piece = scanner.Next();
    if (piece == Piece::kError) return Fail(scanner);
    return piece == Piece::kEnd ||
           Fail(scanner.Offset(), "expected the end behind the list of rows");
  }

  template <class Good, class Bad>
  bool Row(JsonScanner& scanner, Piece piece, bool first, Good good, Bad bad) {
    const std::size_t offset = scanner.Offset();
    if (!IsOpening(piece) || piece != rows_are_) {
      if (IsOpening(piece) && !scanner.SkipValue()) return Fail(scanner);
      row_text_ = text_.substr(offset, scanner.At() - offset);
      bad(offset, rows_are_ == Piece::kArray ? u"expected a list" : u"expected an object");
      return true;
    }
    if (!(piece == Piece::kObject ? ReadObject(scanner) : ReadList(scanner))) return false;
    row_text_ = text_.substr(offset, scanner.At() - offset);
    constexpr std::size_t kBytesPerCell = 32;
    if (!GoesOn(cells_.size() + row_text_.size() / kBytesPerCell)) {
      return Fail(offset, StopReason());
    }
    if (piece == Piece::kArray && first) return TakeHeader(offset);
    if (!cells_.empty() && cells_.back().column >= columns_.List().size()) {
      bad(offset, u"more cells than columns");
      return true;
    }
    good(cells_, offset);
    ++row_count_;
    return true;
  }

  bool ReadObject(JsonScanner& scanner) {
    cells_.clear();
    std::size_t expected = 0;
    for (;;) {
      Piece piece = scanner.Next();
      if (piece == Piece::kObjectEnd) return true;
      if (piece == Piece::kError) return Fail(scanner);
      JsonCell cell;
      if (!columns_.Find(scanner.Text(), expected, cell.column)) {
        return Fail(scanner.Offset(), fmt::format("more than {} columns", kMaxDatasetColumns));
      }
      expected = cell.column + 1;
      if (!ReadValue(scanner, scanner.Next(), cell)) return false;
    }
  }

  bool ReadList(JsonScanner& scanner) {
    cells_.clear();
    for (;;) {
      const Piece piece = scanner.Next();
      if (piece == Piece::kArrayEnd) return true;
      JsonCell cell;
      cell.column = cells_.size();
      if (!ReadValue(scanner, piece, cell)) return false;
    }
  }

  bool ReadValue(JsonScanner& scanner, Piece piece, JsonCell& cell) {
    if (piece == Piece::kError || (IsOpening(piece) && !scanner.SkipValue())) return Fail(scanner);
    cell.piece = piece;
    cell.text = scanner.Text();
    cells_.push_back(cell);
    return true;
  }

  bool TakeHeader(std::size_t offset) {
    if (!columns_.List().empty()) return true;  // the second time
    std::u16string name;
    for (const JsonCell& cell : cells_) {
      name.clear();
      if (cell.piece == Piece::kString) DecodeJson(cell.text, name);
      if (cell.piece == Piece::kNumber) name.assign(cell.text.begin(), cell.text.end());
      if (!columns_.Add(name)) {
        return Fail(offset, fmt::format("more than {} columns", kMaxDatasetColumns));
      }
    }
    return true;
  }

  void NoteForms(const std::vector<JsonCell>& cells) {
    for (const JsonCell& cell : cells) {
      JsonColumn& column = columns_.List()[cell.column];
      if (!column.settled) reader_.Note(cell, column.forms);
    }
  }

  bool FindStated() {
    if (options_.rules.types_may_lack_columns) return true;
    for (const auto& stated : options_.rules.types) {
      const Kt_WString& wanted = stated.first;
      const bool known = std::ranges::any_of(columns_.List(), [&](const JsonColumn& column) {
        return kt_stricmpW(column.id.View(), wanted.View()) == 0;
      });
      if (known) continue;
      report_.error = fmt::format("there is no column '{}', whose type is stated", wanted.ToUtf8());
      return false;
    }
    return true;
  }

  bool AddColumns(Kt_Dataset& next) {
    for (JsonColumn& column : columns_.List()) {
      column.col = next.GetColIndex(column.id);
      if (column.col < 0) column.col = next.AddColumn(column.id, column.type);
      if (column.col < 0) return Fail(0, fmt::format("more than {} columns", kMaxDatasetColumns));
    }
    return true;
  }

  // Many members and many rows that have next to none of them would take gigabytes.
  bool IsBlownUp(std::int64_t columns) const {
    constexpr std::int64_t kAlwaysFine = std::int64_t{1} << 26;
    constexpr std::int64_t kCellsPerByte = 16;
    return columns * row_count_ > kAlwaysFine + kCellsPerByte * std::ssize(text_);
  }

  bool AddRows(Kt_Dataset& next) {
    if (row_count_ > kMaxDatasetRows) return Fail(0, "too many rows");
    if (IsBlownUp(next.GetColCount())) return Fail(0, "too many empty cells");
    if (row_count_ > 0 && next.AppendRow(static_cast<kt_long>(row_count_)) < 0) {
      return Fail(0, "out of memory");
    }
    const bool read =
        EachRow([&](const auto& cells, std::size_t offset) { Store(cells, offset, next); },
                [&](std::size_t offset, const char16_t* reason) { Reject(offset, reason); });
    for (std::int64_t row = row_count_ - 1; row >= stored_; --row) {
      next.DeleteRow(static_cast<kt_long>(row));
    }
    next.ApplyChange();
    report_.rows.rows_read = static_cast<kt_long>(stored_);
    report_.rows.records = report_.rows.rows_read + report_.rows.rows_rejected;
    Tell();
    return read;
  }

  void Store(const std::vector<JsonCell>& cells, std::size_t offset, Kt_Dataset& next) {
    values_.assign(cells.size(), Converted());
    faults_.clear();
    for (std::size_t at = 0; at < cells.size(); ++at) {
      if (!Convert(cells[at], offset, values_[at])) faults_.push_back(at);
    }
    if (options_.reject_bad_cells && !faults_.empty()) {
      return Reject(offset, ReasonOf(cells[faults_[0]], values_[faults_[0]]));
    }
    const auto row = static_cast<kt_long>(stored_++);
    for (std::size_t at = 0; at < cells.size(); ++at) {
      const std::size_t column = cells[at].column;
      if (next.SetColumn(row, columns_.List()[column].col, values_[at].value) < 0 &&
          !std::ranges::binary_search(faults_, at)) {
        NotConverted(offset, cells[at]);  // a computed column
      }
      if (values_[at].token >= 0) nulls_.Add(column, values_[at].token);
    }
    for (const std::size_t at : faults_) NotConverted(offset, cells[at]);
    if (rows_are_ == Piece::kArray && cells.size() < columns_.List().size()) NoteShort(offset);
  }

  // False when the cell does not hold what the text says.
  bool Convert(const JsonCell& cell, std::size_t offset, Converted& converted) {
    JsonColumn& column = columns_.List()[cell.column];
    converted.twice = column.offset == offset;
    column.offset = offset;
    converted.token = reader_.NullToken(cell, column.type);
    if (converted.token >= 0) return !converted.twice;
    return reader_.Value(cell, column.type, converted.value) && !converted.twice;
  }

  Kt_WString ReasonOf(const JsonCell& cell, const Converted& converted) const {
    const JsonColumn& column = columns_.List()[cell.column];
    Kt_WString text;
    JsonText(cell, text);
    Kt_WString reason = Kt_WString(u"column '") + column.id.View() + u"': ";
    if (converted.twice) return reason + u"two members of that name";
    reason += u"no ";
    reason += kt_columntypenameW(column.type);
    reason += u": '";
    reason += kt_excerptW(text);
    reason += u"'";
    return reason;
  }

  std::int64_t RowLine(std::size_t offset) {
    line_ += LineOf(text_.substr(counted_), offset - counted_) - 1;
    counted_ = offset;
    return line_;
  }

  void Reject(std::size_t offset, const Kt_WString& reason) {
    ++report_.rows.rows_rejected;
    List(offset, reason, report_.rows.rejected);
  }

  void NoteShort(std::size_t offset) {
    ++report_.rows.rows_short;
    List(offset, u"fewer cells than columns", report_.rows.short_rows);
  }

  void List(std::size_t offset, const Kt_WString& reason, std::vector<Kt_LoadReport::Row>& rows) {
    if (rows.size() >= options_.max_listed) return;
    rows.push_back({RowLine(offset), reason, Kt_WString::FromUtf8(row_text_)});
  }

  void NotConverted(std::size_t offset, const JsonCell& cell) {
    ++report_.rows.cells_not_converted;
    if (report_.rows.not_converted.size() >= options_.max_listed) return;
    Kt_WString text;
    JsonText(cell, text);
    const Kt_WString& id = columns_.List()[cell.column].id;
    report_.rows.not_converted.push_back({RowLine(offset), id, kt_excerptW(text)});
  }

  // What there is to say of the columns.
  void Tell() {
    for (std::size_t at = 0; at < columns_.List().size(); ++at) {
      const JsonColumn& column = columns_.List()[at];
      nulls_.Tell(at, column.id, reader_.Strings(), report_.rows);
      Kt_LoadReport::Hint hint;
      hint.column = column.id;
      const bool is_found = !column.settled && column.type == Kt_ColumnType::kString;
      if (is_found && column.forms.FindHint(reader_.Strings(), hint)) {
        report_.rows.hints.push_back(hint);
      }
    }
  }

  std::string_view text_;
  const bool may_be_empty_;
  const Kt_CsvOptions& options_;
  const JsonCellReader reader_;
  JsonColumns columns_;
  DataReport& report_;
  Shape shape_ = Shape::kStream;
  std::size_t start_ = 0;
  bool must_be_all_ = false;
  Piece rows_are_ = Piece::kObject;  // what the first row is
  std::int64_t row_count_ = 0;       // rows that have a place in the columns
  std::int64_t stored_ = 0;
  std::vector<JsonCell> cells_;  // of the row in hand
  std::vector<Converted> values_;
  std::vector<std::size_t> faults_;  // cells that do not convert
  std::string_view row_text_;
  Kt_NullCounts nulls_;
  std::size_t counted_ = 0;  // lines before this offset are counted
  std::int64_t line_ = 1;
};

// Leaves the logical columns: with stated types the columns are those of the file.
void DropColumns(Kt_Dataset& dataset) {
  const Kt_Dataset before(dataset);
  dataset.Clear();
  for (kt_long col = 0; col < before.GetColCount(); ++col) {
    if (before.IsLogicalColumn(col)) dataset.AddLogicalColumnOf(before, col);
  }
}

std::vector<std::string> ColumnNames(const Kt_Dataset& dataset) {
  std::vector<std::string> names;
  for (kt_long col = 0; col < dataset.GetColCount(); ++col) {
    AppendJsonString(dataset.GetColID(col), names.emplace_back());
    names.back() += ':';
  }
  return names;
}

// False with the reason when a value is none for JSON.
bool AppendRow(const Kt_Dataset& dataset, kt_long row, const std::vector<std::string>& names,
               bool is_shown, std::string& out, std::string& reason) {
  out += '{';
  for (kt_long col = 0; col < dataset.GetColCount(); ++col) {
    if (col > 0) out += ',';
    out += names[static_cast<std::size_t>(col)];
    const char* const fault = AppendJsonValue(dataset.ReadColumn(row, col), is_shown, out);
    if (fault == nullptr) continue;
    reason = fmt::format("row {}, column '{}': {}", row, dataset.GetColID(col).ToUtf8(), fault);
    return false;
  }
  out += '}';
  return true;
}

}  // namespace

bool LoadJson(std::string_view text, bool lines, const Kt_CsvOptions& options, Kt_Dataset& dataset,
              DataReport& report) {
  Kt_Dataset next(dataset);
  next.ClearData();
  if (!options.rules.types.empty()) DropColumns(next);
  if (!JsonLoader(text, lines, options, dataset, report).Load(next)) return false;
  dataset = next;
  return true;
}

bool SaveJson(const Kt_Dataset& dataset, JsonLayout layout, std::string& text,
              std::string& reason) {
  const bool is_list = layout != JsonLayout::kLines;
  const char* const line_end = layout == JsonLayout::kOneLine ? "" : "\n";
  const std::vector<std::string> names = ColumnNames(dataset);
  text = is_list ? "[" : "";
  bool is_first = true;
  for (kt_long row = 0; row < dataset.GetRowCount(); ++row) {
    if (!GoesOn(names.size())) {
      reason = StopReason();
      return false;
    }
    if (dataset.GetRowLevel(row) > 0) continue;
    if (!is_first && is_list) text += ',';
    if (!is_first || is_list) text += line_end;
    is_first = false;
    const bool is_shown = layout == JsonLayout::kOneLine;
    if (!AppendRow(dataset, row, names, is_shown, text, reason)) return false;
  }
  if (is_list || !is_first) text += line_end;
  if (is_list) text += std::string("]") + line_end;
  return true;
}

}  // namespace kt::cli
