// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string_view>

// The path of a name in UTF-8, which all names of files are here. A path that is made of a plain
// string would take it for another code page on Windows; its string() gives UTF-8 everywhere.
inline std::filesystem::path kt_path(std::string_view name) {
#if defined(_WIN32)
  return std::u8string_view(reinterpret_cast<const char8_t*>(name.data()), name.size());
#else
  return name;
#endif
}
