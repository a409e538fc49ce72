#include "components/stores/keltvl_file.h"

#include "components/stores/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace tvl {
namespace {

constexpr std::array<unsigned char, 8> kMagic = {0x89, 'T', 'V', 'L', '\r', '\n', 0x1A, '\n'};
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kFileHeader = 12;  // magic + version
constexpr std::size_t kRecordHead = 12;  // length1, length2, CRC of the two
constexpr std::size_t kRecordTrail = 8;  // CRC of head and texts, length1 + length2
constexpr std::size_t kRecordOverhead = kRecordHead + kRecordTrail;

using Table = std::array<std::array<std::uint32_t, 256>, 8>;

constexpr Table makeTable() {
    Table t{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t c = i;
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        t[0][i] = c;
    }
    for (std::uint32_t i = 0; i < 256; ++i)
        for (int s = 1; s < 8; ++s) t[s][i] = (t[s - 1][i] >> 8) ^ t[0][t[s - 1][i] & 0xFF];
    return t;
}
constexpr Table kCrcTable = makeTable();

std::uint32_t get32(const unsigned char* p) {
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
           std::uint32_t(p[3]) << 24;
}

void put32(std::string& out, std::uint32_t v) {
    const char b[4] = {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
    out.append(b, 4);
}

void appendEncodedRecord(std::string& out, std::string_view a, std::string_view b) {
    const std::size_t start = out.size();
    put32(out, std::uint32_t(a.size()));
    put32(out, std::uint32_t(b.size()));
    put32(out, Crc32(std::string_view(out).substr(start, 8)));
    out.append(a);
    out.append(b);
    put32(out, Crc32(std::string_view(out).substr(start)));
    put32(out, std::uint32_t(a.size() + b.size()));
}

std::string fileHeader() {
    std::string h(reinterpret_cast<const char*>(kMagic.data()), kMagic.size());
    put32(h, kVersion);
    return h;
}

std::string errnoText(int err) {
    return err ? std::string(": ") + std::strerror(err) : std::string();
}

[[noreturn]] void raise(const std::string& file, const std::string& what, int err = 0) {
    throw StoreError(file + ": " + what + errnoText(err));
}

void checkFileHeader(std::string_view image, const std::string& file) {
    if (image.size() < kMagic.size() ||
        std::memcmp(image.data(), kMagic.data(), kMagic.size()) != 0)
        raise(file, "not a Tarvoline capture file");
    if (image.size() < kFileHeader) raise(file, "capture file header is cut short");
    const std::uint32_t version = get32(reinterpret_cast<const unsigned char*>(image.data()) + 8);
    if (version != kVersion)
        raise(file, "capture file version " + std::to_string(version) + " is not supported");
}

enum class Span { ok, torn, damaged, absurd };

// Checks the record at `pos`; on ok fills `span` and `end`.
Span checkRecord(std::string_view image, std::uint64_t pos, TvlRecordSpan& span,
                 std::uint64_t& end) {
    const auto* base = reinterpret_cast<const unsigned char*>(image.data());
    const std::uint64_t left = image.size() - pos;
    const auto zeroTail = [&] {
        for (std::uint64_t i = pos; i < image.size(); ++i)
            if (base[i] != 0) return false;
        return true;
    };
    if (left < kRecordHead) return Span::torn;
    const unsigned char* p = base + pos;
    if (Crc32(image.substr(pos, 8)) != get32(p + 8)) return zeroTail() ? Span::torn : Span::damaged;
    const std::uint32_t l1 = get32(p), l2 = get32(p + 4);
    if (l1 > KelTVLFile::kMaxColumn || l2 > KelTVLFile::kMaxColumn) return Span::absurd;
    const std::uint64_t total = kRecordOverhead + std::uint64_t(l1) + l2;
    if (total > left) return Span::torn;
    const std::size_t body = kRecordHead + l1 + l2;
    if (Crc32(image.substr(pos, body)) != get32(p + body) || get32(p + body + 4) != l1 + l2)
        return Span::damaged;
    span = {pos + kRecordHead, l1, l2};
    end = pos + total;
    return Span::ok;
}

}  // namespace

std::uint32_t Crc32(std::string_view data, std::uint32_t crc) {
    const auto& t = kCrcTable;
    const auto* p = reinterpret_cast<const unsigned char*>(data.data());
    std::size_t n = data.size();
    crc = ~crc;
    while (n >= 8) {
        const std::uint32_t lo = get32(p) ^ crc, hi = get32(p + 4);
        crc = t[7][lo & 0xFF] ^ t[6][(lo >> 8) & 0xFF] ^ t[5][(lo >> 16) & 0xFF] ^ t[4][lo >> 24] ^
              t[3][hi & 0xFF] ^ t[2][(hi >> 8) & 0xFF] ^ t[1][(hi >> 16) & 0xFF] ^ t[0][hi >> 24];
        p += 8;
        n -= 8;
    }
    while (n--) crc = t[0][(crc ^ *p++) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

TvlIndex ParseTvlImage(std::string_view image, const std::string& file) {
    checkFileHeader(image, file);
    TvlIndex index;
    std::uint64_t pos = kFileHeader;
    switch (checkRecord(image, pos, index.titles, pos)) {
        case Span::ok:
            break;
        case Span::torn:
            raise(file, "capture file header is cut short");
        case Span::damaged:
            raise(file, "the column titles are damaged (check failed)");
        case Span::absurd:
            raise(file, "the column titles have an impossible length");
    }
    while (pos < image.size()) {
        TvlRecordSpan span;
        const Span got = checkRecord(image, pos, span, pos);
        if (got == Span::ok) {
            index.records.push_back(span);
            continue;
        }
        if (got == Span::torn) {
            index.torn = true;
            break;
        }
        const std::string which = "record " + std::to_string(index.records.size() + 1);
        raise(file, which + (got == Span::damaged ? " is damaged (check failed)"
                                                  : " has an impossible length"));
        break;
    }
    index.goodEnd = pos;
    return index;
}

// ---------------------------------------------------------------------------

KelTVLFile::~KelTVLFile() {
    sync_.watch(-1, {});
    if (fd_ >= 0) {
        if (dirty_) ::fsync(fd_);
        ::close(fd_);
    }
}

void KelTVLFile::fail(const std::string& file, const std::string& what, int err) const {
    raise(file, what, err);
}

void KelTVLFile::OpenStore() {
    const std::string file = FilePath();
    if (fd_ >= 0 && fdPath_ == file && asWritten(file)) return;
    closeFd();
    int fd = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0 && (errno == EACCES || errno == EROFS))
        fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        const int err = errno;
        if (err != ENOENT) fail(file, "cannot open", err);
        // No file yet is fine when AppendRecord(1) follows; a missing folder is not.
        struct stat st {};
        const std::string folder = StoreFolder.empty() ? std::string(".") : StoreFolder;
        if (::stat(folder.c_str(), &st) != 0) fail(file, "cannot open: folder missing", errno);
        if (!S_ISDIR(st.st_mode)) fail(file, "cannot open: folder is not a folder", ENOTDIR);
        fdPath_ = file;
        return;
    }
    adoptFd(fd, file);
}

// The file stays open between records: OpenStore checks with one stat that
// the path still names it, as this object left it, so that the append can
// go straight to its end.
bool KelTVLFile::asWritten(const std::string& file) {
    struct stat st {};
    if (end_ == 0 || ::stat(file.c_str(), &st) != 0) return false;
    if (std::uint64_t(st.st_dev) != fdDev_ || std::uint64_t(st.st_ino) != fdIno_ ||
        std::uint64_t(st.st_size) != end_)
        return false;
    appendAt_ = end_;
    return true;
}

void KelTVLFile::adoptFd(int fd, const std::string& file) {
    fd_ = fd;
    fdPath_ = file;
    end_ = 0;
    struct stat st {};
    if (::fstat(fd, &st) == 0) {
        fdDev_ = std::uint64_t(st.st_dev);
        fdIno_ = std::uint64_t(st.st_ino);
    }
    sync_.watch(fd, file);
}

void KelTVLFile::ensureFd(const std::string& file) {
    if (fd_ >= 0 && fdPath_ == file) return;
    closeFd();
    const int fd = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0) fail(file, "cannot open for appending", errno);
    adoptFd(fd, file);
}

