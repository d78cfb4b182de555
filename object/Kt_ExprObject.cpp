// SPDX-License-Identifier: MIT
#include "object/Kt_ExprObject.h"

#include "object/Kt_ExprObjInfo.h"

namespace {

Kt_ExprObject& Expr(Kt_Object& object) { return static_cast<Kt_ExprObject&>(object); }
const Kt_ExprObject& Expr(const Kt_Object& object) {
  return static_cast<const Kt_ExprObject&>(object);
}

// How the class library asks the engine's objects.
constexpr Kt_ObjectOps kOps = {
    .get_id = [](const Kt_Object& object) { return Expr(object).GetID(); },
    .get_property = [](Kt_Object& object, const Kt_WString& name, const Kt_VariantList* args,
                       Kt_Variant& result) { return Expr(object).GetProperty(name, args, result); },
    .set_property =
        [](Kt_Object& object, const Kt_WString& name, const Kt_VariantList* args,
           const Kt_Variant& value) { return Expr(object).SetProperty(name, args, value); },
    .call_method = [](Kt_Object& object, const Kt_WString& name, const Kt_VariantList* args,
                      Kt_Variant& result) { return Expr(object).CallMethod(name, args, result); },
    .get_item_count = [](Kt_Object& object) -> kt_long { return Expr(object).GetItemCount(); },
    .get_item_at = [](Kt_Object& object, kt_long index,
                      Kt_Variant& result) { return Expr(object).GetItem(index, result); },
    .get_item_by_name = [](Kt_Object& object, const Kt_WString& name,
                           Kt_Variant& result) { return Expr(object).GetItem(name, result); },
    .get_default_prop = [](const Kt_Object& object) { return Expr(object).GetDefaultProp(); },
    .conv_to_string = [](const Kt_Object& object, Kt_WString& out) -> kt_long {
      return Expr(object).ConvToString(out);
    },
    .destroy = [](Kt_Object& object) { Expr(object).DestroyObject(); },
};

}  // namespace

Kt_ExprObject::Kt_ExprObject(Kt_ExprObject* parent) : Kt_Object(parent, &kOps) {}

Kt_ExprObject::~Kt_ExprObject() = default;

void kt::StoreObject(const Kt_Object* container, Kt_ExprObject* object, Kt_Variant& result) {
  try {
    result = Kt_Variant(Kt_ObjectHolder(container, object));
  } catch (...) {
    object->DestroyObject();
    throw;
  }
  object->GiveToHolds();
}

kt_long kt::ReportResult(Kt_ExprObject* context, const Kt_Result& result, const Kt_WString& text,
                         const Kt_WString& subject) {
  detail::NoteReport(context, result, text, subject);
  if (context != nullptr && context->IsSystemLogMode() != 0) context->OnRunTimeError(result);
  return result.GetCode();
}

// Only this class gives its objects these operations.
Kt_ExprObject* Kt_ExprObject::From(Kt_Object* object) {
  const bool is_ours = object != nullptr && object->GetOps() == &kOps;
  return is_ours ? static_cast<Kt_ExprObject*>(object) : nullptr;
}

Kt_ExprObject* Kt_ExprObject::GetSelfContainer() {
  Kt_ExprObject* const own = From(GetContainer());
  return own ? own : this;
}

// What an object without members of its own answers.

void Kt_ExprObject::DestroyObject() {}
Kt_WString Kt_ExprObject::GetID() const { return {}; }

kt_long Kt_ExprObject::GetProperty(const Kt_WString&, const Kt_VariantList*, Kt_Variant&) {
  return kNoMember;
}
kt_long Kt_ExprObject::SetProperty(const Kt_WString&, const Kt_VariantList*, const Kt_Variant&) {
  return kNoMember;
}
kt_long Kt_ExprObject::CallMethod(const Kt_WString&, const Kt_VariantList*, Kt_Variant&) {
  return kNoMember;
}
int Kt_ExprObject::GetPropertyInfo(const Kt_WString&, int&, Kt_Getter&, Kt_Setter&) { return 0; }
int Kt_ExprObject::GetMethodInfo(const Kt_WString&, Kt_Getter&) { return 0; }
kt_long Kt_ExprObject::AddCtxVar(const Kt_WString&, const Kt_Variant&) { return kOk; }
kt_long Kt_ExprObject::GetCtxVar(const Kt_WString&, Kt_Variable**, Kt_Variant*) {
  return kUnknownName;
}
kt_long Kt_ExprObject::SetCtxVar(const Kt_WString&, const Kt_Variant&, int) { return kUnknownName; }
int Kt_ExprObject::IsValidComponent(Kt_Object* object) const { return object == this ? 1 : 0; }
Kt_Object* Kt_ExprObject::GetComponent(const Kt_WString&) { return nullptr; }
const char16_t* Kt_ExprObject::GetDefaultProp() const { return nullptr; }
int Kt_ExprObject::GetItemCount() const { return 0; }
kt_long Kt_ExprObject::GetItem(int, Kt_Variant&) { return kFailed; }
kt_long Kt_ExprObject::GetItem(const Kt_WString&, Kt_Variant&) { return kFailed; }
int Kt_ExprObject::ConvToString(Kt_WString&) const { return 0; }
int Kt_ExprObject::ConvToStream(Kt_Buffer&) const { return 0; }
Kt_ExprObject* Kt_ExprObject::GetChildContext(const Kt_WString&) { return nullptr; }
Kt_Script* Kt_ExprObject::GetScript() { return nullptr; }
std::uint64_t Kt_ExprObject::GetNameVersion() { return 0; }

// What is passed to the parent.

int Kt_ExprObject::GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->GetVarType(name, info) : EXPR_OBJ_UNKNOWN;
}
int Kt_ExprObject::GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->GetMethodType(name, info) : EXPR_OBJ_UNKNOWN;
}
Kt_ExprDataset* Kt_ExprObject::GetDefaultDataset() {
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->GetDefaultDataset() : nullptr;
}
Kt_ExprDataset* Kt_ExprObject::GetChildDataset(const Kt_WString& name) {
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->GetChildDataset(name) : nullptr;
}
void Kt_ExprObject::AddVariableListChain(Kt_VariableListChain& chain) {
  if (Kt_ExprObject* const parent = GetParentCtx()) parent->AddVariableListChain(chain);
}
kt_long Kt_ExprObject::GetScriptFuncValue(const Kt_WString& name, const Kt_VariantList* args,
                                          Kt_Variant& result) {
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->GetScriptFuncValue(name, args, result) : kFailed;
}
int Kt_ExprObject::IsSystemLogMode() {
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->IsSystemLogMode() : 0;
}
int Kt_ExprObject::IsDebugTraceMode() {
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->IsDebugTraceMode() : 0;
}
void Kt_ExprObject::OnSystemError(const Kt_Result& result) {
  if (Kt_ExprObject* const parent = GetParentCtx()) parent->OnSystemError(result);
}
void Kt_ExprObject::OnRunTimeError(const Kt_Result& result) {
  if (Kt_ExprObject* const parent = GetParentCtx()) parent->OnRunTimeError(result);
}
void Kt_ExprObject::OnDebugTrace(const Kt_WString& text) {
  if (Kt_ExprObject* const parent = GetParentCtx()) parent->OnDebugTrace(text);
}
