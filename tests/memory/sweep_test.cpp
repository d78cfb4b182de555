// SPDX-License-Identifier: MIT
//
// The n-th request for memory fails. Either nothing is to be seen of it, or the operation answers
// kErrNoMemory, has reported it once, and has changed nothing; and done again it succeeds.
//
// Every run is a process of its own, so that what is made on first use is made in every one of
// them, and a crash is one fault among others. KT_SWEEP=2000 runs n = 1 to 2000; without it a
// sample is taken.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_Memory.h"
#include "common/compiled_compare.h"
#include "common/program_maker.h"
#include "dataset/Kt_GroupTotals.h"
#include "dataset/dataset_test_util.h"
#include "memory/alloc_faults.h"
#include "memory/child_process.h"
#include "script/Kt_Program.h"

namespace kt::test {
namespace {

// Counts what it is told and asks for no memory while requests fail.
class SweepHost : public Kt_ExprObject {
 public:
  SweepHost() : Kt_ExprObject(nullptr) {}
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (wrapper == nullptr || !name.EqualsNoCase(u"ds")) return EXPR_OBJ_UNKNOWN;
    info.SetDataset(wrapper);
    return EXPR_OBJ_DATASET;
  }
  Kt_ExprDataset* GetChildDataset(const Kt_WString&) override { return wrapper; }
  int IsSystemLogMode() override { return 1; }
  void OnRunTimeError(const Kt_Result& result) override {
    ++(result.GetCode() == kErrNoMemory ? memory_reports : other_reports);
  }

  Kt_ExprDataset* wrapper = nullptr;
  int memory_reports = 0;
  int other_reports = 0;
};

// One operation. A fresh object for every run.
class Scenario {
 public:
  virtual ~Scenario() = default;
  virtual void Prepare() {}
  virtual kt_long Run() = 0;
  // What the run gave / what must be as before when it failed; empty when a part of the work that
  // was done may stay.
  virtual std::string Result() = 0;
  virtual std::string State() { return {}; }
  virtual bool Reports() const { return true; }

  SweepHost host;
};

constexpr const char16_t* kScript =
    uR"(
  var greeting = 'hello', table[3];
  var total = 0;
  function join(items, by) {
    var out = '';
    for (var i = 0; i < length(items); i++) { if (i > 0) { out += by; } out += items[i]; }
    return out;
  }
  function change(x) { x[1] = 'changed' + x[0]; return x; }
  function main() {
    var list = ['first item of a list', 2.5, 'third'];
    var text = greeting + ' ' + toUpper('world and everything') + 7;
    total = 0;
    var i = 0;
    while (i < 20) { list[i] = text + i; total += i; i++; }
    change(ref(list));
    var parts = split('a,b,c,d;e', ',');
    switch (parts[1]) { case 'b': total += 100; break; default: total = -1; }
    if (replace(text, 'o', '00') == '') { return 'never'; }
    var cut = text; cut[0] = 'J';
    table[5] = join(parts, '-') + cut + lpad('7', '0', 40);
    return [total, join(list, '/'), parts, table, substr(text, 3, 9), 1 / 3 + '', total++ + 1];
  }
)";

constexpr const char16_t* kDataScript =
    uR"(
  var seen = '';
  function main() {
    var row = ds.AppendRow();
    ds.name[row] = 'pears and other fruit';
    ds.n[row] = 12;
    ds.InsertRow(0);
    ds.SetColumn(0, 'name', 'a first row, with a longer text');
    ds.SetColumn(0, 'n', 3);
    var t = ds;
    for (t.rowposition = 0; t.rowposition < 3; t.rowposition += 1) {
      t.n += 2;
      t.name = 'set to ' + t.n + ', with more text';
      t.SetColumn(t.rowposition, 'more', t.name + '!');
    }
    ds.Sort('name:d,n');
    var sum = ds.Sum('n * 2 + length(name)');
    ds.Filter('n > 2');
    seen = '';
    for (var r = 0; r < ds.rowcount; r++) { seen += ds.name[r] + ',' + toUpper(ds.name[r]) + ';'; }
    ds.DeleteRow(0);
    ds.Filter('');
    return [sum, seen, ds.Max('n'), ds.FindRow('name', 'cherry'), ds.rowcount];
  }
)";

