// SPDX-License-Identifier: MIT
#include "connect/sql/Kt_SqlTranslate.h"

#include <algorithm>

#include "connect/sql/detail/Kt_ExprTree.h"
#include "connect/sql/detail/Kt_SqlFunctions.h"
#include "connect/sql/detail/Kt_SqlTerm.h"
#include "dataset/Kt_DatasetCtx.h"
#include "object/Kt_ExprObjInfo.h"

using kt::Operator;
using kt::detail::ExprNode;
using kt::detail::ExprNodeRef;
using kt::detail::SqlTerm;
using kt::detail::SqlTerms;

namespace {

// ---- Names ------------------------------------------------------------------------------------

// What names and calls stand for in a row of the table's dataset: the same question that a row
// expression asks.
class Binder {
 public:
  explicit Binder(const Kt_SqlTable& table)
      : table_(table), context_(nullptr, nullptr, &dataset_, nullptr, nullptr) {
    for (const Kt_SqlColumn& column : table.Columns()) dataset_.AddColumn(column.id, column.type);
    context_.SetDefaultDataset(&dataset_);
  }

  bool Bind(const ExprNode& node, std::vector<std::size_t>& columns, std::string& reason) {
    if (node.kind == ExprNode::Kind::kName && !BindName(node.name, columns, reason)) return false;
    if (node.kind == ExprNode::Kind::kCall && !BindCall(node.name, reason)) return false;
    return std::ranges::all_of(
        node.parts, [&](const ExprNodeRef& part) { return Bind(*part, columns, reason); });
  }

 private:
  bool BindName(const Kt_WString& name, std::vector<std::size_t>& columns, std::string& reason) {
    Kt_ExprObjInfo info;
    (void)context_.GetVarType(name, info);
    const Kt_SqlColumn* const column = table_.Find(name);
    if (info.GetKind() != EXPR_OBJ_COLUMN || column == nullptr) {
      reason = "'" + name.ToUtf8() + "' is no column";
      return false;
    }
    const std::size_t index = table_.IndexOf(*column);
    if (std::ranges::find(columns, index) == columns.end()) columns.push_back(index);
    return true;
  }

  bool BindCall(const Kt_WString& name, std::string& reason) {
    Kt_ExprObjInfo info;
    const int kind = context_.GetMethodType(name, info);
    const bool is_builtin = info.GetKind() == EXPR_OBJ_NONE && kind == kUnknownName;
    if (is_builtin && kt::detail::FindSqlFunction(name) != nullptr) return true;
    reason = name.ToUtf8() + "() is no built-in function";
    return false;
  }

  const Kt_SqlTable& table_;
  Kt_Dataset dataset_;
  Kt_DatasetCtx context_;
};

// ---- Terms ------------------------------------------------------------------------------------

class Translator {
 public:
  Translator(const Kt_SqlTable& table, std::vector<Kt_Variant>& parameters)
      : table_(table), terms_(table, parameters) {}

  SqlTerms::Term Translate(const ExprNode& node) {
    switch (node.kind) {
      case ExprNode::Kind::kConstant: return terms_.Constant(node.value);
      case ExprNode::Kind::kName: return terms_.Column(*table_.Find(node.name));
      case ExprNode::Kind::kCall: return Call(node);
      default: break;
    }
    SqlTerms::Term left = Translate(*node.parts[0]);
    if (!left) return left;
    if (node.kind == ExprNode::Kind::kDecides) return terms_.AsDecision(*left);
    if (node.op == Operator::kNot) return terms_.Not(*left);
    const SqlTerms::Term right = Translate(*node.parts[1]);
    return right ? terms_.Apply(node.op, *left, *right) : right;
  }

  // The condition for the rows that a value keeps; empty for all of them.
  std::optional<std::string> Kept(const SqlTerm& value) {
    switch (value.kind) {
      case SqlTerm::Kind::kTruth: return value.where;
      case SqlTerm::Kind::kText: return terms_.Refuse("a text, which may say \"false\"");
      case SqlTerm::Kind::kWhole:
      case SqlTerm::Kind::kReal: break;
      default: return std::string();
    }
    if (value.tag == SqlTerm::Tag::kDouble) return std::string();
    if (value.tag == SqlTerm::Tag::kEither) {
      return terms_.RefuseUnknown("a number that may be a long or a double");
    }
    return terms_.IsNotFalse("(" + value.sql + " <> 0)");
  }

