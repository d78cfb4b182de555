// SPDX-License-Identifier: MIT
#include "connect/sql/detail/Kt_ExprTree.h"

namespace kt::detail {
namespace {

class Maker {
 public:
  explicit Maker(const ExprProgram& program) : program_(program), temps_(program.temp_count) {}

  ExprNodeRef Make() {
    for (std::size_t at = 0; at < program_.instrs.size(); ++at) {
      Meet(at);
      const CodeInstr& in = program_.instrs[at];
      if (in.op == CodeOp::kReturn) return Read(in.a);
      if (!Step(in)) return nullptr;
    }
    return nullptr;
  }

 private:
  // A way that may have been left: unless `condition` decides, the value in the temp is what the
  // instructions up to `target` put there.
  struct Jump {
    Operator op;  // kAnd or kOr
    ExprNodeRef condition;
    std::uint16_t temp;
    std::size_t target;
  };

  static ExprNodeRef OperatorNode(Operator op, std::vector<ExprNodeRef> parts) {
    for (const ExprNodeRef& part : parts) {
      if (part == nullptr) return nullptr;
    }
    auto node = std::make_shared<ExprNode>();
    node->kind = ExprNode::Kind::kOperator;
    node->op = op;
    node->parts = std::move(parts);
    return node;
  }

  static bool IsLogic(const ExprNodeRef& node) {
    return node != nullptr && node->kind == ExprNode::Kind::kOperator &&
           (node->op == Operator::kAnd || node->op == Operator::kOr);
  }

  // Operators that give 1 or 0.
  static bool IsTruth(const ExprNodeRef& node) {
    return node != nullptr && node->kind == ExprNode::Kind::kOperator &&
           (IsRelation(node->op) || node->op == Operator::kNot || IsLogic(node));
  }

  static ExprNodeRef Decides(const ExprNodeRef& operand) {
    if (operand == nullptr || IsTruth(operand)) return operand;
    auto node = std::make_shared<ExprNode>();
    node->kind = ExprNode::Kind::kDecides;
    node->parts = {operand};
    return node;
  }

  // Whether `value` is a chain of one operator that begins with `condition`, which is 0 or 1: it
  // decides there already.
  static bool BeginsWith(const ExprNodeRef& value, Operator op, const ExprNodeRef& condition) {
    if (!IsTruth(condition)) return false;
    ExprNodeRef node = value;
    while (node != condition && IsLogic(node) && node->op == op) node = node->parts[0];
    return node == condition;
  }

  // The jumps that end here, the last one first: it lies inside of those before.
  void Meet(std::size_t at) {
    while (!jumps_.empty() && jumps_.back().target == at) {
      const Jump& jump = jumps_.back();
      ExprNodeRef& value = temps_[jump.temp];
      const bool is_same =
          IsLogic(value) && value->op == jump.op && value->parts[0] == jump.condition;
      if (!IsLogic(value)) {
        value = nullptr;  // only what is 0 or 1 already may be an operand in its own place
      } else if (is_same && jump.op == Operator::kAnd) {
        value = OperatorNode(jump.op, {Decides(jump.condition), value->parts[1]});
      } else if (!is_same && !BeginsWith(value, jump.op, jump.condition)) {
        value = OperatorNode(jump.op, {Decides(jump.condition), value});
      }
      jumps_.pop_back();
    }
  }

  ExprNodeRef Read(std::uint16_t operand) const {
    auto node = std::make_shared<ExprNode>();
    if (operand >= CodeOperand::kNameBase) {
      node->kind = ExprNode::Kind::kName;
      node->name = program_.names[operand - CodeOperand::kNameBase];
    } else if (operand >= CodeOperand::kConstBase) {
      node->value = program_.consts[operand - CodeOperand::kConstBase];
    } else {
      return temps_[operand];
    }
    return node;
  }

  bool Step(const CodeInstr& in) {
    switch (in.op) {
      case CodeOp::kMove: temps_[in.dst] = Read(in.a); break;
      case CodeOp::kTestAnd:
      case CodeOp::kTestOr:
        temps_[in.dst] = Read(in.a);
        jumps_.push_back({in.op == CodeOp::kTestAnd ? Operator::kAnd : Operator::kOr,
                          temps_[in.dst], in.dst, static_cast<std::size_t>(in.extra)});
        break;
      case CodeOp::kCall: temps_[in.dst] = CallNode(in); break;
      case CodeOp::kNot: temps_[in.dst] = OperatorNode(Operator::kNot, {Read(in.b)}); break;
      default:
        if (!IsOperator(in.op)) return false;
        temps_[in.dst] = OperatorNode(OperatorOf(in.op), {Read(in.a), Read(in.b)});
    }
    return temps_[in.dst] != nullptr;
  }

  ExprNodeRef CallNode(const CodeInstr& in) const {
    auto node = std::make_shared<ExprNode>();
    node->kind = ExprNode::Kind::kCall;
    node->name = program_.calls[static_cast<std::size_t>(in.extra)];
    for (std::size_t at = in.a; at < std::size_t{in.a} + in.b; ++at) {
      if (temps_[at] == nullptr) return nullptr;
      node->parts.push_back(temps_[at]);
    }
    return node;
  }

  const ExprProgram& program_;
  std::vector<ExprNodeRef> temps_;
  std::vector<Jump> jumps_;
};

}  // namespace

ExprNodeRef MakeExprTree(const ExprProgram& program) { return Maker(program).Make(); }

}  // namespace kt::detail
