// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Memory.h"
#include "classlib/text/Kt_WString.h"

// An ordered list of strings. Owns its items; copies share the buffers of the strings.
// Threads: const members may run in parallel; a change needs sole access.
class KT_CLASS_API Kt_WStrList {
 public:
  Kt_WStrList() = default;
  virtual ~Kt_WStrList() = default;
  Kt_WStrList(const Kt_WStrList&) = default;
  Kt_WStrList& operator=(const Kt_WStrList&) = default;

  kt_long GetCount() const { return static_cast<kt_long>(items_.size()); }
  // The empty string for an index outside the list.
  const Kt_WString& GetItem(kt_long index) const;
  const Kt_WString& operator[](kt_long index) const { return GetItem(index); }
  // Index of the first equal item, -1 if none; FindNoCase compares without regard to case.
  kt_long Find(std::u16string_view text) const;
  kt_long FindNoCase(std::u16string_view text) const;
  // All items with `separator` between them.
  Kt_WString Join(std::u16string_view separator) const;

  // Returns the new item's index; -1 when the list is full (kMaxListItems).
  kt_long Add(const Kt_WString& text);
  void RemoveAt(kt_long index);
  void Clear() { items_.clear(); }

  // Splits `text` at every unit that stands in `delimiters` and appends the pieces; returns the
  // item count of the list, -1 when it would pass kMaxListItems. An empty set of delimiters gives
  // one piece, an empty text none. `escape` (0: none) makes the unit after it plain text and is
  // itself dropped. `multi_dim` 0: delimiters in a row count as one and those at the ends are
  // dropped; 1: every delimiter separates, so pieces may be empty. `check_quotes`: delimiters
  // inside "..." or '...' do not separate (a quote that is never closed is a plain unit);
  // `delete_quotes`: a piece enclosed in quotes loses them. `trim` takes white space from the ends
  // of every piece. `brackets`: delimiters inside () [] {} do not separate.
  kt_long Parse(std::u16string_view text, std::u16string_view delimiters, char16_t escape = 0,
                bool multi_dim = true, bool check_quotes = true, bool delete_quotes = false,
                bool trim = true, bool brackets = false);

 private:
  kt::CountedVector<Kt_WString> items_;
};
