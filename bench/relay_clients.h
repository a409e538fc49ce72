// The clients at the free ends of a relay between two pseudo-terminal pairs,
// for the relay benchmarks: raw opens, whole writes, checked reads, and the
// three measurements (one way, both ways, one-byte round trips).
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace relay {

// A new folder under the temporary folder, or empty text.
inline std::string makeFolder(const char* prefix) {
    std::string pattern =
        (std::filesystem::temp_directory_path() / (std::string(prefix) + "XXXXXX")).string();
    const char* made = ::mkdtemp(pattern.data());
    return made ? made : "";
}

using Clock = std::chrono::steady_clock;

inline int openRaw(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return -1;
    termios t{};
    tcgetattr(fd, &t);
    cfmakeraw(&t);
    t.c_cc[VMIN] = 1;
    t.c_cc[VTIME] = 0;
    tcsetattr(fd, TCSANOW, &t);
    return fd;
}

inline bool writeAll(int fd, const char* data, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = ::write(fd, data + done, std::min<std::size_t>(65536, size - done));
        if (n > 0)
            done += static_cast<std::size_t>(n);
        else if (n < 0 && errno != EINTR && errno != EAGAIN)
            return false;
    }
    return true;
}

// Reads exactly size bytes, giving up after the limit; whether they all came
// and were the expected ones.
inline bool readExpect(int fd, const std::string& expected, std::chrono::seconds limit) {
    const auto end = Clock::now() + limit;
    std::vector<char> buffer(65536);
    std::size_t got = 0;
    bool same = true;
    while (got < expected.size()) {
        if (Clock::now() > end) return false;
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 100) <= 0) continue;
        const ssize_t n = ::read(fd, buffer.data(), std::min(buffer.size(), expected.size() - got));
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (n <= 0) return false;
        same = same &&
               std::memcmp(buffer.data(), expected.data() + got, static_cast<std::size_t>(n)) == 0;
        got += static_cast<std::size_t>(n);
    }
    return same;
}

inline std::string pattern(std::size_t n, unsigned seed) {
    std::string out(n, '\0');
    unsigned x = seed * 2654435761u + 1;
    for (char& c : out) {
        x ^= x << 13, x ^= x >> 17, x ^= x << 5;
        c = static_cast<char>(x & 0xFF);
    }
    return out;
}

// The time to move size bytes from a to b: MB/s, or nullopt when they did not arrive intact.
inline std::optional<double> oneWay(int a, int b, std::size_t size) {
    const std::string data = pattern(size, 1);
    const auto start = Clock::now();
    std::thread writer([&] { writeAll(a, data.data(), data.size()); });
    const bool ok = readExpect(b, data, std::chrono::seconds(120));
    writer.join();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (!ok) return std::nullopt;
    return size / seconds / 1e6;
}

inline std::optional<double> bothWays(int a, int b, std::size_t size) {
    const std::string ab = pattern(size, 2), ba = pattern(size, 3);
    const auto start = Clock::now();
    std::thread writeA([&] { writeAll(a, ab.data(), ab.size()); });
    std::thread writeB([&] { writeAll(b, ba.data(), ba.size()); });
    bool okB = false;
    std::thread readB([&] { okB = readExpect(b, ab, std::chrono::seconds(120)); });
    const bool okA = readExpect(a, ba, std::chrono::seconds(120));
    readB.join();
    writeA.join();
    writeB.join();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (!okA || !okB) return std::nullopt;
    return 2.0 * size / seconds / 1e6;
}

// One byte written at a, echoed by a client at b, read back at a; round trips
// in microseconds, sorted. Empty when a byte did not come back.
inline std::vector<double> roundTrips(int a, int b, int count) {
    std::atomic<bool> stop{false};
    std::thread echo([&] {
        char c;
        while (!stop) {
            pollfd p{b, POLLIN, 0};
            if (::poll(&p, 1, 50) <= 0) continue;
            if (::read(b, &c, 1) == 1) writeAll(b, &c, 1);
        }
    });
    std::vector<double> out;
    for (int i = 0; i < count; ++i) {
        const char c = static_cast<char>(i);
        const auto start = Clock::now();
        writeAll(a, &c, 1);
        pollfd p{a, POLLIN, 0};
        char back = 0;
        if (::poll(&p, 1, 2000) <= 0 || ::read(a, &back, 1) != 1 || back != c) {
            out.clear();
            break;
        }
        out.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    stop = true;
    echo.join();
    std::sort(out.begin(), out.end());
    return out;
}

inline double percentile(const std::vector<double>& sorted, double q) {
    if (sorted.empty()) return 0;
    return sorted[std::min(sorted.size() - 1, static_cast<std::size_t>(q * sorted.size()))];
}

}  // namespace relay
