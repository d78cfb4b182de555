// SPDX-License-Identifier: MIT
#include "expr/Kt_Expr.h"

#include <utility>

#include "classlib/base/Kt_WorkMeter.h"
#include "object/Kt_MemoryDoor.h"

namespace {

// Scripts hold thousands of expressions and nearly all of them fit in one such block.
constexpr kt_long kBlockSize = 32;

}  // namespace

Kt_Expr::Kt_Expr() : ops_(kBlockSize) {}

Kt_Expr::Kt_Expr(const char16_t* text) : ops_(kBlockSize), text_(text) {}

Kt_Expr::Kt_Expr(const Kt_Expr& other) : ops_(other.ops_), text_(other.GetSource()) {}

Kt_Expr& Kt_Expr::operator=(const Kt_Expr& other) {
  if (this == &other) return *this;
  SetExpr(other.GetSource());
  ops_ = other.ops_;
  return *this;
}

Kt_Expr& Kt_Expr::operator=(const Kt_WString& text) {
  SetExpr(text);
  return *this;
}

Kt_Expr::~Kt_Expr() = default;

const Kt_ExprOp* Kt_Expr::GetFirstOp() const {
  static const Kt_ExprOp kNone{};
  return ops_.GetCount() > 0 ? ops_.GetItem(0) : &kNone;
}

void Kt_Expr::Clear() {
  DropCode();
  state_ = kStateUnparsed;
  error_offset_ = -1;
  ops_.Clear();
  text_.Empty();
}

void Kt_Expr::DropCode() {
  items_.reset();
  host_code_.reset();
  runs_ = 0;
}

void Kt_Expr::SetExpr(const Kt_WString& text) {
  Kt_WString held(text);  // `text` may be the stored one
  Clear();
  text_ = std::move(held);
}

void Kt_Expr::SetExpr(const char16_t* text) { SetExpr(Kt_WString(text)); }

kt_long Kt_Expr::Parse(const Kt_WString& text, Kt_WString& error) {
  const kt_long code = kt::AtMemoryDoor(nullptr, u"Kt_Expr", text, [&] {
    text_ = text;
    return ParseText(error);
  });
  return code == kErrNoMemory ? GiveUpParse() : code;
}

kt_long Kt_Expr::Parse(Kt_WString& error, const char16_t* text) {
  const kt_long code = kt::AtMemoryDoor(nullptr, u"Kt_Expr", text_, [&] {
    text_ = text && *text ? Kt_WString(text) : GetSource();
    return ParseText(error);
  });
  return code == kErrNoMemory ? GiveUpParse() : code;
}

// To be parsed again when it is evaluated.
kt_long Kt_Expr::GiveUpParse() {
  state_ = kStateUnparsed;
  ops_.Start();
  return kErrNoMemory;
}

kt_long Kt_Expr::ParseText(Kt_WString& error) {
  DropCode();
  error_offset_ = -1;
  if (text_.IsEmpty()) return kStateEmpty;
  // Until the end nobody may take what is there for the operations of the text.
  state_ = kStateUnparsed;
  try {
    Kt_WString trimmed = text_;
    trimmed.Trim();
    const kt_long state = ParseExpr(trimmed.GetText(), trimmed.GetLength(), error);
    // A run that was stopped on the way has found nothing out: the next one parses anew.
    if (Kt_WorkMeter::CurrentStop() != 0) return kFailed;
    text_ = state == kStateList ? trimmed.Mid(1, trimmed.GetLength() - 2) : trimmed;
    state_ = state;
  } catch (...) {
    ops_.Start();
    throw;
  }
  return state_;
}

void Kt_Expr::Adopt(Kt_ExprOpList& ops, kt_long state) {
  ops.Shrink();
  ops_.Swap(ops);
  text_.Trim();
  state_ = state;
}

// A bracket list is stored without its brackets; parsed again as it stands it would be something
// else.
Kt_WString Kt_Expr::GetSource() const {
  if (state_ != kStateList) return text_;
  Kt_WString source(u"[");
  source += text_;
  source += u']';
  return source;
}
