// What dataset(), view() and loadData() make has a name from then on.
function main(path) {
  loadData("orders", path);
  view("cheap", orders, "price < limit");
  var limit = 3, rate = 2;
  dataset('more', "price:double");
  print(orders, cheap.Sum("price * rate"), more, curdata);
  saveData(oders, "price.csv");
  print(price);
}
