// SPDX-License-Identifier: MIT
#include "cli/data/Kt_Datasets.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "classlib/base/Kt_StopCodes.h"
#include "cli/Kt_Host.h"
#include "dataset/Kt_ExprDataset.h"

namespace {

// A dataset as scripts of kt see it. Members that fail only give a code; a person at the terminal
// wants to know which one failed and where. So all calls come through here, and a code that nobody
// has reported is reported with its place.
class CliWrapper : public Kt_ExprDataset {
 public:
  CliWrapper(Kt_Dataset* dataset, Kt_CliHost& host) : Kt_ExprDataset(dataset, &host), host_(host) {}

  int GetMethodInfo(const Kt_WString& name, Kt_Getter& call) override;
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                     Kt_Variant& result) override {
    const Kt_Getter method = GetDSetMethodFunc(name.GetText());
    if (method != nullptr) return CallReported(method, name, args, result);
    return AfterMember(Kt_ExprDataset::CallMethod(name, args, result));
  }
  // The method in a row of the table, as evaluations bind it.
  template <std::size_t kRow>
  kt_long CallRow(const Kt_VariantList* args, Kt_Variant& result) {
    const _EXPR_OBJMETHOD_INFO& row = GetDSetMethodMap()[kRow];
    return CallReported(row.method, row.name, args, result);
  }
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      Kt_Variant& result) override {
    return AfterMember(Kt_ExprDataset::GetProperty(name, args, result));
  }
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      const Kt_Variant& value) override {
    return AfterMember(Kt_ExprDataset::SetProperty(name, args, value));
  }
  // Those are about failures.
  bool AnswersAsDataset() const override { return true; }

 private:
  kt_long CallReported(Kt_Getter method, const Kt_WString& name, const Kt_VariantList* args,
                       Kt_Variant& result) {
    Kt_CliHost& host = host_;  // the script may end the wrapper from inside; the host outlives it
    const kt_long errors = host.GetErrorCount();
    const Kt_WString id = GetID();
    const std::uint64_t failures = Kt_RunError::Last().serial;
    const kt_long code = (this->*method)(args, result);
    if (code == kOk || host.GetErrorCount() != errors || IsStopping(code)) return code;
    if (Kt_RunError::Last().serial == failures || Kt_RunError::Last().code != code) {
      const char* const why = code == kErrBadArgument ? "too few arguments" : "it failed";
      (void)kt::NoteFailure(code,
                            Kt_WString::FromUtf8(fmt::format("{}() of dataset '{}': {}",
                                                             name.ToUtf8(), id.ToUtf8(), why)),
                            name);
    }
    host.Tell(Kt_RunError(Kt_RunError::Last()));
    return code;
  }

  // The engine has noted why.
  kt_long AfterMember(kt_long code) {
    if (code != kOk && GetDataset() != nullptr) host_.Tell(Kt_RunError(Kt_RunError::Last()));
    return code;
  }

  // A run that has to stop says why itself.
  static bool IsStopping(kt_long code) {
    return code == kAbort || (kt::IsStop(code) && code != kErrNoMemory);
  }

  Kt_CliHost& host_;
};

template <std::size_t... kRows>
constexpr std::array<Kt_Getter, sizeof...(kRows)> MakeRowCalls(std::index_sequence<kRows...>) {
  return {kHandler<&CliWrapper::CallRow<kRows>>...};
}
// As many as the table has rows; one that it gains is called by name until this follows.
constexpr std::size_t kMethodCount = 137;
constexpr auto kRowCalls = MakeRowCalls(std::make_index_sequence<kMethodCount>());

int CliWrapper::GetMethodInfo(const Kt_WString& name, Kt_Getter& call) {
  const int row = FindObjMethodFuncIdx(GetDSetMethodMap(), GetDSetMethodCount(), name.GetText());
  if (row < 0 || static_cast<std::size_t>(row) >= kMethodCount) return 0;
  call = kRowCalls[static_cast<std::size_t>(row)];
  return 1;
}

// The items of a list with commas between, without blanks around them.
std::vector<Kt_WString> SplitList(const Kt_WString& list) {
  std::vector<Kt_WString> items;
  for (kt_long start = 0; start <= list.GetLength();) {
    kt_long end = list.Find(u",", start);
    if (end < 0) end = list.GetLength();
    items.push_back(list.Mid(start, end - start));
    items.back().Trim();
    start = end + 1;
  }
  return items;
}

