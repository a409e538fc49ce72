#include "app/frm_host_action.h"

#include <iterator>
#include <string>

namespace tvl {

namespace {

constexpr const char* signalRows[4] = {"RTS On", "RTS Off", "DTR On", "DTR Off"};

}  // namespace

FrmHostAction::FrmHostAction() : Form("frmHostAction") {
    Caption = "Specify Action";
    Width = 7335;
    Height = 6525;
    ScaleWidth = 7215;
    ScaleHeight = 6045;

    static const char* headings[2] = {"Port 1 - (DTE 1)  Data Convertion",
                                      "Port 2 - (DTE 2 / DCE 2)  Data Convertion"};
    // Column titles per block: data rows left and right, signal rows left and right.
    static const int titleIndex[2][4] = {{0, 1, 2, 3}, {7, 6, 5, 4}};
    static const char* titles[4] = {"Present Value", "Converted Value", "Signal Receive",
                                    "Converted Action"};
    for (int b = 0; b < 2; ++b) {
        Frame* frame =
            place(add<Frame>(nullptr, "fraDataConverter", b), 120 + 3540.0f * b, 120, 3420, 4695);
        fraDataConverter[b] = frame;
        lblHeading[b] = addLabel(*this, frame, "lblHeading", b, headings[b], 120, 240, 3180, 255);
        frame->AccessibleName = headings[b];
        const std::string port = b == 0 ? "Port 1 " : "Port 2 ";
        for (int t = 0; t < 4; ++t) {
            const float left = (t % 2 == 0) ? 360 : 1800;
            const float top = t < 2 ? 480 : 2640;
            const float width = (t % 2 == 0) ? 1440 : 1560;  // the column and the gap beside it
            lblTitle[titleIndex[b][t]] = addLabel(*this, frame, "lblTitle", titleIndex[b][t],
                                                  titles[t], left, top, width, 255);
        }
        for (int r = 0; r < kConversionRows; ++r) {
            const float top = 720 + 360.0f * r;
            const int present = presentBox(b, r), converted = convertedBox(b, r);
            txtValue[present] =
                place(add<TextBox>(frame, "txtValue", present), 360, top, 1215, 285);
            txtValue[converted] =
                place(add<TextBox>(frame, "txtValue", converted), 1800, top, 1215, 285);
            const std::string row = port + "row " + std::to_string(r + 1) + ", ";
            txtValue[present]->AccessibleName = row + titles[0];
            txtValue[converted]->AccessibleName = row + titles[1];
        }
        for (int k = 0; k < 4; ++k) {
            // Port 2's signal controls are numbered from the bottom up.
            const int i = b == 0 ? k : 7 - k;
            const float top = 2940 + 360.0f * k;
            const std::string caption = std::string(signalRows[k]) + " =>";
            lblSignalValue[i] =
                addLabel(*this, frame, "lblSignalValue", i, caption, 360, top, 1215, 285);
            ComboBox* combo = place(add<ComboBox>(frame, "cboUARTSignal", i), 1800, top, 1215, 315);
            combo->List.assign(std::begin(signalRows), std::end(signalRows));
            combo->Text = signalRows[k];
            combo->AccessibleName = port + titles[3] + " for " + signalRows[k];
            cboUARTSignal[i] = combo;
        }
    }
    for (TextBox* box : txtValue) box->MultiLine = false;

    lblRowRules = addLabel(*this, nullptr, "lblRowRules", -1,
                           "A row with a Converted Value needs a Present Value. "
                           "A value holds at most 255 characters.",
                           120, 4920, 6960, 435);
    cmdOk = addButton(*this, "cmdOk", "ok.png", "OK", "Store the rows", 2280, 5520);
    cmdCancel =
        addButton(*this, "cmdCancel", "cancel.png", "Cancel", "Close without storing", 3720, 5520);
    cmdOk->Default = true;
    cmdCancel->Cancel = true;
}

}  // namespace tvl
