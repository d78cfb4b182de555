// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Terminal.h"

#include <fmt/format.h>
#include <histedit.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "classlib/text/Kt_WString.h"
#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"
#include "connect/Kt_DatabaseUrl.h"

namespace fs = std::filesystem;

namespace {

constexpr int kHistoryLines = 1000;
// A longer line was pasted; it is of no use in the history.
constexpr std::size_t kMaxHistoryBytes = 4000;
// Longer lists scroll away what was typed.
constexpr std::size_t kMaxShownNames = 120;
constexpr int kListWidth = 78;

std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

void OnInterrupt(int) { g_interrupted = true; }

// The editor has to know how many bytes a character has.
void UseTerminalLocale() {
  std::setlocale(LC_CTYPE, "");
  if (MB_CUR_MAX == 1) std::setlocale(LC_CTYPE, "C.UTF-8");
}

char Lower(char unit) {
  return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit - 'A' + 'a') : unit;
}

bool IsInsideCharacter(char unit) { return (static_cast<unsigned char>(unit) & 0xC0) == 0x80; }

int CountCharacters(std::string_view text) {
  return static_cast<int>(
      std::count_if(text.begin(), text.end(), [](char unit) { return !IsInsideCharacter(unit); }));
}

// What all names begin with, as the first one writes it. REQUIRES: there is one.
std::string CommonStart(const std::vector<std::string>& names) {
  std::size_t length = names[0].size();
  for (const std::string& name : names) {
    std::size_t same = 0;
    while (same < std::min(length, name.size()) && Lower(name[same]) == Lower(names[0][same])) {
      ++same;
    }
    length = same;
  }
  while (length > 0 && length < names[0].size() && IsInsideCharacter(names[0][length])) --length;
  return names[0].substr(0, length);
}

// The names in columns, ordered downwards.
std::string InColumns(std::vector<std::string> names) {
  const std::size_t left_out = names.size() - std::min(names.size(), kMaxShownNames);
  names.resize(names.size() - left_out);
  for (std::string& name : names) name = kt::cli::WithVisibleControls(name);
  std::vector<int> widths;
  widths.reserve(names.size());
  for (const std::string& name : names) {
    widths.push_back(kt::cli::DisplayWidth(Kt_WString::FromUtf8(name).View()));
  }
  const int column = *std::max_element(widths.begin(), widths.end()) + 2;
  const std::size_t columns = static_cast<std::size_t>(std::max(kListWidth / column, 1));
  const std::size_t rows = (names.size() + columns - 1) / columns;
  std::string out = "\n";
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t at = row; at < names.size(); at += rows) {
      out += names[at];
      if (at + rows < names.size()) out.append(static_cast<std::size_t>(column - widths[at]), ' ');
    }
    out += '\n';
  }
  if (left_out > 0) out += fmt::format("... {} more\n", left_out);
  return out;
}

}  // namespace

// The line editor and its history; its callbacks find this through the client data.
struct Kt_CliTerminal::Editor {
  explicit Editor(const fs::path& file);
  Editor(const Editor&) = delete;
  Editor& operator=(const Editor&) = delete;
  ~Editor();

  static Editor& Of(EditLine* line);
  static char* Prompt(EditLine* line) { return Of(line).prompt.data(); }
  static unsigned char OnComplete(EditLine* line, int) { return Of(line).Complete(); }
  static unsigned char OnCancel(EditLine* line, int);
  static unsigned char OnSuspend(EditLine* line, int);

  void BindKeys();
  unsigned char Complete();
  void LoadHistory();
  void Remember(const std::string& line);

  EditLine* line_editor;
  History* history_lines;
  fs::path history_file;
  std::string prompt;
  Completer completer;
  bool is_cancelled = false;
  struct sigaction old_action = {};
};

Kt_CliTerminal::Editor::Editor(const fs::path& file) : history_file(file) {
  UseTerminalLocale();
  struct sigaction action = {};
  action.sa_handler = OnInterrupt;
  ::sigaction(SIGINT, &action, &old_action);
  line_editor = el_init("kt", stdin, stdout, stderr);
  history_lines = history_init();
  HistEvent event;
  history(history_lines, &event, H_SETSIZE, kHistoryLines);
  history(history_lines, &event, H_SETUNIQUE, 1);
  LoadHistory();
  el_set(line_editor, EL_CLIENTDATA, this);
  el_set(line_editor, EL_PROMPT, &Prompt);
  el_set(line_editor, EL_SIGNAL, 1);
  el_set(line_editor, EL_HIST, history, history_lines);
  BindKeys();
}

Kt_CliTerminal::Editor::~Editor() {
  history_end(history_lines);
  el_end(line_editor);
  ::sigaction(SIGINT, &old_action, nullptr);
}

Kt_CliTerminal::Editor& Kt_CliTerminal::Editor::Of(EditLine* line) {
  void* self = nullptr;
  el_get(line, EL_CLIENTDATA, &self);
  return *static_cast<Editor*>(self);
}

