// SPDX-License-Identifier: MIT
#include "script/Kt_ScriptDump.h"

#include <array>
#include <cstdio>
#include <initializer_list>

#include "script/Kt_Script.h"
#include "script/Kt_ScriptOpItem.h"

namespace {

// The text of an expression as it was written: a list loses its brackets when it is parsed.
Kt_WString TextOf(const Kt_Expr& expr) {
  if (expr.GetState() != kStateList) return expr.GetText();
  return Kt_WString(u"[") + expr.GetText() + u"]";
}

class Dumper {
 public:
  void Ops(const Kt_ScriptOpList& ops);
  void Func(const Kt_ScriptFunc& func);
  const Kt_WString& Text() const { return text_; }

 private:
  void Op(const Kt_ScriptOp& op);
  void OpHead(const Kt_ScriptOp& op);
  void Compound(const Kt_ScriptOp& op);
  void For(const Kt_ScriptOp& op);
  void Items(const Kt_ScriptOpItemList& items, std::u16string_view guarded,
             std::u16string_view unguarded);
  void Fields(std::initializer_list<Kt_WString> fields);
  // A line that belongs to the op above: a word, and its expression.
  void Part(kt_long line, std::u16string_view word, const Kt_WString& expression);
  void Nested(const Kt_ScriptOpList& ops);
  void StartLine(kt_long line);
  void Append(std::u16string_view text);
  void EndLine();

  Kt_WString text_;
  int depth_ = 0;
};

void Dumper::StartLine(kt_long line) {
  std::array<char, 16> number;
  const int length = std::snprintf(number.data(), number.size(), "%5d  ", line + 1);
  for (int at = 0; at < length; ++at) text_ += static_cast<char16_t>(number[at]);
  for (int level = 0; level < depth_; ++level) text_ += u"  ";
}

void Dumper::Append(std::u16string_view text) {
  for (const char16_t unit : text) text_ += unit < u' ' ? u' ' : unit;
}

void Dumper::EndLine() {
  text_.RTrim();
  text_ += u'\n';
}

void Dumper::Fields(std::initializer_list<Kt_WString> fields) {
  bool first = true;
  for (const Kt_WString& field : fields) {
    if (field.IsEmpty()) continue;
    if (!first) text_ += u" | ";
    first = false;
    Append(field);
  }
  EndLine();
}

void Dumper::OpHead(const Kt_ScriptOp& op) {
  std::array<char, 32> head;
  const int length = std::snprintf(head.data(), head.size(), "%04x %-9s  ",
                                   static_cast<unsigned>(op.opcode), GetScriptOpText(op.opcode));
  StartLine(op.line32);
  for (int at = 0; at < length; ++at) text_ += static_cast<char16_t>(head[at]);
}

void Dumper::Part(kt_long line, std::u16string_view word, const Kt_WString& expression) {
  StartLine(line);
  text_ += word;
  text_ += u' ';
  Append(expression);
  EndLine();
}

void Dumper::Nested(const Kt_ScriptOpList& ops) {
  ++depth_;
  Ops(ops);
  --depth_;
}

void Dumper::Ops(const Kt_ScriptOpList& ops) {
  for (kt_long index = 0; index < ops.GetCount(); ++index) Op(ops[index]);
}

void Dumper::Op(const Kt_ScriptOp& op) {
  OpHead(op);
  if (op.HasName()) return Fields({op.GetVar()->name, TextOf(op.GetVar()->expression)});
  if (op.HasPayload()) return Compound(op);
  EndLine();
}

void Dumper::Compound(const Kt_ScriptOp& op) {
  switch (op.opcode) {
    case kScriptBlock: EndLine(); return Nested(*op.GetBlock());
    case kScriptFor: EndLine(); return For(op);
    case kScriptWhile:
      Fields({TextOf(op.GetWhile()->condition)});
      return Nested(op.GetWhile()->body);
    case kScriptIf: EndLine(); return Items(op.GetIf()->items, u"if", u"else");
    case kScriptSwitch:
      Fields({TextOf(op.GetSwitch()->expression)});
      return Items(op.GetSwitch()->items, u"case", u"default");
    default: return Fields({TextOf(op.GetSet()->target), TextOf(op.GetSet()->value)});
  }
}

void Dumper::For(const Kt_ScriptOp& op) {
  const Kt_ScriptOpFor& loop = *op.GetFor();
  ++depth_;
  Part(op.line32, u"init", {});
  Nested(loop.init);
  Part(op.line32, u"condition", TextOf(loop.condition));
  Part(op.line32, u"step", {});
  Nested(loop.step);
  Part(op.line32, u"body", {});
  Nested(loop.body);
  --depth_;
}

void Dumper::Items(const Kt_ScriptOpItemList& items, std::u16string_view guarded,
                   std::u16string_view unguarded) {
  ++depth_;
  for (kt_long index = 0; index < items.GetCount(); ++index) {
    const Kt_ScriptOpItem& item = items[index];
    Part(item.line, item.flag == 0 ? guarded : unguarded, TextOf(item.expression));
    Nested(item.body);
  }
  --depth_;
}

void Dumper::Func(const Kt_ScriptFunc& func) {
  text_ += u"function ";
  Append(func.GetName());
  text_ += u'(';
  const Kt_ScriptOpList& args = func.GetArgs();
  for (kt_long index = 0; index < args.GetCount(); ++index) {
    if (index > 0) text_ += u", ";
    Append(args[index].GetVar()->name);
  }
  text_ += u")\n";
  Ops(func.GetBody());
}

}  // namespace

Kt_WString DumpScriptOps(const Kt_ScriptOpList& ops) {
  Dumper dumper;
  dumper.Ops(ops);
  return dumper.Text();
}

Kt_WString DumpScriptFunc(const Kt_ScriptFunc& func) {
  Dumper dumper;
  dumper.Func(func);
  return dumper.Text();
}

Kt_WString DumpScript(const Kt_Script& script) {
  Dumper dumper;
  for (kt_long index = 0; index < script.GetFuncs().GetCount(); ++index) {
    dumper.Func(*script.GetFuncs().GetItem(index));
  }
  return dumper.Text();
}
