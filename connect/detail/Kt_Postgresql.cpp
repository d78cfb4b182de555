// SPDX-License-Identifier: MIT
//
// PostgreSQL. A statement is prepared, which tells the types of its answer before the first row.
// Rows come in binary form: those of a load without parameters by COPY, which costs the server and
// the client least, all others one result each. Columns of types that are not known here are asked
// for as texts, by putting the statement into another one.
#include <algorithm>
#include <charconv>
#include <map>

#include "connect/detail/Kt_Answer.h"
#include "connect/detail/Kt_PgCells.h"
#include "connect/detail/Kt_PgLink.h"
#include "connect/detail/Kt_Values.h"

namespace kt::detail {
namespace {

using Type = Kt_ColumnType;

constexpr std::size_t kMaxStatements = 64;

// A statement that the server has under `name`.
struct Prepared {
  std::string name;
  std::string text;
  std::vector<Kt_DatabaseColumn> columns;
};

// The text of a value as the server reads it for any type that may hold it; nothing is null.
std::string TextOf(const Kt_Variant& value) {
  switch (value.GetTag()) {
    case kTagDouble: return RealText(value.AsDouble());
    case kTagBool: return value.AsInt64() != 0 ? "1" : "0";
    // A zone: a column without one passes over it.
    case kTagDateTime: return DateText(value.AsDouble(), true) + "+00";
    case kTagBinary: {
      std::string text = "\\x";
      for (const std::uint8_t byte : value.AsBinary()) {
        text += "0123456789abcdef"[byte / 16];
        text += "0123456789abcdef"[byte % 16];
      }
      return text;
    }
    default: return value.ToString().ToUtf8();
  }
}

// Whether the statement is a question that COPY takes: one in a single piece.
bool IsQuestion(std::string_view text) {
  std::string word;
  for (const char letter : text.substr(std::min(text.find_first_not_of(" \t\r\n"), text.size()))) {
    if ((letter | 32) < 'a' || (letter | 32) > 'z') break;
    word += static_cast<char>(letter | 32);
  }
  constexpr std::string_view kWords[] = {"select", "with", "values", "table"};
  return std::ranges::find(kWords, word) != std::end(kWords) && text.find(';') == text.npos;
}

// Rows of a COPY in binary form, which may begin and end anywhere in what comes.
class CopyReader {
 public:
  CopyReader(Answer& answer, std::vector<const PgType*> types)
      : answer_(answer), types_(std::move(types)) {}

  // False, with the reason, for what is no such row.
  bool Take(std::string_view bytes, std::string& error) {
    if (!rest_.empty()) {
      rest_ += bytes;
      bytes = rest_;
    }
    std::size_t done = 0;
    while (done < bytes.size()) {
      const std::size_t length =
          header_read_ ? RowLength(bytes.substr(done)) : HeaderLength(bytes.substr(done));
      if (length == 0) break;  // the rest is still to come
      if (header_read_ && !TakeRow(bytes.substr(done, length), error)) return false;
      header_read_ = true;
      done += length;
    }
    rest_ = std::string(bytes.substr(done));
    return true;
  }

 private:
  static std::int32_t Int32(std::string_view bytes) {
    std::uint32_t value = 0;
    for (int at = 0; at < 4; ++at) {
      value = value << 8 | static_cast<unsigned char>(bytes[static_cast<std::size_t>(at)]);
    }
    return static_cast<std::int32_t>(value);
  }
  static std::size_t HeaderLength(std::string_view bytes) {
    constexpr std::size_t kHeader = 19;  // without an extension, which no server sends
    return bytes.size() < kHeader ? 0 : kHeader;
  }
  // How long the row is; 0 when not all of it is there.
  static std::size_t RowLength(std::string_view bytes) {
    if (bytes.size() < 2) return 0;
    const int count = static_cast<std::int16_t>(static_cast<unsigned char>(bytes[0]) << 8 |
                                                static_cast<unsigned char>(bytes[1]));
    std::size_t at = 2;
    for (int cell = 0; cell < count; ++cell) {
      if (bytes.size() < at + 4) return 0;
      const std::int32_t length = Int32(bytes.substr(at));
      at += 4 + static_cast<std::size_t>(std::max(length, 0));
    }
    return at <= bytes.size() ? at : 0;
  }

