// SPDX-License-Identifier: MIT
//
// SQLite. The kind of a value is that of the value itself, not of its column, so a column takes its
// type from its cells; what the table declares only says whether texts are meant as dates and
// numbers as exact amounts.
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <map>
#include <system_error>
#include <thread>

#include "connect/detail/Kt_Answer.h"
#include "connect/detail/Kt_LibSqlite.h"
#include "connect/detail/Kt_Values.h"

namespace kt::detail {
namespace {

using Type = Kt_ColumnType;

// How many operations of its machine a look at the bounds is made after.
constexpr int kOperationsPerLook = 1000;
constexpr std::int64_t kUnitsPerLook = kOperationsPerLook * std::int64_t{20};
constexpr std::size_t kMaxStatements = 64;

// What may be in a file that a stranger made, or in a statement that a script runs: nothing that
// reaches other files, or settings of the process.
int Authorize(void*, int action, const char* name, const char* argument, const char*, const char*) {
  static constexpr std::string_view kQuestions[] = {"foreign_key_list", "index_info", "index_list",
                                                    "index_xinfo",      "table_info", "table_list",
                                                    "table_xinfo"};
  if (action == SQLITE_ATTACH || action == SQLITE_DETACH) return SQLITE_DENY;
  if (action != SQLITE_PRAGMA || argument == nullptr) return SQLITE_OK;
  return std::ranges::find(kQuestions, name) != std::end(kQuestions) ? SQLITE_OK : SQLITE_DENY;
}

bool Contains(const std::string& text, std::initializer_list<std::string_view> words) {
  return std::ranges::any_of(words, [&](auto word) { return text.find(word) != text.npos; });
}

// The type that a declaration means, in the order in which the database itself looks for words.
Type TypeOf(const std::string& declared) {
  if (Contains(declared, {"INT", "BOOL"})) return Type::kLong;
  if (Contains(declared, {"CHAR", "CLOB", "TEXT"})) return Type::kString;
  if (Contains(declared, {"BLOB"})) return Type::kBinary;
  if (Contains(declared, {"REAL", "FLOA", "DOUB"})) return Type::kDouble;
  if (Contains(declared, {"DATE", "TIME"})) return Type::kDateTime;
  if (Contains(declared, {"DEC", "NUMERIC", "MONEY", "CURRENCY"})) return Type::kCurrency;
  return Type::kString;
}

// Whether a column of that declaration makes numbers of texts that look like some.
bool MakesNumbers(const std::string& declared) {
  if (declared.empty()) return false;
  if (Contains(declared, {"INT"})) return true;
  return !Contains(declared, {"CHAR", "CLOB", "TEXT", "BLOB"});
}

// Beyond 15 digits a double is another amount.
bool IsExactReal(Kt_Currency amount) {
  constexpr std::int64_t kExact = std::int64_t{1} << 53;
  return amount.units >= -kExact && amount.units <= kExact;
}

class Sqlite final : public Kt_Database {
 public:
  Sqlite(const Kt_DatabaseUrl& url, const Options& options)
      : Kt_Database(options), timeout_(url.timeout) {}
  ~Sqlite() override {
    ForgetStatements();
    sqlite3_close_v2(database_);
  }

  bool Open(const std::string& file, std::string& error) {
    // A name that SQLite would take for something else than a file (":memory:").
    const std::string path = file.starts_with('/') ? file : "./" + file;
    const int flags = (GetOptions().may_write ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) |
                      (GetOptions().follow_links ? 0 : SQLITE_OPEN_NOFOLLOW);
    if (sqlite3_open_v2(path.c_str(), &database_, flags, nullptr) != SQLITE_OK) return Fail(error);
    sqlite3_busy_handler(database_, &Sqlite::OnBusy, this);
    sqlite3_progress_handler(database_, kOperationsPerLook, &Sqlite::OnProgress, nullptr);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_FKEY, 1, nullptr);
    sqlite3_limit(database_, SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_limit(database_, SQLITE_LIMIT_LENGTH, static_cast<int>(kMaxBinaryBytes));
    sqlite3_set_authorizer(database_, &Authorize, nullptr);
    std::int64_t ignored = 0;  // a file that is no database shows when it is read
    return Execute("SELECT 1 FROM sqlite_schema LIMIT 1", {}, ignored, error);
  }

