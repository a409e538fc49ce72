// One suite of capture store behaviour, run against the .tvl file, the .mdb
// database and the .xls workbook, each driven as the capture writer drives it
// and read back by its readers.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "components/stores/kelmdb_database.h"
#include "components/stores/keltvl_file.h"
#include "components/stores/kelxls_workbook.h"
#include "tests/stores/store_readers.h"

namespace tvl::testing {
namespace {

const Record kTitles{"Port1 (DTE1): ", "Port2 (DTE2/DCE): "};

struct Reader {
    const char* name;
    bool keepsNul;  // else a text ends at its first NUL
    std::function<std::vector<Record>(const std::string& path, std::string& error)> read;
};

// A store, with the calls the capture writer makes.
template <class Store>
struct Subject {
    Store store;
    void append(const Record& r) {
        store.PortText1 = r.first;
        store.PortText2 = r.second;
        appendRecord();
    }
    virtual void create() = 0;
    virtual void appendRecord() = 0;
    virtual void close() {}
    virtual ~Subject() = default;
};

// Opened and closed around every record, as KelTVL and KelMDB are. A record
// is in the file once its append returns, not held back for the close: a kill
// then loses nothing appended. (What a kill in the middle of an append leaves:
// every state is read in the .tvl and .xls tests.)
template <class Store, class Append>
void openAppendClose(Store& store, Append append) {
    try {
        store.OpenStore();
        const std::string before = readFile(store.path());
        append();
        EXPECT_NE(readFile(store.path()), before) << "the record is held back";
    } catch (const StoreError&) {
        store.CloseStore();
        throw;
    }
    store.CloseStore();
}

struct Tvl : Subject<KelTVLFile> {
    static constexpr const char* kExtension = ".tvl";
    static constexpr std::size_t kLongest = 65535;
    void create() override {
        store.PortText1 = store.PortText2 = "";
        openAppendClose(store, [&] { store.AppendRecord(1); });
    }
    void appendRecord() override {
        openAppendClose(store, [&] { store.AppendRecord(0); });
    }
    static std::vector<Reader> readers() {
        return {{"tvl", true, [](const std::string& path, std::string&) {
                     const TvlCapture c = readTvl(path);
                     EXPECT_EQ(c.titles, kTitles);
                     return c.records;
                 }}};
    }
};

struct Mdb : Subject<KelMDBDatabase> {
    static constexpr const char* kExtension = ".mdb";
    static constexpr std::size_t kLongest = KelMDBDatabase::kMaxText;
    void create() override {
        store.CreateStore();
        store.CloseStore();
    }
    void appendRecord() override {
        openAppendClose(store, [&] { store.AppendRecord(); });
    }
    static std::vector<Reader> readers() {
        return {{"mdb-export", false,
                 [](const std::string& path, std::string& error) {
                     auto csv = readMdbWithMdbExport(path, error);
                     std::vector<Record> rows;
                     for (std::size_t i = 1; i < csv.size(); ++i)
                         rows.emplace_back(csv[i].at(0), csv[i].size() == 2 ? csv[i][1] : "?");
                     return rows;
                 }},
                {"mdb-reader", true, [](const std::string& path, std::string& error) {
                     return readMdbWithMdbReader(path, error).rows;
                 }}};
    }
};

struct Xls : Subject<KelXLSWorkbook> {
    static constexpr const char* kExtension = ".xls";
    static constexpr std::size_t kLongest = KelXLSWorkbook::kMaxCellText;
    void create() override { store.CreateStore(); }
    void appendRecord() override { store.AppendRecord(); }
    void close() override { store.CloseStore(); }
    static std::vector<Reader> readers() {
        return {{"FreeXL", false,
                 [](const std::string& path, std::string& error) {
                     return xlsRecords(readXlsWithFreeXL(path, error), kTitles, error);
                 }},
                {"xlrd", true,
                 [](const std::string& path, std::string& error) {
                     return xlsRecords(readXlsWithXlrd(path, error), kTitles, error);
                 }},
                {"ssconvert", false, [](const std::string& path, std::string& error) {
                     return xlsRecords(readXlsWithXlrd(path, error, true), kTitles, error);
                 }}};
    }
};

template <class S>
class StoreContract : public ::testing::Test {
protected:
    StoreContract() { place(subject.store, dir / "capture" + S::kExtension, kTitles); }

