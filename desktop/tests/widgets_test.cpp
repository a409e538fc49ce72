// The Qt view of the windows under the user's keys and mouse: a widget per
// control under its name, the scaled places in pixels, events that reach the
// model and come back, and the help window at its topics. (That a dialog is
// owned by, centred over and fixed above its window, and what its close box
// does: the desktop walk, under a real window manager.)
#include <gtest/gtest.h>

#include <QtTest>
#include <QtWidgets>
#include <cmath>
#include <set>

#include "app/frm_find_data.h"
#include "app/frm_host_action.h"
#include "app/frm_main.h"
#include "app/frm_setup.h"
#include "convert/conversion.h"
#include "desktop/qt_program.h"
#include "platform/qt/control_widgets.h"
#include "platform/qt/form_view.h"
#include "platform/qt/help_window.h"
#include "platform/qt/window_style.h"
#include "setup/setup.h"

namespace tvl {
namespace {

// The program up to its main window, with popups and the end recorded.
struct Window {
    Window() {
        app.desktop.popupHook = [this](Menu& m) { popups.push_back(m.name()); };
        app.desktop.endHook = [this] { ++ends; };
        Main(p);
        splash = app.desktop.view(*p.frmSplash);
    }
    FormView& start() {
        QTest::keyClick(splash, Qt::Key_Space);
        view = app.desktop.view(*p.FrmMain);
        return *view;
    }
    FrmMain& form() { return *p.FrmMain; }
    template <class T = QWidget>
    T* widget(const char* key, QWidget* in = nullptr) {
        T* w = (in ? in : view)->findChild<T*>(QString::fromLatin1(key));
        EXPECT_NE(w, nullptr) << key;
        return w;
    }
    void model(const std::function<void()>& change) { app.desktop.dispatch(change); }
    void openDialogs() {
        model([&] {
            mnuDataConvertion_Click(p);
            mnuFindData_Click(p);
            mnuSetup_Click(p);
        });
    }
    FormView* dialog(void (*command)(Program&), Form* (*form)(Program&)) {
        model([&] { command(p); });
        return app.desktop.view(*form(p));
    }

