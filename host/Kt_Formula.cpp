// SPDX-License-Identifier: MIT
#include "host/Kt_Formula.h"

#include <vector>

#include "expr/Kt_BoundExpr.h"
#include "host/Kt_EngineState.h"
#include "host/Kt_Failures.h"

namespace kt {
namespace detail {

struct BoundFormula {
  static constexpr std::size_t kFew = 16;

  std::shared_ptr<EngineState> engine;  // null: none
  std::string text;
  std::size_t count = 0;
  Kt_BoundExpr numbers;  // over doubles
  Kt_BoundExpr values;   // the same over values

  void Bind(Formula::Names names);
  void CheckCount(std::size_t given) const {
    if (given == count) return;
    throw RunError("the formula has " + std::to_string(count) + " names, " + std::to_string(given) +
                   " values came");
  }
  // Inside of the engine, when there is one.
  template <class Work>
  void Enter(Work work) const {
    if (engine == nullptr) {
      if (const kt_long code = work(); code != kOk) throw RunError(LastFailure(code));
      return;
    }
    Entry entry(engine);
    entry.Check(entry.Bounded(u"formula", work));
  }
  // The same for work(places), with the addresses of `cells`.
  template <class T, class Work>
  void EnterWith(std::span<const T> cells, Work work) const {
    CheckCount(cells.size());
    std::array<const void*, kFew> few;
    std::vector<const void*> many(count > kFew ? count : 0);
    const void** const places = count > kFew ? many.data() : few.data();
    for (std::size_t at = 0; at < count; ++at) places[at] = cells.data() + at;
    Enter([&] { return work(places); });
  }
};

void BoundFormula::Bind(Formula::Names names) {
  count = names.size();
  static constexpr double kNoNumber = 0;
  Kt_Bindings for_numbers;
  Kt_Bindings for_values;
  for (const std::string_view name : names) {
    for_numbers.Add(ToName(name), &kNoNumber);
    for_values.Add(ToName(name), &Kt_Variant::_KtNullVariant);
  }
  const Kt_WString checked = CheckedExpression(text);
  if (for_numbers.GetPlaceCount() != count) throw RunError("a name is there twice");
  Enter([&] {
    for (auto [expr, bindings] :
         {std::pair(&numbers, &for_numbers), std::pair(&values, &for_values)}) {
      if (engine) bindings->SetContext(&engine->script).AskAll();
      const kt_long code = expr->Bind(checked, *bindings);
      if (code != kOk) return code;
    }
    return static_cast<kt_long>(kOk);
  });
}

namespace {

std::shared_ptr<const BoundFormula> MakeBound(std::shared_ptr<EngineState> engine,
                                              std::string_view text, Formula::Names names) {
  const auto bound = std::make_shared<BoundFormula>();
  bound->engine = std::move(engine);
  bound->text = text;
  bound->Bind(names);
  return bound;
}

}  // namespace
}  // namespace detail

Formula::Formula(std::string_view text, Names names)
    : bound_(detail::MakeBound(nullptr, text, names)) {}
Formula::Formula(Engine& engine, std::string_view text, Names names)
    : bound_(detail::MakeBound(engine.state(), text, names)) {}

double Formula::evaluate(std::span<const double> numbers) const {
  double result = 0;
  bound_->EnterWith(numbers, [&](Kt_BoundExpr::Places places) {
    const Kt_BoundDouble evaluated = bound_->numbers.EvaluateDouble(places);
    result = evaluated.value;
    return evaluated.code;
  });
  return result;
}

Kt_Variant Formula::value_of(std::span<const Kt_Variant> values) const {
  Kt_Variant result;
  bound_->EnterWith(
      values, [&](Kt_BoundExpr::Places places) { return bound_->values.Evaluate(places, result); });
  return result;
}

void Formula::evaluate(std::span<const std::span<const double>> columns,
                       std::span<double> out) const {
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

void Formula::evaluate(std::span<const void* const> places, std::span<const std::ptrdiff_t> strides,
                       std::span<double> out) const {
  bound_->CheckCount(places.size());
  bound_->Enter([&] {
    return bound_->numbers.EvaluateMany(out.size(), places.data(), strides.data(), out.data());
  });
}

const std::string& Formula::text() const { return bound_->text; }
std::size_t Formula::count() const { return bound_->count; }

}  // namespace kt
