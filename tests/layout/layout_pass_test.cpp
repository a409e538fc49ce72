// The main window's layout pass: where every scaled control lands, what keeps
// its size, the floor before the window is shown, the review layout, and the
// silent end of a pass that meets an error.
#include <gtest/gtest.h>

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

void expectDividers(FrmMain& f, float k) {
    for (int i = 0; i < 4; ++i) {
        const float y = (i % 2 ? 2400 : 1200) * k;
        EXPECT_NEAR(f.myLine[i]->X1, 120 * k, 0.01);
        EXPECT_NEAR(f.myLine[i]->X2, 4200 * k, 0.01);
        EXPECT_NEAR(f.myLine[i]->Y1, y, 0.01);
        EXPECT_NEAR(f.myLine[i]->Y2, y, 0.01);
    }
}

// The header stands where the form was designed, at any size.
void expectHeaderKept(FrmMain& f) {
    EXPECT_EQ(f.Label1->Left, 720);
    EXPECT_EQ(f.Label1->Width, 3015);
    EXPECT_EQ(f.Label2->Left, 600);
    EXPECT_EQ(f.Label2->Width, 3495);
    for (Image* icon : f.Image2) {
        EXPECT_EQ(icon->Left, 0);
        EXPECT_EQ(icon->Width, 480);
        EXPECT_EQ(icon->Height, 480);
    }
    EXPECT_EQ(f.Line1->X2, 3720);
    EXPECT_EQ(f.Line2->X2, 4080);
    EXPECT_EQ(f.Line1->Y1, 150);
    EXPECT_EQ(f.tbrTarvoline->Width, 9360);
}

void resize(FrmMain& f, float width, float height) {
    f.Width = width;
    f.Height = height;
    f.Resize();
}

TEST(LayoutPass, RatiosAreHeldToFifteenSignificantDigits) {
    EXPECT_EQ(layoutRatio(9480, 4920), 1.92682926829268);
    EXPECT_EQ(layoutRatio(9480, 4335), 2.18685121107266);
    EXPECT_EQ(layoutRatio(7245, 5895), 1.22900763358779);
    EXPECT_EQ(layoutRatio(4335, 1800), 2.40833333333333);
    EXPECT_EQ(layoutRatio(5895, 4200), 1.40357142857143);
    EXPECT_EQ(layoutRatio(4335, 3855), 1.12451361867704);
    EXPECT_EQ(layoutRatio(5895, 1215), 4.85185185185185);
    EXPECT_EQ(layoutRatio(4335, 120), 36.125);
    EXPECT_EQ(layoutRatio(5895, 240), 24.5625);
}

TEST(LayoutPass, FirstPassPutsEveryScaledControlOnItsTableValue) {
    testing::TestProgram t;
    FrmMain& f = t.start();
    ASSERT_TRUE(f.Visible);
    EXPECT_EQ(f.Width, 9480);
    EXPECT_EQ(f.Height, 7245);
    // The stored Receive frames (1680 high, panes 1335) come out as the others.
    for (const Box& b : baseBoxes) expectBox(f, b, 1);
    expectMovedNotGrown(f, 1);
    expectDividers(f, 1);
    expectHeaderKept(f);
    // Outside review the review panes are not the pass's.
    EXPECT_EQ(f.txtPort1->Height, 1215);
    EXPECT_EQ(f.txtPort2->Width, 3855);
}

TEST(LayoutPass, TwiceTheBaseSizeScalesPanelsButNotLampsLabelsSwitchesOrHeader) {
    testing::TestProgram t;
    FrmMain& f = t.start();
    f.txtPort1->Width = 1000;  // a resize outside review leaves the review panes alone
    resize(f, 2 * 9480, 2 * 7245);
    for (const Box& b : baseBoxes) {
        Control& c = control(f, b.name, b.index);
        if (c.kind() == ControlKind::CheckBox) continue;
        expectBox(f, b, 2);
    }
    expectMovedNotGrown(f, 2);
    expectDividers(f, 2);
    expectHeaderKept(f);
    EXPECT_EQ(f.txtPort1->Width, 1000);

    // And back: the same pass brings everything home.
    resize(f, 9480, 7245);
    for (const Box& b : baseBoxes) expectBox(f, b, 1);
    expectMovedNotGrown(f, 1);
}

