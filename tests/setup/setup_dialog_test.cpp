// The Setup dialog beyond what a scenario sees: how a port box's text becomes
// a number, and what the label beside it says. (Its layout: the widget tests.)
#include <gtest/gtest.h>

#include "app/frm_setup.h"
#include "platform/quiet_platform.h"
#include "setup/setup.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

struct SetupRun : testing::ProgramOnLines<QuietPlatform> {
    SetupRun() {
        make();
        start().mnuSetup->Click();
    }
    FrmSetup& dialog() { return *program->frmSetup; }
};

TEST(SetupDialog, PortTextGivesItsValueRoundedDown) {
    const std::pair<const char*, int> numbers[] = {
        {"3", 3}, {"3.7", 3}, {" 12 ", 12}, {"+4", 4}, {"1e2", 100}, {".9", 0}, {"-0.5", -1}};
    for (const auto& [text, number] : numbers) EXPECT_EQ(portNumberOf(text), number) << text;
    for (const char* text :
         {"", "  ", "COM3", "3a", "3 4", "0x10", "nan", "inf", "-", "+", "++3", "+-3", "1e12"})
        EXPECT_FALSE(portNumberOf(text).has_value()) << '"' << text << '"';
}

// Beside each port box, the Setup dialog says whether the number's device is
// there for this program, and after a refused OK, why the system refused it.
TEST(SetupPortLabel, SaysWhetherTheDeviceIsThereAndWhyOkWasRefused) {
    SetupRun run;
    run.lines.busy.insert(12);
    run.lines.denied.insert(13);
    run.line2.hangUp();  // Port 2's adapter is unplugged
    FrmSetup& setup = run.dialog();
    setup.optMode[1]->choose();  // Host mode: both ports open
    Label& label = *setup.lblComPort[1];

    // The number, the label as it is typed, and the label after OK with it.
    for (const auto& [number, typed, afterOk] :
         {std::tuple{"5", "simulated line 5 (missing)", "simulated line 5: no such device"},
          {"12", "simulated line 12 (busy)", "port 12 is used by another program"},
          {"13", "simulated line 13 (not permitted)", "simulated line 13: permission denied"}}) {
        setup.txtComPort[1]->setText(number);
        EXPECT_EQ(label.Caption, typed);
        setup.cmdOK->Click();
        EXPECT_EQ(label.Caption, afterOk);
        EXPECT_EQ(*setup.lblComPort[0]->Caption.rbegin(), ')') << "Port 1's label keeps its state";
    }

    run.line2.plug();
    setup.txtComPort[1]->setText("5");
    EXPECT_EQ(label.Caption, "simulated line 5 (present)");
    setup.cmdOK->Click();
    EXPECT_TRUE(run.program->mscComControl2.PortOpen());
}

// The device list is picked from, not typed into; a pick fills the first port
// box that reaches nothing yet, and a USB adapter's pick keeps it a number.
TEST(SetupDeviceList, APickPutsTheNumberThatReachesTheDeviceInAPortBox) {
    SetupRun run;
    run.lines.listed = {
        {7, "7 = /dev/ttyS6", {}},
        {100, "100 = /dev/serial/by-id/usb-FTDI-if00 (ttyUSB0)", "/dev/serial/by-id/usb-FTDI-if00"},
        {0, "ports:3: a line is NUMBER DEVICE", {}}};
    run.line1.hangUp();  // what the port boxes name is missing
    run.line2.hangUp();
    run.program->FrmMain->mnuSetup->Click();
    FrmSetup& setup = run.dialog();
    ComboBox& list = *setup.cboDevices;
    EXPECT_EQ(list.Style, ComboBox::kDropdownList);
    EXPECT_EQ(list.List.size(), 3u);
    EXPECT_EQ(list.Text, "Pick a port (3)");

    ASSERT_TRUE(list.put("ListIndex", 1.0));
    EXPECT_EQ(setup.txtComPort[0]->Text(), "300") << "the adapter's number is kept for it";
    EXPECT_EQ(run.lines.kept, std::vector<std::string>{"/dev/serial/by-id/usb-FTDI-if00"});
    EXPECT_EQ(list.ListIndex, -1) << "listed again, with what the pick kept";
    list.pick(0);
    EXPECT_EQ(setup.txtComPort[0]->Text(), "7") << "Port 1's number reaches nothing";
    run.line1.plug();
    list.pick(0);
    EXPECT_EQ(setup.txtComPort[0]->Text(), "7");
    EXPECT_EQ(setup.txtComPort[1]->Text(), "7") << "Port 2's box is the next to fill";
    setup.txtComPort[1]->setText("4");
    list.pick(2);
    EXPECT_EQ(std::pair(setup.txtComPort[0]->Text(), setup.txtComPort[1]->Text()),
              std::pair(std::string("7"), std::string("4")))
        << "a problem line reaches nothing";
}

}  // namespace
}  // namespace tvl