constexpr std::u16string_view kCsv =
    u"n:long,name:string,price:currency,at:datetime,more\n"
    u"1,apple,1.50,2024-01-02,x\n2,banana and a longer text,2.25,2024-02-03,y\n"
    u"3,cherry,,2024-03-04,\n4,\"quoted, \"\"text\"\"\",7,2024-03-05,12\n";

class ScriptRun : public Scenario {
 public:
  explicit ScriptRun(const char16_t* text, bool compiled = true) : text_(text), script_(&host) {
    script_.SetCompiled(compiled);
  }
  void Prepare() override { (void)script_.Parse(name_, text_, nullptr, nullptr); }
  kt_long Run() override { return script_.ExecFunc(main_, 0, nullptr, result_); }
  std::string Result() override { return Show(result_); }

 protected:
  const Kt_WString name_{u"sweep"};
  const Kt_WString main_{u"main"};
  Kt_WString text_;
  Kt_Script script_;
  Kt_Variant result_;
};

class ScriptParse : public ScriptRun {
 public:
  ScriptParse() : ScriptRun(kScript) {}
  void Prepare() override {
    (void)script_.Parse(u"first",
                        u"var kept = 'kept', total = 7; function main() { kept = 'kept'; }",
                        nullptr, nullptr);
  }
  kt_long Run() override { return script_.Parse(name_, text_, nullptr, nullptr); }
  std::string Result() override {
    (void)script_.ExecFunc(main_, 0, nullptr, result_);
    return Show(result_) + Show(script_.GetVariables());
  }
  std::string State() override {
    std::string out = Show(script_.GetVariables());
    for (kt_long at = 0; at < script_.GetFuncs().GetCount(); ++at) {
      const Kt_ScriptFunc& func = *script_.GetFuncs().GetItem(at);
      out += func.GetName().ToUtf8() + ":" + std::to_string(func.GetArgs().GetCount()) + ":" +
             std::to_string(func.GetBody().GetCount()) + " ";
    }
    return out;
  }
};

// What the script has already is added to, the rest is shared.
class ProgramLoad : public ScriptParse {
 public:
  void Prepare() override {
    ScriptParse::Prepare();
    program_ = Kt_Program::Make(name_, text_, nullptr, nullptr);
  }
  kt_long Run() override { return script_.Load(program_); }

 protected:
  std::shared_ptr<const Kt_Program> program_;
};

class ProgramRun : public ScriptRun {
 public:
  explicit ProgramRun(bool compiled = true) : ScriptRun(kScript, compiled) {}
  void Prepare() override { (void)script_.Load(Kt_Program::Make(name_, text_, nullptr, nullptr)); }
};

class ProgramMake : public ProgramLoad {
 public:
  kt_long Run() override {
    program_ = Kt_Program::Make(name_, text_, nullptr, nullptr);
    return program_ != nullptr ? kOk : kErrNoMemory;
  }
  std::string Result() override {
    (void)script_.Load(program_);
    return ScriptParse::Result();
  }
  bool Reports() const override { return false; }
};

class ExprRun : public Scenario {
 public:
  kt_long Run() override { return expr_.ExecExpr(&host, value_); }
  std::string Result() override { return Show(value_); }

 private:
  Kt_Expr expr_{
      u"toUpper('some text to see') + length(replace('aXbXc', 'X', 'yy')) + (1 / 3)"
      u" + split('a,b and more,c', ',')[1]"};
  Kt_Variant value_;
};

class DataRun : public ScriptRun {
 public:
  explicit DataRun(bool compiled = true) : ScriptRun(kDataScript, compiled) {}
  void Prepare() override {
    ScriptRun::Prepare();
    data_ = MakeDataset(u"ds", kCsv);
    wrapper_ = std::make_unique<Kt_ExprDataset>(data_.get(), &host);
    host.wrapper = wrapper_.get();
  }
  kt_long Run() override {
    if (runs_++ > 0) (void)data_->LoadCSV(kCsv);
    return ScriptRun::Run();
  }
  std::string Result() override { return Show(result_) + ShowTable(*data_); }

