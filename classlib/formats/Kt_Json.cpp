// SPDX-License-Identifier: MIT
//
// JSON. The first rows give the columns and their types, as in CSV, and the columns are filled with
// those in one pass over the text. Where a later row has another member, or a value that does not
// leave its column the type, all is read again: first to find columns and types over all rows, then
// to fill them. The shape is known before that from the first value and, for an object, what
// follows it.
//
// Rows are taken apart in batches: while one batch is stored the next one is read, by another
// thread if there is one. Who reads knows the names of the members, who stores the columns as they
// were when the load began; a row that brings another column ends the batch. So neither waits for
// the other inside of a batch, and what is told counts in the order of the rows.
//
// Values that have the usual form of their column are stored as they are; others go through a
// Kt_Variant.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Helper.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/formats/detail/Kt_JsonCells.h"
#include "classlib/formats/detail/Kt_QuickCells.h"
#include "classlib/formats/detail/Kt_RowBlocks.h"
#include "classlib/formats/detail/Kt_Transfer.h"
#include "classlib/formats/detail/Kt_WidenAscii.h"
#include "classlib/store/Kt_UniqueIds.h"
#include "classlib/text/Kt_Number.h"
#include "classlib/text/Kt_Unicode.h"
#include "classlib/text/detail/Kt_TextHash.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

using Piece = JsonScanner::Piece;

struct JsonColumn {
  Kt_WString id;
  std::string_view raw;  // the name as it was met last
  Kt_ColumnType type = Kt_ColumnType::kString;
  bool settled = false;  // the dataset or the options give the type
  Kt_ColumnForms forms;
  bool is_guess = false;  // the type is that of the first rows
  // The usual form of a value is one that all values have which were seen, and no token for null.
  bool is_quick = false;
  std::shared_ptr<Kt_Column> cells;  // null where the dataset computes the column
  std::size_t offset = SIZE_MAX;     // of the row in which a value came last
};

// What a load of cells costs, for each.
constexpr std::int64_t kUnitsPerValue = 20 * Kt_WorkMeter::kUnitsPerCell;

bool IsOpening(Piece piece) { return piece == Piece::kObject || piece == Piece::kArray; }

// The columns of a text by the names that its members have.
class JsonColumns {
 public:
  JsonColumns(const Kt_Dataset& dataset, const Kt_CellRules& rules)
      : dataset_(dataset), rules_(rules) {}

  std::vector<JsonColumn>& List() { return columns_; }
  const std::vector<JsonColumn>& List() const { return columns_; }

  // Whether the next piece is the name of that column, as it was met last; it is taken then.
  bool TakeName(JsonScanner& scanner, std::size_t column) const {
    return column < columns_.size() && columns_[column].raw.data() != nullptr &&
           scanner.TakeName(columns_[column].raw);
  }

  // The column of a member, made when it is the first of its name. False at the limit.
  bool Find(std::string_view raw, std::size_t& column) {
    if (const auto found = by_raw_.find(raw); found != by_raw_.end()) {
      column = found->second;
      return true;
    }
    kt::CountedText name;
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
    // Names of members may be empty or differ in case alone; ids of columns may not.
    column.id = ids_.MakeHeading(Kt_WString(name));
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

  // What was seen is that of all rows, or of the first ones.
  void SettleTypes(const JsonCellReader& reader, bool sees_all) {
    for (JsonColumn& column : columns_) {
      if (!column.settled) column.type = JsonCellReader::TypeOf(column.forms);
      column.is_guess = !sees_all && !column.settled && !column.forms.IsClosed();
      const bool has_tokens =
          reader.Strings().NullsInAllColumns() && reader.Strings().HasNullTokens(column.type);
      const bool has_form = column.settled || column.type == Kt_ColumnType::kString ||
                            (column.forms.Common() & FormOf(column.type)) != 0;
      column.is_quick = has_form && !has_tokens;
    }
  }
  // As if no row had been seen; the columns stay.
  void Forget() {
    for (JsonColumn& column : columns_) {
      column.forms = {};
    }
  }

 private:
  static Kt_CellReader::Forms FormOf(Kt_ColumnType type) {
    if (type == Kt_ColumnType::kLong) return Kt_CellReader::kLong;
    return type == Kt_ColumnType::kDouble ? Kt_CellReader::kDouble : Kt_CellReader::kDate;
  }

  const Kt_Dataset& dataset_;
  const Kt_CellRules& rules_;
  std::vector<JsonColumn> columns_;
  std::unordered_map<std::string_view, std::size_t> by_raw_;
  std::unordered_map<kt::CountedText, std::size_t, TextHasher> by_name_;
  Kt_UniqueIds ids_;
};

class JsonLoader {
 public:
  JsonLoader(std::string_view text, const Kt_JsonOptions& options, const Kt_Dataset& dataset,
             Kt_LoadReport& report)
      : text_(text),
        options_(options),
        dataset_(dataset),
        reader_(options.rules),
        columns_(dataset, options.rules),
        report_(report) {}

