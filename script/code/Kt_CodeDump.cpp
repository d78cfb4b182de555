// SPDX-License-Identifier: MIT
//
// Translated functions as text, for `kt dump --code`.
#include <cstdio>
#include <string>

#include "script/Kt_Script.h"
#include "script/Kt_ScriptDump.h"
#include "script/code/Kt_FuncCode.h"

namespace kt::detail {

namespace {

struct OpRow {
  const char* name;
  const char* operands;
  const char* text;
};
constexpr OpRow kRows[] = {
#define KT_CODE_OP(name, operands, text) {#name, operands, text},
#include "script/code/Kt_CodeOps.inc"
#undef KT_CODE_OP
};

// A Member that is assigned to.
constexpr OpRow kSetMember = {"SetMember", "xq-", "b = a at once, or by the walk"};
constexpr OpRow kChangeMember = {"ChangeMember", "xq-", "b = b op a at once, or by the walk"};

const OpRow& RowOf(const Instr& in, const FuncCode& code) {
  const OpRow& row = kRows[static_cast<std::size_t>(in.Op())];
  if (in.Op() != InstrOp::kMember) return row;
  const FuncCode::Quick& quick = code.quicks[in.B()];
  if (quick.use != MemberUse::kSet) return row;
  return quick.reader < 0 ? kSetMember : kChangeMember;
}

class CodeDumper {
 public:
  CodeDumper(const Kt_ScriptFunc& func, const FuncCode& code) : func_(func), code_(code) {}
  Kt_WString Dump();

 private:
  void Line(std::size_t pc);
  void Comment(const Instr& in, const OpRow& row);
  Kt_WString Operand(std::size_t pc, char kind, const Instr& in, std::uint16_t value) const;
  Kt_WString Register(std::size_t pc, std::uint16_t reg) const;
  Kt_WString Member(std::size_t pc, const FuncCode::Quick& quick) const;
  Kt_WString Constant(std::uint16_t at) const;
  const Kt_WString* HostOf(const Instr& in) const;
  void Padded(const Kt_WString& text, kt_long width);

