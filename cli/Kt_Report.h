// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "analysis/Kt_Diagnose.h"
#include "classlib/text/Kt_WString.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Text.h"

class Kt_SyntaxErrorList;
struct Kt_SyntaxError;

namespace kt::cli {

// What is said of a fault or warning, without its place.
Diagnostic FromSyntaxError(const Kt_SyntaxError& error);
// The same of a cause, or of a warning of tools; without the place that its hint is about, too.
Diagnostic FromFinding(const analysis::Finding& finding);

// The causes of the errors that were found in a text. Without errors: what the engine skips, when
// warnings are wanted.
std::vector<analysis::Finding> CausesOf(const Kt_WString& text, const Kt_SyntaxErrorList& found,
                                        analysis::SourceKind kind, bool wants_warnings);
// Whether the causes say all that there is to say of an error or warning.
bool IsExplained(const Kt_SyntaxError& error, const std::vector<analysis::Finding>& causes);

}  // namespace kt::cli

// Tells faults of scripts: the place, what is wrong, the line and a caret.
//
// Borrows the streams. Threads: one.
class Kt_CliReport {
 public:
  explicit Kt_CliReport(kt::cli::Streams streams) : streams_(streams) {}

  // Gets all that would be told.
  using Sink = std::function<void(const kt::cli::Diagnostic& diagnostic)>;
  void SetSink(Sink sink) { sink_ = std::move(sink); }

  // Whether loaders should look for warnings; off at first.
  void SetWarnings(bool on) { warnings_ = on; }
  bool WantsWarnings() const { return warnings_; }

  // From now on the texts that come are parts of this one, and so are the places shown.
  struct Whole {
    std::string name;
    Kt_WString text;
    std::ptrdiff_t offset = 0;  // where a part starts; below 0 when it has more in front
    kt_long first_line = 1;     // what messages call the first line
  };
  void SetWhole(Whole whole) { whole_ = std::move(whole); }

  void Tell(const kt::cli::Diagnostic& diagnostic) {
    sink_ ? sink_(diagnostic) : kt::cli::Tell(streams_, diagnostic);
  }
  // "name:line:column: what", the line at `offset`, and a caret with `length` units underlined.
  void AtPlace(const std::string& name, const Kt_WString& text, std::size_t offset,
               std::size_t length, kt::cli::Diagnostic what);
  // What loading a file has found, in the order of the places: the warnings, and of the errors
  // their causes, and `findings` of tools, which are by place. A file that has been reported before
  // is not reported again. True when there is no error among it.
  bool Syntax(const std::filesystem::path& file, const std::string& name, const Kt_WString& text,
              const Kt_SyntaxErrorList& found,
              kt::analysis::SourceKind kind = kt::analysis::SourceKind::kScript,
              std::span<const kt::analysis::Finding> findings = {});
  void Tell(const std::string& name, const Kt_WString& text, const kt::analysis::Finding& finding);

 private:
  // Of a place in a part of the whole text; `offset` becomes that in the whole.
  kt::cli::Place PlaceOf(const Kt_WString& part, std::size_t& offset) const;

  kt::cli::Streams streams_;
  Sink sink_;
  bool warnings_ = false;
  std::optional<Whole> whole_;
  std::set<std::filesystem::path> reported_;
};
