/* SPDX-License-Identifier: MIT
 *
 * KtScript for hosts in C, and in every language that can call C. docs/host-c.md is the guide.
 *
 * Texts are UTF-8 and end with a zero; texts that functions return belong to the handle that they
 * were asked of, and are good until it is changed or freed.
 * Handles belong to the caller, who frees each once with the function of its type, in any order;
 * freeing NULL does nothing. Handles that callbacks receive belong to the engine and are good until
 * the callback returns.
 * A function that can fail returns a kt_status. With `error` not NULL, *error is NULL after success
 * and otherwise an error that the caller frees. No exception comes out of here.
 * Threads: an engine, with its formulas, objects, datasets and values, belongs to one thread at a
 * time, except for kt_engine_cancel. Engines are independent. Errors may be passed to other
 * threads, and a program may be used by any number of them at once. Structs begin with their size,
 * which the caller sets to sizeof: fields that are added later stand at their end. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && defined(KT_STATIC)
#define KT_C_API
#elif defined(_WIN32) && defined(KT_BUILDING_CAPI)
#define KT_C_API __declspec(dllexport)
#elif defined(_WIN32)
#define KT_C_API __declspec(dllimport)
#else
#define KT_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct kt_engine kt_engine;
typedef struct kt_value kt_value;
typedef struct kt_error kt_error;
typedef struct kt_formula kt_formula;
typedef struct kt_dataset kt_dataset;
typedef struct kt_object kt_object;
typedef struct kt_program kt_program;
struct ArrowSchema; /* of the Arrow C data interface, see arrow_abi.h */
struct ArrowArray;

typedef enum kt_status {
  KT_OK = 0,
  KT_SYNTAX = 1,   /* a text or an expression is none; the error has its faults */
  KT_RUN = 2,      /* a call, an evaluation or an operation failed */
  KT_ARGUMENT = 3, /* NULL for a handle, or a number that is none of the listed ones */
  KT_MEMORY = 4    /* the system has no more memory; there may be no error object */
} kt_status;

typedef enum kt_kind {
  KT_EMPTY = 0,
  KT_LONG = 1,
  KT_DOUBLE = 2,
  KT_CURRENCY = 3, /* an exact amount with four decimals */
  KT_DATE = 4,     /* days since 1899-12-30, the fraction is the time of day */
  KT_BOOL = 5,
  KT_TEXT = 6,
  KT_BINARY = 7,
  KT_LIST = 8,
  KT_OBJECT = 9
} kt_kind;

/* The version of this interface: the major number in the upper 16 bits changes when programs have
 * to be built anew, the lower 16 when functions have come. */
#define KT_ABI_VERSION 0x00010003u
KT_C_API uint32_t kt_abi_version(void);
/* The version of KtScript, "3.20.0". */
KT_C_API const char* kt_version(void);

/* ---- Errors
 * -------------------------------------------------------------------------------------- */

/* A place in a script or an expression. Numbers count from 1; 0: not known. */
typedef struct kt_place {
  size_t size; /* sizeof(kt_place) */
  const char* file;
  const char* function;
  int32_t line;
  int32_t column;
  int32_t length;
  int32_t is_warning;
  const char* text;
} kt_place;

/* An error of a callback's own. */
KT_C_API kt_error* kt_error_new(const char* text);
KT_C_API void kt_error_free(kt_error* error);
/* The message; with the place before it; the code as docs/errors.md lists it; the expression. */
KT_C_API const char* kt_error_text(const kt_error* error);
KT_C_API const char* kt_error_whole(const kt_error* error);
KT_C_API int32_t kt_error_code(const kt_error* error);
KT_C_API const char* kt_error_expression(const kt_error* error);
KT_C_API kt_status kt_error_place(const kt_error* error, kt_place* place);
/* All faults of a text / the functions that were running, innermost first. */
KT_C_API size_t kt_error_fault_count(const kt_error* error);
KT_C_API kt_status kt_error_fault(const kt_error* error, size_t index, kt_place* place);
KT_C_API size_t kt_error_call_count(const kt_error* error);
KT_C_API kt_status kt_error_call(const kt_error* error, size_t index, kt_place* place);

