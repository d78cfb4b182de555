// SPDX-License-Identifier: MIT
//
// The built-in functions, one row each. Sorted by name without regard to case: the look-up bisects.
// An alias is a row with the same handler. What each function does is told in
// object/Kt_ExprFuncs_Doc.cpp.

#include <iterator>
#include <string_view>

#include "object/Kt_ExprObject.h"

namespace {

using Self = Kt_ExprObject;

// clang-format off
constexpr _EXPR_INTFUNC_INFO kIntFuncs[] = {
    // name              handler                            count, flag, call forms
    {u"abs",            kHandler<&Self::_abs>,             1, 1, u"Abs(dValue)"},
    {u"acos",           kHandler<&Self::_acos>,            1, 1, u"Acos(dValue)"},
    {u"addDate",        kHandler<&Self::_addDate>,         1, 1, u"AddDate(date[,nOffSet])"},
    {u"addMonth",       kHandler<&Self::_addMonth>,        1, 1, u"AddMonth(date[,nOffSet])"},
    {u"array",          kHandler<&Self::_array>,           0, 1, u"Array([nCount])"},
    {u"asc",            kHandler<&Self::_asc>,             1, 1, u"Asc(strString)"},
    {u"asin",           kHandler<&Self::_asin>,            1, 1, u"Asin(dValue)"},
    {u"atan",           kHandler<&Self::_atan>,            1, 1, u"Atan(dValue)"},
    {u"atan2",          kHandler<&Self::_atan2>,           2, 1, u"Atan2(dYValue,dXValue)"},
    {u"binToText",      kHandler<&Self::_binToText>,       1, 1,
        u"BinToText(varBuffer[,nCodePage])"},
    {u"bound",          kHandler<&Self::_length>,          1, 1, u"Bound(varValue)"},
    {u"ceil",           kHandler<&Self::_ceil>,            1, 1, u"Ceil(dValue)"},
    {u"charat",         kHandler<&Self::_CharAt>,          2, 1, u"CharAt(strString,nIndex)"},
    {u"chr",            kHandler<&Self::_chr>,             1, 1, u"Chr(nCharCode)"},
    {u"cos",            kHandler<&Self::_cos>,             1, 1, u"Cos(dRadian)"},
    {u"currency",       kHandler<&Self::_currency>,        1, 1, u"Currency([varValue])"},
    {u"datetime",       kHandler<&Self::_datetime>,        1, 1,
        u"DateTime(strDate)\n"
        u"DateTime(dDate)\n"
        u"DateTime(nYear,nMonth,nDay[,nHour,nMinute,nSecond])"},
    {u"decode",         kHandler<&Self::_decode>,          2, 1,
        u"Decode(varValue[,varCase,varRetValue[...][,varDefault]])"},
    {u"dumpdatastatus", kHandler<&Self::_DumpDataStatus>,  0, 0, u"DumpDataStatus()"},
    {u"eval",           kHandler<&Self::_eval>,            1, 1, u"Eval(strExpr)"},
    {u"exp",            kHandler<&Self::_exp>,             1, 1, u"Exp(dValue)"},
    {u"ExponentFormat", kHandler<&Self::_ExponentFormat>,  1, 1,
        u"ExponentFormat(dNumber)\n"
        u"ExponentFormat(dNumber[,nDetail])"},
    {u"floor",          kHandler<&Self::_floor>,           1, 1, u"Floor(dValue)"},
    {u"full2half",      kHandler<&Self::_Full2Half>,       1, 1, u"Full2Half(strString)"},
    {u"getDate",        kHandler<&Self::_getDate>,         0, 1, u"GetDate()"},
    {u"getDay",         kHandler<&Self::_getDay>,          1, 1, u"GetDay(strDate)"},
    {u"greatest",       kHandler<&Self::_greatest>,        1, 1, u"Greatest(varValue[...])"},
    {u"Half2Full",      kHandler<&Self::_Half2Full>,       1, 1, u"Half2Full(strString)"},
    {u"iif",            kHandler<&Self::_iif>,             2, 1,
        u"iif(varValue,varTrue[,varFalse])"},
    {u"indexOf",        kHandler<&Self::_pos>,             1, 1,
        u"IndexOf(strString,strPattern[,nOffset])"},
    {u"isalnum",        kHandler<&Self::_IsAlnum>,         1, 1,
        u"IsAlnum(nChar)\n"
        u"IsAlnum(strText)"},
    {u"isalpha",        kHandler<&Self::_IsAlpha>,         1, 1,
        u"IsAlpha(nChar)\n"
        u"IsAlpha(strText)"},
    {u"isdigit",        kHandler<&Self::_IsDigit>,         1, 1,
        u"IsDigit(nChar)\n"
        u"IsDigit(strText)"},
    {u"isinf",          kHandler<&Self::_IsINF>,           1, 1, u"IsINF(dDecimal)"},
    {u"islower",        kHandler<&Self::_IsLower>,         1, 1,
        u"IsLower(nChar)\n"
        u"IsLower(strText)"},
    {u"isspace",        kHandler<&Self::_IsSpace>,         1, 1,
        u"IsSpace(nChar)\n"
        u"IsSpace(strText)"},
    {u"isupper",        kHandler<&Self::_IsUpper>,         1, 1,
        u"IsUpper(nChar)\n"
        u"IsUpper(strText)"},
    {u"isValid",        kHandler<&Self::_isValid>,         1, 1, u"IsValid(objObject)"},
    {u"isValidObject",  kHandler<&Self::_isValid>,         1, 1, u"IsValidObject(objObject)"},
    {u"least",          kHandler<&Self::_least>,           1, 1, u"Least(varValue[...])"},
    {u"left",           kHandler<&Self::_left>,            1, 1, u"Left(strString[,nSize])"},
    {u"length",         kHandler<&Self::_length>,          1, 1, u"Length(varValue)"},
    {u"lengthb",        kHandler<&Self::_lengthb>,         1, 1, u"Lengthb(varValue[,nCodePage])"},
    {u"log",            kHandler<&Self::_log>,             1, 1, u"Log(dValue)"},
    {u"lpad",           kHandler<&Self::_lpad>,            3, 1,
        u"LPad(strString,strPadChar,nCount)"},
    {u"ltrim",          kHandler<&Self::_ltrim>,           1, 1, u"LTrim(strString)"},
    {u"lunar2solar",    kHandler<&Self::_lunar2solar>,     2, 1, u"Lunar2Solar(strDate[, bLeap])"},
    {u"lunar2solarEx",  kHandler<&Self::_lunar2solarEx>,   2, 1,
        u"Lunar2SolarEx(strDate[, bLeap])"},
    {u"mid",            kHandler<&Self::_mid>,             1, 1, u"Mid(strString,nIndex[,nSize])"},
    {u"midb",           kHandler<&Self::_midb>,            1, 1, u"Midb(strString,nIndex[,nSize])"},
    {u"NToken",         kHandler<&Self::_NToken>,          3, 1,
        u"NToken(strString,strDelimiter,nIndex)"},
    {u"NumFormat",      kHandler<&Self::_NumFormat>,       1, 1, u"NumFormat(dNumber[,nDetail])"},
    {u"NumFormatLoc",   kHandler<&Self::_NumFormatLoc>,    2, 1,
        u"NumFormatLoc(dNumber,nLocation)\n"
        u"NumFormatLoc(dNumber,strLocation)"},
    {u"object",         kHandler<&Self::_object>,          1, 1, u"Object(strObjectID)"},
    {u"parseCurrency",  kHandler<&Self::_toCurrency>,      1, 1, u"ParseCurrency(varValue)"},
    {u"parseDateTime",  kHandler<&Self::_toDate>,          1, 1, u"ParseDate(varValue)"},
    {u"parseFloat",     kHandler<&Self::_toNumber>,        1, 1, u"ParseFloat(varValue)"},
    {u"parseInt",       kHandler<&Self::_toInteger>,       1, 1, u"ParseInt(varValue)"},
    {u"pos",            kHandler<&Self::_pos>,             1, 1,
        u"Pos(strString,strPattern[,nOffset])"},
    {u"pow",            kHandler<&Self::_pow>,             2, 1, u"Pow(dBase,dExponet)"},
    {u"quote",          kHandler<&Self::_Quote>,           1, 1, u"Quote(strString)"},
    {u"random",         kHandler<&Self::_random>,          0, 1, u"Random([nStart[,nEnd]])"},
    {u"replace",        kHandler<&Self::_replace>,         1, 1,
        u"Replace(strString,strOld[,strNew])"},
    {u"right",          kHandler<&Self::_right>,           1, 1, u"Right(strString[,nSize])"},
    {u"round",          kHandler<&Self::_round>,           1, 1, u"Round(dValue[,nDetail])"},
    {u"rpad",           kHandler<&Self::_rpad>,            3, 1,
        u"RPad(strString,strPadChar,nCount)"},
    {u"rtrim",          kHandler<&Self::_rtrim>,           1, 1, u"RTrim(strString)"},
    {u"sin",            kHandler<&Self::_sin>,             1, 1, u"Sin(dRadian)"},
    {u"solar2lunar",    kHandler<&Self::_solar2lunar>,     1, 1, u"Solar2Lunar(strDate)"},
    {u"solar2lunarEx",  kHandler<&Self::_solar2lunarEx>,   1, 1, u"Solar2LunarEx(strDate)"},
    {u"space",          kHandler<&Self::_space>,           1, 1, u"Space(nSize)"},
    {u"split",          kHandler<&Self::_split>,           2, 1,
        u"Split(strString,strDelimiter[,bNotMultiDim[,bCheckQuote[,bDelQuote[,strEscape]]]])"},
    {u"split2",         kHandler<&Self::_split2>,          3, 1,
        u"Split2(strString,strDelimiter1,strDelimiter2)"},
    {u"sqrt",           kHandler<&Self::_sqrt>,            1, 1, u"Sqrt(dValue)"},
    {u"stripNum",       kHandler<&Self::_stripNum>,        1, 1, u"StripNum(varValue)"},
    {u"substr",         kHandler<&Self::_mid>,             1, 1,
        u"SubStr(strString,nIndex[,nSize])"},
    {u"tan",            kHandler<&Self::_tan>,             1, 1, u"Tan(dRadian)"},
    {u"textToBin",      kHandler<&Self::_TextToBin>,       1, 1, u"TextToBin(varStr[,nCodePage])"},
    {u"time",           kHandler<&Self::_time>,            0, 1, u"Time()"},
    {u"timem",          kHandler<&Self::_timem>,           0, 1, u"Timem()"},
    {u"today",          kHandler<&Self::_today>,           0, 1, u"Today()"},
    {u"toFloat",        kHandler<&Self::_toNumber>,        1, 1, u"ToFloat(varValue)"},
    {u"toInteger",      kHandler<&Self::_toInteger>,       1, 1, u"ToInteger(varValue)"},
    {u"toLower",        kHandler<&Self::_toLower>,         1, 1, u"ToLower(strString)"},
    {u"toLowerCase",    kHandler<&Self::_toLower>,         1, 1, u"ToLowerCase(strString)"},
    {u"toNumber",       kHandler<&Self::_toNumber>,        1, 1, u"ToNumber(varValue)"},
    {u"toString",       kHandler<&Self::_toString>,        1, 1, u"ToString(varValue[,strOption])"},
    {u"toUpper",        kHandler<&Self::_toUpper>,         1, 1, u"ToUpper(strString)"},
    {u"toUpperCase",    kHandler<&Self::_toUpper>,         1, 1, u"ToUpperCase(strString)"},
    {u"trim",           kHandler<&Self::_trim>,            1, 1, u"Trim(strString)"},
    {u"truncate",       kHandler<&Self::_truncate>,        1, 1, u"Truncate(dValue[,nDetail])"},
    {u"type",           kHandler<&Self::_type>,            1, 1, u"Type(varObject)"},
    {u"unquote",        kHandler<&Self::_UnQuote>,         1, 1, u"UnQuote(strString)"},
    {u"urlDecode",      kHandler<&Self::_urlDecode>,       1, 1, u"UrlDecode(strString)"},
    {u"urlEncode",      kHandler<&Self::_urlEncode>,       1, 1, u"UrlEncode(strString)"},
    {u"WorkDate",       kHandler<&Self::_WorkDate>,        1, 1, u"WorkDate(strDate)"},
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
