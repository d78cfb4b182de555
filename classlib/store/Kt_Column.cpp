// SPDX-License-Identifier: MIT
#include "classlib/store/Kt_Column.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/detail/Kt_SparingGrowth.h"
#include "classlib/store/detail/Kt_CellValue.h"
#include "classlib/text/Kt_Number.h"
#include "classlib/value/detail/Kt_VariantText.h"

namespace {

struct TypeName {
  std::u16string_view name;
  Kt_ColumnType type;
};

// The first name of a type is the one it goes by.
constexpr TypeName kTypeNames[] = {
    {u"string", Kt_ColumnType::kString},     {u"long", Kt_ColumnType::kLong},
    {u"double", Kt_ColumnType::kDouble},     {u"currency", Kt_ColumnType::kCurrency},
    {u"datetime", Kt_ColumnType::kDateTime}, {u"binary", Kt_ColumnType::kBinary},
    {u"variant", Kt_ColumnType::kVariant},   {u"text", Kt_ColumnType::kString},
    {u"int", Kt_ColumnType::kLong},          {u"integer", Kt_ColumnType::kLong},
    {u"number", Kt_ColumnType::kDouble},     {u"float", Kt_ColumnType::kDouble},
    {u"decimal", Kt_ColumnType::kDouble},    {u"date", Kt_ColumnType::kDateTime},
};

// Unused texts are dropped once there are this many more than rows could use.
constexpr std::size_t kSpareTexts = 4096;

Kt_Variant BinaryOf(const Kt_Variant& value) {
  if (value.GetTag() == kTagBinary) return value;
  const std::string bytes = value.ToString().ToUtf8();
  Kt_Variant binary;
  binary.SetBinary(bytes.data(), bytes.size());
  return binary;
}

// The value that a column of type `type` keeps of a value that is not empty.
Kt_Variant Convert(Kt_ColumnType type, const Kt_Variant& value) {
  const bool empty_text = value.IsString() && value.AsStringView().empty();
  switch (type) {
    case Kt_ColumnType::kString: return value.IsString() ? value : Kt_Variant(value.ToString());
    case Kt_ColumnType::kLong: return empty_text ? Kt_Variant() : Kt_Variant(value.ToInteger());
    case Kt_ColumnType::kDouble: return empty_text ? Kt_Variant() : Kt_Variant(value.ToDouble());
    case Kt_ColumnType::kCurrency:
      return empty_text ? Kt_Variant() : Kt_Variant(value.ToCurrency());
    case Kt_ColumnType::kDateTime: {
      Kt_DateTime moment;
      double number = 0.0;
      if (value.IsString() && !Kt_DateTime::FromText(value.AsStringView(), moment) &&
          !kt_readnumberW(value.AsStringView(), number)) {
        return {};
      }
      return Kt_Variant(value.ToDateTime());
    }
    case Kt_ColumnType::kBinary: return BinaryOf(value);
    case Kt_ColumnType::kVariant: return value;
  }
  return {};
}

// Numbers are no steps, but a million of them takes time where the compiler does not optimise: the
// clock is looked at.
template <class Numbers>
Numbers CopyOfNumbers(const Numbers& numbers) {
  constexpr std::size_t kPiece = 64 * 1024;
  Numbers copy;
  copy.reserve(numbers.size());
  for (std::size_t first = 0; first < numbers.size(); first += kPiece) {
    const auto count = static_cast<std::ptrdiff_t>(std::min(kPiece, numbers.size() - first));
    if (numbers.size() > kPiece && !kt::ChargeTime(count)) throw kt::detail::WorkStopped();
    const auto from = numbers.begin() + static_cast<std::ptrdiff_t>(first);
    copy.insert(copy.end(), from, from + count);
  }
  return copy;
}

// Values share what they hold, which takes longer than copying numbers.
template <class Cells>
Cells CopyOf(const Cells& cells) {
  if constexpr (std::is_same_v<Cells, Kt_Column::Values>) {
    return kt::detail::CopyOrLeave(cells);
  } else if constexpr (std::is_same_v<Cells, Kt_Column::Texts>) {
    return {CopyOfNumbers(cells.codes), cells.dictionary};
  } else {
    return CopyOfNumbers(cells);
  }
}

// Not worth charging.
bool IsShortText(const Kt_Variant& value) {
  return value.IsString() && value.AsStringView().size() <= kt::detail::kShortUnits;
}

// Whether no work is charged for making a cell of it.
bool ConvertsAtOnce(const Kt_Variant& value) {
  return value.GetTag() < kTagString || value.GetTag() == kTagBool || IsShortText(value);
}

// What a column of doubles takes as it is.
bool IsNumber(const Kt_Variant& value) { return value.IsDouble() || value.IsLong(); }
// REQUIRES: IsNumber(value).
double NumberOf(const Kt_Variant& value) {
  return value.IsDouble() ? value.AsDouble() : value.AsLong();
}

// Equal down to the bits, so that 0 is not -0; but any NaN equals any other.
bool IsSameNumber(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) ||
         (std::isnan(a) && std::isnan(b));
}

