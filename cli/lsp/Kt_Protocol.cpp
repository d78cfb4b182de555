// SPDX-License-Identifier: MIT
#include "cli/lsp/Kt_Protocol.h"

#include <algorithm>
#include <limits>

namespace kt::cli::lsp {
namespace {

// Editors send a number beyond any line for "to the end".
kt_long ReadCount(const Json& json) {
  constexpr std::uint64_t kMost = std::numeric_limits<kt_long>::max();
  if (json.is_number_unsigned()) {
    return static_cast<kt_long>(std::min(json.get<std::uint64_t>(), kMost));
  }
  throw RequestError{RequestError::kInvalidParams, "a position has a line and a character from 0"};
}

// What stands at the other place: a bracket, or nothing where one seems to be missing.
std::string RelatedText(const SourceText& text, Range range) {
  constexpr std::u16string_view kBrackets = u"()[]{}";
  const std::u16string_view there = text.View(range);
  const bool is_bracket = there.size() == 1 && kBrackets.find(there[0]) != kBrackets.npos;
  return is_bracket ? "the '" + Kt_WString(there).ToUtf8() + "' is here"
                    : "it seems to be missing here";
}

}  // namespace

const Json& Member(const Json& object, const char* name) {
  static const Json kNothing;
  if (!object.is_object()) return kNothing;
  const auto found = object.find(name);
  return found != object.end() ? *found : kNothing;
}

std::string TextMember(const Json& object, const char* name) {
  const Json& member = Member(object, name);
  if (member.is_string()) return member.get<std::string>();
  throw RequestError{RequestError::kInvalidParams, std::string("there is no text '") + name + "'"};
}

Position ReadPosition(const Json& json) {
  return {ReadCount(Member(json, "line")), ReadCount(Member(json, "character"))};
}

Json ToJson(Position position) {
  return {{"line", position.line}, {"character", position.character}};
}

Json ToJson(const SourceText& text, Range range) {
  return {{"start", ToJson(text.PositionOf(range.start))},
          {"end", ToJson(text.PositionOf(range.end))}};
}

Json ToJson(const SourceText& text, const Problem& problem, const std::string& uri,
            bool shows_related) {
  constexpr int kError = 1;
  constexpr int kWarning = 2;
  constexpr int kUnnecessary = 1;
  Json json = {{"range", ToJson(text, problem.range)},
               {"severity", problem.is_error ? kError : kWarning},
               {"code", problem.code},
               {"source", "kt"},
               {"message", problem.message}};
  if (problem.is_unnecessary) json["tags"] = {kUnnecessary};
  if (problem.related && shows_related) {
    const Json location = {{"uri", uri}, {"range", ToJson(text, *problem.related)}};
    const Json related = {{"location", location}, {"message", RelatedText(text, *problem.related)}};
    json["relatedInformation"] = Json::array({related});
  }
  return json;
}

Json ToJson(const CompletionItem& item) {
  Json json = {{"label", item.label.ToUtf8()}, {"kind", static_cast<int>(item.kind)}};
  if (!item.detail.IsEmpty()) json["detail"] = item.detail.ToUtf8();
  if (item.helper) json["data"] = static_cast<int>(*item.helper);
  return json;
}

Json ToJson(const SourceText& text, const DocumentSymbol& symbol) {
  constexpr int kFunction = 12;
  constexpr int kVariable = 13;
  return {{"name", symbol.name.ToUtf8()},
          {"detail", symbol.detail.ToUtf8()},
          {"kind", symbol.is_function ? kFunction : kVariable},
          {"range", ToJson(text, symbol.range)},
          {"selectionRange", ToJson(text, symbol.name_range)}};
}

// Five numbers each, places from the token before.
Json ToJson(const SourceText& text, const std::vector<SemanticToken>& tokens) {
  std::vector<kt_long> data;
  Position last;
  for (const SemanticToken& token : tokens) {
    const Position at = text.PositionOf(token.range.start);
    const kt_long from = at.line == last.line ? last.character : 0;
    data.insert(data.end(),
                {at.line - last.line, at.character - from, token.range.end - token.range.start,
                 static_cast<kt_long>(token.type), token.modifiers});
    last = at;
  }
  return {{"data", std::move(data)}};
}

// Whole lines, so that no character and no line end is cut.
Json EditsTo(const SourceText& from, const Kt_WString& to) {
  const std::u16string_view a = from.View();
  const std::u16string_view b = to.View();
  if (a == b) return Json::array();
  const auto first = static_cast<std::size_t>(std::ranges::mismatch(a, b).in1 - a.begin());
  const kt_long line = from.LineOf(static_cast<kt_long>(first));
  const auto start = static_cast<std::size_t>(from.LineRange(line).start);
  const std::size_t most = std::min(a.size(), b.size()) - start;
  std::size_t same = 0;  // at the end
  while (same < most && a[a.size() - 1 - same] == b[b.size() - 1 - same]) ++same;
  while (same > 0 && a[a.size() - same - 1] != u'\n') --same;
  const Range range{static_cast<kt_long>(start), static_cast<kt_long>(a.size() - same)};
  const Kt_WString text(b.substr(start, b.size() - same - start));
  return Json::array({{{"range", ToJson(from, range)}, {"newText", text.ToUtf8()}}});
}

Json Capabilities() {
  constexpr int kIncremental = 2;
  return {
      {"positionEncoding", "utf-16"},
      {"textDocumentSync",
       {{"openClose", true}, {"change", kIncremental}, {"save", {{"includeText", false}}}}},
      {"completionProvider", {{"triggerCharacters", {".", "\"", "'"}}, {"resolveProvider", true}}},
      {"hoverProvider", true},
      {"signatureHelpProvider",
       {{"triggerCharacters", {"(", ","}}, {"retriggerCharacters", {")"}}}},
      {"definitionProvider", true},
      {"referencesProvider", true},
      {"documentHighlightProvider", true},
      {"documentSymbolProvider", true},
      {"documentFormattingProvider", true},
      {"codeActionProvider", {{"codeActionKinds", {"quickfix", "source.fixAll"}}}},
      {"foldingRangeProvider", true},
      {"renameProvider", {{"prepareProvider", true}}},
      {"semanticTokensProvider",
       {{"legend",
         {{"tokenTypes", SemanticTypeNames()}, {"tokenModifiers", SemanticModifierNames()}}},
        {"full", true},
        {"range", true}}}};
}

}  // namespace kt::cli::lsp
