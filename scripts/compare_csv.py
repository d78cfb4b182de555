"""Loads CSV and TSV files with kt and with pandas and compares what both found.

For every file: the number of records (also counted by Python's csv module), the type of every
column, every cell, the number of cells that are not null, sums, minima and maxima. A difference
is either explained by one of REASONS, each of which is checked on the texts of the column, or it
is printed and the exit status is 1. Called by scripts/compare-csv.sh.
"""

import argparse
import collections
import csv
import io
import json
import math
import pathlib
import random
import re
import subprocess
import sys
import tempfile

import pandas

csv.field_size_limit(2**31 - 1)

# Files that need an option, by the end of their path: options of kt, arguments of pandas.
OPTIONS = {
    "accuracy/data/fk4_no_e_fk4.csv": (["--comment", "#"], {"comment": "#"}),
    "accuracy/data/fk4_no_e_fk5.csv": (["--comment", "#"], {"comment": "#"}),
    "accuracy/data/galactic_fk4.csv": (["--comment", "#"], {"comment": "#"}),
    "accuracy/data/icrs_fk5.csv": (["--comment", "#"], {"comment": "#"}),
    "qiime-191-tt/otu-table.tsv": (["--skip", "1"], {"skiprows": 1}),
    # kt finds these separators itself.
    "anes96/anes96.csv": ([], {"sep": "\t"}),
    "modechoice/modechoice.csv": ([], {"sep": ";"}),
    "tests/1680-fread-header-encoding.csv": ([], {"sep": ";"}),
}

# Files that are no tables under a header, by the end of their path; each was looked at.
ODD_FILES = {
    "data/breast_cancer.csv": "the first line has counts in place of names",
    "data/wine_data.csv": "the first line has counts in place of names",
    "gdal/s57agencies.csv": "commas inside of names without quotes: four and five cells a row",
    "us_income/spi_download.csv": "text after a closing quote in the header: refused",
    "results/poisson_resid.csv": "one line of 20190 numbers: more columns than a dataset takes",
    "tests/unescaped.csv": "quotes inside of quoted cells are not doubled: all rows rejected",
}

# Words that stand for null, besides those that pandas knows by itself.
NULL_TOKENS = ["None", "-", "."]
# Words that pandas takes for null and kt does not.
PANDAS_ONLY_TOKENS = {"#N/A N/A", "#NA", "-1.#IND", "-1.#QNAN", "-NaN", "-nan", "1.#IND",
                      "1.#QNAN", "<NA>", "nan", "NaN"}

LEADING_ZERO = re.compile(r"^\s*[+-]?0\d+\s*$")
WHOLE = re.compile(r"^\s*[+-]?\d+\s*$")
ISO_DATE = re.compile(r"^\d{4}[-/.]\d{1,2}[-/.]\d{1,2}([T ]|$)")

REASONS = {
    "words": "true and false are texts, pandas makes them logical values",
    "codes": "a column with leading zeros holds codes and stays text, pandas drops the zeros",
    "large": "whole numbers beyond 2^53 stay text, because a double would change them",
    "empty": "a column without any cell is text, pandas makes it double",
    "token": "a word that only pandas takes for null keeps the column text",
    "quotes": "a record with text after a closing quote is rejected, pandas joins it",
    "quoted": "a quoted empty cell is the empty text, pandas makes it null",
}


class Comparison:
    """Counts what was compared and collects what differs."""

    def __init__(self):
        self.files = self.columns = self.numeric = self.rows = self.cells = self.rejected = 0
        self.reasons = collections.Counter()
        self.unexplained = []

    def differ(self, place, what):
        self.unexplained.append(f"{place}: {what}")


def decode(data):
    """The text of a file and the option of kt that its encoding needs."""
    try:
        return data.decode("utf-8-sig"), []
    except UnicodeDecodeError:
        return data.decode("cp1252", errors="replace"), ["--encoding", "windows-1252"]


