// SPDX-License-Identifier: MIT
//
// Built-in functions about objects, kinds of values, lists, and expressions in texts.

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_Number.h"
#include "classlib/text/Kt_Settings.h"
#include "classlib/text/Kt_WStrList.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"
#include "object/Kt_ExprObjInfo.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_FuncAnswers.h"

using kt::Kt_FuncArgs;
using kt::detail::Plain;

namespace {

// Finds the object that a path names. Every step may call the host, which may release any object,
// so what is kept between two steps is a hold.
class ObjectFinder {
 public:
  explicit ObjectFinder(Kt_ExprObject* context) : context_(context, context) {}

  // False when there is no such object; `failing` is then what was not found.
  bool Find(const Kt_WString& id, Kt_Variant& result, Kt_WString& failing) {
    Kt_WString name = id;
    if (id.Find(u".") >= 1 && !Walk(id, name, failing)) return false;
    failing = id;
    return Fetch(name, result);
  }

 private:
  Kt_ExprObject* Context() const { return static_cast<Kt_ExprObject*>(context_.GetObject()); }

  // Goes down the path; `name` becomes its last part.
  bool Walk(const Kt_WString& path, Kt_WString& name, Kt_WString& failing) {
    Kt_WStrList parts;
    parts.Parse(path, u".", 0, true, false);
    const kt_long last = parts.GetCount() - 1;
    for (kt_long part = 0; part < last; ++part) {
      Kt_ExprObjInfo info;
      if (Kt_ExprUtil::GetExprVarType(Context(), parts[part], info) == EXPR_OBJ_COMPOSIT &&
          info.GetKind() == EXPR_OBJ_COMPOSIT) {
        context_ = info.GetConstObject();
      }
      if (Context() == nullptr) {
        failing = parts[part];
        return false;
      }
    }
    name = parts[last];
    return true;
  }

  bool Fetch(const Kt_WString& name, Kt_Variant& result) const {
    Kt_ExprObjInfo info;
    const int kind = Kt_ExprUtil::GetExprVarType(Context(), name, info);
    Kt_ExprObject* const context = Context();
    if (context == nullptr) return false;
    switch (kind) {
      case EXPR_OBJ_DATASET: {
        Kt_ExprObject* const dataset = kt::ToExprObject(context->GetChildDataset(name));
        if (dataset != nullptr) return Hold(dataset->GetContainer(), dataset, result);
        // A context may know its datasets as names only.
        if (info.GetKind() != EXPR_OBJ_DATASET) return false;
        result = Kt_Variant(info.GetConstObject());
        return true;
      }
      case EXPR_OBJ_COMPONENT: {
        Kt_Object* const component = context->GetComponent(name);
        return component != nullptr && Hold(component->GetContainer(), component, result);
      }
      case EXPR_OBJ_COMPOSIT: {
        Kt_ExprObject* const composite = context->GetChildContext(name);
        return composite != nullptr && Hold(composite, composite, result);
      }
      default: return false;
    }
  }

  static bool Hold(const Kt_Object* container, const Kt_Object* object, Kt_Variant& result) {
    result = Kt_Variant(Kt_ObjectHolder(container, object));
    return true;
  }

