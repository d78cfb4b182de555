// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "connect/Kt_DatabaseUrl.h"

namespace kt::detail {
class Answer;
}  // namespace kt::detail

// A column of a table, or of the answer to a statement.
struct Kt_DatabaseColumn {
  std::string name;
  // Of the dataset's column, when all cells are null; values may need another one.
  Kt_ColumnType type = Kt_ColumnType::kString;
  bool is_key = false;  // a part of the primary key; of tables
  // The database's own number of the type, as far as it has one; the type as it was declared.
  std::uint32_t type_number = 0;
  std::string declared;
};

// A connection to a database: statements in, datasets out. docs/databases.md has the types.
//
//   std::string error;
//   const auto shop = Kt_Database::Open(url, {}, error);
//   if (shop && shop->Query("SELECT * FROM orders WHERE price > $1", values, orders, error) >= 0)
//   ...
//
// Statements are UTF-8. Their parameters are written Parameter(1), Parameter(2)...; values are
// bound, never put into the text. What else works on a connection is in Kt_Changes.h.
// The work is charged to the meter of the thread: a deadline or cancel flag (Kt_RunBudget) stops it
// also while it waits, and columns are counted memory.
// Fails: with a negative result, or false, and the reason in UTF-8, which holds no password.
// Threads: one at a time.
class KT_CONNECT_API Kt_Database {
 public:
  struct Options {
    bool may_write = false;    // otherwise statements that change anything are refused
    bool follow_links = true;  // of the file: a link in its path is refused without
    // Called with the rows so far, now and then; false cancels the load.
    std::function<bool(std::int64_t rows)> progress;
  };

  // Null, with the reason, when the database cannot be opened or this build has no such connector.
  static std::unique_ptr<Kt_Database> Open(const Kt_DatabaseUrl& url, const Options& options,
                                           std::string& error);
  virtual ~Kt_Database() = default;
  Kt_Database(const Kt_Database&) = delete;
  Kt_Database& operator=(const Kt_Database&) = delete;

  // Runs one statement and puts its answer in place of the columns and rows of `dataset`, which
  // stays as it was otherwise. The number of rows, or the code of the failure.
  // With `types`, one for every column, the columns have those: an answer that is a part of a table
  // has the types of the whole. A value that such a type does not hold is an error.
  kt_long Query(std::string_view statement, std::span<const Kt_Variant> parameters,
                Kt_Dataset& dataset, std::string& error, std::span<const Kt_ColumnType> types = {});
  // The same for all rows of a table.
  kt_long LoadTable(std::string_view table, Kt_Dataset& dataset, std::string& error);
  // Runs a statement; `changed` is how many rows it inserted, updated or deleted.
  bool Execute(std::string_view statement, std::span<const Kt_Variant> parameters,
               std::int64_t& changed, std::string& error);

  // The columns of a table with its key. False when there is no such table.
  virtual bool Describe(std::string_view table, std::vector<Kt_DatabaseColumn>& columns,
                        std::string& error) = 0;

  // ---- The words of the database ----------------------------------------------------------------

  virtual std::string Parameter(std::size_t number) const = 0;  // from 1
  // A name as statements have it: in quotes.
  static std::string Quoted(std::string_view name);
  // The parts of the name of a table: "sales.orders" names a schema, "\"odd.name\"" none. Empty
  // when it is no such name. And the same as statements have it.
  static std::vector<std::string> TableParts(std::string_view table);
  static std::string QuotedTable(std::string_view table);

  // ---- For those who save changes ---------------------------------------------------------------

  // A condition that holds for exactly the value in `parameter`, null included.
  virtual std::string Matches(const Kt_DatabaseColumn& column, const Kt_Variant& value,
                              const std::string& parameter) const = 0;
  // False, with the reason, for a value that would change without a word on its way into the
  // column.
  virtual bool Accepts(const Kt_DatabaseColumn& column, const Kt_Variant& value,
                       std::string& reason) const = 0;
  // The value as it is bound, and the column as it is read back.
  virtual Kt_Variant Bound(const Kt_DatabaseColumn& column, const Kt_Variant& value) const = 0;
  virtual std::string Selected(const Kt_DatabaseColumn& column) const = 0;
  // A transaction. Within it, a statement that fails leaves what the others did.
  virtual bool Begin(std::string& error) = 0;
  virtual bool Commit(std::string& error) = 0;
  virtual void Rollback() = 0;
  // Whether the connection is no more.
  virtual bool IsLost() const { return false; }
  // Runs a statement and hands each row of its answer to `answer`, whose columns are begun here.
  virtual bool Run(std::string_view statement, std::span<const Kt_Variant> parameters,
                   kt::detail::Answer& answer, std::string& error) = 0;

 protected:
  explicit Kt_Database(const Options& options) : options_(options) {}
  const Options& GetOptions() const { return options_; }

 private:
  Options options_;
};

namespace kt {

// Opens the database of a URL and loads what it names, its table or query; a selection of the table
// needs expressions: Kt_SqlSelect.h. The rows, or a negative code with the error.
KT_CONNECT_API kt_long LoadDatabase(const Kt_DatabaseUrl& url, const Kt_Database::Options& options,
                                    Kt_Dataset& dataset, std::string& error);

}  // namespace kt
