// SPDX-License-Identifier: MIT
//
// What the dataset methods do, for script authors: one row for each method with its aliases, in the
// order of the reference.

#include "reference/Kt_MethodHelp.h"

#include "dataset/Kt_ExprDataset.h"

namespace {

constexpr Kt_SampleDataset kSamples[] = {
    {u"orders",
     u"item:string,city:string,qty:long,price:double\n"
     u"pen,Rome,10,1.5\n"
     u"ink,Oslo,3,8\n"
     u"pad,Rome,4,2.5\n"
     u"Pen,Oslo,6,1.5\n"
     u"cap,,2,\n"},
    {u"stock",
     u"item:string,left:long\n"
     u"pen,40\n"
     u"ink,0\n"
     u"cup,7\n"},
};

// Families, in the order of the reference.
constexpr const char16_t* kCols = u"Columns";
constexpr const char16_t* kConsts = u"Constants";
constexpr const char16_t* kCells = u"Cells";
constexpr const char16_t* kRows = u"Rows";
constexpr const char16_t* kPosition = u"Counts and position";
constexpr const char16_t* kChanges = u"Changes";
constexpr const char16_t* kOrder = u"Order and groups";
constexpr const char16_t* kPivots = u"Pivots";
constexpr const char16_t* kFilters = u"Filters and searches";
constexpr const char16_t* kTotals = u"Counts, sums and averages";
constexpr const char16_t* kCases = u"Totals of rows that meet a condition";
constexpr const char16_t* kCopies = u"Copies";
constexpr const char16_t* kFiles = u"Loading and saving";

// Said of many.
constexpr const char16_t* kNoCell = u"Empty for a row or column that is not there.";
constexpr const char16_t* kNoCellRefused =
    u"Empty for a row or column that is not there. Refused on a logical dataset.";
constexpr const char16_t* kNoColumn = u"Empty for an unknown column.";
constexpr const char16_t* kPlainCall = u"Arguments are not looked at.";
constexpr const char16_t* kRefused = u"Arguments are not looked at. Refused on a logical dataset.";
constexpr const char16_t* kRange =
    u"The rows are nCnt rows from nStart; all when both are absent. 0.0 without rows or arguments. "
    u"On a pivot the arguments behind the column of a value are nPivotIndex, nStart, nCnt.";
constexpr const char16_t* kAllRows =
    u"As the form without NF, over all rows: filters do not count, and row numbers are those "
    u"without filters.";
constexpr const char16_t* kCaseOdd =
    u"0 when no row meets the condition (0.0 for averages, greatest and least), 0.0 with fewer "
    u"than two arguments. Subtotal rows are left out. On a pivot rows without a cell at "
    u"nPivotIndex "
    u"are left out, unless bCountNull is set.";
constexpr const char16_t* kNotFound = u"-1 when there is none, or an argument is missing.";
constexpr const char16_t* kAcross =
    u"The positions are nCnt positions from nStart, all plain ones when absent. An expression is "
    u"worked out in the current row, whatever nPivotRow is. 0.0 on a dataset that is no pivot and "
    u"with "
    u"fewer than two arguments.";
constexpr const char16_t* kNoDataset =
    u"-1 when there is no such dataset; nothing is announced then. A dataset may be copied into "
    u"itself.";

// clang-format off
#define KT_SAMPLE_PIVOT                     \
  u"orders.ModifyKeyStat(0, 2, 'city')\n"   \
  u"orders.ModifyKeyStat(0, 3, 'item')\n"   \
  u"orders.ModifyKeyStat(0, 4, 'qty')\n"    \
  u"orders.RecalcPivot()\n"
#define KT_SAMPLE_GROUP                               \
  u"orders.ModifyKeyStat(0, 4, 'qty', 1, 1)\n"        \
  u"orders.Sort('city', 1, 0, 1)\n"

constexpr Kt_MethodDoc kDocs[] = {
    // ---- Columns
    {kCols, u"AddColumn",
     u"Adds a column whose cells are null, and gives its index. The type is string, long, double, "
     u"currency, datetime, binary or variant; string when absent. nColSize is kept for hosts, "
     u"texts are not cut to it.",
     u"-1 for an id that is known and for an unknown type. The empty id is an argument error.",
     {{u"orders.AddColumn('weight', 'double')", u"4"},
      {u"orders.AddColumn('QTY')", u"-1"},
      {u"orders.AddColumn('worth', 'currency')\n"
       u"orders.SetColumn(0, 'worth', orders[0].qty * orders[0].price)\n"
       u"orders.GetColumn(0, 'worth')", u"15"}}},
    {kCols, u"AddLogicalColumn",
     u"Adds a column without cells of its own, and gives its index. strMapValue is the id of "
     u"another column, which is then read and written under both names, or an expression that is "
     u"worked out in each row.",
     u"-1 for an id that is known and for an unknown type. An empty id or map is an argument "
     u"error.",
     {{u"orders.AddLogicalColumn('article', 'item')\n"
       u"orders.GetColumn(1, 'article')", u"ink"},
      {u"orders.AddLogicalColumn('worth', 'qty * price')\n"
       u"orders.Sum('worth')", u"58"},
      {u"orders.AddLogicalColumn('item', 'qty')", u"-1"}}},
    {kCols, u"GetColCount", u"The number of columns.", kPlainCall,
     {{u"orders.GetColCount()", u"4"},
      {u"orders.Clear()\n"
       u"orders.ColCount()", u"0"},
      {u"orders.AddColumn('note')\n"
       u"orders.GetColID(orders.GetColCount() - 1)", u"note"}}},
    {kCols, u"GetColID", u"The id of a column.", kNoColumn,
     {{u"orders.GetColID(2)", u"qty"},
      {u"orders.GetColID(9)", u""},
      {u"orders.GetColID(0) + '=' + orders.GetColumn(0, 0)", u"item=pen"}}},
    {kCols, u"GetColIDxbyorder", u"The index of the n-th column as shown.",
     u"-1 when there are not so many.",
     {{u"orders.GetColIDxByOrder(1)", u"1"},
      {u"orders.GetColIDxByOrder(4)", u"-1"},
      {u"orders.GetColID(orders.GetColIDxByOrder(orders.GetColCount() - 1))", u"price"}}},
    {kCols, u"GetColIndex", u"The index of a column. Ids are found in any case.",
     u"-1 for an unknown column.",
     {{u"orders.GetColIndex('PRICE')", u"3"},
      {u"orders.GetColIndex('weight')", u"-1"},
      {u"iif(orders.GetColIndex('price') < 0, 'no prices', orders.Max('price'))", u"8"}}},
    {kCols, u"GetColMapValue", u"What a logical column shows.",
     u"Empty for all other columns.",
     {{u"orders.AddLogicalColumn('article', 'item')\n"
       u"orders.GetColMapValue('article')", u"item"},
      {u"orders.GetColMapValue('item')", u""},
      {u"orders.AddLogicalColumn('worth', 'qty * price')\n"
       u"orders.GetColMapValue(4)", u"qty * price"}}},
    {kCols, u"GetColSize", u"The size that the column was declared with.",
     u"0 when it was declared without and for an unknown column.",
     {{u"orders.AddColumn('note', 'string', 40)\n"
       u"orders.GetColSize('note')", u"40"},
      {u"orders.GetColSize('item')", u"0"},
      {u"orders.AddColumn('code', 'string', 3)\n"
       u"orders.SetColumn(0, 'code', 'long text')\n"
       u"orders.GetColumn(0, 'code') + ' in ' + orders.GetColSize('code')", u"long text in 3"}}},
    {kCols, u"GetColType", u"The name of the type of a column.", kNoColumn,
     {{u"orders.GetColType('price')", u"double"},
      {u"orders.GetColType('weight')", u""},
      {u"iif(orders.GetColType(2) == 'long', orders.Sum(2), 'no number')", u"10"}}},

    // ---- Constants
    {kConsts, u"AddConstColumn",
     u"Adds a constant, one value for the whole dataset, and gives its index.",
     u"-1 for an id that is known. The value is empty when absent. The empty id is an argument "
     u"error.",
     {{u"orders.AddConstColumn('rate', 0.2)", u"0"},
      {u"orders.AddConstColumn('rate')\n"
       u"orders.AddConstColumn('RATE', 0.2)", u"-1"},
      {u"orders.AddConstColumn('rate', 0.2)\n"
       u"orders.Sum('qty * orders.GetConstColumn(\"rate\")')", u"5"}}},
    {kConsts, u"GetConstCount", u"The number of constants.", kPlainCall,
     {{u"orders.ConstCount()", u"0"},
      {u"orders.AddConstColumn('rate', 0.2)\n"
       u"orders.GetConstCount()", u"1"},
      {u"orders.AddConstColumn('rate', 0.2)\n"
       u"orders.AddConstColumn('title', 'May')\n"
       u"orders.GetConstColID(orders.GetConstCount() - 1)", u"title"}}},
    {kConsts, u"GetConstColID", u"The id of a constant.", u"Empty when there is none.",
     {{u"orders.AddConstColumn('rate', 0.2)\n"
       u"orders.GetConstColID(0)", u"rate"},
      {u"orders.GetConstColID(0)", u""},
      {u"orders.AddConstColumn('rate', 0.2)\n"
       u"orders.GetConstColID(0) + '=' + orders.GetConstColumn(0)", u"rate=0.2"}}},
    {kConsts, u"GetConstColumn", u"The value of a constant.", u"Empty when there is none.",
     {{u"orders.AddConstColumn('rate', 0.2)\n"
       u"orders.GetConstColumn('rate')", u"0.2"},
      {u"orders.GetConstColumn('rate')", u""},
      {u"orders.AddConstColumn('rate', 0.2)\n"
       u"round(orders[1].price * (1 + orders.GetConstColumn('rate')), 2)", u"9.6"}}},
    {kConsts, u"SetConstColumn",
     u"Gives a constant another value. 1, or 0 when the host refuses it.",
     u"-1 when there is no such constant.",
     {{u"orders.AddConstColumn('rate', 0.2)\n"
       u"orders.SetConstColumn('rate', 0.25)\n"
       u"orders.GetConstColumn('rate')", u"0.25"},
      {u"orders.SetConstColumn('rate', 0.25)", u"-1"},
      {u"orders.AddConstColumn('floor', 5)\n"
       u"orders.SetConstColumn('floor', 8)\n"
       u"orders.CaseCount('price >= orders.GetConstColumn(\"floor\")')", u"1"}}},

    // ---- Cells
    {kCells, u"GetColumn",
     u"The value of a cell. On a pivot, the value at position nPivotIndex of a value column; key "
     u"columns are the same at every position.",
     u"Empty for a row, column or position that is not there.",
     {{u"orders.GetColumn(1, 'item')", u"ink"},
      {u"orders.GetColumn(9, 'item')", u""},
      {u"orders.GetColumn(1, 'qty') * orders.GetColumn(1, 'price')", u"24"}}},
    {kCells, u"GetColumnNF", u"The value of a cell; the row counts without filters.", kNoCell,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.GetColumnNF(0, 'item')", u"pen"},
      {u"orders.GetColumnNF(-1, 'item')", u""},
      {u"orders.Filter('city == \"Oslo\"')\n"
       u"orders.GetColumn(0, 'item') + ', ' + orders.GetColumnNF(0, 'item')", u"ink, pen"}}},
    {kCells, u"GetColumnSet",
     u"The values of a cell in every position of a pivot, as a list. One value when the dataset is "
     u"no pivot.", kNoCell,
     {{u"length(orders.GetColumnSet(0, 'qty'))", u"1"},
      {u"length(orders.GetColumnSet(9, 'qty'))", u"0"},
      {KT_SAMPLE_PIVOT
       u"length(orders.GetColumnSet(2, 'qty'))", u"5"}}},
    {kCells, u"SetColumn",
     u"Stores a value, converted to the type of the column. 1, also for an equal value, which "
     u"changes nothing; 0 when the host refuses it.",
     u"-1 for a cell that is not there or cannot be written: subtotals, computed columns, pivots.",
     {{u"orders.SetColumn(1, 'qty', '7')\n"
       u"orders.GetColumn(1, 'qty')", u"7"},
      {u"orders.SetColumn(9, 'qty', 1)", u"-1"},
      {u"orders.SetColumn(1, 'qty', orders.GetColumn(1, 'qty') + 4)\n"
       u"orders.GetColumn(1, 'qty') + ' ' + orders.GetRowType(1)", u"7 update"}}},
    {kCells, u"SetColumnNF", u"As SetColumn; the row counts without filters.",
     u"-1 for a cell that is not there or cannot be written.",
     {{u"orders.Filter('qty < 5')\n"
       u"orders.SetColumnNF(0, 'qty', 11)\n"
       u"orders.GetColumnNF(0, 'qty')", u"11"},
      {u"orders.SetColumnNF(5, 'qty', 1)", u"-1"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.SetColumnNF(orders.GetRowIndexNF(2), 'price', 9.5)\n"
       u"orders.GetColumn(2, 'price')", u"9.5"}}},

