// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kt::detail {

// What a find costs beside the way to it.
inline constexpr std::int64_t kUnitsPerFind = 16;

// Position of `pattern` in `text` at or after `start`, -1 if there is none or the pattern is empty.
// Takes time linear in the two lengths whatever they hold, and no memory that depends on them,
// except that the form without regard to case folds the pattern once. A search that has to stop
// finds nothing.
std::ptrdiff_t FindText(std::u16string_view text, std::u16string_view pattern, std::size_t start);
std::ptrdiff_t FindTextNoCase(std::u16string_view text, std::u16string_view pattern,
                              std::size_t start);
// How often `pattern` stands in `text`, one find after the other; -1 when the run was stopped.
std::int64_t CountText(std::u16string_view text, std::u16string_view pattern);

}  // namespace kt::detail
