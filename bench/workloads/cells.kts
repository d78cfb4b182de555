// the cells of a dataset, row by row
function main() {
  var N = 20000; // @N
  var t = dataset("t", "item, qty:long, price:double, total:double");
  for (var i = 0; i < N; i++) {
    t.AppendRow();
    t.item = "item" + i % 100;
    t.qty = i % 17;
    t.price = i % 1000 / 4;
  }
  for (var round = 0; round < 5; round++) {
    for (var i = 0; i < N; i++) {
      t.SetColumn(i, "total", t.GetColumn(i, "qty") * t.GetColumn(i, "price") + round);
    }
  }
  var sum = 0;
  for (var k = 0; k < N; k++) {
    if (t[k].qty > 5 && t[k].item != "item7") sum += t[k].total;
  }
  return floor(sum);
}
