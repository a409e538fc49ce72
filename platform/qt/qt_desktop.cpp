#include "platform/qt/qt_desktop.h"

#include <exception>
#include <string>

#include <QApplication>
#include <QCoreApplication>
#include <QCursor>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <cstdio>
#include <cstdlib>

#include "platform/asset_folder.h"
#include "platform/control.h"
#include "platform/form.h"
#include "platform/qt/accessible_roles.h"
#include "platform/qt/form_view.h"
#include "platform/qt/help_window.h"
#include "platform/qt/latin1.h"
#include "platform/qt/window_style.h"

namespace tvl {

namespace {
std::string path(const QString& file) { return QFile::encodeName(file).toStdString(); }
// The dialogs start in the program's folder. An installed program's folder
// cannot be written, and there they start where the program was started (the
// home folder from the desktop's menu); the program never changes its folder.
QString dialogFolder(const std::string& initialFolder) {
    const QString folder = QFile::decodeName(initialFolder.c_str());
    return QFileInfo(folder).isWritable() ? folder : QDir::currentPath();
}
}  // namespace

QString qtFileFilter(const std::string& filter) {
    QStringList parts = latin1(filter).split(QLatin1Char('|'));
    QStringList out;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        const QString description = parts[i].trimmed();
        // Qt reads the patterns from the closing brackets; a description that
        // already shows them keeps its own words, and one given with no
        // patterns lists what its brackets name (every file without brackets).
        const QString shown = description.endsWith(QLatin1Char(')'))
                                  ? description.mid(description.lastIndexOf(QLatin1Char('(')) + 1)
                                        .chopped(1)
                                        .trimmed()
                                  : QString();
        QString patterns =
            parts[i + 1].split(QLatin1Char(';'), Qt::SkipEmptyParts).join(QLatin1Char(' '));
        if (patterns.isEmpty()) patterns = shown.isEmpty() ? QStringLiteral("*") : shown;
        if (shown == patterns)
            out << description;
        else
            out << description + QStringLiteral(" (") + patterns + QLatin1Char(')');
    }
    return out.join(QStringLiteral(";;"));
}

QtDesktop::QtDesktop() {
    installAccessibleRoles();
    paneTimer_.setSingleShot(true);
    paneTimer_.setTimerType(Qt::PreciseTimer);  // never early, which would cost a second wake-up
    connect(&paneTimer_, &QTimer::timeout, this, [this] { syncAll(); });
    sincePanes_.start();
}

QtDesktop::~QtDesktop() {
    for (auto& [form, view] : views_) delete view;
}

void QtDesktop::MsgBox(const std::string& text, const std::string& title, int buttons,
                       const std::string& helpFile, int context) {
    QMessageBox box(QMessageBox::NoIcon, latin1(title), latin1(text), QMessageBox::Ok);
    QAbstractButton* help = nullptr;
    if (buttons & vbMsgBoxHelpButton) help = box.addButton(QMessageBox::Help);
    if (QWidget* owner = messageOwner()) {
        keepAbove(box, *owner);
        box.adjustSize();
        centreOver(box, *owner);
    }
    // Help opens the help file and leaves the message standing.
    do {
        box.exec();
        if (help && box.clickedButton() == help) ShowHelp(helpFile, 1, context);
    } while (help && box.clickedButton() == help);
}

std::string QtDesktop::InputBox(const std::string& prompt, const std::string& title) {
    bool ok = false;
    const QString text = QInputDialog::getText(dialogOwner(), latin1(title), latin1(prompt),
                                               QLineEdit::Normal, QString(), &ok);
    return ok ? bytes(text) : std::string();
}

std::string QtDesktop::ShowSave(const std::string& initialFolder, const std::string& filter) {
    return path(QFileDialog::getSaveFileName(dialogOwner(), QString(), dialogFolder(initialFolder),
                                             qtFileFilter(filter)));
}

std::string QtDesktop::ShowOpen(const std::string& initialFolder, const std::string& filter) {
    return path(QFileDialog::getOpenFileName(dialogOwner(), QString(), dialogFolder(initialFolder),
                                             qtFileFilter(filter)));
}

HelpWindow* QtDesktop::helpWindow() const { return help_.data(); }

