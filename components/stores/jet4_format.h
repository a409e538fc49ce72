// Building blocks of a Jet 4 (Access 2000-2003) database file: pages, rows,
// table definitions, usage maps and index pages. Everything here works on
// bytes in memory; reading and writing the file is left to the callers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tvl::jet4 {

inline constexpr std::size_t kPageSize = 4096;
using Bytes = std::vector<std::uint8_t>;
using Page = std::array<std::uint8_t, kPageSize>;

// Page types (first byte of every page).
inline constexpr std::uint8_t kPageHeader = 0x00;
inline constexpr std::uint8_t kPageData = 0x01;
inline constexpr std::uint8_t kPageTableDef = 0x02;
inline constexpr std::uint8_t kPageIndexLeaf = 0x04;
inline constexpr std::uint8_t kPageUsageMap = 0x05;

// Data pages: header of 14 bytes, then the row offset table; rows from the end.
inline constexpr std::size_t kDataRowTable = 14;
inline constexpr std::size_t kMaxRowsPerPage = 255;
inline constexpr std::size_t kMaxRowSize = 4060;

// Table definition offsets.
inline constexpr std::size_t kTdefRowCount = 16;
inline constexpr std::size_t kTdefOwnedMap = 55;
inline constexpr std::size_t kTdefFreeMap = 59;
inline constexpr std::uint8_t kTableUser = 0x4E;
inline constexpr std::uint8_t kTableSystem = 0x53;

// Usage maps: a row of 1 type byte + 68 bytes. Type 0 holds a start page and a
// 64-byte bitmap (512 pages); type 1 holds 17 pointers to usage-map pages, each
// of which maps 4092*8 pages from page (index * 32736).
inline constexpr std::size_t kUsageMapRowSize = 69;
inline constexpr std::size_t kInlineMapPages = 64 * 8;
inline constexpr std::size_t kReferenceMapSlots = 17;
inline constexpr std::size_t kPagesPerMapPage = (kPageSize - 4) * 8;

// Column types used here.
enum class ColType : std::uint8_t {
    Bool = 0x01,
    Byte = 0x02,
    Int = 0x03,
    Long = 0x04,
    DateTime = 0x08,
    Binary = 0x09,
    Text = 0x0A,
    Ole = 0x0B,
    Memo = 0x0C,
};

// Column flag bits.
inline constexpr std::uint8_t kColFixed = 0x01;
inline constexpr std::uint8_t kColUpdatable = 0x02;
inline constexpr std::uint8_t kColSystem = 0x10;

// Index flag bits (0x80 is set on every index Jet 4 writes).
inline constexpr std::uint8_t kIdxUnique = 0x01;
inline constexpr std::uint8_t kIdxRequired = 0x08;
inline constexpr std::uint8_t kIdxAlways = 0x80;

// --- little-endian helpers ---------------------------------------------------
void put16(std::uint8_t* p, std::uint32_t v);
void put24(std::uint8_t* p, std::uint32_t v);
void put32(std::uint8_t* p, std::uint32_t v);
std::uint32_t get16(const std::uint8_t* p);
std::uint32_t get24(const std::uint8_t* p);
std::uint32_t get32(const std::uint8_t* p);

// RC4 applied in place (the same call encodes and decodes).
void rc4(const std::uint8_t* key, std::size_t keyLen, std::uint8_t* data, std::size_t len);

// Days since 1899-12-30 (the Access date/time value) of a Unix time, local zone.
double accessDate(std::int64_t unixSeconds);

// --- text -------------------------------------------------------------------
// A text value, one character per byte (ISO-8859-1), as stored in a row:
// the compressed form (FF FE, one byte per character) when allowed, shorter and
// free of U+0000; otherwise UCS-2LE.
Bytes encodeText(std::string_view latin1, bool compress);
// UCS-2LE of a name (column and index names in table definitions).
Bytes ucs2(std::string_view latin1);

// --- header page --------------------------------------------------------------
// Page 0 for a database created at `created` (an Access date), code page 1252,
// sort order General, no password, pages not encoded.
Page headerPage(double created);

