#include "components/stores/jet4_catalog.h"

#include <map>
#include <stdexcept>

namespace tvl::jet4 {

namespace {

constexpr std::uint8_t kSys = kColSystem | kColUpdatable;
constexpr std::uint8_t kSid = kSys | 0x20;  // columns holding security ids
constexpr std::uint16_t kText = 510;        // 255 characters

// Catalog object ids: the three containers hang below a common root; tables
// are known by the page of their definition.
constexpr std::int32_t kRootId = 0x0F000000;
constexpr std::int32_t kTablesId = 0x0F000001;
constexpr std::int32_t kDatabasesId = 0x0F000002;
constexpr std::int32_t kRelationshipsId = 0x0F000003;
constexpr std::int32_t kMSysDbId = 0x10000000;
constexpr std::int32_t kSystemFlag = static_cast<std::int32_t>(0x80000000u);
constexpr std::int32_t kFullAccess = 0x000FFFFF;
const std::string kAdminSid("\xA6\x33", 2);  // the default Admin user

TableDef msysObjects() {
    return {"MSysObjects",
            true,
            {{"Connect", ColType::Memo, 9, 0, kSys},
             {"Database", ColType::Memo, 8, 0, kSys},
             {"DateCreate", ColType::DateTime, 4, 8, kSys},
             {"DateUpdate", ColType::DateTime, 5, 8, kSys},
             {"Flags", ColType::Long, 7, 4, kSys},
             {"ForeignName", ColType::Text, 10, kText, kSys},
             {"Id", ColType::Long, 0, 4, kSys},
             {"Lv", ColType::Ole, 13, 0, kSys},
             {"LvExtra", ColType::Ole, 16, 0, kSys},
             {"LvModule", ColType::Ole, 15, 0, kSys},
             {"LvProp", ColType::Ole, 14, 0, kSys},
             {"Name", ColType::Text, 2, kText, kSys},
             {"Owner", ColType::Binary, 6, kText, kSid},
             {"ParentId", ColType::Long, 1, 4, kSys},
             {"RmtInfoLong", ColType::Ole, 12, 0, kSys},
             {"RmtInfoShort", ColType::Binary, 11, kText, kSys},
             {"Type", ColType::Int, 3, 2, kSys}},
            {{"ParentIdName", {1, 2}, kIdxAlways | kIdxUnique},
             {"Id", {0}, kIdxAlways | kIdxUnique | kIdxRequired, true}}};
}

TableDef msysACEs() {
    return {"MSysACEs",
            true,
            {{"ACM", ColType::Long, 2, 4, kSys},
             {"FInheritable", ColType::Bool, 3, 1, kSys},
             {"ObjectId", ColType::Long, 0, 4, kSys},
             {"SID", ColType::Binary, 1, kText, kSid}},
            {{"ObjectId", {0}, kIdxAlways | kIdxRequired}}};
}

TableDef msysQueries() {
    return {"MSysQueries",
            true,
            {{"Attribute", ColType::Byte, 1, 1, kSys},
             {"Expression", ColType::Memo, 5, 0, kSys},
             {"Flag", ColType::Int, 6, 2, kSys},
             {"LvExtra", ColType::Ole, 7, 0, kSys},
             {"Name1", ColType::Text, 3, kText, kSys},
             {"Name2", ColType::Text, 4, kText, kSys},
             {"ObjectId", ColType::Long, 0, 4, kSys},
             {"Order", ColType::Binary, 2, kText, kSys}},
            {{"ObjectIdAttribute", {0, 1, 2}, kIdxAlways | kIdxUnique | kIdxRequired, true}}};
}

TableDef msysRelationships() {
    return {"MSysRelationships",
            true,
            {{"ccolumn", ColType::Long, 2, 4, kSys},
             {"grbit", ColType::Long, 1, 4, kSys},
             {"icolumn", ColType::Long, 3, 4, kSys},
             {"szColumn", ColType::Text, 5, kText, kSys},
             {"szObject", ColType::Text, 4, kText, kSys},
             {"szReferencedColumn", ColType::Text, 7, kText, kSys},
             {"szReferencedObject", ColType::Text, 6, kText, kSys},
             {"szRelationship", ColType::Text, 0, kText, kSys}},
            {{"szObject", {4}, kIdxAlways},
             {"szReferencedObject", {6}, kIdxAlways},
             {"szRelationship", {0}, kIdxAlways}}};
}

struct Built {
    TableDef def;
    TableLayout layout;
    std::vector<std::vector<Value>> rows;
    std::uint32_t dataPage = 0;  // 0: none
    std::vector<std::pair<std::uint32_t, std::uint8_t>> rowIds;
};

Bytes indexKey(const TableDef& def, const Index& ix, const std::vector<Value>& row) {
    Bytes key;
    for (std::uint16_t id : ix.columns) {
        const Column& c = def.byNumber(id);
        const Value& v = row.at(id);
        Bytes part;
        if (v.kind == Value::Kind::Null) {
            part = {0x00};
        } else if (c.type == ColType::Long) {
            part = indexKeyLong(static_cast<std::int32_t>(v.i));
        } else if (c.type == ColType::Text) {
            part = indexKeyText(v.s);
        } else {
            throw std::logic_error("index key of this column type is not written");
        }
        key.insert(key.end(), part.begin(), part.end());
    }
    return key;
}

std::vector<Value> catalogRow(const TableDef& def, std::int32_t id, std::int32_t parent,
                              const std::string& name, std::int16_t type, std::int32_t flags,
                              double now) {
    std::vector<Value> r(17);
    auto set = [&](const char* col, Value v) {
        for (const auto& c : def.columns)
            if (c.name == col) r[c.number] = std::move(v);
    };
    set("Id", Value::integer(id));
    set("ParentId", Value::integer(parent));
    set("Name", Value::text(name));
    set("Type", Value::integer(type));
    set("DateCreate", Value::date(now));
    set("DateUpdate", Value::date(now));
    set("Owner", Value::bytes(kAdminSid));
    set("Flags", Value::integer(flags));
    return r;
}

std::vector<Value> aceRow(std::int32_t object, bool inheritable) {
    // ids: ObjectId 0, SID 1, ACM 2, FInheritable 3
    return {Value::integer(object), Value::bytes(kAdminSid), Value::integer(kFullAccess),
            Value::boolean(inheritable)};
}

// The definition pages of the four system tables and the user table, in the
// order their rows are built.
constexpr std::uint32_t kTablePages[5] = {kMSysObjectsPage, kMSysACEsPage, kMSysQueriesPage,
                                          kMSysRelationshipsPage, kUserTablePage};

// The catalog's rows, in the order the engine keeps them: containers, the
// database object, then the tables (known by their definition page).
std::vector<std::vector<Value>> catalogRows(const std::vector<Built>& tables, double now) {
    const TableDef& cat = tables[0].def;
    std::vector<std::vector<Value>> rows;
    rows.push_back(catalogRow(cat, kTablesId, kRootId, "Tables", 3, kSystemFlag, now));
    rows.push_back(catalogRow(cat, kDatabasesId, kRootId, "Databases", 3, kSystemFlag, now));
    rows.push_back(
        catalogRow(cat, kRelationshipsId, kRootId, "Relationships", 3, kSystemFlag, now));
    rows.push_back(catalogRow(cat, kMSysDbId, kDatabasesId, "MSysDb", 2, kSystemFlag, now));
    for (const Built& t : tables)
        rows.push_back(catalogRow(cat, static_cast<std::int32_t>(t.layout.tdefPage), kTablesId,
                                  t.def.name, 1, t.def.system ? kSystemFlag : 0, now));
    return rows;
}

// Full access for Admin to every object; the containers pass it on.
std::vector<std::vector<Value>> aceRows() {
    std::vector<std::vector<Value>> rows;
    for (std::int32_t id : {kTablesId, kDatabasesId, kRelationshipsId})
        rows.push_back(aceRow(id, true));
    rows.push_back(aceRow(kMSysDbId, false));
    for (std::uint32_t p : kTablePages) rows.push_back(aceRow(static_cast<std::int32_t>(p), false));
    return rows;
}

// The five tables with their definition pages and rows; data pages and index
// roots are not placed yet.
std::vector<Built> catalogTables(const UserTable& user, double now) {
    std::vector<Built> tables(5);
    tables[0].def = msysObjects();
    tables[1].def = msysACEs();
    tables[2].def = msysQueries();
    tables[3].def = msysRelationships();
    tables[4].def = userTableDef(user);
    for (std::size_t t = 0; t < tables.size(); ++t) tables[t].layout.tdefPage = kTablePages[t];
    tables[0].rows = catalogRows(tables, now);
    tables[1].rows = aceRows();
    return tables;
}

// Numbers the pages after the fixed ones: the data page of each table with
// rows, then every index root. Returns the page count of the file.
std::uint32_t placePages(std::vector<Built>& tables) {
    std::uint32_t nextPage = kUserTablePage + 1;
    for (auto& t : tables)
        if (!t.rows.empty()) t.dataPage = nextPage++;
    for (auto& t : tables)
        for (std::size_t i = 0; i < t.def.indexes.size(); ++i)
            t.layout.indexRoots.push_back(nextPage++);
    return nextPage;
}

// The usage-map rows of every table, all on one page.
struct MapRows {
    Page page = emptyDataPage(0);
    std::uint32_t next = 0;

