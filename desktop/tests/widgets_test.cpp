// The Qt view of the main window: a widget per control under its name, the
// scaled places in pixels, and events that reach the model and come back.
#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QGuiApplication>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QTest>
#include <QToolBar>
#include <QToolButton>
#include <cmath>

#include "app/frm_main.h"
#include "desktop/qt_program.h"
#include "platform/qt/control_widgets.h"
#include "platform/qt/form_view.h"

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

TEST(QtView, SplashEndsOnAKeyAndTheMainWindowComesUp) {
    Window w;
    ASSERT_NE(w.splash, nullptr);
    EXPECT_TRUE(w.splash->windowFlags() & Qt::FramelessWindowHint);
    EXPECT_EQ(w.splash->size(), QSize(px(9330), px(5895)));
    auto* image = w.splash->findChild<QWidget*>(QStringLiteral("Image1"));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->geometry(), rect(-120, 0, 9600, 5955));
    EXPECT_EQ(image->cursor().shape(), Qt::BitmapCursor);
    w.start();
    EXPECT_EQ(w.app.program->frmSplash, nullptr);
    EXPECT_EQ(w.app.desktop.view(*w.app.program->FrmMain), w.view);
    ASSERT_NE(w.view, nullptr);
    EXPECT_TRUE(w.view->isVisible());
    EXPECT_EQ(w.view->windowTitle(), QStringLiteral("Tarvoline"));
}

TEST(QtView, EveryControlOfTheMainWindowHasItsNamedWidget) {
    Window w;
    FormView& v = w.start();
    std::size_t found = 0;
    for (const auto& c : w.form().controls()) {
        QObject* o = v.findChild<QObject*>(QString::fromStdString(c->key()));
        EXPECT_NE(o, nullptr) << c->key();
        found += o != nullptr;
    }
    EXPECT_EQ(found, w.form().controls().size());
    EXPECT_NE(v.findChild<QPlainTextEdit*>(QStringLiteral("txtCommunication(3)")), nullptr);
    EXPECT_NE(v.findChild<QToolBar*>(QStringLiteral("tbrFileAccess")), nullptr);
    EXPECT_NE(v.findChild<QMenu*>(QStringLiteral("mnuFileAccess")), nullptr);
    // The tree: a pane inside its frame, the frame inside its group.
    EXPECT_EQ(w.widget("txtCommunication(3)")->parentWidget(), w.widget("fraTxRx(3)"));
    EXPECT_EQ(w.widget("fraTxRx(3)")->parentWidget(), w.widget("fraComMonitor(1)"));
    EXPECT_EQ(w.widget("txtPort2")->parentWidget(), w.widget("fraTxRx(3)"));
}

