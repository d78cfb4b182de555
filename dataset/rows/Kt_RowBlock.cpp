// SPDX-License-Identifier: MIT
//
// Row expressions of plain numbers, a block of rows at a time.
//
// The idea: an instruction costs the row-by-row form a dispatch and two tests of kinds for every
// row. Here the kinds are known when the columns are bound, so each instruction becomes a step with
// a kernel, a plain loop over arrays of longs or doubles that the compiler makes vector code of.
// Kernels are chosen once, while the steps are planned: the program has no loops, so walking it
// once shows the kind that every temporary has at every step. Right sides of && and || go over the
// rows that need them (Kt_RowBlock_Sides.cpp).
//
// Why it is right: a kernel gives what the operation gives for two numbers, and marks the rows in
// which the operation would give something else (a sum that no long holds). Null cells hold 0;
// relations put the answer for null in afterwards, and arithmetic over doubles computes the rows
// anew in which both sides are longs: as longs, for the kind of the result and the sign of a zero
// hang on it. When all steps are done, the marked rows are computed once more, one by one
// through the same steps, with values and operators of the evaluator; what comes out then may be of
// another kind or empty. Computing ahead takes no other code and reads only cells, so
// nobody sees that rows were computed that are not asked for.
//
// What it costs: a step keeps 8 KiB of doubles or 4 KiB of longs, so that a few of them stay in the
// first cache; a block of which only the first row is asked for is computed in vain, which the
// expression looks after (RowExpr::kLeastRows).
#include "dataset/rows/Kt_RowBlock.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <numeric>
#include <span>
#include <type_traits>

#include "classlib/store/Kt_RowReader.h"
#include "classlib/value/Kt_VarInline.h"
#include "dataset/rows/Kt_KernelClones.h"
#include "dataset/rows/Kt_RowMap.h"

namespace kt::detail {

namespace {

using CodeOperand::kConstBase;
using CodeOperand::kNameBase;

bool IsTemp(std::uint16_t operand) { return operand < kConstBase; }
bool IsConst(std::uint16_t operand) { return operand >= kConstBase && operand < kNameBase; }

bool IsTest(CodeOp op) { return op == CodeOp::kTestAnd || op == CodeOp::kTestOr; }

// How many items from the first / down to the last on are equal to it: eight at a time.
std::size_t EqualFrom(const std::uint8_t* items, std::size_t count) {
  std::array<std::uint8_t, 8> same;
  same.fill(items[0]);
  std::size_t at = 0;
  while (at + 8 <= count && std::memcmp(items + at, same.data(), 8) == 0) at += 8;
  while (at < count && items[at] == items[0]) ++at;
  return at;
}
std::size_t EqualTo(const std::uint8_t* items, std::size_t count) {
  std::array<std::uint8_t, 8> same;
  same.fill(items[count - 1]);
  std::size_t left = count;
  while (left >= 8 && std::memcmp(items + left - 8, same.data(), 8) == 0) left -= 8;
  while (left > 0 && items[left - 1] == items[count - 1]) --left;
  return count - left;
}

// Whether none of some bytes has any other bits than these.
bool HaveOnly(const std::uint8_t* items, std::size_t count, std::uint8_t bits) {
  std::uint8_t all = 0;
  for (std::size_t at = 0; at < count; ++at) all |= items[at];
  return (all & ~bits) == 0;
}

// As IsConditionTrue: a double is cut first, NaN is 0.
bool IsWholeTrue(kt_long value) { return value != 0; }
bool IsWholeTrue(double value) { return std::fabs(value) >= 1.0; }

// What choose(left, right) gives for values of both kinds.
template <class Choose>
auto ByKinds(bool left_is_long, bool right_is_long, Choose choose) {
  if (left_is_long && right_is_long) return choose(kt_long{}, kt_long{});
  if (left_is_long) return choose(kt_long{}, double{});
  if (right_is_long) return choose(double{}, kt_long{});
  return choose(double{}, double{});
}

}  // namespace

// Kernels -----------------------------------------------------------------------------------------

struct RowBlock::Kernels {
  template <class T>
  static const T* Of(const Lane& lane) {
    if constexpr (std::is_same_v<T, kt_long>) {
      return lane.longs;
    } else {
      return lane.doubles;
    }
  }

  KT_KERNEL_CLONES static void Products(RowBlock& block, const Step& step) {
    const kt_long* const left = step.left->longs;
    const kt_long* const right = step.right->longs;
    kt_long* const out = step.out->own_longs.data();
    std::uint8_t* const marks = block.marks_.data();
    const std::size_t count = block.count_;
    for (std::size_t at = 0; at < count; ++at) {
      const std::int64_t value = std::int64_t{left[at]} * std::int64_t{right[at]};
      out[at] = static_cast<kt_long>(value);
      marks[at] |= static_cast<std::uint8_t>(value != out[at] ? kAgain : kPlain);
    }
  }

  // A sum or difference has the wrong sign where no long holds it, which is seldom anywhere.
  template <bool kIsSum>
  KT_KERNEL_CLONES static void Sums(RowBlock& block, const Step& step) {
    constexpr std::size_t kAtOnce = 128;
    const kt_long* const left = step.left->longs;
    const kt_long* const right = step.right->longs;
    kt_long* const out = step.out->own_longs.data();
    std::array<kt_long, kAtOnce> signs;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    for (std::size_t first = 0; first < block.count_; first += kAtOnce) {
      const std::size_t some = std::min(kAtOnce, block.count_ - first);
      kt_long any = 0;
      for (std::size_t at = 0; at < some; ++at) {
        const kt_long a = left[first + at];
        const kt_long b = kIsSum ? right[first + at] : ~right[first + at];
        const auto value = static_cast<kt_long>(static_cast<unsigned>(a) +
                                                static_cast<unsigned>(b) + (kIsSum ? 0U : 1U));
        signs[at] = (a ^ value) & (b ^ value);
        any |= signs[at];
        out[first + at] = value;
      }
      for (std::size_t at = 0; any < 0 && at < some; ++at) {
        block.marks_[first + at] |= static_cast<std::uint8_t>(signs[at] < 0 ? kAgain : kPlain);
      }
    }
  }

  static void Remainders(RowBlock& block, const Step& step) {
    const kt_long* const left = step.left->longs;
    const kt_long* const right = step.right->longs;
    kt_long* const out = step.out->own_longs.data();
    std::uint8_t* const marks = block.marks_.data();
    const std::size_t count = block.count_;
    for (std::size_t at = 0; at < count; ++at) {
      const bool has_none = right[at] == 0;
      marks[at] |= static_cast<std::uint8_t>(has_none ? kAgain : kPlain);
      out[at] = static_cast<kt_long>(std::int64_t{left[at]} % (has_none ? 1 : right[at]));
    }
  }

