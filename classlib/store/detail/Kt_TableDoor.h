// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/detail/Kt_LoadedTable.h"

namespace kt::detail {

// The way between a dataset and the tables that files are read into and written from.
// Fails: as operations of a dataset do, but what gives a table throws.
class TableDoor {
 public:
  // Replaces the rows by those of a table, and the columns too when it says what they are; or
  // appends the rows. As a whole or not at all. The number of rows, or a refusal.
  static kt_long Take(Kt_Dataset& dataset, LoadedTable& table, bool clear);

  // What a save of that type holds: kOk, kErrNotAllowed for a type that is none, or -1 when the
  // dataset was destroyed while its cells were computed.
  static kt_long Give(const Kt_Dataset& dataset, std::u16string_view save_type, LoadedTable& table);
  static kt_long Give(const Kt_Dataset& dataset, std::u16string_view save_type, SavedRows& rows);

  // The rows as they are shown, as if they had always been so.
  static LoadedTable Shown(const Kt_Dataset& dataset);

 private:
  // The rows that a type of save takes.
  struct Choice {
    View view = kAllRows;
    bool changed_only = false;
  };
  static std::optional<Choice> ChoiceOf(const Kt_Dataset& dataset, std::u16string_view save_type);

  explicit TableDoor(Kt_Dataset& dataset) : dataset_(dataset) {}
  kt_long Fill(LoadedTable& table, bool clear);
  void FindKeys(const std::vector<Kt_WString>& ids);
  void DropStoredColumns();
  bool TakeColumns(LoadedTable& table);
  void TakeRows(const LoadedTable& table, Slot first);
  void TakeNote(const LoadedNote& note, Slot slot);
  void TakeDeletions(const LoadedTable& table, Slot first);
  kt_long TakeConstants(const LoadedTable& table);

  static void GiveColumns(const Kt_Dataset& dataset, const CountedVector<Slot>& slots,
                          LoadedTable& table);
  static void GiveNotes(const Kt_Dataset& dataset, const CountedVector<Slot>& slots,
                        LoadedTable& table);

  Kt_Dataset& dataset_;
  std::vector<kt_long> cols_;  // of the dataset, for those of the table
};

}  // namespace kt::detail
