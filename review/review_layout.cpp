#include "review/review_layout.h"

#include "shell/frm_main.h"

namespace tvl {

namespace {

// Each value is its reference's extent divided by a ratio kept to 15 digits,
// worked out in double precision and handed to the control as a Single.
float scaled(float extent, double ratio) { return static_cast<float>(double(extent) / ratio); }

constexpr double kFrameWidth = 1.05860805860806;
constexpr double kPaneHeight = 1.09422492401216;
constexpr double kPaneWidth = 1.06225680933852;

struct Side {
    Frame* group;
    Frame* frame;
    TextBox* pane;
};

void place(const Side& s, double heightRatio, double topRatio) {
    s.frame->Height = scaled(s.group->Height, heightRatio);
    s.frame->Width = scaled(s.group->Width, kFrameWidth);
    s.frame->Top = scaled(s.group->Height, topRatio);
    s.pane->Height = scaled(s.frame->Height, kPaneHeight);
    s.pane->Width = scaled(s.frame->Width, kPaneWidth);
}

// Port 1 side first, then Port 2.
template <class F>
void eachSide(FrmMain& f, F&& fn) {
    fn(Side{f.fraComMonitor[0], f.fraTxRx[1], f.txtPort1});
    fn(Side{f.fraComMonitor[1], f.fraTxRx[3], f.txtPort2});
}

}  // namespace

void placeReviewFrames(FrmMain& form) {
    eachSide(form, [](const Side& s) { place(s, 1.09166666666667, 14.7375); });
}

void placeMonitorFrames(FrmMain& form) {
    eachSide(form, [](const Side& s) { place(s, 3.50892857142857, 1.40357142857143); });
}

}  // namespace tvl
