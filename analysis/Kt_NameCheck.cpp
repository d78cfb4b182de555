// SPDX-License-Identifier: MIT
//
// Names by the rules of the language: `var` declares in the block where it stands, an assignment to
// a name that nobody knows declares it there, too, and all of a block goes with its end. The body
// of a loop is one block for all turns, so what a name there stands for may stand further down:
// what is not known is kept until the body ends.
#include <algorithm>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "analysis/Kt_Checks.h"
#include "analysis/Kt_ForeignWords.h"
#include "analysis/Kt_MemberCheck.h"
#include "classlib/base/Kt_NativeStack.h"
#include "expr/Kt_ExprNames.h"
#include "expr/Kt_ExprUtil.h"
#include "object/Kt_RunError.h"
#include "script/Kt_ScriptOp.h"

namespace kt::analysis {
namespace {

using Kind = Kt_OutlineNode::Kind;
using NameKind = Kt_ExprName::Kind;

// Looking for the nearest name takes its time, and nobody reads more.
constexpr int kMaxHints = 200;

struct Place {
  std::size_t file = 0;
  kt_long offset = 0;
  kt_long length = 0;
};

struct Variable {
  enum class Origin : std::uint8_t { kArgument, kDeclared, kAssigned };
  Kt_WString name;
  Place place;
  Origin origin;
  std::size_t depth;  // of blocks around it; 0 for a global
  bool is_read = false;
  bool is_set = false;
  bool has_counted = false;  // for a loop that has ended
  int symbol = NameUse::kUnknown;
};

struct Function {
  Kt_WString name;
  int arguments = 0;
  int symbol = NameUse::kUnknown;
};

bool IsNameUnit(char16_t unit) {
  return Kt_ExprUtil::ChkName(&unit, 1) == 1 || (unit >= u'0' && unit <= u'9');
}

class NameCheck {
 public:
  NameCheck(Outlines files, const KnownNames& known, std::vector<Finding>& findings, NameUses* uses)
      : files_(files), known_(known), findings_(findings), uses_(uses) {}

  void Run() {
    for (file_ = 0; file_ < files_.size(); ++file_) Collect();
    for (file_ = 0; file_ < files_.size(); ++file_) CheckEach(Kind::kVariable);
    for (file_ = 0; file_ < files_.size(); ++file_) CheckEach(Kind::kFunction);
  }

 private:
  struct Scope {
    bool is_loop = false;
    kt_long end = 0;
    std::vector<std::u16string> names;  // what ends with it
  };
  // What may turn out well when the body of the loop around it has been seen.
  struct Pending {
    std::u16string folded;
    Finding finding;
    std::size_t use = 0;  // of an unknown variable
  };

  // What all files have ---------------------------------------------------------------------------

  void Collect() {
    Function* function = nullptr;
    for (const Kt_OutlineNode& node : files_[file_]->nodes) {
      if (node.kind == Kind::kFunction) {
        function = &functions_[Folded(node.text)];
        function->name = node.text;
        NoteFunction(*function, node);
      }
      // A second definition is appended to the first, its arguments, too.
      if (node.kind == Kind::kArgument) ++function->arguments;
      if (node.kind == Kind::kExpression || node.kind == Kind::kTarget) CollectMentions(node);
    }
  }

  void CollectMentions(const Kt_OutlineNode& node) {
    const std::vector<Kt_ExprName> names = FindExprNames(node.text);
    for (const Kt_ExprName& literal : names) {
      if (literal.kind == NameKind::kMethod) NoteChange(node, names, literal);
      if (literal.kind != NameKind::kLiteral) continue;
      const bool is_made = literal.argument == 0 && literal.call != Kt_ExprName::kNone &&
                           MakesNames(node, names[Index(literal.call)]);
      MentionWords(TextOf(node, literal), is_made);
    }
  }

