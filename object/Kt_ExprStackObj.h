// SPDX-License-Identifier: MIT
#pragma once

#include "object/Kt_ExprObjInfo.h"

class Kt_ExprColumnSource;

// One entry of the evaluator's stack: a value, or a named thing that has not been read yet: a
// variable, an element, a column, a property, a call with its arguments, an object. Reading late is
// what lets one path be read, assigned to, or taken by reference.
//
// Copying is uneven, and the evaluator relies on it:
//   copy constructor            head, info, index, key, arguments, state; start index is -1
//   Set(const Kt_ExprStackObj&) head, info, index, key, arguments, state
//   operator=                   head, info, index, key, arguments
//   SetObject                         info, index, key, arguments
//   Set(const Kt_ExprObjInfo&)        info
//   Clear                       head 0; info, index, key, arguments cleared
//   ClearValue                        info, index, key, arguments cleared; state 0
// Owns its value, holds and arguments; borrows contexts. Threads: the evaluation's.
class KT_SCRIPT_API Kt_ExprStackObj : public Kt_ExprObjInfo {
 public:
  Kt_ExprStackObj() = default;
  Kt_ExprStackObj(const Kt_ExprStackObj& other);
  Kt_ExprStackObj& operator=(const Kt_ExprStackObj& other);
  void Set(const Kt_ExprStackObj& other);
  using Kt_ExprObjInfo::Set;
  void SetObject(const Kt_ExprStackObj* other);

  void Clear() {
    head_ = 0;
    if (GetKind() != EXPR_OBJ_NONE || is_indexed_ || !args_.IsEmpty()) ClearContent();
  }
  void ClearValue();

  // The operator that follows the operand; 0x7999 in a finished result.
  std::int16_t GetOpCode() const { return head_; }
  void SetOpCode(std::int16_t code) { head_ = code; }
  kt_long GetItemIndex() const { return item_index_; }  // -1: no numeric indexer
  const Kt_WString& GetItemKey() const { return item_key_; }
  Kt_VariantList& GetArgs() { return args_; }
  const Kt_VariantList& GetArgs() const { return args_; }
  std::int16_t GetOpStartIdx() const { return op_start_idx_; }
  void SetOpStartIdx(kt_long index) { op_start_idx_ = static_cast<std::int16_t>(index); }
  std::int16_t GetObjStat() const { return obj_stat_; }
  void SetObjStat(std::int16_t stat) { obj_stat_ = stat; }

  // Makes the entry a plain value. `owner` is not used.
  void SetValueType(Kt_Object* owner, const Kt_Variant& value);
  // Makes the entry the result of taking a reference; the reference becomes its first argument.
  void SetArgReference() {
    ClearValue();
    SetArgRef();
  }
  // Turns a held object into an entry. Null clears. 0x83B03140, reported through `ctx`, when the
  // object was destroyed.
  kt_long FromObject(Kt_ExprObject* ctx, const Kt_ObjectHolder* hold);
  // Applies an indexer: `key` counts when it is not empty, else `index`, -1 for neither. `name` is
  // what messages call a value that is read for it. Returns 0 or the code of a value that could not
  // be read.
  kt_long ApplyIndex(Kt_ExprObject* ctx, kt_long index, const Kt_WString& key,
                     const Kt_WString& name);
  kt_long ApplyIndex(Kt_ExprObject* ctx, kt_long index, const Kt_WString& key) {
    return ApplyIndex(ctx, index, key, GetObjID());
  }

  // The context / component that the entry belongs to; null when it has none or it has gone.
  Kt_ExprObject* GetContext() const;
  Kt_ExprObject* GetComponent() const;
  // The identifier for messages.
  Kt_WString GetObjID() const;

  // Reads the value. `ctx` is the context of the expression: calls run on the entry's own context
  // when it has one, else on `ctx`. With `byRef` the result refers to the variable or element
  // instead of copying it. Returns 0 or a code; what fails has been reported, once.
  kt_long GetObjValue(Kt_ExprObject* ctx, Kt_Variant& result, int byRef);
  // As GetObjValue by copy; an object gives the value of its default property. Always returns 0.
  kt_long GetStaticValue(Kt_ExprObject* ctx, Kt_Variant& result);
  // Stores a value. Returns 0 or a code; -1 for what cannot be assigned to.
  kt_long SetObjValue(Kt_ExprObject* ctx, Kt_Variant& value);