    // ---- Rows
    {kRows, u"AppendRow",
     u"Adds an empty row at the end, which becomes the row position, and gives its number.",
     u"-1 when the host refuses it; at the limit an error that ends the run. Refused on a logical "
     u"dataset.",
     {{u"orders.AddRow()", u"5"},
      {u"orders.SetColumn(orders.AppendRow(), 'item', 'nib')\n"
       u"orders.GetColumn(5, 'item') + ' ' + orders.GetRowType(5)", u"nib insert"},
      {u"type(orders.GetColumn(orders.AddRow(), 'qty'))", u"empty"}}},
    {kRows, u"InsertRow",
     u"Adds an empty row before a row, which becomes the row position, and gives its number. A row "
     u"that is not there means the end.",
     u"-1 when the host refuses it; at the limit an error that ends the run. Refused on a logical "
     u"dataset.",
     {{u"orders.InsertRow(2)\n"
       u"orders.GetColumn(3, 'item')", u"pad"},
      {u"orders.InsertRow(99)", u"5"},
      {u"orders.SetColumn(orders.InsertRow(0), 'item', 'first')\n"
       u"orders[0].item + ', ' + orders[1].item", u"first, pen"}}},
    {kRows, u"DeleteRow",
     u"Deletes a row: 1. A row that was loaded goes to the deleted rows, from where Reset brings "
     u"it back; one that was added goes for good.",
     u"-1 when there is no such row, and for subtotals. Refused on a logical dataset.",
     {{u"orders.DeleteRow(0)\n"
       u"orders.GetColumn(0, 'item')", u"ink"},
      {u"orders.DeleteRow(5)", u"-1"},
      {u"orders.DeleteRow(orders.FindRow('item', 'ink'))\n"
       u"orders.rowcount + ' left, ' + orders.GetDelRowCount() + ' deleted'",
       u"4 left, 1 deleted"}}},
    {kRows, u"DeleteAll", u"Deletes the rows that are shown, and gives their number.", kRefused,
     {{u"orders.DeleteAll()", u"5"},
      {u"orders.Filter('city == \"Rome\"')\n"
       u"orders.DeleteAll()\n"
       u"orders.GetRowCountNF()", u"3"},
      {u"orders.DeleteAll()\n"
       u"orders.Reset()\n"
       u"orders.rowcount", u"5"}}},
    {kRows, u"DeleteSelected", u"Deletes the shown rows that are selected, and gives their number.",
     kRefused,
     {{u"orders.SelectRow(1)\n"
       u"orders.SelectRow(3)\n"
       u"orders.DeleteSelected()", u"2"},
      {u"orders.DeleteSelected()", u"0"},
      {u"orders.SelectRow(orders.SearchRow('price > 5'))\n"
       u"orders.DeleteSelected()\n"
       u"orders.CaseCount('item == \"ink\"')", u"0"}}},
    {kRows, u"Clear",
     u"Drops all rows with their changes, and all columns; constants stay. Nothing is deleted, so "
     u"nothing can be brought back. Announced as emptied.", kPlainCall,
     {{u"orders.Clear()\n"
       u"orders.GetColCount()", u"0"},
      {u"orders.Clear()\n"
       u"orders.GetUpdate()", u"0"},
      {u"orders.Clear()\n"
       u"orders.AddColumn('name')\n"
       u"orders.GetColID(0)", u"name"}}},
    {kRows, u"ClearData",
     u"Drops all rows, hidden ones too, with their changes. Nothing is deleted, so nothing can be "
     u"brought back. Announced as emptied.", kRefused,
     {{u"orders.ClearData()\n"
       u"orders.GetDelRowCount()", u"0"},
      {u"orders.ClearData()\n"
       u"orders.GetColCount()", u"4"},
      {u"orders.ClearData()\n"
       u"orders.Reset()\n"
       u"orders.rowcount", u"0"}}},
    {kRows, u"MoveRow",
     u"Moves a row so that it has number nToRow afterwards: 1. No row counts as changed, and the "
     u"row position keeps its number.",
     u"-1 when either row is not there.",
     {{u"orders.MoveRow(0, 2)\n"
       u"orders.GetColumn(2, 'item')", u"pen"},
      {u"orders.MoveRow(0, 9)", u"-1"},
      {u"orders.MoveRow(orders.lastrow, 0)\n"
       u"orders[0].item + ', ' + orders[1].item", u"cap, pen"}}},
    {kRows, u"ExChangerow",
     u"Lets two rows change places: 1. No row counts as changed, and the row position keeps its "
     u"number.",
     u"-1 when either row is not there.",
     {{u"orders.ExChangeRow(0, 4)\n"
       u"orders.GetColumn(0, 'item')", u"cap"},
      {u"orders.ExChangeRow(0, 5)", u"-1"},
      {u"orders.ExChangeRow(0, 1)\n"
       u"orders[0].item + ', ' + orders[1].item + ', ' + orders.GetUpdate()", u"ink, pen, 0"}}},
    {kRows, u"SelectRow", u"Selects a row, or takes the selection back when bCheck is 0: 1.",
     u"0 when there is no such row.",
     {{u"orders.SelectRow(2)\n"
       u"orders.GetSelect(2)", u"1"},
      {u"orders.SelectRow(9)", u"0"},
      {u"orders.SelectRow(1)\n"
       u"orders.SelectRow(2)\n"
       u"orders.SelectRow(1, 0)\n"
       u"orders.DeleteSelected()", u"1"}}},
    {kRows, u"GetSelect", u"1 when the row is selected, else 0.", u"0 when there is no such row.",
     {{u"orders.GetSelect(2)", u"0"},
      {u"orders.GetSelect(9)", u"0"},
      {u"orders.SelectRow(orders.FindRow('item', 'pad'))\n"
       u"iif(orders.GetSelect(2), orders[2].item, 'not selected')", u"pad"}}},
    {kRows, u"ClearSelect", u"Takes back the selection of every row: 1.", kPlainCall,
     {{u"orders.SelectRow(2)\n"
       u"orders.ClearSelect()\n"
       u"orders.GetSelect(2)", u"0"},
      {u"orders.ClearSelect()", u"1"},
      {u"orders.SelectRow(0)\n"
       u"orders.ClearSelect()\n"
       u"orders.DeleteSelected()", u"0"}}},

