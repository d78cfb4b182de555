// SPDX-License-Identifier: MIT
//
// Row expressions of columns that are computed: what the dataset's own way of computing cells shows
// besides the values, the faster forms show too.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "dataset/rows/Kt_RowExpr.h"
#include "dataset_test_util.h"

namespace {

using namespace kt::test;  // NOLINT(google-build-using-namespace): the helpers
using kt::detail::RowExpr;

constexpr kt_long kRows = 2500;

// n = 0, 1, 2 ... and `s`, which is empty but in some rows.
struct Stage {
  Stage() {
    data->AddColumn(u"n", u"long");
    data->AddColumn(u"s", u"string");
    data->AppendRow(kRows);
    for (kt_long row = 0; row < kRows; ++row) data->SetColumn(row, 0, row);
    for (const kt_long row : {70, 1500, 1501, 2499})
      data->SetColumn(row, 1, u"twenty letters or more");
    data->ApplyChange();
    host.datasets = {wrapper.get()};
  }

  // What calls give, with the reports and the steps.
  std::string Ask(std::initializer_list<const char16_t*> calls) {
    std::string out;
    for (const char16_t* const call : calls) {
      Kt_RunBudget budget;
      budget.limit_steps = 1000000000;
      Kt_WorkMeter meter;
      meter.Start(&budget);
      out += Eval(&host, call);
      out += " " + host.TakeReports();
      (void)meter.LookNow();
      out +=
          " " + std::to_string(budget.limit_steps - meter.GetLeft() / meter.kUnitsPerStep) + "\n";
      meter.Finish();
    }
    return out;
  }

