// SPDX-License-Identifier: MIT
#include "cli/repl/Kt_Repl.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <ostream>

#include "classlib/base/Kt_Memory.h"
#include "cli/Kt_Vars.h"
#include "cli/Kt_Visible.h"
#include "cli/data/Kt_Report.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_ExprObject.h"
#include "script/Kt_ScriptOpPayloads.h"

// clang-format off
const Kt_CliRepl::Command Kt_CliRepl::kCommands[] = {
    {":data", &Kt_CliRepl::Data, ":data [NAME=FILE]", "load a file as a dataset, or list the datasets"},
    {":help", &Kt_CliRepl::Help, ":help [NAME]",      "this text, or a function or command in detail"},
    {":load", &Kt_CliRepl::Load, ":load FILE",        "take in a script; a second time it replaces"},
    {":quit", &Kt_CliRepl::Quit, ":quit",             "leave, as the end of the input does"},
    {":save", &Kt_CliRepl::Save, ":save NAME=FILE",   "write a dataset to a file"},
    {":vars", &Kt_CliRepl::Vars, ":vars",             "the variables: names, kinds, values"},
};
// clang-format on

namespace {

std::string Trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool IsNameByte(char unit) {
  return (unit >= '0' && unit <= '9') || (unit >= 'a' && unit <= 'z') ||
         (unit >= 'A' && unit <= 'Z') || unit == '_' || static_cast<unsigned char>(unit) >= 0x80;
}

bool StartsNoCase(const Kt_WString& name, const Kt_WString& start) {
  return start.IsEmpty() || name.Mid(0, start.GetLength()).EqualsNoCase(start);
}

}  // namespace

// Lines
// --------------------------------------------------------------------------------------------

int Kt_CliRepl::Run(Kt_CliLineSource& source) {
  std::string line;
  while (!quits_) {
    streams_.out.flush();
    const auto answer = source.Read(++line_number_, has_input_, line);
    if (answer == Kt_CliLineSource::Answer::kCancelled) {
      Forget();
    } else if (answer == Kt_CliLineSource::Answer::kLine) {
      OnLine(line);
    } else {
      if (answer == Kt_CliLineSource::Answer::kTooLong) Fail("the line is too long");
      break;
    }
  }
  if (has_input_) RunInput();  // the parser says what is missing
  return has_failed_ && !source.IsTerminal() ? kt::cli::kScriptFault : kt::cli::kFine;
}

void Kt_CliRepl::OnLine(const std::string& line) {
  try {
    ReadLine(line);
    if (!kt::TakeMemoryFailure()) return;
  } catch (const std::bad_alloc&) {
    Forget();
  }
  kt::cli::TellOutOfMemory(streams_);
  has_failed_ = true;
}

void Kt_CliRepl::ReadLine(const std::string& line) {
  Kt_WString text;
  const std::int64_t bad = ConvertUtf8(line, text);
  if (bad >= 0) {
    Fail(fmt::format("no valid UTF-8 at byte offset {}", bad));
  } else if (line.find('\0') != std::string::npos) {
    Fail("a character with the code 0");
  } else if (!has_input_ && Trimmed(line).starts_with(':')) {
    RunCommand(Trimmed(line));
  } else {
    TakeText(text);
  }
}

void Kt_CliRepl::TakeText(const Kt_WString& text) {
  if (!has_input_) first_line_ = line_number_;
  has_input_ = true;
  if (!input_.Append(text) || !input_.Append(u"\n")) {
    Fail("the input is too long");
    return;
  }
  scan_.Feed(text);
  if (!scan_.IsOpen()) RunInput();
}

void Kt_CliRepl::RunInput() {
  const Kt_WString input = input_;
  Forget();
  if (!session_.Run(input, first_line_)) has_failed_ = true;
}

void Kt_CliRepl::Forget() {
  input_.Empty();
  has_input_ = false;
  scan_ = Kt_CliInputScan();
}

void Kt_CliRepl::Fail(const std::string& what) {
  kt::cli::Tell(streams_,
                kt::cli::Diagnostic::Error(what, Kt_CliSession::kInputName, line_number_));
  has_failed_ = true;
  Forget();
}

// Commands
// -----------------------------------------------------------------------------------------

void Kt_CliRepl::RunCommand(const std::string& line) {
  const std::size_t end = std::min(line.find_first_of(" \t"), line.size());
  const std::string name = line.substr(0, end);
  for (const Command& command : kCommands) {
    if (name != command.name) continue;
    if (!(this->*command.run)(Trimmed(line.substr(end)))) has_failed_ = true;
    return;
  }
  Fail(fmt::format("there is no command '{}' (:help lists them)", name));
}

bool Kt_CliRepl::Quit(const std::string&) {
  quits_ = true;
  return true;
}

bool Kt_CliRepl::Vars(const std::string&) {
  streams_.out << kt::cli::VariableTable(session_.GetScript().GetVariables());
  return true;
}

bool Kt_CliRepl::Load(const std::string& argument) {
  if (argument.empty()) {
    Fail(":load needs the name of a file");
    return false;
  }
  if (session_.Load(argument, include_dirs_)) return true;
  Fail(fmt::format("loading '{}' failed", argument));
  return false;
}

