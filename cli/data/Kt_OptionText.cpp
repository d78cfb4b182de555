// SPDX-License-Identifier: MIT
#include "cli/data/Kt_OptionText.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

#include "classlib/formats/Kt_CellForms.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::cli {
namespace {

// ---- Values -----------------------------------------------------------------------------------

// The parts between commas, without blanks around them.
std::vector<Kt_WString> ListOf(std::string_view value) {
  std::vector<Kt_WString> items;
  while (!value.empty()) {
    const std::size_t end = std::min(value.find(','), value.size());
    Kt_WString item = Kt_WString::FromUtf8(value.substr(0, end));
    item.Trim();
    if (!item.IsEmpty()) items.push_back(item);
    value.remove_prefix(std::min(end + 1, value.size()));
  }
  return items;
}

// One unit; a tab may be written as "\t".
bool ReadUnit(std::string_view value, char16_t& unit) {
  const Kt_WString text = Kt_WString::FromUtf8(value == "\\t" ? "\t" : value);
  if (text.GetLength() != 1) return false;
  unit = text.GetAt(0);
  return unit != u'\n' && unit != u'\r' && unit != u'\0';
}

bool ReadCount(std::string_view value, std::int64_t& count) {
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), count);
  return error == std::errc() && end == value.data() + value.size() && count >= 0;
}

constexpr const char* kOneCharacter = "one character";

bool ReadFormat(std::string_view value, DataOptions& options, std::string& expected) {
  expected = "csv, tsv, xml, json, jsonl, ktb, xlsx or md";
  options.format = FindDataFormat(value);
  return options.format.has_value();
}

bool ReadSeparator(std::string_view value, DataOptions& options, std::string& expected) {
  expected = "auto or one character other than \" (\\t for a tab)";
  options.separator.reset();
  char16_t unit = 0;
  if (value == "auto") return true;
  if (!ReadUnit(value, unit) || unit == u'"') return false;
  options.separator = unit;
  return true;
}

bool ReadQuote(std::string_view value, DataOptions& options, std::string& expected) {
  expected = "auto, none or one character";
  char16_t unit = 0;
  if (value == "auto") {
    unit = Kt_CsvOptions::kAuto;
  } else if (value != "none" && !ReadUnit(value, unit)) {
    return false;
  }
  options.quote = unit;
  return true;
}

bool ReadComment(std::string_view value, DataOptions& options, std::string& expected) {
  expected = kOneCharacter;
  return ReadUnit(value, options.comment);
}

bool ReadSkip(std::string_view value, DataOptions& options, std::string& expected) {
  expected = "a number of lines";
  return ReadCount(value, options.skip);
}

bool ReadNoHeader(std::string_view, DataOptions& options, std::string&) {
  options.header = false;
  return true;
}

bool ReadSheet(std::string_view value, DataOptions& options, std::string& expected) {
  expected = "the name or number of a sheet";
  options.sheet = value;
  return !value.empty();
}

bool ReadEncoding(std::string_view value, DataOptions& options, std::string& expected) {
  expected = "auto or the name of an encoding";
  options.guess_encoding = value == "auto";
  options.code_page = FindEncoding(value);
  return options.guess_encoding || options.code_page;
}

bool ReadSaveEncoding(std::string_view value, DataOptions& options, std::string& expected) {
  expected = "the name of an encoding";
  options.save_code_page = FindEncoding(value);
  return options.save_code_page.has_value();
}

bool ReadTypes(std::string_view value, DataOptions& options, std::string& expected) {
  expected =
      "COLUMN:TYPE,... with the types long, double, currency, datetime, string, binary, variant";
  for (const Kt_WString& item : ListOf(value)) {
    const std::u16string_view text = item;
    const std::size_t colon = text.rfind(u':');
    Kt_ColumnType type;
    if (colon == text.npos || colon == 0) return false;
    Kt_WString name(text.substr(colon + 1));
    name.Trim();
    if (!kt_findcolumntypeW(name, type)) return false;
    Kt_WString column(text.substr(0, colon));
    column.RTrim();
    options.rules.types.emplace_back(column, type);
  }
  return !options.rules.types.empty();
}

bool ReadNull(std::string_view value, DataOptions& options, std::string&) {
  options.rules.null_tokens = ListOf(value);
  return true;
}

