// SPDX-License-Identifier: MIT
#include "cli/test/Kt_TestHost.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "classlib/base/Kt_Path.h"
#include "cli/Kt_File.h"
#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"
#include "cli/test/Kt_Difference.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"
#include "object/Kt_ExprObjInfo.h"
#include "object/Kt_RunError.h"
#include "script/Kt_Script.h"

namespace {

using kt::cli::WithVisibleControls;

Kt_TestHost& Host(Kt_ExprObject* context) { return *static_cast<Kt_TestHost*>(context); }

template <kt_long (Kt_TestHost::*kFunction)(const Kt_VariantList&)>
kt_long CallOn(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant&) {
  return (Host(context).*kFunction)(args != nullptr ? *args : Kt_VariantList());
}

kt_long CallFixture(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
  return Host(context).Fixture(*args, result);
}

// Sorted by name.
constexpr _EXPR_EXTAPI_INFO kFunctions[] = {
    {u"assert", CallOn<&Kt_TestHost::Assert>, 1, 1, u"Assert(varCondition[,strText])"},
    {u"assertEqual", CallOn<&Kt_TestHost::AssertEqual>, 2, 1,
     u"AssertEqual(varActual,varExpected[,strText])"},
    {u"assertFails", CallOn<&Kt_TestHost::AssertFails>, 1, 1, u"AssertFails(strCode[,strMessage])"},
    {u"assertRecorded", CallOn<&Kt_TestHost::AssertRecorded>, 2, 1,
     u"AssertRecorded(strName,varValue)"},
    {u"fixture", CallFixture, 1, 1, u"Fixture(strName)"},
};
static_assert(IsSortedByName(kFunctions));

// A text as it is and with a line break behind it, a list with an item a line.
Kt_WString RecordOf(const Kt_Variant& value) {
  const auto line = [](const Kt_Variant& item) {
    return Kt_WString::FromUtf8(kt::cli::ValueText(item)) + u"\n";
  };
  if (!value.IsList()) return line(value);
  Kt_WString record;
  for (const Kt_Variant& item : value.GetList()) record += line(item);
  return record;
}

}  // namespace

int Kt_TestHost::GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  const int row =
      FindExtApiFuncIdx(kFunctions, static_cast<int>(std::size(kFunctions)), name.GetText());
  if (row < 0) return Kt_CliHost::GetMethodType(name, info);
  info.SetExtAPI(this, name, kFunctions[row].function);
  return EXPR_OBJ_EXTAPI;
}

void Kt_TestHost::AddNames(Names which, std::vector<Kt_WString>& names) const {
  if (which == Names::kCalls) {
    for (const _EXPR_EXTAPI_INFO& row : kFunctions) names.push_back(row.name);
  }
  Kt_CliHost::AddNames(which, names);
}

void Kt_TestHost::OnRunTimeError(const Kt_Result& result) {
  if (!is_expecting_) Kt_CliHost::OnRunTimeError(result);
}

bool Kt_TestHost::Call(const Kt_WString& function) {
  known_failures_ = Kt_RunError::Last().serial;
  const Kt_VariantList no_arguments;
  Kt_Variant result;
  const kt_long code = script_->ExecFunc(function, &no_arguments, result);
  return TellOutcome(code, known_failures_);
}

kt_long Kt_TestHost::FailWith(const char* function, const Kt_Variant& text,
                              const std::string& lines) {
  const std::string said =
      text.IsEmpty() ? "" : WithVisibleControls(text.ToString().ToUtf8()) + ": ";
  return FailLines(fmt::format("{}{}: {}", said, function, lines));
}

kt_long Kt_TestHost::Assert(const Kt_VariantList& args) {
  const Kt_Variant condition = args.GetItemNN(0).Dereference();
  if (condition.ToInteger() != 0) return 0;
  return FailWith("assert", args.GetItemNN(1),
                  WithVisibleControls(kt::cli::ValueText(condition)) + " is not true");
}

