# SPDX-License-Identifier: MIT
"""The module as its users see it; the same cases as for C++ and C."""

import concurrent.futures
import datetime
import decimal
import json
import math
import pickle
import threading

import ktscript
import numpy
import pandas
import pytest

RULES = "function total(price, qty) { return price * qty * rate(qty); }"


class Order:
    def __init__(self):
        self.price = 2.5
        self._secret = 1

    def total(self, count=1):
        return self.price * count


# ---- Values ---------------------------------------------------------------------------------------


@pytest.mark.parametrize("value, back", [
    (None, None), (7, 7), (-2**31, -2**31), (2**40, float(2**40)), (2.5, 2.5), (True, True),
    ("h\u00e9\U0001f600", "h\u00e9\U0001f600"), (b"ab\0", b"ab\0"),
    (decimal.Decimal("1.25"), decimal.Decimal("1.25")),
    (datetime.datetime(2024, 2, 29, 12, 30, 15), datetime.datetime(2024, 2, 29, 12, 30, 15)),
    (datetime.date(2024, 2, 29), datetime.datetime(2024, 2, 29)),
    ([1, ["a", None]], [1, ["a", None]]), ((1, 2), [1, 2]), ({"a": 1}, [["a", 1]]),
    (numpy.int64(5), 5), (numpy.float32(0.5), 0.5), (numpy.array([1, 2]), [1, 2]),
])
def test_values_of_every_kind(value, back):
    engine = ktscript.Engine()
    engine["x"] = value
    assert engine["x"] == back
    assert type(engine["x"]) is type(back)
    engine.function("same", lambda x: x)
    assert engine.eval("same(x)") == back


@pytest.mark.parametrize("value, text", [
    (2**60, "too large to be exact"), (object(), "a object is no value"),
    (decimal.Decimal("1e30"), "does not fit"), (2**80, "too large"),
])
def test_what_is_no_value(value, text):
    with pytest.raises(ktscript.RunError, match=text):
        ktscript.Engine()["x"] = value


def test_values_that_hold_themselves():
    engine, ring = ktscript.Engine(), []
    ring.append(ring)
    with pytest.raises(RecursionError):
        engine["x"] = ring
    engine.load("var deep = 1; function main() { for (i = 0; i < 100000; i++) deep = list(deep); }")
    with pytest.raises((RecursionError, ktscript.RunError)):
        engine.call("main")
        engine["deep"]


def test_eval_with_names():
    assert ktscript.eval("price * qty", price=2.5, qty=4) == 10
    assert ktscript.eval("name + '!'", name="pen") == "pen!"
    for a, b, both in [(1, 2, 3), ("1", "2", "12"), (1.5, 1, 2.5)]:  # the text is kept, its values are not
        assert ktscript.eval("a + b", a=a, b=b) == both
    assert ktscript.eval("A", a=1, A=2) == 2
    for _ in range(2):
        with pytest.raises(ktscript.RunError, match="unknown variable 'nobody'") as caught:
            ktscript.eval("a + nobody", a=1)
        assert caught.value.column == 5
        with pytest.raises(ktscript.SyntaxError):
            ktscript.eval("1 +")
    assert ktscript.version().count(".") == 2


# ---- Callbacks and objects --------------------------------------------------------------------------


def test_callbacks():
    engine = ktscript.Engine()

    @engine.function
    def rate(qty, tag=None):
        if qty < 0:
            raise KeyError("no such quantity")
        return 0.5 if tag else 1

    engine.load(RULES)
    assert engine.call("total", 2, 3) == 6
    assert engine.eval("rate(1, 'x')") == 0.5
    with pytest.raises(KeyError, match="no such quantity"):
        engine.call("total", 2, -3)
    with pytest.raises(TypeError):
        engine.eval("rate()")
    engine.pass_exceptions = False
    with pytest.raises(ktscript.RunError, match="script:1:.*rate: KeyError: 'no such quantity'"):
        engine.call("total", 2, -3)
    assert "total" in engine and "none" not in engine


