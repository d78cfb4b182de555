// SPDX-License-Identifier: MIT
//
// The wrapper of a dataset: its cursor, what its edits ask and tell, and handlers that pull the
// ground away under an edit.
#include <gtest/gtest.h>

#include <optional>

#include "classlib/value/Kt_ObjList.h"
#include "dataset_test_util.h"

namespace {

using kt::test::DataHost;
using kt::test::Eval;
using kt::test::EventRecord;
using kt::test::MakeDataset;
using kt::test::RecordingDataset;
using kt::test::RunScript;
using kt::test::Show;
using kt::test::ShowTable;

constexpr std::u16string_view kFruit = u"n:long,name:string\n1,apple\n2,pear\n3,plum\n";

// Three rows, the position on the first, events on, nothing recorded yet.
struct Fruit {
  explicit Fruit(std::u16string_view csv = kFruit) : data(MakeDataset(u"fruit", csv)) {
    host.datasets = {wrapper.get()};
    wrapper->SetRowPosition(0);
    record->text.clear();
  }
  std::string Cursor() const {
    return std::to_string(wrapper->GetRowPosition()) + "/" + std::to_string(wrapper->GetCurRow()) +
           "/" + std::to_string(wrapper->GetRowIdx());
  }

  DataHost host;
  std::unique_ptr<Kt_Dataset> data;
  std::shared_ptr<EventRecord> record = std::make_shared<EventRecord>();
  std::unique_ptr<RecordingDataset> wrapper =
      std::make_unique<RecordingDataset>(data.get(), &host, record);
};

// Edits by name -----------------------------------------------------------------------------------

struct Edit {
  const char* name;
  int (*run)(Kt_ExprDataset& wrapper);
};

const Edit kEdits[] = {
    {"position 1", [](Kt_ExprDataset& w) { return w.SetRowPosition(1); }},
    {"append", [](Kt_ExprDataset& w) { return w.AppendRow(); }},
    {"insert 1", [](Kt_ExprDataset& w) { return w.InsertRow(1); }},
    {"insert -1", [](Kt_ExprDataset& w) { return w.InsertRow(-1); }},
    {"delete 0", [](Kt_ExprDataset& w) { return w.DeleteRow(0); }},
    {"delete 1", [](Kt_ExprDataset& w) { return w.DeleteRow(1); }},
    {"delete 2", [](Kt_ExprDataset& w) { return w.DeleteRow(2); }},
    {"delete -1", [](Kt_ExprDataset& w) { return w.DeleteRow(-1); }},
    {"delete 9", [](Kt_ExprDataset& w) { return w.DeleteRow(9); }},
    {"delete all", [](Kt_ExprDataset& w) { return w.DeleteAll(); }},
    {"delete selected", [](Kt_ExprDataset& w) { return w.DeleteSelected(); }},
    {"clear all", [](Kt_ExprDataset& w) { return w.ClearAll(); }},
    {"set", [](Kt_ExprDataset& w) { return w.SetColumn(1, u"name", u"fig"); }},
    {"set same", [](Kt_ExprDataset& w) { return w.SetColumn(1, u"name", u"pear"); }},
    {"set equal", [](Kt_ExprDataset& w) { return w.SetColumn(1, u"n", u"2"); }},
    {"set outside", [](Kt_ExprDataset& w) { return w.SetColumn(9, u"n", kt_long{2}); }},
    {"set unknown", [](Kt_ExprDataset& w) { return w.SetColumn(1, u"zz", kt_long{2}); }},
    {"set nf", [](Kt_ExprDataset& w) { return w.SetColumnNF(2, u"name", u"fig"); }},
    {"set const", [](Kt_ExprDataset& w) { return w.SetConstColumn(u"rate", 2.5); }},
    {"set const same", [](Kt_ExprDataset& w) { return w.SetConstColumn(u"rate", 1.5); }},
    {"announce sort",
     [](Kt_ExprDataset& w) { return w.AnnounceRows(Kt_LoadReason::kSorted) ? 1 : 0; }},
    {"announce filter",
     [](Kt_ExprDataset& w) { return w.AnnounceRows(Kt_LoadReason::kFiltered) ? 1 : 0; }},
};

int RunEdit(const char* name, Kt_ExprDataset& wrapper) {
  for (const Edit& edit : kEdits) {
    if (std::string_view(edit.name) == name) return edit.run(wrapper);
  }
  ADD_FAILURE() << "no edit " << name;
  return 0;
}

struct EditRow {
  const char* edit;
  int position;  // before
  const char* refused;
  int result;
  const char* events;
  const char* cursor;  // position/current row/row index
};

// With the rows 0 and 2 selected and the constant rate = 1.5.
const EditRow kEditRows[] = {
    {"position 1", 0, "", 1, "canpos 0>1 pos 0>1", "1/1/1"},
    {"position 1", 1, "", 1, "", "1/1/1"},
    {"position 1", 0, "canpos", 0, "canpos 0>1", "0/0/0"},
    {"append", 0, "", 3, "canpos 0>3 inserted 3+1 pos 0>3", "3/3/3"},
    {"append", 0, "canpos", -1, "canpos 0>3 fail 83B01104(0)", "0/0/0"},
    {"insert 1", 2, "", 1, "canpos 2>3 inserted 1+1 pos 2>1", "1/1/1"},
    {"insert -1", 0, "", 3, "canpos 0>3 inserted 3+1 pos 0>3", "3/3/3"},
    {"insert 1", 0, "canpos", -1, "canpos 0>3 fail 83B01104(0)", "0/0/0"},
    {"delete 0", 1, "", 1, "deleting 0+1 deleted 0+1 pos -1>0", "0/0/0"},
    {"delete 1", 1, "", 1, "deleting 1+1 deleted 1+1 pos -1>1", "1/1/1"},
    {"delete 2", 1, "", 1, "deleting 2+1 deleted 2+1", "1/1/1"},
    {"delete 2", 2, "", 1, "deleting 2+1 deleted 2+1 pos -1>1", "1/1/1"},
    {"delete 0", -1, "", 1, "deleting 0+1 deleted 0+1 pos -1>1", "1/1/1"},
    {"delete -1", 1, "", -1, "", "1/1/1"},
    {"delete 9", 1, "", -1, "deleting 9+1", "1/1/1"},
    {"delete all", 1, "", 3, "deleting 0+3 load 8", "-1/-1/-1"},
    {"delete selected", 1, "", 2, "deleting 2+1 deleting 0+1 load 8 pos -1>0", "0/0/0"},
    {"delete selected", 0, "", 2, "deleting 2+1 deleting 0+1 load 8 pos -1>0", "0/0/0"},
    {"clear all", 1, "", 1, "load 8", "-1/-1/-1"},
    {"set", 0, "", 1, "cancol name 'pear'>'fig' @1 col name 'pear'>'fig' @1", "0/0/0"},
    {"set", 0, "cancol", 0, "cancol name 'pear'>'fig' @1 fail 83B01106(name, 1, pear, fig)",
     "0/0/0"},
    {"set same", 0, "cancol", 1, "", "0/0/0"},
    {"set equal", 0, "cancol", 1, "", "0/0/0"},
    {"set outside", 0, "", -1, "", "0/0/0"},
    {"set unknown", 0, "", -1, "", "0/0/0"},
    {"set nf", 0, "", 1, "cancol name 'plum'>'fig' @2 col name 'plum'>'fig' @2", "0/0/0"},
    {"set const", 0, "", 1, "cancol rate 1.5>2.5 @-1 col rate 1.5>2.5 @-1", "0/0/0"},
    {"set const", 0, "cancol", 0, "cancol rate 1.5>2.5 @-1 fail 83B01106(rate, -1, 1.5, 2.5)",
     "0/0/0"},
    {"set const same", 0, "cancol", 1, "", "0/0/0"},
    {"announce sort", 2, "", 1, "canpos 2>0 pos 2>0 load 5", "0/0/0"},
    {"announce sort", 2, "canpos", 1, "canpos 2>0 load 5", "2/2/2"},
    {"announce filter", 2, "canpos", 1, "canpos 2>0 load 6", "0/0/0"},
};

void Prepare(Fruit& fruit, int position) {
  fruit.data->AddConstColumn(u"rate", 1.5);
  fruit.data->SelectRow(0);
  fruit.data->SelectRow(2);
  fruit.wrapper->SetRowPosition(position);
  fruit.record->text.clear();
}

TEST(DatasetWrapper, EventsOfEdits) {
  for (const EditRow& row : kEditRows) {
    SCOPED_TRACE(std::string(row.edit) + " at " + std::to_string(row.position) + " without " +
                 row.refused);
    Fruit fruit;
    Prepare(fruit, row.position);
    fruit.record->refused = row.refused;
    EXPECT_EQ(RunEdit(row.edit, *fruit.wrapper), row.result);
    EXPECT_EQ(fruit.record->Take(), row.events);
    EXPECT_EQ(fruit.Cursor(), row.cursor);
  }
}

// Without events the same happens, silently, and nobody can refuse.
TEST(DatasetWrapper, EditsWithoutEvents) {
  for (const EditRow& row : kEditRows) {
    if (*row.refused != 0) continue;
    SCOPED_TRACE(row.edit);
    Fruit fruit;
    Prepare(fruit, row.position);
    fruit.wrapper->SetEvents(0);
    EXPECT_EQ(RunEdit(row.edit, *fruit.wrapper), row.result);
    EXPECT_EQ(fruit.record->Take(), "");
    EXPECT_EQ(fruit.Cursor(), row.cursor);
  }
}

// AppendRow tells of failures when somebody wants to hear, InsertRow in any case.
TEST(DatasetWrapper, AppendAndInsertReportDifferently) {
  for (const int wanted : {1, 0}) {
    Fruit fruit;
    fruit.record->has_fail = wanted;
    fruit.record->refused = "canpos";
    EXPECT_EQ(fruit.wrapper->AppendRow(), -1);
    EXPECT_EQ(fruit.record->Take(), wanted ? "canpos 0>3 fail 83B01104(0)" : "canpos 0>3");
    EXPECT_EQ(fruit.wrapper->InsertRow(0), -1);
    EXPECT_EQ(fruit.record->Take(), "canpos 0>3 fail 83B01104(0)");
    EXPECT_EQ(fruit.wrapper->SetColumn(0, 0, kt_long{8}), 1);
    fruit.record->refused = "cancol";
    fruit.record->text.clear();
    EXPECT_EQ(fruit.wrapper->SetColumn(0, 0, kt_long{9}), 0);
    EXPECT_EQ(fruit.record->Take(),
              wanted ? "cancol n 8>9 @0 fail 83B01106(n, 0, 8, 9)" : "cancol n 8>9 @0");
  }
}

TEST(DatasetWrapper, Positions) {
  struct Row {
    int rows, from, to, result, position;
  };
  const Row kRows[] = {
      {0, -1, 0, 1, -1}, {0, -1, -7, 1, -1}, {0, -1, 1, 0, -1}, {3, 0, -1, 1, -1},
      {3, 0, -2, 0, 0},  {3, 0, 2, 1, 2},    {3, 0, 3, 0, 0},   {3, 2, 2, 1, 2},
  };
  for (const Row& row : kRows) {
    Kt_Dataset data(u"d");
    if (row.rows > 0) data.AppendRow(row.rows);
    Kt_ExprDataset wrapper(&data, nullptr);
    EXPECT_EQ(wrapper.GetRowPosition(), -1);
    wrapper.SetRowPosition(row.from);
    EXPECT_EQ(wrapper.SetRowPosition(row.to), row.result) << row.rows << " " << row.to;
    EXPECT_EQ(wrapper.GetRowPosition(), row.position) << row.rows << " " << row.to;
  }
  EXPECT_EQ(Kt_ExprDataset().SetRowPosition(0), 0);
}

TEST(DatasetWrapper, CurrentRowRules) {
  struct Row {
    int row, original, index;
    const char* cursor;  // after a position of 1
    int is_original;
  };
  const Row kRows[] = {
      {0, 0, 2, "1/0/2", 0},     {0, 0, -1, "1/0/0", 0}, {2, 0, 3, "1/2/-1", 0},
      {3, 0, 0, "1/1/0", 0},     {9, 0, -5, "1/1/1", 0}, {-1, 1, 2, "1/-1/2", 0},
      {-3, 0, -1, "1/-3/-3", 0}, {0, 1, 1, "1/0/-1", 1}, {1, 1, -1, "1/1/1", 1},
  };
  for (const Row& row : kRows) {
    Fruit fruit;
    fruit.wrapper->SetEvents(0);
    fruit.wrapper->SetColumn(1, 0, kt_long{20});  // one original row
    fruit.wrapper->SetRowPosition(1);
    fruit.wrapper->SetCurRow(row.row, row.original, row.index);
    EXPECT_EQ(fruit.Cursor(), row.cursor) << row.row << " " << row.index;
    EXPECT_EQ(fruit.wrapper->IsOriginalRow(), row.is_original);
  }
}

// Reading uses the row index, writing the position; both are one until a row loop parts them.
TEST(DatasetWrapper, CursorFollowsThePosition) {
  Fruit fruit;
  fruit.wrapper->SetEvents(0);
  fruit.wrapper->SetRowPosition(2);
  EXPECT_EQ(Eval(&fruit.host, u"fruit.name"), "'plum'");
  fruit.wrapper->SetCurRow(0, 0, 1);
  fruit.wrapper->SetRowPosition(1);
  EXPECT_EQ(fruit.Cursor(), "1/0/1");
  EXPECT_EQ(Eval(&fruit.host, u"fruit.name"), "'pear'");
  fruit.wrapper->SetRowIdx(0);
  fruit.wrapper->SetRowPosition(2);
  EXPECT_EQ(RunScript(&fruit.host, u"fruit.name = 'fig';"), "-");
  EXPECT_EQ(ShowTable(*fruit.data), "1,apple|2,pear|3,fig");
  fruit.wrapper->SetCurRow(-1, 0, -1);
  fruit.wrapper->SetRowPosition(0);
  EXPECT_EQ(fruit.Cursor(), "0/0/0");
}

// Re-entry ----------------------------------------------------------------------------------------

TEST(DatasetWrapper, CanEventsAreNotAskedFromInside) {
  Fruit fruit;
  fruit.record->on_event = [&](const std::string& event) {
    if (event == "canpos") fruit.wrapper->SetRowPosition(2);
    if (event == "cancol") fruit.wrapper->SetColumn(0, 1, u"fig");
    if (event == "deleting") fruit.wrapper->DeleteRow(9);
  };
  EXPECT_EQ(fruit.wrapper->SetRowPosition(1), 1);
  EXPECT_EQ(fruit.record->Take(), "canpos 0>1 pos 0>2 pos 0>1");
  EXPECT_EQ(fruit.wrapper->SetColumn(0, 0, kt_long{5}), 1);
  EXPECT_EQ(fruit.record->Take(), "cancol n 1>5 @0 col name 'apple'>'fig' @0 col n 1>5 @0");
  EXPECT_EQ(fruit.wrapper->DeleteRow(0), 1);
  EXPECT_EQ(fruit.record->Take(), "deleting 0+1 deleted 0+1 pos -1>0");
  fruit.record->on_event = nullptr;
  EXPECT_EQ(fruit.wrapper->SetRowPosition(1), 1);
  EXPECT_EQ(fruit.record->Take(), "canpos 0>1 pos 0>1") << "guards are back";
}

// An edit goes on while its row number stands for the same row, whatever else the handler did. When
// another row is there, or none, it is given up and that is told.
TEST(DatasetWrapper, EditsOfRowsThatMovedMeanwhile) {
  struct Row {
    const char* edit;
    const char* event;
    std::function<void(Fruit&)> act;
    int result;
    const char* rows;
    const char* told = "";  // failure
  };
  // Makes the row anew, with the record number that the old one had.
  const auto replace = [](Fruit& f) {
    f.data->DeleteRow(1);
    f.data->InsertRow(1);
  };
  const char* const gone = "83B01105(1)";
  const Row kRows[] = {
      {"delete 1", "deleting", [](Fruit& f) { f.data->DeleteRow(0); }, -1, "2,pear|3,plum", gone},
      {"delete 1", "deleting", [](Fruit& f) { f.data->DeleteRow(1); }, -1, "1,apple|3,plum", gone},
      {"delete 1", "deleting", [](Fruit& f) { f.data->DeleteRow(2); }, 1, "1,apple"},
      {"delete 1", "deleting", [](Fruit& f) { f.data->Sort(u"n:d"); }, 1, "3,plum|1,apple"},
      {"delete 0", "deleting", [](Fruit& f) { f.data->Sort(u"n:d"); }, -1, "3,plum|2,pear|1,apple",
       "83B01105(0)"},
      {"delete 1", "deleting", [](Fruit& f) { f.data->AppendRow(); }, 1, "1,apple|3,plum|,"},
      {"delete 1", "deleting", [](Fruit& f) { f.data->InsertRow(0); }, -1,
       ",|1,apple|2,pear|3,plum", gone},
      {"delete 1", "deleting", [](Fruit& f) { f.data->LocFilter(0); }, -1, "2,pear|3,plum", gone},
      {"delete 1", "deleting", [](Fruit& f) { f.data->LocFilter(2); }, 1, "1,apple"},
      {"delete 1", "deleting", replace, -1, "1,apple|,|3,plum", gone},
      {"delete 1", "deleting",
       [](Fruit& f) {
         f.data->DeleteRow(1);
         f.data->Reset();
       },
       1, "1,apple|3,plum"},
      {"delete 1", "deleting", [](Fruit& f) { f.data->LoadCSV(u"n:long,name\n1,a\n2,b\n"); }, -1,
       "1,a|2,b", gone},
      {"delete 1", "deleting", [](Fruit& f) { *f.data = Kt_Dataset(*f.data); }, -1,
       "1,apple|2,pear|3,plum", gone},
      {"delete 1", "deleting", [](Fruit& f) { f.data->SetColumn(0, 1, u"fig"); }, 1,
       "1,fig|3,plum"},
      {"delete 1", "deleting", [](Fruit& f) { f.data->AddColumn(u"x"); }, 1, "1,apple,|3,plum,"},
      {"delete 9", "deleting", [](Fruit& f) { f.data->AppendRow(7); }, -1,
       "1,apple|2,pear|3,plum|,|,|,|,|,|,|,", "83B01105(9)"},
      {"set", "cancol", [](Fruit& f) { f.data->InsertRow(0); }, -1, ",|1,apple|2,pear|3,plum",
       gone},
      {"set", "cancol", [](Fruit& f) { f.data->AppendRow(); }, 1, "1,apple|2,fig|3,plum|,"},
      {"set", "cancol", [](Fruit& f) { f.data->Sort(u"n:d"); }, 1, "3,plum|2,fig|1,apple"},
      {"set", "cancol", replace, -1, "1,apple|,|3,plum", gone},
      {"set", "cancol", [](Fruit& f) { f.data->LoadCSV(u"name,n:long\na,1\nb,2\n"); }, -1,
       "a,1|b,2", gone},
      {"set", "cancol", [](Fruit& f) { f.data->SetColumn(1, 0, kt_long{7}); }, 1,
       "1,apple|7,fig|3,plum"},
      {"set nf", "cancol", [](Fruit& f) { f.data->LocFilter(0); }, 1, "2,pear|3,fig"},
      {"set nf", "cancol", [](Fruit& f) { f.data->DeleteRow(0); }, -1, "2,pear|3,plum",
       "83B01105(2)"},
      {"delete selected", "deleting", [](Fruit& f) { f.data->AppendRow(); }, 2, "2,pear|,"},
      {"delete selected", "deleting", [](Fruit& f) { f.data->DeleteRow(1); }, -1, "1,apple|3,plum",
       "83B01105(2)"},
      {"delete selected", "deleting", [](Fruit& f) { f.data->SelectRow(0, false); }, 1,
       "1,apple|2,pear"},
      {"delete all", "deleting", [](Fruit& f) { f.data->DeleteRow(0); }, 2, ""},
      {"append", "canpos", [](Fruit& f) { f.data->DeleteAll(); }, 0, ","},
      {"append", "inserted", [](Fruit& f) { f.data->DeleteAll(); }, 3, ""},
      {"position 1", "canpos", [](Fruit& f) { f.data->DeleteAll(); }, 0, "", gone},
      {"position 1", "canpos", [](Fruit& f) { f.data->Sort(u"n:d"); }, 1, "3,plum|2,pear|1,apple"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(std::string(row.edit) + " / " + row.rows);
    Fruit fruit;
    Prepare(fruit, 0);
    bool is_done = false;
    fruit.record->on_event = [&](const std::string& event) {
      if (event == row.event && !std::exchange(is_done, true)) row.act(fruit);
    };
    EXPECT_EQ(RunEdit(row.edit, *fruit.wrapper), row.result);
    EXPECT_EQ(ShowTable(*fruit.data), row.rows);
    const std::string events = fruit.record->Take();
    const std::size_t fail = events.find("fail ");
    EXPECT_EQ(fail == std::string::npos ? "" : events.substr(fail + 5), row.told);
    EXPECT_LT(fruit.wrapper->GetRowPosition(), fruit.wrapper->GetRowCount() + 1);
  }
}

// The row whose place is asked for was itself inserted: its record number is used again at once.
TEST(DatasetWrapper, AnotherRowWithTheSameRecordIsAnotherRow) {
  for (const char* const edit : {"delete 1", "set"}) {
    Fruit fruit;
    fruit.wrapper->SetEvents(0);
    fruit.wrapper->InsertRow(1);
    fruit.wrapper->SetEvents(1);
    fruit.record->on_event = [&](const std::string& event) {
      if (event != "deleting" && event != "cancol") return;
      fruit.data->DeleteRow(1);
      fruit.data->InsertRow(1);
    };
    EXPECT_EQ(RunEdit(edit, *fruit.wrapper), -1);
    EXPECT_EQ(ShowTable(*fruit.data), "1,apple|,|2,pear|3,plum");
  }
}

// What is announced is what was asked, wherever a handler has put the position.
TEST(DatasetWrapper, ThePositionThatWasAskedIsTold) {
  const struct {
    const char* edit;
    const char* event;
    const char* events;
  } rows[] = {
      {"position 1", "canpos", "canpos 0>1 pos 0>2 pos 0>1"},
      {"append", "canpos", "canpos 0>3 pos 0>2 inserted 3+1 pos 0>3"},
      {"append", "inserted", "canpos 0>3 inserted 3+1 canpos 0>2 pos 0>2 pos 0>3"},
      {"insert 1", "inserted", "canpos 0>3 inserted 1+1 canpos 0>2 pos 0>2 pos 0>1"},
  };
  for (const auto& row : rows) {
    Fruit fruit;
    bool is_done = false;
    fruit.record->on_event = [&](const std::string& event) {
      if (event == row.event && !std::exchange(is_done, true)) fruit.wrapper->SetRowPosition(2);
    };
    (void)RunEdit(row.edit, *fruit.wrapper);
    EXPECT_EQ(fruit.record->Take(), row.events) << row.edit;
  }
}

// Whatever happens inside any event of any edit: nothing that has gone is touched (the sanitizers
// would say so), and a wrapper that is left asks again afterwards.
TEST(DatasetWrapper, HandlersMayTakeEverythingAway) {
  struct Act {
    const char* name;
    std::function<void(Fruit&)> run;
  };
  const Act kActs[] = {
      {"delete rows", [](Fruit& f) { f.data->DeleteAll(); }},
      {"add column", [](Fruit& f) { f.data->AddColumn(u"x"); }},
      {"clear", [](Fruit& f) { f.data->ClearAll(); }},
      {"reload", [](Fruit& f) { f.data->LoadCSV(u"z:long\n1\n"); }},
      {"edit by wrapper", [](Fruit& f) { f.wrapper->DeleteRow(0), f.wrapper->AppendRow(); }},
      {"unbind", [](Fruit& f) { f.wrapper->SetDataset(nullptr); }},
      {"destroy data", [](Fruit& f) { f.data.reset(); }},
      {"destroy wrapper", [](Fruit& f) { f.wrapper.reset(); }},
      {"destroy both", [](Fruit& f) { f.wrapper.reset(), f.data.reset(); }},
      {"replace",
       [](Fruit& f) {
         f.data = MakeDataset(u"other", u"n:long\n5\n");
         f.wrapper->SetDataset(f.data.get());
       }},
  };
  const char* const kEvents[] = {"canpos", "pos", "inserted", "deleting", "deleted",
                                 "cancol", "col", "load",     "fail"};
  int hits = 0;
  for (const Edit& edit : kEdits) {
    for (const char* const event : kEvents) {
      for (const Act& act : kActs) {
        for (const char* const refused : {"", "canpos", "cancol"}) {
          SCOPED_TRACE(std::string(edit.name) + " / " + event + " / " + act.name);
          Fruit fruit;
          Prepare(fruit, 2);
          fruit.record->refused = refused;
          bool is_done = false;
          fruit.record->on_event = [&](const std::string& name) {
            if (name == event && !std::exchange(is_done, true)) act.run(fruit);
          };
          (void)edit.run(*fruit.wrapper);
          hits += is_done;
          if (fruit.wrapper == nullptr) continue;
          fruit.record->on_event = nullptr;
          fruit.record->refused = "";
          Kt_Dataset fresh(u"fresh");
          fresh.AppendRow(2);
          fruit.wrapper->SetDataset(&fresh);
          fruit.record->text.clear();
          EXPECT_EQ(fruit.wrapper->SetRowPosition(0), 1);
          EXPECT_EQ(fruit.wrapper->DeleteRow(1), 1);
          EXPECT_EQ(fruit.record->Take(), "canpos -1>0 pos -1>0 deleting 1+1 deleted 1+1");
        }
      }
    }
  }
  EXPECT_GT(hits, 400);
}

// Members -----------------------------------------------------------------------------------------

TEST(DatasetWrapper, PropertyTable) {
  const _EXPR_SIMPLEPROP_INFO* const table = Kt_ExprDataset::GetDSetPropMap();
  ASSERT_EQ(Kt_ExprDataset::GetDSetPropCount(), 16);
  for (int row = 1; row < 16; ++row)
    EXPECT_LT(kt_stricmpW(table[row - 1].name, table[row].name), 0);

  struct Row {
    const char16_t* name;
    const char* at_row_1;
    const char* empty;    // a dataset without rows and columns
    const char* unbound;  // through the handle that GetPropertyInfo gave earlier
  };
  const Row kRows[] = {
      {u"ColCount", "2", "0", "0"},      {u"constcount", "1", "0", "0"},
      {u"count", "3", "0", nullptr},     {u"currow", "1", "-1", "-1"},
      {u"firstrow", "0", "-1", "-1"},    {u"ID", "'fruit'", "'e'", "''"},
      {u"lastrow", "2", "-1", "-1"},     {u"nextrow", "2", "-1", "-1"},
      {u"pivotindex", "-1", "-1", "-1"}, {u"pivotindexcount", "0", "0", "0"},
      {u"prevrow", "0", "0", "0"},       {u"row", "1", "-1", "-1"},
      {u"rowcount", "3", "0", "0"},      {u"rowlevel", "0", "0", "0"},
      {u"rowpos", "1", "-1", "-1"},      {u"rowposition", "1", "-1", "-1"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(Kt_WString(row.name).ToUtf8());
    Fruit fruit;
    Prepare(fruit, 1);
    Kt_Variant value;
    EXPECT_EQ(fruit.wrapper->GetProperty(row.name, nullptr, value), kOk);
    EXPECT_EQ(Show(value), row.at_row_1);
    Kt_Dataset none(u"e");
    fruit.wrapper->SetDataset(&none);
    EXPECT_EQ(fruit.wrapper->GetProperty(row.name, nullptr, value), kOk);
    EXPECT_EQ(Show(value), row.empty);
    fruit.wrapper->SetDataset(nullptr);
    EXPECT_EQ(fruit.wrapper->GetProperty(row.name, nullptr, value), kFailed);
    int flags = 0;
    Kt_Getter get = nullptr;
    Kt_Setter set = nullptr;
    ASSERT_EQ(fruit.wrapper->GetPropertyInfo(row.name, flags, get, set), 1);
    EXPECT_EQ(set != nullptr, Kt_WString(row.name).Find(u"row") == 0 && row.at_row_1[0] == '1' &&
                                  !Kt_WString(row.name).EqualsNoCase(u"rowcount"));
    (void)(fruit.wrapper.get()->*get)(nullptr, value);
    if (row.unbound != nullptr) {
      EXPECT_EQ(Show(value), row.unbound);
    }
  }
}

TEST(DatasetWrapper, MembersInExpressions) {
  struct Row {
    const char16_t* expression;
    const char* wanted;
  };
  const Row kRows[] = {
      {u"fruit.rowcount", "3"},
      {u"fruit.name", "'apple'"},
      {u"fruit[1].name", "<fruit.name>"},
      {u"fruit[1].name.value", "'pear'"},
      {u"fruit['n'].sum", "6"},
      {u"fruit[9]", "-"},
      {u"fruit['zz']", "-"},
      {u"fruit.GetColumn(2, 'name')", "'plum'"},
      {u"fruit.Sum('n * 2')", "12"},
      {u"curdata.id", "'fruit'"},
      {u"type(object('fruit'))", "'object'"},
      {u"object('fruit').rowcount", "3"},
      {u"object('curdata').id", "'fruit'"},
      {u"toString(fruit)", "'[Dataset:fruit]'"},
      {u"isValid(fruit)", "1"},
  };
  for (const bool by_kind : {false, true}) {
    Fruit fruit;
    fruit.wrapper->SetEvents(0);
    fruit.host.by_kind_alone = by_kind;
    for (const Row& row : kRows) {
      EXPECT_EQ(Eval(&fruit.host, row.expression), row.wanted)
          << Kt_WString(row.expression).ToUtf8() << " " << fruit.host.TakeReports();
    }
    EXPECT_EQ(fruit.host.TakeReports(), "");
  }
}

TEST(DatasetWrapper, UnknownMembersAndNoDataset) {
  Kt_ExprDataset none;
  Kt_Variant value = u"kept";
  Kt_WString text;
  EXPECT_EQ(none.GetID(), u"");
  EXPECT_EQ(none.ConvToString(text), 1);
  EXPECT_EQ(text, u"[Dataset:]");
  Fruit fruit;
  for (Kt_ExprDataset* const wrapper : {&none, static_cast<Kt_ExprDataset*>(fruit.wrapper.get())}) {
    EXPECT_EQ(wrapper->GetProperty(u"nothing", nullptr, value), -1);
    EXPECT_EQ(wrapper->SetProperty(u"rowcount", nullptr, value), -1);
    EXPECT_EQ(wrapper->CallMethod(u"nothing", nullptr, value), -1);
    EXPECT_EQ(wrapper->GetItem(5, value), 0);
    EXPECT_EQ(wrapper->GetItem(u"nothing", value), 0);
    EXPECT_EQ(Show(value), "'kept'");
  }
  for (const Edit& edit : kEdits) {
    const int result = edit.run(none);
    EXPECT_TRUE(result == 0 || result == -1 || std::string_view(edit.name).starts_with("announce"))
        << edit.name;
  }
  EXPECT_EQ(fruit.wrapper->GetColumn(9, 0, value), 0);
  EXPECT_EQ(Show(value), "-");
  EXPECT_EQ(fruit.wrapper->GetColumn(0, 0, -1)->ToInteger(), 1);
  EXPECT_EQ(fruit.wrapper->GetColumnSet(0, u"n", value), 1);
  EXPECT_EQ(Show(value), "[1]");
  EXPECT_EQ(none.GetColumn(0, 0, -1), &Kt_Variant::_KtNullVariant);
}

// In functions expressions have a compiled form, which leaves such names to the evaluator.
TEST(DatasetWrapper, DatasetsInScripts) {
  for (const bool by_kind : {false, true}) {
    Fruit fruit;
    fruit.wrapper->SetEvents(0);
    fruit.host.by_kind_alone = by_kind;
    EXPECT_EQ(RunScript(&fruit.host,
                        u"var total = 0; var names = '';\n"
                        u"for (var i = 0; i < fruit.rowcount; i++) {\n"
                        u"  fruit.rowposition = i;\n"
                        u"  total += curdata.n * 10;\n"
                        u"  fruit.n = fruit.n + 1;\n"
                        u"  names = names + fruit[i].name.value + fruit.GetColumn(i, 'n');\n"
                        u"}\n"
                        u"fruit.row = 77;\n"  // refused, quietly
                        u"return total + names + fruit.row;"),
              "'60apple2pear3plum42'")
        << fruit.host.TakeReports();
  }
}

TEST(DatasetWrapper, StatusListsObjects) {
  Fruit fruit;
  Kt_VariableList variables;
  variables.AddVariable(u"t", Kt_Variant(Kt_ObjectHolder(nullptr, fruit.wrapper.get())));
  class Lists : public Kt_ExprObject {
   public:
    Lists(Kt_ExprObject* parent, Kt_VariableList& list) : Kt_ExprObject(parent), list_(list) {}
    void AddVariableListChain(Kt_VariableListChain& chain) override { chain.Add(&list_); }

   private:
    Kt_VariableList& list_;
  } context(&fruit.host, variables);
  EXPECT_EQ(Eval(&context, u"dumpdatastatus()"),
            "'0\tt\tobject\t[Dataset:fruit] 3 items\n"
            "-\tcurdata\tdataset\t[Dataset:fruit] 3 items\n'");
}

TEST(DatasetWrapper, RowsOfSubtotalsAndFilters) {
  Fruit fruit(u"g:string,n:long\na,1\na,2\nb,3\n");
  fruit.data->Filter(0);
  EXPECT_EQ(fruit.wrapper->SetColumnNF(0, u"n", kt_long{8}), 1);
  EXPECT_EQ(fruit.record->Take(), "cancol n 1>8 @-1 col n 1>8 @-1");
  EXPECT_EQ(fruit.wrapper->SetColumnNF(2, u"n", kt_long{9}), 1);
  EXPECT_EQ(fruit.record->Take(), "cancol n 3>9 @1 col n 3>9 @1");
  EXPECT_EQ(fruit.wrapper->SetColumnNF(2, u"n", u"9"), 1);
  EXPECT_EQ(fruit.record->Take(), "");
  fruit.data->UnFilter();
  fruit.data->Sort(u"g", true, false, true);
  fruit.data->RecalcGroup();
  EXPECT_EQ(fruit.wrapper->GetRowCount(), 5);
  EXPECT_EQ(fruit.wrapper->SetColumn(2, u"n", kt_long{1}), -1) << "a subtotal";
  EXPECT_EQ(fruit.record->Take().find("col "), std::string::npos);
}

// A view of the rows 1 and 2 of the fruit, over the wrapper of the fruit or over the bare dataset.
struct FruitView : Fruit {
  explicit FruitView(bool has_source_wrapper) {
    view_data.SetSource(data.get());
    view_data.Filter(0);
    if (has_source_wrapper) view.SetLogicalSource(wrapper.get());
    view.SetRowPosition(0);
    view_record->text.clear();
  }
  // What the view was asked and told / what its source was.
  std::string Take() { return view_record->Take() + " / " + record->Take(); }

  Kt_Dataset view_data{u"view"};
  std::shared_ptr<EventRecord> view_record = std::make_shared<EventRecord>();
  RecordingDataset view{&view_data, &host, view_record};
};

TEST(LogicalWrapper, WritesGoThroughTheSource) {
  FruitView fruit(true);
  EXPECT_EQ(fruit.view.SetColumn(0, u"name", u"fig"), 1);
  EXPECT_EQ(fruit.Take(),
            "cancol name 'pear'>'fig' @0 col name 'pear'>'fig' @0 / "
            "cancol name 'pear'>'fig' @1 col name 'pear'>'fig' @1");
  EXPECT_EQ(ShowTable(*fruit.data), "1,apple|2,fig|3,plum");
  EXPECT_EQ(fruit.view.SetColumn(0, u"name", u"fig"), 1);
  EXPECT_EQ(fruit.view.SetColumnNF(1, u"n", u"2"), 1);
  EXPECT_EQ(fruit.Take(), " / ") << "equal values";
  fruit.record->refused = "cancol";
  EXPECT_EQ(fruit.view.SetColumn(1, u"n", kt_long{9}), 0);
  EXPECT_EQ(fruit.Take(), "cancol n 3>9 @1 / cancol n 3>9 @2 fail 83B01106(n, 2, 3, 9)");
  fruit.record->refused = "";
  fruit.view_record->refused = "cancol";
  EXPECT_EQ(fruit.view.SetColumn(1, u"n", kt_long{9}), 0);
  EXPECT_EQ(fruit.Take(), "cancol n 3>9 @1 fail 83B01106(n, 1, 3, 9) / ");
  EXPECT_EQ(ShowTable(*fruit.data), "1,apple|2,fig|3,plum");
}

TEST(LogicalWrapper, WithoutSourceWrapperTheStoreWrites) {
  FruitView fruit(false);
  EXPECT_EQ(fruit.view.SetColumn(0, u"name", u"fig"), 1);
  EXPECT_EQ(fruit.Take(), "cancol name 'pear'>'fig' @0 col name 'pear'>'fig' @0 / ");
  EXPECT_EQ(ShowTable(*fruit.data), "1,apple|2,fig|3,plum");
}

TEST(LogicalWrapper, TakesNoRowsAndTellsOnce) {
  FruitView fruit(true);
  EXPECT_EQ(fruit.view.AppendRow(), -1);
  EXPECT_EQ(fruit.view.InsertRow(0), -1);
  EXPECT_EQ(fruit.Take(), " / ");
  fruit.view_record->on_event = [&](const std::string& event) {
    if (event == "col") fruit.view.SetColumn(1, u"name", u"fig");
    if (event == "pos") fruit.view.SetRowPosition(0);
  };
  EXPECT_EQ(fruit.view.SetColumn(0, u"n", kt_long{8}), 1);
  EXPECT_EQ(fruit.view_record->Take(), "cancol n 2>8 @0 col n 2>8 @0 cancol name 'plum'>'fig' @1");
  EXPECT_EQ(fruit.view.SetRowPosition(1), 1);
  EXPECT_EQ(fruit.view_record->Take(), "canpos 0>1 pos 0>1 canpos 1>0");
  fruit.view_record->on_event = nullptr;
  EXPECT_EQ(fruit.view.SetRowPosition(1), 1);
  EXPECT_EQ(fruit.view_record->Take(), "canpos 0>1 pos 0>1") << "the guard is back";
}

TEST(LogicalWrapper, SourceMayGoWhileItIsWritten) {
  for (const int gone : {0, 1, 2}) {
    FruitView fruit(true);
    fruit.record->on_event = [&](const std::string& event) {
      if (event != "cancol") return;
      if (gone != 1) fruit.wrapper.reset();
      if (gone != 0) fruit.data.reset();
    };
    EXPECT_EQ(fruit.view.SetColumn(0, u"n", kt_long{8}), -1);
    EXPECT_EQ(fruit.view_record->Take(), "cancol n 2>8 @0");
  }
}

// Lists -------------------------------------------------------------------------------------------

TEST(DatasetWrapperList, FindsByDatasetAndForgetsTheDead) {
  Kt_Dataset a(u"a"), b(u"b");
  Kt_ExprDataset first(&a, nullptr);
  auto second = std::make_unique<Kt_ExprDataset>(&b, nullptr);
  Kt_ExprDatasetList list;
  list.Add(first);
  list.Add(*second);
  EXPECT_EQ(list.FindComp(&b), 1);
  EXPECT_EQ(list.GetItem(1), second.get());
  EXPECT_EQ(list.FindComp(nullptr), -1);
  second.reset();
  EXPECT_EQ(list.FindComp(&b), -1);
  EXPECT_EQ(list.GetItem(1), nullptr);
  EXPECT_EQ(list.GetCount(), 2);
}

TEST(DatasetWrapperList, HandlerCopiesDatasetAndParent) {
  DataHost host;
  Kt_Dataset a(u"a"), b(u"b");
  Kt_ExprDataset source(&a, &host), other(&a, nullptr), third(&b, nullptr);
  source.SetEvents(1);
  const Kt_ExprDatasetHandler handler;
  Kt_ObjList list(handler);
  ASSERT_EQ(list.AddCopy(&source), 0);
  auto* const copy = static_cast<Kt_ExprDataset*>(list.GetAt(0));
  EXPECT_EQ(copy->GetDataset(), &a);
  EXPECT_EQ(copy->GetParentCtx(), &host);
  EXPECT_EQ(copy->GetEvents(), 0);
  EXPECT_EQ(handler._CompareItem(copy, &other), 0);
  EXPECT_EQ(handler._CompareItem(copy, &third), 1);
  EXPECT_EQ(handler._CompareItem(nullptr, copy), -1);
  EXPECT_EQ(handler._CompareItem(copy, nullptr), 1);
  handler._AssignItem(copy, nullptr);
  EXPECT_EQ(copy->GetDataset(), nullptr);
  EXPECT_EQ(copy->GetParentCtx(), nullptr);
}

TEST(DatasetWrapperList, SourcesFormNoRing) {
  Kt_ExprDataset a, b;
  a.SetLogicalSource(&b);
  b.SetLogicalSource(&a);
  a.SetLogicalSource(&a);
  EXPECT_EQ(a.GetLogicalSource(), &b);
  EXPECT_EQ(b.GetLogicalSource(), nullptr);
}

// An object is asked for its value before the store writes; it may take everything away.
TEST(Wrapper, ObjectsAreWrittenAsTheirValue) {
  Fruit fruit;
  kt::test::TestThing& thing = *fruit.host.thing;
  thing.default_prop = u"size";
  const Kt_Variant object(Kt_ObjectHolder(nullptr, &thing));
  EXPECT_EQ(fruit.wrapper->SetColumn(0, u"n", object), 1);
  EXPECT_EQ(fruit.data->ReadColumn(0, 0).ToInteger(), 4);
  thing.default_prop = nullptr;
  EXPECT_EQ(fruit.wrapper->SetColumn(0, u"name", object), 1);
  EXPECT_EQ(fruit.data->ReadColumn(0, 1).ToString(), u"text of thing");
  thing.default_prop = u"size";
  thing.on_access = [&] { fruit.data.reset(); };
  EXPECT_EQ(fruit.wrapper->SetColumn(0, u"n", object), -1);
  thing.on_access = [&] { fruit.wrapper.reset(); };
  fruit.data = MakeDataset(u"fruit", u"n:long\n1\n");
  fruit.wrapper->SetDataset(fruit.data.get());
  EXPECT_EQ(fruit.wrapper->SetColumn(0, u"n", object), -1);
  EXPECT_EQ(fruit.data->ReadColumn(0, 0).ToInteger(), 1);
}

}  // namespace
