// SPDX-License-Identifier: MIT
//
// The life of a server: messages in, answers and notifications out. What requests answer is in
// Kt_Server_Requests.cpp.
#include "cli/lsp/Kt_Server.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <sstream>
#include <string_view>
#include <utility>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_Path.h"
#include "cli/Kt_Host.h"
#include "cli/Kt_HostNames.h"
#include "cli/data/Kt_Options.h"
#include "cli/fmt/Kt_Format.h"
#include "cli/lsp/Kt_Protocol.h"
#include "cli/lsp/Kt_Uri.h"

namespace kt::cli::lsp {
namespace {

// Severities of messages.
constexpr int kError = 1;
constexpr int kWarning = 2;

bool IsId(const Json& id) { return id.is_number_integer() || id.is_string(); }

// The unit that an escape like \\u00E9 at a place stands for; 0 for anything else.
unsigned EscapedUnit(std::string_view text, std::size_t at) {
  constexpr std::size_t kDigits = 4;
  if (text.size() < at + 2 + kDigits || text.substr(at, 2) != "\\u") return 0;
  const char* const digits = text.data() + at + 2;
  unsigned unit = 0;
  const auto [end, error] = std::from_chars(digits, digits + kDigits, unit, 16);
  return error == std::errc() && end == digits + kDigits ? unit : 0;
}

// Half a pair in a text that an editor sends is written as an escape, which is no valid JSON: it
// becomes the character for what cannot be shown.
std::string WithoutHalfPairs(std::string text) {
  constexpr std::size_t kEscape = 6;
  const auto is_high = [](unsigned unit) { return unit >= 0xD800 && unit < 0xDC00; };
  const auto is_low = [](unsigned unit) { return unit >= 0xDC00 && unit < 0xE000; };
  for (std::size_t at = text.find('\\'); at < text.size(); at = text.find('\\', at)) {
    const unsigned unit = EscapedUnit(text, at);
    const bool is_pair = is_high(unit) && is_low(EscapedUnit(text, at + kEscape));
    const bool is_half = !is_pair && (is_high(unit) || is_low(unit));
    if (is_half) text.replace(at, kEscape, "\\uFFFD");
    at += is_pair ? 2 * kEscape : is_half ? kEscape : 2;
  }
  return text;
}

// No message of the protocol is nested like that, and whatever walks through one is recursive.
bool IsNestedTooDeeply(std::string_view json) {
  constexpr int kMostLevels = 200;
  int level = 0;
  bool is_text = false;
  for (std::size_t at = 0; at < json.size(); ++at) {
    const char unit = json[at];
    if (is_text && unit == '\\') {
      ++at;
    } else if (unit == '"') {
      is_text = !is_text;
    } else if (!is_text && (unit == '[' || unit == '{')) {
      if (++level > kMostLevels) return true;
    } else if (!is_text && (unit == ']' || unit == '}')) {
      --level;
    }
  }
  return false;
}

Json ParseMessage(const std::string& message) {
  if (IsNestedTooDeeply(message)) return Json(Json::value_t::discarded);
  Json json = Json::parse(message, nullptr, false);
  return json.is_discarded() ? Json::parse(WithoutHalfPairs(message), nullptr, false) : json;
}

std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

Server::Server(Send send) : send_(std::move(send)) {}
Server::~Server() = default;

// Messages ----------------------------------------------------------------------------------------

void Server::Receive(const std::string& message) try {
  Json json = ParseMessage(message);
  if (json.is_discarded()) return Fail(nullptr, RequestError::kParseError, "no valid JSON");
  const Json& method = Member(json, "method");
  const Json& id = Member(json, "id");
  const bool is_response = json.is_object() && !json.contains("method") && !id.is_null();
  if (is_response) return;  // to what this server has asked
  if (!method.is_string() || (!id.is_null() && !IsId(id))) {
    return Fail(IsId(id) ? id : Json(), RequestError::kInvalidRequest,
                "no request: it has no method, or no valid id");
  }
  if (method == "$/cancelRequest") return Cancel(Member(Member(json, "params"), "id"));
  waiting_.push_back({std::move(json)});
} catch (const std::bad_alloc&) {
  Fail(nullptr, RequestError::kInternalError, "out of memory");
}

void Server::Complain(const std::string& reason) {
  Fail(nullptr, RequestError::kInvalidRequest, reason);
}

void Server::Cancel(const Json& id) {
  for (Waiting& waiting : waiting_) {
    if (!id.is_null() && Member(waiting.message, "id") == id) waiting.is_cancelled = true;
  }
}

void Server::Work() {
  if (!waiting_.empty()) {
    const Waiting next = std::move(waiting_.front());
    waiting_.pop_front();
    return Handle(next);
  }
  try {
    wants_reading_ = state_ == State::kRunning && workspace_.ReadOne();
    if (!wants_reading_ && state_ == State::kRunning) PublishProblems();
    if (kt::TakeMemoryFailure()) throw std::bad_alloc();
  } catch (const std::bad_alloc&) {
    wants_reading_ = false;  // until something changes
    Show(kError, "out of memory: the problems of this script are not known");
  }
}

void Server::Handle(const Waiting& waiting) {
  const Json& id = Member(waiting.message, "id");
  const auto method = waiting.message["method"].get<std::string>();
  try {
    if (id.is_null()) return HandleNotification(waiting.message, method);
    if (waiting.is_cancelled) {
      throw RequestError{RequestError::kRequestCancelled, "the request was cancelled"};
    }
    return HandleRequest(waiting.message, method);
  } catch (const RequestError& error) {
    if (!id.is_null()) Fail(id, error.code, error.text);
  } catch (const Json::exception& error) {
    if (!id.is_null()) Fail(id, RequestError::kInvalidParams, error.what());
  } catch (const std::bad_alloc&) {
    if (!id.is_null()) Fail(id, RequestError::kInternalError, "out of memory");
  }
}

void Server::HandleRequest(const Json& message, const std::string& method) {
  const Request request = FindRequest(method);
  const bool begins = method == "initialize";
  if (state_ == State::kShutDown) {
    throw RequestError{RequestError::kInvalidRequest, "the server is shut down"};
  }
  if (state_ == State::kNew && !begins) {
    throw RequestError{RequestError::kNotInitialized, "the first request is 'initialize'"};
  }
  if (state_ == State::kRunning && begins) {
    throw RequestError{RequestError::kInvalidRequest, "the server is initialized already"};
  }
  if (request == nullptr) {
    throw RequestError{RequestError::kMethodNotFound, "there is no method '" + method + "'"};
  }
  Json result = (this->*request)(Member(message, "params"));
  if (kt::TakeMemoryFailure()) throw std::bad_alloc();
  Answer(Member(message, "id"), std::move(result));
}

void Server::HandleNotification(const Json& message, const std::string& method) {
  if (method == "exit") exit_status_ = state_ == State::kShutDown ? 0 : 1;
  if (state_ != State::kRunning) return;
  const Notification notification = FindNotification(method);
  if (notification != nullptr) (this->*notification)(Member(message, "params"));
}

void Server::Answer(const Json& id, Json result) {
  send_(Dump({{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}}));
}

void Server::Fail(const Json& id, int code, const std::string& text) {
  const Json error = {{"code", code}, {"message", text}};
  send_(Dump({{"jsonrpc", "2.0"}, {"id", id}, {"error", error}}));
}

void Server::Show(int severity, const std::string& text) {
  Notify("window/showMessage", {{"type", severity}, {"message", text}});
}

void Server::Notify(const char* method, Json params) {
  send_(Dump({{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}}));
}

Server::Request Server::FindRequest(const std::string& method) {
  static const std::map<std::string_view, Request> kRequests = {
      {"initialize", &Server::Initialize},
      {"shutdown", &Server::Shutdown},
      {"textDocument/completion", &Server::Completion},
      {"completionItem/resolve", &Server::ResolveCompletion},
      {"textDocument/hover", &Server::Hover},
      {"textDocument/signatureHelp", &Server::SignatureHelp},
      {"textDocument/definition", &Server::Definition},
      {"textDocument/references", &Server::References},
      {"textDocument/documentHighlight", &Server::Highlights},
      {"textDocument/prepareRename", &Server::PrepareRename},
      {"textDocument/rename", &Server::Rename},
      {"textDocument/documentSymbol", &Server::Symbols},
      {"textDocument/formatting", &Server::Formatting},
      {"textDocument/codeAction", &Server::CodeActions},
      {"textDocument/foldingRange", &Server::Folding},
      {"textDocument/semanticTokens/full", &Server::SemanticTokens},
      {"textDocument/semanticTokens/range", &Server::SemanticTokens},
  };
  const auto found = kRequests.find(method);
  return found != kRequests.end() ? found->second : nullptr;
}

Server::Notification Server::FindNotification(const std::string& method) {
  static const std::map<std::string_view, Notification> kNotifications = {
      {"initialized", &Server::Initialized},
      {"textDocument/didOpen", &Server::DidOpen},
      {"textDocument/didChange", &Server::DidChange},
      {"textDocument/didClose", &Server::DidClose},
      {"workspace/didChangeWatchedFiles", &Server::DidChangeFiles},
  };
  const auto found = kNotifications.find(method);
  return found != kNotifications.end() ? found->second : nullptr;
}

// Life --------------------------------------------------------------------------------------------

Json Server::Initialize(const Json& params) {
  if (!params.is_object()) {
    throw RequestError{RequestError::kInvalidParams, "initialize has an object of parameters"};
  }
  const auto add_folder = [this](const Json& uri) {
    const auto path = uri.is_string() ? PathOfUri(uri.get<std::string>()) : std::nullopt;
    if (path) folders_.push_back(path->string());
  };
  for (const Json& folder : Member(params, "workspaceFolders")) add_folder(Member(folder, "uri"));
  if (folders_.empty()) add_folder(Member(params, "rootUri"));
  workspace_.SetFolders(folders_);
  ReadClient(Member(params, "capabilities"));
  ReadOptions(Member(params, "initializationOptions"));
  LoadData();
  state_ = State::kRunning;
  return {{"capabilities", Capabilities()},
          {"serverInfo", {{"name", "kt"}, {"version", KT_CLI_VERSION}}}};
}

void Server::ReadClient(const Json& capabilities) {
  const Json& of_text = Member(capabilities, "textDocument");
  const Json& formats = Member(Member(of_text, "hover"), "contentFormat");
  takes_markdown_ =
      !formats.is_array() || std::find(formats.begin(), formats.end(), "markdown") != formats.end();
  const Json& signature = Member(Member(of_text, "signatureHelp"), "signatureInformation");
  takes_label_offsets_ =
      Member(Member(signature, "parameterInformation"), "labelOffsetSupport") == true;
  shows_related_ = Member(Member(of_text, "publishDiagnostics"), "relatedInformation") == true;
  const Json& watched = Member(Member(capabilities, "workspace"), "didChangeWatchedFiles");
  registers_watchers_ = Member(watched, "dynamicRegistration") == true;
}

void Server::ReadOptions(const Json& options) {
  const auto in_folder = [this](const Json& path) {
    const std::filesystem::path file = kt_path(path.get<std::string>());
    return (folders_.empty() ? file : folders_[0] / file).string();
  };
  std::vector<std::string> include_dirs;
  for (const Json& dir : Member(options, "includeDirs")) include_dirs.push_back(in_folder(dir));
  workspace_.SetIncludeDirs(std::move(include_dirs));
  for (const auto& [name, file] : Member(options, "data").items()) {
    data_.push_back(name + "=" + in_folder(file));
  }
  const Json& host = Member(options, "host");
  if (!host.is_null()) hosts_.push_back(in_folder(host));
  workspace_.SetStrict(Member(options, "strict") == true);
  const Json& width = Member(options, "width");
  if (width.is_number_integer()) {
    width_ = std::clamp(width.get<int>(), kMinLineWidth, kMaxLineWidth);
  }
}

Json Server::Shutdown(const Json&) {
  state_ = State::kShutDown;
  return nullptr;
}

void Server::Initialized(const Json&) {
  if (!registers_watchers_) return;
  const Json options = {{"watchers", {{{"globPattern", "**/*.kts"}}}}};
  const Json registration = {{"id", "kts-files"},
                             {"method", "workspace/didChangeWatchedFiles"},
                             {"registerOptions", options}};
  send_(Dump({{"jsonrpc", "2.0"},
              {"id", "kts-files"},
              {"method", "client/registerCapability"},
              {"params", {{"registrations", {registration}}}}}));
}

// What cannot be loaded is told; the names of the others are known.
void Server::LoadData() {
  std::ostringstream out;
  std::ostringstream messages;
  const Streams streams{out, messages};
  Kt_CliHost host(streams);
  for (const std::string& item : data_) {
    DataArguments arguments;
    arguments.data = {item};
    DataFiles files;
    if (ParseDataArguments(arguments, "kt lsp", streams, files)) {
      LoadDataFiles(files, "kt lsp", host, streams);
    }
  }
  analysis::KnownNames known;
  if (std::string error; !AddNames(host.GetDatasets(), hosts_, known, error)) {
    messages << "kt lsp: host: " << error << '\n';
  }
  workspace_.SetKnown(std::move(known));
  wants_reading_ = true;
  if (!messages.str().empty()) Show(kWarning, messages.str());
}

void Server::DidChangeFiles(const Json&) {
  if (!data_.empty() || !hosts_.empty()) return LoadData();
  workspace_.ForgetAll();
  wants_reading_ = true;
}

// Documents ---------------------------------------------------------------------------------------

void Server::DidOpen(const Json& params) {
  const Json& document = Member(params, "textDocument");
  const Json& version = Member(document, "version");
  workspace_.Open(TextMember(document, "uri"),
                  version.is_number_integer() ? version.get<std::int64_t>() : 0,
                  Kt_WString::FromUtf8(TextMember(document, "text")));
  wants_reading_ = true;
}

void Server::DidChange(const Json& params) {
  Document& document = DocumentOf(params);
  for (const Json& change : Member(params, "contentChanges")) {
    const Kt_WString text = Kt_WString::FromUtf8(TextMember(change, "text"));
    const Json& range = Member(change, "range");
    if (range.is_null()) {
      document.text = SourceText(text);
      continue;
    }
    const kt_long start = document.text.OffsetOf(ReadPosition(Member(range, "start")));
    const kt_long end = document.text.OffsetOf(ReadPosition(Member(range, "end")));
    document.text.Replace({std::min(start, end), std::max(start, end)}, text);
  }
  const Json& version = Member(Member(params, "textDocument"), "version");
  if (version.is_number_integer()) document.version = version.get<std::int64_t>();
  workspace_.NoteChange(document);
  wants_reading_ = true;
}

void Server::DidClose(const Json& params) {
  workspace_.Close(TextMember(Member(params, "textDocument"), "uri"));
  wants_reading_ = true;
}

void Server::PublishProblems() {
  std::map<std::string, std::string> published;
  for (const auto& [uri, of] : workspace_.Problems()) {
    Json params = {{"uri", uri}, {"diagnostics", Json::array()}};
    const Document* const document = workspace_.Find(uri);
    if (document != nullptr) params["version"] = document->version;
    for (const Problem* const problem : of.problems) {
      params["diagnostics"].push_back(ToJson(*of.text, *problem, uri, shows_related_));
    }
    std::string text = Dump(params);
    const auto before = published_.find(uri);
    const bool is_news = before == published_.end() ? document != nullptr || !of.problems.empty()
                                                    : before->second != text;
    if (is_news) Notify("textDocument/publishDiagnostics", std::move(params));
    published.emplace(uri, std::move(text));
  }
  for (const auto& [uri, text] : published_) {
    if (published.contains(uri)) continue;
    Notify("textDocument/publishDiagnostics", {{"uri", uri}, {"diagnostics", Json::array()}});
  }
  published_ = std::move(published);
}

}  // namespace kt::cli::lsp