/* ---- Values
 * -------------------------------------------------------------------------------------- */

/* NULL where memory runs out. */
KT_C_API kt_value* kt_value_empty(void);
KT_C_API kt_value* kt_value_long(int32_t number);
KT_C_API kt_value* kt_value_double(double number);
KT_C_API kt_value* kt_value_bool(int truth);
KT_C_API kt_value* kt_value_text(const char* text);
KT_C_API kt_value* kt_value_text_n(const char* text, size_t size);
KT_C_API kt_value* kt_value_binary(const void* bytes, size_t size);
KT_C_API kt_value* kt_value_date(double days);
KT_C_API kt_value* kt_value_currency(int64_t ten_thousandths);
KT_C_API kt_value* kt_value_list(void);
KT_C_API kt_value* kt_value_copy(const kt_value* value);
KT_C_API void kt_value_free(kt_value* value);

/* A reference to a variable of the script answers as the value in it. */
KT_C_API kt_kind kt_value_kind(const kt_value* value);
/* As the language converts: 0 or the empty text where a kind has none. */
KT_C_API int32_t kt_value_to_long(const kt_value* value);
KT_C_API double kt_value_to_double(const kt_value* value);
KT_C_API int64_t kt_value_to_currency(const kt_value* value);
/* `size` (may be NULL) receives the number of bytes, since texts may hold zeros. */
KT_C_API const char* kt_value_to_text(const kt_value* value, size_t* size);
KT_C_API const void* kt_value_to_binary(const kt_value* value, size_t* size);
KT_C_API size_t kt_value_count(const kt_value* value);                    /* items of a list */
KT_C_API kt_value* kt_value_item(const kt_value* list, size_t index);     /* a new handle */
KT_C_API kt_status kt_value_append(kt_value* list, const kt_value* item); /* of a list */
/* Writes to the variable that a script has passed with ref(). KT_ARGUMENT for any other value. */
KT_C_API kt_status kt_value_assign(const kt_value* reference, const kt_value* value);

/* ---- Engines
 * ------------------------------------------------------------------------------------- */

/* What a script calls. KT_OK with *result (NULL stays the empty value; the engine frees it), or
 * anything else, with an error that the engine frees if there is something to say. */
typedef kt_status (*kt_function)(void* user, const kt_value* const* args, size_t count,
                                 kt_value** result, kt_error** error);
/* Called once when `user` is no longer needed. May be NULL. */
typedef void (*kt_destroy)(void* user);

/* Bounds for each call of the host into the engine; 0: none. */
typedef struct kt_limits {
  size_t size; /* sizeof(kt_limits) */
  int64_t steps;
  int64_t milliseconds;
  int64_t bytes;
} kt_limits;

/* What the host hears and gives. Each may be NULL. */
typedef struct kt_listeners {
  size_t size; /* sizeof(kt_listeners) */
  void* user;
  void (*on_error)(void* user, const kt_error* error);
  void (*on_trace)(void* user, const char* text);
  /* The text of what `from` includes by `name`; NULL: there is none. The engine frees it. */
  kt_value* (*include)(void* user, const char* name, const char* from);
  double (*clock)(void* user); /* the present as a date */
} kt_listeners;

KT_C_API kt_engine* kt_engine_new(void);
KT_C_API void kt_engine_free(kt_engine* engine);
KT_C_API kt_status kt_engine_function(kt_engine* engine, const char* name, kt_function function,
                                      void* user, kt_destroy destroy, kt_error** error);
KT_C_API kt_status kt_engine_load(kt_engine* engine, const char* name, const char* text,
                                  kt_error** error);
