// SPDX-License-Identifier: MIT
//
// Operands: constants, columns, and one kind of value read as another.
#include "connect/sql/detail/Kt_SqlTerm.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "connect/sql/detail/Kt_SqlWords.h"

namespace kt::detail {
namespace {

using Kind = SqlTerm::Kind;
using Tag = SqlTerm::Tag;

constexpr double kMaxExact = 9007199254740992.0;  // 2^53

std::string Digits(double value) {
  std::array<char, 64> text;
  char* const end = text.data() + text.size();
  const auto written = std::fabs(value) < kMaxExact && value == std::trunc(value)
                           ? std::to_chars(text.data(), end, value, std::chars_format::fixed, 1)
                           : std::to_chars(text.data(), end, value);
  return {text.data(), written.ptr};
}

// A text as PostgreSQL has it whatever its settings are.
std::string Quoted(const std::string& utf8) {
  std::string out = utf8.find('\\') == utf8.npos ? "'" : "E'";
  for (const char byte : utf8) {
    if (byte == '\'' || byte == '\\') out += byte;
    out += byte;
  }
  return out + "'::text";
}

SqlTerm Number(Kind kind, std::string sql, Tag tag, double value) {
  SqlTerm term;
  term.kind = kind;
  term.sql = std::move(sql);
  term.may_be_null = false;
  term.tag = tag;
  term.low = term.high = value;
  term.least = value == 0 ? 1 : std::fabs(value);
  return term;
}

// A comparison would have the other side read as a number where the column is declared as one.
bool HasTextAffinity(const Kt_SqlColumn& column) {
  const std::string& declared = column.declared.declared;
  return declared.find("INT") == declared.npos &&
         (declared.find("CHAR") != declared.npos || declared.find("CLOB") != declared.npos ||
          declared.find("TEXT") != declared.npos);
}

}  // namespace

std::string SqlTerms::Parameter(const Kt_Variant& value) {
  parameters_.push_back(value);
  return "?" + std::to_string(parameters_.size());
}

SqlTerms::Term SqlTerms::Constant(const Kt_Variant& value) {
  Term term;
  switch (value.GetTag()) {
    case kTagEmpty: return SqlTerm();
    case kTagLong: {
      const std::string digits = std::to_string(value.AsLong());
      term = Number(Kind::kWhole, value.AsLong() < 0 ? "(" + digits + ")" : digits, Tag::kLong,
                    value.AsLong());
      break;
    }
    case kTagDouble: term = RealConstant(value.AsDouble()); break;
    case kTagString: term = TextConstant(value); break;
    default: return Refuse("a constant of that kind");
  }
  if (term) term->constant = value;
  return term;
}

SqlTerms::Term SqlTerms::RealConstant(double value) {
  // SQLite has no NaN; and of other literals than whole ones it may read the neighbour.
  if (IsSqlite() && std::isnan(value)) return Refuse("NaN, which SQLite does not have");
  std::string sql;
  if (!IsSqlite()) {
    sql = "'" + (std::isinf(value) ? (value > 0 ? "Infinity" : "-Infinity") : Digits(value)) +
          "'::float8";
  } else if (std::fabs(value) < kMaxExact && value == std::trunc(value)) {
    sql = "(" + Digits(value) + ")";
  } else {
    sql = Parameter(Kt_Variant(value));
  }
  SqlTerm term = Number(Kind::kReal, std::move(sql), Tag::kDouble, value);
  term.may_be_nan = std::isnan(value);
  return term;
}

SqlTerms::Term SqlTerms::TextConstant(const Kt_Variant& value) {
  const std::u16string_view text = value.AsStringView();
  const auto is_surrogate = [](char16_t unit) { return unit >= 0xD800 && unit < 0xE000; };
  const std::string utf8 = value.AsString().ToUtf8();
  if (text.find(u'\0') != text.npos || !(Kt_WString::FromUtf8(utf8) == value.AsString())) {
    return Refuse("a text with a zero or half of a surrogate pair");
  }
  SqlTerm term = Text(IsSqlite() ? Parameter(value) : Quoted(utf8));
  term.is_plain = std::ranges::none_of(text, is_surrogate);
  term.is_ascii = std::ranges::all_of(text, [](char16_t unit) { return unit < 0x80; });
  term.longest = static_cast<double>(text.size());
  return term;
}

SqlTerm SqlTerms::Text(std::string sql) {
  SqlTerm term;
  term.kind = Kind::kText;
  term.sql = std::move(sql);
  term.may_be_null = false;
  return term;
}

SqlTerm SqlTerms::Truth(std::string sql, std::string where) {
  SqlTerm term;
  term.kind = Kind::kTruth;
  term.where = where.empty() ? sql : std::move(where);
  term.sql = std::move(sql);
  term.may_be_null = false;
  term.high = 1;
  return term;
}

SqlTerms::Term SqlTerms::Column(const Kt_SqlColumn& column) {
  SqlTerm term;
  term.sql = column.sql;
  term.may_be_null = column.may_be_null;
  term.low = column.low;
  term.high = column.high;
  term.least = IsSqlite() ? 1 : column.least;
  term.may_be_nan = column.may_be_nan;
  switch (column.kind) {
    case Kt_SqlKind::kWhole:
      term.kind = Kind::kWhole;
      term.tag = column.is_long ? Tag::kLong : Tag::kDouble;
      if (column.declared.type_number == pg::kBool) term.sql = "(" + term.sql + ")::int4";
      return term;
    case Kt_SqlKind::kReal:
      term.kind = Kind::kReal;
      term.tag = Tag::kDouble;
      return term;
    case Kt_SqlKind::kCurrency:
      term.kind = Kind::kCurrency;
      term.tag = Tag::kDouble;
      return term;
    case Kt_SqlKind::kDate: term.kind = Kind::kDate; return term;
    case Kt_SqlKind::kNothing: return SqlTerm();
    case Kt_SqlKind::kText: break;
    case Kt_SqlKind::kOther:
      return RefuseUnknown("column '" + column.name + "' " + column.why_other);
  }
  term.kind = Kind::kText;
  if (IsSqlite() && !HasTextAffinity(column)) {
    term.sql = "coalesce(" + term.sql + ", NULL)";
  }
  term.is_plain = column.is_plain;
  term.is_ascii = column.is_ascii;
  term.longest = column.longest;
  term.is_bytewise = column.is_bytewise;
  term.collation = column.collation;
  return term;
}

SqlTerms::Term SqlTerms::AsText(const SqlTerm& term) {
  if (term.kind == Kind::kNothing) {
    SqlTerm empty = Text("''");
    return empty;
  }
  if (term.kind != Kind::kText) return Refuse("the text of a number or date");
  SqlTerm text = term;
  if (text.may_be_null) text.sql = IfNull(term.sql, "''");
  text.may_be_null = false;
  return text;
}

void SqlTerms::TakeCollations(SqlTerm& text, const SqlTerm& first, const SqlTerm& second) {
  const bool is_one =
      first.collation == second.collation || first.collation == 0 || second.collation == 0;
  text.is_bytewise = first.is_bytewise && second.is_bytewise && is_one;
  text.collation = first.collation != 0 ? first.collation : second.collation;
  if (!text.is_bytewise) text.collation = 0;
}

SqlTerms::Term SqlTerms::AsTruth(const SqlTerm& term) {
  switch (term.kind) {
    case Kind::kTruth: return term;
    case Kind::kNothing: return Truth("FALSE");
    case Kind::kText: return Refuse("the truth of a text");
    case Kind::kDate: return Refuse("the truth of a date");
    default: break;
  }
  const std::string is_set = "(" + term.sql + " <> 0)";
  return term.may_be_null ? Truth(IsTrue(is_set), is_set) : Truth(is_set);
}

SqlTerms::Term SqlTerms::AsDecision(const SqlTerm& term) {
  const bool has_fraction = term.kind == Kind::kReal || term.kind == Kind::kCurrency;
  if (!has_fraction) return AsTruth(term);
  std::string sql = "(abs(" + term.sql + ") >= 1";
  if (term.may_be_nan) sql += " AND " + term.sql + " <> 'NaN'";
  sql += ")";
  return Truth(IsTrue(sql), sql);
}

SqlTerms::Term SqlTerms::AsNumber(const SqlTerm& term) {
  switch (term.kind) {
    case Kind::kNothing: return Number(Kind::kWhole, "0", Tag::kLong, 0);
    case Kind::kTruth: {
      SqlTerm number =
          Number(Kind::kWhole, "CASE WHEN " + term.sql + " THEN 1 ELSE 0 END", Tag::kLong, 0);
      number.high = 1;
      return number;
    }
    case Kind::kText: return Refuse("a text that is read as a number");
    case Kind::kCurrency: return Refuse("exact arithmetic with amounts");
    case Kind::kDate: return Refuse("arithmetic with dates");
    default: break;
  }
  SqlTerm number = term;
  if (!number.may_be_null) return number;
  number.constant.reset();
  number.sql = IfNull(term.sql, "0");
  number.may_be_null = false;
  number.low = std::min(term.low, 0.0);
  number.high = std::max(term.high, 0.0);
  if (number.tag == Tag::kDouble) number.tag = Tag::kEither;
  return number;
}

// PostgreSQL sends CASE to the server of a foreign table, and fetches all rows for coalesce() and
// IS TRUE.
std::string SqlTerms::IfNull(const std::string& value, const char* otherwise) const {
  if (!IsSent()) return "coalesce(" + value + ", " + otherwise + ")";
  return "(CASE WHEN " + value + " IS NULL THEN " + otherwise + " ELSE " + value + " END)";
}

std::string SqlTerms::IsTrue(const std::string& condition) const {
  if (!IsSent()) return "(" + condition + " IS TRUE)";
  return "(CASE WHEN " + condition + " THEN TRUE ELSE FALSE END)";
}

std::string SqlTerms::IsNotFalse(const std::string& condition) const {
  if (!IsSent()) return "(" + condition + " IS NOT FALSE)";
  return "(CASE WHEN NOT " + condition + " THEN FALSE ELSE TRUE END)";
}

std::string SqlTerms::AsReal(const SqlTerm& number) const {
  if (number.kind == Kind::kReal) return number.sql;
  return IsSqlite() ? "CAST(" + number.sql + " AS REAL)" : "(" + number.sql + ")::float8";
}

std::string SqlTerms::AsWhole(const SqlTerm& number) const {
  return IsSqlite() ? number.sql : "(" + number.sql + ")::int8";
}

SqlTerms::Term SqlTerms::Choose(const SqlTerm& condition, const SqlTerm& yes, const SqlTerm& no) {
  const Term test = AsTruth(condition);
  if (!test) return std::nullopt;
  const auto value = [&](const SqlTerm& term) {
    return term.kind == Kind::kTruth ? *AsNumber(term) : term;
  };
  SqlTerm first = value(yes);
  SqlTerm second = value(no);
  if (first.kind == Kind::kNothing) std::swap(first, second);
  if (first.kind == Kind::kNothing) return SqlTerm();
  const bool is_swapped = value(yes).kind == Kind::kNothing;
  if (second.kind != Kind::kNothing && second.kind != first.kind) {
    return Refuse("a choice between values of two kinds");
  }
  SqlTerm out = first;
  out.constant.reset();
  out.sql = "CASE WHEN " + test->sql + " THEN " + (is_swapped ? second.sql : first.sql) + " ELSE " +
            (is_swapped ? first.sql : second.sql) + " END";
  out.may_be_null = first.may_be_null || second.may_be_null;
  if (second.kind == Kind::kNothing) return out;
  if (first.tag != second.tag) out.tag = Tag::kEither;
  out.low = std::min(first.low, second.low);
  out.high = std::max(first.high, second.high);
  out.least = std::min(first.least, second.least);
  out.may_be_nan = first.may_be_nan || second.may_be_nan;
  out.is_plain = first.is_plain && second.is_plain;
  out.is_ascii = first.is_ascii && second.is_ascii;
  TakeCollations(out, first, second);
  out.longest = std::max(first.longest, second.longest);
  return out;
}

}  // namespace kt::detail
