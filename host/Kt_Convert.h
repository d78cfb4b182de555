// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "classlib/base/Kt_Codes.h"
#include "classlib/value/Kt_Variant.h"
#include "host/Kt_Errors.h"

namespace kt {

// How a type of the host becomes a value of scripts and back. For a type of your own:
//
//   template <> struct kt::Convert<Money> {
//     static std::string Kind() { return "an amount"; }         // for messages
//     static bool Read(const Kt_Variant& value, Money& out);    // false: another kind of value
//     static Kt_Variant Write(const Money& value);              // may throw
//   };
//
// Read gets the value itself, never a reference to a variable. What is read has to be default
// constructible. Which kinds the types below take is a table of docs/host-cpp.md; there are no
// conversions between texts and numbers.
template <class T>
struct Convert;

// The arguments that are left: the last parameter of a function that takes any number of them.
struct Rest {
  Kt_VariantList values;
};

namespace detail {

// What kind of value it is, as messages say it: "a text".
KT_SCRIPT_API std::string KindOf(const Kt_Variant& value);

template <class T>
concept Number = std::is_arithmetic_v<T> && !std::same_as<T, bool> && !Kt_CharUnit<T>;

template <class T>
concept ListLike = requires(T list, typename T::value_type item) {
  list.push_back(std::move(item));
  list.begin() != list.end();
}
&&!std::convertible_to<T, std::string_view> && !std::convertible_to<T, std::u16string_view>;

// With texts as keys.
template <class T>
concept MapLike = requires(T map) {
  typename T::mapped_type;
  map.begin()->second;
}
&&std::same_as<typename T::key_type, std::string>;

// A number, an amount or a truth value. False: another kind of value.
KT_SCRIPT_API bool ReadNumber(const Kt_Variant& value, double& out);
// The same without a fraction.
KT_SCRIPT_API bool ReadWhole(const Kt_Variant& value, double& out);

inline constexpr std::int64_t kExactDoubles = 9007199254740992;  // 2^53
[[noreturn]] KT_SCRIPT_API void ThrowInexact(const std::string& number);
// Throws a RunError: "<whose> is a text, not <wanted>".
[[noreturn]] KT_SCRIPT_API void ThrowKind(std::string_view whose, const Kt_Variant& value,
                                          const std::string& wanted);

}  // namespace detail

template <>
struct Convert<Kt_Variant> {
  static std::string Kind() { return "a value"; }
  static bool Read(const Kt_Variant& value, Kt_Variant& out) {
    out = value;
    return true;
  }
  static Kt_Variant Write(const Kt_Variant& value) { return value.Dereference(); }
};

// Scripts have whole numbers of 32 bits. Others go out as doubles where those are exact, to 2^53,
// and are refused beyond. Into a host go numbers without a fraction that the type can hold.
template <detail::Number T>
requires std::integral<T>
struct Convert<T> {
  static std::string Kind() {
    return std::is_unsigned_v<T> ? "a whole number from 0" : "a whole number";
  }
  static bool Read(const Kt_Variant& value, T& out) {
    double number = 0;
    // The greatest of a type is no double where the type is wide: the next power of two is.
    constexpr double kEnd = 2.0 * static_cast<double>(std::numeric_limits<T>::max() / 2 + 1);
    if (!detail::ReadWhole(value, number) ||
        number < static_cast<double>(std::numeric_limits<T>::min()) || number >= kEnd) {
      return false;
    }
    out = static_cast<T>(number);
    return true;
  }
  static Kt_Variant Write(T value) {
    if (std::in_range<kt_long>(value)) return static_cast<kt_long>(value);
    if (std::cmp_greater(value, detail::kExactDoubles) ||
        std::cmp_less(value, -detail::kExactDoubles)) {
      detail::ThrowInexact(std::to_string(value));
    }
    return static_cast<double>(value);
  }
};

template <std::floating_point T>
struct Convert<T> {
  static std::string Kind() { return "a number"; }
  static bool Read(const Kt_Variant& value, T& out) {
    double number = 0;
    if (!detail::ReadNumber(value, number)) return false;
    out = static_cast<T>(number);
    return true;
  }
  static Kt_Variant Write(T value) { return static_cast<double>(value); }
};

template <>
struct Convert<bool> {
  static std::string Kind() { return "a truth value"; }
  static bool Read(const Kt_Variant& value, bool& out) {
    double number = 0;
    if (!Convert<double>::Read(value, number)) return false;
    out = number != 0;
    return true;
  }
  static Kt_Variant Write(bool value) { return Kt_Variant(value); }
};

template <class T>
requires std::is_enum_v<T>
struct Convert<T> {
  using Number = std::underlying_type_t<T>;
  static std::string Kind() { return Convert<Number>::Kind(); }
  static bool Read(const Kt_Variant& value, T& out) {
    Number number{};
    if (!Convert<Number>::Read(value, number)) return false;
    out = static_cast<T>(number);
    return true;
  }
  static Kt_Variant Write(T value) { return Convert<Number>::Write(static_cast<Number>(value)); }
};

namespace detail {

// Texts: UTF-8 in char, UTF-16 in char16_t.
template <class T>
struct ConvertText {
  static std::string Kind() { return "a text"; }
  static bool Read(const Kt_Variant& value, T& out) {
    if (!value.IsString()) return false;
    if constexpr (std::same_as<T, std::string>) {
      out = value.AsString().ToUtf8();
    } else {
      out = T(value.AsStringView());
    }
    return true;
  }
  static Kt_Variant Write(const T& value) { return Kt_Variant(value); }
};

}  // namespace detail

template <>
struct Convert<std::string> : detail::ConvertText<std::string> {
  static Kt_Variant Write(std::string_view value) { return value; }
};
template <>
struct Convert<std::u16string> : detail::ConvertText<std::u16string> {
  static Kt_Variant Write(std::u16string_view value) { return value; }
};
template <>
struct Convert<Kt_WString> : detail::ConvertText<Kt_WString> {};
template <>
struct Convert<std::string_view> : Convert<std::string> {};
template <>
struct Convert<std::u16string_view> : Convert<std::u16string> {};
template <>
struct Convert<const char*> : Convert<std::string> {};
template <>
struct Convert<const char16_t*> : Convert<std::u16string> {};

template <>
struct Convert<Kt_Currency> {
  static std::string Kind() { return "an amount"; }
  static bool Read(const Kt_Variant& value, Kt_Currency& out) {
    double ignored = 0;
    if (!Convert<double>::Read(value, ignored)) return false;
    out = value.ToCurrency();
    return true;
  }
  static Kt_Variant Write(Kt_Currency value) { return value; }
};

template <>
struct Convert<Kt_DateTime> {
  static std::string Kind() { return "a date"; }
  static bool Read(const Kt_Variant& value, Kt_DateTime& out) {
    if (value.GetTag() != kTagDateTime) return false;
    out = value.ToDateTime();
    return true;
  }
  static Kt_Variant Write(Kt_DateTime value) { return value; }
};

// The empty value is no value.
template <class T>
struct Convert<std::optional<T>> {
  static std::string Kind() { return Convert<T>::Kind() + " or nothing"; }
  static bool Read(const Kt_Variant& value, std::optional<T>& out) {
    T read{};
    const bool has_value = !value.IsEmpty();
    if (has_value && !Convert<T>::Read(value, read)) return false;
    out = has_value ? std::optional<T>(std::move(read)) : std::nullopt;
    return true;
  }
  static Kt_Variant Write(const std::optional<T>& value) {
    return value ? Convert<T>::Write(*value) : Kt_Variant();
  }
};

// std::vector and its like. An item that is of another kind makes the list one.
template <detail::ListLike T>
struct Convert<T> {
  using Item = typename T::value_type;
  static std::string Kind() { return "a list, each item " + Convert<Item>::Kind(); }
  static bool Read(const Kt_Variant& value, T& out) {
    if (!value.IsList()) return false;
    out.clear();
    for (const Kt_Variant& each : value.GetList()) {
      Item item{};
      if (!Convert<Item>::Read(each.Target(), item)) return false;
      out.push_back(std::move(item));
    }
    return true;
  }
  static Kt_Variant Write(const T& value) {
    Kt_VariantList list;
    for (const Item& item : value) list.Add(Convert<Item>::Write(item));
    return list;
  }
};

// Pairs and tuples: lists of so many items.
namespace detail {

template <class Tuple, class Sequence>
struct ConvertTuple;
template <class Tuple, std::size_t... kAt>
struct ConvertTuple<Tuple, std::index_sequence<kAt...>> {
  static std::string Kind() { return "a list of " + std::to_string(sizeof...(kAt)) + " items"; }
  static bool Read(const Kt_Variant& value, Tuple& out) {
    return value.ListCount() == static_cast<kt_long>(sizeof...(kAt)) &&
           (Convert<std::tuple_element_t<kAt, Tuple>>::Read(value.ListItem(kAt)->Target(),
                                                            std::get<kAt>(out)) &&
            ...);
  }
  static Kt_Variant Write(const Tuple& value) {
    return Kt_VariantList{
        Convert<std::tuple_element_t<kAt, Tuple>>::Write(std::get<kAt>(value))...};
  }
};

}  // namespace detail

template <class... T>
struct Convert<std::tuple<T...>>
    : detail::ConvertTuple<std::tuple<T...>, std::index_sequence_for<T...>> {};
template <class A, class B>
struct Convert<std::pair<A, B>>
    : detail::ConvertTuple<std::pair<A, B>, std::make_index_sequence<2>> {};

// std::map and its like, with texts as keys: a list of pairs.
template <detail::MapLike T>
struct Convert<T> {
  using Pair = std::pair<std::string, typename T::mapped_type>;
  static std::string Kind() {
    return "a list of pairs of a text and " + Convert<typename T::mapped_type>::Kind();
  }
  static bool Read(const Kt_Variant& value, T& out) {
    if (!value.IsList()) return false;
    out.clear();
    for (const Kt_Variant& each : value.GetList()) {
      Pair pair;
      if (!Convert<Pair>::Read(each.Target(), pair)) return false;
      out.insert_or_assign(std::move(pair.first), std::move(pair.second));
    }
    return true;
  }
  static Kt_Variant Write(const T& value) {
    Kt_VariantList list;
    for (const auto& [key, mapped] : value) {
      list.Add(Kt_VariantList{Convert<std::string>::Write(key),
                              Convert<typename T::mapped_type>::Write(mapped)});
    }
    return list;
  }
};

namespace detail {

// The type that a parameter is read into: views need something to look at.
template <class T>
struct StoredAs {
  using Type = T;
};
template <>
struct StoredAs<std::string_view> {
  using Type = std::string;
};
template <>
struct StoredAs<std::u16string_view> {
  using Type = std::u16string;
};
template <class T>
using Stored = typename StoredAs<std::remove_cvref_t<T>>::Type;

// A value of the host as a value of scripts; arrays of characters are texts.
template <class T>
Kt_Variant ToValue(const T& value) {
  return Convert<std::decay_t<const T&>>::Write(value);
}

// Reads `value`; throws a RunError that says what whose() should be.
template <class T, class Whose>
void ReadInto(T& out, const Kt_Variant& value, Whose whose) {
  if (!Convert<T>::Read(value.Target(), out)) ThrowKind(whose(), value, Convert<T>::Kind());
}
template <class T, class Whose>
requires std::invocable<Whose&> T FromValue(const Kt_Variant& value, Whose whose) {
  static_assert(std::same_as<Stored<T>, std::remove_cvref_t<T>>, "a view would outlive its text");
  Stored<T> out{};
  ReadInto(out, value, whose);
  return out;
}
template <class T>
T FromValue(const Kt_Variant& value, std::string_view whose) {
  return FromValue<T>(value, [whose] { return whose; });
}

}  // namespace detail
}  // namespace kt
