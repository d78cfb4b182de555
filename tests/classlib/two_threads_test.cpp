// SPDX-License-Identifier: MIT
//
// A second thread inside of one operation: results, reports and steps are those of one thread, and
// its bounds hold for both.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Codes.h"
#include "classlib/base/Kt_Helper.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_SoleThread.h"
#include "classlib/base/Kt_WorkThreads.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_Dataset.h"
#include "common/show.h"
#include "random_dataset.h"

namespace {

using kt::detail::Helper;
using std::chrono::steady_clock;

constexpr std::int64_t kMegabyte = std::int64_t{1} << 20;

// ---- The helper -------------------------------------------------------------------------------

// Pieces for the second thread are done by it, however busy the machine is. References are counted
// as in a program of one thread before an operation and after it: the thread sanitizer finds what
// would not be safe in that.
class HelperTest : public testing::Test {
 protected:
  HelperTest() { Helper::SetTakesBack(false); }
  ~HelperTest() override { Helper::SetTakesBack(true); }

 private:
  const Kt_SoleThread alone_;
};
using TwoThreads = HelperTest;

TEST_F(HelperTest, IsThereWhereItIsAllowed) {
  EXPECT_FALSE(Helper(1000000).IsThere());
  const Kt_WorkThreads threads(2, 100);
  EXPECT_FALSE(Helper(99).IsThere());
  EXPECT_TRUE(Helper(100).IsThere());
  {
    const Kt_WorkThreads one(1);
    EXPECT_FALSE(Helper(1000000).IsThere());
  }
  EXPECT_TRUE(Helper(100).IsThere());
}

TEST_F(HelperTest, DoesBothPieces) {
  const Kt_WorkThreads threads(2, 1);
  for (const std::size_t items : {std::size_t{0}, std::size_t{1}}) {  // without and with a thread
    Helper helper(items);
    EXPECT_EQ(helper.IsThere(), items > 0);
    const auto own = std::this_thread::get_id();
    std::int64_t here = 0;
    std::int64_t there = 0;
    for (int round = 0; round < 500; ++round) {
      helper.Both([&] { here += round; },
                  [&] {
                    there += round;
                    EXPECT_EQ(std::this_thread::get_id() != own, helper.IsThere());
                    EXPECT_NE(Kt_WorkThreads::MayShare(1000000), helper.IsThere());
                  });
      ASSERT_EQ(here, there);
    }
    std::vector<int> seen(1001);
    helper.InHalves(seen.size(), [&](std::size_t first, std::size_t end) {
      for (std::size_t at = first; at < end; ++at) ++seen[at];
    });
    EXPECT_EQ(seen, std::vector<int>(1001, 1));
  }
}

TEST_F(HelperTest, CountsReferencesOfBoth) {
  const Kt_WorkThreads threads(2, 1);
  const Kt_WString text(u"shared by both");
  Kt_Counted counted;
  const auto count = [&] {
    for (int round = 0; round < 100000; ++round) {
      const Kt_WString copy = text;
      counted.AddRef();
    }
  };
  for (int round = 1; round <= 3; ++round) {
    EXPECT_TRUE(Kt_SoleThread::CountsArePlain());
    count();
    Helper helper(1);
    EXPECT_FALSE(Kt_SoleThread::CountsArePlain());
    helper.Both(count, count);
    EXPECT_EQ(counted.refs, 1 + round * 300000);
  }
}

// A program says what is so; nothing is taken for granted where it said nothing.
TEST(SoleThread, IsWhatTheProgramSays) {
  std::thread([] {}).join();  // from now on the C library does not know
  EXPECT_FALSE(Kt_SoleThread::CountsArePlain());
  {
    const Kt_SoleThread::Pause nobody_asked;
    const Kt_SoleThread alone;
    EXPECT_TRUE(Kt_SoleThread::CountsArePlain());
    {
      const Kt_SoleThread again;
      std::optional<Kt_SoleThread::Pause> first(std::in_place);
      const Kt_SoleThread::Pause second;
      EXPECT_FALSE(Kt_SoleThread::CountsArePlain());
      first.reset();
      EXPECT_FALSE(Kt_SoleThread::CountsArePlain());
    }
    EXPECT_TRUE(Kt_SoleThread::CountsArePlain());
  }
  EXPECT_FALSE(Kt_SoleThread::CountsArePlain());
}

// Whichever thread does them.
TEST_F(HelperTest, DoesPiecesThatAreLate) {
  Helper::SetTakesBack(true);
  const Kt_WorkThreads threads(2, 1);
  Helper helper(1);
  Kt_RunBudget budget;
  budget.limit_steps = 1000;
  const Kt_BoundedWork bounds(budget);
  std::int64_t here = 0;
  std::int64_t there = 0;
  for (int round = 0; round < 20000; ++round) {
    helper.Both([&] { here += round; }, [&] { there += round; });
    ASSERT_EQ(here, there);
  }
  for (int round = 0; round < 100; ++round) {
    EXPECT_THROW(helper.Both([] {}, [] { throw std::bad_alloc(); }), std::bad_alloc);
  }
}

TEST_F(HelperTest, PassesWhatIsThrown) {
  const Kt_WorkThreads threads(2, 1);
  Helper helper(1);
  const auto nothing = [] {};
  EXPECT_THROW(helper.Both(nothing, [] { throw std::bad_alloc(); }), std::bad_alloc);
  EXPECT_THROW(helper.Both([] { throw std::length_error(""); }, nothing), std::length_error);
  EXPECT_THROW(helper.Both([] { throw std::length_error(""); }, [] { throw std::bad_alloc(); }),
               std::length_error);
  // A piece that is not needed any more ends at its next charge.
  const auto for_ever = [] {
    for (;;) kt::detail::ChargeOrLeave(1000);
  };
  EXPECT_THROW(helper.Both([] { throw std::length_error(""); }, for_ever), std::length_error);
  int done = 0;
  helper.Both([&] { ++done; }, nothing);
  EXPECT_EQ(done, 1);
}

// Units of work left of a budget of steps alone.
std::int64_t LeftOf(Kt_WorkMeter& meter) {
  (void)meter.LookNow();
  return meter.GetLeft();
}

TEST_F(HelperTest, ChargesOneMeter) {
  const Kt_WorkThreads threads(2, 1);
  Helper helper(1);
  Kt_RunBudget budget;
  budget.limit_steps = 1000000;
  Kt_WorkMeter outer;
  Kt_WorkMeter inner;
  outer.Start(&budget);
  inner.Start(nullptr);
  const auto charge = [](std::int64_t units) {
    return [units] {
      for (std::int64_t left = units; left > 0; left -= 7) {
        kt::detail::ChargeOrLeave(std::min<std::int64_t>(left, 7));
      }
    };
  };
  helper.Both(charge(1000), charge(3000001));
  helper.Both(charge(2000000), charge(5));
  inner.Finish();
  EXPECT_EQ(LeftOf(outer), 1000000 * Kt_WorkMeter::kUnitsPerStep - 5001006);
  EXPECT_EQ(outer.GetStopCode(), kOk);
  outer.Finish();
}

// What stops the first thread stops both, while it works and while it waits.
TEST_F(HelperTest, StopsBoth) {
  const Kt_WorkThreads threads(2, 1);
  const auto for_ever = [] {
    for (;;) kt::detail::ChargeOrLeave(1000);
  };
  const auto nothing = [] {};
  std::atomic<bool> cancel = false;
  Kt_RunBudget steps;
  steps.limit_steps = 100000;
  Kt_RunBudget deadline;
  deadline.deadline = steady_clock::now() + std::chrono::milliseconds(20);
  Kt_RunBudget flag;
  flag.cancel = &cancel;
  const std::pair<const Kt_RunBudget*, kt_long> rows[] = {
      {&steps, kErrStepBudget}, {&deadline, kErrDeadline}, {&flag, kErrCancelled}};
  for (const auto& [budget, code] : rows) {
    for (const bool is_outer : {false, true}) {
      for (const bool works : {false, true}) {
        cancel = false;
        const Kt_BoundedWork bounds(*budget);
        const Kt_RunBudget inner_budget;
        std::optional<Kt_BoundedWork> inner;
        if (is_outer) inner.emplace(inner_budget);
        Helper helper(1);
        std::thread canceller([&cancel, is_flag = budget == &flag] { cancel = is_flag; });
        if (works) {
          EXPECT_THROW(helper.Both(for_ever, for_ever), kt::detail::WorkStopped);
        } else {
          EXPECT_THROW(helper.Both(nothing, for_ever), kt::detail::WorkStopped);
        }
        canceller.join();
        EXPECT_EQ(Kt_WorkMeter::CurrentStop(), code);
        EXPECT_THROW(helper.Both(nothing, nothing), kt::detail::WorkStopped);
        inner.reset();
      }
    }
  }
}

TEST_F(HelperTest, SharesTheBoundOfMemory) {
  const Kt_WorkThreads threads(2, 1);
  Helper helper(1);
  using Bytes = kt::CountedVector<char>;
  const auto take = [](std::vector<Bytes>& to, std::size_t megabytes) {
    to.reserve(1000);
    for (std::size_t at = 0; at < megabytes * 100; ++at) to.emplace_back(10000);
  };
  std::vector<Bytes> here;
  std::vector<Bytes> there;
  {
    const Kt_CountedMemory bound(10 * kMegabyte);
    helper.Both([&] { take(here, 1); }, [&] { take(there, 8); });  // as they need it
    EXPECT_GT(bound.GetUsedBytes(), 9 * kMegabyte * 9 / 10);
    EXPECT_THROW((void)Bytes(2 * kMegabyte), std::bad_alloc);
    EXPECT_THROW(helper.Both([] {}, [&] { take(there, 2); }), std::bad_alloc);
    EXPECT_LE(bound.GetUsedBytes(), 10 * kMegabyte);
    // What one of them gives back is there for both the next time.
    helper.Both([&] { here.clear(); }, [&] { there.clear(); });
    EXPECT_EQ(bound.GetUsedBytes(), 0);
    helper.Both([&] { take(here, 4); }, [&] { take(there, 4); });
    EXPECT_THROW(helper.Both([&] { take(here, 4); }, [&] { take(there, 4); }), std::bad_alloc);
    EXPECT_LE(bound.GetUsedBytes(), 10 * kMegabyte);
  }
  const Kt_CountedMemory bound(0);
  helper.Both([&] { take(here, 9); }, [&] { there.clear(); });
}

// ---- Operations -------------------------------------------------------------------------------

// What an operation came to on one thread or two, and how much work was charged.
struct Outcome {
  std::string text;
  std::int64_t units = 0;
};

constexpr std::int64_t kManySteps = 1000000000;

// run() with so many threads, and a budget that nothing reaches.
template <class Run>
Outcome RunOn(int count, Run run) {
  const Kt_WorkThreads threads(count, 1);
  Kt_RunBudget budget;
  budget.limit_steps = kManySteps;
  Kt_WorkMeter meter;
  meter.Start(&budget);
  Outcome outcome;
  outcome.text = run();
  outcome.units = kManySteps * Kt_WorkMeter::kUnitsPerStep - LeftOf(meter);
  meter.Finish();
  return outcome;
}

template <class Run>
void ExpectSame(Run run) {
  const Outcome one = RunOn(1, run);
  const Outcome two = RunOn(2, run);
  EXPECT_EQ(one.units, two.units);
  // Without the whole texts, which may be long.
  const auto differ = std::ranges::mismatch(one.text, two.text);
  const auto at = static_cast<std::size_t>(differ.in1 - one.text.begin());
  EXPECT_TRUE(one.text == two.text)
      << "one: ..." << one.text.substr(at, 200) << "\ntwo: ..." << two.text.substr(at, 200);
}

std::string Shown(const Kt_Dataset& data) {
  return kt::test::ShowTable(data, {.cell = kt::test::QuotedCell, .ids = true, .types = true});
}

std::string Shown(const Kt_LoadReport& report) {
  std::string out = report.error.ToUtf8();
  for (const auto number : {report.records, report.rows_read, report.rows_rejected,
                            report.rows_short, report.cells_not_converted}) {
    out += ' ' + std::to_string(number);
  }
  for (const auto* const list : {&report.rejected, &report.short_rows}) {
    out += "\nrows";
    for (const auto& row : *list) {
      out += '|' + std::to_string(row.line) + row.reason.ToUtf8() + ':' + row.text.ToUtf8();
    }
  }
  out += "\ncells";
  for (const auto& cell : report.not_converted) {
    out += '|' + std::to_string(cell.line) + cell.column.ToUtf8() + ':' + cell.text.ToUtf8();
  }
  out += "\nnulls";
  for (const auto& nulls : report.nulls) {
    out += '|' + nulls.column.ToUtf8() + ':' + nulls.token.ToUtf8() + std::to_string(nulls.count);
  }
  out += "\nhints";
  for (const auto& hint : report.hints) out += '|' + hint.column.ToUtf8() + hint.option.ToUtf8();
  return out;
}

// Tables of several batches with columns of one kind each, now and then a cell of another one.
class RandomCsv {
 public:
  explicit RandomCsv(unsigned seed) : random_(seed) {}

