// SPDX-License-Identifier: MIT
#include "cli/Kt_Diagnostic.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <utility>

#include "classlib/text/Kt_WString.h"
#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"
#include "expr/Kt_ExprUtil.h"
#include "object/Kt_RunError.h"

namespace kt::cli {
namespace {

using Severity = Diagnostic::Severity;

const char* SeverityName(Severity severity) {
  switch (severity) {
    case Severity::kError: return "error";
    case Severity::kWarning: return "warning";
    default: return "note";
  }
}

// Takes ":number" from the end of `text`; 0, and nothing taken, when there is none.
kt_long TakeNumber(std::string_view& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos || colon + 1 == text.size()) return 0;
  kt_long number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data() + colon + 1, end, number);
  if (read.ec != std::errc() || read.ptr != end || number < 1) return 0;
  text.remove_suffix(text.size() - colon);
  return number;
}

// Takes " [name]" from the end of a warning.
std::string TakeName(std::string& text) {
  const std::size_t start = text.rfind(" [");
  if (start == std::string::npos || !text.ends_with(']')) return {};
  std::string name = text.substr(start + 2, text.size() - start - 3);
  text.resize(start);
  return name;
}

// "file", "file:line" or "file:line:column".
void ReadPlace(std::string_view place, Diagnostic& diagnostic) {
  diagnostic.line = TakeNumber(place);
  if (const kt_long line = TakeNumber(place); line > 0) {
    diagnostic.column = std::exchange(diagnostic.line, line);
  }
  diagnostic.file = place;
}

// Reads "place: error: text" and the like, by the first such mark. A trace keeps its mark.
bool ReadSeverity(std::string_view line, Diagnostic& diagnostic) {
  constexpr std::pair<std::string_view, Severity> kMarks[] = {{": error: ", Severity::kError},
                                                              {": warning: ", Severity::kWarning},
                                                              {": trace: ", Severity::kNote}};
  std::size_t first = line.size();
  for (const auto& [mark, severity] : kMarks) {
    const std::size_t at = line.find(mark);
    if (at >= first) continue;
    first = at;
    diagnostic.severity = severity;
    diagnostic.text = line.substr(at + (severity == Severity::kNote ? 2 : mark.size()));
  }
  if (first == line.size()) return false;
  ReadPlace(line.substr(0, first), diagnostic);
  if (diagnostic.severity == Severity::kWarning) diagnostic.name = TakeName(diagnostic.text);
  return true;
}

// How far past the start of a statement its expressions are looked for.
constexpr std::size_t kSearchedUnits = 10000;

bool IsWordUnit(char16_t unit) {
  return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') ||
         (unit >= u'a' && unit <= u'z') || unit == u'_' || unit >= 128;
}

// Where `text` stands from `start` on, not in the middle of a longer name.
std::size_t FindWhole(std::u16string_view source, std::u16string_view text, std::size_t start) {
  std::size_t at = source.find(text, start);
  for (; at != std::u16string_view::npos; at = source.find(text, at + 1)) {
    const std::size_t end = at + text.size();
    const bool joins_before = at > 0 && IsWordUnit(source[at - 1]) && IsWordUnit(text.front());
    const bool joins_after =
        end < source.size() && IsWordUnit(source[end]) && IsWordUnit(text.back());
    if (!joins_before && !joins_after) break;
  }
  return at;
}

// The first token `name` in the line that starts at `start`.
Part FindName(std::u16string_view source, std::size_t start, const Kt_WString& name) {
  const std::u16string_view line = source.substr(start, source.find(u'\n', start) - start);
  const auto length = static_cast<kt_long>(line.size());
  for (kt_long at = 0; at < length && !name.IsEmpty();) {
    int token = 0;
    int token_length = 0;
    const int next = Kt_ExprUtil::FindToken(line.data() + at, length - at, token, token_length);
    if (next < 1 || token_length < 1) break;
    const auto offset = static_cast<std::size_t>(at) + static_cast<std::size_t>(token);
    const auto size = static_cast<std::size_t>(token_length);
    if (name.EqualsNoCase(line.substr(offset, size))) return {start + offset, size};
    at += next;
  }
  return {};
}

}  // namespace

std::string Describe(const Diagnostic& diagnostic) {
  std::string text = std::string(SeverityName(diagnostic.severity)) + ": " + diagnostic.text;
  return diagnostic.name.empty() ? text : text + " [" + diagnostic.name + "]";
}

