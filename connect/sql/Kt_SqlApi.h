// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Types.h"

// KT_SQL_API marks what KtSqlLib320U exports.
#if defined(KT_STATIC)
#define KT_SQL_API
#elif defined(KT_BUILDING_SQL)
#define KT_SQL_API KT_EXPORT
#else
#define KT_SQL_API KT_IMPORT
#endif
