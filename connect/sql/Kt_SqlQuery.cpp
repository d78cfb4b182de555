// SPDX-License-Identifier: MIT
//
// One statement for a request. It is made first from what the declarations tell; when that leaves
// something out that knowledge might bring, the table is asked for the kinds of the columns at hand
// and the statement is made again, and once more with the ranges of what the filter computes with.
#include "connect/sql/Kt_SqlQuery.h"

#include <algorithm>
#include <cmath>

#include "classlib/store/Kt_UniqueIds.h"
#include "connect/detail/Kt_Guarded.h"
#include "connect/sql/Kt_SqlTranslate.h"
#include "connect/sql/detail/Kt_SqlGrouping.h"
#include "connect/sql/detail/Kt_SqlWords.h"

namespace {

using Kind = Kt_SqlKind;
using kt::detail::SqlGrouping;
using kt::detail::SqlMerge;

// Sums of amounts that SQLite adds as ten-thousandths come back as doubles.
constexpr double kMaxAmount = 900719925474.0;

constexpr const char* kMayBeBeyond = "may have texts with characters beyond U+FFFF";

class Query {
 public:
  Query(const Kt_SqlTable& table, const Kt_SqlRequest& request, const Kt_SqlExpr* filter)
      : parameters(table.Parameters()),
        groups(table.QuotedName(), table.Parts()),
        table_(table),
        request_(request),
        filter_(filter),
        may_limit_(request.limit > 0) {}

  void Make() {
    if (filter_ != nullptr) MakeFilter();
    const bool is_filtered = request_.filter.IsEmpty() || answer.is_filtered;
    if (!request_.keys.empty() && is_filtered) answer.is_grouped = MakeGroups();
    if (!request_.keys.empty() && !is_filtered) Leave("the groups: the filter comes first");
    if (!answer.is_grouped) MakeRows();
    Finish();
  }

  Kt_SqlAnswer answer;
  std::vector<Kt_Variant> parameters;
  std::vector<Kt_ColumnType> types;
  SqlGrouping groups;  // when the answer is grouped
  // What asking the table for might make more of it.
  bool wants_types = false;
  bool wants_ranges = false;
  // To be asked first where the order of the table is none: whether the order of the request leaves
  // no rows equal. Empty otherwise.
  std::string TiesQuestion() const {
    if (!answer.is_limited || ties_order_.empty()) return {};
    std::string list;
    for (const Kt_SqlRequest::SortKey& key : request_.order) {
      list += (list.empty() ? "" : ", ") + Column(key.id).sql;
    }
    return "SELECT " + list + FromWhere() + " ORDER BY " + ties_order_ + " LIMIT " +
           std::to_string(std::int64_t{request_.limit} + 1);
  }
  // Whether it is wanted how many rows there would be without a limit, and the question.
  bool HasCount() const { return answer.is_limited && request_.counts_rows; }
  SqlGrouping CountQuestion() const {
    SqlGrouping count(table_.QuotedName(), table_.Parts());
    count.Add(SqlMerge::kCount, "count(*)");
    count.SetWhere(where_);
    return count;
  }

 private:
  void Leave(std::string reason) { answer.reasons.push_back(std::move(reason)); }

  void MakeFilter() {
    Kt_SqlExpr::Filter made = filter_->ToFilter(table_, parameters);
    where_ = std::move(made.where);
    answer.is_filtered = made.is_whole;
    wants_types = wants_ranges = made.may_learn;
    for (std::string& reason : made.reasons) Leave("the filter: " + reason);
  }

  const Kt_SqlColumn& Column(const Kt_WString& id) const { return *table_.Find(id); }

  void Select(const std::string& sql, const Kt_WString& id, Kt_ColumnType type) {
    list_ += (list_.empty() ? "" : ", ") + sql + " AS " + Kt_Database::Quoted(id.ToUtf8());
    types.push_back(type);
  }

  // ---- Rows -----------------------------------------------------------------------------------

