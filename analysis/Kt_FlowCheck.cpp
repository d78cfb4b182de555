// SPDX-License-Identifier: MIT
//
// The ways through functions. What a statement may do next is three bits; those of a body follow
// from those of its statements, from the inside to the outside.
#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "analysis/Kt_Checks.h"
#include "classlib/base/Kt_NativeStack.h"
#include "expr/Kt_ExprNames.h"
#include "script/Kt_ScriptOp.h"

namespace kt::analysis {
namespace {

using Kind = Kt_OutlineNode::Kind;

// What may come after a statement.
struct Ways {
  bool goes_on = true;  // the statement behind it
  bool breaks = false;
  bool continues = false;
};

// Neither names nor calls are in it.
bool IsConstant(const Kt_OutlineNode& expression) {
  for (const Kt_ExprName& name : FindExprNames(expression.text)) {
    if (name.kind != Kt_ExprName::Kind::kLiteral) return false;
  }
  return !expression.text.IsEmpty();
}

bool IsAlwaysTrue(const Kt_OutlineNode& condition) {
  return condition.text.View() == u"1" || condition.text.EqualsNoCase(u"true");
}

class FlowCheck {
 public:
  FlowCheck(const Kt_ScriptOutline& outline, std::size_t file, std::vector<Finding>& findings)
      : outline_(outline), file_(file), findings_(findings) {}

  void Run() {
    EachChild(outline_, nullptr, [&](const Kt_OutlineNode& node) {
      if (node.kind == Kind::kFunction) CheckFunction(node);
    });
  }

 private:
  void Add(FindingCode code, kt_long offset, kt_long length, Kt_WString message) {
    findings_.push_back({code, file_, offset, length, std::move(message)});
  }

  void CheckFunction(const Kt_OutlineNode& function) {
    returns_value_ = false;
    Ways ways;
    std::set<std::u16string> arguments;
    EachChild(outline_, &function, [&](const Kt_OutlineNode& node) {
      if (node.kind == Kind::kScope) ways = WaysOfScope(node);
      if (node.kind != Kind::kArgument || arguments.insert(Folded(node.text)).second) return;
      Add(FindingCode::kDuplicateArgument, node.text_start, node.text.GetLength(),
          Kt_WString(u"the function has another argument '") + node.text + u"'");
    });
    const bool ends_without = ways.goes_on || ways.breaks || ways.continues;
    if (!returns_value_ || !ends_without) return;
    Add(FindingCode::kMissingReturn, function.text_start, function.text.GetLength(),
        Kt_WString(u"'") + function.text +
            u"' returns a value on some ways only; at its end it gives nothing");
  }

  Ways WaysOfScope(const Kt_OutlineNode& scope) {
    Ways all;
    bool is_told = false;
    if (!kt_hasstack()) return all;
    EachChild(outline_, &scope, [&](const Kt_OutlineNode& statement) {
      if (statement.kind != Kind::kStatement) return;
      // A `break` behind a `return` ends a label out of habit.
      if (!all.goes_on && !is_told && statement.code != kScriptBreak) {
        is_told = true;
        Add(FindingCode::kUnreachableCode, statement.start, ShownLength(statement),
            u"this never runs: the statement in front of it leads away");
      }
      const bool went_on = all.goes_on;
      const Ways ways = WaysOf(statement);
      if (!went_on) return;  // it counts only where it is reached
      all.goes_on = ways.goes_on;
      all.breaks = all.breaks || ways.breaks;
      all.continues = all.continues || ways.continues;
    });
    return all;
  }

  static kt_long ShownLength(const Kt_OutlineNode& statement) {
    if (statement.code == kScriptBlock) return 1;
    return std::max(statement.end - statement.start, 1);
  }

  Ways WaysOf(const Kt_OutlineNode& statement) {
    switch (statement.code) {
      case kScriptReturn: return WaysOfReturn(statement);
      case kScriptBreak: return {false, true, false};
      case kScriptContinue: return {false, false, true};
      case kScriptIf: return WaysOfIf(statement);
      case kScriptSwitch: return WaysOfSwitch(statement);
      case kScriptWhile:
      case kScriptFor: return WaysOfLoop(statement);
      case kScriptBlock: return WaysOfBlock(statement);
      default: return {};
    }
  }

