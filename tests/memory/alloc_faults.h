// SPDX-License-Identifier: MIT
#pragma once

namespace kt::test {

// Makes a memory request of this thread fail. Linking alloc_faults.cpp replaces malloc and the
// operators new of the whole program, libraries included.
enum class Faults { kOne, kAllFromThere };

// From here on: request number `request`, counted from 1, fails, or it and all that follow; 0:
// none.
void ArmAllocFaults(long request, Faults faults);
// Ends that; the number of requests since.
long DisarmAllocFaults();

// False under a sanitizer, whose blocks have other sizes than those that the libraries count with.
bool HasSystemHeap();
// From here on the memory that this thread takes beyond what the libraries count is watched.
void WatchHeap();
// Ends that; the most that it came to, in bytes.
long UncountedPeak();

}  // namespace kt::test
