// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_RowReader.h"
#include "host/Kt_Engine.h"

namespace kt {

// The state of a row since the rows were loaded.
enum class RowState : std::uint8_t { kNormal = 1, kInserted = 2, kUpdated = 4, kDeleted = 8 };

// A cell that is to change, or has.
struct CellChange {
  std::string column;
  Kt_Variant old_value;
  Kt_Variant value;
  int row = 0;
};

namespace detail {

// The type of the column that holds values of T; numbers that may not fit 32 bits are looked at.
template <class T>
constexpr Kt_ColumnType ColumnTypeOf() {
  if constexpr (std::is_enum_v<T>) {
    return ColumnTypeOf<std::underlying_type_t<T>>();
  } else if constexpr (std::integral<T>) {
    return Kt_ColumnType::kLong;
  } else if constexpr (std::floating_point<T>) {
    return Kt_ColumnType::kDouble;
  } else if constexpr (std::same_as<T, Kt_Currency>) {
    return Kt_ColumnType::kCurrency;
  } else if constexpr (std::same_as<T, Kt_DateTime> || requires { typename T::clock; } ||
                       std::same_as<T, std::chrono::year_month_day>) {
    return Kt_ColumnType::kDateTime;
  } else if constexpr (std::convertible_to<T, std::string_view> ||
                       std::convertible_to<T, std::u16string_view>) {
    return Kt_ColumnType::kString;
  } else {
    return Kt_ColumnType::kVariant;
  }
}

template <class T>
struct CellOf {
  using Type = T;
};
template <class T>
struct CellOf<std::optional<T>> {
  using Type = T;
};

// A column of what get(row) gives for each of `rows` rows; std::nullopt is null.
template <class T, class Get>
std::shared_ptr<Kt_Column> MakeColumn(std::size_t rows, Get get) {
  using Cell = typename CellOf<T>::Type;
  Kt_ColumnType type = ColumnTypeOf<Cell>();
  if constexpr (std::integral<Cell> && sizeof(Cell) >= sizeof(kt_long)) {
    for (std::size_t row = 0; row < rows && type == Kt_ColumnType::kLong; ++row) {
      const std::optional<Cell> cell = get(row);
      if (cell && !std::in_range<kt_long>(*cell)) type = Kt_ColumnType::kDouble;
    }
  }
  auto column = std::make_shared<Kt_Column>(type);
  column->Reserve(rows);
  for (std::size_t row = 0; row < rows; ++row) {
    if constexpr (std::same_as<Cell, double> && std::same_as<T, Cell>) {
      column->AppendDouble(get(row));
    } else if constexpr (std::same_as<Cell, kt_long> && std::same_as<T, Cell>) {
      column->AppendLong(get(row));
    } else {
      column->Append(ToValue<T>(get(row)));
    }
  }
  return column;
}

// A dataset, its own or the host's, as scripts see it.
class TableNode final : public Attachable<Kt_ExprDataset>,
                        public std::enable_shared_from_this<TableNode> {
 public:
  explicit TableNode(const Kt_WString& id) : own_(std::make_unique<Kt_Dataset>(id)) {
    Begin(*own_);
  }
  explicit TableNode(Kt_Dataset& dataset) { Begin(dataset); }

  ExceptionSink exceptions;
  std::function<bool(const CellChange&)> on_change;
  std::function<void(const CellChange&)> on_changed;
  std::weak_ptr<EngineState> engine;

  void ListNames(const std::string& own, NamesJson& names) const override {
    names.Add("dataset", own);
    const Kt_Dataset* const data = GetDataset();
    for (kt_long col = 0; data != nullptr && col < data->GetColCount(); ++col) {
      names.AddMember("column", data->GetColID(col).ToUtf8(), own);
    }
  }
  int CanColumnChange(const Kt_WString& column, const Kt_Variant& old_value,
                      const Kt_Variant& new_value, int row, const Kt_Component*, int) override {
    bool allows = true;
    const auto ask = on_change;  // which it may replace
    const bool ran = !ask || Run(u".on_change", [&] {
      allows = ask({column.ToUtf8(), old_value, new_value, row});
    });
    return ran && allows ? 1 : 0;
  }
  void OnColumnChanged(const Kt_WString& column, const Kt_Variant& old_value,
                       const Kt_Variant& new_value, int row, const Kt_Component*, int) override {
    const auto tell = on_changed;
    if (tell) Run(u".on_changed", [&] { tell({column.ToUtf8(), old_value, new_value, row}); });
  }

 private:
  void Begin(Kt_Dataset& dataset) {
    exceptions.passes = true;
    SetDataset(&dataset);
    SetEvents(1);
  }
  // False when the handler threw. An edit of the host throws that on; in a run it is reported, or
  // comes out of the host's call.
  template <class Work>
  bool Run(const char16_t* event, Work work) {
    const auto self = shared_from_this();  // it may drop the table
    const std::shared_ptr<EngineState> running = engine.lock();
    ExceptionSink& sink =
        host_ != nullptr && running && running->depth > 0 ? host_->exceptions : exceptions;
    return RunHostCode(this, sink, GetID() + event, work) == kOk;
  }

  std::unique_ptr<Kt_Dataset> own_;
};

}  // namespace detail

// Columns on their way into a table.
//
//   table.load(kt::Columns().add("price", prices).add("qty", quantities));
//
// A column is made in the type of its numbers, dates or texts; std::optional cells may be null.
// Wide whole numbers become longs where all fit, else doubles, and are refused beyond 2^53.
class Columns {
 public:
  template <class T>
  Columns& add(std::string_view id, std::span<const T> cells) {
    return add(id,
               detail::MakeColumn<T>(cells.size(), [&](std::size_t row) { return cells[row]; }));
  }
  template <class T>
  Columns& add(std::string_view id, const std::vector<T>& cells) {
    return add(id,
               detail::MakeColumn<T>(cells.size(), [&](std::size_t row) { return cells[row]; }));
  }
  Columns& add(std::string_view id, std::shared_ptr<Kt_Column> cells) {
    columns_.push_back({Kt_WString::FromUtf8(id), std::move(cells)});
    return *this;
  }
  const std::vector<ColumnData>& list() const { return columns_; }

