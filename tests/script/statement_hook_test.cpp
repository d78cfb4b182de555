// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "script/Kt_Script.h"
#include "script/Kt_ScriptOp.h"
#include "script/Kt_StatementHook.h"

namespace {

// Writes down what it is told: "f2@1" for a statement in line 2 of f in the first call, "f2?1" for
// the way that it goes on.
class Recorder : public Kt_StatementHook {
 public:
  void OnStatement(const Kt_StatementPlace& place) override {
    Add(place, u'@', place.depth);
    if (is_short_) SetStatementHook(*place.func.GetScript(), nullptr);
  }
  void OnBranch(const Kt_StatementPlace& place, kt_long taken) override { Add(place, u'?', taken); }
  void StopAtFirst() { is_short_ = true; }
  std::string Take() { return std::exchange(text_, Kt_WString()).ToUtf8(); }

 private:
  void Add(const Kt_StatementPlace& place, char16_t mark, kt_long number) {
    if (!text_.IsEmpty()) text_ += u' ';
    text_ += place.func.GetName() + Kt_Variant(place.line).ToString();
    text_ += mark;
    text_ += Kt_Variant(number).ToString();
  }

  Kt_WString text_;
  bool is_short_ = false;
};

TEST(StatementHook, IsToldWhatRuns) {
  const struct {
    const char16_t* body;  // from line 2 on
    const char* told;
  } kRows[] = {
      {u"x = 1;\n{ x = 2;\n}", "f2@1 f3@1 f3@1"},
      {u"x = g() +\n g();", "f2@1 g1@2 g1@2"},
      {u"if (0) x = 1;\nelse if (1)\nx = 2;", "f2@1 f2?1 f3@1 f3?0 f4@1"},
      {u"if (0) x = 1;", "f2@1 f2?1"},
      {u"for (i = 0; i < 2; i++)\nx = i;", "f2@1 f2@1 f2?1 f3@1 f2@1 f2?1 f3@1 f2@1 f2?0"},
      {u"while (1)\nbreak;", "f2@1 f2?1 f3@1"},
      {u"switch (2) {\ncase 1: x = 1;\ncase 2: x = 2;\ndefault: x = 3; }", "f2@1 f2?1 f4@1 f5@1"},
      {u"switch (2) {\ncase 1: x = 1; }", "f2@1 f2?1"},
      {u"return g();", "f2@1 g1@2"},
      {u"x = nobody;\nx = 2;", "f2@1"},
  };
  for (const auto& row : kRows) {
    Kt_Script script;
    const Kt_WString text =
        Kt_WString(u"function g() { return 1; } function f() { var x;\n") + row.body + u"\n}\n";
    ASSERT_EQ(script.Parse(u"a", text, nullptr, nullptr), 0);
    Recorder recorder;
    SetStatementHook(script, &recorder);
    Kt_Variant result;
    (void)script.ExecFunc(u"f", nullptr, result);
    EXPECT_EQ(recorder.Take(), std::string("f1@1 ") + row.told) << text.ToUtf8();
    SetStatementHook(script, nullptr);
    (void)script.ExecFunc(u"f", nullptr, result);
    EXPECT_EQ(recorder.Take(), "");
    // Also one that comes after the functions have run as code, and goes while they run.
    SetStatementHook(script, &recorder);
    recorder.StopAtFirst();
    (void)script.ExecFunc(u"f", nullptr, result);
    EXPECT_EQ(recorder.Take(), "f1@1");
  }
}

}  // namespace
