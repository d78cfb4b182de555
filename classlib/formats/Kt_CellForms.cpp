// SPDX-License-Identifier: MIT
//
// Numbers are taken apart once, by one function, for both questions: what a text can be and what it
// is worth. It works on bytes and on UTF-16, so that the cells of a file are looked at where they
// stand. Only what a byte cannot tell (currency signs, blanks between groups beyond ASCII) is
// copied to UTF-16 first.
#include "classlib/formats/Kt_CellForms.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "classlib/base/Kt_Memory.h"
#include "classlib/formats/detail/Kt_FileText.h"
#include "classlib/text/Kt_Utf16.h"
#include "classlib/text/detail/Kt_FromChars.h"

namespace {

using Forms = Kt_CellReader::Forms;
using Notation = Kt_CellReader::Notation;

// Said of doubles besides, for hints: there is a point, and it could stand between groups.
constexpr Forms kHasPoint = 64;
constexpr Forms kCouldBeGroups = 128;
constexpr Forms kTypes = Kt_CellReader::kLong | Kt_CellReader::kDouble | Kt_CellReader::kDate;

constexpr std::int64_t kMaxExactWhole = std::int64_t{1} << 53;

constexpr const char* kUsualTokens[] = {"NA",   "N/A",  "n/a", "NULL", "null",
                                        "None", "#N/A", "-",   "."};

template <class Unit>
bool IsDigit(Unit unit) {
  return unit >= '0' && unit <= '9';
}

template <class Unit>
bool IsAsciiBlank(Unit unit) {
  return unit == ' ' || (unit >= '\t' && unit <= '\r');
}

// In a file the blanks of the usual white space; all others are part of the text.
template <class Unit>
std::basic_string_view<Unit> Trimmed(std::basic_string_view<Unit> text) {
  while (!text.empty() && IsAsciiBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsAsciiBlank(text.back())) text.remove_suffix(1);
  return text;
}

template <class Unit>
bool IsAscii(std::basic_string_view<Unit> text) {
  return std::ranges::all_of(
      text, [](Unit unit) { return static_cast<std::make_unsigned_t<Unit>>(unit) < 128; });
}

// Whether a text is a word in any case. REQUIRES: the word is in lower case.
template <class Unit>
bool IsWord(std::basic_string_view<Unit> text, std::string_view word) {
  return std::ranges::equal(text, word, [](Unit unit, char letter) {
    const auto lower = unit >= 'A' && unit <= 'Z' ? static_cast<Unit>(unit - 'A' + 'a') : unit;
    return lower == static_cast<Unit>(letter);
  });
}

// ---- Numbers ----------------------------------------------------------------------------------

// The blanks that stand between groups of digits.
bool IsGroupBlank(char16_t unit) {
  return unit == u' ' || unit == u'\xA0' || unit == u'\x2009' || unit == u'\x202F';
}

template <class Unit>
bool IsSign(Unit unit, char16_t sign) {
  if constexpr (sizeof(Unit) == 1) {
    return sign < 128 && unit == static_cast<Unit>(sign);
  } else {
    return unit == sign || (IsGroupBlank(sign) && IsGroupBlank(unit));
  }
}

// A text that is a number, taken apart.
struct Number {
  bool negative = false;
  bool is_whole = false;      // neither point nor exponent
  bool leading_zero = false;  // before another digit
  bool has_point = false;
  bool has_groups = false;       // there are signs between groups
  bool could_be_groups = false;  // a point with one to three digits before and three after it
  double word = 0;               // NaN or infinity; 0: the number has digits
  std::size_t digits = 0;        // of the whole part, without leading zeros
  std::int64_t whole = 0;        // its value, when it has at most 18
  std::int64_t magnitude = 0;    // power of ten that the number is below
};

template <class Unit>
class NumberReader {
 public:
  using View = std::basic_string_view<Unit>;
  NumberReader(View text, const Notation& notation) : text_(text), notation_(notation) {}

  // REQUIRES: no blanks around it, not empty.
  bool Read(Number& number) {
    if (text_[0] == '-' || text_[0] == '+') number.negative = text_[at_++] == '-';
    if (at_ < text_.size() && !IsDigit(text_[at_]) && ReadWord(number)) return true;
    const std::size_t start = at_;
    if (!ReadWhole(number)) return false;
    number.magnitude = static_cast<std::int64_t>(number.digits);
    if (at_ == text_.size()) {
      number.is_whole = at_ > start;
      return number.is_whole;
    }
    const std::size_t whole_units = at_ - start;
    std::size_t fraction = 0;
    if (IsSign(text_[at_], notation_.decimal)) fraction = ReadFraction(number);
    if (whole_units + fraction == 0) return false;
    number.could_be_groups = at_ == text_.size() && fraction == 3 && whole_units >= 1 &&
                             whole_units <= 3 && !number.has_groups;
    return at_ == text_.size() || ReadExponent(number);
  }

