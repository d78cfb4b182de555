// SPDX-License-Identifier: MIT
//
// The binary form: "KTDS", version, id, constants, columns with their cells as plain arrays, and
// notes on the rows that are not normal. All numbers little-endian. Nothing in a file is trusted:
// every length is compared with the bytes that are left before anything is taken for it.
#include <algorithm>
#include <bit>
#include <cstring>
#include <stdexcept>
#include <string>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/formats/detail/Kt_Transfer.h"
#include "classlib/text/detail/Kt_NameMap.h"
#include "classlib/value/detail/Kt_VariantText.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

constexpr std::string_view kMagic = "KTDS";
constexpr std::uint32_t kVersion = 1;

template <class T>
T Swapped(T value) {
  auto bytes = std::bit_cast<std::array<unsigned char, sizeof(T)>>(value);
  if constexpr (std::endian::native == std::endian::big) std::reverse(bytes.begin(), bytes.end());
  return std::bit_cast<T>(bytes);
}

// ---- Writing ----------------------------------------------------------------------------------

class ByteWriter {
 public:
  template <class T>
  void Put(T value) {
    value = Swapped(value);
    bytes_.Append(&value, sizeof value);
  }
  template <class T>
  void PutArray(const T* cells, std::size_t count) {
    if constexpr (std::endian::native == std::endian::little) {
      InPiecesOrLeave(count * sizeof(T), 1, [&](std::size_t first, std::size_t size_bytes) {
        bytes_.Append(reinterpret_cast<const char*>(cells) + first, size_bytes);
      });
    } else {
      for (std::size_t at = 0; at < count; ++at) Put(cells[at]);
    }
  }
  void PutText(std::u16string_view text) {
    Put(static_cast<std::uint32_t>(text.size()));
    charge_.AddOrLeave(static_cast<std::int64_t>(text.size()) + Kt_WorkMeter::kUnitsPerCell);
    PutArray(text.data(), text.size());
  }
  void PutValue(const Kt_Variant& held);
  void PutCells(const Kt_Column& column);
  Kt_Buffer& Bytes() { return bytes_; }

 private:
  Kt_Buffer bytes_;
  RoundCharge charge_;
};

// REQUIRES: CheckValues has found no fault in it.
void ByteWriter::PutValue(const Kt_Variant& held) {
  const Kt_Variant& value = held.Target();
  charge_.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
  Put(value.GetTag());
  switch (value.GetTag()) {
    case kTagEmpty: break;
    case kTagLong: Put(value.AsLong()); break;
    case kTagDouble:
    case kTagDateTime: Put(value.AsDouble()); break;
    case kTagString: PutText(value.AsStringView()); break;
    case kTagBinary:
      Put(static_cast<std::uint32_t>(value.AsBinary().size()));
      PutArray(value.AsBinary().data(), value.AsBinary().size());
      break;
    case kTagList:
      Put(static_cast<std::uint32_t>(value.ListCount()));
      for (const Kt_Variant& item : value.GetList()) PutValue(item);
      break;
    default: Put(value.AsInt64()); break;
  }
}

void ByteWriter::PutCells(const Kt_Column& column) {
  Put(static_cast<std::uint8_t>(column.NullCount() != 0));
  if (column.Nulls() != nullptr) PutArray(column.Nulls(), (column.RowCount() + 63) / 64);
  VisitCells(column, [&]<class Cells>(const Cells& cells) {
    if constexpr (std::is_same_v<Cells, Kt_Column::Texts>) {
      Put(static_cast<std::uint32_t>(cells.dictionary.Count()));
      for (std::uint32_t code = 0; code < cells.dictionary.Count(); ++code) {
        PutText(cells.dictionary.Text(code));
      }
      PutArray(cells.codes.data(), column.RowCount());
    } else if constexpr (std::is_same_v<Cells, Kt_Column::Values>) {
      for (std::size_t row = 0; row < column.RowCount(); ++row) PutValue(cells[row]);
    } else {
      PutArray(cells.data(), column.RowCount());
    }
  });
}

