// SPDX-License-Identifier: MIT
//
// Finding a row by the value of one column.
#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/detail/Kt_Refuse.h"
#include "classlib/store/detail/Kt_Whole.h"
#include "classlib/store/kernels/Kt_FindKernels.h"
#include "classlib/text/Kt_Number.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

// The wanted value in the column's own type: prepared once, compared per cell without conversion.
class Wanted {
 public:
  Wanted(const Kt_Column& column, std::u16string_view text)
      : column_(column), text_(text), value_(column.Converted(Kt_Variant(Kt_WString(text)))) {
    // A text that is no number is in no number column, although a write would keep its start.
    double number = 0.0;
    const bool numeric = column.Type() == Kt_ColumnType::kLong ||
                         column.Type() == Kt_ColumnType::kDouble ||
                         column.Type() == Kt_ColumnType::kCurrency;
    possible_ = text.empty() || !numeric || kt_readnumberW(text, number);
    if (numeric && possible_ && column.Type() == Kt_ColumnType::kLong && !text.empty()) {
      possible_ = value_.ToDouble() == number;
    }
    if (column.Type() != Kt_ColumnType::kString) return;
    const auto& texts = column.Cells<Kt_Column::Texts>();
    if (!texts.dictionary.IsUnique()) return;
    code_ = texts.dictionary.Find(text);
    possible_ = code_.has_value();
  }

  bool IsPossible() const { return possible_; }
  // Whether hashes know where the value is: null and the empty text are in many cells, NaN in none.
  bool HasKey() const { return !text_.empty() && !value_.IsEmpty(); }
  // REQUIRES: HasKey().
  std::uint64_t Key() const {
    switch (column_.Type()) {
      case Kt_ColumnType::kLong: return CellHash::KeyOf(value_.AsLong());
      case Kt_ColumnType::kCurrency: return CellHash::KeyOf(value_.AsInt64());
      case Kt_ColumnType::kString: return code_ ? CellHash::KeyOf(*code_) : CellHash::KeyOf(text_);
      default: return CellHash::KeyOf(value_.AsDouble());
    }
  }

  // How many of some records, one after the other or listed, come before the first one that
  // matches: all of them when none does.
  std::size_t CountBefore(Slot first, std::size_t count) const {
    return CountBefore(
        count, [=](std::size_t at) { return first + at; },
        [=](const auto* cells, std::size_t at, auto value) {
          return kt::kernels::FindDense(cells + first + at, count - at, value);
        });
  }
  std::size_t CountBefore(const Slot* records, std::size_t count) const {
    return CountBefore(
        count, [=](std::size_t at) { return records[at]; },
        [=](const auto* cells, std::size_t at, auto value) {
          return kt::kernels::FindListed(cells, records + at, count - at, value);
        });
  }

  bool Matches(std::size_t row) const {
    if (column_.IsNull(row)) return text_.empty();
    switch (column_.Type()) {
      case Kt_ColumnType::kLong:
        return !text_.empty() && column_.Cells<Kt_Column::Longs>()[row] == value_.AsLong();
      case Kt_ColumnType::kDouble:
        return !text_.empty() && column_.Cells<Kt_Column::Doubles>()[row] == value_.AsDouble();
      case Kt_ColumnType::kDateTime:
        return !value_.IsEmpty() && column_.Cells<Kt_Column::Doubles>()[row] == value_.AsDouble();
      case Kt_ColumnType::kCurrency:
        return !text_.empty() && column_.Cells<Kt_Column::Units>()[row] == value_.AsInt64();
      case Kt_ColumnType::kString: {
        const auto& texts = column_.Cells<Kt_Column::Texts>();
        if (code_) return texts.codes[row] == *code_;
        return IsSameText(texts.dictionary.Text(texts.codes[row]), text_);
      }
      default: return IsSameText(column_.Read(row).ToString(), text_);
    }
  }