  bool Run(std::string_view statement, std::span<const Kt_Variant> parameters, Answer& answer,
           std::string& error) override {
    sqlite3_stmt* const prepared = Prepare(statement, error);
    if (prepared == nullptr) return false;
    const Reset reset{prepared};
    if (!Bind(prepared, parameters, error) || !answer.Begin(ColumnsOf(prepared), error)) {
      return false;
    }
    const int changed_before = sqlite3_total_changes(database_);
    int step = sqlite3_step(prepared);
    for (; step == SQLITE_ROW; step = sqlite3_step(prepared)) {
      if (!TakeRow(prepared, answer, error)) return false;
    }
    if (step != SQLITE_DONE) return Fail(error);
    if (sqlite3_total_changes(database_) != changed_before) {
      answer.changed = sqlite3_changes(database_);
    }
    for (std::size_t col = 0; col < answer.Columns().size(); ++col) {
      if (answer.Columns()[col].type == Type::kDateTime) answer[col].MakeDates();
      if (answer.Columns()[col].type == Type::kCurrency) answer[col].MakeCurrency();
    }
    return true;
  }

  bool Describe(std::string_view table, std::vector<Kt_DatabaseColumn>& columns,
                std::string& error) override {
    const std::vector<std::string> parts = TableParts(table);
    if (parts.empty() || parts.size() > 2) {
      error = "'" + std::string(table) + "' is no name of a table";
      return false;
    }
    sqlite3_stmt* const prepared =
        Prepare("SELECT * FROM " + QuotedTable(table) + " LIMIT 0", error);
    if (prepared == nullptr) return false;
    columns = ColumnsOf(prepared);
    const std::array<Kt_Variant, 2> names = {
        Kt_Variant(parts.back()), Kt_Variant(parts.size() == 2 ? parts.front() : "main")};
    Answer keys;
    if (!Run("SELECT name FROM pragma_table_info(?1, ?2) WHERE pk > 0", names, keys, error)) {
      return false;
    }
    const std::shared_ptr<Kt_Column> cells = keys[0].Take();
    for (std::size_t row = 0; row < cells->RowCount(); ++row) {
      const std::string name = cells->Read(row).ToString().ToUtf8();
      for (Kt_DatabaseColumn& column : columns) column.is_key |= column.name == name;
    }
    return true;
  }

  std::string Parameter(std::size_t number) const override { return "?" + std::to_string(number); }

  // Texts are compared byte by byte, whatever order the column has; dates as moments, because the
  // same one can be written in several ways.
  std::string Matches(const Kt_DatabaseColumn& column, const Kt_Variant& value,
                      const std::string& parameter) const override {
    const std::string name = Quoted(column.name);
    if (value.GetTag() == kTagDateTime) {
      return "julianday(" + name + ") IS julianday(" + parameter + ")";
    }
    return name + " IS " + parameter + (column.is_key ? "" : " COLLATE BINARY");
  }
  bool Accepts(const Kt_DatabaseColumn& column, const Kt_Variant& value,
               std::string& reason) const override {
    if (value.GetTag() == kTagDouble && std::isnan(value.AsDouble())) {
      reason = "NaN, which SQLite makes a null";
      return false;
    }
    if (value.GetTag() == kTagCurrency && !IsExactReal(value.ToCurrency()) &&
        MakesNumbers(column.declared)) {
      reason = "an amount of more than 15 digits, which the type of the column rounds";
      return false;
    }
    return IsStorable(value, reason);
  }
  Kt_Variant Bound(const Kt_DatabaseColumn& column, const Kt_Variant& value) const override {
    if (value.GetTag() != kTagDateTime) return value;
    return Kt_Variant(DateText(value.AsDouble(), Contains(column.declared, {"TIME"})));
  }
  std::string Selected(const Kt_DatabaseColumn& column) const override {
    return Quoted(column.name);
  }

