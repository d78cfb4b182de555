// SPDX-License-Identifier: MIT
#include "cli/lsp/Kt_Names.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace kt::cli::lsp {
namespace {

using analysis::DatasetNames;
using analysis::Folded;
using analysis::KnownNames;
using analysis::NameUse;
using analysis::Symbol;
using Argument = DatasetNames::Argument;
using HelpKind = HelpIndex::Kind;

struct HelpTables {
  std::vector<HelpSection> sections = AllHelp();
  std::vector<std::unordered_map<std::u16string, const Help*>> by_name;

  HelpTables() {
    for (const HelpSection& section : sections) {
      auto& names = by_name.emplace_back();
      for (const Help& help : section.entries) names.emplace(Folded(help.name), &help);
    }
  }
};

const HelpTables& Tables() {
  static const HelpTables kTables;
  return kTables;
}

const NameUse* UseAt(const Cursor& at) {
  const std::vector<NameUse>& uses = at.program.Uses().uses;
  const auto behind = std::partition_point(uses.begin(), uses.end(), [&](const NameUse& use) {
    return use.file < at.file || (use.file == at.file && use.offset <= at.offset);
  });
  if (behind == uses.begin()) return nullptr;
  const NameUse& use = behind[-1];
  const Range range{use.offset, use.offset + use.length};
  return use.file == at.file && range.Touches(at.offset) ? &use : nullptr;
}

int NumberOf(const Cursor& at, const Symbol* symbol) {
  if (symbol == nullptr) return NameUse::kUnknown;
  return static_cast<int>(symbol - at.program.Uses().symbols.data());
}

const Help* FindStatement(std::u16string_view word) {
  return HelpIndex::Find(HelpKind::kStatement, word);
}

// Columns first, as the language has it; then what every dataset has.
void SetMember(Named& named, const MemberOf& owner, bool is_called) {
  const std::u16string folded = Folded(named.text);
  if (!is_called && owner.dataset != nullptr && owner.dataset->HasColumn(folded)) {
    named.dataset = owner.dataset;
    return;
  }
  if (owner.object != nullptr) return;
  named.help = HelpIndex::Find(HelpKind::kMethod, named.text);
  if (named.help == nullptr) named.help = HelpIndex::Find(HelpKind::kProperty, named.text);
}

void SetName(Named& named, const Cursor& at, bool is_called) {
  if (const NameUse* const use = UseAt(at)) {
    named.symbol = use->symbol;
    named.range = {use->offset, use->offset + use->length};
    named.text = Kt_WString(at.File().text.View(named.range));
  } else {
    const Symbol* const symbol =
        is_called ? FindFunction(at.program, named.text) : FindVariable(at, named.text);
    named.symbol = NumberOf(at, symbol);
  }
  const std::vector<Symbol>& symbols = at.program.Uses().symbols;
  const bool is_own =
      named.symbol >= 0 && !symbols[static_cast<std::size_t>(named.symbol)].IsOfHost();
  const bool is_known = at.program.Known().FindFunction(Folded(named.text)) != nullptr;
  if (!is_own && is_called && is_known) {
    named.help = HelpIndex::Find(HelpKind::kFunction, named.text);
  }
}

// The name in an expression over rows, or the column that a text names.
std::optional<Named> NamedInText(const Cursor& at, std::size_t literal) {
  const TextRole role = FindTextRole(at, literal);
  if (role.kind == Argument::kValue) return std::nullopt;
  const Range whole = at.File().View().At(literal).range;
  const SourceText inner(Kt_WString(at.File().text.View({whole.start + 1, whole.end})));
  const std::vector<Token> tokens = ScanTokens(inner.View());
  const TokenView view(inner.View(), tokens);
  const std::size_t word = view.WordAt(at.offset - whole.start - 1);
  if (word == TokenView::kNone || !view.IsWord(word)) return std::nullopt;
  const Range range = view.At(word).range;
  Named named{{range.start + whole.start + 1, range.end + whole.start + 1},
              Kt_WString(view.TextOf(word))};
  const bool is_called = view.IsMark(view.After(word), u'(');
  if (is_called) {
    named.help = HelpIndex::Find(HelpKind::kFunction, named.text);
    if (named.help == nullptr) named.help = HelpIndex::Find(HelpKind::kMethod, named.text);
  } else if (role.dataset != nullptr && role.dataset->HasColumn(Folded(named.text))) {
    named.dataset = role.dataset;
  } else if (role.kind == Argument::kRowExpression) {
    named.help = HelpIndex::Find(HelpKind::kRowKeyword, named.text);
  }
  return named;
}

}  // namespace

std::span<const Help> HelpIndex::List(Kind kind) {
  return Tables().sections[static_cast<std::size_t>(kind)].entries;
}

