#include "convert/conversion_dialogs.h"

#include "shell/frm_main.h"
#include "shell/program.h"

namespace tvl {

namespace {

Label* label(Form& form, Control* container, const char* name, int index, const char* caption,
             float left, float top, float width, float height) {
    Label* l = place(form.add<Label>(container, name, index), left, top, width, height);
    l->Caption = caption;
    return l;
}

int argument(const std::vector<std::string>& args, std::size_t n) {
    return n < args.size() ? std::stoi(args[n]) : 0;
}

// A dialog opens: "\loadform.wav" through the dialog's own player, sounded
// without a wait after an opening Close.
void loadSound(Program& program, MciPlayer& player) {
    player.setNotify(false);
    player.setWait(true);
    player.setCommand("Close");
    player.setDeviceType("WaveAudio");
    player.setShareable(false);
    player.setFileName(program.programFile("loadform.wav"));
    player.setCommand("Open");
    player.setNotify(true);
    player.setWait(false);
    player.setCommand("Sound");
}

// What both dialogs do as they unload: FrmMain comes back, enabled and shown.
void giveBackMain(Program& program) {
    if (!program.FrmMain) return;
    FrmMain& main = *program.FrmMain;
    main.Enabled = true;
    main.Visible = true;
    program.platform.formShown(main);
}

// Shows a dialog over a disabled FrmMain, without a modal wait.
void showOverMain(Program& program, Form& dialog) {
    dialog.Visible = true;
    program.platform.formShown(dialog);
}

constexpr const char* signalRows[4] = {"RTS On", "RTS Off", "DTR On", "DTR Off"};

}  // namespace

// ---------------------------------------------------------------- Specify Action

FrmHostAction::FrmHostAction(Program& program) : Form("frmHostAction") {
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
        Frame* frame = place(add<Frame>(nullptr, "fraDataConverter", b), 120 + 3540.0f * b, 120, 3420, 4695);
        fraDataConverter[b] = frame;
        lblHeading[b] = label(*this, frame, "lblHeading", b, headings[b], 120, 240, 3180, 255);
        for (int t = 0; t < 4; ++t) {
            const float left = (t % 2 == 0) ? 360 : 1800;
            const float top = t < 2 ? 480 : 2640;
            lblTitle[titleIndex[b][t]] =
                label(*this, frame, "lblTitle", titleIndex[b][t], titles[t], left, top, 1215, 255);
        }
        for (int r = 0; r < 5; ++r) {
            const float top = 720 + 360.0f * r;
            const int present = 10 * b + r, converted = 10 * b + 5 + r;
            txtValue[present] = place(add<TextBox>(frame, "txtValue", present), 360, top, 1215, 285);
            txtValue[converted] = place(add<TextBox>(frame, "txtValue", converted), 1800, top, 1215, 285);
        }
        for (int k = 0; k < 4; ++k) {
            // Port 2's signal controls are numbered from the bottom up.
            const int i = b == 0 ? k : 7 - k;
            const float top = 2940 + 360.0f * k;
            const std::string caption = std::string(signalRows[k]) + " =>";
            lblSignalValue[i] = label(*this, frame, "lblSignalValue", i, caption.c_str(), 360, top, 1215, 285);
            ComboBox* combo = place(add<ComboBox>(frame, "cboUARTSignal", i), 1800, top, 1215, 315);
            combo->List.assign(std::begin(signalRows), std::end(signalRows));
            combo->Text = signalRows[k];
            cboUARTSignal[i] = combo;
        }
    }
    for (TextBox* box : txtValue) box->MultiLine = false;

    lblRowRules = label(*this, nullptr, "lblRowRules", -1,
                        "A row with a Converted Value needs a Present Value. "
                        "A value holds at most 255 characters.",
                        120, 4920, 6960, 435);
    cmdOk = place(add<CommandButton>(nullptr, "cmdOk"), 2280, 5520, 1215, 405);
    cmdOk->Caption = "OK";
    cmdOk->Picture = "ok.png";
    cmdCancel = place(add<CommandButton>(nullptr, "cmdCancel"), 3720, 5520, 1215, 405);
    cmdCancel->Caption = "Cancel";
    cmdCancel->Picture = "cancel.png";

