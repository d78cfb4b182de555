// SPDX-License-Identifier: MIT
//
// CSV of eight columns (a text of 5,000 values, 1 % nulls): loading with the types found, and
// writing, against what a C++ programmer writes over plain arrays. Names that end in _Plain are
// those programs; the argument is the number of rows. Both work on the same text and have to come
// to the same types, values and text. Names with Scale are steps of work on such a table, up to
// 10,000,000 rows. Those with Two are steps with a second thread: the processor time is that of the
// first one.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <charconv>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_WorkThreads.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_Dataset.h"

namespace {

constexpr std::size_t kColumns = 8;

std::string OrdersCsv(std::int64_t rows) {
  std::mt19937 random(5);
  std::string text = "id,day,region,customer,qty,price,disc,weight\n";
  const auto cell = [&](const std::string& content) {
    if (random() % 100 != 0) text += content;
  };
  const auto digits = [&](unsigned count) {
    std::string number = std::to_string(random());
    number.insert(0, count, '1');
    return number.substr(0, count);
  };
  const auto two = [](unsigned number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
  };
  for (std::int64_t row = 0; row < rows; ++row) {
    text += std::to_string(row + 1) + ',';
    cell("20" + two(random() % 24 + 1) + '-' + two(random() % 12 + 1) + '-' +
         two(random() % 28 + 1));
    cell((text += ',', "region " + std::to_string(random() % 8)));
    cell((text += ',', "customer " + std::to_string(random() % 5000)));
    cell((text += ',', std::to_string(random() % 100)));
    cell((text += ',', std::to_string(random() % 1000) + '.' + std::to_string(random() % 90 + 10)));
    cell((text += ',', "0." + std::to_string(random() % 9 + 1)));
    cell((text += ',', std::to_string(random() % 100) + '.' + digits(7) + '7'));
    text += '\n';
  }
  return text;
}

std::int64_t DayOf(int year, int month, int day) {  // since 1970-01-01, Gregorian
  year -= month <= 2 ? 1 : 0;
  const int era = year / 400;
  const int year_of_era = year - era * 400;
  const int day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year -
         719468;
}

// ---- The plain programs -----------------------------------------------------------------------

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>()(text);
  }
};

struct PlainColumn {
  enum class Type : std::uint8_t { kNone, kLong, kDouble, kDate, kText };
  std::string name;
  Type type = Type::kNone;  // the narrowest that holds all cells so far
  std::vector<std::int32_t> longs;
  std::vector<double> doubles;
  std::vector<std::uint32_t> codes;
  std::vector<std::string> texts;
  std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> code_of;
  std::vector<bool> nulls;
};

template <class Number>
bool ReadNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool ReadDay(std::string_view text, double& day) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  int year = 0;
  int month = 0;
  int date = 0;
  if (!ReadNumber(text.substr(0, 4), year) || !ReadNumber(text.substr(5, 2), month) ||
      !ReadNumber(text.substr(8), date)) {
    return false;
  }
  day = static_cast<double>(DayOf(year, month, date));
  return month >= 1 && month <= 12 && date >= 1 && date <= 31;
}

PlainColumn::Type TypeOf(std::string_view text) {
  std::int32_t whole = 0;
  double number = 0;
  if (ReadNumber(text, whole)) return PlainColumn::Type::kLong;
  if (ReadNumber(text, number)) return PlainColumn::Type::kDouble;
  return ReadDay(text, number) ? PlainColumn::Type::kDate : PlainColumn::Type::kText;
}

// False when the text is of another type than the column.
bool AppendCell(PlainColumn& column, std::string_view text) {
  const bool is_null = text.empty();
  column.nulls.push_back(is_null);
  switch (column.type) {
    case PlainColumn::Type::kLong: {
      std::int32_t whole = 0;
      const bool fits = is_null || ReadNumber(text, whole);
      column.longs.push_back(whole);
      return fits;
    }
    case PlainColumn::Type::kDouble:
    case PlainColumn::Type::kDate: {
      double number = 0;
      const bool fits =
          is_null || (column.type == PlainColumn::Type::kDouble ? ReadNumber(text, number)
                                                                : ReadDay(text, number));
      column.doubles.push_back(number);
      return fits;
    }
    default: break;
  }
  if (is_null) {
    column.codes.push_back(0);
    return true;
  }
  auto found = column.code_of.find(text);
  if (found == column.code_of.end()) {
    column.texts.emplace_back(text);
    found = column.code_of.emplace(text, static_cast<std::uint32_t>(column.texts.size())).first;
  }
  column.codes.push_back(found->second);
  return true;
}

