// SPDX-License-Identifier: MIT
//
// A table beside a plain vector of rows: edits by the host and by a script in turns, in any order.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "host/Kt_Bind.h"

namespace {

using kt::RowState;

struct Item {
  std::optional<std::string> name;
  std::optional<int> qty;
  std::optional<double> price;
  bool operator==(const Item&) const = default;
};

kt::Fields<Item> ItemFields() {
  return kt::Fields<Item>()
      .add("name", &Item::name)
      .add("qty", &Item::qty)
      .add("price", &Item::price);
}

constexpr const char* kEdits = R"(
function put(row, column, value) { items.SetColumn(row, column, value); }
function drop(row) { items.DeleteRow(row); }
function grow() { items.AppendRow(); }
function keep() { items.ApplyChange(); }
function undo() { items.Reset(); }
function hide() { items.Filter("qty > 3"); }
function unhide() { items.Filter(""); }
)";

// What a table has to do, over rows that are never taken out before the changes are applied.
class Model {
 public:
  struct Row {
    Item now;
    Item first;
    RowState state = RowState::kNormal;
    bool hidden = false;
  };

  std::vector<Row*> Shown() {
    std::vector<Row*> shown;
    for (Row& row : rows_) {
      if (row.state != RowState::kDeleted && !row.hidden) shown.push_back(&row);
    }
    return shown;
  }

  void Load(const std::vector<Item>& items) {
    for (const Item& item : items) rows_.push_back({item, item});
  }
  void Insert() { rows_.push_back({.now = {}, .first = {}, .state = RowState::kInserted}); }
  static void Edited(Row& row) {
    if (row.state == RowState::kInserted) return;
    row.state = row.now == row.first ? RowState::kNormal : RowState::kUpdated;
  }
  void Delete(Row& row) {
    if (row.state == RowState::kInserted) {
      rows_.erase(rows_.begin() + (&row - rows_.data()));
    } else {
      row.state = RowState::kDeleted;
    }
  }
  void Apply() {
    std::erase_if(rows_, [](const Row& row) { return row.state == RowState::kDeleted; });
    for (Row& row : rows_) row = {row.now, row.now, RowState::kNormal, row.hidden};
  }
  void Reset() {
    std::erase_if(rows_, [](const Row& row) { return row.state == RowState::kInserted; });
    for (Row& row : rows_) row = {row.first, row.first, RowState::kNormal, row.hidden};
  }
  // The rows whose quantity is 3 or less, or null.
  void Hide() {
    for (Row& row : rows_) row.hidden = row.now.qty.value_or(0) <= 3;
  }
  void Unhide() {
    for (Row& row : rows_) row.hidden = false;
  }

 private:
  std::vector<Row> rows_;
};

class Rounds {
 public:
  explicit Rounds(unsigned seed) : random_(seed) {
    engine_.load("edits.kts", kEdits);
    table_ = engine_.dataset("items");
    const std::vector<Item> items = AnyItems();
    table_.load(items, ItemFields());
    model_.Load(items);
  }

  void Step() {
    switch (Roll(10)) {
      case 0: return Append();
      case 1: return Insert();
      case 2: return Delete();
      case 3: return End();
      case 4: return Hide();
      default: return Put();
    }
  }

  void Check() {
    const std::vector<Model::Row*> rows = model_.Shown();
    ASSERT_EQ(table_.rows(), static_cast<int>(rows.size()));
    std::vector<Item> items;
    int sum = 0;
    for (kt::Row row : table_) {
      const Model::Row& wanted = *rows[static_cast<std::size_t>(row.index())];
      items.push_back(wanted.now);
      sum += wanted.now.qty.value_or(0);
      ASSERT_EQ(row.state(), wanted.state) << row.index();
      ASSERT_EQ(row.get<std::optional<double>>("price"), wanted.now.price) << row.index();
      if (wanted.state == RowState::kUpdated) {
        ASSERT_EQ(row.original<std::optional<int>>("qty"), wanted.first.qty) << row.index();
        ASSERT_EQ(row.original<std::optional<std::string>>("name"), wanted.first.name)
            << row.index();
      }
    }
    ASSERT_EQ(table_.read(ItemFields()), items);
    ASSERT_EQ(engine_.eval<int>("toInteger(items.Sum('qty'))"), sum);
    CheckSpans(items);
    // What goes out as text comes back the same.
    ASSERT_EQ(kt::Table("copy").load_csv(table_.to_csv()).read(ItemFields()), items);
    if (items.empty()) return;  // JSON has no columns without rows
    ASSERT_EQ(kt::Table("copy").load_json(table_.to_json()).to_json(), table_.to_json());
  }

