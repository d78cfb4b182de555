// SPDX-License-Identifier: MIT
//
// `s = s + a + b` in time of a and b.
//
// Computed as it stands, the first + copies s, and a loop over it is quadratic. Joining texts is
// associative, so the code is changed: the first + keeps the text that it read (which copies
// nothing) and goes on with the text of `a` alone, and the others append to that. When all has been
// computed the statement appends the result to s in place, as `s += a + b` does, provided that s
// still has the text that was read; otherwise it joins the two. Until then s is as it was: for what
// `b` calls, for other names that share the text, and when anything fails.
#include "script/detail/Kt_ExprCode.h"

namespace kt::detail {

namespace {

// Whether an instruction other than a chained + reads a temp.
bool ReadsTemp(const CodeInstr& in, std::uint16_t temp) {
  if (in.op == CodeOp::kCall) return in.a <= temp && temp < in.a + in.b;
  return in.a == temp || in.b == temp;
}

bool IsJump(const CodeInstr& in) { return in.op == CodeOp::kTestAnd || in.op == CodeOp::kTestOr; }

}  // namespace

// Whether the + at `at` is always run, and what it gives is only added to until it is the result.
bool ExprCode::IsAppendAt(std::size_t at) const {
  const std::vector<CodeInstr>& instrs = program_.instrs;
  for (std::size_t before = 0; before < at; ++before) {
    const CodeInstr& in = instrs[before];
    if (IsJump(in) && in.extra > static_cast<std::int32_t>(at)) return false;
  }
  std::uint16_t sum = instrs[at].dst;
  for (std::size_t after = at + 1; after < instrs.size(); ++after) {
    const CodeInstr& in = instrs[after];
    if (in.op == CodeOp::kReturn) return in.a == sum;
    if (in.op == CodeOp::kAdd && in.a == sum && in.b != sum) {
      sum = in.dst;
    } else if (in.dst == sum || ReadsTemp(in, sum)) {
      return false;
    }
  }
  return false;
}

void ExprCode::FindAppend(Kt_Symbol name) {
  appends_ = Appends::kNo;
  for (std::size_t at = 0; at < program_.instrs.size(); ++at) {
    const CodeInstr& in = program_.instrs[at];
    if (in.op != CodeOp::kAdd || in.a < CodeOperand::kNameBase) continue;
    if (vars_[in.a - CodeOperand::kNameBase].symbol != name || !IsAppendAt(at)) continue;
    auto appending = std::make_unique<ExprCode>();
    appending->program_ = program_;
    appending->program_.instrs[at].op = CodeOp::kAppend;
    appending->vars_ = vars_;
    appending->calls_ = calls_;
    appending_ = std::move(appending);
    appends_ = Appends::kYes;
    return;
  }
}

}  // namespace kt::detail
