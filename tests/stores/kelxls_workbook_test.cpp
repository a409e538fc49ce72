#include "components/stores/kelxls_workbook.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "tests/stores/store_test_util.h"
#include "tests/stores/xls_readers.h"

namespace tvl {
namespace {

using testing::ScratchFolder;
using Row = testing::XlsRow;
using Sheet = testing::XlsSheet;
using Book = testing::XlsBook;

// Each reads with its reader; an error fails the test, and what was read comes back.
Book readWithFreeXL(const std::string& path) {
    std::string error;
    Book book = testing::readXlsWithFreeXL(path, error);
    EXPECT_EQ(error, "") << "FreeXL, " << path;
    return book;
}

Book readWithXlrd(const std::string& path) {
    std::string error;
    Book book = testing::readXlsWithXlrd(path, error);
    EXPECT_EQ(error, "") << "xlrd, " << path;
    return book;
}

// Record i of a capture: every byte value 0x01..0xFF turns up, with lengths
// from 0 to `maxLength`. (A NUL cannot pass FreeXL's C strings; xlrd checks it.)
Row record(std::size_t i, std::size_t maxLength, bool withNul = false) {
    const std::size_t n1 = (i * 7) % (maxLength + 1), n2 = (i * 13 + 5) % (maxLength + 1);
    std::string a, b;
    for (std::size_t k = 0; k < n1; ++k)
        a.push_back(char(withNul ? (i + k) % 256 : 1 + (i + k) % 255));
    for (std::size_t k = 0; k < n2; ++k)
        b.push_back(char(withNul ? (i * 3 + k) % 256 : 1 + (i * 3 + k) % 255));
    if (!a.empty()) a[0] = char('0' + i % 10);
    return {a, b};
}

// The sheets a capture of `records` should give: titles then up to 65,535 records each.
std::vector<Sheet> expectedSheets(const Row& titles, const std::vector<Row>& records) {
    std::vector<Sheet> sheets;
    for (std::size_t i = 0; i < records.size() || sheets.empty(); ++i) {
        if (sheets.empty() || sheets.back().size() == KelXLSWorkbook::kRowsPerSheet)
            sheets.push_back({titles});
        if (i < records.size()) sheets.back().push_back(records[i]);
    }
    return sheets;
}

void expectBook(const Book& book, const std::vector<Sheet>& expected, const char* reader) {
    SCOPED_TRACE(reader);
    ASSERT_EQ(book.sheets.size(), expected.size());
    for (std::size_t s = 0; s < expected.size(); ++s) {
        EXPECT_EQ(book.names[s], "Sheet" + std::to_string(s + 1));
        ASSERT_EQ(book.sheets[s].size(), expected[s].size()) << "sheet " << s;
        for (std::size_t r = 0; r < expected[s].size(); ++r)
            ASSERT_EQ(book.sheets[s][r], expected[s][r]) << "sheet " << s << " row " << r;
    }
}

std::vector<Row> writeWorkbook(const std::string& folder, const std::string& name,
                               const Row& titles, std::size_t count, std::size_t maxLength,
                               bool withNul, bool sync) {
    KelXLSWorkbook wb;
    wb.StoreFolder = folder;
    wb.StoreName = name;
    wb.PortTitle1 = titles[0];
    wb.PortTitle2 = titles[1];
    wb.SyncEachAppend = sync;
    wb.CreateStore();
    std::vector<Row> records;
    for (std::size_t i = 0; i < count; ++i) {
        records.push_back(record(i, maxLength, withNul));
        wb.PortText1 = records.back()[0];
        wb.PortText2 = records.back()[1];
        wb.AppendRecord();
    }
    wb.CloseStore();
    return records;
}

const Row kTitles = {"Port 1 \xE9\xFF\x80", "Port 2 \xA0\xB5"};

TEST(KelXLSWorkbook, TenRecordsReadByFreeXLAndXlrd) {
    ScratchFolder dir;
    const auto records = writeWorkbook(dir.folder(), "ten.xls", kTitles, 10, 204, false, true);
    expectBook(readWithFreeXL(dir.file("ten.xls")), expectedSheets(kTitles, records), "freexl");
    expectBook(readWithXlrd(dir.file("ten.xls")), expectedSheets(kTitles, records), "xlrd");

    // Every byte value, NUL included, in cells and titles (xlrd keeps NULs).
    std::vector<Row> all;
    for (int first : {0, 128})
        all.push_back({testing::allBytes(first).substr(0, 204),
                       testing::allBytes(first + 50).substr(0, 204)});
    const Row titles = {testing::allBytes().substr(0, 200), testing::allBytes(200).substr(0, 100)};
    KelXLSWorkbook wb;
    wb.StoreFolder = dir.folder();
    wb.StoreName = "bytes.xls";
    wb.PortTitle1 = titles[0];
    wb.PortTitle2 = titles[1];
    wb.CreateStore();
    for (const Row& r : all) {
        wb.PortText1 = r[0];
        wb.PortText2 = r[1];
        wb.AppendRecord();
    }
    // Texts past the longest a cell takes are cut, not lost whole.
    wb.PortText1 = std::string(300, 'L');
    wb.PortText2 = "";
    wb.AppendRecord();
    all.push_back({std::string(KelXLSWorkbook::kMaxCellText, 'L'), ""});
    wb.CloseStore();
    expectBook(readWithXlrd(dir.file("bytes.xls")), expectedSheets(titles, all), "xlrd");
}

TEST(KelXLSWorkbook, FullSheetAndTwoSheetsReadByFreeXLAndXlrd) {
    ScratchFolder dir;
    // 65,535 records and the titles fill one sheet exactly.
    auto records = writeWorkbook(dir.folder(), "full.xls", kTitles, 65535, 40, false, false);
    auto expected = expectedSheets(kTitles, records);
    ASSERT_EQ(expected.size(), 1u);
    expectBook(readWithFreeXL(dir.file("full.xls")), expected, "freexl");
    expectBook(readWithXlrd(dir.file("full.xls")), expected, "xlrd");

    // 100,000 go on in a second sheet that starts with the titles again; the
    // file passes 6.8 MB, so its FAT needs DIFAT sectors.
    records = writeWorkbook(dir.folder(), "two.xls", kTitles, 100000, 60, false, false);
    expected = expectedSheets(kTitles, records);
    ASSERT_EQ(expected.size(), 2u);
    EXPECT_GT(std::filesystem::file_size(dir.file("two.xls")), 110u * 128 * 512);
    expectBook(readWithFreeXL(dir.file("two.xls")), expected, "freexl");
    expectBook(readWithXlrd(dir.file("two.xls")), expected, "xlrd");
}

// A book read from a file a kill left behind: the sheets' rows after their
// titles, in order. A new sheet may have no rows yet; a titles row or a record
// on its way may show as empty cells (DIMENSIONS made room for it first).
std::vector<Row> recordsAfterKill(const Book& book, const Row& titles) {
    std::vector<Row> out;
    const Row empty = {"", ""};
    for (std::size_t s = 0; s < book.sheets.size(); ++s) {
        const Sheet& sheet = book.sheets[s];
        if (sheet.empty()) continue;
        if (sheet[0] != titles) {
            EXPECT_TRUE(s + 1 == book.sheets.size() && sheet.size() == 1 && sheet[0] == empty)
                << "sheet " << s << " does not start with the titles";
            continue;
        }
        out.insert(out.end(), sheet.begin() + 1, sheet.end());
    }
    return out;
}

TEST(KelXLSWorkbook, AKillAtAnyPointLeavesEveryAppendedRowForFreeXLAndXlrd) {
    ScratchFolder dir;
    KelXLSWorkbook wb;
    wb.StoreFolder = dir.folder();
    wb.StoreName = "live.xls";
    wb.PortTitle1 = kTitles[0];
    wb.PortTitle2 = kTitles[1];
    wb.SyncEachAppend = false;
    wb.CreateStore();
    std::vector<Row> records;
    Row underWay;
    int states = 0, xlrdEvery = 15;
    const std::string copy = dir.file("killed.xls");
    const auto check = [&](const std::string& bytes) {
        testing::writeFile(copy, bytes);
        ++states;
        SCOPED_TRACE("state " + std::to_string(states) + " after " +
                     std::to_string(records.size()) + " rows");
        std::vector<Book> books = {readWithFreeXL(copy)};
        if (states % xlrdEvery == 0) books.push_back(readWithXlrd(copy));
        for (const Book& book : books) {
            const std::vector<Row> found = recordsAfterKill(book, kTitles);
            std::vector<Row> whole = records, blank = records;
            whole.push_back(underWay);
            blank.push_back({"", ""});
            EXPECT_TRUE(found == records || found == whole || found == blank)
                << found.size() << " records read, " << records.size() << " appended";
        }
    };
    // What the file holds before each write, and with the write cut at every
    // page boundary it crosses: the only places a kill can stop it.
    const auto watcher = [&](std::uint64_t at, std::string_view bytes) {
        const std::string now = testing::readFile(wb.path());
        check(now);
        for (std::uint64_t cut = (at / 4096 + 1) * 4096; cut < at + bytes.size(); cut += 4096) {
            std::string part = now;
            if (part.size() < cut) part.resize(cut, '\0');
            part.replace(at, cut - at, bytes.substr(0, cut - at));
            check(part);
        }
    };
    wb.watchWrites(watcher);
    const auto append = [&](const Row& r) {
        underWay = {r[0].substr(0, KelXLSWorkbook::kMaxCellText),
                    r[1].substr(0, KelXLSWorkbook::kMaxCellText)};
        wb.PortText1 = r[0];
        wb.PortText2 = r[1];
        wb.AppendRecord();
        records.push_back(underWay);
    };
    // Rows of every length up to past the longest cell: the room grows
    // several times on the way.
    for (std::size_t i = 0; i < 200 && !HasFailure(); ++i) append(record(i, 260));
    EXPECT_GT(states, 600);

    // Across the start of a second sheet.
    wb.watchWrites(nullptr);
    for (std::size_t i = records.size(); i < 65532; ++i) append(record(i, 12));
    xlrdEvery = 5;
    wb.watchWrites(watcher);
    for (std::size_t i = records.size(); i < 65537 && !HasFailure(); ++i) append(record(i, 12));
    EXPECT_EQ(wb.SheetCount(), 2u);
    wb.watchWrites(nullptr);
    wb.CloseStore();
    expectBook(readWithFreeXL(wb.path()), expectedSheets(kTitles, records), "freexl after close");
}

TEST(KelXLSWorkbook, FailuresGiveStoreErrorNamingTheFile) {
    ScratchFolder dir;
    const auto expectError = [](auto&& f, const std::string& file) {
        try {
            f();
            ADD_FAILURE() << "no StoreError for " << file;
        } catch (const StoreError& e) {
            EXPECT_NE(std::string(e.what()).find(file), std::string::npos) << e.what();
        }
    };
    KelXLSWorkbook wb;
    wb.StoreFolder = dir.folder() + "missing/";
    wb.StoreName = "cap.xls";
    expectError([&] { wb.CreateStore(); }, wb.path());
    expectError([&] { wb.AppendRecord(); }, wb.path());
    wb.CloseStore();  // nothing open: no harm

    // The disk fills: the row is refused, the rows before it stay readable, and
    // once there is room again the capture goes on.
    wb.StoreFolder = dir.folder();
    wb.PortTitle1 = "a";
    wb.PortTitle2 = "b";
    wb.CreateStore();
    std::vector<Row> records;
    const auto append = [&](const Row& r) {
        wb.PortText1 = r[0];
        wb.PortText2 = r[1];
        wb.AppendRecord();
        records.push_back(r);
    };
    for (std::size_t i = 0; i < 20; ++i) append(record(i, 204));
    {
        testing::FileSizeLimit limit(std::filesystem::file_size(wb.path()) + 512);
        bool refused = false;
        for (std::size_t i = 20; i < 400 && !refused; ++i) {
            try {
                append(record(i, 204));
            } catch (const StoreError& e) {
                refused = true;
                EXPECT_NE(std::string(e.what()).find(wb.path()), std::string::npos) << e.what();
            }
        }
        EXPECT_TRUE(refused);
        expectBook(readWithFreeXL(wb.path()), expectedSheets({"a", "b"}, records),
                   "freexl when full");
    }
    append({"after", "room"});
    wb.CloseStore();
    wb.CloseStore();
    expectBook(readWithFreeXL(wb.path()), expectedSheets({"a", "b"}, records), "freexl");
    expectBook(readWithXlrd(wb.path()), expectedSheets({"a", "b"}, records), "xlrd");

    // CreateStore replaces what was there.
    testing::writeFile(dir.file("old.xls"), std::string(100000, 'x'));
    wb.StoreName = "old.xls";
    wb.CreateStore();
    wb.CloseStore();
    expectBook(readWithFreeXL(dir.file("old.xls")), expectedSheets({"a", "b"}, {}), "freexl");
}

}  // namespace
}  // namespace tvl
