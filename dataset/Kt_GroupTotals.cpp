// SPDX-License-Identifier: MIT
//
// A part is added column by column, as its expressions are computed fastest. Filter and keys come
// first and give every row the number of its group: a key numbers its values, and each pair of the
// group so far and a value is a group of its own. Then each total is folded by these numbers. Only
// what the part came to is looked up among the groups of all parts.
//
// The rows stay where they are and are not sorted: sums are exact, so the order of rows does not
// matter. The cells of a column are read where they lie; the texts of one are looked up once for
// every text, and pairs in a table where there are not too many to have one.
#include "dataset/Kt_GroupTotals.h"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>

#include "classlib/base/Kt_Charge.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_RowReader.h"
#include "dataset/methods/Kt_MethodArgs.h"
#include "dataset/rows/Kt_RowLoop.h"

namespace {

using namespace kt::detail;  // NOLINT(google-build-using-namespace): loops over rows

using Numbers = kt::CountedVector<std::uint32_t>;  // of groups or values, by row

constexpr std::uint32_t kNoGroup = std::numeric_limits<std::uint32_t>::max();

// Of two keys that are equal the one whose kind stays, whichever came first.
void KeepKind(Kt_Variant& kept, const Kt_Variant& other) {
  if (other.GetTag() > kept.GetTag()) kept = other;
}

// The distinct values of a key, numbered as they come.
class Distinct {
 public:
  std::uint32_t NumberOf(const Kt_Variant& held) {
    const Kt_Variant& value = held.Target();
    const auto [place, is_new] =
        numbers_.try_emplace(value, static_cast<std::uint32_t>(values_.size()));
    if (is_new) {
      values_.push_back(value);
    } else {
      KeepKind(values_[place->second], value);
    }
    return place->second;
  }
  const Kt_Variant& Value(std::uint32_t number) const { return values_[number]; }
  std::size_t Count() const { return values_.size(); }

 private:
  struct Hash {
    std::size_t operator()(const Kt_Variant& value) const { return kt::HashOf(value); }
  };
  std::unordered_map<Kt_Variant, std::uint32_t, Hash> numbers_;
  std::vector<Kt_Variant> values_;
};

// Calls take(row, number) for numbers that were computed ahead.
template <class Take>
kt_long TakeEach(kt_long first, const RowNumbers& numbers, Take take) {
  auto row = static_cast<std::size_t>(first);
  for (kt_long at = 0; at < numbers.count; ++at, ++row) {
    if (numbers.longs != nullptr) {
      take(row, numbers.longs[at]);
    } else {
      take(row, numbers.doubles[at]);
    }
  }
  return numbers.count;
}

// The cells of some rows that follow one another.
struct CellsOfRows {
  const Kt_Column& cells;
  std::size_t first_row;
  std::span<const std::uint32_t> records;  // one for each row
};

// Takers of row loops that go over the rows of a group alone.
class OfGroups {
 public:
  explicit OfGroups(Numbers& groups) : groups_(groups) {}
  bool Wants(kt_long row) const { return groups_[static_cast<std::size_t>(row)] != kNoGroup; }

