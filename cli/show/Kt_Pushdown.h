// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/data/Kt_Data.h"
#include "cli/show/Kt_Arrange.h"

// Tables of databases of which `kt show` fetches only what it shows. docs/databases.md says what
// runs where.

namespace kt::cli {

// What became of an arrangement of a table.
struct PushedDown {
  // What is left of the arrangement, for Arrange.
  std::string filter;
  std::optional<PartialGroups> groups;
  std::int64_t more_rows = 0;  // that are in the table, and were not fetched to be shown
  // What ran where, and why: lines for --explain.
  std::vector<std::string> lines;
};

// Loads what an arrangement needs of a table into `dataset`, by one statement that has the database
// filter, group and choose columns as far as that gives the same. `chart`: a column that is shown
// too, or none. False when the whole table is to be loaded instead, with the reason in the lines;
// and, with report.error, when the database cannot be opened.
bool LoadArranged(const std::string& url, const DataOptions& options, const Arrangement& wanted,
                  const std::string& chart, Kt_Dataset& dataset, DataReport& report,
                  PushedDown& pushed);

}  // namespace kt::cli
