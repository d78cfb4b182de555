// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Arrange.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>

#include "classlib/store/Kt_Fold.h"
#include "classlib/store/Kt_ListedColumn.h"
#include "classlib/store/Kt_SortItem.h"
#include "classlib/text/Kt_NearestName.h"
#include "classlib/text/Kt_WStrList.h"
#include "cli/Kt_Bounds.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Expr.h"
#include "cli/Kt_Host.h"
#include "cli/Kt_Report.h"
#include "cli/show/Kt_View.h"
#include "dataset/Kt_DatasetCtx.h"
#include "dataset/Kt_ExprDataset.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"

namespace kt::cli {
namespace {

using Column = Kt_CliView::Column;

// ---- Names ------------------------------------------------------------------------------------

std::vector<Kt_WString> ColumnNames(const Kt_Dataset& dataset) {
  std::vector<Kt_WString> names;
  names.reserve(static_cast<std::size_t>(dataset.GetColCount()));
  for (kt_long col = 0; col < dataset.GetColCount(); ++col) names.push_back(dataset.GetColID(col));
  return names;
}

// A column that an option names.
struct NamedColumn {
  kt_long col = -1;  // of the dataset or the view
  bool descending = false;
};

std::vector<Kt_WString> Split(std::string_view list, std::u16string_view separator) {
  Kt_WStrList items;
  items.Parse(Kt_WString::FromUtf8(list), separator);
  std::vector<Kt_WString> out;
  for (kt_long at = 0; at < items.GetCount(); ++at) {
    Kt_WString item = items.GetItem(at);
    item.Trim();
    out.push_back(std::move(item));
  }
  return out;
}

// ---- The work ---------------------------------------------------------------------------------

// Messages of the filter's expression; only the first is of interest, the other rows say the same.
class FirstError : public Kt_ExprObject {
 public:
  FirstError() : Kt_ExprObject(nullptr) {}
  // That the work was stopped is told by who began it.
  int IsSystemLogMode() override { return Kt_WorkMeter::CurrentStop() == 0 ? 1 : 0; }
  void OnSystemError(const Kt_Result& result) override { OnRunTimeError(result); }
  void OnRunTimeError(const Kt_Result& result) override {
    if (text_) return;
    text_ = result.GetText().ToUtf8();
    if (Kt_RunError::Last().report == result.GetCode()) error_ = Kt_RunError::Last();
  }
  const std::optional<std::string>& Text() const { return text_; }
  // With its place, as far as it is known.
  const Kt_RunError& Error() const { return error_; }

 private:
  std::optional<std::string> text_;
  Kt_RunError error_;
};

// What can be saved; nobody reads a cross table that is as wide.
constexpr std::size_t kMaxCrossColumns = kMaxDatasetColumns;

// How scripts number the kinds of keys and calls.
constexpr kt_long kAddKey = static_cast<kt_long>(Kt_KeyCall::kAdd);
constexpr kt_long kClearKeys = static_cast<kt_long>(Kt_KeyCall::kClear);

std::string KindName(Kt_Aggregate kind) { return Kt_WString(kt_aggregatenameW(kind)).ToUtf8(); }

bool IsNumberType(Kt_ColumnType type) {
  return type == Kt_ColumnType::kLong || type == Kt_ColumnType::kDouble ||
         type == Kt_ColumnType::kCurrency;
}

// The type of a total of cells of a type.
Kt_ColumnType TotalType(Kt_Aggregate kind, Kt_ColumnType type) {
  if (kind == Kt_Aggregate::kCount) return Kt_ColumnType::kLong;
  if (kind == Kt_Aggregate::kAvg) return Kt_ColumnType::kDouble;
  if (kind == Kt_Aggregate::kSum && !IsNumberType(type)) return Kt_ColumnType::kDouble;
  return type;
}

class Arranger {
 public:
  Arranger(const Arrangement& wanted, Kt_Dataset& dataset, Kt_CliView& view, Kt_CliReport& report,
           const PartialGroups* groups)
      : wanted_(wanted),
        dataset_(dataset),
        view_(view),
        report_(report),
        groups_(groups),
        wrapper_(&dataset, &errors_) {}