std::u16string Folded(const Kt_WString& name) {
  std::u16string folded(name.View());
  for (char16_t& unit : folded) unit = kt_foldcaseW(unit);
  return folded;
}

bool AddColumn(Kt_Dataset& dataset, const Kt_WString& item, std::string& reason) {
  const kt_long colon = item.Find(u":");
  Kt_WString id = colon < 0 ? item : item.Mid(0, colon);
  Kt_WString type = colon < 0 ? Kt_WString() : item.Mid(colon + 1, item.GetLength());
  id.Trim();
  type.Trim();
  Kt_ColumnType known = Kt_ColumnType::kString;
  if (!type.IsEmpty() && !kt_findcolumntypeW(type, known)) {
    reason = fmt::format("'{}' is no type of a column", type.ToUtf8());
    return false;
  }
  if (dataset.GetColIndex(id) >= 0 || dataset.AddColumn(id, known) >= 0) return true;
  reason = id.IsEmpty() ? "a column without a name" : "too many columns";
  return false;
}

}  // namespace

struct Kt_CliDatasets::Entry {
  Entry(const Kt_WString& id, std::unique_ptr<Kt_Dataset> data, Kt_CliHost& host)
      : name(id), dataset(std::move(data)), wrapper(dataset.get(), host) {}

  const Kt_WString name;
  const std::unique_ptr<Kt_Dataset> dataset;
  CliWrapper wrapper;
  bool is_view = false;
};

Kt_CliDatasets::Kt_CliDatasets(Kt_CliHost& host) : host_(host) {}

// Views go before what they show.
Kt_CliDatasets::~Kt_CliDatasets() {
  while (!entries_.empty()) entries_.pop_back();
}

Kt_ExprDataset* Kt_CliDatasets::Find(const Kt_WString& name) const {
  Entry* const entry = FindEntry(name);
  return entry != nullptr ? &entry->wrapper : nullptr;
}

Kt_CliDatasets::Entry* Kt_CliDatasets::FindEntry(const Kt_WString& name) const {
  const auto found = by_name_.find(Folded(name));
  return found != by_name_.end() ? entries_[found->second].get() : nullptr;
}

Kt_ExprDataset* Kt_CliDatasets::GetDefault() const {
  return entries_.empty() ? nullptr : &entries_.front()->wrapper;
}

std::vector<Kt_WString> Kt_CliDatasets::GetNames() const {
  std::vector<Kt_WString> names;
  for (const auto& entry : entries_) names.push_back(entry->name);
  return names;
}

Kt_ExprDataset& Kt_CliDatasets::Add(const Kt_WString& name) {
  return Add(std::make_unique<Kt_Dataset>(name));
}

Kt_ExprDataset& Kt_CliDatasets::Add(std::unique_ptr<Kt_Dataset> dataset) {
  const Kt_WString name = dataset->GetId();
  by_name_.emplace(Folded(name), entries_.size());
  entries_.push_back(std::make_unique<Entry>(name, std::move(dataset), host_));
  Kt_ExprDataset& wrapper = entries_.back()->wrapper;
  wrapper.AnnounceRows(Kt_LoadReason::kLoaded);
  return wrapper;
}

bool Kt_CliDatasets::AddColumns(Kt_Dataset& dataset, const Kt_WString& columns,
                                std::string& reason) {
  for (const Kt_WString& item : SplitList(columns)) {
    if (!AddColumn(dataset, item, reason)) return false;
  }
  return true;
}

bool Kt_CliDatasets::MakeView(const Kt_WString& name, Kt_ExprDataset& source,
                              const Kt_WString& filter, std::string& reason) {
  Entry* view = FindEntry(name);
  if (view != nullptr && !view->is_view) {
    reason = "there is a dataset of that name";
    return false;
  }
  if (view == nullptr) {
    Add(name);
    view = entries_.back().get();
    view->is_view = true;
  }
  if (source.GetDataset() == nullptr || view->dataset->SetSource(source.GetDataset()) < 0) {
    reason = "the views would show each other";
    return false;
  }
  view->wrapper.SetLogicalSource(&source);
  view->dataset->SetFilterStr(filter);
  const kt_long errors = host_.GetErrorCount();
  if (!filter.IsEmpty()) (void)view->wrapper.ExprFilter(filter, true);
  view->wrapper.AnnounceRows(Kt_LoadReason::kLoaded);
  reason.clear();
  return host_.GetErrorCount() == errors;
}
