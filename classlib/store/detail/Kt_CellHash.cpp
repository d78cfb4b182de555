// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_CellHash.h"

#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/detail/Kt_TextHash.h"

namespace kt::detail {

namespace {

constexpr int kFirstHashed = 3;  // search
// A column with fewer texts than one for so many rows is searched as fast without.
constexpr std::size_t kRowsPerText = 64;

bool IsWorthWhile(const Kt_Column& cells) {
  if (cells.Type() == Kt_ColumnType::kBinary || cells.Type() == Kt_ColumnType::kVariant) {
    return false;
  }
  return cells.Type() != Kt_ColumnType::kString ||
         cells.Cells<Kt_Column::Texts>().dictionary.Count() >= cells.RowCount() / kRowsPerText;
}

}  // namespace

std::uint64_t CellHash::KeyOf(std::u16string_view text) { return TextHash(text); }

std::unique_ptr<CellHash> CellHash::Of(const Kt_Column& cells) {
  if (!IsWorthWhile(cells)) return nullptr;
  try {
    const int bits = std::max(static_cast<int>(std::bit_width(cells.RowCount())), 4);
    std::unique_ptr<CellHash> hash(new CellHash(cells, bits));
    hash->heads_.resize(std::size_t{1} << bits);
    hash->next_.resize(cells.RowCount());
    if (hash->Fill()) return hash;
  } catch (const std::bad_alloc&) {  // the search goes on without
  }
  return nullptr;
}

// From the last slot on, so that chains rise. Nulls are in none.
bool CellHash::Fill() {
  return VisitCells(*cells_, [&]<class Cells>(const Cells& values) {
    RoundCharge charge;
    for (std::size_t slot = cells_->RowCount(); slot-- > 0;) {
      if (!charge.Add(4 * Kt_WorkMeter::kUnitsPerCell)) return false;
      if (cells_->IsNull(slot)) continue;
      std::uint64_t key = 0;
      if constexpr (std::is_same_v<Cells, Kt_Column::Texts>) {
        const std::uint32_t code = values.codes[slot];
        key =
            values.dictionary.IsUnique() ? KeyOf(code) : KeyOf(values.dictionary.Text(code).View());
      } else if constexpr (!std::is_same_v<Cells, Kt_Column::Values>) {
        key = KeyOf(values[slot]);
      }
      std::uint32_t& head = heads_[PlaceOf(key)];
      next_[slot] = head;
      head = static_cast<std::uint32_t>(slot + 1);
    }
    return true;
  });
}

const CellHash* ColumnSearches::Next(const Kt_Column& cells) {
  if (++count < kFirstHashed) return nullptr;
  if (hash != nullptr && hash->IsOf(cells)) return hash.get();
  // Where there is none to be had, the next try comes after as many searches as before.
  hash = CellHash::Of(cells);
  if (hash == nullptr) count = 1;
  return hash.get();
}

}  // namespace kt::detail
