#include "components/serial/virtual_port.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace tvl {

namespace {
std::string failure(const std::string& what) { return what + ": " + std::strerror(errno); }

// A folder of ours: created 0700 when missing, refused when someone else owns it.
void ensureFolder(const std::string& folder) {
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        throw SerialError(failure("cannot create " + folder));
    struct stat st {};
    if (lstat(folder.c_str(), &st) != 0) throw SerialError(failure(folder));
    if (!S_ISDIR(st.st_mode) || st.st_uid != getuid())
        throw SerialError(folder + " is not a folder of this user");
}

std::string readLink(const std::string& path) {
    char target[PATH_MAX];
    const ssize_t n = readlink(path.c_str(), target, sizeof target - 1);
    return n < 0 ? std::string() : std::string(target, static_cast<std::size_t>(n));
}
}  // namespace

std::string defaultVirtualPortFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime && access(runtime, W_OK | X_OK) == 0)
        return std::string(runtime) + "/tarvoline";
    return "/tmp/tarvoline-" + std::to_string(getuid());
}

std::string virtualPortPath(const std::string& folder, int number) {
    return folder + "/com" + std::to_string(number);
}

std::unique_ptr<VirtualPort> VirtualPort::open(int number, const std::string& folder,
                                               const LineSettings& line, bool dtr, bool rts,
                                               DeviceEvents events, Poster poster) {
    ensureFolder(folder);
    std::unique_ptr<VirtualPort> port(new VirtualPort);  // undoes what is done if this throws
    port->link_ = virtualPortPath(folder, number);
    const std::string name = "virtual port: " + port->link_;

    const std::string lockPath = port->link_ + ".lock";
    port->lock_ = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (port->lock_ < 0) throw SerialError(failure("cannot create " + lockPath));
    if (flock(port->lock_, LOCK_EX | LOCK_NB) != 0)
        throw SerialError(name + " is used by another program");

    int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (master < 0) throw SerialError(failure("cannot create a pseudo-terminal"));
    char terminal[128];
    if (grantpt(master) != 0 || unlockpt(master) != 0 ||
        ptsname_r(master, terminal, sizeof terminal) != 0) {
        const std::string why = failure("cannot set up a pseudo-terminal");
        ::close(master);
        throw SerialError(why);
    }
    port->terminal_ = terminal;
    port->other_ = ::open(terminal, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (port->other_ < 0) {
        const std::string why = failure("cannot open " + port->terminal_);
        ::close(master);
        throw SerialError(why);
    }
    termios raw{};
    if (tcgetattr(port->other_, &raw) == 0) {
        cfmakeraw(&raw);
        tcsetattr(port->other_, TCSANOW, &raw);
    }

    // A pseudo-terminal carries every byte unchanged: no software or hardware
    // flow control on the client's end.
    LineSettings nominal = line;
    nominal.handshaking = comNone;
    port->master_ =
        PosixDevice::adopt(master, name, nominal, dtr, rts, std::move(events), std::move(poster));

    // We hold the lock, so whatever link is there was left by an instance that died.
    struct stat st {};
    if (lstat(port->link_.c_str(), &st) == 0 && !S_ISLNK(st.st_mode))
        throw SerialError(port->link_ + " exists and is not a link");
    const std::string temporary =
        folder + "/.com" + std::to_string(number) + "." + std::to_string(getpid());
    unlink(temporary.c_str());
    if (symlink(terminal, temporary.c_str()) != 0 ||
        rename(temporary.c_str(), port->link_.c_str()) != 0) {
        const std::string why = failure("cannot publish " + port->link_);
        unlink(temporary.c_str());
        throw SerialError(why);
    }
    port->published_ = true;
    return port;
}

VirtualPort::~VirtualPort() {
    if (published_ && readLink(link_) == terminal_) unlink(link_.c_str());
    master_.reset();
    if (other_ >= 0) ::close(other_);
    if (lock_ >= 0) ::close(lock_);
}

}  // namespace tvl
