// SPDX-License-Identifier: MIT
#include "script/Kt_Program.h"

#include "classlib/base/Kt_WorkMeter.h"
#include "object/Kt_MemoryDoor.h"
#include "script/Kt_Script.h"
#include "script/detail/Kt_ScriptLoader.h"
#include "script/detail/Kt_SharedFunc.h"

Kt_Program::Kt_Program() = default;
Kt_Program::~Kt_Program() = default;

kt_long Kt_Program::GetTextCount() const { return static_cast<kt_long>(texts_.size()); }

const Kt_WString& Kt_Program::GetSourceName(kt_long index) const {
  return texts_[static_cast<std::size_t>(index)].source_name;
}

std::shared_ptr<const Kt_Program> Kt_Program::Make(const Kt_WString& source_name,
                                                   const Kt_WString& text,
                                                   Kt_ScriptLoadHandler* loader,
                                                   Kt_WStrList* errors) {
  std::shared_ptr<Kt_Program> program;
  Kt_WStrList own_errors;
  const kt_long code = kt::AtMemoryDoor(nullptr, u"Kt_Program", source_name, [&] {
    program.reset(new Kt_Program);
    return program->Read(source_name, text, loader, errors != nullptr ? *errors : own_errors);
  });
  return code == kOk ? program : nullptr;
}

kt_long Kt_Program::Read(const Kt_WString& source_name, const Kt_WString& text,
                         Kt_ScriptLoadHandler* loader, Kt_WStrList& errors) {
  const kt_long known = errors.GetCount();
  Kt_Script script;
  script.program_texts_ = &texts_;
  if (const kt_long code = script.Parse(source_name, text, loader, &errors)) return code;
  // A run that was stopped on the way may have left something out.
  return errors.GetCount() == known && Kt_WorkMeter::CurrentStop() == kOk ? kOk : kFailed;
}

kt_long Kt_Script::Load(const std::shared_ptr<const Kt_Program>& program, Kt_WStrList* errors) {
  KT_ASSERT(program != nullptr);
  const auto held = program;  // what evaluates a global may drop it
  const Kt_WString& name = held->texts_.front().source_name;
  KT_CHECK_THREAD(one_thread_, "the script of program", name);
  return kt::AtMemoryDoor(this, u"Kt_Script", name, [&] {
    Kt_WStrList includes;
    for (const kt::detail::ProgramText& text : held->texts_) {
      kt::detail::ScriptLoader loader(*this, text.source_name, includes, text.text.View(), errors);
      if (const kt_long code = loader.Share(text)) return code;
    }
    return kOk;
  });
}
