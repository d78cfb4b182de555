// SPDX-License-Identifier: MIT
#include "classlib/xml/Kt_XmlDOM.h"

#include <algorithm>
#include <exception>
#include <limits>

#include "classlib/base/detail/Kt_Refuse.h"
#include "classlib/text/detail/Kt_RefusalText.h"
#include "classlib/xml/Kt_XmlWriter.h"
#include "classlib/xml/detail/Kt_XmlScanner.h"

namespace {

using Piece = kt::detail::XmlScanner::Piece;

static_assert(Kt_XmlElement::kMaxDepth == kt::detail::XmlScanner::kMaxDepth);
static_assert(Kt_XmlElement::kMaxAttributes == kt::detail::XmlScanner::kMaxAttributes);

const Kt_WString kNoText;

template <class List>
auto* ItemAt(List& list, kt_long index) {
  const bool inside = index >= 0 && static_cast<std::size_t>(index) < list.size();
  return inside ? &list[static_cast<std::size_t>(index)] : nullptr;
}

}  // namespace

// ---- Elements ---------------------------------------------------------------------------------

const Kt_WString& Kt_XmlElement::GetAttributeName(kt_long index) const {
  const Attribute* const attribute = ItemAt(attributes_, index);
  return attribute ? attribute->name : kNoText;
}

const Kt_WString& Kt_XmlElement::GetAttributeValue(kt_long index) const {
  const Attribute* const attribute = ItemAt(attributes_, index);
  return attribute ? attribute->value : kNoText;
}

const Kt_WString* Kt_XmlElement::FindAttribute(std::u16string_view name) const {
  const auto found =
      std::ranges::find_if(attributes_, [&](const Attribute& at) { return at.name == name; });
  return found == attributes_.end() ? nullptr : &found->value;
}

const Kt_WString& Kt_XmlElement::GetAttribute(std::u16string_view name) const {
  const Kt_WString* const value = FindAttribute(name);
  return value ? *value : kNoText;
}

const Kt_XmlElement* Kt_XmlElement::GetNodeElement(kt_long index) const {
  const Node* const node = ItemAt(nodes_, index);
  return node ? node->element.get() : nullptr;
}

const Kt_WString& Kt_XmlElement::GetNodeText(kt_long index) const {
  const Node* const node = ItemAt(nodes_, index);
  return node ? node->text : kNoText;
}

const Kt_XmlElement* Kt_XmlElement::FindChild(std::u16string_view name) const {
  const auto found = std::ranges::find_if(
      nodes_, [&](const Node& node) { return node.element && node.element->GetName() == name; });
  return found == nodes_.end() ? nullptr : found->element.get();
}

Kt_WString Kt_XmlElement::GetText() const {
  Kt_WString text;
  for (const Node& node : nodes_) text += node.text;
  return text;
}

bool Kt_XmlElement::SetAttribute(const Kt_WString& name, const Kt_WString& value) try {
  const auto found =
      std::ranges::find_if(attributes_, [&](const Attribute& at) { return at.name == name; });
  if (found != attributes_.end()) {
    found->value = value;
    return true;
  }
  if (!kt_isxmlnameW(name) || GetAttributeCount() == kMaxAttributes) return false;
  attributes_.push_back({name, value});
  return true;
} catch (const std::exception&) {
  (void)kt::NoteMemoryFailure();
  return false;
}

Kt_XmlElement* Kt_XmlElement::AddChild(const Kt_WString& name) try {
  const bool is_full = nodes_.size() == std::numeric_limits<kt_long>::max();
  if (!kt_isxmlnameW(name) || depth_ == kMaxDepth || is_full) return nullptr;
  auto child = std::make_unique<Kt_XmlElement>(name);
  child->depth_ = depth_ + 1;
  nodes_.push_back({std::move(child), {}});
  return nodes_.back().element.get();
} catch (const std::exception&) {
  (void)kt::NoteMemoryFailure();
  return nullptr;
}

bool Kt_XmlElement::AddText(std::u16string_view text) try {
  if (text.empty()) return true;
  if (!nodes_.empty() && nodes_.back().element == nullptr) return nodes_.back().text.Append(text);
  const Kt_WString added(text);
  if (added.IsEmpty()) return false;
  nodes_.push_back({nullptr, added});
  return true;
} catch (const std::exception&) {
  (void)kt::NoteMemoryFailure();
  return false;
}

// ---- Loading ----------------------------------------------------------------------------------

namespace {

// Builds a tree from the pieces of a text.
class Builder {
 public:
  Builder(std::u16string_view text, const Kt_XmlLimits& limits) : scanner_(text), limits_(limits) {}

  // Null after an error.
  std::unique_ptr<Kt_XmlElement> Build() {
    for (;;) {
      switch (scanner_.Next()) {
        case Piece::kStart:
          if (!Start()) return nullptr;
          break;
        case Piece::kText:
          if (!Text()) return nullptr;
          break;
        case Piece::kEnd: open_.pop_back(); break;
        case Piece::kDone:
          if (!scanner_.IsAtEnd()) return Fail(scanner_.Error());
          return std::move(root_);
        default: return Fail(scanner_.Error());
      }
    }
  }

