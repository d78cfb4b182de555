// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cli/lsp/Kt_Features.h"
#include "cli/lsp/Kt_Workspace.h"

class Kt_CliHost;

namespace kt::cli::lsp {

// A language server: takes messages of an editor and answers them, by the language server protocol
// 3.17. It neither reads nor writes; whoever owns it moves the messages.
//
//   Server server([&](const std::string& message) { Write(message); });
//   while (!server.ExitStatus()) {
//     if (ReadIfThereIs(message)) server.Receive(message);
//     if (server.HasWork()) server.Work();
//   }
//
// Messages wait until Work() comes to them, so that a request can be cancelled before. What is
// wrong in the documents is told when nothing waits. Nothing that comes in makes it fail: what
// cannot be understood is answered with an error.
// Threads: one.
class Server {
 public:
  using Send = std::function<void(const std::string& message)>;
  explicit Server(Send send);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  void Receive(const std::string& message);
  // Something came in that is no message.
  void Complain(const std::string& reason);

  bool HasWork() const { return !waiting_.empty() || wants_reading_; }
  std::size_t WaitingCount() const { return waiting_.size(); }
  // One message, or a part of what there is to do besides.
  void Work();

  // Set after `exit`: 0 when the editor has said before that it shuts down.
  std::optional<int> ExitStatus() const { return exit_status_; }

 private:
  using Json = nlohmann::json;
  using Request = Json (Server::*)(const Json& params);
  using Notification = void (Server::*)(const Json& params);
  struct Waiting {
    Json message;
    bool is_cancelled = false;
  };
  enum class State : std::uint8_t { kNew, kRunning, kShutDown };

  static Request FindRequest(const std::string& method);
  static Notification FindNotification(const std::string& method);
  void Handle(const Waiting& waiting);
  void HandleRequest(const Json& message, const std::string& method);
  void HandleNotification(const Json& message, const std::string& method);
  void Answer(const Json& id, Json result);
  void Fail(const Json& id, int code, const std::string& text);
  void Notify(const char* method, Json params);
  void Show(int severity, const std::string& text);
  void Cancel(const Json& id);

  Json Initialize(const Json& params);
  Json Shutdown(const Json& params);
  Json Completion(const Json& params);
  Json ResolveCompletion(const Json& params);
  Json Hover(const Json& params);
  Json SignatureHelp(const Json& params);
  Json Definition(const Json& params);
  Json References(const Json& params);
  Json Highlights(const Json& params);
  Json PrepareRename(const Json& params);
  Json Rename(const Json& params);
  Json Symbols(const Json& params);
  Json Formatting(const Json& params);
  Json CodeActions(const Json& params);
  Json Folding(const Json& params);
  Json SemanticTokens(const Json& params);

  void Initialized(const Json& params);
  void DidOpen(const Json& params);
  void DidChange(const Json& params);
  void DidClose(const Json& params);
  void DidChangeFiles(const Json& params);

  void ReadClient(const Json& capabilities);
  void ReadOptions(const Json& options);
  void LoadData();
  void PublishProblems();

  // The document that the parameters name, and the place in it.
  Document& DocumentOf(const Json& params);
  Cursor CursorOf(const Json& params, Program& program);
  Cursor CursorOf(const Json& params);
  // The same places in all scripts of the document, each once.
  std::vector<std::pair<std::string, Json>> Places(
      const Json& params, const std::function<std::vector<Location>(const Cursor&)>& find);
  // Null when there is nothing to mend.
  Json FixAll(const Document& document) const;
  Json PlaceJson(const Program& program, const Location& location) const;
  Json Markup(const std::string& markdown) const;

  const Send send_;
  State state_ = State::kNew;
  std::optional<int> exit_status_;
  std::deque<Waiting> waiting_;
  bool wants_reading_ = false;  // documents have changed
  Workspace workspace_;
  std::map<std::string, std::string> published_;  // what was last said, by URI

  // What the client said of itself.
  bool takes_markdown_ = true;
  bool takes_label_offsets_ = false;
  bool registers_watchers_ = false;
  bool shows_related_ = false;
  std::vector<std::string> folders_;
  std::vector<std::string> data_;   // NAME=FILE
  std::vector<std::string> hosts_;  // files that describe them
  int width_ = 100;
};

}  // namespace kt::cli::lsp