def test_objects():
    engine, order = ktscript.Engine(), Order()
    engine.object("order", order)
    assert engine.eval("order.total(4) + order.PRICE") == 12.5
    engine.load("function main() { order.price = 4; return order.total(2); }")
    assert engine.call("main") == 8 and order.price == 4
    with pytest.raises(ktscript.RunError, match="_secret"):
        engine.eval("order._secret")
    engine.object("few", order, ["total"])
    with pytest.raises(ktscript.RunError, match="price"):
        engine.eval("few.price")
    engine.remove("order")
    with pytest.raises(ktscript.RunError, match="unknown variable 'order'"):
        engine.eval("order.price")


# ---- Errors -----------------------------------------------------------------------------------------


def test_errors_have_their_place():
    engine = ktscript.Engine()
    with pytest.raises(ktscript.SyntaxError) as raised:
        engine.load("function f() { if (a { } }\nfunction g() { 2 2; }", "bad.kts")
    assert [fault.line for fault in raised.value.faults] == [1, 2]
    assert raised.value.faults[1].function == "g"
    engine.load("function inner(q) {\n  return q * prise;\n}\nfunction main() { return inner(2); }",
                "rules.kts")
    heard = []
    engine.on_error(heard.append)
    with pytest.raises(ktscript.RunError, match="^rules.kts:2:5: unknown variable 'prise'$") as raised:
        engine.call("main")
    error = raised.value
    assert (error.file, error.line, error.column) == ("rules.kts", 2, 5)
    assert (error.subject, error.expression) == ("prise", "q * prise")
    assert error.code & 0xFFFFFFFF == 0x83B03110
    assert [call.function for call in error.calls] == ["inner", "main"]
    assert [each.text for each in heard] == ["unknown variable 'prise'"]
    engine.tolerant = True
    assert engine.call("main") is None
    assert engine.check("function f() {}") == []
    assert engine.check("function f() {")[0].line == 1


def test_unknown_names():
    engine = ktscript.Engine()
    engine["price"] = 1
    for text, hint in [("prise + 1", "did you mean 'price'"), ("nobody(1)", "nobody")]:
        with pytest.raises(ktscript.RunError, match=hint):
            engine.eval(text)
    with pytest.raises(ktscript.RunError, match="no function 'none'"):
        engine.call("none")
    with pytest.raises(ktscript.RunError, match="no variable 'none'"):
        engine["none"]


# ---- Bounds -----------------------------------------------------------------------------------------

SPIN = ("function spin() { while (1) { } }"
        "function grow() { var t = 'x'; while (1) { t = t + t; } }")


@pytest.mark.parametrize("bounds, function, text", [
    ({"steps": 10000}, "spin", "step limit"), ({"seconds": 0.02}, "spin", "time limit"),
    ({"memory": 1 << 20}, "grow", "out of memory"),
])
def test_bounds(bounds, function, text):
    engine = ktscript.Engine(**bounds)
    engine.load(SPIN)
    with pytest.raises(ktscript.RunError, match=text):
        engine.call(function)
    assert engine.eval("1 + 1") == 2


def test_cancel_from_another_thread():
    engine, started = ktscript.Engine(), threading.Event()
    engine.function("started", started.set)
    engine.load("function spin() { started(); while (1) { } }")

    def cancel():
        started.wait()
        engine.cancel()

    thread = threading.Thread(target=cancel)
    thread.start()
    with pytest.raises(ktscript.RunError, match="cancelled"):
        engine.call("spin")
    thread.join()
    assert engine.eval("2") == 2


def test_threads():
    rows = ktscript.Dataset("rows", {"x": [(n * 31 % 1009) / 7 for n in range(210000)]})
    engine = ktscript.Engine(threads=2)
    engine.dataset("rows", rows)
    assert (engine.threads, ktscript.Engine().threads) == (2, 1)
    two = engine.eval("rows.Sum('1 / (x + 0.1)')")
    engine.threads = 1
    assert engine.eval("rows.Sum('1 / (x + 0.1)')") == two > 0
    for wrong in (0, 3):
        with pytest.raises(ValueError, match="1 or 2"):
            engine.threads = wrong
    with pytest.raises(ValueError, match="1 or 2"):
        ktscript.Engine(threads=-1)


