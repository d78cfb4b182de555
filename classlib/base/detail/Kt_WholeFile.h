// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kt::detail {

// The bytes of a regular file of at most `max_bytes`; nothing for any other, or on an error. A
// pipe or device is refused unread, so this never waits.
std::optional<std::string> ReadWholeFile(const std::string& path, std::size_t max_bytes);

// Writes a new file beside the old one and renames it over, so that a crash leaves the old or the
// new one and never a part. Makes the folders above; keeps the permissions of a file that was
// there and follows symbolic links. False, and the old file untouched, on an error.
bool ReplaceWholeFile(const std::string& path, std::string_view bytes);

// Also true when there is no saying, for lack of permission.
bool PathExists(const std::string& path);

}  // namespace kt::detail
