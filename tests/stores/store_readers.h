// Capture files as other programs read them: workbooks with FreeXL and xlrd,
// databases with mdbtools and the JavaScript mdb-reader (tests/mdb/node).
// Every text comes back as ISO-8859-1, one byte per character.
#pragma once

#include <freexl.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "tests/stores/store_test_util.h"

namespace tvl::testing {

using XlsRow = std::vector<std::string>;
using XlsSheet = std::vector<XlsRow>;

// Sheets of rows; an empty or blank cell is "".
struct XlsBook {
    std::vector<std::string> names;
    std::vector<XlsSheet> sheets;
};

// A text as the dump scripts print it: hex digits, "-" when empty, "null" for none.
inline std::string fromHex(const std::string& hex) {
    if (hex == "null") return "<null>";
    std::string out;
    for (std::size_t i = 0; hex != "-" && i + 1 < hex.size(); i += 2)
        out.push_back(char(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return out;
}

inline std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    for (std::string w; in >> w;) out.push_back(w);
    return out;
}

// `error` stays empty when every cell read as a text.
inline XlsBook readXlsWithFreeXL(const std::string& path, std::string& error) {
    XlsBook book;
    const void* h = nullptr;
    if (freexl_open(path.c_str(), &h) != FREEXL_OK || !h) {  // FREEXL_OK and no handle happens
        if (h) freexl_close(h);
        error = "freexl_open failed";
        return book;
    }
    unsigned int count = 0;
    if (freexl_get_info(h, FREEXL_BIFF_SHEET_COUNT, &count) != FREEXL_OK) error = "no sheet count";
    for (unsigned short s = 0; s < count; ++s) {
        const char* name = "";
        unsigned int rows = 0;
        unsigned short cols = 0;
        if (freexl_get_worksheet_name(h, s, &name) != FREEXL_OK ||
            freexl_select_active_worksheet(h, s) != FREEXL_OK ||
            freexl_worksheet_dimensions(h, &rows, &cols) != FREEXL_OK)
            error = "cannot select sheet " + std::to_string(s);
        book.names.push_back(name ? name : "");
        XlsSheet& sheet = book.sheets.emplace_back(rows);
        for (unsigned int r = 0; r < rows; ++r) {
            for (unsigned short c = 0; c < cols; ++c) {
                FreeXL_CellValue cell;
                const bool read = freexl_get_cell_value(h, r, c, &cell) == FREEXL_OK;
                if (read && (cell.type == FREEXL_CELL_TEXT || cell.type == FREEXL_CELL_SST_TEXT)) {
                    sheet[r].push_back(utf8ToLatin1(cell.value.text_value));
                } else {
                    if (!read || cell.type != FREEXL_CELL_NULL)
                        error = "no text in row " + std::to_string(r);
                    sheet[r].push_back("");  // FreeXL gives an empty text as no value
                }
            }
        }
    }
    freexl_close(h);
    return book;
}

// Through tests/stores/xls_dump.py, by xlrd or by Gnumeric's ssconvert.
inline XlsBook readXlsWithXlrd(const std::string& path, std::string& error, bool gnumeric = false) {
    bool ok = false;
    const std::string out =
        runCommand("/usr/bin/python3 " TVL_SOURCE_DIR "/tests/stores/xls_dump.py " +
                       std::string(gnumeric ? "--gnumeric '" : "'") + path + "' 2>&1",
                   ok);
    XlsBook book;
    if (!ok) return error = "xlrd: " + out.substr(0, 2000), book;
    std::istringstream in(out);
    for (std::string line; std::getline(in, line);) {
        std::vector<std::string> w = words(line);
        if (w.size() == 2 && w[0] == "sheet") {
            book.names.push_back(w[1]);
            book.sheets.emplace_back();
        } else if (!w.empty() && w[0] == "row" && !book.sheets.empty()) {
            XlsRow& row = book.sheets.back().emplace_back();
            for (std::size_t i = 1; i < w.size(); ++i) row.push_back(fromHex(w[i]));
        } else {
            error = "xlrd printed: " + line;
        }
    }
    return book;
}

// The records of a capture workbook: each sheet starts with the titles. A file
// left by a kill may end in a sheet with no rows yet, or with only its titles
// row, on its way, showing as empty cells.
inline std::vector<Record> xlsRecords(const XlsBook& book, const Record& titles,
                                      std::string& error) {
    std::vector<Record> out;
    for (const XlsSheet& sheet : book.sheets) {
        if (&sheet == &book.sheets.back() && (sheet.empty() || sheet == XlsSheet{{"", ""}})) break;
        for (std::size_t r = 0; r < sheet.size(); ++r) {
            if (sheet[r].size() != 2)
                error = "a row of " + std::to_string(sheet[r].size()) + " cells";
            const Record row = sheet[r].size() == 2 ? Record(sheet[r][0], sheet[r][1]) : Record();
            if (r > 0)
                out.push_back(row);
            else if (row != titles)
                error = "a sheet without the titles";
        }
    }
    return out;
}

// What the JavaScript mdb-reader sees (tests/mdb/node/mdb_reader_dump.js).
struct MdbView {
    std::vector<std::string> tables, columns;
    long rowCount = -1;
    std::vector<Record> rows;
};

inline MdbView readMdbWithMdbReader(const std::string& path, std::string& error) {
    MdbView v;
    bool ok = false;
    const std::string out = runCommand(
        "node " TVL_SOURCE_DIR "/tests/mdb/node/mdb_reader_dump.js '" + path + "' Capture 2>&1",
        ok);
    if (!ok) return error = "mdb-reader: " + out.substr(0, 2000), v;
    std::istringstream in(out);
    for (std::string line; std::getline(in, line);) {
        std::vector<std::string> w = words(line);
        if (w.empty()) continue;
        const std::string tag = w[0];
        w.erase(w.begin());
        if (tag == "rowcount") v.rowCount = std::stol(w.at(0));
        if (tag == "row" && w.size() == 2) v.rows.emplace_back(fromHex(w[0]), fromHex(w[1]));
        if (tag != "tables" && tag != "columns") continue;
        auto& names = tag == "tables" ? v.tables : v.columns;
        for (const std::string& x : w)  // a column is NAME:TYPE:SIZE
            names.push_back(fromHex(x.substr(0, x.find(':'))) +
                            x.substr(std::min(x.size(), x.find(':'))));
    }
    return v;
}

// The header line, then the rows, as mdb-export gives table Capture: a line a
// row, a tab between fields, and CR, LF, tab and backslash escaped as in C.
inline std::vector<std::vector<std::string>> readMdbWithMdbExport(const std::string& path,
                                                                  std::string& error) {
    bool ok = false;
    std::istringstream out(
        runCommand("mdb-export -e -Q -d '\\t' '" + path + "' Capture 2>/dev/null", ok));
    if (!ok) error = "mdb-export failed on " + path;
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(out, line);) {
        std::vector<std::string>& row = rows.emplace_back(1);
        for (std::size_t i = 0; i < line.size(); ++i) {
            const char c = line[i];
            if (c == '\t')
                row.emplace_back();
            else if (c != '\\')
                row.back() += c;
            else if (++i < line.size())  // an escape: \r, \t, \n or a backslash
                row.back() += line[i] == 'r'   ? '\r'
                              : line[i] == 't' ? '\t'
                              : line[i] == 'n' ? '\n'
                                               : '\\';
        }
        for (std::string& field : row) field = utf8ToLatin1(field.c_str());
    }
    return rows;
}

}  // namespace tvl::testing
