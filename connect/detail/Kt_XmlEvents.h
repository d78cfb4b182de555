// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kt::detail {

class ZipArchive;

// The attributes of an element; names without their prefixes.
class XmlAttributes {
 public:
  explicit XmlAttributes(const char* const* list) : list_(list) {}
  // Empty when there is none of that name.
  std::string_view operator[](std::string_view name) const;
  bool IsTrue(std::string_view name) const;  // "1" or "true"

 private:
  const char* const* list_;
};

// Is told what an XML text holds, as it is read. Names come without their prefixes.
class XmlEvents {
 public:
  virtual ~XmlEvents() = default;
  virtual void OnStart(std::string_view name, const XmlAttributes& attributes) = 0;
  virtual void OnEnd(std::string_view name) = 0;
  virtual void OnText(std::string_view /*text*/) {}
  // Not empty: the text is read no further, and this is why.
  std::string failure;
};

// Reads a part of an archive. False, with the reason, for a part that cannot be read or is no
// well-formed XML, and for one with a document type: no workbook has one, and entities are for
// attacks. What the events throw passes through. The memory of the parser is counted.
// REQUIRES: LoadLibExpat (Kt_LibExpat.h) has answered true.
bool ReadXml(ZipArchive& archive, const std::string& part, XmlEvents& events, std::string& error);

}  // namespace kt::detail
