// SPDX-License-Identifier: MIT
//
// kt check --host: what an engine writes about its names, and what else has that form.
#include "cli_test_util.h"
#include "host/Kt_Bind.h"

namespace {

struct Order {
  double price = 2;
  int Total(int count, std::optional<int> more) const { return count + more.value_or(0); }
};

// What is found in main() with this body, without places and names: one text a line.
std::string Findings(const TestFolder& folder, const std::string& host, const std::string& body) {
  const std::string script = folder.Write("a.kts", "function main() {\n" + body + "\n}\n");
  const Outcome outcome = Kt({"check", "--host", host, script});
  EXPECT_EQ(outcome.status, 0) << body << outcome.messages;
  std::istringstream lines(outcome.messages);
  std::string all;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t text = line.find("warning: ");
    if (text != std::string::npos) all += line.substr(text + 9, line.find(" [") - text - 9) + "\n";
  }
  return all;
}

TEST(CliHostNames, AnEngineWritesWhatCheckReads) {
  Order order;
  kt::Engine engine;
  engine.function("rate", [](double x, std::optional<std::string>) { return x; })
      .function("many", [](int, kt::Rest rest) { return rest.values.GetCount(); })
      .function("raw", [](const Kt_VariantList&) { return Kt_Variant(1); })
      .set("base", 5);
  kt::Object object(engine, "order");
  object.property("price", &order, &Order::price).method("total", &order, &Order::Total);
  engine.dataset("items").load_csv("qty:long,\"a \"\"b\"\":long\"\n1,2\n");
  const TestFolder folder;
  const std::string host = folder.Write("names.json", engine.names_json());
  const struct {
    const char* body;
    const char* findings;
  } kRows[] = {
      {"return rate(1) + rate(1, 'a') + many(0) + many(1, 2, 3) + raw() + raw(9) + base;", ""},
      {"return order.price + order.total(1) + order.total(1, 2) + order.trim();", ""},
      {"return items.qty + items.Sum('qty');", ""},
      {"var order = 5; return order.anything;", ""},
      {"print(1);", "unknown function 'print'\n"},
      {"return rate() + many();",
       "'rate' takes 1 or 2 arguments, not 0\n'many' takes at least 1 argument, not 0\n"},
      {"return bas;", "unknown variable 'bas' (did you mean 'base'?)\n"},
      {"return order.prise;", "no member 'prise' in order (did you mean 'price'?)\n"},
      {"order.totl(1);", "no member 'totl' in order (did you mean 'total'?)\n"},
      {"order.total();", "'total' takes 1 or 2 arguments, not 0\n"},
      {"return items.qyt;", "no column or member 'qyt' in items (did you mean 'qty'?)\n"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Findings(folder, host, row.body), row.findings) << row.body;
  }
}

TEST(CliHostNames, FunctionsOfKtAreReadBack) {
  const TestFolder folder;
  const std::string host = folder.Write("kt.json", Kt({"functions", "--json"}).out);
  EXPECT_EQ(Findings(folder, host, "dataset('x', 'a:long'); x.AddRow(); print(x, abs(-1));"), "");
  EXPECT_EQ(Findings(folder, host, "print(abs(), whatever());"),
            "'abs' takes 1 argument, not 0\nunknown function 'whatever'\n");
}

TEST(CliHostNames, FaultsNameTheLine) {
  const TestFolder folder;
  const std::string script = folder.Write("a.kts", "function main() { }\n");
  const struct {
    const char* text;
    const char* message;
  } kRows[] = {
      {"{\"name\":\"f\",\"kind\":\"function\"}\n\n[1]\n", "line 3: this is no object of JSON"},
      {"{\"name\":\"f\"", "line 1: this is no object of JSON"},
      {"{\"name\":5,\"kind\":\"function\"}", "line 1: 'name' and 'kind' have to be texts"},
      {"{\"name\":\"f\",\"kind\":\"thing\"}", "line 1: there is no kind 'thing'"},
      {"{\"name\":\"f\",\"kind\":\"method\"}",
       "line 1: a method needs the text 'of', what it belongs to"},
      {"\xFF", "no valid UTF-8 at byte offset 0"},
  };
  for (const auto& row : kRows) {
    const std::string host = folder.Write("names.json", row.text);
    const Outcome outcome = Kt({"check", "--host", host, script});
    EXPECT_EQ(folder.Shorten(outcome.messages),
              std::string("kt check: --host: names.json: ") + row.message + "\n");
    EXPECT_EQ(outcome.status, 2) << row.text;
  }
  EXPECT_EQ(Kt({"check", "--host", folder.Path("none.json"), script}).status, 2);
}

}  // namespace