// What the arrays of a table take, at least.
std::size_t ArrayBytes(const LoadedTable& table) {
  std::size_t row_bytes = 0;
  for (const LoadedColumn& column : table.columns) {
    if (column.cells == nullptr) continue;
    VisitCells(*column.cells, [&]<class Cells>(const Cells&) {
      if constexpr (std::is_same_v<Cells, Kt_Column::Texts>) {
        row_bytes += sizeof(std::uint32_t);
      } else if constexpr (!std::is_same_v<Cells, Kt_Column::Values>) {
        row_bytes += sizeof(typename Cells::value_type);
      }
    });
  }
  return row_bytes * table.row_count;
}

// Cells that have been written are dropped, so that not all of them are there twice.
void PutTable(LoadedTable& table, ByteWriter& out) {
  out.Bytes().Reserve(ArrayBytes(table));
  out.Bytes().Append(kMagic);
  out.Put(kVersion);
  out.PutText(table.id);
  out.Put(static_cast<std::uint32_t>(table.constants.size()));
  for (const auto& [id, value] : table.constants) {
    out.PutText(id);
    out.PutValue(value);
  }
  out.Put(static_cast<std::uint32_t>(table.columns.size()));
  out.Put(table.row_count);
  for (LoadedColumn& column : table.columns) {
    out.PutText(column.id);
    out.PutText(column.map);
    out.Put(static_cast<std::uint8_t>(column.type));
    out.Put(column.size);
    if (column.cells == nullptr) continue;
    column.cells->CompactTexts();
    out.PutCells(*column.cells);
    column.cells.reset();
  }
  out.Put(static_cast<std::uint32_t>(table.notes.size()));
  for (const LoadedNote& note : table.notes) {
    out.Put(note.row);
    out.Put(static_cast<std::uint8_t>(note.type));
    out.Put(static_cast<std::uint8_t>(note.forced));
    out.Put(note.delete_number);
    out.Put(static_cast<std::uint32_t>(note.old_cells.size()));
    for (const auto& [col, old] : note.old_cells) {
      out.Put(col);
      out.PutValue(old);
    }
  }
}

// ---- Reading ----------------------------------------------------------------------------------

// After the first read past the end every read gives 0 and IsGood() is false.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : bytes_(bytes) {}

  bool IsGood() const { return good_; }
  void Spoil() { good_ = false; }
  std::size_t Left() const { return bytes_.size(); }

  const char* Take(std::size_t size_bytes) {
    if (!good_ || size_bytes > bytes_.size()) {
      good_ = false;
      return nullptr;
    }
    const char* const taken = bytes_.data();
    bytes_.remove_prefix(size_bytes);
    return taken;
  }
  template <class T>
  T Get() {
    T value{};
    if (const char* const taken = Take(sizeof(T))) std::memcpy(&value, taken, sizeof(T));
    return Swapped(value);
  }
  // A count of things that take at least `least_bytes` each.
  std::uint32_t GetCount(std::size_t least_bytes) {
    charge_.AddOrLeave(Kt_WorkMeter::kUnitsPerCell);
    const auto count = Get<std::uint32_t>();
    if (count > bytes_.size() / least_bytes) good_ = false;
    return good_ ? count : 0;
  }
  template <class T, class Store>
  void GetArray(std::size_t count, Store store) {
    if (count > bytes_.size() / sizeof(T)) good_ = false;
    for (std::size_t at = 0; good_ && at < count; ++at) {
      if (!GoesOnAt(at, 4)) throw WorkStopped();
      store(Get<T>());
    }
  }
  kt::CountedText GetText() {
    kt::CountedText text;
    const std::uint32_t length = GetCount(sizeof(char16_t));
    if (length > static_cast<std::uint32_t>(kMaxStringLength)) good_ = false;
    if (!good_) return text;
    text.reserve(length);
    GetArray<char16_t>(length, [&](char16_t unit) { text += unit; });
    return text;
  }
  Kt_Variant GetValue(int depth = 0);

 private:
  Kt_Variant GetList(int depth);

  std::string_view bytes_;
  bool good_ = true;
  RoundCharge charge_;
};

