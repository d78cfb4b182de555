// SPDX-License-Identifier: MIT
//
// Random files of CSV in all notations: every cell has the value that it was written for, every
// column the type of all of its cells, and the records are those of the plain reader.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <random>

#include "classlib/store/Kt_Dataset.h"
#include "common/text.h"
#include "plain_csv.h"

namespace {

std::u16string Wide(std::string_view utf8) {
  return std::u16string(Kt_WString::FromUtf8(utf8).View());
}

bool IsBlank(std::u16string_view text) { return text.find_first_not_of(u" \t") == text.npos; }

enum class Kind { kNull, kToken, kLong, kDouble, kDate, kText };

// What a text stands for by the rules of one file.
struct Meaning {
  Kind kind = Kind::kText;
  double value = 0;  // of a date: its days
};

double DaysOf(int year, unsigned month, unsigned day, double milliseconds = 0) {
  const std::chrono::sys_days date =
      std::chrono::year(year) / static_cast<int>(month) / static_cast<int>(day);
  return 25569 + date.time_since_epoch().count() + milliseconds / 86400000;
}

// The texts that a file is made of, with what they mean by its rules.
class Vocabulary {
 public:
  Vocabulary(const Kt_CsvOptions& options, std::mt19937& random)
      : rules_(options.rules), random_(random) {
    AddNumbers();
    AddDates();
    for (const char* const text : {"word",       "two words", "007",  "9007199254740993",
                                   "1e999",      "10%",       "0x10", "1..2",
                                   "+",          "é",         "true", "2024-02-30",
                                   "2024-13-01", "1-2",       "'",    "a:b",
                                   "1.5.",       "--1",       "1e",   "e5",
                                   "5 kg"}) {
      Add(text, {});
    }
    Add("  ", {Kind::kNull});
    for (const char* const text : {"NA", "n/a", "-", ".", "NULL", "None", "#N/A"}) {
      Add(text, {rules_.null_tokens ? Kind::kText : Kind::kToken});
    }
    if (!rules_.null_tokens) return;
    for (const Kt_WString& token : *rules_.null_tokens) Set(token.View(), {Kind::kNull});
  }

  // Of a column of that kind, now and then of another one.
  std::u16string Any(Kind kind) {
    const std::vector<std::u16string>& texts = by_kind_[random_() % 60 == 0 ? AnyKind() : kind];
    return texts.empty() ? u"" : texts[random_() % texts.size()];
  }
  Meaning Of(const PlainCsv::Cell& cell) const {
    if (IsBlank(cell.text)) return {Kind::kNull};
    const auto found = meanings_.find(cell.text);
    return found != meanings_.end() ? found->second : Meaning();
  }
  Kind AnyKind() {
    constexpr Kind kKinds[] = {Kind::kLong, Kind::kLong, Kind::kDouble, Kind::kDate, Kind::kText};
    return kKinds[random_() % 5];
  }

 private:
  void Set(std::u16string_view text, Meaning meaning) {
    meanings_[std::u16string(text)] = meaning;
    by_kind_[meaning.kind].emplace_back(text);
    if (meaning.kind == Kind::kToken || meaning.kind == Kind::kNull) {
      for (const Kind kind : {Kind::kLong, Kind::kDouble, Kind::kDate, Kind::kText}) {
        by_kind_[kind].emplace_back(text);
      }
    }
  }
  void Add(std::string_view utf8, Meaning meaning) { Set(Wide(utf8), meaning); }
  // Also with blanks around it.
  void AddLoose(const std::u16string& text, Meaning meaning) {
    Set(text, meaning);
    if (random_() % 3 == 0) Set(u" " + text + u"\t", meaning);
  }

  // A number in the notation of the rules, from digits with a point.
  void AddNumber(const std::string& digits, Kind kind) {
    const double value = std::strtod(digits.c_str(), nullptr);
    std::u16string text = Wide(digits);
    if (const auto point = text.find(u'.'); point != text.npos) text[point] = rules_.decimal;
    AddLoose(text, {kind, value});
    const std::size_t sign = text[0] == u'-' || text[0] == u'+' ? 1 : 0;
    const std::size_t end = std::min(text.find_first_not_of(u"0123456789", sign), text.size());
    if (rules_.thousands == 0 || end < sign + 4 || text.find(u'e') != text.npos) return;
    for (std::size_t at = end - 3;; at -= 3) {
      text.insert(at, 1, rules_.thousands);
      if (at <= sign + 3) break;
    }
    AddLoose(text, {kind, value});
  }

