// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_Types.h"
#include "classlib/text/Kt_WString.h"

// Code pages that the code names. Others are known by number too: 437, 850, 866, 874, 932, 936,
// 949, 950, 1201 (UTF-16BE), 1250 to 1258, 20127, 20866, 28591 to 28605, 51932, 51949, 54936.
inline constexpr kt_long kCodePageDefault = 0;  // the system's: UTF-8
inline constexpr kt_long kCodePageUtf16 = 1200;
inline constexpr kt_long kCodePageUtf16Big = 1201;
inline constexpr kt_long kCodePageUtf8 = 65001;

// A string of bytes in some code page; which one, the owner knows.
//
// Owns its bytes, in counted memory; zeros inside are kept. Threads: const members may run in
// parallel. Fails: a conversion through an unknown code page, or to text longer than
// kMaxStringLength, gives an empty result and false.
class KT_CLASS_API Kt_AString {
 public:
  Kt_AString() = default;
  Kt_AString(const char* text) : bytes_(text ? text : "") {}
  Kt_AString(const char* text, kt_long length)  // null or a length below 1 gives the empty string
      : Kt_AString(text && length > 0 ? std::string_view(text, static_cast<std::size_t>(length))
                                      : std::string_view()) {}
  explicit Kt_AString(std::string_view bytes) : bytes_(bytes) {}
  explicit Kt_AString(const Kt_WString& text, kt_long code_page = kCodePageDefault) {
    Assign(text, code_page);
  }

  bool IsEmpty() const { return bytes_.empty(); }
  kt_long GetLength() const { return static_cast<kt_long>(bytes_.size()); }
  const char* GetText() const { return bytes_.c_str(); }
  std::string_view View() const { return bytes_; }
  // `count` bytes from `start`; ranges outside the string are cut to it.
  Kt_AString Mid(kt_long start, kt_long count) const;

  // The text in the code page; a character that it lacks becomes '?' (UTF-8: a lone surrogate
  // becomes U+FFFD).
  bool Assign(const Kt_WString& text, kt_long code_page);
  // The bytes read in the code page. A character that the ends of the string cut in two is left
  // out where the encoding shows the cut; other bytes that make no sense become U+FFFD.
  Kt_WString ToWString(kt_long code_page = kCodePageDefault) const;
  bool ToWString(Kt_WString& out, kt_long code_page) const {
    return Decode(bytes_, out, code_page);
  }
  // The same of bytes that lie elsewhere.
  static bool Decode(std::string_view bytes, Kt_WString& out, kt_long code_page = kCodePageDefault);

  friend bool operator==(const Kt_AString& a, const Kt_AString& b) = default;

 private:
  kt::CountedBytes bytes_;
};

namespace kt {

// The text in UTF-8, in counted memory: for texts of any length, where Kt_WString::ToUtf8 is for
// short ones. A lone surrogate becomes U+FFFD. Empty when the work has to stop.
KT_CLASS_API CountedBytes ToUtf8Bytes(std::u16string_view text);

}  // namespace kt

// True for a code page that conversions know.
KT_CLASS_API bool kt_iscodepageW(kt_long code_page);
// The number of a code page by one of its usual names, without regard to case, '-', '_' and
// blanks ("utf-8", "EUC-KR", "windows-1252", "cp949"); 0 for an unknown name.
KT_CLASS_API kt_long kt_findcodepageW(std::u16string_view name);
// What ICU calls a code page ("windows-1252", "UTF-8"), a name that kt_findcodepageW knows; empty
// for an unknown number.
KT_CLASS_API Kt_WString kt_codepagenameW(kt_long code_page);

// Reads bytes all of which have to make sense in the code page. -1 when they do, otherwise the
// offset of the first that does not; `out` then holds what stood before it. UTF-16 keeps lone
// surrogates. A text longer than kMaxStringLength leaves `out` empty and gives kMaxStringLength; an
// unknown code page gives 0.
KT_CLASS_API std::int64_t kt_decodeW(std::string_view bytes, kt_long code_page, Kt_WString& out);
