// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_Types.h"

struct Kt_RunError;

namespace kt::cli {

// What a function of kt returns when it has told why it failed. Its texts are fit for a terminal,
// and may have several lines.
inline constexpr kt_long kHostFunctionFailed = static_cast<kt_long>(0x83B0C001);

// One error, warning or note, as --json writes it. Lines and columns count from 1; 0 and empty
// texts: not known, or nothing of the kind.
struct Diagnostic {
  enum class Severity : std::uint8_t { kError, kWarning, kNote };
  struct Call {
    std::string function;
    std::string file;
    kt_long line = 0;
  };

  Severity severity = Severity::kError;
  kt_long code = 0;
  std::string name;  // of a warning
  std::string text;
  std::string file;
  kt_long line = 0;
  kt_long column = 0;
  kt_long length = 0;
  std::string expression;
  std::vector<Call> calls;  // innermost first
  std::size_t calls_left_out = 0;
};

// "error: text" or "warning: text [name]", as messages have it.
std::string Describe(const Diagnostic& diagnostic);
// What a message says: "file:line:column: error: text" and the forms with less of it.
Diagnostic ReadMessage(std::string_view line);
// The failure and its calls, without a file and a place. The text is fit for a terminal.
Diagnostic FromRunError(const Kt_RunError& error);

// The part of a source that a failure is about; length 0 when it is not found. The source is that
// of the function that ran, or the expression when none did.
struct Part {
  std::size_t offset = 0;
  std::size_t length = 0;
};
Part FindPart(std::u16string_view source, const Kt_RunError& error);

// The stream for messages under --json: every message is one line of JSON, the texts that commands
// write line by line too. Borrows the stream that it writes to. Threads: one.
class JsonMessages : private std::streambuf, public std::ostream {
 public:
  explicit JsonMessages(std::ostream& out);
  ~JsonMessages() override;

  // The stream as one of these; null when it takes plain text.
  static JsonMessages* Of(std::ostream& messages) { return dynamic_cast<JsonMessages*>(&messages); }
  void Write(const Diagnostic& diagnostic);

 private:
  int overflow(int unit) override;
  int sync() override;

  std::ostream& out_;
  std::string line_;
};

}  // namespace kt::cli
