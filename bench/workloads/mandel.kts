// floating point: points of the Mandelbrot set
function main() {
  var N = 220; // @N
  var inside = 0;
  for (var py = 0; py < N; py++) {
    for (var px = 0; px < N; px++) {
      var cx = px * 3.0 / N - 2, cy = py * 2.0 / N - 1;
      var x = 0.0, y = 0.0, steps = 0;
      while (steps < 100 && x * x + y * y < 4) {
        var t = x * x - y * y + cx;
        y = 2 * x * y + cy;
        x = t;
        steps++;
      }
      if (steps == 100) inside++;
    }
  }
  return inside;
}
