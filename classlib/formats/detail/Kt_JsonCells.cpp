// SPDX-License-Identifier: MIT
#include "classlib/formats/detail/Kt_JsonCells.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>

#include "classlib/base/Kt_Charge.h"
#include "classlib/formats/detail/Kt_FileText.h"
#include "classlib/text/Kt_Number.h"

namespace kt::detail {
namespace {

using Piece = JsonScanner::Piece;

// True and false.
constexpr Kt_CellReader::Forms kFormBool = 8;

bool IsBool(const JsonCell& cell) {
  return cell.piece == Piece::kTrue || cell.piece == Piece::kFalse;
}

int HexValue(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
  if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
  return -1;
}

bool BytesOf(std::u16string_view hex, Kt_Variant& value) {
  CountedVector<std::uint8_t> bytes;
  RoundCharge charge;
  if (hex.size() % 2 != 0) return false;
  for (std::size_t at = 0; at < hex.size(); at += 2) {
    const int high = HexValue(hex[at]);
    const int low = HexValue(hex[at + 1]);
    if (high < 0 || low < 0 || !charge.Add(4)) return false;
    bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
  }
  value.SetBinary(bytes.data(), bytes.size());
  return true;
}

void AppendHex(std::span<const std::uint8_t> bytes, CountedBytes& out) {
  constexpr char kDigits[] = "0123456789abcdef";
  out += '"';
  RoundCharge charge;
  for (const std::uint8_t byte : bytes) {
    charge.AddOrLeave(4);
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
  out += '"';
}

// A day number where no text of a date reads back as the same moment.
void AppendDate(double days, CountedBytes& out) {
  char day[kMaxNumberUnits];
  if (char* const end = WriteFileDay(Kt_DateTime{days}, day); end != nullptr) {
    ((out += '"').append(day, end)) += '"';
    return;
  }
  const Kt_WString date = Kt_DateTime{days}.ToText(true);
  Kt_DateTime back;
  if (date.IsEmpty() || !Kt_DateTime::FromText(date, back) ||
      std::bit_cast<std::uint64_t>(back.days) != std::bit_cast<std::uint64_t>(days)) {
    AppendJsonDouble(days, out);
    return;
  }
  std::string text = date.ToUtf8();
  std::replace(text.begin(), text.end(), ' ', 'T');
  (((out += '"') += text) += '"');
}

// What one list may take, because lists may share their parts.
constexpr std::size_t kMaxListBytes = std::size_t{1} << 29;
// Writing a list recurses once per level.
constexpr int kMaxJsonDepth = 500;

class JsonWriter {
 public:
  JsonWriter(const Kt_ShowObject& show_object, CountedBytes& out)
      : show_object_(show_object), out_(out), start_(out.size()) {}

  const char16_t* Write(const Kt_Variant& held, int depth) {
    const Kt_Variant& value = held.Target();
    switch (value.GetTag()) {
      case kTagEmpty: out_ += "null"; return nullptr;
      case kTagDouble:
      case kTagDateTime: return WriteNumber(value);
      case kTagLong: return WriteLong(value.AsLong());
      case kTagCurrency: out_ += value.ToString().ToUtf8(); return nullptr;
      case kTagBool: out_ += value.AsInt64() != 0 ? "true" : "false"; return nullptr;
      case kTagList: return WriteList(value.GetList(), depth);
      case kTagObject: return WriteObject(value);
      case kTagBinary: AppendHex(value.AsBinary(), out_); return nullptr;
      default: AppendJsonString(value.ToString(), out_); return nullptr;
    }
  }

 private:
  const char16_t* WriteObject(const Kt_Variant& value) {
    std::string shown;
    if (!show_object_ || !show_object_(value, shown)) return u"an object";
    out_ += shown;
    return nullptr;
  }

  const char16_t* WriteLong(kt_long number) {
    char text[kMaxNumberUnits];
    out_.append(text, std::to_chars(text, text + sizeof text, number).ptr);
    return nullptr;
  }

  const char16_t* WriteNumber(const Kt_Variant& value) {
    const double number = value.AsDouble();
    if (!std::isfinite(number)) {
      if (!show_object_) return std::isnan(number) ? u"a NaN" : u"an infinite number";
      out_ += "null";
    } else if (value.GetTag() == kTagDateTime) {
      AppendDate(number, out_);
    } else {
      AppendJsonDouble(number, out_);
    }
    return nullptr;
  }

  const char16_t* WriteList(const Kt_VariantList& list, int depth) {
    if (depth == kMaxJsonDepth) return u"lists nested too deeply";
    const char* mark = "[";
    for (const Kt_Variant& item : list) {
      out_ += mark;
      mark = ",";
      if (const char16_t* const fault = Write(item, depth + 1)) return fault;
      if (out_.size() - start_ > kMaxListBytes) return u"a list that is too large";
    }
    out_ += list.GetCount() == 0 ? "[]" : "]";
    return nullptr;
  }

  const Kt_ShowObject& show_object_;
  CountedBytes& out_;
  const std::size_t start_;
};

}  // namespace

void AppendJsonDouble(double value, CountedBytes& out) {
  char text[40];
  char* const end = std::to_chars(text, text + sizeof text, value).ptr;
  out.append(text, end);
  if (std::none_of(text, end, [](char unit) { return unit == '.' || unit == 'e'; })) out += ".0";
}

bool JsonText(const JsonCell& cell, Kt_WString& text) {
  if (cell.piece == Piece::kString) {
    CountedText decoded;
    DecodeJson(cell.text, decoded);
    text = std::u16string_view(decoded);
  } else {
    text = Kt_WString::FromUtf8(cell.text);
  }
  return !text.IsEmpty() || cell.text.empty();
}

void JsonCellReader::Note(const JsonCell& cell, Kt_ColumnForms& forms) const {
  switch (cell.piece) {
    case Piece::kNull: return;
    case Piece::kTrue:
    case Piece::kFalse: return forms.NoteForms(kFormBool);
    case Piece::kNumber:
      if (strings_.NullsInAllColumns() && strings_.NullToken(cell.text) >= 0) return;
      return forms.NoteForms(numbers_.FormsOf(cell.text));
    case Piece::kString: break;
    default: return forms.NoteForms(0);
  }
  if (cell.text.find('\\') == cell.text.npos) return forms.NoteString(strings_, cell.text);
  CountedText text;
  DecodeJson(cell.text, text);
  forms.NoteString(strings_, text);
}

Kt_ColumnType JsonCellReader::TypeOf(const Kt_ColumnForms& forms) {
  return (forms.Common() & kFormBool) != 0 ? Kt_ColumnType::kLong : forms.Type();
}

int JsonCellReader::NullToken(const JsonCell& cell, Kt_ColumnType type) const {
  if (!strings_.HasNullTokens(type)) return -1;
  if (cell.piece == Piece::kNumber) {
    return strings_.NullsInAllColumns() ? strings_.NullToken(cell.text) : -1;
  }
  Kt_WString text;
  return cell.piece == Piece::kString && JsonText(cell, text) ? strings_.NullToken(text.View())
                                                              : -1;
}

bool JsonCellReader::NumberValue(std::string_view number, Kt_ColumnType type,
                                 Kt_Variant& value) const {
  kt_long whole = 0;
  double real = 0;
  switch (type) {
    case Kt_ColumnType::kLong:
      if (!numbers_.ReadLong(number, whole)) return false;
      value = whole;
      return true;
    case Kt_ColumnType::kDateTime: {
      Kt_DateTime moment;
      if (!numbers_.ReadDouble(number, moment.days)) return false;
      value = moment;
      return true;
    }
    case Kt_ColumnType::kVariant: {
      const Kt_CellReader::Forms forms = numbers_.FormsOf(number);
      if ((forms & Kt_CellReader::kLong) != 0)
        return NumberValue(number, Kt_ColumnType::kLong, value);
      return forms == 0 || NumberValue(number, Kt_ColumnType::kDouble, value);
    }
    case Kt_ColumnType::kDouble:
      if (!numbers_.ReadDouble(number, real)) return false;
      value = real;
      return true;
    default: return numbers_.Read(Kt_WString::FromUtf8(number), type, value);
  }
}

bool JsonCellReader::StringValue(Kt_ColumnType type, const Kt_WString& text,
                                 Kt_Variant& value) const {
  return type == Kt_ColumnType::kBinary ? BytesOf(text, value) : strings_.Read(text, type, value);
}

bool JsonCellReader::Value(const JsonCell& cell, Kt_ColumnType type, Kt_Variant& value) const {
  value.Clear();
  if (cell.piece == Piece::kNull) return true;
  const bool is_number = cell.piece == Piece::kNumber;
  const bool is_numeric = type == Kt_ColumnType::kLong || type == Kt_ColumnType::kDouble ||
                          type == Kt_ColumnType::kCurrency;
  // Without the text, which is seldom needed.
  if (is_number && is_numeric && NumberValue(cell.text, type, value)) return true;
  Kt_WString text;
  value.Clear();
  if (!JsonText(cell, text)) return false;
  value = text;
  if (type == Kt_ColumnType::kString) return true;
  if (cell.piece == Piece::kString) return StringValue(type, text, value);
  if (IsBool(cell) && (is_numeric || type == Kt_ColumnType::kVariant)) {
    const bool truth = cell.piece == Piece::kTrue;
    value = is_numeric ? Kt_Variant(kt_long{truth}) : Kt_Variant(truth);
    return true;
  }
  if (is_number && !is_numeric && type != Kt_ColumnType::kBinary) {
    return NumberValue(cell.text, type, value);
  }
  return type == Kt_ColumnType::kVariant;
}

Kt_WString AppendJsonValue(const Kt_Variant& value, const Kt_ShowObject& show_object,
                           CountedBytes& out) {
  const char16_t* const fault = JsonWriter(show_object, out).Write(value, 0);
  return fault != nullptr ? Kt_WString(fault) : Kt_WString();
}

}  // namespace kt::detail
