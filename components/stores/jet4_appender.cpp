#include "components/stores/jet4_appender.h"

#include "components/stores/file_io.h"
#include "components/stores/jet4_catalog.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <set>
#include <system_error>
#include <utility>

namespace tvl::jet4 {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::uint64_t at(std::uint32_t page) { return std::uint64_t(page) * kPageSize; }

bool testBit(const std::uint8_t* bits, std::uint32_t n) { return bits[n / 8] & (1u << (n % 8)); }
void setBit(std::uint8_t* bits, std::uint32_t n) {
    bits[n / 8] |= static_cast<std::uint8_t>(1u << (n % 8));
}
void clearBit(std::uint8_t* bits, std::uint32_t n) {
    bits[n / 8] &= static_cast<std::uint8_t>(~(1u << (n % 8)));
}

// A usage-map page covers one region of pages, from the region's first page.
std::uint32_t regionOf(std::uint32_t page) {
    return page / static_cast<std::uint32_t>(kPagesPerMapPage);
}
std::uint32_t firstPageOf(std::uint32_t region) {
    return region * static_cast<std::uint32_t>(kPagesPerMapPage);
}

}  // namespace

Appender::Appender(int fd, std::uint32_t tdefPage) : fd_(fd), tdef_(tdefPage) {
    struct stat st {};
    if (fstat(fd_, &st) != 0) fail("stat");
    pageCount_ = static_cast<std::uint32_t>(st.st_size / kPageSize);
    if (pageCount_ <= tdef_) throw FormatError("file too short");

    Page tdef;
    readPage(tdef_, tdef);
    if (tdef[0] != kPageTableDef || tdef[40] != kTableUser)
        throw FormatError("no user table definition");
    rowCount_ = get32(&tdef[kTdefRowCount]);
    ownedRef_ = get32(&tdef[kTdefOwnedMap]);
    freeRef_ = get32(&tdef[kTdefFreeMap]);
    for (std::uint32_t ref : {ownedRef_, freeRef_}) {
        Bytes m;
        readMapRow(ref, m);
        if (m[0] > 1) throw FormatError("unknown usage map type");
    }

    // A page torn off by an interrupted append is no part of the database.
    if (st.st_size % static_cast<off_t>(kPageSize) != 0 &&
        ftruncate(fd_, static_cast<off_t>(at(pageCount_))) != 0)
        fail("truncate");

    readPage(pageCount_ - 1, last_);
    lastIsOurs_ = last_[0] == kPageData && get32(&last_[4]) == tdef_;
    tdefMap_ = map(tdef_);
    if (lastIsOurs_) {
        try {
            lastMap_ = map(pageCount_ - 1);
        } catch (...) {
            munmap(tdefMap_, kPageSize);
            throw;
        }
    }
}

Appender::~Appender() {
    munmap(tdefMap_, kPageSize);
    if (lastMap_) munmap(lastMap_, kPageSize);
}

std::uint8_t* Appender::map(std::uint32_t page) const {
    void* m = mmap(nullptr, kPageSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd_,
                   static_cast<off_t>(at(page)));
    if (m == MAP_FAILED) fail("map");
    return static_cast<std::uint8_t*>(m);
}

void Appender::readPage(std::uint32_t page, Page& out) const {
    const ssize_t n = pread(fd_, out.data(), kPageSize, static_cast<off_t>(at(page)));
    if (n < 0) fail("read");
    if (static_cast<std::size_t>(n) != kPageSize)
        throw FormatError("page beyond the end of the file");
}

void Appender::write(std::uint64_t offset, const std::uint8_t* data, std::size_t len) const {
    const std::string_view bytes(reinterpret_cast<const char*>(data), len);
    if (const int err = fileio::writeAllAt(fd_, bytes, offset)) {
        errno = err;
        fail("write");
    }
}

