// SPDX-License-Identifier: MIT
//
// Values as PostgreSQL sends them in binary: numbers with the highest byte first; numerics in
// digits of base 10000; dates and times as days and microseconds since 2000-01-01.
#include "connect/detail/Kt_PgCells.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>

#include "classlib/text/Kt_WString.h"

namespace kt::detail {
namespace {

using Type = Kt_ColumnType;

constexpr std::int64_t kMicrosecondsPerDay = std::int64_t{86400} * 1000000;
constexpr std::int64_t kFirstDay = 36526;  // 2000-01-01

// The number at the start of `bytes`. REQUIRES: there are enough.
template <class T>
T Number(std::string_view bytes) {
  std::make_unsigned_t<T> value = 0;
  for (std::size_t at = 0; at < sizeof(T); ++at) {
    value = static_cast<std::make_unsigned_t<T>>((std::uint64_t{value} << 8) |
                                                 static_cast<unsigned char>(bytes[at]));
  }
  return static_cast<T>(value);
}

Kt_WString Ascii(std::string_view text) { return Kt_WString::FromUtf8(text); }

// ---- Numbers ----------------------------------------------------------------------------------

template <class T>
bool ReadInteger(std::string_view bytes, ColumnBuilder& cells) {
  if (bytes.size() != sizeof(T)) return false;
  cells.AddInteger(Number<T>(bytes));
  return true;
}

bool ReadBool(std::string_view bytes, ColumnBuilder& cells) {
  if (bytes.size() != 1) return false;
  cells.AddInteger(bytes[0] != 0 ? 1 : 0);
  return true;
}

bool ReadDouble(std::string_view bytes, ColumnBuilder& cells) {
  if (bytes.size() != sizeof(double)) return false;
  cells.AddReal(std::bit_cast<double>(Number<std::int64_t>(bytes)));
  return true;
}

// The double that has the same shortest text: 0.1 and not 0.100000001.
bool ReadFloat(std::string_view bytes, ColumnBuilder& cells) {
  if (bytes.size() != sizeof(float)) return false;
  const float value = std::bit_cast<float>(Number<std::int32_t>(bytes));
  std::array<char, 32> text;
  const char* const end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  double same = value;
  if (value - value == 0) std::from_chars(text.data(), end, same);
  cells.AddReal(same);
  return true;
}

// The parts of a numeric: digits of base 10000, of which the first stands for 10000^weight.
struct Numeric {
  static constexpr std::size_t kHead = 8;
  static constexpr std::uint16_t kPositive = 0;
  static constexpr std::uint16_t kNegative = 0x4000;
  static constexpr std::uint16_t kNan = 0xC000;
  static constexpr std::uint16_t kInfinity = 0xD000;

  explicit Numeric(std::string_view bytes)
      : weight(Number<std::int16_t>(bytes.substr(2))),
        sign(static_cast<std::uint16_t>(Number<std::int16_t>(bytes.substr(4)))),
        digits(bytes.substr(kHead)) {}

  int Count() const { return static_cast<int>(digits.size() / 2); }
  int Digit(int at) const {
    return at < 0 || at >= Count() ? 0 : Number<std::int16_t>(digits.substr(2 * std::size_t(at)));
  }
  // The number of the digit that stands for 10000^exponent.
  int At(int exponent) const { return weight - exponent; }

