// SPDX-License-Identifier: MIT
#pragma once

#include <sqlite3.h>

#include "connect/detail/Kt_ClientLibrary.h"

namespace kt::detail {

#define KT_SQLITE3(X)         \
  X(sqlite3_bind_blob64)      \
  X(sqlite3_bind_double)      \
  X(sqlite3_bind_int64)       \
  X(sqlite3_bind_null)        \
  X(sqlite3_bind_text64)      \
  X(sqlite3_busy_handler)     \
  X(sqlite3_changes)          \
  X(sqlite3_clear_bindings)   \
  X(sqlite3_close_v2)         \
  X(sqlite3_column_blob)      \
  X(sqlite3_column_bytes)     \
  X(sqlite3_column_count)     \
  X(sqlite3_column_decltype)  \
  X(sqlite3_column_double)    \
  X(sqlite3_column_int64)     \
  X(sqlite3_column_name)      \
  X(sqlite3_column_text)      \
  X(sqlite3_column_type)      \
  X(sqlite3_db_config)        \
  X(sqlite3_errmsg)           \
  X(sqlite3_extended_errcode) \
  X(sqlite3_finalize)         \
  X(sqlite3_get_autocommit)   \
  X(sqlite3_limit)            \
  X(sqlite3_open_v2)          \
  X(sqlite3_prepare_v2)       \
  X(sqlite3_progress_handler) \
  X(sqlite3_reset)            \
  X(sqlite3_set_authorizer)   \
  X(sqlite3_step)             \
  X(sqlite3_system_errno)     \
  X(sqlite3_total_changes)

KT_CLIENT_LIBRARY(LoadLibSqlite, KT_SQLITE3_FILE, KT_SQLITE3)
#undef KT_SQLITE3

}  // namespace kt::detail
