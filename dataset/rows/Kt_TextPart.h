// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <tuple>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "dataset/rows/Kt_QuietCall.h"
#include "dataset/rows/Kt_RowNames.h"
#include "dataset/rows/Kt_RowRecords.h"
#include "expr/Kt_ExprProgram.h"

namespace kt::detail {

// A value of a row expression that depends on one column of texts at most: the instructions that
// make it, by number and in their order.
struct TextPart {
  static constexpr int kNoName = -1;

  // Takes in what `other` is made of. False, and nothing changed, when it reads another column.
  bool Merge(const TextPart& other);

  int name = kNoName;                 // of the program; kNoName: constants only
  std::vector<std::uint16_t> instrs;  // of the program, rising
  std::uint16_t result = 0;           // an operand
};

// The mark of a row whose value is not computed ahead.
inline constexpr std::uint8_t kAloneRow = 2;

// The numbers that such a part gives, computed once for every text of the column.
//
// The texts of a column are numbered, and most columns have far fewer of them than rows. So
// `left(trim(city), 2) = 'Os' && length(note) > 9` costs a look into two short arrays for a row. A
// text is computed when the first row that has it is met, by the evaluator's own functions and
// operators; what fails, or is no number of the kind of the others, is not kept: rows with that
// text are evaluated by themselves, which reports what there is to report.
class TextMemo {
 public:
  TextMemo(const ExprProgram& program, const std::vector<RowCall>& calls, TextPart part)
      : program_(&program), calls_(&calls), part_(std::move(part)) {}

  int GetName() const { return part_.name; }
  // The cells have changed. Null for a part without name.
  void Rebind(const Kt_Column* cells);
  // Finds out whether the numbers are longs or doubles, by the first text. False when they are
  // neither.
  bool FindKind();
  bool IsLong() const { return is_long_; }
  // A text has been met that has no number of that kind.
  bool HasOdd() const { return has_odd_; }
  // How many texts there are for a row, at most 1. Hangs on the column only.
  double TextsPerRow() const;

  // The numbers of some records; those that have none are marked as kAloneRow.
  // REQUIRES: T is the type that FindKind found.
  template <class T>
  void Read(const RowRecords& records, std::size_t count, T* numbers, std::uint8_t* marks);
  // The same without computing any: rows whose text has not been met are marked as well. May run on
  // several threads, while none calls Read.
  template <class T>
  void ReadKnown(const RowRecords& records, std::size_t count, T* numbers,
                 std::uint8_t* marks) const;
  // The same for one record. False when Read has not found its number.
  bool Find(std::uint32_t record, Kt_Variant& number) const;

 private:
  enum State : std::uint8_t { kUnknown, kKnown, kOdd };
  std::size_t KeyCount() const;
  std::size_t KeyOf(const Kt_Column::Texts* texts, std::uint32_t record) const;
  template <class T>
  void ReadAll(const RowRecords& records, std::size_t count, T* numbers) const;
  bool Compute(std::size_t key, Kt_Variant& value);
  bool RunInstr(const CodeInstr& in);
  const Kt_Variant& Get(std::uint16_t operand) const;
  template <class T>
  KT_NOINLINE void Learn(std::size_t key, T& number);

  const ExprProgram* program_;
  const std::vector<RowCall>* calls_;
  TextPart part_;
  const Kt_Column* cells_ = nullptr;
  bool is_long_ = true;
  // By code + 1; 0: null.
  kt::CountedVector<std::uint8_t> states_;
  std::size_t known_count_ = 0;  // of those that are kKnown
  bool has_odd_ = false;         // one is kOdd
  std::tuple<kt::CountedVector<kt_long>, kt::CountedVector<double>> known_;
  Kt_Variant text_;  // that is computed at the moment
  std::vector<Kt_Variant> temps_;
  QuietCalls quiet_;
};

}  // namespace kt::detail