// One cell, without its quotes; `at` is then at the separator or line end after it.
std::string_view TakeCell(const char*& at, const char* end, std::string& unquoted) {
  if (at != end && *at == '"') {
    unquoted.clear();
    for (++at; at != end; ++at) {
      if (*at == '"' && (++at == end || *at != '"')) break;
      unquoted += *at;
    }
    return unquoted;
  }
  const char* const start = at;
  while (at != end && *at != ',' && *at != '\n') ++at;
  return {start, static_cast<std::size_t>(at - start)};
}

// The type of each column is that of its first cell; when a later one does not fit, all is read
// again with the type that holds both.
std::vector<PlainColumn> PlainLoad(const std::string& text) {
  using Type = PlainColumn::Type;
  const char* const end = text.data() + text.size();
  std::vector<PlainColumn> columns;
  std::string unquoted;
  const char* at = text.data();
  for (bool more = true; more; ++at) {
    columns.emplace_back().name = TakeCell(at, end, unquoted);
    more = at != end && *at == ',';
  }
  const char* const body = at;
  for (std::size_t col = 0; at != end;) {
    PlainColumn& column = columns[col];
    const std::string_view cell = TakeCell(at, end, unquoted);
    if (column.type == Type::kNone && !cell.empty()) {
      column.type = TypeOf(cell);
      const std::size_t rows = column.nulls.size();
      column.codes.clear();
      if (column.type == Type::kLong) column.longs.resize(rows);
      if (column.type == Type::kText) column.codes.resize(rows);
      if (column.type != Type::kLong && column.type != Type::kText) column.doubles.resize(rows);
    }
    if (!AppendCell(column, cell)) {
      const bool both_numbers = column.type == Type::kLong && TypeOf(cell) == Type::kDouble;
      for (PlainColumn& other : columns) {
        PlainColumn empty;
        empty.name = other.name;
        empty.type = other.type;
        other = std::move(empty);
      }
      column.type = both_numbers ? Type::kDouble : Type::kText;
      at = body;
      col = 0;
      continue;
    }
    col = at != end && *at == ',' ? col + 1 : 0;
    if (at != end) ++at;
  }
  return columns;
}

void AppendPlainText(std::string& out, std::string_view text) {
  if (text.find_first_of(",\"\n\r") == text.npos) {
    out += text;
    return;
  }
  out += '"';
  for (const char unit : text) {
    if (unit == '"') out += unit;
    out += unit;
  }
  out += '"';
}

void AppendDay(std::string& out, double value) {
  const auto days = static_cast<std::int64_t>(value) + 719468;
  const std::int64_t era = days / 146097;
  const auto day_of_era = static_cast<int>(days - era * 146097);
  const int year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const int day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const int month_from_march = (5 * day_of_year + 2) / 153;
  const int day = day_of_year - (153 * month_from_march + 2) / 5 + 1;
  const int month = month_from_march < 10 ? month_from_march + 3 : month_from_march - 9;
  const int year = static_cast<int>(era) * 400 + year_of_era + (month <= 2 ? 1 : 0);
  const auto digit = [](int number) { return static_cast<char>('0' + number % 10); };
  const char text[] = {digit(year / 1000),
                       digit(year / 100),
                       digit(year / 10),
                       digit(year),
                       '-',
                       digit(month / 10),
                       digit(month),
                       '-',
                       digit(day / 10),
                       digit(day)};
  out.append(text, sizeof text);
}

template <class Number>
void AppendNumber(std::string& out, Number number) {
  char text[32];
  out.append(text, std::to_chars(text, text + sizeof text, number).ptr);
}

std::string PlainSave(const std::vector<PlainColumn>& columns) {
  std::string out;
  for (const PlainColumn& column : columns) {
    if (&column != &columns.front()) out += ',';
    AppendPlainText(out, column.name);
  }
  out += "\r\n";
  const std::size_t rows = columns.front().nulls.size();
  for (std::size_t row = 0; row < rows; ++row) {
    for (const PlainColumn& column : columns) {
      if (&column != &columns.front()) out += ',';
      if (column.nulls[row]) continue;
      switch (column.type) {
        case PlainColumn::Type::kLong: AppendNumber(out, column.longs[row]); break;
        case PlainColumn::Type::kDouble: AppendNumber(out, column.doubles[row]); break;
        case PlainColumn::Type::kDate: AppendDay(out, column.doubles[row]); break;
        default: AppendPlainText(out, column.texts[column.codes[row] - 1]);
      }
    }
    out += "\r\n";
  }
  return out;
}

// ---- Benchmarks -------------------------------------------------------------------------------

