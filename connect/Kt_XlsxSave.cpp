// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Codes.h"
#include "connect/Kt_Xlsx.h"
#include "connect/detail/Kt_ColumnBuilder.h"
#include "connect/detail/Kt_Guarded.h"
#include "connect/detail/Kt_LibXlsxWriter.h"
#include "connect/detail/Kt_Values.h"

namespace kt::detail {
namespace {

constexpr kt_long kMaxRows = 1'048'575;  // besides the headings
constexpr std::size_t kMaxColumns = 16'384;
constexpr std::size_t kMaxTextUnits = 32'767;
constexpr std::size_t kMaxSheetName = 31;
// Rows that the widths of columns are taken from.
constexpr kt_long kRowsForWidth = 200;

// What a row of cells looks like; subtotals of deeper levels are lighter.
enum class Look : std::uint8_t { kRecord, kLevel1, kLevel2, kTotal };
constexpr std::size_t kLooks = 4;
enum class Shape : std::uint8_t { kGeneral, kDate, kMoment, kAmount, kDecimals };

// The formats of a workbook, made when they are needed. A format belongs to its workbook.
class Formats {
 public:
  explicit Formats(lxw_workbook* book) : book_(book) {}

  lxw_format* Heading() {
    lxw_format* const format = Make(Look::kRecord);
    format_set_bold(format);
    format_set_bottom(format, LXW_BORDER_THIN);
    format_set_bg_color(format, kHeadColor);
    return format;
  }
  lxw_format* Of(Look look, Shape shape, int decimals) {
    if (look == Look::kRecord && shape == Shape::kGeneral) return nullptr;
    const int places = shape == Shape::kDecimals ? std::clamp(decimals, 0, kMaxDecimals) : 0;
    lxw_format*& known = known_[static_cast<std::size_t>(look)][static_cast<std::size_t>(shape)]
                               [static_cast<std::size_t>(places)];
    if (known != nullptr) return known;
    known = Make(look);
    const std::string code = CodeOf(shape, places);
    if (!code.empty()) format_set_num_format(known, code.c_str());
    return known;
  }

 private:
  static constexpr lxw_color_t kHeadColor = 0xF2F4F6;
  static constexpr lxw_color_t kLevelColors[] = {0xDCE8F4, 0xEEF3F9};
  static constexpr int kMaxDecimals = 30;
  static constexpr std::size_t kShapes = 5;

  static std::string CodeOf(Shape shape, int decimals) {
    switch (shape) {
      case Shape::kDate: return "yyyy-mm-dd";
      case Shape::kMoment: return "yyyy-mm-dd hh:mm:ss";
      case Shape::kAmount: return "#,##0.00##";
      case Shape::kDecimals:
        return decimals == 0 ? "0" : "0." + std::string(static_cast<std::size_t>(decimals), '0');
      default: return {};
    }
  }
  lxw_format* Make(Look look) {
    lxw_format* const format = workbook_add_format(book_);
    if (format == nullptr) throw std::bad_alloc();
    if (look == Look::kRecord) return format;
    format_set_bold(format);
    if (look == Look::kTotal) {
      format_set_top(format, LXW_BORDER_THIN);
    } else {
      format_set_bg_color(format, kLevelColors[look == Look::kLevel1 ? 0 : 1]);
    }
    return format;
  }

  lxw_workbook* book_;
  std::array<std::array<std::array<lxw_format*, kMaxDecimals + 1>, kShapes>, kLooks> known_{};
};

// A file of its own that is gone with the object.
class TemporaryFile {
 public:
  TemporaryFile() {
    std::error_code failure;
    path_ = (std::filesystem::temp_directory_path(failure) / "kt-XXXXXX").string();
    fd_ = failure ? -1 : ::mkstemp(path_.data());
  }
  ~TemporaryFile() {
    if (fd_ < 0) return;
    ::close(fd_);
    ::unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  bool IsThere() const { return fd_ >= 0; }
  const std::string& Path() const { return path_; }
  bool Read(std::string& bytes) const {
    std::ifstream file(path_, std::ios::binary | std::ios::ate);
    const std::streamoff size = file.tellg();
    if (size < 0) return false;
    bytes.resize(static_cast<std::size_t>(size));
    file.seekg(0);
    return static_cast<bool>(file.read(bytes.data(), size));
  }

 private:
  std::string path_;
  int fd_ = -1;
};

// Without the characters that no name of a sheet may have, and at most as long as one may be.
std::string SheetName(const std::string& wanted) {
  const Kt_WString name_wanted = Kt_WString::FromUtf8(wanted);
  Kt_WString kept;
  for (const char16_t unit : name_wanted.View()) {
    if (unit >= u' ' && std::u16string_view(u"[]:*?/\\'").find(unit) == std::u16string_view::npos) {
      kept += unit;
    }
  }
  std::u16string_view name = kept.View().substr(0, kMaxSheetName);
  if (!name.empty() && name.back() >= 0xD800 && name.back() < 0xDC00) name.remove_suffix(1);
  return name.empty() ? "data" : Kt_WString(name).ToUtf8();
}

// The day number as a sheet counts it; nothing for days that it does not have.
std::optional<double> SerialOf(double day) {
  constexpr double kMarch1900 = 61;
  constexpr double kYear10000 = 2'958'466;
  if (!(day >= 2) || day >= kYear10000) return std::nullopt;
  return day < kMarch1900 ? day - 1 : day;
}

class SheetWriter {
 public:
  SheetWriter(const Kt_XlsxTable& table, lxw_workbook* book, std::string& error)
      : table_(table), formats_(book), error_(error) {
    sheet_ = workbook_add_worksheet(book, SheetName(table.sheet).c_str());
    if (sheet_ == nullptr) throw std::bad_alloc();
  }

