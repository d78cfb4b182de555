// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_Result.h"

#include <cstdio>

#include "classlib/text/Kt_Unicode.h"

namespace {

const Kt_WString kNoText;

Kt_WString Shortened(const Kt_WString& arg) {
  constexpr kt_long kMost = Kt_Result::kMaxMessageArg;
  if (arg.GetLength() <= kMost) return arg;
  const bool splits = kt_codepointW(arg, std::size_t{kMost} - 1).units == 2;
  return arg.Mid(0, splits ? kMost - 1 : kMost) + u"…";
}

Kt_WString WithoutText(kt_long code, const std::vector<Kt_WString>& args) {
  char head[32];
  std::snprintf(head, sizeof head, "error 0x%08X", static_cast<unsigned>(code));
  Kt_WString out;
  out.Set(head);
  for (const Kt_WString& arg : args) {
    out += u' ';
    out += Shortened(arg);
  }
  return out;
}

}  // namespace

Kt_WString kt_filltextW(const char16_t* pattern, std::span<const Kt_WString> args) {
  Kt_WString out;
  for (const char16_t* at = pattern; *at != 0; ++at) {
    if (*at == u'%' && at[1] >= u'1' && at[1] <= u'9') {
      const auto arg = static_cast<std::size_t>(*++at - u'1');
      if (arg < args.size()) out += Shortened(args[arg]);
    } else {
      out += *at;
    }
  }
  out.Trim();  // a text may end with an argument that is empty
  return out;
}

const Kt_WString& Kt_Result::GetSource() const {
  return messages_.empty() ? kNoText : messages_.front().source;
}

kt_long Kt_Result::GetArgCount() const {
  return messages_.empty() ? 0 : static_cast<kt_long>(messages_.front().args.size());
}

const Kt_WString& Kt_Result::GetArg(kt_long arg) const {
  return arg >= 0 && arg < GetArgCount() ? messages_.front().args[static_cast<std::size_t>(arg)]
                                         : kNoText;
}

Kt_WString Kt_Result::GetText() const {
  if (messages_.empty()) return {};
  const Message& message = messages_.front();
  const char16_t* const pattern = kt_runtimetextW(message.code);
  return pattern ? kt_filltextW(pattern, message.args) : WithoutText(message.code, message.args);
}