  // What has no form for longs marks the rows in which both sides are.
  struct NoWholeOp {};
  template <class Op, class WholeOp, class A, class B>
  KT_KERNEL_CLONES static void Doubles(RowBlock& block, const Step& step) {
    const A* const left = Of<A>(*step.left);
    const B* const right = Of<B>(*step.right);
    double* const out = step.out->own_doubles.data();
    const std::size_t count = block.count_;
    if (KT_UNLIKELY(step.tracks_longs)) ComputeLongs<WholeOp>(block, step, left, right);
    for (std::size_t at = 0; at < count; ++at) {
      out[at] = Op::Doubles(static_cast<double>(left[at]), static_cast<double>(right[at]));
    }
    if (KT_UNLIKELY(step.tracks_longs)) PutLongs(block, *step.out);
  }

  // Calls visit(row) for rows that both lists have; null is a list of all rows.
  template <class Visit>
  static void ForEachOfBoth(const RowList* left, const RowList* right, Visit visit) {
    if (left == nullptr || right == nullptr) {
      for (const std::uint16_t at : left == nullptr ? *right : *left) visit(at);
      return;
    }
    auto other = right->begin();
    for (const std::uint16_t at : *left) {
      while (other != right->end() && *other < at) ++other;
      if (other != right->end() && *other == at) visit(at);
    }
  }
  // Before the doubles, as out may be one of the sides.
  template <class WholeOp, class A, class B>
  static void ComputeLongs(RowBlock& block, const Step& step, const A* left, const B* right) {
    block.long_results_.clear();
    ForEachOfBoth(step.left_longs, step.right_longs, [&](std::uint16_t at) {
      if constexpr (std::is_same_v<WholeOp, NoWholeOp>) {
        block.marks_[at] |= kAgain;
      } else {
        const std::int64_t value =
            WholeOp()(static_cast<std::int64_t>(left[at]), static_cast<std::int64_t>(right[at]));
        const bool fits = value == static_cast<kt_long>(value);
        block.long_results_.push_back({at, fits, static_cast<double>(value)});
      }
    });
  }
  static void PutLongs(const RowBlock& block, Lane& out) {
    out.long_rows.clear();
    for (const LongResult& result : block.long_results_) {
      out.own_doubles[result.row] = result.value;
      if (result.fits) out.long_rows.push_back(result.row);
    }
  }
  // The kind of what a choice gives hangs on the row.
  static void MarkLongs(RowBlock& block, const Step& step) {
    for (const RowList* const rows : {step.left_longs, step.right_longs}) {
      if (rows == nullptr) continue;
      for (const std::uint16_t at : *rows) block.marks_[at] |= kAgain;
    }
  }

  // First as wide as the doubles: compilers make no vector code of a loop that also narrows.
  template <class Op, class A, class B>
  KT_KERNEL_CLONES static void RelateDoubles(const A* left, const B* right, kt_long* out,
                                             std::size_t count) {
    constexpr std::size_t kAtOnce = 128;
    std::array<std::int64_t, kAtOnce> wide;
    for (std::size_t first = 0; first < count; first += kAtOnce) {
      const std::size_t some = std::min(kAtOnce, count - first);
      for (std::size_t at = 0; at < some; ++at) {
        const bool holds =
            Op()(static_cast<double>(left[first + at]), static_cast<double>(right[first + at]));
        wide[at] = holds ? 1 : 0;
      }
      for (std::size_t at = 0; at < some; ++at) out[first + at] = static_cast<kt_long>(wide[at]);
    }
  }

  // Longs compare as longs; with a double on either side, both as doubles, which holds every long.
  template <class Op, class A, class B>
  static void Relate(RowBlock& block, const Step& step) {
    const A* const left = Of<A>(*step.left);
    const B* const right = Of<B>(*step.right);
    kt_long* const out = step.out->own_longs.data();
    const std::size_t count = block.count_;
    if constexpr (std::is_same_v<A, kt_long> && std::is_same_v<B, kt_long>) {
      for (std::size_t at = 0; at < count; ++at) out[at] = Op()(left[at], right[at]) ? 1 : 0;
    } else {
      RelateDoubles<Op>(left, right, out, count);
    }
    if (step.null_rule < 0) return;
    block.FixNulls(block.null_rules_[static_cast<std::size_t>(step.null_rule)], out);
  }

  // The end of an && or ||, of which out may be the left side; and a !, which has only a right one.
  template <CodeOp kOp, class A, class B>
  KT_KERNEL_CLONES static void Logic(RowBlock& block, const Step& step) {
    [[maybe_unused]] const A* const left = Of<A>(*step.left);
    const B* const right = Of<B>(*step.right);
    kt_long* const out = step.out->own_longs.data();
    const std::size_t count = block.count_;
    for (std::size_t at = 0; at < count; ++at) {
      const bool second = right[at] != 0;
      bool value = !second;
      if constexpr (kOp == CodeOp::kAnd) value = left[at] != 0 && second;
      if constexpr (kOp == CodeOp::kOr) value = left[at] != 0 || second;
      out[at] = value ? 1 : 0;
    }
  }

  // The left side of an && or ||.
  template <class T>
  static void Test(RowBlock& block, const Step& step) {
    if (step.left == step.out) return;
    std::copy_n(Of<T>(*step.left), block.count_, step.out->template OwnOf<T>());
  }
  // Whether the left side has settled it in every row. Mostly the first rows tell that it has not.
  template <bool kSettles, class T>
  KT_KERNEL_CLONES static bool IsSettled(const RowBlock& block, const Step& step) {
    constexpr std::size_t kAtOnce = 256;
    const T* const from = Of<T>(*step.left);
    for (std::size_t first = 0; first < block.count_; first += kAtOnce) {
      const std::size_t end = std::min(block.count_, first + kAtOnce);
      kt_long open = 0;
      for (std::size_t at = first; at < end; ++at) {
        if constexpr (std::is_same_v<T, kt_long> && !kSettles) {
          open |= from[at];
        } else {
          open |= IsWholeTrue(from[at]) != kSettles ? 1 : 0;
        }
      }
      if (open != 0) return false;
    }
    return true;
  }

  // First as wide as the values, see RelateDoubles.
  template <bool kSettles, class T>
  KT_KERNEL_CLONES static std::size_t Settle(const RowBlock& block, const Step& step,
                                             std::size_t most_open, RowSelection& selection) {
    using Wide = std::conditional_t<std::is_same_v<T, double>, std::int64_t, kt_long>;
    const T* const from = Of<T>(*step.left);
    std::uint8_t* const settled = selection.Settled().data();
    const RowSelection* const around = block.SettledAround();
    std::array<Wide, kSample> wide;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    std::size_t open = 0;
    for (std::size_t first = 0; first < block.count_; first += kSample) {
      const std::size_t end = std::min(first + kSample, block.count_);
      for (std::size_t at = first; at < end; ++at) {
        wide[at - first] = IsWholeTrue(from[at]) == kSettles ? 1 : 0;
      }
      for (std::size_t at = first; at < end; ++at) {
        settled[at] = static_cast<std::uint8_t>(wide[at - first]);
      }
      if (around != nullptr) {
        for (std::size_t at = first; at < end; ++at) settled[at] |= around->Settled()[at];
      }
      std::uint8_t some = 0;
      for (std::size_t at = first; at < end; ++at)
        some = static_cast<std::uint8_t>(some + settled[at]);
      open += end - first - some;
      if (first == 0 && open > most_open) return block.count_;
    }
    return open;
  }
  template <class T>
  static void Pick(const Step& step, const RowSelection& selection) {
    const T* const from = Of<T>(*step.left);
    T* const out = step.out->template OwnOf<T>();
    const std::uint16_t* const places = selection.Places();
    for (std::size_t at = 0; at < selection.OpenCount(); ++at) out[at] = from[places[at]];
  }

