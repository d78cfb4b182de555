// SPDX-License-Identifier: MIT
//
// Edits of rows, and the row position with them. After every event the wrapper, its dataset or the
// rows may be other ones; nothing is used again without a look.
#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_Number.h"
#include "dataset/Kt_ExprDataset.h"
#include "dataset/detail/Kt_EventCall.h"
#include "object/Kt_MemoryDoor.h"

namespace {

constexpr const char16_t* kSource = u"Kt_ExprDataset";

struct RowRun {
  int start;
  int count;
};

std::vector<RowRun> SelectedRuns(const Kt_Dataset& dataset) {
  std::vector<RowRun> runs;
  for (int row = 0; row < dataset.GetRowCount(); ++row) {
    if (!kt::detail::GoesOnAt(static_cast<std::size_t>(row), 4)) return {};
    if (!dataset.GetSelect(row)) continue;
    if (runs.empty() || runs.back().start + runs.back().count != row) runs.push_back({row, 0});
    ++runs.back().count;
  }
  return runs;
}

int RowsBefore(const std::vector<RowRun>& runs, int row) {
  int count = 0;
  for (const RowRun& run : runs) count += std::clamp(row - run.start, 0, run.count);
  return count;
}

// What the rows of the runs are. Looked at again only when any row changed its place.
class RunsSeen {
 public:
  RunsSeen(const Kt_Dataset& dataset, const std::vector<RowRun>& runs)
      : runs_(runs), version_(dataset.GetStructureVersion()), rows_(Look(dataset)) {}
  bool AreThere(const Kt_Dataset& dataset) {
    if (dataset.GetStructureVersion() == version_) return true;
    version_ = dataset.GetStructureVersion();
    return Look(dataset) == rows_;
  }

 private:
  std::vector<Kt_RowIdentity> Look(const Kt_Dataset& dataset) const {
    std::vector<Kt_RowIdentity> rows;
    for (const RowRun& run : runs_) {
      for (int at = 0; at < run.count; ++at) rows.push_back(dataset.GetRowIdentity(run.start + at));
    }
    return rows;
  }

  const std::vector<RowRun>& runs_;
  std::uint64_t version_;
  std::vector<Kt_RowIdentity> rows_;
};

bool HasRow(const std::vector<RowRun>& runs, int row) {
  return RowsBefore(runs, row + 1) > RowsBefore(runs, row);
}

// A host learns by OnFail that there was no room for a row.
int Told(int added) { return added == kErrRowNotAdded ? -1 : added; }

Kt_Result Failure(kt_long code, const Kt_WString& argument) {
  Kt_Result result;
  result.AddMsg(code, kSource, 0, argument);
  return result;
}

}  // namespace

int Kt_ExprDataset::GiveUp(const Kt_ObjectHolder& self, int row) {
  auto* const wrapper = static_cast<Kt_ExprDataset*>(self.GetObject());
  if (wrapper != nullptr) wrapper->Fail(Failure(kErrRowReplaced, kt_longtextW(row)));
  return -1;
}

int Kt_ExprDataset::SetRowPosition(int position) {
  return kt::AtMemoryDoorOf(*this, kSource, [&] { return DoSetRowPosition(position); });
}

int Kt_ExprDataset::DoSetRowPosition(int position) {
  const Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr) return 0;
  const int row_count = dataset->GetRowCount();
  if (row_count == 0 && position < 1) {
    position = -1;
  } else if (position < -1 || position >= row_count) {
    return 0;
  }
  // What is told is what was asked, wherever the host has gone in between.
  const int old_position = row_position_;
  if (position == old_position) return 1;
  const Answer answer =
      Ask(kCanRowPosChange, [&] { return CanRowPosChange(old_position, position); });
  if (answer != Answer::kYes) return 0;
  if (position >= dataset->GetRowCount()) {
    Fail(Failure(kErrRowReplaced, kt_longtextW(position)));
    return 0;
  }
  if (dataset->IsPivot()) SetPivotRowPosition(position);
  StorePosition(position);
  (void)Tell(kOnRowPosChanged, [&] { OnRowPosChanged(old_position, position); });
  return 1;
}

bool Kt_ExprDataset::AnnounceRows(Kt_LoadReason reason) {
  const Kt_ObjectHolder self(nullptr, this);
  (void)SetRowPosition(0);
  if (self.GetObject() == nullptr) return false;
  // The host may have kept the position, but not on a row that is no more.
  const int row_count = GetRowCount();
  if (row_position_ >= row_count || (reason == Kt_LoadReason::kFiltered && row_count > 0)) {
    StorePosition(row_count > 0 ? 0 : -1);
  }
  return TellLoadCompleted(reason);
}

int Kt_ExprDataset::AppendRow() { return Told(AddRow(-1, false)); }
int Kt_ExprDataset::InsertRow(int row) { return Told(AddRow(row, true)); }

int Kt_ExprDataset::AddRow(int row, bool always_report) {
  return kt::AtMemoryDoorOf(*this, kSource, [&] { return DoAddRow(row, always_report); });
}

