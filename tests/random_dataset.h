// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <utility>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/text/Kt_Number.h"

// Random datasets with everything that a file may have to hold, and how they are compared.

// What a dataset may have.
struct RandomKinds {
  bool variants = true;     // columns of values of any kind, with lists
  bool unfinite = true;     // infinite numbers and NaN
  bool many_texts = false;  // thousands of different ones
};

class RandomDataset {
 public:
  explicit RandomDataset(unsigned seed, RandomKinds kinds = {}) : kinds_(kinds), random_(seed) {}

  kt_long Roll(kt_long count) {
    return std::uniform_int_distribution<kt_long>(0, count - 1)(random_);
  }

  // Texts that have to be quoted or escaped somewhere, that look like something else, and any
  // units.
  Kt_WString AnyText() {
    constexpr std::u16string_view kTexts[] = {
        u"",         u"NA",     u"null",      u"-",         u".",          u"NaN",
        u"inf",      u"1",      u"-1.50",     u"007",       u"1e5",        u".5",
        u"5.",       u"+7",     u" 12 ",      u"1,234.5",   u"2024-02-29", u"2024-02-29T10:00:00Z",
        u"20240229", u"true",   u"=1+2",      u"@sum",      u"'x",         u"\"",
        u"\"\"",     u"a\"b",   u"a,b;c\td|", u"line\r\nx", u"\n",         u"\r",
        u" lead",    u"trail ", u"\t",        u"<&>]]>",    u"\xFEFF",     u"a:long",
        u"a:b(3)",   u"[1, 2]", u"{\"a\":1}", u"\\u0041\\", u"#x",         u"\xA0",
        u"漢字",     u"😀",      u"\u2028",    u"\x7F\x85",  u"#N/A",       u"(1.50)"};
    if (Roll(2) == 0) return Kt_WString(kTexts[Roll(std::size(kTexts))]);
    Kt_WString text;
    if (kinds_.many_texts) text = Kt_Variant(Roll(1000000)).ToString();
    for (kt_long left = Roll(6); left > 0; --left) {
      constexpr char16_t kUnits[] = {u'\0', u'\r', u'\n', u'"', u',', 0xD83D, 0xDE00, 0xFFFF};
      text += Roll(2) == 0 ? kUnits[Roll(std::size(kUnits))] : static_cast<char16_t>(Roll(65536));
    }
    return text;
  }

  // Any bits, and those that stand at an end.
  double AnyDouble() {
    constexpr double kEnds[] = {0.0,    -0.0,    0.1,   1e15,  1e16,         123456789012345678.0,
                                5e-324, -5e-324, 1e308, -1e22, 2147483648.0, 0.30000000000000004};
    double value = 0;
    switch (Roll(4)) {
      case 0: value = kEnds[Roll(std::size(kEnds))]; break;
      case 1: value = Roll(2000000) / 100.0 - 10000; break;
      case 2:
        value = Roll(2) == 0 ? std::numeric_limits<double>::quiet_NaN()
                             : std::copysign(std::numeric_limits<double>::infinity(), Roll(2) - 1);
        break;
      default: value = std::bit_cast<double>(std::uint64_t{random_()} << 32 | random_()); break;
    }
    return kinds_.unfinite || std::isfinite(value) ? value : 1.5;
  }

  Kt_Variant OfTag(Kt_Tag tag, int depth = 0) {
    constexpr std::int64_t kUnits[] = {0, 1, -1, INT64_MAX, INT64_MIN, 10000, 123456789012345678};
    constexpr kt_long kLongs[] = {0, -1, INT32_MAX, INT32_MIN};
    switch (tag) {
      case kTagLong: return Roll(3) == 0 ? kLongs[Roll(4)] : static_cast<kt_long>(random_());
      case kTagDouble: return AnyDouble();
      case kTagCurrency:
        return Kt_Currency::FromUnits(Roll(2) == 0 ? kUnits[Roll(7)]
                                                   : std::bit_cast<std::int64_t>(AnyDouble()));
      case kTagDateTime:
        switch (Roll(4)) {
          case 0: return Kt_DateTime{AnyDouble()};
          case 1: return Kt_DateTime{Roll(100000) + Roll(86400) / 86400.0};
          // Beyond the calendar, with the digits of a date.
          case 2: return Kt_DateTime{Roll(2) == 0 ? 16580613.0 : 19991231235959.0};
          default: return Kt_DateTime{static_cast<double>(Roll(3000000) - 700000)};
        }
      case kTagBool: return Kt_Variant(Roll(2) == 0);
      case kTagBinary: {
        const Kt_WString text = AnyText();
        Kt_Variant binary;
        binary.SetBinary(text.GetText(), static_cast<std::size_t>(text.GetLength()));
        return binary;
      }
      case kTagList: return Kt_VariantList{AnyValue(depth + 1), AnyValue(depth + 1)};
      default: return AnyText();
    }
  }

