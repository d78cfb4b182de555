// SPDX-License-Identifier: MIT
#include "cli/data/Kt_Data.h"

#include <fmt/format.h>

#include <exception>
#include <filesystem>
#include <limits>
#include <span>
#include <system_error>
#include <utility>

#include "classlib/base/Kt_Path.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/text/Kt_AString.h"
#include "cli/Kt_Bounds.h"
#include "cli/data/Kt_Database.h"
#include "cli/data/Kt_Report.h"
#include "cli/data/Kt_Text.h"
#include "cli/show/Kt_Markdown.h"
#include "cli/show/Kt_Sheet.h"
#include "cli/show/Kt_View.h"
#include "connect/Kt_Xlsx.h"

namespace kt::cli {
namespace {

// A file is held in memory while it is loaded, which the bound of memory counts as well. 120 bytes
// for each of as many rows as a dataset can have.
constexpr std::size_t kMaxDataBytes = std::size_t{1} << 34;
struct FormatName {
  std::string_view name;
  DataFormat format;
};
constexpr FormatName kFormatNames[] = {
    {"csv", DataFormat::kCsv},          {"tsv", DataFormat::kTsv},
    {"tab", DataFormat::kTsv},          {"xml", DataFormat::kXml},
    {"json", DataFormat::kJson},        {"jsonl", DataFormat::kJsonLines},
    {"ndjson", DataFormat::kJsonLines}, {"bin", DataFormat::kBinary},
    {"ktb", DataFormat::kBinary},       {"xlsx", DataFormat::kXlsx},
    {"md", DataFormat::kMarkdown},      {"markdown", DataFormat::kMarkdown},
};

char16_t SeparatorOf(DataFormat format) { return format == DataFormat::kTsv ? u'\t' : u','; }

void SetLoadOptions(const DataOptions& options, Kt_LoadOptions& load) {
  load.rules = options.rules;
  load.rules.types_may_lack_columns = true;  // HaveTypedColumns looks at all files together
  load.reject_bad_cells = !options.rejects.empty();
  if (load.reject_bad_cells) load.max_listed = std::numeric_limits<std::size_t>::max();
}

// Tables with tabs are mostly written by programs that know no quotes.
Kt_CsvOptions CsvOptionsOf(const DataOptions& options) {
  const bool is_tsv = *options.format == DataFormat::kTsv;
  Kt_CsvOptions csv;
  csv.separator = options.separator.value_or(Kt_CsvOptions::kAuto);
  csv.preferred = SeparatorOf(*options.format);
  csv.quote = options.quote.value_or(is_tsv ? Kt_CsvOptions::kAuto : u'"');
  csv.comment = options.comment;
  csv.skip = options.skip;
  csv.header = options.header;
  SetLoadOptions(options, csv);
  return csv;
}

bool Fail(std::string error, DataReport& report) {
  report.error = std::move(error);
  return false;
}

bool FailInStore(DataReport& report) {
  report.error_line = report.rows.error_line;
  report.error_column = report.rows.error_column;
  return Fail(report.rows.error.ToUtf8(), report);
}

bool LoadCsv(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
             DataReport& report) {
  const Kt_CsvOptions csv = CsvOptionsOf(options);
  FileText text;
  if (!ReadText(bytes, options.code_page, options.guess_encoding, text, report)) return false;
  const kt_long loaded = text.utf8 ? dataset.LoadCSVBytes(*text.utf8, csv, report.rows)
                                   : dataset.LoadCSV(text.text, csv, report.rows);
  return loaded >= 0 || FailInStore(report);
}

bool LoadXml(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
             DataReport& report) {
  FileText text;
  const std::optional<kt_long> wanted = options.code_page ? options.code_page : XmlEncoding(bytes);
  if (!ReadText(bytes, wanted, options.guess_encoding, text, report)) return false;
  if (text.utf8) {
    const std::int64_t end = ConvertUtf8(*text.utf8, text.text);
    if (end >= 0) return Fail(fmt::format("longer than {} characters", kMaxStringLength), report);
  }
  const Kt_WString id = dataset.GetId();
  const bool loaded = dataset.LoadDataXml(text.text, true, report.rows) >= 0;
  dataset.SetId(id);
  return loaded || FailInStore(report);
}

bool LoadJsonText(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
                  DataReport& report) {
  Kt_JsonOptions json;
  SetLoadOptions(options, json);
  json.may_be_empty = *options.format == DataFormat::kJsonLines;
  FileText text;
  if (!ReadText(bytes, options.code_page, options.guess_encoding, text, report)) return false;
  const std::string converted = text.utf8 ? std::string() : text.text.ToUtf8();
  if (!text.utf8 && Kt_WString::FromUtf8(converted) != text.text) {
    return Fail("half of a surrogate pair that is not written as an escape", report);
  }
  const std::string_view utf8 = text.utf8.value_or(converted);
  return dataset.LoadJson(utf8, json, report.rows) >= 0 || FailInStore(report);
}

bool LoadBinary(std::string_view bytes, Kt_Dataset& dataset, DataReport& report) {
  const auto* const first = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const Kt_WString id = dataset.GetId();
  const bool loaded = dataset.LoadDataBin(std::span(first, bytes.size()), true, report.rows) >= 0;
  dataset.SetId(id);
  return loaded || FailInStore(report);
}

bool LoadSheet(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
               DataReport& report) {
  if (!options.rejects.empty()) {
    return Fail("what a spreadsheet rejects cannot be written as rows (--rejects)", report);
  }
  Kt_XlsxOptions xlsx;
  SetLoadOptions(options, xlsx);
  xlsx.sheet = options.sheet;
  xlsx.header = options.header;
  xlsx.skip = options.skip;
  return kt::LoadXlsx(dataset, bytes, xlsx, report.rows) >= 0 || FailInStore(report);
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
    case DataFormat::kXlsx: return LoadSheet(bytes, options, dataset, report);
    case DataFormat::kMarkdown: return Fail("tables of Markdown are written, not read", report);
  }
  return false;
}

// Works on a copy, which shares all that is not replaced, so that a load with too many rejects
// leaves nothing behind.
bool LoadOrLeave(std::string_view bytes, const DataOptions& options, Kt_Dataset& dataset,
                 DataReport& report) {
  if (dataset.IsEvaluating()) return Fail("an expression of its columns is at work", report);
  Kt_Dataset next(dataset);
  if (!Load(bytes, options, next, report) || !AcceptRejects(options, report)) return false;
  dataset = std::move(next);
  return true;
}

kt_long SaveCodePage(const DataOptions& options) {
  if (options.save_code_page) return *options.save_code_page;
  return options.code_page.value_or(kCodePageUtf8);
}

bool SaveText(const Kt_WString& text, const DataOptions& options, std::string& bytes,
              std::string& reason) {
  return EncodeText(text, SaveCodePage(options), bytes, reason);
}

constexpr const char* kTooLong = "the text would be too long";

// The reason, which is empty after a save that succeeded.
std::string ReasonOf(const Kt_SaveReport& report) {
  if (report.code == kErrStringTooLong) return kTooLong;
  if (report.code == kErrNoMemory) return "out of memory";
  return report.error.ToUtf8();
}

bool SaveCsv(const DataOptions& options, const Kt_Dataset& dataset, FileContent& content,
             std::string& reason) {
  Kt_CsvSaveOptions csv;
  csv.separator = options.separator.value_or(SeparatorOf(*options.format));
  csv.typed = options.typed;
  csv.guard_formulas = options.guard_formulas;
  Kt_SaveReport report;
  if (SaveCodePage(options) == kCodePageUtf8) {
    const bool saved = kt::SaveCsv(dataset, {}, csv, content.buffer, report) >= 0;
    reason = ReasonOf(report);
    return saved;
  }
  Kt_WString text;
  const bool saved = dataset.SaveCSV(text, {}, csv, report) >= 0;
  reason = ReasonOf(report);
  return saved && SaveText(text, options, content.bytes, reason);
}

// The first line says the encoding that the text really is in.
bool SaveXml(const DataOptions& options, const Kt_Dataset& dataset, std::string& bytes,
             std::string& reason) {
  Kt_WString text;
  Kt_SaveReport report;
  const bool saved = dataset.SaveDataXml(text, {}, true, report) >= 0;
  reason = ReasonOf(report);
  if (!saved) return false;
  constexpr std::u16string_view kStated = u"encoding=\"UTF-8\"";
  const std::size_t at = text.View().substr(0, 100).find(kStated);
  if (SaveCodePage(options) != kCodePageUtf8 && at != kStated.npos) {
    const Kt_WString name = kt_codepagenameW(SaveCodePage(options));
    std::u16string stated(text.View());
    stated.replace(at, kStated.size(), u"encoding=\"" + std::u16string(name.View()) + u"\"");
    text = Kt_WString(stated);
    reason = kTooLong;
    if (text.IsEmpty()) return false;
  }
  return SaveText(text, options, bytes, reason);
}

bool SaveBinary(const Kt_Dataset& dataset, FileContent& content, std::string& reason) {
  Kt_SaveReport report;
  const bool saved = dataset.Save2(content.buffer, {}, report) >= 0;
  reason = ReasonOf(report);
  return saved;
}

bool SaveUtf8(std::string_view utf8, const DataOptions& options, std::string& bytes,
              std::string& reason) {
  Kt_WString text;
  reason = kTooLong;
  return ConvertUtf8(utf8, text) < 0 && SaveText(text, options, bytes, reason);
}

bool SaveJsonText(const DataOptions& options, const Kt_Dataset& dataset, FileContent& content,
                  std::string& reason) {
  Kt_JsonSaveOptions json;
  if (*options.format == DataFormat::kJsonLines) json.layout = Kt_JsonLayout::kLines;
  Kt_SaveReport report;
  const bool saved = dataset.SaveJson(content.buffer, {}, json, report) >= 0;
  reason = ReasonOf(report);
  if (!saved || SaveCodePage(options) == kCodePageUtf8) return saved;
  const bool encoded = SaveUtf8(content.buffer.View(), options, content.bytes, reason);
  content.buffer.Clear();
  return encoded;
}

bool Save(const DataOptions& options, const Kt_Dataset& dataset, FileContent& content,
          std::string& reason) {
  std::string& bytes = content.bytes;
  switch (*options.format) {
    case DataFormat::kCsv:
    case DataFormat::kTsv: return SaveCsv(options, dataset, content, reason);
    case DataFormat::kXml: return SaveXml(options, dataset, bytes, reason);
    case DataFormat::kJson:
    case DataFormat::kJsonLines: return SaveJsonText(options, dataset, content, reason);
    case DataFormat::kBinary: return SaveBinary(dataset, content, reason);
    case DataFormat::kXlsx: return kt::SaveXlsx(SheetOf(Kt_CliView(dataset)), bytes, reason);
    case DataFormat::kMarkdown:
      return SaveUtf8(MarkdownTable(Kt_CliView(dataset), {}), options, bytes, reason);
  }
  return false;
}

// By the first thing in it that is not blank; a byte order mark and the halves of UTF-16 are
// skipped.
DataFormat FormatOfBeginning(std::string_view bytes) {
  if (bytes.starts_with("KTDS")) return DataFormat::kBinary;
  if (kt::IsXlsx(bytes)) return DataFormat::kXlsx;
  constexpr std::string_view kSkipped("\xEF\xBB\xBF\xFF\xFE\0 \t\r\n", 10);
  const std::size_t at = bytes.find_first_not_of(kSkipped);
  if (at == bytes.npos) return DataFormat::kCsv;
  if (bytes[at] == '[' || bytes[at] == '{') return DataFormat::kJson;
  return bytes[at] == '<' ? DataFormat::kXml : DataFormat::kCsv;
}

// The file that is loaded is the last one that the rejected rows should replace.
bool IsSameFile(const std::string& a, const std::string& b) {
  std::error_code ignored;
  return std::filesystem::equivalent(kt_path(a), kt_path(b), ignored);
}

// The options with a format; false when the name of the file does not give it.
bool SettleFormat(const std::string& path, DataOptions& options) {
  if (!options.format) options.format = DataFormatOf(path);
  return options.format.has_value();
}

constexpr const char* kUnknownFormat =
    "the ending names no format (csv, tsv, xml, json, jsonl, ktb, xlsx)";

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
  const std::string ending = kt_path(path).extension().string();
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
    const bool loaded = LoadOrLeave(bytes, options, dataset, report);
    if (Kt_WorkMeter::CurrentStop() == 0) return loaded;
    return Fail(StopReason(), report);
  } catch (const std::exception&) {
    return Fail("out of memory", report);
  }
}

