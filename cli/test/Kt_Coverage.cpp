// SPDX-License-Identifier: MIT
#include "cli/test/Kt_Coverage.h"

#include "script/Kt_Script.h"
#include "script/Kt_ScriptOpItem.h"
#include "script/Kt_ScriptOpPayloads.h"

namespace kt::cli {
namespace {

bool HasUnguarded(const Kt_ScriptOpItemList& items) {
  for (kt_long at = 0; at < items.GetCount(); ++at) {
    if (items[at].flag == 1) return true;
  }
  return false;
}

std::size_t WaysOf(const Kt_ScriptOpItemList& items) {
  return static_cast<std::size_t>(items.GetCount()) + (HasUnguarded(items) ? 0 : 1);
}

}  // namespace

FileCoverage::Sum FileCoverage::Lines() const {
  Sum sum;
  for (const auto& [line, count] : lines) {
    ++sum.all;
    if (count > 0) ++sum.run;
  }
  return sum;
}

FileCoverage::Sum FileCoverage::Branches() const {
  Sum sum;
  for (const auto& [line, points] : branches) {
    for (const Ways& ways : points) {
      for (const long count : ways) {
        ++sum.all;
        if (count > 0) ++sum.run;
      }
    }
  }
  return sum;
}

void Coverage::Watch(Kt_Script& script) {
  points_.clear();
  seen_.clear();
  for (kt_long at = 0; at < script.GetFuncs().GetCount(); ++at) {
    const Kt_ScriptFunc& func = *script.GetFuncs().GetItem(at);
    const auto file = files_.find(func.GetSourceName().ToUtf8());
    if (file != files_.end()) Add(func.GetBody(), file->second);
  }
  SetStatementHook(script, this);
}

void Coverage::Add(const Kt_ScriptOpList& ops, FileCoverage& file) {
  for (kt_long at = 0; at < ops.GetCount(); ++at) {
    const Kt_ScriptOp& op = ops[at];
    if (op.opcode != kScriptBlock) {
      file.lines.try_emplace(op.line32 + 1, 0);
      points_[&op] = {&file, op.line32 + 1, 0};
    }
    AddPart(op, file);
  }
}

// What a statement has inside of it, and its ways.
void Coverage::AddPart(const Kt_ScriptOp& op, FileCoverage& file) {
  const auto add_items = [&](const Kt_ScriptOpItemList& items) {
    AddBranch(op, WaysOf(items), file);
    for (kt_long at = 0; at < items.GetCount(); ++at) Add(items[at].body, file);
  };
  switch (op.opcode) {
    case kScriptBlock: return Add(*op.GetBlock(), file);
    case kScriptIf: return add_items(op.GetIf()->items);
    case kScriptSwitch: return add_items(op.GetSwitch()->items);
    case kScriptWhile: AddBranch(op, 2, file); return Add(op.GetWhile()->body, file);
    case kScriptFor:
      AddBranch(op, 2, file);
      Add(op.GetFor()->init, file);
      Add(op.GetFor()->body, file);
      return Add(op.GetFor()->step, file);
    default: return;
  }
}

void Coverage::AddBranch(const Kt_ScriptOp& op, std::size_t ways, FileCoverage& file) {
  const kt_long line = op.line32 + 1;
  const std::size_t branch = seen_[{&file, line}]++;
  std::vector<FileCoverage::Ways>& points = file.branches[line];
  if (points.size() <= branch) points.resize(branch + 1);
  if (points[branch].size() < ways) points[branch].resize(ways);
  points_[&op].branch = branch;
}

void Coverage::OnStatement(const Kt_StatementPlace& place) {
  const auto point = points_.find(&place.op);
  if (point != points_.end()) ++point->second.file->lines[point->second.line];
}

void Coverage::OnBranch(const Kt_StatementPlace& place, kt_long taken) {
  const auto found = points_.find(&place.op);
  if (found == points_.end()) return;
  const Point& point = found->second;
  FileCoverage::Ways& ways = point.file->branches[point.line][point.branch];
  if (static_cast<std::size_t>(taken) < ways.size()) ++ways[static_cast<std::size_t>(taken)];
}

}  // namespace kt::cli
