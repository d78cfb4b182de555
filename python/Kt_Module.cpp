// SPDX-License-Identifier: MIT
//
// The extension ktscript._core. Calls that may run scripts let go of the interpreter's lock, so
// that other threads can cancel them; functions of Python take it again.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <span>

#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_GroupTotals.h"
#include "host/Kt_Arrow.h"
#include "host/Kt_Dates.h"
#include "host/Kt_EngineState.h"
#include "host/Kt_Failures.h"
#include "python/Kt_PyValue.h"

namespace kt::python {
namespace {

using Unlocked = py::gil_scoped_release;

// ---- Objects
// --------------------------------------------------------------------------------------

// What scripts see of a Python object: its public attributes and methods, or those of a list.
class PyNode final : public detail::Attachable<Kt_ExprObject> {
 public:
  PyNode(detail::HostContext& host, const Kt_WString& name, Held object,
         std::vector<std::string> members)
      : Attachable(&host), name_(name), object_(std::move(object)), members_(std::move(members)) {
    Join(host);
  }
  Kt_WString GetID() const override { return name_; }
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList*, Kt_Variant& result) override {
    return Use(name, [&](const Held& object, const char* member) {
      result = FromPython(object->attr(member));
    });
  }
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList*,
                      const Kt_Variant& value) override {
    return Use(name, [&](const Held& object, const char* member) {
      object->attr(member) = ToPython(value);
    });
  }
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                     Kt_Variant& result) override {
    return Use(name, [&](const Held& object, const char* member) {
      static const Kt_VariantList kNone;
      result = CallPython(Hold(object->attr(member)), args != nullptr ? *args : kNone, true);
    });
  }
  // Which of them can be called shows when they are asked for.
  void ListNames(const std::string& own, detail::NamesJson& names) const override {
    names.Add("object", own);
    for (const std::string& member : members_) names.AddMember("property", member, own);
  }

 private:
  template <class Work>
  kt_long Use(const Kt_WString& name, Work work) {
    const auto member = std::find_if(
        members_.begin(), members_.end(),
        [&](const std::string& each) { return Kt_WString::FromUtf8(each).EqualsNoCase(name); });
    if (member == members_.end() || host_ == nullptr) return kNoMember;
    detail::HostContext& host = *host_;
    const Held object = object_;
    return detail::RunHostCode(&host, host.exceptions, name_ + u"." + name.View(), [&] {
      const py::gil_scoped_acquire lock;
      try {
        work(object, member->c_str());
      } catch (const py::error_already_set& exception) {
        if (host.exceptions.passes) throw;
        throw RunError(TextOf(exception));
      }
    });
  }

  Kt_WString name_;
  Held object_;
  std::vector<std::string> members_;
};

std::vector<std::string> PublicNames(const py::object& object) {
  std::vector<std::string> names;
  for (const py::handle name : py::reinterpret_steal<py::list>(PyObject_Dir(object.ptr()))) {
    auto text = name.cast<std::string>();
    if (!text.starts_with('_')) names.push_back(std::move(text));
  }
  return names;
}

// ---- Engines
// --------------------------------------------------------------------------------------

IncludeSource ToIncludes(py::object source) {
  if (source.is_none()) return nullptr;
  return [held = Hold(std::move(source))](const std::string& name, const std::string& from) {
    const py::gil_scoped_acquire lock;
    return (*held)(name, from).cast<std::optional<std::string>>();
  };
}

class PyEngine {
 public:
  PyEngine() { engine_.pass_exceptions(true); }

  Engine& Get() { return engine_; }
  detail::HostContext& Host() { return engine_.state()->host; }

