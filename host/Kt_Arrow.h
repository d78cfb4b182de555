// SPDX-License-Identifier: MIT
#pragma once

#include "host/Kt_Table.h"
#include "host/arrow_abi.h"

// Tables as Arrow data in memory, by the C data interface: for libraries of any language.
//
// A table is a struct with a child for each column. What goes out: longs as int32, doubles as
// float64, amounts as decimal128(19, 4), dates as timestamps in milliseconds without a zone, texts
// and variants as utf8, binaries as binary. The cells of longs and doubles are not copied while
// they lie in the order of the rows; the data stays as it was given, whatever becomes of the table.
//
// What comes in: these, all integers (wide ones as longs where all fit, else as doubles, refused
// beyond 2^53), bool, float32, date32, date64, timestamps of every unit, decimals, the large forms,
// null, and dictionaries of them.
namespace kt {

struct ArrowOptions {
  bool states = false;     // a column "_state" with "normal", "insert" or "update"
  bool originals = false;  // columns "<id>_original" with the first values of updated rows
};

// The rows as they are shown. The caller releases both; either may be null.
KT_SCRIPT_API void ToArrow(const Table& table, ArrowSchema* schema, ArrowArray* array,
                           ArrowOptions options = {});
// The columns of a struct array, which stays the caller's. Throws, naming the column, what has no
// type here.
KT_SCRIPT_API Columns FromArrow(const ArrowSchema& schema, const ArrowArray& array);
// The same as a stream of one batch.
KT_SCRIPT_API void ToArrowStream(const Table& table, ArrowArrayStream* out);
// All that a stream gives, in place of the rows of the table. The stream stays the caller's.
KT_SCRIPT_API void LoadArrowStream(Table& table, ArrowArrayStream& stream);

}  // namespace kt
