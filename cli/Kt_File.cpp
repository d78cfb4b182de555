// SPDX-License-Identifier: MIT
#include "cli/Kt_File.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_Path.h"
#include "classlib/text/Kt_AString.h"
#include "cli/Kt_Bounds.h"
#include "cli/Kt_OpenFile.h"
#include "cli/data/Kt_Save.h"

namespace kt::cli {
namespace {

// No text within the limit needs more bytes than three for each unit.
constexpr std::size_t kMaxFileBytes = std::size_t{3} * kMaxStringLength;
constexpr std::size_t kReadBytes = 1 << 16;

// The system would read a path with a zero inside as another, shorter one.
bool IsUsable(const std::string& path) { return path.find('\0') == std::string::npos; }

std::string ErrnoText() { return std::generic_category().message(errno); }

// The file that a link stands for, so that renaming replaces that and not the link.
std::string BehindLinks(const std::string& path) {
  std::error_code ignored;
  const std::filesystem::path target = std::filesystem::canonical(kt_path(path), ignored);
  return ignored ? path : target.string();
}

// A file that grows for ever (a device) ends at the limit.
FileResult ReadToEnd(const OpenFile& file, std::size_t limit_bytes, Kt_Buffer& bytes,
                     std::string& error) {
  const auto too_long = [&] {
    error = fmt::format("longer than {} bytes", limit_bytes);
    return FileResult::kBadContent;
  };
  // Room for a plain file at once, so that a large one is not copied while it is read.
  const std::size_t size = file.PlainSize();
  if (size > limit_bytes) return too_long();
  if (size > 0) bytes.Reserve(size + 1);
  const auto buffer = std::make_unique<char[]>(kReadBytes);
  for (;;) {
    const std::ptrdiff_t count = file.Read(buffer.get(), kReadBytes);
    if (count == 0) return FileResult::kOk;
    if (count < 0 && Kt_WorkMeter::CurrentStop() != 0) {
      error = StopReason();
      return FileResult::kBadContent;
    }
    if (count < 0) {
      error = ErrnoText();
      return FileResult::kNoAccess;
    }
    bytes.Append(buffer.get(), static_cast<std::size_t>(count));
    if (bytes.GetSize() > limit_bytes) return too_long();
  }
}

FileResult TakeUtf8(std::string_view bytes, Kt_WString& text, std::string& error) {
  const std::size_t mark = bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0;
  const std::int64_t bad = ConvertUtf8(bytes.substr(mark), text);
  if (Kt_WorkMeter::CurrentStop() != 0) {
    error = StopReason();
    return FileResult::kBadContent;
  }
  if (bad < 0) return FileResult::kOk;
  const bool too_long = text.IsEmpty() && bad >= kMaxStringLength;
  error = too_long ? fmt::format("longer than {} characters", kMaxStringLength)
                   : fmt::format("no valid UTF-8 at byte offset {}",
                                 static_cast<std::size_t>(bad) + mark);
  return FileResult::kBadContent;
}

FileResult ReadWholeFile(const std::string& path, std::size_t limit_bytes, Kt_Buffer& bytes,
                         std::string& error, Links links) {
  if (!IsUsable(path)) {
    errno = ENOENT;
    error = ErrnoText();
    return FileResult::kNoAccess;
  }
  const OpenFile file = OpenFile::ToRead(path, links);
  if (file.IsOpen()) return ReadToEnd(file, limit_bytes, bytes, error);
  error = ErrnoText();
  return FileResult::kNoAccess;
}

}  // namespace

FileResult ReadFileBytes(const std::string& path, std::size_t limit_bytes, Kt_Buffer& bytes,
                         std::string& error, Links links) {
  return ReadWholeFile(path, limit_bytes, bytes, error, links);
}

FileResult ReadStandardInput(std::size_t limit_bytes, Kt_Buffer& bytes, std::string& error) {
  return ReadToEnd(OpenFile::StandardInput(), limit_bytes, bytes, error);
}

FileResult ReadTextFile(const std::string& path, Kt_WString& text, std::string& error,
                        Links links) {
  Kt_Buffer bytes;
  const FileResult result = ReadWholeFile(path, kMaxFileBytes, bytes, error, links);
  return result == FileResult::kOk ? TakeUtf8(bytes.View(), text, error) : result;
}

FileResult ReadStandardText(Kt_WString& text, std::string& error) {
  Kt_Buffer bytes;
  const FileResult result = ReadToEnd(OpenFile::StandardInput(), kMaxFileBytes, bytes, error);
  return result == FileResult::kOk ? TakeUtf8(bytes.View(), text, error) : result;
}

bool WriteTextFile(const std::string& path, const Kt_WString& text, std::string& error,
                   Links links) {
  const CountedBytes bytes = ToUtf8Bytes(text);  // which may be stopped
  return WriteFileBytes(path, bytes, error, links);
}

bool WriteFileBytes(const std::string& path, std::string_view bytes, std::string& error,
                    Links links) {
  bool written = false;
  if (Kt_WorkMeter::CurrentStop() != 0) {  // the bytes may be a part
    error = StopReason();
    return false;
  }
  if (!IsUsable(path)) {
    errno = ENOENT;
    // A device or a pipe cannot be replaced by a rename; it takes the bytes as they come.
  } else if (IsDevice(path, links)) {
    OpenFile file = OpenFile::ToWrite(path, links);
    written = file.IsOpen() && file.Write(bytes) && file.Close();
  } else {
    // A link that is not followed is replaced itself.
    written = ReplaceFile(links == Links::kFollow ? BehindLinks(path) : path, bytes);
  }
  if (!written) error = Kt_WorkMeter::CurrentStop() != 0 ? StopReason() : ErrnoText();
  return written;
}

}  // namespace kt::cli
