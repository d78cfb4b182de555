"""Compares what kt reads and writes of .xlsx workbooks with openpyxl, cell by cell.

compare_xlsx.py --kt PROGRAM [--random N] [FILE...]: every sheet of the files, and N random workbooks
that openpyxl writes; each is also written again by kt and read by openpyxl.
"""
import argparse
import datetime
import json
import os
import random
import subprocess
import sys
import tempfile

import openpyxl

ERRORS = {"#DIV/0!", "#N/A", "#NAME?", "#NULL!", "#NUM!", "#REF!", "#VALUE!"}
# What kt takes for null in a column whose other cells are numbers or dates.
TOKENS = {"NA", "N/A", "n/a", "NULL", "null", "None", "#N/A", "-", "."}


def run(kt, *arguments):
    return subprocess.run([kt, *arguments], capture_output=True, text=True, check=False)


def plain(value):
    """A cell of openpyxl as kt shows it in JSON."""
    if value is None or value in ERRORS:
        return None
    if isinstance(value, bool):
        return int(value)
    if isinstance(value, datetime.datetime):
        text = value.strftime("%Y-%m-%d %H:%M:%S") if value.time() != datetime.time() else value.strftime("%Y-%m-%d")
        return text if value.microsecond == 0 else text + f".{value.microsecond // 1000:03d}".rstrip("0")
    if isinstance(value, datetime.date):
        return value.isoformat()
    if isinstance(value, datetime.time):
        return (value.hour * 3600 + value.minute * 60 + value.second) / 86400
    if isinstance(value, datetime.timedelta):
        return value.total_seconds() / 86400
    return value


def table_of(sheet):
    """The names and rows that kt should find in a sheet."""
    raw = [row for row in sheet.iter_rows(values_only=True) if any(cell is not None for cell in row)]
    if not raw:
        return None
    keep = [at for at in range(len(raw[0])) if any(row[at] is not None for row in raw)]  # errors are cells, too
    used = [[plain(cell) for cell in row] for row in raw]
    head, body = used[0], used[1:]
    names = []
    for at in keep:
        wanted = f"column{at + 1}" if head[at] is None else as_text(head[at])
        name, number = wanted, 2
        while name.lower() in (known.lower() for known in names):
            name, number = f"{wanted}_{number}", number + 1
        names.append(name)
    columns = [without_tokens([row[at] for row in body]) for at in keep]
    return names, [list(row) for row in zip(*columns)] if columns else []


def as_text(value):
    return repr(value) if isinstance(value, float) and value != int(value) else str(value)


def without_tokens(cells):
    others = [cell for cell in cells if cell is not None and cell not in TOKENS]
    dates = [isinstance(cell, str) and cell[:4].isdigit() and len(cell) >= 10 and cell[4] == "-" for cell in others]
    numbers = [not isinstance(cell, str) for cell in others]
    if others and (all(dates) or all(numbers)):
        return [None if isinstance(cell, str) and cell in TOKENS else cell for cell in cells]
    return cells


def same(a, b):
    if isinstance(a, (int, float)) and isinstance(b, (int, float)):
        return a == b or abs(a - b) <= 1e-12 * max(abs(a), abs(b))
    if isinstance(a, str) and isinstance(b, str):  # dates among others have a T in JSON
        return a.replace("\r\n", "\n") in (b.replace("\r\n", "\n"), b.replace("T", " "))
    return a == b


def check(what, wanted, result, complaints):
    if wanted is None:
        if result.returncode == 0:
            complaints.append(f"{what}: kt reads a sheet without rows")
        return
    names, rows = wanted
    if result.returncode != 0:
        complaints.append(f"{what}: {result.stderr.strip()}")
        return
    found = json.loads(result.stdout)
    if len(found) != len(rows):
        complaints.append(f"{what}: {len(rows)} rows, kt has {len(found)}")
        return
    for number, (row, cells) in enumerate(zip(found, rows)):
        if list(row) != names:
            complaints.append(f"{what}: columns {names}, kt has {list(row)}")
            return
        for name, cell in zip(names, cells):
            if not same(cell, row[name]):
                complaints.append(f"{what}: row {number + 1}, '{name}': {cell!r}, kt has {row[name]!r}")
                return