  void MakeRows() {
    list_.clear();
    types.clear();
    order_ = where_.empty() ? "" : table_.RowOrder();
    answer.is_limited = may_limit_ && MakeLimit();
    const bool is_part = !where_.empty() || answer.is_limited;
    const std::vector<const Kt_SqlColumn*> columns = FetchedColumns();
    for (const Kt_SqlColumn* const column : columns) {
      Select(column->sql, column->id, column->type);
      if (column->has_type || !is_part) continue;
      // Its type in the dataset depends on the rows that would be left out.
      wants_types = true;
      Leave((where_.empty() ? "the limit: " : "the filter: ") + Complaint(*column));
      where_.clear();
      parameters = table_.Parameters();
      may_limit_ = false;
      answer.is_filtered = false;
      return MakeRows();  // with the columns that the filter reads
    }
    if (!is_part) types.clear();
    answer.has_filter = !where_.empty();
    answer.column_count = columns.size();
    answer.leaves_columns = std::ranges::count(table_.Columns(), false,
                                               &Kt_SqlColumn::is_computed) > std::ssize(columns);
    const bool is_all = request_.filter.IsEmpty() || answer.is_filtered;
    const bool is_arranged = answer.is_limited || (request_.order.empty() && request_.limit == 0);
    answer.is_finished = is_all && is_arranged;
  }

  std::vector<const Kt_SqlColumn*> FetchedColumns() const {
    const std::vector<Kt_SqlColumn>& all = table_.Columns();
    std::vector<bool> is_wanted(all.size());
    for (std::size_t at = all.size(); at-- > 0;) {
      is_wanted[at] = is_wanted[at] || IsWanted(all[at]);
      if (!is_wanted[at] || !all[at].is_computed) continue;
      for (const std::size_t input : all[at].inputs) is_wanted[input] = true;
    }
    std::vector<const Kt_SqlColumn*> columns;
    for (const Kt_SqlColumn& column : all) {
      if (is_wanted[table_.IndexOf(column)] && !column.is_computed) columns.push_back(&column);
    }
    if (columns.empty()) columns.push_back(all.data());  // a statement has to ask for something
    return columns;
  }

  bool IsWanted(const Kt_SqlColumn& column) const {
    const auto is_it = [&](const Kt_WString& id) { return id.EqualsNoCase(column.id); };
    return request_.columns.empty() || std::ranges::any_of(request_.columns, is_it) ||
           (!answer.is_limited &&
            std::ranges::any_of(request_.order, is_it, &Kt_SqlRequest::SortKey::id)) ||
           IsForFilter(column);
  }

  static std::string Complaint(const Kt_SqlColumn& column) {
    return "column '" + column.name + "' " + column.why_other;
  }

  // ---- The first rows -------------------------------------------------------------------------
  //
  // Sorting alone saves nothing: the same rows come, and are sorted here in less time. The first
  // rows of an order save all others. Rows that are equal in it have to stay in the order of the
  // table, which is one more key; a table without an order is asked first whether there are such.

  bool MakeLimit() {
    if (!request_.filter.IsEmpty() && !answer.is_filtered) {
      return LeaveLimit("the filter comes first");
    }
    std::string order;
    for (const Kt_SqlRequest::SortKey& key : request_.order) {
      if (!AddSortKey(key, order)) return false;
    }
    if (order.empty() && table_.RowOrder().empty()) {
      return LeaveLimit("the rows of a view, or of a table made of others, have no order to keep");
    }
    ties_order_ = table_.RowOrder().empty() ? order : "";
    if (!table_.RowOrder().empty()) order += (order.empty() ? "" : ", ") + table_.RowOrder();
    order_ = std::move(order);
    return true;
  }

  bool LeaveLimit(std::string reason) {
    Leave("the limit: " + std::move(reason));
    return false;
  }

  // NaN comes after all numbers, as in sorts; nulls are first in both directions.
  bool AddSortKey(const Kt_SqlRequest::SortKey& key, std::string& order) {
    const Kt_SqlColumn& column = Column(key.id);
    wants_types = wants_types || !column.has_type;
    if (!column.has_type || column.kind == Kind::kOther) return LeaveLimit(Complaint(column));
    // In an ORDER BY the names of the answer come first.
    const Kt_SqlColumn* const same = table_.Find(Kt_WString::FromUtf8(column.name));
    if (same != nullptr && same != &column) {
      return LeaveLimit("another column has come to be called '" + column.name + "'");
    }
    if (column.kind == Kind::kNothing) return true;
    const bool is_text = column.kind == Kind::kText;
    wants_ranges = wants_ranges || (is_text && !column.has_text_range);
    if (is_text && !(table_.IsUtf8() && column.is_plain)) {
      return LeaveLimit("column '" + column.name + "' " + kMayBeBeyond);
    }
    order += (order.empty() ? "" : ", ") + column.sql;
    if (is_text) order += CodeUnitOrder(column);
    if (key.descending) order += " DESC";
    // What each database does by itself, an index finds.
    const bool has_nulls_first = table_.IsSqlite() != key.descending;
    if (column.may_be_null && !has_nulls_first) order += " NULLS FIRST";
    return true;
  }

