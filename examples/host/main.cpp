// SPDX-License-Identifier: MIT
#include <iostream>

#include "host/Kt_Bind.h"

int main() {
  kt::Engine engine;
  double discount = 0.2;
  engine.function("rate", [&](int qty) { return qty >= 10 ? 1 - discount : 1; });
  engine.load("rules.kts", "function total(price, qty) { return price * qty * rate(qty); }");
  std::cout << engine.call<double>("total", 2.5, 10) << "\n";
  const auto failed = engine.try_eval("total(2.5, 'ten')");
  if (!failed) std::cout << failed.error().Whole() << "\n";

  // A text for many engines is read once. They may run it at the same time, on threads of their
  // own.
  const kt::Program counter = kt::Program::compile(
      "counter.kts", "var count = 0; function next() { count++; return count; }");
  kt::Engine first;
  kt::Engine second;
  first.load(counter).call("next");
  second.load(counter);
  std::cout << first.call<int>("next") << " " << second.call<int>("next") << "\n";
}
