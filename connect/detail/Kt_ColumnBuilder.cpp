// SPDX-License-Identifier: MIT
#include "connect/detail/Kt_ColumnBuilder.h"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "classlib/text/Kt_WString.h"
#include "classlib/value/Kt_DateTime.h"

namespace kt::detail {
namespace {

using Type = Kt_ColumnType;

// Whole numbers up to here are exact as doubles.
constexpr std::int64_t kMaxWhole = std::int64_t{1} << 53;
constexpr std::int64_t kMicrosecondsPerDay = std::int64_t{86400} * 1000000;
// Years 1 to 9999 as day numbers.
constexpr std::int64_t kFirstDay = -693593;
constexpr std::int64_t kEndDay = 2958466;

bool FitsDouble(std::int64_t value) { return value >= -kMaxWhole && value <= kMaxWhole; }

std::string Digits(std::int64_t value) {
  std::array<char, 24> text;
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

// The text that a wider column has for a cell.
Kt_WString TextOf(const Kt_Variant& value) {
  if (value.IsDouble()) {  // a whole number
    return Kt_WString::FromUtf8(Digits(static_cast<std::int64_t>(value.AsDouble())));
  }
  if (value.GetTag() == kTagDateTime) {
    return Kt_WString::FromUtf8(DateText(value.AsDouble(), false));
  }
  return value.ToString();
}

// The double in ten-thousandths when these give it back.
std::optional<std::int64_t> UnitsOf(double value) {
  const double scaled = std::round(value * Kt_Currency::kScale);
  if (!(std::fabs(scaled) <= static_cast<double>(kMaxWhole))) return std::nullopt;
  const auto units = static_cast<std::int64_t>(scaled);
  if (Kt_Currency::FromUnits(units).ToDouble() != value) return std::nullopt;
  return units;
}

// The microseconds that up to three digits after those of the milliseconds stand for.
bool MicrosecondsBelow(std::u16string_view digits, std::int64_t& microseconds) {
  constexpr std::size_t kDigits = 3;
  if (digits.size() > kDigits) return false;
  for (std::size_t at = 0; at < kDigits; ++at) {
    const char16_t digit = at < digits.size() ? digits[at] : u'0';
    if (digit < u'0' || digit > u'9') return false;
    microseconds = microseconds * 10 + (digit - u'0');
  }
  return true;
}

// "2024-01-05", or with " 08:30" or "T08:30", ":00" and a fraction of up to six digits: a date that
// its day number gives back. Zones and anything else are texts.
std::optional<double> DayOf(const Kt_WString& text) {
  const std::u16string_view view = text.View();
  constexpr std::size_t kDate = 10;
  if (view.size() < kDate || view[4] != u'-' || view[7] != u'-') return std::nullopt;
  if (view.size() > kDate && (view.size() < kDate + 6 || view.size() == kDate + 7)) {
    return std::nullopt;
  }
  // Dates read milliseconds, and would leave out what follows.
  constexpr std::size_t kMilliseconds = 23;
  std::int64_t below = 0;
  if (view.size() > kMilliseconds && !MicrosecondsBelow(view.substr(kMilliseconds), below)) {
    return std::nullopt;
  }
  Kt_DateTime date;
  if (!Kt_DateTime::FromText(view.substr(0, kMilliseconds), date)) return std::nullopt;
  std::int64_t all = 0;
  if (below == 0) return date.days;
  if (!MicrosecondsOf(date.days, all) || !ExactDay(all + below, date.days)) return std::nullopt;
  return date.days;
}

}  // namespace

void ColumnBuilder::Begin(Type type) {
  cells_ = std::make_unique<Kt_Column>(type);
  numerals_ = false;
}

void ColumnBuilder::FlushNulls() {
  cells_->AppendNulls(pending_nulls_);
  pending_nulls_ = 0;
}

void ColumnBuilder::Widen(Type type) {
  FlushNulls();
  auto wider = std::make_unique<Kt_Column>(type);
  wider->Reserve(cells_->RowCount());
  for (std::size_t row = 0; row < cells_->RowCount(); ++row) {
    const Kt_Variant value = cells_->Read(row);
    if (type == Type::kString && !value.IsEmpty()) {
      wider->AppendText(TextOf(value));
    } else {
      wider->Append(value);
    }
  }
  cells_ = std::move(wider);
}

void ColumnBuilder::AddMixed(const Kt_Variant& value) {
  if (cells_ == nullptr) Begin(Type::kVariant);
  if (cells_->Type() != Type::kVariant) Widen(Type::kVariant);
  FlushNulls();
  cells_->Append(value);
}

void ColumnBuilder::AppendAscii(std::string_view text) {
  FlushNulls();
  cells_->AppendText(Kt_WString::FromUtf8(text));
}

void ColumnBuilder::AddOtherInteger(std::int64_t value) {
  const bool is_long = value == static_cast<kt_long>(value);
  if (cells_->Type() == Type::kLong) {  // perhaps begun for this value
    Widen(FitsDouble(value) ? Type::kDouble : Type::kString);
    numerals_ = true;
  }
  if (cells_->Type() == Type::kDouble && !FitsDouble(value) && whole_) {
    Widen(Type::kString);
    numerals_ = true;
  }
  if (cells_->Type() == Type::kDouble && FitsDouble(value)) {
    FlushNulls();
    cells_->AppendDouble(static_cast<double>(value));
  } else if (HoldsNumerals()) {
    AppendAscii(Digits(value));
  } else if (is_long) {
    AddMixed(static_cast<kt_long>(value));
  } else if (FitsDouble(value)) {
    AddMixed(static_cast<double>(value));
  } else {
    AddMixed(Kt_WString::FromUtf8(Digits(value)));
  }
}

void ColumnBuilder::AddReal(double value) {
  if (cells_ != nullptr && cells_->Type() == Type::kLong) Widen(Type::kDouble);
  if (!Takes(Type::kDouble)) return AddMixed(value);
  whole_ = false;
  cells_->AppendDouble(value);
}

void ColumnBuilder::AddUnits(std::int64_t units) {
  if (Takes(Type::kCurrency)) return cells_->AppendUnits(units);
  const Kt_Currency value = Kt_Currency::FromUnits(units);
  if (!HoldsNumerals()) return AddMixed(value);
  FlushNulls();
  cells_->AppendText(value.ToText());
}

void ColumnBuilder::AddNumeral(std::u16string_view text) {
  if (cells_ == nullptr) {
    Begin(Type::kString);
    numerals_ = true;
  } else if (cells_->Type() == Type::kCurrency) {
    Widen(Type::kString);
    numerals_ = true;
  }
  if (!Takes(Type::kString)) return AddMixed(Kt_WString(text));
  cells_->AppendText(text);
}

void ColumnBuilder::AddDay(double days) {
  if (Takes(Type::kDateTime)) return cells_->AppendDouble(days);
  if (HoldsNumerals()) return AppendAscii(DateText(days, false));
  AddMixed(Kt_DateTime{days});
}

void ColumnBuilder::AddDateText(std::u16string_view text) {
  if (cells_ == nullptr || cells_->Type() == Type::kDateTime) {
    if (cells_ == nullptr) {
      Begin(Type::kString);
    } else {
      Widen(Type::kString);
    }
    numerals_ = true;
  }
  if (!Takes(Type::kString)) return AddMixed(Kt_WString(text));
  cells_->AppendText(text);
}

void ColumnBuilder::AddBinary(std::span<const std::uint8_t> bytes) {
  Kt_Variant value;
  value.SetBinary(bytes.data(), bytes.size());
  if (!Takes(Type::kBinary)) return AddMixed(value);
  cells_->Append(value);
}

bool ColumnBuilder::AddText(std::string_view utf8) {
  constexpr std::size_t kShort = 256;
  std::array<char16_t, kShort> units;
  unsigned char all = 0;
  if (utf8.size() <= kShort) {
    for (std::size_t at = 0; at < utf8.size(); ++at) {
      const auto byte = static_cast<unsigned char>(utf8[at]);
      units[at] = byte;
      all |= byte;
    }
  }
  if (utf8.size() <= kShort && all < 0x80) {
    const std::u16string_view text(units.data(), utf8.size());
    if (KT_LIKELY(Takes(Type::kString) && !numerals_)) {
      cells_->AppendText(text);
    } else {
      AddMixed(Kt_WString(text));
    }
    return true;
  }
  Kt_WString text;
  if (ConvertUtf8(utf8, text) >= 0) return false;
  if (Takes(Type::kString) && !numerals_) {
    cells_->AppendText(text);
  } else {
    AddMixed(text);
  }
  return true;
}

void ColumnBuilder::MakeCurrency() {
  if (cells_ == nullptr || (cells_->Type() != Type::kLong && cells_->Type() != Type::kDouble)) {
    return;
  }
  FlushNulls();
  auto made = std::make_unique<Kt_Column>(Type::kCurrency);
  made->Reserve(cells_->RowCount());
  for (std::size_t row = 0; row < cells_->RowCount(); ++row) {
    if (cells_->IsNull(row)) {
      made->AppendNulls(1);
      continue;
    }
    const std::optional<std::int64_t> units = UnitsOf(cells_->Read(row).ToDouble());
    if (!units) return;
    made->AppendUnits(*units);
  }
  cells_ = std::move(made);
}

void ColumnBuilder::MakeDates() {
  if (cells_ == nullptr || cells_->Type() != Type::kString || numerals_) return;
  FlushNulls();
  auto made = std::make_unique<Kt_Column>(Type::kDateTime);
  made->Reserve(cells_->RowCount());
  for (std::size_t row = 0; row < cells_->RowCount(); ++row) {
    if (cells_->IsNull(row)) {
      made->AppendNulls(1);
      continue;
    }
    const std::optional<double> day = DayOf(cells_->Read(row).AsString());
    if (!day) return;
    made->AppendDouble(*day);
  }
  cells_ = std::move(made);
}

std::shared_ptr<Kt_Column> ColumnBuilder::Take() {
  if (cells_ == nullptr) Begin(hint_);
  FlushNulls();
  cells_->ShrinkToFit();
  return std::move(cells_);
}

// ---- Dates ------------------------------------------------------------------------------------

bool MicrosecondsOf(double days, std::int64_t& microseconds) {
  constexpr double kLimit = 1e8;
  if (!(std::fabs(days) < kLimit)) return false;
  // The whole days apart, so that the fraction keeps its bits.
  const double whole = std::floor(days);
  microseconds =
      static_cast<std::int64_t>(whole) * kMicrosecondsPerDay +
      static_cast<std::int64_t>(std::llround((days - whole) * double{kMicrosecondsPerDay}));
  return true;
}

bool ExactDay(std::int64_t microseconds, double& days) {
  if (microseconds < kFirstDay * kMicrosecondsPerDay ||
      microseconds >= kEndDay * kMicrosecondsPerDay) {
    return false;
  }
  std::int64_t whole = microseconds / kMicrosecondsPerDay;
  std::int64_t rest = microseconds % kMicrosecondsPerDay;
  if (rest < 0) {
    --whole;
    rest += kMicrosecondsPerDay;
  }
  days = static_cast<double>(whole) + static_cast<double>(rest) / double{kMicrosecondsPerDay};
  std::int64_t back = 0;
  return MicrosecondsOf(days, back) && back == microseconds;
}

std::string DateText(double days, bool with_time) {
  std::int64_t all = 0;
  if (!MicrosecondsOf(days, all)) return {};
  std::int64_t rest = all % kMicrosecondsPerDay;
  if (rest < 0) rest += kMicrosecondsPerDay;
  Kt_DateTime date;
  const std::int64_t whole = (all - rest) / kMicrosecondsPerDay;
  date.days = static_cast<double>(whole);
  std::string text = date.ToText().ToUtf8();
  if (text.empty() || (rest == 0 && !with_time)) return text;
  const auto two = [&text](std::int64_t number) {
    text += static_cast<char>('0' + number / 10);
    text += static_cast<char>('0' + number % 10);
  };
  const std::int64_t seconds = rest / 1000000;
  text += ' ';
  two(seconds / 3600);
  text += ':';
  two(seconds / 60 % 60);
  text += ':';
  two(seconds % 60);
  if (std::int64_t fraction = rest % 1000000; fraction != 0) {
    text += '.';
    for (std::int64_t digit = 100000; fraction != 0; fraction %= digit, digit /= 10) {
      text += static_cast<char>('0' + fraction / digit);
    }
  }
  return text;
}

}  // namespace kt::detail
