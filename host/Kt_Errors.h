// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "object/Kt_RunError.h"
#include "script/Kt_SyntaxErrors.h"

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
  std::string Whole() const;
};

// The base of all that this layer throws. what() is the message with its place.
class Error : public std::runtime_error {
 public:
  explicit Error(ErrorInfo info)
      : std::runtime_error(info.Whole()),
        info_(std::make_shared<const ErrorInfo>(std::move(info))) {}

  const ErrorInfo& info() const { return *info_; }
  const ErrorInfo* operator->() const { return info_.get(); }

 private:
  std::shared_ptr<const ErrorInfo> info_;
};

// A text that cannot be loaded: `info().faults` has every fault.
class SyntaxError : public Error {
 public:
  using Error::Error;
};

// A call, an expression or an operation of a table that failed.
class RunError : public Error {
 public:
  using Error::Error;
  explicit RunError(std::string text) : Error(InfoOf(std::move(text))) {}

 private:
  static ErrorInfo InfoOf(std::string text) {
    ErrorInfo info;
    info.text = std::move(text);
    return info;
  }
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

namespace detail {

inline std::string PlaceText(const Place& place) {
  std::string out = place.file;
  for (const int number : {place.line, place.column}) {
    if (number > 0) out += (out.empty() ? "" : ":") + std::to_string(number);
  }
  return out.empty() ? out : out + ": ";
}

// A record of the engine for the host.
inline ErrorInfo InfoOf(const Kt_RunError& record) {
  ErrorInfo info;
  info.code = record.code;
  info.text = record.text.ToUtf8();
  info.subject = record.subject.ToUtf8();
  info.expression = record.expression.ToUtf8();
  info.place = {record.source_name.ToUtf8(),
                record.function.ToUtf8(),
                record.line,
                record.column,
                record.length,
                info.text,
                false};
  for (const Kt_ScriptPosition& call : record.calls) {
    info.calls.push_back(
        {call.source_name.ToUtf8(), call.function.ToUtf8(), call.line + 1, 0, 0, {}, false});
  }
  return info;
}

// The failure of the last call into the engine on this thread, as the engine noted it.
inline ErrorInfo LastFailure(kt_long code) {
  const Kt_RunError& last = Kt_RunError::Last();
  if (last.code == code) return InfoOf(last);
  ErrorInfo info;
  info.code = code;
  info.text = Kt_WString(kt_runtimetextW(code)).ToUtf8();
  if (info.text.empty()) info.text = "failed with code " + std::to_string(code);
  return info;
}

inline std::vector<Place> PlacesOf(const Kt_SyntaxErrorList& errors) {
  std::vector<Place> places;
  for (const Kt_SyntaxError& error : errors.GetErrors()) {
    std::string text = error.message.ToUtf8();
    if (!error.detail.IsEmpty()) text += ": " + error.detail.ToUtf8();
    places.push_back({error.source_name.ToUtf8(), error.function_name.ToUtf8(), error.line,
                      error.column, error.length, std::move(text), error.is_warning});
  }
  return places;
}

inline ErrorInfo SyntaxFailure(kt_long code, const Kt_SyntaxErrorList& errors) {
  ErrorInfo info;
  info.code = code;
  info.faults = PlacesOf(errors);
  if (info.faults.empty()) {
    info.text = errors.Join(u"; ").ToUtf8();
    return info;
  }
  info.code = errors.GetErrors().front().code;
  info.place = info.faults.front();
  info.text = info.place.text;
  return info;
}

}  // namespace detail

inline std::string ErrorInfo::Whole() const {
  if (faults.size() < 2) return detail::PlaceText(place) + text;
  std::string out;
  for (const Place& fault : faults) {
    out += (out.empty() ? "" : "\n") + detail::PlaceText(fault) + fault.text;
  }
  return out;
}

}  // namespace kt
