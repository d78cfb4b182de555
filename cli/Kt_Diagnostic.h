// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_Types.h"
#include "cli/Kt_Cli.h"

struct Kt_RunError;

namespace kt::cli {

// What a function of kt returns when it has told why it failed. Its texts are fit for a terminal,
// and may have several lines.
inline constexpr kt_long kHostFunctionFailed = static_cast<kt_long>(0x83B0C001);

// One error, warning or note, as --json writes it. Lines and columns count from 1; 0 and empty
// texts: not known, or nothing of the kind. Text and name are fit for a terminal; files and
// functions are as they are called.
struct Diagnostic {
  enum class Severity : std::uint8_t { kError, kWarning, kNote };
  struct Call {
    std::string function;
    std::string file;
    kt_long line = 0;
  };

  // With texts that are made fit for one line of a terminal.
  static Diagnostic Error(std::string_view text, std::string file = {}, kt_long line = 0);
  static Diagnostic Warning(std::string_view text, std::string name = {});
  static Diagnostic Note(std::string_view text, std::string file = {}, kt_long line = 0);
  // Of a command itself, in place of a file: "kt show: error: text".
  static Diagnostic Of(std::string command, Diagnostic diagnostic);
  // What is wrong with its command line: "kt show: text".
  static Diagnostic Complaint(std::string command, std::string_view text);

  Severity severity = Severity::kError;
  bool is_plain = false;  // the text form does not say the severity, as it never does of notes
  kt_long code = 0;
  std::string command;
  std::string name;  // of a warning, or of the cause of a syntax error
  std::string text;
  std::string file;
  kt_long line = 0;
  kt_long column = 0;
  kt_long length = 0;
  std::string expression;
  std::vector<Call> calls;  // innermost first
  std::size_t calls_left_out = 0;
  std::string below;  // lines that the text form goes on with, such as the source and a caret
  std::string hint;   // what is wrong and what to write; the text form ends with it
  // The other place that the hint is about, in the same file.
  struct Related {
    kt_long line = 0;
    kt_long column = 0;
    kt_long length = 0;
  };
  Related related;
};

// The text form: "file:line:column: error: text [name]" and the forms with less of it, then what
// is below and, when there is more than one, the calls.
std::string Describe(const Diagnostic& diagnostic);
// "file:line:column: text", as a part of another message.
std::string DescribePart(Diagnostic diagnostic);

// All that kt has to say goes through here: as text, or as a line of JSON when the streams ask for
// that. What has been printed so far goes out first, so that both streams read in order on a
// terminal.
void Tell(Streams streams, const Diagnostic& diagnostic);
void Tell(Streams streams, const std::vector<Diagnostic>& diagnostics);
// Tells it even when there is no memory for telling anything.
void TellOutOfMemory(Streams streams);

// The failure and its calls, at the statement that ran. The text is fit for a terminal.
Diagnostic FromRunError(const Kt_RunError& error);

// The part of a source that a failure is about; length 0 when it is not found. The source is that
// of the function that ran, or the expression when none did.
struct Part {
  std::size_t offset = 0;
  std::size_t length = 0;
};
Part FindPart(std::u16string_view source, const Kt_RunError& error);

}  // namespace kt::cli