TEST(QtView, WidgetsLandOnTheScaledPixelsAndFollowAResize) {
    Window w;
    FormView& v = w.start();
    EXPECT_EQ(v.size(), QSize(px(9360), px(6765)));
    EXPECT_EQ(w.widget("fraComMonitor(0)")->geometry(), rect(240, 840, 4335, 5895));
    EXPECT_EQ(w.widget("fraComMonitor(1)")->geometry(), rect(4920, 840, 4335, 5895));
    EXPECT_EQ(w.widget("fraTxRx(1)")->geometry(), rect(120, 4200, 4095, 1575));
    EXPECT_EQ(w.widget("txtCommunication(1)")->geometry(), rect(120, 240, 3855, 1215));
    EXPECT_EQ(w.widget("imgStatus(20)")->geometry(), rect(2880, 360, 360, 420));
    EXPECT_EQ(w.widget("chkUARTControl(3)")->geometry(), rect(2400, 1920, 735, 255));
    EXPECT_EQ(w.widget("Image2(1)")->geometry(), rect(0, 0, 480, 480));
    EXPECT_EQ(w.widget("tbrTarvoline")->geometry(), QRect(0, 0, px(9360), px(660)));
    EXPECT_FALSE(w.widget("tbrFileAccess")->isVisibleTo(&v));
    if (QGuiApplication::primaryScreen()->logicalDotsPerInchX() == 96) {
        EXPECT_EQ(v.size(), QSize(624, 451));
        EXPECT_EQ(w.widget("fraComMonitor(1)")->geometry(), QRect(328, 56, 289, 393));
    }

    // The user doubles the client area: the model's size follows, the pass runs.
    v.resize(2 * px(9360), 2 * px(6765));
    EXPECT_NEAR(w.form().Width, 2 * 9360 + 120, 15);
    EXPECT_NEAR(w.form().Height, 2 * 6765 + 480, 15);
    const Control& group = *w.form().fraComMonitor[1];
    EXPECT_NEAR(group.Left, w.form().Width / 1.92682926829268, 0.01);
    EXPECT_EQ(w.widget("fraComMonitor(1)")->geometry(),
              QRect(px(group.Left), px(group.Top), px(group.Width), px(group.Height)));
    EXPECT_EQ(w.widget("imgStatus(20)")->size(), QSize(px(360), px(420)));
    EXPECT_EQ(w.widget("tbrTarvoline")->width(), v.width());

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
    EXPECT_EQ(setup->toolTip(), QStringLiteral("Set the Tarvoline"));
    EXPECT_FALSE(setup->icon().isNull());
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

TEST(QtView, RightButtonRaisesThePopupOfItsSurface) {
    Window w;
    FormView& v = w.start();
    auto release = [&](QWidget* on, Qt::MouseButton b) {
        QTest::mouseClick(on, b, {}, QPoint(3, 3));
        auto out = w.popups;
        w.popups.clear();
        return out;
    };
    using Menus = std::vector<std::string>;
    EXPECT_EQ(release(&v, Qt::LeftButton), Menus{});
    EXPECT_EQ(release(&v, Qt::RightButton), Menus{"mnuMenu"});
    // The groups are disabled before Setup: the click falls through to the window.
    EXPECT_EQ(release(w.widget("fraTxRx(0)"), Qt::RightButton), Menus{"mnuMenu"});
    w.model([&] { w.form().fraComMonitor[0]->Enabled = true; });
    EXPECT_EQ(release(w.widget("fraComMonitor(0)"), Qt::RightButton), Menus{"mnuMenu"});
    EXPECT_EQ(release(w.widget("fraComMonitor(0)"), Qt::MiddleButton), Menus{});
    EXPECT_EQ(release(w.widget("fraTxRx(0)"), Qt::RightButton), Menus{});
    EXPECT_EQ(release(w.widget("txtCommunication(0)")
                          ->findChild<QWidget*>(QStringLiteral("qt_scrollarea_viewport")),
                      Qt::RightButton),
              Menus{});
    EXPECT_EQ(release(w.widget("tbrTarvoline"), Qt::RightButton), Menus{"mnuMenu"});
    // Review: the window's surfaces turn to the review set.
    w.model([&] {
        w.form().tbrTarvoline->Visible = false;
        w.form().tbrFileAccess->Visible = true;
        w.form().txtPort1->Visible = true;
    });
    EXPECT_EQ(release(&v, Qt::RightButton), Menus{"mnuFileAccess"});
    EXPECT_EQ(
        release(w.widget("txtPort1")->findChild<QWidget*>(QStringLiteral("qt_scrollarea_viewport")),
                Qt::RightButton),
        Menus{"mnuFileAccess"});
}

TEST(QtView, TypingGoesThroughTheModelWhichDoesTheEditing) {
    Window w;
    w.start();
    TextBox& model = *w.form().txtPort1;
    std::vector<int> keys;
    model.KeyPress = [&](int& k) {
        keys.push_back(k);
        if (k == 'x') k = 0;  // a handler can cancel a key
    };
    w.model([&] {
        model.Visible = true;
        w.form().fraComMonitor[0]->Enabled = true;  // a disabled group takes no keys
    });
    auto* pane = w.widget<QPlainTextEdit>("txtPort1");
    pane->setFocus();
    QTest::keyClicks(pane, "AxB");
    QTest::keyClick(pane, Qt::Key_Backspace);
    QTest::keyClick(pane, Qt::Key_Return);
    QTest::keyClick(pane, Qt::Key_Delete);  // no editing of the widget's own
    EXPECT_EQ(model.Text(), "A\r");
    EXPECT_EQ(keys, (std::vector<int>{'A', 'x', 'B', 8, 13}));
    // Pane text comes at its own pace.
    QTest::qWaitFor([&] { return pane->toPlainText() == QStringLiteral("A\n"); }, 2000);
    EXPECT_EQ(pane->toPlainText(), QStringLiteral("A\n"));
    // A read-only pane takes no key and changes nothing.
    auto* receive = w.widget<QPlainTextEdit>("txtCommunication(1)");
    const auto before = w.form().txtCommunication[1]->revision;
    QTest::keyClicks(receive, "zz");
    EXPECT_EQ(w.form().txtCommunication[1]->revision, before);
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

TEST(QtView, AClickOnTheSplashPictureEndsIt) {
    Window w;
    auto* image = w.splash->findChild<QWidget*>(QStringLiteral("Image1"));
    ASSERT_NE(image, nullptr);
    QTest::mouseClick(image, Qt::RightButton);
    EXPECT_NE(w.app.program->frmSplash, nullptr);  // a Click is the left button
    QTest::mouseClick(image, Qt::LeftButton);
    EXPECT_EQ(w.app.program->frmSplash, nullptr);
    ASSERT_NE(w.app.program->FrmMain, nullptr);
    EXPECT_NE(w.app.desktop.view(*w.app.program->FrmMain), nullptr);
}

TEST(QtView, CloseBoxRunsExitAndTheFileFilterIsTranslated) {
    Window w;
    FormView& v = w.start();
    v.close();
    EXPECT_EQ(w.ends, 1);
    EXPECT_TRUE(w.app.program->exited);
    EXPECT_EQ(qtFileFilter("Tarvoline File (*.tvl)|*.tvl|Texts|*.txt;*.log"),
              QStringLiteral("Tarvoline File (*.tvl);;Texts (*.txt *.log)"));
    EXPECT_EQ(qtFileFilter("Excel|*.xls"), QStringLiteral("Excel (*.xls)"));
}

}  // namespace
}  // namespace tvl

