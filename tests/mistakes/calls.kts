function add(a, b) { return a + b; }

function main(s) {
  print(add(1), add(1, 2, (3)), add(, ,), add());
  print(left(), left(s), left(s, 1), left(s, 1, 2), date(s), getDate(1));
  print(greatest(1, 2, 3, 4), greatest(), decode(s), decode(s, 1, 2, 3), datetime(1, 2, 3, 4, 5, 6, 7));
  print(s.trim().nothing(1), s.anything, ad(1), ad(2), main2(add(1, 2, 3)));
  trace(s); tracevar(s, s); tracedata();
  ref(s);
  add = 3;
}
