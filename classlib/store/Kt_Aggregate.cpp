// SPDX-License-Identifier: MIT
//
// Count, sum, average, maximum and minimum of a column over a range of rows.
#include <algorithm>
#include <cmath>
#include <limits>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/detail/Kt_Refuse.h"
#include "classlib/store/detail/Kt_BatchReader.h"
#include "classlib/store/detail/Kt_ColumnTotal.h"
#include "classlib/store/detail/Kt_Whole.h"
#include "classlib/store/kernels/Kt_ColumnKernels.h"

using namespace kt::detail;   // NOLINT(google-build-using-namespace): flags and views
using namespace kt::kernels;  // NOLINT(google-build-using-namespace): all of them

namespace {

using Longs = Kt_Column::Longs;
using Doubles = Kt_Column::Doubles;
using Units = Kt_Column::Units;
using Texts = Kt_Column::Texts;
using Values = Kt_Column::Values;

bool IsNaN(const Kt_Variant& held) {
  const Kt_Variant& value = held.Target();
  const bool is_real = value.GetTag() == kTagDouble || value.GetTag() == kTagDateTime;
  return is_real && std::isnan(value.AsDouble());
}

// What a column's kind does to a total or an extreme on the way back to a value.
Kt_Variant Value(const Kt_Column& column, double number) {
  return column.Type() == Kt_ColumnType::kDateTime ? Kt_Variant(Kt_DateTime{number})
                                                   : Kt_Variant(number);
}
Kt_Variant Value(const Kt_Column&, kt_long number) { return number; }
Kt_Variant Value(const Kt_Column&, std::int64_t units) { return Kt_Currency::FromUnits(units); }

// One column over one range of rows. `walk(dense, listed)` visits the rows, of which there are
// `rows`.
template <class Walk>
class Aggregator {
 public:
  Aggregator(const Kt_Column& column, std::size_t rows, Walk walk)
      : column_(column), rows_(rows), walk_(walk) {}

  std::size_t CountPresent() const {
    if (column_.Nulls() == nullptr) return rows_;
    std::size_t present = 0;
    walk_([&](std::size_t first,
              std::size_t count) { present += CountPresentDense(column_.Nulls(), first, count); },
          [&](const Slot* rows, std::size_t count) {
            present += CountPresentListed(column_.Nulls(), rows, count);
          });
    return present;
  }

  Kt_CellSum Sum() const {
    return VisitCells(column_, [&](const auto& cells) { return SumCells(cells); });
  }

  template <class Order>
  Kt_Variant Best() const {
    return VisitCells(column_, [&](const auto& cells) { return BestCell<Order>(cells); });
  }

 private:
  template <class T>
  Kt_CellSum SumCells(const kt::CountedVector<T>& cells) const {
    Kt_CellSum sum;
    sum.Dense(cells.data(), 0);  // of nothing too the sum has the kind of the column
    walk_([&](std::size_t first, std::size_t count) { sum.Dense(cells.data() + first, count); },
          [&](const Slot* rows, std::size_t count) { sum.Listed(cells.data(), rows, count); });
    return sum;
  }
  // The number of a text is worked out once per text.
  Kt_CellSum SumCells(const Texts& texts) const {
    Doubles numbers(texts.dictionary.Count());
    RoundCharge charge;
    for (std::uint32_t code = 1; code < numbers.size(); ++code) {
      charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
      numbers[code] = texts.dictionary.Text(code).ToDouble();
    }
    Kt_CellSum sum;
    sum.Dense(numbers.data(), 0);
    EachRow([&](std::size_t row) { sum.Step(numbers[texts.codes[row]]); });
    return sum;
  }
  Kt_CellSum SumCells(const Values& values) const {
    Kt_CellSum sum;
    EachRow([&](std::size_t row) {
      if (!column_.IsNull(row)) sum.Step(values[row]);
    });
    return sum;
  }

