// The desktop the program runs on: the Platform of the Qt layer. It shows each
// form the logic shows as a FormView, turns widget events into the model's
// handlers through dispatch(), and after every dispatched event copies the
// model's state to the widgets: at once, pane text too, after the user's events; with the
// pane text (at most 10 times a second) after the lines' events and the
// pump's ticks. It drives each model Timer with a TimerDriver.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/platform.h"

namespace tvl {

class Control;
class Form;
class FormView;
class HelpWindow;

class QtDesktop : public QObject, public Platform {
    Q_OBJECT
public:
    QtDesktop();
    ~QtDesktop() override;

    // Platform
    void MsgBox(const std::string& text, const std::string& title, int buttons,
                const std::string& helpFile, int context) override;
    std::string InputBox(const std::string& prompt, const std::string& title) override;
    std::string ShowSave(const std::string& initialFolder, const std::string& filter) override;
    std::string ShowOpen(const std::string& initialFolder, const std::string& filter) override;
    void ShowHelp(const std::string& helpFile, int command, int context) override;
    int GetSystemMetrics(int index) override;
    std::string ProgramFolder() override;
    void PopupMenu(Menu& menu) override;
    void EndProcess() override;
    void formShown(Form& form) override;
    void formHidden(Form& form) override;
    void formUnloaded(Form& form) override;
    void redraw(Form& form) override;

    // How soon the widgets show what an event changed.
    enum class Copy {
        Now,    // at once, pane text too: the user's own events
        Paced,  // with the pane text, at most 10 times a second: the lines'
                // events and the ticks of a running timer, which come often
    };
    // Runs a model event, then brings every view up to date as told.
    void dispatch(const std::function<void()>& event, Copy copy = Copy::Now);
    // Copies the model to the widgets; pane text only if its time has come,
    // or at once with `panesNow`.
    void syncAll(bool panesNow = false);
    // A port has bytes: the timers bring their next tick forward.
    void portReadable();

    // The view of a loaded form, or nullptr.
    FormView* view(const Form& form) const;
    // The window a message box belongs to: the program's window the user is
    // working in, else the main window (nullptr before it shows).
    FormView* messageOwner() const;
    // The parent of an input box or file dialog: the message owner while it takes input.
    QWidget* dialogOwner() const;

    // True while a tick of the pump would change something; set by whoever
    // builds the program.
    std::function<bool()> tickHasWork = [] { return false; };
    // Folder of the pictures; the executable's folder unless set.
    std::string programFolder;
    // Tests replace what would block or end the process.
    std::function<void(Menu&)> popupHook;
    std::function<void()> endHook;

    // The help window, once help has been asked for; nullptr before.
    HelpWindow* helpWindow() const;

    // Pane text is copied at most this often: traffic cannot be read faster,
    // and a change after a pause is still copied at once.
    int paneIntervalMs = 100;
    std::uint64_t paneCopies = 0;  // for benchmarks

private:
    FormView* mainView() const;
    // Starts the copy of everything, pane text with it, once its time comes.
    void copyPanesLater();

    std::map<const Form*, FormView*> views_;
    QPointer<HelpWindow> help_;
    QElapsedTimer sincePanes_;
    QTimer paneTimer_;
    int depth_ = 0;
};

// "Desc|*.a;*.b|Desc2|*.c" -> "Desc (*.a *.b);;Desc2 (*.c)"
QString qtFileFilter(const std::string& filter);

}  // namespace tvl