  void Limit(std::int64_t steps, double seconds, std::int64_t memory) {
    engine_.limit_steps(steps).limit_memory(memory).limit_time(
        std::chrono::nanoseconds(static_cast<std::int64_t>(seconds * 1e9)));
  }
  void SetThreads(int count) {
    if (count < 1 || count > 2) throw py::value_error("threads is to be 1 or 2");
    engine_.threads(count);
  }
  void Function(const std::string& name, py::object function) {
    engine_.function(
        name,
        [held = Hold(std::move(function)),
         state = std::weak_ptr(engine_.state())](const Kt_VariantList& args) -> Kt_Variant {
          const auto engine = state.lock();
          return CallPython(held, args, engine == nullptr || engine->host.exceptions.passes);
        });
  }
  void Object(const std::string& name, py::object object,
              std::optional<std::vector<std::string>> members) {
    const Kt_WString id = detail::ToName(name);
    if (!members) members = PublicNames(object);
    Host().SetObject(
        id, std::make_shared<PyNode>(Host(), id, Hold(std::move(object)), *std::move(members)));
  }
  void Remove(const std::string& name) {
    for (const auto& object : Host().GetAttached(Kt_WString::FromUtf8(name))) {
      object->Leave();
      Host().Remove(object.get());
    }
  }
  py::object Call(const std::string& name, const py::args& args) {
    const Kt_Variant list = FromPython(args);
    Kt_Variant result;
    {
      const Unlocked unlocked;
      result = engine_.call_list(name, list.GetList());
    }
    return ToPython(result);
  }
  py::object Eval(const std::string& expression) {
    Kt_Variant result;
    {
      const Unlocked unlocked;
      result = engine_.eval(expression);
    }
    return ToPython(result);
  }
  void OnError(py::object listener) {
    if (listener.is_none()) return void(engine_.on_error(nullptr));
    engine_.on_error([held = Hold(std::move(listener))](const ErrorInfo& info) {
      const py::gil_scoped_acquire lock;
      (*held)(ToException(RunError(info)));
    });
  }
  void OnTrace(py::object listener) {
    if (listener.is_none()) return void(engine_.on_trace(nullptr));
    engine_.on_trace([held = Hold(std::move(listener))](std::string_view text) {
      const py::gil_scoped_acquire lock;
      (*held)(py::str(text.data(), text.size()));
    });
  }
  void Includes(py::object source) { engine_.includes(ToIncludes(std::move(source))); }
  // A clock cannot fail: one that throws is at day 0.
  void Clock(py::object now) {
    if (now.is_none()) return void(engine_.clock(nullptr));
    engine_.clock([held = Hold(std::move(now))] {
      const py::gil_scoped_acquire lock;
      try {
        return FromPython((*held)()).ToDateTime();
      } catch (const std::exception&) {
        return Kt_DateTime();
      }
    });
  }

 private:
  Engine engine_;
};

// ---- Formulas
// -------------------------------------------------------------------------------------

class PyFormula {
 public:
  PyFormula(const std::string& text, std::optional<std::vector<std::string>> names,
            PyEngine* engine)
      : names_(names ? *std::move(names) : FindNames(text)),
        keys_(KeysOf(names_)),
        formula_(Make(text, engine)) {}

  const std::string& Text() const { return formula_.text(); }
  const std::vector<std::string>& Names() const { return names_; }

  double Number(const py::args& numbers, const py::kwargs& by_name) const {
    std::vector<double> list;
    for (const py::handle item : InOrder(numbers, by_name)) list.push_back(ToDouble(item));
    return formula_.evaluate(list);
  }
  // What a call of the object itself comes to, past the layer that looks for an overload.
  double Call(PyObject* numbers, PyObject* by_name) const {
    constexpr std::size_t kFew = 16;
    const auto count = static_cast<std::size_t>(PyTuple_GET_SIZE(numbers));
    const auto named = by_name != nullptr ? static_cast<std::size_t>(PyDict_GET_SIZE(by_name)) : 0;
    std::array<double, kFew> list;
    if (count + named != names_.size() || names_.size() > kFew ||
        !TakeNamed(by_name, count, list.data())) {
      return Number(
          py::reinterpret_borrow<py::args>(numbers),
          by_name != nullptr ? py::reinterpret_borrow<py::kwargs>(by_name) : py::kwargs());
    }
    for (std::size_t at = 0; at < count; ++at) {
      list[at] = ToDouble(PyTuple_GET_ITEM(numbers, static_cast<py::ssize_t>(at)));
    }
    return formula_.evaluate(std::span(list.data(), names_.size()));
  }
  py::object Value(const py::args& values, const py::kwargs& by_name) const {
    std::vector<Kt_Variant> list;
    list.reserve(names_.size());
    const auto take = [&](const auto& items) {
      for (const py::handle item : items) list.push_back(FromPython(item));
    };
    if (by_name.empty()) {
      take(values);
    } else {
      take(InOrder(values, by_name));
    }
    return ToPython(formula_.value_of(list));
  }
  // Arrays of doubles are read where they are.
  py::array_t<double> Evaluate(const py::object& columns, const py::object& given_out) const {
    std::vector<py::array_t<double>> arrays;  // keeps converted ones alive
    std::vector<const void*> places;
    std::vector<std::ptrdiff_t> strides;
    std::optional<py::ssize_t> rows;
    for (std::size_t at = 0; at < names_.size(); ++at) {
      const py::array_t<double>& array = arrays.emplace_back(ColumnAt(columns, at));
      places.push_back(array.data());
      strides.push_back(array.ndim() == 0 ? 0 : array.strides(0));
      if (array.ndim() == 0) continue;
      if (rows && *rows != array.shape(0)) {
        throw RunError("column '" + names_[at] + "' has " + std::to_string(array.shape(0)) +
                       " numbers, not " + std::to_string(*rows));
      }
      rows = array.shape(0);
    }
    auto out = given_out.is_none() ? py::array_t<double>(rows.value_or(1)) : TakeOut(given_out);
    if (out.ndim() != 1 || out.shape(0) != rows.value_or(out.shape(0))) {
      throw RunError("'out' has another length than the columns");
    }
    const std::span<double> target(out.mutable_data(), static_cast<std::size_t>(out.shape(0)));
    const Unlocked unlocked;
    formula_.evaluate(places, strides, target);
    return out;
  }

