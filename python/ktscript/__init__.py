# SPDX-License-Identifier: MIT
"""Scripts, formulas and datasets of KtScript for Python. docs/host-python.md is the guide."""

import functools

from . import _core
from ._core import Dataset, Engine, Formula, GroupTotals, Program, version
from ._errors import Error, Place, RunError, SyntaxError  # noqa: A004

__all__ = ["Dataset", "Engine", "Error", "Formula", "GroupTotals", "Place", "Program", "RunError",
           "SyntaxError", "eval", "version"]


@functools.lru_cache(maxsize=256)
def _formula(expression, names):
    """The expression, bound to the names; None when it needs an engine, or is none."""
    try:
        return Formula(expression, list(names))
    except Error:
        return None


def eval(expression, /, **names):  # noqa: A001
    """Evaluates one expression over the values of `names`.

    Keeps the last 256 expressions bound to their names.
    """
    formula = _formula(expression, tuple(names))
    if formula is not None:
        try:
            return formula.value(*names.values())
        except Error:
            pass  # told as an engine tells it
    engine = Engine()
    for name, value in names.items():
        engine[name] = value
    return engine.eval(expression)


def _series(column):
    """A column as pandas keeps it: nullable integers, NaN and NaT for nulls, else objects.

    Dates are objects where one of them is beyond those of pandas.
    """
    import numpy
    import pandas

    kind, data, nulls = column
    if kind == "long" and nulls is not None:
        return pandas.arrays.IntegerArray(numpy.array(data), nulls)
    if kind == "double" and nulls is not None:
        data = numpy.array(data)
        data[nulls] = numpy.nan
    if kind == "datetime":
        # pandas counts nanoseconds, which end in 1677 and in 2262.
        first, last = (int(limit.timestamp() * 1000) for limit in
                       (pandas.Timestamp.min.ceil("s"), pandas.Timestamp.max.floor("s")))
        if ((data < first) | (data > last)).any():
            data = data.astype("datetime64[ms]").astype(object)
            if nulls is not None:
                data[nulls] = None
            return pandas.Series(data, dtype=object)
        data = data.astype("datetime64[ms]").astype("datetime64[ns]")
        if nulls is not None:
            data[nulls] = numpy.datetime64("NaT")
    return pandas.Series(data, dtype=object if kind == "other" else None, copy=False)


def _to_pandas(self, *, states=False, originals=False):
    """The rows as they are shown, as a DataFrame. Integers with nulls become nullable ones.

    states: a column "_state" with "normal", "insert" or "update"; originals: columns
    "<id>_original" with the first values of updated rows.
    """
    import pandas

    columns = {name: _series(self._column(name, False)) for name in self.columns}
    if originals:
        columns.update({f"{name}_original": _series(self._column(name, True))
                        for name in self.columns})
    if states:
        columns["_state"] = pandas.Series(self.states(), dtype=object)
    return pandas.DataFrame(columns, index=pandas.RangeIndex(len(self)))


def _from_pandas(frame, name="table"):
    """A dataset of the columns of a DataFrame; its index stays behind. NaN and NaT are null."""
    import pandas

    columns = {}
    for label in frame.columns:
        if str(label) in columns or isinstance(frame[label], pandas.DataFrame):
            raise ValueError(f"two columns are called '{label}'")
        series = frame[label]
        if isinstance(series.dtype, pandas.DatetimeTZDtype):
            series = series.dt.tz_localize(None)
        is_plain = getattr(series.dtype, "kind", "O") in "biufM" and hasattr(series.dtype, "str")
        if is_plain:
            columns[str(label)] = series.to_numpy()
        else:
            columns[str(label)] = series.astype(object).where(series.notna(), None).tolist()
    return Dataset(name, columns)


Dataset.to_pandas = _to_pandas
Dataset.from_pandas = staticmethod(_from_pandas)