  const char* CodeUnitOrder(const Kt_SqlColumn& column) const {
    if (table_.IsSqlite()) return " COLLATE BINARY";
    return kt::detail::pg::IsByteOrder(column.collation) ? "" : " COLLATE \"C\"";
  }

  // Whether the filter, or what is left of it, reads the column here.
  bool IsForFilter(const Kt_SqlColumn& column) const {
    if (request_.filter.IsEmpty() || answer.is_filtered) return false;
    if (filter_ == nullptr) return true;  // nobody knows what it reads
    return std::ranges::find(filter_->Columns(), table_.IndexOf(column)) !=
           filter_->Columns().end();
  }

  // ---- Groups ---------------------------------------------------------------------------------

  void Group(SqlMerge merge, const std::string& sql, const Kt_WString& id, Kt_ColumnType type) {
    groups.Add(merge, sql, id.ToUtf8());
    types.push_back(type);
  }

  bool MakeGroups() {
    for (const Kt_WString& id : request_.keys) {
      const Kt_SqlColumn& column = Column(id);
      if (!column.has_type || column.kind == Kind::kOther || column.kind == Kind::kReal) {
        const char* const why = column.kind == Kind::kReal
                                    ? "holds doubles, whose zeros and NaN make groups of their own"
                                    : column.why_other.c_str();
        return Refuse(column, why);
      }
      Group(SqlMerge::kKey, column.sql + Collation(column), column.id, column.type);
    }
    Kt_UniqueIds ids;
    for (const Kt_SqlColumn& column : table_.Columns()) (void)ids.Make(column.id);
    for (const auto& [what, id] : request_.totals) {
      answer.value_count_ids.emplace_back();
      const Kt_SqlColumn& column = Column(id);
      if (!MakeTotal(what, column)) return false;
      if (what != Kt_Aggregate::kAvg) continue;
      answer.value_count_ids.back() = ids.Make(column.id);
      GroupCount(column.sql, answer.value_count_ids.back());
    }
    answer.row_count_id = ids.Make(u"rows");
    GroupCount("*", answer.row_count_id);
    groups.SetWhere(where_);
    answer.has_filter = !where_.empty();
    return true;
  }

  void GroupCount(const std::string& of, const Kt_WString& id) {
    Group(SqlMerge::kCount, "count(" + of + ")", id, Kt_ColumnType::kLong);
  }

  std::string Collation(const Kt_SqlColumn& column) const {
    if (column.kind != Kind::kText) return {};
    if (table_.IsSqlite()) return " COLLATE BINARY";
    return column.is_bytewise ? "" : " COLLATE \"C\"";
  }

  bool Refuse(const Kt_SqlColumn& column, const std::string& why) {
    wants_types = wants_types || !column.has_type;
    Leave("the groups: column '" + column.name + "' " + why);
    return false;
  }

  bool MakeTotal(Kt_Aggregate what, const Kt_SqlColumn& column) {
    const std::string name = column.sql;
    const bool has_cells = !column.is_computed || column.kind != Kind::kOther;
    if (what == Kt_Aggregate::kCount && has_cells) {
      GroupCount(name, column.id);
      return true;
    }
    if (!column.has_type || column.kind == Kind::kOther) return Refuse(column, column.why_other);
    if (what == Kt_Aggregate::kMax || what == Kt_Aggregate::kMin) return MakeExtreme(what, column);
    return MakeSum(column);
  }

