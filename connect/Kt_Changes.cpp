// SPDX-License-Identifier: MIT
//
// Changes of a dataset as statements.
//
// Deletes come first and inserts last, so that a row may take the key of one that goes. Each
// statement names the columns that it needs, so there are few different ones and each is prepared
// once. A conflict does not end the transaction: the other rows are still tried, to tell of all
// conflicts at once, and then everything is taken back. What the database made of the rows is held
// until the transaction has ended well, and only then put into the dataset.
#include "connect/Kt_Changes.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "classlib/formats/Kt_CellForms.h"
#include "connect/detail/Kt_Answer.h"
#include "connect/detail/Kt_Guarded.h"

using kt::detail::Answer;

namespace {

// A column that dataset and table have in common.
struct Shared {
  kt_long col;
  Kt_DatabaseColumn column;
};

struct Change {
  kt_long type;
  kt_long row;
};

const char* VerbOf(kt_long type) {
  switch (type) {
    case kRowTypeInsert: return "insert";
    case kRowTypeUpdate: return "update";
    default: return "delete";
  }
}

bool IsSame(const Kt_Variant& a, const Kt_Variant& b) {
  if (a.IsEmpty() || b.IsEmpty()) return a.IsEmpty() && b.IsEmpty();
  if (a.GetTag() == kTagBinary || b.GetTag() == kTagBinary) {
    return a.GetTag() == b.GetTag() && std::ranges::equal(a.AsBinary(), b.AsBinary());
  }
  return a.GetTag() == b.GetTag() ? a.ToString() == b.ToString() && a.ToDouble() == b.ToDouble()
                                  : a.ToString() == b.ToString();
}

std::string ShownValue(const Kt_Variant& value) {
  if (value.IsEmpty()) return "null";
  return kt_excerptW(value.ToString()).ToUtf8();
}

class Saver {
 public:
  Saver(Kt_Database& database, std::string_view table, Kt_Dataset& dataset, Kt_ChangeReport& report)
      : database_(database),
        table_(Kt_Database::QuotedTable(table)),
        name_(table),
        dataset_(dataset),
        report_(report) {}

  bool Run() {
    if (!dataset_.IsPhysical())
      return Fail("a view has no changes; save the dataset that it shows");
    if (dataset_.IsEvaluating()) return Fail("an expression of its columns is at work");
    if (!FindColumns()) return false;
    FindChanges();
    if (changes_.empty()) return true;
    if (!database_.Begin(report_.error)) return false;
    const bool is_saved = SaveAll() && database_.Commit(report_.error);
    if (!is_saved) {
      database_.Rollback();
      return false;
    }
    return TakeBack();
  }

 private:
  bool Fail(std::string error) {
    report_.error = std::move(error);
    return false;
  }

  // ---- Columns ----------------------------------------------------------------------------------

  bool FindColumns() {
    std::vector<Kt_DatabaseColumn> columns;
    if (!database_.Describe(name_, columns, report_.error)) return false;
    for (const Kt_DatabaseColumn& column : columns) {
      const kt_long col = FindColumn(column.name);
      if (col >= 0) {
        shared_.push_back({col, column});
      } else if (column.is_key) {
        return Fail("the dataset lacks the column '" + column.name + "', a part of the key");
      }
      has_key_ |= column.is_key;
    }
    return !shared_.empty() || Fail("the dataset has no column of the table");
  }

  // The stored column of that id; -1 for none.
  kt_long FindColumn(const std::string& name) const {
    const kt_long col = dataset_.GetColIndex(Kt_WString::FromUtf8(name));
    return col >= 0 && !dataset_.IsLogicalColumn(col) ? col : -1;
  }

  bool IsShared(kt_long col) const {
    return std::ranges::any_of(shared_, [col](const Shared& one) { return one.col == col; });
  }

  // ---- Changes ----------------------------------------------------------------------------------

  void FindChanges() {
    for (kt_long row = 0; row < dataset_.GetDelRowCount(); ++row) {
      changes_.push_back({kRowTypeDelete, row});
    }
    for (const kt_long wanted : {kRowTypeUpdate, kRowTypeInsert}) {
      for (kt_long row = 0; row < dataset_.GetRowCountNF(); ++row) {
        if (dataset_.GetRowTypeNF(row) == wanted) changes_.push_back({wanted, row});
      }
    }
  }

  Kt_Variant First(const Change& change, kt_long col) const {
    return change.type == kRowTypeDelete ? dataset_.GetDelColumn(change.row, col)
                                         : dataset_.GetOrgColumnNF(change.row, col);
  }
  Kt_Variant Now(const Change& change, kt_long col) const {
    return dataset_.ReadColumnNF(change.row, col);
  }
  // Whether the column is part of what an insert or update sets.
  bool IsSet(const Change& change, kt_long col) const {
    if (change.type == kRowTypeDelete) return false;
    if (change.type == kRowTypeInsert) return !Now(change, col).IsEmpty();
    return !IsSame(First(change, col), Now(change, col));
  }

