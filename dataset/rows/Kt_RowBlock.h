// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <deque>
#include <memory>
#include <type_traits>
#include <vector>

#include "dataset/rows/Kt_RowNames.h"
#include "dataset/rows/Kt_RowRecords.h"
#include "dataset/rows/Kt_RowSelection.h"
#include "dataset/rows/Kt_TextPart.h"
#include "expr/Kt_ExprProgram.h"
#include "object/Kt_DirectFuncs.h"

class Kt_Dataset;

namespace kt::detail {

// A compiled row expression of plain numbers, computed operation by operation for 1024 rows ahead.
//
// The kind of every value is known from the columns: long or double. A null counts as the long 0 in
// arithmetic, so among doubles there may be longs: those rows are listed beside the doubles, and
// arithmetic goes over the lists once more. Rows in which something else comes up are marked and
// computed again, one by one, by the evaluator's own operators: null cells where null and 0 differ,
// longs that do not fit, division of longs that has no remainder. So nothing of the rules is stated
// twice that is not plain arithmetic. Rows without a record, subtotals among them, are left to the
// row-by-row form. What is computed of one column of texts is computed once per text
// (Kt_TextPart.h).
class RowBlock {
 public:
  // Null when the program has anything else in it.
  static std::unique_ptr<RowBlock> Make(const ExprProgram& program,
                                        const std::vector<RowName>& names,
                                        const std::vector<RowCall>& calls);
  // The same expression for another thread. It computes nothing of a text that this block has not
  // met, nor of numbers of hundreds of digits whose text is charged: their rows are to be evaluated
  // by themselves. So it charges nothing, and what it computes may be thrown away. Borrows this
  // block, which computes nothing meanwhile, and is good until it is bound anew.
  std::unique_ptr<RowBlock> MakeReader(const std::vector<RowName>& names) const;
  // The cells have changed, but not what the names stand for.
  void Rebind(const std::vector<RowName>& names);

  // What a row costs, in plain operations of two numbers, more or less.
  int GetCost() const;
  bool Has(kt_long row) const { return row >= first_ && row < end_; }
  // Computes the block that holds a row of a dataset that shows `row_count` rows.
  KT_NOINLINE void Fill(const Kt_Dataset& dataset, kt_long row_count, kt_long row);
  // Computes the rows [first, end), at most kRowsPerBlock, whose records are told.
  KT_NOINLINE void FillFrom(const RowRecords& records, kt_long first, kt_long end);
  // No row of the block has to be evaluated by itself.
  bool IsWhole() const { return is_whole_; }

  // REQUIRES for the rest: Has(row).
  // The value in a row. False: to be evaluated by itself.
  bool Read(kt_long row, Kt_Variant& value) const {
    const auto at = static_cast<std::size_t>(row - first_);
    if (KT_UNLIKELY(marks_[at] == kAlone)) return false;
    if (KT_UNLIKELY(marks_[at] == kEmpty)) {
      value.Clear();
    } else if (const Lane& lane = LaneWith(marks_[at]); lane.is_long) {
      value.Set(lane.longs[at]);
    } else {
      value.Set(lane.doubles[at]);
    }
    return true;
  }
  // The numbers of one kind of the block from `row` on, as far as they stand without a gap / down
  // to `row`. None when `row` itself has no number.
  RowNumbers NumbersFrom(kt_long row) const;
  RowNumbers NumbersTo(kt_long row) const;
  // As NumbersFrom, for sums: an empty value among the numbers of a column is a 0.
  RowNumbers AddendsFrom(kt_long row) const;

 private:
  // What is known of a row. Steps set the bits of kAgain and kAlone, the rest is final.
  enum Mark : std::uint8_t {
    kPlain = 0,
    kAgain = 1,          // to be computed by single values
    kAlone = kAloneRow,  // to be evaluated by itself
    kOther = 4,          // a number, not of the kind of the result
    kEmpty = 8,
  };
  // Rows of the block, rising.
  using RowList = std::vector<std::uint16_t>;
  // The values of one operand in the rows of the block.
  struct Lane {
    bool is_long = true;        // the kind of what was planned last
    bool is_known = false;      // holds numbers
    bool stays_double = false;  // doubles in every row that is not marked
    int part = -1;              // of parts_: what it is, and holds no numbers yet; -1: none
    int name_index = -1;  // of names_: whose values these are, nulls among them; -1: no name's
    const kt_long* longs = nullptr;
    const double* doubles = nullptr;
    std::vector<kt_long> own_longs;
    std::vector<double> own_doubles;
    // Where the value among doubles is a long, unless they stay doubles. Of a name: its nulls.
    RowList long_rows;
    Kt_Variant single;  // the value in one row, while that is computed again