    QtProgram app;
    Program& p = *app.program;
    FormView* splash = nullptr;
    FormView* view = nullptr;
    std::vector<std::string> popups;
    int ends = 0;
};

Form* setupOf(Program& p) { return p.frmSetup.get(); }
Form* conversionOf(Program& p) { return p.frmHostAction.get(); }
Form* watchOf(Program& p) { return p.frmFindData.get(); }
// Every dialog: the command that opens it and the form it shows.
const std::pair<void (*)(Program&), Form* (*)(Program&)> dialogs[] = {
    {mnuSetup_Click, setupOf}, {mnuDataConvertion_Click, conversionOf}, {mnuFindData_Click, watchOf}};

// Pixels of a twips value at this screen's dpi.
int px(double twips) {
    const double dpi = QGuiApplication::primaryScreen()->logicalDotsPerInchX();
    return static_cast<int>(std::lround(twips / 15.0 * dpi / 96.0));
}
QRect rect(double l, double t, double w, double h) { return QRect(px(l), px(t), px(w), px(h)); }

TEST(QtView, SplashGivesWayToAMainWindowOfNamedWidgetsOnScaledPixels) {
    Window w;
    EXPECT_TRUE(w.splash->windowFlags() & Qt::FramelessWindowHint);
    EXPECT_EQ(w.splash->size(), QSize(px(9330), px(5895)));
    auto* image = w.widget("Image1", w.splash);
    EXPECT_EQ(image->geometry(), rect(-120, 0, 9600, 5955));
    QTest::mouseClick(image, Qt::RightButton);
    EXPECT_NE(w.p.frmSplash, nullptr);  // a Click is the left button
    QTest::mouseClick(image, Qt::LeftButton);
    EXPECT_EQ(w.p.frmSplash, nullptr);
    ASSERT_NE(w.p.FrmMain, nullptr);
    FormView& v = *(w.view = w.app.desktop.view(w.form()));
    EXPECT_TRUE(v.isVisible());

    for (const auto& c : w.form().controls()) w.widget<QObject>(c->key().c_str());
    EXPECT_EQ(w.widget("txtCommunication(3)")->parentWidget(), w.widget("fraTxRx(3)"));
    EXPECT_EQ(w.widget("fraTxRx(3)")->parentWidget(), w.widget("fraComMonitor(1)"));
    EXPECT_EQ(w.widget("txtPort2")->parentWidget(), w.widget("fraTxRx(3)"));

    EXPECT_EQ(v.size(), QSize(px(9360), px(6765)));
    EXPECT_EQ(w.widget("fraComMonitor(1)")->geometry(), rect(4920, 840, 4335, 5895));
    EXPECT_EQ(w.widget("txtCommunication(1)")->geometry(), rect(120, 240, 3855, 1215));
    EXPECT_EQ(w.widget("imgStatus(20)")->geometry(), rect(2880, 360, 360, 420));
    // The user doubles the client area: the model's size follows, the pass runs.
    v.resize(2 * px(9360), 2 * px(6765));
    EXPECT_NEAR(w.form().Width, 2 * 9360 + 120, 15);
    EXPECT_NEAR(w.form().Height, 2 * 6765 + 480, 15);
    const Control& group = *w.form().fraComMonitor[1];
    EXPECT_NEAR(group.Left, w.form().Width / 1.92682926829268, 0.01);
    EXPECT_EQ(w.widget("fraComMonitor(1)")->geometry(),
              QRect(px(group.Left), px(group.Top), px(group.Width), px(group.Height)));
    EXPECT_EQ(w.widget("imgStatus(20)")->size(), QSize(px(360), px(420)));
}

TEST(QtView, ToolbarClicksAndTheRightButtonReachTheModel) {
    Window w;
    FormView& v = w.start();
    int setups = 0;
    w.form().handle("mnuSetup_Click", [&](const auto&) { ++setups; });
    auto* bar = w.widget<ToolbarWidget>("tbrTarvoline");
    auto button = [&](int i) {
        return qobject_cast<QToolButton*>(bar->widgetForAction(bar->action(i)));
    };
    QTest::mouseClick(button(1), Qt::LeftButton);
    EXPECT_EQ(setups, 1);
    // A greyed button stays greyed until the model enables it.
    EXPECT_FALSE(button(3)->isEnabled());
    w.model([&] { w.form().tbrTarvoline->Buttons(3).Enabled = true; });
    QTest::mouseClick(button(3), Qt::LeftButton);
    EXPECT_EQ(button(3)->toolTip(), QStringLiteral("Stop communication"));
    EXPECT_EQ(w.form().tbrTarvoline->Buttons(3).Image, 3);

    auto release = [&](QWidget* on) {
        QTest::mouseClick(on, Qt::RightButton, {}, QPoint(3, 3));
        return std::exchange(w.popups, {});
    };
    auto viewport = [&](const char* pane) {
        return w.widget(pane)->findChild<QWidget*>(QStringLiteral("qt_scrollarea_viewport"));
    };
    using Menus = std::vector<std::string>;
    EXPECT_EQ(release(&v), Menus{"mnuMenu"});
    // The groups are disabled before Setup: the click falls through to the window.
    EXPECT_EQ(release(w.widget("fraTxRx(0)")), Menus{"mnuMenu"});
    w.model([&] { w.form().fraComMonitor[0]->Enabled = true; });
    EXPECT_EQ(release(w.widget("fraComMonitor(0)")), Menus{"mnuMenu"});
    EXPECT_EQ(release(w.widget("fraTxRx(0)")), Menus{});
    EXPECT_EQ(release(viewport("txtCommunication(0)")), Menus{});
    EXPECT_EQ(release(w.widget("tbrTarvoline")), Menus{"mnuMenu"});
    // Review from the model: the other toolbar docks at the top edge, and the
    // window's surfaces turn to the review popup.
    w.model([&] {
        w.form().tbrTarvoline->Visible = false;
        w.form().tbrFileAccess->Visible = true;
        w.form().txtPort1->Visible = true;
    });
    EXPECT_EQ(w.widget("tbrFileAccess")->geometry().top(), 0);
    EXPECT_EQ(release(&v), Menus{"mnuFileAccess"});
    EXPECT_EQ(release(viewport("txtPort1")), Menus{"mnuFileAccess"});
    // Only the monitor toolbar's showing decides.
    w.model([&] { w.form().tbrTarvoline->Visible = true; });
    EXPECT_EQ(release(&v), Menus{"mnuMenu"});
}

TEST(QtView, PanesSendTheUsersKeysAndShowTheLinesBytesThroughTheEventLoop) {
    Window w;
    w.start();
    w.model([&] {  // a Host-mode run, as Setup and Start leave it
        w.p.mscComControl1.setCommPort(1);
        w.p.mscComControl1.setPortOpen(true);
        w.p.state.CommHandle[0] = w.p.mscComControl1.CommID();
        w.p.mscComControl2.setCommPort(2);
        w.p.mscComControl2.setPortOpen(true);
        w.form().fraComMonitor[0]->Enabled = true;
        w.form().txtCommunication[0]->Enabled = true;
    });
    // No call into the pump here: the readable port and the timer do it.
    auto* pane = w.widget<QPlainTextEdit>("txtCommunication(0)");
    auto* receive = w.widget<QPlainTextEdit>("txtCommunication(3)");
    auto* frame = w.widget<FrameWidget>("fraTxRx(0)");
    w.app.simulated1.feed("AT\r");
    EXPECT_TRUE(QTest::qWaitFor([&] { return pane->toPlainText() == "AT<CR>"; }, 2000))
        << pane->toPlainText().toStdString();
    EXPECT_EQ(receive->toPlainText(), QStringLiteral("AT<CR>"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return frame->caption() == "Transmit: 3"; }, 2000))
        << frame->caption().toStdString();
    // A quiet line runs no slice of ticks at all.
    const TimerDriver& driver = *w.view->drivers().at(0);
    const std::uint64_t slices = driver.slices;
    QTest::qWait(50);
    EXPECT_EQ(driver.slices, slices);
    // A timer the model stops ticks no more; bytes wait in the port.
    w.model([&] { w.form().tmrTarvoline->Enabled = false; });
    w.app.simulated1.feed("Z");
    QTest::qWait(30);
    EXPECT_EQ(w.p.mscComControl1.InBufferCount(), 1);
    w.model([&] { w.form().tmrTarvoline->Enabled = true; });
    EXPECT_TRUE(QTest::qWaitFor([&] { return w.p.mscComControl1.InBufferCount() == 0; }, 2000));

