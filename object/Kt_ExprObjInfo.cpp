// SPDX-License-Identifier: MIT
#include "object/Kt_ExprObjInfo.h"

#include <memory>
#include <type_traits>

namespace {

template <class Record, class... Args>
Record& Make(Record& place, Args&&... args) {
  return *std::construct_at(&place, std::forward<Args>(args)...);
}

bool IsObjectKind(std::int16_t kind) {
  return kind == EXPR_OBJ_DATASET || kind == EXPR_OBJ_COMPONENT || kind == EXPR_OBJ_COMPOSIT;
}

}  // namespace

template <class Action>
void Kt_ExprObjInfo::OnRecord(Action&& action) {
  switch (kind_) {
    case EXPR_OBJ_VALUE: action(u_.value); break;
    case EXPR_OBJ_SCRIPTFUNC: action(u_.script_func); break;
    case EXPR_OBJ_INTFUNC: action(u_.int_func); break;
    case EXPR_OBJ_VAR:
    case EXPR_OBJ_VARITEM:
    case EXPR_OBJ_AUTOVAR: action(u_.var); break;
    case EXPR_OBJ_DATASET:
    case EXPR_OBJ_COMPONENT:
    case EXPR_OBJ_COMPOSIT:
    case EXPR_OBJ_ITEM: action(u_.object); break;
    case EXPR_OBJ_COLUMN:
    case EXPR_OBJ_COLUMNPROP: action(u_.column); break;
    case EXPR_OBJ_PROPERTY: action(u_.property); break;
    case EXPR_OBJ_METHOD: action(u_.method); break;
    case EXPR_OBJ_EXTAPI: action(u_.ext_api); break;
    default: break;
  }
}

void Kt_ExprObjInfo::ClearRecord() {
  OnRecord([](auto& record) { std::destroy_at(&record); });
  kind_ = EXPR_OBJ_NONE;
}

void Kt_ExprObjInfo::Set(const Kt_ExprObjInfo& other) {
  if (this == &other) return;
  Clear();
  kind_ = other.kind_;
  // Both unions have the live record at the same place, so its offset leads to the source.
  auto& source_union = const_cast<Kt_ExprObjInfo&>(other).u_;
  OnRecord([&source_union](auto& record) {
    using Member = std::remove_reference_t<decltype(record)>;
    Make(record, *reinterpret_cast<const Member*>(&source_union));
  });
}

const Kt_ObjectHolder* Kt_ExprObjInfo::GetHold() const {
  switch (kind_) {
    case EXPR_OBJ_DATASET:
    case EXPR_OBJ_COMPONENT:
    case EXPR_OBJ_COMPOSIT:
    case EXPR_OBJ_ITEM: return &u_.object;
    case EXPR_OBJ_COLUMN:
    case EXPR_OBJ_COLUMNPROP: return &u_.column.dataset;
    case EXPR_OBJ_PROPERTY: return &u_.property.object;
    case EXPR_OBJ_METHOD: return &u_.method.object;
    default: return nullptr;
  }
}

void Kt_ExprObjInfo::SetValueRecord(const Kt_Variant& value) {
  if (kind_ == EXPR_OBJ_VALUE) {
    u_.value = value;
    return;
  }
  Kt_Variant copy(value);  // `value` may live in the record that goes
  Clear();
  Make(u_.value, std::move(copy));
  kind_ = EXPR_OBJ_VALUE;
}

void Kt_ExprObjInfo::SetHeldObject(std::int16_t kind, const Kt_ObjectHolder& hold) {
  Kt_ObjectHolder copy(hold);
  Clear();
  Make(u_.object, std::move(copy));
  kind_ = kind;
}

void Kt_ExprObjInfo::SetDataset(Kt_ExprObject* dataset) {
  if (dataset == nullptr) return Clear();
  SetHeldObject(EXPR_OBJ_DATASET, Kt_ObjectHolder(dataset->GetContainer(), dataset));
}

void Kt_ExprObjInfo::SetComponent(Kt_ExprObject* object) {
  if (object == nullptr) return Clear();
  const bool is_composit = object->GetContainer() == object;
  SetHeldObject(is_composit ? EXPR_OBJ_COMPOSIT : EXPR_OBJ_COMPONENT,
                Kt_ObjectHolder(object->GetContainer(), object));
}

