// SPDX-License-Identifier: MIT
#include "expr/Kt_ExprNames.h"

#include "classlib/text/Kt_WString.h"
#include "expr/Kt_ExprUtil.h"

namespace {

using Kind = Kt_ExprName::Kind;

class Reader {
 public:
  explicit Reader(std::u16string_view text) : text_(text) {}

  std::vector<Kt_ExprName> Run() {
    const auto length = static_cast<kt_long>(text_.size());
    for (kt_long at = 0; at < length;) {
      int start = 0;
      int token_length = 0;
      const int next = Kt_ExprUtil::FindToken(text_.data() + at, length - at, start, token_length);
      if (next < 1 || token_length < 1) break;
      at_ = at + start;
      at += next;
      next_ = NextUnit(at);
      Take(text_.substr(static_cast<std::size_t>(at_), static_cast<std::size_t>(token_length)));
    }
    return std::move(names_);
  }

 private:
  static constexpr int kNoName = Kt_ExprName::kNone;

  struct Bracket {
    int call;  // the call whose arguments are in it or around it
    int argument;
    bool is_call;
    int indexed;  // the name whose index is in it
  };

  // The next unit that is no white space; 0 at the end.
  char16_t NextUnit(kt_long at) const {
    const std::size_t next = text_.find_first_not_of(u" \t\r\n", static_cast<std::size_t>(at));
    return next == text_.npos ? u'\0' : text_[next];
  }

  void Take(std::u16string_view token) {
    switch (token[0]) {
      case u'(': return Open(true);
      case u'[': return Open(false);
      case u')':
      case u']': return Close();
      case u',': return TakeComma();
      case u'"':
      case u'\'': return Add(Kind::kLiteral, token);
      default: break;
    }
    if (token == u".") {
      const bool is_element = is_element_;
      Leave(u'.', last_);
      is_element_ = is_element;
      return;
    }
    if (token == u"++" || token == u"--") return TakeStep();
    const bool is_name =
        Kt_ExprUtil::ChkName(token.data(), static_cast<kt_long>(token.size())) == 1;
    if (!is_name || (previous_ != u'.' && IsWord(token))) return Leave(u'x');
    const bool is_called = next_ == u'(';
    if (previous_ == u'.') return Add(is_called ? Kind::kMethod : Kind::kMember, token);
    Add(is_called ? Kind::kCall : Kind::kVariable, token);
  }

  void TakeStep() {
    const bool is_behind = last_ != kNoName;
    if (is_behind) names_[Index(last_)].is_stepped = true;
    Leave(u'x');
    is_prefix_step_ = !is_behind;
  }

  void Add(Kind kind, std::u16string_view token) {
    Kt_ExprName name;
    name.kind = kind;
    name.offset = at_;
    name.length = static_cast<kt_long>(token.size());
    if (previous_ == u'.') {
      name.owner = last_;
      name.is_of_element = is_element_;
    }
    if (!brackets_.empty()) {
      name.call = brackets_.back().call;
      name.argument = brackets_.back().argument;
      const bool begins = previous_ == u'(' || previous_ == u',';
      const bool ends = next_ == u',' || next_ == u')';
      name.is_whole = begins && ends && brackets_.back().is_call;
    }
    name.is_stepped = is_prefix_step_;
    name.is_path_root = next_ == u'.' || next_ == u'[';
    names_.push_back(name);
    Leave(u'n', static_cast<int>(names_.size()) - 1);
  }

  void Open(bool is_paren) {
    const bool is_call = is_paren && last_ != kNoName && IsCall(names_[Index(last_)]);
    Bracket bracket = brackets_.empty() ? Bracket{kNoName, 0, false, kNoName} : brackets_.back();
    if (is_call) bracket = {last_, 0, true, kNoName};
    bracket.is_call = is_call;
    bracket.indexed = is_paren || is_element_ ? kNoName : last_;
    brackets_.push_back(bracket);
    Leave(u'(');
  }

  void Close() {
    int indexed = kNoName;
    if (!brackets_.empty()) {
      const Bracket bracket = brackets_.back();
      brackets_.pop_back();
      indexed = bracket.indexed;
      const bool is_empty = previous_ == u'(' && bracket.argument == 0;
      if (bracket.is_call) {
        names_[Index(bracket.call)].arguments = is_empty ? 0 : bracket.argument + 1;
      }
    }
    Leave(u')', indexed);
    is_element_ = indexed != kNoName;
  }

  void TakeComma() {
    if (!brackets_.empty() && brackets_.back().is_call) ++brackets_.back().argument;
    Leave(u',');
  }

  // `previous`: the token if it is one unit of meaning here, 'n' for a name, 'x' for others.
  void Leave(char16_t previous, int last = kNoName) {
    previous_ = previous;
    last_ = last;
    is_element_ = false;
    is_prefix_step_ = false;
  }

  static bool IsCall(const Kt_ExprName& name) {
    return name.kind == Kind::kCall || name.kind == Kind::kMethod;
  }
  static bool IsWord(std::u16string_view token) {
    const Kt_WString text(token);
    return Kt_ExprUtil::IsConstant(token.data(), static_cast<kt_long>(token.size())) != 0 ||
           text.EqualsNoCase(u"and") || text.EqualsNoCase(u"or");
  }
  static std::size_t Index(int name) { return static_cast<std::size_t>(name); }

  std::u16string_view text_;
  std::vector<Kt_ExprName> names_;
  std::vector<Bracket> brackets_;
  kt_long at_ = 0;               // of the current token
  char16_t next_ = u'\0';        // the first unit behind it
  char16_t previous_ = u'\0';    // the token before it, see Leave
  int last_ = kNoName;           // the name that it was, or that stood in front of its point
  bool is_element_ = false;      // one element of the name is at hand: an index followed it
  bool is_prefix_step_ = false;  // it is a ++ or -- in front of something
};

}  // namespace

std::vector<Kt_ExprName> FindExprNames(std::u16string_view text) { return Reader(text).Run(); }
