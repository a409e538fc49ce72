#include "components/stores/jet4_format.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace tvl::jet4 {

namespace {

constexpr std::uint32_t kTableMagic = 1625;  // repeated in table and column definitions
constexpr std::uint32_t kIndexMagic = 1923;  // starts every index data definition
constexpr std::size_t kTdefHeader = 63;
constexpr std::size_t kColumnBlock = 25;
constexpr std::size_t kIndexRowBlock = 12;
constexpr std::size_t kIndexDataBlock = 52;
constexpr std::size_t kIndexInfoBlock = 28;
constexpr std::size_t kIndexMaskOffset = 27;
constexpr std::size_t kIndexMaskSize = 453;
constexpr std::size_t kIndexEntries = kIndexMaskOffset + kIndexMaskSize;  // 0x1E0
constexpr std::uint16_t kSortGeneral = 0x0409;

std::size_t fixedSize(ColType t) {
    switch (t) {
        case ColType::Bool:
            return 0;  // kept in the null mask
        case ColType::Byte:
            return 1;
        case ColType::Int:
            return 2;
        case ColType::Long:
            return 4;
        case ColType::DateTime:
            return 8;
        default:
            return 0;
    }
}

// Column ids in the order their data sit in a row, and their offsets.
struct Shape {
    std::vector<std::uint16_t> fixed;     // ids of fixed columns, by id
    std::vector<std::uint16_t> variable;  // ids in var-table order: plain first, long values after
    std::vector<std::uint16_t> fixedOffset;  // by id
    std::vector<std::uint16_t> varIndex;     // by id
    std::uint16_t maxId = 0;
};

Shape shapeOf(const TableDef& t) {
    Shape s;
    std::vector<const Column*> byId;
    for (const auto& c : t.columns) s.maxId = std::max<std::uint16_t>(s.maxId, c.number + 1);
    byId.assign(s.maxId, nullptr);
    for (const auto& c : t.columns) byId.at(c.number) = &c;
    s.fixedOffset.assign(s.maxId, 0);
    s.varIndex.assign(s.maxId, 0);
    std::uint16_t offset = 0;
    std::uint16_t plainVars = 0;
    for (const Column* c : byId) {
        if (!c) continue;
        if (c->fixed()) {
            s.fixed.push_back(c->number);
            s.varIndex[c->number] = plainVars;
            if (c->type != ColType::Bool) {
                s.fixedOffset[c->number] = offset;
                offset = static_cast<std::uint16_t>(offset + fixedSize(c->type));
            }
        } else if (!c->longValue()) {
            s.varIndex[c->number] = plainVars++;
            s.variable.push_back(c->number);
        }
    }
    std::uint16_t next = plainVars;
    for (const Column* c : byId) {
        if (c && !c->fixed() && c->longValue()) {
            s.varIndex[c->number] = next++;
            s.variable.push_back(c->number);
        }
    }
    return s;
}

void append(Bytes& out, const Bytes& b) { out.insert(out.end(), b.begin(), b.end()); }

void appendName(Bytes& out, std::string_view name) {
    Bytes n = ucs2(name);
    std::uint8_t len[2];
    put16(len, static_cast<std::uint32_t>(n.size()));
    out.insert(out.end(), len, len + 2);
    append(out, n);
}

}  // namespace

void put16(std::uint8_t* p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
}
void put24(std::uint8_t* p, std::uint32_t v) {
    put16(p, v);
    p[2] = static_cast<std::uint8_t>(v >> 16);
}
void put32(std::uint8_t* p, std::uint32_t v) {
    put16(p, v);
    put16(p + 2, v >> 16);
}
std::uint32_t get16(const std::uint8_t* p) { return p[0] | (std::uint32_t(p[1]) << 8); }
std::uint32_t get24(const std::uint8_t* p) { return get16(p) | (std::uint32_t(p[2]) << 16); }
std::uint32_t get32(const std::uint8_t* p) { return get16(p) | (get16(p + 2) << 16); }

void rc4(const std::uint8_t* key, std::size_t keyLen, std::uint8_t* data, std::size_t len) {
    std::uint8_t s[256];
    for (int i = 0; i < 256; ++i) s[i] = static_cast<std::uint8_t>(i);
    for (std::size_t i = 0, j = 0; i < 256; ++i) {
        j = (j + s[i] + key[i % keyLen]) & 0xFF;
        std::swap(s[i], s[j]);
    }
    std::size_t i = 0, j = 0;
    for (std::size_t n = 0; n < len; ++n) {
        i = (i + 1) & 0xFF;
        j = (j + s[i]) & 0xFF;
        std::swap(s[i], s[j]);
        data[n] ^= s[(s[i] + s[j]) & 0xFF];
    }
}

