// SPDX-License-Identifier: MIT
//
// Substring search in two stages.
//
// Ordinary text is searched by skipping to the next place where the first and the last unit of the
// pattern both fit, in blocks that the compiler turns into vector compares, and comparing there.
// That is fast but quadratic on texts such as "aaaa...ab", which a script can make at will. So the
// first stage counts the units it has compared in vain, and hands over to the Two-Way algorithm
// (M. Crochemore, D. Perrin: Two-way string-matching, JACM 38, 1991) once that work is out of
// proportion to the distance covered. Two-Way is linear and needs no table.

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <bit>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_WString.h"
#include "classlib/text/detail/Kt_TextSearch.h"

namespace kt::detail {
namespace {

struct SameUnit {
  char16_t operator()(char16_t unit) const { return unit; }
};
struct FoldedUnit {
  char16_t operator()(char16_t unit) const { return kt_foldcaseW(unit); }
};

// A text whose units are read through `Map`, and a pattern whose units are mapped already.
template <class Map>
struct Job {
  const char16_t* text;
  std::ptrdiff_t text_length;
  const char16_t* pattern;
  std::ptrdiff_t length;
  std::ptrdiff_t last_start;  // text_length - length

  char16_t Unit(std::ptrdiff_t at) const { return Map()(text[at]); }
};

constexpr std::ptrdiff_t kBlock = 16;

// A bit for each of kBlock starts where the first unit is at `head` and the last at `tail`.
unsigned Starts(const char16_t* head, const char16_t* tail, char16_t first, char16_t last) {
#if defined(__SSE2__)
  const auto fits = [](const char16_t* units, __m128i unit) {
    return _mm_cmpeq_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(units)), unit);
  };
  const __m128i firsts = _mm_set1_epi16(static_cast<short>(first));
  const __m128i lasts = _mm_set1_epi16(static_cast<short>(last));
  const __m128i low = _mm_and_si128(fits(head, firsts), fits(tail, lasts));
  const __m128i high = _mm_and_si128(fits(head + 8, firsts), fits(tail + 8, lasts));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
#else
  unsigned starts = 0;
  for (unsigned k = 0; k < kBlock; ++k) {
    starts |= static_cast<unsigned>((head[k] == first) & (tail[k] == last)) << k;
  }
  return starts;
#endif
}

// The next start at or after `at` where both ends of the pattern fit; last_start + 1 if none.
std::ptrdiff_t NextStart(const Job<SameUnit>& job, std::ptrdiff_t at) {
  const char16_t first = job.pattern[0];
  const char16_t last = job.pattern[job.length - 1];
  for (; at + kBlock <= job.last_start + 1; at += kBlock) {
    if (!GoesOnAt(static_cast<std::size_t>(at / kBlock), kBlock)) return job.last_start + 1;
    const char16_t* const head = job.text + at;
    const unsigned starts = Starts(head, head + job.length - 1, first, last);
    if (starts != 0) return at + std::countr_zero(starts);
  }
  for (; at <= job.last_start; ++at) {
    if (job.text[at] == first && job.text[at + job.length - 1] == last) break;
  }
  return at;
}

std::ptrdiff_t NextStart(const Job<FoldedUnit>& job, std::ptrdiff_t at) {
  const char16_t first = job.pattern[0];
  while (at <= job.last_start && job.Unit(at) != first) {
    if (!GoesOnAt(static_cast<std::size_t>(at++), 2)) return job.last_start + 1;
  }
  return at;
}

struct Factor {
  std::ptrdiff_t before;  // index before the maximal suffix
  std::ptrdiff_t period;
};

// The maximal suffix of the pattern under the unit order (`greater` false) or its reverse.
Factor MaximalSuffix(const char16_t* pattern, std::ptrdiff_t length, bool greater) {
  std::ptrdiff_t before = -1;
  std::ptrdiff_t candidate = 0;
  std::ptrdiff_t offset = 1;
  std::ptrdiff_t period = 1;
  for (std::size_t round = 0; candidate + offset < length && GoesOnAt(round, 4); ++round) {
    const char16_t a = pattern[candidate + offset];
    const char16_t b = pattern[before + offset];
    if (a == b) {
      if (offset != period) {
        ++offset;
      } else {
        candidate += period;
        offset = 1;
      }
    } else if (greater ? a > b : a < b) {
      candidate += offset;
      offset = 1;
      period = candidate - before;
    } else {
      before = candidate++;
      offset = period = 1;
    }
  }
  return {before, period};
}

// Units of the pattern that fit at `start`, counted on from `from`.
template <class Map>
std::ptrdiff_t MatchForward(const Job<Map>& job, std::ptrdiff_t start, std::ptrdiff_t from) {
  while (from < job.length && job.pattern[from] == job.Unit(start + from)) {
    if (!GoesOnAt(static_cast<std::size_t>(from++), 2)) return 0;
  }
  return from;
}

