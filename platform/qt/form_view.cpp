#include "platform/qt/form_view.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QScreen>
#include <QWindow>
#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/control.h"
#include "platform/form.h"
#include "platform/qt/control_widgets.h"
#include "platform/qt/latin1.h"
#include "platform/qt/qt_desktop.h"
#include "platform/qt/window_style.h"

namespace tvl {

namespace {

// A control kind this view draws no special widget for yet: placed and named only.
class PlainWidget : public QWidget, public ControlView {
public:
    PlainWidget(Control& model, FormView& view, QWidget* parent)
        : QWidget(parent), model_(model), view_(view) {}
    void sync(bool) override { syncCommon(*this, model_, view_); }

private:
    Control& model_;
    FormView& view_;
};

}  // namespace

void keepAbove(QWidget& window, QWidget& owner) {
    window.createWinId();
    owner.createWinId();
    window.windowHandle()->setTransientParent(owner.windowHandle());
}

void centreOver(QWidget& window, const QWidget& owner) {
    QRect place(QPoint(), window.frameGeometry().size());
    place.moveCenter(owner.frameGeometry().center());
    if (const QScreen* screen = owner.screen()) {
        // Inside the screen, its top-left corner first.
        const QRect area = screen->availableGeometry();
        place.moveLeft(std::max(area.left(), std::min(place.left(), area.right() - place.width())));
        place.moveTop(std::max(area.top(), std::min(place.top(), area.bottom() - place.height())));
    }
    window.move(place.topLeft());
}

FormView::FormView(Form& form, QtDesktop& desktop, QWidget* owner)
    : QWidget(nullptr), form_(form), desktop_(desktop), owner_(owner) {
    const QScreen* screen = QGuiApplication::primaryScreen();
    const double dpi = screen ? screen->logicalDotsPerInchX() : 96.0;
    pxPerTwip_ = dpi / 96.0 / 15.0;
    borderWidth_ = std::max(0.0f, form.Width - form.ScaleWidth);
    borderHeight_ = std::max(0.0f, form.Height - form.ScaleHeight);
    setObjectName(latin1(form.name()));
    setAttribute(Qt::WA_DeleteOnClose, false);
    setContextMenuPolicy(Qt::PreventContextMenu);

    const WindowStyle style = windowStyleOf(form);
    if (style.splash) {
        // No caption, no control box, no task-bar entry.
        setWindowFlags(Qt::SplashScreen | Qt::FramelessWindowHint);
        setFocusPolicy(Qt::StrongFocus);
    } else if (style.dialog && owner) {
        setWindowFlags(Qt::Dialog | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
        keepAbove(*this, *owner);
    } else {
        setWindowFlags(Qt::Window);
    }
    build();
}

FormView::~FormView() = default;

int FormView::px(double twips) const { return static_cast<int>(std::lround(twips * pxPerTwip_)); }
double FormView::twips(int pixels) const { return pixels / pxPerTwip_; }

int FormView::buttonOf(Qt::MouseButton button) {
    switch (button) {
        case Qt::LeftButton:
            return 1;
        case Qt::RightButton:
            return 2;
        case Qt::MiddleButton:
            return 4;
        default:
            return 0;
    }
}

QString FormView::pictureFile(const std::string& name) const {
    return latin1(desktop_.ProgramFolder() + "/" + name);
}

namespace {
// A control's widget, which is also its view.
template <class W>
std::pair<QWidget*, ControlView*> both(W* widget) {
    return {widget, widget};
}
}  // namespace

std::pair<QWidget*, ControlView*> FormView::makeWidget(Control& c, QWidget* parent) {
    switch (c.kind()) {
        case ControlKind::Frame:
            return both(new FrameWidget(static_cast<Frame&>(c), *this, parent));
        case ControlKind::Label:
            return both(new LabelWidget(static_cast<Label&>(c), *this, parent));
        case ControlKind::Image:
            return both(new ImageWidget(static_cast<Image&>(c), *this, parent));
        case ControlKind::Line:
            return both(new LineWidget(static_cast<Line&>(c), *this, parent));
        case ControlKind::TextBox: {
            auto& box = static_cast<TextBox&>(c);
            if (!box.MultiLine) return both(new LineBoxWidget(box, *this, parent));
            if (box.KeyPress)  // a traffic pane: the model edits it
                return both(new PaneWidget(box, *this, parent));
            return both(new EditorWidget(box, *this, parent));
        }
        case ControlKind::Toolbar:
            return both(new ToolbarWidget(static_cast<Toolbar&>(c), *this, parent));
        case ControlKind::CheckBox: {
            auto& box = static_cast<CheckBox&>(c);
            if (box.Picture.empty()) return both(new TickWidget(box, *this, parent));
            return both(new SwitchWidget(box, *this, parent));
        }
        case ControlKind::CommandButton:
            return both(new ButtonWidget(static_cast<CommandButton&>(c), *this, parent));
        case ControlKind::OptionButton:
            return both(new OptionWidget(static_cast<OptionButton&>(c), *this, parent));
        case ControlKind::ComboBox:
            return both(new ComboWidget(static_cast<ComboBox&>(c), *this, parent));
        default:
            return both(new PlainWidget(c, *this, parent));
    }
}

ControlView* FormView::makeView(Control& c) {
    if (c.kind() == ControlKind::Menu) {
        auto menu = std::make_unique<MenuView>(static_cast<Menu&>(c), *this);
        menus_.emplace_back(static_cast<Menu*>(&c), menu->menu());
        ControlView* view = menu.get();
        owned_.push_back(std::move(menu));
        return view;
    }
    if (c.kind() == ControlKind::Timer) {
        auto* timer = new TimerView(static_cast<Timer&>(c), *this);
        timers_.push_back(timer);
        return timer;
    }
    QWidget* parent = this;
    if (c.container())
        if (QWidget* w = widgetOf(c.container())) parent = w;
    const auto [widget, view] = makeWidget(c, parent);
    widget->setObjectName(latin1(c.key()));
    widgets_.emplace_back(&c, widget);
    return view;
}

void FormView::build() {
    for (const auto& owned : form_.controls()) {
        Control& c = *owned;
        // A menu entry is shown by its menu.
        if (c.container() && c.container()->kind() == ControlKind::Menu) continue;
        views_.push_back(makeView(c));
    }
    // The controls of a container were made topmost first.
    for (auto it = widgets_.rbegin(); it != widgets_.rend(); ++it) it->second->raise();
    // Docked toolbars lie over everything.
    for (auto& [c, w] : widgets_)
        if (c->kind() == ControlKind::Toolbar) w->raise();
}

QWidget* FormView::widgetOf(const Control* control) const {
    for (const auto& [c, w] : widgets_)
        if (c == control) return w;
    return nullptr;
}

QMenu* FormView::menuOf(const Menu& menu) const {
    for (const auto& [m, q] : menus_)
        if (m == &menu) return q;
    return nullptr;
}

std::vector<TimerDriver*> FormView::drivers() const {
    std::vector<TimerDriver*> out;
    for (TimerView* t : timers_) out.push_back(&t->driver());
    return out;
}

void FormView::portReadable() {
    if (detached_) return;
    for (TimerView* t : timers_) t->readable();
}

void FormView::syncWindow() {
    const QString caption = latin1(form_.Caption);
    if (windowTitle() != caption) setWindowTitle(caption);
    if (isEnabled() != form_.Enabled) setEnabled(form_.Enabled);
    if (form_.Width != appliedWidth_ || form_.Height != appliedHeight_) {
        appliedWidth_ = form_.Width;
        appliedHeight_ = form_.Height;
        applying_ = true;
        resize(px(form_.Width - borderWidth_), px(form_.Height - borderHeight_));
        applying_ = false;
    }
    if (form_.Picture != picture_) {
        picture_ = form_.Picture;
        background_ = picture_.empty() ? QPixmap() : QPixmap(pictureFile(picture_));
        update();
    }
}

void FormView::syncFocus() {
    if (focusApplied_ == form_.focusRequests) return;
    focusApplied_ = form_.focusRequests;
    if (QWidget* w = widgetOf(form_.focus)) w->setFocus(Qt::OtherFocusReason);
}

void FormView::sync(bool panes) {
    if (detached_) return;
    syncWindow();
    for (ControlView* v : views_) v->sync(panes);
    syncFocus();  // after the views, so that the control is shown and enabled
    // Docked toolbars: the visible ones stack from the top edge, full width.
    int y = 0;
    for (auto& [c, w] : widgets_) {
        if (c->kind() != ControlKind::Toolbar || !c->Visible) continue;
        const QRect place(0, y, width(), px(c->Height));
        if (w->geometry() != place) w->setGeometry(place);
        y += place.height();
    }
}

void FormView::showWindow() {
    sync(true);
    const WindowStyle style = windowStyleOf(form_);
    if (!style.sizable) setFixedSize(size());
    // A window is placed when it first shows; shown again, it stays where the user put it.
    if (!std::exchange(shownBefore_, true)) {
        const QScreen* screen = QGuiApplication::primaryScreen();
        if (style.dialog && owner_)
            centreOver(*this, *owner_);
        else if (style.splash && screen)
            move(screen->availableGeometry().center() - QPoint(width() / 2, height() / 2));
        else
            move(px(form_.Left), px(form_.Top));
    }
    show();
    if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
        raise();
        activateWindow();
    }
    // A dialog opens with its first control taking keys, as desktop dialogs do,
    // and shown again keeps the one the user left.
    QWidget* kept = focusWidget();
    if (style.dialog && kept && kept != this && kept->isVisible()) return;
    setFocus();
    if (style.dialog) focusNextChild();
}

void FormView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), systemColour(15));
    if (background_.isNull()) return;
    // The picture at its size (scaled by the screen's dpi), repeated where the window is larger.
    const double k = px(1500) / 100.0;
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    if (k == 1.0) return p.drawTiledPixmap(rect(), background_);
    p.drawTiledPixmap(rect(), background_.scaled(background_.size() * k, Qt::IgnoreAspectRatio,
                                                 Qt::SmoothTransformation));
}

