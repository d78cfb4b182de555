// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <compare>
#include <functional>

#include "classlib/value/Kt_Object.h"
#include "classlib/value/Kt_Variant.h"

// Values in the containers of a host: ==, < and hashing by Var_Order, the order for sorting, which
// has no conversions between texts and numbers. The language compares by Var_Cmp, which has.
//
//   std::map<Kt_Variant, int> counts;
//   std::unordered_set<Kt_Variant> seen;
//   if (value == 5 || value == u"five") ...

template <std::same_as<Kt_Variant> Value, std::convertible_to<Kt_Variant> Other>
bool operator==(const Value& left, const Other& right) {
  return Var_Order(left, right) == 0;
}

template <std::same_as<Kt_Variant> Value, std::convertible_to<Kt_Variant> Other>
std::weak_ordering operator<=>(const Value& left, const Other& right) {
  return Var_Order(left, right) <=> 0;
}

namespace kt {

// Equal values have equal hashes. Lists count to a depth of eight.
inline std::size_t HashOf(const Kt_Variant& given, int depth = 0) {
  const Kt_Variant& value = given.Target();
  const auto number = [](double real) {
    if (real != real) return std::size_t{1};
    return std::hash<double>()(real == 0 ? 0.0 : real);
  };
  switch (value.GetTag()) {
    case kTagEmpty: return 0;
    case kTagDateTime: return number(value.AsDouble());
    case kTagBool: return number(static_cast<double>(value.AsInt64()));
    case kTagString: return std::hash<std::u16string_view>()(value.AsStringView());
    case kTagBinary: {
      const auto bytes = value.AsBinary();
      return std::hash<std::string_view>()(
          {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
    case kTagList: {
      std::size_t hash = static_cast<std::size_t>(value.ListCount());
      if (depth == 8) return hash;
      for (const Kt_Variant& item : value.GetList()) {
        hash = std::rotl(hash, 5) * 31 + HashOf(item, depth + 1);
      }
      return hash;
    }
    case kTagObject: return std::hash<const void*>()(value.GetHolder().GetObject());
    default: return number(value.ToDouble());
  }
}

}  // namespace kt

template <>
struct std::hash<Kt_Variant> {
  std::size_t operator()(const Kt_Variant& value) const { return kt::HashOf(value); }
};
