// SPDX-License-Identifier: MIT
#include "object/Kt_ExprColumnSource.h"
#include "object/Kt_ExprStackObj.h"
#include "object/Kt_MemoryDoor.h"
#include "object/Kt_RunCharge.h"

namespace {

constexpr const char16_t* kSource = u"kt_exprobj";
constexpr const char16_t* kDefaultProp = u"(Default)";

template <class... Args>
kt_long Fail(Kt_ExprObject* context, kt_long code, const Args&... args) {
  return kt::Report(context, kSource, code, args...);
}

Kt_WString ElementNameOf(const Kt_WString& id, kt_long index, const Kt_WString& key) {
  if (!key.IsEmpty()) return id + u"['" + key + u"]']";
  if (index < 0) return id + u"['(null)']";
  return id + u"[" + Kt_Variant(index).ToString() + u"]";
}

kt_long RefuseKey(Kt_ExprObject* owner, const Kt_WString& id, kt_long index,
                  const Kt_WString& key) {
  return Fail(owner, kErrBadItemKey, id, key.IsEmpty() ? Kt_Variant(index).ToString() : key);
}

// The element of an object is set through its own default property.
kt_long WriteObjectItem(Kt_ExprObject* owner, const Kt_WString& id, Kt_Variant& base, kt_long index,
                        const Kt_WString& key, const Kt_Variant& value) {
  const Kt_ObjectHolder hold(base.GetHolder());
  if (!hold.IsValid()) {
    base.Clear();
    return Fail(owner, kErrInvalidObject, id + u" is inavlid object.");
  }
  if (key.IsEmpty() && index < 0) return Fail(owner, kErrBadItemKey, id, key);
  Kt_Variant element;
  (void)(key.IsEmpty() ? hold.GetItem(index, element) : hold.GetItem(key, element));
  const Kt_WString name = ElementNameOf(id, index, key);
  if (!element.IsObject()) return Fail(owner, kErrNotAnObject, name, kDefaultProp);
  const Kt_ObjectHolder item(element.GetHolder());
  const Kt_WString property = item.GetDefaultProp();
  if (property.IsEmpty()) return Fail(owner, kErrNoDefaultProp, name, kDefaultProp);
  return item.SetProperty(property, nullptr, value);
}

// Puts the first character of a text, or the character with the code, at `index`. A place outside
// the text and an empty text change nothing.
void WriteCharacter(Kt_Variant& base, kt_long index, const Kt_Variant& value) {
  const char16_t unit =
      value.IsString() ? value.AsString().GetAt(0) : static_cast<char16_t>(value.ToInteger());
  if (value.IsString() && value.AsStringView().empty()) return;
  Kt_WString text = base.AsString();
  base.Clear();  // so that the buffer is not shared and the change costs nothing
  try {
    text.SetAt(index, unit);
  } catch (...) {
    base.Set(text);
    throw;
  }
  base.Set(text);
}

}  // namespace

kt_long kt::detail::WriteElementOf(Kt_ExprObject* owner, const Kt_WString& id, Kt_Variant& base,
                                   kt_long index, const Kt_WString& key, const Kt_Variant& value) {
  switch (base.GetTag()) {
    case kTagList:
      if (!key.IsEmpty() || index < 0) return RefuseKey(owner, id, index, key);
      if (base.ListSet(index, value.IsRef() ? value.Dereference() : value)) return kOk;
      return Fail(owner, kErrListTooLong, ElementNameOf(id, index, key));
    case kTagObject: return WriteObjectItem(owner, id, base, index, key, value);
    case kTagString:
      if (!key.IsEmpty() || index < 0) return RefuseKey(owner, id, index, key);
      WriteCharacter(base, index, value.Dereference());
      return kOk;
    default: return Fail(owner, kErrNotAllowed, id, u"[]");
  }
}

Kt_WString Kt_ExprStackObj::ElementName() const {
  return ElementNameOf(GetObjID(), item_index_, item_key_);
}

