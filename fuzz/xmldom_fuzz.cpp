// SPDX-License-Identifier: MIT
//
// Any bytes as an XML document: UTF-8 and UTF-16 give the same tree or the same error inside the
// text, what was loaded saves and loads back equal, limits hold, and the same is true of the domain
// that the document describes.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "classlib/domain/Kt_DomainElement.h"
#include "classlib/text/Kt_WStrList.h"
#include "classlib/xml/Kt_XmlDOM.h"

namespace {

void Check(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

bool IsBlank(const Kt_WString& text) {
  Kt_WString trimmed(text);
  trimmed.Trim();
  return trimmed.IsEmpty();
}

// Equal trees; without `layout` blank texts do not matter.
bool Same(const Kt_XmlElement& a, const Kt_XmlElement& b, bool layout) {
  if (a.GetName() != b.GetName() || a.GetAttributeCount() != b.GetAttributeCount()) return false;
  for (kt_long at = 0; at < a.GetAttributeCount(); ++at) {
    if (a.GetAttributeName(at) != b.GetAttributeName(at)) return false;
    if (a.GetAttributeValue(at) != b.GetAttributeValue(at)) return false;
  }
  const auto skip = [&](const Kt_XmlElement& element, kt_long& at) {
    while (!layout && at < element.GetNodeCount() && element.GetNodeElement(at) == nullptr &&
           IsBlank(element.GetNodeText(at))) {
      ++at;
    }
  };
  for (kt_long at = 0, other = 0;; ++at, ++other) {
    skip(a, at);
    skip(b, other);
    if (at == a.GetNodeCount() || other == b.GetNodeCount()) {
      return at == a.GetNodeCount() && other == b.GetNodeCount();
    }
    const Kt_XmlElement* const child = a.GetNodeElement(at);
    const Kt_XmlElement* const twin = b.GetNodeElement(other);
    if ((child == nullptr) != (twin == nullptr)) return false;
    if (child != nullptr && !Same(*child, *twin, layout)) return false;
    if (child == nullptr && a.GetNodeText(at) != b.GetNodeText(other)) return false;
  }
}

void CheckNodes(const Kt_XmlElement& element) {
  for (kt_long at = 0; at < element.GetNodeCount(); ++at) {
    const bool is_text = element.GetNodeElement(at) == nullptr;
    Check(is_text == !element.GetNodeText(at).IsEmpty(), "no text is empty");
    Check(!is_text || at == 0 || element.GetNodeElement(at - 1) != nullptr,
          "no two texts side by side");
    if (!is_text) CheckNodes(*element.GetNodeElement(at));
  }
}

void CheckComesBack(const Kt_XmlDOM& dom) {
  for (const bool indent : {false, true}) {
    Kt_WString text;
    Check(dom.Save(text, indent), "what was loaded can be saved");
    Kt_XmlDOM back;
    Kt_XmlError error;
    Check(back.Load(text, error), "what was saved can be loaded");
    Check(Same(*dom.GetRoot(), *back.GetRoot(), !indent), "it comes back equal");
    Check(back.LoadUtf8(text.ToUtf8(), error), "also from bytes");
    Check(Same(*dom.GetRoot(), *back.GetRoot(), !indent), "bytes come back equal");
  }
}

void CheckDomain(const Kt_XmlDOM& dom) {
  Kt_DomainElemList domain;
  const kt_long count = domain.Load(dom);
  Check(count >= 0 && count == domain.GetCount(), "a domain has the elements of the document");
  for (kt_long at = 0; at < count; ++at) {
    const Kt_WString& id = domain.GetItem(at)->GetID();
    const Kt_DomainElement* const found = domain.FindItem(id);
    Check(id.IsEmpty() ? found == nullptr : found != nullptr && found->GetID().EqualsNoCase(id),
          "ids find elements");
  }
  Kt_XmlDOM saved;
  Kt_XmlDOM again;
  Kt_DomainElemList back;
  Kt_WStrList messages;
  Kt_WString text;
  Kt_WString text_again;
  Check(domain.Save(saved) && saved.Save(text), "a domain can be saved");
  Check(back.Load(saved, &messages) == count && messages.GetCount() == 0, "and loaded");
  Check(back.Save(again) && again.Save(text_again) && text == text_again, "and comes back equal");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  Kt_XmlDOM from_bytes;
  Kt_XmlError error;
  const bool loaded = from_bytes.LoadUtf8(bytes, error);
  Check(loaded == error.text.IsEmpty(), "a failed load says why");
  Check(loaded || (error.line >= 1 && error.column >= 1), "and where");
  Check(error.line <= static_cast<kt_long>(size) + 1, "inside the text");
  Check(error.column <= static_cast<kt_long>(size) + 1, "in a column of it");

  Kt_WString text;
  if (ConvertUtf8(bytes, text) >= 0) return 0;
  Kt_XmlDOM from_text;
  Kt_XmlError text_error;
  Check(from_text.Load(text, text_error) == loaded, "bytes are as text");
  Check(text_error.text == error.text && text_error.line == error.line &&
            text_error.column == error.column,
        "errors are the same");
  if (!loaded) return 0;
  Check(Same(*from_bytes.GetRoot(), *from_text.GetRoot(), true), "trees are the same");
  CheckNodes(*from_bytes.GetRoot());
  CheckComesBack(from_bytes);
  CheckDomain(from_bytes);

  Kt_XmlDOM small;
  const Kt_XmlLimits limits{.depth = 3, .nodes = 20};
  if (!small.Load(text, error, limits)) {
    Check(small.GetRoot() == nullptr, "a failed load leaves what was there");
  }
  return 0;
}
