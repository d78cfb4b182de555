// SPDX-License-Identifier: MIT
//
// What the built-in functions do, for script authors: one row each, in the order of the table.

#include "reference/Kt_FunctionHelp.h"

#include "object/Kt_ExprObject.h"

namespace {

// Said of many.
constexpr const char16_t* kEmptyWithout = u"Empty without an argument.";
constexpr const char16_t* kMath =
    u"A text counts as the number at its start, anything without a number as 0. Empty without an "
    u"argument.";
constexpr const char16_t* kDomain =
    u"NaN where the function has no value. A text counts as the number at its start. Empty without "
    u"an argument.";
constexpr const char16_t* kClass =
    u"0 for the empty text and for a number that is no character code. Empty without an argument.";
constexpr const char16_t* kNoDate = u"Empty when the argument is no date.";
constexpr const char16_t* kNoArgs = u"Arguments are not looked at.";

// clang-format off
constexpr Kt_IntFuncDoc kDocs[] = {
    {u"abs", u"The value without its sign, as a floating number.", kMath,
     {{u"abs(-2.5)", u"2.5"},
      {u"abs('-7 apples')", u"7"},
      {u"abs(toInteger('2024') - 2030) + ' years'", u"6 years"}}},
    {u"acos", u"The angle in radians, 0 to pi, whose cosine is the value.", kDomain,
     {{u"acos(1)", u"0"},
      {u"acos(2)", u"nan"},
      {u"round(acos(-1), 4)", u"3.1416"}}},
    {u"addDate",
     u"The date moved by nOffSet days, in the form that it came in: a text keeps its separators "
     u"and its time of day, a number stays a number, a date-time value stays one.",
     u"An absent offset is 0. Empty when the argument is no date, or the result leaves the years 1 "
     u"to 9999.",
     {{u"addDate('2024-02-28', 2)", u"2024-03-01"},
      {u"addDate('soon', 1)", u""},
      {u"toString(addDate('2024-12-24', 14), 'd.M.yyyy')", u"7.1.2025"}}},
    {u"addMonth",
     u"The date moved by nOffSet months, in the form that it came in. A day that the month lacks "
     u"becomes its last day.",
     u"An absent offset is 0. Empty when the argument is no date, or the result leaves the years 1 "
     u"to 9999.",
     {{u"addMonth('20240131', 1)", u"20240229"},
      {u"addMonth('2024-02-30', 1)", u""},
      {u"addDate(addMonth('2024-02-01', 1), -1)", u"2024-02-29"}}},
    {u"array", u"A new array of nCount empty values.",
     u"An array without items when the count is absent, 0 or negative. A count beyond the list "
     u"limit is a reported error.",
     {{u"length(array(3))", u"3"},
      {u"length(array(-1))", u"0"},
      {u"array(10000000000)", u"error: list too long: array()"}}},
    {u"asc", u"The code of the first character; both halves of a surrogate pair count as one.",
     u"0 for the empty text. Empty without an argument.",
     {{u"asc('A')", u"65"},
      {u"asc('')", u"0"},
      {u"chr(asc('A') + 2)", u"C"}}},
    {u"asin", u"The angle in radians, -pi/2 to pi/2, whose sine is the value.", kDomain,
     {{u"asin(0)", u"0"},
      {u"asin(-2)", u"nan"},
      {u"round(asin(1) * 2, 4)", u"3.1416"}}},
    {u"atan", u"The angle in radians, -pi/2 to pi/2, whose tangent is the value.", kMath,
     {{u"atan(0)", u"0"},
      {u"atan('north')", u"0"},
      {u"round(atan(1) * 180 / acos(-1), 4)", u"45"}}},
    {u"atan2", u"The angle in radians, -pi to pi, of the point with these coordinates.",
     u"Empty with fewer than two arguments.",
     {{u"round(atan2(1, 1), 4)", u"0.7854"},
      {u"type(atan2(1))", u"empty"},
      {u"round(atan2(3, -3) * 180 / acos(-1), 4)", u"135"}}},
    {u"binToText",
     u"The text that the bytes mean in a code page, given by number (949) or name ('euc-kr'); "
     u"UTF-8 when none is given.",
     u"A character that the end of the bytes cuts in two is left out, bytes without meaning become "
     u"U+FFFD. An unknown code page counts as UTF-8. A value that is not binary gives its text.",
     {{u"binToText(textToBin('abc'))", u"abc"},
      {u"binToText('plain')", u"plain"},
      {u"binToText(textToBin('\u20AC5', 'cp1252'), 'cp1252')", u"\u20AC5"}}},
    {u"bound", u"The same as length.", kEmptyWithout,
     {{u"bound(split('a,b,c', ','))", u"3"},
      {u"bound(2024)", u"0"},
      {u"bound(split('', ','))", u"0"}}},
    {u"ceil", u"The smallest whole number that is not below the value, as a floating number.",
     kMath,
     {{u"ceil(1.2)", u"2"},
      {u"ceil(-1.2)", u"-1"},
      {u"ceil(41 / 12) + ' boxes'", u"4 boxes"}}},
    {u"charat", u"The character at an index counted from 0.",
     u"The empty text for an index outside the text. Empty with fewer than two arguments.",
     {{u"charat('abc', 1)", u"b"},
      {u"charat('abc', 3)", u""},
      {u"toUpper(charat('anna', 0)) + mid('anna', 1)", u"Anna"}}},
    {u"chr", u"The character with this code; codes above 65535 give a surrogate pair.",
     u"The empty text for a number that is no character code. Empty without an argument.",
     {{u"chr(65)", u"A"},
      {u"chr(-1)", u""},
      {u"replace('one;two', ';', ' ' + chr(8226) + ' ')", u"one \u2022 two"}}},
    {u"cos", u"The cosine of an angle in radians.", kMath,
     {{u"cos(0)", u"1"},
      {u"cos('abc')", u"1"},
      {u"round(cos(60 * acos(-1) / 180), 4)", u"0.5"}}},
    {u"currency",
     u"The value as an exact amount with four decimals. A text counts as the number at its start; "
     u"see parseCurrency for amounts as people write them.",
     u"0 without an argument and for what is no number. Amounts beyond the range become the "
     u"nearest one.",
     {{u"currency(0.1) + currency(0.2)", u"0.3"},
      {u"currency('12 EUR')", u"12"},
      {u"currency('19.99') * 3", u"59.97"}}},
    {u"datetime",
     u"A date-time value from a text (yyyyMMdd, yyyy-MM-dd, yyyy/MM/dd or yyyy.MM.dd, with an "
     u"optional time HH:mm[:ss[.fff]]), from a day number (1 is 1899-12-31) or from its parts.",
     u"Empty when there is no such date or time, and without arguments.",
     {{u"datetime(2024, 2, 29, 10, 30)", u"2024-02-29 10:30:00"},
      {u"datetime(2023, 2, 29)", u""},
      {u"toString(datetime('2024-02-29 18:05'), 'HH:mm')", u"18:05"}}},
    {u"decode",
     u"Compares the first value with each case in turn and gives the value behind the first case "
     u"that is equal, or the default when there is one.",
     u"Empty when nothing is equal and there is no default. With two arguments the second is the "
     u"default. Empty with fewer than two.",
     {{u"decode(2, 1, 'one', 2, 'two', 'many')", u"two"},
      {u"decode('x', 'a', 1, 'b', 2)", u""},
      {u"decode(left('N-1027', 1), 'N', 'north', 'S', 'south', 'elsewhere')", u"north"}}},
    {u"dumpdatastatus",
     u"A text with one line for each variable that the script sees at this place, innermost first: "
     u"level, name, type and value, with tabs between them; and a line for the current dataset, "
     u"if there is one. It also goes to the debug trace when that is on.",
     kNoArgs,
     {{u"type(dumpdatastatus())", u"string"},
      {u"dumpdatastatus()", u""},
      {u"iif(pos(dumpdatastatus(), 'total') < 0, 'no total here', 'there is a total')",
       u"no total here"}}},
    {u"eval", u"The value of the text as an expression, with the names of the calling place.",
     u"Empty for the empty text and without an argument. A text that is no expression is a "
     u"reported error.",
     {{u"eval('2 * (3 + 4)')", u"14"},
      {u"eval('net * 1.2')", u"error: unknown variable 'net'"},
      {u"eval(replace('net * 1.2', 'net', 50))", u"60"}}},
    {u"exp", u"e raised to the value.", kMath,
     {{u"exp(0)", u"1"},
      {u"exp('1e3')", u"inf"},
      {u"round(1000 * exp(0.05 * 3), 2)", u"1161.83"}}},
    {u"ExponentFormat",
     u"The number in exponent notation, with nDetail digits behind the point, or as many as it "
     u"needs. Halves are rounded away from zero.",
     u"nDetail is cut to 0 to 100. Infinities and NaN give 'inf' and 'nan'. Empty without an "
     u"argument.",
     {{u"ExponentFormat(12345.678, 2)", u"1.23e+04"},
      {u"ExponentFormat(0.00025)", u"2.5e-04"},
      {u"ExponentFormat('about 5', 1)", u"0.0e+00"}}},
    {u"floor", u"The greatest whole number that is not above the value, as a floating number.",
     kMath,
     {{u"floor(-1.2)", u"-2"},
      {u"floor('7.9 kg')", u"7"},
      {u"floor(100 / 12) + ' full boxes'", u"8 full boxes"}}},
    {u"full2half",
     u"The text with full-width characters (Latin letters, digits, signs, katakana, Hangul "
     u"letters) in their half-width forms. A voiced katakana becomes two characters.",
     kEmptyWithout,
     {{u"full2half('\uFF21\uFF22\uFF11')", u"AB1"},
      {u"full2half('AB1')", u"AB1"},
      {u"toInteger(full2half('\uFF11\uFF12')) + 1", u"13"}}},
    {u"getDate", u"The present date and time of day as a date-time value.", kNoArgs,
     {{u"type(getDate())", u"datetime"},
      {u"getDate() > datetime('2020-01-01')", u"1"},
      {u"toString(getDate(), 'yyyyMMdd') == today()", u"1"}}},
    {u"getDay", u"The day of the week: 0 Sunday, 1 Monday, to 6 Saturday.", kNoDate,
     {{u"getDay('20240229')", u"4"},
      {u"getDay('yesterday')", u""},
      {u"decode(getDay('2024-03-02'), 0, 'Sunday', 6, 'Saturday', 'weekday')", u"Saturday"}}},
    {u"greatest",
     u"The greatest of the values; of equal ones the first. One array gives the greatest of its "
     u"items.",
     u"Empty values do not count; empty when nothing else is there.",
     {{u"greatest(3, 10, 7)", u"10"},
      {u"greatest('', 'b', 'a')", u"b"},
      {u"greatest(0, least(100, 130))", u"100"}}},
    {u"Half2Full",
     u"The text with half-width characters (Latin letters, digits, signs, katakana, Hangul "
     u"letters) in their full-width forms. A katakana and its voiced mark become one character.",
     kEmptyWithout,
     {{u"Half2Full('\uFF76\uFF9E')", u"\u30AC"},
      {u"Half2Full('A 1')", u"\uFF21\u3000\uFF11"},
      {u"full2half(Half2Full('Size 40'))", u"Size 40"}}},
    {u"iif", u"varTrue when the first value is true, else varFalse.",
     u"Empty when the value is false and there is no third argument. Empty with fewer than two "
     u"arguments. All arguments are evaluated.",
     {{u"iif(2 > 1, 'yes', 'no')", u"yes"},
      {u"iif(0, 'yes')", u""},
      {u"iif('' == 0, 'equal', 'not equal')", u"not equal"}}},
    {u"indexOf", u"The same as pos.", u"-1 for an empty pattern. Empty without an argument.",
     {{u"indexOf('banana', 'an', 2)", u"3"},
      {u"indexOf('banana', '')", u"-1"},
      {u"left('key=value', indexOf('key=value', '='))", u"key"}}},
    {u"isalnum", u"1 when the character, or every character of the text, is a letter or a digit.",
     kClass,
     {{u"isalnum('abc1')", u"1"},
      {u"isalnum('')", u"0"},
      {u"isalnum('A-1')", u"0"}}},
    {u"isalpha",
     u"1 when the character, or every character of the text, is a letter of any script.", kClass,
     {{u"isalpha('abc1')", u"0"},
      {u"isalpha('\u00C4\u03A9')", u"1"},
      {u"isalpha(left('7up', 1))", u"0"}}},
    {u"isdigit",
     u"1 when the character, or every character of the text, is a decimal digit of any script.",
     kClass,
     {{u"isdigit('2024')", u"1"},
      {u"isdigit('-5')", u"0"},
      {u"iif(isdigit('0049'), 'a code', 'no code')", u"a code"}}},
    {u"isinf", u"1 when the number is infinite, else 0.", u"0 for NaN. Empty without an argument.",
     {{u"isinf(1 / 0)", u"1"},
      {u"isinf('inf')", u"0"},
      {u"iif(isinf(5 / 0), 'nothing to divide by', 5 / 0)", u"nothing to divide by"}}},
    {u"islower",
     u"1 when the character, or every character of the text, is a lower-case letter.", kClass,
     {{u"islower('abc')", u"1"},
      {u"islower('abc1')", u"0"},
      {u"islower(left('kt', 1))", u"1"}}},
    {u"isspace",
     u"1 when the character, or every character of the text, is white space or a line end.", kClass,
     {{u"isspace(32)", u"1"},
      {u"isspace('')", u"0"},
      {u"isspace(' ' + chr(9))", u"1"}}},
    {u"isupper",
     u"1 when the character, or every character of the text, is an upper-case letter.", kClass,
     {{u"isupper('Abc')", u"0"},
      {u"isupper('ABC 1')", u"0"},
      {u"isupper(left('Rome', 1)) && islower(mid('Rome', 1))", u"1"}}},
    {u"isValid", u"1 when the value is an object that still exists, else 0.", kEmptyWithout,
     {{u"isValid('text')", u"0"},
      {u"isValid('')", u"0"},
      {u"iif(isValid(5), 'an object', 'none')", u"none"}}},
    {u"isValidObject", u"The same as isValid.", kEmptyWithout,
     {{u"isValidObject(5)", u"0"},
      {u"isValidObject('')", u"0"},
      {u"!isValidObject('orders')", u"1"}}},
    {u"least",
     u"The least of the values; of equal ones the first. One array gives the least of its items.",
     u"Empty values do not count; empty when nothing else is there.",
     {{u"least(3, 10, 7)", u"3"},
      {u"least('10', '9')", u"10"},
      {u"least(split('b,a,c', ','))", u"a"}}},
    {u"left", u"The first nSize characters of the text.",
     u"The whole text when nSize is absent or 0, the empty text when it is negative. Empty without "
     u"an argument.",
     {{u"left('hello', 2)", u"he"},
      {u"left('hello', -1)", u""},
      {u"left('2024-02-29', 7)", u"2024-02"}}},
    {u"length",
     u"The number of characters of a text (a surrogate pair counts two), of items of an array or "
     u"an object, of bytes of a binary value.",
     u"0 for any other value: length(toString(n)) tells how long a number's text is, and that of a "
     u"cell such as orders[0].item, which is an object without items. Empty without an argument.",
     {{u"length('hello')", u"5"},
      {u"length(12345)", u"0"},
      {u"length(split('a,,b', ','))", u"3"}}},
    {u"lengthb",
     u"As length, but a text counts as the bytes that it has in a code page, given by number or "
     u"name; UTF-8 when none is given.",
     u"An unknown code page counts as UTF-8. A character that the code page lacks counts as the "
     u"'?' that stands for it. Empty without an argument.",
     {{u"lengthb('\uD55C\uAE00', 949)", u"4"},
      {u"lengthb('\uD55C\uAE00')", u"6"},
      {u"lengthb('na\u00EFve') - length('na\u00EFve')", u"1"}}},
    {u"log", u"The natural logarithm.",
     u"Minus infinity for 0, NaN below. Empty without an argument.",
     {{u"log(1)", u"0"},
      {u"log(0)", u"-inf"},
      {u"round(log(1000) / log(10), 4)", u"3"}}},
    {u"lpad", u"The text padded on the left with the first character of strPadChar to nCount.",
     u"The text itself when it is long enough or the pad text is empty; the first argument "
     u"unchanged with fewer than three. A count beyond the text limit is a reported error.",
     {{u"lpad(7, '0', 3)", u"007"},
      {u"lpad('12345', '0', 3)", u"12345"},
      {u"'[' + lpad(NumFormat(12.5, 2), ' ', 8) + ']'", u"[   12.50]"}}},
    {u"ltrim", u"The text without the white space at its start.", kEmptyWithout,
     {{u"ltrim('  ab ')", u"ab "},
      {u"ltrim(chr(9) + chr(10) + 'x')", u"x"},
      {u"length(ltrim('   '))", u"0"}}},
    {u"lunar2solar",
     u"The solar date of a lunar date, in the form that it came in; bLeap true means the leap "
     u"month of that number. Years 1700 to 2299 of the calendar that the host chose.",
     u"Empty when there is no such lunar date, or no such leap month in its year.",
     {{u"lunar2solar('20240101')", u"20240210"},
      {u"lunar2solar('20240132')", u""},
      {u"getDay(lunar2solar('20250101'))", u"3"}}},
    {u"lunar2solarEx",
     u"As lunar2solar, and takes the pair that solar2lunarEx gives as its only argument.",
     u"Empty when there is no such lunar date.",
     {{u"lunar2solarEx(solar2lunarEx('2020-05-23'))", u"2020-05-23"},
      {u"lunar2solarEx('2020-04-01', 1)", u"2020-05-23"},
      {u"lunar2solarEx('2021-04-01', 1)", u""}}},
    {u"mid", u"nSize characters of the text from an index counted from 0.",
     u"To the end of the text when nSize is absent. A negative index counts as 0; what lies "
     u"outside the text is left out. Empty without an argument.",
     {{u"mid('hello', 1, 3)", u"ell"},
      {u"mid('hello', -2, 2)", u"he"},
      {u"mid('2024-02-29', 5, 2) + '/' + mid('2024-02-29', 8)", u"02/29"}}},
    {u"midb", u"As mid, with index and size in bytes of the text in UTF-8.",
     u"Characters that the cut splits are left out.",
     {{u"midb('\uD55C\uAE00', 3, 3)", u"\uAE00"},
      {u"midb('\uD55C\uAE00', 1, 5)", u"\uAE00"},
      {u"midb('abc', 1)", u"bc"}}},
    {u"NToken",
     u"The nIndex-th part of the text between delimiters, counted from 1. The search goes on one "
     u"character behind the start of a delimiter, so the rest of a longer delimiter begins the "
     u"next part.",
     u"The empty text for an index below 1 or behind the last part. Empty when text or delimiter "
     u"is empty, and with fewer than three arguments.",
     {{u"NToken('a,b,c', ',', 2)", u"b"},
      {u"NToken('a,,c', ',', 2)", u""},
      {u"trim(NToken('Doe; John; Oslo', ';', 2))", u"John"}}},
    {u"NumFormat",
     u"The number with a comma between groups of three digits and nDetail digits behind the point, "
     u"or as many as it has. Halves are rounded away from zero.",
     u"A negative nDetail counts as 0. Infinities and NaN give 'inf' and 'nan'. Empty without an "
     u"argument.",
     {{u"NumFormat(1234567.891, 2)", u"1,234,567.89"},
      {u"NumFormat('12 pens')", u"12"},
      {u"NumFormat(-1999.995, 2) + ' EUR'", u"-2,000.00 EUR"}}},
    {u"NumFormatLoc",
     u"The number as a language writes it, given by name ('de-DE', 'ko') or by Windows locale "
     u"number (1031, 1042).",
     u"An unknown locale gives the form 1,234.5. Infinities and NaN give 'inf' and 'nan'. Empty "
     u"without an argument.",
     {{u"NumFormatLoc(1234567.5, 'de-DE')", u"1.234.567,5"},
      {u"NumFormatLoc(1234567.5, 'nowhere')", u"1,234,567.5"},
      {u"NumFormatLoc(round(-1234.565, 2), 'de-DE') + ' EUR'", u"-1.234,57 EUR"}}},
    {u"object",
     u"The object of that name in the calling context; points lead through objects inside objects.",
     u"Empty for the empty name. Empty, and reported as an invalid object, when there is none; the "
     u"settings value DisableWarning switches the report off.",
     {{u"type(object(''))", u"empty"},
      {u"object('')", u""},
      {u"isValid(object(''))", u"0"}}},
    {u"parseCurrency",
     u"The amount in a text as people write it: signs, words, blanks and thousands separators "
     u"around and between the digits do not matter. Other values as currency does.",
     u"0 when there are no digits. Empty without an argument.",
     {{u"parseCurrency('$1,234.50')", u"1234.5"},
      {u"parseCurrency('free')", u"0"},
      {u"parseCurrency('EUR 1.50') + parseCurrency('-0.25')", u"1.25"}}},
    {u"parseDateTime",
     u"The date-time value of a text, a day number or a number yyyyMMdd.",
     u"Empty when the argument is no date.",
     {{u"parseDateTime('2024/02/29 7:05')", u"2024-02-29 07:05:00"},
      {u"parseDateTime('2024-13-01')", u""},
      {u"toString(parseDateTime(20240229), 'dd.MM.yyyy')", u"29.02.2024"}}},
    {u"parseFloat", u"The same as toNumber.", kEmptyWithout,
     {{u"parseFloat('12.5kg')", u"12.5"},
      {u"parseFloat('12,5')", u"12"},
      {u"parseFloat('12.5kg') * 2", u"25"}}},
    {u"parseInt", u"The same as toInteger.", kEmptyWithout,
     {{u"parseInt('12.9')", u"12"},
      {u"parseInt('0x1F')", u"0"},
      {u"parseInt('9999999999')", u"2147483647"}}},
    {u"pos", u"The index, from 0, of the pattern in the text at or behind nOffset.",
     u"-1 when it is not there, for an empty pattern and for a negative offset. Empty without an "
     u"argument.",
     {{u"pos('banana', 'an')", u"1"},
      {u"pos('banana', 'x')", u"-1"},
      {u"mid('user@host', pos('user@host', '@') + 1)", u"host"}}},
    {u"pow", u"The base raised to the exponent.",
     u"NaN for a fractional power of a negative number. Empty with fewer than two arguments.",
     {{u"pow(2, 10)", u"1024"},
      {u"pow(-8, 0.5)", u"nan"},
      {u"round(1000 * pow(1 + 0.03, 5), 2)", u"1159.27"}}},
    {u"quote", u"The text in double quotes, with a backslash before every \" and \\ inside.",
     u"Two quotes for the empty text and without an argument.",
     {{u"quote('a b')", u"\"a b\""},
      {u"quote('')", u"\"\""},
      {u"quote('5\" pipe')", u"\"5\\\" pipe\""}}},
    {u"random",
     u"Without arguments a floating number from 0 to below 1; with two a whole number between "
     u"them, with one between it and 0, both limits included and every number equally likely.",
     u"The limits may stand in either order.",
     {{u"random(5, 5)", u"5"},
      {u"random(3, 1) <= 3", u"1"},
      {u"floor(random() * 6) < 6", u"1"}}},
    {u"replace", u"The text with every strOld replaced by strNew, or removed when that is absent.",
     u"An empty strOld changes nothing. With one argument that argument itself. A result beyond "
     u"the text limit is a reported error.",
     {{u"replace('a-b-c', '-', '+')", u"a+b+c"},
      {u"replace('a-b', '', '+')", u"a-b"},
      {u"replace(replace('1.234,50', '.'), ',', '.')", u"1234.50"}}},
    {u"right", u"The last nSize characters of the text.",
     u"The whole text when nSize is absent or 0, the empty text when it is negative. Empty without "
     u"an argument.",
     {{u"right('hello', 2)", u"lo"},
      {u"right('hello', 0)", u"hello"},
      {u"right('000' + 42, 5)", u"00042"}}},
    {u"round",
     u"The value rounded to nDetail decimals, halves away from zero, as a floating number. It "
     u"works on the decimal text of 15 digits, so 1.005 rounds to 1.01.",
     u"nDetail is 0 when absent or negative. Infinities and NaN stay. 0 without an argument.",
     {{u"round(2.675, 2)", u"2.68"},
      {u"round(-2.5)", u"-3"},
      {u"round(1234.5, -2)", u"1235"}}},
    {u"rpad", u"The text padded on the right with the first character of strPadChar to nCount.",
     u"As lpad.",
     {{u"rpad('ab', '.', 5)", u"ab..."},
      {u"rpad('abc', '', 5)", u"abc"},
      {u"rpad('Total', '.', 12) + lpad(58, '.', 6)", u"Total...........58"}}},
    {u"rtrim", u"The text without the white space at its end.", kEmptyWithout,
     {{u"rtrim(' ab  ')", u" ab"},
      {u"rtrim('a b' + chr(13) + chr(10))", u"a b"},
      {u"quote(rtrim('  '))", u"\"\""}}},
    {u"sin", u"The sine of an angle in radians.", kMath,
     {{u"sin(0)", u"0"},
      {u"sin('')", u"0"},
      {u"round(sin(30 * acos(-1) / 180), 4)", u"0.5"}}},
    {u"solar2lunar",
     u"The lunar date of a solar date in the form that it came in; date-time values and day "
     u"numbers give yyyy-MM-dd. The mark of a leap month is lost; see solar2lunarEx.",
     u"Empty when the argument is no date or lies outside the years 1700 to 2299.",
     {{u"solar2lunar('20240210')", u"20240101"},
      {u"solar2lunar('1600-01-01')", u""},
      {u"solar2lunar(datetime('2024-02-10'))", u"2024-01-01"}}},
    {u"solar2lunarEx",
     u"An array of the lunar date, as solar2lunar gives it, and 1 in a leap month, else 0.",
     u"Empty when the argument is no date or lies outside the years 1700 to 2299.",
     {{u"solar2lunarEx('2020-05-23')", u"2020-04-01,1"},
      {u"solar2lunarEx('no date')", u""},
      {u"greatest(solar2lunarEx('2020-05-23'))", u"2020-04-01"}}},
    {u"space", u"A text of nSize blanks.",
     u"The empty text for 0 and below. A size beyond the text limit is a reported error. Empty "
     u"without an argument.",
     {{u"'[' + space(2) + ']'", u"[  ]"},
      {u"space(10000000000)", u"error: text too long: space()"},
      {u"'a' + space(6 - length('a')) + '|'", u"a     |"}}},
    {u"split",
     u"An array of the parts of the text between any of the characters of strDelimiter, without "
     u"white space around them. Quoted parts are kept whole and lose their quotes; bCheckQuote and "
     u"bDelQuote (0 or 'false') turn that off. bNotMultiDim 1 drops empty parts. strEscape makes "
     u"the character behind it plain. When the third argument is a text that does not begin with a "
     u"digit, the text is cut at the whole delimiter without regard to case, and nothing else is "
     u"done.",
     u"One part without a delimiter or with an empty one; no parts for the empty text between "
     u"delimiters. Empty without an argument.",
     {{u"split(\"a, 'b,c' ,d\", ',')", u"a,b,c,d"},
      {u"split('a;;b', ';', 1)", u"a,b"},
      {u"length(split('a -> b -> c', ' -> ', 'whole'))", u"3"}}},
    {u"split2",
     u"An array of arrays: the text is cut into rows at any character of strDelimiter1, each row "
     u"into cells at any character of strDelimiter2; quotes as in split.",
     u"Empty with fewer than three arguments.",
     {{u"length(split2('a=1;b=2', ';', '='))", u"2"},
      {u"split2('a', ';')", u""},
      {u"split2('a=1;b=2', ';', '=')", u"a,1,b,2"}}},
    {u"sqrt", u"The square root.", kDomain,
     {{u"sqrt(16)", u"4"},
      {u"sqrt(-1)", u"nan"},
      {u"round(sqrt(pow(3, 2) + pow(4, 2)), 2)", u"5"}}},
    {u"stripNum",
     u"The number in a text, as text: its digits, a minus sign in front of the first one, and the "
     u"first point between two digits.",
     u"The empty text when there are no digits. Empty without an argument.",
     {{u"stripNum('EUR -1,234.50')", u"-1234.50"},
      {u"stripNum('none')", u""},
      {u"stripNum('Tel. 030-1234')", u"0301234"}}},
    {u"substr", u"The same as mid.", kEmptyWithout,
     {{u"substr('hello', 3)", u"lo"},
      {u"substr('hello', 9)", u""},
      {u"toInteger(substr('N-1027', 2)) + 1", u"1028"}}},
    {u"tan", u"The tangent of an angle in radians.", kMath,
     {{u"tan(0)", u"0"},
      {u"tan('x')", u"0"},
      {u"round(tan(45 * acos(-1) / 180), 4)", u"1"}}},
    {u"textToBin",
     u"The bytes of the text in a code page, given by number or name; UTF-8 when none is given.",
     u"A character that the code page lacks becomes '?'. A binary value stays as it is. Empty "
     u"without an argument.",
     {{u"length(textToBin('\uD55C\uAE00', 'euc-kr'))", u"4"},
      {u"binToText(textToBin('\u20AC', 'ascii'))", u"?"},
      {u"length(textToBin('caf\u00E9')) > length('caf\u00E9')", u"1"}}},
    {u"time", u"The present time of day as the text HHmmss.", kNoArgs,
     {{u"length(time())", u"6"},
      {u"isdigit(time())", u"1"},
      {u"toInteger(left(time(), 2)) < 24", u"1"}}},
    {u"timem", u"The present time of day with milliseconds as the text HHmmssfff.", kNoArgs,
     {{u"length(timem())", u"9"},
      {u"isdigit(timem())", u"1"},
      {u"left(timem(), 6) >= '000000'", u"1"}}},
    {u"today", u"The present date as the text yyyyMMdd.", kNoArgs,
     {{u"length(today())", u"8"},
      {u"type(parseDateTime(today()))", u"datetime"},
      {u"addDate(today(), 1) > today()", u"1"}}},
    {u"toFloat", u"The same as toNumber.", kEmptyWithout,
     {{u"toFloat('2.50')", u"2.5"},
      {u"toFloat('')", u"0"},
      {u"toFloat('2.50 EUR') + 1", u"3.5"}}},
    {u"toInteger",
     u"The value as a whole number, cut towards zero. A text gives the number at its start.",
     u"Numbers beyond 32 bits become the nearest limit; 0 for what is no number. Empty without an "
     u"argument.",
     {{u"toInteger(-2.7)", u"-2"},
      {u"toInteger('3 pens')", u"3"},
      {u"toInteger(3000000000)", u"2147483647"}}},
    {u"toLower", u"The text in lower case, by the rules of Unicode.", kEmptyWithout,
     {{u"toLower('ABC')", u"abc"},
      {u"toLower('\u0130')", u"i\u0307"},
      {u"toLower('Oslo') == toLower('OSLO')", u"1"}}},
    {u"toLowerCase", u"The same as toLower.", kEmptyWithout,
     {{u"toLowerCase('ABC')", u"abc"},
      {u"toLowerCase('')", u""},
      {u"toLowerCase('\u00C4 1 \u03A9')", u"\u00E4 1 \u03C9"}}},
    {u"toNumber", u"The value as a floating number. A text gives the number at its start.",
     u"0 for what is no number. Empty without an argument.",
     {{u"toNumber('1.5e2')", u"150"},
      {u"toNumber('n/a')", u"0"},
      {u"toNumber(replace('2,50', ',', '.')) * 2", u"5"}}},
    {u"toString",
     u"The value as text. strOption may be a pattern: with 0 or # it is one for numbers "
     u"('#,##0.00', '00000', '0.0%'), otherwise one for dates (yyyy yy MM M dd d HH H hh h mm m ss "
     u"s fff tt; words stand in single quotes).",
     u"A value that does not fit the pattern gives its plain text. Empty without an argument.",
     {{u"toString('20240229', 'd.M.yyyy')", u"29.2.2024"},
      {u"toString('abc', '0.00')", u"abc"},
      {u"toString(1234.5, '#,##0.00')", u"1,234.50"}}},
    {u"toUpper",
     u"The text in upper case, by the rules of Unicode: a character may become two.",
     kEmptyWithout,
     {{u"toUpper('stra\u00DFe')", u"STRASSE"},
      {u"toUpper('')", u""},
      {u"toUpper(left('oslo', 1)) + mid('oslo', 1)", u"Oslo"}}},
    {u"toUpperCase", u"The same as toUpper.", kEmptyWithout,
     {{u"toUpperCase('abc')", u"ABC"},
      {u"toUpperCase(12.5)", u"12.5"},
      {u"toUpperCase(trim(' de '))", u"DE"}}},
    {u"trim", u"The text without the white space at both ends.", kEmptyWithout,
     {{u"trim('  ab  ')", u"ab"},
      {u"quote(trim('   '))", u"\"\""},
      {u"length(trim(chr(9) + ' a b '))", u"3"}}},
    {u"truncate", u"The value cut behind nDetail decimals, as a floating number.",
     u"nDetail is 0 when absent or negative. Infinities and NaN stay. 0 without an argument.",
     {{u"truncate(-1.987, 2)", u"-1.98"},
      {u"truncate(2.999)", u"2"},
      {u"truncate(19.999, 2) + ' EUR'", u"19.99 EUR"}}},
    {u"type",
     u"The kind of the value: empty, integer, number, currency, datetime, string, boolean, binary, "
     u"array or object.",
     kEmptyWithout,
     {{u"type(1.5)", u"number"},
      {u"type('')", u"string"},
      {u"type(split('a', ','))", u"array"}}},
    {u"unquote", u"The text without its enclosing quotes and the backslashes that quote put in.",
     u"A text without quotes stays as it is. Empty without an argument.",
     {{u"unquote(quote('a b'))", u"a b"},
      {u"unquote('plain')", u"plain"},
      {u"unquote(quote('5\" pipe'))", u"5\" pipe"}}},
    {u"urlDecode",
     u"The text with %XX sequences as the UTF-8 bytes that they mean, and each + as a blank.",
     u"A % without two hexadecimal digits stays; bytes that are no UTF-8 become U+FFFD. Empty "
     u"without an argument.",
     {{u"urlDecode('a%20b+c')", u"a b c"},
      {u"urlDecode('100%')", u"100%"},
      {u"NToken(urlDecode('name=J%C3%BCrgen'), '=', 2)", u"J\u00FCrgen"}}},
    {u"urlEncode",
     u"The text with all but letters, digits and - . _ ~ as %XX sequences of its UTF-8 bytes.",
     kEmptyWithout,
     {{u"urlEncode('a b&c')", u"a%20b%26c"},
      {u"urlEncode('')", u""},
      {u"'q=' + urlEncode('\u00FC & more')", u"q=%C3%BC%20%26%20more"}}},
    {u"WorkDate", u"1 when the date is a working day, Monday to Friday, else 0. Holidays are not "
     u"known.",
     kNoDate,
     {{u"WorkDate('20240302')", u"0"},
      {u"WorkDate('never')", u""},
      {u"iif(WorkDate('20240229'), 'open', 'closed')", u"open"}}},
};
// clang-format on

class ReferenceWriter {
 public:
  Kt_WString Write() {
    Put(u"# Built-in functions\n\n");
    Put(u"Made from `object/Kt_ExprFuncs_Table.cpp` and `reference/Kt_FunctionHelp.cpp`; do not "
        u"edit.\n\n");
    Put(u"Names are found in any case. Positions count from 0, in units of UTF-16. Arguments are "
        u"converted as they are needed; missing ones at the end read as empty values. With too few "
        u"arguments a function gives the empty value, and bad arguments are never errors: only "
        u"results beyond the limits of texts and lists are.\n\n");
    Put(u"Behind `=>` stands the value of an example as text, `(empty)` for the empty value and "
        u"the "
        u"empty text.\n");
    const _EXPR_INTFUNC_INFO* const rows = Kt_ExprObject::GetIntFuncMap();
    for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) {
      if (const Kt_IntFuncDoc* const doc = GetIntFuncDoc(rows[row].name)) {
        Entry(*doc, rows[row].help);
      }
    }
    return out_;
  }

 private:
  void Put(std::u16string_view text) { out_ += text; }

  void Entry(const Kt_IntFuncDoc& doc, const char16_t* forms) {
    Put(u"\n## ");
    Put(doc.name);
    Put(u"\n\n```\n");
    Put(forms);
    Put(u"\n```\n\n");
    Put(doc.does);
    Put(u"\n\n");
    Put(doc.odd);
    Put(u"\n\n```\n");
    Put(LayOutExamples(doc.examples));
    Put(u"```\n");
  }

  Kt_WString out_;
};

}  // namespace

const Kt_IntFuncDoc* GetIntFuncDoc(const char16_t* name) {
  if (name == nullptr) return nullptr;
  for (const Kt_IntFuncDoc& doc : kDocs) {
    if (kt_stricmpW(doc.name, name) == 0) return &doc;
  }
  return nullptr;
}

Kt_WString MakeFunctionReference() { return ReferenceWriter().Write(); }