 private:
  std::unique_ptr<Kt_Dataset> data_;
  std::unique_ptr<Kt_ExprDataset> wrapper_;
  int runs_ = 0;
};

// Operations of the store that a host calls, over a dataset with changes in it.
class StoreRun : public Scenario {
 public:
  using Operation = kt_long (*)(Kt_Dataset& data, StoreRun& run);
  using Preparation = void (*)(Kt_Dataset& data, StoreRun& run);
  StoreRun(Operation operation, Preparation prepare) : operation_(operation), prepare_(prepare) {}
  void Prepare() override {
    (void)data.LoadCSV(kCsv);
    (void)data.SetColumn(1, 1, u"changed");
    (void)data.DeleteRow(0);
    (void)data.AppendRow();
    (void)data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kGroup, data.GetColIndex(u"name"));
    (void)other.LoadCSV(kCsv);
    (void)data.SaveDataXml(xml);
    Kt_Buffer out;
    (void)data.Save2(out);
    bytes.assign(out.GetData(), out.GetData() + out.GetSize());
    prepare_(data, *this);
  }
  kt_long Run() override { return operation_(data, *this); }
  std::string Result() override { return State() + saved.ToUtf8() + std::string(buffer.View()); }
  std::string State() override {
    Kt_WString text;
    (void)data.SaveDataXml(text);
    return text.ToUtf8() + ShowTable(data) + (data.GetFilterStat() ? "f" : "-");
  }
  bool Reports() const override { return false; }

  Kt_Dataset data{u"ds"};
  Kt_Dataset other{u"other"};
  Kt_WString xml;
  std::vector<std::uint8_t> bytes;
  const Kt_Variant fresh{u"a text that is not there yet"};
  Kt_WString saved;
  Kt_Buffer buffer;

 private:
  Operation operation_;
  Preparation prepare_;
};

void PrepareNothing(Kt_Dataset&, StoreRun&) {}

// A logical dataset that does not show the last row of its source yet.
void ShowOther(Kt_Dataset& data, StoreRun& run) {
  data.SetSource(&run.other);
  data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kGroup, data.GetColIndex(u"name"));
  data.AddColumn(u"own", u"string");
  data.SetColumn(0, data.GetColIndex(u"own"), run.fresh);
  run.other.DeleteRow(1);
  run.other.AppendRow();
}

void AddPivotKey(Kt_Dataset& data, StoreRun&) {
  data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, data.GetColIndex(u"name"));
}

// Rows of several chunks, with few keys, so that sorts count them and leave a list.
void LoadMany(Kt_Dataset& data) {
  Kt_WString csv = u"name:string,n:long,x:double\n";
  for (int row = 0; row < 1200; ++row) {
    csv += Kt_WString::FromUtf8("key " + std::to_string(row * 7 % 9) + "," +
                                std::to_string(row * 5 % 4) + "," + std::to_string(row) + ".5\n");
  }
  (void)data.LoadCSV(csv);
  data.ModifyKeyStat(Kt_KeyCall::kClear, Kt_KeyType::kGroup, 0);
  data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kSum);
}
void PrepareMany(Kt_Dataset& data, StoreRun&) { LoadMany(data); }
void PrepareSorted(Kt_Dataset& data, StoreRun&) {
  LoadMany(data);
  (void)data.Sort(u"name,n", true, false, true);
}
void PrepareCross(Kt_Dataset& data, StoreRun&) {
  LoadMany(data);
  data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 0);
  data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 1);
}

// Rows and expressions of a wrapper.
class WrapperRun : public Scenario {
 public:
  void Prepare() override {
    LoadMany(data_);
    (void)data_.SetColumn(7, 2, Kt_Variant());
  }
  std::string State() override { return ShowTable(data_); }

 protected:
  Kt_Dataset data_{u"ds"};
  Kt_ExprDataset wrapper_{&data_, &host};
};

class FilterRun : public WrapperRun {
 public:
  kt_long Run() override {
    Kt_Variant result;
    return wrapper_.CallMethod(method_, &args_, result);
  }
  std::string Result() override { return State(); }

