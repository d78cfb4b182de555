// Corrects a table of a database, and saves what it changed in one transaction.
//
//   kt run correct.kts main sqlite:letters.db?table=letters
//
// The table has the columns code, name, script and kind; scripts/demo.sh makes it of the letters and
// digits of Unicode.
function main(url) {
  var letters = dataset("letters");
  print(loadData(letters, url), "rows loaded");
  for (var row = letters.RowCount() - 1; row >= 0; row--) {
    if (letters[row].kind == "digit") letters.DeleteRow(row);
    else if (letters[row].script == "GREEK") letters.SetColumn(row, "script", "Greek");
  }
  var added = letters.AppendRow();
  letters.SetColumn(added, "name", "GREEK LETTER OF THIS DEMO");
  letters.SetColumn(added, "script", "Greek");
  letters.SetColumn(added, "kind", "letter");
  print(saveData(letters, url), "changes saved; the new row has the number", letters[added].id);
}