void Finish(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

bool HasWantedTypes(const Kt_Dataset& data) {
  constexpr Kt_ColumnType kWanted[kColumns] = {Kt_ColumnType::kLong,   Kt_ColumnType::kDateTime,
                                               Kt_ColumnType::kString, Kt_ColumnType::kString,
                                               Kt_ColumnType::kLong,   Kt_ColumnType::kDouble,
                                               Kt_ColumnType::kDouble, Kt_ColumnType::kDouble};
  for (std::size_t col = 0; col < kColumns; ++col) {
    if (data.GetColType(static_cast<kt_long>(col)) != kWanted[col]) return false;
  }
  return true;
}

// The first faulty cell ends the comparison: true when there is none.
bool IsSame(const Kt_Dataset& data, const std::vector<PlainColumn>& columns) {
  for (std::size_t col = 0; col < kColumns; ++col) {
    const PlainColumn& plain = columns[col];
    for (std::size_t row = 0; row < plain.nulls.size(); ++row) {
      const Kt_Variant value =
          data.ReadColumn(static_cast<kt_long>(row), static_cast<kt_long>(col));
      if (plain.nulls[row] != value.IsEmpty()) return false;
      if (plain.nulls[row]) continue;
      if (plain.type == PlainColumn::Type::kText) {
        if (value.ToString().ToUtf8() != plain.texts[plain.codes[row] - 1]) return false;
      } else if (plain.type == PlainColumn::Type::kLong) {
        if (value.AsLong() != plain.longs[row]) return false;
      } else if (plain.type == PlainColumn::Type::kDouble) {
        if (value.AsDouble() != plain.doubles[row]) return false;
      }
    }
  }
  return true;
}

void BM_LoadCsv(benchmark::State& state) {
  const std::string text = OrdersCsv(state.range(0));
  auto data = std::make_unique<Kt_Dataset>();
  for ([[maybe_unused]] auto round : state) {
    state.PauseTiming();  // freeing is no part of it
    data = std::make_unique<Kt_Dataset>();
    state.ResumeTiming();
    Kt_LoadReport report;
    if (data->LoadCSVBytes(text, {}, report) != state.range(0)) state.SkipWithError("rows lost");
  }
  if (!HasWantedTypes(*data)) state.SkipWithError("wrong types");
  if (!IsSame(*data, PlainLoad(text))) state.SkipWithError("another table than the plain loop's");
  Finish(state, text);
}

void BM_LoadCsv_Plain(benchmark::State& state) {
  const std::string text = OrdersCsv(state.range(0));
  std::vector<PlainColumn> columns;
  for ([[maybe_unused]] auto round : state) {
    state.PauseTiming();
    columns.clear();
    state.ResumeTiming();
    columns = PlainLoad(text);
  }
  if (columns.size() != kColumns) state.SkipWithError("columns lost");
  Finish(state, text);
}

void BM_SaveCsv(benchmark::State& state) {
  Kt_Dataset data;
  Kt_LoadReport report;
  const std::string text = OrdersCsv(state.range(0));
  data.LoadCSVBytes(text, {}, report);
  Kt_CsvSaveOptions options;
  options.typed = false;
  Kt_Buffer out;
  for ([[maybe_unused]] auto round : state) {
    Kt_SaveReport saved;
    if (kt::SaveCsv(data, u"", options, out, saved) != state.range(0)) state.SkipWithError("lost");
  }
  if (out.View() != PlainSave(PlainLoad(text))) state.SkipWithError("another text");
  Finish(state, text);
}

void BM_SaveCsv_Plain(benchmark::State& state) {
  const std::string text = OrdersCsv(state.range(0));
  const std::vector<PlainColumn> columns = PlainLoad(text);
  for ([[maybe_unused]] auto round : state) benchmark::DoNotOptimize(PlainSave(columns));
  Finish(state, text);
}

// ---- Scale ------------------------------------------------------------------------------------

std::size_t LiveBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

struct Orders {
  explicit Orders(std::int64_t rows) : text(OrdersCsv(rows)) { Load(); }
  void Load() {
    Kt_LoadReport report;
    data.LoadCSVBytes(text, {}, report);
  }
  std::string text;
  Kt_Dataset data;
};

// Of one size at a time.
Orders& OrdersOf(const benchmark::State& state) {
  static std::unique_ptr<Orders> orders;
  if (orders == nullptr || orders->data.GetRowCount() != state.range(0)) {
    orders.reset();
    orders = std::make_unique<Orders>(state.range(0));
  }
  return *orders;
}

void BM_ScaleLoad(benchmark::State& state) {
  Orders& orders = OrdersOf(state);
  double bytes = 0;
  for ([[maybe_unused]] auto round : state) {
    state.PauseTiming();
    orders.data = Kt_Dataset();
    const std::size_t before = LiveBytes();
    state.ResumeTiming();
    orders.Load();
    bytes = static_cast<double>(LiveBytes() - before);
  }
  state.counters["bytes_a_row"] = bytes / static_cast<double>(state.range(0));
  Finish(state, orders.text);
}

// A step on a copy of the table, which shares its cells.
template <class Step>
void RunStep(benchmark::State& state, Step step) {
  const Orders& orders = OrdersOf(state);
  for ([[maybe_unused]] auto round : state) {
    state.PauseTiming();
    Kt_Dataset data(orders.data);
    state.ResumeTiming();
    if (!step(data)) state.SkipWithError("the step failed");
  }
}

void BM_ScaleSum(benchmark::State& state) {
  RunStep(state, [](const Kt_Dataset& data) {
    Kt_Variant sum;
    return data.GetSum(data.GetColIndex(u"price"), 0, data.GetRowCount(), sum, -1) >= 0;
  });
}
void BM_ScaleFilter(benchmark::State& state) {
  std::vector<std::uint8_t> hidden(static_cast<std::size_t>(state.range(0)));
  for (std::size_t row = 0; row < hidden.size(); row += 2) hidden[row] = 1;
  RunStep(state, [&](Kt_Dataset& data) { return data.FilterRows(hidden) >= 0; });
}
void BM_ScaleSort(benchmark::State& state) {
  RunStep(state, [](Kt_Dataset& data) { return data.Sort(u"region,price") >= 0; });
}
void BM_ScaleGroup(benchmark::State& state) {
  RunStep(state, [](Kt_Dataset& data) {
    const kt_long price = data.GetColIndex(u"price");
    const kt_long rows = data.GetRowCount();
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, price, true, Kt_Aggregate::kSum);
    data.Sort(u"customer,region", true, false, true);
    data.RecalcGroup();
    return data.GetRowCount() > rows;
  });
}
void BM_ScaleSave(benchmark::State& state) {
  RunStep(state, [](const Kt_Dataset& data) {
    Kt_Buffer out;
    Kt_SaveReport report;
    return kt::SaveCsv(data, u"", {}, out, report) >= 0;
  });
}
std::string JsonOf(const Kt_Dataset& data) {
  Kt_Buffer out;
  Kt_SaveReport report;
  return kt::SaveJson(data, u"", {}, out, report) >= 0 ? std::string(out.View()) : std::string();
}
void BM_ScaleLoadJson(benchmark::State& state) {
  const std::string text = JsonOf(OrdersOf(state).data);
  for ([[maybe_unused]] auto round : state) {
    Kt_Dataset data;
    Kt_LoadReport report;
    if (data.LoadJson(text, {}, report) != state.range(0)) state.SkipWithError("rows lost");
    state.PauseTiming();
    data = Kt_Dataset();
    state.ResumeTiming();
  }
  Finish(state, text);
}
void BM_ScaleSaveJson(benchmark::State& state) {
  RunStep(state, [](const Kt_Dataset& data) {
    Kt_Buffer out;
    Kt_SaveReport report;
    return kt::SaveJson(data, u"", {}, out, report) >= 0;
  });
}

