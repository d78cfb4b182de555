// SPDX-License-Identifier: MIT
#include "dataset/Kt_ExprDomainObject.h"

#include "classlib/base/Kt_Codes.h"
#include "object/Kt_FuncArgs.h"

namespace {

constexpr const char16_t* kSource = u"kt_exprdomain";

using Element = Kt_DomainElement;

// The attributes: all that differs between them. A null setter: read-only.
struct AttributeRow {
  const char16_t* name;
  bool by_method_only;  // no property of that name can be set
  Kt_Variant (*get)(const Element& element);
  bool (*set)(Element& element, const Kt_Variant& value);
};

Kt_Variant GetText(const Element& element) { return element.GetText(); }
bool SetText(Element& element, const Kt_Variant& value) {
  element.SetText(value.ToString());
  return true;
}

// clang-format off
constexpr AttributeRow kAttributes[] = {
    {u"id", true,
     [](const Element& element) { return Kt_Variant(element.GetID()); },
     [](Element& element, const Kt_Variant& value) { return element.SetID(value.ToString()); }},
    {u"text", false, GetText, SetText},
    {u"label", false, GetText, SetText},
    {u"format", false,
     [](const Element& element) { return Kt_Variant(element.GetFormat()); },
     [](Element& element, const Kt_Variant& value) {
       element.SetFormat(value.ToString());
       return true;
     }},
    {u"visible", false,
     [](const Element& element) { return Kt_Variant(kt_long{element.GetVisible()}); },
     [](Element& element, const Kt_Variant& value) {
       element.SetVisible(value.ToInteger());
       return true;
     }},
    {u"enable", false,
     [](const Element& element) { return Kt_Variant(kt_long{element.GetEnable()}); },
     [](Element& element, const Kt_Variant& value) {
       element.SetEnable(value.ToInteger());
       return true;
     }},
    {u"type", false,
     [](const Element& element) { return Kt_Variant(Kt_WString(element.GetTypeStr())); },
     [](Element& element, const Kt_Variant& value) {
       return element.SetTypeStr(value.ToString());
     }},
    {u"limit", false,
     [](const Element& element) { return Kt_Variant(kt_long{element.GetLimit()}); },
     [](Element& element, const Kt_Variant& value) {
       return element.SetLimit(value.ToInteger());
     }},
    {u"decimal", false,
     [](const Element& element) { return Kt_Variant(kt_long{element.GetDecimal()}); },
     [](Element& element, const Kt_Variant& value) {
       return element.SetDecimal(value.ToInteger());
     }},
};
// clang-format on

constexpr const char16_t* kCount = u"count";

const AttributeRow* FindAttribute(std::u16string_view name) {
  for (const AttributeRow& row : kAttributes) {
    if (kt_stricmpW(name, row.name) == 0) return &row;
  }
  return nullptr;
}

bool StartsWith(const Kt_WString& name, const char16_t* prefix) {
  return kt_strnicmpW(name.GetText(), prefix, 3) == 0;
}

}  // namespace

Kt_ExprDomainObject::Kt_ExprDomainObject(Kt_ExprObject* parent, Kt_DomainElement* element)
    : Kt_ExprObject(parent), element_(element) {}

Kt_ExprDomainObject::Kt_ExprDomainObject(Kt_ExprObject* parent, Kt_DomainElemList* list)
    : Kt_ExprObject(parent), root_list_(list) {}

Kt_DomainElemList* Kt_ExprDomainObject::Children() const {
  if (IsRoot()) return root_list_;
  Kt_DomainElement* const element = element_.Get();
  return element ? &element->GetChildren() : nullptr;
}

Kt_WString Kt_ExprDomainObject::GetID() const {
  if (IsRoot()) return u"domain";
  const Kt_DomainElement* const element = element_.Get();
  return element ? element->GetID() : Kt_WString();
}

const char16_t* Kt_ExprDomainObject::GetDefaultProp() const { return u"text"; }

