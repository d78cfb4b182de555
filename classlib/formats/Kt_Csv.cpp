// SPDX-License-Identifier: MIT
//
// Loading CSV. The first records give a type to every column that states none, and the columns are
// filled with those types in one pass over the text. A cell that does not fit widens its column
// where that loses nothing: longs become doubles, and cells that were all null whatever comes.
// Where it does (a text among numbers, whose own texts are gone), all is read again: first to find
// the types over all records, then to fill. So the types are the same as if all records had been
// looked at first, however late in the file the cell stands that decides them (tests:
// "TypesThatComeLate").
//
// The columns are filled batch by batch: first the records of a batch are cut into cells, then each
// column stores its own. Columns have nothing in common then, so a second thread takes some of them
// while this one cuts the records of the next batch and stores the rest. Whatever the threads take,
// every column does the same in the same order.
#include <algorithm>
#include <atomic>
#include <cmath>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Helper.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/formats/Kt_CellForms.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/formats/detail/Kt_CsvHeading.h"
#include "classlib/formats/detail/Kt_CsvScanner.h"
#include "classlib/formats/detail/Kt_CsvSniffer.h"
#include "classlib/formats/detail/Kt_QuickCells.h"
#include "classlib/formats/detail/Kt_Transfer.h"
#include "classlib/formats/detail/Kt_WidenAscii.h"
#include "classlib/store/Kt_UniqueIds.h"

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
  if (text.size() > buffer.size()) buffer.resize(text.size());
  if (WidenAscii(text, buffer.data())) {
    return ToWide(std::u16string_view(buffer).substr(0, text.size()), buffer, whole);
  }
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

