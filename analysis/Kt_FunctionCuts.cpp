// SPDX-License-Identifier: MIT
//
// Where one function of a broken script ends and the next one begins. While brackets and quotes
// match, the braces say so. Behind the place where they do not, a line that begins with `function`
// at the left edge is taken for the next one: whoever forgets a brace or a quote does it in one
// function, and the lines still show where that ends.
#include <algorithm>
#include <utility>

#include "analysis/Kt_Repair.h"
#include "expr/Kt_ExprUtil.h"

namespace kt::analysis {
namespace {

bool IsBlank(char16_t unit) { return unit == u' ' || unit == u'\t'; }

class Cutter {
 public:
  Cutter(std::u16string_view source, kt_long unsure_from)
      : source_(source), unsure_from_(static_cast<std::size_t>(unsure_from)) {}

  std::vector<kt_long> Run() {
    while (at_ < source_.size()) {
      if (BeginsFunction(at_) && (IsBetweenItems() || at_ > unsure_from_)) Cut();
      const char16_t unit = source_[at_];
      if (unit == u'/') {
        SkipComment();
      } else if (unit == u'"' || unit == u'\'') {
        last_ = unit;
        SkipString();
      } else {
        if (unit == u'{') ++depth_;
        if (unit == u'}' && depth_ > 0) --depth_;
        if (!IsBlank(unit) && unit != u'\r' && unit != u'\n') last_ = unit;
        ++at_;
      }
    }
    return std::move(cuts_);
  }

 private:
  bool BeginsFunction(std::size_t at) const {
    constexpr std::u16string_view kWord = u"function";
    const bool begins_line = at == 0 || source_[at - 1] == u'\n' || source_[at - 1] == u'\r';
    if (!begins_line || at + kWord.size() >= source_.size()) return false;
    return IsBlank(source_[at + kWord.size()]) &&
           Kt_WString(source_.substr(at, kWord.size())).EqualsNoCase(kWord);
  }

  bool IsBetweenItems() const { return depth_ == 0 && (last_ == u'}' || last_ == u';'); }

  void Cut() {
    cuts_.push_back(static_cast<kt_long>(at_));
    depth_ = 0;
    at_ += 1;
  }

  // One without end is no comment.
  void SkipComment() {
    const std::u16string_view mark = source_.substr(at_, 2);
    std::size_t end = source_.npos;
    if (mark == u"//") end = std::min(source_.find_first_of(u"\r\n", at_), source_.size());
    if (mark == u"/*" && !is_open_) {
      end = source_.find(u"*/", at_ + 2);
      is_open_ = end == source_.npos;
      if (!is_open_) end += 2;
    }
    at_ = end == source_.npos ? at_ + 1 : end;
  }

  // To its end; where quotes may be missing not over the end of the line, which few strings go
  // over.
  void SkipString() {
    std::size_t most = source_.size();
    if (at_ > unsure_from_) most = std::min(source_.find_first_of(u"\r\n", at_), most);
    const std::u16string_view rest = source_.substr(at_, most - at_);
    const int length =
        Kt_ExprUtil::FindQuotEnd(rest.data(), static_cast<kt_long>(rest.size()), rest[0]);
    at_ = length < 0 ? most : at_ + static_cast<std::size_t>(length);
  }

  const std::u16string_view source_;
  const std::size_t unsure_from_;
  std::size_t at_ = 0;
  int depth_ = 0;         // of braces
  char16_t last_ = u';';  // before it that is neither blank nor comment
  bool is_open_ = false;  // a comment begins that does not end
  std::vector<kt_long> cuts_;
};

}  // namespace

std::vector<kt_long> CutAtFunctions(std::u16string_view source, kt_long unsure_from) {
  return Cutter(source, unsure_from).Run();
}

}  // namespace kt::analysis