 private:
  // find(cells, at, value) goes from `at` to the next cell of an array that equals the value. Nulls
  // hold what a cell may hold too, so each is looked at.
  template <class RecordAt, class Find>
  std::size_t CountBefore(std::size_t count, RecordAt record_at, Find find) const {
    const auto by_array = [&](const auto& cells, auto value) {
      std::size_t at = find(cells.data(), std::size_t{0}, value);
      while (at < count && !Matches(record_at(at))) {
        ++at;
        at += find(cells.data(), at, value);
      }
      return at;
    };
    if (IsInArray()) {
      switch (column_.Type()) {
        case Kt_ColumnType::kLong:
          return by_array(column_.Cells<Kt_Column::Longs>(), value_.AsLong());
        case Kt_ColumnType::kCurrency:
          return by_array(column_.Cells<Kt_Column::Units>(), value_.AsInt64());
        case Kt_ColumnType::kString:
          return by_array(column_.Cells<Kt_Column::Texts>().codes, *code_);
        default: return by_array(column_.Cells<Kt_Column::Doubles>(), value_.AsDouble());
      }
    }
    std::size_t at = 0;
    while (at < count && !Matches(record_at(at))) ++at;
    return at;
  }
  // Whether all that match hold one number, and few others do.
  bool IsInArray() const {
    if (text_.empty() || value_.IsEmpty()) return false;
    switch (column_.Type()) {
      case Kt_ColumnType::kString:
        return code_.has_value() && (column_.NullCount() == 0 || *code_ != 0);
      case Kt_ColumnType::kBinary:
      case Kt_ColumnType::kVariant: return false;
      default: return column_.NullCount() == 0 || value_.ToDouble() != 0;
    }
  }

  const Kt_Column& column_;
  std::u16string_view text_;
  Kt_Variant value_;
  std::optional<std::uint32_t> code_;
  bool possible_ = true;
};

}  // namespace

template <class Matches>
kt_long Kt_Dataset::Body::FindFirst(View view, kt_long start, kt_long end, Matches matches) const {
  const kt_long count = ViewCount(view);
  end = end < 0 ? count : std::min(end, count);
  RoundCharge charge;
  for (kt_long row = std::max(start, 0); row < end; ++row) {
    if (!charge.Add(4 * Kt_WorkMeter::kUnitsPerCell)) return -1;
    const auto slot = RecordAt(view, row);
    if (slot && matches(row, *slot)) return row;
  }
  return -1;
}

// The same for cells of one column, many rows at a time.
template <class Wanted>
kt_long Kt_Dataset::Body::FindFirstCell(View view, kt_long start, kt_long end,
                                        const Wanted& wanted) const {
  constexpr kt_long kRowsAtOnce = 4096;
  if (rows_.grouped) {
    return FindFirst(view, start, end, [&](kt_long, Slot slot) { return wanted.Matches(slot); });
  }
  const kt_long count = ViewCount(view);
  end = end < 0 ? count : std::min(end, count);
  RoundCharge charge;
  for (kt_long row = std::max(start, 0); row < end;) {
    const kt_long stop = end - row > kRowsAtOnce ? row + kRowsAtOnce : end;
    bool is_found = false;
    const auto count_before = [&](auto records, std::size_t some) {
      if (is_found) return;
      const std::size_t before = wanted.CountBefore(records, some);
      is_found = before < some;
      row += static_cast<kt_long>(before);
    };
    const kt_long first = row;
    rows_.index->ForEachRun(
        view, row, stop, [&](Slot record, std::size_t some) { count_before(record, some); },
        [&](const Slot* records, std::size_t some) { count_before(records, some); });
    const bool goes_on =
        charge.Add((row - first + (is_found ? 1 : 0)) * 4 * Kt_WorkMeter::kUnitsPerCell);
    if (!goes_on) return -1;
    if (is_found) return row;
  }
  return -1;
}

kt_long Kt_Dataset::Body::LookupExact(View view, std::u16string_view id, std::u16string_view text,
                                      kt_long start, kt_long end) const {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  const kt_long col = self_.GetColIndex(id);
  if (col < 0) return -1;
  const auto find = [&] { return FindCell(view, col, text, start, end); };
  return IsPlain(col) ? find() : Whole(find, -1);
}

