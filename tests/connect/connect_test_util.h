// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "connect/Kt_Database.h"

// The text of a value; "-" for null, bytes in hexadecimal.
inline std::string Shown(const Kt_Variant& value) {
  if (value.GetTag() != kTagBinary) return value.IsEmpty() ? "-" : value.ToString().ToUtf8();
  std::string text;
  for (const std::uint8_t byte : value.AsBinary()) {
    for (const int digit : {byte / 16, byte % 16}) text += "0123456789abcdef"[digit];
  }
  return text;
}

// Some columns with their types, then some of the rows; nulls are "-", cells of variant columns say
// their kind.
inline std::string Shown(const Kt_Dataset& dataset, const std::vector<kt_long>& cols,
                         const std::vector<kt_long>& rows) {
  std::string text;
  for (const kt_long col : cols) {
    if (!text.empty()) text += ' ';
    text += dataset.GetColID(col).ToUtf8() + ':' +
            Kt_WString(kt_columntypenameW(dataset.GetColType(col))).ToUtf8();
  }
  for (const kt_long row : rows) {
    text += '|';
    for (const kt_long col : cols) {
      const Kt_Variant value = dataset.ReadColumn(row, col);
      if (col != cols.front()) text += ' ';
      if (dataset.GetColType(col) == Kt_ColumnType::kVariant) {
        text += std::to_string(value.GetTag()) + '=';
      }
      text += Shown(value);
    }
  }
  return text;
}

// All of them.
inline std::string Shown(const Kt_Dataset& dataset) {
  std::vector<kt_long> cols(static_cast<std::size_t>(dataset.GetColCount()));
  std::vector<kt_long> rows(static_cast<std::size_t>(dataset.GetRowCount()));
  std::iota(cols.begin(), cols.end(), 0);
  std::iota(rows.begin(), rows.end(), 0);
  return Shown(dataset, cols, rows);
}

inline std::unique_ptr<Kt_Database> OpenUrl(const std::string& text,
                                            const Kt_Database::Options& options,
                                            std::string& error) {
  Kt_DatabaseUrl url;
  if (!Kt_DatabaseUrl::Parse(text, url, error)) return nullptr;
  return Kt_Database::Open(url, options, error);
}

// What a query answers, or "!" with why it does not.
inline std::string Answered(Kt_Database& database, const std::string& statement,
                            std::span<const Kt_Variant> parameters = {}) {
  Kt_Dataset dataset;
  std::string error;
  return database.Query(statement, parameters, dataset, error) >= 0 ? Shown(dataset) : "!" + error;
}
