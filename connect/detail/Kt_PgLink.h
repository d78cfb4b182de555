// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "connect/Kt_DatabaseUrl.h"
#include "connect/detail/Kt_LibPq.h"

namespace kt::detail {

struct PgResultFree {
  void operator()(PGresult* result) const { PQclear(result); }
};
using PgResult = std::unique_ptr<PGresult, PgResultFree>;

// A connection to a server on which nothing waits longer than the bounds of the thread allow: all
// is sent and received without blocking, with a look at the meter between.
//
// Fails: what waits throws WorkStopped when the work has to stop; what was asked is cancelled then.
class PgLink {
 public:
  PgLink() = default;
  PgLink(const PgLink&) = delete;
  PgLink& operator=(const PgLink&) = delete;
  ~PgLink() { PQfinish(connection_); }

  bool Connect(const Kt_DatabaseUrl& url, std::string& error);
  PGconn* Get() const { return connection_; }
  bool IsLost() const { return PQstatus(connection_) != CONNECTION_OK; }

  // After something was sent: the next result; null when there is no more.
  PgResult Next();
  // Runs a statement, or several, without parameters and rows.
  bool Do(const std::string& statements, std::string& error);
  // A row of a COPY, to be freed by PQfreemem; its length, -1 at the end, -2 for a failure.
  int NextCopied(char*& bytes);
  // Makes the connection ready for the next statement, whatever was going on.
  void Settle() noexcept;

  // The reason of a failure: of a result, or of the connection.
  std::string Reason(const PGresult* result) const;

 private:
  // Waits a moment for the socket to be read or written.
  bool IsReady(bool to_write) const noexcept;
  // Until it can be; false when `end` has passed. Throws when a bound of the thread stops it.
  bool Wait(bool to_write, std::chrono::steady_clock::time_point end);
  bool Poll(const Kt_DatabaseUrl& url, std::string& error);
  void Flush();

  PGconn* connection_ = nullptr;
};

}  // namespace kt::detail