bool SameValue(const Kt_Variant& a, const Kt_Variant& b) {
  if (a.GetTag() != b.GetTag()) return false;
  switch (a.GetTag()) {
    case kTagEmpty: return true;
    case kTagLong: return a.AsLong() == b.AsLong();
    case kTagBool:
    case kTagCurrency: return a.AsInt64() == b.AsInt64();
    case kTagDouble:
    case kTagDateTime: return IsSameNumber(a.AsDouble(), b.AsDouble());
    case kTagString: return kt::detail::IsSameText(a.AsStringView(), b.AsStringView());
    default: return Var_Order(a, b) == 0;
  }
}

}  // namespace

std::u16string_view kt_columntypenameW(Kt_ColumnType type) {
  for (const TypeName& row : kTypeNames) {
    if (row.type == type) return row.name;
  }
  return {};
}

Kt_ColumnType kt_columntypeofW(Kt_Tag tag) {
  switch (tag) {
    case kTagLong:
    case kTagBool: return Kt_ColumnType::kLong;
    case kTagDouble: return Kt_ColumnType::kDouble;
    case kTagCurrency: return Kt_ColumnType::kCurrency;
    case kTagDateTime: return Kt_ColumnType::kDateTime;
    case kTagString: return Kt_ColumnType::kString;
    case kTagBinary: return Kt_ColumnType::kBinary;
    default: return Kt_ColumnType::kVariant;
  }
}

bool kt_findcolumntypeW(std::u16string_view name, Kt_ColumnType& type) {
  for (const TypeName& row : kTypeNames) {
    if (kt_stricmpW(row.name, name) != 0) continue;
    type = row.type;
    return true;
  }
  return false;
}

Kt_Column::Kt_Column(Kt_ColumnType type) : type_(type) {
  switch (type) {
    case Kt_ColumnType::kLong: break;
    case Kt_ColumnType::kDouble:
    case Kt_ColumnType::kDateTime: cells_.emplace<Doubles>(); break;
    case Kt_ColumnType::kCurrency: cells_.emplace<Units>(); break;
    case Kt_ColumnType::kString: cells_.emplace<Texts>(); break;
    default: cells_.emplace<Values>(); break;
  }
}

Kt_Column::Kt_Column(const Kt_Column& other)
    : type_(other.type_),
      cells_(std::visit([](const auto& cells) { return decltype(cells_)(CopyOf(cells)); },
                        other.cells_)),
      nulls_(other.nulls_),
      row_count_(other.row_count_),
      null_count_(other.null_count_) {}

Kt_Variant Kt_Column::Read(std::size_t row) const {
  KT_ASSERT(row < row_count_);
  return kt::detail::CellValue(*this, row);
}

Kt_Variant Kt_Column::Converted(const Kt_Variant& value) const {
  const Kt_Variant& target = value.Target();
  return target.IsEmpty() ? Kt_Variant() : Convert(type_, target);
}

bool Kt_Column::Equals(std::size_t row, const Kt_Variant& value) const {
  if (type_ == Kt_ColumnType::kDouble && IsNumber(value)) {
    return !IsNull(row) && IsSameNumber(std::get<Doubles>(cells_)[row], NumberOf(value));
  }
  if (type_ == Kt_ColumnType::kLong && value.IsLong()) {
    return !IsNull(row) && std::get<Longs>(cells_)[row] == value.AsLong();
  }
  if (type_ == Kt_ColumnType::kString && IsShortText(value)) {
    const Texts& texts = std::get<Texts>(cells_);
    return !IsNull(row) && texts.dictionary.Text(texts.codes[row]).View() == value.AsStringView();
  }
  return SameValue(Read(row), Converted(value));
}

bool Kt_Column::SameCells(std::size_t a, std::size_t b) const {
  if (IsNull(a) || IsNull(b)) return IsNull(a) == IsNull(b);
  switch (type_) {
    case Kt_ColumnType::kLong: return std::get<Longs>(cells_)[a] == std::get<Longs>(cells_)[b];
    case Kt_ColumnType::kCurrency: return std::get<Units>(cells_)[a] == std::get<Units>(cells_)[b];
    case Kt_ColumnType::kString: {
      const Texts& texts = std::get<Texts>(cells_);
      const std::uint32_t left = texts.codes[a];
      const std::uint32_t right = texts.codes[b];
      if (left == right || texts.dictionary.IsUnique()) return left == right;
      return texts.dictionary.Text(left) == texts.dictionary.Text(right);
    }
    default: return Var_Order(Read(a), Read(b)) == 0;
  }
}

