// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace kt::cli {

// Writes the bytes into a new file beside `target` and renames it, so that `target` is the old file
// or the new one, whole, whatever fails or ends the program. False with the cause in errno; then it
// is the old one, unless only the last step failed, which makes the change last through a power
// cut.
//
// The new file has the mode of the old one, and its owner and group as far as the system allows;
// rights that a group would gain only because the old group cannot be kept are left out.
//
// The file beside is called ".NAME.kt0" (up to 9, when several programs save at once) and locked
// while it is written. One that is not locked belongs to a program that was killed: it is removed
// by the next save of the same name.
bool ReplaceFile(const std::string& target, std::string_view bytes);

// Asked before each system call of ReplaceFile, by its name; false makes the call fail with the
// errno that was set. For tests.
using SaveHook = std::function<bool(std::string_view call)>;
void SetSaveHook(SaveHook hook);

}  // namespace kt::cli
