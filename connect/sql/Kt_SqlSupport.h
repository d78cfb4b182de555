// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "connect/sql/Kt_SqlApi.h"

// The tables of docs/sql.md: every operator and every built-in function with what becomes of it in
// a statement, as Markdown, made from the table that the translation goes by.
KT_SQL_API std::string Kt_SqlOperatorTable();
KT_SQL_API std::string Kt_SqlFunctionTable();
