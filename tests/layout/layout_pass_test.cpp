// The main window's layout pass: panels scale with the window, lamps, labels
// and switches move with it at their own size, the floor before the window is
// shown, and the silent end of a pass that meets an error.
#include <gtest/gtest.h>

#include <array>
#include <map>
#include <string>

#include "app/layout.h"
#include "platform/quiet_platform.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

using Places = std::map<std::string, std::array<float, 4>>;

// Every control the pass places: its left, top, width and height.
Places places(FrmMain& f) {
    Places out;
    auto add = [&](const Control& c) { out[c.key()] = {c.Left, c.Top, c.Width, c.Height}; };
    for (auto* c : f.fraComMonitor) add(*c);
    for (auto* c : f.fraTxRx) add(*c);
    for (auto* c : f.txtCommunication) add(*c);
    for (auto* c : f.chkUARTControl) add(*c);
    for (auto* c : f.lblUART) add(*c);
    for (auto* c : f.imgStatus) add(*c);
    return out;
}

// At k times the base window: panels at k times their base box, the rest at k
// times its base place with its base size, but for a lamp's Top: the lamp
// stands as high above its label as at base size, so it stays on its line.
void expectScaled(FrmMain& f, const Places& base, float k) {
    for (const auto& [key, now] : places(f)) {
        const auto& was = base.at(key);
        const bool grows = key.rfind("fra", 0) == 0 || key.rfind("txt", 0) == 0;
        const bool lamp = key.rfind("imgStatus", 0) == 0;
        for (int i = 0; i < 4; ++i) {
            if (lamp && i == 1) continue;
            EXPECT_NEAR(now[i], was[i] * (i < 2 || grows ? k : 1), 0.01) << key << " " << i;
        }
    }
    for (int i = 0; i < 24; ++i) {
        const Control &lamp = *f.imgStatus[i], &label = *f.lblUART[i % 6 + 6 * (i / 12)];
        EXPECT_NEAR(label.Top - lamp.Top, base.at(label.key())[1] - base.at(lamp.key())[1], 0.01)
            << lamp.key() << " at " << k;
    }
}

void resize(FrmMain& f, float width, float height) {
    f.Width = width;
    f.Height = height;
    f.Resize();
}

TEST(LayoutPass, PanelsScaleWithTheWindowTheRestMovesOrStaysAndAnErrorEndsThePass) {
    testing::ProgramOnLines<QuietPlatform> t;
    t.make();
    FrmMain& f = t.start();
    ASSERT_TRUE(f.Visible);
    ASSERT_EQ(f.Width, 9480);
    const Places base = places(f);
    EXPECT_EQ(base.at("fraComMonitor(1)"), (std::array<float, 4>{4920, 840, 4335, 5895}));
    f.txtPort1->Width = 1000;  // outside review the review panes are not the pass's
    for (float k : {2.0f, 1.0f, 0.5f}) {
        resize(f, 9480 * k, 7245 * k);
        expectScaled(f, base, k);
        EXPECT_EQ(f.txtPort1->Width, 1000);
    }
    // The two pictures of a signal stand on the same spot.
    for (int s = 0; s < 6; ++s) EXPECT_EQ(f.imgStatus[s]->Left, f.imgStatus[s + 6]->Left);
    // In review the Receive frames stand higher and taller, the review panes
    // fill them, and both scale with the window.
    f.tbrTarvoline->Visible = false;
    for (float k : {1.0f, 2.0f}) {
        resize(f, 9480 * k, 7245 * k);
        EXPECT_NEAR(f.fraTxRx[3]->Top, 400 * k, 0.01);
        EXPECT_NEAR(f.fraTxRx[3]->Height, 5400 * k, 0.01);
        EXPECT_NEAR(f.txtPort2->Height, 4935 * k, 0.01);
        EXPECT_NEAR(f.txtPort1->Width, f.txtPort2->Width, 0.01);
    }
    f.tbrTarvoline->Visible = true;

    // Before the window is shown each extent is raised to its base size alone.
    f.Visible = false;
    for (auto [w, h, floorW, floorH] : {std::array<float, 4>{5000, 3000, 9480, 7245},
                                        {12000, 3000, 12000, 7245},
                                        {4000, 9000, 9480, 9000}}) {
        resize(f, w, h);
        EXPECT_EQ(f.Width, floorW);
        EXPECT_EQ(f.Height, floorH);
    }

    // A window of negative width: the first group gets its Left and Top, then
    // its Width is refused, silently, and nothing after it moves.
    f.Visible = true;
    EXPECT_NO_THROW(resize(f, -948, 2 * 7245));
    EXPECT_NEAR(f.fraComMonitor[0]->Left, -24, 0.01);
    EXPECT_NEAR(f.fraComMonitor[0]->Top, 1680, 0.01);
    EXPECT_EQ(f.fraComMonitor[0]->Width, 4335);
    EXPECT_EQ(f.fraComMonitor[1]->Left, 4920);
    EXPECT_EQ(f.lblUART[0]->Left, 1200);
    resize(f, 9480, 7245);  // a whole new pass
    expectScaled(f, base, 1);
}

}  // namespace
}  // namespace tvl
