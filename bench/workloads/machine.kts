// a state machine driven by switch
function main() {
  var N = 1000000; // @N
  var state = "start", count = 0, seed = 7;
  for (var i = 0; i < N; i++) {
    seed = (seed * 1103 + 12345) % 65536;
    switch (state) {
      case "start": state = "open"; break;
      case "open":
        switch (seed % 3) {
          case 0: state = "read"; break;
          case 1: state = "write"; break;
          default: state = "close";
        }
        break;
      case "read": count += 1; if (seed % 5 == 0) state = "close"; break;
      case "write": count += 2; state = "open"; break;
      case "close": state = "start"; break;
    }
  }
  return count;
}
