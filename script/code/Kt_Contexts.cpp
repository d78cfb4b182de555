// SPDX-License-Identifier: MIT
#include "script/code/Kt_Contexts.h"

#include <algorithm>
#include <utility>

namespace kt::detail {

Contexts::Contexts(Machine& machine, CodeFrame& frame) : machine_(machine), frame_(frame) {
  if (frame.scopes.empty()) Build();
  const FuncCode::Entry* const entry = frame.code->EntryAt(PcOf(frame));
  const std::size_t scope = entry != nullptr ? entry->scope : 0;
  const auto depth = static_cast<std::size_t>(frame.code->scopes[scope].depth);
  context_ = frame.scopes[std::min(depth, frame.scopes.size() - 1)].scope.get();
}

// Leaves the scopes that are no longer open at `pc`, and begins those that are not yet.
void OpenScopes(CodeFrame& frame, std::size_t pc, Kt_Script& script) {
  const FuncCode& code = *frame.code;
  const FuncCode::Entry* const entry = code.EntryAt(pc);
  std::vector<int> chain;
  for (int at = entry != nullptr ? entry->open : 0; at >= 0;
       at = code.scopes[static_cast<std::size_t>(at)].parent) {
    chain.insert(chain.begin(), at);
  }
  std::size_t same = 0;
  while (same < chain.size() && same < frame.scopes.size() &&
         frame.scopes[same].info == chain[same]) {
    ++same;
  }
  while (frame.scopes.size() > same) frame.scopes.pop_back();
  for (; same < chain.size(); ++same) {
    Scope* const outer = same > 0 ? frame.scopes.back().scope.get() : nullptr;
    frame.scopes.push_back({chain[same], outer != nullptr
                                             ? std::make_unique<Scope>(outer, outer, script)
                                             : std::make_unique<Scope>(script)});
  }
}

void Contexts::Build() {
  Kt_Script& script = machine_.script_;
  const std::size_t pc = PcOf(frame_);
  is_own_ = true;
  OpenScopes(frame_, pc, script);
  frame_.code->ForSlots(pc, [&](const FuncCode::ScopeInfo& scope, const FuncCode::Slot& slot) {
    Kt_Variant& reg = frame_.base[slot.reg];
    if (reg.IsUndeclared()) return;
    (void)machine_.Box(frame_, slot.reg);
    frame_.scopes[static_cast<std::size_t>(scope.depth)].scope->GetVariables().AddRefVariable(
        slot.name, reg, true);
  });
}

// Takes no memory: it is asked when a context ends, also because memory has run out.
bool Contexts::IsUnchanged() const {
  const FuncCode::ScopeInfo* last = nullptr;
  kt_long found = 0;
  kt_long left = 0;
  for (const CodeFrame::Open& open : frame_.scopes) left += open.scope->GetVariables().GetCount();
  bool is_same = true;
  frame_.code->ForSlots(
      PcOf(frame_), [&](const FuncCode::ScopeInfo& scope, const FuncCode::Slot& slot) {
        const Kt_Variant& reg = frame_.base[slot.reg];
        if (reg.IsUndeclared()) return;
        if (std::exchange(last, &scope) != &scope) found = 0;
        const CodeFrame::Open& open = frame_.scopes[static_cast<std::size_t>(scope.depth)];
        is_same = is_same && open.scope->GetVariables().GetItem(found++) == reg.GetRefVariable();
        --left;
      });
  return is_same && left == 0;
}

void Contexts::Keep() {
  is_own_ = false;
  frame_.is_stale = true;
}

Contexts::~Contexts() {
  if (!is_own_) return;
  if (!IsUnchanged()) {
    Keep();
    return;
  }
  while (!frame_.scopes.empty()) frame_.scopes.pop_back();
  frame_.code->ForSlots(PcOf(frame_), [&](const FuncCode::ScopeInfo&, const FuncCode::Slot& slot) {
    Kt_Variant& reg = frame_.base[slot.reg];
    Kt_Variable* const variable = reg.GetRefVariable();
    if (variable == nullptr || variable->IsShared()) return;
    Kt_Variant value = std::move(variable->GetValueW());
    reg = std::move(value);
  });
}

}  // namespace kt::detail
