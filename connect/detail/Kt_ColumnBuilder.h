// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "classlib/store/Kt_Column.h"

namespace kt::detail {

// A column that is made of what a database sends, cell by cell, in the narrowest type that holds
// every value exactly:
//
//   whole numbers     long; double where one needs more than 32 bits; text where a double would
//                     change one (beyond 2^53)
//   exact numbers     currency; text where one needs more than four decimals or 15 digits before
//   other numbers     double
//   dates             datetime; text where a day number would change one
//   texts, binaries   string, binary
//   different kinds   variant: each cell keeps its own
//
// A column of nulls has the type that is hinted.
// Fails: throws std::bad_alloc.
class ColumnBuilder {
 public:
  explicit ColumnBuilder(Kt_ColumnType hint) : hint_(hint) {}

  void AddNull() { ++pending_nulls_; }
  void AddNulls(std::size_t count) { pending_nulls_ += count; }
  void AddInteger(std::int64_t value) {
    if (KT_LIKELY(Takes(Kt_ColumnType::kLong) && value == static_cast<kt_long>(value))) {
      cells_->AppendLong(static_cast<kt_long>(value));
    } else {
      AddOtherInteger(value);
    }
  }
  void AddReal(double value);
  void AddUnits(std::int64_t units);           // an exact number in ten-thousandths
  void AddNumeral(std::u16string_view text);   // an exact number that has no such units
  void AddDay(double days);                    // REQUIRES: IsExactDay
  void AddDateText(std::u16string_view text);  // a date that is no such day
  void AddBinary(std::span<const std::uint8_t> bytes);
  // False when the bytes are no UTF-8 or too long; then nothing was added.
  bool AddText(std::string_view utf8);

  std::size_t RowCount() const {
    return pending_nulls_ + (cells_ != nullptr ? cells_->RowCount() : 0);
  }

  // Numbers that are all exact with four decimals become currency, texts that are all dates in
  // ISO 8601 datetime, as the database says that they are meant to be.
  void MakeCurrency();
  void MakeDates();

  // REQUIRES: nothing is added afterwards.
  std::shared_ptr<Kt_Column> Take();

 private:
  // Whether cells of that type may be appended; nulls that wait are there then.
  bool Takes(Kt_ColumnType type) {
    if (KT_UNLIKELY(cells_ == nullptr)) Begin(type);
    if (KT_UNLIKELY(cells_->Type() != type)) return false;
    if (KT_UNLIKELY(pending_nulls_ != 0)) FlushNulls();
    return true;
  }
  void Begin(Kt_ColumnType type);
  void FlushNulls();
  void AddOtherInteger(std::int64_t value);
  // Converts what is there to a wider type.
  void Widen(Kt_ColumnType type);
  // Appends to a column that takes the value as it is, or makes it variant.
  void AddMixed(const Kt_Variant& value);
  void AppendAscii(std::string_view text);
  bool HoldsNumerals() const { return numerals_ && cells_->Type() == Kt_ColumnType::kString; }

  const Kt_ColumnType hint_;
  std::unique_ptr<Kt_Column> cells_;  // null until there is a value
  std::size_t pending_nulls_ = 0;     // that are still to be appended
  bool numerals_ = false;             // the texts are numbers that no other type holds
  bool whole_ = true;                 // the doubles are whole numbers of the database
};

// Whether the moment survives as a day number: microseconds (after 1899-12-30) within the years 1
// to 9999 whose day number gives them back. `days` is that number.
bool ExactDay(std::int64_t microseconds, double& days);
// The day number in microseconds, rounded; false outside of what 64 bits hold.
bool MicrosecondsOf(double days, std::int64_t& microseconds);
// "2024-01-05 08:30:00.25", without what is zero at the end of the time; "2024-01-05" at midnight
// unless `with_time`.
std::string DateText(double days, bool with_time);

}  // namespace kt::detail
