// The Qt view of the main window: a widget per control under its name, the
// scaled places in pixels, and events that reach the model and come back.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QStyle>
#include <QStyleOptionFrame>
#include <QTest>
#include <QToolBar>
#include <QToolButton>
#include <cmath>
#include <set>
#include <utility>

#include "app/frm_find_data.h"
#include "app/frm_host_action.h"
#include "app/frm_main.h"
#include "app/frm_setup.h"
#include "convert/conversion.h"
#include "desktop/qt_program.h"
#include "platform/qt/control_widgets.h"
#include "platform/qt/form_view.h"
#include "platform/qt/help_window.h"
#include "setup/setup.h"

namespace tvl {
namespace {

// The program up to its main window, with popups and the end recorded.
struct Window {
    Window() {
        app.desktop.popupHook = [this](Menu& m) { popups.push_back(m.name()); };
        app.desktop.endHook = [this] { ++ends; };
        app.program->mciTarvoline.trace = [this](const std::string& s) { sound.push_back(s); };
        Main(*app.program);
        splash = app.desktop.view(*app.program->frmSplash);
    }
    FormView& start() {
        QTest::keyClick(splash, Qt::Key_Space);
        view = app.desktop.view(*app.program->FrmMain);
        sound.clear();
        return *view;
    }
    FrmMain& form() { return *app.program->FrmMain; }
    template <class T = QWidget>
    T* widget(const char* key) {
        T* w = view->findChild<T*>(QString::fromLatin1(key));
        EXPECT_NE(w, nullptr) << key;
        return w;
    }
    void model(const std::function<void()>& change) { app.desktop.dispatch(change); }

