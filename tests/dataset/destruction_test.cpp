// SPDX-License-Identifier: MIT
//
// Columns whose expressions call the host, which destroys or replaces what is being worked on:
// every operation that computes cells, times what a host may do in it, times when it does it; and
// every method with an argument whose text does the same.
#include <gtest/gtest.h>

#include <new>
#include <utility>

#if defined(__linux__)
#include <sys/mman.h>
#elif defined(_WIN32)
#include <windows.h>
#endif

#include "dataset_test_util.h"

namespace {

using namespace kt::test;  // NOLINT(google-build-using-namespace): the helpers

// An object in memory of its own, which nobody may touch once it is destroyed: where a sanitizer
// would tell of a use after free, any build crashes.
template <class T>
class Fenced {
 public:
  template <class... Args>
  explicit Fenced(Args&&... args) : object_(new (Take()) T(std::forward<Args>(args)...)) {}
  Fenced(const Fenced&) = delete;
  Fenced& operator=(const Fenced&) = delete;
  ~Fenced() {
    reset();
    Give(memory_);
  }
  void reset() {
    if (object_ == nullptr) return;
    std::exchange(object_, nullptr)->~T();
    Close(memory_);
  }
  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }

 private:
#if defined(__linux__)
  static constexpr std::size_t kBytes = (sizeof(T) + 4095) / 4096 * 4096;
  void* Take() {
    memory_ = ::mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory_;
  }
  static void Close(void* memory) { ::mprotect(memory, kBytes, PROT_NONE); }
  static void Give(void* memory) { ::munmap(memory, kBytes); }
#elif defined(_WIN32)
  void* Take() {
    memory_ = ::VirtualAlloc(nullptr, sizeof(T), MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    return memory_;
  }
  static void Close(void* memory) {
    DWORD before = 0;
    ::VirtualProtect(memory, sizeof(T), PAGE_NOACCESS, &before);
  }
  static void Give(void* memory) { ::VirtualFree(memory, 0, MEM_RELEASE); }
#else
  void* Take() { return memory_ = ::operator new(sizeof(T)); }
  static void Close(void*) {}
  static void Give(void* memory) { ::operator delete(memory); }
#endif

  void* memory_ = nullptr;
  T* object_;
};

// `d` has a column `c` that calls the host for every cell, `v` shows `d` and has such a column of
// its own, `o` is another one with the columns of `d`.
struct Stage {
  Stage() {
    (void)data->LoadCSV(kRows);
    data->AddLogicalColumn(u"c", u"hook() + n", u"long");
    (void)other->LoadCSV(u"n:long,s:string,c:long\n2,x,2\n9,y,9\n");
    (void)other->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kSort, 2);
    (void)view->SetSource(data.get());
    view->AddLogicalColumn(u"w", u"hook() + n", u"long");
    host.datasets = {wrapper.get(), view_wrapper.get(), other_wrapper.get()};
    wrapper->SetEvents(1);
    view_wrapper->SetEvents(1);
    view_wrapper->SetLogicalSource(wrapper.get());
    data->SetColumn(1, 1, u"changed");
    data->DeleteRow(3);
  }
  ~Stage() { host.datasets.clear(); }

  void Group(Kt_KeyType type = Kt_KeyType::kGroup) {
    (void)data->ModifyKeyStat(Kt_KeyCall::kAdd, type, data->GetColIndex(u"c"));
    (void)view->ModifyKeyStat(Kt_KeyCall::kAdd, type, view->GetColIndex(u"w"));
  }
  void DestroyWrapper() {
    std::erase(host.datasets, wrapper.get());
    wrapper.reset();
  }

  static constexpr std::u16string_view kRows = u"n:long,s:string\n3,a\n1,b\n2,c\n5,\n4,e\n1,f\n";
  DataHost host;
  Fenced<Kt_Dataset> data{u"d"};
  Fenced<Kt_Dataset> view{u"v"};
  Fenced<Kt_Dataset> other{u"o"};
  Fenced<Kt_ExprDataset> wrapper{data.get(), &host};
  Fenced<Kt_ExprDataset> view_wrapper{view.get(), &host};
  Fenced<Kt_ExprDataset> other_wrapper{other.get(), &host};
};

