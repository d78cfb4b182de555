# SPDX-License-Identifier: MIT
"""A script over files that lie in several places, by workers of Dask's scheduler.

Here the workers are processes of this machine; for a cluster, give Client the address of its scheduler.
"""

import pathlib
import tempfile

import distributed
import ktscript.dask


def make_files(folder):
    """Three files of orders, as if each came from another place."""
    items = ["tea", "milk", "ink", "pen", "nib"]
    for place in range(3):
        lines = ["region,item,price,qty"]
        for number in range(2000):
            region = ("north", "south", "west")[(number + place) % 3]
            qty = (number * 37 + place * 11) % 23 + (50 if (place, number) == (1, 777) else 1)
            lines.append(f"{region},{items[number % 5]},{(number % 40 + 1) / 10},{qty}")
        (folder / f"orders{place}.csv").write_text("\n".join(lines) + "\n")


def main():
    script = pathlib.Path(__file__).with_name("orders.kts").read_text()
    with (tempfile.TemporaryDirectory() as folder,
          distributed.LocalCluster(n_workers=2, threads_per_worker=1, host="127.0.0.1",
                                   dashboard_address=None, local_directory=folder) as cluster,
          distributed.Client(cluster) as client):
        make_files(pathlib.Path(folder))
        files = f"{folder}/orders*.csv"

        count, qty, item = ktscript.dask.map_reduce(files, script, "largest", "larger", client=client)
        print(f"{count} orders, the largest of {qty} {item}")

        totals = ktscript.dask.group_totals(
            files, "region",
            {"orders": ("count", "qty"), "worth": ("sum", "price * qty"), "paid": ("sum", "paid")},
            script=script, prepare="addPrices", where="item != 'nib'", client=client)
        print(totals.to_csv(), end="")


if __name__ == "__main__":
    main()
