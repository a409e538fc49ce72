// The pieces of the database file, checked byte by byte against the rules the
// readers (and Access) apply: header, text, index keys, catalog indexes, usage
// maps, and column names.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "components/stores/jet4_appender.h"
#include "components/stores/jet4_catalog.h"
#include "components/stores/jet4_format.h"
#include "components/stores/kelmdb_database.h"

using namespace tvl::jet4;

namespace {

// Text as the readers decode it: UCS-2LE, or after FF FE one byte per
// character, a 0x00 switching between the two.
std::u16string decodeText(const Bytes& b) {
    std::u16string out;
    if (b.size() < 2 || b[0] != 0xFF || b[1] != 0xFE) {
        for (std::size_t i = 0; i + 1 < b.size(); i += 2)
            out += static_cast<char16_t>(b[i] | (b[i + 1] << 8));
        return out;
    }
    bool compressed = true;
    for (std::size_t i = 2; i < b.size();) {
        if (b[i] == 0) {
            compressed = !compressed;
            ++i;
        } else if (compressed) {
            out += static_cast<char16_t>(b[i++]);
        } else {
            out += static_cast<char16_t>(b[i] | (b[i + 1] << 8));
            i += 2;
        }
    }
    return out;
}

std::u16string widen(const std::string& s) {
    std::u16string out;
    for (char c : s) out += static_cast<char16_t>(static_cast<unsigned char>(c));
    return out;
}

const Page& pageOf(const Bytes& file, std::uint32_t n) {
    return *reinterpret_cast<const Page*>(file.data() + std::size_t(n) * kPageSize);
}

struct ParsedIndex {
    std::vector<std::uint16_t> columns;
    std::uint32_t root = 0;
    std::uint8_t flags = 0;
};

// The real indexes of a table definition page.
std::vector<ParsedIndex> parseIndexes(const Page& t) {
    const std::uint32_t ncols = get16(&t[45]), nidx = get32(&t[51]);
    std::size_t pos = 63 + 12 * nidx + 25 * ncols;
    for (std::uint32_t i = 0; i < ncols; ++i) pos += 2 + get16(&t[pos]);
    std::vector<ParsedIndex> out;
    for (std::uint32_t i = 0; i < nidx; ++i, pos += 52) {
        ParsedIndex ix;
        for (int k = 0; k < 10; ++k)
            if (get16(&t[pos + 4 + 3 * k]) != 0xFFFF)
                ix.columns.push_back(static_cast<std::uint16_t>(get16(&t[pos + 4 + 3 * k])));
        ix.root = get32(&t[pos + 38]);
        ix.flags = t[pos + 46];
        out.push_back(ix);
    }
    return out;
}

// The entries of a leaf page, prefixes restored.
std::vector<Bytes> leafEntries(const Page& p) {
    std::vector<Bytes> out;
    const std::size_t prefix = get16(&p[24]);
    std::size_t last = 0;
    Bytes first_prefix;
    for (std::size_t bit = 1; bit < 453 * 8; ++bit) {
        if (!(p[27 + bit / 8] & (1u << (bit % 8)))) continue;
        Bytes e(p.begin() + 480 + static_cast<std::ptrdiff_t>(last),
                p.begin() + 480 + static_cast<std::ptrdiff_t>(bit));
        if (out.empty())
            first_prefix.assign(e.begin(), e.begin() + static_cast<std::ptrdiff_t>(prefix));
        else
            e.insert(e.begin(), first_prefix.begin(), first_prefix.end());
        out.push_back(e);
        last = bit;
    }
    return out;
}

}  // namespace

