// SPDX-License-Identifier: MIT
//
// Built-in functions: parts of texts, searching, padding, lengths, quotes.

#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_AString.h"
#include "classlib/text/Kt_Unicode.h"
#include "classlib/value/Kt_Object.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_CodePageArg.h"
#include "object/detail/Kt_DecimalText.h"
#include "object/detail/Kt_FuncAnswers.h"
#include "object/detail/Kt_PlainFuncs.h"

using kt::Kt_FuncArgs;
using kt::detail::Plain;
using kt::detail::TextTooLong;

namespace {

Kt_WString TrimBoth(Kt_WString text) {
  text.Trim();
  return text;
}

Kt_WString TrimLeft(Kt_WString text) {
  text.LTrim();
  return text;
}

Kt_WString TrimRight(Kt_WString text) {
  text.RTrim();
  return text;
}

// The code of the first character; 0 for the empty text.
kt_long FirstCode(const Kt_WString& text) {
  return text.IsEmpty() ? 0 : static_cast<kt_long>(kt_codepointW(text.View(), 0).value);
}

Kt_WString Character(kt_long code) {
  return code < 0 ? Kt_WString() : kt_characterW(static_cast<char32_t>(code));
}

Kt_WString UnitAt(const Kt_WString& text, kt_long index) {
  return index < 0 ? Kt_WString() : text.Mid(index, 1);
}

// `size` units of one end; 0 stands for the whole text.
kt_long PartSize(const Kt_FuncArgs& in, const Kt_WString& text) {
  const kt_long size = in.Integer(1, 0);
  return size == 0 ? text.GetLength() : std::clamp(size, 0, text.GetLength());
}

// The part that `mid` asks for: the size is read only when the index lies inside.
struct Part {
  kt_long start;
  kt_long size;
};
Part PartOf(const Kt_FuncArgs& in, kt_long length) {
  const kt_long start = in.Integer(1);
  return {start, in.Has(2) && start < length ? in.Integer(2) : length};
}

bool Pad(const Kt_WString& text, const Kt_CodePoint& pad, kt_long count, bool at_left,
         Kt_WString& out) {
  if (count > kMaxStringLength) return false;
  const auto unit = static_cast<char16_t>(pad.value);
  if (pad.units == 1) {
    out = at_left ? kt_lpadW(text, unit, count) : kt_rpadW(text, unit, count);
    return true;
  }
  // Half of such a character is no character: it is put as often as it fits as a whole.
  const Kt_WString character = kt_characterW(pad.value);
  Kt_WString padding;
  for (kt_long left = count - text.GetLength(); left >= 2; left -= 2) {
    padding += character;
    if (!kt::detail::GoesOnAt(static_cast<std::size_t>(left / 2), 16)) break;
  }
  out = at_left ? padding + text : text + padding;
  return true;
}

kt_long PadHandler(Kt_ExprObject* self, const Kt_VariantList* args, Kt_Variant& result,
                   bool at_left) {
  const Kt_FuncArgs in(args);
  if (in.Count() < 3) {
    if (in.Has(0)) result = in.Value(0);
    return kOk;
  }
  Kt_WString text = in.Text(0);
  const Kt_WString pad = in.Text(1);
  const kt_long count = in.Integer(2);
  if (!pad.IsEmpty() && count > text.GetLength() &&
      !Pad(text, kt_codepointW(pad.View(), 0), count, at_left, text)) {
    return TextTooLong(self, at_left ? u"lpad()" : u"rpad()");
  }
  result = std::move(text);
  return kOk;
}

// What `length` and `lengthb` count of everything that is no text.
kt_long CountItems(const Kt_Variant& value) {
  switch (value.GetTag()) {
    case kTagList: return value.ListCount();
    case kTagBinary: return static_cast<kt_long>(value.AsBinary().size());
    case kTagObject: return value.GetHolder().GetItemCount();
    default: return 0;
  }
}

kt_long LengthOf(const Kt_Variant& value) {
  return value.IsString() ? static_cast<kt_long>(value.AsStringView().size()) : CountItems(value);
}

kt_long ByteLength(const Kt_WString& text, kt_long code_page) {
  if (code_page == kCodePageUtf16) return text.GetLength() * 2;
  return Kt_AString(text, code_page).GetLength();
}

Kt_WString Quote(const Kt_WString& text) {
  return text.IsEmpty() ? Kt_WString(u"\"\"") : text.QuoteStr();
}

}  // namespace

