// SPDX-License-Identifier: MIT
#include "reference/Kt_StatementHelp.h"

namespace {

// clang-format off
constexpr Kt_StatementDoc kStatements[] = {
    {u"#include", u"#include \"file\"",
     u"Loads another file into the same script, once, however often it is named.",
     u"The name is relative to the file that has the line; included files load after it.", u"", u""},
    {u"=", u"name = value;\nlist[index] = value;\nobject.member = value;\nname += value;",
     u"Assigns. +=, -=, *=, /= and %= compute with what is there.",
     u"It is no expression: in a = b = 2; the second = compares.",
     u"var list = [1, 2];\nlist[1] += 5;\nreturn list[1];", u"7"},
    {u"break", u"break;", u"Leaves the nearest loop or switch.", u"Outside of both it ends the function.",
     u"var i = 0;\nwhile (1) { if (++i == 3) break; }\nreturn i;", u"3"},
    {u"continue", u"continue;", u"Goes on with the next turn of the nearest loop.",
     u"In a bare block it ends only that block; outside of any loop it ends the function.",
     u"var sum = 0;\nfor (var i = 0; i < 4; i++) { if (i == 1) continue; sum += i; }\nreturn sum;", u"5"},
    {u"for", u"for (start; condition; step) statement",
     u"Runs the statement, then the step, as long as the condition is true. Start and step may be several "
     u"statements with commas between them.",
     u"A variable of the start stays behind the loop. An empty condition is false: write while (1).",
     u"var sum = 0;\nfor (var i = 1, j = 3; i <= j; i++) sum += i;\nreturn sum;", u"6"},
    {u"function", u"function name(argument, ...) { statements }",
     u"Defines a function; it may be called before its definition and may call itself.",
     u"Missing arguments are empty, extra ones are dropped.",
     u"function twice(x) { return 2 * x; }\nfunction main() { return twice(21); }", u"42"},
    {u"if, else", u"if (condition) statement\nif (condition) statement else statement",
     u"Runs the one statement or the other.",
     u"The condition counts as its whole number: 0.5, empty and a text without a number are false.",
     u"if (0.5) return 'true'; else return 'false';", u"false"},
    {u"return", u"return;\nreturn value;", u"Ends the function, with a value or with nothing.",
     u"When the value cannot be computed, that is reported, and the caller goes on with an empty one.",
     u"return 6 * 7;", u"42"},
    {u"switch, case, default", u"switch (value) { case label: statements ... default: statements }",
     u"Compares the value with each label from top to bottom and runs all statements from the first equal one "
     u"on, until a break. default catches what reaches it.",
     u"Labels take any expression. default belongs last.",
     u"switch (7 % 5) { case 1: return 'one'; case 1 + 1: return 'two'; default: return 'many'; }", u"two"},
    {u"var", u"var name;\nvar name = value, ...;",
     u"Declares variables of the block, or of all functions when it stands outside of functions.",
     u"An assignment to a name that is not known declares it too.",
     u"var a = 1;\n{ var a = 2; }\nreturn a;", u"1"},
    {u"while", u"while (condition) statement", u"Runs the statement as long as the condition is true.",
     u"The body has one scope for the whole loop: what it assigns survives from turn to turn.",
     u"var n = 1;\nwhile (n < 100) n *= 2;\nreturn n;", u"128"},
};
// clang-format on

}  // namespace

std::span<const Kt_StatementDoc> GetStatementDocs() { return kStatements; }