  template <class T>
  static void OfTexts(RowBlock& block, const Step& step) {
    T* const out = step.out->template OwnOf<T>();
    std::uint8_t* const marks = block.marks_.data();
    if (block.shared_ != nullptr) {
      block.MemoOf(step).ReadKnown(block.records_, block.count_, out, marks);
    } else {
      TextMemo& memo = block.memos_[static_cast<std::size_t>(step.memo)];
      memo.Read(block.records_, block.count_, out, marks);
    }
  }

  template <class T>
  static void Move(RowBlock& block, const Step& step) {
    std::copy_n(Of<T>(*step.left), block.count_, step.out->template OwnOf<T>());
    if (step.tracks_longs) step.out->long_rows = *step.left_longs;
  }

  // Functions of numbers read every number as a double.
  template <class A>
  static void CallOne(RowBlock& block, const Step& step) {
    const A* const arg = Of<A>(*step.left);
    double* const out = step.out->own_doubles.data();
    if constexpr (std::is_same_v<A, double>) {
      step.function->of_block(arg, out, block.count_);
    } else {
      std::copy_n(arg, block.count_, out);
      step.function->of_block(out, out, block.count_);
    }
  }
  template <class A, class B>
  static void CallTwo(RowBlock& block, const Step& step) {
    const A* const left = Of<A>(*step.left);
    const B* const right = Of<B>(*step.right);
    const auto function = step.function->of_two;
    double* const out = step.out->own_doubles.data();
    const std::size_t count = block.count_;
    for (std::size_t at = 0; at < count; ++at) {
      out[at] = function(static_cast<double>(left[at]), static_cast<double>(right[at]));
    }
  }

  // least and greatest of two numbers of one kind: NaN only when there is nothing else.
  template <class Better, class T>
  KT_KERNEL_CLONES static void Extreme(RowBlock& block, const Step& step) {
    const T* const left = Of<T>(*step.left);
    const T* const right = Of<T>(*step.right);
    T* const out = step.out->template OwnOf<T>();
    const std::size_t count = block.count_;
    for (std::size_t at = 0; at < count; ++at) {
      const bool takes_right = (left[at] != left[at]) | Better()(right[at], left[at]);
      out[at] = takes_right ? right[at] : left[at];
    }
    if (step.tracks_longs) MarkLongs(block, step);
  }

  // iif: one of two numbers of one kind.
  template <class C, class T>
  KT_KERNEL_CLONES static void Choose(RowBlock& block, const Step& step) {
    const C* const condition = Of<C>(*step.left);
    const T* const yes = Of<T>(step.left[1]);
    const T* const no = Of<T>(step.left[2]);
    T* const out = step.out->template OwnOf<T>();
    const std::size_t count = block.count_;
    for (std::size_t at = 0; at < count; ++at) out[at] = condition[at] != 0 ? yes[at] : no[at];
    if (step.tracks_longs) MarkLongs(block, step);
  }

  // ---- The kernel of an operation for sides of two kinds

  template <class Op, class WholeOp>
  static Kernel ForSum(bool left_is_long, bool right_is_long) {
    return ByKinds(left_is_long, right_is_long, []<class A, class B>(A, B) -> Kernel {
      if constexpr (std::is_same_v<A, kt_long> && std::is_same_v<B, kt_long>) {
        if (std::is_same_v<WholeOp, std::multiplies<>>) return &Products;
        return &Sums<std::is_same_v<WholeOp, std::plus<>>>;
      } else {
        return &Doubles<Op, WholeOp, A, B>;
      }
    });
  }

  static Kernel ForArithmetic(CodeOp op, bool left_is_long, bool right_is_long) {
    switch (op) {
      case CodeOp::kAdd: return ForSum<AddOp, std::plus<>>(left_is_long, right_is_long);
      case CodeOp::kSub: return ForSum<SubOp, std::minus<>>(left_is_long, right_is_long);
      case CodeOp::kMul: return ForSum<MulOp, std::multiplies<>>(left_is_long, right_is_long);
      case CodeOp::kDiv:
        return ByKinds(left_is_long, right_is_long, []<class A, class B>(A, B) -> Kernel {
          return &Doubles<DivOp, NoWholeOp, A, B>;
        });
      default: break;
    }
    if (left_is_long && right_is_long) return &Remainders;
    return ByKinds(left_is_long, right_is_long, []<class A, class B>(A, B) -> Kernel {
      return &Doubles<ModOp, NoWholeOp, A, B>;
    });
  }

  static Kernel ForRelation(CodeOp op, bool left_is_long, bool right_is_long) {
    return ByKinds(left_is_long, right_is_long, [op]<class A, class B>(A, B) -> Kernel {
      switch (op) {
        case CodeOp::kEqual: return &Relate<std::equal_to<>, A, B>;
        case CodeOp::kNotEqual: return &Relate<std::not_equal_to<>, A, B>;
        case CodeOp::kGreater: return &Relate<std::greater<>, A, B>;
        case CodeOp::kGreaterEqual: return &Relate<std::greater_equal<>, A, B>;
        case CodeOp::kLess: return &Relate<std::less<>, A, B>;
        default: return &Relate<std::less_equal<>, A, B>;
      }
    });
  }

  static Kernel ForLogic(CodeOp op, bool left_is_long, bool right_is_long) {
    return ByKinds(left_is_long, right_is_long, [op]<class A, class B>(A, B) -> Kernel {
      switch (op) {
        case CodeOp::kAnd: return &Logic<CodeOp::kAnd, A, B>;
        case CodeOp::kOr: return &Logic<CodeOp::kOr, A, B>;
        default: return &Logic<CodeOp::kNot, A, B>;
      }
    });
  }

  static Kernel ForCall(bool has_two, bool left_is_long, bool right_is_long) {
    if (!has_two) return left_is_long ? &CallOne<kt_long> : &CallOne<double>;
    return ByKinds(left_is_long, right_is_long,
                   []<class A, class B>(A, B) -> Kernel { return &CallTwo<A, B>; });
  }
  static Kernel ForExtreme(bool is_greatest, bool is_long) {
    if (is_long) {
      return is_greatest ? &Extreme<std::greater<>, kt_long> : &Extreme<std::less<>, kt_long>;
    }
    return is_greatest ? &Extreme<std::greater<>, double> : &Extreme<std::less<>, double>;
  }
  static Kernel ForChoice(bool condition_is_long, bool is_long) {
    return ByKinds(condition_is_long, is_long,
                   []<class C, class T>(C, T) -> Kernel { return &Choose<C, T>; });
  }

