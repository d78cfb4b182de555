// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/Kt_WString.h"

// A part of a script, with its place. Places are units of the source, counted from 0.
struct Kt_OutlineNode {
  enum class Kind : std::uint8_t {
    kInclude,   // text: what stands behind the '#'
    kFunction,  // text: its name. Arguments and a scope are in it
    kArgument,  // text: its name
    kVariable,  // declared; text: its name. The expressions of its size and value are in it
    kSet,       // an assignment to a plain name, the text; code: kScriptInc ... kScriptSetMod. The
                // value is in it
    kTarget,    // the target of any other assignment: an expression
    kExpression,  // text: without comments and the blanks at both ends
    kStatement,   // code: kScriptIf, kScriptBlock ...; 0 for one without a keyword
    kBranch,      // of an `if`: a condition, unless it is that of an `else`, and a scope
    kLabel,       // of a `switch`: an expression, unless it is `default`, and a scope if the label
                  // has statements
    kScope,       // a body: its statements are in it
  };

  Kind kind = Kind::kScope;
  std::int16_t code = 0;
  kt_long start = 0;  // of all of it
  kt_long end = 0;
  std::size_t next = 0;  // the node behind this one and all that is in it
  Kt_WString text;
  kt_long text_start = 0;        // where the text stands
  std::vector<kt_long> sources;  // where each unit of it stands, when it had comments

  // Where the unit at `at` of the text stands.
  kt_long SourceOf(kt_long at) const {
    const auto unit = static_cast<std::size_t>(at);
    return unit < sources.size() ? sources[unit] : text_start + at;
  }
};

// What the parser has found in a source, in its order: a node stands in front of what is in it. Of
// a script with faults it is what there was before the parser gave up.
//
//   Kt_ScriptOutline outline;
//   Kt_SyntaxErrorList errors(true, &outline);
//   script.Parse(u"a.kts", text, nullptr, &errors);
//   for (const Kt_OutlineNode& node : outline.nodes) Look(node);
struct Kt_ScriptOutline {
  std::vector<Kt_OutlineNode> nodes;
};
