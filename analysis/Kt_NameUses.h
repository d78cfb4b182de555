// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/Kt_WString.h"

namespace kt::analysis {

// Something that has a name in a script. Functions and variables are apart: a call never means a
// variable.
struct Symbol {
  enum class Kind : std::uint8_t {
    kFunction,
    kArgument,
    kLocal,
    kGlobal,
    kHostFunction,  // built in, or of the context that the script runs in
    kHostVariable,
  };
  Kind kind = Kind::kLocal;
  Kt_WString name;
  // Where it is declared first, which is nowhere for names of the host.
  std::size_t file = 0;
  kt_long offset = 0;
  kt_long length = 0;
  kt_long end = 0;  // of an argument or local: of the block that it ends with

  bool IsCalled() const { return kind == Kind::kFunction || kind == Kind::kHostFunction; }
  bool IsOfHost() const { return kind == Kind::kHostFunction || kind == Kind::kHostVariable; }
  bool IsOfBlock() const { return kind == Kind::kArgument || kind == Kind::kLocal; }
};

// A place where a name stands for a symbol.
struct NameUse {
  static constexpr int kUnknown = -1;

  std::size_t file = 0;
  kt_long offset = 0;
  kt_long length = 0;
  int symbol = kUnknown;  // kUnknown: nobody knows the name
  bool declares = false;
};

// What the names in the files of a script stand for; members and texts are not among them.
struct NameUses {
  std::vector<Symbol> symbols;
  std::vector<NameUse> uses;  // by file and place
};

}  // namespace kt::analysis
