// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_Aggregate.h"
#include "object/Kt_ExprColumnSource.h"
#include "object/Kt_ExprStackObj.h"
#include "object/Kt_RunCharge.h"
#include "script/Kt_Script.h"

namespace {

constexpr const char16_t* kSource = u"kt_exprobj";

template <class... Args>
kt_long Fail(Kt_ExprObject* context, kt_long code, const Args&... args) {
  return kt::Report(context, kSource, code, args...);
}

// A variable whose object was destroyed reads as empty.
kt_long CheckObject(Kt_ExprObject* owner, Kt_Variant& value) {
  if (value.IsObject() && !value.GetHolder().IsValid()) {
    (void)Fail(owner, kErrInvalidObject, u"InvalidObject");
    value.Clear();
  }
  return kOk;
}

// An element that cannot be addressed so reads as empty, with a report.
kt_long RefuseKey(Kt_ExprObject* owner, const Kt_WString& id, kt_long index, const Kt_WString& key,
                  Kt_Variant& result) {
  (void)Fail(owner, kErrBadItemKey, id, key.IsEmpty() ? Kt_Variant(index).ToString() : key);
  result.Clear();
  return kOk;
}

kt_long ReadObjectItem(Kt_ExprObject* owner, const Kt_WString& id, const Kt_Variant& base,
                       kt_long index, const Kt_WString& key, Kt_Variant& result) {
  const Kt_ObjectHolder hold(base.GetHolder());
  if (!hold.IsValid()) {
    (void)Fail(owner, kErrInvalidObject, u"InvalidObject");
    result.Clear();
    return kOk;
  }
  if (!key.IsEmpty()) {
    (void)hold.GetItem(key, result);
  } else if (index < 0) {
    (void)Fail(owner, kErrBadItemKey, id, key);
  } else {
    (void)hold.GetItem(index, result);
  }
  return kOk;
}

bool IsCall(std::int16_t kind) {
  return kind == EXPR_OBJ_INTFUNC || kind == EXPR_OBJ_EXTAPI || kind == EXPR_OBJ_METHOD;
}

// The rows that the subtotal row `row` covers: from `start` to before `end`.
void GetCoveredRows(const Kt_ExprColumnSource& source, kt_long row, kt_long& start, kt_long& end) {
  const kt_long recorded = source.GetRowIndex(row);
  if (source.GetReverseSubSumStat() == 1) {
    start = row + 1;
    end = recorded + 1;
  } else {
    start = recorded;
    end = row;
  }
}

void ReadColumnProp(const Kt_ExprColumnSource& source, const Kt_WString& property, kt_long row,
                    kt_long col, Kt_Variant& result) {
  const Kt_Aggregate what = kt_findaggregateW(property);
  const bool is_count = what == Kt_Aggregate::kCount;
  if (source.GetRowLevel(row) == 0) {
    if (is_count) return result.Set(kt_long{1});
    return source.ReadColumn(row, col, result);
  }
  kt_long start = 0;
  kt_long end = 0;
  GetCoveredRows(source, row, start, end);
  if (is_count) return result.Set(end - start);
  if (what != Kt_Aggregate::kNone) return source.ReadAggregate(what, col, start, end, result);
  source.ReadColumn(row, col, result);
}

}  // namespace

bool kt::detail::ReadDefaultProp(const Kt_Variant& value, Kt_Variant& result) {
  const Kt_ObjectHolder hold(value.GetHolder());
  const Kt_WString name = hold.GetDefaultProp();
  return !name.IsEmpty() && hold.GetProperty(name, nullptr, result) == kOk;
}

bool kt::detail::ClearReleased(Kt_ExprObject* owner, Kt_Variant& base) {
  if (!base.IsObject() || base.GetHolder().IsValid()) return false;
  base.Clear();
  (void)Fail(owner, kErrInvalidObject, u"InvalidObject");
  return true;
}

kt_long kt::detail::CheckCallResult(Kt_ExprObject* owner, const Kt_Variant& value) {
  if (KT_LIKELY(!value.IsObject()) || value.GetHolder().IsValid()) return kOk;
  return Fail(owner, kErrInvalidObject, u"Invalid Object");
}

kt_long kt::detail::ReadElementOf(Kt_ExprObject* owner, const Kt_WString& id,
                                  const Kt_Variant& base, kt_long index, const Kt_WString& key,
                                  Kt_Variant& result) {
  switch (base.GetTag()) {
    case kTagList:
      if (!key.IsEmpty() || index < 0) return RefuseKey(owner, id, index, key, result);
      result = Kt_Variant(base.GetList().GetItemNN(index));
      return kOk;
    case kTagObject: return ReadObjectItem(owner, id, base, index, key, result);
    case kTagString:
      if (!key.IsEmpty() || index < 0) return RefuseKey(owner, id, index, key, result);
      result.Set(base.AsString().Mid(index, 1));
      return kOk;
    default: return Fail(owner, kErrNotAllowed, id, u"[]");
  }
}

