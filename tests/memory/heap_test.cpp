// SPDX-License-Identifier: MIT
//
// A bound of memory is worth what is counted: no built-in function and no method of a dataset takes
// much more than that, however large its arguments are.
#include <gtest/gtest.h>

#include "classlib/base/Kt_Memory.h"
#include "classlib/text/Kt_Number.h"
#include "dataset/dataset_test_util.h"
#include "memory/alloc_faults.h"

namespace kt::test {
namespace {

constexpr kt_long kItems = 20000;  // of a text or list
constexpr kt_long kRows = 5000;

Kt_WString LongText(std::u16string_view piece) {
  Kt_WString text;
  for (kt_long item = 0; item < kItems; ++item) (void)text.Append(piece);
  return text;
}

std::vector<Kt_Variant> LargeValues(Kt_ExprDataset* wrapper) {
  Kt_VariantList list;
  for (kt_long item = 0; item < kItems; ++item) list.Add(kt_longtextW(item));
  return {LongText(u"a,"),
          list,
          u"",
          u",",
          kt_long{2},
          kItems,
          Kt_Variant(Kt_ObjectHolder(nullptr, wrapper))};
}

// What a call takes uncounted is a small part of its arguments; a block of rows takes most.
template <class Call>
void Watch(const char16_t* name, const std::string& arguments, Call call) {
  constexpr long kAllowedBytes = 80000;
  const Kt_CountedMemory bound(8 << 20);  // some results have the square of the arguments' size
  WatchHeap();
  call();
  const long uncounted = UncountedPeak();
  if (uncounted <= kAllowedBytes) return;
  ADD_FAILURE() << Kt_WString(name).ToUtf8() << " with " << arguments << ": " << uncounted
                << " bytes are not counted";
}

struct Stage {
  Stage() {
    std::u16string csv = u"n:long,name:string,x:double,sum:long\n";
    for (kt_long row = 0; row < kRows; ++row) {
      const std::u16string number(kt_longtextW(row).View());
      csv += number + u",name " + number + u"," + number + u".5,\n";
    }
    data = MakeDataset(u"ds", csv);
    other = MakeDataset(u"other", csv);
    wrapper = std::make_unique<Kt_ExprDataset>(data.get(), &host);
    other_wrapper = std::make_unique<Kt_ExprDataset>(other.get(), &host);
    host.datasets = {wrapper.get(), other_wrapper.get()};
  }
  DataHost host;
  std::unique_ptr<Kt_Dataset> data;
  std::unique_ptr<Kt_Dataset> other;
  std::unique_ptr<Kt_ExprDataset> wrapper;
  std::unique_ptr<Kt_ExprDataset> other_wrapper;
};

TEST(Heap, OfBuiltinsIsCounted) {
  if (!HasSystemHeap()) GTEST_SKIP();
  Stage stage;
  const std::vector<Kt_Variant> values = LargeValues(stage.other_wrapper.get());
  for (int index = 0; index < Kt_ExprObject::GetIntFuncCount(); ++index) {
    const _EXPR_INTFUNC_INFO& row = Kt_ExprObject::GetIntFuncMap()[index];
    if (Kt_WString(row.name) == u"split2") continue;  // `split`, often
    for (std::size_t first = 0; first < 2; ++first) {
      for (std::size_t second = 0; second < values.size(); ++second) {
        Kt_VariantList args{values[first], values[second], values[second]};
        Watch(row.name, std::to_string(first) + "," + std::to_string(second), [&] {
          Kt_Variant result;
          (void)(static_cast<Kt_Object&>(stage.host).*row.handler)(&args, result);
        });
      }
    }
  }
}

TEST(Heap, OfMethodsIsCounted) {
  if (!HasSystemHeap()) GTEST_SKIP();
  const std::vector<Kt_VariantList> arguments = {
      {},
      {u"name"},
      {u"n*2 + length(name)"},
      {u"n > 5", u"n", u"name"},
      {u"name", u"name", u"sum(n)"},
      {u"name:d,n", u"n"},
      {u"name", u"name 77"},
      {kt_long{0}, u"name", u"text"},
      {kt_long{5}, kt_long{1}, kt_long{3}},
  };
  auto stage = std::make_unique<Stage>();
  for (int index = 0; index < Kt_ExprDataset::GetDSetMethodCount(); ++index) {
    const _EXPR_OBJMETHOD_INFO& row = Kt_ExprDataset::GetDSetMethodMap()[index];
    for (std::size_t at = 0; at <= arguments.size(); ++at) {
      Kt_VariantList args;
      if (at < arguments.size()) {
        args = arguments[at];
      } else {
        args.Add(Kt_Variant(Kt_ObjectHolder(nullptr, stage->other_wrapper.get())));
      }
      const std::uint64_t version = stage->data->GetStructureVersion();
      Watch(row.name, std::to_string(at), [&] {
        Kt_Variant result;
        Kt_Object& object = *stage->wrapper;
        (void)(object.*row.method)(&args, result);
      });
      if (stage->data->GetStructureVersion() != version) stage = std::make_unique<Stage>();
    }
  }
}

// What files are made of on the way in and out: records, cells, keys, forms of texts.
TEST(Heap, OfFilesAndKeysIsCounted) {
  if (!HasSystemHeap()) GTEST_SKIP();
  struct Row {
    const char* name;
    kt_long (*run)(Kt_Dataset& data, const Kt_Dataset& other);
  };
  static const Kt_WString long_text = LongText(u"\u4E2D,\"a\"<");
  static const Kt_WString quoted = u"name\n\"" + LongText(u"a\"\"") + u"\"\n";
  static const std::string json = "[{\"name\": \"" + std::string(100000, 'x') + "\\n\"}]";
  static const auto with_long_cell = [](Kt_Dataset& data) -> Kt_Dataset& {
    (void)data.SetColumn(0, data.GetColIndex(u"name"), long_text);
    return data;
  };
  static const auto with_bytes = [](Kt_Dataset& data) -> Kt_Dataset& {
    Kt_Variant bytes;
    bytes.SetBinary(json.data(), json.size());
    (void)data.AddColumn(u"bytes", u"binary");
    (void)data.SetColumn(0, data.GetColIndex(u"bytes"), bytes);
    return data;
  };
  static const auto xml_there_and_back = [](Kt_Dataset& data) {
    Kt_WString xml;
    const kt_long saved = data.SaveDataXml(xml);
    return saved < 0 ? saved : data.LoadDataXml(xml);
  };
  const Row rows[] = {
      {"a cell in CSV", [](Kt_Dataset& data, const Kt_Dataset&) { return data.LoadCSV(quoted); }},
      {"a cell in XML", [](Kt_Dataset& data,
                           const Kt_Dataset&) { return xml_there_and_back(with_long_cell(data)); }},
      {"bytes in XML",
       [](Kt_Dataset& data, const Kt_Dataset&) { return xml_there_and_back(with_bytes(data)); }},
      {"bytes in JSON",
       [](Kt_Dataset& data, const Kt_Dataset&) {
         Kt_Buffer text;
         Kt_SaveReport report;
         return with_bytes(with_long_cell(data)).SaveJson(text, {}, {}, report);
       }},
      {"a text in JSON",
       [](Kt_Dataset& data, const Kt_Dataset&) {
         Kt_LoadReport report;
         return data.LoadJson(json, {}, report);
       }},
      {"keys",
       [](Kt_Dataset& data, const Kt_Dataset& other) {
         data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kSort, data.GetColIndex(u"name"));
         return data.Merge(other);
       }},
  };
  for (const Row& row : rows) {
    Stage stage;
    kt_long answer = 0;
    Watch(u"Dataset", row.name, [&] { answer = row.run(*stage.data, *stage.other); });
    EXPECT_GE(answer, 0) << row.name;
  }
}

}  // namespace
}  // namespace kt::test