  int Run() {
    if (!ReadNames()) return kCommandFault;
    TakeGroups();
    if (!Filter()) return kScriptFault;
    const bool done = wanted_.pivot.empty() ? Group() : Pivot();
    if (!done) return kScriptFault;
    std::vector<kt_long> keys;
    for (const NamedColumn& key : group_keys_) keys.push_back(key.col);
    view_.SetGroupKeys(std::move(keys));
    if (!SortResult() || !ChooseColumns()) return kCommandFault;
    NameTotal();
    return kFine;
  }

  // What is read of the rows; without the columns that are only shown.
  bool AddTo(Kt_SqlRequest& request) {
    if (!ReadNames()) return false;
    const bool is_rows = wanted_.pivot.empty() && !wanted_.totals_only;
    if (is_rows && group_keys_.empty() && totals_.empty()) AddLimit(request);
    if (is_rows && wanted_.columns.empty()) return true;
    std::vector<NamedColumn> shown;
    if (is_rows && !ReadDatasetList("--columns", wanted_.columns, shown)) return false;
    for (const Total& total : totals_) {
      request.totals.emplace_back(total.kind, dataset_.GetColID(total.col));
      shown.push_back({total.col, false});
    }
    for (const auto* const list : {&group_keys_, &pivot_rows_, &pivot_columns_, &sort_keys_}) {
      shown.insert(shown.end(), list->begin(), list->end());
    }
    for (const NamedColumn& column : shown)
      request.columns.push_back(dataset_.GetColID(column.col));
    const bool is_pivot = !wanted_.pivot.empty();
    if (is_rows) {
      request.totals.clear();
      return true;
    }
    for (const auto* const list : {is_pivot ? &pivot_rows_ : &group_keys_, &pivot_columns_}) {
      for (const NamedColumn& key : *list) request.keys.push_back(dataset_.GetColID(key.col));
    }
    return true;
  }

 private:
  struct Total {
    kt_long col;
    Kt_Aggregate kind;
    kt_long count_col = -1;  // of an average that comes as a sum: how many values that has
  };

  void AddLimit(Kt_SqlRequest& request) const {
    request.limit = wanted_.first_rows;
    request.counts_rows = wanted_.counts_rows;
    for (const NamedColumn& key : sort_keys_) {
      request.order.push_back({dataset_.GetColID(key.col), key.descending});
    }
  }

  void TakeGroups() {
    if (groups_ == nullptr) return;
    for (std::size_t at = 0; at < totals_.size(); ++at) {
      totals_[at].kind = groups_->kinds[at];
      const Kt_WString& count = groups_->value_count_ids[at];
      if (!count.IsEmpty()) totals_[at].count_col = dataset_.GetColIndex(count);
    }
    view_.SetRowCounts(dataset_.GetColIndex(groups_->row_count_id));
  }

  // How totals of rows are merged when the dataset holds those of groups.
  Kt_Aggregate MergedBy(Kt_Aggregate kind) const {
    const bool adds = kind == Kt_Aggregate::kCount || kind == Kt_Aggregate::kAvg;
    return groups_ != nullptr && adds ? Kt_Aggregate::kSum : kind;
  }

  // ---- Reading the options --------------------------------------------------------------------

  bool Complain(const std::string& what) {
    report_.Tell(Diagnostic::Complaint("kt show", what));
    return false;
  }

  bool Fail(const std::string& what) {
    report_.Tell(Diagnostic::Of("kt show", Diagnostic::Error(what)));
    return false;
  }

  // The columns of a list; `find` gives the number of a name or -1.
  template <class Find>
  bool ReadList(const char* option, std::string_view list, const std::vector<Kt_WString>& names,
                Find find, std::vector<NamedColumn>& columns) {
    for (const Kt_WString& item : Split(list, u",")) {
      if (item.IsEmpty()) continue;
      const Kt_SortItem read = Kt_SortItem::Read(item, find);
      if (read.col < 0) {
        return Complain(fmt::format("{}: there is no column '{}'{}", option, read.name.ToUtf8(),
                                    KnownColumns(read.name, names)));
      }
      columns.push_back({read.col, read.is_descending});
    }
    return true;
  }

