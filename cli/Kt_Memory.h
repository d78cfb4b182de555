// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace CLI {
class App;
}

namespace kt::cli {

// --memory, for a command that runs or loads what others wrote; `megabytes` 0: the usual bound.
void AddMemoryOption(CLI::App& command, std::int64_t& megabytes);

// The bound in bytes that an option stands for: without one half of what the machine, or the
// control group that the process is in, has. 0: none is known.
std::int64_t MemoryLimit(std::int64_t megabytes);

// The smallest limit of a control group and those around it, under the folder of the control
// groups; `groups` is what /proc/self/cgroup says. 0: none.
std::int64_t GroupLimit(const std::string& folder, const std::string& groups);

}  // namespace kt::cli
