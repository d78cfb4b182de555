// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

#include "classlib/base/Kt_Codes.h"
#include "classlib/text/Kt_WString.h"

class Kt_Variant;

// Appends what is shown for an object; false when there is nothing.
using Kt_ShowObject = std::function<bool(const Kt_Variant& object, std::string& out)>;

// Why a dataset was not saved. What a form cannot hold is refused by name: nothing is left out.
struct KT_CLASS_API Kt_SaveReport {
  // kErrNotAllowed, kErrStringTooLong, kErrNoMemory or the code that stopped the work; 0 after a
  // save that succeeded.
  kt_long code = kOk;
  // What and where: "row 3, column 'parts': a list". Rows count from 0
  // among those saved. Empty where the code says it all.
  Kt_WString error;

  // Takes both; the code.
  kt_long Refuse(kt_long why, const Kt_WString& text) {
    code = why;
    error = text;
    return why;
  }
};
