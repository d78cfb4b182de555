// SPDX-License-Identifier: MIT
//
// Any built-in function with any arguments: it ends, fails only because a result would be too long,
// reports that once, and a second call of a function without memory gives the same.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "classlib/base/Kt_Codes.h"
#include "classlib/value/Kt_Object.h"
#include "classlib/value/Kt_Variable.h"
#include "object/Kt_ExprObject.h"

namespace {

void Check(bool condition, const char16_t* function, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "broken: %s: %s\n", Kt_WString(function).ToUtf8().c_str(), what);
  std::abort();
}

class Context : public Kt_ExprObject {
 public:
  Context() : Kt_ExprObject(nullptr) {}
  ~Context() override { variable_->Unref(); }

  int IsSystemLogMode() override { return 1; }
  void OnRunTimeError(const Kt_Result&) override { ++reports; }
  Kt_Variable& Variable() { return *variable_; }

  int reports = 0;

 private:
  Kt_Variable* variable_ = Kt_Variable::New(u"v");
};

// Takes values off the input; past its end everything is zero.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : at_(data), left_(size) {}

  bool IsEmpty() const { return left_ == 0; }
  std::uint8_t Byte() {
    std::uint8_t value = 0;
    Bytes(&value, 1);
    return value;
  }
  template <class T>
  T Number() {
    T value{};
    Bytes(&value, sizeof value);
    return value;
  }

  Kt_WString Text() {
    Kt_WString text;
    const int length = Byte() % 64;
    const bool wide = (Byte() & 1) != 0;
    for (int unit = 0; unit < length; ++unit) {
      text += wide ? Number<char16_t>() : static_cast<char16_t>(Byte());
    }
    return text;
  }

  Kt_Variant Value(Context& context, int depth) {
    switch (Byte() % 15) {
      case 0: return {};
      case 1: return Number<kt_long>();
      case 2: return kt_long{static_cast<std::int8_t>(Byte())};
      case 3: return Number<double>();
      case 4: return Kt_Variant((Byte() & 1) != 0);
      case 5: return Kt_Currency::FromUnits(Number<std::int64_t>());
      case 6: return Kt_DateTime{static_cast<double>(Number<kt_long>()) / 64};
      case 7: return DateText();
      case 8: return Repeated();
      case 9: return List(context, depth);
      case 10: return Binary();
      case 11: return Kt_Variant(Kt_ObjectHolder(&context, &context));
      case 12: return Reference(context, depth);
      default: return Text();
    }
  }

 private:
  void Bytes(void* out, std::size_t count) {
    if (count > left_) count = left_;
    if (count == 0) return;
    std::memcpy(out, at_, count);
    at_ += count;
    left_ -= count;
  }

  Kt_Variant DateText() {
    char text[32];
    const char separator = "-/. "[Byte() & 3];
    std::snprintf(text, sizeof text, "%04d%c%02d%c%02d", Number<std::uint16_t>() % 10000, separator,
                  Byte() % 14, separator, Byte() % 33);
    return Kt_WString::FromUtf8(text);
  }

  Kt_Variant Repeated() {
    const Kt_WString part = Text();
    Kt_WString text;
    for (int times = Byte() % 64; times > 0; --times) text += part;
    return text;
  }

  Kt_Variant List(Context& context, int depth) {
    Kt_VariantList list;
    const int count = depth < 3 ? Byte() % 5 : 0;
    for (int item = 0; item < count; ++item) list.Add(Value(context, depth + 1));
    return list;
  }

  Kt_Variant Binary() {
    std::uint8_t bytes[32] = {};
    const std::size_t size = Byte() % sizeof bytes;
    Bytes(bytes, size);
    Kt_Variant value;
    value.SetBinary(bytes, size);
    return value;
  }

  // A variable never holds a reference, and so neither does a list in it: the two would keep each
  // other for ever.
  Kt_Variant Reference(Context& context, int depth) {
    if (in_variable_) return Text();
    if (!variable_set_) {  // once: an argument that was looked at does not change any more
      in_variable_ = true;
      context.Variable().SetValue(Value(context, depth + 1));
      in_variable_ = false;
      variable_set_ = true;
    }
    Kt_Variant reference;
    reference.SetRef(context.Variable(), Byte() % 3 - 1);
    return reference;
  }

  const std::uint8_t* at_;
  std::size_t left_;
  bool in_variable_ = false;
  bool variable_set_ = false;
};

// The limits themselves would take a gigabyte and seconds for each run: counts between the small
// ones and those beyond the limits become small.
Kt_Variant Affordable(const Kt_Variant& value) {
  const kt_long count = value.ToInteger();
  return count > 4096 && count <= kMaxStringLength ? Kt_Variant(count % 4096) : value;
}

bool TakesCount(const Kt_WString& name) {
  return name == u"array" || name == u"lpad" || name == u"rpad" || name == u"space" ||
         name == u"NumFormat";
}

bool IsSteady(const Kt_WString& name) {
  return !(name == u"random" || name == u"getDate" || name == u"time" || name == u"timem" ||
           name == u"today");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  Context context;
  const _EXPR_INTFUNC_INFO& row =
      Kt_ExprObject::GetIntFuncMap()[input.Byte() % Kt_ExprObject::GetIntFuncCount()];
  Kt_VariantList args;
  while (!input.IsEmpty() && args.GetCount() < 10) {
    const Kt_Variant value = input.Value(context, 0);
    args.Add(TakesCount(row.name) ? Affordable(value) : value);
  }
  Kt_Variant result;
  const kt_long code = (static_cast<Kt_Object&>(context).*row.handler)(&args, result);
  const bool is_eval = Kt_WString(row.name) == u"eval";
  const bool is_object = Kt_WString(row.name) == u"object";
  Check(code == kOk || code == kErrStringTooLong || code == kErrListTooLong || is_eval, row.name,
        "an unexpected code");
  Check(is_eval || is_object || context.reports == (code == kOk ? 0 : 1), row.name, "reports");
  Kt_Variant again;
  const kt_long second = (static_cast<Kt_Object&>(context).*row.handler)(&args, again);
  if (IsSteady(row.name) && !is_eval) {
    Check(second == code && again.GetTag() == result.GetTag() &&
              again.ToString() == result.ToString(),
          row.name, "the second call differs");
  }
  return 0;
}