 protected:
  // Calls visit(row, record) for those of some rows that have a group.
  template <class Visit>
  void EachOf(const CellsOfRows& rows, Visit visit) const {
    for (std::size_t at = 0; at < rows.records.size(); ++at) {
      const std::size_t row = rows.first_row + at;
      if (groups_[row] != kNoGroup) visit(row, rows.records[at]);
    }
  }
  Numbers& groups_;
};

class FilterTaker : public OfGroups {
 public:
  using OfGroups::OfGroups;
  void TakeCells(const CellsOfRows& rows) {
    EachOf(rows, [&](std::size_t row, std::uint32_t record) {
      TakeOne(static_cast<kt_long>(row), rows.cells.Read(record), true);
    });
  }
  kt_long TakeMany(kt_long first, const RowNumbers& numbers) {
    if (numbers.longs == nullptr) return numbers.count;  // doubles are no conditions
    return TakeEach(first, numbers, [this](std::size_t row, auto number) {
      if (number == 0) groups_[row] = kNoGroup;
    });
  }
  bool TakeOne(kt_long row, const Kt_Variant& value, bool) {
    if (IsFalseCondition(value)) groups_[static_cast<std::size_t>(row)] = kNoGroup;
    return true;
  }
};

class KeyTaker : public OfGroups {
 public:
  KeyTaker(Numbers& groups, Distinct& values, Numbers& numbers)
      : OfGroups(groups), values_(values), numbers_(numbers) {}
  // REQUIRES: the cells are those of one column.
  void TakeCells(const CellsOfRows& rows) {
    const Kt_Column& cells = rows.cells;
    if (cells.Type() == Kt_ColumnType::kString) {
      const std::uint32_t* const codes = cells.Cells<Kt_Column::Texts>().codes.data();
      const std::size_t texts = cells.Cells<Kt_Column::Texts>().dictionary.Count();
      by_code_.resize(texts + 1, kNoGroup);
      EachOf(rows, [&](std::size_t row, std::uint32_t record) {
        std::uint32_t& number = by_code_[cells.IsNull(record) ? texts : codes[record]];
        if (KT_UNLIKELY(number == kNoGroup)) number = values_.NumberOf(cells.Read(record));
        numbers_[row] = number;
      });
      return;
    }
    EachOf(rows, [&](std::size_t row, std::uint32_t record) {
      numbers_[row] = values_.NumberOf(cells.Read(record));
    });
  }
  kt_long TakeMany(kt_long first, const RowNumbers& numbers) {
    return TakeEach(first, numbers, [this](std::size_t row, auto number) {
      if (groups_[row] != kNoGroup) numbers_[row] = values_.NumberOf(number);
    });
  }
  bool TakeOne(kt_long row, const Kt_Variant& value, bool) {
    numbers_[static_cast<std::size_t>(row)] = values_.NumberOf(value);
    return true;
  }

 private:
  Distinct& values_;
  Numbers& numbers_;
  Numbers by_code_;  // of texts, and after them that of null; kNoGroup: not looked up yet
};

class TotalTaker : public OfGroups {
 public:
  // `folds` has one for each group, `step` apart.
  TotalTaker(Numbers& groups, Kt_Aggregate what, Kt_PartFold* folds, std::size_t step)
      : OfGroups(groups), is_count_(what == Kt_Aggregate::kCount), folds_(folds), step_(step) {}
  void TakeCells(const CellsOfRows& rows) {
    const Kt_Column& cells = rows.cells;
    const auto take = [&](auto step) {
      EachOf(rows, [&](std::size_t row, std::uint32_t record) {
        Kt_PartFold& fold = folds_[groups_[row] * step_];
        if (cells.IsNull(record)) {
          fold.Step(Kt_Variant());
        } else {
          step(fold, record);
        }
      });
    };
    if (is_count_) {
      take([](Kt_PartFold& fold, std::uint32_t) { fold.Step(0.0); });
    } else if (cells.Type() == Kt_ColumnType::kDouble) {
      const double* const numbers = cells.Cells<Kt_Column::Doubles>().data();
      take([&](Kt_PartFold& fold, std::uint32_t record) { fold.Step(numbers[record]); });
    } else {
      take([&](Kt_PartFold& fold, std::uint32_t record) { fold.Step(cells.Read(record)); });
    }
  }
  kt_long TakeMany(kt_long first, const RowNumbers& numbers) {
    return TakeEach(first, numbers, [this](std::size_t row, auto number) {
      if (groups_[row] != kNoGroup) folds_[groups_[row] * step_].Step(number);
    });
  }
  bool TakeOne(kt_long row, const Kt_Variant& value, bool) {
    folds_[groups_[static_cast<std::size_t>(row)] * step_].Step(value.Target());
    return true;
  }

 private:
  bool is_count_;
  Kt_PartFold* folds_;
  std::size_t step_;
};

// Numbers for pairs of the group so far and a value, as they come.
class Pairs {
 public:
  Pairs(std::size_t groups, std::size_t values, std::size_t rows) : values_(values) {
    if (groups * values <= 4 * rows) table_.resize(groups * values, kNoGroup);
  }
  // The number of a pair: `next` for one that is new.
  std::uint32_t NumberOf(std::uint32_t group, std::uint32_t value, std::size_t next) {
    const auto number = static_cast<std::uint32_t>(next);
    if (table_.empty()) {
      return numbers_.try_emplace(std::uint64_t{group} << 32 | value, number).first->second;
    }
    std::uint32_t& known = table_[group * values_ + value];
    if (known == kNoGroup) known = number;
    return known;
  }

