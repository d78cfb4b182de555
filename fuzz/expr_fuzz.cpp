// SPDX-License-Identifier: MIT
//
// Any text as an expression: the operation list and the warnings keep their promises, and the
// evaluation in a context with variables and an object ends in a value or a code.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "classlib/base/Kt_Codes.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprDump.h"
#include "expr/Kt_ExprLint.h"
#include "expr/Kt_ExprUtil.h"
#include "object/Kt_ExprObjInfo.h"

namespace {

void Check(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// What expressions see as `obj`: a property, a method, items.
class Thing : public Kt_ExprObject {
 public:
  explicit Thing(Kt_ExprObject* parent) : Kt_ExprObject(parent) {}

  Kt_WString GetID() const override { return u"obj"; }
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList*, Kt_Variant& result) override {
    if (!name.EqualsNoCase(u"name")) return kNoMember;
    result = name_;
    return kOk;
  }
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList*,
                      const Kt_Variant& value) override {
    if (!name.EqualsNoCase(u"name")) return kNoMember;
    name_ = value.ToString();
    return kOk;
  }
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList*, Kt_Variant& result) override {
    if (!name.EqualsNoCase(u"call")) return kNoMember;
    result = kt_long{42};
    return kOk;
  }
  kt_long GetItem(int index, Kt_Variant& result) override {
    result = kt_long{index};
    return kOk;
  }
  kt_long GetItem(const Kt_WString& name, Kt_Variant& result) override {
    result = name;
    return kOk;
  }

 private:
  Kt_WString name_{u"thing"};
};

class Context : public Kt_ExprObject {
 public:
  Context() : Kt_ExprObject(nullptr), thing_(this) {
    variables_.AddVariable(u"a", kt_long{7});
    variables_.AddVariable(u"b", -2.5);
    variables_.AddVariable(u"text", u"some text");
    variables_.AddVariable(u"empty", Kt_Variant());
    Kt_VariantList list;
    list.Add(kt_long{1});
    list.Add(Kt_Variant(u"two"));
    variables_.AddVariable(u"list", list);
  }

  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (Kt_Variable* const variable = variables_.FindVariable(name)) {
      info.SetVarType(this, name, variable);
      return EXPR_OBJ_VAR;
    }
    if (!name.EqualsNoCase(u"obj")) return kUnknownName;
    info.SetComponent(&thing_);
    return EXPR_OBJ_COMPONENT;
  }
  kt_long GetCtxVar(const Kt_WString& name, Kt_Variable** variable, Kt_Variant* value) override {
    Kt_Variable* const own = variables_.FindVariable(name);
    if (own == nullptr) return kUnknownName;
    if (variable) *variable = own;
    if (value) *value = own->GetValue();
    return kOk;
  }
  kt_long SetCtxVar(const Kt_WString& name, const Kt_Variant& value, int flag) override {
    if (!flag && !variables_.FindVariable(name)) return kUnknownName;
    return variables_.AddVariable(name, value) ? kOk : kFailed;
  }
  int IsSystemLogMode() override { return 1; }
  int IsDebugTraceMode() override { return 1; }

 private:
  Kt_VariableList variables_;
  Thing thing_;
};

// A marker stands before an operator or another marker; the end stands last and only there.
void CheckOps(const Kt_ExprOpList& ops) {
  const kt_long last = ops.GetCount() - 1;
  for (kt_long index = 0; index <= last; ++index) {
    const Kt_ExprOp& op = *ops.GetItem(index);
    Check((op.code == kOpEnd) == (index == last), "one end record, the last");
    Check(op.arg == (op.code == kOpMarker ? 1 : 0), "arg");
    Check(GetOpText(op.code)[0] != '?', "a known code");
    if (op.code != kOpMarker) continue;
    const std::int16_t next = ops.GetItem(index + 1)->code;
    Check(next == kOpMarker || GetOpClass(next) == 3, "what follows a marker");
  }
}

void CheckParsed(const Kt_Expr& expr, kt_long state, const Kt_WString& error) {
  if (state < 0) {
    Check(!error.IsEmpty(), "an error has a message");
    Check(expr.GetErrorOffset() >= 0 && expr.GetErrorOffset() < expr.GetText().GetLength(),
          "the error is inside the text");
    return;
  }
  Check(expr.GetErrorOffset() == -1, "no place without an error");
  if (state == kStateList || expr.GetOps().GetCount() == 0) return;
  CheckOps(expr.GetOps());
  const Kt_WString dump = DumpOps(expr.GetOps());
  kt_long lines = 0;
  for (const char16_t unit : dump.View()) lines += unit == u'\n';
  Check(lines == expr.GetOps().GetCount(), "one line per record");
}

void CheckWarnings(const Kt_WString& text) {
  std::vector<Kt_ExprWarning> warnings;
  FindExprWarnings(text, warnings);
  for (const Kt_ExprWarning& warning : warnings) {
    Check(warning.offset >= 0 && warning.offset < text.GetLength(), "a warning inside the text");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Kt_WString text =
      Kt_WString::FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
  Kt_Expr expr;
  Kt_WString error;
  CheckParsed(expr, expr.Parse(text, error), error);
  CheckWarnings(text);

  Context context;
  Kt_Variant value;
  const kt_long code = expr.ExecExpr(&context, value);
  Check(expr.GetState() >= 0 || code != kOk, "a syntax error gives no value");
  Kt_Expr copy(expr);
  (void)copy.ExecExpr(&context, value);
  (void)copy.ExecExpr(nullptr, value);
  return 0;
}