  std::size_t Roll(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
  }

  std::string Text(std::size_t rows) {
    const std::size_t columns = Roll(4) == 0 ? 40 : 1 + Roll(14);
    oddity_ = Roll(2) == 0 ? 1000000 : 3 * rows * columns;
    kinds_.clear();
    std::string text;
    for (std::size_t col = 0; col < columns; ++col) {
      kinds_.push_back(Roll(7));
      text += (col > 0 ? ",c" : "c") + std::to_string(col);
      if (Roll(12) == 0) text += ":long";
    }
    text += '\n';
    for (std::size_t row = 0; row < rows; ++row) AddRow(text, columns);
    return text;
  }

 private:
  void AddRow(std::string& text, std::size_t columns) {
    const std::size_t cells = Roll(300) == 0 ? Roll(columns + 2) : columns;
    for (std::size_t col = 0; col < cells; ++col) {
      if (col > 0) text += ',';
      text += Cell(Roll(oddity_) == 0 ? Roll(8) : kinds_[std::min(col, columns - 1)]);
    }
    if (Roll(500) == 0) text += "x\"y";
    text += Roll(200) == 0 ? "\r\n" : "\n";
  }

  std::string Cell(std::size_t kind) {
    if (Roll(30) == 0) return Roll(2) == 0 ? "" : "NA";
    switch (kind) {
      case 0: return std::to_string(Roll(100000));
      case 1: return std::to_string(Roll(1000)) + "." + std::to_string(Roll(1000000));
      case 2:
        return "20" + std::to_string(10 + Roll(20)) + "-0" + std::to_string(1 + Roll(9)) + "-11";
      case 3: return "text " + std::to_string(Roll(50));
      case 4: return "another text " + std::to_string(Roll(100000));
      case 5: return "\"a, \"\"b\"\"\n" + std::to_string(Roll(20)) + "\"";
      case 6: return Roll(3) == 0 ? "-0" : std::to_string(Roll(10));
      default: return "\xC3\xA9 or \xE6\xBC\xA2";
    }
  }

