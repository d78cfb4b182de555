// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_Memory.h"

namespace kt::detail {

class ZipArchive;

// The texts that the cells of a workbook share, in UTF-8.
class XlsxTexts {
 public:
  void Add(std::string_view text);
  std::size_t Count() const { return ends_.size(); }
  std::string_view operator[](std::size_t at) const {
    const std::size_t begin = at == 0 ? 0 : ends_[at - 1];
    return std::string_view(bytes_).substr(begin, ends_[at] - begin);
  }

 private:
  CountedBytes bytes_;
  CountedVector<std::size_t> ends_;
};

// What a workbook says besides its cells.
struct XlsxBook {
  struct Sheet {
    std::string name;
    std::string part;  // of the archive
  };
  std::vector<Sheet> sheets;  // without those that are only charts
  bool begins_1904 = false;   // day numbers count from then
  // By the style of a cell: whether its number is a day.
  std::vector<bool> is_date;
  XlsxTexts texts;
};

bool ReadXlsxBook(ZipArchive& archive, XlsxBook& book, std::string& error);

// Whether a number format shows a day, and not only a time of day, a duration or a number.
bool IsDateFormat(std::string_view code);

// The text with "_x000D_" and the like, which stand for what XML does not allow, as what they mean.
bool HasXlsxEscapes(std::string_view text);
CountedBytes WithoutXlsxEscapes(std::string_view text);

}  // namespace kt::detail