    w.app.simulated2.takeWritten();
    // A click in the middle of the traffic puts the caret there; keys still go to the end.
    QTest::mouseClick(pane->viewport(), Qt::LeftButton, {}, QPoint(px(300), px(120)));
    ASSERT_LT(w.form().txtCommunication[0]->SelStart, 6u);
    QTest::keyClicks(pane, "AB");
    for (Qt::Key key : {Qt::Key_Backspace, Qt::Key_Return, Qt::Key_Delete, Qt::Key_Escape,
                        Qt::Key_Tab, Qt::Key_F1, Qt::Key_Left})
        QTest::keyClick(pane, key);
    for (Qt::Key key : {Qt::Key_C, Qt::Key_Z, Qt::Key_M, Qt::Key_A})
        QTest::keyClick(pane, key, Qt::ControlModifier);
    // Delete, F1 and the arrow send nothing; the controls go out as their bytes.
    EXPECT_EQ(w.app.simulated2.takeWritten(), "AB\x08\r\x1b\t\x03\x1a\r\x01");
    EXPECT_EQ(w.p.state.TransmitCount[0], 10);  // the first key starts the count afresh
    // The user's keys show at once, however soon after the last copy.
    EXPECT_EQ(pane->toPlainText(), QStringLiteral("AT<CR>ZAB<BS><CR><ESC><tab><ETX><SUB><CR><SOH>"));
    // The widget takes over only what changed after the part it shows: a text
    // cut back, one with a new end, an emptied pane and a new start all show whole.
    for (const char* text : {"AT<CR>ZAB", "AT<CR>ZQ<LF>", "", "Q", "AT"}) {
        w.model([&] { w.form().txtCommunication[0]->setText(text); });
        EXPECT_TRUE(QTest::qWaitFor([&] { return pane->toPlainText() == text; }, 2000))
            << text << " shown as " << pane->toPlainText().toStdString();
    }
    // A read-only Receive pane takes no key and changes nothing.
    const auto before = w.form().txtCommunication[1]->revision;
    QTest::keyClicks(w.widget("txtCommunication(1)"), "zz");
    EXPECT_EQ(w.form().txtCommunication[1]->revision, before);
}

TEST(QtView, DialogsAnswerKeysAndClicksAndTheMainCloseBoxRunsExit) {
    Window w;
    w.start();
    Program& p = w.p;
    w.app.simulated.listed = {{7, "7 = /dev/ttyS6", {}}, {12, "12 = /dev/ttyS11", {}}};
    FormView* setup = w.dialog(mnuSetup_Click, setupOf);
    EXPECT_FALSE(w.form().Enabled);
    // The device list is picked from, not typed into; a pick fills a port box.
    auto* devices = w.widget<QComboBox>("cboDevices", setup);
    EXPECT_FALSE(devices->isEditable());
    EXPECT_EQ(devices->count(), 2);
    EXPECT_EQ(devices->placeholderText().toStdString(), p.frmSetup->cboDevices->Text);
    devices->showPopup();
    QAbstractItemView* items = devices->view();
    QTest::mouseClick(items->viewport(), Qt::LeftButton, {},
                      items->visualRect(items->model()->index(1, 0)).center());
    EXPECT_EQ(p.frmSetup->txtComPort[0]->Text(), "12");
    auto* port = w.widget<QLineEdit>("txtComPort(0)", setup);  // a port box is single-line
    port->setFocus();
    QTest::keyClick(port, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(port, "901");  // typed over the selected "3"
    EXPECT_EQ(p.frmSetup->txtComPort[0]->Text(), "901");
    EXPECT_EQ(p.frmSetup->lblComPort[0]->Caption, p.mscComControl1.describe(901) + " (present)");
    auto* host = w.widget<QRadioButton>("optMode(1)", setup);
    EXPECT_EQ(host->parentWidget(), w.widget("fraMode", setup));
    QTest::mouseClick(host, Qt::LeftButton);
    EXPECT_TRUE(p.frmSetup->optMode[1]->Value);
    EXPECT_TRUE(p.frmSetup->optMonitor[2]->Value) << "the model's Click did not run";
    EXPECT_FALSE(w.widget<QRadioButton>("optMode(0)", setup)->isChecked());
    auto* speed = w.widget<QComboBox>("cboBPS", setup);
    speed->setCurrentIndex(speed->findText(QStringLiteral("9600")));
    EXPECT_EQ(p.frmSetup->cboBPS->Text, "9600");
    // Enter presses OK, the default button, and adds no line break.
    QTest::keyClick(port, Qt::Key_Return);
    EXPECT_EQ(p.frmSetup->txtComPort[0]->Text(), "901");
    EXPECT_FALSE(p.frmSetup->Visible);
    EXPECT_TRUE(p.mscComControl1.PortOpen());
    w.model(
        [&] { w.form().fraComMonitor[0]->Enabled = w.form().chkUARTControl[0]->Enabled = true; });
    QTest::mouseClick(w.widget("chkUARTControl(0)"), Qt::LeftButton);
    EXPECT_EQ(w.form().chkUARTControl[0]->Value, 1);
    // Esc presses Cancel, which unloads the dialog.
    QTest::keyClick(w.widget("txtComPort(1)", w.dialog(mnuSetup_Click, setupOf)), Qt::Key_Escape);
    EXPECT_EQ(p.frmSetup, nullptr);

    // Help: the file beside the program at its contents, then the same window
    // at a context's topic (as a message box's Help button asks), then back.
    const auto top = [&] {
        QTextBrowser& b = *w.app.desktop.helpWindow()->browser();
        return std::pair(b.verticalScrollBar()->value(),
                         b.cursorForPosition(QPoint(4, 4)).block().text());
    };
    w.model([&] { w.form().mnuHelp->Click(); });
    HelpWindow* help = w.app.desktop.helpWindow();
    ASSERT_TRUE(help && help->isVisible());
    EXPECT_TRUE(help->browser()->toPlainText().contains(QStringLiteral("Transparent mode")));
    EXPECT_EQ(top(), std::pair(0, QStringLiteral("Tarvoline Help")));
    w.model([&] { p.platform.ShowHelp("TARVOLINE.hlp", 1, 17); });
    EXPECT_EQ(w.app.desktop.helpWindow(), help) << "a second help window";
    EXPECT_GT(top().first, 0);
    EXPECT_EQ(top().second, QStringLiteral("A port won't open"));
    w.model([&] { w.form().mnuHelp->Click(); });
    EXPECT_EQ(top().first, 0);
    help->close();
    EXPECT_FALSE(help->isVisible());

    // The main window's close box runs Exit.
    w.view->close();
    EXPECT_EQ(w.ends, 1);
    EXPECT_TRUE(p.exited);
    EXPECT_EQ(qtFileFilter("Tarvoline File (*.tvl)|*.tvl|Texts|*.txt;*.log"),
              QStringLiteral("Tarvoline File (*.tvl);;Texts (*.txt *.log)"));
}

TEST(QtView, FileDialogsStartWhereTheUserCanWriteAndListTheFilesTheirFilterNames) {
    QTemporaryDir program, started;
    for (const QString& file : {program.filePath("old.tvl"), program.filePath("old.mdb"),
                                started.filePath("run.tvl"), started.filePath("notes.txt")})
        QFile(file).open(QIODevice::WriteOnly);
    const QString before = QDir::currentPath();
    QDir::setCurrent(started.path());
    struct Seen {
        std::string folder, filters, listed;
    };
    // Reads the next file dialog once its folder is listed, then cancels it.
    auto answer = [](Seen& seen) {
        QTimer::singleShot(0, [&seen] {
            auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            if (!dialog) return;
            seen.folder = dialog->directory().path().toStdString();
            seen.filters = dialog->nameFilters().join(";;").toStdString();
            auto* list = dialog->findChild<QListView*>(QStringLiteral("listView"));
            ASSERT_NE(list, nullptr);
            const auto rows = [list] { return list->model()->rowCount(list->rootIndex()); };
            EXPECT_TRUE(QTest::qWaitFor([&] { return rows() > 0; }, 2000));
            QStringList names;
            for (int row = 0; row < rows(); ++row)
                names << list->model()->index(row, 0, list->rootIndex()).data().toString();
            seen.listed = names.join(' ').toStdString();
            dialog->reject();
        });
    };
    QtDesktop desktop;
    Seen save, open;
    // A program folder the user cannot write (here, one that is gone): the
    // dialog starts where the program was started.
    answer(save);
    desktop.ShowSave((program.path() + "/gone").toStdString(), "Kelmar Tarvoline (*.tvl)|");
    EXPECT_EQ(save.folder, started.path().toStdString());
    EXPECT_EQ(save.filters, "Kelmar Tarvoline (*.tvl)");
    EXPECT_EQ(save.listed, "run.tvl");
    answer(open);
    desktop.ShowOpen(program.path().toStdString(),
                     "Kelmar Tarvoline (*.tvl)|*.tvl|All Files (*.*)|*.*");
    EXPECT_EQ(open.folder, program.path().toStdString());
    EXPECT_EQ(open.filters, "Kelmar Tarvoline (*.tvl);;All Files (*.*)");
    EXPECT_EQ(open.listed, "old.tvl");
    QDir::setCurrent(before);
    EXPECT_EQ(qtFileFilter("Any|"), QStringLiteral("Any (*)"));
}

// What a screen reader calls a widget: its name or, for a combo box, whose
// name on Linux is its text, the label it is labelled by.
QString spoken(QWidget* w) {
    QAccessibleInterface* i = QAccessible::queryAccessibleInterface(w);
    if (!i || i->role() != QAccessible::ComboBox) return i ? i->text(QAccessible::Name) : QString();
    const auto labels = i->relations(QAccessible::Label);
    return labels.isEmpty() ? QString() : labels.first().first->text(QAccessible::Name);
}

// The controls of a window (the widgets named by their keys, a toolbar's
// buttons among them) that show and that a screen reader has no name for.
std::string unnamed(QWidget& window) {
    std::string out;
    for (QWidget* c : window.findChildren<QWidget*>()) {
        const QString key = c->objectName();
        auto* label = qobject_cast<QLabel*>(c);
        if (key.isEmpty() || key.startsWith(QLatin1String("qt_")) || !c->isVisibleTo(&window) ||
            c->testAttribute(Qt::WA_TransparentForMouseEvents) ||
            (label && label->text().isEmpty()))
            continue;  // Qt's own parts, a rule, a label showing nothing
        if (spoken(c).isEmpty()) out += (window.objectName() + "." + key + " ").toStdString();
    }
    return out;
}

TEST(QtView, EveryControlIsNamedForAScreenReaderAndLampsAndSwitchesSayTheirState) {
    Window w;
    EXPECT_EQ(unnamed(*w.splash), "");
    w.start();
    Program& p = w.p;
    w.openDialogs();
    // Every control of the main window shown at once: both lamps of a line, both toolbars.
    w.model([&] {
        w.form().mnuHelp->Click();
        for (const auto& c : w.form().controls()) c->Visible = true;
    });
    for (Form* form :
         std::initializer_list<Form*>{&w.form(), setupOf(p), conversionOf(p), watchOf(p)})
        EXPECT_EQ(unnamed(*w.app.desktop.view(*form)), "");
    EXPECT_EQ(unnamed(*w.app.desktop.helpWindow()), "");
    // A picture button is called by the word its picture shows.
    EXPECT_EQ(spoken(w.widget("cmdOK", w.app.desktop.view(*setupOf(p)))), QStringLiteral("OK"));
    EXPECT_EQ(spoken(w.widget("cboParity", w.app.desktop.view(*setupOf(p)))),
              QStringLiteral("Parity"));
    w.model([&] { p.frmSetup->cmdCancel->Click(); });

    // A lamp that lights, and a switch the user turns, say so.
    w.model([&] {
        w.form().fraComMonitor[0]->Enabled = true;
        for (int on = 0; on < 2; ++on) w.form().imgStatus[lampIndex(0, CTS, on)]->Visible = !on;
        w.form().chkUARTControl[0]->Enabled = true;
        p.mscComControl1.setCommPort(1);
        p.mscComControl1.setPortOpen(true);
        p.state.CommHandle[0] = p.mscComControl1.CommID();
    });
    auto lamp = [&] {  // the one of its two pictures that shows
        QWidget* off = w.view->widgetOf(w.form().imgStatus[lampIndex(0, CTS, false)]);
        return spoken(off->isVisibleTo(w.view)
                          ? off
                          : w.view->widgetOf(w.form().imgStatus[lampIndex(0, CTS, true)]));
    };
    EXPECT_EQ(lamp(), QStringLiteral("Port 1 CTS lamp, off"));
    w.app.simulated1.setInput(MS_CTS_ON, true);
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return lamp() == QStringLiteral("Port 1 CTS lamp, on"); }, 2000))
        << lamp().toStdString();
    QWidget* dtr = w.widget("chkUARTControl(0)");
    QAccessibleInterface* switchSaid = QAccessible::queryAccessibleInterface(dtr);
    EXPECT_EQ(switchSaid->role(), QAccessible::CheckBox);
    EXPECT_EQ(switchSaid->text(QAccessible::Name), QStringLiteral("Port 1 DTR switch"));
    EXPECT_FALSE(switchSaid->state().checked);
    QTest::mouseClick(dtr, Qt::LeftButton);
    EXPECT_TRUE(switchSaid->state().checked);
    // A screen reader's own toggle goes the user's way, to the line.
    switchSaid->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
    EXPECT_EQ(w.form().chkUARTControl[0]->Value, 0);
    EXPECT_FALSE(switchSaid->state().checked);
    // The toolbar's Start / Stop button is called by what it does now.
    auto* bar = w.widget<ToolbarWidget>("tbrTarvoline");
    QWidget* startStop = bar->widgetForAction(bar->action(3));
    EXPECT_EQ(spoken(startStop), QStringLiteral("Start communication"));
    w.model([&] { w.form().tbrTarvoline->Buttons(3).ToolTipText = "Stop communication"; });
    EXPECT_EQ(spoken(startStop), QStringLiteral("Stop communication"));

    // A pane that takes no keys draws its traffic as darkly as one that does.
    auto darkest = [&](bool enabled) {
        w.model([&] {
            w.form().txtCommunication[0]->Enabled = enabled;
            w.form().txtCommunication[0]->setText("MMMM");
        });
        auto* pane = w.widget<QPlainTextEdit>("txtCommunication(0)");
        EXPECT_TRUE(QTest::qWaitFor([&] { return pane->toPlainText() == "MMMM"; }, 2000));
        const QImage shot = pane->viewport()->grab().toImage();
        int least = 255;
        for (int y = 0; y < shot.height(); ++y)
            for (int x = 0; x < shot.width(); ++x) least = std::min(least, qGray(shot.pixel(x, y)));
        return least;
    };
    const int typing = darkest(true);
    EXPECT_LT(typing, 80);
    EXPECT_LE(darkest(false), typing + 10);
}

