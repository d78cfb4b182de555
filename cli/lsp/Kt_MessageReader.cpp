// SPDX-License-Identifier: MIT
#include "cli/lsp/Kt_MessageReader.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace kt::cli::lsp {
namespace {

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = std::min(text.find_first_not_of(" \t\r"), text.size());
  text.remove_prefix(first);
  return text.substr(0, text.find_last_not_of(" \t\r") + 1);
}

bool IsContentLength(std::string_view name) {
  constexpr std::string_view kName = "content-length";
  return std::ranges::equal(name, kName, [](char a, char b) {
    return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
  });
}

// Nothing where no header says it.
std::optional<std::size_t> LengthOf(std::string_view headers) {
  std::optional<std::size_t> length;
  while (!headers.empty()) {
    const std::size_t end = std::min(headers.find('\n'), headers.size());
    const std::string_view line = headers.substr(0, end);
    headers.remove_prefix(std::min(end + 1, headers.size()));
    const std::size_t colon = line.find(':');
    if (colon == line.npos || !IsContentLength(Trimmed(line.substr(0, colon)))) continue;
    const std::string_view digits = Trimmed(line.substr(colon + 1));
    std::size_t number = 0;
    const auto [stop, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (digits.empty() || error != std::errc() || stop != digits.data() + digits.size()) return {};
    length = number;
  }
  return length;
}

}  // namespace

void MessageReader::Feed(std::string_view bytes) {
  const std::size_t skipped = std::min(to_skip_, bytes.size());
  to_skip_ -= skipped;
  bytes.remove_prefix(skipped);
  buffer_.erase(0, taken_);
  taken_ = 0;
  buffer_ += bytes;
}

void MessageReader::Drop(std::size_t bytes) { taken_ += bytes; }

MessageReader::Found MessageReader::Take(std::string& message) {
  if (!is_in_message_) return TakeHeaders(message);
  if (buffer_.size() - taken_ < length_) return Found::kNothing;
  message = buffer_.substr(taken_, length_);
  Drop(length_);
  is_in_message_ = false;
  return Found::kMessage;
}

MessageReader::Found MessageReader::TakeHeaders(std::string& message) {
  const std::string_view rest = std::string_view(buffer_).substr(taken_);
  std::size_t end = rest.find("\r\n\r\n");
  std::size_t size = 4;
  if (const std::size_t bare = rest.find("\n\n"); bare < end) {
    end = bare;
    size = 2;
  }
  if (end == rest.npos) {
    if (rest.size() <= kMaxHeaderBytes) return Found::kNothing;
    Drop(rest.size());
    message = "headers of more than 8 KB";
    return Found::kFault;
  }
  const std::optional<std::size_t> length = LengthOf(rest.substr(0, end));
  Drop(end + size);
  if (!length) {
    message = "headers without a Content-Length";
    return Found::kFault;
  }
  if (*length > kMaxMessageBytes) {
    const std::size_t here = std::min(*length, buffer_.size() - taken_);
    Drop(here);
    to_skip_ = *length - here;
    message = "a message of more than 64 MB";
    return Found::kFault;
  }
  length_ = *length;
  is_in_message_ = true;
  return Take(message);
}

}  // namespace kt::cli::lsp
