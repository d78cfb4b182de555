// SPDX-License-Identifier: MIT
//
// Any bytes as UTF-16 through the scanners: tokens lie inside the text and follow one another, and
// every answer is one of the documented ones.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "classlib/base/Kt_Codes.h"
#include "expr/Kt_ExprUtil.h"

namespace {

void Check(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

bool IsStopLength(int token_length) {
  return token_length == 0 || token_length == -1 || token_length == kExprSingleQuote ||
         token_length == kExprDoubleQuote;
}

void CheckToken(const char16_t* token, int token_length) {
  const int number = Kt_ExprUtil::ChkNumber(token, token_length);
  Check(number >= 0 && number <= 2, "ChkNumber");
  const int name = Kt_ExprUtil::ChkName(token, token_length);
  Check(number == 0 || name == 0, "a token is a number or a name");
  Check(!Kt_ExprUtil::IsConstant(token, token_length) || name == 1, "a constant is a name");
}

void WalkTokens(const char16_t* text, kt_long length) {
  for (kt_long at = 0; at < length;) {
    int start = 0;
    int token_length = 0;
    const kt_long rest = length - at;
    const int next = Kt_ExprUtil::FindToken(text + at, rest, start, token_length);
    Check(start >= 0 && start <= rest, "start inside the text");
    if (next < 1) {
      Check(IsStopLength(token_length), "why the scan stopped");
      return;
    }
    Check(next == start + token_length && next <= rest, "the token ends inside the text");
    Check(token_length > 0 || token_length == -1, "a token has a length");
    if (token_length > 0) CheckToken(text + at + start, token_length);
    at += next;
  }
}

void CheckValid(const char16_t* text, kt_long length) {
  kt_long offset = -1;
  const kt_long code = Kt_ExprUtil::IsValidExpr(text, length, &offset);
  if (code == 0) {
    Check(offset == -1, "no offset without an error");
    return;
  }
  Check(kt_exprtextW(code) != nullptr, "the code is documented");
  Check(offset >= 0 && offset <= length, "the offset is inside the text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A block of exactly the length, without a terminating zero: the sanitizer sees a unit too far.
  const std::size_t units = size / 2;
  const std::unique_ptr<char16_t[]> text(new char16_t[units]);
  if (units > 0) std::memcpy(text.get(), data, units * 2);
  const auto length = static_cast<kt_long>(units);
  WalkTokens(text.get(), length);
  CheckValid(text.get(), length);
  Check(Kt_ExprUtil::FindWordEnd(text.get(), length) <= length, "FindWordEnd");
  Check(Kt_ExprUtil::GetTokenType(text.get(), length) <= 9, "GetTokenType");
  return 0;
}
