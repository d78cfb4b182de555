// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/base/Kt_Types.h"

class Kt_Dataset;
class Kt_WString;

namespace kt::detail {

// What follows a dataset, or a part of one, and a point. For messages after a fault.
void AddColumnNames(const Kt_Dataset& dataset, std::vector<Kt_WString>& names);
void AddPropertyNames(std::vector<Kt_WString>& names);
void AddMethodNames(std::vector<Kt_WString>& names);

// Says why a member could not be read or called; `id` is the dataset or its part. The code -1.
KT_COLD kt_long NoteNoDataset(const Kt_WString& name);
KT_COLD kt_long NoteNoColumn(const Kt_Dataset& dataset, const Kt_WString& name,
                             const Kt_WString& id);
KT_COLD kt_long NoteNoMethod(const Kt_WString& name, const Kt_WString& id);

}  // namespace kt::detail
