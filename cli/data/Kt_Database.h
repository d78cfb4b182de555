// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "cli/Kt_Diagnostic.h"
#include "cli/data/Kt_Data.h"
#include "connect/Kt_Database.h"
#include "connect/Kt_DatabaseUrl.h"

// Databases in the place of data files. docs/databases.md describes them.

namespace kt::cli {

// What a dataset is called that no name is given for: as its file without the ending, or its table.
std::string DatasetNameOf(const std::string& path);

// How a database is opened to load from it.
Kt_Database::Options DatabaseOptions(const DataOptions& options);

// After a database could not be opened: whether there is no such file.
void NoteNotOpened(const Kt_DatabaseUrl& url, DataReport& report);

// LoadDataFile for a database. Of the options only the rule for links counts.
bool LoadDatabase(const Kt_DatabaseUrl& url, const DataOptions& options, Kt_Dataset& dataset,
                  DataReport& report);
// The same for the text of a URL.
bool LoadDatabase(const std::string& text, const DataOptions& options, Kt_Dataset& dataset,
                  DataReport& report);

// Saves what was changed in a dataset to the table of a URL. How many rows; a negative number when
// nothing was saved, with what there is to say of it: the error, then the rows that do not fit.
kt_long SaveToDatabase(const Kt_DatabaseUrl& url, const DataOptions& options, Kt_Dataset& dataset,
                       std::vector<Diagnostic>& fault);
// The same for the text of a URL.
kt_long SaveToDatabase(const std::string& text, const DataOptions& options, Kt_Dataset& dataset,
                       std::vector<Diagnostic>& fault);

}  // namespace kt::cli