  bool Begin(std::string& error) override { return Do("BEGIN IMMEDIATE", error); }
  bool Commit(std::string& error) override { return Do("COMMIT", error); }
  void Rollback() override {
    const Kt_WorkPause pause;
    std::string ignored;
    if (sqlite3_get_autocommit(database_) == 0) Do("ROLLBACK", ignored);
  }

 private:
  struct Reset {
    sqlite3_stmt* statement;
    ~Reset() {
      sqlite3_reset(statement);
      sqlite3_clear_bindings(statement);
    }
  };

  bool Do(std::string_view statement, std::string& error) {
    std::int64_t ignored = 0;
    return Execute(statement, {}, ignored, error);
  }

  bool Fail(std::string& error) {
    const int code = sqlite3_extended_errcode(database_);
    if (code == SQLITE_NOMEM) throw std::bad_alloc();
    error = sqlite3_errmsg(database_);
    if (code == SQLITE_CANTOPEN && sqlite3_system_errno(database_) != 0) {
      error = "cannot open: " + std::generic_category().message(sqlite3_system_errno(database_));
    }
    if ((code & 0xFF) == SQLITE_BUSY) {
      error += ": waited " + std::to_string(timeout_.count()) + " s";
    } else if ((code & 0xFF) == SQLITE_READONLY && !GetOptions().may_write) {
      error = "a statement that loads may not write";
    } else if ((code & 0xFF) == SQLITE_AUTH) {
      error += ": only the tables of this file can be reached";
    }
    return false;
  }

  // Called while somebody else has the file locked; 0 gives up.
  static int OnBusy(void* self, int round) {
    auto* const sqlite = static_cast<Sqlite*>(self);
    const auto now = std::chrono::steady_clock::now();
    if (round == 0) sqlite->busy_since_ = now;
    Kt_WorkMeter* const meter = Kt_WorkMeter::Current();
    if ((meter != nullptr && !meter->LookNow()) || now - sqlite->busy_since_ >= sqlite->timeout_) {
      return 0;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return 1;
  }
  static int OnProgress(void*) { return kt::Charge(kUnitsPerLook) ? 0 : 1; }

  // ---- Statements -------------------------------------------------------------------------------

  void ForgetStatements() {
    for (const auto& [text, statement] : statements_) sqlite3_finalize(statement);
    statements_.clear();
  }

  // Null, with the reason, for what is no single statement.
  sqlite3_stmt* Prepare(std::string_view text, std::string& error) {
    if (const auto known = statements_.find(text); known != statements_.end()) {
      return known->second;
    }
    if (statements_.size() >= kMaxStatements) ForgetStatements();
    sqlite3_stmt* made = nullptr;
    sqlite3_stmt* second = nullptr;
    const char* rest = nullptr;
    const char* const end = text.data() + text.size();
    const auto prepare = [&](const char* from, sqlite3_stmt** into) {
      return sqlite3_prepare_v2(database_, from, static_cast<int>(end - from), into, &rest) ==
             SQLITE_OK;
    };
    if (!prepare(text.data(), &made)) {
      Fail(error);
      return nullptr;
    }
    const bool is_one = rest == end || (prepare(rest, &second) && second == nullptr);
    sqlite3_finalize(second);
    if (made == nullptr || !is_one) {
      sqlite3_finalize(made);
      error = made == nullptr ? "there is no statement" : "more than one statement";
      return nullptr;
    }
    statements_.emplace(text, made);
    return made;
  }

  static std::vector<Kt_DatabaseColumn> ColumnsOf(sqlite3_stmt* statement) {
    std::vector<Kt_DatabaseColumn> columns(
        static_cast<std::size_t>(sqlite3_column_count(statement)));
    for (std::size_t col = 0; col < columns.size(); ++col) {
      const int number = static_cast<int>(col);
      if (const char* const name = sqlite3_column_name(statement, number)) columns[col].name = name;
      if (const char* const declared = sqlite3_column_decltype(statement, number)) {
        columns[col].declared = declared;
      }
      for (char& letter : columns[col].declared) {
        if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - ('a' - 'A'));
      }
      columns[col].type = TypeOf(columns[col].declared);
    }
    return columns;
  }

