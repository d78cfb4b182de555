// Checked with the dataset `orders` of the columns id, price and qty.
function main(orders2, path) {
  print(orders.Sum(), orders.Sum("price * "), orders.GetColumn(0, 'qty'), orders.Sort("none"));
  orders.Filter("left(id, 1) = '1' and pric > 2 or lenght(id) > 3 + Sum('x')");
  print(orders.CaseSum("qty = 1", "prce"), orders.FindRow("ID", "1"), orders.FindRow('idd', 1));
  print(orders.name, ORDERS.Price, orders.RowCount, orders.Sum("price" + path), orders[0].any);
  print(curdata.prise, other.prise, orders2.prise, orders.Sum("rowidx * other.col"));
  { var orders = path; print(orders.trim(), orders.anything); }
  print(order, orders);
}