 private:
  std::vector<ColumnData> columns_;
};

// How the members of a struct stand for columns.
//
//   const auto fields = kt::Fields<Order>().add("item", &Order::item).add("qty", &Order::qty);
template <class Row>
class Fields {
 public:
  template <class T>
  Fields& add(std::string_view id, T Row::*member) {
    Field field;
    field.id = id;
    field.to_column = [member](std::span<const Row> rows) {
      return detail::MakeColumn<T>(rows.size(), [&](std::size_t at) { return rows[at].*member; });
    };
    field.read = [member](const Kt_Variant& value, Row& row, std::string_view where) {
      row.*member = detail::FromValue<T>(value, where);
    };
    fields_.push_back(std::move(field));
    return *this;
  }
  struct Field {
    std::string id;
    std::function<std::shared_ptr<Kt_Column>(std::span<const Row>)> to_column;
    std::function<void(const Kt_Variant&, Row&, std::string_view where)> read;
  };
  const std::vector<Field>& list() const { return fields_; }

 private:
  std::vector<Field> fields_;
};

class Row;

// A dataset: columns of one type each, rows with states, events.
//
//   kt::Table orders = engine.dataset("orders");
//   orders.load(kt::Columns().add("item", items).add("qty", quantities));
//   orders.on_change([](const kt::CellChange& c) { return c.value.ToDouble() >= 0; });
//   for (kt::Row row : orders) row.set("qty", row.get<int>("qty") + 1);
//
// A handle: copies are the same table. The table lives as long as a handle or its engine has it. A
// table of a host's own Kt_Dataset borrows that.
// Fails: throws kt::RunError. Threads: one at a time, the engine's when it has one.
class Table {
 public:
  explicit Table(std::string_view id = "table")
      : node_(std::make_shared<detail::TableNode>(Kt_WString::FromUtf8(id))) {}
  explicit Table(Kt_Dataset& dataset) : node_(std::make_shared<detail::TableNode>(dataset)) {}

