// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "dataset/rows/Kt_RowExpr.h"

namespace kt::detail {

// A compiled row expression of plain numbers, computed operation by operation for 1024 rows ahead.
//
// The kind of every value is known from the columns: long or double. Rows in which something else
// comes up are marked and left to the row-by-row form, so nothing of the rules is stated twice that
// is not plain arithmetic: null cells, subtotals, longs that do not fit, division of longs that has
// no rest. A column of texts may be compared with a constant, once per text of its dictionary.
class RowBlock {
 public:
  static constexpr kt_long kRows = 1024;

  // Null when the program has anything else in it.
  static std::unique_ptr<RowBlock> Make(const ExprProgram& program,
                                        const std::vector<RowName>& names);
  // The cells have changed, but not what the names stand for.
  void Rebind(const std::vector<RowName>& names);

  // Computes the block that holds a row of the loop.
  void Go(const RowLoop& loop, kt_long row) {
    if (KT_UNLIKELY(row < first_ || row >= end_)) Fill(loop, row);
  }
  // The value in a row of the block. False: to be evaluated by itself.
  bool Read(kt_long row, Kt_Variant& value) const {
    const auto at = static_cast<std::size_t>(row - first_);
    if (KT_UNLIKELY(odd_[at])) return false;
    if (result_->is_long) {
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
    bool is_long = true;
    bool is_known = false;  // holds numbers
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
  // One side a column of texts, the other a constant.
  struct TextTest {
    std::size_t instr;
    std::size_t name;
    std::uint16_t constant;
    bool text_is_left;
    std::vector<std::int8_t> known;  // by text: 0 or 1; -1: not asked yet
  };
  // Rows whose value of a temp of && or || is settled until the instruction `landing`.
  struct Settled {
    std::uint16_t temp;
    std::size_t landing;
    std::array<std::int8_t, kRows> value;  // 0 or 1; -1: not settled
  };

  explicit RowBlock(const ExprProgram& program) : program_(program) {}
  bool Plan(const std::vector<RowName>& names);
  bool PlanName(const RowName& name);
  bool PlanInstr(std::size_t at);
  bool PlanTextTest(std::size_t at);
  Lane* LaneOf(std::uint16_t operand);
  bool IsNumber(std::uint16_t operand);
  bool IsTextName(std::uint16_t operand) const;

  RowNumbers Numbers(std::size_t from, std::size_t to) const;
  KT_NOINLINE void Fill(const RowLoop& loop, kt_long row);
  void Load(const RowLoop& loop);
  void LoadName(NameLane& lane);
  template <class T>
  const T* Gathered(const T* cells, T* own) const;
  void Run();
  void RunInstr(std::size_t at);
  void RunTextTest(TextTest& test);
  void RunLogic(const CodeInstr& in);
  void RunTest(const CodeInstr& in);
  void RunArithmetic(const CodeInstr& in);
  void RunRelation(const CodeInstr& in);
  Settled* FindSettled(std::uint16_t temp);
  void Land(std::size_t at);

  const ExprProgram& program_;
  std::vector<NameLane> names_;
  std::vector<Lane> consts_;
  std::vector<Lane> temps_;
  std::vector<TextTest> text_tests_;
  std::vector<Settled> settled_;
  const Lane* result_ = nullptr;
  kt_long first_ = 0;  // rows [first_, end_) are computed
  kt_long end_ = 0;
  std::size_t count_ = 0;
  bool is_dense_ = false;  // the records follow one another
  std::array<std::uint32_t, kRows> records_;
  std::array<std::uint8_t, kRows> odd_;
};

}  // namespace kt::detail
