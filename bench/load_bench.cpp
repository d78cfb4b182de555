// SPDX-License-Identifier: MIT
//
// Loading of generated scripts of 10 KB to 10 MB: the load alone, the load with every expression
// parsed (which scripts do on first use), and the load with places and warnings wanted. The bytes
// per second should not depend on the size. One source character counts as one byte.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "script/Kt_Script.h"
#include "script/Kt_ScriptOpItem.h"
#include "script/Kt_SyntaxErrors.h"

namespace {

constexpr std::u16string_view kFunction =
    uR"(
// Adds up the open orders of one customer and says what is due.
function dueOf@(customer, orders, limit)
{
  var sum = 0, i, order;
  var note = 'nothing due';
  for (i = 0; i < length(orders); i++) {
    order = orders[i];
    if (order.customer = customer.id and order.state <> 'closed') {
      sum += order.total * (1 + order.taxRate / 100) - order.paid;
      count@++;
    } else if (order.total > limit * 2) {
      /* too large to be passed over */
      report(order.id, "limit", order.total);
    }
  }
  switch (round(sum / max(limit, 1), 0)) {
    case 0:
      return note;
    case 1:
    case 2:
      note = 'due: ' + sum;
      break;
    default:
      customer.state = 'blocked'; // until somebody looks at it
      note = upper(note) + ' (' + customer.name + ')';
  }
  while (sum > 0) {
    sum -= limit;
    customer.rates[i % 12] += limit;
  }
  return note;
}

var count@ = 0;
)";

Kt_WString MakeScript(std::int64_t length) {
  std::u16string text;
  for (int number = 0; static_cast<std::int64_t>(text.size()) < length; ++number) {
    const std::string digits = std::to_string(number);
    for (const char16_t unit : kFunction) {
      if (unit == u'@') {
        text.append(digits.begin(), digits.end());
      } else {
        text += unit;
      }
    }
  }
  return Kt_WString(text);
}

// Parses every expression of a tree, as running it would.
class Walker {
 public:
  void Walk(const Kt_ScriptOpList& ops);
  bool IsGood() const { return good_; }

 private:
  void Walk(const Kt_ScriptOp& op);
  void Walk(const Kt_ScriptOpItemList& items);
  void Parse(const Kt_Expr& expr) {
    Kt_WString error;
    // The tree of a script that is not running belongs to nobody else.
    if (const_cast<Kt_Expr&>(expr).Parse(error, nullptr) < 0) good_ = false;
  }

  bool good_ = true;
};

void Walker::Walk(const Kt_ScriptOpList& ops) {
  for (kt_long index = 0; index < ops.GetCount(); ++index) Walk(ops[index]);
}

void Walker::Walk(const Kt_ScriptOpItemList& items) {
  for (kt_long index = 0; index < items.GetCount(); ++index) {
    Parse(items[index].expression);
    Walk(items[index].body);
  }
}

void Walker::Walk(const Kt_ScriptOp& op) {
  if (op.HasName()) return Parse(op.GetVar()->expression);
  switch (op.opcode) {
    case kScriptBlock: return Walk(*op.GetBlock());
    case kScriptFor:
      Walk(op.GetFor()->init);
      Parse(op.GetFor()->condition);
      Walk(op.GetFor()->step);
      return Walk(op.GetFor()->body);
    case kScriptWhile: Parse(op.GetWhile()->condition); return Walk(op.GetWhile()->body);
    case kScriptIf: return Walk(op.GetIf()->items);
    case kScriptSwitch: Parse(op.GetSwitch()->expression); return Walk(op.GetSwitch()->items);
    default: Parse(op.GetSet()->value); return Parse(op.GetSet()->target);
  }
}

void Sizes(benchmark::internal::Benchmark* bench) {
  for (const int kilobytes : {10, 100, 1000, 10000}) bench->Arg(kilobytes);
  bench->Unit(benchmark::kMillisecond);
}

template <class Body>
void Run(benchmark::State& state, Body body) {
  const Kt_WString text = MakeScript(state.range(0) * 1000);
  for (auto _ : state) {
    auto script = std::make_unique<Kt_Script>();
    if (!body(*script, text)) return state.SkipWithError("the script did not load");
    state.PauseTiming();  // freeing a tree is not loading one
    script.reset();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * text.GetLength());
}

void BM_Load(benchmark::State& state) {
  Run(state, [](Kt_Script& script, const Kt_WString& text) {
    Kt_WStrList errors;
    return script.Parse(u"bench", text, nullptr, &errors) == 0 && errors.GetCount() == 0;
  });
}
BENCHMARK(BM_Load)->Apply(Sizes);

void BM_LoadAndParseExpressions(benchmark::State& state) {
  Run(state, [](Kt_Script& script, const Kt_WString& text) {
    if (script.Parse(u"bench", text, nullptr, nullptr) != 0) return false;
    Walker walker;
    for (kt_long index = 0; index < script.GetFuncs().GetCount(); ++index) {
      walker.Walk(script.GetFuncs().GetItem(index)->GetBody());
    }
    return walker.IsGood();
  });
}
BENCHMARK(BM_LoadAndParseExpressions)->Apply(Sizes);

void BM_LoadWithWarnings(benchmark::State& state) {
  Run(state, [](Kt_Script& script, const Kt_WString& text) {
    Kt_SyntaxErrorList errors(true);
    return script.Parse(u"bench", text, nullptr, &errors) == 0 && errors.GetCount() == 0;
  });
}
BENCHMARK(BM_LoadWithWarnings)->Apply(Sizes);

}  // namespace
