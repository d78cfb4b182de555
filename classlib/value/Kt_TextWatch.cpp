// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_TextWatch.h"

#include <utility>

#include "classlib/text/Kt_Number.h"

namespace kt {
namespace {

KT_THREAD_LOCAL TextWatch* watch_of_thread = nullptr;

}  // namespace

TextWatch::Scope::Scope(TextWatch* watch) : outer_(std::exchange(watch_of_thread, watch)) {}

TextWatch::Scope::~Scope() { watch_of_thread = outer_; }

void TextWatch::Tell(std::u16string_view text, const char16_t* sign) {
  if (watch_of_thread != nullptr && !text.empty()) watch_of_thread->OnText(text, sign);
}

void TextWatch::TellUnlessNumber(std::u16string_view text, const char16_t* sign) {
  double ignored = 0;
  if (watch_of_thread != nullptr && !kt_readnumberW(text, ignored)) Tell(text, sign);
}

}  // namespace kt
