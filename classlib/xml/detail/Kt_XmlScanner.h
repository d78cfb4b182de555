// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"

namespace kt::detail {

// Reads XML piece by piece: elements with attributes, text, CDATA; comments and instructions are
// skipped. Only the five entities of XML itself and character references are known: a document type
// is skipped with its definitions, so no text can grow while it is read. Character references may
// name any code unit: texts of datasets hold what XML does not allow, and have to come back.
//
// Memory: the text stays the caller's; open elements are kept on a list of at most kMaxDepth names.
class XmlScanner {
 public:
  enum class Piece : std::uint8_t { kStart, kEnd, kText, kDone, kError };
  static constexpr std::size_t kMaxDepth = 256;
  static constexpr std::size_t kMaxAttributes = 64;

  explicit XmlScanner(std::u16string_view text) : text_(text) {}

  // An element without content gives kStart and kEnd. kDone after the root element.
  Piece Next();
  // Of the last kStart or kEnd.
  std::u16string_view Name() const { return name_; }
  // Of the last kStart; null when it has no such attribute.
  const CountedText* Attribute(std::u16string_view name) const;
  // All of them, in the order of the text; a name may come twice.
  const CountedVector<std::pair<std::u16string_view, CountedText>>& Attributes() const {
    return attributes_;
  }
  // Of the last kText, with references resolved and line ends as LF.
  const CountedText& Text() const { return content_; }
  // Skips the content of the element that was started last, and its end. False on an error.
  bool SkipElement();
  // The text inside the element that was started last, up to its end; elements in it are skipped.
  bool ElementText(CountedText& text);

  const char16_t* Error() const { return error_; }
  // The place that was reached: after an error where it is. Both count from 1, columns in units.
  std::int64_t Line() const;
  std::int64_t Column() const;
  // After kDone: whether only blanks, comments and instructions are left.
  bool IsAtEnd();

 private:
  // What stood between two pieces of content.
  enum class Aside : std::uint8_t { kNone, kSkipped, kUnclosed };

  Piece Fail(const char16_t* error);
  Piece FailAt(std::size_t at, const char16_t* error);
  bool SkipPast(std::size_t start, std::u16string_view mark);
  bool SkipDocumentType();
  Aside SkipAside();
  Piece Markup();
  Piece StartTag();
  Piece EndTag();
  Piece CharacterData();
  bool ReadAttribute();
  std::u16string_view ReadName();
  void SkipBlanks();
  bool Expand(std::u16string_view raw, bool attribute, CountedText& out);
  bool ExpandReference(std::u16string_view name, CountedText& out);

  std::u16string_view text_;
  std::size_t at_ = 0;
  std::size_t charged_to_ = 0;
  RoundCharge charge_;
  CountedVector<std::u16string_view> open_;
  std::u16string_view name_;
  CountedVector<std::pair<std::u16string_view, CountedText>> attributes_;
  CountedText content_;
  bool close_now_ = false;  // the last start tag was one of an empty element
  bool root_seen_ = false;
  const char16_t* error_ = u"";
};

// Appends text with what XML would take for markup, drop or change written as references.
void AppendXmlText(std::u16string_view text, CountedText& out);

}  // namespace kt::detail