// The row by the hash of a column that is searched often. Nothing where there is none, or so many
// cells are equal that a walk over the rows finds one soon.
template <class Wanted>
std::optional<kt_long> Kt_Dataset::Body::FindHashed(View view, kt_long col, const Wanted& wanted,
                                                    kt_long start, kt_long end) const {
  constexpr int kManyEqual = 32;
  const kt_long stored = ShowsSource() ? -1 : StoredCol(col);
  if (stored < 0 || !wanted.HasKey()) return std::nullopt;
  const CellHash* const hash = columns_[stored].searches.Next(*columns_[stored].cells);
  if (hash == nullptr) return std::nullopt;
  const kt_long count = ViewCount(view);
  const kt_long last = end < 0 ? count : std::min(end, count);
  kt_long found = -1;
  int equal = 0;
  hash->ForEach(wanted.Key(), [&](Slot slot) {
    if (!wanted.Matches(slot)) return true;
    const auto place = rows_.index->PlaceOf(slot);
    if (place && rows_.index->IsIn(view, slot)) {
      const kt_long record = rows_.index->RankOf(view, *place);
      const kt_long row = rows_.grouped ? GroupsOf(view).RowOf(record) : record;
      if (row >= start && row < last && (found < 0 || row < found)) found = row;
    }
    return ++equal < kManyEqual;
  });
  return equal < kManyEqual ? std::optional(found) : std::nullopt;
}

kt_long Kt_Dataset::Body::FindCell(View view, kt_long col, std::u16string_view text, kt_long start,
                                   kt_long end) const {
  std::shared_ptr<const Kt_Column> patched;  // without the rows that are gone
  const auto patch = [&] {
    if (!IsPivot() && !IsIntact()) patched = SlotCells(col);
    return kt_long{0};
  };
  if (RefuseOnFailure(patch) < 0) return -1;
  const Kt_Column* const cells = patched != nullptr ? patched.get() : CellsOf(col);
  if (cells == nullptr) {
    return FindFirst(view, start, end, [&](kt_long row, Slot) {
      return ReadCell(view, row, col).ToString().View() == text;
    });
  }
  const Wanted wanted(*cells, text);
  if (!wanted.IsPossible()) return -1;
  if (const auto found = FindHashed(view, col, wanted, start, end)) return *found;
  return FindFirstCell(view, start, end, wanted);
}

kt_long Kt_Dataset::Body::LookupAs(View view, std::u16string_view id, std::u16string_view text,
                                   kt_long start, kt_long end) const {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  const kt_long col = self_.GetColIndex(id);
  if (col < 0) return -1;
  const auto matches = [&](kt_long row, Slot) {
    return ReadCell(view, row, col).ToString().EqualsNoCase(text);
  };
  return Whole([&] { return FindFirst(view, start, end, matches); }, -1);
}

kt_long Kt_Dataset::LookupDataRow(std::u16string_view id, std::u16string_view text, kt_long start,
                                  kt_long end) const {
  return body().LookupExact(body().ActiveView(), id, text, start, end);
}

kt_long Kt_Dataset::LookupDataRowNF(std::u16string_view id, std::u16string_view text, kt_long start,
                                    kt_long end) const {
  return body().LookupExact(kAllRows, id, text, start, end);
}

kt_long Kt_Dataset::LookupDataRowAs(std::u16string_view id, std::u16string_view text, kt_long start,
                                    kt_long end) const {
  return body().LookupAs(body().ActiveView(), id, text, start, end);
}

kt_long Kt_Dataset::LookupDataRowNFAs(std::u16string_view id, std::u16string_view text,
                                      kt_long start, kt_long end) const {
  return body().LookupAs(kAllRows, id, text, start, end);
}

Kt_WString Kt_Dataset::LookupDataText(std::u16string_view id, std::u16string_view text,
                                      std::u16string_view out_id) const {
  return body().Whole([&] {
    const kt_long row = LookupDataRow(id, text);
    return row < 0 ? Kt_WString() : ReadColumn(row, GetColIndex(out_id)).ToString();
  });
}
