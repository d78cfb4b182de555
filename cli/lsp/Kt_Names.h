// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <span>
#include <string>

#include "analysis/Kt_DatasetNames.h"
#include "cli/Kt_Help.h"
#include "cli/lsp/Kt_Program.h"

namespace kt::cli::lsp {

// A place in a script. Borrows it.
struct Cursor {
  Program& program;
  std::size_t file;
  kt_long offset;

  const ScriptFile& File() const { return program.Files()[file]; }
};

// The help of what the language has itself, made once.
class HelpIndex {
 public:
  enum class Kind : std::uint8_t { kFunction, kMethod, kProperty, kRowKeyword, kStatement };

  static std::span<const Help> List(Kind kind);
  // Null when there is none.
  static const Help* Find(Kind kind, std::u16string_view name);
};

// A function by its name; null when the script has none.
const analysis::Symbol* FindFunction(Program& program, std::u16string_view name);
// "name(a, b)".
Kt_WString FunctionForm(const Kt_ScriptOutline& outline, const Kt_OutlineNode& function);
Kt_WString FunctionForm(Program& program, const analysis::Symbol& function);
// Whether the cursor is in the block that a variable ends with, after its declaration.
bool IsInBlockOf(const analysis::Symbol& symbol, const Cursor& at);
// The variable of the script that a name stands for at the cursor; null for none.
const analysis::Symbol* FindVariable(const Cursor& at, std::u16string_view name);
// The dataset that a name stands for; null when that is not known.
const analysis::KnownNames::Dataset* FindDataset(const Cursor& at, std::u16string_view name);

// What stands in front of the point of a member.
struct MemberOf {
  const analysis::KnownNames::Dataset* dataset = nullptr;  // null: not known
  const analysis::KnownNames::Object* object = nullptr;    // the same
  bool is_element = false;                                 // of a list, or a row of the dataset
};
// Nothing when no point stands in front of the token.
std::optional<MemberOf> FindMemberOf(const Cursor& at, std::size_t token);

// What a literal is as an argument of a method of a dataset.
struct TextRole {
  analysis::DatasetNames::Argument kind = analysis::DatasetNames::Argument::kValue;
  const analysis::KnownNames::Dataset* dataset = nullptr;  // null: not known
};
TextRole FindTextRole(const Cursor& at, std::size_t literal);

// What the name at a place stands for.
struct Named {
  Range range;
  Kt_WString text;
  int symbol = analysis::NameUse::kUnknown;                // of the script or its host
  const Help* help = nullptr;                              // of the language
  const analysis::KnownNames::Dataset* dataset = nullptr;  // the name is a column of it
};
// Nothing where there is no name.
std::optional<Named> FindNamed(const Cursor& at);

}  // namespace kt::cli::lsp
