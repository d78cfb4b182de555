// SPDX-License-Identifier: MIT
//
// Logical datasets: rows of a source.
#include "classlib/Kt_Dataset.h"

kt_long Kt_Dataset::SetSource(Kt_Dataset* source) { return source == nullptr ? 1 : -1; }

Kt_Dataset* Kt_Dataset::GetSource() const { return nullptr; }

kt_long Kt_Dataset::GetSourceRowNF(kt_long) const { return -1; }

kt_long Kt_Dataset::GetSourceCol(kt_long) const { return -1; }
