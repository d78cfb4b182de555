// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Options.h"
#include "cli/usage/Kt_Completion.h"
#include "object/Kt_RunError.h"

namespace kt::cli {
namespace {

constexpr struct {
  const char* shell;
  std::string (*write)(const ProgramDoc& doc);
} kShells[] = {{"bash", BashCompletion}, {"zsh", ZshCompletion}, {"fish", FishCompletion}};

int Complete(const CLI::App& app, const std::string& wanted, Streams streams) {
  std::vector<Kt_WString> known;
  for (const auto& [shell, write] : kShells) {
    if (wanted == shell) {
      streams.out << write(DescribeProgram(app));
      return kFine;
    }
    known.push_back(Kt_WString::FromUtf8(shell));
  }
  const std::string text = fmt::format("bash, zsh and fish are known, not '{}'", wanted);
  const Kt_WString hint =
      kt::WithHint(Kt_WString::FromUtf8(text), Kt_WString::FromUtf8(wanted), known);
  Tell(streams, Diagnostic::Complaint("kt completion", hint.ToUtf8()));
  return kCommandFault;
}

}  // namespace

void AddCompletion(CLI::App& app, Action& action) {
  auto shell = std::make_shared<std::string>();
  CLI::App* const completion =
      app.add_subcommand("completion", "Print a script that completes the commands of kt");
  completion->add_option("SHELL", *shell, "The shell that runs it")
      ->type_name("bash|zsh|fish")
      ->required();
  AddJsonFlag(*completion, "Messages as objects, one a line");
  completion->callback([shell, &app, &action] {
    action = [shell, &app](Streams streams) { return Complete(app, *shell, streams); };
  });
}

}  // namespace kt::cli
