#include "platform/qt/end_signals.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QSocketNotifier>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tvl {

namespace {
// The write end of the pipe the handler tells the event loop through: a
// handler may only do what is safe in a signal, and write() is.
int signalled = -1;

void onSignal(int number) {
    const int saved = errno;
    const char byte = static_cast<char>(number);
    [[maybe_unused]] auto written = ::write(signalled, &byte, 1);
    errno = saved;
}
}  // namespace

void endOnSignals(std::function<void()> end) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        std::fprintf(stderr, "tarvoline: cannot watch for signals: %s\n", std::strerror(errno));
        return;
    }
    signalled = ends[1];
    auto* notifier =
        new QSocketNotifier(ends[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                     [fd = ends[0], end = std::move(end)] {
                         char numbers[16];
                         while (::read(fd, numbers, sizeof numbers) > 0) {
                         }
                         end();
                     });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int number : {SIGTERM, SIGINT, SIGHUP}) sigaction(number, &action, nullptr);
}

}  // namespace tvl
