// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "host/Kt_Engine.h"

namespace kt {

namespace detail {
struct BoundFormula;
}  // namespace detail

// A formula over numbers, bound once and evaluated a million times.
//
//   const kt::Formula total("price * qty", {"price", "qty"});
//   double one = total(2.5, 10);
//   total.evaluate({prices, quantities}, totals);               // whole columns, no copies
//
// With an engine it may also use the engine's functions, objects, globals and functions of its
// script; names are asked for at every use then, and one that nobody knows is an error there.
// Without one the constructor throws for names that it does not know.
// Threads: without an engine any number of threads may evaluate it at once; with one it belongs to
// the engine's thread. It keeps what an engine is made of alive.
class KT_SCRIPT_API Formula {
 public:
  using Names = std::span<const std::string_view>;
  Formula(std::string_view text, std::initializer_list<std::string_view> names)
      : Formula(text, Names(names.begin(), names.size())) {}
  Formula(Engine& engine, std::string_view text, std::initializer_list<std::string_view> names)
      : Formula(engine, text, Names(names.begin(), names.size())) {}
  Formula(std::string_view text, Names names);
  Formula(Engine& engine, std::string_view text, Names names);

  // As many numbers as there are names.
  template <std::convertible_to<double>... Numbers>
  double operator()(Numbers... numbers) const {
    const std::array<double, sizeof...(Numbers) + 1> values{static_cast<double>(numbers)...};
    return evaluate(std::span(values.data(), sizeof...(Numbers)));
  }
  double evaluate(std::span<const double> numbers) const;
  // Values of any kind, as values of the host.
  template <class R = Kt_Variant, class... Values>
  R value(const Values&... values) const {
    const std::array<Kt_Variant, sizeof...(Values) + 1> list{detail::ToValue(values)...};
    return detail::FromValue<R>(value_of(std::span(list.data(), sizeof...(Values))), text());
  }
  Kt_Variant value_of(std::span<const Kt_Variant> values) const;
  // One column for each name, all at least as long as `out`; one with a single number stands for
  // that number in every row.
  void evaluate(std::span<const std::span<const double>> columns, std::span<double> out) const;
  void evaluate(std::initializer_list<std::span<const double>> columns,
                std::span<double> out) const {
    evaluate(std::span(columns.begin(), columns.size()), out);
  }
  // The same by addresses and distances in bytes.
  void evaluate(std::span<const void* const> places, std::span<const std::ptrdiff_t> strides,
                std::span<double> out) const;

  const std::string& text() const;
  std::size_t count() const;

 private:
  std::shared_ptr<const detail::BoundFormula> bound_;  // never null; copies share it
};

}  // namespace kt
