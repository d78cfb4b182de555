// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <vector>

#include "classlib/store/Kt_DatasetHandle.h"
#include "classlib/value/Kt_ObjList.h"
#include "object/Kt_ExprColumnSource.h"
#include "object/Kt_ExprObject.h"
#include "object/Kt_QuickMembers.h"

class Kt_Component;  // the host's; only passed through
class Kt_Dataset;
namespace kt::detail {
class MethodCall;
}

// The code that wrappers give IsExistsEvent to learn whether anybody wants to hear of refusals.
inline constexpr int kEventFail = 99909;

// Why OnLoadCompleted is called.
enum class Kt_LoadReason : int {
  kLoaded = 0,
  kAppended = 4,
  kSorted = 5,
  kFiltered = 6,
  kEmptied = 8,
};

// One dataset as expressions and scripts see it: properties, methods, columns, items, and the
// cursor: the row position, and the row that row expressions read.
//
//   Kt_Dataset orders(u"orders");
//   Kt_ExprDataset wrapper(&orders, &form);
//   wrapper.SetEvents(1);
//   wrapper.AppendRow();                      // asks CanRowPosChange, tells OnRowInserted, ...
//
// Every edit made through the wrapper asks and tells the event operations, which a host overrides.
// An event is not called again from inside itself.
//
// Ownership: borrows the dataset and notices when it has gone; everything then yields its empty
// value. Handlers and row expressions may edit, reload or destroy the dataset and the wrapper.
// Threads: those of the dataset.
//
// The order of the virtual operations is part of the interface.
class KT_SCRIPT_API Kt_ExprDataset : public Kt_ExprObject,
                                     public Kt_ExprColumnSource,
                                     public kt::QuickMembers {
 public:
  Kt_ExprDataset();
  // The parent becomes the container too: row expressions see the container's chain, and values
  // that refer to the wrapper are valid while it lives.
  Kt_ExprDataset(Kt_Dataset* dataset, Kt_ExprObject* parent);
  Kt_ExprDataset(const Kt_ExprDataset&) = delete;
  Kt_ExprDataset& operator=(const Kt_ExprDataset&) = delete;
  // Construct and destroy in memory that the caller owns.
  static void InitWithMemory(Kt_ExprDataset* memory);
  static void FreeWithMemory(Kt_ExprDataset* memory);

  // Rebinds; null unbinds. The cursor starts anew.
  void SetDataset(Kt_Dataset* dataset);
  // Null when there is none or it has gone.
  Kt_Dataset* GetDataset() const { return dataset_.Get(); }
  void SetEvents(int on) { events_on_ = on; }
  int GetEvents() const { return events_on_; }
  // The wrapper of the dataset that this one's logical dataset shows; null for none. Borrowed. Not
  // taken when it would close a ring or lie more than 16 wrappers deep.
  void SetLogicalSource(Kt_ExprDataset* source);
  Kt_ExprDataset* GetLogicalSource() const;

  // ---- Kt_ExprObject --------------------------------------------------------------------------
  void* GetInnerObject() const override;  // the Kt_Dataset
  void DestroyObject() override {}
  Kt_WString GetID() const override;
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      Kt_Variant& result) override;
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      const Kt_Variant& value) override;
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                     Kt_Variant& result) override;
  int GetPropertyInfo(const Kt_WString& name, int& flags, Kt_Getter& get, Kt_Setter& set) override;
  int GetMethodInfo(const Kt_WString& name, Kt_Getter& call) override;
  int GetItemCount() const override;
  kt_long GetItem(int index, Kt_Variant& result) override;
  kt_long GetItem(const Kt_WString& name, Kt_Variant& result) override;
  int ConvToString(Kt_WString& out) const override;
  int ConvToStream(Kt_Buffer& out) const override;
  const char16_t* GetDefaultProp() const override { return nullptr; }

  // ---- Events, for hosts to override ----------------------------------------------------------
  // Rows are visible rows, -1 for hidden rows and constants. The Can... operations refuse with 0;
  // like OnRowDeleting they are not called again from inside themselves. Neither are the others on
  // a logical dataset. An edit goes on after it was asked about unless its row number is by then
  // that of another row, or of none: then it is given up with -1 and kErrRowReplaced is told to
  // OnFail.
  virtual int IsExistsEvent(int event);
  virtual void OnLoadCompleted(int result, const Kt_WString& text, int reason);
  virtual void OnFail(const Kt_Result& result);
  virtual int CanColumnChange(const Kt_WString& column, const Kt_Variant& old_value,
                              const Kt_Variant& new_value, int row, const Kt_Component* component,
                              int pivot_index);
  virtual void OnColumnChanged(const Kt_WString& column, const Kt_Variant& old_value,
                               const Kt_Variant& new_value, int row, const Kt_Component* component,
                               int pivot_index);
  virtual int CanRowPosChange(int old_row, int new_row);
  virtual void OnRowPosChanged(int old_row, int new_row);
  virtual void OnRowInserted(int row, int count);
  virtual void OnRowDeleting(int row, int count);
  virtual void OnRowDeleted(int row, int count);
  virtual void* vfnReserved0(void* argument);
  virtual void* vfnReserved1(void* argument);
  virtual void* vfnReserved2(void* argument);
  void* fnReserved0(void* argument);
  void* fnReserved1(void* argument);
  void* fnReserved2(void* argument);

  ~Kt_ExprDataset() override;

  // ---- Cursor ---------------------------------------------------------------------------------
  int GetRowCount() const;
  int GetRowPosition() const { return row_position_; }
  int GetCurRow() const { return current_row_; }
  int GetRowIdx() const { return row_index_; }
  int IsOriginalRow() const { return original_row_; }
  int GetPivotRowCount() const;
  int GetPivotRowPosition() const { return pivot_row_position_; }
  int GetCurPivotRow() const { return pivot_current_row_; }
  int GetPivotRowIdx() const { return pivot_row_index_; }
  int GetPivotColCount() const;
  int GetPivotColPosition() const { return pivot_col_position_; }
  int GetCurPivotCol() const { return pivot_current_col_; }
  int GetPivotColIdx() const { return pivot_col_index_; }

  // Moves the position: 1, or 0 when it is outside or refused. -1 is no row; every position below 1
  // of an empty dataset is that one.
  int SetRowPosition(int position);
  // The row that row expressions read; `original` counts rows of the original-value buffer. A row
  // past the end is replaced by the position; a negative row index follows the row.
  //
  // Until a row is set here, current row and row index follow the position; a negative row with a
  // negative index makes them follow again.
  void SetCurRow(int row, int original, int row_index);
  void SetRowIdx(int row_index);
  // The same for the rows and positions of a pivot, which have no originals. A position outside is
  // not taken.
  void SetPivotRowPosition(int position);
  void SetCurPivotRow(int row, int original, int row_index);
  void SetPivotRowIdx(int row_index);
  void SetPivotColPosition(int position);
  void SetCurPivotCol(int col, int original, int col_index);
  void SetPivotColIdx(int col_index);
  // Takes a position that lies behind the rows to the last one, without asking: after rows have
  // gone from view by other ways than this wrapper's.
  void KeepPositionInside();
  // Puts the position to the first row after rows came, went or changed places, and tells
  // OnLoadCompleted. After filters a refusal to leave the position does not count. False when the
  // wrapper itself has gone meanwhile.
  bool AnnounceRows(Kt_LoadReason reason);

  // ---- Columns --------------------------------------------------------------------------------
  // Rows, columns and pivot positions outside read empty. 1, or 0 for such a cell.
  int IsColumn(const char16_t* id) const;
  int GetColumn(int row, int col, Kt_Variant& result, int pivot_index = -1) const;
  int GetColumn(int row, const Kt_WString& id, Kt_Variant& result, int pivot_index = -1) const;
  const Kt_Variant* GetColumn(int row, int col, int pivot_index = -1) const;
  // The values in every pivot position, as a list.
  int GetColumnSet(int row, int col, Kt_Variant& result) const;
  int GetColumnSet(int row, const Kt_WString& id, Kt_Variant& result) const;
  const Kt_Variant& GetConstColumn(int constant) const;
  const Kt_Variant& GetConstColumn(const Kt_WString& id) const;
  // 1, also for an equal value, which asks and tells nothing; 0 when refused; -1 without such a
  // cell. `component` goes to the events. A logical dataset with a source wrapper writes through
  // that one, with its events too.
  int SetColumn(int row, int col, const Kt_Variant& value, const Kt_Component* component = nullptr,
                int pivot_index = -1);
  int SetColumn(int row, const Kt_WString& id, const Kt_Variant& value,
                const Kt_Component* component = nullptr, int pivot_index = -1);
  int SetColumnNF(int row, int col, const Kt_Variant& value);
  int SetColumnNF(int row, const Kt_WString& id, const Kt_Variant& value);
  int SetConstColumn(int constant, const Kt_Variant& value);
  int SetConstColumn(const Kt_WString& id, const Kt_Variant& value);

  // ---- Rows -----------------------------------------------------------------------------------
  // The new row, which becomes the position; -1 on failure: kErrRowPosition and kErrRowNotAdded.
  // AppendRow tells OnFail only when events are on and kEventFail exists, InsertRow always. A
  // negative row inserts at the end.
  int AppendRow();
  int InsertRow(int row);
  // 1, or -1. The position stays on its row, or goes to the last one when that has gone.
  int DeleteRow(int row);
  // How many. Told as kEmptied; OnRowDeleting comes once for each run of rows, last run first.
  int DeleteAll();
  int DeleteSelected();
  // 1, or 0.
  int ClearSelect();
  int SelectRow(int row, int check);
  // Drops rows, columns and constants; told as kEmptied. 1, or 0 without a dataset.
  int ClearAll();

  // Hides the rows whose expression is false and shows all for the empty text; 1 when it acted.
  // `recalc` re-applies the filter that belongs to the dataset's definition.
  int ExprFilter(const Kt_WString& text, bool recalc);

  // ---- Kt_ExprColumnSource --------------------------------------------------------------------
  bool HasData() const override { return GetDataset() != nullptr; }
  kt_long GetCurrentRow() const override;
  kt_long GetWriteRow() const override;
  kt_long FindColumn(const Kt_WString& name) const override;
  bool IsOriginalRowMode() const override { return original_row_ != 0; }
  void ReadColumn(kt_long row, kt_long col, Kt_Variant& result) const override;
  void ReadOriginal(kt_long row, kt_long col, Kt_Variant& result) const override;
  kt_long WriteColumn(kt_long row, kt_long col, const Kt_Variant& value) override;
  kt_long GetRowLevel(kt_long row) const override;
  kt_long GetRowIndex(kt_long row) const override;
  kt_long GetReverseSubSumStat() const override;
  void ReadAggregate(Aggregate what, kt_long col, kt_long start, kt_long end,
                     Kt_Variant& result) const override;

  // ---- Kt_QuickMembers ------------------------------------------------------------------------
  // Whether members, items and columns of this class are answered here and nowhere else, so that
  // scripts may read and write cells without asking operation by operation. False for derived
  // classes, which may override any of these; one that overrides events only says true.
  virtual bool AnswersAsDataset() const;
  kt::QuickMember FindQuickMember(kt::MemberUse use, const Kt_WString& name,
                                  int arg_count) const override;

  // ---- Tables ---------------------------------------------------------------------------------
  // Methods and properties, sorted by name; a handler by name in any case, or null.
  static int GetDSetMethodCount();
  static const _EXPR_OBJMETHOD_INFO* GetDSetMethodMap();
  static Kt_Getter GetDSetMethodFunc(const char16_t* name);
  static int GetDSetPropCount();
  static const _EXPR_SIMPLEPROP_INFO* GetDSetPropMap();
  static Kt_Getter GetDSetGetPropFunc(const char16_t* name);
  static Kt_Setter GetDSetSetPropFunc(const char16_t* name);
  static const _EXPR_SIMPLEPROP_INFO* GetDSetPropFuncInfo(const char16_t* name);

  // The method in a row of the table: what the rows hold. Rows that mean the same share one.
  template <int kRow>
  kt_long CallRow(const Kt_VariantList* args, Kt_Variant& result);

 private:
  // One flag for each event that must not be called from inside itself.
  enum Guard : std::size_t {
    kCanRowPosChange,
    kCanColumnChange,
    kOnRowDeleting,
    kOnColumnChanged,
    kOnRowPosChanged,
    kOnRowInserted,
    kOnRowDeleted,
    kGuardCount
  };

  friend class Kt_ExprDatasetHandler;
  friend class kt::detail::MethodCall;

  static constexpr int kPropertyCount = 16;
  enum class Answer { kYes, kNo, kGone };  // kGone: the wrapper or its dataset
  struct Cell;
  struct Write;
  struct Quick;  // the members that scripts reach at once

  // Events (detail/Kt_EventCall.h). Ask answers kYes when the event need not be asked. Tell is
  // false when the wrapper was destroyed or its dataset is another one.
  template <class Call>
  Answer Ask(Guard guard, Call call);
  template <class Call>
  bool Tell(Guard guard, Call call);
  bool TellColumnChanged(const Kt_WString& column, const Kt_Variant& old_value,
                         const Kt_Variant& new_value, int row, const Kt_Component* component,
                         int pivot_index);
  bool TellLoadCompleted(Kt_LoadReason reason);
  void Fail(const Kt_Result& failure, bool always = false);
  // Ends an edit of `row`, which is another one since the host was asked: -1, told to OnFail of the
  // wrapper that `self` holds unless it was destroyed.
  static int GiveUp(const Kt_ObjectHolder& self, int row);

  void Rebind(Kt_Dataset* dataset, Kt_ExprObject* parent);
  void ResetCursor();
  int RowLimit() const;
  void StorePosition(int position);
  void FixPosition(int deleted_before, Kt_Dataset& dataset);
  int AddRow(int row, bool always_report);
  // The operations of these names inside the door for memory that runs out.
  int DoAddRow(int row, bool always_report);
  int DoDeleteAll();
  int DoDeleteRow(int row);
  int DoDeleteSelected();
  int DoSetRowPosition(int position);
  Kt_ExprDataset* SourceFor(const Kt_Dataset& dataset) const;
  int WriteCell(const Cell& cell, const Write& write);
  int WriteObject(const Cell& cell, const Write& write);
  int WriteValue(const Cell& cell, const Write& write);
  int WriteAsked(Kt_Dataset& dataset, const Cell& cell, const Write& write);
  int StoreCell(Kt_Dataset& dataset, const Cell& cell, const Write& write);
  int WriteConstant(Kt_Dataset& dataset, kt_long constant, const Kt_Variant& value);
  Answer AskColumn(const Kt_WString& column, const Kt_Variant& old_value, int row,
                   const Write& write);

  template <kt_long (*kRead)(const Kt_ExprDataset&)>
  kt_long PropNumber(const Kt_VariantList* args, Kt_Variant& result);
  kt_long PropID(const Kt_VariantList* args, Kt_Variant& result);
  kt_long SetPropRow(const Kt_VariantList* args, const Kt_Variant& value);

  Kt_DatasetHandle dataset_;
  int events_on_ = 0;
  int row_position_ = -1;
  int original_row_ = 0;  // the current row counts rows of the original-value buffer
  int current_row_ = -1;
  int row_index_ = -1;
  Kt_ObjectHolder logical_source_;
  int pivot_row_position_ = -1;
  int pivot_current_row_ = -1;
  int pivot_row_index_ = -1;
  int pivot_col_position_ = -1;
  int pivot_current_col_ = -1;
  int pivot_col_index_ = -1;
  // The current row and index are those of the position.
  bool cursor_follows_ = true;
  bool pivot_row_follows_ = true;
  bool pivot_col_follows_ = true;
  std::array<bool, kGuardCount> guards_;  // true: the event may be called
};

// Wrappers by dataset. Borrows them and notices when one has gone.
class KT_SCRIPT_API Kt_ExprDatasetList {
 public:
  void Add(Kt_ExprDataset& wrapper);
  // The index of the wrapper over that dataset; -1 for none and for null.
  int FindComp(const Kt_Dataset* dataset) const;
  int GetCount() const;
  Kt_ExprDataset* GetItem(int index) const;  // null outside and for one that has gone

 private:
  std::vector<Kt_ObjectHolder> wrappers_;
};

// For lists that hold wrappers by value. Assigning copies dataset and parent only; a null source
// clears both.
class KT_SCRIPT_API Kt_ExprDatasetHandler : public Kt_ObjListHandler {
 public:
  void* _InitItem(void* memory) const override;
  void _FreeItem(void* item) const override;
  void _AssignItem(void* target, const void* source) const override;
  // 0 for the same item and for wrappers over one dataset, -1 when only `a` is null, else 1.
  int _CompareItem(const void* a, const void* b) const override;
  std::size_t ItemSize() const override;
};
