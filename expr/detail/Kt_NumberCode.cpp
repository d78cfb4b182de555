// SPDX-License-Identifier: MIT
//
// Translation of a compiled expression into number code. Instructions are taken in order, each with
// what is known of its operands; whatever is more than numbers gives up.
//
// Why doubles are enough for longs: the sum, difference and product of two longs are the same
// number whether they are computed in whole numbers and then turned into a double where they do not
// fit, or computed as doubles at once. Two things get lost, and are looked after: the product of
// two longs is never -0 (LongZero), and a sum that may have left the range of longs is one or the
// other (Kind::kNumber): nobody may ask for its kind, and a product with it that comes out as -0 is
// left to the general form (NumberZero). So the range of every long is followed.
#include "expr/detail/Kt_NumberCode.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>

#include "classlib/base/Kt_WorkMeter.h"
#include "classlib/value/Kt_VarInline.h"
#include "object/Kt_ExprObject.h"

namespace kt::detail {

namespace {

constexpr double kLeastLong = std::numeric_limits<kt_long>::min();
constexpr double kGreatestLong = std::numeric_limits<kt_long>::max();
// Long expressions cost by their length; others are paid for with what evaluates them.
constexpr std::size_t kManyInstrs = 64;
constexpr std::int64_t kUnitsPerInstr = 64;

double ModDoubles(double left, double right) { return ModOp::Doubles(left, right); }
double ModLongs(double left, double right) {
  Kt_Variant result;
  ModOp::Longs(static_cast<kt_long>(left), static_cast<kt_long>(right), result);
  return result.ToDouble();
}

// What is known of a value. The bounds are those of a long.
struct Known {
  using Kind = NumberCode::Kind;

  Kind kind = Kind::kDouble;
  double least = kLeastLong;
  double greatest = kGreatestLong;

  bool IsLong() const { return kind == Kind::kLong; }
  bool IsDouble() const { return kind == Kind::kDouble; }
  bool IsTruth() const { return IsLong() && least >= 0 && greatest <= 1; }
};
constexpr Known LongValue(double least, double greatest) {
  return {Known::Kind::kLong, least, greatest};
}
constexpr Known kAnyDouble = {Known::Kind::kDouble, kLeastLong, kGreatestLong};
constexpr Known kAnyLong = LongValue(kLeastLong, kGreatestLong);
constexpr Known kAnyNumber = {Known::Kind::kNumber, kLeastLong, kGreatestLong};
constexpr Known kTruth = LongValue(0, 1);

// What is known of one of the two.
Known OneOf(const Known& a, const Known& b) {
  if (a.kind != b.kind) return kAnyNumber;
  return {a.kind, std::min(a.least, b.least), std::max(a.greatest, b.greatest)};
}

Known ResultOf(Operator op, const Known& left, const Known& right) {
  if (IsRelation(op)) return kTruth;
  if (op == Operator::kDiv || left.IsDouble() || right.IsDouble()) return kAnyDouble;
  if (!left.IsLong() || !right.IsLong()) return kAnyNumber;
  const auto apply = [op](double a, double b) {
    return op == Operator::kAdd ? a + b : op == Operator::kSub ? a - b : a * b;
  };
  const std::array ends = {apply(left.least, right.least), apply(left.least, right.greatest),
                           apply(left.greatest, right.least), apply(left.greatest, right.greatest)};
  const auto [least, greatest] = std::minmax_element(ends.begin(), ends.end());
  const bool fits = *least >= kLeastLong && *greatest <= kGreatestLong;
  return fits ? LongValue(*least, *greatest) : kAnyNumber;
}

}  // namespace

class NumberCompiler {
 public:
  using Call = NumberCode::Call;
  using Name = NumberCode::Name;

  NumberCompiler(const ExprProgram& program, std::span<const Name> names,
                 std::span<const Call> calls, NumberCode& out)
      : program_(program),
        names_(names),
        calls_(calls),
        out_(out),
        temps_(program.temp_count),
        lefts_(program.temp_count) {}

