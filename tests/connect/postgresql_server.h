// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

// Statements for a server `loopback` whose foreign tables are tables of the database itself. Rows
// are dear to fetch from it, so that plans leave to it what can be left; they are not worth being
// compiled.
inline constexpr const char* kLoopbackServer =
    "SET client_min_messages TO error; CREATE EXTENSION IF NOT EXISTS postgres_fdw; "
    "DO $$ BEGIN EXECUTE format('CREATE SERVER IF NOT EXISTS loopback FOREIGN DATA WRAPPER "
    "postgres_fdw OPTIONS (host %L, port %L, dbname %L, fdw_tuple_cost ''1000'')', "
    "current_setting('unix_socket_directories'), current_setting('port'), current_database()); "
    "EXECUTE format('ALTER DATABASE %I SET jit TO off', current_database()); END $$; "
    "CREATE USER MAPPING IF NOT EXISTS FOR kt SERVER loopback "
    "OPTIONS (user 'kt', password_required 'false');";

// A server of PostgreSQL in a temporary folder, stopped at the end. Where none is installed there
// is none, and tests skip.
class PostgresqlServer {
 public:
  // With `file_kb` no file of it grows beyond that, as on a disk that is full.
  explicit PostgresqlServer(int file_kb = 0) {
    std::string pattern = (std::filesystem::temp_directory_path() / "kt_pg_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) return;
    folder_ = std::filesystem::canonical(pattern).string();
    const std::string limit =
        file_kb > 0 ? "KT_POSTGRESQL_FILE_KB=" + std::to_string(file_kb) + " " : "";
    said_ = Output(limit + KT_POSTGRESQL_SCRIPT + " start " + folder_ + " 2>&1");
    const std::size_t at = said_.find("port=");
    if (at != said_.npos) port_ = said_.substr(at + 5, said_.find(' ', at) - at - 5);
  }
  // That of the tests of this program, made when the first one asks for it.
  static const PostgresqlServer& Get() {
    static const PostgresqlServer server;
    return server;
  }
  PostgresqlServer(const PostgresqlServer&) = delete;
  PostgresqlServer& operator=(const PostgresqlServer&) = delete;
  ~PostgresqlServer() {
    Output(std::string(KT_POSTGRESQL_SCRIPT) + " stop " + folder_);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  void Restart() const { Output(std::string(KT_POSTGRESQL_SCRIPT) + " again " + folder_); }

  bool IsThere() const { return !port_.empty(); }
  const std::string& WhyNot() const { return said_; }
  const std::string& Port() const { return port_; }
  // Through the socket, where no password is asked for.
  std::string Url(const std::string& database = "shop") const {
    return "postgresql://kt@:" + port_ + "/" + database + "?host=" + folder_;
  }
  // Through the port, with this password.
  std::string UrlWithPassword(const std::string& password) const {
    return "postgresql://kt:" + password + "@127.0.0.1:" + port_ + "/shop";
  }

  // What the database's own program answers to statements: rows "a,b|c,d".
  std::string Run(const std::string& statements) const {
    const std::string file = folder_ + "/statements.sql";
    if (std::FILE* const out = std::fopen(file.c_str(), "w")) {
      std::fputs(statements.c_str(), out);
      std::fclose(out);
    }
    std::string text = Output("psql -X -q -A -t -F, -R'|' -P null=- -v ON_ERROR_STOP=1 -h " +
                              folder_ + " -p " + port_ + " -U kt -f " + file + " shop 2>&1");
    while (!text.empty() && (text.back() == '\n' || text.back() == '|')) text.pop_back();
    return text;
  }

 private:
  static std::string Output(const std::string& command) {
    std::string text;
    if (std::FILE* const pipe = ::popen(command.c_str(), "r")) {
      for (int unit = std::fgetc(pipe); unit != EOF; unit = std::fgetc(pipe)) {
        text += static_cast<char>(unit);
      }
      ::pclose(pipe);
    }
    return text;
  }

  std::string folder_;
  std::string said_;
  std::string port_;
};
