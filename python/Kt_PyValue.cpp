// SPDX-License-Identifier: MIT
//
// Values, errors and columns between Python and scripts.
#include "python/Kt_PyValue.h"

#include <datetime.h>
#include <pybind11/numpy.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "classlib/store/Kt_Column.h"
#include "classlib/value/Kt_Object.h"

namespace kt::python {

namespace {

py::tuple PlaceOf(const Place& place) {
  return py::make_tuple(place.file, place.function, place.line, place.column, place.length,
                        place.text, place.is_warning);
}

py::list PlacesOf(const std::vector<Place>& places) {
  py::list list;
  for (const Place& place : places) list.append(PlaceOf(place));
  return list;
}

void NeedDates() {
  if (PyDateTimeAPI == nullptr) PyDateTime_IMPORT;
}

py::object DateToPython(Kt_DateTime moment) {
  Kt_DateParts parts;
  if (!moment.ToParts(parts)) return py::float_(moment.days);
  NeedDates();
  return py::reinterpret_steal<py::object>(
      PyDateTime_FromDateAndTime(parts.year, parts.month, parts.day, parts.hour, parts.minute,
                                 parts.second, parts.millisecond * 1000));
}

Kt_Variant DateFromPython(PyObject* date, bool has_time) {
  Kt_DateParts parts;
  parts.year = PyDateTime_GET_YEAR(date);
  parts.month = PyDateTime_GET_MONTH(date);
  parts.day = PyDateTime_GET_DAY(date);
  if (has_time) {
    parts.hour = PyDateTime_DATE_GET_HOUR(date);
    parts.minute = PyDateTime_DATE_GET_MINUTE(date);
    parts.second = PyDateTime_DATE_GET_SECOND(date);
    parts.millisecond = PyDateTime_DATE_GET_MICROSECOND(date) / 1000;
  }
  Kt_DateTime moment;
  Kt_DateTime::FromParts(parts, moment);
  return moment;
}

py::object CurrencyToPython(Kt_Currency amount) {
  static PyObject* const decimal =
      py::object(py::module_::import("decimal").attr("Decimal")).release().ptr();  // for ever
  return py::handle(decimal)(amount.ToText().ToUtf8());
}

// A number of Python that fits: a long, or a double that is exact.
Kt_Variant IntFromPython(py::handle object) {
  int overflow = 0;
  const long long number = PyLong_AsLongLongAndOverflow(object.ptr(), &overflow);
  if (number == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
  if (overflow != 0) {
    throw RunError("the number " + py::str(object).cast<std::string>() +
                   " is too large to be exact");
  }
  return Convert<std::int64_t>::Write(number);
}

constexpr bool kIsLittle = std::endian::native == std::endian::little;
constexpr const char* kNativeUtf16 = kIsLittle ? "utf-16-le" : "utf-16-be";

// Halves of surrogate pairs, which UTF-8 does not have, are units of texts in both.
Kt_Variant TextFromPython(PyObject* text) {
  Py_ssize_t length = 0;
  if (const char* const utf8 = PyUnicode_AsUTF8AndSize(text, &length)) {
    return Kt_Variant(std::string_view(utf8, static_cast<std::size_t>(length)));
  }
  PyErr_Clear();
  const auto units = py::reinterpret_steal<py::object>(
      PyUnicode_AsEncodedString(text, kNativeUtf16, "surrogatepass"));
  if (!units) throw py::error_already_set();
  const std::string_view bytes(PyBytes_AS_STRING(units.ptr()),
                               static_cast<std::size_t>(PyBytes_GET_SIZE(units.ptr())));
  std::u16string wide(bytes.size() / 2, u'\0');
  std::memcpy(wide.data(), bytes.data(), 2 * wide.size());
  return Kt_Variant(Kt_WString(std::u16string_view(wide)));
}

py::object TextToPython(std::u16string_view text) {
  int order = kIsLittle ? -1 : 1;
  auto made = py::reinterpret_steal<py::object>(
      PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(text.data()),
                            static_cast<Py_ssize_t>(text.size() * 2), "surrogatepass", &order));
  if (!made) throw py::error_already_set();
  return made;
}

// One level of nesting: lists of Python may hold themselves.
class Nesting {
 public:
  Nesting() {
    if (Py_EnterRecursiveCall(" in a value of scripts") != 0) throw py::error_already_set();
  }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
  ~Nesting() { Py_LeaveRecursiveCall(); }
};

Kt_Variant ListFromPython(py::handle items) {
  const Nesting nesting;
  Kt_VariantList list;
  for (const py::handle item : items) list.Add(FromPython(item));
  return list;
}

Kt_Variant DictFromPython(const py::dict& dict) {
  const Nesting nesting;
  Kt_VariantList list;
  for (const auto& [key, value] : dict) {
    list.Add(Kt_VariantList{FromPython(key), FromPython(value)});
  }
  return list;
}

bool IsDecimal(py::handle object) {
  return std::string_view(Py_TYPE(object.ptr())->tp_name) == "decimal.Decimal";
}

}  // namespace

py::object ToPython(const Kt_Variant& given) {
  const Kt_Variant& value = given.Target();
  switch (value.GetTag()) {
    case kTagLong: return py::int_(value.AsLong());
    case kTagDouble: return py::float_(value.AsDouble());
    case kTagBool: return py::bool_(value.AsInt64() != 0);
    case kTagCurrency: return CurrencyToPython(value.ToCurrency());
    case kTagDateTime: return DateToPython(value.ToDateTime());
    case kTagString: return TextToPython(value.AsStringView());
    case kTagBinary: {
      const auto bytes = value.AsBinary();
      return py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    case kTagList: {
      const Nesting nesting;
      py::list list;
      for (const Kt_Variant& item : value.GetList()) list.append(ToPython(item));
      return list;
    }
    case kTagObject: return py::str(value.GetHolder().GetID().ToUtf8());
    default: return py::none();
  }
}

Kt_Variant FromPython(py::handle object) {
  PyObject* const raw = object.ptr();
  NeedDates();
  if (raw == Py_None) return {};
  if (PyBool_Check(raw)) return Kt_Variant(raw == Py_True);
  if (PyLong_Check(raw)) return IntFromPython(object);
  if (PyFloat_Check(raw)) return PyFloat_AS_DOUBLE(raw);
  if (PyUnicode_Check(raw)) return TextFromPython(raw);
  if (PyBytes_Check(raw)) {
    Kt_Variant value;
    value.SetBinary(PyBytes_AS_STRING(raw), static_cast<std::size_t>(PyBytes_GET_SIZE(raw)));
    return value;
  }
  if (PyDateTime_Check(raw)) return DateFromPython(raw, true);
  if (PyDate_Check(raw)) return DateFromPython(raw, false);
  if (PyList_Check(raw) || PyTuple_Check(raw)) return ListFromPython(object);
  if (PyDict_Check(raw)) return DictFromPython(py::reinterpret_borrow<py::dict>(object));
  if (IsDecimal(object)) {
    const std::string text = py::str(object).cast<std::string>();
    const auto amount = Kt_Currency::FromText(Kt_WString::FromUtf8(text));
    if (!amount) throw RunError("the amount " + text + " does not fit");
    return *amount;
  }
  if (py::isinstance<py::array>(object)) return ListFromPython(object.attr("tolist")());
  if (PyIndex_Check(raw))
    return IntFromPython(py::reinterpret_steal<py::object>(PyNumber_Index(raw)));
  if (py::hasattr(object, "__float__")) return PyFloat_AsDouble(raw);
  throw RunError("a " + std::string(Py_TYPE(raw)->tp_name) + " is no value of scripts");
}

py::object ToException(const Error& error) {
  const ErrorInfo& info = error.info();
  return py::module_::import("ktscript._errors")
      .attr("make")(dynamic_cast<const SyntaxError*>(&error) != nullptr, info.Whole(), info.text,
                    info.code, info.subject, info.expression, PlaceOf(info.place),
                    PlacesOf(info.faults), PlacesOf(info.calls));
}

std::string TextOf(const py::error_already_set& exception) {
  return exception.type().attr("__name__").cast<std::string>() + ": " +
         py::str(exception.value()).cast<std::string>();
}

Kt_Variant CallPython(const Held& function, const Kt_VariantList& args, bool passes) {
  const py::gil_scoped_acquire lock;
  try {
    py::tuple list(static_cast<std::size_t>(args.GetCount()));
    for (kt_long at = 0; at < args.GetCount(); ++at) {
      list[static_cast<std::size_t>(at)] = ToPython(args.GetItemNN(at));
    }
    return FromPython((*function)(*list));
  } catch (const py::error_already_set& exception) {
    if (passes) throw;
    throw RunError(TextOf(exception));
  }
}

namespace {

template <class T>
std::shared_ptr<Kt_Column> Plain(const py::array& cells) {
  const auto view = cells.unchecked<T, 1>();
  return detail::MakeColumn<T>(static_cast<std::size_t>(cells.size()),
                               [&](std::size_t at) { return view(static_cast<py::ssize_t>(at)); });
}

std::shared_ptr<Kt_Column> Reals(const py::array& cells) {
  const auto reals = py::array_t<double, py::array::forcecast>(cells);
  const auto view = reals.unchecked<1>();
  return detail::MakeColumn<std::optional<double>>(
      static_cast<std::size_t>(cells.size()), [&](std::size_t at) {
        const double cell = view(static_cast<py::ssize_t>(at));
        return std::isnan(cell) ? std::nullopt : std::optional(cell);
      });
}

std::shared_ptr<Kt_Column> Dates(const py::array& cells) {
  constexpr double kDaysTo1970 = 25569;
  const py::array milliseconds = cells.attr("astype")("datetime64[ms]").attr("astype")("int64");
  const auto view = milliseconds.unchecked<std::int64_t, 1>();
  return detail::MakeColumn<std::optional<Kt_DateTime>>(
      static_cast<std::size_t>(cells.size()), [&](std::size_t at) -> std::optional<Kt_DateTime> {
        const std::int64_t cell = view(static_cast<py::ssize_t>(at));
        if (cell == std::numeric_limits<std::int64_t>::min()) return std::nullopt;
        return Kt_DateTime{static_cast<double>(cell) / 86'400e3 + kDaysTo1970};
      });
}

// The type that holds all of these; variant when they are of several kinds.
Kt_ColumnType TypeOfAll(const Kt_VariantList& cells) {
  std::optional<Kt_Tag> tag;
  for (const Kt_Variant& cell : cells) {
    const Kt_Tag found = cell.GetTag();
    if (cell.IsEmpty() || found == tag) continue;
    const bool both_numbers =
        (tag == kTagLong && found == kTagDouble) || (tag == kTagDouble && found == kTagLong);
    if (tag && !both_numbers) return Kt_ColumnType::kVariant;
    tag = both_numbers ? kTagDouble : found;
  }
  return kt_columntypeofW(tag.value_or(kTagString));
}

std::shared_ptr<Kt_Column> Anything(py::handle cells) {
  const Kt_Variant values = ListFromPython(cells);
  auto column = std::make_shared<Kt_Column>(TypeOfAll(values.GetList()));
  for (const Kt_Variant& value : values.GetList()) column->Append(value);
  return column;
}

}  // namespace

std::shared_ptr<Kt_Column> ColumnOf(py::handle cells) {
  if (!py::isinstance<py::array>(cells)) return Anything(cells);
  const auto array = py::reinterpret_borrow<py::array>(cells);
  if (array.ndim() != 1) throw RunError("a column has one dimension");
  const char kind = array.dtype().kind();
  const py::ssize_t size = array.itemsize();
  if (kind == 'f') return Reals(array);
  if (kind == 'M') return Dates(array);
  if (kind == 'b') return Plain<bool>(array);
  if (kind == 'i' && size == 8) return Plain<std::int64_t>(array);
  if (kind == 'i' && size == 4) return Plain<std::int32_t>(array);
  if (kind == 'u' && size == 8) return Plain<std::uint64_t>(array);
  return Anything(array.attr("tolist")());
}

}  // namespace kt::python