  int rows() const { return data().GetRowCount(); }
  int columns() const { return data().GetColCount(); }
  std::vector<std::string> column_names() const {
    std::vector<std::string> names;
    names.reserve(static_cast<std::size_t>(columns()));
    for (kt_long col = 0; col < columns(); ++col) names.push_back(data().GetColID(col).ToUtf8());
    return names;
  }
  bool has(std::string_view column) const { return Find(column) >= 0; }

  // ---- Columns ----------------------------------------------------------------------------------

  // In place of the stored columns and rows / after the rows that there are. The rows are normal
  // ones: no event tells of them.
  Table& load(const Columns& columns) { return Take(columns, true); }
  Table& append(const Columns& columns) { return Take(columns, false); }
  // The cells of a column in the order of the rows, without a copy: kt_long of long columns, double
  // of double and date columns (day numbers), std::int64_t of currency columns (ten-thousandths).
  // Null cells are 0. Good until the table changes. Throws where the cells do not lie like this:
  // for other columns, and when rows were sorted, hidden or deleted; values() copies them then.
  template <class T>
  std::span<const T> span(std::string_view column) const {
    const kt_long col = At(column);
    const Kt_Column* const cells = Kt_RowReader(data()).GetCells(col);
    const std::size_t count = static_cast<std::size_t>(rows());
    if (cells == nullptr || !lies_in_order()) {
      throw RunError("the cells of '" + std::string(column) + "' do not lie in the order of rows");
    }
    if constexpr (std::same_as<T, kt_long>) {
      if (cells->Type() == Kt_ColumnType::kLong) {
        return {cells->Cells<Kt_Column::Longs>().data(), count};
      }
    } else if constexpr (std::same_as<T, double>) {
      if (cells->Type() == Kt_ColumnType::kDouble || cells->Type() == Kt_ColumnType::kDateTime) {
        return {cells->Cells<Kt_Column::Doubles>().data(), count};
      }
    } else {
      static_assert(std::same_as<T, std::int64_t>, "kt_long, double or std::int64_t");
      if (cells->Type() == Kt_ColumnType::kCurrency) {
        return {cells->Cells<Kt_Column::Units>().data(), count};
      }
    }
    throw RunError("column '" + std::string(column) + "' holds " +
                   Kt_WString(kt_columntypenameW(cells->Type())).ToUtf8());
  }
  // Whether rows were neither sorted, hidden nor deleted since they came.
  bool lies_in_order() const {
    constexpr kt_long kAtOnce = 512;
    std::uint32_t records[kAtOnce];
    const Kt_RowReader reader(data());
    for (kt_long row = 0; row < rows(); row += kAtOnce) {
      const kt_long count = std::min(kAtOnce, rows() - row);
      reader.GetRecords(row, count, records);
      for (kt_long at = 0; at < count; ++at) {
        if (records[at] != static_cast<std::uint32_t>(row + at)) return false;
      }
    }
    return true;
  }
  // The cells as shown, converted; of a computed column too. Take std::optional for nulls.
  template <class T>
  std::vector<T> values(std::string_view column) const {
    const kt_long col = At(column);
    std::vector<T> out;
    out.reserve(static_cast<std::size_t>(rows()));
    for (kt_long row = 0; row < rows(); ++row) {
      out.push_back(detail::FromValue<T>(data().ReadColumn(row, col), Where(row, column)));
    }
    return out;
  }

  // ---- Rows -------------------------------------------------------------------------------------

