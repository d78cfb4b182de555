// SPDX-License-Identifier: MIT
#pragma once

#include <new>
#include <optional>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "object/Kt_ExprObject.h"

namespace kt {

// Reports kErrNoMemory to the host behind `context` (may be null), unless the failure that is on
// its way has been reported already, and gives that code. Works where no memory is left: the
// message then has no name in it.
KT_SCRIPT_API kt_long ReportNoMemory(Kt_ExprObject* context, const char16_t* source,
                                     const Kt_WString& name) noexcept;

namespace detail {

// What `work` answers; nothing when memory ran out in it, also in operations whose answer nobody
// looked at; the code that stops the run where something without an answer was stopped.
template <class Work>
std::optional<kt_long> RunInMemory(Work work) {
  const std::uint32_t before = MemoryFailures();
  try {
    const kt_long code = work();
    if (KT_LIKELY(MemoryFailures() == before)) return code;
  } catch (const WorkStopped&) {
    return Kt_WorkMeter::CurrentStop();
  } catch (const std::bad_alloc& failure) {
    NoteMemoryFailure(failure);
  }
  return std::nullopt;
}

}  // namespace detail

// The outer side of an operation that a host calls and that answers a code: memory that runs out
// inside is reported once and comes back as kErrNoMemory. `work` answers the code otherwise.
template <class Work>
kt_long AtMemoryDoor(Kt_ExprObject* context, const char16_t* source, const Kt_WString& name,
                     Work work) {
  const std::optional<kt_long> code = detail::RunInMemory(work);
  return KT_LIKELY(code) ? *code : ReportNoMemory(context, source, name);
}

// The same for an operation of `object`, which may be destroyed by what it calls.
template <class Work>
kt_long AtMemoryDoorOf(Kt_ExprObject& object, const char16_t* source, Work work) {
  Kt_ObjectHolder self;
  Kt_WString name;
  const std::optional<kt_long> code = detail::RunInMemory([&] {
    self.Set(nullptr, &object);
    name = object.GetID();
    return work();
  });
  if (KT_LIKELY(code)) return *code;
  // Nothing has been called when the hold failed.
  Kt_ExprObject* const context = self.IsEmpty() ? &object : Kt_ExprObject::From(self.GetObject());
  return ReportNoMemory(context, source, name);
}

}  // namespace kt
