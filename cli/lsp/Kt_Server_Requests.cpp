// SPDX-License-Identifier: MIT
#include <algorithm>
#include <set>

#include "cli/Kt_Fix.h"
#include "cli/fmt/Kt_Format.h"
#include "cli/lsp/Kt_Protocol.h"
#include "cli/lsp/Kt_Server.h"

namespace kt::cli::lsp {
namespace {

// Without the fences around code.
std::string PlainText(const std::string& markdown) {
  std::string text;
  for (std::size_t at = 0; at < markdown.size();) {
    const std::size_t end = std::min(markdown.find('\n', at), markdown.size() - 1);
    const std::string line = markdown.substr(at, end + 1 - at);
    if (!line.starts_with("```")) text += line;
    at = end + 1;
  }
  return text;
}

constexpr const char* kQuickFix = "quickfix";
constexpr const char* kFixAll = "source.fixAll";

// Whether an editor that asks for `only` these kinds of actions gets `kind`: "source" has
// "source.fixAll" in it. `by_itself`: when it asks for none.
bool IsWanted(const Json& only, const std::string& kind, bool by_itself) {
  if (!only.is_array()) return by_itself;
  return std::any_of(only.begin(), only.end(), [&](const Json& wanted) {
    return wanted.is_string() && (kind + ".").starts_with(wanted.get<std::string>() + ".");
  });
}

}  // namespace

Document& Server::DocumentOf(const Json& params) {
  const std::string uri = TextMember(Member(params, "textDocument"), "uri");
  Document* const document = workspace_.Find(uri);
  if (document != nullptr) return *document;
  throw RequestError{RequestError::kInvalidParams, "'" + uri + "' is not open"};
}

Cursor Server::CursorOf(const Json& params, Program& program) {
  const Document& document = DocumentOf(params);
  const Json& position = Member(params, "position");
  const kt_long offset = position.is_null() ? 0 : document.text.OffsetOf(ReadPosition(position));
  const int file = program.FindFile(document.path);
  if (file < 0) throw RequestError{RequestError::kInternalError, "the script cannot be read"};
  return {program, static_cast<std::size_t>(file), offset};
}

Cursor Server::CursorOf(const Json& params) {
  return CursorOf(params, *workspace_.ScriptsOf(DocumentOf(params)).front());
}

Json Server::Markup(const std::string& markdown) const {
  if (takes_markdown_) return {{"kind", "markdown"}, {"value", markdown}};
  return {{"kind", "plaintext"}, {"value", PlainText(markdown)}};
}

Json Server::PlaceJson(const Program& program, const Location& location) const {
  const ScriptFile& file = program.Files()[location.file];
  return {{"uri", workspace_.UriOf(file.path)}, {"range", ToJson(file.text, location.range)}};
}

// Completion and help -----------------------------------------------------------------------------

Json Server::Completion(const Json& params) {
  Json items = Json::array();
  for (const CompletionItem& item : Complete(CursorOf(params))) items.push_back(ToJson(item));
  return {{"isIncomplete", false}, {"items", std::move(items)}};
}

Json Server::ResolveCompletion(const Json& params) {
  Json item = params;
  const Json& kind = Member(item, "data");
  constexpr int kLast = static_cast<int>(HelpIndex::Kind::kStatement);
  if (!kind.is_number_integer() || kind.get<int>() < 0 || kind.get<int>() > kLast) return item;
  const Kt_WString name = Kt_WString::FromUtf8(TextMember(item, "label"));
  const Help* const help = HelpIndex::Find(static_cast<HelpIndex::Kind>(kind.get<int>()), name);
  if (help != nullptr) item["documentation"] = Markup(HelpMarkdown(*help));
  return item;
}

Json Server::Hover(const Json& params) {
  const Cursor at = CursorOf(params);
  const std::optional<lsp::Hover> hover = FindHover(at);
  if (!hover) return nullptr;
  return {{"contents", Markup(hover->markdown)}, {"range", ToJson(at.File().text, hover->range)}};
}

Json Server::SignatureHelp(const Json& params) {
  const std::optional<lsp::SignatureHelp> help = FindSignature(CursorOf(params));
  if (!help) return nullptr;
  Json signatures = Json::array();
  for (const Signature& one : help->signatures) {
    Json parameters = Json::array();
    for (const Range& range : one.parameters) {
      const Kt_WString name = one.label.Mid(range.start, range.end - range.start);
      const Json offsets = {range.start, range.end};
      parameters.push_back({{"label", takes_label_offsets_ ? offsets : Json(name.ToUtf8())}});
    }
    signatures.push_back({{"label", one.label.ToUtf8()},
                          {"documentation", Markup(help->markdown)},
                          {"parameters", std::move(parameters)}});
  }
  return {{"signatures", std::move(signatures)},
          {"activeSignature", help->active_signature},
          {"activeParameter", help->active_parameter}};
}

// Names -------------------------------------------------------------------------------------------

Json Server::Definition(const Json& params) {
  for (Program* const program : workspace_.ScriptsOf(DocumentOf(params))) {
    if (const auto found = FindDefinition(CursorOf(params, *program))) {
      return PlaceJson(*program, *found);
    }
  }
  return nullptr;
}

std::vector<std::pair<std::string, Json>> Server::Places(
    const Json& params, const std::function<std::vector<Location>(const Cursor&)>& find) {
  std::vector<std::pair<std::string, Json>> places;
  std::set<std::pair<std::string, kt_long>> seen;
  for (Program* const program : workspace_.ScriptsOf(DocumentOf(params))) {
    for (const Location& location : find(CursorOf(params, *program))) {
      const ScriptFile& file = program->Files()[location.file];
      std::string uri = workspace_.UriOf(file.path);
      if (!seen.emplace(uri, location.range.start).second) continue;
      places.emplace_back(std::move(uri), ToJson(file.text, location.range));
    }
  }
  return places;
}

Json Server::References(const Json& params) {
  const bool with_declarations = Member(Member(params, "context"), "includeDeclaration") == true;
  Json found = Json::array();
  for (auto& [uri, range] :
       Places(params, [&](const Cursor& at) { return FindReferences(at, with_declarations); })) {
    found.push_back({{"uri", uri}, {"range", std::move(range)}});
  }
  return found;
}

Json Server::Highlights(const Json& params) {
  const Cursor at = CursorOf(params);
  Json found = Json::array();
  for (const Location& location : FindReferences(at, true)) {
    if (location.file != at.file) continue;
    found.push_back({{"range", ToJson(at.File().text, location.range)}});
  }
  return found;
}

Json Server::PrepareRename(const Json& params) {
  const Cursor at = CursorOf(params);
  std::string reason;
  const std::optional<Range> range = FindRenamed(at, reason);
  if (!range) throw RequestError{RequestError::kRequestFailed, reason};
  return {{"range", ToJson(at.File().text, *range)},
          {"placeholder", Kt_WString(at.File().text.View(*range)).ToUtf8()}};
}

// Refused as soon as one of the scripts that have the name refuses it.
Json Server::Rename(const Json& params) {
  const Kt_WString new_name = Kt_WString::FromUtf8(TextMember(params, "newName"));
  Json changes = Json::object();
  for (auto& [uri, range] : Places(params, [&](const Cursor& at) {
         std::string reason;
         std::vector<Location> found = lsp::Rename(at, new_name, reason);
         if (found.empty()) throw RequestError{RequestError::kRequestFailed, reason};
         return found;
       })) {
    changes[uri].push_back({{"range", std::move(range)}, {"newText", new_name.ToUtf8()}});
  }
  return {{"changes", std::move(changes)}};
}

// Structure ---------------------------------------------------------------------------------------

Json Server::Symbols(const Json& params) {
  const Cursor at = CursorOf(params);
  Json found = Json::array();
  for (const DocumentSymbol& symbol : FindSymbols(at.program, at.file)) {
    found.push_back(ToJson(at.File().text, symbol));
  }
  return found;
}

Json Server::Folding(const Json& params) {
  Json found = Json::array();
  for (const Fold& fold : FindFolds(CursorOf(params).File())) {
    Json json = {{"startLine", fold.first_line}, {"endLine", fold.last_line}};
    if (fold.kind != nullptr) json["kind"] = fold.kind;
    found.push_back(std::move(json));
  }
  return found;
}

Json Server::SemanticTokens(const Json& params) {
  const Cursor at = CursorOf(params);
  const SourceText& text = at.File().text;
  Range within{0, text.Size()};
  if (const Json& range = Member(params, "range"); !range.is_null()) {
    within = {text.OffsetOf(ReadPosition(Member(range, "start"))),
              text.OffsetOf(ReadPosition(Member(range, "end")))};
  }
  return ToJson(text, FindSemanticTokens(at.program, at.file, within));
}

// A script with errors, or whose layout cannot be followed, stays as it is.
Json Server::Formatting(const Json& params) {
  const ScriptFile& file = CursorOf(params).File();
  if (file.has_syntax_errors) return nullptr;
  const std::optional<Kt_WString> formatted = FormatScript(file.text.Text(), width_);
  if (formatted == file.text.Text()) return Json::array();
  const bool is_same = formatted && SameScript(file.text.Text(), *formatted);
  return is_same ? EditsTo(file.text, *formatted) : Json();
}

// As kt check --fix does it.
Json Server::FixAll(const Document& document) const {
  std::size_t count = 0;
  const std::optional<Kt_WString> fixed = FixText(document.text.Text(), count);
  if (!fixed) return nullptr;
  return {{"title", "Mend the errors that have one cure"},
          {"kind", kFixAll},
          {"edit", {{"changes", {{document.uri, EditsTo(document.text, *fixed)}}}}}};
}

Json Server::CodeActions(const Json& params) {
  const Cursor at = CursorOf(params);
  const SourceText& text = at.File().text;
  const Document& document = DocumentOf(params);
  const Json& only = Member(Member(params, "context"), "only");
  Json found = Json::array();
  if (IsWanted(only, kFixAll, false)) {
    if (Json action = FixAll(document); !action.is_null()) found.push_back(std::move(action));
  }
  if (!IsWanted(only, kQuickFix, true)) return found;
  const Json& range = Member(params, "range");
  const Range within{text.OffsetOf(ReadPosition(Member(range, "start"))),
                     text.OffsetOf(ReadPosition(Member(range, "end")))};
  for (const Fix& fix : FindFixes(at.program, at.file, within)) {
    Json edits = Json::array();
    for (const analysis::Edit& edit : fix.edits) {
      const Range changed{edit.part.offset, edit.part.offset + edit.part.length};
      edits.push_back({{"range", ToJson(text, changed)}, {"newText", edit.text.ToUtf8()}});
    }
    found.push_back({{"title", fix.title},
                     {"kind", kQuickFix},
                     {"diagnostics", {ToJson(text, *fix.problem, document.uri, shows_related_)}},
                     {"isPreferred", true},
                     {"edit", {{"changes", {{document.uri, std::move(edits)}}}}}});
  }
  return found;
}

}  // namespace kt::cli::lsp