namespace tvl {
namespace {

TEST(QtView, DialogControlsSendTheUsersChangesToTheirModels) {
    QtProgram app;
    Form dialog("frmProbe");
    dialog.Caption = "Probe";
    dialog.Width = dialog.ScaleWidth = 4000;
    dialog.Height = dialog.ScaleHeight = 3000;
    Frame* group = dialog.add<Frame>(nullptr, "fraMode");
    group->Left = 100, group->Top = 100, group->Width = 3000, group->Height = 1200;
    OptionButton* options[2];
    std::vector<int> chosen;
    for (int i = 0; i < 2; ++i) {
        options[i] = dialog.add<OptionButton>(group, "optMode", i);
        options[i]->Left = 120, options[i]->Top = 240 + 400 * i, options[i]->Width = 2000,
        options[i]->Height = 300;
        options[i]->Caption = i ? "Host" : "Transparent";
        options[i]->Click = [&chosen, i] { chosen.push_back(i); };
    }
    options[0]->Value = true;
    CommandButton* ok = dialog.add<CommandButton>(nullptr, "cmdOK");
    ok->Left = 100, ok->Top = 1500, ok->Width = 1200, ok->Height = 400;
    ok->Caption = "OK";
    ok->Default = true;
    int oks = 0;
    ok->Click = [&] { ++oks; };
    ComboBox* speed = dialog.add<ComboBox>(nullptr, "cboSpeed");
    speed->Left = 1500, speed->Top = 1500, speed->Width = 1500, speed->Height = 300;
    speed->List = {"9600", "115200"};
    speed->Text = "9600";
    CheckBox* tick = dialog.add<CheckBox>(nullptr, "chkEcho");
    tick->Left = 100, tick->Top = 2100, tick->Width = 1500, tick->Height = 300;

    app.desktop.formShown(dialog);
    FormView* v = app.desktop.view(dialog);
    ASSERT_NE(v, nullptr);
    auto* host = v->findChild<QRadioButton*>(QStringLiteral("optMode(1)"));
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(host->text(), QStringLiteral("Host"));
    EXPECT_EQ(host->parentWidget(), v->findChild<QWidget*>(QStringLiteral("fraMode")));
    QTest::mouseClick(host, Qt::LeftButton);
    EXPECT_EQ(chosen, std::vector<int>{1});
    EXPECT_TRUE(options[1]->Value);
    EXPECT_FALSE(options[0]->Value);
    EXPECT_FALSE(v->findChild<QRadioButton*>(QStringLiteral("optMode(0)"))->isChecked());

    QTest::mouseClick(v->findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
    QTest::keyClick(v, Qt::Key_Return);
    EXPECT_EQ(oks, 2);

    auto* combo = v->findChild<QComboBox*>(QStringLiteral("cboSpeed"));
    ASSERT_NE(combo, nullptr);
    EXPECT_EQ(combo->count(), 2);
    combo->setCurrentIndex(1);
    EXPECT_EQ(speed->Text, "115200");

    QTest::mouseClick(v->findChild<QCheckBox*>(QStringLiteral("chkEcho")), Qt::LeftButton);
    EXPECT_EQ(tick->Value, 1);
    app.desktop.formUnloaded(dialog);
    EXPECT_EQ(app.desktop.view(dialog), nullptr);
}

}  // namespace
}  // namespace tvl
