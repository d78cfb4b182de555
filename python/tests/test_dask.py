# SPDX-License-Identifier: MIT
"""Scripts and totals over partitions, in processes of Dask's scheduler on the loopback."""

import math
import os
import random
import signal
import threading
import time

import ktscript
import numpy
import pandas
import pytest

distributed = pytest.importorskip("distributed", reason="Dask's scheduler is not installed")
pytest.importorskip("dask.dataframe", reason="DataFrames of Dask are not installed")

import dask.dataframe  # noqa: E402
import ktscript.dask  # noqa: E402

SCRIPT = """
function rate(qty) { return iif(qty >= 10, 0.8, 1); }
function addRates() {
  rows.AddColumn('rate', 'double');
  for (var i = 0; i < rows.Count(); i = i + 1) {
    rows.SetColumn(i, 'rate', rate(rows.GetColumn(i, 'qty')));
  }
}
function count() { return [rows.Count(), rows.Sum('qty'), rows.GetColumn(0, 'qty') + ';']; }
function slowly() {
  var n = 0;
  for (var i = 0; i < 40000000; i = i + 1) n = n + i % 7;
  return count();
}
function join(a, b) { return [a[0] + b[0], a[1] + b[1], a[2] + b[2]]; }
function fail() { return nothing(rows.Count()); }
"""


@pytest.fixture(scope="module")
def client(tmp_path_factory):
    folder = tmp_path_factory.mktemp("dask")
    with distributed.LocalCluster(n_workers=3, threads_per_worker=1, processes=True,
                                  host="127.0.0.1", dashboard_address=None,
                                  local_directory=str(folder)) as cluster:
        with distributed.Client(cluster) as client:
            yield client


def orders(count):
    """Sums of these prices differ in their last digits with the order in which they are added."""
    draw = random.Random(11)
    return pandas.DataFrame({
        "region": [draw.choice(["north", "south", "", "w\u00e4st"]) for _ in range(count)],
        "price": [draw.uniform(-1, 1) * 10.0 ** draw.randint(-12, 12) for _ in range(count)],
        "qty": [draw.randint(1, 40) for _ in range(count)],
    })


def files_of(frame, folder, cuts):
    paths = []
    for number, (start, end) in enumerate(zip([0, *cuts], [*cuts, len(frame)])):
        paths.append(folder / f"orders{number:02}.csv")
        frame[start:end].to_csv(paths[-1], index=False)
    return paths


TOTALS = {"revenue": ("sum", "price * qty * rate"), "n": ("count", "qty"),
          "most": ("max", "price"), "mean": ("avg", "price")}


def test_totals_do_not_depend_on_the_partitions(client, tmp_path):
    frame = orders(4000)
    answers = []
    for cuts in [[], [1], [1000, 1001, 2500], [400 * part for part in range(1, 10)]]:
        folder = tmp_path / str(len(cuts))
        folder.mkdir()
        files_of(frame, folder, cuts)
        answers.append(ktscript.dask.group_totals(str(folder / "*.csv"), "region", TOTALS,
                                                  script=SCRIPT, prepare="addRates", where="qty != 3",
                                                  client=client))
    answers.append(ktscript.dask.group_totals(frame, "region", TOTALS, script=SCRIPT,
                                              prepare="addRates", where="qty != 3",
                                              client=client, partitions=7))
    texts = [answer.to_csv() for answer in answers[:-1]]
    assert texts == [texts[0]] * len(texts)
    answers[0] = answers[0].to_pandas()
    # In a DataFrame the empty region is a text, in a file null.
    assert (answers[-1].to_pandas().drop(columns="region")
            .equals(answers[0].drop(columns="region")))
    kept = frame[frame.qty != 3]
    for (region, rows), made in zip(kept.groupby("region"), answers[0].itertuples()):
        products = rows.price * rows.qty * numpy.where(rows.qty >= 10, 0.8, 1.0)
        assert made.revenue == math.fsum(products), region
        assert (made.n, made.most) == (len(rows), rows.price.max()), region
        assert made.mean == math.fsum(rows.price) / len(rows), region


