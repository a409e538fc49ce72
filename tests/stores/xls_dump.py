"""Prints every sheet of a workbook as xlrd reads it, or with --gnumeric first
as Gnumeric's ssconvert does (one CSV file a sheet), for the store tests:
"sheet NAME", then "row" and its cells for each row, a cell as the hex of its
ISO-8859-1 text ("-" when empty or blank, "?" when not a text or not ISO-8859-1).
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


if sys.argv[1] != "--gnumeric":
    for sheet in xlrd.open_workbook(sys.argv[1], formatting_info=True).sheets():
        print("sheet", sheet.name)
        for r in range(sheet.nrows):
            print("row", *(text_hex(c.value) if c.ctype == xlrd.XL_CELL_TEXT else
                           "-" if c.ctype in (xlrd.XL_CELL_EMPTY, xlrd.XL_CELL_BLANK) else "?"
                           for c in sheet.row(r)))
    sys.exit()
with tempfile.TemporaryDirectory() as folder:
    subprocess.run(["ssconvert", "-S", sys.argv[2], os.path.join(folder, "%n %s.csv")],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    for name in sorted(glob.glob(os.path.join(folder, "* *.csv")),
                       key=lambda f: int(os.path.basename(f).split(" ")[0])):
        print("sheet", os.path.basename(name).split(" ", 1)[1][:-4])
        with open(name, encoding="utf-8", newline="") as f:
            rows = list(csv.reader(f))
        for r in rows:  # as wide as the widest row
            print("row", *(text_hex(t) for t in r + [""] * (max(map(len, rows)) - len(r))))
