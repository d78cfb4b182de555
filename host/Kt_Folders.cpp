// SPDX-License-Identifier: MIT
#include "host/Kt_Folders.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "classlib/base/Kt_Path.h"
#include "host/Kt_Errors.h"

namespace kt {
namespace {

using Path = std::filesystem::path;

std::optional<std::string> ReadInside(const Path& folder, const Path& wanted) {
  std::error_code error;
  const Path file = std::filesystem::canonical(wanted, error);
  if (error || !std::filesystem::is_regular_file(file, error)) return std::nullopt;
  const auto [end, rest] = std::mismatch(folder.begin(), folder.end(), file.begin(), file.end());
  if (end != folder.end()) return std::nullopt;
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

Folders& Folders::add(const std::string& folder) {
  std::error_code error;
  const Path path = std::filesystem::canonical(kt_path(folder), error);
  if (error || !std::filesystem::is_directory(path)) {
    throw RunError("there is no folder '" + folder + "'");
  }
  folders_.push_back(path.string());
  return *this;
}

std::optional<std::string> Folders::operator()(const std::string& name, const std::string&) const {
  for (const std::string& folder : folders_) {
    if (auto text = ReadInside(kt_path(folder), kt_path(folder) / kt_path(name))) return text;
  }
  return std::nullopt;
}

std::string Folders::read(const std::string& name) const {
  if (auto text = (*this)(name, "")) return *std::move(text);
  throw RunError("there is no '" + name + "' in the folders of scripts");
}

}  // namespace kt