double accessDate(std::int64_t unixSeconds) {
    std::time_t t = static_cast<std::time_t>(unixSeconds);
    std::tm local{};
    localtime_r(&t, &local);
    const double localSeconds =
        static_cast<double>(unixSeconds) + static_cast<double>(local.tm_gmtoff);
    return localSeconds / 86400.0 + 25569.0;  // 1970-01-01 is day 25569
}

Bytes encodeText(std::string_view latin1, bool compress) {
    const bool hasNul = latin1.find('\0') != std::string_view::npos;
    Bytes out;
    if (compress && !hasNul && latin1.size() > 2) {
        out.reserve(latin1.size() + 2);
        out.push_back(0xFF);
        out.push_back(0xFE);
        out.insert(out.end(), latin1.begin(), latin1.end());
        return out;
    }
    return ucs2(latin1);
}

Bytes ucs2(std::string_view latin1) {
    Bytes out;
    out.reserve(latin1.size() * 2);
    for (char c : latin1) {
        out.push_back(static_cast<std::uint8_t>(c));
        out.push_back(0);
    }
    return out;
}

Page headerPage(double created) {
    Page p{};
    p[0] = 0x00;
    p[1] = 0x01;
    std::memcpy(&p[4], "Standard Jet DB", 15);  // followed by its NUL
    put32(&p[0x14], 1);                         // Jet 4
    put16(&p[0x3C], 1252);                      // code page
    put32(&p[0x3E], 0);                         // no page encoding key
    // An empty password is kept as the mask that comes from the creation date.
    const auto mask = static_cast<std::uint32_t>(static_cast<std::int32_t>(created));
    for (std::size_t i = 0; i < 40; ++i)
        p[0x42 + i] = static_cast<std::uint8_t>(mask >> (8 * (i % 4)));
    put16(&p[0x6E], kSortGeneral);  // then one unused byte and the sort version (0)
    std::memcpy(&p[0x72], &created, 8);
    static const std::uint8_t key[4] = {0xC7, 0xDA, 0x39, 0x6B};
    rc4(key, 4, &p[0x18], 128);
    return p;
}

bool Column::fixed() const {
    switch (type) {
        case ColType::Bool:
        case ColType::Byte:
        case ColType::Int:
        case ColType::Long:
        case ColType::DateTime:
            return true;
        default:
            return false;
    }
}

const Column& TableDef::byNumber(std::uint16_t number) const {
    for (const auto& c : columns)
        if (c.number == number) return c;
    throw std::out_of_range("no column " + std::to_string(number) + " in " + name);
}

std::size_t TableDef::longValueColumns() const {
    return static_cast<std::size_t>(std::count_if(columns.begin(), columns.end(),
                                                  [](const Column& c) { return c.longValue(); }));
}