 private:
  std::size_t values_;
  Numbers table_;  // by group and value; empty: there would be too many places
  std::unordered_map<std::uint64_t, std::uint32_t> numbers_;
};

// The rows of one part.
class Part {
 public:
  // REQUIRES: the wrapper has a dataset.
  explicit Part(Kt_ExprDataset& wrapper)
      : wrapper_(wrapper), there_(wrapper), rows_(wrapper.GetDataset()->GetRowCount()) {}

  std::size_t RowCount() const { return static_cast<std::size_t>(rows_); }
  // The values of a column or an expression. False when the run is to stop or rows have changed.
  template <class Taker>
  bool Each(const Kt_WString& text, Taker& taker) {
    if (!there_) return false;
    const kt_long col = wrapper_.GetDataset()->GetColIndex(text.View());
    return col >= 0 ? EachCell(col, taker) : EachResult(text, taker);
  }
  kt_long GetStopCode() const { return stop_code_ != kOk ? stop_code_ : kFailed; }

 private:
  static constexpr kt_long kRowsAtOnce = 1024;

  template <class Taker>
  bool EachCell(kt_long col, Taker& taker) {
    const Kt_RowReader reader(*wrapper_.GetDataset());
    const Kt_Column* const cells = reader.GetCells(col);
    std::array<std::uint32_t, kRowsAtOnce>
        records;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    for (kt_long first = 0; first < rows_; first += kRowsAtOnce) {
      const kt_long count = std::min(kRowsAtOnce, rows_ - first);
      if (!kt::Charge(count * Kt_WorkMeter::kUnitsPerCell)) {
        stop_code_ = Kt_WorkMeter::CurrentStop();
        return false;
      }
      const std::span<std::uint32_t> some(records.data(), static_cast<std::size_t>(count));
      if (cells != nullptr) reader.GetRecords(first, count, some.data());
      if (cells != nullptr && std::ranges::count(some, Kt_RowReader::kNoRecord) == 0) {
        taker.TakeCells({*cells, static_cast<std::size_t>(first), some});
      } else {
        TakeEachRow(col, first, count, taker);
      }
    }
    return true;
  }
  // Subtotals among them, or computed cells.
  template <class Taker>
  void TakeEachRow(kt_long col, kt_long first, kt_long count, Taker& taker) const {
    for (kt_long row = first; row < first + count; ++row) {
      if (taker.Wants(row)) {
        taker.TakeOne(row, wrapper_.GetDataset()->ReadColumn(row, col), true);
      }
    }
  }
  template <class Taker>
  bool EachResult(const Kt_WString& text, Taker& taker) {
    RowCursor cursor(wrapper_, RowCursor::kFollow);
    RowExpr expr(text);
    const bool is_done = ForEachValue<RowOrder::kUp>(cursor, expr, 0, rows_, taker);
    stop_code_ = cursor.GetStopCode();
    return is_done && stop_code_ == kOk && cursor.RowCount() == rows_;
  }

  Kt_ExprDataset& wrapper_;
  StillThere there_;
  const kt_long rows_;
  kt_long stop_code_ = kOk;
};

// ---- Columns of the answer --------------------------------------------------------------------

bool IsNumber(Kt_Tag tag) {
  return tag == kTagLong || tag == kTagDouble || tag == kTagCurrency || tag == kTagBool;
}

// Numbers of several kinds become doubles: which of them came as what may depend on the parts.
std::shared_ptr<Kt_Column> ColumnOf(std::vector<Kt_Variant> values) {
  const auto kind_of_all = [&values](auto counts) {
    Kt_Tag tag = kTagEmpty;
    for (const Kt_Variant& value : values) {
      if (value.IsEmpty() || !counts(value.GetTag())) continue;
      if (tag != kTagEmpty && tag != value.GetTag()) return kTagUndeclared;
      tag = value.GetTag();
    }
    return tag;
  };
  if (kind_of_all(IsNumber) == kTagUndeclared) {
    for (Kt_Variant& value : values) {
      if (IsNumber(value.GetTag())) value = value.ToDouble();
    }
  }
  const Kt_Tag tag = kind_of_all([](Kt_Tag) { return true; });
  auto column = std::make_shared<Kt_Column>(kt_columntypeofW(tag));
  for (const Kt_Variant& value : values) column->Append(value);
  return column;
}

Kt_WString StateId(char16_t kind, std::size_t number) {
  return Kt_WString(std::u16string_view(&kind, 1)) +
         Kt_WString::FromUtf8(std::to_string(number)).View();
}

}  // namespace

