// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/detail/Kt_PlainList.h"

// A list of borrowed pointers: it never frees what they point at. Null outside the list.
// Threads: const members may run in parallel; a change needs sole access.
class Kt_PtrList : public kt::detail::Kt_PlainList<void*> {};