 private:
  // The names that an expression uses and nobody has: those that binding it misses, one by one.
  static std::vector<std::string> FindNames(const std::string& text) {
    std::vector<std::string> names;
    while (true) {
      const std::vector<std::string_view> views(names.begin(), names.end());
      try {
        Formula(text, Formula::Names(views));
        return names;
      } catch (const RunError& error) {
        const std::string& missing = error.info().subject;
        const bool is_name = error.info().code == kErrNoVariable && !missing.empty();
        if (!is_name || std::find(names.begin(), names.end(), missing) != names.end()) throw;
        names.push_back(missing);
      }
    }
  }
  Formula Make(const std::string& text, PyEngine* engine) const {
    const std::vector<std::string_view> views(names_.begin(), names_.end());
    if (engine == nullptr) return Formula(text, Formula::Names(views));
    return Formula(engine->Get(), text, Formula::Names(views));
  }
  // The numbers of the names from `first` on; false when one is missing.
  bool TakeNamed(PyObject* by_name, std::size_t first, double* list) const {
    for (std::size_t at = first; at < names_.size(); ++at) {
      PyObject* const number = PyDict_GetItemWithError(by_name, keys_[at].ptr());
      if (number == nullptr) return false;  // said by who looks again
      list[at] = ToDouble(number);
    }
    return true;
  }
  static std::vector<py::str> KeysOf(const std::vector<std::string>& names) {
    std::vector<py::str> keys;
    for (const std::string& name : names) {
      PyObject* const key = PyUnicode_InternFromString(name.c_str());
      if (key == nullptr) throw py::error_already_set();
      keys.push_back(py::reinterpret_steal<py::str>(key));
    }
    return keys;
  }
  static double ToDouble(py::handle number) {
    const double value = PyFloat_AsDouble(number.ptr());
    if (value == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
    return value;
  }
  py::list InOrder(const py::args& values, const py::kwargs& by_name) const {
    py::list list(values);
    for (std::size_t at = values.size(); at < names_.size(); ++at) {
      if (!by_name.contains(names_[at])) throw RunError("'" + names_[at] + "' has no value");
      list.append(by_name[names_[at].c_str()]);
    }
    if (list.size() != values.size() + by_name.size()) throw RunError("a name is none of these");
    return list;
  }
  py::array_t<double> ColumnAt(const py::object& columns, std::size_t at) const {
    const bool by_place = py::isinstance<py::list>(columns) || py::isinstance<py::tuple>(columns);
    const py::object column =
        by_place ? columns[py::int_(at)] : columns[py::str(names_[at])].cast<py::object>();
    auto array = py::array_t<double, py::array::forcecast>::ensure(column);
    if (!array) throw py::error_already_set();
    if (array.ndim() > 1) throw RunError("column '" + names_[at] + "' has several dimensions");
    return array;
  }
  static py::array_t<double> TakeOut(const py::object& given) {
    if (!py::isinstance<py::array_t<double>>(given)) throw RunError("'out' is no array of doubles");
    auto out = py::reinterpret_borrow<py::array_t<double>>(given);
    if (!(out.flags() & py::array::c_style) || !out.writeable()) {
      throw RunError("'out' has to be contiguous and writable");
    }
    return out;
  }

  std::vector<std::string> names_;
  std::vector<py::str> keys_;  // the names, as callers' dictionaries have them
  Formula formula_;
};

// ---- Datasets
// -------------------------------------------------------------------------------------

class PyDataset {
 public:
  explicit PyDataset(Table table) : table(std::move(table)) {}
  PyDataset(const std::string& name, const std::optional<py::dict>& columns) : table(name) {
    if (!columns) return;
    Columns made;
    for (const auto& [id, cells] : *columns) {
      try {
        made.add(py::str(id).cast<std::string>(), ColumnOf(cells));
      } catch (const RunError& error) {
        throw RunError("column '" + py::str(id).cast<std::string>() + "': " + error.info().text);
      }
    }
    table.load(made);
  }

  Table table;