# ---- Formulas ---------------------------------------------------------------------------------------


def test_formulas():
    formula = ktscript.Formula("price * qty")
    assert formula.names == ["price", "qty"]
    assert formula(2.5, 4) == formula(qty=4, price=2.5) == formula(2.5, qty=4) == 10
    prices = numpy.arange(6.0)[::2]  # with gaps
    assert formula.evaluate({"price": prices, "qty": 10}).tolist() == [0, 20, 40]
    assert formula.evaluate([prices, numpy.array([1, 2, 3])]).tolist() == [0, 4, 12]
    frame = pandas.DataFrame({"qty": [1, 2], "price": [0.5, 1.5], "more": ["a", "b"]})
    out = numpy.empty(2)
    assert formula.evaluate(frame, out=out) is not None and out.tolist() == [0.5, 3]
    assert ktscript.Formula("a + b").value("x", "y") == "xy"
    for call in (lambda: formula(1), lambda: formula(1, 2, 3), lambda: formula(1, 2, none=3),
                 lambda: formula.evaluate([numpy.zeros(2), numpy.zeros(3)]),
                 lambda: formula.evaluate([prices, 1], out=numpy.zeros(1)),
                 lambda: ktscript.Formula("nobody(x)"), lambda: ktscript.Formula("x", ["y"])):
        with pytest.raises(ktscript.RunError):
            call()
    with pytest.raises(ktscript.SyntaxError):
        ktscript.Formula("price *")


def test_formulas_of_an_engine():
    engine = ktscript.Engine()
    engine.function("rate", lambda x: 0.5 if x > 5 else 1)
    engine.load("var extra = 1; function more(x) { return x + extra; }")
    formula = ktscript.Formula("more(qty * rate(qty))", ["qty"], engine)
    del engine
    assert formula(10) == 6
    assert formula.evaluate([numpy.array([2.0, 10.0])]).tolist() == [3, 6]


# ---- Datasets ---------------------------------------------------------------------------------------


def frame_of_all_kinds():
    return pandas.DataFrame({
        "item": ["pen", None, "cup"], "qty": [2, 3, 4], "price": [1.5, float("nan"), 2],
        "day": pandas.to_datetime(["2024-02-29 12:00", None, "2025-01-01"]),
        "sold": [True, False, True], "amount": [decimal.Decimal("1.25"), None, decimal.Decimal(2)],
        "big": [1, 2, 2**40], "kind": pandas.Categorical(["a", "b", "a"]),
        "whole": pandas.array([1, None, 3], dtype="Int64"),
    })


def test_pandas_in_and_out():
    frame = frame_of_all_kinds()
    dataset = ktscript.Dataset.from_pandas(frame, "orders")
    back = dataset.to_pandas()
    assert list(back.columns) == list(frame.columns) == dataset.columns
    assert back["item"].tolist() == ["pen", None, "cup"]
    assert back["qty"].dtype == "int32" and back["qty"].tolist() == [2, 3, 4]
    assert back["price"].isna().tolist() == [False, True, False]
    pandas.testing.assert_series_equal(back["day"], frame["day"])
    assert back["amount"].tolist() == [decimal.Decimal("1.25"), None, decimal.Decimal(2)]
    assert back["big"].tolist() == [1.0, 2.0, float(2**40)]
    assert back["kind"].tolist() == ["a", "b", "a"]
    assert str(back["whole"].dtype) == "Int32" and back["whole"].isna().tolist()[1]

    engine = ktscript.Engine()
    engine.dataset("orders", dataset)
    assert engine.eval("orders.Sum('qty * 2')") == 18
    engine.load("function main() { orders.SetColumn(0, 'qty', 9); }")
    engine.call("main")
    changed = dataset.to_pandas(states=True, originals=True)
    assert changed["_state"].tolist() == ["update", "normal", "normal"]
    assert (changed["qty"][0], changed["qty_original"][0]) == (9, 2)
    dataset.reset()
    assert dataset[0, "qty"] == 2 and dataset.state(0) == "normal"


