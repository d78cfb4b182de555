// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/lsp/Kt_Program.h"

namespace kt::cli::lsp {

// A text that an editor holds.
struct Document {
  std::string uri;
  std::filesystem::path path;
  std::int64_t version = 0;
  SourceText text;
};

// The open documents and the scripts that they are parts of. Every document is a script with its
// includes; one that another open document includes is looked at as a part of that.
//
// Scripts are read when they are asked for, and again when one of their files has changed.
// Threads: one.
class Workspace {
 public:
  Workspace();
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  // For all scripts; those that have been read are forgotten.
  void SetFolders(std::vector<std::string> folders);
  void SetIncludeDirs(std::vector<std::string> include_dirs);
  void SetKnown(analysis::KnownNames known);
  void SetStrict(bool is_strict);
  // Files on the disk have changed.
  void ForgetAll();

  // A document that is open already is replaced.
  void Open(const std::string& uri, std::int64_t version, Kt_WString text);
  // Its text has changed.
  void NoteChange(const Document& document);
  void Close(const std::string& uri);
  // Null when it is not open.
  Document* Find(const std::string& uri);
  // Null when no document has the file.
  const Document* FindFile(const std::filesystem::path& path) const;
  const std::map<std::string, Document>& Documents() const { return documents_; }

  // The outermost scripts that the document is a part of, at least one.
  std::vector<Program*> ScriptsOf(const Document& document);
  // Reads one script that has changed; false when there is none.
  bool ReadOne();
  // What is wrong in each file, by its URI; what two scripts have in common is there once.
  struct FileProblems {
    const SourceText* text = nullptr;
    std::vector<const Problem*> problems;  // by place
  };
  std::map<std::string, FileProblems> Problems();

  // That of the document which has the file, or one made of its name.
  std::string UriOf(const std::filesystem::path& path) const;

 private:
  struct Script {
    std::unique_ptr<Program> program;
    bool is_stale = true;  // what it includes has hardly changed
    bool Has(const std::filesystem::path& path) const {
      return program != nullptr && program->FindFile(path) >= 0;
    }
  };

  std::filesystem::path PathOf(const std::string& uri) const;
  Program& Read(const Document& document);
  void NoteFile(const std::filesystem::path& path);
  bool IsInner(const Document& document, const std::filesystem::path& path) const;
  const Script& ScriptOf(const Document& document) const { return scripts_.at(document.uri); }

  ReadingRules rules_;
  std::map<std::string, Document> documents_;  // by URI
  std::map<std::string, Script> scripts_;      // the same
};

}  // namespace kt::cli::lsp
