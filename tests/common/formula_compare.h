// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "expr/Kt_BoundExpr.h"
#include "expr/Kt_Expr.h"
#include "test_host.h"

// Formulas made at random, for tests and for the fuzz target of bound expressions.
namespace kt::test {

// Steered by bytes: the same bytes give the same formula and places, and when they run out every
// choice is the first one.
class FormulaMaker {
 public:
  FormulaMaker(const std::uint8_t* bytes, std::size_t size) : bytes_(bytes), size_(size) {}

  int Choose(int count) { return at_ >= size_ ? 0 : bytes_[at_++] % count; }
  template <class T, std::size_t kCount>
  T OneOf(const T (&items)[kCount]) {
    return items[Choose(kCount)];
  }

  std::string Expr(int depth) {
    if (depth == 0) return Leaf();
    switch (Choose(14)) {
      case 0: return Leaf();
      case 1:
      case 2:
      case 3: return Binary(OneOf<const char*>({" + ", " - ", " * ", " / ", "*"}), depth - 1);
      case 4: return Binary(OneOf<const char*>({" % ", " & "}), depth - 1);
      case 5:
      case 6: return Binary(OneOf<const char*>({" < ", " = ", " <> ", ">=", "<=", ">"}), depth - 1);
      case 7:
      case 8: return Binary(OneOf<const char*>({" && ", " || "}), depth - 1);
      case 9: return "(" + Expr(depth - 1) + ")";
      case 10: return OneOf<const char*>({"(-", "(!", "(+"}) + Expr(depth - 1) + ")";
      case 11:
      case 12: return Call(depth - 1);
      default: return Rare(depth - 1);
    }
  }
  double Double() {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    return OneOf({1.0, 0.0, -0.0, -1.0, 0.5, -2.5, 3.0, 1e300, kInfinity, -kInfinity, std::nan(""),
                  2147483647.0, -2147483648.0, 4294967296.0, 5e-324});
  }
  kt_long Long() {
    return OneOf<kt_long>({1, 0, -1, 5, 7, 65536, -46341, 2147483647, -2147483647 - 1});
  }
  Kt_WString Text() { return OneOf<const char16_t*>({u"", u"12", u"abc", u" 2.5", u"true"}); }
  Kt_Variant Value(Kt_Object& object) {
    switch (Choose(9)) {
      case 0: return Long();
      case 1: return Double();
      case 2: return Kt_Variant();
      case 3: return Text();
      case 4: return Kt_Variant(Choose(2) != 0);
      case 5: return Kt_Currency::FromUnits(Long());
      case 6: return Kt_DateTime{Double()};
      case 7: return Kt_VariantList{kt_long{1}, Kt_Variant(u"two")};
      default: return Kt_Variant(Kt_ObjectHolder(nullptr, &object));
    }
  }

 private:
  std::string Leaf() {
    switch (Choose(4)) {
      case 0: return OneOf<const char*>({"d1", "d2", "d1", "n1", "n2"});
      case 1: return OneOf<const char*>({"v1", "v2", "v3", "t1", "r1"});
      case 2: return OneOf<const char*>({"1", "0", "2", "0.5", "100", "2147483647"});
      default: return OneOf<const char*>({"d1", "'12'", "null", "'a'", "3000000000", "''", "true"});
    }
  }
  // The parts in a fixed order, whatever the compiler does.
  std::string Binary(const char* op, int depth) {
    std::string out = Expr(depth);
    return (out += op) += Expr(depth);
  }
  std::string Call(int depth) {
    static constexpr const char* kOfOne[] = {"abs",      "sqrt",  "floor", "round", "sin",
                                             "exp",      "half",  "ceil",  "code",  "length",
                                             "truncate", "least", "touch"};
    static constexpr const char* kOfTwo[] = {"pow",  "round", "atan2", "least", "greatest",
                                             "list", "iif",   "mid",   "touch"};
    static constexpr const char* kOfThree[] = {"iif", "greatest", "sum3", "least", "list"};
    const int args = 1 + Choose(3);
    std::string out = args == 1 ? OneOf(kOfOne) : args == 2 ? OneOf(kOfTwo) : OneOf(kOfThree);
    for (int arg = 0; arg < args; ++arg) (out += arg == 0 ? "(" : ", ") += Expr(depth);
    return out + ")";
  }
  std::string Rare(int depth) {
    const std::string name = OneOf<const char*>({"v1", "t1", "d1"});
    const char* const member =
        OneOf<const char*>({".length", ".round(1)", "[0]", ".nosuch", ".size"});
    return name + member + OneOf<const char*>({" + ", " < "}) + Expr(depth);
  }

