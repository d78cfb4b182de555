// SPDX-License-Identifier: MIT
#include "script/Kt_ScriptOp.h"

#include <new>
#include <utility>
#include <vector>

#include "classlib/base/Kt_NativeStack.h"
#include "script/Kt_ScriptOpItem.h"
#include "script/Kt_ScriptOpPayloads.h"

const Kt_ScriptOpHandler Kt_ScriptOp::_KtScriptOpHandler;

const char* GetScriptOpText(std::int16_t code) {
  switch (code) {
#define KT_SCRIPT_OP_TEXT(name, op_code, text) \
  case name: return text;
    KT_SCRIPT_OPS(KT_SCRIPT_OP_TEXT)
#undef KT_SCRIPT_OP_TEXT
    default: return "?";
  }
}

void Kt_ScriptOp::InitWithMemory(Kt_ScriptOp* op) { new (op) Kt_ScriptOp; }

void Kt_ScriptOp::FreeWithMemory(Kt_ScriptOp* op) { op->~Kt_ScriptOp(); }

Kt_ScriptOp::Payload Kt_ScriptOp::KindOf(std::int16_t code) {
  if ((code & 0xF000) == kScriptNameGroup) return Payload::kVar;
  switch (code) {
    case kScriptVar: return Payload::kVar;
    case kScriptBlock: return Payload::kBlock;
    case kScriptFor: return Payload::kFor;
    case kScriptWhile: return Payload::kWhile;
    case kScriptIf: return Payload::kIf;
    case kScriptSwitch: return Payload::kSwitch;
    default: return Payload::kSet;
  }
}

template <class T>
void Kt_ScriptOp::Make() {
  payload_ = new T;
}

void Kt_ScriptOp::MakePayload(Payload kind) {
  switch (kind) {
    case Payload::kNone: break;
    case Payload::kVar: Make<Kt_ScriptOpVar>(); break;
    case Payload::kSet: Make<Kt_ScriptOpSet>(); break;
    case Payload::kFor: Make<Kt_ScriptOpFor>(); break;
    case Payload::kWhile: Make<Kt_ScriptOpWhile>(); break;
    case Payload::kIf: Make<Kt_ScriptOpIf>(); break;
    case Payload::kSwitch: Make<Kt_ScriptOpSwitch>(); break;
    case Payload::kBlock: Make<Kt_ScriptOpList>(); break;
  }
  kind_ = kind;
}

void Kt_ScriptOp::SetOpCode(std::int16_t code) {
  ClearInfo();
  MakePayload(KindOf(code));
  opcode = code;
}

void Kt_ScriptOp::Delete(Payload kind, void* payload) {
  switch (kind) {
    case Payload::kNone: break;
    case Payload::kVar: delete static_cast<Kt_ScriptOpVar*>(payload); break;
    case Payload::kSet: delete static_cast<Kt_ScriptOpSet*>(payload); break;
    case Payload::kFor: delete static_cast<Kt_ScriptOpFor*>(payload); break;
    case Payload::kWhile: delete static_cast<Kt_ScriptOpWhile*>(payload); break;
    case Payload::kIf: delete static_cast<Kt_ScriptOpIf*>(payload); break;
    case Payload::kSwitch: delete static_cast<Kt_ScriptOpSwitch*>(payload); break;
    case Payload::kBlock: delete static_cast<Kt_ScriptOpList*>(payload); break;
  }
}

// A program may be destroyed on a thread with less stack than the one that built it. What nests
// deeper than there is stack waits until the outermost statement takes it over.
void Kt_ScriptOp::ClearInfo() {
  using Waiting = std::vector<std::pair<Payload, void*>>;
  static KT_THREAD_LOCAL Waiting* outermost = nullptr;
  const Payload kind = std::exchange(kind_, Payload::kNone);
  void* const payload = std::exchange(payload_, nullptr);
  if (kind == Payload::kNone || kind == Payload::kVar || kind == Payload::kSet) {
    return Delete(kind, payload);
  }
  if (outermost != nullptr) {
    if (KT_LIKELY(kt_hasstack())) return Delete(kind, payload);
    try {
      outermost->emplace_back(kind, payload);
    } catch (const std::bad_alloc&) {
      Delete(kind, payload);  // the reserve of the stack has to do
    }
    return;
  }
  Waiting waiting;
  outermost = &waiting;
  Delete(kind, payload);
  while (!waiting.empty()) {
    const auto [next_kind, next] = waiting.back();
    waiting.pop_back();
    Delete(next_kind, next);
  }
  outermost = nullptr;
}

template <class T>
void Kt_ScriptOp::Copy(const Kt_ScriptOp& source) {
  *static_cast<T*>(payload_) = *static_cast<const T*>(source.payload_);
}

// Branches, labels and the statements of a block are not copied: an if, a switch or a block is
// only ever run from the place where it was built.
void Kt_ScriptOp::CopyPayload(const Kt_ScriptOp& source) {
  switch (kind_) {
    case Payload::kVar: Copy<Kt_ScriptOpVar>(source); break;
    case Payload::kSet: Copy<Kt_ScriptOpSet>(source); break;
    case Payload::kFor: Copy<Kt_ScriptOpFor>(source); break;
    case Payload::kWhile: Copy<Kt_ScriptOpWhile>(source); break;
    case Payload::kSwitch: GetSwitch()->expression = source.GetSwitch()->expression; break;
    case Payload::kNone:
    case Payload::kIf:
    case Payload::kBlock: break;
  }
}

void Kt_ScriptOp::Set(const Kt_ScriptOp& source) {
  if (this == &source) return;
  ClearInfo();
  MakePayload(source.kind_);
  CopyPayload(source);
  opcode = source.opcode;
  line = source.line;
  line32 = source.line32;
}