  std::size_t RowOf(py::ssize_t row) const {
    if (row < 0) row += table.rows();
    if (row < 0 || row >= table.rows()) throw py::index_error("no such row");
    return static_cast<std::size_t>(row);
  }
  py::object Get(py::ssize_t row, const std::string& column) const {
    return ToPython(table.get(static_cast<int>(RowOf(row)), column));
  }
  py::object Original(py::ssize_t row, const std::string& column) const {
    return ToPython(table.original(static_cast<int>(RowOf(row)), column));
  }
  void Set(py::ssize_t row, const std::string& column, py::handle value) {
    table.set(static_cast<int>(RowOf(row)), column, FromPython(value));
  }
  py::list Values(const std::string& column) const {
    py::list list;
    for (const Kt_Variant& value : table.values<Kt_Variant>(column)) list.append(ToPython(value));
    return list;
  }
  std::string State(py::ssize_t row) const {
    const auto at = static_cast<kt_long>(RowOf(row));
    return Kt_WString(kt_rowtypetextW(table.data().GetRowType(at))).ToUtf8();
  }
  std::vector<std::string> States() const {
    std::vector<std::string> states;
    for (int row = 0; row < table.rows(); ++row) states.push_back(State(row));
    return states;
  }
  int Append(const std::optional<py::dict>& row) {
    Row added = table.append_row();
    if (row) {
      for (const auto& [id, value] : *row) added.set(id.cast<std::string>(), FromPython(value));
    }
    return added.index();
  }
  void OnChange(py::object handler) {
    if (handler.is_none()) {
      table.on_change(std::function<bool(const CellChange&)>());
      return;
    }
    table.on_change([held = Hold(std::move(handler))](const CellChange& change) {
      const py::gil_scoped_acquire lock;
      const py::object answer =
          (*held)(change.row, change.column, ToPython(change.old_value), ToPython(change.value));
      return answer.is_none() || answer.cast<bool>();
    });
  }

  // The cells without a copy, as they are now: the array keeps them.
  py::array Numpy(const std::string& column) const {
    const auto kept = std::make_shared<Kt_Dataset>(table.data());
    const Table now(*kept);
    const Kt_ColumnType type = kept->GetColType(kept->GetColIndex(Kt_WString::FromUtf8(column)));
    const bool is_long = type == Kt_ColumnType::kLong;
    return is_long ? Share<kt_long>(now, kept, column) : Share<double>(now, kept, column);
  }
  // What to_pandas makes a series of: kind, data, and a mask of nulls or None.
  py::tuple Column(const std::string& id, bool original) const {
    const Kt_Dataset& data = table.data();
    const kt_long col = data.GetColIndex(Kt_WString::FromUtf8(id));
    const auto read = [&, original](kt_long row) {
      return original ? data.GetOrgColumn(row, col) : data.ReadColumn(row, col);
    };
    switch (data.GetColType(col)) {
      case Kt_ColumnType::kLong: return Numbers<kt_long>("long", read, &Kt_Variant::ToInteger);
      case Kt_ColumnType::kDouble: return Numbers<double>("double", read, &Kt_Variant::ToDouble);
      case Kt_ColumnType::kDateTime:
        return Numbers<std::int64_t>("datetime", read, [](const Kt_Variant& value) {
          std::chrono::sys_time<std::chrono::milliseconds> point{};
          Convert<decltype(point)>::Read(value, point);
          return point.time_since_epoch().count();
        });
      default: {
        py::list list;
        for (kt_long row = 0; row < table.rows(); ++row) list.append(ToPython(read(row)));
        return py::make_tuple("other", list, py::none());
      }
    }
  }

