// SPDX-License-Identifier: MIT
#pragma once

#include <string>

// The tables of docs/sql.md: every operator and every built-in function with what becomes of it in
// a statement, as Markdown, made from the table that the translation goes by.
std::string Kt_SqlOperatorTable();
std::string Kt_SqlFunctionTable();
