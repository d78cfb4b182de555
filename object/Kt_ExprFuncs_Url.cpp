// SPDX-License-Identifier: MIT
//
// Texts as parts of addresses (RFC 3986): characters outside the unreserved set are written as the
// bytes of their UTF-8 form, "%E2%82%AC".

#include <string_view>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_AString.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_FuncAnswers.h"

using kt::Kt_FuncArgs;

namespace {

bool IsUnreserved(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

char16_t HexDigit(unsigned value) { return u"0123456789ABCDEF"[value & 15]; }

// -1 for what is no hexadecimal digit.
int HexValue(char byte) {
  if (byte >= '0' && byte <= '9') return byte - '0';
  if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
  if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
  return -1;
}

bool Encode(std::string_view bytes, Kt_WString& out) {
  std::size_t length = 0;
  const auto measure = [&](std::size_t first, std::size_t count) {
    for (const char byte : bytes.substr(first, count)) {
      length += IsUnreserved(byte) ? 1 : 3;
    }
    return true;
  };
  if (!kt::detail::InPieces(bytes.size(), 2, measure)) return false;
  if (length > static_cast<std::size_t>(kMaxStringLength)) return false;
  char16_t* units = out.GetBuffer(static_cast<kt_long>(length));
  if (units == nullptr) return false;
  const auto write = [&](std::size_t first, std::size_t count) {
    for (const char byte : bytes.substr(first, count)) {
      if (IsUnreserved(byte)) {
        *units++ = static_cast<char16_t>(byte);
        continue;
      }
      const auto value = static_cast<unsigned char>(byte);
      *units++ = u'%';
      *units++ = HexDigit(value >> 4);
      *units++ = HexDigit(value);
    }
    return true;
  };
  return kt::detail::InPieces(bytes.size(), 4, write);
}

// In place: what is decoded is never longer. A '%' without two digits after it stands for itself.
void Decode(kt::CountedBytes& bytes) {
  std::size_t length = 0;
  for (std::size_t at = 0; at < bytes.size() && kt::detail::GoesOnAt(length, 2); ++at) {
    const int high = at + 2 < bytes.size() ? HexValue(bytes[at + 1]) : -1;
    const int low = high >= 0 ? HexValue(bytes[at + 2]) : -1;
    if (bytes[at] == '%' && low >= 0) {
      bytes[length++] = static_cast<char>(high << 4 | low);
      at += 2;
    } else {
      bytes[length++] = bytes[at] == '+' ? ' ' : bytes[at];
    }
  }
  bytes.resize(length);
}

}  // namespace

kt_long Kt_ExprObject::_urlEncode(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  Kt_WString out;
  if (!Encode(kt::ToUtf8Bytes(in.Text(0).View()), out))
    return kt::detail::TextTooLong(this, u"urlEncode()");
  result = std::move(out);
  return kOk;
}

kt_long Kt_ExprObject::_urlDecode(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  kt::CountedBytes bytes = kt::ToUtf8Bytes(in.Text(0).View());
  Decode(bytes);
  result = Kt_WString::FromUtf8(bytes);
  return kOk;
}
