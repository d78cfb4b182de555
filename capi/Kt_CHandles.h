// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "capi/kt.h"
#include "host/Kt_Bind.h"

// What the handles of kt.h are, and how C++ ends at them.

struct kt_error {
  kt::ErrorInfo info;
  std::string whole;
};

struct kt_value {
  Kt_Variant value;
  mutable std::string utf8;  // that was asked for last
};

struct kt_engine {
  kt::Engine engine;
};

struct kt_object {
  kt::Object object;
};

struct kt_formula {
  kt::Formula formula;
};

struct kt_program {
  kt::Program program;
};

struct kt_dataset {
  kt::Table table;
  mutable std::string text;
};

namespace kt::capi {

// A callback's data, destroyed with the last who may call it.
struct User {
  void* data;
  kt_destroy destroy;
  User(void* data, kt_destroy destroy) : data(data), destroy(destroy) {}
  User(const User&) = delete;
  User& operator=(const User&) = delete;
  ~User() {
    if (destroy != nullptr) destroy(data);
  }
};

kt_status Store(kt_status status, ErrorInfo info, kt_error** error) noexcept;

// Runs the body of a function of kt.h: no exception leaves it.
template <class Work>
kt_status Guard(kt_error** error, Work work) noexcept {
  if (error != nullptr) *error = nullptr;
  ErrorInfo info;
  try {
    try {
      work();
      return KT_OK;
    } catch (const SyntaxError& failure) {
      return Store(KT_SYNTAX, failure.info(), error);
    } catch (const Error& failure) {
      return Store(KT_RUN, failure.info(), error);
    } catch (const std::bad_alloc&) {
      return KT_MEMORY;
    } catch (const std::exception& failure) {
      info.text = failure.what();
      return Store(KT_RUN, std::move(info), error);
    }
  } catch (...) {  // nothing else throws but for want of memory
    return KT_MEMORY;
  }
}

// False, with an error that says so, when any of the handles is NULL.
template <class... Handles>
bool AreThere(kt_error** error, const Handles*... handles) {
  if (error != nullptr) *error = nullptr;
  if (((handles != nullptr) && ...)) return true;
  if (error != nullptr) *error = kt_error_new("NULL where something is needed");
  return false;
}

inline kt_value* NewValue(Kt_Variant value) { return new kt_value{std::move(value), {}}; }

// Gives a value out; nobody may want it.
inline void Give(Kt_Variant value, kt_value** out) {
  if (out != nullptr) *out = NewValue(std::move(value));
}

// Arguments of C as a list.
Kt_VariantList ToList(const kt_value* const* values, size_t count);
// A function of C as one of scripts. Its errors are thrown.
HostFunction ToFunction(kt_function function, std::shared_ptr<User> user);

}  // namespace kt::capi
