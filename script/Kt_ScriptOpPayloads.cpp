// SPDX-License-Identifier: MIT
#include "script/Kt_ScriptOpPayloads.h"

#include "classlib/base/Kt_ObjBufPool.h"
#include "script/Kt_ScriptOpItem.h"

// Pools are never destroyed: a static script of the host may be freed after everything here.
// `step` is how many objects a pool grows by.
#define KT_DEFINE_POOL(type, step)                                          \
  Kt_ObjBufPool& type::GetPool() {                                          \
    static auto* const pool = new Kt_ObjBufPool(#type, sizeof(type), step); \
    return *pool;                                                           \
  }                                                                         \
  void* type::operator new([[maybe_unused]] std::size_t size_bytes) {       \
    KT_ASSERT(size_bytes == sizeof(type));                                  \
    return GetPool().Alloc();                                               \
  }                                                                         \
  void type::operator delete(void* memory) noexcept { GetPool().Free(memory); }

KT_DEFINE_POOL(Kt_ScriptOpVar, 64)
KT_DEFINE_POOL(Kt_ScriptOpSet, 64)
KT_DEFINE_POOL(Kt_ScriptOpFor, 64)
KT_DEFINE_POOL(Kt_ScriptOpWhile, 32)
KT_DEFINE_POOL(Kt_ScriptOpIf, 32)
KT_DEFINE_POOL(Kt_ScriptOpSwitch, 32)

Kt_ScriptOpVar& Kt_ScriptOpVar::operator=(const Kt_ScriptOpVar& other) {
  name = other.name;
  expression = other.expression;
  return *this;
}

void Kt_ScriptOpVar::Clear() {
  name.Empty();
  expression.Clear();
}

void Kt_ScriptOpSet::Clear() {
  value.Clear();
  target.Clear();
}

void Kt_ScriptOpFor::Clear() {
  init.Clear();
  condition.Clear();
  step.Clear();
  body.Clear();
}

void Kt_ScriptOpWhile::Clear() {
  condition.Clear();
  body.Clear();
}
