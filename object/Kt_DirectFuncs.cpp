// SPDX-License-Identifier: MIT
#include "object/Kt_DirectFuncs.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_PlainFuncs.h"

namespace {

using kt::DirectFunc;
using kt::detail::Round;
using kt::detail::Truncate;
using Self = Kt_ExprObject;
using enum DirectFunc::Kind;

double RoundToWhole(double value) { return Round(value, 0); }
double TruncateToWhole(double value) { return Truncate(value, 0); }

template <double (*kOfOne)(double)>
void Block(const double* in, double* out, std::size_t count) {
  for (std::size_t at = 0; at < count; ++at) out[at] = kOfOne(in[at]);
}

// Compilers make instructions for several numbers at once of this, and calls of std::floor. Below
// 2^52 a sum with 2^52 has no room for a fraction; from there on numbers have none, and NaN is
// itself. The sign of a zero is that of the argument, as with std::floor and std::ceil.
template <class Correct>
KT_ALWAYS_INLINE double ToWhole(double value, Correct correct) {
  constexpr double kNoFraction = 4503599627370496.0;  // 2^52
  const double size = std::fabs(value);
  const double near = std::copysign((size + kNoFraction) - kNoFraction, value);
  const double whole = std::copysign(correct(near), value);
  return size < kNoFraction ? whole : value;
}
void FloorBlock(const double* in, double* out, std::size_t count) {
  for (std::size_t at = 0; at < count; ++at) {
    const double value = in[at];
    out[at] = ToWhole(value, [=](double near) { return near - (near > value ? 1.0 : 0.0); });
  }
}
void CeilBlock(const double* in, double* out, std::size_t count) {
  for (std::size_t at = 0; at < count; ++at) {
    const double value = in[at];
    out[at] = ToWhole(value, [=](double near) { return near + (near < value ? 1.0 : 0.0); });
  }
}

const DirectFunc kFuncs[] = {
    {kHandler<&Self::_abs>, kNumbers, kt::detail::Abs, nullptr, nullptr, Block<kt::detail::Abs>,
     false, true},
    {kHandler<&Self::_acos>, kNumbers, kt::detail::Acos, nullptr, nullptr, Block<kt::detail::Acos>},
    {kHandler<&Self::_asc>, kTexts, nullptr, nullptr, kt::detail::Asc},
    {kHandler<&Self::_asin>, kNumbers, kt::detail::Asin, nullptr, nullptr, Block<kt::detail::Asin>},
    {kHandler<&Self::_atan>, kNumbers, kt::detail::Atan, nullptr, nullptr, Block<kt::detail::Atan>},
    {kHandler<&Self::_atan2>, kNumbers, nullptr, kt::detail::Atan2, nullptr},
    {kHandler<&Self::_ceil>, kNumbers, kt::detail::Ceil, nullptr, nullptr, CeilBlock, false, true},
    {kHandler<&Self::_CharAt>, kTexts, nullptr, nullptr, kt::detail::CharAt},
    {kHandler<&Self::_chr>, kTexts, nullptr, nullptr, kt::detail::Chr},
    {kHandler<&Self::_cos>, kNumbers, kt::detail::Cos, nullptr, nullptr, Block<kt::detail::Cos>},
    {kHandler<&Self::_exp>, kNumbers, kt::detail::Exp, nullptr, nullptr, Block<kt::detail::Exp>},
    {kHandler<&Self::_floor>, kNumbers, kt::detail::Floor, nullptr, nullptr, FloorBlock, false,
     true},
    {kHandler<&Self::_greatest>, kGreatest, nullptr, nullptr, kt::detail::Greatest},
    {kHandler<&Self::_iif>, kIif, nullptr, nullptr, kt::detail::Iif},
    {kHandler<&Self::_least>, kLeast, nullptr, nullptr, kt::detail::Least},
    {kHandler<&Self::_left>, kTexts, nullptr, nullptr, kt::detail::Left},
    {kHandler<&Self::_length>, kTexts, nullptr, nullptr, kt::detail::Length},
    {kHandler<&Self::_log>, kNumbers, kt::detail::Log, nullptr, nullptr, Block<kt::detail::Log>},
    {kHandler<&Self::_mid>, kTexts, nullptr, nullptr, kt::detail::Mid},
    {kHandler<&Self::_pos>, kTexts, nullptr, nullptr, kt::detail::Pos},
    {kHandler<&Self::_pow>, kNumbers, nullptr, kt::detail::Pow, nullptr},
    {kHandler<&Self::_right>, kTexts, nullptr, nullptr, kt::detail::Right},
    {kHandler<&Self::_round>, kNumbers, RoundToWhole, Round, nullptr, Block<RoundToWhole>, true},
    {kHandler<&Self::_sin>, kNumbers, kt::detail::Sin, nullptr, nullptr, Block<kt::detail::Sin>},
    {kHandler<&Self::_sqrt>, kNumbers, kt::detail::Sqrt, nullptr, nullptr, Block<kt::detail::Sqrt>,
     false, true},
    {kHandler<&Self::_tan>, kNumbers, kt::detail::Tan, nullptr, nullptr, Block<kt::detail::Tan>},
    {kHandler<&Self::_toInteger>, kTexts, nullptr, nullptr, kt::detail::ToInteger},
    {kHandler<&Self::_toNumber>, kTexts, nullptr, nullptr, kt::detail::ToNumber},
    {kHandler<&Self::_toString>, kTexts, nullptr, nullptr, kt::detail::ToString},
    {kHandler<&Self::_trim>, kTexts, nullptr, nullptr, kt::detail::Trim},
    {kHandler<&Self::_truncate>, kNumbers, TruncateToWhole, Truncate, nullptr,
     Block<TruncateToWhole>, true},
};

}  // namespace

const kt::DirectFunc* kt::FindDirectFunc(Kt_Getter handler) {
  const auto* const found =
      std::find_if(std::begin(kFuncs), std::end(kFuncs),
                   [&](const DirectFunc& func) { return func.handler == handler; });
  return found != std::end(kFuncs) ? found : nullptr;
}

const kt::DirectFunc* kt::FindOfOne(double (*of_one)(double)) {
  const auto* const found =
      std::find_if(std::begin(kFuncs), std::end(kFuncs),
                   [&](const DirectFunc& func) { return func.of_one == of_one; });
  return found != std::end(kFuncs) ? found : nullptr;
}

bool kt::CallDirect(const DirectFunc* direct, std::span<const Kt_Variant> args, Kt_Variant& value) {
  if (direct == nullptr) return false;
  if (direct->kind == kTexts) {
    // What an object makes of it is for calls from outside.
    const auto is_object = [](const Kt_Variant& arg) { return arg.GetTag() >= kTagObject; };
    if (std::any_of(args.begin(), args.end(), is_object)) return false;
  }
  if (direct->of_values != nullptr) {
    direct->of_values(Kt_FuncArgs(args), value);
    return true;
  }
  const bool are_numbers = std::all_of(args.begin(), args.end(), [](const Kt_Variant& arg) {
    return arg.IsLong() || arg.IsDouble();
  });
  if (!are_numbers) return false;
  if (args.size() == 1 && direct->of_one != nullptr) {
    value.Set(direct->of_one(args[0].ToDouble()));
    return true;
  }
  if (args.size() != 2 || direct->of_two == nullptr) return false;
  value.Set(direct->of_two(args[0].ToDouble(), args[1].ToDouble()));
  return true;
}