bool Kt_Column::Write(std::size_t row, const Kt_Variant& value) {
  // The usual numbers in place.
  if (type_ == Kt_ColumnType::kDouble && IsNumber(value)) {
    double& cell = std::get<Doubles>(cells_)[row];
    const double number = NumberOf(value);
    if (!IsNull(row) && IsSameNumber(cell, number)) return false;
    cell = number;
    SetNullBit(row, false);
    return true;
  }
  if (type_ == Kt_ColumnType::kLong && value.IsLong()) {
    kt_long& cell = std::get<Longs>(cells_)[row];
    if (!IsNull(row) && cell == value.AsLong()) return false;
    cell = value.AsLong();
    SetNullBit(row, false);
    return true;
  }
  if (type_ == Kt_ColumnType::kString && IsShortText(value)) {
    Texts& texts = std::get<Texts>(cells_);
    std::optional<std::uint32_t> known;
    if (texts.dictionary.IsUnique()) known = texts.dictionary.Find(value.AsStringView());
    const std::uint32_t code = known.value_or(0);
    if (!IsNull(row) && known && code == texts.codes[row]) return false;
    if (known) {
      texts.codes[row] = code;
    } else if (!IsNull(row) && Equals(row, value)) {
      return false;
    } else {
      WriteText(row, value.AsString());
    }
    SetNullBit(row, false);
    return true;
  }
  const Kt_Variant converted = Converted(value);
  if (!ConvertsAtOnce(value)) kt::detail::ChargeOrLeave(0);  // it may have been stopped
  if (SameValue(Read(row), converted)) return false;
  if (converted.IsEmpty()) {
    WriteNull(row);
  } else {
    WritePresent(row, converted);
    SetNullBit(row, false);
  }
  return true;
}

void Kt_Column::WritePresent(std::size_t row, const Kt_Variant& value) {
  switch (type_) {
    case Kt_ColumnType::kLong: std::get<Longs>(cells_)[row] = value.AsLong(); break;
    case Kt_ColumnType::kDouble:
    case Kt_ColumnType::kDateTime: std::get<Doubles>(cells_)[row] = value.AsDouble(); break;
    case Kt_ColumnType::kCurrency: std::get<Units>(cells_)[row] = value.AsInt64(); break;
    case Kt_ColumnType::kString: WriteText(row, value.AsString()); break;
    default: std::get<Values>(cells_)[row] = value; break;
  }
}

void Kt_Column::WriteText(std::size_t row, const Kt_WString& text) {
  Texts& texts = std::get<Texts>(cells_);
  // Rewriting cells leaves texts behind that nothing uses: a dropped dictionary now and then costs
  // less than a count per text on every write.
  if (texts.dictionary.Count() > 2 * row_count_ + kSpareTexts) {
    texts.dictionary.Compact(texts.codes);
  }
  texts.codes[row] = texts.dictionary.Add(text, row_count_);
}

void Kt_Column::WriteNull(std::size_t row) {
  if (IsNull(row)) return;
  SetNullBit(row, true);  // first, because it may run out of memory
  switch (type_) {
    case Kt_ColumnType::kLong: std::get<Longs>(cells_)[row] = 0; break;
    case Kt_ColumnType::kDouble:
    case Kt_ColumnType::kDateTime: std::get<Doubles>(cells_)[row] = 0; break;
    case Kt_ColumnType::kCurrency: std::get<Units>(cells_)[row] = 0; break;
    case Kt_ColumnType::kString: std::get<Texts>(cells_).codes[row] = 0; break;
    default: std::get<Values>(cells_)[row].Clear(); break;
  }
}

void Kt_Column::MakeNullable() {
  if (nulls_.empty()) nulls_.resize(row_count_ / 64 + 1);
}

void Kt_Column::FlipNullBit(std::size_t row, bool null) {
  MakeNullable();
  nulls_[row / 64] ^= std::uint64_t{1} << row % 64;
  null_count_ += null ? std::size_t{1} : ~std::size_t{0};
}

void Kt_Column::GrowNulls(std::size_t count, bool null) {
  if (KT_LIKELY(!null && row_count_ + count < 64 * nulls_.size())) {
    row_count_ += count;
    return;
  }
  const std::size_t first = row_count_;
  row_count_ += count;
  if (null && nulls_.empty()) nulls_.resize(row_count_ / 64 + 1);
  if (nulls_.empty()) return;
  if (nulls_.size() <= row_count_ / 64) {
    kt::detail::ResizeSparingly(nulls_, row_count_ / 64 + 1);
  }
  if (!null) return;
  null_count_ += count;
  for (std::size_t row = first; row < row_count_;) {
    const bool whole = row % 64 == 0 && row + 64 <= row_count_;
    nulls_[row / 64] |= whole ? ~std::uint64_t{0} : std::uint64_t{1} << row % 64;
    row += whole ? 64 : 1;
  }
}

