// Appending rows to a table of an open Jet 4 database file. The cost of an
// append does not depend on the table's size: the last page of the file is the
// table's newest data page; a full page gets a new one at the end of the file,
// entered in the table's usage maps (inline while the table's pages fit in one,
// then through usage-map pages) and in the global usage map.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "components/stores/jet4_format.h"

namespace tvl::jet4 {

struct FormatError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Appender {
public:
    // Reads what it needs from the file behind `fd` (opened read-write). Throws
    // FormatError if `tdefPage` is not a user table's definition, or
    // std::system_error on a failed read.
    Appender(int fd, std::uint32_t tdefPage);
    ~Appender();
    Appender(const Appender&) = delete;
    Appender& operator=(const Appender&) = delete;

    // Appends one row and counts it in the table definition. Throws
    // std::system_error on a failed write; the file is then as before.
    void append(const Bytes& row);

    std::uint32_t rowCount() const { return rowCount_; }
    // The file's size as the appends left it.
    std::uint64_t fileSize() const { return std::uint64_t(pageCount_) * kPageSize; }

private:
    // What a new data page brings: the pages added at the end of the file and
    // the changes made in place, written in that order.
    struct Growth {
        std::uint32_t next;                                    // first page past the added ones
        std::vector<std::pair<std::uint32_t, Page>> added;     // new pages, in file order
        std::vector<std::pair<std::uint64_t, Bytes>> updates;  // offset, bytes
    };

    void readPage(std::uint32_t page, Page& out) const;
    void write(std::uint64_t offset, const std::uint8_t* data, std::size_t len) const;
    std::uint64_t mapRowOffset(std::uint32_t ref) const;
    void readMapRow(std::uint32_t ref, Bytes& out) const;

    bool appendToLastPage(const Bytes& row);
    std::uint32_t placeInInlineMap(Bytes& owned, Growth& g) const;
    std::uint32_t placeInReferenceMap(Bytes& owned, Growth& g) const;
    void markUsedInGlobalMap(Growth& g) const;
    void commit(const Growth& g);
    std::uint8_t* map(std::uint32_t page) const;

    int fd_;
    std::uint32_t tdef_;
    std::uint32_t rowCount_ = 0;
    std::uint32_t pageCount_ = 0;
    std::uint32_t ownedRef_ = 0;
    std::uint32_t freeRef_ = 0;
    Page last_{};
    bool lastIsOurs_ = false;
    // The two pages an append changes while the last page has room, mapped
    // shared with the file: a change is a store into the file's page cache
    // (in the file at once, as after a write, and synced with it), not a
    // system call. The pages lie inside the file, which only another program
    // cutting it short could take away.
    std::uint8_t* tdefMap_ = nullptr;
    std::uint8_t* lastMap_ = nullptr;  // the last page, while lastIsOurs_
};

}  // namespace tvl::jet4
