// SPDX-License-Identifier: MIT
#include "connect/detail/Kt_Zip.h"

#include "classlib/base/Kt_Charge.h"
#include "connect/detail/Kt_LibZip.h"

namespace kt::detail {
namespace {

// Parts of workbooks shrink ten to fifty times. One that was made to fill memory or time shrinks a
// thousand times, which is all that the method can do.
constexpr std::uint64_t kAnySize = std::uint64_t{64} << 20;
constexpr std::uint64_t kMaxRatio = 400;

struct PartCloser {
  void operator()(zip_file_t* part) const { zip_fclose(part); }
};

std::string TextOf(zip_error_t& error) {
  std::string text = zip_error_strerror(&error);
  zip_error_fini(&error);
  return text;
}

}  // namespace

std::unique_ptr<ZipArchive> ZipArchive::Open(std::string_view bytes, std::string& error) {
  zip_error_t failure;
  zip_error_init(&failure);
  zip_source_t* const source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &failure);
  if (source == nullptr) {
    error = TextOf(failure);
    return nullptr;
  }
  zip_t* const archive = zip_open_from_source(source, ZIP_RDONLY, &failure);
  if (archive == nullptr) {
    zip_source_free(source);
    error = TextOf(failure);
    return nullptr;
  }
  zip_error_fini(&failure);
  return std::unique_ptr<ZipArchive>(new ZipArchive(archive));
}

ZipArchive::~ZipArchive() { zip_discard(archive_); }

bool ZipArchive::Has(const std::string& name) const {
  return zip_name_locate(archive_, name.c_str(), ZIP_FL_NOCASE) >= 0;
}

bool ZipArchive::Read(const std::string& name, const std::function<std::span<char>()>& room,
                      const std::function<bool(std::size_t, bool)>& take, std::string& error) {
  const auto fail = [&](const std::string& reason) {
    error = "'" + name + "': " + reason;
    return false;
  };
  zip_stat_t stat;
  if (zip_stat(archive_, name.c_str(), ZIP_FL_NOCASE, &stat) != 0) return fail("is missing");
  const std::unique_ptr<zip_file_t, PartCloser> part(
      zip_fopen(archive_, name.c_str(), ZIP_FL_NOCASE));
  if (!part) return fail(zip_error_strerror(zip_get_error(archive_)));
  std::uint64_t unpacked = 0;
  RoundCharge charge;
  for (;;) {
    const std::span<char> bytes = room();
    const zip_int64_t count = zip_fread(part.get(), bytes.data(), bytes.size());
    if (count < 0) return fail(zip_error_strerror(zip_file_get_error(part.get())));
    unpacked += static_cast<std::uint64_t>(count);
    if (unpacked > kAnySize && unpacked / kMaxRatio > stat.comp_size) {
      return fail("unpacks to more than 400 times its size");
    }
    charge.AddOrLeave(count);
    if (!take(static_cast<std::size_t>(count), count == 0)) return false;
    if (count == 0) return true;
  }
}

}  // namespace kt::detail