template <void (*step)(benchmark::State&)>
void OnTwoThreads(benchmark::State& state) {
  const Kt_WorkThreads threads(2);
  step(state);
}

// All of one size, then all of the next.
const int kScale = [] {
  for (const std::int64_t rows : {1000000, 10000000}) {
    const auto add = [rows](const char* name, auto* step) {
      benchmark::RegisterBenchmark(name, step)->Arg(rows)->Unit(benchmark::kMillisecond);
    };
    add("BM_ScaleLoad", BM_ScaleLoad);
    add("BM_ScaleSum", BM_ScaleSum);
    add("BM_ScaleFilter", BM_ScaleFilter);
    add("BM_ScaleSort", BM_ScaleSort);
    add("BM_ScaleGroup", BM_ScaleGroup);
    add("BM_ScaleSave", BM_ScaleSave);
    add("BM_ScaleSaveJson", BM_ScaleSaveJson);
    add("BM_ScaleLoadJson", BM_ScaleLoadJson);
    add("BM_ScaleLoad_Two", OnTwoThreads<BM_ScaleLoad>);
    add("BM_ScaleLoadJson_Two", OnTwoThreads<BM_ScaleLoadJson>);
    add("BM_ScaleSort_Two", OnTwoThreads<BM_ScaleSort>);
    add("BM_ScaleSave_Two", OnTwoThreads<BM_ScaleSave>);
    add("BM_ScaleSaveJson_Two", OnTwoThreads<BM_ScaleSaveJson>);
  }
  return 0;
}();

void Sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(1000000)->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_LoadCsv)->Apply(Sizes);
BENCHMARK(BM_LoadCsv_Plain)->Apply(Sizes);
BENCHMARK(BM_SaveCsv)->Apply(Sizes);
BENCHMARK(BM_SaveCsv_Plain)->Apply(Sizes);

}  // namespace