    Program& p = program;
    cmdOk->Click = [&p] { frmHostAction_cmdOK_Click(p); };
    cmdCancel->Click = [&p] { frmHostAction_cmdCancel_Click(p); };
    handle("Form_Load", [&p](const auto&) { frmHostAction_Form_Load(p); });
    handle("cmdOK_Click", [&p](const auto&) { frmHostAction_cmdOK_Click(p); });
    handle("cmdCancel_Click", [&p](const auto&) { frmHostAction_cmdCancel_Click(p); });
    handle("Form_Unload", [&p](const auto&) { frmHostAction_Form_Unload(p); });
}

std::optional<RowProblem> rowProblem(const std::array<std::string, 20>& values) {
    for (int b = 0; b < 2; ++b) {
        for (int r = 0; r < 5; ++r) {
            const int present = 10 * b + r, converted = 10 * b + 5 + r;
            const std::string row = "Port " + std::to_string(b + 1) + ", row " + std::to_string(r + 1);
            for (int box : {present, converted}) {
                if (values[box].size() <= MaxRowValueLength) continue;
                return RowProblem{box, row + ": the " + (box == present ? "Present" : "Converted") +
                                           " Value has " + std::to_string(values[box].size()) +
                                           " characters; a value holds at most 255."};
            }
            if (values[present].empty() && !values[converted].empty())
                return RowProblem{present, row + ": a Converted Value needs a Present Value. "
                                                 "Fill in the Present Value, or clear the row."};
        }
    }
    return std::nullopt;
}

void mnuDataConvertion_Click(Program& program) {
    program.FrmMain->Enabled = false;
    if (!program.frmHostAction) {
        program.frmHostAction = std::make_unique<FrmHostAction>(program);
        frmHostAction_Form_Load(program);
    }
    showOverMain(program, *program.frmHostAction);
}

void frmHostAction_Form_Load(Program& program) { loadSound(program, program.mciTarvoline2); }

void frmHostAction_cmdOK_Click(Program& program) {
    if (!program.frmHostAction) return;
    FrmHostAction& f = *program.frmHostAction;
    std::array<std::string, 20> values;
    for (int k = 0; k < 20; ++k) values[k] = f.txtValue[k]->Text();
    // A faulty row stores nothing: the dialog stays open on it.
    if (auto problem = rowProblem(values)) {
        f.focus = f.txtValue[problem->box];
        program.platform.MsgBox(problem->message, f.Caption, vbOKOnly);
        return;
    }

    SharedState& s = program.state;
    for (int r = 0; r < 5; ++r) {
        s.PresentValue1[r] = values[r];
        if (values[r].size() > s.MaxPresentLength[0])
            s.MaxPresentLength[0] = static_cast<std::uint8_t>(values[r].size());
    }
    for (int r = 0; r < 5; ++r) s.ConvertedValue1[r] = values[5 + r];
    for (int r = 0; r < 5; ++r) {
        s.PresentValue2[r] = values[10 + r];
        if (values[10 + r].size() > s.MaxPresentLength[1])
            s.MaxPresentLength[1] = static_cast<std::uint8_t>(values[10 + r].size());
    }
    for (int r = 0; r < 5; ++r) s.ConvertedValue2[r] = values[15 + r];

    f.Visible = false;
    program.platform.formHidden(f);
    program.FrmMain->Enabled = true;
}

void frmHostAction_cmdCancel_Click(Program& program) { frmHostAction_Form_Unload(program); }

void frmHostAction_Form_Unload(Program& program) {
    if (!program.frmHostAction) return;
    giveBackMain(program);
    program.platform.formUnloaded(*program.frmHostAction);
    program.frmHostAction.reset();
}

// ---------------------------------------------------------------- Watch Data

