// SPDX-License-Identifier: MIT
//
// How late a run is stopped: every built-in function and every method of a dataset works on the
// largest texts, lists and tables that the limits allow, again and again, until a deadline, a flag
// raised by another thread ends the run. Prints what was reported more than the given time after
// deadline or flag, and the latest of all. Time is that of the clock, and in brackets how much of
// it this thread had the processor, which is what counts as late: other programs may take the rest.
// A late call is made twice more, and its least time counts: what other programs cause does not
// come back every time.
//
// With --memory the bound is one of memory, and each call is made once: prints what took more than
// a tenth of the bound beyond it. That is the growth of the whole heap, whoever asked for it, less
// what the libraries count.
//
//   bounds_sweep [--late MS] [--memory MB] [--rows N] [--units N] [--every N] [--only TEXT]
//
// The whole sweep (a million rows, texts and lists at their limits) takes about half an hour and
// 12 GB of memory; --units makes texts and lists smaller, --every N takes each N-th call. Status 1
// when something was late or took too much.
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "classlib/base/Kt_Codes.h"
#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_ExprObjInfo.h"
#include "script/Kt_Script.h"
#include "tests/memory/alloc_faults.h"

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::chrono::milliseconds kRunFor{100};
// A call without end that takes no memory.
constexpr std::chrono::seconds kEndOfCalls{5};

struct Options {
  double late_ms = 50;
  std::int64_t memory_bytes = 0;  // 0: the bound is one of time
  kt_long rows = 1000000;
  kt_long units = kMaxStringLength;
  int every = 1;
  std::string only;
};

// How long a thread has had the processor.
class ProcessorClock {
 public:
  ProcessorClock() { (void)::pthread_getcpuclockid(::pthread_self(), &clock_); }
  Milliseconds Now() const {
    timespec time{};
    (void)::clock_gettime(clock_, &time);
    return Milliseconds(static_cast<double>(time.tv_sec) * 1e3 +
                        static_cast<double>(time.tv_nsec) / 1e6);
  }

 private:
  clockid_t clock_ = CLOCK_THREAD_CPUTIME_ID;
};

// Names two datasets for scripts and notes when an error is reported.
class Host : public Kt_ExprObject {
 public:
  Host() : Kt_ExprObject(nullptr) {}

  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    Kt_ExprDataset* const dataset = GetChildDataset(name);
    if (dataset == nullptr) return Kt_ExprObject::GetVarType(name, info);
    info.SetDataset(dataset);
    return info.GetKind();
  }
  Kt_ExprDataset* GetChildDataset(const Kt_WString& name) override {
    if (name.EqualsNoCase(u"d")) return &main_;
    return name.EqualsNoCase(u"other") ? &other_ : nullptr;
  }
  int IsSystemLogMode() override { return 1; }
  void OnRunTimeError(const Kt_Result& result) override {
    reported = Clock::now();
    reported_used = processor.Now();
    code = result.GetCode();
  }

  // Fresh copies, which share their cells with the models.
  void Reset(const Kt_Dataset& main, const Kt_Dataset& other) {
    main_data_ = main;
    other_data_ = other;
    main_.SetRowPosition(0);
    other_.SetRowPosition(0);
    code = 0;
  }

  ProcessorClock processor;
  Clock::time_point reported;
  Milliseconds reported_used{0};
  kt_long code = 0;

 private:
  Kt_Dataset main_data_{u"d"};
  Kt_Dataset other_data_{u"other"};
  Kt_ExprDataset main_{&main_data_, this};
  Kt_ExprDataset other_{&other_data_, this};
};

Kt_WString Filled(std::u16string_view part, kt_long length) {
  Kt_WString text;
  char16_t* const units = text.GetBuffer(length);
  const auto end = static_cast<std::size_t>(length);
  std::size_t done = part.copy(units, end);
  while (done < end) {
    const std::size_t more = std::min(done, end - done);
    std::copy_n(units, more, units + done);
    done += more;
  }
  return text;
}

