// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "expr/Kt_Expr.h"
#include "script/Kt_Program.h"
#include "script/Kt_Script.h"
#include "test_host.h"

namespace kt::test {

// A host that also has probe(kind, name, value), which is called with the context of its caller and
// does to it what callbacks may do.
class ProgramHost : public TestHost {
 public:
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (!name.EqualsNoCase(u"probe")) return TestHost::GetMethodType(name, info);
    info.SetExtAPI(nullptr, name, Probe);
    return EXPR_OBJ_EXTAPI;
  }

  // Has `script` load the text, as a program where there is one.
  kt_long Load(Kt_Script& script) const {
    Kt_WStrList faults;
    return program != nullptr ? script.Load(program, &faults)
                              : script.Parse(u"made", text, nullptr, &faults);
  }

  Kt_WString text;  // of the script
  std::shared_ptr<const Kt_Program> program;

 private:
  static kt_long Probe(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
    Kt_Script& script = *context->GetScript();
    auto& host = *static_cast<ProgramHost*>(script.GetExternalContext());
    const Kt_WString name = args->GetItemNN(1).ToString();
    const Kt_Variant& value = args->GetItemNN(2);
    auto* const own = dynamic_cast<Kt_ScriptContext*>(context);
    result = kt_long{7};
    switch (args->GetItemNN(0).ToInteger()) {
      case 0: (void)context->GetCtxVar(name, nullptr, &result); break;
      case 1: (void)context->SetCtxVar(name, value, 1); break;
      case 2: (void)context->AddCtxVar(name, value); break;
      case 3: own->GetVariables().RemoveVariable(name); break;
      case 4: (void)script.ExecFunc(u"same", args, result); break;
      case 5:
        if (++host.reloads < 3) script.Clear();
        if (host.reloads < 3) (void)host.Load(script);
        break;
      case 6: script.GetVariables().AddVariable(name, value); break;
      default: break;
    }
    Kt_VariableListChain chain;
    context->AddVariableListChain(chain);
    for (kt_long at = 0; at < chain.GetCount(); ++at) host.calls += Show(*chain.GetItem(at)) + "| ";
    for (const Kt_ScriptPosition& call : script.GetCallStack()) {
      host.calls += call.function.ToUtf8() + ":" + std::to_string(call.line) + " ";
    }
    return kOk;
  }

  int reloads = 0;
};

// All that can be seen of two runs of a script's main(5, 'abc'), the second with the variables as
// the first left them: codes, the last error, results, variables, reports, calls. With a `program`
// the script has that loaded, and not the text.
inline std::string RunToText(std::string_view text, bool is_compiled, int limit_steps = 300,
                             const std::shared_ptr<const Kt_Program>& program = nullptr) {
  ProgramHost host;
  host.program = program;
  host.variables.AddVariable(u"hosted", kt_long{3});
  host.variables.AddVariable(u"obj", Kt_Variant(Kt_ObjectHolder(nullptr, host.thing.get())));
  host.thing->default_prop = u"size";
  host.plain.AddVariable(u"plain", u"8");
  host.text = Kt_WString::FromUtf8(text);
  Kt_RunBudget budget;
  budget.limit_steps = limit_steps;
  Kt_Script script(&host);
  script.SetBudget(&budget);
  script.SetCompiled(is_compiled);
  Kt_Expr::SetCompiled(is_compiled);
  std::string places;
  // Where it was when something was reported.
  host.on_report = [&] {
    for (const Kt_ScriptPosition& call : script.GetCallStack()) {
      places += call.function.ToUtf8() + ":" + std::to_string(call.line) + " ";
    }
  };
  (void)host.Load(script);
  std::string out;
  for (int run = 0; run < 2; ++run) {
    Kt_Variant args[] = {Kt_Variant(kt_long{5}), Kt_Variant(u"abc")};
    Kt_Variant result;
    Kt_RunError::Forget();
    const kt_long code = script.ExecFunc(u"main", 2, args, result);
    const Kt_RunError& last = Kt_RunError::Last();
    if (code != 0 && last.code != code) out += "another code in the last error\n";
    out += "code " + std::to_string(code) + "\nlast " + std::to_string(last.code) + " " +
           last.text.ToUtf8() + " at " + last.function.ToUtf8() + ":" + std::to_string(last.line);
    out += "\nresult " + Show(result) + "\nglobals " + Show(script.GetVariables());
    out += "\nhost " + Show(host.variables) + Show(host.plain) + Show(host.thing->properties);
    out += "\nreports " + host.TakeReports() + " at " + places + "\ncalls " + host.calls +
           "\nthing " + host.thing->log + "\n";
  }
  Kt_Expr::SetCompiled(true);
  return out;
}

}  // namespace kt::test
