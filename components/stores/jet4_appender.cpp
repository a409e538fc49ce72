#include "components/stores/jet4_appender.h"

#include "components/stores/file_io.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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

}  // namespace

Appender::Appender(int fd, std::uint32_t tdef_page) : fd_(fd), tdef_(tdef_page) {
    struct stat st {};
    if (fstat(fd_, &st) != 0) fail("stat");
    page_count_ = static_cast<std::uint32_t>(st.st_size / kPageSize);
    if (page_count_ <= tdef_) throw FormatError("file too short");

    Page tdef;
    readPage(tdef_, tdef);
    if (tdef[0] != kPageTableDef || tdef[40] != kTableUser)
        throw FormatError("no user table definition");
    row_count_ = get32(&tdef[kTdefRowCount]);
    owned_ref_ = get32(&tdef[kTdefOwnedMap]);
    free_ref_ = get32(&tdef[kTdefFreeMap]);
    for (std::uint32_t ref : {owned_ref_, free_ref_}) {
        Bytes m;
        readMapRow(ref, m);
        if (m[0] > 1) throw FormatError("unknown usage map type");
    }

    // A page torn off by an interrupted append is no part of the database.
    if (st.st_size % static_cast<off_t>(kPageSize) != 0 &&
        ftruncate(fd_, static_cast<off_t>(at(page_count_))) != 0)
        fail("truncate");

    readPage(page_count_ - 1, last_);
    last_is_ours_ = last_[0] == kPageData && get32(&last_[4]) == tdef_;
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
    if (page == 0 || page >= page_count_) throw FormatError("usage map outside the file");
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

void Appender::append(const Bytes& row) {
    if (last_is_ours_) {
        Page p = last_;
        if (dataPageInsert(p, row.data(), row.size()) >= 0) {
            write(at(page_count_ - 1), p.data(), kPageSize);
            last_ = p;
            std::uint8_t count[4];
            put32(count, row_count_ + 1);
            write(at(tdef_) + kTdefRowCount, count, 4);
            ++row_count_;
            return;
        }
    }

    // A new data page at the end of the file, after any usage-map page it needs.
    std::uint32_t next = page_count_;
    std::vector<std::pair<std::uint32_t, Page>> added;     // new pages, in file order
    std::vector<std::pair<std::uint64_t, Bytes>> updates;  // then in-place changes
    Bytes owned;
    readMapRow(owned_ref_, owned);
    const std::uint64_t owned_at = mapRowOffset(owned_ref_);
    auto region = [](std::uint32_t page) {
        return page / static_cast<std::uint32_t>(kPagesPerMapPage);
    };
    std::uint32_t data_page = 0;

    if (owned[0] == 0) {
        const std::uint32_t start = get32(&owned[1]);
        if (next >= start && next < start + kInlineMapPages) {
            data_page = next++;
            setBit(&owned[5], data_page - start);
        } else {
            // The table has outgrown its inline map: one usage-map page per
            // region of pages, pointed to from the map row.
            std::vector<std::uint32_t> pages;
            for (std::uint32_t b = 0; b < kInlineMapPages; ++b)
                if (testBit(&owned[5], b)) pages.push_back(start + b);
            std::set<std::uint32_t> regions;
            for (std::uint32_t p : pages) regions.insert(region(p));
            std::vector<std::pair<std::uint32_t, std::uint32_t>> map_pages;  // region, page
            for (std::uint32_t r : regions) map_pages.emplace_back(r, next++);
            while (!regions.count(region(next))) {
                regions.insert(region(next));
                map_pages.emplace_back(region(next), next);
                ++next;
            }
            data_page = next++;
            pages.push_back(data_page);
            Bytes ref(kUsageMapRowSize, 0);
            ref[0] = 0x01;
            for (const auto& [r, mp] : map_pages) {
                if (r >= kReferenceMapSlots) throw FormatError("table too large");
                put32(&ref[1 + 4 * r], mp);
                Page m = usageMapPage();
                for (std::uint32_t p : pages)
                    if (region(p) == r)
                        setBit(&m[4], p - r * static_cast<std::uint32_t>(kPagesPerMapPage));
                added.emplace_back(mp, m);
            }
            owned = ref;
        }
    } else {
        std::uint32_t r = region(next);
        while (r < kReferenceMapSlots && get32(&owned[1 + 4 * r]) == 0) {
            put32(&owned[1 + 4 * r], next);  // a map page for the region the data page falls in
            added.emplace_back(next, usageMapPage());
            ++next;
            r = region(next);
        }
        if (r >= kReferenceMapSlots) throw FormatError("table too large");
        data_page = next++;
        const std::uint32_t map_page = get32(&owned[1 + 4 * r]);
        const std::uint32_t bit = data_page - r * static_cast<std::uint32_t>(kPagesPerMapPage);
        bool is_new = false;
        for (auto& [n, m] : added)
            if (n == map_page) {
                setBit(&m[4], bit);
                is_new = true;
            }
        if (!is_new) {
            if (map_page >= page_count_) throw FormatError("usage map page outside the file");
            std::uint8_t byte = 0;
            const std::uint64_t off = at(map_page) + 4 + bit / 8;
            if (pread(fd_, &byte, 1, static_cast<off_t>(off)) != 1) fail("read");
            byte |= static_cast<std::uint8_t>(1u << (bit % 8));
            updates.emplace_back(off, Bytes{byte});
        }
    }
    updates.emplace_back(owned_at, owned);

    Page dp = emptyDataPage(tdef_);
    if (dataPageInsert(dp, row.data(), row.size()) < 0) throw FormatError("row larger than a page");
    added.emplace_back(data_page, dp);

    // Pages with room for rows: the new one.
    updates.emplace_back(mapRowOffset(free_ref_), inlineMap(data_page, {data_page}));

    // The global map's free bits of pages now used.
    if (page_count_ < kInlineMapPages) {
        Page g;
        readPage(1, g);
        if (g[0] == kPageData && dataPageRows(g) > 0) {
            const std::size_t off = dataPageRowOffset(g, 0);
            if (off + kUsageMapRowSize <= kPageSize && g[off] == 0) {
                const std::uint32_t start = get32(&g[off + 1]);
                Bytes m(g.begin() + static_cast<std::ptrdiff_t>(off),
                        g.begin() + static_cast<std::ptrdiff_t>(off + kUsageMapRowSize));
                for (std::uint32_t p = page_count_; p < next; ++p)
                    if (p >= start && p < start + kInlineMapPages) clearBit(&m[5], p - start);
                updates.emplace_back(at(1) + off, m);
            }
        }
    }

    std::uint8_t count[4];
    put32(count, row_count_ + 1);
    updates.emplace_back(at(tdef_) + kTdefRowCount, Bytes(count, count + 4));

    const std::uint32_t old_count = page_count_;
    try {
        for (const auto& [n, p] : added) write(at(n), p.data(), kPageSize);
        for (const auto& [off, b] : updates) write(off, b.data(), b.size());
    } catch (...) {
        if (ftruncate(fd_, static_cast<off_t>(at(old_count))) != 0) {
            // the torn pages stay unreferenced; the next open cuts a partial one
        }
        throw;
    }
    page_count_ = next;
    last_ = dp;
    last_is_ours_ = true;
    ++row_count_;
}

}  // namespace tvl::jet4
