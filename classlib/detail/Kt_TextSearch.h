// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

namespace kt::detail {

// Position of `pattern` in `text` at or after `start`, -1 if there is none or the pattern is empty.
// Takes time linear in the two lengths whatever they hold, and no memory that depends on them,
// except that the form without regard to case folds the pattern once.
std::ptrdiff_t FindText(std::u16string_view text, std::u16string_view pattern, std::size_t start);
std::ptrdiff_t FindTextNoCase(std::u16string_view text, std::u16string_view pattern,
                              std::size_t start);

}  // namespace kt::detail
