// The whole headless program as a Host-mode relay, for the relay benchmarks:
// Setup as a user makes it (Host mode, two port numbers, the default line),
// Start, and a user-interface thread that runs what the line threads post and
// drives tmrTarvoline with the desktop's TimerDriver, until the object goes.
#pragma once

#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "app/frm_main.h"
#include "app/frm_setup.h"
#include "app/program.h"
#include "bench/relay_clients.h"
#include "components/serial/device_rule.h"
#include "line/transfer_pump.h"
#include "platform/headless_loop.h"
#include "platform/quiet_platform.h"
#include "platform/timer_driver.h"
#include "setup/setup.h"

namespace relay {

class HostRelay {
public:
    // The devices are made with the relay's Poster; `port1` and `port2` are
    // typed into Setup's port boxes.
    using MakeDevices = std::function<std::unique_ptr<tvl::SystemDevices>(tvl::Poster)>;
    HostRelay(const MakeDevices& makeDevices, const char* port1, const char* port2,
              std::chrono::seconds lineLimit = std::chrono::seconds(10)) {
        using namespace tvl;
        devices_ = makeDevices(loop_.poster());
        ProgramParts parts;
        parts.platform = &platform_;
        parts.line1 = devices_.get();
        parts.line2 = devices_.get();
        program_ = std::make_unique<Program>(std::move(parts));
        Program& program = *program_;
        Main(program);
        program.frmSplash->Image1->Click();

        mnuSetup_Click(program);
        FrmSetup& setup = *program.frmSetup;
        setup.optMode[1]->choose();
        setup.txtComPort[0]->setText(port1);
        setup.txtComPort[1]->setText(port2);
        setup.cmdOK->Click();
        if (!platform_.messages.empty() || !program.mscComControl1.PortOpen()) {
            failure = platform_.messages.empty() ? "Setup did not open the ports"
                                                 : platform_.messages.front();
            return;
        }
        // A network line is up once its server has answered.
        if (!loop_.runUntil([&] { return linesUp(); }, lineLimit)) {
            failure = "the lines did not come up";
            return;
        }
        Timer& timer = *program.FrmMain->tmrTarvoline;
        driver_ =
            std::make_unique<TimerDriver>(timer, [&program] { return tickHasWork(program); });
        loop_.drive(*driver_);
        program.mscComControl1.OnReadable = [this] { loop_.readable(); };
        program.mscComControl2.OnReadable = [this] { loop_.readable(); };
        program.FrmMain->mnuStartStop->Click();
        if (program.state.RunState != 1 || !timer.Enabled) {
            failure = "Start did not start the run";
            return;
        }
        loop_.timerEnabled();
        // From here on only the loop's thread touches the program.
        ui_ = std::thread([this] { loop_.run(stop_); });
    }

    ~HostRelay() {
        if (ui_.joinable()) {
            stop_ = true;
            loop_.wake();
            ui_.join();
            program_->FrmMain->mnuStartStop->Click();
        }
        program_->mscComControl1.OnReadable = nullptr;
        program_->mscComControl2.OnReadable = nullptr;
        program_->mscComControl1.setPortOpen(false);
        program_->mscComControl2.setPortOpen(false);
        program_.reset();
    }

    bool linesUp() const {
        return program_->mscComControl1.LineUp() && program_->mscComControl2.LineUp();
    }
    std::uint64_t ticks() const { return driver_ ? driver_->ticks : 0; }
    std::uint64_t slices() const { return driver_ ? driver_->slices : 0; }
    std::uint64_t posts() const { return loop_.posted(); }

    std::string failure;

private:
    tvl::HeadlessLoop loop_;
    tvl::QuietPlatform platform_;
    std::unique_ptr<tvl::SystemDevices> devices_;
    std::unique_ptr<tvl::Program> program_;
    std::unique_ptr<tvl::TimerDriver> driver_;
    std::atomic<bool> stop_{false};
    std::thread ui_;
};

}  // namespace relay
