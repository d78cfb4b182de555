// SPDX-License-Identifier: MIT
//
// Members in the code: what receives the value before them, and in front of that, where all that
// their use goes by are variables and constants, the instruction that tries to use them at once.
#include <algorithm>

#include "script/code/Kt_Lowering.h"

namespace kt::detail {

// Names of the host -------------------------------------------------------------------------------

// Whether a name is nothing but what stands before a member, perhaps with a simple index:
// name.member, name[i].member. Then the member's instruction asks what the name stands for.
bool Translator::IsOnlyReceived(const ExprProgram& program, std::uint16_t name) const {
  const auto operand = static_cast<std::uint16_t>(CodeOperand::kNameBase + name);
  for (std::size_t at = 0; at < program.instrs.size(); ++at) {
    const CodeInstr& in = program.instrs[at];
    if (in.op == CodeOp::kCall) continue;
    if (in.b == operand) return false;
    if (in.a != operand || in.op == CodeOp::kReceive) continue;
    const bool is_item = in.op == CodeOp::kElement && (IsName(in.b) || IsConstant(in.b)) &&
                         program.instrs[at + 1].op == CodeOp::kReceive &&
                         program.instrs[at + 1].a == in.dst;
    if (!is_item) return false;
  }
  return !code_.is_by_name;
}

std::uint16_t Translator::HostName(const Kt_WString& name) {
  std::vector<Kt_WString>& names = code_.host_names;
  const auto found = std::find_if(names.begin(), names.end(), [&](const Kt_WString& known) {
    return known.View() == name.View();
  });
  const auto number = static_cast<std::uint16_t>(found - names.begin());
  if (found == names.end()) names.push_back(name);
  if (names.size() >= 0x7F00) GiveUp("too many names");
  return number;
}

void Translator::LowerReceive(Lowering& low, std::size_t at) {
  const std::vector<CodeInstr>& instrs = low.program.instrs;
  const CodeInstr& in = instrs[at];
  const auto call = static_cast<std::size_t>(in.extra);
  std::uint16_t site = SiteOf(low, call);
  FuncCode::Member& member = code_.members[static_cast<std::size_t>(code_.calls[site].member)];
  for (const CodeInstr& user : instrs) {
    if (user.op == CodeOp::kCall && user.extra == in.extra) member.arg_count = user.b - 1;
  }
  const CodeInstr* const item =
      at > 0 && instrs[at - 1].op == CodeOp::kElement && instrs[at - 1].dst == in.a
          ? &instrs[at - 1]
          : nullptr;
  const std::uint16_t from = item != nullptr ? item->a : in.a;
  const bool is_host =
      IsName(from) && low.names[from - CodeOperand::kNameBase].kind == Place::Kind::kHost;
  if (is_host) {
    member.host = low.names[from - CodeOperand::kNameBase].reg;
    if (item != nullptr) member.index = Read(low, item->b);
  }
  if (is_host || low.calls[call]->site.builtin == nullptr) site |= kObjectSite;
  (void)Emit(InstrOp::kReceive, Target(low, in.dst), is_host ? kConstOperand : Read(low, in.a),
             site);
}

// Assignments -------------------------------------------------------------------------------------

// The member that the target of an assignment is, of a variable, as one of the code; -1 for any
// other target.
int Translator::QuickTarget(Lowering& target) {
  const std::vector<CodeInstr>& instrs = target.program.instrs;
  const bool is_member = instrs.size() == 3 && instrs[0].op == CodeOp::kReceive &&
                         instrs[1].op == CodeOp::kCall && instrs[1].b == 1 &&
                         instrs[1].extra == instrs[0].extra && instrs[2].op == CodeOp::kReturn &&
                         instrs[2].a == instrs[1].dst;
  if (!is_member || !IsName(instrs[0].a) || !IsSimple(target, instrs[0].a)) return -1;
  const ExprProgram::Member& place = target.program.members.front();
  const KnownCall& call = *target.calls[place.call];
  const bool is_call = target.expr.GetOps().GetItem(place.record)->code == kOpMethod;
  if (is_call || call.site.builtin != nullptr || code_.members.size() >= 0x7F00) return -1;
  code_.members.push_back({&target.expr, place, call.call.name});
  return static_cast<int>(code_.members.size()) - 1;
}

// variable.member = value: the value is computed, then one instruction does the rest.
bool Translator::SetMember(const Kt_ScriptOp& op, Lowering& target) {
  FuncCode::Quick quick;
  quick.use = MemberUse::kSet;
  quick.member = QuickTarget(target);
  if (quick.member < 0) return false;
  const auto operation = CompoundOperator(op.opcode);
  if (operation) {
    quick.operation = *operation;
    quick.reader = QuickTarget(target);
    wants_plain_value_ = true;
  }
  std::uint16_t value = Value(op.GetSet()->value);
  const std::uint16_t object = target.program.instrs[0].a;
  const bool is_global = target.names[object - CodeOperand::kNameBase].kind == Place::Kind::kGlobal;
  if (is_global && !IsTemp(value) && !(value & kConstOperand)) {
    // Read before the global is looked at.
    const std::uint16_t kept = NewTemp();
    (void)Emit(InstrOp::kMove, kept, value);
    value = kept;
  }
  HoldGlobals(target);
  quick.object = Read(target, object);
  code_.quicks.push_back(quick);
  if (code_.quicks.size() >= 0x7F00) GiveUp("too long");
  (void)Emit(InstrOp::kMember, value, static_cast<std::uint16_t>(code_.quicks.size() - 1));
  return true;
}

// Members at once ---------------------------------------------------------------------------------

// Instructions that use members and do nothing else: one call, or one or two values.
struct Translator::QuickRun {
  struct Member {
    std::size_t call;      // of the program
    std::size_t receive;   // instructions
    std::size_t end = 0;   // its call; 0: there was none yet
    std::uint16_t first;   // temp of the object
    std::uint16_t object;  // operands
    std::uint16_t index = kNone;
    std::vector<std::uint16_t> args{};
    MemberUse use = MemberUse::kValue;
  };
  std::vector<Member> members;
  std::size_t end = 0;  // one after the last instruction
};

// What can be looked at where it is, and does not change meanwhile.
bool Translator::IsSimple(const Lowering& low, std::uint16_t operand) {
  if (IsConstant(operand)) return true;
  if (!IsName(operand)) return false;
  const Place::Kind kind = low.names[operand - CodeOperand::kNameBase].kind;
  return kind == Place::Kind::kRegister || kind == Place::Kind::kGlobal;
}

// Adds the instruction at `at`; false when it is not one of those.
bool Translator::TakeQuick(Lowering& low, std::size_t at, QuickRun& run) {
  const std::vector<CodeInstr>& instrs = low.program.instrs;
  const CodeInstr& in = instrs[at];
  QuickRun::Member* const last = run.members.empty() ? nullptr : &run.members.back();
  switch (in.op) {
    case CodeOp::kElement:
      return IsName(in.a) && IsSimple(low, in.b) && instrs[at + 1].op == CodeOp::kReceive &&
             instrs[at + 1].a == in.dst;
    case CodeOp::kReceive: {
      const bool is_item =
          at > 0 && instrs[at - 1].op == CodeOp::kElement && instrs[at - 1].dst == in.a;
      QuickRun::Member member{static_cast<std::size_t>(in.extra), at, 0, in.dst, in.a};
      if (is_item) {
        member.object = instrs[at - 1].a;
        member.index = instrs[at - 1].b;
      }
      if (!IsName(member.object) || low.calls[member.call]->site.builtin != nullptr) return false;
      run.members.push_back(std::move(member));
      return run.members.size() <= 2;
    }
    case CodeOp::kMove:
      if (last == nullptr || last->end != 0 || !IsSimple(low, in.a)) return false;
      if (in.dst != last->first + 1 + last->args.size()) return false;
      last->args.push_back(in.a);
      return last->args.size() <= FuncCode::Quick::kMostArgs;
    case CodeOp::kCall: {
      const auto found =
          std::find_if(run.members.begin(), run.members.end(), [&](const QuickRun::Member& member) {
            return member.end == 0 && static_cast<std::int32_t>(member.call) == in.extra;
          });
      if (found == run.members.end() || in.b != found->args.size() + 1) return false;
      const auto& places = low.program.members;
      const auto place = std::find_if(places.begin(), places.end(),
                                      [&](const auto& each) { return each.call == found->call; });
      const bool is_call = low.expr.GetOps().GetItem(place->record)->code == kOpMethod;
      if (is_call && (run.members.size() > 1 || found->index != kNone)) return false;
      found->end = at;
      found->use = is_call                 ? MemberUse::kCall
                   : found->index != kNone ? MemberUse::kItemValue
                                           : MemberUse::kValue;
      return true;
    }
    default: return false;
  }
}

// A cell of an item is an object. Its value will do where an operator reads it next, and nothing
// else can come between.
bool Translator::GivesPlainValues(const Lowering& low, const QuickRun& run) {
  const std::vector<CodeInstr>& instrs = low.program.instrs;
  const CodeInstr& user = instrs[run.end];
  const bool is_operand =
      IsOperator(user.op) && (IsArithmetic(OperatorOf(user.op)) || IsRelation(OperatorOf(user.op)));
  const bool is_result = user.op == CodeOp::kReturn && low.wants_plain_value;
  return std::all_of(run.members.begin(), run.members.end(), [&](const QuickRun::Member& member) {
    const std::uint16_t value = instrs[member.end].dst;
    return member.use != MemberUse::kItemValue ||
           (is_operand && (user.a == value || user.b == value)) || (is_result && user.a == value);
  });
}

// In front of instructions that only use members.
void Translator::BeginQuicks(Lowering& low, std::size_t at) {
  const std::vector<CodeInstr>& instrs = low.program.instrs;
  const bool may_begin =
      instrs[at].op == CodeOp::kReceive ||
      (instrs[at].op == CodeOp::kElement && instrs[at + 1].op == CodeOp::kReceive);
  if (!may_begin || at < low.quick_end) return;
  QuickRun run;
  const auto is_done = [&] {
    return !run.members.empty() &&
           std::all_of(run.members.begin(), run.members.end(),
                       [](const QuickRun::Member& member) { return member.end != 0; });
  };
  for (run.end = at; !is_done(); ++run.end) {
    if (run.end + 1 >= instrs.size() || !TakeQuick(low, run.end, run)) return;
  }
  const bool is_entered = std::any_of(instrs.begin(), instrs.end(), [&](const CodeInstr& in) {
    const auto target = static_cast<std::size_t>(in.extra);
    return IsTest(in.op) && target > at && target < run.end;
  });
  if (is_entered || !GivesPlainValues(low, run)) return;
  low.quick_end = run.end;
  for (const ExprProgram::Lookup& lookup : low.program.lookups) {
    if (lookup.at > at && lookup.at < run.end) BindName(low, lookup.name);
  }
  for (const QuickRun::Member& member : run.members) {
    FuncCode::Quick quick;
    quick.use = member.use;
    quick.member = code_.calls[SiteOf(low, member.call)].member;
    const Place& place = low.names[member.object - CodeOperand::kNameBase];
    if (place.kind != Place::Kind::kHost) quick.object = Read(low, member.object);
    if (member.index != kNone) quick.args[quick.arg_count++] = Read(low, member.index);
    for (const std::uint16_t arg : member.args) quick.args[quick.arg_count++] = Read(low, arg);
    low.quicks.emplace_back(member.end, code_.quicks.size());
    code_.quicks.push_back(quick);
    const std::size_t pc =
        Emit(InstrOp::kMember, 0, static_cast<std::uint16_t>(code_.quicks.size() - 1));
    code_.quicks.back().next = static_cast<std::uint32_t>(pc + 1);
  }
  if (code_.quicks.size() >= 0x7F00) GiveUp("too long");
  for (const auto& [end, quick] : low.quicks) {
    code_.quicks[quick].other = static_cast<std::uint32_t>(code_.instrs.size());
  }
}

// After the call at `at`: where its value goes, and after the last one where all go on.
void Translator::EndQuicks(Lowering& low, std::size_t at) {
  for (const auto& [end, quick] : low.quicks) {
    if (end != at) continue;
    FuncCode::Quick& done = code_.quicks[quick];
    done.dst = Target(low, low.program.instrs[at].dst);
    code_.instrs[done.next - 1].Replace(
        Instr::Of(InstrOp::kMember, done.dst, static_cast<std::uint16_t>(quick), 0));
  }
  if (low.quicks.empty() || at + 1 != low.quick_end) return;
  code_.quicks[low.quicks.back().second].next = static_cast<std::uint32_t>(code_.instrs.size());
  low.quicks.clear();
}

}  // namespace kt::detail
