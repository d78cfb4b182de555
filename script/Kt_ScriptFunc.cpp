// SPDX-License-Identifier: MIT
#include "script/Kt_ScriptFunc.h"

#include <atomic>
#include <new>

#include "script/code/Kt_FuncCode.h"
#include "script/detail/Kt_BodyParser.h"
#include "script/detail/Kt_SharedFunc.h"

const Kt_ScriptFuncHandler Kt_ScriptFunc::_KtScriptFuncHandler;

Kt_ScriptFunc::Kt_ScriptFunc() : tree_(std::make_shared<kt::detail::FuncTree>()) {}

Kt_ScriptFunc::Kt_ScriptFunc(const Kt_WString& name, Kt_Script* script) : Kt_ScriptFunc() {
  name_ = name;
  script_ = script;
}

Kt_ScriptFunc::Kt_ScriptFunc(const Kt_ScriptFunc& other) : Kt_ScriptFunc() { Set(other); }

Kt_ScriptFunc::~Kt_ScriptFunc() = default;

void Kt_ScriptFunc::Clear() {
  DropCode();
  name_.Empty();
  if (tree_->shared != nullptr) {
    tree_ = std::make_shared<kt::detail::FuncTree>();
  } else {
    tree_->args.Clear();
    tree_->body.Clear();
  }
}

void Kt_ScriptFunc::Set(const Kt_ScriptFunc& source) {
  if (this == &source) return;
  Clear();
  name_ = source.name_;
  tree_->args.Assign(&source.GetArgs());
  tree_->body.Assign(&source.GetBody());
}

kt::detail::CodeForms* Kt_ScriptFunc::GetForms() const {
  return tree_->shared != nullptr ? &tree_->shared->forms : nullptr;
}

void Kt_ScriptFunc::MakeOwn() {
  if (tree_->shared == nullptr) return;
  auto own = kt::detail::ParseAgain(*tree_, name_);
  DropCode();
  tree_ = std::move(own);
}

Kt_Expr& Kt_ScriptFunc::OwnOf(Kt_Expr& expr) const {
  if (own_exprs_ == nullptr) own_exprs_ = std::make_unique<kt::detail::OwnExprs>();
  return own_exprs_->Of(expr);
}

namespace {

using kt::detail::BodyParser;
using kt::detail::Slice;

// A parser over one text that the caller holds.
class TextParser {
 public:
  TextParser(const Kt_ScriptFunc& func, const Kt_WString& text, kt_long line, Kt_WStrList* errors)
      : text_{text.GetText(), text.GetLength()},
        reporter_(errors, func.GetSourceName(), text.View(), line),
        parser_(reporter_, func.GetName()) {}

  BodyParser& Parser() { return parser_; }
  const Slice& Text() const { return text_; }
  kt::detail::SyntaxReporter& Reporter() { return reporter_; }

 private:
  Slice text_;
  kt::detail::SyntaxReporter reporter_;
  BodyParser parser_;
};

template <auto ParseHead, auto ParseBody>
kt_long ParseCompound(const Kt_ScriptFunc& func, Kt_ScriptOp& op, const Kt_WString& head,
                      kt_long head_line, const Kt_WString& body, kt_long body_line,
                      Kt_WStrList* errors) {
  {
    TextParser text(func, head, head_line, errors);
    const kt::detail::CleanText clean(text.Text(), text.Reporter(), &func.GetName());
    const kt_long code = (text.Parser().*ParseHead)(op, clean.Get(), head_line);
    if (code != 0) return code;
  }
  TextParser text(func, body, body_line, errors);
  return (text.Parser().*ParseBody)(op, text.Text());
}

}  // namespace

void Kt_ScriptFunc::SetInfo(const Kt_WString& source_name, const Kt_WString& proto,
                            const Kt_WString& body, kt_long proto_line, kt_long body_line,
                            Kt_WStrList* errors) {
  MakeOwn();
  DropCode();
  tree_->source_name = source_name;
  tree_->proto_line = proto_line;
  ParseProto(proto, proto_line, errors);
  ParseBody(tree_->body, body, body_line, errors);
}

kt_long Kt_ScriptFunc::SetProto(const Kt_WString& proto, kt_long line, Kt_WStrList* errors) {
  MakeOwn();
  DropCode();
  tree_->args.Clear();
  return ParseProto(proto, line, errors);
}

