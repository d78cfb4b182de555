// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <deque>
#include <memory>
#include <vector>

#include "dataset/rows/Kt_RowNames.h"
#include "dataset/rows/Kt_TextPart.h"
#include "expr/Kt_ExprProgram.h"

class Kt_Dataset;

namespace kt::detail {

inline constexpr kt_long kRowsPerBlock = 1024;

// The rows of a block in which an && or || is settled by its left side, and to what.
//
// A single row jumps over the right side then; a block cannot, as other rows need it. So all rows
// go through the right side, whatever it gives for the settled ones, and where the operation ends
// their values are put back. Nested operations of one kind, `a && b && c`, share their mask: what
// `a` settled stays settled.
class RowMask {
 public:
  // No row is settled.
  void Open() { settled_.fill(kOpen); }
  // Settles the open rows whose value is `truth`, to that.
  template <class T>
  void Settle(const T* values, std::size_t count, bool truth);
  void PutBack(kt_long* values, std::size_t count) const;

 private:
  static constexpr std::int8_t kOpen = -1;
  std::array<std::int8_t, kRowsPerBlock> settled_;  // kOpen, 0 or 1
};

// A compiled row expression of plain numbers, computed operation by operation for 1024 rows ahead.
//
// The kind of every value is known from the columns: long or double. Rows in which something else
// comes up are marked and left to the row-by-row form, so nothing of the rules is stated twice that
// is not plain arithmetic: null cells, subtotals, longs that do not fit, division of longs that has
// no remainder. What is computed of one column of texts is computed once per text (Kt_TextPart.h).
class RowBlock {
 public:
  // Null when the program has anything else in it.
  static std::unique_ptr<RowBlock> Make(const ExprProgram& program,
                                        const std::vector<RowName>& names,
                                        const std::vector<RowCall>& calls);
  // The cells have changed, but not what the names stand for.
  void Rebind(const std::vector<RowName>& names);

  bool Has(kt_long row) const { return row >= first_ && row < end_; }
  // Computes the block that holds a row of a dataset that shows `row_count` rows.
  KT_NOINLINE void Fill(const Kt_Dataset& dataset, kt_long row_count, kt_long row);

  // REQUIRES for the rest: Has(row).
  // The value in a row. False: to be evaluated by itself.
  bool Read(kt_long row, Kt_Variant& value) const {
    const auto at = static_cast<std::size_t>(row - first_);
    if (KT_UNLIKELY(odd_[at])) return false;
    if (result_is_long_) {
      value.Set(result_->longs[at]);
    } else {
      value.Set(result_->doubles[at]);
    }
    return true;
  }
  // The plain numbers of the block from `row` on, as far as they stand without a gap / down to
  // `row`. None when `row` itself has another value.
  RowNumbers NumbersFrom(kt_long row) const;
  RowNumbers NumbersTo(kt_long row) const;

 private:
  // The values of one operand in the rows of the block.
  struct Lane {
    bool is_long = true;    // the kind of what was planned last
    bool is_known = false;  // holds numbers
    int part = -1;          // of parts_: what it is, and holds no numbers yet; -1: none
    const kt_long* longs = nullptr;
    const double* doubles = nullptr;
    std::vector<kt_long> own_longs;
    std::vector<double> own_doubles;

    // Makes it one of its own numbers of that kind.
    void Own(bool as_long);
  };
  struct NameLane : Lane {
    RowName name;
    bool is_text = false;
  };
  // One instruction with its kernel, which is chosen by the kinds of both sides.
  struct Step;
  using Kernel = void (*)(RowBlock& block, const Step& step);
  struct Step {
    Kernel kernel;
    const Lane* left;
    const Lane* right;
    Lane* out;
    int mask = -1;       // of masks_; -1: none
    bool opens = false;  // the mask
    int memo = -1;
  };
  // A mask from its first test until the instruction `landing`.
  struct OpenMask {
    std::uint16_t temp;
    std::size_t landing;
    int mask;
  };
  struct Kernels;

  RowBlock(const ExprProgram& program, const std::vector<RowCall>& calls)
      : program_(program), calls_(calls) {}
  bool Plan(const std::vector<RowName>& names);
  bool PlanName(const RowName& name);
  bool PlanInstr(const CodeInstr& in);
  bool PlanPart(std::size_t at);
  bool TakeInPart(std::uint16_t operand, TextPart& part);
  bool MakeNumber(std::uint16_t operand);
  bool PlanRelation(const CodeInstr& in);
  void PlanTest(const CodeInstr& in);
  bool PlanReturn(const CodeInstr& in);
  Step& AddStep(const CodeInstr& in, Kernel kernel, bool gives_long);
  int FindMask(std::uint16_t temp) const;
  Lane* LaneOf(std::uint16_t operand);
  bool IsNumber(std::uint16_t operand) { return LaneOf(operand)->is_known; }
  bool IsEmptyConst(std::uint16_t operand) const;

  RowNumbers Numbers(std::size_t from, std::size_t to) const;
  void Load(const Kt_Dataset& dataset);
  void LoadName(NameLane& lane);
  template <class T>
  const T* Gathered(const T* cells, T* own) const;

  const ExprProgram& program_;
  const std::vector<RowCall>& calls_;
  std::vector<NameLane> names_;
  std::vector<Lane> consts_;
  std::vector<Lane> temps_;
  std::vector<Step> steps_;
  std::deque<TextMemo> memos_;
  std::vector<RowMask> masks_;
  std::vector<OpenMask> open_masks_;  // while steps are planned
  std::vector<TextPart> parts_;       // likewise
  const Lane* result_ = nullptr;
  bool result_is_long_ = false;
  kt_long first_ = 0;  // rows [first_, end_) are computed
  kt_long end_ = 0;
  std::size_t count_ = 0;
  bool is_dense_ = false;  // the records follow one another
  std::array<std::uint32_t, kRowsPerBlock> records_;
  std::array<std::uint8_t, kRowsPerBlock> odd_;
};

}  // namespace kt::detail
