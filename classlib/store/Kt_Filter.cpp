// SPDX-License-Identifier: MIT
//
// The two filters. Each is a bit per row and a switch; a view counts the rows of every combination,
// so that switching costs nothing.
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
