// AppendCompoundFile: a compound file (OLE2, 512-byte sectors, version 3)
// holding one stream, written so the stream can grow in place while the file
// stays valid. Layout (docs/xls-format.md):
//
//   header | stream sectors 0..capacity-1 (contiguous) | FAT | DIFAT | directory
//
// Stream byte n lies at file offset 512 + n. The stream is as long as its
// capacity: what the writer has not yet written reads as zero bytes. So the
// FAT, DIFAT and directory (the "tail", after the capacity) never change while
// the stream is written inside it: the chain and the recorded size cannot
// disagree after a kill, as they could if two sectors had to change together.
// When the stream needs more room the tail is first rebuilt further on (its
// new place never overlapping the old), synced, and only then the header, one
// sector, is switched to it; a reader killed in between sees the old, still
// whole, file. The new room may hold the old tail's bytes: whatever reads the
// stream must stop before them (the workbook keeps an end marker of zeros).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "components/stores/deferred_sync.h"

namespace tvl {

class AppendCompoundFile {
public:
    AppendCompoundFile() = default;
    ~AppendCompoundFile();
    AppendCompoundFile(const AppendCompoundFile&) = delete;
    AppendCompoundFile& operator=(const AppendCompoundFile&) = delete;

    // Creates `file` with one stream `streamName` holding `initial`, synced.
    // It replaces an old file of that name only once whole: on a failure the
    // old file is as it was. Throws StoreError naming the file.
    void create(const std::string& file, std::string_view streamName, std::string_view initial);
    // Writes stream bytes at `offset`, in one system call: a kill cuts it only
    // at a page boundary. The capacity grows first when they pass its end.
    void write(std::uint64_t offset, std::string_view bytes);
    // Syncs what was written.
    void sync();
    // What was written reaches the disk within DeferredSync::kDelay.
    void syncSoon() { deferred_.written(); }
    // Cuts the stream down to the sectors written, when the shorter layout's
    // tail fits wholly before the current one, syncs and closes. Throws
    // StoreError; the file is closed either way.
    void close();

    bool isOpen() const { return fd_ >= 0; }

    // Called before each write to the file with its offset and bytes, so that
    // tests can see every state a kill could leave.
    std::function<void(std::uint64_t fileOffset, std::string_view bytes)> beforeWrite;

    static constexpr std::uint32_t kSector = 512;
    static constexpr std::uint64_t kMaxStream = 0x7FFFFFFF;  // version 3 limit

private:
    static std::uint32_t sectorsFor(std::uint64_t bytes) {
        return std::uint32_t((bytes + kSector - 1) / kSector);
    }
    void layTail(std::uint32_t capacity);  // sets capacity_, fat_, difat_
    std::string fatSector(std::uint32_t index) const;
    std::string tailBytes() const;
    std::string directorySector() const;
    std::string header() const;
    std::uint32_t dirSector() const { return capacity_ + fat_ + difat_; }
    void relocate(std::uint32_t neededSectors);
    void pwriteAll(std::uint64_t at, std::string_view bytes, const char* what);
    void syncFile();
    [[noreturn]] void fail(const std::string& what, int err) const;

    int fd_ = -1;
    DeferredSync deferred_;
    std::string file_;
    std::u16string name_;
    std::uint32_t capacity_ = 0;  // sectors owned by the stream
    std::uint32_t fat_ = 0;       // FAT sectors
    std::uint32_t difat_ = 0;     // DIFAT sectors
    std::uint64_t written_ = 0;   // end of the furthest stream write
};

}  // namespace tvl