  Kt_XmlError Error() const {
    constexpr std::int64_t kMost = std::numeric_limits<kt_long>::max();
    return {static_cast<kt_long>(std::min(scanner_.Line(), kMost)),
            static_cast<kt_long>(std::min(scanner_.Column(), kMost)), error_};
  }

 private:
  std::nullptr_t Fail(const char16_t* error) {
    error_ = error;
    return nullptr;
  }
  bool Refuse(const char16_t* error) {
    error_ = error;
    return false;
  }

  bool Count() { return ++nodes_ <= limits_.nodes || Refuse(u"too many elements and attributes"); }

  bool Start() {
    const Kt_WString name(scanner_.Name());
    if (!kt_isxmlnameW(name)) return Refuse(u"bad element name");
    if (static_cast<kt_long>(open_.size()) >= limits_.depth) {
      return Refuse(u"elements nested too deeply");
    }
    if (!Count()) return false;
    if (open_.empty()) {
      root_ = std::make_unique<Kt_XmlElement>(name);
      open_.push_back(root_.get());
    } else {
      open_.push_back(open_.back()->AddChild(name));
    }
    if (open_.back() == nullptr) return Refuse(u"out of memory");
    return Attributes(*open_.back());
  }

  bool Attributes(Kt_XmlElement& element) {
    for (const auto& [name, value] : scanner_.Attributes()) {
      if (!Count()) return false;
      if (!kt_isxmlnameW(name)) return Refuse(u"bad attribute name");
      if (element.FindAttribute(name)) return Refuse(u"attribute given twice");
      if (!element.SetAttribute(Kt_WString(name), Kt_WString(value))) {
        return Refuse(u"out of memory");
      }
    }
    return true;
  }

  bool Text() {
    return Count() && (open_.back()->AddText(scanner_.Text()) || Refuse(u"text too long"));
  }

  kt::detail::XmlScanner scanner_;
  const Kt_XmlLimits& limits_;
  std::unique_ptr<Kt_XmlElement> root_;
  std::vector<Kt_XmlElement*> open_;
  kt_long nodes_ = 0;
  const char16_t* error_ = u"";
};

}  // namespace

Kt_XmlElement* Kt_XmlDOM::NewRoot(const Kt_WString& name) try {
  if (!kt_isxmlnameW(name)) return nullptr;
  root_ = std::make_unique<Kt_XmlElement>(name);
  return root_.get();
} catch (const std::exception&) {
  (void)kt::NoteMemoryFailure();
  return nullptr;
}

bool Kt_XmlDOM::Load(std::u16string_view text, Kt_XmlError& error, const Kt_XmlLimits& limits) try {
  error = {};
  if (text.starts_with(u'\xFEFF')) text.remove_prefix(1);
  Builder builder(text, limits);
  std::unique_ptr<Kt_XmlElement> root = builder.Build();
  if (root == nullptr) {
    error = builder.Error();
    return false;
  }
  root_ = std::move(root);
  return true;
} catch (const std::exception&) {
  (void)kt::NoteMemoryFailure();
  error.text = kt::detail::NoMemoryText();
  return false;
}

bool Kt_XmlDOM::LoadUtf8(std::string_view bytes, Kt_XmlError& error, const Kt_XmlLimits& limits) {
  Kt_WString text;
  if (ConvertUtf8(bytes, text) < 0) return Load(text, error, limits);
  error = {1, 1, Kt_WString(u"bytes that are no UTF-8")};
  // The text before them says where they stand.
  const std::u16string_view before = text;
  for (std::size_t at = 0; at < before.size(); ++at) {
    const bool ends_line =
        before[at] == u'\n' ||
        (before[at] == u'\r' && (at + 1 == before.size() || before[at + 1] != u'\n'));
    error.line += ends_line ? 1 : 0;
    error.column = ends_line ? 1 : error.column + 1;
  }
  if (before.empty() && bytes.size() > static_cast<std::size_t>(kMaxStringLength)) {
    error.text = u"text too long";
  }
  return false;
}

// ---- Saving -----------------------------------------------------------------------------------

namespace {

// Bounded by kMaxDepth. What is refused is remembered by the writer.
void Write(const Kt_XmlElement& element, Kt_XmlWriter& writer) {
  writer.Start(element.GetName());
  for (kt_long at = 0; at < element.GetAttributeCount(); ++at) {
    writer.Attribute(element.GetAttributeName(at), element.GetAttributeValue(at));
  }
  for (kt_long at = 0; at < element.GetNodeCount(); ++at) {
    const Kt_XmlElement* const child = element.GetNodeElement(at);
    if (child != nullptr) {
      Write(*child, writer);
    } else {
      writer.Text(element.GetNodeText(at));
    }
  }
  writer.End();
}

}  // namespace

bool Kt_XmlDOM::Save(Kt_WString& out, bool indent) const {
  out.Empty();
  if (root_ == nullptr) return false;
  Kt_XmlWriter writer(indent);
  Write(*root_, writer);
  return writer.Finish(out);
}