// What the calls work on.
void MakeVariables(kt_long units, Kt_VariableList& variables) {
  const auto add_text = [&](const char16_t* name, std::u16string_view part) {
    variables.AddVariable(Kt_WString(name), Kt_Variant(Filled(part, units)));
  };
  add_text(u"blanks", u" ");
  add_text(u"letters", u"a");
  add_text(u"words", u"abc,'def',\"g;hi\",(x.y),%41+ ");
  add_text(u"wide", u"\u00E9\u03A3\u0301 ");
  add_text(u"sigmas", u"\u03A3");
  add_text(u"kana", u"\u30AC\uFF76\uFF9E\uFF21");
  add_text(u"digits", u"1234567890");
  add_text(u"sums", u"1+");
  add_text(u"dots", u"ab.");
  add_text(u"quoted", u"\"");
  add_text(u"chinese", u"\u4E2D");
  variables.AddVariable(u"pattern", Kt_Variant(Filled(u"a", units / 2) + u"b"));
  variables.AddVariable(u"blanks2", Kt_Variant(Filled(u" ", units)));
  Kt_VariantList items;
  Kt_VariantList texts;
  for (kt_long item = 0; item < units / 2; ++item) items.Add(item);
  for (kt_long item = 0; item < units / 16; ++item) texts.Add(Kt_WString(u"some text"));
  variables.AddVariable(u"items", Kt_Variant(items));
  variables.AddVariable(u"texts", Kt_Variant(texts));
  Kt_Variant nested(kt_long{1});
  for (int level = 0; level < 40; ++level) nested = Kt_Variant(Kt_VariantList{nested, nested});
  variables.AddVariable(u"nested", nested);
  Kt_Variant bytes;
  const std::vector<std::uint8_t> zeros(
      static_cast<std::size_t>(std::min(std::int64_t{16} * units, kMaxBinaryBytes)), 'x');
  bytes.SetBinary(zeros.data(), zeros.size());
  variables.AddVariable(u"bytes", bytes);
}

Kt_Dataset MakeDataset(const char16_t* id, kt_long rows) {
  Kt_Dataset data{Kt_WString(id)};
  data.AddColumn(u"num", u"long");
  data.AddColumn(u"price", u"double");
  data.AddColumn(u"amount", u"currency");
  data.AddColumn(u"name", u"string");
  data.AddColumn(u"kind", u"string");
  data.AddColumn(u"any", u"variant");
  data.AddLogicalColumn(u"calc", u"num * 2 + length(name)", u"long");
  data.AppendRow(rows);
  std::uint32_t random = 1;
  for (kt_long row = 0; row < rows; ++row) {
    random = random * 1664525u + 1013904223u;
    const auto number = static_cast<kt_long>(random >> 8);
    data.SetColumn(row, 0, number);
    data.SetColumn(row, 1, number / 7.0);
    data.SetColumn(row, 2, number % 1000);
    data.SetColumn(row, 3, Kt_Variant(Kt_WString(u"name ") + Kt_Variant(number).ToString().View()));
    data.SetColumn(row, 4, Kt_Variant(number % 1000).ToString());
    data.SetColumn(row, 5, row % 3 == 0 ? Kt_Variant(number) : Kt_Variant(u"text of a value"));
  }
  data.ApplyChange();
  return data;
}

// The arguments that functions are tried with; each is a whole list.
const char* const kTextArgs[] = {
    "letters",
    "words",
    "wide",
    "sigmas",
    "kana",
    "digits",
    "blanks",
    "quoted",
    "chinese",
    "items",
    "texts",
    "nested",
    "bytes",
    "sums",
    "dots",
    "letters, 'a'",
    "letters, pattern",
    "letters, pattern, 0",
    "letters, 'aaab', 'x'",
    "letters, 'a', 'bb'",
    "words, ','",
    "words, ',', '1'",
    "words, ',', 'x'",
    "words, ',', ';'",
    "words, ',;', '1', '1', '1', '\\\\'",
    "letters, 'b', 100000000",
    "letters, 'a', 100000000",
    "letters, pattern, 2",
    "letters, 1, 134217000",
    "chinese, 1, 134217000",
    "chinese, 949",
    "bytes, 949",
    "bytes, 1200",
    "blanks, ','",
    "items, items",
    "texts, texts",
    "letters, letters",
    "'x', 'y', 134217728",
    "'x', chr(128512), 134217728",
    "134217728",
    "67108864",
    "1.5, 134217000",
    "'2020-01-01', 5",
    "blanks, blanks2, 1",
};

const char* const kMethodArgs[] = {
    "",
    "'num'",
    "'name'",
    "'any'",
    "'calc'",
    "'num * 2 + length(name)'",
    "'num > 5', 'price * 2'",
    "'num < 0'",
    "'name', 'no such name'",
    "'any', 'no such name'",
    "'calc', '-1'",
    "'name', 'no such name', 'num'",
    "'name:d, kind, any'",
    "'any', 1, 1, 1",
    "'calc:d'",
    "0",
    "0, 'name'",
    "0, 'name', 'x'",
    "'name', 0",
    "'name', 'x'",
    "1000000",
    "0, 1000000",
    "other",
    "other, 0, 1",
    "0, other, 0",
    "0, 'name', other, 0, 'name'",
    "letters",
    "words",
    "sums",
    "'', 'all'",
    "'', 'all', 1",
    "'a', 'string', 10",
    "'kind', 'num * 2', 'long'",
    "0, 1",
    "0, 4, 1, 1",
    "0, 1, 4, 1",
};

