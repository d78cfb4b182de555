// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_WString.h"

// Names that look like others, by the tables of Unicode Technical Standard 39. Threads: free to
// call from any.

// A form that two texts share when readers are likely to take one for the other, such as "pay" in
// Latin letters and the same three shapes in Cyrillic ones. It is for comparing, not for showing.
// Empty when it would be too long.
KT_CLASS_API Kt_WString kt_skeletonW(const Kt_WString& text);

// True for letters of several scripts in one word; '_' separates words. Latin may stand beside one
// other script, as in product names, or beside all of those that East Asian languages mix, but not
// beside Cyrillic or Greek, whose letters look like Latin ones.
KT_CLASS_API bool kt_mixesscriptsW(const Kt_WString& name);