void Kt_CliTerminal::Editor::BindKeys() {
  el_set(line_editor, EL_EDITOR, "emacs");
  el_set(line_editor, EL_ADDFN, "kt-complete", "Complete a name", &OnComplete);
  el_set(line_editor, EL_ADDFN, "kt-cancel", "Forget the input", &OnCancel);
  el_set(line_editor, EL_ADDFN, "kt-suspend", "Back to the shell", &OnSuspend);
  el_set(line_editor, EL_BIND, "^I", "kt-complete", nullptr);
  el_set(line_editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
  // While a line is edited Ctrl-C is a key like others, so that it can be told from the end. The
  // terminal knows only all signal keys or none, so Ctrl-Z is to be done here too.
  el_set(line_editor, EL_SETTY, "-d", "-isig", nullptr);
  el_set(line_editor, EL_BIND, "^C", "kt-cancel", nullptr);
  el_set(line_editor, EL_BIND, "^Z", "kt-suspend", nullptr);
  el_source(line_editor, nullptr);  // what the user has in his .editrc
}

unsigned char Kt_CliTerminal::Editor::OnCancel(EditLine* line, int) {
  Of(line).is_cancelled = true;
  std::fputs("^C\n", stdout);
  return CC_NEWLINE;
}

unsigned char Kt_CliTerminal::Editor::OnSuspend(EditLine* line, int) {
  std::fputs("^Z\n", stdout);
  std::fflush(stdout);
  el_set(line, EL_PREP_TERM, 0);
  ::kill(0, SIGTSTP);
  el_set(line, EL_PREP_TERM, 1);
  return CC_REDISPLAY;
}

unsigned char Kt_CliTerminal::Editor::Complete() {
  if (!completer) return CC_ERROR;
  const LineInfo* const info = el_line(line_editor);
  const std::string before(info->buffer, static_cast<std::size_t>(info->cursor - info->buffer));
  std::size_t start = 0;
  const std::vector<std::string> names = completer(before, start);
  if (names.empty()) return CC_ERROR;
  const std::string word = before.substr(start);
  const std::string known = CommonStart(names);
  if (known.size() > word.size() || (names.size() == 1 && known != word)) {
    el_deletestr(line_editor, CountCharacters(word));
    el_insertstr(line_editor, known.c_str());
    return CC_REFRESH;
  }
  if (names.size() == 1) return CC_NORM;
  std::fputs(InColumns(names).c_str(), stdout);
  return CC_REDISPLAY;
}

void Kt_CliTerminal::Editor::LoadHistory() {
  if (history_file.empty()) return;
  HistEvent event;
  history(history_lines, &event, H_LOAD, history_file.c_str());
}

// The new file takes the place of the old one at once, so that neither a crash nor a second
// session leaves half of one.
void Kt_CliTerminal::Editor::Remember(const std::string& line) {
  if (line.size() > kMaxHistoryBytes || line.find_first_not_of(" \t\n") == line.npos) return;
  if (kt::WithoutPasswords(line) != line) return;
  HistEvent event;
  history(history_lines, &event, H_ENTER, line.c_str());
  if (history_file.empty()) return;
  std::error_code error;
  fs::create_directories(history_file.parent_path(), error);
  const fs::path fresh = history_file.string() + fmt::format(".{}", ::getpid());
  if (history(history_lines, &event, H_SAVE, fresh.c_str()) >= 0) {
    fs::rename(fresh, history_file, error);
  }
  if (error) fs::remove(fresh, error);
}

Kt_CliTerminal::Kt_CliTerminal(const fs::path& history_file)
    : editor_(std::make_unique<Editor>(history_file)) {}

Kt_CliTerminal::~Kt_CliTerminal() = default;

void Kt_CliTerminal::SetCompleter(Completer completer) {
  editor_->completer = std::move(completer);
}

const std::atomic<bool>& Kt_CliTerminal::Interrupted() { return g_interrupted; }

fs::path Kt_CliTerminal::DefaultHistoryFile() {
  const char* const state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && *state == '/') return fs::path(state) / "ktscript/history";
  const char* const home = std::getenv("HOME");
  if (home == nullptr || *home != '/') return {};
  return fs::path(home) / ".local/state/ktscript/history";
}

Kt_CliLineSource::Answer Kt_CliTerminal::Read(int number, bool continues, std::string& line) {
  editor_->prompt = continues ? fmt::format("{:>5}| ", number) : fmt::format("kt:{}> ", number);
  editor_->is_cancelled = false;
  g_interrupted = false;
  // The editor would show the prompt first, and a quick Ctrl-C would get lost in between.
  el_set(editor_->line_editor, EL_PREP_TERM, 1);
  int count = 0;
  const char* const text = el_gets(editor_->line_editor, &count);
  // The signal may also come from elsewhere.
  if (editor_->is_cancelled || g_interrupted.exchange(false)) return Answer::kCancelled;
  if (text == nullptr || count <= 0) {
    std::fputs("\n", stdout);
    return Answer::kEnd;
  }
  line.assign(text, static_cast<std::size_t>(count));
  editor_->Remember(line);
  if (line.ends_with('\n')) line.pop_back();
  return Answer::kLine;
}
