// Databases written by KelMDBDatabase, read back by two independent readers:
// mdbtools (mdb-tables, mdb-schema, mdb-export) and the JavaScript mdb-reader
// package (tests/mdb/node, installed by `npm ci --prefix tests/mdb/node`).
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/kelmdb_database.h"
#include "components/stores/stores.h"
#include "platform/quiet_platform.h"
#include "setup/setup.h"
#include "tests/support/program_on_lines.h"

namespace fs = std::filesystem;
using tvl::KelMDBDatabase;
using Rows = std::vector<std::pair<std::string, std::string>>;

namespace {

struct Output {
    int status = -1;
    std::string text;
};

Output run(const std::string& command) {
    Output out;
    FILE* p = popen((command + " 2>/dev/null").c_str(), "r");
    if (!p) return out;
    char buf[65536];
    std::size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.text.append(buf, n);
    out.status = pclose(p);
    return out;
}

std::string quoted(const std::string& s) { return "'" + s + "'"; }

// Fails the calling test (does not skip it) when a reader is missing.
::testing::AssertionResult mdbtoolsInstalled() {
    if (run("mdb-export --version").status == 0) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "mdbtools is not installed (apt-get install mdbtools)";
}

std::string readerScript() { return std::string(TVL_SOURCE_DIR) + "/tests/mdb/mdb_reader_dump.js"; }

::testing::AssertionResult mdbReaderInstalled() {
    const std::string module =
        std::string(TVL_SOURCE_DIR) + "/tests/mdb/node/node_modules/mdb-reader/package.json";
    if (run("node --version").status != 0)
        return ::testing::AssertionFailure() << "node is not installed";
    if (!fs::exists(module))
        return ::testing::AssertionFailure()
               << "mdb-reader is not installed: run  npm ci --prefix tests/mdb/node";
    return ::testing::AssertionSuccess();
}

// UTF-8 (as mdbtools prints) to one byte per character.
std::string latin1(const std::string& utf8) {
    std::string out;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if ((c & 0xE0) == 0xC0 && i + 1 < utf8.size()) {
            const unsigned cp =
                ((c & 0x1Fu) << 6) | (static_cast<unsigned char>(utf8[++i]) & 0x3Fu);
            out += cp < 0x100 ? static_cast<char>(cp) : '?';
        } else {
            out += '?';
        }
    }
    return out;
}

// mdb-export's CSV: quoted texts with doubled quotes; any byte may sit inside.
std::vector<std::vector<std::string>> parseCsv(const std::string& s) {
    std::vector<std::vector<std::string>> rows(1);
    std::string field;
    bool in_quotes = false, any = false;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const char c = s[i];
        if (in_quotes) {
            if (c == '"' && i + 1 < s.size() && s[i + 1] == '"')
                field += '"', ++i;
            else if (c == '"')
                in_quotes = false;
            else
                field += c;
        } else if (c == '"') {
            in_quotes = any = true;
        } else if (c == ',') {
            rows.back().push_back(latin1(field));
            field.clear();
        } else if (c == '\n') {
            rows.back().push_back(latin1(field));
            field.clear();
            rows.emplace_back();
        } else {
            field += c;
        }
    }
    if (!field.empty() || !rows.back().empty()) rows.back().push_back(latin1(field));
    if (rows.back().empty()) rows.pop_back();
    (void)any;
    return rows;
}

std::string fromHex(const std::string& h) {
    if (h == "-") return "";
    if (h == "null") return "<null>";
    std::string out;
    for (std::size_t i = 0; i + 1 < h.size(); i += 2)
        out += static_cast<char>(std::stoi(h.substr(i, 2), nullptr, 16));
    return out;
}

std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> w;
    for (std::string x; in >> x;) w.push_back(x);
    return w;
}

struct ReaderView {
    std::vector<std::string> tables, system, columns, column_types;
    long row_count = -1;
    Rows rows;
};

ReaderView readWithMdbReader(const std::string& file) {
    ReaderView v;
    const Output o = run("node " + quoted(readerScript()) + " " + quoted(file) + " Capture");
    EXPECT_EQ(o.status, 0) << "mdb-reader could not read " << file;
    std::istringstream in(o.text);
    std::string line;
    while (std::getline(in, line)) {
        auto w = words(line);
        if (w.empty()) continue;
        const std::string tag = w[0];
        w.erase(w.begin());
        if (tag == "tables")
            for (auto& x : w) v.tables.push_back(fromHex(x));
        else if (tag == "system")
            for (auto& x : w) v.system.push_back(fromHex(x));
        else if (tag == "columns")
            for (auto& x : w) {
                const auto colon = x.find(':');
                v.columns.push_back(fromHex(x.substr(0, colon)));
                v.column_types.push_back(x.substr(colon + 1));
            }
        else if (tag == "rowcount")
            v.row_count = std::stol(w.at(0));
        else if (tag == "rows")
            continue;
        else
            v.rows.emplace_back(fromHex(tag), w.empty() ? "<missing>" : fromHex(w[0]));
    }
    return v;
}

