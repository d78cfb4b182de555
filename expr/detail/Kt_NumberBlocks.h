// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "expr/detail/Kt_NumberCode.h"

namespace kt::detail {

// Number code over many rows: every instruction is a loop over a block of them, which a compiler
// turns into instructions for several numbers at once. What && and || jump over is computed all the
// same, and the rows that would have jumped take what they would have had. REQUIRES: the code
// calls no function of the host, which would notice.
//
// For one thread.
class NumberBlocks {
 public:
  // So many that the loops count and a dozen blocks stay in the nearest cache.
  static constexpr std::size_t kRows = 256;

  // `rows` is the most that a block will have.
  NumberBlocks(const NumberCode& code, std::size_t rows);

  // Computes the first `rows` numbers at the places, which `out` may be one of. False, and `out` as
  // it was, when a row is to be evaluated in the general form.
  bool Run(const double* const* places, std::size_t rows, double* out);

 private:
  // A jump on the way: the rows that take it, and what they have there.
  struct Jump {
    std::size_t target;
    double value;
    std::vector<double> taken;
  };
  // The sides of an operator.
  struct Column {
    const double* at;
    double operator[](std::size_t row) const { return at[row]; }
  };
  struct Constant {
    double value;
    double operator[](std::size_t) const { return value; }
  };

  void Step(const NumberInstr& in);
  void Store(std::size_t slot);
  void Leave(std::size_t target, bool when);
  void Land(std::size_t at);
  bool HasMinusZero() const;

  template <class Compute>
  void Each(Compute compute);
  template <double (*kOperator)(double, double), class Left, class Right>
  void Apply(Left left, Right right);
  template <double (*kOperator)(double)>
  void Apply(Column value);
  void ApplyBlock(void (*block)(const double* in, double* out, std::size_t count));

  Column Place(std::size_t at) const { return {places_[at]}; }
  Column Slot(std::size_t at) const { return {slots_[at].data()}; }
  Column Acc() const { return {acc_}; }

  const NumberCode& code_;
  std::size_t most_rows_;
  std::vector<std::vector<double>> slots_;  // empty ones: never stored
  std::vector<double> scratch_;             // no slot
  std::vector<Jump> jumps_;                 // the inner ones last
  std::size_t jump_count_ = 0;              // of those, on the way
  const double* const* places_ = nullptr;
  std::size_t rows_ = 0;
  double* out_ = nullptr;
  const double* acc_ = nullptr;  // a place, a slot, `scratch_` or `out_`
  bool is_last_ = false;         // nothing is read from a place any more: `out_` may be written
};

}  // namespace kt::detail
