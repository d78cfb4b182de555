// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "connect/Kt_Database.h"

// What became of changes that were to be saved.
struct KT_CONNECT_API Kt_ChangeReport {
  static constexpr std::size_t kMaxListed = 100;

  // A row that the database has otherwise by now, or refuses.
  struct KT_CONNECT_API Conflict {
    kt_long type = 0;  // kRowTypeInsert, kRowTypeUpdate or kRowTypeDelete
    // Its number without filters; of a deleted row, among the deleted ones.
    kt_long row = -1;
    std::string key;  // "id 7"; the number of the row where the table has no key
    std::string reason;
    // "update of id 7: price is 13 there and was 12.5"
    std::string Text() const;
  };

  kt_long inserted = 0;
  kt_long updated = 0;
  kt_long deleted = 0;
  std::int64_t conflict_count = 0;
  std::vector<Conflict> conflicts;  // the first ones
  std::string error;                // why nothing was saved; empty after a save that succeeded

  kt_long Total() const { return inserted + updated + deleted; }
};

namespace kt {

// Saves what was changed in a dataset since it was loaded: deleted rows become DELETE, updated
// ones UPDATE, inserted ones INSERT, in one transaction, filters or not. All of it is saved and the
// rows are normal ones afterwards (ApplyChange), or nothing is and the dataset stays as it is.
//
// A row is found by its first values: the key, and every column that the dataset has in common with
// the table. One that has other values there by now is a conflict. Columns that are null in an
// inserted row are left to the database; what it makes of a row (a generated key, a default, a
// rounded number) is read back into the dataset.
//
// A column that the table lacks is passed over while it has no change to save. How many rows were
// saved, or a negative code with the reason in the report.
KT_CONNECT_API kt_long SaveChanges(Kt_Database& database, std::string_view table,
                                   Kt_Dataset& dataset, Kt_ChangeReport& report);
// The same with the database and the table of a URL.
KT_CONNECT_API kt_long SaveChanges(const Kt_DatabaseUrl& url, Kt_Database::Options options,
                                   Kt_Dataset& dataset, Kt_ChangeReport& report);

}  // namespace kt
