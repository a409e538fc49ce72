"""Prints every sheet of a workbook as xlrd reads it, for the store tests:
"sheet NAME", then "row" and its cells for each row, a cell as the hex of its
ISO-8859-1 text ("-" when empty or blank, "?" when it is not a text, or not
ISO-8859-1). With --gnumeric first, the same of the workbook as Gnumeric's
ssconvert reads it (through one CSV file a sheet).
"""
import csv
import glob
import os
import subprocess
import sys
import tempfile

import xlrd


def text_hex(text):
    try:
        return text.encode("latin-1").hex() or "-"
    except UnicodeEncodeError:
        return "?"


def cell_hex(cell):
    if cell.ctype == xlrd.XL_CELL_TEXT:
        return text_hex(cell.value)
    return "-" if cell.ctype in (xlrd.XL_CELL_EMPTY, xlrd.XL_CELL_BLANK) else "?"


def dump_xlrd(path):
    for sheet in xlrd.open_workbook(path, formatting_info=True).sheets():
        print("sheet", sheet.name)
        for r in range(sheet.nrows):
            print("row", *(cell_hex(c) for c in sheet.row(r)))


def dump_gnumeric(path):
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["ssconvert", "-S", path, os.path.join(folder, "%n %s.csv")],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        sheets = sorted(glob.glob(os.path.join(folder, "* *.csv")),
                        key=lambda f: int(os.path.basename(f).split(" ")[0]))
        for name in sheets:
            print("sheet", os.path.basename(name).split(" ", 1)[1][:-4])
            with open(name, encoding="utf-8", newline="") as f:
                rows = list(csv.reader(f))
            width = max((len(r) for r in rows), default=0)
            for r in rows:
                print("row", *(text_hex(t) for t in r + [""] * (width - len(r))))


if sys.argv[1] == "--gnumeric":
    dump_gnumeric(sys.argv[2])
else:
    dump_xlrd(sys.argv[1])
