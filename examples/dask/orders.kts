// What is computed of one partition, the dataset `rows`, and how two results become one.

function discount(qty) { return iif(qty >= 10, 0.2, 0); }

function addPrices() {
  rows.AddColumn('paid', 'double');
  for (var i = 0; i < rows.Count(); i = i + 1) {
    var qty = rows.GetColumn(i, 'qty');
    rows.SetColumn(i, 'paid', rows.GetColumn(i, 'price') * qty * (1 - discount(qty)));
  }
}

// How many orders there are, and which is the largest.
function largest() {
  var best = 0;
  for (var i = 1; i < rows.Count(); i = i + 1) {
    if (rows.GetColumn(i, 'qty') > rows.GetColumn(best, 'qty')) best = i;
  }
  return [rows.Count(), rows.GetColumn(best, 'qty'), rows.GetColumn(best, 'item')];
}
function larger(a, b) {
  if (b[1] > a[1]) return [a[0] + b[0], b[1], b[2]];
  return [a[0] + b[0], a[1], a[2]];
}
