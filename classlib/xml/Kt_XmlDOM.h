// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "classlib/text/Kt_WString.h"

// An element of an XML document: a name, attributes in their order, and content, which is text and
// elements in their order. Two texts never stand side by side, and none is empty.
//
// Owns its content. Elements keep their address until they or one around them go.
// Threads: const members may run in parallel; a change needs sole access.
class KT_CLASS_API Kt_XmlElement {
 public:
  // Elements inside one another; the stack bounds what can be destroyed.
  static constexpr kt_long kMaxDepth = 256;
  static constexpr kt_long kMaxAttributes = 64;

  explicit Kt_XmlElement(const Kt_WString& name) : name_(name) {}
  Kt_XmlElement(const Kt_XmlElement&) = delete;
  Kt_XmlElement& operator=(const Kt_XmlElement&) = delete;

  const Kt_WString& GetName() const { return name_; }

  // Names of attributes compare with regard to case, as XML says. Outside and unknown: empty;
  // FindAttribute: null.
  kt_long GetAttributeCount() const { return static_cast<kt_long>(attributes_.size()); }
  const Kt_WString& GetAttributeName(kt_long index) const;
  const Kt_WString& GetAttributeValue(kt_long index) const;
  const Kt_WString* FindAttribute(std::u16string_view name) const;
  const Kt_WString& GetAttribute(std::u16string_view name) const;

  // The content in its order: an element, or null where there is text.
  kt_long GetNodeCount() const { return static_cast<kt_long>(nodes_.size()); }
  const Kt_XmlElement* GetNodeElement(kt_long index) const;
  const Kt_WString& GetNodeText(kt_long index) const;
  // The first element of that name in the content; null for none.
  const Kt_XmlElement* FindChild(std::u16string_view name) const;
  // The texts of the content, without those inside other elements.
  Kt_WString GetText() const;

  // False, and nothing changed, for a name that XML does not take or a 65th attribute.
  bool SetAttribute(const Kt_WString& name, const Kt_WString& value);
  // The new last element of the content; null for a bad name, too deep, or without memory.
  Kt_XmlElement* AddChild(const Kt_WString& name);
  // Appends text to the content. False when it would be too long or memory ran out.
  bool AddText(std::u16string_view text);

 private:
  struct Attribute {
    Kt_WString name;
    Kt_WString value;
  };
  struct Node {
    std::unique_ptr<Kt_XmlElement> element;
    Kt_WString text;
  };

  Kt_WString name_;
  std::vector<Attribute> attributes_;
  std::vector<Node> nodes_;
  kt_long depth_ = 1;  // 1 for a root element
};

// Why a document could not be read, and where; line and column count from 1, columns in UTF-16
// units. LF, CR LF and CR end lines.
struct KT_CLASS_API Kt_XmlError {
  kt_long line = 0;
  kt_long column = 0;
  Kt_WString text;
};

// What a document may cost. Each is far beyond any real one and bounds what a hostile one can take.
struct Kt_XmlLimits {
  kt_long depth = Kt_XmlElement::kMaxDepth;
  kt_long nodes = 1 << 22;  // elements, attributes and texts: about half a gigabyte
};

// An XML document as a tree.
//
//   Kt_XmlDOM dom;
//   Kt_XmlError error;
//   if (!dom.LoadUtf8(bytes, error)) ... error.line, error.text
//   dom.GetRoot()->FindChild(u"item")->GetAttribute(u"id");
//
// Reads elements, attributes, text and CDATA. Comments, instructions and the document type are
// skipped; its entities are unknown: only the five of XML itself and character references are read,
// nothing outside the document ever is. Character references may name any unit, so that every text
// that Save wrote comes back. Blank text between elements is kept. Namespaces are part of the name.
//
// Owns its elements. Threads: const members may run in parallel; a change needs sole access.
class KT_CLASS_API Kt_XmlDOM {
 public:
  Kt_XmlDOM() = default;

  // Null without a document.
  const Kt_XmlElement* GetRoot() const { return root_.get(); }
  Kt_XmlElement* GetRoot() { return root_.get(); }

  // Replaces the document by an element without content; null, and nothing changed, for a bad name.
  Kt_XmlElement* NewRoot(const Kt_WString& name);
  void Clear() { root_.reset(); }

  // Replaces the document. False, with the reason, leaves the one that was there. A mark of byte
  // order in front is skipped; bytes that are no UTF-8 are an error, whatever encoding the document
  // says it has.
  bool Load(std::u16string_view text, Kt_XmlError& error, const Kt_XmlLimits& limits = {});
  bool LoadUtf8(std::string_view bytes, Kt_XmlError& error, const Kt_XmlLimits& limits = {});

  // The document as text that Load reads back equal; with `indent` equal but for blank text between
  // elements. False, and the empty text, without a document or when it would be too long.
  bool Save(Kt_WString& out, bool indent = false) const;

 private:
  std::unique_ptr<Kt_XmlElement> root_;
};
