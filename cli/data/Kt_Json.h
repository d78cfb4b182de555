// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "cli/data/Kt_Data.h"

namespace kt::cli {

// The rows of a JSON text in UTF-8:
//
//   [{"id": 1, "name": "a"}, {"id": 2}]       objects: a column per member, in order of appearance
//   [["id", "name"], [1, "a"], [2]]           lists: the first one holds the column ids
//   {"rows": [...], ...}                      either, beside members that are skipped
//   {"id": 1, "name": "a"}\n{"id": 2}\n       one object or list after the other
//
// Replaces the rows as LoadDataFile says. False with the reason and the place in the
// report. Only a text of `lines` may be empty. Of the options the rules of cells, reject_bad_cells
// and max_listed count.
bool LoadJson(std::string_view text, bool lines, const Kt_CsvOptions& options, Kt_Dataset& dataset,
              DataReport& report);

// How the rows of a JSON text stand.
enum class JsonLayout : std::uint8_t {
  kLines,    // a row per line, and nothing else
  kList,     // a list with a row per line
  kOneLine,  // a list in one line, without a line feed
};

// The shown rows as objects with every column. Null cells are null; numbers are the shortest that
// read back equal; dates are texts in ISO 8601 where those do, else day numbers; binaries are texts
// in hexadecimal. False with the place of a value that JSON cannot hold: an infinite number, a NaN
// or an object (which the one-line form, for results, shows as null and by its id), a list too
// deep.
bool SaveJson(const Kt_Dataset& dataset, JsonLayout layout, std::string& text, std::string& reason);

}  // namespace kt::cli
