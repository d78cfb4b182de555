// SPDX-License-Identifier: MIT
// Expressions over the rows of a dataset, as scripts use them, against a plain C++ loop over the
// same bytes (names that end in _Plain), and against the general evaluation of the expression row
// by row (names that end in _Evaluated, over a tenth of the rows).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "classlib/base/Kt_WorkThreads.h"
#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_DatasetCtx.h"
#include "dataset/Kt_GroupTotals.h"
#include "expr/Kt_Expr.h"

namespace {

constexpr kt_long kRows = 1000000;

struct Orders {
  Orders() : wrapper(&data, nullptr) {
    data.AddColumn(u"price", u"double");
    data.AddColumn(u"qty", u"long");
    data.AddColumn(u"city", u"string");
    data.AppendRow(kRows);
    const char16_t* const cities[] = {u"Bern", u"Oslo", u"Rome", u"Wien"};
    for (kt_long row = 0; row < kRows; ++row) {
      price.push_back((row % 1000 * 7919 % 1000) / 8.0);
      qty.push_back(row * 31 % 10);
      city.push_back(Kt_WString(cities[row * 17 % 4]).ToUtf8());
      data.SetColumn(row, 0, price.back());
      data.SetColumn(row, 1, qty.back());
      data.SetColumn(row, 2, cities[row * 17 % 4]);
    }
    data.ApplyChange();
  }

  Kt_Dataset data{u"orders"};
  Kt_ExprDataset wrapper;
  std::vector<double> price;  // the same once more
  std::vector<kt_long> qty;
  std::vector<std::string> city;
};

Orders& TheOrders() {
  static Orders orders;
  return orders;
}

void Finish(benchmark::State& state, kt_long rows = kRows) {
  state.SetItemsProcessed(state.iterations() * rows);
}

void Call(benchmark::State& state, const char16_t* name, const Kt_VariantList& args,
          double wanted) {
  const Kt_Getter method = Kt_ExprDataset::GetDSetMethodFunc(name);
  Orders& orders = TheOrders();
  Kt_Variant result;
  for ([[maybe_unused]] auto round : state) (orders.wrapper.*method)(&args, result);
  if (result.ToDouble() != wanted) state.SkipWithError("wrong result");
  Finish(state);
}

void Evaluate(benchmark::State& state, const char16_t* text) {
  Orders& orders = TheOrders();
  Kt_DatasetCtx context(nullptr, nullptr, &orders.data, nullptr, nullptr);
  Kt_Expr expr(text);
  Kt_Variant value;
  for ([[maybe_unused]] auto round : state) {
    for (kt_long row = 0; row < kRows / 10; ++row) {
      context.SetRowPosition(0, row, 0, row);
      (void)expr.ExecExpr(&context, value);
      benchmark::DoNotOptimize(value);
    }
  }
  Finish(state, kRows / 10);
}

template <class Row>
double Total(Row row) {
  const Orders& orders = TheOrders();
  double sum = 0;
  for (std::size_t at = 0; at < orders.price.size(); ++at) {
    sum += row(orders.price[at], orders.qty[at]);
  }
  return sum;
}

template <class Row>
void Plain(benchmark::State& state, Row row) {
  TheOrders();
  for ([[maybe_unused]] auto round : state) benchmark::DoNotOptimize(Total(row));
  Finish(state);
}

// The same rows in other shapes.
struct Views {
  Views() : copy(TheOrders().data), wrapper(&copy, nullptr), shown_wrapper(&shown, nullptr) {
    copy.SetId(u"copy");
    copy.AddLogicalColumn(u"total", u"price * qty", u"double");
    copy.AddLogicalColumn(u"label", u"left(city, 2) + qty", u"string");
    shown.SetSource(&TheOrders().data);
    grouped.Sort(u"city", true, false, true);
    grouped.RecalcGroup();
  }

