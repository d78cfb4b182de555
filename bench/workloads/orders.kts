// JSON-like records: texts, numbers and lists in lists, gone through by small functions.
function weight(order) {
  var sum = 0;
  var lines = order[2];
  for (var i = 0; i < length(lines); i++) sum += lines[i][1] * lines[i][2];
  return sum;
}
function make(id) {
  var lines = [];
  for (var i = 0; i < id % 7 + 1; i++) lines[i] = ['item' + i, i + 1, id % 13 + 0.5];
  return ['order' + id, id % 5, lines];
}
function main() {
  var N = 40; // @N
  var orders = [];
  for (var i = 0; i < 2000; i++) orders[i] = make(i);
  var total = 0;
  for (var round = 0; round < N; round++) {
    for (var k = 0; k < length(orders); k++) {
      var order = orders[k];
      if (order[1] == round % 5) total += weight(order);
      if (order[0] == 'order77') total += 1;
    }
  }
  return floor(total);
}
