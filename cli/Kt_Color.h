// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kt::cli {

// --color auto|always|never of a command; Main looks for it before the command runs.
void AddColorOption(CLI::App& command);

// Lets `stream` show colours as the arguments ask for: `auto`, as without the option, on a terminal
// unless NO_COLOR is set to something.
void SetUpColor(const std::vector<std::string>& arguments, std::ostream& stream);

// What SetUpColor has decided; no for others.
bool HasColor(std::ostream& stream);

// The text in a colour, which is the parameter of its escape sequence ("1;31").
std::string Colored(const char* color, const std::string& text);

}  // namespace kt::cli
