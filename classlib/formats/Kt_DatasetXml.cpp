// SPDX-License-Identifier: MIT
//
// XML: see docs/dataset-store.md for the form. Lists and other values of variant columns carry
// their tag; everything else is read by the type of its column.
#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/formats/Kt_CellForms.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/formats/detail/Kt_FileText.h"
#include "classlib/formats/detail/Kt_Transfer.h"
#include "classlib/text/Kt_Number.h"
#include "classlib/text/detail/Kt_NameMap.h"
#include "classlib/value/detail/Kt_VariantText.h"
#include "classlib/xml/Kt_XmlWriter.h"
#include "classlib/xml/detail/Kt_XmlScanner.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

using Piece = XmlScanner::Piece;

// ---- Writing ----------------------------------------------------------------------------------

// What is refused is remembered by the writer of the document.
class TableWriter {
 public:
  TableWriter(const LoadedTable& table, bool types) : table_(table), types_(types) {
    for (std::size_t col = 0; col < table.columns.size(); ++col) {
      numbers_.push_back(kt_longtextW(static_cast<kt_long>(col)));
    }
  }

  // False when the text would be too long.
  bool Write(Kt_WString& out) {
    out_.Start(u"dataset");
    out_.Attribute(u"id", table_.id);
    out_.Attribute(u"ver", u"1");
    StartList(u"columns");
    for (const LoadedColumn& column : table_.columns) WriteColumn(column);
    out_.End();
    if (types_ && !table_.constants.empty()) WriteConstants();
    StartList(u"rows");
    WriteRows();
    out_.End();
    out_.NewLine();
    return out_.Finish(out);
  }

 private:
  // An element with a line for each of those inside of it.
  void StartList(std::u16string_view name) {
    out_.NewLine();
    out_.Start(name);
    out_.NewLine();
  }

  void Number(std::u16string_view name, kt_long value) {
    out_.Attribute(name, kt_longtextW(value));
  }

  void WriteColumn(const LoadedColumn& column) {
    out_.Start(u"column");
    out_.Attribute(u"id", column.id);
    if (types_) {
      out_.Attribute(u"type", kt_columntypenameW(column.type));
      if (column.size != 0) Number(u"size", column.size);
      if (!column.map.IsEmpty()) out_.Attribute(u"map", column.map);
    }
    out_.End();
    out_.NewLine();
  }

  void WriteConstants() {
    StartList(u"consts");
    for (const auto& [id, value] : table_.constants) {
      out_.Start(u"const");
      out_.Attribute(u"id", id);
      Value(value, true);
      out_.NewLine();
    }
    out_.End();
  }

  void WriteRows() {
    kt::CountedVector<const LoadedNote*> notes(table_.row_count);
    kt::CountedVector<std::size_t> numbers(table_.row_count);
    for (std::size_t number = 0; number < table_.notes.size(); ++number) {
      notes[table_.notes[number].row] = &table_.notes[number];
      numbers[table_.notes[number].row] = number;
    }
    for (std::uint32_t row = 0; out_.IsGood() && row < table_.row_count; ++row) {
      WriteRow(row, notes[row], numbers[row]);
    }
  }

  void WriteRow(std::uint32_t row, const LoadedNote* note, std::size_t number) {
    out_.Start(u"row");
    if (note != nullptr) {
      out_.Attribute(u"type", note->type == kRowTypeInsert   ? u"i"
                              : note->type == kRowTypeUpdate ? u"u"
                                                             : u"d");
      Number(u"n", static_cast<kt_long>(number));
      if (note->type == kRowTypeDelete) Number(u"d", note->delete_number);
      if (note->forced) Number(u"forced", 1);
    }
    out_.Content();
    for (std::size_t col = 0; out_.IsGood() && col < table_.columns.size(); ++col) {
      const Kt_Column* const cells = table_.columns[col].cells.get();
      if (cells != nullptr && !cells->IsNull(row)) WriteCell(u"c", col, cells->Read(row));
    }
    for (std::size_t old = 0; note != nullptr && old < note->old_cells.size(); ++old) {
      WriteCell(u"o", note->old_cells[old].first, note->old_cells[old].second);
    }
    out_.End();
    out_.NewLine();
  }

  void WriteCell(std::u16string_view element, std::size_t col, const Kt_Variant& value) {
    out_.Start(element);
    out_.Attribute(u"i", numbers_[col]);
    Value(value, table_.columns[col].type == Kt_ColumnType::kVariant || value.IsEmpty());
  }

  // The rest of a start tag, the content and the end tag. A value of tag 0 is null.
  // REQUIRES: CheckValues has found no fault in it.
  void Value(const Kt_Variant& held, bool tagged) {
    const Kt_Variant& value = held.Target();
    charge_.AddOrLeave(16 * Kt_WorkMeter::kUnitsPerCell);
    if (tagged) Number(u"t", kt_long{value.GetTag()});
    out_.Content();
    if (value.IsList()) {
      for (const Kt_Variant& item : value.GetList()) {
        if (!out_.IsGood()) break;
        out_.Start(u"v");
        Value(item, true);
      }
    } else {
      out_.Text(FileText(value));
    }
    out_.End();
  }

