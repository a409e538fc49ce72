// The desktop program, ended in every way in the middle of a run, leaves its
// lines as found: its queued output reaches the line, which takes back its
// settings and lets others in, and the virtual port's link is gone.
#include <gtest/gtest.h>
#include <signal.h>
#include <termios.h>

#include <QApplication>
#include <QSocketNotifier>
#include <filesystem>

#include "app/frm_main.h"
#include "desktop/qt_program.h"
#include "line/start_stop.h"
#include "platform/qt/form_view.h"
#include "tests/serial/line_fixtures.h"

namespace tvl::test {
namespace {

const std::string kQueued = noise(256 * 1024, 7);  // far more than a pseudo-terminal holds

// The whole program in a child: a Host run between a pseudo-terminal at number
// 5 and virtual port 902, output queued toward Port 1. It writes to `ready` once
// running; a byte on `command` runs Exit ('x') or closes the main window ('c').
[[noreturn]] void runProgram(const TempFolder& folder, int ready, int command) {
    ::setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
    int argc = 1;
    char name[] = "tarvoline";
    char* argv[] = {name, nullptr};
    QApplication app(argc, argv);
    QtProgram qt(QtProgram::Lines::System, folder / "dev");
    qt.exitOnSignals();
    Program& p = *qt.program;
    qt.desktop.dispatch([&] {
        Main(p);
        p.frmSplash->Image1->Click();
        p.state.OperationMode = 1;
        p.state.MonitorChoice = 2;
        p.mscComControl1.setCommPort(5);
        p.mscComControl2.setCommPort(902);
        p.mscComControl1.setPortOpen(true);
        p.mscComControl2.setPortOpen(true);
        mnuStartStop_Click(p);
        p.mscComControl1.Output(kQueued);
    });
    QSocketNotifier commands(command, QSocketNotifier::Read);
    QObject::connect(&commands, &QSocketNotifier::activated, [&] {
        char c = 0;
        if (::read(command, &c, 1) != 1) return;
        if (c == 'x') qt.desktop.dispatch([&] { p.FrmMain->mnuExit->Click(); });
        if (c == 'c') qt.desktop.view(*p.FrmMain)->close();
    });
    [[maybe_unused]] auto told = ::write(ready, "r", 1);
    app.exec();
    ::_exit(3);  // the program ends its process itself
}

auto settingsOf(int fd) {
    termios t{};
    tcgetattr(fd, &t);
    return std::tuple(t.c_iflag, t.c_oflag, t.c_cflag, t.c_lflag, cfgetospeed(&t));
}

TEST(ProgramEnd, EveryWayOfEndingLeavesTheLineAsFoundAndDrained) {
    for (int way : {int('x'), int('c'), SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(way);
        TempFolder folder;
        std::filesystem::create_directory(folder / "dev");
        PtyPair device;
        ASSERT_EQ(::symlink(device.terminal().c_str(), (folder / "dev/ttyS4").c_str()), 0);
        // The test holds the line's end as socat would, to see what it is left with.
        const int held = ::open(device.terminal().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        const auto found = settingsOf(held);
        int ready[2], command[2];
        ASSERT_TRUE(::pipe2(ready, O_CLOEXEC) == 0 && ::pipe2(command, O_CLOEXEC) == 0);
        const pid_t program = fork();
        if (program == 0) runProgram(folder, ready[1], command[0]);
        ::close(ready[1]);  // so that a program that dies unready ends the wait
        char r = 0;
        ASSERT_EQ(::read(ready[0], &r, 1), 1);

        const std::string link = folder / "tarvoline/com902";
        EXPECT_NE(settingsOf(held), found) << "the program runs the line raw";
        EXPECT_EQ(openAsUser(device.terminal()), EBUSY) << "the program holds the line";
        EXPECT_TRUE(std::filesystem::is_symlink(link));
        const char c = static_cast<char>(way);  // a command, or a signal
        ASSERT_EQ(way > SIGRTMAX ? ::write(command[1], &c, 1) : ::kill(program, way) + 1, 1);
        // The output queued at the end reaches the line while the program ends.
        std::string arrived;
        int status = 0;
        while (::waitpid(program, &status, WNOHANG) == 0) {
            collect(device.master(), arrived);
            pollfd p{device.master(), POLLIN, 0};
            ::poll(&p, 1, 10);
        }
        collect(device.master(), arrived);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        EXPECT_TRUE(arrived == kQueued) << arrived.size() << " bytes arrived";
        EXPECT_EQ(settingsOf(held), found);
        EXPECT_EQ(openAsUser(device.terminal()), 0) << "the program let go of the line";
        EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)));
        for (int fd : {held, ready[0], command[0], command[1]}) ::close(fd);
    }
}

}  // namespace
}  // namespace tvl::test
