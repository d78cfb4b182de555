// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_Settings.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include "classlib/base/detail/Kt_WholeFile.h"
#include "classlib/text/detail/Kt_Blank.h"

namespace {

using kt::detail::WithoutBlanks;

KT_THREAD_LOCAL const Kt_ThreadSettings::Store* thread_store = nullptr;

// One line taken apart; the views lie in the text of the file.
struct Line {
  enum Kind : std::uint8_t { kOther, kKey, kValue } kind = kOther;
  std::u16string_view name;   // of the key or of the value
  std::u16string_view value;  // as written
};

Line ReadLine(std::u16string_view raw) {
  const std::u16string_view text = WithoutBlanks(raw);
  if (text.empty() || text[0] == u';' || text[0] == u'#') return {};
  if (text[0] == u'[') {
    const std::size_t close = text.find(u']');
    if (close == text.npos) return {};
    return {Line::kKey, WithoutBlanks(text.substr(1, close - 1)), {}};
  }
  const std::size_t equals = text.find(u'=');
  if (equals == text.npos || equals == 0) return {};
  return {Line::kValue, WithoutBlanks(text.substr(0, equals)),
          WithoutBlanks(text.substr(equals + 1))};
}

// Calls visit(line, first, last) for each line: its parts, and where it lies with its line end.
template <class Visit>
void ForEachLine(std::u16string_view text, Visit visit) {
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t feed = text.find(u'\n', start);
    const std::size_t end = feed == text.npos ? text.size() : feed + 1;
    visit(ReadLine(text.substr(start, end - start)), start, end);
    start = end;
  }
}

// The number of "dword:1f", if `text` (up to a comment) is one.
std::optional<std::uint32_t> ReadNumber(std::u16string_view text) {
  constexpr std::u16string_view kPrefix = u"dword:";
  if (kt_stricmpW(text.substr(0, kPrefix.size()), kPrefix) != 0) return std::nullopt;
  const std::u16string_view digits =
      WithoutBlanks(text.substr(kPrefix.size(), text.find(u';') - kPrefix.size()));
  char narrow[8];
  if (digits.empty() || digits.size() > sizeof narrow) return std::nullopt;
  std::transform(digits.begin(), digits.end(), narrow,
                 [](char16_t unit) { return unit < 0x80 ? static_cast<char>(unit) : '?'; });
  std::uint32_t number = 0;
  const auto read = std::from_chars(narrow, narrow + digits.size(), number, 16);
  const bool whole = read.ec == std::errc() && read.ptr == narrow + digits.size();
  return whole ? std::optional(number) : std::nullopt;
}

// The text inside the quotes, or all of it if there are none.
Kt_WString ReadText(std::u16string_view text) {
  if (text.empty() || text[0] != u'"') return text;
  Kt_WString out;
  for (std::size_t at = 1; at < text.size() && text[at] != u'"'; ++at) {
    const bool escaped = text[at] == u'\\' && at + 1 < text.size();
    if (escaped) ++at;
    out += escaped && text[at] == u'n' ? u'\n' : escaped && text[at] == u'r' ? u'\r' : text[at];
  }
  return out;
}

Kt_SettingValue ReadValue(std::u16string_view text) {
  Kt_SettingValue value;
  if (const auto number = ReadNumber(text)) {
    value.type = Kt_SettingType::kNumber;
    value.number = *number;
  } else {
    value.text = ReadText(text);
  }
  return value;
}

std::optional<Kt_WString> ReadFile() {
  const auto bytes = kt::detail::ReadWholeFile(Kt_Settings::FilePath(), Kt_Settings::kMaxFileBytes);
  if (!bytes) return std::nullopt;
  std::string_view text = *bytes;
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  return Kt_WString::FromUtf8(text);
}

// A variable of the environment, as UTF-8; empty when it is not set.
std::string Variable(const char* name) {
#if defined(_WIN32)
  const wchar_t* const value = ::_wgetenv(std::filesystem::path(name).c_str());
  return value != nullptr ? std::filesystem::path(value).string() : std::string();
#else
  const char* const value = std::getenv(name);
  return value != nullptr ? value : std::string();
#endif
}

bool IsWritable(std::u16string_view name, std::u16string_view forbidden) {
  return !name.empty() && WithoutBlanks(name).size() == name.size() &&
         name.find_first_of(u"\r\n") == name.npos && name.find_first_of(forbidden) == name.npos;
}

