// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_NumberFormat.h"

#include <unicode/uloc.h>
#include <unicode/unum.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "classlib/base/Kt_ThreadEnd.h"

namespace {

constexpr std::size_t kMaxNumberBytes = 1024;  // a double written out has fewer than 400
constexpr std::size_t kMaxLocaleName = 64;
constexpr std::size_t kMaxPattern = 256;

struct CloseFormat {
  void operator()(UNumberFormat* format) const { unum_close(format); }
};
using Format = std::unique_ptr<UNumberFormat, CloseFormat>;

// Opening a format takes a thousand times as long as using it, and a report uses the same one for
// every row.
class FormatCache {
 public:
  template <class Open>
  UNumberFormat* Find(std::u16string_view key, Open open) {
    for (Entry& entry : entries_) {
      if (entry.format && entry.key == key) return entry.format.get();
    }
    Format format = open();
    if (!format) return nullptr;
    Entry& entry = entries_[next_++ % entries_.size()];
    entry.format.reset();
    entry.key = key;
    entry.format = std::move(format);
    return entry.format.get();
  }

 private:
  struct Entry {
    std::u16string key;
    Format format;
  };
  std::array<Entry, 4> entries_;
  std::size_t next_ = 0;
};

KT_THREAD_LOCAL FormatCache* caches = nullptr;  // of this thread: locales, patterns

void DropCaches() { delete[] std::exchange(caches, nullptr); }

FormatCache* Caches() {
  if (caches == nullptr) {
    if (!kt::AtThreadEnd<DropCaches>()) throw std::bad_alloc();
    caches = new FormatCache[2];
  }
  return caches;
}

void PassFailure(UErrorCode status) {
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
}

// Empty when there is none. A language that just fits has no terminating zero.
std::string LanguageOf(const char* locale) {
  char language[ULOC_LANG_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t length = uloc_getLanguage(locale, language, sizeof language, &status);
  if (U_FAILURE(status) || length > static_cast<std::int32_t>(sizeof language)) return {};
  return {language, static_cast<std::size_t>(length)};
}

// For an unknown locale ICU falls back to that of the machine, which would make the same script
// give different texts on different machines.
bool IsFallback(const UNumberFormat* format, const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  const char* const used = unum_getLocaleByType(format, ULOC_VALID_LOCALE, &status);
  return U_FAILURE(status) || used == nullptr || LanguageOf(used) != LanguageOf(name);
}

Format OpenLocale(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  Format format(unum_open(UNUM_DECIMAL, nullptr, 0, name, nullptr, &status));
  PassFailure(status);
  if (U_FAILURE(status)) return nullptr;
  if (*name != '\0' && IsFallback(format.get(), name)) return OpenLocale("");
  unum_setAttribute(format.get(), UNUM_MIN_FRACTION_DIGITS, 0);
  unum_setAttribute(format.get(), UNUM_MAX_FRACTION_DIGITS, 400);
  return format;
}

Format OpenPattern(std::u16string_view pattern) {
  UErrorCode status = U_ZERO_ERROR;
  Format format(unum_open(UNUM_PATTERN_DECIMAL, pattern.data(),
                          static_cast<std::int32_t>(pattern.size()), "", nullptr, &status));
  PassFailure(status);
  if (U_FAILURE(status)) return nullptr;
  unum_setAttribute(format.get(), UNUM_ROUNDING_MODE, UNUM_ROUND_HALFUP);
  return format;
}

// ASCII only; false for any other text, and for one that is too long.
bool ToNarrow(std::u16string_view text, std::size_t limit, std::string& out) {
  if (text.size() > limit) return false;
  for (const char16_t unit : text) {
    if (unit < 0x20 || unit > 0x7E) return false;
    out += static_cast<char>(unit);
  }
  return true;
}

bool Apply(UNumberFormat* format, std::u16string_view number, Kt_WString& out) {
  std::string digits;
  if (format == nullptr || number.empty() || !ToNarrow(number, kMaxNumberBytes, digits)) {
    return false;
  }
  const auto length = static_cast<std::int32_t>(digits.size());
  std::u16string text(digits.size() * 2 + 32, u'\0');
  for (int tries = 0; tries < 2; ++tries) {
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t needed =
        unum_formatDecimal(format, digits.data(), length, text.data(),
                           static_cast<std::int32_t>(text.size()), nullptr, &status);
    if (U_SUCCESS(status)) {
      out = std::u16string_view(text).substr(0, static_cast<std::size_t>(needed));
      return true;
    }
    PassFailure(status);
    if (status != U_BUFFER_OVERFLOW_ERROR) return false;
    text.resize(static_cast<std::size_t>(needed));
  }
  return false;
}

}  // namespace

bool kt_formatlocaleW(std::u16string_view number, std::u16string_view locale, Kt_WString& out) {
  FormatCache& cache = Caches()[0];
  std::string name;
  if (!ToNarrow(locale, kMaxLocaleName, name)) {
    name.clear();
    locale = {};
  }
  return Apply(cache.Find(locale, [&] { return OpenLocale(name.c_str()); }), number, out);
}

bool kt_formatpatternW(std::u16string_view number, std::u16string_view pattern, Kt_WString& out) {
  FormatCache& cache = Caches()[1];
  if (pattern.size() > kMaxPattern) return false;
  return Apply(cache.Find(pattern, [&] { return OpenPattern(pattern); }), number, out);
}

Kt_WString kt_localenameW(kt_long locale_number) {
  char name[ULOC_FULLNAME_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t length =
      uloc_getLocaleForLCID(static_cast<std::uint32_t>(locale_number), name, sizeof name, &status);
  if (U_FAILURE(status) || length <= 0 || length >= ULOC_FULLNAME_CAPACITY) return {};
  return Kt_WString::FromUtf8({name, static_cast<std::size_t>(length)});
}
