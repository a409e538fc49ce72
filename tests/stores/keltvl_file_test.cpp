// The .tvl file beyond the store contract: a torn last record, damaged files
// (also to the export's streaming reader), record times and older captures.
#include "components/stores/keltvl_file.h"
#include "components/stores/tvl_record_reader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/stores/store_readers.h"

namespace tvl::testing {
namespace {

// The store of the file at `path`.
struct At : KelTVLFile {
    explicit At(const std::string& path, const Record& titles = {}) { place(*this, path, titles); }
    // One record, the file opened and closed around it as the capture writer does.
    void append(const Record& r, int head = 0) {
        PortText1 = r.first;
        PortText2 = r.second;
        OpenStore();
        AppendRecord(head);
        CloseStore();
    }
};

// One open/append/close per record, the first starting the file.
void writeCapture(const std::string& path, const std::vector<Record>& records) {
    At f(path, {"title one", "title two"});
    f.KeepPortTime = true;  // record i at i seconds past 1970: the file's bytes are known
    for (std::size_t i = 0; i < records.size(); ++i) {
        f.PortTime = std::int64_t(i) * 1000000;
        f.append(records[i], i == 0 ? 1 : 0);
    }
}

std::vector<Record> sampleRecords(int n) {
    std::vector<Record> r;
    for (int i = 0; i < n; ++i)
        r.emplace_back("rx " + std::to_string(i) + std::string(i % 7, char(0x80 + i)),
                       std::string(i % 50, char(i)));
    return r;
}

TEST(KelTVLFile, ATornLastRecordIsReportedAndCutOffByTheNextAppend) {
    ScratchFolder dir;
    const auto records = sampleRecords(6);
    writeCapture(dir.file("five.tvl"), {records.begin(), records.end() - 1});
    writeCapture(dir.file("torn.tvl"), records);
    const std::string shorter = readFile(dir.file("five.tvl")),
                      whole = readFile(dir.file("torn.tvl"));
    ASSERT_EQ(whole.compare(0, shorter.size(), shorter), 0);
    const std::vector<Record> intact(records.begin() + 1, records.end() - 1);

    // Cut anywhere inside the last record, or zero-filled (the data never reached the disk).
    std::vector<std::string> damaged = {shorter + std::string(whole.size() - shorter.size(), '\0'),
                                        shorter + std::string(3, '\0')};
    for (std::size_t cut = shorter.size() + 1; cut < whole.size(); ++cut)
        damaged.push_back(whole.substr(0, cut));
    for (const std::string& image : damaged) {
        SCOPED_TRACE(image.size());
        writeFile(dir.file("torn.tvl"), image);
        TvlCapture c = readTvl(dir.file("torn.tvl"));
        EXPECT_TRUE(c.torn);
        EXPECT_EQ(c.records, intact);
        At(dir.file("torn.tvl")).append({"after", ""});
        c = readTvl(dir.file("torn.tvl"));
        EXPECT_FALSE(c.torn);
        ASSERT_EQ(c.records.size(), intact.size() + 1);
        EXPECT_EQ(c.records.back(), Record("after", ""));
    }
}

TEST(KelTVLFile, DamagedFilesGiveStoreErrorNamingTheFileAndTakeNoAppend) {
    ScratchFolder dir;
    const std::string path = dir.file("bad.tvl");
    writeCapture(path, sampleRecords(5));
    const std::string good = readFile(path);
    const std::size_t titlesEnd = 12 + 28 + 9 + 9;  // the header and the two titles

    // Appending checks the header and the last record only, so that its cost
    // does not grow with the file; the reader finds the rest.
    const auto expectBad = [&](const std::string& image, const std::string& what,
                               bool tail = true) {
        SCOPED_TRACE(what + " / " + std::to_string(image.size()));
        writeFile(path, image);
        At f(dir.file("bad"));
        expectStoreError([&] { f.CountRecords(); }, path, what);
        f.OpenStore();
        expectStoreError([&] { tail ? f.AppendRecord(0) : f.ReadTitles(); }, path);
        f.CloseStore();
        EXPECT_EQ(readFile(path), image);
        // The export's streaming reader refuses it alike, and leaves no file open.
        const auto fds = [] {
            return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
        };
        const auto before = fds();
        const auto readAll = [&] {
            TvlRecordReader::Record record;
            for (TvlRecordReader r(path); r.next(record);) continue;
        };
        expectStoreError(readAll, path, what);
        EXPECT_EQ(fds(), before);
    };
    const auto changed = [&](std::size_t at, char mask) {
        std::string image = good;
        image[at] ^= mask;
        return image;
    };
    expectBad(changed(1, 'X' ^ good[1]), "not a Tarvoline capture");
    expectBad("plain text, not a capture at all\n", "not a Tarvoline capture");
    expectBad("", "not a Tarvoline capture");
    expectBad(changed(8, 2 ^ 3), "version 3");
    for (std::size_t cut = 8; cut < titlesEnd; ++cut) expectBad(good.substr(0, cut), "cut short");
    expectBad(changed(titlesEnd + 20 + 1, 0x01), "record 1 is damaged", false);
    expectBad(changed(titlesEnd, 0x10), "record 1 is damaged", false);  // a length
    expectBad(changed(good.size() - 9, 0x40), "record 5 is damaged");

    // A length that passes its check but is absurd: nothing huge is allocated.
    std::string absurd = good.substr(0, titlesEnd) + std::string("\xFF\xFF\xFF\x7F\x10", 5);
    absurd.resize(titlesEnd + 16, '\0');  // the lengths and the time
    const std::uint32_t crc = Crc32(std::string_view(absurd).substr(titlesEnd));
    for (int i = 0; i < 4; ++i) absurd.push_back(char(crc >> (8 * i)));
    expectBad(absurd + std::string(64, 'z'), "impossible length");
    // A column longer than a record holds is refused before anything is written.
    writeFile(path, good);
    At f(path);
    f.PortText2 = std::string(KelTVLFile::kMaxColumn + 1, 'x');
    f.OpenStore();
    expectStoreError([&] { f.AppendRecord(0); }, path, "too long");
    f.CloseStore();
    EXPECT_EQ(readFile(path), good);
}

TEST(KelTVLFile, RecordsCarryTheirTimeAndAnOlderCaptureReadsAndTakesAppends) {
    using namespace std::chrono;
    const auto now = [] {
        return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
    };
    ScratchFolder dir;
    // A capture written before records carried their time: every record reads, with none.
    std::filesystem::copy_file(std::string(TVL_SOURCE_DIR) + "/tests/stores/version1_capture.tvl",
                               dir.file("old.tvl"));
    const TvlCapture before = readTvl(dir.file("old.tvl"));
    ASSERT_EQ(before.records.size(), 3u);
    EXPECT_EQ(before.records[0], Record("alpha", "beta"));
    EXPECT_EQ(before.times, std::vector<std::optional<std::int64_t>>(4));

    // Its first append rewrites it in the present version; only the new record has a time.
    const std::int64_t start = now();
    At(dir.file("old")).append({"new", ""});
    const std::int64_t end = now();
    const TvlCapture after = readTvl(dir.file("old.tvl"));
    EXPECT_EQ(testing::readFile(dir.file("old.tvl"))[8], '\x02');
    ASSERT_EQ(after.records.size(), 4u);
    EXPECT_EQ(after.head, before.head);
    EXPECT_EQ(std::vector<Record>(after.records.begin(), after.records.begin() + 3),
              before.records);
    EXPECT_EQ(after.records[3], Record("new", ""));
    ASSERT_TRUE(after.times[4]);
    EXPECT_GE(*after.times[4], start);
    EXPECT_LE(*after.times[4], end);
}

}  // namespace
}  // namespace tvl::testing
