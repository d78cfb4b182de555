// SPDX-License-Identifier: MIT
//
// Global declarations: evaluated while the script loads.
#include "classlib/base/Kt_Memory.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptUtil.h"
#include "script/detail/Kt_RunState.h"
#include "script/detail/Kt_ScriptLoader.h"
#include "script/detail/Kt_ScriptScan.h"

namespace kt::detail {

namespace {

bool IsName(const Slice& text) { return Kt_ExprUtil::ChkName(text.text, text.length) == 1; }

// One declarator, cut up.
struct Declarator {
  Slice name;
  Slice size;   // text between the brackets
  Slice value;  // after the '='
  bool has_size = false;
  bool has_value = false;
};

// 0, or a code with the place in `fault`.
kt_long CheckExpr(const Slice& text, Slice& fault) {
  kt_long offset = 0;
  if (Kt_ExprUtil::IsValidExpr(text.text, text.length, &offset) == 0) return 0;
  if (offset < text.length) fault = text.Part(offset, 1);
  return kSynExpression;
}

kt_long Cut(const Slice& text, Declarator& out, Slice& fault) {
  const kt_long set_at = Kt_ScriptUtil::FindSetOP(text.text, text.length);
  if (set_at < 0) return set_at;
  out.has_value = set_at > 0;
  Slice left = out.has_value ? text.Part(0, set_at).Trimmed() : text;
  if (out.has_value) out.value = text.From(set_at + 1).Trimmed();
  const std::size_t open = left.View().find(u'[');
  out.has_size = open != std::u16string_view::npos;
  if (out.has_size) {
    const std::size_t close = left.View().find(u']', open);
    if (close == std::u16string_view::npos) return kSynVariable;
    const auto start = static_cast<kt_long>(open) + 1;
    out.size = left.Part(start, static_cast<kt_long>(close) - start).Trimmed();
    left = left.Part(0, start - 1).Trimmed();
  }
  out.name = left;
  if (!IsName(out.name)) return kSynVariable;
  if (const kt_long code = out.has_size ? CheckExpr(out.size, fault) : 0) return code;
  return out.has_value ? CheckExpr(out.value, fault) : 0;
}

// A declarator with a fault has warnings, too, but no place in the outline.
void Note(SyntaxReporter& reporter, const Slice& text, const Declarator& declarator,
          bool has_fault) {
  using Kind = OutlineMark::Kind;
  if (declarator.has_value) reporter.WarnOfExpr(declarator.value, nullptr);
  if (has_fault) return;
  const OutlineMark mark(reporter, Kind::kVariable, text, declarator.name);
  if (declarator.has_size) {
    const OutlineMark size(reporter, Kind::kExpression, declarator.size, declarator.size);
  }
  if (declarator.has_value) {
    const OutlineMark value(reporter, Kind::kExpression, declarator.value, declarator.value);
  }
}

// What the evaluation reports goes to the host; the variable gets whatever it left. The budget of
// the script holds for each evaluation by itself.
Kt_Variant Evaluate(Kt_Script& script, const Slice& name, const Slice& text) {
  RunState& run = RunState::Of(script);
  const Kt_WString variable = name.Text();
  const RunState::Loading loading(run, variable);
  Kt_Expr expr;
  expr.SetExpr(text.Text());
  Kt_Variant value;
  const std::uint32_t failures = kt::MemoryFailures();
  expr.ExecExpr(&script, value);
  kt::PassMemoryFailure(failures);
  if (run.Check(&script) != kOk) value.Clear();
  return value;
}

// `value` as a list of at least `size` items.
bool MakeList(kt_long size, const Kt_Variant& value, bool has_value, Kt_Variant& out) {
  Kt_VariantList list;
  if (value.IsList()) {
    list = value.GetList();
  } else if (has_value) {
    list.Add(value);
  }
  if (list.GetCount() < size && !list.Resize(size)) return false;
  out.Set(list);
  return true;
}

kt_long Read(const Slice& text, Declarator& declarator, Slice& fault, SyntaxReporter* reporter) {
  const kt_long code = Cut(text, declarator, fault);
  if (reporter != nullptr) Note(*reporter, text, declarator, code != 0);
  return code;
}

kt_long AddGlobal(Kt_Script& script, const Slice& text, Slice& fault, LoadUndo& undo,
                  SyntaxReporter* reporter) {
  Declarator declarator;
  if (const kt_long code = Read(text, declarator, fault, reporter)) return code;
  kt_long size = 0;
  if (declarator.has_size) size = Evaluate(script, declarator.name, declarator.size).ToInteger();
  Kt_Variant value;
  if (declarator.has_value) value = Evaluate(script, declarator.name, declarator.value);
  const Kt_WString name = declarator.name.Text();
  if (declarator.has_size) {
    if (size < 1 && !declarator.has_value) return 0;
    Kt_Variant list;
    if (size > kMaxListItems || !MakeList(size, value, declarator.has_value, list)) {
      Report(&script, u"Kt_Script", kErrListTooLong, name);
      return kSynAtVariable;
    }
    value = list;
  }
  undo.NoteGlobal(name);
  script.GetVariables().AddVariable(name, value);
  return 0;
}

// Calls action(declarator) for each, until one answers with a code.
template <class Action>
kt_long ForDeclarators(const Slice& declaration, Slice& fault, const Action& action) {
  if (declaration.IsEmpty()) return -1;
  std::vector<Span> pieces;
  const kt_long code = SplitSpans(declaration.text, declaration.length, pieces);
  if (code < 0) return code;
  for (const Span& piece : pieces) {
    fault = declaration.Part(piece.start, piece.length);
    const Slice declarator = fault;
    if (const kt_long failed = action(declarator)) return failed;
  }
  return 0;
}

}  // namespace

kt_long AddGlobals(Kt_Script& script, const Slice& declaration, Slice& fault, LoadUndo& undo,
                   SyntaxReporter* reporter) {
  return ForDeclarators(declaration, fault, [&](const Slice& text) {
    return AddGlobal(script, text, fault, undo, reporter);
  });
}

kt_long CheckGlobals(const Slice& declaration, Slice& fault, SyntaxReporter& reporter) {
  return ForDeclarators(declaration, fault, [&](const Slice& text) {
    Declarator declarator;
    return Read(text, declarator, fault, &reporter);
  });
}

}  // namespace kt::detail