 private:
  int Roll(int sides) { return static_cast<int>(random_() % static_cast<unsigned>(sides)); }
  bool ByScript() { return Roll(2) == 0; }

  std::vector<Item> AnyItems() {
    std::vector<Item> items(static_cast<std::size_t>(Roll(20)));
    for (Item& item : items) item = {AnyName(), AnyQuantity(), AnyPrice()};
    return items;
  }
  std::optional<std::string> AnyName() {
    return Roll(5) == 0 ? "a \"b\",\nc" : "n" + std::to_string(Roll(9));
  }
  std::optional<int> AnyQuantity() {
    return Roll(5) == 0 ? std::nullopt : std::optional(Roll(9) - 2);
  }
  std::optional<double> AnyPrice() {
    return Roll(5) == 0 ? std::nullopt : std::optional(Roll(100) / 8.0);
  }

  void Append() {
    const std::vector<Item> items = AnyItems();
    table_.append(items, ItemFields());
    model_.Load(items);
  }

  void Insert() {
    if (ByScript()) {
      engine_.call<void>("grow");
    } else {
      table_.append_row();
    }
    model_.Insert();
  }

  void Delete() {
    const std::vector<Model::Row*> rows = model_.Shown();
    if (rows.empty()) return;
    const int row = Roll(static_cast<int>(rows.size()));
    engine_.call<void>("drop", row);
    model_.Delete(*rows[static_cast<std::size_t>(row)]);
  }

  // Of changes: with all rows shown.
  void End() {
    engine_.call<void>("unhide");
    model_.Unhide();
    const bool apply = Roll(2) == 0;
    if (ByScript()) {
      engine_.call<void>(apply ? "keep" : "undo");
    } else if (apply) {
      table_.apply_changes();
    } else {
      table_.reset();
    }
    apply ? model_.Apply() : model_.Reset();
  }

  void Hide() {
    const bool hide = Roll(2) == 0;
    engine_.call<void>(hide ? "hide" : "unhide");
    hide ? model_.Hide() : model_.Unhide();
  }

  template <class T>
  void PutCell(Model::Row& row, int index, const char* column, T Item::*member, const T& value) {
    if (ByScript()) {
      engine_.call<void>("put", index, column, value);
    } else {
      table_.set(index, column, value);
    }
    row.now.*member = value;
    Model::Edited(row);
  }

  void Put() {
    const std::vector<Model::Row*> rows = model_.Shown();
    if (rows.empty()) return;
    const int index = Roll(static_cast<int>(rows.size()));
    Model::Row& row = *rows[static_cast<std::size_t>(index)];
    switch (Roll(3)) {
      case 0: return PutCell(row, index, "name", &Item::name, AnyName());
      case 1: return PutCell(row, index, "qty", &Item::qty, AnyQuantity());
      default: return PutCell(row, index, "price", &Item::price, AnyPrice());
    }
  }

  void CheckSpans(const std::vector<Item>& items) {
    if (!table_.lies_in_order()) {
      ASSERT_THROW(table_.span<kt_long>("qty"), kt::RunError);
      return;
    }
    const std::span<const kt_long> cells = table_.span<kt_long>("qty");
    ASSERT_EQ(cells.size(), items.size());
    for (std::size_t row = 0; row < items.size(); ++row) {
      ASSERT_EQ(cells[row], items[row].qty.value_or(0)) << row;
    }
  }

  std::mt19937 random_;
  kt::Engine engine_;
  kt::Table table_;
  Model model_;
};

TEST(HostTable, IsAVectorOfRowsThatKnowsItsChanges) {
  const char* const wanted = std::getenv("KT_TABLE_ROUNDS");
  const unsigned rounds = wanted != nullptr ? static_cast<unsigned>(std::atoi(wanted)) : 60;
  for (unsigned seed = 1; seed <= rounds; ++seed) {
    SCOPED_TRACE(seed);
    Rounds round(seed);
    for (int step = 0; step < 40; ++step) {
      round.Step();
      round.Check();
      if (testing::Test::HasFatalFailure()) return;
    }
  }
}

}  // namespace