// Statements that are no calls.
const char* const kStatements[] = {
    "x = letters + 'a'",
    "x = 'a' + letters",
    "x = letters = blanks",
    "x = letters < pattern",
    "x = letters * 2",
    "x = digits + 1",
    "x = blanks + 1",
    "x = blanks * 2",
    "x = digits * 2",
    "x = '' + items",
    "x = '' + nested",
    "x = items = items",
    "x = nested = nested",
    "x = nested < texts",
    "x = letters; x[5] = 'b'",
    "x = items; x[5] = 1",
    "x = texts; x[5] = 1",
    "x = array(67108864)",
    "x = array(67108864); x = 0",
    "var y[67108864]; y[5] = 1; x = y; x[6] = 1",
    "x = []; for (var i = 0; 1; i++) x[i] = i",
    "x = ''; while (1) x += 'some text'",
    "x = ''; while (1) x = x + 'some text'",
    "x = bytes = bytes",
    "x = eval('items'); x[1] = 2",
    "if (letters) x = 1",
    "if (blanks && digits) x = 1",
    "switch (letters) { case pattern: x = 1; case letters: x = 2; }",
    "d.Sort('name'); d.Sort('num')",
    "d.GroupBy('kind')",
    "d.GroupBy('kind'); d.Merge(other)",
    "d.Sort('name'); d.Merge(other)",
    "d.name = letters; x = d.name + 'a'",
    "d.any = items; x = d.SaveXML()",
    "d.any = nested; x = d.SaveXML()",
    "d.any = bytes; x = d.SaveXML()",
    "x = d.SaveXML(); d.LoadXML(x)",
    "x = d.SaveCSV(); d.LoadCSV(x)",
    "x = d.SaveBIN(); d.LoadXML(x, 1, 1)",
    "d.AddColumn('more', 'string'); d.more = letters; x = d.SaveXML()",
};

class Sweep {
 public:
  explicit Sweep(const Options& options)
      : options_(options),
        main_(MakeDataset(u"d", options.rows)),
        other_(MakeDataset(u"other", options.rows)) {
    MakeVariables(options.units, variables_);
  }

  void Try(const std::string& statements) {
    if (statements.find(options_.only) == std::string::npos) return;
    if (call_count_++ % options_.every != 0) return;
    if (options_.memory_bytes > 0) {
      NoteMemory(statements, Overshoot(statements));
      return;
    }
    for (const bool by_flag : {false, true}) {
      Lateness least = TryOnce(statements, by_flag);
      for (int more = 0; more < 2 && least.used_ms > options_.late_ms; ++more) {
        const Lateness again = TryOnce(statements, by_flag);
        if (again.used_ms < least.used_ms) least = again;
      }
      Note(statements, by_flag, least);
    }
  }

  void Tell() const {
    if (options_.memory_bytes > 0) {
      std::printf("%d runs, %d stopped by their bound, %d took too much; the most %.1f MB: %s\n",
                  run_count_, stop_count_, late_count_, most_mb_, latest_call_.c_str());
      return;
    }
    std::printf("%d runs, %d stopped by their bound, %d late; latest %.1f ms (%.1f): %s\n",
                run_count_, stop_count_, late_count_, latest_.wall_ms, latest_.used_ms,
                latest_call_.c_str());
  }
  bool HasLate() const { return late_count_ > 0; }

 private:
  // How long after deadline or flag the error was reported, by the clock and by what this thread
  // had of the processor, and when the call returned.
  struct Lateness {
    double wall_ms = 0;
    double used_ms = 0;
    double returned_ms = 0;
    kt_long code = 0;
  };

  // False when `body` of a function is not right.
  bool Parse(const std::string& body, Kt_Script& script) {
    host_.Reset(main_, other_);
    script.AddVariables(variables_, 1);
    const std::string text = "var x; function main() { " + body + " }";
    if (script.Parse(u"sweep", Kt_WString::FromUtf8(text), nullptr, nullptr) == 0) return true;
    std::printf("not a script: %s\n", text.c_str());
    return false;
  }