  bool Write() {
    SetUp();
    if (!WriteHeadings()) return false;
    for (kt_long row = 0; row < table_.row_count; ++row) {
      if (!WriteRow(row)) return false;
    }
    return true;
  }

 private:
  static lxw_row_t SheetRow(kt_long row) { return static_cast<lxw_row_t>(row) + 1; }
  static lxw_col_t SheetColumn(std::size_t column) { return static_cast<lxw_col_t>(column); }

  kt_long LevelOf(kt_long row) const { return table_.level ? table_.level(row) : 0; }
  bool IsTotal(kt_long row) const { return table_.last_is_total && row + 1 == table_.row_count; }
  Look LookOf(kt_long row) const {
    if (IsTotal(row)) return Look::kTotal;
    const kt_long level = LevelOf(row);
    if (level == 0) return Look::kRecord;
    return level == 1 ? Look::kLevel1 : Look::kLevel2;
  }

  void SetUp() {
    worksheet_freeze_panes(sheet_, 1, 0);
    for (kt_long row = 0; row < table_.row_count; ++row) {
      deepest_ = std::max(deepest_, LevelOf(row));
    }
    const bool is_above = table_.row_count > 0 && LevelOf(0) > 0;
    if (deepest_ > 0) worksheet_outline_settings(sheet_, LXW_TRUE, !is_above, LXW_TRUE, LXW_FALSE);
    if (deepest_ == 0 && !table_.columns.empty()) {
      const kt_long rows = table_.row_count - (table_.last_is_total ? 1 : 0);
      worksheet_autofilter(sheet_, 0, 0, static_cast<lxw_row_t>(std::max(rows, 1)),
                           SheetColumn(table_.columns.size() - 1));
    }
    for (std::size_t column = 0; column < table_.columns.size(); ++column) SetWidth(column);
  }

  void SetWidth(std::size_t column) {
    constexpr std::size_t kNarrow = 8;
    constexpr std::size_t kWide = 60;
    constexpr std::size_t kButton = 3;
    std::size_t widest = table_.columns[column].heading.View().size() + kButton;
    for (kt_long row = 0; row < std::min(table_.row_count, kRowsForWidth); ++row) {
      widest = std::max<std::size_t>(widest, Length(table_.cell(row, column)));
    }
    worksheet_set_column(sheet_, SheetColumn(column), SheetColumn(column),
                         static_cast<double>(std::clamp(widest, kNarrow, kWide)) + 1, nullptr);
  }
  static std::size_t Length(const Kt_Variant& value) {
    if (value.IsString()) return value.AsString().View().size();
    if (value.GetTag() == kTagBinary || value.IsList() || value.IsObject()) return 0;
    return value.ToString().View().size();
  }

  bool WriteHeadings() {
    lxw_format* const look = formats_.Heading();
    for (std::size_t column = 0; column < table_.columns.size(); ++column) {
      if (!WriteText(-1, column, table_.columns[column].heading, look)) return false;
    }
    return true;
  }

  bool WriteRow(kt_long row) {
    constexpr std::int64_t kUnitsPerCell = 16 * Kt_WorkMeter::kUnitsPerCell;
    charge_.AddOrLeave(static_cast<std::int64_t>(table_.columns.size()) * kUnitsPerCell);
    const Look look = LookOf(row);
    SetOutline(row);
    for (std::size_t column = 0; column < table_.columns.size(); ++column) {
      if (!WriteCell(row, column, table_.cell(row, column), look)) return false;
    }
    return true;
  }

