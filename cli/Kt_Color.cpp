// SPDX-License-Identifier: MIT
#include "cli/Kt_Color.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "cli/Kt_Console.h"
#include "cli/Kt_Visible.h"

namespace kt::cli {
namespace {

// Streams carry the answer themselves.
long& ColorOf(std::ostream& stream) {
  static const int kIndex = std::ios_base::xalloc();
  return stream.iword(kIndex);
}

bool HasTerminal(const std::ostream& stream) {
  const std::streambuf* const target = VisibleStream::TargetOf(stream);
  if (target == std::cerr.rdbuf()) return IsTerminal(Stream::kError);
  return target == std::cout.rdbuf() && IsTerminal(Stream::kOutput);
}

// The value of the last --color; what is after a "--" belongs to the script or is its text.
std::string WishOf(const std::vector<std::string>& arguments) {
  const std::string option = "--color";
  std::string wish;
  const auto end = std::find(arguments.begin(), arguments.end(), "--");
  for (auto at = arguments.begin(); at != end; ++at) {
    if (*at == option && at + 1 != end) wish = *(at + 1);
    if (at->starts_with(option + "=")) wish = at->substr(option.size() + 1);
  }
  return wish;
}

}  // namespace

void AddColorOption(CLI::App& command) {
  command.add_option("--color", "Colours: on terminals (auto), always or never")
      ->type_name("auto|always|never")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""));
}

void SetUpColor(const std::vector<std::string>& arguments, std::ostream& stream) {
  const std::string wish = WishOf(arguments);
  const char* const no_color = std::getenv("NO_COLOR");
  const bool is_wanted = no_color == nullptr || *no_color == 0;
  ColorOf(stream) = wish == "always" || (wish != "never" && is_wanted && HasTerminal(stream));
}

bool HasColor(std::ostream& stream) { return ColorOf(stream) != 0; }

std::string Colored(const char* color, const std::string& text) {
  return text.empty() ? text : std::string("\x1b[") + color + "m" + text + "\x1b[0m";
}

}  // namespace kt::cli
