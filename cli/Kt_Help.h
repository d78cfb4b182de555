// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/Kt_WString.h"
#include "reference/Kt_HelpExample.h"

namespace kt::cli {

// A row of one of the tables of what scripts can name, as far as a user is interested in it.
// Missing texts are empty.
struct Help {
  Kt_WString name;
  Kt_WString forms;  // one a line
  const char16_t* does = u"";
  const char16_t* odd = u"";
  std::vector<Kt_HelpExample> examples = {};
};

struct HelpSection {
  const char* heading;  // of a list
  const char* kind;     // what one entry is; empty for functions, which need no word
  std::vector<Help> entries;
};

// What can be named in a script: functions, then methods and properties of datasets, keywords of
// row expressions and statements.
std::vector<HelpSection> AllHelp();

}  // namespace kt::cli
