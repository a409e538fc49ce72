"""Dumps every sheet of a workbook read with xlrd, for the workbook tests.

Output (binary, on stdout): per sheet, b"S" + name + b"\n" + row count as
4 bytes little-endian, then per row: cell count as 4 bytes, and per cell its
text as ISO-8859-1, length-prefixed (4 bytes). An empty or blank cell gives
b"", any other cell b"?".
"""
import struct
import sys

import xlrd


def main():
    book = xlrd.open_workbook(sys.argv[1], formatting_info=True)
    out = sys.stdout.buffer
    for sheet in book.sheets():
        out.write(b"S" + sheet.name.encode("utf-8") + b"\n")
        out.write(struct.pack("<I", sheet.nrows))
        for r in range(sheet.nrows):
            row = sheet.row(r)
            out.write(struct.pack("<I", len(row)))
            for cell in row:
                if cell.ctype == xlrd.XL_CELL_TEXT:
                    data = cell.value.encode("latin-1")
                elif cell.ctype in (xlrd.XL_CELL_EMPTY, xlrd.XL_CELL_BLANK):
                    data = b""
                else:
                    data = b"?"
                out.write(struct.pack("<I", len(data)))
                out.write(data)


if __name__ == "__main__":
    main()