kt_long Kt_ExprStackObj::SetObjValue(Kt_ExprObject* ctx, Kt_Variant& value) {
  Kt_ExprObject* owner = GetContext();
  if (owner == nullptr) owner = ctx;
  if (const kt_long code = kt::CheckRun(owner)) return code;  // `value` may be what is left of work
  switch (GetKind()) {
    case EXPR_OBJ_NONE:
    case EXPR_OBJ_VALUE: return kFailed;
    case EXPR_OBJ_VAR:
      if (Kt_Variable* const variable = GetConstObjVar().handle.Get()) {
        variable->SetValue(value);
        return kOk;
      }
      return owner ? owner->SetCtxVar(GetObjID(), value, 0) : kFailed;
    case EXPR_OBJ_AUTOVAR: return owner ? owner->SetCtxVar(GetObjID(), value, 1) : kFailed;
    case EXPR_OBJ_VARITEM: return owner ? WriteElement(owner, value) : kFailed;
    case EXPR_OBJ_COLUMN: return WriteColumn(ctx, value);
    case EXPR_OBJ_PROPERTY: {
      const Kt_ExprObjProperty property = GetConstObjProperty();
      Kt_Object* const object = property.object.GetObject();
      if (object == nullptr) return kOk;
      if (property.set != nullptr) return (object->*property.set)(nullptr, value);
      return property.object.SetProperty(property.name, nullptr, value);
    }
    case EXPR_OBJ_METHOD: {
      const Kt_ExprObjMethod method = GetConstObjMethod();
      const Kt_VariantList args(args_);
      return method.object.SetProperty(method.name, &args, value);
    }
    case EXPR_OBJ_DATASET:
    case EXPR_OBJ_COMPONENT:
    case EXPR_OBJ_COMPOSIT: return WriteObject(value);
    default: return WriteOther(ctx, value);
  }
}

kt_long Kt_ExprStackObj::WriteElement(Kt_ExprObject* owner, const Kt_Variant& value) {
  Kt_VariableHold variable = GetConstObjVar().handle;
  const Kt_WString id = GetObjID();
  const Kt_WString key = item_key_;
  const kt_long index = item_index_;
  Kt_Variant copy;
  if (variable.Get() == nullptr) {
    Kt_Variable* found = nullptr;
    if (owner->GetCtxVar(id, &found, &copy) != kOk) {
      return Fail(owner, kErrNoVariable, ElementName());
    }
    variable = Kt_VariableHold(found);
  }
  if (variable.Get() != nullptr) {
    return kt::detail::WriteElementOf(owner, id, variable.Get()->GetValueW(), index, key, value);
  }
  const kt_long code = kt::detail::WriteElementOf(owner, id, copy, index, key, value);
  if (code != kOk || copy.IsObject()) return code;
  return owner->SetCtxVar(id, copy, 0);
}

kt_long Kt_ExprStackObj::WriteColumn(Kt_ExprObject* ctx, const Kt_Variant& value) {
  Kt_ExprColumnSource* const source = GetColumnSource();
  if (source == nullptr || ctx == nullptr) return kFailed;
  const kt_long row = item_index_ < 0 ? source->GetWriteRow() : item_index_;
  const kt_long col = source->FindColumn(GetConstObjColumn().name);
  if (col < 0) return Fail(ctx, kErrNoColumnToSet, GetObjID());
  Kt_Variant plain = value.Dereference();
  if (value.IsObject()) {
    plain.Clear();
    (void)kt::detail::ReadDefaultProp(value, plain);
  }
  const kt_long written = source->WriteColumn(row, col, plain);
  return written == kErrNoMemory ? kt::ReportNoMemory(ctx, kSource, GetObjID()) : kOk;
}

kt_long Kt_ExprStackObj::WriteObject(const Kt_Variant& value) {
  const Kt_ObjectHolder hold(GetConstObject());
  const Kt_WString property = hold.GetDefaultProp();
  if (property.IsEmpty()) return kFailed;
  if (!value.IsObject()) return hold.SetProperty(property, nullptr, value);
  const Kt_ObjectHolder source(value.GetHolder());
  Kt_Variant plain;
  if (const kt_long code = source.GetProperty(source.GetDefaultProp(), nullptr, plain)) return code;
  return hold.SetProperty(property, nullptr, plain);
}

// Calls and items: what they give may itself be something to assign to.
kt_long Kt_ExprStackObj::WriteOther(Kt_ExprObject* ctx, const Kt_Variant& value) {
  const Kt_WString id = GetObjID();
  Kt_Variant current;
  (void)GetObjValue(ctx, current, 0);
  if (current.IsObject()) {
    const Kt_ObjectHolder hold(current.GetHolder());
    const Kt_WString property = hold.GetDefaultProp();
    if (property.IsEmpty()) return kFailed;
    Kt_Variant plain = value;
    if (value.IsObject() && !kt::detail::ReadDefaultProp(value, plain)) plain.Clear();
    return hold.SetProperty(property, nullptr, plain);
  }
  if (current.AssignThroughRef(value)) return kOk;
  return Fail(ctx, kErrInvalidObject, id);
}
