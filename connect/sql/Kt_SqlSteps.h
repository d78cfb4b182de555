// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "connect/sql/Kt_SqlQuery.h"

// What became of a request, a line each, to be shown: the statements, their parameters, which part
// ran in the database, and which is left and why. `rows`: how many came.
KT_SQL_API std::vector<std::string> Kt_SqlSteps(const Kt_SqlTable& table,
                                                const Kt_SqlRequest& request,
                                                const Kt_SqlAnswer& answer, kt_long rows);
