// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/store/Kt_Dataset.h"
#include "cli/Kt_File.h"

// Datasets in files. docs/kt.md describes the formats.

namespace kt::cli {

// Markdown is written only.
enum class DataFormat : std::uint8_t {
  kCsv,
  kTsv,
  kXml,
  kJson,
  kJsonLines,
  kBinary,
  kXlsx,
  kMarkdown
};

// The path that stands for the standard input.
inline constexpr std::string_view kStandardInput = "-";

struct DataOptions {
  // Nothing: by the ending of the name; of the standard input by how it begins.
  std::optional<DataFormat> format;
  // Of texts without a byte order mark, and of those that are written; nothing: UTF-8, for XML what
  // its first line says.
  std::optional<kt_long> code_page;
  // A text that is neither UTF-8 nor says what it is, is read in the likeliest encoding.
  bool guess_encoding = false;

  // CSV and TSV. What stands between cells and around them (0: nothing does); nothing: found out
  // from the text, and a comma or a tab in files that are written.
  std::optional<char16_t> separator;
  std::optional<char16_t> quote;
  char16_t comment = 0;
  std::int64_t skip = 0;
  bool header = true;
  std::string sheet;  // of a workbook, its name or number; empty: the first

  Kt_CellRules rules;
  // How many rows and cells may be lost; nothing: none, but with `rejects` all.
  std::optional<std::int64_t> allow_rejects;
  // A CSV file for the rows that are not loaded, with their lines and reasons. A row with a bad
  // cell is one of them.
  std::string rejects;

  // Written files.
  std::optional<kt_long> save_code_page;  // nothing: code_page
  bool typed = false;
  bool guard_formulas = false;

  // In place of a file that is loaded, saved, or holds rejected rows.
  Links links = Links::kFollow;
};

// What became of a file that was loaded.
struct DataReport {
  Kt_LoadReport rows;
  std::vector<std::string> steps;  // what a database did of a selection of its rows, and what kt
  std::string guessed_encoding;    // that the text was read in; empty when it was certain
  // Why nothing was loaded; empty when something was. The place is counted from 1, 0 is unknown.
  std::string error;
  bool no_access = false;    // there is no such file, or it cannot be read: a wrong name
  bool has_rejects = false;  // nothing was loaded because there were more than allowed
  std::int64_t error_line = 0;
  std::int64_t error_column = 0;

  std::int64_t RejectCount() const {
    return std::int64_t{rows.rows_rejected} + rows.cells_not_converted;
  }
  // Whether all that the file holds is in the dataset.
  bool IsClean() const { return RejectCount() == 0; }
};

// "csv", "tsv", "xml", "json", "jsonl" ("ndjson"), "bin" ("ktb"), "xlsx", "md"; nothing for other
// names.
std::optional<DataFormat> FindDataFormat(std::string_view name);
// The format of a file by the ending of its name; CSV for ".txt" too, nothing for other endings.
std::optional<DataFormat> DataFormatOf(std::string_view path);
// The code page of a name that the built-in functions know; nothing for others.
std::optional<kt_long> FindEncoding(std::string_view name);

// Replaces the rows of `dataset` by those of a file. A file that states the types of its columns
// replaces the columns too; otherwise they are matched by id, new ones get the narrowest type that
// holds every cell, and those that the file does not have are empty. Logical columns and constants
// stay, and so does the id of the dataset.
// False, with report.error, when nothing was loaded, also because more was rejected than is
// allowed; the dataset is as it was then.
bool LoadDataFile(const std::string& path, const DataOptions& options, Kt_Dataset& dataset,
                  DataReport& report);
// The same from the content of a file. REQUIRES: options.format.
bool LoadData(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
              DataReport& report);

// Writes the shown rows beside the file and renames it, so that the old or the new file is there
// whatever happens. False, with the reason, when the old one is.
bool SaveDataFile(const std::string& path, const DataOptions& options, const Kt_Dataset& dataset,
                  std::string& reason);

// The content of a file: UTF-8 as the store writes it, which may be a large part of the memory and
// is not copied, or what other encodings and forms make.
struct FileContent {
  Kt_Buffer buffer;
  std::string bytes;  // counts when there is nothing in the buffer
  std::string_view View() const {
    return buffer.GetSize() > 0 ? buffer.View() : std::string_view(bytes);
  }
};
// What SaveDataFile writes. REQUIRES: options.format.
bool SaveData(const DataOptions& options, const Kt_Dataset& dataset, FileContent& content,
              std::string& reason);

}  // namespace kt::cli