  std::mt19937 random_;
  std::vector<std::size_t> kinds_;
  std::size_t oddity_ = 1;  // one cell in so many is of another kind
};

Kt_CsvOptions AnyOptions(unsigned seed) {
  Kt_CsvOptions options;
  options.reject_bad_cells = seed % 5 == 1;
  options.max_listed = seed % 3 == 0 ? 5 : 1000;
  if (seed % 7 == 2) options.rules.null_tokens = {{u"NA", u"7"}};
  if (seed % 7 == 3) {
    options.rules.types = {{u"c0", Kt_ColumnType::kLong}, {u"c1", Kt_ColumnType::kVariant}};
    options.rules.types_may_lack_columns = true;
  }
  return options;
}

TEST_F(TwoThreads, LoadTheSameCsv) {
  for (unsigned seed = 0; seed < 36; ++seed) {
    SCOPED_TRACE(seed);
    RandomCsv random(seed);
    const std::string text = random.Text(seed % 6 == 0 ? 20 : 3000 + random.Roll(3000));
    const Kt_CsvOptions options = AnyOptions(seed);
    ExpectSame([&] {
      Kt_Dataset data;
      Kt_LoadReport report;
      const kt_long loaded = seed % 2 == 0
                                 ? data.LoadCSVBytes(text, options, report)
                                 : data.LoadCSV(Kt_WString::FromUtf8(text), options, report);
      return std::to_string(loaded) + Shown(report) + Shown(data);
    });
  }
}

// Rows as objects or lists with columns of one kind each, now and then something else: a value of
// another kind, a member too few or too many, a value that is no row, or a fault.
class RandomJson {
 public:
  explicit RandomJson(unsigned seed) : random_(seed) {}