  // False with the reason, and where there is one the place, in the report.
  bool Load() {
    if (LoadRows()) return true;
    if (fault_) TellFault();
    return false;
  }
  LoadedTable& Table() { return table_; }

 private:
  bool LoadRows() {
    report_.error = reader_.Strings().Fault();
    if (!report_.error.IsEmpty() || !FindShape()) return false;
    // What is rejected for a cell of its own counts for the types of all others: they come first.
    constexpr std::int64_t kSample = 1000;
    constexpr std::int64_t kBytesPerNoted = 1024;  // so that short texts are guessed at too
    const std::int64_t some = std::min(kSample, std::ssize(text_) / kBytesPerNoted + 1);
    if (!FindTypes(options_.reject_bad_cells ? kMaxDatasetRows : some)) return false;
    if (!sees_all_ && FindMissing() != nullptr && !FindTypes(kMaxDatasetRows)) return false;
    if (!CheckStated()) return false;
    if (AddRows()) return true;
    if (!is_misfit_) return false;
    report_ = {};
    fault_.reset();
    return FindTypes(kMaxDatasetRows) && CheckStated() && AddRows();
  }

  // Why the load fails.
  struct Fault {
    std::size_t offset = 0;
    Kt_WString error;
  };
  struct BatchRow {
    std::size_t offset = 0;
    std::string_view text;
    std::size_t end = 0;               // of its cells in the batch
    const char16_t* reason = nullptr;  // why it has no place in the columns; null: it has
  };
  struct alignas(kApart) Batch {
    kt::CountedVector<JsonCell> cells;
    kt::CountedVector<BatchRow> rows;  // none: the text has ended
  };
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

  // While rows are stored only who reads may say so.
  bool Fail(std::size_t offset, const Kt_WString& error) {
    fault_ = {offset, error};
    return false;
  }
  void TellFault() {
    const std::size_t at = std::min(fault_->offset, text_.size());
    const std::size_t line_end = at == 0 ? text_.npos : text_.find_last_of("\r\n", at - 1);
    const std::string_view before = text_.substr(0, at).substr(line_end + 1);
    report_.error = fault_->error;
    report_.error_line = kt_lineofW(text_, at);
    report_.error_column =
        1 + std::ranges::count_if(before, [](char unit) { return (unit & 0xC0) != 0x80; });
  }
  bool Fail(const JsonScanner& scanner) {
    return Fail(scanner.Offset(), Kt_WString(scanner.Error()));
  }
  bool FailForColumns(std::size_t offset) {
    return Fail(offset, Kt_WString(u"more than ") + kt_longtextW(kMaxDatasetColumns) + u" columns");
  }

