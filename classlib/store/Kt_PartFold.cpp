// SPDX-License-Identifier: MIT
#include "classlib/store/Kt_PartFold.h"

#include <bit>

using kt::kernels::ExactSum;
using kt::kernels::WideSum;

namespace {

// No rows come to more; what is read beyond was not written here, and could overflow when merged.
constexpr std::int64_t kMostRows = std::int64_t{1} << 50;
constexpr std::int64_t kMostHigh = std::int64_t{1} << 61;   // upper half of a sum
constexpr std::int64_t kMostCarry = std::int64_t{1} << 40;  // beyond the digits of all doubles

bool IsWithin(std::int64_t number, std::int64_t most) { return number >= -most && number <= most; }

// ---- Numbers as bytes, the least significant first --------------------------------------------

void Put(std::string& bytes, std::int64_t number) {
  const auto bits = static_cast<std::uint64_t>(number);
  for (int shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(bits >> shift & 0xFF);
}

bool Take(std::span<const std::uint8_t>& bytes, std::int64_t& number) {
  if (bytes.size() < sizeof number) return false;
  std::uint64_t bits = 0;
  for (std::size_t at = 0; at < sizeof number; ++at) bits |= std::uint64_t{bytes[at]} << (8 * at);
  number = static_cast<std::int64_t>(bits);
  bytes = bytes.subspan(sizeof number);
  return true;
}

void Put(std::string& bytes, const WideSum& sum) {
  std::int64_t high = 0;
  std::int64_t low = 0;
  sum.Halves(high, low);
  Put(bytes, high);
  Put(bytes, low);
}

bool Take(std::span<const std::uint8_t>& bytes, WideSum& sum) {
  std::int64_t high = 0;
  std::int64_t low = 0;
  if (!Take(bytes, high) || !Take(bytes, low) || !IsWithin(high, kMostHigh)) return false;
  sum = WideSum::FromHalves(high, low);
  return true;
}

// Only the chunks between the first and the last that is not 0: numbers of a like size need few.
void Put(std::string& bytes, const ExactSum& sum) {
  const ExactSum::Chunks digits = sum.Digits();
  std::size_t first = 0;
  std::size_t end = digits.size();
  while (first < end && digits[first] == 0) ++first;
  while (end > first && digits[end - 1] == 0) --end;
  Put(bytes, std::bit_cast<std::int64_t>(sum.Others()));
  Put(bytes, static_cast<std::int64_t>(first));
  Put(bytes, static_cast<std::int64_t>(end));
  for (std::size_t at = first; at < end; ++at) Put(bytes, digits[at]);
}

bool Take(std::span<const std::uint8_t>& bytes, ExactSum& sum) {
  std::int64_t others = 0;
  std::int64_t first = 0;
  std::int64_t end = 0;
  if (!Take(bytes, others) || !Take(bytes, first) || !Take(bytes, end)) return false;
  if (first < 0 || end < first || end > static_cast<std::int64_t>(ExactSum::kChunks)) return false;
  ExactSum::Chunks digits{};
  for (std::int64_t at = first; at < end; ++at) {
    if (!Take(bytes, digits[static_cast<std::size_t>(at)])) return false;
  }
  if (!IsWithin(digits.back(), kMostCarry)) return false;
  sum = ExactSum::FromDigits(digits, std::bit_cast<double>(others));
  return true;
}

}  // namespace

// ---- Sums -------------------------------------------------------------------------------------

void Kt_PartSum::Merge(const Kt_PartSum& other) {
  longs_.Merge(other.longs_);
  units_.Merge(other.units_);
  has_units_ |= other.has_units_;
  if (other.doubles_.empty()) return;
  if (doubles_.empty()) {
    doubles_ = other.doubles_;
  } else {
    doubles_.front().Merge(other.doubles_.front());
  }
}

Kt_Variant Kt_PartSum::Total() const {
  const double doubles = doubles_.empty() ? 0 : doubles_.front().Total();
  std::int64_t longs = 0;
  // More than 2^63 can only come of billions of rows: a double then, which nothing is exact beside.
  if (!longs_.Total(longs)) {
    return doubles + units_.Approximate() / static_cast<double>(Kt_Currency::kScale) +
           longs_.Approximate();
  }
  return kt::detail::TotalOfSums(doubles_.empty() ? nullptr : &doubles,
                                 has_units_ ? &units_ : nullptr, longs);
}

void Kt_PartSum::Save(std::string& bytes) const {
  Put(bytes, longs_);
  Put(bytes, units_);
  Put(bytes, (has_units_ ? 1 : 0) + (doubles_.empty() ? 0 : 2));
  if (!doubles_.empty()) Put(bytes, doubles_.front());
}

bool Kt_PartSum::Load(std::span<const std::uint8_t>& bytes) {
  std::int64_t flags = 0;
  if (!Take(bytes, longs_) || !Take(bytes, units_) || !Take(bytes, flags)) return false;
  if (flags < 0 || flags > 3) return false;
  has_units_ = (flags & 1) != 0;
  doubles_.clear();
  if ((flags & 2) == 0) return true;
  doubles_.emplace_back();
  return Take(bytes, doubles_.front());
}

// ---- Folds ------------------------------------------------------------------------------------

void Kt_PartFold::Merge(const Kt_PartFold& later) {
  if (Adds()) sum_.Merge(later.sum_);
  if (IsExtreme() && later.values_ > 0) Offer(later.best_);
  rows_ += later.rows_;
  values_ += later.values_;
}

std::string Kt_PartFold::Save() const {
  std::string bytes;
  Put(bytes, static_cast<std::int64_t>(what_));
  Put(bytes, rows_);
  Put(bytes, values_);
  if (Adds()) sum_.Save(bytes);
  return bytes;
}

bool Kt_PartFold::Load(std::span<const std::uint8_t> bytes, Kt_Variant best) {
  std::int64_t what = 0;
  if (!Take(bytes, what) || what != static_cast<std::int64_t>(what_)) return false;
  if (!Take(bytes, rows_) || !Take(bytes, values_)) return false;
  if (values_ < 0 || values_ > rows_ || rows_ > kMostRows) return false;
  if (Adds() && !sum_.Load(bytes)) return false;
  best_ = std::move(best);
  return bytes.empty();
}
