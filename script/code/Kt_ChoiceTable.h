// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// Where a `switch` whose labels are constants of one kind goes: all short texts, or all longs. Two
// such values are equal exactly when they are the same, so one look answers for all labels; the
// first of equal ones counts. A value of another kind may equal a label as well (1.0 and 1), and is
// compared with them one by one.
//
// Immutable once made. Threads: the script's.
class ChoiceTable {
 public:
  static constexpr std::int32_t kAsk = -1;
  static constexpr std::size_t kShortText = 64;
  struct Label {
    Kt_Variant value;
    std::int32_t target;
  };

  // Whether labels of the kind of `value` go into a table.
  static bool Takes(const Kt_Variant& value) {
    return value.IsLong() || (value.IsString() && value.AsStringView().size() <= kShortText);
  }

  // REQUIRES: Takes() holds for every label, and they are of one kind. The target of `none` is for
  // values that equal none of them.
  ChoiceTable(std::vector<Label> labels, std::int32_t none);

  // kAsk when the value has to be compared with the labels one by one.
  std::int32_t Find(const Kt_Variant& value) const {
    if (value.IsString()) {
      const char16_t* const text = value.AsStringView().data();
      const Place& place = places_[PlaceOf(text) & (places_.size() - 1)];
      if (KT_LIKELY(place.text == text)) return place.target;
    }
    return FindEqual(value);
  }

  const std::vector<Label>& GetLabels() const { return labels_; }
  // Changes every target to what `action` makes of it.
  template <class Action>
  void MapTargets(const Action& action) {
    for (Label& label : labels_) label.target = action(label.target);
    none_ = action(none_);
    for (Place& place : places_) {
      if (place.text != kNoText) place.target = labels_[place.label].target;
    }
  }

 private:
  // Texts of scripts mostly come from constants, so a text that equals a label is often the very
  // one that the label has.
  struct Place {
    const char16_t* text = kNoText;
    std::size_t label = 0;
    std::int32_t target = 0;
  };
  static constexpr char16_t kNoText[1] = {};  // lies in no value

  static std::size_t PlaceOf(const char16_t* text) {
    const auto address = reinterpret_cast<std::uintptr_t>(text);
    return address >> 4 ^ address >> 9;
  }
  static std::uint32_t HashOf(const Kt_Variant& value);
  std::int32_t FindEqual(const Kt_Variant& value) const;

  Kt_Tag tag_;
  std::vector<Label> labels_;
  std::vector<Place> places_;         // by PlaceOf; the first label that takes one has it
  std::vector<std::uint16_t> slots_;  // one after the label's number, 0 for none; a power of two
  std::int32_t none_;
};

}  // namespace kt::detail