// What has no severity is a fault of the command line when a command says it, something lost when
// it has a line, and else only told.
Diagnostic ReadMessage(std::string_view line) {
  Diagnostic diagnostic;
  if (ReadSeverity(line, diagnostic)) return diagnostic;
  diagnostic.text = line;
  const std::size_t colon = line.find(": ");
  const std::string_view head = line.substr(0, std::min(colon, line.size()));
  if (head == "kt" || head.starts_with("kt ")) {
    const bool is_done = line.find(": wrote ") != std::string_view::npos;
    diagnostic.severity = is_done ? Severity::kNote : Severity::kError;
    return diagnostic;
  }
  diagnostic.severity = Severity::kNote;
  if (colon == std::string_view::npos) return diagnostic;
  ReadPlace(head, diagnostic);
  diagnostic.text = line.substr(colon + 2);
  if (diagnostic.line > 0) diagnostic.severity = Severity::kWarning;
  return diagnostic;
}

Diagnostic FromRunError(const Kt_RunError& error) {
  Diagnostic diagnostic;
  diagnostic.code = error.report != 0 ? error.report : error.code;
  const bool is_told = error.code == kHostFunctionFailed;
  diagnostic.text = (is_told ? error.text : WithVisibleControls(error.text)).ToUtf8();
  diagnostic.expression = error.expression.ToUtf8();
  for (const Kt_ScriptPosition& call : error.calls) {
    diagnostic.calls.push_back({call.function.ToUtf8(), call.source_name.ToUtf8(), call.line + 1});
  }
  diagnostic.calls_left_out = error.calls_left_out;
  return diagnostic;
}

// The engine knows the statement and the expression, whose text stands in the source as it is,
// unless it has comments.
Part FindPart(std::u16string_view source, const Kt_RunError& error) {
  const std::size_t start = LineStart(source, std::max(error.line, kt_long{1}));
  const std::u16string_view expression = error.expression;
  if (!expression.empty()) {
    const std::size_t at = FindWhole(source.substr(0, start + kSearchedUnits), expression, start);
    if (at != std::u16string_view::npos) {
      if (error.column < 1) return {at, std::max<std::size_t>(expression.size(), 1)};
      return {at + static_cast<std::size_t>(error.column) - 1,
              static_cast<std::size_t>(std::max(error.length, kt_long{1}))};
    }
  }
  const Part token = FindName(source, start, error.subject);
  if (token.length > 0 || error.subject.IsEmpty()) return token;
  // It may stand in a text that is evaluated as an expression.
  const std::size_t end = std::min(source.find(u'\n', start), source.size());
  const std::size_t at = FindWhole(source.substr(0, end), error.subject, start);
  return at == std::u16string_view::npos ? Part() : Part{at, error.subject.View().size()};
}

JsonMessages::JsonMessages(std::ostream& out) : std::ostream(nullptr), out_(out) {
  rdbuf(static_cast<std::streambuf*>(this));
}

JsonMessages::~JsonMessages() {
  try {
    if (!line_.empty()) overflow('\n');
  } catch (const std::exception&) {
    // Without memory for the last line there is none to say so either.
  }
}

void JsonMessages::Write(const Diagnostic& diagnostic) {
  nlohmann::ordered_json json = {{"severity", SeverityName(diagnostic.severity)},
                                 {"code", diagnostic.code},
                                 {"name", diagnostic.name},
                                 {"text", diagnostic.text},
                                 {"file", diagnostic.file},
                                 {"line", diagnostic.line},
                                 {"column", diagnostic.column},
                                 {"length", diagnostic.length},
                                 {"expression", diagnostic.expression},
                                 {"calls", nlohmann::ordered_json::array()},
                                 {"callsLeftOut", diagnostic.calls_left_out}};
  for (const Diagnostic::Call& call : diagnostic.calls) {
    json["calls"].push_back(
        {{"function", call.function}, {"file", call.file}, {"line", call.line}});
  }
  // Names of files may be any bytes.
  constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;
  out_ << WithJsonEscapes(json.dump(-1, ' ', false, kReplace)) << '\n';
}

int JsonMessages::overflow(int unit) {
  if (unit == std::char_traits<char>::eof()) return 0;
  if (unit != '\n') {
    line_ += static_cast<char>(unit);
  } else if (!line_.empty()) {
    Write(ReadMessage(line_));
    line_.clear();
  }
  return unit;
}

int JsonMessages::sync() {
  out_.flush();
  return 0;
}

}  // namespace kt::cli
