// SPDX-License-Identifier: MIT
//
// Random datasets through every format: what comes back, and what is refused.
#include <gtest/gtest.h>

#include <cstdlib>

#include "cli/Kt_Text.h"
#include "cli/data/Kt_Data.h"
#include "random_dataset.h"

namespace {

using kt::cli::DataFormat;
using kt::cli::DataOptions;
using kt::cli::DataReport;

DataOptions Of(DataFormat format) {
  DataOptions options;
  options.format = format;
  options.typed = true;
  // UTF-8 has no half characters; JSON and XML write them as references.
  if (format == DataFormat::kCsv || format == DataFormat::kTsv) {
    options.code_page = kt::cli::FindEncoding("utf-16");
  }
  return options;
}

// JSON says no types, so those of the dataset count.
Kt_Dataset WithColumnsOf(const Kt_Dataset& model) {
  Kt_Dataset dataset;
  for (kt_long col = 0; col < model.GetColCount(); ++col) {
    dataset.AddColumn(model.GetColID(col), model.GetColType(col));
  }
  return dataset;
}

void ExpectSame(const Kt_Dataset& wanted, const Kt_Dataset& found) {
  ASSERT_EQ(found.GetRowCount(), wanted.GetRowCount());
  for (kt_long col = 0; col < wanted.GetColCount(); ++col) {
    ASSERT_EQ(found.GetColID(col), wanted.GetColID(col));
    for (kt_long row = 0; row < wanted.GetRowCount(); ++row) {
      const Kt_Variant a = wanted.ReadColumn(row, col);
      const Kt_Variant b = found.ReadColumn(row, col);
      ASSERT_TRUE(IsSameValue(a, b))
          << "row " << row << " column " << col << ": '" << kt::cli::ValueText(a) << "' and '"
          << kt::cli::ValueText(b) << "'";
    }
  }
}

// KT_ROUND_TRIPS=5000 for a long run.
TEST(CliRoundTrip, RandomCellsComeBack) {
  const char* const wanted = std::getenv("KT_ROUND_TRIPS");
  const unsigned count = wanted != nullptr ? static_cast<unsigned>(std::atoi(wanted)) : 100;
  for (unsigned seed = 1; seed <= count; ++seed) {
    RandomDataset maker(seed, {.variants = false, .unfinite = false, .many_texts = seed % 9 == 0});
    const Kt_Dataset original = maker.Make();
    for (const DataFormat format :
         {DataFormat::kCsv, DataFormat::kTsv, DataFormat::kXml, DataFormat::kJson,
          DataFormat::kJsonLines, DataFormat::kBinary}) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " format " << static_cast<int>(format));
      kt::cli::FileContent content;
      std::string reason;
      DataReport report;
      Kt_Dataset loaded = WithColumnsOf(original);
      ASSERT_TRUE(SaveData(Of(format), original, content, reason)) << reason;
      ASSERT_TRUE(LoadData(content.View(), Of(format), loaded, report)) << report.error;
      EXPECT_EQ(report.rows.rows_rejected + report.rows.cells_not_converted, 0);
      ExpectSame(original, loaded);
      if (HasFailure()) return;
    }
  }
}

TEST(CliRoundTrip, WhatAFormatCannotHoldIsRefusedByItsPlace) {
  const double infinite = std::numeric_limits<double>::infinity();
  Kt_Variant list = u"x";
  for (int level = 0; level < 600; ++level) list = Kt_VariantList{list};
  const struct {
    const char16_t* type;
    Kt_Variant value;
    DataFormat format;
    const char* reason;
  } rows[] = {
      {u"double", infinite, DataFormat::kJson, "an infinite number"},
      {u"double", infinite - infinite, DataFormat::kJsonLines, "a NaN"},
      {u"datetime", Kt_DateTime{-infinite}, DataFormat::kJson, "an infinite number"},
      {u"variant", Kt_VariantList{infinite}, DataFormat::kJson, "an infinite number"},
      {u"variant", list, DataFormat::kJson, "lists nested too deeply"},
      {u"variant", list, DataFormat::kXml, "lists nested too deeply"},
      {u"variant", list, DataFormat::kBinary, "lists nested too deeply"},
      {u"variant", list, DataFormat::kTsv, "a list"},
  };
  for (const auto& row : rows) {
    Kt_Dataset dataset;
    dataset.AddColumn(u"x", row.type);
    dataset.AppendRow(3);
    dataset.SetColumn(2, 0, row.value);
    kt::cli::FileContent content;
    std::string reason;
    EXPECT_FALSE(SaveData(Of(row.format), dataset, content, reason));
    EXPECT_EQ(reason, std::string("row 2, column 'x': ") + row.reason);
  }
}

}  // namespace
