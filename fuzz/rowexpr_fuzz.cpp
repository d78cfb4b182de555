// SPDX-License-Identifier: MIT
//
// Scripts over two small datasets: method calls with arguments of every kind, edits, filters and
// aggregates by row expressions, and handlers that edit, reload or destroy what is being walked.
// After every statement the states of the rows add up and the positions are inside the rows.
//
// An input that begins with '#' is script text; any other is read as choices of a grammar.
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "dataset/Kt_ExprDataset.h"
#include "fuzz/dataset_check.h"
#include "object/Kt_ExprObjInfo.h"
#include "script/Kt_RunBudget.h"
#include "script/Kt_Script.h"

namespace {

using kt::fuzz::Check;

// ---- Scripts ----------------------------------------------------------------------------------

// Makes statements out of bytes.
class Maker {
 public:
  Maker(const std::uint8_t* data, std::size_t size) : at_(data), left_(size) {}

  std::vector<std::string> Statements() {
    constexpr std::size_t kMaxStatements = 40;
    std::vector<std::string> out;
    while (out.size() < kMaxStatements && left_ > 0) out.push_back(Statement());
    return out;
  }

 private:
  unsigned Roll(unsigned count) {
    if (left_ == 0) return 0;
    --left_;
    return *at_++ % count;
  }
  template <std::size_t kCount>
  std::string Pick(const char* const (&choices)[kCount]) {
    return choices[Roll(kCount)];
  }

  std::string Statement() {
    switch (Roll(8)) {
      case 0: return Object() + "." + Pick(kColumns) + " = " + Value() + ";";
      case 1: return Object() + "[" + Number() + "]." + Pick(kColumns) + " = " + Value() + ";";
      case 2: return "x = " + Object() + "." + Pick(kProperties) + ";";
      case 3: return Object() + ".rowposition = " + Number() + ";";
      case 4: return "x = " + Object() + "[" + Value() + "]." + Pick(kProperties) + ";";
      default: return "x = " + Call() + ";";
    }
  }
  std::string Call() {
    const _EXPR_OBJMETHOD_INFO& method =
        Kt_ExprDataset::GetDSetMethodMap()[Roll(Kt_ExprDataset::GetDSetMethodCount())];
    std::string out = Object() + "." + Kt_WString(method.name).ToUtf8() + "(";
    for (unsigned left = Roll(6); left > 0; --left) out += Value() + (left > 1 ? ", " : "");
    return out + ")";
  }
  std::string Object() { return Roll(3) == 0 ? "b" : "a"; }
  std::string Number() { return Pick(kNumbers); }
  std::string Value() {
    switch (Roll(8)) {
      case 0:
      case 1: return Number();
      case 2:
      case 3: return "'" + Pick(kColumns) + "'";
      case 4:
      case 5: return "\"" + Pick(kExpressions) + "\"";
      case 6: return "'" + Pick(kTexts) + "'";
      default: return Pick(kObjects);
    }
  }

  static constexpr const char* kColumns[] = {"n", "s", "d", "c", "v", "twice", "k", "none", "N"};
  static constexpr const char* kNumbers[] = {"0", "1",  "2",           "3",  "-1",
                                             "7", "99", "-2147483648", "1.5"};
  static constexpr char kXml[] =
      "<dataset><columns><column id=\\'n\\' type=\\'long\\'/></columns>"
      "<rows><row/></rows></dataset>";
  static constexpr const char* kTexts[] = {
      "",       "a",  "b", "x",    "n:d,s",  "s,n",   "s,",           "all",
      "update", "nf", "1", "long", "double", "n + 1", "n,s\\n5,x\\n", kXml};
  static constexpr const char* kObjects[] = {
      "a", "b", "a[0]", "b['n']", "a['s'][1]", "null", "split('1,2', ',')", "x", "a[9]"};
  static constexpr const char* kExpressions[] = {"n > 1",
                                                 "n",
                                                 "n * c",
                                                 "s == 'x'",
                                                 "rowidx % 2",
                                                 "d / 0",
                                                 "hit(0) + n",
                                                 "hit(1) > 0",
                                                 "hit(2)",
                                                 "hit(3)",
                                                 "hit(4) + n > 2",
                                                 "hit(5)",
                                                 "hit(6) > 0",
                                                 "a.Sum('n')",
                                                 "b.n + n",
                                                 "a.Filter('n > 1')",
                                                 "twice",
                                                 "v + s",
                                                 "nosuch + 1",
                                                 "n >",
                                                 "a[rowidx].n",
                                                 "rowcount()",
                                                 "curdata.n",
                                                 "a.Sum(\\\"hit(1) + b.Sum('n')\\\")",
                                                 "",
                                                 "n = 5"};
  static constexpr const char* kProperties[] = {"rowcount", "rowposition", "colcount", "id",
                                                "n",        "s",           "sum",      "count",
                                                "twice",    "currow",      "none",     "max"};