  Kt_Variant AnyValue(int depth = 0) {
    constexpr Kt_Tag kTags[] = {kTagLong, kTagDouble, kTagCurrency, kTagDateTime,
                                kTagBool, kTagBinary, kTagString,   kTagList};
    if (Roll(8) == 0) return {};
    return OfTag(kTags[Roll(depth < 4 ? 8 : 7)], depth);
  }

  Kt_Dataset Make() {
    Kt_Dataset data(AnyText());
    for (kt_long col = 0, count = 1 + Roll(9); col < count; ++col) {
      const auto type = static_cast<Kt_ColumnType>(Roll(kinds_.variants ? 7 : 6));
      data.AddColumn(AnyText() + kt_longtextW(col).View(), type, Roll(3) == 0 ? Roll(20) : 0);
    }
    data.AppendRow(1 + Roll(kinds_.many_texts ? 1000 : 30));
    Fill(data);
    data.ApplyChange();
    return data;
  }

  // Row states, first values, deleted and moved rows, constants, logical columns.
  void Change(Kt_Dataset& data) {
    data.AddConstColumn(u"const " + AnyText(), AnyValue());
    data.AddLogicalColumn(u"computed " + AnyText(), AnyText() + u" + 1", u"long");
    data.AddLogicalColumn(u"alias", data.GetColID(0));
    for (kt_long count = Roll(60); count > 0; --count) {
      const kt_long row = Roll(std::max(1, data.GetRowCount()));
      switch (Roll(9)) {
        case 0: data.DeleteRow(row); break;
        case 1: data.InsertRow(row); break;
        case 2: data.SetRowType(row, kRowTypeUpdate); break;
        case 3: data.MoveRow(row, Roll(data.GetRowCount() + 1)); break;
        default: data.SetColumn(row, Roll(data.GetColCount()), AnyValue()); break;
      }
    }
  }

 private:
  void Fill(Kt_Dataset& data) {
    constexpr Kt_Tag kTags[] = {kTagString,   kTagLong,   kTagDouble, kTagCurrency,
                                kTagDateTime, kTagBinary, kTagEmpty};
    for (kt_long col = 0; col < data.GetColCount(); ++col) {
      const Kt_Tag tag = kTags[static_cast<int>(data.GetColType(col))];
      for (kt_long row = 0; row < data.GetRowCount(); ++row) {
        if (Roll(6) != 0) data.SetColumn(row, col, tag == kTagEmpty ? AnyValue() : OfTag(tag));
      }
    }
  }

  const RandomKinds kinds_;
  std::mt19937 random_;
};

// The same kind and the same bits; a NaN is a NaN.
inline bool IsSameValue(const Kt_Variant& a, const Kt_Variant& b) {
  if (a.GetTag() != b.GetTag()) return false;
  if (a.GetTag() == kTagDouble || a.GetTag() == kTagDateTime) {
    return std::bit_cast<std::uint64_t>(a.AsDouble()) ==
               std::bit_cast<std::uint64_t>(b.AsDouble()) ||
           (std::isnan(a.AsDouble()) && std::isnan(b.AsDouble()));
  }
  if (a.IsList()) {
    if (a.ListCount() != b.ListCount()) return false;
    for (kt_long item = 0; item < a.ListCount(); ++item) {
      if (!IsSameValue(a.GetList().GetItemNN(item), b.GetList().GetItemNN(item))) return false;
    }
    return true;
  }
  return Var_Order(a, b) == 0;
}