std::size_t Kt_GroupTotals::Hash::operator()(const Values& values) const {
  std::size_t hash = values.size();
  for (const Kt_Variant& value : values) hash = std::rotl(hash, 5) * 31 + kt::HashOf(value);
  return hash;
}

Kt_GroupTotals::Kt_GroupTotals(std::vector<Key> keys, std::vector<Total> totals, Kt_WString filter)
    : keys_(std::move(keys)), totals_(std::move(totals)), filter_(std::move(filter)) {
  Clear();
}

// All rows are a group, also when there are none.
void Kt_GroupTotals::Clear() {
  groups_.clear();
  places_.clear();
  if (keys_.empty()) Take({}, NewFolds().data());
}

std::vector<Kt_PartFold> Kt_GroupTotals::NewFolds() const {
  std::vector<Kt_PartFold> folds;
  folds.reserve(totals_.size());
  for (const Total& total : totals_) folds.emplace_back(total.what);
  return folds;
}

// `folds` has those of one group of later rows.
void Kt_GroupTotals::Take(Values key, const Kt_PartFold* folds) {
  const auto [place, is_new] = places_.try_emplace(key, groups_.size());
  if (is_new) {
    groups_.push_back({std::move(key), {folds, folds + totals_.size()}});
    return;
  }
  Group& group = groups_[place->second];
  for (std::size_t at = 0; at < key.size(); ++at) KeepKind(group.key[at], key[at]);
  for (std::size_t at = 0; at < totals_.size(); ++at) group.folds[at].Merge(folds[at]);
}

kt_long Kt_GroupTotals::Add(Kt_ExprDataset& rows) {
  if (rows.GetDataset() == nullptr) return kFailed;
  Part part(rows);
  Numbers groups(part.RowCount(), 0);
  FilterTaker filter(groups);
  if (!filter_.IsEmpty() && !part.Each(filter_, filter)) return part.GetStopCode();

  std::vector<Values> keys(1);
  Numbers numbers(part.RowCount(), 0);
  for (const Key& key : keys_) {
    Distinct values;
    KeyTaker taker(groups, values, numbers);
    if (!part.Each(key.text, taker)) return part.GetStopCode();
    std::vector<Values> longer;
    Pairs pairs(keys.size(), values.Count(), groups.size());
    for (std::size_t row = 0; row < groups.size(); ++row) {
      if (groups[row] == kNoGroup) continue;
      const std::uint32_t group = pairs.NumberOf(groups[row], numbers[row], longer.size());
      if (group == longer.size()) {
        longer.push_back(keys[groups[row]]);
        longer.back().push_back(values.Value(numbers[row]));
      }
      groups[row] = group;
    }
    keys = std::move(longer);
  }

  std::vector<Kt_PartFold> folds;
  folds.reserve(keys.size() * totals_.size());
  for (std::size_t group = 0; group < keys.size(); ++group) {
    for (const Total& total : totals_) folds.emplace_back(total.what);
  }
  for (std::size_t at = 0; at < totals_.size() && !keys.empty(); ++at) {
    TotalTaker taker(groups, totals_[at].what, folds.data() + at, totals_.size());
    if (!part.Each(totals_[at].text, taker)) return part.GetStopCode();
  }
  for (std::size_t group = 0; group < keys.size(); ++group) {
    Take(std::move(keys[group]), folds.data() + group * totals_.size());
  }
  return kOk;
}

