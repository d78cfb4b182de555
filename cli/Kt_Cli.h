// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kt::cli {

// Exit statuses.
inline constexpr int kFine = 0;
inline constexpr int kScriptFault = 1;   // a script or its data
inline constexpr int kCommandFault = 2;  // the command line

// Where results and messages go; the tests pass text streams. Messages are written by Tell
// (Kt_Diagnostic.h) alone.
struct Streams {
  std::ostream& out;
  std::ostream& messages;
  bool json = false;  // each message is a line of JSON
};

// What the command line asks for, run after all of it has been read.
using Action = std::function<int(Streams)>;

// Each command adds itself to the command line and sets `action` when it is the one named.
void AddRun(CLI::App& app, Action& action);
void AddEval(CLI::App& app, Action& action);
void AddCheck(CLI::App& app, Action& action);
void AddCompletion(CLI::App& app, Action& action);
void AddExplain(CLI::App& app, Action& action);
void AddDump(CLI::App& app, Action& action);
void AddFmt(CLI::App& app, Action& action);
void AddFunctions(CLI::App& app, Action& action);
void AddLsp(CLI::App& app, Action& action);
void AddMan(CLI::App& app, Action& action);
void AddRepl(CLI::App& app, Action& action);
void AddShow(CLI::App& app, Action& action);
void AddTest(CLI::App& app, Action& action);

// What `kt functions NAME` prints; false, and nothing printed, when there is no such function.
bool ExplainFunction(const std::string& name, std::ostream& out);

// Says that there is no such command, and which one may be meant; returns the exit status.
int NoCommand(const char* said_by, const std::string& name, const CLI::App& app, Streams streams);

// The whole program for the arguments after its name; returns the exit status.
int Main(std::vector<std::string> arguments, Streams streams);

}  // namespace kt::cli