  const std::uint8_t* bytes_;
  std::size_t size_;
  std::size_t at_ = 0;
};

// Where the names of a formula are.
struct FormulaPlaces {
  double d1 = 0;
  double d2 = 0;
  kt_long n1 = 0;
  kt_long n2 = 0;
  Kt_Variant v1;
  Kt_Variant v2;
  Kt_Variant v3;
  Kt_WString t1;
  Kt_Variant r1;  // through a reader

  void Fill(FormulaMaker& made, Kt_Object& object) {
    d1 = made.Double();
    d2 = made.Double();
    n1 = made.Long();
    n2 = made.Long();
    v1 = made.Long();
    if (made.Choose(3) == 1) v1 = made.Value(object);
    v2 = made.Double();
    v3 = made.Value(object);
    t1 = made.Text();
    r1 = made.Value(object);
  }
};

// "5", "0x4004000000000000", "nan", 'text', ...: equal for equal kinds and bits only; what kind of
// no number a NaN is does not count.
inline std::string Bits(double value) {
  if (std::isnan(value)) return "nan";
  char text[24];
  std::snprintf(text, sizeof text, "0x%016llx",
                static_cast<unsigned long long>(std::bit_cast<std::uint64_t>(value)));
  return text;
}
inline std::string Bits(const Kt_Variant& value) {
  switch (value.GetTag()) {
    case kTagDouble: return Bits(value.AsDouble());
    case kTagDateTime: return "date " + Bits(value.AsDouble());
    case kTagCurrency: return "amount " + Show(value);
    default: return Show(value);
  }
}

// The functions that formulas call, once for bindings and once for contexts.
//
//   half(x), sum3(x, y, z)   numbers      code(n)     n, and as code when that is 7
//   list(...)                a list       touch(...)  changes d1 and v1, and gives its first
//   argument
class FormulaHost : public TestHost {
 public:
  explicit FormulaHost(const FormulaPlaces& given) : places(given) {}

  // No names to suggest: places are no variables.
  void AddVariableListChain(Kt_VariableListChain&) override {}

  static double Half(const double* args, void*) { return args[0] / 2; }
  static double Sum3(const double* args, void*) { return args[0] + args[1] + args[2]; }
  static kt_long CodeOf(std::span<const Kt_Variant> args, Kt_Variant& result) {
    result = args[0].Dereference();
    return result.ToInteger() == 7 ? 7 : kOk;
  }
  static kt_long ListOf(std::span<const Kt_Variant> args, Kt_Variant& result) {
    Kt_VariantList list;
    for (const Kt_Variant& arg : args) list.Add(arg.Dereference());
    result = list;
    return kOk;
  }
  kt_long Touch(std::span<const Kt_Variant> args, Kt_Variant& result) {
    places.d1 += 1;
    places.n1 = 3;
    places.v1 = u"touched";
    result = args[0].Dereference();
    return kOk;
  }
  static kt_long Read(const void* place, Kt_Variant& value) {
    value = *static_cast<const Kt_Variant*>(place);
    return value.IsLong() && value.AsLong() == 65536 ? 65536 : kOk;
  }

  FormulaPlaces places;
};

// The same names as variables of an ordinary context, which notes what it is asked.
class FormulaContext : public FormulaHost {
 public:
  FormulaContext(const FormulaPlaces& given, bool is_by_handle, std::uint64_t version)
      : FormulaHost(given), by_handle(is_by_handle), name_version(version) {
    SetVariables();
  }