  std::size_t Roll(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
  }
  std::string Text(std::size_t rows) {
    const std::size_t columns = 1 + Roll(12);
    are_lists_ = Roll(3) == 0;
    oddity_ = Roll(2) == 0 ? 1000000 : rows * columns;
    const bool is_stream = Roll(3) == 0;
    std::string text = is_stream ? "" : "[";
    if (are_lists_) AddRow(text, columns, [](std::size_t col) { return '"' + Name(col) + '"'; });
    for (std::size_t row = 0; row < rows; ++row) {
      if (row > 0 || are_lists_) text += is_stream ? "\n" : ",\n";
      if (Roll(oddity_) == 0)
        text += Roll(2) == 0 ? "17" : "[1, {\"c1\": 2}]";
      else
        AddRow(text, columns,
               [&](std::size_t col) { return Cell(Roll(oddity_) == 0 ? Roll(9) : col % 8); });
    }
    if (!is_stream) text += ']';
    if (Roll(3) == 0) text[text.size() / 2 + Roll(text.size() / 2)] = '}';
    return text;
  }

 private:
  static std::string Name(std::size_t col) { return "c" + std::to_string(col); }
  template <class Value>
  void AddRow(std::string& text, std::size_t columns, Value value) {
    if (Roll(oddity_) == 0) columns = Roll(columns + 3);
    text += are_lists_ ? '[' : '{';
    for (std::size_t col = 0; col < columns; ++col) {
      if (col > 0) text += ',';
      const std::size_t name = Roll(oddity_) == 0 ? Roll(columns + 1) : col;
      if (!are_lists_) text += '"' + Name(name) + "\":";
      text += value(col);
    }
    text += are_lists_ ? ']' : '}';
  }
  std::string Cell(std::size_t kind) {
    if (Roll(30) == 0) return Roll(2) == 0 ? "null" : "\"NA\"";
    switch (kind) {
      case 0: return std::to_string(Roll(100000));
      case 1: return std::to_string(Roll(1000)) + "." + std::to_string(Roll(1000000));
      case 2: return "\"2020-0" + std::to_string(1 + Roll(9)) + "-11\"";
      case 3: return "\"text " + std::to_string(Roll(50)) + '"';
      case 4: return "\"another text " + std::to_string(Roll(100000)) + '"';
      case 5: return "\"a \\\"b\\\" \\u00e9" + std::to_string(Roll(20)) + '"';
      case 6: return Roll(2) == 0 ? "true" : "-0";
      case 7: return "\"\xC3\xA9 or \xE6\xBC\xA2\"";
      default: return "{\"a\": [1, 2.5e3]}";
    }
  }