const Help* HelpIndex::Find(Kind kind, std::u16string_view name) {
  const auto& names = Tables().by_name[static_cast<std::size_t>(kind)];
  const auto found = names.find(Folded(name));
  return found != names.end() ? found->second : nullptr;
}

const Symbol* FindFunction(Program& program, std::u16string_view name) {
  for (const Symbol& symbol : program.Uses().symbols) {
    if (symbol.kind == Symbol::Kind::kFunction && symbol.name.EqualsNoCase(name)) return &symbol;
  }
  return nullptr;
}

Kt_WString FunctionForm(const Kt_ScriptOutline& outline, const Kt_OutlineNode& function) {
  Kt_WString form = function.text + u"(";
  const auto first = static_cast<std::size_t>(&function - outline.nodes.data()) + 1;
  for (std::size_t at = first; at < function.next; ++at) {
    const Kt_OutlineNode& node = outline.nodes[at];
    if (node.kind != Kt_OutlineNode::Kind::kArgument) break;
    if (at > first) form += u", ";
    form += node.text;
  }
  return form + u")";
}

Kt_WString FunctionForm(Program& program, const Symbol& function) {
  const Kt_ScriptOutline& outline = *program.Files()[function.file].outline;
  for (std::size_t at = 0; at < outline.nodes.size(); at = outline.nodes[at].next) {
    const Kt_OutlineNode& node = outline.nodes[at];
    const bool is_it =
        node.kind == Kt_OutlineNode::Kind::kFunction && node.text_start == function.offset;
    if (is_it) return FunctionForm(outline, node);
  }
  return function.name;
}

bool IsInBlockOf(const Symbol& symbol, const Cursor& at) {
  return symbol.IsOfBlock() && symbol.file == at.file && symbol.offset <= at.offset &&
         at.offset <= symbol.end;
}

// Of those whose block is not over the one that was declared last is the innermost.
const Symbol* FindVariable(const Cursor& at, std::u16string_view name) {
  const Symbol* found = nullptr;
  for (const Symbol& symbol : at.program.Uses().symbols) {
    const bool is_known = symbol.kind == Symbol::Kind::kGlobal || IsInBlockOf(symbol, at);
    if (!is_known || !symbol.name.EqualsNoCase(name)) continue;
    if (found == nullptr || symbol.IsOfBlock()) found = &symbol;
  }
  return found;
}

const KnownNames::Dataset* FindDataset(const Cursor& at, std::u16string_view name) {
  const KnownNames::Dataset* const dataset = at.program.Known().FindDataset(Folded(name));
  return dataset == nullptr || FindVariable(at, name) != nullptr ? nullptr : dataset;
}

std::optional<MemberOf> FindMemberOf(const Cursor& at, std::size_t token) {
  const TokenView view = at.File().View();
  const std::optional<TokenView::Owner> owner = view.FindOwner(token);
  if (!owner) return std::nullopt;
  MemberOf of;
  of.is_element = owner->is_element;
  if (owner->name != TokenView::kNone && !owner->is_result) {
    const std::u16string_view name = view.TextOf(owner->name);
    of.dataset = FindDataset(at, name);
    const bool is_own = FindVariable(at, name) != nullptr || owner->is_element;
    if (!is_own) of.object = at.program.Known().FindObject(Folded(name));
  }
  return of;
}

TextRole FindTextRole(const Cursor& at, std::size_t literal) {
  const TokenView view = at.File().View();
  TextRole role;
  const std::optional<TokenView::Call> call = view.FindCall(literal);
  if (!call) return role;
  const std::optional<MemberOf> owner = FindMemberOf(at, call->name);
  const DatasetNames::Method* const method =
      owner ? DatasetNames::Get().FindMethod(Folded(view.TextOf(call->name))) : nullptr;
  if (method == nullptr) return role;
  role.kind = method->KindOf(call->argument);
  role.dataset = owner->dataset;
  return role;
}

std::optional<Named> FindNamed(const Cursor& at) {
  const TokenView view = at.File().View();
  if (const std::size_t text = view.TextAround(at.offset); text != TokenView::kNone) {
    if (view.At(text).kind == Token::Kind::kComment) return std::nullopt;
    return NamedInText(at, text);
  }
  const std::size_t token = view.WordAt(at.offset);
  if (token == TokenView::kNone || !view.IsWord(token)) return std::nullopt;
  Named named{view.At(token).range, Kt_WString(view.TextOf(token))};
  const bool is_called = view.IsMark(view.After(token), u'(');
  if (const std::optional<MemberOf> owner = FindMemberOf(at, token)) {
    SetMember(named, *owner, is_called);
  } else if (IsKeyword(named.text)) {
    named.help = FindStatement(named.text);
  } else {
    SetName(named, at, is_called);
  }
  return named;
}

}  // namespace kt::cli::lsp
