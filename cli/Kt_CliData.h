// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "classlib/Kt_Dataset.h"

// Datasets in files. docs/kt.md describes the formats.

namespace kt::cli {

enum class DataFormat : std::uint8_t { kCsv, kTsv, kXml, kJson, kJsonLines, kBinary };

struct DataOptions {
  // Nothing: by the ending of the name.
  std::optional<DataFormat> format;
  // Of texts without a byte order mark, and of those that are written; nothing: UTF-8, for XML what
  // its first line says.
  std::optional<kt_long> code_page;
  // CSV and TSV: the first row of the file has the column ids.
  bool header = true;
  // CSV and TSV: what stands between cells; 0: a comma or a tab. Not a quote or a line end.
  char16_t separator = 0;
};

// What became of a file that was loaded.
struct DataReport {
  Kt_LoadReport rows;
  // Lines with characters that the encoding does not have, which were read as U+FFFD; the first
  // Kt_LoadReport::kMaxListed.
  std::vector<std::int64_t> unreadable;
  std::int64_t unreadable_count = 0;
  // Why nothing was loaded; empty when something was. The place is counted from 1, 0 is unknown.
  std::string error;
  bool no_access = false;  // there is no such file, or it cannot be read: a wrong name
  std::int64_t error_line = 0;
  std::int64_t error_column = 0;

  // Whether all that the file holds is in the dataset.
  bool IsClean() const {
    return rows.rows_rejected == 0 && rows.cells_not_converted == 0 && unreadable_count == 0;
  }
};

// "csv", "tsv", "xml", "json", "jsonl" ("ndjson"), "bin" ("ktb"); nothing for other names.
std::optional<DataFormat> FindDataFormat(std::string_view name);
// The format of a file by the ending of its name; CSV for ".txt" too, nothing for other endings.
std::optional<DataFormat> DataFormatOf(std::string_view path);
// The code page of a name that the built-in functions know; nothing for others.
std::optional<kt_long> FindEncoding(std::string_view name);

// Replaces the rows of `dataset` by those of a file. A file that states the types of its columns
// replaces the columns too; otherwise they are matched by id, new ones get the narrowest type that
// holds every cell, and those that the file does not have are empty. Logical columns and constants
// stay, and so does the id of the dataset.
// False, with report.error, when nothing was loaded; the dataset is as it was then.
bool LoadDataFile(const std::string& path, const DataOptions& options, Kt_Dataset& dataset,
                  DataReport& report);
// The same from the content of a file. REQUIRES: options.format.
bool LoadData(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
              DataReport& report);

// Writes the shown rows beside the file and renames it, so that the old or the new file is there
// whatever happens. False, with the reason, when the old one is.
bool SaveDataFile(const std::string& path, const DataOptions& options, const Kt_Dataset& dataset,
                  std::string& reason);
// The content that SaveDataFile writes. REQUIRES: options.format.
bool SaveData(const DataOptions& options, const Kt_Dataset& dataset, std::string& bytes,
              std::string& reason);

// "file:line:column: error: what" of a failed load, without a line feed.
std::string DescribeError(const std::string& path, const DataReport& report);
// "file:line:column: what", as a part of another message.
std::string DescribeFault(const std::string& path, const DataReport& report);
// What there is to say of a load that succeeded: a line that counts, then the first ten faults of
// each kind with their lines. Empty when everything was loaded and not `verbose`. Ends with a line
// feed.
std::string DescribeLoad(const std::string& path, const DataReport& report, bool verbose);

}  // namespace kt::cli
