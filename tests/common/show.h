// SPDX-License-Identifier: MIT
//
// What tests print: values, variables, reports, codes and tables, one form for all of them.
#pragma once

#include <cstdio>
#include <string>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/text/Kt_Result.h"
#include "classlib/value/Kt_Object.h"
#include "classlib/value/Kt_Variable.h"
#include "text.h"

namespace kt::test {

// A value with its kind: 5, 2.5, 2.0, 'text', true, [1, 'a'], <id of an object>, <gone>, - for
// empty; a reference shows as & and what it refers to.
inline std::string Show(const Kt_Variant& value, int depth = 0) {
  switch (value.GetTag()) {
    case kTagEmpty: return "-";
    case kTagRef: return "&" + Show(value.Dereference(), depth);
    case kTagString: return "'" + value.ToString().ToUtf8() + "'";
    case kTagBool: return value.AsInt64() != 0 ? "true" : "false";
    case kTagObject: {
      const Kt_ObjectHolder hold(value.GetHolder());
      return hold.IsValid() ? "<" + hold.GetID().ToUtf8() + ">" : "<gone>";
    }
    case kTagDouble: {
      const std::string text = value.ToString().ToUtf8();
      return text.find_first_of(".eENnIi") == std::string::npos ? text + ".0" : text;
    }
    case kTagList: {
      std::string out;
      if (depth == 8) return "[...]";
      for (const Kt_Variant& item : value.GetList()) {
        out += (out.empty() ? "" : ", ") + Show(item, depth + 1);
      }
      return "[" + out + "]";
    }
    default: return value.ToString().ToUtf8();
  }
}

inline std::string Show(const Kt_VariableList& variables) {
  std::string out;
  for (kt_long index = 0; index < variables.GetCount(); ++index) {
    out += variables.GetItemName(index).ToUtf8() + "=" +
           Show(variables.GetItem(index)->GetValue()) + " ";
  }
  return out;
}

// A number for the codes of the language, "83B03110" for those of reports.
inline std::string ShowCode(kt_long code) {
  if (code > -100000 && code < 100000) return std::to_string(code);
  char text[16];
  std::snprintf(text, sizeof text, "%08X", static_cast<unsigned>(code));
  return text;
}

// "83B03110(x)": the code and the arguments of a report.
inline std::string Show(const Kt_Result& result) {
  std::string out = ShowCode(result.GetCode());
  for (kt_long arg = 0; arg < result.GetArgCount(); ++arg) {
    out += (arg == 0 ? "(" : ", ") + result.GetArg(arg).ToUtf8();
  }
  return result.GetArgCount() > 0 ? out + ")" : out;
}

// The text of a cell; "-" for null where that matters; with texts in quotes, so that '' is none.
inline std::string PlainCell(const Kt_Variant& value) { return value.ToString().ToUtf8(); }
inline std::string NullCell(const Kt_Variant& value) {
  return value.IsEmpty() ? "-" : PlainCell(value);
}
inline std::string QuotedCell(const Kt_Variant& value) {
  return value.IsString() ? "'" + PlainCell(value) + "'" : NullCell(value);
}

struct TableForm {
  std::string (*cell)(const Kt_Variant& value) = PlainCell;
  const char* between_cells = ",";
  const char* between_rows = "|";
  bool ids = false;     // first of all a row of the ids of the columns
  bool types = false;   // the same with their types
  bool states = false;  // "+" after an inserted row, "*" after a changed one
};

// The shown rows of a table: "1,apple|2,pear".
inline std::string ShowTable(const Kt_Dataset& data, const TableForm& form = {}) {
  std::string out;
  const bool has_head = form.ids || form.types;
  for (kt_long col = 0; has_head && col < data.GetColCount(); ++col) {
    if (col > 0) out += form.between_cells;
    if (form.ids) out += data.GetColID(col).ToUtf8();
    if (form.ids && form.types) out += ":";
    if (form.types) out += Utf8(kt_columntypenameW(data.GetColType(col)));
  }
  for (kt_long row = 0; row < data.GetRowCount(); ++row) {
    if (row > 0 || has_head) out += form.between_rows;
    for (kt_long col = 0; col < data.GetColCount(); ++col) {
      if (col > 0) out += form.between_cells;
      out += form.cell(data.ReadColumn(row, col));
    }
    if (!form.states) continue;
    if (data.GetRowType(row) == kRowTypeInsert) out += "+";
    if (data.GetRowType(row) == kRowTypeUpdate) out += "*";
  }
  return out;
}

}  // namespace kt::test