int Kt_ExprDomainObject::ConvToString(Kt_WString& out) const {
  const Kt_DomainElement* const element = element_.Get();
  out = IsRoot() ? Kt_WString(u"[domain]") : element ? element->GetText() : Kt_WString();
  return 1;
}

int Kt_ExprDomainObject::GetItemCount() const {
  const Kt_DomainElemList* const children = Children();
  return children ? children->GetCount() : 0;
}

kt_long Kt_ExprDomainObject::StoreChild(Kt_DomainElement* child, Kt_Variant& result) const {
  if (child == nullptr) return kOk;
  Kt_ExprObject* const context = GetParentCtx();
  kt::StoreObject(context, new Kt_ExprDomainObject(context, child), result);
  return kOk;
}

kt_long Kt_ExprDomainObject::GetItem(int index, Kt_Variant& result) {
  const Kt_DomainElemList* const children = Children();
  return StoreChild(children ? children->GetItem(index) : nullptr, result);
}

kt_long Kt_ExprDomainObject::GetItem(const Kt_WString& id, Kt_Variant& result) {
  const Kt_DomainElemList* const children = Children();
  return StoreChild(children ? children->FindItem(id) : nullptr, result);
}

kt_long Kt_ExprDomainObject::GetAttribute(std::u16string_view name, Kt_Variant& result) const {
  const bool is_count = kt_stricmpW(name, kCount) == 0;
  const AttributeRow* const row = is_count ? nullptr : FindAttribute(name);
  if (!is_count && row == nullptr) return kFailed;
  if (is_count && Children() != nullptr) {
    result = kt_long{GetItemCount()};
    return kOk;
  }
  if (IsRoot()) {
    result.Clear();
    return kOk;
  }
  const Kt_DomainElement* const element = element_.Get();
  if (element == nullptr) return kFailed;
  result = row->get(*element);
  return kOk;
}

kt_long Kt_ExprDomainObject::SetAttribute(std::u16string_view name, const Kt_Variant& value,
                                          bool by_method) {
  const AttributeRow* const row = FindAttribute(name);
  if (row == nullptr || (row->by_method_only && !by_method)) return kFailed;
  // The text of an object is its own affair, and may be a call that ends this element.
  const Kt_Variant plain = value.IsObject() ? Kt_Variant(value.ToString()) : value.Dereference();
  Kt_DomainElement* const element = element_.Get();
  return element != nullptr && row->set(*element, plain) ? kOk : kFailed;
}

kt_long Kt_ExprDomainObject::GetProperty(const Kt_WString& name, const Kt_VariantList* /*args*/,
                                         Kt_Variant& result) {
  const Kt_DomainElemList* const children = Children();
  Kt_DomainElement* const child = children ? children->FindItem(name) : nullptr;
  return child ? StoreChild(child, result) : GetAttribute(name, result);
}

kt_long Kt_ExprDomainObject::SetProperty(const Kt_WString& name, const Kt_VariantList* /*args*/,
                                         const Kt_Variant& value) {
  return SetAttribute(name, value, false);
}

kt_long Kt_ExprDomainObject::CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                                        Kt_Variant& result) {
  const kt::Kt_FuncArgs in(args);
  const bool is_child = name.EqualsNoCase(u"GetChild");
  const bool is_set = StartsWith(name, u"Set");
  if (!is_child && !is_set && !StartsWith(name, u"Get")) return kFailed;
  const std::u16string_view attribute = name.View().substr(3);
  if (!is_child && !is_set) return GetAttribute(attribute, result);
  if (is_set && FindAttribute(attribute) == nullptr) return kFailed;
  if (!in.Has(0)) return kt::Report(GetParentCtx(), kSource, kErrBadArgument, name + u"()");
  if (is_set) return SetAttribute(attribute, in.Value(0), true);
  const bool by_index = in.Value(0).IsLong() || in.Value(0).IsDouble();
  return by_index ? GetItem(in.Integer(0), result) : GetItem(in.Text(0), result);
}
