// SPDX-License-Identifier: MIT
#include "host/Kt_Table.h"

#include <algorithm>
#include <set>

#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_RowReader.h"
#include "host/Kt_EngineState.h"
#include "host/Kt_Failures.h"

namespace kt {
namespace detail {

ColumnMaker::ColumnMaker(Kt_ColumnType type, std::size_t rows)
    : column_(std::make_shared<Kt_Column>(type)) {
  column_->Reserve(rows);
}
void ColumnMaker::Add(const Kt_Variant& cell) { column_->Append(cell); }
void ColumnMaker::AddAll(std::span<const double> cells) {
  for (const double cell : cells) column_->AppendDouble(cell);
}
void ColumnMaker::AddAll(std::span<const kt_long> cells) {
  for (const kt_long cell : cells) column_->AppendLong(cell);
}

// A dataset, its own or the host's, as scripts see it.
class TableNode final : public Attachable<Kt_ExprDataset>,
                        public std::enable_shared_from_this<TableNode> {
 public:
  explicit TableNode(const Kt_WString& id) : own_(std::make_unique<Kt_Dataset>(id)) {
    Begin(*own_);
  }
  explicit TableNode(Kt_Dataset& dataset) { Begin(dataset); }

  ExceptionSink exceptions;
  std::function<bool(const CellChange&)> on_change;
  std::function<void(const CellChange&)> on_changed;
  std::weak_ptr<EngineState> engine;

  bool AnswersAsDataset() const override { return true; }
  void ListNames(const std::string& own, NamesJson& names) const override {
    names.Add("dataset", own);
    const Kt_Dataset* const data = GetDataset();
    for (kt_long col = 0; data != nullptr && col < data->GetColCount(); ++col) {
      names.AddMember("column", data->GetColID(col).ToUtf8(), own);
    }
  }
  int CanColumnChange(const Kt_WString& column, const Kt_Variant& old_value,
                      const Kt_Variant& new_value, int row, const Kt_Component*, int) override {
    bool allows = true;
    const auto ask = on_change;  // which it may replace
    const bool ran = !ask || Run(u".on_change", [&] {
      allows = ask({column.ToUtf8(), old_value, new_value, row});
    });
    return ran && allows ? 1 : 0;
  }
  void OnColumnChanged(const Kt_WString& column, const Kt_Variant& old_value,
                       const Kt_Variant& new_value, int row, const Kt_Component*, int) override {
    const auto tell = on_changed;
    if (tell) Run(u".on_changed", [&] { tell({column.ToUtf8(), old_value, new_value, row}); });
  }

 private:
  void Begin(Kt_Dataset& dataset) {
    exceptions.passes = true;
    SetDataset(&dataset);
    SetEvents(1);
  }
  // False when the handler threw. An edit of the host throws that on; in a run it is reported, or
  // comes out of the host's call.
  template <class Work>
  bool Run(const char16_t* event, Work work) {
    const auto self = shared_from_this();  // it may drop the table
    const std::shared_ptr<EngineState> running = engine.lock();
    ExceptionSink& sink =
        host_ != nullptr && running && running->depth > 0 ? host_->exceptions : exceptions;
    return RunHostCode(this, sink, GetID() + event, work) == kOk;
  }

  std::unique_ptr<Kt_Dataset> own_;
};

}  // namespace detail

namespace {

kt_long Find(const Table& table, std::string_view column) {
  return table.data().GetColIndex(Kt_WString::FromUtf8(column));
}
kt_long At(const Table& table, std::string_view column) {
  const kt_long col = Find(table, column);
  if (col < 0) throw RunError("there is no column '" + std::string(column) + "'");
  return col;
}

// One of two columns of the same id would be lost.
void CheckIds(std::span<const ColumnData> columns) {
  const auto is_less = [](const Kt_WString* a, const Kt_WString* b) {
    return kt_stricmpW(a->View(), b->View()) < 0;
  };
  std::set<const Kt_WString*, decltype(is_less)> ids(is_less);
  for (const ColumnData& column : columns) {
    const auto [found, is_new] = ids.insert(&column.id);
    if (is_new) continue;
    throw RunError("two columns are called '" + (*found)->ToUtf8() + "' and '" +
                   column.id.ToUtf8() + "', which is the same id");
  }
}

// Throws what kept a table from being loaded.
void CheckLoaded(kt_long code, const Kt_LoadReport& report) {
  if (code >= 0) return;
  ErrorInfo info;
  info.text = report.error.ToUtf8();
  info.code = code;
  info.place.line = static_cast<int>(report.error_line);
  info.place.column = static_cast<int>(report.error_column);
  throw RunError(std::move(info));
}
// Throws what a text would lose on its way into a table, by the lines.
void CheckLosses(const Kt_LoadReport& report) {
  constexpr std::size_t kMaxFaults = 10;
  std::vector<Place> faults;
  const auto add = [&](std::int64_t line, const Kt_WString& text) {
    Place& fault = faults.emplace_back();
    fault.line = static_cast<int>(line);
    fault.text = text.ToUtf8();
  };
  for (const Kt_LoadReport::Row& row : report.rejected) {
    add(row.line, u"row rejected: " + row.reason);
  }
  for (const Kt_LoadReport::Cell& cell : report.not_converted) {
    add(cell.line, u"cell not converted: column '" + cell.column + u"': '" + cell.text + u"'");
  }
  if (faults.empty()) return;
  std::ranges::stable_sort(faults, {}, &Place::line);
  const std::size_t all = static_cast<std::size_t>(report.rows_rejected) +
                          static_cast<std::size_t>(report.cells_not_converted);
  if (faults.size() > kMaxFaults) faults.resize(kMaxFaults);
  ErrorInfo info;
  info.place = faults.front();
  info.text = info.place.text;
  if (all > faults.size())
    faults.emplace_back().text = std::to_string(all - faults.size()) + " more";
  info.faults = std::move(faults);
  throw RunError(std::move(info));
}
// Into a copy, which shares all that is not replaced: a load that loses something changes nothing.
template <class Load>
void LoadWhole(Kt_Dataset& dataset, Load load) {
  Kt_LoadReport report;
  if (dataset.IsEvaluating()) return CheckLoaded(load(dataset, report), report);  // is refused
  Kt_Dataset next(dataset);
  CheckLoaded(load(next, report), report);
  CheckLosses(report);
  dataset = std::move(next);
}
void CheckSaved(kt_long code, const Kt_SaveReport& report) {
  if (code >= 0) return;
  ErrorInfo info = detail::LastFailure(code);
  if (!report.error.IsEmpty()) info.text = report.error.ToUtf8();
  throw RunError(std::move(info));
}

}  // namespace

std::string CellPlace::operator()() const {
  return "row " + std::to_string(row) + " of '" + std::string(column) + "'";
}

Table::Table(std::string_view id)
    : node_(std::make_shared<detail::TableNode>(Kt_WString::FromUtf8(id))) {}
Table::Table(Kt_Dataset& dataset) : node_(std::make_shared<detail::TableNode>(dataset)) {}

int Table::rows() const { return data().GetRowCount(); }
int Table::columns() const { return data().GetColCount(); }
std::vector<std::string> Table::column_names() const {
  std::vector<std::string> names;
  names.reserve(static_cast<std::size_t>(columns()));
  for (kt_long col = 0; col < columns(); ++col) names.push_back(data().GetColID(col).ToUtf8());
  return names;
}
bool Table::has(std::string_view column) const { return Find(*this, column) >= 0; }
Kt_Dataset& Table::data() const {
  if (Kt_Dataset* const data = node_->GetDataset()) return *data;
  throw RunError("the dataset was destroyed");
}
bool Table::belongs_to(const Engine& engine) const {
  return node_->engine.lock() == engine.state();
}
Kt_ExprDataset& Table::wrapper() const { return *node_; }

// ---- Columns ------------------------------------------------------------------------------------

Table& Table::Take(const Columns& columns, bool clear) {
  std::vector<ColumnData> list;
  list.reserve(columns.list().size());
  for (const Columns::Column& column : columns.list()) {
    list.push_back({Kt_WString::FromUtf8(column.id), column.cells});
  }
  CheckIds(list);
  const kt_long code = LoadColumns(data(), list, clear);
  if (code < 0) {
    throw RunError(code == kFailed ? "the columns differ in length, or the table takes no rows"
                                   : detail::LastFailure(code).text);
  }
  node_->AnnounceRows(clear ? Kt_LoadReason::kLoaded : Kt_LoadReason::kAppended);
  return *this;
}

const void* Table::CellsOf(std::string_view column, Kt_ColumnType form) const {
  const Kt_Column* const cells = Kt_RowReader(data()).GetCells(At(*this, column));
  if (cells == nullptr || !lies_in_order()) {
    throw RunError("the cells of '" + std::string(column) + "' do not lie in the order of rows");
  }
  const Kt_ColumnType type = cells->Type();
  const bool is_date = type == Kt_ColumnType::kDateTime && form == Kt_ColumnType::kDouble;
  if (type != form && !is_date) {
    throw RunError("column '" + std::string(column) + "' holds " +
                   Kt_WString(kt_columntypenameW(type)).ToUtf8());
  }
  return detail::VisitCells(*cells, [](const auto& list) -> const void* {
    if constexpr (requires { list.data(); }) {
      return list.data();
    } else {
      return nullptr;  // texts, which have no form
    }
  });
}

bool Table::lies_in_order() const {
  constexpr kt_long kAtOnce = 512;
  std::uint32_t records[kAtOnce];
  const Kt_RowReader reader(data());
  for (kt_long row = 0; row < rows(); row += kAtOnce) {
    const kt_long count = std::min(kAtOnce, rows() - row);
    reader.GetRecords(row, count, records);
    for (kt_long at = 0; at < count; ++at) {
      if (records[at] != static_cast<std::uint32_t>(row + at)) return false;
    }
  }
  return true;
}

void Table::ReadCells(std::string_view column, const CellReader& read) const {
  const kt_long col = At(*this, column);
  for (kt_long row = 0; row < rows(); ++row) read(row, data().ReadColumn(row, col));
}

// ---- Rows ---------------------------------------------------------------------------------------

Kt_Variant Table::Cell(int row, std::string_view column) const {
  return data().ReadColumn(row, At(*this, column));
}
Kt_Variant Table::Original(int row, std::string_view column) const {
  return data().GetOrgColumn(row, At(*this, column));
}
Table& Table::SetCell(int row, std::string_view column, const Kt_Variant& value) {
  const int code = node_->SetColumn(row, At(*this, column), value);
  node_->exceptions.Rethrow();
  if (code != 1) throw RunError(CellPlace{row, column}() + " was not changed");
  return *this;
}
RowState Table::state(int row) const { return static_cast<RowState>(data().GetRowType(row)); }
void Table::apply_changes() { data().ApplyChange(); }
void Table::reset() { data().Reset(); }
Row Table::append_row() {
  const int row = node_->AppendRow();
  node_->exceptions.Rethrow();
  if (row < 0) throw RunError("no row was added");
  return {*this, row};
}

// ---- Events -------------------------------------------------------------------------------------

Table& Table::SetOnChange(std::function<bool(const CellChange&)> handler) {
  node_->on_change = std::move(handler);
  return *this;
}
Table& Table::on_changed(std::function<void(const CellChange&)> listener) {
  node_->on_changed = std::move(listener);
  return *this;
}

// ---- Texts --------------------------------------------------------------------------------------

Table& Table::load_csv(std::string_view utf8) { return load_csv(utf8, Kt_CsvOptions()); }
Table& Table::load_csv(std::string_view utf8, const Kt_CsvOptions& options) {
  LoadWhole(data(), [&](Kt_Dataset& dataset, Kt_LoadReport& report) {
    return LoadCsv(dataset, utf8, options, report);
  });
  node_->AnnounceRows(Kt_LoadReason::kLoaded);
  return *this;
}
Table& Table::load_csv(std::string_view utf8, const Kt_CsvOptions& options, Kt_LoadReport& report) {
  CheckLoaded(LoadCsv(data(), utf8, options, report), report);
  node_->AnnounceRows(Kt_LoadReason::kLoaded);
  return *this;
}
Table& Table::load_json(std::string_view utf8) {
  LoadWhole(data(), [&](Kt_Dataset& dataset, Kt_LoadReport& report) {
    return LoadJson(dataset, utf8, Kt_JsonOptions(), report);
  });
  node_->AnnounceRows(Kt_LoadReason::kLoaded);
  return *this;
}
Table& Table::load_json(std::string_view utf8, const Kt_JsonOptions& options,
                        Kt_LoadReport& report) {
  CheckLoaded(LoadJson(data(), utf8, options, report), report);
  node_->AnnounceRows(Kt_LoadReason::kLoaded);
  return *this;
}
std::string Table::to_csv() const {
  Kt_SaveReport report;
  Kt_WString text;
  CheckSaved(SaveCsv(data(), u"", Kt_CsvSaveOptions(), text, report), report);
  return text.ToUtf8();
}
std::string Table::to_json() const {
  Kt_SaveReport report;
  Kt_Buffer text;
  CheckSaved(SaveJson(data(), u"", Kt_JsonSaveOptions(), text, report), report);
  return std::string(text.View());
}

// ---- Tables of engines --------------------------------------------------------------------------

Table Engine::dataset(std::string_view name) {
  const Kt_WString id = detail::ToName(name);
  if (Kt_ExprDataset* const known = state_->host.GetChildDataset(id)) {
    return Table(static_cast<detail::TableNode*>(known)->shared_from_this());
  }
  return dataset(name, Table(name));
}

// A table belongs to one engine at a time, under one name: the last one counts.
Table Engine::dataset(std::string_view name, Table table) {
  const Kt_WString id = detail::ToName(name);
  if (const auto before = table.node_->engine.lock()) before->host.Remove(table.node_.get());
  state_->host.SetTable(id, table.node_);
  table.node_->engine = state_;
  table.node_->Join(state_->host);
  return table;
}

}  // namespace kt
