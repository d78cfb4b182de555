// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "host/Kt_Errors.h"
#include "object/Kt_RunError.h"
#include "script/Kt_SyntaxErrors.h"

// What the engine notes of failures, as the layer for hosts tells of them.
namespace kt::detail {

KT_SCRIPT_API ErrorInfo InfoOf(const Kt_RunError& record);
// The failure of the last call into the engine on this thread, as the engine noted it.
KT_SCRIPT_API ErrorInfo LastFailure(kt_long code);
KT_SCRIPT_API std::vector<Place> PlacesOf(const Kt_SyntaxErrorList& errors);
KT_SCRIPT_API ErrorInfo SyntaxFailure(kt_long code, const Kt_SyntaxErrorList& errors);

}  // namespace kt::detail