    // Every reader finds `records`, each text as long as the store keeps it.
    void expectReadBack(const std::vector<Record>& records) {
        for (const Reader& reader : S::readers()) {
            SCOPED_TRACE(reader.name);
            std::vector<Record> expected = records;
            for (Record& r : expected)
                for (std::string* t : {&r.first, &r.second}) {
                    *t = t->substr(0, S::kLongest);
                    if (!reader.keepsNul) *t = t->substr(0, t->find('\0'));
                }
            std::string error;
            const std::vector<Record> found = reader.read(subject.store.path(), error);
            EXPECT_EQ(error, "");
            ASSERT_EQ(found.size(), expected.size());
            for (std::size_t i = 0; i < found.size(); ++i) EXPECT_EQ(found[i], expected[i]) << i;
        }
    }

    ScratchFolder dir;
    S subject;
};

using Stores = ::testing::Types<Tvl, Mdb, Xls>;
TYPED_TEST_SUITE(StoreContract, Stores);

TYPED_TEST(StoreContract, EveryByteValueAndLengthReadsBackFromAFileCreatedOverAnother) {
    std::vector<Record> records;
    const std::string all = allBytes();
    for (std::size_t i = 0; i < 256; i += 51)
        records.emplace_back(all.substr(i, 51), all.substr(255 - i));
    records.insert(records.end(),
                   {{"", "x"}, {" ", ""}, {"\"quoted\", and\r\nlines\n", "tab\there"}});
    records.emplace_back(std::string(300, '\xE9'), std::string(204, 'Z'));  // past a cell's room
    writeFile(this->subject.store.path(), std::string(100000, 'x'));  // create replaces it
    this->subject.create();
    for (const Record& r : records) this->subject.append(r);
    this->subject.close();
    this->expectReadBack(records);
}

TYPED_TEST(StoreContract, FailuresNameTheFileAndLoseNothing) {
    auto& s = this->subject;
    const std::string name = s.store.StoreName, folder = this->dir.folder();
    for (const std::string& nowhere : {folder + "missing/", folder + "afile/"}) {
        writeFile(folder + "afile", "a file, not a folder");
        place(s.store, nowhere + name, kTitles);
        expectStoreError([&] { s.create(); }, nowhere + name);
    }
    place(s.store, folder + name, kTitles);
    expectStoreError([&] { s.append({"no", "file"}); }, s.store.path());  // nothing created yet

    // Rows up to a full disk: the one refused is missing, the others read back,
    // and once there is room the capture goes on.
    s.create();
    std::vector<Record> records;
    for (int i = 0; i < 20; ++i)
        records.emplace_back(std::string(200, char('a' + i)), "#" + std::to_string(i));
    for (const Record& r : records) s.append(r);
    bool refused = false;
    {
        FileSizeLimit limit(std::filesystem::file_size(s.store.path()) + 512);
        for (int i = 0; i < 400 && !refused; ++i) {
            try {
                s.append({std::string(200, 'f'), std::to_string(i)});
                records.emplace_back(std::string(200, 'f'), std::to_string(i));
            } catch (const StoreError& e) {
                refused = true;
                EXPECT_NE(std::string(e.what()).find(s.store.path()), std::string::npos)
                    << e.what();
            }
        }
    }
    // A new capture on a full disk leaves the old one whole, and goes on with it.
    const std::string before = readFile(s.store.path());
    {
        FileSizeLimit full(0);
        expectStoreError([&] { s.create(); }, s.store.path());
    }
    EXPECT_EQ(readFile(s.store.path()), before);
    const auto entries = std::filesystem::directory_iterator(folder);
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 2) << "a half-made file is left";
    EXPECT_TRUE(refused);
    s.append({"after", "room"});
    records.emplace_back("after", "room");
    s.close();
    this->expectReadBack(records);
}

}  // namespace
}  // namespace tvl::testing