struct CsvColumn : CsvHeading {
  bool settled = false;     // the type is known before the cells are
  bool has_tokens = false;  // texts may stand for null
  Kt_ColumnForms forms;     // while the type is not settled
  // While the columns are filled with types of the first records: whether cells have to be asked
  // for theirs, and whether longs may still become doubles, which a -0 may not.
  bool is_guess = false;
  bool may_widen = true;
  bool is_misfit = false;  // a cell does not fit the type that the first records gave the column
  // Cells of the batch that did not convert: how many, and the first ones.
  struct Fault {
    std::size_t row;  // of the batch
    std::size_t col;
    Kt_WString text;
  };
  kt_long fault_count = 0;
  std::vector<Fault> faults;
};

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
                               !NeedsCsvQuotes(heading, report_.separator, report_.quote);
        static_cast<CsvHeading&>(column) = ParseCsvHeading(heading, !is_all_id);
        column.settled = column.stated;
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

  // False, with the reason in the report, when the text is no table.
  bool Read() {
    // What is rejected for a cell of its own counts for the types of all others: they come first.
    constexpr std::size_t kSample = 1000;
    constexpr std::size_t kUnitsPerNoted = 256;  // so that short texts are guessed at too
    nulls_ = Kt_NullCounts(columns_.size());
    const std::size_t some = std::min(kSample, body_.Rest().size() / kUnitsPerNoted + 1);
    FindTypes(options_.reject_bad_cells ? kMaxDatasetRows : static_cast<kt_long>(some));
    const Kt_LoadReport before = report_;
    if (Fill()) return true;
    if (!is_misfit_) return false;
    report_ = before;
    nulls_ = Kt_NullCounts(columns_.size());
    stored_ = 0;
    for (CsvColumn& column : columns_) {
      column.forms = {};
      column.is_misfit = false;
      column.fault_count = 0;
      column.faults.clear();
    }
    FindTypes(kMaxDatasetRows);
    return Fill();
  }

  LoadedTable Table() {
    LoadedTable table;
    table.row_count = static_cast<std::uint32_t>(stored_);
    const bool is_roomy = room_ - room_ / 32 > static_cast<std::size_t>(stored_);
    for (std::size_t col = 0; col < columns_.size(); ++col) {
      if (is_roomy) cells_[col]->ShrinkToFit();
      table.has_column_info = table.has_column_info || columns_[col].stated;
      table.columns.push_back(
          {columns_[col].id, {}, columns_[col].type, columns_[col].size, cells_[col]});
    }
    return table;
  }

 private:
  // Types as those of the first rows, which is a guess when there are more.
  void FindTypes(kt_long most_rows) {
    const bool sees_all = EachRow([&] {
      NoteForms();
      return row_count_ <= most_rows;
    });
    noted_rows_ = row_count_;
    for (CsvColumn& column : columns_) {
      if (!column.settled) column.type = column.forms.Type();
      column.has_tokens = reader_.HasNullTokens(column.type);
      column.is_guess = !sees_all && !column.settled && !column.forms.IsClosed();
    }
    room_ = static_cast<std::size_t>(row_count_);
    if (!sees_all) GuessRoom();
  }

  // For as many rows as there are lines, by some pieces of the text. Where that is too much the
  // rows are counted, before any column takes memory.
  void GuessRoom() {
    constexpr double kMargin = 1 + 1.0 / 64;
    const View text = body_.Rest();
    const double rows = static_cast<double>(text.size()) * LinesPerUnit(text) * kMargin;
    const auto guessed = static_cast<kt_long>(std::min<double>(rows, kMaxDatasetRows)) + 1;
    room_ = static_cast<std::size_t>(std::max(guessed, row_count_));
    if (CanHold(room_)) return;
    EachRow([&] { return row_count_ <= kMaxDatasetRows; });
    room_ = static_cast<std::size_t>(row_count_);
  }

  static double LinesPerUnit(View text) {
    constexpr std::size_t kPieces = 64;
    constexpr std::size_t kUnits = 1024;
    std::ptrdiff_t lines = 0;
    std::size_t seen = 0;
    for (std::size_t piece = 0; piece < kPieces; ++piece) {
      const View units = text.substr(text.size() / kPieces * piece, kUnits);
      lines +=
          std::max(std::ranges::count(units, Unit{'\n'}), std::ranges::count(units, Unit{'\r'}));
      seen += units.size();
    }
    return static_cast<double>(lines) / static_cast<double>(seen);
  }

  bool CanHold(std::size_t rows) const {
    return rows <= static_cast<std::size_t>(kMaxDatasetRows) &&
           !IsBlownUp(columns_.size(), rows, text_.size());
  }

  // False when that is a misfit, or with the reason in the report.
  bool Fill() {
    is_misfit_ = false;
    cells_.clear();
    if (!HasRoom(room_)) return false;
    for (const CsvColumn& column : columns_) {
      const auto apart = std::make_shared<ApartColumn>(column.type);
      cells_.emplace_back(apart, &apart->column);
      cells_.back()->Reserve(room_);
    }
    if (!FillInBatches()) return false;
    report_.records = stored_ + report_.rows_rejected;
    Tell();
    return true;
  }

  // The next batch is read before a misfit ends this, so that the work charged is the same whether
  // a second thread is there or not.
  bool FillInBatches() {
    Helper helper(room_);
    Walk walk(body_);
    Batch batches[2];
    row_count_ = 0;
    ReadBatch(walk, batches[0]);
    for (std::size_t at = 0; batches[at].rows > 0;) {
      const Batch& batch = batches[at];
      if (batch.end_row > room_ && !Grow(batch.end_row)) return false;
      std::atomic<std::size_t> next_col = 0;
      const auto store = [&](Texts& texts) {
        for (std::size_t col = next_col++; col < columns_.size(); col = next_col++) {
          StoreColumn(col, batch, texts);
        }
      };
      if (helper.IsThere()) {
        const auto read = [&] { ReadBatch(walk, batches[at ^ 1]); };
        helper.Both([&] { read(), store(own_texts_); }, [&] { store(other_texts_); });
        ListFaults(batch);
        at ^= 1;
      } else {
        store(own_texts_);
        ListFaults(batch);
        ReadBatch(walk, batches[at]);
      }
      is_misfit_ = std::ranges::any_of(columns_, &CsvColumn::is_misfit);
      if (is_misfit_) return false;
    }
    return true;
  }

  bool HasRoom(std::size_t rows) {
    if (CanHold(rows)) return true;
    return Fail(rows > static_cast<std::size_t>(kMaxDatasetRows) ? u"too many rows"
                                                                 : u"too many empty cells");
  }

  // More room than the first records let expect.
  bool Grow(std::size_t rows) {
    if (!HasRoom(rows)) return false;
    room_ = rows + rows / 8;
    for (const auto& cells : cells_) cells->Reserve(room_);
    return true;
  }

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
      return ParseCsvHeading(ToWide(cell.Content(format.quote, narrow), wide, whole)).stated;
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

  // The way through the records.
  struct Walk {
    explicit Walk(const Scanner& start) : scanner(start) {}
    Scanner scanner;
    RoundCharge charge;
  };

  // The next record that has a place in the columns, with its cells in record_; calls
  // bad(scanner, reason) for those before it that have none. False at the end of the text.
  template <class Bad>
  bool NextRow(Walk& walk, Bad bad) {
    for (Scanner& scanner = walk.scanner;;) {
      const Row row = scanner.Next(record_);
      if (row == Row::kEnd) return false;
      walk.charge.AddOrLeave(UnitsOf(scanner.Text().size(), record_.size()));
      // Empty cells beyond the last column say nothing: the line ends with separators.
      while (record_.size() > columns_.size() && record_.back().IsNull()) record_.pop_back();
      if (row == Row::kBad) {
        bad(scanner, scanner.Reason());
      } else if (record_.size() > columns_.size()) {
        bad(scanner, u"more cells than columns");
      } else if (columns_.size() == 1 || !IsEmptyRecord()) {
        ++row_count_;
        return true;
      }
    }
  }

  // Calls good() for every such record until it answers false. True at the end of the text.
  template <class Good>
  bool EachRow(Good good) {
    Walk walk(body_);
    row_count_ = 0;
    while (NextRow(walk, [](const Scanner&, const char16_t*) {})) {
      if (!good()) return false;
    }
    return true;
  }

  struct alignas(kApart) ApartColumn {
    explicit ApartColumn(Kt_ColumnType type) : column(type) {}
    Kt_Column column;
  };

  // Records that are stored together: the cells of a column follow one another.
  struct alignas(kApart) Batch {
    std::size_t most = 0;           // rows that it has room for
    std::size_t rows = 0;           // 0: the text has ended
    std::size_t end_row = 0;        // rows of the text up to its end
    kt::CountedVector<Cell> cells;  // of row r in column c: most * c + r
    kt::CountedVector<std::int64_t> lines;
    kt::CountedVector<kt_long> numbers;  // of the rows among those with a place in the columns
  };

  // So many cells stay in a near cache.
  void MakeRoom(Batch& batch) const {
    constexpr std::size_t kCells = 32 * 1024;
    if (batch.most > 0) return;
    batch.most =
        std::clamp<std::size_t>(kCells / columns_.size(), 1, std::max<std::size_t>(room_, 1));
    batch.cells.resize(batch.most * columns_.size());
    batch.lines.resize(batch.most);
    batch.numbers.resize(batch.most);
  }

  void ReadBatch(Walk& walk, Batch& batch) {
    MakeRoom(batch);
    batch.rows = 0;
    const auto reject = [&](const Scanner& scanner, const char16_t* reason) {
      Reject(scanner, reason);
    };
    while (batch.rows < batch.most && NextRow(walk, reject)) {
      if (options_.reject_bad_cells && !Converts(walk.scanner)) continue;
      const std::size_t row = batch.rows++;
      batch.lines[row] = walk.scanner.Line();
      batch.numbers[row] = row_count_;
      Cell* place = batch.cells.data() + row;
      for (const Cell& cell : record_) {
        *place = cell;
        place += batch.most;
      }
      ++stored_;
      if (record_.size() == columns_.size()) continue;
      for (std::size_t col = record_.size(); col < columns_.size(); ++col) {
        *place = Cell();
        place += batch.most;
      }
      NoteShort(walk.scanner);
    }
    batch.end_row = static_cast<std::size_t>(row_count_);
  }

  void NoteShort(const Scanner& scanner) {
    ++report_.rows_short;
    if (report_.short_rows.size() >= options_.max_listed) return;
    report_.short_rows.push_back(
        {scanner.Line(), u"fewer cells than columns", TextOf(scanner.Text())});
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

  // Working memory of one thread.
  struct Texts {
    typename Scanner::Buffer narrow;
    kt::CountedText wide;
  };

  void StoreColumn(std::size_t col, const Batch& batch, Texts& texts) {
    const Cell* const cells = batch.cells.data() + batch.most * col;
    const CsvColumn& column = columns_[col];
    for (std::size_t row = 0; row < batch.rows && !column.is_misfit; ++row) {
      if (cells[row].IsNull()) {
        cells_[col]->AppendNulls(1);
      } else {
        Store(col, cells[row].Content(format_.quote, texts.narrow), batch, row, texts.wide);
      }
    }
  }

  void Store(std::size_t col, View text, const Batch& batch, std::size_t row,
             kt::CountedText& buffer) {
    CsvColumn& column = columns_[col];
    // Tokens that are null everywhere may look like numbers.
    const bool tokens_first = reader_.NullsInAllColumns();
    if (tokens_first && column.has_tokens && StoreNull(col, text)) return;
    if (StoreQuick(*cells_[col], text)) return;
    if (column.is_guess && !FitsGuess(col, text, batch.numbers[row])) {
      column.is_misfit = true;
      return;
    }
    if (StoreValue(*cells_[col], text, buffer)) return;
    if (!tokens_first && column.has_tokens && StoreNull(col, text)) return;
    bool whole = false;
    const std::u16string_view wide = ToWide(text, buffer, whole);
    Kt_Variant value;
    const bool converts = reader_.Read(wide, column.type, value) && whole;
    if (!converts) NoteFault(col, row, text);
    // A column keeps what it can of a text that does not convert.
    if (wide.empty() && !text.empty()) value.Clear();
    cells_[col]->Append(value);
  }

  // Cells that fit a type that was guessed or stated, whatever the rules are.
  bool StoreQuick(Kt_Column& target, View text) {
    kt_long whole_number = 0;
    Kt_DateTime moment;
    switch (target.Type()) {
      case Kt_ColumnType::kLong:
        if (!QuickLong(text, whole_number)) return false;
        target.AppendLong(whole_number);
        return true;
      case Kt_ColumnType::kDouble:
        if (!QuickDouble(text, reader_.GetNotation().decimal == u'.', moment.days)) return false;
        target.AppendDouble(moment.days);
        return true;
      case Kt_ColumnType::kDateTime:
        if (!QuickDate(text, moment)) return false;
        target.AppendDouble(moment.days);
        return true;
      default: return false;
    }
  }

  // Whether the text leaves its column the type that was found in the first records, if need be a
  // wider one. False when the types of all records have to be found.
  bool FitsGuess(std::size_t col, View text, kt_long row_number) {
    CsvColumn& column = columns_[col];
    if (column.type == Kt_ColumnType::kString) return FitsTexts(col, text, row_number);
    const Kt_CellReader::Forms forms = reader_.FormsOf(text);
    if (forms == 0) return column.has_tokens && reader_.NullToken(text) >= 0;
    if ((forms & FormOf(column.type)) != 0) {
      double number = 0;
      const bool is_minus_zero = column.type == Kt_ColumnType::kLong &&
                                 reader_.ReadDouble(text, number) && number == 0 &&
                                 std::signbit(number);
      column.may_widen = column.may_widen && !is_minus_zero;
      return true;
    }
    const bool widens = column.type == Kt_ColumnType::kLong && column.may_widen &&
                        (forms & Kt_CellReader::kDouble) != 0;
    if (widens) Retype(col, Kt_ColumnType::kDouble);
    return widens;
  }

  bool FitsTexts(std::size_t col, View text, kt_long row_number) {
    CsvColumn& column = columns_[col];
    if (row_number <= noted_rows_) return true;
    column.forms.Note(reader_, text);
    column.is_guess = !column.forms.IsClosed();
    const Kt_ColumnType type = column.forms.Type();
    // So far there were no cells but blanks and tokens.
    if (type == Kt_ColumnType::kString) return true;
    Retype(col, type);
    return FitsGuess(col, text, row_number);
  }

  static Kt_CellReader::Forms FormOf(Kt_ColumnType type) {
    if (type == Kt_ColumnType::kLong) return Kt_CellReader::kLong;
    return type == Kt_ColumnType::kDouble ? Kt_CellReader::kDouble : Kt_CellReader::kDate;
  }

  // Gives a column that was filled so far another type. Its texts are null in that.
  void Retype(std::size_t col, Kt_ColumnType type) {
    const std::shared_ptr<Kt_Column> old = cells_[col];
    cells_[col] = std::make_shared<Kt_Column>(type);
    cells_[col]->Reserve(room_);
    columns_[col].type = type;
    columns_[col].has_tokens = reader_.HasNullTokens(type);
    RoundCharge charge;
    for (std::size_t row = 0; row < old->RowCount(); ++row) {
      charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
      Kt_Variant value = old->Read(row);
      if (value.IsString()) {
        const int token = reader_.NullToken(value.AsStringView());
        if (token >= 0) nulls_.Add(col, token);
        value.Clear();
      }
      cells_[col]->Append(value);
    }
  }

  bool StoreNull(std::size_t col, View text) {
    const int token = reader_.NullToken(text);
    if (token < 0) return false;
    cells_[col]->AppendNulls(1);
    nulls_.Add(col, token);
    return true;
  }

  // The cells of usual types, without a variant; false for all others.
  bool StoreValue(Kt_Column& target, View text, kt::CountedText& buffer) {
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
        const std::u16string_view wide = ToWide(text, buffer, whole);
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

  void NoteFault(std::size_t col, std::size_t row, View text) {
    CsvColumn& column = columns_[col];
    ++column.fault_count;
    if (column.faults.size() < options_.max_listed) {
      column.faults.push_back({row, col, ExcerptOf(text)});
    }
  }

  // Lists the cells of a batch that did not convert by row, and takes them away.
  void ListFaults(const Batch& batch) {
    std::vector<CsvColumn::Fault> faults;
    for (CsvColumn& column : columns_) {
      report_.cells_not_converted += std::exchange(column.fault_count, 0);
      std::ranges::move(column.faults, std::back_inserter(faults));
      column.faults.clear();
    }
    std::ranges::stable_sort(faults, {}, &CsvColumn::Fault::row);
    for (const CsvColumn::Fault& fault : faults) {
      if (report_.not_converted.size() >= options_.max_listed) return;
      report_.not_converted.push_back({batch.lines[fault.row], columns_[fault.col].id, fault.text});
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
  std::size_t room_ = 0;    // rows that the columns have room for
  bool is_misfit_ = false;  // a cell does not fit the type that the first records gave its column
  Kt_NullCounts nulls_;
  alignas(kApart) typename Scanner::Cells record_;  // the record in hand
  kt_long row_count_ = 0;   // records so far that have a place in the columns
  kt_long noted_rows_ = 0;  // those that the types are of
  kt_long stored_ = 0;
  typename Scanner::Buffer narrow_;
  kt::CountedText wide_;
  Texts own_texts_;
  alignas(kApart) Texts other_texts_;  // of the second thread
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
  if (!loader.Read()) return false;
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
