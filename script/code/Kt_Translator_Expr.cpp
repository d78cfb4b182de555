// SPDX-License-Identifier: MIT
//
// Lowers compiled expressions (kt::ExprProgram: straight code over temps, constants and names) to
// instructions. A temp becomes the register at its number after the temps in use; a name becomes
// the register of its variable, read in place by the instruction that needs it; a global is loaded
// into a temp right before. The arguments of a call lie side by side at the end of what is in use,
// so they are the first registers of the called function.
//
// A temp is read once. Whatever reads one clears it when its content is counted, so between
// expressions no temp keeps a text or a list alive, and the registers after the ones in use need
// neither to be emptied before a call nor after it.
//
// A condition becomes jumps when it is made of relations; && and || of relations have the truth of
// the one that decides. In every other case the value is computed and its truth tested.
#include <algorithm>

#include "classlib/value/Kt_VarInline.h"
#include "script/code/Kt_Lowering.h"

namespace kt::detail {

namespace {

bool IsLogic(CodeOp op) {
  return IsOperator(op) && (OperatorOf(op) == Operator::kAnd || OperatorOf(op) == Operator::kOr);
}
bool IsSmall(const Kt_Variant& value) {
  return value.IsLong() && value.AsLong() == static_cast<std::int16_t>(value.AsLong());
}

// Why the evaluator has to do what has no compiled form.
const char* WhyEvaluated(const Kt_Expr& expr) {
  if (expr.GetState() == kStateTrace) return "trace";
  if (expr.GetState() < 0 || expr.GetState() == kStateUnparsed) return "does not parse";
  const Kt_ExprOpList& ops = expr.GetOps();
  for (kt_long at = 0; at < ops.GetCount(); ++at) {
    switch (ops.GetItem(at)->code) {
      case kOpMember:
      case kOpMethod: return "member";
      case kOpRef: return "ref() of an item";
      default: break;
    }
  }
  return "no compiled form";
}

}  // namespace

void Translator::NoteRange(std::size_t begin, Kt_Expr& expr, std::uint16_t dst,
                           std::size_t resume) {
  const std::size_t end = code_.instrs.size();
  if (begin == end) return;
  code_.ranges.push_back({static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end),
                          static_cast<std::uint32_t>(resume), dst, &expr});
}

std::uint16_t Translator::Evaluate(Kt_Expr& expr, std::uint16_t want, const char* why) {
  const std::uint16_t dst = want != kNone ? want : NewTemp();
  code_.exprs.push_back({&expr, why});
  if (code_.exprs.size() >= 0x7F00) GiveUp("too long");
  (void)Emit(InstrOp::kEval, dst, static_cast<std::uint16_t>(code_.exprs.size() - 1));
  return dst;
}

// Names and calls ---------------------------------------------------------------------------------

Translator::KnownCall& Translator::CallOf(const Kt_WString& name, bool is_member) {
  auto& known = known_calls_[is_member ? 1 : 0];
  const auto found = known.find(name.View());
  if (found != known.end()) return found->second;
  KnownCall call{};
  call.call.name = name;
  if (is_member) call.call.member = 0;
  call.is_bound = BindCall(call.call, call.site, script_);
  return known.emplace(name.View(), std::move(call)).first->second;
}

std::uint16_t Translator::AddSite(const FuncCode::Call& call, const LinkedCode::CallSite& site) {
  code_.calls.push_back(call);
  link_.calls.push_back(site);
  if (code_.calls.size() >= 0x7F00) GiveUp("too long");
  return static_cast<std::uint16_t>(code_.calls.size() - 1);
}

// A member has a site of its own, which knows where it stands.
std::uint16_t Translator::SiteOf(Lowering& low, std::size_t call) {
  KnownCall& known = *low.calls[call];
  if (known.call.member >= 0) {
    if (low.sites[call] != kNone) return low.sites[call];
    const auto& members = low.program.members;
    const auto at = [call](const ExprProgram::Member& each) { return each.call == call; };
    FuncCode::Call member = known.call;
    member.member = static_cast<int>(code_.members.size());
    const ExprProgram::Member& place = *std::find_if(members.begin(), members.end(), at);
    const bool is_call = low.expr.GetOps().GetItem(place.record)->code == kOpMethod;
    code_.members.push_back({&low.expr, place, known.call.name, is_call});
    return low.sites[call] = AddSite(member, known.site);
  }
  if (known.number == kNone) known.number = AddSite(known.call, known.site);
  return known.number;
}

