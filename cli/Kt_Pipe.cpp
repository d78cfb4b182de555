// SPDX-License-Identifier: MIT
#include <istream>

#include "classlib/base/Kt_Types.h"
#include "cli/Kt_LineSource.h"

namespace {

// No text within the limit needs more bytes than three for each unit.
constexpr std::size_t kMaxLineBytes = std::size_t{3} * kMaxStringLength;

}  // namespace

// The buffer is read without std::getline, which would take in a line of any length.
Kt_CliLineSource::Answer Kt_CliPipe::Read(int, bool, std::string& line) {
  line.clear();
  constexpr int kEnd = std::streambuf::traits_type::eof();
  std::streambuf& buffer = *in_.rdbuf();
  int unit = buffer.sbumpc();
  if (unit == kEnd) return Answer::kEnd;
  for (; unit != kEnd && unit != '\n'; unit = buffer.sbumpc()) {
    if (line.size() == kMaxLineBytes) return Answer::kTooLong;
    line += static_cast<char>(unit);
  }
  if (line.ends_with('\r')) line.pop_back();
  return Answer::kLine;
}