  const std::uint8_t* at_;
  std::size_t left_;
};

// ---- Host -------------------------------------------------------------------------------------

class Host;

// Tells the host of every event; each answers yes.
class Wrapper : public Kt_ExprDataset {
 public:
  Wrapper(Kt_Dataset* dataset, Host* host);

  void OnLoadCompleted(int, const Kt_WString&, int) override { Tell(); }
  int CanColumnChange(const Kt_WString&, const Kt_Variant&, const Kt_Variant&, int,
                      const Kt_Component*, int) override {
    return Tell();
  }
  void OnColumnChanged(const Kt_WString&, const Kt_Variant&, const Kt_Variant&, int,
                       const Kt_Component*, int) override {
    Tell();
  }
  int CanRowPosChange(int, int) override { return Tell(); }
  void OnRowPosChanged(int, int) override { Tell(); }
  void OnRowInserted(int, int) override { Tell(); }
  void OnRowDeleting(int, int) override { Tell(); }
  void OnRowDeleted(int, int) override { Tell(); }

 private:
  int Tell();
  Host& host_;
};

struct Table {
  std::unique_ptr<Kt_Dataset> data;
  std::unique_ptr<Wrapper> wrapper;
};

class Host : public Kt_ExprObject {
 public:
  // `action` says what the host does in the first events; 0 is nothing.
  explicit Host(unsigned action) : Kt_ExprObject(nullptr), event_action_(action & 7) {
    Fill(a_, u"a");
    Fill(b_, u"b");
  }

  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    Kt_ExprDataset* const found = GetChildDataset(name);
    if (found == nullptr) return EXPR_OBJ_UNKNOWN;
    info.SetDataset(found);
    return EXPR_OBJ_DATASET;
  }
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    const bool is_check = name.EqualsNoCase(u"check");
    if (!is_check && !name.EqualsNoCase(u"hit")) return EXPR_OBJ_UNKNOWN;
    info.SetExtAPI(this, name, is_check ? CheckCall : Hit);
    return EXPR_OBJ_EXTAPI;
  }
  Kt_ExprDataset* GetDefaultDataset() override { return a_.wrapper.get(); }
  Kt_ExprDataset* GetChildDataset(const Kt_WString& name) override {
    if (name.EqualsNoCase(u"a") || name.EqualsNoCase(u"curdata")) return a_.wrapper.get();
    return name.EqualsNoCase(u"b") ? b_.wrapper.get() : nullptr;
  }
  int IsSystemLogMode() override { return 1; }

  // The states of the rows add up, and the positions are inside the rows.
  void CheckTables() const {
    for (const Table* const table : {&a_, &b_}) {
      if (table->wrapper == nullptr) continue;
      const int rows = table->wrapper->GetRowCount();
      if (table->data == nullptr) {
        Check(rows == 0, "no dataset, no rows");  // the position stays where it was
        continue;
      }
      const int position = table->wrapper->GetRowPosition();
      Check(position >= -1 && position < std::max(rows, 1), "the position is inside the rows");
      const Kt_Dataset& data = *table->data;
      Check(rows == data.GetRowCount(), "the wrapper shows the rows of its dataset");
      if (data.IsPhysical() && !kt::fuzz::IsLarge(data)) kt::fuzz::CheckStates(data);
    }
  }

  void OnEvent() {
    if (event_action_ == 0 || is_acting_) return;
    if (++events_ % 3 == 0) Act(event_action_);
  }

 private:
  void Fill(Table& table, const char16_t* id) {
    table.data = std::make_unique<Kt_Dataset>(id);
    table.data->LoadCSV(
        u"n:long,s:string,d:double,c:currency,v:variant\n"
        u"1,x,1.5,2,p\n2,y,,3,\n3,x,-2.5,,q\n,,0,1,r\n");
    table.data->AddLogicalColumn(u"twice", u"n * 2");
    table.data->AddConstColumn(u"k", kt_long{7});
    table.wrapper = std::make_unique<Wrapper>(table.data.get(), this);
    table.wrapper->SetEvents(1);
    table.wrapper->SetRowPosition(0);
  }

  // What a handler or a function that a row expression calls may do to `a`.
  void Act(unsigned action) {
    if (a_.wrapper == nullptr || is_acting_) return;
    is_acting_ = true;
    Wrapper& wrapper = *a_.wrapper;
    switch (action) {
      case 1: wrapper.DeleteRow(0); break;
      case 2: wrapper.AppendRow(); break;
      case 3: wrapper.ClearAll(); break;
      case 4:
        if (a_.data != nullptr) a_.data->AddColumn(u"new", u"long");
        break;
      case 5: {
        const Kt_VariantList args{Kt_Variant(u"n > 1")};
        Kt_Variant result;
        wrapper.CallMethod(u"Filter", &args, result);
        break;
      }
      case 6: a_.data.reset(); break;
      case 7:
        a_.wrapper.reset();
        a_.data.reset();
        break;
      default: break;
    }
    is_acting_ = false;
  }

  static Host& Of(Kt_ExprObject* context) { return *static_cast<Host*>(context); }
  static kt_long Hit(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
    Of(context).Act(static_cast<unsigned>(args->GetItemNN(0).ToInteger()) & 7);
    result = kt_long{1};
    return 0;
  }
  static kt_long CheckCall(Kt_ExprObject* context, const Kt_VariantList*, Kt_Variant&) {
    Of(context).CheckTables();
    return 0;
  }

  Table a_;
  Table b_;
  unsigned event_action_;
  unsigned events_ = 0;
  bool is_acting_ = false;
};

