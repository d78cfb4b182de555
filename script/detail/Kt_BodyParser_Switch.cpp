// SPDX-License-Identifier: MIT
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_ScriptUtil.h"
#include "script/detail/Kt_BodyParser.h"

namespace kt::detail {

namespace {

constexpr Slice kSwitchWord{u"switch", 6};

}  // namespace

// A label at hand.
struct BodyParser::Label {
  Slice word;  // case or default
  kt_long line = 0;
  kt_long at = 0;  // what comes next in the body of the switch
  bool is_default = false;
};

kt_long BodyParser::ParseSwitchHead(Kt_ScriptOp& op, const Slice& expression, kt_long line) {
  if (expression.IsEmpty()) return Fail(kSynNullExpr, &kSwitchWord, line, expression);
  SetExpr(op.GetSwitch()->expression, expression, line);
  return 0;
}

kt_long BodyParser::ParseSwitchBody(Kt_ScriptOp& op, const Slice& body) {
  ++switch_depth_;
  const kt_long code = ParseLabels(*op.GetSwitch(), body);
  --switch_depth_;
  return code;
}

kt_long BodyParser::ParseLabels(Kt_ScriptOpSwitch& op, const Slice& body) {
  Label label;
  Slice early_default;  // empty, or the word of a default label that others may follow
  for (bool after_default = false;; after_default = label.is_default) {
    if (const kt_long code = FindLabel(body, label.at, label)) return code;
    if (label.word.IsEmpty()) return 0;
    if (label.is_default && after_default) {
      return Fail(kSynKeyword, &kSwitchWord, label.line, label.word);
    }
    if (!early_default.IsEmpty()) Warn(Kt_ScriptWarning::kWarnDefaultFirst, early_default);
    early_default = label.is_default ? label.word : Slice();
    Kt_ScriptOpItem* const item = op.items.AddItem(label.is_default ? 1 : 0, label.line);
    if (item == nullptr) return -1;
    const OutlineMark mark(reporter_, OutlineMark::Kind::kLabel, label.word);
    if (const kt_long code = ParseLabelValue(*item, body, label)) return code;
    if (const kt_long code = ParseLabelBody(*item, body, label)) return code;
  }
}

// The next label; its word is empty at the end of the body.
kt_long BodyParser::FindLabel(const Slice& body, kt_long at, Label& label) {
  const Slice rest = body.From(at);
  kt_long error_pos = 0;
  const kt_long token = Kt_ScriptUtil::FindNextToken(rest.text, rest.length, error_pos);
  if (token < 0) {
    return Fail(token, &kSwitchWord, LineOf(rest, error_pos), rest.Part(error_pos, 2));
  }
  label.word = Slice();
  if (token >= rest.length) return 0;
  label.line = LineOf(rest, token);
  const kt_long length = Kt_ExprUtil::FindWordEnd(rest.text + token, rest.length - token);
  label.word = rest.Part(token, length);
  label.at = at + token + length;
  label.is_default = IsKeyword(label.word.text, length, u"default");
  if (!label.is_default && !IsKeyword(label.word.text, length, u"case")) {
    return Fail(kSynKeyword, &kSwitchWord, label.line, label.word);
  }
  WarnOfLabelCase(label.word);
  return 0;
}

kt_long BodyParser::ParseLabelValue(Kt_ScriptOpItem& item, const Slice& body, Label& label) {
  const Slice rest = body.From(label.at);
  kt_long error_pos = 0;
  const kt_long colon = Kt_ScriptUtil::FindColonEnd(rest.text, rest.length, error_pos);
  if (colon == -1) return Fail(kSynLabelMark, &kSwitchWord, label.line, label.word);
  if (colon < 0) return Fail(colon, &kSwitchWord, label.line, rest.Part(error_pos, 1));
  label.at += colon + 1;
  const CleanText value(rest.Part(0, colon), reporter_, &function_name_);
  if (value.Get().IsEmpty() != label.is_default) {
    if (label.is_default) return Fail(kSynExpression, &value.Get(), label.line, value.Get());
    return Fail(kSynNullExpr, &kSwitchWord, label.line, label.word);
  }
  if (!label.is_default) SetExpr(item.expression, value.Get(), label.line);
  return 0;
}

kt_long BodyParser::ParseLabelBody(Kt_ScriptOpItem& item, const Slice& body, Label& label) {
  const Slice rest = body.From(label.at);
  kt_long error_pos = 0;
  const kt_long length = detail::FindCaseToken(rest.text, rest.length, error_pos, depth_);
  if (length < 0) {
    const bool at_end = error_pos >= rest.length;
    return Fail(length, &kSwitchWord, label.line, at_end ? label.word : rest.Part(error_pos, 1));
  }
  label.at += length;
  const Slice statements = rest.Part(0, length).Trimmed();
  return statements.IsEmpty() ? 0 : ParseBody(item.body, statements);
}

}  // namespace kt::detail
