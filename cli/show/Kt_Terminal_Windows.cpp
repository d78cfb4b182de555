// SPDX-License-Identifier: MIT
//
// Lines are edited by the console itself, which has a history of its own for each program: none is
// kept in a file, and names are not completed.
#include <fmt/format.h>
#include <windows.h>

#include <iostream>
#include <utility>

#include "cli/show/Kt_Terminal.h"

namespace fs = std::filesystem;

namespace {

constexpr wchar_t kEndKey = 26;  // Ctrl-Z, and Ctrl-D as elsewhere
constexpr wchar_t kOtherEndKey = 4;

std::atomic<bool> g_interrupted{false};

BOOL WINAPI OnControl(DWORD event) {
  if (event != CTRL_C_EVENT) return FALSE;
  g_interrupted = true;
  return TRUE;
}

// A line with its end; false at the end of the input, or when Ctrl-C ended it.
bool ReadConsoleLine(std::wstring& line) {
  const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
  line.clear();
  while (line.empty() || line.back() != L'\n') {
    wchar_t buffer[1024];
    DWORD count = 0;
    constexpr DWORD kRoom = sizeof buffer / sizeof *buffer;
    if (::ReadConsoleW(input, buffer, kRoom, &count, nullptr) == 0 || count == 0) return false;
    line.append(buffer, count);
  }
  return true;
}

}  // namespace

struct Kt_CliTerminal::Editor {
  Editor() { ::SetConsoleCtrlHandler(OnControl, TRUE); }
  Editor(const Editor&) = delete;
  Editor& operator=(const Editor&) = delete;
  ~Editor() { ::SetConsoleCtrlHandler(OnControl, FALSE); }
};

Kt_CliTerminal::Kt_CliTerminal(const fs::path&) : editor_(std::make_unique<Editor>()) {}

Kt_CliTerminal::~Kt_CliTerminal() = default;

void Kt_CliTerminal::SetCompleter(Completer) {}

const std::atomic<bool>& Kt_CliTerminal::Interrupted() { return g_interrupted; }

fs::path Kt_CliTerminal::DefaultHistoryFile() { return {}; }

Kt_CliLineSource::Answer Kt_CliTerminal::Read(int number, bool continues, std::string& line) {
  std::cout << (continues ? fmt::format("{:>5}| ", number) : fmt::format("kt:{}> ", number))
            << std::flush;
  g_interrupted = false;
  std::wstring typed;
  const bool was_read = ReadConsoleLine(typed);
  if (!was_read && ::GetLastError() == ERROR_OPERATION_ABORTED) ::Sleep(10);  // the handler's turn
  if (g_interrupted.exchange(false)) return Answer::kCancelled;
  if (!was_read || typed[0] == kEndKey || typed[0] == kOtherEndKey) return Answer::kEnd;
  while (!typed.empty() && (typed.back() == L'\n' || typed.back() == L'\r')) typed.pop_back();
  line = fs::path(typed).string();  // as UTF-8
  return Answer::kLine;
}