  template <class R>
  Table& load(std::span<const R> rows, const Fields<R>& fields) {
    return load(ToColumns(rows, fields));
  }
  template <class R>
  Table& append(std::span<const R> rows, const Fields<R>& fields) {
    return append(ToColumns(rows, fields));
  }
  template <class R>
  Table& load(const std::vector<R>& rows, const Fields<R>& fields) {
    return load(std::span<const R>(rows), fields);
  }
  template <class R>
  std::vector<R> read(const Fields<R>& fields) const {
    std::vector<R> out(static_cast<std::size_t>(rows()));
    for (const auto& field : fields.list()) {
      const kt_long col = At(field.id);
      for (kt_long row = 0; row < rows(); ++row) {
        field.read(data().ReadColumn(row, col), out[static_cast<std::size_t>(row)],
                   Where(row, field.id));
      }
    }
    return out;
  }
  // A new row at the end, inserted, which events are told of.
  Row append_row();
  // One cell. A write asks on_change, and throws when that refuses.
  template <class T = Kt_Variant>
  T get(int row, std::string_view column) const {
    return detail::FromValue<T>(data().ReadColumn(row, At(column)), Where(row, column));
  }
  template <class T = Kt_Variant>
  T original(int row, std::string_view column) const {
    return detail::FromValue<T>(data().GetOrgColumn(row, At(column)), Where(row, column));
  }
  template <class T>
  Table& set(int row, std::string_view column, const T& value) {
    const int code = node_->SetColumn(row, At(column), detail::ToValue(value));
    node_->exceptions.Rethrow();
    if (code != 1) throw RunError(Where(row, column) + " was not changed");
    return *this;
  }
  RowState state(int row) const { return static_cast<RowState>(data().GetRowType(row)); }
  // Makes the rows as they are the normal ones / takes back all changes.
  void apply_changes() { data().ApplyChange(); }
  void reset() { data().Reset(); }

  class Iterator;
  Iterator begin() const;
  Iterator end() const;

  // ---- Events -----------------------------------------------------------------------------------

  // Asked before a cell changes through a script or set(): false refuses. What it throws refuses
  // too, and is thrown by set(), or is an error of the script.
  template <class F>
  Table& on_change(F handler) {
    if constexpr (std::is_void_v<std::invoke_result_t<F&, const CellChange&>>) {
      node_->on_change = [handler = std::move(handler)](const CellChange& change) mutable {
        handler(change);
        return true;
      };
    } else {
      node_->on_change = std::move(handler);
    }
    return *this;
  }
  Table& on_changed(std::function<void(const CellChange&)> listener) {
    node_->on_changed = std::move(listener);
    return *this;
  }

  // ---- Texts
  // --------------------------------------------------------------------------------------

  Table& load_csv(std::string_view utf8, const Kt_CsvOptions& options = {}) {
    Kt_LoadReport report;
    return Loaded(LoadCsv(data(), utf8, options, report), report);
  }
  Table& load_json(std::string_view utf8) {
    Kt_LoadReport report;
    return Loaded(LoadJson(data(), utf8, Kt_JsonOptions(), report), report);
  }
  std::string to_csv() const {
    Kt_SaveReport report;
    Kt_WString text;
    Saved(SaveCsv(data(), u"", Kt_CsvSaveOptions(), text, report), report);
    return text.ToUtf8();
  }
  std::string to_json() const {
    Kt_SaveReport report;
    Kt_Buffer text;
    Saved(SaveJson(data(), u"", Kt_JsonSaveOptions(), text, report), report);
    return std::string(text.View());
  }

  // The classes underneath. Edits of the dataset itself tell no events.
  Kt_Dataset& data() const {
    if (Kt_Dataset* const data = node_->GetDataset()) return *data;
    throw RunError("the dataset was destroyed");
  }
  Kt_ExprDataset& wrapper() const { return *node_; }
  const std::shared_ptr<detail::TableNode>& node() const { return node_; }

 private:
  friend class Engine;
  explicit Table(std::shared_ptr<detail::TableNode> node) : node_(std::move(node)) {}

