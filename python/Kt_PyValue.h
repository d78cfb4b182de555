// SPDX-License-Identifier: MIT
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <string>

#include "host/Kt_Bind.h"

namespace kt::python {

namespace py = pybind11;

// A Python object that may be let go on any thread, also without the interpreter's lock.
using Held = std::shared_ptr<py::object>;
inline Held Hold(py::object object) {
  return Held(new py::object(std::move(object)), [](py::object* held) {
    const py::gil_scoped_acquire lock;
    delete held;
  });
}

// Throw kt::RunError for what has no form on the other side.
py::object ToPython(const Kt_Variant& value);
Kt_Variant FromPython(py::handle object);

// The exception of Python that an error becomes.
py::object ToException(const Error& error);
// What a Python exception says: "ValueError: no such currency".
std::string TextOf(const py::error_already_set& exception);

// Calls a Python function inside of a run, which has let go of the lock. Its exceptions go on as
// they are, or as script errors with their text when the engine wants that.
Kt_Variant CallPython(const Held& function, const Kt_VariantList& args, bool passes);

// A column of a sequence or an array; NaN, NaT and None are null.
std::shared_ptr<Kt_Column> ColumnOf(py::handle cells);

}  // namespace kt::python
