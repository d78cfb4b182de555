// SPDX-License-Identifier: MIT
#include "host/Kt_Arrow.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_RowReader.h"
#include "host/Kt_Dates.h"

namespace kt {
namespace {

// Owns what an ArrowSchema points to.
struct SchemaData {
  std::string format;
  std::string name;
  std::vector<std::unique_ptr<ArrowSchema>> children;
  std::vector<ArrowSchema*> child_pointers;

  static void Release(ArrowSchema* schema) {
    const std::unique_ptr<SchemaData> data(static_cast<SchemaData*>(schema->private_data));
    for (const auto& child : data->children) {
      if (child->release != nullptr) child->release(child.get());
    }
    schema->release = nullptr;
  }
  static void Give(std::unique_ptr<SchemaData> data, ArrowSchema& out) {
    for (const auto& child : data->children) data->child_pointers.push_back(child.get());
    out = {};
    out.format = data->format.c_str();
    out.name = data->name.c_str();
    out.flags = ARROW_FLAG_NULLABLE;
    out.n_children = static_cast<std::int64_t>(data->children.size());
    out.children = data->child_pointers.data();
    out.release = &Release;
    out.private_data = data.release();
  }
};

// Owns, or keeps alive, what an ArrowArray points to.
struct ArrayData {
  std::vector<std::uint8_t> validity;  // empty: there are no nulls
  std::vector<std::uint8_t> first;
  std::vector<std::uint8_t> second;
  std::shared_ptr<const Kt_Dataset> shared;  // whose cells are given without a copy
  std::vector<const void*> buffers;
  std::vector<std::unique_ptr<ArrowArray>> children;
  std::vector<ArrowArray*> child_pointers;

  static void Release(ArrowArray* array) {
    const std::unique_ptr<ArrayData> data(static_cast<ArrayData*>(array->private_data));
    for (const auto& child : data->children) {
      if (child->release != nullptr) child->release(child.get());
    }
    array->release = nullptr;
  }
  static void Give(std::unique_ptr<ArrayData> data, std::int64_t length, std::int64_t nulls,
                   ArrowArray& out) {
    for (const auto& child : data->children) data->child_pointers.push_back(child.get());
    out = {};
    out.length = length;
    out.null_count = nulls;
    out.n_buffers = static_cast<std::int64_t>(data->buffers.size());
    out.buffers = data->buffers.data();
    out.n_children = static_cast<std::int64_t>(data->children.size());
    out.children = data->child_pointers.data();
    out.release = &Release;
    out.private_data = data.release();
  }
};

// One column on its way out.
class ArrowColumn {
 public:
  // Empty buffers have an address too.
  explicit ArrowColumn(std::size_t rows) : rows_(rows), data_(std::make_unique<ArrayData>()) {
    data_->first.reserve(8);
    data_->second.reserve(8);
  }

  std::string format;

  // Cells as they lie in a dataset that stays alive with the column.
  template <class Cells>
  void Share(std::shared_ptr<const Kt_Dataset> dataset, const Kt_Column& column) {
    shared_ = column.template Cells<Cells>().data();
    data_->shared = std::move(dataset);
    if (column.NullCount() == 0) return;
    for (std::size_t row = 0; row < rows_; ++row) {
      if (column.IsNull(row)) SetNull(row);
    }
  }
  // The cells that read(row) gives, in the form of a column of that type.
  template <class Read>
  void Copy(Kt_ColumnType type, Read read) {
    const bool is_text = type == Kt_ColumnType::kString || type == Kt_ColumnType::kVariant;
    if (is_text || type == Kt_ColumnType::kBinary) return CopyBytes(is_text, read);
    for (std::size_t row = 0; row < rows_; ++row) {
      const Kt_Variant value = read(row);
      if (value.IsEmpty()) SetNull(row);
      switch (type) {
        case Kt_ColumnType::kLong: Put(value.ToInteger()); break;
        case Kt_ColumnType::kDouble: Put(value.ToDouble()); break;
        case Kt_ColumnType::kDateTime: Put(ToMilliseconds(value)); break;
        default: {
          const std::int64_t units = value.ToCurrency().units;
          Put(units);
          Put(std::int64_t{units < 0 ? -1 : 0});
        }
      }
    }
  }
  static const char* FormatOf(Kt_ColumnType type) {
    switch (type) {
      case Kt_ColumnType::kLong: return "i";
      case Kt_ColumnType::kDouble: return "g";
      case Kt_ColumnType::kCurrency: return "d:19,4";
      case Kt_ColumnType::kDateTime: return "tsm:";
      case Kt_ColumnType::kBinary: return "z";
      default: return "u";
    }
  }
  void Give(ArrowArray& out) {
    data_->buffers = {data_->validity.empty() ? nullptr : data_->validity.data(),
                      shared_ != nullptr ? shared_ : data_->first.data()};
    if (has_bytes_) data_->buffers.push_back(data_->second.data());
    ArrayData::Give(std::move(data_), static_cast<std::int64_t>(rows_), nulls_, out);
  }