def test_what_pandas_and_scripts_do_not_share():
    # Dates beyond the nanoseconds of pandas are objects; nothing wraps round.
    days = [datetime.datetime(1, 1, 1), None, datetime.datetime(1850, 5, 1, 12, 30)]
    back = ktscript.Dataset.from_pandas(pandas.DataFrame({"day": days}, dtype=object)).to_pandas()
    assert back["day"].tolist() == days
    limits = [pandas.Timestamp("1677-09-22"), pandas.Timestamp("2262-04-11")]
    back = ktscript.Dataset.from_pandas(pandas.DataFrame({"day": limits})).to_pandas()
    assert back["day"].dtype == "datetime64[ns]" and back["day"].tolist() == limits

    for names in [["a", "a"], ["a", "A"]]:
        with pytest.raises((ValueError, ktscript.RunError), match="two columns are called 'a'"):
            ktscript.Dataset.from_pandas(pandas.DataFrame([[1, 2]], columns=names))
    for number in [2**53 + 1, -2**53 - 1]:
        with pytest.raises(ktscript.RunError, match="too large to be exact"):
            ktscript.Dataset("t", {"n": numpy.array([number])})
    # Half a surrogate pair, which UTF-8 does not have.
    assert ktscript.eval("x + '!'", x="a\ud800\U0001F600") == "a\ud800\U0001F600!"


def test_texts_are_loaded_whole_or_not_at_all():
    text = "a,b\n1,2,3\n4,5\n"
    with pytest.raises(ktscript.RunError, match="line 2: row rejected: more cells than columns"):
        ktscript.Dataset.from_csv(text)
    assert ktscript.Dataset.from_csv(text, allow_rejects=True)["a"] == [4]
    with pytest.raises(ktscript.RunError, match="line 1: row rejected"):
        ktscript.Dataset.from_json('[{"a": 1}, 2]')
    assert ktscript.Dataset.from_json('[{"a": 1}, 2]', allow_rejects=True)["a"] == [1]


def test_arrow_in_and_out():
    dataset = ktscript.Dataset.from_pandas(frame_of_all_kinds())

    class Once:  # whoever has only the array form
        def __arrow_c_array__(self, requested_schema=None):
            return dataset.__arrow_c_array__(requested_schema)

    expected = dataset.to_csv()
    copies = [ktscript.Dataset.from_arrow(dataset), ktscript.Dataset.from_arrow(Once())]
    dataset[0, "qty"] = 77  # the copies stay
    for copy in copies:
        assert copy.to_csv() == expected
    dataset.__arrow_c_stream__()  # released by nobody but the capsule
    with pytest.raises(TypeError, match="no Arrow data"):
        ktscript.Dataset.from_arrow(5)


def test_cells_states_and_events():
    dataset = ktscript.Dataset("t", {"n": numpy.array([1, 2, 3]), "s": ["a", "b", None]})
    cells = dataset.numpy("n")
    assert cells.tolist() == [1, 2, 3] and not cells.flags.writeable and not cells.flags.owndata
    dataset[0, "n"] = 10
    assert cells.tolist() == [1, 2, 3]  # as it was
    assert dataset["n"] == [10, 2, 3] and dataset[-1, "s"] is None
    assert dataset.states() == ["update", "normal", "normal"] and dataset.original(0, "n") == 1
    assert dataset.append({"n": 4}) == 3 and dataset.state(3) == "insert" and len(dataset) == 4

    def check(row, column, old, new):
        if new > 99:
            raise OverflowError("far too many")
        return new >= 0

    dataset.on_change(check)
    with pytest.raises(ktscript.RunError, match="row 1 of 'n' was not changed"):
        dataset[1, "n"] = -1
    with pytest.raises(OverflowError, match="far too many"):
        dataset[1, "n"] = 100
    dataset.on_change(None)
    dataset[1, "n"] = -1
    for bad in (lambda: dataset[9, "n"], lambda: dataset.state(9)):
        with pytest.raises(IndexError):
            bad()
    with pytest.raises(ktscript.RunError, match="no column 'x'"):
        dataset[0, "x"]
    with pytest.raises(ktscript.RunError, match="column 'x': a object is no value"):
        ktscript.Dataset("t", {"x": [object()]})
    assert ktscript.Dataset.from_json(dataset.to_json())["n"] == dataset["n"]
    assert ktscript.Dataset.from_csv("n:long\n5\n")["n"] == [5]