  bool SaveAll() {
    for (const Change& change : changes_) {
      kt::detail::ChargeOrLeave(64 * Kt_WorkMeter::kUnitsPerCell *
                                static_cast<std::int64_t>(shared_.size()));
      std::string reason;
      if (!Save(change, reason)) Conflict(change, std::move(reason));
      if (Kt_WorkMeter::CurrentStop() != 0) return false;
      if (database_.IsLost()) return Fail("the connection was lost; nothing was saved");
    }
    if (report_.conflict_count == 0) return true;
    return Fail("nothing was saved: " + std::to_string(report_.conflict_count) + " of " +
                std::to_string(changes_.size()) + " changes " +
                (report_.conflict_count == 1 ? "does" : "do") + " not fit what the database has");
  }

  void Conflict(const Change& change, std::string reason) {
    ++report_.conflict_count;
    if (report_.conflicts.size() >= Kt_ChangeReport::kMaxListed) return;
    report_.conflicts.push_back({change.type, change.row, KeyText(change), std::move(reason)});
  }

  std::string KeyText(const Change& change) const {
    std::string text;
    for (const auto& [col, column] : shared_) {
      if (!column.is_key) continue;
      const Kt_Variant key = change.type == kRowTypeInsert ? Now(change, col) : First(change, col);
      text += (text.empty() ? "" : ", ") + column.name + " " + ShownValue(key);
    }
    return text.empty() ? "row " + std::to_string(change.row) : text;
  }

  // ---- Statements -------------------------------------------------------------------------------

  // The values of a statement on their way, each with its place in the text.
  class Values {
   public:
    explicit Values(const Kt_Database& database) : database_(database) {}
    std::string Add(const Kt_DatabaseColumn& column, const Kt_Variant& value) {
      list_.push_back(database_.Bound(column, value));
      return database_.Parameter(list_.size());
    }
    const std::vector<Kt_Variant>& List() const { return list_; }

   private:
    const Kt_Database& database_;
    std::vector<Kt_Variant> list_;
  };

  bool Save(const Change& change, std::string& reason) {
    if (!CanSave(change, reason)) return false;
    Values values(database_);
    const std::string statement = change.type == kRowTypeInsert   ? InsertOf(change, values)
                                  : change.type == kRowTypeUpdate ? UpdateOf(change, values)
                                                                  : DeleteOf(change, values);
    if (statement.empty()) return true;
    Answer answer;
    if (!database_.Run(statement, values.List(), answer, reason)) return false;
    if (answer.changed != 1) return WhyNot(change, answer.changed, reason);
    ++(change.type == kRowTypeInsert   ? report_.inserted
       : change.type == kRowTypeUpdate ? report_.updated
                                       : report_.deleted);
    if (change.type != kRowTypeDelete && answer.RowCount() == 1) Keep(change, answer);
    return true;
  }

  // False when something would be lost: a column that the table lacks, or a value that its own
  // would change.
  bool CanSave(const Change& change, std::string& reason) const {
    if (change.type == kRowTypeDelete) return true;
    for (kt_long col = 0; col < dataset_.GetColCount(); ++col) {
      if (dataset_.IsLogicalColumn(col) || IsShared(col) || !IsSet(change, col)) continue;
      reason = "the table has no column '" + dataset_.GetColID(col).ToUtf8() + "'";
      return false;
    }
    for (const auto& [col, column] : shared_) {
      if (!IsSet(change, col) || database_.Accepts(column, Now(change, col), reason)) continue;
      reason.insert(0, column.name + ": ");
      return false;
    }
    return true;
  }

  std::string Condition(const Change& change, Values& values) const {
    std::string text;
    for (const auto& [col, column] : shared_) {
      const Kt_Variant first = First(change, col);
      text += (text.empty() ? " WHERE " : " AND ") +
              database_.Matches(column, first, values.Add(column, first));
    }
    return text;
  }

  std::string Returning() const {
    std::string text;
    for (const Shared& shared : shared_) {
      text += (text.empty() ? " RETURNING " : ", ") + database_.Selected(shared.column);
    }
    return text;
  }

  std::string DeleteOf(const Change& change, Values& values) const {
    return "DELETE FROM " + table_ + Condition(change, values);
  }

  // Empty when only the state of the row was changed, and no value.
  std::string UpdateOf(const Change& change, Values& values) const {
    std::string set;
    for (const auto& [col, column] : shared_) {
      if (!IsSet(change, col)) continue;
      set += (set.empty() ? " SET " : ", ") + Kt_Database::Quoted(column.name) + " = " +
             values.Add(column, Now(change, col));
    }
    if (set.empty()) return {};
    return "UPDATE " + table_ + set + Condition(change, values) + Returning();
  }

