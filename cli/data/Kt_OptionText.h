// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "cli/data/Kt_Data.h"

class Kt_Variant;

namespace kt::cli {

// An option of everything that reads or writes data files: "--name VALUE" of the commands,
// "name=value" of loadData() and saveData().
struct DataOption {
  std::string_view name;
  std::string_view value;  // what the help calls it; empty: the option has none
  std::string_view help;
  bool loads;
  bool saves;
  // Takes the value in. False, with what was expected, for a wrong one.
  bool (*read)(std::string_view value, DataOptions& options, std::string& expected);
};

// All of them, in the order of the help.
std::span<const DataOption> AllDataOptions();

// Takes in one option. False, with "decimal: expected one character, not 'ab'" as the reason, for
// a wrong value, and for an unknown name. Values are UTF-8.
bool ReadDataOption(std::string_view name, std::string_view value, DataOptions& options,
                    std::string& reason);

// What loadData() and saveData() are given as options: a text "separator=; null='' no-header", with
// blanks between the options and quotes around values with blanks, or a list of texts with one
// option each. The reason as above; options of the other of the two are unknown.
bool ReadDataOptions(const Kt_Variant& given, bool loads, DataOptions& options,
                     std::string& reason);

// What does not fit together, once all options are there.
bool CheckDataOptions(const DataOptions& options, std::string& reason);

}  // namespace kt::cli
