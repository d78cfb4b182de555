// SPDX-License-Identifier: MIT
#include "script/detail/Kt_ScriptLoader.h"

#include <algorithm>

#include "classlib/base/Kt_WorkMeter.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptUtil.h"
#include "script/detail/Kt_BodyParser.h"
#include "script/detail/Kt_SourceLint.h"

namespace kt::detail {

ScriptLoader::ScriptLoader(Kt_Script& script, const Kt_WString& source_name, Kt_WStrList& includes,
                           std::u16string_view text, Kt_WStrList* errors)
    : script_(script),
      source_name_(source_name),
      includes_(includes),
      text_{text.data(), static_cast<kt_long>(text.size())},
      reporter_(errors, source_name, text, 0),
      undo_(script) {
  if (script.program_texts_ == nullptr) return;
  record_ = &script.program_texts_->emplace_back();
  record_->source_name = source_name;
  record_->text = text;
}

kt_long ScriptLoader::Fail(kt_long code, kt_long line_at, const Slice& place,
                           const Slice* near_text, const Slice* function_name) {
  Kt_WString near_copy;
  Kt_WString name_copy;
  Fault fault{code, reporter_.Lines().LineOf(line_at), {place.SourceOf(0), place.length}};
  // What a declaration answers that cannot even be split.
  if (code == -1) fault.record_code = kSynVariable;
  if (near_text != nullptr) {
    near_copy = near_text->Text();
    fault.near_text = &near_copy;
  }
  if (function_name != nullptr) {
    name_copy = function_name->Text();
    fault.function_name = &name_copy;
  }
  reporter_.Report(fault);
  return -1;
}

void LoadUndo::NoteGlobal(const Kt_WString& name) {
  (void)kt_makesymbolW(name);  // so that looking it up again needs no memory
  Kt_Variable* const variable = script_.GetVariables().FindVariable(name);
  globals_.push_back(
      {name, Kt_VariableHold(variable), variable != nullptr ? variable->GetValue() : Kt_Variant()});
}

void LoadUndo::NoteFunc(const Kt_WString& name) {
  (void)kt_makesymbolW(name);
  const Kt_ScriptFunc* const func = script_.GetFunc(name);
  if (func == nullptr) {
    funcs_.push_back({name, true, 0, 0, {}, 0});
  } else {
    funcs_.push_back({name, false, func->GetArgs().GetCount(), func->GetBody().GetCount(),
                      func->GetSourceName(), func->GetProtoLine()});
  }
}

void LoadUndo::Run() noexcept {
  for (std::size_t at = globals_.size(); at-- > 0;) {
    const Global& global = globals_[at];
    if (Kt_Variable* const variable = global.variable.Get()) {
      variable->SetValue(global.value);
    } else {
      script_.GetVariables().RemoveVariable(global.name);
    }
  }
  for (std::size_t at = funcs_.size(); at-- > 0;) UndoFunc(funcs_[at]);
}

void LoadUndo::UndoFunc(const Func& noted) noexcept {
  const Kt_Symbol symbol = kt_symbolW(noted.name);
  if (noted.is_new) return script_.funcs_.Remove(symbol);
  Kt_ScriptFunc* const func = script_.funcs_.Find(symbol);
  if (func == nullptr) return;
  func->DropCode();
  FuncTree& tree = *func->tree_;
  while (tree.args.GetCount() > noted.args) tree.args.RemoveLast();
  while (tree.body.GetCount() > noted.ops) tree.body.RemoveLast();
  tree.source_name = noted.source_name;
  tree.proto_line = noted.proto_line;
}

kt_long ScriptLoader::Run() {
  if (reporter_.WantsWarnings()) WarnOfSource(text_.View(), reporter_);
  return Undoable([this] { return LoadItems(); });
}

kt_long ScriptLoader::Share(const ProgramText& text) {
  return Undoable([&] {
    if (record_ != nullptr) {  // a program becomes part of another one
      record_->items = text.items;
      return kOk;
    }
    for (const ProgramText::Item& item : text.items) {
      if (const kt_long code = ShareItem(item)) return code;
      if (!kt::ChargeTime(Kt_WorkMeter::kUnitsPerCall)) return kFailed;
    }
    return kOk;
  });
}

template <class Load>
kt_long ScriptLoader::Undoable(const Load& load) {
  const kt_long include_count = includes_.GetCount();
  try {
    return load();
  } catch (const std::bad_alloc&) {
    undo_.Run();
    while (includes_.GetCount() > include_count) includes_.RemoveAt(includes_.GetCount() - 1);
    throw;
  }
}

kt_long ScriptLoader::LoadItems() {
  constexpr std::int64_t kUnitsPerCharacter = 4;
  for (kt_long at = 0;;) {
    const Slice rest = text_.From(at);
    kt_long error_pos = 0;
    const kt_long token = Kt_ScriptUtil::FindNextToken(rest.text, rest.length, error_pos);
    if (token < 0) return Fail(token, at + error_pos, rest.Part(error_pos, 2));
    if (token >= rest.length) return 0;
    Item item{at + token, Kt_ExprUtil::FindWordEnd(rest.text + token, rest.length - token), 0};
    if (item.word == 0) {
      at = item.start + 1;
      continue;
    }
    if (const kt_long code = LoadItem(item)) return code;
    if (!kt::ChargeTime((item.end - at) * kUnitsPerCharacter)) return -1;
    at = item.end;
  }
}

kt_long ScriptLoader::LoadItem(Item& item) {
  const Slice word = text_.Part(item.start, item.word);
  if (IsKeyword(word.text, word.length, u"var")) return LoadGlobals(item);
  if (IsKeyword(word.text, word.length, u"function")) return LoadFunction(item);
  if (word.length == 1 && word.text[0] == u'#') return LoadPragma(item);
  return Fail(kSynKeyword, item.start, word, &word);
}

kt_long ScriptLoader::LoadGlobals(Item& item) {
  const Slice word = text_.Part(item.start, item.word);
  // The keyword and the one character after it.
  const kt_long start = std::min(item.start + 4, text_.length);
  const Slice rest = text_.From(start);
  kt_long error_pos = 0;
  const kt_long length = Kt_ScriptUtil::FindLineEnd(rest.text, rest.length, error_pos);
  if (length == -1) return Fail(kSynLabelMark, start, word);
  if (length < 0) {
    // The text line shows no message here: hosts compare these lines.
    Fault fault{error_pos, reporter_.Lines().LineOf(start), {start + error_pos, 1}};
    fault.record_code = length;
    reporter_.Report(fault);
    return -1;
  }
  item.end = start + length;
  const CleanText clean(rest.Part(0, length - 1), reporter_, nullptr);
  Slice fault = word;
  const kt_long code = record_ != nullptr
                           ? CheckGlobals(clean.Get(), fault, reporter_)
                           : AddGlobals(script_, clean.Get(), fault, undo_, &reporter_);
  if (record_ != nullptr) record_->items.push_back({item.start, item.word, {}, nullptr});
  return code < 0 ? Fail(code, start, fault) : 0;
}

kt_long ScriptLoader::CutName(const Item& item, Slice& name) {
  const Slice word = text_.Part(item.start, item.word);
  const kt_long start = std::min(item.start + 9, text_.length);
  const Slice rest = text_.From(start);
  kt_long error_pos = 0;
  const kt_long token = Kt_ScriptUtil::FindNextToken(rest.text, rest.length, error_pos);
  const bool found = token >= 0 && token < rest.length;
  const kt_long length =
      found ? Kt_ExprUtil::FindWordEnd(rest.text + token, rest.length - token) : 0;
  if (length == 0) return Fail(kSynKeyword, item.start, word);
  name = rest.Part(token, length);
  if (Kt_ExprUtil::ChkName(name.text, name.length) == 1) return 0;
  return Fail(kSynName, item.start, name, nullptr, &name);
}

kt_long ScriptLoader::CutFunction(Item& item, FunctionText& function) {
  if (const kt_long code = CutName(item, function.name)) return code;
  const Slice& name = function.name;
  kt_long error_pos = 0;
  Span inner;
  Slice rest = text_.From(name.offset + name.length);
  const kt_long proto =
      Kt_ScriptUtil::FindLineBlock(rest.text, rest.length, inner.start, inner.length, error_pos);
  if (proto < 0) {
    const bool at_end = error_pos >= rest.length;
    return Fail(proto, item.start, at_end ? name : rest.Part(error_pos, 1), nullptr, &name);
  }
  function.proto = rest.Part(inner.start, inner.length);
  rest = rest.From(proto);
  error_pos = 0;
  const kt_long body =
      Kt_ScriptUtil::FindBraceBlock(rest.text, rest.length, inner.start, inner.length, error_pos);
  if (body < 0) {
    const bool at_end = error_pos >= rest.length;
    return Fail(body, item.start, at_end ? name : rest.Part(error_pos, 1), nullptr, &name);
  }
  function.body = rest.Part(inner.start, inner.length);
  item.end = rest.offset + body;
  return 0;
}

kt_long ScriptLoader::LoadFunction(Item& item) {
  FunctionText function;
  if (const kt_long code = CutFunction(item, function)) return code;
  ParseFunction(item, function);
  return 0;
}

void ScriptLoader::ParseFunction(const Item& item, const FunctionText& function) {
  const Kt_WString name = function.name.Text();
  if (script_.funcs_.FindId(name) >= 0) {
    reporter_.Warn(Kt_ScriptWarning::kWarnSecondFunction,
                   {function.name.offset, function.name.length}, &name);
  }
  if (Kt_ScriptFunc* const known = script_.GetFunc(name)) {
    known->MakeOwn();
    known->DropCode();
  }
  undo_.NoteFunc(name);
  Kt_ScriptFunc* const func =
      script_.funcs_.GetSafeItem(script_.funcs_.Add(Kt_ScriptFunc(name, &script_)));
  if (func == nullptr) return;
  if (record_ == nullptr) return ParseTree(*func->tree_, name, item, function);
  const auto tree = std::make_shared<FuncTree>();
  ParseTree(*tree, name, item, function);
  const auto span = [](const Slice& slice) { return Span{slice.offset, slice.length}; };
  ShareTree(*tree, record_->text, span(function.proto), span(function.body));
  record_->items.push_back({item.start, item.word, name, tree});
}

void ScriptLoader::ParseTree(FuncTree& tree, const Kt_WString& name, const Item& item,
                             const FunctionText& function) {
  tree.source_name = source_name_;
  tree.proto_line = reporter_.Lines().LineOf(item.start);
  const OutlineMark mark(reporter_, OutlineMark::Kind::kFunction,
                         text_.Part(item.start, item.end - item.start), function.name);
  BodyParser parser(reporter_, name);
  parser.ParseProto(tree.args, function.proto, tree.proto_line);
  parser.ParseBody(tree.body, function.body);
}

// What would change a function that there is already is read from the text.
kt_long ScriptLoader::ShareItem(const ProgramText::Item& item) {
  Item in_text{item.start, item.word, 0};
  if (item.tree == nullptr) return LoadGlobals(in_text);
  if (script_.GetFunc(item.name) != nullptr) return LoadFunction(in_text);
  undo_.NoteFunc(item.name);
  Kt_ScriptFunc* const func =
      script_.funcs_.GetSafeItem(script_.funcs_.Add(Kt_ScriptFunc(item.name, &script_)));
  if (func != nullptr) func->Share(item.tree);
  return kOk;
}

kt_long ScriptLoader::LoadPragma(Item& item) {
  const Slice rest = text_.From(item.start + 1);
  const kt_long length = Kt_ScriptUtil::FindCRLF(rest.text, rest.length);
  item.end = item.start + 1 + length;
  const CleanText clean(rest.Part(0, length), reporter_, nullptr);
  const OutlineMark mark(reporter_, OutlineMark::Kind::kInclude,
                         text_.Part(item.start, item.end - item.start), clean.Get());
  if (script_.AddInclude(includes_, clean.Get().Text()) >= 0) return 0;
  const kt_long shown = rest.Part(0, length).Trimmed().length;
  return Fail(kSynAtPragma, item.start, text_.Part(item.start, shown + 1));
}

void ReportNul(const Kt_WString& source_name, const Kt_WString& text, Kt_WStrList* errors) {
  const std::size_t nul = text.View().find(u'\0');
  if (KT_LIKELY(nul == std::u16string_view::npos) || errors == nullptr) return;
  constexpr std::u16string_view kNothing(u"\0 \t\r\n", 5);
  if (text.View().find_first_not_of(kNothing, nul) == std::u16string_view::npos) return;
  SyntaxReporter reporter(errors, source_name, text, 0);
  const auto offset = static_cast<kt_long>(nul);
  reporter.Report({kSynNul, reporter.Lines().LineOf(offset), {offset, 1}});
}

}  // namespace kt::detail
