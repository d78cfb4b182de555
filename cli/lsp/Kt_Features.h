// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/lsp/Kt_Names.h"

// What an editor asks of a script. Nothing here knows of messages: questions are places, answers
// are ranges and texts.
namespace kt::cli::lsp {

// Completion --------------------------------------------------------------------------------------

struct CompletionItem {
  // As the protocol numbers them.
  enum class Kind : std::uint8_t {
    kMethod = 2,
    kFunction = 3,
    kColumn = 5,
    kVariable = 6,
    kProperty = 10,
    kKeyword = 14,
    kConstant = 21,
  };
  Kt_WString label;
  Kind kind = Kind::kVariable;
  Kt_WString detail;                      // how it is written, or what it is
  std::optional<HelpIndex::Kind> helper;  // where its help is; nothing for names of the script
};

// What may be written at the cursor; the editor picks what begins like the word there.
std::vector<CompletionItem> Complete(const Cursor& at);

// Help --------------------------------------------------------------------------------------------

struct Hover {
  Range range;
  std::string markdown;
};
std::optional<Hover> FindHover(const Cursor& at);
std::string HelpMarkdown(const Help& help);

struct Signature {
  Kt_WString label;
  std::vector<Range> parameters;  // in the label
};
struct SignatureHelp {
  std::vector<Signature> signatures;
  std::size_t active_signature = 0;
  std::size_t active_parameter = 0;
  std::string markdown;
};
// Of the call that the cursor is in the parentheses of.
std::optional<SignatureHelp> FindSignature(const Cursor& at);

// Names -------------------------------------------------------------------------------------------

struct Location {
  std::size_t file = 0;  // of the program
  Range range;
};
// Of a name of the script, or of an included file.
std::optional<Location> FindDefinition(const Cursor& at);
std::vector<Location> FindReferences(const Cursor& at, bool with_declarations);

// The name that can be renamed at the cursor; otherwise the reason why there is none.
std::optional<Range> FindRenamed(const Cursor& at, std::string& reason);
// The places that become `new_name`; none, with the reason, when that would change what the script
// means.
std::vector<Location> Rename(const Cursor& at, const Kt_WString& new_name, std::string& reason);

// Structure ---------------------------------------------------------------------------------------

struct DocumentSymbol {
  Kt_WString name;
  Kt_WString detail;
  bool is_function = false;
  Range range;
  Range name_range;
};
std::vector<DocumentSymbol> FindSymbols(Program& program, std::size_t file);

struct Fold {
  kt_long first_line = 0;
  kt_long last_line = 0;
  const char* kind = nullptr;  // "comment", "imports"; null for code
};
std::vector<Fold> FindFolds(const ScriptFile& file);

struct SemanticToken {
  enum class Type : std::uint8_t {
    kKeyword,
    kComment,
    kString,
    kNumber,
    kFunction,
    kMethod,
    kProperty,
    kVariable,
    kParameter,
  };
  static constexpr int kDeclaration = 1;  // modifiers
  static constexpr int kDefaultLibrary = 2;

  Range range;  // in one line
  Type type = Type::kKeyword;
  int modifiers = 0;
};
// By place. The names of the protocol for types and modifiers, in their order.
std::vector<SemanticToken> FindSemanticTokens(Program& program, std::size_t file, Range within);
const std::vector<std::string>& SemanticTypeNames();
const std::vector<std::string>& SemanticModifierNames();

// Fixes -------------------------------------------------------------------------------------------

struct Fix {
  std::string title;
  const Problem* problem = nullptr;
  std::vector<analysis::Edit> edits;  // by place, without overlaps
};
// For the problems that touch the range: the cures of errors, the nearest known names.
std::vector<Fix> FindFixes(Program& program, std::size_t file, Range within);

}  // namespace kt::cli::lsp