/* `result` may be NULL. */
KT_C_API kt_status kt_engine_call(kt_engine* engine, const char* function,
                                  const kt_value* const* args, size_t count, kt_value** result,
                                  kt_error** error);
KT_C_API kt_status kt_engine_eval(kt_engine* engine, const char* expression, kt_value** result,
                                  kt_error** error);
KT_C_API kt_status kt_engine_set(kt_engine* engine, const char* name, const kt_value* value,
                                 kt_error** error);
KT_C_API kt_status kt_engine_get(kt_engine* engine, const char* name, kt_value** value,
                                 kt_error** error);
/* KT_OK when the text has no fault. Otherwise the error has every fault, and warnings too if
 * wanted; warnings alone come with KT_OK and an error. */
KT_C_API kt_status kt_engine_check(kt_engine* engine, const char* name, const char* text,
                                   int warnings, kt_error** error);
KT_C_API kt_status kt_engine_limits(kt_engine* engine, const kt_limits* limits);
/* How many threads one operation of a call may use where it pays, such as a script's sort of a
 * large dataset: 1, as at first, or 2; KT_ARGUMENT for another number. Results, steps and limits
 * are the same, and the second thread runs no callback. From version 1.3 of the ABI. */
KT_C_API kt_status kt_engine_threads(kt_engine* engine, int count);
KT_C_API kt_status kt_engine_listen(kt_engine* engine, const kt_listeners* listeners);
/* Scripts go on after some errors; a tolerant engine does not tell its host of these. */
KT_C_API kt_status kt_engine_tolerant(kt_engine* engine, int is_tolerant);
/* What scripts can name here, for `kt check --host`: a text of JSON, an object in each line.
 * From version 1.2 of the ABI. */
KT_C_API kt_status kt_engine_names_json(kt_engine* engine, kt_value** text, kt_error** error);
/* Starts the random numbers of the calling thread anew. */
KT_C_API kt_status kt_engine_seed(kt_engine* engine, uint64_t seed);
/* Ends the call that is running, or the next one. From any thread while the engine is there. */
KT_C_API kt_status kt_engine_cancel(kt_engine* engine);

/* ---- Programs
 * ------------------------------------------------------------------------------------ */

/* A text that any number of engines load, read once with what it includes; `include` (may be NULL)
 * is as in kt_listeners. Engines share its functions, and each has globals of its own. The program
 * may be freed before them. Since 1.1. */
KT_C_API kt_status kt_program_new(const char* name, const char* text,
                                  kt_value* (*include)(void* user, const char* name,
                                                       const char* from),
                                  void* user, kt_program** program, kt_error** error);
KT_C_API void kt_program_free(kt_program* program);
KT_C_API kt_status kt_engine_load_program(kt_engine* engine, const kt_program* program,
                                          kt_error** error);

/* ---- Objects
 * ------------------------------------------------------------------------------------- */

KT_C_API kt_status kt_object_new(kt_engine* engine, const char* name, kt_object** object,
                                 kt_error** error);
KT_C_API void kt_object_free(kt_object* object);
/* `get` is called without arguments, `set` (NULL: read only) with the new value. */
KT_C_API kt_status kt_object_property(kt_object* object, const char* name, kt_function get,
                                      kt_function set, void* user, kt_destroy destroy,
                                      kt_error** error);
KT_C_API kt_status kt_object_method(kt_object* object, const char* name, kt_function method,
                                    void* user, kt_destroy destroy, kt_error** error);

/* ---- Formulas
 * ------------------------------------------------------------------------------------ */

/* `engine` may be NULL: then the formula knows built-in functions only, and any number of threads
 * may evaluate it at once. */
KT_C_API kt_status kt_formula_new(kt_engine* engine, const char* text, const char* const* names,
                                  size_t count, kt_formula** formula, kt_error** error);
KT_C_API void kt_formula_free(kt_formula* formula);
/* One number / value for each name. */
KT_C_API kt_status kt_formula_number(const kt_formula* formula, const double* numbers, size_t count,
                                     double* result, kt_error** error);