  static const TestKernels* ForTest(bool settles, bool is_long) {
    static constexpr TestKernels kAndLongs{&IsSettled<false, kt_long>, &Settle<false, kt_long>,
                                           &Pick<kt_long>};
    static constexpr TestKernels kAndDoubles{&IsSettled<false, double>, &Settle<false, double>,
                                             &Pick<double>};
    static constexpr TestKernels kOrLongs{&IsSettled<true, kt_long>, &Settle<true, kt_long>,
                                          &Pick<kt_long>};
    static constexpr TestKernels kOrDoubles{&IsSettled<true, double>, &Settle<true, double>,
                                            &Pick<double>};
    if (settles) return is_long ? &kOrLongs : &kOrDoubles;
    return is_long ? &kAndLongs : &kAndDoubles;
  }
};

void RowBlock::Lane::Store(std::size_t at, const Kt_Variant& number) {
  if (is_long && longs == own_longs.data()) own_longs[at] = number.AsLong();
  if (!is_long && doubles == own_doubles.data()) own_doubles[at] = number.AsDouble();
}

void RowBlock::Lane::Own(bool as_long) {
  is_known = true;
  stays_double = false;
  part = -1;
  name_index = -1;
  is_long = as_long;
  if (as_long) {
    own_longs.resize(kRowsPerBlock);
    longs = own_longs.data();
  } else {
    own_doubles.resize(kRowsPerBlock);
    doubles = own_doubles.data();
  }
}

// Plan --------------------------------------------------------------------------------------------

std::unique_ptr<RowBlock> RowBlock::Make(const ExprProgram& program,
                                         const std::vector<RowName>& names,
                                         const std::vector<RowCall>& calls) {
  std::unique_ptr<RowBlock> block(new RowBlock(program, calls));
  if (!block->Plan(names)) return nullptr;
  return block;
}

std::unique_ptr<RowBlock> RowBlock::MakeReader(const std::vector<RowName>& names) const {
  std::unique_ptr<RowBlock> block(new RowBlock(program_, calls_));
  block->shared_ = this;
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
    // Both ways: a long beside doubles is read as one.
    lane.Own(value.IsDouble());
    lane.Own(!value.IsDouble());
    lane.stays_double = value.IsDouble();
    lane.single = value;
    std::fill(lane.own_longs.begin(), lane.own_longs.end(), value.ToInteger());
    std::fill(lane.own_doubles.begin(), lane.own_doubles.end(), value.ToDouble());
  }
  temps_.resize(program_.temp_count);
  std::vector<std::size_t> first_steps;  // of each instruction
  for (std::size_t at = 0; at < program_.instrs.size(); ++at) {
    first_steps.push_back(steps_.size());
    if (!PlanPart(at) && !PlanInstr(program_.instrs[at])) return false;
  }
  for (Step& step : steps_) {
    if (IsTest(step.op)) step.landing = first_steps[step.landing];
  }
  WeighTests();
  return result_ != nullptr;
}

bool RowBlock::PlanName(const RowName& name) {
  if (name.kind == RowName::Kind::kKeyword) return false;
  NameLane& lane = names_.emplace_back();
  lane.name = name;
  lane.is_text = name.kind == RowName::Kind::kCells && name.cells->Type() == Kt_ColumnType::kString;
  if (lane.is_text) return true;
  if (name.kind == RowName::Kind::kCells) return false;
  if (name.kind == RowName::Kind::kMapped) return PlanMapped(lane);
  lane.Own(name.kind != RowName::Kind::kDoubles);
  return true;
}

// A computed column of numbers has a block of its own, for the same rows.
bool RowBlock::PlanMapped(NameLane& lane) {
  const Kt_ColumnType type = lane.name.type;
  if (type != Kt_ColumnType::kLong && type != Kt_ColumnType::kDouble) return false;
  if (shared_ != nullptr) {
    const NameLane& original = shared_->names_[names_.size() - 1];
    lane.computed = original.computed->MakeReader(lane.name.map->GetNames());
  } else {
    lane.computed = lane.name.map->MakeBlock();
  }
  lane.Own(type == Kt_ColumnType::kLong);
  return lane.computed != nullptr;
}

RowBlock::Lane* RowBlock::LaneOf(std::uint16_t operand) {
  if (IsTemp(operand)) return &temps_[operand];
  if (IsConst(operand)) return &consts_[operand - kConstBase];
  return &names_[operand - kNameBase];
}

// A constant beside doubles has been made one.
bool RowBlock::IsReadAsLong(std::uint16_t operand, std::uint16_t other) {
  return LaneOf(operand)->is_long && !(IsConst(operand) && !LaneOf(other)->is_long);
}

bool RowBlock::IsEmptyConst(std::uint16_t operand) const {
  return IsConst(operand) && program_.consts[operand - kConstBase].IsEmpty();
}

RowBlock::Step& RowBlock::AddStep(const CodeInstr& in, Kernel kernel, bool gives_long) {
  const bool has_right = !IsTest(in.op);
  const Lane* const right = has_right ? LaneOf(in.b) : nullptr;
  const int left_name = NameOf(in.a);  // which the result may take the place of
  const int right_name = has_right ? NameOf(in.b) : -1;
  temps_[in.dst].Own(gives_long);
  Step& step = steps_.emplace_back(Step{kernel, LaneOf(in.a), right, &temps_[in.dst], in.op});
  step.left_name = left_name;
  step.right_name = right_name;
  step.gives_long = gives_long;
  return step;
}

// What is made of texts, one column of them, and constants ----

// Takes in what an operand is made of. False when that is more than a column of texts.
bool RowBlock::TakeInPart(std::uint16_t operand, TextPart& part) {
  if (IsConst(operand)) return true;
  TextPart own;
  if (IsTemp(operand)) {
    if (temps_[operand].part < 0) return false;
    own = parts_[static_cast<std::size_t>(temps_[operand].part)];
  } else {
    if (!names_[operand - kNameBase].is_text) return false;
    own.name = operand - kNameBase;
  }
  return part.Merge(own);
}

bool RowBlock::PlanPart(std::size_t at) {
  const CodeInstr& in = program_.instrs[at];
  TextPart part;
  if (in.op == CodeOp::kCall) {
    if (!calls_[static_cast<std::size_t>(in.extra)].is_pure) return false;
    for (std::uint16_t arg = 0; arg < in.b; ++arg) {
      if (!TakeInPart(static_cast<std::uint16_t>(in.a + arg), part)) return false;
    }
  } else if (in.op == CodeOp::kMove) {
    if (!TakeInPart(in.a, part)) return false;
  } else {
    const bool has_left = in.op != CodeOp::kNot;
    if (!IsOperator(in.op) || (has_left && !TakeInPart(in.a, part))) return false;
    if (!TakeInPart(in.b, part)) return false;
  }
  part.instrs.push_back(static_cast<std::uint16_t>(at));
  part.result = in.dst;
  temps_[in.dst].is_known = false;
  temps_[in.dst].part = static_cast<int>(parts_.size());
  parts_.push_back(std::move(part));
  return true;
}

