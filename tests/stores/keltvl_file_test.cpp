#include "components/stores/keltvl_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/stores/store_test_util.h"

namespace tvl {
namespace {

using testing::ScratchFolder;
using Record = std::pair<std::string, std::string>;

// Writes a capture the way the program does: one open/append/close per record,
// record i written at i seconds past 1970 so that the file's bytes are known.
void writeCapture(const std::string& folder, const std::string& name, const std::string& title1,
                  const std::string& title2, const std::vector<Record>& records) {
    KelTVLFile f;
    f.StoreFolder = folder;
    f.StoreName = name;
    f.PortTitle1 = title1;
    f.PortTitle2 = title2;
    f.KeepPortTime = true;
    for (std::size_t i = 0; i < records.size(); ++i) {
        f.PortTime = std::int64_t(i) * 1000000;
        f.PortText1 = records[i].first;
        f.PortText2 = records[i].second;
        f.OpenStore();
        f.AppendRecord(i == 0 ? 1 : 0);
        f.CloseStore();
    }
}

struct Capture {
    std::string title1, title2;
    std::vector<Record> records;
    std::vector<std::optional<std::int64_t>> times;
    double count = 0;
    bool torn = false;
};

// Reads a capture with the program's own sequence of calls.
Capture readCapture(const std::string& folder, const std::string& name) {
    KelTVLFile f;
    f.StoreFolder = folder;
    f.StoreName = name;
    Capture c;
    f.CountRecords();
    c.count = f.RecordCount();
    f.OpenStore();
    f.ReadTitles();
    c.title1 = f.PortTitle1;
    c.title2 = f.PortTitle2;
    f.ReadRecord(1);
    for (int i = 0; i < int(c.count) - 1; ++i) {
        f.ReadRecord(0);
        c.records.emplace_back(f.PortText1, f.PortText2);
        c.times.push_back(f.PortTime);
    }
    c.torn = f.TornTail();
    f.CloseStore();
    return c;
}

std::vector<Record> sampleRecords(int n) {
    std::vector<Record> r;
    for (int i = 0; i < n; ++i)
        r.emplace_back(
            "rx " + std::to_string(i) + std::string(std::size_t(i % 7), char(0x80 + i % 128)),
            i % 3 == 0 ? std::string() : std::string(std::size_t(i % 50), char(i)));
    return r;
}

// Expects StoreError whose message names `file`.
template <class F>
void expectStoreError(F&& f, const std::string& file, const std::string& what = {}) {
    try {
        f();
        ADD_FAILURE() << "no StoreError for " << file;
    } catch (const StoreError& e) {
        EXPECT_NE(std::string(e.what()).find(file), std::string::npos) << e.what();
        if (!what.empty()) {
            EXPECT_NE(std::string(e.what()).find(what), std::string::npos) << e.what();
        }
    }
}

TEST(KelTVLFile, EveryByteValueRoundTripsInColumnsAndTitles) {
    ScratchFolder dir;
    const std::string all = testing::allBytes();
    std::vector<Record> records = {
        {all, testing::allBytes(128)},
        {std::string(), std::string()},
        {std::string(1, '\0'), std::string(204, '\xFF')},
        {std::string(204, '\r'), all.substr(0, 204)},
    };
    for (int b = 0; b < 256; ++b)
        records.emplace_back(std::string(3, char(b)), std::string(1, char(255 - b)));
    writeCapture(dir.folder(), "bytes.tvl", all, testing::allBytes(77), records);

    const Capture c = readCapture(dir.folder(), "bytes.tvl");
    EXPECT_EQ(c.title1, all);
    EXPECT_EQ(c.title2, testing::allBytes(77));
    EXPECT_EQ(c.count, double(records.size() + 1));
    EXPECT_EQ(c.records, records);
    EXPECT_FALSE(c.torn);
}

TEST(KelTVLFile, ReadSequenceCountsRewindsAndStopsAtTheEnd) {
    ScratchFolder dir;
    writeCapture(dir.folder(), "one.tvl", "A", "B", {{"first", "1"}});
    KelTVLFile f;
    f.StoreFolder = dir.folder();
    f.StoreName = "one.tvl";
    f.CountRecords();
    EXPECT_EQ(f.RecordCount(), 2.0);  // only the first record

    const auto records = sampleRecords(25);
    writeCapture(dir.folder(), "many.tvl", "T1", "T2", records);
    f.StoreName = "many.tvl";
    f.CountRecords();
    EXPECT_EQ(f.RecordCount(), 26.0);
    f.OpenStore();
    f.ReadTitles();
    EXPECT_EQ(f.PortTitle1, "T1");
    EXPECT_EQ(f.PortTitle2, "T2");
    f.ReadRecord(1);
    f.ReadRecord(0);
    EXPECT_EQ(f.PortText1, records[0].first);  // the first ReadRecord(0) gives the first record
    f.ReadRecord(0);
    EXPECT_EQ(f.PortText1, records[1].first);
    f.ReadRecord(1);  // rewinds
    for (const auto& r : records) {
        f.ReadRecord(0);
        EXPECT_EQ(f.PortText1, r.first);
        EXPECT_EQ(f.PortText2, r.second);
    }
    expectStoreError([&] { f.ReadRecord(0); }, dir.file("many.tvl"), "no record 26");
    f.CloseStore();

    // The file changes between reads: the next read sees the new record.
    f.PortText1 = "late";
    f.PortText2 = "arrival";
    f.OpenStore();
    f.AppendRecord(0);
    f.CloseStore();
    f.CountRecords();
    EXPECT_EQ(f.RecordCount(), 27.0);
    f.OpenStore();
    f.ReadRecord(1);
    for (int i = 0; i < 26; ++i) f.ReadRecord(0);
    EXPECT_EQ(f.PortText1, "late");
    EXPECT_EQ(f.PortText2, "arrival");
    f.CloseStore();
}

TEST(KelTVLFile, NameWithoutExtensionGetsTvlAndCreateReplacesTheFile) {
    ScratchFolder dir;
    writeCapture(dir.folder(), "cap", "old1", "old2", sampleRecords(5));
    EXPECT_TRUE(std::filesystem::exists(dir.file("cap.tvl")));
    EXPECT_FALSE(std::filesystem::exists(dir.file("cap")));

    // "cap" and "cap.tvl" are one file: append through one name, read through the other.
    KelTVLFile f;
    f.StoreFolder = dir.folder();
    f.StoreName = "cap.tvl";
    f.PortText1 = "x";
    f.PortText2 = "y";
    f.OpenStore();
    f.AppendRecord(0);
    f.CloseStore();
    Capture c = readCapture(dir.folder(), "cap");
    ASSERT_EQ(c.records.size(), 6u);
    EXPECT_EQ(c.records.back(), Record("x", "y"));
    EXPECT_EQ(f.FilePath(), dir.file("cap.tvl"));

    // AppendRecord(1) starts over: old titles and records are gone.
    writeCapture(dir.folder(), "cap", "new1", "new2", {{"only", "one"}});
    c = readCapture(dir.folder(), "cap.tvl");
    EXPECT_EQ(c.title1, "new1");
    EXPECT_EQ(c.count, 2.0);
    EXPECT_EQ(c.records, std::vector<Record>({{"only", "one"}}));
    EXPECT_FALSE(std::filesystem::exists(dir.file("cap.tvl.part")));
}

TEST(KelTVLFile, TornLastRecordIsDetectedAndCutOffByTheNextAppend) {
    ScratchFolder dir;
    const auto records = sampleRecords(6);
    writeCapture(dir.folder(), "torn.tvl", "t1", "t2", records);
    const std::string whole = testing::readFile(dir.file("torn.tvl"));
    const std::string shorter = [&] {
        writeCapture(dir.folder(), "five.tvl", "t1", "t2", {records.begin(), records.end() - 1});
        return testing::readFile(dir.file("five.tvl"));
    }();
    ASSERT_EQ(whole.compare(0, shorter.size(), shorter), 0);
    const std::vector<Record> intact(records.begin(), records.end() - 1);

    // Cut anywhere inside the last record, or zero-fill it (the file grew but
    // the data never reached the disk).
    std::vector<std::string> damaged;
    for (std::size_t cut = shorter.size() + 1; cut < whole.size(); ++cut)
        damaged.push_back(whole.substr(0, cut));
    damaged.push_back(shorter + std::string(whole.size() - shorter.size(), '\0'));
    damaged.push_back(shorter + std::string(3, '\0'));
    for (const std::string& image : damaged) {
        SCOPED_TRACE(image.size());
        testing::writeFile(dir.file("torn.tvl"), image);
        Capture c = readCapture(dir.folder(), "torn.tvl");
        EXPECT_TRUE(c.torn);
        EXPECT_EQ(c.count, double(intact.size() + 1));
        EXPECT_EQ(c.records, intact);

        KelTVLFile f;
        f.StoreFolder = dir.folder();
        f.StoreName = "torn.tvl";
        f.PortText1 = "after";
        f.PortText2 = "cut";
        f.OpenStore();
        f.AppendRecord(0);
        f.CloseStore();
        c = readCapture(dir.folder(), "torn.tvl");
        EXPECT_FALSE(c.torn);
        ASSERT_EQ(c.records.size(), intact.size() + 1);
        EXPECT_EQ(c.records.back(), Record("after", "cut"));
        EXPECT_EQ(std::vector<Record>(c.records.begin(), c.records.end() - 1), intact);
    }
}

TEST(KelTVLFile, MalformedFilesGiveStoreErrorNamingTheFile) {
    ScratchFolder dir;
    writeCapture(dir.folder(), "good.tvl", "title one", "title two", sampleRecords(4));
    const std::string good = testing::readFile(dir.file("good.tvl"));
    const std::string path = dir.file("bad.tvl");

    // Appending checks the file header and the last record only (its cost must
    // not grow with the file), so damage further in is found by the reader.
    const auto expectBad = [&](const std::string& image, const std::string& what,
                               bool tailDamaged = true) {
        SCOPED_TRACE(what + " / " + std::to_string(image.size()));
        testing::writeFile(path, image);
        KelTVLFile f;
        f.StoreFolder = dir.folder();
        f.StoreName = "bad";
        expectStoreError([&] { f.CountRecords(); }, path, what);
        expectStoreError(
            [&] {
                f.OpenStore();
                f.ReadTitles();
            },
            path, what);
        f.CloseStore();
        if (!tailDamaged) return;
        // Appending refuses too, and leaves the file as it was.
        f.PortText1 = "a";
        f.OpenStore();
        expectStoreError([&] { f.AppendRecord(0); }, path);
        f.CloseStore();
        EXPECT_EQ(testing::readFile(path), image);
    };

    std::string wrong = good;
    wrong[1] = 'X';
    expectBad(wrong, "not a Tarvoline capture");
    expectBad("plain text, not a capture at all\n", "not a Tarvoline capture");
    expectBad(std::string(), "not a Tarvoline capture");
    std::string future = good;
    future[8] = 3;
    expectBad(future, "version 3");
    // The header and titles cut short anywhere.
    const std::size_t titlesEnd = 12 + 28 + 9 + 9;
    for (std::size_t cut = 8; cut < titlesEnd; ++cut) expectBad(good.substr(0, cut), "cut short");

    // A text byte changed in the middle record and in the last one.
    std::string flipped = good;
    flipped[titlesEnd + 20 + 1] ^= 0x01;
    expectBad(flipped, "record 1 is damaged", false);
    flipped = good;
    flipped[good.size() - 9] ^= 0x40;
    expectBad(flipped, "record 4 is damaged");
    // A length changed (its own check fails).
    std::string length = good;
    length[titlesEnd] ^= 0x10;
    expectBad(length, "record 1 is damaged", false);

    // Lengths that pass their check but are absurd: nothing huge is allocated.
    std::string absurd = good.substr(0, titlesEnd);
    const unsigned char head[16] = {0xFF, 0xFF, 0xFF, 0x7F, 0x10};
    absurd.append(reinterpret_cast<const char*>(head), 16);
    const std::uint32_t crc = Crc32(std::string_view(absurd).substr(titlesEnd, 16));
    for (int i = 0; i < 4; ++i) absurd.push_back(char(crc >> (8 * i)));
    absurd += std::string(64, 'z');
    expectBad(absurd, "impossible length");
}

TEST(KelTVLFile, MissingFolderOrFullDiskGiveStoreErrorNamingTheFile) {
    ScratchFolder dir;
    const std::string folder = dir.folder() + "no/such/folder/";
    KelTVLFile f;
    f.StoreFolder = folder;
    f.StoreName = "cap";
    f.PortText1 = "a";
    expectStoreError([&] { f.OpenStore(); }, folder + "cap.tvl");
    expectStoreError([&] { f.AppendRecord(1); }, folder + "cap.tvl");
    expectStoreError([&] { f.AppendRecord(0); }, folder + "cap.tvl");
    expectStoreError([&] { f.CountRecords(); }, folder + "cap.tvl");

    // A file there with the folder's name.
    testing::writeFile(dir.file("plainfile"), "x");
    f.StoreFolder = dir.file("plainfile") + "/";
    expectStoreError([&] { f.OpenStore(); }, f.StoreFolder + "cap.tvl");

    // Appending with no file yet.
    f.StoreFolder = dir.folder();
    f.OpenStore();
    expectStoreError([&] { f.AppendRecord(0); }, dir.file("cap.tvl"));
    f.CloseStore();

    // The disk fills up: the record is refused, the file keeps its records and
    // takes appends again once there is room.
    const auto records = sampleRecords(3);
    writeCapture(dir.folder(), "full", "t", "t", records);
    const auto size = std::filesystem::file_size(dir.file("full.tvl"));
    {
        testing::FileSizeLimit limit(size + 30);
        KelTVLFile g;
        g.StoreFolder = dir.folder();
        g.StoreName = "full";
        g.PortText1 = std::string(200, 'q');
        g.OpenStore();
        expectStoreError([&] { g.AppendRecord(0); }, dir.file("full.tvl"));
        g.CloseStore();
        g.PortTitle1 = "new";
        g.PortText1 = std::string(10000, 'q');
        expectStoreError([&] { g.AppendRecord(1); }, dir.file("full.tvl"));
    }
    EXPECT_EQ(std::filesystem::file_size(dir.file("full.tvl")), size);
    EXPECT_FALSE(std::filesystem::exists(dir.file("full.tvl.part")));
    writeCapture(dir.folder(), "full", "t", "t", records);
    Capture c = readCapture(dir.folder(), "full");
    EXPECT_EQ(c.records, records);
    EXPECT_FALSE(c.torn);

    // Columns longer than a record can hold are refused before anything is written.
    KelTVLFile h;
    h.StoreFolder = dir.folder();
    h.StoreName = "full";
    h.PortText2 = std::string(KelTVLFile::kMaxColumn + 1, 'x');
    h.OpenStore();
    expectStoreError([&] { h.AppendRecord(0); }, dir.file("full.tvl"), "too long");
    h.CloseStore();
    EXPECT_EQ(std::filesystem::file_size(dir.file("full.tvl")), size);
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
    const Capture before = readCapture(dir.folder(), "old");
    ASSERT_EQ(before.records.size(), 4u);
    EXPECT_EQ(before.records[1], Record("alpha", "beta"));
    EXPECT_EQ(before.times, std::vector<std::optional<std::int64_t>>(4));

    // Its first append rewrites it in the present version; the old records keep
    // no time, and the new one has the time it was written.
    KelTVLFile f;
    f.StoreFolder = dir.folder();
    f.StoreName = "old";
    f.PortText1 = "new";
    const std::int64_t start = now();
    f.OpenStore();
    f.AppendRecord(0);
    f.CloseStore();
    const std::int64_t end = now();
    // Times given while a capture is saved back are written as they stand.
    const std::vector<std::optional<std::int64_t>> given = {
        -1, std::nullopt, std::numeric_limits<std::int64_t>::max()};
    f.KeepPortTime = true;
    for (const auto& time : given) {
        f.PortTime = time;
        f.OpenStore();
        f.AppendRecord(0);
        f.CloseStore();
    }
    const Capture after = readCapture(dir.folder(), "old");
    EXPECT_EQ(testing::readFile(dir.file("old.tvl"))[8], '\x02');
    ASSERT_EQ(after.records.size(), 8u);
    EXPECT_EQ(std::vector<Record>(after.records.begin(), after.records.begin() + 4),
              before.records);
    EXPECT_EQ(after.records[4], Record("new", ""));
    ASSERT_TRUE(after.times[4]);
    EXPECT_GE(*after.times[4], start);
    EXPECT_LE(*after.times[4], end);
    EXPECT_EQ(std::vector<std::optional<std::int64_t>>(after.times.begin() + 5, after.times.end()),
              given);
}

TEST(KelTVLFile, RecordTimesReadAsUtcWithMicroseconds) {
    const std::pair<std::int64_t, const char*> table[] = {
        {0, "1970-01-01T00:00:00.000000Z"},
        {-1, "1969-12-31T23:59:59.999999Z"},
        {951782400000001, "2000-02-29T00:00:00.000001Z"},
        {1732425630123456, "2024-11-24T05:20:30.123456Z"},
    };
    for (const auto& [time, text] : table) EXPECT_EQ(FormatRecordTime(time), text);
}

TEST(KelTVLFile, Crc32MatchesTheStandardCheckValue) {
    EXPECT_EQ(Crc32("123456789"), 0xCBF43926u);
    EXPECT_EQ(Crc32(""), 0u);
    // Split input continues the same sum, whatever the split (the 8-byte path and the byte path).
    const std::string text = testing::allBytes() + testing::allBytes(3);
    for (std::size_t cut : {0u, 1u, 7u, 8u, 9u, 300u})
        EXPECT_EQ(
            Crc32(std::string_view(text).substr(cut), Crc32(std::string_view(text).substr(0, cut))),
            Crc32(text));
}

}  // namespace
}  // namespace tvl
