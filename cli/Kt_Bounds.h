// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "classlib/base/Kt_WorkMeter.h"
#include "cli/Kt_Cli.h"

namespace kt::cli {

// What the user allows a command: as the options give it.
struct BoundOptions {
  std::int64_t steps = 0;      // 0: any number
  double timeout_seconds = 0;  // 0: any time
};

// --steps and --timeout.
void AddBoundOptions(CLI::App& command, BoundOptions& options);

// --sandbox, which gives those options for files and bounds that are not given, for a command that
// has them already.
void AddSandboxFlag(CLI::App& command);

// From its beginning to its end a command may use up what the options allow: loading, running,
// printing and saving together.
class Bounds {
 public:
  explicit Bounds(const BoundOptions& options);

 private:
  Kt_RunBudget budget_;
  std::optional<Kt_BoundedWork> work_;
};

// Says that the work on this thread has been stopped, with `what` in front, unless that has been
// said. False when it goes on: what failed then has a reason of its own.
bool TellStop(const std::string& what, Streams streams);

// Charges for cells of a table that are formatted, written or read. False when the work has to
// stop; what has been made until then is of no use.
inline bool GoesOn(std::size_t cells = 1) {
  constexpr std::int64_t kUnitsPerCell = 20 * Kt_WorkMeter::kUnitsPerCell;
  return kt::Charge(static_cast<std::int64_t>(cells) * kUnitsPerCell);
}

// "time limit reached": why the work on this thread has been stopped; empty while it goes on.
std::string StopReason();

}  // namespace kt::cli