def records_of(text, separator, skip, comment):
    """(line, cells) of the records without the header, as Python's csv module cuts them."""
    lines = text.splitlines(keepends=True)[skip:]
    if comment:
        lines = [line for line in lines if not line.startswith(comment)]
    # newline="": the module sees the line ends inside of quotes.
    reader = csv.reader(io.StringIO("".join(lines), newline=""), delimiter=separator)
    records = []
    line = skip + 1
    for cells in reader:
        records.append((line, cells))
        line = skip + reader.line_num + 1
    del records[:1]
    if any(len(cells) > 1 for _, cells in records):
        records = [(line, cells) for line, cells in records if cells]
    return records


def run_kt(arguments):
    done = subprocess.run(arguments, capture_output=True, check=False)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def load_with_kt(kt, path, options):
    """(columns, rows, rejected records): columns are (id, type, sum, max, min)."""
    with tempfile.TemporaryDirectory() as folder:
        rejects = pathlib.Path(folder) / "rejects.csv"
        script = pathlib.Path(__file__).with_suffix(".kts")
        given = [*options, "--rejects", str(rejects)]
        status, out, messages = run_kt(
            [kt, "run", "--json", "--data", f"t={path}", *given, str(script)])
        if status != 0:
            raise RuntimeError(f"kt run: status {status}: {messages.strip()}")
        row_count, columns = json.loads(out)
        # What is printed has null for NaN, which data in JSON would be refused for.
        status, out, messages = run_kt([kt, "eval", "t", "--json", "--data", f"t={path}", *given])
        if status != 0:
            raise RuntimeError(f"kt eval: status {status}: {messages.strip()}")
        rows = [list(row.values()) for row in json.loads(out)]
        if len(rows) != row_count:
            raise RuntimeError(f"{row_count} rows in a script, {len(rows)} printed")
        rejected = []
        if rejects.exists():
            with rejects.open(newline="", encoding="utf-8") as file:
                rejected = list(csv.reader(file))[1:]
        return columns, rows, rejected


def read_with_pandas(text, separator, arguments, **more):
    # One record more than the header has cells makes pandas take the first for the row's name.
    frame = pandas.read_csv(io.StringIO(text, newline=""), sep=separator, on_bad_lines="skip",
                            float_precision="round_trip", low_memory=False, **arguments, **more)
    if len(frame) > 0 and not isinstance(frame.index, pandas.RangeIndex):
        frame = frame.reset_index()
    return frame


def expected_type(column, texts):
    """The type that the rules give, from pandas' type and the texts of the cells."""
    cells = [text for text in texts if isinstance(text, str)]
    kind = column.dtype.kind
    if kind == "b":
        return "string", "words"
    if not cells:
        return "string", "empty"
    if kind in "iuf":
        numbers = [text for text, value in zip(texts, column) if value == value]
        spoken = {text for text, value in zip(texts, column)
                  if isinstance(text, str) and value != value}
        if not numbers:
            return None, None
        if any(LEADING_ZERO.match(text) for text in numbers):
            return "string", "codes"
        if all(WHOLE.match(text) for text in numbers):
            if any(abs(int(text)) > 2**53 for text in numbers):
                return "string", "large"
            small = all(-2**31 <= int(text) < 2**31 for text in numbers)
            kind_of = "long" if small else "double"
        elif any(WHOLE.match(text) and abs(int(text)) > 2**53 for text in numbers):
            return "string", "large"
        else:
            kind_of = "double"
        if (spoken & PANDAS_ONLY_TOKENS) - {"nan", "NaN"}:
            return "string", "token"
        return ("double" if spoken & {"nan", "NaN"} else kind_of), None
    if kind == "O" and all(ISO_DATE.match(text) for text in cells
                           if text not in ("NA", "N/A", "n/a", "NULL", "null", "None", "#N/A",
                                           "-", ".")):
        return "datetime", None
    return "string", None


def same_cell(kind, mine, text, value):
    """Whether a cell of kt is what pandas has: `text` as it stands, `value` as pandas reads it."""
    if kind == "string":
        return mine == text or (mine is None and not isinstance(text, str))
    if mine is None:
        return value != value or value is None
    if kind in ("long", "double"):
        return float(mine) == float(value)
    moment = pandas.Timestamp(text)
    if moment.tzinfo is not None:
        moment = moment.tz_convert(None)
    return abs((pandas.Timestamp(mine) - moment).total_seconds()) < 0.001


