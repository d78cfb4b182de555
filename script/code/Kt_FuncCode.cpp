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
    return box < global_of_register.size() ? globals[global_of_register[box]].name : kNone;
  }
  const Kt_WString* name = &kNone;
  ForSlots(pc, [&](const ScopeInfo&, const Slot& slot) {
    if (slot.reg == reg) name = &slot.name;
  });
  return *name;
}

void FuncCode::BindGlobals(const Kt_VariableList& variables) {
  for (Global& global : globals) global.place = variables.FindVariable(global.name);
  globals_version = variables.GetVersion();
}

namespace {

// Built-ins that look at the context of their call are for the evaluator.
bool BindBuiltin(FuncCode::CallSite& site) {
  const _EXPR_INTFUNC_INFO* const table = Kt_ExprObject::GetIntFuncMap();
  const int row = FindIntFuncIdx(table, Kt_ExprObject::GetIntFuncCount(), site.name.GetText());
  if (row < 0) return false;
  site.kind = FuncCode::CallKind::kBuiltin;
  site.builtin = table[row].handler;
  site.direct = FindDirectFunc(site.builtin);
  return table[row].effect != Kt_FuncEffect::kOther || site.name.EqualsNoCase(u"random");
}

}  // namespace

bool BindCall(FuncCode::CallSite& site, Kt_Script& script) {
  if (site.member >= 0) return BindBuiltin(site);
  site.func = script.GetFunc(site.name);
  site.code = nullptr;
  site.code_version = FuncCode::kNoVersion;
  site.kind = FuncCode::CallKind::kScript;
  if (site.func != nullptr) return true;
  Kt_ExprObjInfo info;
  const int kind = script.GetMethodType(site.name, info);
  if (info.GetKind() == EXPR_OBJ_EXTAPI && info.GetExtAPI().handle != nullptr) {
    site.kind = FuncCode::CallKind::kHost;
    site.ext_api = info.GetExtAPI().handle;
    site.context = info.GetExtAPI().context;
    return site.context != nullptr;
  }
  return info.GetKind() == EXPR_OBJ_NONE && kind == kUnknownName && BindBuiltin(site);
}

}  // namespace kt::detail
