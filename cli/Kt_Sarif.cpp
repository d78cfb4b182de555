// SPDX-License-Identifier: MIT
#include "cli/Kt_Sarif.h"

#include <fmt/format.h>

#include <map>
#include <nlohmann/json.hpp>
#include <string_view>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Explain.h"
#include "cli/Kt_Text.h"

namespace kt::cli {
namespace {

using OrderedJson = nlohmann::ordered_json;

// The path as a reference of a URI.
std::string UriOf(const std::string& path) {
  constexpr std::string_view kPlain = "-._~/!$&'()*+,;=@";
  std::string uri = path.starts_with('/') ? "file://" : "";
  for (const char byte : path) {
    const bool is_letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
    const bool is_plain =
        is_letter || (byte >= '0' && byte <= '9') || kPlain.find(byte) != kPlain.npos;
    uri +=
        is_plain ? std::string(1, byte) : fmt::format("%{:02X}", static_cast<unsigned char>(byte));
  }
  return uri;
}

OrderedJson LocationOf(const OrderedJson& message) {
  OrderedJson location = {
      {"artifactLocation", {{"uri", UriOf(message["file"].get<std::string>())}}}};
  if (message["line"] > 0) location["region"]["startLine"] = message["line"];
  if (message["column"] > 0) {
    location["region"]["startColumn"] = message["column"];
    location["region"]["endColumn"] = message["column"].get<int>() + message["length"].get<int>();
  }
  return {{"physicalLocation", location}};
}

// The name of a warning, the code of an error; messages of kt itself have none.
std::string RuleOf(const OrderedJson& message) {
  std::string name = message["name"];
  if (!name.empty()) return name;
  return message["code"] == 0 ? "kt" : message["code"].dump();
}

class Log {
 public:
  void Add(const OrderedJson& message) {
    OrderedJson entry = {{"level", message["severity"]}, {"message", {{"text", message["text"]}}}};
    if (message["file"].get<std::string>().empty()) return notifications_.push_back(entry);
    const std::string rule = RuleOf(message);
    entry["ruleId"] = rule;
    entry["ruleIndex"] = IndexOf(rule);
    entry["locations"] = OrderedJson::array({LocationOf(message)});
    results_.push_back(entry);
  }

  OrderedJson Get(int status) const {
    const OrderedJson driver = {{"name", "kt"}, {"version", KT_CLI_VERSION}, {"rules", rules_}};
    const OrderedJson invocation = {{"executionSuccessful", status != kCommandFault},
                                    {"exitCode", status},
                                    {"toolExecutionNotifications", notifications_}};
    const OrderedJson run = {{"tool", {{"driver", driver}}},
                             {"columnKind", "unicodeCodePoints"},
                             {"invocations", OrderedJson::array({invocation})},
                             {"results", results_}};
    return {{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
            {"version", "2.1.0"},
            {"runs", OrderedJson::array({run})}};
  }

 private:
  std::size_t IndexOf(const std::string& rule) {
    const auto [found, is_new] = indexes_.emplace(rule, rules_.size());
    if (!is_new) return found->second;
    OrderedJson entry = {{"id", rule}};
    const std::string text = Explanation(rule);
    if (!text.empty()) entry["fullDescription"] = {{"text", text}};
    rules_.push_back(entry);
    return found->second;
  }

  std::map<std::string, std::size_t> indexes_;
  OrderedJson rules_ = OrderedJson::array();
  OrderedJson results_ = OrderedJson::array();
  OrderedJson notifications_ = OrderedJson::array();
};

}  // namespace

std::string ToSarif(const std::string& messages, int status) {
  Log log;
  for (const std::string& line : SplitLines(messages)) log.Add(OrderedJson::parse(line));
  return log.Get(status).dump() + "\n";
}

}  // namespace kt::cli