kt_long Kt_ScriptFunc::SetBody(const Kt_WString& body, kt_long line, Kt_WStrList* errors) {
  MakeOwn();
  DropCode();
  tree_->body.Clear();
  return ParseBody(tree_->body, body, line, errors);
}

kt_long Kt_ScriptFunc::ParseProto(const Kt_WString& proto, kt_long line, Kt_WStrList* errors) {
  MakeOwn();
  TextParser text(*this, proto, line, errors);
  return text.Parser().ParseProto(tree_->args, text.Text(), line);
}

kt_long Kt_ScriptFunc::ParseBody(Kt_ScriptOpList& ops, const Kt_WString& body, kt_long line,
                                 Kt_WStrList* errors) {
  TextParser text(*this, body, line, errors);
  return text.Parser().ParseBody(ops, text.Text());
}

kt_long Kt_ScriptFunc::ParseLine(Kt_ScriptOp* op, const Kt_WString& statement, kt_long line,
                                 Kt_WStrList* errors) {
  TextParser text(*this, statement, line, errors);
  return text.Parser().ParseLine(*op, text.Text().Trimmed(), line);
}

kt_long Kt_ScriptFunc::ParseVar(Kt_ScriptOp* op, const Kt_WString& declarator, kt_long line,
                                Kt_WStrList* errors) {
  TextParser text(*this, declarator, line, errors);
  return text.Parser().ParseVar(*op, text.Text().Trimmed(), line);
}

kt_long Kt_ScriptFunc::ParseFor(Kt_ScriptOp* op, const Kt_WString& head, kt_long head_line,
                                const Kt_WString& body, kt_long body_line, Kt_WStrList* errors) {
  return ParseCompound<&BodyParser::ParseForHead, &BodyParser::ParseForBody>(
      *this, *op, head, head_line, body, body_line, errors);
}

kt_long Kt_ScriptFunc::ParseWhile(Kt_ScriptOp* op, const Kt_WString& condition,
                                  kt_long condition_line, const Kt_WString& body, kt_long body_line,
                                  Kt_WStrList* errors) {
  return ParseCompound<&BodyParser::ParseWhileHead, &BodyParser::ParseWhileBody>(
      *this, *op, condition, condition_line, body, body_line, errors);
}

kt_long Kt_ScriptFunc::ParseSwitch(Kt_ScriptOp* op, const Kt_WString& expression,
                                   kt_long expression_line, const Kt_WString& body,
                                   kt_long body_line, Kt_WStrList* errors) {
  return ParseCompound<&BodyParser::ParseSwitchHead, &BodyParser::ParseSwitchBody>(
      *this, *op, expression, expression_line, body, body_line, errors);
}

kt_long Kt_ScriptFuncList::FindId(const Kt_WString& name) const {
  const auto found = index_.find(kt_symbolW(name));
  return found != index_.end() ? found->second : -1;
}

Kt_ScriptFunc* Kt_ScriptFuncList::Find(Kt_Symbol name) {
  const auto found = index_.find(name);
  return found != index_.end() ? GetSafeItem(found->second) : nullptr;
}

kt_long Kt_ScriptFuncList::Add(const Kt_ScriptFunc& func) {
  const kt_long known = FindId(func.GetName());
  if (known >= 0) return known;
  const Kt_Symbol symbol = kt_makesymbolW(func.GetName());
  const kt_long added = AddCopy(&func);
  if (added < 0) return added;
  GetSafeItem(added)->SetScript(func.GetScript());
  try {
    index_.emplace(symbol, added);
  } catch (...) {
    RemoveAt(added);
    throw;
  }
  NewVersion();
  return added;
}

void Kt_ScriptFuncList::Remove(Kt_Symbol name) {
  const auto found = index_.find(name);
  if (found == index_.end()) return;
  const kt_long removed = found->second;
  index_.erase(found);
  for (auto& [symbol, index] : index_) index -= index > removed ? 1 : 0;
  RemoveAt(removed);
  NewVersion();
}

void Kt_ScriptFuncList::NewVersion() {
  static std::atomic<std::uint64_t> last{0};
  version_ = ++last;
}

void Kt_ScriptFuncList::Swap(Kt_ScriptFuncList& other) {
  Kt_ObjList::Swap(other);
  index_.swap(other.index_);
  NewVersion();
  other.NewVersion();
}

void Kt_ScriptFuncList::Clear() {
  index_.clear();
  Kt_ObjList::Clear();
  NewVersion();
}
