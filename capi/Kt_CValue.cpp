// SPDX-License-Identifier: MIT
//
// Errors and values of the C interface.
#include <new>

#include "capi/Kt_CHandles.h"

namespace kt::capi {

kt_status Store(kt_status status, ErrorInfo info, kt_error** error) noexcept {
  if (error == nullptr) return status;
  try {
    std::string whole = info.Whole();
    *error = new kt_error{std::move(info), std::move(whole)};
  } catch (const std::bad_alloc&) {  // the status has to do
    *error = nullptr;
  }
  return status;
}

Kt_VariantList ToList(const kt_value* const* values, size_t count) {
  Kt_VariantList list;
  for (size_t at = 0; at < count; ++at) {
    if (values == nullptr || values[at] == nullptr) throw RunError("NULL for an argument");
    list.Add(values[at]->value);
  }
  return list;
}

HostFunction ToFunction(kt_function function, std::shared_ptr<User> user) {
  return [function, user = std::move(user)](const Kt_VariantList& args) -> Kt_Variant {
    std::vector<kt_value> values;
    values.reserve(static_cast<size_t>(args.GetCount()));
    std::vector<const kt_value*> pointers;
    for (const Kt_Variant& arg : args) pointers.push_back(&values.emplace_back(kt_value{arg, {}}));
    kt_value* result = nullptr;
    kt_error* error = nullptr;
    const kt_status status =
        function(user->data, pointers.data(), pointers.size(), &result, &error);
    const std::unique_ptr<kt_value> owned_result(result);
    const std::unique_ptr<kt_error> owned_error(error);
    if (status == KT_MEMORY) throw std::bad_alloc();
    if (status != KT_OK && error != nullptr) throw RunError(error->info);
    if (status != KT_OK) throw RunError("failed");
    return result != nullptr ? result->value : Kt_Variant();
  };
}

}  // namespace kt::capi

namespace {

using kt::capi::AreThere;
using kt::capi::Guard;

// A new value; NULL where memory runs out.
template <class Make>
kt_value* TryNew(Make make) {
  kt_value* value = nullptr;
  Guard(nullptr, [&] { value = kt::capi::NewValue(make()); });
  return value;
}

const Kt_Variant& Of(const kt_value* value) {
  return value != nullptr ? value->value.Target() : Kt_Variant::_KtNullVariant;
}

// Fields that the caller does not know yet are not written.
kt_status Fill(const kt::Place* from, kt_place* place) {
  if (from == nullptr || place == nullptr || place->size < sizeof(kt_place)) return KT_ARGUMENT;
  *place = {place->size,  from->file.c_str(), from->function.c_str(),   from->line,
            from->column, from->length,       from->is_warning ? 1 : 0, from->text.c_str()};
  return KT_OK;
}

const kt::Place* At(const std::vector<kt::Place>* places, size_t index) {
  return places != nullptr && index < places->size() ? &(*places)[index] : nullptr;
}

}  // namespace

