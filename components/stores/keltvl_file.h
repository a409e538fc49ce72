// KelTVLFile: the native .tvl capture file (layout in docs/tvl-format.md).
//
// Writing is append-only: AppendRecord(1) builds a new file beside the old one
// and renames it into place; AppendRecord(0) checks only the last record and
// writes the new one after it, so its cost does not depend on the file's size.
// The file stays open from one record to the next; what was written reaches
// the disk within DeferredSync::kDelay, and at once at SyncStore. Every record
// carries the time it was written; a file of the version before times
// (version 1) reads, and is rewritten once in the present version by its first
// AppendRecord(0).
//
// Reading loads the whole file into memory once (at CountRecords, or at the
// first ReadTitles/ReadRecord after OpenStore) and then hands out records from
// there. A file whose last record is incomplete (power cut while writing) is a
// "torn" file: every complete record reads, TornTail() says so, and the next
// AppendRecord(0) cuts the incomplete tail off before it writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "components/stores/capture_store.h"
#include "components/stores/deferred_sync.h"
#include "components/stores/file_io.h"
#include "components/stores/tvl_format.h"

namespace tvl {

// Where the records of a capture file image lie. Offsets index the image.
struct TvlRecordSpan {
    std::uint64_t offset;  // first byte of column 1; column 2 follows it
    std::uint32_t length1;
    std::uint32_t length2;
    std::optional<RecordTime> time;
};

struct TvlIndex {
    std::uint32_t version = 0;
    TvlRecordSpan titles{};
    std::vector<TvlRecordSpan> records;  // the first is the one AppendRecord(1) wrote
    bool torn = false;                   // the image ends inside a record
    std::uint64_t goodEnd = 0;           // the end of the last complete record
};

// Checks a whole capture file image and finds its records. Throws StoreError
// naming `file` for anything that is not a capture or is damaged before its
// last record; an incomplete last record only sets `torn`.
TvlIndex ParseTvlImage(std::string_view image, const std::string& file);

class KelTVLFile : public KelTVL {
public:
    // One column (and one title) holds at most this many bytes.
    static constexpr std::size_t kMaxColumn = tvlfile::kMaxColumn;

    KelTVLFile() = default;
    ~KelTVLFile() override;
    KelTVLFile(const KelTVLFile&) = delete;
    KelTVLFile& operator=(const KelTVLFile&) = delete;

    void OpenStore() override;
    void AppendRecord(int mode) override;
    void CountRecords() override;
    double RecordCount() const override;
    void ReadTitles() override;
    void ReadRecord(int mode) override;
    void CloseStore() override;
    void SyncStore() override;

    // The file last read ended inside a record (its complete records still read).
    bool TornTail() const { return loaded_ && index_.torn; }

private:
    struct Identity {
        std::uint64_t dev = 0, ino = 0, size = 0;
        std::int64_t mtimeNs = 0;
        bool operator==(const Identity&) const = default;
    };

    std::optional<RecordTime> timeToWrite() const;
    void createFile();
    void replaceFile(const std::string& file, const std::string& image);
    std::string readAt(const std::string& file, std::uint64_t at, std::size_t n) const;
    std::uint64_t fileSize(const std::string& file) const;
    void appendRecord();
    void upgradeFile(const std::string& file);
    std::uint64_t appendPosition(const std::string& file);
    void ensureFd(const std::string& file);
    void adoptFd(int fd, const std::string& file);
    bool asWritten(const std::string& file);
    std::uint64_t checkedEnd(const std::string& file);
    void ensureLoaded();
    void load(const std::string& file);
    void dropImage();
    void closeFd();
    [[noreturn]] void fail(const std::string& file, const std::string& what, int err = 0) const;

    int fd_ = -1;
    std::string fdPath_;
    bool dirty_ = false;  // written since the last fsync
    fileio::HeldFile held_;
    std::uint64_t end_ = 0;       // the file's size as this object left it; 0: not known
    std::uint64_t appendAt_ = 0;  // set by OpenStore when the file is as left
    DeferredSync sync_;

    bool loaded_ = false;
    std::string loadedPath_;
    Identity loadedId_;
    std::string image_;
    TvlIndex index_;
    std::size_t next_ = 0;  // the record the next ReadRecord(0) gives
    double count_ = 0;
};

}  // namespace tvl
