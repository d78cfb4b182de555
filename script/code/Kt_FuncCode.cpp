// SPDX-License-Identifier: MIT
#include "script/code/Kt_FuncCode.h"

#include <algorithm>

#include "object/Kt_ExprObjInfo.h"

namespace kt::detail {

const FuncCode::Entry* FuncCode::EntryAt(std::size_t pc) const {
  const auto after =
      std::upper_bound(entries.begin(), entries.end(), pc,
                       [](std::size_t place, const Entry& entry) { return place < entry.pc; });
  return after == entries.begin() ? nullptr : &*(after - 1);
}

const Kt_WString& FuncCode::NameOf(std::size_t pc, std::uint16_t reg) const {
  static const Kt_WString kNone;
  if (reg >= box_base && reg < temp_base) {
    const auto box = static_cast<std::size_t>(reg - box_base);
    return box < global_of_register.size() ? globals[global_of_register[box]] : kNone;
  }
  const Kt_WString* name = &kNone;
  ForSlots(pc, [&](const ScopeInfo&, const Slot& slot) {
    if (slot.reg == reg) name = &slot.name;
  });
  return *name;
}

void LinkedCode::BindGlobals(const Kt_VariableList& variables) {
  globals.resize(code->globals.size());
  for (std::size_t at = 0; at < globals.size(); ++at) {
    globals[at] = variables.FindVariable(code->globals[at]);
  }
  globals_version = variables.GetVersion();
}

bool LinkedCode::BindCalls(Kt_Script& script) {
  calls.resize(code->calls.size());
  for (std::size_t at = 0; at < calls.size(); ++at) {
    FuncCode::Call call = code->calls[at];
    CallSite fresh;
    if (!BindCall(call, fresh, script) || call.kind != code->calls[at].kind) return false;
    calls[at] = fresh;
  }
  version = script.GetVersion();
  return true;
}

namespace {

// Built-ins that look at the context of their call are for the evaluator.
bool BindBuiltin(FuncCode::Call& call, LinkedCode::CallSite& site) {
  const _EXPR_INTFUNC_INFO* const table = Kt_ExprObject::GetIntFuncMap();
  const int row = FindIntFuncIdx(table, Kt_ExprObject::GetIntFuncCount(), call.name.GetText());
  call.kind = FuncCode::CallKind::kBuiltin;
  if (row < 0) return call.member >= 0;  // objects may have the member
  site.builtin = table[row].handler;
  site.direct = FindDirectFunc(site.builtin);
  return table[row].effect != Kt_FuncEffect::kOther || call.name.EqualsNoCase(u"random");
}

// Null when the code does not fit the names of `script`.
std::unique_ptr<LinkedCode> Link(const std::shared_ptr<const FuncCode>& code, Kt_Script& script) {
  for (const Kt_WString& name : code->unknown_calls) {
    FuncCode::Call call{name};
    LinkedCode::CallSite site;
    if (BindCall(call, site, script)) return nullptr;
  }
  auto link = std::make_unique<LinkedCode>();
  link->code = code;
  if (!link->BindCalls(script)) return nullptr;
  link->Prepare();
  link->BindGlobals(script.GetVariables());
  return link;
}

}  // namespace

bool BindCall(FuncCode::Call& call, LinkedCode::CallSite& site, Kt_Script& script) {
  site = {};
  if (call.member >= 0) return BindBuiltin(call, site);
  site.func = script.GetFunc(call.name);
  call.kind = FuncCode::CallKind::kScript;
  if (site.func != nullptr) return true;
  Kt_ExprObjInfo info;
  const int kind = script.GetMethodType(call.name, info);
  if (info.GetKind() == EXPR_OBJ_EXTAPI && info.GetExtAPI().handle != nullptr) {
    call.kind = FuncCode::CallKind::kHost;
    site.ext_api = info.GetExtAPI().handle;
    site.context = info.GetExtAPI().context;
    return site.context != nullptr;
  }
  return info.GetKind() == EXPR_OBJ_NONE && kind == kUnknownName && BindBuiltin(call, site);
}

bool CodeForms::Add(const std::shared_ptr<const FuncCode>& code, const Forms& known) {
  const std::lock_guard lock(mutex_);
  if (forms_.size() != known.size()) return false;
  if (forms_.size() < kMostForms) forms_.push_back(code);
  return true;
}

// Nothing is locked while names are asked for and code is made: hosts answer, and may call.
std::unique_ptr<LinkedCode> MakeCode(const Kt_ScriptFunc& func, Kt_Script& script,
                                     const FuncCode* by_name_of) {
  CodeForms* const forms = func.GetForms();
  if (forms == nullptr) return Translate(func, script, by_name_of);
  for (;;) {
    const CodeForms::Forms known = forms->Get();
    for (const auto& code : known) {
      if (code->is_by_name != (by_name_of != nullptr)) continue;
      if (auto link = Link(code, script)) return link;
    }
    auto made = Translate(func, script, by_name_of);
    // What was made while the run was being stopped may lack something.
    const bool is_whole = Kt_WorkMeter::CurrentStop() == kOk && !made->code->is_for_now;
    if (!is_whole || forms->Add(made->code, known)) return made;
  }
}

}  // namespace kt::detail
