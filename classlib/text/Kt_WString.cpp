// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_WString.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <new>
#include <utility>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/text/detail/Kt_SymbolHold.h"
#include "classlib/text/detail/Kt_TextSearch.h"

static_assert(sizeof(Kt_WString) == sizeof(void*));
static_assert(sizeof(Kt_WString::Rep) == 16);

namespace {

constexpr auto kMaxUnits = static_cast<std::size_t>(kMaxStringLength);

std::size_t RepBytes(kt_long capacity) {
  return sizeof(Kt_WString::Rep) + (static_cast<std::size_t>(capacity) + 1) * sizeof(char16_t);
}

// The allocator hands out whole 16-byte lines: a buffer may as well use the last one.
kt_long WholeLine(kt_long capacity) { return capacity | 7; }

// False when the run was stopped on the way.
[[nodiscard]] bool CopyUnits(char16_t* target, std::u16string_view source) {
  return kt::detail::InPieces(source.size(), 1, [&](std::size_t first, std::size_t count) {
    if (count != 0) std::memcpy(target + first, source.data() + first, count * sizeof(char16_t));
    return true;
  });
}

// The texts of one unit that scripts take apart and put together all the time. They are never
// freed: the table holds one reference of its own to each.
struct UnitText {
  constexpr explicit UnitText(std::size_t unit)
      : head{{1}, 1, 1, 0}, units{static_cast<char16_t>(unit), u'\0'} {}
  Kt_WString::Rep head;
  char16_t units[2];
};
static_assert(sizeof(UnitText) == sizeof(Kt_WString::Rep) + 2 * sizeof(char16_t));
template <std::size_t... kUnits>
struct UnitTexts {
  UnitText texts[sizeof...(kUnits)] = {UnitText(kUnits)...};
};
template <std::size_t... kUnits>
UnitTexts<kUnits...> TextsOf(std::index_sequence<kUnits...>);
constinit decltype(TextsOf(std::make_index_sequence<256>())) unit_texts;

Kt_WString::Rep* RepOf(std::u16string_view text) {
  if (text.empty() || text.size() > kMaxUnits) return nullptr;
  if (text.size() == 1 && text[0] < std::size(unit_texts.texts)) {
    Kt_WString::Rep& rep = unit_texts.texts[text[0]].head;
    rep.AddRef();
    return &rep;
  }
  const auto length = static_cast<kt_long>(text.size());
  Kt_WString::Rep* const rep = Kt_WString::NewRep(length, length);
  if (CopyUnits(rep->Text(), text)) return rep;
  Kt_WString::FreeRep(rep);
  return nullptr;
}

std::u16string_view ViewOf(const char16_t* text, kt_long length) {
  if (text == nullptr) return {};
  if (length < 0) return text;
  return {text, static_cast<std::size_t>(length)};
}

// REQUIRES: nobody else holds the buffer.
void ForgetSymbol(Kt_WString::Rep& rep) {
  const Kt_Symbol symbol = rep.symbol.load(std::memory_order_relaxed);
  if (KT_LIKELY(symbol == 0)) return;
  rep.symbol.store(0, std::memory_order_relaxed);
  kt::detail::DropSymbol(symbol);
}

void SetLength(Kt_WString::Rep& rep, kt_long length) {
  rep.length = length;
  ForgetSymbol(rep);
  rep.Text()[length] = u'\0';
}

// Grows a buffer that nobody else holds, in place if the allocator can.
Kt_WString::Rep* Enlarge(Kt_WString::Rep* rep, kt_long length) {
  const kt_long by_half = std::min(rep->capacity + rep->capacity / 2, kMaxStringLength);
  const kt_long capacity = WholeLine(std::max(length, by_half));
  void* const memory =
      kt::Reallocate(static_cast<void*>(rep), RepBytes(rep->capacity), RepBytes(capacity));
  auto* const grown = static_cast<Kt_WString::Rep*>(memory);
  grown->capacity = capacity;
  return grown;
}

bool IsNameStart(char16_t unit) {
  return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || unit == u'_' ||
         unit >= 128;
}

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

// Writes `text` with its `count` finds replaced. False when the run was stopped on the way.
bool ReplaceInto(char16_t* out, std::u16string_view text, std::u16string_view old_text,
                 std::u16string_view new_text, std::int64_t count) {
  kt::detail::RoundCharge charge;
  std::size_t from = 0;
  for (std::int64_t done = 0; done < count; ++done) {
    const std::ptrdiff_t found = kt::detail::FindText(text, old_text, from);
    if (found < 0) return false;
    const auto at = static_cast<std::size_t>(found);
    if (!CopyUnits(out, text.substr(from, at - from)) || !CopyUnits(out + (at - from), new_text) ||
        !charge.Add(kt::detail::kUnitsPerFind)) {
      return false;
    }
    out += (at - from) + new_text.size();
    from = at + old_text.size();
  }
  return CopyUnits(out, text.substr(from));
}

}  // namespace

Kt_WString::Kt_WString(const char16_t* text) : rep_(RepOf(ViewOf(text, -1))) {}

Kt_WString::Kt_WString(const char16_t* text, kt_long length) : rep_(RepOf(ViewOf(text, length))) {}

Kt_WString::Kt_WString(std::u16string_view text) : rep_(RepOf(text)) {}

