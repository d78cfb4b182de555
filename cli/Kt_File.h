// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "classlib/text/Kt_WString.h"

class Kt_Buffer;

namespace kt::cli {

enum class FileResult {
  kOk,
  kNoAccess,    // missing, a folder, not allowed
  kBadContent,  // too long, or not UTF-8
};

// Whether a link in place of a file is followed, or is an error because the path has been resolved.
enum class Links { kFollow, kRefuse };

// The bytes of a file or of the standard input, up to `limit_bytes`. The reason as below. Throws
// std::bad_alloc: what is read counts for the bound of memory.
FileResult ReadFileBytes(const std::string& path, std::size_t limit_bytes, Kt_Buffer& bytes,
                         std::string& error, Links links = Links::kFollow);
FileResult ReadStandardInput(std::size_t limit_bytes, Kt_Buffer& bytes, std::string& error);

// The whole of a UTF-8 file as text; a byte order mark is skipped. When it is not kOk, `error` has
// the reason without the path; for text that is not UTF-8 it names the offset of the byte at fault.
FileResult ReadTextFile(const std::string& path, Kt_WString& text, std::string& error,
                        Links links = Links::kFollow);
// The same of the standard input, which may be a pipe or a socket.
FileResult ReadStandardText(Kt_WString& text, std::string& error);

// Writes bytes, or `text` as UTF-8, so that a reader sees the old file or the new one and a failure
// leaves the old one (Kt_Save.h). A link that is followed stays one: its target is replaced.
// False with the reason in `error`.
bool WriteFileBytes(const std::string& path, std::string_view bytes, std::string& error,
                    Links links = Links::kFollow);
bool WriteTextFile(const std::string& path, const Kt_WString& text, std::string& error,
                   Links links = Links::kFollow);

}  // namespace kt::cli