  bool Compile() {
    for (std::size_t at = 0; at < program_.instrs.size(); ++at) {
      if (!Land(at) || !Take(program_.instrs[at])) return false;
    }
    out_.is_sure_ = !has_number_zero_;
    out_.slot_count_ = slot_count_;
    if (out_.code_.size() > kManyInstrs) {
      out_.units_ += static_cast<std::int64_t>(out_.code_.size()) * kUnitsPerInstr;
    }
    constexpr std::size_t kMaxCode = 0xFFFF;
    return !has_failed_ && out_.code_.size() <= kMaxCode &&
           (out_.is_sure_ || out_.host_calls_.empty());
  }

 private:
  // Where an operand is.
  enum class Side : std::uint8_t { kAcc, kPlace, kConst, kSlot };
  struct Operand {
    Side side = Side::kAcc;
    std::uint16_t at = 0;
    double constant = 0;
    Known value;
  };

  static bool IsTemp(std::uint16_t operand) { return operand < CodeOperand::kConstBase; }
  static bool IsName(std::uint16_t operand) { return operand >= CodeOperand::kNameBase; }

  // False for a constant that is no number.
  bool Read(std::uint16_t operand, Operand& out) const {
    if (IsTemp(operand)) {
      out.side = operand == acc_ ? Side::kAcc : Side::kSlot;
      out.at = operand;
      out.value = temps_[operand];
      return true;
    }
    if (IsName(operand)) {
      out.side = Side::kPlace;
      const Name& name = names_[operand - CodeOperand::kNameBase];
      out.at = name.place;
      out.value.kind = name.kind;
      return true;
    }
    const Kt_Variant& constant = program_.consts[operand - CodeOperand::kConstBase];
    out.side = Side::kConst;
    out.constant = constant.ToDouble();
    if (!constant.IsDouble()) out.value = LongValue(out.constant, out.constant);
    return constant.IsLong() || constant.IsDouble();
  }

  // The left side of a sign is the empty value, which counts as 0.
  bool ReadLeft(Operator op, std::uint16_t operand, Operand& out) const {
    if (Read(operand, out)) return true;
    if (IsTemp(operand) || IsName(operand) || !IsArithmetic(op)) return false;
    const bool is_empty = program_.consts[operand - CodeOperand::kConstBase].IsEmpty();
    out.value = LongValue(0, 0);
    return is_empty;
  }

  NumberInstr& Emit(NumberOp op, std::uint16_t a = 0, std::uint16_t b = 0) {
    NumberInstr& in = out_.code_.emplace_back();
    in.op = op;
    in.a = a;
    in.b = b;
    in.constant = 0;
    return in;
  }

  void SetResult(std::uint16_t temp, const Known& value) {
    acc_ = temp;
    temps_[temp] = value;
  }

  // What is in the accumulator is needed later.
  void Spill() {
    if (acc_ >= 0) Emit(NumberOp::kStore, static_cast<std::uint16_t>(acc_));
    acc_ = -1;
  }
  // Brings an operand into the accumulator, from where it is used up.
  void Load(const Operand& operand) {
    if (operand.side != Side::kAcc) Spill();
    switch (operand.side) {
      case Side::kAcc: break;
      case Side::kPlace: Emit(NumberOp::kLoadP, operand.at); break;
      case Side::kConst: Emit(NumberOp::kLoadC).constant = operand.constant; break;
      case Side::kSlot: Emit(NumberOp::kLoadT, operand.at); break;
    }
    acc_ = -1;
  }
  bool Load(std::uint16_t operand, Known& value) {
    Operand from;
    if (!Read(operand, from)) return false;
    Load(from);
    value = from.value;
    return true;
  }

  // Jumps end here: both ways have the same value in the accumulator, a truth.
  bool Land(std::size_t at) {
    const auto [first, last] = jumps_.equal_range(at);
    for (auto jump = first; jump != last; ++jump) {
      const auto& [instr, temp] = jump->second;
      if (acc_ != temp || !temps_[static_cast<std::size_t>(temp)].IsLong()) return false;
      out_.code_[instr].b = static_cast<std::uint16_t>(out_.code_.size());
    }
    return true;
  }

