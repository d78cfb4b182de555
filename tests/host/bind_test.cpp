// SPDX-License-Identifier: MIT
//
// The layer for hosts in C++: what goes in and out, what fails how, and who may go first.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "classlib/base/Kt_WorkThreads.h"
#include "common/show.h"
#include "host/Kt_Bind.h"
#include "host/Kt_Dates.h"
#include "host/Kt_Folders.h"
#include "script/Kt_Script.h"

namespace {

using kt::test::Show;
using testing::ElementsAre;
using testing::HasSubstr;

// What a call throws, or its result as text.
template <class Work>
std::string Outcome(Work work) {
  try {
    if constexpr (std::is_void_v<decltype(work())>) {
      work();
      return "done";
    } else {
      return Show(kt::detail::ToValue(work()));
    }
  } catch (const kt::SyntaxError& error) {
    return std::string("syntax: ") + error.what();
  } catch (const kt::RunError& error) {
    return std::string("run: ") + error.what();
  } catch (const std::exception& error) {
    return std::string("other: ") + error.what();
  }
}

// Functions that take and give each kind of value.
void AddKinds(kt::Engine& engine) {
  using namespace std::chrono;
  engine.function("int", [](int x) { return x; })
      .function("byte", [](std::uint8_t x) { return x; })
      .function("wide", [](std::int64_t x) { return x * 2; })
      .function("real", [](double x) { return x; })
      .function("truth", [](bool x) { return x; })
      .function("text", [](const std::string& x) { return x + "!"; })
      .function("view", [](std::string_view x) { return std::string(x); })
      .function("utf16", [](std::u16string_view x) { return std::u16string(x); })
      .function("list", [](std::vector<int> x) { return x; })
      .function("map", [](const std::map<std::string, double>& x) { return x; })
      .function("pair", [](std::pair<std::string, int> x) { return x; })
      .function("maybe",
                [](int x, std::optional<std::string> y) { return y ? *y : std::to_string(x); })
      .function("amount", [](Kt_Currency x) { return x; })
      .function("day", [](year_month_day x) { return year_month_day(sys_days(x) + days(1)); })
      .function("moment", [](sys_time<milliseconds> x) { return x + 1500ms; })
      .function("any", [](const Kt_Variant& x) { return x; })
      .function("rest", [](int first, kt::Rest rest) { return first + rest.values.GetCount(); })
      .function("noon", [] { return sys_days(2024y / 2 / 28) + 12h; })
      .function("grow", [](int& x, int by) { x += by; })
      .function("nothing", [] {});
}

TEST(HostBind, ValuesOfEveryKind) {
  kt::Engine engine;
  AddKinds(engine);
  engine.load("lists", "var numbers = [1, 2, 3], pairs = [['b', 2], ['a', 1]];");
  const struct {
    const char* call;
    const char* result;
  } rows[] = {
      {"int(7)", "7"},
      {"int(7.0)", "7"},
      {"byte(255)", "255"},
      {"wide(3)", "6"},
      {"wide(3000000000.0)", "6000000000.0"},
      {"wide(9007199254740992.0)",
       "run: wide: the number 18014398509481984 is too large to be exact"},
      {"real(3)", "3.0"},
      {"truth(1 < 2)", "true"},
      {"text('h\u00e9')", "'h\u00e9!'"},
      {"view('a')", "'a'"},
      {"utf16('\u20ac')", "'\u20ac'"},
      {"list(numbers)", "[1, 2, 3]"},
      {"map(pairs)", "[['a', 1.0], ['b', 2.0]]"},
      {"pair(pairs[1])", "['a', 1]"},
      {"maybe(4)", "'4'"},
      {"maybe(4, 'x')", "'x'"},
      {"amount(12.5)", "12.5"},
      {"any(pairs)", "[['b', 2], ['a', 1]]"},
      {"rest(1, 2, 'x')", "3"},
      {"nothing()", "-"},
      {"noon()", "2024-02-28 12:00:00"},
      {"day(noon())", "2024-02-29"},
      {"moment(noon())", "2024-02-28 12:00:01"},
      // What does not fit names the function and the argument.
      {"int(7.5)", "run: int: argument 1 is a number, not a whole number"},
      {"int('7')", "run: int: argument 1 is a text, not a whole number"},
      {"int(3000000000.0)", "run: int: argument 1 is a number, not a whole number"},
      {"byte(256)", "run: byte: argument 1 is a number, not a whole number from 0"},
      {"text(7)", "run: text: argument 1 is a number, not a text"},
      {"list(pairs)", "run: list: argument 1 is a list, not a list, each item a whole number"},
      {"maybe(1, 2)", "run: maybe: argument 2 is a number, not a text or nothing"},
      {"maybe()", "run: maybe: takes 1 to 2 arguments, 0 came"},
      {"int(1, 2)", "run: int: takes 1 argument, 2 came"},
      {"rest()", "run: rest: takes 1 or more arguments, 0 came"},
      {"grow(1, 2)", "run: grow: argument 1 has to be passed with ref()"},
  };
  for (const auto& row : rows) {
    std::string outcome = Outcome([&] { return engine.eval(row.call); });
    if (outcome.starts_with("run: ")) {  // the place is that of the call
      outcome = "run: " + outcome.substr(outcome.find(": ", 5) + 2);
    }
    EXPECT_EQ(outcome, row.result) << row.call;
  }
}

TEST(HostBind, CallsPassAndGiveValues) {
  kt::Engine engine;
  engine.load("a", "var n = 2; function add(a, b) { return a + b; } function fill(x) { x = n; }");
  EXPECT_EQ(engine.call<int>("add", 1, 2), 3);
  EXPECT_EQ(engine.call<std::string>("add", "a", std::string("b")), "ab");
  EXPECT_EQ(engine.set("n", 5).get<int>("N"), 5);
  int out = 0;
  engine.call<void>("fill", std::ref(out));
  EXPECT_EQ(out, 5);
  EXPECT_EQ(Outcome([&] { return engine.call<int>("add", "a", "b"); }),
            "run: the result of add is a text, not a whole number");
  EXPECT_EQ(engine.try_eval<double>("n / 2").value(), 2.5);
  EXPECT_EQ(engine.try_call<int>("none").error().text, "there is no function 'none'");
  EXPECT_EQ(engine.try_call<int>("none").value_or(9), 9);
  EXPECT_THROW(engine.get("m"), kt::RunError);
  // A reference that the script passes, and a function of the script that the host calls.
  AddKinds(engine);
  engine.function("twice", [](std::function<double(double)> f, double x) { return f(f(x)); });
  engine.load("b",
              "function half(x) { return x / 2; }"
              "function test() { var x = 3; grow(ref(x), 4); return x; }");
  EXPECT_EQ(engine.call<int>("test"), 7);
  EXPECT_EQ(engine.eval<double>("twice('half', 20)"), 5);
}

TEST(HostBind, ErrorsHaveTheirPlace) {
  kt::Engine engine;
  std::vector<std::string> heard;
  engine.on_error([&](const kt::ErrorInfo& error) { heard.push_back(error.text); });
  const auto bad =
      engine.try_load("bad", "var a = 1;\nfunction f() { if (a { } }\nfunction g() { 2 2; }");
  ASSERT_FALSE(bad);
  ASSERT_EQ(bad.error().faults.size(), 2u);
  EXPECT_EQ(bad.error().faults[1].line, 3);
  EXPECT_EQ(bad.error().faults[1].function, "g");
  EXPECT_THAT(Outcome([&] { engine.load("worse", "var = 1;"); }), HasSubstr("syntax: worse:1:"));
  EXPECT_THAT(Outcome([&] { engine.load("globals", "var x = nobody + 1;"); }), HasSubstr("nobody"));
  EXPECT_EQ(engine.check("c", "function f() {} function f() {}").size(), 0u);
  EXPECT_EQ(engine.check("c", "function f() {} function f() {}", true).size(), 1u);

  heard.clear();
  engine.load("rules",
              "function inner(q) {\n  return q * prise;\n}\nfunction main() { return inner(2); }");
  const auto failed = engine.try_call("main");
  ASSERT_FALSE(failed);
  const kt::ErrorInfo& error = failed.error();
  EXPECT_EQ(error.Whole(), "rules:2:5: unknown variable 'prise'");
  EXPECT_EQ(error.expression, "q * prise");
  EXPECT_EQ(error.code, kErrNoVariable);
  ASSERT_EQ(error.calls.size(), 2u);
  EXPECT_EQ(error.calls[1].function, "main");
  EXPECT_EQ(error.calls[1].line, 4);
  EXPECT_THAT(heard, ElementsAre("unknown variable 'prise'"));
  EXPECT_EQ(Outcome([&] { return engine.eval("2 +"); }),
            "syntax: column 4: expression ends too early");
  // Names of the host are suggested.
  engine.function("price_of", [](int x) { return x; });
  EXPECT_THAT(Outcome([&] { return engine.eval("price_off(2)"); }), HasSubstr("price_of'"));
}

TEST(HostBind, ExceptionsBecomeErrorsOrPass) {
  kt::Engine engine;
  engine.function("fail", [](int how) {
    if (how == 0) throw std::out_of_range("too far");
    if (how == 1) throw 5;
    throw std::bad_alloc();
  });
  engine.load("a", "function main(how) {\n  fail(how);\n}");
  EXPECT_EQ(Outcome([&] { engine.call("main", 0); }), "run: a:2:1: fail: too far");
  EXPECT_THAT(Outcome([&] { engine.call("main", 1); }), HasSubstr("no exception of the standard"));
  EXPECT_EQ(engine.try_call("main", 2).error().code, kErrNoMemory);
  engine.pass_exceptions(true);
  EXPECT_EQ(Outcome([&] { engine.call("main", 0); }), "other: too far");
  EXPECT_THROW(engine.call("main", 1), int);
  // From call to call, as far as nobody catches it.
  engine.function("outer", [&](int how) { engine.call("main", how); });
  EXPECT_EQ(Outcome([&] { engine.eval("outer(0)"); }), "other: too far");
  EXPECT_THROW(engine.eval("outer(1)"), int);
  EXPECT_EQ(engine.eval<int>("1 + 1"), 2);
}

// The engine keeps texts that it has evaluated: each time it sees what there is then.
TEST(HostBind, TheSameTextIsEvaluatedAnewEachTime) {
  kt::Engine engine;
  const auto total = [&] { return Outcome([&] { return engine.eval("total(price)"); }); };
  const std::string unknown = total();
  EXPECT_THAT(unknown, HasSubstr("total"));
  EXPECT_EQ(total(), unknown);
  engine.set("price", 2).function("total", [](double x) { return x * 2; });
  EXPECT_EQ(total(), "4.0");
  EXPECT_EQ(total(), "4.0");
  engine.set("price", 2.5);
  EXPECT_EQ(total(), "5.0");
  engine.function("total", [](const std::string& x) { return x; });
  const std::string refused = total();
  EXPECT_THAT(refused, HasSubstr("argument 1 is a number, not a text"));
  EXPECT_EQ(total(), refused);
  engine.load("a", "function total(x) { return 'script ' + x; }");
  EXPECT_EQ(total(), "'script 2.5'");

  const auto qty = [&] { return Outcome([&] { return engine.eval("order.qty"); }); };
  int own = 3;
  {
    kt::Object order(engine, "order");
    order.property("qty", [&] { return own; });
    EXPECT_EQ(qty(), "3");
    own = 4;
    EXPECT_EQ(qty(), "4");
  }
  const std::string gone = qty();
  EXPECT_THAT(gone, HasSubstr("order"));
  engine.dataset("order").load_csv("qty:long\n7\n");
  EXPECT_EQ(qty(), "7");

  // While it runs, too.
  int depth = 0;
  engine.function("again", [&] { return ++depth < 5 ? engine.eval<int>("again() + 1") : 0; });
  EXPECT_EQ(engine.eval<int>("again() + 1"), 5);
}

TEST(HostBind, BoundsEndEveryKindOfCall) {
  kt::Engine engine;
  engine.load("a",
              "function spin() { while (1) { } }"
              "function grow() { var t = 'x'; while (1) { t = t + t; } }");
  engine.limit_steps(10'000);
  EXPECT_EQ(engine.try_call("spin").error().code, kErrStepBudget);
  EXPECT_EQ(engine.try_eval("spin()").error().code, kErrStepBudget);
  EXPECT_EQ(engine.eval<int>("2"), 2);
  engine.limit_steps(0).limit_time(std::chrono::milliseconds(20));
  EXPECT_EQ(engine.try_call("spin").error().code, kErrDeadline);
  EXPECT_EQ(engine.try_load("b", "var x = spin();").error().code, kErrDeadline);
  EXPECT_EQ(engine.eval<int>("3"), 3);  // every call has its own time
  engine.limit_time(std::chrono::seconds(0)).limit_memory(1 << 20);
  EXPECT_EQ(engine.try_call("grow").error().code, kErrNoMemory);
}

TEST(HostBind, AnotherThreadCancels) {
  kt::Engine engine;
  std::atomic<bool> runs{false};
  engine.function("started", [&] { runs = true; });
  engine.load("a", "function spin() { started(); while (1) { } }");
  std::thread other([&] {
    while (!runs) std::this_thread::yield();
    engine.cancel();
  });
  EXPECT_EQ(engine.try_call("spin").error().code, kErrCancelled);
  other.join();
  EXPECT_EQ(engine.eval<int>("4"), 4);
}

TEST(HostBind, CallsMayHaveASecondThread) {
  kt::Engine engine;
  const auto may_share = [&] { return engine.eval<bool>("may()"); };
  engine.function("may", [] { return Kt_WorkThreads::MayShare(Kt_WorkThreads::kLeastItems); });
  engine.load("script", "function asked() { return may(); }");
  EXPECT_FALSE(may_share());
  engine.threads(2);
  EXPECT_TRUE(may_share());
  EXPECT_TRUE(engine.call<bool>("asked"));
  EXPECT_FALSE(Kt_WorkThreads::MayShare(Kt_WorkThreads::kLeastItems));  // what the host does itself
  engine.threads(1);
  const Kt_WorkThreads threads(2);
  EXPECT_FALSE(may_share());
}

TEST(HostBind, ObjectsOfTheHost) {
  struct Order {
    double price = 2.5;
    const int id = 7;
    double Total(int count) const { return price * count; }
    void Rename(std::string text) { name = std::move(text); }
    std::string name;
  } order;
  kt::Engine engine;
  int quantity = 3;
  {
    kt::Object object(engine, "order");
    object.property("price", &order, &Order::price)
        .property("id", &order, &Order::id)
        .property(
            "qty", [&] { return quantity; }, [&](int value) { quantity = value; })
        .method("total", &order, &Order::Total)
        .method("rename", &order, &Order::Rename);
    engine.function("current", [&]() -> const kt::Object& { return object; });
    engine.load(
        "a",
        "var kept;"
        "function main() { order.price = 4; order.qty = order.qty + 1;"
        "  order.rename('N' + order.id); kept = current(); return kept.total(order.qty); }");
    EXPECT_EQ(engine.call<double>("main"), 16);
    EXPECT_EQ(order.name, "N7");
    EXPECT_EQ(Outcome([&] { engine.eval("order.total('x')"); }),
              "run: order.total: argument 1 is a text, not a whole number");
    EXPECT_THAT(Outcome([&] { engine.eval("order.pricee"); }), HasSubstr("did you mean 'price'"));
    engine.load("b", "function bad() { order.qty = 'x'; } function lock() { order.id = 1; }");
    EXPECT_THAT(Outcome([&] { engine.call("bad"); }), HasSubstr("the value is a text"));
    EXPECT_THAT(Outcome([&] { engine.call("lock"); }), HasSubstr("cannot be assigned to"));
  }
  EXPECT_THAT(Outcome([&] { engine.eval("order.price"); }), HasSubstr("unknown variable 'order'"));
  EXPECT_THAT(Outcome([&] { engine.eval("kept.price"); }), HasSubstr("null has no member"));
}

TEST(HostBind, FormulasOverNumbersAndValues) {
  const kt::Formula total("price * qty", {"price", "qty"});
  EXPECT_EQ(total(2.5, 10), 25);
  EXPECT_EQ(total.value<double>(2.5, 4), 10);
  const kt::Formula label("name + ':' + qty", {"name", "qty"});
  EXPECT_EQ(label.value<std::string>("pen", 3), "pen:3");
  const std::vector<double> prices{1, 2, 3};
  const std::vector<double> quantities{10};
  std::vector<double> totals(3);
  total.evaluate({prices, quantities}, totals);
  EXPECT_THAT(totals, ElementsAre(10, 20, 30));
  EXPECT_EQ(Outcome([&] { return kt::Formula("prise * 2", {"price"})(1); }),
            "run: column 1: unknown variable 'prise' (did you mean 'price'?)");
  EXPECT_EQ(Outcome([&] { return total(1); }), "run: the formula has 2 names, 1 values came");
  EXPECT_THAT(Outcome([&] { return kt::Formula("a b", {"a"})(1); }), HasSubstr("syntax: "));

  auto engine = std::make_unique<kt::Engine>();
  engine->function("rate", [](double x) { return x > 5 ? 0.5 : 1; });
  engine->load("a", "var extra = 1; function more(x) { return x + extra; }");
  const kt::Formula priced(*engine, "more(qty * rate(qty))", {"qty"});
  EXPECT_EQ(priced(10), 6);
  engine->set("extra", 2).limit_steps(1000);
  EXPECT_EQ(priced(4), 6);
  engine.reset();  // the formula has what it needs
  EXPECT_EQ(priced(10), 7);
}

struct Line {
  std::string item;
  int qty = 0;
  std::optional<double> price;
  bool operator==(const Line&) const = default;
};

kt::Fields<Line> LineFields() {
  return kt::Fields<Line>()
      .add("item", &Line::item)
      .add("qty", &Line::qty)
      .add("price", &Line::price);
}

TEST(HostBind, TablesInAndOut) {
  kt::Engine engine;
  kt::Table orders = engine.dataset("orders");
  const std::vector<Line> lines{{"pen", 2, 1.5}, {"cup", 1, {}}, {"ink", 4, 3.0}};
  orders.load(lines, LineFields());
  EXPECT_EQ(orders.read(LineFields()), lines);
  EXPECT_EQ(engine.eval<int>("orders.Sum('qty')"), 7);
  EXPECT_THAT(orders.span<kt_long>("qty"), ElementsAre(2, 1, 4));
  EXPECT_EQ(orders.span<double>("price")[2], 3);
  EXPECT_THAT(orders.values<std::optional<double>>("price"), ElementsAre(1.5, std::nullopt, 3));
  EXPECT_THAT(Outcome([&] { orders.values<double>("price"); }), HasSubstr("row 1 of 'price'"));
  EXPECT_THAT(Outcome([&] { orders.span<double>("qty"); }), HasSubstr("holds long"));
  EXPECT_EQ(orders.state(0), kt::RowState::kNormal);

  engine.load("a", "function grow() { orders.SetColumn(0, 'qty', 9); orders.Sort('qty'); }");
  engine.call<void>("grow");
  EXPECT_THAT(orders.values<int>("qty"), ElementsAre(1, 4, 9));
  EXPECT_THAT(Outcome([&] { orders.span<kt_long>("qty"); }), HasSubstr("do not lie"));
  EXPECT_EQ(orders.state(2), kt::RowState::kUpdated);
  EXPECT_EQ(orders.original<int>(2, "qty"), 2);
  int sum = 0;
  orders.reset();
  for (kt::Row row : orders) sum += row.set("qty", row.get<int>("qty") * 2).get<int>("qty");
  EXPECT_EQ(sum, 14);
  orders.append_row().set("item", "new");
  EXPECT_EQ(orders.rows(), 4);
  EXPECT_EQ(orders.state(3), kt::RowState::kInserted);
  orders.append(kt::Columns().add("item", std::vector<std::string>{"last"}));
  EXPECT_EQ(orders.get<std::string>(4, "item"), "last");
  orders.reset();
  EXPECT_EQ(orders.values<std::optional<int>>("qty").size(), 4u);

  // Wide numbers, dates, and back again by text.
  kt::Table wide("wide");
  wide.load(kt::Columns()
                .add("big", std::vector<std::int64_t>{1, 5'000'000'000})
                .add("day", std::vector<std::chrono::sys_days>{std::chrono::sys_days{}, {}}));
  EXPECT_EQ(wide.to_csv(), "big:double,day:datetime\r\n1,1970-01-01\r\n5000000000,1970-01-01\r\n");
  EXPECT_EQ(kt::Table().load_json(wide.to_json()).values<double>("big")[1], 5e9);
  EXPECT_THAT(Outcome([&] { wide.load_json("[{]"); }), HasSubstr("run: 1:"));
  for (const std::int64_t big : {(1LL << 53) + 1, -(1LL << 53) - 1}) {
    EXPECT_THAT(Outcome([&] { wide.load(kt::Columns().add("n", std::vector{big})); }),
                HasSubstr("too large to be exact"));
  }
  EXPECT_EQ(wide.load(kt::Columns().add("n", std::vector{1LL << 53})).values<double>("n")[0],
            9007199254740992.0);
  EXPECT_EQ(
      Outcome([&] { wide.load(kt::Columns().add("n", std::vector{1}).add("N", std::vector{2})); }),
      "run: two columns are called 'n' and 'N', which is the same id");
  EXPECT_THAT(
      Outcome([&] { wide.load(kt::Columns().add("n", std::vector<std::int64_t>{1LL << 60})); }),
      HasSubstr("too large to be exact"));
  EXPECT_THAT(Outcome([&] {
                wide.load(kt::Columns().add("a", std::vector<int>{1}).add("b", std::vector<int>{}));
              }),
              HasSubstr("differ in length"));
}

TEST(HostBind, TablesAskAndTell) {
  kt::Engine engine;
  kt::Table orders = engine.dataset("orders").load_csv("qty:long\n1\n2\n");
  std::string told;
  orders.on_change([](const kt::CellChange& change) {
    if (change.value.ToInteger() > 99) throw std::runtime_error("far too many");
    return change.value.ToInteger() >= 0;
  });
  orders.on_changed([&](const kt::CellChange& change) {
    told += std::to_string(change.row) + Show(change.old_value) + Show(change.value) + " ";
  });
  orders.set(1, "qty", 5);
  EXPECT_EQ(Outcome([&] { orders.set(0, "qty", -1); }), "run: row 0 of 'qty' was not changed");
  EXPECT_EQ(Outcome([&] { orders.set(0, "qty", 100); }), "other: far too many");
  std::vector<std::string> heard;
  engine.on_error([&](const kt::ErrorInfo& error) { heard.push_back(error.text); });
  engine.load("a", "function main(x) { orders.SetColumn(0, 'qty', x); return orders.Sum('qty'); }");
  EXPECT_EQ(engine.call<int>("main", -3), 6);
  EXPECT_EQ(engine.call<int>("main", 3), 8);
  EXPECT_THAT(Outcome([&] { engine.call("main", 100); }), HasSubstr("far too many"));
  EXPECT_EQ(engine.tolerant(true).call<int>("main", 100), 8);
  EXPECT_THAT(heard,
              ElementsAre("orders.on_change: far too many", "orders.on_change: far too many"));
  engine.pass_exceptions(true);
  EXPECT_EQ(Outcome([&] { engine.call("main", 100); }), "other: far too many");
  EXPECT_EQ(told, "125 013 ");

  // A handler that drops its own table, and throws.
  auto alone = std::make_unique<kt::Table>("alone");
  alone->load_csv("n:long\n1\n").on_change([&](const kt::CellChange&) {
    alone.reset();
    throw std::runtime_error("gone");
  });
  EXPECT_EQ(Outcome([&] { kt::Table(*alone).set(0, "n", 2); }), "other: gone");
}

TEST(HostBind, StrictHearsOfTextsReadAsZero) {
  const char* const kScript =
      "function main(x) {\n  var y = 2;\n  y *= x;\n  for (var i = 0; i < 3; i++) y = y - x;\n"
      "  return y + t.Sum('n * s');\n}";
  for (const bool is_compiled : {true, false}) {
    kt::Engine engine;
    std::vector<std::string> heard;
    engine.strict([&](const kt::ErrorInfo& warning) {
      EXPECT_EQ(warning.code, 0);
      heard.push_back(warning.Whole() + " <" + warning.expression + ">");
    });
    engine.script().SetCompiled(is_compiled);
    kt::Table table = engine.dataset("t");
    table.load_csv("n:long,s:string\n1,2\n2,x\n");
    engine.load("a", kScript);
    EXPECT_EQ(engine.call<int>("main", "n/a"), 2);
    EXPECT_EQ(engine.call<int>("main", "n/b"), 2) << "the places are known";
    EXPECT_THAT(heard, ElementsAre("a:3: 'n/a' is no number and is read as 0 by '*' <>",
                                   "a:4:3: 'n/a' is no number and is read as 0 by '-' <y - x>",
                                   "a:5:11: 'x' is no number and is read as 0 by '*' (row 1) "
                                   "<y + t.Sum('n * s')>"));
    EXPECT_EQ(engine.eval<int>("1 - 'q'"), 1);
    EXPECT_EQ(heard.size(), 4u);
    engine.strict(nullptr);
    EXPECT_EQ(engine.eval<int>("2 * 'q'"), 0);
    EXPECT_EQ(heard.size(), 4u);
  }
}

TEST(HostBind, FunctionsCallBackIntoTheEngine) {
  kt::Engine engine;
  engine.function("down",
                  [&](int n) -> int { return n == 0 ? 0 : engine.call<int>("step", n) + 1; });
  engine.load("a", "function step(n) { return down(n - 1); } function self() { return again(); }");
  EXPECT_EQ(engine.call<int>("step", 20), 19);
  // A function that replaces itself, loads more text and asks for a formula, all while it runs.
  engine.function("again", [&] {
    engine.function("again", [] { return 1; });
    engine.load("more", "function later() { return 40; }");
    return kt::Formula(engine, "later() + again() + x", {"x"})(1);
  });
  EXPECT_EQ(engine.call<int>("self"), 42);
  EXPECT_EQ(engine.call<int>("self"), 1);
  engine.limit_steps(1000).load("spin", "function spin() { while (1) { } }");
  engine.function("inner", [&] { return engine.call<int>("spin"); });
  EXPECT_EQ(engine.try_eval("inner()").error().code, kErrStepBudget);
}

// A text that would lose something is refused as a whole, unless the host wants to hear what.
TEST(HostBind, TextsAreLoadedWholeOrNotAtAll) {
  kt::Table table("t");
  table.load_csv("a:long,b\n1,x\n");
  const std::string before = table.to_csv();
  const std::string_view broken = "a:long,b\n1,x,y\n2,z\nthree,w\n";
  EXPECT_EQ(Outcome([&] { table.load_csv(broken); }),
            "run: line 2: row rejected: more cells than columns\n"
            "line 4: cell not converted: column 'a': 'three'");
  EXPECT_EQ(Outcome([&] { table.load_json("[{\"a\": 5},\n7]"); }),
            "run: line 2: row rejected: expected an object");
  std::string many = "a:long\n";
  for (int row = 0; row < 5000; ++row) many += "x\n";
  EXPECT_THAT(Outcome([&] { table.load_csv(many); }), HasSubstr("column 'a': 'x'\n4990 more"));
  EXPECT_EQ(table.to_csv(), before);

  Kt_LoadReport report;
  table.load_csv(broken, Kt_CsvOptions(), report);
  EXPECT_EQ(report.rows_rejected, 1);
  EXPECT_EQ(report.cells_not_converted, 1);
  EXPECT_EQ(table.to_csv(), "a:long,b:string\r\n2,z\r\n0,w\r\n");
  table.load_json("[{\"a\": 5},\n7]", Kt_JsonOptions(), report);
  EXPECT_EQ(table.rows(), 1);
}

TEST(HostBind, EnginesShareAProgram) {
  const kt::IncludeSource source = [](const std::string& name, const std::string&) {
    return name == "more" ? std::optional("function more(n) { return hosted(n) + 1; }")
                          : std::nullopt;
  };
  const char* const text =
      "#include \"more\"\n"
      "var calls = 0, first = hosted(0);\n"
      "function main(n) {\n"
      "  calls++;\n"
      "  if (n > 5) return n + none;\n"
      "  return more(n) + calls * 100 + thing.x;\n"
      "}\n";
  std::optional<kt::Program> program = kt::Program::compile("rules", text, source);
  const auto run = [&](int own, bool is_shared) {
    kt::Engine engine;
    kt::Object thing(engine, "thing");
    thing.property("x", [own] { return own * 1000; });
    engine.function("hosted", [own](int n) { return n + own; }).includes(source);
    is_shared ? engine.load(*program) : engine.load("rules", text);
    std::string out = std::to_string(engine.get<int>("first"));
    for (int n = 3; n < 7; ++n) {
      out += " " + Outcome([&] { return engine.call<int>("main", n); });
    }
    return out;
  };
  std::vector<std::string> found(6);
  std::vector<std::thread> threads;
  for (int own = 0; own < 6; ++own) {
    threads.emplace_back([&, own] { found[static_cast<std::size_t>(own)] = run(own, true); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(found[4], HasSubstr("4 4108 4209 4310 run: rules:5:"));
  for (int own = 0; own < 6; ++own) {
    EXPECT_EQ(found[static_cast<std::size_t>(own)], run(own, false));
  }

  // It may go before the engines that have loaded it.
  EXPECT_EQ(Outcome([&] { kt::Engine().load(*program); }),
            "run: column 1: unknown function: hosted");
  kt::Engine engine;
  engine.function("hosted", [](int n) { return n; }).load(*program);
  program.reset();
  EXPECT_EQ(engine.eval<int>("more(1)"), 2);
  EXPECT_EQ(Outcome([] { kt::Program::compile("a", "#include \"none\"\n"); }),
            "syntax: a: there is no 'none' to include");
  EXPECT_EQ(Outcome([] { kt::Program::compile("a", "\nfunction f() { return 1 +; }"); }),
            Outcome([] { kt::Engine().load("a", "\nfunction f() { return 1 +; }"); }));
}

TEST(HostBind, AnythingMayGoFirst) {
  // The object and the table outlive the engine.
  auto engine = std::make_unique<kt::Engine>();
  int x = 3;
  auto object = std::make_unique<kt::Object>(*engine, "thing");
  object->property(
      "x", [&] { return x; }, [&](int value) { x = value; });
  kt::Table table = engine->dataset("rows").load_csv("n:long\n1\n");
  std::function<double(double)> kept;
  engine->function("keep", [&](std::function<double(double)> f) { kept = std::move(f); });
  engine->load("a",
               "function half(x) { return x / 2 + thing.x; } function main() { keep('half'); }");
  engine->call("main");
  EXPECT_EQ(kept(4), 5);
  engine.reset();
  EXPECT_EQ(table.values<int>("n").front(), 1);
  table.set(0, "n", 2);
  EXPECT_EQ(kept(4), 5);  // keeps what it needs
  kept = nullptr;
  object.reset();
  // The engine outlives both, and one goes in the middle of its own method.
  kt::Engine other;
  {
    const kt::Table gone = other.dataset("rows", table);
    auto suicide = std::make_unique<kt::Object>(other, "s");
    suicide->method("end", [&] {
      suicide.reset();
      return 5;
    });
    EXPECT_EQ(other.eval<int>("s.end()"), 5);
  }
  EXPECT_EQ(other.eval<int>("rows.Sum('n')"), 2);
}

TEST(HostBind, WhatTheHostGives) {
  kt::Engine engine;
  std::string traced;
  engine.on_trace([&](std::string_view text) { traced += text; });
  engine.clock([] { return Kt_DateTime{45292.5}; });
  std::string asked;
  engine.settings([&](std::u16string_view, std::u16string_view name, Kt_SettingValue& value) {
    asked = Kt_WString(name).ToUtf8();
    value = {Kt_SettingType::kNumber, 1, {}};
    return true;
  });
  engine.load("a", "function main() { trace('here'); return today() + ''; }");
  EXPECT_EQ(engine.call<std::string>("main"), "20240101");
  EXPECT_THAT(traced, HasSubstr("here"));
  EXPECT_NE(kt_nowW(), Kt_DateTime{45292.5});
  const auto draw = [&] { return engine.random_seed(7).eval<double>("random(1000000)"); };
  EXPECT_EQ(draw(), draw());
}

TEST(HostBind, IncludesComeFromTheHost) {
  namespace fs = std::filesystem;
  const fs::path root = fs::path(testing::TempDir()) / "kt_bind_folders";
  fs::create_directories(root / "in");
  std::ofstream(root / "in" / "main.kts")
      << "#include \"more.kts\"\nfunction main() { return more(); }";
  std::ofstream(root / "in" / "more.kts") << "#include \"main.kts\"\nfunction more() { return 8; }";
  std::ofstream(root / "secret.kts") << "var secret = 1;";
  std::error_code ignored;
  fs::create_symlink(root / "secret.kts", root / "in" / "link.kts", ignored);

  kt::Engine engine;
  const kt::Folders folders{(root / "in").string()};
  engine.includes(folders).load("main.kts", folders.read("main.kts"));
  EXPECT_EQ(engine.call<int>("main"), 8);
  for (const char* const name : {"../secret.kts", "link.kts", "none.kts"}) {
    EXPECT_THAT(Outcome([&] { engine.load("x", "#include \"" + std::string(name) + "\"\n"); }),
                HasSubstr("there is no '" + std::string(name) + "' to include"));
  }
  engine.includes([](const std::string&, const std::string&) -> std::optional<std::string> {
    throw std::runtime_error("offline");
  });
  EXPECT_EQ(Outcome([&] { engine.load("y", "#include \"z\"\n"); }), "other: offline");
  EXPECT_THROW(kt::Folders{"no/such/folder"}, kt::RunError);
  fs::remove_all(root);
}

}  // namespace
