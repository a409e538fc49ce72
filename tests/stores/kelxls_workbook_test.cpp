// The workbook beyond the store contract: every state a kill can leave the
// file in as sheets fill and follow one another, read by FreeXL and xlrd.
#include "components/stores/kelxls_workbook.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/stores/store_readers.h"

namespace tvl::testing {
namespace {

const Record kTitles = {"Port 1 \xE9\xFF\x80", "Port 2 \xA0\xB5"};

// Record i of a capture: bytes 0x01..0xFF, lengths from 0 to `longest`.
Record record(std::size_t i, std::size_t longest) {
    std::string a((i * 7) % (longest + 1), ' '), b((i * 13 + 5) % (longest + 1), ' ');
    for (std::size_t k = 0; k < a.size(); ++k) a[k] = char(1 + (i + k) % 255);
    for (std::size_t k = 0; k < b.size(); ++k) b[k] = char(1 + (i * 3 + k) % 255);
    if (!a.empty()) a[0] = char('0' + i % 10);
    return {a, b};
}

struct Book {
    explicit Book(const std::string& folder, const std::string& name) {
        place(wb, folder + name, kTitles);
        wb.SyncEachAppend = false;
        wb.CreateStore();
    }
    void append(const Record& r) {
        underWay = {r.first.substr(0, wb.kMaxCellText), r.second.substr(0, wb.kMaxCellText)};
        wb.PortText1 = r.first;
        wb.PortText2 = r.second;
        wb.AppendRecord();
        records.push_back(underWay);
    }
    KelXLSWorkbook wb;
    std::vector<Record> records;  // as the cells keep them
    Record underWay;              // the one being appended
};

// Both readers find the sheets "Sheet1", "Sheet2"... and in them `records`.
void expectRead(const std::string& path, const std::vector<Record>& records, std::size_t sheets) {
    for (bool freexl : {true, false}) {
        SCOPED_TRACE(freexl ? "FreeXL" : "xlrd");
        std::string error;
        const XlsBook book = freexl ? readXlsWithFreeXL(path, error) : readXlsWithXlrd(path, error);
        ASSERT_EQ(book.sheets.size(), sheets);
        for (std::size_t s = 0; s < sheets; ++s)
            EXPECT_EQ(book.names[s], "Sheet" + std::to_string(s + 1));
        EXPECT_EQ(book.sheets[0].size(),
                  std::min<std::size_t>(records.size() + 1, KelXLSWorkbook::kRowsPerSheet));
        EXPECT_TRUE(xlsRecords(book, kTitles, error) == records) << "records differ";
        EXPECT_EQ(error, "");
    }
}

TEST(KelXLSWorkbook, SheetsFillAndFollowAndAKillAtAnyPointLeavesEveryAppendedRowToBothReaders) {
    ScratchFolder dir;
    Book book(dir.folder(), "live.xls");
    int states = 0, xlrdEvery = 15;
    const auto check = [&](const std::string& bytes) {
        writeFile(dir.file("killed.xls"), bytes);
        SCOPED_TRACE("state " + std::to_string(++states) + ", " +
                     std::to_string(book.records.size()) + " rows");
        for (bool freexl : {true, false}) {
            if (!freexl && states % xlrdEvery) continue;
            std::string error;
            const std::vector<Record> found =
                xlsRecords(freexl ? readXlsWithFreeXL(dir.file("killed.xls"), error)
                                  : readXlsWithXlrd(dir.file("killed.xls"), error),
                           kTitles, error);
            std::vector<Record> whole = book.records, blank = book.records;
            whole.push_back(book.underWay);
            blank.emplace_back();
            EXPECT_EQ(error, "");
            EXPECT_TRUE(found == book.records || found == whole || found == blank)
                << found.size() << " records read, " << book.records.size() << " appended";
        }
    };
    // The file before each write, and cut at every page boundary the write crosses.
    const auto watcher = [&](std::uint64_t at, std::string_view bytes) {
        const std::string now = readFile(book.wb.path());
        check(now);
        for (std::uint64_t cut = (at / 4096 + 1) * 4096; cut < at + bytes.size(); cut += 4096) {
            std::string part = now;
            if (part.size() < cut) part.resize(cut, '\0');
            check(part.replace(at, cut - at, bytes.substr(0, cut - at)));
        }
    };
    // Rows of every length up to past the longest cell: the room grows several times.
    book.wb.watchWrites(watcher);
    for (std::size_t i = 0; i < 200 && !HasFailure(); ++i) book.append(record(i, 260));
    EXPECT_GT(states, 600);
    // Across the start of a second sheet.
    book.wb.watchWrites(nullptr);
    for (std::size_t i = book.records.size(); i < 65532; ++i) book.append(record(i, 12));
    xlrdEvery = 5;
    book.wb.watchWrites(watcher);
    for (std::size_t i = book.records.size(); i < 65537 && !HasFailure(); ++i)
        book.append(record(i, 12));
    // 100,000 records in all: the second sheet starts with the titles again, in
    // a file past 6.8 MB whose FAT needs DIFAT sectors.
    book.wb.watchWrites(nullptr);
    for (std::size_t i = book.records.size(); i < 100000; ++i) book.append(record(i, 160));
    book.wb.CloseStore();
    expectRead(book.wb.path(), book.records, 2);
    EXPECT_GT(std::filesystem::file_size(book.wb.path()), 110u * 128 * 512);
}

}  // namespace
}  // namespace tvl::testing
