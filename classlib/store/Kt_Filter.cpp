// SPDX-License-Identifier: MIT
//
// The two filters. Each is a bit per row and a switch; a view counts the rows of every combination,
// so that switching costs nothing.
#include <algorithm>

#include "classlib/store/detail/Kt_Edit.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

kt_long Kt_Dataset::Body::HideRow(View view, std::uint8_t filter, kt_long row) {
  return Edit([&] {
    const auto place = PlaceAt(view, row);
    if (!place) return -1;
    rows_.index.Write().Change(*place, filter, 0);
    rows_.active_view |= filter;
    NoteGone(view, row, filter);
    return 1;
  });
}

kt_long Kt_Dataset::Body::HideRows(View view, std::uint8_t filter,
                                   std::span<const std::uint8_t> hidden) {
  return Edit([&]() -> kt_long {
    const auto rows = static_cast<std::size_t>(ViewCount(view));
    const auto marks = hidden.first(std::min(hidden.size(), rows));
    ChargeOrLeave(static_cast<std::int64_t>(marks.size()) * Kt_WorkMeter::kUnitsPerCell);
    kt::CountedVector<std::uint8_t> records;
    if (rows_.grouped) records = GroupsOf(view).MarksOfRecords(marks);
    const std::span<const std::uint8_t> marked = rows_.grouped ? records : marks;
    if (std::ranges::all_of(marked, [](std::uint8_t mark) { return mark == 0; })) return 0;
    const kt_long count = rows_.index.Write().SetWhere(view, filter, marked);
    if (count == 0) return 0;
    rows_.active_view |= filter;
    NoteGone(view, marks, filter);
    return count;
  });
}

kt_long Kt_Dataset::Body::ShowAll(std::uint8_t filter, bool on) {
  return Edit([&] {
    rows_.index.Write().ChangeAll(0, filter);
    rows_.DropGroups(filter);
    SwitchFilter(filter, on);
    return 1;
  });
}

void Kt_Dataset::Body::SwitchFilter(std::uint8_t filter, bool on) {
  rows_.active_view =
      static_cast<View>(on ? rows_.active_view | filter : rows_.active_view & ~filter);
  ++structure_version_;
}

kt_long Kt_Dataset::Filter(kt_long row) {
  return body().HideRow(kRowMainHidden, kRowMainHidden, row);
}

kt_long Kt_Dataset::LocFilter(kt_long row) {
  return body().HideRow(body().rows_.active_view | kRowLocalHidden, kRowLocalHidden, row);
}

kt_long Kt_Dataset::FilterRows(std::span<const std::uint8_t> hidden) {
  return body().HideRows(kRowMainHidden, kRowMainHidden, hidden);
}

kt_long Kt_Dataset::LocFilterRows(std::span<const std::uint8_t> hidden) {
  return body().HideRows(body().rows_.active_view | kRowLocalHidden, kRowLocalHidden, hidden);
}

void Kt_Dataset::UnFilter() { body().ShowAll(kRowMainHidden, false); }
void Kt_Dataset::LocUnFilter() { body().ShowAll(kRowLocalHidden, false); }
void Kt_Dataset::ResetRecIndex() {
  if (!body().ShowsSource() || IsPivot()) return (void)body().ShowAll(kRowMainHidden, true);
  const auto take = [&] {
    body().TakeSourceRows(true);
    body().SwitchFilter(kRowMainHidden, true);
    return 1;
  };
  if (body().Edit([&] { return body().OrRestore(take); }) > 0) body().RecomputeKeyCells();
}
void Kt_Dataset::ResetFilIndex() { body().ShowAll(kRowLocalHidden, true); }
bool Kt_Dataset::GetFilterStat() const { return (body().rows_.active_view & kRowMainHidden) != 0; }
bool Kt_Dataset::GetLocFilterStat() const {
  return (body().rows_.active_view & kRowLocalHidden) != 0;
}
void Kt_Dataset::SetFilterStat(bool on) { body().SwitchFilter(kRowMainHidden, on); }
void Kt_Dataset::SetLocFilterStat(bool on) { body().SwitchFilter(kRowLocalHidden, on); }
const Kt_WString& Kt_Dataset::GetFilterStr() const { return body().filter_text_; }
void Kt_Dataset::SetFilterStr(const Kt_WString& text) { body().filter_text_ = text; }