std::uint64_t Appender::mapRowOffset(std::uint32_t ref) const {
    const std::uint32_t page = ref >> 8, row = ref & 0xFF;
    if (page == 0 || page >= pageCount_) throw FormatError("usage map outside the file");
    Page p;
    readPage(page, p);
    if (p[0] != kPageData || row >= dataPageRows(p)) throw FormatError("usage map row missing");
    const std::size_t start = dataPageRowOffset(p, row);
    const std::size_t end = row == 0 ? kPageSize : dataPageRowOffset(p, row - 1);
    if (end < start + kUsageMapRowSize) throw FormatError("usage map row too short");
    return at(page) + start;
}

void Appender::readMapRow(std::uint32_t ref, Bytes& out) const {
    out.assign(kUsageMapRowSize, 0);
    const ssize_t n = pread(fd_, out.data(), out.size(), static_cast<off_t>(mapRowOffset(ref)));
    if (n < 0) fail("read");
    if (static_cast<std::size_t>(n) != out.size())
        throw FormatError("usage map row beyond the end of the file");
}

// Adds the row to the table's newest page when that page is the file's last
// and has room; false if a new page is needed.
bool Appender::appendToLastPage(const Bytes& row) {
    const int index = dataPageInsert(last_, row.data(), row.size());
    if (index < 0) return false;
    // The row first, then the page head that points to it: a kill between
    // the two leaves a row nobody reads.
    const std::size_t start = dataPageRowOffset(last_, std::size_t(index));
    std::memcpy(lastMap_ + start, &last_[start], row.size());
    std::atomic_signal_fence(std::memory_order_seq_cst);
    std::memcpy(lastMap_, last_.data(), kDataRowTable + 2 * (std::size_t(index) + 1));
    std::atomic_signal_fence(std::memory_order_seq_cst);
    put32(&tdefMap_[kTdefRowCount], rowCount_ + 1);
    ++rowCount_;
    return true;
}

// The new data page while the table's map is inline: the next page if the map
// reaches it, else the map turns into references to usage-map pages.
std::uint32_t Appender::placeInInlineMap(Bytes& owned, Growth& g) const {
    const std::uint32_t start = get32(&owned[1]);
    if (g.next >= start && g.next < start + kInlineMapPages) {
        const std::uint32_t dataPage = g.next++;
        setBit(&owned[5], dataPage - start);
        return dataPage;
    }
    // The table has outgrown its inline map: one usage-map page per region of
    // pages, pointed to from the map row.
    std::vector<std::uint32_t> pages;
    for (std::uint32_t b = 0; b < kInlineMapPages; ++b)
        if (testBit(&owned[5], b)) pages.push_back(start + b);
    std::set<std::uint32_t> regions;
    for (std::uint32_t p : pages) regions.insert(regionOf(p));
    std::vector<std::pair<std::uint32_t, std::uint32_t>> mapPages;  // region, page
    for (std::uint32_t r : regions) mapPages.emplace_back(r, g.next++);
    while (!regions.count(regionOf(g.next))) {
        regions.insert(regionOf(g.next));
        mapPages.emplace_back(regionOf(g.next), g.next);
        ++g.next;
    }
    const std::uint32_t dataPage = g.next++;
    pages.push_back(dataPage);
    Bytes ref(kUsageMapRowSize, 0);
    ref[0] = 0x01;
    for (const auto& [r, mp] : mapPages) {
        if (r >= kReferenceMapSlots) throw FormatError("table too large");
        put32(&ref[1 + 4 * r], mp);
        Page m = usageMapPage();
        for (std::uint32_t p : pages)
            if (regionOf(p) == r) setBit(&m[4], p - firstPageOf(r));
        g.added.emplace_back(mp, m);
    }
    owned = ref;
    return dataPage;
}

