// SPDX-License-Identifier: MIT
#include "cli/data/Kt_Progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <new>

#include "cli/Kt_Console.h"
#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"
#include "connect/Kt_DatabaseUrl.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

// What is done sooner needs no line; a line that comes and goes at once only flickers.
constexpr milliseconds kQuietTime{1000};
constexpr milliseconds kTurn{250};
constexpr int kUsualWidth = 80;

bool HasTerminal(const std::ostream& out) {
  return kt::cli::VisibleStream::TargetOf(out) == std::cerr.rdbuf() &&
         kt::cli::IsTerminal(kt::cli::Stream::kError);
}

// `text` without units in its middle, so that it is at most `width` columns wide.
Kt_WString CutMiddle(const Kt_WString& text, int width) {
  Kt_WString cut = text;
  for (kt_long kept = text.GetLength(); kept > 0 && kt::cli::DisplayWidth(cut) > width; --kept) {
    const kt_long head = kept / 2;
    const kt_long tail = kept - head - 1;
    cut = text.Mid(0, head) + u"\u2026" + text.Mid(text.GetLength() - tail, tail);
  }
  return cut;
}

}  // namespace

Kt_CliProgress::Kt_CliProgress(std::ostream& messages, const std::string& what)
    : what_(kt::cli::Shown(kt::WithoutPasswords(what))) {
  if (!HasTerminal(messages)) return;
  both_use_strings_.emplace();
  try {
    thread_ = std::thread([this] {
      try {
        Show();
      } catch (const std::bad_alloc&) {
        // Without memory for it as well.
      }
    });
  } catch (const std::exception&) {
    // Without a thread the work goes on without a line.
  }
}

Kt_CliProgress::~Kt_CliProgress() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    done_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

void Kt_CliProgress::Show() {
  const auto start = steady_clock::now();
  const auto is_done = [this] { return done_; };
  std::unique_lock lock(mutex_);
  if (wake_.wait_for(lock, kQuietTime, is_done)) return;
  do {
    const auto time = std::chrono::duration_cast<seconds>(steady_clock::now() - start);
    const int width = kt::cli::TerminalWidth(kt::cli::Stream::kError, kUsualWidth);
    std::cerr << '\r' << Line(what_, time, width - 1) << "\x1b[K" << std::flush;
  } while (!wake_.wait_for(lock, kTurn, is_done));
  std::cerr << "\r\x1b[K" << std::flush;
}

std::string Kt_CliProgress::Line(const std::string& what, seconds time, int width) {
  const std::string tail = fmt::format(" ... {} s", time.count());
  const int room = width - static_cast<int>(tail.size());
  return CutMiddle(Kt_WString::FromUtf8(what), std::max(room, 1)).ToUtf8() + tail;
}
