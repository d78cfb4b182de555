// SPDX-License-Identifier: MIT
//
// What a file is made of: symbols and folds.
#include <algorithm>

#include "cli/lsp/Kt_Features.h"

namespace kt::cli::lsp {
namespace {

using Kind = Kt_OutlineNode::Kind;

class Folds {
 public:
  explicit Folds(const ScriptFile& file) : file_(file), view_(file.View()) {}

  std::vector<Fold> Run() {
    for (std::size_t token = 0; token < file_.tokens.size(); ++token) {
      if (view_.IsMark(token, u'{')) open_.push_back(LineOf(token));
      if (view_.IsMark(token, u'}')) Close(token);
      // A run goes on from line to line; anything else ends it.
      if (view_.At(token).kind == Token::Kind::kComment) {
        GoOn("comment", LineOf(token), file_.text.LineOf(view_.At(token).range.end));
      } else if (view_.IsMark(token, u'#')) {
        GoOn("imports", LineOf(token), LineOf(token));
      } else if (LineOf(token) != run_.last_line) {
        EndRun();
      }
    }
    EndRun();
    std::sort(folds_.begin(), folds_.end(),
              [](const Fold& a, const Fold& b) { return a.first_line < b.first_line; });
    return std::move(folds_);
  }

 private:
  kt_long LineOf(std::size_t token) const { return file_.text.LineOf(view_.At(token).range.start); }

  // The line of the brace stays in sight.
  void Close(std::size_t token) {
    if (open_.empty()) return;
    Add({open_.back(), LineOf(token) - 1});
    open_.pop_back();
  }

  void GoOn(const char* kind, kt_long first, kt_long last) {
    if (run_.kind != kind || first > run_.last_line + 1) {
      EndRun();
      run_ = {first, last, kind};
    }
    run_.last_line = std::max(run_.last_line, last);
  }

  void EndRun() {
    if (run_.kind != nullptr) Add(run_);
    run_ = {};
  }

  void Add(const Fold& fold) {
    if (fold.last_line > fold.first_line) folds_.push_back(fold);
  }

  const ScriptFile& file_;
  const TokenView view_;
  std::vector<kt_long> open_;  // lines of braces
  Fold run_;
  std::vector<Fold> folds_;
};

}  // namespace

std::vector<DocumentSymbol> FindSymbols(Program& program, std::size_t file) {
  program.Uses();  // so that the outline is whole
  std::vector<DocumentSymbol> symbols;
  const Kt_ScriptOutline& outline = *program.Files()[file].outline;
  const kt_long size = program.Files()[file].text.Size();
  for (std::size_t at = 0; at < outline.nodes.size(); at = outline.nodes[at].next) {
    const Kt_OutlineNode& node = outline.nodes[at];
    if (node.kind != Kind::kFunction && node.kind != Kind::kVariable) continue;
    DocumentSymbol symbol;
    symbol.name = node.text;
    symbol.is_function = node.kind == Kind::kFunction;
    symbol.range = {node.start, std::min(node.end, size)};
    symbol.name_range = {node.text_start, node.text_start + node.text.GetLength()};
    if (symbol.is_function) {
      const Kt_WString form = FunctionForm(outline, node);
      symbol.detail = form.Mid(node.text.GetLength(), form.GetLength());
    }
    symbols.push_back(std::move(symbol));
  }
  return symbols;
}

std::vector<Fold> FindFolds(const ScriptFile& file) { return Folds(file).Run(); }

}  // namespace kt::cli::lsp
