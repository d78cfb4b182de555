// SPDX-License-Identifier: MIT
#include "cli/lsp/Kt_Uri.h"

#include <algorithm>

#include "classlib/base/Kt_Path.h"

namespace fs = std::filesystem;

namespace kt::cli::lsp {
namespace {

constexpr std::string_view kScheme = "file://";
constexpr std::string_view kDigits = "0123456789ABCDEF";

int HexDigit(char unit) {
  const std::size_t digit =
      kDigits.find(unit >= 'a' && unit <= 'f' ? static_cast<char>(unit - 'a' + 'A') : unit);
  return digit == kDigits.npos ? -1 : static_cast<int>(digit);
}

// What is no code stays as it is.
std::string Decoded(std::string_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const int high = text[at] == '%' && at + 2 < text.size() ? HexDigit(text[at + 1]) : -1;
    const int low = high >= 0 ? HexDigit(text[at + 2]) : -1;
    out += low >= 0 ? static_cast<char>(high * 16 + low) : text[at];
    if (low >= 0) at += 2;
  }
  return out;
}

bool StaysPlain(char unit) {
  return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z') ||
         (unit >= '0' && unit <= '9') || std::string_view("/-._~").find(unit) != std::string::npos;
}

}  // namespace

std::optional<fs::path> PathOfUri(std::string_view uri) {
  if (!uri.starts_with(kScheme)) return std::nullopt;
  uri.remove_prefix(kScheme.size());
  const std::size_t slash = uri.find('/');  // after the host, which is empty or this one
  if (slash == uri.npos) return std::nullopt;
  std::string name = Decoded(uri.substr(slash));
  if (name.find('\0') != std::string::npos) return std::nullopt;
#if defined(_WIN32)
  if (name.size() > 2 && name[2] == ':') name.erase(0, 1);  // file:///c:/folder
#endif
  const fs::path path = kt_path(name);
  std::error_code error;
  const fs::path canonical = fs::weakly_canonical(path, error);
  return error ? path.lexically_normal() : canonical;
}

std::string UriOfPath(const fs::path& path) {
  std::string uri(kScheme);
  if (path.has_root_name()) uri += '/';
  for (const char unit : path.generic_string()) {
    if (StaysPlain(unit)) {
      uri += unit;
    } else {
      const auto byte = static_cast<unsigned char>(unit);
      uri += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
  }
  return uri;
}

}  // namespace kt::cli::lsp