 private:
  const Kt_WString method_{u"Filter"};
  const Kt_VariantList args_{u"n > 1 && x < 900.5"};
};

// Adds a part to what has been added already.
class TotalsRun : public WrapperRun {
 public:
  void Prepare() override {
    WrapperRun::Prepare();
    (void)totals_.Add(wrapper_);
    (void)data_.SetColumn(3, 0, u"a key that is not there yet");
    (void)data_.SetColumn(5, 1, kt_long{99});
  }
  kt_long Run() override {
    try {
      return totals_.Add(wrapper_);
    } catch (const std::bad_alloc& failure) {
      return NoteMemoryFailure(failure);
    }
  }
  std::string Result() override { return State(); }
  std::string State() override {
    Kt_Dataset answer(u"answer");
    (void)totals_.Finish(answer);
    return ShowTable(answer);
  }
  bool Reports() const override { return false; }

 private:
  Kt_GroupTotals totals_{{{u"name", u"name"}, {u"n", u"n"}},
                         {{u"sum", Kt_Aggregate::kSum, u"x"},
                          {u"avg", Kt_Aggregate::kAvg, u"x"},
                          {u"max", Kt_Aggregate::kMax, u"x"},
                          {u"count", Kt_Aggregate::kCount, u"n"}},
                         {}};
};

using Maker = std::unique_ptr<Scenario> (*)();

template <auto kOperation, auto kPrepare = PrepareNothing>
std::unique_ptr<Scenario> Store() {
  return std::make_unique<StoreRun>(
      [](Kt_Dataset& data, StoreRun& run) {
        const kt_long answer = kOperation(data, run);
        return answer < 0 ? answer : kOk;
      },
      kPrepare);
}

// An operation that answers nothing: what it lacked is in the count of failures.
template <auto kOperation, auto kPrepare = PrepareNothing>
std::unique_ptr<Scenario> Silent() {
  return Store<[](Kt_Dataset& data, StoreRun&) {
    const std::uint32_t before = MemoryFailures();
    kOperation(data);
    return MemoryFailures() == before ? kOk : kErrNoMemory;
  },
               kPrepare>();
}

