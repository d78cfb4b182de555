// SPDX-License-Identifier: MIT
#include "cli/Kt_Help.h"

#include <algorithm>

#include "classlib/text/Kt_WStrList.h"
#include "cli/Kt_Host.h"
#include "dataset/Kt_DatasetCtx.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_ExprObject.h"
#include "reference/Kt_FunctionHelp.h"
#include "reference/Kt_MethodHelp.h"
#include "reference/Kt_StatementHelp.h"

namespace kt::cli {
namespace {

// What is said of the functions of kt itself.
constexpr Kt_IntFuncDoc kHostDocs[] = {
    {u"args",
     u"The list of the arguments that stand behind the function on the command line.",
     u"Empty in kt eval and kt repl.",
     {{u"length(args())", u"0"}}},
    {u"dataset",
     u"The dataset of that name, made if there is none; columns that it lacks are added, as "
     u"strings "
     u"when no type is given. The dataset then has its name everywhere, until the program ends.",
     u"A name that is no name, and a type that there is not, are errors of the run.",
     {{u"dataset('cities', 'name, people:long').ColCount()", u"2"},
      {u"dataset('cities', 'name')\ndataset('cities', 'people:long').ColCount()", u"2"},
      {u"dataset('cities', 'name, people:long')\ncities.AppendRow()\n"
       u"cities.SetColumn(0, 'name', 'Bonn')\ncities[0].name",
       u"Bonn"}}},
    {u"loadData",
     u"Loads a file or a database into the dataset of that name, made if there is none, and gives "
     u"the number of rows. Formats and options are those of the commands, in a text or a list: "
     u"'separator=; types=zip:string'.",
     u"The format is that of the ending of the file when it is empty. Columns that the dataset has "
     u"already keep their types. A file that cannot be read, a wrong option and rejected rows are "
     u"errors of the run; so is a file outside of the folders that scripts may reach.",
     {{u"writeText('cities.csv', 'name,people' + chr(10) + 'Bonn,337000')\nloadData('cities', "
       u"'cities.csv')",
       u"1"},
      {u"writeText('cities.txt', 'name;zip' + chr(10) + 'Bonn;05311')\n"
       u"loadData('cities', 'cities.txt', 'csv', 'separator=; types=zip:string')\ncities[0].zip",
       u"05311"}}},
    {u"print",
     u"Writes the texts of the values, with blanks between them, and a line feed.",
     u"",
     {}},
    {u"readText",
     u"The text of a UTF-8 file.",
     u"A file that cannot be read, or is not UTF-8, is an error of the run.",
     {{u"writeText('note.txt', 'one line')\nreadText('note.txt')", u"one line"}}},
    {u"saveData",
     u"Writes the dataset of that name to a file and gives the number of rows. To a database it "
     u"saves the changes. Formats and options are those of the commands.",
     u"The format is that of the ending of the file when it is empty. Whoever reads the file sees "
     u"the old one or the new one. A file that cannot be written is an error of the run.",
     {{u"dataset('cities', 'name, people:long')\ncities.AppendRow()\n"
       u"saveData('cities', 'cities.json')",
       u"1"}}},
    {u"view",
     u"A dataset without rows of its own, which shows those of another one, given as object or by "
     u"its name, for which the filter holds. For the name of a view, changes that.",
     u"A source that is not there, and a filter that is no expression over rows, are errors of the "
     u"run.",
     {{u"dataset('cities', 'name, people:long')\ncities.AppendRow()\n"
       u"cities.SetColumn(0, 'people', 337000)\ncities.AppendRow()\n"
       u"view('big', 'cities', 'people > 100000').RowCount()",
       u"1"}}},
    {u"writeText",
     u"Replaces a file by the text, as UTF-8. Whoever reads it sees the old file or the new one.",
     u"A file that cannot be written is an error of the run.",
     {{u"writeText('note.txt', 'one line')\nlength(readText('note.txt'))", u"8"}}},
};

using Functions = std::vector<Help>;

const Kt_IntFuncDoc* HostDoc(const char16_t* name) {
  for (const Kt_IntFuncDoc& doc : kHostDocs) {
    if (kt_stricmpW(doc.name, name) == 0) return &doc;
  }
  return nullptr;
}

// What a doc of a function or method says.
template <class Doc>
void Take(const Doc& doc, Help& function) {
  function.does = doc.does;
  function.odd = doc.odd;
  for (const Kt_HelpExample& example : doc.examples) {
    if (example.example != nullptr) function.examples.push_back(example);
  }
}

template <class Row>
Help FromFunctionRow(const Row& row, const Kt_IntFuncDoc* doc) {
  Help function{row.name, row.help};
  if (doc != nullptr) Take(*doc, function);
  return function;
}

Functions CalledFunctions() {
  Functions functions;
  const _EXPR_INTFUNC_INFO* const built_in = Kt_ExprObject::GetIntFuncMap();
  for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) {
    functions.push_back(FromFunctionRow(built_in[row], GetIntFuncDoc(built_in[row].name)));
  }
  for (const _EXPR_EXTAPI_INFO& row : HostFunctions()) {
    functions.push_back(FromFunctionRow(row, HostDoc(row.name)));
  }
  std::sort(functions.begin(), functions.end(), [](const Help& a, const Help& b) {
    return kt_stricmpW(a.name.View(), b.name.View()) < 0;
  });
  return functions;
}

Functions DatasetMethods() {
  Functions functions;
  const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
  for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
    Help function{rows[row].name, rows[row].help};
    function.forms.Replace(u"),", u")\n");
    if (const Kt_MethodDoc* const doc = GetMethodDoc(rows[row].name)) Take(*doc, function);
    functions.push_back(function);
  }
  return functions;
}

Functions Members(const _EXPR_SIMPLEPROP_INFO* rows, int count,
                  const Kt_MemberDoc* (*find)(const char16_t* name)) {
  Functions functions;
  for (int row = 0; row < count; ++row) {
    Help function{rows[row].name, rows[row].name};
    if (const Kt_MemberDoc* const doc = find(rows[row].name)) {
      function.does = doc->does;
      function.examples = {doc->example};
    }
    functions.push_back(function);
  }
  return functions;
}

Functions Statements() {
  Functions functions;
  for (const Kt_StatementDoc& doc : GetStatementDocs()) {
    Kt_WStrList names;
    names.Parse(doc.names, u",");
    for (kt_long name = 0; name < names.GetCount(); ++name) {
      functions.push_back({names[name], doc.forms, doc.does, doc.odd, {}});
      if (*doc.example != 0) functions.back().examples = {{doc.example, doc.result}};
    }
  }
  return functions;
}

}  // namespace

std::vector<HelpSection> AllHelp() {
  return {
      {"", "", CalledFunctions()},
      {"Methods of datasets:", "method of datasets", DatasetMethods()},
      {"Properties of datasets:", "property of datasets",
       Members(Kt_ExprDataset::GetDSetPropMap(), Kt_ExprDataset::GetDSetPropCount(),
               GetDatasetPropDoc)},
      {"Keywords of row expressions:", "keyword of row expressions",
       Members(Kt_DatasetCtx::GetKeywordMap(), Kt_DatasetCtx::GetKeywordCount(), GetRowKeywordDoc)},
      {"Statements:", "statement", Statements()}};
}

}  // namespace kt::cli
