// The main window's layout pass. The window is designed once at its base
// size; every scaled position and size keeps its fraction of its reference as
// the window changes:
//
//   value = current extent of the reference / R,
//   R     = base extent of the reference / the control's value at base size
//
// R is held to 15 significant digits and the division is done in double
// precision. Left, Width, X1, X2 take the reference's Width; Top, Height, Y1,
// Y2 its Height. The groups fraComMonitor(i) are measured against the window
// (base 9480 x 7245), everything scaled inside a group against that group
// (base 4335 x 5895), panes included although they lie inside a fraTxRx.
// Lamps, labels and switches move but keep their size; the header, the
// toolbars and the review panes are not touched by the rule.
#pragma once

namespace tvl {

class FrmMain;

// Form_Resize: the pass run on showing and on every change of size. Any error
// ends it silently, leaving what was already moved where it is. Before the
// window is visible its size is first raised to the base size; in review
// (tbrTarvoline hidden) the Receive frames and review panes then take the
// review layout.
void FrmMain_Form_Resize(FrmMain& form);

// The Receive frames and review panes as review shows them: the frames over
// the whole group below the header (5400 high at Top 400 at base size), the
// review panes filling their frames. Port 1 side first.
void placeReviewFrames(FrmMain& form);

// The Receive frames back in the lower part of their groups (1680 high at
// Top 4200 at base size), the review panes sized to them. Port 1 side first.
void placeMonitorFrames(FrmMain& form);

// A ratio R of the pass: base / value, held to 15 significant digits.
double layoutRatio(double base, double value);

// Binds FrmMain.Resize to the pass and registers it as "Form_Resize".
void bindLayout(FrmMain& form);

}  // namespace tvl
