// SPDX-License-Identifier: MIT
#pragma once

// The host's side in short: an engine with functions, objects and tables of the host, formulas, and
// errors as exceptions. docs/host-cpp.md is the guide. Kt_Folders.h reads scripts from folders.
#include "host/Kt_Engine.h"
#include "host/Kt_Formula.h"
#include "host/Kt_HostObject.h"
#include "host/Kt_Table.h"
