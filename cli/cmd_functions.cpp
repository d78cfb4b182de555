// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>

#include "classlib/Kt_WStrList.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_CliHost.h"
#include "object/Kt_ExprObject.h"

namespace kt::cli {
namespace {

// Rows of both tables, as far as a user is interested in them.
struct Function {
  Kt_WString name;
  Kt_WString forms;  // one a line
  bool of_host = false;
};

std::vector<Function> AllFunctions() {
  std::vector<Function> functions;
  const _EXPR_INTFUNC_INFO* const built_in = Kt_ExprObject::GetIntFuncMap();
  for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) {
    functions.push_back({built_in[row].name, built_in[row].help, false});
  }
  for (const _EXPR_EXTAPI_INFO& row : HostFunctions()) {
    functions.push_back({row.name, row.help, true});
  }
  std::sort(functions.begin(), functions.end(), [](const Function& a, const Function& b) {
    return kt_stricmpW(a.name.View(), b.name.View()) < 0;
  });
  return functions;
}

// Call forms, one a line and indented.
std::string Forms(const Kt_WString& forms, const char* indent) {
  Kt_WStrList lines;
  lines.Parse(forms, u"\n");
  std::string text;
  for (kt_long line = 0; line < lines.GetCount(); ++line) {
    text += indent + lines[line].ToUtf8() + "\n";
  }
  return text;
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

int Explain(const std::string& name, Streams streams) {
  const Kt_WString wanted = Kt_WString::FromUtf8(name);
  for (const Function& function : AllFunctions()) {
    if (!function.name.EqualsNoCase(wanted)) continue;
    streams.out << Forms(function.forms, "") << (function.of_host ? "    (of kt)\n" : "");
    return kFine;
  }
  streams.messages << fmt::format("kt functions: there is no function '{}'\n", name);
  return kCommandFault;
}

}  // namespace

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
