// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <utility>
#include <vector>

#include "classlib/text/Kt_WStrList.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Host.h"
#include "cli/Kt_Text.h"
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
    {u"args", u"The list of the arguments that stand behind the function on the command line.", u"",
     u"", u""},
    {u"print", u"Writes the texts of the values, with blanks between them, and a line feed.", u"",
     u"", u""},
    {u"readText", u"The text of a UTF-8 file.",
     u"A file that cannot be read, or is not UTF-8, is an error of the run.", u"", u""},
    {u"writeText",
     u"Replaces a file by the text, as UTF-8. Whoever reads it sees the old file or the new one.",
     u"A file that cannot be written is an error of the run.", u"", u""},
};

// A row of one of the tables, as far as a user is interested in it. Missing texts are empty.
struct Function {
  Kt_WString name;
  Kt_WString forms;  // one a line
  const char16_t* does = u"";
  const char16_t* odd = u"";
  const char16_t* example = u"";
  const char16_t* result = u"";
};
using Functions = std::vector<Function>;

const Kt_IntFuncDoc* HostDoc(const char16_t* name) {
  for (const Kt_IntFuncDoc& doc : kHostDocs) {
    if (kt_stricmpW(doc.name, name) == 0) return &doc;
  }
  return nullptr;
}

template <class Row>
Function FromFunctionRow(const Row& row, const Kt_IntFuncDoc* doc) {
  if (doc == nullptr) return {row.name, row.help};
  return {row.name, row.help, doc->does, doc->odd, doc->example, doc->result};
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
  std::sort(functions.begin(), functions.end(), [](const Function& a, const Function& b) {
    return kt_stricmpW(a.name.View(), b.name.View()) < 0;
  });
  return functions;
}

Functions DatasetMethods() {
  Functions functions;
  const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
  for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
    Function function{rows[row].name, rows[row].help};
    function.forms.Replace(u"),", u")\n");
    if (const Kt_MethodDoc* const doc = GetMethodDoc(rows[row].name)) {
      function.does = doc->does;
      function.odd = doc->odd;
      function.example = doc->example;
      function.result = doc->result;
    }
    functions.push_back(function);
  }
  return functions;
}

Functions Members(const _EXPR_SIMPLEPROP_INFO* rows, int count,
                  const Kt_MemberDoc* (*find)(const char16_t* name)) {
  Functions functions;
  for (int row = 0; row < count; ++row) {
    Function function{rows[row].name, rows[row].name};
    if (const Kt_MemberDoc* const doc = find(rows[row].name)) {
      function.does = doc->does;
      function.example = doc->example;
      function.result = doc->result;
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
      functions.push_back({names[name], doc.forms, doc.does, doc.odd, doc.example, doc.result});
    }
  }
  return functions;
}

// What can be named in a script, in the order of the list.
struct Section {
  const char* heading;  // of the list
  const char* kind;     // what one entry is; empty for functions, which need no word
  Functions functions;
};