int Kt_CliRepl::LoadDataFiles(const kt::cli::DataFiles& files) {
  data_ = files;
  return kt::cli::LoadDataFiles(files, "kt repl", session_.GetHost(), streams_);
}

bool Kt_CliRepl::Data(const std::string& argument) {
  if (argument.empty()) {
    ListDatasets();
    return true;
  }
  kt::cli::DataFiles::Item item;
  kt::cli::DataReport report;
  std::string reason;
  if (kt::cli::ParseDataItem(argument, false, item, reason)) {
    if (item.path == kt::cli::kStandardInput) {
      Fail("the standard input is what is typed here");
      return false;
    }
    if (kt::cli::LoadDataInto(item, data_.load_options, true, session_.GetHost(), streams_,
                              report)) {
      return true;
    }
    std::vector<kt::cli::Diagnostic> fault = kt::cli::LoadFault(item.path, report);
    Fail(kt::cli::DescribePart(fault.front()));
    fault.erase(fault.begin());
    kt::cli::Tell(streams_, fault);
    return false;
  }
  Fail(reason);
  return false;
}

bool Kt_CliRepl::Save(const std::string& argument) {
  kt::cli::DataFiles::Item item;
  std::string reason;
  if (kt::cli::ParseDataItem(argument, true, item, reason)) {
    return kt::cli::SaveDataItem(item, kt::cli::SaveOptionsFor(item, data_), session_.GetHost(),
                                 streams_);
  }
  Fail(reason);
  return false;
}

void Kt_CliRepl::ListDatasets() {
  const Kt_CliDatasets& datasets = session_.GetHost().GetDatasets();
  for (const Kt_WString& name : datasets.GetNames()) {
    const Kt_Dataset& dataset = *datasets.Find(name)->GetDataset();
    streams_.out << fmt::format("{}: {} rows, {} columns\n", kt::cli::Shown(name),
                                dataset.GetRowCount(), dataset.GetColCount());
  }
}

bool Kt_CliRepl::Help(const std::string& argument) {
  if (argument.empty()) {
    HelpOnAll();
    return true;
  }
  for (const Command& command : kCommands) {
    if (argument != command.name && argument != command.name + 1) continue;
    streams_.out << fmt::format("{:<19}{}\n", command.form, command.help);
    return true;
  }
  if (HelpOnFunction(Kt_WString::FromUtf8(argument))) return true;
  Fail(fmt::format("there is no function '{}'", argument));
  return false;
}

// A function of the session hides one of the engine.
bool Kt_CliRepl::HelpOnFunction(const Kt_WString& name) {
  const Kt_ScriptFunc* const func = session_.GetScript().GetFunc(name);
  if (func == nullptr) return kt::cli::ExplainFunction(name.ToUtf8(), streams_.out);
  std::string arguments;
  for (kt_long arg = 0; arg < func->GetArgs().GetCount(); ++arg) {
    if (arg > 0) arguments += ", ";
    arguments += func->GetArgs().GetItem(arg)->GetVar()->name.ToUtf8();
  }
  streams_.out << fmt::format("{}({})\n    Defined at {}:{}.\n", kt::cli::Shown(func->GetName()),
                              kt::cli::WithVisibleControls(arguments),
                              kt::cli::WithVisibleControls(func->GetSourceName()).ToUtf8(),
                              func->GetProtoLine() + 1);
  return true;
}

void Kt_CliRepl::HelpOnAll() {
  streams_.out << "Type an expression to see its value, statements to run them, functions to keep\n"
                  "them. An input goes on in the next line while a bracket or a text is open.\n\n";
  for (const Command& command : kCommands) {
    streams_.out << fmt::format("{:<19}{}\n", command.form, command.help);
  }
}

// Completion
// ---------------------------------------------------------------------------------------

std::vector<std::string> Kt_CliRepl::Complete(std::string_view before, std::size_t& start) const {
  std::vector<std::string> names;
  start = before.size();
  while (start > 0 && IsNameByte(before[start - 1])) --start;
  const bool is_command = start == 1 && before[0] == ':' && !has_input_;
  if (is_command) start = 0;
  const Kt_WString word = Kt_WString::FromUtf8(before.substr(start));
  const auto offer = [&](const Kt_WString& name) {
    if (StartsNoCase(name, word)) names.push_back(name.ToUtf8());
  };
  if (is_command) {
    for (const Command& command : kCommands) offer(Kt_WString::FromUtf8(command.name));
    return names;
  }
  if (start > 0 && before[start - 1] == '.') return names;  // members are known when it runs
  const auto* const built_in = Kt_ExprObject::GetIntFuncMap();
  for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) offer(built_in[row].name);
  for (const _EXPR_EXTAPI_INFO& row : kt::cli::HostFunctions()) offer(row.name);
  const Kt_Script& script = session_.GetScript();
  const Kt_ScriptFuncList& funcs = script.GetFuncs();
  for (kt_long func = 0; func < funcs.GetCount(); ++func) offer(funcs.GetItem(func)->GetName());
  const Kt_VariableList& variables = script.GetVariables();
  for (kt_long var = 0; var < variables.GetCount(); ++var) offer(variables.GetItemName(var));
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}
