// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>
#include <variant>
#include <vector>

#include "classlib/store/Kt_ColumnType.h"
#include "classlib/store/detail/Kt_TextDictionary.h"
#include "classlib/value/Kt_Variant.h"

// The type whose cells are values of that kind as they are; variant where no other has them.
KT_CLASS_API Kt_ColumnType kt_columntypeofW(Kt_Tag tag);

// One column: cells of one type in a plain array, and a null bit per cell once there is a null.
// Texts are numbers into a dictionary. A null cell holds 0 or nothing, so sums need not look.
//
// Owns its cells; copies are deep (texts and binaries share their buffers).
// Threads: const members may run in parallel; a change needs sole access.
// Fails: row numbers outside are bugs; what cannot be converted becomes what Write says. Running
// out of memory throws std::bad_alloc to the dataset, which refuses the operation.
class KT_CLASS_API Kt_Column {
 public:
  using Longs = kt::CountedVector<kt_long>;
  using Doubles = kt::CountedVector<double>;      // double and datetime
  using Units = kt::CountedVector<std::int64_t>;  // currency, in ten-thousandths
  using Values = kt::CountedVector<Kt_Variant>;   // binary and variant
  struct Texts {
    kt::CountedVector<std::uint32_t> codes;
    kt::detail::TextDictionary dictionary;
  };

  explicit Kt_Column(Kt_ColumnType type);
  Kt_Column(const Kt_Column& other);
  Kt_Column(Kt_Column&&) = default;
  Kt_Column& operator=(const Kt_Column&) = delete;
  Kt_Column& operator=(Kt_Column&&) = default;

  Kt_ColumnType Type() const { return type_; }
  std::size_t RowCount() const { return row_count_; }
  std::size_t NullCount() const { return null_count_; }
  bool IsNull(std::size_t row) const {
    return null_count_ != 0 && (nulls_[row / 64] >> (row % 64) & 1) != 0;
  }
  // One bit per row, 1 = null; null pointer when no cell is null.
  const std::uint64_t* Nulls() const { return null_count_ == 0 ? nullptr : nulls_.data(); }
  // The cells as an array of T above. REQUIRES: T is the array of the column's type.
  template <class T>
  const T& Cells() const {
    return std::get<T>(cells_);
  }

  // The value of a cell; empty for null. Never copies text.
  Kt_Variant Read(std::size_t row) const;
  // True when writing `value` would leave the cell as it is.
  bool Equals(std::size_t row, const Kt_Variant& value) const;

  // Whether two cells of the column are equal; null equals null.
  bool SameCells(std::size_t a, std::size_t b) const;

  // Stores a value; true when the cell changed. Empty gives null in every type. Into a number
  // goes the number of the value, of a text the one it starts with, of an empty text null. A text
  // that is neither date nor number as a whole gives null in a datetime column. Into a binary goes
  // the UTF-8 of any other value's text. A reference counts as its target.
  bool Write(std::size_t row, const Kt_Variant& value);
  void WriteNull(std::size_t row);
  // After this WriteNull needs no memory.
  void MakeNullable();

  // Appends cells. REQUIRES: the method is that of the column's type.
  void AppendNulls(std::size_t count);
  void AppendLong(kt_long value) { Append<Longs>(value); }
  void AppendDouble(double value) { Append<Doubles>(value); }
  void AppendUnits(std::int64_t units) { Append<Units>(units); }
  void AppendText(std::u16string_view text);
  void Append(const Kt_Variant& value);     // any type, converted as Write does
  void AppendFrom(const Kt_Column& other);  // all cells, converted when the types differ
  void Reserve(std::size_t rows);
  void ShrinkToFit();

  // A column of the cells that `rows` names, in that order.
  Kt_Column Gather(const kt::CountedVector<std::uint32_t>& rows) const;
  Kt_Column Head(std::size_t rows) const;  // the first cells
  // Drops texts that no cell uses.
  void CompactTexts();
  // The value as a cell of this type would read it back.
  Kt_Variant Converted(const Kt_Variant& value) const;

 private:
  template <class T, class Cell>
  void Append(Cell cell) {
    std::get<T>(cells_).push_back(cell);
    NoteAppended();
  }
  void NoteAppended() {
    if (KT_LIKELY(nulls_.empty())) {
      ++row_count_;
    } else {
      GrowNulls(1, false);
    }
  }
  void GrowNulls(std::size_t count, bool null);
  void SetNullBit(std::size_t row, bool null) {
    if (KT_UNLIKELY(IsNull(row) != null)) FlipNullBit(row, null);
  }
  void FlipNullBit(std::size_t row, bool null);
  void Resize(std::size_t rows);
  void WritePresent(std::size_t row, const Kt_Variant& value);
  void WriteText(std::size_t row, const Kt_WString& text);

  Kt_ColumnType type_;
  std::variant<Longs, Doubles, Units, Texts, Values> cells_;
  kt::CountedVector<std::uint64_t> nulls_;  // empty until the first null, then one bit per row
  std::size_t row_count_ = 0;
  std::size_t null_count_ = 0;
};

namespace kt::detail {

// Calls visit(cells) with the typed array of the column: the one place that chooses by type.
template <class Visit>
decltype(auto) VisitCells(const Kt_Column& column, Visit visit) {
  switch (column.Type()) {
    case Kt_ColumnType::kLong: return visit(column.Cells<Kt_Column::Longs>());
    case Kt_ColumnType::kDouble:
    case Kt_ColumnType::kDateTime: return visit(column.Cells<Kt_Column::Doubles>());
    case Kt_ColumnType::kCurrency: return visit(column.Cells<Kt_Column::Units>());
    case Kt_ColumnType::kString: return visit(column.Cells<Kt_Column::Texts>());
    default: return visit(column.Cells<Kt_Column::Values>());
  }
}

}  // namespace kt::detail
