// SPDX-License-Identifier: MIT
#include "connect/sql/Kt_SqlSupport.h"

#include "classlib/value/Kt_Operators.h"
#include "connect/sql/detail/Kt_SqlFunctions.h"

namespace {

using kt::Operator;

struct OperatorRow {
  Operator op;
  const char* sqlite;
  const char* postgresql;
  const char* stays;
};

constexpr const char* kNumbers = "amounts, dates, texts; numbers that may be infinite or NaN";

// clang-format off
constexpr OperatorRow kOperators[] = {
    {Operator::kAdd, "`+`; of a text `\\|\\|`", "`+`; of a text `\\|\\|`",
     "amounts, dates; numbers that may be infinite or NaN; where nulls decide whether it joins; the text of a double"},
    {Operator::kSub, "`-`", "`-`", kNumbers},
    {Operator::kMul, "`*`", "`*`", kNumbers},
    {Operator::kDiv, "`/` of doubles, where the divisor cannot be 0 or null",
     "`/` of doubles; by a long that may be 0 in a `CASE`", kNumbers},
    {Operator::kMod, "`%` of whole numbers, where the divisor cannot be 0 or null",
     "`%` of whole numbers, where the divisor cannot be 0 or null", "numbers with fractions"},
    {Operator::kEqual, "`=`", "`=`", "texts with numbers; dates with numbers, or with a time of day"},
    {Operator::kNotEqual, "`NOT =`", "`NOT =`", "as `=`"},
    {Operator::kGreater, "`>`", "`>`", "as `=`; texts that may have characters beyond U+FFFF"},
    {Operator::kGreaterEqual, "`>=`", "`>=`", "as `>`"},
    {Operator::kLess, "`<`", "`<`", "as `>`"},
    {Operator::kLessEqual, "`<=`", "`<=`", "as `>`"},
    {Operator::kAnd, "`AND`", "`AND`", "the truth of texts and dates"},
    {Operator::kOr, "`OR`", "`OR`", "the truth of texts and dates"},
    {Operator::kNot, "`NOT`", "`NOT`", "the truth of texts and dates"},
    {Operator::kLoneAnd, "its right side", "its right side", ""},
};
// clang-format on
static_assert(std::size(kOperators) == static_cast<std::size_t>(Operator::kLoneAnd) + 1);

std::string Cell(const std::string& text) {
  std::string out;
  for (const char byte : text) out += byte == '|' ? std::string("\\|") : std::string(1, byte);
  return out;
}

}  // namespace

std::string Kt_SqlOperatorTable() {
  std::string out = "| operator | SQLite | PostgreSQL | stays here |\n|---|---|---|---|\n";
  for (const OperatorRow& row : kOperators) {
    const std::string token = Kt_WString(kt::OperatorText(row.op)).ToUtf8();
    out += "| `" + Cell(token) + "` | " + row.sqlite + " | " + row.postgresql + " | " + row.stays +
           " |\n";
  }
  return out;
}

std::string Kt_SqlFunctionTable() {
  std::string out = "| function | in SQL | when, or why not |\n|---|---|---|\n";
  for (const kt::detail::SqlFunction& function : kt::detail::SqlFunctions()) {
    const bool is_translated = function.make != nullptr;
    out += std::string("| `") + function.name + "` | " + (is_translated ? function.becomes : "no") +
           " | " + (is_translated ? function.condition : function.becomes) + " |\n";
  }
  return out;
}
