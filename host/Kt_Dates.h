// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cmath>

#include "host/Kt_Convert.h"

namespace kt::detail {

// Day 0 of scripts is 1899-12-30.
inline constexpr std::chrono::sys_days kDayZero{std::chrono::year{1899} / 12 / 30};

template <class Clock>
inline constexpr bool kIsCalendarClock =
    std::same_as<Clock, std::chrono::system_clock> || std::same_as<Clock, std::chrono::local_t>;

}  // namespace kt::detail

namespace kt {

// To be included by hosts that pass dates of <chrono>, beside Kt_Bind.h, which does without it.
//
// Points in time, and dates: what scripts know as dates. Scripts have no time zones: what is read
// here is what is shown there. To the millisecond, or what the type can hold.
template <class Clock, class Duration>
requires detail::kIsCalendarClock<Clock>
struct Convert<std::chrono::time_point<Clock, Duration>> {
  using Point = std::chrono::time_point<Clock, Duration>;
  static constexpr bool kIsDate = true;
  static std::string Kind() { return "a date"; }
  static bool Read(const Kt_Variant& value, Point& out) {
    Kt_DateTime moment;
    if (!Convert<Kt_DateTime>::Read(value, moment)) return false;
    const double milliseconds = std::round(moment.days * 86'400'000);
    if (!(std::abs(milliseconds) < 4e14)) return false;  // beyond the year 9999
    const std::chrono::milliseconds since(static_cast<std::int64_t>(milliseconds));
    out = Point(std::chrono::floor<Duration>(detail::kDayZero.time_since_epoch() + since));
    return true;
  }
  static Kt_Variant Write(Point value) {
    using Days = std::chrono::duration<double, std::chrono::days::period>;
    return Kt_DateTime{
        Days(value.time_since_epoch() - detail::kDayZero.time_since_epoch()).count()};
  }
};

template <>
struct Convert<std::chrono::year_month_day> {
  using Days = Convert<std::chrono::sys_days>;
  static constexpr bool kIsDate = true;
  static std::string Kind() { return Days::Kind(); }
  static bool Read(const Kt_Variant& value, std::chrono::year_month_day& out) {
    std::chrono::sys_days days;
    if (!Days::Read(value, days)) return false;
    out = days;
    return true;
  }
  static Kt_Variant Write(std::chrono::year_month_day value) {
    if (!value.ok()) throw RunError("no such date");
    return Days::Write(value);
  }
};

}  // namespace kt