bool Kt_GroupTotals::Merge(const Kt_GroupTotals& later) {
  const auto is_same = [](const Total& a, const Total& b) {
    return a.id == b.id && a.what == b.what && a.text == b.text;
  };
  if (later.keys_.size() != keys_.size() || !std::ranges::equal(later.totals_, totals_, is_same)) {
    return false;
  }
  for (const Group& group : later.groups_) Take(group.key, group.folds.data());
  return true;
}

kt_long Kt_GroupTotals::Finish(Kt_Dataset& answer) const {
  std::vector<std::size_t> order(groups_.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, [this](std::size_t a, std::size_t b) {
    return std::ranges::lexicographical_compare(
        groups_[a].key, groups_[b].key,
        [](const Kt_Variant& x, const Kt_Variant& y) { return Var_Order(x, y) < 0; });
  });
  std::vector<kt::ColumnData> columns;
  for (std::size_t at = 0; at < keys_.size(); ++at) {
    Values values;
    for (const std::size_t group : order) values.push_back(groups_[group].key[at]);
    columns.push_back({keys_[at].id, ColumnOf(std::move(values))});
  }
  for (std::size_t at = 0; at < totals_.size(); ++at) {
    Values values;
    for (const std::size_t group : order) values.push_back(groups_[group].folds[at].Finish());
    columns.push_back({totals_[at].id, ColumnOf(std::move(values))});
  }
  return kt::LoadColumns(answer, columns, true);
}

// ---- State ------------------------------------------------------------------------------------

// A dataset with a row for each group: keys k0, k1..., of each total its bytes (s0, s1...) and its
// extreme (b0, b1...).
kt_long Kt_GroupTotals::Save(Kt_Buffer& bytes) const {
  std::vector<kt::ColumnData> columns;
  const auto add = [&](char16_t kind, std::size_t number, auto value_of) {
    auto column = std::make_shared<Kt_Column>(Kt_ColumnType::kVariant);
    for (const Group& group : groups_) column->Append(value_of(group));
    columns.push_back({StateId(kind, number), std::move(column)});
  };
  for (std::size_t at = 0; at < keys_.size(); ++at) {
    add(u'k', at, [at](const Group& group) { return group.key[at]; });
  }
  for (std::size_t at = 0; at < totals_.size(); ++at) {
    add(u's', at, [at](const Group& group) {
      const std::string state = group.folds[at].Save();
      Kt_Variant value;
      value.SetBinary(state.data(), state.size());
      return value;
    });
    add(u'b', at, [at](const Group& group) { return group.folds[at].Best(); });
  }
  Kt_Dataset state(u"totals");
  const kt_long code = kt::LoadColumns(state, columns, true);
  if (code < 0) return code;
  Kt_SaveReport report;
  return kt::SaveBinary(state, u"", bytes, report);
}

bool Kt_GroupTotals::Load(std::span<const std::uint8_t> bytes) {
  Kt_Dataset state(u"totals");
  Kt_LoadReport report;
  groups_.clear();
  places_.clear();
  if (kt::LoadBinary(state, bytes, true, report) >= 0 && LoadGroups(state)) return true;
  Clear();
  return false;
}

bool Kt_GroupTotals::LoadGroups(const Kt_Dataset& state) {
  const auto cell = [&state](kt_long row, char16_t kind, std::size_t number) {
    const kt_long col = state.GetColIndex(StateId(kind, number).View());
    return col < 0 ? Kt_Variant() : state.ReadColumn(row, col);
  };
  if (static_cast<std::size_t>(state.GetColCount()) != keys_.size() + 2 * totals_.size()) {
    return false;
  }
  for (kt_long row = 0; row < state.GetRowCount(); ++row) {
    Values key;
    for (std::size_t at = 0; at < keys_.size(); ++at) key.push_back(cell(row, u'k', at));
    std::vector<Kt_PartFold> folds = NewFolds();
    for (std::size_t at = 0; at < folds.size(); ++at) {
      const Kt_Variant bytes = cell(row, u's', at);
      if (bytes.GetTag() != kTagBinary || !folds[at].Load(bytes.AsBinary(), cell(row, u'b', at))) {
        return false;
      }
    }
    Take(std::move(key), folds.data());
  }
  return !keys_.empty() || groups_.size() == 1;
}
