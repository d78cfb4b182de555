// SPDX-License-Identifier: MIT
#include "script/detail/Kt_SharedFunc.h"

#include "classlib/base/Kt_Memory.h"
#include "script/Kt_ScriptOpItem.h"
#include "script/detail/Kt_BodyParser.h"

namespace kt::detail {

namespace {

void ParseExprs(const Kt_ScriptOpList& ops);

void ParseExpr(Kt_Expr& expr) {
  Kt_WString error;  // whoever evaluates a copy reports it
  if (expr.Parse(error, nullptr) == kErrNoMemory) kt::PassMemoryFailure();
}

template <class Branches>
void ParseBranches(const Branches& branches) {
  for (kt_long at = 0; at < branches.GetCount(); ++at) {
    ParseExpr(branches.GetItem(at)->expression);
    ParseExprs(branches.GetItem(at)->body);
  }
}

void ParseExprsOf(const Kt_ScriptOp& op) {
  if (!op.HasPayload()) return;
  if (op.HasName()) return ParseExpr(op.GetVar()->expression);
  switch (op.opcode) {
    case kScriptBlock: return ParseExprs(*op.GetBlock());
    case kScriptFor:
      ParseExprs(op.GetFor()->init);
      ParseExpr(op.GetFor()->condition);
      ParseExprs(op.GetFor()->step);
      return ParseExprs(op.GetFor()->body);
    case kScriptWhile: ParseExpr(op.GetWhile()->condition); return ParseExprs(op.GetWhile()->body);
    case kScriptSwitch:
      ParseExpr(op.GetSwitch()->expression);
      return ParseBranches(*op.GetSwitch());
    case kScriptIf: return ParseBranches(*op.GetIf());
    default: ParseExpr(op.GetSet()->value); return ParseExpr(op.GetSet()->target);
  }
}

void ParseExprs(const Kt_ScriptOpList& ops) {
  for (kt_long at = 0; at < ops.GetCount(); ++at) ParseExprsOf(*ops.GetItem(at));
}

}  // namespace

void ShareTree(FuncTree& tree, const Kt_WString& text, Span proto, Span body) {
  ParseExprs(tree.body);
  tree.shared = std::make_shared<SharedFunc>();
  tree.shared->text = text;
  tree.shared->proto = proto;
  tree.shared->body = body;
}

std::shared_ptr<FuncTree> ParseAgain(const FuncTree& shared, const Kt_WString& name) {
  const SharedFunc& from = *shared.shared;
  auto tree = std::make_shared<FuncTree>();
  tree->source_name = shared.source_name;
  tree->proto_line = shared.proto_line;
  SyntaxReporter reporter(nullptr, shared.source_name, from.text.View(), 0);
  BodyParser parser(reporter, name);
  const Slice text{from.text.GetText(), from.text.GetLength()};
  parser.ParseProto(tree->args, text.Part(from.proto.start, from.proto.length), tree->proto_line);
  parser.ParseBody(tree->body, text.Part(from.body.start, from.body.length));
  return tree;
}

Kt_Expr& OwnExprs::Of(const Kt_Expr& shared) {
  Own& own = exprs_[&shared];
  if (own.source.GetText() != shared.GetText().GetText()) {
    own.expr.SetExpr(shared.GetSource());
    own.source = shared.GetText();
  }
  return own.expr;
}

}  // namespace kt::detail