bool Translator::PrepareCalls(Lowering& low) {
  auto member = low.program.members.begin();
  for (const Kt_WString& name : low.program.calls) {
    const bool is_member = member != low.program.members.end() && low.calls.size() == member->call;
    if (is_member) ++member;
    KnownCall& call = CallOf(name, is_member);
    if (!call.is_bound) {
      low.why = "a call that only the evaluator makes";
      return false;
    }
    low.runs_code = low.runs_code || is_member || call.call.kind != FuncCode::CallKind::kBuiltin;
    low.calls.push_back(&call);
  }
  return true;
}

void Translator::Compile(Lowering& low) {
  if (spare_of_ == &low.expr) {
    swap(low.program, spare_);
  } else {
    maker_.Make(low.expr, low.program);
  }
  spare_of_ = nullptr;
  low.is_compiled = true;
}

// False, with the reason, when the evaluator has to do it.
bool Translator::Prepare(Lowering& low) {
  if (!low.is_compiled) Compile(low);
  if (low.program.IsEmpty()) {
    low.why = WhyEvaluated(low.expr);
    return false;
  }
  for (const Kt_WString& name : low.program.names) {
    Place place = Find(name);
    if (place.kind == Place::Kind::kNobody) {
      if (!IsOnlyReceived(low.program, static_cast<std::uint16_t>(low.names.size()))) {
        low.why = "a name that is no variable here";
        return false;
      }
      place = {Place::Kind::kHost, HostName(name), false};
    }
    low.has_guards = low.has_guards || place.kind == Place::Kind::kMaybe;
    low.names.push_back(place);
  }
  low.sites.assign(low.program.calls.size(), kNone);
  if (!PrepareCalls(low)) return false;
  if (low.has_guards && low.runs_code) {
    low.why = "a name that may stand for two variables, and a call";
    return false;
  }
  if (!PrepareGlobals(low)) return false;
  ReadIndexesInPlace(low);
  low.base = temp_floor_;
  for (std::uint16_t temp = 0; temp < low.program.temp_count; ++temp)
    low.places.push_back(NewTemp());
  return true;
}

// An index is read when its bracket closes and used later. What nothing changes in between need not
// be kept: a variable of the function, when no call and no step lies there.
void Translator::ReadIndexesInPlace(Lowering& low) {
  std::vector<CodeInstr>& instrs = low.program.instrs;
  const auto is_call = [](const CodeInstr& in) {
    return in.op == CodeOp::kCall || in.op == CodeOp::kStepBefore || in.op == CodeOp::kStepAfter;
  };
  if (std::any_of(instrs.begin(), instrs.end(), is_call)) return;
  for (std::size_t at = 0; at < instrs.size(); ++at) {
    CodeInstr& move = instrs[at];
    if (move.op != CodeOp::kMove || !IsName(move.a)) continue;
    if (low.names[move.a - CodeOperand::kNameBase].kind != Place::Kind::kRegister) continue;
    for (std::size_t user = at + 1; user < instrs.size(); ++user) {
      CodeInstr& in = instrs[user];
      const bool has_index =
          in.op == CodeOp::kElement || in.op == CodeOp::kIndex || in.op == CodeOp::kTarget;
      if (has_index && in.b == move.dst) in.b = move.a;
    }
    move.a = move.dst;  // nothing to move any more
  }
}

// Keeps the program for the next time that the expression is prepared.
void Translator::Spare(Lowering& low) {
  spare_of_ = low.program.IsEmpty() ? nullptr : &low.expr;
  swap(spare_, low.program);
}

std::unique_ptr<Translator::Parts> Translator::TakeParts() {
  if (free_parts_.empty()) {
    free_parts_.reserve(++parts_made_);
    return std::make_unique<Parts>();
  }
  std::unique_ptr<Parts> parts = std::move(free_parts_.back());
  free_parts_.pop_back();
  parts->names.clear();
  parts->calls.clear();
  parts->places.clear();
  return parts;
}

// Globals that are used in place, or while code runs that may remove them, need a register.
bool Translator::PrepareGlobals(Lowering& low) {
  for (std::size_t name = 0; name < low.names.size(); ++name) {
    if (low.names[name].kind != Place::Kind::kGlobal) continue;
    const auto operand = static_cast<std::uint16_t>(CodeOperand::kNameBase + name);
    const bool is_in_place =
        std::any_of(low.program.instrs.begin(), low.program.instrs.end(), [&](const auto& in) {
          return in.a == operand && (in.op == CodeOp::kElement || in.op == CodeOp::kTarget ||
                                     in.op == CodeOp::kRef || in.op == CodeOp::kStepBefore ||
                                     in.op == CodeOp::kStepAfter || in.op == CodeOp::kAdd);
        });
    if ((is_in_place || low.runs_code) && BoxOfName(low, name) == kNone) {
      low.why = "too many globals";
      return false;
    }
  }
  return true;
}

