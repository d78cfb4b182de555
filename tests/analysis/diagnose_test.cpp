// SPDX-License-Identifier: MIT
//
// What holds for the diagnosis of any broken script, whatever is wrong with it: it finds something
// exactly where the engine refuses, its places lie in the source, and a cure takes its error away.
// The scripts are those of the examples and some out of a grammar, with slips of the finger.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "analysis/Kt_Diagnose.h"
#include "common/program_maker.h"
#include "script/Kt_Script.h"
#include "script/Kt_SyntaxErrors.h"

namespace {

namespace fs = std::filesystem;
using kt::analysis::Diagnose;
using kt::analysis::Edit;
using kt::analysis::Finding;
using kt::analysis::SourceKind;

std::vector<std::string> Examples() {
  std::vector<std::string> scripts;
  for (const auto& entry : fs::recursive_directory_iterator(KT_PROJECT_DIR "/examples")) {
    if (entry.path().extension() != ".kts") continue;
    std::ifstream file(entry.path(), std::ios::binary);
    scripts.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  std::sort(scripts.begin(), scripts.end());  // folders have no order
  return scripts;
}

// Without the layout of what people write.
std::string AnyProgram(std::mt19937& random) {
  std::vector<std::uint8_t> bytes(400);
  std::generate(bytes.begin(), bytes.end(), [&] { return std::uint8_t(random()); });
  return kt::test::ProgramMaker(bytes.data(), bytes.size()).Program();
}

// What fingers and other languages do to a text.
class Slips {
 public:
  explicit Slips(unsigned seed) : random_(seed) {}

  std::string Make(std::string text) {
    if (text.empty()) return text;
    const std::size_t at = Place(text);
    switch (random_() % 6) {
      case 0: return text.erase(at, 1);
      case 1: return text.insert(at, 1, text[at]);
      case 2: return text.insert(at, OneOf({"(", ")", "{", "}", "[", "]", ";", "'", "\"", ","}));
      case 3:
        return text.insert(at, OneOf({" let ", " and ", " => ", "===", " elif ", " null ", "#"}));
      case 4: std::swap(text[at], text[(at + 1) % text.size()]); return text;
      default: return text.substr(0, at);
    }
  }

 private:
  std::size_t Place(const std::string& text) { return random_() % text.size(); }
  template <std::size_t kCount>
  const char* OneOf(const char* const (&texts)[kCount]) {
    return texts[random_() % kCount];
  }

  std::mt19937 random_;
};

bool IsRefused(const Kt_WString& source) {
  Kt_RunBudget budget;
  budget.limit_steps = 1;  // nothing of it is to run
  Kt_Script script;
  script.SetBudget(&budget);
  Kt_SyntaxErrorList errors;
  Kt_WStrList includes;
  script.ParseScript(u"", includes, source.GetText(), &errors);
  return errors.HasFaults();
}

std::vector<Finding> Errors(const Kt_WString& source) {
  std::vector<Finding> errors = Diagnose(source.View(), SourceKind::kScript);
  std::erase_if(errors, [](const Finding& finding) { return !finding.is_error; });
  return errors;
}

// A cure changes parts of the source that follow each other.
void CheckEdits(const Finding& finding, kt_long size) {
  kt_long from = 0;
  for (const Edit& edit : finding.fix) {
    ASSERT_GE(edit.part.offset, from);
    ASSERT_GE(edit.part.length, 0);
    from = edit.part.offset + edit.part.length;
    ASSERT_LE(from, size);
  }
}

Kt_WString Cured(const Kt_WString& source, const Finding& finding) {
  std::u16string text(source.View());
  for (auto edit = finding.fix.rbegin(); edit != finding.fix.rend(); ++edit) {
    text.replace(static_cast<std::size_t>(edit->part.offset),
                 static_cast<std::size_t>(edit->part.length), edit->text.View());
  }
  return Kt_WString(text);
}

void CheckErrors(const Kt_WString& source, const std::vector<Finding>& errors) {
  ASSERT_EQ(!errors.empty(), IsRefused(source));
  kt_long from = 0;
  for (const Finding& error : errors) {
    ASSERT_GE(error.offset, from) << "in the order of the places";
    from = error.offset;
    ASSERT_LE(error.offset, source.GetLength());  // at the end something may be missing
    ASSERT_LE(error.related.offset + error.related.length, source.GetLength());
    ASSERT_FALSE(error.message.IsEmpty());
    CheckEdits(error, source.GetLength());
  }
}

// Later errors may be told on the understanding that the first is mended as it says.
void CheckFirstCure(const Kt_WString& source, const std::vector<Finding>& errors) {
  const std::vector<Finding> left = Errors(Cured(source, errors[0]));
  ASSERT_TRUE(left.size() < errors.size() || left[0].offset > errors[0].offset)
      << errors[0].hint.ToUtf8();
}

// KT_SLIPS=500 for a long run.
int SlipsOfEach() {
  const char* const wanted = std::getenv("KT_SLIPS");
  return wanted != nullptr ? std::atoi(wanted) : 12;
}

TEST(Diagnosis, OfASlipHasACureThatCures) {
  int cures = 0;
  unsigned seed = 0;
  for (const std::string& script : Examples()) {
    for (int slip = 0; slip < SlipsOfEach(); ++slip) {
      const std::string broken = Slips(++seed).Make(script);
      SCOPED_TRACE("slip " + std::to_string(seed) + "\n" + broken);
      const Kt_WString source = Kt_WString::FromUtf8(broken);
      const std::vector<Finding> errors = Errors(source);
      CheckErrors(source, errors);
      if (!errors.empty() && !errors[0].fix.empty()) {
        ++cures;
        CheckFirstCure(source, errors);
      }
      if (testing::Test::HasFatalFailure()) return;
    }
  }
  EXPECT_GT(cures, SlipsOfEach() / 4) << "hardly anything is cured";
}

TEST(Diagnosis, OfManySlipsInAnyProgramIsSound) {
  std::mt19937 random(11);
  for (int slip = 0; slip < SlipsOfEach() * 10; ++slip) {
    std::string broken = AnyProgram(random);
    for (auto count = random() % 4; count > 0; --count) broken = Slips(random()).Make(broken);
    SCOPED_TRACE(broken);
    const Kt_WString source = Kt_WString::FromUtf8(broken);
    CheckErrors(source, Errors(source));
    if (testing::Test::HasFatalFailure()) return;
  }
}

}  // namespace
