// SPDX-License-Identifier: MIT
#include "connect/detail/Kt_XmlEvents.h"

#include <cstddef>
#include <cstring>
#include <exception>
#include <memory>
#include <new>

#include "classlib/base/Kt_Memory.h"
#include "connect/detail/Kt_LibExpat.h"
#include "connect/detail/Kt_Zip.h"

namespace kt::detail {
namespace {

constexpr int kPieceBytes = 1 << 16;

// ---- Memory of the parser, which frees without a size -----------------------------------------

constexpr std::size_t kSizeBytes = alignof(std::max_align_t);

void* WithSize(void* memory, std::size_t size) {
  std::memcpy(memory, &size, sizeof size);
  return static_cast<char*>(memory) + kSizeBytes;
}
void* Whole(void* memory, std::size_t& size) {
  void* const whole = static_cast<char*>(memory) - kSizeBytes;
  std::memcpy(&size, whole, sizeof size);
  return whole;
}
void* CountedMalloc(std::size_t size) {
  try {
    return WithSize(Allocate(size + kSizeBytes), size + kSizeBytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void CountedFree(void* memory) {
  if (memory == nullptr) return;
  std::size_t size = 0;
  void* const whole = Whole(memory, size);
  Free(whole, size);
}
void* CountedRealloc(void* memory, std::size_t size) {
  if (memory == nullptr) return CountedMalloc(size);
  try {
    std::size_t old_size = 0;
    void* const whole = Whole(memory, old_size);
    return WithSize(Reallocate(whole, old_size, size + kSizeBytes), size + kSizeBytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

std::string_view WithoutPrefix(const char* name) {
  const char* const colon = std::strchr(name, ':');
  return colon != nullptr ? colon + 1 : name;
}

// ---- The parser -------------------------------------------------------------------------------

// Nothing may be thrown through the parser: it is kept until the call that reads returns.
class Parser {
 public:
  explicit Parser(XmlEvents& events) : events_(events) {
    constexpr XML_Memory_Handling_Suite kMemory = {CountedMalloc, CountedRealloc, CountedFree};
    parser_.reset(XML_ParserCreate_MM(nullptr, &kMemory, nullptr));
    if (!parser_) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(parser_.get(), OnStart, OnEnd);
    XML_SetCharacterDataHandler(parser_.get(), OnText);
    XML_SetStartDoctypeDeclHandler(parser_.get(), OnDoctype);
  }

  std::span<char> Room() {
    void* const room = XML_GetBuffer(parser_.get(), kPieceBytes);
    if (room == nullptr) throw std::bad_alloc();
    return {static_cast<char*>(room), kPieceBytes};
  }
  bool Take(std::size_t count, bool is_last, std::string& reason) {
    const XML_Status status = XML_ParseBuffer(parser_.get(), static_cast<int>(count), is_last);
    if (thrown_) std::rethrow_exception(thrown_);
    if (status == XML_STATUS_OK) return true;
    const XML_Error code = XML_GetErrorCode(parser_.get());
    if (code == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    reason = events_.failure;
    if (reason.empty()) {
      reason = "line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())) + ": " +
               XML_ErrorString(code);
    }
    return false;
  }

 private:
  struct Closer {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  template <class Tell>
  static void Call(void* self, Tell tell) noexcept {
    Parser& parser = *static_cast<Parser*>(self);
    try {
      tell(parser.events_);
    } catch (...) {
      parser.thrown_ = std::current_exception();
    }
    if (parser.thrown_ || !parser.events_.failure.empty()) {
      XML_StopParser(parser.parser_.get(), XML_FALSE);
    }
  }
  static void XMLCALL OnStart(void* self, const char* name, const char** attributes) {
    Call(self, [&](XmlEvents& events) {
      events.OnStart(WithoutPrefix(name), XmlAttributes(attributes));
    });
  }
  static void XMLCALL OnEnd(void* self, const char* name) {
    Call(self, [&](XmlEvents& events) { events.OnEnd(WithoutPrefix(name)); });
  }
  static void XMLCALL OnText(void* self, const char* text, int length) {
    Call(self, [&](XmlEvents& events) { events.OnText({text, static_cast<std::size_t>(length)}); });
  }
  static void XMLCALL OnDoctype(void* self, const char*, const char*, const char*, int) {
    Call(self, [](XmlEvents& events) { events.failure = "has a document type"; });
  }

  XmlEvents& events_;
  std::unique_ptr<XML_ParserStruct, Closer> parser_;
  std::exception_ptr thrown_;
};

}  // namespace

std::string_view XmlAttributes::operator[](std::string_view name) const {
  for (const char* const* at = list_; *at != nullptr; at += 2) {
    if (WithoutPrefix(at[0]) == name) return at[1];
  }
  return {};
}

bool XmlAttributes::IsTrue(std::string_view name) const {
  const std::string_view value = (*this)[name];
  return value == "1" || value == "true";
}

bool ReadXml(ZipArchive& archive, const std::string& part, XmlEvents& events, std::string& error) {
  Parser parser(events);
  std::string reason;
  const bool is_read = archive.Read(
      part, [&] { return parser.Room(); },
      [&](std::size_t count, bool is_last) { return parser.Take(count, is_last, reason); }, error);
  if (!is_read && !reason.empty()) error = "'" + part + "': " + reason;
  return is_read;
}

}  // namespace kt::detail
