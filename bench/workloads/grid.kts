function main() {
  var N = 100; // @N
  var grid = [];
  for (var y = 0; y < 100; y++) {
    var line = array(100);
    for (var x = 0; x < 100; x++) line[x] = (x * 7 + y * 3) % 10;
    grid[y] = line;
  }
  for (var round = 0; round < N; round++) {
    for (var y = 1; y < 100; y++) {
      for (var x = 1; x < 100; x++) {
        var row = grid[y];
        row[x] = (row[x - 1] + grid[y - 1][x] + round) % 1000;
        grid[y] = row;
      }
    }
  }
  var total = 0;
  for (var y = 0; y < 100; y++) for (var x = 0; x < 100; x++) total += grid[y][x];
  return total;
}
