import ktscript
import numpy

engine = ktscript.Engine()
engine.function("rate", lambda qty: 0.8 if qty >= 10 else 1)
engine.load("function total(price, qty) { return price * qty * rate(qty); }", "rules.kts")
print(engine.call("total", 2.5, 10))
print(ktscript.Formula("price * qty").evaluate({"price": numpy.arange(3.0), "qty": 10}))
try:
    engine.eval("totl(1, 2)")
except ktscript.RunError as error:
    print(error)