  SqlTerms& Terms() { return terms_; }

 private:
  SqlTerms::Term Call(const ExprNode& node) {
    const kt::detail::SqlFunction* const function = kt::detail::FindSqlFunction(node.name);
    if (function->make == nullptr) {
      return terms_.Refuse(node.name.ToUtf8() + "(): " + function->becomes);
    }
    std::vector<SqlTerm> args;
    for (const ExprNodeRef& part : node.parts) {
      SqlTerms::Term term = Translate(*part);
      if (!term) return term;
      args.push_back(std::move(*term));
    }
    return function->make(terms_, args);
  }

  const Kt_SqlTable& table_;
  SqlTerms terms_;
};

// ---- Conditions -------------------------------------------------------------------------------

void CollectConditions(const ExprNodeRef& node, std::vector<ExprNodeRef>& conditions) {
  const bool is_and = node->kind == ExprNode::Kind::kOperator && node->op == Operator::kAnd;
  if (!is_and) return conditions.push_back(node);
  for (const ExprNodeRef& part : node->parts) CollectConditions(part, conditions);
}

// Whether a text may come out of it.
bool MayBeText(const ExprNode& node, const Kt_SqlTable& table) {
  if (node.kind == ExprNode::Kind::kConstant) return node.value.IsString();
  if (node.kind == ExprNode::Kind::kName) {
    const Kt_SqlKind kind = table.Find(node.name)->kind;
    return kind == Kt_SqlKind::kText || kind == Kt_SqlKind::kOther;
  }
  return std::ranges::any_of(node.parts,
                             [&](const ExprNodeRef& part) { return MayBeText(*part, table); });
}

// Whether a condition may be left out for some rows without anybody noticing: no text grows in it,
// and its functions have no errors to report.
bool CannotFail(const ExprNode& node, const Kt_SqlTable& table) {
  static constexpr std::u16string_view kHarmless[] = {
      u"abs", u"acos",  u"asin", u"atan",   u"atan2", u"ceil",    u"cos",     u"exp", u"floor",
      u"iif", u"left",  u"log",  u"length", u"mid",   u"indexOf", u"pow",     u"pos", u"round",
      u"sin", u"right", u"sqrt", u"tan",    u"trim",  u"isinf",   u"truncate"};
  if (node.kind == ExprNode::Kind::kOperator && node.op == Operator::kAdd &&
      MayBeText(node, table)) {
    return false;
  }
  if (node.kind == ExprNode::Kind::kCall &&
      std::ranges::none_of(kHarmless, [&](auto name) { return node.name.EqualsNoCase(name); })) {
    return false;
  }
  return std::ranges::all_of(node.parts,
                             [&](const ExprNodeRef& part) { return CannotFail(*part, table); });
}

}  // namespace

Kt_SqlExpr::Kt_SqlExpr(const Kt_WString& text) : text_(text) {}
Kt_SqlExpr::~Kt_SqlExpr() = default;

bool Kt_SqlExpr::Bind(const Kt_SqlTable& table, std::string& reason) {
  Kt_Expr expr;
  expr.SetExpr(text_);
  const kt::ExprProgram program = kt::ExprProgram::Of(expr);
  tree_ = program.IsEmpty() ? nullptr : kt::detail::MakeExprTree(program);
  if (tree_ == nullptr) {
    reason = "it is more than operators, names and calls";
    return false;
  }
  Binder binder(table);
  return binder.Bind(*tree_, columns_, reason);
}

