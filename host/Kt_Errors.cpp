// SPDX-License-Identifier: MIT
#include "host/Kt_Errors.h"

#include "host/Kt_Failures.h"

namespace kt {
namespace {

// A number that stands alone says what it counts.
std::string PlaceText(const Place& place) {
  if (place.file.empty() && (place.line > 0) != (place.column > 0)) {
    return (place.line > 0 ? "line " + std::to_string(place.line)
                           : "column " + std::to_string(place.column)) +
           ": ";
  }
  std::string out = place.file;
  for (const int number : {place.line, place.column}) {
    if (number > 0) out += (out.empty() ? "" : ":") + std::to_string(number);
  }
  return out.empty() ? out : out + ": ";
}

}  // namespace

namespace detail {

ErrorInfo InfoOf(const Kt_RunError& record) {
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

ErrorInfo LastFailure(kt_long code) {
  const Kt_RunError& last = Kt_RunError::Last();
  if (last.code == code) return InfoOf(last);
  ErrorInfo info;
  info.code = code;
  info.text = Kt_WString(kt_runtimetextW(code)).ToUtf8();
  if (info.text.empty()) info.text = "failed with code " + std::to_string(code);
  return info;
}

std::vector<Place> PlacesOf(const Kt_SyntaxErrorList& errors) {
  std::vector<Place> places;
  for (const Kt_SyntaxError& error : errors.GetErrors()) {
    std::string text = error.message.ToUtf8();
    if (!error.detail.IsEmpty()) text += ": " + error.detail.ToUtf8();
    places.push_back({error.source_name.ToUtf8(), error.function_name.ToUtf8(), error.line,
                      error.column, error.length, std::move(text), error.is_warning});
  }
  return places;
}

ErrorInfo SyntaxFailure(kt_long code, const Kt_SyntaxErrorList& errors) {
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

std::string ErrorInfo::Whole() const {
  if (faults.size() < 2) return PlaceText(place) + text;
  std::string out;
  for (const Place& fault : faults) {
    out += (out.empty() ? "" : "\n") + PlaceText(fault) + fault.text;
  }
  return out;
}

Error::Error(ErrorInfo info)
    : std::runtime_error(info.Whole()), info_(std::make_shared<const ErrorInfo>(std::move(info))) {}

namespace {

ErrorInfo OfText(std::string text) {
  ErrorInfo info;
  info.text = std::move(text);
  return info;
}

}  // namespace

RunError::RunError(std::string text) : Error(OfText(std::move(text))) {}

}  // namespace kt