def compare(kt, path, folder, complaints):
    try:
        book = openpyxl.load_workbook(path, data_only=True)
    except KeyError as missing:  # a drawing that is named and not there
        print(f"{os.path.basename(path)}: not compared, openpyxl: {missing}")
        return
    for number, sheet in enumerate(book.worksheets, 1):
        what = f"{os.path.basename(path)}, sheet {number}"
        wanted = table_of(sheet)
        options = ["--sheet", str(number), "--allow-rejects", "1000000000"]
        check(what, wanted, run(kt, "show", path, *options, "--json"), complaints)
        if wanted is None or not wanted[1]:
            continue
        again = os.path.join(folder, "again.xlsx")
        saved = run(kt, "show", path, *options, "--save", again)
        if saved.returncode != 0:
            complaints.append(f"{what}: {saved.stderr.strip()}")
            continue
        written = openpyxl.load_workbook(again, data_only=True).worksheets[0]
        names, rows = wanted
        found = [[plain(cell) for cell in row] for row in written.iter_rows(min_row=2, values_only=True)]
        if [as_text(cell) for cell in next(written.iter_rows(max_row=1, values_only=True))] != names:
            complaints.append(f"{what}: kt writes other names")
        found += [[None] * len(names)] * (len(rows) - len(found))  # rows without values at the end
        for at, (row, cells) in enumerate(zip(rows, found)):
            if len(found) != len(rows) or not all(map(same, row, cells)):
                complaints.append(f"{what}: row {at + 1} is {row!r}, kt writes {cells!r}")
                break


def random_cell(kind):
    choice = random.random()
    if choice < 0.1:
        return None
    if kind == "mixed":
        kind = random.choice(["int", "float", "text", "date"])
    if kind == "int":
        return random.choice([random.randint(-5, 5), random.randint(-(2**31), 2**31 - 1), random.randint(-(2**52), 2**52)])
    if kind == "float":
        return random.choice([random.uniform(-1, 1), random.uniform(-1, 1) * 10.0 ** random.randint(-300, 300), 2.0])
    if kind == "bool":
        return random.random() < 0.5
    if kind == "token":
        return random.choice(["n/a", "-", random.randint(0, 9)])
    if kind == "date":
        day = datetime.datetime(1904, 1, 2) + datetime.timedelta(days=random.randint(0, 80000))
        return day + datetime.timedelta(seconds=random.choice([0, random.randint(0, 86399)]))
    if kind == "error":
        return random.choice([1, 2.5, "#DIV/0!", "#REF!"])
    return "".join(random.choice("ab <>&\"'_x0=+-é€😀\n\t") for _ in range(random.randint(1, 12)))


def random_book(path):
    book = openpyxl.Workbook()
    if random.random() < 0.3:
        book.epoch = openpyxl.utils.datetime.CALENDAR_MAC_1904
    sheet = book.active
    kinds = [random.choice(["int", "float", "bool", "token", "date", "error", "text", "mixed"])
             for _ in range(random.randint(1, 8))]
    top, left = random.choice([1, 1, 3]), random.choice([1, 1, 2])
    for at, kind in enumerate(kinds):
        sheet.cell(top, left + at, random.choice([kind, f"{kind} {at}", None if at else "first"]))
    for row in range(random.randint(0, 30)):
        if random.random() < 0.1:
            continue
        for at, kind in enumerate(kinds):
            value = random_cell(kind)
            if value is not None and not (isinstance(value, str) and value.startswith("=")):
                cell = sheet.cell(top + 1 + row, left + at, value)
                if kind == "text":
                    cell.data_type = "s"
    book.create_sheet("Empty")
    book.save(path)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--kt", required=True)
    parser.add_argument("--random", type=int, default=0)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("files", nargs="*")
    arguments = parser.parse_args()
    random.seed(arguments.seed)
    complaints = []
    with tempfile.TemporaryDirectory() as folder:
        for path in arguments.files:
            compare(arguments.kt, path, folder, complaints)
        for number in range(arguments.random):
            path = os.path.join(folder, f"random{number}.xlsx")
            random_book(path)
            compare(arguments.kt, path, folder, complaints)
    for complaint in complaints[:50]:
        print(complaint)
    print(f"compare-xlsx: {len(arguments.files)} files, {arguments.random} random workbooks, "
          f"{len(complaints)} differences")
    sys.exit(1 if complaints else 0)


if __name__ == "__main__":
    main()