const struct {
  const char* name;
  void (*act)(Stage&);
} kDeeds[] = {
    {"destroy the dataset", [](Stage& s) { s.data.reset(); }},
    {"destroy the wrapper", [](Stage& s) { s.DestroyWrapper(); }},
    {"destroy both",
     [](Stage& s) {
       s.DestroyWrapper();
       s.data.reset();
     }},
    {"destroy the view", [](Stage& s) { s.view.reset(); }},
    {"destroy the wrapper of the view",
     [](Stage& s) {
       std::erase(s.host.datasets, s.view_wrapper.get());
       s.view_wrapper.reset();
     }},
    {"destroy the other one", [](Stage& s) { s.other.reset(); }},
    {"destroy all",
     [](Stage& s) {
       s.host.datasets.clear();
       s.view_wrapper.reset();
       s.other_wrapper.reset();
       s.wrapper.reset();
       s.view.reset();
       s.other.reset();
       s.data.reset();
     }},
    {"replace the dataset", [](Stage& s) { *s.data = *s.other; }},
    {"replace the dataset by nothing", [](Stage& s) { *s.data = Kt_Dataset(u"d"); }},
    {"replace the view",
     [](Stage& s) {
       if (s.view.get() != nullptr) *s.view = *s.other;
     }},
    {"replace the other one", [](Stage& s) { *s.other = Kt_Dataset(u"o"); }},
    {"clear all",
     [](Stage& s) {
       s.data->ClearAll();
       s.view->ClearAll();
       s.other->ClearAll();
     }},
    {"load",
     [](Stage& s) {
       (void)s.data->LoadCSV(u"s:long\n3\n");
       (void)s.view->LoadCSV(u"s:long\n3\n");
       (void)s.other->LoadCSV(u"s:long\n3\n");
     }},
    {"delete rows",
     [](Stage& s) {
       s.data->DeleteAll();
       s.other->DeleteAll();
     }},
    {"add rows and columns",
     [](Stage& s) {
       s.data->AppendRow(300);
       s.data->AddColumn(u"more");
       s.view->AddColumn(u"more");
       s.other->AppendRow(300);
     }},
    {"sort, filter, group",
     [](Stage& s) {
       for (Kt_Dataset* const data : {s.data.get(), s.view.get(), s.other.get()}) {
         data->Sort(u"n:d");
         data->LocFilter(0);
         data->RecalcGroup();
         data->RecalcPivot();
       }
     }},
    {"show other rows",
     [](Stage& s) {
       s.view->SetSource(s.other.get());
       s.view->ResetRecIndex();
     }},
    {"take the evaluators",
     [](Stage& s) {
       s.data->SetEvaluator(nullptr);
       s.view->SetEvaluator(nullptr);
     }},
    {"give the wrapper another dataset", [](Stage& s) { s.wrapper->SetDataset(s.other.get()); }},
    {"give the wrapper none", [](Stage& s) { s.wrapper->SetDataset(nullptr); }},
    {"work inside",
     [](Stage& s) {
       (void)Eval(&s.host, u"d.Sort('c')");
       (void)Eval(&s.host, u"v.Sum('w') + d.Sum('c') + d.FindRow('c', '4')");
     }},
    {"destroy it inside of work inside",
     [](Stage& s) {
       s.host.on_hook = [&s](auto*, auto&, Kt_Variant&) {
         s.data.reset();
         return kOk;
       };
       (void)s.data->LookupDataRow(u"c", u"99");
       (void)s.view->Sort(u"w");
     }},
};