bool LoadDataFile(const std::string& path, const DataOptions& options, Kt_Dataset& dataset,
                  DataReport& report) {
  if (Kt_DatabaseUrl::IsUrl(path)) return LoadDatabase(path, options, dataset, report);
  report = {};
  DataOptions settled = options;
  Kt_Buffer bytes;
  std::string error;
  try {
    if (!options.rejects.empty() && IsSameFile(path, options.rejects)) {
      return Fail("its own rejected rows would replace the file", report);
    }
    const bool is_input = path == kStandardInput;
    const FileResult read = is_input
                                ? ReadStandardInput(kMaxDataBytes, bytes, error)
                                : ReadFileBytes(path, kMaxDataBytes, bytes, error, options.links);
    if (read != FileResult::kOk) {
      report.no_access = read == FileResult::kNoAccess;
      return Fail("cannot read: " + error, report);
    }
    // After reading: a name that is no file at all is the greater fault.
    if (is_input && !settled.format) settled.format = FormatOfBeginning(bytes.View());
    if (!SettleFormat(path, settled)) return Fail(kUnknownFormat, report);
    // Nobody says how the cells of such a text are quoted.
    const bool is_text = is_input || path.ends_with(".txt");
    if (is_text && !settled.quote) settled.quote = Kt_CsvOptions::kAuto;
    return LoadData(bytes.View(), settled, dataset, report);
  } catch (const std::exception&) {
    return Fail("out of memory", report);
  }
}

bool SaveData(const DataOptions& options, const Kt_Dataset& dataset, FileContent& content,
              std::string& reason) {
  try {
    const bool saved = Save(options, dataset, content, reason);
    if (Kt_WorkMeter::CurrentStop() == 0) return saved;
    reason = StopReason();
    return false;
  } catch (const std::exception&) {
    reason = "out of memory";
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
  FileContent content;
  return SaveData(settled, dataset, content, reason) &&
         WriteFileBytes(path, content.View(), reason, options.links);
}

}  // namespace kt::cli