FrmFindData::FrmFindData(Program& program) : Form("frmFindData") {
    Caption = "Watch Data";
    Width = 4935;
    Height = 3135;
    ScaleWidth = 4815;
    ScaleHeight = 2655;

    for (int i = 0; i < 2; ++i) {
        Frame* frame = place(add<Frame>(nullptr, "Frame1", i), 120, 120 + 1095.0f * i, 4575, 975);
        Frame1[i] = frame;
        Label* caption = label(*this, frame, "Label1", i == 0 ? 4 : 0,
                               i == 0 ? "Stop when data found on (DTE1)"
                                      : "Stop when data found on (DTE2/DCE2)",
                               120, 240, 4335, 255);
        (i == 0 ? Label1_4 : Label1_0) = caption;
        txtFound[i] = place(add<TextBox>(frame, "txtFound", i), 120, 540, 4335, 285);
        txtFound[i]->MultiLine = false;
    }
    cmdOK = place(add<CommandButton>(nullptr, "cmdOK"), 1080, 2160, 1215, 405);
    cmdOK->Caption = "OK";
    cmdOK->Picture = "ok.png";
    cmdCancel = place(add<CommandButton>(nullptr, "cmdCancel"), 2520, 2160, 1215, 405);
    cmdCancel->Caption = "Cancel";
    cmdCancel->Picture = "cancel.png";

    Program& p = program;
    for (int i = 0; i < 2; ++i) txtFound[i]->Change = [&p, i] { frmFindData_txtFound_Change(p, i); };
    cmdOK->Click = [&p] { frmFindData_cmdOK_Click(p); };
    cmdCancel->Click = [&p] { frmFindData_cmdCancel_Click(p); };
    handle("Form_Load", [&p](const auto&) { frmFindData_Form_Load(p); });
    handle("txtFound_Change", [&p](const auto& a) { frmFindData_txtFound_Change(p, argument(a, 0)); });
    handle("cmdOK_Click", [&p](const auto&) { frmFindData_cmdOK_Click(p); });
    handle("cmdCancel_Click", [&p](const auto&) { frmFindData_cmdCancel_Click(p); });
    handle("Form_Unload", [&p](const auto&) { frmFindData_Form_Unload(p); });
}

void mnuFindData_Click(Program& program) {
    program.FrmMain->Enabled = false;
    if (!program.frmFindData) {
        program.frmFindData = std::make_unique<FrmFindData>(program);
        frmFindData_Form_Load(program);
    }
    showOverMain(program, *program.frmFindData);
}

void frmFindData_Form_Load(Program& program) { loadSound(program, program.mciTarvoline3); }

void frmFindData_txtFound_Change(Program& program, int Index) {
    if (Index == 0 || Index == 1) program.state.WatchArmed[Index] = 1;
}

void frmFindData_cmdOK_Click(Program& program) {
    if (!program.frmFindData) return;
    program.state.WatchString[0] = program.frmFindData->txtFound[0]->Text();
    program.state.WatchString[1] = program.frmFindData->txtFound[1]->Text();
    frmFindData_Form_Unload(program);
}

void frmFindData_cmdCancel_Click(Program& program) {
    if (!program.frmFindData) return;
    program.state.WatchArmed[0] = 0;
    program.state.WatchArmed[1] = 0;
    frmFindData_Form_Unload(program);
}

void frmFindData_Form_Unload(Program& program) {
    if (!program.frmFindData) return;
    giveBackMain(program);
    program.platform.formUnloaded(*program.frmFindData);
    program.frmFindData.reset();
}

// ---------------------------------------------------------------- commands

void bindConversion(Program& program) {
    FrmMain& f = *program.FrmMain;
    Program& p = program;
    f.mnuDataConvertion->Click = [&p] { mnuDataConvertion_Click(p); };
    f.mnuFindData->Click = [&p] { mnuFindData_Click(p); };
    f.handle("mnuDataConvertion_Click", [&p](const auto&) { mnuDataConvertion_Click(p); });
    f.handle("mnuFindData_Click", [&p](const auto&) { mnuFindData_Click(p); });
}

}  // namespace tvl