  bool Take(const CodeInstr& in) {
    switch (in.op) {
      case CodeOp::kMove: {
        Known value;
        if (!Load(in.a, value)) return false;
        SetResult(in.dst, value);
        return true;
      }
      case CodeOp::kTestAnd:
      case CodeOp::kTestOr: return TakeTest(in);
      case CodeOp::kAnd:
      case CodeOp::kOr: return TakeLogic(in);
      case CodeOp::kNot: {
        Known value;
        if (!Load(in.b, value)) return false;
        Emit(NumberOp::kNot);
        SetResult(in.dst, kTruth);
        return true;
      }
      case CodeOp::kCall: return TakeCall(in);
      case CodeOp::kReturn: {
        Known value;
        if (!Load(in.a, value)) return false;
        Emit(NumberOp::kReturn);
        out_.kind_ = value.kind;
        return true;
      }
      default:
        if (in.op == kCodeAskName || in.op == kCodeAskCall) return true;  // the answers are given
        return IsOperator(in.op) && TakeOperator(OperatorOf(in.op), in);
    }
  }

  // && and ||
  // ---------------------------------------------------------------------------------------

  // The left side decides. When it does not, && needs it no more: what holds as a condition is
  // true; nor does || when it is a long: what does not hold is 0.
  bool TakeTest(const CodeInstr& in) {
    Known value;
    if (!Load(in.a, value)) return false;
    const bool is_and = in.op == CodeOp::kTestAnd;
    jumps_.emplace(static_cast<std::size_t>(in.extra), std::pair(out_.code_.size(), int{in.dst}));
    Emit(is_and ? NumberOp::kJumpFalse : NumberOp::kJumpTrue);
    lefts_[in.dst] = is_and || value.IsLong() ? Left::kDecided : Left::kNeeded;
    if (lefts_[in.dst] == Left::kNeeded) SetResult(in.dst, value);
    return true;
  }

  bool TakeLogic(const CodeInstr& in) {
    const Left left = lefts_[in.dst];
    if (in.a != in.dst || left == Left::kNone) return false;
    Known value;
    if (acc_ == in.dst) Spill();
    if (!Load(in.b, value)) return false;
    if (left == Left::kNeeded) {
      Emit(NumberOp::kOrT, in.dst);
    } else if (!value.IsTruth()) {
      Emit(NumberOp::kTruth);
    }
    lefts_[in.dst] = Left::kNone;
    SetResult(in.dst, kTruth);
    return true;
  }

  // Operators
  // ---------------------------------------------------------------------------------------

  bool TakeOperator(Operator op, const CodeInstr& in) {
    Operand left;
    Operand right;
    if (!ReadLeft(op, in.a, left) || !Read(in.b, right)) return false;
    if (op == Operator::kMod) return TakeMod(in.dst, left, right);
    if (op == Operator::kLoneAnd) return false;
    EmitOperator(op, left, right);
    if (op == Operator::kMul && !left.value.IsDouble() && !right.value.IsDouble()) {
      const bool are_longs = left.value.IsLong() && right.value.IsLong();
      Emit(are_longs ? NumberOp::kLongZero : NumberOp::kNumberZero);
      has_number_zero_ = has_number_zero_ || !are_longs;
    }
    SetResult(in.dst, ResultOf(op, left.value, right.value));
    return true;
  }

  bool TakeMod(std::uint16_t dst, const Operand& left, const Operand& right) {
    const bool are_longs = left.value.IsLong() && right.value.IsLong();
    if (!are_longs && !left.value.IsDouble() && !right.value.IsDouble()) return false;
    EmitOfTwo(are_longs ? ModLongs : ModDoubles, left, right);
    // By 0 it is no number, which is a double.
    const bool is_long = are_longs && (right.value.least > 0 || right.value.greatest < 0);
    SetResult(dst, is_long ? kAnyLong : are_longs ? kAnyNumber : kAnyDouble);
    return true;
  }