  void AddNumbers() {
    for (int count = 0; count < 30; ++count) {
      const std::int64_t sign = random_() % 3 == 0 ? -1 : 1;
      AddNumber(std::to_string(sign * static_cast<std::int64_t>(random_() >> (random_() % 31 + 1))),
                Kind::kLong);
      AddNumber(std::to_string(sign * static_cast<std::int64_t>(3000000000 + random_() * 100000LL)),
                Kind::kDouble);
      AddNumber(std::to_string(sign * (random_() % 100000 / 100.0)) + "1", Kind::kDouble);
      AddNumber(std::to_string(random_() % 1000) + "." + std::to_string(random_()) +
                    std::to_string(random_()) + std::to_string(random_()),
                Kind::kDouble);
      AddNumber(
          std::to_string(random_() % 100) + ".5e" + std::to_string(int(random_() % 600) - 300),
          Kind::kDouble);
    }
    for (const char* const text : {"2147483647", "-2147483648", "+12", "0"}) {
      AddNumber(text, Kind::kLong);
    }
    for (const char* const text : {"2147483648", "9007199254740992", ".5", "5.", "-.25", "1e5",
                                   "5e-324", "2.2250738585072011e-308", "1E+3", "nan", "-inf",
                                   "Infinity", "0.1", "123456.789012345678"}) {
      AddNumber(text, Kind::kDouble);
    }
    // The same text in two notations.
    const bool comma = rules_.decimal == u',';
    const auto both = [&](const char* text, char16_t mark, double fraction, kt_long whole) {
      if (rules_.decimal == mark) return Add(text, {Kind::kDouble, fraction});
      if (rules_.thousands == mark) return Add(text, {Kind::kLong, static_cast<double>(whole)});
      Add(text, {});
    };
    both("1.234", u'.', 1.234, 1234);
    both("1,234", u',', 1.234, 1234);
    Add(comma ? "1.5" : "1,5", {});  // groups have three digits
    Add(comma ? "1,2,3" : "1.2.3", {});
    if (rules_.thousands == 0) return;
    for (const std::u16string_view wrong :
         {u"1_23", u"1_2345", u"_123", u"1_", u"0_123", u"1__234", u"12_345_67", u"1234_567"}) {
      std::u16string text(wrong);
      std::ranges::replace(text, u'_', rules_.thousands);
      // Blanks at the ends do not count.
      const bool has_loose_end =
          IsBlank(text.substr(0, 1)) || IsBlank(text.substr(text.size() - 1));
      if (!has_loose_end) Set(text, {});
    }
  }

  void AddDates() {
    const auto add = [&](const char* text, double days) { Add(text, {Kind::kDate, days}); };
    for (int count = 0; count < 20; ++count) {
      const int year = 1 + static_cast<int>(random_() % 9999);
      const unsigned month = 1 + random_() % 12;
      const unsigned day = 1 + random_() % 28;
      char text[40];
      const char mark = "-/."[random_() % 3];
      std::snprintf(text, sizeof text, random_() % 2 == 0 ? "%04d%c%02u%c%02u" : "%04d%c%u%c%u",
                    year, mark, month, mark, day);
      add(text, DaysOf(year, month, day));
    }
    add("2024-02-29", DaysOf(2024, 2, 29));
    add("1899-12-30", 0);
    add("1850-05-01 12:00", DaysOf(1850, 5, 1, 43200000));
    add("2024-02-29T10:11:12.345", DaysOf(2024, 2, 29, 36672345));
    add("2024-03-01T00:10:00+01:30", DaysOf(2024, 2, 29, 81600000));
    add("2024-12-31 23:30Z", DaysOf(2024, 12, 31, 84600000));
    add("20241231T2330-0045", DaysOf(2025, 1, 1, 900000));
    const auto ordered = [&](const char* text, Kt_DateOrder order, double days) {
      const bool is_date = rules_.dates == order;
      if (is_date || !meanings_.contains(Wide(text))) {
        Add(text, is_date ? Meaning{Kind::kDate, days} : Meaning());
      }
    };
    ordered("31.12.2024", Kt_DateOrder::kDayMonthYear, DaysOf(2024, 12, 31));
    ordered("12/31/2024", Kt_DateOrder::kMonthDayYear, DaysOf(2024, 12, 31));
    ordered("68-01-31", Kt_DateOrder::kYearMonthDay, DaysOf(2068, 1, 31));
    ordered("1/2/1999", Kt_DateOrder::kDayMonthYear, DaysOf(1999, 2, 1));
    ordered("1/2/1999", Kt_DateOrder::kMonthDayYear, DaysOf(1999, 1, 2));
    ordered("13/1/69 5:06 PM", Kt_DateOrder::kDayMonthYear, DaysOf(1969, 1, 13, 61560000));
  }