  std::mt19937 random_;
  bool are_lists_ = false;
  std::size_t oddity_ = 1;  // one thing in so many is odd
};

TEST_F(TwoThreads, LoadTheSameJson) {
  int refused = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    RandomJson random(seed);
    const std::string text = random.Text(seed % 6 == 0 ? 20 : 3000 + random.Roll(6000));
    Kt_JsonOptions options;
    options.reject_bad_cells = seed % 5 == 1;
    options.max_listed = seed % 3 == 0 ? 5 : 1000;
    if (seed % 7 == 2) options.rules.null_tokens = {{u"NA", u"7"}};
    ExpectSame([&] {
      Kt_Dataset data;
      Kt_LoadReport report;
      const kt_long loaded = data.LoadJson(text, options, report);
      refused += loaded < 0 ? 1 : 0;
      return std::to_string(loaded) + Shown(report) + std::to_string(report.error_line) + ':' +
             std::to_string(report.error_column) + Shown(data);
    });
  }
  EXPECT_TRUE(refused > 10 && refused < 80) << refused;
}

// Several blocks of rows with everything that a file may have to hold, and may not.
Kt_Dataset AnyRows(unsigned seed) {
  RandomDataset random(seed, {.variants = seed % 3 == 0, .many_texts = seed % 8 != 0});
  Kt_Dataset data = random.Make();
  const Kt_Dataset part(data);
  while (data.GetRowCount() < 5000) data.AppendDataset(part);
  return data;
}

