// SPDX-License-Identifier: MIT
#include "cli/lsp/Kt_Workspace.h"

#include <algorithm>
#include <utility>

#include "classlib/base/Kt_Path.h"
#include "cli/lsp/Kt_Uri.h"

namespace fs = std::filesystem;

namespace kt::cli::lsp {
namespace {

bool IsSame(const Problem& a, const Problem& b) {
  return a.range.start == b.range.start && a.range.end == b.range.end && a.code == b.code &&
         a.message == b.message;
}

}  // namespace

Workspace::Workspace() {
  rules_.text_source = [this](const fs::path& file, Kt_WString& text) {
    const Document* const document = FindFile(file);
    if (document != nullptr) text = document->text.Text();
    return document != nullptr;
  };
}

void Workspace::SetFolders(std::vector<std::string> folders) {
  rules_.folders = std::move(folders);
  ForgetAll();
}

void Workspace::SetIncludeDirs(std::vector<std::string> include_dirs) {
  rules_.include_dirs = std::move(include_dirs);
  ForgetAll();
}

void Workspace::SetKnown(analysis::KnownNames known) {
  rules_.known = std::move(known);
  ForgetAll();
}

void Workspace::SetStrict(bool is_strict) {
  rules_.is_strict = is_strict;
  ForgetAll();
}

void Workspace::ForgetAll() {
  for (auto& [uri, script] : scripts_) script.is_stale = true;
}

// A document that has no file yet stands in the first folder.
fs::path Workspace::PathOf(const std::string& uri) const {
  if (const std::optional<fs::path> path = PathOfUri(uri)) return *path;
  std::string name = uri;
  std::ranges::replace(name, '/', '_');
  std::error_code ignored;
  const fs::path folder =
      rules_.folders.empty() ? fs::current_path(ignored) : kt_path(rules_.folders[0]);
  return folder / kt_path(name);
}

void Workspace::Open(const std::string& uri, std::int64_t version, Kt_WString text) {
  const fs::path path = PathOf(uri);
  documents_.insert_or_assign(uri, Document{uri, path, version, SourceText(std::move(text))});
  scripts_.insert_or_assign(uri, Script());
  NoteFile(path);
}

void Workspace::NoteChange(const Document& document) { NoteFile(document.path); }

void Workspace::Close(const std::string& uri) {
  const Document* const document = Find(uri);
  if (document == nullptr) return;
  const fs::path path = document->path;
  documents_.erase(uri);
  scripts_.erase(uri);
  NoteFile(path);
}

Document* Workspace::Find(const std::string& uri) {
  const auto found = documents_.find(uri);
  return found != documents_.end() ? &found->second : nullptr;
}

const Document* Workspace::FindFile(const fs::path& path) const {
  for (const auto& [uri, document] : documents_) {
    if (document.path == path) return &document;
  }
  return nullptr;
}

void Workspace::NoteFile(const fs::path& path) {
  for (auto& [uri, script] : scripts_) {
    const bool lacks_files = script.program != nullptr && script.program->LacksFiles();
    if (lacks_files || script.Has(path)) script.is_stale = true;
  }
}

Program& Workspace::Read(const Document& document) {
  Script& script = scripts_[document.uri];
  if (script.is_stale) {
    script.program = std::make_unique<Program>(rules_, document.path);
    script.is_stale = false;
  }
  return *script.program;
}

// Whether a bigger script has all of the document's script, and the file.
bool Workspace::IsInner(const Document& document, const fs::path& path) const {
  return std::ranges::any_of(documents_, [&](const auto& entry) {
    const Document& other = entry.second;
    const Script& script = ScriptOf(other);
    return script.Has(document.path) && script.Has(path) && !ScriptOf(document).Has(other.path);
  });
}

std::vector<Program*> Workspace::ScriptsOf(const Document& document) {
  std::vector<Program*> found;
  for (const auto& [uri, other] : documents_) {
    if (ScriptOf(other).Has(document.path) && !IsInner(other, document.path)) {
      Program& program = Read(other);
      if (program.FindFile(document.path) >= 0) found.push_back(&program);
    }
  }
  if (found.empty()) found.push_back(&Read(document));
  return found;
}

bool Workspace::ReadOne() {
  for (const auto& [uri, document] : documents_) {
    if (!ScriptOf(document).is_stale) continue;
    Read(document);
    return true;
  }
  return false;
}

std::map<std::string, Workspace::FileProblems> Workspace::Problems() {
  std::map<std::string, FileProblems> found;
  for (const auto& [uri, document] : documents_) {
    for (const ScriptFile& file : Read(document).Files()) {
      FileProblems& of = found[UriOf(file.path)];
      of.text = &file.text;
      if (IsInner(document, file.path)) continue;
      for (const Problem& problem : file.problems) {
        const auto is_same = [&](const Problem* other) { return IsSame(*other, problem); };
        if (std::ranges::none_of(of.problems, is_same)) of.problems.push_back(&problem);
      }
    }
  }
  for (auto& [uri, of] : found) {
    std::ranges::stable_sort(of.problems, {}, [](const Problem* one) { return one->range.start; });
  }
  return found;
}

std::string Workspace::UriOf(const fs::path& path) const {
  const Document* const document = FindFile(path);
  return document != nullptr ? document->uri : UriOfPath(path);
}

}  // namespace kt::cli::lsp
