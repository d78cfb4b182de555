// SPDX-License-Identifier: MIT
//
// Datasets of the C interface.
#include "capi/Kt_CHandles.h"
#include "classlib/store/Kt_Dataset.h"
#include "host/Kt_Arrow.h"

using kt::capi::AreThere;
using kt::capi::Give;
using kt::capi::Guard;
using kt::capi::User;

namespace {

// Throws for a row that is none.
int RowOf(const kt_dataset& dataset, size_t row) {
  if (row >= static_cast<size_t>(dataset.table.rows())) {
    throw kt::RunError("there is no row " + std::to_string(row));
  }
  return static_cast<int>(row);
}

}  // namespace

extern "C" {

kt_dataset* kt_dataset_new(const char* name) {
  kt_dataset* dataset = nullptr;
  Guard(nullptr, [&] {
    dataset = new kt_dataset{kt::Table(name != nullptr ? name : "table"), {}};
  });
  return dataset;
}
void kt_dataset_free(kt_dataset* dataset) { delete dataset; }
kt_status kt_engine_dataset(kt_engine* engine, const char* name, kt_dataset* dataset,
                            kt_error** error) {
  if (!AreThere(error, engine, name, dataset)) return KT_ARGUMENT;
  return Guard(error, [&] { engine->engine.dataset(name, dataset->table); });
}
size_t kt_dataset_rows(const kt_dataset* dataset) {
  return dataset != nullptr ? static_cast<size_t>(dataset->table.rows()) : 0;
}
size_t kt_dataset_columns(const kt_dataset* dataset) {
  return dataset != nullptr ? static_cast<size_t>(dataset->table.columns()) : 0;
}
const char* kt_dataset_column(const kt_dataset* dataset, size_t column) {
  if (column >= kt_dataset_columns(dataset)) return nullptr;
  const auto ask = [&] {
    dataset->text = dataset->table.data().GetColID(static_cast<kt_long>(column)).ToUtf8();
  };
  return Guard(nullptr, ask) == KT_OK ? dataset->text.c_str() : nullptr;
}
kt_status kt_dataset_get(const kt_dataset* dataset, size_t row, const char* column,
                         kt_value** value, kt_error** error) {
  if (value != nullptr) *value = nullptr;
  if (!AreThere(error, dataset, column)) return KT_ARGUMENT;
  return Guard(error, [&] { Give(dataset->table.get(RowOf(*dataset, row), column), value); });
}
kt_status kt_dataset_original(const kt_dataset* dataset, size_t row, const char* column,
                              kt_value** value, kt_error** error) {
  if (value != nullptr) *value = nullptr;
  if (!AreThere(error, dataset, column)) return KT_ARGUMENT;
  return Guard(error, [&] { Give(dataset->table.original(RowOf(*dataset, row), column), value); });
}
kt_status kt_dataset_set(kt_dataset* dataset, size_t row, const char* column, const kt_value* value,
                         kt_error** error) {
  if (!AreThere(error, dataset, column, value)) return KT_ARGUMENT;
  return Guard(error, [&] { dataset->table.set(RowOf(*dataset, row), column, value->value); });
}
int32_t kt_dataset_state(const kt_dataset* dataset, size_t row) {
  if (row >= kt_dataset_rows(dataset)) return 0;
  return static_cast<int32_t>(dataset->table.state(static_cast<int>(row)));
}
kt_status kt_dataset_append(kt_dataset* dataset, kt_error** error) {
  if (!AreThere(error, dataset)) return KT_ARGUMENT;
  return Guard(error, [&] { dataset->table.append_row(); });
}
kt_status kt_dataset_apply(kt_dataset* dataset) {
  if (dataset == nullptr) return KT_ARGUMENT;
  return Guard(nullptr, [&] { dataset->table.apply_changes(); });
}
kt_status kt_dataset_reset(kt_dataset* dataset) {
  if (dataset == nullptr) return KT_ARGUMENT;
  return Guard(nullptr, [&] { dataset->table.reset(); });
}
kt_status kt_dataset_on_change(kt_dataset* dataset, kt_on_change handler, void* user,
                               kt_destroy destroy) {
  if (dataset == nullptr || handler == nullptr) return KT_ARGUMENT;
  return Guard(nullptr, [&] {
    const auto shared = std::make_shared<User>(user, destroy);
    dataset->table.on_change([handler, shared](const kt::CellChange& change) {
      const kt_value before{change.old_value, {}};
      const kt_value after{change.value, {}};
      return handler(shared->data, static_cast<size_t>(change.row), change.column.c_str(), &before,
                     &after) != 0;
    });
  });
}
kt_status kt_dataset_export(const kt_dataset* dataset, int states, int originals,
                            ArrowSchema* schema, ArrowArray* array, kt_error** error) {
  if (!AreThere(error, dataset, schema, array)) return KT_ARGUMENT;
  return Guard(error, [&] {
    kt::ToArrow(dataset->table, schema, array, {states != 0, originals != 0});
  });
}
kt_status kt_dataset_import(kt_dataset* dataset, const ArrowSchema* schema, const ArrowArray* array,
                            int append, kt_error** error) {
  if (!AreThere(error, dataset, schema, array)) return KT_ARGUMENT;
  return Guard(error, [&] {
    const kt::Columns columns = kt::FromArrow(*schema, *array);
    if (append != 0) {
      dataset->table.append(columns);
    } else {
      dataset->table.load(columns);
    }
  });
}
kt_status kt_dataset_load_csv(kt_dataset* dataset, const char* text, kt_error** error) {
  if (!AreThere(error, dataset, text)) return KT_ARGUMENT;
  return Guard(error, [&] { dataset->table.load_csv(text); });
}
kt_status kt_dataset_load_json(kt_dataset* dataset, const char* text, kt_error** error) {
  if (!AreThere(error, dataset, text)) return KT_ARGUMENT;
  return Guard(error, [&] { dataset->table.load_json(text); });
}
kt_status kt_dataset_to_csv(const kt_dataset* dataset, kt_value** text, kt_error** error) {
  if (text != nullptr) *text = nullptr;
  if (!AreThere(error, dataset)) return KT_ARGUMENT;
  return Guard(error, [&] { Give(Kt_Variant(dataset->table.to_csv()), text); });
}
kt_status kt_dataset_to_json(const kt_dataset* dataset, kt_value** text, kt_error** error) {
  if (text != nullptr) *text = nullptr;
  if (!AreThere(error, dataset)) return KT_ARGUMENT;
  return Guard(error, [&] { Give(Kt_Variant(dataset->table.to_json()), text); });
}

}  // extern "C"