Kt_WString::Rep* Kt_WString::NewRep(kt_long length, kt_long capacity) {
  if (length < 0 || length > kMaxStringLength) return nullptr;
  const kt_long room = WholeLine(std::clamp(capacity, length, kMaxStringLength));
  Rep* const rep = new (kt::Allocate(RepBytes(room))) Rep;
  rep->capacity = room;
  SetLength(*rep, length);
  return rep;
}

void Kt_WString::FreeRep(Rep* rep) {
  ForgetSymbol(*rep);
  kt::Free(static_cast<void*>(rep), RepBytes(rep->capacity));
}

bool Kt_WString::MakeRoom(kt_long length) {
  if (length < 0 || length > kMaxStringLength) return false;
  if (rep_ && !rep_->IsShared()) {
    if (length > rep_->capacity) rep_ = Enlarge(rep_, length);
    return true;
  }
  Rep* const fresh = NewRep(GetLength(), length);
  if (!CopyUnits(fresh->Text(), View())) {
    FreeRep(fresh);
    return false;
  }
  Drop();
  rep_ = fresh;
  return true;
}

bool Kt_WString::Append(std::u16string_view other) {
  if (other.empty()) return true;
  const kt_long old_length = GetLength();
  if (other.size() > kMaxUnits - static_cast<std::size_t>(old_length)) return false;
  // `other` may lie in the buffer that is about to move, or that only we hold on to.
  const char16_t* const old_text = GetText();
  const std::less<const char16_t*> before;
  const bool inside =
      rep_ && !before(other.data(), old_text) && before(other.data(), old_text + old_length);
  const std::ptrdiff_t offset = inside ? other.data() - old_text : 0;
  const kt_long length = old_length + static_cast<kt_long>(other.size());
  if (!MakeRoom(length)) return false;
  if (inside) other = {rep_->Text() + offset, other.size()};
  const bool is_whole = CopyUnits(rep_->Text() + old_length, other);
  SetLength(*rep_, is_whole ? length : old_length);
  return is_whole;
}

void Kt_WString::Set(const char16_t* text, kt_long length) { *this = Kt_WString(text, length); }

kt_long Kt_WString::Find(std::u16string_view pattern, kt_long start) const {
  return static_cast<kt_long>(
      kt::detail::FindText(View(), pattern, static_cast<std::size_t>(std::max(start, 0))));
}

kt_long Kt_WString::Findi(std::u16string_view pattern, kt_long start) const {
  return static_cast<kt_long>(
      kt::detail::FindTextNoCase(View(), pattern, static_cast<std::size_t>(std::max(start, 0))));
}

Kt_WString Kt_WString::Mid(kt_long start, kt_long count) const {
  const std::int64_t length = GetLength();
  const std::int64_t first = std::clamp<std::int64_t>(start, 0, length);
  const std::int64_t end = std::clamp<std::int64_t>(first + count, first, length);
  if (first == 0 && end == length) return *this;
  return Kt_WString(GetText() + first, static_cast<kt_long>(end - first));
}

bool Kt_WString::IsName() const {
  const std::u16string_view text = View();
  if (text.empty() || !IsNameStart(text[0])) return false;
  std::size_t at = 1;
  while (at < text.size() && (IsNameStart(text[at]) || IsDigit(text[at]))) {
    if (!kt::detail::GoesOnAt(at++)) return false;
  }
  return at == text.size();
}

kt_long Kt_WString::Replace(std::u16string_view old_text, std::u16string_view new_text) {
  const std::u16string_view text = View();
  const std::int64_t count = kt::detail::CountText(text, old_text);
  if (count <= 0) return static_cast<kt_long>(count);
  // With at most 2^27 finds of a text of at most 2^27 units, 64 bits hold any outcome; a longer
  // replacement comes from outside and is cut down to a length that is too long anyway.
  const auto added = static_cast<std::int64_t>(std::min(new_text.size(), kMaxUnits + 1));
  const std::int64_t length = static_cast<std::int64_t>(text.size()) +
                              count * (added - static_cast<std::int64_t>(old_text.size()));
  if (length > kMaxStringLength) return -1;
  Rep* const fresh = NewRep(static_cast<kt_long>(length), static_cast<kt_long>(length));
  if (!ReplaceInto(fresh->Text(), text, old_text, new_text, count)) {
    FreeRep(fresh);
    return -1;
  }
  Drop();
  rep_ = fresh;
  return static_cast<kt_long>(count);
}

void Kt_WString::SetAt(kt_long index, char16_t unit) {
  if (index < 0 || index >= GetLength() || !MakeRoom(GetLength())) return;
  rep_->Text()[index] = unit;
  ForgetSymbol(*rep_);
}

char16_t* Kt_WString::GetBuffer(kt_long length) {
  if (length < 0 || length > kMaxStringLength) return nullptr;
  if (rep_ == nullptr || rep_->IsShared() || rep_->capacity < length) {
    Rep* const fresh = NewRep(length, length);
    Drop();
    rep_ = fresh;
  }
  SetLength(*rep_, length);
  return rep_->Text();
}

void Kt_WString::FreeExtra() {
  if (rep_ == nullptr || rep_->IsShared()) return;
  if (rep_->length == 0) return Empty();
  const kt_long capacity = WholeLine(rep_->length);
  if (capacity >= rep_->capacity) return;
  rep_ = static_cast<Rep*>(
      kt::Reallocate(static_cast<void*>(rep_), RepBytes(rep_->capacity), RepBytes(capacity)));
  rep_->capacity = capacity;
}