  Kt_Dataset copy;  // with a computed column
  Kt_ExprDataset wrapper;
  Kt_Dataset shown{u"shown"};  // logical
  Kt_ExprDataset shown_wrapper;
  Kt_Dataset grouped{TheOrders().data};
  Kt_ExprDataset grouped_wrapper{&grouped, nullptr};
};
Views& TheViews() {
  static Views views;
  return views;
}

void CallIn(benchmark::State& state, Kt_ExprDataset& wrapper, const char16_t* name,
            const Kt_VariantList& args, double wanted) {
  const Kt_Getter method = Kt_ExprDataset::GetDSetMethodFunc(name);
  Kt_Variant result;
  for ([[maybe_unused]] auto round : state) (wrapper.*method)(&args, result);
  if (result.ToDouble() != wanted) state.SkipWithError("wrong result");
  Finish(state);
}

double Product(double price, kt_long qty) { return price * qty; }
double LargeProduct(double price, kt_long qty) { return price * qty > 500 ? price * qty : 0; }
double LargeProductOfMany(double price, kt_long qty) {
  return qty > 5 ? LargeProduct(price, qty) : 0;
}
double PriceOfMany(double price, kt_long qty) { return qty > 5 ? price : 0; }

double RootOf(double price, kt_long qty) { return std::sqrt(std::fabs(price)) * (qty > 5 ? 2 : 1); }

void BM_SumProduct(benchmark::State& state) {
  Call(state, u"Sum", {u"price * qty"}, Total(Product));
}
void BM_SumProduct_Plain(benchmark::State& state) { Plain(state, Product); }
void BM_SumProduct_Evaluated(benchmark::State& state) { Evaluate(state, u"price * qty"); }

void BM_CaseSum(benchmark::State& state) {
  Call(state, u"CaseSum", {u"qty > 5", u"price"}, Total(PriceOfMany));
}
void BM_CaseSum_Plain(benchmark::State& state) { Plain(state, PriceOfMany); }

void BM_LogicalSum(benchmark::State& state) {
  CallIn(state, TheViews().shown_wrapper, u"Sum", {u"price * qty"}, Total(Product));
}
void BM_GroupedSum(benchmark::State& state) {
  CallIn(state, TheViews().grouped_wrapper, u"Sum", {u"price * qty"}, Total(Product));
}
void BM_ComputedSum(benchmark::State& state) {
  CallIn(state, TheViews().wrapper, u"CaseSum", {u"total > 500", u"total"}, Total(LargeProduct));
}
void BM_ComputedSum_Plain(benchmark::State& state) { Plain(state, LargeProduct); }
// The column itself.
void BM_ComputedColumn(benchmark::State& state) {
  const Orders& orders = TheOrders();
  double wanted = 0;
  for (std::size_t at = 0; at < orders.price.size(); ++at) {
    wanted = std::max(wanted, Product(orders.price[at], orders.qty[at]));
  }
  CallIn(state, TheViews().wrapper, u"Max", {u"total"}, wanted);
}
void BM_ComputedText(benchmark::State& state) {
  double wanted = 0;
  const Orders& orders = TheOrders();
  for (std::size_t at = 0; at < orders.qty.size(); ++at) {
    wanted += orders.qty[at] == 3 && orders.city[at] == "Oslo" ? 1 : 0;
  }
  CallIn(state, TheViews().wrapper, u"CaseCount", {u"label = 'Os3'"}, wanted);
}
// A computed column on the right of an &&.
void BM_ComputedRight(benchmark::State& state) {
  CallIn(state, TheViews().wrapper, u"CaseSum", {u"qty > 5 && total > 500", u"total"},
         Total(LargeProductOfMany));
}
void BM_ComputedRight_Plain(benchmark::State& state) { Plain(state, LargeProductOfMany); }

// The row that is found is the last one.
void BM_SearchRow(benchmark::State& state) {
  const Kt_WString text = u"rowidx > " + Kt_Variant(kRows - 2).ToString();
  Call(state, u"SearchRow", {text + u" && qty >= 0"}, kRows - 1);
}
void BM_SearchRow_Plain(benchmark::State& state) {
  const Orders& orders = TheOrders();
  for ([[maybe_unused]] auto round : state) {
    std::size_t row = 0;
    while (!(row > kRows - 2 && orders.qty[row] >= 0)) ++row;
    benchmark::DoNotOptimize(row);
  }
  Finish(state);
}

void BM_SearchText(benchmark::State& state) {
  Call(state, u"SearchRow", {u"city = 'Paris' || price < 0"}, -1);
}
// Cities that begin with "os" in any case, or that are short. One of them: Oslo.
void BM_CaseCountTexts(benchmark::State& state) {
  Call(state, u"CaseCount", {u"left(toupper(trim(city)), 2) = 'OS' || length(city) < 4"},
       kRows / 4);
}
void BM_CaseCountTexts_Plain(benchmark::State& state) {
  const Orders& orders = TheOrders();
  for ([[maybe_unused]] auto round : state) {
    kt_long count = 0;
    for (const std::string& city : orders.city) {
      const bool is_os =
          city.size() > 1 && std::toupper(city[0]) == 'O' && std::toupper(city[1]) == 'S';
      count += is_os || city.size() < 4 ? 1 : 0;
    }
    benchmark::DoNotOptimize(count);
  }
  Finish(state);
}
void BM_CaseCountTexts_Evaluated(benchmark::State& state) {
  Evaluate(state, u"left(toupper(trim(city)), 2) = 'OS' || length(city) < 4");
}
void BM_CaseCountFunction(benchmark::State& state) {
  Call(state, u"CaseCount", {u"abs(price) < 0"}, 0);
}

void BM_SumFunctions(benchmark::State& state) {
  Call(state, u"Sum", {u"sqrt(abs(price)) * iif(qty > 5, 2, 1)"}, Total(RootOf));
}
void BM_SumFunctions_Plain(benchmark::State& state) { Plain(state, RootOf); }

// With and without the plain part: what is hidden as one flag per row.
void BM_Filter(benchmark::State& state) {
  Orders& orders = TheOrders();
  Kt_Variant result;
  const Kt_VariantList text = {u"qty > 5"};
  for ([[maybe_unused]] auto round : state) {
    (void)orders.wrapper.CallMethod(u"Filter", &text, result);
  }
  if (orders.data.GetRowCount() != kRows / 10 * 4) state.SkipWithError("wrong rows");
  (void)orders.wrapper.CallMethod(u"UnFilter", nullptr, result);
  Finish(state);
}
void BM_Filter_Plain(benchmark::State& state) {
  const Orders& orders = TheOrders();
  std::vector<std::uint8_t> hidden(kRows);
  for ([[maybe_unused]] auto round : state) {
    for (std::size_t row = 0; row < hidden.size(); ++row) hidden[row] = orders.qty[row] > 5 ? 0 : 1;
    benchmark::DoNotOptimize(hidden.data());
  }
  Finish(state);
}
void BM_Filter_Evaluated(benchmark::State& state) { Evaluate(state, u"qty > 5"); }

// Eight columns, a text of 5,000 values, and a null in one of a hundred cells of every column.
struct Sales {
  static constexpr kt_long kTexts = 5000;
  static constexpr kt_long kRegions = 4;
  static constexpr std::uint8_t kIsNull = 1;

