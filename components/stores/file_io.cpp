#include "components/stores/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace tvl::fileio {

namespace {

// Runs one transfer call until `n` bytes moved; `step` returns what one call moved.
template <class Step>
int transfer(std::size_t n, std::size_t& done, Step step, bool stopAtEnd) {
    while (done < n) {
        const ssize_t moved = step(done);
        if (moved < 0 && errno == EINTR) continue;
        if (moved < 0) return errno;
        if (moved == 0) return stopAtEnd ? 0 : ENOSPC;
        done += std::size_t(moved);
    }
    return 0;
}

}  // namespace

int writeAll(int fd, std::string_view bytes) {
    std::size_t done = 0;
    return transfer(
        bytes.size(), done,
        [&](std::size_t at) { return ::write(fd, bytes.data() + at, bytes.size() - at); }, false);
}

int writeAllAt(int fd, std::string_view bytes, std::uint64_t at) {
    std::size_t done = 0;
    return transfer(
        bytes.size(), done,
        [&](std::size_t d) {
            return ::pwrite(fd, bytes.data() + d, bytes.size() - d, off_t(at + d));
        },
        false);
}

int readAllAt(int fd, std::uint64_t at, std::size_t n, std::string& out) {
    out.assign(n, '\0');
    std::size_t done = 0;
    const int err = transfer(
        n, done, [&](std::size_t d) { return ::pread(fd, out.data() + d, n - d, off_t(at + d)); },
        true);
    out.resize(done);
    return err;
}

int readAll(int fd, std::string& out) {
    out.clear();
    char chunk[65536];
    for (;;) {
        const ssize_t got = ::read(fd, chunk, sizeof chunk);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return errno;
        if (got == 0) return 0;
        out.append(chunk, std::size_t(got));
    }
}

void syncFolder(const std::string& folder) {
    const int fd =
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    ::fsync(fd);
    ::close(fd);
}

std::string folderOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

int replaceByRename(const std::string& fresh, const std::string& target) {
    if (std::rename(fresh.c_str(), target.c_str()) != 0) return errno;
    syncFolder(folderOf(target));
    return 0;
}

Replaced replaceWhole(const std::string& file, std::string_view image, const char* suffix) {
    const std::string part = file + suffix;
    const int fd = ::open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return {Replaced::created, errno};
    int err = writeAll(fd, image);
    if (!err && ::fsync(fd) != 0) err = errno;
    if (::close(fd) != 0 && !err) err = errno;
    if (err) {
        ::unlink(part.c_str());
        return {Replaced::written, err};
    }
    if ((err = replaceByRename(part, file))) {
        ::unlink(part.c_str());
        return {Replaced::renamed, err};
    }
    return {};
}

int HeldFile::hold(int fd) {
    struct stat st {};
    if (::fstat(fd, &st) != 0) return errno;
    dev = std::uint64_t(st.st_dev);
    ino = std::uint64_t(st.st_ino);
    named = std::chrono::steady_clock::now();
    return 0;
}

bool HeldFile::asLeft(int fd, const std::string& path, std::uint64_t size) {
    struct stat st {};
    if (fd < 0 || ::fstat(fd, &st) != 0 || st.st_nlink == 0 || std::uint64_t(st.st_size) != size)
        return false;
    const auto now = std::chrono::steady_clock::now();
    if (now - named < std::chrono::seconds(1)) return true;
    if (::stat(path.c_str(), &st) != 0 || std::uint64_t(st.st_dev) != dev ||
        std::uint64_t(st.st_ino) != ino)
        return false;
    named = now;
    return true;
}

}  // namespace tvl::fileio
