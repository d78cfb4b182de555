// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "classlib/store/Kt_LoadReport.h"
#include "classlib/value/Kt_DateTime.h"

// What the text of a cell looks like, what that makes of its column, and what the text is worth
// there: one set of rules for all files of texts. docs/kt.md has them for users.

// Reads texts of cells by given rules. Blanks around a text (ASCII ones) do not matter to it.
//
// Threads: const members may run in parallel.
class KT_CLASS_API Kt_CellReader {
 public:
  // Types that hold a text unchanged, as bits; 8 is the caller's.
  using Forms = std::uint8_t;
  static constexpr Forms kLong = 1;
  static constexpr Forms kDouble = 2;
  static constexpr Forms kDate = 4;
  static constexpr Forms kAnyForm = 0xFF;

  // How numbers and dates are written.
  struct Notation {
    char16_t decimal = u'.';
    char16_t thousands = 0;
    bool currency_symbols = false;
    std::optional<Kt_DateOrder> dates;
    bool IsPlain() const { return decimal == u'.' && thousands == 0 && !currency_symbols; }
  };

  explicit Kt_CellReader(const Kt_CellRules& rules = {});

  // Why the rules contradict each other; empty when they do not.
  std::u16string_view Fault() const;
  const Notation& GetNotation() const { return notation_; }

  // The forms of a text; kAnyForm for a blank one, which is null in columns of numbers and dates.
  //
  // A number: a sign, digits with at most one point, an exponent; "nan" and "inf" in any case. It
  // is a long when it is whole and fits, else a double. A whole number has no form when it has
  // leading zeros, which codes have, or is beyond 2^53, where doubles leave numbers out; nor has a
  // number that is too great for a double.
  // A date: the year first, or in the order that the rules give; a time of day and a zone.
  Forms FormsOf(std::string_view utf8) const;
  Forms FormsOf(std::u16string_view text) const;

  // The value of a text. False, and `value` untouched or 0, when it has none. A double that is too
  // great is none; whatever is a number as a whole is a long or double here, also with leading
  // zeros. Moments in another zone are converted to UTC; digits of seconds after the third are
  // dropped.
  bool ReadLong(std::string_view utf8, kt_long& value) const;
  bool ReadLong(std::u16string_view text, kt_long& value) const;
  bool ReadDouble(std::string_view utf8, double& value) const;
  bool ReadDouble(std::u16string_view text, double& value) const;
  bool ReadDate(std::string_view utf8, Kt_DateTime& value) const;
  bool ReadDate(std::u16string_view text, Kt_DateTime& value) const;

  // What a cell of that type becomes. False when it does not convert; `value` is then the text or
  // empty, of which a column keeps what it can. Binaries are read as base 64.
  bool Read(std::u16string_view text, Kt_ColumnType type, Kt_Variant& value) const;

  // The number of the token for null that a text is; -1: it is none.
  int NullToken(std::string_view utf8) const;
  int NullToken(std::u16string_view text) const;
  const std::vector<Kt_WString>& NullTokens() const { return tokens_; }
  // Tokens are null in columns of all types, otherwise in those of numbers and dates.
  bool NullsInAllColumns() const { return nulls_in_all_columns_; }
  bool HasNullTokens(Kt_ColumnType type) const;

 private:
  friend class Kt_ColumnForms;
  template <class Unit>
  Forms Find(std::basic_string_view<Unit> text) const;
  template <class Unit>
  bool FindDouble(std::basic_string_view<Unit> text, double& value) const;
  bool ReadCurrency(std::u16string_view text, Kt_Variant& value) const;

  Notation notation_;
  bool needs_wide_ = false;  // some numbers cannot be recognized byte by byte
  std::vector<Kt_WString> tokens_;
  std::vector<std::string> utf8_tokens_;
  bool nulls_in_all_columns_ = false;
};

// The texts of one column that were seen so far.
class KT_CLASS_API Kt_ColumnForms {
 public:
  using Forms = Kt_CellReader::Forms;

  // A cell that is not null. Costs next to nothing once it is clear that the column holds texts.
  void Note(const Kt_CellReader& reader, std::string_view utf8);
  void Note(const Kt_CellReader& reader, std::u16string_view text);
  // A text that may be a date or null, but is no number, whatever it looks like.
  void NoteString(const Kt_CellReader& reader, std::string_view utf8);
  void NoteString(const Kt_CellReader& reader, std::u16string_view text);
  // A value whose forms are known.
  void NoteForms(Forms forms);

  // The forms that all cells have; 0 when there were no cells but null tokens.
  Forms Common() const { return any_ ? common_ : Forms{0}; }
  // Nothing that may follow changes what there is to say.
  bool IsClosed() const { return closed_; }
  // The narrowest type that holds all cells unchanged.
  Kt_ColumnType Type() const;
  // Whether nearly all texts are numbers or dates in a notation that an option names. For a
  // column of texts.
  bool FindHint(const Kt_CellReader& reader, Kt_LoadReport::Hint& hint) const;

 private:
  static constexpr std::size_t kNotations = 10;

  template <class Unit>
  void NoteText(const Kt_CellReader& reader, std::basic_string_view<Unit> text, Forms possible);
  void NoteOdd(const Kt_CellReader& reader, std::u16string_view text, Forms possible);
  void CloseWhenHopeless();
  std::uint32_t MatchesOf(std::size_t notation, const Kt_CellReader& reader) const;
  bool FindNullToken(const Kt_CellReader& reader, Kt_LoadReport::Hint& hint) const;

  Forms common_ = Kt_CellReader::kAnyForm;
  bool any_ = false;
  bool closed_ = false;  // nothing more is to be found out
  bool many_odd_ = false;
  std::uint16_t tokens_ = 0;  // those of the usual ones that were seen, as bits
  // Cells that are no tokens; those that are numbers, and of them those that could be whole numbers
  // with a point between groups of digits; dates; those without a form.
  std::uint32_t cells_ = 0;
  std::uint32_t numbers_ = 0;
  std::uint32_t with_point_ = 0;
  std::uint32_t grouped_ = 0;
  std::uint32_t dates_ = 0;
  std::uint32_t odd_ = 0;
  Kt_WString first_odd_;
  std::uint16_t first_odd_matches_ = 0;
  std::array<std::uint32_t, kNotations> matches_{};  // of odd cells, by notation
  Kt_WString example_;
};

// How often tokens stood for null in the columns of a file.
// Threads: the counts of different columns may be added to by different threads when there is room
// for them.
class KT_CLASS_API Kt_NullCounts {
 public:
  Kt_NullCounts() = default;
  explicit Kt_NullCounts(std::size_t columns) : counts_(columns) {}
  void Add(std::size_t column, int token);
  // Adds the counts of a column to a report.
  void Tell(std::size_t column, const Kt_WString& id, const Kt_CellReader& reader,
            Kt_LoadReport& report) const;

 private:
  std::vector<std::vector<kt_long>> counts_;  // by column and token
};

// The type that the rules state for a column; nothing when they state none.
KT_CLASS_API std::optional<Kt_ColumnType> kt_statedtypeW(const Kt_CellRules& rules,
                                                         const Kt_WString& id);
// The start of a text, for messages.
KT_CLASS_API Kt_WString kt_excerptW(std::u16string_view text);
