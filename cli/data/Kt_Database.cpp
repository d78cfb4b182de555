// SPDX-License-Identifier: MIT
#include "cli/data/Kt_Database.h"

#include <fmt/format.h>

#include <filesystem>

#include "classlib/base/Kt_Path.h"
#include "connect/Kt_Changes.h"
#include "connect/Kt_Database.h"
#include "connect/sql/Kt_SqlSelect.h"

namespace kt::cli {
namespace {

constexpr std::size_t kMaxShownConflicts = 10;

std::vector<Diagnostic> SaveFault(const std::string& url, const Kt_Dataset& dataset,
                                  const Kt_ChangeReport& report) {
  std::vector<Diagnostic> fault = {Diagnostic::Error(
      fmt::format("cannot save '{}': {}", dataset.GetId().ToUtf8(), report.error), url)};
  for (const Kt_ChangeReport::Conflict& conflict : report.conflicts) {
    if (fault.size() > kMaxShownConflicts) break;
    fault.push_back(Diagnostic::Note(conflict.Text(), url));
  }
  const std::int64_t left = report.conflict_count - (std::ssize(fault) - 1);
  if (left > 0) fault.push_back(Diagnostic::Note(fmt::format("{} more are not shown", left), url));
  return fault;
}

}  // namespace

Kt_Database::Options DatabaseOptions(const DataOptions& options) {
  Kt_Database::Options database;
  database.follow_links = options.links == Links::kFollow;
  return database;
}

std::string DatasetNameOf(const std::string& path) {
  if (!Kt_DatabaseUrl::IsUrl(path)) return kt_path(path).stem().string();
  Kt_DatabaseUrl url;
  std::string ignored;
  if (!Kt_DatabaseUrl::Parse(path, url, ignored)) return {};
  const std::vector<std::string> parts = Kt_Database::TableParts(url.table);
  return parts.empty() ? "query" : parts.back();
}

void NoteNotOpened(const Kt_DatabaseUrl& url, DataReport& report) {
  std::error_code ignored;
  report.no_access = url.kind == Kt_DatabaseUrl::Kind::kSqlite &&
                     !std::filesystem::exists(kt_path(url.file), ignored);
}

bool LoadDatabase(const Kt_DatabaseUrl& url, const DataOptions& options, Kt_Dataset& dataset,
                  DataReport& report) {
  report = {};
  const kt_long loaded =
      kt::LoadSelected(url, DatabaseOptions(options), dataset, &report.steps, report.error);
  if (loaded < 0) {
    NoteNotOpened(url, report);
    return false;
  }
  report.rows.rows_read = loaded;
  report.rows.records = loaded;
  return true;
}

bool LoadDatabase(const std::string& text, const DataOptions& options, Kt_Dataset& dataset,
                  DataReport& report) {
  report = {};
  Kt_DatabaseUrl url;
  if (Kt_DatabaseUrl::Parse(text, url, report.error)) {
    return LoadDatabase(url, options, dataset, report);
  }
  report.no_access = true;
  return false;
}

kt_long SaveToDatabase(const Kt_DatabaseUrl& url, const DataOptions& options, Kt_Dataset& dataset,
                       std::vector<Diagnostic>& fault) {
  Kt_ChangeReport report;
  const kt_long saved = kt::SaveChanges(url, DatabaseOptions(options), dataset, report);
  if (saved < 0) fault = SaveFault(url.shown, dataset, report);
  return saved;
}

kt_long SaveToDatabase(const std::string& text, const DataOptions& options, Kt_Dataset& dataset,
                       std::vector<Diagnostic>& fault) {
  Kt_DatabaseUrl url;
  Kt_ChangeReport report;
  if (Kt_DatabaseUrl::Parse(text, url, report.error)) {
    return SaveToDatabase(url, options, dataset, fault);
  }
  fault = SaveFault(text, dataset, report);
  return -1;
}

}  // namespace kt::cli
