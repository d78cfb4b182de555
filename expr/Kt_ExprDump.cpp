// SPDX-License-Identifier: MIT
#include "expr/Kt_ExprDump.h"

#include <charconv>
#include <cstdio>
#include <string>

namespace {

void AppendAscii(std::u16string& out, std::string_view text) {
  out.append(text.begin(), text.end());
}

void AppendUnit(std::u16string& out, char16_t unit) {
  switch (unit) {
    case u'\n': AppendAscii(out, "\\n"); return;
    case u'\r': AppendAscii(out, "\\r"); return;
    case u'\t': AppendAscii(out, "\\t"); return;
    default: break;
  }
  if (unit >= 0x20 && unit != 0x7F && unit != 0x2028 && unit != 0x2029) {
    out += unit;
    return;
  }
  char escape[8];
  const int size = std::snprintf(escape, sizeof escape, "\\u%04x", unit);
  AppendAscii(out, {escape, static_cast<std::size_t>(size)});
}

void AppendEscaped(std::u16string& out, std::u16string_view text) {
  for (const char16_t unit : text) AppendUnit(out, unit);
}

template <class Number>
void AppendNumber(std::u16string& out, Number value) {
  char digits[32];
  const char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  AppendAscii(out, {digits, static_cast<std::size_t>(end - digits)});
}

void AppendContent(std::u16string& out, const Kt_ExprOp& op) {
  switch (op.code) {
    case kOpInteger: AppendNumber(out, op.GetInteger()); return;
    case kOpDecimal: AppendNumber(out, op.GetDecimal()); return;
    case kOpString:
      out += u'"';
      AppendEscaped(out, op.text);
      out += u'"';
      return;
    default: AppendEscaped(out, op.text); return;
  }
}

void AppendLine(std::u16string& out, kt_long index, const Kt_ExprOp& op) {
  char head[64];
  const int size = std::snprintf(head, sizeof head, "%4d  %04x  %-7s  ", static_cast<int>(index),
                                 static_cast<unsigned>(op.code), GetOpText(op.code));
  AppendAscii(out, {head, static_cast<std::size_t>(size)});
  AppendContent(out, op);
  out.erase(out.find_last_not_of(u' ') + 1);
  out += u'\n';
}

}  // namespace

Kt_WString DumpOps(const Kt_ExprOpList& ops) {
  std::u16string out;
  for (kt_long index = 0; index < ops.GetCount(); ++index) {
    AppendLine(out, index, *ops.GetItem(index));
  }
  return Kt_WString(std::u16string_view(out));
}
