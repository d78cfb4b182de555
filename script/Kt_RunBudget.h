// SPDX-License-Identifier: MIT
#pragma once

// What a host allows a run (Kt_RunBudget), and how its own loops are charged to it (kt::ChargeRun).
#include "classlib/base/Kt_WorkMeter.h"
#include "object/Kt_RunCharge.h"