Rows readWithMdbExport(const std::string& file, std::vector<std::string>* header) {
    const Output o = run("mdb-export " + quoted(file) + " Capture");
    EXPECT_EQ(o.status, 0) << "mdb-export could not read " << file;
    auto csv = parseCsv(o.text);
    Rows rows;
    if (csv.empty()) return rows;
    if (header) *header = csv[0];
    for (std::size_t i = 1; i < csv.size(); ++i) {
        EXPECT_EQ(csv[i].size(), 2u) << "row " << i;
        rows.emplace_back(csv[i].at(0), csv[i].size() > 1 ? csv[i][1] : "");
    }
    return rows;
}

class KelMDBFiles : public ::testing::Test {
protected:
    void SetUp() override {
        folder_ = fs::temp_directory_path() /
                  ("kelmdb_" + std::to_string(getpid()) + "_" +
                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(folder_);
        fs::create_directories(folder_);
        store_.StoreFolder = folder_.string() + "/";
        store_.StoreName = "capture.mdb";
        store_.PortTitle1 = "Port1 (DTE1): ";
        store_.PortTitle2 = "Port2 (DTE2/DCE): ";
    }
    void TearDown() override { fs::remove_all(folder_); }

    void create() {
        store_.CreateStore();
        store_.CloseStore();
    }
    void append(const std::string& a, const std::string& b) {
        store_.OpenStore();
        store_.PortText1 = a;
        store_.PortText2 = b;
        store_.AppendRecord();
        store_.CloseStore();
    }
    std::string file() const { return store_.path(); }

    fs::path folder_;
    KelMDBDatabase store_;
};

// Records with every byte value, blanks, empty texts and the longest texts.
Rows sampleRecords(bool with_nul) {
    Rows r;
    std::string all;
    for (int c = with_nul ? 0 : 1; c < 256; ++c) all += static_cast<char>(c);
    for (std::size_t i = 0; i < all.size(); i += 51)
        r.emplace_back(all.substr(i, 51), all.substr(all.size() - i - 1, 204));
    r.emplace_back(" ", " ");
    r.emplace_back("", "x");
    r.emplace_back("ab", "\xff\xfe");
    r.emplace_back("\"quoted\", and\r\nlines\n", "tab\there");
    r.emplace_back(std::string(255, '\xe9'), std::string(204, 'Z'));
    return r;
}

}  // namespace

