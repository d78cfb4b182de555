// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "classlib/text/Kt_WString.h"
#include "classlib/text/detail/Kt_TextHash.h"

class Kt_DomainElement;
class Kt_WStrList;
class Kt_XmlDOM;
class Kt_XmlElement;

// The elements of a domain, or of one of its elements, in order and by id. Ids compare without
// regard to case; of several elements with one id the first is found. docs/domains.md has the XML.
//
// Owns its elements, which keep their address while they are in the list.
// Threads: const members may run in parallel; a change needs sole access.
class KT_CLASS_API Kt_DomainElemList {
 public:
  // Lists inside one another: as many as fit below the root element of a document.
  static constexpr kt_long kMaxDepth = 255;

  Kt_DomainElemList() = default;
  Kt_DomainElemList(const Kt_DomainElemList&) = delete;
  Kt_DomainElemList& operator=(const Kt_DomainElemList&) = delete;
  ~Kt_DomainElemList();

  kt_long GetCount() const { return static_cast<kt_long>(items_.size()); }
  // Null outside / when no element has that id. Finding by id takes the same time in any list.
  Kt_DomainElement* GetItem(kt_long index) const;
  Kt_DomainElement* FindItem(std::u16string_view id) const;

  // A new last element without other attributes; null when the lists are too deep or memory ran
  // out. The id may be empty or known; see above.
  Kt_DomainElement* Add(const Kt_WString& id);
  void Clear();

  // Replaces the elements by those of a document and returns how many there are at the top; -1,
  // and nothing changed, without memory. A document without a root element has none. What is no
  // element of a domain is skipped; values that cannot be read are left at what they are without
  // the attribute. `messages` (may be null) gets a line for each of the two.
  kt_long Load(const Kt_XmlDOM& dom, Kt_WStrList* messages = nullptr);
  // Replaces the document by one that Load reads back equal. False, and no document, without
  // memory.
  bool Save(Kt_XmlDOM& dom) const;

 private:
  friend class Kt_DomainElement;

  void Swap(Kt_DomainElemList& other) noexcept;
  bool Read(const Kt_XmlElement& from, Kt_WStrList* messages);
  bool Write(Kt_XmlElement& to) const;
  bool Rename(Kt_DomainElement& element, const Kt_WString& id);
  void FindNames();

  std::vector<std::unique_ptr<Kt_DomainElement>> items_;
  // The index of the first element of each id, by the case-folded id.
  std::unordered_map<std::u16string, kt_long, kt::detail::TextHasher> names_;
  bool has_same_ids_ = false;
  kt_long depth_ = 1;
};