namespace {

// A row's null mask: a set bit marks a column that holds a value (a Bool column
// keeps its value there).
struct NullMask {
    Bytes bits;
    void mark(std::uint16_t id) { bits[id / 8] |= static_cast<std::uint8_t>(1u << (id % 8)); }
};

// Writes a non-null fixed-size value at `at`.
void putFixed(std::uint8_t* at, ColType type, const Value& v) {
    switch (type) {
        case ColType::Byte:
            *at = static_cast<std::uint8_t>(v.i);
            break;
        case ColType::Int:
            put16(at, static_cast<std::uint32_t>(v.i));
            break;
        case ColType::Long:
            put32(at, static_cast<std::uint32_t>(v.i));
            break;
        case ColType::DateTime:
            std::memcpy(at, &v.d, 8);
            break;
        default:
            break;
    }
}

// The fixed part of a row after its column count: each fixed column at its
// offset, a null one as zeros; Bool columns live in the mask only.
void appendFixedColumns(Bytes& row, const TableDef& table, const Shape& s,
                        const std::vector<Value>& values, NullMask& mask) {
    std::size_t fixedEnd = 2;
    for (std::uint16_t id : s.fixed) {
        const Column& c = table.byNumber(id);
        const Value& v = values[id];
        if (c.type == ColType::Bool) {
            if (v.kind == Value::Kind::Bool && v.i) mask.mark(id);
            continue;
        }
        const std::size_t at = 2 + s.fixedOffset[id];
        const std::size_t size = fixedSize(c.type);
        if (row.size() < at + size) row.resize(at + size, 0);  // room even for nulls
        fixedEnd = std::max(fixedEnd, at + size);
        if (v.kind == Value::Kind::Null) continue;
        mask.mark(id);
        putFixed(&row[at], c.type, v);
    }
    row.resize(fixedEnd);
}

// The variable part of a row: the values in var-table order, then the offset
// where they end, their start offsets last to first, and their count.
void appendVariableColumns(Bytes& row, const TableDef& table, const Shape& s,
                           const std::vector<Value>& values, NullMask& mask) {
    if (s.variable.empty()) return;
    std::vector<std::uint16_t> offsets;
    for (std::uint16_t id : s.variable) {
        offsets.push_back(static_cast<std::uint16_t>(row.size()));
        const Column& c = table.byNumber(id);
        const Value& v = values[id];
        if (v.kind == Value::Kind::Null) continue;
        if (c.longValue()) throw std::invalid_argument("long values are not written: " + c.name);
        mask.mark(id);
        if (c.type == ColType::Text) {
            append(row, encodeText(v.s, c.compressed));
        } else {
            row.insert(row.end(), v.s.begin(), v.s.end());
        }
    }
    const std::size_t eod = row.size();
    std::uint8_t b[2];
    put16(b, static_cast<std::uint32_t>(eod));
    row.insert(row.end(), b, b + 2);
    for (std::size_t i = offsets.size(); i-- > 0;) {
        put16(b, offsets[i]);
        row.insert(row.end(), b, b + 2);
    }
    put16(b, static_cast<std::uint32_t>(offsets.size()));
    row.insert(row.end(), b, b + 2);
}

// The start of a table definition: its counts and where its usage maps are,
// then one zeroed row block per index.
Bytes tdefHeader(const TableDef& t, const Shape& s, const TableLayout& layout,
                 std::uint32_t rowCount) {
    Bytes b(kTdefHeader, 0);
    b[0] = kPageTableDef;
    b[1] = 0x01;
    put32(&b[12], kTableMagic);
    put32(&b[kTdefRowCount], rowCount);
    b[24] = 0x01;  // autonumbers usable
    b[40] = t.system ? kTableSystem : kTableUser;
    put16(&b[41], s.maxId);
    put16(&b[43], static_cast<std::uint32_t>(s.variable.size()));
    put16(&b[45], static_cast<std::uint32_t>(t.columns.size()));
    put32(&b[47], static_cast<std::uint32_t>(t.indexes.size()));
    put32(&b[51], static_cast<std::uint32_t>(t.indexes.size()));
    put32(&b[kTdefOwnedMap], layout.ownedMap);  // a map reference: row byte, then 3-byte page
    put32(&b[kTdefFreeMap], layout.freeMap);
    b.resize(b.size() + kIndexRowBlock * t.indexes.size(), 0);
    return b;
}

// One column block per column, in stored order, then the column names.
void appendColumns(Bytes& b, const TableDef& t, const Shape& s) {
    for (const Column& c : t.columns) {
        std::uint8_t d[kColumnBlock] = {};
        d[0] = static_cast<std::uint8_t>(c.type);
        put32(&d[1], kTableMagic);
        put16(&d[5], c.number);
        put16(&d[7], s.varIndex[c.number]);
        put16(&d[9], c.number);
        if (c.type == ColType::Text || c.type == ColType::Memo) {
            put16(&d[11], kSortGeneral);  // d[13] unused, d[14] sort version 0
        }
        d[15] = static_cast<std::uint8_t>(c.flags | (c.fixed() ? kColFixed : 0));
        d[16] = c.compressed ? 0x01 : 0x00;
        put16(&d[21], c.fixed() ? s.fixedOffset[c.number] : 0);
        put16(&d[23], c.longValue()
                          ? 0
                          : (c.fixed() ? static_cast<std::uint32_t>(fixedSize(c.type)) : c.length));
        b.insert(b.end(), d, d + kColumnBlock);
    }
    for (const Column& c : t.columns) appendName(b, c.name);
}

// Per index: a data block (its columns, usage map and root page), then an info
// block each (its number, whether it is the primary key), then the names.
void appendIndexes(Bytes& b, const TableDef& t, const TableLayout& layout) {
    for (std::size_t i = 0; i < t.indexes.size(); ++i) {
        const Index& ix = t.indexes[i];
        std::uint8_t d[kIndexDataBlock] = {};
        put32(&d[0], kIndexMagic);
        for (std::size_t k = 0; k < 10; ++k) {
            if (k < ix.columns.size()) {
                put16(&d[4 + 3 * k], ix.columns[k]);
                d[6 + 3 * k] = 0x01;  // ascending
            } else {
                put16(&d[4 + 3 * k], 0xFFFF);
            }
        }
        put32(&d[34], layout.indexMaps.at(i));
        put32(&d[38], layout.indexRoots.at(i));
        d[46] = ix.flags;
        b.insert(b.end(), d, d + kIndexDataBlock);
    }
    for (std::size_t i = 0; i < t.indexes.size(); ++i) {
        std::uint8_t d[kIndexInfoBlock] = {};
        put32(&d[0], kTableMagic);
        put32(&d[4], static_cast<std::uint32_t>(i));
        put32(&d[8], static_cast<std::uint32_t>(i));
        put32(&d[13], 0xFFFFFFFF);  // no related index
        d[23] = t.indexes[i].primary ? 0x01 : 0x00;
        b.insert(b.end(), d, d + kIndexInfoBlock);
    }
    for (const Index& ix : t.indexes) appendName(b, ix.name);
}

// The owned and free usage maps of each long-value column, in column id order,
// then the end mark.
void appendLongValueMaps(Bytes& b, const TableDef& t, const Shape& s, const TableLayout& layout) {
    std::size_t lv = 0;
    for (std::uint16_t id : s.variable) {  // long values come last, by id
        if (!t.byNumber(id).longValue()) continue;
        std::uint8_t d[10];
        put16(&d[0], id);
        put32(&d[2], layout.lvMaps.at(2 * lv));
        put32(&d[6], layout.lvMaps.at(2 * lv + 1));
        b.insert(b.end(), d, d + 10);
        ++lv;
    }
    b.push_back(0xFF);
    b.push_back(0xFF);
}

}  // namespace