// A global that the expression finds twice before it reads the first has a register for each.
std::uint16_t Translator::BoxOfName(const Lowering& low, std::size_t name) {
  const std::uint16_t global = low.names[name].reg;
  const auto before = std::count_if(
      low.names.begin(), low.names.begin() + static_cast<std::ptrdiff_t>(name),
      [global](const Place& p) { return p.kind == Place::Kind::kGlobal && p.reg == global; });
  return BoxOf(global, static_cast<int>(before));
}

void Translator::BindName(const Lowering& low, std::size_t name) {
  const Place& place = low.names[name];
  if (place.kind != Place::Kind::kGlobal) return;
  (void)Emit(InstrOp::kBindGlobal, BoxOfName(low, name), place.reg);
}

// What a call may remove is held while the expression runs.
void Translator::HoldGlobals(const Lowering& low) {
  if (!low.runs_code) return;
  for (std::size_t name = 0; name < low.program.early_names; ++name) BindName(low, name);
}

// Globals that are named after a call are looked for there: it may have loaded the script again.
void Translator::BindNames(Lowering& low, std::size_t at) {
  if (!low.runs_code) return;
  const std::vector<ExprProgram::Lookup>& lookups = low.program.lookups;
  for (; low.lookups_done < lookups.size() && lookups[low.lookups_done].at <= at;
       ++low.lookups_done) {
    BindName(low, lookups[low.lookups_done].name);
  }
}

void Translator::EmitGuards(const Lowering& low, Label label) {
  for (const Place& place : low.names) {
    if (place.kind == Place::Kind::kMaybe) EmitJump(InstrOp::kGuard, place.reg, label);
  }
}

// Where the result of the instruction that writes `temp` goes.
std::uint16_t Translator::Target(Lowering& low, std::uint16_t temp) {
  return low.want_temp == temp ? low.want : low.places[temp];
}

// The register of a variable, or of one that stands for a global.
std::uint16_t Translator::Variable(Lowering& low, std::uint16_t operand) {
  const auto name = static_cast<std::size_t>(operand - CodeOperand::kNameBase);
  if (low.names[name].kind != Place::Kind::kGlobal) return low.names[name].reg;
  if (!low.runs_code) BindName(low, name);
  return BoxOfName(low, name);
}

// The operand for a value that the next instruction reads.
std::uint16_t Translator::Read(Lowering& low, std::uint16_t operand) {
  if (IsConstant(operand)) return AddConst(low.program.consts[operand - CodeOperand::kConstBase]);
  if (!IsName(operand)) return low.places[operand];
  const auto name = static_cast<std::size_t>(operand - CodeOperand::kNameBase);
  const Place& place = low.names[name];
  if (place.kind != Place::Kind::kGlobal) return place.reg;
  if (low.runs_code) return BoxOfName(low, name);
  const std::uint16_t temp = NewTemp();
  (void)Emit(InstrOp::kGetGlobal, temp, place.reg);
  return temp;
}

// Operators ---------------------------------------------------------------------------------------

void Translator::EmitOperator(Operator op, std::uint16_t dst, std::uint16_t a, std::uint16_t b) {
  if (!IsArithmetic(op)) {
    const int distance = static_cast<int>(op) - static_cast<int>(Operator::kEqual);
    (void)Emit(static_cast<InstrOp>(static_cast<int>(InstrOp::kEqual) + distance), dst, a, b);
    return;
  }
  const int base = static_cast<int>(InstrOp::kAddRR) + 3 * static_cast<int>(op);
  const bool is_register_a = (a & kConstOperand) == 0;
  const bool is_register_b = (b & kConstOperand) == 0;
  if (is_register_a && is_register_b) {
    (void)Emit(static_cast<InstrOp>(base), dst, a, b);
  } else if (is_register_a && IsSmall(code_.consts[b & ~kConstOperand])) {
    const kt_long number = code_.consts[b & ~kConstOperand].AsLong();
    (void)Emit(static_cast<InstrOp>(base + 1), dst, a, static_cast<std::uint16_t>(number));
  } else {
    (void)Emit(static_cast<InstrOp>(base + 2), dst, a, b);
  }
}