kt_long Kt_ExprStackObj::GetObjValue(Kt_ExprObject* ctx, Kt_Variant& result, int byRef) {
  if (GetKind() == EXPR_OBJ_VALUE) {
    result = GetConstValue();
    return kOk;
  }
  result.Clear();
  Kt_ExprObject* owner = GetContext();
  if (owner == nullptr) owner = ctx;
  // Nobody is called with what stopped work has left, and nothing that it leaves is used.
  if (KT_UNLIKELY(!kt::ChargeTime(IsCall(GetKind()) ? Kt_WorkMeter::kUnitsPerCall : 0))) {
    return kt::CheckRun(owner);
  }
  const kt_long code = ReadKind(owner, result, byRef);
  if (KT_LIKELY(Kt_WorkMeter::CurrentStop() == kOk)) return code;
  result.Clear();
  return kt::CheckRun(ctx);
}

kt_long Kt_ExprStackObj::ReadKind(Kt_ExprObject* owner, Kt_Variant& result, int byRef) {
  switch (GetKind()) {
    case EXPR_OBJ_NONE: return kOk;
    case EXPR_OBJ_ARGREF: result = args_.GetItemNN(0); return kOk;
    case EXPR_OBJ_INTFUNC: return ReadIntFunc(owner, result);
    case EXPR_OBJ_AUTOVAR: return Fail(owner, kErrNoVariable, GetObjID());
    default: break;
  }
  if (owner == nullptr) return kt::NoteCause(kFailed, Kt_Cause::kNoContext, {GetObjID()});
  switch (GetKind()) {
    case EXPR_OBJ_SCRIPTFUNC: return ReadScriptFunc(owner, result);
    case EXPR_OBJ_EXTAPI: return ReadExtApi(owner, result);
    case EXPR_OBJ_VAR: return ReadVariable(owner, result, byRef);
    case EXPR_OBJ_VARITEM: return ReadElement(owner, result, byRef);
    case EXPR_OBJ_COLUMN:
    case EXPR_OBJ_COLUMNPROP: return ReadColumn(owner, result);
    case EXPR_OBJ_PROPERTY: return ReadProperty(result);
    case EXPR_OBJ_METHOD: return ReadMethod(owner, result);
    case EXPR_OBJ_ITEM: return ReadItem(result);
    default: result = Kt_Variant(GetConstObject()); return kOk;
  }
}

kt_long Kt_ExprStackObj::ReadIntFunc(Kt_ExprObject* owner, Kt_Variant& result) {
  Kt_Getter function = GetConstIntFunc().handle;
  if (function == nullptr) function = Kt_ExprObject::GetIntFunc(GetConstIntFunc().name.GetText());
  if (function == nullptr) return Fail(owner, kErrBadOperation, GetObjID());
  if (owner == nullptr) return kt::NoteCause(kFailed, Kt_Cause::kNoContext, {GetObjID()});
  // The list is held: the entry may be cleared by what the function calls.
  const Kt_VariantList args(args_);
  return (owner->*function)(&args, result);
}

// A call that ran since the name was resolved may have cleared the script: what is left of the
// function is then only its address.
bool Kt_ExprStackObj::HasLiveFunc(Kt_ExprObject* owner) const {
  const Kt_ExprScriptFunc& bound = GetConstScriptFunc();
  if (bound.handle == nullptr) return false;
  for (Kt_ExprObject* scope = owner; scope != nullptr; scope = scope->GetParentCtx()) {
    Kt_Script* const script = scope->GetScript();
    if (script != nullptr && script->HasFunc(bound.name, bound.handle)) return true;
  }
  return false;
}

kt_long Kt_ExprStackObj::ReadScriptFunc(Kt_ExprObject* owner, Kt_Variant& result) {
  const Kt_VariantList args(args_);
  if (HasLiveFunc(owner)) return GetConstScriptFunc().handle->ExecFunc(&args, result);
  return owner->GetScriptFuncValue(GetObjID(), &args, result);
}

kt_long Kt_ExprStackObj::ReadExtApi(Kt_ExprObject* owner, Kt_Variant& result) {
  const Kt_VariantList args(args_);
  if (const Kt_ExtApi function = GetConstExtApi().handle) return function(owner, &args, result);
  return owner->CallMethod(Kt_WString(GetConstExtApi().name), &args, result);
}

kt_long Kt_ExprStackObj::ReadVariable(Kt_ExprObject* owner, Kt_Variant& result, int byRef) {
  Kt_Variable* variable = GetConstObjVar().handle.Get();
  if (variable == nullptr) {
    const Kt_WString id = GetObjID();
    const kt_long code =
        byRef ? owner->GetCtxVar(id, &variable, nullptr) : owner->GetCtxVar(id, nullptr, &result);
    if (code != kOk) {
      (void)Fail(owner, kErrNoVariable, id);
      if (byRef) return kErrNoVariable;
      kt::detail::ReturnFailureAs(code);
      return code;
    }
    if (!byRef) return CheckObject(owner, result);
    if (variable == nullptr) return kOk;
  }
  if (byRef) {
    result.SetRef(*variable);
    return kOk;
  }
  result = variable->GetValue();
  return CheckObject(owner, result);
}

