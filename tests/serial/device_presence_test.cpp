// What Setup learns about this computer's devices without opening them, and
// whom an open refuses as busy.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "components/serial/device_rule.h"
#include "tests/serial/line_fixtures.h"

namespace tvl::test {
namespace {

// Another program holding the line until the test ends: it opens it (keeping
// the master it inherits from the test when it is the line's `maker`), and
// may take it exclusively.
struct OtherProgram {
    OtherProgram(PtyPair& pty, bool maker, bool exclusive) {
        int told[2] = {-1, -1};
        [[maybe_unused]] auto piped = ::pipe(told);
        if ((pid = fork()) == 0) {
            ::prctl(PR_SET_NAME, "holder");
            if (!maker) pty.closeMaster();
            const int fd = ::open(pty.terminal().c_str(), O_RDWR | O_NOCTTY);
            if (exclusive) ::ioctl(fd, TIOCEXCL);
            ::close(told[1]);  // the test's read ends: the line is held
            ::pause();
        }
        ::close(told[1]);
        char c;
        [[maybe_unused]] auto r = ::read(told[0], &c, 1);
        ::close(told[0]);
    }
    ~OtherProgram() {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
    pid_t pid = -1;
};

// A pseudo-terminal as port 5: ttyS4 in the folder the number rule reads.
struct PortFive : ::testing::Test {
    PortFive() { EXPECT_EQ(::symlink(pty.terminal().c_str(), node.c_str()), 0); }
    TempFolder folder;
    PtyPair pty;
    const std::string node = folder / "ttyS4";
    HeadlessLoop ui;
    SystemDevices devices{ui.poster(), folder.path(), folder / "virtual"};
};

TEST_F(PortFive, IsPresentBusyOrMissingWithoutOpeningTheDevice) {
    EXPECT_EQ(devices.presence(5), Presence::Present);
    EXPECT_EQ(devices.presence(6), Presence::Missing);
    EXPECT_EQ(devices.presence(300), Presence::Missing);
    {
        // The program that made the pseudo-terminal holds both its ends, as
        // socat does: that is the far end of the line, not another opener.
        OtherProgram maker(pty, true, false);
        EXPECT_EQ(devices.presence(5), Presence::Present);
    }
    {
        OtherProgram other(pty, false, false);
        EXPECT_EQ(devices.presence(5), Presence::Busy);
    }
    EXPECT_EQ(devices.presence(5), Presence::Present);
}

// A line another program holds exclusively, with no lock file, is refused as
// busy, naming the holder, whoever opens it: the administrator passes the
// hold at open, so the hold is asked for.
TEST_F(PortFive, HeldExclusivelyIsRefusedAsBusyNamingItsHolder) {
    EXPECT_EQ(refusalOf(devices, 5), "(opened)");
    OtherProgram holder(pty, false, true);
    const std::string busy =
        node + " is used by another program (holder, process " + std::to_string(holder.pid) + ")";
    EXPECT_EQ(refusalOf(devices, 5), busy) << "as " << (geteuid() == 0 ? "root" : "a user");
    EXPECT_EQ(asUser([&] { return refusalOf(devices, 5) == busy ? 0 : 1; }), 0) << "as a user";
}

}  // namespace
}  // namespace tvl::test