// Goes to `label` when the truth of the relation is `sense`.
void Translator::EmitRelation(Operator op, bool sense, std::uint16_t a, std::uint16_t b,
                              Label label) {
  const int relation = static_cast<int>(op) - static_cast<int>(Operator::kEqual);
  const int base = static_cast<int>(InstrOp::kIfEqualRR) + 6 * relation + (sense ? 0 : 3);
  const bool is_register_a = (a & kConstOperand) == 0;
  const bool is_register_b = (b & kConstOperand) == 0;
  if (is_register_a && is_register_b) {
    EmitShort(static_cast<InstrOp>(base), a, b, label);
  } else if (is_register_a && IsSmall(code_.consts[b & ~kConstOperand])) {
    const kt_long number = code_.consts[b & ~kConstOperand].AsLong();
    EmitShort(static_cast<InstrOp>(base + 1), a, static_cast<std::uint16_t>(number), label);
  } else {
    EmitShort(static_cast<InstrOp>(base + 2), a, b, label);
  }
}

// Instructions ------------------------------------------------------------------------------------

void Translator::LowerCall(Lowering& low, const CodeInstr& in) {
  const std::uint16_t first = in.b > 0 ? low.places[in.a] : low.places[in.dst];
  const std::uint16_t site = SiteOf(low, static_cast<std::size_t>(in.extra));
  // Where the arguments were the result may stay, unless it is an argument of a call itself.
  const bool is_argument =
      std::any_of(low.program.instrs.begin(), low.program.instrs.end(), [&](const CodeInstr& user) {
        return user.op == CodeOp::kCall && &user != &in && user.a <= in.dst &&
               in.dst < user.a + user.b;
      });
  if (low.want_temp != in.dst && !is_argument) low.places[in.dst] = first;
  const std::uint16_t dst = Target(low, in.dst);
  const int distance = first - dst;
  const bool is_near = distance >= 0 && distance < 256;
  const auto b = static_cast<std::uint16_t>(in.b | (is_near ? distance : 0) << 8);
  if (in.b == 1 && link_.calls[site].builtin == kHandler<&Kt_ExprObject::_length>) {
    // A variable is looked at where it is.
    Instr& before = code_.instrs.back();
    const bool is_moved = before.Op() == InstrOp::kMove || before.Op() == InstrOp::kReceive;
    if (is_moved && before.A() == first && before.B() < temp_base_) {
      before.Replace(Instr::Of(InstrOp::kLength, dst, before.B(), site));
      return;
    }
  }
  InstrOp op = InstrOp::kCallScript;
  if (code_.calls[site].kind == FuncCode::CallKind::kBuiltin) op = InstrOp::kCallBuiltin;
  if (code_.calls[site].kind == FuncCode::CallKind::kHost) op = InstrOp::kCallHost;
  if (code_.calls[site].member >= 0) op = InstrOp::kCallMember;
  (void)Emit(op, first, b, site);
  if (!is_near) (void)Emit(InstrOp::kMove, dst, first);
}

void Translator::LowerInstr(Lowering& low, std::size_t at) {
  const CodeInstr& in = low.program.instrs[at];
  const std::uint16_t floor = temp_floor_;
  BindNames(low, at);
  BeginQuicks(low, at);
  switch (in.op) {
    case CodeOp::kMove: {
      if (in.a == in.dst) break;
      const Place* const place = IsName(in.a) ? &low.names[in.a - CodeOperand::kNameBase] : nullptr;
      if (place != nullptr && place->kind == Place::Kind::kGlobal && !low.runs_code) {
        (void)Emit(InstrOp::kGetGlobal, Target(low, in.dst), place->reg);
      } else {
        (void)Emit(InstrOp::kMove, Target(low, in.dst), Read(low, in.a));
      }
      break;
    }
    case CodeOp::kStepBefore:
    case CodeOp::kStepAfter: {
      const InstrOp op = in.op == CodeOp::kStepBefore ? InstrOp::kStepBefore : InstrOp::kStepAfter;
      const std::uint16_t variable = Variable(low, in.a);
      (void)Emit(op, Target(low, in.dst), variable, static_cast<std::uint16_t>(in.extra));
      break;
    }
    case CodeOp::kElement: {
      if (low.names[in.a - CodeOperand::kNameBase].kind == Place::Kind::kHost) break;
      const std::uint16_t index = Read(low, in.b);
      const std::uint16_t variable = Variable(low, in.a);
      (void)Emit(InstrOp::kElement, Target(low, in.dst), variable, index);
      break;
    }
    case CodeOp::kIndex: {
      const std::uint16_t value = Read(low, in.a);
      const std::uint16_t index = Read(low, in.b);
      const std::uint16_t name = AddConst(low.program.consts[static_cast<std::size_t>(in.extra)]);
      Instr& before = code_.instrs.back();
      // b[c][d] in one, when nothing has come between.
      if (at > 0 && low.program.instrs[at - 1].op == CodeOp::kElement &&
          before.Op() == InstrOp::kElement && before.A() == value && !IsConstant(in.a)) {
        before.Replace(Instr::Of(InstrOp::kElement2, Target(low, in.dst), before.B(), before.C()));
        (void)Emit(InstrOp::kMore, index, name, value);
        break;
      }
      (void)Emit(InstrOp::kIndex, Target(low, in.dst), value, index);
      (void)Emit(InstrOp::kMore, name);
      break;
    }
    case CodeOp::kReceive: LowerReceive(low, at); break;
    case CodeOp::kRef: {
      const std::uint16_t variable = Variable(low, in.a);
      (void)Emit(InstrOp::kRef, Target(low, in.dst), variable);
      break;
    }
    case CodeOp::kCall:
      LowerCall(low, in);
      EndQuicks(low, at);
      break;
    default: {
      const std::uint16_t a = Read(low, in.a);
      const std::uint16_t b = Read(low, in.b);
      EmitOperator(OperatorOf(in.op), Target(low, in.dst), a, b);
    }
  }
  temp_floor_ = floor;
}

