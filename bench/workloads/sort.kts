// quicksort and insertion sort of a list passed by reference
function sort(list, low, high) {
  while (low < high) {
    if (high - low < 12) {
      for (var i = low + 1; i <= high; i++) {
        var x = list[i], j = i - 1;
        while (j >= low && list[j] > x) { list[j + 1] = list[j]; j--; }
        list[j + 1] = x;
      }
      return;
    }
    var pivot = list[(low + high - (low + high) % 2) / 2], a = low, b = high;
    while (a <= b) {
      while (list[a] < pivot) a++;
      while (list[b] > pivot) b--;
      if (a <= b) { var t = list[a]; list[a] = list[b]; list[b] = t; a++; b--; }
    }
    if (b - low < high - a) { sort(ref(list), low, b); low = a; }
    else { sort(ref(list), a, high); high = b; }
  }
}
function main() {
  var N = 200000; // @N
  var list = array(N), seed = 42;
  for (var i = 0; i < N; i++) { seed = (seed * 1103 + 12345) % 1000003; list[i] = seed; }
  sort(ref(list), 0, N - 1);
  var sum = 0;
  for (var k = 0; k < N; k += 1000) sum = (sum * 31 + list[k]) % 1000003;
  return sum;
}