// The dialog's picture under a widget (a combo box for its text field).
QImage under(QWidget& dialog, QWidget& w) {
    QWidget& shown = qobject_cast<QComboBox*>(w.parentWidget()) ? *w.parentWidget() : w;
    return dialog.grab(QRect(shown.mapTo(&dialog, QPoint()), shown.size())).toImage();
}

// Answers each message box that comes up once it has stood for a poll, and
// counts how many stood open at once.
struct MessageCloser {
    MessageCloser() {
        QObject::connect(&poll, &QTimer::timeout, [this] {
            QList<QMessageBox*> open;
            for (QWidget* w : QApplication::topLevelWidgets())
                if (auto* box = qobject_cast<QMessageBox*>(w); box && box->isVisible()) open << box;
            most = std::max<qsizetype>(most, open.size());
            if (open.isEmpty() || ++polls % 2) return;
            texts << open.last()->text();
            owners << open.last()->windowHandle()->transientParent();
            open.last()->button(QMessageBox::Ok)->click();
        });
        poll.start(10);
    }
    QTimer poll;
    int polls = 0;
    qsizetype most = 0;
    QStringList texts;
    QList<QWindow*> owners;
};

TEST(QtView, DialogsTakeKeysAsDesktopDialogsDoAndTheirMessagesBelongToThem) {
    Window w;
    w.start();
    Program& p = w.p;
    for (auto [command, form] : dialogs) {
        FormView& v = *w.dialog(command, form);
        const std::string name = form(p)->name();
        EXPECT_EQ(v.size(), QSize(px(form(p)->ScaleWidth), px(form(p)->ScaleHeight))) << name;
        // Its first control takes keys; Tab visits only controls the user sees,
        // and each shows that it has the focus.
        QApplication::setActiveWindow(&v);
        QWidget* first = QApplication::focusWidget();
        ASSERT_TRUE(first && first->window() == &v)
            << name;
        QTest::keyClick(first, Qt::Key_Tab);  // the keyboard in use: focus marks show from now
        std::set<QWidget*> seen;
        for (QWidget* at = QApplication::focusWidget(); at && seen.insert(at).second;
             at = QApplication::focusWidget()) {
            const std::string where = name + "." + at->objectName().toStdString();
            EXPECT_TRUE(at->isVisible() && !at->visibleRegion().isEmpty()) << where;
            const QImage focused = under(v, *at);
            QTest::keyClick(at, Qt::Key_Tab);
            EXPECT_NE(under(v, *at), focused) << where << " shows no focus";
        }
        EXPECT_TRUE(seen.count(first)) << name;
    }

    // Enter on a conversion row with no Present Value is refused in a message
    // over the dialog, and the box to correct then has the focus.
    FormView& conversion = *w.app.desktop.view(*p.frmHostAction);
    QApplication::setActiveWindow(&conversion);
    QWidget* converted = w.widget("txtValue(5)", &conversion);
    converted->setFocus();
    QTest::keyClicks(converted, "Q");
    MessageCloser closer;
    QTest::keyClick(converted, Qt::Key_Return);
    ASSERT_EQ(closer.texts.size(), 1);
    EXPECT_EQ(closer.owners[0], conversion.windowHandle());
    EXPECT_EQ(conversion.focusWidget(), w.widget("txtValue(0)", &conversion));
    EXPECT_TRUE(conversion.isVisible());
}

