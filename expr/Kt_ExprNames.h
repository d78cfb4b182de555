// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

#include "classlib/base/Kt_Types.h"

// A name or a text literal in an expression, for tools that look at scripts without running them.
struct Kt_ExprName {
  enum class Kind : std::uint8_t {
    kVariable,
    kCall,     // name(...)
    kMember,   // ....name
    kMethod,   // ....name(...)
    kLiteral,  // with its quotes
  };
  static constexpr int kNone = -1;

  Kind kind = Kind::kVariable;
  kt_long offset = 0;
  kt_long length = 0;
  int owner = kNone;           // of a member or method: the name in front of the point, if one is
  bool is_of_element = false;  // of one element of the owner: name[index].member
  int call = kNone;            // the innermost call that the name is an argument of
  int argument = 0;            // which one of that
  int arguments = kNone;       // of a call or method: how many it has
  bool is_whole = false;       // it is all of its argument
  bool is_stepped = false;     // ++ or -- changes it
  bool is_path_root = false;   // a point or an index follows
};

// The names of an expression in the order of the text, as the scanner of expressions cuts them.
// The words of the language (true, null, and ...) are none. Where the scanner ends the expression
// they end, too. Time is linear in the text.
KT_SCRIPT_API std::vector<Kt_ExprName> FindExprNames(std::u16string_view text);
