// SPDX-License-Identifier: MIT
#include "connect/sql/Kt_SqlSteps.h"

#include <algorithm>

namespace {

// Which servers make groups.
std::string OnServers(const Kt_SqlAnswer& answer) {
  if (answer.part_count == 0) return {};
  const std::string parts =
      std::to_string(answer.part_count) + (answer.part_count == 1 ? " partition" : " partitions");
  return answer.is_over_parts ? ", merged of those of " + parts + " that are made where these are"
                              : ", of rows of " + parts + " that are fetched from where these are";
}

std::string InDatabase(const Kt_SqlTable& table, const Kt_SqlRequest& request,
                       const Kt_SqlAnswer& answer) {
  std::string there;
  const auto add = [&](const std::string& what) { there += (there.empty() ? "" : "; ") + what; };
  if (answer.has_filter) add(answer.is_filtered ? "the filter" : "a part of the filter");
  if (answer.is_grouped) {
    add("the groups and their totals" + OnServers(answer));
  } else if (answer.leaves_columns) {
    add("the choice of " + std::to_string(answer.column_count) + " of " +
        std::to_string(std::ranges::count(table.Columns(), false, &Kt_SqlColumn::is_computed)) +
        " columns");
  }
  if (answer.is_limited) {
    add("the first " + std::to_string(request.limit) + " rows" +
        (request.order.empty() ? "" : " in their order"));
  }
  return there.empty() ? "nothing but reading" : there;
}

}  // namespace

std::vector<std::string> Kt_SqlSteps(const Kt_SqlTable& table, const Kt_SqlRequest& request,
                                     const Kt_SqlAnswer& answer, kt_long rows) {
  std::vector<std::string> lines;
  for (const std::string& question : answer.questions) lines.push_back("asked first: " + question);
  lines.push_back("statement: " + answer.statement);
  for (std::size_t at = 0; at < answer.parameters.size(); ++at) {
    lines.push_back("?" + std::to_string(at + 1) + " is " +
                    answer.parameters[at].ToString().ToUtf8());
  }
  lines.push_back("in the database: " + InDatabase(table, request, answer) + "; " +
                  std::to_string(rows) + (rows == 1 ? " row was" : " rows were") + " fetched");
  if (!request.filter.IsEmpty() && !answer.is_filtered) lines.emplace_back("here: the filter");
  if (!request.order.empty() && !answer.is_limited) lines.emplace_back("here: the order");
  for (const std::string& reason : answer.reasons) lines.push_back("here, because of " + reason);
  return lines;
}
