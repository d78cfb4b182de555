// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Types.h"

class Kt_ExprObject;
class Kt_Object;
class Kt_Variant;
class Kt_VariantList;
class Kt_WString;

// Member-function shapes. A getter is also the shape of methods and built-in functions.
using Kt_Getter = kt_long (Kt_Object::*)(const Kt_VariantList* args, Kt_Variant& result);
using Kt_Setter = kt_long (Kt_Object::*)(const Kt_VariantList* args, const Kt_Variant& value);
// A function that the host adds to the language: `context` is the context of the call.
using Kt_ExtApi = kt_long (*)(Kt_ExprObject* context, const Kt_VariantList* args,
                              Kt_Variant& result);

// A member function of a class derived from Kt_Object in the shape that tables hold, so that a row
// names only the method: {u"total", kHandler<&Order::GetTotal>, ...}.
template <auto Method>
inline constexpr Kt_Getter kHandler = static_cast<Kt_Getter>(Method);
template <auto Method>
inline constexpr Kt_Setter kSetHandler = static_cast<Kt_Setter>(Method);

inline constexpr int kTableNameSize = 32;

// What a built-in function does besides giving a value for its arguments.
enum class Kt_FuncEffect : std::uint8_t {
  kOther,  // reaches the host, runs a text, or changes what later calls give
  kClock,  // reads the time of day
  kPure,   // nothing
};

// Rows of the name tables. All hold the name as a terminated text of at most 31 units; they are
// plain data and are copied whole when sorted. `count` and `flag` are data for the host that shows
// the table; `help` shows the call forms, one a line.
struct _EXPR_INTFUNC_INFO {
  char16_t name[kTableNameSize];
  Kt_Getter handler;
  int count;
  int flag;
  const char16_t* help;
  Kt_FuncEffect effect = Kt_FuncEffect::kOther;
};

struct _EXPR_SIMPLEPROP_INFO {
  char16_t name[kTableNameSize];
  Kt_Getter get;
  Kt_Setter set;  // null: read-only
  int flags;
  const char16_t* help;
};

struct _EXPR_OBJMETHOD_INFO {
  char16_t name[kTableNameSize];
  Kt_Getter method;
  const void* extra;
  int count;
  int flag;
  const char16_t* help;
};

// `type` stands before the name; what follows the name belongs to the host.
struct _EXPR_OBJEVENT_INFO {
  std::int32_t type;
  char16_t name[kTableNameSize];
  const void* host_data;
};

struct _EXPR_OBJPROP_INFO {
  char16_t name[kTableNameSize];
  Kt_Getter get;
  Kt_Setter set;
  int flags;
  const void* host_data;
};

struct _EXPR_EXTAPI_INFO {
  char16_t name[kTableNameSize];
  Kt_ExtApi function;
  int count;
  int flag;
  const char16_t* help;
};

// Whether a table is sorted as the look-ups below want it; for static_assert. The names are ASCII.
template <class Row, std::size_t kRows>
consteval bool IsSortedByName(const Row (&table)[kRows]) {
  constexpr auto kFold = [](char16_t unit) -> char16_t {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
  };
  for (std::size_t row = 1; row < kRows; ++row) {
    const char16_t* before = table[row - 1].name;
    const char16_t* after = table[row].name;
    while (*before != 0 && kFold(*before) == kFold(*after)) {
      ++before;
      ++after;
    }
    if (kFold(*before) >= kFold(*after)) return false;
  }
  return true;
}

// The handler / the index of the row whose name equals `name` without regard to case; null / a
// negative number when there is none. The table must be sorted and hold at least one row (a null
// table is allowed except for simple properties). Bisection; takes no lock.
KT_SCRIPT_API Kt_Getter GetIntFunc(const _EXPR_INTFUNC_INFO* table, int count,
                                   const char16_t* name);
KT_SCRIPT_API int FindIntFuncIdx(const _EXPR_INTFUNC_INFO* table, int count, const char16_t* name);
KT_SCRIPT_API int FindSimplePropFuncIdx(const _EXPR_SIMPLEPROP_INFO* table, int count,
                                        const char16_t* name);
KT_SCRIPT_API int FindObjMethodFuncIdx(const _EXPR_OBJMETHOD_INFO* table, int count,
                                       const char16_t* name);
KT_SCRIPT_API int FindObjEventFuncIdx(const _EXPR_OBJEVENT_INFO* table, int count,
                                      const char16_t* name);
KT_SCRIPT_API int FindObjPropFuncIdx(const _EXPR_OBJPROP_INFO* table, int count,
                                     const char16_t* name);
KT_SCRIPT_API int FindExtApiFuncIdx(const _EXPR_EXTAPI_INFO* table, int count,
                                    const char16_t* name);

// Sort a host's table in place, once, before anything is looked up in it. Return 0.
KT_SCRIPT_API int SortObjPropMap(_EXPR_OBJPROP_INFO* table, int count);
KT_SCRIPT_API int SortObjMethodMap(_EXPR_OBJMETHOD_INFO* table, int count);
KT_SCRIPT_API int SortObjEventMap(_EXPR_OBJEVENT_INFO* table, int count);
KT_SCRIPT_API int SortExtApiMap(_EXPR_EXTAPI_INFO* table, int count);
