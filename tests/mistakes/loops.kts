// What an earlier turn has left is known, unless it was left in a block inside.
function main(list) {
  var size = length(list);
  for (var i = 0; i < size; i++) {
    if (i > 0) print(before);
    if (i == 2) print(inner);
    { inner = i; print(inner); }
    before = list[i];
  }
  while (before < 3) size++;
  for (start = 0; start < size; start++, last = start) print(start);
  print(start, last, i);
}

// The one in the block is that of the loop from the second turn on.
function kept(n) {
  while (n > 0) {
    if (n == 1) state = "last";
    print(state);
    state = "first";
    n--;
  }
  var i = 5;
  for (var i = 0; i < 3; i++) print(i);
  for (var i = 0; i < 3; i++) { for (var i = 0; i < 2; i++) print(i); }
  while (n < 3) { for (var i = 0; i < 2; i++) n += i; }
}
