// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

#include "classlib/base/Kt_Types.h"

namespace kt::detail {

// Hashes of texts for tables that hold names from scripts and files. They depend on a secret that
// each process draws anew, so nobody can write a file whose names all fall into one place of a
// table and make it slow. The order of such a table therefore changes from run to run: nothing that
// a user sees may follow it.
KT_CLASS_API std::size_t TextHash(std::u16string_view text);
// The same for texts that differ in case alone. That of a long text is charged, and of no use when
// the work is stopped meanwhile.
KT_CLASS_API std::size_t FoldedTextHash(std::u16string_view text);

// For std::unordered_map and the like.
struct TextHasher {
  using is_transparent = void;
  std::size_t operator()(std::u16string_view text) const { return TextHash(text); }
};

}  // namespace kt::detail