Kt_SqlExpr::Filter Kt_SqlExpr::ToFilter(const Kt_SqlTable& table,
                                        std::vector<Kt_Variant>& parameters) const {
  std::vector<ExprNodeRef> conditions;
  CollectConditions(tree_, conditions);
  const bool is_list = conditions.size() > 1;
  Filter filter;
  filter.is_whole = true;
  bool may_skip = true;  // what goes may be asked before what stays
  for (const ExprNodeRef& condition : conditions) {
    const std::size_t known_parameters = parameters.size();
    Translator translator(table, parameters);
    SqlTerms::Term term = translator.Translate(*condition);
    if (term && is_list) term = translator.Terms().AsTruth(*term);
    std::optional<std::string> kept;
    if (term) kept = translator.Kept(*term);
    if (!kept || !may_skip) {
      parameters.resize(known_parameters);
      filter.is_whole = false;
      filter.may_learn = filter.may_learn || translator.Terms().MayLearn();
      filter.reasons.push_back(kept ? "it stands after a condition that may fail"
                                    : translator.Terms().Reason());
      may_skip = may_skip && CannotFail(*condition, table);
    } else if (!kept->empty()) {
      filter.where += (filter.where.empty() ? "" : " AND ") + *kept;
    }
  }
  return filter;
}

namespace {

// The cells of a column of that type, as far as they are the values without a change.
bool TakeTerm(SqlTerms& terms, const SqlTerm& value, Kt_SqlColumn& column) {
  const bool is_number = value.kind == SqlTerm::Kind::kWhole || value.kind == SqlTerm::Kind::kReal;
  const bool is_long = value.kind == SqlTerm::Kind::kWhole && value.tag == SqlTerm::Tag::kLong;
  column.sql = "(" + value.sql + ")";
  column.may_be_null = value.may_be_null;
  column.has_exact_range = column.has_text_range = true;
  column.low = value.low;
  column.high = value.high;
  column.least = value.least;
  column.may_be_nan = value.may_be_nan;
  column.is_plain = value.is_plain;
  column.is_ascii = value.is_ascii;
  column.longest = value.longest;
  column.is_bytewise = value.is_bytewise;
  column.collation = value.collation;
  if (column.type == Kt_ColumnType::kDouble && is_number) {
    column.kind = Kt_SqlKind::kReal;
    column.sql = "(" + terms.AsReal(value) + ")";
  } else if (column.type == Kt_ColumnType::kLong && is_long) {
    column.kind = Kt_SqlKind::kWhole;
    column.is_long = true;
  } else if (column.type == Kt_ColumnType::kString && value.kind == SqlTerm::Kind::kText) {
    column.kind = Kt_SqlKind::kText;
  } else {
    return false;
  }
  return true;
}

}  // namespace

void Kt_SqlExpr::AddTo(Kt_SqlTable& table, const Kt_WString& id, Kt_ColumnType type) const {
  Kt_SqlColumn column;
  column.name = id.ToUtf8();
  column.id = id;
  column.is_computed = column.has_type = true;
  column.type = type;
  column.inputs = columns_;
  const std::size_t known_parameters = table.Parameters().size();
  Translator translator(table, table.Parameters());
  SqlTerms::Term term = translator.Translate(*tree_);
  // In a GROUP BY a constant may be taken for the number of a column.
  if (columns_.empty()) term = translator.Terms().Refuse("it reads no column");
  if (term && term->kind == SqlTerm::Kind::kTruth) term = translator.Terms().AsNumber(*term);
  if (!term || !TakeTerm(translator.Terms(), *term, column)) {
    table.Parameters().resize(known_parameters);
    column.kind = Kt_SqlKind::kOther;
    const std::string& reason = translator.Terms().Reason();
    column.why_other = "is computed here: " + (reason.empty() ? "its type" : reason);
  }
  table.AddComputed(std::move(column));
}

std::string Kt_SqlExpr::ToValue(const Kt_SqlTable& table, std::vector<Kt_Variant>& parameters,
                                std::string& reason) const {
  const std::size_t known_parameters = parameters.size();
  Translator translator(table, parameters);
  SqlTerms::Term term = translator.Translate(*tree_);
  if (term && term->kind == SqlTerm::Kind::kTruth) term = translator.Terms().AsNumber(*term);
  if (term) return term->sql;
  parameters.resize(known_parameters);
  reason = translator.Terms().Reason();
  return {};
}
