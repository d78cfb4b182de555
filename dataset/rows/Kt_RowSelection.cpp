// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_RowSelection.h"

#include <algorithm>
#include <bit>

namespace kt::detail {

namespace {

// A bit for each of 64 bytes, each of them 0 or 1: whether it is 0.
std::uint64_t OpenBits(const std::uint8_t* settled) {
  std::uint64_t bits = 0;
  for (std::size_t at = 0; at < 64; at += 8) {
    std::array<std::uint8_t, 8> bytes;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    std::copy_n(settled + at, 8, bytes.begin());
    if constexpr (std::endian::native == std::endian::big) std::reverse(bytes.begin(), bytes.end());
    // Byte k becomes bit k of the highest byte of the product.
    bits |= (std::bit_cast<std::uint64_t>(bytes) * 0x0102040810204080) >> 56 << at;
  }
  return ~bits;
}

// item[at] = value(at) where it is settled, without a branch.
template <class Item, class Value>
void Overwrite(const RowSelection::Bytes& settled, std::size_t count, Item* items, Value value) {
  for (std::size_t at = 0; at < count; ++at) {
    const auto mask = static_cast<Item>(-static_cast<int>(settled[at]));
    items[at] = static_cast<Item>((items[at] & ~mask) | (value(at) & mask));
  }
}

}  // namespace

void RowSelection::KeepAll(const Bytes& marks, std::size_t count) {
  is_narrow_ = false;
  count_ = count;
  marks_ = marks;
}

void RowSelection::Narrow(Bytes& marks, std::size_t count, const RowRecords& records,
                          const std::uint16_t* rows) {
  is_narrow_ = true;
  count_ = count;
  marks_ = marks;
  FindPlaces(count);
  for (std::size_t at = 0; at < open_count_; ++at) {
    const std::uint16_t place = places_[at];
    rows_[at] = rows != nullptr ? rows[place] : place;
    records_[at] = records[place];
    marks[at] = marks_[place];
  }
}

// From a bit for every row, so that no branch hangs on a single one.
void RowSelection::FindPlaces(std::size_t count) {
  std::fill(settled_.begin() + static_cast<std::ptrdiff_t>(count), settled_.end(), std::uint8_t{1});
  std::size_t found = 0;
  for (std::size_t first = 0; first < count; first += 64) {
    for (std::uint64_t bits = OpenBits(settled_.data() + first); bits != 0; bits &= bits - 1) {
      places_[found++] = static_cast<std::uint16_t>(first + std::countr_zero(bits));
    }
  }
  open_count_ = found;
}

void RowSelection::PutBack(kt_long* values, Bytes& marks, kt_long settled_value) const {
  if (is_narrow_) return Spread(values, marks, settled_value);
  const std::size_t count = count_;
  Overwrite(settled_, count, values, [=](std::size_t) { return settled_value; });
  Overwrite(settled_, count, marks.data(), [&](std::size_t at) { return marks_[at]; });
}

void RowSelection::Spread(kt_long* values, Bytes& marks, kt_long settled_value) const {
  std::array<kt_long, kRowsPerBlock> open;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  std::copy_n(values, open_count_, open.data());
  std::fill_n(values, count_, settled_value);
  Bytes all = marks_;
  for (std::size_t at = 0; at < open_count_; ++at) {
    values[places_[at]] = open[at];
    all[places_[at]] = marks[at];
  }
  marks = all;
}

}  // namespace kt::detail