  std::string InsertOf(const Change& change, Values& values) const {
    std::string names;
    std::string places;
    for (const auto& [col, column] : shared_) {
      if (!IsSet(change, col)) continue;
      names += (names.empty() ? "" : ", ") + Kt_Database::Quoted(column.name);
      places += (places.empty() ? "" : ", ") + values.Add(column, Now(change, col));
    }
    const std::string what =
        names.empty() ? " DEFAULT VALUES" : " (" + names + ") VALUES (" + places + ")";
    return "INSERT INTO " + table_ + what + Returning();
  }

  // ---- Conflicts --------------------------------------------------------------------------------

  // Why other than one row was changed: what the row with that key has now.
  bool WhyNot(const Change& change, std::int64_t changed, std::string& reason) {
    if (change.type == kRowTypeInsert) {
      reason = "the database took no row";
    } else if (changed > 1) {
      reason = std::to_string(changed) + " rows are like it";
    } else if (!has_key_) {
      reason = "it was changed or deleted there";
    } else {
      reason = Difference(change);
    }
    return false;
  }

  std::string Difference(const Change& change) {
    Values values(database_);
    std::string condition;
    std::string names;
    for (const auto& [col, column] : shared_) {
      names += (names.empty() ? "" : ", ") + database_.Selected(column);
      if (!column.is_key) continue;
      const Kt_Variant key = First(change, col);
      condition += (condition.empty() ? " WHERE " : " AND ") +
                   database_.Matches(column, key, values.Add(column, key));
    }
    Answer answer;
    std::string error;
    if (!database_.Run("SELECT " + names + " FROM " + table_ + condition, values.List(), answer,
                       error)) {
      return error;
    }
    if (answer.RowCount() == 0) return "it was deleted there";
    std::string text;
    for (std::size_t at = 0; at < shared_.size(); ++at) {
      const Kt_Variant now = answer[at].Take()->Read(0);
      const Kt_Variant first = First(change, shared_[at].col);
      if (IsSame(now, first)) continue;
      text += (text.empty() ? "" : ", ") + shared_[at].column.name + " is " + ShownValue(now) +
              " there and was " + ShownValue(first);
    }
    return text.empty() ? "it was changed there" : text;
  }

  // ---- What the database made of it -------------------------------------------------------------

  struct Kept {
    kt_long row;
    kt_long col;
    Kt_Variant value;
  };

  void Keep(const Change& change, Answer& answer) {
    for (std::size_t at = 0; at < shared_.size(); ++at) {
      Kt_Variant value = answer[at].Take()->Read(0);
      if (IsSame(Now(change, shared_[at].col), value)) continue;
      kept_.push_back({change.row, shared_[at].col, std::move(value)});
    }
  }

  // The transaction has ended well, so nothing may stop this on its way.
  bool TakeBack() {
    const Kt_WorkPause no_bounds;
    const Kt_MemoryPause no_limit;
    bool is_whole = true;
    for (const auto& [row, col, value] : kept_) {
      is_whole = dataset_.SetColumnNF(row, col, value) >= 0 && is_whole;
    }
    dataset_.ApplyChange();
    return (is_whole && !dataset_.GetUpdate()) ||
           Fail("everything was saved, but the dataset could not take it over; load it again");
  }

  Kt_Database& database_;
  const std::string table_;  // as statements have it
  const std::string name_;
  Kt_Dataset& dataset_;
  Kt_ChangeReport& report_;
  std::vector<Shared> shared_;
  bool has_key_ = false;
  std::vector<Change> changes_;
  std::vector<Kept> kept_;
};

}  // namespace

std::string Kt_ChangeReport::Conflict::Text() const {
  return std::string(VerbOf(type)) + " of " + key + ": " + reason;
}

kt_long kt::SaveChanges(Kt_Database& database, std::string_view table, Kt_Dataset& dataset,
                        Kt_ChangeReport& report) {
  report = {};
  const kt_long code = kt::detail::Guarded(report.error, [&]() -> kt_long {
    try {
      return Saver(database, table, dataset, report).Run() ? report.Total() : kFailed;
    } catch (...) {
      database.Rollback();
      throw;
    }
  });
  if (code < 0) report.inserted = report.updated = report.deleted = 0;
  return code;
}

kt_long kt::SaveChanges(const Kt_DatabaseUrl& url, Kt_Database::Options options,
                        Kt_Dataset& dataset, Kt_ChangeReport& report) {
  report = {};
  if (url.table.empty()) {
    report.error = "changes are saved to a table: ?table=NAME";
    return kFailed;
  }
  options.may_write = true;
  const std::unique_ptr<Kt_Database> database = Kt_Database::Open(url, options, report.error);
  if (database == nullptr) return kt::detail::FailureCode();
  return SaveChanges(*database, url.table, dataset, report);
}
