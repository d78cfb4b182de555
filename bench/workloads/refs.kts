// Arithmetic on arguments passed by reference.
function advance(x, v, step) {
  for (var i = 0; i < 100; i++) {
    v += step;
    x += v * 0.5;
    if (x > 1000) x = x - 1000;
  }
}
function main() {
  var N = 10000; // @N
  var x = 0.0;
  var v = 1;
  for (var round = 0; round < N; round++) {
    v = 1;
    advance(ref(x), ref(v), round % 3);
  }
  return floor(x * 10);
}
