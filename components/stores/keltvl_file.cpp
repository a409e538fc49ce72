#include "components/stores/keltvl_file.h"

#include "components/stores/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

namespace tvl {
namespace {

using namespace tvlfile;

constexpr std::size_t kRecordOverhead = headSize(kVersion) + kRecordTrail;

std::string errnoText(int err) {
    return err ? std::string(": ") + std::strerror(err) : std::string();
}

[[noreturn]] void raise(const std::string& file, const std::string& what, int err = 0) {
    throw StoreError(file + ": " + what + errnoText(err));
}

std::uint64_t nowMicros() {
    using namespace std::chrono;
    return std::uint64_t(
        duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
}

enum class Span { ok, torn, damaged, absurd };

// Checks the record of `version` at `pos`; on ok fills `span` and `end`.
Span checkRecord(std::string_view image, std::uint32_t version, std::uint64_t pos,
                 TvlRecordSpan& span, std::uint64_t& end) {
    const std::size_t head = headSize(version);
    const std::uint64_t left = image.size() - pos;
    const auto zeroTail = [&] {
        return image.find_first_not_of('\0', pos) == std::string_view::npos;
    };
    if (left < head) return Span::torn;
    Head h;
    if (!decodeHead(image.substr(pos, head), version, h))
        return zeroTail() ? Span::torn : Span::damaged;
    if (h.length1 > kMaxColumn || h.length2 > kMaxColumn) return Span::absurd;
    const std::uint64_t total = head + kRecordTrail + std::uint64_t(h.length1) + h.length2;
    if (total > left) return Span::torn;
    if (!checkRecordTrail(image.substr(pos, total), head)) return Span::damaged;
    span = {pos + head, h.length1, h.length2, h.time};
    end = pos + total;
    return Span::ok;
}

}  // namespace

TvlIndex ParseTvlImage(std::string_view image, const std::string& file) {
    TvlIndex index;
    index.version = checkFileHeader(image, file);
    std::uint64_t pos = kFileHeader;
    switch (checkRecord(image, index.version, pos, index.titles, pos)) {
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
        const Span got = checkRecord(image, index.version, pos, span, pos);
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

// The file stays open between records: OpenStore checks that it is still as
// this object left it, so that the append can go straight to its end.
bool KelTVLFile::asWritten(const std::string& file) {
    if (end_ == 0 || !held_.asLeft(fd_, file, end_)) return false;
    appendAt_ = end_;
    return true;
}

void KelTVLFile::adoptFd(int fd, const std::string& file) {
    fd_ = fd;
    fdPath_ = file;
    end_ = 0;
    if (held_.hold(fd) != 0) held_ = {};  // never as left: read again at each record
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

std::optional<RecordTime> KelTVLFile::timeToWrite() const {
    return KeepPortTime ? PortTime : std::optional<RecordTime>(nowMicros());
}

void KelTVLFile::createFile() {
    const std::string file = FilePath();
    closeFd();
    std::string image = fileHeader();
    tvlfile::appendRecord(image, PortTitle1, PortTitle2, std::nullopt);
    tvlfile::appendRecord(image, PortText1, PortText2, timeToWrite());
    replaceFile(file, image);
    ensureFd(file);
    end_ = image.size();
}

// The new file is written whole beside the old one and renamed over it, so a
// power cut leaves either the old file or the complete new one.
void KelTVLFile::replaceFile(const std::string& file, const std::string& image) {
    const fileio::Replaced done = fileio::replaceWhole(file, image, ".part");
    if (done.err)
        fail(file, done.failedAt == fileio::Replaced::created ? "cannot create" : "cannot write",
             done.err);
}

std::string KelTVLFile::readAt(const std::string& file, std::uint64_t at, std::size_t n) const {
    std::string buf;
    if (const int err = fileio::readAllAt(fd_, at, n, buf)) fail(file, "cannot read", err);
    return buf;
}

std::uint64_t KelTVLFile::fileSize(const std::string& file) const {
    struct stat st {};
    if (::fstat(fd_, &st) != 0) fail(file, "cannot read", errno);
    return std::uint64_t(st.st_size);
}

void KelTVLFile::appendRecord() {
    const std::string file = FilePath();
    sync_.check();
    std::uint64_t end = std::exchange(appendAt_, 0);
    if (end == 0 || fd_ < 0 || fdPath_ != file) end = checkedEnd(file);

    std::string rec;
    rec.reserve(kRecordOverhead + PortText1.size() + PortText2.size());
    tvlfile::appendRecord(rec, PortText1, PortText2, timeToWrite());
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
    if (checkFileHeader(readAt(file, 0, kFileHeader), file) == 1) upgradeFile(file);
    return appendPosition(file);
}

// A file of version 1 (records without times) is rewritten once in the
// version written, its records keeping no time, so that every record
// appended to it carries its time. A torn tail is left behind.
void KelTVLFile::upgradeFile(const std::string& file) {
    const std::string old = readAt(file, 0, std::size_t(fileSize(file)));
    const TvlIndex index = ParseTvlImage(old, file);
    const std::string_view image(old);
    const auto add = [&](std::string& out, const TvlRecordSpan& r) {
        tvlfile::appendRecord(out, image.substr(r.offset, r.length1),
                              image.substr(r.offset + r.length1, r.length2), r.time);
    };
    std::string fresh = fileHeader();
    add(fresh, index.titles);
    for (const TvlRecordSpan& r : index.records) add(fresh, r);
    closeFd();
    replaceFile(file, fresh);
    ensureFd(file);
}

// Where the next record goes: the end of the last complete record.
std::uint64_t KelTVLFile::appendPosition(const std::string& file) {
    const std::uint64_t size = fileSize(file);
    // Normally only the last record is checked: its trailer gives its length.
    if (size >= kFileHeader + kRecordOverhead) {
        const std::uint64_t payload = get32(readAt(file, size - 4, 4).data());
        const std::uint64_t total = kRecordOverhead + payload;
        if (payload <= 2 * kMaxColumn && total <= size - kFileHeader) {
            const std::string last = readAt(file, size - total, std::size_t(total));
            TvlRecordSpan span;
            std::uint64_t lastEnd = 0;
            if (checkRecord(last, kVersion, 0, span, lastEnd) == Span::ok && lastEnd == total)
                return size;
        }
    }
    // The tail is not a complete record: read the whole file once to find
    // where the complete records end, and cut off what follows.
    const TvlIndex index = ParseTvlImage(readAt(file, 0, std::size_t(size)), file);
    if (index.goodEnd != size) {
        if (::ftruncate(fd_, off_t(index.goodEnd)) != 0)
            fail(file, "cannot cut off the incomplete last record", errno);
        dirty_ = true;
    }
    return index.goodEnd;
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
    PortTime = r.time;
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
