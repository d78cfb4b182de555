// SPDX-License-Identifier: MIT
//
// Copying and merging.
#include <gtest/gtest.h>

#include <string>

#include "classlib/store/Kt_Dataset.h"
#include "common/show.h"

namespace {

using kt::test::ShowTable;

std::string Shown(const Kt_Dataset& data) { return ShowTable(data, {.states = true}); }

Kt_Dataset Source() {
  Kt_Dataset data(u"source");
  data.LoadCSV(u"k:long,v:string\n1,a\n2,b\n3,c\n4,d\n");
  data.AddConstColumn(u"c", 5);
  data.SetColumn(1, 1, u"B");
  data.DeleteRow(3);
  data.SetColumn(data.AppendRow(), 0, 9);
  data.Filter(0);
  data.Sort(u"k:d");
  return data;
}

TEST(DatasetCopy, CopyAssignAndCopyF) {
  const Kt_Dataset source = Source();
  Kt_Dataset data(u"own");
  data.AddColumn(u"old");
  EXPECT_EQ(data.Copy(source), 4);
  EXPECT_EQ(Shown(data), "9,+|3,c|2,B*|1,a");
  EXPECT_EQ(data.GetId(), u"own");
  EXPECT_EQ(data.GetDelRowCount(), 1);
  EXPECT_EQ(data.GetConstColumn(u"c").ToInteger(), 5);
  EXPECT_EQ(data.GetKeyStr(Kt_KeyType::kSort), u"");
  EXPECT_EQ(data.Assign(source), 3);
  EXPECT_EQ(Shown(data), "9,+|3,c|2,B*");
  EXPECT_EQ(data.GetKeyStr(Kt_KeyType::kSort), u"k:d");
  EXPECT_EQ(data.CopyF(source), 3);
  EXPECT_EQ(Shown(data), "9,|3,c|2,B");
  EXPECT_FALSE(data.GetUpdate());
  EXPECT_EQ(data.GetRowCountNF(), 3);
  EXPECT_EQ(data.GetConstColumn(u"c").ToInteger(), 5);
  // The source is as it was, whatever happens to the copy.
  data.Assign(source);
  data.SetColumn(0, 1, u"changed");
  data.DeleteRow(1);
  EXPECT_EQ(Shown(source), "9,+|3,c|2,B*");
  EXPECT_EQ(data.Copy(data), 2);
  EXPECT_EQ(data.Assign(data), 2);
}

TEST(DatasetCopy, AppendAndMerge) {
  Kt_Dataset data(u"own");
  data.LoadCSV(u"V:string,more:long,K:double\nx,1,2\ny,2,7\n");
  EXPECT_EQ(data.AppendDataset(Source()), 3);
  EXPECT_EQ(Shown(data), "x,1,2|y,2,7|,,9+|c,,3+|B,,2+");
  EXPECT_EQ(data.AppendDataset(data), 5);
  EXPECT_EQ(data.GetRowCount(), 10);

  data.Reset();
  EXPECT_EQ(data.Merge(Source()), 3);  // without keys
  EXPECT_EQ(data.GetRowCount(), 5);
  data.Reset();
  data.Sort(u"k");
  EXPECT_EQ(data.Merge(Source()), 3);
  EXPECT_EQ(Shown(data), "B,1,2*|y,2,7|,,9+|c,,3+");
  EXPECT_EQ(data.GetOrgColumn(0, 0).ToString(), u"x");
  Kt_Dataset normal = Source();
  normal.ApplyChange();
  EXPECT_EQ(data.Merge(normal), 0);
  EXPECT_EQ(data.Merge(data), 0);
}

TEST(DatasetCopy, Cells) {
  Kt_Dataset data = Source();
  const Kt_Dataset source = Source();
  EXPECT_EQ(data.CopyColumn(0, 1, source, 1, 0), 1);
  EXPECT_EQ(data.ReadColumn(0, 1).ToString(), u"3");
  EXPECT_EQ(data.CopyColumn(0, 1, source, 3, 0), -1);
  EXPECT_EQ(data.CopyColumn(0, 1, source, 0, 2), -1);
  EXPECT_EQ(data.CopyColumn(5, 1, source, 0, 0), -1);
}

}  // namespace