// True when the units of the pattern in (down_to, from] fit at `start`.
template <class Map>
bool MatchBackward(const Job<Map>& job, std::ptrdiff_t start, std::ptrdiff_t from,
                   std::ptrdiff_t down_to) {
  while (from > down_to && job.pattern[from] == job.Unit(start + from)) {
    if (!GoesOnAt(static_cast<std::size_t>(from--), 2)) return false;
  }
  return from <= down_to;
}

template <class Map>
std::ptrdiff_t TwoWay(const Job<Map>& job, std::ptrdiff_t start) {
  const Factor up = MaximalSuffix(job.pattern, job.length, false);
  const Factor down = MaximalSuffix(job.pattern, job.length, true);
  auto [cut, period] = up.before > down.before ? up : down;
  const auto is_same = [&, pattern = job.pattern, distance = period](std::size_t first,
                                                                     std::size_t count) {
    return std::equal(pattern + first, pattern + first + count, pattern + first + distance);
  };
  const bool periodic = InPieces(static_cast<std::size_t>(cut + 1), 1, is_same);
  if (!periodic) period = std::max(cut + 1, job.length - cut - 1) + 1;
  // What is known to fit at `start` from the step before: units up to and with this index.
  std::ptrdiff_t known = -1;
  RoundCharge charge;
  while (start <= job.last_start && charge.Add(kUnitsPerFind)) {
    const std::ptrdiff_t at = MatchForward(job, start, std::max(cut, known) + 1);
    if (at < job.length) {
      start += at - cut;
      known = -1;
      continue;
    }
    if (MatchBackward(job, start, cut, known)) return start;
    start += period;
    known = periodic ? job.length - period - 1 : -1;
  }
  return -1;
}

template <class Map>
std::ptrdiff_t Search(const Job<Map>& job, std::ptrdiff_t start) {
  constexpr std::ptrdiff_t kWorkPerUnit = 8;
  constexpr std::ptrdiff_t kFreeWork = 1024;
  RoundCharge charge;
  std::ptrdiff_t budget = kFreeWork + job.length - kWorkPerUnit * start;
  for (std::ptrdiff_t at = NextStart(job, start); at <= job.last_start;
       at = NextStart(job, at + 1)) {
    const std::ptrdiff_t matched = MatchForward(job, at, 0);
    if (matched == job.length) return at;
    if (!charge.Add(kUnitsPerFind)) return -1;
    budget -= matched;
    if (budget + kWorkPerUnit * at < 0) return TwoWay(job, at + 1);
  }
  return -1;
}

template <class Map>
std::ptrdiff_t Run(std::u16string_view text, std::u16string_view pattern, std::size_t start) {
  if (pattern.empty() || start > text.size() || pattern.size() > text.size() - start) return -1;
  const auto text_length = static_cast<std::ptrdiff_t>(text.size());
  const auto length = static_cast<std::ptrdiff_t>(pattern.size());
  const Job<Map> job{text.data(), text_length, pattern.data(), length, text_length - length};
  const std::ptrdiff_t found = Search(job, static_cast<std::ptrdiff_t>(start));
  // The way to a near find has not been charged.
  const auto way = (found < 0 ? text_length : found) - static_cast<std::ptrdiff_t>(start);
  constexpr std::ptrdiff_t kFreeWay = 256;
  constexpr std::ptrdiff_t kChargedWay = 65536;
  if (way > kFreeWay && way < kChargedWay) (void)kt::Charge(way);
  return found;
}

}  // namespace

std::ptrdiff_t FindText(std::u16string_view text, std::u16string_view pattern, std::size_t start) {
  return Run<SameUnit>(text, pattern, start);
}

std::ptrdiff_t FindTextNoCase(std::u16string_view text, std::u16string_view pattern,
                              std::size_t start) {
  constexpr std::size_t kShort = 64;
  if (pattern.size() > text.size()) return -1;
  char16_t short_buffer[kShort];
  Kt_WString long_buffer;
  char16_t* folded = short_buffer;
  if (pattern.size() > kShort) {
    folded = long_buffer.GetBuffer(static_cast<kt_long>(pattern.size()));
    if (folded == nullptr) return -1;
  }
  const auto fold = [&](std::size_t first, std::size_t count) {
    const auto from = pattern.begin() + static_cast<std::ptrdiff_t>(first);
    std::transform(from, from + static_cast<std::ptrdiff_t>(count), folded + first, FoldedUnit());
    return true;
  };
  if (!InPieces(pattern.size(), 2, fold)) return -1;
  return Run<FoldedUnit>(text, {folded, pattern.size()}, start);
}

std::int64_t CountText(std::u16string_view text, std::u16string_view pattern) {
  RoundCharge charge;
  std::int64_t count = 0;
  for (std::ptrdiff_t at = FindText(text, pattern, 0); at >= 0; ++count) {
    if (!charge.Add(kUnitsPerFind)) return -1;
    at = FindText(text, pattern, static_cast<std::size_t>(at) + pattern.size());
  }
  return Kt_WorkMeter::CurrentStop() == 0 ? count : -1;
}

}  // namespace kt::detail