  Kt_ObjectHolder context_;
};

// Read anew each time, so that a user can switch the warnings off while a program runs.
bool AreWarningsOff() {
  Kt_Settings settings;
  Kt_SettingValue value;
  return settings.Open(u"SOFTWARE\\Velmora\\quillnet320\\Settings") &&
         settings.QueryValue(u"DisableWarning", value) && value.type == Kt_SettingType::kNumber &&
         value.number != 0;
}

bool IsValidObject(const Kt_Variant& value) {
  return value.IsObject() && value.GetHolder().IsValid();
}

const char16_t* TypeName(Kt_Tag tag) {
  switch (tag) {
    case kTagEmpty: return u"empty";
    case kTagLong: return u"integer";
    case kTagDouble: return u"number";
    case kTagCurrency: return u"currency";
    case kTagDateTime: return u"datetime";
    case kTagString: return u"string";
    case kTagBool: return u"boolean";
    case kTagBinary: return u"binary";
    case kTagList: return u"array";
    case kTagObject: return u"object";
    default: return u"unknown";
  }
}

Kt_WString TypeOf(const Kt_Variant& value) { return TypeName(value.GetTag()); }

// What an object says of itself, and how many items it has.
Kt_WString ObjectStatus(Kt_ExprObject* object) {
  Kt_WString text;
  if (object == nullptr) return text;
  const Kt_ObjectHolder hold(nullptr, object);
  (void)object->ConvToString(text);
  const kt_long item_count = hold.GetItemCount();
  if (item_count > 0) text += u" " + kt_longtextW(item_count) + u" items";
  return text;
}

// One line of the status: level, name, type, and the value or how many items it has. Takes a copy,
// because objects may run host code.
Kt_WString StatusLine(kt_long level, const Kt_WString& name, Kt_Variant value) {
  constexpr kt_long kShownUnits = 60;
  Kt_WString line = kt_longtextW(level) + u"\t" + name + u"\t" + TypeName(value.GetTag()) + u"\t";
  if (value.IsList()) {
    line += kt_longtextW(value.ListCount()) + u" items";
  } else if (value.GetTag() == kTagBinary) {
    line += kt_longtextW(static_cast<kt_long>(value.AsBinary().size())) + u" bytes";
  } else if (value.IsObject()) {
    line += ObjectStatus(Kt_ExprObject::From(value.GetHolder().GetObject()));
  } else {
    line += value.ToString().Mid(0, kShownUnits);
  }
  return line + u"\n";
}

// The dataset that stands behind the rows and columns that the context sees; nothing without one.
Kt_WString CurrentDataStatus(Kt_ExprObject& context) {
  Kt_ExprObject* const dataset = kt::ToExprObject(context.GetDefaultDataset());
  if (dataset == nullptr || dataset->GetInnerObject() == nullptr) return {};
  return u"-\tcurdata\tdataset\t" + ObjectStatus(dataset) + u"\n";
}

// The variables that the context sees, innermost first.
Kt_WString DataStatus(Kt_ExprObject& context) {
  Kt_WString status;
  Kt_VariableListChain chain;
  context.AddVariableListChain(chain);
  for (kt_long level = 0; level < chain.GetCount(); ++level) {
    const Kt_VariableList& list = *chain.GetItem(level);
    for (kt_long item = 0; item < list.GetCount(); ++item) {
      const Kt_WString line =
          StatusLine(level, list.GetItemName(item), list.GetItem(item)->GetValue());
      if (!kt::Charge(line.GetLength()) || !status.Append(line)) return status;
    }
  }
  return status;
}

}  // namespace

kt_long Kt_ExprObject::_object(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_WString id = Kt_FuncArgs(args).Text(0);
  result.Clear();
  if (id.IsEmpty()) return kOk;
  const Kt_ObjectHolder self(this, this);
  Kt_WString failing;
  if (ObjectFinder(this).Find(id, result, failing) || !self.IsValid()) return kOk;
  if (IsSystemLogMode() != 0 && !AreWarningsOff()) {
    kt::Report(this, kt::detail::kBuiltinSource, kErrInvalidObject, failing);
  }
  return kOk;
}

kt_long Kt_ExprObject::_isValid(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&IsValidObject>(args, result);
}

kt_long Kt_ExprObject::_type(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&TypeOf>(args, result);
}

kt_long Kt_ExprObject::_eval(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  Kt_Expr expr;
  expr.SetExpr(in.Text(0));
  return expr.ExecExpr(this, result);
}

kt_long Kt_ExprObject::_array(const Kt_VariantList* args, Kt_Variant& result) {
  const kt_long count = Kt_FuncArgs(args).Integer(0);
  Kt_VariantList list;
  if (count > 0 && !list.Resize(count)) return kt::detail::ListTooLong(this, u"array()");
  result = std::move(list);
  return kOk;
}

kt_long Kt_ExprObject::_DumpDataStatus(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_ObjectHolder self(nullptr, this);
  Kt_WString status = DataStatus(*this);
  if (!self.IsValid()) return kOk;
  status += CurrentDataStatus(*this);
  result = status;
  if (!self.IsValid()) return kOk;
  if (IsDebugTraceMode() != 0) OnDebugTrace(status);
  return kOk;
}
