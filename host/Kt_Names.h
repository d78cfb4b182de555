// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "classlib/base/Kt_Types.h"

// What a host gives to scripts, for tools: what kt::Engine::names_json is made of.
namespace kt::detail {

// How many arguments a function takes; a negative `most`: any number.
struct Arity {
  kt_long least = 0;
  kt_long most = -1;
};

// Collects names as lines of JSON, an object each, as `kt functions --json` prints them and
// `kt check --host` reads them.
class KT_SCRIPT_API NamesJson {
 public:
  void Add(std::string_view kind, std::string_view name);
  void AddCall(std::string_view name, Arity arity);
  // What follows a name and a point: a property, a method, a column.
  void AddMember(std::string_view kind, std::string_view name, std::string_view of);
  void AddMethod(std::string_view name, std::string_view of, Arity arity);
  const std::string& Text() const { return text_; }

 private:
  void Write(std::string_view kind, std::string_view name, std::string_view of,
             std::string_view form);

  std::string text_;
};

}  // namespace kt::detail