kt_long Kt_ExprStackObj::ReadElement(Kt_ExprObject* owner, Kt_Variant& result, int byRef) {
  Kt_VariableHold variable = GetConstObjVar().handle;
  Kt_Variant copy;
  const Kt_WString id = GetObjID();
  if (variable.Get() == nullptr) {
    Kt_Variable* found = nullptr;
    if (const kt_long code = owner->GetCtxVar(id, &found, &copy)) {
      (void)Fail(owner, kErrNoVariable, id);
      kt::detail::ReturnFailureAs(code);
      return code;
    }
    variable = Kt_VariableHold(found);
  }
  if (variable.Get() != nullptr && kt::detail::ClearReleased(owner, variable.Get()->GetValueW())) {
    return kOk;
  }
  // Shared, not copied: the element is read while the list is held.
  const Kt_Variant base = variable.Get() ? variable.Get()->GetValue() : copy.Dereference();
  if (byRef == 0) return kt::detail::ReadElementOf(owner, id, base, item_index_, item_key_, result);
  if (base.IsList() && item_key_.IsEmpty() && item_index_ >= 0 && variable.Get() != nullptr) {
    return ReferToElement(owner, *variable.Get(), result);
  }
  if (base.IsObject() || base.IsString()) (void)Fail(owner, kErrNotAllowed, id, u"ref()");
  return kt::detail::ReadElementOf(owner, id, base, item_index_, item_key_, result);
}

kt_long Kt_ExprStackObj::ReferToElement(Kt_ExprObject* owner, Kt_Variable& variable,
                                        Kt_Variant& result) {
  Kt_Variant& list = variable.GetValueW();
  if (item_index_ >= list.ListCount() && !list.ListSet(item_index_, Kt_Variant::_KtNullVariant)) {
    return Fail(owner, kErrListTooLong, ElementName());
  }
  result.SetRef(variable, item_index_);
  return kOk;
}

kt_long Kt_ExprStackObj::ReadColumn(Kt_ExprObject* owner, Kt_Variant& result) {
  const Kt_ExprColumnSource* const source = GetColumnSource();
  if (source == nullptr) return kOk;
  const Kt_ExprObjColumn& column = GetConstObjColumn();
  const kt_long row = item_index_ < 0 ? source->GetCurrentRow() : item_index_;
  const kt_long col = source->FindColumn(column.name);
  if (col < 0) return Fail(owner, kErrNoColumn, GetObjID(), column.name);
  if (source->IsOriginalRowMode()) {
    source->ReadOriginal(row, col, result);
  } else if (GetKind() == EXPR_OBJ_COLUMNPROP) {
    ReadColumnProp(*source, column.property, row, col, result);
  } else {
    source->ReadColumn(row, col, result);
  }
  return kOk;
}

kt_long Kt_ExprStackObj::ReadProperty(Kt_Variant& result) {
  const Kt_ExprObjProperty property = GetConstObjProperty();  // a getter may clear this entry
  Kt_Object* const object = property.object.GetObject();
  if (object == nullptr) return kOk;
  const Kt_VariantList args(args_);
  if (property.get != nullptr) return (object->*property.get)(&args, result);
  return property.object.GetProperty(property.name, &args, result);
}

kt_long Kt_ExprStackObj::ReadMethod(Kt_ExprObject* owner, Kt_Variant& result) {
  const Kt_ExprObjMethod method = GetConstObjMethod();
  Kt_Object* const object = method.object.GetObject();
  if (object == nullptr) return kOk;
  const Kt_VariantList args(args_);
  if (method.method != nullptr) return (object->*method.method)(&args, result);
  if (method.object.CallMethod(method.name, &args, result) != kNoMember) return kOk;
  if (method.object.GetProperty(method.name, &args, result) == kOk) return kOk;
  // The object itself may be a script that has a function of that name.
  if (owner != method.object.GetObject()) return kNoMember;
  return owner->GetScriptFuncValue(method.name, &args, result) == kOk ? kOk : kNoMember;
}

kt_long Kt_ExprStackObj::ReadItem(Kt_Variant& result) {
  const Kt_ObjectHolder hold(GetConstObject());
  if (!item_key_.IsEmpty()) return hold.GetItem(Kt_WString(item_key_), result);
  if (item_index_ >= 0) return hold.GetItem(item_index_, result);
  return kOk;
}

kt_long Kt_ExprStackObj::GetStaticValue(Kt_ExprObject* ctx, Kt_Variant& result) {
  Kt_Variant value;
  (void)GetObjValue(ctx, value, 0);
  if (!value.IsObject()) {
    result = std::move(value);
  } else if (!kt::detail::ReadDefaultProp(value, result)) {
    result.Clear();
  }
  return kOk;
}