  int weight;
  std::uint16_t sign;
  std::string_view digits;
};

// Nothing when it has more decimals or is greater.
std::optional<std::int64_t> UnitsOf(const Numeric& numeric) {
  constexpr int kGreatestWeight = 3;
  constexpr int kLast = -1;  // the exponent of four decimals
  if (numeric.weight > kGreatestWeight || numeric.Count() > numeric.At(kLast) + 1) {
    return std::nullopt;
  }
  const std::int64_t sign = numeric.sign == Numeric::kNegative ? -1 : 1;
  std::int64_t units = 0;
  for (int exponent = numeric.weight; exponent >= kLast; --exponent) {
    const std::int64_t digit = sign * numeric.Digit(numeric.At(exponent));
    if (__builtin_mul_overflow(units, std::int64_t{10000}, &units) ||
        __builtin_add_overflow(units, digit, &units)) {
      return std::nullopt;
    }
  }
  return units;
}

// Without zeros at its end that say nothing.
std::string TextOf(const Numeric& numeric) {
  std::string text;
  const auto add = [&](int exponent) {
    const std::string digits = std::to_string(numeric.Digit(numeric.At(exponent)));
    text += std::string(4 - std::min<std::size_t>(digits.size(), 4), '0') + digits;
  };
  for (int exponent = std::max(numeric.weight, 0); exponent >= 0; --exponent) add(exponent);
  text.erase(0, std::min(text.find_first_not_of('0'), text.size() - 1));
  const int last = numeric.weight - numeric.Count() + 1;
  if (last < 0) {
    text += '.';
    for (int exponent = -1; exponent >= last; --exponent) add(exponent);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
  }
  return (numeric.sign == Numeric::kNegative ? "-" : "") + text;
}

bool ReadNumeric(std::string_view bytes, ColumnBuilder& cells) {
  if (bytes.size() < Numeric::kHead ||
      bytes.size() != Numeric::kHead + 2 * std::size_t{static_cast<std::uint16_t>(
                                               Number<std::int16_t>(bytes))}) {
    return false;
  }
  const Numeric numeric(bytes);
  if (numeric.sign == Numeric::kPositive || numeric.sign == Numeric::kNegative) {
    for (int at = 0; at < numeric.Count(); ++at) {
      if (numeric.Digit(at) < 0 || numeric.Digit(at) > 9999) return false;
    }
    if (const auto units = UnitsOf(numeric)) {
      cells.AddUnits(*units);
    } else {
      cells.AddNumeral(Ascii(TextOf(numeric)));
    }
    return true;
  }
  cells.AddNumeral(numeric.sign == Numeric::kNan        ? u"NaN"
                   : numeric.sign == Numeric::kInfinity ? u"Infinity"
                                                        : u"-Infinity");
  return true;
}

// ---- Dates ------------------------------------------------------------------------------------

// "12024-01-05", "0044-03-15 BC" of a day since 2000-01-01: the calendar without limits.
std::string CivilText(std::int64_t day, bool& is_bc) {
  // Years that begin in March, in eras of 400 of them.
  constexpr std::int64_t kDaysPerEra = 146097;
  const std::int64_t shifted = day + 730425;  // days since 0000-03-01
  const std::int64_t era = (shifted >= 0 ? shifted : shifted - kDaysPerEra + 1) / kDaysPerEra;
  const std::int64_t of_era = shifted - era * kDaysPerEra;
  const std::int64_t year_of_era =
      (of_era - of_era / 1460 + of_era / 36524 - of_era / 146096) / 365;
  const std::int64_t of_year = of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t shifted_month = (5 * of_year + 2) / 153;
  const std::int64_t month = shifted_month < 10 ? shifted_month + 3 : shifted_month - 9;
  std::int64_t year = year_of_era + era * 400 + (month <= 2 ? 1 : 0);
  is_bc = year <= 0;
  if (is_bc) year = 1 - year;
  const auto padded = [](std::int64_t number, std::size_t digits) {
    std::string text = std::to_string(number);
    return std::string(digits - std::min(digits, text.size()), '0') + text;
  };
  return padded(year, 4) + '-' + padded(month, 2) + '-' +
         padded(of_year - (153 * shifted_month + 2) / 5 + 1, 2);
}

bool ReadDate(std::string_view bytes, ColumnBuilder& cells) {
  if (bytes.size() != sizeof(std::int32_t)) return false;
  const std::int32_t day = Number<std::int32_t>(bytes);
  double days = 0;
  if (day == std::numeric_limits<std::int32_t>::max()) {
    cells.AddDateText(u"infinity");
  } else if (day == std::numeric_limits<std::int32_t>::min()) {
    cells.AddDateText(u"-infinity");
  } else if (ExactDay((day + kFirstDay) * kMicrosecondsPerDay, days)) {
    cells.AddDay(days);
  } else {
    bool is_bc = false;
    const std::string text = CivilText(day, is_bc);
    cells.AddDateText(Ascii(is_bc ? text + " BC" : text));
  }
  return true;
}

// A moment that no day number holds.
std::string MomentText(std::int64_t microseconds, std::string_view zone) {
  std::int64_t day = microseconds / kMicrosecondsPerDay;
  std::int64_t rest = microseconds % kMicrosecondsPerDay;
  if (rest < 0) {
    --day;
    rest += kMicrosecondsPerDay;
  }
  bool is_bc = false;
  std::string text = CivilText(day, is_bc);
  // The time of day, from the text of that time on day 0.
  const std::string time = DateText(static_cast<double>(rest) / double{kMicrosecondsPerDay}, true);
  text += time.substr(time.find(' '));
  text += zone;
  return text + (is_bc ? " BC" : "");
}

template <bool kHasZone>
bool ReadMoment(std::string_view bytes, ColumnBuilder& cells) {
  if (bytes.size() != sizeof(std::int64_t)) return false;
  constexpr std::int64_t kSafe = std::numeric_limits<std::int64_t>::max() / 2;
  const std::int64_t moment = Number<std::int64_t>(bytes);
  double days = 0;
  if (moment == std::numeric_limits<std::int64_t>::max()) {
    cells.AddDateText(u"infinity");
  } else if (moment == std::numeric_limits<std::int64_t>::min()) {
    cells.AddDateText(u"-infinity");
  } else if (moment > -kSafe && moment < kSafe &&
             ExactDay(moment + kFirstDay * kMicrosecondsPerDay, days)) {
    cells.AddDay(days);
  } else {
    cells.AddDateText(Ascii(MomentText(moment, kHasZone ? "+00" : "")));
  }
  return true;
}

// ---- Texts ------------------------------------------------------------------------------------

bool ReadText(std::string_view bytes, ColumnBuilder& cells) { return cells.AddText(bytes); }

bool ReadJsonb(std::string_view bytes, ColumnBuilder& cells) {
  constexpr char kVersion = 1;
  return bytes.starts_with(kVersion) && cells.AddText(bytes.substr(1));
}

bool ReadUuid(std::string_view bytes, ColumnBuilder& cells) {
  if (bytes.size() != 16) return false;
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (at == 4 || at == 6 || at == 8 || at == 10) text += '-';
    const auto byte = static_cast<unsigned char>(bytes[at]);
    text += "0123456789abcdef"[byte / 16];
    text += "0123456789abcdef"[byte % 16];
  }
  return cells.AddText(text);
}

bool ReadBytes(std::string_view bytes, ColumnBuilder& cells) {
  cells.AddBinary({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  return true;
}

// clang-format off
constexpr PgType kTypes[] = {
    // number  column           read                          comparable
    {16,       Type::kLong,     &ReadBool,                    true},   // bool
    {kPgBytea, Type::kBinary,   &ReadBytes,                   true},
    {19,       Type::kString,   &ReadText,                    true},   // name
    {20,       Type::kLong,     &ReadInteger<std::int64_t>,   true},   // int8
    {21,       Type::kLong,     &ReadInteger<std::int16_t>,   true},   // int2
    {23,       Type::kLong,     &ReadInteger<std::int32_t>,   true},   // int4
    {kPgText,  Type::kString,   &ReadText,                    true},
    {26,       Type::kLong,     &ReadInteger<std::uint32_t>,  true},   // oid
    {114,      Type::kString,   &ReadText,                    false},  // json
    {142,      Type::kString,   &ReadText,                    false},  // xml
    {700,      Type::kDouble,   &ReadFloat,                   true},   // float4
    {701,      Type::kDouble,   &ReadDouble,                  true},   // float8
    {705,      Type::kString,   &ReadText,                    true},   // unknown
    {1042,     Type::kString,   &ReadText,                    true},   // bpchar
    {1043,     Type::kString,   &ReadText,                    true},   // varchar
    {kPgDate,  Type::kDateTime, &ReadDate,                    true},
    {1114,     Type::kDateTime, &ReadMoment<false>,           true},   // timestamp
    {1184,     Type::kDateTime, &ReadMoment<true>,            true},   // timestamptz
    {1700,     Type::kCurrency, &ReadNumeric,                 true},   // numeric
    {2950,     Type::kString,   &ReadUuid,                    true},   // uuid
    {3802,     Type::kString,   &ReadJsonb,                   false},  // jsonb
};
// clang-format on

}  // namespace

const PgType* FindPgType(std::uint32_t number) {
  const auto found = std::ranges::find(kTypes, number, &PgType::number);
  return found != std::end(kTypes) ? found : nullptr;
}

}  // namespace kt::detail
