// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "connect/sql/Kt_SqlTable.h"

namespace kt::detail {
struct ExprNode;
}  // namespace kt::detail

// A row expression over a table: as a condition or a value of a statement of its database.
//
// What is translated gives the same as the engine for every row; what does not is refused with the
// reason. A filter of several conditions joined by && may go in part:
//
//   price > 10 && round(price) < 20 && name = 'x'
//   WHERE "price" > 10 AND "name" = 'x', and the whole filter over the rows that are left
//
// which is the same as long as the conditions that stay cannot fail, and ask for nothing but cells.
// Threads: one at a time.
class KT_SQL_API Kt_SqlExpr {
 public:
  // Parses and binds the names to the columns of the table, as a row of its dataset would.
  explicit Kt_SqlExpr(const Kt_WString& text);
  Kt_SqlExpr(const Kt_SqlExpr&) = delete;
  Kt_SqlExpr& operator=(const Kt_SqlExpr&) = delete;
  ~Kt_SqlExpr();

  // False, with the reason, for what has no form that could be translated: a syntax error, members,
  // names that are no columns. Nothing else may be asked then.
  bool Bind(const Kt_SqlTable& table, std::string& reason);
  // The columns that it reads.
  const std::vector<std::size_t>& Columns() const { return columns_; }

  // The condition for the rows that a filter keeps: those for which the value is not explicitly
  // false.
  struct Filter {
    std::string where;       // empty: keeps all
    bool is_whole = false;   // nothing is left to do
    bool may_learn = false;  // more of it might go when the table is asked more
    // Of every condition that does not go: its part of the text as far as that is known, and why.
    std::vector<std::string> reasons;
  };
  // Values are put into `parameters`, numbered from the size that it has.
  Filter ToFilter(const Kt_SqlTable& table, std::vector<Kt_Variant>& parameters) const;
  // The value; empty, with the reason, when it is refused. A truth is 1 or 0.
  std::string ToValue(const Kt_SqlTable& table, std::vector<Kt_Variant>& parameters,
                      std::string& reason) const;
  // Adds a column of that id and type to the table whose cells are the values. What the type would
  // change, and what is refused, is a column that statements leave to the engine.
  void AddTo(Kt_SqlTable& table, const Kt_WString& id, Kt_ColumnType type) const;

 private:
  Kt_WString text_;
  std::shared_ptr<const kt::detail::ExprNode> tree_;
  std::vector<std::size_t> columns_;
};
