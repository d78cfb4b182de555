// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Counted.h"
#include "classlib/text/Kt_WString.h"

class Kt_Object;
class Kt_Variant;
class Kt_VariantList;

// How the class library asks objects of the layer above: one static table per layer, given to
// Kt_Object when it is built. Every entry takes the object first; codes as in Kt_Codes.h.
struct Kt_ObjectOps {
  Kt_WString (*get_id)(const Kt_Object& object);
  kt_long (*get_property)(Kt_Object& object, const Kt_WString& name, const Kt_VariantList* args,
                          Kt_Variant& result);
  kt_long (*set_property)(Kt_Object& object, const Kt_WString& name, const Kt_VariantList* args,
                          const Kt_Variant& value);
  kt_long (*call_method)(Kt_Object& object, const Kt_WString& name, const Kt_VariantList* args,
                         Kt_Variant& result);
  kt_long (*get_item_count)(Kt_Object& object);
  kt_long (*get_item_at)(Kt_Object& object, kt_long index, Kt_Variant& result);
  kt_long (*get_item_by_name)(Kt_Object& object, const Kt_WString& name, Kt_Variant& result);
  const char16_t* (*get_default_prop)(const Kt_Object& object);         // null: none
  kt_long (*conv_to_string)(const Kt_Object& object, Kt_WString& out);  // 0: no text form
  void (*destroy)(Kt_Object& object);  // the last hold on an owned object has gone
};

// Tells holders whether an object still lives. Made when the first hold is taken.
struct Kt_ObjectLife : Kt_Counted {
  Kt_Object* object = nullptr;  // null once the object was destroyed
  bool owned = false;           // the last hold destroys the object
};

// Base of everything that a value can refer to. Keeps a parent, which is the next context of the
// chain, and a container, the object that it belongs to (itself for a composite).
//
// Never owns parent or container; both must outlive it. Nothing deletes through this class.
// Threads: an object belongs to one thread.
class KT_CLASS_API Kt_Object {
 public:
  // Numbers 0 and 1 of the object interface. GetInnerObject gives the host's own thing behind the
  // object, null when there is none.
  virtual int GetObjType() const { return 0; }
  virtual void* GetInnerObject() const { return nullptr; }

  Kt_Object* GetParent() const { return parent_; }
  Kt_Object* GetContainer() const { return container_; }
  void SetContainer(Kt_Object* container) { container_ = container; }
  // True when this object is `object` or an ancestor of it by container and parent.
  bool IsParent(const Kt_Object* object) const;
  const Kt_ObjectOps* GetOps() const { return ops_; }

  // A counted reference to the life record; the caller releases it.
  Kt_ObjectLife* HoldLife() const;
  // From now on the object belongs to its holds: the last one to go destroys it. REQUIRES: there is
  // a hold, and the layer's operations can destroy.
  void GiveToHolds();

 protected:
  explicit Kt_Object(Kt_Object* parent, const Kt_ObjectOps* ops = nullptr)
      : parent_(parent), ops_(ops) {}
  // A copy is another object: it has its own life, and shares parent, container and operations.
  Kt_Object(const Kt_Object& other)
      : parent_(other.parent_), container_(other.container_), ops_(other.ops_) {}
  Kt_Object& operator=(const Kt_Object& other) {
    parent_ = other.parent_;
    container_ = other.container_;
    return *this;
  }
  ~Kt_Object() {
    if (life_ != nullptr) EndLife();
  }

  void SetParent(Kt_Object* parent) { parent_ = parent; }

 private:
  void EndLife();

  Kt_Object* parent_ = nullptr;
  Kt_Object* container_ = nullptr;
  const Kt_ObjectOps* ops_ = nullptr;
  mutable Kt_ObjectLife* life_ = nullptr;
};

// A hold on an object and its container that knows when either has gone. It keeps neither alive,
// because the host owns its objects; except for objects that were given to their holds. Copies
// share the life records.
//
// The members that ask the object answer as an object without members does (empty, 0, -1, -2) once
// it has gone. Threads: as the object.
class KT_CLASS_API Kt_ObjectHolder {
 public:
  Kt_ObjectHolder() = default;
  Kt_ObjectHolder(const Kt_Object* container, const Kt_Object* object) { Set(container, object); }
  Kt_ObjectHolder(const Kt_ObjectHolder& other);
  Kt_ObjectHolder(Kt_ObjectHolder&& other) noexcept
      : container_(std::exchange(other.container_, nullptr)),
        object_(std::exchange(other.object_, nullptr)) {}
  Kt_ObjectHolder& operator=(const Kt_ObjectHolder& other);
  ~Kt_ObjectHolder() { Clear(); }

  // The object still lives, and so does the container if there is one.
  bool IsValid() const;
  bool IsEmpty() const { return object_ == nullptr; }
  // The held container / object; null when it has gone or none is held.
  Kt_Object* GetContainer() const { return container_ ? container_->object : nullptr; }
  Kt_Object* GetObject() const { return object_ ? object_->object : nullptr; }
  bool HasContainer() const { return container_ != nullptr; }
  bool IsSameObject(const Kt_ObjectHolder& other) const { return object_ == other.object_; }

  Kt_WString GetID() const;
  kt_long GetItemCount() const;
  kt_long GetItem(kt_long index, Kt_Variant& result) const;
  kt_long GetItem(const Kt_WString& name, Kt_Variant& result) const;
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList* args, Kt_Variant& result) const;
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      const Kt_Variant& value) const;
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args, Kt_Variant& result) const;
  // The name of the default property, empty when there is none.
  Kt_WString GetDefaultProp() const;

  void Set(const Kt_Object* container, const Kt_Object* object);
  void Clear();

 private:
  Kt_ObjectLife* container_ = nullptr;
  Kt_ObjectLife* object_ = nullptr;
};
