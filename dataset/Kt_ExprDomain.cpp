// SPDX-License-Identifier: MIT
#include "dataset/Kt_ExprDomain.h"

#include "classlib/xml/Kt_XmlDOM.h"

// The base keeps the address of the list only, so it may come before the list is made.
Kt_ExprDomain::Kt_ExprDomain(Kt_ExprObject* parent) : Kt_ExprDomainObject(parent, &elements_) {}

kt_long Kt_ExprDomain::LoadXMLData(const Kt_WString& id, const Kt_XmlDOM& dom) {
  Kt_WStrList messages;
  const kt_long count = elements_.Load(dom, &messages);
  if (count < 0) return count;
  source_id_ = id;
  messages_ = messages;
  return count;
}

kt_long Kt_ExprDomain::AppendXMLData(const Kt_WString& /*id*/, const Kt_XmlDOM& /*dom*/) {
  return elements_.GetCount();
}
