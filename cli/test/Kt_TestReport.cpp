// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "classlib/xml/Kt_XmlWriter.h"
#include "cli/Kt_Visible.h"
#include "cli/test/Kt_TestRun.h"

namespace kt::cli {
namespace {

class JUnitWriter {
 public:
  void Suite(const std::vector<TestResult>& results, std::size_t first, std::size_t end) {
    long failed = 0;
    double seconds = 0;
    for (std::size_t at = first; at < end; ++at) {
      failed += results[at].has_passed ? 0 : 1;
      seconds += results[at].seconds;
    }
    xml_.Start(u"testsuite");
    Attribute(u"name", results[first].file);
    Attribute(u"tests", fmt::format("{}", end - first));
    Attribute(u"failures", fmt::format("{}", failed));
    Attribute(u"time", fmt::format("{:.3f}", seconds));
    for (std::size_t at = first; at < end; ++at) Case(results[at]);
    xml_.End();
  }
  void Start() { xml_.Start(u"testsuites"); }
  bool Finish(std::string& text) {
    Kt_WString document;
    const bool is_whole = xml_.Finish(document);
    text = document.ToUtf8();
    return is_whole;
  }

 private:
  void Attribute(std::u16string_view name, const std::string& value) {
    xml_.Attribute(name, Kt_WString::FromUtf8(value).View());
  }
  void Element(std::u16string_view name, const std::string& text) {
    xml_.Start(name);
    xml_.Text(Kt_WString::FromUtf8(text).View());
    xml_.End();
  }
  void Case(const TestResult& result) {
    xml_.Start(u"testcase");
    Attribute(u"classname", result.file);
    Attribute(u"name", result.name.empty() ? "(loading)" : result.name);
    Attribute(u"time", fmt::format("{:.3f}", result.seconds));
    if (!result.has_passed) {
      xml_.Start(u"failure");
      Attribute(u"message", result.messages.substr(0, result.messages.find('\n')));
      xml_.Text(Kt_WString::FromUtf8(result.messages).View());
      xml_.End();
    }
    if (!result.output.empty()) Element(u"system-out", result.output);
    xml_.End();
  }

  Kt_XmlWriter xml_{true};
};

}  // namespace

bool JUnitReport(const std::vector<TestResult>& results, std::string& xml) {
  JUnitWriter writer;
  writer.Start();
  for (std::size_t first = 0; first < results.size();) {
    std::size_t end = first;
    while (end < results.size() && results[end].file == results[first].file) ++end;
    writer.Suite(results, first, end);
    first = end;
  }
  return writer.Finish(xml);
}

std::string JsonReport(const TestResult& result) {
  nlohmann::ordered_json object;
  object["file"] = result.file;
  object["test"] = result.name;
  object["passed"] = result.has_passed;
  object["seconds"] = result.seconds;
  object["output"] = result.output;
  object["messages"] = nlohmann::ordered_json::array();
  std::string_view lines = result.messages;
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size() - 1) + 1;
    object["messages"].push_back(
        nlohmann::ordered_json::parse(lines.substr(0, end), nullptr, false));
    lines.remove_prefix(end);
  }
  return WithJsonEscapes(object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace kt::cli
