// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"
#include "cli/show/Kt_Html.h"
#include "cli/test/Kt_Coverage.h"

namespace kt::cli {
namespace {

using Files = std::map<std::string, FileCoverage>;
using Sum = FileCoverage::Sum;

constexpr const char* kStyle =
    "body{font-family:sans-serif;margin:2em}pre{line-height:1.4}"
    "table{border-collapse:collapse}td,th{padding:.2em .8em;text-align:right}"
    "td:first-child,th:first-child{text-align:left}"
    ".run{background:#dfd}.not{background:#fcc}.part{background:#ffc}"
    "i{color:#888;font-style:normal}";

Sum operator+(const Sum& a, const Sum& b) { return {a.run + b.run, a.all + b.all}; }

// "3 of 4", and in percent, rounded down, so that 100 are all.
std::string Of(const Sum& sum) {
  return sum.all == 0 ? "-"
                      : fmt::format("{} of {} ({} %)", sum.run, sum.all, sum.run * 100 / sum.all);
}

// "7, 9-11": the lines that did not run; a run of lines may have others without statements in it.
std::string Missing(const FileCoverage& file) {
  std::string out;
  const auto end = file.lines.end();
  for (auto line = file.lines.begin(); line != end; ++line) {
    if (line->second > 0) continue;
    const kt_long first = line->first;
    kt_long last = first;
    for (auto next = std::next(line); next != end && next->second == 0; ++next) {
      last = next->first;
      line = next;
    }
    out += out.empty() ? "" : ", ";
    out += first == last ? fmt::format("{}", first) : fmt::format("{}-{}", first, last);
  }
  return out;
}

// The rows of the table: name, lines, branches, what is missing. The total is the last one.
std::vector<std::array<std::string, 4>> Rows(const Files& files) {
  std::vector<std::array<std::string, 4>> rows = {{"file", "lines", "branches", "not run"}};
  Sum lines;
  Sum branches;
  for (const auto& [name, file] : files) {
    rows.push_back({Shown(name), Of(file.Lines()), Of(file.Branches()), Missing(file)});
    lines = lines + file.Lines();
    branches = branches + file.Branches();
  }
  rows.push_back({"total", Of(lines), Of(branches), ""});
  return rows;
}

// How a line is shown: not at all, or as run, not run, or run with a way that was never gone.
const char* ClassOf(const FileCoverage& file, kt_long line) {
  const auto count = file.lines.find(line);
  if (count == file.lines.end()) return "";
  if (count->second == 0) return "not";
  const auto branches = file.branches.find(line);
  if (branches == file.branches.end()) return "run";
  const bool is_whole = std::all_of(
      branches->second.begin(), branches->second.end(),
      [](const auto& ways) { return std::find(ways.begin(), ways.end(), 0) == ways.end(); });
  return is_whole ? "run" : "part";
}

void AppendSource(const FileCoverage& file, std::string& out) {
  const std::u16string_view text = file.text.View();
  kt_long number = 1;
  for (std::size_t at = 0; at < text.size(); ++number) {
    const std::size_t end = std::min(text.find(u'\n', at), text.size());
    const auto count = file.lines.find(number);
    const std::string times = count == file.lines.end() ? "" : fmt::format("{}", count->second);
    out += fmt::format("<span class=\"{}\"><i>{:>5} {:>7}</i>  {}</span>\n", ClassOf(file, number),
                       number, times, HtmlText(Kt_WString(text.substr(at, end - at))));
    at = end + 1;
  }
}

}  // namespace

std::string CoverageText(const Files& files) {
  const auto rows = Rows(files);
  std::array<int, 3> widths{};
  for (const auto& row : rows) {
    for (std::size_t at = 0; at < widths.size(); ++at) {
      widths[at] = std::max(widths[at], DisplayWidth(Kt_WString::FromUtf8(row[at]).View()));
    }
  }
  std::string out;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t at = 0; at < widths.size(); ++at) {
      const int width = DisplayWidth(Kt_WString::FromUtf8(row[at]).View());
      line += row[at] + std::string(static_cast<std::size_t>(widths[at] - width + 2), ' ');
    }
    line += row[3];
    out += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
  }
  return out;
}

std::string CoverageLcov(const Files& files) {
  std::string out;
  for (const auto& [name, file] : files) {
    out += fmt::format("TN:\nSF:{}\n", Shown(name));
    for (const auto& [line, points] : file.branches) {
      const auto ran = file.lines.find(line);
      const bool has_run = ran != file.lines.end() && ran->second > 0;
      for (std::size_t point = 0; point < points.size(); ++point) {
        for (std::size_t way = 0; way < points[point].size(); ++way) {
          const std::string count = has_run ? fmt::format("{}", points[point][way]) : "-";
          out += fmt::format("BRDA:{},{},{},{}\n", line, point, way, count);
        }
      }
    }
    const Sum branches = file.Branches();
    out += fmt::format("BRF:{}\nBRH:{}\n", branches.all, branches.run);
    for (const auto& [line, count] : file.lines) out += fmt::format("DA:{},{}\n", line, count);
    const Sum lines = file.Lines();
    out += fmt::format("LF:{}\nLH:{}\nend_of_record\n", lines.all, lines.run);
  }
  return out;
}

std::string CoverageHtml(const Files& files) {
  std::string out = fmt::format(
      "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>Coverage</title>"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
      "'unsafe-inline'\"><style>{}</style></head><body>\n<h1>Coverage</h1>\n<table>\n",
      kStyle);
  const auto html = [](const std::string& text) { return HtmlText(Kt_WString::FromUtf8(text)); };
  for (const auto& row : Rows(files)) {
    out +=
        fmt::format("<tr><td>{}</td><td>{}</td><td>{}</td></tr>\n", html(row[0]), row[1], row[2]);
  }
  out += "</table>\n";
  for (const auto& [name, file] : files) {
    out += fmt::format("<h2>{}</h2>\n<pre>", html(Shown(name)));
    AppendSource(file, out);
    out += "</pre>\n";
  }
  return out + "</body></html>\n";
}

}  // namespace kt::cli
