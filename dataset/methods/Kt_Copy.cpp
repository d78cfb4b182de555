// SPDX-License-Identifier: MIT
//
// The methods that copy between datasets: cells, rows and whole datasets.
//
// Cells and rows are written to the dataset directly: CanColumnChange is not asked, and the wrapper
// that was written to tells OnColumnChanged once. All values are read before the first is written,
// so that a row may be copied onto itself, and from a dataset that shows the rows of its target.

#include <optional>
#include <vector>

#include "classlib/text/Kt_WStrList.h"
#include "dataset/methods/Kt_MethodArgs.h"

namespace kt::detail::methods {

namespace {

// One cell of a row to be written.
struct RowCell {
  kt_long col;
  Kt_Variant value;
};

// Reads the values for one target row. Columns that either side lacks are left out.
class RowReader {
 public:
  RowReader(const Kt_Dataset& target, const Kt_Dataset& source, kt_long source_row)
      : target_(target),
        source_(source),
        target_handle_(const_cast<Kt_Dataset*>(&target)),
        source_handle_(const_cast<Kt_Dataset*>(&source)),
        source_row_(source_row) {}

  // Computing a cell may destroy either; nothing is read then.
  bool AreThere() const {
    return target_handle_.Get() != nullptr && source_handle_.Get() != nullptr;
  }

  // Items "id" and "target=source", with commas between; the empty text names every column.
  std::vector<RowCell> Read(const Kt_WString& columns) {
    if (columns.IsEmpty()) {
      for (kt_long col = 0; AreThere() && col < source_.GetColCount(); ++col) {
        Add(source_.GetColID(col), source_.GetColID(col));
      }
      return std::move(cells_);
    }
    Kt_WStrList items;
    items.Parse(columns.View(), u",");
    for (kt_long item = 0; item < items.GetCount(); ++item) AddItem(items[item]);
    return std::move(cells_);
  }

 private:
  void AddItem(const Kt_WString& item) {
    const kt_long equals = item.Find(u"=");
    if (equals < 0) return Add(item, item);
    Kt_WString target_id = item.Mid(0, equals);
    Kt_WString source_id = item.Mid(equals + 1, item.GetLength());
    target_id.Trim();
    source_id.Trim();
    Add(target_id, source_id.IsEmpty() ? target_id : source_id);
  }

  void Add(const Kt_WString& target_id, const Kt_WString& source_id) {
    if (!AreThere()) return;
    const kt_long target_col = target_.GetColIndex(target_id.View());
    const kt_long source_col = source_.GetColIndex(source_id.View());
    if (target_col < 0 || source_col < 0) return;
    cells_.push_back({target_col, source_.ReadColumn(source_row_, source_col)});
  }

  const Kt_Dataset& target_;
  const Kt_Dataset& source_;
  Kt_DatasetHandle target_handle_;
  Kt_DatasetHandle source_handle_;
  kt_long source_row_;
  std::vector<RowCell> cells_;
};

// A row or a cell of a dataset that may be gone.
struct Place {
  Kt_Dataset* dataset;
  kt_long row;
  kt_long col = -1;

