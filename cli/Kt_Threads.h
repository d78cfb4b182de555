// SPDX-License-Identifier: MIT
#pragma once

namespace kt::cli {

// How many threads one operation may use: as many as were asked for; otherwise, with 0, a second
// one where a processor is free. Without one, threads that wait for each other take longer than one
// alone.
int ThreadsFor(int asked);

}  // namespace kt::cli
