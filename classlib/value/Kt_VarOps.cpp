// SPDX-License-Identifier: MIT
//
// Joining and truth. Arithmetic and comparison have files of their own.
#include "classlib/value/detail/Kt_VarOps.h"

#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Codes.h"
#include "classlib/text/detail/Kt_Blank.h"
#include "classlib/value/Kt_Object.h"
#include "classlib/value/detail/Kt_VariantText.h"

namespace {

using kt::detail::ValueText;

// Kinds whose text is made without asking an object, which could change either operand meanwhile.
bool HasPlainText(const Kt_Variant& value) { return value.GetTag() < kTagList; }

kt_long TooLong(Kt_Variant& result) {
  result.Clear();
  return kErrStringTooLong;
}

// The text was too long, or the run was stopped while it was made.
kt_long NotMade(Kt_Variant& result) {
  const kt_long stop_code = Kt_WorkMeter::CurrentStop();
  return stop_code != kOk ? stop_code : TooLong(result);
}

bool CopyTo(char16_t* target, std::u16string_view text) {
  return kt::detail::InPieces(text.size(), 1, [&](std::size_t first, std::size_t count) {
    std::copy_n(text.data() + first, count, target + first);
    return true;
  });
}

// Takes the text out of `target`, appends and puts it back, so that its buffer is not shared
// meanwhile and grows in place: a loop of `s += x` is linear.
kt_long AppendInPlace(Kt_Variant& target, const Kt_Variant& right) {
  const ValueText added(right);  // of `target` itself, perhaps: Append takes parts of its own text
  Kt_WString text = target.TakeString();
  bool fits = false;
  try {
    fits = text.Append(added.View());
  } catch (...) {
    target.Set(std::move(text));
    throw;
  }
  if (!fits && Kt_WorkMeter::CurrentStop() == kOk) return TooLong(target);
  target.Set(std::move(text));
  return Kt_WorkMeter::CurrentStop();
}

kt_long JoinPlain(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result) {
  const ValueText left_text(left);
  const ValueText right_text(right);
  const std::u16string_view first = left_text.View();
  const std::u16string_view second = right_text.View();
  // Nothing to join: the buffer is shared instead of copied.
  if ((second.empty() && left.IsString()) || (first.empty() && right.IsString())) {
    result = second.empty() && left.IsString() ? left : right;
    return 0;
  }
  const std::size_t length = first.size() + second.size();
  if (length > static_cast<std::size_t>(kMaxStringLength)) return TooLong(result);
  const auto units = static_cast<kt_long>(length);
  Kt_WString::Rep* const rep = Kt_WString::NewRep(units, units);
  Kt_WString joined = Kt_WString::FromRep(rep);
  if (!CopyTo(rep->Text(), first) || !CopyTo(rep->Text() + first.size(), second)) {
    return NotMade(result);
  }
  result.Set(std::move(joined));
  return 0;
}

kt_long JoinAny(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result) {
  const Kt_Variant held_left(left);
  const Kt_Variant held_right(right);
  Kt_WString text;
  if (!kt::detail::AppendText(held_left, text) || !kt::detail::AppendText(held_right, text)) {
    return NotMade(result);
  }
  result.Set(std::move(text));
  return 0;
}

bool IsTrueText(std::u16string_view text) {
  double number = 0.0;
  if (kt_readnumberW(text, number)) return number != 0;
  return kt_stricmpW(kt::detail::WithoutBlanks(text), std::u16string_view(u"true")) == 0;
}

}  // namespace

namespace kt {

Kt_Variant ValueOfObject(const Kt_Variant& object) {
  Kt_Variant held(object);
  const Kt_ObjectHolder& hold = held.GetHolder();
  if (!hold.IsValid()) return held;
  const Kt_WString name = hold.GetDefaultProp();
  Kt_Variant value;
  if (name.IsEmpty() || hold.GetProperty(name, nullptr, value) != kOk) return held;
  const Kt_Variant plain(value.Target());
  return plain.IsObject() || plain.IsList() ? held : plain;
}

namespace detail {

kt_long JoinTexts(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result) {
  if (!HasPlainText(left) || !HasPlainText(right)) return JoinAny(left, right, result);
  if (&left == &result && left.IsString()) return AppendInPlace(result, right);
  return JoinPlain(left, right, result);
}

}  // namespace detail

}  // namespace kt

bool Var_IsTrue(const Kt_Variant& value) {
  const Kt_Variant& target = value.Target();
  switch (target.GetTag()) {
    case kTagLong: return target.AsLong() != 0;
    case kTagDouble:
    case kTagDateTime: return target.AsDouble() != 0;
    case kTagCurrency:
    case kTagBool: return target.AsInt64() != 0;
    case kTagString: return IsTrueText(target.AsStringView());
    case kTagBinary: return !target.AsBinary().empty();
    case kTagList: return target.ListCount() != 0;
    case kTagObject: {
      const Kt_Variant plain = kt::ValueOfObject(target);
      return plain.IsObject() ? plain.GetHolder().IsValid() : Var_IsTrue(plain);
    }
    default: return false;
  }
}

int Var_AndOr(const Kt_Variant& left, const Kt_Variant& right, std::int16_t relation) {
  switch (relation) {
    case kLogicAnd: return Var_IsTrue(left) && Var_IsTrue(right) ? 1 : 0;
    case kLogicOr: return Var_IsTrue(left) || Var_IsTrue(right) ? 1 : 0;
    default: return 0;
  }
}
