// The help window, asked for as the program asks for it, rendered to PNG files
// in the folder given on a real X server (run under xvfb-run): at its
// contents from the toolbar's Help button, and at the port-failure topic as
// the Setup message box's Help button opens it. Fails when the window doesn't
// come up, or stands at the wrong place of the file.
#include <QApplication>
#include <QDir>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>
#include <cstdio>

#include "app/frm_main.h"
#include "desktop/qt_program.h"
#include "desktop/tests/screenshot_util.h"
#include "platform/qt/help_window.h"

namespace {

using tvl::shots::save;

// The text of the first line shown at the top of the browser.
QString topLine(const tvl::HelpWindow& help) {
    return help.browser()->cursorForPosition(QPoint(4, 4)).block().text();
}

bool check(bool ok, const char* what) {
    if (!ok) std::fprintf(stderr, "help window: %s\n", what);
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const QDir folder = tvl::shots::prepare(argc, argv, 9);

    tvl::QtProgram program;
    program.desktop.popupHook = [](tvl::Menu&) {};
    tvl::Main(*program.program);
    program.desktop.dispatch([&] { program.program->frmSplash->Image1->Click(); });
    tvl::FrmMain& f = *program.program->FrmMain;

    // The toolbar's Help button (7, after two separators): the help file beside the program, at its
    // contents.
    program.desktop.dispatch([&] { f.tbrTarvoline->ButtonClick(f.tbrTarvoline->Buttons(7)); });
    tvl::HelpWindow* help = program.desktop.helpWindow();
    if (!check(help && help->isVisible(), "Help didn't open the window")) return 1;
    QTest::qWait(100);
    bool ok = check(help->browser()->toPlainText().contains(QStringLiteral("Transparent mode")),
                    "the help file wasn't found beside the program");
    ok = check(help->browser()->verticalScrollBar()->value() == 0, "not at the contents") && ok;
    ok = check(topLine(*help) == QStringLiteral("Tarvoline Help"),
               "the contents aren't at the top") &&
         ok;
    ok = save(*help, folder, "help_contents.png") && ok;

    // Context 17, as the message box's Help button asks for it: the same window, at the topic.
    program.desktop.ShowHelp("TARVOLINE.hlp", 1, 17);
    QTest::qWait(100);
    ok = check(program.desktop.helpWindow() == help, "a second window came up") && ok;
    ok = check(help->browser()->verticalScrollBar()->value() > 0,
               "context 17 didn't move the page") &&
         ok;
    ok = check(topLine(*help) == QStringLiteral("A port won't open"),
               "context 17 isn't at its topic") &&
         ok;
    ok = save(*help, folder, "help_context17.png") && ok;

    // And back to the contents from the menu entry.
    program.desktop.dispatch([&] { f.mnuHelp->Click(); });
    QTest::qWait(50);
    ok = check(help->browser()->verticalScrollBar()->value() == 0,
               "the menu entry didn't return to the contents") &&
         ok;
    return ok ? 0 : 1;
}
