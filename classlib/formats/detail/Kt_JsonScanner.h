// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "classlib/base/Kt_Memory.h"

namespace kt::detail {

// Cuts a JSON text in UTF-8 into pieces and checks its grammar on the way. Several values may
// follow each other at the top, with or without white space between.
//
// Written here because data files need what general parsers refuse or lose: half a surrogate pair
// as an escape, which texts of datasets may hold, and numbers and nested values as they are
// written. Open brackets are bits on a list, so depth costs neither stack nor time.
//
// Borrows the text; what it gives are views into it.
class JsonScanner {
 public:
  enum class Piece : std::uint8_t {
    kObject,
    kObjectEnd,
    kArray,
    kArrayEnd,
    kName,  // of a member; its value follows
    kString,
    kNumber,
    kTrue,
    kFalse,
    kNull,
    kEnd,  // of the text
    kError,
  };

  explicit JsonScanner(std::string_view text, std::size_t start = 0) : text_(text), at_(start) {}

  Piece Next();
  // Takes the next piece when it is that name, as a name was given before, with no more than blanks
  // around it: for members that come in the same order in every object. False, and nothing
  // taken, when it is another piece, or one that Next has to look at. REQUIRES: the last piece was
  // the start of an object or a value in one.
  bool TakeName(std::string_view name);
  // Of the last piece: a name or string without its quotes and with its escapes, others as they
  // are written.
  std::string_view Text() const { return piece_; }
  // Where the last piece begins.
  std::size_t Offset() const { return offset_; }
  // Where the next one is looked for.
  std::size_t At() const { return at_; }
  // Skips what is left of the object or list whose start was the last piece; Text is all of it
  // then. False on an error.
  bool SkipValue();
  std::size_t Depth() const { return open_.size(); }
  // What was wrong at Offset.
  const std::u16string& Error() const { return error_; }

 private:
  enum class State : std::uint8_t { kValue, kFirst, kAfter };

  Piece Fail(std::size_t at, std::u16string error);
  Piece Value();
  Piece Open(bool object);
  Piece Close(bool object);
  Piece AfterValue();
  Piece Name();
  Piece Word(std::string_view word, Piece piece);
  Piece Number();
  bool String();
  bool Escape();
  bool Digits();
  bool InObject() const { return !open_.empty() && open_.back(); }
  void SkipBlanks() { at_ = AfterBlanks(at_); }
  std::size_t AfterBlanks(std::size_t at) const;
  char Peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  bool IsAtEnd() const { return at_ >= text_.size(); }

  std::string_view text_;
  std::size_t at_;
  std::size_t offset_ = 0;
  std::string_view piece_;
  CountedVector<bool> open_;  // one for each open bracket: of an object
  State state_ = State::kValue;
  std::u16string error_;
};

// The text of a string or name that a scanner gave. Escaped halves of surrogate pairs stay.
void DecodeJson(std::string_view raw, CountedText& text);
// Appends a text in quotes. What UTF-8 cannot hold is escaped.
void AppendJsonString(std::u16string_view text, CountedBytes& out);

}  // namespace kt::detail