const std::map<std::string, Maker> kScenarios = {
    {"script", []() -> std::unique_ptr<Scenario> { return std::make_unique<ScriptRun>(kScript); }},
    {"script_evaluated",
     []() -> std::unique_ptr<Scenario> { return std::make_unique<ScriptRun>(kScript, false); }},
    {"parse", []() -> std::unique_ptr<Scenario> { return std::make_unique<ScriptParse>(); }},
    {"program_load", []() -> std::unique_ptr<Scenario> { return std::make_unique<ProgramLoad>(); }},
    {"program_make", []() -> std::unique_ptr<Scenario> { return std::make_unique<ProgramMake>(); }},
    {"program_run", []() -> std::unique_ptr<Scenario> { return std::make_unique<ProgramRun>(); }},
    {"program_evaluated",
     []() -> std::unique_ptr<Scenario> { return std::make_unique<ProgramRun>(false); }},
    {"expression", []() -> std::unique_ptr<Scenario> { return std::make_unique<ExprRun>(); }},
    {"dataset_script", []() -> std::unique_ptr<Scenario> { return std::make_unique<DataRun>(); }},
    {"dataset_script_evaluated",
     []() -> std::unique_ptr<Scenario> { return std::make_unique<DataRun>(false); }},
    {"load_csv", Store<[](Kt_Dataset& data, StoreRun&) { return data.LoadCSV(kCsv); }>},
    {"load_xml", Store<[](Kt_Dataset& data, StoreRun& run) { return data.LoadDataXml(run.xml); }>},
    {"load_bin",
     Store<[](Kt_Dataset& data, StoreRun& run) { return data.LoadDataBin(run.bytes); }>},
    {"save_csv", Store<[](Kt_Dataset& data, StoreRun& run) { return data.SaveCSV(run.saved); }>},
    {"save_xml",
     Store<[](Kt_Dataset& data, StoreRun& run) { return data.SaveDataXml(run.saved); }>},
    {"save_bin", Store<[](Kt_Dataset& data, StoreRun& run) { return data.Save2(run.buffer); }>},
    {"append", Store<[](Kt_Dataset& data, StoreRun&) { return data.AppendRow(3); }>},
    {"append_one", Store<[](Kt_Dataset& data, StoreRun&) { return data.AppendRow(); }>},
    {"sort_many",
     Store<[](Kt_Dataset& data, StoreRun&) { return data.Sort(u"name,n:d"); }, PrepareMany>},
    {"append_sorted",
     Store<[](Kt_Dataset& data, StoreRun&) { return data.AppendRow(2); }, PrepareSorted>},
    {"insert_sorted",
     Store<[](Kt_Dataset& data, StoreRun&) { return data.InsertRow(700, 3); }, PrepareSorted>},
    {"move_sorted",
     Store<[](Kt_Dataset& data, StoreRun&) { return data.MoveRow(700, 3); }, PrepareSorted>},
    {"exchange_sorted",
     Store<[](Kt_Dataset& data, StoreRun&) { return data.ExchangeRow(700, 3); }, PrepareSorted>},
    {"apply_sorted", Silent<[](Kt_Dataset& data) { data.ApplyChange(); },
                            [](Kt_Dataset& data, StoreRun& run) {
                              PrepareSorted(data, run);
                              (void)data.DeleteRow(700);
                              (void)data.DeleteRow(3);
                            }>},
    {"group_sorted", Silent<[](Kt_Dataset& data) { data.RecalcGroup(); }, PrepareSorted>},
    {"cross_table",
     Store<[](Kt_Dataset& data, StoreRun&) { return data.RecalcPivot(); }, PrepareCross>},
    {"filter_rows", []() -> std::unique_ptr<Scenario> { return std::make_unique<FilterRun>(); }},
    {"group_totals", []() -> std::unique_ptr<Scenario> { return std::make_unique<TotalsRun>(); }},
    {"insert", Store<[](Kt_Dataset& data, StoreRun&) { return data.InsertRow(1, 2); }>},
    {"delete", Store<[](Kt_Dataset& data, StoreRun&) { return data.DeleteRow(1); }>},
    {"set", Store<[](Kt_Dataset& data, StoreRun& run) { return data.SetColumn(2, 1, run.fresh); }>},
    {"set_number", Store<[](Kt_Dataset& data, StoreRun&) { return data.SetColumn(2, 0, 77); }>},
    {"set_own_cell", Store<[](Kt_Dataset& data, StoreRun& run) {
       kt_long col = -1;
       kt_long answer = 0;
       (void)data.WriteOwnCell(2, u"name", col, run.fresh, answer);
       return answer;
     }>},
    {"add_column", Store<[](Kt_Dataset& data, StoreRun& run) {
       return data.AddColumn(run.fresh.ToString(), u"string");
     }>},
    {"sort", Store<[](Kt_Dataset& data, StoreRun&) { return data.Sort(u"name:d, n"); }>},
    {"filter", Store<[](Kt_Dataset& data, StoreRun&) { return data.Filter(1); }>},
    {"copy", Store<[](Kt_Dataset& data, StoreRun& run) { return data.Copy(run.other); }>},
    {"append_dataset",
     Store<[](Kt_Dataset& data, StoreRun& run) { return data.AppendDataset(run.other); }>},
    {"select", Store<[](Kt_Dataset& data, StoreRun&) { return data.SelectRow(1); }>},
    {"move", Store<[](Kt_Dataset& data, StoreRun&) { return data.MoveRow(2, 0); }>},
    {"local_filter", Store<[](Kt_Dataset& data, StoreRun&) { return data.LocFilter(1); }>},
    {"row_type", Store<[](Kt_Dataset& data, StoreRun&) { return data.SetRowType(2, 2); }>},
    {"row_type_update",
     Store<[](Kt_Dataset& data, StoreRun&) { return data.SetRowType(3, kRowTypeUpdate); }>},
    {"row_type_normal",
     Store<[](Kt_Dataset& data, StoreRun&) { return data.SetRowType(0, kRowTypeNormal); }>},
    {"insert_many", Store<[](Kt_Dataset& data, StoreRun&) { return data.InsertRow(1, 5000); }>},
    {"exchange", Store<[](Kt_Dataset& data, StoreRun&) { return data.ExchangeRow(0, 2); }>},
    {"delete_selected", Store<[](Kt_Dataset& data, StoreRun&) { return data.DeleteSelected(); },
                              [](Kt_Dataset& data, StoreRun&) { data.SelectRow(1); }>},
    {"set_source",
     Store<[](Kt_Dataset& data, StoreRun& run) { return data.SetSource(&run.other); }>},
    {"source_rows", Silent<[](Kt_Dataset& data) { data.ResetRecIndex(); }, ShowOther>},
    {"source_group", Silent<[](Kt_Dataset& data) { data.RecalcGroup(); }, ShowOther>},
    {"group_again", Silent<[](Kt_Dataset& data) { data.RecalcGroup(); },
                           [](Kt_Dataset& data, StoreRun&) { data.RecalcGroup(); }>},
    {"pivot", Store<[](Kt_Dataset& data, StoreRun&) { return data.RecalcPivot(); }, AddPivotKey>},
    {"pivot_again", Store<[](Kt_Dataset& data, StoreRun&) { return data.RecalcPivot(); },
                          [](Kt_Dataset& data, StoreRun& run) {
                            AddPivotKey(data, run);
                            data.RecalcPivot();
                          }>},
    {"delete_all", Store<[](Kt_Dataset& data, StoreRun&) { return data.DeleteAll(); }>},
    {"add_constant", Store<[](Kt_Dataset& data, StoreRun& run) {
       return data.AddConstColumn(run.fresh.ToString(), run.fresh);
     }>},
    {"apply_change", Silent<[](Kt_Dataset& data) { data.ApplyChange(); }>},
    {"reset", Silent<[](Kt_Dataset& data) { data.Reset(); }>},
    {"mark_all", Silent<[](Kt_Dataset& data) { data.SetUpdate(true); }>},
    {"clear", Silent<[](Kt_Dataset& data) { data.ClearAll(); }>},
    {"filter_reset", Silent<[](Kt_Dataset& data) { data.ResetRecIndex(); }>},
    {"unfilter", Silent<[](Kt_Dataset& data) { data.UnFilter(); }>},
    {"group", Silent<[](Kt_Dataset& data) { data.RecalcGroup(); }>},
    {"merge", Store<[](Kt_Dataset& data, StoreRun& run) { return data.Merge(run.other); }>},
};

