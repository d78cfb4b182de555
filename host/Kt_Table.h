// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "classlib/store/Kt_ColumnType.h"
#include "host/Kt_Engine.h"

class Kt_Column;
class Kt_Dataset;
class Kt_ExprDataset;
struct Kt_CsvOptions;
struct Kt_JsonOptions;
struct Kt_LoadReport;

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
  } else if constexpr (std::same_as<T, Kt_DateTime> || requires { Convert<T>::kIsDate; }) {
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

// Makes a column, cell by cell.
class KT_SCRIPT_API ColumnMaker {
 public:
  ColumnMaker(Kt_ColumnType type, std::size_t rows);
  void Add(const Kt_Variant& cell);
  // For columns of just these.
  void AddAll(std::span<const double> cells);
  void AddAll(std::span<const kt_long> cells);
  std::shared_ptr<Kt_Column> Take() { return std::move(column_); }

 private:
  std::shared_ptr<Kt_Column> column_;
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
  ColumnMaker maker(type, rows);
  if constexpr (std::same_as<T, double> || std::same_as<T, kt_long>) {
    constexpr std::size_t kAtOnce = 256;
    T cells[kAtOnce];
    for (std::size_t row = 0; row < rows;) {
      std::size_t count = 0;
      while (count < kAtOnce && row < rows) cells[count++] = get(row++);
      maker.AddAll(std::span<const T>(cells, count));
    }
  } else {
    for (std::size_t row = 0; row < rows; ++row) maker.Add(ToValue<T>(get(row)));
  }
  return maker.Take();
}

class TableNode;

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
    columns_.push_back({std::string(id), std::move(cells)});
    return *this;
  }
  struct Column {
    std::string id;
    std::shared_ptr<Kt_Column> cells;
  };
  const std::vector<Column>& list() const { return columns_; }

 private:
  std::vector<Column> columns_;
};

// Names a cell in messages.
struct CellPlace {
  int row;
  std::string_view column;
  KT_SCRIPT_API std::string operator()() const;
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
    field.read = [member](const Kt_Variant& value, Row& row, const CellPlace& where) {
      row.*member = detail::FromValue<T>(value, where);
    };
    fields_.push_back(std::move(field));
    return *this;
  }
  struct Field {
    std::string id;
    std::function<std::shared_ptr<Kt_Column>(std::span<const Row>)> to_column;
    std::function<void(const Kt_Variant&, Row&, const CellPlace& where)> read;
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
class KT_SCRIPT_API Table {
 public:
  explicit Table(std::string_view id = "table");
  explicit Table(Kt_Dataset& dataset);

  int rows() const;
  int columns() const;
  std::vector<std::string> column_names() const;
  bool has(std::string_view column) const;

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
    constexpr bool kIsLong = std::same_as<T, kt_long>;
    constexpr bool kIsDouble = std::same_as<T, double>;
    static_assert(kIsLong || kIsDouble || std::same_as<T, std::int64_t>,
                  "kt_long, double or std::int64_t");
    constexpr Kt_ColumnType kForm = kIsLong     ? Kt_ColumnType::kLong
                                    : kIsDouble ? Kt_ColumnType::kDouble
                                                : Kt_ColumnType::kCurrency;
    return {static_cast<const T*>(CellsOf(column, kForm)), static_cast<std::size_t>(rows())};
  }
  // Whether rows were neither sorted, hidden nor deleted since they came.
  bool lies_in_order() const;
  // The cells as shown, converted; of a computed column too. Take std::optional for nulls.
  template <class T>
  std::vector<T> values(std::string_view column) const {
    std::vector<T> out;
    out.reserve(static_cast<std::size_t>(rows()));
    ReadCells(column, [&](int row, const Kt_Variant& cell) {
      out.push_back(detail::FromValue<T>(cell, CellPlace{row, column}));
    });
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
  Table& append(const std::vector<R>& rows, const Fields<R>& fields) {
    return append(std::span<const R>(rows), fields);
  }
  template <class R>
  std::vector<R> read(const Fields<R>& fields) const {
    std::vector<R> out(static_cast<std::size_t>(rows()));
    for (const auto& field : fields.list()) {
      ReadCells(field.id, [&](int row, const Kt_Variant& cell) {
        field.read(cell, out[static_cast<std::size_t>(row)], {row, field.id});
      });
    }
    return out;
  }
  // A new row at the end, inserted, which events are told of.
  Row append_row();
  // One cell. A write asks on_change, and throws when that refuses.
  template <class T = Kt_Variant>
  T get(int row, std::string_view column) const {
    return detail::FromValue<T>(Cell(row, column), CellPlace{row, column});
  }
  template <class T = Kt_Variant>
  T original(int row, std::string_view column) const {
    return detail::FromValue<T>(Original(row, column), CellPlace{row, column});
  }
  template <class T>
  Table& set(int row, std::string_view column, const T& value) {
    return SetCell(row, column, detail::ToValue(value));
  }
  RowState state(int row) const;
  // Makes the rows as they are the normal ones / takes back all changes.
  void apply_changes();
  void reset();

  class Iterator;
  Iterator begin() const;
  Iterator end() const;

  // ---- Events -----------------------------------------------------------------------------------

  // Asked before a cell changes through a script or set(): false refuses. What it throws refuses
  // too, and is thrown by set(), or is an error of the script.
  template <class F>
  Table& on_change(F handler) {
    if constexpr (std::is_void_v<std::invoke_result_t<F&, const CellChange&>>) {
      return SetOnChange([handler = std::move(handler)](const CellChange& change) mutable {
        handler(change);
        return true;
      });
    } else {
      return SetOnChange(std::move(handler));
    }
  }
  Table& on_changed(std::function<void(const CellChange&)> listener);

  // ---- Texts -----------------------------------------------------------------------------------

  // CSV or JSON in place of the rows, in UTF-8. Throws, and leaves the table as it was, when a
  // record would be left out or a cell not be converted: `info().faults` has the first of them.
  // With a report such a text is loaded too, and what was lost stands there.
  Table& load_csv(std::string_view utf8);
  Table& load_csv(std::string_view utf8, const Kt_CsvOptions& options);
  Table& load_csv(std::string_view utf8, const Kt_CsvOptions& options, Kt_LoadReport& report);
  Table& load_json(std::string_view utf8);
  Table& load_json(std::string_view utf8, const Kt_JsonOptions& options, Kt_LoadReport& report);
  std::string to_csv() const;
  std::string to_json() const;

  // Whether scripts of that engine see it.
  bool belongs_to(const Engine& engine) const;
  // The classes underneath. Edits of the dataset itself tell no events.
  Kt_Dataset& data() const;
  Kt_ExprDataset& wrapper() const;

 private:
  friend class Engine;
  explicit Table(std::shared_ptr<detail::TableNode> node) : node_(std::move(node)) {}

  using CellReader = std::function<void(int row, const Kt_Variant& cell)>;
  void ReadCells(std::string_view column, const CellReader& read) const;
  Kt_Variant Cell(int row, std::string_view column) const;
  Kt_Variant Original(int row, std::string_view column) const;
  Table& SetCell(int row, std::string_view column, const Kt_Variant& value);
  Table& SetOnChange(std::function<bool(const CellChange&)> handler);
  const void* CellsOf(std::string_view column, Kt_ColumnType form) const;
  Table& Take(const Columns& columns, bool clear);
  template <class R>
  static Columns ToColumns(std::span<const R> rows, const Fields<R>& fields) {
    Columns columns;
    for (const auto& field : fields.list()) columns.add(field.id, field.to_column(rows));
    return columns;
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

}  // namespace kt
