// SPDX-License-Identifier: MIT
#include "cli/lsp/Kt_Program.h"

#include <algorithm>
#include <set>
#include <utility>

#include "analysis/Kt_Analysis.h"
#include "classlib/base/Kt_Path.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Report.h"
#include "cli/Kt_ScriptToRead.h"

namespace fs = std::filesystem;

namespace kt::cli::lsp {
namespace {

using analysis::Finding;
using analysis::FindingCode;

// Loads a script into nothing but what the loader hands out.
class Reading {
 public:
  explicit Reading(const ReadingRules& rules) : read_(report_) {
    read_.budget.limit_steps = 1;  // globals are not computed
    for (const std::string& folder : rules.folders) read_.fence.AllowDir(folder);
    for (const std::string& dir : rules.include_dirs) read_.loader.AddIncludeDir(dir);
    report_.SetWarnings(true);
    report_.SetSink([this](const Diagnostic& diagnostic) { told_.push_back(diagnostic); });
    read_.loader.SetOnParsed([this](Kt_ParsedFile one) { parsed_.push_back(std::move(one)); });
  }

  void WantNoWarnings() { report_.SetWarnings(false); }

  // False when something is at fault.
  bool Load(const fs::path& file, Kt_CliLoader::TextSource text_source) {
    read_.loader.SetTextSource(std::move(text_source));
    return read_.loader.LoadKnown(file) == kFine;
  }

  std::vector<Kt_ParsedFile>& Parsed() { return parsed_; }
  const std::vector<Diagnostic>& Told() const { return told_; }

 private:
  // Everything that is told goes to the sink.
  static Streams NoStreams() {
    static std::ostream none(nullptr);
    return {none, none};
  }

