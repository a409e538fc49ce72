#include "components/stores/compound_file.h"

#include "components/stores/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "components/stores/capture_store.h"

namespace tvl {
namespace {

constexpr std::uint32_t kDifSect = 0xFFFFFFFC;
constexpr std::uint32_t kFatSect = 0xFFFFFFFD;
constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t kFreeSect = 0xFFFFFFFF;
constexpr std::uint32_t kNoStream = 0xFFFFFFFF;
constexpr std::uint32_t kPerSector = AppendCompoundFile::kSector / 4;  // 128 sector numbers
constexpr std::uint32_t kHeaderDifat = 109;
constexpr std::uint32_t kFirstSlack = 64;  // spare stream sectors at creation
// A stream of 4,096 bytes or less would belong in the mini stream (FreeXL
// looks for it there already at exactly 4,096).
constexpr std::uint32_t kMinSectors = 9;

void put16(std::string& s, std::size_t at, std::uint16_t v) {
    s[at] = char(v);
    s[at + 1] = char(v >> 8);
}
void put32(std::string& s, std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) s[at + i] = char(v >> (8 * i));
}

void directoryEntry(std::string& s, std::size_t at, std::u16string_view name, std::uint8_t type,
                    std::uint32_t child, std::uint32_t start, std::uint64_t size) {
    for (std::size_t i = 0; i < name.size(); ++i) put16(s, at + 2 * i, name[i]);
    put16(s, at + 64, name.empty() ? 0 : std::uint16_t(2 * (name.size() + 1)));
    s[at + 66] = char(type);
    s[at + 67] = char(name.empty() ? 0 : 1);  // black
    put32(s, at + 68, kNoStream);             // left sibling
    put32(s, at + 72, kNoStream);             // right sibling
    put32(s, at + 76, child);
    put32(s, at + 116, start);
    put32(s, at + 120, std::uint32_t(size));
    put32(s, at + 124, 0);
}

}  // namespace

AppendCompoundFile::~AppendCompoundFile() {
    if (fd_ >= 0) ::close(fd_);
}

void AppendCompoundFile::fail(const std::string& what, int err) const {
    throw StoreError(file_ + ": " + what +
                     (err ? std::string(": ") + std::strerror(err) : std::string()));
}

void AppendCompoundFile::pwriteAll(std::uint64_t at, std::string_view bytes, const char* what) {
    if (beforeWrite) beforeWrite(at, bytes);
    if (const int err = fileio::writeAllAt(fd_, bytes, at)) fail(what, err);
}

void AppendCompoundFile::syncFile() {
    if (::fdatasync(fd_) != 0) fail("cannot write", errno);
}

void AppendCompoundFile::layTail(std::uint32_t capacity) {
    std::uint32_t fat = 1, difat = 0;
    for (;;) {
        const std::uint64_t total = std::uint64_t(capacity) + fat + difat + 1;
        const auto needFat = std::uint32_t((total + kPerSector - 1) / kPerSector);
        const std::uint32_t needDifat =
            needFat > kHeaderDifat ? (needFat - kHeaderDifat + kPerSector - 2) / (kPerSector - 1)
                                   : 0;
        if (needFat == fat && needDifat == difat) break;
        fat = needFat;
        difat = needDifat;
    }
    capacity_ = capacity;
    fat_ = fat;
    difat_ = difat;
}

std::string AppendCompoundFile::fatSector(std::uint32_t index) const {
    std::string out(kSector, '\0');
    for (std::uint32_t i = 0; i < kPerSector; ++i) {
        const std::uint64_t s = std::uint64_t(index) * kPerSector + i;
        std::uint32_t v = kFreeSect;
        if (s < capacity_)
            v = s + 1 == capacity_ ? kEndOfChain : std::uint32_t(s + 1);
        else if (s < std::uint64_t(capacity_) + fat_)
            v = kFatSect;
        else if (s < std::uint64_t(capacity_) + fat_ + difat_)
            v = kDifSect;
        else if (s == dirSector())
            v = kEndOfChain;
        put32(out, 4 * i, v);
    }
    return out;
}

std::string AppendCompoundFile::directorySector() const {
    std::string out(kSector, '\0');
    directoryEntry(out, 0, u"Root Entry", 5, 1, kEndOfChain, 0);
    directoryEntry(out, 128, name_, 2, kNoStream, 0, std::uint64_t(capacity_) * kSector);
    for (std::size_t e = 2; e < 4; ++e) {
        put32(out, 128 * e + 68, kNoStream);
        put32(out, 128 * e + 72, kNoStream);
        put32(out, 128 * e + 76, kNoStream);
    }
    return out;
}

std::string AppendCompoundFile::tailBytes() const {
    std::string out;
    out.reserve(std::size_t(fat_ + difat_ + 1) * kSector);
    for (std::uint32_t i = 0; i < fat_; ++i) out += fatSector(i);
    for (std::uint32_t d = 0; d < difat_; ++d) {
        std::string sec(kSector, '\xFF');
        for (std::uint32_t k = 0; k < kPerSector - 1; ++k) {
            const std::uint64_t f = kHeaderDifat + std::uint64_t(d) * (kPerSector - 1) + k;
            if (f < fat_) put32(sec, 4 * k, capacity_ + std::uint32_t(f));
        }
        put32(sec, kSector - 4, d + 1 < difat_ ? capacity_ + fat_ + d + 1 : kEndOfChain);
        out += sec;
    }
    out += directorySector();
    return out;
}