  bool MakeExtreme(Kt_Aggregate what, const Kt_SqlColumn& column) {
    const bool is_text = column.kind == Kind::kText;
    wants_ranges = wants_ranges || (is_text && !column.has_text_range);
    if (is_text && !(table_.IsUtf8() && column.is_plain)) {
      return Refuse(column, kMayBeBeyond);
    }
    std::string value = column.sql;
    if (is_text) value += CodeUnitOrder(column);
    if (!table_.IsSqlite() && column.type == Kt_ColumnType::kLong) value = "(" + value + ")::int4";
    const bool is_max = what == Kt_Aggregate::kMax;
    Group(is_max ? SqlMerge::kMax : SqlMerge::kMin, (is_max ? "max(" : "min(") + value + ")",
          column.id, column.type);
    return true;
  }

  // Sums of whole numbers and amounts are exact. One that the column's type does not hold is found
  // when it comes, and so is one that is infinite or NaN, which SQLite gives as null.
  bool MakeSum(const Kt_SqlColumn& column) {
    const std::string name = column.sql;
    const bool is_sqlite = table_.IsSqlite();
    std::string sum = "sum(" + name + ")";
    SqlMerge merge = SqlMerge::kSum;
    switch (column.kind) {
      case Kind::kWhole:
        if (is_sqlite) break;
        sum = "sum((" + name + ")::int8)";
        merge = SqlMerge::kWholeSum;
        break;
      case Kind::kReal:
        if (is_sqlite) sum = "total(" + name + ")";
        break;
      case Kind::kCurrency:
        if (is_sqlite) sum = "sum(CAST(round(" + name + " * 10000.0) AS INTEGER)) / 10000.0";
        break;
      case Kind::kNothing:
        if (column.type == Kt_ColumnType::kString) return Refuse(column, "holds nothing");
        sum = "NULL";
        merge = SqlMerge::kNull;
        break;
      default: return Refuse(column, "holds no numbers");
    }
    Group(merge, sum, column.id, column.type);
    return true;
  }

  // ---- The statement --------------------------------------------------------------------------

  void Finish() {
    if (!answer.is_grouped) answer.statement = "SELECT " + list_ + FromWhere();
    if (!answer.is_grouped && !order_.empty()) answer.statement += " ORDER BY " + order_;
    if (answer.is_limited) answer.statement += " LIMIT " + std::to_string(request_.limit);
    if (where_.empty()) parameters = table_.Parameters();
  }

  std::string FromWhere() const {
    return " FROM " + table_.QuotedName() + (where_.empty() ? "" : " WHERE " + where_);
  }

