// AppendCompoundFile: a compound file (OLE2, 512-byte sectors, version 3)
// holding one stream, written so the stream can grow in place while the file
// stays valid. Layout (docs/xls-format.md):
//
//   header | stream sectors 0..capacity-1 (contiguous) | FAT | DIFAT | directory
//
// Stream byte n lies at file offset 512 + n. The stream owns `capacity`
// sectors; those past its size are marked free. The FAT, DIFAT and directory
// (the "tail") sit after them and do not move while the stream grows inside
// its capacity, so a commit rewrites only the FAT sector(s) whose chain
// changed and the directory sector, never the header. When the stream needs
// more room the tail is first rebuilt further on (its new place never
// overlapping the old), synced, and only then the header is switched to it;
// a reader killed in between sees the old, still whole, file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tvl {

class AppendCompoundFile {
public:
    AppendCompoundFile() = default;
    ~AppendCompoundFile();
    AppendCompoundFile(const AppendCompoundFile&) = delete;
    AppendCompoundFile& operator=(const AppendCompoundFile&) = delete;

    // Creates (replacing) `file` with one stream `streamName` holding `initial`
    // and syncs it. Throws StoreError naming the file.
    void create(const std::string& file, std::string_view streamName, std::string_view initial);
    // Writes stream bytes at `offset`; the stream grows when they pass its end.
    // Nothing written is visible to a reader past the old size until commit().
    void write(std::uint64_t offset, std::string_view bytes);
    // Records the stream's new size in the FAT and directory; syncs when `sync`.
    void commit(bool sync);
    // Gives back free capacity at the end of the file when it can, syncs and
    // closes. Throws StoreError; the file is closed either way.
    void close();

    bool isOpen() const { return fd_ >= 0; }
    std::uint64_t size() const { return pending_; }
    std::uint32_t capacitySectors() const { return capacity_; }
    const std::string& file() const { return file_; }

    static constexpr std::uint32_t kSector = 512;
    static constexpr std::uint64_t kMaxStream = 0x7FFFFFFF;  // version 3 limit

private:
    static std::uint32_t sectorsFor(std::uint64_t bytes) { return std::uint32_t((bytes + kSector - 1) / kSector); }
    void layTail(std::uint32_t capacity);  // sets capacity_, fat_, difat_
    std::string fatSector(std::uint32_t index, std::uint64_t streamSize) const;
    std::string tailBytes(std::uint64_t streamSize) const;
    std::string directorySector(std::uint64_t streamSize) const;
    std::string header() const;
    std::uint32_t dirSector() const { return capacity_ + fat_ + difat_; }
    void relocate(std::uint32_t neededSectors);
    void pwriteAll(std::uint64_t at, std::string_view bytes, const char* what);
    void sync(const char* what);
    [[noreturn]] void fail(const std::string& what, int err) const;

    int fd_ = -1;
    std::string file_;
    std::u16string name_;
    std::uint32_t capacity_ = 0;  // sectors owned by the stream
    std::uint32_t fat_ = 0;       // FAT sectors
    std::uint32_t difat_ = 0;     // DIFAT sectors
    std::uint64_t size_ = 0;      // stream size the FAT and directory record
    std::uint64_t pending_ = 0;   // stream size including writes not yet committed
};

}  // namespace tvl
