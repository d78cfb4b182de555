// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "classlib/base/Kt_Codes.h"

namespace kt {

// A place in a script or an expression, in UTF-8; numbers count from 1, and 0 says: not known.
struct Place {
  std::string file;
  std::string function;
  int line = 0;
  int column = 0;  // in UTF-16 units
  int length = 0;
  std::string text;  // what is wrong there; empty for a running function
  bool is_warning = false;
};

// What went wrong. Plain data; the texts are UTF-8.
struct ErrorInfo {
  std::string text;        // the message, without the place
  kt_long code = kFailed;  // as docs/errors.md lists them
  std::string subject;     // the name at fault, where there is one
  std::string expression;  // that failed; `place` has the column in it
  Place place;
  std::vector<Place> faults;  // of a text that was loaded: all of them
  std::vector<Place> calls;   // of a run: the functions that were running, innermost first

  // "rules.kts:4:12: unknown variable 'rebate'"
  KT_SCRIPT_API std::string Whole() const;
};

// The base of all that this layer throws. what() is the message with its place.
class KT_SCRIPT_API Error : public std::runtime_error {
 public:
  explicit Error(ErrorInfo info);

  const ErrorInfo& info() const { return *info_; }
  const ErrorInfo* operator->() const { return info_.get(); }

 private:
  std::shared_ptr<const ErrorInfo> info_;
};

// A text that cannot be loaded: `info().faults` has every fault.
class KT_SCRIPT_API SyntaxError : public Error {
 public:
  using Error::Error;
};

// A call, an expression or an operation of a table that failed.
class KT_SCRIPT_API RunError : public Error {
 public:
  using Error::Error;
  explicit RunError(std::string text);
};

// A value, or why there is none: what the try_ forms give.
//
//   if (const kt::Result<double> total = engine.try_call<double>("total")) Use(*total);
//   else Show(total.error().text);
template <class T>
class Result {
 public:
  Result(T value) : value_(std::move(value)) {}      // NOLINT
  Result(Error error) : error_(std::move(error)) {}  // NOLINT
  explicit operator bool() const { return !error_.has_value(); }
  bool has_value() const { return !error_.has_value(); }
  // The value; throws the error where there is none.
  const T& value() const {
    if (error_) throw Error(*error_);
    return *value_;
  }
  const T& operator*() const { return *value_; }
  const T* operator->() const { return &*value_; }
  T value_or(T other) const { return value_ ? *value_ : std::move(other); }
  // REQUIRES: there is no value.
  const ErrorInfo& error() const { return error_->info(); }

 private:
  std::optional<T> value_;
  std::optional<Error> error_;
};

template <>
class Result<void> {
 public:
  Result() = default;
  Result(Error error) : error_(std::move(error)) {}  // NOLINT
  explicit operator bool() const { return !error_.has_value(); }
  bool has_value() const { return !error_.has_value(); }
  const ErrorInfo& error() const { return error_->info(); }

 private:
  std::optional<Error> error_;
};

}  // namespace kt
