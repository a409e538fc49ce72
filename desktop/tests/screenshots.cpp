// Renders the splash, the main window (at rest, in a run, in review), its
// popup menu, the Host-mode dialogs, the help window (at its contents and at
// a topic), the Setup dialog (also with virtual ports) and Setup's port
// failure message to PNG files in the folder given, on a real X server (run
// under xvfb-run).
#include <stdlib.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QMenu>
#include <QMessageBox>
#include <QMetaObject>
#include <QScreen>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTimer>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>

#include "app/frm_find_data.h"
#include "app/frm_host_action.h"
#include "app/frm_main.h"
#include "components/serial/device_rule.h"
#include "components/stores/stores.h"
#include "convert/conversion.h"
#include "desktop/qt_program.h"
#include "desktop/tests/screenshot_util.h"
#include "platform/qt/form_view.h"
#include "platform/qt/help_window.h"
#include "review/review.h"
#include "setup/setup.h"

namespace {

using tvl::shots::save;

// Saves the next modal window that opens (a message box) and closes it.
void saveNextModal(const QDir& folder, const char* name, bool& saved) {
    auto* poll = new QTimer;
    int tries = 0;
    QObject::connect(poll, &QTimer::timeout, [=, &saved]() mutable {
        QWidget* box = QApplication::activeModalWidget();
        if (!box && ++tries < 100) return;
        poll->stop();
        poll->deleteLater();
        if (!box) {
            std::fprintf(stderr, "no message box came up for %s\n", name);
            return;
        }
        saved = save(*box, folder, name);
        auto* message = qobject_cast<QMessageBox*>(box);
        QAbstractButton* ok = message ? message->button(QMessageBox::Ok) : nullptr;
        if (ok)
            ok->click();
        else
            box->close();
    });
    poll->start(50);
}

// The program on this system's port rule, with the device folder and the
// virtual-port folder an empty temporary folder: no real device is touched.
struct ProgramWithoutDevices {
    explicit ProgramWithoutDevices(const std::string& folder) {
        tvl::Poster poster = [this](std::function<void()> event) {
            QMetaObject::invokeMethod(
                &desktop, [this, event = std::move(event)] { desktop.dispatch(event); },
                Qt::QueuedConnection);
        };
        devices = std::make_unique<tvl::SystemDevices>(poster, folder, folder);
        tvl::ProgramParts parts;
        parts.platform = &desktop;
        parts.line1 = parts.line2 = devices.get();
        program = std::make_unique<tvl::Program>(std::move(parts));
    }
    ~ProgramWithoutDevices() {
        if (program->frmSetup) desktop.formUnloaded(*program->frmSetup);
        if (program->FrmMain) desktop.formUnloaded(*program->FrmMain);
        if (program->frmSplash) desktop.formUnloaded(*program->frmSplash);
        program.reset();
    }
    tvl::QtDesktop desktop;
    std::unique_ptr<tvl::SystemDevices> devices;
    std::unique_ptr<tvl::Program> program;
};

// The Setup dialog with its list of this computer's serial devices open: the
// screen under the dialog and the list, as the user sees them.
bool saveDeviceList(QWidget& setup, const QDir& folder) {
    auto* list = setup.findChild<QComboBox*>(QStringLiteral("cboDevices"));
    if (!list) {
        std::fprintf(stderr, "Setup has no device list\n");
        return false;
    }
    list->showPopup();
    QTest::qWait(300);
    const QRect area = setup.frameGeometry().united(list->view()->window()->frameGeometry());
    const QPixmap shot = QGuiApplication::primaryScreen()->grabWindow(0, area.x(), area.y(),
                                                                      area.width(), area.height());
    list->hidePopup();
    const QString file = folder.filePath(QStringLiteral("setup_devices.png"));
    if (shot.isNull() || !shot.save(file)) return false;
    std::printf("%s %dx%d\n", qPrintable(file), shot.width(), shot.height());
    return true;
}

// The Setup dialog as it opens, then its message for a port number whose
// device is missing.
bool setupShots(const QDir& folder) {
    std::string pattern = (std::filesystem::temp_directory_path() / "tvl-shots-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) return false;
    bool ok = true;
    {
        ProgramWithoutDevices p(pattern);
        p.desktop.popupHook = [](tvl::Menu&) {};
        tvl::Program& program = *p.program;
        tvl::Main(program);
        p.desktop.dispatch([&] { program.frmSplash->Image1->Click(); });
        p.desktop.dispatch([&] { tvl::mnuSetup_Click(program); });
        tvl::FormView* setup = program.frmSetup ? p.desktop.view(*program.frmSetup) : nullptr;
        if (!setup) {
            std::fprintf(stderr, "Setup did not come up\n");
            ok = false;
        } else {
            const auto ports = [&](const char* one, const char* two) {
                p.desktop.dispatch([&] {
                    program.frmSetup->txtComPort[0]->setText(one);
                    program.frmSetup->txtComPort[1]->setText(two);
                });
            };
            ok = save(*setup, folder, "setup.png") && ok;
            ok = saveDeviceList(*setup, folder) && ok;
            ports("7", "8");
            ok = save(*setup, folder, "setup_port7.png") && ok;
            // Three-digit numbers: virtual ports, each described by its published path.
            ports("901", "902");
            ok = save(*setup, folder, "setup_virtual_901.png") && ok;
            ports("7", "8");
            bool saved = false;
            saveNextModal(folder, "setup_failure.png", saved);
            p.desktop.dispatch([&] { program.frmSetup->cmdOK->Click(); });
            ok = saved && ok;
            if (program.frmSetup) p.desktop.dispatch([&] { program.frmSetup->cmdCancel->Click(); });
        }
    }
    std::filesystem::remove_all(pattern);
    return ok;
}

// Answers the next file dialog that opens with `path`. The dialog does not
// take a file while its name box has the focus, so the focus leaves it first;
// the dialog is answered again until it closes.
void answerNextFileDialog(const std::string& path) {
    auto* poll = new QTimer;
    int tries = 0;
    bool seen = false;
    QObject::connect(poll, &QTimer::timeout, [=]() mutable {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (dialog && dialog->isVisible()) {
            seen = true;
            if (QWidget* focused = dialog->focusWidget()) focused->clearFocus();
            dialog->selectFile(QString::fromLocal8Bit(path.c_str()));
            static_cast<QDialog*>(dialog)->accept();  // public in QDialog
            return;
        }
        if (!seen && ++tries < 100) return;
        poll->stop();
        poll->deleteLater();
    });
    poll->start(50);
}

// A capture of a modem's answers, opened in review on its second data record:
// the review toolbar shows when that record was written.
bool reviewShot(tvl::QtProgram& program, QWidget& main, const QDir& folder) {
    std::string pattern = (std::filesystem::temp_directory_path() / "tvl-shots-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) return false;
    auto store = tvl::makeKelTVL();
    store->StoreFolder = pattern + "/";
    store->StoreName = "modem.tvl";
    store->PortTitle1 = "Port1 (DTE1): ";
    store->PortTitle2 = "Port2 (DTE2/DCE): ";
    store->KeepPortTime = true;
    const char* answers[][2] = {{"", ""},
                                {"<CR><LF>OK<CR><LF>", "ATZ<CR>"},
                                {"<CR><LF>+CSQ: 21,0<CR><LF><CR><LF>OK<CR><LF>", "AT+CSQ<CR>"},
                                {"<CR><LF>CONNECT 9600<CR><LF>", "ATD0123456789;<CR>"}};
    for (int i = 0; i < 4; ++i) {
        store->PortText1 = answers[i][0];
        store->PortText2 = answers[i][1];
        store->PortTime = 1764000000000000 + i * 1534211;  // 2025-11-24 16:00 UTC on
        store->OpenStore();
        store->AppendRecord(i == 0 ? 1 : 0);
        store->CloseStore();
    }
    answerNextFileDialog(pattern + "/modem.tvl");
    program.desktop.dispatch([&] { tvl::mnuOpenFile_Click(*program.program); });
    program.desktop.dispatch([&] { tvl::mnuForward_Click(*program.program); });
    const bool ok = save(main, folder, "review.png");
    std::filesystem::remove_all(pattern);
    return ok;
}

// The help window as the program asks for it: at its contents from the
// toolbar's Help button, at the port-failure topic as the failure message's
// Help button asks, and back at the contents from the menu. False, said on
// stderr, when it doesn't come up or stands at the wrong place of the file.
bool helpShots(tvl::QtProgram& program, const QDir& folder) {
    tvl::FrmMain& f = *program.program->FrmMain;
    tvl::HelpWindow* help = nullptr;
    // The help file's line at the top of the window, and whether it scrolled there.
    const auto stands = [&](const char* top, bool scrolled, const char* what) {
        QTest::qWait(100);
        QTextBrowser* b = help && help->isVisible() ? help->browser() : nullptr;
        const bool ok = b && b->toPlainText().contains(QStringLiteral("Transparent mode")) &&
                        b->cursorForPosition(QPoint(4, 4)).block().text() == QLatin1String(top) &&
                        (b->verticalScrollBar()->value() > 0) == scrolled;
        if (!ok) std::fprintf(stderr, "help window: %s\n", what);
        return ok;
    };
    program.desktop.dispatch([&] { f.tbrTarvoline->ButtonClick(f.tbrTarvoline->Buttons(7)); });
    help = program.desktop.helpWindow();
    bool ok = stands("Tarvoline Help", false, "the toolbar's Help is not at the contents") &&
              save(*help, folder, "help_contents.png");
    program.desktop.ShowHelp("TARVOLINE.hlp", 1, 17);
    ok = stands("A port won't open", true, "context 17 is not at its topic") &&
         program.desktop.helpWindow() == help && save(*help, folder, "help_context17.png") && ok;
    program.desktop.dispatch([&] { f.mnuHelp->Click(); });
    ok = stands("Tarvoline Help", false, "the menu entry is not back at the contents") && ok;
    if (help) help->close();
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const QDir folder = tvl::shots::prepare(argc, argv, 8.25);

    tvl::QtProgram program;
    program.desktop.popupHook = [](tvl::Menu&) {};
    tvl::Main(*program.program);
    bool ok = save(*program.desktop.view(*program.program->frmSplash), folder, "splash.png");

    program.desktop.dispatch([&] { program.program->frmSplash->Image1->Click(); });
    tvl::FrmMain& f = *program.program->FrmMain;
    QWidget& main = *program.desktop.view(f);
    ok = save(main, folder, "main.png") && ok;

    // The popup menu as the right button raises it, and the two Host-mode dialogs.
    QMenu* popup = program.desktop.view(f)->menuOf(*f.mnuMenu);
    popup->popup(main.mapToGlobal(QPoint(main.width() / 3, main.height() / 4)));
    ok = save(*popup, folder, "popup_menu.png") && ok;
    popup->close();
    program.desktop.dispatch([&] { tvl::mnuDataConvertion_Click(*program.program); });
    ok = save(*program.desktop.view(*program.program->frmHostAction), folder, "host_action.png") &&
         ok;
    program.desktop.dispatch([&] { program.program->frmHostAction->cmdCancel->Click(); });
    program.desktop.dispatch([&] { tvl::mnuFindData_Click(*program.program); });
    ok = save(*program.desktop.view(*program.program->frmFindData), folder, "watch_data.png") && ok;
    program.desktop.dispatch([&] { program.program->frmFindData->cmdCancel->Click(); });

    // A run in Host mode: lamps lit, switches on, traffic in the panes.
    program.desktop.dispatch([&] {
        for (auto* group : f.fraComMonitor) group->Enabled = true;
        for (auto* c : f.chkUARTControl) c->Enabled = true;
        f.chkUARTControl[0]->Value = 1;
        f.chkUARTControl[3]->Value = 1;
        for (int s : {0, 1, 4, 12, 14, 17}) {
            f.imgStatus[s]->Visible = false;
            f.imgStatus[s + 6]->Visible = true;
        }
        f.tbrTarvoline->Buttons(3).Enabled = true;
        f.tbrTarvoline->Buttons(3).Image = 3;
        f.fraTxRx[0]->Caption = "Transmit: 38";
        f.fraTxRx[1]->Caption = "Receive:  21";
        f.fraTxRx[2]->Caption = "Transmit: 21";
        f.fraTxRx[3]->Caption = "Receive:  38";
        f.txtCommunication[0]->setText("ATZ<CR>AT+CSQ<CR>ATD0123456789;<CR>");
        f.txtCommunication[3]->setText("ATZ<CR>AT+CSQ<CR>ATD0123456789;<CR>");
        f.txtCommunication[2]->setText("<CR><LF>OK<CR><LF><CR><LF>+CSQ: 21,0<CR><LF>");
        f.txtCommunication[1]->setText("<CR><LF>OK<CR><LF><CR><LF>+CSQ: 21,0<CR><LF>");
    });
    ok = save(main, folder, "main_running.png") && ok;

    main.resize(main.width() * 3 / 2, main.height() * 3 / 2);
    ok = save(main, folder, "main_large.png") && ok;
    main.resize(main.width() * 2 / 3, main.height() * 2 / 3);
    ok = helpShots(program, folder) && ok;
    ok = reviewShot(program, main, folder) && ok;

    ok = setupShots(folder) && ok;
    return ok ? 0 : 1;
}
