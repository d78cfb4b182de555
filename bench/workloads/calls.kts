// many small calls, and a global variable
var calls = 0;
function clamp(x, low, high) {
  if (x < low) return low;
  if (x > high) return high;
  return x;
}
function mix(a, b) { calls++; return clamp((a * 7 + b) % 1001, 10, 900); }
function main() {
  var N = 1500000; // @N
  var v = 1;
  for (var i = 0; i < N; i++) v = mix(v, i);
  return v + calls;
}
