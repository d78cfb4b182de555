// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace kt::detail {

// What a few texts that a host gives again and again were made into. Each has one place, by its
// hash, and takes it from the text that was there.
//
// Owns texts of at most kMostUnits and what they were made into. Threads: one at a time.
template <class Made, std::size_t kPlaces>
class TextCache {
 public:
  static constexpr std::size_t kMostUnits = 256;

  // make(text) when it is not there. A copy: what runs may bring other texts.
  template <class Make>
  Made Get(std::string_view text, Make make) {
    if (text.size() > kMostUnits) return make(text);
    Place& place = places_[std::hash<std::string_view>()(text) % kPlaces];
    if (!place.is_used || place.text != text) {
      place.is_used = false;
      place.made = make(text);
      place.text = text;
      place.is_used = true;
    }
    return place.made;
  }

 private:
  struct Place {
    bool is_used = false;
    std::string text;
    Made made;
  };
  std::array<Place, kPlaces> places_;
};

}  // namespace kt::detail
