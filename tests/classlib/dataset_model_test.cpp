// SPDX-License-Identifier: MIT
//
// Random operations on a dataset and on a model that keeps everything in plain rows; after every
// few operations all that can be asked must agree. The seed is printed with a failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/store/Kt_Dataset.h"
#include "common/text.h"

namespace {

constexpr kt_long kCols = 3;  // long, double, string

struct ModelRow {
  std::vector<Kt_Variant> cells = std::vector<Kt_Variant>(kCols);
  std::vector<Kt_Variant> first = std::vector<Kt_Variant>(kCols);
  bool inserted = true;
  bool changed = false;
  bool forced = false;
  bool deleted = false;
  bool selected = false;
  bool main_hidden = false;
  bool local_hidden = false;
  int buffer_number = 0;
  int delete_number = 0;
};

bool Same(const Kt_Variant& a, const Kt_Variant& b) {
  return a.GetTag() == b.GetTag() && Var_Order(a, b) == 0;
}

// Ends the program when no step has ended for half a minute: an endless loop is to be a failure.
class Watchdog {
 public:
  explicit Watchdog(unsigned seed) : seed_(seed), thread_([this] { Watch(); }) {}
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;
  ~Watchdog() {
    {
      const std::lock_guard lock(mutex_);
      done_ = true;
    }
    ended_.notify_one();
    thread_.join();
  }
  void Step(int step) { step_ = step; }

 private:
  void Watch() {
    std::unique_lock lock(mutex_);
    for (int last = -1; !ended_.wait_for(lock, std::chrono::seconds(30), [&] { return done_; });) {
      const int step = step_;
      if (step == last) {
        std::fprintf(stderr, "seed %u: step %d does not end\n", seed_, step);
        std::_Exit(1);
      }
      last = step;
    }
  }

  const unsigned seed_;
  std::atomic<int> step_{0};
  std::mutex mutex_;
  std::condition_variable ended_;
  bool done_ = false;
  std::thread thread_;
};

class Model {
 public:
  std::vector<ModelRow*> View(bool main, bool local) {
    std::vector<ModelRow*> rows;
    for (ModelRow& row : records_) {
      if (row.deleted || (main && row.main_hidden) || (local && row.local_hidden)) continue;
      rows.push_back(&row);
    }
    return rows;
  }
  std::vector<ModelRow*> Shown() { return View(main_on_, local_on_); }

