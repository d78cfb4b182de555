// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The same scripts for tests and for the fuzz target of translated functions.
namespace kt::test {

// Writes small scripts out of a grammar, steered by bytes: the same bytes give the same script, and
// when they run out every choice is the first one, which ends soon. Nearly all of what comes out
// is valid; it uses the names of TestHost, the globals g and list, and the functions f and main.
//
// No text or list can double itself: what stands to the right of a + is never a variable.
class ProgramMaker {
 public:
  ProgramMaker(const std::uint8_t* bytes, std::size_t size) : bytes_(bytes), size_(size) {}

  // An expression over the arguments x and y, the globals and the host's names.
  std::string Expression() { return Expr(4); }

  std::string Program() {
    std::string out = "var g = " + Leaf() + ", list = [1, 'two', [3, 4]], s = 'text';\n";
    out += "function same(v) { return v; }\n";
    out +=
        "function change(v, w) { var kept = v; v[1] = w; w = v; w[0] += 'w'; kept[3] = v[1];\n"
        "  if (w[0] = 'aw') return kept; if (length(kept) > 3) return w; return v; }\n";
    out += "function f(x, y) {\n" + Body(2) + "return " + Expr(2) + ";\n}\n";
    return out + "function main(x, y) {\n" + Body(3) + "return " + Expr(3) + ";\n}\n";
  }

 private:
  int Choose(int count) {
    if (at_ >= size_) return 0;
    return bytes_[at_++] % count;
  }
  template <std::size_t kCount>
  std::string OneOf(const char* const (&texts)[kCount]) {
    return texts[Choose(kCount)];
  }

  std::string Literal() {
    return OneOf({"1", "0", "2", "'a'", "7", "2.5", "''", "'12'", "true", "null", "100000"});
  }
  std::string Name() {
    return OneOf({"x", "y", "g", "list", "s", "hosted", "plain", "local", "obj", "unknown"});
  }
  std::string Leaf() { return Choose(3) == 0 ? Literal() : Name(); }

