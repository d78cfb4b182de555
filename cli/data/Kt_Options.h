// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cli/Kt_Cli.h"
#include "cli/data/Kt_Data.h"

class Kt_CliHost;

namespace kt::cli {

// The data side of a command line, as it was given.
struct DataArguments {
  std::vector<std::string> data;
  std::vector<std::string> save;
  std::vector<std::pair<std::string, std::string>> options;  // names and values of data options
  bool verbose = false;
};
// Adds every data option and --verbose to a command.
void AddDataOptions(CLI::App& command, DataArguments& arguments);
// The same with --data, and with --save for a command that ends well or not.
void AddDataArguments(CLI::App& command, DataArguments& arguments, bool with_save = true);

// The same once it has been understood.
struct DataFiles {
  struct Item {
    std::string name;
    std::string path;
  };
  std::vector<Item> data;
  std::vector<Item> save;
  DataOptions load_options;
  bool verbose = false;
};

// "NAME=FILE"; FILE alone stands for the name of the file without its ending, when that is a name
// and `needs_name` is false. False, with the reason, for other texts.
bool ParseDataItem(const std::string& text, bool needs_name, DataFiles::Item& item,
                   std::string& reason);
// What the arguments mean; false when they are wrong, which has been said then.
bool ParseDataOptions(const DataArguments& arguments, const char* command, Streams streams,
                      DataOptions& options);
bool ParseDataArguments(const DataArguments& arguments, const char* command, Streams streams,
                        DataFiles& files);

// False when the option for types names a column that none of the datasets has; `reason` is what is
// wrong with it.
bool HaveTypedColumns(const DataOptions& options, const std::vector<const Kt_Dataset*>& datasets,
                      std::string& reason);

// Loads the files into the datasets of the host. The exit status.
int LoadDataFiles(const DataFiles& files, const char* command, Kt_CliHost& host, Streams streams);
// Loads a file under a name, which may be there already, and says what there is to say. False when
// that failed; `report` has the reason.
bool LoadDataInto(const DataFiles::Item& item, const DataOptions& options, bool verbose,
                  Kt_CliHost& host, Streams streams, DataReport& report);

// False when a dataset to save is not there and `code`, the text of what will run, cannot make it;
// that has been said then.
bool CheckSaveNames(const DataFiles& files, const Kt_CliHost& host, const Kt_WString& code,
                    const char* command, Streams streams);
// Saves what the command line asks for, the last step of a run. The exit status, also of errors
// that the host has been told of; a file that cannot be written does not keep the others from being
// written.
int SaveDataFiles(const DataFiles& files, Kt_CliHost& host, Streams streams);
// A format that the command line gives counts for saving only where the ending says none.
DataOptions SaveOptionsFor(const DataFiles::Item& item, const DataFiles& files);
bool SaveDataItem(const DataFiles::Item& item, const DataOptions& options, Kt_CliHost& host,
                  Streams streams);

}  // namespace kt::cli
