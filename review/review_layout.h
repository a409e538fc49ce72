// Where the Receive frames and the review panes stand when the review begins
// and when it ends, by their fixed ratios to the monitor groups.
#pragma once

namespace tvl {

class FrmMain;

// Receive frames enlarged over their group (4095 x 5400 at Top 400 at base size);
// the review panes sized to them.
void placeReviewFrames(FrmMain& form);
// Receive frames back in the lower part of their group (1680 high at Top 4200
// at base size); the review panes sized to them.
void placeMonitorFrames(FrmMain& form);

}  // namespace tvl
