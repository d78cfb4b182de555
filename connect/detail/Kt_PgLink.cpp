// SPDX-License-Identifier: MIT
#include "connect/detail/Kt_PgLink.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <new>

#include "classlib/base/Kt_Charge.h"

namespace kt::detail {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kForEver = Clock::time_point::max();
// Between two looks at the bounds of the thread while nothing comes.
constexpr int kLookMilliseconds = 20;
// How long it is waited for the server to give up what was cancelled.
constexpr std::chrono::seconds kCancelTime{5};

// The lines of a message of the client library as one.
std::string OneLine(const char* message) {
  std::string text = message != nullptr ? message : "";
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  std::ranges::replace(text, '\n', ' ');
  return text.empty() ? "the connection was lost" : text;
}

}  // namespace

bool PgLink::IsReady(bool to_write) const noexcept {
  pollfd waited{PQsocket(connection_), static_cast<short>(to_write ? POLLOUT : POLLIN), 0};
  // A socket that is no more answers at once, and whoever reads it finds out.
  return waited.fd < 0 || ::poll(&waited, 1, kLookMilliseconds) != 0;
}

bool PgLink::Wait(bool to_write, Clock::time_point end) {
  while (!IsReady(to_write)) {
    Kt_WorkMeter* const meter = Kt_WorkMeter::Current();
    if (meter != nullptr && !meter->LookNow()) throw WorkStopped();
    if (end != kForEver && Clock::now() >= end) return false;
  }
  return true;
}

bool PgLink::Connect(const Kt_DatabaseUrl& url, std::string& error) {
  struct Setting {
    const char* name;
    const char* value;
  };
  // A server that is cut off is found out, also while nobody may stop the waiting.
  const std::string cut_off = std::to_string(std::chrono::milliseconds(url.timeout).count());
  const Setting settings[] = {{"tcp_user_timeout", cut_off.c_str()},
                              {"host", url.host.c_str()},
                              {"port", url.port.c_str()},
                              {"user", url.user.c_str()},
                              {"password", url.password.c_str()},
                              {"dbname", url.database.c_str()},
                              {"sslmode", url.sslmode.c_str()},
                              {"client_encoding", "UTF8"},
                              {"fallback_application_name", "kt"}};
  std::array<const char*, std::size(settings) + 1> names{};
  std::array<const char*, std::size(settings) + 1> values{};
  std::size_t count = 0;
  for (const auto& [name, value] : settings) {
    if (*value == 0) continue;  // as the environment says
    names[count] = name;
    values[count++] = value;
  }
  connection_ = PQconnectStartParams(names.data(), values.data(), 0);
  if (connection_ == nullptr) throw std::bad_alloc();
  PQsetNoticeProcessor(
      connection_, [](void*, const char*) {}, nullptr);
  return Poll(url, error);
}

bool PgLink::Poll(const Kt_DatabaseUrl& url, std::string& error) {
  const Clock::time_point end = Clock::now() + url.timeout;
  PostgresPollingStatusType status = PGRES_POLLING_WRITING;
  while (status != PGRES_POLLING_OK && status != PGRES_POLLING_FAILED &&
         PQstatus(connection_) != CONNECTION_BAD) {
    if (!Wait(status == PGRES_POLLING_WRITING, end)) {
      error = "no answer within " + std::to_string(url.timeout.count()) + " s";
      return false;
    }
    status = PQconnectPoll(connection_);
  }
  if (!IsLost() && PQsetnonblocking(connection_, 1) == 0) return true;
  error = Reason(nullptr);
  return false;
}

void PgLink::Flush() {
  while (PQflush(connection_) > 0) {
    // The server may wait for us to read before it goes on reading.
    pollfd waited{PQsocket(connection_), POLLIN | POLLOUT, 0};
    if (::poll(&waited, 1, kLookMilliseconds) > 0 && (waited.revents & POLLIN) != 0) {
      PQconsumeInput(connection_);
    }
    Kt_WorkMeter* const meter = Kt_WorkMeter::Current();
    if (meter != nullptr && !meter->LookNow()) throw WorkStopped();
  }
}

PgResult PgLink::Next() {
  Flush();
  while (PQisBusy(connection_) != 0) {
    Wait(false, kForEver);
    if (PQconsumeInput(connection_) == 0) break;  // the result says what happened
  }
  return PgResult(PQgetResult(connection_));
}

bool PgLink::Do(const std::string& statements, std::string& error) {
  bool done = PQsendQuery(connection_, statements.c_str()) == 1;
  if (!done) error = Reason(nullptr);
  for (PgResult result = Next(); result != nullptr; result = Next()) {
    const ExecStatusType status = PQresultStatus(result.get());
    if (!done || status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) continue;
    error = Reason(result.get());
    done = false;
  }
  return done && !IsLost();
}

int PgLink::NextCopied(char*& bytes) {
  for (;;) {
    const int length = PQgetCopyData(connection_, &bytes, 1);
    if (length != 0) return length;
    Wait(false, kForEver);
    if (PQconsumeInput(connection_) == 0) return -2;
  }
}

void PgLink::Settle() noexcept {
  if (connection_ == nullptr || PQtransactionStatus(connection_) != PQTRANS_ACTIVE) return;
  if (PGcancel* const cancel = PQgetCancel(connection_)) {
    std::array<char, 256> ignored;
    PQcancel(cancel, ignored.data(), static_cast<int>(ignored.size()));
    PQfreeCancel(cancel);
  }
  const Clock::time_point end = Clock::now() + kCancelTime;
  // Whatever the bounds of the thread say.
  const auto takes_more = [&] {
    while (!IsReady(false)) {
      if (Clock::now() >= end) return false;
    }
    return PQconsumeInput(connection_) != 0;
  };
  for (;;) {
    while (PQisBusy(connection_) != 0) {
      if (!takes_more()) return;
    }
    const PgResult result(PQgetResult(connection_));
    if (result == nullptr) return;
    if (PQresultStatus(result.get()) != PGRES_COPY_OUT) continue;
    char* bytes = nullptr;
    int length = 0;
    while ((length = PQgetCopyData(connection_, &bytes, 1)) >= 0) {
      if (length > 0) PQfreemem(bytes);
      if (length == 0 && !takes_more()) return;
    }
  }
}

std::string PgLink::Reason(const PGresult* result) const {
  const char* const primary =
      result != nullptr ? PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY) : nullptr;
  if (primary == nullptr) {
    return OneLine(result != nullptr ? PQresultErrorMessage(result) : PQerrorMessage(connection_));
  }
  std::string text = primary;
  constexpr std::array<int, 2> kFields = {PG_DIAG_MESSAGE_DETAIL, PG_DIAG_MESSAGE_HINT};
  for (const int field : kFields) {
    const char* const more = PQresultErrorField(result, field);
    if (more != nullptr) text.append(" (").append(more).append(")");
  }
  return OneLine(text.c_str());
}

}  // namespace kt::detail
