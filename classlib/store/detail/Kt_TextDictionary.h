// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/text/Kt_WString.h"

namespace kt::detail {

// The texts of one column, numbered in order of arrival; code 0 is the empty text.
//
// While texts repeat, a hash keeps one code per text. A column of mostly different texts gains
// nothing from that, so past kMinTexts texts on more than half of the rows the hash goes, new texts
// are simply appended, and one text may have several codes (IsUnique() false).
class TextDictionary {
 public:
  static constexpr std::size_t kMinTexts = 65536;

  TextDictionary() : texts_(1) {}
  TextDictionary(const TextDictionary& other)
      : texts_(CopyOrLeave(other.texts_)), table_(other.table_), unique_(other.unique_) {}
  TextDictionary(TextDictionary&&) = default;
  TextDictionary& operator=(const TextDictionary&) = delete;
  TextDictionary& operator=(TextDictionary&&) = default;

  std::size_t Count() const { return texts_.size(); }
  bool IsUnique() const { return unique_; }
  // REQUIRES: the code came from this dictionary.
  const Kt_WString& Text(std::uint32_t code) const { return texts_[code]; }

  // The code of `text`, added when new. `row_count` is the column's length. The second form shares
  // the buffer of the text.
  std::uint32_t Add(std::u16string_view text, std::size_t row_count);
  std::uint32_t Add(const Kt_WString& text, std::size_t row_count);
  // Nothing when no row can have this text. REQUIRES: IsUnique().
  std::optional<std::uint32_t> Find(std::u16string_view text) const;
  // Drops the texts that no code of `codes` uses, and renumbers `codes`.
  void Compact(CountedVector<std::uint32_t>& codes);
  // Rank of every code in code-unit order; equal texts have equal ranks.
  CountedVector<std::uint32_t> Ranks() const;

 private:
  template <class Source>
  std::uint32_t AddText(const Source& text, std::u16string_view view, std::size_t row_count);
  static CountedVector<std::uint32_t> TableOf(const CountedVector<Kt_WString>& texts);
  void DropHash();

  CountedVector<Kt_WString> texts_;
  CountedVector<std::uint32_t> table_;  // open addressing; code, 0 where free
  bool unique_ = true;
};

}  // namespace kt::detail
