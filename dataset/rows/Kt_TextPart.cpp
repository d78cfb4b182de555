// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_TextPart.h"

#include <algorithm>
#include <iterator>
#include <type_traits>

#include "classlib/value/Kt_VarInline.h"

namespace kt::detail {

// In the order of the program every operand is the last value of its temp that was made before, as
// the instructions that make it are among those that are kept.
bool TextPart::Merge(const TextPart& other) {
  if (name != kNoName && other.name != kNoName && name != other.name) return false;
  if (name == kNoName) name = other.name;
  std::vector<std::uint16_t> all;
  std::set_union(instrs.begin(), instrs.end(), other.instrs.begin(), other.instrs.end(),
                 std::back_inserter(all));
  instrs = std::move(all);
  return true;
}

namespace {

const Kt_Column::Texts* TextsOf(const Kt_Column* cells) {
  return cells != nullptr ? &cells->Cells<Kt_Column::Texts>() : nullptr;
}

}  // namespace

KT_ALWAYS_INLINE std::size_t TextMemo::KeyOf(const Kt_Column::Texts* texts,
                                             std::uint32_t record) const {
  if (texts == nullptr) return 1;
  return cells_->IsNull(record) ? 0 : texts->codes[record] + 1u;
}

void TextMemo::Rebind(const Kt_Column* cells) {
  cells_ = cells;
  states_.clear();
  known_count_ = 0;
  has_odd_ = false;
  known_ = {};
}

bool TextMemo::FindKind() {
  const bool has_texts =
      cells_ != nullptr && cells_->Cells<Kt_Column::Texts>().dictionary.Count() > 1;
  Kt_Variant value;
  if (!Compute(has_texts ? 2 : 1, value)) return false;
  is_long_ = value.IsLong();
  return is_long_ || value.IsDouble();
}

// Null and the empty text have keys whether a cell holds them or not.
std::size_t TextMemo::KeyCount() const {
  const Kt_Column::Texts* const texts = TextsOf(cells_);
  return texts != nullptr ? texts->dictionary.Count() + 1 : 2;
}

double TextMemo::TextsPerRow() const {
  if (cells_ == nullptr || cells_->RowCount() == 0) return 0;
  const auto rows = static_cast<double>(cells_->RowCount());
  return std::min(static_cast<double>(KeyCount()) / rows, 1.0);
}

// REQUIRES: every key is known.
template <class T>
void TextMemo::ReadAll(const RowRecords& records, std::size_t count, T* numbers) const {
  const T* const known = std::get<kt::CountedVector<T>>(known_).data();
  const Kt_Column::Texts* const texts = TextsOf(cells_);
  if (texts == nullptr || !records.IsDense()) {
    for (std::size_t at = 0; at < count; ++at) numbers[at] = known[KeyOf(texts, records[at])];
    return;
  }
  // Nothing to look at but the numbers; a null cell has the code of the empty text.
  const std::uint32_t* const codes = texts->codes.data() + records.first;
  for (std::size_t at = 0; at < count; ++at) numbers[at] = known[codes[at] + 1u];
  ForEachNull(*cells_, records, count, [&](std::size_t at) { numbers[at] = known[0]; });
}

template <class T>
void TextMemo::Read(const RowRecords& records, std::size_t count, T* numbers, std::uint8_t* marks) {
  auto& known = std::get<kt::CountedVector<T>>(known_);
  const std::size_t keys = KeyCount();
  states_.resize(keys, kUnknown);
  known.resize(keys);
  for (std::size_t key = 0; key < 2; ++key) {
    if (states_[key] == kUnknown) Learn(key, known[key]);
  }
  if (known_count_ == keys) return ReadAll(records, count, numbers);
  const Kt_Column::Texts* const texts = TextsOf(cells_);
  for (std::size_t at = 0; at < count; ++at) {
    const std::size_t key = KeyOf(texts, records[at]);
    if (KT_UNLIKELY(states_[key] == kUnknown)) Learn(key, known[key]);
    numbers[at] = known[key];
    if (KT_UNLIKELY(states_[key] != kKnown)) marks[at] |= kAloneRow;
  }
}
template void TextMemo::Read(const RowRecords&, std::size_t, kt_long*, std::uint8_t*);
template void TextMemo::Read(const RowRecords&, std::size_t, double*, std::uint8_t*);

template <class T>
void TextMemo::ReadKnown(const RowRecords& records, std::size_t count, T* numbers,
                         std::uint8_t* marks) const {
  const std::size_t keys = KeyCount();
  if (states_.size() != keys) {
    std::fill_n(numbers, count, T{});
    for (std::size_t at = 0; at < count; ++at) marks[at] |= kAloneRow;
    return;
  }
  if (known_count_ == keys) return ReadAll(records, count, numbers);
  const T* const known = std::get<kt::CountedVector<T>>(known_).data();
  const Kt_Column::Texts* const texts = TextsOf(cells_);
  for (std::size_t at = 0; at < count; ++at) {
    const std::size_t key = KeyOf(texts, records[at]);
    numbers[at] = known[key];
    if (KT_UNLIKELY(states_[key] != kKnown)) marks[at] |= kAloneRow;
  }
}
template void TextMemo::ReadKnown(const RowRecords&, std::size_t, kt_long*, std::uint8_t*) const;
template void TextMemo::ReadKnown(const RowRecords&, std::size_t, double*, std::uint8_t*) const;

bool TextMemo::Find(std::uint32_t record, Kt_Variant& number) const {
  const std::size_t key = KeyOf(TextsOf(cells_), record);
  if (key >= states_.size() || states_[key] != kKnown) return false;
  number = is_long_ ? Kt_Variant(std::get<0>(known_)[key]) : Kt_Variant(std::get<1>(known_)[key]);
  return true;
}

template <class T>
void TextMemo::Learn(std::size_t key, T& number) {
  Kt_Variant value;
  const bool is_number = Compute(key, value) && (is_long_ ? value.IsLong() : value.IsDouble());
  states_[key] = is_number ? kKnown : kOdd;
  known_count_ += is_number ? 1 : 0;
  has_odd_ = has_odd_ || !is_number;
  if (is_number)
    number = is_long_ ? static_cast<T>(value.AsLong()) : static_cast<T>(value.AsDouble());
}

// False when it fails.
bool TextMemo::Compute(std::size_t key, Kt_Variant& value) {
  text_.Clear();
  if (key > 0 && cells_ != nullptr) {
    text_ = cells_->Cells<Kt_Column::Texts>().dictionary.Text(static_cast<std::uint32_t>(key - 1));
  }
  temps_.resize(program_->temp_count);
  const std::uint64_t failures = QuietCalls::CountFailures();
  for (const std::uint16_t at : part_.instrs) {
    if (!RunInstr(program_->instrs[at])) return false;
  }
  if (failures != QuietCalls::CountFailures()) return false;
  value = Get(part_.result);
  return true;
}

bool TextMemo::RunInstr(const CodeInstr& in) {
  Kt_Variant value;
  if (in.op == CodeOp::kMove) {
    value = Get(in.a);
  } else if (in.op == CodeOp::kCall) {
    const Kt_Getter function = (*calls_)[static_cast<std::size_t>(in.extra)].function;
    if (!quiet_.Run(function, {temps_.data() + in.a, in.b}, value)) return false;
  } else if (kt::Compute(OperatorOf(in.op), Get(in.a), Get(in.b), value) != kOk) {
    return false;
  }
  temps_[in.dst] = std::move(value);
  return true;
}

const Kt_Variant& TextMemo::Get(std::uint16_t operand) const {
  if (operand < CodeOperand::kConstBase) return temps_[operand];
  if (operand < CodeOperand::kNameBase) return program_->consts[operand - CodeOperand::kConstBase];
  return text_;
}

}  // namespace kt::detail