extern "C" {

uint32_t kt_abi_version(void) { return KT_ABI_VERSION; }
const char* kt_version(void) { return KT_VERSION; }

kt_error* kt_error_new(const char* text) {
  kt_error* error = nullptr;
  Guard(nullptr, [&] {
    kt::ErrorInfo info;
    info.text = text != nullptr ? text : "";
    kt::capi::Store(KT_RUN, std::move(info), &error);
  });
  return error;
}
void kt_error_free(kt_error* error) { delete error; }
const char* kt_error_text(const kt_error* error) {
  return error != nullptr ? error->info.text.c_str() : "";
}
const char* kt_error_whole(const kt_error* error) {
  return error != nullptr ? error->whole.c_str() : "";
}
int32_t kt_error_code(const kt_error* error) { return error != nullptr ? error->info.code : 0; }
const char* kt_error_expression(const kt_error* error) {
  return error != nullptr ? error->info.expression.c_str() : "";
}
kt_status kt_error_place(const kt_error* error, kt_place* place) {
  return Fill(error != nullptr ? &error->info.place : nullptr, place);
}
size_t kt_error_fault_count(const kt_error* error) {
  return error != nullptr ? error->info.faults.size() : 0;
}
kt_status kt_error_fault(const kt_error* error, size_t index, kt_place* place) {
  return Fill(At(error != nullptr ? &error->info.faults : nullptr, index), place);
}
size_t kt_error_call_count(const kt_error* error) {
  return error != nullptr ? error->info.calls.size() : 0;
}
kt_status kt_error_call(const kt_error* error, size_t index, kt_place* place) {
  return Fill(At(error != nullptr ? &error->info.calls : nullptr, index), place);
}

kt_value* kt_value_empty(void) {
  return TryNew([] { return Kt_Variant(); });
}
kt_value* kt_value_long(int32_t number) {
  return TryNew([=] { return Kt_Variant(number); });
}
kt_value* kt_value_double(double number) {
  return TryNew([=] { return Kt_Variant(number); });
}
kt_value* kt_value_bool(int truth) {
  return TryNew([=] { return Kt_Variant(truth != 0); });
}
kt_value* kt_value_text(const char* text) {
  return TryNew([=] { return Kt_Variant(text); });
}
kt_value* kt_value_text_n(const char* text, size_t size) {
  return TryNew([=] { return Kt_Variant(std::string_view(text != nullptr ? text : "", size)); });
}
kt_value* kt_value_binary(const void* bytes, size_t size) {
  return TryNew([=] {
    Kt_Variant value;
    value.SetBinary(bytes, size);
    return value;
  });
}
kt_value* kt_value_date(double days) {
  return TryNew([=] { return Kt_Variant(Kt_DateTime{days}); });
}
kt_value* kt_value_currency(int64_t ten_thousandths) {
  return TryNew([=] { return Kt_Variant(Kt_Currency::FromUnits(ten_thousandths)); });
}
kt_value* kt_value_list(void) {
  return TryNew([] { return Kt_Variant(Kt_VariantList()); });
}
kt_value* kt_value_copy(const kt_value* value) {
  return TryNew([=] { return Of(value); });
}
void kt_value_free(kt_value* value) { delete value; }

kt_kind kt_value_kind(const kt_value* value) {
  switch (Of(value).GetTag()) {
    case kTagLong: return KT_LONG;
    case kTagDouble: return KT_DOUBLE;
    case kTagCurrency: return KT_CURRENCY;
    case kTagDateTime: return KT_DATE;
    case kTagBool: return KT_BOOL;
    case kTagString: return KT_TEXT;
    case kTagBinary: return KT_BINARY;
    case kTagList: return KT_LIST;
    case kTagObject: return KT_OBJECT;
    default: return KT_EMPTY;
  }
}
int32_t kt_value_to_long(const kt_value* value) { return Of(value).ToInteger(); }
double kt_value_to_double(const kt_value* value) {
  const Kt_Variant& of = Of(value);
  return of.GetTag() == kTagDateTime ? of.AsDouble() : of.ToDouble();
}
int64_t kt_value_to_currency(const kt_value* value) { return Of(value).ToCurrency().units; }
const char* kt_value_to_text(const kt_value* value, size_t* size) {
  if (size != nullptr) *size = 0;
  if (value == nullptr) return "";
  if (Guard(nullptr, [&] { value->utf8 = Of(value).ToString().ToUtf8(); }) != KT_OK) return "";
  if (size != nullptr) *size = value->utf8.size();
  return value->utf8.c_str();
}
const void* kt_value_to_binary(const kt_value* value, size_t* size) {
  const Kt_Variant& of = Of(value);
  const auto bytes = of.GetTag() == kTagBinary ? of.AsBinary() : std::span<const std::uint8_t>();
  if (size != nullptr) *size = bytes.size();
  return bytes.data();
}
size_t kt_value_count(const kt_value* value) { return static_cast<size_t>(Of(value).ListCount()); }
kt_value* kt_value_item(const kt_value* list, size_t index) {
  if (index >= kt_value_count(list)) return nullptr;
  return TryNew([=] { return Of(list).ListItem(static_cast<kt_long>(index))->Dereference(); });
}
kt_status kt_value_append(kt_value* list, const kt_value* item) {
  if (list == nullptr || item == nullptr || !list->value.IsList()) return KT_ARGUMENT;
  return list->value.ListAdd(item->value) ? KT_OK : KT_MEMORY;
}
kt_status kt_value_assign(const kt_value* reference, const kt_value* value) {
  if (reference == nullptr || value == nullptr) return KT_ARGUMENT;
  return reference->value.AssignThroughRef(value->value.Dereference()) ? KT_OK : KT_ARGUMENT;
}

}  // extern "C"
