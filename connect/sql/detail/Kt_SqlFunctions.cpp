// SPDX-License-Identifier: MIT
//
// The built-in functions in SQL. Positions of the engine count units of UTF-16 from 0, those of the
// databases characters from 1: the same where no character takes two units. Letters change their
// case by Unicode here and by other tables there: the same in ASCII.
#include "connect/sql/detail/Kt_SqlFunctions.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "connect/sql/detail/Kt_SqlWords.h"

namespace kt::detail {
namespace {

using Kind = SqlTerm::Kind;
using Tag = SqlTerm::Tag;
using Args = std::span<const SqlTerm>;
using Term = SqlTerms::Term;

// ---- Numbers ----------------------------------------------------------------------------------

// The number of the only argument, as a double.
Term RealArgument(SqlTerms& terms, Args args) {
  if (args.size() != 1) return terms.Refuse("a call with another number of arguments");
  Term number = terms.AsNumber(args[0]);
  if (!number) return number;
  number->sql = terms.AsReal(*number);
  number->kind = Kind::kReal;
  number->tag = Tag::kDouble;
  number->constant.reset();
  return number;
}

Term Abs(SqlTerms& terms, Args args) {
  Term number = RealArgument(terms, args);
  if (!number) return number;
  number->sql = "abs(" + number->sql + ")";
  number->high = std::max(std::fabs(number->low), std::fabs(number->high));
  number->low = 0;
  return number;
}

Term Rounded(SqlTerms& terms, Args args, const char* name) {
  if (!terms.Table().HasMathFunctions()) return terms.Refuse("a function that this SQLite lacks");
  Term number = RealArgument(terms, args);
  if (!number) return number;
  number->sql = std::string(name) + "(" + number->sql + ")";
  number->low = std::floor(number->low);
  number->high = std::ceil(number->high);
  number->least = 1;
  return number;
}

Term Ceil(SqlTerms& terms, Args args) { return Rounded(terms, args, "ceil"); }
Term Floor(SqlTerms& terms, Args args) { return Rounded(terms, args, "floor"); }

Term Sqrt(SqlTerms& terms, Args args) {
  if (!terms.Table().HasMathFunctions()) return terms.Refuse("a function that this SQLite lacks");
  Term number = RealArgument(terms, args);
  if (!number) return number;
  const bool has_root = number->low >= 0 && !std::isinf(number->high) && !number->may_be_nan;
  if (!has_root) return terms.RefuseUnknown("a root of what may be negative, infinite or NaN");
  number->sql = "sqrt(" + number->sql + ")";
  number->low = 0;
  number->high = std::max(1.0, number->high);
  number->least = std::min(1.0, number->least);
  return number;
}

Term Iif(SqlTerms& terms, Args args) {
  if (args.size() < 2 || args.size() > 3) {
    return terms.Refuse("a call with another number of arguments");
  }
  return terms.Choose(args[0], args[1], args.size() == 3 ? args[2] : SqlTerm());
}

// ---- Texts ------------------------------------------------------------------------------------

// The first argument as a text whose units are characters.
Term PlainText(SqlTerms& terms, Args args, std::size_t least_count, std::size_t most_count) {
  if (args.size() < least_count || args.size() > most_count) {
    return terms.Refuse("a call with another number of arguments");
  }
  Term text = terms.AsText(args[0]);
  if (text) text->constant.reset();
  if (text && !text->is_plain) {
    return terms.RefuseUnknown("a text that may have characters beyond U+FFFF");
  }
  return text;
}

Term Whole(std::string sql, double low, double high) {
  SqlTerm term;
  term.kind = Kind::kWhole;
  term.sql = std::move(sql);
  term.may_be_null = false;
  term.low = low;
  term.high = high;
  return term;
}

// Everything but texts has no length.
Term Length(SqlTerms& terms, Args args) {
  const bool has_none = args.size() == 1 && (args[0].IsNumber() || args[0].kind == Kind::kDate);
  if (has_none) return Whole("0", 0, 0);
  const Term text = PlainText(terms, args, 1, 1);
  return text ? Whole("length(" + text->sql + ")", 0, std::min(text->longest, 2147483647.0)) : text;
}

Term Part(SqlTerms& terms, Args args, const SqlTerm& number, const char* before,
          const char* after) {
  Term text = PlainText(terms, args, 2, 2);
  if (!text) return text;
  if (!number.IsLiteral(1)) return terms.Refuse("a length that is no constant above 0");
  text->sql = before + text->sql + ", " + after + number.sql + ")";
  return text;
}

Term Left(SqlTerms& terms, Args args) {
  if (args.size() != 2) return terms.Refuse("a call with another number of arguments");
  return Part(terms, args, args[1], "substr(", "1, ");
}

Term Right(SqlTerms& terms, Args args) {
  if (args.size() != 2) return terms.Refuse("a call with another number of arguments");
  return terms.IsSqlite() ? Part(terms, args, args[1], "substr(", "-")
                          : Part(terms, args, args[1], "right(", "");
}

Term Mid(SqlTerms& terms, Args args) {
  Term text = PlainText(terms, args, 2, 3);
  if (!text) return text;
  const bool has_size = args.size() == 3;
  if (!args[1].IsLiteral(0) || (has_size && !args[2].IsLiteral(1))) {
    return terms.Refuse("a position or length that is no constant");
  }
  text->sql = "substr(" + text->sql + ", " +
              std::to_string(std::int64_t{args[1].constant->AsLong()} + 1) +
              (has_size ? ", " + args[2].sql : "") + ")";
  return text;
}

Term CharAt(SqlTerms& terms, Args args) {
  if (args.size() != 2) return terms.Refuse("a call with another number of arguments");
  const Term one = terms.Constant(Kt_Variant(kt_long{1}));
  return Mid(terms, std::vector<SqlTerm>{args[0], args[1], *one});
}

Term Pos(SqlTerms& terms, Args args) {
  Term text = PlainText(terms, args, 2, 2);
  if (!text) return text;
  const SqlTerm& pattern = args[1];
  const bool is_found = pattern.kind == Kind::kText && pattern.constant && pattern.is_plain &&
                        !pattern.constant->AsStringView().empty();
  if (!is_found) return terms.Refuse("a pattern that is no constant");
  const char* const name = terms.IsSqlite() ? "instr" : "strpos";
  const std::string collation = terms.IsSqlite() || text->is_bytewise ? "" : " COLLATE \"C\"";
  return Whole(
      "(" + std::string(name) + "(" + text->sql + collation + ", " + pattern.sql + ") - 1)", -1,
      std::min(text->longest, 2147483647.0));
}

Term OfAscii(SqlTerms& terms, Args args, const std::string& before, const std::string& after) {
  Term text = PlainText(terms, args, 1, 1);
  if (!text) return text;
  if (!text->is_ascii)
    return terms.RefuseUnknown("a text that may have other characters than ASCII");
  const bool has_name = terms.IsSqlite() || pg::IsByteOrder(text->collation);
  text->sql = before + "(" + text->sql + (has_name ? "" : " COLLATE \"C\"") + after + ")";
  text->is_bytewise = true;
  text->collation = pg::kCollationC;
  return text;
}

Term Upper(SqlTerms& terms, Args args) { return OfAscii(terms, args, "upper", ""); }
Term Lower(SqlTerms& terms, Args args) { return OfAscii(terms, args, "lower", ""); }

Term Trimmed(SqlTerms& terms, Args args, const char* name) {
  return OfAscii(terms, args, name,
                 terms.IsSqlite() ? ", char(9, 10, 11, 12, 13, 32)" : ", E'\\t\\n\\x0B\\f\\r '");
}

Term Trim(SqlTerms& terms, Args args) {
  return Trimmed(terms, args, terms.IsSqlite() ? "trim" : "btrim");
}
Term TrimLeft(SqlTerms& terms, Args args) { return Trimmed(terms, args, "ltrim"); }
Term TrimRight(SqlTerms& terms, Args args) { return Trimmed(terms, args, "rtrim"); }

// clang-format off
constexpr SqlFunction kFunctions[] = {
    {"abs", &Abs, "`abs(x)`",
     "of a number"},
    {"acos", nullptr, "the last bits of its results differ between libraries", ""},
    {"addDate", nullptr, "the form of its argument decides what its result is", ""},
    {"addMonth", nullptr, "the form of its argument decides what its result is", ""},
    {"array", nullptr, "makes or takes apart lists", ""},
    {"asc", nullptr, "its classes of characters are those of Unicode, the databases have their own", ""},
    {"asin", nullptr, "the last bits of its results differ between libraries", ""},
    {"atan", nullptr, "the last bits of its results differ between libraries", ""},
    {"atan2", nullptr, "the last bits of its results differ between libraries", ""},
    {"binToText", nullptr, "code pages", ""},
    {"bound", &Length, "`length(t)`",
     "as length"},
    {"ceil", &Ceil, "`ceil(x)`",
     "of a number; in SQLite where it was built with its mathematical functions"},
    {"charat", &CharAt, "`substr(t, i + 1, 1)`",
     "as mid"},
    {"chr", nullptr, "its classes of characters are those of Unicode, the databases have their own", ""},
    {"cos", nullptr, "the last bits of its results differ between libraries", ""},
    {"currency", nullptr, "conversions of texts and numbers differ", ""},
    {"datetime", nullptr, "the form of its argument decides what its result is", ""},
    {"decode", nullptr, "compares values of any kind, and leaves nulls out or takes them in by rules of its own", ""},
    {"dumpdatastatus", nullptr, "asks the engine, not the row", ""},
    {"eval", nullptr, "asks the engine, not the row", ""},
    {"exp", nullptr, "the last bits of its results differ between libraries", ""},
    {"ExponentFormat", nullptr, "works on the decimal digits of a number, which the databases make in other ways", ""},
    {"floor", &Floor, "`floor(x)`",
     "of a number; in SQLite where it was built with its mathematical functions"},
    {"full2half", nullptr, "the databases have nothing of the kind", ""},
    {"getDate", nullptr, "reads the clock: one value for all rows here, another one there", ""},
    {"getDay", nullptr, "the form of its argument decides what its result is", ""},
    {"greatest", nullptr, "compares values of any kind, and leaves nulls out or takes them in by rules of its own", ""},
    {"Half2Full", nullptr, "the databases have nothing of the kind", ""},
    {"iif", &Iif, "`CASE WHEN`",
     "both values of one kind"},
    {"indexOf", &Pos, "`instr`, `strpos`",
     "the pattern a constant that is not empty, no offset, the text without characters beyond U+FFFF"},
    {"isalnum", nullptr, "its classes of characters are those of Unicode, the databases have their own", ""},
    {"isalpha", nullptr, "its classes of characters are those of Unicode, the databases have their own", ""},
    {"isdigit", nullptr, "its classes of characters are those of Unicode, the databases have their own", ""},
    {"isinf", nullptr, "SQLite has no test for it; a comparison says the same", ""},
    {"islower", nullptr, "its classes of characters are those of Unicode, the databases have their own", ""},
    {"isspace", nullptr, "its classes of characters are those of Unicode, the databases have their own", ""},
    {"isupper", nullptr, "its classes of characters are those of Unicode, the databases have their own", ""},
    {"isValid", nullptr, "asks the engine, not the row", ""},
    {"isValidObject", nullptr, "asks the engine, not the row", ""},
    {"least", nullptr, "compares values of any kind, and leaves nulls out or takes them in by rules of its own", ""},
    {"left", &Left, "`substr(t, 1, n)`",
     "n a constant above 0, the text without characters beyond U+FFFF"},
    {"length", &Length, "`length(t)`",
     "of a text without characters beyond U+FFFF"},
    {"lengthb", nullptr, "code pages", ""},
    {"log", nullptr, "the last bits of its results differ between libraries", ""},
    {"lpad", nullptr, "its result may be too long, which is an error that would not be reported", ""},
    {"ltrim", &TrimLeft, "`ltrim(t, blanks)`",
     "as trim"},
    {"lunar2solar", nullptr, "no database has that calendar", ""},
    {"lunar2solarEx", nullptr, "no database has that calendar", ""},
    {"mid", &Mid, "`substr(t, i + 1, n)`",
     "i a constant from 0, n one above 0 or absent, the text without characters beyond U+FFFF"},
    {"midb", nullptr, "code pages", ""},
    {"NToken", nullptr, "makes or takes apart lists", ""},
    {"NumFormat", nullptr, "works on the decimal digits of a number, which the databases make in other ways", ""},
    {"NumFormatLoc", nullptr, "works on the decimal digits of a number, which the databases make in other ways", ""},
    {"object", nullptr, "asks the engine, not the row", ""},
    {"parseCurrency", nullptr, "conversions of texts and numbers differ", ""},
    {"parseDateTime", nullptr, "conversions of texts and numbers differ", ""},
    {"parseFloat", nullptr, "conversions of texts and numbers differ", ""},
    {"parseInt", nullptr, "conversions of texts and numbers differ", ""},
    {"pos", &Pos, "`instr`, `strpos`",
     "as indexOf"},
    {"pow", nullptr, "the last bits of its results differ between libraries", ""},
    {"quote", nullptr, "the databases have nothing of the kind", ""},
    {"random", nullptr, "gives another value for every row", ""},
    {"replace", nullptr, "its result may be too long, which is an error that would not be reported", ""},
    {"right", &Right, "`substr(t, -n)`, `right(t, n)`",
     "as left"},
    {"round", nullptr, "works on the decimal digits of a number, which the databases make in other ways", ""},
    {"rpad", nullptr, "its result may be too long, which is an error that would not be reported", ""},
    {"rtrim", &TrimRight, "`rtrim(t, blanks)`",
     "as trim"},
    {"sin", nullptr, "the last bits of its results differ between libraries", ""},
    {"solar2lunar", nullptr, "no database has that calendar", ""},
    {"solar2lunarEx", nullptr, "no database has that calendar", ""},
    {"space", nullptr, "its result may be too long, which is an error that would not be reported", ""},
    {"split", nullptr, "makes or takes apart lists", ""},
    {"split2", nullptr, "makes or takes apart lists", ""},
    {"sqrt", &Sqrt, "`sqrt(x)`",
     "of a number that is known to be finite and not negative; in SQLite where it was built with its mathematical functions"},
    {"stripNum", nullptr, "the databases have nothing of the kind", ""},
    {"substr", &Mid, "`substr(t, i + 1, n)`",
     "as mid"},
    {"tan", nullptr, "the last bits of its results differ between libraries", ""},
    {"textToBin", nullptr, "code pages", ""},
    {"time", nullptr, "reads the clock: one value for all rows here, another one there", ""},
    {"timem", nullptr, "reads the clock: one value for all rows here, another one there", ""},
    {"today", nullptr, "reads the clock: one value for all rows here, another one there", ""},
    {"toFloat", nullptr, "conversions of texts and numbers differ", ""},
    {"toInteger", nullptr, "conversions of texts and numbers differ", ""},
    {"toLower", &Lower, "`lower(t)`",
     "of a text in ASCII"},
    {"toLowerCase", &Lower, "`lower(t)`",
     "as toLower"},
    {"toNumber", nullptr, "conversions of texts and numbers differ", ""},
    {"toString", nullptr, "conversions of texts and numbers differ", ""},
    {"toUpper", &Upper, "`upper(t)`",
     "of a text in ASCII"},
    {"toUpperCase", &Upper, "`upper(t)`",
     "as toUpper"},
    {"trim", &Trim, "`trim(t, blanks)`",
     "of a text in ASCII"},
    {"truncate", nullptr, "works on the decimal digits of a number, which the databases make in other ways", ""},
    {"type", nullptr, "asks the engine, not the row", ""},
    {"unquote", nullptr, "the databases have nothing of the kind", ""},
    {"urlDecode", nullptr, "the databases have nothing of the kind", ""},
    {"urlEncode", nullptr, "the databases have nothing of the kind", ""},
    {"WorkDate", nullptr, "the form of its argument decides what its result is", ""},
};
// clang-format on

}  // namespace

std::span<const SqlFunction> SqlFunctions() { return kFunctions; }

const SqlFunction* FindSqlFunction(const Kt_WString& name) {
  const auto found = std::ranges::find_if(kFunctions, [&](const SqlFunction& function) {
    return name.EqualsNoCase(Kt_WString::FromUtf8(function.name));
  });
  return found != std::end(kFunctions) ? found : nullptr;
}

}  // namespace kt::detail