TEST(Jet4Header, DecodesToVersionCodePageSortOrderAndDateMaskedPassword) {
    const double created = 46349.5;
    Page p = headerPage(created);
    EXPECT_EQ(std::memcmp(&p[4], "Standard Jet DB\0", 16), 0);
    EXPECT_EQ(get32(&p[0x14]), 1u);
    static const std::uint8_t key[4] = {0xC7, 0xDA, 0x39, 0x6B};
    rc4(key, 4, &p[0x18], 128);
    EXPECT_EQ(get16(&p[0x3C]), 1252u);
    EXPECT_EQ(get32(&p[0x3E]), 0u);  // pages are not encoded
    EXPECT_EQ(get16(&p[0x6E]), 0x0409u);
    double stored;
    std::memcpy(&stored, &p[0x72], 8);
    EXPECT_EQ(stored, created);
    for (int i = 0; i < 40; ++i)  // password XOR the date's mask is empty
        EXPECT_EQ(p[0x42 + i] ^ ((46349u >> (8 * (i % 4))) & 0xFF), 0) << i;
    for (std::size_t i = 0x98; i < kPageSize; ++i) ASSERT_EQ(p[i], 0) << i;
}

TEST(Jet4Text, CompressesWhenShorterAndReadsBackForEveryCharacter) {
    EXPECT_EQ(encodeText("abc", true), (Bytes{0xFF, 0xFE, 'a', 'b', 'c'}));
    EXPECT_EQ(encodeText("abc", false), (Bytes{'a', 0, 'b', 0, 'c', 0}));
    EXPECT_EQ(encodeText("ab", true), (Bytes{'a', 0, 'b', 0}));  // not shorter compressed
    EXPECT_EQ(encodeText("", true), Bytes{});
    const std::string with_nul("a\0bc", 4);
    EXPECT_EQ(encodeText(with_nul, true).size(), 8u);  // U+0000 cannot be compressed
    std::string all;
    for (int c = 0; c < 256; ++c) all += static_cast<char>(c);
    for (std::size_t i = 0; i < 256; i += 17)
        for (std::size_t n : {0, 1, 3, 50, 255}) {
            const std::string s = all.substr(i, n);
            EXPECT_EQ(decodeText(encodeText(s, true)), widen(s)) << i << "+" << n;
        }
}

TEST(Jet4IndexKeys, SortLikeTheValues) {
    const std::vector<std::int32_t> longs = {-2147483647 - 1, -70000,    -1, 0, 1, 255, 256,
                                             0x0F000001,      2147483647};
    for (std::size_t i = 1; i < longs.size(); ++i)
        EXPECT_LT(indexKeyLong(longs[i - 1]), indexKeyLong(longs[i]));
    EXPECT_EQ(indexKeyLong(2), (Bytes{0x7F, 0x80, 0, 0, 2}));

    // General order: digits before letters, case not counted, trailing blanks ignored.
    const std::vector<std::string> names = {
        "0a",          "9",           "Capture",           "Databases",     "MSysACEs", "MSysDb",
        "MSysObjects", "MSysQueries", "MSysRelationships", "Relationships", "Tables",   "Z"};
    for (std::size_t i = 1; i < names.size(); ++i)
        EXPECT_LT(indexKeyText(names[i - 1]), indexKeyText(names[i]))
            << names[i - 1] << " < " << names[i];
    EXPECT_EQ(indexKeyText("MSysDb"), indexKeyText("msysDB  "));
    EXPECT_EQ(indexKeyText("Ab"), (Bytes{0x7F, 0x4A, 0x4C, 0x01, 0x00}));
    EXPECT_THROW(indexKeyText("a.b"), std::invalid_argument);
}

