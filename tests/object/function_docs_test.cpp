// SPDX-License-Identifier: MIT
//
// The function reference is true: each example gives what it says, every function has an entry, and
// docs/functions.md is what the program makes. KT_UPDATE_DOCS=1 writes the file anew.

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "builtin_test_util.h"
#include "reference/Kt_FunctionHelp.h"

namespace {

std::string ReferencePath() { return std::string(KT_PROJECT_DIR) + "/docs/functions.md"; }

// As the examples show it.
std::string Result(const char16_t* example) {
  const std::string result = kt::test::Eval(example);
  return result.starts_with('!') ? "error: " + result.substr(1) : result;
}

TEST(FunctionDocs, EveryExampleGivesItsResult) {
  const _EXPR_INTFUNC_INFO* const rows = Kt_ExprObject::GetIntFuncMap();
  for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) {
    const std::string name = Kt_WString(rows[row].name).ToUtf8();
    const Kt_IntFuncDoc* const doc = GetIntFuncDoc(rows[row].name);
    ASSERT_NE(doc, nullptr) << name;
    EXPECT_STREQ(Kt_WString(doc->name).ToUtf8().c_str(), name.c_str());
    for (const Kt_HelpExample& one : doc->examples) {
      ASSERT_NE(one.example, nullptr) << name;
      EXPECT_EQ(Result(one.example), Kt_WString(one.result).ToUtf8())
          << Kt_WString(one.example).ToUtf8();
      // An example that does not call its function shows nothing.
      EXPECT_GE(Kt_WString(one.example).Find(Kt_WString(doc->name) + u"("), 0) << name;
    }
    EXPECT_FALSE(Kt_WString(doc->does).IsEmpty() || Kt_WString(doc->odd).IsEmpty()) << name;
  }
}

TEST(FunctionDocs, FoundInAnyCaseOnly) {
  EXPECT_NE(GetIntFuncDoc(u"TOUPPER"), nullptr);
  EXPECT_EQ(GetIntFuncDoc(u"toUppe"), nullptr);
  EXPECT_EQ(GetIntFuncDoc(nullptr), nullptr);
}

TEST(FunctionDocs, ReferenceIsUpToDate) {
  const std::string wanted = MakeFunctionReference().ToUtf8();
  if (std::getenv("KT_UPDATE_DOCS") != nullptr) std::ofstream(ReferencePath()) << wanted;
  std::ifstream file(ReferencePath());
  std::stringstream text;
  text << file.rdbuf();
  EXPECT_TRUE(text.str() == wanted) << "run the test with KT_UPDATE_DOCS=1";
}

}  // namespace
