// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/text/Kt_WString.h"

class Kt_CliHost;
class Kt_ExprDataset;

// The datasets of a run by name, without regard to case: those of the command line and those that
// scripts make. The first one is the default dataset.
//
// A name stays with its dataset, whatever the script makes of the dataset's id.
// Owns datasets and wrappers; they live as long as it, because scripts may hold them anywhere.
// Threads: one.
class Kt_CliDatasets {
 public:
  // The host is the context of the wrappers, and hears when a member of one fails in silence.
  explicit Kt_CliDatasets(Kt_CliHost& host);
  Kt_CliDatasets(const Kt_CliDatasets&) = delete;
  Kt_CliDatasets& operator=(const Kt_CliDatasets&) = delete;
  ~Kt_CliDatasets();

  // Null for none.
  Kt_ExprDataset* Find(const Kt_WString& name) const;
  Kt_ExprDataset* GetDefault() const;
  std::size_t GetCount() const { return entries_.size(); }
  // The names in the order in which they came.
  std::vector<Kt_WString> GetNames() const;
  // A new dataset under that name. REQUIRES: there is none.
  Kt_ExprDataset& Add(const Kt_WString& name);
  // Adds `dataset` under its id.
  Kt_ExprDataset& Add(std::unique_ptr<Kt_Dataset> dataset);

  // Adds columns "name:string, price:currency" (string when no type is given) that are not there
  // yet. False, with the reason, when one cannot be added; those before it are there then.
  static bool AddColumns(Kt_Dataset& dataset, const Kt_WString& columns, std::string& reason);
  // Makes `name`, which is new or a view itself, show the rows of `source` for which `filter` holds
  // (empty: all). False, with the reason, when that is not possible.
  bool MakeView(const Kt_WString& name, Kt_ExprDataset& source, const Kt_WString& filter,
                std::string& reason);

 private:
  struct Entry;

  Entry* FindEntry(const Kt_WString& name) const;

  Kt_CliHost& host_;
  std::vector<std::unique_ptr<Entry>> entries_;
  std::unordered_map<std::u16string, std::size_t> by_name_;  // by the name in folded case
};
