// tarvoline-screenshots FOLDER [help]: draws the program's windows to PNG
// files in FOLDER, on a real X server (run under xvfb-run): the splash, the
// main window (at rest, in a run, with keys typed into a pane, larger, in
// review), its popup menu, the Host-mode dialogs (Watch Data also over the
// main window), and the Setup dialog (its device list with USB adapters by
// their stable names and ports on the network, real and virtual ports, its
// port failure message and the reasons it shows). With "help": the help window
// at its contents and at a context topic instead. It exits 1 when a window it
// waits for never comes up.
#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QMenu>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>

#include "app/frm_find_data.h"
#include "app/frm_host_action.h"
#include "app/frm_main.h"
#include "components/stores/stores.h"
#include "convert/conversion.h"
#include "desktop/qt_program.h"
#include "platform/qt/form_view.h"
#include "platform/qt/help_window.h"
#include "platform/qt/window_style.h"
#include "review/review.h"
#include "setup/setup.h"

namespace tvl {
namespace {

QDir folder;
bool ok = true;

void check(bool good, const char* what) {
    if (!good) std::fprintf(stderr, "%s\n", what);
    ok = ok && good;
}

// Writes the window, or the area of the screen given, once the window has settled.
void save(QWidget& window, const char* name, const QRect& area = {}) {
    QTest::qWait(100);
    const QPixmap shot = area.isNull() ? window.grab()
                                       : QGuiApplication::primaryScreen()->grabWindow(
                                             0, area.x(), area.y(), area.width(), area.height());
    const QString file = folder.filePath(QString::fromLatin1(name));
    check(!shot.isNull() && shot.save(file), "cannot write a picture");
    std::printf("%s %dx%d\n", qPrintable(file), shot.width(), shot.height());
}

// Hands the modal window that comes up within 5 s to `answer`, and again on
// each poll while one is up until `answer` says it is done.
void whenModal(const char* what, std::function<bool(QWidget&)> answer) {
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [=, tries = 0, seen = false]() mutable {
        QWidget* box = QApplication::activeModalWidget();
        if (box && box->isVisible()) {
            seen = true;
            if (!answer(*box)) return;
        } else if (!seen && ++tries < 100) {
            return;
        }
        check(seen, what);
        poll->deleteLater();
    });
    poll->start(50);
}

// A made-up computer for the device list: a UART, two USB adapters and a
// modem under their by-id names, and a ports file that keeps one adapter's
// number and names two ports on the network.
void showcaseDevices(SystemDevices& devices, const std::string& scratch) {
    namespace fs = std::filesystem;
    const fs::path root = scratch, sys = root / "sys", byId = root / "serial/by-id";
    const auto file = [](const fs::path& path, const std::string& text) {
        fs::create_directories(path.parent_path());
        std::ofstream(path) << text;
    };
    file(sys / "ttyS0/type", "4");
    const struct {
        const char* node;
        const char* product;
        const char* id;
    } adapters[] = {
        {"ttyUSB0", "FT232R USB UART", "usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0"},
        {"ttyUSB1", "CP2102 USB to UART Bridge Controller",
         "usb-Silicon_Labs_CP2102_USB_to_UART_Bridge_Controller_0001-if00-port0"},
        {"ttyACM0", "", "usb-Arduino__www.arduino.cc__0043_75830303934351F0B1E1-if00"},
    };
    for (const auto& adapter : adapters) {
        const fs::path device = root / "usb" / adapter.node / "1-1:1.0" / adapter.node;
        fs::create_directories(device);
        if (*adapter.product) file(root / "usb" / adapter.node / "product", adapter.product);
        fs::create_directories(sys / adapter.node);
        fs::create_directory_symlink(device, sys / adapter.node / "device");
        file(root / adapter.node, "");
        fs::create_directories(byId);
        fs::create_symlink(root / adapter.node, byId / adapter.id);
    }
    file(root / "ports", "# the PLC's adapter, and the HMI's line on the device server\n300 " +
                             (byId / adapters[0].id).string() +
                             "\n310 rfc2217://plc-gateway.local:4001\n311 tcp://10.0.0.20:7000\n");
    devices.listDevicesFrom(sys.string(), byId.string());
    devices.usePortsFile((root / "ports").string());
}

void windowShots(QtProgram& app, const std::string& scratch) {
    Program& p = *app.program;
    FrmMain& f = *p.FrmMain;
    auto run = [&](const std::function<void()>& event) { app.desktop.dispatch(event); };
    QWidget& main = *app.desktop.view(f);
    save(main, "main.png");

    // The popup menu as the right button raises it, and the two Host-mode dialogs.
    QMenu* popup = app.desktop.view(f)->menuOf(*f.mnuMenu);
    popup->popup(main.mapToGlobal(QPoint(main.width() / 3, main.height() / 4)));
    save(*popup, "popup_menu.png");
    popup->close();
    auto dialog = [&](void (*open)(Program&), auto& form, const char* name) {
        run([&] { open(p); });
        save(*app.desktop.view(*form), name);
        run([&] { form->cmdCancel->Click(); });
    };
    dialog(mnuDataConvertion_Click, p.frmHostAction, "host_action.png");
    dialog(mnuFindData_Click, p.frmFindData, "watch_data.png");

    // Setup as it opens, with real and virtual (three-digit) port numbers, and
    // its message for ports whose devices are missing.
    run([&] { mnuSetup_Click(p); });
    QWidget& setup = *app.desktop.view(*p.frmSetup);
    save(setup, "setup.png");
    // Its list of this computer's serial devices open: the screen under the dialog and the list.
    auto* list = setup.findChild<QComboBox*>(QStringLiteral("cboDevices"));
    check(list, "Setup has no device list");
    if (list) {
        list->showPopup();
        QTest::qWait(200);
        save(setup, "setup_devices.png",
             setup.frameGeometry().united(list->view()->window()->frameGeometry()));
        list->hidePopup();
    }
    auto ports = [&](const char* port1, const char* port2) {
        run([&] {
            p.frmSetup->txtComPort[0]->setText(port1);
            p.frmSetup->txtComPort[1]->setText(port2);
        });
    };
    ports("7", "8");
    save(setup, "setup_port7.png");
    ports("901", "902");
    save(setup, "setup_virtual_901.png");
    ports("7", "8");
    whenModal("no message box for the missing ports", [](QWidget& box) {
        save(box, "setup_failure.png");
        auto* message = qobject_cast<QMessageBox*>(&box);
        if (QAbstractButton* ok = message ? message->button(QMessageBox::Ok) : nullptr)
            ok->click();
        else
            box.close();
        return true;
    });
    run([&] { p.frmSetup->cmdOK->Click(); });
    // The reasons beside the boxes, whole: the missing device's, and the
    // longest the system gives, a device the user may not open.
    check(p.frmSetup != nullptr, "Setup closed after a refused OK");
    if (!p.frmSetup) return;
    run([&] {
        p.frmSetup->lblComPort[1]->Caption =
            "/dev/ttyUSB0: permission denied (the user may need to be in the dialout group)";
    });
    save(setup, "setup_refused.png");
    run([&] { p.frmSetup->cmdCancel->Click(); });

    // A run in Host mode: lamps lit, switches on, traffic in the panes.
    run([&] {
        for (auto* group : f.fraComMonitor) group->Enabled = true;
        for (auto* c : f.chkUARTControl) c->Enabled = true;
        f.chkUARTControl[0]->Value = f.chkUARTControl[3]->Value = 1;
        for (int s : {0, 1, 4, 12, 14, 17}) {
            f.imgStatus[s]->Visible = false;
            f.imgStatus[s + 6]->Visible = true;
        }
        f.tbrTarvoline->Buttons(3).Enabled = true;
        f.tbrTarvoline->Buttons(3).Image = 3;
        const char* captions[] = {"Transmit: 38", "Receive:  21", "Transmit: 21", "Receive:  38"};
        const char* texts[] = {"ATZ<CR>AT+CSQ<CR>ATD0123456789;<CR>",
                               "<CR><LF>OK<CR><LF><CR><LF>+CSQ: 21,0<CR><LF>"};
        for (int i = 0; i < 4; ++i) {
            f.fraTxRx[i]->Caption = captions[i];
            f.txtCommunication[i]->setText(texts[i == 1 || i == 2]);
            f.txtCommunication[i]->Enabled = true;
        }
    });
    save(main, "main_running.png");
    // Keys typed after a click in the middle of the Port 1 Transmit pane join its end.
    if (auto* pane = main.findChild<QPlainTextEdit*>(QStringLiteral("txtCommunication(0)"))) {
        QTest::mouseClick(pane->viewport(), Qt::LeftButton, {}, pane->viewport()->rect().center());
        QTest::keyClicks(pane, "ATH");
        QTest::keyClick(pane, Qt::Key_Return);
        save(main, "main_typed_keys.png");
    }
    // The Watch dialog over the main window, as the screen shows them.
    run([&] { mnuFindData_Click(p); });
    QWidget& watch = *app.desktop.view(*p.frmFindData);
    save(main, "watch_over_main.png", main.frameGeometry().united(watch.frameGeometry()));
    run([&] { p.frmFindData->cmdCancel->Click(); });
    // Enlarged: the panels grow, each lamp stays on the line of its label and switch.
    main.resize(main.width() * 3 / 2, main.height() * 3 / 2);
    save(main, "main_large.png");
    main.resize(main.width() * 2 / 3, main.height() * 2 / 3);

    // A capture of a modem's answers, opened in review on its second data
    // record: the review toolbar shows when that record was written.
    auto store = makeKelTVL();
    store->StoreFolder = scratch + "/";
    store->StoreName = "modem.tvl";
    store->PortTitle1 = "Port1 (DTE1): ";
    store->PortTitle2 = "Port2 (DTE2/DCE): ";
    store->KeepPortTime = true;
    const char* answers[][2] = {{"", ""},
                                {"<CR><LF>OK<CR><LF>", "ATZ<CR>"},
                                {"<CR><LF>+CSQ: 21,0<CR><LF><CR><LF>OK<CR><LF>", "AT+CSQ<CR>"},
                                {"<CR><LF>CONNECT 9600<CR><LF>", "ATD0123456789;<CR>"}};
    store->OpenStore();
    for (int i = 0; i < 4; ++i) {
        store->PortText1 = answers[i][0];
        store->PortText2 = answers[i][1];
        store->PortTime = 1764000000000000 + i * 1534211;  // 2025-11-24 16:00 UTC on
        store->AppendRecord(i == 0 ? 1 : 0);
    }
    store->CloseStore();
    // The file dialog takes no file while its name box has the focus.
    whenModal("no file dialog", [&](QWidget& box) {
        if (QWidget* focused = box.focusWidget()) focused->clearFocus();
        if (auto* dialog = qobject_cast<QFileDialog*>(&box)) {
            dialog->selectFile(QString::fromStdString(scratch + "/modem.tvl"));
            static_cast<QDialog*>(dialog)->accept();  // public in QDialog
        }
        return false;  // answered again until it closes
    });
    run([&] { mnuOpenFile_Click(p); });
    run([&] { mnuForward_Click(p); });
    save(main, "review.png");
}

void helpShots(QtProgram& app) {
    FrmMain& f = *app.program->FrmMain;
    // The toolbar's Help button (7, after two separators), then context 17 as
    // the message box's Help button asks for it.
    app.desktop.dispatch([&] { f.tbrTarvoline->ButtonClick(f.tbrTarvoline->Buttons(7)); });
    HelpWindow* help = app.desktop.helpWindow();
    check(help && help->isVisible(), "Help didn't open the window");
    if (!help) return;
    save(*help, "help_contents.png");
    app.desktop.ShowHelp("TARVOLINE.hlp", 1, 17);
    save(*help, "help_context17.png");
}

}  // namespace
}  // namespace tvl