  bool ReadDatasetList(const char* option, std::string_view list,
                       std::vector<NamedColumn>& columns) {
    return ReadList(
        option, list, ColumnNames(dataset_),
        [this](const Kt_WString& name) { return FindListedColumn(dataset_, name); }, columns);
  }

  bool SortsResult() const { return wanted_.totals_only || !wanted_.pivot.empty(); }

  bool ReadNames() {
    if (!ReadDatasetList("--group", wanted_.group, group_keys_)) return false;
    if (wanted_.totals_only && group_keys_.empty()) return Complain("--totals-only needs --group");
    return ReadTotals() && ReadPivot() &&
           (SortsResult() || ReadDatasetList("--sort", wanted_.sort, sort_keys_));
  }

  bool ReadTotals() {
    for (const auto& [kind, list] : wanted_.totals) {
      const std::string option = "--" + KindName(kind);
      std::vector<NamedColumn> columns;
      if (!ReadDatasetList(option.c_str(), list, columns)) return false;
      for (const NamedColumn& column : columns) {
        if (!AddTotal(option, {column.col, kind})) return false;
      }
    }
    return true;
  }

  bool AddTotal(const std::string& option, Total total) {
    const std::string name = dataset_.GetColID(total.col).ToUtf8();
    if (Holds(group_keys_, total.col)) {
      return Complain(fmt::format("{}: '{}' is a key of --group", option, name));
    }
    if (!CanAdd(option, total)) return false;
    for (const Total& other : totals_) {
      if (other.col != total.col) continue;
      return Complain(
          fmt::format("{}: '{}' has a total already, {}", option, name, KindName(other.kind)));
    }
    totals_.push_back(total);
    return true;
  }

  // The sum of texts is that of the numbers they begin with, which is never what was meant.
  // Cells that are not null.
  kt_long CountOf(kt_long col) const {
    Kt_Variant count;
    dataset_.GetAggregate(Kt_Aggregate::kCount, col, 0, dataset_.GetRowCount(), count);
    return count.ToInteger();
  }

  bool CanAdd(const std::string& option, const Total& total) {
    const bool adds = total.kind == Kt_Aggregate::kSum || total.kind == Kt_Aggregate::kAvg;
    if (!adds || dataset_.GetColType(total.col) != Kt_ColumnType::kString ||
        CountOf(total.col) == 0) {
      return true;
    }
    const std::string name = dataset_.GetColID(total.col).ToUtf8();
    return Complain(fmt::format(
        "{}: column '{}' holds texts, which have no {}; --types {}:double would read numbers",
        option, name, KindName(total.kind), name));
  }

  static bool Holds(const std::vector<NamedColumn>& columns, kt_long col) {
    return std::any_of(columns.begin(), columns.end(),
                       [col](const NamedColumn& column) { return column.col == col; });
  }

  // A ":d" of a list belongs to the key before it, unless there is a column of that name.
  bool IsDirection(const Kt_WString& part) const {
    const std::u16string_view head = part.View().substr(0, part.View().find(u','));
    const Kt_WString name(head);
    return (name.EqualsNoCase(u"d") || name.EqualsNoCase(u"a")) && dataset_.GetColIndex(head) < 0;
  }

