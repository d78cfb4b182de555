// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "classlib/base/Kt_Counted.h"
#include "classlib/base/Kt_Types.h"

// A shared, counted string of UTF-16 code units. One pointer wide; the empty string is null.
//
// Copies share one buffer; a change makes a private one first, and appending grows it by half, so
// a loop of appends is linear. Indexes and lengths count code units from 0. The buffer is
// terminated by a zero unit; a zero inside the text is kept.
// Threads: separate strings may share a buffer across threads; one string has one owner.
// Fails: a result longer than kMaxStringLength is not made: the operation returns false (or leaves
// the string as it was) and the engine reports kErrStringTooLong. Where memory runs out,
// std::bad_alloc is thrown and the string is as it was.
class KT_CLASS_API Kt_WString {
 public:
  // The shared buffer: this head, then `length` units and the terminating zero.
  struct Rep : Kt_Counted {
    kt_long length = 0;
    kt_long capacity = 0;
    // Kt_Symbol of the text, 0 while nobody asked; every change of the text sets it back to 0.
    std::atomic<std::uint32_t> symbol{0};
    char16_t* Text() { return reinterpret_cast<char16_t*>(this + 1); }
    const char16_t* Text() const { return reinterpret_cast<const char16_t*>(this + 1); }
  };

  Kt_WString() = default;
  Kt_WString(const char16_t* text);  // up to the terminating zero; null gives the empty string
  Kt_WString(const char16_t* text, kt_long length);
  Kt_WString(std::u16string_view text);
  Kt_WString(const Kt_WString& other) : rep_(other.rep_) {
    if (rep_) rep_->AddRef();
  }
  Kt_WString(Kt_WString&& other) noexcept : rep_(std::exchange(other.rep_, nullptr)) {}
  ~Kt_WString() { Drop(); }

  Kt_WString& operator=(const Kt_WString& other) {
    Rep* const rep = other.rep_;
    if (rep) rep->AddRef();
    Drop();
    rep_ = rep;
    return *this;
  }
  Kt_WString& operator=(Kt_WString&& other) noexcept {
    std::swap(rep_, other.rep_);
    return *this;
  }
  Kt_WString& operator=(const char16_t* text) { return *this = Kt_WString(text); }
  Kt_WString& operator=(std::u16string_view text) { return *this = Kt_WString(text); }

  // The text from UTF-8, and back. Bytes that are no UTF-8 become U+FFFD; `ConvertUtf8` below says
  // where they stand. A lone surrogate goes out as U+FFFD.
  static Kt_WString FromUtf8(std::string_view text);
  std::string ToUtf8() const;

  bool IsEmpty() const { return rep_ == nullptr || rep_->length == 0; }
  kt_long GetLength() const { return rep_ ? rep_->length : 0; }
  // Never null: the empty string gives a pointer to a zero unit.
  const char16_t* GetText() const { return rep_ ? rep_->Text() : u""; }
  std::u16string_view View() const { return {GetText(), static_cast<std::size_t>(GetLength())}; }
  operator std::u16string_view() const { return View(); }  // NOLINT(google-explicit-constructor)
  // The unit at `index`; 0 outside the text.
  char16_t GetAt(kt_long index) const {
    return index >= 0 && index < GetLength() ? rep_->Text()[index] : u'\0';
  }

  // Position of `pattern` at or after `start`, -1 if none or the pattern is empty.
  // Findi compares without regard to case.
  kt_long Find(std::u16string_view pattern, kt_long start = 0) const;
  kt_long Findi(std::u16string_view pattern, kt_long start = 0) const;
  // `count` units from `start`; ranges outside the text are cut to it (a negative start is 0).
  Kt_WString Mid(kt_long start, kt_long count) const;
  // True when the whole text is a name: a letter, '_' or a character from 128 upwards first, then
  // also digits.
  bool IsName() const;
  // The leading whole number of the text (blanks first, a sign, digits), clamped to 32 bits; 0
  // when there is none.
  kt_long ToInteger() const;
  // The leading decimal number of the text, with exponent; 0 when there is none.
  double ToDouble() const;
  // Without regard to case.
  bool EqualsNoCase(std::u16string_view other) const;