# ---- Re-entry, order of destruction, what the host gives ----------------------------------------------


def test_functions_call_back():
    engine = ktscript.Engine()
    engine.function("down", lambda n: 0 if n == 0 else engine.call("step", n) + 1)
    engine.load("function step(n) { return down(n - 1); } function self() { return again(); }")
    assert engine.call("step", 20) == 19

    def again():
        engine.function("again", lambda: 1)  # in its own place
        engine.load("function later() { return 40; }")
        return engine.eval("later()") + 2

    engine.function("again", again)
    assert engine.call("self") == 42 and engine.call("self") == 1

    def outer():
        try:
            engine.eval("fail()")
        except LookupError as error:
            return str(error)

    engine.function("fail", lambda: {}[7])
    engine.function("outer", outer)
    assert engine.eval("outer()") == "7"
    engine.function("outer", lambda: engine.eval("fail()"))
    with pytest.raises(KeyError):
        engine.eval("outer()")


def test_programs_are_shared():
    text = "#include \"more\"\nvar n = start;\nfunction main() { n += step(); return n; }"
    program = ktscript.Program(text, "p", lambda name, _: "function step() { return 5; }")

    def run(start):
        engine = ktscript.Engine()
        engine["start"] = start
        engine.load(program)
        return [engine.call("main") for _ in range(3)]

    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        assert list(pool.map(run, range(8))) == [[at + 5, at + 10, at + 15] for at in range(8)]
    with pytest.raises(ktscript.SyntaxError) as caught:
        ktscript.Program("function f() { 2 2; }", "bad.kts")
    assert caught.value.faults[0].line == 1
    with pytest.raises(ktscript.RunError, match="unknown variable 'start'"):
        ktscript.Engine().load(program)


def test_anything_may_go_first():
    engine = ktscript.Engine()
    dataset = engine.dataset("rows", ktscript.Dataset("rows", {"n": [1]}))
    formula = ktscript.Formula("rows.Sum('n') + x", ["x"], engine)
    engine.function("f", lambda: 1)
    del engine
    assert dataset["n"] == [1]
    dataset[0, "n"] = 5
    assert formula(1) == 6
    other = ktscript.Engine()
    other.dataset("rows", dataset)
    del dataset, formula
    assert other.eval("rows.Sum('n')") == 5


def test_what_the_host_gives():
    engine, traced = ktscript.Engine(), []
    engine.on_trace(traced.append)
    engine.clock(lambda: datetime.datetime(2024, 1, 1, 12))
    engine.includes(lambda name, includer: "function more() { return 5; }" if name == "more" else None)
    engine.load("#include \"more\"\nfunction main() { trace('here'); return more() + today(); }")
    assert engine.call("main") == "520240101"
    assert "here" in traced[0]
    with pytest.raises(ktscript.SyntaxError, match="no 'none' to include"):
        engine.load("#include \"none\"\n")

    def draw():
        engine.seed(7)
        return engine.eval("random(1000000)")

    assert draw() == draw()


def test_names_for_tools():
    engine = ktscript.Engine()
    engine.function("rate", lambda x: x)
    engine["base"] = 5
    engine.object("order", Order(), ["price"])
    engine.dataset("items", ktscript.Dataset("items", {"qty": [1]}))
    names = [json.loads(line) for line in engine.names_json().splitlines()]
    assert names == [
        {"name": "rate", "kind": "function", "forms": ["rate([...])"]},
        {"name": "order", "kind": "object"},
        {"name": "price", "kind": "property", "of": "order"},
        {"name": "items", "kind": "dataset"},
        {"name": "qty", "kind": "column", "of": "items"},
        {"name": "base", "kind": "variable"},
    ]


