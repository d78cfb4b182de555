var shared = 1, third = 3;

function twice(x) {
  return 2 * x;
}

function fill(list, value) {
  list = helper(value);
}
