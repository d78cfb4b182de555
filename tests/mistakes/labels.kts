// Each label has a block of its own.
function main(n, text) {
  switch (n) {
    case 1: x = "one";
    case 2: print(x); break;
    case 3:
    case 1 + 2:
    case 3.0: return n; break;
    default: text = 'a';
  }
  switch (text) {
    case "a": return 1;
    case 'a': return 2;
    case n: return 3;
    case N: return 4;
    default: return 5;
  }
  print(text);
}
