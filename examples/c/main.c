/* SPDX-License-Identifier: MIT */
#include <stdio.h>

#include "capi/kt.h"

static kt_status Rate(void* discount, const kt_value* const* args, size_t count, kt_value** result,
                      kt_error** error) {
  (void)error;
  const int is_many = count > 0 && kt_value_to_long(args[0]) >= 10;
  *result = kt_value_double(is_many ? 1 - *(double*)discount : 1);
  return KT_OK;
}

int main(void) {
  double discount = 0.2;
  kt_error* error = NULL;
  kt_value* total = NULL;
  kt_engine* engine = kt_engine_new();
  const char* rules = "function total(price, qty) { return price * qty * rate(qty); }";
  kt_engine_function(engine, "rate", Rate, &discount, NULL, NULL);
  kt_engine_load(engine, "rules.kts", rules, NULL);
  if (kt_engine_eval(engine, "total(2.5, 10)", &total, NULL) == KT_OK)
    printf("%g\n", kt_value_to_double(total));
  if (kt_engine_eval(engine, "totl(2.5, 10)", NULL, &error) != KT_OK)
    printf("%s\n", kt_error_whole(error));
  kt_error_free(error);
  kt_value_free(total);
  kt_engine_free(engine);
}
