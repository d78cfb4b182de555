// A report over the characters of Unicode, one row each: how many letters and digits the scripts
// of the world have.
//
//   kt run report.kts main CHARACTERS.csv              prints the report
//   kt run report.kts main CHARACTERS.csv 500 FOLDER   of scripts with at least 500 characters,
//                                                      and saves what it made of the data
//
// The file has the columns code, name and category; scripts/demo.sh makes it from the list that
// Debian installs.

// What ModifyKeyStat takes: calls, types of keys, kinds of totals.
var ADD = 0, CLEAR = 3;
var PIVOT_ROW = 2, PIVOT_COLUMN = 3, VALUE = 4;
var COUNT = 5;

function main(path, smallest, folder) {
  smallest = toInteger(smallest);
  var chars = dataset("chars");
  loadData(chars, path);
  describe(chars);
  print(chars.RowCount(), "characters, the longest name has", chars.Max("namelength"), "letters");

  chars.Filter("kind <> ''");
  print(chars.RowCount(), "of them are letters and digits");
  reportGroups(chars, smallest);
  reportPivot(chars, smallest);

  if (length(folder) == 0) return;
  saveData(chars, folder + "/letters.csv");
  chars.Filter("");
  saveData(chars, folder + "/characters.xml");
  print("");
  print("saved letters.csv and characters.xml");
}

// Adds what the report goes by: the script, which is the first word of the name, and the kind.
function describe(chars) {
  chars.AddColumn("script");
  chars.AddColumn("kind");
  chars.AddColumn("namelength", "long");
  var rows = chars.RowCount();
  for (var row = 0; row < rows; row++) {
    var name = chars.GetColumn(row, "name");
    var blank = indexOf(name, " ");
    chars.SetColumn(row, "namelength", length(name));
    if (blank > 0) name = mid(name, 0, blank);
    chars.SetColumn(row, "script", name);
    chars.SetColumn(row, "kind", kindOf(chars.GetColumn(row, "category")));
  }
  chars.ApplyChange();
}

// Empty for what is neither letter nor digit.
function kindOf(category) {
  if (category == "Lu") return "capital";
  if (category == "Ll") return "small";
  if (category == "Nd") return "digit";
  if (mid(category, 0, 1) == "L") return "letter";
  return "";
}

// One line per script and kind, and one per script. Groups have their subtotal row behind them.
function reportGroups(chars, smallest) {
  chars.Sort("script, kind", 1, 0, 1);
  chars.ModifyKeyStat(ADD, VALUE, "code", 1, COUNT);
  chars.RecalcGroup();

  print("");
  print("script          kind        count");
  print("--------------  --------  -------");
  for (var row = 0; row < chars.RowCount(); row++) {
    if (chars.GetRowLevel(row) == 2 && chars.GetColumn(row, "code") >= smallest) {
      reportScript(chars, row);
    }
  }
}

// The lines of one script; `total` is its subtotal row.
function reportScript(chars, total) {
  for (var row = chars.GetRangeStart(total); row < total; row++) {
    if (chars.GetRowLevel(row) < 1) continue;
    print(line(chars.GetColumn(row, "script"), chars.GetColumn(row, "kind"),
        chars.GetColumn(row, "code")));
  }
  print(line("", "together", chars.GetColumn(total, "code")));
}

function line(script, kind, count) {
  return rpad(script, " ", 16) + rpad(kind, " ", 10) + lpad(toString(count), " ", 7);
}

// The same as a cross table: scripts down, kinds across.
function reportPivot(chars, smallest) {
  chars.ModifyKeyStat(CLEAR, 0, "");
  chars.ModifyKeyStat(ADD, PIVOT_ROW, "script");
  chars.ModifyKeyStat(ADD, PIVOT_COLUMN, "kind");
  chars.ModifyKeyStat(ADD, VALUE, "code", 1, COUNT);
  chars.RecalcPivot();

  print("");
  var kinds = chars.GetPivotCount();
  var heading = rpad("script", " ", 14);
  for (var kind = 0; kind < kinds; kind++)
    heading += lpad(chars.GetColumn(0, "kind", kind), " ", 9);
  print(heading + lpad("total", " ", 9));
  for (var row = 0; row < chars.RowCount(); row++) {
    var cells = rpad(chars.GetColumn(row, "script"), " ", 14), total = 0;
    for (kind = 0; kind < kinds; kind++) {
      var count = chars.GetColumn(row, "code", kind);
      total += count;
      cells += lpad(toString(count), " ", 9);
    }
    if (total >= smallest) print(cells + lpad(toString(total), " ", 9));
  }

  chars.ModifyKeyStat(CLEAR, 0, "");
  chars.RecalcPivot();
}