 private:
  bool ReadWord(Number& number) {
    const View rest = text_.substr(at_);
    if (rest.size() != 3 && rest.size() != 8) return false;
    const bool is_nan = IsWord(rest, "nan");
    if (!is_nan && !IsWord(rest, "inf") && !IsWord(rest, "infinity")) return false;
    number.word =
        is_nan ? std::numeric_limits<double>::quiet_NaN() : std::numeric_limits<double>::infinity();
    if (number.negative) number.word = -number.word;
    return true;
  }

  void TakeDigit(Number& number) {
    const auto digit = static_cast<int>(text_[at_++]) - '0';
    if (number.digits == 0 && digit == 0) return;
    if (++number.digits <= 18) number.whole = number.whole * 10 + digit;
  }

  // False when groups have another number of digits than three.
  bool ReadWhole(Number& number) {
    std::size_t run = at_;
    const bool zero = at_ < text_.size() && text_[at_] == '0';
    const std::size_t start = at_;
    for (;;) {
      while (at_ < text_.size() && IsDigit(text_[at_])) TakeDigit(number);
      const std::size_t length = at_ - run;
      const bool is_group = number.has_groups ? length == 3 : length >= 1 && length <= 3;
      const bool goes_on = notation_.thousands != 0 && is_group && at_ + 1 < text_.size() &&
                           IsSign(text_[at_], notation_.thousands) && IsDigit(text_[at_ + 1]);
      number.leading_zero = zero && at_ - start > 1;
      if (!goes_on) return !number.has_groups || is_group;
      number.has_groups = true;
      run = ++at_;
    }
  }

  std::size_t ReadFraction(Number& number) {
    const std::size_t start = ++at_;
    number.has_point = true;
    std::size_t zeros = 0;
    while (at_ < text_.size() && IsDigit(text_[at_])) {
      zeros += text_[at_] == '0' && zeros == at_ - start ? 1 : 0;
      ++at_;
    }
    if (number.digits == 0) number.magnitude = -static_cast<std::int64_t>(zeros);
    is_zero_ = number.digits == 0 && zeros == at_ - start;
    return at_ - start;
  }

  bool ReadExponent(Number& number) {
    if (text_[at_] != 'e' && text_[at_] != 'E') return false;
    ++at_;
    const bool has_sign = at_ < text_.size() && (text_[at_] == '-' || text_[at_] == '+');
    const bool negative = has_sign && text_[at_] == '-';
    if (has_sign) ++at_;
    const std::size_t start = at_;
    std::int64_t exponent = 0;
    for (; at_ < text_.size() && IsDigit(text_[at_]); ++at_) {
      exponent = std::min<std::int64_t>(exponent * 10 + (text_[at_] - '0'), 1 << 30);
    }
    if (number.digits > 0 || !is_zero_) number.magnitude += negative ? -exponent : exponent;
    return at_ > start && at_ == text_.size();
  }