  void NoteChange(const Kt_OutlineNode& node, const std::vector<Kt_ExprName>& names,
                  const Kt_ExprName& call) {
    static constexpr std::u16string_view kAdding[] = {u"addcolumn", u"addconstcolumn",
                                                      u"addlogicalcolumn"};
    static constexpr std::u16string_view kChanging[] = {u"appenddataset", u"assign", u"clear",
                                                        u"copy",          u"copyf",  u"loadcsv",
                                                        u"loadxml",       u"merge",  u"reset"};
    const std::u16string method = Folded(TextOf(node, call));
    if (std::ranges::find(kChanging, method) != std::end(kChanging)) changes_columns_ = true;
    if (std::ranges::find(kAdding, method) == std::end(kAdding)) return;
    const auto name = std::ranges::find_if(names, [&](const Kt_ExprName& literal) {
      return literal.kind == NameKind::kLiteral && literal.is_whole && literal.argument == 0 &&
             literal.call == &call - names.data();
    });
    if (name == names.end()) {
      changes_columns_ = true;
    } else {
      const std::u16string_view quoted = TextOf(node, *name);
      added_columns_.insert(Folded(quoted.substr(1, quoted.size() - 2)));
    }
  }

  bool MakesNames(const Kt_OutlineNode& node, const Kt_ExprName& call) const {
    const KnownNames::Function* const function =
        call.kind == NameKind::kCall ? known_.FindFunction(Folded(TextOf(node, call))) : nullptr;
    return function != nullptr && function->makes_names;
  }

  void MentionWords(std::u16string_view literal, bool is_made) {
    for (std::size_t at = 0; at < literal.size();) {
      std::size_t end = at;
      while (end < literal.size() && IsNameUnit(literal[end])) ++end;
      const std::u16string_view word = literal.substr(at, end - at);
      if (!word.empty()) mentions_.insert(Folded(word));
      if (!word.empty() && is_made) made_.emplace(Folded(word), word);
      at = end + 1;
    }
  }

  // Globals and functions -------------------------------------------------------------------------

  void CheckEach(Kind kind) {
    EachChild(*files_[file_], nullptr, [&](const Kt_OutlineNode& node) {
      if (node.kind != kind) return;
      told_calls_.clear();
      kind == Kind::kVariable ? Walk(node, 0) : CheckFunction(node);
      TellPending();
    });
  }

  // Its arguments are variables of its body.
  void CheckFunction(const Kt_OutlineNode& function) {
    runs_texts_ = false;
    ended_.clear();
    Open(function, false);
    EachChild(*files_[file_], &function, [&](const Kt_OutlineNode& node) {
      if (node.kind == Kind::kArgument) AddArgument(node);
      if (node.kind == Kind::kScope) WalkChildren(node, 0);
    });
    Close();
  }

  void AddArgument(const Kt_OutlineNode& node) {
    const Variable* const earlier = Visible(Folded(node.text));
    if (IsOfThisBlock(earlier)) return NoteUse(PlaceOf(node), earlier->symbol, true);
    Add(node, Variable::Origin::kArgument).is_set = true;
  }

  void WalkChildren(const Kt_OutlineNode& parent, std::int16_t code) {
    EachChild(*files_[file_], &parent, [&](const Kt_OutlineNode& node) { Walk(node, code); });
  }

  // `code`: of the statement that the node is directly in.
  void Walk(const Kt_OutlineNode& node, std::int16_t code) {
    switch (node.kind) {
      case Kind::kExpression:
      case Kind::kTarget: return ReadNames(node);
      case Kind::kVariable: WalkChildren(node, 0); return Declare(node, code == kScriptFor);
      case Kind::kSet: WalkChildren(node, 0); return Assign(node);
      case Kind::kScope: {
        if (!kt_hasstack()) return;
        Open(node, code == kScriptWhile || code == kScriptFor);
        WalkChildren(node, 0);
        return Close();
      }
      default:
        WalkChildren(node, node.code);
        if (node.code == kScriptFor) EndCounting(node);
        return;
    }
  }

  // Blocks ----------------------------------------------------------------------------------------

  void Open(const Kt_OutlineNode& node, bool is_loop) {
    scopes_.push_back({is_loop, node.end, {}});
    if (is_loop) loops_.emplace_back();
  }

  void Close() {
    std::vector<Pending> pending;
    if (scopes_.back().is_loop) {
      pending = std::move(loops_.back());
      std::erase_if(pending, [&](const Pending& one) { return TurnsOutWell(one); });
      loops_.pop_back();
    }
    for (const std::u16string& folded : scopes_.back().names) Judge(folded);
    for (const std::u16string& folded : scopes_.back().names) {
      visible_[folded].pop_back();
      ended_.insert(folded);
    }
    scopes_.pop_back();
    for (Pending& one : pending) Tell(std::move(one.folded), std::move(one.finding), one.use);
  }

