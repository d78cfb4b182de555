// SPDX-License-Identifier: MIT
//
// Members of objects.
//
// A member is found when the value before it is there (Receive) and read when its arguments are
// (CallMember), as the evaluator does it: in between, what it was found to be waits in the frame.
//
// Members that an object reaches without further questions (kt::QuickMembers) are used at once.
// What their use needs is remembered with the place in the code, for one class of objects; the
// object is asked for its class every time, so that another one may come along.
#include <array>
#include <span>
#include <utility>

#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_VarInline.h"
#include "object/Kt_ExprStackObj.h"
#include "object/Kt_MemoryDoor.h"
#include "script/code/Kt_Contexts.h"
#include "script/code/Kt_Machine.h"

namespace kt::detail {

// Quick members -----------------------------------------------------------------------------------

// As hold.IsValid(), without a call.
KT_ALWAYS_INLINE bool IsLive(const Kt_ObjectHolder& hold) {
  return hold.GetObject() != nullptr && (!hold.HasContainer() || hold.GetContainer() != nullptr);
}

// What Peek gives, where no variable refers to another one; else null.
KT_ALWAYS_INLINE const Kt_Variant* PlainAt(const CodeFrame& frame, std::uint16_t operand) {
  if ((operand & kConstOperand) != 0) return &frame.code->consts[operand & 0x7FFF];
  const Kt_Variant& value = frame.base[operand];
  return KT_LIKELY(!value.IsRef()) ? &value : nullptr;
}

// Whether objects of that class have a quick form of the member; finds it.
KT_ALWAYS_INLINE bool Machine::IsQuick(CodeFrame& frame, int number, Kt_Object& object,
                                       MemberUse use, int arg_count) {
  const LinkedCode::MemberSite& site = frame.link->members[static_cast<std::size_t>(number)];
  if (KT_LIKELY(site.type == &typeid(object) && site.use == use)) return site.quick != nullptr;
  return FindQuick(frame, number, object, use, arg_count);
}

// Whether the member can be written at once, so that it may be read before.
bool Machine::IsQuickToSet(CodeFrame& frame, const FuncCode::Quick& quick,
                           const Kt_Variant& object) {
  const Kt_ObjectHolder& hold = object.GetHolder();
  return IsLive(hold) && IsQuick(frame, quick.member, *hold.GetObject(), MemberUse::kSet, 1);
}

bool Machine::FindQuick(CodeFrame& frame, int number, Kt_Object& object, MemberUse use,
                        int arg_count) {
  LinkedCode::MemberSite& site = frame.link->members[static_cast<std::size_t>(number)];
  const std::type_info& type = typeid(object);
  const auto* const members = dynamic_cast<QuickMembers*>(Kt_ExprObject::From(&object));
  const FuncCode::Member& member = frame.code->members[static_cast<std::size_t>(number)];
  site.quick = members != nullptr ? members->FindQuickMember(use, member.name, arg_count) : nullptr;
  site.use = use;
  site.hint = -1;
  site.type = &type;
  return site.quick != nullptr;
}

KT_ALWAYS_INLINE
bool Machine::RunQuick(CodeFrame& frame, int number, const Kt_Variant& object, MemberUse use,
                       const Kt_Variant* const* args, int arg_count, Kt_Variant& value,
                       kt_long& code) {
  const Kt_ObjectHolder& hold = object.GetHolder();
  if (KT_UNLIKELY(!IsLive(hold))) return false;
  LinkedCode::MemberSite& site = frame.link->members[static_cast<std::size_t>(number)];
  Kt_Object& receiver = *hold.GetObject();
  if (KT_UNLIKELY(site.type != &typeid(receiver) || site.use != use)) {
    if (!FindQuick(frame, number, receiver, use, arg_count)) return false;
  } else if (KT_UNLIKELY(site.quick == nullptr)) {
    return false;
  }
  if (KT_UNLIKELY(!run_.Meter().ChargeTime(Kt_WorkMeter::kUnitsPerCall))) return false;
  const FuncCode::Member& member = frame.code->members[static_cast<std::size_t>(number)];
  code = kOk;
  const QuickUse quick_use{member.name, args, site.hint};
  if (!site.quick(static_cast<Kt_ExprObject&>(*hold.GetObject()), quick_use, value, code)) {
    return false;
  }
  if (KT_UNLIKELY(code != kOk)) SetFailureStart(member.place.start);
  if (KT_UNLIKELY(run_.GetStopCode() != kOk)) code = run_.Check(&script_);
  return true;
}

// A member with all that its use goes by.
kt_long Machine::UseMember(CodeFrame& frame, const FuncCode::Quick& quick, bool& is_used) {
  is_used = false;
  const Kt_Variant* object = nullptr;
  if (KT_LIKELY(quick.object != FuncCode::kNoRegister)) {
    object = PlainAt(frame, quick.object);
    if (KT_UNLIKELY(object == nullptr)) object = &Place(frame, quick.object);
  } else {
    object = HostObject(frame, frame.code->members[static_cast<std::size_t>(quick.member)].host);
  }
  if (object == nullptr || !object->IsObject() || frame.is_stale) return kOk;
  std::array<const Kt_Variant*, FuncCode::Quick::kMostArgs> args;
  for (int arg = 0; arg < quick.arg_count; ++arg) {
    const Kt_Variant* const plain = PlainAt(frame, quick.args[arg]);
    args[static_cast<std::size_t>(arg)] =
        KT_LIKELY(plain != nullptr) ? plain : &Peek(frame, quick.args[arg]);
  }
  Kt_Variant value;
  kt_long code = kOk;
  is_used =
      RunQuick(frame, quick.member, *object, quick.use, args.data(), quick.arg_count, value, code);
  if (!is_used || code != kOk) return code;
  Kt_Variant& dst = frame.base[quick.dst];
  if (KT_LIKELY(!dst.IsCounted())) {
    dst = std::move(value);
  } else {
    Store(frame, quick.dst, std::move(value));
  }
  return kOk;
}

// Assignments to members. What is not done at once has not been begun, and the walk does it.
kt_long Machine::SetMember(CodeFrame& frame, Instr in, const FuncCode::Quick& quick) {
  const Kt_Variant* const value = &Peek(frame, in.A());
  const Kt_Variant& object = Place(frame, quick.object);
  Kt_Variant none;
  kt_long code = kOk;
  const bool is_plain = object.IsObject() && !value->IsRef() && !frame.is_stale;
  bool is_done = false;
  if (KT_UNLIKELY(quick.reader >= 0)) {
    is_done = is_plain && ChangeMember(frame, in, quick, code);
  } else if (KT_LIKELY(is_plain)) {
    is_done = RunQuick(frame, quick.member, object, MemberUse::kSet, &value, 1, none, code);
  }
  if (KT_LIKELY(is_done)) {
    Drop(frame, in.A());
    return code;
  }
  Kt_Variant given = Read(frame, in.A());
  return FinishByName(frame, given);
}

// object.member (operation)= number.
bool Machine::ChangeMember(CodeFrame& frame, Instr in, const FuncCode::Quick& quick,
                           kt_long& code) {
  const Kt_Variant& value = Peek(frame, in.A());
  const Kt_Variant& object = Place(frame, quick.object);
  const auto is_number = [](const Kt_Variant& each) { return each.IsLong() || each.IsDouble(); };
  Kt_Variant old;
  Kt_Variant changed;
  const Kt_Variant* const args[] = {&changed};
  if (!is_number(value) || !IsQuickToSet(frame, quick, object) ||
      !RunQuick(frame, quick.reader, object, MemberUse::kValue, nullptr, 0, old, code)) {
    return false;
  }
  if (code != kOk) return true;
  return is_number(old) && Compute(quick.operation, old, value, changed) == kOk &&
         RunQuick(frame, quick.member, object, MemberUse::kSet, args, 1, old, code);
}

// A call whose arguments have been computed, of an object that answers at once.
bool Machine::CallQuick(CodeFrame& frame, const OutsideCall& call, kt_long& code) {
  const int number = frame.code->calls[call.site].member;
  const int arg_count = call.count - 1;
  const bool is_call = frame.code->members[static_cast<std::size_t>(number)].is_call;
  if (frame.is_stale || arg_count > FuncCode::Quick::kMostArgs) return false;
  std::array<const Kt_Variant*, FuncCode::Quick::kMostArgs> args;
  for (int arg = 0; arg < arg_count; ++arg) {
    args[static_cast<std::size_t>(arg)] = &call.args[arg + 1];
    if (call.args[arg + 1].IsRef()) return false;
  }
  Kt_Variant value;
  const MemberUse use = is_call ? MemberUse::kCall : MemberUse::kValue;
  if (!RunQuick(frame, number, call.args[0], use, args.data(), arg_count, value, code))
    return false;
  for (Kt_Variant *arg = call.args, *const last = arg + call.count; arg != last; ++arg) {
    arg->Clear();
  }
  if (KT_UNLIKELY(code != kOk)) return true;
  Kt_Variant& dst = frame.base[call.result];
  if (KT_LIKELY(!dst.IsCounted())) {
    dst = std::move(value);
  } else {
    Store(frame, call.result, std::move(value));
  }
  return true;
}

// Names of the host -------------------------------------------------------------------------------

// The object that the host said a name stands for, while that is known to hold; else null.
const Kt_Variant* Machine::HostObject(const CodeFrame& frame, int host) const {
  const LinkedCode::HostName& name = frame.link->host_names[static_cast<std::size_t>(host)];
  Kt_ExprObject* const context = script_.GetExternalContext();
  const bool is_known = name.name_version != 0 && context != nullptr &&
                        context->GetNameVersion() == name.name_version &&
                        script_.GetVariables().GetVersion() == name.globals_version &&
                        script_.GetVersion() == name.version;
  return is_known ? &name.object : nullptr;
}

// The member of what a name stands for, which only the host may know, or of an item of that.
kt_long Machine::ReceiveHost(CodeFrame& frame, Instr in) {
  const FuncCode::Call& call = frame.code->calls[in.C() & ~kObjectSite];
  const FuncCode::Member& member = frame.code->members[static_cast<std::size_t>(call.member)];
  const auto host = static_cast<std::size_t>(member.host);
  Kt_ExprObject* const context = script_.GetExternalContext();
  LinkedCode::HostName found;
  found.name_version = context != nullptr ? context->GetNameVersion() : 0;
  found.globals_version = script_.GetVariables().GetVersion();
  found.version = script_.GetVersion();
  auto entry = std::make_unique<Kt_ExprStackObj>();
  kt_long code = kOk;
  {
    const Contexts contexts(*this, frame);
    const Kt_Variant* const index =
        member.index != FuncCode::kNoRegister ? &Peek(frame, member.index) : nullptr;
    code = BindMemberOfName(contexts.Get(), member.place, *member.expr,
                            frame.code->host_names[host], index, found.object, *entry);
    if (code == kOk) code = run_.Check(&script_);
  }
  Store(frame, in.A(), Kt_Variant(found.object));
  if (found.object.IsObject()) frame.link->host_names[host] = std::move(found);
  if (code == kOk) frame.members.emplace_back(in.A(), std::move(entry));
  return code;
}

// Members in two steps ----------------------------------------------------------------------------

// What a variable has, where that is an object of the class that the member was quick for last;
// else null.
KT_ALWAYS_INLINE
const Kt_Variant* Machine::KnownObject(CodeFrame& frame, Instr in, int number) {
  if (!IsVariable(frame, in.B()) || frame.base[in.A()].IsCounted()) return nullptr;
  const LinkedCode::MemberSite& site = frame.link->members[static_cast<std::size_t>(number)];
  const Kt_Variant& value = Place(frame, in.B());
  const Kt_ObjectHolder& hold = value.GetHolder();
  if (site.quick == nullptr || site.use == MemberUse::kItemValue || !IsLive(hold)) return nullptr;
  const Kt_Object& object = *hold.GetObject();
  return site.type == &typeid(object) ? &value : nullptr;
}

// The value before a member, which is called when the arguments that follow are there.
kt_long Machine::Receive(CodeFrame& frame, Instr in) {
  const std::uint16_t site = in.C() & ~kObjectSite;
  const FuncCode::Call& call = frame.code->calls[site];
  const FuncCode::Member& member = frame.code->members[static_cast<std::size_t>(call.member)];
  if (member.host >= 0) return ReceiveHost(frame, in);
  if (const Kt_Variant* const known = KnownObject(frame, in, call.member)) {
    frame.base[in.A()] = *known;
    return kOk;
  }
  Kt_Variant value = Read(frame, in.B());
  if (const kt_long code = CheckCallResult(&script_, value)) return code;
  if (value.IsObject()) return ReceiveObject(frame, in, std::move(value));
  if ((in.C() & kObjectSite) != 0) {
    const Contexts contexts(*this, frame);
    Kt_ExprStackObj entry;
    return BindMemberOf(contexts.Get(), member.place, *member.expr, value, entry);
  }
  Store(frame, in.A(), std::move(value));
  return kOk;
}

kt_long Machine::ReceiveObject(CodeFrame& frame, Instr in, Kt_Variant&& object) {
  const int number = frame.code->calls[in.C() & ~kObjectSite].member;
  const FuncCode::Member& member = frame.code->members[static_cast<std::size_t>(number)];
  Kt_Object& receiver = *object.GetHolder().GetObject();
  // Where the use of a member is quick, what it is found to be does not depend on the time.
  const bool is_quick =
      IsQuick(frame, number, receiver, member.is_call ? MemberUse::kCall : MemberUse::kValue,
              member.arg_count);
  kt_long code = kOk;
  if (!is_quick) {
    auto entry = std::make_unique<Kt_ExprStackObj>();
    code = BindMemberOf(&script_, member.place, *member.expr, object, *entry);
    if (code == kOk) frame.members.emplace_back(in.A(), std::move(entry));
  }
  Store(frame, in.A(), std::move(object));
  return code;
}

kt_long Machine::CallMember(CodeFrame& frame, Instr in) {
  const OutsideCall call = CallOf(frame, in);
  if (KT_LIKELY(frame.members.empty() && call.args[0].IsObject())) {
    kt_long code = kOk;
    return CallQuick(frame, call, code) ? code : ReadMemberNow(frame, call);
  }
  return CallFoundMember(frame, in, call);
}

// The same where members have been found that wait for their arguments.
kt_long Machine::CallFoundMember(CodeFrame& frame, Instr in, const OutsideCall& call) {
  for (std::size_t at = frame.members.size(); at-- > 0;) {
    if (frame.members[at].first != in.A()) continue;
    const std::unique_ptr<Kt_ExprStackObj> entry = std::move(frame.members[at].second);
    frame.members.erase(frame.members.begin() + static_cast<std::ptrdiff_t>(at));
    return ReadMember(frame, call, *entry);
  }
  if (KT_LIKELY(!call.args[0].IsObject())) return CallBuiltin(frame, in);
  kt_long code = kOk;
  return CallQuick(frame, call, code) ? code : ReadMemberNow(frame, call);
}

// A member that is found only now.
kt_long Machine::ReadMemberNow(CodeFrame& frame, const OutsideCall& call) {
  const FuncCode::Member& member =
      frame.code->members[static_cast<std::size_t>(frame.code->calls[call.site].member)];
  Kt_ExprStackObj entry;
  if (call.args[0].GetHolder().IsValid()) {
    const kt_long code = BindMemberOf(&script_, member.place, *member.expr, call.args[0], entry);
    return code == kOk ? ReadMember(frame, call, entry) : code;
  }
  // It has gone since it was received.
  Kt_Variant value;
  const kt_long code = run_.ChargeTime(Kt_WorkMeter::kUnitsPerCall, &script_);
  return FinishMember(frame, call, value, code);
}

kt_long Machine::ReadMember(CodeFrame& frame, const OutsideCall& call, Kt_ExprStackObj& entry) {
  const FuncCode::Member& member =
      frame.code->members[static_cast<std::size_t>(frame.code->calls[call.site].member)];
  const std::span<const Kt_Variant> args(call.args + 1, static_cast<std::size_t>(call.count - 1));
  Kt_Variant value;
  kt_long code = kOk;
  const std::uint32_t failures = kt::MemoryFailures();
  {
    const Contexts contexts(*this, frame);
    code = ReadMemberOf(contexts.Get(), member.place, *member.expr, entry, args, value);
    if (code == kOk) code = run_.Check(&script_);
  }
  kt::PassMemoryFailure(failures);
  return FinishMember(frame, call, value, code);
}

kt_long Machine::FinishMember(CodeFrame& frame, const OutsideCall& call, Kt_Variant& value,
                              kt_long code) {
  const FuncCode::Member& member =
      frame.code->members[static_cast<std::size_t>(frame.code->calls[call.site].member)];
  for (int arg = 0; arg < call.count; ++arg) call.args[arg].Clear();
  if (code != kOk) return code;
  if (KT_UNLIKELY(frame.is_stale) && member.place.is_end &&
      IsValueOfStatement(frame, *member.expr)) {
    return FinishByName(frame, value);
  }
  Store(frame, call.result, std::move(value));
  return kOk;
}

}  // namespace kt::detail