  template <class Order, class T>
  Kt_Variant BestCell(const kt::CountedVector<T>& cells) const {
    Extreme<T, Order> extreme;
    walk_([&](std::size_t first,
              std::size_t count) { extreme.Dense(cells.data(), column_.Nulls(), first, count); },
          [&](const Slot* rows, std::size_t count) {
            extreme.Listed(cells.data(), column_.Nulls(), rows, count);
          });
    if constexpr (std::is_same_v<T, double>) {
      // Nothing better than the worst was seen: the cells are that, or all of them are NaN.
      if (extreme.Best() == Order::template Worst<double>() && AllNaN(cells)) {
        return Value(column_, std::numeric_limits<double>::quiet_NaN());
      }
    }
    return Value(column_, extreme.Best());
  }
  template <class Order>
  Kt_Variant BestCell(const Texts& texts) const {
    const Kt_WString* best = nullptr;
    std::uint32_t best_code = 0;
    EachRow([&](std::size_t row) {
      const std::uint32_t code = texts.codes[row];
      if (column_.IsNull(row) || (best != nullptr && code == best_code)) return;
      const Kt_WString& text = texts.dictionary.Text(code);
      if (best != nullptr && !Order::Better(text.View(), best->View())) return;
      best = &text;
      best_code = code;
    });
    return best != nullptr ? Kt_Variant(*best) : Kt_Variant();
  }
  template <class Order>
  Kt_Variant BestCell(const Values& values) const {
    const Kt_Variant* best = nullptr;
    EachRow([&](std::size_t row) {
      if (column_.IsNull(row)) return;
      if (best == nullptr || Kt_CellRule::IsBetter(Order::kGreatest, values[row], *best)) {
        best = &values[row];
      }
    });
    return best != nullptr ? *best : Kt_Variant();
  }

  bool AllNaN(const Doubles& cells) const {
    bool all = true;
    EachRow([&](std::size_t row) { all = all && (column_.IsNull(row) || std::isnan(cells[row])); });
    return all;
  }

  template <class Visit>
  void EachRow(Visit visit) const {
    RoundCharge charge;
    walk_(
        [&](std::size_t first, std::size_t count) {
          for (std::size_t row = first; row < first + count; ++row) {
            charge.AddOrLeave(2 * Kt_WorkMeter::kUnitsPerCell);
            visit(row);
          }
        },
        [&](const Slot* rows, std::size_t count) {
          for (std::size_t at = 0; at < count; ++at) {
            charge.AddOrLeave(2 * Kt_WorkMeter::kUnitsPerCell);
            visit(rows[at]);
          }
        });
  }

  const Kt_Column& column_;
  std::size_t rows_;
  Walk walk_;
};

template <class Walk>
Kt_CellFold FoldOf(Kt_Aggregate what, const Kt_Column& column, std::size_t rows, Walk walk) {
  const Aggregator aggregator(column, rows, walk);
  const auto present = static_cast<kt_long>(aggregator.CountPresent());
  Kt_CellSum sum;
  Kt_Variant best;
  switch (what) {
    case Kt_Aggregate::kSum:
    case Kt_Aggregate::kAvg: sum = aggregator.Sum(); break;
    case Kt_Aggregate::kMax:
      if (present > 0) best = aggregator.template Best<MaxOf>();
      break;
    case Kt_Aggregate::kMin:
      if (present > 0) best = aggregator.template Best<MinOf>();
      break;
    default: break;
  }
  return {what, present, sum, std::move(best)};
}

kt_long Finish(const Kt_CellFold& fold, Kt_Variant& result) {
  result = fold.Finish();
  return fold.HasValue() ? 1 : 0;
}

}  // namespace

Kt_Variant kt::detail::TotalOfSums(const double* doubles, const WideSum* units,
                                   std::int64_t longs) {
  if (doubles != nullptr) {
    double total = *doubles;
    if (units != nullptr) total += units->Approximate() / static_cast<double>(Kt_Currency::kScale);
    if (longs != 0) total += static_cast<double>(longs);
    return total;
  }
  if (units != nullptr) {
    WideSum all = *units;
    all.AddMany(longs, Kt_Currency::kScale);
    std::int64_t whole = 0;
    if (all.Total(whole)) return Kt_Currency::FromUnits(whole);
    return all.Approximate() / static_cast<double>(Kt_Currency::kScale);
  }
  return CountValue(longs);
}

Kt_Variant Kt_CellSum::Total() const {
  const double doubles = doubles_.Total();
  return TotalOfSums(has_doubles_ ? &doubles : nullptr, has_units_ ? &units_ : nullptr,
                     longs_.Total());
}

bool Kt_CellRule::IsBetter(bool greatest, const Kt_Variant& value, const Kt_Variant& best) {
  if (IsNaN(value)) return false;
  if (IsNaN(best)) return true;
  const int order = Var_Order(value, best);
  return greatest ? order > 0 : order < 0;
}

