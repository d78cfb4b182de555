// A host with an object of its own: prices an order with rules that its users write as a script.
#include <iostream>

#include "object/Kt_ExprObjInfo.h"
#include "object/Kt_ExprObject.h"
#include "script/Kt_Script.h"

namespace {

// What the script sees as `order`. Its members are one table, sorted by name.
class Order : public Kt_ExprObject {
 public:
  Order(Kt_ExprObject* host, kt_long quantity, double price)
      : Kt_ExprObject(host), quantity_(quantity), price_(price) {}

  double GetDiscount() const { return discount_; }

  Kt_WString GetID() const override { return u"order"; }
  int GetPropertyInfo(const Kt_WString& name, int& flags, Kt_Getter& get, Kt_Setter& set) override {
    static constexpr _EXPR_SIMPLEPROP_INFO kProperties[] = {
        {u"discount", kHandler<&Order::Discount>, kSetHandler<&Order::SetDiscount>, 0, u""},
        {u"price", kHandler<&Order::Price>, nullptr, 0, u""},
        {u"quantity", kHandler<&Order::Quantity>, nullptr, 0, u""},
    };
    const int row = FindSimplePropFuncIdx(kProperties, 3, name.GetText());
    if (row < 0) return 0;
    flags = kProperties[row].flags;
    get = kProperties[row].get;
    set = kProperties[row].set;
    return 1;
  }
  int GetMethodInfo(const Kt_WString& name, Kt_Getter& call) override {
    if (!name.EqualsNoCase(u"total")) return 0;
    call = kHandler<&Order::Total>;
    return 1;
  }

 private:
  kt_long Quantity(const Kt_VariantList*, Kt_Variant& result) { return Give(quantity_, result); }
  kt_long Price(const Kt_VariantList*, Kt_Variant& result) { return Give(price_, result); }
  kt_long Discount(const Kt_VariantList*, Kt_Variant& result) { return Give(discount_, result); }
  kt_long Total(const Kt_VariantList*, Kt_Variant& result) {
    return Give(quantity_ * price_ * (1 - discount_), result);
  }
  kt_long SetDiscount(const Kt_VariantList*, const Kt_Variant& value) {
    discount_ = value.ToDouble();
    return 0;
  }
  template <class T>
  static kt_long Give(T value, Kt_Variant& result) {
    result = value;
    return 0;
  }

  kt_long quantity_;
  double price_;
  double discount_ = 0;
};

// The outermost context: knows the order by its name and gets every run-time error.
class Shop : public Kt_ExprObject {
 public:
  Shop() : Kt_ExprObject(nullptr), order_(this, 12, 4.5) {}

  const Order& GetOrder() const { return order_; }

  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (!name.EqualsNoCase(u"order")) return Kt_ExprObject::GetVarType(name, info);
    info.SetComponent(&order_);
    return info.GetKind();
  }
  int IsSystemLogMode() override { return 1; }
  void OnRunTimeError(const Kt_Result& result) override {
    std::cout << "error: " << result.GetText().ToUtf8() << "\n";
  }

 private:
  Order order_;
};

constexpr char16_t kRules[] =
    u"function price(minimum) {\n"
    u"  if (order.quantity >= minimum) order.discount = 0.1;\n"
    u"  return 'total ' + order.total();\n"
    u"}\n"
    u"function broken() { order.discount = order.quantity * rebate; }\n";

// Why a call failed: where, in which expression, what.
void Explain(const Kt_RunError& error) {
  std::cout << error.source_name.ToUtf8() << ":" << error.line << ": in " << error.function.ToUtf8()
            << ", column " << error.column << " of '" << error.expression.ToUtf8()
            << "': " << error.text.ToUtf8() << "\n";
}

}  // namespace

int main() {
  Shop shop;
  Kt_Script script(&shop);
  Kt_WStrList errors;
  // The result tells of faults outside of functions, the list of all of them.
  if (script.Parse(u"rules", kRules, nullptr, &errors) != 0 || errors.GetCount() > 0) {
    std::cout << errors.Join(u"\n").ToUtf8() << "\n";
    return 1;
  }
  Kt_Variant minimum(kt_long{10}), result;
  script.ExecFunc(u"price", 1, &minimum, result);
  std::cout << result.ToString().ToUtf8() << ", discount " << shop.GetOrder().GetDiscount() << "\n";
  if (script.ExecFunc(u"broken", nullptr, result) != 0) Explain(Kt_RunError::Last());
}