  Sales() : wrapper(&data, nullptr) {
    const char16_t* const columns[][2] = {
        {u"price", u"double"}, {u"qty", u"long"},   {u"disc", u"double"},   {u"city", u"string"},
        {u"cost", u"double"},  {u"stock", u"long"}, {u"region", u"string"}, {u"day", u"date"}};
    for (const auto& column : columns) data.AddColumn(column[0], column[1]);
    data.AppendRow(kRows);
    for (kt_long row = 0; row < kRows; ++row) {
      nulls.push_back(row % 10000 * 7919 % 100 == 0 ? kIsNull : 0);
      nulls.push_back(row % 10000 * 7907 % 100 == 1 ? kIsNull : 0);
      nulls.push_back(row % 10000 * 7901 % 100 == 2 ? kIsNull : 0);
      price.push_back(nulls.end()[-3] != 0 ? 0 : (row % 1000 * 7919 % 1000) / 8.0);
      qty.push_back(nulls.end()[-2] != 0 ? 0 : row % 997 * 31 % 10);
      disc.push_back(nulls.end()[-1] != 0 ? 0 : row % 991 * 17 % 40 / 100.0);
      city.push_back(row % 1009 * 7919 % kTexts);
      if (nulls.end()[-3] == 0) data.SetColumn(row, 0, price.back());
      if (nulls.end()[-2] == 0) data.SetColumn(row, 1, qty.back());
      if (nulls.end()[-1] == 0) data.SetColumn(row, 2, disc.back());
      data.SetColumn(row, 3, u"city" + Kt_Variant(city.back()).ToString());
      region.push_back(row % 10007 % kRegions);
      data.SetColumn(row, 6, u"region" + Kt_Variant(region.back()).ToString());
    }
    data.ApplyChange();
  }
  // The rows of a plain loop over the same cells: price, qty, disc, the number of the city, and
  // three flags.
  template <class Row>
  double Total(Row row) const {
    double sum = 0;
    for (std::size_t at = 0; at < price.size(); ++at) {
      sum += row(price[at], qty[at], disc[at], city[at], &nulls[at * 3]);
    }
    return sum;
  }