  void EmitOfTwo(double (*function)(double, double), const Operand& left, Operand right) {
    std::uint16_t slot = left.at;
    if (left.side != Side::kSlot) {
      slot = NewSlot();
      if (right.side == Side::kAcc) {
        Spill();
        right.side = Side::kSlot;
      }
      Load(left);
      Emit(NumberOp::kStore, slot);
    }
    Load(right);
    Emit(NumberOp::kOfTwo, slot).of_two = function;
  }

  static NumberOp FormOf(Operator op, int form) {
    constexpr int kForms = static_cast<int>(NumberOp::kSubAP) - static_cast<int>(NumberOp::kAddAP);
    const auto base = [&] {
      switch (op) {
        case Operator::kAdd: return NumberOp::kAddAP;
        case Operator::kSub: return NumberOp::kSubAP;
        case Operator::kMul: return NumberOp::kMulAP;
        case Operator::kDiv: return NumberOp::kDivAP;
        case Operator::kEqual: return NumberOp::kEqualAP;
        case Operator::kNotEqual: return NumberOp::kNotEqualAP;
        case Operator::kGreater: return NumberOp::kGreaterAP;
        case Operator::kGreaterEqual: return NumberOp::kGreaterEqualAP;
        case Operator::kLess: return NumberOp::kLessAP;
        default: return NumberOp::kLessEqualAP;
      }
    }();
    static_assert(kForms == 12);
    return static_cast<NumberOp>(static_cast<int>(base) + form);
  }

  void EmitOperator(Operator op, Operand left, Operand right) {
    enum Form { kAP, kAC, kAT, kPA, kCA, kTA, kPP, kPC, kCP, kStoring };
    const auto sides = [&](Side a, Side b) { return left.side == a && right.side == b; };
    // What has no form of its own begins with a load.
    const bool has_slot = left.side == Side::kSlot || right.side == Side::kSlot;
    const bool has_acc = left.side == Side::kAcc || right.side == Side::kAcc;
    if ((has_slot && !has_acc) || sides(Side::kConst, Side::kConst)) {
      Operand& first = left.side == Side::kSlot ? left : right.side == Side::kSlot ? right : left;
      Load(first);
      first.side = Side::kAcc;
    }
    const Operand& in_memory = left.side == Side::kAcc ? right : left;
    int form = kCP;
    if (left.side == Side::kAcc) {
      form = right.side == Side::kPlace ? kAP : right.side == Side::kConst ? kAC : kAT;
    } else if (right.side == Side::kAcc) {
      form = left.side == Side::kPlace ? kPA : left.side == Side::kConst ? kCA : kTA;
    } else if (left.side == Side::kPlace) {
      form = right.side == Side::kPlace ? kPP : kPC;
    }
    std::uint16_t slot = 0;
    if (form >= kPP && acc_ >= 0) {
      slot = static_cast<std::uint16_t>(acc_);
      form += kStoring - kPP;
    }
    NumberInstr& in = Emit(FormOf(op, form), in_memory.at, right.at);
    in.slot = slot;
    if (form == kCP || form == kCP + kStoring - kPP) in.a = right.at;
    const Operand& constant = right.side == Side::kConst ? right : left;
    in.constant = constant.side == Side::kConst ? constant.constant : 0;
    acc_ = -1;
  }

  // Calls
  // -------------------------------------------------------------------------------------------