  const Kt_CellRules& rules_;
  std::mt19937& random_;
  std::map<std::u16string, Meaning> meanings_;
  std::map<Kind, std::vector<std::u16string>> by_kind_;
};

class File {
 public:
  explicit File(unsigned seed) : random_(seed) {
    ChooseOptions();
    vocabulary_.emplace(options_, random_);
    columns_ = 1 + Roll(6);
    for (std::size_t col = 0; col < columns_; ++col) kinds_.push_back(vocabulary_->AnyKind());
    if (Roll(8) == 0) text_ += u'\xFEFF';
    for (std::int64_t line = 0; line < options_.skip; ++line) text_ += u"left out; \"\n";
    if (options_.header)
      AddRecord([](std::size_t col) { return u"c" + std::u16string(col, u'x'); });
    const std::size_t rows = Roll(20) == 0 ? 3000 : Roll(40);
    for (std::size_t row = 0; row < rows; ++row) {
      if (options_.comment != 0 && Roll(9) == 0)
        text_ += options_.comment + std::u16string(u"\"x\n");
      AddRecord([&](std::size_t col) { return Cell(col); });
    }
  }

  const Kt_CsvOptions& Options() const { return options_; }
  const std::u16string& Text() const { return text_; }
  Meaning MeaningOf(const PlainCsv::Cell& cell) const { return vocabulary_->Of(cell); }

 private:
  std::size_t Roll(std::size_t count) { return random_() % count; }

  void ChooseOptions() {
    constexpr char16_t kSeparators[] = {u';', u'\t', u'|', u'\x20AC'};
    constexpr char16_t kThousands[] = {0, u'.', u',', u'\'', u' '};
    constexpr char16_t kQuotes[] = {u'"', u'"', u'~', 0};
    options_.separator = kSeparators[Roll(4)];
    options_.quote = kQuotes[Roll(4)];
    options_.comment = Roll(3) == 0 ? u'^' : u'\0';
    options_.skip = static_cast<std::int64_t>(Roll(6) == 0 ? Roll(3) : 0);
    options_.header = Roll(4) != 0;
    Kt_CellRules& rules = options_.rules;
    if (Roll(3) == 0) rules.decimal = u',';
    rules.thousands = kThousands[Roll(5)];
    if (rules.thousands == rules.decimal) rules.thousands = 0;
    if (rules.thousands == 0 && rules.decimal == u'.' && Roll(2) == 0) {
      options_.separator = u',';
    }
    if (Roll(2) == 0) rules.dates = static_cast<Kt_DateOrder>(Roll(3));
    if (Roll(4) == 0) rules.null_tokens = {u"word", u"-", u"2024-02-29", u"424242"};
  }

  std::u16string Cell(std::size_t col) {
    switch (Roll(30)) {
      case 0: return u"";
      case 1: return Roll(8) == 0 ? u"line\r\nend" : u"";
      case 2: return Roll(8) == 0 ? std::u16string(3, options_.separator) : u"";
      case 3: return Roll(8) == 0 ? u"a \"quoted\" ~word~" : u"";
      default: return vocabulary_->Any(kinds_[std::min(col, columns_ - 1)]);
    }
  }

  // In quotes where it needs them, or by chance; now and then broken.
  std::u16string Written(const std::u16string& cell) {
    if (options_.quote == 0) {
      return cell.find_first_of(std::u16string(u"\r\n") + options_.separator) == cell.npos ? cell
                                                                                           : u"x";
    }
    const bool needs = cell.find_first_of(std::u16string(u"\r\n") + options_.separator +
                                          options_.quote) != cell.npos;
    if (!needs && Roll(6) != 0) return cell;
    std::u16string out(1, options_.quote);
    for (const char16_t unit : cell) out.append(unit == options_.quote ? 2 : 1, unit);
    return Roll(400) == 0 ? out : out + options_.quote;
  }

  template <class Make>
  void AddRecord(Make make) {
    constexpr const char16_t* kEnds[] = {u"\n", u"\n", u"\r\n", u"\r"};
    const std::size_t cells = !text_.empty() && Roll(40) == 0 ? Roll(columns_ + 2) : columns_;
    std::u16string record;
    for (std::size_t col = 0; col < cells; ++col) {
      if (col > 0) record += options_.separator;
      record += Written(make(col));
    }
    text_ += record + kEnds[Roll(4)];
  }

