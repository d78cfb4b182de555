// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_WString.h"

// An item of a list of columns to sort by: `id`, `id:a` or `id:d`.
struct Kt_SortItem {
  kt_long col = -1;      // -1: there is no such column
  Kt_WString name = {};  // what was looked for last
  bool is_descending = false;

  // `find` gives the number of a column by its id, or -1. A column whose whole id is the item comes
  // first, so an id may end in ":d" itself.
  template <class Find>
  static Kt_SortItem Read(const Kt_WString& item, Find find) {
    Kt_SortItem read{find(item), item};
    const std::size_t colon = item.View().rfind(u':');
    if (read.col >= 0 || colon == std::u16string_view::npos) return read;
    Kt_WString direction(item.View().substr(colon + 1));
    direction.Trim();
    read.name = item.View().substr(0, colon);
    read.name.Trim();
    read.is_descending = direction.EqualsNoCase(u"d");
    if (read.is_descending || direction.EqualsNoCase(u"a")) read.col = find(read.name);
    return read;
  }
};
