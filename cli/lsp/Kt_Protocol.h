// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "cli/lsp/Kt_Features.h"

// Between the answers and the JSON of the language server protocol.
namespace kt::cli::lsp {

using Json = nlohmann::json;

// What a request is answered with instead of a result.
struct RequestError {
  static constexpr int kParseError = -32700;
  static constexpr int kInvalidRequest = -32600;
  static constexpr int kMethodNotFound = -32601;
  static constexpr int kInvalidParams = -32602;
  static constexpr int kInternalError = -32603;
  static constexpr int kNotInitialized = -32002;
  static constexpr int kRequestFailed = -32803;
  static constexpr int kRequestCancelled = -32800;

  int code;
  std::string text;
};

// A member of an object; null when there is none.
const Json& Member(const Json& object, const char* name);
// A text member. Throws RequestError when there is none.
std::string TextMember(const Json& object, const char* name);
Position ReadPosition(const Json& json);

Json ToJson(Position position);
Json ToJson(const SourceText& text, Range range);
// A diagnostic of the document `uri`; with the place that its hint is about when the editor shows
// such places.
Json ToJson(const SourceText& text, const Problem& problem, const std::string& uri,
            bool shows_related);
Json ToJson(const CompletionItem& item);
Json ToJson(const SourceText& text, const DocumentSymbol& symbol);
Json ToJson(const SourceText& text, const std::vector<SemanticToken>& tokens);
// The one change that makes `text` of what it was; none when it is the same.
Json EditsTo(const SourceText& from, const Kt_WString& to);
// What the server can do.
Json Capabilities();

}  // namespace kt::cli::lsp