// The fault of one run; empty for none. "end" when no request failed any more.
std::string RunOnce(Maker maker, long request, Faults faults, const std::string& expected) {
  const std::unique_ptr<Scenario> scenario = maker();
  scenario->Prepare();
  const std::string before = scenario->State();
  kt_long code = kOk;
  bool has_thrown = false;
  ArmAllocFaults(request, faults);
  try {
    code = scenario->Run();
  } catch (...) {
    has_thrown = true;
  }
  const bool has_failed = DisarmAllocFaults() >= request;
  if (has_thrown) return "an exception came out";
  const int reports = scenario->host.memory_reports;
  if (scenario->host.other_reports > 0) return "reported something else";
  if (!has_failed) return "end";
  if (code == kOk) {
    if (reports != 0) return "reported, but answered 0";
    return scenario->Result() == expected ? "" : "wrong answer: " + scenario->Result();
  }
  if (code != kErrNoMemory) return "answered " + ShowCode(code);
  if (reports != (scenario->Reports() ? 1 : 0)) return std::to_string(reports) + " reports";
  if (scenario->State() != before) return "left changed: " + scenario->State();
  const kt_long again = scenario->Run();
  if (again != kOk) return "the second run answered " + ShowCode(again);
  const std::string result = scenario->Result();
  return result == expected ? "" : "wrong second answer: " + result;
}

