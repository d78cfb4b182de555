// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "classlib/store/Kt_Column.h"

namespace kt::detail {

// A column as the first row of a CSV text says it: "id", "id:type" or "id:type(size)".
struct CsvHeading {
  Kt_WString id;
  Kt_ColumnType type = Kt_ColumnType::kString;
  kt_long size = 0;
  bool stated = false;  // there is a type
};

// A part after the last colon that is no type belongs to the id.
inline CsvHeading ParseCsvHeading(std::u16string_view text, bool may_have_type = true) {
  CsvHeading heading;
  const std::size_t colon = text.rfind(u':');
  if (may_have_type && colon != std::u16string_view::npos) {
    std::u16string_view type = text.substr(colon + 1);
    if (const std::size_t paren = type.find(u'('); paren != std::u16string_view::npos) {
      heading.size = Kt_WString(type.substr(paren + 1)).ToInteger();
      type = type.substr(0, paren);
    }
    heading.stated = kt_findcolumntypeW(type, heading.type);
  }
  if (!heading.stated) heading.size = 0;
  heading.id = heading.stated ? text.substr(0, colon) : text;
  return heading;
}

// Whether a cell is written in quotes: also for the separators that are not the file's, so that no
// load takes one of them for it.
inline bool NeedsCsvQuotes(std::u16string_view text, char16_t separator, char16_t quote) {
  for (const char16_t unit : text) {
    switch (unit) {
      case u'"':
      case u'\n':
      case u'\r':
      case u',':
      case u';':
      case u'\t':
      case u'|': return true;
      default:
        if (unit == separator || unit == quote) return true;
    }
  }
  return false;
}

}  // namespace kt::detail