  Ways WaysOfReturn(const Kt_OutlineNode& statement) {
    if (statement.next > Index(statement) + 1) returns_value_ = true;
    return {false, false, false};
  }

  // A `continue` ends only the block.
  Ways WaysOfBlock(const Kt_OutlineNode& statement) {
    Ways ways;
    EachChild(outline_, &statement, [&](const Kt_OutlineNode& node) {
      if (node.kind == Kind::kScope) ways = WaysOfScope(node);
    });
    return {ways.goes_on || ways.continues, ways.breaks, false};
  }

  Ways WaysOfIf(const Kt_OutlineNode& statement) {
    Ways all{false, false, false};
    bool has_else = false;
    bool is_first = true;  // a later condition is that of a word of two letters behind `else`
    EachChild(outline_, &statement, [&](const Kt_OutlineNode& branch) {
      Ways ways;
      bool has_condition = false;
      EachChild(outline_, &branch, [&](const Kt_OutlineNode& node) {
        if (node.kind == Kind::kScope) ways = WaysOfScope(node);
        if (node.kind != Kind::kExpression) return;
        has_condition = true;
        if (is_first && IsConstant(node)) WarnOfCondition(node);
      });
      is_first = false;
      if (!has_condition) has_else = true;
      Join(all, ways);
    });
    if (!has_else) all.goes_on = true;
    return all;
  }

  Ways WaysOfLoop(const Kt_OutlineNode& statement) {
    Ways ways;
    bool is_endless = false;
    EachChild(outline_, &statement, [&](const Kt_OutlineNode& node) {
      if (node.kind == Kind::kScope) ways = WaysOfScope(node);
      // The other expressions of a `for` are calls.
      if (node.kind != Kind::kExpression || !IsConstant(node)) return;
      if (IsAlwaysTrue(node)) {
        is_endless = true;
      } else {
        WarnOfCondition(node);
      }
    });
    return {!is_endless || ways.breaks, false, false};
  }

  // From one label the way leads to the next.
  Ways WaysOfSwitch(const Kt_OutlineNode& statement) {
    Ways all{false, false, false};
    bool has_default = false;
    bool falls_out = true;
    std::set<std::u16string> labels;
    EachChild(outline_, &statement, [&](const Kt_OutlineNode& label) {
      if (label.kind != Kind::kLabel) return;
      Ways ways;
      bool has_value = false;
      EachChild(outline_, &label, [&](const Kt_OutlineNode& node) {
        if (node.kind == Kind::kScope) ways = WaysOfScope(node);
        if (node.kind != Kind::kExpression) return;
        has_value = true;
        CheckLabel(node, labels);
      });
      if (!has_value) has_default = true;
      falls_out = ways.goes_on;
      Join(all, ways);
    });
    return {falls_out || all.breaks || !has_default, false, all.continues};
  }

  void CheckLabel(const Kt_OutlineNode& value, std::set<std::u16string>& labels) {
    if (!IsConstant(value)) return;
    std::u16string text(value.text.View());
    if (text.front() == u'\'') text.front() = text.back() = u'"';
    if (labels.insert(text).second) return;
    Add(FindingCode::kDuplicateLabel, value.text_start, value.text.GetLength(),
        u"an earlier label has this value, so this one is never chosen");
  }

  void WarnOfCondition(const Kt_OutlineNode& condition) {
    Add(FindingCode::kConstantCondition, condition.text_start, condition.text.GetLength(),
        u"this condition is always the same");
  }

  static void Join(Ways& all, const Ways& one) {
    all.goes_on = all.goes_on || one.goes_on;
    all.breaks = all.breaks || one.breaks;
    all.continues = all.continues || one.continues;
  }

  std::size_t Index(const Kt_OutlineNode& node) const {
    return static_cast<std::size_t>(&node - outline_.nodes.data());
  }

  const Kt_ScriptOutline& outline_;
  std::size_t file_;
  std::vector<Finding>& findings_;
  bool returns_value_ = false;
};

}  // namespace

void CheckFlow(const Kt_ScriptOutline& outline, std::size_t file, std::vector<Finding>& findings) {
  FlowCheck(outline, file, findings).Run();
}

}  // namespace kt::analysis
