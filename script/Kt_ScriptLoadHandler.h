// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_WStrList.h"

class Kt_Script;

// How a host loads included scripts: implemented by the host, called by Kt_Script::Parse once for
// each parsed text that has includes.
class KT_SCRIPT_API Kt_ScriptLoadHandler {
 public:
  Kt_ScriptLoadHandler() = default;
  Kt_ScriptLoadHandler(const Kt_ScriptLoadHandler&) = default;
  Kt_ScriptLoadHandler& operator=(const Kt_ScriptLoadHandler&) = default;
  virtual ~Kt_ScriptLoadHandler() = default;

  // Loads the scripts named in `includes`, in source order, normally by parsing each into `script`.
  // The result becomes the result of Parse: 0 when all went well.
  virtual kt_long LoadIncludes(Kt_Script* script, Kt_WStrList& includes) = 0;
};
