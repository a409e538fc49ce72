// What the serial tests share: a temporary folder and the far end of a
// pseudo-terminal; the UI thread's queue is the headless loop.
#pragma once

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <string>
#include <string_view>
#include <thread>

#include "components/serial/serial_port.h"
#include "platform/headless_loop.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/text_io.h"

namespace tvl::test {

using namespace std::chrono_literals;

using TempFolder = testing::ScratchFolder;
using testing::allBytes;

// A pseudo-terminal whose master the test holds as the far end of a line; the
// device under test opens the other end by its path.
class PtyPair {
public:
    PtyPair() {
        master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
        grantpt(master_);
        unlockpt(master_);
        char name[128];
        ptsname_r(master_, name, sizeof name);
        terminal_ = name;
    }
    ~PtyPair() { closeMaster(); }
    int master() const { return master_; }
    const std::string& terminal() const { return terminal_; }
    void closeMaster() {
        if (master_ >= 0) ::close(master_);
        master_ = -1;
    }

private:
    int master_ = -1;
    std::string terminal_;
};

// Runs `work` in a process of its own as an ordinary user's program would,
// without the administrator's right to pass another opener's exclusive hold,
// whoever runs the test; gives back what `work` returned (0..255).
template <class Work>
int asUser(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct caps[2]{};
        ::syscall(SYS_capget, &header, caps);
        caps[CAP_SYS_ADMIN / 32].effective &= ~(1u << (CAP_SYS_ADMIN % 32));
        ::syscall(SYS_capset, &header, caps);
        ::_exit(work());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// 0 when an ordinary user's program can open the path, else the errno.
inline int openAsUser(const std::string& path) {
    return asUser(
        [&] { return ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK) >= 0 ? 0 : errno; });
}

// Why the factory refuses to open the number, or "(opened)".
inline std::string refusalOf(SerialDeviceFactory& factory, int number) {
    try {
        factory.open(number, LineSettings{}, false, false, {});
    } catch (const SerialError& refusal) {
        return refusal.what();
    }
    return "(opened)";
}

// Waits, running nothing, until `done` holds; false when `limit` passed first.
template <class Done>
bool waitFor(Done done, std::chrono::milliseconds limit = 10s) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

// Writes everything to a non-blocking fd, waiting while it is full; returns
// what it could write before `limit`.
inline std::size_t writeAll(int fd, std::string_view bytes, std::chrono::milliseconds limit = 10s) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::size_t done = 0;
    while (done < bytes.size() && std::chrono::steady_clock::now() < deadline) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n > 0) {
            done += static_cast<std::size_t>(n);
            continue;
        }
        if (n < 0 && errno != EAGAIN && errno != EINTR) break;
        pollfd p{fd, POLLOUT, 0};
        ::poll(&p, 1, 10);
    }
    return done;
}

// Reads from a non-blocking fd until `count` bytes came or `limit` passed.
inline std::string readSome(int fd, std::size_t count, std::chrono::milliseconds limit = 10s) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::string got;
    char chunk[65536];
    while (got.size() < count && std::chrono::steady_clock::now() < deadline) {
        const ssize_t n = ::read(fd, chunk, std::min(sizeof chunk, count - got.size()));
        if (n > 0) {
            got.append(chunk, static_cast<std::size_t>(n));
            continue;
        }
        if (n == 0 || (errno != EAGAIN && errno != EINTR)) break;
        pollfd p{fd, POLLIN, 0};
        ::poll(&p, 1, 10);
    }
    return got;
}

// Takes what has arrived on a non-blocking fd, without waiting.
inline void collect(int fd, std::string& into) {
    char chunk[65536];
    for (ssize_t n; (n = ::read(fd, chunk, sizeof chunk)) > 0;) into.append(chunk, n);
}

// Bytes that no shift, repeat or loss leaves unchanged.
inline std::string noise(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (auto& byte : bytes) byte = static_cast<char>(random() & 0xff);
    return bytes;
}

}  // namespace tvl::test
