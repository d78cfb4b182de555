// SPDX-License-Identifier: MIT
//
// Where names are: definition, references, rename.
#include <algorithm>

#include "classlib/base/Kt_Path.h"
#include "cli/lsp/Kt_Features.h"
#include "expr/Kt_ExprUtil.h"

namespace fs = std::filesystem;

namespace kt::cli::lsp {
namespace {

using analysis::Folded;
using analysis::KnownNames;
using analysis::NameUse;
using analysis::Symbol;

const Symbol& SymbolOf(Program& program, int symbol) {
  return program.Uses().symbols[static_cast<std::size_t>(symbol)];
}

Location PlaceOf(const NameUse& use) { return {use.file, {use.offset, use.offset + use.length}}; }

// The file that a line includes: from its own folder, or one of the others.
int FindIncluded(const Cursor& at, const Kt_WString& pragma) {
  const std::size_t quote = pragma.View().find_first_of(u"\"'");
  if (quote == std::u16string_view::npos) return -1;
  const std::u16string_view rest = pragma.View().substr(quote + 1);
  const std::string name = Kt_WString(rest.substr(0, rest.find(pragma.View()[quote]))).ToUtf8();
  const fs::path file_name = kt_path(name);
  std::error_code error;
  const int beside =
      at.program.FindFile(fs::weakly_canonical(at.File().path.parent_path() / file_name, error));
  if (beside >= 0) return beside;
  const std::string ending = "/" + file_name.lexically_normal().generic_string();
  const std::vector<ScriptFile>& files = at.program.Files();
  for (std::size_t file = 0; file < files.size(); ++file) {
    if (files[file].path.generic_string().ends_with(ending)) return static_cast<int>(file);
  }
  return -1;
}

std::optional<Location> FindInclude(const Cursor& at) {
  for (const Kt_OutlineNode& node : at.File().outline->nodes) {
    if (node.kind != Kt_OutlineNode::Kind::kInclude) continue;
    if (!Range{node.start, node.end}.Touches(at.offset)) continue;
    const int file = FindIncluded(at, node.text);
    if (file >= 0) return Location{static_cast<std::size_t>(file), {0, 0}};
  }
  return std::nullopt;
}

// A name in the text of an eval() may be of any variable or function.
bool IsEvaluated(Program& program, const Kt_WString& name) {
  const std::u16string folded = Folded(name);
  for (const ScriptFile& file : program.Files()) {
    const TokenView view = file.View();
    for (std::size_t token = 0; token < file.tokens.size(); ++token) {
      if (view.At(token).kind != Token::Kind::kLiteral) continue;
      if (Folded(view.TextOf(token)).find(folded) == std::u16string::npos) continue;
      const std::optional<TokenView::Call> call = view.FindCall(token);
      if (call && Folded(view.TextOf(call->name)) == u"eval") return true;
    }
  }
  return false;
}

bool IsName(const Kt_WString& name) {
  return Kt_ExprUtil::ChkName(name.GetText(), name.GetLength()) == 1 && !IsKeyword(name);
}

bool MeetsIn(const Symbol& a, const Symbol& b) {
  if (!a.IsOfBlock() || !b.IsOfBlock()) return true;
  return a.file == b.file && a.offset <= b.end && b.offset <= a.end;
}

// Whether something of that name is known where the symbol is.
bool IsTaken(Program& program, const Symbol& symbol, const Kt_WString& name) {
  const std::u16string folded = Folded(name);
  const KnownNames& known = program.Known();
  if (symbol.IsCalled() ? known.FindFunction(folded) != nullptr : known.HasVariable(folded)) {
    return true;
  }
  const analysis::NameUses& all = program.Uses();
  for (const Symbol& other : all.symbols) {
    if (&other == &symbol || other.IsCalled() != symbol.IsCalled()) continue;
    if (other.name.EqualsNoCase(name) && MeetsIn(symbol, other)) return true;
  }
  return std::ranges::any_of(all.uses, [&](const NameUse& use) {
    if (use.symbol != NameUse::kUnknown) return false;
    return Folded(program.Files()[use.file].text.View(PlaceOf(use).range)) == folded;
  });
}

std::string Quoted(const Kt_WString& name) { return "'" + name.ToUtf8() + "'"; }

}  // namespace

std::optional<Location> FindDefinition(const Cursor& at) {
  const std::optional<Named> named = FindNamed(at);
  if (!named || named->symbol < 0) return FindInclude(at);
  const Symbol& symbol = SymbolOf(at.program, named->symbol);
  if (symbol.IsOfHost()) return std::nullopt;
  return Location{symbol.file, {symbol.offset, symbol.offset + symbol.length}};
}

std::vector<Location> FindReferences(const Cursor& at, bool with_declarations) {
  std::vector<Location> found;
  const std::optional<Named> named = FindNamed(at);
  if (!named || named->symbol < 0) return found;
  for (const NameUse& use : at.program.Uses().uses) {
    if (use.symbol != named->symbol || (use.declares && !with_declarations)) continue;
    found.push_back(PlaceOf(use));
  }
  return found;
}

std::optional<Range> FindRenamed(const Cursor& at, std::string& reason) {
  const std::optional<Named> named = FindNamed(at);
  if (!named || named->symbol < 0 || SymbolOf(at.program, named->symbol).IsOfHost()) {
    reason = "only functions and variables of the script can be renamed";
  } else if (at.program.HasFaults()) {
    reason = "the script has errors, so not all places of the name are known";
  } else if (IsEvaluated(at.program, named->text)) {
    reason = Quoted(named->text) + " is named in a text that eval() computes";
  } else {
    return named->range;
  }
  return std::nullopt;
}

std::vector<Location> Rename(const Cursor& at, const Kt_WString& new_name, std::string& reason) {
  if (!FindRenamed(at, reason)) return {};
  const std::optional<Named> named = FindNamed(at);
  const Symbol& symbol = SymbolOf(at.program, named->symbol);
  if (!IsName(new_name)) {
    reason = Quoted(new_name) + " is no name";
    return {};
  }
  if (IsTaken(at.program, symbol, new_name)) {
    reason = Quoted(new_name) + " is the name of something else here";
    return {};
  }
  return FindReferences(at, true);
}

}  // namespace kt::cli::lsp