// The instructions before `end`. Tests jump to the instruction that their target became.
void Translator::Lower(Lowering& low, std::size_t end) {
  std::vector<std::pair<std::int32_t, Label>> targets;
  for (std::size_t at = 0; at < end; ++at) {
    for (const auto& [target, label] : targets) {
      if (target == static_cast<std::int32_t>(at)) Bind(label);
    }
    const CodeInstr& in = low.program.instrs[at];
    if (in.op == CodeOp::kTarget) continue;
    if (!IsTest(in.op)) {
      LowerInstr(low, at);
      continue;
    }
    const std::uint16_t floor = temp_floor_;
    BindNames(low, at);
    const Label label = NewLabel();
    targets.push_back({in.extra, label});
    const std::uint16_t value = Read(low, in.a);
    EmitShort(in.op == CodeOp::kTestAnd ? InstrOp::kTestAnd : InstrOp::kTestOr, low.places[in.dst],
              value, label);
    temp_floor_ = floor;
  }
  for (const auto& [target, label] : targets) {
    if (target >= static_cast<std::int32_t>(end)) Bind(label);
  }
  BindNames(low, end);
}

// Values ------------------------------------------------------------------------------------------

std::uint16_t Translator::EvaluateList(std::size_t begin, Kt_Expr& expr, std::uint16_t want,
                                       const char* why) {
  const std::uint16_t dst = Evaluate(expr, want, why);
  NoteRange(begin, expr, dst, code_.instrs.size());
  return dst;
}

// Why the evaluator has to compute `expr`; null when it need not. Emits nothing.
const char* Translator::WhyNotLowered(Kt_Expr& expr) {
  if (!HasStack()) return "nests too deeply";
  const std::uint16_t floor = temp_floor_;
  const char* why = nullptr;
  Lowering low(*this, expr);
  if (!Prepare(low)) {
    why = low.why;
    if (expr.GetState() == kStateList) {
      std::vector<Kt_Expr> pieces;
      why = SplitListExpr(expr, pieces) ? nullptr : "lists nest too deeply";
      for (Kt_Expr& piece : pieces) why = why == nullptr ? WhyNotLowered(piece) : why;
    }
  } else if (low.has_guards) {
    why = "a name that may stand for two variables";
  }
  temp_floor_ = floor;
  return why;
}

std::uint16_t Translator::ListValue(Kt_Expr& expr, std::uint16_t want) {
  const std::size_t begin = code_.instrs.size();
  std::vector<Kt_Expr> pieces;
  if (!SplitListExpr(expr, pieces) || pieces.size() > 0x4000) {
    return EvaluateList(begin, expr, want, "lists nest too deeply");
  }
  const std::uint16_t floor = temp_floor_;
  // One piece for the evaluator makes it the whole: it may change what the others see.
  for (Kt_Expr& piece : pieces) {
    const char* const why = WhyNotLowered(piece);
    if (why != nullptr) return EvaluateList(begin, expr, want, why);
  }
  const auto count = static_cast<int>(pieces.size());
  const std::uint16_t first = temp_floor_;
  for (int at = 0; at < count; ++at) {
    code_.pieces.push_back(std::make_unique<Kt_Expr>(pieces[static_cast<std::size_t>(at)]));
    Kt_Expr& piece = *code_.pieces.back();
    temp_floor_ = static_cast<std::uint16_t>(first + at);
    const std::uint16_t place = NewTemp();
    temp_floor_ = place;  // the piece may compute in its own place
    ValueInto(piece, place);
  }
  temp_floor_ = floor;
  const std::uint16_t dst = want != kNone ? want : NewTemp();
  (void)Emit(InstrOp::kMakeList, dst, first, static_cast<std::uint16_t>(count));
  NoteRange(begin, expr, dst, code_.instrs.size());
  return dst;
}

