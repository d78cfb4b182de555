// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "classlib/text/Kt_WString.h"

// True for what XML takes as the name of an element or attribute: a letter, '_', ':' or a character
// from 128 upwards first, then also digits, '-' and '.'. No lone surrogates.
KT_CLASS_API bool kt_isxmlnameW(std::u16string_view name);

// Writes an XML document piece by piece.
//
//   Kt_XmlWriter writer(true);
//   writer.Start(u"order");
//   writer.Attribute(u"id", u"17");
//   writer.Start(u"note");
//   writer.Text(u"a < b");
//   writer.Finish(text);        // closes what is open
//
// Any text comes back as it was, also characters that XML does not allow: they are written as
// references, which Kt_XmlDOM takes. After the first call that is refused (false) all others are,
// so it is enough to look at the answer of Finish.
// Owns its text. Threads: sole access.
class KT_CLASS_API Kt_XmlWriter {
 public:
  // `indent`: every element on a line of its own, except inside elements that have text. That adds
  // blank text to the document.
  explicit Kt_XmlWriter(bool indent = false) : indent_(indent) {}

  // Refused: a bad name, an element after the root element.
  bool Start(std::u16string_view name);
  // Of the element that was started last. Refused: a bad name, after text or another element.
  bool Attribute(std::u16string_view name, std::u16string_view value);
  // Refused outside the root element. The empty text does nothing.
  bool Text(std::u16string_view text);
  // Ends the start tag, so that an element without content is <a></a> and not <a/>.
  bool Content();
  // A line feed for the eye inside the root element: blank text for those who read the document.
  bool NewLine();
  // Ends the element that is open. Refused when there is none.
  bool End();
  // Whether no call was refused yet.
  bool IsGood() const { return good_; }
  // Ends all open elements and gives the document; the writer is empty afterwards. False, and the
  // empty text, when a call was refused, there is no root element, or the text would be longer than
  // kMaxStringLength or than memory.
  bool Finish(Kt_WString& out);

 private:
  struct Open {
    kt::CountedText name;
    bool has_text = false;      // so that no blanks may be added
    bool has_children = false;  // elements
  };
  bool AppendText(std::u16string_view text);
  bool CloseTag();
  void Indent(std::size_t depth);
  std::size_t Size() const { return text_.View().size() + out_.size(); }
  bool PassOn();

  template <class Write>
  bool Do(Write write);

  bool indent_;
  bool good_ = true;
  bool in_tag_ = false;  // the start tag may still get attributes
  std::vector<Open> open_;
  Kt_WString text_;      // which grows without being copied
  kt::CountedText out_;  // what comes after it
};