// Makes a step that computes the numbers of a part, if that is what the operand is. False when they
// are none.
bool RowBlock::MakeNumber(std::uint16_t operand) {
  if (!IsTemp(operand) || temps_[operand].part < 0) return true;
  Lane& lane = temps_[operand];
  Step step{nullptr, nullptr, nullptr, &lane, CodeOp::kCall};
  step.memo = memo_count_++;
  if (shared_ == nullptr && !AddMemo(parts_[static_cast<std::size_t>(lane.part)])) return false;
  const bool is_long = MemoOf(step).IsLong();
  lane.Own(is_long);
  lane.stays_double = !is_long;
  step.kernel = is_long ? &Kernels::OfTexts<kt_long> : &Kernels::OfTexts<double>;
  steps_.push_back(step);
  return true;
}

bool RowBlock::AddMemo(const TextPart& part) {
  TextMemo& memo = memos_.emplace_back(program_, calls_, part);
  memo.Rebind(memo.GetName() >= 0 ? names_[static_cast<std::size_t>(memo.GetName())].name.cells
                                  : nullptr);
  return memo.FindKind();
}

// The argument of a call. A null stays one.
bool RowBlock::PlanMove(const CodeInstr& in) {
  if (!MakeNumber(in.a) || !IsNumber(in.a) || IsEmptyConst(in.a)) return false;
  const Lane& from = *LaneOf(in.a);
  Lane& to = temps_[in.dst];
  to.Own(from.is_long);
  to.stays_double = from.stays_double;
  to.name_index = NameOf(in.a);
  const Kernel kernel = from.is_long ? &Kernels::Move<kt_long> : &Kernels::Move<double>;
  Step& step = steps_.emplace_back(Step{kernel, &from, nullptr, &to, in.op});
  step.left_name = to.name_index;
  step.tracks_longs = !to.is_long && !to.stays_double && to.name_index < 0;
  step.left_longs = &from.long_rows;
  return true;
}

RowBlock::Step& RowBlock::AddCall(const CodeInstr& in, const DirectFunc* function, Kernel kernel,
                                  bool gives_long) {
  temps_[in.dst].Own(gives_long);
  Step& step = steps_.emplace_back(
      Step{kernel, &temps_[in.a], &temps_[in.a + in.b - 1], &temps_[in.dst], in.op});
  step.function = function;
  step.arg_count = in.b;
  return step;
}

bool RowBlock::PlanCall(const CodeInstr& in) {
  const DirectFunc* const function =
      FindDirectFunc(calls_[static_cast<std::size_t>(in.extra)].function);
  if (function == nullptr || in.b == 0) return false;
  for (std::uint16_t arg = 0; arg < in.b; ++arg) {
    const auto operand = static_cast<std::uint16_t>(in.a + arg);
    if (!MakeNumber(operand) || !IsNumber(operand)) return false;
  }
  if (function->kind != DirectFunc::Kind::kNumbers) return PlanChoice(in, function);
  const bool has_two = in.b == 2;
  if (in.b > 2 || (has_two ? function->of_two == nullptr : function->of_one == nullptr)) {
    return false;
  }
  const bool right_is_long = temps_[in.a + in.b - 1].is_long;
  AddCall(in, function, Kernels::ForCall(has_two, temps_[in.a].is_long, right_is_long), false);
  temps_[in.dst].stays_double = true;
  return true;
}

// A null is not 0 where it may be the result, and as a condition is false, which 0 is too.
bool RowBlock::PlanChoice(const CodeInstr& in, const DirectFunc* function) {
  using Kind = DirectFunc::Kind;
  const bool is_iif = function->kind == Kind::kIif;
  if (function->kind == Kind::kTexts || in.b != (is_iif ? 3 : 2)) return false;
  const auto yes = static_cast<std::uint16_t>(in.a + (is_iif ? 1 : 0));
  const auto no = static_cast<std::uint16_t>(yes + 1);
  const bool is_long = temps_[yes].is_long;
  if (temps_[no].is_long != is_long) return false;
  MarkNullsOf(yes);
  MarkNullsOf(no);
  const auto long_rows = [&](std::uint16_t operand) {
    return is_long || NameOf(operand) >= 0 ? nullptr : LongRowsOf(operand);
  };
  const RowList* const left_longs = long_rows(yes);
  const RowList* const right_longs = long_rows(no);
  const Kernel kernel = is_iif ? Kernels::ForChoice(temps_[in.a].is_long, is_long)
                               : Kernels::ForExtreme(function->kind == Kind::kGreatest, is_long);
  Step& step = AddCall(in, function, kernel, is_long);
  step.tracks_longs = left_longs != nullptr || right_longs != nullptr;
  step.left_longs = left_longs;
  step.right_longs = right_longs;
  temps_[in.dst].stays_double = !is_long;
  return true;
}

bool RowBlock::PlanInstr(const CodeInstr& in) {
  if (in.op == CodeOp::kMove) return PlanMove(in);
  if (in.op == CodeOp::kCall) return PlanCall(in);
  const bool has_left = in.op != CodeOp::kNot;
  const bool has_right = !IsTest(in.op) && in.op != CodeOp::kReturn;
  if ((has_left && !MakeNumber(in.a)) || (has_right && !MakeNumber(in.b))) return false;
  if (IsRelation(in.op)) return PlanRelation(in);
  if (in.op == CodeOp::kReturn) return PlanReturn(in);
  if ((has_left && !IsNumber(in.a)) || (has_right && !IsNumber(in.b))) return false;
  const bool left_is_long = !has_left || LaneOf(in.a)->is_long;
  const bool right_is_long = !has_right || LaneOf(in.b)->is_long;
  switch (in.op) {
    case CodeOp::kAdd:
    case CodeOp::kSub:
    case CodeOp::kMul:
    case CodeOp::kDiv:
    case CodeOp::kMod: PlanArithmetic(in); return true;
    case CodeOp::kNot:
    case CodeOp::kAnd:
    case CodeOp::kOr:
      AddStep(in, Kernels::ForLogic(in.op, left_is_long, right_is_long), true);
      return true;
    case CodeOp::kTestAnd:
    case CodeOp::kTestOr: PlanTest(in); return true;
    default: return false;
  }
}