  // "ROWS:COLUMNS:VALUES[:KIND]".
  bool ReadPivot() {
    if (wanted_.pivot.empty()) return true;
    if (!totals_.empty() || wanted_.totals_only) {
      return Complain("--pivot names its values and their total itself: no --sum and the like");
    }
    std::vector<std::string> parts;
    for (const Kt_WString& part : Split(wanted_.pivot, u":")) {
      if (!parts.empty() && IsDirection(part)) {
        parts.back() += ":" + part.ToUtf8();
      } else {
        parts.push_back(part.ToUtf8());
      }
    }
    if (parts.size() < 3 || parts.size() > 4) {
      return Complain("--pivot: expected ROWS:COLUMNS:VALUES or ROWS:COLUMNS:VALUES:KIND");
    }
    std::vector<NamedColumn> values;
    if (!ReadDatasetList("--pivot", parts[0], pivot_rows_) ||
        !ReadDatasetList("--pivot", parts[1], pivot_columns_) ||
        !ReadDatasetList("--pivot", parts[2], values)) {
      return false;
    }
    if (pivot_rows_.empty() || pivot_columns_.empty() || values.empty()) {
      return Complain("--pivot: rows, columns and values need a column each");
    }
    return ReadPivotKind(parts.size() == 4 ? parts[3] : std::string(), values) && CheckPivotGroup();
  }

  bool ReadPivotKind(const std::string& name, const std::vector<NamedColumn>& values) {
    const Kt_Aggregate stated = kt_findaggregateW(Kt_WString::FromUtf8(name));
    if (stated == Kt_Aggregate::kNone && !name.empty()) {
      return Complain(fmt::format("--pivot: '{}' is none of sum, avg, max, min, count", name));
    }
    for (const NamedColumn& value : values) {
      if (Holds(pivot_rows_, value.col) || Holds(pivot_columns_, value.col)) {
        return Complain(fmt::format("--pivot: '{}' cannot be a key and a value",
                                    dataset_.GetColID(value.col).ToUtf8()));
      }
      const bool is_number = IsNumberType(dataset_.GetColType(value.col));
      const Kt_Aggregate usual = is_number ? Kt_Aggregate::kSum : Kt_Aggregate::kCount;
      const Total total{value.col, name.empty() ? usual : stated};
      if (!CanAdd("--pivot", total)) return false;
      totals_.push_back(total);
    }
    return true;
  }

  bool CheckPivotGroup() {
    for (const NamedColumn& key : group_keys_) {
      if (Holds(pivot_rows_, key.col)) continue;
      return Complain(fmt::format("--group: in a cross table only its row keys, not '{}'",
                                  dataset_.GetColID(key.col).ToUtf8()));
    }
    return true;
  }

  // ---- Methods of the dataset -----------------------------------------------------------------

  bool Call(const char16_t* method, const Kt_VariantList& args = {}) {
    Kt_Variant result;
    const kt_long code = wrapper_.CallMethod(method, &args, result);
    const bool refused = result.IsLong() && result.AsLong() < 0;
    if (code == 0 && !refused && !errors_.Text()) return true;
    return Fail(fmt::format("{}: {}", Kt_WString(method).ToUtf8(),
                            errors_.Text().value_or(code != 0 ? Cause() : "it is refused")));
  }

  bool AddKey(Kt_KeyType type, kt_long col, bool descending = false,
              Kt_Aggregate total = Kt_Aggregate::kNone) {
    return Call(u"ModifyKeyStat",
                {kAddKey, static_cast<kt_long>(type), dataset_.GetColID(col),
                 static_cast<kt_long>(descending ? 0 : 1), static_cast<kt_long>(total)});
  }

  bool AddKeys(Kt_KeyType type, const std::vector<NamedColumn>& keys) {
    return std::all_of(keys.begin(), keys.end(), [&](const NamedColumn& key) {
      return AddKey(type, key.col, key.descending);
    });
  }

  bool AddValueKeys() {
    constexpr auto kValue = Kt_KeyType::kPivotValue;
    const bool has_rows =
        groups_ == nullptr || !wanted_.pivot.empty() ||
        AddKey(kValue, dataset_.GetColIndex(groups_->row_count_id), false, Kt_Aggregate::kSum);
    return has_rows && std::all_of(totals_.begin(), totals_.end(), [this](const Total& total) {
             return AddKey(kValue, total.col, false, MergedBy(total.kind)) &&
                    (total.count_col < 0 ||
                     AddKey(kValue, total.count_col, false, Kt_Aggregate::kSum));
           });
  }

  // ---- Filter ---------------------------------------------------------------------------------

