# SPDX-License-Identifier: MIT
"""Scripts and group totals over the partitions of data, on Dask's scheduler. docs/dask.md is the guide.

A partition is a file, or a part of a DataFrame. It is read where it is worked on, as a dataset of an
engine of its own; the script is compiled once in every worker. What is sent between machines is the
text of the script, what the functions return, and the state of totals.
"""

import functools
import glob
import os

import dask
import dask.dataframe

from . import Dataset, Engine, GroupTotals, Program

__all__ = ["group_totals", "map_reduce"]

_FAN_IN = 8  # how many results one task takes together


@functools.lru_cache(maxsize=32)
def _compiled(text, name):
    return Program(text, name)


def _read_file(path, types, name):
    with open(path, encoding="utf-8-sig", newline="") as file:
        return Dataset.from_csv(file.read(), name, types or {})


def _read_frame(frame, name):
    return Dataset.from_pandas(frame, name)


def _paths(data):
    """The files that a path, a pattern or a list of them names; None for anything else."""
    if isinstance(data, (str, os.PathLike)):
        data = [data]
    elif not (isinstance(data, (list, tuple))
              and all(isinstance(item, (str, os.PathLike)) for item in data)):
        return None
    paths = []
    for item in map(os.fspath, data):
        found = sorted(glob.glob(item)) if glob.has_magic(item) else [item]
        if not found:
            raise FileNotFoundError(f"no file is like '{item}'")
        paths.extend(os.path.abspath(path) for path in found)
    return paths


def _readers(data, types, name, partitions):
    """For each partition, in order, a task or function of no arguments and its argument."""
    paths = _paths(data)
    if paths is None:
        if not hasattr(data, "to_delayed"):
            count = partitions or 2 * (os.cpu_count() or 1)
            data = dask.dataframe.from_pandas(data, npartitions=max(1, min(count, len(data))),
                                              sort=False)
        return [(_read_frame, part, name) for part in data.to_delayed()]
    tables = [path for path in paths if path.endswith((".parquet", ".pq"))]
    if tables:
        if len(tables) != len(paths):
            raise ValueError("files of one kind are wanted: either CSV or Parquet")
        return _readers(dask.dataframe.read_parquet(tables), types, name, partitions)
    return [(_read_file, path, types, name) for path in paths]


def _engine(script, script_name, dataset):
    engine = Engine()
    if script:
        engine.load(_compiled(script, script_name))
    if dataset is not None:
        engine.dataset(dataset.name, dataset)
    return engine


def _call_map(read, arguments, script, script_name, function):
    return _engine(script, script_name, read(*arguments)).call(function)


def _call_reduce(results, script, script_name, function):
    engine = _engine(script, script_name, None)
    return functools.reduce(functools.partial(engine.call, function), results)


def _add_totals(read, arguments, script, script_name, prepare, by, totals, where):
    rows = read(*arguments)
    engine = _engine(script, script_name, rows)
    if prepare:
        engine.call(prepare)
    made = GroupTotals(by, totals, where)
    made.add(engine, rows)
    return made


def _merge_totals(parts):
    first = parts[0]
    for part in parts[1:]:
        first.merge(part)
    return first


def _map(work, readers, *arguments):
    task = dask.delayed(work, pure=False)
    return [task(reader[0], list(reader[1:]), *arguments) for reader in readers]


def _gather(join, results, *arguments):
    """Neighbours are joined in their order, up to one result."""
    task = dask.delayed(join, pure=False)
    while len(results) > 1:
        results = [task(results[at:at + _FAN_IN], *arguments)
                   for at in range(0, len(results), _FAN_IN)]
    return results[0]


def _compute(wanted, client):
    return client.compute(wanted, sync=True) if client is not None else dask.compute(wanted)[0]


def map_reduce(data, script, map="map", reduce=None, *, name="rows", types=None, client=None,
               partitions=None, script_name="script"):
    """Calls a function of a script for every partition, and joins the results by another.

    data: a path, a pattern or a list of those of CSV files (UTF-8) or, where pyarrow is, Parquet
    files; or a DataFrame of Dask or pandas. script: its text. map: the function that is called,
    without arguments, once for each partition, whose rows are the dataset `name`. reduce:
    the function that makes one result of two, of neighbours in the order of the partitions; it
    has to be associative. Without it the answer is the list of all results.

    types: of columns of CSV files, {"zip": "string"}; the others are found out in each file. client:
    of Dask's distributed scheduler; without one Dask's default. partitions: how many are
    made of a DataFrame of pandas.

    Results are values as Python and scripts exchange them. A partition may be worked on
    more than once, when a worker is lost: functions should do nothing but compute. Raises what
    the functions raise, SyntaxError for the script, ValueError when there is no partition.
    """
    _compiled(script, script_name)  # its faults are told here
    readers = _readers(data, types, name, partitions)
    if not readers:
        raise ValueError("there is no partition")
    results = _map(_call_map, readers, script, script_name, map)
    if reduce is None:
        return _compute(dask.delayed(list)(results), client)
    return _compute(_gather(_call_reduce, results, script, script_name, reduce), client)


def _pairs(columns):
    """What the answer calls columns, and what they are made of."""
    if isinstance(columns, str):
        columns = [columns]
    if hasattr(columns, "items"):
        return [(str(name), str(text)) for name, text in columns.items()]
    return [(str(name), str(name)) for name in columns]


def group_totals(data, by=(), totals=None, *, where="", script="", prepare="", name="rows", types=None,
                 client=None, partitions=None, script_name="script"):
    """Totals of groups of rows, each a column or a row expression, as a Dataset.

    by: a column, a list of them, or a mapping of names to columns and expressions. totals: a
    mapping of names to pairs, {"revenue": ("sum", "price * qty")}, of sum, avg, max, min or
    count and a column or expression. where: rows in which it is false are left out. prepare: a
    function of the script that is called first for each partition: it may add columns, change and
    hide rows of the dataset `name`. The rest as for map_reduce.

    The answer has a row for each group, in the order of sorts, and does not depend on how the rows
    are cut into partitions: sums of doubles are exact and rounded once, at the end.
    """
    wanted = [(str(column), *map(str, what)) for column, what in (totals or {}).items()]
    keys = _pairs(by)
    GroupTotals(keys, wanted, where)  # its faults are told here
    if script:
        _compiled(script, script_name)
    readers = _readers(data, types, name, partitions)
    if not readers:
        raise ValueError("there is no partition")
    parts = _map(_add_totals, readers, script, script_name, prepare, keys, wanted, where)
    return _compute(_gather(_merge_totals, parts), client).result(name)
