// The main window's layout pass: where every scaled control lands, what keeps
// its size, the floor before the window is shown, the review layout, and the
// silent end of a pass that meets an error.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "app/layout.h"
#include "tests/layout/test_program.h"

namespace tvl {
namespace {

struct Box {
    const char* name;
    int index;
    float left, top, width, height;
};

// The window's tables at base size: positions from the container, in twips.
const Box baseBoxes[] = {
    {"fraComMonitor", 0, 240, 840, 4335, 5895},    {"fraComMonitor", 1, 4920, 840, 4335, 5895},
    {"fraTxRx", 0, 120, 2520, 4095, 1575},         {"fraTxRx", 1, 120, 4200, 4095, 1575},
    {"fraTxRx", 2, 120, 2520, 4095, 1575},         {"fraTxRx", 3, 120, 4200, 4095, 1575},
    {"txtCommunication", 0, 120, 240, 3855, 1215}, {"txtCommunication", 1, 120, 240, 3855, 1215},
    {"txtCommunication", 2, 120, 240, 3855, 1215}, {"txtCommunication", 3, 120, 240, 3855, 1215},
    {"chkUARTControl", 0, 2400, 1440, 735, 255},   {"chkUARTControl", 1, 2400, 1920, 735, 255},
    {"chkUARTControl", 2, 2400, 1440, 735, 255},   {"chkUARTControl", 3, 2400, 1920, 735, 255},
};

// Per port: CTS, DSR, CD, RI, DTR, RTS.
const float labelAt[6][2] = {{1200, 480}, {1200, 840},  {2400, 480},
                             {2400, 840}, {1200, 1440}, {1200, 1920}};
const float lampAt[6][2] = {{1800, 360}, {1800, 720},  {2880, 360},
                            {2880, 720}, {1800, 1320}, {1800, 1800}};

Control& control(FrmMain& f, const char* name, int index = -1) {
    Control* c = f.find(name, index);
    EXPECT_NE(c, nullptr) << name << "(" << index << ")";
    return *c;
}

void expectBox(FrmMain& f, const Box& b, float k) {
    Control& c = control(f, b.name, b.index);
    EXPECT_NEAR(c.Left, b.left * k, 0.01) << c.key();
    EXPECT_NEAR(c.Top, b.top * k, 0.01) << c.key();
    EXPECT_NEAR(c.Width, b.width * k, 0.01) << c.key();
    EXPECT_NEAR(c.Height, b.height * k, 0.01) << c.key();
}

// Lamps, labels and switches at k times their base place, with their own size.
void expectMovedNotGrown(FrmMain& f, float k) {
    for (int port = 0; port < 2; ++port)
        for (int s = 0; s < 6; ++s) {
            Label& label = *f.lblUART[6 * port + s];
            EXPECT_NEAR(label.Left, labelAt[s][0] * k, 0.01) << label.key();
            EXPECT_NEAR(label.Top, labelAt[s][1] * k, 0.01) << label.key();
            EXPECT_EQ(label.Width, 495) << label.key();
            EXPECT_EQ(label.Height, 195) << label.key();
            for (int on = 0; on < 2; ++on) {
                Image& lamp = *f.imgStatus[12 * port + 6 * on + s];
                EXPECT_NEAR(lamp.Left, lampAt[s][0] * k, 0.01) << lamp.key();
                EXPECT_NEAR(lamp.Top, lampAt[s][1] * k, 0.01) << lamp.key();
                EXPECT_EQ(lamp.Width, 360) << lamp.key();
                EXPECT_EQ(lamp.Height, 420) << lamp.key();
            }
            // The two pictures of a signal stand on the same spot.
            EXPECT_EQ(f.imgStatus[12 * port + s]->Left, f.imgStatus[12 * port + 6 + s]->Left);
            EXPECT_EQ(f.imgStatus[12 * port + s]->Top, f.imgStatus[12 * port + 6 + s]->Top);
        }
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(f.chkUARTControl[i]->Left, 2400 * k, 0.01);
        EXPECT_NEAR(f.chkUARTControl[i]->Top, (i % 2 ? 1920 : 1440) * k, 0.01);
        EXPECT_EQ(f.chkUARTControl[i]->Width, 735);
        EXPECT_EQ(f.chkUARTControl[i]->Height, 255);
    }
}

void resize(FrmMain& f, float width, float height) {
    f.Width = width;
    f.Height = height;
    f.Resize();
}

// The first pass, twice the size, and back: the panels scale from the base
// tables, lamps, labels and switches move with them at their own size.
// Outside review the review panes are not the pass's.
TEST(LayoutPass, PanelsScaleWithTheWindowAndTheRestMovesOrStays) {
    testing::TestProgram t;
    FrmMain& f = t.start();
    ASSERT_TRUE(f.Visible);
    f.txtPort1->Width = 1000;
    for (float k : {1.0f, 2.0f, 1.0f}) {
        if (k != 1 || f.Width != 9480) resize(f, 9480 * k, 7245 * k);
        EXPECT_EQ(f.Width, 9480 * k);
        for (const Box& b : baseBoxes)
            if (k == 1 || control(f, b.name, b.index).kind() != ControlKind::CheckBox)
                expectBox(f, b, k);
        expectMovedNotGrown(f, k);
        EXPECT_EQ(f.txtPort1->Width, 1000);
    }
}

// Before the window is shown each extent is raised to its base size alone;
// on the screen it can be dragged smaller and the panels shrink.
TEST(LayoutPass, FloorHoldsOnlyBeforeTheWindowIsVisible) {
    testing::TestProgram t;
    FrmMain& f = t.start();
    f.Visible = false;
    for (auto [w, h, floorW, floorH] : {std::array<float, 4>{5000, 3000, 9480, 7245},
                                        {12000, 3000, 12000, 7245},
                                        {4000, 9000, 9480, 9000}}) {
        resize(f, w, h);
        EXPECT_EQ(f.Width, floorW);
        EXPECT_EQ(f.Height, floorH);
    }
    f.Visible = true;
    resize(f, 4740, 3622.5f);
    EXPECT_EQ(f.Width, 4740);
    for (const Box& b : baseBoxes)
        if (control(f, b.name, b.index).kind() != ControlKind::CheckBox) expectBox(f, b, 0.5f);
    expectMovedNotGrown(f, 0.5f);
}

TEST(LayoutPass, AnErrorEndsThePassSilentlyLeavingWhatMoved) {
    testing::TestProgram t;
    FrmMain& f = t.start();
    ASSERT_TRUE(f.handler("Form_Resize"));

    // A window of negative width: the first group gets its Left and Top,
    // then its Width is refused and nothing after it moves.
    f.Width = -948;
    f.Height = 2 * 7245;
    EXPECT_NO_THROW((*f.handler("Form_Resize"))({}));
    EXPECT_NEAR(f.fraComMonitor[0]->Left, -24, 0.01);
    EXPECT_NEAR(f.fraComMonitor[0]->Top, 1680, 0.01);
    EXPECT_EQ(f.fraComMonitor[0]->Width, 4335);
    EXPECT_EQ(f.fraComMonitor[0]->Height, 5895);
    EXPECT_EQ(f.fraComMonitor[1]->Left, 4920);
    EXPECT_EQ(f.fraComMonitor[1]->Top, 840);
    EXPECT_EQ(f.lblUART[0]->Left, 1200);

    // The next resize runs a whole new pass.
    resize(f, 9480, 7245);
    for (const Box& b : baseBoxes) expectBox(f, b, 1);
}

}  // namespace
}  // namespace tvl
