// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

#include "classlib/text/Kt_WString.h"

namespace kt::cli {

// The text fit for one line of a terminal, whoever wrote it: control characters as the pictures
// that stand for them (U+241B for an escape), and what else cannot be seen or changes the direction
// of the text as \u{202E}. Joiners stay, because emoji are made of them.
Kt_WString WithVisibleControls(const Kt_WString& text);
std::string WithVisibleControls(std::string_view utf8);

// The same of a text that names something in a message: at most 200 characters, "…" where it was
// cut.
inline constexpr kt_long kMaxShownUnits = 200;
std::string Shown(const Kt_WString& text);
std::string Shown(std::string_view utf8);
// The same characters as escapes of JSON. REQUIRES: `json` is JSON in one line.
std::string WithJsonEscapes(std::string_view json);

// A stream that passes everything on to another one, made visible as above but for line feeds and
// tabs. What kt has to say goes through one, so that no part of a file or script that gets into a
// message can drive the terminal.
//
// Borrows the target. Bytes are passed on at once, those of a character together. Threads: one.
class VisibleStream : public std::ostream {
 public:
  explicit VisibleStream(std::ostream& target) : std::ostream(nullptr), buffer_(target) {
    rdbuf(&buffer_);
  }

  // What `stream` writes to in the end: its own buffer, or that of the target of a VisibleStream.
  static std::streambuf* TargetOf(const std::ostream& stream);

 private:
  class Buffer : public std::streambuf {
   public:
    explicit Buffer(std::ostream& target) : target_(target) {}
    const std::ostream& Target() const { return target_; }

   protected:
    int_type overflow(int_type unit) override;
    std::streamsize xsputn(const char* units, std::streamsize count) override;
    int sync() override;

   private:
    void Pass(std::string_view bytes);

    std::ostream& target_;
    std::string begun_;  // the first bytes of a character
  };

  Buffer buffer_;
};

}  // namespace kt::cli
