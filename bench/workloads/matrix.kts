// matrices as lists of lists
function make(n, seed) {
  var rows = array(n);
  for (var i = 0; i < n; i++) {
    var row = array(n);
    for (var j = 0; j < n; j++) row[j] = (i * seed + j * 3) % 17;
    rows[i] = row;
  }
  return rows;
}
function main() {
  var N = 110; // @N
  var a = make(N, 7), b = make(N, 5);
  var trace = 0;
  for (var r = 0; r < 2; r++) {
    var c = array(N);
    for (var i = 0; i < N; i++) {
      var row = array(N);
      var own = a[i];
      for (var j = 0; j < N; j++) {
        var sum = 0;
        for (var k = 0; k < N; k++) sum += own[k] * b[k][j];
        row[j] = sum;
      }
      c[i] = row;
    }
    for (var d = 0; d < N; d++) trace += c[d][d];
  }
  return trace;
}