  bool TakeRow(std::string_view row, std::string& error) {
    if (row.starts_with("\xFF\xFF")) return true;  // the end
    std::size_t at = 2;
    for (std::size_t col = 0; col < types_.size(); ++col) {
      const std::int32_t length = at + 4 <= row.size() ? Int32(row.substr(at)) : 0;
      at += 4;
      if (length < 0) {
        answer_[col].AddNull();
        continue;
      }
      const auto size = static_cast<std::size_t>(length);
      if (at + size > row.size() || !types_[col]->read(row.substr(at, size), answer_[col])) {
        error = answer_.Place(col) + ": no value of its type, or a text that is no UTF-8";
        return false;
      }
      at += size;
    }
    return answer_.EndRow(row.size(), error);
  }

  Answer& answer_;
  const std::vector<const PgType*> types_;
  bool header_read_ = false;
  std::string rest_;
};

class Postgresql final : public Kt_Database {
 public:
  explicit Postgresql(const Options& options) : Kt_Database(options) {}

  bool Open(const Kt_DatabaseUrl& url, std::string& error) {
    if (!link_.Connect(url, error)) return false;
    std::string settings =
        "SET TimeZone TO 'UTC'; SET DateStyle TO 'ISO, YMD'; SET IntervalStyle TO 'postgres'; "
        "SET lock_timeout TO '" +
        std::to_string(url.timeout.count()) + "s'";
    if (!GetOptions().may_write) settings += "; SET default_transaction_read_only TO on";
    return link_.Do(settings, error);
  }

  bool Run(std::string_view statement, std::span<const Kt_Variant> parameters, Answer& answer,
           std::string& error) override {
    const SettleAtEnd settle{link_};
    const bool ran = RunInside(statement, parameters, answer, error);
    if (!in_transaction_ || IsLost()) return ran;
    link_.Settle();
    // A failed statement takes the transaction with it, but for what was before the savepoint.
    std::string ignored;
    return link_.Do(ran ? "RELEASE SAVEPOINT kt; SAVEPOINT kt" : "ROLLBACK TO SAVEPOINT kt",
                    ran ? error : ignored) &&
           ran;
  }

  bool Describe(std::string_view table, std::vector<Kt_DatabaseColumn>& columns,
                std::string& error) override {
    const std::string name = QuotedTable(table);
    if (name.empty()) {
      error = "'" + std::string(table) + "' is no name of a table";
      return false;
    }
    const SettleAtEnd settle{link_};
    Prepared all;
    all.text = "SELECT * FROM " + name;
    if (!PrepareOnServer(all, error)) return false;
    columns = std::move(all.columns);
    Answer keys;
    const Kt_Variant names[] = {Kt_Variant(name)};
    if (!Run("SELECT a.attname FROM pg_catalog.pg_index i JOIN pg_catalog.pg_attribute a "
             "ON a.attrelid = i.indrelid AND a.attnum = ANY(i.indkey) "
             "WHERE i.indrelid = $1::pg_catalog.regclass AND i.indisprimary",
             names, keys, error)) {
      return false;
    }
    const std::shared_ptr<Kt_Column> cells = keys[0].Take();
    for (std::size_t row = 0; row < cells->RowCount(); ++row) {
      const std::string key = cells->Read(row).ToString().ToUtf8();
      for (Kt_DatabaseColumn& column : columns) column.is_key |= column.name == key;
    }
    return true;
  }

  std::string Parameter(std::size_t number) const override { return "$" + std::to_string(number); }