Bytes encodeRow(const TableDef& table, const std::vector<Value>& values) {
    const Shape s = shapeOf(table);
    if (values.size() != s.maxId)
        throw std::invalid_argument("row of " + table.name + ": wrong value count");
    Bytes row(2, 0);
    put16(row.data(), s.maxId);
    NullMask mask{Bytes((s.maxId + 7) / 8, 0)};
    appendFixedColumns(row, table, s, values, mask);
    appendVariableColumns(row, table, s, values, mask);
    append(row, mask.bits);
    if (row.size() > kMaxRowSize) throw std::length_error("row of " + table.name + " too long");
    return row;
}

Page tableDefPage(const TableDef& t, const TableLayout& layout, std::uint32_t rowCount) {
    const Shape s = shapeOf(t);
    Bytes b = tdefHeader(t, s, layout, rowCount);
    appendColumns(b, t, s);
    appendIndexes(b, t, layout);
    appendLongValueMaps(b, t, s, layout);
    if (b.size() > kPageSize)
        throw std::length_error("definition of " + t.name + " exceeds a page");
    put32(&b[8], static_cast<std::uint32_t>(b.size()));
    put16(&b[2],
          static_cast<std::uint32_t>(kPageSize - b.size() >= 8 ? kPageSize - b.size() - 8 : 0));
    Page p{};
    std::copy(b.begin(), b.end(), p.begin());
    return p;
}

Page emptyDataPage(std::uint32_t tdefPage) {
    Page p{};
    p[0] = kPageData;
    p[1] = 0x01;
    put16(&p[2], kPageSize - kDataRowTable);
    put32(&p[4], tdefPage);
    return p;
}

std::size_t dataPageRows(const Page& page) { return get16(&page[12]); }
std::size_t dataPageFree(const Page& page) { return get16(&page[2]); }

std::size_t dataPageRowOffset(const Page& page, std::size_t row) {
    return get16(&page[kDataRowTable + 2 * row]) & 0x1FFF;
}

int dataPageInsert(Page& page, const std::uint8_t* row, std::size_t len) {
    const std::size_t rows = dataPageRows(page);
    if (rows >= kMaxRowsPerPage || dataPageFree(page) < len + 2) return -1;
    const std::size_t end = rows == 0 ? kPageSize : dataPageRowOffset(page, rows - 1);
    const std::size_t start = end - len;
    std::memcpy(&page[start], row, len);
    put16(&page[kDataRowTable + 2 * rows], static_cast<std::uint32_t>(start));
    put16(&page[12], static_cast<std::uint32_t>(rows + 1));
    put16(&page[2], static_cast<std::uint32_t>(dataPageFree(page) - len - 2));
    return static_cast<int>(rows);
}

