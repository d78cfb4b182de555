// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "classlib/text/Kt_WString.h"
#include "classlib/value/Kt_Variant.h"

class Kt_ExprObject;

namespace kt::detail {
struct BoundForm;
}  // namespace kt::detail

// A host's function of numbers: `args` has as many as it was bound with.
using Kt_NumbersFunc = double (*)(const double* args, void* user);
// A host's function of any values. Returns 0, or a code that ends the evaluation.
using Kt_ValuesFunc = std::function<kt_long(std::span<const Kt_Variant> args, Kt_Variant& result)>;
// Reads the value of a name from what stands at its place. Returns as above.
using Kt_PlaceReader = kt_long (*)(const void* place, Kt_Variant& value);

// What the names of an expression stand for: places in the host's memory, functions of the host, or
// what a context says each time.
//
//   Kt_Bindings names;
//   names.Add(u"price", &row.price).Add(u"qty", &row.qty).AddFunction(u"rate", 1, &RateOf, &bank);
//
// Names are the same in any case. Adding one again replaces what it was. A value type that borrows
// what the places, `user` and the context are.
class KT_SCRIPT_API Kt_Bindings {
 public:
  // The first ones are at places.
  enum class Kind : std::uint8_t {
    kDouble,
    kLong,
    kValue,
    kText,
    kReader,
    kNumbersFunc,
    kValuesFunc,
    kAsked,  // a name or called name that the context is asked for at every use
  };
  struct Item {
    Kt_WString name;
    Kind kind = Kind::kDouble;
    const void* place = nullptr;
    std::size_t place_index = 0;  // among the places, in the order in which they were added
    Kt_PlaceReader reader = nullptr;
    Kt_NumbersFunc numbers = nullptr;
    void* user = nullptr;
    Kt_ValuesFunc values;
    kt_long least_args = 0;
    kt_long most_args = 0;
    bool IsPlace() const { return kind <= Kind::kReader; }
  };

  Kt_Bindings& Add(const Kt_WString& name, const double* place);
  Kt_Bindings& Add(const Kt_WString& name, const kt_long* place);
  Kt_Bindings& Add(const Kt_WString& name, const Kt_Variant* place);
  Kt_Bindings& Add(const Kt_WString& name, const Kt_WString* place);
  // Anything else, such as a cell of a dataset: read by a function of yours at every use.
  Kt_Bindings& Add(const Kt_WString& name, const void* place, Kt_PlaceReader reader);
  // A bound function goes before the built-in one of that name.
  Kt_Bindings& AddFunction(const Kt_WString& name, kt_long args, Kt_NumbersFunc function,
                           void* user = nullptr);
  Kt_Bindings& AddFunction(const Kt_WString& name, kt_long least_args, kt_long most_args,
                           Kt_ValuesFunc function);
  // The context that hears of errors, and is asked for what the next two say. It has to outlive
  // what is bound with it.
  Kt_Bindings& SetContext(Kt_ExprObject* context);
  Kt_Bindings& Ask(const Kt_WString& name);
  Kt_Bindings& AskAll();  // every name that is not bound

  const std::vector<Item>& GetItems() const { return items_; }
  const Item* Find(const Kt_WString& name, bool is_call) const;
  std::size_t GetPlaceCount() const { return place_count_; }
  Kt_ExprObject* GetContext() const { return context_; }
  bool AsksAll() const { return asks_all_; }

 private:
  Item& Put(const Kt_WString& name, Kind kind);
  Kt_Bindings& PutPlace(const Kt_WString& name, Kind kind, const void* place);

  std::vector<Item> items_;
  std::size_t place_count_ = 0;
  Kt_ExprObject* context_ = nullptr;
  bool asks_all_ = false;
};

struct Kt_BoundDouble {
  double value;
  kt_long code;
};

// An expression whose names were bound once, for hosts that evaluate it a million times.
//
//   Kt_BoundExpr total;
//   if (total.Bind(u"price * qty", names) != 0) Show(Kt_RunError::Last().text);
//   for (...) sum += total.EvaluateDouble();
//
// Gives what Kt_Expr gives for variables with these values: values, codes and reports. Places are
// read where the expression uses them; there is no look-up, no virtual call and, as far as numbers
// go, no allocation. Assignments, ref(), lists in brackets and trace calls are refused when it is
// bound.
//
// Does not change once bound; copies share what was bound. Threads: several may evaluate it at
// once with places of their own, if its functions and context allow that.
class KT_SCRIPT_API Kt_BoundExpr {
 public:
  // One pointer for each place that was added, in that order, to what it was added as.
  using Places = const void* const*;

  // The empty expression.
  Kt_BoundExpr();
  Kt_BoundExpr(const Kt_BoundExpr&) = default;
  Kt_BoundExpr& operator=(const Kt_BoundExpr&) = default;

  // 0, or a code: a syntax error, an unknown name (with the nearest known one), a number of
  // arguments that a function does not take, something that cannot be bound. Kt_RunError::Last()
  // tells it with its place. What was bound before stays then.
  kt_long Bind(const Kt_WString& text, const Kt_Bindings& bindings);

  const Kt_WString& GetText() const;

  // Return 0 and the value, or a code and the empty value; errors are reported once, to the
  // context.
  kt_long Evaluate(Kt_Variant& value) const { return Evaluate(entry_.places, value); }
  kt_long Evaluate(Places places, Kt_Variant& value) const {
    return entry_.evaluate(entry_.form, places, value);
  }
  // The value as Kt_Variant::ToDouble gives it; 0 when the evaluation fails.
  double EvaluateDouble() const { return EvaluateDouble(entry_.places).value; }
  Kt_BoundDouble EvaluateDouble(Places places) const {
    return entry_.evaluate_double(entry_.self, places);
  }
  // `count` evaluations, for arrays: evaluation i has place p at places[p] + i * strides[p] bytes,
  // and its double goes to out[i]. Returns the code of the first that failed, and goes on after
  // it, unless the work was stopped. `out` may be one of the arrays, but not begin inside of one.
  // Numbers without functions of the host are computed for many rows at once.
  kt_long EvaluateMany(std::size_t count, Places places, const std::ptrdiff_t* strides,
                       double* out) const;

 private:
  friend struct kt::detail::BoundForm;
  // What evaluates it, kept here so that nothing has to be looked for.
  struct Entry {
    Kt_BoundDouble (*evaluate_double)(const void* self, Places places);
    const void* self;
    Places places;
    kt_long (*evaluate)(const kt::detail::BoundForm* form, Places places, Kt_Variant& value);
    const kt::detail::BoundForm* form;
  };

  Entry entry_;
  std::shared_ptr<const kt::detail::BoundForm> form_;
};