int main(int argc, char** argv) {
    QApplication qapp(argc, argv);
    const bool help = argc > 2 && QByteArray(argv[2]) == "help";
    // The program's look with a fixed font size, so that shots look the same on every machine.
    tvl::useProgramLook();
    QFont font = QApplication::font();
    font.setPointSizeF(help ? 9 : 8.25);
    QApplication::setFont(font);
    tvl::folder.setPath(argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("screenshots"));
    QDir().mkpath(tvl::folder.path());

    // The ports on this system's port rule, with an empty scratch folder for
    // the devices and the virtual ports: no real device is touched.
    QTemporaryDir scratch(QDir::tempPath() + "/tvl-shots-XXXXXX");
    const std::string dir = scratch.path().toStdString();
    tvl::QtProgram app(tvl::QtProgram::Lines::System);
    *app.devices = tvl::SystemDevices(app.poster(), dir, dir);
    tvl::showcaseDevices(*app.devices, dir);
    app.desktop.popupHook = [](tvl::Menu&) {};
    tvl::Main(*app.program);
    if (!help) tvl::save(*app.desktop.view(*app.program->frmSplash), "splash.png");
    app.desktop.dispatch([&] { app.program->frmSplash->Image1->Click(); });
    help ? tvl::helpShots(app) : tvl::windowShots(app, dir);
    return tvl::ok ? 0 : 1;
}
