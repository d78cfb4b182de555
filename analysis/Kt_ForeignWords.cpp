// SPDX-License-Identifier: MIT
#include "analysis/Kt_ForeignWords.h"

#include <iterator>

namespace kt::analysis {
namespace {

constexpr auto kDeclares = FindingCode::kForeignDeclaration;
constexpr auto kStatement = FindingCode::kForeignStatement;
constexpr auto kOperator = FindingCode::kForeignOperator;
constexpr auto kValue = FindingCode::kForeignValue;

constexpr auto kWord = Foreign::Shape::kWord;
constexpr auto kTry = Foreign::Shape::kTry;

constexpr std::u16string_view kVar = u"variables are declared with 'var' and have no types";
constexpr std::u16string_view kElseIf = u"write 'else if'";
constexpr std::u16string_view kEach =
    u"count with an index: for (var i = 0; i < length(list); i++)";
constexpr std::u16string_view kNoTry =
    u"there are no exceptions: an error ends the run, so test values before they are used";
constexpr std::u16string_view kBlockEnd = u"a block ends with '}'";
constexpr std::u16string_view kNoBits = u"there are no operators on bits";
constexpr std::u16string_view kPoint = u"members follow a '.'";
constexpr std::u16string_view kFunction = u"write 'function name(arguments) { ... }'";
constexpr std::u16string_view kWhile = u"write 'while (condition) { ... }'";

// Before a name.
constexpr Foreign kTypes[] = {
    {u"let", kDeclares, kVar, u"var"},     {u"const", kDeclares, kVar, u"var"},
    {u"dim", kDeclares, kVar, u"var"},     {u"local", kDeclares, kVar, u"var"},
    {u"my", kDeclares, kVar, u"var"},      {u"auto", kDeclares, kVar, u"var"},
    {u"val", kDeclares, kVar, u"var"},     {u"final", kDeclares, kVar, u"var"},
    {u"static", kDeclares, kVar, u"var"},  {u"int", kDeclares, kVar, u"var"},
    {u"integer", kDeclares, kVar, u"var"}, {u"float", kDeclares, kVar, u"var"},
    {u"double", kDeclares, kVar, u"var"},  {u"string", kDeclares, kVar, u"var"},
    {u"bool", kDeclares, kVar, u"var"},    {u"boolean", kDeclares, kVar, u"var"},
    {u"char", kDeclares, kVar, u"var"},    {u"long", kDeclares, kVar, u"var"},
    {u"number", kDeclares, kVar, u"var"},  {u"list", kDeclares, kVar, u"var"},
    {u"array", kDeclares, kVar, u"var"},   {u"object", kDeclares, kVar, u"var"},
};

// At the beginning of a statement.
constexpr Foreign kStatements[] = {
    {u"elif", kStatement, kElseIf, u"else if"},
    {u"elsif", kStatement, kElseIf, u"else if"},
    {u"elseif", kStatement, kElseIf, u"else if"},
    {u"foreach", kStatement, kEach, u""},
    {u"try", kStatement, kNoTry, u"", kTry},
    {u"catch", kStatement, kNoTry, u"", kTry},
    {u"except", kStatement, kNoTry, u"", kTry},
    {u"finally", kStatement, kNoTry, u"", kTry},
    {u"throw", kStatement, kNoTry, u"", kTry},
    {u"raise", kStatement, kNoTry, u"", kTry},
    {u"do", kStatement, u"write 'while (1) { ...; if (!(condition)) break; }'", u""},
    {u"repeat", kStatement, u"write 'while (1) { ...; if (condition) break; }'", u""},
    {u"until", kStatement, kWhile, u""},
    {u"loop", kStatement, u"write 'while (1) { ... }'", u""},
    {u"unless", kStatement, u"write 'if (!(condition)) { ... }'", u""},
    {u"match", kStatement, u"write 'switch (value) { case 1: ... break; }'", u""},
    {u"select", kStatement, u"write 'switch (value) { case 1: ... break; }'", u""},
    {u"when", kStatement, u"write 'if (condition) { ... }'", u""},
    {u"then", kStatement, u"a statement or a block follows the condition without a word", u"",
     kWord},
    {u"begin", kStatement, u"a block begins with '{'", u"", kWord},
    {u"end", kStatement, kBlockEnd, u"", kWord},
    {u"endif", kStatement, kBlockEnd, u"", kWord},
    {u"endwhile", kStatement, kBlockEnd, u"", kWord},
    {u"wend", kStatement, kBlockEnd, u"", kWord},
    {u"next", kStatement, kBlockEnd, u"", kWord},
    {u"done", kStatement, kBlockEnd, u"", kWord},
    {u"fi", kStatement, kBlockEnd, u"", kWord},
    {u"pass", kStatement, u"an empty block is '{ }'", u""},
    {u"with", kStatement, u"there is no 'with'; write the name each time", u""},
    {u"goto", kStatement, u"there are no labels to go to", u""},
    {u"yield", kStatement, u"collect the values in a list and return that", u""},
    {u"del", kStatement, u"write 'name = null;'", u""},
    {u"delete", kStatement, u"write 'name = null;'", u""},
    {u"global", kStatement, u"all functions see the globals; leave this out", u""},
    {u"import", kStatement, u"write '#include \"file\"' outside of functions", u""},
    {u"include", kStatement, u"write '#include \"file\"' outside of functions", u""},
    {u"using", kStatement, u"write '#include \"file\"' outside of functions", u""},
    {u"require", kStatement, u"write '#include \"file\"' outside of functions", u""},
    {u"from", kStatement, u"write '#include \"file\"' outside of functions", u""},
    {u"class", kStatement, u"there are no classes; use functions, lists and datasets", u""},
    {u"struct", kStatement, u"there are no classes; use functions, lists and datasets", u""},
    {u"enum", kStatement, u"write global variables: var RED = 0, GREEN = 1;", u""},
    {u"def", kStatement, kFunction, u"function"},
    {u"func", kStatement, kFunction, u"function"},
    {u"fun", kStatement, kFunction, u"function"},
    {u"fn", kStatement, kFunction, u"function"},
    {u"sub", kStatement, kFunction, u"function"},
    {u"procedure", kStatement, kFunction, u"function"},
    {u"void", kStatement, kFunction, u"function"},
};

// Where an operator is expected, or before a value.
constexpr Foreign kWordOperators[] = {
    {u"not", kOperator, u"write '!(...)'", u"!"},
    {u"is", kOperator, u"write '=='", u"=="},
    {u"eq", kOperator, u"write '=='", u"=="},
    {u"ne", kOperator, u"write '!='", u"!="},
    {u"gt", kOperator, u"write '>'", u">"},
    {u"lt", kOperator, u"write '<'", u"<"},
    {u"mod", kOperator, u"write '%'", u"%"},
    {u"div", kOperator, u"write 'toInteger(a / b)'", u""},
    {u"xor", kOperator, u"write '!a != !b'", u""},
    {u"in", kOperator, u"write 'indexOf(text, part) >= 0', or look through the list in a loop",
     u""},
    {u"like", kOperator, u"write 'indexOf(text, part) >= 0'", u""},
    {u"instanceof", kOperator, u"values have no classes", u""},
    {u"then", kStatement, u"a statement or a block follows the condition without a word", u""},
    {u"if", kStatement, u"write 'iif(condition, value, other)'", u""},
    {u"to", kStatement, u"write 'for (var i = 1; i <= 10; i++)'", u""},
    {u"new", kValue, u"there are no classes; objects come from the host", u""},
    {u"typeof", kValue, u"values are converted where they are used", u""},
    {u"await", kValue, u"a call waits for its result anyway", u""},
    {u"lambda", kValue, u"functions have names and stand outside of others", u""},
};

constexpr Foreign kMarks[] = {
    {u"===", kOperator, u"write '=='", u"=="},
    {u"!==", kOperator, u"write '!='", u"!="},
    {u"=<", kOperator, u"write '<='", u"<="},
    {u":=", kOperator, u"write '='", u"="},
    {u"**", kOperator, u"write 'pow(base, exponent)'", u""},
    {u"??", kOperator, u"write 'iif(a == null, b, a)'", u""},
    {u"?.", kOperator, kPoint, u"."},
    {u"->", kOperator, kPoint, u"."},
    {u"::", kOperator, kPoint, u"."},
    {u"<=>", kOperator, u"write 'iif(a < b, -1, a > b)'", u""},
    {u"<<", kOperator, kNoBits, u""},
    {u">>", kOperator, kNoBits, u""},
    {u"^", kOperator, u"write 'pow(base, exponent)'; there are no operators on bits", u""},
    {u"~", kOperator, kNoBits, u""},
    {u"?", kOperator, u"write 'iif(condition, value, other)'", u""},
    {u"=>", kOperator, u"functions have names and stand outside of others", u""},
    {u"...", kOperator, u"lists are not spread; pass the list", u""},
    {u"$", kValue, u"names do not begin with '$'; strings are joined with '+'", u""},
    {u"@", kValue, u"names do not begin with '@'", u""},
    {u"#", kStatement, u"comments begin with '//'", u""},
};

constexpr Foreign kValueNames[] = {
    {u"None", kValue, u"write 'null'", u"null"},
    {u"undefined", kValue, u"write 'null'", u"null"},
    {u"nothing", kValue, u"write 'null'", u"null"},
    {u"self", kValue, u"there are no classes; pass what the function needs as an argument", u""},
    {u"this", kValue, u"there are no classes; pass what the function needs as an argument", u""},
};

constexpr Foreign kFunctionNames[] = {
    {u"not", kOperator, u"write '!(...)'", u"!"},
    {u"len", kValue, u"write 'length(...)'", u"length"},
    {u"strlen", kValue, u"write 'length(...)'", u"length"},
    {u"count", kValue, u"write 'length(...)'", u"length"},
    {u"str", kValue, u"write 'toString(...)'", u"toString"},
    {u"int", kValue, u"write 'toInteger(...)'", u"toInteger"},
    {u"float", kValue, u"write 'toFloat(...)'", u"toFloat"},
    {u"upper", kValue, u"write 'toUpper(...)'", u"toUpper"},
    {u"lower", kValue, u"write 'toLower(...)'", u"toLower"},
    {u"max", kValue, u"write 'greatest(...)'", u"greatest"},
    {u"min", kValue, u"write 'least(...)'", u"least"},
    {u"typeof", kValue, u"write 'type(...)'", u"type"},
    {u"printf", kValue, u"write 'print(...)', which puts blanks between its values", u"print"},
    {u"println", kValue, u"write 'print(...)'", u"print"},
    {u"echo", kValue, u"write 'print(...)'", u"print"},
    {u"isNull", kValue, u"write 'value == null'", u""},
    {u"range", kValue, u"count in a loop: for (var i = 0; i < 10; i++)", u""},
};

template <std::size_t kCount>
const Foreign* Find(const Foreign (&rows)[kCount], std::u16string_view text) {
  const Kt_WString wanted(text);
  for (const Foreign& row : rows) {
    if (wanted.EqualsNoCase(row.text)) return &row;
  }
  return nullptr;
}

}  // namespace

const Foreign* FindType(std::u16string_view text) { return Find(kTypes, text); }
const Foreign* FindStatement(std::u16string_view text) { return Find(kStatements, text); }
const Foreign* FindWordOperator(std::u16string_view text) { return Find(kWordOperators, text); }
const Foreign* FindMark(std::u16string_view text) { return Find(kMarks, text); }
const Foreign* FindValueName(std::u16string_view text) { return Find(kValueNames, text); }
const Foreign* FindFunctionName(std::u16string_view text) { return Find(kFunctionNames, text); }

void Suggest(const Foreign& row, Finding& finding) {
  finding.hint = Kt_WString(row.hint);
  if (row.cure.empty()) return;
  finding.fix = {{{finding.offset, finding.length}, Kt_WString(row.cure)}};
}

}  // namespace kt::analysis
