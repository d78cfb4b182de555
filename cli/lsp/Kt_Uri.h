// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace kt::cli::lsp {

// The file that a URI names, canonical where it is there; nothing for other schemes than file.
std::optional<std::filesystem::path> PathOfUri(std::string_view uri);
std::string UriOfPath(const std::filesystem::path& path);

}  // namespace kt::cli::lsp
