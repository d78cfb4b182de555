// SPDX-License-Identifier: MIT
//
// Formulas of users over the rows of a host: bound once, evaluated for every row.
#include <iostream>
#include <vector>

#include "expr/Kt_BoundExpr.h"
#include "object/Kt_RunError.h"

namespace {

struct Line {
  double price;
  kt_long quantity;
  Kt_WString region;
};

const std::vector<Line> kLines = {{2.5, 10, u"north"}, {40, 1, u"south"}, {12.25, 4, u"north"}};

// rate(quantity): a function of the host, over numbers.
double RateOf(const double* args, void* discount) {
  return args[0] >= 4 ? 1 - *static_cast<double*>(discount) : 1;
}

// The text and the place that was found wrong.
void Show(const Kt_RunError& error) {
  std::cout << error.text.ToUtf8() << ", column " << error.column << "\n";
}

}  // namespace

int main() {
  double discount = 0.2;
  const Line& first = kLines[0];
  Kt_Bindings names;
  names.Add(u"price", &first.price)
      .Add(u"quantity", &first.quantity)
      .Add(u"region", &first.region)
      .AddFunction(u"rate", 1, &RateOf, &discount);

  Kt_BoundExpr total;
  if (total.Bind(u"price * quantty", names) != 0) Show(Kt_RunError::Last());
  if (total.Bind(u"price * quantity * rate(quantity)", names) != 0) return 1;
  std::cout << "the first: " << total.EvaluateDouble() << "\n";

  // Other places than those that were bound: the pointers stand in the order of Add.
  Kt_BoundExpr note;
  if (note.Bind(u"region + iif(quantity > 5, ', many', '')", names) != 0) return 1;
  for (const Line& line : kLines) {
    const void* const places[] = {&line.price, &line.quantity, &line.region};
    Kt_Variant text;
    if (note.Evaluate(places, text) != 0) Show(Kt_RunError::Last());
    std::cout << text.ToString().ToUtf8() << ": " << total.EvaluateDouble(places).value << "\n";
  }

  // A whole array at once.
  const void* const places[] = {&first.price, &first.quantity, &first.region};
  const std::ptrdiff_t strides[] = {sizeof(Line), sizeof(Line), sizeof(Line)};
  std::vector<double> totals(kLines.size());
  if (total.EvaluateMany(kLines.size(), places, strides, totals.data()) != 0) return 1;
  double sum = 0;
  for (const double each : totals) sum += each;
  std::cout << "together: " << sum << "\n";
  return 0;
}
