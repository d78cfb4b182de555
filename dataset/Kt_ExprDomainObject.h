// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/domain/Kt_DomainElement.h"
#include "object/Kt_ExprObject.h"

// What expressions see of an element of a domain: a reference that reads and changes it.
//
//   status.open.text            status["open"].limit = 5
//   status[0].id                status.GetChild("text").GetText()
//
// A child's id comes before the names of attributes; the Get and Set methods always mean the
// attributes. Ids and names compare without regard to case.
//
// Codes: 0 done. -1 an unknown name, a value that the element refuses (a type that is none, a
// negative limit or decimal, an id that is empty or another element's), every change of the root.
// kErrBadArgument, also reported, a Set method or GetChild without argument.
//
// Owned by the values that hold it; values stay valid while the parent context lives. Notices when
// the element has gone, with its domain or because that was loaded again: it then has no id, no
// text and no children, and properties give -1. Threads: those of the domain.
class KT_SCRIPT_API Kt_ExprDomainObject : public Kt_ExprObject {
 public:
  Kt_ExprDomainObject(Kt_ExprObject* parent, Kt_DomainElement* element);
  Kt_ExprDomainObject(const Kt_ExprDomainObject&) = delete;
  Kt_ExprDomainObject& operator=(const Kt_ExprDomainObject&) = delete;

  void DestroyObject() override { delete this; }
  Kt_WString GetID() const override;
  // A child as a new reference, or the value of an attribute: text for id, text, label, format and
  // type, a long for visible, enable, limit, decimal and count. Those of the root are empty, except
  // count.
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      Kt_Variant& result) override;
  // Any attribute but id and count.
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      const Kt_Variant& value) override;
  // Get and Set with the name of an attribute; there is no SetCount. GetChild takes an index or an
  // id, and gives nothing when there is no such child.
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                     Kt_Variant& result) override;
  const char16_t* GetDefaultProp() const override;
  int GetItemCount() const override;
  // Nothing when there is no such child; 0 in every case.
  kt_long GetItem(int index, Kt_Variant& result) override;
  kt_long GetItem(const Kt_WString& id, Kt_Variant& result) override;
  int ConvToString(Kt_WString& out) const override;

  ~Kt_ExprDomainObject() override = default;

 protected:
  // The root over a list, which must outlive it.
  Kt_ExprDomainObject(Kt_ExprObject* parent, Kt_DomainElemList* list);

 private:
  bool IsRoot() const { return root_list_ != nullptr; }
  Kt_DomainElemList* Children() const;  // null when the element has gone
  kt_long StoreChild(Kt_DomainElement* child, Kt_Variant& result) const;
  kt_long GetAttribute(std::u16string_view name, Kt_Variant& result) const;
  kt_long SetAttribute(std::u16string_view name, const Kt_Variant& value, bool by_method);

  Kt_DomainElementHandle element_;  // of the root: none
  Kt_DomainElemList* root_list_ = nullptr;
};