// Every catalog index holds one entry per row, sorted, each pointing at the
// row whose values make its key: the indexes Access uses to find objects.
TEST(Jet4Catalog, IndexesAgreeWithTheRowsTheyPointTo) {
    const Bytes file = buildDatabase({"Capture", {"A", "B"}, 255}, 1790000000);
    ASSERT_EQ(file.size() % kPageSize, 0u);
    const std::map<std::uint32_t, std::size_t> expected_rows = {{kMSysObjectsPage, 9},
                                                                {kMSysACEsPage, 9},
                                                                {kMSysQueriesPage, 0},
                                                                {kMSysRelationshipsPage, 0}};
    for (const auto& [tdef_page, rows] : expected_rows) {
        const Page& t = pageOf(file, tdef_page);
        ASSERT_EQ(t[0], kPageTableDef);
        EXPECT_EQ(t[40], kTableSystem);
        EXPECT_EQ(get32(&t[kTdefRowCount]), rows);
        EXPECT_EQ(get32(&t[8]), 4096u - 8 - get16(&t[2]));  // length and free space agree
        for (const ParsedIndex& ix : parseIndexes(t)) {
            const Page& leaf = pageOf(file, ix.root);
            ASSERT_EQ(leaf[0], kPageIndexLeaf);
            EXPECT_EQ(get32(&leaf[4]), tdef_page);
            EXPECT_EQ(ix.flags & kIdxAlways, kIdxAlways);
            const auto entries = leafEntries(leaf);
            ASSERT_EQ(entries.size(), rows) << "table page " << tdef_page;
            EXPECT_TRUE(std::is_sorted(entries.begin(), entries.end()));
            EXPECT_EQ(std::set<Bytes>(entries.begin(), entries.end()).size(), entries.size());
            for (const Bytes& e : entries) {
                const std::uint32_t page =
                    (e[e.size() - 4] << 16) | (e[e.size() - 3] << 8) | e[e.size() - 2];
                const Page& dp = pageOf(file, page);
                ASSERT_EQ(dp[0], kPageData);
                ASSERT_EQ(get32(&dp[4]), tdef_page);
                const Bytes row = dataPageRow(dp, e.back());
                // Key columns here are Long (fixed, at 2 + offset) or Text (MSysObjects.Name).
                Bytes key;
                for (std::uint16_t col : ix.columns) {
                    if (tdef_page == kMSysObjectsPage && col == 2) {
                        // Name: the first variable column; its offset is the last entry before
                        // var_len.
                        const std::size_t mask = (get16(&row[0]) + 7) / 8;
                        const std::size_t end = row.size() - mask - 2;
                        const std::size_t nvar = get16(&row[end]);
                        const std::size_t start = get16(&row[end - 2]);
                        const std::size_t stop = get16(&row[end - 4]);
                        ASSERT_GT(nvar, 0u);
                        const std::u16string name =
                            decodeText(Bytes(row.begin() + static_cast<std::ptrdiff_t>(start),
                                             row.begin() + static_cast<std::ptrdiff_t>(stop)));
                        std::string narrow(name.begin(), name.end());
                        const Bytes k = indexKeyText(narrow);
                        key.insert(key.end(), k.begin(), k.end());
                    } else {
                        const std::size_t at = col == 0 ? 2 : 6;  // Id/ObjectId, then ParentId
                        const Bytes k = indexKeyLong(static_cast<std::int32_t>(get32(&row[at])));
                        key.insert(key.end(), k.begin(), k.end());
                    }
                }
                EXPECT_TRUE(std::equal(key.begin(), key.end(), e.begin()))
                    << "entry does not match its row";
                EXPECT_EQ(key.size() + 4, e.size());
            }
        }
    }
}