def compare_totals(place, column, mine, comparison):
    """Sum, maximum and minimum of a column of numbers."""
    values = [float(value) for value in mine if value is not None]
    _, _, total, most, least = column
    if not values:
        return
    scale = math.fsum(map(abs, values))
    if total is None or abs(float(total) - math.fsum(values)) > 1e-12 * scale:
        comparison.differ(place, f"sum {total}, exactly {math.fsum(values)}")
    if most is None or float(most) != max(values):
        comparison.differ(place, f"maximum {most}, pandas {max(values)}")
    if least is None or float(least) != min(values):
        comparison.differ(place, f"minimum {least}, pandas {min(values)}")


def compare_column(place, column, mine, frame_column, texts, comparison):
    wanted, reason = expected_type(frame_column, texts)
    kind = column[1]
    comparison.columns += 1
    if kind in ("long", "double"):
        comparison.numeric += 1
    if wanted is not None and kind != wanted:
        comparison.differ(place, f"type {kind}, expected {wanted} (pandas: {frame_column.dtype})")
        return
    if reason:
        comparison.reasons[reason] += 1
    wrong = []
    for at, (cell, text, value) in enumerate(zip(mine, texts, frame_column)):
        comparison.cells += 1
        if not same_cell(kind, cell, text, value):
            if cell == "" and not isinstance(text, str):
                comparison.reasons["quoted"] += 1
            else:
                wrong.append((at, cell, text))
    if wrong:
        comparison.differ(place, f"{len(wrong)} cells differ, the first: row, kt, text: {wrong[0]}")
    elif kind in ("long", "double") and not any(value != value and isinstance(text, str)
                                                and text in ("nan", "NaN")
                                                for value, text in zip(frame_column, texts)):
        compare_totals(place, column, mine, comparison)


def compare_file(kt, path, name, comparison):
    text, encoding_options = decode(path.read_bytes())
    kt_options, arguments = next(
        (value for end, value in OPTIONS.items() if str(path).endswith(end)), ([], {}))
    arguments = dict(arguments)
    separator = "\t" if path.suffix == ".tsv" else arguments.pop("sep", ",")
    records = records_of(text, separator, arguments.get("skiprows", 0), arguments.get("comment"))
    frame = read_with_pandas(text, separator, arguments, na_values=NULL_TOKENS)
    texts = read_with_pandas(text, separator, arguments, dtype=str, keep_default_na=False,
                             na_values=[""])
    columns, rows, rejected = load_with_kt(kt, path, [*kt_options, *encoding_options])
    misquoted = {int(line) for line, reason, _ in rejected if "closing quote" in reason}
    if misquoted and len(frame) == len(records):
        comparison.reasons["quotes"] += len(misquoted)
        kept = [line not in misquoted for line, _ in records]
        frame = frame[kept].reset_index(drop=True)
        frame = frame.apply(pandas.to_numeric, errors="ignore")
        texts = texts[kept].reset_index(drop=True)
    comparison.files += 1
    comparison.rows += len(rows)
    comparison.rejected += len(rejected)
    if len(rows) + len(rejected) != len(records):
        comparison.differ(name, f"{len(rows)} rows and {len(rejected)} rejected of "
                                f"{len(records)} records")
    if len(rows) != len(frame) or len(columns) != len(frame.columns):
        comparison.differ(name, f"{len(rows)} rows of {len(columns)} columns; pandas: "
                                f"{len(frame)} of {len(frame.columns)}")
        return
    for at, column in enumerate(columns):
        mine = [row[at] for row in rows]
        compare_column(f"{name}: column {column[0]}", column, mine, frame.iloc[:, at],
                       list(texts.iloc[:, at]), comparison)


