// SPDX-License-Identifier: MIT
//
// The host functions for datasets.
#include <fmt/format.h>

#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Host.h"
#include "cli/data/Kt_Data.h"
#include "cli/data/Kt_Database.h"
#include "cli/data/Kt_OptionText.h"
#include "cli/data/Kt_Options.h"
#include "cli/data/Kt_Progress.h"
#include "cli/data/Kt_Report.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_FuncArgs.h"

Kt_ExprDataset* Kt_CliHost::DatasetOf(const Kt_Variant& value) const {
  if (value.IsObject()) return dynamic_cast<Kt_ExprDataset*>(value.GetHolder().GetObject());
  return datasets_.Find(value.ToString());
}

void Kt_CliHost::StoreDataset(Kt_ExprDataset& wrapper, Kt_Variant& result) {
  result = Kt_Variant(Kt_ObjectHolder(this, &wrapper));
}

// The argument behind the path; without it the ending decides.
bool Kt_CliHost::FormatOf(const Kt_Variant& value, std::optional<kt::cli::DataFormat>& format) {
  const std::string name = value.ToString().ToUtf8();
  if (name.empty()) return true;
  format = kt::cli::FindDataFormat(name);
  if (!format) Fail(fmt::format("'{}' is no format of data files", name));
  return format.has_value();
}

kt_long Kt_CliHost::Dataset(const Kt_VariantList* args, Kt_Variant& result) {
  const kt::Kt_FuncArgs in(args);
  const Kt_WString id = in.Text(0);
  if (id.IsEmpty()) return Fail("dataset() needs a name");
  Kt_ExprDataset* wrapper = DatasetOf(in.Value(0));
  if (wrapper == nullptr) wrapper = &datasets_.Add(id);
  std::string reason;
  if (in.Has(1) && wrapper->GetDataset() != nullptr &&
      !Kt_CliDatasets::AddColumns(*wrapper->GetDataset(), in.Text(1), reason)) {
    return Fail(fmt::format("dataset('{}'): {}", id.ToUtf8(), reason));
  }
  StoreDataset(*wrapper, result);
  return 0;
}

kt_long Kt_CliHost::View(const Kt_VariantList* args, Kt_Variant& result) {
  const kt::Kt_FuncArgs in(args);
  const Kt_WString id = in.Text(0);
  Kt_ExprDataset* const source = DatasetOf(in.Value(1));
  if (id.IsEmpty()) return Fail("view() needs a name");
  if (source == nullptr) {
    return Fail(
        fmt::format("view('{}'): there is no dataset '{}'", id.ToUtf8(), in.Text(1).ToUtf8()));
  }
  std::string reason;
  const kt_long errors = error_count_;
  if (!datasets_.MakeView(id, *source, in.Text(2), reason)) {
    // A filter with a fault has been reported.
    if (error_count_ > errors) return -1;
    return Fail(fmt::format("view('{}'): {}", id.ToUtf8(), reason));
  }
  StoreDataset(*datasets_.Find(id), result);
  return 0;
}

// The options after the format.
bool Kt_CliHost::OptionsOf(const char* function, const Kt_Variant& value,
                           kt::cli::DataOptions& options) {
  std::string reason;
  const bool loads = function == std::string_view("loadData");
  if (kt::cli::ReadDataOptions(value, loads, options, reason)) return true;
  Fail(fmt::format("{}(): {}", function, reason));
  return false;
}

// The file behind the path, and how to open it. The ending of the path counts, not the one of the
// file that a link leads to.
bool Kt_CliHost::ReachDataFile(const char* doing, const std::string& path,
                               kt::cli::DataOptions& options, std::string& file) {
  if (!options.format) options.format = kt::cli::DataFormatOf(path);
  options.links = fence_.LinkRule();
  return ReachFile(doing, path, file);
}

bool Kt_CliHost::ReachDatabase(const char* doing, const std::string& text, Kt_DatabaseUrl& url) {
  std::string reason;
  bool reaches = Kt_DatabaseUrl::Parse(text, url, reason);
  if (reaches && url.kind == Kt_DatabaseUrl::Kind::kSqlite) {
    const std::string file = url.file;
    reaches = fence_.Resolve(file, url.file, reason);
  } else if (reaches) {
    reaches = fence_.AllowsHost(url.host, reason);
  }
  if (!reaches) Fail(fmt::format("cannot {} '{}': {}", doing, text, reason));
  return reaches;
}

kt_long Kt_CliHost::FailParts(const char* begin, const std::vector<kt::cli::Diagnostic>& fault) {
  std::string lines;
  for (const kt::cli::Diagnostic& part : fault) {
    lines += (lines.empty() ? begin : "\n") + kt::cli::DescribePart(part);
  }
  return FailLines(lines);
}