// The text of the file with `line` as the value `name` of `key`: in place of the last one of that
// name, else at the end of the key, else in a new key at the end of the file.
std::u16string WithLine(std::u16string_view text, std::u16string_view key, std::u16string_view name,
                        std::u16string_view line) {
  bool in_key = false;
  std::size_t key_end = text.npos;
  std::size_t first = text.npos;
  std::size_t last = text.npos;
  ForEachLine(text, [&](const Line& next, std::size_t start, std::size_t end) {
    if (next.kind == Line::kKey) in_key = kt_stricmpW(next.name, key) == 0;
    if (!in_key || next.kind == Line::kOther) return;
    key_end = end;
    if (next.kind != Line::kValue || kt_stricmpW(next.name, name) != 0) return;
    first = start;
    last = end;
  });
  if (first == text.npos) first = last = key_end == text.npos ? text.size() : key_end;
  std::u16string out(text.substr(0, first));
  if (!out.empty() && out.back() != u'\n') out += u'\n';
  if (key_end == text.npos) out.append(u"[").append(key).append(u"]\n");
  return out.append(line).append(u"\n").append(text.substr(last));
}

bool Write(std::u16string_view key, std::u16string_view name, std::u16string_view written_value) {
  const std::string path = Kt_Settings::FilePath();
  if (path.empty() || !IsWritable(key, u"]") || !IsWritable(name, u"=")) return false;
  if (name[0] == u'[' || name[0] == u';' || name[0] == u'#') return false;
  const std::optional<Kt_WString> old_text = ReadFile();
  // A file that is there but cannot be read must not be lost.
  if (!old_text && kt::detail::PathExists(path)) return false;
  const std::u16string line = std::u16string(name).append(u"=").append(written_value);
  const Kt_WString text(
      WithLine(old_text ? old_text->View() : std::u16string_view(), key, name, line));
  const std::string bytes = text.ToUtf8();
  return bytes.size() <= Kt_Settings::kMaxFileBytes && kt::detail::ReplaceWholeFile(path, bytes);
}

}  // namespace

std::string Kt_Settings::FilePath() {
  constexpr const char* kFile = "/ktscript/settings.ini";
  const std::string config = Variable("XDG_CONFIG_HOME");
  if (std::filesystem::path(config).is_absolute()) return config + kFile;
#if defined(_WIN32)
  const std::string folder = Variable("APPDATA");
  return folder.empty() ? folder : folder + kFile;
#else
  const std::string home = Variable("HOME");
  return home.empty() ? home : home + "/.config" + kFile;
#endif
}

bool Kt_Settings::Open(std::u16string_view key) {
  Close();
  if (thread_store != nullptr) {
    key_ = key;
    return is_open_ = true;
  }
  const std::optional<Kt_WString> text = ReadFile();
  if (!text) return false;
  bool in_key = false;
  ForEachLine(*text, [&](const Line& line, std::size_t, std::size_t) {
    if (line.kind == Line::kKey) in_key = kt_stricmpW(line.name, key) == 0;
    is_open_ = is_open_ || in_key;
    if (in_key && line.kind == Line::kValue) values_.emplace_back(line.name, ReadValue(line.value));
  });
  return is_open_;
}

bool Kt_Settings::QueryValue(std::u16string_view name, Kt_SettingValue& value) const {
  if (thread_store != nullptr) return is_open_ && (*thread_store)(key_, name, value);
  const auto found = std::find_if(values_.rbegin(), values_.rend(), [name](const auto& entry) {
    return entry.first.EqualsNoCase(name);
  });
  if (found == values_.rend()) return false;
  value = found->second;
  return true;
}

void Kt_Settings::Close() {
  values_.clear();
  is_open_ = false;
}

bool Kt_Settings::WriteNumber(std::u16string_view key, std::u16string_view name,
                              std::uint32_t number) {
  std::u16string written = u"dword:";
  for (int shift = 28; shift >= 0; shift -= 4) written += u"0123456789abcdef"[number >> shift & 15];
  return Write(key, name, written);
}

bool Kt_Settings::WriteText(std::u16string_view key, std::u16string_view name,
                            std::u16string_view text) {
  std::u16string written = u"\"";
  for (const char16_t unit : text) {
    if (unit == u'"' || unit == u'\\') written += u'\\';
    if (unit == u'\n')
      written += u"\\n";
    else if (unit == u'\r')
      written += u"\\r";
    else
      written += unit;
  }
  return Write(key, name, written + u"\"");
}

Kt_ThreadSettings::Kt_ThreadSettings(const Store* store) : outer_(thread_store) {
  if (store != nullptr) thread_store = store;
}

Kt_ThreadSettings::~Kt_ThreadSettings() { thread_store = outer_; }