  // What cannot be compared (json, arrays of it, points) is compared as the text that was read.
  std::string Matches(const Kt_DatabaseColumn& column, const Kt_Variant& value,
                      const std::string& parameter) const override {
    const PgType* const type = FindPgType(column.type_number);
    if (type == nullptr || !type->is_comparable) {
      return Quoted(column.name) + "::text IS NOT DISTINCT FROM " + parameter;
    }
    // Only = finds a row by its index.
    const bool is_found = column.is_key && !value.IsEmpty();
    return Quoted(column.name) + (is_found ? " = " : " IS NOT DISTINCT FROM ") + parameter;
  }

  bool Accepts(const Kt_DatabaseColumn& column, const Kt_Variant& value,
               std::string& reason) const override {
    if (!IsSendable(value, reason)) return false;
    if (column.type_number == kPgDate && value.GetTag() == kTagDateTime) {
      reason = "a time of day, which the column does not hold";
      return DateText(value.AsDouble(), false).size() == std::size("2024-01-05") - 1;
    }
    if (value.GetTag() == kTagBinary) {
      reason = "bytes, which the column does not hold";
      return column.type_number == kPgBytea;
    }
    return true;
  }
  Kt_Variant Bound(const Kt_DatabaseColumn& column, const Kt_Variant& value) const override {
    if (column.type_number != kPgBytea || !value.IsString()) return value;
    const std::string utf8 = value.ToString().ToUtf8();
    Kt_Variant bytes;
    bytes.SetBinary(utf8.data(), utf8.size());
    return bytes;
  }
  std::string Selected(const Kt_DatabaseColumn& column) const override {
    const std::string name = Quoted(column.name);
    return FindPgType(column.type_number) != nullptr ? name : name + "::text AS " + name;
  }

  bool Begin(std::string& error) override {
    in_transaction_ = link_.Do("BEGIN; SAVEPOINT kt", error);
    return in_transaction_;
  }
  bool Commit(std::string& error) override {
    // Once it is sent nobody could tell what became of it.
    const Kt_WorkPause no_bounds;
    in_transaction_ = false;
    if (link_.Do("COMMIT", error)) return true;
    if (IsLost()) {
      error =
          "the connection was lost while the changes were committed; whether they were saved "
          "is not known: load the table again";
    }
    return false;
  }
  void Rollback() override {
    const Kt_WorkPause no_bounds;
    in_transaction_ = false;
    link_.Settle();
    std::string ignored;
    if (!IsLost()) link_.Do("ROLLBACK", ignored);
  }
  bool IsLost() const override { return link_.IsLost(); }

 private:
  // Whatever ends a statement, the connection is ready for the next one.
  struct SettleAtEnd {
    PgLink& link;
    ~SettleAtEnd() { link.Settle(); }
  };

  bool Fail(const PGresult* result, std::string& error) const {
    error = link_.Reason(result);
    return false;
  }

  static bool IsSendable(const Kt_Variant& value, std::string& reason) {
    if (!IsStorable(value, reason)) return false;
    reason = "a zero in a text, which PostgreSQL does not have";
    return !value.IsString() || value.AsStringView().find(u'\0') == std::u16string_view::npos;
  }

  bool RunInside(std::string_view statement, std::span<const Kt_Variant> parameters, Answer& answer,
                 std::string& error) {
    for (const Kt_Variant& value : parameters) {
      if (!IsSendable(value, error)) return false;
    }
    const Prepared* const prepared = Prepare(statement, error);
    if (prepared == nullptr || !answer.Begin(prepared->columns, error)) return false;
    const std::vector<const PgType*> types = TypesOf(prepared->columns);
    const bool is_load = parameters.empty() && !GetOptions().may_write;
    return is_load && !types.empty() && IsQuestion(prepared->text)
               ? Copy(*prepared, types, answer, error)
               : Execute(*prepared, types, parameters, answer, error);
  }

