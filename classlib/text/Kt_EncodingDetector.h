// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "classlib/text/Kt_WString.h"

// What encoding bytes are in that do not say so. Threads: free to call from any.

// -1 for well-formed UTF-8 of any length, otherwise the offset of the first byte that is not.
KT_CLASS_API std::int64_t kt_findbadutf8W(std::string_view bytes);

// Names of encodings other than UTF-8 in which every one of these bytes makes sense, the likeliest
// first; kt_findcodepageW knows them. At most `max_count`, none when nothing fits. Tries every
// candidate on all of the bytes.
KT_CLASS_API std::vector<Kt_WString> kt_guessencodingsW(std::string_view bytes,
                                                        std::size_t max_count = 5);
