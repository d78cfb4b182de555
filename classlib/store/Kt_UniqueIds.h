// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

#include "classlib/text/Kt_Number.h"
#include "classlib/text/Kt_WString.h"
#include "classlib/text/detail/Kt_NameMap.h"

// Makes the ids of one table differ, without regard to case: the second "price" is "price_2". A
// table may have thousands of equal ones, so the number to try next is kept for each.
class Kt_UniqueIds {
 public:
  explicit Kt_UniqueIds(std::u16string_view joint = u"_") : joint_(joint) {}

  Kt_WString Make(const Kt_WString& wanted) {
    const kt_long known = names_.Find(wanted);
    if (known < 0) {
      Add(wanted);
      return wanted;
    }
    for (;;) {
      Kt_WString unique = wanted + joint_;
      unique += kt_longtextW(next_[static_cast<std::size_t>(known)]++);
      if (names_.Find(unique) >= 0) continue;
      Add(unique);
      return unique;
    }
  }
  // The same for the heading of a file; one that is missing is called by its place: "column3".
  Kt_WString MakeHeading(const Kt_WString& heading) {
    if (!heading.IsEmpty()) return Make(heading);
    return Make(Kt_WString(u"column") + kt_longtextW(static_cast<kt_long>(next_.size()) + 1));
  }

 private:
  static constexpr kt_long kFirstNumber = 2;

  void Add(const Kt_WString& id) {
    names_.Add(id, static_cast<kt_long>(next_.size()));
    next_.push_back(kFirstNumber);
  }

  std::u16string_view joint_;
  kt::detail::NameMap names_;  // to their places in next_
  std::vector<kt_long> next_;
};