 private:
  template <class T>
  static py::array Share(const Table& table, std::shared_ptr<Kt_Dataset> kept,
                         const std::string& column) {
    const std::span<const T> cells = table.span<T>(column);
    auto* const owner = new std::shared_ptr<Kt_Dataset>(std::move(kept));
    const py::capsule base(
        owner, [](void* held) { delete static_cast<std::shared_ptr<Kt_Dataset>*>(held); });
    py::array_t<T> array(static_cast<py::ssize_t>(cells.size()), cells.data(), base);
    array.attr("flags").attr("writeable") = false;
    return array;
  }
  template <class T, class Read, class Get>
  py::tuple Numbers(const char* kind, Read read, Get get) const {
    py::array_t<T> cells(table.rows());
    py::array_t<bool> nulls(table.rows());
    bool has_nulls = false;
    for (kt_long row = 0; row < table.rows(); ++row) {
      const Kt_Variant value = read(row);
      cells.mutable_at(row) = std::invoke(get, value);
      nulls.mutable_at(row) = value.IsEmpty();
      has_nulls |= value.IsEmpty();
    }
    return py::make_tuple(kind, cells, has_nulls ? py::object(nulls) : py::none());
  }
};

// The columns that `types` does not name have the types that the text shows.
PyDataset FromCsv(const std::string& text, const std::string& name,
                  const std::map<std::string, std::string>& types, bool allow_rejects) {
  Kt_CsvOptions options;
  for (const auto& [column, type_name] : types) {
    Kt_ColumnType type{};
    if (!kt_findcolumntypeW(Kt_WString::FromUtf8(type_name), type)) {
      throw RunError("'" + type_name + "' is no type of a column");
    }
    options.rules.types.emplace_back(Kt_WString::FromUtf8(column), type);
  }
  const Unlocked unlocked;
  Kt_LoadReport report;
  Table table(name);
  return PyDataset(allow_rejects ? table.load_csv(text, options, report)
                                 : table.load_csv(text, options));
}
PyDataset FromJson(const std::string& text, const std::string& name, bool allow_rejects) {
  const Unlocked unlocked;
  Kt_LoadReport report;
  Table table(name);
  return PyDataset(allow_rejects ? table.load_json(text, Kt_JsonOptions(), report)
                                 : table.load_json(text));
}

// ---- Arrow
// ----------------------------------------------------------------------------------------

// A capsule of the Arrow protocol, which releases what nobody has taken.
template <class T>
py::capsule CapsuleOf(std::unique_ptr<T> data, const char* name) {
  return py::capsule(data.release(), name, [](PyObject* capsule) {
    auto* const held = static_cast<T*>(PyCapsule_GetPointer(capsule, PyCapsule_GetName(capsule)));
    if (held->release != nullptr) held->release(held);
    delete held;
  });
}

template <class T>
T& FromCapsule(const py::object& capsule, const char* name) {
  void* const pointer = PyCapsule_GetPointer(capsule.ptr(), name);
  if (pointer == nullptr) throw py::error_already_set();
  return *static_cast<T*>(pointer);
}

py::capsule SchemaOf(const PyDataset& dataset) {
  auto schema = std::make_unique<ArrowSchema>();
  ToArrow(dataset.table, schema.get(), nullptr);
  return CapsuleOf(std::move(schema), "arrow_schema");
}

py::tuple ArrayOf(const PyDataset& dataset, const py::object&) {
  auto schema = std::make_unique<ArrowSchema>();
  auto array = std::make_unique<ArrowArray>();
  ToArrow(dataset.table, schema.get(), array.get());
  return py::make_tuple(CapsuleOf(std::move(schema), "arrow_schema"),
                        CapsuleOf(std::move(array), "arrow_array"));
}

py::capsule StreamOf(const PyDataset& dataset, const py::object&) {
  auto stream = std::make_unique<ArrowArrayStream>();
  ToArrowStream(dataset.table, stream.get());
  return CapsuleOf(std::move(stream), "arrow_array_stream");
}

PyDataset FromArrowObject(const py::object& data, const std::string& name) {
  PyDataset dataset{Table(name)};
  if (py::hasattr(data, "__arrow_c_stream__")) {
    const py::object capsule = data.attr("__arrow_c_stream__")();
    LoadArrowStream(dataset.table, FromCapsule<ArrowArrayStream>(capsule, "arrow_array_stream"));
  } else if (py::hasattr(data, "__arrow_c_array__")) {
    const py::tuple both = data.attr("__arrow_c_array__")();
    dataset.table.load(FromArrow(FromCapsule<ArrowSchema>(both[0], "arrow_schema"),
                                 FromCapsule<ArrowArray>(both[1], "arrow_array")));
  } else {
    throw py::type_error("no Arrow data: neither __arrow_c_stream__ nor __arrow_c_array__");
  }
  return dataset;
}

// ---- Totals of groups
// -----------------------------------------------------------------------------

// Totals over rows that come in parts, on whatever machine; pickled as what they were made of and
// their state.
class PyGroupTotals {
 public:
  using Key = std::pair<std::string, std::string>;
  using Total = std::tuple<std::string, std::string, std::string>;

  PyGroupTotals(std::vector<Key> keys, std::vector<Total> totals, std::string filter)
      : keys_(std::move(keys)),
        totals_(std::move(totals)),
        filter_(std::move(filter)),
        state_(Keys(), Totals(), Text(filter_)) {}

  // Expressions see what the engine offers, under whose bounds they run.
  void Add(PyEngine& engine, const PyDataset& rows) {
    const Table table = rows.table;
    if (!table.belongs_to(engine.Get())) {
      throw RunError("dataset '" + table.data().GetId().ToUtf8() + "' is none of the engine");
    }
    const Unlocked unlocked;
    detail::Entry entry(engine.Get().state());
    const kt_long code =
        entry.Bounded(u"group totals", [&] { return state_.Add(table.wrapper()); });
    if (code == kFailed) throw RunError("rows were changed while they were added up");
    entry.Check(code);
  }
  void Merge(const PyGroupTotals& later) {
    if (later.keys_ != keys_ || later.totals_ != totals_ || !state_.Merge(later.state_)) {
      throw RunError("these are totals of other groups");
    }
  }
  PyDataset Result(const std::string& name) const {
    PyDataset answer{Table(name)};
    const kt_long code = state_.Finish(answer.table.data());
    if (code < 0) throw RunError(detail::LastFailure(code));
    return answer;
  }
  std::size_t Count() const { return state_.GroupCount(); }