Wrapper::Wrapper(Kt_Dataset* dataset, Host* host) : Kt_ExprDataset(dataset, host), host_(*host) {}

int Wrapper::Tell() {
  host_.OnEvent();  // this wrapper may have gone
  return 1;
}

// Row expressions charge the budget too.
struct Limits : Kt_RunBudget {
  Limits() {
    limit_steps = 20000;
    deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const bool is_text = data[0] == '#';
  std::vector<std::string> statements;
  if (is_text) {
    statements.emplace_back(reinterpret_cast<const char*>(data) + 1, size - 1);
  } else {
    statements = Maker(data + 1, size - 1).Statements();
  }
  // A function each, because the first error ends what runs.
  std::string text = "var x = 0;\n";
  for (std::size_t at = 0; at < statements.size(); ++at) {
    text += "function f" + std::to_string(at) + "() {\n" + statements[at] + "\n}\n";
  }
  const Limits limits;
  Host host(is_text ? 0 : data[0]);
  Kt_Script script(&host);
  script.SetBudget(&limits);
  Kt_WStrList errors;
  script.Parse(u"fuzz", Kt_WString::FromUtf8(text), nullptr, &errors);
  Check(is_text || errors.GetCount() == 0, "the grammar makes scripts");
  for (std::size_t at = 0; at < statements.size(); ++at) {
    Kt_Variant result;
    script.ExecFunc(Kt_WString::FromUtf8("f" + std::to_string(at)), nullptr, result);
    host.CheckTables();
  }
  return 0;
}