    // ---- Counts and position
    {kPosition, u"GetID", u"The id of the dataset.", kPlainCall,
     {{u"orders.GetID()", u"orders"},
      {u"orders.Copy('stock')\n"
       u"orders.ID()", u"orders"},
      {u"orders.GetID() + ': ' + orders.rowcount + ' rows'", u"orders: 5 rows"}}},
    {kPosition, u"GetRowCount",
     u"The number of rows that are shown, subtotals among them.", kPlainCall,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.GetRowCount()", u"3"},
      {u"orders.Filter('qty > 99')\n"
       u"orders.GetRowCount()", u"0"},
      {u"iif(orders.RowCount() > 0, orders.Sum('qty') / orders.RowCount(), 'no rows')", u"5"}}},
    {kPosition, u"GetRowCountNF", u"The number of rows without filters.", kPlainCall,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.GetRowCountNF()", u"5"},
      {u"orders.DeleteRow(0)\n"
       u"orders.GetTotalRowCount()", u"4"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.GetRowCount() + ' of ' + orders.RowCountNF()", u"3 of 5"}}},
    {kPosition, u"GetRowPosition", u"The row position; of a pivot, its pivot row position.",
     u"-1 when no row is current.",
     {{u"orders.InsertRow(1)\n"
       u"orders.GetRowPosition()", u"1"},
      {u"orders.Filter('qty > 99')\n"
       u"orders.GetRowPos()", u"-1"},
      {u"orders.SetColumn(orders.AddRow(), 'item', 'nib')\n"
       u"orders.GetColumn(orders.GetCurrow(), 'item')", u"nib"}}},
    {kPosition, u"GetFirstrow", u"The number of the first row, 0.", u"-1 without rows.",
     {{u"orders.GetFirstRow()", u"0"},
      {u"orders.DeleteAll()\n"
       u"orders.GetFirstRow()", u"-1"},
      {u"orders.Sort('price:d')\n"
       u"orders.GetColumn(orders.GetFirstRow(), 'item')", u"cap"}}},
    {kPosition, u"GetLastrow", u"The number of the last row.", u"-1 without rows.",
     {{u"orders.GetLastRow()", u"4"},
      {u"orders.DeleteAll()\n"
       u"orders.GetLastRow()", u"-1"},
      {u"orders.Sort('qty')\n"
       u"orders.GetColumn(orders.GetLastRow(), 'item')", u"pen"}}},
    {kPosition, u"GetNextrow", u"The row behind the row position.",
     u"The last row when there is none behind; -1 without rows.",
     {{u"orders.InsertRow(3)\n"
       u"orders.GetNextRow()", u"4"},
      {u"orders.InsertRow(5)\n"
       u"orders.GetNextRow()", u"5"},
      {u"orders.InsertRow(1)\n"
       u"orders.GetColumn(orders.GetNextRow(), 'item')", u"ink"}}},
    {kPosition, u"GetPrevrow", u"The row before the row position.", u"0 when there is none before.",
     {{u"orders.InsertRow(3)\n"
       u"orders.GetPrevRow()", u"2"},
      {u"orders.InsertRow(0)\n"
       u"orders.GetPrevRow()", u"0"},
      {u"orders.AddRow()\n"
       u"orders.GetColumn(orders.GetPrevRow(), 'item')", u"cap"}}},
    {kPosition, u"GetRowIndexNF", u"The number that a shown row has without filters.",
     u"-1 when there is no such row.",
     {{u"orders.Filter('qty < 5')\n"
       u"orders.GetRowIndexNF(0)", u"1"},
      {u"orders.GetRowIndexNF(5)", u"-1"},
      {u"orders.Filter('city == \"Oslo\"')\n"
       u"orders.GetRowIndexNF(0) + ' and ' + orders.GetRowIndexNF(1)", u"1 and 3"}}},

    // ---- Changes
    {kChanges, u"GetRowType",
     u"The state of a row: normal, insert, update, delete or logical (subtotals).",
     u"normal when there is no such row. Refused on a logical dataset.",
     {{u"orders.SetColumn(0, 'qty', 11)\n"
       u"orders.GetRowType(0)", u"update"},
      {u"orders.AddRow()\n"
       u"orders.GetRowType(5)", u"insert"},
      {u"orders.SetColumn(0, 'qty', orders.GetColumn(0, 'qty'))\n"
       u"orders.GetRowType(0) + ', ' + orders.GetRowType(99)", u"normal, normal"}}},
    {kChanges, u"GetRowTypeNF", u"As GetRowType; the row counts without filters.",
     u"normal when there is no such row. Refused on a logical dataset.",
     {{u"orders.GetRowTypeNF(0)", u"normal"},
      {u"orders.GetTotalRowType(99)", u"normal"},
      {u"orders.SetColumn(0, 'qty', 11)\n"
       u"orders.Filter('qty < 5')\n"
       u"orders.GetRowType(0) + ', ' + orders.GetRowTypeNF(0)", u"normal, update"}}},
    {kChanges, u"SetRowType",
     u"Forces the state of a row, given as GetRowType gives it or as number (1 normal, 2 insert, 4 "
     u"update): 1. Forcing normal forgets the first values.",
     u"-1 for other states, for subtotals and when there is no such row.",
     {{u"orders.SetRowType(0, 'update')\n"
       u"orders.GetUpdate()", u"1"},
      {u"orders.SetRowType(0, 'new')", u"-1"},
      {u"orders.SetColumn(0, 'qty', 11)\n"
       u"orders.SetRowType(0, 'normal')\n"
       u"orders.Reset()\n"
       u"orders.GetColumn(0, 'qty')", u"11"}}},
    {kChanges, u"GetUpdate", u"1 when a row was added, changed or deleted, else 0.", kPlainCall,
     {{u"orders.DeleteRow(4)\n"
       u"orders.GetUpdate()", u"1"},
      {u"orders.GetUpdate()", u"0"},
      {u"orders.SetColumn(0, 'qty', orders.GetColumn(0, 'qty'))\n"
       u"iif(orders.GetUpdate(), 'changed', 'as loaded')", u"as loaded"}}},
    {kChanges, u"SetUpdate",
     u"1 marks every normal row as changed, so that all will be saved; 0 is ApplyChange. Gives 1.",
     u"Anything but a number other than 0 counts as 0.",
     {{u"orders.SetUpdate(1)\n"
       u"orders.GetRowType(2)", u"update"},
      {u"orders.SetUpdate('yes')\n"
       u"orders.GetUpdate()", u"0"},
      {u"orders.SetUpdate(1)\n"
       u"orders.CaseCount('rowtype == \"update\"')", u"5"}}},
    {kChanges, u"ApplyChange",
     u"Makes the present rows the unchanged ones: first values and deleted rows are forgotten. "
     u"Gives 1.", kPlainCall,
     {{u"orders.SetColumn(0, 'qty', 11)\n"
       u"orders.ApplyChange()\n"
       u"orders.GetUpdate()", u"0"},
      {u"orders.DeleteRow(0)\n"
       u"orders.ApplyChange()\n"
       u"orders.Reset()\n"
       u"orders.rowcount", u"4"},
      {u"orders.SetColumn(0, 'qty', 11)\n"
       u"orders.ApplyChange()\n"
       u"orders.SetColumn(0, 'qty', 12)\n"
       u"orders.GetOrgColumn(0, 'qty')", u"11"}}},
    {kChanges, u"Reset",
     u"Takes all changes back: added rows go, deleted ones return to their place, changed ones get "
     u"their first values. Filters, order and selection stay. The row position goes to the first "
     u"row, and the rows are announced as loaded. Gives 1.", kPlainCall,
     {{u"orders.SetColumn(0, 'qty', 11)\n"
       u"orders.Reset()\n"
       u"orders.GetColumn(0, 'qty')", u"10"},
      {u"orders.AddRow()\n"
       u"orders.DeleteRow(0)\n"
       u"orders.Reset()\n"
       u"orders.rowcount", u"5"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.SetColumn(0, 'qty', 99)\n"
       u"orders.Reset()\n"
       u"orders.rowcount + ' rows, ' + orders[0].qty", u"3 rows, 3"}}},
    {kChanges, u"GetOrgBuffCount",
     u"The number of changed and deleted rows, whose first values are kept.", kRefused,
     {{u"orders.SetColumn(0, 'qty', 11)\n"
       u"orders.DeleteRow(4)\n"
       u"orders.OrgBuffCount()", u"2"},
      {u"orders.AddRow()\n"
       u"orders.GetOrgBuffCount()", u"0"},
      {u"orders.SetUpdate(1)\n"
       u"orders.GetOrgBuffCount()", u"5"}}},
    {kChanges, u"GetOrgBuffType",
     u"Whether the n-th row in order of first change was changed or deleted: update or delete.",
     u"normal when there are not so many. Refused on a logical dataset.",
     {{u"orders.SetColumn(0, 'qty', 11)\n"
       u"orders.DeleteRow(4)\n"
       u"orders.GetOrgBuffType(1)", u"delete"},
      {u"orders.GetOrgBuffType(0)", u"normal"},
      {u"orders.SetColumn(2, 'qty', 5)\n"
       u"orders.GetOrgBuffColumn(0, 'item') + ': ' + orders.GetOrgBuffType(0)", u"pad: update"}}},
    {kChanges, u"GetOrgBuffColumn", u"A first value of the n-th row in order of first change.",
     kNoCellRefused,
     {{u"orders.SetColumn(0, 'qty', 11)\n"
       u"orders.GetOrgBuffColumn(0, 'qty')", u"10"},
      {u"orders.GetOrgBuffColumn(0, 'qty')", u""},
      {u"orders.SetColumn(3, 'qty', 8)\n"
       u"orders[3].qty - orders.GetOrgBuffColumn(0, 'qty')", u"2"}}},
    {kChanges, u"GetOrgColumn",
     u"The first value of a cell: of a changed row as it was, of an added one empty.",
     kNoCellRefused,
     {{u"orders.SetColumn(0, 'qty', 11)\n"
       u"orders.GetOrgColumn(0, 'qty')", u"10"},
      {u"type(orders.GetOrgColumn(orders.AddRow(), 'qty'))", u"empty"},
      {u"orders.SetColumn(1, 'price', 10)\n"
       u"orders.GetOrgColumn(1, 'price') + ' -> ' + orders.GetColumn(1, 'price')", u"8 -> 10"}}},
    {kChanges, u"GetOrgColumnNF", u"As GetOrgColumn; the row counts without filters.",
     kNoCellRefused,
     {{u"orders.SetColumn(0, 'qty', 1)\n"
       u"orders.Filter('qty > 5')\n"
       u"orders.GetOrgColumnNF(0, 'qty')", u"10"},
      {u"orders.GetOrgColumnNF(9, 'qty')", u""},
      {u"orders.SetColumn(0, 'qty', 1)\n"
       u"orders.SetColumnNF(0, 'qty', orders.GetOrgColumnNF(0, 'qty') / 2)\n"
       u"orders.GetColumn(0, 'qty')", u"5"}}},
    {kChanges, u"GetDelRowCount", u"The number of deleted rows.", kRefused,
     {{u"orders.DeleteRow(0)\n"
       u"orders.GetDelRowCount()", u"1"},
      {u"orders.DeleteRow(orders.AddRow())\n"
       u"orders.GetDelRowCount()", u"0"},
      {u"orders.SelectRow(0)\n"
       u"orders.SelectRow(1)\n"
       u"orders.DeleteSelected()\n"
       u"orders.GetDelRowCount() + ' of ' + (orders.rowcount + orders.GetDelRowCount())",
       u"2 of 5"}}},
    {kChanges, u"GetDelColumn", u"A first value of the n-th deleted row.", kNoCellRefused,
     {{u"orders.DeleteRow(0)\n"
       u"orders.GetDelColumn(0, 'item')", u"pen"},
      {u"orders.GetDelColumn(0, 'item')", u""},
      {u"orders.SetColumn(0, 'qty', 99)\n"
       u"orders.DeleteRow(0)\n"
       u"orders.GetDelColumn(0, 'qty')", u"10"}}},

    // ---- Order and groups
    {kOrder, u"Sort",
     u"Sorts all rows by columns, 'city, qty:d': descending behind ':d', all turned round when "
     u"bFlag is 0. Equal rows keep their order. Nulls stand before all values, or behind when "
     u"bBigNull is set. The columns become the sort keys, and with bGroupKey the group keys. "
     u"Subtotals are laid anew, the row position goes to the first row, and the order is "
     u"announced. Gives 1.",
     u"-1, and the order stays, for an unknown column. The empty list is an argument error. "
     u"Refused on a logical dataset.",
     {{u"orders.Sort('city:d, qty')\n"
       u"orders.GetColumn(1, 'item')", u"pad"},
      {u"orders.Sort('price')\n"
       u"orders[0].item", u"cap"},
      {u"orders.Sort('price', 1, 1)\n"
       u"orders[orders.lastrow].item", u"cap"}}},
    {kOrder, u"ModifyKeyStat",
     u"Adds (nCallType 0), removes (1) or changes (2) a key, or drops all keys (3): 1. nKeyType is "
     u"0 sort, 1 group, 2 pivot row, 3 pivot column, 4 value; a value is totalled as nSubSumType "
     u"says: 1 sum, 2 average, 3 greatest, 4 least, 5 count. Takes effect at RecalcGroup and "
     u"RecalcPivot.",
     u"-1 for other codes, an unknown column, and a key that is known (add) or not (remove, "
     u"change). Keys are ascending and values without a total when nothing is said.",
     {{u"orders.ModifyKeyStat(0, 1, 'city')", u"1"},
      {u"orders.ModifyKeyStat(0, 1, 'weight')", u"-1"},
      {u"orders.ModifyKeyStat(0, 1, 'city')\n"
       u"orders.ModifyKeyStat(0, 4, 'qty', 1, 1)\n"
       u"orders.RecalcGroup()\n"
       u"orders.Max('iif(rowlevel == 1, qty, 0)')", u"10"}}},
    {kOrder, u"RecalcGroup",
     u"Lays subtotal rows between the rows, one behind each run of equal group keys and one for "
     u"each outer key; without group keys they go. The row position goes to the first row, and the "
     u"order is announced. Gives 1.", kPlainCall,
     {{u"orders.ModifyKeyStat(0, 1, 'city')\n"
       u"orders.RecalcGroup()\n"
       u"orders.GetRowCount()", u"10"},
      {u"orders.RecalcGroup()\n"
       u"orders.GetRowCount()", u"5"},
      {KT_SAMPLE_GROUP
       u"orders.ModifyKeyStat(1, 1, 'city')\n"
       u"orders.RecalcGroup()\n"
       u"orders.GetRowCount()", u"5"}}},
    {kOrder, u"GetRowLevel",
     u"The level of a subtotal row, 1 for the innermost; 0 for a plain row.",
     u"0 when there is no such row.",
     {{KT_SAMPLE_GROUP
       u"orders.GetRowLevel(1)", u"1"},
      {KT_SAMPLE_GROUP
       u"orders.GetRowLevel(0) + ', ' + orders.GetRowLevel(99)", u"0, 0"},
      {KT_SAMPLE_GROUP
       u"orders.GetColumn(7, 'city') + ' at level ' + orders.GetRowLevel(7)", u"Rome at level 1"}}},
    {kOrder, u"GetRangeStart", u"The first row that a subtotal covers; a plain row itself.",
     u"-1 when there is no such row.",
     {{KT_SAMPLE_GROUP
       u"orders.GetRangeStart(4)", u"2"},
      {u"orders.GetRangeStart(9)", u"-1"},
      {KT_SAMPLE_GROUP
       u"orders.GetColumn(orders.GetRangeStart(7), 'city')", u"Rome"}}},
    {kOrder, u"GetRangeCount",
     u"How many rows a subtotal covers, inner subtotals among them; 1 for a plain row.",
     u"0 when there is no such row.",
     {{KT_SAMPLE_GROUP
       u"orders.GetRangeCount(4)", u"2"},
      {KT_SAMPLE_GROUP
       u"orders.GetRangeCount(0) + ', ' + orders.GetRangeCount(99)", u"1, 0"},
      {KT_SAMPLE_GROUP
       u"orders.GetColumn(7, 'qty') / orders.GetRangeCount(7)", u"7"}}},

    // ---- Pivots
    {kPivots, u"RecalcPivot",
     u"Makes the dataset a pivot by its keys (ModifyKeyStat): one row for each value of the row "
     u"keys, one position for each value of the column keys, and the total of the value columns "
     u"where both meet. Without such keys the dataset is none again. The row position goes to the "
     u"first row, and the order is announced. Gives 1.",
     u"-1 when it cannot be made.",
     {{KT_SAMPLE_PIVOT
       u"orders.GetRowCount()", u"3"},
      {u"orders.RecalcPivot()\n"
       u"orders.GetRowCount()", u"5"},
      {KT_SAMPLE_PIVOT
       u"orders.GetColumn(2, 'city') + ': ' + orders.PivotSum('qty', 2)", u"Rome: 14"}}},
    {kPivots, u"GetPivotIndex", u"The position that is current.", u"-1 when none is.",
     {{u"orders.GetPivotIndex()", u"-1"},
      {KT_SAMPLE_PIVOT
       u"orders.GetPivotIndex()", u"-1"},
      {KT_SAMPLE_PIVOT
       u"iif(orders.GetPivotIndex() < 0, 'no position', 'a position')", u"no position"}}},
    {kPivots, u"GetPivotCount", u"The number of positions, subtotal positions among them.",
     u"0 when the dataset is no pivot.",
     {{KT_SAMPLE_PIVOT
       u"orders.GetPivotCount()", u"5"},
      {u"orders.GetPivotCount()", u"0"},
      {KT_SAMPLE_PIVOT
       u"orders.GetPivotCount() - orders.PivotCount('qty', 2) + ' empty'", u"3 empty"}}},
    {kPivots, u"PivotSum", u"The sum of a value column, or of an expression, across one pivot row.",
     kAcross,
     {{KT_SAMPLE_PIVOT
       u"orders.PivotSum('qty', 2)", u"14"},
      {u"orders.PivotSum('qty', 2)", u"0"},
      {KT_SAMPLE_PIVOT
       u"round(orders.PivotSum('qty', 2) / orders.PivotSum('qty', 1), 2)", u"1.56"}}},
    {kPivots, u"PivotAvg",
     u"The average across one pivot row; positions without a cell are left out.",
     kAcross,
     {{KT_SAMPLE_PIVOT
       u"orders.PivotAvg('qty', 2)", u"7"},
      {KT_SAMPLE_PIVOT
       u"orders.PivotAvg('qty', 9)", u"0"},
      {KT_SAMPLE_PIVOT
       u"orders.PivotSum('qty', 1) / orders.PivotAvg('qty', 1)", u"2"}}},
    {kPivots, u"PivotMax", u"The greatest value across one pivot row.", kAcross,
     {{KT_SAMPLE_PIVOT
       u"orders.PivotMax('qty', 2)", u"10"},
      {KT_SAMPLE_PIVOT
       u"orders.PivotMax('qty')", u"0"},
      {KT_SAMPLE_PIVOT
       u"orders.PivotMax('qty', 1) - orders.PivotMin('qty', 1)", u"3"}}},
    {kPivots, u"PivotMin", u"The least value across one pivot row.", kAcross,
     {{KT_SAMPLE_PIVOT
       u"orders.PivotMin('qty', 2)", u"4"},
      {KT_SAMPLE_PIVOT
       u"orders.PivotMin('qty', -1)", u"0"},
      {KT_SAMPLE_PIVOT
       u"iif(orders.PivotMin('qty', 1) < 5, orders.GetColumn(1, 'city') + ' is low', 'fine')",
       u"Oslo is low"}}},
    {kPivots, u"PivotCount", u"The number of values across one pivot row.", kAcross,
     {{KT_SAMPLE_PIVOT
       u"orders.PivotCount('qty', 2)", u"2"},
      {u"orders.PivotCount('qty', 2)", u"0"},
      {KT_SAMPLE_PIVOT
       u"orders.PivotCount('qty', 0) + ' of ' + orders.GetPivotCount()", u"1 of 5"}}},

    // ---- Filters and searches
    {kFilters, u"Filter",
     u"Hides the rows in which the expression is false, in place of an earlier filter; the empty "
     u"text shows all rows again. Rows are hidden only by the number 0 or the text 'false', and "
     u"stay as they are when their cells change later. The row position goes to the first row, and "
     u"the filter is announced. Gives nothing.",
     u"A faulty expression hides no row.",
     {{u"orders.Filter('city == \"Rome\"')\n"
       u"orders.GetRowCount()", u"2"},
      {u"orders.Filter('')\n"
       u"orders.GetRowCount()", u"5"},
      {u"orders.Filter('price > 2 && indexOf(item, \"p\") >= 0')\n"
       u"orders.rowcount + ': ' + orders[0].item", u"1: pad"}}},
    {kFilters, u"UnFilter",
     u"Shows all rows again, and gives how many came back.", kPlainCall,
     {{u"orders.Filter('city == \"Rome\"')\n"
       u"orders.UnFilter()", u"3"},
      {u"orders.UnFilter()", u"0"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.Filter('city == \"Rome\"')\n"
       u"orders.UnFilter()\n"
       u"orders.rowcount", u"5"}}},
    {kFilters, u"RecalcFilter",
     u"Applies the filter that belongs to the definition of a logical dataset once more. Gives "
     u"nothing.",
     u"Does nothing on any other dataset.",
     {{u"orders.RecalcFilter()\n"
       u"orders.GetRowCount()", u"5"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.SetColumn(0, 'qty', 50)\n"
       u"orders.RecalcFilter()\n"
       u"orders.rowcount", u"3"},
      {u"orders.SetColumn(0, 'qty', 1)\n"
       u"orders.RecalcFilter()\n"
       u"orders.rowcount", u"5"}}},
    {kFilters, u"SearchRow",
     u"The first shown row from nStart to before nEnd in which the expression is true: a number "
     u"other than 0 or the text 'true'.",
     u"-1 when there is none, or no expression. The range is cut to the rows.",
     {{u"orders.SearchRow('qty * price > 10', 1)", u"1"},
      {u"orders.SearchRow('qty > 99')", u"-1"},
      {u"orders.GetColumn(orders.SearchRow('toLower(item) == \"pad\"'), 'qty')", u"4"}}},
    {kFilters, u"SearchRowNF",
     u"The first row from nStart, filters or not, in which the expression is true; row numbers are "
     u"those without filters.",
     u"-1 when there is none, or no expression.",
     {{u"orders.Filter('qty < 5')\n"
       u"orders.SearchRowNF('qty == 6')", u"3"},
      {u"orders.SearchRowNF('qty == 10', 1)", u"-1"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.GetColumnNF(orders.SearchRowNF('price == orders.MaxNF(\"price\")'), 'item')",
       u"ink"}}},
    {kFilters, u"FindRow",
     u"The first shown row from nStart to before nEnd whose column holds the value. The value is "
     u"converted to the type of the column; texts must be equal.", kNotFound,
     {{u"orders.FindRow('qty', '4')", u"2"},
      {u"orders.FindRow('item', 'PEN')", u"-1"},
      {u"orders.GetColumn(orders.FindRow('item', 'Pen', 1), 'city')", u"Oslo"}}},
    {kFilters, u"FindRowAs", u"As FindRow; texts of cells are compared without regard to case.",
     kNotFound,
     {{u"orders.FindRowAs('item', 'PEN', 1)", u"3"},
      {u"orders.FindRowAs('item', 'pe')", u"-1"},
      {u"orders.GetColumn(orders.FindRowAs('city', 'OSLO', orders.FindRowAs('city', 'oslo') + "
       u"1), 'item')",
       u"Pen"}}},
    {kFilters, u"FindRowNF",
     u"As FindRow over all rows; row numbers are those without filters.", kNotFound,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.FindRowNF('item', 'Pen')", u"3"},
      {u"orders.FindRowNF('item', 'nib')", u"-1"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.SetColumnNF(orders.FindRowNF('item', 'pen'), 'qty', 3)\n"
       u"orders.GetColumnNF(0, 'qty')", u"3"}}},
    {kFilters, u"FindRowNFAs",
     u"As FindRowAs over all rows; row numbers are those without filters.", kNotFound,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.FindRowNFAs('item', 'PEN')", u"0"},
      {u"orders.FindRowNFAs('weight', 1)", u"-1"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.GetColumnNF(orders.FindRowNFAs('item', 'PEN', 1), 'city')", u"Oslo"}}},
    {kFilters, u"Lookup",
     u"The value of strOutputColID, as text, in the first shown row whose strColID holds the "
     u"value.",
     u"Empty when there is no such row or column.",
     {{u"stock.Lookup('item', 'cup', 'left')", u"7"},
      {u"stock.Lookup('item', 'nib', 'left')", u""},
      {u"orders.Sum('qty * stock.Lookup(\"item\", item, \"left\")')", u"400"}}},

    // ---- Aggregates
    {kTotals, u"Count", u"The number of shown rows in a range, without subtotals.",
     u"0 without rows. All rows when nothing is said.",
     {{u"orders.Count(1, 3)", u"3"},
      {u"orders.Filter('qty > 99')\n"
       u"orders.Count()", u"0"},
      {KT_SAMPLE_GROUP
       u"orders.Count() + ' of ' + orders.GetRowCount()", u"5 of 8"}}},
    {kTotals, u"CountNF", u"The number of rows in a range, filters or not, without subtotals.",
     u"0 without rows. All rows when nothing is said.",
     {{u"orders.Filter('qty < 5')\n"
       u"orders.CountNF()", u"5"},
      {u"orders.TotalCount(4, 9)", u"1"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.CountNF() - orders.Count() + ' hidden'", u"2 hidden"}}},
    {kTotals, u"Sum",
     u"The sum of a column, or of an expression that is worked out in each row. Whole numbers give "
     u"a whole number.", kRange,
     {{u"orders.Sum('qty * price')", u"58"},
      {u"orders.Sum('item')", u"0"},
      {u"round(orders.Sum('qty * price * 1.19'), 2)", u"69.02"}}},
    {kTotals, u"SumNF", u"The sum over all rows.", kAllRows,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.SumNF('qty')", u"25"},
      {u"orders.SumNF('qty', 3, 9)", u"8"},
      {u"orders.Filter('city == \"Rome\"')\n"
       u"round(orders.Sum('qty') / orders.SumNF('qty') * 100) + ' %'", u"56 %"}}},
    {kTotals, u"Avg",
     u"The average of a column, nulls left out, or of an expression over all rows of the range.",
     kRange,
     {{u"orders.Avg('qty')", u"5"},
      {u"orders.Avg('price') + ', ' + orders.Avg('price + 0')", u"3.375, 2.7"},
      {u"orders.CaseCount('price > orders.Avg(\"price\")')", u"1"}}},
    {kTotals, u"AvgNF", u"The average over all rows.", kAllRows,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.AvgNF('qty')", u"5"},
      {u"orders.ClearData()\n"
       u"orders.AvgNF('qty')", u"0"},
      {u"orders.Filter('qty > orders.AvgNF(\"qty\")')\n"
       u"orders.rowcount", u"2"}}},
    {kTotals, u"Max", u"The greatest value of a column or an expression.", kRange,
     {{u"orders.Max('qty')", u"10"},
      {u"orders.Max('item')", u"pen"},
      {u"orders.GetColumn(orders.SearchRow('price == orders.Max(\"price\")'), 'item')", u"ink"}}},
    {kTotals, u"MaxNF", u"The greatest value over all rows.", kAllRows,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.MaxNF('qty')", u"10"},
      {u"orders.MaxNF('qty', 1, 2)", u"4"},
      {u"orders.Filter('qty < 5')\n"
       u"iif(orders.Max('qty') < orders.TotalMax('qty'), 'the greatest is hidden', 'shown')",
       u"the greatest is hidden"}}},
    {kTotals, u"Min", u"The least value of a column or an expression.", kRange,
     {{u"orders.Min('qty')", u"2"},
      {u"orders.Min('price')", u"1.5"},
      {u"orders.Min('iif(price == \"\", 999, price)', 0, 3)", u"1.5"}}},
    {kTotals, u"MinNF", u"The least value over all rows.", kAllRows,
     {{u"orders.Filter('qty > 5')\n"
       u"orders.MinNF('qty')", u"2"},
      {u"orders.MinNF('qty', 0, 2)", u"3"},
      {u"orders.Filter('qty > 5')\n"
       u"orders.GetColumnNF(orders.FindRowNF('qty', orders.TotalMin('qty')), 'item')", u"cap"}}},

    // ---- Case forms
    {kCases, u"CaseCount", u"How many rows meet the condition: a number other than 0 or 'true'.",
     u"0 when no row does, 0.0 without arguments. Subtotal rows are left out.",
     {{u"orders.CaseCount('city == \"Oslo\"')", u"2"},
      {u"orders.CaseCount('city == \"\"')", u"1"},
      {u"round(orders.CaseCount('city == \"Rome\"') / orders.Count() * 100) + ' %'", u"40 %"}}},
    {kCases, u"CaseCountNF", u"How many of all rows meet the condition.", kAllRows,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.CaseCountNF('city == \"Oslo\"')", u"2"},
      {u"orders.CaseCountNF('qty > 99')", u"0"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.TotalCaseCount('toLower(item) == \"pen\"') - orders.CaseCount('toLower(item) "
       u"== \"pen\"')",
       u"2"}}},
    {kCases, u"CaseSum", u"The sum of an expression over the rows that meet a condition.", kCaseOdd,
     {{u"orders.CaseSum('city == \"Rome\"', 'qty')", u"14"},
      {u"orders.CaseSum('city == \"Bonn\"', 'qty')", u"0"},
      {u"orders.CaseSum('city == \"Rome\" && qty > 5', 'qty * price')", u"15"}}},
    {kCases, u"CaseSumNF", u"The sum over those of all rows.", kAllRows,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.CaseSumNF('city == \"Rome\"', 'qty')", u"14"},
      {u"orders.CaseSumNF('price > 2')", u"0"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.CaseSum('1', 'qty') + ' of ' + orders.TotalCaseSum('1', 'qty')", u"9 of 25"}}},
    {kCases, u"CaseAvg", u"The average of an expression over the rows that meet a condition.",
     kCaseOdd,
     {{u"orders.CaseAvg('city == \"Rome\"', 'qty')", u"7"},
      {u"orders.CaseAvg('qty > 99', 'price')", u"0"},
      {u"orders.CaseAvg('price > 0', 'price')", u"3.375"}}},
    {kCases, u"CaseAvgNF", u"The average over those of all rows.", kAllRows,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.CaseAvgNF('city == \"Rome\"', 'qty')", u"7"},
      {u"orders.CaseAvgNF('city == \"Bonn\"', 'qty')", u"0"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.TotalCaseAvg('price > 0', 'price')", u"3.375"}}},
    {kCases, u"CaseMax", u"The greatest value over the rows that meet a condition.", kCaseOdd,
     {{u"orders.CaseMax('city == \"Oslo\"', 'qty')", u"6"},
      {u"orders.CaseMax('city == \"Bonn\"', 'qty')", u"0"},
      {u"orders.CaseMax('city == \"Rome\"', 'qty * price')", u"15"}}},
    {kCases, u"CaseMaxNF", u"The greatest value over those of all rows.", kAllRows,
     {{u"orders.Filter('qty < 5')\n"
       u"orders.CaseMaxNF('city == \"Oslo\"', 'qty')", u"6"},
      {u"orders.CaseMaxNF('city == \"Oslo\"')", u"0"},
      {u"orders.Filter('qty < 5')\n"
       u"orders.TotalCaseMax('price < 2', 'qty')", u"10"}}},
    {kCases, u"CaseMin", u"The least value over the rows that meet a condition.", kCaseOdd,
     {{u"orders.CaseMin('city == \"Oslo\"', 'qty')", u"3"},
      {u"orders.CaseMin('qty > 99', 'qty')", u"0"},
      {u"orders.CaseMin('price > 0', 'price')", u"1.5"}}},
    {kCases, u"CaseMinNF", u"The least value over those of all rows.", kAllRows,
     {{u"orders.Filter('qty > 5')\n"
       u"orders.CaseMinNF('city == \"Oslo\"', 'qty')", u"3"},
      {u"orders.CaseMinNF('qty > 99', 'qty')", u"0"},
      {u"orders.Filter('qty > 5')\n"
       u"orders.TotalCaseMin('city != \"\"', 'qty')", u"3"}}},

    // ---- Copies
    {kCopies, u"CopyRow",
     u"Copies values of row nFromRow of another dataset, given as object or by id, into row nRow, "
     u"and gives how many cells were written. strColInfo lists columns, 'item, qty=left': an id "
     u"copies the column of that id, target=source another one; without a list all columns that "
     u"both have are copied. The host is not asked, and told once.",
     u"Nothing happens when either row or the dataset is not there. Refused on a logical dataset.",
     {{u"orders.CopyRow(0, 'stock', 2, 'item, qty=left')\n"
       u"orders.GetColumn(0, 'qty')", u"7"},
      {u"orders.CopyRow(0, 'stock', 9)\n"
       u"orders.GetColumn(0, 'item')", u"pen"},
      {u"orders.CopyRow(orders.AddRow(), stock, 2)\n"
       u"orders[5].item + ' ' + type(orders.GetColumn(5, 'qty'))", u"cup empty"}}},
    {kCopies, u"CopytoRow",
     u"The other direction of CopyRow: copies values of row nRow into row nToRow of another "
     u"dataset. strColInfo has the ids of the other dataset in front of '='.",
     u"Nothing happens when either row or the dataset is not there. Refused when the other dataset "
     u"is logical.",
     {{u"orders.CopyToRow(0, 'stock', 2, 'item, left=qty')\n"
       u"stock.GetColumn(2, 'left')", u"10"},
      {u"orders.CopyToRow(0, 'stock', 9, 'item')\n"
       u"stock.rowcount", u"3"},
      {u"orders.CopyToRow(0, stock, stock.AddRow())\n"
       u"stock[3].item", u"pen"}}},
    {kCopies, u"CopyColumn",
     u"Copies one cell of another dataset into a cell: 1, or -1 when it cannot be written. The "
     u"host is not asked, and told once.",
     u"Nothing happens when a row, a column or the dataset is not there. Refused on a logical "
     u"dataset.",
     {{u"orders.CopyColumn(0, 'qty', 'stock', 2, 'left')\n"
       u"orders.GetColumn(0, 'qty')", u"7"},
      {u"orders.CopyColumn(0, 'qty', 'stock', 2, 'weight')\n"
       u"orders.GetColumn(0, 'qty')", u"10"},
      {u"orders.CopyColumn(0, 'qty', stock, stock.FindRow('item', orders[0].item), 'left')\n"
       u"orders[0].qty", u"40"}}},
    {kCopies, u"CopytoColumn",
     u"Copies one cell into a cell of another dataset: 1, or -1 when it cannot be written. The "
     u"host is not asked, and told once.",
     u"Nothing happens when a row, a column or the dataset is not there. Refused when the other "
     u"dataset is logical.",
     {{u"orders.CopyToColumn(0, 'qty', 'stock', 2, 'left')\n"
       u"stock.GetColumn(2, 'left')", u"10"},
      {u"orders.CopyToColumn(0, 'qty', 'stock', 2, 'item')\n"
       u"stock.GetColumn(2, 'item')", u"10"},
      {u"orders.CopyToColumn(1, 2, stock, stock.FindRow('item', 'ink'), 1)\n"
       u"stock[1].left", u"3"}}},
    {kCopies, u"Copy",
     u"Takes columns, rows, states, first values and constants of another dataset in place of the "
     u"own ones; filters and keys go, the id stays. Gives the number of rows. Announced as loaded.",
     kNoDataset,
     {{u"orders.Copy('stock')\n"
       u"orders.GetColumn(2, 'item')", u"cup"},
      {u"orders.Copy('nothing')", u"-1"},
      {u"orders.Filter('qty < 5')\n"
       u"stock.Copy(orders)", u"5"}}},
    {kCopies, u"CopyF",
     u"As Copy, but takes only the rows that are shown, as rows without changes. Gives the number "
     u"of rows. Announced as loaded.",
     kNoDataset,
     {{u"orders.Filter('qty < 5')\n"
       u"stock.CopyF('orders')", u"3"},
      {u"stock.CopyF('nothing')", u"-1"},
      {u"orders.Filter('city == \"Oslo\"')\n"
       u"stock.CopyF(orders)\n"
       u"stock.Sum('qty * price')", u"33"}}},
    {kCopies, u"Assign",
     u"As Copy, with filters, order and keys. Gives the number of rows that are shown. Announced "
     u"as loaded.",
     kNoDataset,
     {{u"orders.Filter('qty < 5')\n"
       u"stock.Assign('orders')\n"
       u"stock.GetRowCountNF()", u"5"},
      {u"orders.Assign('nothing')", u"-1"},
      {u"orders.Sort('qty')\n"
       u"stock.Assign(orders)\n"
       u"stock[0].item", u"cap"}}},
    {kCopies, u"AppendDataset",
     u"Adds the shown rows of another dataset, as added rows, into the columns of the same ids. "
     u"Gives the number of rows. Announced as appended.",
     kNoDataset,
     {{u"orders.AppendDataset('stock')\n"
       u"orders.GetRowCount()", u"8"},
      {u"orders.AppendDataset('nothing')", u"-1"},
      {u"orders.AppendDataset(stock)\n"
       u"orders[5].item + ' ' + orders.GetRowType(5)", u"pen insert"}}},
    {kCopies, u"Merge",
     u"As AppendDataset, but a row whose sort and group keys are those of a row here is not added: "
     u"it overwrites that row when it was added or changed itself, and is left out otherwise. "
     u"Without keys it is AppendDataset. Gives the number of rows added or overwritten. Announced "
     u"as appended.",
     kNoDataset,
     {{u"orders.Sort('item')\n"
       u"stock.SetColumn(1, 'left', 5)\n"
       u"orders.Merge('stock')\n"
       u"orders.GetRowCount()", u"6"},
      {u"orders.Merge('stock')", u"3"},
      {u"orders.Sort('item')\n"
       u"orders.Merge(stock)\n"
       u"orders.CaseCount('rowtype == \"insert\"')", u"1"}}},

    // ---- Files
    {kFiles, u"LoadXML",
     u"Loads what SaveXML made, or with bBinary what SaveBIN made, in place of the rows, or behind "
     u"them when bClear is 0. Gives the number of rows loaded. The id stays, the row position goes "
     u"to the first row, and the rows are announced as loaded or appended.",
     u"-1, and the dataset stays as it was, when the data is faulty; announced all the same. "
     u"Refused on a logical dataset.",
     {{u"orders.LoadXML(stock.SaveXML())", u"3"},
      {u"orders.LoadXML('<no dataset')", u"-1"},
      {u"stock.SetColumn(0, 'left', 39)\n"
       u"orders.LoadXML(stock.SaveXML('', 'update'))\n"
       u"orders[0].left + ' ' + orders.GetRowType(0)", u"39 update"}}},
    {kFiles, u"LoadCSV",
     u"Loads comma-separated text in place of the rows, or behind them when bClear is 0. The first "
     u"line names the columns, as id or id:type. Gives the number of rows loaded. The id stays, "
     u"the row position goes to the first row, and the rows are announced as loaded or appended.",
     u"-1, and the dataset stays as it was, when the data is faulty; announced all the same. "
     u"Refused on a logical dataset.",
     {{u"stock.LoadCSV('item,left' + chr(10) + 'hat,9', 0)\n"
       u"stock.GetColumn(3, 'left')", u"9"},
      {u"stock.LoadCSV('') + ', ' + stock.rowcount", u"-1, 3"},
      {u"stock.LoadCSV('code:string,day:datetime' + chr(10) + '007,2024-02-29')\n"
       u"stock[0].code + ' ' + toString(stock[0].day, 'd.M.yyyy')",
       u"007 29.2.2024"}}},
    {kFiles, u"SaveXML",
     u"The dataset as XML text, with states, first values and deleted rows, under the id strID "
     u"when one is given. strSaveType says which rows: 'all' or '' those that are shown, 'nf' all, "
     u"'update' the changed ones. bHeader 0 leaves the types of the columns out.",
     u"An error for another type, for objects and for what would be too long. Refused on a logical "
     u"dataset.",
     {{u"pos(stock.SaveXML('shop'), 'dataset id=\"shop\"') > 0", u"1"},
      {u"length(stock.SaveXML('', 'update')) < length(stock.SaveXML())", u"1"},
      {u"orders.Filter('qty < 5')\n"
       u"stock.LoadXML(orders.SaveXML('', 'nf'))", u"5"}}},
    {kFiles, u"SaveCSV",
     u"The rows as comma-separated text, without states. strSaveType as for SaveXML.",
     u"An error for another type, for lists and objects and for what would be too long. Refused on "
     u"a logical dataset.",
     {{u"replace(stock.SaveCSV(), chr(13) + chr(10), '; ')",
       u"item:string,left:long; pen,40; ink,0; cup,7; "},
      {u"trim(stock.SaveCSV('', 'update'))", u"item:string,left:long"},
      {u"orders.Filter('qty > 5')\n"
       u"trim(NToken(orders.SaveCSV(), chr(10), 2))", u"pen,Rome,10,1.5"}}},
    {kFiles, u"SaveBIN",
     u"The dataset as a binary value, which LoadXML takes with bBinary; strID and strSaveType as "
     u"for SaveXML. Keeps the same as XML.",
     u"An error for another type, for objects and for what would be too long. Refused on a logical "
     u"dataset.",
     {{u"orders.LoadXML(stock.SaveBIN(), 1, 1)", u"3"},
      {u"type(orders.SaveBIN())", u"binary"},
      {u"orders.SetColumn(0, 'qty', 11)\n"
       u"stock.LoadXML(orders.SaveBIN(), 1, 1)\n"
       u"stock.GetOrgColumn(0, 'qty')", u"10"}}},
};
// clang-format on

}  // namespace

const Kt_MethodDoc* GetMethodDoc(const char16_t* name) {
  const Kt_Getter method = Kt_ExprDataset::GetDSetMethodFunc(name);
  if (method == nullptr) return nullptr;
  for (const Kt_MethodDoc& doc : kDocs) {
    if (Kt_ExprDataset::GetDSetMethodFunc(doc.name) == method) return &doc;
  }
  return nullptr;
}

std::span<const Kt_MethodDoc> GetMethodDocs() { return kDocs; }

std::span<const Kt_SampleDataset> GetSampleDatasets() { return kSamples; }