  kt_long Find(std::string_view column) const {
    return data().GetColIndex(Kt_WString::FromUtf8(column));
  }
  kt_long At(std::string_view column) const {
    const kt_long col = Find(column);
    if (col < 0) throw RunError("there is no column '" + std::string(column) + "'");
    return col;
  }
  static std::string Where(kt_long row, std::string_view column) {
    return "row " + std::to_string(row) + " of '" + std::string(column) + "'";
  }
  template <class R>
  static Columns ToColumns(std::span<const R> rows, const Fields<R>& fields) {
    Columns columns;
    for (const auto& field : fields.list()) columns.add(field.id, field.to_column(rows));
    return columns;
  }
  Table& Take(const Columns& columns, bool clear) {
    const kt_long code = LoadColumns(data(), columns.list(), clear);
    if (code < 0) {
      throw RunError(code == kFailed ? "the columns differ in length, or the table takes no rows"
                                     : detail::LastFailure(code).text);
    }
    node_->AnnounceRows(clear ? Kt_LoadReason::kLoaded : Kt_LoadReason::kAppended);
    return *this;
  }
  Table& Loaded(kt_long code, const Kt_LoadReport& report) {
    if (code < 0) {
      ErrorInfo info;
      info.text = report.error.ToUtf8();
      info.code = code;
      info.place.line = static_cast<int>(report.error_line);
      info.place.column = static_cast<int>(report.error_column);
      throw RunError(std::move(info));
    }
    node_->AnnounceRows(Kt_LoadReason::kLoaded);
    return *this;
  }
  static void Saved(kt_long code, const Kt_SaveReport& report) {
    if (code >= 0) return;
    ErrorInfo info = detail::LastFailure(code);
    if (!report.error.IsEmpty()) info.text = report.error.ToUtf8();
    throw RunError(std::move(info));
  }

  std::shared_ptr<detail::TableNode> node_;
};

// A row of a table by its number, as it is shown: good until rows come, go or change places.
class Row {
 public:
  Row(const Table& table, int index) : table_(table), index_(index) {}
  int index() const { return index_; }
  RowState state() const { return table_.state(index_); }
  template <class T = Kt_Variant>
  T get(std::string_view column) const {
    return table_.get<T>(index_, column);
  }
  template <class T = Kt_Variant>
  T original(std::string_view column) const {
    return table_.original<T>(index_, column);
  }
  template <class T>
  Row& set(std::string_view column, const T& value) {
    table_.set(index_, column, value);
    return *this;
  }

 private:
  Table table_;
  int index_;
};

class Table::Iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = Row;
  using difference_type = std::ptrdiff_t;
  using pointer = const Row*;
  using reference = Row;
  Iterator(const Table& table, int row) : table_(&table), row_(row) {}
  Row operator*() const { return {*table_, row_}; }
  Iterator& operator++() {
    ++row_;
    return *this;
  }
  Iterator operator++(int) { return {*table_, row_++}; }
  // Rows may come and go on the way.
  bool operator==(const Iterator& end) const { return row_ >= end.row_; }

 private:
  const Table* table_;
  int row_;
};

inline Table::Iterator Table::begin() const { return {*this, 0}; }
inline Table::Iterator Table::end() const { return {*this, rows()}; }

inline Row Table::append_row() {
  const int row = node_->AppendRow();
  node_->exceptions.Rethrow();
  if (row < 0) throw RunError("no row was added");
  return {*this, row};
}

inline Table Engine::dataset(std::string_view name) {
  const Kt_WString id = detail::ToName(name);
  if (Kt_ExprDataset* const known = state_->host.GetChildDataset(id)) {
    return Table(static_cast<detail::TableNode*>(known)->shared_from_this());
  }
  return dataset(name, Table(name));
}

// A table belongs to one engine at a time, under one name: the last one counts.
inline Table Engine::dataset(std::string_view name, Table table) {
  const Kt_WString id = detail::ToName(name);
  if (const auto before = table.node_->engine.lock()) before->host.Remove(table.node_.get());
  state_->host.SetTable(id, table.node_);
  table.node_->engine = state_;
  table.node_->Join(state_->host);
  return table;
}

}  // namespace kt