  // ---- Statements -------------------------------------------------------------------------------

  static std::vector<const PgType*> TypesOf(const std::vector<Kt_DatabaseColumn>& columns) {
    std::vector<const PgType*> types;
    for (const Kt_DatabaseColumn& column : columns) {
      const PgType* const known = FindPgType(column.type_number);
      types.push_back(known != nullptr ? known : FindPgType(kPgText));
    }
    return types;
  }

  // The statement with the types of its answer; those that are not known here become texts. Null,
  // with the reason, when the server does not take it.
  const Prepared* Prepare(std::string_view statement, std::string& error) {
    if (const auto known = statements_.find(statement); known != statements_.end()) {
      return &known->second;
    }
    if (statements_.size() >= kMaxStatements) {
      statements_.clear();
      if (!link_.Do("DEALLOCATE ALL", error)) return nullptr;
    }
    Prepared prepared;
    prepared.text = statement;
    if (!PrepareOnServer(prepared, error)) return nullptr;
    if (HasUnknownTypes(prepared.columns)) {
      const std::vector<Kt_DatabaseColumn> asked = prepared.columns;
      prepared.text = WithTexts(prepared);
      if (!PrepareOnServer(prepared, error)) return nullptr;
      for (std::size_t col = 0; col < asked.size(); ++col) {
        prepared.columns[col].name = asked[col].name;
      }
    }
    return &statements_.emplace(statement, std::move(prepared)).first->second;
  }

  static bool HasUnknownTypes(const std::vector<Kt_DatabaseColumn>& columns) {
    return std::ranges::any_of(
        columns, [](const auto& column) { return FindPgType(column.type_number) == nullptr; });
  }

  // Columns may have equal names, so those inside get others. The line feed ends a comment.
  static std::string WithTexts(const Prepared& prepared) {
    std::string names;
    std::string selected;
    for (std::size_t col = 0; col < prepared.columns.size(); ++col) {
      const std::string name = (col > 0 ? ", c" : "c") + std::to_string(col);
      names += name;
      selected += name;
      if (FindPgType(prepared.columns[col].type_number) == nullptr) selected += "::text";
    }
    return "SELECT " + selected + " FROM (" + prepared.text + "\n) AS q(" + names + ")";
  }

  bool PrepareOnServer(Prepared& prepared, std::string& error) {
    prepared.name = "kt" + std::to_string(++last_number_);
    if (PQsendPrepare(link_.Get(), prepared.name.c_str(), prepared.text.c_str(), 0, nullptr) != 1) {
      return Fail(nullptr, error);
    }
    if (!IsDone(error)) return false;
    if (PQsendDescribePrepared(link_.Get(), prepared.name.c_str()) != 1) {
      return Fail(nullptr, error);
    }
    const PgResult described = link_.Next();
    if (PQresultStatus(described.get()) != PGRES_COMMAND_OK) return Fail(described.get(), error);
    prepared.columns.clear();
    for (int col = 0; col < PQnfields(described.get()); ++col) {
      Kt_DatabaseColumn column;
      column.name = PQfname(described.get(), col);
      column.type_number = PQftype(described.get(), col);
      const PgType* const type = FindPgType(column.type_number);
      column.type = type != nullptr ? type->type : Type::kString;
      prepared.columns.push_back(std::move(column));
    }
    while (link_.Next() != nullptr) {
    }
    return true;
  }

  // All results up to the end; false with the reason of the first that failed.
  bool IsDone(std::string& error) {
    bool done = true;
    for (PgResult result = link_.Next(); result != nullptr; result = link_.Next()) {
      const ExecStatusType status = PQresultStatus(result.get());
      if (done && status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        done = Fail(result.get(), error);
      }
    }
    return done;
  }

  // ---- Answers ----------------------------------------------------------------------------------