 private:
  void SetNull(std::size_t row) {
    if (data_->validity.empty()) data_->validity.assign((rows_ + 7) / 8, 0xFF);
    data_->validity[row / 8] &= static_cast<std::uint8_t>(~(1u << row % 8));
    ++nulls_;
  }
  template <class T>
  void Put(T cell) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&cell);
    data_->first.insert(data_->first.end(), bytes, bytes + sizeof cell);
  }
  static std::int64_t ToMilliseconds(const Kt_Variant& value) {
    std::chrono::sys_time<std::chrono::milliseconds> point{};
    Convert<decltype(point)>::Read(value, point);
    return point.time_since_epoch().count();
  }
  // Offsets have 32 bits, or 64 in the large form.
  template <class Read>
  void CopyBytes(bool is_text, Read read) {
    has_bytes_ = true;
    std::vector<std::int64_t> ends{0};
    for (std::size_t row = 0; row < rows_; ++row) {
      const Kt_Variant value = read(row);
      if (value.IsEmpty()) {
        SetNull(row);
      } else if (is_text || value.GetTag() != kTagBinary) {
        const std::string text = value.ToString().ToUtf8();
        data_->second.insert(data_->second.end(), text.begin(), text.end());
      } else {
        const auto bytes = value.AsBinary();
        data_->second.insert(data_->second.end(), bytes.begin(), bytes.end());
      }
      ends.push_back(static_cast<std::int64_t>(data_->second.size()));
    }
    const bool is_large = !std::in_range<std::int32_t>(ends.back());
    if (is_large) format = is_text ? "U" : "Z";
    for (const std::int64_t end : ends) {
      if (is_large) {
        Put(end);
      } else {
        Put(static_cast<std::int32_t>(end));
      }
    }
  }

  std::size_t rows_;
  std::unique_ptr<ArrayData> data_;
  const void* shared_ = nullptr;
  std::int64_t nulls_ = 0;
  bool has_bytes_ = false;
};

// A table on its way out.
class ArrowWriter {
 public:
  explicit ArrowWriter(const Table& table)
      : table_(table),
        rows_(static_cast<std::size_t>(table.rows())),
        schema_(std::make_unique<SchemaData>()),
        array_(std::make_unique<ArrayData>()) {
    schema_->format = "+s";
    array_->buffers = {nullptr};
    // Its cells are those of the table until that changes.
    if (table.data().IsPhysical() && table.lies_in_order()) {
      shared_ = std::make_shared<const Kt_Dataset>(table.data());
    }
  }
  void AddColumn(kt_long col) {
    const Kt_Dataset& data = table_.data();
    const Kt_ColumnType type = data.GetColType(col);
    ArrowColumn column(rows_);
    column.format = ArrowColumn::FormatOf(type);
    const Kt_Column* const cells = shared_ ? Kt_RowReader(*shared_).GetCells(col) : nullptr;
    if (cells != nullptr && rows_ > 0 && type == Kt_ColumnType::kLong) {
      column.Share<Kt_Column::Longs>(shared_, *cells);
    } else if (cells != nullptr && rows_ > 0 && type == Kt_ColumnType::kDouble) {
      column.Share<Kt_Column::Doubles>(shared_, *cells);
    } else {
      column.Copy(type,
                  [&](std::size_t row) { return data.ReadColumn(static_cast<kt_long>(row), col); });
    }
    Add(data.GetColID(col).ToUtf8(), column);
  }
  void AddOriginal(kt_long col) {
    const Kt_Dataset& data = table_.data();
    ArrowColumn column(rows_);
    column.format = ArrowColumn::FormatOf(data.GetColType(col));
    column.Copy(data.GetColType(col),
                [&](std::size_t row) { return data.GetOrgColumn(static_cast<kt_long>(row), col); });
    Add(data.GetColID(col).ToUtf8() + "_original", column);
  }
  void AddStates() {
    ArrowColumn column(rows_);
    column.format = "u";
    column.Copy(Kt_ColumnType::kString, [&](std::size_t row) {
      return Kt_Variant(kt_rowtypetextW(table_.data().GetRowType(static_cast<kt_long>(row))));
    });
    Add("_state", column);
  }
  void Give(ArrowSchema* schema, ArrowArray* array) {
    if (schema != nullptr) SchemaData::Give(std::move(schema_), *schema);
    if (array != nullptr) {
      ArrayData::Give(std::move(array_), static_cast<std::int64_t>(rows_), 0, *array);
      return;
    }
  }
  // Without a taker, releases what was made.
  ~ArrowWriter() {
    ArrowSchema schema;
    ArrowArray array;
    if (schema_) SchemaData::Give(std::move(schema_), schema), schema.release(&schema);
    if (array_) ArrayData::Give(std::move(array_), 0, 0, array), array.release(&array);
  }
  ArrowWriter(const ArrowWriter&) = delete;
  ArrowWriter& operator=(const ArrowWriter&) = delete;

