// SPDX-License-Identifier: MIT
//
// The reference of the dataset methods as a page.

#include <string_view>

#include "classlib/text/Kt_WStrList.h"
#include "dataset/Kt_ExprDataset.h"
#include "reference/Kt_MethodHelp.h"

namespace {

constexpr std::u16string_view kHead =
    u"# Dataset methods\n\n"
    u"Made from `dataset/methods/Kt_MethodTable.inc`, `reference/Kt_MethodHelp.cpp` and "
    u"`reference/Kt_MethodHelp_Members.cpp`; do not edit. [datasets.md](datasets.md) says what "
    u"datasets are.\n\n"
    u"Names are found in any case. Rows count from 0 as they are shown, behind the filters, unless "
    u"a method says otherwise; ranges end before their end. A column is named by its index (a "
    u"number) or by its id (anything else). Another dataset is named by its id or given as object. "
    u"Arguments in brackets may be left out.\n\n"
    u"With too few arguments, an empty text where a name is needed, or without a dataset a method "
    u"returns the error 0x83B01008 and gives nothing, unless its text says otherwise. A method "
    u"that "
    u"is refused on a logical dataset reports the error 0x83B01530 and returns it.\n\n"
    u"Methods that replace, arrange or hide rows put the row position to the first row and are "
    u"announced to the host (`OnLoadCompleted`): 0 loaded, 4 appended, 5 sorted, 6 filtered, 8 "
    u"emptied.\n\n"
    u"The examples work on two datasets. Each starts with them as they are here; the last line is "
    u"the one whose value is shown, `(empty)` for the empty value and the empty text.\n";

class PageWriter {
 public:
  Kt_WString Write() {
    Put(kHead);
    for (const Kt_SampleDataset& sample : GetSampleDatasets()) Sample(sample);
    Families();
    Members(u"Properties", u"`orders.rowcount`; all but the row position are read-only.",
            GetDatasetPropDocs());
    Members(u"Row keywords",
            u"Names that stand for something of the row in row expressions, before columns of the "
            u"same name. All are read-only.",
            GetRowKeywordDocs());
    return out_;
  }

 private:
  void Put(std::u16string_view text) { out_ += text; }

  void Sample(const Kt_SampleDataset& sample) {
    Put(u"\n`");
    Put(sample.id);
    Put(u"`:\n\n```\n");
    Put(sample.csv);
    Put(u"```\n");
  }

  void Families() {
    std::u16string_view family;
    for (const Kt_MethodDoc& doc : GetMethodDocs()) {
      if (family != doc.family) {
        family = doc.family;
        Put(u"\n## ");
        Put(family);
        Put(u"\n");
      }
      Entry(doc);
    }
  }

  // The name and its aliases as a heading, then all their call forms.
  void Entry(const Kt_MethodDoc& doc) {
    Put(u"\n### ");
    Put(doc.name);
    Kt_WString forms = FormsOf(doc.name);
    const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
    for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
      if (GetMethodDoc(rows[row].name) != &doc || Kt_WString(rows[row].name) == doc.name) continue;
      Put(u", ");
      Put(rows[row].name);
      forms += FormsOf(rows[row].name);
    }
    Put(u"\n\n```\n");
    Put(forms);
    Put(u"```\n\n");
    Put(doc.does);
    Put(u"\n\n");
    Put(doc.odd);
    Put(u"\n\n");
    Put(u"```\n");
    Put(LayOutExamples(doc.examples));
    Put(u"```\n");
  }

  // One a line, each ended.
  static Kt_WString FormsOf(const char16_t* name) {
    const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
    const int row = FindObjMethodFuncIdx(rows, Kt_ExprDataset::GetDSetMethodCount(), name);
    Kt_WString forms(row < 0 ? u"" : rows[row].help);
    forms.Replace(u"),", u")\n");
    forms += u"\n";
    return forms;
  }

  void Members(const char16_t* heading, const char16_t* intro, std::span<const Kt_MemberDoc> docs) {
    Put(u"\n## ");
    Put(heading);
    Put(u"\n\n");
    Put(intro);
    Put(u"\n\n| name | yields | example |\n|---|---|---|\n");
    for (const Kt_MemberDoc& doc : docs) Member(doc);
  }

  void Member(const Kt_MemberDoc& doc) {
    Kt_WString names(doc.names);
    names.Replace(u", ", u"`, `");
    Kt_WString example(doc.example.example);
    example.Replace(u"\n", u"`<br>`");
    Put(u"| `");
    Put(names);
    Put(u"` | ");
    Put(doc.does);
    Put(u" | `");
    Put(example);
    Put(u"` => ");
    Put(doc.example.result);
    Put(u" |\n");
  }

  Kt_WString out_;
};

}  // namespace

Kt_WString MakeMethodReference() { return PageWriter().Write(); }