void KelTVLFile::AppendRecord(int mode) {
    if (PortText1.size() > kMaxColumn || PortText2.size() > kMaxColumn)
        fail(FilePath(),
             "record too long (more than " + std::to_string(kMaxColumn) + " bytes in a column)");
    if (mode == 1) {
        if (PortTitle1.size() > kMaxColumn || PortTitle2.size() > kMaxColumn)
            fail(FilePath(), "column title too long");
        createFile();
    } else {
        appendRecord();
    }
    dropImage();
}

// The new file is written whole beside the old one and renamed over it, so a
// power cut leaves either the old file or the complete new one.
void KelTVLFile::createFile() {
    const std::string file = FilePath();
    closeFd();
    std::string image = fileHeader();
    appendEncodedRecord(image, PortTitle1, PortTitle2);
    appendEncodedRecord(image, PortText1, PortText2);
    const fileio::Replaced done = fileio::replaceWhole(file, image, ".part");
    if (done.err)
        fail(file, done.failedAt == fileio::Replaced::created ? "cannot create" : "cannot write",
             done.err);
    ensureFd(file);
    end_ = image.size();
}

void KelTVLFile::appendRecord() {
    const std::string file = FilePath();
    sync_.check();
    std::uint64_t end = std::exchange(appendAt_, 0);
    if (end == 0 || fd_ < 0 || fdPath_ != file) end = checkedEnd(file);

    std::string rec;
    rec.reserve(kRecordOverhead + PortText1.size() + PortText2.size());
    appendEncodedRecord(rec, PortText1, PortText2);
    if (const int err = fileio::writeAllAt(fd_, rec, end)) {
        if (::ftruncate(fd_, off_t(end)) == 0) ::fsync(fd_);
        end_ = 0;
        fail(file, "cannot append record", err);
    }
    dirty_ = true;
    end_ = end + rec.size();
    sync_.written();
}