  // ---- Values -----------------------------------------------------------------------------------

  bool Bind(sqlite3_stmt* statement, std::span<const Kt_Variant> parameters, std::string& error) {
    for (std::size_t at = 0; at < parameters.size(); ++at) {
      if (!IsStorable(parameters[at], error)) return false;
      if (Bind(statement, static_cast<int>(at) + 1, parameters[at]) != SQLITE_OK) {
        return Fail(error);
      }
    }
    return true;
  }

  static int BindText(sqlite3_stmt* statement, int at, const std::string& text) {
    return sqlite3_bind_text64(statement, at, text.data(), text.size(), SQLITE_TRANSIENT,
                               SQLITE_UTF8);
  }

  int Bind(sqlite3_stmt* statement, int at, const Kt_Variant& value) const {
    switch (value.GetTag()) {
      case kTagEmpty: return sqlite3_bind_null(statement, at);
      case kTagLong: return sqlite3_bind_int64(statement, at, value.AsLong());
      case kTagBool: return sqlite3_bind_int64(statement, at, value.AsInt64());
      case kTagDouble: return sqlite3_bind_double(statement, at, value.AsDouble());
      case kTagCurrency: {
        const Kt_Currency amount = value.ToCurrency();
        if (IsExactReal(amount)) return sqlite3_bind_double(statement, at, amount.ToDouble());
        return BindText(statement, at, amount.ToText().ToUtf8());
      }
      case kTagDateTime: return BindText(statement, at, DateText(value.AsDouble(), false));
      case kTagBinary: {
        const std::span<const std::uint8_t> bytes = value.AsBinary();
        static constexpr std::uint8_t kNone = 0;  // a null pointer would bind a null
        return sqlite3_bind_blob64(statement, at, bytes.empty() ? &kNone : bytes.data(),
                                   bytes.size(), SQLITE_TRANSIENT);
      }
      default: return BindText(statement, at, value.ToString().ToUtf8());
    }
  }

  bool TakeRow(sqlite3_stmt* statement, Answer& answer, std::string& error) {
    std::size_t bytes = 0;
    for (std::size_t col = 0; col < answer.Columns().size(); ++col) {
      const int number = static_cast<int>(col);
      switch (sqlite3_column_type(statement, number)) {
        case SQLITE_INTEGER: answer[col].AddInteger(sqlite3_column_int64(statement, number)); break;
        case SQLITE_FLOAT: answer[col].AddReal(sqlite3_column_double(statement, number)); break;
        case SQLITE_NULL: answer[col].AddNull(); break;
        case SQLITE_BLOB: {
          const void* const first = sqlite3_column_blob(statement, number);
          const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, number));
          answer[col].AddBinary({static_cast<const std::uint8_t*>(first), size});
          bytes += size;
          break;
        }
        default: {
          const void* const first = sqlite3_column_text(statement, number);
          if (first == nullptr) throw std::bad_alloc();
          const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, number));
          bytes += size;
          if (!answer[col].AddText({static_cast<const char*>(first), size})) {
            error = answer.Place(col) + ": the text is no UTF-8; CAST(" +
                    Quoted(answer.Columns()[col].name) + " AS BLOB) reads its bytes";
            return false;
          }
        }
      }
    }
    return answer.EndRow(bytes, error);
  }

  sqlite3* database_ = nullptr;
  const std::chrono::seconds timeout_;
  std::chrono::steady_clock::time_point busy_since_;
  std::map<std::string, sqlite3_stmt*, std::less<>> statements_;
};

}  // namespace

std::unique_ptr<Kt_Database> OpenSqlite(const Kt_DatabaseUrl& url,
                                        const Kt_Database::Options& options, std::string& error) {
  if (!LoadLibSqlite(error)) return nullptr;
  auto database = std::make_unique<Sqlite>(url, options);
  if (!database->Open(url.file, error)) return nullptr;
  return database;
}

}  // namespace kt::detail