  const Kt_SqlTable& table_;
  const Kt_SqlRequest& request_;
  const Kt_SqlExpr* filter_;
  std::string where_;
  std::string list_;
  std::string order_;
  std::string ties_order_;  // the same where it is all the order that there is
  bool may_limit_;
};

// Both statements see the same rows in here.
class Reading {
 public:
  explicit Reading(Kt_Database& database, bool is_sqlite) : database_(database) {
    is_begun_ = Do(is_sqlite ? "BEGIN" : "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
  ~Reading() {
    if (is_begun_) Do("ROLLBACK");
  }

 private:
  bool Do(std::string_view statement) {
    std::int64_t ignored = 0;
    std::string error;
    return database_.Execute(statement, {}, ignored, error);
  }

  Kt_Database& database_;
  bool is_begun_ = false;
};

// What the statement may need to know: the types of all that it names, the ranges of what is
// computed.
std::vector<Kt_SqlTable::Wanted> Questions(const Kt_SqlTable& table, const Kt_SqlRequest& request,
                                           const Kt_SqlExpr* filter, bool wants_ranges) {
  std::vector<Kt_SqlTable::Wanted> wanted;
  const auto add = [&](std::size_t column, Kt_SqlQuestion question) {
    const auto known = std::ranges::find(wanted, column, &Kt_SqlTable::Wanted::column);
    if (known == wanted.end()) wanted.push_back({column, question});
  };
  if (filter != nullptr) {
    for (const std::size_t column : filter->Columns()) {
      add(column, wants_ranges ? Kt_SqlQuestion::kRange : Kt_SqlQuestion::kType);
    }
  }
  for (const auto& [what, id] : request.totals) {
    const Kt_SqlColumn& column = *table.Find(id);
    const bool is_extreme = what == Kt_Aggregate::kMax || what == Kt_Aggregate::kMin;
    const bool is_text = column.kind == Kind::kText && is_extreme;
    if (what == Kt_Aggregate::kCount || request.keys.empty()) continue;
    add(table.IndexOf(column),
        is_text && wants_ranges ? Kt_SqlQuestion::kRange : Kt_SqlQuestion::kType);
  }
  for (const Kt_SqlRequest::SortKey& key : request.order) {
    const Kt_SqlColumn& column = *table.Find(key.id);
    const bool is_text = column.kind == Kind::kText;
    add(table.IndexOf(column),
        is_text && wants_ranges ? Kt_SqlQuestion::kRange : Kt_SqlQuestion::kType);
  }
  const std::vector<Kt_WString>& fetched = request.keys.empty() ? request.columns : request.keys;
  for (std::size_t column = 0; column < table.Columns().size(); ++column) {
    const auto is_it = [&](const Kt_WString& id) {
      return id.EqualsNoCase(table.Columns()[column].id);
    };
    const bool is_fetched = fetched.empty() || std::ranges::any_of(fetched, is_it);
    if (is_fetched) add(column, Kt_SqlQuestion::kType);
  }
  return wanted;
}

// Whether the totals of groups are what the engine would have added up: numbers as the engine has
// them, as far as that could not be known before.
bool HasSoundTotals(const Kt_SqlTable& table, const Kt_SqlRequest& request,
                    const Kt_Dataset& dataset, std::string& error) {
  for (const auto& [what, id] : request.totals) {
    const Kt_SqlColumn& column = *table.Find(id);
    const bool adds = what == Kt_Aggregate::kSum || what == Kt_Aggregate::kAvg;
    const bool is_real = column.kind == Kind::kReal;
    const kt_long col = dataset.GetColIndex(id);
    for (kt_long row = 0; row < dataset.GetRowCount(); ++row) {
      const Kt_Variant value = dataset.ReadColumn(row, col);
      const double number = value.ToDouble();
      const bool is_lost = adds && is_real && table.IsSqlite() && value.IsEmpty();
      const bool is_odd = is_real && (adds ? !std::isfinite(number) : std::isnan(number));
      const bool is_great = adds && column.kind == Kind::kCurrency && table.IsSqlite() &&
                            std::fabs(number) > kMaxAmount;
      if (!is_lost && !is_odd && !is_great) continue;
      error = "the total of column '" + column.name + "' is infinite, NaN or too great";
      return false;
    }
  }
  return true;
}

// A value that no part of the statement has come to need cannot be bound.
std::vector<Kt_Variant> UsedIn(const std::string& statement, std::vector<Kt_Variant> parameters) {
  while (!parameters.empty() &&
         statement.find("?" + std::to_string(parameters.size())) == std::string::npos) {
    parameters.pop_back();
  }
  return parameters;
}

// Whether two rows are equal in all their columns, which have been sorted by them.
bool HasTies(const Kt_Dataset& sorted) {
  for (kt_long row = 1; row < sorted.GetRowCount(); ++row) {
    bool is_tie = true;
    for (kt_long col = 0; is_tie && col < sorted.GetColCount(); ++col) {
      is_tie = Var_Order(sorted.ReadColumn(row - 1, col), sorted.ReadColumn(row, col)) == 0;
    }
    if (is_tie) return true;
  }
  return false;
}

// The statement for the request, made with all that has to be known for it; null, with the error.
std::unique_ptr<Query> MakeQuery(Kt_Database& database, Kt_SqlTable& table,
                                 const Kt_SqlRequest& request, const Kt_SqlExpr* filter,
                                 std::string& error) {
  std::unique_ptr<Query> query;
  for (const bool wants_ranges : {false, true}) {
    query = std::make_unique<Query>(table, request, filter);
    query->Make();
    if (!(wants_ranges ? query->wants_ranges : query->wants_types || query->wants_ranges)) continue;
    if (!table.Ask(database, Questions(table, request, filter, wants_ranges), error)) {
      return nullptr;
    }
    query = std::make_unique<Query>(table, request, filter);
    query->Make();
  }
  return query;
}

// Asks what else a limit needs. False, with the error, when that fails. `has_ties`: rows are equal
// in an order that is all there is, so nobody can say which are the first.
bool AskForLimit(Kt_Database& database, Query& query, bool& has_ties, std::string& error) {
  Kt_Dataset told;
  if (const std::string ties = query.TiesQuestion(); !ties.empty()) {
    if (database.Query(ties, UsedIn(ties, query.parameters), told, error) < 0) return false;
    query.answer.questions.push_back(ties);
    has_ties = HasTies(told);
    if (has_ties) return true;
  }
  if (query.HasCount()) {
    std::string count;
    bool ignored = false;
    if (!query.CountQuestion().Choose(database, count, ignored, error)) return false;
    if (database.Query(count, UsedIn(count, query.parameters), told, error) < 0) return false;
    query.answer.questions.push_back(count);
    query.answer.row_count = static_cast<std::int64_t>(told.ReadColumn(0, 0).ToDouble());
  }
  return true;
}

// Adds the computed columns to the table, with what has to be known of those that they read.
bool AddComputed(Kt_Database& database, Kt_SqlTable& table, const Kt_SqlRequest& request,
                 std::string& error) {
  const bool may_leave = !request.keys.empty() || !request.filter.IsEmpty() || request.limit > 0;
  for (const Kt_SqlRequest::Added& added : request.added) {
    Kt_SqlExpr expr(added.expression);
    std::string reason;
    if (!expr.Bind(table, reason)) {
      Kt_SqlColumn column;
      column.name = added.id.ToUtf8();
      column.id = added.id;
      column.is_computed = column.has_type = true;
      column.type = added.type;
      column.why_other = "is computed here: " + reason;
      for (std::size_t at = 0; at < table.Columns().size(); ++at) column.inputs.push_back(at);
      table.AddComputed(std::move(column));
      continue;
    }
    std::vector<Kt_SqlTable::Wanted> wanted;
    for (const std::size_t column : expr.Columns()) {
      wanted.push_back({column, Kt_SqlQuestion::kRange});
    }
    if (may_leave && !table.Ask(database, wanted, error)) return false;
    expr.AddTo(table, added.id, added.type);
  }
  return true;
}

kt_long Load(Kt_Database& database, Kt_SqlTable& table, Kt_SqlRequest request, Kt_Dataset& dataset,
             Kt_SqlAnswer& answer, std::string& error, Kt_Dataset* unfinished) {
  const Reading reading(database, table.IsSqlite());
  if (!table.AskParts(database, error) || !AddComputed(database, table, request, error)) {
    return kFailed;
  }
  Kt_SqlExpr expr(request.filter);
  std::string reason;
  const bool has_filter = !request.filter.IsEmpty() && expr.Bind(table, reason);
  const Kt_SqlExpr* const filter = has_filter ? &expr : nullptr;

  std::unique_ptr<Query> query = MakeQuery(database, table, request, filter, error);
  bool has_ties = false;
  if (query == nullptr || !AskForLimit(database, *query, has_ties, error)) return kFailed;
  if (has_ties) {
    std::vector<std::string> asked = std::move(query->answer.questions);
    request.limit = 0;
    query = MakeQuery(database, table, request, filter, error);
    if (query == nullptr) return kFailed;
    query->answer.questions = std::move(asked);
    query->answer.reasons.emplace_back(
        "the limit: rows are equal in its order, and those of a view, or of a table made of "
        "others, have no other");
  }
  answer = std::move(query->answer);
  answer.part_count = table.Parts().size();
  if (answer.is_grouped &&
      !query->groups.Choose(database, answer.statement, answer.is_over_parts, error)) {
    return kFailed;
  }
  answer.questions.insert(answer.questions.begin(), table.Questions().begin(),
                          table.Questions().end());
  if (!reason.empty()) answer.reasons.insert(answer.reasons.begin(), "the filter: " + reason);
  answer.parameters = UsedIn(answer.statement, std::move(query->parameters));
  Kt_Dataset& target = answer.is_finished || unfinished == nullptr ? dataset : *unfinished;
  const kt_long rows =
      database.Query(answer.statement, answer.parameters, target, error, query->types);
  const bool is_sound =
      rows < 0 || !answer.is_grouped || HasSoundTotals(table, request, target, error);
  return is_sound ? rows : kFailed;
}

}  // namespace

kt_long Kt_SqlLoad(Kt_Database& database, Kt_SqlTable& table, const Kt_SqlRequest& request,
                   Kt_Dataset& dataset, Kt_SqlAnswer& answer, std::string& error,
                   Kt_Dataset* unfinished) {
  return kt::detail::Guarded(
      error, [&] { return Load(database, table, request, dataset, answer, error, unfinished); });
}
