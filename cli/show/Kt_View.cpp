// SPDX-License-Identifier: MIT
#include "cli/show/Kt_View.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "cli/Kt_Bounds.h"

using kt::cli::GoesOn;

Kt_CliView::Kt_CliView(const Kt_Dataset& dataset) : dataset_(dataset) {
  for (kt_long col = 0; col < dataset.GetColCount(); ++col) {
    AddColumn({dataset.GetColID(col), col, -1, dataset.GetColType(col), Kt_Aggregate::kNone});
  }
}

void Kt_CliView::SetColumns(std::vector<Column> columns) {
  columns_.clear();
  headings_ = Kt_UniqueIds(u" ");
  total_.clear();
  columns_.reserve(columns.size());
  for (Column& column : columns) AddColumn(std::move(column));
}

void Kt_CliView::AddColumn(Column column, bool in_front) {
  column.heading = headings_.Make(column.heading);
  columns_.insert(in_front ? columns_.begin() : columns_.end(), std::move(column));
  if (!total_.empty()) total_.insert(in_front ? total_.begin() : total_.end(), Kt_Variant());
  if (!in_front) return;
  for (std::size_t& label : label_columns_) ++label;
}

void Kt_CliView::ShowSubtotals(kt_long max_level) {
  rows_.clear();
  some_rows_ = max_level > 0;
  if (!some_rows_) return;
  // From the last one on, past the records of every innermost group at once: only they are many.
  for (kt_long row = dataset_.GetRowCount() - 1; row >= 0;) {
    const kt_long level = dataset_.GetRowLevel(row);
    if (level > 0 && level <= max_level) rows_.push_back(row);
    row = (level == 1 ? std::min(row, dataset_.GetRangeStart(row)) : row) - 1;
  }
  std::ranges::reverse(rows_);
}

void Kt_CliView::SortRows(const std::vector<SortKey>& keys) {
  std::vector<kt_long> order(static_cast<std::size_t>(RowCount()));
  std::iota(order.begin(), order.end(), 0);
  for (auto key = keys.rbegin(); key != keys.rend(); ++key) {
    std::vector<Kt_Variant> values;
    values.reserve(order.size());
    for (kt_long row = 0; row < RowCount(); ++row) {
      if (!GoesOn()) return;
      values.push_back(Cell(row, key->column));
    }
    struct Stopped {};
    const auto is_before = [&](kt_long a, kt_long b) {
      if (!GoesOn()) throw Stopped();
      const Kt_Variant& left = values[AsIndex(a)];
      const Kt_Variant& right = values[AsIndex(b)];
      if (left.IsEmpty() || right.IsEmpty()) return !left.IsEmpty() && right.IsEmpty();
      const int difference = Var_Order(left, right);
      return key->descending ? difference > 0 : difference < 0;
    };
    try {
      std::stable_sort(order.begin(), order.end(), is_before);
    } catch (const Stopped&) {
      return;
    }
  }
  for (kt_long& row : order) row = DatasetRow(row);
  rows_ = std::move(order);
  some_rows_ = true;
}

kt_long Kt_CliView::RowCount() const {
  if (some_rows_) return static_cast<kt_long>(rows_.size());
  return dataset_.IsPivot() ? dataset_.GetPivotRowCount() : dataset_.GetRowCount();
}

kt_long Kt_CliView::Level(kt_long row) const {
  const kt_long dataset_row = DatasetRow(row);
  return dataset_.IsPivot() ? dataset_.GetPivotRowLevel(dataset_row)
                            : dataset_.GetRowLevel(dataset_row);
}

Kt_Variant Kt_CliView::StateText(kt_long dataset_row) const {
  switch (dataset_.GetRowType(dataset_row)) {
    case kRowTypeInsert: return Kt_Variant(u"insert");
    case kRowTypeUpdate: return Kt_Variant(u"update");
    default: return {};
  }
}

Kt_Variant Kt_CliView::CountRows(kt_long start, kt_long end) const {
  if (row_counts_col_ < 0) return dataset_.GetCount(start, end);
  Kt_Variant count;
  dataset_.GetAggregate(Kt_Aggregate::kSum, row_counts_col_, start, end, count);
  return count;
}

