// SPDX-License-Identifier: MIT
#include <iostream>

#include "host/Kt_Bind.h"

int main() {
  kt::Engine engine;
  engine.function("discount", [](int qty) { return qty >= 10 ? 15 : 0; });
  engine.load("value.kts",
              "function lineValue(qty, price) {"
              "  return round(qty * price * (1 - discount(qty) / 100), 2);"
              "}");
  std::cout << engine.call<double>("lineValue", 10, 4.5) << "\n";
}
