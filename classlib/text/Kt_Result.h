// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <vector>

#include "classlib/base/Kt_Codes.h"
#include "classlib/text/Kt_WString.h"

// A text with %1 to %9 replaced by the arguments; a missing argument is empty, and each is cut at
// Kt_Result::kMaxMessageArg units: texts of scripts may be of any length.
KT_CLASS_API Kt_WString kt_filltextW(const char16_t* pattern, std::span<const Kt_WString> args);

// What an error callback receives: one or more messages, each a code with the place that raised it
// and the texts its message takes. Plain data, owns its texts.
class KT_CLASS_API Kt_Result {
 public:
  // Names and expressions in messages are cut at so many units.
  static constexpr kt_long kMaxMessageArg = 200;

  Kt_Result() = default;

  // `source` names the part of the engine that reports and `line` its line there; the arguments
  // fill %1, %2, ... of the message text of `code`.
  template <class... Args>
  void AddMsg(kt_long code, const char16_t* source, kt_long line, const Args&... args) {
    messages_.push_back({code, Kt_WString(source), line, {Kt_WString(args)...}});
  }

  kt_long GetCount() const { return static_cast<kt_long>(messages_.size()); }
  // The first message, 0 and empty when there is none.
  kt_long GetCode() const { return messages_.empty() ? 0 : messages_.front().code; }
  const Kt_WString& GetSource() const;
  kt_long GetLine() const { return messages_.empty() ? 0 : messages_.front().line; }
  kt_long GetArgCount() const;
  const Kt_WString& GetArg(kt_long arg) const;  // empty outside
  // The message text of the first code with its arguments filled in (kt_filltextW); a code
  // without a text gives "error 0x........" and the arguments.
  Kt_WString GetText() const;

 private:
  struct Message {
    kt_long code;
    Kt_WString source;
    kt_long line;
    std::vector<Kt_WString> args;
  };
  std::vector<Message> messages_;
};