bool ReadDecimal(std::string_view value, DataOptions& options, std::string& expected) {
  expected = kOneCharacter;
  return ReadUnit(value, options.rules.decimal);
}

bool ReadThousands(std::string_view value, DataOptions& options, std::string& expected) {
  expected = kOneCharacter;
  return ReadUnit(value, options.rules.thousands);
}

bool ReadCurrencySymbols(std::string_view, DataOptions& options, std::string&) {
  options.rules.currency_symbols = true;
  return true;
}

bool ReadDates(std::string_view value, DataOptions& options, std::string& expected) {
  expected = "dmy, mdy or ymd";
  if (value == "dmy") options.rules.dates = Kt_DateOrder::kDayMonthYear;
  if (value == "mdy") options.rules.dates = Kt_DateOrder::kMonthDayYear;
  if (value == "ymd") options.rules.dates = Kt_DateOrder::kYearMonthDay;
  return value == "dmy" || value == "mdy" || value == "ymd";
}

bool ReadRejects(std::string_view value, DataOptions& options, std::string& expected) {
  expected = "the name of a file";
  options.rejects = value;
  return !value.empty();
}

bool ReadAllowRejects(std::string_view value, DataOptions& options, std::string& expected) {
  expected = "a number of rows and cells";
  std::int64_t count = 0;
  if (!ReadCount(value, count)) return false;
  options.allow_rejects = count;
  return true;
}

bool ReadTyped(std::string_view, DataOptions& options, std::string&) {
  options.typed = true;
  return true;
}

bool ReadGuardFormulas(std::string_view, DataOptions& options, std::string&) {
  options.guard_formulas = true;
  return true;
}

// clang-format off
constexpr DataOption kOptions[] = {
    // name, value, help, of loads, of saves, reader
    {"format", "csv|tsv|xml|json|jsonl|ktb|xlsx|md", "The format of data files, whatever their ending", true, true, ReadFormat},
    {"encoding", "NAME", "Of data files that are not UTF-8; auto: the likeliest one", true, true, ReadEncoding},
    {"separator", "CHAR", "Between the cells of a CSV file (auto)", true, true, ReadSeparator},
    {"quote", "CHAR", "Around cells of a CSV file: auto, none or a character", true, false, ReadQuote},
    {"comment", "CHAR", "Leave out the lines of a CSV file that begin with it", true, false, ReadComment},
    {"skip", "N", "Leave out the first N lines of a CSV file, or rows of a sheet", true, false, ReadSkip},
    {"no-header", "", "The first row of a CSV file or sheet is data", true, false, ReadNoHeader},
    {"sheet", "NAME", "The sheet of a workbook, by its name or number (the first)", true, false, ReadSheet},
    {"types", "LIST", "Types of columns: \"price:double,zip:string\"", true, false, ReadTypes},
    {"null", "LIST", "Texts that are null in every column: \"NA,-\"; '' for none", true, false, ReadNull},
    {"decimal", "CHAR", "The decimal point of numbers (.)", true, false, ReadDecimal},
    {"thousands", "CHAR", "Between groups of three digits", true, false, ReadThousands},
    {"currency-symbols", "", "\"$1.50\" and \"(1.50)\", which is negative, are numbers", true, false, ReadCurrencySymbols},
    {"dates", "dmy|mdy|ymd", "Of dates that do not begin with the year", true, false, ReadDates},
    {"rejects", "FILE", "Write rows that cannot be loaded there, and load the rest", true, false, ReadRejects},
    {"allow-rejects", "N", "Load although up to N rows and cells are lost", true, false, ReadAllowRejects},
    {"save-encoding", "NAME", "Of data that is written", false, true, ReadSaveEncoding},
    {"typed", "", "Headings of saved CSV say the types of their columns", false, true, ReadTyped},
    {"guard-formulas", "", "An apostrophe before texts in CSV that a spreadsheet would run", false, true, ReadGuardFormulas},
};
// clang-format on

const DataOption* Find(std::string_view name) {
  for (const DataOption& option : kOptions) {
    if (option.name == name) return &option;
  }
  return nullptr;
}

// ---- Options of scripts -----------------------------------------------------------------------

