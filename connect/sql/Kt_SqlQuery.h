// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "classlib/value/Kt_Aggregate.h"
#include "connect/sql/Kt_SqlTable.h"

// What is wanted of a table. Columns are named by their ids.
struct Kt_SqlRequest {
  // Columns that are computed, of those of the table and of those before them. All else may name
  // them. Groups come with them; of rows come the columns that they read.
  struct Added {
    Kt_WString id;
    Kt_ColumnType type = Kt_ColumnType::kDouble;
    Kt_WString expression;
  };
  std::vector<Added> added;
  Kt_WString filter;
  // Of the rows that the filter keeps; none: all columns.
  std::vector<Kt_WString> columns;
  // In place of the rows: a row for every set of equal values in these, with the aggregates. As
  // they are merged further, an average comes as a sum and a count.
  std::vector<Kt_WString> keys;
  std::vector<std::pair<Kt_Aggregate, Kt_WString>> totals;
  // Of the rows only the first ones in this order, nulls first; 0: all, in the order of the table.
  // Rows that are equal in it stay in the order of the table.
  struct SortKey {
    Kt_WString id;
    bool descending = false;
  };
  std::vector<SortKey> order;
  kt_long limit = 0;
  bool counts_rows = false;  // how many rows there would be without a limit is asked too
};

// What the statement does of it, and what is left.
struct Kt_SqlAnswer {
  std::string statement;
  std::vector<Kt_Variant> parameters;
  std::vector<std::string> questions;  // the statements that asked for kinds and ranges
  bool has_filter = false;             // the filter, or a part of it, was in the statement
  bool is_filtered = false;            // all of it: nothing is left to do
  bool is_grouped = false;
  // Of groups of a table with parts on other servers: these make the groups of their rows, which
  // are merged; otherwise the server that is asked fetches the rows from them.
  std::size_t part_count = 0;
  bool is_over_parts = false;
  bool is_finished = false;      // there is nothing to do with the rows, nor a column too many
  bool is_limited = false;       // no more rows were fetched than wanted, and in their order
  std::int64_t row_count = -1;   // where that was asked: how many there are without the limit
  std::size_t column_count = 0;  // of the table, that were fetched as they are
  bool leaves_columns = false;   // others were not
  // Ids of the added columns of groups: how many rows they stand for; for every average of
  // `totals`, how many values its sum has, otherwise empty.
  Kt_WString row_count_id;
  std::vector<Kt_WString> value_count_ids;
  // Why something is left, each in a line of its own.
  std::vector<std::string> reasons;
};

// Loads what is wanted of a table, by one statement that leaves as much as possible to the
// database, after one that asks for what has to be known of the values; both see the same rows. The
// dataset is what it would be if all rows were loaded and then filtered, sorted and cut: the same
// rows in the same order, in columns of the same types; groups come in any order. What the answer
// says is left is left to the caller.
// With `unfinished`, rows with which something is left to do go there, and `dataset` stays as it
// was. The number of rows, or a negative code with the error.
KT_SQL_API kt_long Kt_SqlLoad(Kt_Database& database, Kt_SqlTable& table,
                              const Kt_SqlRequest& request, Kt_Dataset& dataset,
                              Kt_SqlAnswer& answer, std::string& error,
                              Kt_Dataset* unfinished = nullptr);
