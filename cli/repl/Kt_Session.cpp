// SPDX-License-Identifier: MIT
#include "cli/repl/Kt_Session.h"

#include <filesystem>
#include <ostream>

#include "classlib/base/Kt_Path.h"
#include "cli/Kt_Expr.h"
#include "cli/Kt_Loader.h"
#include "cli/Kt_Options.h"
#include "cli/Kt_ScriptToRead.h"
#include "cli/show/Kt_Result.h"
#include "script/Kt_ScriptOp.h"
#include "script/Kt_ScriptUtil.h"
#include "script/Kt_SyntaxErrors.h"

using kt::cli::Diagnostic;
using kt::cli::Piece;
using kt::cli::PieceKind;

namespace {

// An expression is run as the statement that hands out its value.
constexpr std::u16string_view kReturn = u"return ";

// Forgets what a function does; it keeps its place, which callers may know.
void Empty(Kt_ScriptFunc& func) {
  func.SetProto(u"", 0, nullptr);
  func.SetBody(u"", 0, nullptr);
}

}  // namespace

Kt_CliSession::Kt_CliSession(kt::cli::Streams streams, const std::atomic<bool>* cancel)
    : streams_(streams), host_(streams), script_(&host_) {
  host_.SetScript(&script_);
  budget_.cancel = cancel;
  script_.SetBudget(&budget_);
}

bool Kt_CliSession::Run(const Kt_WString& text, kt_long first_line) {
  // The last statement may lack its mark. It goes on a line of its own: a comment may end the text.
  text_ = text + u"\n;";
  first_line_ = first_line;
  counted_to_ = counted_lines_ = 0;
  const std::vector<Piece> pieces = kt::cli::CutPieces(text_);
  bool ok = true;
  for (const Piece& piece : pieces) ok = Check(piece) && ok;
  for (std::size_t piece = 0; ok && piece < pieces.size(); ++piece) ok = RunPiece(pieces[piece]);
  text_.Empty();
  return ok;
}

// Checking
// -----------------------------------------------------------------------------------------

bool Kt_CliSession::Check(const Piece& piece) {
  Kt_CliReport report(streams_);
  MovePlaces(piece, report);
  const Kt_WString body = BodyOf(piece);
  Kt_SyntaxErrorList errors(true);
  using kt::analysis::SourceKind;
  SourceKind kind = SourceKind::kScript;
  switch (piece.kind) {
    case PieceKind::kDeclaration: return true;  // checked when it is evaluated, as in a file
    case PieceKind::kPragma:
      report.AtPlace(kInputName, body, 0, 1,
                     Diagnostic::Error("at the prompt, ':load FILE' takes files in"));
      return false;
    case PieceKind::kFunction: Kt_Script().Parse(u"", body, nullptr, &errors); break;
    default: kind = SourceKind::kBody; Kt_ScriptFunc().SetInfo(u"", u"", body, 0, 0, &errors);
  }
  if (!report.Syntax("", kInputName, body, errors, kind)) return false;
  if (piece.kind == PieceKind::kExpression) kt::cli::WarnOfUnread(body, report);
  return true;
}

Kt_WString Kt_CliSession::BodyOf(const Piece& piece) const {
  Kt_WString text = TextOf(piece.whole);
  if (piece.kind != PieceKind::kExpression) return text;
  return Kt_WString(kReturn) + text + u";";
}

void Kt_CliSession::MovePlaces(const Piece& piece, Kt_CliReport& report) const {
  const bool has_prefix = piece.kind == PieceKind::kExpression;
  const std::ptrdiff_t prefix = has_prefix ? std::ssize(kReturn) : 0;
  report.SetWhole({kInputName, text_, piece.whole.start - prefix, first_line_});
}

// Pieces come in order, so the lines between them are counted once.
kt_long Kt_CliSession::LineOf(kt_long offset) {
  if (offset < counted_to_) counted_to_ = counted_lines_ = 0;
  counted_lines_ += Kt_ScriptUtil::CountCRLF(text_.GetText() + counted_to_, offset - counted_to_);
  counted_to_ = offset;
  return first_line_ - 1 + counted_lines_;
}

