// SPDX-License-Identifier: MIT
#pragma once

#include <expat.h>

#include "connect/detail/Kt_ClientLibrary.h"

namespace kt::detail {

#define KT_EXPAT(X)                 \
  X(XML_ErrorString)                \
  X(XML_GetBuffer)                  \
  X(XML_GetCurrentLineNumber)       \
  X(XML_GetErrorCode)               \
  X(XML_ParseBuffer)                \
  X(XML_ParserCreate_MM)            \
  X(XML_ParserFree)                 \
  X(XML_SetCharacterDataHandler)    \
  X(XML_SetElementHandler)          \
  X(XML_SetStartDoctypeDeclHandler) \
  X(XML_SetUserData)                \
  X(XML_StopParser)

KT_CLIENT_LIBRARY(LoadLibExpat, KT_EXPAT_FILE, KT_EXPAT)
#undef KT_EXPAT

}  // namespace kt::detail
