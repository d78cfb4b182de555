// SPDX-License-Identifier: MIT
//
// Built-in functions: case, classes and widths of characters.

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_Unicode.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_FuncAnswers.h"

using kt::Kt_FuncArgs;
using kt::detail::Plain;

namespace {

using MapText = bool (*)(const Kt_WString& text, Kt_WString& out);
using TestCharacter = bool (*)(char32_t code_point);

template <MapText Map>
kt_long Mapped(Kt_ExprObject* self, const Kt_VariantList* args, Kt_Variant& result,
               const char16_t* function) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  Kt_WString out;
  if (!Map(in.Text(0), out)) return kt::detail::TextTooLong(self, function);
  result = std::move(out);
  return kOk;
}

bool IsCharCode(const Kt_Variant& value) {
  switch (value.GetTag()) {
    case kTagLong:
    case kTagDouble:
    case kTagCurrency:
    case kTagBool: return true;
    default: return false;
  }
}

// A number is tested as a character code, anything else as a text, whose characters must all pass;
// the empty text never does.
template <TestCharacter Test>
bool All(const Kt_Variant& value) {
  if (IsCharCode(value)) {
    const kt_long code = value.ToInteger();
    return code >= 0 && code <= 0x10FFFF && Test(static_cast<char32_t>(code));
  }
  const Kt_WString text = value.ToString();
  const std::u16string_view units = text.View();
  kt::detail::RoundCharge charge;
  for (std::size_t at = 0; at < units.size() && charge.Add(8);) {
    const Kt_CodePoint next = kt_codepointW(units, at);
    if (!Test(next.value)) return false;
    at += static_cast<std::size_t>(next.units);
  }
  return !units.empty();
}

}  // namespace

kt_long Kt_ExprObject::_toUpper(const Kt_VariantList* args, Kt_Variant& result) {
  return Mapped<kt_toupperW>(this, args, result, u"toUpper()");
}

kt_long Kt_ExprObject::_toLower(const Kt_VariantList* args, Kt_Variant& result) {
  return Mapped<kt_tolowerW>(this, args, result, u"toLower()");
}

kt_long Kt_ExprObject::_Half2Full(const Kt_VariantList* args, Kt_Variant& result) {
  return Mapped<kt_half2fullW>(this, args, result, u"Half2Full()");
}

kt_long Kt_ExprObject::_Full2Half(const Kt_VariantList* args, Kt_Variant& result) {
  return Mapped<kt_full2halfW>(this, args, result, u"full2half()");
}

kt_long Kt_ExprObject::_IsAlnum(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&All<kt_isalnumW>>(args, result);
}

kt_long Kt_ExprObject::_IsAlpha(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&All<kt_isalphaW>>(args, result);
}

kt_long Kt_ExprObject::_IsDigit(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&All<kt_isdigitW>>(args, result);
}

kt_long Kt_ExprObject::_IsLower(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&All<kt_islowerW>>(args, result);
}

kt_long Kt_ExprObject::_IsUpper(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&All<kt_isupperW>>(args, result);
}

kt_long Kt_ExprObject::_IsSpace(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&All<kt_isspaceW>>(args, result);
}
