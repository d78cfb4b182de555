// SPDX-License-Identifier: MIT
#include "cli/Kt_CliData.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <filesystem>
#include <span>

#include "classlib/Kt_AString.h"
#include "classlib/Kt_Buffer.h"
#include "cli/Kt_CliDataJson.h"
#include "cli/Kt_CliDataText.h"
#include "cli/Kt_CliFile.h"

namespace kt::cli {
namespace {

// A file is held in memory while it is read.
constexpr std::size_t kMaxDataBytes = std::size_t{1} << 31;
// Faults that are shown of a load; nobody mends more at a time.
constexpr std::size_t kMaxShown = 10;

struct FormatName {
  std::string_view name;
  DataFormat format;
};
constexpr FormatName kFormatNames[] = {
    {"csv", DataFormat::kCsv},          {"tsv", DataFormat::kTsv},
    {"tab", DataFormat::kTsv},          {"xml", DataFormat::kXml},
    {"json", DataFormat::kJson},        {"jsonl", DataFormat::kJsonLines},
    {"ndjson", DataFormat::kJsonLines}, {"bin", DataFormat::kBinary},
    {"ktb", DataFormat::kBinary},
};

char16_t SeparatorOf(const DataOptions& options) {
  if (options.separator != 0) return options.separator;
  return *options.format == DataFormat::kTsv ? u'\t' : u',';
}

bool Fail(std::string error, DataReport& report) {
  report.error = std::move(error);
  return false;
}

// The store says "line N: what" where it knows the line.
bool FailInStore(DataReport& report) {
  std::string error = report.rows.error.ToUtf8();
  constexpr std::string_view kLine = "line ";
  const std::size_t colon = error.find(": ");
  if (error.starts_with(kLine) && colon != error.npos) {
    std::from_chars(error.data() + kLine.size(), error.data() + colon, report.error_line);
    error.erase(0, colon + 2);
  }
  return Fail(error.empty() ? "no data of this format" : std::move(error), report);
}

bool LoadCsv(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
             DataReport& report) {
  Kt_CsvOptions csv;
  csv.separator = SeparatorOf(options);
  csv.header = options.header;
  std::size_t mark = 0;
  kt_long loaded = -1;
  if (EncodingOf(bytes, options.code_page, mark) == kCodePageUtf8) {
    loaded = dataset.LoadCSVBytes(bytes, csv, report.rows);
  } else {
    Kt_WString text;
    std::string reason;
    if (!DecodeText(bytes, options.code_page, text, report, reason)) return Fail(reason, report);
    loaded = dataset.LoadCSV(text, csv, report.rows);
  }
  if (loaded >= 0) return true;
  report.error_line = 1;
  return FailInStore(report);
}

bool LoadXml(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
             DataReport& report) {
  Kt_WString text;
  std::string reason;
  const std::optional<kt_long> wanted = options.code_page ? options.code_page : XmlEncoding(bytes);
  if (!DecodeText(bytes, wanted, text, report, reason)) return Fail(reason, report);
  const Kt_WString id = dataset.GetId();
  const bool loaded = dataset.LoadDataXml(text, true, report.rows) >= 0;
  dataset.SetId(id);
  return loaded || FailInStore(report);
}

bool LoadJsonText(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
                  DataReport& report) {
  const bool lines = *options.format == DataFormat::kJsonLines;
  std::size_t mark = 0;
  if (EncodingOf(bytes, options.code_page, mark) == kCodePageUtf8) {
    return LoadJson(bytes.substr(mark), lines, {}, dataset, report);
  }
  Kt_WString text;
  std::string reason;
  if (!DecodeText(bytes, options.code_page, text, report, reason)) return Fail(reason, report);
  return LoadJson(text.ToUtf8(), lines, {}, dataset, report);
}

bool LoadBinary(std::string_view bytes, Kt_Dataset& dataset, DataReport& report) {
  const auto* const first = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const Kt_WString id = dataset.GetId();
  const kt_long loaded = dataset.LoadDataBin(std::span(first, bytes.size()), true);
  dataset.SetId(id);
  if (loaded < 0) return Fail("no whole dataset in binary form", report);
  report.rows.rows_read = loaded;
  return true;
}

bool Load(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
          DataReport& report) {
  switch (*options.format) {
    case DataFormat::kCsv:
    case DataFormat::kTsv: return LoadCsv(bytes, options, dataset, report);
    case DataFormat::kXml: return LoadXml(bytes, options, dataset, report);
    case DataFormat::kJson:
    case DataFormat::kJsonLines: return LoadJsonText(bytes, options, dataset, report);
    case DataFormat::kBinary: return LoadBinary(bytes, dataset, report);
  }
  return false;
}

bool SaveText(const Kt_WString& text, const DataOptions& options, std::string& bytes,
              std::string& reason) {
  return EncodeText(text, options.code_page.value_or(kCodePageUtf8), bytes, reason);
}

bool SaveBinary(const Kt_Dataset& dataset, std::string& bytes) {
  Kt_Buffer out;
  if (dataset.Save2(out) < 0) return false;
  bytes = out.View();
  return true;
}

bool SaveJsonText(const DataOptions& options, const Kt_Dataset& dataset, std::string& bytes,
                  std::string& reason) {
  const bool lines = *options.format == DataFormat::kJsonLines;
  const JsonLayout layout = lines ? JsonLayout::kLines : JsonLayout::kList;
  if (!SaveJson(dataset, layout, bytes, reason)) return false;
  if (options.code_page.value_or(kCodePageUtf8) == kCodePageUtf8) return true;
  Kt_WString text;
  if (ConvertUtf8(bytes, text) < 0) return SaveText(text, options, bytes, reason);
  reason = "the text would be too long";
  return false;
}

bool Save(const DataOptions& options, const Kt_Dataset& dataset, std::string& bytes,
          std::string& reason) {
  reason = "the text would be too long";
  Kt_WString text;
  switch (*options.format) {
    case DataFormat::kCsv:
    case DataFormat::kTsv:
      return dataset.SaveCSV(text, {}, SeparatorOf(options)) >= 0 &&
             SaveText(text, options, bytes, reason);
    case DataFormat::kXml:
      return dataset.SaveDataXml(text) >= 0 && SaveText(text, options, bytes, reason);
    case DataFormat::kJson:
    case DataFormat::kJsonLines: return SaveJsonText(options, dataset, bytes, reason);
    case DataFormat::kBinary: return SaveBinary(dataset, bytes);
  }
  return false;
}

// The options with a format; false when the name of the file does not give it.
bool SettleFormat(const std::string& path, DataOptions& options) {
  if (!options.format) options.format = DataFormatOf(path);
  return options.format.has_value();
}

constexpr const char* kUnknownFormat =
    "the ending names no format (csv, tsv, xml, json, jsonl, ktb)";

std::string PlaceOf(const std::string& path, const DataReport& report) {
  std::string place = path;
  if (report.error_line > 0) place += fmt::format(":{}", report.error_line);
  if (report.error_column > 0) place += fmt::format(":{}", report.error_column);
  return place;
}

std::string Count(std::int64_t count, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

template <class Item, class Line>
void AppendFirst(const std::vector<Item>& items, std::int64_t count, const std::string& path,
                 Line line, std::string& out) {
  const std::size_t shown = std::min(items.size(), kMaxShown);
  for (std::size_t at = 0; at < shown; ++at) out += line(items[at]);
  const std::int64_t left_out = count - static_cast<std::int64_t>(shown);
  if (left_out > 0) out += fmt::format("{}: {} more are not shown\n", path, left_out);
}

}  // namespace

std::optional<DataFormat> FindDataFormat(std::string_view name) {
  std::string lower(name);
  for (char& letter : lower) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter + ('a' - 'A'));
  }
  for (const FormatName& row : kFormatNames) {
    if (row.name == lower) return row.format;
  }
  return std::nullopt;
}