// --- rows ---------------------------------------------------------------------
struct Value {
    enum class Kind { Null, Int, Date, Bool, Text, Bytes } kind = Kind::Null;
    std::int64_t i = 0;
    double d = 0;
    std::string s;  // Text: ISO-8859-1 characters; Bytes: raw bytes

    static Value null() { return {}; }
    static Value integer(std::int64_t v) {
        Value x;
        x.kind = Kind::Int;
        x.i = v;
        return x;
    }
    static Value date(double v) {
        Value x;
        x.kind = Kind::Date;
        x.d = v;
        return x;
    }
    static Value boolean(bool v) {
        Value x;
        x.kind = Kind::Bool;
        x.i = v;
        return x;
    }
    static Value text(std::string v) {
        Value x;
        x.kind = Kind::Text;
        x.s = std::move(v);
        return x;
    }
    static Value bytes(std::string v) {
        Value x;
        x.kind = Kind::Bytes;
        x.s = std::move(v);
        return x;
    }
};

struct Column {
    std::string name;
    ColType type;
    std::uint16_t number;  // column id; rows and null masks are ordered by it
    std::uint16_t length;  // bytes (text: 2 per character; memo/ole: 0)
    std::uint8_t flags;    // kColFixed is derived from the type
    bool compressed = false;

    bool fixed() const;
    bool longValue() const { return type == ColType::Memo || type == ColType::Ole; }
};

struct Index {
    std::string name;
    std::vector<std::uint16_t> columns;  // column ids, ascending order
    std::uint8_t flags;                  // kIdx*
    bool primary = false;
};

// Where a table's usage maps and index roots live (page << 8 | row).
struct TableLayout {
    std::uint32_t tdefPage = 0;
    std::uint32_t ownedMap = 0;
    std::uint32_t freeMap = 0;
    std::vector<std::uint32_t> indexMaps;   // one per index
    std::vector<std::uint32_t> indexRoots;  // one per index: root page
    std::vector<std::uint32_t> lvMaps;      // two per long-value column (owned, free)
};

struct TableDef {
    std::string name;
    bool system = false;
    std::vector<Column> columns;  // in stored order (any order of ids)
    std::vector<Index> indexes;

    const Column& byNumber(std::uint16_t number) const;
    std::size_t longValueColumns() const;
};

// A row's bytes; values[i] belongs to the column whose id is i.
Bytes encodeRow(const TableDef& table, const std::vector<Value>& values);

// The table definition page (one page; throws std::length_error if larger).
Page tableDefPage(const TableDef& table, const TableLayout& layout, std::uint32_t rowCount);

// --- data pages ---------------------------------------------------------------
// An empty data page owned by table definition `tdefPage` (0: usage-map page).
Page emptyDataPage(std::uint32_t tdefPage);
std::size_t dataPageRows(const Page& page);
std::size_t dataPageFree(const Page& page);
// Appends `row` to the page; returns its row number, or -1 if it does not fit.
int dataPageInsert(Page& page, const std::uint8_t* row, std::size_t len);
// The bytes of row `row` of a data page.
Bytes dataPageRow(const Page& page, std::size_t row);
// Byte offset of row `row` within the page.
std::size_t dataPageRowOffset(const Page& page, std::size_t row);

// --- usage maps -----------------------------------------------------------------
// An inline (type 0) map starting at `start` with the given pages set.
Bytes inlineMap(std::uint32_t start, const std::vector<std::uint32_t>& pages);
// An empty usage-map page (type 5).
Page usageMapPage();

// --- indexes ----------------------------------------------------------------------
// Index key of a Long Integer value, ascending.
Bytes indexKeyLong(std::int32_t v);
// Index key of a text value, ascending, General (legacy) sort order. Characters
// outside 0-9, A-Z, a-z and the blank throw std::invalid_argument: object names
// written here are limited to those.
Bytes indexKeyText(std::string_view latin1);
// A leaf index page holding `entries` (each key + 3-byte page + row), sorted here.
Page indexLeafPage(std::uint32_t tdefPage, std::vector<Bytes> entries);

}  // namespace tvl::jet4
