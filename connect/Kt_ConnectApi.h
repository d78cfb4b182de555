// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Types.h"

// KT_CONNECT_API marks what KtConnectLib320U exports.
#if defined(KT_STATIC)
#define KT_CONNECT_API
#elif defined(KT_BUILDING_CONNECT)
#define KT_CONNECT_API KT_EXPORT
#else
#define KT_CONNECT_API KT_IMPORT
#endif
