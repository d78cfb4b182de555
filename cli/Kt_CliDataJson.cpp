// SPDX-License-Identifier: MIT
//
// JSON. The text is read twice, as CSV is: once to find the columns and their types, once to fill
// them. A shape is known before that from the first value and, for an object, what follows it.
#include "cli/Kt_CliDataJson.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "classlib/Kt_Number.h"
#include "cli/Kt_CliDataJsonCells.h"
#include "cli/Kt_CliDataText.h"

namespace kt::cli {
namespace {

using Piece = JsonScanner::Piece;

struct JsonColumn {
  Kt_WString id;
  std::string_view raw;  // the name as it was met last
  Kt_ColumnType type = Kt_ColumnType::kString;
  bool settled = false;  // the dataset gives the type
  bool any = false;      // a value that is not null was seen
  std::uint8_t forms = kFormAnything;
  kt_long col = -1;       // in the dataset
  std::int64_t row = -1;  // in which a value came last
};

bool IsOpening(Piece piece) { return piece == Piece::kObject || piece == Piece::kArray; }

// The columns of a text by the names that its members have.
class JsonColumns {
 public:
  explicit JsonColumns(const Kt_Dataset& dataset) : dataset_(dataset) {}

  std::vector<JsonColumn>& List() { return columns_; }

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
    if (known >= 0 && !dataset_.IsLogicalColumn(known)) {
      column.type = dataset_.GetColType(known);
      column.settled = true;
    }
    columns_.push_back(column);
    return true;
  }

  void SettleTypes() {
    for (JsonColumn& column : columns_) {
      if (!column.settled) column.type = TypeOfJsonForms(column.forms, column.any);
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
  std::vector<JsonColumn> columns_;
  std::unordered_map<std::string_view, std::size_t> by_raw_;
  std::unordered_map<std::u16string, std::size_t> by_name_;
  Kt_Dataset ids_;  // for its way of comparing ids
};

class JsonLoader {
 public:
  JsonLoader(std::string_view text, bool may_be_empty, const Kt_Dataset& dataset,
             DataReport& report)
      : text_(text), may_be_empty_(may_be_empty), columns_(dataset), report_(report) {}

  // Fills `next`, a copy of the dataset without rows.
  bool Load(Kt_Dataset& next) {
    if (!FindShape()) return false;
    const auto ignore = [](auto&&...) {};
    if (!EachRow([&](const auto& cells, std::size_t) { NoteForms(cells); }, ignore)) return false;
    columns_.SettleTypes();
    return AddColumns(next) && AddRows(next);
  }

 private:
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
      bad(offset, rows_are_ == Piece::kArray ? u"expected a list" : u"expected an object");
      return true;
    }
    if (!(piece == Piece::kObject ? ReadObject(scanner) : ReadList(scanner))) return false;
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
      if (column.settled || cell.piece == Piece::kNull) continue;
      column.any = true;
      if (column.forms != 0) column.forms &= JsonForm(cell);
    }
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
      return Fail(0, "not enough memory for the rows");
    }
    const bool read =
        EachRow([&](const auto& cells, std::size_t offset) { Store(cells, offset, next); },
                [&](std::size_t offset, const char16_t* reason) { Reject(offset, reason); });
    next.ApplyChange();
    report_.rows.rows_read = static_cast<kt_long>(row_count_);
    return read;
  }

  void Store(const std::vector<JsonCell>& cells, std::size_t offset, Kt_Dataset& next) {
    for (const JsonCell& cell : cells) {
      JsonColumn& column = columns_.List()[cell.column];
      Kt_Variant value;
      // The first of two members of one name is lost.
      bool whole = column.row != row_count_;
      column.row = row_count_;
      whole = JsonValue(cell, column.type, value) && whole;
      const bool stored = next.SetColumn(static_cast<kt_long>(row_count_), column.col, value) >= 0;
      if (!whole || !stored) NotConverted(offset, column.id);
    }
  }

  std::int64_t RowLine(std::size_t offset) {
    line_ += LineOf(text_.substr(counted_), offset - counted_) - 1;
    counted_ = offset;
    return line_;
  }

  void Reject(std::size_t offset, const char16_t* reason) {
    ++report_.rows.rows_rejected;
    if (report_.rows.rejected.size() < Kt_LoadReport::kMaxListed) {
      report_.rows.rejected.push_back({RowLine(offset), reason, {}});
    }
  }

  void NotConverted(std::size_t offset, const Kt_WString& id) {
    ++report_.rows.cells_not_converted;
    if (report_.rows.not_converted.size() < Kt_LoadReport::kMaxListed) {
      report_.rows.not_converted.push_back({RowLine(offset), id, {}});
    }
  }

  std::string_view text_;
  const bool may_be_empty_;
  JsonColumns columns_;
  DataReport& report_;
  Shape shape_ = Shape::kStream;
  std::size_t start_ = 0;
  bool must_be_all_ = false;
  Piece rows_are_ = Piece::kObject;  // what the first row is
  std::int64_t row_count_ = 0;
  std::vector<JsonCell> cells_;  // of the row in hand
  std::size_t counted_ = 0;      // lines before this offset are counted
  std::int64_t line_ = 1;
};

std::vector<std::string> ColumnNames(const Kt_Dataset& dataset) {
  std::vector<std::string> names;
  for (kt_long col = 0; col < dataset.GetColCount(); ++col) {
    AppendJsonString(dataset.GetColID(col), names.emplace_back());
    names.back() += ':';
  }
  return names;
}

bool AppendRow(const Kt_Dataset& dataset, kt_long row, const std::vector<std::string>& names,
               std::string& out) {
  out += '{';
  for (kt_long col = 0; col < dataset.GetColCount(); ++col) {
    if (col > 0) out += ',';
    out += names[static_cast<std::size_t>(col)];
    if (!AppendJsonValue(dataset.ReadColumn(row, col), out)) return false;
  }
  out += '}';
  return true;
}

}  // namespace

bool LoadJson(std::string_view text, bool lines, [[maybe_unused]] const Kt_CsvOptions& options,
              Kt_Dataset& dataset, DataReport& report) {
  Kt_Dataset next(dataset);
  next.ClearData();
  if (!JsonLoader(text, lines, dataset, report).Load(next)) return false;
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
    if (dataset.GetRowLevel(row) > 0) continue;
    if (!is_first && is_list) text += ',';
    if (!is_first || is_list) text += line_end;
    is_first = false;
    if (!AppendRow(dataset, row, names, text)) {
      reason = fmt::format("row {}: a list is nested too deeply for JSON", row);
      return false;
    }
  }
  if (is_list || !is_first) text += line_end;
  if (is_list) text += std::string("]") + line_end;
  return true;
}

}  // namespace kt::cli