    template <class T>
    T* OwnOf() {
      if constexpr (std::is_same_v<T, kt_long>) {
        return own_longs.data();
      } else {
        return own_doubles.data();
      }
    }
    // Stores a number of the lane's kind. What is no memory of its own holds it already.
    void Store(std::size_t at, const Kt_Variant& number);
    // Makes it one of its own numbers of that kind.
    void Own(bool as_long);
  };
  struct NameLane : Lane {
    RowName name;
    bool is_text = false;
    std::unique_ptr<RowBlock> computed{};  // of a computed column, what its cells are made of
    RowList nulls{};                       // of such a column
    bool marks_nulls = false;              // somewhere null and 0 differ
    bool lists_nulls = false;              // in long_rows
    int loaded_in = kNotLoaded;            // at which depth_ its numbers were read
  };
  static constexpr int kNotLoaded = -1;
  static constexpr int kListCost = 1;          // of a row of the block, in plain operations
  static constexpr std::size_t kSample = 128;  // rows of a block that stand for the others
  // What a relation gives in rows whose left side is null, the right one, or both.
  struct NullRule {
    const NameLane* left;  // null: never
    const NameLane* right;
    kt_long left_is_null;
    kt_long right_is_null;
    kt_long both_are_null;
  };
  // One instruction with its kernel, which is chosen by the kinds of its operands. Those of a call
  // follow one another from `left` on.
  struct Step;
  struct TestKernels;
  using Kernel = void (*)(RowBlock& block, const Step& step);
  struct Step {
    Kernel kernel;
    const Lane* left;
    const Lane* right;
    Lane* out;
    CodeOp op;
    int left_name = -1;   // of names_: what has to be loaded; -1: none
    int right_name = -1;  // likewise
    int null_rule = -1;   // of null_rules_; -1: none
    // Of a test: the step to go on with when it settles the operation, what the steps up to there
    // cost, whether settled rows would lose their values or marks in them, and whether there are
    // texts, which may do so.
    const TestKernels* test = nullptr;
    std::size_t landing = 0;
    int right_cost = 0;
    bool is_put_back = false;
    bool has_texts = false;
    bool gives_long = false;
    // Whether longs among doubles need a look, and where they are on both sides; null: every row of
    // that side is a long, or, of a choice, none.
    bool tracks_longs = false;
    const RowList* left_longs = nullptr;
    const RowList* right_longs = nullptr;
    int memo = -1;
    const DirectFunc* function = nullptr;  // of a call
    std::uint16_t arg_count = 0;           // likewise
  };
  struct TestKernels {
    bool (*is_settled)(const RowBlock& block, const Step& step);  // in all rows
    // Notes the rows that are settled now or were before; how many are open. `count_` without more
    // ado when more than `most_open` of the first kSample rows are.
    std::size_t (*settle)(const RowBlock& block, const Step& step, std::size_t most_open,
                          RowSelection& selection);
    // Leaves the values of the open rows in the result.
    void (*pick)(const Step& step, const RowSelection& selection);
  };
  struct Kernels;
  // The right side of a test that is being computed, and what steps worked on around it.
  struct OpenSide {
    const Step* test = nullptr;
    std::size_t count = 0;
    RowRecords records;
    const std::uint16_t* rows = nullptr;
    int narrowed_at = 0;
    RowSelection selection;
  };

  RowBlock(const ExprProgram& program, const std::vector<RowCall>& calls)
      : program_(program), calls_(calls) {}
  bool Plan(const std::vector<RowName>& names);
  bool PlanName(const RowName& name);
  bool PlanMapped(NameLane& lane);
  bool PlanInstr(const CodeInstr& in);
  bool PlanPart(std::size_t at);
  bool TakeInPart(std::uint16_t operand, TextPart& part);
  bool MakeNumber(std::uint16_t operand);
  bool AddMemo(const TextPart& part);
  bool PlanMove(const CodeInstr& in);
  bool PlanCall(const CodeInstr& in);
  bool PlanChoice(const CodeInstr& in, const DirectFunc* function);
  Step& AddCall(const CodeInstr& in, const DirectFunc* function, Kernel kernel, bool gives_long);
  bool PlanRelation(const CodeInstr& in);
  void PlanArithmetic(const CodeInstr& in);
  const RowList* LongRowsOf(std::uint16_t operand);
  int PlanNulls(const CodeInstr& in);
  bool GivesOneForNull(const CodeInstr& in, bool left_is_null, bool right_is_null,
                       kt_long& result) const;
  int NameOf(std::uint16_t operand);
  void MarkNullsOf(std::uint16_t operand);
  void PlanTest(const CodeInstr& in);
  bool EndsAsItIsSettled(const CodeInstr& test) const;
  bool PlanReturn(const CodeInstr& in);
  Step& AddStep(const CodeInstr& in, Kernel kernel, bool gives_long);
  Lane* LaneOf(std::uint16_t operand);
  bool IsNumber(std::uint16_t operand) { return LaneOf(operand)->is_known; }
  bool IsEmptyConst(std::uint16_t operand) const;
  bool IsReadAsLong(std::uint16_t operand, std::uint16_t other);