  std::string Expr(int depth) {
    if (depth == 0) return Leaf();
    switch (Choose(22)) {
      case 0: return Leaf();
      case 1: return Expr(depth - 1) + " + " + (Choose(2) ? Literal() : Product(depth));
      case 2: return Product(depth);
      case 3: return Expr(depth - 1) + OneOf({" - ", " / ", " % ", " & "}) + Expr(depth - 1);
      case 4:
      case 5:
        return Expr(depth - 1) + OneOf({" < ", " = ", " <> ", ">=", "<=", " > "}) + Expr(depth - 1);
      case 6:
      case 7: return Expr(depth - 1) + OneOf({" && ", " || ", " and ", " or "}) + Expr(depth - 1);
      case 8: return "(" + Expr(depth - 1) + ")";
      case 9: return "!" + OneOf({"", "!"}) + Name();
      case 10: return "(-" + Expr(depth - 1) + ")";
      case 11: return OneOf({"++", "--"}) + Name();
      case 12: return Name() + OneOf({"++", "--"});
      case 13: return Element(depth);
      case 14:
        return OneOf({"length(", "mid('abcdef', ", "log(", "code(", "charat(s, ", "asc(", "chr(",
                      "left(s, ", "right('abc', ", "pos(s, ", "floor(", "abs(", "sqrt("}) +
               Expr(depth - 1) + ")";
      case 15: return OneOf({"f(", "count(", "iif("}) + Arg(depth) + ", " + Arg(depth) + ")";
      case 18: return Probe();
      case 19:
        if (Choose(4) == 1) return "eval(" + OneOf({"s", "'[x, g]'", "'2 +'", "''", "'++g'"}) + ")";
        return OneOf({"eval('x + g')", "eval('local++')", "eval('f(x, 1)')", "eval('nosuch')",
                      "f(x, f(y, 1))", "same(list[1])", "same(s) + 'a' + same(2)",
                      "change(list, 5)", "change(ref(list), 'q')", "length(change(list, x))",
                      "length(list)", "length(y)", "change(same(list), list[1])"});
      case 20: return DataMember(depth);
      case 21: return DataMember(depth) + OneOf({" + ", " * ", " > ", " = "}) + DataMember(depth);
      case 16:
        return Name() +
               OneOf({".length", ".size", ".nosuch", ".mid(1)", ".echo(2)", ".left(x)",
                      ".mid(log(1), 1).length", ".length[0]", ".round(probe(2, 's', obj))"});
      default: return Element(depth) + OneOf({".length", ".mid(0)", "[0]", "++", ".left(y + 1)"});
    }
  }
  std::string Product(int depth) { return Expr(depth - 1) + " * " + Expr(depth - 1); }
  std::string Element(int depth) {
    const std::string base = Name() + "[" + Expr(depth - 1) + "]";
    return Choose(3) == 0 ? base + "[" + Expr(depth - 1) + "]" : base;
  }
  std::string Arg(int depth) {
    if (Choose(3) != 1) return Expr(depth - 1);
    return Choose(4) == 1 ? "ref(list[" + Literal() + "])" : "ref(" + Name() + ")";
  }
  // A member of a dataset, or of something else under the names that are used for those.
  std::string DataMember(int depth) {
    const std::string data =
        OneOf({"rows", "own", "table", "local", "x", "obj", "thing", "RoWs", "unknown", "g"});
    const std::string row = Choose(3) == 0 ? Expr(depth - 1) : OneOf({"0", "1", "x", "2", "i3"});
    const std::string column = OneOf({"n", "price", "name", "twice", "more", "count", "length"});
    switch (Choose(9)) {
      case 0: return data + ".GetColumn(" + row + ", '" + column + "')";
      case 1: return data + "[" + row + "]." + column;
      case 2: return data + "." + column;
      case 3:
        return data + ".SetColumn(" + row + ", '" + column + "', " +
               (Choose(2) == 0 ? Leaf() : Expr(depth - 1)) + ")";
      case 4: return data + OneOf({".AppendRow()", ".addrow()"});
      case 5:
        return data + OneOf({".GetRowCount()", ".rowcount", ".rowposition", ".id", ".nosuch",
                             ".nosuch(1)", ".GetRowCount(ref(x))", ".AppendRow", ".GetColumn()"});
      case 6: return data + ".GetColumn(" + row + ", " + Expr(depth - 1) + ")";
      case 7: return data + "." + column + OneOf({".sum", "[1]", ".round(1)", "++", "[x].n"});
      default: return data + ".GetColumn(" + Probe() + ", '" + column + "')";
    }
  }
  std::string DataTarget() {
    const std::string data = OneOf({"rows", "own", "table", "table", "local", "x", "obj", "g"});
    const std::string row = Choose(8) == 1 ? "[x]" : "";
    return data + row + "." +
           OneOf({"n", "price", "name", "name", "twice", "more", "rowposition", "nosuch"});
  }
  // What a callback does to the context that it is called in; see ProgramHost.
  std::string Probe() {
    if (Choose(4) == 1) {
      return "probe(8, '', " +
             OneOf({"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11"}) + ")";
    }
    return "probe(" + OneOf({"0", "1", "2", "3", "4", "5", "6", "7", "9", "10", "11", "12"}) +
           ", '" + Name() + "', " + Literal() + ")";
  }

  std::string Body(int depth) {
    std::string out;
    for (int count = 1 + Choose(4); count > 0; --count) out += Statement(depth);
    return out;
  }
  std::string Block(int depth) { return "{ " + Body(depth - 1) + "}"; }

