// SPDX-License-Identifier: MIT
#include "cli/Kt_Diff.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace kt::cli {
namespace {

using Lines = std::vector<std::string_view>;

// More changes than this are shown as one.
constexpr int kMaxChanges = 1500;
constexpr std::size_t kContext = 3;

// Lines that both have: [old_begin, old_begin + size) and as many of the new ones.
struct CommonRun {
  std::size_t old_begin = 0;
  std::size_t new_begin = 0;
  std::size_t size = 0;
};

// With their line breaks.
Lines Split(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
  return lines;
}

// The shortest way from one text to the other (Myers): for each number of changes, how far each
// diagonal has come. Gives the lines on it that both have, from the last one on.
class ShortestWay {
 public:
  ShortestWay(const Lines& a, const Lines& b)
      : a_(a), b_(b), size_a_(static_cast<int>(a.size())), size_b_(static_cast<int>(b.size())) {}

  std::vector<std::pair<int, int>> Find() {
    const int most = std::min(size_a_ + size_b_, kMaxChanges);
    for (int changes = 0; changes <= most; ++changes) {
      reached_.emplace_back(static_cast<std::size_t>(2 * changes + 1));
      for (int diagonal = -changes; diagonal <= changes; diagonal += 2) {
        int x = Start(changes, diagonal);
        while (x < size_a_ && x - diagonal < size_b_ && A(x) == B(x - diagonal)) ++x;
        Reached(changes, diagonal) = x;
        if (x >= size_a_ && x - diagonal >= size_b_) return Trace(changes);
      }
    }
    return {};
  }

 private:
  std::string_view A(int at) const { return a_[static_cast<std::size_t>(at)]; }
  std::string_view B(int at) const { return b_[static_cast<std::size_t>(at)]; }
  int& Reached(int changes, int diagonal) {
    return reached_[static_cast<std::size_t>(changes)]
                   [static_cast<std::size_t>(diagonal) + static_cast<std::size_t>(changes)];
  }
  // Whether the way to a diagonal comes down from the one above it, by a line that is new.
  bool ComesDown(int changes, int diagonal) {
    if (diagonal == -changes) return true;
    if (diagonal == changes) return false;
    return Reached(changes - 1, diagonal - 1) < Reached(changes - 1, diagonal + 1);
  }
  int Start(int changes, int diagonal) {
    if (changes == 0) return 0;
    if (ComesDown(changes, diagonal)) return Reached(changes - 1, diagonal + 1);
    return Reached(changes - 1, diagonal - 1) + 1;
  }
  std::vector<std::pair<int, int>> Trace(int changes) {
    std::vector<std::pair<int, int>> common;
    int x = size_a_;
    int diagonal = size_a_ - size_b_;
    for (; changes >= 0; --changes) {
      const int start = Start(changes, diagonal);
      for (; x > start; --x) common.emplace_back(x - 1, x - 1 - diagonal);
      if (changes == 0) break;
      const bool down = ComesDown(changes, diagonal);
      diagonal += down ? 1 : -1;
      x = Reached(changes - 1, diagonal);
    }
    return common;
  }

  const Lines& a_;
  const Lines& b_;
  int size_a_;
  int size_b_;
  std::vector<std::vector<int>> reached_;
};

// What both texts have, in order; ends with an empty run behind both.
std::vector<CommonRun> CommonRuns(const Lines& a, const Lines& b) {
  std::size_t front = 0;
  while (front < a.size() && front < b.size() && a[front] == b[front]) ++front;
  std::size_t back = 0;
  while (back < a.size() - front && back < b.size() - front &&
         a[a.size() - 1 - back] == b[b.size() - 1 - back]) {
    ++back;
  }
  const Lines middle_a(a.begin() + static_cast<std::ptrdiff_t>(front),
                       a.end() - static_cast<std::ptrdiff_t>(back));
  const Lines middle_b(b.begin() + static_cast<std::ptrdiff_t>(front),
                       b.end() - static_cast<std::ptrdiff_t>(back));
  auto common = ShortestWay(middle_a, middle_b).Find();
  std::vector<CommonRun> runs = {{0, 0, front}};
  const auto add = [&](std::size_t x, std::size_t y, std::size_t size) {
    CommonRun& last = runs.back();
    if (last.old_begin + last.size == x && last.new_begin + last.size == y) {
      last.size += size;
    } else {
      runs.push_back({x, y, size});
    }
  };
  for (auto pair = common.rbegin(); pair != common.rend(); ++pair) {
    add(front + static_cast<std::size_t>(pair->first),
        front + static_cast<std::size_t>(pair->second), 1);
  }
  add(a.size() - back, b.size() - back, back);
  return runs;
}

void AppendLine(char mark, std::string_view line, std::string& out) {
  out += mark;
  out += line;
  if (!line.ends_with('\n')) out += "\n\\ No newline at end of file\n";
}

std::string Places(std::size_t begin, std::size_t size) {
  return size == 1 ? fmt::format("{}", begin + 1)
                   : fmt::format("{},{}", size == 0 ? begin : begin + 1, size);
}

// Changes that stand close together, between runs[first] and runs[last].
void AppendHunk(const Lines& a, const Lines& b, const std::vector<CommonRun>& runs,
                std::size_t first, std::size_t last, std::string& out) {
  const std::size_t before = std::min(runs[first].size, kContext);
  const std::size_t after = std::min(runs[last].size, kContext);
  std::size_t x = runs[first].old_begin + runs[first].size - before;
  std::size_t y = runs[first].new_begin + runs[first].size - before;
  const std::size_t end_x = runs[last].old_begin + after;
  const std::size_t end_y = runs[last].new_begin + after;
  out += fmt::format("@@ -{} +{} @@\n", Places(x, end_x - x), Places(y, end_y - y));
  for (std::size_t run = first; run <= last; ++run) {
    while (x < runs[run].old_begin) AppendLine('-', a[x++], out);
    while (y < runs[run].new_begin) AppendLine('+', b[y++], out);
    const std::size_t end = std::min(runs[run].old_begin + runs[run].size, end_x);
    for (; x < end; ++x, ++y) AppendLine(' ', a[x], out);
  }
}

}  // namespace

std::string UnifiedDiff(const std::string& old_name, std::string_view old_text,
                        const std::string& new_name, std::string_view new_text) {
  if (old_text == new_text) return {};
  const Lines a = Split(old_text);
  const Lines b = Split(new_text);
  const std::vector<CommonRun> runs = CommonRuns(a, b);
  std::string out = fmt::format("--- {}\n+++ {}\n", old_name, new_name);
  for (std::size_t first = 0; first + 1 < runs.size();) {
    std::size_t last = first + 1;
    while (last + 1 < runs.size() && runs[last].size <= 2 * kContext) ++last;
    AppendHunk(a, b, runs, first, last, out);
    first = last;
  }
  return out;
}

}  // namespace kt::cli