TEST_F(TwoThreads, SaveTheSame) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    const Kt_Dataset data = AnyRows(seed);
    Kt_CsvSaveOptions options;
    options.guard_formulas = seed % 4 == 0;
    if (seed % 5 == 0) options.separator = u'5';
    ExpectSame([&] {
      Kt_Buffer bytes;
      Kt_WString text;
      Kt_SaveReport report;
      const kt_long saved = seed % 2 == 0 ? kt::SaveCsv(data, u"", options, bytes, report)
                                          : kt::SaveCsv(data, u"", options, text, report);
      return std::to_string(saved) + report.error.ToUtf8() + std::string(bytes.View()) +
             text.ToUtf8();
    });
    Kt_JsonSaveOptions json;
    json.layout = static_cast<Kt_JsonLayout>(seed % 3);
    ExpectSame([&] {
      Kt_Buffer bytes;
      Kt_SaveReport report;
      const kt_long saved = kt::SaveJson(data, u"", json, bytes, report);
      return std::to_string(saved) + report.error.ToUtf8() + std::string(bytes.View());
    });
  }
}

TEST_F(TwoThreads, SortTheSame) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    RandomCsv random(seed);
    Kt_Dataset loaded;
    Kt_LoadReport report;
    loaded.LoadCSVBytes(random.Text(seed % 2 == 0 ? 3000 : 400), {}, report);
    for (int round = 0; round < 4; ++round) {
      Kt_WString keys;
      for (std::size_t count = 1 + random.Roll(3); count > 0; --count) {
        const auto col =
            static_cast<kt_long>(random.Roll(static_cast<std::size_t>(loaded.GetColCount())));
        keys += loaded.GetColID(col);
        keys += random.Roll(2) == 0 ? u":d," : u",";
      }
      ExpectSame([&] {
        Kt_Dataset data(loaded);
        const kt_long sorted = data.Sort(keys, true, round % 2 == 0);
        return std::to_string(sorted) + Shown(data);
      });
    }
  }
}

