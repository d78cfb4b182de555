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
#include "classlib/store/kernels/Kt_SortKernels.h"
#include "dataset/detail/Kt_GroupFolds.h"
#include "dataset/detail/Kt_NumberTable.h"
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

// The records of rows that follow one another: one after another too, or as a list has them.
struct RecordRun {
  std::uint32_t first;
  std::uint32_t operator[](std::size_t at) const { return first + static_cast<std::uint32_t>(at); }
};
using RecordList = const std::uint32_t*;

// The cells of some rows.
template <class Records>
struct CellsOfRows {
  const Kt_Column& cells;
  std::size_t first_row;
  std::size_t count;
  Records records;  // by row from the first one
};

// Takers of row loops that go over the rows of a group alone.
class OfGroups {
 public:
  explicit OfGroups(Numbers& groups) : groups_(groups) {}
  bool Wants(kt_long row) const { return groups_[static_cast<std::size_t>(row)] != kNoGroup; }

 protected:
  // Calls visit(row, record) for those of some rows that have a group.
  template <class Rows, class Visit>
  void EachOf(const Rows& rows, Visit visit) const {
    const std::uint32_t* const groups = groups_.data() + rows.first_row;
    for (std::size_t at = 0; at < rows.count; ++at) {
      if (groups[at] != kNoGroup) visit(rows.first_row + at, rows.records[at]);
    }
  }
  Numbers& groups_;
};

class FilterTaker : public OfGroups {
 public:
  using OfGroups::OfGroups;
  template <class Rows>
  void TakeCells(const Rows& rows) {
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
  template <class Rows>
  void TakeCells(const Rows& rows) {
    VisitCells(rows.cells, [&]<class Cells>(const Cells& cells) {
      if constexpr (std::is_same_v<Cells, Kt_Column::Texts>) {
        by_code_.resize(cells.dictionary.Count(), kNoGroup);
        TakeEachCell(rows,
                     [known = by_code_.data(), codes = cells.codes.data()](
                         std::uint32_t record) -> std::uint32_t& { return known[codes[record]]; });
      } else if constexpr (std::is_same_v<Cells, Kt_Column::Values>) {
        EachOf(rows, [&](std::size_t row, std::uint32_t record) {
          numbers_[row] = values_.NumberOf(cells[record]);
        });
      } else {
        TakeEachCell(rows, [&](std::uint32_t record) -> std::uint32_t& {
          return by_key_.NumberOf(kt::kernels::KeyOf(cells[record]));
        });
      }
    });
  }
  kt_long TakeMany(kt_long first, const RowNumbers& numbers) {
    return TakeEach(first, numbers, [this](std::size_t row, auto number) {
      if (groups_[row] == kNoGroup) return;
      constexpr bool kIsDouble = std::is_same_v<decltype(number), double>;
      std::uint32_t& known = (kIsDouble ? by_key_ : by_long_).NumberOf(kt::kernels::KeyOf(number));
      if (KT_UNLIKELY(known == kNoGroup)) known = values_.NumberOf(number);
      numbers_[row] = known;
    });
  }
  bool TakeOne(kt_long row, const Kt_Variant& value, bool) {
    numbers_[static_cast<std::size_t>(row)] = values_.NumberOf(value);
    return true;
  }

 private:
  // known_of(record) is the place for the number of a cell that is not null.
  template <class Rows, class KnownOf>
  void TakeEachCell(const Rows& rows, KnownOf known_of) {
    const kt::kernels::NullBits nulls = rows.cells.Nulls();
    std::uint32_t* const numbers = numbers_.data();
    EachOf(rows, [&](std::size_t row, std::uint32_t record) {
      const bool is_null = nulls != nullptr && kt::kernels::IsNull(nulls, record);
      std::uint32_t& known = is_null ? of_null_ : known_of(record);
      if (KT_UNLIKELY(known == kNoGroup)) known = NewNumber(rows.cells, record);
      numbers[row] = known;
    });
  }
  KT_NOINLINE std::uint32_t NewNumber(const Kt_Column& cells, std::uint32_t record) {
    return values_.NumberOf(cells.Read(record));
  }

  static_assert(NumberTable::kNone == kNoGroup);
  Distinct& values_;
  Numbers& numbers_;
  // Numbers that are known already: of texts, of other cells and doubles, and of longs that were
  // computed.
  Numbers by_code_;
  NumberTable by_key_;
  NumberTable by_long_;
  std::uint32_t of_null_ = kNoGroup;
};

class TotalTaker : public OfGroups {
 public:
  TotalTaker(Numbers& groups, GroupFolds& folds) : OfGroups(groups), folds_(folds) {}
  template <class Rows>
  void TakeCells(const Rows& rows) {
    folds_.AddCells(rows.cells, [&](auto visit) {
      EachOf(rows, [&](std::size_t row, std::uint32_t record) { visit(groups_[row], record); });
    });
  }
  kt_long TakeMany(kt_long first, const RowNumbers& numbers) {
    return TakeEach(first, numbers, [this](std::size_t row, auto number) {
      if (groups_[row] != kNoGroup) folds_.Add(groups_[row], number);
    });
  }
  bool TakeOne(kt_long row, const Kt_Variant& value, bool) {
    folds_.Add(groups_[static_cast<std::size_t>(row)], value.Target());
    return true;
  }