KT_C_API kt_status kt_formula_value(const kt_formula* formula, const kt_value* const* values,
                                    size_t count, kt_value** result, kt_error** error);
/* Whole columns: name n has the double at columns[n] + row * strides[n] bytes. */
KT_C_API kt_status kt_formula_columns(const kt_formula* formula, const void* const* columns,
                                      const ptrdiff_t* strides, size_t count, double* result,
                                      size_t rows, kt_error** error);

/* ---- Datasets
 * ------------------------------------------------------------------------------------ */

typedef enum kt_row_state {
  KT_ROW_NORMAL = 1,
  KT_ROW_INSERTED = 2,
  KT_ROW_UPDATED = 4
} kt_row_state;

/* Asked before a cell changes through a script or kt_dataset_set: 0 refuses. */
typedef int (*kt_on_change)(void* user, size_t row, const char* column, const kt_value* old_value,
                            const kt_value* new_value);

KT_C_API kt_dataset* kt_dataset_new(const char* name);
KT_C_API void kt_dataset_free(kt_dataset* dataset);
/* Shows the dataset to scripts; the engine keeps it, the handle stays the caller's. */
KT_C_API kt_status kt_engine_dataset(kt_engine* engine, const char* name, kt_dataset* dataset,
                                     kt_error** error);
KT_C_API size_t kt_dataset_rows(const kt_dataset* dataset);
KT_C_API size_t kt_dataset_columns(const kt_dataset* dataset);
KT_C_API const char* kt_dataset_column(const kt_dataset* dataset, size_t column); /* NULL outside */
KT_C_API kt_status kt_dataset_get(const kt_dataset* dataset, size_t row, const char* column,
                                  kt_value** value, kt_error** error);
KT_C_API kt_status kt_dataset_original(const kt_dataset* dataset, size_t row, const char* column,
                                       kt_value** value, kt_error** error);
KT_C_API kt_status kt_dataset_set(kt_dataset* dataset, size_t row, const char* column,
                                  const kt_value* value, kt_error** error);
KT_C_API int32_t kt_dataset_state(const kt_dataset* dataset, size_t row);    /* 0 outside */
KT_C_API kt_status kt_dataset_append(kt_dataset* dataset, kt_error** error); /* a row */
KT_C_API kt_status kt_dataset_apply(kt_dataset* dataset); /* the rows are the normal ones now */
KT_C_API kt_status kt_dataset_reset(kt_dataset* dataset); /* takes back all changes */
KT_C_API kt_status kt_dataset_on_change(kt_dataset* dataset, kt_on_change handler, void* user,
                                        kt_destroy destroy);
/* Columns as Arrow data. What is exported is released by the caller, and stays as it is whatever
 * becomes of the dataset; what is imported stays the caller's. `states` adds a column "_state",
 * `originals` columns "<id>_original". */
KT_C_API kt_status kt_dataset_export(const kt_dataset* dataset, int states, int originals,
                                     struct ArrowSchema* schema, struct ArrowArray* array,
                                     kt_error** error);
KT_C_API kt_status kt_dataset_import(kt_dataset* dataset, const struct ArrowSchema* schema,
                                     const struct ArrowArray* array, int append, kt_error** error);
/* In place of the rows. Fails, and leaves them as they were, when a record would be left out or a
 * cell not be converted; the error names the first places. */
KT_C_API kt_status kt_dataset_load_csv(kt_dataset* dataset, const char* text, kt_error** error);
KT_C_API kt_status kt_dataset_load_json(kt_dataset* dataset, const char* text, kt_error** error);
/* The text as a value. */
KT_C_API kt_status kt_dataset_to_csv(const kt_dataset* dataset, kt_value** text, kt_error** error);
KT_C_API kt_status kt_dataset_to_json(const kt_dataset* dataset, kt_value** text, kt_error** error);

#ifdef __cplusplus
}
#endif