  // The loop has a variable of that name after all.
  bool TurnsOutWell(const Pending& one) {
    Variable* const variable = Visible(one.folded);
    if (!IsOfThisBlock(variable)) return false;
    if (one.finding.code == FindingCode::kUnknownVariable) {
      variable->is_read = true;
      if (uses_ != nullptr) uses_->uses[one.use].symbol = variable->symbol;
    }
    return true;
  }

  void Tell(std::u16string folded, Finding finding, std::size_t use = 0) {
    std::vector<Pending>& pending = loops_.empty() ? pending_ : loops_.back();
    pending.push_back({std::move(folded), std::move(finding), use});
  }

  // A name that is unknown is told once. That nothing reads what is set in a block has the same
  // cause as that the name is not known behind the block.
  void TellPending() {
    std::unordered_set<std::u16string> unknown;
    for (Pending& one : pending_) {
      if (one.finding.code != FindingCode::kUnknownVariable) continue;
      if (unknown.insert(one.folded).second) findings_.push_back(std::move(one.finding));
    }
    for (Pending& one : pending_) {
      if (one.finding.code == FindingCode::kUnusedVariable && !unknown.contains(one.folded)) {
        findings_.push_back(std::move(one.finding));
      }
    }
    pending_.clear();
  }

  // What became of a variable whose block ends.
  void Judge(const std::u16string& folded) {
    const Variable& variable = *Visible(folded);
    if (variable.origin == Variable::Origin::kArgument || mentions_.contains(folded)) return;
    const Kt_WString shown = Kt_WString(u"'") + variable.name + u"'";
    if (variable.is_read && !variable.is_set) {
      Report(FindingCode::kUnsetVariable, variable.place, shown + u" is read and nothing sets it");
    }
    if (variable.is_read || runs_texts_) return;
    if (variable.origin == Variable::Origin::kDeclared) {
      Report(FindingCode::kUnusedVariable, variable.place, Kt_WString(u"nothing reads ") + shown);
    } else {
      const Kt_WString text = shown + u" is set and nothing reads it";
      Tell(folded, Make(FindingCode::kUnusedVariable, variable.place,
                        WithHint(text, variable.name, VariableNames(variable.name))));
    }
  }

  // Variables -------------------------------------------------------------------------------------

  Variable* Visible(const std::u16string& folded) {
    const auto found = visible_.find(folded);
    return found != visible_.end() && !found->second.empty() ? &found->second.back() : nullptr;
  }

  bool IsOfThisBlock(const Variable* variable) const {
    return variable != nullptr && variable->depth == scopes_.size();
  }

  Variable& Add(const Kt_OutlineNode& node, Variable::Origin origin) {
    std::u16string folded = Folded(node.text);
    std::vector<Variable>& variables = visible_[folded];
    variables.push_back({node.text, PlaceOf(node), origin, scopes_.size()});
    NoteVariable(variables.back());
    if (!scopes_.empty()) scopes_.back().names.push_back(std::move(folded));
    return variables.back();
  }

  void EndCounting(const Kt_OutlineNode& loop) {
    EachChild(*files_[file_], &loop, [&](const Kt_OutlineNode& node) {
      if (node.kind != Kind::kVariable) return;
      if (Variable* const counter = Visible(Folded(node.text))) counter->has_counted = true;
    });
  }

  // Two loops that count with the same variable, one after the other, are no fault.
  void Declare(const Kt_OutlineNode& node, bool is_for_head) {
    const bool is_set = HasValue(node);
    Variable* const earlier = Visible(Folded(node.text));
    if (IsOfThisBlock(earlier)) {
      earlier->is_set = earlier->is_set || is_set;
      NoteUse(PlaceOf(node), earlier->symbol, true);
      if (is_for_head) earlier->has_counted = false;
      if (is_for_head || earlier->origin == Variable::Origin::kAssigned) return;
      const bool is_argument = earlier->origin == Variable::Origin::kArgument;
      Report(FindingCode::kDeclaredTwice, PlaceOf(node),
             Kt_WString(u"'") + node.text +
                 (is_argument ? u"' is an argument, and this replaces its value"
                              : u"' is declared already, and this replaces its value"));
      return;
    }
    const bool is_free = is_for_head && earlier != nullptr && earlier->has_counted;
    if (earlier != nullptr && earlier->depth > 0 && !is_free) {
      Report(FindingCode::kHiddenVariable, PlaceOf(node),
             Kt_WString(u"this hides the '") + node.text + u"' of a block around it");
    }
    Add(node, Variable::Origin::kDeclared).is_set = is_set;
  }

