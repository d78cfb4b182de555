// SPDX-License-Identifier: MIT
#include "classlib/Kt_Result.h"

#include <cstdio>

#include "classlib/Kt_Unicode.h"

namespace {

const Kt_WString kNoText;

Kt_WString WithoutText(kt_long code, const std::vector<Kt_WString>& args) {
  char head[32];
  std::snprintf(head, sizeof head, "error 0x%08X", static_cast<unsigned>(code));
  Kt_WString out;
  out.Set(head);
  for (const Kt_WString& arg : args) {
    out += u' ';
    out += arg;
  }
  return out;
}

std::vector<Kt_WString> Shortened(const std::vector<Kt_WString>& args) {
  std::vector<Kt_WString> shortened = args;
  for (Kt_WString& arg : shortened) {
    if (arg.GetLength() <= Kt_Result::kMaxMessageArg) continue;
    const kt_long last = Kt_Result::kMaxMessageArg - 1;
    const bool splits = kt_codepointW(arg, static_cast<std::size_t>(last)).units == 2;
    arg = arg.Mid(0, splits ? last : last + 1) + u"…";
  }
  return shortened;
}

}  // namespace

Kt_WString kt_filltextW(const char16_t* pattern, std::span<const Kt_WString> args) {
  Kt_WString out;
  for (const char16_t* at = pattern; *at != 0; ++at) {
    if (*at == u'%' && at[1] >= u'1' && at[1] <= u'9') {
      const auto arg = static_cast<std::size_t>(*++at - u'1');
      if (arg < args.size()) out += args[arg];
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
  const std::vector<Kt_WString> args = Shortened(message.args);
  return pattern ? kt_filltextW(pattern, args) : WithoutText(message.code, args);
}