  bool Filter() {
    if (wanted_.filter.empty()) return true;
    Kt_WString text = Kt_WString::FromUtf8(wanted_.filter);
    text.Trim();
    Kt_Expr expression;
    if (!ParseExpression(text, expression, report_)) return false;
    // The first row tells what is wrong with names, before all rows do.
    if (dataset_.GetRowCount() > 0) {
      Kt_DatasetCtx context(&errors_, nullptr, &dataset_, nullptr, nullptr);
      context.SetRowPosition(0, 0, 0, 0);
      Kt_Variant ignored;
      const kt_long code = expression.ExecExpr(&context, ignored);
      if (code != 0 && !errors_.Text()) return FilterFailure(text);
    }
    if (errors_.Text()) return FilterError(*errors_.Text(), text);
    Kt_Variant result;
    const Kt_VariantList args = {text};
    const kt_long code = wrapper_.CallMethod(u"Filter", &args, result);
    if (errors_.Text()) return FilterError(*errors_.Text(), text);
    return code == 0 || FilterFailure(text);
  }

  // Why a call failed that reported nothing.
  static std::string Cause() { return Kt_RunError::Last().text.ToUtf8(); }

  bool FilterFailure(const Kt_WString& text) {
    const Kt_RunError& error = Kt_RunError::Last();
    const Part part = FindPart(text, error);
    report_.AtPlace(kExpressionName, text, part.offset, std::max<std::size_t>(part.length, 1),
                    FromRunError(error));
    return false;
  }

  // Points at the name when it is no column, which is the usual fault.
  bool FilterError(const std::string& what, const Kt_WString& text) {
    const std::u16string_view view = text;
    int start = 0;
    int length = 0;
    for (kt_long at = 0; at < text.GetLength();) {
      const int next =
          Kt_ExprUtil::FindToken(text.GetText() + at, text.GetLength() - at, start, length);
      if (next < 1 || length < 1) break;
      const auto offset = static_cast<std::size_t>(at) + static_cast<std::size_t>(start);
      const Kt_WString token(view.substr(offset, static_cast<std::size_t>(length)));
      at += next;
      if (what.find("'" + token.ToUtf8() + "'") == std::string::npos) continue;
      const std::string known = KnownColumns(token, ColumnNames(dataset_));
      report_.AtPlace(kExpressionName, text, offset, token.View().size(),
                      Diagnostic::Error(what + known));
      return false;
    }
    const Part part = FindPart(text, errors_.Error());
    if (part.length == 0) {
      report_.Tell(Diagnostic::Error(what, kExpressionName));
    } else {
      report_.AtPlace(kExpressionName, text, part.offset, part.length,
                      FromRunError(errors_.Error()));
    }
    return false;
  }

  // ---- Groups ---------------------------------------------------------------------------------

  static std::string SortText(const Kt_Dataset& dataset, const std::vector<NamedColumn>& keys) {
    std::string list;
    for (const NamedColumn& key : keys) {
      list += (list.empty() ? "" : ",") + dataset.GetColID(key.col).ToUtf8() +
              (key.descending ? ":d" : ":a");
    }
    return list;
  }

  bool Sort(const std::vector<NamedColumn>& keys, bool as_groups) {
    if (keys.empty()) return true;
    const Kt_WString list = Kt_WString::FromUtf8(SortText(dataset_, keys));
    return Call(u"Sort", {list, kt_long{1}, kt_long{0}, static_cast<kt_long>(as_groups ? 1 : 0)});
  }

  bool Group() {
    // The rows of a group stay in the order of --sort, and so do the groups when it has their keys.
    for (NamedColumn& key : group_keys_) {
      for (const NamedColumn& sort : sort_keys_) {
        if (sort.col == key.col) key.descending = sort.descending;
      }
    }
    if (!Sort(sort_keys_, false) || !Sort(group_keys_, true)) return false;
    if (!group_keys_.empty() && (!AddValueKeys() || !Call(u"RecalcGroup"))) return false;
    if (wanted_.totals_only) {
      ShowTotals();
    } else {
      view_.SetMixesLevels(!group_keys_.empty());
      SetTotalKinds();
    }
    if (!totals_.empty() || wanted_.totals_only) AddGrandTotal();
    SetLabels(group_keys_);
    return true;
  }

