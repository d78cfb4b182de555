// SPDX-License-Identifier: MIT
#include "classlib/domain/Kt_DomainElemList.h"

#include <exception>

#include "classlib/base/Kt_Memory.h"
#include "classlib/domain/Kt_DomainElement.h"
#include "classlib/text/Kt_Number.h"
#include "classlib/text/Kt_WStrList.h"
#include "classlib/xml/Kt_XmlDOM.h"

namespace {

constexpr const char16_t* kRootName = u"domain";
constexpr const char16_t* kElementName = u"element";

std::u16string Folded(std::u16string_view id) {
  std::u16string folded(id);
  for (char16_t& unit : folded) unit = kt_foldcaseW(unit);
  return folded;
}

void Note(Kt_WStrList* messages, const Kt_WString& id, std::u16string_view what,
          const Kt_WString& value) {
  if (messages == nullptr) return;
  messages->Add(Kt_WString(u"element '") + id + u"': " + what + u" '" + value + u"'");
}

// The attributes as rows, so that reading and writing cannot differ.
struct TextRow {
  const char16_t* name;
  const Kt_WString& (Kt_DomainElement::*get)() const;
  void (Kt_DomainElement::*set)(const Kt_WString&);
};
constexpr TextRow kTexts[] = {
    {u"text", &Kt_DomainElement::GetText, &Kt_DomainElement::SetText},
    {u"format", &Kt_DomainElement::GetFormat, &Kt_DomainElement::SetFormat},
};

// Numbers are written when they are not what they are without the attribute.
struct NumberRow {
  const char16_t* name;
  int absent;
  int (Kt_DomainElement::*get)() const;
  bool (*set)(Kt_DomainElement& element, int value);
};
constexpr NumberRow kNumbers[] = {
    {u"visible", 1, &Kt_DomainElement::GetVisible,
     [](Kt_DomainElement& element, int value) {
       element.SetVisible(value);
       return true;
     }},
    {u"enable", 1, &Kt_DomainElement::GetEnable,
     [](Kt_DomainElement& element, int value) {
       element.SetEnable(value);
       return true;
     }},
    {u"limit", 0, &Kt_DomainElement::GetLimit,
     [](Kt_DomainElement& element, int value) { return element.SetLimit(value); }},
    {u"decimal", 0, &Kt_DomainElement::GetDecimal,
     [](Kt_DomainElement& element, int value) { return element.SetDecimal(value); }},
};

bool ReadNumber(const Kt_WString& text, int& value) {
  double number = 0.0;
  if (!kt_readnumberW(text, number)) return false;
  value = Kt_Variant(number).ToInteger();
  return value == number;
}

void ReadAttributes(const Kt_XmlElement& from, Kt_DomainElement& element, Kt_WStrList* messages) {
  for (const TextRow& row : kTexts) (element.*row.set)(from.GetAttribute(row.name));
  const Kt_WString* const label = from.FindAttribute(u"label");
  if (label != nullptr && from.FindAttribute(u"text") == nullptr) element.SetText(*label);
  const Kt_WString* const type = from.FindAttribute(u"type");
  if (type != nullptr && !element.SetTypeStr(*type)) {
    Note(messages, element.GetID(), u"unknown type", *type);
  }
  for (const NumberRow& row : kNumbers) {
    const Kt_WString* const text = from.FindAttribute(row.name);
    int value = 0;
    if (text == nullptr || (ReadNumber(*text, value) && row.set(element, value))) continue;
    Note(messages, element.GetID(), Kt_WString(u"bad ") + row.name, *text);
  }
}

bool WriteAttributes(const Kt_DomainElement& element, Kt_XmlElement& to) {
  bool written = to.SetAttribute(u"id", element.GetID());
  for (const TextRow& row : kTexts) {
    const Kt_WString& text = (element.*row.get)();
    if (!text.IsEmpty()) written = to.SetAttribute(row.name, text) && written;
  }
  if (element.GetType() != Kt_ColumnType::kString) {
    written = to.SetAttribute(u"type", Kt_WString(element.GetTypeStr())) && written;
  }
  for (const NumberRow& row : kNumbers) {
    const int value = (element.*row.get)();
    if (value != row.absent) written = to.SetAttribute(row.name, kt_longtextW(value)) && written;
  }
  return written;
}

}  // namespace

Kt_DomainElemList::~Kt_DomainElemList() = default;

