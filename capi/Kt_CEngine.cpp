// SPDX-License-Identifier: MIT
//
// Engines, objects and formulas of the C interface.
#include <chrono>

#include "capi/Kt_CHandles.h"

using kt::capi::AreThere;
using kt::capi::Give;
using kt::capi::Guard;
using kt::capi::ToFunction;
using kt::capi::ToList;
using kt::capi::User;

namespace {

kt::IncludeSource ToIncludes(decltype(kt_listeners::include) include, void* user) {
  if (include == nullptr) return nullptr;
  return [include, user](const std::string& name,
                         const std::string& from) -> std::optional<std::string> {
    const std::unique_ptr<kt_value> text(include(user, name.c_str(), from.c_str()));
    if (text == nullptr) return std::nullopt;
    return text->value.ToString().ToUtf8();
  };
}

}  // namespace

extern "C" {

kt_engine* kt_engine_new(void) {
  kt_engine* engine = nullptr;
  Guard(nullptr, [&] { engine = new kt_engine; });
  return engine;
}
void kt_engine_free(kt_engine* engine) { delete engine; }

kt_status kt_engine_function(kt_engine* engine, const char* name, kt_function function, void* user,
                             kt_destroy destroy, kt_error** error) {
  if (!AreThere(error, engine, name) || function == nullptr) return KT_ARGUMENT;
  return Guard(error, [&] {
    engine->engine.function(name, ToFunction(function, std::make_shared<User>(user, destroy)));
  });
}
kt_status kt_engine_load(kt_engine* engine, const char* name, const char* text, kt_error** error) {
  if (!AreThere(error, engine, name, text)) return KT_ARGUMENT;
  return Guard(error, [&] { engine->engine.load(name, text); });
}
kt_status kt_engine_call(kt_engine* engine, const char* function, const kt_value* const* args,
                         size_t count, kt_value** result, kt_error** error) {
  if (result != nullptr) *result = nullptr;
  if (!AreThere(error, engine, function)) return KT_ARGUMENT;
  return Guard(error,
               [&] { Give(engine->engine.call_list(function, ToList(args, count)), result); });
}
kt_status kt_engine_eval(kt_engine* engine, const char* expression, kt_value** result,
                         kt_error** error) {
  if (result != nullptr) *result = nullptr;
  if (!AreThere(error, engine, expression)) return KT_ARGUMENT;
  return Guard(error, [&] { Give(engine->engine.eval(expression), result); });
}
kt_status kt_engine_set(kt_engine* engine, const char* name, const kt_value* value,
                        kt_error** error) {
  if (!AreThere(error, engine, name, value)) return KT_ARGUMENT;
  return Guard(error, [&] { engine->engine.set(name, value->value); });
}
kt_status kt_engine_get(kt_engine* engine, const char* name, kt_value** value, kt_error** error) {
  if (value != nullptr) *value = nullptr;
  if (!AreThere(error, engine, name)) return KT_ARGUMENT;
  return Guard(error, [&] { Give(engine->engine.get(name), value); });
}
kt_status kt_engine_check(kt_engine* engine, const char* name, const char* text, int warnings,
                          kt_error** error) {
  if (!AreThere(error, engine, name, text)) return KT_ARGUMENT;
  bool has_fault = false;
  kt_error* found = nullptr;
  const kt_status status = Guard(error, [&] {
    kt::ErrorInfo info;
    info.faults = engine->engine.check(name, text, warnings != 0);
    if (info.faults.empty()) return;
    for (const kt::Place& fault : info.faults) has_fault |= !fault.is_warning;
    info.place = info.faults.front();
    info.text = info.place.text;
    kt::capi::Store(KT_SYNTAX, std::move(info), error != nullptr ? &found : nullptr);
  });
  if (error != nullptr && found != nullptr) *error = found;
  return status == KT_OK && has_fault ? KT_SYNTAX : status;
}
kt_status kt_engine_limits(kt_engine* engine, const kt_limits* limits) {
  if (engine == nullptr || limits == nullptr || limits->size < sizeof(kt_limits)) {
    return KT_ARGUMENT;
  }
  engine->engine.limit_steps(limits->steps)
      .limit_time(std::chrono::milliseconds(limits->milliseconds))
      .limit_memory(limits->bytes);
  return KT_OK;
}
kt_status kt_engine_threads(kt_engine* engine, int count) {
  if (engine == nullptr || count < 1 || count > 2) return KT_ARGUMENT;
  engine->engine.threads(count);
  return KT_OK;
}
kt_status kt_engine_listen(kt_engine* engine, const kt_listeners* listeners) {
  if (engine == nullptr || listeners == nullptr || listeners->size < sizeof(kt_listeners)) {
    return KT_ARGUMENT;
  }
  return Guard(nullptr, [&, heard = *listeners] {
    engine->engine.includes(ToIncludes(heard.include, heard.user))
        .on_error(nullptr)
        .on_trace(nullptr)
        .clock(nullptr);
    if (heard.on_error != nullptr) {
      engine->engine.on_error([heard](const kt::ErrorInfo& info) {
        const kt_error error{info, info.Whole()};
        heard.on_error(heard.user, &error);
      });
    }
    if (heard.on_trace != nullptr) {
      engine->engine.on_trace([heard](std::string_view text) {
        heard.on_trace(heard.user, std::string(text).c_str());
      });
    }
    if (heard.clock != nullptr) {
      engine->engine.clock([heard] { return Kt_DateTime{heard.clock(heard.user)}; });
    }
  });
}
kt_status kt_engine_tolerant(kt_engine* engine, int is_tolerant) {
  if (engine == nullptr) return KT_ARGUMENT;
  engine->engine.tolerant(is_tolerant != 0);
  return KT_OK;
}
kt_status kt_engine_names_json(kt_engine* engine, kt_value** text, kt_error** error) {
  if (text != nullptr) *text = nullptr;
  if (!AreThere(error, engine, text)) return KT_ARGUMENT;
  return Guard(error, [&] { Give(Kt_Variant(engine->engine.names_json()), text); });
}
kt_status kt_engine_seed(kt_engine* engine, uint64_t seed) {
  if (engine == nullptr) return KT_ARGUMENT;
  engine->engine.random_seed(seed);
  return KT_OK;
}
kt_status kt_engine_cancel(kt_engine* engine) {
  if (engine == nullptr) return KT_ARGUMENT;
  engine->engine.cancel();
  return KT_OK;
}

kt_status kt_program_new(const char* name, const char* text,
                         kt_value* (*include)(void* user, const char* name, const char* from),
                         void* user, kt_program** program, kt_error** error) {
  if (!AreThere(error, name, text, program)) return KT_ARGUMENT;
  *program = nullptr;
  return Guard(error, [&] {
    *program = new kt_program{kt::Program::compile(name, text, ToIncludes(include, user))};
  });
}
void kt_program_free(kt_program* program) { delete program; }
kt_status kt_engine_load_program(kt_engine* engine, const kt_program* program, kt_error** error) {
  if (!AreThere(error, engine, program)) return KT_ARGUMENT;
  return Guard(error, [&] { engine->engine.load(program->program); });
}

kt_status kt_object_new(kt_engine* engine, const char* name, kt_object** object, kt_error** error) {
  if (!AreThere(error, engine, name, object)) return KT_ARGUMENT;
  *object = nullptr;
  return Guard(error, [&] { *object = new kt_object{kt::Object(engine->engine, name)}; });
}
void kt_object_free(kt_object* object) { delete object; }
kt_status kt_object_property(kt_object* object, const char* name, kt_function get, kt_function set,
                             void* user, kt_destroy destroy, kt_error** error) {
  if (!AreThere(error, object, name) || get == nullptr) return KT_ARGUMENT;
  return Guard(error, [&] {
    const auto shared = std::make_shared<User>(user, destroy);
    const auto read = [get = ToFunction(get, shared)] { return get(Kt_VariantList()); };
    if (set == nullptr) {
      object->object.property(name, read);
    } else {
      object->object.property(name, read, [set = ToFunction(set, shared)](const Kt_Variant& value) {
        set(Kt_VariantList{value});
      });
    }
  });
}
kt_status kt_object_method(kt_object* object, const char* name, kt_function method, void* user,
                           kt_destroy destroy, kt_error** error) {
  if (!AreThere(error, object, name) || method == nullptr) return KT_ARGUMENT;
  return Guard(error, [&] {
    object->object.method(name, ToFunction(method, std::make_shared<User>(user, destroy)));
  });
}

kt_status kt_formula_new(kt_engine* engine, const char* text, const char* const* names,
                         size_t count, kt_formula** formula, kt_error** error) {
  if (!AreThere(error, text, formula) || (names == nullptr && count > 0)) return KT_ARGUMENT;
  *formula = nullptr;
  return Guard(error, [&] {
    const std::vector<std::string_view> views(names, names + count);
    *formula = new kt_formula{engine != nullptr ? kt::Formula(engine->engine, text, views)
                                                : kt::Formula(text, views)};
  });
}
void kt_formula_free(kt_formula* formula) { delete formula; }
kt_status kt_formula_number(const kt_formula* formula, const double* numbers, size_t count,
                            double* result, kt_error** error) {
  if (!AreThere(error, formula, result) || (numbers == nullptr && count > 0)) return KT_ARGUMENT;
  return Guard(error, [&] { *result = formula->formula.evaluate(std::span(numbers, count)); });
}
kt_status kt_formula_value(const kt_formula* formula, const kt_value* const* values, size_t count,
                           kt_value** result, kt_error** error) {
  if (result != nullptr) *result = nullptr;
  if (!AreThere(error, formula)) return KT_ARGUMENT;
  return Guard(error, [&] {
    const Kt_VariantList list = ToList(values, count);
    Give(formula->formula.value_of(std::span(list.begin(), list.end())), result);
  });
}
kt_status kt_formula_columns(const kt_formula* formula, const void* const* columns,
                             const ptrdiff_t* strides, size_t count, double* result, size_t rows,
                             kt_error** error) {
  if (!AreThere(error, formula, columns, strides, result)) return KT_ARGUMENT;
  return Guard(error, [&] {
    formula->formula.evaluate(std::span(columns, count), std::span(strides, count),
                              std::span(result, rows));
  });
}

}  // extern "C"