  void SetTotalKinds() {
    std::vector<Column> columns = view_.Columns();
    for (const Total& total : totals_) {
      columns[static_cast<std::size_t>(total.col)].total = total.kind;
    }
    view_.SetColumns(std::move(columns));
  }

  Kt_WString TotalHeading(const Total& total) const {
    return Kt_WString::FromUtf8(
        fmt::format("{}({})", KindName(total.kind), dataset_.GetColID(total.col).ToUtf8()));
  }

  // The keys, how many records there are, and the totals.
  void ShowTotals() {
    std::vector<Column> columns;
    for (const NamedColumn& key : group_keys_) columns.push_back(PlainColumn(key.col));
    columns.push_back(
        {u"rows", Kt_CliView::kRowCountCol, -1, Kt_ColumnType::kLong, Kt_Aggregate::kNone});
    for (const Total& total : totals_) {
      columns.push_back({TotalHeading(total), total.col, -1,
                         TotalType(total.kind, dataset_.GetColType(total.col)), total.kind,
                         total.count_col});
    }
    view_.SetColumns(std::move(columns));
    // Sorted by their totals, outer groups would stand apart from the inner ones they are made of.
    const bool inner_only = !wanted_.sort.empty();
    view_.ShowSubtotals(inner_only ? 1 : static_cast<kt_long>(group_keys_.size()));
    view_.SetMixesLevels(!inner_only && group_keys_.size() > 1);
  }

  Column PlainColumn(kt_long col) const {
    return {dataset_.GetColID(col), col, -1, dataset_.GetColType(col), Kt_Aggregate::kNone};
  }

  void SetLabels(const std::vector<NamedColumn>& keys) {
    std::vector<std::size_t> labels;
    for (const NamedColumn& key : keys) {
      const auto& columns = view_.Columns();
      const auto found = std::find_if(columns.begin(), columns.end(), [&key](const Column& column) {
        return column.col == key.col;
      });
      if (found != columns.end()) {
        labels.push_back(static_cast<std::size_t>(found - columns.begin()));
      }
    }
    view_.SetLabelColumns(std::move(labels));
  }

  void AddGrandTotal() {
    std::vector<Kt_Variant> values;
    const kt_long rows = dataset_.GetRowCount();
    for (const Column& column : view_.Columns()) {
      Kt_Variant value;
      if (column.col == Kt_CliView::kRowCountCol) value = view_.CountRows(0, rows);
      if (column.total != Kt_Aggregate::kNone) value = TotalOf(column, rows);
      values.push_back(std::move(value));
    }
    view_.SetTotal(std::move(values));
  }

  Kt_Variant TotalOf(const Column& column, kt_long rows) const {
    Kt_Variant value;
    dataset_.GetAggregate(MergedBy(column.total), column.col, 0, rows, value);
    if (column.count_col < 0) return value;
    Kt_Variant count;
    dataset_.GetAggregate(Kt_Aggregate::kSum, column.count_col, 0, rows, count);
    return Kt_CliView::Average(value, count);
  }

  // The first column says what the last line is, if it has no total of its own.
  void NameTotal() {
    std::vector<Kt_Variant> values = view_.Total();
    const bool has_room =
        !values.empty() && values[0].IsEmpty() && view_.Columns()[0].total == Kt_Aggregate::kNone;
    if (!has_room) return;
    values[0] = u"total";
    view_.SetTotal(std::move(values));
  }

  // ---- Cross tables ---------------------------------------------------------------------------