// Where the next record goes, the file checked: its header, and normally
// only its last record; an incomplete tail is cut off.
std::uint64_t KelTVLFile::checkedEnd(const std::string& file) {
    ensureFd(file);
    struct stat st {};
    if (::fstat(fd_, &st) != 0) fail(file, "cannot read", errno);
    const std::uint64_t size = std::uint64_t(st.st_size);

    const auto readAt = [&](std::uint64_t at, std::size_t n) {
        std::string buf;
        if (const int err = fileio::readAllAt(fd_, at, n, buf)) fail(file, "cannot read", err);
        return buf;
    };

    checkFileHeader(readAt(0, kFileHeader), file);

    // Normally only the last record is checked: its trailer gives its length.
    std::uint64_t end = 0;
    if (size >= kFileHeader + kRecordOverhead) {
        const std::string trail = readAt(size - 4, 4);
        const std::uint64_t payload = get32(reinterpret_cast<const unsigned char*>(trail.data()));
        const std::uint64_t total = kRecordOverhead + payload;
        if (payload <= 2 * kMaxColumn && total <= size - kFileHeader) {
            const std::string last = readAt(size - total, std::size_t(total));
            TvlRecordSpan span;
            std::uint64_t lastEnd = 0;
            if (checkRecord(last, 0, span, lastEnd) == Span::ok && lastEnd == total) end = size;
        }
    }
    if (end == 0) {
        // The tail is not a complete record: read the whole file once to find
        // where the complete records end, and cut off what follows.
        const std::string image = readAt(0, std::size_t(size));
        const TvlIndex index = ParseTvlImage(image, file);
        end = index.goodEnd;
        if (end != size) {
            if (::ftruncate(fd_, off_t(end)) != 0)
                fail(file, "cannot cut off the incomplete last record", errno);
            dirty_ = true;
        }
    }
    return end;
}

void KelTVLFile::load(const std::string& file) {
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) fail(file, "cannot open", errno);
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        const int err = errno;
        ::close(fd);
        fail(file, "cannot read", err);
    }
    std::string image;
    image.reserve(std::size_t(st.st_size));
    const int err = fileio::readAll(fd, image);
    ::close(fd);
    if (err) fail(file, "cannot read", err);
    TvlIndex index = ParseTvlImage(image, file);
    image_ = std::move(image);
    index_ = std::move(index);
    loaded_ = true;
    loadedPath_ = file;
    loadedId_ = {std::uint64_t(st.st_dev), std::uint64_t(st.st_ino), std::uint64_t(image_.size()),
                 std::int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
    next_ = 0;
}

void KelTVLFile::ensureLoaded() {
    const std::string file = FilePath();
    if (loaded_ && loadedPath_ == file) {
        struct stat st {};
        if (::stat(file.c_str(), &st) == 0) {
            const Identity now{std::uint64_t(st.st_dev), std::uint64_t(st.st_ino),
                               std::uint64_t(st.st_size),
                               std::int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
            if (now == loadedId_) return;
        }
    }
    load(file);
}

void KelTVLFile::dropImage() {
    loaded_ = false;
    image_.clear();
    image_.shrink_to_fit();
    index_ = {};
    next_ = 0;
}

void KelTVLFile::CountRecords() {
    ensureLoaded();
    count_ = double(index_.records.size()) + 1;
}

double KelTVLFile::RecordCount() const { return count_; }

void KelTVLFile::ReadTitles() {
    ensureLoaded();
    const auto& t = index_.titles;
    PortTitle1.assign(image_, t.offset, t.length1);
    PortTitle2.assign(image_, t.offset + t.length1, t.length2);
}

void KelTVLFile::ReadRecord(int mode) {
    // The file is checked for changes at a rewind; the records after it come
    // from the image in memory.
    if (mode == 1 || !loaded_ || loadedPath_ != FilePath()) ensureLoaded();
    if (mode == 1) next_ = 0;
    if (mode == 1) return;
    if (next_ >= index_.records.size())
        fail(FilePath(), "no record " + std::to_string(next_ + 1) + " (the file holds " +
                             std::to_string(index_.records.size()) + ")");
    const auto& r = index_.records[next_++];
    PortText1.assign(image_, r.offset, r.length1);
    PortText2.assign(image_, r.offset + r.length1, r.length2);
}

void KelTVLFile::closeFd() {
    if (fd_ < 0) return;
    sync_.watch(-1, {});
    end_ = 0;
    int err = 0;
    if (dirty_ && ::fsync(fd_) != 0) err = errno;
    if (::close(fd_) != 0 && !err) err = errno;
    fd_ = -1;
    dirty_ = false;
    if (err) fail(fdPath_, "cannot finish writing", err);
}

void KelTVLFile::CloseStore() {
    dropImage();
    sync_.check();
}

void KelTVLFile::SyncStore() {
    if (fd_ < 0 || !dirty_) return;
    sync_.syncNow();
    dirty_ = false;
}

}  // namespace tvl
