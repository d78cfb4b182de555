// SPDX-License-Identifier: MIT
//
// Any text as a script: it loads or leaves faults with places inside the text, a second load leaves
// the same text lines without the records, and `main` ends within a budget.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "script/Kt_Script.h"
#include "script/Kt_ScriptDump.h"
#include "script/Kt_ScriptUtil.h"
#include "script/Kt_SyntaxErrors.h"

namespace {

void Check(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// Listens, so that reports are built.
class Host : public Kt_ExprObject {
 public:
  Host() : Kt_ExprObject(nullptr) {}
  int IsSystemLogMode() override { return 1; }
  void OnRunTimeError(const Kt_Result& result) override { length_ += result.GetText().GetLength(); }

 private:
  std::int64_t length_ = 0;
};

// The budget also holds for the globals, which are evaluated while the script loads.
struct Limits : Kt_RunBudget {
  Limits() {
    limit_steps = 2000;
    deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  }
};

void CheckPlaces(const Kt_WString& text, const Kt_SyntaxErrorList& errors) {
  const kt_long lines = Kt_ScriptUtil::CountCRLF(text.GetText(), text.GetLength()) + 1;
  kt_long faults = 0;
  for (const Kt_SyntaxError& error : errors.GetErrors()) {
    Check(error.line >= 1 && error.line <= lines, "the line is in the text");
    Check(error.column >= 1 && error.column <= text.GetLength() + 1, "the column is in the text");
    Check(error.length >= 1, "something to point at");
    Check(!error.message.IsEmpty(), "every record says what is wrong");
    if (!error.is_warning) ++faults;
  }
  Check(faults == errors.GetCount(), "one record for each text line");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Kt_WString text =
      Kt_WString::FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
  const Limits limits;
  Host host;
  Kt_Script script(&host);
  script.SetBudget(&limits);
  Kt_SyntaxErrorList errors(true);
  const kt_long code = script.Parse(u"fuzz", text, nullptr, &errors);
  CheckPlaces(text, errors);
  Check(code == 0 || errors.GetCount() > 0, "a failed load says why");

  Kt_Script plain;
  plain.SetBudget(&limits);
  Kt_WStrList lines;
  Check(plain.Parse(u"fuzz", text, nullptr, &lines) == code, "records change no result");
  Check(lines.Join(u"\n") == errors.Join(u"\n"), "records change no text line");
  Check(DumpScript(plain) == DumpScript(script), "records change no tree");

  Kt_Variant result;
  script.ExecFunc(u"main", nullptr, result);
  return 0;
}
