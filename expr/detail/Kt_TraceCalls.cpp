// SPDX-License-Identifier: MIT
#include "expr/detail/Kt_TraceCalls.h"

#include "object/Kt_ExprObject.h"

namespace kt::detail {

namespace {

// Items that one line shows at the most.
constexpr kt_long kMaxShownItems = 100;

const char16_t* KindName(Kt_Tag tag) {
  switch (tag) {
    case kTagEmpty: return u"empty";
    case kTagLong: return u"long";
    case kTagDouble: return u"double";
    case kTagCurrency: return u"currency";
    case kTagDateTime: return u"datetime";
    case kTagString: return u"string";
    case kTagBool: return u"boolean";
    case kTagBinary: return u"binary";
    case kTagList: return u"list";
    case kTagObject: return u"object";
    default: return u"value";
  }
}

Kt_WString ItemsOf(const Kt_Variant& value) {
  const bool is_list = value.IsList();
  const Kt_ObjectHolder hold(value.GetHolder());
  const kt_long count = is_list ? value.GetList().GetCount() : hold.GetItemCount();
  Kt_WString out;
  for (kt_long index = 0; index < count && index < kMaxShownItems; ++index) {
    Kt_Variant item;
    if (is_list) {
      item = value.GetList().GetItemNN(index);
    } else if (hold.GetItem(index, item) != kOk) {
      continue;
    }
    if (!out.IsEmpty()) out += u", ";
    out += Kt_Variant(index).ToString() + u": " + item.ToString();
  }
  return out;
}

template <class Format>
kt_long Trace(Kt_ExprObject* context, const Kt_VariantList* args, Format format) {
  Kt_WString line;
  const kt_long count = args ? args->GetCount() : 0;
  for (kt_long arg = 0; arg < count; ++arg) {
    if (arg > 0) line += u' ';
    line += format(args->GetItemNN(arg).Dereference());
  }
  if (context != nullptr) context->OnDebugTrace(line);
  return 0;
}

kt_long TraceText(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant&) {
  return Trace(context, args, [](const Kt_Variant& value) { return value.ToString(); });
}

kt_long TraceVar(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant&) {
  return Trace(context, args, [](const Kt_Variant& value) {
    return Kt_WString(KindName(value.GetTag())) + u" " + value.ToString();
  });
}

kt_long TraceData(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant&) {
  return Trace(context, args, [](const Kt_Variant& value) {
    return value.IsList() || value.IsObject() ? ItemsOf(value) : value.ToString();
  });
}

}  // namespace

Kt_ExtApi FindTraceCall(const Kt_WString& name) {
  if (name.EqualsNoCase(u"trace")) return TraceText;
  if (name.EqualsNoCase(u"tracevar")) return TraceVar;
  if (name.EqualsNoCase(u"tracedata")) return TraceData;
  return nullptr;
}

}  // namespace kt::detail