// Null counts as the long 0, which its cell holds in a column of longs. In a column of doubles the
// kind of the result differs, and the sign of a zero with it, unless it is a double anyway.
void RowBlock::PlanArithmetic(const CodeInstr& in) {
  const Lane& left = *LaneOf(in.a);
  const Lane& right = *LaneOf(in.b);
  const bool is_long = left.is_long && right.is_long && in.op != CodeOp::kDiv;
  const bool tracks_longs =
      !is_long && !left.stays_double && !right.stays_double && in.op != CodeOp::kDiv;
  const RowList* const left_longs = tracks_longs ? LongRowsOf(in.a) : nullptr;
  const RowList* const right_longs = tracks_longs ? LongRowsOf(in.b) : nullptr;
  const Kernel kernel =
      Kernels::ForArithmetic(in.op, IsReadAsLong(in.a, in.b), IsReadAsLong(in.b, in.a));
  Step& step = AddStep(in, kernel, is_long);
  step.tracks_longs = tracks_longs;
  step.left_longs = left_longs;
  step.right_longs = right_longs;
  temps_[in.dst].stays_double = !is_long && (!tracks_longs || in.op == CodeOp::kMod);
}

// Where an operand holds longs: null for everywhere. What stays double has none.
const RowBlock::RowList* RowBlock::LongRowsOf(std::uint16_t operand) {
  const Lane& lane = *LaneOf(operand);
  if (lane.is_long) return nullptr;
  const int name = NameOf(operand);
  if (name < 0) return lane.stays_double ? nullptr : &lane.long_rows;
  NameLane& of_name = names_[static_cast<std::size_t>(name)];
  of_name.lists_nulls = true;
  return &of_name.long_rows;
}

// The name whose values, nulls among them, an operand has; -1: none.
int RowBlock::NameOf(std::uint16_t operand) {
  return operand >= kNameBase ? operand - kNameBase : LaneOf(operand)->name_index;
}

void RowBlock::MarkNullsOf(std::uint16_t operand) {
  const int name = NameOf(operand);
  if (name >= 0) names_[static_cast<std::size_t>(name)].marks_nulls = true;
}

bool RowBlock::PlanReturn(const CodeInstr& in) {
  if (!IsNumber(in.a) || IsEmptyConst(in.a)) return false;
  result_ = LaneOf(in.a);
  other_.Own(!result_->is_long);
  result_name_ = NameOf(in.a);
  if (result_name_ >= 0) {
    NameLane& name = names_[static_cast<std::size_t>(result_name_)];
    name.lists_nulls = true;
    odd_results_ = &name.long_rows;
    odd_mark_ = kEmpty;
  } else if (!result_->is_long && !result_->stays_double) {
    odd_results_ = &result_->long_rows;
    odd_mark_ = kOther;
  }
  return true;
}

bool RowBlock::PlanRelation(const CodeInstr& in) {
  if (!IsNumber(in.a) || !IsNumber(in.b)) return false;
  if (IsEmptyConst(in.a) || IsEmptyConst(in.b)) return false;
  const int null_rule = PlanNulls(in);
  const bool left_is_long = IsReadAsLong(in.a, in.b);
  const bool right_is_long = IsReadAsLong(in.b, in.a);
  AddStep(in, Kernels::ForRelation(in.op, left_is_long, right_is_long), true).null_rule = null_rule;
  return true;
}

// What a null gives beside any number, the operators say themselves. Where that is not one answer
// the rows are marked.
int RowBlock::PlanNulls(const CodeInstr& in) {
  const int left = NameOf(in.a);
  const int right = NameOf(in.b);
  if (left < 0 && right < 0) return -1;
  NullRule rule{};
  const bool has_one_answer =
      (left < 0 || GivesOneForNull(in, true, false, rule.left_is_null)) &&
      (right < 0 || GivesOneForNull(in, false, true, rule.right_is_null)) &&
      (left < 0 || right < 0 || GivesOneForNull(in, true, true, rule.both_are_null));
  if (!has_one_answer) {
    MarkNullsOf(in.a);
    MarkNullsOf(in.b);
    return -1;
  }
  const auto listed = [this](int name) -> const NameLane* {
    if (name < 0) return nullptr;
    NameLane& lane = names_[static_cast<std::size_t>(name)];
    lane.lists_nulls = true;
    return &lane;
  };
  rule.left = listed(left);
  rule.right = listed(right);
  null_rules_.push_back(rule);
  return static_cast<int>(null_rules_.size()) - 1;
}

bool RowBlock::GivesOneForNull(const CodeInstr& in, bool left_is_null, bool right_is_null,
                               kt_long& result) const {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  Kt_Variant first;
  const std::uint16_t other = left_is_null ? in.b : in.a;
  for (const double number : {0.0, 1.0, -1.0, kInfinity, -kInfinity, std::nan("")}) {
    const Kt_Variant beside =
        IsConst(other) ? program_.consts[other - kConstBase] : Kt_Variant(number);
    Kt_Variant value;
    const kt_long code = kt::Compute(OperatorOf(in.op), left_is_null ? Kt_Variant() : beside,
                                     right_is_null ? Kt_Variant() : beside, value);
    if (code != kOk || !value.IsLong()) return false;
    if (first.IsEmpty()) first = value;
    if (first.AsLong() != value.AsLong()) return false;
  }
  result = first.AsLong();
  return true;
}

// Whether a long that settles a test stays what it is up to the landing: 0 in && alone, 1 in ||
// alone.
bool RowBlock::EndsAsItIsSettled(const CodeInstr& test) const {
  const bool is_and = test.op == CodeOp::kTestAnd;
  const CodeInstr* const landing = program_.instrs.data() + test.extra;
  return std::all_of(&test + 1, landing, [&](const CodeInstr& in) {
    const bool is_other = in.op == (is_and ? CodeOp::kOr : CodeOp::kAnd);
    return in.dst != test.dst || !is_other;
  });
}

void RowBlock::PlanTest(const CodeInstr& in) {
  const bool is_long = LaneOf(in.a)->is_long;
  Step& step = AddStep(in, is_long ? &Kernels::Test<kt_long> : &Kernels::Test<double>, is_long);
  step.test = Kernels::ForTest(in.op == CodeOp::kTestOr, is_long);
  step.landing = static_cast<std::size_t>(in.extra);
  step.is_put_back = !is_long || !EndsAsItIsSettled(in);
  temps_[in.dst].own_longs.resize(kRowsPerBlock);
}

int RowBlock::CostOf(const Step& step) {
  constexpr int kCall = 8;
  constexpr int kText = 3;
  const int cost = step.function != nullptr ? kCall : step.memo >= 0 ? kText : 1;
  return cost + (step.tracks_longs || step.null_rule >= 0 ? 1 : 0);
}

int RowBlock::GetCost() const {
  int cost = 0;
  for (const Step& step : steps_) cost += CostOf(step);
  for (const NameLane& lane : names_) {
    if (lane.computed != nullptr) cost += 1 + lane.computed->GetCost();
  }
  return cost;
}

