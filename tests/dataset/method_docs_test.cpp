// SPDX-License-Identifier: MIT
//
// The method reference is true: each example gives what it says, every method, property and row
// keyword has an entry, and docs/methods.md is what the program makes. KT_UPDATE_DOCS=1 writes the
// file anew.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "classlib/text/Kt_WStrList.h"
#include "dataset/Kt_DatasetCtx.h"
#include "dataset_test_util.h"
#include "reference/Kt_MethodHelp.h"

namespace {

// The sample datasets as an example finds them.
class Samples {
 public:
  Samples() {
    for (const Kt_SampleDataset& sample : GetSampleDatasets()) {
      datasets_.push_back(kt::test::MakeDataset(sample.id, sample.csv));
      wrappers_.push_back(std::make_unique<Kt_ExprDataset>(datasets_.back().get(), &host_));
      host_.datasets.push_back(wrappers_.back().get());
    }
  }

  // The value of the last of the expressions, as text.
  std::string Run(const char16_t* example) {
    Kt_WStrList lines;
    lines.Parse(example, u"\n", 0, true, false);
    Kt_Variant value;
    for (kt_long line = 0; line < lines.GetCount(); ++line) {
      Kt_Expr expr;
      expr.SetExpr(lines[line]);
      value.Clear();
      if (expr.ExecExpr(&host_, value) != kOk) return "error: " + host_.TakeReports();
    }
    return value.ToString().ToUtf8();
  }

 private:
  kt::test::DataHost host_;
  std::vector<std::unique_ptr<Kt_Dataset>> datasets_;
  std::vector<std::unique_ptr<Kt_ExprDataset>> wrappers_;
};

bool Mentions(const char16_t* example, const Kt_WString& name) {
  return Kt_WString(example).Findi(name) >= 0;
}

// One of the names that share the entry of a method stands in its example.
bool ShowsMethod(const Kt_MethodDoc& doc, const char16_t* example) {
  const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
  for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
    if (GetMethodDoc(rows[row].name) != &doc) continue;
    if (Mentions(example, Kt_WString(rows[row].name) + u"(")) return true;
  }
  return false;
}

bool ShowsMember(const Kt_MemberDoc& doc) {
  Kt_WStrList names;
  names.Parse(doc.names, u",");
  for (kt_long name = 0; name < names.GetCount(); ++name) {
    if (Mentions(doc.example.example, names[name])) return true;
  }
  return false;
}

std::string Text(const char16_t* text) { return Kt_WString(text).ToUtf8(); }

TEST(MethodDocs, EveryMethodHasOneEntry) {
  std::set<const Kt_MethodDoc*> used;
  const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
  for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
    const Kt_MethodDoc* const doc = GetMethodDoc(rows[row].name);
    EXPECT_NE(doc, nullptr) << Text(rows[row].name);
    used.insert(doc);
  }
  EXPECT_EQ(used.size(), GetMethodDocs().size()) << "an entry without a method, or two for one";
  EXPECT_EQ(GetMethodDoc(u"addrow"), GetMethodDoc(u"AppendRow"));
  EXPECT_EQ(GetMethodDoc(u"AddRo"), nullptr);
  EXPECT_EQ(GetMethodDoc(nullptr), nullptr);
}

TEST(MethodDocs, EveryExampleGivesItsResult) {
  for (const Kt_MethodDoc& doc : GetMethodDocs()) {
    for (const Kt_HelpExample& one : doc.examples) {
      ASSERT_NE(one.example, nullptr) << Text(doc.name);
      EXPECT_EQ(Samples().Run(one.example), Text(one.result)) << Text(one.example);
      EXPECT_TRUE(ShowsMethod(doc, one.example)) << Text(one.example);
    }
    EXPECT_TRUE(*doc.does != 0 && *doc.odd != 0) << Text(doc.name);
  }
}

void ExpectMembers(const _EXPR_SIMPLEPROP_INFO* rows, int count, std::span<const Kt_MemberDoc> docs,
                   const Kt_MemberDoc* (*find)(const char16_t*)) {
  for (int row = 0; row < count; ++row) EXPECT_NE(find(rows[row].name), nullptr) << row;
  int names = 0;
  for (const Kt_MemberDoc& doc : docs) {
    Kt_WStrList list;
    names += list.Parse(doc.names, u",");
    EXPECT_EQ(Samples().Run(doc.example.example), Text(doc.example.result)) << Text(doc.names);
    EXPECT_TRUE(ShowsMember(doc)) << Text(doc.names);
  }
  EXPECT_EQ(names, count);
  EXPECT_EQ(find(u"nonsense"), nullptr);
}

TEST(MethodDocs, PropertiesAndRowKeywords) {
  ExpectMembers(Kt_ExprDataset::GetDSetPropMap(), Kt_ExprDataset::GetDSetPropCount(),
                GetDatasetPropDocs(), GetDatasetPropDoc);
  ExpectMembers(Kt_DatasetCtx::GetKeywordMap(), Kt_DatasetCtx::GetKeywordCount(),
                GetRowKeywordDocs(), GetRowKeywordDoc);
}

TEST(MethodDocs, ReferenceIsUpToDate) {
  const std::string path = std::string(KT_PROJECT_DIR) + "/docs/methods.md";
  const std::string wanted = MakeMethodReference().ToUtf8();
  if (std::getenv("KT_UPDATE_DOCS") != nullptr) std::ofstream(path) << wanted;
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  EXPECT_TRUE(text.str() == wanted) << "run the test with KT_UPDATE_DOCS=1";
}

}  // namespace
