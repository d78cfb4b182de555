// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "classlib/text/Kt_WStrList.h"

class Kt_ScriptLoadHandler;

namespace kt::detail {
struct ProgramText;
}  // namespace kt::detail

// The text of a script and of all that it includes, parsed once for any number of scripts, which
// may run it at the same time on as many threads. Each has its own globals; trees of functions and
// their code are there once.
//
//   const auto program = Kt_Program::Make(u"rules", text, nullptr, &errors);
//   Kt_Script script(&host_object);  // on any thread, any number of them
//   script.Load(program);
//
// Functions are translated when a script first calls one. Scripts for which all names stand for
// functions of the same kind (of the script, built in, of the host) share the code; expressions
// that are left to the evaluator are parsed by each script that comes to them. Ownership: a script
// keeps what it has loaded; the program may be destroyed before it. Threads: a program does not
// change. It may be loaded on any thread, on several at a time.
class KT_SCRIPT_API Kt_Program {
 public:
  // Null when the text has a fault, anywhere; `errors` (may be null) gets all, as from
  // Kt_Script::Parse. Nothing is evaluated. `loader` is called with a script that only collects
  // what is parsed into it.
  static std::shared_ptr<const Kt_Program> Make(const Kt_WString& source_name,
                                                const Kt_WString& text,
                                                Kt_ScriptLoadHandler* loader, Kt_WStrList* errors);
  Kt_Program(const Kt_Program&) = delete;
  Kt_Program& operator=(const Kt_Program&) = delete;
  ~Kt_Program();

  // The texts, the included ones after the one that includes them.
  kt_long GetTextCount() const;
  const Kt_WString& GetSourceName(kt_long index) const;

 private:
  friend class Kt_Script;

  Kt_Program();
  kt_long Read(const Kt_WString& source_name, const Kt_WString& text, Kt_ScriptLoadHandler* loader,
               Kt_WStrList& errors);

  std::vector<kt::detail::ProgramText> texts_;
};