  std::mt19937 random_;
  Kt_CsvOptions options_;
  std::optional<Vocabulary> vocabulary_;
  std::size_t columns_ = 1;
  std::vector<Kind> kinds_;
  std::u16string text_;
};

// The records that become rows, as the plain reader has them.
std::vector<PlainCsv::Record> GoodRecords(const File& file, std::size_t columns) {
  std::u16string_view text = file.Text();
  if (text.starts_with(u'\xFEFF')) text.remove_prefix(1);
  const Kt_CsvOptions& options = file.Options();
  PlainCsv reader(text, options.separator, options.quote, options.comment);
  for (std::int64_t line = 0; line < options.skip; ++line) reader.SkipLine();
  PlainCsv::Record record;
  while (options.header && reader.Next(record) && record.IsEmpty()) continue;
  std::vector<PlainCsv::Record> records;
  while (reader.Next(record)) {
    if (record.IsEmpty() && columns > 1) continue;
    while (record.cells.size() > columns && record.cells.back().IsNull()) record.cells.pop_back();
    if (!record.good || record.cells.size() > columns) continue;
    record.cells.resize(columns);
    records.push_back(record);
  }
  return records;
}

Kt_ColumnType TypeOf(const File& file, const std::vector<PlainCsv::Record>& records,
                     std::size_t col) {
  std::map<Kind, int> seen;
  for (const PlainCsv::Record& record : records) ++seen[file.MeaningOf(record.cells[col]).kind];
  const bool has_numbers = seen.contains(Kind::kLong) || seen.contains(Kind::kDouble);
  const bool has_dates = seen.contains(Kind::kDate);
  if (seen.contains(Kind::kText) || has_numbers == has_dates) return Kt_ColumnType::kString;
  if (has_dates) return Kt_ColumnType::kDateTime;
  return seen.contains(Kind::kDouble) ? Kt_ColumnType::kDouble : Kt_ColumnType::kLong;
}

void ExpectCell(const Kt_Variant& value, const PlainCsv::Cell& cell, const Meaning& meaning,
                Kt_ColumnType type, bool has_null_tokens) {
  const bool is_null_token = meaning.kind == Kind::kNull && has_null_tokens && !IsBlank(cell.text);
  if (type == Kt_ColumnType::kString) {
    const bool is_null = cell.IsNull() || is_null_token;
    EXPECT_EQ(value.IsEmpty(), is_null) << Utf8(cell.text);
    EXPECT_EQ(Utf8(value.ToString()), is_null ? "" : Utf8(cell.text));
  } else if (meaning.kind == Kind::kNull || meaning.kind == Kind::kToken) {
    EXPECT_TRUE(value.IsEmpty()) << Utf8(cell.text);
  } else if (std::isnan(meaning.value)) {
    EXPECT_TRUE(std::isnan(value.ToDouble())) << Utf8(cell.text);
  } else if (type == Kt_ColumnType::kDateTime) {
    EXPECT_NEAR(value.ToDateTime().days, meaning.value, 1e-9) << Utf8(cell.text);
  } else {
    EXPECT_EQ(value.ToDouble(), meaning.value) << Utf8(cell.text);
    EXPECT_EQ(value.GetTag(), type == Kt_ColumnType::kLong ? kTagLong : kTagDouble);
  }
}

TEST(CsvValues, AreThoseOfThePlainReader) {
  std::map<Kt_ColumnType, int> types;
  for (unsigned seed = 0; seed < 3000 && !HasFailure(); ++seed) {
    const File file(seed);
    SCOPED_TRACE(testing::Message() << "seed " << seed << "\n"
                                    << Utf8(file.Text()).substr(0, 2000));
    Kt_Dataset data;
    Kt_LoadReport report;
    const kt_long loaded = seed % 2 == 0
                               ? data.LoadCSVBytes(Utf8(file.Text()), file.Options(), report)
                               : data.LoadCSV(Kt_WString(file.Text()), file.Options(), report);
    const auto columns = static_cast<std::size_t>(data.GetColCount());
    const std::vector<PlainCsv::Record> records = GoodRecords(file, columns);
    if (loaded < 0) {
      EXPECT_TRUE(records.empty()) << Utf8(report.error);
      continue;
    }
    ASSERT_EQ(static_cast<std::size_t>(loaded), records.size());
    EXPECT_EQ(report.cells_not_converted, 0);
    for (std::size_t col = 0; col < columns; ++col) {
      const Kt_ColumnType type = data.GetColType(static_cast<kt_long>(col));
      ++types[type];
      ASSERT_EQ(type, TypeOf(file, records, col)) << "column " << col;
      for (std::size_t row = 0; row < records.size() && !HasFailure(); ++row) {
        const PlainCsv::Cell& cell = records[row].cells[col];
        ExpectCell(data.ReadColumn(static_cast<kt_long>(row), static_cast<kt_long>(col)), cell,
                   file.MeaningOf(cell), type, file.Options().rules.null_tokens.has_value());
      }
    }
  }
  for (const Kt_ColumnType type : {Kt_ColumnType::kLong, Kt_ColumnType::kDouble,
                                   Kt_ColumnType::kDateTime, Kt_ColumnType::kString}) {
    EXPECT_GT(types[type], 500);
  }
}

}  // namespace
