// SPDX-License-Identifier: MIT
#include "cli/Kt_Bounds.h"

#include <CLI/CLI.hpp>
#include <limits>

#include "classlib/base/Kt_Codes.h"
#include "cli/Kt_Diagnostic.h"

namespace kt::cli {
namespace {

// Longer than anybody waits, and far from overflowing the clock.
constexpr double kMaxTimeoutSeconds = 1e8;

struct OptionValue {
  const char* name;
  const char* value;
};
constexpr OptionValue kSandbox[] = {
    {"--no-files", "true"}, {"--steps", "10000000"}, {"--timeout", "10"}, {"--memory", "256"}};

// The option of that name; null when there is none. The library's own search must not throw, and
// asks for memory.
CLI::Option* OptionOf(CLI::App& command, const char* name) {
  const auto found =
      command.get_options([name](const CLI::Option* option) { return option->check_name(name); });
  return found.empty() ? nullptr : found.front();
}

}  // namespace

void AddBoundOptions(CLI::App& command, BoundOptions& options) {
  command.add_option("--steps", options.steps, "Stop after about this many steps of work")
      ->type_name("N")
      ->check(CLI::Range(std::int64_t{1}, std::numeric_limits<std::int64_t>::max()));
  command.add_option("--timeout", options.timeout_seconds, "Stop after this many seconds")
      ->type_name("S")
      ->check(CLI::Range(0.001, kMaxTimeoutSeconds));
}

void AddSandboxFlag(CLI::App& command) {
  const std::string help =
      "For what strangers wrote: --no-files --steps 10000000 --timeout 10 --memory 256, unless "
      "these are given";
  CLI::Option* const sandbox = command.add_flag("--sandbox", help);
  if (CLI::Option* const all = OptionOf(command, "--allow-all-files")) {
    sandbox->excludes(all);
  }
  command.parse_complete_callback([&command, sandbox] {
    if (sandbox->count() == 0) return;
    for (const auto& [name, value] : kSandbox) {
      CLI::Option* const option = OptionOf(command, name);
      if (option == nullptr || option->count() > 0) continue;
      option->add_result(value);
      option->run_callback();
    }
  });
}

Bounds::Bounds(const BoundOptions& options) {
  budget_.limit_steps = options.steps;
  if (options.timeout_seconds > 0) {
    const std::chrono::duration<double> wait(options.timeout_seconds);
    budget_.deadline = std::chrono::steady_clock::now() +
                       std::chrono::duration_cast<std::chrono::steady_clock::duration>(wait);
  }
  if (options.steps > 0 || options.timeout_seconds > 0) work_.emplace(budget_);
}

bool TellStop(const std::string& what, Streams streams) {
  if (Kt_WorkMeter::CurrentStop() == 0) return false;
  if (Kt_WorkMeter::Current()->TakeReport()) {
    Diagnostic stop = Diagnostic::Error(StopReason(), what);
    stop.code = Kt_WorkMeter::CurrentStop();
    Tell(streams, stop);
  }
  return true;
}

std::string StopReason() {
  switch (Kt_WorkMeter::CurrentStop()) {
    case 0: return {};
    case kErrStepBudget: return "step limit reached";
    case kErrDeadline: return "time limit reached";
    default: return "cancelled";
  }
}

}  // namespace kt::cli
