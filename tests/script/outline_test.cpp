// SPDX-License-Identifier: MIT
//
// What the parser leaves for tools: the outline of a script, and the names in its expressions.
#include <gtest/gtest.h>

#include "common/text.h"
#include "expr/Kt_ExprNames.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptOutline.h"
#include "script/Kt_SyntaxErrors.h"

namespace {

using Kind = Kt_OutlineNode::Kind;

Kt_ScriptOutline OutlineOf(const Kt_WString& source) {
  Kt_ScriptOutline outline;
  Kt_SyntaxErrorList errors(false, &outline);
  Kt_Script script;
  script.Parse(u"a.kts", source, nullptr, &errors);
  return outline;
}

// Each node as a letter with its text and what is in it in braces.
std::string Shown(const Kt_ScriptOutline& outline, std::size_t first, std::size_t end) {
  std::string shown;
  for (std::size_t at = first; at < end; at = outline.nodes[at].next) {
    const Kt_OutlineNode& node = outline.nodes[at];
    shown +=
        (shown.empty() ? "" : " ") + std::string(1, "IFAV=TESBLC"[static_cast<int>(node.kind)]);
    shown += node.text.ToUtf8();
    if (node.next > at + 1) shown += "{" + Shown(outline, at + 1, node.next) + "}";
  }
  return shown;
}

TEST(ScriptOutline, HasWhatTheParserCuts) {
  const struct {
    const char* source;
    const char* shown;
  } kRows[] = {
      {"#include \"b.kts\"\nvar a = 1, b[2] = c, d;", "Iinclude \"b.kts\" Va{E1} Vb{E2 Ec} Vd"},
      {"function f(a, b) { return a; return; } function g() {}", "Ff{Aa Ab C{S{Ea} S}} Fg{C}"},
      {"function f() { var a = 1, b; var c[3]; a += b * 2; --a; c[0] = a; f(1); ; }",
       "Ff{C{S{Va{E1} Vb} S{Vc{E3}} S{=a{Eb * 2}} S{=a} S{Tc[0] Ea} S{Ef(1)} S}}"},
      {"function f() { if (a) b(); else if (c) { d = 1; } else e(); }",
       "Ff{C{S{B{Ea C{S{Eb()}}} B{C{S{B{Ec C{S{=d{E1}}}} B{C{S{Ee()}}}}}}}}}"},
      {"function f() { for (var i = 0, j; i < 3; i++, j = i) continue; while (a) { break; } }",
       "Ff{C{S{Vi{E0} Vj Ei < 3 =i =j{Ei} C{S}} S{Ea C{S}}}}"},
      {"function f() { switch (a) { case 1: case 'b': { x = 1; } default: y(); } }",
       "Ff{C{S{Ea L{E1} L{E'b' C{S{C{S{=x{E1}}}}}} L{C{S{Ey()}}}}}}"},
      // A faulty expression is one all the same; any other fault leaves what came before it.
      {"function f() { a = 1; b = (; c = 2; }", "Ff{C{S{=a{E1}} S{=b{E(}} S{=c{E2}}}}"},
      {"function f() { a = 1; break now; c = 2; }", "Ff{C{S{=a{E1}} S}}"},
      {"var a = 1; nonsense; var b;", "Va{E1}"},
  };
  for (const auto& row : kRows) {
    const Kt_ScriptOutline outline = OutlineOf(Kt_WString::FromUtf8(row.source));
    EXPECT_EQ(Shown(outline, 0, outline.nodes.size()), row.shown) << row.source;
  }
}

TEST(ScriptOutline, PlacesAreThoseOfTheSource) {
  const Kt_WString source =
      u"// first\nvar total = 1 /* one */ + two;\nfunction main(arg) {\n  if (arg) // why\n"
      u"    arg = total + /* x */ arg;\n}\n";
  const Kt_ScriptOutline outline = OutlineOf(source);
  ASSERT_GT(outline.nodes.size(), 8u);
  for (const Kt_OutlineNode& node : outline.nodes) {
    const std::u16string_view whole = source.View().substr(
        static_cast<std::size_t>(node.start), static_cast<std::size_t>(node.end - node.start));
    if (node.kind == Kind::kFunction) {
      EXPECT_TRUE(whole.starts_with(u"function") && whole.ends_with(u"}"));
    }
    if (node.kind == Kind::kStatement) {
      EXPECT_TRUE(whole.ends_with(u";"));
    }
    for (kt_long at = 0; at < node.text.GetLength(); ++at) {
      if (node.text.GetAt(at) == u' ') continue;  // that may stand for a comment
      EXPECT_EQ(source.GetAt(node.SourceOf(at)), node.text.GetAt(at)) << node.text.ToUtf8() << at;
    }
  }
}

// kind name [<owner] [@call.argument] [#arguments] and the marks = whole, + stepped, . path.
std::string Shown(std::u16string_view text) {
  std::string shown;
  const std::vector<Kt_ExprName> names = FindExprNames(text);
  for (const Kt_ExprName& name : names) {
    const auto text_of = [&](const Kt_ExprName& of) {
      return Kt_WString(text.substr(static_cast<std::size_t>(of.offset),
                                    static_cast<std::size_t>(of.length)))
          .ToUtf8();
    };
    shown += (shown.empty() ? "" : " ") + std::string(1, "vcmfl"[static_cast<int>(name.kind)]);
    shown += text_of(name);
    if (name.owner >= 0) shown += "<" + text_of(names[static_cast<std::size_t>(name.owner)]);
    if (name.is_of_element) shown += "[]";
    if (name.call >= 0) {
      shown += "@" + text_of(names[static_cast<std::size_t>(name.call)]) + "." +
               std::to_string(name.argument);
    }
    if (name.arguments >= 0) shown += "#" + std::to_string(name.arguments);
    shown += std::string(name.is_whole ? "=" : "") + (name.is_stepped ? "+" : "") +
             (name.is_path_root ? "." : "");
  }
  return shown;
}

TEST(ExprNames, KindsCallsAndArguments) {
  const struct {
    const char16_t* text;
    const char* shown;
  } kRows[] = {
      {u"a + 1 and TRUE or null", "va"},
      {u"f() + g(,) * h( a , (b), c[d])", "cf#0 cg#2 ch#3 va@h.0= vb@h.1 vc@h.2. vd@h.2"},
      {u"t.price + t.rows[i].Sum(\"x\", 'y' + z)",
       "vt. mprice<t vt. mrows<t. vi fSum<rows[]#2 l\"x\"@Sum.0= l'y'@Sum.1 vz@Sum.1"},
      {u"a++ + (--b) - c", "va+ vb+ vc"},
      {u"f(g(1, x), y)(z).and", "cf#2 cg@f.0#2 vx@g.1= vy@f.1= vz mand"},
      {u"[a, [f(b)], 'c']", "va cf#1 vb@f.0= l'c'"},
      {u"\"a\".trim.length() + .5 + 2.x", "l\"a\". mtrim<\"a\". flength<trim#0"},
      {u"t[0].a + t[b[1].c].d[2] - t[0][1].e", "vt. ma<t[] vt. vb. mc<b[] md<t[]. vt. me"},
      {u"a & b", "va"},
      {u"f(a, 'open", "cf va@f.0="},
      {u"", ""},
  };
  for (const auto& row : kRows) EXPECT_EQ(Shown(row.text), row.shown);
}

}  // namespace
