// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/domain/Kt_DomainElemList.h"
#include "classlib/text/Kt_WStrList.h"
#include "dataset/Kt_ExprDomainObject.h"

class Kt_XmlDOM;

// A domain: the root of a tree of elements that the host loads and expressions read and change.
//
//   Kt_ExprDomain status(&host);
//   Kt_XmlDOM dom;
//   Kt_XmlError error;
//   if (dom.LoadUtf8(bytes, error)) status.LoadXMLData(u"status", dom);
//
// The host's context names it: GetVarType answers with SetComponent(&status). docs/domains.md shows
// the whole of it.
//
// Owns its elements. References to elements that values hold notice when these have gone.
// Threads: one thread.
class KT_SCRIPT_API Kt_ExprDomain : public Kt_ExprDomainObject {
 public:
  explicit Kt_ExprDomain(Kt_ExprObject* parent);

  // Replaces the elements by those of a document and keeps the id it came from. The number of
  // elements at the top; -1, and nothing changed, without memory.
  kt_long LoadXMLData(const Kt_WString& id, const Kt_XmlDOM& dom);
  // Only the number of elements at the top: a domain comes from one document.
  kt_long AppendXMLData(const Kt_WString& id, const Kt_XmlDOM& dom);

  const Kt_WString& GetSourceId() const { return source_id_; }
  // What the last load skipped or could not read, a line each.
  const Kt_WStrList& GetLoadMessages() const { return messages_; }
  Kt_DomainElemList& GetElements() { return elements_; }
  const Kt_DomainElemList& GetElements() const { return elements_; }

 private:
  Kt_DomainElemList elements_;
  Kt_WString source_id_;
  Kt_WStrList messages_;
};
