// Tells what a dataset holds, for compare_csv.py: [rows, [[id, type, sum, max, min], ...]].
function main() {
  var columns = [];
  for (var col = 0; col < t.GetColCount(); col++) {
    var id = t.GetColID(col);
    var type = t.GetColType(col);
    var sum = null;
    if (type == "long" || type == "double") sum = t.Sum(id);
    columns[col] = [id, type, sum, t.Max(id), t.Min(id)];
  }
  return [t.rowcount, columns];
}
