// text built piece by piece, and read character by character
function main() {
  var N = 60000; // @N
  var s = "";
  for (var i = 0; i < N; i++) {
    s += chr(97 + i % 26);
    if (i % 10 == 9) s = s + "," + i;
  }
  var vowels = 0, sum = 0;
  for (var k = 0; k < length(s); k++) {
    var c = charat(s, k);
    if (c == "a" || c == "e" || c == "i" || c == "o" || c == "u") vowels++;
    sum = (sum * 31 + asc(c)) % 1000003;
  }
  var parts = split(s, ",");
  for (var p = 0; p < length(parts); p++) sum = (sum + indexOf(parts[p], "z")) % 1000003;
  return vowels * 1000 + sum % 1000;
}
