// SPDX-License-Identifier: MIT
#include "cli/Kt_Threads.h"

#if !defined(_WIN32)
#include <stdlib.h>
#endif

#include <thread>

namespace kt::cli {
namespace {

// How many threads ran or wanted to in the last minute; where the system does not tell, one besides
// this.
double Load() {
#if !defined(_WIN32)
  double load = 0;
  if (::getloadavg(&load, 1) == 1) return load;
#endif
  return 1;
}

}  // namespace

int ThreadsFor(int asked) {
  if (asked > 0) return asked;
  const unsigned processors = std::thread::hardware_concurrency();
  return processors > 1 && Load() + 0.5 < processors ? 2 : 1;
}

}  // namespace kt::cli