kt_long Kt_CliHost::LoadData(const Kt_VariantList* args, Kt_Variant& result) {
  const kt::Kt_FuncArgs in(args);
  const std::string path = in.Text(1).ToUtf8();
  kt::cli::DataOptions options;
  if (!FormatOf(in.Value(2), options.format)) return -1;
  if (!OptionsOf("loadData", in.Value(3), options)) return -1;
  // What is said of the load names the files as the script does.
  const kt::cli::DataOptions given = options;
  std::string file = path;
  const bool is_input = path == kt::cli::kStandardInput;
  Kt_DatabaseUrl url;
  const bool is_database = Kt_DatabaseUrl::IsUrl(path);
  if (is_database && !ReachDatabase("load", path, url)) return -1;
  options.links = fence_.LinkRule();
  if (!is_input && !is_database && !ReachDataFile("load", path, options, file)) return -1;
  if (!given.rejects.empty() && !ReachFile("write", given.rejects, options.rejects)) return -1;
  Kt_ExprDataset* wrapper = DatasetOf(in.Value(0));
  const Kt_WString id = in.Text(0);
  if (wrapper == nullptr && id.IsEmpty()) return Fail("loadData() needs the name of a dataset");
  // A new one is there once it has been loaded.
  auto made = wrapper == nullptr ? std::make_unique<Kt_Dataset>(id) : nullptr;
  Kt_Dataset* const dataset = made ? made.get() : wrapper->GetDataset();
  kt::cli::DataReport report;
  bool loaded = false;
  {
    streams_.out.flush();
    const Kt_CliProgress progress(streams_.messages, "loading " + path);
    loaded = dataset != nullptr &&
             (is_database ? kt::cli::LoadDatabase(url, options, *dataset, report)
                          : kt::cli::LoadDataFile(file, options, *dataset, report));
  }
  constexpr auto kStyle = kt::cli::OptionStyle::kScript;
  if (!loaded) return FailParts("cannot load: ", kt::cli::LoadFault(path, report, kStyle));
  kt::cli::Tell(streams_, kt::cli::LoadNotes(path, given, report, false, kStyle));
  dataset->NameLoadedMaps(Kt_WString::FromUtf8(path));
  std::string reason;
  if (!kt::cli::HaveTypedColumns(options, {dataset}, reason)) {
    return Fail(fmt::format("loadData(): {}", reason));
  }
  if (made) {
    datasets_.Add(std::move(made));
  } else {
    wrapper->AnnounceRows(Kt_LoadReason::kLoaded);
  }
  result = report.rows.rows_read;
  return 0;
}

kt_long Kt_CliHost::SaveData(const Kt_VariantList* args, Kt_Variant& result) {
  const kt::Kt_FuncArgs in(args);
  const std::string path = in.Text(1).ToUtf8();
  kt::cli::DataOptions options;
  if (!FormatOf(in.Value(2), options.format)) return -1;
  if (!OptionsOf("saveData", in.Value(3), options)) return -1;
  const bool is_database = Kt_DatabaseUrl::IsUrl(path);
  std::string file;
  if (!is_database && !ReachDataFile("save", path, options, file)) return -1;
  const Kt_ExprDataset* const wrapper = DatasetOf(in.Value(0));
  if (wrapper == nullptr || wrapper->GetDataset() == nullptr) {
    return Fail(fmt::format("saveData(): there is no dataset '{}'", in.Text(0).ToUtf8()));
  }
  if (is_database) return SaveToDatabase(*wrapper->GetDataset(), path, options, result);
  std::string reason;
  bool saved = false;
  {
    streams_.out.flush();
    const Kt_CliProgress progress(streams_.messages, "saving " + path);
    saved = kt::cli::SaveDataFile(file, options, *wrapper->GetDataset(), reason);
  }
  if (!saved) return Fail(fmt::format("cannot save '{}': {}", path, reason));
  result = wrapper->GetDataset()->GetRowCount();
  return 0;
}

kt_long Kt_CliHost::SaveToDatabase(Kt_Dataset& dataset, const std::string& text,
                                   kt::cli::DataOptions options, Kt_Variant& result) {
  Kt_DatabaseUrl url;
  if (!ReachDatabase("save", text, url)) return -1;
  options.links = fence_.LinkRule();
  std::vector<kt::cli::Diagnostic> fault;
  kt_long saved = 0;
  {
    streams_.out.flush();
    const Kt_CliProgress progress(streams_.messages, "saving " + text);
    saved = kt::cli::SaveToDatabase(url, options, dataset, fault);
  }
  if (saved < 0) return FailParts("", fault);
  result = saved;
  return 0;
}