std::vector<Section> AllSections() {
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

constexpr int kTextWidth = 76;

// The words of `text` in indented lines.
std::string Wrap(const Kt_WString& text) {
  Kt_WStrList words;
  words.Parse(text, u" ", 0, false, false);
  std::string out;
  int column = 0;
  for (kt_long word = 0; word < words.GetCount(); ++word) {
    const int width = DisplayWidth(words[word]);
    const bool breaks = column == 0 || column + width >= kTextWidth;
    out += breaks ? (out.empty() ? "    " : "\n    ") : " ";
    out += words[word].ToUtf8();
    column = breaks ? width : column + 1 + width;
  }
  return out.empty() ? out : out + "\n";
}

void ListOne(const Function& function, std::ostream& out) {
  Kt_WStrList lines;
  lines.Parse(function.forms, u"\n");
  for (kt_long line = 0; line < lines.GetCount(); ++line) {
    out << fmt::format("{:<18}{}\n", line == 0 ? function.name.ToUtf8() : "", lines[line].ToUtf8());
  }
}

// Members have no call forms: their texts say what they are.
void ListMember(const Function& function, std::ostream& out) {
  out << fmt::format("{:<18}{}\n", function.name.ToUtf8(), Kt_WString(function.does).ToUtf8());
}

int ListAll(Streams streams) {
  for (const Section& section : AllSections()) {
    if (*section.heading != 0) streams.out << '\n' << section.heading << '\n';
    for (const Function& function : section.functions) {
      if (function.forms == function.name) {
        ListMember(function, streams.out);
      } else {
        ListOne(function, streams.out);
      }
    }
  }
  return kFine;
}

void PrintExample(const Function& function, std::ostream& out) {
  Kt_WStrList lines;
  lines.Parse(function.example, u"\n", 0, true, false);
  for (kt_long line = 0; line < lines.GetCount(); ++line) {
    out << "    " << lines[line].ToUtf8();
    if (line + 1 == lines.GetCount()) out << "  gives  " << Kt_WString(function.result).ToUtf8();
    out << '\n';
  }
}

void Print(const Function& function, const char* kind, std::ostream& out) {
  out << function.forms.ToUtf8();
  if (*kind != 0) out << fmt::format("    ({})", kind);
  out << '\n' << Wrap(function.does) << Wrap(function.odd);
  PrintExample(function, out);
}

int NotThere(const std::string& name, Streams streams) {
  std::vector<Kt_WString> known;
  for (const Section& section : AllSections()) {
    for (const Function& function : section.functions) known.push_back(function.name);
  }
  const Kt_WString text = Kt_WString::FromUtf8(fmt::format("there is no function '{}'", name));
  const Kt_WString hint = kt::WithHint(text, Kt_WString::FromUtf8(name), known);
  Tell(streams, Diagnostic::Complaint("kt functions", hint.ToUtf8()));
  return kCommandFault;
}

int Explain(const std::string& name, Streams streams) {
  return ExplainFunction(name, streams.out) ? kFine : NotThere(name, streams);
}

nlohmann::ordered_json ToJson(const Function& function, const char* kind) {
  const auto text = [](const char16_t* of) { return Kt_WString(of).ToUtf8(); };
  nlohmann::ordered_json json = {{"name", function.name.ToUtf8()},
                                 {"kind", *kind != 0 ? kind : "function"},
                                 {"forms", nlohmann::ordered_json::array()},
                                 {"does", text(function.does)},
                                 {"notes", text(function.odd)},
                                 {"example", text(function.example)},
                                 {"result", text(function.result)}};
  Kt_WStrList lines;
  lines.Parse(function.forms, u"\n");
  for (kt_long line = 0; line < lines.GetCount(); ++line) {
    json["forms"].push_back(lines[line].ToUtf8());
  }
  return json;
}

int PrintJson(const std::string& name, Streams streams) {
  const Kt_WString wanted = Kt_WString::FromUtf8(name);
  bool is_found = false;
  for (const Section& section : AllSections()) {
    for (const Function& function : section.functions) {
      if (!name.empty() && !function.name.EqualsNoCase(wanted)) continue;
      is_found = true;
      streams.out << ToJson(function, section.kind).dump() << '\n';
    }
  }
  return is_found ? kFine : NotThere(name, streams);
}

}  // namespace

bool ExplainFunction(const std::string& name, std::ostream& out) {
  const Kt_WString wanted = Kt_WString::FromUtf8(name);
  bool is_found = false;
  for (const Section& section : AllSections()) {
    for (const Function& function : section.functions) {
      if (!function.name.EqualsNoCase(wanted)) continue;
      if (std::exchange(is_found, true)) out << '\n';
      Print(function, section.kind, out);
    }
  }
  return is_found;
}

void AddFunctions(CLI::App& app, Action& action) {
  auto name = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  CLI::App* const functions = app.add_subcommand(
      "functions",
      "List what scripts can name: functions, methods, properties, keywords, statements");
  functions->add_option("NAME", *name, "What to explain");
  functions->add_flag("--json", *json, "Print objects, one a line");
  functions->callback([name, json, &action] {
    action = [name, json](Streams streams) {
      if (*json) return PrintJson(*name, streams);
      return name->empty() ? ListAll(streams) : Explain(*name, streams);
    };
  });
}

}  // namespace kt::cli
