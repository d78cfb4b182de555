// SPDX-License-Identifier: MIT
#include "classlib/formats/detail/Kt_SavedValue.h"

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Dataset.h"
#include "classlib/text/Kt_Number.h"
#include "classlib/value/detail/Kt_VariantText.h"

namespace kt::detail {

namespace {

// What one value may take. The longest text is a quarter of it; but lists that share their parts
// may be longer to write than any file.
constexpr std::int64_t kMaxValueBytes = std::int64_t{1} << 29;
constexpr std::int64_t kItemBytes = 64;

class ValueCheck {
 public:
  const char16_t* Fault(const Kt_Variant& held, int depth) {
    const Kt_Variant& value = held.Target();
    bytes_left_ -= kItemBytes;
    charge_.AddOrLeave(Kt_WorkMeter::kUnitsPerItem);
    if (value.IsObject()) return u"an object";
    if (value.IsString()) {
      bytes_left_ -= static_cast<std::int64_t>(value.AsStringView().size() * sizeof(char16_t));
    } else if (value.GetTag() == kTagBinary) {
      bytes_left_ -= static_cast<std::int64_t>(value.AsBinary().size());
    } else if (value.IsList()) {
      if (depth > kMaxListDepth) return u"lists nested too deeply";
      for (const Kt_Variant& item : value.GetList()) {
        if (const char16_t* const fault = Fault(item, depth + 1)) return fault;
      }
    }
    return bytes_left_ < 0 ? u"a list that is too large" : nullptr;
  }

 private:
  std::int64_t bytes_left_ = kMaxValueBytes;
  RoundCharge charge_;
};

kt_long Refuse(const Kt_WString& place, const char16_t* fault, Kt_SaveReport& report) {
  return report.Refuse(kErrNotAllowed, place + u": " + fault);
}

// Rows as they are shown: deleted ones are saved between them, but have no number there.
kt_long CheckCells(const LoadedTable& table, const LoadedColumn& column, Kt_SaveReport& report) {
  std::vector<bool> deleted(table.row_count);
  for (const LoadedNote& note : table.notes) deleted[note.row] = note.type == kRowTypeDelete;
  const auto& cells = column.cells->Cells<Kt_Column::Values>();
  kt_long shown_row = 0;
  RoundCharge charge;
  for (std::uint32_t row = 0; row < table.row_count; ++row) {
    charge.AddOrLeave(Kt_WorkMeter::kUnitsPerCell);
    if (const char16_t* const fault = FaultOfValue(cells[row])) {
      const Kt_WString place = deleted[row]
                                   ? Kt_WString(u"a deleted row, column '") + column.id + u"'"
                                   : PlaceOfCell(shown_row, column.id);
      return Refuse(place, fault, report);
    }
    if (!deleted[row]) ++shown_row;
  }
  return kOk;
}

}  // namespace

const char16_t* FaultOfValue(const Kt_Variant& value) { return ValueCheck().Fault(value, 0); }

Kt_WString PlaceOfCell(kt_long row, const Kt_WString& column) {
  return Kt_WString(u"row ") + kt_longtextW(row).View() + u", column '" + column + u"'";
}

kt_long CheckValues(const LoadedTable& table, Kt_SaveReport& report) {
  for (const auto& [id, value] : table.constants) {
    if (const char16_t* const fault = FaultOfValue(value)) {
      return Refuse(Kt_WString(u"constant '") + id + u"'", fault, report);
    }
  }
  for (const LoadedColumn& column : table.columns) {
    if (column.type != Kt_ColumnType::kVariant || column.cells == nullptr) continue;
    if (const kt_long code = CheckCells(table, column, report)) return code;
  }
  for (const LoadedNote& note : table.notes) {
    for (const auto& [col, old] : note.old_cells) {
      if (const char16_t* const fault = FaultOfValue(old)) {
        return Refuse(
            Kt_WString(u"the first value of a cell in column '") + table.columns[col].id + u"'",
            fault, report);
      }
    }
  }
  return kOk;
}

kt_long SaveRefusal(kt_long code, Kt_SaveReport& report) {
  // What fails because the work is stopped is no fault of its own.
  const kt_long stop_code = Kt_WorkMeter::CurrentStop();
  if (stop_code != kOk) return report.Refuse(stop_code, {});
  if (report.code != kOk) return report.code;
  if (code == kErrNoMemory) return report.Refuse(kErrNoMemory, {});
  return report.Refuse(kErrNotAllowed, u"too many positions of a pivot for columns");
}

}  // namespace kt::detail