  void SetVariables() {
    variables.AddVariable(u"d1", places.d1);
    variables.AddVariable(u"d2", places.d2);
    variables.AddVariable(u"n1", places.n1);
    variables.AddVariable(u"n2", places.n2);
    variables.AddVariable(u"v1", places.v1);
    variables.AddVariable(u"v2", places.v2);
    variables.AddVariable(u"v3", places.v3);
    variables.AddVariable(u"t1", places.t1);
  }
  std::uint64_t GetNameVersion() override { return name_version; }
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    questions += name.ToUtf8() + "?";
    if (by_handle) (void)TestHost::GetVarType(name, info);
    const bool is_known = name == u"r1" || variables.FindVariable(name) != nullptr;
    return is_known ? EXPR_OBJ_VAR : EXPR_OBJ_UNKNOWN;
  }
  kt_long GetCtxVar(const Kt_WString& name, Kt_Variable** variable, Kt_Variant* value) override {
    questions += name.ToUtf8() + "!";
    if (name != u"r1") return TestHost::GetCtxVar(name, variable, value);
    return value != nullptr ? Read(&places.r1, *value) : kUnknownName;
  }
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    questions += name.ToUtf8() + "()?";
    for (const char16_t* const own : {u"half", u"sum3", u"code", u"list", u"touch"}) {
      if (!name.EqualsNoCase(own)) continue;
      info.SetExtAPI(this, name, nullptr);
      return EXPR_OBJ_EXTAPI;
    }
    return EXPR_OBJ_UNKNOWN;
  }
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* list,
                     Kt_Variant& result) override {
    const std::span<const Kt_Variant> args(list->begin(), list->end());
    std::vector<double> numbers;
    for (const Kt_Variant& arg : args) numbers.push_back(arg.ToDouble());
    if (name == u"half") result = Half(numbers.data(), nullptr);
    if (name == u"sum3") result = Sum3(numbers.data(), nullptr);
    if (name == u"code") return CodeOf(args, result);
    if (name == u"list") return ListOf(args, result);
    if (name != u"touch") return kOk;
    const kt_long code = Touch(args, result);
    SetVariables();
    return code;
  }

  bool by_handle;
  std::uint64_t name_version;
  std::string questions;
};

inline Kt_Bindings BindingsOf(FormulaHost& host) {
  FormulaPlaces& at = host.places;
  Kt_Bindings names;
  names.Add(u"d1", &at.d1).Add(u"d2", &at.d2).Add(u"n1", &at.n1).Add(u"n2", &at.n2);
  names.Add(u"v1", &at.v1).Add(u"v2", &at.v2).Add(u"v3", &at.v3).Add(u"t1", &at.t1);
  names.Add(u"r1", &at.r1, FormulaHost::Read);
  names.AddFunction(u"half", 1, FormulaHost::Half).AddFunction(u"sum3", 3, FormulaHost::Sum3);
  names.AddFunction(u"code", 1, 1, FormulaHost::CodeOf);
  names.AddFunction(u"list", 0, 9, FormulaHost::ListOf);
  names.AddFunction(u"touch", 1, 9, [&host](std::span<const Kt_Variant> args, Kt_Variant& result) {
    return host.Touch(args, result);
  });
  return names.SetContext(&host);
}

// What is seen of one evaluation.
inline std::string Outcome(kt_long code, const std::string& value, TestHost& host) {
  const Kt_RunError& last = Kt_RunError::Last();
  std::string out = "code " + std::to_string(code) + ", value " + value;
  out += ", reports " + host.TakeReports();
  if (code != kOk) out += ", last " + std::to_string(last.code) + " " + last.text.ToUtf8();
  return out;
}

// What differs between ways to evaluate a formula.
class FormulaComparison {
 public:
  FormulaComparison(const std::string& text, const FormulaPlaces& given)
      : text_(Kt_WString::FromUtf8(text)), given_(given) {
    Kt_Expr::SetCompiled(false);
    FormulaContext context(given, true, 0);
    Kt_Expr expr;
    expr.SetExpr(text_);
    code_ = expr.ExecExpr(&context, value_);
    wanted_ = Outcome(code_, Bits(value_), context);
    Kt_Expr::SetCompiled(true);
    is_valid_ = expr.GetState() >= 0;
  }

  // Empty when all agree with the evaluator.
  std::string Differences() {
    CompareBound();
    for (const bool by_handle : {true, false}) {
      const std::string questions = CompareInContext(by_handle, 0, false);
      Compare("questions", CompareInContext(by_handle, 0, true), questions);
      (void)CompareInContext(by_handle, 1, true);
    }
    return differences_;
  }

 private:
  static constexpr std::size_t kPlaces = 9;

  void Compare(const char* way, const std::string& got, const std::string& wanted) {
    if (got == wanted) return;
    differences_ += text_.ToUtf8() + "\n  " + way + ": " + got + "\n  evaluator: " + wanted + "\n";
  }

  void CompareBound() {
    FormulaHost host(given_);
    Kt_BoundExpr bound;
    const kt_long code = bound.Bind(text_, BindingsOf(host));
    if (code == kErrBadArgument || !is_valid_) return;  // too few arguments, or no expression
    if (code != kOk) return Compare("bind", Kt_RunError::Last().text.ToUtf8(), wanted_);
    Kt_Variant value = u"something before";
    const kt_long value_code = bound.Evaluate(value);
    Compare("value", Outcome(value_code, Bits(value), host), wanted_);

    host.places = given_;
    std::string wanted = wanted_;
    wanted.replace(wanted.find("value "), ("value " + Bits(value_)).size(),
                   "value " + Bits(value_.ToDouble()));
    FormulaPlaces& at = host.places;
    const void* const places[kPlaces] = {&at.d1, &at.d2, &at.n1, &at.n2, &at.v1,
                                         &at.v2, &at.v3, &at.t1, &at.r1};
    const Kt_BoundDouble number = bound.EvaluateDouble(places);
    Compare("double", Outcome(number.code, Bits(number.value), host), wanted);
    if (text_.Find(u"touch") >= 0) return;  // which changes places, and others than those of a row

    CompareRows(bound, places, host);
  }

