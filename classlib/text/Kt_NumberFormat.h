// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "classlib/text/Kt_WString.h"

// Numbers written as a language or a pattern wants them. `number` is a plain decimal text such as
// "-1234.5" or "1.5e+20", so that exact amounts stay exact. All return false, and leave `out` as it
// was, when the number, the pattern or the result is none.
// Threads: free to call from any; each keeps the last few formats for itself.

// In the customary form of a locale ("de-DE", "de_DE", "ko"), with all decimals of the number and
// no currency sign. A locale that is not known gives the language-neutral form, "1,234.5".
KT_CLASS_API bool kt_formatlocaleW(std::u16string_view number, std::u16string_view locale,
                                   Kt_WString& out);
// By a pattern such as "#,##0.00", "000000" or "0.0%"; halves are rounded away from zero.
KT_CLASS_API bool kt_formatpatternW(std::u16string_view number, std::u16string_view pattern,
                                    Kt_WString& out);
// The name of the locale that a Windows locale number stands for (1042 is "ko_KR"); empty for an
// unknown number.
KT_CLASS_API Kt_WString kt_localenameW(kt_long locale_number);