 private:
  void Add(std::string name, ArrowColumn& column) {
    auto schema = std::make_unique<SchemaData>();
    schema->format = column.format;
    schema->name = std::move(name);
    schema_->children.push_back(std::make_unique<ArrowSchema>());
    SchemaData::Give(std::move(schema), *schema_->children.back());
    array_->children.push_back(std::make_unique<ArrowArray>());
    column.Give(*array_->children.back());
  }

  const Table& table_;
  std::size_t rows_;
  std::shared_ptr<const Kt_Dataset> shared_;
  std::unique_ptr<SchemaData> schema_;
  std::unique_ptr<ArrayData> array_;
};

// One column on its way in.
class ArrowReader {
 public:
  ArrowReader(const ArrowSchema& schema, const ArrowArray& array, std::int64_t first,
              std::int64_t rows)
      : schema_(schema),
        array_(array),
        format_(schema.format),
        first_(first + array.offset),
        rows_(static_cast<std::size_t>(rows)) {}

  std::shared_ptr<Kt_Column> Read() const {
    if (schema_.dictionary != nullptr) return Decode();
    const std::string_view kind = format_;
    if (kind == "n") {
      return detail::MakeColumn<std::optional<std::string>>(
          rows_, [](std::size_t) { return std::optional<std::string>(); });
    }
    if (kind == "b") {
      return Make<bool>([this](std::size_t at) { return Bit(Buffer<std::uint8_t>(1), at); });
    }
    if (kind == "c") return Numbers<std::int8_t>();
    if (kind == "C") return Numbers<std::uint8_t>();
    if (kind == "s") return Numbers<std::int16_t>();
    if (kind == "S") return Numbers<std::uint16_t>();
    if (kind == "i") return Numbers<std::int32_t>();
    if (kind == "I") return Numbers<std::uint32_t>();
    if (kind == "l") return Numbers<std::int64_t>();
    if (kind == "L") return Numbers<std::uint64_t>();
    if (kind == "f") return Numbers<float, double>();
    if (kind == "g") return Numbers<double>();
    if (kind == "u") return Texts<std::int32_t>();
    if (kind == "U") return Texts<std::int64_t>();
    if (kind == "z") return Binaries<std::int32_t>();
    if (kind == "Z") return Binaries<std::int64_t>();
    if (kind == "tdD") return Dates<std::int32_t>(1.0);
    if (kind == "tdm") return Dates<std::int64_t>(86'400e3);
    if (kind.starts_with("tss:")) return Dates<std::int64_t>(86'400.0);
    if (kind.starts_with("tsm:")) return Dates<std::int64_t>(86'400e3);
    if (kind.starts_with("tsu:")) return Dates<std::int64_t>(86'400e6);
    if (kind.starts_with("tsn:")) return Dates<std::int64_t>(86'400e9);
    if (kind.starts_with("d:")) return Decimals();
    throw RunError("is of the Arrow type '" + format_ + "', which has no type here");
  }

 private:
  template <class T>
  const T* Buffer(int which) const {
    return static_cast<const T*>(array_.buffers[which]);
  }
  bool Bit(const std::uint8_t* bits, std::size_t at) const {
    const std::size_t place = static_cast<std::size_t>(first_) + at;
    return (bits[place / 8] >> (place % 8) & 1) != 0;
  }
  bool IsNull(std::size_t at) const {
    const std::uint8_t* const bits = array_.null_count != 0 ? Buffer<std::uint8_t>(0) : nullptr;
    return bits != nullptr && !Bit(bits, at);
  }
  template <class T>
  T At(const T* cells, std::size_t at) const {
    return cells[static_cast<std::size_t>(first_) + at];
  }
  template <class T, class Get>
  std::shared_ptr<Kt_Column> Make(Get get) const {
    if (array_.null_count == 0) return detail::MakeColumn<T>(rows_, get);
    return detail::MakeColumn<std::optional<T>>(rows_, [&](std::size_t at) {
      return IsNull(at) ? std::optional<T>() : std::optional<T>(get(at));
    });
  }
  template <class T, class As = T>
  std::shared_ptr<Kt_Column> Numbers() const {
    const T* const cells = Buffer<T>(1);
    return Make<As>([this, cells](std::size_t at) { return static_cast<As>(At(cells, at)); });
  }
  template <class T>
  std::shared_ptr<Kt_Column> Dates(double per_day) const {
    constexpr double kDaysTo1970 = 25569;
    const T* const cells = Buffer<T>(1);
    return Make<Kt_DateTime>([=, this](std::size_t at) {
      return Kt_DateTime{static_cast<double>(At(cells, at)) / per_day + kDaysTo1970};
    });
  }
  template <class Offset>
  std::string_view Bytes(std::size_t at) const {
    const Offset* const offsets = Buffer<Offset>(1) + first_;
    const auto length = static_cast<std::size_t>(offsets[at + 1] - offsets[at]);
    return length == 0 ? std::string_view()
                       : std::string_view(Buffer<char>(2) + offsets[at], length);
  }
  template <class Offset>
  std::shared_ptr<Kt_Column> Texts() const {
    return Make<Kt_WString>(
        [this](std::size_t at) { return Kt_WString::FromUtf8(Bytes<Offset>(at)); });
  }
  template <class Offset>
  std::shared_ptr<Kt_Column> Binaries() const {
    auto column = std::make_shared<Kt_Column>(Kt_ColumnType::kBinary);
    for (std::size_t at = 0; at < rows_; ++at) {
      Kt_Variant value;
      if (!IsNull(at)) value.SetBinary(Bytes<Offset>(at).data(), Bytes<Offset>(at).size());
      column->Append(value);
    }
    return column;
  }
  // "d:precision,scale" of 128 bits: amounts where the decimals are enough, else doubles.
  std::shared_ptr<Kt_Column> Decimals() const {
    const std::size_t comma = format_.find(',');
    if (comma == format_.npos || format_.find(',', comma + 1) != format_.npos) {
      throw RunError("is of the Arrow type '" + format_ + "': decimals have 128 bits here");
    }
    const int scale = std::atoi(format_.c_str() + comma + 1);
    const auto* const words = Buffer<std::int64_t>(1);
    const auto word = [=, this](std::size_t at, std::size_t half) {
      return words[2 * (static_cast<std::size_t>(first_) + at) + half];
    };
    const auto number = [=](std::size_t at) {
      const auto low = static_cast<std::uint64_t>(word(at, 0));
      return static_cast<double>(word(at, 1)) * 18446744073709551616.0 + static_cast<double>(low);
    };
    double unit = 1;
    for (int digit = 0; digit < scale; ++digit) unit *= 10;
    bool is_currency = scale >= 0 && scale <= 4;
    const double most = 9.2e18 / (10000 / std::min(unit, 10000.0));
    for (std::size_t at = 0; at < rows_ && is_currency; ++at) {
      is_currency = IsNull(at) || std::abs(number(at)) < most;
    }
    if (!is_currency) {
      return Make<double>([=](std::size_t at) { return number(at) / unit; });
    }
    const auto factor = static_cast<std::int64_t>(10000 / unit);
    return Make<Kt_Currency>(
        [=](std::size_t at) { return Kt_Currency::FromUnits(word(at, 0) * factor); });
  }
  std::shared_ptr<Kt_Column> Decode() const {
    const ArrowArray& values = *array_.dictionary;
    const auto known = ArrowReader(*schema_.dictionary, values, 0, values.length).Read();
    ArrowSchema plain = schema_;
    plain.dictionary = nullptr;
    const auto codes =
        ArrowReader(plain, array_, first_ - array_.offset, static_cast<std::int64_t>(rows_)).Read();
    auto column = std::make_shared<Kt_Column>(known->Type());
    for (std::size_t at = 0; at < rows_; ++at) {
      const Kt_Variant code = codes->Read(at);
      const auto place = static_cast<std::size_t>(code.ToInteger());
      if (!code.IsEmpty() && place >= known->RowCount()) throw RunError("has a code of no value");
      column->Append(code.IsEmpty() ? Kt_Variant() : known->Read(place));
    }
    return column;
  }

  const ArrowSchema& schema_;
  const ArrowArray& array_;
  std::string format_;
  std::int64_t first_;  // of the cells in the buffers
  std::size_t rows_;
};

}  // namespace

void ToArrow(const Table& table, ArrowSchema* schema, ArrowArray* array, ArrowOptions options) {
  ArrowWriter writer(table);
  const kt_long columns = table.columns();
  for (kt_long col = 0; col < columns; ++col) writer.AddColumn(col);
  for (kt_long col = 0; col < columns && options.originals; ++col) writer.AddOriginal(col);
  if (options.states) writer.AddStates();
  writer.Give(schema, array);
}

Columns FromArrow(const ArrowSchema& schema, const ArrowArray& array) {
  if (std::string_view(schema.format) != "+s" || array.null_count > 0) {
    throw RunError("the Arrow data is no table: a struct without nulls is one");
  }
  if (array.n_children != schema.n_children)
    throw RunError("the Arrow data is not that of its schema");
  Columns columns;
  for (std::int64_t col = 0; col < schema.n_children; ++col) {
    const ArrowSchema& child = *schema.children[col];
    const std::string name = child.name != nullptr ? child.name : "";
    try {
      columns.add(name,
                  ArrowReader(child, *array.children[col], array.offset, array.length).Read());
    } catch (const RunError& error) {
      throw RunError("column '" + name + "': " + error.info().text);
    }
  }
  return columns;
}

void ToArrowStream(const Table& table, ArrowArrayStream* out) {
  struct Stream {
    ArrowSchema schema{};
    ArrowArray array{};
    ~Stream() {
      if (schema.release != nullptr) schema.release(&schema);
      if (array.release != nullptr) array.release(&array);
    }
  };
  auto stream = std::make_unique<Stream>();
  ToArrow(table, &stream->schema, &stream->array);
  *out = {};
  // Asked once by every reader that there is; another time it fails.
  out->get_schema = [](ArrowArrayStream* self, ArrowSchema* schema) {
    Stream& given = *static_cast<Stream*>(self->private_data);
    if (given.schema.release == nullptr) return EINVAL;
    *schema = std::exchange(given.schema, {});
    return 0;
  };
  out->get_next = [](ArrowArrayStream* self, ArrowArray* array) {
    *array = std::exchange(static_cast<Stream*>(self->private_data)->array, {});
    return 0;
  };
  out->get_last_error = [](ArrowArrayStream*) -> const char* { return nullptr; };
  out->release = [](ArrowArrayStream* self) {
    delete static_cast<Stream*>(self->private_data);
    self->release = nullptr;
  };
  out->private_data = stream.release();
}

void LoadArrowStream(Table& table, ArrowArrayStream& stream) {
  const auto check = [&](int code) {
    if (code == 0) return;
    const char* const why = stream.get_last_error(&stream);
    throw RunError(why != nullptr ? why : "the Arrow stream failed");
  };
  struct Schema : ArrowSchema {
    Schema() : ArrowSchema{} {}
    ~Schema() {
      if (release != nullptr) release(this);
    }
  } schema;
  check(stream.get_schema(&stream, &schema));
  for (bool is_first = true;; is_first = false) {
    struct Array : ArrowArray {
      Array() : ArrowArray{} {}
      ~Array() {
        if (release != nullptr) release(this);
      }
    } array;
    check(stream.get_next(&stream, &array));
    if (array.release == nullptr && !is_first) return;
    if (array.release == nullptr) {
      static_cast<void>(table.load(Columns()));
      return;
    }
    const Columns columns = FromArrow(schema, array);
    if (is_first) {
      table.load(columns);
    } else {
      table.append(columns);
    }
  }
}

}  // namespace kt