std::optional<DataFormat> DataFormatOf(std::string_view path) {
  const std::string ending = std::filesystem::path(path).extension().string();
  if (ending == ".txt") return DataFormat::kCsv;
  return ending.empty() ? std::nullopt : FindDataFormat(std::string_view(ending).substr(1));
}

std::optional<kt_long> FindEncoding(std::string_view name) {
  const kt_long code_page = kt_findcodepageW(Kt_WString::FromUtf8(name));
  return code_page == 0 ? std::nullopt : std::optional(code_page);
}

bool LoadData(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
              DataReport& report) {
  report = {};
  try {
    return Load(bytes, options, dataset, report);
  } catch (const std::exception&) {
    return Fail("not enough memory", report);
  }
}

bool LoadDataFile(const std::string& path, const DataOptions& options, Kt_Dataset& dataset,
                  DataReport& report) {
  report = {};
  DataOptions settled = options;
  std::string bytes;
  std::string error;
  try {
    const FileResult read = ReadFileBytes(path, kMaxDataBytes, bytes, error);
    if (read != FileResult::kOk) {
      report.no_access = read == FileResult::kNoAccess;
      return Fail("cannot read: " + error, report);
    }
    // After reading: a name that is no file at all is the greater fault.
    if (!SettleFormat(path, settled)) return Fail(kUnknownFormat, report);
    return LoadData(bytes, settled, dataset, report);
  } catch (const std::exception&) {
    return Fail("not enough memory", report);
  }
}

