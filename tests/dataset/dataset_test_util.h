// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "common/test_host.h"
#include "dataset/Kt_ExprDataset.h"
#include "expr/Kt_Expr.h"
#include "script/Kt_Script.h"

namespace kt::test {

// A dataset from CSV text, "n:long,name:string\n1,apple\n": its rows are normal ones.
inline std::unique_ptr<Kt_Dataset> MakeDataset(const char16_t* id, std::u16string_view csv) {
  auto dataset = std::make_unique<Kt_Dataset>(id);
  if (!csv.empty()) (void)dataset->LoadCSV(csv);
  return dataset;
}

// What has to hold of a dataset whatever happened to it; null when it was destroyed.
inline void ExpectWhole(const Kt_Dataset* data) {
  if (data == nullptr) return;
  EXPECT_FALSE(data->IsEvaluating());
  EXPECT_LE(data->GetRowCount(), data->GetRowCountNF());
  (void)ShowTable(*data);
  Kt_Dataset copy(*data);
  copy.ModifyKeyStat(Kt_KeyCall::kClear, Kt_KeyType::kGroup, 0);
  copy.RecalcGroup();
  const kt_long rows = copy.GetRowCountNF();
  const kt_long added = copy.AppendRow();
  EXPECT_EQ(added, copy.IsPhysical() ? copy.GetRowCount() - 1 : -1);
  EXPECT_EQ(copy.GetRowCountNF(), rows + (copy.IsPhysical() ? 1 : 0));
}

// What the wrappers of one test were asked and told. Outlives them.
struct EventRecord {
  std::string text;
  std::string refused;  // the event that answers 0: "canpos" or "cancol"
  int has_fail = 1;     // what IsExistsEvent answers
  std::function<void(const std::string& event)> on_event;

  // Everything since the last question.
  std::string Take() {
    std::string out = std::exchange(text, {});
    if (!out.empty()) out.pop_back();
    return out;
  }
};

// A wrapper that writes down its events, and lets the test act inside of them, up to destroying the
// wrapper itself:
//
//   canpos 0>1  pos 0>1  inserted 2+1  deleting 0+3  deleted 1+1  load 8  fail 83B01104(0)
//   cancol price 1>2 @0  col price 1>2 @0
class RecordingDataset : public Kt_ExprDataset {
 public:
  RecordingDataset(Kt_Dataset* dataset, Kt_ExprObject* parent, std::shared_ptr<EventRecord> record)
      : Kt_ExprDataset(dataset, parent), record_(std::move(record)) {
    SetEvents(1);
  }

  bool AnswersAsDataset() const override { return true; }
  int IsExistsEvent(int event) override { return event == kEventFail ? record_->has_fail : 0; }
  void OnLoadCompleted(int, const Kt_WString&, int reason) override {
    Note("load", std::to_string(reason));
  }
  void OnFail(const Kt_Result& result) override { Note("fail", Show(result)); }
  int CanColumnChange(const Kt_WString& column, const Kt_Variant& old_value,
                      const Kt_Variant& new_value, int row, const Kt_Component*, int) override {
    return Note("cancol", Change(column, old_value, new_value, row));
  }
  void OnColumnChanged(const Kt_WString& column, const Kt_Variant& old_value,
                       const Kt_Variant& new_value, int row, const Kt_Component*, int) override {
    Note("col", Change(column, old_value, new_value, row));
  }
  int CanRowPosChange(int old_row, int new_row) override {
    return Note("canpos", Pair(old_row, ">", new_row));
  }
  void OnRowPosChanged(int old_row, int new_row) override {
    Note("pos", Pair(old_row, ">", new_row));
  }
  void OnRowInserted(int row, int count) override { Note("inserted", Pair(row, "+", count)); }
  void OnRowDeleting(int row, int count) override { Note("deleting", Pair(row, "+", count)); }
  void OnRowDeleted(int row, int count) override { Note("deleted", Pair(row, "+", count)); }

 private:
  static std::string Pair(int a, const char* between, int b) {
    return std::to_string(a) + between + std::to_string(b);
  }
  static std::string Change(const Kt_WString& column, const Kt_Variant& old_value,
                            const Kt_Variant& new_value, int row) {
    return column.ToUtf8() + " " + Show(old_value) + ">" + Show(new_value) + " @" +
           std::to_string(row);
  }
  int Note(const std::string& event, const std::string& detail) const {
    const std::shared_ptr<EventRecord> record = record_;  // the wrapper may go in on_event
    record->text += event + " " + detail + " ";
    if (record->on_event) record->on_event(event);
    return record->refused == event ? 0 : 1;
  }

  std::shared_ptr<EventRecord> record_;
};

// A host that knows datasets by name: the first one is the default one.
class DataHost : public TestHost {
 public:
  Kt_WString GetID() const override { return u"host"; }
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    Kt_ExprDataset* const found = Find(name);
    if (found == nullptr) return TestHost::GetVarType(name, info);
    if (!by_kind_alone) info.SetDataset(found);
    return EXPR_OBJ_DATASET;
  }
  Kt_ExprDataset* GetDefaultDataset() override {
    return datasets.empty() ? nullptr : datasets.front();
  }
  Kt_ExprDataset* GetChildDataset(const Kt_WString& name) override { return Find(name); }
  void OnSystemError(const Kt_Result& result) override { system_errors += Show(result) + " "; }

  std::vector<Kt_ExprDataset*> datasets;  // borrowed
  bool by_kind_alone = false;             // answer the kind and leave the rest to GetChildDataset
  std::string system_errors;

 private:
  Kt_ExprDataset* Find(const Kt_WString& name) {
    if (name.EqualsNoCase(u"curdata")) return GetDefaultDataset();
    for (Kt_ExprDataset* const dataset : datasets) {
      if (name.EqualsNoCase(dataset->GetID())) return dataset;
    }
    return nullptr;
  }
};

// Calls a method as its row in the table does.
inline kt_long RunMethod(Kt_ExprDataset& wrapper, const char16_t* name, const Kt_VariantList* args,
                         Kt_Variant& result) {
  return (wrapper.*Kt_ExprDataset::GetDSetMethodFunc(name))(args, result);
}

// The value of an expression in a context; "!" and the code when it fails.
inline std::string Eval(Kt_ExprObject* context, const char16_t* text) {
  Kt_Expr expr;
  expr.SetExpr(text);
  Kt_Variant value;
  const kt_long code = expr.ExecExpr(context, value);
  if (code == kOk) return Show(value);
  Kt_Result result;
  result.AddMsg(code, u"", 0);
  return "!" + Show(result);
}

// Runs statements in a function of a script over the context, in the compiled form of expressions;
// what they return, or "!" and the code.
inline std::string RunScript(Kt_ExprObject* context, std::u16string_view statements) {
  Kt_Script script(context);
  const Kt_WString text = u"function main() {\n" + Kt_WString(statements) + u"\n}\n";
  if (script.Parse(u"test", text, nullptr, nullptr) != kOk) return "!parse";
  Kt_Variant value;
  const kt_long code = script.ExecFunc(u"main", 0, nullptr, value);
  return code == kOk ? Show(value) : "!" + std::to_string(code);
}

}  // namespace kt::test
