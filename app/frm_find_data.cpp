#include "app/frm_find_data.h"

namespace tvl {

FrmFindData::FrmFindData() : Form("frmFindData") {
    Caption = "Watch Data";
    Width = 4935;
    Height = 3135;
    ScaleWidth = 4815;
    ScaleHeight = 2655;

    for (int i = 0; i < 2; ++i) {
        Frame* frame = place(add<Frame>(nullptr, "Frame1", i), 120, 120 + 1095.0f * i, 4575, 975);
        Frame1[i] = frame;
        Label* caption = addLabel(
            *this, frame, "Label1", i == 0 ? 4 : 0,
            i == 0 ? "Stop when data found on (DTE1)" : "Stop when data found on (DTE2/DCE2)", 120,
            240, 4335, 255);
        (i == 0 ? Label1_4 : Label1_0) = caption;
        txtFound[i] = place(add<TextBox>(frame, "txtFound", i), 120, 540, 4335, 285);
        txtFound[i]->MultiLine = false;
        frame->AccessibleName = txtFound[i]->AccessibleName = caption->Caption;
    }
    cmdOK = addButton(*this, "cmdOK", "ok.png", "OK", "Watch for these texts", 1080, 2160);
    cmdCancel = addButton(*this, "cmdCancel", "cancel.png", "Cancel", "Switch both watches off",
                          2520, 2160);
    cmdOK->Default = true;
    cmdCancel->Cancel = true;
}

}  // namespace tvl
