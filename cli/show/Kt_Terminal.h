// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Kt_LineSource.h"

// Lines from somebody at a terminal: editing, history, completion with the tab key, Ctrl-C to
// forget the input, Ctrl-D to leave.
//
// Needs standard input and output to be a terminal. One at a time: it handles the interrupt signal
// and sets the character part of the locale, which the line editor reads. Threads: one.
class Kt_CliTerminal : public Kt_CliLineSource {
 public:
  // As Kt_CliRepl::Complete.
  using Completer =
      std::function<std::vector<std::string>(std::string_view before, std::size_t& start)>;

  // The history comes from `history_file` and goes back after each line; empty: it is not kept.
  explicit Kt_CliTerminal(const std::filesystem::path& history_file);
  ~Kt_CliTerminal() override;

  void SetCompleter(Completer completer);
  // Becomes true when Ctrl-C is pressed while no line is being read, false with each line.
  static const std::atomic<bool>& Interrupted();
  // $XDG_STATE_HOME/ktscript/history, or the same below ~/.local/state; empty when neither is set.
  static std::filesystem::path DefaultHistoryFile();

  Answer Read(int number, bool continues, std::string& line) override;
  bool IsTerminal() const override { return true; }

 private:
  struct Editor;
  std::unique_ptr<Editor> editor_;
};