  Kt_CliReport report_{NoStreams()};
  ScriptToRead read_;
  std::vector<Kt_ParsedFile> parsed_;
  std::vector<Diagnostic> told_;
};

Problem ToProblem(const Diagnostic& diagnostic, Range range) {
  Problem problem;
  problem.range = range;
  problem.is_error = diagnostic.severity == Diagnostic::Severity::kError;
  problem.code = diagnostic.name.empty() ? std::to_string(diagnostic.code) : diagnostic.name;
  problem.message = diagnostic.text;
  if (!diagnostic.hint.empty()) problem.message += "\n" + diagnostic.hint;
  return problem;
}

// What is not there cannot be underlined, but what stands before it can.
Range Underlined(kt_long start, kt_long length, const SourceText& text) {
  const kt_long at = std::min(start, text.Size());
  const Range line = text.LineRange(text.LineOf(at));
  if (at >= line.end && line.start < line.end) return {line.end - 1, line.end};
  return {at, std::min(at + std::max(length, kt_long{1}), text.Size())};
}

Problem ToProblem(const Kt_SyntaxError& error, const SourceText& text) {
  const kt_long start = text.OffsetOf({error.line - 1, error.column - 1});
  return ToProblem(FromSyntaxError(error), Underlined(start, error.length, text));
}

Problem ToProblem(const Finding& finding, const SourceText& text) {
  Problem problem =
      ToProblem(FromFinding(finding), Underlined(finding.offset, finding.length, text));
  if (finding.related.length > 0) {
    problem.related = {finding.related.offset, finding.related.offset + finding.related.length};
  }
  problem.fix = finding.fix;
  return problem;
}

// Behind a fault outside of expressions the parser leaves out the rest of the function, or of the
// file.
bool HidesWhatFollows(const Kt_SyntaxError& error) {
  return !error.is_warning && (error.detail.IsEmpty() || error.function_name.IsEmpty());
}

bool IsUnnecessary(FindingCode code) {
  return code == FindingCode::kUnusedVariable || code == FindingCode::kUnreachableCode;
}

}  // namespace

Program::Program(const ReadingRules& rules, const fs::path& file) : rules_(rules) { Read(file); }

int Program::FindFile(const fs::path& file) const {
  for (std::size_t at = 0; at < files_.size(); ++at) {
    if (files_[at].path == file) return static_cast<int>(at);
  }
  return -1;
}

void Program::Read(const fs::path& file) {
  Reading reading(rules_);
  has_faults_ = !reading.Load(file, rules_.text_source);
  for (Kt_ParsedFile& parsed : reading.Parsed()) AddFile(std::move(parsed));
  for (const Diagnostic& told : reading.Told()) {
    if (files_.empty()) return;
    lacks_files_ = true;
    // Of an include the loader names the file as messages do, from the folder of the script on.
    const int found = FindFile(kt_path(told.file).lexically_normal());
    ScriptFile& of = files_[found < 0 ? 0 : static_cast<std::size_t>(found)];
    const bool has_place = found >= 0 && told.line > 0 && told.line <= of.text.LineCount();
    const Range line = of.text.LineRange(has_place ? told.line - 1 : 0);
    const std::string text = has_place ? told.text : told.file + ": " + told.text;
    Diagnostic shown = told;
    shown.text = text;
    of.problems.push_back(ToProblem(shown, line));
  }
  if (!has_faults_) AddFindings();
}

void Program::AddFile(Kt_ParsedFile parsed) {
  ScriptFile file;
  file.path = std::move(parsed.file);
  file.has_syntax_errors = parsed.errors.HasFaults();
  file.text = SourceText(std::move(parsed.text));
  file.outline = std::move(parsed.outline);
  file.tokens = ScanTokens(file.text.View());
  AddErrors(parsed, file);
  Faulty faulty{file.path, file.text.Text(), {}};
  for (const Kt_SyntaxError& error : parsed.errors.GetErrors()) {
    if (HidesWhatFollows(error)) faulty.lines.push_back(error.line - 1);
  }
  if (!faulty.lines.empty()) faulty_.push_back(std::move(faulty));
  files_.push_back(std::move(file));
}

// As kt check tells them.
void Program::AddErrors(const Kt_ParsedFile& parsed, ScriptFile& file) {
  const std::vector<Finding> causes =
      CausesOf(file.text.Text(), parsed.errors, analysis::SourceKind::kScript, true);
  for (const Finding& cause : causes) file.problems.push_back(ToProblem(cause, file.text));
  for (const Kt_SyntaxError& error : parsed.errors.GetErrors()) {
    if (!IsExplained(error, causes)) file.problems.push_back(ToProblem(error, file.text));
  }
}

void Program::AddFindings() {
  std::vector<const Kt_ScriptOutline*> outlines;
  for (const ScriptFile& file : files_) outlines.push_back(file.outline.get());
  uses_ = std::make_unique<analysis::NameUses>();
  for (const Finding& finding :
       analysis::Analyse(outlines, rules_.known, rules_.is_strict, uses_.get())) {
    if (has_faults_) continue;  // what is missing may only not have been read
    ScriptFile& file = files_[finding.file];
    file.problems.push_back(ToProblem(finding, file.text));
    file.problems.back().is_unnecessary = IsUnnecessary(finding.code);
  }
}

const analysis::NameUses& Program::Uses() {
  if (uses_ == nullptr) {
    if (!files_.empty()) ReadMended();
    AddFindings();
  }
  return *uses_;
}

void Program::ReadMended() {
  constexpr int kMostTimes = 3;
  for (int time = 0; time < kMostTimes && !faulty_.empty(); ++time) {
    for (Faulty& faulty : faulty_) faulty.text = Mended(faulty.text, faulty.lines);
    Reading reading(rules_);
    reading.WantNoWarnings();
    reading.Load(files_[0].path, [this](const fs::path& file, Kt_WString& text) {
      for (const Faulty& faulty : faulty_) {
        if (faulty.path != file) continue;
        text = faulty.text;
        return true;
      }
      return rules_.text_source(file, text);
    });
    bool has_faults = false;
    for (Kt_ParsedFile& parsed : reading.Parsed()) {
      const int known = FindFile(parsed.file);
      if (known < 0) {
        AddFile(std::move(parsed));
        files_.back().problems.clear();  // it is not read as long as the faults are there
        continue;
      }
      files_[static_cast<std::size_t>(known)].outline = std::move(parsed.outline);
      const auto faulty = std::find_if(faulty_.begin(), faulty_.end(),
                                       [&](const Faulty& one) { return one.path == parsed.file; });
      if (faulty == faulty_.end()) continue;
      faulty->lines.clear();
      for (const Kt_SyntaxError& error : parsed.errors.GetErrors()) {
        if (HidesWhatFollows(error)) faulty->lines.push_back(error.line - 1);
      }
      has_faults = has_faults || !faulty->lines.empty();
    }
    if (!has_faults) break;
  }
}

// Mending -----------------------------------------------------------------------------------------

namespace {

bool IsFunctionWord(const TokenView& view, std::size_t token) {
  return view.IsWord(token) && Kt_WString(view.TextOf(token)).EqualsNoCase(u"function");
}

void Blank(std::u16string& text, kt_long start, kt_long end) {
  for (auto at = static_cast<std::size_t>(start); at < static_cast<std::size_t>(end); ++at) {
    if (text[at] != u'\r' && text[at] != u'\n') text[at] = u' ';
  }
}

// Of a function whose braces do not match the fault is told at its head, which is to stay.
void LeaveOut(std::u16string& text, const SourceText& lines, const TokenView& view,
              std::size_t token, std::size_t count) {
  const kt_long line = lines.LineOf(view.At(token).range.start);
  const kt_long end = lines.LineRange(line).end;
  const bool is_head = IsFunctionWord(view, token);
  for (; token < count && view.At(token).range.start < end; ++token) {
    if (is_head || view.IsMark(token, u'{') || view.IsMark(token, u'}')) continue;
    Blank(text, view.At(token).range.start, std::min(view.At(token).range.end, end));
  }
}

// Ends a block with what stands before `token`, which is white space.
void CloseBefore(std::u16string& text, kt_long at, int& depth) {
  while (depth > 0 && at-- > 0) {
    char16_t& unit = text[static_cast<std::size_t>(at)];
    if (unit != u' ' && unit != u'\n' && unit != u'\r' && unit != u'\t') return;
    unit = u'}';
    --depth;
  }
}

// A line that begins with `function` is outside of functions, whatever the braces say.
void Balance(std::u16string& text) {
  const SourceText lines((Kt_WString(text)));
  const std::vector<Token> tokens = ScanTokens(lines.View());
  const TokenView view(lines.View(), tokens);
  int depth = 0;
  for (std::size_t token = 0; token < tokens.size(); ++token) {
    const Range& range = tokens[token].range;
    if (view.IsMark(token, u'{')) ++depth;
    if (view.IsMark(token, u'}') && --depth < 0) {
      Blank(text, range.start, range.end);
      depth = 0;
    }
    const bool begins_line = lines.PositionOf(range.start).character == 0;
    if (depth > 0 && begins_line && IsFunctionWord(view, token)) {
      CloseBefore(text, range.start, depth);
    }
  }
  text.append(static_cast<std::size_t>(std::max(depth, 0)), u'}');
}

}  // namespace

Kt_WString Mended(const Kt_WString& text, const std::vector<kt_long>& lines) {
  const SourceText source(text);
  const std::vector<Token> tokens = ScanTokens(source.View());
  const TokenView view(source.View(), tokens);
  std::u16string mended(text.View());
  for (const kt_long line : std::set<kt_long>(lines.begin(), lines.end())) {
    if (line < 0 || line >= source.LineCount()) continue;
    const std::size_t first = view.CountBefore(source.LineRange(line).start);
    if (first < tokens.size() && source.LineOf(tokens[first].range.start) == line) {
      LeaveOut(mended, source, view, first, tokens.size());
    }
  }
  Balance(mended);
  return Kt_WString(mended);
}

}  // namespace kt::cli::lsp