void RowBlock::Rebind(const std::vector<RowName>& names) {
  first_ = end_ = 0;
  for (std::size_t at = 0; at < names.size(); ++at) {
    names_[at].name.cells = names[at].cells;
    if (names_[at].computed != nullptr) names_[at].computed->Rebind(names[at].map->GetNames());
  }
  for (TextMemo& memo : memos_) {
    if (memo.GetName() >= 0) memo.Rebind(names[static_cast<std::size_t>(memo.GetName())].cells);
  }
  WeighTests();
}

// Rows --------------------------------------------------------------------------------------------

void RowBlock::Fill(const Kt_Dataset& dataset, kt_long row_count, kt_long row) {
  const kt_long first = row & ~(kRowsPerBlock - 1);
  Open(first, std::min(first + kRowsPerBlock, row_count));
  records_ = FindRecords(dataset);
  ComputeRows();
}

void RowBlock::FillFrom(const RowRecords& records, kt_long first, kt_long end) {
  Open(first, end);
  records_ = records;
  if (!records.IsDense()) {
    std::copy_n(records.listed, count_, listed_.data());
    records_ = LookThroughListed();
  }
  ComputeRows();
}

void RowBlock::Open(kt_long first, kt_long end) {
  first_ = first;
  end_ = end;
  count_ = static_cast<std::size_t>(end - first);
  marks_.fill(kPlain);
  rows_ = nullptr;
  depth_ = narrowed_at_ = 0;
  for (NameLane& lane : names_) lane.loaded_in = kNotLoaded;
}

void RowBlock::ComputeRows() {
  if (RunSteps()) return FinishResult();
  marks_.fill(kAlone);
  is_even_ = is_whole_ = has_addends_ = false;
}

// Whether an argument of a call is a number with hundreds of digits before or after the point.
bool RowBlock::HasLongTexts(const Step& step, std::size_t count) {
  constexpr double kGreat = 1e200;
  const auto is_long = [&](const Lane& lane) {
    if (lane.is_long) return false;
    bool any = false;
    for (std::size_t at = 0; at < count; ++at) {
      const double size = std::fabs(lane.doubles[at]);
      any |= size > kGreat || (size < 1 / kGreat && size > 0);
    }
    return any;
  };
  return is_long(*step.left) || is_long(*step.right);
}

// False: not in blocks.
bool RowBlock::RunSteps() {
  are_zeros_ = false;
  bool is_done = true;
  for (std::size_t number = 0; number < steps_.size() && is_done;) {
    const Step& step = steps_[number];
    Load(step.left_name);
    Load(step.right_name);
    if (step.test != nullptr) {
      number = RunTest(number);
    } else {
      is_done = MayRun(step);
      if (is_done) step.kernel(*this, step);
      ++number;
    }
    EndSides(number);
  }
  EndSides(steps_.size());
  Load(result_name_);
  return is_done;
}

// Whether it charges nothing that is not this thread's to charge.
bool RowBlock::MayRun(const Step& step) const {
  const bool may_charge = shared_ != nullptr && step.function != nullptr;
  return !may_charge || !step.function->makes_texts || !HasLongTexts(step, count_);
}

void RowBlock::FinishResult() {
  const bool has_marks = !HaveOnly(marks_.data(), count_, kPlain);
  const bool has_odd_ones = odd_results_ != nullptr && !odd_results_->empty();
  is_even_ = !has_marks && !has_odd_ones;
  has_addends_ = !has_marks && has_odd_ones && odd_mark_ == kEmpty;
  are_zeros_ = are_zeros_ && is_even_;  // rows that are computed again may be others
  is_whole_ = true;
  if (has_odd_ones) MarkOddResults();
  if (has_marks) ComputeAgain();
}

// Those of rows that are to be computed again are found out then.
void RowBlock::MarkOddResults() {
  for (const std::uint16_t at : *odd_results_) {
    if (marks_[at] != kPlain) continue;
    marks_[at] = odd_mark_;
    if (odd_mark_ == kOther) other_.own_longs[at] = static_cast<kt_long>(result_->doubles[at]);
  }
}

RowNumbers RowBlock::Numbers(std::size_t from, std::size_t to) const {
  RowNumbers numbers;
  if (marks_[from] != kPlain && marks_[from] != kOther) return numbers;
  const Lane& lane = LaneWith(marks_[from]);
  numbers.count = static_cast<kt_long>(to - from);
  numbers.longs = lane.is_long ? lane.longs + from : nullptr;
  numbers.doubles = lane.is_long ? nullptr : lane.doubles + from;
  numbers.are_zeros = are_zeros_;
  return numbers;
}

RowNumbers RowBlock::NumbersFrom(kt_long row) const {
  const auto from = static_cast<std::size_t>(row - first_);
  if (is_even_) return Numbers(from, count_);
  return Numbers(from, from + EqualFrom(marks_.data() + from, count_ - from));
}

RowNumbers RowBlock::AddendsFrom(kt_long row) const {
  const auto from = static_cast<std::size_t>(row - first_);
  if (!has_addends_ || marks_[from] != kPlain) return NumbersFrom(row);
  RowNumbers numbers = Numbers(from, count_);
  numbers.empty_marks = marks_.data() + from;
  return numbers;
}

RowNumbers RowBlock::NumbersTo(kt_long row) const {
  const auto to = static_cast<std::size_t>(row - first_) + 1;
  if (is_even_) return Numbers(0, to);
  return Numbers(to - EqualTo(marks_.data(), to), to);
}

RowRecords RowBlock::FindRecords(const Kt_Dataset& dataset) {
  const Kt_RowReader reader(dataset);
  const std::uint32_t run = reader.GetRun(first_, end_ - first_);
  if (run != Kt_RowReader::kNoRecord) return {run, nullptr};
  reader.GetRecords(first_, end_ - first_, listed_.data());
  return LookThroughListed();
}

// Marks the rows without a record.
RowRecords RowBlock::LookThroughListed() {
  std::uint32_t gaps = 0;
  for (std::uint32_t at = 0; at < count_; ++at) gaps |= listed_[at] ^ (listed_[0] + at);
  if (gaps == 0 && listed_[0] != Kt_RowReader::kNoRecord) return {listed_[0], nullptr};
  for (std::size_t at = 0; at < count_; ++at) {
    if (listed_[at] != Kt_RowReader::kNoRecord) continue;
    marks_[at] = kAlone;
    listed_[at] = 0;
  }
  return {0, listed_.data()};
}

// Reads a name for the rows that steps work on now.
void RowBlock::Load(int name) {
  if (name < 0) return;
  NameLane& lane = names_[static_cast<std::size_t>(name)];
  if (lane.loaded_in >= narrowed_at_) return;
  lane.loaded_in = depth_;
  LoadName(lane);
}

