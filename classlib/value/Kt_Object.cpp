// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_Object.h"

#include "classlib/base/Kt_Codes.h"
#include "classlib/value/Kt_Variant.h"

namespace {

// An owned object has no reference to its life record, so the last one is that of the last hold.
void DropLife(Kt_ObjectLife* life) {
  if (life == nullptr || !life->Release()) return;
  if (life->owned && life->object != nullptr) {
    Kt_Object& object = *life->object;
    object.GetOps()->destroy(object);  // ends the life: the record's object is null after this
  }
  delete life;
}

// The object to ask, null when it has gone or its layer answers no questions.
Kt_Object* Asked(const Kt_ObjectLife* life) {
  Kt_Object* const object = life ? life->object : nullptr;
  return object && object->GetOps() ? object : nullptr;
}

}  // namespace

bool Kt_Object::IsParent(const Kt_Object* object) const {
  // Containers and parents are set by hosts, so a ring is possible: the walk is bounded.
  for (int step = 0; object != nullptr && step < 1000; ++step) {
    if (object == this) return true;
    const Kt_Object* const container = object->container_;
    object = container != nullptr && container != object ? container : object->parent_;
  }
  return false;
}

Kt_ObjectLife* Kt_Object::HoldLife() const {
  if (life_ == nullptr) {
    life_ = new Kt_ObjectLife;
    life_->object = const_cast<Kt_Object*>(this);
  }
  life_->AddRef();
  return life_;
}

void Kt_Object::GiveToHolds() {
  life_->owned = true;
  DropLife(life_);
}

void Kt_Object::EndLife() {
  life_->object = nullptr;
  if (!life_->owned) DropLife(life_);
}

Kt_ObjectHolder::Kt_ObjectHolder(const Kt_ObjectHolder& other)
    : container_(other.container_), object_(other.object_) {
  if (container_) container_->AddRef();
  if (object_) object_->AddRef();
}

Kt_ObjectHolder& Kt_ObjectHolder::operator=(const Kt_ObjectHolder& other) {
  Kt_ObjectHolder copy(other);
  std::swap(container_, copy.container_);
  std::swap(object_, copy.object_);
  return *this;
}

bool Kt_ObjectHolder::IsValid() const {
  return GetObject() != nullptr && (container_ == nullptr || container_->object != nullptr);
}

void Kt_ObjectHolder::Set(const Kt_Object* container, const Kt_Object* object) {
  Kt_ObjectLife* const new_container = container ? container->HoldLife() : nullptr;
  Kt_ObjectLife* const new_object = object ? object->HoldLife() : nullptr;
  Clear();
  container_ = new_container;
  object_ = new_object;
}

void Kt_ObjectHolder::Clear() {
  DropLife(std::exchange(container_, nullptr));
  DropLife(std::exchange(object_, nullptr));
}

Kt_WString Kt_ObjectHolder::GetID() const {
  const Kt_Object* const object = Asked(object_);
  return object ? object->GetOps()->get_id(*object) : Kt_WString();
}

kt_long Kt_ObjectHolder::GetItemCount() const {
  Kt_Object* const object = Asked(object_);
  return object ? object->GetOps()->get_item_count(*object) : 0;
}

kt_long Kt_ObjectHolder::GetItem(kt_long index, Kt_Variant& result) const {
  Kt_Object* const object = Asked(object_);
  return object ? object->GetOps()->get_item_at(*object, index, result) : kFailed;
}

kt_long Kt_ObjectHolder::GetItem(const Kt_WString& name, Kt_Variant& result) const {
  Kt_Object* const object = Asked(object_);
  return object ? object->GetOps()->get_item_by_name(*object, name, result) : kFailed;
}

kt_long Kt_ObjectHolder::GetProperty(const Kt_WString& name, const Kt_VariantList* args,
                                     Kt_Variant& result) const {
  Kt_Object* const object = Asked(object_);
  return object ? object->GetOps()->get_property(*object, name, args, result) : kNoMember;
}

kt_long Kt_ObjectHolder::SetProperty(const Kt_WString& name, const Kt_VariantList* args,
                                     const Kt_Variant& value) const {
  Kt_Object* const object = Asked(object_);
  return object ? object->GetOps()->set_property(*object, name, args, value) : kNoMember;
}

kt_long Kt_ObjectHolder::CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                                    Kt_Variant& result) const {
  Kt_Object* const object = Asked(object_);
  return object ? object->GetOps()->call_method(*object, name, args, result) : kNoMember;
}

Kt_WString Kt_ObjectHolder::GetDefaultProp() const {
  const Kt_Object* const object = Asked(object_);
  const auto ask = object ? object->GetOps()->get_default_prop : nullptr;
  return ask ? Kt_WString(ask(*object)) : Kt_WString();
}
