// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "classlib/store/Kt_Column.h"
#include "object/Kt_NameTables.h"

namespace kt::detail {

class RowMap;

// What a name of a row expression stands for, looked up once.
struct RowName {
  enum class Kind : std::uint8_t {
    kLongs,    // a column of longs
    kDoubles,  // a column of doubles
    kCells,    // any other column with cells, its own or of its source
    kMapped,   // a column that is computed by other columns
    kRow,      // the number of the row
    kKeyword,  // any other row keyword
  };
  Kind kind = Kind::kRow;
  kt_long col = -1;
  Kt_ColumnType type = Kt_ColumnType::kLong;  // of the cells
  const Kt_Column* cells = nullptr;
  std::shared_ptr<RowMap> map{};  // of a column that is computed
  Kt_Getter keyword = nullptr;
  Kt_Variant value;  // as last read
};

// A built-in function that a row expression calls.
struct RowCall {
  Kt_Getter function = nullptr;
  bool is_pure = false;  // gives a value for its arguments and does nothing else
};

// Values of rows that follow one another, computed ahead: longs or doubles, the other is null. Good
// until other code runs.
struct RowNumbers {
  const kt_long* longs = nullptr;
  const double* doubles = nullptr;
  kt_long count = 0;
  // Of addends, other than 0 where the value is empty, and the number 0; null: nowhere.
  const std::uint8_t* empty_marks = nullptr;
  // All of them are known to be the long 0, and need no look.
  bool are_zeros = false;
};

}  // namespace kt::detail
