// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <string>

// Where the interactive session reads its lines from: a pipe or a terminal.
class Kt_CliLineSource {
 public:
  enum class Answer {
    kLine,
    kCancelled,  // what was typed of this input is to be forgotten
    kTooLong,    // the line is longer than any text can be; nothing follows
    kEnd,
  };

  Kt_CliLineSource() = default;
  Kt_CliLineSource(const Kt_CliLineSource&) = delete;
  Kt_CliLineSource& operator=(const Kt_CliLineSource&) = delete;
  virtual ~Kt_CliLineSource() = default;

  // The next line, without its end. `number` counts all lines from 1; `continues` says that the
  // line before it asked for more.
  virtual Answer Read(int number, bool continues, std::string& line) = 0;
  // True when somebody sits there, who sees his errors himself.
  virtual bool IsTerminal() const = 0;
};

// Lines of a stream, with any line end; shows no prompt. Borrows the stream.
class Kt_CliPipe : public Kt_CliLineSource {
 public:
  explicit Kt_CliPipe(std::istream& in) : in_(in) {}

  Answer Read(int number, bool continues, std::string& line) override;
  bool IsTerminal() const override { return false; }

 private:
  std::istream& in_;
};
