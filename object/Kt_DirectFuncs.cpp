// SPDX-License-Identifier: MIT
#include "object/Kt_DirectFuncs.h"

#include <algorithm>
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

const DirectFunc kFuncs[] = {
    {kHandler<&Self::_abs>, kNumbers, kt::detail::Abs, nullptr, nullptr},
    {kHandler<&Self::_acos>, kNumbers, kt::detail::Acos, nullptr, nullptr},
    {kHandler<&Self::_asin>, kNumbers, kt::detail::Asin, nullptr, nullptr},
    {kHandler<&Self::_atan>, kNumbers, kt::detail::Atan, nullptr, nullptr},
    {kHandler<&Self::_atan2>, kNumbers, nullptr, kt::detail::Atan2, nullptr},
    {kHandler<&Self::_ceil>, kNumbers, kt::detail::Ceil, nullptr, nullptr},
    {kHandler<&Self::_cos>, kNumbers, kt::detail::Cos, nullptr, nullptr},
    {kHandler<&Self::_exp>, kNumbers, kt::detail::Exp, nullptr, nullptr},
    {kHandler<&Self::_floor>, kNumbers, kt::detail::Floor, nullptr, nullptr},
    {kHandler<&Self::_greatest>, kGreatest, nullptr, nullptr, kt::detail::Greatest},
    {kHandler<&Self::_iif>, kIif, nullptr, nullptr, kt::detail::Iif},
    {kHandler<&Self::_least>, kLeast, nullptr, nullptr, kt::detail::Least},
    {kHandler<&Self::_log>, kNumbers, kt::detail::Log, nullptr, nullptr},
    {kHandler<&Self::_pow>, kNumbers, nullptr, kt::detail::Pow, nullptr},
    {kHandler<&Self::_round>, kNumbers, RoundToWhole, Round, nullptr},
    {kHandler<&Self::_sin>, kNumbers, kt::detail::Sin, nullptr, nullptr},
    {kHandler<&Self::_sqrt>, kNumbers, kt::detail::Sqrt, nullptr, nullptr},
    {kHandler<&Self::_tan>, kNumbers, kt::detail::Tan, nullptr, nullptr},
    {kHandler<&Self::_truncate>, kNumbers, TruncateToWhole, Truncate, nullptr},
};

}  // namespace

const kt::DirectFunc* kt::FindDirectFunc(Kt_Getter handler) {
  const auto* const found =
      std::find_if(std::begin(kFuncs), std::end(kFuncs),
                   [&](const DirectFunc& func) { return func.handler == handler; });
  return found != std::end(kFuncs) ? found : nullptr;
}
