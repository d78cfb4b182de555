// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "classlib/Kt_Column.h"
#include "cli/Kt_CliDataJsonScanner.h"

// What the values of a JSON text become in the cells of a dataset.

namespace kt::cli {

// A value of a row. A list or an object is one piece here, all of it being the text.
struct JsonCell {
  std::size_t column = 0;
  JsonScanner::Piece piece = JsonScanner::Piece::kNull;
  std::string_view text;
};

// Types that hold a value unchanged, as bits.
inline constexpr std::uint8_t kFormLong = 1;
inline constexpr std::uint8_t kFormDouble = 2;
inline constexpr std::uint8_t kFormDate = 4;
inline constexpr std::uint8_t kFormBool = 8;
inline constexpr std::uint8_t kFormAnything = 15;

// The forms of a value that is not null. A number has one only if it reads back as it is written:
// whole numbers of more than 15 digits are shown rounded, so they are texts.
std::uint8_t JsonForm(const JsonCell& cell);

// The narrowest type that holds all values of a column; `forms` are those that all of them have.
// True and false alone are 1 and 0, because conditions of row expressions take whole numbers.
Kt_ColumnType TypeOfJsonForms(std::uint8_t forms, bool any);

// The value for a column of that type. False when the column will not hold what the text says.
bool JsonValue(const JsonCell& cell, Kt_ColumnType type, Kt_Variant& value);

// Appends a value as JSON, in a form that JsonValue takes back for a column of that type. False for
// lists nested too deeply.
bool AppendJsonValue(const Kt_Variant& value, std::string& out);

}  // namespace kt::cli