  bool Copy(const Prepared& prepared, const std::vector<const PgType*>& types, Answer& answer,
            std::string& error) {
    const std::string copy = "COPY (" + prepared.text + "\n) TO STDOUT (FORMAT binary)";
    if (PQsendQuery(link_.Get(), copy.c_str()) != 1) return Fail(nullptr, error);
    const PgResult begun = link_.Next();
    if (PQresultStatus(begun.get()) != PGRES_COPY_OUT) return Fail(begun.get(), error);
    CopyReader reader(answer, types);
    char* bytes = nullptr;
    int length = 0;
    while ((length = link_.NextCopied(bytes)) > 0) {
      const std::unique_ptr<char, void (*)(void*)> row(bytes, PQfreemem);
      if (!reader.Take({bytes, static_cast<std::size_t>(length)}, error)) return false;
    }
    if (length == -2) return Fail(nullptr, error);
    return IsDone(error);
  }

  bool Execute(const Prepared& prepared, const std::vector<const PgType*>& types,
               std::span<const Kt_Variant> parameters, Answer& answer, std::string& error) {
    std::vector<std::string> texts;
    std::vector<const char*> values;
    texts.reserve(parameters.size());
    for (const Kt_Variant& value : parameters) {
      texts.push_back(TextOf(value));
      values.push_back(value.IsEmpty() ? nullptr : texts.back().c_str());
    }
    constexpr int kBinary = 1;
    if (PQsendQueryPrepared(link_.Get(), prepared.name.c_str(), static_cast<int>(values.size()),
                            values.data(), nullptr, nullptr, kBinary) != 1) {
      return Fail(nullptr, error);
    }
    PQsetSingleRowMode(link_.Get());
    for (PgResult result = link_.Next(); result != nullptr; result = link_.Next()) {
      const ExecStatusType status = PQresultStatus(result.get());
      if (status != PGRES_SINGLE_TUPLE && status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK &&
          status != PGRES_EMPTY_QUERY) {
        return Fail(result.get(), error);
      }
      if (status != PGRES_SINGLE_TUPLE) NoteChanged(result.get(), answer);
      for (int row = 0; row < PQntuples(result.get()); ++row) {
        if (!TakeRow(result.get(), row, types, answer, error)) return false;
      }
    }
    return true;
  }

  // "INSERT 0 1", "UPDATE 3"; a SELECT changes nothing.
  static void NoteChanged(PGresult* result, Answer& answer) {
    const std::string_view status = PQcmdStatus(result);
    if (status.starts_with("SELECT")) return;
    const std::string_view count = PQcmdTuples(result);
    std::from_chars(count.data(), count.data() + count.size(), answer.changed);
  }

  static bool TakeRow(const PGresult* result, int row, const std::vector<const PgType*>& types,
                      Answer& answer, std::string& error) {
    std::size_t bytes = 0;
    for (std::size_t col = 0; col < types.size(); ++col) {
      const int number = static_cast<int>(col);
      if (PQgetisnull(result, row, number) != 0) {
        answer[col].AddNull();
        continue;
      }
      const std::string_view cell(PQgetvalue(result, row, number),
                                  static_cast<std::size_t>(PQgetlength(result, row, number)));
      bytes += cell.size();
      if (!types[col]->read(cell, answer[col])) {
        error = answer.Place(col) + ": no value of its type, or a text that is no UTF-8";
        return false;
      }
    }
    return answer.EndRow(bytes, error);
  }

  PgLink link_;
  bool in_transaction_ = false;
  std::map<std::string, Prepared, std::less<>> statements_;
  std::uint64_t last_number_ = 0;
};

}  // namespace

std::unique_ptr<Kt_Database> OpenPostgresql(const Kt_DatabaseUrl& url,
                                            const Kt_Database::Options& options,
                                            std::string& error) {
  if (!LoadLibPq(error)) return nullptr;
  auto database = std::make_unique<Postgresql>(options);
  if (!database->Open(url, error)) return nullptr;
  return database;
}

}  // namespace kt::detail
