// SPDX-License-Identifier: MIT
//
// What the last error says of datasets: for expressions, and for hosts that ask a wrapper by name.
#include <gtest/gtest.h>

#include "dataset/Kt_DatasetCtx.h"
#include "dataset_test_util.h"
#include "object/Kt_RunError.h"

namespace {

using namespace kt::test;

constexpr const char16_t* kSales = u"item:string,price:double,qty:long\npen,1.5,3\nink,8,1\n";

// The context of the expressions: knows `sales`.
class Host : public TestHost {
 public:
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (!name.EqualsNoCase(u"sales")) return TestHost::GetVarType(name, info);
    info.SetDataset(&sales);
    return info.GetKind();
  }

  std::unique_ptr<Kt_Dataset> data = MakeDataset(u"sales", kSales);
  Kt_ExprDataset sales{data.get(), this};
};

std::string Last() {
  const Kt_RunError& error = Kt_RunError::Last();
  std::string out = error.text.ToUtf8();
  if (error.column > 0) {
    out += " <" + error.expression.Mid(error.column - 1, error.length).ToUtf8() + ">@" +
           std::to_string(error.column);
  }
  return out;
}

TEST(DatasetRunError, Expressions) {
  const struct {
    const char16_t* expression;
    kt_long code;
    const char* error;
  } kRows[] = {
      {u"sales[0].prize", -1,
       "no column or member 'prize' in sales (did you mean 'price'?) <prize>@10"},
      {u"sales[0].price + sales[1].prise", -1,
       "no column or member 'prise' in sales (did you mean 'price'?) <prise>@27"},
      {u"sales.rowcuont", -1,
       "no column or member 'rowcuont' in sales (did you mean 'rowcount'?) <rowcuont>@7"},
      {u"sales[0].price.smu", -1, "no member 'smu' in sales.price (did you mean 'sum'?) <smu>@16"},
      // The language gives an empty value for these; the failure is noted all the same.
      {u"sales.Srot('qty')", 0, "no method 'Srot' in sales (did you mean 'Sort'?)"},
      {u"sales.Sum('qty * prize')", 0,
       "unknown variable 'prize' (did you mean 'price'?) (row 0) <prize>@7"},
      {u"sales.Sum('qty * text(1)')", 0, "unknown function: text (row 0) <text>@7"},
      {u"sales.DeleteRow()", kErrBadArgument,
       "no dataset, or too few arguments: DeleteRow() <DeleteRow>@7"},
  };
  Host host;
  for (const auto& row : kRows) {
    Kt_RunError::Forget();
    Kt_Variant value;
    EXPECT_EQ(Kt_Expr(row.expression).ExecExpr(&host, value), row.code)
        << Kt_WString(row.expression).ToUtf8();
    EXPECT_EQ(Last(), row.error) << Kt_WString(row.expression).ToUtf8();
  }
}

TEST(DatasetRunError, CallsOfTheHost) {
  Host host;
  Kt_Variant result;
  EXPECT_EQ(host.sales.CallMethod(u"Srot", nullptr, result), -1);
  EXPECT_EQ(Last(), "no method 'Srot' in sales (did you mean 'Sort'?)");
  EXPECT_EQ(host.sales.CallMethod(u"DeleteRow", nullptr, result), kErrBadArgument);
  EXPECT_EQ(Last(), "no dataset, or too few arguments: DeleteRow()");
  EXPECT_EQ(host.sales.GetProperty(u"rowcuont", nullptr, result), -1);
  EXPECT_EQ(Last(), "no column or member 'rowcuont' in sales (did you mean 'rowcount'?)");
  EXPECT_EQ(host.sales.SetProperty(u"rowcount", nullptr, kt_long{3}), -1);
  EXPECT_EQ(Last(), "'rowcount' of sales cannot be assigned to");
  Kt_Dataset view_data(u"view");
  view_data.SetSource(host.data.get());
  Kt_ExprDataset view(&view_data, &host);
  EXPECT_EQ(view.CallMethod(u"AddRow", nullptr, result), kErrDataset);
  EXPECT_EQ(Last(), "AddRow() is refused on a logical dataset");
  Kt_ExprDataset empty;
  EXPECT_EQ(empty.CallMethod(u"Sum", nullptr, result), -1);
  EXPECT_EQ(Last(), "there is no dataset behind Sum");
}

// A fault in every row is one message, found once, and cheap to note again.
TEST(DatasetRunError, EveryRow) {
  auto data = std::make_unique<Kt_Dataset>(u"many");
  data->AddColumn(u"price", Kt_ColumnType::kLong);
  for (int row = 0; row < 1000; ++row) data->AppendRow();
  TestHost host;
  Kt_ExprDataset wrapper(data.get(), &host);
  const Kt_VariantList args = {Kt_Variant(u"prise + 1")};
  Kt_Variant result;
  EXPECT_EQ(wrapper.CallMethod(u"Sum", &args, result), 0);
  EXPECT_EQ(host.errors.size(), 1u);
  EXPECT_EQ(Last(), "unknown variable 'prise' (did you mean 'price'?) (row 0) <prise>@1");
}

}  // namespace