void QtDesktop::ShowHelp(const std::string& helpFile, int command, int context) {
    // A bare name is looked for in the program's folder.
    QString file = QFile::decodeName(helpFile.c_str());
    if (!file.contains(QLatin1Char('/')))
        file = QFile::decodeName(ProgramFolder().c_str()) + QLatin1Char('/') + file;
    if (!help_) {
        help_ = new HelpWindow;
        help_->setAttribute(Qt::WA_DeleteOnClose);
    }
    // Asked for from a message box, the window stands over the box, which
    // would otherwise keep it from being read; from the main window it stands
    // beside it and blocks nothing.
    const Qt::WindowModality modality =
        QApplication::activeModalWidget() && QApplication::activeModalWidget() != help_.data()
            ? Qt::ApplicationModal
            : Qt::NonModal;
    if (help_->windowModality() != modality) {
        help_->hide();
        help_->setWindowModality(modality);
    }
    help_->show();
    help_->raise();
    help_->activateWindow();
    help_->showTopic(file, command, context);
}

int QtDesktop::GetSystemMetrics(int index) {
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen) return 0;
    const double ratio = screen->devicePixelRatio();
    return static_cast<int>(
        (index == 1 ? screen->geometry().height() : screen->geometry().width()) * ratio);
}

std::string QtDesktop::ProgramFolder() {
    if (programFolder.empty())
        programFolder = assetFolder(path(QCoreApplication::applicationDirPath()));
    return programFolder;
}

void QtDesktop::PopupMenu(Menu& menu) {
    FormView* v = view(menu.form());
    QMenu* popup = v ? v->menuOf(menu) : nullptr;
    if (!popup) return;
    v->sync(false);  // the entries as the model has them now
    if (popupHook) return popupHook(menu);
    QAction* chosen = popup->exec(QCursor::pos());
    if (!chosen || v->detached()) return;
    auto* entry = static_cast<Menu*>(chosen->data().value<void*>());
    if (entry && entry->Enabled && entry->Visible && entry->Click) entry->Click();
}

void QtDesktop::EndProcess() {
    if (endHook) return endHook();
    std::fflush(nullptr);
    std::_Exit(0);
}

FormView* QtDesktop::view(const Form& form) const {
    auto found = views_.find(&form);
    return found == views_.end() ? nullptr : found->second;
}

FormView* QtDesktop::mainView() const {
    for (const auto& [form, v] : views_)
        if (form->name() == "FrmMain") return v;
    return nullptr;
}

FormView* QtDesktop::messageOwner() const {
    for (const auto& [form, v] : views_)
        if (v->isVisible() && v->isActiveWindow()) return v;
    FormView* main = mainView();
    return main && main->isVisible() ? main : nullptr;
}

QWidget* QtDesktop::dialogOwner() const {
    // A Qt child goes with its parent: only a window that takes input may hold one.
    FormView* owner = messageOwner();
    return owner && owner->isEnabled() ? owner : nullptr;
}

void QtDesktop::formShown(Form& form) {
    FormView*& v = views_[&form];
    if (!v) v = new FormView(form, *this, windowStyleOf(form).dialog ? mainView() : nullptr);
    v->showWindow();
}

void QtDesktop::formHidden(Form& form) {
    if (FormView* v = view(form)) v->hide();
}

void QtDesktop::formUnloaded(Form& form) {
    auto found = views_.find(&form);
    if (found == views_.end()) return;
    FormView* v = found->second;
    views_.erase(found);
    // The form goes now; its window may still be inside one of its own events.
    v->detach();
    v->hide();
    v->deleteLater();
}

void QtDesktop::redraw(Form& form) {
    if (FormView* v = view(form)) {
        v->sync(true);
        v->repaint();
    }
}

void QtDesktop::dispatch(const std::function<void()>& event, Copy copy) {
    ++depth_;
    std::string failure;
    try {
        event();
    } catch (const std::exception& error) {
        failure = error.what();
    }
    --depth_;
    if (copy == Copy::Now || !failure.empty())
        syncAll(true);
    else
        copyPanesLater();
    // A fault of ours is reported, never a reason to lose the session.
    if (!failure.empty())
        MsgBox("Tarvoline could not finish this action:\n\n" + failure, "Tarvoline", vbOKOnly, {},
               0);
}

void QtDesktop::syncAll(bool panesNow) {
    const bool panes = panesNow || sincePanes_.elapsed() >= paneIntervalMs;
    if (panes) {
        sincePanes_.restart();
        paneTimer_.stop();
        ++paneCopies;
    } else {
        copyPanesLater();
    }
    for (auto& [form, v] : views_) v->sync(panes);
}

void QtDesktop::copyPanesLater() {
    // What changed since the last copy shows when its time comes.
    if (!paneTimer_.isActive())
        paneTimer_.start(static_cast<int>(std::max<qint64>(0, paneIntervalMs - sincePanes_.elapsed())));
}

void QtDesktop::portReadable() {
    for (auto& [form, v] : views_) v->portReadable();
}

}  // namespace tvl
