// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>

#include "classlib/Kt_WStrList.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_CliHost.h"
#include "cli/Kt_CliText.h"
#include "object/Kt_ExprFuncsDoc.h"
#include "object/Kt_ExprObject.h"

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

// Rows of both tables, as far as a user is interested in them.
struct Function {
  Kt_WString name;
  Kt_WString forms;          // one a line
  const Kt_IntFuncDoc* doc;  // null: nothing is said
};

const Kt_IntFuncDoc* HostDoc(const char16_t* name) {
  for (const Kt_IntFuncDoc& doc : kHostDocs) {
    if (kt_stricmpW(doc.name, name) == 0) return &doc;
  }
  return nullptr;
}

std::vector<Function> AllFunctions() {
  std::vector<Function> functions;
  const _EXPR_INTFUNC_INFO* const built_in = Kt_ExprObject::GetIntFuncMap();
  for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) {
    functions.push_back(
        {built_in[row].name, built_in[row].help, GetIntFuncDoc(built_in[row].name)});
  }
  for (const _EXPR_EXTAPI_INFO& row : HostFunctions()) {
    functions.push_back({row.name, row.help, HostDoc(row.name)});
  }
  std::sort(functions.begin(), functions.end(), [](const Function& a, const Function& b) {
    return kt_stricmpW(a.name.View(), b.name.View()) < 0;
  });
  return functions;
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

int ListAll(Streams streams) {
  for (const Function& function : AllFunctions()) {
    Kt_WStrList lines;
    lines.Parse(function.forms, u"\n");
    for (kt_long line = 0; line < lines.GetCount(); ++line) {
      streams.out << fmt::format("{:<16}{}\n", line == 0 ? function.name.ToUtf8() : "",
                                 lines[line].ToUtf8());
    }
  }
  return kFine;
}

void PrintDoc(const Kt_IntFuncDoc& doc, std::ostream& out) {
  out << Wrap(doc.does) << Wrap(doc.odd);
  if (*doc.example == 0) return;
  out << fmt::format("    {}  gives  {}\n", Kt_WString(doc.example).ToUtf8(),
                     Kt_WString(doc.result).ToUtf8());
}

int Explain(const std::string& name, Streams streams) {
  if (ExplainFunction(name, streams.out)) return kFine;
  streams.messages << fmt::format("kt functions: there is no function '{}'\n", name);
  return kCommandFault;
}

}  // namespace

bool ExplainFunction(const std::string& name, std::ostream& out) {
  const Kt_WString wanted = Kt_WString::FromUtf8(name);
  for (const Function& function : AllFunctions()) {
    if (!function.name.EqualsNoCase(wanted)) continue;
    out << function.forms.ToUtf8() << '\n';
    if (function.doc != nullptr) PrintDoc(*function.doc, out);
    return true;
  }
  return false;
}

void AddFunctions(CLI::App& app, Action& action) {
  auto name = std::make_shared<std::string>();
  CLI::App* const functions =
      app.add_subcommand("functions", "List the functions that scripts can call, or explain one");
  functions->add_option("NAME", *name, "The function to explain");
  functions->callback([name, &action] {
    action = [name](Streams streams) {
      return name->empty() ? ListAll(streams) : Explain(*name, streams);
    };
  });
}

}  // namespace kt::cli