  Kt_Dataset data{u"sales"};
  Kt_ExprDataset wrapper;
  std::vector<double> price;
  std::vector<kt_long> qty;
  std::vector<double> disc;
  std::vector<kt_long> city;
  std::vector<kt_long> region;
  std::vector<std::uint8_t> nulls;
};

Sales& TheSales() {
  static Sales sales;
  return sales;
}

double NetOf(double price, kt_long qty, double disc, kt_long, const std::uint8_t*) {
  return price * qty * (1 - disc);
}
// A null is less than every number.
double IsWanted(double price, kt_long qty, double, kt_long city, const std::uint8_t* nulls) {
  return qty > 5 && (nulls[0] != 0 || price < 100) && city != 17 ? 1 : 0;
}
double PriceOfWanted(double price, kt_long qty, double disc, kt_long city,
                     const std::uint8_t* nulls) {
  return IsWanted(price, qty, disc, city, nulls) != 0 ? price : 0;
}
constexpr const char16_t* kWanted = u"qty > 5 && price < 100 && city <> 'city17'";

template <class Row>
void OverSales(benchmark::State& state, const char16_t* name, const Kt_VariantList& args, Row row) {
  const Kt_Getter method = Kt_ExprDataset::GetDSetMethodFunc(name);
  Sales& sales = TheSales();
  Kt_Variant result;
  for ([[maybe_unused]] auto round : state) (sales.wrapper.*method)(&args, result);
  if (result.ToDouble() != sales.Total(row)) state.SkipWithError("wrong result");
  Finish(state);
}
template <class Row>
void PlainOverSales(benchmark::State& state, Row row) {
  const Sales& sales = TheSales();
  for ([[maybe_unused]] auto round : state) benchmark::DoNotOptimize(sales.Total(row));
  Finish(state);
}
void BM_NullsSum(benchmark::State& state) {
  OverSales(state, u"Sum", {u"price * qty * (1 - disc)"}, NetOf);
}
void BM_NullsSum_Plain(benchmark::State& state) { PlainOverSales(state, NetOf); }
void BM_NullsCaseSum(benchmark::State& state) {
  OverSales(state, u"CaseSum", {kWanted, u"price"}, PriceOfWanted);
}
void BM_NullsCaseSum_Plain(benchmark::State& state) { PlainOverSales(state, PriceOfWanted); }
void BM_NullsCaseCount(benchmark::State& state) {
  OverSales(state, u"CaseCount", {kWanted}, IsWanted);
}
void BM_NullsCaseCount_Plain(benchmark::State& state) { PlainOverSales(state, IsWanted); }

// One row of forty passes the first test; what comes after it costs a little, much, or marks half
// of all rows.
bool IsGivenAway(double disc) { return disc > 0.38; }
double IsDear(double price, kt_long qty, double disc, kt_long, const std::uint8_t*) {
  return IsGivenAway(disc) && price * qty * (1 - disc) > 100 ? 1 : 0;
}
double IsUp(double price, kt_long, double disc, kt_long, const std::uint8_t*) {
  return IsGivenAway(disc) && std::sin(price) > 0.5 ? 1 : 0;
}
double IsMuch(double, kt_long qty, double disc, kt_long, const std::uint8_t*) {
  return IsGivenAway(disc) && std::int64_t{qty} * 400000000 > 5 ? 1 : 0;
}
void BM_RareArithmetic(benchmark::State& state) {
  OverSales(state, u"CaseCount", {u"disc > 0.38 && price * qty * (1 - disc) > 100"}, IsDear);
}
void BM_RareArithmetic_Plain(benchmark::State& state) { PlainOverSales(state, IsDear); }
void BM_RareFunction(benchmark::State& state) {
  OverSales(state, u"CaseCount", {u"disc > 0.38 && sin(price) > 0.5"}, IsUp);
}
void BM_RareFunction_Plain(benchmark::State& state) { PlainOverSales(state, IsUp); }
void BM_RareOverflow(benchmark::State& state) {
  OverSales(state, u"CaseCount", {u"disc > 0.38 && qty * 400000000 > 5"}, IsMuch);
}
void BM_RareOverflow_Plain(benchmark::State& state) { PlainOverSales(state, IsMuch); }

// Sum, average and count of each city in each region. The rows stay where they are, and sums are
// exact. The plain loop knows texts by number and has no order of groups.
void BM_TotalsTwoTexts(benchmark::State& state) {
  Sales& sales = TheSales();
  std::size_t groups = 0;
  for ([[maybe_unused]] auto round : state) {
    Kt_GroupTotals totals({{u"city", u"city"}, {u"region", u"region"}},
                          {{u"sum", Kt_Aggregate::kSum, u"price"},
                           {u"avg", Kt_Aggregate::kAvg, u"disc"},
                           {u"count", Kt_Aggregate::kCount, u"qty"}},
                          {});
    Kt_Dataset answer(u"answer");
    if (totals.Add(sales.wrapper) != kOk || totals.Finish(answer) < 0) {
      state.SkipWithError("failed");
    }
    groups = totals.GroupCount();
  }
  state.counters["groups"] = static_cast<double>(groups);
  Finish(state);
}
void BM_TotalsTwoTexts_Plain(benchmark::State& state) {
  const Sales& sales = TheSales();
  struct Group {
    double price = 0;
    double disc = 0;
    kt_long discs = 0;
    kt_long qtys = 0;
  };
  for ([[maybe_unused]] auto round : state) {
    std::vector<Group> groups(Sales::kTexts * Sales::kRegions);
    for (std::size_t row = 0; row < sales.price.size(); ++row) {
      Group& group =
          groups[static_cast<std::size_t>(sales.city[row] * Sales::kRegions + sales.region[row])];
      group.price += sales.price[row];
      group.disc += sales.disc[row];
      group.qtys += sales.nulls[row * 3 + 1] == 0 ? 1 : 0;
      group.discs += sales.nulls[row * 3 + 2] == 0 ? 1 : 0;
    }
    for (Group& group : groups) group.disc /= std::max(group.discs, 1);
    benchmark::DoNotOptimize(groups.data());
  }
  Finish(state);
}

// The same with a second thread.
template <void (*step)(benchmark::State&)>
void OnTwoThreads(benchmark::State& state) {
  const Kt_WorkThreads threads(2);
  step(state);
}

#define KT_TWO(name)                              \
  BENCHMARK(name)->Unit(benchmark::kMillisecond); \
  BENCHMARK(OnTwoThreads<name>)->Name(#name "_Two")->Unit(benchmark::kMillisecond)
#define KT_ROWS(name) BENCHMARK(name)->Unit(benchmark::kMillisecond)
KT_TWO(BM_SumProduct);
KT_ROWS(BM_SumProduct_Plain);
KT_ROWS(BM_SumProduct_Evaluated);
KT_TWO(BM_CaseSum);
KT_ROWS(BM_CaseSum_Plain);
KT_TWO(BM_LogicalSum);
KT_TWO(BM_GroupedSum);
KT_TWO(BM_ComputedSum);
KT_ROWS(BM_ComputedSum_Plain);
KT_TWO(BM_ComputedRight);
KT_ROWS(BM_ComputedColumn);
KT_ROWS(BM_ComputedText);
KT_ROWS(BM_ComputedRight_Plain);
KT_TWO(BM_SearchRow);
KT_ROWS(BM_SearchRow_Plain);
KT_TWO(BM_SearchText);
KT_TWO(BM_CaseCountTexts);
KT_ROWS(BM_CaseCountTexts_Plain);
KT_ROWS(BM_CaseCountTexts_Evaluated);
KT_TWO(BM_CaseCountFunction);
KT_TWO(BM_SumFunctions);
KT_ROWS(BM_SumFunctions_Plain);
KT_TWO(BM_NullsSum);
KT_ROWS(BM_NullsSum_Plain);
KT_TWO(BM_NullsCaseSum);
KT_ROWS(BM_NullsCaseSum_Plain);
KT_TWO(BM_NullsCaseCount);
KT_ROWS(BM_NullsCaseCount_Plain);
KT_TWO(BM_RareArithmetic);
KT_ROWS(BM_RareArithmetic_Plain);
KT_TWO(BM_RareFunction);
KT_ROWS(BM_RareFunction_Plain);
KT_TWO(BM_RareOverflow);
KT_ROWS(BM_RareOverflow_Plain);
KT_TWO(BM_TotalsTwoTexts);
KT_ROWS(BM_TotalsTwoTexts_Plain);
KT_TWO(BM_Filter);
KT_ROWS(BM_Filter_Plain);
KT_ROWS(BM_Filter_Evaluated);

}  // namespace
