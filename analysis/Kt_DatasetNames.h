// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "analysis/Kt_KnownNames.h"

namespace kt::analysis {

// What can stand behind every dataset and a point, and in expressions over its rows. Columns are
// not among it. Made of the tables of the engine, once. Threads: free to call from any.
class DatasetNames {
 public:
  // What an argument is, as far as its text says more than any other text. A list of columns has
  // them with commas between, each with something behind ':' or '=' if need be.
  enum class Argument : std::uint8_t { kValue, kColumn, kColumnList, kRowExpression };
  struct Method {
    Kt_WString name;
    ArgumentCounts counts;
    std::vector<Argument> arguments;  // those behind the last are values

    Argument KindOf(int argument) const {
      const auto at = static_cast<std::size_t>(argument);
      return at < arguments.size() ? arguments[at] : Argument::kValue;
    }
  };

  static const DatasetNames& Get();

  // Null when there is none.
  const Method* FindMethod(const std::u16string& folded) const;
  bool HasProperty(const std::u16string& folded) const { return properties_.contains(folded); }
  bool HasRowKeyword(const std::u16string& folded) const { return keywords_.contains(folded); }
  void ListMethods(std::vector<Kt_WString>& names) const;
  void ListProperties(std::vector<Kt_WString>& names) const;

 private:
  DatasetNames();

  std::unordered_map<std::u16string, Method> methods_;
  std::unordered_map<std::u16string, Kt_WString> properties_;
  std::unordered_map<std::u16string, Kt_WString> keywords_;
};

}  // namespace kt::analysis