 private:
  GroupFolds& folds_;
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
    const Kt_Column* const cells = reader.GetShownCells(col);
    for (kt_long first = 0; first < rows_; first += kRowsAtOnce) {
      const kt_long count = std::min(kRowsAtOnce, rows_ - first);
      if (!kt::Charge(count * Kt_WorkMeter::kUnitsPerCell)) {
        stop_code_ = Kt_WorkMeter::CurrentStop();
        return false;
      }
      if (cells == nullptr || !TakeRecords(reader, *cells, first, count, taker)) {
        TakeEachRow(col, first, count, taker);
      }
    }
    return true;
  }
  // False, and nothing is taken, where some rows have no record.
  template <class Taker>
  static bool TakeRecords(const Kt_RowReader& reader, const Kt_Column& cells, kt_long first,
                          kt_long row_count, Taker& taker) {
    const auto first_row = static_cast<std::size_t>(first);
    const auto count = static_cast<std::size_t>(row_count);
    const std::uint32_t run = reader.GetRun(first, row_count);
    if (run != Kt_RowReader::kNoRecord) {
      taker.TakeCells(CellsOfRows<RecordRun>{cells, first_row, count, {run}});
      return true;
    }
    std::array<std::uint32_t, kRowsAtOnce> some;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    reader.GetRecords(first, row_count, some.data());
    if (std::find(some.data(), some.data() + count, Kt_RowReader::kNoRecord) !=
        some.data() + count) {
      return false;
    }
    taker.TakeCells(CellsOfRows<RecordList>{cells, first_row, count, some.data()});
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

// Splits groups by the values that their rows have, numbered as they come. Gives the keys of the
// new groups: those that they had, and the value.
std::vector<std::vector<Kt_Variant>> SplitGroups(Numbers& groups,
                                                 const std::vector<std::vector<Kt_Variant>>& keys,
                                                 Numbers& numbers, const Distinct& values) {
  std::vector<std::vector<Kt_Variant>> longer;
  const auto add = [&](std::uint32_t group, std::uint32_t value) {
    std::vector<Kt_Variant>& key = longer.emplace_back();
    key.reserve(keys[group].size() + 1);
    key = keys[group];
    key.push_back(values.Value(value));
  };
  if (keys.size() == 1) {  // values come as their numbers do
    longer.reserve(values.Count());
    for (std::uint32_t value = 0; value < values.Count(); ++value) add(0, value);
    groups.swap(numbers);
    return longer;
  }
  const auto split = [&](auto known_of) {
    for (std::size_t row = 0; row < groups.size(); ++row) {
      if (groups[row] == kNoGroup) continue;
      std::uint32_t& known = known_of(groups[row], numbers[row]);
      if (KT_UNLIKELY(known == kNoGroup)) {
        known = static_cast<std::uint32_t>(longer.size());
        add(groups[row], numbers[row]);
      }
      groups[row] = known;
    }
  };
  const std::size_t pairs = keys.size() * values.Count();
  if (pairs <= 4 * groups.size()) {
    Numbers table(pairs, kNoGroup);
    split([&](std::size_t group, std::size_t value) -> std::uint32_t& {
      return table[group * values.Count() + value];
    });
  } else {
    NumberTable table;
    split([&](std::uint64_t group, std::uint32_t value) -> std::uint32_t& {
      return table.NumberOf(group << 32 | value);
    });
  }
  return longer;
}

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
  if (!keys_.empty()) return;
  std::vector<Group> all_rows(1);
  all_rows[0].folds = NewFolds();
  TakeAll(std::move(all_rows));
}

std::vector<Kt_PartFold> Kt_GroupTotals::NewFolds() const {
  std::vector<Kt_PartFold> folds;
  folds.reserve(totals_.size());
  for (const Total& total : totals_) folds.emplace_back(total.what);
  return folds;
}

// What needs memory comes first, and is taken back when there is none.
template <class Groups>
void Kt_GroupTotals::TakeAll(Groups&& later) {
  using Part = std::conditional_t<std::is_lvalue_reference_v<Groups>, const Group&, Group&&>;
  const std::size_t before = groups_.size();
  std::vector<std::size_t> places;
  places.reserve(later.size());
  try {
    for (auto& group : later) places.push_back(PlaceFor(std::forward<Part>(group)));
  } catch (...) {
    for (; groups_.size() > before; groups_.pop_back()) places_.erase(groups_.back().key);
    throw;
  }
  for (std::size_t at = 0; at < later.size(); ++at) {
    if (places[at] == kNew) continue;
    Group& group = groups_[places[at]];
    for (std::size_t key = 0; key < group.key.size(); ++key) {
      KeepKind(group.key[key], later[at].key[key]);
    }
    for (std::size_t total = 0; total < totals_.size(); ++total) {
      group.folds[total].Merge(later[at].folds[total]);
    }
  }
}

// Of a group of later rows; kNew when it was put there. After this merging them needs no memory.
template <class AnyGroup>
std::size_t Kt_GroupTotals::PlaceFor(AnyGroup&& later) {
  const auto place = places_.find(later.key);
  if (place == places_.end()) {
    groups_.push_back(std::forward<AnyGroup>(later));
    places_.emplace(groups_.back().key, groups_.size() - 1);
    return kNew;
  }
  Group& group = groups_[place->second];
  for (std::size_t total = 0; total < totals_.size(); ++total) {
    group.folds[total].PrepareMerge(later.folds[total]);
  }
  return place->second;
}

kt_long Kt_GroupTotals::Add(Kt_ExprDataset& rows) {
  if (rows.GetDataset() == nullptr) return kFailed;
  try {
    return AddPart(rows);
  } catch (const WorkStopped&) {
    return Kt_WorkMeter::CurrentStop();
  }
}

kt_long Kt_GroupTotals::AddPart(Kt_ExprDataset& rows) {
  Part part(rows);
  Numbers groups(part.RowCount(), 0);
  FilterTaker filter(groups);
  if (!filter_.IsEmpty() && !part.Each(filter_, filter)) return part.GetStopCode();

  std::vector<Values> keys(1);
  for (const Key& key : keys_) {
    Distinct values;
    Numbers numbers(part.RowCount(), kNoGroup);
    KeyTaker taker(groups, values, numbers);
    if (!part.Each(key.text, taker)) return part.GetStopCode();
    keys = SplitGroups(groups, keys, numbers, values);
  }

  std::vector<Kt_PartFold> folds;
  folds.reserve(keys.size() * totals_.size());
  for (std::size_t group = 0; group < keys.size(); ++group) {
    for (const Total& total : totals_) folds.emplace_back(total.what);
  }
  for (std::size_t at = 0; at < totals_.size() && !keys.empty(); ++at) {
    GroupFolds by_group(totals_[at].what, folds.data() + at, totals_.size(), keys.size());
    TotalTaker taker(groups, by_group);
    if (!part.Each(totals_[at].text, taker)) return part.GetStopCode();
    by_group.Finish();
  }
  std::vector<Group> made(keys.size());
  for (std::size_t group = 0; group < keys.size(); ++group) {
    const auto first = std::make_move_iterator(folds.begin() +
                                               static_cast<std::ptrdiff_t>(group * totals_.size()));
    made[group] = {std::move(keys[group]), {first, first + std::ssize(totals_)}};
  }
  TakeAll(std::move(made));
  return kOk;
}

bool Kt_GroupTotals::Merge(const Kt_GroupTotals& later) {
  const auto is_same = [](const Total& a, const Total& b) {
    return a.id == b.id && a.what == b.what && a.text == b.text;
  };
  if (later.keys_.size() != keys_.size() || !std::ranges::equal(later.totals_, totals_, is_same)) {
    return false;
  }
  TakeAll(later.groups_);
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
  std::vector<Group> groups;
  for (kt_long row = 0; row < state.GetRowCount(); ++row) {
    Group& group = groups.emplace_back();
    for (std::size_t at = 0; at < keys_.size(); ++at) group.key.push_back(cell(row, u'k', at));
    group.folds = NewFolds();
    for (std::size_t at = 0; at < group.folds.size(); ++at) {
      const Kt_Variant bytes = cell(row, u's', at);
      if (bytes.GetTag() != kTagBinary ||
          !group.folds[at].Load(bytes.AsBinary(), cell(row, u'b', at))) {
        return false;
      }
    }
  }
  TakeAll(std::move(groups));
  return !keys_.empty() || groups_.size() == 1;
}
