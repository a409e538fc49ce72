// socat as the blind relay the benchmarks compare with: socat -b 65536
// between two pseudo-terminals of its own, whose raw free ends a and b the
// benchmark's clients open.
#pragma once

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bench/relay_clients.h"

extern char** environ;

namespace relay {

// socat's path on PATH, or empty text.
inline std::string findSocat() {
    const char* path = std::getenv("PATH");
    std::string dirs = path ? path : "/usr/bin:/bin";
    std::size_t start = 0;
    while (start <= dirs.size()) {
        const std::size_t end = std::min(dirs.find(':', start), dirs.size());
        const std::filesystem::path candidate =
            std::filesystem::path(dirs.substr(start, end - start)) / "socat";
        if (::access(candidate.c_str(), X_OK) == 0) return candidate.string();
        start = end + 1;
    }
    return {};
}

class SocatRelay {
public:
    explicit SocatRelay(const std::string& socat) : folder_(makeFolder("tvl-socat-")) {
        const std::string linkA = folder_ + "/A", linkB = folder_ + "/B";
        std::vector<std::string> args = {socat, "-b", "65536", "PTY,link=" + linkA + ",raw,echo=0",
                                         "PTY,link=" + linkB + ",raw,echo=0"};
        std::vector<char*> argv;
        for (auto& s : args) argv.push_back(s.data());
        argv.push_back(nullptr);
        if (::posix_spawn(&pid_, socat.c_str(), nullptr, nullptr, argv.data(), environ) != 0) {
            pid_ = 0;
            failure = "cannot start " + socat;
            return;
        }
        const auto end = Clock::now() + std::chrono::seconds(5);
        while (!(std::filesystem::exists(linkA) && std::filesystem::exists(linkB)) &&
               Clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        a = openRaw(linkA);
        b = openRaw(linkB);
        if (a < 0 || b < 0) failure = "socat's pseudo-terminals did not appear";
    }
    ~SocatRelay() {
        if (a >= 0) ::close(a);
        if (b >= 0) ::close(b);
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            ::waitpid(pid_, nullptr, 0);
        }
        std::filesystem::remove_all(folder_);
    }
    SocatRelay(const SocatRelay&) = delete;
    SocatRelay& operator=(const SocatRelay&) = delete;

    pid_t pid() const { return pid_; }

    int a = -1, b = -1;
    std::string failure;

private:
    std::string folder_;
    pid_t pid_ = 0;
};

}  // namespace relay
