// SPDX-License-Identifier: MIT
#pragma once

#include "expr/Kt_Expr.h"
#include "script/Kt_ScriptOpList.h"

// What simple statements and loops hold. Scripts have thousands of these, so each class takes its
// objects from a pool of its own.
//
// The fields are open: the interpreter reads them for every statement that it runs.
// Threads: reading may run in parallel. An expression is not only read when it is evaluated: it is
// parsed and compiled on first use, so it is mutable, and a tree runs on one thread at a time.

// Gives a class its pool: operator new, operator delete, access to the pool.
#define KT_POOLED_CLASS                               \
  static void* operator new(std::size_t size_bytes);  \
  static void operator delete(void* memory) noexcept; \
  static Kt_ObjBufPool& GetPool();

class Kt_ObjBufPool;

// Declarations and assignments to a plain name.
class KT_SCRIPT_API Kt_ScriptOpVar {
 public:
  Kt_ScriptOpVar() = default;
  Kt_ScriptOpVar(const Kt_ScriptOpVar& other) : name(other.name), expression(other.expression) {}
  Kt_ScriptOpVar& operator=(const Kt_ScriptOpVar& other);
  ~Kt_ScriptOpVar() = default;
  void Clear();
  KT_POOLED_CLASS

  Kt_WString name;
  mutable Kt_Expr expression;      // initialiser, array size or assigned value; may be empty
  mutable std::uint16_t hint = 0;  // where the interpreter found the variable last; never copied
};

// Expression statements, assignments to a path, return; break and continue leave it unused.
class KT_SCRIPT_API Kt_ScriptOpSet {
 public:
  Kt_ScriptOpSet() = default;
  Kt_ScriptOpSet(const Kt_ScriptOpSet&) = default;
  Kt_ScriptOpSet& operator=(const Kt_ScriptOpSet&) = default;
  ~Kt_ScriptOpSet() = default;
  void Clear();
  KT_POOLED_CLASS

  mutable Kt_Expr value;   // the statement, the assigned or the returned value
  mutable Kt_Expr target;  // what is assigned to
};

class KT_SCRIPT_API Kt_ScriptOpFor {
 public:
  Kt_ScriptOpFor() = default;
  Kt_ScriptOpFor(const Kt_ScriptOpFor&) = default;
  Kt_ScriptOpFor& operator=(const Kt_ScriptOpFor&) = default;
  ~Kt_ScriptOpFor() = default;
  void Clear();
  KT_POOLED_CLASS

  Kt_ScriptOpList init;
  mutable Kt_Expr condition;
  Kt_ScriptOpList step;
  Kt_ScriptOpList body;
};

class KT_SCRIPT_API Kt_ScriptOpWhile {
 public:
  Kt_ScriptOpWhile() = default;
  Kt_ScriptOpWhile(const Kt_ScriptOpWhile&) = default;
  Kt_ScriptOpWhile& operator=(const Kt_ScriptOpWhile&) = default;
  ~Kt_ScriptOpWhile() = default;
  void Clear();
  KT_POOLED_CLASS

  mutable Kt_Expr condition;
  Kt_ScriptOpList body;
};
