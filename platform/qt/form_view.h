// The view of one Form: a top-level window holding one widget per control
// model, named by the control's key ("txtCommunication(3)"). Positions and
// sizes come from the model in twips: 15 twips to a pixel at 96 dpi, scaled by
// the screen's logical dpi. Widget events become the model's events through
// the desktop; the model's state comes back through sync().
#pragma once

#include <QPixmap>
#include <QPointer>
#include <QWidget>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "platform/timer_driver.h"

class QMenu;
class QTimer;

namespace tvl {

class Control;
class Form;
class Menu;
class QtDesktop;
class Timer;

// A window that belongs to `owner` (a dialog, a message box): the window
// manager keeps it above its owner (WM_TRANSIENT_FOR). It stays no Qt child of
// the owner, which would disable it with its owner and delete it with it.
void keepAbove(QWidget& window, QWidget& owner);
// Moves a window to the middle of `owner`, inside the screen.
void centreOver(QWidget& window, const QWidget& owner);

// One control's widget (or menu, or timer), brought up to date from its model.
class ControlView {
public:
    virtual ~ControlView() = default;
    // panes: whether the traffic (pane text, counter captions) may be copied now.
    virtual void sync(bool panes) = 0;
};

class FormView : public QWidget {
    Q_OBJECT
public:
    // A dialog belongs to its owner's window: it stays above it and opens centred over it.
    FormView(Form& form, QtDesktop& desktop, QWidget* owner = nullptr);
    ~FormView() override;

    Form& form() const { return form_; }
    QtDesktop& desktop() const { return desktop_; }

    // Twips to pixels and back, at this screen's dpi.
    int px(double twips) const;
    double twips(int pixels) const;

    // The widget of a control, or nullptr.
    QWidget* widgetOf(const Control* control) const;
    // The popup of a top-level menu.
    QMenu* menuOf(const Menu& menu) const;

    void sync(bool panes);
    void showWindow();
    // The model is gone (unloaded): the view only waits for its deletion.
    void detach() { detached_ = true; }
    bool detached() const { return detached_; }

    // The timer views' drivers, for the desktop and benchmarks.
    void portReadable();
    std::vector<TimerDriver*> drivers() const;

    // A mouse button as the model counts it: 1 left, 2 right, 4 middle.
    static int buttonOf(Qt::MouseButton button);
    QString pictureFile(const std::string& name) const;

protected:
    void paintEvent(QPaintEvent*) override;
    void resizeEvent(QResizeEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;
    void keyPressEvent(QKeyEvent*) override;
    void closeEvent(QCloseEvent*) override;

private:
    void build();
    // The view of one control: a menu, a timer, or a widget placed in its container.
    ControlView* makeView(Control& c);
    std::pair<QWidget*, ControlView*> makeWidget(Control& c, QWidget* parent);
    void syncWindow();
    void syncFocus();

    Form& form_;
    QtDesktop& desktop_;
    double pxPerTwip_;
    float borderWidth_, borderHeight_;  // outer size minus client area, twips
    float appliedWidth_ = -1, appliedHeight_ = -1;
    bool applying_ = false;
    bool detached_ = false;
    bool shownBefore_ = false;
    QPointer<QWidget> owner_;
    std::uint64_t focusApplied_ = 0;  // the form's focus requests the widgets have had
    std::string picture_;
    QPixmap background_;
    std::vector<std::unique_ptr<ControlView>> owned_;  // views that are not widgets
    std::vector<ControlView*> views_;                  // every view, in model order
    std::vector<std::pair<const Control*, QWidget*>> widgets_;
    std::vector<std::pair<const Menu*, QMenu*>> menus_;
    std::vector<class TimerView*> timers_;
};

}  // namespace tvl
