// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Host.h"
#include "cli/Kt_Report.h"
#include "cli/show/Kt_Pieces.h"
#include "script/Kt_RunBudget.h"
#include "script/Kt_Script.h"

// What an interactive session knows and does: one script whose globals and functions live on from
// input to input.
//
// An input is a row of pieces: functions, `var` declarations, statements and expressions. A piece
// is freed once it has run, so a long session takes no more memory than its variables and
// functions. Names that a statement assigns become globals, except inside of blocks, which keep
// them to themselves as everywhere in the language. A function that is defined again is replaced.
// Borrows the streams and the flag. Threads: one, but for the flag.
class Kt_CliSession {
 public:
  // What messages call the text that was typed; lines are counted through the whole session.
  static constexpr const char* kInputName = "input";

  // What runs stops when `cancel` (may be null) becomes true.
  explicit Kt_CliSession(kt::cli::Streams streams, const std::atomic<bool>* cancel = nullptr);

  // Checks all of `text`, then runs it piece by piece and prints the values of expressions.
  // `first_line` is the number of its first line, from 1. False when something failed, which has
  // been reported then; nothing has run when the check found it.
  bool Run(const Kt_WString& text, kt_long first_line);
  // Takes in a script file and its includes, once all of them have been checked. Functions and
  // globals that exist are replaced. False as above.
  bool Load(const std::string& path, const std::vector<std::string>& include_dirs);

  Kt_CliHost& GetHost() { return host_; }
  Kt_Script& GetScript() { return script_; }
  const Kt_Script& GetScript() const { return script_; }

 private:
  bool Check(const kt::cli::Piece& piece);
  bool RunPiece(const kt::cli::Piece& piece);
  bool Define(const kt::cli::Piece& piece);
  bool Declare(const kt::cli::Piece& piece);
  bool Execute(const kt::cli::Piece& piece);

  Kt_WString TextOf(const kt::cli::PieceSpan& span) const {
    return text_.Mid(span.start, span.length);
  }
  // The text of a statement or expression as a function has it.
  Kt_WString BodyOf(const kt::cli::Piece& piece) const;
  // Counted from 0, as functions have it.
  kt_long LineOf(kt_long offset);
  // Moves the places that `report` gets from BodyOf(piece) to the input.
  void MovePlaces(const kt::cli::Piece& piece, Kt_CliReport& report) const;

  kt::cli::Streams streams_;
  Kt_CliHost host_;
  Kt_Script script_;
  Kt_RunBudget budget_;
  // The input in hand.
  Kt_WString text_;
  kt_long first_line_ = 1;
  // Line ends counted so far in text_, and up to where.
  kt_long counted_lines_ = 0;
  kt_long counted_to_ = 0;
};
