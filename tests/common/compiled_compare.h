// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "script/Kt_Script.h"
#include "test_host.h"

namespace kt::test {

// All that can be seen of two runs of a script's main(5, 'abc'), the second with the variables as
// the first left them: codes, the last error, results, variables, reports, calls.
inline std::string RunToText(std::string_view text, bool is_compiled) {
  TestHost host;
  host.variables.AddVariable(u"hosted", kt_long{3});
  host.variables.AddVariable(u"obj", Kt_Variant(Kt_ObjectHolder(nullptr, host.thing.get())));
  host.thing->default_prop = u"size";
  host.plain.AddVariable(u"plain", u"8");
  Kt_RunBudget budget;
  budget.limit_steps = 300;
  Kt_Script script(&host);
  script.SetBudget(&budget);
  script.SetCompiled(is_compiled);
  Kt_Expr::SetCompiled(is_compiled);
  Kt_WStrList faults;
  script.Parse(u"made", Kt_WString::FromUtf8(text), nullptr, &faults);
  std::string out;
  for (int run = 0; run < 2; ++run) {
    Kt_Variant args[] = {Kt_Variant(kt_long{5}), Kt_Variant(u"abc")};
    Kt_Variant result;
    Kt_RunError::Forget();
    const kt_long code = script.ExecFunc(u"main", 2, args, result);
    const Kt_RunError& last = Kt_RunError::Last();
    if (code != 0 && last.code != code) out += "another code in the last error\n";
    out += "code " + std::to_string(code) + "\nlast " + std::to_string(last.code) + " " +
           last.text.ToUtf8();
    out += "\nresult " + Show(result) + "\nglobals " + Show(script.GetVariables());
    out += "\nhost " + Show(host.variables) + Show(host.plain) + Show(host.thing->properties);
    out += "\nreports " + host.TakeReports() + "\ncalls " + host.calls + "\nthing " +
           host.thing->log + "\n";
  }
  Kt_Expr::SetCompiled(true);
  return out;
}

}  // namespace kt::test
