// SPDX-License-Identifier: MIT
#include <algorithm>

#include "classlib/text/Kt_WStrList.h"
#include "cli/lsp/Kt_Features.h"

namespace kt::cli::lsp {
namespace {

using analysis::Folded;
using analysis::KnownNames;
using analysis::Symbol;
using HelpKind = HelpIndex::Kind;

std::string Code(const std::string& text) { return "```kts\n" + text + "\n```\n"; }

// Line comments become their texts, a block comment what is in it without the stars at its sides.
std::string CommentText(std::u16string_view comment) {
  const bool is_block = comment.starts_with(u"/*");
  comment.remove_prefix(2);
  if (is_block && comment.ends_with(u"*/")) comment.remove_suffix(2);
  Kt_WStrList lines;
  lines.Parse(Kt_WString(comment), u"\n", 0, true, false);
  std::string text;
  for (kt_long line = 0; line < lines.GetCount(); ++line) {
    std::u16string_view part = lines[line];
    part.remove_prefix(std::min(part.find_first_not_of(u" \t\r*"), part.size()));
    text += Kt_WString(part).ToUtf8() + "\n";
  }
  return text;
}

// The comment that ends in the line above the one of a token.
std::string CommentAbove(const ScriptFile& file, std::size_t token) {
  std::string text;
  kt_long line = file.text.LineOf(file.tokens[token].range.start);
  while (token-- > 0 && file.tokens[token].kind == Token::Kind::kComment) {
    const Range range = file.tokens[token].range;
    if (file.text.LineOf(range.end) != line - 1) break;
    line = file.text.LineOf(range.start);
    const bool stands_behind =
        token > 0 && file.text.LineOf(file.tokens[token - 1].range.end) == line;
    if (stands_behind) break;
    text.insert(0, CommentText(file.text.View(range)));
  }
  return text;
}

// The comment above a function of the script.
std::string FunctionText(Program& program, const Symbol& symbol) {
  const ScriptFile& file = program.Files()[symbol.file];
  const std::size_t name = file.View().CountBefore(symbol.offset + 1) - 1;
  return CommentAbove(file, name > 0 ? name - 1 : name);
}

std::string VariableMarkdown(Program& program, const Symbol& symbol) {
  static constexpr const char* kKinds[] = {"", "argument", "variable", "global variable"};
  const SourceText& text = program.Files()[symbol.file].text;
  Kt_WString line(text.View(text.LineRange(text.LineOf(symbol.offset))));
  line.Trim();
  return Code(line.ToUtf8()) + kKinds[static_cast<std::size_t>(symbol.kind)] + " `" +
         symbol.name.ToUtf8() + "`\n";
}

std::string DatasetMarkdown(const KnownNames::Dataset& dataset) {
  std::string columns;
  for (const Kt_WString& column : dataset.columns) {
    columns += (columns.empty() ? "" : ", ") + column.ToUtf8();
  }
  return "dataset `" + dataset.name.ToUtf8() + "` with the columns " + columns + "\n";
}

std::string SymbolMarkdown(const Cursor& at, const Symbol& symbol) {
  if (symbol.kind == Symbol::Kind::kFunction) {
    return Code("function " + FunctionForm(at.program, symbol).ToUtf8()) +
           FunctionText(at.program, symbol);
  }
  if (!symbol.IsOfHost()) return VariableMarkdown(at.program, symbol);
  const KnownNames::Dataset* const dataset = at.program.Known().FindDataset(Folded(symbol.name));
  return !symbol.IsCalled() && dataset != nullptr ? DatasetMarkdown(*dataset) : "";
}

Signature MakeSignature(const Kt_WString& form) {
  Signature signature{form, {}};
  const std::u16string_view text = form;
  const std::size_t open = text.find(u'(');
  const std::size_t close = std::min(text.rfind(u')'), text.size());
  if (open == text.npos || close < open) return signature;
  for (std::size_t at = open + 1; at < close;) {
    const std::size_t comma = std::min(text.find(u',', at), close);
    const std::size_t first = std::min(text.find_first_not_of(u" [", at), comma);
    const std::size_t end = std::min(text.find_first_of(u" []", first), comma);
    if (end > first) {
      signature.parameters.push_back({static_cast<kt_long>(first), static_cast<kt_long>(end)});
    }
    at = comma + 1;
  }
  return signature;
}

// Of the first form that has so many arguments; a form with "..." has any number.
void Activate(SignatureHelp& help, std::size_t argument) {
  for (std::size_t at = help.signatures.size(); at-- > 0;) {
    const Signature& one = help.signatures[at];
    const bool has_any = one.label.Find(u"...") >= 0 && !one.parameters.empty();
    if (argument >= one.parameters.size() && !has_any) continue;
    help.active_signature = at;
    help.active_parameter = has_any ? std::min(argument, one.parameters.size() - 1) : argument;
    return;
  }
  help.active_parameter = argument;
}

SignatureHelp FromHelp(const Help& help) {
  SignatureHelp found;
  Kt_WStrList forms;
  forms.Parse(help.forms, u"\n");
  for (kt_long form = 0; form < forms.GetCount(); ++form) {
    found.signatures.push_back(MakeSignature(forms[form]));
  }
  found.markdown = Kt_WString(help.does).ToUtf8();
  return found;
}

}  // namespace

std::string HelpMarkdown(const Help& help) {
  std::string text = Code(help.forms.ToUtf8());
  for (const char16_t* const part : {help.does, help.odd}) {
    if (*part != 0) text += "\n" + Kt_WString(part).ToUtf8() + "\n";
  }
  if (!help.examples.empty()) text += "\n" + Code(LayOutExamples(help.examples).ToUtf8());
  return text;
}

std::optional<Hover> FindHover(const Cursor& at) {
  const std::optional<Named> named = FindNamed(at);
  if (!named) return std::nullopt;
  std::string text;
  if (named->help != nullptr) {
    text = HelpMarkdown(*named->help);
  } else if (named->dataset != nullptr) {
    text = "column `" + named->text.ToUtf8() + "` of `" + named->dataset->name.ToUtf8() + "`\n";
  } else if (named->symbol >= 0) {
    const auto number = static_cast<std::size_t>(named->symbol);
    text = SymbolMarkdown(at, at.program.Uses().symbols[number]);
  }
  if (text.empty()) return std::nullopt;
  return Hover{named->range, text};
}

std::optional<SignatureHelp> FindSignature(const Cursor& at) {
  const TokenView view = at.File().View();
  const std::size_t text = view.TextAround(at.offset);
  const std::size_t token = text != TokenView::kNone ? text : view.CountBefore(at.offset);
  const std::optional<TokenView::Call> call = view.FindCall(token);
  if (!call) return std::nullopt;
  const Kt_WString name(view.TextOf(call->name));
  std::optional<SignatureHelp> found;
  const bool is_method = FindMemberOf(at, call->name).has_value();
  const Symbol* const own = is_method ? nullptr : FindFunction(at.program, name);
  if (own != nullptr) {
    found.emplace();
    found->signatures.push_back(MakeSignature(FunctionForm(at.program, *own)));
    found->markdown = FunctionText(at.program, *own);
  } else if (const Help* const help =
                 HelpIndex::Find(is_method ? HelpKind::kMethod : HelpKind::kFunction, name)) {
    found = FromHelp(*help);
  }
  if (found) Activate(*found, static_cast<std::size_t>(call->argument));
  return found;
}

}  // namespace kt::cli::lsp