// Numbers that do not add up alike in another order, with nulls and few keys, one of them in most
// of the rows now and then.
Kt_Dataset RowsToGroup(std::mt19937& random) {
  Kt_Dataset data;
  const char16_t* const types[] = {u"string", u"long", u"double", u"double", u"currency", u"long"};
  const char16_t* const ids[] = {u"k0", u"k1", u"k2", u"x", u"u", u"n"};
  for (std::size_t col = 0; col < std::size(ids); ++col) data.AddColumn(ids[col], types[col]);
  const auto below = [&](kt_long count) {
    return static_cast<kt_long>(random() % static_cast<std::uint32_t>(count));
  };
  data.AppendRow(2000 + below(6000));
  const kt_long keys[] = {1 + below(60), 1 + below(5), 1 + below(300)};
  const kt_long common = random() % 4 == 0 ? 2 : 1;  // half of the rows have one key
  for (kt_long row = 0; row < data.GetRowCount(); ++row) {
    const auto key = [&](int number) { return below(common) == 0 ? below(keys[number]) : 0; };
    const Kt_Variant cells[] = {u"key " + Kt_Variant(key(0)).ToString(),
                                key(1),
                                key(2) / 8.0,
                                (below(2000) - 1000) / 7.0,
                                Kt_Currency::FromUnits(below(100000)),
                                below(1000)};
    for (kt_long col = 0; col < 6; ++col) {
      if (below(20) != 0) data.SetColumn(row, col, cells[col]);
    }
  }
  data.ApplyChange();
  for (kt_long row = data.GetRowCount() - 1; row >= 0 && random() % 4 == 0; row -= 5) {
    data.Filter(row);
  }
  for (kt_long col = 3; col < 6; ++col) {
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, col, true,
                       static_cast<Kt_Aggregate>(1 + below(5)));
  }
  return data;
}

TEST_F(TwoThreads, GroupTheSame) {
  const std::int64_t before = Helper::GetPiecesBegun();
  const char16_t* const orders[] = {u"k0", u"k1,k0", u"k2:d,k1", u"k1,k2,k0", u"k0,k2"};
  std::mt19937 random(77);
  for (int round = 0; round < 24 && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    Kt_Dataset rows = RowsToGroup(random);
    rows.SetReverseSubSumStat(random() % 3 == 0);
    rows.Sort(orders[random() % std::size(orders)], true, false, true);
    if (random() % 4 == 0) rows.MoveRow(5, 900);  // nothing tells where the keys change then
    ExpectSame([&] {
      Kt_Dataset data(rows);
      data.RecalcGroup();
      return Shown(data);
    });
  }
  EXPECT_GT(Helper::GetPiecesBegun() - before, 15);
}

TEST_F(TwoThreads, PivotTheSame) {
  const std::int64_t before = Helper::GetPiecesBegun();
  std::mt19937 random(78);
  for (int round = 0; round < 24 && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    Kt_Dataset rows = RowsToGroup(random);
    for (kt_long col = 0; col < 3; ++col) {
      const unsigned part = random() % 3;
      if (part == 2) continue;
      rows.ModifyKeyStat(Kt_KeyCall::kAdd,
                         part == 0 ? Kt_KeyType::kPivotRow : Kt_KeyType::kPivotColumn, col,
                         random() % 2 == 0);
    }
    ExpectSame([&] {
      Kt_Dataset data(rows);
      data.RecalcPivot();
      std::string out = Shown(data);
      for (kt_long row = 0; row < data.GetPivotRowCount(); ++row) {
        for (kt_long position = 0; position < data.GetPivotColCount(); ++position) {
          for (kt_long col = 3; col < 6; ++col) {
            const auto value = data.GetColumn(row, col, position);
            out += kt::test::QuotedCell(value ? *value : Kt_Variant()) + '|';
          }
        }
        out += '\n';
      }
      return out;
    });
  }
  EXPECT_GT(Helper::GetPiecesBegun() - before, 24);
}

// ---- Bounds in the middle ---------------------------------------------------------------------

// loads, save, sort and a cross table, each with its result.
struct Steps {
  static constexpr int kCount = 5;
  std::string csv = RandomCsv(4).Text(6000);
  std::string json;
  Kt_Dataset loaded;

