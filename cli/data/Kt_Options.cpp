// SPDX-License-Identifier: MIT
#include "cli/data/Kt_Options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ostream>

#include "cli/Kt_Bounds.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Host.h"
#include "cli/data/Kt_Database.h"
#include "cli/data/Kt_OptionText.h"
#include "cli/data/Kt_Progress.h"
#include "cli/data/Kt_Report.h"
#include "cli/show/Kt_Arrange.h"
#include "dataset/Kt_ExprDataset.h"

namespace kt::cli {
namespace {

bool Refuse(const char* command, const std::string& what, Streams streams) {
  Tell(streams, Diagnostic::Complaint(command, what));
  return false;
}

constexpr const char* kFormats = "(csv, tsv, xml, json, jsonl, ktb, xlsx)";

bool ParseItems(const std::vector<std::string>& texts, const char* option, bool needs_name,
                const char* command, Streams streams, std::vector<DataFiles::Item>& items) {
  for (const std::string& text : texts) {
    DataFiles::Item item;
    std::string reason;
    if (!ParseDataItem(text, needs_name, item, reason)) {
      return Refuse(command, fmt::format("{}: {}", option, reason), streams);
    }
    items.push_back(item);
  }
  return true;
}

bool HasTwice(const std::vector<DataFiles::Item>& items, std::string& name) {
  for (std::size_t at = 0; at < items.size(); ++at) {
    for (std::size_t before = 0; before < at; ++before) {
      if (!Kt_WString::FromUtf8(items[at].name)
               .EqualsNoCase(Kt_WString::FromUtf8(items[before].name))) {
        continue;
      }
      name = items[at].name;
      return true;
    }
  }
  return false;
}

bool HaveFormats(const std::vector<DataFiles::Item>& items, const DataOptions& options,
                 const char* command, Streams streams) {
  for (const DataFiles::Item& item : items) {
    if (options.format || item.path == kStandardInput || Kt_DatabaseUrl::IsUrl(item.path) ||
        DataFormatOf(item.path)) {
      continue;
    }
    return Refuse(
        command,
        fmt::format("the ending of '{}' names no format {}; --format does", item.path, kFormats),
        streams);
  }
  return true;
}

// What can be done for one file only.
bool CheckCounts(const DataFiles& files, const char* command, Streams streams) {
  const auto is_input = [](const DataFiles::Item& item) { return item.path == kStandardInput; };
  if (std::count_if(files.data.begin(), files.data.end(), is_input) > 1) {
    return Refuse(command, "--data: the standard input can be read once", streams);
  }
  if (!files.load_options.rejects.empty() && files.data.size() > 1) {
    return Refuse(command, "--rejects: one file cannot hold the rows of several --data", streams);
  }
  return true;
}

bool ContainsWord(const Kt_WString& code, std::u16string_view word) {
  return code.Findi(word) >= 0;
}

}  // namespace

void AddDataOptions(CLI::App& command, DataArguments& arguments) {
  constexpr const char* kGroup = "Data files";
  for (const DataOption& option : AllDataOptions()) {
    const std::string name(option.name);
    const auto keep = [&arguments, name](const std::string& value) {
      arguments.options.emplace_back(name, value);
    };
    CLI::Option* const added =
        option.value.empty()
            ? command.add_flag_callback(
                  "--" + name, [keep] { keep(""); }, std::string(option.help))
            : command.add_option_function<std::string>("--" + name, keep, std::string(option.help))
                  ->type_name(std::string(option.value));
    added->group(kGroup);
  }
  command.add_flag("--verbose", arguments.verbose, "Say how many rows were loaded")->group(kGroup);
}

void AddDataArguments(CLI::App& command, DataArguments& arguments, bool with_save) {
  const auto several = [&](const char* option, std::vector<std::string>& into, const char* help) {
    command.add_option(option, into, help)->type_name("NAME=FILE")->allow_extra_args(false);
  };
  several("--data", arguments.data, "Load a file as dataset NAME; the first is the default one");
  if (with_save) several("--save", arguments.save, "Save dataset NAME when all went well");
  AddDataOptions(command, arguments);
}

bool ParseDataItem(const std::string& text, bool needs_name, DataFiles::Item& item,
                   std::string& reason) {
  const std::size_t equals = text.find('=');
  const std::string before = text.substr(0, equals);
  const bool has_name = equals != text.npos && Kt_WString::FromUtf8(before).IsName();
  const std::string path = has_name ? text.substr(equals + 1) : text;
  Kt_DatabaseUrl url;
  if (Kt_DatabaseUrl::IsUrl(path) && !Kt_DatabaseUrl::Parse(path, url, reason)) {
    reason = fmt::format("'{}': {}", path, reason);
    return false;
  }
  if (has_name) {
    item = {before, path};
    reason = fmt::format("no file behind '{}='", before);
    return !item.path.empty();
  }
  item = {DatasetNameOf(text), text};
  if (needs_name) {
    reason = fmt::format("expected NAME=FILE in place of '{}'", text);
    return false;
  }
  reason = fmt::format("'{}' needs a name in front: NAME={}", text, text);
  return !text.empty() && Kt_WString::FromUtf8(item.name).IsName();
}

bool ParseDataOptions(const DataArguments& arguments, const char* command, Streams streams,
                      DataOptions& options) {
  std::string reason;
  for (const auto& [name, value] : arguments.options) {
    if (!ReadDataOption(name, value, options, reason)) {
      return Refuse(command, "--" + reason, streams);
    }
  }
  return CheckDataOptions(options, reason) || Refuse(command, "--" + reason, streams);
}

bool ParseDataArguments(const DataArguments& arguments, const char* command, Streams streams,
                        DataFiles& files) {
  files.verbose = arguments.verbose;
  if (!ParseItems(arguments.data, "--data", false, command, streams, files.data) ||
      !ParseItems(arguments.save, "--save", true, command, streams, files.save)) {
    return false;
  }
  std::string name;
  if (HasTwice(files.data, name)) {
    return Refuse(command, fmt::format("--data: there are two datasets '{}'", name), streams);
  }
  return ParseDataOptions(arguments, command, streams, files.load_options) &&
         CheckCounts(files, command, streams) &&
         HaveFormats(files.data, files.load_options, command, streams) &&
         HaveFormats(files.save, files.load_options, command, streams);
}

bool LoadDataInto(const DataFiles::Item& item, const DataOptions& options, bool verbose,
                  Kt_CliHost& host, Streams streams, DataReport& report) {
  const Kt_WString name = Kt_WString::FromUtf8(item.name);
  Kt_ExprDataset* const known = host.GetDatasets().Find(name);
  auto made = known == nullptr ? std::make_unique<Kt_Dataset>(name) : nullptr;
  Kt_Dataset* const dataset = made ? made.get() : known->GetDataset();
  bool loaded = false;
  {
    const Kt_CliProgress progress(streams.messages, "loading " + item.path);
    loaded = LoadDataFile(item.path, options, *dataset, report);
  }
  if (!loaded) return false;
  dataset->NameLoadedMaps(Kt_WString::FromUtf8(item.path));
  if (made) {
    host.GetDatasets().Add(std::move(made));
  } else {
    known->AnnounceRows(Kt_LoadReason::kLoaded);
  }
  Tell(streams, LoadNotes(item.path, options, report, verbose));
  return true;
}

bool HaveTypedColumns(const DataOptions& options, const std::vector<const Kt_Dataset*>& datasets,
                      std::string& reason) {
  std::vector<Kt_WString> names;
  for (const Kt_Dataset* const dataset : datasets) {
    for (kt_long col = 0; col < dataset->GetColCount(); ++col) {
      names.push_back(dataset->GetColID(col));
    }
  }
  for (const auto& typed : options.rules.types) {
    const Kt_WString& id = typed.first;
    const bool known = std::any_of(names.begin(), names.end(),
                                   [&id](const Kt_WString& name) { return name.EqualsNoCase(id); });
    if (known) continue;
    reason = fmt::format("types: there is no column '{}'{}", id.ToUtf8(), KnownColumns(id, names));
    return false;
  }
  return true;
}

int LoadDataFiles(const DataFiles& files, const char* command, Kt_CliHost& host, Streams streams) {
  std::vector<const Kt_Dataset*> loaded;
  for (const DataFiles::Item& item : files.data) {
    DataReport report;
    if (!LoadDataInto(item, files.load_options, files.verbose, host, streams, report)) {
      if (TellStop(item.path, streams)) return kScriptFault;
      Tell(streams, LoadFault(item.path, report));
      return report.no_access ? kCommandFault : kScriptFault;
    }
    loaded.push_back(host.GetDatasets().Find(Kt_WString::FromUtf8(item.name))->GetDataset());
  }
  std::string reason;
  if (loaded.empty() || HaveTypedColumns(files.load_options, loaded, reason)) return kFine;
  Refuse(command, "--" + reason, streams);
  return kCommandFault;
}

bool CheckSaveNames(const DataFiles& files, const Kt_CliHost& host, const Kt_WString& code,
                    const char* command, Streams streams) {
  const bool may_make = ContainsWord(code, u"dataset") || ContainsWord(code, u"view") ||
                        ContainsWord(code, u"loaddata");
  for (const DataFiles::Item& item : files.save) {
    if (may_make || host.GetDatasets().Find(Kt_WString::FromUtf8(item.name)) != nullptr) continue;
    return Refuse(command, fmt::format("--save: there is no dataset '{}'", item.name), streams);
  }
  return true;
}

namespace {

bool SaveChangesOf(Kt_Dataset& dataset, const DataFiles::Item& item, const DataOptions& options,
                   Streams streams) {
  std::vector<Diagnostic> fault;
  kt_long saved = 0;
  {
    const Kt_CliProgress progress(streams.messages, "saving " + item.path);
    saved = SaveToDatabase(item.path, options, dataset, fault);
  }
  if (saved < 0 && !TellStop(item.path, streams)) Tell(streams, fault);
  return saved >= 0;
}

}  // namespace

bool SaveDataItem(const DataFiles::Item& item, const DataOptions& options, Kt_CliHost& host,
                  Streams streams) {
  const Kt_ExprDataset* const wrapper = host.GetDatasets().Find(Kt_WString::FromUtf8(item.name));
  std::string reason = fmt::format("there is no dataset '{}'", item.name);
  if (wrapper != nullptr && Kt_DatabaseUrl::IsUrl(item.path)) {
    return SaveChangesOf(*wrapper->GetDataset(), item, options, streams);
  }
  if (wrapper != nullptr) {
    const Kt_CliProgress progress(streams.messages, "saving " + item.path);
    if (SaveDataFile(item.path, options, *wrapper->GetDataset(), reason)) return true;
    if (TellStop(item.path, streams)) return false;
  }
  Tell(streams,
       Diagnostic::Error(fmt::format("cannot save '{}': {}", item.name, reason), item.path));
  return false;
}

DataOptions SaveOptionsFor(const DataFiles::Item& item, const DataFiles& files) {
  DataOptions options = files.load_options;
  if (DataFormatOf(item.path)) options.format.reset();
  return options;
}

int SaveDataFiles(const DataFiles& files, Kt_CliHost& host, Streams streams) {
  int status = kFine;
  // Output that is lost is a run that has failed.
  if (!files.save.empty() && !streams.out.flush()) return kScriptFault;
  for (const DataFiles::Item& item : files.save) {
    if (!SaveDataItem(item, SaveOptionsFor(item, files), host, streams)) status = kScriptFault;
  }
  // Printing and saving compute columns, whose errors are errors of the host.
  return host.GetErrorCount() > 0 ? kScriptFault : status;
}

}  // namespace kt::cli
