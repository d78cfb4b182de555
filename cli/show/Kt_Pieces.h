// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/Kt_WString.h"

namespace kt::cli {

// A part of a text, in units.
struct PieceSpan {
  kt_long start = 0;
  kt_long length = 0;
};

enum class PieceKind {
  kFunction,
  kDeclaration,  // `var` with a size, which has another meaning in functions
  kPragma,
  kStatement,
  kExpression,
};

// What one can type at the prompt, once.
struct Piece {
  PieceKind kind = PieceKind::kStatement;
  PieceSpan whole;  // an expression without the mark after it
  // Of a function; the contents of its brackets.
  PieceSpan name;
  PieceSpan proto;
  PieceSpan body;
};

// Cuts an input, whose last statement must have its mark, into pieces. A piece without an end
// reaches to the end of the text, for the parser to complain about. Linear in the text.
std::vector<Piece> CutPieces(const Kt_WString& text);

}  // namespace kt::cli
