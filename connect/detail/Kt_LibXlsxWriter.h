// SPDX-License-Identifier: MIT
#pragma once

#include <xlsxwriter.h>

#include "connect/detail/Kt_ClientLibrary.h"

namespace kt::detail {

#define KT_XLSXWRITER(X)        \
  X(format_set_bg_color)        \
  X(format_set_bold)            \
  X(format_set_bottom)          \
  X(format_set_num_format)      \
  X(format_set_top)             \
  X(lxw_strerror)               \
  X(workbook_add_format)        \
  X(workbook_add_worksheet)     \
  X(workbook_close)             \
  X(workbook_new_opt)           \
  X(worksheet_autofilter)       \
  X(worksheet_freeze_panes)     \
  X(worksheet_outline_settings) \
  X(worksheet_set_column)       \
  X(worksheet_set_row_opt)      \
  X(worksheet_write_blank)      \
  X(worksheet_write_boolean)    \
  X(worksheet_write_number)     \
  X(worksheet_write_string)

KT_CLIENT_LIBRARY(LoadLibXlsxWriter, KT_XLSXWRITER_FILE, KT_XLSXWRITER)
#undef KT_XLSXWRITER

}  // namespace kt::detail