Kt_Variant ByteReader::GetValue(int depth) {
  const auto tag = Get<Kt_Tag>();
  switch (tag) {
    case kTagEmpty: return {};
    case kTagLong: return Get<kt_long>();
    case kTagDouble: return Get<double>();
    case kTagDateTime: return Kt_DateTime{Get<double>()};
    case kTagCurrency: return Kt_Currency::FromUnits(Get<std::int64_t>());
    case kTagBool: return Kt_Variant(Get<std::int64_t>() != 0);
    case kTagString: return Kt_WString(GetText());
    case kTagBinary: {
      const std::uint32_t size_bytes = GetCount(1);
      Kt_Variant binary;
      if (const char* const bytes = Take(size_bytes)) binary.SetBinary(bytes, size_bytes);
      return binary;
    }
    case kTagList: return GetList(depth);
    default: good_ = false; return {};
  }
}

Kt_Variant ByteReader::GetList(int depth) {
  Kt_VariantList items;
  const std::uint32_t count = GetCount(sizeof(Kt_Tag));
  if (depth > kMaxListDepth) good_ = false;
  for (std::uint32_t item = 0; good_ && item < count; ++item) items.Add(GetValue(depth + 1));
  return items;
}

class BinaryLoader {
 public:
  explicit BinaryLoader(std::string_view bytes) : in_(bytes) {}

  bool Read() {
    const char* const magic = in_.Take(kMagic.size());
    if (magic == nullptr || std::string_view(magic, kMagic.size()) != kMagic) return false;
    if (in_.Get<std::uint32_t>() != kVersion) return false;
    table_.id = Kt_WString(in_.GetText());
    table_.has_column_info = true;
    const std::uint32_t constants = in_.GetCount(sizeof(std::uint32_t) + sizeof(Kt_Tag));
    for (std::uint32_t at = 0; in_.IsGood() && at < constants; ++at) {
      const Kt_WString id(in_.GetText());
      table_.constants.emplace_back(id, in_.GetValue());
    }
    constexpr std::size_t kLeastColumn = 13;
    const std::uint32_t columns = in_.GetCount(kLeastColumn);
    table_.row_count = in_.Get<std::uint32_t>();
    if (columns > static_cast<std::uint32_t>(kMaxDatasetColumns)) return false;
    if (table_.row_count > static_cast<std::uint32_t>(kMaxDatasetRows)) return false;
    for (std::uint32_t at = 0; in_.IsGood() && at < columns; ++at) ReadColumn();
    if (!HasCells(table_) && table_.row_count > kMaxRowsWithoutCells) return false;
    ReadNotes();
    return in_.IsGood() && in_.Left() == 0;
  }

  LoadedTable& Table() { return table_; }

 private:
  void ReadColumn() {
    LoadedColumn column;
    column.id = Kt_WString(in_.GetText());
    column.map = Kt_WString(in_.GetText());
    const auto type = in_.Get<std::uint8_t>();
    column.size = in_.Get<kt_long>();
    const bool known_id = column.id.IsEmpty() || names_.Find(column.id) >= 0;
    if (known_id || type > static_cast<std::uint8_t>(Kt_ColumnType::kVariant)) return in_.Spoil();
    column.type = static_cast<Kt_ColumnType>(type);
    if (column.map.IsEmpty()) {
      column.cells = std::make_shared<Kt_Column>(column.type);
      ReadCells(*column.cells);
    } else {
      column.origin = std::make_shared<Kt_MapOrigin>();
    }
    names_.Add(column.id, 0);
    table_.columns.push_back(std::move(column));
  }