  py::tuple State() const {
    Kt_Buffer bytes;
    const kt_long code = state_.Save(bytes);
    if (code < 0) throw RunError(detail::LastFailure(code));
    return py::make_tuple(keys_, totals_, filter_, py::bytes(bytes.View()));
  }
  static PyGroupTotals FromState(const py::tuple& state) {
    if (state.size() != 4) throw RunError("no state of totals");
    PyGroupTotals totals(state[0].cast<std::vector<Key>>(), state[1].cast<std::vector<Total>>(),
                         state[2].cast<std::string>());
    const auto bytes = state[3].cast<std::string_view>();
    if (!totals.state_.Load({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()})) {
      throw RunError("no state of these totals");
    }
    return totals;
  }

 private:
  // Every text is an expression, or may be the id of a column, whose faults show with the rows.
  static Kt_WString Text(const std::string& text) { return Kt_WString::FromUtf8(text); }
  std::vector<Kt_GroupTotals::Key> Keys() const {
    std::vector<Kt_GroupTotals::Key> keys;
    for (const auto& [id, text] : keys_) keys.push_back({Text(id), Text(text)});
    return keys;
  }
  std::vector<Kt_GroupTotals::Total> Totals() const {
    std::vector<Kt_GroupTotals::Total> totals;
    for (const auto& [id, what, text] : totals_) {
      const Kt_Aggregate aggregate = kt_findaggregateW(Text(what));
      if (aggregate == Kt_Aggregate::kNone) {
        throw RunError("'" + what + "' is none of sum, avg, max, min and count");
      }
      totals.push_back({Text(id), aggregate, Text(text)});
    }
    if (totals.empty()) throw RunError("no totals are wanted");
    return totals;
  }

