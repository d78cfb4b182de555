// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "connect/Kt_Changes.h"
#include "connect/sql/Kt_SqlSelect.h"
#include "dataset/Kt_ExprDataset.h"
#include "host/Kt_Table.h"

// Tables that are loaded from databases and saved to them; needs the library KtSqlLib320U.
//
//   kt::Table orders = engine.dataset("orders");
//   kt::load_database(orders, "sqlite:shop.db?table=orders");
//   engine.call("correct");
//   kt::save_changes(orders, "sqlite:shop.db?table=orders");
//   kt::load_database(orders, "sqlite:shop.db?table=orders&columns=id,price&filter=price > 5");

namespace kt {

// Changes that were not saved: report() has the rows that do not fit.
class ChangeError : public RunError {
 public:
  explicit ChangeError(Kt_ChangeReport report)
      : RunError(report.error), report_(std::move(report)) {}
  const Kt_ChangeReport& report() const { return report_; }

 private:
  Kt_ChangeReport report_;
};

namespace detail {

inline Kt_DatabaseUrl DatabaseUrl(std::string_view text) {
  Kt_DatabaseUrl url;
  std::string reason;
  if (!Kt_DatabaseUrl::Parse(text, url, reason)) {
    throw RunError(WithoutPasswords(text) + ": " + reason);
  }
  return url;
}

}  // namespace detail

// What the URL names in place of the columns and rows of the table. How many rows; throws a
// RunError otherwise, and the table is as it was. `steps`, unless null: of a filter, sort and limit
// of the URL, what the database did of them and what was done here, a line each.
inline int load_database(Table& table, std::string_view text,
                         const Kt_Database::Options& options = {},
                         std::vector<std::string>* steps = nullptr) {
  const Kt_DatabaseUrl url = detail::DatabaseUrl(text);
  std::string error;
  const kt_long rows = LoadSelected(url, options, table.data(), steps, error);
  if (rows < 0) throw RunError(url.shown + ": " + error);
  table.wrapper().AnnounceRows(Kt_LoadReason::kLoaded);
  return rows;
}

// Saves what was changed since then to the table of the URL, all or nothing. How many rows; throws
// a ChangeError when nothing was saved, and the table keeps its changes.
inline int save_changes(Table& table, std::string_view text,
                        const Kt_Database::Options& options = {}) {
  Kt_ChangeReport report;
  const kt_long saved = SaveChanges(detail::DatabaseUrl(text), options, table.data(), report);
  if (saved < 0) throw ChangeError(std::move(report));
  return saved;
}

}  // namespace kt
