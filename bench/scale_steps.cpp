// SPDX-License-Identifier: MIT
//
// What each step of work takes on a table of numbers as its rows grow: seconds of the processor (of
// both threads, where there are two), and bytes a row that the step holds at its most beyond what
// was there before it, and that it leaves behind. Memory is that of the process as the system
// counts it; each answer is compared with one that is known.
//
//   scale_steps [--threads 2] ROWS...
//
// Columns: two longs, a double, a date; 24 bytes a row. 100,000,000 rows take up to 6 GB.
#include <malloc.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_WorkThreads.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"
#include "dataset/Kt_GroupTotals.h"

namespace {

// Of row r: qty is r % kQtys, group is r % kGroups, price is r % kPrices / 4, so sums are exact.
constexpr kt_long kGroups = 1000;
constexpr kt_long kQtys = 40;
constexpr kt_long kPrices = 100000;
constexpr kt_long kDays = 1000;
constexpr double kFirstDay = 43831;  // 2020-01-01
// ROWS are a multiple of this, so that all values come equally often.
constexpr kt_long kEvery = 100000;

// A line of /proc/self/status, in bytes.
double StatusBytes(std::string_view name) {
  std::FILE* const file = std::fopen("/proc/self/status", "r");
  double bytes = 0;
  char line[256];
  while (file != nullptr && std::fgets(line, sizeof line, file) != nullptr) {
    if (std::string_view(line).starts_with(name))
      bytes = std::strtod(line + name.size(), nullptr) * 1024;
  }
  if (file != nullptr) std::fclose(file);
  return bytes;
}

// From here on VmHWM is the most since now.
void ForgetPeak() {
  if (std::FILE* const file = std::fopen("/proc/self/clear_refs", "w")) {
    std::fputs("5", file);
    std::fclose(file);
  }
}

class Table {
 public:
  explicit Table(kt_long rows) : rows_(rows) {}

  bool Make() {
    const char16_t* const columns[][2] = {
        {u"qty", u"long"}, {u"grp", u"long"}, {u"price", u"double"}, {u"day", u"date"}};
    for (const auto& column : columns) data_.AddColumn(column[0], column[1]);
    data_.AppendRow(rows_);
    for (kt_long row = 0; row < rows_; ++row) {
      data_.SetColumn(row, 0, row % kQtys);
      data_.SetColumn(row, 1, row % kGroups);
      data_.SetColumn(row, 2, row % kPrices / 4.0);
      data_.SetColumn(row, 3, Kt_Variant(Kt_DateTime{kFirstDay + row % kDays}));
    }
    return data_.GetRowCount() == rows_;
  }
  bool Apply() {
    data_.ApplyChange();
    return data_.GetRowCount() == rows_;
  }
  bool Sum() { return Call(u"Sum", {u"price"}) == PriceSum(); }
  bool SumOfExpression() {
    // The mean of qty is that of price's remainder by 40, and price changes every row.
    return Call(u"Sum", {u"price * 2 + qty"}) == PriceSum() * 2 + rows_ * ((kQtys - 1) / 2.0);
  }
  bool Max() { return Call(u"Max", {u"price"}) == (kPrices - 1) / 4.0; }
  bool Filter() {
    Call(u"Filter", {u"qty >= 20 && price > 0"});
    const bool right = data_.GetRowCount() == rows_ / 2;
    Call(u"UnFilter", {});
    return right && data_.GetRowCount() == rows_;
  }
  bool Find() { return Call(u"SearchRow", {u"qty < 0 || price < 0"}) == -1; }
  bool SortByDouble() { return Sort(u"price") && Price(0) == 0 && Price(rows_ - 1) > Price(0); }
  bool SortByLong() {
    return Sort(u"grp") && data_.GetColumn(rows_ - 1, 1)->ToInteger() == kGroups - 1;
  }
  bool SortByDate() { return Sort(u"day,qty"); }
  bool Totals() {
    Kt_GroupTotals totals(
        {{u"grp", u"grp"}},
        {{u"sum", Kt_Aggregate::kSum, u"price"}, {u"count", Kt_Aggregate::kCount, u"qty"}},
        u"qty >= 0");
    Kt_Dataset answer(u"answer");
    return totals.Add(wrapper_) == kOk && totals.Finish(answer) == kGroups &&
           answer.GetColumn(7, 2)->ToInteger() == rows_ / kGroups;
  }
  bool Subtotals() {
    data_.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kSum);
    data_.Sort(u"grp", true, false, true);
    data_.RecalcGroup();
    return data_.GetRowCount() == rows_ + kGroups;
  }
  bool Copy() {
    Kt_Dataset copy(u"copy");
    copy = data_;
    copy.SetColumn(0, 0, kt_long{5});  // copies the column
    return data_.GetColumn(0, 0)->ToInteger() != 5;
  }
  bool SaveBinary() {
    Kt_SaveReport report;
    return kt::SaveBinary(data_, u"", bytes_, report) == rows_;
  }
  bool LoadBinary() {
    Kt_LoadReport report;
    const auto* const first = bytes_.GetData();
    return kt::LoadBinary(data_, {first, bytes_.GetSize()}, true, report) == rows_;
  }
  bool SaveCsv() {
    Kt_SaveReport report;
    return kt::SaveCsv(data_, u"", {}, bytes_, report) == rows_;
  }
  bool LoadCsv() {
    Kt_LoadReport report;
    return kt::LoadCsv(data_, bytes_.View(), {}, report) == rows_;
  }
  bool Drop() {
    data_.Clear();
    return true;
  }
  bool DropBytes() {
    bytes_ = Kt_Buffer();
    return true;
  }
  double PriceSum() const { return rows_ * ((kPrices - 1) / 8.0); }