Kt_Variant Kt_CliView::Average(const Kt_Variant& sum, const Kt_Variant& count) {
  const double values = count.ToDouble();
  return values == 0 ? Kt_Variant() : Kt_Variant(sum.ToDouble() / values);
}

Kt_Variant Kt_CliView::ReadCell(kt_long dataset_row, kt_long col, kt_long position) const {
  return dataset_.IsPivot() ? dataset_.ReadColumn(dataset_row, col, position)
                            : dataset_.ReadColumn(dataset_row, col);
}

Kt_Variant Kt_CliView::Cell(kt_long row, std::size_t column) const {
  const Column& shown = columns_[column];
  const kt_long at = DatasetRow(row);
  switch (shown.col) {
    case kLevelCol: return Level(row);
    case kStateCol: return StateText(at);
    case kRowCountCol: {
      const kt_long start = dataset_.GetRangeStart(at);
      return CountRows(start, start + dataset_.GetRangeCount(at));
    }
    default: break;
  }
  if (shown.position != kAcross) {
    const Kt_Variant value = ReadCell(at, shown.col, shown.position);
    return shown.count_col < 0 ? value
                               : Average(value, ReadCell(at, shown.count_col, shown.position));
  }
  Kt_Variant across;
  // Counts add up.
  const Kt_Aggregate what = shown.total == Kt_Aggregate::kCount ? Kt_Aggregate::kSum : shown.total;
  dataset_.GetPivotColAggregate(what, shown.col, at, -1, -1, true, false, across);
  return across;
}

bool Kt_CliView::IsNull(kt_long row, std::size_t column) const {
  if (columns_[column].col == kStateCol) return false;
  const kt_long level = Level(row);
  if (level == 0) return true;
  // A subtotal of level 1 has all keys, each further level one less.
  const auto shown =
      group_keys_.end() - std::min<std::ptrdiff_t>(level - 1, std::ssize(group_keys_));
  return std::find(group_keys_.begin(), shown, columns_[column].col) != shown;
}

Kt_Aggregate Kt_CliView::MadeBy(kt_long row, std::size_t column) const {
  const bool is_made = dataset_.IsPivot() || Level(row) > 0;
  return is_made ? columns_[column].total : Kt_Aggregate::kNone;
}

std::ptrdiff_t Kt_CliView::FindColumn(std::u16string_view name) const {
  const auto find = [this](auto matches) {
    const auto found = std::find_if(columns_.begin(), columns_.end(), matches);
    return found == columns_.end() ? std::ptrdiff_t{-1} : found - columns_.begin();
  };
  const std::ptrdiff_t by_heading =
      find([name](const Column& column) { return column.heading.EqualsNoCase(name); });
  if (by_heading >= 0) return by_heading;
  const std::ptrdiff_t by_id = find([this, name](const Column& column) {
    return column.col >= 0 && dataset_.GetColID(column.col).EqualsNoCase(name);
  });
  if (by_id >= 0) return by_id;
  return find([name](const Column& column) {
    Kt_WString heading(column.heading);
    heading.Trim();
    return heading.EqualsNoCase(name);
  });
}

bool Kt_CliView::CopyTo(Kt_Dataset& target, kt_long max_rows) const {
  const kt_long rows = max_rows > 0 ? std::min(max_rows, RowCount()) : RowCount();
  target.ClearAll();
  Kt_UniqueIds ids;  // a heading may be empty, as that of a null in a cross table
  for (std::size_t column = 0; column < columns_.size(); ++column) {
    Kt_ColumnType type = columns_[column].type;
    // A sum of whole numbers that is too great for one is a double.
    for (kt_long row = 0; row < rows && type == Kt_ColumnType::kLong && GoesOn(); ++row) {
      if (Cell(row, column).IsDouble()) type = Kt_ColumnType::kDouble;
    }
    if (target.AddColumn(ids.MakeHeading(columns_[column].heading), type) < 0) return false;
  }
  if (rows > 0 && target.AppendRow(rows) < 0) return false;
  for (kt_long row = 0; row < rows && GoesOn(columns_.size()); ++row) {
    for (std::size_t column = 0; column < columns_.size(); ++column) {
      const Kt_Variant value = Cell(row, column);
      if (!value.IsEmpty()) target.SetColumn(row, static_cast<kt_long>(column), value);
    }
  }
  target.ApplyChange();
  return true;
}