// In the order of what they need: plain rows; keys; a pivot.
enum class Keys { kNone, kGroups, kPivot };
const struct {
  const char16_t* call;
  Keys keys = Keys::kNone;
} kCalls[] = {
    {u"d.Sum('c')"},
    {u"d.SumNF('c')"},
    {u"d.Avg('c')"},
    {u"d.Max('c', 1)"},
    {u"d.MinNF('c')"},
    {u"d.Sum('c + 1')"},
    {u"d.CaseSum('c > 0', 'c')"},
    {u"d.CaseCountNF('c > 1')"},
    {u"d.SearchRow('c = 99')"},
    {u"d.FindRow('c', '99')"},
    {u"d.FindRowNF('c', '99')"},
    {u"d.FindRowAs('c', '99')"},
    {u"d.Lookup('c', '99', 's')"},
    {u"d.Lookup('n', '1', 'c')"},
    {u"d.Filter('c > 2')"},
    {u"d.Filter('Sum(\"c\") > n')"},
    {u"d.Sort('c')"},
    {u"d.Sort('c:d, n', 1, 1, 1)"},
    {u"d.GetColumn(0, 'c')"},
    {u"d.GetColumnNF(0, 'c')"},
    {u"d.GetColumnSet(0, 'c')"},
    {u"d[0].c + 0"},
    {u"d[0].Value"},
    {u"d['c'].Sum"},
    {u"d['c'][1] + 0"},
    {u"d.SetColumn(0, 'c', 5)"},
    {u"d.SaveCSV()"},
    {u"d.SaveCSV('x', 'nf')"},
    {u"d.CopyRow(0, 'd', 1)"},
    {u"d.CopyToRow(0, 'o', 0)"},
    {u"d.CopyToColumn(0, 'c', 'o', 0, 'c')"},
    {u"o.CopyRow(0, 'd', 1, 'c,n,s')"},
    {u"o.CopyColumn(0, 'c', 'd', 0, 'c')"},
    {u"o.AppendDataset('d')"},
    {u"o.Merge('d')"},
    {u"o.Copy('v')"},
    {u"o.CopyF('v')"},
    {u"o.AppendDataset('v')"},
    {u"o.Merge('v')"},
    {u"d.AppendDataset('v')"},
    {u"d.Copy('v')"},
    {u"v.Sum('c')"},
    {u"v.Sum('w')"},
    {u"v.Max('w + c')"},
    {u"v.FindRow('c', '99')"},
    {u"v.Filter('c > 2')"},
    {u"v.Filter('w > 2')"},
    {u"v[0].Value"},
    {u"v.SetColumn(0, 'c', 5)"},
    {u"v.SetColumn(0, 'w', 5)"},
    {u"d.RecalcGroup()", Keys::kGroups},
    {u"v.RecalcGroup()", Keys::kGroups},
    {u"d.Reset()", Keys::kGroups},
    {u"d.LoadCSV('n\n4\n5')", Keys::kGroups},
    {u"d.Sort('c')", Keys::kGroups},
    {u"d.Merge('o')", Keys::kGroups},
    {u"v.Filter('n > 1')", Keys::kGroups},
    {u"d.RecalcPivot()", Keys::kPivot},
    {u"v.RecalcPivot()", Keys::kPivot},
};

TEST(Destruction, InsideOfComputedCells) {
  for (const auto& row : kCalls) {
    for (const auto& deed : kDeeds) {
      for (const int place : {1, 3}) {
        SCOPED_TRACE(Kt_WString(row.call).ToUtf8() + ": " + deed.name + " at " +
                     std::to_string(place));
        Stage stage;
        if (row.keys == Keys::kGroups) stage.Group();
        if (row.keys == Keys::kPivot) stage.Group(Kt_KeyType::kPivotRow);
        if (std::u16string_view(row.call).starts_with(u"d.Reset")) stage.data->RecalcGroup();
        if (std::u16string_view(row.call).starts_with(u"d.Load")) stage.data->RecalcGroup();
        int cells = 0;
        stage.host.on_hook = [&](auto*, auto&, Kt_Variant& result) {
          result = kt_long{1};
          if (++cells == place) deed.act(stage);
          return kOk;
        };
        (void)Eval(&stage.host, row.call);
        EXPECT_TRUE(cells >= place || place > 1) << "computes no cell";
        if (cells < 1) break;
        stage.host.on_hook = nullptr;
        for (const Kt_Dataset* const data :
             {stage.data.get(), stage.view.get(), stage.other.get()}) {
          ExpectWhole(data);
        }
      }
    }
  }
}

