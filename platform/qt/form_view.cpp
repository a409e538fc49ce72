#include "platform/qt/form_view.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QScreen>
#include <cmath>

#include "platform/control.h"
#include "platform/form.h"
#include "platform/qt/control_widgets.h"
#include "platform/qt/qt_desktop.h"
#include "platform/qt/window_style.h"

namespace tvl {

namespace {

QString latin1(const std::string& text) {
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

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

FormView::FormView(Form& form, QtDesktop& desktop)
    : QWidget(nullptr), form_(form), desktop_(desktop) {
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

void FormView::build() {
    for (const auto& owned : form_.controls()) {
        Control& c = *owned;
        QWidget* parent = this;
        if (c.container()) {
            if (c.container()->kind() == ControlKind::Menu)
                continue;  // an entry: its menu shows it
            if (QWidget* w = widgetOf(c.container())) parent = w;
        }
        QWidget* widget = nullptr;
        ControlView* view = nullptr;
        auto keep = [&](auto* w) {
            widget = w;
            view = w;
        };
        switch (c.kind()) {
            case ControlKind::Frame:
                keep(new FrameWidget(static_cast<Frame&>(c), *this, parent));
                break;
            case ControlKind::Label:
                keep(new LabelWidget(static_cast<Label&>(c), *this, parent));
                break;
            case ControlKind::Image:
                keep(new ImageWidget(static_cast<Image&>(c), *this, parent));
                break;
            case ControlKind::Line:
                keep(new LineWidget(static_cast<Line&>(c), *this, parent));
                break;
            case ControlKind::TextBox: {
                auto& box = static_cast<TextBox&>(c);
                if (!box.MultiLine)
                    keep(new LineBoxWidget(box, *this, parent));
                else if (box.KeyPress)  // a traffic pane: the model edits it
                    keep(new PaneWidget(box, *this, parent));
                else
                    keep(new EditorWidget(box, *this, parent));
                break;
            }
            case ControlKind::Toolbar:
                keep(new ToolbarWidget(static_cast<Toolbar&>(c), *this, parent));
                break;
            case ControlKind::CheckBox:
                if (static_cast<CheckBox&>(c).Picture.empty())
                    keep(new TickWidget(static_cast<CheckBox&>(c), *this, parent));
                else
                    keep(new SwitchWidget(static_cast<CheckBox&>(c), *this, parent));
                break;
            case ControlKind::CommandButton:
                keep(new ButtonWidget(static_cast<CommandButton&>(c), *this, parent));
                break;
            case ControlKind::OptionButton:
                keep(new OptionWidget(static_cast<OptionButton&>(c), *this, parent));
                break;
            case ControlKind::ComboBox:
                keep(new ComboWidget(static_cast<ComboBox&>(c), *this, parent));
                break;
            case ControlKind::Menu: {
                auto menu = std::make_unique<MenuView>(static_cast<Menu&>(c), *this);
                menus_.emplace_back(static_cast<Menu*>(&c), menu->menu());
                view = menu.get();
                owned_.push_back(std::move(menu));
                break;
            }
            case ControlKind::Timer: {
                auto* timer = new TimerView(static_cast<Timer&>(c), *this);
                timers_.push_back(timer);
                view = timer;
                break;
            }
            default:
                keep(new PlainWidget(c, *this, parent));
                break;
        }
        if (widget) {
            widget->setObjectName(latin1(c.key()));
            widgets_.emplace_back(&c, widget);
        }
        views_.push_back(view);
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

void FormView::sync(bool panes) {
    if (detached_) return;
    syncWindow();
    for (ControlView* v : views_) v->sync(panes);
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
    if (windowStyleOf(form_).splash) {
        setFixedSize(size());
        if (const QScreen* screen = QGuiApplication::primaryScreen()) {
            const QRect area = screen->availableGeometry();
            move(area.center() - QPoint(width() / 2, height() / 2));
        }
    } else {
        move(px(form_.Left), px(form_.Top));
    }
    show();
    if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
        raise();
        activateWindow();
    }
    setFocus();
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