std::uint16_t Translator::Value(Kt_Expr& expr, std::uint16_t want) {
  const std::size_t begin = code_.instrs.size();
  const std::uint16_t floor = temp_floor_;
  Lowering low(*this, expr);
  low.wants_plain_value = std::exchange(wants_plain_value_, false);
  if (code_.is_by_name || !Prepare(low)) {
    // Parsing has told the lists.
    if (!code_.is_by_name && expr.GetState() == kStateList) return ListValue(expr, want);
    const std::uint16_t dst = Evaluate(expr, want, low.why != nullptr ? low.why : "by names");
    NoteRange(begin, expr, dst, code_.instrs.size());
    return dst;
  }
  const std::vector<CodeInstr>& instrs = low.program.instrs;
  const std::size_t last = instrs.size() - 1;
  const Label evaluate = NewLabel();
  EmitGuards(low, evaluate);
  HoldGlobals(low);
  // The last instruction may write where the value is wanted, unless jumps lead around it.
  const bool has_jumps =
      std::any_of(instrs.begin(), instrs.end(), [](const CodeInstr& in) { return IsTest(in.op); });
  if (want != kNone && last > 0 && !has_jumps && instrs[last - 1].dst == instrs[last].a &&
      instrs[last - 1].op != CodeOp::kRef && !IsName(instrs[last].a) &&
      !IsConstant(instrs[last].a)) {
    low.want = want;
    low.want_temp = instrs[last].a;
  }
  Lower(low, last);
  const std::uint16_t result = instrs[last].a;
  std::uint16_t dst =
      IsConstant(result) || IsName(result) ? Read(low, result) : Target(low, result);
  if (low.has_guards) {
    const std::uint16_t common = want != kNone ? want : low.base;
    if (dst != common) (void)Emit(InstrOp::kMove, common, dst);
    const Label done = NewLabel();
    EmitJump(InstrOp::kJump, 0, done);
    Bind(evaluate);
    (void)Evaluate(expr, common, "a name that is not declared yet");
    Bind(done);
    dst = common;
    temp_top_ = std::max<std::uint16_t>(temp_top_, static_cast<std::uint16_t>(low.base + 1));
  }
  NoteRange(begin, expr, (dst & kConstOperand) != 0 ? kNone : dst, code_.instrs.size());
  // What has been computed is kept; the temps it took are free again.
  temp_floor_ =
      IsTemp(dst) ? std::max<std::uint16_t>(floor, static_cast<std::uint16_t>(dst + 1)) : floor;
  return dst;
}

bool Translator::GivesConstant(Kt_Expr& expr, Kt_Variant& value) {
  const Lowering low(*this, expr);
  ExprProgram& program = low.program;
  maker_.Make(expr, program);
  if (program.instrs.size() != 1 || !IsConstant(program.instrs[0].a)) return false;
  value = program.consts[program.instrs[0].a - CodeOperand::kConstBase];
  return true;
}

void Translator::ValueInto(Kt_Expr& expr, std::uint16_t reg) {
  const std::uint16_t value = Value(expr, reg);
  if (value != reg) (void)Emit(InstrOp::kMove, reg, value);
}

// Conditions --------------------------------------------------------------------------------------

