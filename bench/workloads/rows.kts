// expressions over the rows of a dataset; in Lua, closures over a table of rows
function main() {
  var N = 50000; // @N
  var t = dataset("t", "item, qty:long, price:double");
  for (var i = 0; i < N; i++) {
    t.AppendRow();
    t.item = "item" + i % 100;
    t.qty = i % 17;
    t.price = i % 1000 / 4;
  }
  var sum = 0;
  for (var round = 0; round < 20; round++) {
    sum += t.Sum("qty * price");
    sum += t.CaseSum("qty > 5 && price < 200", "price");
    sum += t.CaseCount("item = 'item7' || qty = " + round);
    sum += t.SearchRow("qty * price > 3990");
  }
  t.Filter("qty > 3");
  return floor(sum + t.rowcount + t.Sum("price"));
}