 private:
  double Price(kt_long row) const { return data_.GetColumn(row, 2)->ToDouble(); }
  double Call(const char16_t* method, const Kt_VariantList& args) {
    Kt_Variant result;
    (void)wrapper_.CallMethod(method, &args, result);
    return result.ToDouble();
  }
  bool Sort(const char16_t* keys) { return data_.Sort(keys) >= 0; }

  kt_long rows_;
  Kt_Dataset data_{u"table"};
  Kt_ExprDataset wrapper_{&data_, nullptr};
  Kt_Buffer bytes_;
};

struct Step {
  const char* name;
  bool (Table::*run)();
};
constexpr Step kSteps[] = {
    {"append all rows, write every cell", &Table::Make},
    {"take the changes as they are", &Table::Apply},
    {"Sum of a column", &Table::Sum},
    {"Sum of price * 2 + qty", &Table::SumOfExpression},
    {"Max of a column", &Table::Max},
    {"Filter of an expression, and off", &Table::Filter},
    {"search that finds nothing", &Table::Find},
    {"totals of 1,000 groups", &Table::Totals},
    {"copy, one cell written", &Table::Copy},
    {"sort by a long", &Table::SortByLong},
    {"sort by a date and a long", &Table::SortByDate},
    {"sort by a double", &Table::SortByDouble},
    {"sort and subtotals of 1,000 groups", &Table::Subtotals},
    {"save, binary", &Table::SaveBinary},
    {"(rows dropped)", &Table::Drop},
    {"load, binary", &Table::LoadBinary},
    {"(file dropped)", &Table::DropBytes},
    {"save, CSV", &Table::SaveCsv},
    {"(rows dropped)", &Table::Drop},
    {"load, CSV", &Table::LoadCsv},
};

// Of all threads; other programs on the machine do not count.
double ProcessorSeconds() {
  timespec time{};
  (void)::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// False when a step had a wrong answer.
bool Run(kt_long rows) {
  Table table(rows);
  std::printf("%d rows\n%-38s %9s %8s %8s %8s\n", static_cast<int>(rows), "step", "seconds",
              "ns/row", "most", "left");
  bool all_right = true;
  for (const Step& step : kSteps) {
    ForgetPeak();
    const double before = StatusBytes("VmRSS:");
    const double start = ProcessorSeconds();
    const bool right = (table.*step.run)();
    const double seconds = ProcessorSeconds() - start;
    const double most = StatusBytes("VmHWM:") - before;
    const double left = StatusBytes("VmRSS:") - before;
    std::printf("%-38s %9.3f %8.1f %8.1f %8.1f%s\n", step.name, seconds, seconds * 1e9 / rows,
                most / rows, left / rows, right ? "" : "  WRONG");
    std::fflush(stdout);
    all_right = all_right && right;
  }
  return all_right;
}

}  // namespace

int main(int argc, char** argv) {
  // What is freed goes back to the system, so that it is not taken for memory of the next step.
  (void)::mallopt(M_MMAP_THRESHOLD, 1 << 20);
  (void)::mallopt(M_TRIM_THRESHOLD, 1 << 20);
  int threads = 1;
  bool all_right = argc > 1;
  for (int at = 1; at < argc; ++at) {
    if (std::strcmp(argv[at], "--threads") == 0 && at + 1 < argc) {
      threads = std::atoi(argv[++at]);
      continue;
    }
    const kt_long rows = std::atoi(argv[at]) / kEvery * kEvery;
    const Kt_WorkThreads work_threads(threads);
    all_right = rows > 0 && Run(rows) && all_right;
  }
  return all_right ? EXIT_SUCCESS : EXIT_FAILURE;
}
