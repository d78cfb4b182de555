// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_WString.h"
#include "classlib/value/Kt_Variant.h"

class Kt_ExprObject;

namespace kt {

// How a member is used at a place of a script.
enum class MemberUse : std::uint8_t {
  kCall,       // object.name(arguments)
  kValue,      // object.name
  kItemValue,  // object[index].name, where only its plain value is wanted
  kSet,        // object.name = value
};

// What one use goes by.
struct QuickUse {
  const Kt_WString& name;
  // Those of the call, the index of the item, or the value. None refers to a variable.
  const Kt_Variant* const* args;
  // Belongs to the place in the script: -1 at first, then what the function leaves there, such as
  // the column that was found last.
  kt_long& hint;
};

// Does what the member does, which leaves `result` (empty before) and the code of a call. False
// when that is more than this can do: then nothing was done, and the object is asked as ever.
using QuickMember = bool (*)(Kt_ExprObject& object, const QuickUse& use, Kt_Variant& result,
                             kt_long& code);

// An object with members that code reaches without a list of arguments, a stack entry or a look-up
// by name. Implemented beside Kt_ExprObject; what its operations answer stays the rule, and a quick
// member gives the same.
class QuickMembers {
 public:
  // The function for a member used so, with so many arguments; null for none. Only the class of the
  // object decides: all objects of one class answer alike, at any time.
  virtual QuickMember FindQuickMember(MemberUse use, const Kt_WString& name,
                                      int arg_count) const = 0;

 protected:
  ~QuickMembers() = default;
};

}  // namespace kt