// The cells of an expression column in the records of some rows, one after another.
std::unique_ptr<Kt_Column> Kt_Dataset::Body::Evaluated(View view, kt_long start, kt_long end,
                                                       kt_long col, kt_long position) const {
  auto cells = std::make_unique<Kt_Column>(self_.GetColType(col));
  RoundCharge charge;
  BatchReader batches(self_, col, view == ActiveView());
  for (kt_long row = start; row < end;) {
    const kt_long count =
        batches.Read(row, end, [&cells](const Kt_Variant& value) { cells->Append(value); });
    ChargeCells(charge, count);
    if (count == 0 && RecordAt(view, row)) cells->Append(ReadCell(view, row, col, position));
    row += std::max(count, 1);
  }
  ChargeOrLeave(0);  // an expression may have been stopped
  return cells;
}

kt_long kt::detail::TotalOfCells(Kt_Aggregate what, const Kt_Column& cells, std::size_t first,
                                 std::size_t last, Kt_Variant& result) {
  ChargeOrLeave(static_cast<std::int64_t>(last - first));
  const auto walk = [&](auto dense, auto) { dense(first, last - first); };
  return Finish(FoldOf(what, cells, last - first, walk), result);
}

kt_long kt::detail::TotalOfColumn(Kt_Aggregate what, const Kt_Column& cells, Kt_Variant& result) {
  return TotalOfCells(what, cells, 0, cells.RowCount(), result);
}

kt_long kt::detail::TotalOfRecords(Kt_Aggregate what, const Kt_Column& cells, const RowIndex& index,
                                   View view, kt_long start, kt_long end, Kt_Variant& result) {
  ChargeOrLeave(end - start);
  const auto walk = [&](auto dense, auto listed) {
    index.ForEachRun(view, start, end, dense, listed);
  };
  const auto rows = static_cast<std::size_t>(std::max(end - start, kt_long{0}));
  return Finish(FoldOf(what, cells, rows, walk), result);
}

kt_long kt::detail::TotalOfSlots(Kt_Aggregate what, const Kt_Column& cells,
                                 const CountedVector<Slot>& slots, Kt_Variant& result) {
  const auto walk = [&](auto, auto listed) { listed(slots.data(), slots.size()); };
  return Finish(FoldOf(what, cells, slots.size(), walk), result);
}

kt_long Kt_Dataset::Body::Aggregate(View view, Kt_Aggregate what, kt_long col, kt_long start,
                                    kt_long end, kt_long position, Kt_Variant& result) const {
  if (IsPivot() && self_.GetPivotColType(col) == 0)
    return PivotDown(what, col, position, start, end, view, result);
  if (!columns_.Has(col)) {
    result.Clear();
    return -1;
  }
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  start = std::clamp(start, 0, ViewCount(view));
  end = std::clamp(end, start, ViewCount(view));
  return RefuseOnFailure([&]() -> kt_long {
    const Kt_Column* const stored = IsPivot() || IsIntact() ? CellsOf(col) : nullptr;
    if (stored == nullptr) {
      const auto cells = Whole([&] { return Evaluated(view, start, end, col, position); });
      if (cells == nullptr) return -1;
      return TotalOfColumn(what, *cells, result);
    }
    return TotalOfRecords(what, *stored, *rows_.index, view, RecordsBefore(view, start),
                          RecordsBefore(view, end), result);
  });
}

kt_long Kt_Dataset::Body::CountRecords(View view, kt_long start, kt_long end) const {
  start = std::clamp(start, 0, ViewCount(view));
  end = std::clamp(end, start, ViewCount(view));
  return RecordsBefore(view, end) - RecordsBefore(view, start);
}

kt_long Kt_Dataset::GetAggregate(Kt_Aggregate what, kt_long col, kt_long start, kt_long end,
                                 Kt_Variant& result, kt_long position) const {
  return body().Aggregate(body().ActiveView(), what, col, start, end, position, result);
}
kt_long Kt_Dataset::GetAggregateNF(Kt_Aggregate what, kt_long col, kt_long start, kt_long end,
                                   Kt_Variant& result, kt_long position) const {
  return body().Aggregate(kAllRows, what, col, start, end, position, result);
}

kt_long Kt_Dataset::GetCount(kt_long start, kt_long end) const {
  return body().CountRecords(body().ActiveView(), start, end);
}

kt_long Kt_Dataset::GetCountNF(kt_long start, kt_long end) const {
  return body().CountRecords(kAllRows, start, end);
}
