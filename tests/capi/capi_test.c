/* SPDX-License-Identifier: MIT
 *
 * The C interface as a program in C sees it. Prints what fails, and fails then. */
#include <math.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "capi/kt.h"
#include "host/arrow_abi.h"

static int failures = 0;

#define EXPECT(condition)                                           \
  do {                                                              \
    if (!(condition)) {                                             \
      ++failures;                                                   \
      printf("%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
    }                                                               \
  } while (0)
#define EXPECT_TEXT(have, want)                                                     \
  do {                                                                              \
    const char* const have_text = (have);                                           \
    if (strcmp(have_text, (want)) != 0) {                                           \
      ++failures;                                                                   \
      printf("%s:%d: \"%s\", not \"%s\"\n", __FILE__, __LINE__, have_text, (want)); \
    }                                                                               \
  } while (0)

/* What an expression gives, as text, or the error with its place. Good until the next call. */
static const char* Eval(kt_engine* engine, const char* expression) {
  static char text[400];
  kt_value* value = NULL;
  kt_error* error = NULL;
  if (kt_engine_eval(engine, expression, &value, &error) == KT_OK) {
    snprintf(text, sizeof text, "%s", kt_value_to_text(value, NULL));
  } else {
    snprintf(text, sizeof text, "error: %s", kt_error_whole(error));
  }
  kt_value_free(value);
  kt_error_free(error);
  return text;
}

static void Load(kt_engine* engine, const char* text) {
  kt_error* error = NULL;
  EXPECT(kt_engine_load(engine, "test", text, &error) == KT_OK);
  if (error != NULL) printf("%s\n", kt_error_whole(error));
  kt_error_free(error);
}

static void Define(kt_engine* engine, const char* name, kt_function function, void* user,
                   kt_destroy destroy) {
  EXPECT(kt_engine_function(engine, name, function, user, destroy, NULL) == KT_OK);
}

/* ---- Values -------------------------------------------------------------------------------------- */

static void ValueKinds(void) {
  kt_value* const list = kt_value_list();
  kt_value* const made[] = {kt_value_empty(),    kt_value_long(-7),
                            kt_value_double(.5), kt_value_currency(12500),
                            kt_value_date(45292.5), kt_value_bool(1),
                            kt_value_text("h\xc3\xa9"), kt_value_binary("ab", 2)};
  const char* const texts[] = {"", "-7", "0.5", "1.25", "2024-01-01 12:00:00", "1", "h\xc3\xa9"};
  for (int kind = KT_EMPTY; kind <= KT_BINARY; ++kind) {
    EXPECT((int)kt_value_kind(made[kind]) == kind);
    if (kind < KT_BINARY) EXPECT_TEXT(kt_value_to_text(made[kind], NULL), texts[kind]);
    EXPECT(kt_value_append(list, made[kind]) == KT_OK);
  }
  EXPECT(kt_value_count(list) == 8);
  EXPECT(kt_value_kind(list) == KT_LIST);
  kt_engine* const engine = kt_engine_new();
  EXPECT(kt_engine_set(engine, "all", list, NULL) == KT_OK);
  kt_value* back = NULL;
  EXPECT(kt_engine_get(engine, "ALL", &back, NULL) == KT_OK);
  kt_value* const text = kt_value_item(back, 6);
  size_t size = 0;
  EXPECT_TEXT(kt_value_to_text(text, &size), "h\xc3\xa9");
  EXPECT(size == 3);
  kt_value* const bytes = kt_value_item(back, 7);
  EXPECT(memcmp(kt_value_to_binary(bytes, &size), "ab", 2) == 0 && size == 2);
  EXPECT(kt_value_item(back, 8) == NULL);
  EXPECT(kt_value_to_currency(made[3]) == 12500);
  EXPECT(kt_value_to_double(made[4]) == 45292.5);
  EXPECT_TEXT(Eval(engine, "all[1] + 8"), "1");
  kt_value_free(back);
  EXPECT(kt_engine_get(engine, "none", &back, NULL) == KT_RUN);
  EXPECT(back == NULL);
  kt_value_free(text);
  kt_value_free(bytes);
  kt_value_free(list);
  for (int kind = KT_EMPTY; kind <= KT_BINARY; ++kind) kt_value_free(made[kind]);
  kt_engine_free(engine);
}

/* ---- Callbacks ------------------------------------------------------------------------------------ */

/* Adds its arguments to the number behind `user`; fails below 0. */
static kt_status Sum(void* user, const kt_value* const* args, size_t count, kt_value** result,
                     kt_error** error) {
  double* const total = user;
  for (size_t at = 0; at < count; ++at) *total += kt_value_to_double(args[at]);
  if (*total < 0) {
    *error = kt_error_new("below zero");
    return KT_RUN;
  }
  *result = kt_value_double(*total);
  return KT_OK;
}
static kt_status Assign(void* user, const kt_value* const* args, size_t count, kt_value** result,
                        kt_error** error) {
  (void)user, (void)result, (void)error;
  return count == 2 ? kt_value_assign(args[0], args[1]) : KT_ARGUMENT;
}
static void Count(void* user) { ++*(int*)user; }
static void Zero(void* user) { *(double*)user = 0; }

static void Callbacks(void) {
  kt_engine* const engine = kt_engine_new();
  double total = 1;
  Define(engine, "sum", Sum, &total, Zero);
  Define(engine, "assign", Assign, NULL, NULL);
  EXPECT_TEXT(Eval(engine, "sum(2, 3.5)"), "6.5");
  EXPECT_TEXT(Eval(engine, "sum(-20)"), "error: column 1: sum: below zero");
  total = 0;
  Load(engine, "function main() { var x = 1; assign(ref(x), 'new'); return x; }");
  EXPECT_TEXT(Eval(engine, "main()"), "new");
  EXPECT_TEXT(Eval(engine, "assign(1, 2)"), "error: column 1: assign: failed");
  total = 9;
  Define(engine, "sum", Assign, NULL, NULL);
  EXPECT(total == 0); /* what the replaced function had is destroyed */
  kt_engine_free(engine);
}

/* ---- Errors --------------------------------------------------------------------------------------- */

static void Errors(void) {
  kt_engine* const engine = kt_engine_new();
  kt_error* error = NULL;
  kt_place place = {sizeof place, 0, 0, 0, 0, 0, 0, 0};
  EXPECT(kt_engine_load(engine, "bad", "function f() { if (a { } }\nfunction g() { 2 2; }", &error) ==
         KT_SYNTAX);
  EXPECT(kt_error_fault_count(error) == 2);
  EXPECT(kt_error_fault(error, 1, &place) == KT_OK);
  EXPECT(place.line == 2);
  EXPECT_TEXT(place.function, "g");
  EXPECT(kt_error_fault(error, 2, &place) == KT_ARGUMENT);
  kt_error_free(error);

  Load(engine, "function inner(q) {\n  var x = q * prise;\n}\nfunction main() { inner(2); }");
  EXPECT(kt_engine_call(engine, "main", NULL, 0, NULL, &error) == KT_RUN);
  EXPECT_TEXT(kt_error_whole(error), "test:2:5: unknown variable 'prise'");
  EXPECT_TEXT(kt_error_expression(error), "q * prise");
  EXPECT((uint32_t)kt_error_code(error) == 0x83B03110u);
  EXPECT(kt_error_place(error, &place) == KT_OK && place.line == 2 && place.column == 5);
  EXPECT(kt_error_call_count(error) == 2);
  EXPECT(kt_error_call(error, 1, &place) == KT_OK);
  EXPECT_TEXT(place.function, "main");
  kt_error_free(error);

  EXPECT(kt_engine_check(engine, "c", "function f() {}", 1, &error) == KT_OK && error == NULL);
  EXPECT(kt_engine_check(engine, "c", "function f() {", 1, &error) == KT_SYNTAX && error != NULL);
  kt_error_free(error);
  EXPECT(kt_engine_load(NULL, "a", "", &error) == KT_ARGUMENT && error != NULL);
  kt_error_free(error);
  EXPECT(kt_engine_eval(engine, NULL, NULL, NULL) == KT_ARGUMENT);
  EXPECT_TEXT(Eval(engine, "nobody()"), "error: column 1: unknown function: nobody");
  place.size = 4; /* a caller of another world */
  error = kt_error_new("x");
  EXPECT(kt_error_place(error, &place) == KT_ARGUMENT);
  kt_error_free(error);
  kt_engine_free(engine);
}

/* ---- Bounds --------------------------------------------------------------------------------------- */

static uint32_t CodeOf(kt_engine* engine, const char* function) {
  kt_error* error = NULL;
  kt_engine_call(engine, function, NULL, 0, NULL, &error);
  const uint32_t code = (uint32_t)kt_error_code(error);
  kt_error_free(error);
  return code;
}

static void Bounds(void) {
  kt_engine* const engine = kt_engine_new();
  Load(engine,
       "function spin() { while (1) { } }"
       "function grow() { var t = 'x'; while (1) { t = t + t; } }");
  kt_limits limits = {sizeof limits, 10000, 0, 0};
  EXPECT(kt_engine_limits(engine, &limits) == KT_OK);
  EXPECT(CodeOf(engine, "spin") == 0x83B03240u);
  limits.steps = 0, limits.milliseconds = 20;
  EXPECT(kt_engine_limits(engine, &limits) == KT_OK);
  EXPECT(CodeOf(engine, "spin") == 0x83B03241u);
  limits.milliseconds = 0, limits.bytes = 1 << 20;
  EXPECT(kt_engine_limits(engine, &limits) == KT_OK);
  EXPECT(CodeOf(engine, "grow") == 0x83B03231u);
  EXPECT_TEXT(Eval(engine, "1 + 1"), "2");
  kt_engine_free(engine);
}

static void* CancelLater(void* engine) {
  kt_engine_cancel(engine);
  return NULL;
}
static kt_status StartThread(void* user, const kt_value* const* args, size_t count,
                             kt_value** result, kt_error** error) {
  (void)args, (void)count, (void)result, (void)error;
  void** const both = user;
  return pthread_create((pthread_t*)both[0], NULL, CancelLater, both[1]) == 0 ? KT_OK : KT_RUN;
}

static void Cancel(void) {
  kt_engine* const engine = kt_engine_new();
  pthread_t thread;
  void* both[] = {&thread, engine};
  Define(engine, "start", StartThread, both, NULL);
  Load(engine, "function spin() { start(); while (1) { } }");
  EXPECT(CodeOf(engine, "spin") == 0x83B03242u);
  pthread_join(thread, NULL);
  EXPECT_TEXT(Eval(engine, "2"), "2");
  kt_engine_free(engine);
}

/* ---- Datasets ------------------------------------------------------------------------------------- */

static int Refuse(void* user, size_t row, const char* column, const kt_value* old_value,
                  const kt_value* new_value) {
  (void)user, (void)row, (void)column, (void)old_value;
  return kt_value_to_long(new_value) >= 0;
}

static void Datasets(void) {
  kt_engine* const engine = kt_engine_new();
  kt_dataset* const orders = kt_dataset_new("orders");
  kt_dataset* const copy = kt_dataset_new("copy");
  kt_error* error = NULL;
  const char* const csv =
      "item:string,qty:long,price:currency,day:datetime,share:double\n"
      "pen,2,1.25,2024-01-01,0.5\ncup,,,,\n";
  EXPECT(kt_dataset_load_csv(orders, csv, NULL) == KT_OK);
  EXPECT(kt_engine_dataset(engine, "orders", orders, NULL) == KT_OK);
  EXPECT(kt_dataset_rows(orders) == 2 && kt_dataset_columns(orders) == 5);
  EXPECT_TEXT(kt_dataset_column(orders, 1), "qty");
  EXPECT(kt_dataset_column(orders, 5) == NULL);
  EXPECT_TEXT(Eval(engine, "orders.Sum('qty')"), "2");

  int destroyed = 0;
  EXPECT(kt_dataset_on_change(orders, Refuse, &destroyed, Count) == KT_OK);
  kt_value* value = kt_value_long(5);
  EXPECT(kt_dataset_set(orders, 0, "qty", value, NULL) == KT_OK);
  EXPECT(kt_dataset_set(orders, 7, "qty", value, NULL) == KT_RUN);
  EXPECT(kt_dataset_set(orders, 0, "none", value, NULL) == KT_RUN);
  kt_value_free(value);
  value = kt_value_long(-5);
  EXPECT(kt_dataset_set(orders, 0, "qty", value, NULL) == KT_RUN);
  kt_value_free(value);
  EXPECT(kt_dataset_state(orders, 0) == KT_ROW_UPDATED);
  EXPECT(kt_dataset_state(orders, 2) == 0);
  EXPECT(kt_dataset_original(orders, 0, "qty", &value, NULL) == KT_OK);
  EXPECT(kt_value_to_long(value) == 2);
  kt_value_free(value);

  /* Out as Arrow data, which outlives a change of the dataset, and into another one. */
  struct ArrowSchema schema;
  struct ArrowArray array;
  EXPECT(kt_dataset_export(orders, 1, 1, &schema, &array, NULL) == KT_OK);
  EXPECT(schema.n_children == 11 && array.length == 2);
  EXPECT_TEXT(schema.children[1]->format, "i");
  EXPECT(((const int32_t*)array.children[1]->buffers[1])[0] == 5);
  EXPECT(array.children[1]->null_count == 1);
  EXPECT_TEXT(schema.children[6]->name, "qty_original");
  EXPECT(((const int32_t*)array.children[6]->buffers[1])[0] == 2);
  EXPECT_TEXT(schema.children[10]->name, "_state");
  EXPECT(kt_dataset_reset(orders) == KT_OK);
  EXPECT(kt_dataset_import(copy, &schema, &array, 0, NULL) == KT_OK);
  EXPECT(kt_dataset_import(copy, &schema, &array, 1, NULL) == KT_OK);
  EXPECT(kt_dataset_rows(copy) == 4);
  EXPECT(kt_dataset_get(copy, 2, "qty", &value, NULL) == KT_OK);
  EXPECT(kt_value_to_long(value) == 5);
  kt_value_free(value);
  kt_value* text = NULL;
  EXPECT(kt_dataset_to_csv(copy, &text, NULL) == KT_OK);
  const char* const first = "update\r\n";
  EXPECT(strstr(kt_value_to_text(text, NULL), first) != NULL);
  EXPECT(strstr(kt_value_to_text(text, NULL), "pen,5,1.25,2024-01-01,0.5,pen,2,1.25") != NULL);
  kt_value_free(text);
  schema.children[1]->format = "+l";
  EXPECT(kt_dataset_import(copy, &schema, &array, 0, &error) == KT_RUN);
  EXPECT(strstr(kt_error_text(error), "column 'qty'") != NULL);
  kt_error_free(error);
  EXPECT(kt_dataset_rows(copy) == 4); /* as it was */
  schema.release(&schema);
  array.release(&array);
  kt_dataset_free(orders);
  EXPECT_TEXT(Eval(engine, "orders.Sum('qty')"), "2"); /* the engine keeps it */
  EXPECT(destroyed == 0);
  kt_engine_free(engine);
  EXPECT(destroyed == 1);
  kt_dataset_free(copy);
}

/* ---- Formulas ------------------------------------------------------------------------------------- */

/* Sums of doubles depend on the order of addition, sorts on all rows. */
static void Threads(void) {
  enum { kRows = 210000 };
  static char csv[kRows * 12 + 16];
  char* end = csv + sprintf(csv, "a:double\n");
  for (int row = 0; row < kRows; ++row) end += sprintf(end, "%d.%d\n", row * 31 % 1009, row % 97);
  kt_engine* const engine = kt_engine_new();
  kt_dataset* const data = kt_dataset_new("d");
  EXPECT(kt_dataset_load_csv(data, csv, NULL) == KT_OK);
  EXPECT(kt_engine_dataset(engine, "d", data, NULL) == KT_OK);
  EXPECT(kt_engine_threads(NULL, 2) == KT_ARGUMENT);
  EXPECT(kt_engine_threads(engine, 0) == KT_ARGUMENT);
  EXPECT(kt_engine_threads(engine, 3) == KT_ARGUMENT);
  Load(engine,
       "function work() {"
       "  d.Sort('a'); var s = d.Sum('1 / (a + 0.1) * (a + 3)');"
       "  d.Sort('a:d'); var r = d.Sum('1 / (a + 0.1) * (a + 3)');"
       "  return toString(s) + ' ' + toString(r) + ' ' + toString(d[9].a); }");
  kt_value* one = NULL;
  kt_value* two = NULL;
  EXPECT(kt_engine_call(engine, "work", NULL, 0, &one, NULL) == KT_OK);
  EXPECT(kt_engine_threads(engine, 2) == KT_OK);
  EXPECT(kt_engine_call(engine, "work", NULL, 0, &two, NULL) == KT_OK);
  EXPECT(strlen(kt_value_to_text(one, NULL)) > 20);
  EXPECT_TEXT(kt_value_to_text(two, NULL), kt_value_to_text(one, NULL));
  kt_value_free(one);
  kt_value_free(two);
  kt_dataset_free(data);
  kt_engine_free(engine);
}

static void Formulas(void) {
  const char* const names[] = {"price", "qty"};
  const double numbers[] = {2.5, 4};
  const double prices[] = {1, 2, 3};
  double result = 0;
  double totals[3] = {0, 0, 0};
  kt_formula* formula = NULL;
  kt_error* error = NULL;
  EXPECT(kt_formula_new(NULL, "price * qty", names, 2, &formula, NULL) == KT_OK);
  EXPECT(kt_formula_number(formula, numbers, 2, &result, NULL) == KT_OK && result == 10);
  EXPECT(kt_formula_number(formula, numbers, 1, &result, NULL) == KT_RUN);
  const void* const columns[] = {prices, &numbers[1]};
  const ptrdiff_t strides[] = {sizeof(double), 0};
  EXPECT(kt_formula_columns(formula, columns, strides, 2, totals, 3, NULL) == KT_OK);
  EXPECT(totals[0] == 4 && totals[2] == 12);
  kt_formula_free(formula);
  EXPECT(kt_formula_new(NULL, "prise * qty", names, 2, &formula, &error) == KT_RUN);
  EXPECT_TEXT(kt_error_text(error), "unknown variable 'prise' (did you mean 'price'?)");
  EXPECT(formula == NULL);
  kt_error_free(error);

  kt_engine* const engine = kt_engine_new();
  Load(engine, "function twice(x) { return x + x; }");
  EXPECT(kt_formula_new(engine, "twice(price) + qty", names, 2, &formula, NULL) == KT_OK);
  kt_engine_free(engine); /* the formula has what it needs */
  kt_value* const values[] = {kt_value_text("a"), kt_value_text("b")};
  kt_value* joined = NULL;
  EXPECT(kt_formula_value(formula, (const kt_value* const*)values, 2, &joined, NULL) == KT_OK);
  EXPECT_TEXT(kt_value_to_text(joined, NULL), "aab");
  kt_value_free(joined);
  kt_value_free(values[0]);
  kt_value_free(values[1]);
  kt_formula_free(formula);
}

/* ---- Objects, listeners, re-entry, order of destruction --------------------------------------------- */

static kt_status Get(void* user, const kt_value* const* args, size_t count, kt_value** result,
                     kt_error** error) {
  (void)args, (void)count, (void)error;
  *result = kt_value_long(*(int*)user);
  return KT_OK;
}
static kt_status Set(void* user, const kt_value* const* args, size_t count, kt_value** result,
                     kt_error** error) {
  (void)count, (void)result, (void)error;
  *(int*)user = kt_value_to_long(args[0]);
  return KT_OK;
}
static kt_status Down(void* user, const kt_value* const* args, size_t count, kt_value** result,
                      kt_error** error) {
  (void)count;
  if (kt_value_to_long(args[0]) == 0) return KT_OK;
  return kt_engine_call(user, "step", args, 1, result, error);
}
static void Hear(void* user, const kt_error* error) {
  snprintf(user, 100, "%s", kt_error_text(error));
}
static kt_value* Include(void* user, const char* name, const char* from) {
  (void)user, (void)from;
  return strcmp(name, "more") == 0 ? kt_value_text("function more() { return 5; }") : NULL;
}
static double Now(void* user) {
  (void)user;
  return 45292;
}

static void Hosts(void) {
  kt_engine* engine = kt_engine_new();
  kt_object* order = NULL;
  int qty = 3;
  char heard[100] = "";
  EXPECT(kt_object_new(engine, "order", &order, NULL) == KT_OK);
  EXPECT(kt_object_property(order, "qty", Get, Set, &qty, NULL, NULL) == KT_OK);
  EXPECT(kt_object_method(order, "twice", Get, &qty, NULL, NULL) == KT_OK);
  kt_listeners listeners = {sizeof listeners, heard, Hear, NULL, Include, Now};
  EXPECT(kt_engine_listen(engine, &listeners) == KT_OK);
  Load(engine, "#include \"more\"\nfunction main() { order.qty = order.qty + more(); return order.twice(); }");
  EXPECT_TEXT(Eval(engine, "main()"), "8");
  EXPECT(qty == 8);
  EXPECT_TEXT(Eval(engine, "today()"), "20240101");
  EXPECT_TEXT(heard, "");
  Eval(engine, "nobody + 1");
  EXPECT_TEXT(heard, "unknown variable 'nobody'");
  EXPECT(kt_engine_load(engine, "x", "#include \"none\"\n", NULL) == KT_SYNTAX);

  kt_value* names = NULL;
  EXPECT(kt_engine_names_json(engine, NULL, NULL) == KT_ARGUMENT);
  EXPECT(kt_engine_names_json(engine, &names, NULL) == KT_OK);
  EXPECT_TEXT(kt_value_to_text(names, NULL),
              "{\"name\":\"order\",\"kind\":\"object\"}\n"
              "{\"name\":\"qty\",\"kind\":\"property\",\"of\":\"order\"}\n"
              "{\"name\":\"twice\",\"kind\":\"method\",\"of\":\"order\",\"forms\":[\"twice([...])\"]}\n");
  kt_value_free(names);

  Define(engine, "down", Down, engine, NULL);
  Load(engine, "function step(n) { return down(n - 1) + 1; }");
  EXPECT_TEXT(Eval(engine, "step(10)"), "10");

  kt_engine_free(engine);
  EXPECT(kt_object_method(order, "late", Get, &qty, NULL, NULL) == KT_OK);
  kt_object_free(order);
  engine = kt_engine_new();
  EXPECT(kt_object_new(engine, "order", &order, NULL) == KT_OK);
  EXPECT(kt_object_property(order, "qty", Get, NULL, &qty, NULL, NULL) == KT_OK);
  EXPECT_TEXT(Eval(engine, "order.qty"), "8");
  kt_object_free(order);
  EXPECT_TEXT(Eval(engine, "order"), "error: column 1: unknown variable 'order'");
  kt_engine_free(engine);
  kt_engine_free(NULL);
}

static kt_engine* WithStart(int start) {
  kt_engine* engine = kt_engine_new();
  kt_value* value = kt_value_long(start);
  EXPECT(kt_engine_set(engine, "start", value, NULL) == KT_OK);
  kt_value_free(value);
  return engine;
}

static void Programs(void) {
  kt_program* program = NULL;
  kt_error* error = NULL;
  EXPECT(kt_program_new("p", "function f() { return 1 +; }", NULL, NULL, &program, &error) ==
         KT_SYNTAX);
  EXPECT(program == NULL && kt_error_fault_count(error) == 1);
  kt_error_free(error);
  EXPECT(kt_program_new("p", "#include \"none\"\n", Include, NULL, &program, NULL) == KT_SYNTAX);
  EXPECT(kt_program_new("p",
                        "#include \"more\"\nvar n = start;\n"
                        "function main() { n = n + more(); return n; }",
                        Include, NULL, &program, NULL) == KT_OK);
  kt_engine* first = WithStart(10);
  kt_engine* second = WithStart(100);
  kt_engine* without = kt_engine_new();
  EXPECT(kt_engine_load_program(first, program, NULL) == KT_OK);
  EXPECT(kt_engine_load_program(second, program, NULL) == KT_OK);
  EXPECT(kt_engine_load_program(without, program, &error) == KT_RUN);
  EXPECT_TEXT(kt_error_text(error), "unknown variable 'start'");
  kt_error_free(error);
  EXPECT(kt_engine_load_program(first, NULL, NULL) == KT_ARGUMENT);
  kt_program_free(program);
  EXPECT_TEXT(Eval(first, "main() + main()"), "35");
  EXPECT_TEXT(Eval(second, "main()"), "105");
  kt_engine_free(first);
  EXPECT_TEXT(Eval(second, "main()"), "110");
  kt_engine_free(second);
  kt_engine_free(without);
}

int main(void) {
  EXPECT(kt_abi_version() >> 16 == KT_ABI_VERSION >> 16);
  ValueKinds();
  Callbacks();
  Errors();
  Bounds();
  Cancel();
  Datasets();
  Threads();
  Formulas();
  Hosts();
  Programs();
  if (failures == 0) printf("all well\n");
  return failures == 0 ? 0 : 1;
}
