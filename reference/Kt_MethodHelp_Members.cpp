// SPDX-License-Identifier: MIT
//
// What the properties of datasets and the keywords of row expressions yield, for script authors.

#include "classlib/text/Kt_WStrList.h"
#include "reference/Kt_MethodHelp.h"

namespace {

// clang-format off
constexpr Kt_MemberDoc kProps[] = {
    {u"colcount", u"The number of columns.", {u"orders.colcount", u"4"}},
    {u"constcount", u"The number of constants.", {u"orders.constcount", u"0"}},
    {u"count", u"The number of rows without subtotals, as Count() gives it.",
     {u"orders.count", u"5"}},
    {u"currow", u"The row position; of a pivot, its pivot row position.",
     {u"orders.InsertRow(2)\n"
      u"orders.currow", u"2"}},
    {u"firstrow", u"The first row, 0; -1 without rows.", {u"orders.firstrow", u"0"}},
    {u"id", u"The id of the dataset.", {u"orders.id", u"orders"}},
    {u"lastrow", u"The last row; -1 without rows.", {u"orders.lastrow", u"4"}},
    {u"nextrow", u"The row behind the row position, the last one when there is none.",
     {u"orders.InsertRow(2)\n"
      u"orders.nextrow", u"3"}},
    {u"pivotindex", u"The position of a pivot that is current; -1 when none is.",
     {u"orders.pivotindex", u"-1"}},
    {u"pivotindexcount", u"The number of positions of a pivot.",
     {u"orders.pivotindexcount", u"0"}},
    {u"prevrow", u"The row before the row position, 0 when there is none.",
     {u"orders.InsertRow(2)\n"
      u"orders.prevrow", u"1"}},
    {u"row, rowpos, rowposition",
     u"The row position, -1 when no row is current. Setting it moves there.",
     {u"orders.InsertRow(3)\n"
      u"orders.row", u"3"}},
    {u"rowcount", u"The number of rows that are shown, subtotals among them.",
     {u"orders.rowcount", u"5"}},
    {u"rowlevel", u"The level of the current row: 0 for a plain row, 1 and up for subtotals.",
     {u"orders.rowlevel", u"0"}},
};

constexpr Kt_MemberDoc kKeywords[] = {
    {u"count, rowcount", u"The number of rows that are shown.", {u"orders.Max('count')", u"5"}},
    {u"countNF, rowcountNF", u"The number of rows without filters.",
     {u"orders.Filter('rowidx < countNF - 1')\n"
      u"orders.GetRowCount()", u"4"}},
    {u"curdataid", u"The id of the dataset.", {u"orders.Max('curdataid')", u"orders"}},
    {u"curpivotindex", u"The current position of a pivot.",
     {u"orders.Max('curpivotindex')", u"-1"}},
    {u"currow", u"The current row: in totals that of the dataset, in filters and searches the row "
     u"that is looked at.", {u"orders.SearchRow('currow == 2')", u"2"}},
    {u"currowtype, rowtype", u"The state of the row, as GetRowType gives it.",
     {u"orders.SetColumn(3, 'qty', 9)\n"
      u"orders.SearchRow('rowtype == \"update\"')", u"3"}},
    {u"firstrow", u"The first row, 0.", {u"orders.Max('firstrow')", u"0"}},
    {u"lastrow", u"The last row.", {u"orders.SearchRow('rowidx == lastrow')", u"4"}},
    {u"nextrow", u"The row behind the current row, the last one when there is none.",
     {u"orders.SearchRow('nextrow == 3')", u"2"}},
    {u"pivotidx, pivotindex", u"The position of a pivot that is looked at.",
     {u"orders.Max('pivotidx')", u"-1"}},
    {u"pivotindexcount", u"The number of positions of a pivot.",
     {u"orders.Max('pivotindexcount')", u"0"}},
    {u"pivotlevel", u"The level of a position: 0, or 1 and up for subtotal positions.",
     {u"orders.Max('pivotlevel')", u"0"}},
    {u"pivotpos, pivotposition", u"The position of a pivot that the dataset is at.",
     {u"orders.Max('pivotpos')", u"-1"}},
    {u"prevrow", u"The row before the current row, 0 when there is none.",
     {u"orders.SearchRow('prevrow == 3')", u"4"}},
    {u"rangecount", u"How many rows a subtotal covers; 1 for a plain row.",
     {u"orders.Sort('city', 1, 0, 1)\n"
      u"orders.Max('rangecount')", u"2"}},
    {u"rangestart", u"The first row that a subtotal covers; a plain row itself.",
     {u"orders.Max('rangestart')", u"4"}},
    {u"row, rowidx, rowindex", u"The row that is looked at.", {u"orders.Sum('rowidx')", u"10"}},
    {u"rowlevel", u"The level of the row: 0 for a plain row, 1 and up for subtotals.",
     {u"orders.Sort('city', 1, 0, 1)\n"
      u"orders.SearchRow('rowlevel == 1')", u"1"}},
    {u"rowpos, rowposition", u"The row position of the dataset.",
     {u"orders.InsertRow(3)\n"
      u"orders.Max('rowpos')", u"3"}},
};
// clang-format on

bool HasName(const Kt_MemberDoc& doc, const char16_t* name) {
  Kt_WStrList names;
  names.Parse(doc.names, u",");
  return names.FindNoCase(name) >= 0;
}

const Kt_MemberDoc* Find(std::span<const Kt_MemberDoc> docs, const char16_t* name) {
  if (name == nullptr) return nullptr;
  for (const Kt_MemberDoc& doc : docs) {
    if (HasName(doc, name)) return &doc;
  }
  return nullptr;
}

}  // namespace

std::span<const Kt_MemberDoc> GetDatasetPropDocs() { return kProps; }
std::span<const Kt_MemberDoc> GetRowKeywordDocs() { return kKeywords; }

const Kt_MemberDoc* GetDatasetPropDoc(const char16_t* name) { return Find(kProps, name); }
const Kt_MemberDoc* GetRowKeywordDoc(const char16_t* name) { return Find(kKeywords, name); }
