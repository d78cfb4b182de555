// SPDX-License-Identifier: MIT
//
// The built-in functions, one row each. Sorted by name without regard to case: the look-up bisects.
// An alias is a row with the same handler. Only pure functions and those that read the clock may be
// used by the maps of columns that a file brought, so a new row is pure when its handler reads
// nothing but its arguments. What each function does is told in reference/Kt_FunctionHelp.cpp.

#include <iterator>
#include <string_view>

#include "object/Kt_ExprObject.h"

namespace {

using Self = Kt_ExprObject;
using enum Kt_FuncEffect;

// clang-format off
constexpr _EXPR_INTFUNC_INFO kIntFuncs[] = {
    // name              handler                            count, flag, call forms, effect
    {u"abs",            kHandler<&Self::_abs>,             1, 1, u"Abs(dValue)", kPure},
    {u"acos",           kHandler<&Self::_acos>,            1, 1, u"Acos(dValue)", kPure},
    {u"addDate",        kHandler<&Self::_addDate>,         1, 1, u"AddDate(date[,nOffSet])", kPure},
    {u"addMonth",       kHandler<&Self::_addMonth>,        1, 1,
        u"AddMonth(date[,nOffSet])", kPure},
    {u"array",          kHandler<&Self::_array>,           0, 1, u"Array([nCount])", kPure},
    {u"asc",            kHandler<&Self::_asc>,             1, 1, u"Asc(strString)", kPure},
    {u"asin",           kHandler<&Self::_asin>,            1, 1, u"Asin(dValue)", kPure},
    {u"atan",           kHandler<&Self::_atan>,            1, 1, u"Atan(dValue)", kPure},
    {u"atan2",          kHandler<&Self::_atan2>,           2, 1, u"Atan2(dYValue,dXValue)", kPure},
    {u"binToText",      kHandler<&Self::_binToText>,       1, 1,
        u"BinToText(varBuffer[,nCodePage])", kPure},
    {u"bound",          kHandler<&Self::_length>,          1, 1, u"Bound(varValue)", kPure},
    {u"ceil",           kHandler<&Self::_ceil>,            1, 1, u"Ceil(dValue)", kPure},
    {u"charat",         kHandler<&Self::_CharAt>,          2, 1,
        u"CharAt(strString,nIndex)", kPure},
    {u"chr",            kHandler<&Self::_chr>,             1, 1, u"Chr(nCharCode)", kPure},
    {u"cos",            kHandler<&Self::_cos>,             1, 1, u"Cos(dRadian)", kPure},
    {u"currency",       kHandler<&Self::_currency>,        1, 1, u"Currency([varValue])", kPure},
    {u"datetime",       kHandler<&Self::_datetime>,        1, 1,
        u"DateTime(strDate)\n"
        u"DateTime(dDate)\n"
        u"DateTime(nYear,nMonth,nDay[,nHour,nMinute,nSecond])", kPure},
    {u"decode",         kHandler<&Self::_decode>,          2, 1,
        u"Decode(varValue[,varCase,varRetValue[...][,varDefault]])", kPure},
    {u"dumpdatastatus", kHandler<&Self::_DumpDataStatus>,  0, 0, u"DumpDataStatus()", kOther},
    {u"eval",           kHandler<&Self::_eval>,            1, 1, u"Eval(strExpr)", kOther},
    {u"exp",            kHandler<&Self::_exp>,             1, 1, u"Exp(dValue)", kPure},
    {u"ExponentFormat", kHandler<&Self::_ExponentFormat>,  1, 1,
        u"ExponentFormat(dNumber)\n"
        u"ExponentFormat(dNumber[,nDetail])", kPure},
    {u"floor",          kHandler<&Self::_floor>,           1, 1, u"Floor(dValue)", kPure},
    {u"full2half",      kHandler<&Self::_Full2Half>,       1, 1, u"Full2Half(strString)", kPure},
    {u"getDate",        kHandler<&Self::_getDate>,         0, 1, u"GetDate()", kClock},
    {u"getDay",         kHandler<&Self::_getDay>,          1, 1, u"GetDay(strDate)", kPure},
    {u"greatest",       kHandler<&Self::_greatest>,        1, 1, u"Greatest(varValue[...])", kPure},
    {u"Half2Full",      kHandler<&Self::_Half2Full>,       1, 1, u"Half2Full(strString)", kPure},
    {u"iif",            kHandler<&Self::_iif>,             2, 1,
        u"iif(varValue,varTrue[,varFalse])", kPure},
    {u"indexOf",        kHandler<&Self::_pos>,             1, 1,
        u"IndexOf(strString,strPattern[,nOffset])", kPure},
    {u"isalnum",        kHandler<&Self::_IsAlnum>,         1, 1,
        u"IsAlnum(nChar)\n"
        u"IsAlnum(strText)", kPure},
    {u"isalpha",        kHandler<&Self::_IsAlpha>,         1, 1,
        u"IsAlpha(nChar)\n"
        u"IsAlpha(strText)", kPure},
    {u"isdigit",        kHandler<&Self::_IsDigit>,         1, 1,
        u"IsDigit(nChar)\n"
        u"IsDigit(strText)", kPure},
    {u"isinf",          kHandler<&Self::_IsINF>,           1, 1, u"IsINF(dDecimal)", kPure},
    {u"islower",        kHandler<&Self::_IsLower>,         1, 1,
        u"IsLower(nChar)\n"
        u"IsLower(strText)", kPure},
    {u"isspace",        kHandler<&Self::_IsSpace>,         1, 1,
        u"IsSpace(nChar)\n"
        u"IsSpace(strText)", kPure},
    {u"isupper",        kHandler<&Self::_IsUpper>,         1, 1,
        u"IsUpper(nChar)\n"
        u"IsUpper(strText)", kPure},
    {u"isValid",        kHandler<&Self::_isValid>,         1, 1, u"IsValid(objObject)", kPure},
    {u"isValidObject",  kHandler<&Self::_isValid>,         1, 1,
        u"IsValidObject(objObject)", kPure},
    {u"least",          kHandler<&Self::_least>,           1, 1, u"Least(varValue[...])", kPure},
    {u"left",           kHandler<&Self::_left>,            1, 1, u"Left(strString[,nSize])", kPure},
    {u"length",         kHandler<&Self::_length>,          1, 1, u"Length(varValue)", kPure},
    {u"lengthb",        kHandler<&Self::_lengthb>,         1, 1,
        u"Lengthb(varValue[,nCodePage])", kPure},
    {u"log",            kHandler<&Self::_log>,             1, 1, u"Log(dValue)", kPure},
    {u"lpad",           kHandler<&Self::_lpad>,            3, 1,
        u"LPad(strString,strPadChar,nCount)", kPure},
    {u"ltrim",          kHandler<&Self::_ltrim>,           1, 1, u"LTrim(strString)", kPure},
    {u"lunar2solar",    kHandler<&Self::_lunar2solar>,     2, 1,
        u"Lunar2Solar(strDate[, bLeap])", kPure},
    {u"lunar2solarEx",  kHandler<&Self::_lunar2solarEx>,   2, 1,
        u"Lunar2SolarEx(strDate[, bLeap])", kPure},
    {u"mid",            kHandler<&Self::_mid>,             1, 1,
        u"Mid(strString,nIndex[,nSize])", kPure},
    {u"midb",           kHandler<&Self::_midb>,            1, 1,
        u"Midb(strString,nIndex[,nSize])", kPure},
    {u"NToken",         kHandler<&Self::_NToken>,          3, 1,
        u"NToken(strString,strDelimiter,nIndex)", kPure},
    {u"NumFormat",      kHandler<&Self::_NumFormat>,       1, 1,
        u"NumFormat(dNumber[,nDetail])", kPure},
    {u"NumFormatLoc",   kHandler<&Self::_NumFormatLoc>,    2, 1,
        u"NumFormatLoc(dNumber,nLocation)\n"
        u"NumFormatLoc(dNumber,strLocation)", kPure},
    {u"object",         kHandler<&Self::_object>,          1, 1, u"Object(strObjectID)", kOther},
    {u"parseCurrency",  kHandler<&Self::_toCurrency>,      1, 1, u"ParseCurrency(varValue)", kPure},
    {u"parseDateTime",  kHandler<&Self::_toDate>,          1, 1, u"ParseDate(varValue)", kPure},
    {u"parseFloat",     kHandler<&Self::_toNumber>,        1, 1, u"ParseFloat(varValue)", kPure},
    {u"parseInt",       kHandler<&Self::_toInteger>,       1, 1, u"ParseInt(varValue)", kPure},
    {u"pos",            kHandler<&Self::_pos>,             1, 1,
        u"Pos(strString,strPattern[,nOffset])", kPure},
    {u"pow",            kHandler<&Self::_pow>,             2, 1, u"Pow(dBase,dExponet)", kPure},
    {u"quote",          kHandler<&Self::_Quote>,           1, 1, u"Quote(strString)", kPure},
    {u"random",         kHandler<&Self::_random>,          0, 1,
        u"Random([nStart[,nEnd]])", kOther},
    {u"replace",        kHandler<&Self::_replace>,         1, 1,
        u"Replace(strString,strOld[,strNew])", kPure},
    {u"right",          kHandler<&Self::_right>,           1, 1,
        u"Right(strString[,nSize])", kPure},
    {u"round",          kHandler<&Self::_round>,           1, 1, u"Round(dValue[,nDetail])", kPure},
    {u"rpad",           kHandler<&Self::_rpad>,            3, 1,
        u"RPad(strString,strPadChar,nCount)", kPure},
    {u"rtrim",          kHandler<&Self::_rtrim>,           1, 1, u"RTrim(strString)", kPure},
    {u"sin",            kHandler<&Self::_sin>,             1, 1, u"Sin(dRadian)", kPure},
    {u"solar2lunar",    kHandler<&Self::_solar2lunar>,     1, 1, u"Solar2Lunar(strDate)", kPure},
    {u"solar2lunarEx",  kHandler<&Self::_solar2lunarEx>,   1, 1, u"Solar2LunarEx(strDate)", kPure},
    {u"space",          kHandler<&Self::_space>,           1, 1, u"Space(nSize)", kPure},
    {u"split",          kHandler<&Self::_split>,           2, 1,
        u"Split(strString,strDelimiter[,bNotMultiDim[,bCheckQuote[,bDelQuote[,strEscape]]]])",
        kPure},
    {u"split2",         kHandler<&Self::_split2>,          3, 1,
        u"Split2(strString,strDelimiter1,strDelimiter2)", kPure},
    {u"sqrt",           kHandler<&Self::_sqrt>,            1, 1, u"Sqrt(dValue)", kPure},
    {u"stripNum",       kHandler<&Self::_stripNum>,        1, 1, u"StripNum(varValue)", kPure},
    {u"substr",         kHandler<&Self::_mid>,             1, 1,
        u"SubStr(strString,nIndex[,nSize])", kPure},
    {u"tan",            kHandler<&Self::_tan>,             1, 1, u"Tan(dRadian)", kPure},
    {u"textToBin",      kHandler<&Self::_TextToBin>,       1, 1,
        u"TextToBin(varStr[,nCodePage])", kPure},
    {u"time",           kHandler<&Self::_time>,            0, 1, u"Time()", kClock},
    {u"timem",          kHandler<&Self::_timem>,           0, 1, u"Timem()", kClock},
    {u"today",          kHandler<&Self::_today>,           0, 1, u"Today()", kClock},
    {u"toFloat",        kHandler<&Self::_toNumber>,        1, 1, u"ToFloat(varValue)", kPure},
    {u"toInteger",      kHandler<&Self::_toInteger>,       1, 1, u"ToInteger(varValue)", kPure},
    {u"toLower",        kHandler<&Self::_toLower>,         1, 1, u"ToLower(strString)", kPure},
    {u"toLowerCase",    kHandler<&Self::_toLower>,         1, 1, u"ToLowerCase(strString)", kPure},
    {u"toNumber",       kHandler<&Self::_toNumber>,        1, 1, u"ToNumber(varValue)", kPure},
    {u"toString",       kHandler<&Self::_toString>,        1, 1,
        u"ToString(varValue[,strOption])", kPure},
    {u"toUpper",        kHandler<&Self::_toUpper>,         1, 1, u"ToUpper(strString)", kPure},
    {u"toUpperCase",    kHandler<&Self::_toUpper>,         1, 1, u"ToUpperCase(strString)", kPure},
    {u"trim",           kHandler<&Self::_trim>,            1, 1, u"Trim(strString)", kPure},
    {u"truncate",       kHandler<&Self::_truncate>,        1, 1,
        u"Truncate(dValue[,nDetail])", kPure},
    {u"type",           kHandler<&Self::_type>,            1, 1, u"Type(varObject)", kPure},
    {u"unquote",        kHandler<&Self::_UnQuote>,         1, 1, u"UnQuote(strString)", kPure},
    {u"urlDecode",      kHandler<&Self::_urlDecode>,       1, 1, u"UrlDecode(strString)", kPure},
    {u"urlEncode",      kHandler<&Self::_urlEncode>,       1, 1, u"UrlEncode(strString)", kPure},
    {u"WorkDate",       kHandler<&Self::_WorkDate>,        1, 1, u"WorkDate(strDate)", kPure},
};
// clang-format on

static_assert(std::size(kIntFuncs) == 96);
static_assert(IsSortedByName(kIntFuncs));

}  // namespace

const _EXPR_INTFUNC_INFO* Kt_ExprObject::GetIntFuncMap() { return kIntFuncs; }

int Kt_ExprObject::GetIntFuncCount() { return static_cast<int>(std::size(kIntFuncs)); }

Kt_Getter Kt_ExprObject::GetIntFunc(const char16_t* name) {
  return name ? ::GetIntFunc(kIntFuncs, GetIntFuncCount(), name) : nullptr;
}