  // Records lie deepest. A sheet has seven levels.
  void SetOutline(kt_long row) {
    constexpr kt_long kMaxOutline = 7;
    if (deepest_ == 0 || IsTotal(row)) return;
    const kt_long level = LevelOf(row);
    lxw_row_col_options options = {};
    options.level =
        static_cast<std::uint8_t>(std::min(level == 0 ? deepest_ : level - 1, kMaxOutline));
    worksheet_set_row_opt(sheet_, SheetRow(row), LXW_DEF_ROW_HEIGHT, nullptr, &options);
  }

  std::string Place(kt_long row, std::size_t column) const {
    const std::string id = table_.columns[column].heading.ToUtf8();
    return row < 0 ? "the heading '" + id + "'"
                   : "row " + std::to_string(row + 1) + ", column '" + id + "'";
  }
  bool Refuse(kt_long row, std::size_t column, const std::string& reason) {
    error_ = Place(row, column) + ": " + reason;
    return false;
  }

  bool WriteCell(kt_long row, std::size_t column, const Kt_Variant& value, Look look) {
    switch (value.GetTag()) {
      case kTagEmpty: return WriteEmpty(row, column, look);
      case kTagLong:
        return WriteNumber(row, column, value.AsLong(), formats_.Of(look, Shape::kGeneral, 0));
      case kTagBool:
        return Wrote(row, column,
                     worksheet_write_boolean(sheet_, SheetRow(row), SheetColumn(column),
                                             static_cast<int>(value.AsInt64() != 0),
                                             formats_.Of(look, Shape::kGeneral, 0)));
      case kTagDouble: return WriteDouble(row, column, value.AsDouble(), look);
      case kTagCurrency: return WriteAmount(row, column, value, look);
      case kTagDateTime: return WriteDate(row, column, value.AsDouble(), look);
      case kTagList: return Refuse(row, column, "a sheet holds no lists");
      case kTagObject:
      case kTagRef: return Refuse(row, column, "a sheet holds no objects");
      default: return WriteText(row, column, TextOf(value), formats_.Of(look, Shape::kGeneral, 0));
    }
  }

  static Kt_WString TextOf(const Kt_Variant& value) {
    if (value.GetTag() != kTagBinary) return value.ToString();
    constexpr std::u16string_view kDigits = u"0123456789abcdef";
    Kt_WString text;
    for (const std::uint8_t byte : value.AsBinary()) {
      text += kDigits[byte / 16];
      text += kDigits[byte % 16];
    }
    return text;
  }

  bool WriteEmpty(kt_long row, std::size_t column, Look look) {
    if (look == Look::kRecord) return true;
    return Wrote(row, column,
                 worksheet_write_blank(sheet_, SheetRow(row), SheetColumn(column),
                                       formats_.Of(look, Shape::kGeneral, 0)));
  }

  bool WriteNumber(kt_long row, std::size_t column, double value, lxw_format* format) {
    return Wrote(row, column,
                 worksheet_write_number(sheet_, SheetRow(row), SheetColumn(column), value, format));
  }

  // A sheet has no infinite numbers, and none that is no number: these are texts.
  bool WriteDouble(kt_long row, std::size_t column, double value, Look look) {
    if (!std::isfinite(value)) {
      return WriteText(row, column, Kt_WString::FromUtf8(kt::detail::RealText(value)),
                       formats_.Of(look, Shape::kGeneral, 0));
    }
    const int decimals = table_.columns[column].decimals;
    const Shape shape = decimals < 0 ? Shape::kGeneral : Shape::kDecimals;
    return WriteNumber(row, column, value, formats_.Of(look, shape, decimals));
  }

  // A number of a sheet has 15 digits; an amount with more is a text.
  bool WriteAmount(kt_long row, std::size_t column, const Kt_Variant& value, Look look) {
    constexpr std::int64_t kExact = 1'000'000'000'000'000;
    const std::int64_t units = value.AsInt64();
    if (units > kExact || units < -kExact) {
      return WriteText(row, column, value.ToString(), formats_.Of(look, Shape::kGeneral, 0));
    }
    return WriteNumber(row, column, value.ToDouble(), formats_.Of(look, Shape::kAmount, 0));
  }

  bool WriteDate(kt_long row, std::size_t column, double day, Look look) {
    const std::optional<double> serial = SerialOf(day);
    if (!serial) {
      const std::string text = kt::detail::DateText(day, false);
      if (text.empty()) return Refuse(row, column, "a date outside the years 1 to 9999");
      return WriteText(row, column, Kt_WString::FromUtf8(text),
                       formats_.Of(look, Shape::kGeneral, 0));
    }
    const Shape shape = day == std::floor(day) ? Shape::kDate : Shape::kMoment;
    return WriteNumber(row, column, *serial, formats_.Of(look, shape, 0));
  }