void Kt_Column::Resize(std::size_t rows) {
  std::visit(
      [rows](auto& cells) {
        if constexpr (requires { cells.codes; }) {
          kt::detail::ResizeSparingly(cells.codes, rows);
        } else {
          kt::detail::ResizeSparingly(cells, rows);
        }
      },
      cells_);
}

namespace {

// False where the array is longer than the column already. What grows row by row is copied less
// often than what grows at once, and has more room to spare: a quarter.
template <class Cells>
bool AppendInPlace(Cells& cells, std::size_t row_count) {
  if (cells.size() != row_count) return false;
  if (KT_UNLIKELY(row_count == cells.capacity())) cells.reserve(row_count + row_count / 4 + 16);
  cells.emplace_back();
  return true;
}

}  // namespace

void Kt_Column::AppendNulls(std::size_t count) {
  if (count == 0) return;
  // One row after the other.
  if (count == 1 && (row_count_ + 1) / 64 < nulls_.size()) {
    bool is_done = false;
    switch (type_) {
      case Kt_ColumnType::kLong:
        is_done = AppendInPlace(std::get<Longs>(cells_), row_count_);
        break;
      case Kt_ColumnType::kDouble:
      case Kt_ColumnType::kDateTime:
        is_done = AppendInPlace(std::get<Doubles>(cells_), row_count_);
        break;
      case Kt_ColumnType::kString:
        is_done = AppendInPlace(std::get<Texts>(cells_).codes, row_count_);
        break;
      default: break;
    }
    if (is_done) {
      nulls_[row_count_ / 64] |= std::uint64_t{1} << row_count_ % 64;
      ++row_count_;
      ++null_count_;
      return;
    }
  }
  Resize(row_count_ + count);
  try {
    GrowNulls(count, true);
  } catch (...) {
    // The arrays may be longer than row_count_ says, never shorter.
    row_count_ -= count;
    throw;
  }
}

void Kt_Column::AppendText(std::u16string_view text) {
  Texts& texts = std::get<Texts>(cells_);
  const std::uint32_t code = texts.dictionary.Add(text, row_count_);
  texts.codes.push_back(code);
  NoteAppended();
}

void Kt_Column::Append(const Kt_Variant& value) {
  AppendNulls(1);
  Write(row_count_ - 1, value);
}

void Kt_Column::AppendFrom(const Kt_Column& other) {
  Reserve(row_count_ + other.row_count_);
  kt::detail::RoundCharge charge;
  for (std::size_t row = 0; row < other.row_count_; ++row) {
    charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
    Append(other.Read(row));
  }
}

Kt_Column Kt_Column::Head(std::size_t rows) const {
  kt::CountedVector<std::uint32_t> kept(std::min(rows, row_count_));
  std::iota(kept.begin(), kept.end(), 0u);
  return Gather(kept);
}

void Kt_Column::CompactTexts() {
  if (type_ != Kt_ColumnType::kString) return;
  Texts& texts = std::get<Texts>(cells_);
  texts.dictionary.Compact(texts.codes);
}

void Kt_Column::Reserve(std::size_t rows) {
  std::visit(
      [rows](auto& cells) {
        if constexpr (requires { cells.codes; }) {
          cells.codes.reserve(rows);
        } else {
          cells.reserve(rows);
        }
      },
      cells_);
}

void Kt_Column::ShrinkToFit() {
  std::visit(
      [](auto& cells) {
        if constexpr (requires { cells.codes; }) {
          cells.codes.shrink_to_fit();
        } else {
          cells.shrink_to_fit();
        }
      },
      cells_);
  nulls_.shrink_to_fit();
}

Kt_Column Kt_Column::Gather(const kt::CountedVector<std::uint32_t>& rows) const {
  const auto copy_rows = [&rows](auto& target, const auto& cells) {
    kt::detail::InPiecesOrLeave(rows.size(), Kt_WorkMeter::kUnitsPerCell,
                                [&](std::size_t first, std::size_t count) {
                                  for (std::size_t at = first; at < first + count; ++at) {
                                    target[at] = cells[rows[at]];
                                  }
                                });
  };
  Kt_Column out(type_);
  out.Resize(rows.size());
  std::visit(
      [&]<class T>(const T& cells) {
        T& target = std::get<T>(out.cells_);
        if constexpr (requires { cells.codes; }) {
          target.dictionary = kt::detail::TextDictionary(cells.dictionary);
          copy_rows(target.codes, cells.codes);
        } else {
          copy_rows(target, cells);
        }
      },
      cells_);
  out.GrowNulls(rows.size(), false);
  for (std::size_t at = 0; null_count_ != 0 && at < rows.size(); ++at) {
    if (IsNull(rows[at])) out.SetNullBit(at, true);
  }
  return out;
}
