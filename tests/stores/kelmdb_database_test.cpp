// The database beyond the store contract: its catalog and columns as mdbtools
// and mdb-reader see them, a file changed between records, and a long
// capture. (The records of a run: tests/capture.)
#include "components/stores/kelmdb_database.h"

#include "components/stores/file_io.h"
#include "components/stores/jet4_catalog.h"
#include "components/stores/jet4_format.h"

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/stores/store_readers.h"

namespace tvl::testing {
namespace {

using Names = std::vector<std::string>;

struct Database {
    Database(const std::string& folder, const std::string& title1, const std::string& title2) {
        place(db, folder + "capture.mdb", {title1, title2});
        db.CreateStore();
        db.CloseStore();
    }
    void append(const Record& r) {
        db.OpenStore();
        db.PortText1 = r.first;
        db.PortText2 = r.second;
        db.AppendRecord();
        db.CloseStore();
    }
    std::string run(const std::string& tool, const std::string& table = "") {
        bool ok = false;
        const std::string out =
            runCommand(tool + " '" + db.path() + "' " + table + " 2>/dev/null", ok);
        EXPECT_TRUE(ok) << tool;
        return out;
    }
    KelMDBDatabase db;
};

// Titles become legal, distinct field names; the catalog is what Access keeps.
TEST(KelMDBDatabase, CatalogAndColumnsReadAsTheEnginesOwn) {
    ScratchFolder dir;
    Database d(dir.folder(), "Port1 (DTE1): ", "Port2 (DTE2/DCE): ");
    d.append({"a", "b"});
    EXPECT_EQ(d.run("mdb-ver"), "JET4\n");
    EXPECT_EQ(words(d.run("mdb-tables")), Names{"Capture"});
    EXPECT_EQ(words(d.run("mdb-tables -S")),
              (Names{"MSysObjects", "MSysACEs", "MSysQueries", "MSysRelationships", "Capture"}));
    const std::string schema = d.run("mdb-schema");
    EXPECT_NE(schema.find("[Port1 (DTE1)]\t\t\tText (255)"), std::string::npos) << schema;
    EXPECT_NE(schema.find("[Port2 (DTE2/DCE)]\t\t\tText (255)"), std::string::npos) << schema;
    const std::string objects = d.run("mdb-export", "MSysObjects");
    for (const char* name :
         {"\"Tables\"", "\"Databases\"", "\"Relationships\"", "\"MSysDb\"", "\"Capture\""})
        EXPECT_NE(objects.find(name), std::string::npos) << name;

    ScratchFolder other;
    Database odd(other.folder(), "", "Rx. [data]!");
    std::string error;
    const MdbView v = readMdbWithMdbReader(odd.db.path(), error);
    EXPECT_EQ(error, "");
    EXPECT_EQ(v.tables, Names{"Capture"});
    EXPECT_EQ(v.columns, (Names{"Port1:text:510", "Rx data:text:510"}));

    // Two titles, and the field names they give.
    for (const auto& [title1, title2, name1, name2] : std::vector<std::array<std::string, 4>>{
             {"  a.b!c`d[e]f:g\t\x01 ", "R\xe9seau \xb5", "abcdefg", "R\xe9seau \xb5"},
             {" :.: ", "", "Port1", "Port2"},
             {"Line: ", "LINE", "Line", "LINE (2)"},
             {std::string(63, 'q') + " y", "", std::string(63, 'q'),
              "Port2"},  // cut at 64, trimmed
             {std::string(70, 'q'), std::string(70, 'Q'), std::string(64, 'q'),
              std::string(60, 'Q') + " (2)"}})
        EXPECT_EQ(KelMDBDatabase::FieldNames(title1, title2), std::make_pair(name1, name2))
            << name1;
}

// The store keeps the file open from one record to the next; a file another
// store grew meanwhile (by a page of rows) or made anew (even at the same
// size) is read afresh before the next row goes in.
TEST(KelMDBDatabase, AFileChangedBetweenRecordsIsReadAfreshBeforeTheNextRow) {
    ScratchFolder dir;
    Database one(dir.folder(), "A", "B"), other(dir.folder(), "A", "B");
    std::string error;
    const auto rows = [&] {
        const MdbView v = readMdbWithMdbReader(one.db.path(), error);
        EXPECT_EQ(v.rowCount, long(v.rows.size()));
        return v.rows;
    };
    std::vector<Record> written{{"1", "one"}};
    one.append(written.back());
    for (int i = 0; i < 20; ++i) {
        written.emplace_back(std::to_string(i), std::string(200, 'o'));
        other.append(written.back());
    }
    one.append({"3", "one"});
    const auto size = std::filesystem::file_size(one.db.path());
    EXPECT_EQ(rows().size(), written.size() + 1);
    other.db.CreateStore();
    for (const Record& r : written) other.append(r);
    ASSERT_EQ(std::filesystem::file_size(one.db.path()), size);
    written.emplace_back("4", "one");
    one.append(written.back());
    EXPECT_EQ(rows(), written);
    EXPECT_EQ(error, "");
}

// The held file both stores keep open between records: another size is seen
// at once, a file moved away at the next lookup of its path, once its second
// is over. (Grown or replaced: the test above; deleted: tests/capture.)
TEST(HeldFile, IsAsLeftOnlyAtItsSizeAndWhileNamedByItsPath) {
    ScratchFolder dir;
    const std::string path = dir / "run.tvl";
    writeFile(path, "four");
    const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    fileio::HeldFile held;
    ASSERT_EQ(held.hold(fd), 0);
    EXPECT_TRUE(held.asLeft(fd, path, 4));
    EXPECT_FALSE(held.asLeft(fd, path, 5));
    std::filesystem::rename(path, dir / "moved.tvl");
    EXPECT_TRUE(held.asLeft(fd, path, 4));
    held.named -= std::chrono::seconds(2);
    EXPECT_FALSE(held.asLeft(fd, path, 4));
    std::filesystem::rename(dir / "moved.tvl", path);
    EXPECT_TRUE(held.asLeft(fd, path, 4));
    ::close(fd);
}

// One Open/Append/Close per record, the table growing past its inline usage
// map into usage-map pages: every row reads back with both readers.
TEST(KelMDBDatabase, AHundredThousandRecordsReadBackWhole) {
    ScratchFolder dir;
    Database d(dir.folder(), "A", "B");
    std::vector<Record> records;
    for (int i = 0; i < 100000; ++i) {
        std::string a = "#" + std::to_string(i) + " ";
        for (int k = 0; a.size() < std::size_t(20 + i % 185); ++k)
            a += char(0x20 + (i * 7 + k * 13) % 224);
        records.emplace_back(a, i % 3 ? std::string(" ") : std::string(204, char(0x80 + i % 128)));
        d.append(records.back());
    }
    // Past one inline map's reach; the global map marks no page in use as free.
    const std::string file = readFile(d.db.path());
    EXPECT_GT(file.size() / jet4::kPageSize, 600u);
    const auto* global =
        reinterpret_cast<const std::uint8_t*>(&file[jet4::kGlobalMapPage * jet4::kPageSize]);
    const std::uint8_t* map =
        global + jet4::dataPageRowOffset(*reinterpret_cast<const jet4::Page*>(global), 0);
    ASSERT_EQ(map[0], 0);
    for (std::uint32_t p = 0; p < std::min<std::size_t>(jet4::kInlineMapPages, file.size() / 4096);
         ++p)
        EXPECT_FALSE(map[5 + p / 8] & (1u << (p % 8))) << "page " << p << " in use but marked free";
    std::string error;
    const MdbView v = readMdbWithMdbReader(d.db.path(), error);
    EXPECT_EQ(v.rowCount, 100000);
    EXPECT_TRUE(v.rows == records) << "mdb-reader";
    const auto csv = readMdbWithMdbExport(d.db.path(), error);
    ASSERT_EQ(csv.size(), records.size() + 1);
    for (std::size_t i = 0; i < records.size(); ++i)
        if (csv[i + 1] != std::vector<std::string>{records[i].first, records[i].second})
            FAIL() << "mdb-export row " << i;
    EXPECT_EQ(error, "");
}

}  // namespace
}  // namespace tvl::testing