    // Adds a map; returns its reference (page << 8 | row).
    std::uint32_t add(const Bytes& m) {
        if (dataPageInsert(page, m.data(), m.size()) < 0)
            throw std::length_error("usage maps exceed a page");
        return (kUsageMapsPage << 8) | next++;
    }
};

// The table's rows on its data page, remembering where each one went.
void writeRows(Built& b, std::vector<Page>& pages) {
    if (!b.dataPage) return;
    Page dp = emptyDataPage(b.layout.tdefPage);
    for (const auto& r : b.rows) {
        const Bytes row = encodeRow(b.def, r);
        const int n = dataPageInsert(dp, row.data(), row.size());
        if (n < 0) throw std::length_error("catalog rows exceed a page");
        b.rowIds.emplace_back(b.dataPage, static_cast<std::uint8_t>(n));
    }
    pages[b.dataPage] = dp;
}

// The leaf entries of index `i`: each row's key, then its page (big-endian) and row.
std::vector<Bytes> indexEntries(const Built& b, std::size_t i) {
    std::vector<Bytes> entries;
    for (std::size_t r = 0; r < b.rows.size(); ++r) {
        Bytes e = indexKey(b.def, b.def.indexes[i], b.rows[r]);
        const std::uint32_t pg = b.rowIds[r].first;
        e.push_back(static_cast<std::uint8_t>(pg >> 16));
        e.push_back(static_cast<std::uint8_t>(pg >> 8));
        e.push_back(static_cast<std::uint8_t>(pg));
        e.push_back(b.rowIds[r].second);
        entries.push_back(std::move(e));
    }
    return entries;
}

// A table's pages: its rows, its usage maps (owned, free, one per index, two per
// long-value column), its index leaves and its definition.
void writeTable(Built& b, std::uint32_t pageCount, MapRows& maps, std::vector<Page>& pages) {
    writeRows(b, pages);
    std::vector<std::uint32_t> dataPages;
    if (b.dataPage) dataPages.push_back(b.dataPage);
    // An empty table's map starts where its first pages will come.
    const std::uint32_t start = b.dataPage ? b.dataPage : pageCount;
    b.layout.ownedMap = maps.add(inlineMap(start, dataPages));
    b.layout.freeMap = maps.add(inlineMap(start, dataPages));
    for (std::size_t i = 0; i < b.def.indexes.size(); ++i) {
        const std::uint32_t root = b.layout.indexRoots[i];
        b.layout.indexMaps.push_back(maps.add(inlineMap(root, {root})));
        pages[root] = indexLeafPage(b.layout.tdefPage, indexEntries(b, i));
    }
    for (std::size_t i = 0; i < b.def.longValueColumns(); ++i) {
        b.layout.lvMaps.push_back(maps.add(inlineMap(0, {})));
        b.layout.lvMaps.push_back(maps.add(inlineMap(0, {})));
    }
    pages[b.layout.tdefPage] =
        tableDefPage(b.def, b.layout, static_cast<std::uint32_t>(b.rows.size()));
}

// The global usage map: a set bit marks a free page; pages past the end of the
// file (within the map's reach) are free. A second, empty map row follows.
Page globalUsageMap(std::uint32_t pageCount) {
    Page global = emptyDataPage(1);
    std::vector<std::uint32_t> freePages;
    for (std::uint32_t p = pageCount; p < kInlineMapPages; ++p) freePages.push_back(p);
    const Bytes g = inlineMap(0, freePages);
    const Bytes spare = inlineMap(0, {});
    dataPageInsert(global, g.data(), g.size());
    dataPageInsert(global, spare.data(), spare.size());
    return global;
}

}  // namespace

TableDef userTableDef(const UserTable& table) {
    TableDef def{table.name, false, {}, {}};
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        def.columns.push_back({table.columns[i], ColType::Text, static_cast<std::uint16_t>(i),
                               static_cast<std::uint16_t>(table.textLength * 2), kColUpdatable,
                               true});
    }
    return def;
}

Bytes buildDatabase(const UserTable& user, std::int64_t unixSeconds) {
    const double now = accessDate(unixSeconds);
    std::vector<Built> tables = catalogTables(user, now);
    const std::uint32_t pageCount = placePages(tables);

    std::vector<Page> pages(pageCount);
    pages[0] = headerPage(now);
    MapRows maps;
    for (Built& b : tables) writeTable(b, pageCount, maps, pages);
    pages[kUsageMapsPage] = maps.page;
    pages[kGlobalMapPage] = globalUsageMap(pageCount);

    Bytes out;
    out.reserve(pageCount * kPageSize);
    for (const Page& p : pages) out.insert(out.end(), p.begin(), p.end());
    return out;
}

}  // namespace tvl::jet4
