// Renders the splash and the main window (at rest, in a run, in review) to PNG
// files in the folder given, on a real X server (run under xvfb-run).
#include <QApplication>
#include <QDir>
#include <QTest>
#include <cstdio>

#include "platform/qt/form_view.h"
#include "platform/qt/qt_program.h"
#include "shell/frm_main.h"

namespace {

bool save(QWidget& window, const QDir& folder, const char* name) {
    QTest::qWait(100);
    const QString file = folder.filePath(QString::fromLatin1(name));
    const QPixmap shot = window.grab();
    if (shot.isNull() || !shot.save(file)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
        return false;
    }
    std::printf("%s %dx%d\n", qPrintable(file), shot.width(), shot.height());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setStyle(QStringLiteral("Fusion"));
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(8.25);
    QApplication::setFont(font);
    const QDir folder(argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("screenshots"));
    QDir().mkpath(folder.path());

    tvl::QtProgram program;
    program.desktop.popupHook = [](tvl::Menu&) {};
    tvl::Main(*program.program);
    bool ok = save(*program.desktop.view(*program.program->frmSplash), folder, "splash.png");

    program.desktop.dispatch([&] { program.program->frmSplash->Image1->Click(); });
    tvl::FrmMain& f = *program.program->FrmMain;
    QWidget& main = *program.desktop.view(f);
    ok = save(main, folder, "main.png") && ok;

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
    return ok ? 0 : 1;
}