bool SaveData(const DataOptions& options, const Kt_Dataset& dataset, std::string& bytes,
              std::string& reason) {
  try {
    return Save(options, dataset, bytes, reason);
  } catch (const std::exception&) {
    reason = "not enough memory";
    return false;
  }
}

bool SaveDataFile(const std::string& path, const DataOptions& options, const Kt_Dataset& dataset,
                  std::string& reason) {
  DataOptions settled = options;
  if (!SettleFormat(path, settled)) {
    reason = kUnknownFormat;
    return false;
  }
  std::string bytes;
  return SaveData(settled, dataset, bytes, reason) && WriteFileBytes(path, bytes, reason);
}

std::string DescribeError(const std::string& path, const DataReport& report) {
  return PlaceOf(path, report) + ": error: " + report.error;
}

std::string DescribeFault(const std::string& path, const DataReport& report) {
  return PlaceOf(path, report) + ": " + report.error;
}

std::string DescribeLoad(const std::string& path, const DataReport& report, bool verbose) {
  if (report.IsClean() && !verbose) return {};
  const Kt_LoadReport& rows = report.rows;
  std::string out = fmt::format("{}: {}", path, Count(rows.rows_read, "row", "rows"));
  if (rows.rows_rejected > 0) out += fmt::format(", {} rejected", rows.rows_rejected);
  if (rows.cells_not_converted > 0) {
    out += ", " + Count(rows.cells_not_converted, "cell", "cells") + " not converted";
  }
  if (report.unreadable_count > 0) {
    out += ", " + Count(report.unreadable_count, "character", "characters") + " not readable";
  }
  out += '\n';
  AppendFirst(
      rows.rejected, rows.rows_rejected, path,
      [&](const Kt_LoadReport::Row& row) {
        return fmt::format("{}:{}: row rejected: {}\n", path, row.line, row.reason.ToUtf8());
      },
      out);
  AppendFirst(
      rows.not_converted, rows.cells_not_converted, path,
      [&](const Kt_LoadReport::Cell& cell) {
        return fmt::format("{}:{}: cell not converted: column '{}'\n", path, cell.line,
                           cell.column.ToUtf8());
      },
      out);
  AppendFirst(
      report.unreadable, report.unreadable_count, path,
      [&](std::int64_t line) {
        return fmt::format("{}:{}: no character of the encoding\n", path, line);
      },
      out);
  return out;
}

}  // namespace kt::cli
