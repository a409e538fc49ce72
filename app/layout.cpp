#include "app/layout.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "app/frm_main.h"

namespace tvl {

namespace {

// Base extents of the two kinds of reference.
constexpr double windowWidth = 9480, windowHeight = 7245;
constexpr double groupWidth = 4335, groupHeight = 5895;

// The ratios of the review layout and of its end, as the review commands use them.
constexpr double reviewFrameHeight = 1.09166666666667;   // 5400 of a group 5895 high
constexpr double reviewFrameTop = 14.7375;               // 400
constexpr double monitorFrameHeight = 3.50892857142857;  // 1680
constexpr double monitorFrameTop = 1.40357142857143;     // 4200
constexpr double receiveFrameWidth = 1.05860805860806;   // 4095 of a group 4335 wide
constexpr double reviewPaneHeight = 1.09422492401216;    // of its frame's Height
constexpr double reviewPaneWidth = 1.06225680933852;     // of its frame's Width

// The platform refuses a negative size, as it would from any caller; the
// pass turns that refusal into its silent end.
struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

float scaled(double extent, double ratio) { return static_cast<float>(extent / ratio); }

void setWidth(Control& c, float w) {
    if (w < 0) throw Refused(c.key() + ".Width");
    c.Width = w;
}
void setHeight(Control& c, float h) {
    if (h < 0) throw Refused(c.key() + ".Height");
    c.Height = h;
}

// One control placed by the rule against a reference of the given base extents.
struct Placement {
    double left, top, width, height;  // values at base size
    bool sized;                       // Width and Height scale too
};

struct Reference {
    double width, height;          // current extents
    double baseWidth, baseHeight;  // extents at base size
};

void place(Control& c, const Reference& ref, const Placement& at) {
    c.Left = scaled(ref.width, layoutRatio(ref.baseWidth, at.left));
    c.Top = scaled(ref.height, layoutRatio(ref.baseHeight, at.top));
    if (!at.sized) return;
    setWidth(c, scaled(ref.width, layoutRatio(ref.baseWidth, at.width)));
    setHeight(c, scaled(ref.height, layoutRatio(ref.baseHeight, at.height)));
}

void placeLine(Line& line, const Reference& ref, double x1, double y1, double x2, double y2) {
    line.X1 = scaled(ref.width, layoutRatio(ref.baseWidth, x1));
    line.Y1 = scaled(ref.height, layoutRatio(ref.baseHeight, y1));
    line.X2 = scaled(ref.width, layoutRatio(ref.baseWidth, x2));
    line.Y2 = scaled(ref.height, layoutRatio(ref.baseHeight, y2));
}

// Per port, in the order CTS, DSR, CD, RI, DTR, RTS.
constexpr double labelLeft[6] = {1200, 1200, 2400, 2400, 1200, 1200};
constexpr double labelTop[6] = {480, 840, 480, 840, 1440, 1920};
constexpr double lampLeft[6] = {1800, 1800, 2880, 2880, 1800, 1800};
constexpr double lampTop[6] = {360, 720, 360, 720, 1320, 1800};
constexpr Placement transmitFrame{120, 2520, 4095, 1575, true};
constexpr Placement receiveFrame{120, 4200, 4095, 1575, true};
constexpr Placement pane{120, 240, 3855, 1215, true};

// Steps 3 and 4: one group and everything measured against it.
void placeGroup(FrmMain& f, int g) {
    Frame& group = *f.fraComMonitor[g];
    const Reference window{f.Width, f.Height, windowWidth, windowHeight};
    place(group, window, {g == 0 ? 240.0 : 4920.0, 840, 4335, 5895, true});

    const Reference inGroup{group.Width, group.Height, groupWidth, groupHeight};
    for (int s = 0; s < 6; ++s)
        place(*f.lblUART[labelIndex(g, s)], inGroup, {labelLeft[s], labelTop[s], 0, 0, false});
    // Lamps and labels keep their size, so a lamp keeps its height above its
    // label's line rather than a fraction of the group's: on that line at every size.
    for (int on = 0; on < 2; ++on)
        for (int s = 0; s < 6; ++s) {
            Control& lamp = *f.imgStatus[lampIndex(g, s, on)];
            place(lamp, inGroup, {lampLeft[s], lampTop[s], 0, 0, false});
            lamp.Top = f.lblUART[labelIndex(g, s)]->Top - static_cast<float>(labelTop[s] - lampTop[s]);
        }
    place(*f.chkUARTControl[2 * g], inGroup, {2400, 1440, 0, 0, false});
    place(*f.chkUARTControl[2 * g + 1], inGroup, {2400, 1920, 0, 0, false});
    placeLine(*f.myLine[2 * g], inGroup, 120, 1200, 4200, 1200);
    placeLine(*f.myLine[2 * g + 1], inGroup, 120, 2400, 4200, 2400);
    place(*f.fraTxRx[2 * g], inGroup, transmitFrame);
    place(*f.txtCommunication[2 * g], inGroup, pane);
    place(*f.fraTxRx[2 * g + 1], inGroup, receiveFrame);
    place(*f.txtCommunication[2 * g + 1], inGroup, pane);
}

// A Receive frame by its group and the review pane by its frame.
void placeReceive(FrmMain& f, int g, double heightRatio, double topRatio) {
    const Frame& group = *f.fraComMonitor[g];
    Frame& frame = *f.fraTxRx[2 * g + 1];
    setHeight(frame, scaled(group.Height, heightRatio));
    setWidth(frame, scaled(group.Width, receiveFrameWidth));
    frame.Top = scaled(group.Height, topRatio);
    TextBox& review = g == 0 ? *f.txtPort1 : *f.txtPort2;
    setHeight(review, scaled(frame.Height, reviewPaneHeight));
    setWidth(review, scaled(frame.Width, reviewPaneWidth));
}

}  // namespace

double layoutRatio(double base, double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.15g", base / value);
    return std::strtod(text, nullptr);
}

void placeReviewFrames(FrmMain& f) {
    for (int g = 0; g < 2; ++g) placeReceive(f, g, reviewFrameHeight, reviewFrameTop);
}

void placeMonitorFrames(FrmMain& f) {
    for (int g = 0; g < 2; ++g) placeReceive(f, g, monitorFrameHeight, monitorFrameTop);
}

void FrmMain_Form_Resize(FrmMain& f) {
    try {
        if (!f.Visible) {
            if (f.Height < windowHeight) f.Height = static_cast<float>(windowHeight);
            if (f.Width < windowWidth) f.Width = static_cast<float>(windowWidth);
        }
        placeGroup(f, 0);
        placeGroup(f, 1);
        if (!f.tbrTarvoline->Visible) placeReviewFrames(f);
    } catch (const std::exception&) {
        // The pass abandons itself; the next resize runs a whole new one.
    }
}

void bindLayout(FrmMain& f) {
    f.bind("Form_Resize", f.Resize, [&f] { FrmMain_Form_Resize(f); });
}

}  // namespace tvl
