// SPDX-License-Identifier: MIT
//
// Threads with little native stack: what nests deeper than it allows is an error that is told, in
// the parser as in the interpreter, and the thread goes on.
#include <gtest/gtest.h>

#if defined(__linux__) || defined(_WIN32)

#if defined(_WIN32)
#include <process.h>
#include <windows.h>
#else
#include <pthread.h>
#include <sys/resource.h>
#endif

#include <functional>

#include "common/test_host.h"
#include "script/Kt_Script.h"

namespace {

using kt::test::Show;
using kt::test::TestHost;

// Frames of a sanitizer are several times larger, and its reports need room of their own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kScale = 8;
#else
constexpr std::size_t kScale = 1;
#endif

#if defined(_WIN32)
void RunOnStack(std::size_t kilobytes, std::function<void()> work) {
  const auto start = [](void* argument) -> unsigned {
    (*static_cast<std::function<void()>*>(argument))();
    return 0;
  };
  const std::uintptr_t thread =
      ::_beginthreadex(nullptr, static_cast<unsigned>(kilobytes * 1024), start, &work,
                       STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  ASSERT_NE(thread, 0u);
  ::WaitForSingleObject(reinterpret_cast<HANDLE>(thread), INFINITE);
  ::CloseHandle(reinterpret_cast<HANDLE>(thread));
}
#else
void RunOnStack(std::size_t kilobytes, std::function<void()> work) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, kilobytes * 1024 * kScale), 0);
  pthread_t thread;
  const auto start = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, start, &work), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}
#endif

Kt_WString Repeated(int count, const char16_t* text) {
  Kt_WString out;
  for (int at = 0; at < count; ++at) out += text;
  return out;
}

Kt_WString Nested(int levels, const char16_t* open, const char16_t* middle, const char16_t* close) {
  return Repeated(levels, open) + middle + Repeated(levels, close);
}

Kt_WString Main(const Kt_WString& body) { return u"function main() {\n" + body + u"\n}\n"; }

// What the nesting of a program comes to on this thread: "faults", "too deep", or its result.
std::string Outcome(const Kt_WString& text) {
  TestHost host;
  Kt_Script script(&host);
  Kt_WStrList faults;
  const kt_long parsed = script.Parse(u"t", text, nullptr, &faults);
  Kt_Variant result;
  if (parsed != 0 || faults.GetCount() > 0) return "faults";
  const kt_long code = script.ExecFunc(u"main", nullptr, result);
  if (code == kErrTooDeep) return !host.errors.empty() ? "too deep" : "not told";
  return code == 0 ? Show(result) : "code " + std::to_string(code);
}

TEST(SmallStack, NestingEndsInAnError) {
  const struct {
    const char* name;
    Kt_WString text;
    const char* outcomes;  // one of these
  } kRows[] = {
      {"blocks", Main(Nested(900, u"{", u"return 7;", u"}")), "faults, too deep, 7"},
      {"ifs", Main(Nested(900, u"if (1) {\n", u"return 7;", u"}")), "faults, too deep, 7"},
      {"ifs without braces", Main(Nested(900, u"if (1) ", u"return 7;", u"")),
       "faults, too deep, 7"},
      {"else ifs", Main(Nested(900, u"if (0) {} else ", u"return 7;", u"")), "faults, too deep, 7"},
      {"loops", Main(Nested(900, u"while (1) {", u"return 7;", u"}")), "faults, too deep, 7"},
      {"switches", Main(Nested(900, u"switch (1) { case 1: ", u"return 7;", u"}")),
       "faults, too deep, 7"},
      {"brackets", Main(u"return " + Nested(9000, u"(", u"7", u")") + u";"), "too deep, 7"},
      {"lists", Main(u"return " + Nested(900, u"[", u"7", u"]") + u";"), "too deep"},
      {"calls in arguments", Main(u"return " + Nested(900, u"abs(", u"7", u")") + u";"), "7.0"},
      {"recursion", Main(u"return main();"), "too deep"},
      {"recursion in arguments", Main(u"return abs(main() + 1);"), "too deep"},
      {"recursion in a block", Main(u"if (1) { while (1) { return main(); } }"), "too deep"},
      {"eval", Main(u"return eval('main()');"), "too deep"},
      {"values in values",
       Main(u"var a = 1; for (var i = 0; i < 20000; i++) a = [a, i];"
            u" var b = a; b[1] = 2; return a = b;"),
       "0, false, true, 1, too deep"},
      {"globals", u"var g = " + Nested(9000, u"(", u"7", u")") + u"; function main() { return g; }",
       "too deep, 7"},
  };
  for (const std::size_t kilobytes : {64, 96, 128, 192, 256, 512}) {
    for (const auto& row : kRows) {
      RunOnStack(kilobytes, [&] {
        const std::string outcome = Outcome(row.text);
        EXPECT_TRUE((", " + std::string(row.outcomes) + ",").find(", " + outcome + ",") !=
                    std::string::npos)
            << kilobytes << " KB, " << row.name << ": " << outcome;
        EXPECT_EQ(Outcome(Main(u"if (1) { return 6 * 7; }")), "42") << row.name;
      });
    }
  }
}

// Built where there is room, and used and destroyed where there is little.
TEST(SmallStack, ProgramsFromALargerThread) {
  for (const std::size_t kilobytes : {64, 256}) {
    TestHost host;
    auto script = std::make_unique<Kt_Script>(&host);
    ASSERT_EQ(
        script->Parse(u"t", Main(Nested(900, u"if (1) {\n", u"return 7;", u"}")), nullptr, nullptr),
        0);
    RunOnStack(kilobytes, [&] {
      Kt_Variant result;
      const kt_long code = script->ExecFunc(u"main", nullptr, result);
      EXPECT_TRUE(code == kErrTooDeep || (code == 0 && Show(result) == "7")) << code;
      script.reset();
    });
  }
}

#if defined(__linux__)
// The system may be wrong about the stack of the first thread: its limit can be changed at any
// time, also below what is in use. A thread that asks first after that has no room by its answer.
TEST(SmallStack, ALimitThatWasLoweredBelowWhatIsInUse) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        rlimit limit{};
        if (getrlimit(RLIMIT_STACK, &limit) != 0) std::exit(1);
        limit.rlim_cur = 4096;
        if (setrlimit(RLIMIT_STACK, &limit) != 0) std::exit(1);
        const std::string outcome = Outcome(Main(u"return 7;"));
        std::exit(outcome == "too deep" || outcome == "faults" || outcome == "7" ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}
#endif

}  // namespace

#endif
