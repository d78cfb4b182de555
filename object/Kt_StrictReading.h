// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "classlib/value/Kt_TextWatch.h"
#include "object/Kt_RunError.h"

namespace kt {

// The name of its warnings.
inline constexpr const char16_t* kTextAsZeroName = u"text-as-zero";

// Warns of texts that arithmetic reads as 0, once for each place: the first kMaxPlaces of them.
//
//   kt::StrictReading strict([](const Kt_RunError& warning) { Show(warning.text); });
//   const kt::TextWatch::Scope scope(&strict);
//   script.ExecFunc(u"main", nullptr, result);
//
// The record has no code; text, statement, calls and, as far as it is known, the expression and
// the place in it are those of a failure. Nothing is noted as one. `listener` is called in the
// middle of an expression and must not run scripts. Threads: one.
class KT_SCRIPT_API StrictReading final : public TextWatch {
 public:
  static constexpr std::size_t kMaxPlaces = 1000;
  using Listener = std::function<void(const Kt_RunError& warning)>;
  explicit StrictReading(Listener listener) : listener_(std::move(listener)) {}

  void OnText(std::u16string_view text, const char16_t* sign) override;

  // Looks for the operator in the expressions that may have it: for listeners that know what was
  // evaluated while no function ran.
  static void Place(Kt_RunError& warning, const std::vector<Kt_WString>& expressions);

 private:
  Listener listener_;
  std::set<std::u16string> told_;  // places
};

}  // namespace kt