std::string AppendCompoundFile::header() const {
    std::string h(kSector, '\0');
    static const unsigned char sig[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
    std::memcpy(h.data(), sig, 8);
    put16(h, 24, 0x003E);  // minor version
    put16(h, 26, 0x0003);  // major version 3: 512-byte sectors
    put16(h, 28, 0xFFFE);  // little-endian
    put16(h, 30, 9);       // sector shift
    put16(h, 32, 6);       // mini sector shift
    put32(h, 44, fat_);
    put32(h, 48, dirSector());
    put32(h, 56, 0x1000);  // mini stream cutoff
    put32(h, 60, kEndOfChain);
    put32(h, 64, 0);
    put32(h, 68, difat_ ? capacity_ + fat_ : kEndOfChain);
    put32(h, 72, difat_);
    for (std::uint32_t i = 0; i < kHeaderDifat; ++i)
        put32(h, 76 + 4 * i, i < fat_ ? capacity_ + i : kFreeSect);
    return h;
}

void AppendCompoundFile::create(const std::string& file, std::string_view streamName,
                                std::string_view initial) {
    if (fd_ >= 0) close();
    file_ = file;
    name_.assign(streamName.begin(), streamName.end());
    // Built beside the file and renamed over it once whole and synced: an old
    // file of the same name stays as it was until then.
    const std::string part = file + ".part";
    fd_ = ::open(part.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd_ < 0) fail("cannot create", errno);
    try {
        deferred_.watch(fd_, file);
        written_ = initial.size();
        layTail(std::max(sectorsFor(initial.size()) + kFirstSlack, kMinSectors));
        pwriteAll(kSector, initial, "cannot write");
        pwriteAll(std::uint64_t(capacity_ + 1) * kSector, tailBytes(), "cannot write");
        syncFile();
        pwriteAll(0, header(), "cannot write");
        syncFile();
        if (const int err = fileio::replaceByRename(part, file)) fail("cannot replace the file", err);
    } catch (const StoreError&) {
        deferred_.watch(-1, {});
        ::close(fd_);
        fd_ = -1;
        ::unlink(part.c_str());
        throw;
    }
}

void AppendCompoundFile::relocate(std::uint32_t needed) {
    const std::uint32_t oldTail = fat_ + difat_ + 1;
    // Doubling: few growths, each a sync the rows wait for.
    const std::uint32_t grow = std::max({oldTail, kPerSector, capacity_});
    const std::uint32_t newCapacity =
        std::max(needed, std::min(capacity_ + grow, sectorsFor(kMaxStream)));
    const std::uint32_t oldCapacity = capacity_, oldFat = fat_, oldDifat = difat_;
    layTail(newCapacity);
    try {
        // The new tail lies past the old one; the header still names the old.
        pwriteAll(std::uint64_t(capacity_ + 1) * kSector, tailBytes(), "cannot write");
        syncFile();
        pwriteAll(0, header(), "cannot write");
    } catch (const StoreError&) {
        // Still the old layout: later writes must not reach the old tail.
        capacity_ = oldCapacity;
        fat_ = oldFat;
        difat_ = oldDifat;
        throw;
    }
    deferred_.written();  // either header names a whole file: the new one syncs with the rows
}

void AppendCompoundFile::write(std::uint64_t offset, std::string_view bytes) {
    if (fd_ < 0) fail("not open", 0);
    deferred_.check();
    const std::uint64_t end = offset + bytes.size();
    if (end > kMaxStream) fail("workbook is full (2 GB)", EFBIG);
    const std::uint32_t needed = sectorsFor(end);
    if (needed > capacity_) relocate(needed);
    pwriteAll(kSector + offset, bytes, "cannot write");
    written_ = std::max(written_, end);
}

void AppendCompoundFile::sync() {
    if (fd_ < 0) fail("not open", 0);
    syncFile();
}

void AppendCompoundFile::close() {
    if (fd_ < 0) return;
    deferred_.watch(-1, {});  // synced below
    try {
        // Give back the spare capacity when the shorter layout's tail fits
        // wholly before the current one (so the header switch stays safe).
        const std::uint32_t oldCapacity = capacity_, oldFat = fat_, oldDifat = difat_;
        const std::uint32_t used = std::max(sectorsFor(written_), kMinSectors);
        layTail(used);
        if (used + fat_ + difat_ + 1 <= oldCapacity) {
            pwriteAll(std::uint64_t(capacity_ + 1) * kSector, tailBytes(), "cannot write");
            syncFile();
            pwriteAll(0, header(), "cannot write");
            syncFile();
            if (::ftruncate(fd_, off_t(std::uint64_t(dirSector() + 2) * kSector)) != 0)
                fail("cannot write", errno);
        } else {
            capacity_ = oldCapacity;
            fat_ = oldFat;
            difat_ = oldDifat;
        }
        if (::fsync(fd_) != 0) fail("cannot write", errno);
    } catch (...) {
        ::close(fd_);
        fd_ = -1;
        throw;
    }
    const int rc = ::close(fd_);
    fd_ = -1;
    if (rc != 0) fail("cannot close", errno);
}

}  // namespace tvl
