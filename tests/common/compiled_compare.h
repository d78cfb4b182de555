// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <string_view>

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"
#include "expr/Kt_Expr.h"
#include "script/Kt_Program.h"
#include "script/Kt_Script.h"
#include "test_host.h"

namespace kt::test {

// A wrapper of a host's own class: it tells its events, and has members that no dataset has.
class OwnDataset : public Kt_ExprDataset {
 public:
  OwnDataset(Kt_Dataset* dataset, TestHost& host) : Kt_ExprDataset(dataset, &host), host_(host) {
    SetEvents(1);
  }
  int GetMethodInfo(const Kt_WString& name, Kt_Getter& call) override {
    host_.calls += "ask " + name.ToUtf8() + ";";
    if (!name.EqualsNoCase(u"GetRowCount")) return Kt_ExprDataset::GetMethodInfo(name, call);
    call = kHandler<&OwnDataset::GetOwnCount>;
    return 1;
  }
  int GetPropertyInfo(const Kt_WString& name, int& flags, Kt_Getter& get, Kt_Setter& set) override {
    host_.calls += "ask " + name.ToUtf8() + ";";
    return Kt_ExprDataset::GetPropertyInfo(name, flags, get, set);
  }
  void OnColumnChanged(const Kt_WString& column, const Kt_Variant&, const Kt_Variant& new_value,
                       int row, const Kt_Component*, int) override {
    host_.calls += column.ToUtf8() + std::to_string(row) + "=" + Show(new_value) + ";";
  }
  void OnRowInserted(int row, int) override { host_.calls += "+" + std::to_string(row) + ";"; }

 private:
  kt_long GetOwnCount(const Kt_VariantList*, Kt_Variant& result) {
    result = kt_long{77};
    return kOk;
  }

  TestHost& host_;
};

// A host that also has probe(kind, name, value), which is called with the context of its caller and
// does to it what callbacks may do, and two names of one dataset: `rows` through a plain wrapper
// and `own` through one of its own class.
class ProgramHost : public TestHost {
 public:
  ProgramHost() : data(std::make_unique<Kt_Dataset>(u"data")) {
    (void)data->LoadCSV(u"n:long,price:double,name:string\n1,1.5,one\n2,2.5,two\n3,,three\n");
    rows = std::make_unique<Kt_ExprDataset>(data.get(), this);
    own = std::make_unique<OwnDataset>(data.get(), *this);
    (void)rows->SetRowPosition(1);
  }

  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    Kt_ExprDataset* found = nullptr;
    if (name.EqualsNoCase(u"rows")) found = rows.get();
    if (name.EqualsNoCase(u"own")) found = own.get();
    if (found == nullptr) return TestHost::GetVarType(name, info);
    info.SetDataset(found);
    return EXPR_OBJ_DATASET;
  }
  std::uint64_t GetNameVersion() override { return name_version; }
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

  // The names that the host has besides those, for a script of that text.
  void SetUp(std::string_view script_text) {
    variables.AddVariable(u"hosted", kt_long{3});
    variables.AddVariable(u"obj", Kt_Variant(Kt_ObjectHolder(nullptr, thing.get())));
    thing->default_prop = u"size";
    plain.AddVariable(u"plain", u"8");
    variables.AddVariable(u"table", Kt_Variant(Kt_ObjectHolder(nullptr, rows.get())));
    name_version = script_text.size() % 2;
    text = Kt_WString::FromUtf8(script_text);
  }

  // A run begins, with a budget of its own.
  void Begin(Kt_Script& script, int limit_steps) {
    budget = Kt_RunBudget();
    cancel = false;
    budget.limit_steps = limit_steps;
    budget.cancel = &cancel;
    budget.deadline = std::chrono::steady_clock::now() + std::chrono::hours(1);
    script.SetBudget(&budget);
  }

  Kt_RunBudget budget;
  std::atomic<bool> cancel{false};
  Kt_WString text;  // of the script
  std::shared_ptr<const Kt_Program> program;
  std::uint64_t name_version = 0;  // 0: asked every time
  std::unique_ptr<Kt_Dataset> data;
  std::unique_ptr<Kt_ExprDataset> rows;
  std::unique_ptr<OwnDataset> own;