    QtProgram app;
    FormView* splash = nullptr;
    FormView* view = nullptr;
    std::vector<std::string> popups;
    std::vector<std::string> sound;
    int ends = 0;
};

// Pixels of a twips value at this screen's dpi.
int px(double twips) {
    const double dpi = QGuiApplication::primaryScreen()->logicalDotsPerInchX();
    return static_cast<int>(std::lround(twips / 15.0 * dpi / 96.0));
}
QRect rect(double l, double t, double w, double h) { return QRect(px(l), px(t), px(w), px(h)); }

TEST(QtView, SplashEndsOnALeftClickAndTheMainWindowComesUp) {
    Window w;
    ASSERT_NE(w.splash, nullptr);
    EXPECT_TRUE(w.splash->windowFlags() & Qt::FramelessWindowHint);
    EXPECT_EQ(w.splash->size(), QSize(px(9330), px(5895)));
    auto* image = w.splash->findChild<QWidget*>(QStringLiteral("Image1"));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->geometry(), rect(-120, 0, 9600, 5955));
    QTest::mouseClick(image, Qt::RightButton);
    EXPECT_NE(w.app.program->frmSplash, nullptr);  // a Click is the left button
    QTest::mouseClick(image, Qt::LeftButton);
    EXPECT_EQ(w.app.program->frmSplash, nullptr);
    ASSERT_NE(w.app.program->FrmMain, nullptr);
    FormView* main = w.app.desktop.view(*w.app.program->FrmMain);
    ASSERT_NE(main, nullptr);
    EXPECT_TRUE(main->isVisible());
}

TEST(QtView, EveryControlOfTheMainWindowHasItsNamedWidget) {
    Window w;
    FormView& v = w.start();
    for (const auto& c : w.form().controls())
        EXPECT_NE(v.findChild<QObject*>(QString::fromStdString(c->key())), nullptr) << c->key();
    // The tree: a pane inside its frame, the frame inside its group.
    EXPECT_EQ(w.widget("txtCommunication(3)")->parentWidget(), w.widget("fraTxRx(3)"));
    EXPECT_EQ(w.widget("fraTxRx(3)")->parentWidget(), w.widget("fraComMonitor(1)"));
    EXPECT_EQ(w.widget("txtPort2")->parentWidget(), w.widget("fraTxRx(3)"));
}

TEST(QtView, WidgetsLandOnTheScaledPixelsAndFollowAResize) {
    Window w;
    FormView& v = w.start();
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

    // Review from the model: the other toolbar docks at the top edge.
    w.model([&] {
        w.form().tbrTarvoline->Visible = false;
        w.form().tbrFileAccess->Visible = true;
    });
    EXPECT_EQ(w.widget("tbrFileAccess")->geometry().top(), 0);
}

TEST(QtView, ToolbarClickReachesTheModelAndTheModelComesBack) {
    Window w;
    w.start();
    int setups = 0;
    w.form().handle("mnuSetup_Click", [&](const auto&) { ++setups; });
    auto* bar = w.widget<ToolbarWidget>("tbrTarvoline");
    ASSERT_NE(bar, nullptr);
    auto* setup = qobject_cast<QToolButton*>(bar->widgetForAction(bar->action(1)));
    ASSERT_NE(setup, nullptr);
    QTest::mouseClick(setup, Qt::LeftButton);
    EXPECT_EQ(setups, 1);
    ASSERT_FALSE(w.sound.empty());
    EXPECT_EQ(w.sound.front(), "Notify=False");
    EXPECT_EQ(w.sound.back(), "Command=Close");

    // A greyed button stays greyed until the model enables it.
    auto* start = qobject_cast<QToolButton*>(bar->widgetForAction(bar->action(3)));
    EXPECT_FALSE(start->isEnabled());
    w.model([&] { w.form().tbrTarvoline->Buttons(3).Enabled = true; });
    EXPECT_TRUE(start->isEnabled());
    QTest::mouseClick(start, Qt::LeftButton);
    EXPECT_EQ(start->toolTip(), QStringLiteral("Stop communication"));
    EXPECT_TRUE(w.form().tbrTarvoline->Buttons(3).Image == 3);
}

// Which surface raises which menu is the commands scenario's; here a right
// click on a widget reaches its control, and a pane's viewport none.
TEST(QtView, RightButtonRaisesThePopupOfItsSurface) {
    Window w;
    FormView& v = w.start();
    auto release = [&](QWidget* on) {
        QTest::mouseClick(on, Qt::RightButton, {}, QPoint(3, 3));
        return std::exchange(w.popups, {});
    };
    const auto viewport = [&](const char* pane) {
        return w.widget(pane)->findChild<QWidget*>(QStringLiteral("qt_scrollarea_viewport"));
    };
    using Menus = std::vector<std::string>;
    EXPECT_EQ(release(&v), Menus{"mnuMenu"});
    EXPECT_EQ(release(w.widget("tbrTarvoline")), Menus{"mnuMenu"});
    w.model([&] { w.form().fraComMonitor[0]->Enabled = true; });
    EXPECT_EQ(release(w.widget("fraTxRx(0)")), Menus{});
    EXPECT_EQ(release(viewport("txtCommunication(0)")), Menus{});
    w.model([&] {
        w.form().tbrTarvoline->Visible = false;
        w.form().txtPort1->Visible = true;
    });
    EXPECT_EQ(release(viewport("txtPort1")), Menus{"mnuFileAccess"});
}

TEST(QtView, ATransmitPaneSendsEveryKeyCtrlLettersEscAndTabAsTheirCodes) {
    Window w;
    w.start();
    Program& p = *w.app.program;
    w.model([&] {  // a Host-mode run, as Setup and Start leave it
        p.mscComControl2.setCommPort(2);
        p.mscComControl2.setPortOpen(true);
        w.form().fraComMonitor[0]->Enabled = true;
        w.form().txtCommunication[0]->Enabled = w.form().chkUARTControl[0]->Enabled = true;
    });
    QTest::mouseClick(w.widget("chkUARTControl(0)"), Qt::LeftButton);
    EXPECT_EQ(w.form().chkUARTControl[0]->Value, 1);
    auto* pane = w.widget<QPlainTextEdit>("txtCommunication(0)");
    pane->setFocus();
    QTest::keyClicks(pane, "AB");
    for (Qt::Key key : {Qt::Key_Backspace, Qt::Key_Return, Qt::Key_Delete, Qt::Key_Escape,
                        Qt::Key_Tab, Qt::Key_F1, Qt::Key_Left})
        QTest::keyClick(pane, key);
    for (Qt::Key key : {Qt::Key_C, Qt::Key_Z, Qt::Key_M, Qt::Key_A})
        QTest::keyClick(pane, key, Qt::ControlModifier);
    // Delete, F1 and the arrow send nothing; the controls go out as their bytes.
    EXPECT_EQ(w.app.simulated2.takeWritten(), "AB\x08\r\x1b\t\x03\x1a\r\x01");
    EXPECT_EQ(p.state.TransmitCount[0], 10);
    // A read-only Receive pane takes no key and changes nothing.
    auto* receive = w.widget<QPlainTextEdit>("txtCommunication(1)");
    const auto before = w.form().txtCommunication[1]->revision;
    QTest::keyClicks(receive, "zz");
    EXPECT_EQ(w.form().txtCommunication[1]->revision, before);
}

TEST(QtView, SetupAnswersEnterEscAndItsCloseBoxAndItsBoxesEditAsOnTheDesktop) {
    Window w;
    w.start();
    Program& p = *w.app.program;
    auto openSetup = [&] {
        w.model([&] { mnuSetup_Click(p); });
        return w.app.desktop.view(*p.frmSetup);
    };
    FormView* setup = openSetup();
    auto* port = setup->findChild<QLineEdit*>(QStringLiteral("txtComPort(0)"));
    ASSERT_NE(port, nullptr);  // a port box is single-line
    const TextBox& number = *p.frmSetup->txtComPort[0];
    port->setFocus();
    QTest::keyClick(port, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(port, "901");  // typed over the selected "3"
    EXPECT_EQ(number.Text(), "901");
    EXPECT_EQ(p.frmSetup->lblComPort[0]->Caption, p.mscComControl1.describe(901) + " (present)");

    // An option button and a combo box send the user's choice to their models.
    auto* host = setup->findChild<QRadioButton*>(QStringLiteral("optMode(1)"));
    ASSERT_NE(host, nullptr);
    QTest::mouseClick(host, Qt::LeftButton);
    EXPECT_TRUE(p.frmSetup->optMode[1]->Value);
    EXPECT_TRUE(p.frmSetup->optMonitor[2]->Value) << "the model's Click did not run";
    EXPECT_FALSE(setup->findChild<QRadioButton*>(QStringLiteral("optMode(0)"))->isChecked());
    auto* speed = setup->findChild<QComboBox*>(QStringLiteral("cboBPS"));
    speed->setCurrentIndex(speed->findText(QStringLiteral("9600")));
    EXPECT_EQ(p.frmSetup->cboBPS->Text, "9600");

    // Enter presses OK, the default button, and adds no line break.
    QTest::keyClick(port, Qt::Key_Return);
    EXPECT_EQ(number.Text(), "901");
    EXPECT_FALSE(p.frmSetup->Visible);
    EXPECT_TRUE(p.mscComControl1.PortOpen());
    // Esc presses Cancel, which unloads the dialog.
    setup = openSetup();
    QTest::keyClick(setup->findChild<QLineEdit*>(QStringLiteral("txtComPort(1)")), Qt::Key_Escape);
    EXPECT_EQ(p.frmSetup, nullptr);
    // The close box unloads it too, and gives the main window back.
    setup = openSetup();
    EXPECT_FALSE(w.form().Enabled);
    setup->close();
    EXPECT_EQ(p.frmSetup, nullptr);
    EXPECT_TRUE(w.form().Enabled);
    EXPECT_TRUE(w.view->isEnabled());
}

TEST(QtView, EveryWindowsCloseBoxLeavesAsItsCancelOrExitDoes) {
    Window w;
    w.start();
    Program& p = *w.app.program;
    w.model([&] { mnuDataConvertion_Click(p); });
    w.app.desktop.view(*p.frmHostAction)->close();
    EXPECT_EQ(p.frmHostAction, nullptr);
    EXPECT_TRUE(w.form().Enabled);

    w.model([&] { mnuFindData_Click(p); });
    FormView* watch = w.app.desktop.view(*p.frmFindData);
    QTest::keyClicks(watch->findChild<QLineEdit*>(QStringLiteral("txtFound(0)")), "OK");
    EXPECT_EQ(p.state.WatchArmed[0], 1);
    watch->close();
    EXPECT_EQ(p.frmFindData, nullptr);
    EXPECT_EQ(p.state.WatchArmed[0], 1);  // a close is no Cancel
    EXPECT_EQ(p.state.WatchString[0], "");
    EXPECT_TRUE(w.form().Enabled);

    w.model([&] { p.platform.ShowHelp("TARVOLINE.hlp", 3, 0); });
    ASSERT_NE(w.app.desktop.helpWindow(), nullptr);
    w.app.desktop.helpWindow()->close();
    EXPECT_TRUE(!w.app.desktop.helpWindow() || !w.app.desktop.helpWindow()->isVisible());

    // The main window's close box runs Exit.
    w.view->close();
    EXPECT_EQ(w.ends, 1);
    EXPECT_TRUE(p.exited);
    EXPECT_EQ(qtFileFilter("Tarvoline File (*.tvl)|*.tvl|Texts|*.txt;*.log"),
              QStringLiteral("Tarvoline File (*.tvl);;Texts (*.txt *.log)"));
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
    Program& p = *w.app.program;
    w.model([&] {
        mnuDataConvertion_Click(p);
        mnuFindData_Click(p);
        mnuSetup_Click(p);
        p.frmSetup->txtComPort[0]->setText("901");
        p.frmSetup->txtComPort[1]->setText("999");
    });
    // Deliberate: a long device path shows its middle elided, whole in its tooltip.
    const std::set<std::string> elided = {"lblComPort(0)", "lblComPort(1)"};
    for (Form* form : std::initializer_list<Form*>{p.FrmMain.get(), p.frmSetup.get(),
                                                   p.frmHostAction.get(), p.frmFindData.get()}) {
        FormView& v = *w.app.desktop.view(*form);
        for (const auto& c : form->controls())
            for (const std::string& file : picturesOf(*c))
                EXPECT_TRUE(file.empty() || !QPixmap(v.pictureFile(file)).isNull())
                    << form->name() << "." << c->key() << ": " << file;
        for (int scale : {1, 2}) {
            v.resize(v.size() * scale);
            for (const auto& c : form->controls()) {
                QWidget* widget = v.widgetOf(c.get());
                if (!widget || elided.count(c->key())) continue;
                EXPECT_LE(overflow(*widget), 0)
                    << form->name() << "." << c->key() << " at " << scale << "x";
            }
        }
    }
}

TEST(QtView, BytesOnTheLineReachThePanesThroughTheEventLoop) {
    Window w;
    w.start();
    SerialPort& port = w.app.program->mscComControl1;
    port.setSettings("115200,N,8,1");
    port.setCommPort(1);
    port.setPortOpen(true);
    w.app.program->state.CommHandle[0] = port.CommID();
    auto* transmit = w.widget<QPlainTextEdit>("txtCommunication(0)");
    auto* receive = w.widget<QPlainTextEdit>("txtCommunication(3)");
    auto* frame = w.widget<FrameWidget>("fraTxRx(0)");
    ASSERT_TRUE(transmit && receive && frame);

    // No call into the pump here: the readable port and the timer do it.
    w.app.simulated1.feed("AT\r");
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return transmit->toPlainText() == QStringLiteral("AT<CR>"); }, 2000))
        << transmit->toPlainText().toStdString();
    EXPECT_EQ(receive->toPlainText(), QStringLiteral("AT<CR>"));
    EXPECT_EQ(w.form().txtCommunication[0]->Text(), "AT<CR>");
    // The counter in the caption comes along with the text.
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return frame->caption() == QStringLiteral("Transmit: 3"); }, 2000))
        << frame->caption().toStdString();

    // A timer the model stops ticks no more; bytes wait in the port.
    w.model([&] { w.form().tmrTarvoline->Enabled = false; });
    w.app.simulated1.feed("Z");
    QTest::qWait(30);
    EXPECT_EQ(port.InBufferCount(), 1);
    w.model([&] { w.form().tmrTarvoline->Enabled = true; });
    EXPECT_TRUE(QTest::qWaitFor([&] { return port.InBufferCount() == 0; }, 2000));
}

}  // namespace
}  // namespace tvl
