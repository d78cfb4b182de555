// Word frequency: the twenty commonest words of a text file as a table with bars.
//
//   kt run --allow-dir FOLDER wordfreq.kts main FILE
//
// FOLDER is that of FILE, which may lie anywhere. Without FILE: the GNU GPL as Debian installs it, in
// /usr/share/common-licenses.

var TOP = 20;
var BAR_WIDTH = 40;

function main(path) {
  if (length(path) == 0) path = "/usr/share/common-licenses/GPL-3";
  var words = wordsOf(toLower(readText(path)));
  if (length(words) == 0) {
    print("no words in", path);
    return;
  }
  sort(ref(words), 0, length(words) - 1);

  var names, counts;
  countRuns(words, ref(names), ref(counts));
  print(length(words), "words,", length(names), "of them different");
  print("");
  report(names, counts, length(words));
}

// The words of a text: runs of letters, with an apostrophe inside allowed.
function wordsOf(text) {
  var words[1], count = 0, word = "";
  var size = length(text);
  // One step past the end: the empty character there ends the last word.
  for (var i = 0; i <= size; i++) {
    var c = text[i];
    if (isLetter(c) || (c == "'" && word <> "" && isLetter(text[i + 1]))) {
      word += c;
    } else if (word <> "") {
      words[count] = word;
      count++;
      word = "";
    }
  }
  if (count == 0) return [];
  return words;
}

function isLetter(c) {
  return (c >= "a" && c <= "z") || c >= "À";
}

// Sorts list[low] to list[high] in place; call it with ref(list).
function sort(list, low, high) {
  var i = low, j = high;
  var pivot = list[(low + high) / 2];
  while (i <= j) {
    while (list[i] < pivot) i++;
    while (list[j] > pivot) j--;
    if (i <= j) {
      var kept = list[i];
      list[i] = list[j];
      list[j] = kept;
      i++;
      j--;
    }
  }
  if (low < j) sort(ref(list), low, j);
  if (i < high) sort(ref(list), i, high);
}

// The different words of a sorted list, and how often each of them stands there.
function countRuns(words, names, counts) {
  names = [];
  counts = [];
  var last = -1;
  for (var i = 0; i < length(words); i++) {
    if (last < 0 || words[i] <> words[i - 1]) {
      last++;
      names[last] = words[i];
      counts[last] = 0;
    }
    counts[last] += 1;
  }
}

// Position of the highest count; of equal ones the first.
function commonest(counts) {
  var best = 0;
  for (var i = 1; i < length(counts); i++) {
    if (counts[i] > counts[best]) best = i;
  }
  return best;
}

function report(names, counts, total) {
  print("rank  word             count   share");
  var highest = 0;
  for (var rank = 1; rank <= TOP && rank <= length(names); rank++) {
    var at = commonest(counts);
    var count = counts[at];
    if (rank == 1) highest = count;
    print(lpad(toString(rank), " ", 4) + "  " + rpad(names[at], " ", 14)
        + lpad(toString(count), " ", 8) + lpad(percent(count, total), " ", 8) + "  "
        + lpad("", "█", count * BAR_WIDTH / highest));
    counts[at] = 0;
  }
}

// A share in percent with one digit behind the point.
function percent(part, total) {
  var tenths = toInteger(round(part * 1000 / total));
  return toString(toInteger(tenths / 10)) + "." + toString(tenths % 10) + "%";
}
