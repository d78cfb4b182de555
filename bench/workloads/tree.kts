// trees as lists of lists: built, walked, written as text
function build(depth, n) {
  if (depth == 0) return n;
  var left = build(depth - 1, n * 2), right = build(depth - 1, n * 2 + 1);
  var node = [left, "k", right];
  return node;
}
function total(node, depth) {
  if (depth == 0) return node % 7;
  return total(node[0], depth - 1) + total(node[2], depth - 1);
}
function text(node, depth) {
  if (depth == 0) return toString(node);
  return "{" + text(node[0], depth - 1) + ":" + node[1] + ":" + text(node[2], depth - 1) + "}";
}
function main() {
  var N = 14; // @N
  var sum = 0;
  for (var r = 0; r < 3; r++) {
    var tree = build(N, 1);
    for (var k = 0; k < 4; k++) sum += total(tree, N);
    sum += length(text(tree, N)) % 1000;
  }
  return sum;
}
