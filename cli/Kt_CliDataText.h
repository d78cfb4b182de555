// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "classlib/Kt_WString.h"
#include "cli/Kt_CliData.h"

// Bytes of data files as text, and back.

namespace kt::cli {

// The encoding of a file: that of its byte order mark, else `wanted`, else UTF-8. `mark` is the
// length of the byte order mark.
kt_long EncodingOf(std::string_view bytes, std::optional<kt_long> wanted, std::size_t& mark);
// The encoding that the declaration of an XML text names; nothing when it names none that is known.
std::optional<kt_long> XmlEncoding(std::string_view bytes);

// The text of `bytes`, a byte order mark skipped. Characters that the encoding does not have are
// U+FFFD, and their lines go into the report. Lone surrogates of UTF-16 stay. False with the reason
// when the text would be too long, or ends in the middle of a unit.
bool DecodeText(std::string_view bytes, std::optional<kt_long> wanted, Kt_WString& text,
                DataReport& report, std::string& reason);

// The bytes of a text; UTF-16 begins with a byte order mark. False, with the reason, when the
// encoding lacks a character of the text.
bool EncodeText(const Kt_WString& text, kt_long code_page, std::string& bytes, std::string& reason);

// How messages call an encoding.
std::string EncodingName(kt_long code_page);

// The line in which a byte / a unit stands, from 1; lines end with LF, CR LF or CR.
std::int64_t LineOf(std::string_view bytes, std::size_t offset);
std::int64_t LineOf(std::u16string_view text, std::size_t offset);

}  // namespace kt::cli
