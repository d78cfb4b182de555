// SPDX-License-Identifier: MIT
//
// What scripts are told where memory ends: the run ends too, so that no loop waits for rows that
// never come.
#include <gtest/gtest.h>

#include "classlib/base/Kt_Memory.h"
#include "dataset_test_util.h"

namespace {

using kt::test::DataHost;
using kt::test::Eval;
using kt::test::MakeDataset;
using kt::test::RunScript;

TEST(NoRoom, ChangesThatFindNoMemoryEndTheRun) {
  const struct {
    const char16_t* statements;
    kt_long code;
  } rows[] = {
      {u"t.AppendRow();", kErrNoMemory},
      {u"t.InsertRow(0);", kErrNoMemory},
      {u"t.AppendDataset(u);", kErrNoMemory},
      {u"t.Merge(u);", kErrNoMemory},
      {u"t.Sort('a:d');", kErrNoMemory},
      {u"t.LoadCSV(text);", kErrNoMemory},
      {u"t.LoadXML(u.SaveXML(), 0);", kErrNoMemory},
      {u"t.AddColumn('z', 'double');", kErrNoMemory},
      {u"t.SaveXML();", kErrNoMemory},
      {u"t.SaveCSV();", kErrNoMemory},
      {u"t.SaveBIN();", kErrNoMemory},
      {u"t.SaveXML('', 'half');", kErrNotAllowed},
  };
  for (const auto& row : rows) {
    DataHost host;
    auto data = MakeDataset(u"t", u"a:long\n3\n1\n2\n");
    auto other = MakeDataset(u"u", u"a:long\n");
    data->AppendRow(20000);
    other->AppendRow(1000);
    Kt_ExprDataset wrapper(data.get(), &host);
    Kt_ExprDataset other_wrapper(other.get(), &host);
    host.datasets = {&wrapper, &other_wrapper};
    Kt_WString text(u"a:long\n");
    for (int line = 0; line < 40000; ++line) text += u"1\n";
    host.variables.AddVariable(u"text", text);
    std::string ended;
    {
      const Kt_CountedMemory bound(60000);
      ended = RunScript(&host, u"for (var i = 0; i < 30000; ++i) " + Kt_WString(row.statements));
    }
    EXPECT_EQ(ended, "!" + std::to_string(row.code)) << Kt_WString(row.statements).ToUtf8();
    const std::string reports = host.TakeReports();
    EXPECT_EQ(reports.find(row.code == kErrNoMemory ? "83B03231" : "83B03210"), 0u)
        << Kt_WString(row.statements).ToUtf8() << ": " << reports;
    EXPECT_EQ(host.system_errors, "");
  }
}

TEST(NoRoom, TheRowLimitIsNoLackOfMemory) {
  Kt_Dataset data;
  data.AddColumn(u"a");
  data.AppendRow(5);
  EXPECT_EQ(data.AppendRow(kMaxDatasetRows - 4), kErrRowNotAdded);
  EXPECT_EQ(data.InsertRow(0, kMaxDatasetRows - 4), kErrRowNotAdded);
  EXPECT_EQ(data.GetRowCount(), 5);
}

}  // namespace