// The new data page while the table's map refers to usage-map pages: a map
// page is added for each region reached without one, and the data page's bit
// set in its region's page.
std::uint32_t Appender::placeInReferenceMap(Bytes& owned, Growth& g) const {
    std::uint32_t r = regionOf(g.next);
    while (r < kReferenceMapSlots && get32(&owned[1 + 4 * r]) == 0) {
        put32(&owned[1 + 4 * r], g.next);  // a map page for the region the data page falls in
        g.added.emplace_back(g.next, usageMapPage());
        ++g.next;
        r = regionOf(g.next);
    }
    if (r >= kReferenceMapSlots) throw FormatError("table too large");
    const std::uint32_t dataPage = g.next++;
    const std::uint32_t mapPage = get32(&owned[1 + 4 * r]);
    const std::uint32_t bit = dataPage - firstPageOf(r);
    bool isNew = false;
    for (auto& [n, m] : g.added)
        if (n == mapPage) {
            setBit(&m[4], bit);
            isNew = true;
        }
    if (!isNew) {
        if (mapPage >= pageCount_) throw FormatError("usage map page outside the file");
        std::uint8_t byte = 0;
        const std::uint64_t off = at(mapPage) + 4 + bit / 8;
        if (pread(fd_, &byte, 1, static_cast<off_t>(off)) != 1) fail("read");
        byte |= static_cast<std::uint8_t>(1u << (bit % 8));
        g.updates.emplace_back(off, Bytes{byte});
    }
    return dataPage;
}

// Clears the global map's free bits of the pages now used, while the file is
// small enough for that map to cover them.
void Appender::markUsedInGlobalMap(Growth& g) const {
    if (pageCount_ >= kInlineMapPages) return;
    Page global;
    readPage(kGlobalMapPage, global);
    if (global[0] != kPageData || dataPageRows(global) == 0) return;
    const std::size_t off = dataPageRowOffset(global, 0);
    if (off + kUsageMapRowSize > kPageSize || global[off] != 0) return;
    const std::uint32_t start = get32(&global[off + 1]);
    Bytes m(global.begin() + static_cast<std::ptrdiff_t>(off),
            global.begin() + static_cast<std::ptrdiff_t>(off + kUsageMapRowSize));
    for (std::uint32_t p = pageCount_; p < g.next; ++p)
        if (p >= start && p < start + kInlineMapPages) clearBit(&m[5], p - start);
    g.updates.emplace_back(at(kGlobalMapPage) + off, m);
}

// Writes the new pages, then the changes; on a failure the file is cut back to
// its old length.
void Appender::commit(const Growth& g) {
    const std::uint32_t oldCount = pageCount_;
    try {
        for (const auto& [n, p] : g.added) write(at(n), p.data(), kPageSize);
        for (const auto& [off, b] : g.updates) write(off, b.data(), b.size());
    } catch (...) {
        if (ftruncate(fd_, static_cast<off_t>(at(oldCount))) != 0) {
            // the torn pages stay unreferenced; the next open cuts a partial one
        }
        throw;
    }
    pageCount_ = g.next;
}

void Appender::append(const Bytes& row) {
    if (lastIsOurs_ && appendToLastPage(row)) return;

    // A new data page at the end of the file, after any usage-map page it needs.
    Growth g{pageCount_, {}, {}};
    Bytes owned;
    readMapRow(ownedRef_, owned);
    const std::uint64_t ownedAt = mapRowOffset(ownedRef_);
    const std::uint32_t dataPage =
        owned[0] == 0 ? placeInInlineMap(owned, g) : placeInReferenceMap(owned, g);
    g.updates.emplace_back(ownedAt, owned);

    Page dp = emptyDataPage(tdef_);
    if (dataPageInsert(dp, row.data(), row.size()) < 0) throw FormatError("row larger than a page");
    g.added.emplace_back(dataPage, dp);

    // Pages with room for rows: the new one.
    g.updates.emplace_back(mapRowOffset(freeRef_), inlineMap(dataPage, {dataPage}));
    markUsedInGlobalMap(g);
    std::uint8_t count[4];
    put32(count, rowCount_ + 1);
    g.updates.emplace_back(at(tdef_) + kTdefRowCount, Bytes(count, count + 4));

    commit(g);
    std::uint8_t* newLast = map(dataPage);
    if (lastMap_) munmap(lastMap_, kPageSize);
    lastMap_ = newLast;
    last_ = dp;
    lastIsOurs_ = true;
    ++rowCount_;
}

}  // namespace tvl::jet4