// Running
// ------------------------------------------------------------------------------------------

bool Kt_CliSession::RunPiece(const Piece& piece) {
  host_.ClearErrorCount();
  // What is outside of functions has no other place than this.
  host_.SetSourceName(kInputName, LineOf(piece.whole.start) + 1);
  switch (piece.kind) {
    case PieceKind::kFunction: return Define(piece);
    case PieceKind::kDeclaration: return Declare(piece);
    default: return Execute(piece);
  }
}

// The script makes the function; its parts are set by themselves, because a text that a script
// parses counts its lines from 0.
bool Kt_CliSession::Define(const Piece& piece) {
  const Kt_WString name = TextOf(piece.name);
  script_.Parse(u"", Kt_WString(u"function ") + name + u"() {}", nullptr, nullptr);
  Kt_ScriptFunc* const func = script_.GetFunc(name);
  if (func == nullptr) return false;
  Empty(*func);
  func->SetInfo(Kt_WString::FromUtf8(kInputName), TextOf(piece.proto), TextOf(piece.body),
                LineOf(piece.name.start), LineOf(piece.body.start), nullptr);
  return true;
}

bool Kt_CliSession::Declare(const Piece& piece) {
  Kt_CliReport report(streams_);
  MovePlaces(piece, report);
  Kt_SyntaxErrorList errors(true);
  const Kt_WString text = TextOf(piece.whole);
  const kt_long code = script_.Parse(u"", text, nullptr, &errors);
  return report.Syntax("", kInputName, text, errors) && code == 0 && host_.GetErrorCount() == 0;
}

// The script itself is the context, so that new names become globals.
bool Kt_CliSession::Execute(const Piece& piece) {
  const Kt_WString name = Kt_WString::FromUtf8(kInputName);
  Kt_ScriptFunc func(name, &script_);
  func.SetInfo(name, u"", BodyOf(piece), LineOf(piece.whole.start), LineOf(piece.whole.start),
               nullptr);
  Kt_Variant result;
  const std::uint64_t failures = Kt_RunError::Last().serial;
  kt_long code = func.ExecBody(func.GetBody(), &script_, result);
  if (code == kScriptReturn || code == kScriptBreak || code == kScriptContinue) code = 0;
  if (!host_.TellOutcome(code, failures)) return false;
  std::string reason;
  if (result.IsEmpty() || kt::cli::PrintValue(result, streams_.out, reason)) return true;
  kt::cli::Tell(streams_, Diagnostic::Error("the value is " + reason, kInputName,
                                            LineOf(piece.whole.start) + 1));
  return false;
}

// Files
// --------------------------------------------------------------------------------------------

bool Kt_CliSession::Load(const std::string& path, const std::vector<std::string>& include_dirs) {
  Kt_CliReport report(streams_);
  std::error_code ignored;
  const std::filesystem::path file = kt_path(path);
  // It is read twice.
  if (std::filesystem::exists(file, ignored) && !std::filesystem::is_regular_file(file, ignored)) {
    report.Tell(Diagnostic::Error("cannot read: not a regular file", path));
    return false;
  }
  report.SetWarnings(true);
  const auto load = [&](Kt_Script& script) {
    Kt_CliLoader loader(script, report, host_.GetFence());
    loader.SetOnFile(
        [this](const std::string& name, const Kt_WString& text) { host_.SetSource(name, text); });
    return kt::cli::AddIncludeDirs(include_dirs, ":load", loader, streams_) &&
           loader.Load(path) == 0;
  };
  kt::cli::ScriptToRead checked(report);
  if (!load(checked.script)) return false;
  const auto& funcs = checked.script.GetFuncs();
  for (kt_long index = 0; index < funcs.GetCount(); ++index) {
    Kt_ScriptFunc* const old = script_.GetFunc(funcs.GetItem(index)->GetName());
    if (old != nullptr) Empty(*old);
  }
  host_.ClearErrorCount();
  // The same report: it has shown the warnings.
  return load(script_) && host_.GetErrorCount() == 0;
}
