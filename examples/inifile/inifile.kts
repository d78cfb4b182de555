// Reads a settings file of [sections] and key = value lines with a state machine, one character at
// a time, and lists what it holds.
//
//   kt run inifile.kts main FILE

var LINE_START = 0, COMMENT = 1, SECTION = 2, KEY = 3, BEFORE_VALUE = 4, VALUE = 5, QUOTED = 6,
    AFTER_QUOTED = 7;

// What has been read: entry i is keys[i] = values[i] in sections[i].
var sections, keys, values;
var problems = 0;

function main(path) {
  if (length(path) == 0) path = "sample.ini";
  sections = [];
  keys = [];
  values = [];
  parse(readText(path));
  list();
  print("");
  print(length(keys), "entries,", problems, "problems");
}

function parse(text) {
  var LF = chr(10), CR = chr(13);
  var state = LINE_START, section = "", name = "", word = "", line = 1;
  var size = length(text);
  // The character behind the last one is empty; it ends the last line as a line feed would.
  for (var i = 0; i <= size; i++) {
    var c = text[i];
    if (c == CR) continue;
    var atEnd = (c == LF || c == "");
    switch (state) {
      case LINE_START:
        word = "";
        if (atEnd || isBlank(c)) break;
        if (c == ";" || c == "#") {
          state = COMMENT;
        } else if (c == "[") {
          state = SECTION;
        } else {
          word = c;
          state = KEY;
        }
        break;

      case COMMENT:
        if (atEnd) state = LINE_START;
        break;

      case SECTION:
        if (c == "]") {
          section = trim(word);
          state = COMMENT;
        } else if (atEnd) {
          complain(line, "']' is missing");
          state = LINE_START;
        } else {
          word += c;
        }
        break;

      case KEY:
        if (c == "=") {
          name = trim(word);
          word = "";
          state = BEFORE_VALUE;
        } else if (atEnd) {
          complain(line, "'=' is missing after '" + trim(word) + "'");
          state = LINE_START;
        } else {
          word += c;
        }
        break;

      case BEFORE_VALUE:
        if (isBlank(c)) break;
        if (c == '"') {
          state = QUOTED;
          break;
        }
        state = VALUE;
        // No break: the character is the first of the value.

      case VALUE:
        if (atEnd) {
          store(section, name, trim(word));
          state = LINE_START;
        } else {
          word += c;
        }
        break;

      case QUOTED:
        if (c == '"') {
          store(section, name, word);
          state = AFTER_QUOTED;
        } else if (atEnd) {
          complain(line, "the quotation has no end");
          state = LINE_START;
        } else {
          word += c;
        }
        break;

      case AFTER_QUOTED:
        if (atEnd) {
          state = LINE_START;
        } else if (c == ";" || c == "#") {
          state = COMMENT;
        } else if (!isBlank(c)) {
          complain(line, "text behind the quotation");
          state = COMMENT;
        }
        break;
    }
    if (c == LF) line++;
  }
}

function isBlank(c) {
  return c == " " || c == chr(9);
}

function complain(line, what) {
  problems++;
  print("line " + line + ": " + what);
}

// A key that comes again in its section replaces the value that it had.
function store(section, name, value) {
  var at = 0;
  while (at < length(keys)) {
    if (sections[at] == section && keys[at] == name) break;
    at++;
  }
  sections[at] = section;
  keys[at] = name;
  values[at] = value;
}

function list() {
  for (var i = 0; i < length(keys); i++) {
    if (i == 0 || sections[i] <> sections[i - 1]) print("[" + sections[i] + "]");
    print("  " + rpad(keys[i], " ", 12) + "= '" + values[i] + "'");
  }
}
