// A workbook as FreeXL and as xlrd read it, for the tests of the .xls store
// and of killed captures (both link FreeXL).
#pragma once

#include <freexl.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/stores/store_test_util.h"

namespace tvl::testing {

using XlsRow = std::vector<std::string>;
using XlsSheet = std::vector<XlsRow>;

// Sheets of rows of ISO-8859-1 texts; an empty or blank cell is "".
struct XlsBook {
    std::vector<std::string> names;
    std::vector<XlsSheet> sheets;
};

// `error` is left empty when the reader took every cell as a text; otherwise it
// says what went wrong first (a cell FreeXL could not give reads "<error>", one
// that is not a text "<not text>").
inline XlsBook readXlsWithFreeXL(const std::string& path, std::string& error) {
    XlsBook book;
    const void* h = nullptr;
    const int rc = freexl_open(path.c_str(), &h);
    if (rc != FREEXL_OK || !h) {  // it can fail giving FREEXL_OK and no handle
        if (h) freexl_close(h);
        error = "freexl_open failed: " + std::to_string(rc);
        return book;
    }
    const auto fail = [&](const std::string& what) {
        if (error.empty()) error = what;
    };
    unsigned int count = 0;
    if (freexl_get_info(h, FREEXL_BIFF_SHEET_COUNT, &count) != FREEXL_OK) fail("no sheet count");
    for (unsigned short s = 0; s < count; ++s) {
        const char* name = nullptr;
        if (freexl_get_worksheet_name(h, s, &name) != FREEXL_OK)
            fail("no name for sheet " + std::to_string(s));
        book.names.push_back(name ? name : "");
        unsigned int rows = 0;
        unsigned short cols = 0;
        if (freexl_select_active_worksheet(h, s) != FREEXL_OK ||
            freexl_worksheet_dimensions(h, &rows, &cols) != FREEXL_OK)
            fail("cannot select sheet " + std::to_string(s));
        XlsSheet sheet;
        for (unsigned int r = 0; r < rows; ++r) {
            XlsRow row;
            for (unsigned short c = 0; c < cols; ++c) {
                FreeXL_CellValue cell;
                if (freexl_get_cell_value(h, r, c, &cell) != FREEXL_OK) {
                    fail("cell error at row " + std::to_string(r));
                    row.push_back("<error>");
                } else if (cell.type == FREEXL_CELL_TEXT || cell.type == FREEXL_CELL_SST_TEXT) {
                    row.push_back(utf8ToLatin1(cell.value.text_value));
                } else if (cell.type == FREEXL_CELL_NULL) {
                    row.push_back("");  // FreeXL gives an empty text as no value
                } else {
                    fail("not a text at row " + std::to_string(r));
                    row.push_back("<not text>");
                }
            }
            sheet.push_back(row);
        }
        book.sheets.push_back(std::move(sheet));
    }
    freexl_close(h);
    return book;
}

// Through tests/stores/xls_dump.py; its output format is described there.
inline XlsBook readXlsWithXlrd(const std::string& path, std::string& error) {
    XlsBook book;
    const std::string cmd =
        "/usr/bin/python3 " TVL_SOURCE_DIR "/tests/stores/xls_dump.py '" + path + "' 2>&1";
    FILE* pipe = ::popen(cmd.c_str(), "r");
    if (!pipe) {
        error = "cannot run " + cmd;
        return book;
    }
    std::string out;
    char buf[65536];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, pipe)) > 0;) out.append(buf, n);
    if (::pclose(pipe) != 0) {
        error = "xlrd: " + out.substr(0, 2000);
        return book;
    }
    std::size_t at = 0;
    const auto u32 = [&] {
        std::uint32_t v = 0;
        if (at + 4 > out.size()) throw std::runtime_error("short xlrd output");
        std::memcpy(&v, out.data() + at, 4);
        at += 4;
        return v;
    };
    try {
        while (at < out.size()) {
            const auto nl = out.find('\n', at);
            if (out[at] != 'S' || nl == std::string::npos)
                throw std::runtime_error("bad xlrd output");
            book.names.push_back(out.substr(at + 1, nl - at - 1));
            at = nl + 1;
            XlsSheet sheet(u32());
            for (XlsRow& row : sheet) {
                row.resize(u32());
                for (std::string& cell : row) {
                    const std::uint32_t n = u32();
                    cell = out.substr(at, n);
                    at += n;
                }
            }
            book.sheets.push_back(std::move(sheet));
        }
    } catch (const std::exception& e) {
        error = e.what();
    }
    return book;
}

}  // namespace tvl::testing