  Steps() {
    Kt_LoadReport report;
    loaded.LoadCSVBytes(csv, {}, report);
    Kt_Buffer bytes;
    Kt_SaveReport saved;
    (void)kt::SaveJson(loaded, u"", {}, bytes, saved);
    json = bytes.View();
    loaded.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 0);
    loaded.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 1);
    for (kt_long col = 2; col < 4; ++col) {
      loaded.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, col, true,
                           Kt_Aggregate::kCount);
    }
  }
  kt_long Run(int step, Kt_Dataset& data) const {
    Kt_LoadReport report;
    Kt_SaveReport saved;
    Kt_Buffer bytes;
    switch (step) {
      case 0: return data.LoadCSVBytes(csv, {}, report);
      case 1: return kt::SaveCsv(data, u"", {}, bytes, saved);
      case 2: return data.LoadJson(json, {}, report);
      case 3: return data.Sort(u"c0,c1:d");
      default: return data.RecalcPivot();
    }
  }
};

TEST_F(TwoThreads, StopAsOneThreadDoes) {
  const Steps steps;
  for (int step = 0; step < Steps::kCount; ++step) {
    SCOPED_TRACE(step);
    const Outcome whole = RunOn(1, [&] {
      Kt_Dataset data(steps.loaded);
      return std::to_string(steps.Run(step, data));
    });
    for (int part = 0; part < 12; ++part) {
      SCOPED_TRACE(part);
      for (const int count : {1, 2}) {
        const Kt_WorkThreads threads(count, 1);
        Kt_Dataset data(steps.loaded);
        Kt_RunBudget budget;
        budget.limit_steps = whole.units / Kt_WorkMeter::kUnitsPerStep * part / 10 + 1;
        const Kt_BoundedWork bounds(budget);
        const kt_long answer = steps.Run(step, data);
        EXPECT_EQ(bounds.GetStopCode(), part < 10 ? kErrStepBudget : kOk);
        EXPECT_EQ(answer < 0, part < 10);
        EXPECT_TRUE(part >= 10 || Shown(data) == Shown(steps.loaded));
      }
    }
  }
}

TEST_F(TwoThreads, AreStoppedByFlagAndClock) {
  const Steps steps;
  const Kt_WorkThreads threads(2, 1);
  for (int step = 0; step < Steps::kCount; ++step) {
    for (int round = 0; round < 12; ++round) {
      std::atomic<bool> cancel = false;
      Kt_RunBudget budget;
      if (round % 2 == 0) {
        budget.cancel = &cancel;
      } else {
        budget.deadline = steady_clock::now() + std::chrono::microseconds(100 * round);
      }
      Kt_Dataset data(steps.loaded);
      const std::string before = Shown(data);
      const Kt_BoundedWork bounds(budget);
      std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::microseconds(100 * round));
        cancel = true;
      });
      const kt_long answer = steps.Run(step, data);
      canceller.join();
      EXPECT_EQ(answer < 0, bounds.GetStopCode() != kOk);
      EXPECT_TRUE(answer >= 0 || Shown(data) == before);
    }
  }
}

TEST_F(TwoThreads, KeepToTheBoundOfMemory) {
  const Steps steps;
  const Kt_WorkThreads threads(2, 1);
  for (int step = 0; step < Steps::kCount; ++step) {
    int refused = 0;
    int done = 0;
    for (std::int64_t limit = kMegabyte / 64; limit <= 32 * kMegabyte; limit *= 2) {
      Kt_Dataset data(steps.loaded);
      const std::string before = Shown(data);
      const Kt_CountedMemory bound(limit);
      const kt_long answer = steps.Run(step, data);
      EXPECT_LE(bound.GetUsedBytes(), limit);
      (answer < 0 ? refused : done) += 1;
      if (answer >= 0) continue;
      EXPECT_EQ(answer, kErrNoMemory);
      EXPECT_EQ(Shown(data), before);
    }
    EXPECT_GT(refused, 0) << step;
    EXPECT_GT(done, 0) << step;
  }
}

}  // namespace
