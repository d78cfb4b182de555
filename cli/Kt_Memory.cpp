// SPDX-License-Identifier: MIT
#include "cli/Kt_Memory.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <unistd.h>
#endif

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <sstream>

#include "cli/Kt_Text.h"

namespace kt::cli {
namespace {

constexpr std::int64_t kMegabyte = std::int64_t{1} << 20;
constexpr std::int64_t kMaxMegabytes = std::int64_t{1} << 30;

#if defined(_WIN32)
std::int64_t MachineBytes() {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  return ::GlobalMemoryStatusEx(&status) != 0 ? static_cast<std::int64_t>(status.ullTotalPhys) : 0;
}
#else
std::int64_t MachineBytes() {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long page_bytes = ::sysconf(_SC_PAGESIZE);
  return pages > 0 && page_bytes > 0 ? std::int64_t{pages} * page_bytes : 0;
}
#endif

// The number that a file begins with; 0 for none, which is also what "max" gives.
std::int64_t NumberIn(const std::string& path) {
  std::int64_t number = 0;
  std::ifstream(path) >> number;
  return number;
}

std::string TextOf(const char* path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

std::int64_t Smaller(std::int64_t a, std::int64_t b) {
  return a == 0 || b == 0 ? std::max(a, b) : std::min(a, b);
}

// The group of a line "0::/path", or of the controller for memory in older systems, and its file.
bool ReadGroup(const std::string& line, std::string& folder, std::string& path, const char*& file) {
  const std::size_t first = line.find(':');
  const std::size_t second = first == line.npos ? line.npos : line.find(':', first + 1);
  if (second == line.npos) return false;
  const std::string controllers = "," + line.substr(first + 1, second - first - 1) + ",";
  path = line.substr(second + 1);
  if (controllers == ",,") {
    file = "/memory.max";
    return true;
  }
  if (controllers.find(",memory,") == controllers.npos) return false;
  folder += "/memory";
  file = "/memory.limit_in_bytes";
  return true;
}

}  // namespace

std::int64_t GroupLimit(const std::string& folder, const std::string& groups) {
  std::int64_t limit = 0;
  for (const std::string& line : SplitLines(groups)) {
    std::string base = folder;
    std::string path;
    const char* file = nullptr;
    if (!ReadGroup(line, base, path, file)) continue;
    // Inside of a container the path may be one of the world outside: then only the top is there.
    for (;; path.resize(path.rfind('/'))) {
      while (!path.empty() && path.back() == '/') path.pop_back();
      limit = Smaller(limit, NumberIn(base + path + file));
      if (path.rfind('/') == path.npos) break;
    }
    limit = Smaller(limit, NumberIn(base + file));
  }
  return limit;
}

std::int64_t MemoryLimit(std::int64_t megabytes) {
  if (megabytes > 0) return megabytes * kMegabyte;
  const std::int64_t machine = MachineBytes();
  return Smaller(machine, GroupLimit("/sys/fs/cgroup", TextOf("/proc/self/cgroup"))) / 2;
}

void AddMemoryOption(CLI::App& command, std::int64_t& megabytes) {
  command
      .add_option("--memory", megabytes,
                  "Stop when texts, lists and datasets take more than MB megabytes (without it "
                  "half of what the machine has)")
      ->type_name("MB")
      ->check(CLI::Range(std::int64_t{1}, kMaxMegabytes));
}

}  // namespace kt::cli
