// SPDX-License-Identifier: MIT
//
// The two filters. Each is a bit per row and a switch; a view counts the rows of every combination,
// so that switching costs nothing.
#include "classlib/base/detail/Kt_Refuse.h"
#include "classlib/store/Kt_Dataset.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

kt_long Kt_Dataset::HideRow(View view, std::uint8_t filter, kt_long row) {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  if (IsEvaluating()) return -1;
  const auto place = PlaceAt(view, row);
  if (!place) return -1;
  return RefuseOnFailure([&] {
    index_.Write().Change(*place, filter, 0);
    active_view_ |= filter;
    NoteGone(view, row, filter);
    return 1;
  });
}

void Kt_Dataset::ShowAll(std::uint8_t filter, bool on) {
  if (IsEvaluating()) return;
  RefuseOnFailure([&] {
    index_.Write().ChangeAll(0, filter);
    DropGroups(filter);
    SwitchFilter(filter, on);
    return 1;
  });
}

void Kt_Dataset::SwitchFilter(std::uint8_t filter, bool on) {
  active_view_ = static_cast<View>(on ? active_view_ | filter : active_view_ & ~filter);
  ++structure_version_;
}

kt_long Kt_Dataset::Filter(kt_long row) { return HideRow(kRowMainHidden, kRowMainHidden, row); }

kt_long Kt_Dataset::LocFilter(kt_long row) {
  return HideRow(active_view_ | kRowLocalHidden, kRowLocalHidden, row);
}

void Kt_Dataset::UnFilter() { ShowAll(kRowMainHidden, false); }
void Kt_Dataset::LocUnFilter() { ShowAll(kRowLocalHidden, false); }
void Kt_Dataset::ResetRecIndex() {
  if (IsEvaluating()) return;
  if (!ShowsSource() || IsPivot()) return ShowAll(kRowMainHidden, true);
  RefuseOnFailure([&] {
    TakeSourceRows(true);
    SwitchFilter(kRowMainHidden, true);
    return 1;
  });
  if (!key_cells_.empty()) ComputeKeyCells();
}
void Kt_Dataset::ResetFilIndex() { ShowAll(kRowLocalHidden, true); }
void Kt_Dataset::SetFilterStat(bool on) { SwitchFilter(kRowMainHidden, on); }
void Kt_Dataset::SetLocFilterStat(bool on) { SwitchFilter(kRowLocalHidden, on); }
