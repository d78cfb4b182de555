// SPDX-License-Identifier: MIT
//
// Runs a fuzz target over kept inputs without a fuzzer, so that every test run on every compiler
// covers the corpus. Arguments are files and directories (searched recursively); directories are
// read in sorted order, so a crash follows the same last "input" line on every machine.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

// Appends the regular files that `path` stands for; false when it cannot be read.
bool Collect(const fs::path& path, std::vector<fs::path>& files) {
  std::error_code error;
  if (!fs::is_directory(path, error)) {
    files.push_back(path);
    return fs::is_regular_file(path, error);
  }
  const auto first = static_cast<std::ptrdiff_t>(files.size());
  for (fs::recursive_directory_iterator it(path, error), end; it != end; it.increment(error)) {
    if (error) return false;
    if (it->is_regular_file()) files.push_back(it->path());
  }
  std::sort(files.begin() + first, files.end());
  return !error;
}

bool RunFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // A heap block of exactly this size: the sanitizer sees the first byte read past the input.
  const std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), copy.get());
  LLVMFuzzerTestOneInput(copy.get(), bytes.size());
  return !in.bad();
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    if (!Collect(argv[i], files)) {
      std::fprintf(stderr, "cannot read %s\n", argv[i]);
      return 1;
    }
  }
  if (files.empty()) {
    std::fprintf(stderr, "usage: %s FILE|DIRECTORY... (with at least one input)\n", argv[0]);
    return 1;
  }
  for (const fs::path& file : files) {
    std::printf("input %s\n", file.string().c_str());
    std::fflush(stdout);
    if (!RunFile(file)) {
      std::fprintf(stderr, "cannot read %s\n", file.string().c_str());
      return 1;
    }
  }
  std::printf("%zu inputs replayed\n", files.size());
  return 0;
}
