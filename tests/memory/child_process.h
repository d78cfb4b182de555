// SPDX-License-Identifier: MIT
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace kt::test {

// What `run` gives, run in a process of its own; or how that process ended.
template <class Run>
std::string InChild(Run run) {
  int ends[2];
  if (pipe(ends) != 0) return "no pipe";
  const pid_t child = fork();
  if (child == 0) {
    const std::string text = run();
    (void)!write(ends[1], text.data(), text.size());
    _exit(0);
  }
  close(ends[1]);
  std::string out;
  char bytes[4096];
  for (ssize_t got; (got = read(ends[0], bytes, sizeof bytes)) > 0;) {
    out.append(bytes, static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) return "crashed with signal " + std::to_string(WTERMSIG(status));
  return WEXITSTATUS(status) == 0 ? out : "exited with " + std::to_string(WEXITSTATUS(status));
}

// KT_SWEEP: the last request that fails in a whole sweep; 0 for a sample of all.
inline long SweepEnd() {
  const char* const text = std::getenv("KT_SWEEP");
  return text != nullptr ? std::atol(text) : 0;
}
// The request after `request` in either.
inline long NextRequest(long request) { return request + (SweepEnd() > 0 ? 1 : 1 + request / 4); }

}  // namespace kt::test