TEST(LayoutPass, FloorHoldsOnlyBeforeTheWindowIsVisible) {
    testing::TestProgram t;
    FrmMain& f = t.start();

    f.Visible = false;
    resize(f, 5000, 3000);
    EXPECT_EQ(f.Width, 9480);
    EXPECT_EQ(f.Height, 7245);
    expectBox(f, baseBoxes[1], 1);

    // Each extent is raised alone.
    resize(f, 12000, 3000);
    EXPECT_EQ(f.Width, 12000);
    EXPECT_EQ(f.Height, 7245);
    resize(f, 4000, 9000);
    EXPECT_EQ(f.Width, 9480);
    EXPECT_EQ(f.Height, 9000);

    // On the screen the window can be dragged below its base size; the panels shrink.
    f.Visible = true;
    resize(f, 4740, 3622.5f);
    EXPECT_EQ(f.Width, 4740);
    EXPECT_EQ(f.Height, 3622.5f);
    for (const Box& b : baseBoxes)
        if (control(f, b.name, b.index).kind() != ControlKind::CheckBox) expectBox(f, b, 0.5f);
    expectMovedNotGrown(f, 0.5f);
}

TEST(LayoutPass, ReviewLayoutCoversTheGroupAndFollowsResizes) {
    testing::TestProgram t;
    FrmMain& f = t.start();
    f.tbrTarvoline->Visible = false;
    f.tbrFileAccess->Visible = true;

    for (float k : {1.0f, 2.0f}) {
        resize(f, 9480 * k, 7245 * k);
        for (int g = 0; g < 2; ++g) {
            Frame& rx = *f.fraTxRx[2 * g + 1];
            EXPECT_NEAR(rx.Left, 120 * k, 0.01);
            EXPECT_NEAR(rx.Top, 400 * k, 0.01);
            EXPECT_NEAR(rx.Width, 4095 * k, 0.01);
            EXPECT_NEAR(rx.Height, 5400 * k, 0.01);
            TextBox& review = g == 0 ? *f.txtPort1 : *f.txtPort2;
            EXPECT_EQ(review.Left, 120);
            EXPECT_EQ(review.Top, 240);
            EXPECT_NEAR(review.Width, rx.Width / 1.06225680933852, 0.01);
            EXPECT_NEAR(review.Height, rx.Height / 1.09422492401216, 0.01);
            // The Transmit frame stays where the general steps put it: covered, not hidden.
            expectBox(f, {"fraTxRx", 2 * g, 120 * k, 2520 * k, 4095 * k, 1575 * k}, 1);
            EXPECT_TRUE(f.fraTxRx[2 * g]->Visible);
        }
        EXPECT_NEAR(f.txtPort1->Width, 3855 * k, 0.01);
        EXPECT_NEAR(f.txtPort1->Height, 4935 * k, 0.01);
    }

    // Leaving review: the Receive frames 105 twips taller than the pass makes
    // them, until the next resize.
    resize(f, 9480, 7245);
    f.tbrTarvoline->Visible = true;
    f.tbrFileAccess->Visible = false;
    placeMonitorFrames(f);
    for (int g = 0; g < 2; ++g) {
        Frame& rx = *f.fraTxRx[2 * g + 1];
        EXPECT_NEAR(rx.Top, 4200, 0.01);
        EXPECT_NEAR(rx.Height, 1680, 0.01);
        EXPECT_NEAR(rx.Width, 4095, 0.01);
        TextBox& review = g == 0 ? *f.txtPort1 : *f.txtPort2;
        EXPECT_NEAR(review.Height, 1680 / 1.09422492401216, 0.01);
        EXPECT_NEAR(review.Width, 3855, 0.01);
    }
    resize(f, 9480, 7245);
    EXPECT_NEAR(f.fraTxRx[1]->Height, 1575, 0.01);
    EXPECT_NEAR(f.fraTxRx[3]->Top, 4200, 0.01);

    // Entering review places the frames at once, by the current groups.
    resize(f, 9480 * 1.5f, 7245 * 1.5f);
    placeReviewFrames(f);
    EXPECT_NEAR(f.fraTxRx[3]->Top, 600, 0.01);
    EXPECT_NEAR(f.fraTxRx[3]->Height, 8100, 0.01);
    EXPECT_NEAR(f.txtPort2->Height, 8100 / 1.09422492401216, 0.01);
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