  bool WriteText(kt_long row, std::size_t column, const Kt_WString& text, lxw_format* format) {
    if (text.View().size() > kMaxTextUnits) {
      return Refuse(row, column, "longer than 32767 characters");
    }
    std::string utf8;
    if (!kt::detail::ToUtf8(text.View(), utf8)) {
      return Refuse(row, column, "half of a surrogate pair, which UTF-8 does not have");
    }
    if (utf8.find('\0') != std::string::npos) return Refuse(row, column, "a zero character");
    charge_.AddOrLeave(static_cast<std::int64_t>(utf8.size()));
    return Wrote(row, column,
                 worksheet_write_string(sheet_, row < 0 ? 0 : SheetRow(row), SheetColumn(column),
                                        Escaped(utf8).c_str(), format));
  }
  // A text that looks like an escape ("_x000D_") would come back as what it stands for. The two
  // units that no XML may hold need one, which the library does not give them.
  static std::string Escaped(const std::string& utf8) {
    constexpr std::string_view kNoXml[] = {"\xEF\xBF\xBE", "\xEF\xBF\xBF"};
    constexpr std::string_view kEscapes[] = {"_xFFFE_", "_xFFFF_"};
    std::string escaped;
    for (std::size_t at = 0; at < utf8.size(); ++at) {
      const std::string_view rest = std::string_view(utf8).substr(at);
      if (rest.starts_with("_x") && LooksLikeEscape(rest)) escaped += "_x005F";
      const bool is_second = rest.starts_with(kNoXml[1]);
      if (is_second || rest.starts_with(kNoXml[0])) {
        escaped += kEscapes[is_second ? 1 : 0];
        at += kNoXml[0].size() - 1;
      } else {
        escaped += utf8[at];
      }
    }
    return escaped;
  }
  static bool LooksLikeEscape(std::string_view text) {
    const std::string_view digits = text.substr(2, 4);
    return text.size() >= 7 && text[6] == '_' &&
           digits.find_first_not_of("0123456789abcdefABCDEF") == digits.npos;
  }

  bool Wrote(kt_long row, std::size_t column, lxw_error code) {
    if (code == LXW_NO_ERROR) return true;
    if (code == LXW_ERROR_MEMORY_MALLOC_FAILED) throw std::bad_alloc();
    return Refuse(row, column, lxw_strerror(code));
  }

  const Kt_XlsxTable& table_;
  Formats formats_;
  std::string& error_;
  lxw_worksheet* sheet_ = nullptr;
  kt_long deepest_ = 0;
  RoundCharge charge_;
};

bool HasRoom(const Kt_XlsxTable& table, std::string& error) {
  if (table.row_count > kMaxRows) {
    error = "a sheet holds 1048575 rows, these are " + std::to_string(table.row_count);
    return false;
  }
  if (table.columns.size() > kMaxColumns) {
    error = "a sheet holds 16384 columns, these are " + std::to_string(table.columns.size());
    return false;
  }
  return true;
}

kt_long Save(const Kt_XlsxTable& table, std::string& bytes, std::string& error) {
  if (!HasRoom(table, error) || !LoadLibXlsxWriter(error)) return kFailed;
  const TemporaryFile file;
  if (!file.IsThere()) {
    error = "cannot make a temporary file";
    return kFailed;
  }
  // Each row goes to a temporary file once it is written.
  lxw_workbook_options options = {};
  options.constant_memory = LXW_TRUE;
  lxw_workbook* book = workbook_new_opt(file.Path().c_str(), &options);
  if (book == nullptr) throw std::bad_alloc();
  // Closing writes the file, and is the only way to free a workbook.
  struct Closer {
    void operator()(lxw_workbook* open) const { workbook_close(open); }
  };
  std::unique_ptr<lxw_workbook, Closer> closer(book);
  SheetWriter writer(table, book, error);
  if (!writer.Write()) return kFailed;
  const lxw_error code = workbook_close(closer.release());
  if (code == LXW_NO_ERROR && file.Read(bytes)) return kOk;
  error = code == LXW_NO_ERROR ? "cannot read the temporary file" : lxw_strerror(code);
  return kFailed;
}

}  // namespace
}  // namespace kt::detail

bool kt::SaveXlsx(const Kt_XlsxTable& table, std::string& bytes, std::string& error) {
  bytes.clear();
  const bool is_saved =
      detail::Guarded(error, [&] { return detail::Save(table, bytes, error); }) >= 0;
  if (!is_saved) bytes.clear();
  return is_saved;
}
