// SPDX-License-Identifier: MIT
#include "classlib/domain/Kt_DomainElement.h"

Kt_DomainElement::~Kt_DomainElement() {
  if (life_ == nullptr) return;
  life_->element = nullptr;
  if (life_->Release()) delete life_;
}

bool Kt_DomainElement::SetID(const Kt_WString& id) { return owner_->Rename(*this, id); }

Kt_DomainElementHandle::Kt_DomainElementHandle(Kt_DomainElement* element) {
  if (element == nullptr) return;
  if (element->life_ == nullptr) {
    element->life_ = new kt::detail::DomainElementLife;
    element->life_->element = element;
  }
  life_ = element->life_;
  life_->AddRef();
}