int Kt_ExprDataset::DoAddRow(int row, bool always_report) {
  Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr || SourceFor(*dataset) != nullptr) return -1;
  const int old_position = row_position_;
  const Kt_WString id = dataset->GetId();
  const Kt_ObjectHolder self(nullptr, this);
  switch (Ask(kCanRowPosChange, [&] { return CanRowPosChange(old_position, GetRowCount()); })) {
    case Answer::kYes: break;
    case Answer::kNo:
      Fail(Failure(kErrRowPosition, kt_longtextW(old_position)), always_report);
      return -1;
    case Answer::kGone:
      if (self.GetObject() != nullptr) Fail(Failure(kErrRowNotAdded, id), always_report);
      return -1;
  }
  const int added = row < 0 ? dataset->AppendRow(1) : dataset->InsertRow(row, 1);
  if (added < 0) {
    Fail(Failure(kErrRowNotAdded, id), always_report);
    return added;
  }
  if (!Tell(kOnRowInserted, [&] { OnRowInserted(added, 1); })) return added;
  const int new_position = std::min<int>(added, dataset->GetRowCount() - 1);
  StorePosition(new_position);
  (void)Tell(kOnRowPosChanged, [&] { OnRowPosChanged(old_position, new_position); });
  return added;
}

// The position after rows went, `deleted_before` of them before it.
void Kt_ExprDataset::FixPosition(int deleted_before, Kt_Dataset& dataset) {
  const int position = row_position_ - deleted_before;
  const int row_count = dataset.GetRowCount();
  StorePosition(row_position_ == -1 || position >= row_count ? row_count - 1 : position);
}

int Kt_ExprDataset::DeleteRow(int row) {
  return kt::AtMemoryDoorOf(*this, kSource, [&] { return DoDeleteRow(row); });
}

int Kt_ExprDataset::DoDeleteRow(int row) {
  Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr || row < 0) return -1;
  const bool is_asked = events_on_ != 0;
  const Kt_RowIdentity identity = is_asked ? dataset->GetRowIdentity(row) : Kt_RowIdentity();
  const Kt_ObjectHolder self(nullptr, this);
  const Answer answer = Ask(kOnRowDeleting, [&] {
    OnRowDeleting(row, 1);
    return 1;
  });
  if (answer == Answer::kGone || (is_asked && dataset->GetRowIdentity(row) != identity)) {
    return GiveUp(self, row);
  }
  const int deleted = dataset->DeleteRow(row);
  if (deleted < 0) return deleted;
  const int old_position = row_position_;
  FixPosition(row < old_position ? 1 : 0, *dataset);
  const bool is_moved = row_position_ != old_position || row == old_position;
  if (Tell(kOnRowDeleted, [&] { OnRowDeleted(row, 1); }) && is_moved) {
    (void)Tell(kOnRowPosChanged, [&] { OnRowPosChanged(-1, row_position_); });
  }
  return deleted;
}

int Kt_ExprDataset::DeleteAll() {
  return kt::AtMemoryDoorOf(*this, kSource, [&] { return DoDeleteAll(); });
}

int Kt_ExprDataset::DoDeleteAll() {
  Kt_Dataset* const dataset = GetDataset();
  const int row_count = GetRowCount();
  if (row_count == 0) return 0;
  const Kt_ObjectHolder self(nullptr, this);
  const Answer answer = Ask(kOnRowDeleting, [&] {
    OnRowDeleting(0, row_count);
    return 1;
  });
  if (answer == Answer::kGone) return GiveUp(self, 0);
  const int deleted = dataset->DeleteAll();
  if (deleted < 0) return deleted;
  StorePosition(-1);
  (void)TellLoadCompleted(Kt_LoadReason::kEmptied);
  return deleted;
}

int Kt_ExprDataset::DeleteSelected() {
  return kt::AtMemoryDoorOf(*this, kSource, [&] { return DoDeleteSelected(); });
}

int Kt_ExprDataset::DoDeleteSelected() {
  Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr) return 0;
  const std::vector<RowRun> asked = SelectedRuns(*dataset);
  if (asked.empty()) return 0;
  RunsSeen seen(*dataset, asked);
  const Kt_ObjectHolder self(nullptr, this);
  for (auto run = asked.rbegin(); run != asked.rend(); ++run) {
    const Answer answer = Ask(kOnRowDeleting, [&] {
      OnRowDeleting(run->start, run->count);
      return 1;
    });
    if (answer == Answer::kGone || !seen.AreThere(*dataset)) return GiveUp(self, run->start);
  }
  const std::vector<RowRun> runs = SelectedRuns(*dataset);  // handlers may select, too
  const int deleted = dataset->DeleteSelected();
  if (deleted < 0) return deleted;
  const int old_position = row_position_;
  FixPosition(RowsBefore(runs, old_position), *dataset);
  const bool is_moved = row_position_ != old_position || HasRow(runs, old_position);
  if (TellLoadCompleted(Kt_LoadReason::kEmptied) && is_moved) {
    (void)Tell(kOnRowPosChanged, [&] { OnRowPosChanged(-1, row_position_); });
  }
  return deleted;
}

int Kt_ExprDataset::ClearSelect() {
  Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr) return 0;
  return kt::AtMemoryDoorOf(*this, kSource, [&] {
    dataset->ClearSelect();
    return 1;
  });
}

int Kt_ExprDataset::SelectRow(int row, int check) {
  Kt_Dataset* const dataset = GetDataset();
  return kt::AtMemoryDoorOf(*this, kSource, [&] {
    return dataset != nullptr && dataset->SelectRow(row, check != 0) > 0 ? 1 : 0;
  });
}

int Kt_ExprDataset::ClearAll() {
  Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr) return 0;
  return kt::AtMemoryDoorOf(*this, kSource, [&] {
    dataset->ClearAll();
    StorePosition(-1);
    (void)TellLoadCompleted(Kt_LoadReason::kEmptied);
    return 1;
  });
}