  bool TakeCall(const CodeInstr& in) {
    const Call& call = calls_[static_cast<std::size_t>(in.extra)];
    const std::size_t count = in.b;
    out_.units_ += Kt_WorkMeter::kUnitsPerCall;
    if (call.numbers != nullptr) return count == call.arg_count && TakeHostCall(in, call);
    if (call.builtin == nullptr || count == 0) return false;
    switch (call.builtin->kind) {
      case DirectFunc::Kind::kIif: return count == 3 && TakeIif(in);
      case DirectFunc::Kind::kLeast: return TakeExtreme(in, NumberOp::kLeast);
      case DirectFunc::Kind::kGreatest: return TakeExtreme(in, NumberOp::kGreatest);
      case DirectFunc::Kind::kTexts: return false;
      case DirectFunc::Kind::kNumbers: break;
    }
    Operand last;
    if (!Read(static_cast<std::uint16_t>(in.a + count - 1), last)) return false;
    if (count == 1 && call.builtin->of_one != nullptr) {
      Load(last);
      EmitOfOne(call.builtin->of_one);
    } else if (count == 2 && call.builtin->of_two != nullptr) {
      Load(last);
      Emit(NumberOp::kOfTwo, in.a).of_two = call.builtin->of_two;
    } else {
      return false;
    }
    SetResult(in.dst, kAnyDouble);
    return true;
  }

  void EmitOfOne(double (*function)(double)) {
    static const auto kAbs = FindDirectFunc(kHandler<&Kt_ExprObject::_abs>)->of_one;
    static const auto kSqrt = FindDirectFunc(kHandler<&Kt_ExprObject::_sqrt>)->of_one;
    const NumberOp op = function == kAbs    ? NumberOp::kAbs
                        : function == kSqrt ? NumberOp::kSqrt
                                            : NumberOp::kOfOne;
    Emit(op).of_one = function;
  }

  bool TakeHostCall(const CodeInstr& in, const Call& call) {
    Spill();
    Emit(NumberOp::kOfMany, in.a).call = out_.host_calls_.size();
    out_.host_calls_.push_back(call);
    SetResult(in.dst, kAnyDouble);
    return true;
  }

  bool TakeIif(const CodeInstr& in) {
    const auto yes = static_cast<std::uint16_t>(in.a + 1);
    Known no_value;
    if (!Load(static_cast<std::uint16_t>(in.a + 2), no_value)) return false;
    Emit(NumberOp::kSelect, in.a, yes);
    SetResult(in.dst, OneOf(temps_[yes], no_value));
    return true;
  }

  bool TakeExtreme(const CodeInstr& in, NumberOp op) {
    Spill();
    Known best = temps_[in.a];
    Emit(NumberOp::kLoadT, in.a);
    for (std::uint16_t arg = 1; arg < in.b; ++arg) {
      // The value so far stands in the slot of the argument that it has replaced.
      const auto slot = static_cast<std::uint16_t>(in.a + arg);
      Emit(NumberOp::kStore, in.a);
      Emit(NumberOp::kLoadT, slot);
      Emit(op, in.a);
      best = OneOf(best, temps_[slot]);
    }
    SetResult(in.dst, best);
    return true;
  }

  std::uint16_t NewSlot() {
    if (slot_count_ < NumberCode::kMaxSlots) return slot_count_++;
    has_failed_ = true;
    return 0;
  }

  enum class Left : std::uint8_t { kNone, kDecided, kNeeded };

  const ExprProgram& program_;
  std::span<const Name> names_;
  std::span<const Call> calls_;
  NumberCode& out_;
  int acc_ = -1;  // the temp in the accumulator; -1: none that is needed
  std::uint16_t slot_count_ = program_.temp_count;
  std::vector<Known> temps_;
  std::vector<Left> lefts_;
  // By the instruction that they go to: the jump, and the temp that has the value.
  std::multimap<std::size_t, std::pair<std::size_t, int>> jumps_;
  bool has_number_zero_ = false;
  bool has_failed_ = false;
};

std::shared_ptr<const NumberCode> NumberCode::Make(const ExprProgram& program,
                                                   std::span<const Name> names,
                                                   std::span<const Call> calls) {
  auto code = std::make_shared<NumberCode>();
  if (program.IsEmpty() || program.temp_count > kMaxSlots) return nullptr;
  return NumberCompiler(program, names, calls, *code).Compile() ? code : nullptr;
}

}  // namespace kt::detail
