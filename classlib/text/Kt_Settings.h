// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "classlib/base/Kt_Types.h"
#include "classlib/text/Kt_WString.h"

// What a settings value is.
enum class Kt_SettingType : std::uint8_t { kText, kNumber };

struct Kt_SettingValue {
  Kt_SettingType type = Kt_SettingType::kText;
  std::uint32_t number = 0;  // of kNumber
  Kt_WString text;           // of kText
};

// The user's settings: values by name under keys by path, in the file ktscript/settings.ini below
// $XDG_CONFIG_HOME (~/.config when that is not an absolute path; on Windows %APPDATA%).
//
//   [SOFTWARE\Velmora\quillnet320\Settings]
//   DisableWarning=dword:00000001          ; a 32-bit number, in hexadecimal digits
//   Editor="vi \"%1\""                     ; text; a backslash stands before " and backslash
//
//   Kt_Settings settings;
//   Kt_SettingValue value;
//   if (settings.Open(u"SOFTWARE\\Velmora\\quillnet320\\Settings") &&
//       settings.QueryValue(u"DisableWarning", value)) ...
//
// Keys and names compare without regard to case; the last value of a name counts. Lines that are
// none of these are skipped, and kept when the file is written.
// Threads: one object, one thread; writers replace the file as a whole, so readers of other
// threads and processes see the old or the new one. Two writers at once: the later one wins.
class KT_CLASS_API Kt_Settings {
 public:
  // Reads the values of `key` from the file as it is now. False when there is no such key or no
  // readable file (also one of more than kMaxFileBytes); nothing is open then.
  bool Open(std::u16string_view key);
  // False when nothing is open or the key has no such value.
  bool QueryValue(std::u16string_view name, Kt_SettingValue& value) const;
  void Close();

  // Sets one value, and makes the file, its folders and the key as needed. False, and the file as
  // it was, when it cannot be written, or key or name hold what a line cannot (line breaks, '=' in
  // the name, ']' in the key, blanks at the ends).
  static bool WriteNumber(std::u16string_view key, std::u16string_view name, std::uint32_t number);
  static bool WriteText(std::u16string_view key, std::u16string_view name,
                        std::u16string_view text);

  // Where the file is, as UTF-8; empty when no variable says.
  static std::string FilePath();

  static constexpr std::size_t kMaxFileBytes = 1 << 20;

 private:
  std::vector<std::pair<Kt_WString, Kt_SettingValue>> values_;
  Kt_WString key_;  // that a store of the thread is asked about
  bool is_open_ = false;
};

// While it lives, settings that this thread reads are asked of `store` in place of the file: false
// when there is no such value. Borrows it; null changes nothing. Scopes nest, the innermost counts.
class KT_CLASS_API Kt_ThreadSettings {
 public:
  using Store = std::function<bool(std::u16string_view key, std::u16string_view name,
                                   Kt_SettingValue& value)>;
  explicit Kt_ThreadSettings(const Store* store);
  Kt_ThreadSettings(const Kt_ThreadSettings&) = delete;
  Kt_ThreadSettings& operator=(const Kt_ThreadSettings&) = delete;
  ~Kt_ThreadSettings();

 private:
  const Store* outer_;
};
