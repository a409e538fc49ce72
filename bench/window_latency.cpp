// bench_window_latency [SECONDS]: how quickly the window answers the user
// while simulated lines flood both ports and the pump rewrites the panes
// thousands of times a second.
//
// For each offered rate it feeds both lines every millisecond, posts a key
// event to the main window every 10 ms, and measures the time from posting to
// handling. It prints the latencies (median, 95th and 99th percentile, worst),
// the bytes the pump moved per second and port, the pane copies per second
// and the pane changes per second. Run offscreen or on a display.
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QKeyEvent>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "app/frm_main.h"
#include "desktop/qt_program.h"
#include "line/transfer_pump.h"
#include "platform/qt/form_view.h"

namespace {

// Marks probe events as they come in.
class Probe : public QObject {
public:
    explicit Probe(QElapsedTimer& clock) : clock_(clock) {}
    std::vector<qint64> latencies;  // microseconds
    qint64 postedAt = -1;

protected:
    bool eventFilter(QObject*, QEvent* e) override {
        if (e->type() == QEvent::KeyPress && postedAt >= 0 &&
            static_cast<QKeyEvent*>(e)->key() == Qt::Key_F24) {
            latencies.push_back(clock_.nsecsElapsed() / 1000 - postedAt);
            postedAt = -1;
            return true;
        }
        return false;
    }

private:
    QElapsedTimer& clock_;
};

double percentile(std::vector<qint64> v, double q) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<std::size_t>(q * (v.size() - 1) + 0.5))] / 1000.0;
}

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const double seconds = argc > 1 ? std::atof(argv[1]) : 2.0;

    tvl::QtProgram program;
    program.desktop.popupHook = [](tvl::Menu&) {};
    program.desktop.endHook = [] {};
    tvl::Program& p = *program.program;
    tvl::Main(p);
    program.desktop.dispatch([&] { p.frmSplash->Image1->Click(); });
    tvl::FrmMain& f = *p.FrmMain;
    tvl::FormView& view = *program.desktop.view(f);
    int n = 1;
    for (tvl::SerialPort* port : {&p.mscComControl1, &p.mscComControl2}) {
        port->setSettings("115200,N,8,1");
        port->setHandshaking(0);
        port->setCommPort(n);
        port->setPortOpen(true);
        p.state.CommHandle[n - 1] = port->CommID();
        ++n;
    }
    // Every change of a pane raises its revision, also one the pump settles itself.
    const auto changesSoFar = [&f] {
        std::uint64_t n = 0;
        for (const tvl::TextBox* pane : f.txtCommunication) n += pane->revision;
        return n;
    };

    QElapsedTimer clock;
    clock.start();
    Probe probe(clock);
    view.installEventFilter(&probe);
    tvl::TimerDriver& driver = *view.drivers().at(0);

    std::printf("%-14s %9s %9s %9s %9s %14s %13s %13s %6s\n", "offered/port", "p50 ms", "p95 ms",
                "p99 ms", "max ms", "moved B/s/port", "pane copies/s", "pane changes/s", "cpu");
    std::printf("%s\n", "(cpu: share of one core the whole program used)");
    const std::string chunk(4096, 'U');
    double p99AtGoalRate = 0;
    for (int perMs : {0, 10, 100, 1000, 4000}) {
        probe.latencies.clear();
        const std::uint64_t ticks0 = driver.ticks, copies0 = program.desktop.paneCopies,
                            changes0 = changesSoFar();
        const std::uint64_t count0 = p.state.TransmitCount[0];
        QTimer feeder;
        feeder.setTimerType(Qt::PreciseTimer);
        QObject::connect(&feeder, &QTimer::timeout, [&] {
            if (!perMs) return;
            // Keep the offered rate without letting an unserved backlog grow without bound.
            if (p.mscComControl1.InBufferCount() < 20 * perMs) {
                program.simulated1.feed(
                    std::string_view(chunk).substr(0, static_cast<std::size_t>(perMs)));
                program.simulated2.feed(
                    std::string_view(chunk).substr(0, static_cast<std::size_t>(perMs)));
            }
        });
        feeder.start(1);
        QTimer prober;
        QObject::connect(&prober, &QTimer::timeout, [&] {
            if (probe.postedAt >= 0) return;
            probe.postedAt = clock.nsecsElapsed() / 1000;
            QCoreApplication::postEvent(
                &view, new QKeyEvent(QEvent::KeyPress, Qt::Key_F24, Qt::NoModifier));
        });
        prober.start(10);
        const std::clock_t cpu0 = std::clock();
        const qint64 start = clock.elapsed();
        QEventLoop run;
        QTimer::singleShot(static_cast<int>(seconds * 1000), &run, &QEventLoop::quit);
        run.exec();
        feeder.stop();
        prober.stop();
        const double span = (clock.elapsed() - start) / 1000.0;
        (void)ticks0;
        const double moved =
            (static_cast<double>(p.state.TransmitCount[0]) - static_cast<double>(count0)) / span;
        std::printf("%-14d %9.2f %9.2f %9.2f %9.2f %14.0f %13.0f %13.0f %5.0f%%\n", perMs * 1000,
                    percentile(probe.latencies, 0.5), percentile(probe.latencies, 0.95),
                    percentile(probe.latencies, 0.99), percentile(probe.latencies, 1.0), moved,
                    (program.desktop.paneCopies - copies0) / span,
                    (changesSoFar() - changes0) / span,
                    100.0 * static_cast<double>(std::clock() - cpu0) / CLOCKS_PER_SEC / span);
        if (perMs == 4000) p99AtGoalRate = percentile(probe.latencies, 0.99);
        // Let the line drain before the next rate.
        while (tvl::bytesWaiting(p)) QCoreApplication::processEvents();
    }
    std::printf("slices %llu, ticks %llu\n", static_cast<unsigned long long>(driver.slices),
                static_cast<unsigned long long>(driver.ticks));
    std::printf("goal: p99 under 5 ms at 4 MB/s per port offered  %s (%.2f ms)\n",
                p99AtGoalRate < 5 ? "met" : "NOT MET", p99AtGoalRate);
    return 0;
}