 private:
  void ClearContent();
  Kt_WString ElementName() const;  // for messages

  kt_long ReadKind(Kt_ExprObject* owner, Kt_Variant& result, int byRef);
  kt_long ReadIntFunc(Kt_ExprObject* owner, Kt_Variant& result);
  kt_long ReadScriptFunc(Kt_ExprObject* owner, Kt_Variant& result);
  bool HasLiveFunc(Kt_ExprObject* owner) const;
  kt_long ReadExtApi(Kt_ExprObject* owner, Kt_Variant& result);
  kt_long ReadVariable(Kt_ExprObject* owner, Kt_Variant& result, int byRef);
  kt_long ReadElement(Kt_ExprObject* owner, Kt_Variant& result, int byRef);
  kt_long ReferToElement(Kt_ExprObject* owner, Kt_Variable& variable, Kt_Variant& result);
  kt_long ReadColumn(Kt_ExprObject* owner, Kt_Variant& result);
  kt_long ReadProperty(Kt_Variant& result);
  kt_long ReadMethod(Kt_ExprObject* owner, Kt_Variant& result);
  kt_long ReadItem(Kt_Variant& result);

  kt_long WriteElement(Kt_ExprObject* owner, const Kt_Variant& value);
  kt_long WriteColumn(Kt_ExprObject* ctx, const Kt_Variant& value);
  kt_long WriteObject(const Kt_Variant& value);
  kt_long WriteOther(Kt_ExprObject* ctx, const Kt_Variant& value);
  Kt_ExprColumnSource* GetColumnSource() const;

  kt_long item_index_ = -1;
  bool is_indexed_ = false;  // index or key may be set
  std::int16_t op_start_idx_ = -1;
  std::int16_t obj_stat_ = 0;
  Kt_WString item_key_;
  Kt_VariantList args_;
};

namespace kt::detail {

// The value of the default property of the object in `value`; false when it has none or it fails.
bool ReadDefaultProp(const Kt_Variant& value, Kt_Variant& result);

// Reading and writing of elements, shared by the stack entry and the compiled form of expressions.
// `owner` is the context that reports, `id` the variable's name.

// A variable or element whose object was released reads as empty, and is cleared: true, with a
// report, when `base` was one.
KT_SCRIPT_API bool ClearReleased(Kt_ExprObject* owner, Kt_Variant& base);
// What a call gave: 0, or the code, reported, for an object that was released.
KT_SCRIPT_API kt_long CheckCallResult(Kt_ExprObject* owner, const Kt_Variant& value);
// What the value of an indexer stands for: a number is an index, any other value a key. An empty
// one is neither, and `index` is -1 then, as it is for a key.
inline void ReadIndex(const Kt_Variant& value, kt_long& index, Kt_WString& key) {
  index = -1;
  if (KT_LIKELY(value.IsLong())) {
    index = value.AsLong();
    return;
  }
  const Kt_Variant plain = value.Dereference();  // held: an object is asked for its text
  if (plain.IsLong() || plain.IsDouble()) {
    index = plain.ToInteger();
  } else if (!plain.IsEmpty()) {
    key = plain.ToString();
  }
}
// result = element of `base` by `key` (when not empty) or `index`.
KT_SCRIPT_API kt_long ReadElementOf(Kt_ExprObject* owner, const Kt_WString& id,
                                    const Kt_Variant& base, kt_long index, const Kt_WString& key,
                                    Kt_Variant& result);
// Stores an element into `base`, growing a list to hold it.
KT_SCRIPT_API kt_long WriteElementOf(Kt_ExprObject* owner, const Kt_WString& id, Kt_Variant& base,
                                     kt_long index, const Kt_WString& key, const Kt_Variant& value);

}  // namespace kt::detail