  std::string Statement(int depth) {
    const int kind = Choose(depth == 0 ? 12 : 19);
    const std::string counter = "i" + std::to_string(depth);
    switch (kind) {
      case 0: return Name() + " = " + Expr(2) + ";\n";
      case 1: return Name() + OneOf({" -= ", " *= ", " %= ", " /= "}) + Expr(2) + ";\n";
      case 2: return Name() + " += " + Literal() + ";\n";
      case 3: return Name() + OneOf({"++", "--"}) + ";\n";
      case 4: {
        if (Choose(3) == 1) return TargetOfMember() + Change() + ";\n";
        const std::string element = Name() + "[" + Expr(1) + "]";
        return element + (Choose(3) == 1 ? "[" + Expr(1) + "]" : "") + Change() + ";\n";
      }
      case 5: return "var local = " + Expr(2) + ";\n";
      case 6: return "var local[" + Literal() + " % 5];\n";
      case 7: return "log(" + Expr(3) + ");\n";
      case 8:
        if (Choose(2) == 1)
          return DataTarget() + OneOf({" = ", " = ", " += ", " *= "}) + Expr(2) + ";\n";
        return OneOf({"obj.size", "(x)", "obj", "thing[0]", "f(1)"}) + " = " + Expr(1) + ";\n";
      case 9: return Probe() + ";\n";
      case 10:
        if (Choose(3) == 1) return RowThatGoesBack();
        return Name() + " = [" + Expr(1) + ", [" + Literal() + "], " + Probe() + "];\n";
      case 11:
        return OneOf({"s = s + 1 + 'b' + same(2.5);\n", "s = s + 'c';\n", "x = x + 2 + 1;\n",
                      "local = local + 'd' + probe(0, 'local', 1);\n", "list[0] += 'e';\n",
                      "g = g + 1;\n", "fresh = x; fresh += 1;\n", "table = rows;\n",
                      "var local = own;\n", "s = s + rows.name + '-';\n", "g += rows[x].price;\n",
                      "x += table.GetColumn(1, 'n');\n", "local = rows[1];\n", "rows.price = 7;\n",
                      "table = 3;\n",
                      "{ var row = list[2]; row[1] -= 2; row[0] = x; list[2] = row; }\n",
                      "{ var own = [[x], [y]]; var row = own[1]; row[0] = g; own[1] = row; "
                      "log(own); }\n"});
      case 12: return "if (" + Expr(2) + ") " + Block(depth) + " else " + Block(depth) + "\n";
      case 13:
        return "for (var " + counter + " = 0; " + counter + " < 3; " + counter + "++) " +
               Block(depth) + "\n";
      case 14:
        return "var " + counter + " = 3; while (" + counter + "-- > 0) " + Block(depth) + "\n";
      case 15:
        if (Choose(2) == 1) return ConstantSwitch(depth);
        return "switch (" + Expr(1) + ") { case " + Expr(1) + ": " + Body(depth - 1) + "case " +
               Expr(1) + ": " + Body(depth - 1) + "default: " + Body(depth - 1) + "}\n";
      case 16: return Block(depth) + "\n";
      case 17: return OneOf({"break;\n", "continue;\n"});
      default: return "return " + Expr(2) + ";\n";
    }
  }

  // What is done to a target, and with what.
  std::string Change() {
    if (Choose(4) == 1) return " += " + Literal();
    return OneOf({" = ", " -= ", " *= ", " /= ", " %= "}) + Expr(2);
  }
  // Members of objects and cells of datasets, as something to assign to.
  std::string TargetOfMember() {
    const std::string column = OneOf({"n", "price", "name", "size", "nosuch", "quick"});
    const std::string object = OneOf({"rows", "own", "table", "obj", "thing", "x", "local"});
    switch (Choose(3)) {
      case 0: return object + "." + column;
      case 1: return object + "[" + Expr(1) + "]." + column;
      default: return object + "." + column + "[" + Expr(1) + "]";
    }
  }
  // An item is taken out of a list, changed and stored again, there or elsewhere. Items are few: to
  // copy very many is work, which is counted, and code copies less.
  std::string RowThatGoesBack() {
    const std::string list = OneOf({"list", "x", "y", "local", "g"});
    const std::string at = OneOf({"2", "x", "0", "i3", "'k'"});
    const std::string row = OneOf({"var row", "y", "local"});
    const std::string name = row == "var row" ? "row" : row;
    const std::string item = OneOf({"0", "1", "x", "y", "i3", "2", "'k'", "s"});
    const std::string change = name + "[" + item + "]" + Change() + "; ";
    const std::string between = OneOf({"", "log(row); ", "x = list; ", "list = 1; "});
    return "{ " + row + " = " + list + "[" + at + "]; " + change + between + list + "[" +
           (Choose(4) == 1 ? Expr(1) : at) + "] = " + name + "; }\n";
  }

  // Labels of one kind, sometimes with one of another.
  std::string ConstantSwitch(int depth) {
    const bool is_text = Choose(2) == 0;
    std::string out = "switch (" + Expr(1) + ") {";
    for (int count = 3 + Choose(3); count > 0; --count) {
      const std::string label = is_text ? OneOf({"'a'", "'12'", "''", "'text'", "'abc'", "'two'"})
                                        : OneOf({"1", "0", "7", "(-1)", "2", "100000"});
      out += " case " + (Choose(12) == 1 ? Literal() : label) + ": " + Body(depth - 1);
      if (Choose(8) == 1) out += "default: " + Body(depth - 1);
    }
    return out + (Choose(2) == 1 ? " default: " + Body(depth - 1) : "") + "}\n";
  }

  const std::uint8_t* bytes_;
  std::size_t size_;
  std::size_t at_ = 0;
};

}  // namespace kt::test
