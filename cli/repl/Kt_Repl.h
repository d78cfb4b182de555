// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/Kt_LineSource.h"
#include "cli/data/Kt_Options.h"
#include "cli/repl/Kt_InputScan.h"
#include "cli/repl/Kt_Session.h"

// The interactive prompt without the terminal: gathers lines into inputs, hands these to the
// session, and answers the :commands.
//
// Borrows all that it is given. Threads: one.
class Kt_CliRepl {
 public:
  Kt_CliRepl(kt::cli::Streams streams, std::vector<std::string> include_dirs,
             const std::atomic<bool>* cancel = nullptr)
      : streams_(streams), include_dirs_(std::move(include_dirs)), session_(streams, cancel) {}

  Kt_CliFence& GetFence() { return session_.GetHost().GetFence(); }
  // Loads the datasets of the command line; their options are those of :data and :save too. The
  // exit status.
  int LoadDataFiles(const kt::cli::DataFiles& files);
  // Reads to the end or to :quit. Returns the exit status: 1 when an input failed and nobody sat
  // there to see it.
  int Run(Kt_CliLineSource& source);

  // What the word before the cursor may become, sorted; `before` is the line up to there, and
  // `start` receives where the word begins in it.
  std::vector<std::string> Complete(std::string_view before, std::size_t& start) const;

 private:
  struct Command {
    const char* name;
    bool (Kt_CliRepl::*run)(const std::string& argument);
    const char* form;
    const char* help;
  };
  static const Command kCommands[];

  void OnLine(const std::string& line);
  void ReadLine(const std::string& line);
  void TakeText(const Kt_WString& text);
  void RunInput();
  void Forget();
  void RunCommand(const std::string& line);
  // Says it of the line in hand; the input that it belongs to is forgotten.
  void Fail(const std::string& what);

  bool Data(const std::string& argument);
  bool Save(const std::string& argument);
  void ListDatasets();
  bool Help(const std::string& argument);
  bool Load(const std::string& argument);
  bool Vars(const std::string& argument);
  bool Quit(const std::string& argument);
  bool HelpOnFunction(const Kt_WString& name);
  void HelpOnAll();

  kt::cli::Streams streams_;
  std::vector<std::string> include_dirs_;
  kt::cli::DataFiles data_;  // the options count
  Kt_CliSession session_;
  Kt_CliInputScan scan_;
  Kt_WString input_;  // the lines so far, with an end each
  int first_line_ = 1;
  int line_number_ = 0;
  bool has_input_ = false;
  bool has_failed_ = false;
  bool quits_ = false;
};