  bool HasValue(const Kt_OutlineNode& node) const {
    return node.next > static_cast<std::size_t>(&node - files_[file_]->nodes.data()) + 1;
  }

  void Assign(const Kt_OutlineNode& node) {
    const std::u16string folded = Folded(node.text);
    if (Variable* const variable = Visible(folded)) {
      variable->is_set = true;
      NoteUse(PlaceOf(node), variable->symbol);
    } else if (IsOfHost(folded)) {
      NoteHostUse(Symbol::Kind::kHostVariable, folded, node.text, PlaceOf(node));
    } else {
      if (node.code != kScriptSet) return TellUnknown(folded, node.text, PlaceOf(node));
      Add(node, Variable::Origin::kAssigned).is_set = true;
    }
  }

  // Expressions -----------------------------------------------------------------------------------

  void ReadNames(const Kt_OutlineNode& node) {
    const std::vector<Kt_ExprName> names = FindExprNames(node.text);
    for (const Kt_ExprName& name : names) {
      if (name.kind == NameKind::kVariable) Read(node, names, name);
      if (name.kind == NameKind::kCall) CheckCall(node, names, name);
      if (name.owner != Kt_ExprName::kNone) CheckMember(node, names, name);
    }
  }

  // Of an object or a dataset that no variable of the script hides; of a dataset when its columns
  // stay as they are, but for some that are added.
  void CheckMember(const Kt_OutlineNode& node, const std::vector<Kt_ExprName>& names,
                   const Kt_ExprName& member) {
    const Kt_ExprName& owner = names[Index(member.owner)];
    const std::u16string folded = Folded(TextOf(node, owner));
    if (owner.kind != NameKind::kVariable || Visible(folded) != nullptr) return;
    if (made_.contains(folded)) return;
    MemberCheck check(known_, added_columns_, file_, node, names, findings_);
    if (const KnownNames::Object* const object = known_.FindObject(folded)) {
      check.Check(*object, member);
    }
    const KnownNames::Dataset* const dataset = known_.FindDataset(folded);
    if (dataset != nullptr && !changes_columns_) check.Check(*dataset, member);
  }

  void Read(const Kt_OutlineNode& node, const std::vector<Kt_ExprName>& names,
            const Kt_ExprName& name) {
    const Kt_WString text(TextOf(node, name));
    const std::u16string folded = Folded(text);
    if (Variable* const variable = Visible(folded)) {
      variable->is_read = true;
      NoteUse(PlaceOf(node, name), variable->symbol);
      const bool is_target = node.kind == Kind::kTarget && &name == names.data();
      if (is_target || name.is_stepped || IsReferred(node, names, name)) variable->is_set = true;
    } else if (name.is_path_root || IsOfHost(folded)) {
      NoteHostUse(Symbol::Kind::kHostVariable, folded, text, PlaceOf(node, name));
    } else {
      TellUnknown(folded, text, PlaceOf(node, name));
    }
  }

  bool IsOfHost(const std::u16string& folded) const {
    return known_.HasVariable(folded) || made_.contains(folded);
  }

  // In the parentheses of ref().
  bool IsReferred(const Kt_OutlineNode& node, const std::vector<Kt_ExprName>& names,
                  const Kt_ExprName& name) const {
    return name.call != Kt_ExprName::kNone &&
           Kt_WString(TextOf(node, names[Index(name.call)])).EqualsNoCase(u"ref");
  }

  void TellUnknown(const std::u16string& folded, const Kt_WString& name, const Place& place) {
    const Kt_WString text = Kt_WString(u"unknown variable '") + name + u"'";
    const Foreign* const foreign = FindValueName(name);
    Finding finding = Make(FindingCode::kUnknownVariable, place, text);
    if (ended_.contains(folded)) {
      finding.message = text + u": the one in a block above ended with that block";
    } else if (foreign != nullptr) {
      Suggest(*foreign, finding);
    } else {
      finding.message = WithHint(text, name, VariableNames(name));
    }
    Tell(folded, std::move(finding), UseCount());
    NoteUse(place, NameUse::kUnknown);
  }

