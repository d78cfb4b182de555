// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "connect/Kt_Database.h"
#include "connect/sql/Kt_SqlApi.h"

namespace kt {

// kt::LoadDatabase for every URL, also for one that selects rows and columns of a table (its
// filter, sort, limit and columns). The database does as much of that as gives the same; the rest
// is done here, over the rows that came.
//
// The dataset is what it would be if the whole table had been loaded, the rows for which the filter
// is explicitly false taken out, the others sorted (stable, nulls first), and cut; columns have the
// types of the whole table, and stay in its order. It is as it was when the load fails.
// `steps`, unless null: the statements, what ran where and why, a line each.
// The rows, or a negative code with the error, which holds no password. A filter that cannot be
// evaluated in some row is an error. Threads: those of the dataset.
KT_SQL_API kt_long LoadSelected(const Kt_DatabaseUrl& url, const Kt_Database::Options& options,
                                Kt_Dataset& dataset, std::vector<std::string>* steps,
                                std::string& error);

}  // namespace kt
