// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "expr/Kt_BoundExpr.h"
#include "host/Kt_Engine.h"

namespace kt {

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
class Formula {
 public:
  using Names = std::span<const std::string_view>;
  Formula(std::string_view text, std::initializer_list<std::string_view> names)
      : Formula(text, Names(names.begin(), names.size())) {}
  Formula(Engine& engine, std::string_view text, std::initializer_list<std::string_view> names)
      : Formula(engine, text, Names(names.begin(), names.size())) {}
  Formula(std::string_view text, Names names) { Bind(text, names); }
  Formula(Engine& engine, std::string_view text, Names names) : engine_(engine.state()) {
    Bind(text, names);
  }

  // As many numbers as there are names.
  template <std::convertible_to<double>... Numbers>
  double operator()(Numbers... numbers) const {
    CheckCount(sizeof...(Numbers));
    const std::array<double, sizeof...(Numbers) + 1> values{static_cast<double>(numbers)...};
    return evaluate(std::span(values.data(), sizeof...(Numbers)));
  }
  double evaluate(std::span<const double> numbers) const {
    CheckCount(numbers.size());
    double result = 0;
    EnterWith(numbers.data(), [&](Kt_BoundExpr::Places places) {
      const Kt_BoundDouble evaluated = numbers_.EvaluateDouble(places);
      result = evaluated.value;
      return evaluated.code;
    });
    return result;
  }
  // Values of any kind, as values of the host.
  template <class R = Kt_Variant, class... Values>
  R value(const Values&... values) const {
    const std::array<Kt_Variant, sizeof...(Values) + 1> list{detail::ToValue(values)...};
    return detail::FromValue<R>(value_of(std::span(list.data(), sizeof...(Values))), text_);
  }
  Kt_Variant value_of(std::span<const Kt_Variant> values) const {
    CheckCount(values.size());
    Kt_Variant result;
    EnterWith(values.data(),
              [&](Kt_BoundExpr::Places places) { return values_.Evaluate(places, result); });
    return result;
  }
  // One column for each name, all at least as long as `out`; one with a single number stands for
  // that number in every row.
  void evaluate(std::span<const std::span<const double>> columns, std::span<double> out) const {
    std::vector<const void*> places;
    std::vector<std::ptrdiff_t> strides;
    for (const std::span<const double> column : columns) {
      if (column.size() < out.size() && column.size() != 1) {
        throw RunError("a column has " + std::to_string(column.size()) + " numbers, not " +
                       std::to_string(out.size()));
      }
      places.push_back(column.data());
      strides.push_back(column.size() == 1 ? 0 : static_cast<std::ptrdiff_t>(sizeof(double)));
    }
    evaluate(places, strides, out);
  }
  void evaluate(std::initializer_list<std::span<const double>> columns,
                std::span<double> out) const {
    evaluate(std::span(columns.begin(), columns.size()), out);
  }
  // The same by addresses and distances in bytes.
  void evaluate(std::span<const void* const> places, std::span<const std::ptrdiff_t> strides,
                std::span<double> out) const {
    CheckCount(places.size());
    Enter([&] {
      return numbers_.EvaluateMany(out.size(), places.data(), strides.data(), out.data());
    });
  }

  const std::string& text() const { return text_; }
  std::size_t count() const { return count_; }

 private:
  static constexpr std::size_t kFew = 16;

  void Bind(std::string_view text, Names names) {
    text_ = text;
    count_ = names.size();
    static constexpr double kNoNumber = 0;
    Kt_Bindings numbers;
    Kt_Bindings values;
    for (const std::string_view name : names) {
      numbers.Add(detail::ToName(name), &kNoNumber);
      values.Add(detail::ToName(name), &Kt_Variant::_KtNullVariant);
    }
    const Kt_WString checked = detail::CheckedExpression(text);
    if (numbers.GetPlaceCount() != count_) throw RunError("a name is there twice");
    Enter([&] {
      for (auto [expr, bindings] : {std::pair(&numbers_, &numbers), std::pair(&values_, &values)}) {
        if (engine_) bindings->SetContext(&engine_->script).AskAll();
        const kt_long code = expr->Bind(checked, *bindings);
        if (code != kOk) return code;
      }
      return kOk;
    });
  }
  void CheckCount(std::size_t count) const {
    if (count != count_) {
      throw RunError("the formula has " + std::to_string(count_) + " names, " +
                     std::to_string(count) + " values came");
    }
  }
  // Inside of the engine, when there is one.
  template <class Work>
  void Enter(Work work) const {
    if (engine_ == nullptr) {
      if (const kt_long code = work(); code != kOk) throw RunError(detail::LastFailure(code));
      return;
    }
    detail::Entry entry(engine_);
    entry.Check(entry.Bounded(u"formula", work));
  }
  // The same for work(places), with the addresses of `values`.
  template <class T, class Work>
  void EnterWith(const T* values, Work work) const {
    std::array<const void*, kFew> few;
    std::vector<const void*> many(count_ > kFew ? count_ : 0);
    const void** const places = count_ > kFew ? many.data() : few.data();
    for (std::size_t at = 0; at < count_; ++at) places[at] = values + at;
    Enter([&] { return work(places); });
  }

  std::shared_ptr<detail::EngineState> engine_;  // null: none
  std::string text_;
  std::size_t count_ = 0;
  Kt_BoundExpr numbers_;  // over doubles
  Kt_BoundExpr values_;   // the same over values
};

}  // namespace kt