def test_keys_and_kinds_that_differ_between_files(client, tmp_path):
    (tmp_path / "a.csv").write_text("zip,amount\n1,2147483647\n2,\n01,5\n")
    (tmp_path / "b.csv").write_text("zip,amount\n1,0.25\n3,1\n")
    paths = [str(tmp_path / "a.csv"), str(tmp_path / "b.csv")]
    totals = {"s": ("sum", "amount"), "c": ("count", "amount")}

    def rows(**more):
        answer = ktscript.dask.group_totals(paths, totals=totals, client=client, **more)
        return [tuple(row) for row in answer.to_pandas().itertuples(index=False)]

    assert rows(by="zip", types={"zip": "string"}) == [
        ("01", 5.0, 1), ("1", 2147483647.25, 2), ("2", 0.0, 0), ("3", 1.0, 1)]
    assert rows(by={"odd": "zip % 2"}, types={"zip": "long"}) == [
        (0, 0.0, 0), (1, 2147483653.25, 4)]
    assert rows(where="amount > 5000000000.0") == [(0, 0)]


def test_map_and_reduce(client):
    frame = dask.dataframe.from_pandas(orders(999), npartitions=20, sort=False)
    count, qty, parts = ktscript.dask.map_reduce(
        frame, SCRIPT, map="count", reduce="join", client=client)
    assert (count, qty) == (999, int(frame.qty.sum().compute()))
    firsts = frame.qty.map_partitions(lambda part: part.head(1)).compute()
    assert parts == "".join(f"{first};" for first in firsts)  # in the order of the partitions
    every = ktscript.dask.map_reduce(frame, SCRIPT, map="count", client=client)
    assert [sum(numbers) for numbers in zip(*[part[:2] for part in every])] == [count, qty]


def test_errors_come_from_where_they_are(client, tmp_path):
    path = tmp_path / "one.csv"
    path.write_text("qty\n1\n")
    with pytest.raises(ktscript.SyntaxError):
        ktscript.dask.map_reduce([path], "function f( {", "f", client=client)
    with pytest.raises(ktscript.RunError, match="nothing") as caught:
        ktscript.dask.map_reduce([path], SCRIPT, "fail", client=client, script_name="rules.kts")
    assert caught.value.file == "rules.kts" and caught.value.line == 16
    with pytest.raises(ktscript.RunError, match="missing"):
        ktscript.dask.group_totals([path], totals={"s": ("sum", "missing + 1")}, client=client)
    with pytest.raises(ktscript.RunError, match="none of sum"):
        ktscript.dask.group_totals([path], totals={"s": ("median", "qty")}, client=client)
    with pytest.raises(FileNotFoundError):
        ktscript.dask.map_reduce(str(tmp_path / "*.none"), SCRIPT, "slowly", client=client)


def test_a_worker_that_is_killed_changes_nothing(client, tmp_path):
    frame = orders(1200)
    paths = files_of(frame, tmp_path, [100 * part for part in range(1, 12)])
    expected = ktscript.dask.map_reduce(paths, SCRIPT, "slowly", "join", client=client)
    killed = []

    def kill():
        pids = client.run(os.getpid)
        begun = {}  # when each worker was first seen at work
        while len(killed) == 0 and time.monotonic() < end:
            for worker, tasks in client.processing().items():
                if tasks and time.monotonic() - begun.setdefault(worker, time.monotonic()) > 0.3:
                    # In the middle of a partition, with others done by it.
                    os.kill(pids[worker], signal.SIGKILL)
                    killed.append(worker)
                    break
            time.sleep(0.002)

    end = time.monotonic() + 30
    killer = threading.Thread(target=kill)
    killer.start()
    answer = ktscript.dask.map_reduce(paths, SCRIPT, "slowly", "join", client=client)
    killer.join()
    assert len(killed) == 1
    assert answer == expected
    client.wait_for_workers(3, timeout=60)  # for whatever test comes next