TEST(QtView, AFlappingLineStandsOneMessageBoxPerPortAtATime) {
    Window w;
    w.start();
    MessageCloser closer;
    // While the first message stands, Port 1 is lost 40 times more and Port 2 once.
    QTimer::singleShot(0, [&] {
        for (int i = 0; i < 40; ++i) w.model([&] { w.p.mscComControl1.OnLineLost(); });
        w.model([&] { w.p.mscComControl2.OnLineLost(); });
    });
    w.model([&] { w.p.mscComControl1.OnLineLost(); });
    ASSERT_EQ(closer.texts.size(), 2) << closer.texts.join(" | ").toStdString();
    closer.texts.sort();
    EXPECT_TRUE(closer.texts[0].startsWith("Port 1") && closer.texts[1].startsWith("Port 2"))
        << closer.texts.join(" | ").toStdString();
    EXPECT_EQ(closer.most, 2);
    // Once it is answered, the next loss is told again.
    w.model([&] { w.p.mscComControl1.OnLineLost(); });
    EXPECT_EQ(closer.texts.size(), 3);
}

// How many pixels a control's text is wider than the room its widget gives it.
int overflow(QWidget& w) {
    const QFontMetrics fm(w.font());
    const auto lineRoom = [](const QLineEdit& e) {
        QStyleOptionFrame o;
        o.initFrom(&e);
        o.lineWidth = e.hasFrame() ? e.style()->pixelMetric(QStyle::PM_DefaultFrameWidth) : 0;
        return e.style()->subElementRect(QStyle::SE_LineEditContents, &o, &e).width() - 4;
    };
    if (auto* label = dynamic_cast<LabelWidget*>(&w)) {
        const QRect room = label->contentsRect();
        if (!label->wordWrap()) return fm.horizontalAdvance(label->caption()) - room.width();
        const QRect used = fm.boundingRect(room, Qt::TextWordWrap, label->caption());
        return std::max(used.width() - room.width(), used.height() - room.height());
    }
    if (auto* frame = dynamic_cast<FrameWidget*>(&w))
        return fm.horizontalAdvance(frame->caption()) + 16 - w.width();
    if (auto* box = qobject_cast<QLineEdit*>(&w))
        return fm.horizontalAdvance(box->text()) - lineRoom(*box);
    if (auto* combo = qobject_cast<QComboBox*>(&w); combo && !combo->isEditable()) {
        // A list to pick from shows its lines whole in its popup; the box, what it offers.
        QStyleOptionComboBox o;
        o.initFrom(combo);
        return fm.horizontalAdvance(combo->placeholderText()) -
               combo->style()
                   ->subControlRect(QStyle::CC_ComboBox, &o, QStyle::SC_ComboBoxEditField, combo)
                   .width();
    }
    if (auto* combo = qobject_cast<QComboBox*>(&w)) {
        int widest = fm.horizontalAdvance(combo->currentText());
        for (int i = 0; i < combo->count(); ++i)
            widest = std::max(widest, fm.horizontalAdvance(combo->itemText(i)));
        return widest - lineRoom(*combo->lineEdit());
    }
    if (auto* button = qobject_cast<QAbstractButton*>(&w))
        return button->text().isEmpty() ? 0 : button->sizeHint().width() - w.width();
    return 0;
}