// What goes wrong in a random program while a request of its first run fails; the host's callbacks
// fail as well. Its second run has memory again. "end" when no request failed any more.
std::string RunRandomly(const std::string& text, bool is_compiled, long request, Faults faults) {
  ProgramHost host;
  host.SetUp(text);
  Kt_Script script(&host);
  script.SetCompiled(is_compiled);
  host.Begin(script, 120);
  (void)host.Load(script);
  const Kt_WString main{u"main"};
  Kt_Variant args[] = {Kt_Variant(kt_long{5}), Kt_Variant(u"abc")};
  Kt_Variant result;
  bool has_thrown = false;
  ArmAllocFaults(request, faults);
  try {
    (void)script.ExecFunc(main, 2, args, result);
  } catch (...) {
    has_thrown = true;
  }
  const bool has_failed = DisarmAllocFaults() >= request;
  if (has_thrown) return "an exception came out";
  host.Begin(script, 120);
  const kt_long again = script.ExecFunc(main, 2, args, result);
  if (again == kErrNoMemory) return "the second run lacks memory";
  return has_failed ? "" : "end";
}

// KT_RANDOM_PROGRAMS=100 takes so many.
TEST(SweepOfRandomPrograms, EndCleanly) {
  const char* const wanted = std::getenv("KT_RANDOM_PROGRAMS");
  const unsigned count = wanted != nullptr ? static_cast<unsigned>(std::atoi(wanted)) : 8;
  for (unsigned seed = 0; seed < count; ++seed) {
    std::mt19937 random(seed);
    std::vector<std::uint8_t> bytes(400);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random() >> 8);
    const std::string text = ProgramMaker(bytes.data(), bytes.size()).Program();
    for (const bool is_compiled : {true, false}) {
      for (const Faults kind : {Faults::kOne, Faults::kAllFromThere}) {
        for (long request = 1; request < 5000; request = NextRequest(request)) {
          const std::string fault =
              InChild([&] { return RunRandomly(text, is_compiled, request, kind); });
          if (fault == "end") break;
          ASSERT_EQ(fault, "") << "seed " << seed << ", request " << request
                               << (kind == Faults::kOne ? "" : " and later")
                               << (is_compiled ? ", compiled\n" : ", walked\n") << text;
        }
      }
    }
  }
}

class Sweep : public testing::TestWithParam<std::pair<const std::string, Maker>> {};

TEST_P(Sweep, FailsCleanly) {
  const Maker maker = GetParam().second;
  const std::string expected = InChild([maker] {
    const std::unique_ptr<Scenario> scenario = maker();
    scenario->Prepare();
    if (const kt_long code = scenario->Run()) return "!answered " + ShowCode(code);
    return (scenario->host.other_reports > 0 ? "!" : "") + scenario->Result();
  });
  ASSERT_NE(expected[0], '!') << expected;
  if (const char* only = std::getenv("KT_ONLY")) {
    std::printf("%s\n",
                RunOnce(maker, std::atol(only),
                        std::getenv("KT_LATER") ? Faults::kAllFromThere : Faults::kOne, expected)
                    .c_str());
    return;
  }
  const long whole = SweepEnd();
  std::map<std::string, int> faults;
  long runs = 0;
  for (const Faults kind : {Faults::kOne, Faults::kAllFromThere}) {
    for (long request = 1; whole == 0 || request <= whole; request = NextRequest(request)) {
      const std::string fault = InChild([&] { return RunOnce(maker, request, kind, expected); });
      ++runs;
      if (fault == "end") break;
      if (!fault.empty() && ++faults[fault.substr(0, 60)] <= 1) {
        ADD_FAILURE() << "request " << request << (kind == Faults::kOne ? "" : " and later") << ": "
                      << fault.substr(0, 600);
      }
    }
  }
  if (whole > 0) std::printf("%s: %ld runs\n", GetParam().first.c_str(), runs);
  for (const auto& [fault, count] : faults) std::printf("%6d %s\n", count, fault.c_str());
}

INSTANTIATE_TEST_SUITE_P(Memory, Sweep, testing::ValuesIn(kScenarios.begin(), kScenarios.end()),
                         [](const auto& info) { return info.param.first; });

}  // namespace
}  // namespace kt::test
