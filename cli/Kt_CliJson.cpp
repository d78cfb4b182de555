// SPDX-License-Identifier: MIT
#include "cli/Kt_CliJson.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "classlib/Kt_Object.h"
#include "cli/Kt_CliText.h"

namespace kt::cli {
namespace {

using Json = nlohmann::json;

// Writing and freeing a JSON value recurse once per level.
constexpr int kMaxDepth = 500;

bool Convert(const Kt_Variant& value, int depth, Json& out);

bool ConvertList(const Kt_VariantList& list, int depth, Json& out) {
  if (depth == kMaxDepth) return false;
  out = Json::array();
  for (const Kt_Variant& item : list) {
    out.emplace_back();
    if (!Convert(item, depth + 1, out.back())) return false;
  }
  return true;
}

// A double holds every amount of up to 15 digits; a longer one would come back changed.
Json Currency(const Kt_Variant& value) {
  constexpr std::int64_t kExact = 1'000'000'000'000'000;
  const std::int64_t amount = value.AsInt64();
  if (amount > kExact || amount < -kExact) return value.ToString().ToUtf8();
  return value.ToDouble();
}

// An object that stands for a plain value, such as a cell of a dataset, is that value.
bool ConvertObject(const Kt_ObjectHolder& holder, int depth, Json& out) {
  const Kt_WString property = holder.GetDefaultProp();
  Kt_Variant plain;
  if (depth == kMaxDepth) return false;
  if (!property.IsEmpty() && holder.GetProperty(property, nullptr, plain) == 0) {
    return Convert(plain, depth + 1, out);
  }
  out = {{"object", holder.GetID().ToUtf8()}};
  return true;
}

bool Convert(const Kt_Variant& value, int depth, Json& out) {
  switch (value.GetTag()) {
    case kTagEmpty: return true;
    case kTagLong: out = value.AsLong(); return true;
    case kTagDouble:
      if (std::isfinite(value.AsDouble())) out = value.AsDouble();
      return true;
    case kTagCurrency: out = Currency(value); return true;
    case kTagBool: out = value.AsInt64() != 0; return true;
    case kTagList: return ConvertList(value.GetList(), depth, out);
    case kTagObject: return ConvertObject(value.GetHolder(), depth, out);
    case kTagRef: return Convert(value.Dereference(), depth, out);
    default: out = ValueText(value); return true;
  }
}

}  // namespace

bool ToJson(const Kt_Variant& value, std::string& json) {
  Json out;
  if (!Convert(value, 0, out)) return false;
  json = out.dump();
  return true;
}

}  // namespace kt::cli
