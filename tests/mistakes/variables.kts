#include "lib/tools.kts"

var first = second, second = twice(2), FIRST = 3;
var table[second];

function main(a, b) {
  a++;
  var counter = 0, stepped, list = [], pair[2], referred, item, told, row;
  print(++counter, stepped++);
  list[0] = a;
  pair[1] = twice(ref(referred));
  fill(ref(item[0]));
  print(eval("told + shared"));
  row.price = 7;
  sum += 1; count++;
  local = shared + tabel + third /* in front */ + thrid;
  {
    var b = 1, counter = b;
  }
  Print(LIST, PAIR, stepped++, item, unknown.member, unknown[0]);
}

function texts(what) {
  var seen = 1, unseen = 2;
  eval(what);
  mispelt = seen;
}
