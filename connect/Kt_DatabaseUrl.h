// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "connect/Kt_ConnectApi.h"

// Where a database is, and what of it is wanted. UTF-8.
//
//   sqlite:shop.db?table=orders
//   sqlite:data/shop.db?query=SELECT * FROM orders WHERE price > 5
//   postgresql://user@host:5432/shop?table=sales.orders
//   postgresql:///shop?host=/run/postgresql&timeout=5&query=SELECT ...
//   sqlite:shop.db?table=orders&columns=id,price&sort=price:d&limit=10&filter=price > 5 && !paid
//
// %XX stands for a byte everywhere but in the query and the filter, which are the last part and
// taken as they are.
struct KT_CONNECT_API Kt_DatabaseUrl {
  enum class Kind : std::uint8_t { kSqlite, kPostgresql };

  Kind kind = Kind::kSqlite;
  std::string file;  // of SQLite
  // Of PostgreSQL; what is empty is left to the client library (PGHOST and the like).
  std::string host;  // a name, a number, or the folder of a socket
  std::string port;
  std::string user;
  std::string password;
  std::string database;
  std::string sslmode;

  std::string table;  // "orders", "sales.orders" or "\"odd.name\""
  std::string query;  // one of the two, or none
  // Which of the table's rows and columns: those for which an expression is true, in this order,
  // the first ones of them (0: all). Empty: all, in the order of the table. "price:d, id"; "id,
  // price".
  std::string filter;
  std::string sort;
  std::int32_t limit = 0;
  std::string columns;
  // How long it is waited for a connection and for what others have locked.
  std::chrono::seconds timeout{30};
  std::string shown;  // as it was given, without password: for messages

  // Whether less than all rows and columns is wanted, or another order.
  bool HasSelection() const {
    return !filter.empty() || !sort.empty() || limit > 0 || !columns.empty();
  }

  // Whether a text stands for a database and not for a file: "sqlite:", "postgresql://",
  // "postgres://".
  static bool IsUrl(std::string_view text);
  // False, with the reason, for other texts and for unknown parts.
  static bool Parse(std::string_view text, Kt_DatabaseUrl& url, std::string& reason);
};

namespace kt {

// The text with every password of a URL in it replaced by "***".
KT_CONNECT_API std::string WithoutPasswords(std::string_view text);

}  // namespace kt
