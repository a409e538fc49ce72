// The view of one Form: a top-level window holding one widget per control
// model, named by the control's key ("txtCommunication(3)"). Positions and
// sizes come from the model in twips: 15 twips to a pixel at 96 dpi, scaled by
// the screen's logical dpi. Widget events become the model's events through
// the desktop; the model's state comes back through sync().
#pragma once

#include <QPixmap>
#include <QWidget>
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
    FormView(Form& form, QtDesktop& desktop);
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

    Form& form_;
    QtDesktop& desktop_;
    double pxPerTwip_;
    float borderWidth_, borderHeight_;  // outer size minus client area, twips
    float appliedWidth_ = -1, appliedHeight_ = -1;
    bool applying_ = false;
    bool detached_ = false;
    std::string picture_;
    QPixmap background_;
    std::vector<std::unique_ptr<ControlView>> owned_;  // views that are not widgets
    std::vector<ControlView*> views_;                  // every view, in model order
    std::vector<std::pair<const Control*, QWidget*>> widgets_;
    std::vector<std::pair<const Menu*, QMenu*>> menus_;
    std::vector<class TimerView*> timers_;
};

}  // namespace tvl