  View text_;
  const Notation& notation_;
  std::size_t at_ = 0;
  bool is_zero_ = true;  // of the digits after the point
};

// The value of a text that is a number. False when it is too great.
template <class Unit>
bool ValueOf(std::basic_string_view<Unit> text, const Number& number, const Notation& notation,
             double& value) {
  if (number.word != 0) {
    value = number.word;
    return true;
  }
  // As the standard library reads it: bytes, no plus in front, no groups, a point.
  kt::CountedBytes plain;
  plain.reserve(text.size());
  for (const Unit unit : text) {
    if (IsSign(unit, notation.decimal)) {
      plain += '.';
    } else if (notation.thousands == 0 || !IsSign(unit, notation.thousands)) {
      plain += static_cast<char>(unit);
    }
  }
  const std::size_t start = plain.starts_with('+') ? 1 : 0;
  const auto read = kt::detail::FromChars(plain.data() + start, plain.data() + plain.size(), value);
  if (read.ec == std::errc()) return true;
  const bool too_great = number.magnitude > 0;
  value = too_great ? std::numeric_limits<double>::infinity() : 0.0;
  if (number.negative) value = -value;
  return !too_great;
}

template <class Unit>
Forms FormsOfNumber(std::basic_string_view<Unit> text, const Number& number,
                    const Notation& notation) {
  constexpr std::int64_t kAlwaysFits = 308;
  if (!number.is_whole) {
    double ignored = 0;
    const bool fits = number.magnitude <= kAlwaysFits || ValueOf(text, number, notation, ignored);
    if (!fits) return 0;
    return Kt_CellReader::kDouble | (number.has_point ? kHasPoint : 0) |
           (number.could_be_groups ? kCouldBeGroups : 0);
  }
  if (number.leading_zero || number.digits > 18 || number.whole > kMaxExactWhole) return 0;
  const std::int64_t value = number.negative ? -number.whole : number.whole;
  const bool is_long =
      value >= std::numeric_limits<kt_long>::min() && value <= std::numeric_limits<kt_long>::max();
  return is_long ? Kt_CellReader::kLong | Kt_CellReader::kDouble : Kt_CellReader::kDouble;
}

// ---- Currency ---------------------------------------------------------------------------------

constexpr std::u16string_view kCurrencyCodes =
    u"AED AFN ALL AMD AOA ARS AUD AWG AZN BAM BBD BDT BGN BHD BIF BMD BND BOB BRL BSD BTN BWP BYN "
    u"BZD CAD CDF CHF CLP CNY COP CRC CUP CVE CZK DJF DKK DOP DZD EGP ERN ETB EUR FJD FKP GBP GEL "
    u"GHS GIP GMD GNF GTQ GYD HKD HNL HTG HUF IDR ILS INR IQD IRR ISK JMD JOD JPY KES KGS KHR KMF "
    u"KPW KRW KWD KYD KZT LAK LBP LKR LRD LSL LYD MAD MDL MGA MKD MMK MNT MOP MRU MUR MVR MWK MXN "
    u"MYR MZN NAD NGN NIO NOK NPR NZD OMR PAB PEN PGK PHP PKR PLN PYG QAR RON RSD RUB RWF SAR SBD "
    u"SCR SDG SEK SGD SHP SLE SOS SRD SSP STN SVC SYP SZL THB TJS TMT TND TOP TRY TTD TWD TZS UAH "
    u"UGX USD UYU UZS VED VES VND VUV WST XAF XCD XOF XPF YER ZAR ZMW ZWG ";

bool IsUpper(char16_t unit) { return unit >= u'A' && unit <= u'Z'; }

bool IsCurrencySign(char16_t unit) { return u_charType(unit) == U_CURRENCY_SYMBOL; }

bool IsCurrencyCode(std::u16string_view text) {
  const std::size_t at = kCurrencyCodes.find(text);
  return text.size() == 3 && std::ranges::all_of(text, IsUpper) && at != kCurrencyCodes.npos &&
         at % 4 == 0;
}

// The length of the sign or code of a currency at the start: "$", "US$", "USD".
std::size_t CurrencyAtStart(std::u16string_view text) {
  std::size_t letters = 0;
  while (letters < text.size() && letters < 3 && IsUpper(text[letters])) ++letters;
  if (letters < text.size() && IsCurrencySign(text[letters])) return letters + 1;
  return IsCurrencyCode(text.substr(0, 3)) ? 3 : 0;
}

std::size_t CurrencyAtEnd(std::u16string_view text) {
  if (!text.empty() && IsCurrencySign(text.back())) return 1;
  return text.size() >= 3 && IsCurrencyCode(text.substr(text.size() - 3)) ? 3 : 0;
}

// Takes away parentheses and one currency, before or after; a sign may stand on either side of
// the currency. What is left has its sign at the start, in `plain`. False for an empty rest.
bool TakeCurrency(std::u16string_view text, kt::CountedText& plain) {
  if (text.empty()) return false;
  bool negative = false;
  bool has_currency = false;
  std::u16string_view sign;
  const auto take_front = [&] {
    const std::size_t units = has_currency ? 0 : CurrencyAtStart(text);
    has_currency = has_currency || units > 0;
    text = Trimmed(text.substr(units));
  };
  const std::u16string_view unsigned_text = Trimmed(text.substr(1));
  if ((text[0] == u'-' || text[0] == u'+') && CurrencyAtStart(unsigned_text) > 0) {
    sign = text.substr(0, 1);
    text = unsigned_text;
  }
  take_front();
  if (text.size() > 2 && text.front() == u'(' && text.back() == u')') {
    negative = true;
    text = Trimmed(text.substr(1, text.size() - 2));
    take_front();
  }
  if (const std::size_t units = has_currency ? 0 : CurrencyAtEnd(text); units > 0) {
    text = Trimmed(text.substr(0, text.size() - units));
  }
  const bool signed_inside = !text.empty() && (text[0] == u'-' || text[0] == u'+');
  if (text.empty() || (signed_inside && (negative || !sign.empty()))) return false;
  if (negative && !sign.empty()) return false;
  plain = negative ? u"-" : sign;
  plain += text;
  return true;
}

// ---- Dates ------------------------------------------------------------------------------------

// A date and time of day with an optional zone, taken apart from the left.
template <class Unit>
class MomentReader {
 public:
  using View = std::basic_string_view<Unit>;
  MomentReader(View text, std::optional<Kt_DateOrder> order) : rest_(text), order_(order) {}

  bool Read(Kt_DateTime& moment) {
    const std::size_t digits = DigitRun();
    const bool is_compact = digits == 8;
    const bool has_date = is_compact    ? ReadCompactDate()
                          : digits == 4 ? ReadFields(0, 1, 2)
                                        : ReadOrdered();
    if (!has_date) return false;
    Kt_DateTime day;
    if (!Kt_DateTime::FromParts(parts_, day)) return false;
    if (!rest_.empty()) {
      if (!Take('T') && (is_compact || !Take(' '))) return false;
      if (!(is_compact && DigitRun() > 2 ? ReadCompactTime() : ReadTime())) return false;
      if (!ReadZone() || !rest_.empty()) return false;
    } else if (is_compact) {
      return false;  // a number
    }
    return Join(day, moment);
  }

 private:
  std::size_t DigitRun() const {
    std::size_t count = 0;
    while (count < rest_.size() && IsDigit(rest_[count])) ++count;
    return count;
  }