  bool FindShape() {
    JsonScanner scanner(text_);
    switch (scanner.Next()) {
      case Piece::kError: return Fail(scanner);
      case Piece::kEnd:
        if (options_.may_be_empty) return true;
        return Fail(0, u"expected a list of rows; the text is empty");
      case Piece::kArray: return ShapeOfList(scanner);
      case Piece::kObject: return ShapeOfObject(scanner);
      default: return Fail(scanner.Offset(), u"expected a list of rows or an object");
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

  // An object that is all of the text holds rows when it has a list "rows", or has one member and
  // that is a list of objects, as files of codes are made; any other is a row.
  bool ShapeOfObject(JsonScanner& scanner) {
    std::optional<std::size_t> named_rows;
    std::optional<std::size_t> objects;
    std::size_t members = 0;
    for (;; ++members) {
      Piece piece = scanner.Next();
      if (piece == Piece::kObjectEnd) break;
      if (piece == Piece::kError) return Fail(scanner);
      const bool is_named_rows = scanner.Text() == "rows";
      piece = scanner.Next();
      if (piece == Piece::kError) return Fail(scanner);
      if (piece == Piece::kArray && is_named_rows) named_rows = scanner.Offset();
      if (piece == Piece::kArray && HasObjects(scanner.Offset())) objects = scanner.Offset();
      if (IsOpening(piece) && !scanner.SkipValue()) return Fail(scanner);
    }
    if (!named_rows && members == 1) named_rows = objects;
    if (named_rows && scanner.Next() == Piece::kEnd) {
      shape_ = Shape::kList;
      start_ = *named_rows;
    }
    return true;
  }

  // Whether the list there begins with an object.
  bool HasObjects(std::size_t list) const {
    JsonScanner scanner(text_, list);
    return scanner.Next() == Piece::kArray && scanner.Next() == Piece::kObject;
  }

  // Columns and types as those of the first rows. False when the text is no JSON.
  bool FindTypes(std::int64_t most_rows) {
    columns_.Forget();
    const auto ignore = [](auto&&...) { return true; };
    const auto note = [&](const auto& cells, std::size_t) {
      NoteForms(cells);
      return row_count_ < most_rows;
    };
    Start();
    if (!GoOn(note, ignore)) return false;
    sees_all_ = !is_stopped_;
    noted_rows_ = row_count_;
    const double share = static_cast<double>(scanner_->At()) /
                         static_cast<double>(std::max<std::size_t>(text_.size(), 1));
    expected_rows_ = static_cast<double>(row_count_) / (sees_all_ ? 1.0 : share);
    columns_.SettleTypes(reader_, sees_all_);
    return true;
  }

  // Goes to the first row.
  void Start() {
    scanner_.emplace(text_, start_);
    if (shape_ == Shape::kList) scanner_->Next();
    row_count_ = 0;
    is_first_ = true;
  }

  // From the row that comes next on: calls good(cells, offset) for every row that has a place in
  // the columns and bad(offset, reason) for the others, until one of them answers false. False when
  // the text is no JSON.
  template <class Good, class Bad>
  bool GoOn(Good good, Bad bad) {
    JsonScanner& scanner = *scanner_;
    for (is_stopped_ = false; !is_stopped_;) {
      const Piece piece = scanner.Next();
      if (piece == Piece::kError) return Fail(scanner);
      if (piece == Piece::kEnd) return true;
      if (shape_ == Shape::kList && piece == Piece::kArrayEnd) return IsAll(scanner);
      const bool first = std::exchange(is_first_, false);
      if (first) rows_are_ = piece;
      if (!Row(scanner, piece, first, good, bad)) return false;
    }
    return true;
  }

  bool IsAll(JsonScanner& scanner) {
    if (!must_be_all_) return true;
    const Piece piece = scanner.Next();
    if (piece == Piece::kError) return Fail(scanner);
    return piece == Piece::kEnd ||
           Fail(scanner.Offset(), u"expected the end behind the list of rows");
  }

  template <class Good, class Bad>
  bool Row(JsonScanner& scanner, Piece piece, bool first, Good good, Bad bad) {
    const std::size_t offset = scanner.Offset();
    if (!IsOpening(piece) || piece != rows_are_) {
      if (IsOpening(piece) && !scanner.SkipValue()) return Fail(scanner);
      row_text_ = text_.substr(offset, scanner.At() - offset);
      is_stopped_ =
          !bad(offset, rows_are_ == Piece::kArray ? u"expected a list" : u"expected an object");
      return true;
    }
    if (!(piece == Piece::kObject ? ReadObject(scanner) : ReadList(scanner))) return false;
    row_text_ = text_.substr(offset, scanner.At() - offset);
    constexpr std::size_t kBytesPerCell = 32;
    const std::span<const JsonCell> cells = RowCells();
    const std::size_t values = cells.size() + row_text_.size() / kBytesPerCell;
    charge_.AddOrLeave(static_cast<std::int64_t>(values) * kUnitsPerValue);
    if (piece == Piece::kArray && first) return TakeHeader(offset);
    if (!cells.empty() && cells.back().column >= columns_.List().size()) {
      DropCells();
      is_stopped_ = !bad(offset, u"more cells than columns");
      return true;
    }
    ++row_count_;
    is_stopped_ = !good(cells, offset);
    return true;
  }

  bool ReadObject(JsonScanner& scanner) {
    BeginRow();
    std::size_t expected = 0;
    for (;;) {
      JsonCell cell;
      std::size_t column = expected;
      if (!columns_.TakeName(scanner, expected)) {
        const Piece piece = scanner.Next();
        if (piece == Piece::kObjectEnd) return true;
        if (piece == Piece::kError) return Fail(scanner);
        if (!columns_.Find(scanner.Text(), column)) return FailForColumns(scanner.Offset());
      }
      cell.column = static_cast<std::uint32_t>(column);
      expected = column + 1;
      if (!ReadValue(scanner, scanner.Next(), cell)) return false;
    }
  }

  bool ReadList(JsonScanner& scanner) {
    BeginRow();
    for (std::size_t column = 0;; ++column) {
      const Piece piece = scanner.Next();
      if (piece == Piece::kArrayEnd) return true;
      JsonCell cell;
      cell.column = static_cast<std::uint32_t>(column);
      if (!ReadValue(scanner, piece, cell)) return false;
    }
  }

  bool ReadValue(JsonScanner& scanner, Piece piece, JsonCell& cell) {
    if (piece == Piece::kError || (IsOpening(piece) && !scanner.SkipValue())) return Fail(scanner);
    cell.piece = piece;
    cell.text = scanner.Text();
    cells_->push_back(cell);
    return true;
  }

  // The cells of a row stand behind those of the rows before it in the batch.
  void BeginRow() {
    if (cells_ == &own_cells_) own_cells_.clear();
    first_cell_ = cells_->size();
  }
  std::span<const JsonCell> RowCells() const { return std::span(*cells_).subspan(first_cell_); }
  void DropCells() { cells_->resize(first_cell_); }

  bool TakeHeader(std::size_t offset) {
    if (!columns_.List().empty()) {  // the second time
      DropCells();
      return true;
    }
    const std::span<const JsonCell> cells = RowCells();
    const auto is_text = [](const JsonCell& cell) { return cell.piece == Piece::kString; };
    if (!cells.empty() && std::ranges::none_of(cells, is_text)) {
      return Fail(offset, u"expected the names of the columns: the first list has them");
    }
    kt::CountedText name;
    for (const JsonCell& cell : cells) {
      name.clear();
      if (cell.piece == Piece::kString) DecodeJson(cell.text, name);
      if (cell.piece == Piece::kNumber) name.assign(cell.text.begin(), cell.text.end());
      if (!columns_.Add(name)) return FailForColumns(offset);
    }
    return true;
  }

  void NoteForms(std::span<const JsonCell> cells) {
    for (const JsonCell& cell : cells) {
      JsonColumn& column = columns_.List()[cell.column];
      if (!column.settled) reader_.Note(cell, column.forms);
    }
  }

  // The first column whose type is stated and that is not there; null: all are.
  const Kt_WString* FindMissing() const {
    if (options_.rules.types_may_lack_columns) return nullptr;
    for (const auto& stated : options_.rules.types) {
      const Kt_WString& wanted = stated.first;
      const bool known = std::ranges::any_of(columns_.List(), [&](const JsonColumn& column) {
        return kt_stricmpW(column.id.View(), wanted.View()) == 0;
      });
      if (!known) return &wanted;
    }
    return nullptr;
  }

  bool CheckStated() {
    const Kt_WString* const missing = FindMissing();
    if (missing == nullptr) return true;
    report_.error =
        Kt_WString(u"there is no column '") + missing->View() + u"', whose type is stated";
    return false;
  }

  // The id of the stored column that is meant by that of a column; empty for a computed one.
  Kt_WString StoredId(const Kt_WString& id) const {
    constexpr int kMaxAliases = 16;
    Kt_WString stored = id;
    for (int alias = 0; alias < kMaxAliases; ++alias) {
      const kt_long col = dataset_.GetColIndex(stored);
      if (col < 0) return alias == 0 ? stored : Kt_WString();
      if (!dataset_.IsLogicalColumn(col)) return stored;
      stored = dataset_.GetColMapValue(col);
    }
    return {};
  }

  void AddColumns() {
    table_.has_column_info = !options_.rules.types.empty();
    NameMap places;
    stored_columns_ = columns_.List();
    has_aliases_ = false;
    for (JsonColumn& column : stored_columns_) {
      const Kt_WString id = StoredId(column.id);
      if (id.IsEmpty()) continue;
      const kt_long place = places.Find(id);
      if (place >= 0) {
        column.cells = table_.columns[static_cast<std::size_t>(place)].cells;
        has_aliases_ = true;
        continue;
      }
      column.cells = std::make_shared<Kt_Column>(column.type);
      places.Add(id, static_cast<kt_long>(table_.columns.size()));
      table_.columns.push_back({id, {}, column.type, 0, column.cells});
    }
  }

  // False when that is a misfit, or with the reason in the report.
  bool AddRows() {
    is_misfit_ = false;
    table_ = {};
    nulls_ = {};
    counted_ = 0;
    line_ = 1;
    room_ = 0;
    if (sees_all_ && !CheckSize(row_count_)) return false;
    AddColumns();
    if (!StoreInBatches() || !CheckSize(seen_rows_)) return false;
    for (const LoadedColumn& column : table_.columns) {
      PadTo(*column.cells, table_.row_count);
      column.cells->ShrinkToFit();
    }
    report_.records = static_cast<kt_long>(table_.row_count) + report_.rows_rejected;
    Tell();
    return true;
  }

  // False when the rows do not fit the columns of the first ones, or the load fails. The next batch
  // is read before one is stored, so that the work charged is the same on one thread and on two.
  bool StoreInBatches() {
    Helper helper(static_cast<std::size_t>(expected_rows_));
    Batch batches[2];
    Start();
    seen_rows_ = 0;
    is_read_ = has_failed_ = false;
    ReadBatch(batches[0]);
    rows_are_lists_ = rows_are_ == Piece::kArray;
    for (std::size_t at = 0; !batches[at].rows.empty();) {
      bool goes_on = true;
      if (helper.IsThere()) {
        helper.Both([&] { ReadBatch(batches[at ^ 1]); },
                    [&] { goes_on = StoreBatch(batches[at]); });
        at ^= 1;
      } else {
        goes_on = StoreBatch(batches[at]);
        ReadBatch(batches[at]);
      }
      if (goes_on) continue;
      fault_.reset();  // what comes later does not count
      if (!is_misfit_) (void)CheckSize(seen_rows_);
      return false;
    }
    return !has_failed_;
  }

  void ReadBatch(Batch& batch) {
    constexpr std::size_t kCells = 4 * 1024;
    batch.cells.clear();
    batch.rows.clear();
    if (is_read_) return;
    const std::size_t known = stored_columns_.size();
    const auto add = [&](std::size_t offset, const char16_t* reason) {
      batch.rows.push_back({offset, row_text_, batch.cells.size(), reason});
      return batch.cells.size() + batch.rows.size() < kCells && columns_.List().size() == known;
    };
    const auto good = [&](const auto&, std::size_t offset) { return add(offset, nullptr); };
    cells_ = &batch.cells;
    has_failed_ = !GoOn(good, add);
    cells_ = &own_cells_;
    is_read_ = has_failed_ || !is_stopped_ || columns_.List().size() != known;
  }

  // False when the load ends with one of its rows.
  bool StoreBatch(const Batch& batch) {
    std::size_t first = 0;
    for (const BatchRow& row : batch.rows) {
      row_ = &row;
      if (row.reason != nullptr) {
        Reject(row.reason);
      } else {
        ++seen_rows_;
        if (!Store({batch.cells.data() + first, row.end - first})) return false;
      }
      first = row.end;
    }
    return true;
  }

  const char16_t* FaultOfSize(std::size_t columns, std::int64_t rows) const {
    if (rows > kMaxDatasetRows) return u"too many rows";
    const bool is_blown_up = IsBlownUp(columns, static_cast<std::size_t>(rows), text_.size());
    return is_blown_up ? u"too many empty cells" : nullptr;
  }
  bool CheckSize(std::int64_t rows) {
    const char16_t* const fault = FaultOfSize(columns_.List().size(), rows);
    return fault == nullptr || Fail(0, fault);
  }

  // Room for the next row, and as many as may follow by the length of those before it.
  bool MakeRoom(std::size_t offset) {
    constexpr std::size_t kFirst = 1024;
    if (seen_rows_ <= room_) return true;
    const std::size_t columns = stored_columns_.size();
    if (FaultOfSize(columns, seen_rows_) != nullptr) return false;
    const auto rows = static_cast<std::size_t>(seen_rows_);
    std::size_t most = rows + rows / 16 + kFirst;
    if (rows > kFirst) {
      const double left = static_cast<double>(text_.size() - offset) / static_cast<double>(offset);
      const auto all = rows + static_cast<std::size_t>(1.02 * left * static_cast<double>(rows));
      if (!IsBlownUp(columns, all, text_.size())) most = std::max(most, all);
    }
    room_ = static_cast<std::int64_t>(most);
    for (const LoadedColumn& column : table_.columns) column.cells->Reserve(most);
    return true;
  }

  // False when the load ends.
  bool Store(std::span<const JsonCell> cells) {
    const std::size_t offset = row_->offset;
    const std::size_t known = stored_columns_.size();
    is_misfit_ =
        std::ranges::any_of(cells, [=](const JsonCell& cell) { return cell.column >= known; });
    if (is_misfit_ || !MakeRoom(offset)) return false;
    others_.clear();
    twice_.clear();
    for (const JsonCell& cell : cells) {
      JsonColumn& column = stored_columns_[cell.column];
      const bool is_twice = std::exchange(column.offset, offset) == offset;
      if (!is_twice && StoreQuick(cell, column)) continue;
      if (!FitsGuess(cell, column)) return false;
      others_.push_back(cell);
      twice_.push_back(is_twice);
    }
    if (!others_.empty() && !StoreOthers()) return true;
    ++table_.row_count;
    if (rows_are_lists_ && cells.size() < known) NoteShort();
    return true;
  }

  // What was seen of the first rows may be wrong for the column.
  bool FitsGuess(const JsonCell& cell, JsonColumn& column) {
    if (!column.is_guess || seen_rows_ <= noted_rows_) return true;
    reader_.Note(cell, column.forms);
    column.is_guess = !column.forms.IsClosed();
    is_misfit_ = JsonCellReader::TypeOf(column.forms) != column.type;
    return !is_misfit_;
  }

  // A value in the usual form of its column. False for all others.
  bool StoreQuick(const JsonCell& cell, JsonColumn& column) {
    if (!column.is_quick || options_.reject_bad_cells || has_aliases_) return false;
    if (column.cells == nullptr) return false;
    if (cell.piece == Piece::kNull) return true;
    kt_long whole = 0;
    double number = 0;
    Kt_DateTime moment;
    Kt_Column& cells = *column.cells;
    switch (column.type) {
      case Kt_ColumnType::kLong:
        if (cell.piece != Piece::kNumber || !QuickLong(cell.text, whole)) return false;
        PadTo(cells, table_.row_count);
        cells.AppendLong(whole);
        return true;
      case Kt_ColumnType::kDouble:
        if (cell.piece != Piece::kNumber || !QuickDouble(cell.text, true, number)) return false;
        PadTo(cells, table_.row_count);
        cells.AppendDouble(number);
        return true;
      case Kt_ColumnType::kDateTime:
        if (cell.piece != Piece::kString || !QuickDate(cell.text, moment)) return false;
        PadTo(cells, table_.row_count);
        cells.AppendDouble(moment.days);
        return true;
      case Kt_ColumnType::kString: return StoreQuickText(cell, column);
      default: return false;
    }
  }

  bool StoreQuickText(const JsonCell& cell, const JsonColumn& column) {
    constexpr std::size_t kMaxUnits = 128;
    char16_t units[kMaxUnits];
    const bool is_plain = cell.piece == Piece::kString && cell.text.size() <= kMaxUnits &&
                          cell.text.find('\\') == cell.text.npos &&
                          (!column.is_guess || seen_rows_ <= noted_rows_);
    if (!is_plain || !WidenAscii(cell.text, units)) return false;
    PadTo(*column.cells, table_.row_count);
    column.cells->AppendText({units, cell.text.size()});
    return true;
  }

  // False when the row is rejected for one of them.
  bool StoreOthers() {
    values_.assign(others_.size(), Converted());
    faults_.clear();
    for (std::size_t at = 0; at < others_.size(); ++at) {
      values_[at].twice = twice_[at];
      if (!Convert(others_[at], values_[at])) faults_.push_back(at);
    }
    if (options_.reject_bad_cells && !faults_.empty()) {
      Reject(ReasonOf(others_[faults_[0]], values_[faults_[0]]));
      return false;
    }
    for (std::size_t at = 0; at < others_.size(); ++at) {
      const std::size_t column = others_[at].column;
      if (!StoreCell(stored_columns_[column].cells.get(), values_[at].value) &&
          !std::ranges::binary_search(faults_, at)) {
        NotConverted(others_[at]);
      }
      if (values_[at].token >= 0) nulls_.Add(column, values_[at].token);
    }
    for (const std::size_t at : faults_) NotConverted(others_[at]);
    return true;
  }

  // False for a column that is computed. Of two values in a row the last one counts.
  bool StoreCell(Kt_Column* cells, const Kt_Variant& value) {
    if (cells == nullptr) return false;
    StoreLast(*cells, table_.row_count, value);
    return true;
  }

  // False when the cell does not hold what the text says.
  bool Convert(const JsonCell& cell, Converted& converted) const {
    const JsonColumn& column = stored_columns_[cell.column];
    converted.token = reader_.NullToken(cell, column.type);
    if (converted.token >= 0) return !converted.twice;
    return reader_.Value(cell, column.type, converted.value) && !converted.twice;
  }

  Kt_WString ReasonOf(const JsonCell& cell, const Converted& converted) const {
    const JsonColumn& column = stored_columns_[cell.column];
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
    line_ += kt_lineofW(text_.substr(counted_), offset - counted_) - 1;
    counted_ = offset;
    return line_;
  }

  void Reject(const Kt_WString& reason) {
    ++report_.rows_rejected;
    List(reason, report_.rejected);
  }

  void NoteShort() {
    ++report_.rows_short;
    List(u"fewer cells than columns", report_.short_rows);
  }

  void List(const Kt_WString& reason, std::vector<Kt_LoadReport::Row>& rows) {
    if (rows.size() >= options_.max_listed) return;
    rows.push_back({RowLine(row_->offset), reason, Kt_WString::FromUtf8(row_->text)});
  }

  void NotConverted(const JsonCell& cell) {
    ++report_.cells_not_converted;
    if (report_.not_converted.size() >= options_.max_listed) return;
    Kt_WString text;
    JsonText(cell, text);
    const Kt_WString& id = stored_columns_[cell.column].id;
    report_.not_converted.push_back({RowLine(row_->offset), id, kt_excerptW(text)});
  }

  // What there is to say of the columns.
  void Tell() {
    for (std::size_t at = 0; at < stored_columns_.size(); ++at) {
      const JsonColumn& column = stored_columns_[at];
      nulls_.Tell(at, column.id, reader_.Strings(), report_);
      Kt_LoadReport::Hint hint;
      hint.column = column.id;
      const bool is_found = !column.settled && column.type == Kt_ColumnType::kString;
      if (is_found && column.forms.FindHint(reader_.Strings(), hint)) {
        report_.hints.push_back(hint);
      }
    }
  }

  std::string_view text_;
  const Kt_JsonOptions& options_;
  const Kt_Dataset& dataset_;
  const JsonCellReader reader_;
  JsonColumns columns_;
  Kt_LoadReport& report_;
  // Of who reads rows.
  alignas(kApart) std::optional<JsonScanner> scanner_;
  RoundCharge charge_;
  Shape shape_ = Shape::kStream;
  std::size_t start_ = 0;
  bool must_be_all_ = false;
  Piece rows_are_ = Piece::kObject;  // what the first row is
  bool is_first_ = true;             // the row that comes next is the first one
  std::int64_t row_count_ = 0;       // rows so far that have a place in the columns
  bool is_stopped_ = false;          // the way through the rows ended before the text did
  bool is_read_ = false;             // there is no more to store
  bool has_failed_ = false;          // because the text is no JSON
  std::optional<Fault> fault_;
  kt::CountedVector<JsonCell> own_cells_;
  kt::CountedVector<JsonCell>* cells_ = &own_cells_;  // where those of a row are put
  std::size_t first_cell_ = 0;                        // of the row in hand
  std::string_view row_text_;
  double expected_rows_ = 0;  // of all of the text
  bool sees_all_ = false;     // columns and types are those of all rows
  // Of who stores them.
  alignas(kApart) LoadedTable table_;
  std::vector<JsonColumn> stored_columns_;  // as they were when the table was made
  bool has_aliases_ = false;                // some columns share their cells
  bool is_misfit_ = false;                  // a row does not fit the columns of the first ones
  std::int64_t noted_rows_ = 0;             // those that columns and types are of
  bool rows_are_lists_ = false;
  std::int64_t seen_rows_ = 0;          // with a place in the columns
  std::int64_t room_ = 0;               // rows that the columns have room for
  const BatchRow* row_ = nullptr;       // the row in hand
  kt::CountedVector<JsonCell> others_;  // of the row in hand, that have no quick form
  std::vector<bool> twice_;             // of others_: the column has a value in this row already
  kt::CountedVector<Converted> values_;
  std::vector<std::size_t> faults_;  // cells that do not convert
  Kt_NullCounts nulls_;
  std::size_t counted_ = 0;  // lines before this offset are counted
  std::int64_t line_ = 1;
};

// Writes blocks of rows, each into a text of its own.
class JsonBlock {
 public:
  JsonBlock(const SavedRows& rows, const Kt_JsonSaveOptions& options)
      : rows_(rows),
        options_(options),
        is_list_(options.layout != Kt_JsonLayout::kLines),
        line_end_(options.layout == Kt_JsonLayout::kOneLine ? "" : "\n"),
        made_(MadeCells<kt::CountedBytes>::Of(rows)) {
    for (const SavedRows::Column& column : rows.columns) {
      kt::CountedBytes& name = names_.emplace_back(1, names_.empty() ? '{' : ',');
      AppendJsonString(column.id, name);
      name += ':';
    }
  }

  // Ends with the first cell that cannot be saved.
  void Write(std::size_t first, std::size_t end) {
    text_.clear();
    code_ = kOk;
    for (std::size_t row = first; row < end && code_ == kOk; ++row) {
      if (row > 0 && is_list_) text_ += ',';
      if (row > 0 || is_list_) text_ += line_end_;
      WriteRow(row);
    }
  }
  // Of the block written last.
  const kt::CountedBytes& GetText() const { return text_; }
  kt_long GetCode() const { return code_; }
  const Kt_SaveReport& GetReport() const { return report_; }

 private:
  void WriteRow(std::size_t row) {
    if (names_.empty()) text_ += '{';
    for (std::size_t col = 0; col < names_.size() && code_ == kOk; ++col) {
      text_ += names_[col];
      WriteCell(row, col);
    }
    text_ += '}';
  }

  void WriteCell(std::size_t row, std::size_t col) {
    const Kt_Column& cells = *rows_.columns[col].cells;
    const Slot slot = rows_.slots[row];
    if (cells.IsNull(slot)) {
      text_ += "null";
      return;
    }
    switch (cells.Type()) {
      case Kt_ColumnType::kLong: {
        char text[kMaxNumberUnits];
        const kt_long number = cells.Cells<Kt_Column::Longs>()[slot];
        text_.append(text, std::to_chars(text, text + sizeof text, number).ptr);
        return;
      }
      case Kt_ColumnType::kDouble: {
        const double number = cells.Cells<Kt_Column::Doubles>()[slot];
        if (std::isfinite(number)) return AppendJsonDouble(number, text_);
        break;
      }
      case Kt_ColumnType::kString: return WriteText(slot, col);
      default: break;
    }
    const Kt_WString fault = AppendJsonValue(cells.Read(slot), options_.show_object, text_);
    if (fault.IsEmpty()) return;
    const Kt_WString place = PlaceOfCell(static_cast<kt_long>(row), rows_.columns[col].id);
    code_ = report_.Refuse(kErrNotAllowed, place + u": " + fault.View());
  }

  void WriteText(Slot slot, std::size_t col) {
    const Kt_Column::Texts& texts = rows_.columns[col].cells->Cells<Kt_Column::Texts>();
    const std::uint32_t code = texts.codes[slot];
    const Kt_WString& text = texts.dictionary.Text(code);
    MadeCells<kt::CountedBytes>& made = made_[col];
    const auto length = static_cast<std::size_t>(text.GetLength());
    if (made.parts.empty() || length > MadeCells<kt::CountedBytes>::kLongest) {
      return AppendJsonString(text, text_);
    }
    auto& part = made.parts[code];
    if (part.end == 0) {
      part.first = made.text.size();
      AppendJsonString(text, made.text);
      part.end = made.text.size();
    }
    text_.append(made.text, part.first, part.end - part.first);
  }

  const SavedRows& rows_;
  const Kt_JsonSaveOptions& options_;
  const bool is_list_;
  const std::string_view line_end_;
  std::vector<kt::CountedBytes> names_;  // of the columns, with what is before and after them
  std::vector<MadeCells<kt::CountedBytes>> made_;
  kt::CountedBytes text_;
  kt_long code_ = kOk;
  Kt_SaveReport report_;
};

// kOk, or the code of the report. Charges for the bytes as well.
kt_long WriteJson(const SavedRows& rows, const Kt_JsonSaveOptions& options, Kt_Buffer& out,
                  Kt_SaveReport& report) {
  const bool is_list = options.layout != Kt_JsonLayout::kLines;
  const std::string_view line_end = options.layout == Kt_JsonLayout::kOneLine ? "" : "\n";
  RoundCharge charge;
  BlockBuffer text(out);
  if (is_list) out.Append("[");
  // What shows an object is code of the caller's.
  const bool may_share = !options.show_object;
  const kt_long code = WriteInBlocks(
      rows, may_share, [&] { return JsonBlock(rows, options); },
      [&](std::size_t first, std::size_t end) {
        for (std::size_t row = first; row < end; ++row) {
          charge.AddOrLeave(static_cast<std::int64_t>(rows.columns.size()) * kUnitsPerValue);
        }
      },
      [&](const JsonBlock& block, double share) {
        if (block.GetCode() != kOk) report = block.GetReport();
        if (block.GetCode() != kOk) return block.GetCode();
        ChargeOrLeave(static_cast<std::int64_t>(block.GetText().size()));
        text.Append(block.GetText(), share);
        return kt_long{kOk};
      });
  if (code != kOk) return code;
  if (is_list || !rows.slots.empty()) out.Append(line_end);
  if (is_list) out.Append("]");
  if (is_list) out.Append(line_end);
  return kOk;
}

}  // namespace

kt_long kt::LoadJson(Kt_Dataset& dataset, std::string_view utf8, const Kt_JsonOptions& options,
                     Kt_LoadReport& report) {
  if (utf8.starts_with("\xEF\xBB\xBF")) utf8.remove_prefix(3);
  return LoadTable(dataset, options.clear, report, [&](LoadedTable& table) {
    JsonLoader loader(utf8, options, dataset, report);
    if (!loader.Load()) return false;
    table = std::move(loader.Table());
    return true;
  });
}

kt_long kt::SaveJson(const Kt_Dataset& dataset, std::u16string_view type,
                     const Kt_JsonSaveOptions& options, Kt_Buffer& out, Kt_SaveReport& report) {
  out.Clear();
  const kt_long saved = SaveTable<SavedRows>(dataset, type, report, [&](const SavedRows& rows) {
    return WriteJson(rows, options, out, report);
  });
  if (saved < 0) out.Clear();
  return saved;
}