  // Rows with numbers of all kinds at once, and each for itself; the first are as given. The
  // doubles d1 lie next to each other, the others in their rows.
  void CompareRows(const Kt_BoundExpr& bound, const void* const (&places)[kPlaces],
                   FormulaHost& host) {
    constexpr std::size_t kRows = 40;
    std::vector<FormulaPlaces> rows(kRows, given_);
    std::vector<double> d1(kRows, given_.d1);
    for (std::size_t row = 2; row < kRows; ++row) {
      const auto bytes = static_cast<std::uint8_t>(row * 37);
      FormulaMaker made(&bytes, 1);
      rows[row].d1 = d1[row] = row % 2 == 0 ? given_.d1 + 1 : made.Double();
      rows[row].n1 = FormulaMaker(&bytes, 1).Long();
      if (row % 3 == 0) rows[row].d2 = rows[row].d1;
      if (row % 7 == 0) rows[row].v2 = kt_long{-1};
    }
    std::ptrdiff_t strides[kPlaces];
    const void* row_places[kPlaces];
    const auto at_row = [&](std::size_t place, std::size_t row) {
      return reinterpret_cast<const char*>(&rows[row]) +
             (static_cast<const char*>(places[place]) -
              reinterpret_cast<const char*>(&host.places));
    };
    for (std::size_t place = 0; place < kPlaces; ++place) {
      strides[place] = sizeof(FormulaPlaces);
      row_places[place] = at_row(place, 0);
    }
    row_places[0] = d1.data();
    strides[0] = sizeof(double);
    std::string wanted;
    kt_long wanted_code = kOk;
    for (std::size_t row = 0; row < kRows; ++row) {
      const void* one[kPlaces];
      for (std::size_t place = 0; place < kPlaces; ++place) one[place] = at_row(place, row);
      const Kt_BoundDouble number = bound.EvaluateDouble(one);
      wanted += Bits(number.value) + " ";
      if (wanted_code == kOk) wanted_code = number.code;
    }
    const auto compare = [&](double* out) {
      const kt_long code = bound.EvaluateMany(kRows, row_places, strides, out);
      std::string got;
      for (std::size_t row = 0; row < kRows; ++row) got += Bits(out[row]) + " ";
      Compare("many", got + std::to_string(code), wanted + std::to_string(wanted_code));
    };
    std::vector<double> out(kRows, 5.0);
    compare(out.data());
    compare(d1.data());  // over one of the arrays
  }

  // Four times with one expression; the questions that the context was asked.
  std::string CompareInContext(bool by_handle, std::uint64_t version, bool is_compiled) {
    Kt_Expr::SetCompiled(is_compiled);
    FormulaContext context(given_, by_handle, version);
    Kt_Expr expr;
    expr.SetExpr(text_);
    for (int run = 0; run < 4 && is_valid_; ++run) {
      context.places = given_;
      context.SetVariables();
      Kt_Variant value = u"something before";
      const kt_long code = expr.ExecExpr(&context, value);
      Compare(version == 0 ? "context" : "context with a version",
              Outcome(code, Bits(value), context), wanted_);
      if (code != kOk) context.questions += std::to_string(Kt_RunError::Last().column) + ";";
    }
    Kt_Expr::SetCompiled(true);
    return context.questions;
  }

  Kt_WString text_;
  const FormulaPlaces& given_;
  std::string differences_;
  std::string wanted_;
  kt_long code_ = kOk;
  Kt_Variant value_;
  bool is_valid_ = false;
};

inline std::string CompareFormula(const std::string& text, const FormulaPlaces& given) {
  return FormulaComparison(text, given).Differences();
}

// The whole of it out of bytes.
inline std::string CompareFormula(const std::uint8_t* data, std::size_t size) {
  FormulaMaker made(data, size);
  TestThing thing(nullptr, u"thing");
  thing.properties.AddVariable(u"size", kt_long{4});
  thing.default_prop = u"size";
  FormulaPlaces places;
  places.Fill(made, thing);
  return CompareFormula(made.Expr(5), places);
}

}  // namespace kt::test