class Discounted(ktscript.Formula):
    def __call__(self, *numbers):
        return super().__call__(*numbers) * 0.5


def test_formulas_are_called_with_all_that_is_a_number():
    total = ktscript.Formula("price * qty")
    assert total(2, 4) == total(2.5, qty=3.2) == total(True, numpy.float32(8)) == 8
    assert total.__call__(2, 4) == 8
    assert Discounted("price * qty")(2, 4) == 4
    many = ktscript.Formula(" + ".join(f"x{at}" for at in range(20)))
    assert many(*range(20)) == 190
    with pytest.raises(TypeError):
        total("2", 4)
    with pytest.raises(ktscript.RunError, match="2 names, 3 values"):
        total(1, 2, 3)


def test_formula_over_one_of_its_columns():
    prices = numpy.arange(1000.0)
    wanted = (prices + 1) * prices / 3
    ktscript.Formula("(price + 1) * price / 3").evaluate([prices], out=prices)
    assert (prices == wanted).all()


# ---- Totals in parts ------------------------------------------------------------------------------


def part(engine, **columns):
    rows = ktscript.Dataset("rows", columns)
    engine.dataset("rows", rows)
    return rows


def test_totals_in_parts_are_those_of_all_rows():
    prices = [0.1, 1e16, 0.2, -1e16, 0.3, float("nan"), 0.25]
    regions = ["a", "a", "a", "a", "b", "c", "c"]
    wanted = ([("where", "region")],
              [("s", "sum", "price * 2"), ("n", "count", "price"), ("m", "max", "price")])
    engine, answers = ktscript.Engine(), set()
    for cut in range(len(prices) + 1):
        first, second = ktscript.GroupTotals(*wanted), ktscript.GroupTotals(*wanted)
        first.add(engine, part(engine, region=regions[:cut], price=prices[:cut]))
        second.add(engine, part(engine, region=regions[cut:], price=prices[cut:]))
        first.merge(pickle.loads(pickle.dumps(second)))
        assert len(first) == 3
        answers.add(first.result("all").to_csv())
    # One after the other, 1e16 and -1e16 would take the other prices of their group with them.
    assert answers == {"where:string,s:double,n:long,m:double\r\n"
                       f"a,{math.fsum([0.2, 0.4])!r},4,1e+16\r\nb,0.6,1,0.3\r\nc,nan,2,0.25\r\n"}


def test_totals_that_cannot_be():
    engine, totals = ktscript.Engine(), ktscript.GroupTotals([], [("s", "sum", "x + 0")])
    with pytest.raises(ktscript.RunError, match="none of the engine"):
        totals.add(engine, ktscript.Dataset("rows", {"x": [1]}))
    with pytest.raises(ktscript.RunError, match="unknown"):
        totals.add(engine, part(engine, y=[1]))
    engine.limit(steps=100)
    with pytest.raises(ktscript.RunError, match="step"):
        totals.add(engine, part(engine, x=list(range(100000))))
    engine.limit()
    totals.add(engine, part(engine, x=[1, 2]))
    assert totals.result().values("s") == [3], "what failed was not added"
    with pytest.raises(ktscript.RunError, match="other groups"):
        totals.merge(ktscript.GroupTotals([("x", "x")], [("s", "sum", "x + 0")]))
    for wanted in [[], [("s", "median", "x")]]:
        with pytest.raises(ktscript.RunError):
            ktscript.GroupTotals([], wanted)
    keys, columns, where, state = totals.__getstate__()
    with pytest.raises(ktscript.RunError, match="no state"):
        ktscript.GroupTotals.__new__(ktscript.GroupTotals).__setstate__(
            (keys, columns, where, state[:-3]))


def test_types_of_csv_columns():
    text = "zip,n\n1,1\n2,x\n"
    assert ktscript.Dataset.from_csv(text).values("zip") == [1, 2]
    assert ktscript.Dataset.from_csv(text, types={"zip": "string"}).values("zip") == ["1", "2"]
    with pytest.raises(ktscript.RunError, match="no type"):
        ktscript.Dataset.from_csv(text, types={"zip": "nothing"})