// A walk over the instructions in which every temp that a jump depends on is the truth of a
// relation. With `is_dry` it only finds out whether that is so.
bool Translator::LowerBranch(Lowering& low, bool sense, Label label, bool is_dry) {
  const std::vector<CodeInstr>& instrs = low.program.instrs;
  const std::size_t last = instrs.size() - 1;
  const Label fall = is_dry ? 0 : NewLabel();
  std::vector<std::pair<std::size_t, Label>> targets;
  // Where a jump to `at` leads when the truth in `temp` is `truth`.
  const auto thread = [&](std::size_t at, std::uint16_t temp, bool truth, Label& to) -> bool {
    for (;;) {
      const CodeInstr& in = instrs[at];
      if (in.op == CodeOp::kReturn) {
        to = truth == sense ? label : fall;
        return in.a == temp;
      }
      if (IsLogic(in.op) && in.b == temp && in.a == in.dst) {
        temp = in.dst;
        ++at;
      } else if (IsTest(in.op) && in.a == temp && in.dst == temp) {
        at = truth == (in.op == CodeOp::kTestOr) ? static_cast<std::size_t>(in.extra) : at + 1;
      } else {
        if (!is_dry) {
          targets.push_back({at, NewLabel()});
          to = targets.back().second;
        }
        return true;
      }
    }
  };
  for (std::size_t at = 0; at < last; ++at) {
    if (!is_dry) {
      for (const auto& [target, bound] : targets) {
        if (target == at) Bind(bound);
      }
    }
    const CodeInstr& in = instrs[at];
    const bool is_truth =
        IsOperator(in.op) && (IsRelation(OperatorOf(in.op)) || OperatorOf(in.op) == Operator::kNot);
    std::size_t next = at + 1;
    std::uint16_t temp = in.dst;
    if (is_truth && IsLogic(instrs[next].op) && instrs[next].b == temp &&
        instrs[next].a == instrs[next].dst) {
      temp = instrs[next].dst;
      ++next;
    }
    const CodeInstr& user = instrs[next];
    const bool is_test = is_truth && IsTest(user.op) && user.a == temp && user.dst == temp;
    const bool is_last = is_truth && user.op == CodeOp::kReturn && user.a == temp;
    if (!is_test && !is_last) {
      if (IsLogic(in.op) || IsTest(in.op)) return false;
      if (!is_dry) LowerInstr(low, at);
      continue;
    }
    Label to = label;
    bool when = sense;
    if (is_test) {
      when = user.op == CodeOp::kTestOr;
      if (!thread(static_cast<std::size_t>(user.extra), temp, when, to)) return false;
    }
    if (!is_dry) {
      const std::uint16_t floor = temp_floor_;
      BindNames(low, at);
      if (OperatorOf(in.op) == Operator::kNot) {
        LowerInstr(low, at);
        EmitJump(when ? InstrOp::kJumpIf : InstrOp::kJumpIfNot, low.places[in.dst], to);
      } else {
        const std::uint16_t a = Read(low, in.a);
        const std::uint16_t b = Read(low, in.b);
        EmitRelation(OperatorOf(in.op), when, a, b, to);
      }
      temp_floor_ = floor;
    }
    if (is_last) {
      if (!is_dry) Bind(fall);
      return true;
    }
    at = next;
  }
  return false;
}

void Translator::Branch(Kt_Expr& expr, bool sense, Label label) {
  const std::size_t begin = code_.instrs.size();
  const std::uint16_t floor = temp_floor_;
  if (!code_.is_by_name) {
    Lowering low(*this, expr);
    if (Prepare(low)) {
      const std::vector<CodeInstr>& instrs = low.program.instrs;
      if (instrs.size() == 1 && IsConstant(instrs[0].a)) {
        const Kt_Variant& value = low.program.consts[instrs[0].a - CodeOperand::kConstBase];
        if (IsConditionTrue(value) == sense) EmitJump(InstrOp::kJump, 0, label);
        temp_floor_ = floor;
        return;
      }
      if (!low.has_guards && LowerBranch(low, sense, label, true)) {
        HoldGlobals(low);
        (void)LowerBranch(low, sense, label, false);
        NoteBranch(begin, expr, sense, label);
        temp_floor_ = floor;
        return;
      }
    }
    temp_floor_ = floor;
    Spare(low);
  }
  std::uint16_t value = Value(expr);
  if ((value & kConstOperand) != 0) {
    const std::uint16_t temp = NewTemp();
    (void)Emit(InstrOp::kMove, temp, value);
    value = temp;
  }
  EmitJump(sense ? InstrOp::kJumpIf : InstrOp::kJumpIfNot, value, label);
  temp_floor_ = floor;
}

// A condition that is empty because its object was destroyed does not hold.
void Translator::NoteBranch(std::size_t begin, Kt_Expr& expr, bool sense, Label label) {
  const std::size_t end = code_.instrs.size();
  NoteRange(begin, expr, kNone, end);
  if (!sense) branch_resumes_.push_back({code_.ranges.size() - 1, label});
}

// Assignments -------------------------------------------------------------------------------------

// The instruction that adds to `name`, when all that follows it is added to that in turn; the
// number of instructions when there is none.
std::size_t Translator::FindJoin(const Lowering& low, const Kt_WString& name) const {
  const std::vector<CodeInstr>& instrs = low.program.instrs;
  const auto& names = low.program.names;
  const auto is_own = [&](std::uint16_t operand) {
    return IsName(operand) && names[operand - CodeOperand::kNameBase].EqualsNoCase(name);
  };
  for (std::size_t at = 0; at + 1 < instrs.size(); ++at) {
    if (IsTest(instrs[at].op)) break;
    if (instrs[at].op != CodeOp::kAdd || !is_own(instrs[at].a)) continue;
    std::uint16_t sum = instrs[at].dst;
    for (std::size_t next = at + 1; next < instrs.size(); ++next) {
      const CodeInstr& in = instrs[next];
      if (in.op == CodeOp::kReturn) return in.a == sum ? at : instrs.size();
      if (in.op == CodeOp::kAdd && in.a == sum && in.b != sum) {
        sum = in.dst;
        continue;
      }
      const bool reads =
          in.op == CodeOp::kCall ? in.a <= sum && sum < in.a + in.b : in.a == sum || in.b == sum;
      if (IsTest(in.op) || in.dst == sum || reads) return instrs.size();
    }
  }
  return instrs.size();
}