  bool Take(char unit) {
    if (rest_.empty() || rest_[0] != static_cast<Unit>(unit)) return false;
    rest_.remove_prefix(1);
    return true;
  }
  bool TakeWord(std::string_view word) {
    if (rest_.size() < word.size() || !IsWord(rest_.substr(0, word.size()), word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }
  kt_long TakeDigits(std::size_t count) {
    kt_long value = 0;
    for (std::size_t at = 0; at < count; ++at) value = value * 10 + (rest_[at] - '0');
    rest_.remove_prefix(count);
    return value;
  }
  bool TakeNumber(std::size_t least, std::size_t most, kt_long& value) {
    const std::size_t digits = DigitRun();
    if (digits < least || digits > most) return false;
    value = TakeDigits(digits);
    return true;
  }

  bool ReadCompactDate() {
    parts_.year = TakeDigits(4);
    parts_.month = TakeDigits(2);
    parts_.day = TakeDigits(2);
    return true;
  }

  bool ReadOrdered() {
    if (!order_) return false;
    switch (*order_) {
      case Kt_DateOrder::kDayMonthYear: return ReadFields(2, 1, 0);
      case Kt_DateOrder::kMonthDayYear: return ReadFields(2, 0, 1);
      case Kt_DateOrder::kYearMonthDay: return ReadFields(0, 1, 2);
    }
    return false;
  }

  // Three numbers with the same sign between them; the places of year, month and day. A year of two
  // digits is one of 1969 to 2068.
  bool ReadFields(std::size_t year, std::size_t month, std::size_t day) {
    kt_long fields[3];
    Unit separator = 0;
    for (std::size_t at = 0; at < 3; ++at) {
      if (at == 1) separator = rest_.empty() ? Unit{0} : rest_[0];
      if (at == 1 && separator != '-' && separator != '/' && separator != '.') return false;
      if (at > 0 && !Take(static_cast<char>(separator))) return false;
      const std::size_t digits = DigitRun();
      if (at == year ? digits != 2 && digits != 4 : digits < 1 || digits > 2) return false;
      fields[at] = TakeDigits(digits);
      if (at == year && digits == 2) fields[at] += fields[at] < 69 ? 2000 : 1900;
    }
    parts_.year = fields[year];
    parts_.month = fields[month];
    parts_.day = fields[day];
    return true;
  }

  bool ReadTime() {
    if (!TakeNumber(1, 2, hour_) || !Take(':') || !TakeNumber(2, 2, minute_)) return false;
    if (Take(':') && !(TakeNumber(2, 2, second_) && ReadFraction())) return false;
    return !order_ || ReadHalfDay();
  }

  bool ReadCompactTime() {
    const std::size_t digits = DigitRun();
    if (digits != 4 && digits != 6) return false;
    hour_ = TakeDigits(2);
    minute_ = TakeDigits(2);
    if (digits == 4) return true;
    second_ = TakeDigits(2);
    return ReadFraction();
  }

  bool ReadFraction() {
    if (!Take('.') && !Take(',')) return true;
    const std::size_t digits = DigitRun();
    if (digits == 0) return false;
    const std::size_t kept = std::min<std::size_t>(digits, 3);
    millisecond_ = TakeDigits(kept);
    for (std::size_t place = kept; place < 3; ++place) millisecond_ *= 10;
    rest_.remove_prefix(digits - kept);
    return true;
  }

  // "AM" or "PM", where dates are not ISO.
  bool ReadHalfDay() {
    const View before = rest_;
    Take(' ');
    const bool is_pm = TakeWord("pm");
    if (!is_pm && !TakeWord("am")) {
      rest_ = before;
      return true;
    }
    if (hour_ < 1 || hour_ > 12) return false;
    hour_ = hour_ % 12 + (is_pm ? 12 : 0);
    return true;
  }

  // "Z", "UTC", "+01:00", "+0100" or "+01", with or without a blank before it.
  bool ReadZone() {
    if (rest_.empty()) return true;
    Take(' ');
    if (TakeWord("z") || TakeWord("utc")) return true;
    const bool is_west = Take('-');
    if (!is_west && !Take('+')) return false;
    const std::size_t digits = DigitRun();
    if (digits != 2 && digits != 4) return false;
    const kt_long hours = TakeDigits(2);
    kt_long minutes = 0;
    if (digits == 4) minutes = TakeDigits(2);
    if (digits == 2 && Take(':') && !TakeNumber(2, 2, minutes)) return false;
    offset_minutes_ = (hours * 60 + minutes) * (is_west ? -1 : 1);
    return hours < 24 && minutes < 60;
  }

  bool Join(Kt_DateTime day, Kt_DateTime& moment) const {
    constexpr std::int64_t kMinutesPerDay = 24 * 60;
    constexpr double kMsPerDay = 86'400'000.0;
    if (hour_ > 23 || minute_ > 59 || second_ > 59) return false;
    std::int64_t minutes = hour_ * 60 + minute_ - offset_minutes_;
    if (minutes < 0) {
      minutes += kMinutesPerDay;
      --day.days;
    } else if (minutes >= kMinutesPerDay) {
      minutes -= kMinutesPerDay;
      ++day.days;
    }
    const std::int64_t ms = (minutes * 60 + second_) * 1000 + millisecond_;
    day.days += static_cast<double>(ms) / kMsPerDay;
    Kt_DateParts ignored;
    if (offset_minutes_ != 0 && !day.ToParts(ignored)) return false;
    moment = day;
    return true;
  }

  View rest_;
  std::optional<Kt_DateOrder> order_;
  Kt_DateParts parts_;
  kt_long hour_ = 0;
  kt_long minute_ = 0;
  kt_long second_ = 0;
  kt_long millisecond_ = 0;
  kt_long offset_minutes_ = 0;
};

template <class Unit>
bool FindMoment(std::basic_string_view<Unit> text, const Notation& notation, Kt_DateTime& value) {
  text = Trimmed(text);
  constexpr std::size_t kLongest = 64;
  if (text.size() < 6 || text.size() > kLongest || !IsDigit(text[0])) return false;
  return MomentReader<Unit>(text, notation.dates).Read(value);
}

// The forms of a text that is not blank; Unit by Unit, so without currencies.
template <class Unit>
Forms PlainForms(std::basic_string_view<Unit> text, const Notation& notation) {
  Number number;
  if (NumberReader<Unit>(text, notation).Read(number)) {
    return FormsOfNumber(text, number, notation);
  }
  Kt_DateTime ignored;
  return FindMoment(text, notation, ignored) ? Kt_CellReader::kDate : Forms{0};
}

Forms WideForms(std::u16string_view text, const Notation& notation) {
  const Forms forms = PlainForms(text, notation);
  kt::CountedText plain;
  if (forms != 0 || !notation.currency_symbols || !TakeCurrency(text, plain)) return forms;
  Number number;
  if (!NumberReader<char16_t>(plain, notation).Read(number)) return 0;
  return FormsOfNumber(std::u16string_view(plain), number, notation);
}

bool WideDouble(std::u16string_view text, const Notation& notation, double& value) {
  Number number;
  if (NumberReader<char16_t>(text, notation).Read(number)) {
    return ValueOf(text, number, notation, value);
  }
  kt::CountedText plain;
  number = {};
  return notation.currency_symbols && TakeCurrency(text, plain) &&
         NumberReader<char16_t>(plain, notation).Read(number) &&
         ValueOf(std::u16string_view(plain), number, notation, value);
}

Kt_WString Wide(std::string_view text) { return Kt_WString::FromUtf8(text); }
std::u16string_view Wide(std::u16string_view text) { return text; }

}  // namespace

// ---- Reader -----------------------------------------------------------------------------------

Kt_CellReader::Kt_CellReader(const Kt_CellRules& rules)
    : notation_{rules.decimal, rules.thousands, rules.currency_symbols, rules.dates},
      nulls_in_all_columns_(rules.null_tokens.has_value()) {
  needs_wide_ = notation_.currency_symbols || notation_.decimal > 127 ||
                notation_.thousands > 127 || IsGroupBlank(notation_.thousands);
  if (rules.null_tokens) {
    for (const Kt_WString& token : *rules.null_tokens) {
      tokens_.emplace_back(Trimmed(token.View()));
    }
  } else {
    for (const char* const token : kUsualTokens) tokens_.push_back(Kt_WString::FromUtf8(token));
  }
  for (const Kt_WString& token : tokens_) utf8_tokens_.push_back(token.ToUtf8());
}

std::u16string_view Kt_CellReader::Fault() const {
  const auto is_taken = [](char16_t sign) {
    return (sign >= u'0' && sign <= u'9') || sign == u'-' || sign == u'+';
  };
  if (notation_.decimal == notation_.thousands) {
    return u"the decimal sign and the sign between thousands are the same";
  }
  if (notation_.decimal == 0 || is_taken(notation_.decimal) || is_taken(notation_.thousands)) {
    return u"a digit or a sign cannot stand for the decimal point or between thousands";
  }
  return {};
}

template <class Unit>
Forms Kt_CellReader::Find(std::basic_string_view<Unit> text) const {
  text = Trimmed(text);
  if (text.empty()) return kAnyForm;
  const Unit first = text[0];
  // Most texts are told from their first unit.
  const bool may_be_one = IsDigit(first) || first == '-' || first == '+' ||
                          IsSign(first, notation_.decimal) || (first | 0x20) == 'n' ||
                          (first | 0x20) == 'i';
  const Forms forms = may_be_one ? PlainForms(text, notation_) : Forms{0};
  if (forms != 0 || !needs_wide_) return forms;
  if (!notation_.currency_symbols && IsAscii(text)) return 0;
  return WideForms(std::u16string_view(Wide(text)), notation_);
}

Forms Kt_CellReader::FormsOf(std::string_view utf8) const {
  const Forms forms = Find(utf8);
  return forms == kAnyForm ? forms : forms & kTypes;
}
Forms Kt_CellReader::FormsOf(std::u16string_view text) const {
  const Forms forms = Find(text);
  return forms == kAnyForm ? forms : forms & kTypes;
}

template <class Unit>
bool Kt_CellReader::FindDouble(std::basic_string_view<Unit> text, double& value) const {
  text = Trimmed(text);
  if (text.empty()) return false;
  Number number;
  if (NumberReader<Unit>(text, notation_).Read(number)) {
    return ValueOf(text, number, notation_, value);
  }
  return needs_wide_ && WideDouble(std::u16string_view(Wide(text)), notation_, value);
}

bool Kt_CellReader::ReadDouble(std::string_view utf8, double& value) const {
  // The usual number is one for the standard library too, which knows words besides.
  if (notation_.decimal == u'.' && !utf8.empty() && (IsDigit(utf8.back()) || utf8.back() == '.')) {
    const auto [end, error] = kt::detail::FromChars(utf8.data(), utf8.data() + utf8.size(), value);
    if (error == std::errc() && end == utf8.data() + utf8.size()) return true;
  }
  return FindDouble(utf8, value);
}

bool Kt_CellReader::ReadDouble(std::u16string_view text, double& value) const {
  char narrow[32];
  if (text.size() > sizeof narrow || !IsAscii(text)) return FindDouble(text, value);
  std::copy(text.begin(), text.end(), narrow);
  return ReadDouble(std::string_view(narrow, text.size()), value);
}

bool Kt_CellReader::ReadLong(std::string_view utf8, kt_long& value) const {
  const auto [end, error] = std::from_chars(utf8.data(), utf8.data() + utf8.size(), value);
  if (error == std::errc() && end == utf8.data() + utf8.size()) return true;
  double number = 0;
  if (!FindDouble(utf8, number) || !(number >= std::numeric_limits<kt_long>::min()) ||
      !(number <= std::numeric_limits<kt_long>::max()) || number != std::trunc(number)) {
    return false;
  }
  value = static_cast<kt_long>(number);
  return true;
}

bool Kt_CellReader::ReadLong(std::u16string_view text, kt_long& value) const {
  char narrow[32];
  if (text.size() <= sizeof narrow && IsAscii(text)) {
    std::copy(text.begin(), text.end(), narrow);
    return ReadLong(std::string_view(narrow, text.size()), value);
  }
  return ReadLong(Kt_WString(text).ToUtf8(), value);
}

bool Kt_CellReader::ReadDate(std::string_view utf8, Kt_DateTime& value) const {
  return FindMoment(utf8, notation_, value);
}
bool Kt_CellReader::ReadDate(std::u16string_view text, Kt_DateTime& value) const {
  return FindMoment(text, notation_, value);
}

// Exact where the text is plain; other numbers by way of a double.
bool Kt_CellReader::ReadCurrency(std::u16string_view text, Kt_Variant& value) const {
  std::optional<Kt_Currency> amount;
  if (notation_.IsPlain()) amount = Kt_Currency::FromText(text);
  double number = 0;
  if (!amount) {
    kt::CountedText plain(Trimmed(text));
    kt::CountedText without;
    Number shape;
    if (notation_.currency_symbols && TakeCurrency(plain, without)) plain = without;
    if (plain.empty() || !NumberReader<char16_t>(plain, notation_).Read(shape) ||
        !ValueOf(std::u16string_view(plain), shape, notation_, number)) {
      return false;
    }
    std::erase_if(plain, [&](char16_t unit) {
      return notation_.thousands != 0 && IsSign(unit, notation_.thousands);
    });
    std::ranges::replace(plain, notation_.decimal, u'.');
    amount = Kt_Currency::FromText(plain);
  }
  if (!amount) amount = Kt_Currency::FromDouble(number);
  if (!amount) return false;
  value = Kt_Variant(*amount);
  return true;
}

bool Kt_CellReader::Read(std::u16string_view text, Kt_ColumnType type, Kt_Variant& value) const {
  value.Clear();
  if (text.size() > static_cast<std::size_t>(kMaxStringLength)) return false;
  value = Kt_WString(text);
  if (type == Kt_ColumnType::kString || type == Kt_ColumnType::kVariant) return true;
  if (type == Kt_ColumnType::kBinary) return kt::detail::ReadBase64(text, value);
  if (Trimmed(text).empty()) {
    value.Clear();
    return true;
  }
  double number = 0;
  kt_long whole = 0;
  Kt_DateTime moment;
  switch (type) {
    case Kt_ColumnType::kLong:
      if (!ReadLong(text, whole)) return false;
      value = whole;
      return true;
    case Kt_ColumnType::kCurrency: return ReadCurrency(text, value);
    case Kt_ColumnType::kDateTime:
      // Dates without separators and day numbers are dates where the type says so.
      if (!ReadDate(text, moment) && !Kt_DateTime::FromText(text, moment)) {
        if (!ReadDouble(text, moment.days)) return false;
      }
      value = moment;
      return true;
    default:
      if (!ReadDouble(text, number)) return false;
      value = number;
      return true;
  }
}

int Kt_CellReader::NullToken(std::string_view utf8) const {
  utf8 = Trimmed(utf8);
  for (std::size_t token = 0; token < utf8_tokens_.size(); ++token) {
    if (utf8_tokens_[token] == utf8) return static_cast<int>(token);
  }
  return -1;
}

int Kt_CellReader::NullToken(std::u16string_view text) const {
  text = Trimmed(text);
  for (std::size_t token = 0; token < tokens_.size(); ++token) {
    if (tokens_[token] == text) return static_cast<int>(token);
  }
  return -1;
}

bool Kt_CellReader::HasNullTokens(Kt_ColumnType type) const {
  if (tokens_.empty()) return false;
  return nulls_in_all_columns_ || type == Kt_ColumnType::kLong || type == Kt_ColumnType::kDouble ||
         type == Kt_ColumnType::kCurrency || type == Kt_ColumnType::kDateTime;
}

// ---- Columns ----------------------------------------------------------------------------------

namespace {

// What is tried on a text that has no form, in the order in which ties are settled.
struct Alternative {
  const char16_t* option;
  char16_t decimal;    // 0: as it is
  char16_t thousands;  // 0: as it is
  bool currency_symbols;
  std::optional<Kt_DateOrder> dates;
};
constexpr Alternative kAlternatives[] = {
    {u"--thousands ,", 0, u',', false, {}},
    {u"--decimal ,", u',', 0, false, {}},
    {u"--decimal , --thousands .", u',', u'.', false, {}},
    {u"--currency-symbols", 0, 0, true, {}},
    {u"--thousands , --currency-symbols", 0, u',', true, {}},
    {u"--decimal , --currency-symbols", u',', 0, true, {}},
    {u"--decimal , --thousands . --currency-symbols", u',', u'.', true, {}},
    {u"--dates dmy", 0, 0, false, Kt_DateOrder::kDayMonthYear},
    {u"--dates mdy", 0, 0, false, Kt_DateOrder::kMonthDayYear},
    {u"--dates ymd", 0, 0, false, Kt_DateOrder::kYearMonthDay},
};

Notation NotationOf(const Alternative& alternative, Notation notation) {
  if (alternative.decimal != 0) notation.decimal = alternative.decimal;
  if (alternative.thousands != 0) notation.thousands = alternative.thousands;
  if (alternative.currency_symbols) notation.currency_symbols = true;
  if (alternative.dates) notation.dates = alternative.dates;
  return notation;
}

constexpr std::uint32_t kOddSample = 1000;  // texts without a form that alternatives are tried on
constexpr std::uint32_t kFirstLook = 32;    // cells after which a column of texts is known
constexpr std::size_t kLongestOdd = 100;
constexpr std::size_t kExcerpt = 60;

}  // namespace

void Kt_ColumnForms::Note(const Kt_CellReader& reader, std::string_view utf8) {
  NoteText(reader, utf8, Kt_CellReader::kAnyForm);
}
void Kt_ColumnForms::Note(const Kt_CellReader& reader, std::u16string_view text) {
  NoteText(reader, text, Kt_CellReader::kAnyForm);
}
void Kt_ColumnForms::NoteString(const Kt_CellReader& reader, std::string_view utf8) {
  NoteText(reader, utf8, Kt_CellReader::kDate);
}
void Kt_ColumnForms::NoteString(const Kt_CellReader& reader, std::u16string_view text) {
  NoteText(reader, text, Kt_CellReader::kDate);
}

template <class Unit>
void Kt_ColumnForms::NoteText(const Kt_CellReader& reader, std::basic_string_view<Unit> text,
                              Forms possible) {
  if (closed_) return;
  if (reader.NullsInAllColumns() && reader.NullToken(text) >= 0) return;
  const Forms forms = reader.Find(text);
  if (forms == Kt_CellReader::kAnyForm) return;
  if ((forms & possible & kTypes) != 0) {
    with_point_ += (forms & kHasPoint) != 0 ? 1 : 0;
    grouped_ += (forms & kCouldBeGroups) != 0 ? 1 : 0;
    return NoteForms(forms & kTypes);
  }
  if (const int token = reader.NullsInAllColumns() ? -1 : reader.NullToken(text); token >= 0) {
    tokens_ |= static_cast<std::uint16_t>(1u << token);
    return;
  }
  // Long texts are no numbers, dates or tokens in any notation.
  NoteOdd(reader, std::u16string_view(Wide(text.substr(0, kLongestOdd))), possible);
}

void Kt_ColumnForms::NoteForms(Forms forms) {
  any_ = true;
  ++cells_;
  numbers_ += (forms & Kt_CellReader::kDouble) != 0 ? 1 : 0;
  dates_ += forms == Kt_CellReader::kDate ? 1 : 0;
  common_ &= forms;
  if (common_ == 0) CloseWhenHopeless();
}

void Kt_ColumnForms::NoteOdd(const Kt_CellReader& reader, std::u16string_view text,
                             Forms possible) {
  ++odd_;
  std::uint16_t matches = 0;
  if (odd_ > 1 && text == first_odd_) {
    matches = first_odd_matches_;
  } else if (odd_ <= kOddSample) {
    for (std::size_t at = 0; at < kNotations; ++at) {
      const Notation notation = NotationOf(kAlternatives[at], reader.GetNotation());
      const Forms wanted = kAlternatives[at].dates ? Kt_CellReader::kDate : Kt_CellReader::kDouble;
      if ((wanted & possible) == 0 || notation.decimal == notation.thousands) continue;
      const std::u16string_view trimmed = Trimmed(text);
      if ((WideForms(trimmed, notation) & wanted) != 0) matches |= 1u << at;
    }
  }
  if (odd_ == 1) {
    first_odd_ = text;
    first_odd_matches_ = matches;
  } else if (text != first_odd_) {
    many_odd_ = true;
  }
  if (matches != 0 && example_.IsEmpty()) example_ = kt_excerptW(text);
  for (std::size_t at = 0; at < kNotations; ++at) matches_[at] += matches >> at & 1;
  closed_ = many_odd_ && odd_ >= kOddSample;
  NoteForms(0);
}

void Kt_ColumnForms::CloseWhenHopeless() {
  if (cells_ % kFirstLook != 0) return;
  const std::uint32_t odd = *std::ranges::max_element(matches_);
  closed_ = closed_ || 2 * (std::max(numbers_, dates_) + odd) < cells_;
}

Kt_ColumnType Kt_ColumnForms::Type() const {
  const Forms common = Common();
  if ((common & Kt_CellReader::kLong) != 0) return Kt_ColumnType::kLong;
  if ((common & Kt_CellReader::kDouble) != 0) return Kt_ColumnType::kDouble;
  return (common & Kt_CellReader::kDate) != 0 ? Kt_ColumnType::kDateTime : Kt_ColumnType::kString;
}

// The cells that would be numbers, or dates, in another notation.
std::uint32_t Kt_ColumnForms::MatchesOf(std::size_t at, const Kt_CellReader& reader) const {
  if (matches_[at] == 0) return 0;
  const Alternative& alternative = kAlternatives[at];
  if (alternative.dates) return dates_ + matches_[at];
  const char16_t decimal = reader.GetNotation().decimal;
  if (alternative.decimal == 0 || alternative.decimal == decimal) return numbers_ + matches_[at];
  const bool groups = alternative.thousands == decimal;
  return numbers_ - with_point_ + (groups ? grouped_ : 0) + matches_[at];
}

bool Kt_ColumnForms::FindHint(const Kt_CellReader& reader, Kt_LoadReport::Hint& hint) const {
  constexpr std::uint32_t kLeastCells = 3;
  if (cells_ < kLeastCells || odd_ == 0) return false;
  std::size_t best = 0;
  for (std::size_t at = 1; at < kNotations; ++at) {
    if (MatchesOf(at, reader) > MatchesOf(best, reader)) best = at;
  }
  if (std::uint64_t{10} * MatchesOf(best, reader) < std::uint64_t{9} * cells_) {
    return FindNullToken(reader, hint);
  }
  hint.option = kAlternatives[best].option;
  hint.example = example_;
  return true;
}

// One text that is neither number nor date, and has no digit, among many that are.
bool Kt_ColumnForms::FindNullToken(const Kt_CellReader& reader, Kt_LoadReport::Hint& hint) const {
  constexpr std::u16string_view kNoPartOfTokens = u"0123456789,\"'\n\r";
  constexpr kt_long kLongestToken = 20;
  const std::uint32_t others = cells_ - odd_;
  if (many_odd_ || closed_ || (numbers_ != others && dates_ != others) || others < 3 ||
      2 * odd_ > others || first_odd_.GetLength() > kLongestToken ||
      first_odd_.View().find_first_of(kNoPartOfTokens) != std::u16string_view::npos) {
    return false;
  }
  // The option takes the place of the tokens that hold without it.
  hint.option = u"--null ";
  for (std::size_t token = 0; token < reader.NullTokens().size(); ++token) {
    if (!reader.NullsInAllColumns() && (tokens_ >> token & 1) == 0) continue;
    hint.option += reader.NullTokens()[token] + u",";
  }
  hint.option += first_odd_;
  hint.example = first_odd_;
  return true;
}

// ---- Telling ----------------------------------------------------------------------------------

void Kt_NullCounts::Add(std::size_t column, int token) {
  if (column >= counts_.size()) counts_.resize(column + 1);
  std::vector<kt_long>& counts = counts_[column];
  const auto at = static_cast<std::size_t>(token);
  if (at >= counts.size()) counts.resize(at + 1);
  ++counts[at];
}

void Kt_NullCounts::Tell(std::size_t column, const Kt_WString& id, const Kt_CellReader& reader,
                         Kt_LoadReport& report) const {
  if (column >= counts_.size()) return;
  for (std::size_t token = 0; token < counts_[column].size(); ++token) {
    if (counts_[column][token] == 0) continue;
    report.nulls.push_back({id, reader.NullTokens()[token], counts_[column][token]});
  }
}

std::optional<Kt_ColumnType> kt_statedtypeW(const Kt_CellRules& rules, const Kt_WString& id) {
  for (const auto& [stated_id, type] : rules.types) {
    if (kt_stricmpW(stated_id.View(), id.View()) == 0) return type;
  }
  return std::nullopt;
}

Kt_WString kt_excerptW(std::u16string_view text) {
  if (text.size() <= kExcerpt) return text;
  std::size_t length = kExcerpt;
  if (kt::IsHighSurrogate(text[length - 1])) --length;  // whole characters
  Kt_WString excerpt(text.substr(0, length));
  excerpt += u"\u2026";
  return excerpt;
}
