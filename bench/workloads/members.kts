function main() {
  var N = 300000; // @N
  var line = '  key = some value ;';
  var total = 0;
  for (var i = 0; i < N; i++) {
    var text = line.trim();
    var at = text.indexOf('=');
    var name = text.left(at).trim().toUpper();
    total += name.length + text.mid(at + 1, 5).length + text.length;
  }
  return total;
}
