// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "classlib/base/Kt_Memory.h"
#include "classlib/formats/Kt_CellForms.h"
#include "classlib/formats/detail/Kt_JsonScanner.h"
#include "classlib/store/Kt_Column.h"
#include "classlib/store/Kt_SaveReport.h"

// What the values of a JSON text become in the cells of a dataset.

namespace kt::detail {

// A value of a row. A list or an object is one piece here, all of it being the text.
struct JsonCell {
  std::uint32_t column = 0;
  JsonScanner::Piece piece = JsonScanner::Piece::kNull;
  std::string_view text;
};

// Reads values by the rules of cells. They are for strings; JSON's own numbers have a point
// whatever the rules say.
class JsonCellReader {
 public:
  explicit JsonCellReader(const Kt_CellRules& rules) : strings_(rules) {}

  const Kt_CellReader& Strings() const { return strings_; }
  // What a value says of the type of its column. A string is a date, null or a text: its quotes say
  // that it is no number.
  void Note(const JsonCell& cell, Kt_ColumnForms& forms) const;
  // The narrowest type that holds all values of a column. True and false alone are 1 and 0, because
  // conditions of row expressions take whole numbers.
  static Kt_ColumnType TypeOf(const Kt_ColumnForms& forms);

  // The number of the token for null that a value is in a column of that type; -1: it is none.
  int NullToken(const JsonCell& cell, Kt_ColumnType type) const;
  // The value for a column of that type. False when the column will not hold what the text says.
  bool Value(const JsonCell& cell, Kt_ColumnType type, Kt_Variant& value) const;

 private:
  bool StringValue(Kt_ColumnType type, const Kt_WString& text, Kt_Variant& value) const;
  bool NumberValue(std::string_view number, Kt_ColumnType type, Kt_Variant& value) const;

  Kt_CellReader strings_;
  Kt_CellReader numbers_;
};

// What a value says, as text. False when that would be too long.
bool JsonText(const JsonCell& cell, Kt_WString& text);

// Appends a value as JSON, in a form that Value takes back for a column of that type. Empty, or
// what JSON cannot hold. What is only shown has null for a number that is none, and for an object
// what `show_object` appends.
Kt_WString AppendJsonValue(const Kt_Variant& value, const Kt_ShowObject& show_object,
                           CountedBytes& out);

// Appends a finite number as the shortest text that reads back as the same double; with a point or
// an exponent, so that whole values do not make the column one of whole numbers.
void AppendJsonDouble(double value, CountedBytes& out);

}  // namespace kt::detail
