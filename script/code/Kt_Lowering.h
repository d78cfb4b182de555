// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "script/code/Kt_Translator.h"

namespace kt::detail {

inline bool IsName(std::uint16_t operand) { return operand >= CodeOperand::kNameBase; }
inline bool IsConstant(std::uint16_t operand) {
  return operand >= CodeOperand::kConstBase && operand < CodeOperand::kNameBase;
}
inline bool IsTest(CodeOp op) { return op == CodeOp::kTestAnd || op == CodeOp::kTestOr; }

// A compiled expression on its way into the code.
struct Translator::Lowering {
  Lowering(Translator& translator, Kt_Expr& source)
      : translator_(translator), parts_(translator.TakeParts()), expr(source) {}
  Lowering(const Lowering&) = delete;
  Lowering& operator=(const Lowering&) = delete;
  ~Lowering() { translator_.free_parts_.push_back(std::move(parts_)); }

 private:
  Translator& translator_;
  std::unique_ptr<Parts> parts_;

 public:
  Kt_Expr& expr;
  ExprProgram& program = parts_->program;
  std::vector<Place>& names = parts_->names;
  std::vector<KnownCall*>& calls = parts_->calls;
  std::vector<std::uint16_t>& places = parts_->places;
  std::vector<std::uint16_t>& sites = parts_->sites;
  std::uint16_t base = 0;  // register of the first temp
  std::uint16_t want = kNone;
  int want_temp = -1;  // the temp that is to be written to `want`
  bool is_compiled = false;
  bool has_guards = false;
  bool runs_code = false;          // a call may run code of scripts or of the host
  bool wants_plain_value = false;  // what the expression gives is only an operand
  const char* why = nullptr;
  // Members that are used at once: those whose instructions are being lowered, by the numbers of
  // their calls, and where these end.
  std::vector<std::pair<std::size_t, std::size_t>> quicks;  // the call, and which one of the code
  std::size_t quick_end = 0;
  std::size_t lookups_done = 0;  // of those of the program
};

}  // namespace kt::detail