  // Right sides of && and || (Kt_RowBlock_Sides.cpp).
  void WeighTests();
  bool MayMark(const Step& step) const;
  int RightCostOf(const Step& step) const;
  static std::size_t MostOpen(int right_cost, std::size_t count);
  std::size_t RunTest(std::size_t number);
  bool HasOddTexts(std::size_t number) const;
  std::size_t Skip(const Step& test);
  bool IsZeroWhereSettled(const Step& test) const;
  const OpenSide& SideAt(int depth) const {
    return open_sides_[static_cast<std::size_t>(depth - 1)];
  }
  const RowSelection* SettledAround() const;
  void BeginSide(const Step& test, bool is_narrow);
  void EndSides(std::size_t number);
  void EndSide();

  const Lane& LaneWith(std::uint8_t mark) const { return mark == kPlain ? *result_ : other_; }
  RowNumbers Numbers(std::size_t from, std::size_t to) const;
  static bool HasLongTexts(const Step& step, std::size_t count);
  static int CostOf(const Step& step);
  bool RunSteps();
  bool MayRun(const Step& step) const;
  void FinishResult();
  void MarkOddResults();
  const TextMemo& MemoOf(const Step& step) const {
    return (shared_ != nullptr ? *shared_ : *this).memos_[static_cast<std::size_t>(step.memo)];
  }
  void Open(kt_long first, kt_long end);
  RowRecords FindRecords(const Kt_Dataset& dataset);
  RowRecords LookThroughListed();
  void ComputeRows();
  void Load(int name);
  void LoadName(NameLane& lane);
  void LoadMapped(NameLane& lane);
  void NoteNull(NameLane& lane, std::size_t at);
  void ListRows(kt_long* out) const;
  void FixNulls(const NullRule& rule, kt_long* out) const;
  void ComputeAgain();
  void ComputeRow(std::size_t at);
  static void ComputeCall(const Step& step, Kt_Variant& value);
  void ReadSingle(NameLane& lane, std::size_t at) const;
  static void ReadComputed(NameLane& lane, std::size_t at);
  template <class T>
  const T* Gathered(const T* cells, T* own) const;

  const ExprProgram& program_;
  const std::vector<RowCall>& calls_;
  std::vector<NameLane> names_;
  std::vector<Lane> consts_;
  std::vector<Lane> temps_;
  std::vector<Step> steps_;
  std::deque<TextMemo> memos_;
  const RowBlock* shared_ = nullptr;  // whose memos these steps read; null: its own
  int memo_count_ = 0;                // that steps read
  std::vector<NullRule> null_rules_;
  std::vector<TextPart> parts_;  // while steps are planned
  Lane* result_ = nullptr;
  int result_name_ = -1;                  // of names_: whose values it has
  const RowList* odd_results_ = nullptr;  // rows in which the result is no number of its kind
  Mark odd_mark_ = kEmpty;                // but this
  Lane other_;                            // numbers that are not of the result's kind
  bool is_even_ = false;                  // all marks are kPlain
  bool is_whole_ = false;                 // none is kAlone
  bool are_zeros_ = false;                // the result, in all rows
  bool has_addends_ = false;              // all marks are kPlain, or kEmpty where the number is 0
  kt_long first_ = 0;                     // rows [first_, end_) are computed
  kt_long end_ = 0;
  // What steps work on: the rows of the block, or open ones of them.
  std::size_t count_ = 0;
  RowRecords records_;
  const std::uint16_t* rows_ = nullptr;  // which of the block; null: all
  // The right sides that are being computed, one within the other.
  std::deque<OpenSide> open_sides_;
  int depth_ = 0;
  int narrowed_at_ = 0;  // the innermost of them with a list of rows; 0: none
  std::array<std::uint32_t, kRowsPerBlock> listed_;
  RowSelection::Bytes marks_;
  struct LongResult {
    std::uint16_t row;
    bool fits;
    double value;
  };
  std::vector<LongResult> long_results_;  // of the step that runs
};

}  // namespace kt::detail
