// SPDX-License-Identifier: MIT
//
// The selection of a URL. What the database does not do is done by the methods that scripts call,
// over a dataset of its own, whose rows then go into the one that is asked for.
#include "connect/sql/Kt_SqlSelect.h"

#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_SortItem.h"
#include "classlib/text/Kt_WStrList.h"
#include "connect/detail/Kt_Guarded.h"
#include "connect/sql/Kt_SqlSteps.h"
#include "dataset/Kt_DatasetCtx.h"
#include "dataset/Kt_ExprDataset.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"

namespace {

// ---- The request ------------------------------------------------------------------------------

class RequestReader {
 public:
  RequestReader(const Kt_SqlTable& table, Kt_SqlRequest& request, std::string& error)
      : table_(table), request_(request), error_(error) {}

  bool Read(const Kt_DatabaseUrl& url) {
    request_.limit = url.limit;
    return ReadFilter(url.filter) && ReadColumns(url.columns) && ReadSort(url.sort);
  }

 private:
  bool ReadFilter(const std::string& text) {
    request_.filter = Kt_WString::FromUtf8(text);
    request_.filter.Trim();
    if (request_.filter.IsEmpty()) return true;
    const kt_long length = request_.filter.GetLength();
    kt_long offset = Kt_ExprUtil::TokensEnd(request_.filter.GetText(), length);
    int code = offset < length ? kExprSingleQuote : kOk;
    if (code == kOk) code = Kt_ExprUtil::IsValidExpr(request_.filter.GetText(), length, &offset);
    Kt_Expr expr;
    Kt_WString message = code == kOk ? Kt_WString() : Kt_WString(kt_exprtextW(code));
    if (code == kOk && expr.Parse(request_.filter, message) >= 0) return true;
    if (code == kOk) offset = std::max(expr.GetErrorOffset(), kt_long{0});
    error_ = "filter: " + message.ToUtf8() + " at character " + std::to_string(offset + 1);
    return false;
  }

  bool ReadColumns(const std::string& list) {
    return ForEachItem(list, [&](const Kt_WString& item) {
      const Kt_SqlColumn* const column = table_.Find(item);
      if (column == nullptr) return HasNo("columns", item);
      request_.columns.push_back(column->id);
      return true;
    });
  }

  // ":d" after a name is descending, unless a column is called so.
  bool ReadSort(const std::string& list) {
    return ForEachItem(list, [&](const Kt_WString& item) {
      const Kt_SqlColumn* column = nullptr;
      const Kt_SortItem read = Kt_SortItem::Read(item, [&](const Kt_WString& name) {
        column = table_.Find(name);
        return column != nullptr ? kt_long{0} : kt_long{-1};
      });
      if (column == nullptr) return HasNo("sort", item);
      request_.order.push_back({column->id, read.is_descending});
      return true;
    });
  }

  template <class Take>
  static bool ForEachItem(const std::string& list, Take take) {
    Kt_WStrList items;
    items.Parse(Kt_WString::FromUtf8(list), u",");
    for (kt_long at = 0; at < items.GetCount(); ++at) {
      Kt_WString item = items.GetItem(at);
      item.Trim();
      if (!item.IsEmpty() && !take(item)) return false;
    }
    return true;
  }

  bool HasNo(const char* part, const Kt_WString& item) {
    error_ = std::string(part) + ": there is no column '" + item.ToUtf8() + "'; columns: ";
    for (const Kt_SqlColumn& column : table_.Columns()) {
      error_ += (&column == table_.Columns().data() ? "" : ", ") + column.name;
    }
    return false;
  }

  const Kt_SqlTable& table_;
  Kt_SqlRequest& request_;
  std::string& error_;
};

// ---- What is left -----------------------------------------------------------------------------

// Keeps the first message of a filter; every row has it.
class FirstMessage : public Kt_ExprObject {
 public:
  FirstMessage() : Kt_ExprObject(nullptr) {}
  int IsSystemLogMode() override { return Kt_WorkMeter::CurrentStop() == 0 ? 1 : 0; }
  void OnSystemError(const Kt_Result& result) override { OnRunTimeError(result); }
  void OnRunTimeError(const Kt_Result& result) override {
    if (text.empty()) text = result.GetText().ToUtf8();
  }
  std::string text;
};

class Rest {
 public:
  Rest(Kt_Dataset& rows, const Kt_SqlRequest& request, const Kt_SqlAnswer& answer,
       std::string& error)
      : rows_(rows), request_(request), answer_(answer), error_(error) {}

