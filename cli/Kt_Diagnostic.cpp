// SPDX-License-Identifier: MIT
#include "cli/Kt_Diagnostic.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <utility>

#include "classlib/base/Kt_Memory.h"
#include "classlib/text/Kt_WString.h"
#include "cli/Kt_Color.h"
#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"
#include "connect/Kt_DatabaseUrl.h"
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

std::string PlaceText(const std::string& file, kt_long line, kt_long column) {
  std::string place = WithVisibleControls(file);
  if (line > 0) place += fmt::format(":{}", line);
  if (column > 0) place += fmt::format(":{}", column);
  return place;
}

std::string PlaceText(const Diagnostic& diagnostic) {
  if (!diagnostic.command.empty()) return diagnostic.command;
  return PlaceText(diagnostic.file, diagnostic.line, diagnostic.column);
}

// How the failing function was reached; nothing when nobody called it.
std::string CallLines(const Diagnostic& diagnostic) {
  std::string lines;
  if (diagnostic.calls.size() < 2) return lines;
  for (std::size_t at = 0; at < diagnostic.calls.size(); ++at) {
    if (at == Kt_RunError::kInnerCalls && diagnostic.calls_left_out > 0) {
      lines += fmt::format("  ... {} more\n", diagnostic.calls_left_out);
    }
    const Diagnostic::Call& call = diagnostic.calls[at];
    lines += fmt::format("  in function {} ({})\n", Shown(call.function),
                         PlaceText(call.file, call.line, 0));
  }
  return lines;
}

std::string HintLine(const Diagnostic& diagnostic) {
  if (diagnostic.hint.empty()) return {};
  const Diagnostic::Related& place = diagnostic.related;
  if (place.line == 0) return fmt::format("  hint: {}\n", diagnostic.hint);
  return fmt::format("  hint: {} at line {}, column {}\n", diagnostic.hint, place.line,
                     place.column);
}

std::string JsonLine(const Diagnostic& diagnostic) {
  const std::string& command = diagnostic.command;
  nlohmann::ordered_json json = {
      {"severity", SeverityName(diagnostic.severity)},
      {"code", diagnostic.code},
      {"name", diagnostic.name},
      {"text", (command.empty() ? command : command + ": ") + diagnostic.text},
      {"file", diagnostic.file},
      {"line", diagnostic.line},
      {"column", diagnostic.column},
      {"length", diagnostic.length},
      {"expression", diagnostic.expression},
      {"hint", diagnostic.hint},
      {"related", nlohmann::ordered_json::array()},
      {"calls", nlohmann::ordered_json::array()},
      {"callsLeftOut", diagnostic.calls_left_out}};
  if (const Diagnostic::Related& related = diagnostic.related; related.line > 0) {
    json["related"].push_back(
        {{"line", related.line}, {"column", related.column}, {"length", related.length}});
  }
  for (const Diagnostic::Call& call : diagnostic.calls) {
    json["calls"].push_back(
        {{"function", call.function}, {"file", call.file}, {"line", call.line}});
  }
  // Names of files may be any bytes.
  constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;
  return WithJsonEscapes(json.dump(-1, ' ', false, kReplace)) + '\n';
}

// How far past the start of a statement its expressions are looked for.
constexpr std::size_t kSearchedUnits = 10000;

bool IsWordUnit(char16_t unit) {
  return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') ||
         (unit >= u'a' && unit <= u'z') || unit == u'_' || unit >= 128;
}

