// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <ostream>
#include <string>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Console.h"
#include "cli/lsp/Kt_Input.h"
#include "cli/lsp/Kt_MessageReader.h"
#include "cli/lsp/Kt_Server.h"

namespace kt::cli {
namespace {

// Editors send a request for every key; a longer queue is not read ahead.
constexpr std::size_t kMostWaiting = 256;

void TakeMessages(lsp::MessageReader& reader, lsp::Server& server) {
  using Found = lsp::MessageReader::Found;
  std::string message;
  while (server.WaitingCount() < kMostWaiting) {
    switch (reader.Take(message)) {
      case Found::kMessage: server.Receive(message); break;
      case Found::kFault: server.Complain(message); break;
      case Found::kNothing: return;
    }
  }
}

// Until `exit`, the end of the input, or nobody reads the answers.
int Serve(Streams streams) {
  lsp::Server server([&](const std::string& message) {
    streams.out << "Content-Length: " << message.size() << "\r\n\r\n" << message << std::flush;
  });
  lsp::MessageReader reader;
  std::string bytes;
  bool is_open = true;
  while (!server.ExitStatus() && streams.out) {
    const bool is_full = server.WaitingCount() >= kMostWaiting;
    if (is_open && !is_full) {
      is_open = lsp::ReadBytes(!server.HasWork(), bytes);
      reader.Feed(bytes);
    }
    TakeMessages(reader, server);
    if (server.HasWork()) {
      server.Work();
    } else if (!is_open) {
      return kScriptFault;
    }
  }
  return server.ExitStatus().value_or(kScriptFault);
}

}  // namespace

void AddLsp(CLI::App& app, Action& action) {
  CLI::App* const lsp = app.add_subcommand("lsp", "Serve an editor over standard input and output");
  // Some clients say how they want to be talked to, and there is one way.
  auto stdio = std::make_shared<bool>(false);
  lsp->add_flag("--stdio", *stdio, "Standard input and output, as ever");
  lsp->callback([stdio, &action] {
    action = [](Streams streams) {
      OutliveReaders();  // an editor that has gone is found out by writing
      return Serve(streams);
    };
  });
}

}  // namespace kt::cli
