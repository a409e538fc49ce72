#include "app/frm_main.h"

#include <string>

namespace tvl {

namespace {
Line* placeLine(Line* line, float x1, float y1, float x2, float y2) {
    line->X1 = x1;
    line->Y1 = y1;
    line->X2 = x2;
    line->Y2 = y2;
    return line;
}
}  // namespace

FrmMain::FrmMain() : Form("FrmMain") {
    Caption = "Tarvoline";
    Width = 9480;
    Height = 7245;
    ScaleWidth = 9360;
    ScaleHeight = 6765;
    Left = 120;
    Top = 315;
    Picture = pictures::mainBackground;

    buildToolbars();
    for (int group = 0; group < 2; ++group) buildGroup(group);
    tmrTarvoline = add<Timer>(nullptr, "tmrTarvoline");
    tmrTarvoline->Interval = 1;
    tmrTarvoline->Enabled = true;
    buildMenus();
}

void FrmMain::buildToolbars() {
    tbrTarvoline = place(add<Toolbar>(nullptr, "tbrTarvoline"), 0, 0, 9360, 660);
    tbrTarvoline->AccessibleName = "Monitor commands";
    tbrTarvoline->ImageList = {"tb_setup.png", "tb_start.png", "tb_stop.png", "tb_convert.png",
                               "tb_watch.png", "tb_help.png",  "tb_exit.png", "tb_open.png"};
    auto button = [](const char* key, const char* tip, int image) {
        ToolbarButton b;
        b.Key = key;
        b.ToolTipText = tip;
        b.Image = image;
        return b;
    };
    ToolbarButton separator;
    separator.Separator = true;
    tbrTarvoline->buttons = {
        button("Setup", "Set the Tarvoline", 1),
        separator,
        button("StartStop", "Start communication", 2),
        button("DataConversion", "Assign data conversion", 4),
        button("FindData", "Watch data (stopper)", 5),
        separator,
        button("Help", "Get help information", 6),
        separator,
        button("OpenFile", "Open Tarvoline Saved File", 8),
        separator,
        button("Exit", "Quit to this program", 7),
    };

    tbrFileAccess = place(add<Toolbar>(nullptr, "tbrFileAccess"), 0, 660, 9360, 660);
    tbrFileAccess->AccessibleName = "Review commands";
    tbrFileAccess->ImageList = {"fa_home.png", "fa_back.png", "fa_forward.png", "fa_end.png",
                                "fa_find.png", "fa_save.png", "fa_exit.png"};
    lblRecordTime = place(add<Label>(tbrFileAccess, "lblRecordTime"), 5280, 210, 3960, 255);
    lblRecordTime->ToolTipText = "When the record on screen was written";
    tbrFileAccess->buttons = {
        button("Home", "Home", 1),
        button("Back", "Back", 2),
        button("Forward", "Forward", 3),
        button("End", "End", 4),
        separator,
        button("Find", "Find data", 5),
        separator,
        button("SaveExit", "Save and Exit", 6),
        button("NoSaveExit", "Do not save and exit!", 7),
    };
}

void FrmMain::buildGroup(int g) {
    Frame* group =
        place(add<Frame>(nullptr, "fraComMonitor", g), g == 0 ? 240 : 4920, 840, 4335, 5895);
    group->ToolTipText = "Click the right mouse button";
    group->Border = false;
    group->AccessibleName = g == 0 ? "Communication 1 (DTE)" : "Communication 2 (DTE/DCE)";
    fraComMonitor[g] = group;
    buildPanes(g, *group);
    buildSignals(g, *group);
    buildHeader(g, *group);
}

// The Transmit and Receive frames with their panes, the review pane and the
// switches, topmost first.
void FrmMain::buildPanes(int g, Frame& group) {
    const int transmit = 2 * g;  // pane and frame indexes of this group
    const int receive = 2 * g + 1;
    const std::string port = g == 0 ? "Port 1 " : "Port 2 ";
    auto frame = [&](int i, float top, float height) {
        Frame* f = place(add<Frame>(&group, "fraTxRx", i), 120, top, 4095, height);
        f->Caption = (i % 2 == 0) ? "Transmit: " : "Receive:  ";
        fraTxRx[i] = f;
        return f;
    };
    auto pane = [&](Frame* in, int i, float height) {
        TextBox* t = place(add<TextBox>(in, "txtCommunication", i), 120, 240, 3855, height);
        t->Locked = (i % 2 == 1);  // the Receive panes are read-only
        t->AccessibleName = port + (i % 2 == 0 ? "Transmit" : "Receive");
        t->AppendsKeys = true;     // a typed key is traffic, shown where traffic arrives
        txtCommunication[i] = t;
    };
    auto switches = [&] {
        for (int k = 0; k < 2; ++k) {
            CheckBox* c = place(add<CheckBox>(&group, "chkUARTControl", 2 * g + k), 2400,
                                k == 0 ? 1440 : 1920, 735, 255);
            c->Picture = pictures::switchOff;
            c->DownPicture = pictures::switchOn;
            c->AccessibleName = port + (k == 0 ? "DTR" : "RTS") + " switch";
            chkUARTControl[2 * g + k] = c;
        }
    };

    // The Receive frame is topmost; the stored form holds it 1680 high with a
    // 1335 pane, which the first layout pass brings to 1575 and 1215.
    Frame* rx = frame(receive, 4200, 1680);
    pane(rx, receive, 1335);
    TextBox* review =
        place(add<TextBox>(rx, g == 0 ? "txtPort1" : "txtPort2"), 120, 240, 3855, 1215);
    review->Visible = false;
    review->AccessibleName = port + "record";
    (g == 0 ? txtPort1 : txtPort2) = review;

    if (g == 0) {
        pane(frame(transmit, 2520, 1575), transmit, 1215);
        switches();
    } else {
        switches();
        pane(frame(transmit, 2520, 1575), transmit, 1215);
    }
}

// The lamps and their labels, per port in the order CTS, DSR, CD, RI, DTR,
// RTS, and the two rules between the rows.
void FrmMain::buildSignals(int g, Frame& group) {
    static const char* const signalNames[kSignals] = {"CTS", "DSR", "CD", "RI", "DTR", "RTS"};
    static const float labelLeft[kSignals] = {1200, 1200, 2400, 2400, 1200, 1200};
    static const float labelTop[kSignals] = {480, 840, 480, 840, 1440, 1920};
    static const float lampLeft[kSignals] = {1800, 1800, 2880, 2880, 1800, 1800};
    static const float lampTop[kSignals] = {360, 720, 360, 720, 1320, 1800};
    for (int s = 0; s < kSignals; ++s) {
        Label* label = place(add<Label>(&group, "lblUART", labelIndex(g, s)), labelLeft[s],
                             labelTop[s], 495, 195);
        label->Caption = std::string(signalNames[s]) + ":";
        label->AutoSize = true;
        lblUART[labelIndex(g, s)] = label;
        for (int on = 0; on < 2; ++on) {
            const int i = lampIndex(g, s, on);
            Image* lamp =
                place(add<Image>(&group, "imgStatus", i), lampLeft[s], lampTop[s], 360, 420);
            lamp->Picture = on ? pictures::lampOn : pictures::lampOff;
            lamp->Visible = !on;
            // Only the lamp of the line's state shows, and it says the state.
            lamp->AccessibleName = std::string(g == 0 ? "Port 1 " : "Port 2 ") + signalNames[s] +
                                   (on ? " lamp, on" : " lamp, off");
            imgStatus[i] = lamp;
        }
    }
    for (int k = 0; k < 2; ++k) {
        const float y = k == 0 ? 1200 : 2400;
        Line* line = placeLine(add<Line>(&group, "myLine", 2 * g + k), 120, y, 4200, y);
        line->BorderWidth = 2;
        line->BorderColor = 5;  // system colour: window background
        line->SystemColor = true;
        myLine[2 * g + k] = line;
    }
}

// The header: a label on a thick bar, and an icon.
void FrmMain::buildHeader(int g, Frame& group) {
    Label* title = place(add<Label>(&group, g == 0 ? "Label1" : "Label2"), g == 0 ? 720 : 600, 0,
                         g == 0 ? 3015 : 3495, 255);
    title->Caption = g == 0 ? "Communication 1 (DTE)" : "Communication 2 (DTE/DCE)";
    (g == 0 ? Label1 : Label2) = title;
    Image2[g] = place(add<Image>(&group, "Image2", g), 0, 0, 480, 480);
    Image2[g]->Picture = g == 0 ? "port1.png" : "port2.png";
    Image2[g]->AccessibleName = g == 0 ? "Port 1" : "Port 2";
    Line* bar = placeLine(add<Line>(&group, g == 0 ? "Line1" : "Line2"), g == 0 ? 720 : 600, 150,
                          g == 0 ? 3720 : 4080, 150);
    bar->BorderWidth = 20;
    bar->BorderColor = 0x008080;
    (g == 0 ? Line1 : Line2) = bar;
}

void FrmMain::buildMenus() {
    auto menu = [&](Menu* parent, const char* name, const char* caption) {
        Menu* m = add<Menu>(parent, name);
        m->Caption = caption;
        if (parent) parent->entries.push_back(m);
        return m;
    };
    mnuMenu = menu(nullptr, "mnuMenu", "Menu");
    mnuMenu->Visible = false;
    mnuSetup = menu(mnuMenu, "mnuSetup", "&Setup");
    mnuStartStop = menu(mnuMenu, "mnuStartStop", "&Start / Stop");
    mnuDataConvertion = menu(mnuMenu, "mnuDataConvertion", "&Data Convertion");
    mnuFindData = menu(mnuMenu, "mnuFindData", "&Watch data");
    menu(mnuMenu, "mnubar1", "-");
    mnuHelp = menu(mnuMenu, "mnuHelp", "&Help");
    menu(mnuMenu, "mnubar2", "-");
    mnuOpenFile = menu(mnuMenu, "mnuOpenFile", "&Open Tarvoline File");
    menu(mnuMenu, "mnubar3", "-");
    mnuExit = menu(mnuMenu, "mnuExit", "E&xit");

    mnuFileAccess = menu(nullptr, "mnuFileAccess", "FileAccess");
    mnuFileAccess->Visible = false;
    mnuHome = menu(mnuFileAccess, "mnuHome", "Home");
    mnuBack = menu(mnuFileAccess, "mnuBack", "Back");
    mnuForward = menu(mnuFileAccess, "mnuForward", "Forward");
    mnuEnd = menu(mnuFileAccess, "mnuEnd", "End");
    menu(mnuFileAccess, "mnubar22", "-");
    mnuFind = menu(mnuFileAccess, "mnuFind", "Find");
    menu(mnuFileAccess, "mnubar21", "-");
    mnuSaveExit = menu(mnuFileAccess, "mnuSaveExit", "Save and Exit");
    mnuNoSaveExit = menu(mnuFileAccess, "mnuNoSaveExit", "Exit (No Save)");
}

FrmSplash::FrmSplash() : Form("frmSplash") {
    Caption = "";
    ScaleWidth = 9330;
    ScaleHeight = 5895;
    Width = 9330;
    Height = 5895;
    Frame2 = place(add<Frame>(nullptr, "Frame2"), 0, 0, 9345, 5925);
    Frame2->Border = false;
    Frame2->AccessibleName = "Tarvoline";
    Image1 = place(add<Image>(Frame2, "Image1"), -120, 0, 9600, 5955);
    Image1->Picture = pictures::splash;
    Image1->Stretch = true;
    Image1->AccessibleName = "Tarvoline: click or press a key to begin";
}

}  // namespace tvl
