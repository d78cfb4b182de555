// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_RowBlock.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "classlib/value/Kt_VarInline.h"
#include "dataset/rows/Kt_RowLoop.h"

namespace kt::detail {

namespace {

using CodeOperand::kConstBase;
using CodeOperand::kNameBase;

bool IsTemp(std::uint16_t operand) { return operand < kConstBase; }
bool IsConst(std::uint16_t operand) { return operand >= kConstBase && operand < kNameBase; }

template <class Op>
void Longs(const kt_long* left, const kt_long* right, std::size_t count, kt_long* out,
           std::uint8_t* odd, Op op) {
  for (std::size_t at = 0; at < count; ++at) {
    const std::int64_t value = op(std::int64_t{left[at]}, std::int64_t{right[at]});
    out[at] = static_cast<kt_long>(value);
    odd[at] |= static_cast<std::uint8_t>(value != out[at]);
  }
}

void Rests(const kt_long* left, const kt_long* right, std::size_t count, kt_long* out,
           std::uint8_t* odd) {
  for (std::size_t at = 0; at < count; ++at) {
    const bool has_none = right[at] == 0;
    odd[at] |= static_cast<std::uint8_t>(has_none);
    out[at] = static_cast<kt_long>(std::int64_t{left[at]} % (has_none ? 1 : right[at]));
  }
}

template <class Op, class A, class B>
void Doubles(const A* left, const B* right, std::size_t count, double* out) {
  for (std::size_t at = 0; at < count; ++at) {
    out[at] = Op::Doubles(static_cast<double>(left[at]), static_cast<double>(right[at]));
  }
}

template <class Left, class Right>
void Relate(CodeOp op, const Left* left, const Right* right, std::size_t count, kt_long* out) {
  const auto each = [&](auto holds) {
    for (std::size_t at = 0; at < count; ++at) out[at] = holds(left[at], right[at]) ? 1 : 0;
  };
  // Longs compare as longs; with a double on either side, both as doubles, which holds every long.
  switch (op) {
    case CodeOp::kEqual: return each([](auto a, auto b) { return a == b; });
    case CodeOp::kNotEqual: return each([](auto a, auto b) { return !(a == b); });
    case CodeOp::kGreater: return each([](auto a, auto b) { return a > b; });
    case CodeOp::kGreaterEqual: return each([](auto a, auto b) { return a >= b; });
    case CodeOp::kLess: return each([](auto a, auto b) { return a < b; });
    default: return each([](auto a, auto b) { return a <= b; });
  }
}

// As IsConditionTrue: a double is cut first, NaN is 0.
bool IsWholeTrue(kt_long value) { return value != 0; }
bool IsWholeTrue(double value) { return std::fabs(value) >= 1.0; }

}  // namespace

void RowBlock::Lane::Own(bool as_long) {
  is_known = true;
  is_long = as_long;
  if (as_long) {
    own_longs.resize(kRows);
    longs = own_longs.data();
  } else {
    own_doubles.resize(kRows);
    doubles = own_doubles.data();
  }
}

// Plan --------------------------------------------------------------------------------------------

std::unique_ptr<RowBlock> RowBlock::Make(const ExprProgram& program,
                                         const std::vector<RowName>& names) {
  std::unique_ptr<RowBlock> block(new RowBlock(program));
  if (!block->Plan(names)) return nullptr;
  return block;
}

bool RowBlock::Plan(const std::vector<RowName>& names) {
  if (!std::all_of(names.begin(), names.end(), [&](const RowName& n) { return PlanName(n); })) {
    return false;
  }
  for (const Kt_Variant& value : program_.consts) {
    Lane& lane = consts_.emplace_back();
    // The empty left side of a sign is the long 0 in arithmetic.
    if (!value.IsLong() && !value.IsDouble() && !value.IsEmpty()) continue;
    lane.Own(!value.IsDouble());
    std::fill(lane.own_longs.begin(), lane.own_longs.end(), value.ToInteger());
    std::fill(lane.own_doubles.begin(), lane.own_doubles.end(), value.ToDouble());
  }
  temps_.resize(program_.temp_count);
  for (std::size_t at = 0; at < program_.instrs.size(); ++at) {
    if (!PlanInstr(at)) return false;
  }
  return result_ != nullptr;
}

bool RowBlock::PlanName(const RowName& name) {
  if (name.kind == RowName::Kind::kKeyword) return false;
  NameLane& lane = names_.emplace_back();
  lane.name = name;
  lane.is_text = name.kind == RowName::Kind::kCells && name.cells->Type() == Kt_ColumnType::kString;
  if (lane.is_text) return true;
  if (name.kind == RowName::Kind::kCells) return false;
  lane.Own(name.kind != RowName::Kind::kDoubles);
  return true;
}

RowBlock::Lane* RowBlock::LaneOf(std::uint16_t operand) {
  if (IsTemp(operand)) return &temps_[operand];
  if (IsConst(operand)) return &consts_[operand - kConstBase];
  return &names_[operand - kNameBase];
}

bool RowBlock::IsNumber(std::uint16_t operand) { return LaneOf(operand)->is_known; }

bool RowBlock::IsTextName(std::uint16_t operand) const {
  return operand >= kNameBase && names_[operand - kNameBase].is_text;
}

bool RowBlock::PlanTextTest(std::size_t at) {
  const CodeInstr& in = program_.instrs[at];
  const bool is_left = IsTextName(in.a);
  const std::uint16_t text = is_left ? in.a : in.b;
  const std::uint16_t other = is_left ? in.b : in.a;
  if (!IsRelation(in.op) || !IsTextName(text) || !IsConst(other)) return false;
  text_tests_.push_back({at, static_cast<std::size_t>(text - kNameBase), other, is_left, {}});
  temps_[in.dst].Own(true);
  return true;
}

bool RowBlock::PlanInstr(std::size_t at) {
  const CodeInstr& in = program_.instrs[at];
  const auto is_empty_const = [&](std::uint16_t operand) {
    return IsConst(operand) && program_.consts[operand - kConstBase].IsEmpty();
  };
  switch (in.op) {
    case CodeOp::kAdd:
    case CodeOp::kSub:
    case CodeOp::kMul:
    case CodeOp::kDiv:
    case CodeOp::kMod: {
      if (!IsNumber(in.a) || !IsNumber(in.b)) return false;
      const bool are_long = LaneOf(in.a)->is_long && LaneOf(in.b)->is_long;
      temps_[in.dst].Own(are_long && in.op != CodeOp::kDiv);
      return true;
    }
    case CodeOp::kNot:
      if (!IsNumber(in.b)) return false;
      temps_[in.dst].Own(true);
      return true;
    case CodeOp::kAnd:
    case CodeOp::kOr:
      if (!IsNumber(in.a) || !IsNumber(in.b)) return false;
      temps_[in.dst].Own(true);
      return true;
    case CodeOp::kTestAnd:
    case CodeOp::kTestOr:
      if (!IsNumber(in.a)) return false;
      temps_[in.dst].Own(LaneOf(in.a)->is_long);
      return true;
    case CodeOp::kReturn: result_ = LaneOf(in.a); return IsNumber(in.a) && !is_empty_const(in.a);
    default: break;
  }
  if (!IsRelation(in.op)) return false;
  if (!IsNumber(in.a) || !IsNumber(in.b)) return PlanTextTest(at);
  if (is_empty_const(in.a) || is_empty_const(in.b)) return false;
  temps_[in.dst].Own(true);
  return true;
}

void RowBlock::Rebind(const std::vector<RowName>& names) {
  first_ = end_ = 0;
  for (std::size_t at = 0; at < names.size(); ++at) names_[at].name.cells = names[at].cells;
  for (TextTest& test : text_tests_) test.known.clear();
}

// Rows --------------------------------------------------------------------------------------------

void RowBlock::Fill(const RowLoop& loop, kt_long row) {
  first_ = row & ~(kRows - 1);
  end_ = std::min(first_ + kRows, loop.RowCount());
  count_ = static_cast<std::size_t>(end_ - first_);
  odd_.fill(0);
  Load(loop);
  settled_.clear();
  for (std::size_t at = 0; at < program_.instrs.size(); ++at) RunInstr(at);
}

RowNumbers RowBlock::Numbers(std::size_t from, std::size_t to) const {
  RowNumbers numbers;
  numbers.count = static_cast<kt_long>(to - from);
  numbers.longs = result_->is_long ? result_->longs + from : nullptr;
  numbers.doubles = result_->is_long ? nullptr : result_->doubles + from;
  return numbers;
}

RowNumbers RowBlock::NumbersFrom(kt_long row) const {
  const auto from = static_cast<std::size_t>(row - first_);
  std::size_t to = from;
  while (to < count_ && odd_[to] == 0) ++to;
  return Numbers(from, to);
}

RowNumbers RowBlock::NumbersTo(kt_long row) const {
  const auto to = static_cast<std::size_t>(row - first_) + 1;
  std::size_t from = to;
  while (from > 0 && odd_[from - 1] == 0) --from;
  return Numbers(from, to);
}

void RowBlock::Load(const RowLoop& loop) {
  Kt_RowReader(loop.GetDataset()).GetRecords(first_, end_ - first_, records_.data());
  is_dense_ = records_[0] != Kt_RowReader::kNoRecord;
  for (std::size_t at = 0; at < count_; ++at) {
    is_dense_ = is_dense_ && records_[at] == records_[0] + at;
    if (records_[at] != Kt_RowReader::kNoRecord) continue;
    odd_[at] = 1;
    records_[at] = 0;
  }
  for (NameLane& lane : names_) LoadName(lane);
}

// Records that follow one another are read where they are.
void RowBlock::LoadName(NameLane& lane) {
  const Kt_Column* const column = lane.name.cells;
  if (lane.name.kind == RowName::Kind::kRow) {
    std::iota(lane.own_longs.begin(), lane.own_longs.end(), first_);
    return;
  }
  for (std::size_t at = 0; at < count_ && column->NullCount() != 0; ++at) {
    odd_[at] |= static_cast<std::uint8_t>(column->IsNull(records_[at]));
  }
  if (lane.name.kind == RowName::Kind::kLongs) {
    const kt_long* const cells = column->Cells<Kt_Column::Longs>().data();
    lane.longs = Gathered(cells, lane.own_longs.data());
  } else if (lane.name.kind == RowName::Kind::kDoubles) {
    const double* const cells = column->Cells<Kt_Column::Doubles>().data();
    lane.doubles = Gathered(cells, lane.own_doubles.data());
  }
}

template <class T>
const T* RowBlock::Gathered(const T* cells, T* own) const {
  if (is_dense_) return cells + records_[0];
  for (std::size_t at = 0; at < count_; ++at) own[at] = cells[records_[at]];
  return own;
}

void RowBlock::RunInstr(std::size_t at) {
  Land(at);
  const CodeInstr& in = program_.instrs[at];
  switch (in.op) {
    case CodeOp::kAdd:
    case CodeOp::kSub:
    case CodeOp::kMul:
    case CodeOp::kDiv:
    case CodeOp::kMod: return RunArithmetic(in);
    case CodeOp::kAnd:
    case CodeOp::kOr:
    case CodeOp::kNot: return RunLogic(in);
    case CodeOp::kTestAnd:
    case CodeOp::kTestOr: return RunTest(in);
    case CodeOp::kReturn: return;
    default: break;
  }
  for (TextTest& test : text_tests_) {
    if (test.instr == at) return RunTextTest(test);
  }
  RunRelation(in);
}

void RowBlock::RunArithmetic(const CodeInstr& in) {
  const Lane& left = *LaneOf(in.a);
  const Lane& right = *LaneOf(in.b);
  Lane& out = temps_[in.dst];
  out.Own(left.is_long && right.is_long && in.op != CodeOp::kDiv);
  if (out.is_long) {
    kt_long* const to = out.own_longs.data();
    switch (in.op) {
      case CodeOp::kAdd:
        return Longs(left.longs, right.longs, count_, to, odd_.data(), std::plus<>());
      case CodeOp::kSub:
        return Longs(left.longs, right.longs, count_, to, odd_.data(), std::minus<>());
      case CodeOp::kMul:
        return Longs(left.longs, right.longs, count_, to, odd_.data(), std::multiplies<>());
      default: return Rests(left.longs, right.longs, count_, to, odd_.data());
    }
  }
  double* const to = out.own_doubles.data();
  const auto run = [&]<class Op>(Op) {
    if (left.is_long && right.is_long) return Doubles<Op>(left.longs, right.longs, count_, to);
    if (left.is_long) return Doubles<Op>(left.longs, right.doubles, count_, to);
    if (right.is_long) return Doubles<Op>(left.doubles, right.longs, count_, to);
    Doubles<Op>(left.doubles, right.doubles, count_, to);
  };
  switch (in.op) {
    case CodeOp::kAdd: return run(AddOp());
    case CodeOp::kSub: return run(SubOp());
    case CodeOp::kMul: return run(MulOp());
    case CodeOp::kDiv: return run(DivOp());
    default: return run(ModOp());
  }
}

void RowBlock::RunRelation(const CodeInstr& in) {
  const Lane& left = *LaneOf(in.a);
  const Lane& right = *LaneOf(in.b);
  temps_[in.dst].Own(true);
  kt_long* const to = temps_[in.dst].own_longs.data();
  if (left.is_long && right.is_long) return Relate(in.op, left.longs, right.longs, count_, to);
  if (left.is_long) return Relate(in.op, left.longs, right.doubles, count_, to);
  if (right.is_long) return Relate(in.op, left.doubles, right.longs, count_, to);
  Relate(in.op, left.doubles, right.doubles, count_, to);
}

void RowBlock::RunTextTest(TextTest& test) {
  const CodeInstr& in = program_.instrs[test.instr];
  const auto& texts = names_[test.name].name.cells->Cells<Kt_Column::Texts>();
  const Kt_Variant& constant = program_.consts[test.constant - kConstBase];
  temps_[in.dst].Own(true);
  kt_long* const to = temps_[in.dst].own_longs.data();
  test.known.resize(texts.dictionary.Count(), -1);
  for (std::size_t at = 0; at < count_; ++at) {
    const std::uint32_t code = texts.codes[records_[at]];
    std::int8_t& known = test.known[code];
    if (known < 0) {
      const Kt_Variant text(texts.dictionary.Text(code));
      Kt_Variant holds;
      (void)Compute(OperatorOf(in.op), test.text_is_left ? text : constant,
                    test.text_is_left ? constant : text, holds);
      known = static_cast<std::int8_t>(holds.AsLong());
    }
    to[at] = known;
  }
}

// && and || ---------------------------------------------------------------------------------------

RowBlock::Settled* RowBlock::FindSettled(std::uint16_t temp) {
  for (Settled& settled : settled_) {
    if (settled.temp == temp) return &settled;
  }
  return nullptr;
}

// Where the right sides end, their values are everybody's again.
void RowBlock::Land(std::size_t at) {
  std::erase_if(settled_, [&](const Settled& settled) { return settled.landing <= at; });
}

void RowBlock::RunTest(const CodeInstr& in) {
  const Lane& left = *LaneOf(in.a);
  Settled* settled = FindSettled(in.dst);
  if (settled == nullptr) {
    settled = &settled_.emplace_back();
    settled->temp = in.dst;
    settled->landing = static_cast<std::size_t>(in.extra);
    settled->value.fill(-1);
  }
  const bool settles = in.op == CodeOp::kTestOr;
  const auto judge = [&](const auto* from, auto* to) {
    for (std::size_t at = 0; at < count_; ++at) {
      if (settled->value[at] < 0 && IsWholeTrue(from[at]) == settles) {
        settled->value[at] = settles ? 1 : 0;
      }
      to[at] = from[at];
    }
  };
  Lane& out = temps_[in.dst];
  out.Own(left.is_long);
  if (left.is_long) {
    judge(left.longs, out.own_longs.data());
  } else {
    judge(left.doubles, out.own_doubles.data());
  }
}

void RowBlock::RunLogic(const CodeInstr& in) {
  const auto is_true = [](const Lane& lane, std::size_t at) {
    return lane.is_long ? lane.longs[at] != 0 : lane.doubles[at] != 0;
  };
  const Lane& left = *LaneOf(in.a);
  const Lane& right = *LaneOf(in.b);
  Lane& out = temps_[in.dst];  // may be the left side, of doubles
  out.own_longs.resize(kRows);
  kt_long* const to = out.own_longs.data();
  const Settled* const settled = FindSettled(in.dst);
  for (std::size_t at = 0; at < count_; ++at) {
    const bool second = is_true(right, at);
    bool value = !second;
    if (in.op == CodeOp::kAnd) value = is_true(left, at) && second;
    if (in.op == CodeOp::kOr) value = is_true(left, at) || second;
    to[at] = value ? 1 : 0;
  }
  out.Own(true);
  if (settled == nullptr) return;
  for (std::size_t at = 0; at < count_; ++at) {
    if (settled->value[at] >= 0) to[at] = settled->value[at];
  }
}

}  // namespace kt::detail