 private:
  // What may become of a dataset while scripts use it.
  void ChangeData(kt_long how) {
    if (name_version != 0) ++name_version;
    if (data == nullptr) return;
    switch (how) {
      case 0: data->ClearAll(); break;  // the columns, too
      case 1: (void)data->AddColumn(u"name"); break;
      case 2: (void)data->AddColumn(u"n", u"string"); break;
      case 3: (void)data->DeleteRow(0); break;
      case 4: (void)data->LoadCSV(u"name:string,n:double,more:long\nx,7.5,1\ny,8.5,2\n"); break;
      case 5: rows = std::make_unique<Kt_ExprDataset>(data.get(), this); break;
      case 6:
        (void)data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kGroup, 0);
        (void)data->RecalcGroup();
        break;
      case 7: data.reset(); break;
      case 8: (void)data->Filter(0); break;
      case 9: (void)data->AddLogicalColumn(u"twice", u"n * 2"); break;
      case 10: rows->SetEvents(1); break;
      default: own.reset(); break;
    }
  }

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
      case 8: host.ChangeData(value.ToInteger()); break;
      case 9: host.LoadMore(script); break;
      case 10: host.WatchThing(script, name, value); break;
      case 11:
        if (value.ToInteger() == 0) host.thing.reset();
        break;
      case 12: host.Stop(value.ToInteger()); break;
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

  // More of the script, then another one in its place that has the names of the first: in what
  // order it is told that a name has gone is not the same.
  void LoadMore(Kt_Script& script) {
    if (++reloads >= 3) return;
    if (reloads == 1) {
      (void)script.Parse(u"more",
                         u"function f(x, y) { log('more'); return x; }\n"
                         u"var fresh = 5, s = 'again'; function same(v) { return [v, s]; }\n",
                         nullptr, nullptr);
      return;
    }
    script.Clear();
    (void)script.Parse(u"other",
                       u"var list = [1, [2, 3]], fresh = 'new', g = 4, s = 5;\n"
                       u"function f(x, y, z) { x = z; return g; }\n"
                       u"function change(v, w) { w = g; return v; }\n"
                       u"function same(v) { return v; } function main() { return f(g); }\n",
                       nullptr, nullptr);
  }

  // From here on the object changes globals and data when it is read or asked for its text.
  void WatchThing(Kt_Script& script, const Kt_WString& name, const Kt_Variant& value) {
    if (thing == nullptr) return;
    thing->on_access = thing->on_text = [this, &script, name, value, left = 3]() mutable {
      if (left-- <= 0) return;
      Kt_VariableList& globals = script.GetVariables();
      const kt_long how = value.ToInteger();
      if (how < 2) globals.AddVariable(name, value);
      if (how > 1) ChangeData(how);
    };
  }

  // The run has to end here.
  void Stop(kt_long how) {
    if (how == 7) cancel = true;
    if (how == 12) budget.deadline -= std::chrono::hours(2);
    (void)Kt_WorkMeter::Current()->LookNow();
  }

  int reloads = 0;
};

// All that can be seen of two runs of a script's main(5, 'abc'), the second with the variables as
// the first left them: codes, the last error, results, variables, reports, calls. With a `program`
// the script has that loaded, and not the text. The second run may take `more_steps`.
inline std::string RunToText(std::string_view text, bool is_compiled, int limit_steps = 300,
                             const std::shared_ptr<const Kt_Program>& program = nullptr,
                             int more_steps = 0) {
  ProgramHost host;
  host.program = program;
  host.SetUp(text);
  Kt_Script script(&host);
  script.SetCompiled(is_compiled);
  Kt_Expr::SetCompiled(is_compiled);
  std::string places;
  // Where it was when something was reported.
  host.on_report = [&] {
    for (const Kt_ScriptPosition& call : script.GetCallStack()) {
      places += call.function.ToUtf8() + ":" + std::to_string(call.line) + " ";
    }
  };
  host.Begin(script, limit_steps);
  (void)host.Load(script);
  std::string out;
  for (int run = 0; run < 2; ++run) {
    host.Begin(script, limit_steps + run * more_steps);
    Kt_Variant args[] = {Kt_Variant(kt_long{5}), Kt_Variant(u"abc")};
    Kt_Variant result;
    Kt_RunError::Forget();
    const kt_long code = script.ExecFunc(u"main", 2, args, result);
    const Kt_RunError& last = Kt_RunError::Last();
    if (code != 0 && last.code != code) out += "another code in the last error\n";
    out += "code " + std::to_string(code) + "\nlast " + std::to_string(last.code) + " " +
           last.text.ToUtf8() + " at " + last.function.ToUtf8() + ":" + std::to_string(last.line);
    out += "\nresult " + Show(result) + "\nglobals " + Show(script.GetVariables());
    out += "\nhost " + Show(host.variables) + Show(host.plain);
    out += "\nreports " + host.TakeReports() + " at " + places + "\ncalls " + host.calls +
           "\nthing " +
           (host.thing != nullptr ? Show(host.thing->properties) + host.thing->log : "gone") +
           "\ndata " +
           (host.data != nullptr
                ? ShowTable(*host.data, {.cell = QuotedCell, .ids = true, .states = true})
                : "gone") +
           " @" + std::to_string(host.rows->GetRowPosition()) + "\n";
  }
  Kt_Expr::SetCompiled(true);
  return out;
}

// A script run both ways with the same budget.
struct BothWays {
  enum class Likeness { kSame, kClose, kDifferent };
  Likeness likeness;
  std::string compiled;
  std::string walked;
};

// The text without what the object `thing` has noted of being asked for its value.
inline std::string WithoutAsking(std::string text) {
  constexpr std::string_view kAsked = "get size;";
  for (std::size_t at = 0; (at = text.find(kAsked, at)) != std::string::npos;) {
    text.erase(at, kAsked.size());
  }
  return text;
}

// Close are runs that differ as docs/execution.md says that they may. Long texts and lists cost
// their length when they are copied, and code mostly copies fewer: it may end a few statements
// further or earlier, or get by without the copy of a list of 100,000 items. And an object that is
// an index is asked for its text where the element is read.
inline BothWays RunBothWays(std::string_view text, int limit_steps) {
  BothWays ways{BothWays::Likeness::kSame, RunToText(text, true, limit_steps),
                RunToText(text, false, limit_steps)};
  if (ways.compiled == ways.walked) return ways;
  bool is_close = WithoutAsking(ways.compiled) == WithoutAsking(ways.walked);
  constexpr int kMore[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, -1, -2, -3, 4000};
  for (const int first : kMore) {
    if (limit_steps + first < 1) continue;
    for (const int second : kMore) {
      if (is_close || limit_steps + second < 1) continue;
      is_close =
          ways.compiled == RunToText(text, false, limit_steps + first, nullptr, second - first);
    }
  }
  ways.likeness = is_close ? BothWays::Likeness::kClose : BothWays::Likeness::kDifferent;
  return ways;
}

}  // namespace kt::test
