// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "classlib/text/Kt_WString.h"

namespace kt::analysis {

// `name` as all ways of writing it have it: names are the same in any case.
std::u16string Folded(std::u16string_view name);

// How many arguments a function takes.
struct ArgumentCounts {
  static constexpr int kAny = -1;

  // As call forms say: "Mid(strString,nIndex[,nSize])" takes 2 or 3, "[...]" any number more. The
  // widest range of several forms.
  static ArgumentCounts Of(std::u16string_view forms);

  bool Allows(int count) const { return count >= least && (most == kAny || count <= most); }
  // "2 or 3 arguments", "at least 1 argument".
  Kt_WString Text() const;
  // "'mid' takes 2 or 3 arguments, not 1".
  Kt_WString Complaint(const Kt_WString& name, int count) const;

  int least = 0;
  int most = kAny;
};

// What scripts can name besides what they declare themselves: the built-in functions, and what the
// context that they run in has.
class KnownNames {
 public:
  KnownNames();  // the built-in functions

  // `makes_names`: what it makes has from then on the name that its first argument says.
  void AddFunction(const Kt_WString& name, std::u16string_view forms, bool makes_names = false);
  void AddVariable(const Kt_WString& name) { variables_.emplace(Folded(name), name); }
  // A variable whose columns are known.
  void AddDataset(const Kt_WString& name, std::vector<Kt_WString> columns);

  struct Function {
    Kt_WString name;
    ArgumentCounts counts;
    bool makes_names;
  };
  struct Dataset {
    Kt_WString name;
    std::vector<Kt_WString> columns;
    std::unordered_set<std::u16string> folded_columns;
    bool HasColumn(const std::u16string& folded) const { return folded_columns.contains(folded); }
  };
  // A variable that has these members and no others.
  struct Object {
    Kt_WString name;
    std::unordered_map<std::u16string, Kt_WString> properties;
    std::unordered_map<std::u16string, Function> methods;
  };
  // The one of that name, for members; a new one if there is none.
  Object& AddObject(const Kt_WString& name);

  // Null when there is none.
  const Object* FindObject(const std::u16string& folded) const;
  const Dataset* FindDataset(const std::u16string& folded) const;
  const Function* FindFunction(const std::u16string& folded) const;
  bool HasVariable(const std::u16string& folded) const { return variables_.contains(folded); }
  void ListFunctions(std::vector<Kt_WString>& names) const;
  void ListVariables(std::vector<Kt_WString>& names) const;

 private:
  std::unordered_map<std::u16string, Function> functions_;
  std::unordered_map<std::u16string, Kt_WString> variables_;
  std::unordered_map<std::u16string, Dataset> datasets_;
  std::unordered_map<std::u16string, Object> objects_;
};

}  // namespace kt::analysis
