// A host with datasets: its form shows orders, keeps rules for every edit, whether the user or a
// script makes it, and lets scripts work on the orders and on a view of them.
#include <iostream>

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_ExprObjInfo.h"
#include "script/Kt_Script.h"

namespace {

std::string Utf8(const Kt_WString& text) { return text.ToUtf8(); }

// The wrapper tells the form of edits, and asks it before.
class FormDataset : public Kt_ExprDataset {
 public:
  FormDataset(Kt_Dataset* dataset, Kt_ExprObject* form) : Kt_ExprDataset(dataset, form) {
    SetEvents(1);
    SetRowPosition(0);
  }

  bool AnswersAsDataset() const override { return true; }
  int IsExistsEvent(int event) override { return event == kEventFail; }
  int CanColumnChange(const Kt_WString& column, const Kt_Variant&, const Kt_Variant& new_value, int,
                      const Kt_Component*, int) override {
    return column.EqualsNoCase(u"qty") && new_value.ToInteger() < 0 ? 0 : 1;
  }
  void OnColumnChanged(const Kt_WString& column, const Kt_Variant& old_value,
                       const Kt_Variant& new_value, int row, const Kt_Component*, int) override {
    std::cout << Utf8(GetID()) << ": " << Utf8(column) << " of row " << row << " from "
              << Utf8(old_value.ToString()) << " to " << Utf8(new_value.ToString()) << "\n";
  }
  void OnRowInserted(int row, int) override {
    std::cout << Utf8(GetID()) << ": new row " << row << "\n";
  }
  void OnLoadCompleted(int, const Kt_WString&, int) override {
    std::cout << Utf8(GetID()) << ": " << GetRowCount() << " rows\n";
  }
  void OnFail(const Kt_Result& result) override {
    std::cout << Utf8(GetID()) << ": " << Utf8(result.GetText()) << "\n";
  }
};

// The outermost context names the datasets for scripts.
class Form : public Kt_ExprObject {
 public:
  Form() : Kt_ExprObject(nullptr) {
    orders_data_.LoadCSV(
        u"item:string,qty:long,price:double\n"
        u"pen,12,1.5\n"
        u"ink,3,8\n"
        u"desk,1,210\n");
    large_data_.SetSource(&orders_data_);  // shows the rows of the orders, has none of its own
    large_.SetLogicalSource(&orders_);     // and is edited through their wrapper
  }

  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    Kt_ExprDataset* const dataset = GetChildDataset(name);
    if (dataset == nullptr) return Kt_ExprObject::GetVarType(name, info);
    info.SetDataset(dataset);
    return info.GetKind();
  }
  // Methods that take the name of a dataset ask here: orders.Copy('large').
  Kt_ExprDataset* GetChildDataset(const Kt_WString& name) override {
    if (name.EqualsNoCase(u"orders")) return &orders_;
    if (name.EqualsNoCase(u"large")) return &large_;
    return nullptr;
  }
  Kt_ExprDataset* GetDefaultDataset() override { return &orders_; }
  int IsSystemLogMode() override { return 1; }
  void OnRunTimeError(const Kt_Result& result) override {
    std::cout << "error: " << Utf8(result.GetText()) << "\n";
  }
  void OnSystemError(const Kt_Result& result) override {
    std::cout << "refused: " << Utf8(result.GetText()) << "\n";
  }

 private:
  Kt_Dataset orders_data_{u"orders"};
  Kt_Dataset large_data_{u"large"};
  FormDataset orders_{&orders_data_, this};
  FormDataset large_{&large_data_, this};
};

constexpr char16_t kRules[] =
    u"function reprice() {\n"
    u"  for (var i = 0; i < orders.rowcount; i++) {\n"
    u"    if (orders.GetColumn(i, 'qty') >= 10) orders.SetColumn(i, 'price', 1.25);\n"
    u"  }\n"
    u"  orders.row = 1;\n"
    u"  orders.qty = -1;\n"  // the form refuses
    u"  orders.qty = orders.qty + 2;\n"
    u"  return orders.Sum('qty * price');\n"
    u"}\n"
    u"function select() {\n"
    u"  large.Filter('qty * price > 20');\n"
    u"  large.row = 0;\n"
    u"  large.price = 9;\n"  // goes to the orders, with their events
    u"  return large[0].item + ' ' + large[1].item;\n"
    u"}\n"
    u"function grow() { large.AddRow(); }\n";  // refused: a view takes no rows

}  // namespace

int main() {
  Form form;
  Kt_Script script(&form);
  Kt_WStrList errors;
  if (script.Parse(u"rules", kRules, nullptr, &errors) != 0 || errors.GetCount() > 0) {
    std::cout << Utf8(errors.Join(u"\n")) << "\n";
    return 1;
  }
  for (const char16_t* const name : {u"reprice", u"select", u"grow"}) {
    Kt_Variant result;
    if (script.ExecFunc(name, nullptr, result) != 0) {
      std::cout << Utf8(name) << ": " << Utf8(Kt_RunError::Last().text) << "\n";
      continue;
    }
    std::cout << Utf8(name) << ": " << Utf8(result.ToString()) << "\n";
  }
}
