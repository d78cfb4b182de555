// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

struct zip;

namespace kt::detail {

// An archive in memory whose parts are read piece by piece. Borrows the bytes.
// Threads: one at a time.
// REQUIRES: LoadLibZip (Kt_LibZip.h) has answered true.
class ZipArchive {
 public:
  // Null, with the reason, for what is no archive.
  static std::unique_ptr<ZipArchive> Open(std::string_view bytes, std::string& error);
  ~ZipArchive();
  ZipArchive(const ZipArchive&) = delete;
  ZipArchive& operator=(const ZipArchive&) = delete;

  bool Has(const std::string& name) const;
  // Fills what `room` gives with the next bytes and calls take(count, is_last) until the part ends
  // or take() is false, which has set the reason then. False, with the reason, for a part that is
  // not there, damaged, encrypted, or that grows beyond all measure when it is unpacked.
  bool Read(const std::string& name, const std::function<std::span<char>()>& room,
            const std::function<bool(std::size_t count, bool is_last)>& take, std::string& error);

 private:
  explicit ZipArchive(zip* archive) : archive_(archive) {}

  zip* archive_;
};

}  // namespace kt::detail
