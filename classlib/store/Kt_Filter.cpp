// SPDX-License-Identifier: MIT
//
// The two filters. Each is a bit per row and a switch; a view counts the rows of every combination,
// so that switching costs nothing.
#include "classlib/store/detail/Kt_Edit.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

kt_long Kt_Dataset::HideRow(View view, std::uint8_t filter, kt_long row) {
  return Edit([&] {
    const auto place = PlaceAt(view, row);
    if (!place) return -1;
    rows_.index.Write().Change(*place, filter, 0);
    rows_.active_view |= filter;
    NoteGone(view, row, filter);
    return 1;
  });
}

kt_long Kt_Dataset::ShowAll(std::uint8_t filter, bool on) {
  return Edit([&] {
    rows_.index.Write().ChangeAll(0, filter);
    rows_.DropGroups(filter);
    SwitchFilter(filter, on);
    return 1;
  });
}

void Kt_Dataset::SwitchFilter(std::uint8_t filter, bool on) {
  rows_.active_view =
      static_cast<View>(on ? rows_.active_view | filter : rows_.active_view & ~filter);
  ++structure_version_;
}

kt_long Kt_Dataset::Filter(kt_long row) { return HideRow(kRowMainHidden, kRowMainHidden, row); }

kt_long Kt_Dataset::LocFilter(kt_long row) {
  return HideRow(rows_.active_view | kRowLocalHidden, kRowLocalHidden, row);
}

void Kt_Dataset::UnFilter() { ShowAll(kRowMainHidden, false); }
void Kt_Dataset::LocUnFilter() { ShowAll(kRowLocalHidden, false); }
void Kt_Dataset::ResetRecIndex() {
  if (!ShowsSource() || IsPivot()) return (void)ShowAll(kRowMainHidden, true);
  const auto take = [&] {
    TakeSourceRows(true);
    SwitchFilter(kRowMainHidden, true);
    return 1;
  };
  if (Edit([&] { return OrRestore(take); }) > 0) RecomputeKeyCells();
}
void Kt_Dataset::ResetFilIndex() { ShowAll(kRowLocalHidden, true); }
void Kt_Dataset::SetFilterStat(bool on) { SwitchFilter(kRowMainHidden, on); }
void Kt_Dataset::SetLocFilterStat(bool on) { SwitchFilter(kRowLocalHidden, on); }
