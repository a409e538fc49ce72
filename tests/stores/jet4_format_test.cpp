// What Access relies on and the readers do not check: index keys that sort as
// the values, and catalog indexes that agree with the rows they point to.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "components/stores/jet4_catalog.h"
#include "components/stores/jet4_format.h"

using namespace tvl::jet4;

namespace {

// A catalog name as stored: compressed (FF FE, one byte a character) or UCS-2LE.
std::string decodeName(const Bytes& b) {
    const bool compressed = b.size() >= 2 && b[0] == 0xFF && b[1] == 0xFE;
    std::string out;
    for (std::size_t i = compressed ? 2 : 0; i < b.size(); i += compressed ? 1 : 2)
        out += char(b[i]);
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
                        // Name, the first variable column: its offsets end just before var_len.
                        const std::size_t mask = (get16(&row[0]) + 7) / 8;
                        const std::size_t end = row.size() - mask - 2;
                        const std::size_t nvar = get16(&row[end]);
                        const std::size_t start = get16(&row[end - 2]);
                        const std::size_t stop = get16(&row[end - 4]);
                        ASSERT_GT(nvar, 0u);
                        const Bytes k = indexKeyText(
                            decodeName(Bytes(row.begin() + start, row.begin() + stop)));
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
