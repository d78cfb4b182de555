// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "classlib/base/Kt_Types.h"

namespace kt {

// Hears of texts that arithmetic operators read as 0 because they are no numbers, as in "abc" - 1.
// Empty texts are not among them: they stand for nothing, like nulls.
//
//   struct Watch : kt::TextWatch {
//     void OnText(std::u16string_view text, const char16_t* sign) override { Show(text, sign); }
//   } watch;
//   const kt::TextWatch::Scope scope(&watch);
//
// Threads: each has its own; without one nothing is asked but when a text is read.
class KT_CLASS_API TextWatch {
 public:
  virtual ~TextWatch() = default;
  // `sign` is the operator. Other code may be running in the middle of this: only take notes.
  virtual void OnText(std::u16string_view text, const char16_t* sign) = 0;

  // While it lives, `watch` hears of this thread, and nobody else does. Null: nobody.
  class KT_CLASS_API Scope {
   public:
    explicit Scope(TextWatch* watch);
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope();

   private:
    TextWatch* outer_;
  };

  // Tells the watch of this thread, if there is one, of a text that is no number.
  KT_COLD static void Tell(std::u16string_view text, const char16_t* sign);
  KT_COLD static void TellUnlessNumber(std::u16string_view text, const char16_t* sign);
};

}  // namespace kt