void FormView::resizeEvent(QResizeEvent*) {
    if (applying_ || detached_) return;
    const float w = static_cast<float>(std::round(twips(width()))) + borderWidth_;
    const float h = static_cast<float>(std::round(twips(height()))) + borderHeight_;
    if (w == form_.Width && h == form_.Height) return;
    form_.Width = appliedWidth_ = w;
    form_.Height = appliedHeight_ = h;
    form_.ScaleWidth = w - borderWidth_;
    form_.ScaleHeight = h - borderHeight_;
    desktop_.dispatch([this] {
        if (form_.Resize) form_.Resize();
    });
}

void FormView::mouseReleaseEvent(QMouseEvent* e) {
    e->accept();
    const int b = buttonOf(e->button());
    if (detached_ || !b || !form_.MouseUp) return;
    desktop_.dispatch([this, b] { form_.MouseUp(b); });
}

void FormView::keyPressEvent(QKeyEvent* e) {
    if (detached_) return QWidget::keyPressEvent(e);
    if (!form_.KeyPress) {
        // Enter presses the Default button, Esc the Cancel button.
        const bool enter = e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter;
        const bool escape = e->key() == Qt::Key_Escape;
        for (const auto& c : form_.controls()) {
            auto* button = dynamic_cast<CommandButton*>(c.get());
            if (!button || !button->Enabled || !button->Visible || !button->Click) continue;
            if ((enter && button->Default) || (escape && button->Cancel)) {
                e->accept();
                desktop_.dispatch([button] { button->Click(); });
                return;
            }
        }
        return QWidget::keyPressEvent(e);
    }
    switch (e->key()) {
        case Qt::Key_Shift:
        case Qt::Key_Control:
        case Qt::Key_Alt:
        case Qt::Key_Meta:
        case Qt::Key_AltGr:
        case Qt::Key_CapsLock:
        case Qt::Key_NumLock:
            return QWidget::keyPressEvent(e);
        default:
            break;
    }
    const int code = std::max(0, keyAscii(*e));
    e->accept();
    desktop_.dispatch([this, code] {
        int key = code;
        form_.KeyPress(key);
    });
}

void FormView::closeEvent(QCloseEvent* e) {
    // The window stays until the form's own handler unloads it: Form_QueryUnload
    // where the form decides what closing means, else Form_Unload.
    e->ignore();
    if (detached_) return;
    const Form::Handler* handler = form_.handler("Form_QueryUnload");
    if (!handler) handler = form_.handler("Form_Unload");
    if (handler) desktop_.dispatch([handler] { (*handler)({}); });
}

}  // namespace tvl
