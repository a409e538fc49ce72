// Beside each port box, the Setup dialog says whether the number's device is
// there for this program, and after a refused OK, why the system refused it.
#include <gtest/gtest.h>

#include "platform/quiet_platform.h"
#include "setup/setup.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

TEST(SetupPortLabel, SaysWhetherTheDeviceIsThereAndWhyOkWasRefused) {
    testing::ProgramOnLines<QuietPlatform> run;
    run.make();
    run.start();
    run.lines.busy.insert(12);
    run.lines.denied.insert(13);
    run.line2.hangUp();  // Port 2's adapter is unplugged
    mnuSetup_Click(*run.program);
    FrmSetup& setup = *run.program->frmSetup;
    setup.optMode[1]->choose();  // Host mode: both ports open
    Label& label = *setup.lblComPort[1];

    const struct {
        const char* number;
        const char* label;    // as typed
        const char* afterOk;  // after OK with this number
    } cases[] = {
        {"5", "simulated line 5 (missing)", "simulated line 5: no such device"},
        {"12", "simulated line 12 (busy)", "port 12 is used by another program"},
        {"13", "simulated line 13 (not permitted)", "simulated line 13: permission denied"},
    };
    for (const auto& c : cases) {
        setup.txtComPort[1]->setText(c.number);
        EXPECT_EQ(label.Caption, c.label);
        setup.cmdOK->Click();
        EXPECT_EQ(label.Caption, c.afterOk);
        EXPECT_EQ(*setup.lblComPort[0]->Caption.rbegin(), ')') << "Port 1's label keeps its state";
    }
    ASSERT_EQ(run.platform.messages.size(), 3u);
    EXPECT_EQ(run.platform.messages[0],
              "Tarvoline: Open Fail on Port, Maybe the port is currently used by another program!");

    run.line2.plug();
    setup.txtComPort[1]->setText("5");
    EXPECT_EQ(label.Caption, "simulated line 5 (present)");
    setup.cmdOK->Click();
    EXPECT_EQ(run.platform.messages.size(), 3u);
    EXPECT_TRUE(run.program->mscComControl2.PortOpen());
}

}  // namespace
}  // namespace tvl
