// SPDX-License-Identifier: MIT
#include "object/Kt_ExprStackObj.h"

#include "object/Kt_ExprColumnSource.h"

namespace {

constexpr const char16_t* kSource = u"kt_exprobj";

template <class... Args>
kt_long Fail(Kt_ExprObject* context, kt_long code, const Args&... args) {
  return kt::Report(context, kSource, code, args...);
}

}  // namespace

Kt_ExprStackObj::Kt_ExprStackObj(const Kt_ExprStackObj& other) : Kt_ExprStackObj() { Set(other); }

Kt_ExprStackObj& Kt_ExprStackObj::operator=(const Kt_ExprStackObj& other) {
  if (this == &other) return *this;
  SetObject(&other);
  head_ = other.head_;
  return *this;
}

void Kt_ExprStackObj::Set(const Kt_ExprStackObj& other) {
  if (this == &other) return;
  *this = other;
  obj_stat_ = other.obj_stat_;
}

void Kt_ExprStackObj::SetObject(const Kt_ExprStackObj* other) {
  if (this == other) return;
  Kt_ExprObjInfo::Set(*other);
  item_index_ = other->item_index_;
  item_key_ = other->item_key_;
  is_indexed_ = other->is_indexed_;
  args_ = other->args_;
}

void Kt_ExprStackObj::ClearContent() {
  Kt_ExprObjInfo::Clear();
  args_.Clear();
  if (!is_indexed_) return;
  item_index_ = -1;
  item_key_.Empty();
  is_indexed_ = false;
}

void Kt_ExprStackObj::ClearValue() {
  ClearContent();
  obj_stat_ = 0;
}

void Kt_ExprStackObj::SetValueType(Kt_Object* /*owner*/, const Kt_Variant& value) {
  if (GetKind() == EXPR_OBJ_VALUE && !is_indexed_ && args_.IsEmpty()) {
    GetValue() = value;
    obj_stat_ = 0;
    return;
  }
  const Kt_Variant copy(value);  // `value` may be one of the arguments that go
  ClearValue();
  SetValueRecord(copy);
}

kt_long Kt_ExprStackObj::FromObject(Kt_ExprObject* ctx, const Kt_ObjectHolder* hold) {
  if (hold == nullptr) {
    ClearValue();
    return kOk;
  }
  if (!hold->IsValid()) return Fail(ctx, kErrInvalidObject, u"Invalid Object");
  const Kt_ObjectHolder copy(*hold);
  ClearValue();
  if (!copy.HasContainer() || copy.GetContainer() != copy.GetObject()) {
    SetHeldObject(EXPR_OBJ_COMPONENT, copy);
  } else {
    SetComposit(Kt_ExprObject::From(copy.GetContainer()));
  }
  return kOk;
}

kt_long Kt_ExprStackObj::ApplyIndex(Kt_ExprObject* ctx, kt_long index, const Kt_WString& key,
                                    const Kt_WString& name) {
  switch (GetKind()) {
    case EXPR_OBJ_DATASET:
    case EXPR_OBJ_COMPONENT:
    case EXPR_OBJ_COMPOSIT: ToItem(); break;
    case EXPR_OBJ_VAR: ToVarItem(); break;
    case EXPR_OBJ_COLUMN:
      // A key names the column of an entry that has none yet; a number is always a row.
      if (!key.IsEmpty()) {
        if (GetObjColumn().name.IsEmpty()) GetObjColumn().name = key;
        return kOk;
      }
      break;
    default: {
      Kt_Variant value;
      if (const kt_long code = GetObjValue(ctx, value, 0)) return code;
      if (value.IsObject()) {
        const Kt_ObjectHolder hold(value.GetHolder());
        if (const kt_long code = FromObject(ctx, &hold)) return code;
        return ApplyIndex(ctx, index, key, name);
      }
      Kt_Variant element;
      if (const kt_long code =
              kt::detail::ReadElementOf(ctx, name, value.Dereference(), index, key, element)) {
        return code;
      }
      SetValueType(ctx, element);
      return kOk;
    }
  }
  item_index_ = index;
  item_key_ = key;
  is_indexed_ = true;
  return kOk;
}

Kt_ExprObject* Kt_ExprStackObj::GetContext() const {
  switch (GetKind()) {
    case EXPR_OBJ_SCRIPTFUNC: return GetConstScriptFunc().context;
    case EXPR_OBJ_INTFUNC: return GetConstIntFunc().context;
    case EXPR_OBJ_VAR:
    case EXPR_OBJ_VARITEM:
    case EXPR_OBJ_AUTOVAR: return GetConstObjVar().context;
    case EXPR_OBJ_EXTAPI: return GetConstExtApi().context;
    case EXPR_OBJ_ITEM: return nullptr;
    default: {
      const Kt_ObjectHolder* const hold = GetHold();
      return hold ? Kt_ExprObject::From(hold->GetContainer()) : nullptr;
    }
  }
}

Kt_ExprObject* Kt_ExprStackObj::GetComponent() const {
  const Kt_ObjectHolder* const hold = GetKind() == EXPR_OBJ_ITEM ? nullptr : GetHold();
  return hold ? Kt_ExprObject::From(hold->GetObject()) : nullptr;
}

Kt_WString Kt_ExprStackObj::GetObjID() const {
  switch (GetKind()) {
    case EXPR_OBJ_SCRIPTFUNC: return GetConstScriptFunc().name;
    case EXPR_OBJ_INTFUNC: return GetConstIntFunc().name;
    case EXPR_OBJ_VAR:
    case EXPR_OBJ_VARITEM:
    case EXPR_OBJ_AUTOVAR: return GetConstObjVar().name;
    case EXPR_OBJ_EXTAPI: return GetConstExtApi().name;
    default: {
      const Kt_ObjectHolder* const hold = GetHold();
      return hold ? hold->GetID() : Kt_WString();
    }
  }
}

Kt_ExprColumnSource* Kt_ExprStackObj::GetColumnSource() const {
  auto* const source = dynamic_cast<Kt_ExprColumnSource*>(GetComponent());
  return source && source->HasData() ? source : nullptr;
}
