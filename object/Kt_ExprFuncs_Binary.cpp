// SPDX-License-Identifier: MIT
//
// Built-in functions between texts and binary values, through a code page.

#include "classlib/text/Kt_AString.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_CodePageArg.h"
#include "object/detail/Kt_FuncAnswers.h"

using kt::Kt_FuncArgs;
using kt::detail::CodePageArg;
using kt::detail::TextTooLong;

namespace kt::detail {

kt_long CodePageArg(const Kt_Variant& value) {
  if (value.IsString()) return kt_findcodepageW(value.AsStringView());
  const kt_long number = value.ToInteger();
  return kt_iscodepageW(number) ? number : kCodePageDefault;
}

}  // namespace kt::detail

kt_long Kt_ExprObject::_binToText(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  const Kt_Variant value = in.Value(0);
  if (value.GetTag() != kTagBinary) {
    result = value.ToString();
    return kOk;
  }
  const std::span<const std::uint8_t> bytes = value.AsBinary();
  const std::string_view narrow(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  Kt_WString text;
  if (!Kt_AString::Decode(narrow, text, CodePageArg(in.Value(1)))) {
    return TextTooLong(this, u"binToText()");
  }
  result = std::move(text);
  return kOk;
}

kt_long Kt_ExprObject::_TextToBin(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  const Kt_Variant value = in.Value(0);
  if (value.GetTag() == kTagBinary) {
    result = value;
    return kOk;
  }
  const Kt_AString bytes(value.ToString(), CodePageArg(in.Value(1)));
  if (bytes.View().size() > static_cast<std::size_t>(kMaxBinaryBytes)) {
    return TextTooLong(this, u"textToBin()");
  }
  result.SetBinary(bytes.GetText(), bytes.View().size());
  return kOk;
}
