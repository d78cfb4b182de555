// SPDX-License-Identifier: MIT
#pragma once

#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "classlib/value/Kt_Object.h"
#include "classlib/value/Kt_Variable.h"
#include "classlib/value/Kt_Variant.h"
#include "common/text.h"

inline constexpr kt_long kMaxLong = std::numeric_limits<kt_long>::max();
inline constexpr kt_long kMinLong = std::numeric_limits<kt_long>::min();
inline constexpr double kInfinite = std::numeric_limits<double>::infinity();
inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// An object whose text is "obj".
class SampleObject final : public Kt_Object {
 public:
  SampleObject() : Kt_Object(nullptr, &Ops()) {}

 private:
  static const Kt_ObjectOps& Ops() {
    static const Kt_ObjectOps ops = [] {
      Kt_ObjectOps table{};
      table.conv_to_string = [](const Kt_Object&, Kt_WString& out) -> kt_long {
        out = u"obj";
        return 1;
      };
      return table;
    }();
    return ops;
  }
};

inline Kt_Variant Amount(std::int64_t units) { return Kt_Currency::FromUnits(units); }
inline Kt_Variant Date(double days) { return Kt_DateTime{days}; }
inline Kt_Variant Object(const SampleObject& object) {
  return Kt_Variant(Kt_ObjectHolder(nullptr, &object));
}
inline Kt_Variant Binary(std::string_view bytes) {
  Kt_Variant value;
  value.SetBinary(bytes.data(), bytes.size());
  return value;
}
inline Kt_Variant List(std::initializer_list<Kt_Variant> items) { return Kt_VariantList(items); }
// A list inside a list, `depth` times around `core`.
inline Kt_Variant Nested(int depth, Kt_Variant core) {
  for (int level = 0; level < depth; ++level) {
    Kt_VariantList list;
    list.Add(core);
    core = Kt_Variant(std::move(list));
  }
  return core;
}

// Kind letter and text: "L7", "D2.5", "C1.25", "T10" (the day number), "Sabc", "[L1,L2]".
inline std::string Describe(const Kt_Variant& value) {
  switch (value.GetTag()) {
    case kTagEmpty: return "E";
    case kTagLong: return "L" + value.ToString().ToUtf8();
    case kTagDouble: return "D" + value.ToString().ToUtf8();
    case kTagCurrency: return "C" + value.ToString().ToUtf8();
    case kTagDateTime: return "T" + Kt_Variant(value.AsDouble()).ToString().ToUtf8();
    case kTagString: return "S" + value.ToString().ToUtf8();
    case kTagBool: return "B" + value.ToString().ToUtf8();
    case kTagBinary: return "Y" + std::to_string(value.AsBinary().size());
    case kTagObject: return "O";
    case kTagRef: return "&" + Describe(value.Dereference());
    default: break;
  }
  std::string text;
  for (const Kt_Variant& item : value.GetList()) {
    text += (text.empty() ? "" : ",") + Describe(item);
  }
  return "[" + text + "]";
}

inline void PrintTo(const Kt_Variant& value, std::ostream* out) { *out << Describe(value); }