  // The rows of the dataset that are wanted, in place of those of the target.
  kt_long Finish(Kt_Dataset& target) {
    if (!request_.filter.IsEmpty() && !answer_.is_filtered && !Filter()) return kFailed;
    if (!request_.order.empty() && !answer_.is_limited) rows_.Sort(SortText().View(), true);
    std::vector<kt::ColumnData> columns;
    for (kt_long col = 0; col < rows_.GetColCount(); ++col) {
      const Kt_WString id = rows_.GetColID(col);
      const auto is_it = [&](const Kt_WString& wanted) { return wanted.EqualsNoCase(id); };
      const bool is_wanted =
          request_.columns.empty() || std::ranges::any_of(request_.columns, is_it);
      if (is_wanted) columns.push_back({id, FirstCells(col)});
    }
    return kt::LoadColumns(target, columns, true);
  }

 private:
  bool Filter() {
    FirstMessage messages;
    // The first row tells what is wrong with names, before all rows do.
    if (rows_.GetRowCount() > 0) {
      Kt_DatasetCtx context(&messages, nullptr, &rows_, nullptr, nullptr);
      context.SetRowPosition(0, 0, 0, 0);
      Kt_Expr expr(request_.filter.GetText());
      Kt_Variant ignored;
      if (expr.ExecExpr(&context, ignored) != kOk) return Fail(messages);
    }
    if (!messages.text.empty()) return Fail(messages);
    Kt_ExprDataset wrapper(&rows_, &messages);
    Kt_Variant result;
    const Kt_VariantList args = {request_.filter};
    const kt_long code = wrapper.CallMethod(u"Filter", &args, result);
    return (code == kOk && messages.text.empty()) || Fail(messages);
  }

  bool Fail(const FirstMessage& messages) {
    error_ =
        "filter: " + (messages.text.empty() ? Kt_RunError::Last().text.ToUtf8() : messages.text);
    return false;
  }

  Kt_WString SortText() const {
    std::string list;
    for (const Kt_SqlRequest::SortKey& key : request_.order) {
      list += (list.empty() ? "" : ",") + key.id.ToUtf8() + (key.descending ? ":d" : ":a");
    }
    return Kt_WString::FromUtf8(list);
  }

  // As far as the limit goes.
  std::shared_ptr<Kt_Column> FirstCells(kt_long col) const {
    const kt_long shown = rows_.GetRowCount();
    const kt_long count = request_.limit > 0 ? std::min(shown, request_.limit) : shown;
    auto cells = std::make_shared<Kt_Column>(rows_.GetColType(col));
    cells->Reserve(static_cast<std::size_t>(count));
    kt::detail::RoundCharge charge;
    for (kt_long row = 0; row < count; ++row) {
      charge.AddOrLeave(Kt_WorkMeter::kUnitsPerCell);
      cells->Append(rows_.ReadColumn(row, col));
    }
    return cells;
  }

  Kt_Dataset& rows_;
  const Kt_SqlRequest& request_;
  const Kt_SqlAnswer& answer_;
  std::string& error_;
};

kt_long Select(const Kt_DatabaseUrl& url, const Kt_Database::Options& options, Kt_Dataset& dataset,
               std::vector<std::string>* steps, std::string& error) {
  const std::unique_ptr<Kt_Database> database = Kt_Database::Open(url, options, error);
  if (database == nullptr) return kFailed;
  Kt_SqlTable table;
  if (!table.Describe(*database, url.kind, url.table, error)) return kFailed;
  Kt_SqlRequest request;
  if (!RequestReader(table, request, error).Read(url)) return kFailed;
  Kt_SqlAnswer answer;
  Kt_Dataset unfinished;
  const kt_long rows = Kt_SqlLoad(*database, table, request, dataset, answer, error, &unfinished);
  if (rows < 0) return rows;
  if (steps != nullptr) *steps = Kt_SqlSteps(table, request, answer, rows);
  return answer.is_finished ? rows : Rest(unfinished, request, answer, error).Finish(dataset);
}

}  // namespace

kt_long kt::LoadSelected(const Kt_DatabaseUrl& url, const Kt_Database::Options& options,
                         Kt_Dataset& dataset, std::vector<std::string>* steps, std::string& error) {
  if (!url.HasSelection()) return LoadDatabase(url, options, dataset, error);
  return kt::detail::Guarded(error, [&] { return Select(url, options, dataset, steps, error); });
}
