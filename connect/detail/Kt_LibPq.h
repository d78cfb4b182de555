// SPDX-License-Identifier: MIT
#pragma once

#include <libpq-fe.h>

#include "connect/detail/Kt_ClientLibrary.h"

namespace kt::detail {

#define KT_LIBPQ(X)         \
  X(PQcancel)               \
  X(PQclear)                \
  X(PQcmdStatus)            \
  X(PQcmdTuples)            \
  X(PQconnectPoll)          \
  X(PQconnectStartParams)   \
  X(PQconsumeInput)         \
  X(PQerrorMessage)         \
  X(PQfinish)               \
  X(PQflush)                \
  X(PQfname)                \
  X(PQfreeCancel)           \
  X(PQfreemem)              \
  X(PQftype)                \
  X(PQgetCancel)            \
  X(PQgetCopyData)          \
  X(PQgetResult)            \
  X(PQgetisnull)            \
  X(PQgetlength)            \
  X(PQgetvalue)             \
  X(PQisBusy)               \
  X(PQnfields)              \
  X(PQntuples)              \
  X(PQresultErrorField)     \
  X(PQresultErrorMessage)   \
  X(PQresultStatus)         \
  X(PQsendDescribePrepared) \
  X(PQsendPrepare)          \
  X(PQsendQuery)            \
  X(PQsendQueryPrepared)    \
  X(PQsetNoticeProcessor)   \
  X(PQsetSingleRowMode)     \
  X(PQsetnonblocking)       \
  X(PQsocket)               \
  X(PQstatus)               \
  X(PQtransactionStatus)

KT_CLIENT_LIBRARY(LoadLibPq, KT_PQ_FILE, KT_LIBPQ)
#undef KT_LIBPQ

}  // namespace kt::detail
