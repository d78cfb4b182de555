// SPDX-License-Identifier: MIT
#include "host/Kt_Convert.h"

#include <cmath>

namespace kt::detail {

std::string KindOf(const Kt_Variant& value) {
#define KT_HOST_KIND(tag, text) \
  if (value.Target().GetTag() == (tag)) return Kt_WString(text).ToUtf8();
  KT_VALUE_KINDS(KT_HOST_KIND)
#undef KT_HOST_KIND
  return "nothing";
}

bool ReadNumber(const Kt_Variant& value, double& out) {
  switch (value.GetTag()) {
    case kTagLong: out = value.AsLong(); return true;
    case kTagDouble:
    case kTagCurrency:
    case kTagBool: out = value.ToDouble(); return true;
    default: return false;
  }
}

bool ReadWhole(const Kt_Variant& value, double& out) {
  return ReadNumber(value, out) && std::trunc(out) == out;  // not a NaN
}

void ThrowInexact(const std::string& number) {
  throw RunError("the number " + number + " is too large to be exact");
}

void ThrowKind(std::string_view whose, const Kt_Variant& value, const std::string& wanted) {
  throw RunError(std::string(whose) + " is " + KindOf(value) + ", not " + wanted);
}

}  // namespace kt::detail
