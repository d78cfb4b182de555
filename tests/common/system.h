// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

namespace kt::test {

// A new folder for temporary files, whose name begins with `name`. Its owner removes it.
inline std::filesystem::path NewFolder(const std::string& name) {
  std::random_device random;
  for (;;) {
    const auto path =
        std::filesystem::temp_directory_path() / (name + "_" + std::to_string(random()));
    if (std::filesystem::create_directory(path)) return std::filesystem::canonical(path);
  }
}

// Sets a variable of the environment, or takes it out.
inline void SetVariable(const char* name, const std::string& value) {
#if defined(_WIN32)
  ::_putenv_s(name, value.c_str());
#else
  ::setenv(name, value.c_str(), 1);
#endif
}
inline void ClearVariable(const char* name) {
#if defined(_WIN32)
  ::_putenv_s(name, "");  // which takes it out there
#else
  ::unsetenv(name);
#endif
}

}  // namespace kt::test