  const LoadedTable& table_;
  const bool types_;
  std::vector<Kt_WString> numbers_;  // of the columns
  Kt_XmlWriter out_;
  RoundCharge charge_;
};

// ---- Reading ----------------------------------------------------------------------------------

class XmlReader {
 public:
  XmlReader(std::u16string_view text, const Kt_Dataset& target, Kt_LoadReport& report)
      : text_units_(text.size()), scanner_(text), target_(target), report_(report) {}

  bool Read() {
    if (ReadDocument()) return true;
    report_.error_line = scanner_.Line();
    report_.error_column = scanner_.Column();
    if (report_.error.IsEmpty()) report_.error = scanner_.Error();
    return false;
  }

  LoadedTable Table() {
    for (LoadedColumn& column : table_.columns) {
      if (column.cells != nullptr) PadTo(*column.cells, table_.row_count);
    }
    std::stable_sort(notes_.begin(), notes_.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& [number, note] : notes_) table_.notes.push_back(std::move(note));
    return std::move(table_);
  }

 private:
  bool Fail(const char16_t* reason) {
    report_.error = reason;
    return false;
  }

  // Visits the elements inside the one that was started last; visit() reads each to its end.
  template <class Visit>
  bool EachChild(Visit visit) {
    for (;;) {
      switch (scanner_.Next()) {
        case Piece::kStart:
          if (!visit()) return false;
          break;
        case Piece::kText: break;
        case Piece::kEnd: return true;
        default: return false;
      }
    }
  }

  bool Is(std::u16string_view name) const { return scanner_.Name() == name; }
  kt_long Number(std::u16string_view name, kt_long otherwise) const {
    const kt::CountedText* const text = scanner_.Attribute(name);
    return text == nullptr ? otherwise : Kt_WString(*text).ToInteger();
  }
  Kt_WString Attribute(std::u16string_view name) const {
    const kt::CountedText* const text = scanner_.Attribute(name);
    return text == nullptr ? Kt_WString() : Kt_WString(*text);
  }

  bool ReadDocument() {
    if (scanner_.Next() != Piece::kStart) return false;
    if (!Is(u"dataset")) return Fail(u"the root element is not 'dataset'");
    table_.id = Attribute(u"id");
    return EachChild([&] {
      if (Is(u"columns")) return EachChild([&] { return ReadColumn(); });
      if (Is(u"consts")) return EachChild([&] { return ReadConstant(); });
      if (Is(u"rows")) return EachChild([&] { return ReadRow(); });
      return scanner_.SkipElement();
    });
  }

  bool ReadColumn() {
    if (!Is(u"column")) return scanner_.SkipElement();
    LoadedColumn column;
    column.id = Attribute(u"id");
    column.map = Attribute(u"map");
    column.size = Number(u"size", 0);
    if (column.id.IsEmpty()) return Fail(u"a column has no id");
    if (names_.Find(column.id) >= 0) return Fail(u"two columns have the same id");
    if (table_.columns.size() == static_cast<std::size_t>(kMaxDatasetColumns)) {
      return Fail(u"too many columns");
    }
    const Kt_WString type = Attribute(u"type");
    if (!type.IsEmpty()) {
      if (!kt_findcolumntypeW(type, column.type)) return Fail(u"unknown column type");
      table_.has_column_info = true;
    } else if (const kt_long known = target_.GetColIndex(column.id); known >= 0) {
      column.type = target_.GetColType(known);
    }
    if (column.map.IsEmpty()) {
      column.cells = std::make_shared<Kt_Column>(column.type);
    } else {
      column.origin = std::make_shared<Kt_MapOrigin>();
    }
    names_.Add(column.id, static_cast<kt_long>(table_.columns.size()));
    table_.columns.push_back(std::move(column));
    return scanner_.SkipElement();
  }

  bool ReadConstant() {
    if (!Is(u"const")) return scanner_.SkipElement();
    const Kt_WString id = Attribute(u"id");
    column_ = id;
    Kt_Variant value;
    if (!ReadValue(Kt_ColumnType::kVariant, value, 0)) return false;
    if (!id.IsEmpty()) table_.constants.emplace_back(id, std::move(value));
    return true;
  }

  bool ReadRow() {
    if (!Is(u"row")) return scanner_.SkipElement();
    if (table_.row_count == static_cast<std::uint32_t>(kMaxDatasetRows)) {
      return Fail(u"too many rows");
    }
    if (IsBlownUp(table_.columns.size(), table_.row_count, text_units_)) {
      return Fail(u"too many empty cells");
    }
    LoadedNote note;
    note.row = table_.row_count;
    const Kt_WString type = Attribute(u"type");
    if (type == u"i") note.type = kRowTypeInsert;
    if (type == u"u") note.type = kRowTypeUpdate;
    if (type == u"d") note.type = kRowTypeDelete;
    note.delete_number = Number(u"d", 0);
    note.forced = Number(u"forced", 0) != 0;
    const kt_long number = Number(u"n", 0);
    if (!EachChild([&] { return ReadCell(note); })) return false;
    // An updated row that says nothing of its first values is one that the host marked.
    note.forced = note.forced || (note.type == kRowTypeUpdate && note.old_cells.empty());
    if (note.type != 0) notes_.emplace_back(number, std::move(note));
    ++table_.row_count;
    return true;
  }

