// The rows of one item, on whatever servers they lie: more pieces of each, saved where they are.
function main(table) {
  var read = loadData('orders',
      table + "query=SELECT * FROM orders WHERE item = 'item 7' ORDER BY id");
  for (var i = 0; i < orders.Count(); i = i + 1) {
    orders.SetColumn(i, 'qty', orders.GetColumn(i, 'qty') + 1);
  }
  return read + ' rows read, ' + saveData('orders', table + 'table=orders') + ' saved';
}