  void CheckCall(const Kt_OutlineNode& node, const std::vector<Kt_ExprName>& names,
                 const Kt_ExprName& call) {
    const Kt_WString name(TextOf(node, call));
    const std::u16string folded = Folded(name);
    const KnownNames::Function* const known = known_.FindFunction(folded);
    const auto own = functions_.find(folded);
    if (folded == u"eval" && !HasLiteral(names, call)) runs_texts_ = true;
    if (own != functions_.end() && known == nullptr) {
      NoteUse(PlaceOf(node, call), own->second.symbol);
    } else {
      NoteHostUse(Symbol::Kind::kHostFunction, folded, name, PlaceOf(node, call));
    }
    if (own != functions_.end()) {
      if (known == nullptr) CheckOwnCount(own->second, call, PlaceOf(node, call));
    } else if (known == nullptr) {
      if (told_calls_.insert(folded).second) TellUnknownCall(name, PlaceOf(node, call));
    } else if (call.arguments != Kt_ExprName::kNone && !known->counts.Allows(call.arguments)) {
      Report(FindingCode::kArgumentCount, PlaceOf(node, call),
             known->counts.Complaint(known->name, call.arguments));
    }
  }

  void TellUnknownCall(const Kt_WString& name, const Place& place) {
    const Kt_WString text = Kt_WString(u"unknown function '") + name + u"'";
    const Foreign* const foreign = FindFunctionName(name);
    Report(FindingCode::kUnknownFunction, place,
           foreign != nullptr ? text : WithHint(text, name, FunctionNames()));
    if (foreign != nullptr) Suggest(*foreign, findings_.back());
  }

  // Fewer are fine: the rest is empty.
  void CheckOwnCount(const Function& function, const Kt_ExprName& call, const Place& place) {
    if (call.arguments <= function.arguments) return;
    const ArgumentCounts counts{function.arguments, function.arguments};
    Report(FindingCode::kArgumentCount, place,
           Kt_WString(u"'") + function.name + u"' has " + counts.Text() + u", not " +
               Number(call.arguments) + u"; what is more is dropped");
  }

  // Whether the text that `call` runs is there to be read.
  static bool HasLiteral(const std::vector<Kt_ExprName>& names, const Kt_ExprName& call) {
    return std::any_of(names.begin(), names.end(), [&](const Kt_ExprName& name) {
      return name.kind == NameKind::kLiteral && name.is_whole && name.call == &call - names.data();
    });
  }

  // What names stand for
  // ---------------------------------------------------------------------------

  std::size_t UseCount() const { return uses_ != nullptr ? uses_->uses.size() : 0; }

  void NoteUse(const Place& place, int symbol, bool declares = false) {
    if (uses_ == nullptr) return;
    uses_->uses.push_back({place.file, place.offset, place.length, symbol, declares});
  }

  int NewSymbol(Symbol symbol) {
    if (uses_ == nullptr) return NameUse::kUnknown;
    uses_->symbols.push_back(std::move(symbol));
    return static_cast<int>(uses_->symbols.size()) - 1;
  }

  void NoteVariable(Variable& variable) {
    const Place& place = variable.place;
    Symbol::Kind kind = Symbol::Kind::kLocal;
    if (variable.origin == Variable::Origin::kArgument) kind = Symbol::Kind::kArgument;
    if (scopes_.empty()) kind = Symbol::Kind::kGlobal;
    const kt_long end = scopes_.empty() ? 0 : scopes_.back().end;
    variable.symbol = NewSymbol({kind, variable.name, place.file, place.offset, place.length, end});
    NoteUse(place, variable.symbol, true);
  }

  void NoteFunction(Function& function, const Kt_OutlineNode& node) {
    const Place place = PlaceOf(node);
    if (function.symbol == NameUse::kUnknown) {
      function.symbol = NewSymbol(
          {Symbol::Kind::kFunction, function.name, place.file, place.offset, place.length, 0});
    }
    NoteUse(place, function.symbol, true);
  }

