// SPDX-License-Identifier: MIT
//
// The n-th request for memory fails in `kt`, from the reading of its options on. Either the answer
// is the right one, or a message says why there is none and the status is not 0; a file that it
// saves is the old or the new one, and nothing else is left in the folder.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <ostream>
#include <streambuf>
#include <string_view>

#include "cli/cli_test_util.h"
#include "memory/alloc_faults.h"
#include "memory/child_process.h"

namespace kt::test {
namespace {

constexpr const char* kData = "item,price,qty\napple,1.5,3\npear and quince,2.25,\nplum,0.75,12\n";
constexpr const char* kScript =
    "var names = ['a', 'b'];\n"
    "function total(by) { var sum = 0; for (var i = 0; i < fruit.rowcount; i++) { sum += "
    "fruit[i].price * by; } return sum; }\n"
    "function main() { var text = ''; for (var i = 0; i < 40; i++) { text = text + names[i % 2] + "
    "i; } fruit.SetColumn(0, 'qty', 7); fruit.sort('price'); return text + total(2) + "
    "fruit.Sum('price * qty'); }\n";
constexpr std::string_view kOldFile = "old\n";

// Keeps the first bytes without asking for memory.
class FixedOutput : public std::streambuf {
 public:
  FixedOutput() { setp(bytes_, bytes_ + sizeof bytes_); }
  std::string Text() const { return {bytes_, static_cast<std::size_t>(pptr() - bytes_)}; }

 private:
  char bytes_[16384];
};

// One command line; it stands in the folder with the files.
struct Command {
  const char* name;
  std::vector<std::string> arguments;
  const char* saves = nullptr;
};

const Command kCommands[] = {
    {"Run", {"run", "script.kts", "--data", "fruit=fruit.csv"}},
    {"RunInSandbox", {"run", "script.kts", "--data", "fruit=fruit.csv", "--sandbox"}},
    {"Eval", {"eval", "fruit.Sum('price * qty') + ' ' + toUpper('text')", "--data", "fruit.csv"}},
    {"EvalJson", {"eval", "[1, 'two', [3.5]]", "--json"}},
    {"Save",
     {"eval", "fruit.sort('qty')", "--data", "fruit=fruit.csv", "--save", "fruit=out.xml"},
     "out.xml"},
    {"Check", {"check", "script.kts", "faulty.kts"}},
    {"Fmt", {"fmt", "--diff", "script.kts", "faulty.kts"}},
    {"Show", {"show", "fruit.csv", "--sort", "price:d", "--group", "item", "--sum", "qty"}},
    {"Pivot", {"show", "fruit.csv", "--pivot", "item/qty/price:sum"}},
    {"Page", {"show", "fruit.csv", "--html"}},
    {"Functions", {"functions", "replace"}},
    {"UnknownOption", {"show", "fruit.csv", "--sotr", "price"}},
};

void PrintTo(const Command& command, std::ostream* out) { *out << command.name; }

// All that can be seen of a run.
struct Seen {
  int status = 0;
  std::string out;
  std::string messages;
  std::string file;  // that it saves
  std::string ToText() const {
    return std::to_string(status) + " " + out + "\x1e" + messages + "\x1e" + file;
  }
};

class ProgramSweep : public testing::TestWithParam<Command> {
 protected:
  ProgramSweep() : inside_(folder_.Path("")) {
    folder_.Write("fruit.csv", kData);
    folder_.Write("script.kts", kScript);
    folder_.Write("faulty.kts", "function f() { return 1 + ; }\nvar x = nobody;\n");
  }

  // Runs with request number `request` failing; the number of requests is left in `requests`.
  Seen Run(long request, Faults kind, long& requests) {
    if (GetParam().saves != nullptr) folder_.Write(GetParam().saves, std::string(kOldFile));
    FixedOutput out_bytes;
    FixedOutput message_bytes;
    std::ostream out(&out_bytes);
    std::ostream messages(&message_bytes);
    Seen seen;
    std::vector<std::string> arguments = GetParam().arguments;
    ArmAllocFaults(request, kind);
    seen.status = kt::cli::Main(std::move(arguments), {out, messages});
    requests = DisarmAllocFaults();
    seen.out = out_bytes.Text();
    seen.messages = message_bytes.Text();
    if (GetParam().saves != nullptr) seen.file = folder_.Read(GetParam().saves);
    return seen;
  }

  // The fault of one run; empty for none, "end" when no request failed any more.
  std::string FaultOf(long request, Faults kind, const std::string& wanted) {
    long requests = 0;
    const Seen seen = Run(request, kind, requests);
    const bool is_right = seen.ToText() == wanted;
    if (requests < request) return is_right ? "end" : "another answer at the end";
    const auto files = std::distance(std::filesystem::directory_iterator("."), {});
    if (files != (GetParam().saves != nullptr ? 4 : 3)) return "files are left";
    if (is_right) return "";
    if (seen.status == 0) return "wrong answer: " + seen.ToText();
    if (seen.messages.find("memory") == std::string::npos) return "says: " + seen.messages;
    const bool is_whole = seen.file == kOldFile || wanted.ends_with("\x1e" + seen.file);
    return is_whole ? "" : "the file is neither old nor new: " + seen.file;
  }

  TestFolder folder_;
  const WorkingFolder inside_;
};

TEST_P(ProgramSweep, AnswersOrSaysWhy) {
  // Every run is a process of its own: what is made on first use is made in each of them.
  const std::string wanted = InChild([&] {
    long requests = 0;
    return Run(0, Faults::kOne, requests).ToText();
  });
  std::map<std::string, int> faults;
  long runs = 0;
  for (const Faults kind : {Faults::kOne, Faults::kAllFromThere}) {
    for (long request = 1; SweepEnd() == 0 || request <= SweepEnd();
         request = NextRequest(request), ++runs) {
      const std::string fault = InChild([&] { return FaultOf(request, kind, wanted); });
      if (fault == "end") break;
      if (!fault.empty() && ++faults[fault.substr(0, 60)] == 1) {
        ADD_FAILURE() << "request " << request << (kind == Faults::kOne ? "" : " and later") << ": "
                      << fault.substr(0, 600);
      }
    }
  }
  if (SweepEnd() > 0) std::printf("%s: %ld runs\n", GetParam().name, runs);
  for (const auto& [fault, count] : faults) std::printf("%6d %s\n", count, fault.c_str());
}

INSTANTIATE_TEST_SUITE_P(Memory, ProgramSweep, testing::ValuesIn(kCommands),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace kt::test