  void ReadCells(Kt_Column& cells) {
    const std::size_t rows = table_.row_count;
    kt::CountedVector<std::uint64_t> nulls;
    const bool has_nulls = in_.Get<std::uint8_t>() != 0;
    if (has_nulls) {
      in_.GetArray<std::uint64_t>((rows + 63) / 64,
                                  [&](std::uint64_t word) { nulls.push_back(word); });
    }
    kt::CountedVector<Kt_WString> texts;
    if (cells.Type() == Kt_ColumnType::kString) {
      const std::uint32_t count = in_.GetCount(sizeof(std::uint32_t));
      for (std::uint32_t at = 0; in_.IsGood() && at < count; ++at) {
        texts.emplace_back(in_.GetText());
      }
    }
    // The least that a cell takes, so that memory is taken for real rows only.
    if (!in_.IsGood() || rows > in_.Left() / sizeof(Kt_Tag)) return in_.Spoil();
    cells.Reserve(rows);
    for (std::size_t row = 0; in_.IsGood() && row < rows; ++row) {
      const bool null = has_nulls && (nulls[row / 64] >> (row % 64) & 1) != 0;
      ReadCell(cells, texts);
      if (null && in_.IsGood()) cells.WriteNull(row);
    }
  }

  void ReadCell(Kt_Column& cells, const kt::CountedVector<Kt_WString>& texts) {
    charge_.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
    switch (cells.Type()) {
      case Kt_ColumnType::kLong: cells.AppendLong(in_.Get<kt_long>()); break;
      case Kt_ColumnType::kDouble:
      case Kt_ColumnType::kDateTime: cells.AppendDouble(in_.Get<double>()); break;
      case Kt_ColumnType::kCurrency: cells.AppendUnits(in_.Get<std::int64_t>()); break;
      case Kt_ColumnType::kString: {
        const auto code = in_.Get<std::uint32_t>();
        if (code >= texts.size()) return in_.Spoil();
        cells.AppendText(texts[code]);
        break;
      }
      default: cells.Append(in_.GetValue()); break;
    }
  }

  void ReadNotes() {
    constexpr std::size_t kLeastNote = 14;
    const std::uint32_t count = in_.GetCount(kLeastNote);
    kt::CountedVector<bool> noted(count > 0 ? table_.row_count : 0);
    for (std::uint32_t at = 0; in_.IsGood() && at < count; ++at) {
      LoadedNote note;
      note.row = in_.Get<std::uint32_t>();
      note.type = in_.Get<std::uint8_t>();
      note.forced = in_.Get<std::uint8_t>() != 0;
      note.delete_number = in_.Get<kt_long>();
      const bool known =
          note.type == kRowTypeInsert || note.type == kRowTypeUpdate || note.type == kRowTypeDelete;
      if (!known || note.row >= table_.row_count || noted[note.row]) return in_.Spoil();
      noted[note.row] = true;
      ReadOldCells(note);
      table_.notes.push_back(std::move(note));
    }
  }

  void ReadOldCells(LoadedNote& note) {
    const std::uint32_t count = in_.GetCount(sizeof(std::uint32_t) + sizeof(Kt_Tag));
    for (std::uint32_t at = 0; in_.IsGood() && at < count; ++at) {
      const auto col = in_.Get<std::uint32_t>();
      if (col >= table_.columns.size()) return in_.Spoil();
      note.old_cells.emplace_back(col, in_.GetValue());
    }
  }

  ByteReader in_;
  RoundCharge charge_;
  LoadedTable table_;
  NameMap names_;
};

}  // namespace

kt_long kt::LoadBinary(Kt_Dataset& dataset, std::span<const std::uint8_t> bytes, bool clear,
                       Kt_LoadReport& report) {
  return LoadTable(dataset, clear, report, [&](LoadedTable& table) {
    BinaryLoader loader({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    if (!loader.Read()) {
      report.error = u"no whole dataset in binary form";
      return false;
    }
    table = std::move(loader.Table());
    report.records = table.PresentCount();
    return true;
  });
}

kt_long kt::SaveBinary(const Kt_Dataset& dataset, std::u16string_view type, Kt_Buffer& out,
                       Kt_SaveReport& report) {
  out.Clear();
  return SaveTable<LoadedTable>(dataset, type, report, [&](LoadedTable& table) -> kt_long {
    if (!HasCells(table) && table.row_count > kMaxRowsWithoutCells) {
      return report.Refuse(kErrNotAllowed, u"too many rows without a stored column");
    }
    if (const kt_long code = CheckValues(table, report)) return code;
    ByteWriter writer;
    PutTable(table, writer);
    out = std::move(writer.Bytes());
    return kOk;
  });
}