  DataHost host;
  std::unique_ptr<Kt_Dataset> data = MakeDataset(u"d", u"");
  std::unique_ptr<Kt_ExprDataset> wrapper = std::make_unique<Kt_ExprDataset>(data.get(), &host);
};

class RowMaps : public testing::Test {
 protected:
  ~RowMaps() override { RowExpr::SetBestForm(RowExpr::Form::kBlocks); }
  // The same in all forms. Gives it.
  static std::string InAllForms(const std::function<std::string(Stage&)>& ask) {
    std::string outcomes[3];
    for (const auto form :
         {RowExpr::Form::kEvaluator, RowExpr::Form::kCompiled, RowExpr::Form::kBlocks}) {
      RowExpr::SetBestForm(form);
      Stage stage;
      outcomes[static_cast<int>(form)] = ask(stage);
    }
    EXPECT_EQ(outcomes[1], outcomes[0]);
    EXPECT_EQ(outcomes[2], outcomes[0]);
    return outcomes[0];
  }
};

// A text of which there would be too many: the cell is empty, and says so each time.
constexpr const char16_t* kFails = u"length(space(length(s) * 80000000)) + n * 2";

TEST_F(RowMaps, CellsThatFailReport) {
  const std::string out = InAllForms([](Stage& stage) {
    stage.data->AddLogicalColumn(u"bad", kFails, u"long");
    stage.data->AddLogicalColumn(u"worse", u"bad + bad", u"double");
    return stage.Ask({u"d.Sum('bad + 1')", u"d.CaseSum('n > 1400 && bad > 3000', 'bad')",
                      u"d.CaseCount('worse > bad')", u"d.SearchRow('bad = null')",
                      u"d.Max('worse', 60, 20)", u"d.Sum('bad')", u"d.Sort('worse:d')",
                      u"d.Filter('bad <> null && worse > 10')", u"d.MaxNF('bad')"}) +
           std::to_string(stage.data->GetRowCount());
  });
  EXPECT_NE(out.find("83B"), std::string::npos) << out;
}

// Other than plain numbers, row by row; also of a column that is.
TEST_F(RowMaps, Texts) {
  const std::string out = InAllForms([](Stage& stage) {
    stage.data->AddLogicalColumn(u"label", u"left(toUpper(s), 2) + '-' + n % 3", u"string");
    stage.data->AddLogicalColumn(u"half", u"n / 2", u"currency");
    stage.data->AddLogicalColumn(u"both", u"label + half", u"string");
    stage.data->AddLogicalColumn(u"whole", u"length(both) + (n > 7 && s <> '')", u"double");
    return stage.Ask({u"d.CaseCount(\"label = 'TW-1'\")", u"d.Sum('half + 1')", u"d.Max('both')",
                      u"d.CaseSum(\"both > '-2' && n < 2000\", 'whole * 2')",
                      u"d.SearchRow(\"both = '-1500'\")", u"d.Filter('whole > 6')",
                      u"d.SumNF('whole')", u"d.Sort('half:d')", u"d.Max('both')"}) +
           std::to_string(stage.data->GetRowCount());
  });
  EXPECT_EQ(out.find("83B"), std::string::npos) << out;
}

// The host's handler of the report writes to a row that was computed ahead.
TEST_F(RowMaps, ReportsMayChangeCells) {
  for (const kt_long changed : {71, 1000, 1502, 2000}) {
    InAllForms([changed](Stage& stage) {
      stage.data->AddLogicalColumn(u"bad", kFails, u"long");
      stage.data->AddLogicalColumn(u"half", u"n / 2", u"double");
      stage.host.on_report = [&] { stage.data->SetColumn(changed, 0, 1000000); };
      return stage.Ask({u"d.Sum('bad + half')", u"d.Sum('n + half')"}) +
             stage.Ask({u"d.CaseSum('half >= 0', 'bad')"});
    });
  }
}

// A compiled function that reports makes what was computed ahead void, too.
TEST_F(RowMaps, ReportsOfTheRowItselfMayChangeCells) {
  for (const kt_long changed : {71, 1502, 2000}) {
    InAllForms([changed](Stage& stage) {
      stage.data->AddLogicalColumn(u"half", u"n / 2", u"double");
      stage.host.on_report = [&] { stage.data->SetColumn(changed, 0, 1000000); };
      return stage.Ask({u"d.Sum('length(space(length(s) * 80000000)) + n')",
                        u"d.Sum('length(space(length(s) * 80000000)) + half')"});
    });
  }
}

TEST_F(RowMaps, ReportsMayEndTheDataset) {
  const std::function<void(Stage&)> actions[] = {
      [](Stage& stage) { stage.data.reset(); },
      [](Stage& stage) { *stage.data = Kt_Dataset(u"d"); },
      [](Stage& stage) { stage.wrapper->SetDataset(nullptr); },
      [](Stage& stage) {
        stage.host.datasets.clear();
        stage.wrapper.reset();
        stage.data.reset();
      },
  };
  for (const auto& action : actions) {
    for (const char16_t* const call :
         {u"d.Sum('n + bad + n + half')", u"d.CaseSum('n >= 0', 'half + bad * half')",
          u"d.Filter('bad && half')", u"d.SearchRow('n > 60 && bad + half < 0')"}) {
      for (const auto form :
           {RowExpr::Form::kEvaluator, RowExpr::Form::kCompiled, RowExpr::Form::kBlocks}) {
        RowExpr::SetBestForm(form);
        Stage stage;
        stage.data->AddLogicalColumn(u"bad", kFails, u"long");
        stage.data->AddLogicalColumn(u"half", u"n / 2", u"double");
        stage.host.on_report = [&] { action(stage); };
        (void)Eval(&stage.host, call);
        EXPECT_NE(stage.host.TakeReports(), "");
        ExpectWhole(stage.data.get());
      }
    }
  }
}

// Maps that ask for totals walk over rows while a cell is computed.
TEST_F(RowMaps, WalksInsideOfMaps) {
  const std::string out = InAllForms([](Stage& stage) {  // and a ring
    stage.data->AddLogicalColumn(u"half", u"n / 2", u"double");
    stage.data->AddLogicalColumn(u"share", u"half / Sum('half + 0', 0, 20)", u"double");
    stage.data->AddLogicalColumn(u"there", u"n + back", u"double");
    stage.data->AddLogicalColumn(u"back", u"there + half", u"double");
    return stage.Ask({u"d.Sum('share + half', 0, 30)", u"d.CaseCount('half > share')",
                      u"d.Sum('there + half', 0, 3)"});
  });
  EXPECT_NE(out.find("83B03210"), std::string::npos) << out;
}

// Maps of data only compute, whether many at once or one by one.
TEST_F(RowMaps, MapsThatDataBrought) {
  const std::string out = InAllForms([](Stage& stage) {
    stage.host.variables.AddVariable(u"rate", kt_long{3});
    stage.data->AddLogicalColumn(u"fine", u"n * 2 + length(s)", u"double");
    stage.data->AddLogicalColumn(u"sly", u"n * rate", u"long");
    Kt_WString file;
    EXPECT_GT(stage.data->SaveDataXml(file), 0);
    stage.data->ClearAll();
    EXPECT_GE(stage.data->LoadDataXml(file, true), 0);
    EXPECT_TRUE(stage.data->IsLoadedMap(2));
    return stage.Ask({u"d.Sum('fine + n')", u"d.CaseSum('sly = null', 'fine')",
                      u"d.CaseCount('fine > 100 && n < 2000')"});
  });
  EXPECT_EQ(out.find("83B03210"), out.rfind("83B03210")) << "told once: " << out;
  EXPECT_NE(out.find("83B03210"), std::string::npos) << out;
}

// An evaluator of the host's own is asked for every cell.
class Counter : public Kt_ColumnEvaluator {
 public:
  bool EvaluateColumn(const Kt_Dataset&, kt_long row, bool, const Kt_ColumnMap&,
                      Kt_Variant& result) override {
    result = ++calls + row;
    return true;
  }
  kt_long calls = 0;
};

TEST_F(RowMaps, EvaluatorsOfHosts) {
  InAllForms([](Stage& stage) {
    stage.data->AddLogicalColumn(u"half", u"n / 2", u"double");
    const auto counter = std::make_shared<Counter>();
    stage.data->SetEvaluator(counter);
    const std::string out = stage.Ask({u"d.Sum('half + n')"});
    EXPECT_EQ(counter->calls, kRows);
    return out;
  });
}

// Rows of a source that are loaded anew while a logical dataset is walked over.
TEST_F(RowMaps, SourcesThatChange) {
  const std::function<void(Stage&)> actions[] = {
      [](Stage& stage) { stage.data->DeleteRow(1600); },
      [](Stage& stage) { stage.data->SetColumn(1600, 0, 5000); },
      [](Stage& stage) { stage.data->LoadCSV(u"s:string,n:string,x:long\na,b,1\n"); },
      [](Stage& stage) { stage.data->AddColumn(u"more", u"long"); },
      [](Stage& stage) { stage.data->Sort(u"n:d"); },
      [](Stage& stage) { stage.data->ClearData(); },
  };
  for (std::size_t at = 0; at < std::size(actions); ++at) {
    InAllForms([&](Stage& stage) {
      stage.data->AddLogicalColumn(u"half", u"n / 2", u"double");
      Kt_Dataset shown(u"shown");
      shown.SetSource(stage.data.get());
      shown.AddLogicalColumn(u"twice", u"n * 2", u"long");
      Kt_ExprDataset over(&shown, &stage.host);
      stage.host.datasets.push_back(&over);
      bool was_done = false;
      stage.host.on_report = [&] {
        if (!std::exchange(was_done, true)) actions[at](stage);
      };
      return std::to_string(at) +
             stage.Ask({u"shown.Sum('length(space(length(s) * 80000000)) + n + twice')",
                        u"shown.Sum('half + n')", u"shown.CaseCount('twice > 10 && half < 600')"});
    });
  }
}

}  // namespace