// Appends past the inline map's reach: the owned-pages map turns into usage-map
// pages and names exactly the table's data pages; the global map marks no
// page in use as free.
TEST(Jet4Appender, UsageMapsFollowTheTableAcrossPages) {
    const auto path = std::filesystem::temp_directory_path() /
                      ("jet4_appender_" + std::to_string(getpid()) + ".mdb");
    const Bytes image = buildDatabase({"Capture", {"A", "B"}, 255}, 1790000000);
    const TableDef def = userTableDef({"Capture", {"A", "B"}, 255});
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, image.data(), image.size()), static_cast<ssize_t>(image.size()));
    constexpr int kRows = 1800;  // three rows per page: past 512 pages
    {
        Appender app(fd, kUserTablePage);
        for (int i = 0; i < kRows; ++i) {
            if (i == 20) {
                Appender again(fd, kUserTablePage);  // state comes from the file alone
                EXPECT_EQ(again.rowCount(), 20u);
            }
            app.append(
                encodeRow(def, {Value::text(std::string(255, static_cast<char>(0x80 + i % 26)) +
                                            std::string(1, 0)),
                                Value::text(std::string(255, '\0'))}));
        }
        EXPECT_EQ(app.rowCount(), static_cast<std::uint32_t>(kRows));
    }
    Bytes file(std::filesystem::file_size(path));
    ASSERT_EQ(::pread(fd, file.data(), file.size(), 0), static_cast<ssize_t>(file.size()));
    ::close(fd);
    std::filesystem::remove(path);

    const Page& t = pageOf(file, kUserTablePage);
    EXPECT_EQ(get32(&t[kTdefRowCount]), static_cast<std::uint32_t>(kRows));
    const std::uint32_t owned = get32(&t[kTdefOwnedMap]);
    const Page& maps = pageOf(file, owned >> 8);
    const std::uint8_t* row = &maps[dataPageRowOffset(maps, owned & 0xFF)];
    ASSERT_EQ(row[0], 1) << "owned map still inline";
    std::set<std::uint32_t> mapped;
    for (std::size_t slot = 0; slot < kReferenceMapSlots; ++slot) {
        const std::uint32_t mp = get32(row + 1 + 4 * slot);
        if (!mp) continue;
        ASSERT_EQ(pageOf(file, mp)[0], kPageUsageMap);
        for (std::uint32_t b = 0; b < kPagesPerMapPage; ++b)
            if (pageOf(file, mp)[4 + b / 8] & (1u << (b % 8)))
                mapped.insert(slot * kPagesPerMapPage + b);
    }
    std::set<std::uint32_t> data_pages;
    std::size_t rows = 0;
    for (std::uint32_t p = 0; p < file.size() / kPageSize; ++p)
        if (pageOf(file, p)[0] == kPageData && get32(&pageOf(file, p)[4]) == kUserTablePage) {
            data_pages.insert(p);
            rows += dataPageRows(pageOf(file, p));
        }
    EXPECT_EQ(mapped, data_pages);
    EXPECT_EQ(rows, static_cast<std::size_t>(kRows));

    const Page& g = pageOf(file, kGlobalMapPage);
    const std::uint8_t* gm = &g[dataPageRowOffset(g, 0)];
    ASSERT_EQ(gm[0], 0);
    for (std::uint32_t p = 0; p < kInlineMapPages; ++p)
        EXPECT_FALSE(gm[5 + p / 8] & (1u << (p % 8))) << "page " << p << " in use but marked free";
}

TEST(KelMDBFieldNames, TitlesBecomeLegalDistinctFieldNames) {
    using tvl::KelMDBDatabase;
    EXPECT_EQ(KelMDBDatabase::FieldName("Port1 (DTE1): ", 1), "Port1 (DTE1)");
    EXPECT_EQ(KelMDBDatabase::FieldName("Port2 (DTE2/DCE): ", 2), "Port2 (DTE2/DCE)");
    EXPECT_EQ(KelMDBDatabase::FieldName("  a.b!c`d[e]f:g\t\x01 ", 1), "abcdefg");
    EXPECT_EQ(KelMDBDatabase::FieldName("", 1), "Port1");
    EXPECT_EQ(KelMDBDatabase::FieldName(" :.: ", 2), "Port2");
    EXPECT_EQ(KelMDBDatabase::FieldName("R\xe9seau \xb5", 1),
              "R\xe9seau \xb5");  // Latin-1 letters stay
    const std::string long_title = std::string(63, 'x') + " y";
    EXPECT_EQ(KelMDBDatabase::FieldName(long_title, 1),
              std::string(63, 'x'));  // cut, blank trimmed
    EXPECT_EQ(KelMDBDatabase::FieldNames("Line: ", "LINE"),
              (std::pair<std::string, std::string>{"Line", "LINE (2)"}));
    EXPECT_EQ(KelMDBDatabase::FieldNames("", ""),
              (std::pair<std::string, std::string>{"Port1", "Port2"}));
    const auto [a, b] = KelMDBDatabase::FieldNames(std::string(70, 'q'), std::string(70, 'Q'));
    EXPECT_EQ(a.size(), 64u);
    EXPECT_LE(b.size(), 64u);
    EXPECT_NE(b.substr(b.size() - 4), a.substr(a.size() - 4));
}