  bool HasRow() const { return dataset != nullptr && row >= 0 && row < dataset->GetRowCount(); }
};

// The number of cells written, or kErrNoMemory; nothing when either row is not there.
std::optional<kt_long> CopyOneRow(Place target, Place source, const Kt_WString& columns) {
  if (!target.HasRow() || !source.HasRow()) return std::nullopt;
  kt_long written = 0;
  RowReader reader(*target.dataset, *source.dataset, source.row);
  const std::vector<RowCell> cells = reader.Read(columns);
  if (!reader.AreThere()) return std::nullopt;
  for (const RowCell& cell : cells) {
    const kt_long stored = target.dataset->SetColumn(target.row, cell.col, cell.value);
    if (stored == kErrNoMemory) return stored;
    if (stored > 0) ++written;
  }
  return written;
}

struct CellChange {
  Kt_WString column;
  Kt_Variant old_value;
  Kt_Variant new_value;
  kt_long answer;  // 1, or -1 for a cell that cannot be written
};

// Nothing when either cell is not there.
std::optional<CellChange> CopyOneCell(Place target, Place source) {
  if (!target.HasRow() || !source.HasRow() || target.col < 0 || source.col < 0) return std::nullopt;
  Kt_Dataset& data = *target.dataset;
  const Kt_DatasetHandle there(&data);
  const Kt_DatasetHandle source_there(source.dataset);
  CellChange change{data.GetColID(target.col), data.ReadColumn(target.row, target.col), {}, -1};
  if (there.Get() == nullptr || source_there.Get() == nullptr) return std::nullopt;
  change.answer = data.CopyColumn(target.row, target.col, *source.dataset, source.row, source.col);
  if (there.Get() == nullptr) return std::nullopt;
  change.new_value = data.ReadColumn(target.row, target.col);
  return change;
}

// The cell that a row argument and a column argument name in the dataset of a wrapper.
Place CellAt(const MethodCall& call, const Kt_ExprDataset& wrapper, kt_long row, kt_long col) {
  Kt_Dataset* const data = wrapper.GetDataset();
  return {data, call.Integer(row), data == nullptr ? -1 : call.ColumnIn(*data, col)};
}

bool IsLogical(const Kt_ExprDataset& wrapper) {
  const Kt_Dataset* const data = wrapper.GetDataset();
  return data != nullptr && data->IsLogical();
}

// True when the rows of `dataset` are those of `target`, seen through any number of datasets.
bool Shows(const Kt_Dataset* dataset, const Kt_Dataset& target) {
  constexpr int kMaxDepth = 16;
  for (int depth = 0; dataset != nullptr && depth <= kMaxDepth; ++depth) {
    dataset = dataset->GetSource();
    if (dataset == &target) return true;
  }
  return false;
}

using WholeCopy = kt_long (Kt_Dataset::*)(const Kt_Dataset& source);

// A source that shows the rows of the target would change while it is read.
kt_long CopyAll(Kt_Dataset& target, const Kt_Dataset& source, WholeCopy copy) {
  if (!Shows(&source, target)) return (target.*copy)(source);
  Kt_Dataset rows(source.GetId());
  const Kt_DatasetHandle there(&target);
  const kt_long copied = rows.CopyF(source);
  if (there.Get() == nullptr) return -1;
  return copied < 0 ? copied : (target.*copy)(rows);
}

// The methods that copy whole datasets. -1 when there is no such dataset: nothing is announced
// then.
kt_long CallWholeCopy(const MethodCall& call, Kt_Variant& result, WholeCopy copy,
                      Kt_LoadReason reason) {
  Kt_ExprDataset& wrapper = call.Wrapper();
  Kt_ExprDataset* const source = call.Other(0);
  if (source == nullptr || source->GetDataset() == nullptr || wrapper.GetDataset() == nullptr) {
    return Yield(-1, result);
  }
  const StoreAnswer answer(call);
  const StillThere there(wrapper);
  const kt_long copied = CopyAll(*wrapper.GetDataset(), *source->GetDataset(), copy);
  if (there) wrapper.AnnounceRows(reason);
  return answer.Give(copied, result);
}

// The methods that copy a row; `columns` are those of their fourth argument.
kt_long CallRowCopy(const MethodCall& call, Kt_Variant& result, Kt_ExprDataset& target,
                    kt_long target_row, Kt_ExprDataset& source, kt_long source_row) {
  const StoreAnswer answer(call);
  const StillThere there(target);
  const auto copied = CopyOneRow({target.GetDataset(), target_row},
                                 {source.GetDataset(), source_row}, call.Text(3));
  if (!copied) return kOk;
  if (there) MethodCall::TellColumnChanged(target, {}, {}, {}, target_row);
  return answer.Give(*copied, result);
}

// The methods that copy a cell to one of `target`.
kt_long CallCellCopy(const MethodCall& call, Kt_Variant& result, Kt_ExprDataset& target, Place to,
                     Place from) {
  const StoreAnswer answer(call);
  const StillThere there(target);
  const auto change = CopyOneCell(to, from);
  if (!change) return kOk;
  if (change->answer > 0 && there) {
    MethodCall::TellColumnChanged(target, change->column, change->old_value, change->new_value,
                                  to.row);
  }
  return answer.Give(change->answer, result);
}

}  // namespace

// ---- Rows ---------------------------------------------------------------------------------------

kt_long CopyRow(const MethodCall& call, Kt_Variant& result) {
  Kt_ExprDataset* const source = call.Other(1);
  if (source == nullptr) return kOk;
  return CallRowCopy(call, result, call.Wrapper(), call.Integer(0), *source, call.Integer(2));
}

kt_long CopytoRow(const MethodCall& call, Kt_Variant& result) {
  Kt_ExprDataset* const target = call.Other(1);
  if (target == nullptr) return kOk;
  if (IsLogical(*target)) return call.Refuse();
  return CallRowCopy(call, result, *target, call.Integer(2), call.Wrapper(), call.Integer(0));
}

// ---- Cells --------------------------------------------------------------------------------------

kt_long CopyColumn(const MethodCall& call, Kt_Variant& result) {
  Kt_ExprDataset& wrapper = call.Wrapper();
  Kt_ExprDataset* const source = call.Other(2);
  if (source == nullptr) return kOk;
  return CallCellCopy(call, result, wrapper, CellAt(call, wrapper, 0, 1),
                      CellAt(call, *source, 3, 4));
}

kt_long CopytoColumn(const MethodCall& call, Kt_Variant& result) {
  Kt_ExprDataset* const target = call.Other(2);
  if (target == nullptr) return kOk;
  if (IsLogical(*target)) return call.Refuse();
  return CallCellCopy(call, result, *target, CellAt(call, *target, 3, 4),
                      CellAt(call, call.Wrapper(), 0, 1));
}

// ---- Whole datasets -----------------------------------------------------------------------------

kt_long Copy(const MethodCall& call, Kt_Variant& result) {
  return CallWholeCopy(call, result, &Kt_Dataset::Copy, Kt_LoadReason::kLoaded);
}

kt_long CopyF(const MethodCall& call, Kt_Variant& result) {
  return CallWholeCopy(call, result, &Kt_Dataset::CopyF, Kt_LoadReason::kLoaded);
}

kt_long Assign(const MethodCall& call, Kt_Variant& result) {
  return CallWholeCopy(call, result, &Kt_Dataset::Assign, Kt_LoadReason::kLoaded);
}

kt_long AppendDataset(const MethodCall& call, Kt_Variant& result) {
  return CallWholeCopy(call, result, &Kt_Dataset::AppendDataset, Kt_LoadReason::kAppended);
}

kt_long Merge(const MethodCall& call, Kt_Variant& result) {
  return CallWholeCopy(call, result, &Kt_Dataset::Merge, Kt_LoadReason::kAppended);
}

}  // namespace kt::detail::methods