kt_long Kt_TestHost::AssertEqual(const Kt_VariantList& args) {
  const std::string difference = kt::cli::DifferenceOf(args.GetItemNN(0), args.GetItemNN(1));
  return difference.empty() ? 0 : FailWith("assertEqual", args.GetItemNN(2), difference);
}

bool Kt_TestHost::Runs(const Kt_WString& code, Kt_WString& failure) {
  const std::uint64_t before = Kt_RunError::Last().serial;
  kt_long result = 0;
  Kt_Variant ignored;
  if (Kt_ExprUtil::IsValidExpr(code.GetText(), code.GetLength()) == 0) {
    Kt_Expr expression(code.GetText());
    result = expression.ExecExpr(script_, ignored);
  } else {
    Kt_WStrList errors;
    Kt_ScriptFunc function(u"assertFails", script_);
    function.SetInfo(u"assertFails", {}, code, 0, 0, &errors);
    if (errors.GetCount() > 0) {
      failure = errors[0];
      return false;
    }
    result = function.ExecFunc(nullptr, ignored);
  }
  if (result == 0 && Kt_RunError::Last().serial == before) return true;
  failure = Kt_RunError::Last().text;
  return false;
}

kt_long Kt_TestHost::AssertFails(const Kt_VariantList& args) {
  const Kt_WString code = args.GetItemNN(0).ToString();
  const Kt_WString wanted = args.GetItemNN(1).ToString();
  Kt_WString failure;
  is_expecting_ = true;
  const bool runs = Runs(code, failure);
  is_expecting_ = false;
  if (const kt_long stop = Kt_WorkMeter::CurrentStop()) return stop;
  if (runs) return FailWith("assertFails", {}, kt::cli::Shown(code) + " does not fail");
  if (failure.View().find(wanted.View()) == std::u16string_view::npos) {
    return FailWith("assertFails", {},
                    fmt::format("it fails with '{}', not with '{}'", kt::cli::Shown(failure),
                                kt::cli::Shown(wanted)));
  }
  known_failures_ = Kt_RunError::Last().serial;
  return 0;
}

kt_long Kt_TestHost::Fixture(const Kt_VariantList& args, Kt_Variant& result) {
  const std::filesystem::path name = kt_path(args.GetItemNN(0).ToString().ToUtf8());
  result = Kt_WString::FromUtf8((kt_path(folder_) / name).string());
  return 0;
}

kt_long Kt_TestHost::AssertRecorded(const Kt_VariantList& args) {
  constexpr const char* kFunction = "assertRecorded";
  const std::string name = args.GetItemNN(0).ToString().ToUtf8();
  if (name.empty() || name.find_first_of(std::string_view("/\\\0", 3)) != std::string::npos) {
    return FailWith(kFunction, {}, "'" + kt::cli::Shown(name) + "' is no name of a record");
  }
  const Kt_WString value = RecordOf(args.GetItemNN(1).Dereference());
  const std::string path = (kt_path(folder_) / kt_path(name + ".recorded")).string();
  std::string file;
  std::string reason;
  if (!GetFence().Resolve(path, file, reason)) return FailWith(kFunction, {}, reason);
  Kt_WString recorded;
  const auto read = kt::cli::ReadTextFile(file, recorded, reason, GetFence().LinkRule());
  const bool is_there = read == kt::cli::FileResult::kOk;
  if (is_there && recorded == value) return 0;
  if (updates_) {
    if (kt::cli::WriteTextFile(file, value, reason, GetFence().LinkRule())) return 0;
    return FailWith(kFunction, {}, "cannot write '" + kt::cli::Shown(path) + "': " + reason);
  }
  if (!is_there) {
    return FailWith(kFunction, {},
                    fmt::format("cannot read '{}': {} (--update records the value)",
                                kt::cli::Shown(path), reason));
  }
  return FailWith(kFunction, Kt_Variant(args.GetItemNN(0).ToString()),
                  kt::cli::DifferenceOf(Kt_Variant(value), Kt_Variant(recorded)));
}