// The picture files a control names.
std::vector<std::string> picturesOf(const Control& c) {
    if (auto* b = dynamic_cast<const CommandButton*>(&c)) return {b->Picture};
    if (auto* i = dynamic_cast<const Image*>(&c)) return {i->Picture};
    if (auto* t = dynamic_cast<const CheckBox*>(&c)) return {t->Picture, t->DownPicture};
    return {};
}

TEST(QtView, NoCaptionLabelOrBoxTextIsWiderThanItsWidgetAndEveryPictureIsThere) {
    Window w;
    w.start();
    Program& p = w.p;
    w.openDialogs();
    w.model([&] {
        p.frmSetup->txtComPort[0]->setText("901");
        // A refused OK's reason is read whole.
        p.frmSetup->lblComPort[1]->Caption =
            "/dev/ttyUSB0: permission denied (the user may need to be in the dialout group)";
    });
    for (Form* form :
         std::initializer_list<Form*>{&w.form(), setupOf(p), conversionOf(p), watchOf(p)}) {
        FormView& v = *w.app.desktop.view(*form);
        for (const auto& c : form->controls())
            for (const std::string& file : picturesOf(*c))
                EXPECT_TRUE(file.empty() || !QPixmap(v.pictureFile(file)).isNull())
                    << form->name() << "." << c->key() << ": " << file;
        for (int scale : {1, 2}) {
            v.resize(v.size() * scale);
            for (const auto& c : form->controls()) {
                QWidget* widget = v.widgetOf(c.get());
                if (!widget) continue;
                const std::string where =
                    form->name() + "." + c->key() + " at " + std::to_string(scale) + "x";
                EXPECT_LE(overflow(*widget), 0) << where;
                // Setup's controls lie inside their containers and apart from one another.
                if (form != setupOf(p)) continue;
                EXPECT_TRUE(widget->parentWidget()->rect().contains(widget->geometry())) << where;
                for (QWidget* other :
                     widget->parentWidget()->findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
                    EXPECT_TRUE(other == widget ||
                                !other->geometry().intersects(widget->geometry()))
                        << where << " overlaps " << other->objectName().toStdString();
            }
        }
    }
}

}  // namespace
}  // namespace tvl

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    tvl::useProgramLook();  // the widgets are measured in the program's own font
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