  bool Pivot() {
    if (!Call(u"ModifyKeyStat", {kClearKeys, kt_long{0}, Kt_WString()}) ||
        !AddKeys(Kt_KeyType::kPivotRow, pivot_rows_) ||
        !AddKeys(Kt_KeyType::kPivotColumn, pivot_columns_) || !AddValueKeys() ||
        !AddKeys(Kt_KeyType::kGroup, group_keys_) || !Call(u"RecalcPivot")) {
      return false;
    }
    const std::size_t width =
        pivot_rows_.size() +
        totals_.size() * (static_cast<std::size_t>(dataset_.GetPivotColCount()) + 1);
    if (width > kMaxCrossColumns) {
      return Fail(fmt::format("--pivot: the cross table would have {} columns (at most {})", width,
                              kMaxCrossColumns));
    }
    std::vector<Column> columns;
    for (const NamedColumn& key : pivot_rows_) columns.push_back(PlainColumn(key.col));
    for (kt_long position = 0; position < dataset_.GetPivotColCount(); ++position) {
      AddPosition(position, columns);
    }
    AddAcross(columns);
    view_.SetColumns(std::move(columns));
    view_.SetMixesLevels(!group_keys_.empty());
    SetLabels(pivot_rows_);
    AddPivotTotal();
    return true;
  }

  void AddPosition(kt_long position, std::vector<Column>& columns) const {
    for (const Total& total : totals_) {
      Kt_WString heading = dataset_.GetPivotColText(position);
      if (dataset_.GetPivotColLevel(position) > 0) heading += u" Σ";
      if (totals_.size() > 1) heading += Kt_WString(u" ") + dataset_.GetColID(total.col);
      columns.push_back({heading, total.col, position,
                         TotalType(total.kind, dataset_.GetColType(total.col)), total.kind,
                         total.count_col});
    }
  }

  // An average of averages would be none of the records.
  static bool CanTotal(Kt_Aggregate kind) { return kind != Kt_Aggregate::kAvg; }

  void AddAcross(std::vector<Column>& columns) const {
    if (dataset_.GetPivotTableColCount() < 2) return;
    for (const Total& total : totals_) {
      if (!CanTotal(total.kind)) continue;
      Kt_WString heading(u"total");
      if (totals_.size() > 1) heading += Kt_WString(u" ") + dataset_.GetColID(total.col);
      columns.push_back({heading, total.col, Kt_CliView::kAcross,
                         TotalType(total.kind, dataset_.GetColType(total.col)), total.kind});
    }
  }

  void AddPivotTotal() {
    std::vector<Kt_Variant> values(view_.Columns().size());
    bool any = false;
    for (std::size_t at = 0; at < values.size(); ++at) {
      const Kt_Aggregate kind = view_.Columns()[at].total;
      if (kind == Kt_Aggregate::kNone || !CanTotal(kind)) continue;
      Kt_CellFold fold(kind);
      for (kt_long row = 0; row < view_.RowCount() && GoesOn(); ++row) {
        if (view_.Level(row) == 0) fold.Merge(view_.Cell(row, at));
      }
      if (fold.HasRow()) values[at] = fold.Finish();
      any = true;
    }
    if (!any) return;
    view_.SetTotal(std::move(values));
  }

  // ---- The result -----------------------------------------------------------------------------

  std::vector<Kt_WString> Headings() const {
    std::vector<Kt_WString> names;
    for (const Column& column : view_.Columns()) names.push_back(column.heading);
    return names;
  }

  bool ReadViewList(const char* option, std::string_view list, std::vector<NamedColumn>& columns) {
    return ReadList(
        option, list, Headings(),
        [this](const Kt_WString& name) { return static_cast<kt_long>(view_.FindColumn(name)); },
        columns);
  }

  bool SortResult() {
    if (wanted_.sort.empty() || !SortsResult()) return true;
    if (view_.MixesLevels()) {
      return Complain("--sort: a cross table with subtotals keeps the order of its keys");
    }
    std::vector<NamedColumn> named;
    if (!ReadViewList("--sort", wanted_.sort, named)) return false;
    std::vector<Kt_CliView::SortKey> keys;
    keys.reserve(named.size());
    for (const NamedColumn& key : named) {
      keys.push_back({static_cast<std::size_t>(key.col), key.descending});
    }
    view_.SortRows(keys);
    return true;
  }

