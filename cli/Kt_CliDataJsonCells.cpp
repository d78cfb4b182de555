// SPDX-License-Identifier: MIT
#include "cli/Kt_CliDataJsonCells.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

#include "classlib/Kt_Number.h"
#include "cli/Kt_CliJson.h"
#include "cli/Kt_CliText.h"

namespace kt::cli {
namespace {

using Piece = JsonScanner::Piece;

constexpr std::size_t kMaxDigits = 15;

// A decimal number without its sign: digits without zeros at either end, and the power of ten of
// the last one.
struct Decimal {
  std::string digits;
  std::int64_t exponent = 0;
  friend bool operator==(const Decimal&, const Decimal&) = default;
};

// REQUIRES: a number as JSON or std::to_chars writes it.
Decimal TakeApart(std::string_view text) {
  Decimal out;
  const std::size_t mark = std::min(text.find_first_of("eE"), text.size());
  bool behind_point = false;
  for (const char unit : text.substr(0, mark)) {
    if (unit == '.') behind_point = true;
    if (unit < '0' || unit > '9') continue;
    if (unit != '0' || !out.digits.empty()) out.digits += unit;
    if (behind_point) --out.exponent;
  }
  while (!out.digits.empty() && out.digits.back() == '0') {
    out.digits.pop_back();
    ++out.exponent;
  }
  if (mark < text.size()) {
    const std::size_t sign = text[mark + 1] == '+' ? 1 : 0;
    std::int64_t exponent = 0;
    std::from_chars(text.data() + mark + 1 + sign, text.data() + text.size(), exponent);
    out.exponent += exponent;
  }
  if (out.digits.empty()) out.exponent = 0;
  return out;
}

bool ToNumber(std::string_view text, double& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

bool ToWhole(std::string_view text, kt_long& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

// The shortest text that reads back as the same double; with a point or an exponent, so that whole
// values do not make the column one of whole numbers.
std::string DoubleText(double value) {
  char text[40];
  std::string out(text, std::to_chars(text, text + sizeof text, value).ptr);
  if (out.find_first_of(".e") == out.npos) out += ".0";
  return out;
}

std::uint8_t NumberForm(std::string_view text) {
  const bool whole = text.find_first_of(".eE") == text.npos;
  double value = 0;
  kt_long ignored = 0;
  const std::size_t sign = text[0] == '-' ? 1 : 0;
  if (whole && text != "-0" && ToWhole(text, ignored)) return kFormLong | kFormDouble;
  if (text.size() - sign <= kMaxDigits + (whole ? 0 : 1) && text.find_first_of("eE") == text.npos) {
    return kFormDouble;
  }
  if (whole || !ToNumber(text, value)) return 0;
  return TakeApart(text) == TakeApart(DoubleText(value)) ? kFormDouble : 0;
}

// Year first, with hyphens; "20240131" is a text.
std::uint8_t TextForm(std::string_view raw) {
  constexpr std::size_t kLongestDate = 32;
  if (raw.size() < 8 || raw.size() > kLongestDate || raw[4] != '-' || raw.back() == ' ') return 0;
  std::u16string text;
  DecodeJson(raw, text);
  Kt_DateTime moment;
  return Kt_DateTime::FromText(text, moment) ? kFormDate : 0;
}

int HexValue(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
  if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
  return -1;
}

bool BytesOf(std::u16string_view hex, Kt_Variant& value) {
  std::vector<std::uint8_t> bytes;
  if (hex.size() % 2 != 0) return false;
  for (std::size_t at = 0; at < hex.size(); at += 2) {
    const int high = HexValue(hex[at]);
    const int low = HexValue(hex[at + 1]);
    if (high < 0 || low < 0) return false;
    bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
  }
  value.SetBinary(bytes.data(), bytes.size());
  return true;
}

// What the value says, as text.
bool ToText(const JsonCell& cell, Kt_WString& text) {
  std::u16string decoded;
  if (cell.piece == Piece::kString) {
    DecodeJson(cell.text, decoded);
    text = decoded;
  } else {
    decoded.clear();
    text = Kt_WString::FromUtf8(cell.text);
  }
  return !text.IsEmpty() || cell.text.empty();
}

bool IsLong(double number) {
  return number == std::trunc(number) && number >= INT32_MIN && number <= INT32_MAX;
}

// A number of a value that is one: true and false count as 1 and 0.
bool NumberOf(const JsonCell& cell, const Kt_WString& text, double& number) {
  if (cell.piece == Piece::kTrue || cell.piece == Piece::kFalse) {
    number = cell.piece == Piece::kTrue ? 1 : 0;
    return true;
  }
  return kt_readnumberW(text, number);
}

bool NumericValue(const JsonCell& cell, Kt_ColumnType type, const Kt_WString& text,
                  Kt_Variant& value) {
  double number = 0;
  if (!NumberOf(cell, text, number)) return false;
  if (type == Kt_ColumnType::kCurrency && cell.piece != Piece::kTrue &&
      cell.piece != Piece::kFalse) {
    const auto amount = Kt_Currency::FromText(text);
    value = amount ? Kt_Variant(*amount) : Kt_Variant(number);
    return amount || Kt_Currency::FromDouble(number);
  }
  value = number;
  return type != Kt_ColumnType::kLong || IsLong(number);
}

bool VariantValue(const JsonCell& cell, const Kt_WString& text, Kt_Variant& value) {
  double number = 0;
  kt_long whole = 0;
  if (cell.piece == Piece::kTrue || cell.piece == Piece::kFalse) {
    value = Kt_Variant(cell.piece == Piece::kTrue);
  } else if (cell.piece == Piece::kNumber && ToWhole(cell.text, whole)) {
    value = whole;
  } else if (cell.piece == Piece::kNumber && NumberForm(cell.text) != 0 &&
             ToNumber(cell.text, number)) {
    value = number;
  } else {
    value = text;
  }
  return true;
}

bool DateValue(const JsonCell& cell, const Kt_WString& text, Kt_Variant& value) {
  Kt_DateTime moment;
  value = text;
  if (cell.piece == Piece::kNumber) {
    if (!ToNumber(cell.text, moment.days)) return false;
  } else if (!Kt_DateTime::FromText(text, moment)) {
    return false;
  }
  value = moment;
  return true;
}

void AppendDate(double days, std::string& out) {
  std::string text = Kt_DateTime{days}.ToText(true).ToUtf8();
  if (text.empty()) {
    out += std::isfinite(days) ? DoubleText(days) : "null";
    return;
  }
  std::replace(text.begin(), text.end(), ' ', 'T');
  out += '"' + text + '"';
}

}  // namespace

std::uint8_t JsonForm(const JsonCell& cell) {
  switch (cell.piece) {
    case Piece::kNumber: return NumberForm(cell.text);
    case Piece::kString: return TextForm(cell.text);
    case Piece::kTrue:
    case Piece::kFalse: return kFormBool;
    default: return 0;
  }
}

Kt_ColumnType TypeOfJsonForms(std::uint8_t forms, bool any) {
  if (!any) return Kt_ColumnType::kString;
  if ((forms & (kFormLong | kFormBool)) != 0) return Kt_ColumnType::kLong;
  if ((forms & kFormDouble) != 0) return Kt_ColumnType::kDouble;
  return (forms & kFormDate) != 0 ? Kt_ColumnType::kDateTime : Kt_ColumnType::kString;
}

bool JsonValue(const JsonCell& cell, Kt_ColumnType type, Kt_Variant& value) {
  value.Clear();
  if (cell.piece == Piece::kNull) return true;
  double number = 0;
  kt_long whole = 0;
  if (type == Kt_ColumnType::kLong && cell.piece == Piece::kNumber && ToWhole(cell.text, whole)) {
    value = whole;
    return true;
  }
  if (type == Kt_ColumnType::kDouble && cell.piece == Piece::kNumber &&
      ToNumber(cell.text, number)) {
    value = number;
    return true;
  }
  Kt_WString text;
  if (!ToText(cell, text)) return false;
  value = text;
  switch (type) {
    case Kt_ColumnType::kString: return true;
    case Kt_ColumnType::kVariant: return VariantValue(cell, text, value);
    case Kt_ColumnType::kDateTime: return DateValue(cell, text, value) || text.IsEmpty();
    case Kt_ColumnType::kBinary: return cell.piece == Piece::kString && BytesOf(text, value);
    default: return NumericValue(cell, type, text, value) || text.IsEmpty();
  }
}

bool AppendJsonValue(const Kt_Variant& value, std::string& out) {
  switch (value.GetTag()) {
    case kTagEmpty: out += "null"; return true;
    case kTagDouble:
      out += std::isfinite(value.AsDouble()) ? DoubleText(value.AsDouble()) : "null";
      return true;
    case kTagDateTime: AppendDate(value.AsDouble(), out); return true;
    case kTagLong:
    case kTagCurrency: out += value.ToString().ToUtf8(); return true;
    case kTagBool: out += value.AsInt64() != 0 ? "true" : "false"; return true;
    case kTagBinary: AppendJsonString(Kt_WString::FromUtf8(ValueText(value)), out); return true;
    case kTagList: {
      std::string list;
      if (!ToJson(value, list)) return false;
      out += list;
      return true;
    }
    default: AppendJsonString(value.ToString(), out); return true;
  }
}

}  // namespace kt::cli