namespace kt::detail {

void Asc(const Kt_FuncArgs& in, Kt_Variant& result) { PlainOf<&FirstCode>(in, result); }
void CharAt(const Kt_FuncArgs& in, Kt_Variant& result) { PlainOf<&UnitAt>(in, result); }
void Chr(const Kt_FuncArgs& in, Kt_Variant& result) { PlainOf<&Character>(in, result); }
void Length(const Kt_FuncArgs& in, Kt_Variant& result) {
  if (in.Has(0)) result.Set(LengthOf(in.Value(0)));
}

void Left(const Kt_FuncArgs& in, Kt_Variant& result) {
  if (!in.Has(0)) return;
  const Kt_WString text = in.Text(0);
  result = text.Mid(0, PartSize(in, text));
}

void Right(const Kt_FuncArgs& in, Kt_Variant& result) {
  if (!in.Has(0)) return;
  const Kt_WString text = in.Text(0);
  const kt_long size = PartSize(in, text);
  result = text.Mid(text.GetLength() - size, size);
}

void Mid(const Kt_FuncArgs& in, Kt_Variant& result) {
  if (!in.Has(0)) return;
  const Kt_WString text = in.Text(0);
  const Part part = PartOf(in, text.GetLength());
  result = text.Mid(part.start, part.size);
}

void Trim(const Kt_FuncArgs& in, Kt_Variant& result) { PlainOf<&TrimBoth>(in, result); }

void Pos(const Kt_FuncArgs& in, Kt_Variant& result) {
  if (!in.Has(0)) return;
  const kt_long start = in.Integer(2, 0);
  if (start < 0) return result.Set(kt_long{-1});
  const Kt_Variant& pattern = in.Value(1);
  result.Set(KT_LIKELY(pattern.IsString()) ? in.Text(0).Find(pattern.AsStringView(), start)
                                           : in.Text(0).Find(in.Text(1), start));
}

}  // namespace kt::detail

kt_long Kt_ExprObject::_trim(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Trim(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_ltrim(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&TrimLeft>(args, result);
}

kt_long Kt_ExprObject::_rtrim(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&TrimRight>(args, result);
}

kt_long Kt_ExprObject::_asc(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Asc(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_chr(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Chr(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_CharAt(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::CharAt(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_left(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Left(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_right(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Right(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_mid(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Mid(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_midb(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  const Kt_AString bytes(in.Text(0));
  const Part part = PartOf(in, bytes.GetLength());
  const auto first = static_cast<std::size_t>(std::clamp(part.start, 0, bytes.GetLength()));
  Kt_WString text;
  Kt_AString::Decode(bytes.View().substr(first, static_cast<std::size_t>(std::max(part.size, 0))),
                     text);
  result = std::move(text);
  return kOk;
}

kt_long Kt_ExprObject::_pos(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Pos(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_replace(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (in.Count() < 2) {
    if (in.Has(0)) result = in.Value(0);
    return kOk;
  }
  Kt_WString text = in.Text(0);
  if (text.Replace(in.Text(1), in.Text(2)) < 0) return TextTooLong(this, u"replace()");
  result = std::move(text);
  return kOk;
}

kt_long Kt_ExprObject::_lpad(const Kt_VariantList* args, Kt_Variant& result) {
  return PadHandler(this, args, result, true);
}

kt_long Kt_ExprObject::_rpad(const Kt_VariantList* args, Kt_Variant& result) {
  return PadHandler(this, args, result, false);
}

kt_long Kt_ExprObject::_space(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  const kt_long count = in.Integer(0);
  if (count > kMaxStringLength) return TextTooLong(this, u"space()");
  result = kt_rpadW(Kt_WString(), u' ', count);
  return kOk;
}

kt_long Kt_ExprObject::_length(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Length(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_lengthb(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  const Kt_Variant value = in.Value(0);
  result.Set(value.IsString() ? ByteLength(value.AsString(), kt::detail::CodePageArg(in.Value(1)))
                              : CountItems(value));
  return kOk;
}

kt_long Kt_ExprObject::_Quote(const Kt_VariantList* args, Kt_Variant& result) {
  Kt_WString quoted = Quote(Kt_FuncArgs(args).Text(0));
  if (quoted.IsEmpty()) return TextTooLong(this, u"quote()");
  result = std::move(quoted);
  return kOk;
}

kt_long Kt_ExprObject::_UnQuote(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (in.Has(0)) {
    result = in.Text(0).UnQuoteStr();
  } else {
    result.Clear();
  }
  return kOk;
}

kt_long Kt_ExprObject::_stripNum(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (in.Has(0)) result = kt::detail::StripToNumber(kt::detail::PlainText(in.Value(0)));
  return kOk;
}
