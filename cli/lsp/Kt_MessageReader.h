// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kt::cli::lsp {

// Cuts a stream of bytes into messages: headers with a Content-Length, an empty line, and so many
// bytes.
//
//   reader.Feed(bytes);
//   while (true) {
//     switch (reader.Take(message)) {
//       case MessageReader::Found::kMessage: Handle(message); break;
//       case MessageReader::Found::kFault: Complain(message); break;  // the reason
//       case MessageReader::Found::kNothing: return;                  // more bytes are needed
//     }
//   }
//
// Behind a fault it goes on with the next headers. Takes no more memory than the longest message
// that it lets through.
class MessageReader {
 public:
  enum class Found { kMessage, kFault, kNothing };
  static constexpr std::size_t kMaxMessageBytes = std::size_t{64} << 20;
  static constexpr std::size_t kMaxHeaderBytes = std::size_t{8} << 10;

  void Feed(std::string_view bytes);
  Found Take(std::string& message);

 private:
  Found TakeHeaders(std::string& message);
  void Drop(std::size_t bytes);

  std::string buffer_;
  std::size_t taken_ = 0;    // of the buffer
  std::size_t length_ = 0;   // of the message whose headers have been read
  std::size_t to_skip_ = 0;  // of a message that is too long
  bool is_in_message_ = false;
};

}  // namespace kt::cli::lsp