// Records that follow one another are read where they are.
void RowBlock::LoadName(NameLane& lane) {
  const Kt_Column* const column = lane.name.cells;
  if (lane.name.kind == RowName::Kind::kRow) {
    return ListRows(lane.own_longs.data());
  }
  if (lane.is_text) return;  // a null is a text of its own there
  lane.long_rows.clear();
  if (lane.computed != nullptr) return LoadMapped(lane);
  if (lane.marks_nulls || lane.lists_nulls) {
    ForEachNull(*column, records_, count_, [&](std::size_t at) { NoteNull(lane, at); });
  }
  if (lane.name.kind == RowName::Kind::kLongs) {
    const kt_long* const cells = column->Cells<Kt_Column::Longs>().data();
    lane.longs = Gathered(cells, lane.own_longs.data());
  } else if (lane.name.kind == RowName::Kind::kDoubles) {
    const double* const cells = column->Cells<Kt_Column::Doubles>().data();
    lane.doubles = Gathered(cells, lane.own_doubles.data());
  }
}

void RowBlock::NoteNull(NameLane& lane, std::size_t at) {
  if (lane.marks_nulls) marks_[at] |= kAgain;
  if (lane.lists_nulls) lane.long_rows.push_back(static_cast<std::uint16_t>(at));
}

// What the column keeps of the values of its expression. Rows without one have none here either. On
// the right of an && or || no such column is read in blocks, so it is always all rows.
void RowBlock::LoadMapped(NameLane& lane) {
  KT_ASSERT(rows_ == nullptr);
  RowBlock& computed = *lane.computed;
  computed.FillFrom(records_, first_, end_);
  lane.nulls.clear();
  if (computed.is_even_ && computed.result_->is_long == lane.is_long) {
    lane.longs = computed.result_->longs;
    lane.doubles = computed.result_->doubles;
    return;
  }
  lane.longs = lane.own_longs.data();
  lane.doubles = lane.own_doubles.data();
  Kt_Variant value;
  for (std::size_t at = 0; at < count_; ++at) {
    const bool is_there = computed.Read(first_ + static_cast<kt_long>(at), value);
    if (!is_there) marks_[at] |= kAlone;
    if (is_there && !value.IsEmpty()) {
      lane.Store(at, lane.name.map->Converted(value));
      continue;
    }
    lane.Store(at, lane.is_long ? Kt_Variant(kt_long{0}) : Kt_Variant(0.0));
    if (!is_there) continue;
    lane.nulls.push_back(static_cast<std::uint16_t>(at));
    NoteNull(lane, at);
  }
}

void RowBlock::ListRows(kt_long* out) const {
  if (rows_ == nullptr) return std::iota(out, out + count_, first_);
  for (std::size_t at = 0; at < count_; ++at) out[at] = first_ + rows_[at];
}

void RowBlock::FixNulls(const NullRule& rule, kt_long* out) const {
  if (rule.left != nullptr) {
    for (const std::uint16_t at : rule.left->long_rows) out[at] = rule.left_is_null;
  }
  if (rule.right == nullptr) return;
  for (const std::uint16_t at : rule.right->long_rows) {
    const bool both = rule.left != nullptr && std::ranges::binary_search(rule.left->long_rows, at);
    out[at] = both ? rule.both_are_null : rule.right_is_null;
  }
}

template <class T>
const T* RowBlock::Gathered(const T* cells, T* own) const {
  if (records_.IsDense()) return cells + records_.first;
  for (std::size_t at = 0; at < count_; ++at) own[at] = cells[records_.listed[at]];
  return own;
}

// Marked rows -------------------------------------------------------------------------------------

void RowBlock::ComputeAgain() {
  for (std::size_t at = 0; at < count_; ++at) {
    if (marks_[at] == kPlain) at += EqualFrom(marks_.data() + at, count_ - at);
    if (at == count_) return;
    if ((marks_[at] & kAlone) != 0) {
      marks_[at] = kAlone;
    } else if ((marks_[at] & kAgain) != 0) {
      ComputeRow(at);
    }
    is_whole_ = is_whole_ && marks_[at] != kAlone;
  }
}

// As RowExpr::RunCompiled does it, over the steps.
void RowBlock::ComputeRow(std::size_t at) {
  for (NameLane& lane : names_) ReadSingle(lane, at);
  marks_[at] = kAlone;
  for (std::size_t number = 0; number < steps_.size(); ++number) {
    const Step& step = steps_[number];
    Kt_Variant& out = step.out->single;
    if (step.memo >= 0) {
      if (!MemoOf(step).Find(records_[at], out)) return;
    } else if (step.op == CodeOp::kCall) {
      ComputeCall(step, out);
    } else if (step.op != CodeOp::kMove && !IsTest(step.op)) {
      if (Compute(OperatorOf(step.op), step.left->single, step.right->single, out) != kOk) return;
    } else if (const bool decider = step.op == CodeOp::kTestOr;
               IsTest(step.op) && IsConditionTrue(step.left->single) == decider) {
      out.Set(kt_long{decider});
      number = step.landing - 1;
    } else if (step.left != step.out) {
      out = step.left->single;
    }
  }
  const Kt_Variant& value = result_->single;
  if (value.IsEmpty()) {
    marks_[at] = kEmpty;
  } else if (value.IsLong() || value.IsDouble()) {
    marks_[at] = value.IsLong() == result_->is_long ? kPlain : kOther;
    (marks_[at] == kPlain ? *result_ : other_).Store(at, value);
  }
}

// As the handlers of the functions do it: of an empty value the number is 0.
void RowBlock::ComputeCall(const Step& step, Kt_Variant& value) {
  if (step.function->kind != DirectFunc::Kind::kNumbers) {
    std::array<Kt_Variant, 3> args;
    for (std::size_t arg = 0; arg < step.arg_count; ++arg) args[arg] = step.left[arg].single;
    value.Clear();
    step.function->of_values(Kt_FuncArgs(std::span(args.data(), step.arg_count)), value);
    return;
  }
  const double first = step.left->single.ToDouble();
  value = step.arg_count == 1 ? step.function->of_one(first)
                              : step.function->of_two(first, step.right->single.ToDouble());
}

void RowBlock::ReadComputed(NameLane& lane, std::size_t at) {
  if (std::ranges::binary_search(lane.nulls, at)) {
    lane.single.Clear();
  } else if (lane.is_long) {
    lane.single.Set(lane.longs[at]);
  } else {
    lane.single.Set(lane.doubles[at]);
  }
}

// From the cell, as the numbers of a name may be those of other rows.
void RowBlock::ReadSingle(NameLane& lane, std::size_t at) const {
  const std::uint32_t record = records_[at];
  if (lane.is_text) return;
  if (lane.name.kind == RowName::Kind::kRow) {
    lane.single.Set(first_ + static_cast<kt_long>(at));
  } else if (lane.computed != nullptr) {
    ReadComputed(lane, at);
  } else if (lane.name.cells->IsNull(record)) {
    lane.single.Clear();
  } else if (lane.is_long) {
    lane.single.Set(lane.name.cells->Cells<Kt_Column::Longs>()[record]);
  } else {
    lane.single.Set(lane.name.cells->Cells<Kt_Column::Doubles>()[record]);
  }
}

}  // namespace kt::detail
