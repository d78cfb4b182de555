function complete(a) {
  if (a == 1) return 1;
  else if (a == 2) { return 2; }
  else { while (true) { if (a > 10) return 3; a++; } }
}

function endless(a) {
  while (1) { if (a++ > 10) break; }
}

function leaves(a) {
  while (true) { if (a++ > 10) break; }
  for (var i = 0; i < 3; i++) { continue; print(i); }
  return a;
}

function blocks(a) {
  for (var i = 0; i < a; i++) {
    { if (i == 1) { continue; } return i; }
    print("behind the block");
  }
  switch (a) {
    case 1: return 1; break;
    case 2: break;
    default: return 2;
  }
}

function said(a) {
  if (a > 0) return a;
  return;
}

function stops() { return; return; }

function main() {
  print(complete(1), endless(2), leaves(3), blocks(4), said(5), stops());
  if ('a' + 'b' = "ab") print("the same in every run");
  while (2 > 1) break;
  for (; TRUE;) { break; }
}