// name = name + ...: a text is appended to in place. kNone when the expression is another one.
std::uint16_t Translator::JoinTo(Kt_Expr& expr, const Kt_WString& name, std::uint16_t reg) {
  if (code_.is_by_name) return kNone;
  const std::size_t begin = code_.instrs.size();
  const std::uint16_t floor = temp_floor_;
  Lowering low(*this, expr);
  Compile(low);
  const std::vector<CodeInstr>& instrs = low.program.instrs;
  const std::size_t at = FindJoin(low, name);
  const bool is_global = reg >= slot_limit_;
  const bool is_sum = at + 1 < instrs.size() &&
                      !(IsConstant(instrs[at].b) &&
                        low.program.consts[instrs[at].b - CodeOperand::kConstBase].IsLong()) &&
                      !(at + 2 == instrs.size() && !is_global);  // a plain + does it
  const std::uint16_t joined = is_sum ? NewTemp(2) : kNone;      // what follows, and the text kept
  if (!is_sum || !Prepare(low) || low.has_guards) {
    temp_floor_ = floor;
    Spare(low);
    return kNone;
  }
  const std::uint16_t after = temp_floor_;
  HoldGlobals(low);
  for (std::size_t next = 0; next + 1 < instrs.size(); ++next) {
    if (next != at) {
      LowerInstr(low, next);
      continue;
    }
    BindNames(low, at);
    const std::uint16_t added = Read(low, instrs[at].b);
    (void)Variable(low, instrs[at].a);
    (void)Emit(InstrOp::kJoinBegin, joined, reg, added);
    temp_floor_ = after;
    low.places[instrs[at].dst] = joined;
    // The sums that follow stay where it is.
    for (std::size_t sum = at + 1; sum + 1 < instrs.size(); ++sum) {
      const bool is_chained = instrs[sum].op == CodeOp::kAdd &&
                              low.places[instrs[sum].a & 0x3FFF] == joined &&
                              !IsName(instrs[sum].a) && !IsConstant(instrs[sum].a);
      if (is_chained) low.places[instrs[sum].dst] = joined;
    }
  }
  NoteRange(begin, expr, joined, code_.instrs.size());
  (void)Emit(InstrOp::kJoinEnd, reg, joined);
  temp_floor_ = floor;
  return reg;
}

const char* Translator::PathTo(const Kt_ScriptOp& op) {
  const Kt_ScriptOpSet& set = *op.GetSet();
  // The target is looked at first: nothing has been emitted when the walk has to do it.
  Lowering probe(*this, set.target);
  const bool can_prepare = Prepare(probe) && !probe.has_guards;
  const bool can_lower = can_prepare && probe.program.has_target;
  temp_floor_ = temp_base_;
  if (can_prepare && !can_lower && SetMember(op, probe)) return nullptr;
  if (!can_lower) return probe.why != nullptr ? probe.why : "no element of a variable";
  std::uint16_t value = Value(set.value);
  Spare(probe);
  Lowering low(*this, set.target);
  (void)Prepare(low);
  const std::vector<CodeInstr>& instrs = low.program.instrs;
  const auto target = static_cast<std::size_t>(
      std::find_if(instrs.begin(), instrs.end(),
                   [](const CodeInstr& in) { return in.op == CodeOp::kTarget; }) -
      instrs.begin());
  if (target > 0 && !IsTemp(value) && (value & kConstOperand) == 0) {
    // Read before the target is looked at.
    const std::uint16_t kept = NewTemp();
    (void)Emit(InstrOp::kMove, kept, value);
    value = kept;
    for (std::uint16_t& place : low.places) place = NewTemp();
  }
  const std::size_t begin = code_.instrs.size();
  HoldGlobals(low);
  Lower(low, target);
  const std::uint16_t index = Read(low, instrs[target].b);
  const std::uint16_t base = Variable(low, instrs[target].a);
  const auto operation = CompoundOperator(op.opcode);
  (void)Emit(operation ? InstrOp::kChangeElement : InstrOp::kSetElement, base, index, value);
  if (operation) {
    (void)Emit(InstrOp::kMore, 0, static_cast<std::uint16_t>(*operation));
  }
  NoteRange(begin, set.target, kNone, code_.instrs.size());
  return nullptr;
}

}  // namespace kt::detail
