// SPDX-License-Identifier: MIT
#include <cmath>
#include <limits>

#include "classlib/base/Kt_Charge.h"
#include "classlib/value/Kt_Object.h"
#include "classlib/value/Kt_Variant.h"
#include "classlib/value/detail/Kt_VarOps.h"
#include "classlib/value/detail/Kt_VariantText.h"

namespace {

kt_long CutToLong(double value) {
  if (std::isnan(value)) return 0;
  if (value >= std::numeric_limits<kt_long>::max()) return std::numeric_limits<kt_long>::max();
  if (value <= std::numeric_limits<kt_long>::min()) return std::numeric_limits<kt_long>::min();
  return static_cast<kt_long>(value);
}

Kt_Currency NearestCurrency(double value) {
  if (const auto amount = Kt_Currency::FromDouble(value)) return *amount;
  if (std::isnan(value)) return {};
  return Kt_Currency::FromUnits(value < 0 ? std::numeric_limits<std::int64_t>::min()
                                          : std::numeric_limits<std::int64_t>::max());
}

Kt_Currency CurrencyFromText(std::u16string_view text, double leading_number) {
  const auto amount = Kt_Currency::FromText(text);  // exact where the way over a double is not
  return amount ? *amount : NearestCurrency(leading_number);
}

Kt_WString ObjectText(const Kt_ObjectHolder& holder) {
  Kt_WString text;
  const Kt_Object* const object = holder.IsValid() ? holder.GetObject() : nullptr;
  const Kt_ObjectOps* const ops = object ? object->GetOps() : nullptr;
  if (ops != nullptr && ops->conv_to_string != nullptr && !ops->conv_to_string(*object, text)) {
    text.Empty();
  }
  return text;
}

// The text of every kind that is not stored as text, a number or a list.
Kt_WString OtherText(const Kt_Variant& value) {
  switch (value.GetTag()) {
    case kTagCurrency: return Kt_Currency::FromUnits(value.AsInt64()).ToText();
    case kTagDateTime: return Kt_DateTime{value.AsDouble()}.ToText();
    case kTagObject: {
      // A copy: the object's answer may change the place `value` lies in.
      const Kt_Variant plain = kt::ValueOfObject(value);
      return plain.IsObject() ? ObjectText(plain.GetHolder()) : plain.ToString();
    }
    default: return {};
  }
}

std::u16string_view NumberText(const Kt_Variant& value, char16_t* buffer) {
  switch (value.GetTag()) {
    case kTagLong: return {buffer, kt_writelongW(value.AsLong(), buffer)};
    case kTagDouble: return {buffer, kt_writedoubleW(value.AsDouble(), buffer)};
    case kTagBool: return value.AsInt64() != 0 ? u"1" : u"0";
    default: return {};
  }
}

// Joins the items of a list with commas.
class ListJoiner {
 public:
  explicit ListJoiner(Kt_WString& out) : out_(out) {}

  bool Join(const Kt_Variant& list, int depth) {
    // Held: an object's answer may change the variable that the list lies in.
    const Kt_VariantList items = list.GetList();
    if (depth == kt::detail::kMaxListDepth) return true;
    bool first = true;
    for (const Kt_Variant& item : items) {
      if (depth > 0 && ++inner_visits_ > kt::detail::kMaxInnerVisits) return false;
      if (!charge_.Add(Kt_WorkMeter::kUnitsPerItem)) return false;
      if (!first && !out_.Append(u",")) return false;
      if (!JoinItem(item.Target(), depth)) return false;
      first = false;
    }
    return true;
  }

 private:
  bool JoinItem(const Kt_Variant& item, int depth) {
    if (item.IsList()) return Join(item, depth + 1);
    const kt::detail::ValueText text(item);
    return out_.Append(text.View());
  }

  Kt_WString& out_;
  std::int64_t inner_visits_ = 0;
  kt::detail::RoundCharge charge_;
};

}  // namespace

namespace kt::detail {

bool AppendText(const Kt_Variant& value, Kt_WString& out) {
  const Kt_Variant& target = value.Target();
  if (target.IsList()) return ListJoiner(out).Join(target, 0);
  const ValueText text(target);
  return out.Append(text.View());
}

ValueText::ValueText(const Kt_Variant& value) {
  const Kt_Variant& target = value.Target();
  if (target.IsString()) {
    view_ = target.AsStringView();
    return;
  }
  view_ = NumberText(target, number_);
  if (!view_.empty()) return;
  if (target.IsList()) {
    too_long_ = !AppendText(target, other_);
  } else {
    other_ = OtherText(target);
  }
  view_ = other_.View();
}

}  // namespace kt::detail

kt_long Kt_Variant::ConvertToInteger() const {
  const Kt_Variant& value = Target();
  switch (value.GetTag()) {
    case kTagLong: return value.AsLong();
    case kTagBool: return value.AsInt64() != 0 ? 1 : 0;
    default: return CutToLong(value.ConvertToDouble());  // an object's long is exact as a double
  }
}

double Kt_Variant::ConvertToDouble() const {
  const Kt_Variant& value = Target();
  switch (value.GetTag()) {
    case kTagLong: return value.AsLong();
    case kTagBool: return value.AsInt64() != 0 ? 1.0 : 0.0;
    case kTagDouble:
    case kTagDateTime: return value.AsDouble();
    case kTagCurrency: return Kt_Currency::FromUnits(value.AsInt64()).ToDouble();
    case kTagString: return value.AsString().ToDouble();
    case kTagObject: {
      const Kt_Variant plain = kt::ValueOfObject(value);
      return plain.IsObject() ? 0.0 : plain.ConvertToDouble();
    }
    default: return 0.0;
  }
}

Kt_WString Kt_Variant::ToString() const {
  const Kt_Variant& value = Target();
  switch (value.GetTag()) {
    case kTagString: return value.AsString();
    case kTagLong: return kt_longtextW(value.AsLong());
    case kTagDouble: return kt_doubletextW(value.AsDouble());
    default: break;
  }
  Kt_WString text;
  kt::detail::AppendText(value, text);
  return text;
}

Kt_Currency Kt_Variant::ToCurrency() const {
  const Kt_Variant& value = Target();
  if (value.IsObject()) {
    const Kt_Variant plain = kt::ValueOfObject(value);
    return plain.IsObject() ? Kt_Currency() : plain.ToCurrency();
  }
  switch (value.GetTag()) {
    case kTagCurrency: return Kt_Currency::FromUnits(value.AsInt64());
    case kTagLong: return Kt_Currency::FromLong(value.AsLong());
    case kTagString: return CurrencyFromText(value.AsStringView(), value.ConvertToDouble());
    default: return NearestCurrency(value.ConvertToDouble());
  }
}

Kt_DateTime Kt_Variant::ToDateTime() const {
  const Kt_Variant& value = Target();
  Kt_DateTime moment{0.0};
  if (value.IsObject()) {
    const Kt_Variant plain = kt::ValueOfObject(value);
    return plain.IsObject() ? moment : plain.ToDateTime();
  }
  if (value.IsString() && Kt_DateTime::FromText(value.AsStringView(), moment)) return moment;
  moment.days = value.ConvertToDouble();
  return moment;
}