// What does not go through a wrapper.
TEST(Destruction, InsideOfOperationsOfTheStore) {
  static constexpr struct {
    const char* name;
    void (*run)(Kt_Dataset& data, Kt_Dataset& view);
  } kOperations[] = {
      {"GetColumn", [](Kt_Dataset& d, Kt_Dataset&) { EXPECT_NE(d.GetColumn(0, 2), nullptr); }},
      {"GetColumnNF", [](Kt_Dataset& d, Kt_Dataset&) { EXPECT_NE(d.GetColumnNF(0, 2), nullptr); }},
      {"GetColumn of a view", [](Kt_Dataset&, Kt_Dataset& v) { (void)v.GetColumn(0, 2); }},
      {"GetColumnSet", [](Kt_Dataset& d, Kt_Dataset&) { (void)d.GetColumnSet(0, 2); }},
      {"copies",
       [](Kt_Dataset& d, Kt_Dataset& v) {
         Kt_Dataset target(u"x");
         target.AddColumn(u"c", u"long");
         EXPECT_EQ(target.AppendDataset(d), -1);
         EXPECT_LE(target.CopyF(v), 6);
       }},
      {"groups, then a count",
       [](Kt_Dataset& d, Kt_Dataset&) {
         d.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kGroup, 2);
         d.RecalcGroup();
       }},
      {"Sort", [](Kt_Dataset& d, Kt_Dataset&) { EXPECT_EQ(d.Sort(u"c"), -1); }},
      {"Sort of a view", [](Kt_Dataset&, Kt_Dataset& v) { (void)v.Sort(u"w, c"); }},
      {"saves of a view",
       [](Kt_Dataset&, Kt_Dataset& v) {
         Kt_WString text;
         (void)v.SaveCSV(text);
         (void)v.SaveDataXml(text);
       }},
      {"GetSum",
       [](Kt_Dataset& d, Kt_Dataset&) {
         Kt_Variant sum;
         EXPECT_EQ(d.GetSum(2, 0, 9, sum, -1), -1);
       }},
  };
  for (const auto& operation : kOperations) {
    for (const bool is_replaced : {false, true}) {
      SCOPED_TRACE(operation.name);
      Stage stage;
      stage.host.on_hook = [&](auto*, auto&, Kt_Variant&) {
        if (stage.data.get() == nullptr) return kOk;
        if (is_replaced) {
          *stage.data = *stage.other;
        } else {
          stage.data.reset();
        }
        return kOk;
      };
      operation.run(*stage.data, *stage.view);
      stage.host.on_hook = nullptr;
      ExpectWhole(stage.data.get());
      ExpectWhole(stage.view.get());
    }
  }
}

// Subtotals by a column of expressions: computed when they are laid, and not again by whatever asks
// for them first.
TEST(Destruction, AskingForRowsComputesNoKeys) {
  Stage stage;
  int cells = 0;
  stage.host.on_hook = [&](auto*, auto&, Kt_Variant& result) {
    result = kt_long{++cells > 0};
    return kOk;
  };
  stage.Group();
  stage.data->Sort(u"n");
  stage.data->RecalcGroup();
  EXPECT_EQ(cells, 5);
  EXPECT_EQ(stage.data->GetRowCount(), 5 + 4);
  stage.data->LocFilter(0);
  EXPECT_EQ(stage.data->GetRowCountNF(), 5 + 4);
  EXPECT_EQ(stage.data->InsertRow(0), 0);
  EXPECT_EQ(stage.data->GetRowCountNF(), 6 + 6);  // between two rows of one group
  EXPECT_EQ(cells, 5);
}

// Every method, with an object in every place of its arguments.
TEST(Destruction, InsideOfTheTextOfAnArgument) {
  constexpr int kMostArguments = 6;
  const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
  for (int method = 0; method < Kt_ExprDataset::GetDSetMethodCount(); ++method) {
    for (int place = 0; place < kMostArguments; ++place) {
      for (int deed = 0; deed < 4; ++deed) {
        SCOPED_TRACE(Kt_WString(rows[method].name).ToUtf8() + ": " + kDeeds[deed].name + " in " +
                     std::to_string(place));
        Stage stage;
        stage.host.thing->on_text = [&] { kDeeds[deed].act(stage); };
        Kt_VariantList args;
        for (int at = 0; at < kMostArguments; ++at)
          args.Add(at == 0 ? Kt_Variant(u"n") : kt_long{1});
        args.SetItem(place, Kt_Variant(Kt_ObjectHolder(nullptr, stage.host.thing.get())));
        Kt_Variant result;
        Kt_Object& object = *stage.wrapper;
        (void)(object.*rows[method].method)(&args, result);
        ExpectWhole(stage.data.get());
        ExpectWhole(stage.other.get());
      }
    }
  }
}

}  // namespace
