// SPDX-License-Identifier: MIT
#include "cli/Kt_Json.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "classlib/base/Kt_WorkMeter.h"
#include "classlib/text/Kt_Utf16.h"
#include "classlib/value/Kt_Object.h"
#include "cli/Kt_Bounds.h"
#include "cli/Kt_Text.h"

namespace kt::cli {
namespace {

using Json = nlohmann::json;

// Writing recurses once per level.
constexpr int kMaxDepth = 500;

// A double holds every amount of up to 15 digits; a longer one would come back changed.
Json Currency(const Kt_Variant& value) {
  constexpr std::int64_t kExact = 1'000'000'000'000'000;
  const std::int64_t amount = value.AsInt64();
  if (amount > kExact || amount < -kExact) return value.ToString().ToUtf8();
  return value.ToDouble();
}

Json Number(double number) { return std::isfinite(number) ? Json(number) : Json(); }

// Writes as it goes, so that lists that share their parts end at the limit of the text.
class Writer {
 public:
  Writer(CountedBytes& out, std::string& reason) : out_(out), reason_(reason) {}

  bool Write(const Kt_Variant& value, int depth) {
    const bool is_inner = depth > 1;
    if (out_.size() > kMaxPrintedBytes || (is_inner && ++inner_items_ > kMaxPrintedItems)) {
      return Fail(kTooLongToPrint);
    }
    if (!kt::Charge(2 * Kt_WorkMeter::kUnitsPerItem)) return Fail(StopReason());
    switch (value.GetTag()) {
      case kTagEmpty: return Put({});
      case kTagLong: return Put(value.AsLong());
      case kTagDouble: return Put(Number(value.AsDouble()));
      case kTagCurrency: return Put(Currency(value));
      case kTagBool: return Put(value.AsInt64() != 0);
      case kTagList: return List(value.GetList(), depth);
      case kTagObject: return Object(value.GetHolder(), depth);
      case kTagRef: return Write(value.Dereference(), depth);
      case kTagString: return Text(value.AsString());
      case kTagBinary: return Bytes(value);
      default: return Put(ValueText(value));
    }
  }

 private:
  bool Fail(const std::string& reason) {
    reason_ = reason;
    return false;
  }
  bool Put(const Json& value) {
    out_ += value.dump();
    return true;
  }

  // In pieces, so that little more than what is counted is needed for a long text.
  bool Text(std::u16string_view text) {
    constexpr std::size_t kPieceUnits = 1 << 14;
    out_ += '"';
    while (!text.empty()) {
      std::size_t units = std::min(text.size(), kPieceUnits);
      if (units < text.size() && IsHighSurrogate(text[units - 1])) --units;
      const std::string quoted = Json(Kt_WString(text.substr(0, units)).ToUtf8()).dump();
      out_.append(quoted, 1, quoted.size() - 2);
      text.remove_prefix(units);
    }
    out_ += '"';
    return true;
  }

  bool Bytes(const Kt_Variant& value) {
    out_ += '"';
    if (!AppendValueText(value, out_)) {
      return Fail(Kt_WorkMeter::CurrentStop() != 0 ? StopReason() : kTooLongToPrint);
    }
    out_ += '"';
    return true;
  }

  bool List(const Kt_VariantList& items, int depth) {
    if (depth == kMaxDepth) return Fail("nested too deeply for JSON");
    out_ += '[';
    bool is_first = true;
    for (const Kt_Variant& item : items) {
      if (!is_first) out_ += ',';
      is_first = false;
      if (!Write(item, depth + 1)) return false;
    }
    out_ += ']';
    return true;
  }

  // An object that stands for a plain value, such as a cell of a dataset, is that value.
  bool Object(const Kt_ObjectHolder& holder, int depth) {
    const Kt_WString property = holder.GetDefaultProp();
    Kt_Variant plain;
    if (depth == kMaxDepth) return Fail("nested too deeply for JSON");
    if (!property.IsEmpty() && holder.GetProperty(property, nullptr, plain) == 0) {
      return Write(plain, depth + 1);
    }
    return Put({{"object", holder.GetID().ToUtf8()}});
  }

  CountedBytes& out_;
  std::string& reason_;
  std::int64_t inner_items_ = 0;
};

}  // namespace

bool ToJson(const Kt_Variant& value, CountedBytes& json, std::string& reason) {
  json.clear();
  return Writer(json, reason).Write(value, 0);
}

bool ToJson(const Kt_Variant& value, CountedBytes& json) {
  std::string ignored;
  return ToJson(value, json, ignored);
}

}  // namespace kt::cli
