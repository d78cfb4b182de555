// SPDX-License-Identifier: MIT
#pragma once

// The handlers of the built-in functions, each once, in the order of their first rows in the table
// (object/Kt_ExprFuncs_Table.cpp). Kt_ExprObject declares one member function for each; what each
// does is told to script authors by reference/Kt_FunctionHelp.cpp.
// clang-format off
#define KT_BUILTIN_HANDLERS(X)                                                      \
  X(_abs) X(_acos) X(_addDate) X(_addMonth) X(_array) X(_asc) X(_asin) X(_atan)     \
  X(_atan2) X(_binToText) X(_length) X(_ceil) X(_CharAt) X(_chr) X(_cos)            \
  X(_currency) X(_datetime) X(_decode) X(_DumpDataStatus) X(_eval) X(_exp)          \
  X(_ExponentFormat) X(_floor) X(_Full2Half) X(_getDate) X(_getDay) X(_greatest)    \
  X(_Half2Full) X(_iif) X(_pos) X(_IsAlnum) X(_IsAlpha) X(_IsDigit) X(_IsINF)       \
  X(_IsLower) X(_IsSpace) X(_IsUpper) X(_isValid) X(_least) X(_left) X(_lengthb)    \
  X(_log) X(_lpad) X(_ltrim) X(_lunar2solar) X(_lunar2solarEx) X(_mid) X(_midb)     \
  X(_NToken) X(_NumFormat) X(_NumFormatLoc) X(_object) X(_toCurrency) X(_toDate)    \
  X(_toNumber) X(_toInteger) X(_pow) X(_Quote) X(_random) X(_replace) X(_right)     \
  X(_round) X(_rpad) X(_rtrim) X(_sin) X(_solar2lunar) X(_solar2lunarEx) X(_space)  \
  X(_split) X(_split2) X(_sqrt) X(_stripNum) X(_tan) X(_TextToBin) X(_time)         \
  X(_timem) X(_today) X(_toLower) X(_toString) X(_toUpper) X(_trim) X(_truncate)    \
  X(_type) X(_UnQuote) X(_urlDecode) X(_urlEncode) X(_WorkDate)
// clang-format on