  Lateness TryOnce(const std::string& statements, bool by_flag) {
    Kt_Script script(&host_);
    if (!Parse("while (1) { " + statements + "; }", script)) return {};
    std::atomic<bool> cancel = false;
    Kt_RunBudget budget;
    const Clock::time_point due = Clock::now() + kRunFor;
    Clock::time_point seen;
    Milliseconds used{0};  // when it was due
    if (by_flag) {
      budget.cancel = &cancel;
    } else {
      budget.deadline = due;
    }
    std::thread other([&] {
      std::this_thread::sleep_until(due);
      used = host_.processor.Now();
      seen = Clock::now();
      cancel = true;
    });
    script.SetBudget(&budget);
    Kt_Variant result;
    const kt_long code = script.ExecFunc(u"main", nullptr, result);
    if (host_.code != code) host_.OnRunTimeError({});
    const Clock::time_point end = Clock::now();
    other.join();
    // The other thread may wake late on a busy machine. It raised the flag then, and not before; of
    // the deadline nobody knows what this thread had of the processor meanwhile: all, at the most.
    const Clock::time_point from = by_flag ? seen : due;
    const Milliseconds own = host_.reported_used - used + (seen - from);
    const double wall_ms = Milliseconds(host_.reported - from).count();
    return {wall_ms, std::min(wall_ms, own.count()), Milliseconds(end - from).count(), code};
  }

  void Note(const std::string& statements, bool by_flag, const Lateness& late) {
    ++run_count_;
    if (late.code == kErrDeadline || late.code == kErrCancelled) ++stop_count_;
    if (late.used_ms > latest_.used_ms) {
      latest_ = late;
      latest_call_ = statements;
    }
    if (late.used_ms <= options_.late_ms) return;
    ++late_count_;
    std::printf("%8.1f ms (%.1f; returned %.1f) %s %08X  %s\n", late.wall_ms, late.used_ms,
                late.returned_ms, by_flag ? "flag    " : "deadline",
                static_cast<unsigned>(late.code), statements.c_str());
    std::fflush(stdout);
  }

  // The most memory, in bytes, that one call takes beyond what is counted.
  long Overshoot(const std::string& statements) {
    Kt_Script script(&host_);
    if (!Parse(statements + ";", script)) return 0;
    Kt_RunBudget budget;
    budget.limit_bytes = options_.memory_bytes;
    budget.deadline = Clock::now() + kEndOfCalls;
    script.SetBudget(&budget);
    Kt_Variant result;
    kt::test::WatchHeap();
    const kt_long code = script.ExecFunc(u"main", nullptr, result);
    if (code == kErrNoMemory) ++stop_count_;
    return kt::test::UncountedPeak();
  }

  void NoteMemory(const std::string& statements, long bytes) {
    ++run_count_;
    const double mb = static_cast<double>(bytes) / (1 << 20);
    if (mb > most_mb_) {
      most_mb_ = mb;
      latest_call_ = statements;
    }
    if (bytes <= options_.memory_bytes / 10) return;
    ++late_count_;
    std::printf("%8.1f MB more  %s\n", mb, statements.c_str());
    std::fflush(stdout);
  }

  Options options_;
  Kt_Dataset main_;
  Kt_Dataset other_;
  Kt_VariableList variables_;
  Host host_;
  int run_count_ = 0;
  int stop_count_ = 0;
  int late_count_ = 0;
  int call_count_ = 0;
  Lateness latest_;
  double most_mb_ = 0;
  std::string latest_call_;  // or that of the most memory
};

std::string Name(const char16_t* name) { return Kt_WString(name).ToUtf8(); }

}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int arg = 1; arg + 1 < argc; arg += 2) {
    const std::string_view name = argv[arg];
    const char* const value = argv[arg + 1];
    if (name == "--late") options.late_ms = std::atof(value);
    if (name == "--memory") options.memory_bytes = std::atoll(value) << 20;
    if (name == "--rows") options.rows = std::atoi(value);
    if (name == "--units") options.units = std::atoi(value);
    if (name == "--every") options.every = std::atoi(value);
    if (name == "--only") options.only = value;
  }
  Sweep sweep(options);
  for (const char* const statement : kStatements) sweep.Try(statement);
  for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) {
    const std::string name = Name(Kt_ExprObject::GetIntFuncMap()[row].name);
    for (const char* const args : kTextArgs) sweep.Try("x = " + name + "(" + args + ")");
  }
  for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
    const std::string name = Name(Kt_ExprDataset::GetDSetMethodMap()[row].name);
    for (const char* const args : kMethodArgs) sweep.Try("x = d." + name + "(" + args + ")");
  }
  sweep.Tell();
  return sweep.HasLate() ? 1 : 0;
}
