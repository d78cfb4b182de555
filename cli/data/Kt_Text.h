// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "classlib/text/Kt_WString.h"
#include "cli/data/Kt_Data.h"

// Bytes of data files as text, and back.

namespace kt::cli {

// The encoding that the declaration of an XML text names; nothing when it names none that is known.
std::optional<kt_long> XmlEncoding(std::string_view bytes);

// The content of a file as text.
struct FileText {
  std::optional<std::string_view> utf8;  // a part of the file, when that is UTF-8
  Kt_WString text;                       // otherwise
};
// Reads bytes all of which have to make sense: in the encoding of their byte order mark, else in
// `wanted`, else in UTF-8; or, with `guess`, in the likeliest one, which the report then names.
// Lone surrogates of UTF-16 stay. False, with the place and the encodings that would do in the
// report, when there are other bytes, or when the text would be too long.
bool ReadText(std::string_view bytes, std::optional<kt_long> wanted, bool guess, FileText& text,
              DataReport& report);

// The bytes of a text; UTF-16 begins with a byte order mark. False, with the reason, when the
// encoding lacks a character of the text.
bool EncodeText(const Kt_WString& text, kt_long code_page, std::string& bytes, std::string& reason);

}  // namespace kt::cli