  const Kt_ScriptFunc& func_;
  const FuncCode& code_;
  Kt_WString text_;
};

Kt_WString Number(std::int64_t value) { return Kt_WString::FromUtf8(std::to_string(value)); }

// The text of an expression in one line, cut where it gets long.
Kt_WString Shown(const Kt_Expr& expr) {
  constexpr kt_long kMost = 60;
  Kt_WString out;
  if (expr.GetState() == kStateList) out += u'[';
  for (const char16_t unit : expr.GetText().View()) out += unit < u' ' ? u' ' : unit;
  if (expr.GetState() == kStateList) out += u']';
  return out.GetLength() <= kMost ? out : out.Mid(0, kMost) + u"...";
}

void CodeDumper::Padded(const Kt_WString& text, kt_long width) {
  text_ += text;
  for (kt_long at = text.GetLength(); at < width; ++at) text_ += u' ';
}

Kt_WString CodeDumper::Register(std::size_t pc, std::uint16_t reg) const {
  if (reg >= code_.temp_base) return u"t" + Number(reg - code_.temp_base);
  // A variable that the statement declares has its name from the next one on.
  Kt_WString name = code_.NameOf(pc, reg);
  const FuncCode::Entry* const entry = code_.EntryAt(pc);
  if (name.IsEmpty() && entry != nullptr) name = code_.NameOf(entry->end, reg);
  return name.IsEmpty() ? u"r" + Number(reg) : name;
}

// The name of the host that a member is received of; null for none.
const Kt_WString* CodeDumper::HostOf(const Instr& in) const {
  const FuncCode::Call& call = code_.calls[in.C() & ~kObjectSite];
  const int host = code_.members[static_cast<std::size_t>(call.member)].host;
  return host >= 0 ? &code_.host_names[static_cast<std::size_t>(host)] : nullptr;
}

Kt_WString CodeDumper::Constant(std::uint16_t at) const {
  const Kt_Variant& value = code_.consts[at];
  if (value.IsEmpty()) return u"null";
  if (!value.IsString()) return value.ToString();
  Kt_WString out(u"\"");
  const Kt_WString text = value.ToString();
  for (const char16_t unit : text.Mid(0, 40).View()) out += unit < u' ' ? u' ' : unit;
  if (text.GetLength() > 40) out += u"...";
  return out + u"\"";
}

Kt_WString CodeDumper::Member(std::size_t pc, const FuncCode::Quick& quick) const {
  const FuncCode::Member& member = code_.members[static_cast<std::size_t>(quick.member)];
  Kt_WString args;
  for (int arg = 0; arg < quick.arg_count; ++arg) {
    if (arg > 0) args += u", ";
    args += Operand(pc, 'x', {}, quick.args[arg]);
  }
  Kt_WString out = member.host >= 0 ? code_.host_names[static_cast<std::size_t>(member.host)]
                                    : Register(pc, quick.object);
  if (quick.use == MemberUse::kItemValue) out += u"[" + args + u"]";
  out += u"." + member.name;
  return quick.use == MemberUse::kCall ? out + u"(" + args + u")" : out;
}

Kt_WString CodeDumper::Operand(std::size_t pc, char kind, const Instr& in,
                               std::uint16_t value) const {
  switch (kind) {
    case 'x':
      if (in.Op() == InstrOp::kReceive && value == in.B() && HostOf(in) != nullptr)
        return *HostOf(in);
      if ((value & kConstOperand) != 0) return Constant(value & 0x7FFF);
      return Register(pc, value);
    case 'w':
    case 'r':
    case 'v': return Register(pc, value);
    case 'i': return Number(static_cast<std::int16_t>(value));
    case 'g': return code_.globals[value];
    case 'f': return code_.calls[value].name + u"()";
    case 'm': return u"." + code_.calls[value & ~kObjectSite].name;
    case 'q': return Member(pc, code_.quicks[value]);
    case 'e': return u"{" + Shown(*code_.exprs[value].expr) + u"}";
    case 's':
      return u"-> " + Number(static_cast<std::int64_t>(pc) + 1 + static_cast<std::int16_t>(value));
    case 'j': return u"-> " + Number(static_cast<std::int64_t>(pc) + 1 + in.D());
    case 'n': return Number(value);
    case 't':
      return Number(static_cast<std::int64_t>(code_.choices[value].GetLabels().size())) + u" cases";
    default: return {};
  }
}

// What is left to others, and why.
void CodeDumper::Comment(const Instr& in, const OpRow& row) {
  text_ += u"; ";
  if (in.Op() == InstrOp::kEval) {
    text_ += u"by the evaluator: ";
    text_ += Kt_WString::FromUtf8(code_.exprs[in.B()].why);
  } else if (in.Op() == InstrOp::kWalk) {
    text_ += u"by the walk: ";
    text_ += Kt_WString::FromUtf8(code_.statements[in.A()].why);
  } else {
    text_ += Kt_WString::FromUtf8(row.text);
  }
}

void CodeDumper::Line(std::size_t pc) {
  const Instr in = code_.instrs[pc];
  const OpRow& row = RowOf(in, code_);
  const FuncCode::Entry* const entry = code_.EntryAt(pc);
  Padded(in.IsEntry() && entry != nullptr ? Number(entry->op->line32 + 1) : Kt_WString(), 6);
  Padded(Number(static_cast<std::int64_t>(pc)), 5);
  Padded(Kt_WString::FromUtf8(row.name), 24);
  const std::uint16_t operands[] = {in.A(), in.B(), in.C()};
  Kt_WString shown;
  for (int at = 0; at < 3; ++at) {
    if (at > 0 && row.operands[at - 1] == 'j') break;  // a jump takes two
    if (in.Op() >= InstrOp::kCallScript && in.Op() <= InstrOp::kCallHost && at == 1) {
      shown += u", " + Number(in.B() & 0xFF);
      if ((in.B() >> 8) != 0) {
        shown += u" to " + Register(pc, static_cast<std::uint16_t>(in.A() - (in.B() >> 8)));
      }
      continue;
    }
    const Kt_WString operand = Operand(pc, row.operands[at], in, operands[at]);
    if (operand.IsEmpty()) continue;
    if (!shown.IsEmpty()) shown += u", ";
    shown += operand;
  }
  Padded(shown, 30);
  Comment(in, row);
  text_.RTrim();
  text_ += u'\n';
}

Kt_WString CodeDumper::Dump() {
  text_ += u"function " + func_.GetName();
  if (code_.why_walk != nullptr) {
    text_ += u": run by the walk, ";
    text_ += Kt_WString::FromUtf8(code_.why_walk);
    return text_ + u"\n";
  }
  text_ += u": " + Number(code_.var_count) + u" variables, " + Number(code_.register_count) +
           u" registers, " + Number(static_cast<std::int64_t>(code_.instrs.size())) +
           u" instructions\n";
  for (std::size_t pc = 0; pc < code_.instrs.size(); ++pc) Line(pc);
  return text_;
}

}  // namespace

}  // namespace kt::detail

Kt_WString DumpScriptCode(Kt_Script& script, const Kt_ScriptFunc& func) {
  const auto link = kt::detail::Translate(func, script, nullptr);
  return kt::detail::CodeDumper(func, *link->code).Dump();
}
