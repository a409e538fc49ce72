"""Prints every sheet of a workbook as xlrd reads it, for the store tests:
"sheet NAME", then "row" and its cells for each row, a cell as the hex of its
ISO-8859-1 text ("-" when empty or blank, "?" when it is not a text).
"""
import sys

import xlrd


def cell_hex(cell):
    if cell.ctype == xlrd.XL_CELL_TEXT:
        return cell.value.encode("latin-1").hex() or "-"
    return "-" if cell.ctype in (xlrd.XL_CELL_EMPTY, xlrd.XL_CELL_BLANK) else "?"


for sheet in xlrd.open_workbook(sys.argv[1], formatting_info=True).sheets():
    print("sheet", sheet.name)
    for r in range(sheet.nrows):
        print("row", *(cell_hex(c) for c in sheet.row(r)))
