// SPDX-License-Identifier: MIT
#include "cli/Kt_HostNames.h"

#include <fmt/format.h>

#include <map>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "cli/Kt_File.h"
#include "cli/Kt_Findings.h"
#include "cli/Kt_Text.h"

namespace kt::cli {
namespace {

using Json = nlohmann::json;
using analysis::ArgumentCounts;
using analysis::KnownNames;

class Reader {
 public:
  explicit Reader(KnownNames& known) : known_(known) {}

  // What is wrong with the line; empty for nothing.
  std::string Read(const std::string& line) {
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object()) return "this is no object of JSON";
    const std::string name = Text(json, "name");
    const std::string kind = Text(json, "kind");
    if (name.empty() || kind.empty()) return "'name' and 'kind' have to be texts";
    return Add(kind, Kt_WString::FromUtf8(name), json);
  }

  // Their columns come after them.
  void AddDatasets() {
    for (auto& [name, columns] : datasets_) {
      known_.AddDataset(Kt_WString::FromUtf8(name), std::move(columns));
    }
  }

 private:
  static std::string Text(const Json& json, const char* member) {
    const auto found = json.find(member);
    return found != json.end() && found->is_string() ? found->get<std::string>() : "";
  }

  // The call forms, one after the other.
  static Kt_WString Forms(const Json& json) {
    std::string forms;
    const auto found = json.find("forms");
    if (found == json.end() || !found->is_array()) return {};
    for (const Json& form : *found) forms += form.is_string() ? form.get<std::string>() + "," : "";
    return Kt_WString::FromUtf8(forms);
  }

  std::string Add(const std::string& kind, const Kt_WString& name, const Json& json) {
    const std::string of = Text(json, "of");
    if (kind == "function") {
      known_.AddFunction(name, Forms(json), json.value("makesNames", Json()) == true);
    } else if (kind == "variable") {
      known_.AddVariable(name);
    } else if (kind == "dataset") {
      datasets_[name.ToUtf8()];
    } else if (kind == "object") {
      known_.AddObject(name);
    } else if (kind == "property" || kind == "method" || kind == "column") {
      if (of.empty()) return fmt::format("a {} needs the text 'of', what it belongs to", kind);
      AddMember(kind, name, of, json);
    } else if (kind.find(" of ") == kind.npos && kind != "statement") {  // those kt has anyway
      return fmt::format("there is no kind '{}'", kind);
    }
    return {};
  }

  void AddMember(const std::string& kind, const Kt_WString& name, const std::string& of,
                 const Json& json) {
    if (kind == "column") return datasets_[of].push_back(name);
    KnownNames::Object& object = known_.AddObject(Kt_WString::FromUtf8(of));
    if (kind == "property") {
      object.properties[analysis::Folded(name)] = name;
    } else {
      object.methods[analysis::Folded(name)] = {name, ArgumentCounts::Of(Forms(json)), false};
    }
  }

  KnownNames& known_;
  std::map<std::string, std::vector<Kt_WString>> datasets_;
};

}  // namespace

bool AddHostNames(const Kt_WString& text, KnownNames& known, std::string& error) {
  Reader reader(known);
  int number = 0;
  for (const std::string& line : SplitLines(text.ToUtf8())) {
    ++number;
    if (line.find_first_not_of(" \t\r") == line.npos) continue;
    const std::string fault = reader.Read(line);
    if (fault.empty()) continue;
    error = fmt::format("line {}: {}", number, fault);
    return false;
  }
  reader.AddDatasets();
  return true;
}

bool AddNames(const Kt_CliDatasets& datasets, const std::vector<std::string>& host_files,
              analysis::KnownNames& known, std::string& error) {
  AddDatasetNames(datasets, known);
  if (host_files.empty()) AddKtNames(known);
  for (const std::string& file : host_files) {
    Kt_WString text;
    std::string reason;
    if (ReadTextFile(file, text, reason) == FileResult::kOk && AddHostNames(text, known, reason)) {
      continue;
    }
    error = fmt::format("{}: {}", file, reason);
    return false;
  }
  return true;
}

}  // namespace kt::cli