  void Empty() {
    Drop();
    rep_ = nullptr;
  }
  void Set(const Kt_WString& other) { *this = other; }
  void Set(const char16_t* text, kt_long length);  // length -1: up to the terminating zero
  void Set(const char* text);                      // UTF-8
  Kt_WString& operator+=(const Kt_WString& other) {
    Append(other.View());
    return *this;
  }
  Kt_WString& operator+=(std::u16string_view other) {
    Append(other);
    return *this;
  }
  Kt_WString& operator+=(const char16_t* other) { return *this += std::u16string_view(other); }
  Kt_WString& operator+=(char16_t unit) {
    Append({&unit, 1});
    return *this;
  }
  // False, and nothing appended, when the result would pass kMaxStringLength.
  bool Append(std::u16string_view other);
  // Removes white space (space, tab, CR, LF and the Unicode blanks) from both ends / one end.
  void Trim();
  void LTrim();
  void RTrim();
  // Removes one enclosing pair: with `quotes_only` 1 the quote characters " and ' alone, else also
  // the brackets ( ) [ ] { } < >. Text that is not enclosed stays as it is.
  void TrimBrace(kt_long quotes_only = 0);
  // Replaces every occurrence of `old_text`, left to right; returns how many. -1, and nothing
  // changed, when the result would be too long. Linear in the text.
  kt_long Replace(std::u16string_view old_text, std::u16string_view new_text);
  // The text in double quotes, with a backslash before every " and \ inside.
  Kt_WString QuoteStr() const;
  // Undoes QuoteStr; also takes single quotes. Text without quotes comes back as it is.
  Kt_WString UnQuoteStr() const;
  // Sets the unit at `index`; nothing outside the text.
  void SetAt(kt_long index, char16_t unit);
  // Makes the text exactly `length` units long and gives it for writing; the units are not
  // initialised. Null when the length is too great. The symbol and sharing are dropped.
  char16_t* GetBuffer(kt_long length);
  // Gives back spare capacity.
  void FreeExtra();

  // The cached symbol of the text (see Kt_Symbol); null for the empty string.
  Rep* GetRep() const { return rep_; }
  // Takes over a counted reference to `rep`.
  static Kt_WString FromRep(Rep* rep) {
    Kt_WString out;
    out.rep_ = rep;
    return out;
  }
  // Gives the reference away; the string is empty afterwards.
  Rep* Detach() { return std::exchange(rep_, nullptr); }
  static void FreeRep(Rep* rep);
  // A buffer of `length` units with room for `capacity`, count 1; null when too long.
  static Rep* NewRep(kt_long length, kt_long capacity);

  friend bool operator==(const Kt_WString& a, const Kt_WString& b) {
    return a.rep_ == b.rep_ || a.View() == b.View();
  }
  friend bool operator==(const Kt_WString& a, const char16_t* b) { return a.View() == b; }
  friend bool operator==(const Kt_WString& a, std::u16string_view b) { return a.View() == b; }
  friend Kt_WString operator+(const Kt_WString& a, std::u16string_view b) {
    Kt_WString out(a);
    out.Append(b);
    return out;
  }

 private:
  void Drop() {
    if (rep_ && rep_->Release()) FreeRep(rep_);
  }
  bool MakeRoom(kt_long length);  // private buffer with room for `length` units

  Rep* rep_ = nullptr;
};

// Converts UTF-8 to UTF-16. Returns -1 when all of it was well formed, else the byte offset of the
// first byte that is not; `out` then holds what stood before it. Text longer than
// kMaxStringLength leaves `out` empty and gives the offset where it passed the limit.
KT_CLASS_API std::int64_t ConvertUtf8(std::string_view bytes, Kt_WString& out);

// Comparison without regard to case, by simple case folding of each unit; negative, 0, positive.
// `n` bounds the units compared; a zero unit ends either text early.
KT_CLASS_API int kt_stricmpW(const char16_t* a, const char16_t* b);
KT_CLASS_API int kt_strnicmpW(const char16_t* a, const char16_t* b, kt_long n);
KT_CLASS_API int kt_strnicmpWA(const char16_t* a, const char* b, kt_long n);
KT_CLASS_API int kt_stricmpW(std::u16string_view a, std::u16string_view b);
// By code unit.
KT_CLASS_API int kt_strcmpW(const char16_t* a, const char16_t* b);
// The simple case fold of one unit.
KT_CLASS_API char16_t kt_foldcaseW(char16_t unit);
// Index of the first unit that is no white space (space, tab, CR, LF); `length` when all are.
KT_CLASS_API kt_long kt_findskipW(const char16_t* text, kt_long length);
// Length of `text[0, length)` without its trailing white space.
KT_CLASS_API kt_long kt_findrskipW(const char16_t* text, kt_long length);
// `text` padded with `pad` to `length` units on the left / right; unchanged when long enough.
KT_CLASS_API Kt_WString kt_lpadW(const Kt_WString& text, char16_t pad, kt_long length);
KT_CLASS_API Kt_WString kt_rpadW(const Kt_WString& text, char16_t pad, kt_long length);