  void NoteHostUse(Symbol::Kind kind, const std::u16string& folded, const Kt_WString& name,
                   const Place& place) {
    if (uses_ == nullptr) return;
    const bool is_call = kind == Symbol::Kind::kHostFunction;
    const auto [found, is_new] = (is_call ? host_calls_ : host_variables_).try_emplace(folded, 0);
    if (is_new) found->second = NewSymbol({kind, name, 0, 0, 0, 0});
    NoteUse(place, found->second);
  }

  // Findings --------------------------------------------------------------------------------------

  static std::size_t Index(int name) { return static_cast<std::size_t>(name); }
  static std::u16string_view TextOf(const Kt_OutlineNode& node, const Kt_ExprName& name) {
    return node.text.View().substr(Index(name.offset), Index(name.length));
  }
  static Kt_WString Number(int count) { return Kt_WString::FromUtf8(std::to_string(count)); }

  Place PlaceOf(const Kt_OutlineNode& node) const {
    return {file_, node.text_start, node.text.GetLength()};
  }
  Place PlaceOf(const Kt_OutlineNode& node, const Kt_ExprName& name) const {
    return {file_, node.SourceOf(name.offset), name.length};
  }

  static Finding Make(FindingCode code, const Place& place, Kt_WString message) {
    return {code, place.file, place.offset, place.length, std::move(message)};
  }
  void Report(FindingCode code, const Place& place, Kt_WString message) {
    findings_.push_back(Make(code, place, std::move(message)));
  }

  Kt_WString WithHint(const Kt_WString& text, const Kt_WString& name,
                      std::vector<Kt_WString> names) {
    if (++hints_ > kMaxHints) return text;
    std::sort(names.begin(), names.end(), [](const Kt_WString& a, const Kt_WString& b) {
      return a.View() < b.View();  // of names that are as near as each other the first is taken
    });
    return kt::WithHint(text, name, names);
  }

  // Those that can be seen, but for `except`.
  std::vector<Kt_WString> VariableNames(const Kt_WString& except) const {
    std::vector<Kt_WString> names;
    if (hints_ >= kMaxHints) return names;
    known_.ListVariables(names);
    for (const auto& [folded, name] : made_) names.push_back(name);
    for (const auto& [folded, variables] : visible_) {
      if (!variables.empty()) names.push_back(variables.back().name);
    }
    std::erase_if(names, [&](const Kt_WString& name) { return name.EqualsNoCase(except); });
    return names;
  }

  std::vector<Kt_WString> FunctionNames() const {
    std::vector<Kt_WString> names;
    if (hints_ >= kMaxHints) return names;
    known_.ListFunctions(names);
    for (const auto& [folded, function] : functions_) names.push_back(function.name);
    return names;
  }

  const Outlines files_;
  const KnownNames& known_;
  std::vector<Finding>& findings_;
  NameUses* const uses_;                                // null: nobody wants them
  std::unordered_map<std::u16string, int> host_calls_;  // their symbols
  std::unordered_map<std::u16string, int> host_variables_;
  std::size_t file_ = 0;  // the one at hand
  int hints_ = 0;
  std::unordered_map<std::u16string, Function> functions_;
  // The words of text literals: the texts may be evaluated, or be expressions over rows.
  std::unordered_set<std::u16string> mentions_;
  bool changes_columns_ = false;  // a method may change the columns of some dataset
  std::unordered_set<std::u16string> added_columns_;     // to some dataset
  std::unordered_map<std::u16string, Kt_WString> made_;  // calls make something of that name
  // By name: the variables that can be seen, the innermost last.
  std::unordered_map<std::u16string, std::vector<Variable>> visible_;
  std::vector<Scope> scopes_;
  std::vector<std::vector<Pending>> loops_;  // of each loop around the node at hand
  // Of the function at hand.
  bool runs_texts_ = false;  // eval() of a text that is not known
  std::unordered_set<std::u16string> ended_;
  std::unordered_set<std::u16string> told_calls_;  // unknown ones
  std::vector<Pending> pending_;
};

}  // namespace

void CheckNames(Outlines files, const KnownNames& known, std::vector<Finding>& findings,
                NameUses* uses) {
  NameCheck(files, known, findings, uses).Run();
}

}  // namespace kt::analysis