  void Insert(kt_long row, kt_long count) {
    const auto shown = Shown();
    const bool inside = row >= 0 && row < static_cast<kt_long>(shown.size());
    records_.insert(inside ? At(shown[static_cast<std::size_t>(row)]) : records_.end(),
                    static_cast<std::size_t>(count), ModelRow());
  }
  void Delete(ModelRow* row) {
    if (row->inserted) {
      records_.erase(At(row));
      return;
    }
    if (!row->changed) row->buffer_number = ++next_number_;
    row->deleted = true;
    row->selected = false;
    row->delete_number = ++next_number_;
  }
  void DeleteSelected() {
    const auto shown = Shown();
    for (auto row = shown.rbegin(); row != shown.rend(); ++row) {
      if ((*row)->selected) Delete(*row);
    }
  }
  void Set(ModelRow* row, kt_long col, const Kt_Variant& value) {
    const auto at = static_cast<std::size_t>(col);
    if (Same(row->cells[at], value)) return;
    row->cells[at] = value;
    if (row->inserted) return;
    bool differs = row->forced;
    for (std::size_t cell = 0; cell < kCols; ++cell) {
      differs = differs || !Same(row->cells[cell], row->first[cell]);
    }
    if (differs && !row->changed) row->buffer_number = ++next_number_;
    row->changed = differs;
  }
  void Move(kt_long from, kt_long to) {
    if (from == to) return;
    const auto place = At(Shown()[static_cast<std::size_t>(from)]);
    const ModelRow moved = *place;
    records_.erase(place);
    const auto shown = Shown();
    const bool inside = to < static_cast<kt_long>(shown.size());
    records_.insert(inside ? At(shown[static_cast<std::size_t>(to)]) : records_.end(), moved);
  }
  void Exchange(ModelRow* a, ModelRow* b) { std::swap(*a, *b); }
  void Sort(std::size_t col, bool ascending, bool nulls_last) {
    std::stable_sort(records_.begin(), records_.end(), [=](const ModelRow& a, const ModelRow& b) {
      const Kt_Variant& left = a.cells[col];
      const Kt_Variant& right = b.cells[col];
      if (left.IsEmpty() != right.IsEmpty()) return left.IsEmpty() != nulls_last;
      const int order = Var_Order(left, right);
      return ascending ? order < 0 : order > 0;
    });
  }
  void Apply() {
    std::erase_if(records_, [](const ModelRow& row) { return row.deleted; });
    for (ModelRow& row : records_) {
      row.first = row.cells;
      row.inserted = row.changed = row.forced = false;
    }
  }
  void Reset() {
    std::erase_if(records_, [](const ModelRow& row) { return row.inserted; });
    for (ModelRow& row : records_) {
      row.cells = row.first;
      row.changed = row.forced = row.deleted = false;
    }
  }
  void MarkAllUpdated() {
    for (ModelRow& row : records_) {
      if (row.inserted || row.changed || row.deleted) continue;
      row.changed = row.forced = true;
      row.buffer_number = ++next_number_;
    }
  }
  void SetType(ModelRow* row, kt_long type) {
    const kt_long now = Type(*row);
    if (now == type) return;
    row->inserted = type == kRowTypeInsert;
    row->changed = row->forced = type == kRowTypeUpdate;
    row->first = row->cells;
    if (row->changed) row->buffer_number = ++next_number_;
  }
  void Clear() { *this = Model(); }
  // What is left of the rows in a file.
  void SaveAll(bool with_states) {
    if (!with_states) Apply();
    main_on_ = local_on_ = false;
    for (ModelRow& row : records_) row.selected = row.main_hidden = row.local_hidden = false;
  }
  void Unhide(bool main) {
    for (ModelRow& row : records_) (main ? row.main_hidden : row.local_hidden) = false;
  }
  static kt_long Type(const ModelRow& row) {
    if (row.inserted) return kRowTypeInsert;
    return row.changed ? kRowTypeUpdate : kRowTypeNormal;
  }
  std::vector<ModelRow*> Buffer() {
    std::vector<ModelRow*> rows;
    for (ModelRow& row : records_) {
      if (row.changed || row.deleted) rows.push_back(&row);
    }
    std::sort(rows.begin(), rows.end(),
              [](auto* a, auto* b) { return a->buffer_number < b->buffer_number; });
    return rows;
  }
  std::vector<ModelRow*> Deleted() {
    std::vector<ModelRow*> rows;
    for (ModelRow& row : records_) {
      if (row.deleted) rows.push_back(&row);
    }
    std::sort(rows.begin(), rows.end(),
              [](auto* a, auto* b) { return a->delete_number < b->delete_number; });
    return rows;
  }

  bool main_on_ = false;
  bool local_on_ = false;

 private:
  std::vector<ModelRow>::iterator At(const ModelRow* row) {
    return records_.begin() + (row - records_.data());
  }

  std::vector<ModelRow> records_;
  int next_number_ = 0;
};

class DatasetModel : public testing::TestWithParam<unsigned> {
 protected:
  DatasetModel() : random_(GetParam()) {
    data_.AddColumn(u"whole", u"long");
    data_.AddColumn(u"real", u"double");
    data_.AddColumn(u"text", u"string");
  }

  kt_long Roll(kt_long count) {
    return std::uniform_int_distribution<kt_long>(0, count - 1)(random_);
  }
  kt_long AnyRow() { return Roll(std::max(1, data_.GetRowCount())); }

  Kt_Variant AnyValue(kt_long col) {
    const kt_long number = Roll(12);
    if (number == 0) return {};
    if (col == 0) return number - 6;
    if (col == 1) return number / 4.0;
    return number == 1 ? Kt_WString() : AnyText();
  }
  // In some runs few texts that come again and again, in others ever new ones.
  Kt_WString AnyText() {
    return Kt_WString(u"text ") + Kt_Variant(Roll(text_count_)).ToString().View();
  }