  std::vector<Key> keys_;
  std::vector<Total> totals_;
  std::string filter_;
  Kt_GroupTotals state_;
};

// ---- The module
// -----------------------------------------------------------------------------------

void AddEngine(py::module_& module) {
  using py::arg;
  const char* const kDoc =
      "A script with its globals and functions, and what the host offers it.\n\n"
      "steps, seconds and memory bound each call; 0: no bound. Errors are raised as SyntaxError "
      "and "
      "RunError; exceptions of functions come out of the call as they were raised, unless "
      "pass_exceptions is False: then they are errors of the script.\n\n"
      "An engine belongs to one thread at a time; cancel() may be called from any. It must not be "
      "dropped by its own functions.";
  py::class_<Program>(module, "Program",
                      "A text that any number of engines load, read once with what it includes.\n\n"
                      "Engines share its functions, on any thread; each has globals of its own.")
      .def(py::init([](const std::string& text, const std::string& name, py::object includes) {
             const IncludeSource source = ToIncludes(std::move(includes));
             const Unlocked unlocked;
             return Program::compile(name, text, source);
           }),
           arg("text"), arg("name") = "script", arg("includes") = py::none());
  py::class_<PyEngine>(module, "Engine", kDoc)
      .def(py::init([](std::int64_t steps, double seconds, std::int64_t memory, int threads) {
             auto engine = std::make_unique<PyEngine>();
             engine->Limit(steps, seconds, memory);
             engine->SetThreads(threads);
             return engine;
           }),
           py::kw_only(), arg("steps") = 0, arg("seconds") = 0.0, arg("memory") = 0,
           arg("threads") = 1)
      .def("limit", &PyEngine::Limit, py::kw_only(), arg("steps") = 0, arg("seconds") = 0.0,
           arg("memory") = 0, "New bounds for the calls to come; all of them.")
      .def(
          "function",
          [](PyEngine& self, const std::string& name, py::object function) {
            self.Function(name, function);
            return function;
          },
          arg("name"), arg("function"), "Lets scripts call a function by a name.")
      .def(
          "function",
          [](PyEngine& self, py::object function) {
            self.Function(function.attr("__name__").cast<std::string>(), function);
            return function;
          },
          arg("function"), "The same by its own name: a decorator.")
      .def("object", &PyEngine::Object, arg("name"), arg("object"), arg("members") = py::none(),
           "Shows an object: its public attributes and methods, or the members listed.")
      .def("remove", &PyEngine::Remove, arg("name"), "Takes an object or a dataset away.")
      .def(
          "dataset",
          [](PyEngine& self, const std::string& name, std::optional<PyDataset> dataset) {
            if (!dataset) return PyDataset(self.Get().dataset(name));
            return PyDataset(self.Get().dataset(name, dataset->table));
          },
          arg("name"), arg("dataset") = py::none(),
          "Shows a dataset; without one, gives that of the name, which is new when there is none.")
      .def(
          "load",
          [](PyEngine& self, const std::string& text, const std::string& name) {
            const Unlocked unlocked;
            self.Get().load(name, text);
          },
          arg("text"), arg("name") = "script", "Adds a text and evaluates its globals.")
      .def(
          "load",
          [](PyEngine& self, const Program& program) {
            const Unlocked unlocked;
            self.Get().load(program);
          },
          arg("program"), "Adds what the program was made of: its functions are shared.")
      .def(
          "check",
          [](PyEngine& self, const std::string& text, const std::string& name,
             bool warnings) -> py::object {
            ErrorInfo info;
            info.faults = self.Get().check(name, text, warnings);
            return ToException(SyntaxError(std::move(info))).attr("faults");
          },
          arg("text"), arg("name") = "script", arg("warnings") = false,
          "The faults of a text, without loading it.")
      .def("call", &PyEngine::Call, arg("name"), "Calls a function of the script.")
      .def("eval", &PyEngine::Eval, arg("expression"), "Evaluates an expression in the script.")
      .def(
          "cancel", [](PyEngine& self) { self.Get().cancel(); },
          "Ends the call that is running, or the next one; from any thread.")
      .def(
          "names_json", [](PyEngine& self) { return self.Get().names_json(); },
          "What scripts can name here, for `kt check --host`: an object of JSON in each line.")
      .def(
          "seed", [](PyEngine& self, std::uint64_t seed) { self.Get().random_seed(seed); },
          arg("seed"), "Starts the random numbers of this thread anew.")
      .def("on_error", &PyEngine::OnError, arg("listener"), "Called with every error of a run.")
      .def("on_trace", &PyEngine::OnTrace, arg("listener"), "Called with what trace() says.")
      .def("includes", &PyEngine::Includes, arg("source"),
           "source(name, includer) gives the text of an include, or None.")
      .def("clock", &PyEngine::Clock, arg("now"), "now() gives the present.")
      .def_property(
          "tolerant", [](PyEngine& self) { return self.Get().state()->is_tolerant; },
          [](PyEngine& self, bool is_tolerant) { self.Get().tolerant(is_tolerant); },
          "True: errors that a script goes on after are not raised.")
      .def_property(
          "pass_exceptions", [](PyEngine& self) { return self.Host().exceptions.passes; },
          [](PyEngine& self, bool passes) { self.Get().pass_exceptions(passes); })
      .def_property(
          "threads", [](PyEngine& self) { return self.Get().state()->threads; },
          &PyEngine::SetThreads,
          "How many threads one operation of a call may use where it pays: 1 or 2.")
      .def("__getitem__",
           [](PyEngine& self, const std::string& name) { return ToPython(self.Get().get(name)); })
      .def("__setitem__", [](PyEngine& self, const std::string& name,
                             py::object value) { self.Get().set(name, FromPython(value)); })
      .def("__contains__",
           [](PyEngine& self, const std::string& name) { return self.Get().has(name); });
}

void Translate(std::exception_ptr thrown) {
  try {
    if (thrown) std::rethrow_exception(thrown);
  } catch (const Error& error) {
    const py::object exception = ToException(error);
    PyErr_SetObject(py::type::of(exception).ptr(), exception.ptr());
  }
}

PyObject* CallFormula(PyObject* self, PyObject* numbers, PyObject* by_name) {
  try {
    const auto& formula = py::handle(self).cast<const PyFormula&>();
    return PyFloat_FromDouble(formula.Call(numbers, by_name));
  } catch (py::error_already_set& exception) {
    exception.restore();
  } catch (const Error&) {
    Translate(std::current_exception());
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::exception& exception) {
    PyErr_SetString(PyExc_RuntimeError, exception.what());
  }
  return nullptr;
}

void AddFormula(py::module_& module) {
  using py::arg;
  py::class_<PyFormula> formula(
      module, "Formula",
      "An expression that is bound once and evaluated often.\n\nWithout `names` these are the "
      "variables that it uses, in the order in which it uses them. With an engine it knows "
      "functions and globals of that, and belongs to its thread; without one, to no thread.");
  formula
      .def(py::init<const std::string&, std::optional<std::vector<std::string>>, PyEngine*>(),
           arg("text"), arg("names") = py::none(), arg("engine") = py::none())
      .def("__call__", &PyFormula::Number, "The number for these numbers, in order or by name.")
      .def("value", &PyFormula::Value, "The value for values of any kind.")
      .def("evaluate", &PyFormula::Evaluate, arg("columns"), arg("out") = py::none(),
           "Whole columns: a mapping, a DataFrame or a sequence of arrays and numbers. Arrays of "
           "float64 are not copied.")
      .def_property_readonly("text", &PyFormula::Text)
      .def_property_readonly("names", &PyFormula::Names);
  // Calls of the object; "__call__" is for those by its name and for subclasses.
  reinterpret_cast<PyTypeObject*>(formula.ptr())->tp_call = &CallFormula;
}

void AddDataset(py::module_& module) {
  using py::arg;
  py::class_<PyDataset>(
      module, "Dataset",
      "A table of typed columns and rows that know what was changed.\n\nMade of a "
      "mapping of names to arrays or sequences. dataset[row, column] is a cell, "
      "dataset[column] the list of values.")
      .def(py::init<const std::string&, const std::optional<py::dict>&>(), arg("name") = "table",
           arg("columns") = py::none())
      .def_static("from_csv", &FromCsv, arg("text"), arg("name") = "table",
                  arg("types") = py::dict(), arg("allow_rejects") = false,
                  "Of CSV. types: those of columns, {'zip': 'string'}; the others are found out. "
                  "Raises when a record would be left out or a cell not be converted; with "
                  "allow_rejects it takes the rest.")
      .def_static("from_json", &FromJson, arg("text"), arg("name") = "table",
                  arg("allow_rejects") = false, "Of JSON; raises as from_csv does.")
      .def_static("from_arrow", &FromArrowObject, arg("data"), arg("name") = "table",
                  "Of anything with __arrow_c_stream__ or __arrow_c_array__.")
      .def("to_csv", [](const PyDataset& self) { return self.table.to_csv(); })
      .def("to_json", [](const PyDataset& self) { return self.table.to_json(); })
      .def(
          "numpy", &PyDataset::Numpy, arg("column"),
          "The cells of a column of longs or doubles without a copy; nulls are 0. Raises when rows "
          "were sorted, hidden or deleted.")
      .def("values", &PyDataset::Values, arg("column"))
      .def("states", &PyDataset::States)
      .def("state", &PyDataset::State, arg("row"), "'normal', 'insert' or 'update'.")
      .def("original", &PyDataset::Original, arg("row"), arg("column"))
      .def("append", &PyDataset::Append, arg("row") = py::none(), "A new row; gives its number.")
      .def("apply_changes", [](PyDataset& self) { self.table.apply_changes(); })
      .def("reset", [](PyDataset& self) { self.table.reset(); })
      .def("on_change", &PyDataset::OnChange, arg("handler"),
           "handler(row, column, old, new) is asked before a cell changes; False refuses.")
      .def("_column", &PyDataset::Column)
      .def_property_readonly(
          "name", [](const PyDataset& self) { return self.table.data().GetId().ToUtf8(); })
      .def_property_readonly("columns",
                             [](const PyDataset& self) { return self.table.column_names(); })
      .def("__len__", [](const PyDataset& self) { return self.table.rows(); })
      .def("__getitem__",
           [](const PyDataset& self, const std::pair<py::ssize_t, std::string>& cell) {
             return self.Get(cell.first, cell.second);
           })
      .def("__getitem__", &PyDataset::Values)
      .def("__setitem__", [](PyDataset& self, const std::pair<py::ssize_t, std::string>& cell,
                             py::object value) { self.Set(cell.first, cell.second, value); })
      .def("__arrow_c_schema__", &SchemaOf)
      .def("__arrow_c_array__", &ArrayOf, arg("requested_schema") = py::none())
      .def("__arrow_c_stream__", &StreamOf, arg("requested_schema") = py::none());
}

void AddGroupTotals(py::module_& module) {
  using py::arg;
  py::class_<PyGroupTotals>(
      module, "GroupTotals",
      "Totals of groups over rows that come in parts, which may be added in different processes; "
      "can be pickled.\n\n"
      "by: pairs of the name in the answer and a column or expression; totals: the name, 'sum', "
      "'avg', 'max', 'min' or 'count', and a column or expression; where: leaves out the rows in "
      "which it is false.")
      .def(py::init<std::vector<PyGroupTotals::Key>, std::vector<PyGroupTotals::Total>,
                    std::string>(),
           arg("by"), arg("totals"), arg("where") = "")
      .def("add", &PyGroupTotals::Add, arg("engine"), arg("rows"),
           "Adds the shown rows of a dataset of the engine, whose functions expressions may call.")
      .def("merge", &PyGroupTotals::Merge, arg("later"), "Takes in the totals of later rows.")
      .def("result", &PyGroupTotals::Result, arg("name") = "totals",
           "A dataset with a row for each group, in the order of sorts.")
      .def("__len__", &PyGroupTotals::Count)
      .def(py::pickle([](const PyGroupTotals& self) { return self.State(); },
                      &PyGroupTotals::FromState));
}

}  // namespace
}  // namespace kt::python

PYBIND11_MODULE(_core, module) {
  pybind11::register_exception_translator(&kt::python::Translate);
  module.def("version", [] { return KT_VERSION; });
  kt::python::AddEngine(module);
  kt::python::AddFormula(module);
  kt::python::AddDataset(module);
  kt::python::AddGroupTotals(module);
}
