// SPDX-License-Identifier: MIT
#include "host/Kt_Names.h"

#include <algorithm>

namespace kt::detail {
namespace {

// "rate(var1[,var2])", "sum([...])": as the help of the built-in functions has it.
std::string CallForm(std::string_view name, Arity arity) {
  std::string form = std::string(name) + "(";
  for (kt_long arg = 1; arg <= std::max(arity.least, arity.most); ++arg) {
    const std::string comma = arg > 1 ? "," : "";
    const std::string text = comma + "var" + std::to_string(arg);
    form += arg > arity.least ? "[" + text + "]" : text;
  }
  if (arity.most < 0) form += arity.least > 0 ? "[,...]" : "[...]";
  return form + ")";
}

std::string Quoted(std::string_view text) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out = "\"";
  for (const char byte : text) {
    const auto unit = static_cast<unsigned char>(byte);
    if (byte == '"' || byte == '\\') out += '\\';
    if (unit >= 0x20) {
      out += byte;
    } else {
      out += std::string("\\u00") + kDigits[unit >> 4] + kDigits[unit & 15];
    }
  }
  return out + '"';
}

}  // namespace

void NamesJson::Add(std::string_view kind, std::string_view name) { Write(kind, name, {}, {}); }
void NamesJson::AddCall(std::string_view name, Arity arity) {
  Write("function", name, {}, CallForm(name, arity));
}
void NamesJson::AddMember(std::string_view kind, std::string_view name, std::string_view of) {
  Write(kind, name, of, {});
}
void NamesJson::AddMethod(std::string_view name, std::string_view of, Arity arity) {
  Write("method", name, of, CallForm(name, arity));
}

void NamesJson::Write(std::string_view kind, std::string_view name, std::string_view of,
                      std::string_view form) {
  text_ += "{\"name\":" + Quoted(name) + ",\"kind\":" + Quoted(kind);
  if (!of.empty()) text_ += ",\"of\":" + Quoted(of);
  if (!form.empty()) text_ += ",\"forms\":[" + Quoted(form) + "]";
  text_ += "}\n";
}

}  // namespace kt::detail