TEST_F(KelMDBFiles, MdbtoolsReadsTableColumnsAndEveryRow) {
    ASSERT_TRUE(mdbtoolsInstalled());
    create();
    const Rows records = sampleRecords(false);  // mdbtools ends its texts at U+0000
    for (const auto& [a, b] : records) append(a, b);
    append(std::string(300, 'L'), "over-long texts keep their first 255 characters");

    EXPECT_EQ(run("mdb-ver " + quoted(file())).text, "JET4\n");
    EXPECT_EQ(words(run("mdb-tables " + quoted(file())).text), std::vector<std::string>{"Capture"});
    EXPECT_EQ(words(run("mdb-tables -S " + quoted(file())).text),
              (std::vector<std::string>{"MSysObjects", "MSysACEs", "MSysQueries",
                                        "MSysRelationships", "Capture"}));
    const std::string schema = run("mdb-schema " + quoted(file())).text;
    EXPECT_NE(schema.find("CREATE TABLE [Capture]"), std::string::npos) << schema;
    EXPECT_NE(schema.find("[Port1 (DTE1)]\t\t\tText (255)"), std::string::npos) << schema;
    EXPECT_NE(schema.find("[Port2 (DTE2/DCE)]\t\t\tText (255)"), std::string::npos) << schema;

    std::vector<std::string> header;
    const Rows rows = readWithMdbExport(file(), &header);
    EXPECT_EQ(header, (std::vector<std::string>{"Port1 (DTE1)", "Port2 (DTE2/DCE)"}));
    Rows expected = records;
    expected.emplace_back(std::string(255, 'L'), "over-long texts keep their first 255 characters");
    ASSERT_EQ(rows.size(), expected.size());
    for (std::size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(rows[i], expected[i]) << "row " << i;

    // The catalog itself reads as the engine's.
    const std::string catalog = run("mdb-export " + quoted(file()) + " MSysObjects").text;
    for (const char* name :
         {"\"Tables\"", "\"Databases\"", "\"Relationships\"", "\"MSysDb\"", "\"Capture\""})
        EXPECT_NE(catalog.find(name), std::string::npos) << name;
}

TEST_F(KelMDBFiles, MdbReaderReadsTableColumnsAndEveryRow) {
    ASSERT_TRUE(mdbReaderInstalled());
    store_.PortTitle1 = "";
    store_.PortTitle2 = "Rx. [data]!";
    create();
    const Rows records = sampleRecords(true);
    for (const auto& [a, b] : records) append(a, b);

    const ReaderView v = readWithMdbReader(file());
    EXPECT_EQ(v.tables, std::vector<std::string>{"Capture"});
    EXPECT_EQ(v.system, (std::vector<std::string>{"MSysObjects", "MSysACEs", "MSysQueries",
                                                  "MSysRelationships"}));
    EXPECT_EQ(v.columns, (std::vector<std::string>{"Port1", "Rx data"}));
    EXPECT_EQ(v.column_types, (std::vector<std::string>{"text:510", "text:510"}));
    EXPECT_EQ(v.row_count, static_cast<long>(records.size()));
    ASSERT_EQ(v.rows.size(), records.size());
    for (std::size_t i = 0; i < records.size(); ++i)
        EXPECT_EQ(v.rows[i], records[i]) << "row " << i;
}

// A long capture: one Open/Append/Close per record, the table growing past
// its inline usage map into usage-map pages; every row reads back with both.
TEST_F(KelMDBFiles, HundredThousandRecordsReadBackWhole) {
    ASSERT_TRUE(mdbtoolsInstalled());
    ASSERT_TRUE(mdbReaderInstalled());
    create();
    constexpr int kRecords = 100000;
    auto record = [](int i) {
        std::string a = "#" + std::to_string(i) + " ";
        for (int k = 0; a.size() < static_cast<std::size_t>(20 + i % 185); ++k)
            a += static_cast<char>(0x20 + (i * 7 + k * 13) % 224);
        return std::make_pair(
            a, i % 3 ? std::string(" ") : std::string(204, static_cast<char>(0x80 + i % 128)));
    };
    for (int i = 0; i < kRecords; ++i) {
        const auto [a, b] = record(i);
        append(a, b);
    }
    EXPECT_GT(fs::file_size(file()) / 4096, 600u);  // well past one inline map's reach

    const ReaderView v = readWithMdbReader(file());
    EXPECT_EQ(v.row_count, kRecords);
    ASSERT_EQ(v.rows.size(), static_cast<std::size_t>(kRecords));
    int wrong = 0;
    for (int i = 0; i < kRecords; ++i)
        if (v.rows[i] != record(i) && ++wrong < 5) ADD_FAILURE() << "mdb-reader row " << i;
    EXPECT_EQ(wrong, 0);

    const Rows rows = readWithMdbExport(file(), nullptr);
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(kRecords));
    wrong = 0;
    for (int i = 0; i < kRecords; ++i)
        if (rows[i] != record(i) && ++wrong < 5) ADD_FAILURE() << "mdb-export row " << i;
    EXPECT_EQ(wrong, 0);
}

TEST_F(KelMDBFiles, BadPlacesAndBadFilesThrowNamingTheFile) {
    auto expectError = [&](auto&& call, const char* what) {
        try {
            call();
            ADD_FAILURE() << what << ": no StoreError";
        } catch (const tvl::StoreError& e) {
            EXPECT_NE(std::string(e.what()).find(file()), std::string::npos)
                << what << ": " << e.what();
        }
    };
    // Nothing to open yet, nothing open to append to.
    expectError([&] { store_.OpenStore(); }, "open of a missing file");
    expectError([&] { store_.AppendRecord(); }, "append before open");

    // A text file where the database should be: refused by OpenStore, replaced by CreateStore.
    std::ofstream(file()) << "not a database, just text\n";
    expectError([&] { store_.OpenStore(); }, "open of a text file");
    create();
    append("after", "replace");
    if (mdbReaderInstalled()) {
        EXPECT_EQ(readWithMdbReader(file()).rows, (Rows{{"after", "replace"}}));
    }

    // A folder that does not exist, and a "folder" that is a file.
    const std::string good_folder = store_.StoreFolder;
    store_.StoreFolder = folder_.string() + "/missing/";
    expectError([&] { store_.CreateStore(); }, "create in a missing folder");
    store_.StoreFolder = folder_.string() + "/capture.mdb/";
    expectError([&] { store_.CreateStore(); }, "create below a file");
    store_.StoreFolder = good_folder;
    EXPECT_FALSE(fs::exists(folder_ / "missing"));
}