  bool ChooseColumns() {
    if (wanted_.columns.empty()) return true;
    std::vector<NamedColumn> named;
    if (!ReadViewList("--columns", wanted_.columns, named)) return false;
    std::vector<Column> columns;
    std::vector<Kt_Variant> total;
    for (const NamedColumn& chosen : named) {
      const auto at = static_cast<std::size_t>(chosen.col);
      columns.push_back(view_.Columns()[at]);
      if (!view_.Total().empty()) total.push_back(view_.Total()[at]);
    }
    view_.SetColumns(std::move(columns));
    view_.SetTotal(std::move(total));
    SetLabels(wanted_.pivot.empty() ? group_keys_ : pivot_rows_);
    return true;
  }

  const Arrangement& wanted_;
  Kt_Dataset& dataset_;
  Kt_CliView& view_;
  Kt_CliReport& report_;
  const PartialGroups* groups_;
  FirstError errors_;
  Kt_ExprDataset wrapper_;
  std::vector<NamedColumn> sort_keys_;
  std::vector<NamedColumn> group_keys_;
  std::vector<NamedColumn> pivot_rows_;
  std::vector<NamedColumn> pivot_columns_;
  std::vector<Total> totals_;
};

}  // namespace

int Arrange(const Arrangement& wanted, Kt_Dataset& dataset, Kt_CliView& view, Kt_CliReport& report,
            const PartialGroups* groups) {
  return Arranger(wanted, dataset, view, report, groups).Run();
}

bool AddedColumns(const Arrangement& wanted, std::vector<Kt_SqlRequest::Added>& added,
                  std::string& reason) {
  for (const std::string& text : wanted.added) {
    const std::size_t equals = text.find('=');
    const std::size_t colon = text.substr(0, equals).rfind(':');
    Kt_SqlRequest::Added column;
    column.id = Kt_WString::FromUtf8(text.substr(0, std::min(colon, equals)));
    column.id.Trim();
    if (equals != text.npos) column.expression = Kt_WString::FromUtf8(text.substr(equals + 1));
    column.expression.Trim();
    Kt_WString type = colon == text.npos
                          ? Kt_WString()
                          : Kt_WString::FromUtf8(text.substr(colon + 1, equals - colon - 1));
    type.Trim();
    if (column.id.IsEmpty() || column.expression.IsEmpty()) {
      reason = fmt::format("expected NAME=EXPR or NAME:TYPE=EXPR in place of '{}'", text);
    } else if (!type.IsEmpty() && !kt_findcolumntypeW(type, column.type)) {
      reason = fmt::format("'{}' is no type of a column", type.ToUtf8());
    } else {
      added.push_back(std::move(column));
      continue;
    }
    return false;
  }
  return true;
}

bool RequestOf(const Arrangement& wanted, Kt_Dataset& columns, Kt_SqlRequest& request) {
  std::ostream nowhere(nullptr);
  Kt_CliReport silent(Streams{nowhere, nowhere});
  Kt_CliView view(columns);
  request = {};
  request.filter = Kt_WString::FromUtf8(wanted.filter);
  request.filter.Trim();
  Kt_Expr filter;
  if (!request.filter.IsEmpty() && !ParseExpression(request.filter, filter, silent)) return false;
  std::string ignored;
  if (!AddedColumns(wanted, request.added, ignored)) return false;
  for (const Kt_SqlRequest::Added& column : request.added) {
    if (columns.AddColumn(column.id, column.type) < 0) return false;
  }
  return Arranger(wanted, columns, view, silent, nullptr).AddTo(request);
}

std::string KnownColumns(std::u16string_view wanted, const std::vector<Kt_WString>& names) {
  constexpr std::size_t kListed = 30;
  std::string out;
  const Kt_WString* const nearest = kt_nearestnameW(wanted, names);
  if (nearest != nullptr) out += fmt::format("; did you mean '{}'?", nearest->ToUtf8());
  out += nearest != nullptr ? " Columns: " : "; columns: ";
  for (std::size_t at = 0; at < std::min(names.size(), kListed); ++at) {
    out += (at == 0 ? "" : ", ") + names[at].ToUtf8();
  }
  return out + (names.size() > kListed ? ", …" : "");
}

}  // namespace kt::cli