// "name=value", or the name alone.
bool ReadPair(std::string_view name, std::optional<std::string_view> value, bool loads,
              DataOptions& options, std::string& reason) {
  const DataOption* const option = Find(name);
  if (option == nullptr || !(loads ? option->loads : option->saves)) {
    std::string known;
    for (const DataOption& row : kOptions) {
      if (loads ? row.loads : row.saves)
        known += (known.empty() ? "" : ", ") + std::string(row.name);
    }
    reason = fmt::format("there is no option '{}'; options: {}", name, known);
    return false;
  }
  if (option->value.empty() == value.has_value()) {
    reason = value ? fmt::format("{} has no value, not '{}'", name, *value)
                   : fmt::format("{} needs a value: {}={}", name, name, option->value);
    return false;
  }
  return ReadDataOption(name, value.value_or(""), options, reason);
}

class OptionText {
 public:
  explicit OptionText(std::string_view text) : rest_(text) {}

  bool Read(bool loads, DataOptions& options, std::string& reason) {
    for (SkipBlanks(); !rest_.empty(); SkipBlanks()) {
      const std::string_view name = Take(rest_.find_first_of(" \t\r\n="));
      std::optional<std::string_view> value;
      if (rest_.starts_with('=')) {
        rest_.remove_prefix(1);
        value = Value();
        if (!value) {
          reason = fmt::format("{}: a quote that is never closed", name);
          return false;
        }
      }
      if (!ReadPair(name, value, loads, options, reason)) return false;
    }
    return true;
  }

 private:
  void SkipBlanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size()));
  }
  std::string_view Take(std::size_t end) {
    const std::string_view taken = rest_.substr(0, end);
    rest_.remove_prefix(taken.size());
    return taken;
  }
  std::optional<std::string_view> Value() {
    if (!rest_.starts_with('"') && !rest_.starts_with('\''))
      return Take(rest_.find_first_of(" \t\r\n"));
    const std::size_t end = rest_.find(rest_[0], 1);
    // A quote alone is a value: quote='.
    if (end == rest_.npos && rest_.find_first_of(" \t\r\n") == 1) return Take(1);
    if (end == rest_.npos) return rest_.size() == 1 ? std::optional(Take(1)) : std::nullopt;
    const std::string_view quoted = rest_.substr(1, end - 1);
    rest_.remove_prefix(end + 1);
    return quoted;
  }

  std::string_view rest_;
};

bool ReadItem(const std::string& item, bool loads, DataOptions& options, std::string& reason) {
  const std::string_view text = item;
  const std::size_t equals = text.find('=');
  if (equals == text.npos) return ReadPair(text, std::nullopt, loads, options, reason);
  return ReadPair(text.substr(0, equals), text.substr(equals + 1), loads, options, reason);
}

}  // namespace

std::span<const DataOption> AllDataOptions() { return kOptions; }

bool ReadDataOption(std::string_view name, std::string_view value, DataOptions& options,
                    std::string& reason) {
  const DataOption* const option = Find(name);
  std::string expected;
  if (option != nullptr && option->read(value, options, expected)) return true;
  reason = option == nullptr ? fmt::format("there is no option '{}'", name)
                             : fmt::format("{}: expected {}, not '{}'", name, expected, value);
  return false;
}

bool ReadDataOptions(const Kt_Variant& given, bool loads, DataOptions& options,
                     std::string& reason) {
  const Kt_Variant& value = given.Target();
  if (!value.IsList()) {
    return OptionText(value.ToString().ToUtf8()).Read(loads, options, reason) &&
           CheckDataOptions(options, reason);
  }
  for (const Kt_Variant& item : value.GetList()) {
    if (!ReadItem(item.ToString().ToUtf8(), loads, options, reason)) return false;
  }
  return CheckDataOptions(options, reason);
}

bool CheckDataOptions(const DataOptions& options, std::string& reason) {
  const Kt_CellRules& rules = options.rules;
  if (rules.thousands == rules.decimal) {
    reason = fmt::format("thousands: '{}' is the decimal point already",
                         Kt_WString(std::u16string_view(&rules.thousands, 1)).ToUtf8());
    return false;
  }
  if (const std::u16string_view fault = Kt_CellReader(rules).Fault(); !fault.empty()) {
    reason = "decimal: " + Kt_WString(fault).ToUtf8();
    return false;
  }
  if (options.separator && options.quote && *options.separator == *options.quote) {
    reason = fmt::format("separator: '{}' is the quote already",
                         Kt_WString(std::u16string_view(&*options.separator, 1)).ToUtf8());
    return false;
  }
  return true;
}

}  // namespace kt::cli