Bytes dataPageRow(const Page& page, std::size_t row) {
    const std::size_t start = dataPageRowOffset(page, row);
    const std::size_t end = row == 0 ? kPageSize : dataPageRowOffset(page, row - 1);
    return Bytes(page.begin() + static_cast<std::ptrdiff_t>(start),
                 page.begin() + static_cast<std::ptrdiff_t>(end));
}

Bytes inlineMap(std::uint32_t start, const std::vector<std::uint32_t>& pages) {
    Bytes m(kUsageMapRowSize, 0);
    m[0] = 0x00;
    put32(&m[1], start);
    for (std::uint32_t p : pages) {
        if (p < start || p >= start + kInlineMapPages)
            throw std::out_of_range("page outside inline usage map");
        const std::uint32_t bit = p - start;
        m[5 + bit / 8] |= static_cast<std::uint8_t>(1u << (bit % 8));
    }
    return m;
}

Page usageMapPage() {
    Page p{};
    p[0] = kPageUsageMap;
    p[1] = 0x01;
    return p;
}

Bytes indexKeyLong(std::int32_t v) {
    const auto u = static_cast<std::uint32_t>(v) ^ 0x80000000u;  // sign bit flipped, big-endian
    return {0x7F, static_cast<std::uint8_t>(u >> 24), static_cast<std::uint8_t>(u >> 16),
            static_cast<std::uint8_t>(u >> 8), static_cast<std::uint8_t>(u)};
}

Bytes indexKeyText(std::string_view latin1) {
    // General (legacy) sort codes; letters sort without regard to case.
    static const std::uint8_t digits[10] = {0x36, 0x38, 0x3A, 0x3C, 0x3E,
                                            0x40, 0x42, 0x44, 0x46, 0x48};
    static const std::uint8_t letters[26] = {0x4A, 0x4C, 0x4D, 0x4F, 0x51, 0x53, 0x55, 0x57, 0x59,
                                             0x5B, 0x5C, 0x5E, 0x60, 0x62, 0x64, 0x66, 0x68, 0x69,
                                             0x6B, 0x6D, 0x6F, 0x71, 0x73, 0x75, 0x76, 0x78};
    std::string_view s = latin1;
    while (!s.empty() && s.back() == ' ') s.remove_suffix(1);  // trailing blanks do not count
    Bytes out{0x7F};
    for (char ch : s) {
        const auto c = static_cast<unsigned char>(ch);
        if (c >= '0' && c <= '9')
            out.push_back(digits[c - '0']);
        else if (c >= 'A' && c <= 'Z')
            out.push_back(letters[c - 'A']);
        else if (c >= 'a' && c <= 'z')
            out.push_back(letters[c - 'a']);
        else if (c == ' ')
            out.push_back(0x07);
        else
            throw std::invalid_argument("no index code for character in name");
    }
    out.push_back(0x01);  // end of text
    out.push_back(0x00);  // end of (no) extra codes
    return out;
}

Page indexLeafPage(std::uint32_t tdefPage, std::vector<Bytes> entries) {
    std::sort(entries.begin(), entries.end());
    Page p{};
    p[0] = kPageIndexLeaf;
    p[1] = 0x01;
    put32(&p[4], tdefPage);
    std::size_t prefix = 0;
    if (entries.size() > 1) {
        const Bytes& a = entries.front();
        const Bytes& z = entries.back();
        const std::size_t limit = std::min(a.size(), z.size()) - 1;  // never the row byte
        while (prefix < limit && a[prefix] == z[prefix]) ++prefix;
    }
    put16(&p[24], static_cast<std::uint32_t>(prefix));
    std::size_t pos = kIndexEntries;
    std::size_t total = prefix;
    if (!entries.empty()) {
        std::memcpy(&p[pos], entries.front().data(), prefix);
        pos += prefix;
    }
    for (const Bytes& e : entries) {
        const std::size_t n = e.size() - prefix;
        if (pos + n > kPageSize) throw std::length_error("index entries exceed a page");
        std::memcpy(&p[pos], e.data() + prefix, n);
        pos += n;
        total += n;
        p[kIndexMaskOffset + total / 8] |= static_cast<std::uint8_t>(1u << (total % 8));
    }
    put16(&p[2], static_cast<std::uint32_t>(kPageSize - pos));
    return p;
}

}  // namespace tvl::jet4