Kt_DomainElement* Kt_DomainElemList::GetItem(kt_long index) const {
  if (index < 0 || index >= GetCount()) return nullptr;
  return items_[static_cast<std::size_t>(index)].get();
}

Kt_DomainElement* Kt_DomainElemList::FindItem(std::u16string_view id) const try {
  const auto found = names_.find(Folded(id));
  return found == names_.end() ? nullptr : GetItem(found->second);
} catch (const std::exception&) {
  (void)kt::NoteMemoryFailure();
  return nullptr;
}

Kt_DomainElement* Kt_DomainElemList::Add(const Kt_WString& id) try {
  if (depth_ > kMaxDepth || GetCount() == kMaxListItems) return nullptr;
  std::u16string name = Folded(id);
  std::unique_ptr<Kt_DomainElement> element(new Kt_DomainElement(*this, GetCount(), id));
  element->children_.depth_ = depth_ + 1;
  items_.reserve(items_.size() + 1 > items_.capacity() ? items_.size() * 2 + 4 : 0);
  // Elements without an id are reached by index.
  if (!id.IsEmpty() && !names_.try_emplace(std::move(name), GetCount()).second) {
    has_same_ids_ = true;
  }
  items_.push_back(std::move(element));
  return items_.back().get();
} catch (const std::exception&) {
  (void)kt::NoteMemoryFailure();
  return nullptr;
}

void Kt_DomainElemList::Clear() {
  items_.clear();
  names_.clear();
  has_same_ids_ = false;
}

void Kt_DomainElemList::Swap(Kt_DomainElemList& other) noexcept {
  items_.swap(other.items_);
  names_.swap(other.names_);
  std::swap(has_same_ids_, other.has_same_ids_);
  for (const auto& item : items_) item->owner_ = this;
  for (const auto& item : other.items_) item->owner_ = &other;
}

void Kt_DomainElemList::FindNames() {
  names_.clear();
  has_same_ids_ = false;
  for (const auto& item : items_) {
    if (item->id_.IsEmpty()) continue;
    if (!names_.try_emplace(Folded(item->id_), item->index_).second) has_same_ids_ = true;
  }
}

bool Kt_DomainElemList::Rename(Kt_DomainElement& element, const Kt_WString& id) try {
  if (id.IsEmpty()) return false;
  std::u16string name = Folded(id);
  const auto [place, is_new] = names_.try_emplace(name, element.index_);
  if (!is_new && place->second != element.index_) return false;
  const std::u16string old = Folded(element.id_);
  element.id_ = id;
  if (old == name) return true;
  if (has_same_ids_) {
    FindNames();  // another element may be the first of the old id now
  } else {
    names_.erase(old);
  }
  return true;
} catch (const std::exception&) {
  (void)kt::NoteMemoryFailure();
  return false;
}

kt_long Kt_DomainElemList::Load(const Kt_XmlDOM& dom, Kt_WStrList* messages) try {
  Kt_DomainElemList loaded;
  loaded.depth_ = depth_;
  if (dom.GetRoot() != nullptr && !loaded.Read(*dom.GetRoot(), messages)) return -1;
  Swap(loaded);
  return GetCount();
} catch (const std::exception&) {
  return kt::NoteMemoryFailure();
}

bool Kt_DomainElemList::Read(const Kt_XmlElement& from, Kt_WStrList* messages) {
  for (kt_long at = 0; at < from.GetNodeCount(); ++at) {
    const Kt_XmlElement* const node = from.GetNodeElement(at);
    if (node == nullptr) continue;
    if (node->GetName() != kElementName) {
      if (messages != nullptr) {
        messages->Add(Kt_WString(u"skipped: <") + node->GetName() + u">");
      }
      continue;
    }
    Kt_DomainElement* const element = Add(node->GetAttribute(u"id"));
    if (element == nullptr) return false;
    ReadAttributes(*node, *element, messages);
    if (!element->children_.Read(*node, messages)) return false;
  }
  return true;
}

bool Kt_DomainElemList::Save(Kt_XmlDOM& dom) const {
  Kt_XmlElement* const root = dom.NewRoot(kRootName);
  if (root != nullptr && Write(*root)) return true;
  dom.Clear();
  return false;
}

bool Kt_DomainElemList::Write(Kt_XmlElement& to) const {
  for (const auto& item : items_) {
    Kt_XmlElement* const node = to.AddChild(kElementName);
    if (node == nullptr || !WriteAttributes(*item, *node) || !item->children_.Write(*node)) {
      return false;
    }
  }
  return true;
}