  // One of the two ways to write; the second looks for the column where it was last.
  kt_long Write(kt_long row, kt_long col, const Kt_Variant& value) {
    if (Roll(3) == 0) return data_.SetColumn(row, col, value);
    kt_long answer = 0;
    const bool is_done = data_.WriteOwnCell(row, data_.GetColID(col).View(), place_, value, answer);
    return is_done ? answer : data_.SetColumn(row, col, value);
  }
  Kt_Variant ReadAtPlace(kt_long row, kt_long col) {
    Kt_Variant value;
    const bool is_done = data_.ReadOwnCell(row, data_.GetColID(col).View(), place_, value);
    return is_done ? value : data_.ReadColumn(row, col);
  }

  void Step();
  void EditStep(kt_long kind);
  void RewriteStep();
  void SaveStep();
  void ViewStep(kt_long kind);
  void ExpectSame();
  void ExpectSameRow(kt_long row, const ModelRow& wanted);
  void ExpectSameBuffers();
  void ExpectSameSums(const std::vector<ModelRow*>& shown);

  std::mt19937 random_;
  kt_long text_count_ = 12;
  kt_long place_ = -1;
  kt_long orderly_steps_ = 0;  // steps that leave the rows in the order of their slots
  Kt_Dataset data_;
  Model model_;
};

void DatasetModel::EditStep(kt_long kind) {
  const auto shown = model_.Shown();
  const kt_long row = AnyRow();
  ModelRow* const model_row = shown.empty() ? nullptr : shown[static_cast<std::size_t>(row)];
  if (kind < 30) {
    const kt_long col = Roll(kCols);
    const Kt_Variant value = AnyValue(col);
    ASSERT_EQ(Write(row, col, value), model_row ? 1 : -1);
    if (model_row) model_.Set(model_row, col, value);
  } else if (kind < 40) {
    const kt_long count = Roll(20) == 0 && shown.size() < 1500 ? 1 + Roll(400) : 1;
    const kt_long place = orderly_steps_ == 0 && Roll(3) == 0 ? row : -1;
    const bool inside = place >= 0 && model_row != nullptr;
    ASSERT_EQ(place < 0 ? data_.AppendRow(count) : data_.InsertRow(place, count),
              inside ? place : static_cast<kt_long>(shown.size()));
    model_.Insert(place, count);
  } else if (kind < 60) {
    ASSERT_EQ(data_.DeleteRow(row), model_row ? 1 : -1);
    if (model_row) model_.Delete(model_row);
  } else if (kind < 64) {
    const kt_long other = AnyRow();
    ASSERT_EQ(data_.MoveRow(row, other), model_row ? 1 : -1);
    if (model_row) model_.Move(row, other);
  } else if (kind < 68) {
    const kt_long other = AnyRow();
    ASSERT_EQ(data_.ExchangeRow(row, other), model_row ? 1 : -1);
    if (model_row) model_.Exchange(model_row, shown[static_cast<std::size_t>(other)]);
  } else if (kind < 72) {
    const kt_long type = kt_long{1} << Roll(3);
    ASSERT_EQ(data_.SetRowType(row, type), model_row ? 1 : -1);
    if (model_row) model_.SetType(model_row, type);
  } else {
    ASSERT_EQ(data_.SelectRow(row), model_row ? 1 : -1);
    if (model_row) model_row->selected = true;
  }
}

// Thousands of new texts into a few cells: what nothing uses any more is dropped on the way.
void DatasetModel::RewriteStep() {
  const auto shown = model_.Shown();
  if (shown.empty()) return;
  const kt_long count = static_cast<kt_long>(shown.size());
  const kt_long first = Roll(count);
  const kt_long rows = 1 + Roll(count - first);
  for (kt_long left = Roll(12000); left > 0; --left) {
    const kt_long row = first + Roll(rows);
    const Kt_Variant text = AnyText();
    ASSERT_EQ(Write(row, 2, text), 1);
    model_.Set(shown[static_cast<std::size_t>(row)], 2, text);
  }
}

// The dataset goes on as what comes back from a file.
void DatasetModel::SaveStep() {
  Kt_WString text;
  Kt_Buffer bytes;
  Kt_Dataset back(data_.GetId());
  const kt_long format = Roll(3);
  const kt_long rows = data_.GetRowCountNF();
  const bool cells_only = format == 0;
  if (format == 0) {
    ASSERT_EQ(data_.SaveCSV(text, u"nf"), rows);
    ASSERT_EQ(back.LoadCSV(text.View()), rows);
  } else if (format == 1) {
    ASSERT_GE(data_.SaveDataXml(text, u"nf"), rows);
    ASSERT_EQ(back.LoadDataXml(text.View()), rows);
  } else {
    ASSERT_GE(data_.Save2(bytes, u"nf"), rows);
    ASSERT_EQ(back.LoadDataBin({bytes.GetData(), bytes.GetSize()}), rows);
  }
  data_ = std::move(back);
  model_.SaveAll(!cells_only);
}

void DatasetModel::ViewStep(kt_long kind) {
  switch (kind) {
    case 0: {
      const auto rows = model_.View(true, false);
      if (rows.empty()) break;
      const kt_long row = Roll(static_cast<kt_long>(rows.size()));
      ASSERT_EQ(data_.Filter(row), 1);
      rows[static_cast<std::size_t>(row)]->main_hidden = model_.main_on_ = true;
      break;
    }
    case 1: {
      const auto rows = model_.View(model_.main_on_, true);
      if (rows.empty()) break;
      const kt_long row = Roll(static_cast<kt_long>(rows.size()));
      ASSERT_EQ(data_.LocFilter(row), 1);
      rows[static_cast<std::size_t>(row)]->local_hidden = model_.local_on_ = true;
      break;
    }
    case 2: data_.SetFilterStat(model_.main_on_ = Roll(2) == 0); break;
    case 3: data_.SetLocFilterStat(model_.local_on_ = Roll(2) == 0); break;
    case 4: {
      const std::size_t col = static_cast<std::size_t>(Roll(kCols));
      const bool ascending = Roll(2) == 0;
      const bool nulls_last = Roll(2) == 0;
      ASSERT_EQ(data_.Sort(data_.GetColID(static_cast<kt_long>(col)), ascending, nulls_last), 1);
      model_.Sort(col, ascending, nulls_last);
      break;
    }
    case 5:
      data_.DeleteSelected();
      model_.DeleteSelected();
      break;
    case 6:
      data_.SetUpdate(true);
      model_.MarkAllUpdated();
      break;
    case 7:
      data_.ApplyChange();
      model_.Apply();
      break;
    case 8:
      data_.Reset();
      model_.Reset();
      break;
    case 9:
      data_.UnFilter();
      model_.Unhide(true);
      model_.main_on_ = false;
      break;
    case 10:
      data_.ResetFilIndex();
      model_.Unhide(false);
      model_.local_on_ = true;
      break;
    default: {  // as after a load: rows in the order of their slots
      const kt_long count = 1 + Roll(1500);
      data_.ClearData();
      model_.Clear();
      ASSERT_EQ(data_.AppendRow(count), 0);
      model_.Insert(-1, count);
      data_.ApplyChange();
      model_.Apply();
      orderly_steps_ = Roll(200);
      break;
    }
  }
}

void DatasetModel::Step() {
  const kt_long kind = Roll(1000);
  if (orderly_steps_ > 0) --orderly_steps_;
  if (Roll(2000) == 0) {
    text_count_ = Roll(2) == 0 ? 12 : 1000000;
    RewriteStep();
  } else if (Roll(400) == 0) {
    SaveStep();
  } else if (kind < 900) {
    const bool moves_rows = kind % 75 >= 60 && kind % 75 < 68;
    EditStep(moves_rows && orderly_steps_ > 0 ? 0 : kind % 75);
  } else if (kind < 980 || orderly_steps_ > 0) {
    ViewStep(Roll(4));
  } else {
    ViewStep(4 + Roll(8));
  }
}

void DatasetModel::ExpectSameRow(kt_long row, const ModelRow& wanted) {
  ASSERT_EQ(data_.GetRowType(row), Model::Type(wanted)) << "row " << row;
  ASSERT_EQ(data_.GetSelect(row), wanted.selected) << "row " << row;
  for (kt_long col = 0; col < kCols; ++col) {
    const auto at = static_cast<std::size_t>(col);
    ASSERT_TRUE(Same(data_.ReadColumn(row, col), wanted.cells[at]))
        << "row " << row << " column " << col << ": "
        << data_.ReadColumn(row, col).ToString().ToUtf8();
    ASSERT_TRUE(Same(ReadAtPlace(row, col), wanted.cells[at])) << "row " << row << " " << col;
    const Kt_Variant first = wanted.inserted ? Kt_Variant() : wanted.first[at];
    ASSERT_TRUE(Same(data_.GetOrgColumn(row, col), first)) << "row " << row << " column " << col;
  }
}

void DatasetModel::ExpectSameBuffers() {
  const auto buffer = model_.Buffer();
  const auto deleted = model_.Deleted();
  ASSERT_EQ(data_.GetOrgBuffCount(), static_cast<kt_long>(buffer.size()));
  ASSERT_EQ(data_.GetDelRowCount(), static_cast<kt_long>(deleted.size()));
  for (std::size_t at = 0; at < buffer.size(); ++at) {
    const auto index = static_cast<kt_long>(at);
    ASSERT_EQ(data_.GetOrgBuffType(index), buffer[at]->deleted ? kRowTypeDelete : kRowTypeUpdate);
    for (std::size_t col = 0; col < kCols; ++col) {
      ASSERT_TRUE(
          Same(data_.GetOrgBuffColumn(index, static_cast<kt_long>(col)), buffer[at]->first[col]));
    }
  }
  for (std::size_t at = 0; at < deleted.size(); ++at) {
    for (std::size_t col = 0; col < kCols; ++col) {
      ASSERT_TRUE(Same(data_.GetDelColumn(static_cast<kt_long>(at), static_cast<kt_long>(col)),
                       deleted[at]->first[col]));
    }
  }
}

void DatasetModel::ExpectSameSums(const std::vector<ModelRow*>& shown) {
  const auto count = static_cast<kt_long>(shown.size());
  const kt_long start = Roll(count + 1);
  const kt_long end = start + Roll(count - start + 2);
  kt_long sum = 0;
  std::optional<double> greatest;
  for (kt_long row = start; row < std::min(end, count); ++row) {
    const ModelRow& wanted = *shown[static_cast<std::size_t>(row)];
    sum += wanted.cells[0].ToInteger();
    if (wanted.cells[1].IsEmpty()) continue;
    greatest = std::max(greatest.value_or(-1e9), wanted.cells[1].ToDouble());
  }
  Kt_Variant result;
  data_.GetSum(0, start, end, result);
  ASSERT_TRUE(Same(result, sum)) << start << " to " << end;
  data_.GetMax(1, start, end, result);
  ASSERT_TRUE(Same(result, greatest ? Kt_Variant(*greatest) : Kt_Variant()));
}

void DatasetModel::ExpectSame() {
  const auto shown = model_.Shown();
  const auto all = model_.View(false, false);
  ASSERT_EQ(data_.GetRowCount(), static_cast<kt_long>(shown.size()));
  ASSERT_EQ(data_.GetRowCountNF(), static_cast<kt_long>(all.size()));
  for (std::size_t row = 0; row < shown.size(); ++row) {
    ExpectSameRow(static_cast<kt_long>(row), *shown[row]);
    if (HasFatalFailure()) return;
  }
  std::size_t next_all = 0;
  for (std::size_t row = 0; row < shown.size(); row += 7) {
    while (all[next_all] != shown[row]) ++next_all;
    ASSERT_EQ(data_.GetRowIndexNF(static_cast<kt_long>(row)), static_cast<kt_long>(next_all));
  }
  ExpectSameBuffers();
  ExpectSameSums(shown);
}

TEST_P(DatasetModel, AgreesAfterEveryOperation) {
  std::optional<Kt_Dataset> copy;
  Model copied_model;
  Watchdog watchdog(GetParam());
  for (int step = 0; step < 80000; ++step) {
    watchdog.Step(step);
    Step();
    if (step % 83 == 0) ExpectSame();
    // A copy made earlier must not see what happened to the dataset since.
    if (step % 5000 == 100) {
      copy = data_;
      copied_model = model_;
    } else if (copy && step % 5000 == 2000) {
      std::swap(*copy, data_);
      std::swap(copied_model, model_);
      ExpectSame();
    }
    ASSERT_FALSE(HasFailure()) << "seed " << GetParam() << ", step " << step;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, DatasetModel, testing::Values(1u, 2u, 20241u));

}  // namespace
