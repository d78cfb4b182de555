// SPDX-License-Identifier: MIT
//
// The three streams of the program and what is at their other end: all that systems do differently
// about terminals.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kt::cli {

enum class Stream : int { kInput = 0, kOutput = 1, kError = 2 };

// Whether somebody sits at the other end. Threads: any.
bool IsTerminal(Stream stream);

// The width of the terminal in columns; `otherwise` where there is none, or it does not tell.
int TerminalWidth(Stream stream, int otherwise);

// The arguments of the program after its name, as UTF-8. Where the system shows them to everybody,
// passwords of databases are blotted out there. To be called once, from main().
std::vector<std::string> TakeArguments(int argc, char** argv);

// Makes the streams carry the bytes that are written, as UTF-8, and terminals know colours.
void SetUpStreams();

// Makes writing to a reader that is no longer there fail, instead of ending the program.
void OutliveReaders();

// Writes to the error stream without asking for memory.
void WriteError(std::string_view text) noexcept;

}  // namespace kt::cli