def random_cells(rng, count):
    """The texts of a random column: numbers in all notations, dates, words for null, texts."""
    whole = lambda: str(rng.choice([0, 7, -3, 42, 2**31 - 1, -2**31, 2**31, 2**53, 2**53 + 2]))
    fraction = lambda: rng.choice([repr(rng.uniform(-1e6, 1e6)), repr(rng.random() * 10**-9), ".5",
                                   "5.", "+1.25", "-.75", "1e5", "1E-7", "2.50", "0.1000"])
    blanks = lambda text: " " * rng.randrange(2) + text + " " * rng.randrange(2)
    date = lambda: (f"{rng.randrange(1900, 2100)}-{rng.randrange(1, 13):02}-"
                    f"{rng.randrange(1, 29):02}")
    moment = lambda: (f"{date()}{rng.choice('T ')}{rng.randrange(24):02}:{rng.randrange(60):02}:"
                      f"{rng.randrange(60):02}{rng.choice(['', '.25', '.125'])}")
    word = lambda: "".join(rng.choice("abc xyz,;\n\"é=-'") for _ in range(rng.randrange(1, 9)))
    maker = rng.choice([
        lambda: str(rng.randrange(-1000, 1000)), whole, fraction, lambda: blanks(fraction()),
        lambda: rng.choice([whole, fraction])(), date, moment, word, lambda: f"{rng.randrange(99):04}",
        lambda: rng.choice([fraction, word])()])
    tokens = rng.sample(["", "NA", "N/A", "n/a", "NULL", "null", "None", "#N/A", "-", "."],
                        rng.randrange(3))
    return [rng.choice(tokens) if tokens and rng.random() < 0.1 else maker()
            for _ in range(count)]


def random_text(rng):
    """A file with quotes where they are needed, rows that are short and rows that are too long."""
    width = rng.randrange(2, 6)
    count = rng.randrange(1, 60)
    columns = [random_cells(rng, count) for _ in range(width)]
    quote = lambda text: ('"' + text.replace('"', '""') + '"'
                          if rng.random() < 0.1 or set(text) & set(',"\n') else text)
    rows = [[f"c{at}" for at in range(width)]]
    for at in range(count):
        row = [quote(column[at]) for column in columns]
        if at > 0 and rng.random() < 0.05:
            row = row[:rng.randrange(1, width)] if rng.random() < 0.5 else row + ["more"]
        rows.append(row)
    line_end = rng.choice(["\n", "\r\n"])
    return line_end.join(",".join(row) for row in rows) + rng.choice(["", line_end])


def compare_random(kt, count, seed, comparison):
    rng = random.Random(seed)
    with tempfile.TemporaryDirectory() as folder:
        for number in range(count):
            path = pathlib.Path(folder) / "random.csv"
            path.write_bytes(random_text(rng).encode("utf-8"))
            before = len(comparison.unexplained)
            compare_file(kt, path, f"random file {number} of seed {seed}", comparison)
            if len(comparison.unexplained) > before:
                print(f"  seed {seed}, file {number}:\n{path.read_text()}")


def files_below(folder):
    found = [path for pattern in ("*.csv", "*.tsv", "*.CSV", "*.TSV")
             for path in pathlib.Path(folder).rglob(pattern)]
    return sorted(path for path in set(found)
                  if path.is_file() and not path.is_symlink() and path.stat().st_size > 0)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--kt", required=True)
    parser.add_argument("--folder")
    parser.add_argument("--random", type=int, default=0, help="so many random files as well")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("files", nargs="*")
    options = parser.parse_args()
    paths = [pathlib.Path(file) for file in options.files]
    if options.folder:
        paths += files_below(options.folder)
    comparison = Comparison()
    for path in paths:
        name = str(path.relative_to(options.folder)) if options.folder else str(path)
        odd = next((why for end, why in ODD_FILES.items() if name.endswith(end)), None)
        if odd:
            print(f"  not compared: {name}: {odd}")
            continue
        try:
            compare_file(options.kt, path, name, comparison)
        except (RuntimeError, ValueError, pandas.errors.ParserError) as error:
            comparison.differ(name, f"{type(error).__name__}: {error}")
    compare_random(options.kt, options.random, options.seed, comparison)
    print(f"compare-csv: {comparison.files} files, {comparison.columns} columns "
          f"({comparison.numeric} of numbers), {comparison.rows} rows and {comparison.rejected} "
          f"rejected records, {comparison.cells} cells")
    for reason, count in sorted(comparison.reasons.items()):
        print(f"  {count} times: {REASONS[reason]}")
    for line in comparison.unexplained:
        print(f"  DIFFERENCE {line}")
    print(f"compare-csv: {len(comparison.unexplained)} differences without a reason")
    return 1 if comparison.unexplained or comparison.files == 0 else 0


sys.exit(main())