// A full disk, as a limit on file size: creation fails whole and leaves the
// old file; an append that needs a new page fails and leaves the file readable.
TEST_F(KelMDBFiles, FullDiskThrowsAndLeavesTheFileWhole) {
    ASSERT_TRUE(mdbReaderInstalled());
    create();
    append("kept", "row");
    const auto size_before = fs::file_size(file());

    struct Limit {
        rlimit old{};
        void (*old_handler)(int);
        explicit Limit(rlim_t bytes) {
            getrlimit(RLIMIT_FSIZE, &old);
            old_handler = std::signal(SIGXFSZ, SIG_IGN);
            rlimit lim = old;
            lim.rlim_cur = bytes;
            setrlimit(RLIMIT_FSIZE, &lim);
        }
        ~Limit() {
            setrlimit(RLIMIT_FSIZE, &old);
            std::signal(SIGXFSZ, old_handler);
        }
    };

    {
        Limit limit(16 * 1024);
        EXPECT_THROW(store_.CreateStore(), tvl::StoreError);
    }
    EXPECT_EQ(fs::file_size(file()), size_before);
    EXPECT_FALSE(fs::exists(file() + ".new"));

    int appended = 0;
    bool failed = false;
    {
        Limit limit(size_before);
        for (int i = 0; i < 100 && !failed; ++i) {
            try {
                append(std::string(200, 'a'), std::string(200, 'b'));
                ++appended;
            } catch (const tvl::StoreError& e) {
                failed = true;
                EXPECT_NE(std::string(e.what()).find(file()), std::string::npos) << e.what();
                store_.CloseStore();
            }
        }
    }
    EXPECT_TRUE(failed);
    EXPECT_GT(appended, 0);  // the last page's room was used first
    EXPECT_EQ(fs::file_size(file()), size_before);
    append("after", "the disk had room again");

    const ReaderView v = readWithMdbReader(file());
    ASSERT_EQ(v.rows.size(), static_cast<std::size_t>(appended + 2));
    EXPECT_EQ(v.rows.front(), (std::pair<std::string, std::string>{"kept", "row"}));
    EXPECT_EQ(v.rows.back(),
              (std::pair<std::string, std::string>{"after", "the disk had room again"}));
    EXPECT_EQ(v.row_count, appended + 2);
}

namespace tvl {
namespace {

// A run made through Setup with "Save MDB" and "Monitor Both": the pane that
// fills first writes its text with a blank in the other column (the database
// gives a never-given column one blank), and Stop writes both panes.
TEST_F(KelMDBFiles, ARunThroughSetupWritesThePaneRecordsWithTheirBlanks) {
    ASSERT_TRUE(mdbtoolsInstalled());
    testing::ProgramOnLines<QuietPlatform> run;
    ProgramParts parts;
    parts.makeMDB = makeKelMDB;
    Program& program = run.make(std::move(parts));
    QuietPlatform& platform = run.platform;
    run.start();

    mnuSetup_Click(program);
    FrmSetup& setup = *program.frmSetup;
    setup.optMonitor[2]->choose();
    setup.optSaving[1]->choose();
    setup.txtComPort[0]->setText("1");
    setup.txtComPort[1]->setText("2");
    platform.saveAnswer = (folder_ / "run.mdb").string();
    setup.cmdOK->Click();
    ASSERT_TRUE(platform.messages.empty()) << platform.messages.front();

    program.FrmMain->mnuStartStop->Click();
    run.line2.feed(std::string(200, 'a') + "\xE9");  // pane 1 reaches the limit first
    run.pump();
    run.line1.feed("xyz\r");
    run.pump();
    program.FrmMain->mnuStartStop->Click();

    std::vector<std::string> header;
    const Rows rows = readWithMdbExport(platform.saveAnswer, &header);
    EXPECT_EQ(header, (std::vector<std::string>{"Port1 (DTE1)", "Port2 (DTE2/DCE)"}));
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0], std::make_pair(std::string(200, 'a'), std::string(" ")));
    EXPECT_EQ(rows[1], std::make_pair(std::string("\xE9"), std::string("xyz<CR>")));
}

}  // namespace
}  // namespace tvl
