// SPDX-License-Identifier: MIT
#include "script/Kt_Script.h"

#include "expr/Kt_ExprUtil.h"
#include "object/Kt_MemoryDoor.h"
#include "script/Kt_ScriptLoadHandler.h"
#include "script/detail/Kt_ScriptLoader.h"
#include "script/detail/Kt_ScriptScan.h"

Kt_Script::Kt_Script(Kt_ExprObject* external_context) : Kt_ScriptContext(nullptr, nullptr) {
  SetScript(this);
  SetExternalContext(external_context);
}

Kt_Script::~Kt_Script() = default;

kt_long Kt_Script::Parse(const Kt_WString& source_name, const Kt_WString& text,
                         Kt_ScriptLoadHandler* loader, Kt_WStrList* errors) {
  KT_CHECK_THREAD(one_thread_, "the script of text", source_name);
  // Held here: a script may be parsed again by its own load handler, and `text` may belong to it.
  const Kt_WString held = text;
  return kt::AtMemoryDoor(this, u"Kt_Script", source_name, [&] {
    Kt_WStrList includes;
    const kt_long code = ParseScript(source_name, includes, held.GetText(), errors);
    kt::detail::ReportNul(source_name, held, errors);
    if (code != 0 || loader == nullptr || includes.GetCount() == 0) return code;
    return loader->LoadIncludes(this, includes);
  });
}

kt_long Kt_Script::ParseScript(const Kt_WString& source_name, Kt_WStrList& includes,
                               const char16_t* text, Kt_WStrList* errors) {
  KT_CHECK_THREAD(one_thread_, "the script of text", source_name);
  if (text == nullptr) return 0;
  return kt::AtMemoryDoor(this, u"Kt_Script", source_name, [&] {
    return kt::detail::ScriptLoader(*this, source_name, includes, text, errors).Run();
  });
}

kt_long Kt_Script::AddVariable(const Kt_WString& declaration) {
  const kt::detail::Slice text{declaration.GetText(), declaration.GetLength()};
  return kt::AtMemoryDoor(this, u"Kt_Script", declaration, [&] {
    kt::detail::Slice fault;
    kt::detail::LoadUndo undo(*this);
    try {
      return kt::detail::AddGlobals(*this, text, fault, undo);
    } catch (const std::bad_alloc&) {
      undo.Run();
      throw;
    }
  });
}

kt_long Kt_Script::AddInclude(Kt_WStrList& includes, const Kt_WString& pragma) {
  if (pragma.IsEmpty()) return -1;
  const kt_long word = Kt_ExprUtil::FindWordEnd(pragma.GetText(), pragma.GetLength());
  if (!kt::detail::IsKeyword(pragma.GetText(), word, u"include")) return -1;
  Kt_WString name = pragma.Mid(word, pragma.GetLength() - word);
  name.Trim();
  name.TrimBrace();
  return includes.Add(name);
}

kt_long Kt_Script::AddVariables(const Kt_VariableList& variables, int overwrite) {
  const kt_long count = variables.GetCount();
  if (count == 0) return -1;
  for (kt_long index = 0; index < count; ++index) {
    const Kt_WString name = variables.GetItemName(index);
    if (overwrite == 0 && GetVariables().FindVariable(name) != nullptr) continue;
    GetVariables().AddVariable(name, variables.GetItem(index)->GetValue());
  }
  return count;
}

Kt_ScriptFunc* Kt_Script::GetFunc(const Kt_WString& name) { return funcs_.Find(kt_symbolW(name)); }
