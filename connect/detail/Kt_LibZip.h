// SPDX-License-Identifier: MIT
#pragma once

#include <zip.h>

#include "connect/detail/Kt_ClientLibrary.h"

namespace kt::detail {

#define KT_LIBZIP(X)          \
  X(zip_discard)              \
  X(zip_error_fini)           \
  X(zip_error_init)           \
  X(zip_error_strerror)       \
  X(zip_fclose)               \
  X(zip_file_get_error)       \
  X(zip_fopen)                \
  X(zip_fread)                \
  X(zip_get_error)            \
  X(zip_name_locate)          \
  X(zip_open_from_source)     \
  X(zip_source_buffer_create) \
  X(zip_source_free)          \
  X(zip_stat)

KT_CLIENT_LIBRARY(LoadLibZip, KT_ZIP_FILE, KT_LIBZIP)
#undef KT_LIBZIP

}  // namespace kt::detail
