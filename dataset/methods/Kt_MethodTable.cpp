// SPDX-License-Identifier: MIT
//
// The dataset methods, one row each. Sorted by name without regard to case: the look-up bisects.
// An alias is a row with the same handler. What each method does is told in
// reference/Kt_MethodHelp.cpp.
//
// `count` is how many arguments the commonest form takes; the handlers decide for themselves what
// they need.

#include <iterator>
#include <string_view>

#include "dataset/Kt_ExprDataset.h"

namespace {

using Self = Kt_ExprDataset;

// clang-format off
constexpr _EXPR_OBJMETHOD_INFO kMethodRows[] = {
    {u"AddColumn",        kHandler<&Self::CallAddColumn>,        nullptr, 1, 1,
        u"AddColumn(strColID[,strColType[,nColSize]])"},
    {u"AddConstColumn",   kHandler<&Self::CallAddConstColumn>,   nullptr, 1, 1,
        u"AddConstColumn(strColID[,varVal])"},
    {u"AddLogicalColumn", kHandler<&Self::CallAddLogicalColumn>, nullptr, 2, 1,
        u"AddLogicalColumn(strColID, strMapValue[,strColType[,nColSize]])"},
    {u"AddRow",           kHandler<&Self::CallAppendRow>,        nullptr, 0, 1, u"AddRow()"},
    {u"AppendDataset",    kHandler<&Self::CallAppendDataset>,    nullptr, 1, 1,
        u"AppendDataset(objDataset)\n"
        u"AppendDataset(strDataset)"},
    {u"AppendRow",        kHandler<&Self::CallAppendRow>,        nullptr, 0, 1, u"AppendRow()"},
    {u"ApplyChange",      kHandler<&Self::CallApplyChange>,      nullptr, 0, 0, u"ApplyChange()"},
    {u"Assign",           kHandler<&Self::CallAssign>,           nullptr, 0, 0,
        u"Assign(objDataset)\n"
        u"Assign(strDataset)"},
    {u"Avg",              kHandler<&Self::CallAvg>,              nullptr, 1, 1,
        u"Avg(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"Avg(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"AvgNF",            kHandler<&Self::CallAvgNF>,            nullptr, 1, 1,
        u"AvgNF(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"AvgNF(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"CaseAvg",          kHandler<&Self::CallCaseAvg>,          nullptr, 2, 1,
        u"CaseAvg(strCmpExpr,strValExpr[,nStart[,nCnt[,nPivotIndex[,bCountNull]]]])"},
    {u"CaseAvgNF",        kHandler<&Self::CallCaseAvgNF>,        nullptr, 2, 1,
        u"CaseAvgNF(strCmpExpr,strValExpr[,nStart[,nCnt[,nPivotIndex[,bCountNull]]]])"},
    {u"CaseCount",        kHandler<&Self::CallCaseCount>,        nullptr, 1, 1,
        u"CaseCount(strCmpExpr[,nStart[,nCnt[,nPivotIndex[,bCountNull]]]])"},
    {u"CaseCountNF",      kHandler<&Self::CallCaseCountNF>,      nullptr, 1, 1,
        u"CaseCountNF(strCmpExpr[,nStart[,nCnt[,nPivotIndex[,bCountNull]]]])"},
    {u"CaseMax",          kHandler<&Self::CallCaseMax>,          nullptr, 2, 1,
        u"CaseMax(strCmpExpr,strValExpr[,nStart[,nCnt[,nPivotIndex[,bCountNull]]]])"},
    {u"CaseMaxNF",        kHandler<&Self::CallCaseMaxNF>,        nullptr, 2, 1,
        u"CaseMaxNF(strCmpExpr,strValExpr[,nStart[,nCnt[,nPivotIndex[,bCountNull]]]])"},
    {u"CaseMin",          kHandler<&Self::CallCaseMin>,          nullptr, 2, 1,
        u"CaseMin(strCmpExpr,strValExpr[,nStart[,nCnt[,nPivotIndex[,bCountNull]]]])"},
    {u"CaseMinNF",        kHandler<&Self::CallCaseMinNF>,        nullptr, 2, 1,
        u"CaseMinNF(strCmpExpr,strValExpr[,nStart[,nCnt[,nPivotIndex[,bCountNull]]]])"},
    {u"CaseSum",          kHandler<&Self::CallCaseSum>,          nullptr, 2, 1,
        u"CaseSum(strCmpExpr,strValExpr[,nStart[,nCnt[,nPivotIndex[,bCountNull]]]])"},
    {u"CaseSumNF",        kHandler<&Self::CallCaseSumNF>,        nullptr, 2, 1,
        u"CaseSumNF(strCmpExpr,strValExpr[,nStart[,nCnt[,nPivotIndex[,bCountNull]]]])"},
    {u"Clear",            kHandler<&Self::CallClear>,            nullptr, 0, 1, u"Clear()"},
    {u"ClearData",        kHandler<&Self::CallClearData>,        nullptr, 0, 0, u"ClearData()"},
    {u"ClearSelect",      kHandler<&Self::CallClearSelect>,      nullptr, 0, 1, u"ClearSelect()"},
    {u"ColCount",         kHandler<&Self::CallGetColCount>,      nullptr, 0, 1, u"ColCount()"},
    {u"ConstCount",       kHandler<&Self::CallGetConstCount>,    nullptr, 0, 1, u"ConstCount()"},
    {u"Copy",             kHandler<&Self::CallCopy>,             nullptr, 1, 1,
        u"Copy(objDataset)\n"
        u"Copy(strDataset)"},
    {u"CopyColumn",       kHandler<&Self::CallCopyColumn>,       nullptr, 5, 1,
        u"CopyColumn(nRow,nCol,strDataset,nFromRow,nFromCol)\n"
        u"CopyColumn(nRow,strCol,strDataset,nFromRow,strFromCol)\n"
        u"CopyColumn(nRow,nCol,objDataset,nFromRow,nFromCol)\n"
        u"CopyColumn(nRow,strCol,objDataset,nFromRow,strFromCol)"},
    {u"CopyF",            kHandler<&Self::CallCopyF>,            nullptr, 1, 1,
        u"CopyF(objDataset)\n"
        u"CopyF(strDataset)"},
    {u"CopyRow",          kHandler<&Self::CallCopyRow>,          nullptr, 4, 1,
        u"CopyRow(nRow,strDataset,nFromRow,strColInfo)\n"
        u"CopyRow(nRow,objDataset,nFromRow,strColInfo)"},
    {u"CopytoColumn",     kHandler<&Self::CallCopytoColumn>,     nullptr, 5, 1,
        u"CopyToColumn(nRow,nCol,strDataset,nToRow,nToCol)\n"
        u"CopyToColumn(nRow,strCol,strDataset,nToRow,strToCol)\n"
        u"CopyToColumn(nRow,nCol,objDataset,nToRow,nToCol)\n"
        u"CopyToColumn(nRow,strCol,objDataset,nToRow,strToCol)"},
    {u"CopytoRow",        kHandler<&Self::CallCopytoRow>,        nullptr, 4, 0,
        u"CopyToRow(nRow,strDataset,nToRow,strColInfo)\n"
        u"CopyToRow(nRow,objDataset,nToRow,strColInfo)"},
    {u"Count",            kHandler<&Self::CallCount>,            nullptr, 0, 1,
        u"Count([nStart[,nCnt[,nPivotIndex]]])"},
    {u"CountNF",          kHandler<&Self::CallCountNF>,          nullptr, 0, 1,
        u"CountNF([nStart[,nCnt[,nPivotIndex]]])"},
    {u"DeleteAll",        kHandler<&Self::CallDeleteAll>,        nullptr, 0, 1, u"DeleteAll()"},
    {u"DeleteRow",        kHandler<&Self::CallDeleteRow>,        nullptr, 1, 1, u"DeleteRow(nRow)"},
    {u"DeleteSelected",   kHandler<&Self::CallDeleteSelected>,   nullptr, 0, 1,
        u"DeleteSelected()"},
    {u"ExChangerow",      kHandler<&Self::CallExChangerow>,      nullptr, 2, 1,
        u"ExChangeRow(nRow1,nRow2)"},
    {u"Filter",           kHandler<&Self::CallFilter>,           nullptr, 1, 0,
        u"Filter(strFilterExpr)"},
    {u"FindRow",          kHandler<&Self::CallFindRow>,          nullptr, 2, 1,
        u"FindRow(strColID,strVal[,nStart[,nEnd]])"},
    {u"FindRowAs",        kHandler<&Self::CallFindRowAs>,        nullptr, 2, 1,
        u"FindRowAs(strColID,strVal[,nStart[,nEnd]])"},
    {u"FindRowNF",        kHandler<&Self::CallFindRowNF>,        nullptr, 2, 1,
        u"FindRowNF(strColID,strVal[,nStart[,nEnd]])"},
    {u"FindRowNFAs",      kHandler<&Self::CallFindRowNFAs>,      nullptr, 2, 1,
        u"FindRowNFAs(strColID,strVal[,nStart[,nEnd]])"},
    {u"GetColCount",      kHandler<&Self::CallGetColCount>,      nullptr, 0, 1, u"GetColCount()"},
    {u"GetColID",         kHandler<&Self::CallGetColID>,         nullptr, 1, 1,
        u"GetColID(nColIdx)"},
    {u"GetColIDxbyorder", kHandler<&Self::CallGetColIDxbyorder>, nullptr, 1, 1,
        u"GetColIDxByOrder(nOrder)"},
    {u"GetColIndex",      kHandler<&Self::CallGetColIndex>,      nullptr, 1, 1,
        u"GetColIndex(strColID)"},
    {u"GetColMapValue",   kHandler<&Self::CallGetColMapValue>,   nullptr, 1, 1,
        u"GetColMapValue(nColIdx)\n"
        u"GetColMapValue(strColID)"},
    {u"GetColSize",       kHandler<&Self::CallGetColSize>,       nullptr, 1, 1,
        u"GetColSize(nColIdx)\n"
        u"GetColSize(strColID)"},
    {u"GetColType",       kHandler<&Self::CallGetColType>,       nullptr, 1, 1,
        u"GetColType(nColIdx)\n"
        u"GetColType(strColID)"},
    {u"GetColumn",        kHandler<&Self::CallGetColumn>,        nullptr, 2, 1,
        u"GetColumn(nRow,nColIdx[,nPivotIndex])\n"
        u"GetColumn(nRow,strColID[,nPivotIndex])"},
    {u"GetColumnNF",      kHandler<&Self::CallGetColumnNF>,      nullptr, 2, 1,
        u"GetColumnNF(nRow,nColIdx)\n"
        u"GetColumnNF(nRow,strColID)"},
    {u"GetColumnSet",     kHandler<&Self::CallGetColumnSet>,     nullptr, 2, 1,
        u"GetColumnSet(nRow,nColIdx)\n"
        u"GetColumnSet(nRow,strColID)"},
    {u"GetConstColID",    kHandler<&Self::CallGetConstColID>,    nullptr, 1, 1,
        u"GetConstColID(nConstIdx)"},
    {u"GetConstColumn",   kHandler<&Self::CallGetConstColumn>,   nullptr, 1, 1,
        u"GetConstColumn(nConstIdx)\n"
        u"GetConstColumn(strConstID)"},
    {u"GetConstCount",    kHandler<&Self::CallGetConstCount>,    nullptr, 0, 1, u"GetConstCount()"},
    {u"GetCount",         kHandler<&Self::CallGetRowCount>,      nullptr, 0, 1, u"GetCount()"},
    {u"GetCountNF",       kHandler<&Self::CallGetRowCountNF>,    nullptr, 0, 1, u"GetCountNF()"},
    {u"GetCurrow",        kHandler<&Self::CallGetRowPosition>,   nullptr, 0, 1, u"GetCurrow()"},
    {u"GetDelColumn",     kHandler<&Self::CallGetDelColumn>,     nullptr, 2, 1,
        u"GetDelColumn(nIndex,nColIdx)\n"
        u"GetDelColumn(nIndex,strColID)"},
    {u"GetDelRowCount",   kHandler<&Self::CallGetDelRowCount>,   nullptr, 0, 1,
        u"GetDelRowCount()"},
    {u"GetFirstrow",      kHandler<&Self::CallGetFirstrow>,      nullptr, 0, 1, u"GetFirstrow()"},
    {u"GetID",            kHandler<&Self::CallGetID>,            nullptr, 0, 1, u"GetID()"},
    {u"GetLastrow",       kHandler<&Self::CallGetLastrow>,       nullptr, 0, 1, u"GetLastrow()"},
    {u"GetNextrow",       kHandler<&Self::CallGetNextrow>,       nullptr, 0, 1, u"GetNextrow()"},
    {u"GetOrgBuffColumn", kHandler<&Self::CallGetOrgBuffColumn>, nullptr, 2, 1,
        u"GetOrgBuffColumn(nIndex,nColIdx)\n"
        u"GetOrgBuffColumn(nIndex,strColID)"},
    {u"GetOrgBuffCount",  kHandler<&Self::CallGetOrgBuffCount>,  nullptr, 0, 1,
        u"GetOrgBuffCount()"},
    {u"GetOrgBuffType",   kHandler<&Self::CallGetOrgBuffType>,   nullptr, 1, 1,
        u"GetOrgBuffType(nIndex)"},
    {u"GetOrgColumn",     kHandler<&Self::CallGetOrgColumn>,     nullptr, 2, 1,
        u"GetOrgColumn(nRow,nColIdx)\n"
        u"GetOrgColumn(nRow,strColID)"},
    {u"GetOrgColumnNF",   kHandler<&Self::CallGetOrgColumnNF>,   nullptr, 2, 1,
        u"GetOrgColumnNF(nRow,nColIdx)\n"
        u"GetOrgColumnNF(nRow,strColID)"},
    {u"GetPivotCount",    kHandler<&Self::CallGetPivotCount>,    nullptr, 0, 1, u"GetPivotCount()"},
    {u"GetPivotIndex",    kHandler<&Self::CallGetPivotIndex>,    nullptr, 0, 1, u"GetPivotIndex()"},
    {u"GetPrevrow",       kHandler<&Self::CallGetPrevrow>,       nullptr, 0, 1, u"GetPrevrow()"},
    {u"GetRangeCount",    kHandler<&Self::CallGetRangeCount>,    nullptr, 1, 1,
        u"GetRangeCount(nRow)"},
    {u"GetRangeStart",    kHandler<&Self::CallGetRangeStart>,    nullptr, 1, 1,
        u"GetRangeStart(nRow)"},
    {u"GetRowCount",      kHandler<&Self::CallGetRowCount>,      nullptr, 0, 1, u"GetRowCount()"},
    {u"GetRowCountNF",    kHandler<&Self::CallGetRowCountNF>,    nullptr, 0, 1, u"GetRowCountNF()"},
    {u"GetRowIndexNF",    kHandler<&Self::CallGetRowIndexNF>,    nullptr, 1, 1,
        u"GetRowIndexNF(nRow)"},
    {u"GetRowLevel",      kHandler<&Self::CallGetRowLevel>,      nullptr, 1, 1,
        u"GetRowLevel(nRow)"},
    {u"GetRowPos",        kHandler<&Self::CallGetRowPosition>,   nullptr, 0, 1, u"GetRowPos()"},
    {u"GetRowPosition",   kHandler<&Self::CallGetRowPosition>,   nullptr, 0, 1,
        u"GetRowPosition()"},
    {u"GetRowType",       kHandler<&Self::CallGetRowType>,       nullptr, 1, 1,
        u"GetRowType(nRow)"},
    {u"GetRowTypeNF",     kHandler<&Self::CallGetRowTypeNF>,     nullptr, 1, 1,
        u"GetRowTypeNF(nRow)"},
    {u"GetSelect",        kHandler<&Self::CallGetSelect>,        nullptr, 1, 1, u"GetSelect(nRow)"},
    {u"GetTotalRowCount", kHandler<&Self::CallGetRowCountNF>,    nullptr, 0, 1,
        u"GetTotalRowCount()"},
    {u"GetTotalRowType",  kHandler<&Self::CallGetRowTypeNF>,     nullptr, 1, 1,
        u"GetTotalRowType(nRow)"},
    {u"GetUpdate",        kHandler<&Self::CallGetUpdate>,        nullptr, 0, 1, u"GetUpdate()"},
    {u"ID",               kHandler<&Self::CallGetID>,            nullptr, 0, 1, u"ID()"},
    {u"InsertRow",        kHandler<&Self::CallInsertRow>,        nullptr, 1, 1, u"InsertRow(nRow)"},
    {u"LoadCSV",          kHandler<&Self::CallLoadCSV>,          nullptr, 1, 1,
        u"LoadCSV(csvData[,bClear])"},
    {u"LoadXML",          kHandler<&Self::CallLoadXML>,          nullptr, 1, 1,
        u"LoadXML(xmlData[,bClear[,bBinary]])"},
    {u"Lookup",           kHandler<&Self::CallLookup>,           nullptr, 3, 1,
        u"LookUp(strColID,strCmpVal,strOutputColID)"},
    {u"Max",              kHandler<&Self::CallMax>,              nullptr, 1, 1,
        u"Max(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"Max(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"MaxNF",            kHandler<&Self::CallMaxNF>,            nullptr, 1, 1,
        u"MaxNF(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"MaxNF(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"Merge",            kHandler<&Self::CallMerge>,            nullptr, 1, 1,
        u"Merge(objDataset)\n"
        u"Merge(strDataset)"},
    {u"Min",              kHandler<&Self::CallMin>,              nullptr, 1, 1,
        u"Min(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"Min(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"MinNF",            kHandler<&Self::CallMinNF>,            nullptr, 1, 1,
        u"MinNF(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"MinNF(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"ModifyKeyStat",    kHandler<&Self::CallModifyKeyStat>,    nullptr, 3, 1,
        u"ModifyKeyStat(nCallType,nKeyType,strColID[,bAscending,nSubSumType])"},
    {u"MoveRow",          kHandler<&Self::CallMoveRow>,          nullptr, 2, 1,
        u"MoveRow(nFromRow,nToRow)"},
    {u"OrgBuffCount",     kHandler<&Self::CallGetOrgBuffCount>,  nullptr, 0, 1, u"OrgBuffCount()"},
    {u"PivotAvg",         kHandler<&Self::CallPivotAvg>,         nullptr, 2, 1,
        u"PivotAvg(strColID,nPivotRow[,nStart[,nCnt]])\n"
        u"PivotAvg(strExpr,nPivotRow[,nStart[,nCnt]])"},
    {u"PivotCount",       kHandler<&Self::CallPivotCount>,       nullptr, 2, 1,
        u"PivotCount(strColID,nPivotRow[,nStart[,nCnt]])\n"
        u"PivotCount(strExpr,nPivotRow[,nStart[,nCnt]])"},
    {u"PivotMax",         kHandler<&Self::CallPivotMax>,         nullptr, 2, 1,
        u"PivotMax(strColID,nPivotRow[,nStart[,nCnt]])\n"
        u"PivotMax(strExpr,nPivotRow[,nStart[,nCnt]])"},
    {u"PivotMin",         kHandler<&Self::CallPivotMin>,         nullptr, 2, 1,
        u"PivotMin(strColID,nPivotRow[,nStart[,nCnt]])\n"
        u"PivotMin(strExpr,nPivotRow[,nStart[,nCnt]])"},
    {u"PivotSum",         kHandler<&Self::CallPivotSum>,         nullptr, 2, 1,
        u"PivotSum(strColID,nPivotRow[,nStart[,nCnt]])\n"
        u"PivotSum(strExpr,nPivotRow[,nStart[,nCnt]])"},
    {u"RecalcFilter",     kHandler<&Self::CallRecalcFilter>,     nullptr, 0, 0, u"RecalcFilter()"},
    {u"RecalcGroup",      kHandler<&Self::CallRecalcGroup>,      nullptr, 0, 0, u"RecalcGroup()"},
    {u"RecalcPivot",      kHandler<&Self::CallRecalcPivot>,      nullptr, 0, 0, u"RecalcPivot()"},
    {u"Reset",            kHandler<&Self::CallReset>,            nullptr, 0, 0, u"Reset()"},
    {u"RowCount",         kHandler<&Self::CallGetRowCount>,      nullptr, 0, 1, u"RowCount()"},
    {u"RowCountNF",       kHandler<&Self::CallGetRowCountNF>,    nullptr, 0, 1, u"RowCountNF()"},
    {u"SaveBIN",          kHandler<&Self::CallSaveBIN>,          nullptr, 0, 1,
        u"SaveBIN([strID[,strSaveType]])"},
    {u"SaveCSV",          kHandler<&Self::CallSaveCSV>,          nullptr, 0, 1,
        u"SaveCSV([strID[,strSaveType]])"},
    {u"SaveXML",          kHandler<&Self::CallSaveXML>,          nullptr, 0, 1,
        u"SaveXML([strID[,strSaveType[,bHeader]]])"},
    {u"SearchRow",        kHandler<&Self::CallSearchRow>,        nullptr, 1, 1,
        u"SearchRow(strCmpExpr[,nStart[,nEnd]])"},
    {u"SearchRowNF",      kHandler<&Self::CallSearchRowNF>,      nullptr, 1, 1,
        u"SearchRowNF(strCmpExpr[,nStart])"},
    {u"SelectRow",        kHandler<&Self::CallSelectRow>,        nullptr, 1, 1,
        u"SelectRow(nRow[,bCheck])"},
    {u"SetColumn",        kHandler<&Self::CallSetColumn>,        nullptr, 3, 1,
        u"SetColumn(nRow,nColIdx,varVal)\n"
        u"SetColumn(nRow,strColID,varVal)"},
    {u"SetColumnNF",      kHandler<&Self::CallSetColumnNF>,      nullptr, 3, 1,
        u"SetColumnNF(nRow,nColIdx,varVal)\n"
        u"SetColumnNF(nRow,strColID,varVal)"},
    {u"SetConstColumn",   kHandler<&Self::CallSetConstColumn>,   nullptr, 2, 1,
        u"SetConstColumn(nConstIdx,varVal)\n"
        u"SetConstColumn(strConstID,varVal)"},
    {u"SetRowType",       kHandler<&Self::CallSetRowType>,       nullptr, 2, 1,
        u"SetRowType(nRow,nType)\n"
        u"SetRowType(nRow,strType)"},
    {u"SetTotalColumn",   kHandler<&Self::CallSetColumnNF>,      nullptr, 3, 1,
        u"SetTotalColumn(nRow,nColIdx,varVal)\n"
        u"SetTotalColumn(nRow,strColID,varVal)"},
    {u"SetUpdate",        kHandler<&Self::CallSetUpdate>,        nullptr, 1, 1,
        u"SetUpdate(bUpdate)"},
    {u"Sort",             kHandler<&Self::CallSort>,             nullptr, 1, 1,
        u"Sort(strColList[,bFlag[,bBigNull[,bGroupKey]]])"},
    {u"Sum",              kHandler<&Self::CallSum>,              nullptr, 1, 1,
        u"Sum(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"Sum(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"SumNF",            kHandler<&Self::CallSumNF>,            nullptr, 1, 1,
        u"SumNF(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"SumNF(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"TotalAvg",         kHandler<&Self::CallAvgNF>,            nullptr, 1, 1,
        u"TotalAvg(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"TotalAvg(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"TotalCaseAvg",     kHandler<&Self::CallCaseAvgNF>,        nullptr, 2, 1,
        u"TotalCaseAvg(strCmpExpr,strValExpr[,start[,cnt]])"},
    {u"TotalCaseCount",   kHandler<&Self::CallCaseCountNF>,      nullptr, 1, 1,
        u"TotalCaseCount(strCmpExpr[,start[,cnt]])"},
    {u"TotalCaseMax",     kHandler<&Self::CallCaseMaxNF>,        nullptr, 2, 1,
        u"TotalCaseMax(strCmpExpr,strValExpr[,start[,cnt]])"},
    {u"TotalCaseMin",     kHandler<&Self::CallCaseMinNF>,        nullptr, 2, 1,
        u"TotalCaseMin(strCmpExpr,strValExpr[,start[,cnt]])"},
    {u"TotalCaseSum",     kHandler<&Self::CallCaseSumNF>,        nullptr, 2, 1,
        u"TotalCaseSum(strCmpExpr,strValExpr[,start[,cnt]])"},
    {u"TotalCount",       kHandler<&Self::CallCountNF>,          nullptr, 0, 1,
        u"TotalCount(strColID)"},
    {u"TotalMax",         kHandler<&Self::CallMaxNF>,            nullptr, 1, 1,
        u"TotalMax(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"TotalMax(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"TotalMin",         kHandler<&Self::CallMinNF>,            nullptr, 1, 1,
        u"TotalMin(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"TotalMin(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"TotalRowCount",    kHandler<&Self::CallGetRowCountNF>,    nullptr, 0, 1, u"TotalRowCount()"},
    {u"TotalSum",         kHandler<&Self::CallSumNF>,            nullptr, 1, 1,
        u"TotalSum(strColID[,nStart[,nCnt[,nPivotIndex]]]),"
        u"TotalSum(strExpr[,nStart[,nCnt[,nPivotIndex]]])"},
    {u"UnFilter",         kHandler<&Self::CallUnFilter>,         nullptr, 0, 1, u"UnFilter()"},
};
// clang-format on

static_assert(std::size(kMethodRows) == 137);
static_assert(IsSortedByName(kMethodRows));

}  // namespace

const _EXPR_OBJMETHOD_INFO* Kt_ExprDataset::GetDSetMethodMap() { return kMethodRows; }

int Kt_ExprDataset::GetDSetMethodCount() { return static_cast<int>(std::size(kMethodRows)); }

Kt_Getter Kt_ExprDataset::GetDSetMethodFunc(const char16_t* name) {
  if (name == nullptr) return nullptr;
  const int row = FindObjMethodFuncIdx(kMethodRows, GetDSetMethodCount(), name);
  return row < 0 ? nullptr : kMethodRows[row].method;
}