// Whether the unit at `at` is inside of a text literal of the line that starts at `start`.
bool IsInLiteral(std::u16string_view source, std::size_t start, std::size_t at) {
  const auto length = static_cast<kt_long>(source.size() - start);
  for (kt_long done = 0; done < length && start + static_cast<std::size_t>(done) <= at;) {
    int token = 0;
    int token_length = 0;
    const int next =
        Kt_ExprUtil::FindToken(source.data() + start + done, length - done, token, token_length);
    if (next < 1 || token_length < 1) return false;
    const std::size_t begin = start + static_cast<std::size_t>(done + token);
    if (at > begin && at < begin + static_cast<std::size_t>(token_length)) {
      return source[begin] == u'"' || source[begin] == u'\'';
    }
    done += next;
  }
  return false;
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

// The same of an expression of the statement there. One over rows is inside of a text; another one
// is so only when nothing else of the line is it.
std::size_t FindExpression(std::u16string_view source, std::u16string_view text,
                           std::size_t start) {
  const std::u16string_view line = source.substr(0, source.find(u'\n', start));
  std::size_t at = FindWhole(line, text, start);
  while (at != line.npos && IsInLiteral(line, start, at)) at = FindWhole(line, text, at + 1);
  return at != line.npos ? at : FindWhole(source.substr(0, start + kSearchedUnits), text, start);
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

Diagnostic Diagnostic::Error(std::string_view text, std::string file, kt_long line) {
  Diagnostic diagnostic;
  diagnostic.text = WithVisibleControls(text);
  diagnostic.file = std::move(file);
  diagnostic.line = line;
  return diagnostic;
}

Diagnostic Diagnostic::Warning(std::string_view text, std::string name) {
  Diagnostic diagnostic = Error(text);
  diagnostic.severity = Severity::kWarning;
  diagnostic.name = std::move(name);
  return diagnostic;
}

Diagnostic Diagnostic::Note(std::string_view text, std::string file, kt_long line) {
  Diagnostic diagnostic = Error(text, std::move(file), line);
  diagnostic.severity = Severity::kNote;
  return diagnostic;
}

Diagnostic Diagnostic::Of(std::string command, Diagnostic diagnostic) {
  diagnostic.command = std::move(command);
  return diagnostic;
}

Diagnostic Diagnostic::Complaint(std::string command, std::string_view text) {
  Diagnostic diagnostic = Of(std::move(command), Error(text));
  diagnostic.is_plain = true;
  return diagnostic;
}

std::string Describe(const Diagnostic& diagnostic) {
  const bool is_plain = diagnostic.is_plain || diagnostic.severity == Severity::kNote;
  std::string text = PlaceText(diagnostic);
  if (!text.empty()) text += ": ";
  if (!is_plain) text += std::string(SeverityName(diagnostic.severity)) + ": ";
  text += diagnostic.text;
  if (!diagnostic.name.empty()) text += " [" + diagnostic.name + "]";
  return text + "\n" + diagnostic.below + CallLines(diagnostic) + HintLine(diagnostic);
}

namespace {

// A caret with the wavy line after it.
bool IsMark(const std::string& line) {
  return line.find('^') != line.npos && line.find_first_not_of(" ^~") == line.npos;
}

// Describe with colours; what is not ours to print in them has been made visible.
std::string DescribeInColor(const Diagnostic& diagnostic) {
  constexpr const char* kPlace = "1";
  constexpr const char* kMark = "1;32";
  constexpr const char* kSeverities[] = {"1;31", "1;35", "1;36"};
  const auto visible = [](const std::string& text) {
    std::ostringstream out;
    VisibleStream stream(out);
    out.exceptions(std::ios::badbit);  // streams keep to themselves that memory ran out
    stream.exceptions(std::ios::badbit);
    stream << text;
    return out.str();
  };
  std::vector<std::string> lines = SplitLines(visible(Describe(diagnostic)));
  std::string& line = lines.at(0);
  const std::string place = visible(PlaceText(diagnostic));
  const std::string severity = std::string(SeverityName(diagnostic.severity)) + ":";
  std::string text = Colored(kPlace, place);
  line.erase(0, place.size());
  if (const std::size_t at = line.find(severity); at <= 2) {
    text += line.substr(0, at) +
            Colored(kSeverities[static_cast<std::size_t>(diagnostic.severity)], severity);
    line.erase(0, at + severity.size());
  }
  text += line + "\n";
  for (std::size_t at = 1; at < lines.size(); ++at) {
    text += (IsMark(lines[at]) ? Colored(kMark, lines[at]) : lines[at]) + "\n";
  }
  return text;
}

}  // namespace

std::string DescribePart(Diagnostic diagnostic) {
  diagnostic.is_plain = true;
  diagnostic.hint.clear();
  std::string text = Describe(diagnostic);
  text.pop_back();
  return text;
}

void Tell(Streams streams, const Diagnostic& diagnostic) {
  const Kt_MemoryPause pause;
  streams.out.flush();
  if (!streams.json && HasColor(streams.messages)) {
    std::ostream(VisibleStream::TargetOf(streams.messages))
        << WithoutPasswords(DescribeInColor(diagnostic)) << std::flush;
    return;
  }
  const std::string text = streams.json ? JsonLine(diagnostic) : Describe(diagnostic);
  streams.messages << WithoutPasswords(text);
}

void Tell(Streams streams, const std::vector<Diagnostic>& diagnostics) {
  for (const Diagnostic& diagnostic : diagnostics) Tell(streams, diagnostic);
}

void TellOutOfMemory(Streams streams) {
  streams.messages.clear();  // an earlier message may have failed for the same reason
  if (streams.json) {
    // As JsonLine gives it. JSON values want memory in their destructors too.
    streams.messages << R"({"severity":"error","code":0,"name":"","text":"kt: out of memory",)"
                        R"("file":"","line":0,"column":0,"length":0,"expression":"","hint":"",)"
                        R"("related":[],"calls":[],"callsLeftOut":0})"
                        "\n";
    return;
  }
  try {
    Tell(streams, Diagnostic::Complaint("kt", "out of memory"));
    if (streams.messages) return;
  } catch (const std::bad_alloc&) {
    // The bytes alone take none.
  }
  streams.messages.clear();
  streams.messages << "kt: out of memory\n";
}

Diagnostic FromRunError(const Kt_RunError& error) {
  Diagnostic diagnostic;
  diagnostic.code = error.report != 0 ? error.report : error.code;
  const bool is_told = error.code == kHostFunctionFailed;
  diagnostic.text = (is_told ? error.text : WithVisibleControls(error.text)).ToUtf8();
  diagnostic.file = error.source_name.ToUtf8();
  diagnostic.line = error.line;
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
    const std::size_t at = FindExpression(source, expression, start);
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

}  // namespace kt::cli
