// SPDX-License-Identifier: MIT
#include <algorithm>
#include <unordered_set>

#include "cli/lsp/Kt_Features.h"

namespace kt::cli::lsp {
namespace {

using analysis::DatasetNames;
using analysis::Folded;
using analysis::KnownNames;
using analysis::Symbol;
using HelpKind = HelpIndex::Kind;
using ItemKind = CompletionItem::Kind;

constexpr std::u16string_view kKeywords[] = {
    u"and",      u"break", u"case", u"continue", u"default", u"else",   u"false", u"for",  u"if",
    u"function", u"null",  u"or",   u"return",   u"true",    u"switch", u"var",   u"while"};

// Items, each name once for each kind of thing: what comes first hides what comes later.
class Items {
 public:
  void Add(const Kt_WString& label, ItemKind kind, const Kt_WString& detail,
           std::optional<HelpKind> helper = std::nullopt) {
    const bool is_called = kind == ItemKind::kFunction || kind == ItemKind::kMethod;
    if (!(is_called ? calls_ : names_).insert(Folded(label)).second) return;
    items_.push_back({label, kind, detail, helper});
  }

  void AddHelp(HelpKind from, ItemKind kind) {
    for (const Help& help : HelpIndex::List(from)) {
      const bool has_forms = help.forms != help.name;
      Add(help.name, kind, has_forms ? help.forms : Kt_WString(help.does), from);
    }
  }

  void AddColumns(const KnownNames::Dataset* dataset) {
    if (dataset == nullptr) return;
    for (const Kt_WString& column : dataset->columns) {
      Add(column, ItemKind::kColumn, Kt_WString(u"column of ") + dataset->name);
    }
  }

  // The host may have others than kt.
  void AddFunctions(const Cursor& at) {
    std::vector<Kt_WString> known;
    at.program.Known().ListFunctions(known);
    for (const Kt_WString& name : known) {
      const Help* const help = HelpIndex::Find(HelpKind::kFunction, name);
      if (help == nullptr)
        Add(name, ItemKind::kFunction, {});
      else
        Add(help->name, ItemKind::kFunction, help->forms, HelpKind::kFunction);
    }
  }

  void AddMembers(const KnownNames::Object& object) {
    for (const auto& [folded, name] : object.properties) Add(name, ItemKind::kProperty, {});
    for (const auto& [folded, one] : object.methods) Add(one.name, ItemKind::kMethod, {});
  }

  std::vector<CompletionItem> Take() { return std::move(items_); }

 private:
  std::unordered_set<std::u16string> calls_;
  std::unordered_set<std::u16string> names_;
  std::vector<CompletionItem> items_;
};

void AddOwn(const Cursor& at, Items& items) {
  for (const Symbol& symbol : at.program.Uses().symbols) {
    if (symbol.kind == Symbol::Kind::kFunction) {
      items.Add(symbol.name, ItemKind::kFunction, FunctionForm(at.program, symbol));
    } else if (symbol.kind == Symbol::Kind::kGlobal) {
      items.Add(symbol.name, ItemKind::kVariable, u"global variable");
    } else if (IsInBlockOf(symbol, at) && FindVariable(at, symbol.name) == &symbol) {
      const bool is_argument = symbol.kind == Symbol::Kind::kArgument;
      items.Add(symbol.name, ItemKind::kVariable, is_argument ? u"argument" : u"variable");
    }
  }
}

void CompleteCode(const Cursor& at, Items& items) {
  AddOwn(at, items);
  std::vector<Kt_WString> variables;
  at.program.Known().ListVariables(variables);
  for (const Kt_WString& name : variables) {
    const bool is_dataset = at.program.Known().FindDataset(Folded(name)) != nullptr;
    items.Add(name, ItemKind::kVariable, is_dataset ? u"dataset" : u"");
  }
  items.AddFunctions(at);
  for (const std::u16string_view word : kKeywords) {
    items.Add(Kt_WString(word), ItemKind::kKeyword, {}, HelpKind::kStatement);
  }
}

void CompleteMember(const MemberOf& owner, Items& items) {
  if (owner.object != nullptr) return items.AddMembers(*owner.object);
  items.AddColumns(owner.dataset);
  if (owner.dataset != nullptr && owner.is_element) return;
  items.AddHelp(HelpKind::kProperty, ItemKind::kProperty);
  items.AddHelp(HelpKind::kMethod, ItemKind::kMethod);
}

void CompleteText(const Cursor& at, std::size_t literal, Items& items) {
  const TextRole role = FindTextRole(at, literal);
  if (role.kind == DatasetNames::Argument::kValue) return;
  items.AddColumns(role.dataset);
  if (role.kind != DatasetNames::Argument::kRowExpression) return;
  items.AddHelp(HelpKind::kRowKeyword, ItemKind::kConstant);
  items.AddFunctions(at);
  items.AddHelp(HelpKind::kMethod, ItemKind::kMethod);
}

bool DeclaresName(const TokenView& view, std::size_t token) {
  const std::size_t before = view.Before(token);
  if (!view.IsWord(before)) return false;
  const Kt_WString word(view.TextOf(before));
  return word.EqualsNoCase(u"function") || word.EqualsNoCase(u"var");
}

// Behind "12." there are digits to come.
bool GoesOnNumber(const TokenView& view, std::size_t token) {
  const std::size_t point = view.Before(token);
  const std::size_t number = view.IsMark(point, u'.') ? view.Before(point) : TokenView::kNone;
  return number != TokenView::kNone && view.At(number).kind == Token::Kind::kNumber;
}

}  // namespace

std::vector<CompletionItem> Complete(const Cursor& at) {
  const TokenView view = at.File().View();
  Items items;
  if (const std::size_t text = view.TextAround(at.offset); text != TokenView::kNone) {
    if (view.At(text).kind == Token::Kind::kLiteral) CompleteText(at, text, items);
    return items.Take();
  }
  const std::size_t word = view.WordAt(at.offset);
  const std::size_t token = word != TokenView::kNone ? word : view.CountBefore(at.offset);
  if (word != TokenView::kNone && !view.IsWord(word)) return {};
  if (GoesOnNumber(view, token)) return {};
  if (const std::optional<MemberOf> owner = FindMemberOf(at, token)) {
    CompleteMember(*owner, items);
  } else if (!DeclaresName(view, token)) {
    CompleteCode(at, items);
  }
  return items.Take();
}

}  // namespace kt::cli::lsp
