// The file work every store shares: whole reads and writes that go on after
// an interrupted or short transfer, a folder made durable, and a file
// replaced whole by writing its successor beside it and renaming it over.
// Each call returns 0 or the errno of its failure.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace tvl::fileio {

// All of `bytes` at the file position (write) or at `at` (pwrite). A write
// that makes no progress fails with ENOSPC.
int writeAll(int fd, std::string_view bytes);
int writeAllAt(int fd, std::string_view bytes, std::uint64_t at);

// Up to `n` bytes from `at` into `out`; fewer only where the file ends.
int readAllAt(int fd, std::uint64_t at, std::size_t n, std::string& out);
// The whole file from its current position into `out`.
int readAll(int fd, std::string& out);

// Makes the folder's entries durable (the folder of a new or renamed file);
// "" is the current folder. Best effort: a folder that cannot be opened is left.
void syncFolder(const std::string& folder);

// The folder part of a path, with its "/"; "" for a bare name.
std::string folderOf(const std::string& path);

// Renames `fresh` over `target` and makes the rename durable.
int replaceByRename(const std::string& fresh, const std::string& target);

// Writes `image` to `file` + `suffix`, makes it durable and renames it over
// `file`: at every moment `file` is the old one or the new one, each whole.
// On failure the partial file is removed and `file` is as it was.
struct Replaced {
    enum Step { created, written, renamed } failedAt = created;
    int err = 0;  // 0: replaced
};
Replaced replaceWhole(const std::string& file, std::string_view image, const char* suffix);

// The file a store holds open between records, and whether it is still as
// the store left it, so that an append can go straight to its end.
struct HeldFile {
    std::uint64_t dev = 0, ino = 0;
    std::chrono::steady_clock::time_point named{};  // when its path last named it

    // Takes the identity of the open `fd`; the errno of a failed fstat, or 0.
    int hold(int fd);
    // Whether `fd` is still linked, `size` bytes long and named by `path`. The
    // open file answers at once; its path, whose lookup costs more than a
    // record's write, is looked up again at most once a second. A file deleted,
    // replaced or grown by another program is seen at the next record; one
    // moved away keeps that second's records.
    bool asLeft(int fd, const std::string& path, std::uint64_t size);
};

}  // namespace tvl::fileio
