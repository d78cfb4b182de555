// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <new>
#include <optional>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Helper.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/store/detail/Kt_LoadedTable.h"

// What forms of files have in common that write row after row.
namespace kt::detail {

// The texts of a column as they are written, made once for all cells that have them: where each
// stands in `text`, by its code. Only short ones, which charge nothing when they are made: so it
// does not matter how often they are.
template <class Text>
struct MadeCells {
  static constexpr std::size_t kLongest = kShortUnits / 2;
  struct Part {
    std::size_t first = 0;
    std::size_t end = 0;  // 0: not made
  };

  Text text;
  CountedVector<Part> parts;  // none where texts are mostly different

  static std::vector<MadeCells> Of(const SavedRows& rows) {
    std::vector<MadeCells> made(rows.columns.size());
    for (std::size_t col = 0; col < made.size(); ++col) {
      const Kt_Column& cells = *rows.columns[col].cells;
      if (cells.Type() != Kt_ColumnType::kString) continue;
      const TextDictionary& texts = cells.Cells<Kt_Column::Texts>().dictionary;
      // Where texts hardly come twice, there is nothing to gain.
      if (texts.Count() < rows.slots.size() / 2) made[col].parts.resize(texts.Count());
    }
    return made;
  }
};

// Takes the bytes of block after block. What `share` of all rows has taken tells how much room all
// will need: growing to the double, as buffers do, could take twice the memory of the result.
// Borrows the buffer.
class BlockBuffer {
 public:
  explicit BlockBuffer(Kt_Buffer& out) : out_(out) {}

  std::size_t Size() const { return out_.GetSize(); }
  void Append(std::string_view bytes, double share) {
    const std::size_t size = out_.GetSize() + bytes.size();
    if (size > room_) MakeRoom(size, share);
    out_.Append(bytes);
  }

 private:
  void MakeRoom(std::size_t size, double share) {
    const auto whole = static_cast<std::size_t>(static_cast<double>(size) / share * kMargin);
    room_ = std::max(whole, size + size / 8);
    try {
      out_.Reserve(room_);
    } catch (const std::bad_alloc&) {
      // The rows to come may be shorter.
    }
  }

  static constexpr double kMargin = 1 + 1.0 / 64;

  Kt_Buffer& out_;
  std::size_t room_ = 0;
};

// Writes rows in blocks, every other one on a second thread if there is one:
//
//   make()                       a block writer: Write(first, end) writes the rows [first, end)
//   pay(first, end)              charges for rows before they are written
//   kt_long take(writer, share)  takes what a writer has written, in the order of the rows: kOk, or
//                                why the save ends. With it `share` of the rows is there, up to 1
//
// What a block runs into counts when it is taken, so the first one in the order of the rows does.
template <class Make, class Pay, class Take>
kt_long WriteInBlocks(const SavedRows& saved, bool may_share, Make make, Pay pay, Take take) {
  constexpr std::size_t kCellsPerBlock = 16 * 1024;
  const std::size_t rows = saved.slots.size();
  const std::size_t step =
      std::max<std::size_t>(kCellsPerBlock / std::max<std::size_t>(saved.columns.size(), 1), 1);
  Helper helper(may_share ? rows : 0);
  alignas(kApart) auto writer = make();
  alignas(kApart) std::optional<decltype(writer)> other;
  if (helper.IsThere()) other.emplace(make());
  const auto take_up_to = [&](std::size_t end, const auto& written) {
    return take(written, static_cast<double>(end) / static_cast<double>(rows));
  };
  for (std::size_t first = 0; first < rows;) {
    const std::size_t middle = std::min(first + step, rows);
    const std::size_t end = std::min(middle + step, rows);
    pay(first, end);
    kt_long code = kOk;
    if (other) {
      helper.Both([&] { writer.Write(first, middle); }, [&] { other->Write(middle, end); });
      code = take_up_to(middle, writer);
      if (code == kOk) code = take_up_to(end, *other);
    } else {
      // The second block is written whatever became of the first, as two threads do: a save that
      // is refused has charged the same then.
      writer.Write(first, middle);
      code = take_up_to(middle, writer);
      writer.Write(middle, end);
      if (code == kOk) code = take_up_to(end, writer);
    }
    if (code != kOk) return code;
    first = end;
  }
  return kOk;
}

}  // namespace kt::detail
