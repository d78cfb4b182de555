// SPDX-License-Identifier: MIT
//
// Scripts and datasets belong to one thread at a time: debug builds stop where a second one comes
// while the first is inside.
#include <gtest/gtest.h>

#if !defined(NDEBUG)

#include <thread>

#include "classlib/store/Kt_Dataset.h"
#include "common/test_host.h"
#include "script/Kt_Script.h"

namespace {

using kt::test::TestHost;

// Calls `inside` while it computes a cell.
class CallingEvaluator : public Kt_ColumnEvaluator {
 public:
  explicit CallingEvaluator(std::function<void()> inside) : inside_(std::move(inside)) {}
  bool EvaluateColumn(const Kt_Dataset&, kt_long, bool, const Kt_ColumnMap&, Kt_Variant&) override {
    inside_();
    return true;
  }

 private:
  std::function<void()> inside_;
};

void InSecondThread(const std::function<void()>& work) { std::thread(work).join(); }

void UseWhileComputing(const std::function<void(Kt_Dataset&)>& use) {
  Kt_Dataset orders(u"orders");
  orders.AppendRow(2);
  orders.AddLogicalColumn(u"twice", u"any text", u"long");
  orders.SetEvaluator(
      std::make_shared<CallingEvaluator>([&] { InSecondThread([&] { use(orders); }); }));
  (void)orders.Sort(u"twice");
}

void UseWhileRunning(const std::function<void(Kt_Script&)>& use) {
  TestHost host;
  Kt_Script script(&host);
  (void)script.Parse(u"t", u"function main() { return hook(); } function f() { return 1; }",
                     nullptr, nullptr);
  host.on_hook = [&](auto*, auto&, Kt_Variant&) {
    InSecondThread([&] { use(script); });
    return kOk;
  };
  Kt_Variant result;
  (void)script.ExecFunc(u"main", nullptr, result);
}

class TwoThreadsDeathTest : public testing::Test {
 protected:
  TwoThreadsDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(TwoThreadsDeathTest, InOneDataset) {
  constexpr const char* kMessage = "thread \\w+ uses dataset 'orders' while thread \\w+ is";
  EXPECT_DEATH(UseWhileComputing([](Kt_Dataset& d) { (void)d.ReadColumn(0, 0); }), kMessage);
  EXPECT_DEATH(UseWhileComputing([](Kt_Dataset& d) { d.AppendRow(); }), kMessage);
  EXPECT_DEATH(UseWhileComputing([](Kt_Dataset& d) { d.RecalcGroup(); }), kMessage);
}

TEST_F(TwoThreadsDeathTest, InOneScript) {
  EXPECT_DEATH(UseWhileRunning([](Kt_Script& script) {
                 Kt_Variant result;
                 (void)script.ExecFunc(u"f", nullptr, result);
               }),
               "uses the script of function 'f' while thread");
  EXPECT_DEATH(UseWhileRunning([](Kt_Script& script) {
                 (void)script.Parse(u"more", u"var a = 1;", nullptr, nullptr);
               }),
               "uses the script of text 'more' while thread");
}

// One after the other, and copies at the same time, are allowed.
TEST_F(TwoThreadsDeathTest, InTurnsAndInCopies) {
  UseWhileRunning([](Kt_Script&) {});
  Kt_Dataset orders(u"orders");
  orders.AddColumn(u"n", u"long");
  InSecondThread([&] { orders.AppendRow(3); });
  UseWhileComputing([](Kt_Dataset&) {});
  const Kt_Dataset copy(orders);
  InSecondThread([&] { EXPECT_EQ(copy.ReadColumn(0, 0).ToString().GetLength(), 0); });
  EXPECT_EQ(orders.AppendRow(), 3);
}

}  // namespace

#endif