void Kt_ExprObjInfo::SetComposit(Kt_ExprObject* object) {
  if (object == nullptr) return Clear();
  SetHeldObject(EXPR_OBJ_COMPOSIT, Kt_ObjectHolder(object, object));
}

// The hold that a member record starts with: a new one on `object`, or, for null, the one of the
// object record that is being refined. False when there is neither.
bool Kt_ExprObjInfo::TakeHold(Kt_ExprObject* object, Kt_ObjectHolder& hold) {
  if (object != nullptr) {
    hold.Set(object->GetContainer(), object);
  } else {
    if (!IsObjectKind(kind_)) return false;
    hold = u_.object;
  }
  Clear();
  return true;
}

void Kt_ExprObjInfo::SetColumn(Kt_ExprObject* dataset, const Kt_WString& column, int index) {
  Kt_ObjectHolder hold;
  if (!TakeHold(dataset, hold)) return;
  Make(u_.column, Kt_ExprObjColumn{std::move(hold), column, index, {}});
  kind_ = EXPR_OBJ_COLUMN;
}

void Kt_ExprObjInfo::SetColumnProp(Kt_ExprObject* dataset, const Kt_WString& column, int index,
                                   const Kt_WString& property) {
  Kt_ObjectHolder hold;
  if (!TakeHold(dataset, hold)) return;
  Make(u_.column, Kt_ExprObjColumn{std::move(hold), column, index, property});
  kind_ = EXPR_OBJ_COLUMNPROP;
}

void Kt_ExprObjInfo::SetColumnProp(const Kt_WString& property) {
  if (kind_ != EXPR_OBJ_COLUMN && kind_ != EXPR_OBJ_COLUMNPROP) return;
  u_.column.property = property;
  kind_ = EXPR_OBJ_COLUMNPROP;
}

void Kt_ExprObjInfo::SetObjProp(Kt_ExprObject* object, const Kt_WString& name, int flags,
                                Kt_Getter get, Kt_Setter set) {
  Kt_ObjectHolder hold;
  if (!TakeHold(object, hold)) return;
  Make(u_.property, Kt_ExprObjProperty{std::move(hold), name, get, set, flags});
  kind_ = EXPR_OBJ_PROPERTY;
}

void Kt_ExprObjInfo::SetObjMethod(Kt_ExprObject* object, const Kt_WString& name, Kt_Getter method) {
  Kt_ObjectHolder hold;
  if (!TakeHold(object, hold)) return;
  Make(u_.method, Kt_ExprObjMethod{std::move(hold), name, method});
  kind_ = EXPR_OBJ_METHOD;
}

void Kt_ExprObjInfo::SetVarType(Kt_ExprObject* context, const Kt_WString& name, Kt_Variable* var) {
  Clear();
  Make(u_.var, Kt_ExprObjVar{context, name, Kt_VariableHold(var)});
  kind_ = EXPR_OBJ_VAR;
}

void Kt_ExprObjInfo::SetAutoVar(Kt_ExprObject* context, const Kt_WString& name) {
  Clear();
  Make(u_.var, Kt_ExprObjVar{context, name, {}});
  kind_ = EXPR_OBJ_AUTOVAR;
}

void Kt_ExprObjInfo::SetIntFunc(Kt_ExprObject* context, const Kt_WString& name,
                                Kt_Getter function) {
  Clear();
  Make(u_.int_func, Kt_ExprIntFunc{context, name, function});
  kind_ = EXPR_OBJ_INTFUNC;
}

void Kt_ExprObjInfo::SetScriptFunc(Kt_ExprObject* context, const Kt_WString& name,
                                   Kt_ScriptFunc* func) {
  Clear();
  Make(u_.script_func, Kt_ExprScriptFunc{context, name, func});
  kind_ = EXPR_OBJ_SCRIPTFUNC;
}

void Kt_ExprObjInfo::SetExtAPI(Kt_ExprObject* context, const Kt_WString& name, Kt_ExtApi function) {
  Clear();
  Make(u_.ext_api, Kt_ExprExtAPI{context, name, function});
  kind_ = EXPR_OBJ_EXTAPI;
}