  bool ReadCell(LoadedNote& note) {
    const bool is_old = Is(u"o");
    if (!is_old && !Is(u"c")) return scanner_.SkipElement();
    const kt_long col = Number(u"i", -1);
    const bool known = col >= 0 && static_cast<std::size_t>(col) < table_.columns.size() &&
                       table_.columns[static_cast<std::size_t>(col)].cells != nullptr;
    column_ = known ? table_.columns[static_cast<std::size_t>(col)].id : Kt_WString();
    Kt_Variant value;
    const Kt_ColumnType type =
        known ? table_.columns[static_cast<std::size_t>(col)].type : Kt_ColumnType::kString;
    if (!ReadValue(type, value, 0)) return false;
    if (!known) {
      NotConverted();
    } else if (is_old) {
      note.old_cells.emplace_back(static_cast<std::uint32_t>(col), std::move(value));
    } else {
      StoreLast(*table_.columns[static_cast<std::size_t>(col)].cells, table_.row_count, value);
    }
    return true;
  }

  // The value of the element that was started last, read to its end.
  bool ReadValue(Kt_ColumnType type, Kt_Variant& value, int depth) {
    const kt_long tag = Number(u"t", -1);
    if (tag == kTagList) return ReadList(value, depth);
    if (!scanner_.ElementText(text_)) return false;
    if (tag == kTagEmpty) return true;
    const Kt_Tag wanted = tag > 0 ? static_cast<Kt_Tag>(tag) : TagOf(type);
    if (ReadFileText(text_, wanted, value)) return true;
    if (!text_.empty()) NotConverted();
    value = Kt_WString(text_);
    return true;
  }

  bool ReadList(Kt_Variant& value, int depth) {
    if (depth > kMaxListDepth) return Fail(u"lists nested too deeply");
    Kt_VariantList items;
    const bool read = EachChild([&] {
      if (!Is(u"v")) return scanner_.SkipElement();
      Kt_Variant item;
      if (!ReadValue(Kt_ColumnType::kVariant, item, depth + 1)) return false;
      return items.Add(item) >= 0;
    });
    value = std::move(items);
    return read;
  }

  static Kt_Tag TagOf(Kt_ColumnType type) {
    switch (type) {
      case Kt_ColumnType::kLong: return kTagLong;
      case Kt_ColumnType::kDouble: return kTagDouble;
      case Kt_ColumnType::kCurrency: return kTagCurrency;
      case Kt_ColumnType::kDateTime: return kTagDateTime;
      case Kt_ColumnType::kBinary: return kTagBinary;
      default: return kTagString;
    }
  }

  // The text that was read last.
  void NotConverted() {
    ++report_.cells_not_converted;
    // Lines are counted from the start of the text, so only the listed cells are given one.
    if (report_.not_converted.size() < kMaxPlaced) {
      report_.not_converted.push_back({scanner_.Line(), column_, kt_excerptW(text_)});
    }
  }

  static constexpr std::size_t kMaxPlaced = 20;
  const std::size_t text_units_;
  XmlScanner scanner_;
  const Kt_Dataset& target_;
  Kt_LoadReport& report_;
  LoadedTable table_;
  NameMap names_;
  std::vector<std::pair<kt_long, LoadedNote>> notes_;
  kt::CountedText text_;
  Kt_WString column_;  // whose value is read
};

}  // namespace

kt_long kt::LoadXml(Kt_Dataset& dataset, std::u16string_view text, bool clear,
                    Kt_LoadReport& report) {
  return LoadTable(dataset, clear, report, [&](LoadedTable& table) {
    XmlReader reader(text, dataset, report);
    if (!reader.Read()) return false;
    table = reader.Table();
    report.records = table.PresentCount();
    return true;
  });
}

kt_long kt::SaveXml(const Kt_Dataset& dataset, std::u16string_view type, bool header,
                    Kt_WString& out, Kt_SaveReport& report) {
  out.Empty();
  return SaveTable<LoadedTable>(dataset, type, report, [&](const LoadedTable& table) -> kt_long {
    if (const kt_long code = CheckValues(table, report)) return code;
    const std::uint32_t failures = MemoryFailures();
    Kt_WString text;
    const bool is_written = TableWriter(table, header).Write(text);
    PassMemoryFailure(failures);
    if (!is_written) return report.Refuse(kErrStringTooLong, {});
    // As the load will judge it.
    if (IsBlownUp(table.columns.size(), table.row_count, text.View().size())) {
      return report.Refuse(kErrNotAllowed, u"too many empty cells");
    }
    ChargeOrLeave(0);
    out = std::move(text);
    return kOk;
  });
}
