#include "platform/qt/control_widgets.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QAction>
#include <QIcon>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QStyleOptionFocusRect>
#include <QToolButton>
#include <algorithm>
#include <cmath>
#include <string_view>

#include "platform/control.h"
#include "platform/form.h"
#include "platform/qt/latin1.h"
#include "platform/qt/qt_desktop.h"
#include "platform/qt/window_style.h"

namespace tvl {

namespace {

void setIfChanged(QWidget& w, const Control& c) {
    if (w.isVisibleTo(w.parentWidget()) != c.Visible) w.setVisible(c.Visible);
    if (w.isEnabledTo(w.parentWidget()) != c.Enabled) w.setEnabled(c.Enabled);
    if (w.toolTip() != latin1View(c.ToolTipText)) w.setToolTip(latin1(c.ToolTipText));
    if (!c.AccessibleName.empty() && w.accessibleName() != latin1View(c.AccessibleName))
        w.setAccessibleName(latin1(c.AccessibleName));
}

// A control that a shown caption names is called by it, whole (the label
// may show it elided), where the model gives no name of its own.
void nameByCaption(QWidget& w, const Control& c, const QString& caption) {
    if (c.AccessibleName.empty()) w.setAccessibleName(caption.trimmed());
}

// The look every multi-line box shares.
void setUpTextArea(QPlainTextEdit& box, const Control& model) {
    box.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    box.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    box.setLineWrapMode(QPlainTextEdit::WidgetWidth);
    box.setWordWrapMode(QTextOption::WrapAnywhere);
    box.setContextMenuPolicy(Qt::PreventContextMenu);  // the right button is the program's
    const ControlStyle style = styleOf(model);
    if (style.font) box.setFont(*style.font);
    box.document()->setDocumentMargin(2);
    // A box keeps its white ground and its text's ink when it, or the group
    // holding it, is disabled: traffic stays legible in a pane that takes no keys.
    QPalette pal = box.palette();
    for (QPalette::ColorRole role : {QPalette::Base, QPalette::Text})
        pal.setColor(QPalette::Disabled, role, pal.color(QPalette::Active, role));
    box.setPalette(pal);
}

}  // namespace

int keyAscii(const QKeyEvent& e) {
    const int key = e.key();
    const Qt::KeyboardModifiers mods = e.modifiers();
    if ((mods & Qt::ControlModifier) && !(mods & Qt::AltModifier) && key >= Qt::Key_A &&
        key <= Qt::Key_Z)
        return key - Qt::Key_A + 1;
    switch (key) {
        case Qt::Key_Backspace:
            return 8;
        case Qt::Key_Tab:
            return 9;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return 13;
        case Qt::Key_Escape:
            return 27;
        default:
            break;
    }
    if ((mods & (Qt::ControlModifier | Qt::MetaModifier)) || e.text().size() != 1) return -1;
    const char16_t ch = e.text().at(0).unicode();
    return ch >= 0x20 && ch != 0x7F && ch < 0x100 ? ch : -1;
}

void syncCommon(QWidget& w, const Control& c, const FormView& v, bool sized) {
    const QRect place(v.px(c.Left), v.px(c.Top), v.px(c.Width), v.px(c.Height));
    if (sized && w.geometry() != place) w.setGeometry(place);
    if (!sized && w.pos() != place.topLeft()) w.move(place.topLeft());
    setIfChanged(w, c);
}

bool mouseUp(FormView& view, Control& c, Qt::MouseButton button) {
    if (view.detached()) return true;
    const int b = FormView::buttonOf(button);
    if (b && c.MouseUp) view.desktop().dispatch([&c, b] { c.MouseUp(b); });
    return true;  // a control without a rule takes the button and does nothing
}

// ---- Frame

namespace {
constexpr int kCaptionLeft = 8;  // pixels from the frame's left edge to its caption
}  // namespace

FrameWidget::FrameWidget(Frame& model, FormView& view, QWidget* parent)
    : QWidget(parent), model_(model), view_(view) {
    setAutoFillBackground(false);
    captionText_.setTextFormat(Qt::PlainText);
    const ControlStyle style = styleOf(model);
    if (style.font) setFont(*style.font);
}

void FrameWidget::sync(bool panes) {
    syncCommon(*this, model_, view_);
    // A bordered frame paints all of itself, so what lies below is not drawn
    // again when its caption changes.
    if (testAttribute(Qt::WA_OpaquePaintEvent) != model_.Border)
        setAttribute(Qt::WA_OpaquePaintEvent, model_.Border);
    // A caption carries a byte counter: it goes with the pane text, at the panes' pace.
    if (panes && caption_ != latin1View(model_.Caption)) {
        const qsizetype before = caption_.size();
        caption_ = latin1(model_.Caption);
        nameByCaption(*this, model_, caption_);
        // Only the caption's strip is drawn again, not the pane in the frame.
        // Measuring text is dear: a caption is measured only when it grew (a
        // counter gains a digit now and then); a character's width of slack
        // covers a caption as long as the last but wider.
        const QFontMetrics fm(font());
        if (caption_.size() > before)
            captionWidth_ = std::max(captionWidth_, fm.horizontalAdvance(caption_) + 6);
        update(kCaptionLeft, 0, captionWidth_ + fm.averageCharWidth(), fm.height());
    }
}

void FrameWidget::drawEdge(QPainter& p, qreal mid) {
    const ControlStyle style = styleOf(model_);
    const QColor ground = style.background.value_or(palette().window().color());
    const qreal ratio = devicePixelRatioF();
    const EdgeKey key{ground, mid, model_.Border};
    if (edge_.size() != size() * ratio || edgeKey_ != key) {
        edge_ = QPixmap(size() * ratio);
        edge_.setDevicePixelRatio(ratio);
        edgeKey_ = key;
        // The ground is laid before the painter opens on the pixmap.
        edge_.fill(model_.Border ? ground : QColor(Qt::transparent));
        QPainter e(&edge_);
        e.setRenderHint(QPainter::Antialiasing);
        const QRectF all = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
        if (model_.Border) {
            // An etched edge below the caption's middle.
            const QRectF edge = all.adjusted(2, mid, -2, -2);
            e.setPen(QPen(QColor(255, 255, 255, 150), 1));
            e.drawRoundedRect(edge.translated(1, 1), 3, 3);
            e.setPen(QPen(QColor(0x55, 0x5e, 0x68), 1));
            e.drawRoundedRect(edge, 3, 3);
        } else {
            // A borderless group: a quiet panel behind its controls.
            e.setPen(QColor(0x9a, 0xa4, 0xae));
            e.setBrush(ground);
            e.drawRoundedRect(all, 3, 3);
        }
    }
    p.drawPixmap(0, 0, edge_);
}

void FrameWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const QFontMetrics fm(font());
    drawEdge(p, fm.height() / 2.0);
    // The caption sits on a gap in the edge.
    if (model_.Border && !caption_.isEmpty()) {
        if (captionText_.text() != caption_) {
            captionText_.setText(caption_);
            captionText_.prepare(QTransform(), font());
        }
        captionWidth_ = static_cast<int>(std::ceil(captionText_.size().width())) + 6;
        p.fillRect(QRectF(kCaptionLeft, 0, captionWidth_, fm.height()), edgeKey_.ground);
        p.setPen(model_.Enabled ? QColor(0x10, 0x18, 0x20) : QColor(0x60, 0x60, 0x60));
        p.drawStaticText(QPointF(kCaptionLeft + 3, (fm.height() - captionText_.size().height()) / 2),
                         captionText_);
    }
}

void FrameWidget::mouseReleaseEvent(QMouseEvent* e) {
    if (mouseUp(view_, model_, e->button())) e->accept();
}

// ---- Label

LabelWidget::LabelWidget(Label& model, FormView& view, QWidget* parent)
    : QLabel(parent), model_(model), view_(view) {
    const ControlStyle style = styleOf(model);
    if (style.font) setFont(*style.font);
    if (style.foreground) {
        QPalette pal = palette();
        pal.setColor(QPalette::WindowText, *style.foreground);
        setPalette(pal);
    }
    setAttribute(Qt::WA_TranslucentBackground);
    setContextMenuPolicy(Qt::PreventContextMenu);
}

void LabelWidget::sync(bool) {
    syncCommon(*this, model_, view_, !model_.AutoSize);
    if (caption_ == latin1View(model_.Caption) && shownFor_ == size()) return;
    caption_ = latin1(model_.Caption);
    nameByCaption(*this, model_, caption_);
    if (model_.AutoSize) {
        setText(caption_);
        adjustSize();
        shownFor_ = size();
        return;
    }
    shownFor_ = size();
    // A label with room for two lines wraps its words from its top; on one
    // line a caption wider than the label (a long device path) loses its middle.
    setWordWrap(height() >= 2 * fontMetrics().lineSpacing());
    setAlignment(Qt::AlignLeft | (wordWrap() ? Qt::AlignTop : Qt::AlignVCenter));
    setText(wordWrap()
                ? caption_
                : fontMetrics().elidedText(caption_, Qt::ElideMiddle, contentsRect().width()));
}

void LabelWidget::mouseReleaseEvent(QMouseEvent* e) {
    if (mouseUp(view_, model_, e->button())) e->accept();
}

// ---- Image

ImageWidget::ImageWidget(Image& model, FormView& view, QWidget* parent)
    : QWidget(parent), model_(model), view_(view) {
    setContextMenuPolicy(Qt::PreventContextMenu);
    const ControlStyle style = styleOf(model);
    if (style.cursorFile) {
        QPixmap cursor(view.pictureFile(*style.cursorFile));
        if (!cursor.isNull())
            setCursor(QCursor(cursor, style.cursorHotSpot.x(), style.cursorHotSpot.y()));
    }
}

void ImageWidget::sync(bool) {
    syncCommon(*this, model_, view_);
    if (model_.Picture != file_) {
        file_ = model_.Picture;
        picture_ = file_.empty() ? QPixmap() : QPixmap(view_.pictureFile(file_));
        update();
    }
}

void ImageWidget::paintEvent(QPaintEvent*) {
    if (picture_.isNull()) return;
    QPainter p(this);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    if (model_.Stretch) {
        p.drawPixmap(rect(), picture_);
    } else {
        // A picture keeps its size, scaled only by the screen's dpi, from the top-left corner.
        const double k = view_.px(1500) / 100.0;
        p.drawPixmap(QRectF(0, 0, picture_.width() * k, picture_.height() * k), picture_,
                     QRectF(picture_.rect()));
    }
}

void ImageWidget::mouseReleaseEvent(QMouseEvent* e) {
    e->accept();
    if (view_.detached()) return;
    if (e->button() == Qt::LeftButton && rect().contains(e->position().toPoint()) && model_.Click) {
        view_.desktop().dispatch([this] { model_.Click(); });
        return;  // the click may have unloaded this form
    }
    mouseUp(view_, model_, e->button());
}

// ---- Line

LineWidget::LineWidget(Line& model, FormView& view, QWidget* parent)
    : QWidget(parent), model_(model), view_(view) {
    setAttribute(Qt::WA_TransparentForMouseEvents);  // a line takes no mouse: what lies below does
}

void LineWidget::sync(bool) {
    const int t = std::max(1, model_.BorderWidth);
    const QPointF a(view_.px(model_.X1), view_.px(model_.Y1));
    const QPointF b(view_.px(model_.X2), view_.px(model_.Y2));
    const int half = (t + 1) / 2;
    const QRect box = QRectF(a, b).normalized().toAlignedRect().adjusted(-half, -half, half, half);
    if (isVisibleTo(parentWidget()) != model_.Visible) setVisible(model_.Visible);
    const QPointF from = a - box.topLeft(), to = b - box.topLeft();
    if (geometry() == box && from == from_ && to == to_ && t == thickness_) return;
    setGeometry(box);
    from_ = from;
    to_ = to;
    thickness_ = t;
    update();
}

void LineWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    QColor colour;
    if (model_.SystemColor)
        colour = systemColour(static_cast<int>(model_.BorderColor));
    else
        colour = QColor::fromRgb(model_.BorderColor);
    p.setPen(QPen(colour, thickness_, Qt::SolidLine, thickness_ > 4 ? Qt::FlatCap : Qt::SquareCap));
    p.drawLine(from_, to_);
}

// ---- Text box

PaneWidget::PaneWidget(TextBox& model, FormView& view, QWidget* parent)
    : QPlainTextEdit(parent), model_(model), view_(view) {
    setUpTextArea(*this, model);
    setUndoRedoEnabled(false);
    setAcceptDrops(false);
    setAttribute(Qt::WA_InputMethodEnabled, false);
    // The caret and selection the user moves are the model's.
    auto take = [this] {
        if (copying_ || view_.detached()) return;
        const QTextCursor c = textCursor();
        model_.SelStart = static_cast<std::size_t>(c.selectionStart());
        model_.SelLength = static_cast<std::size_t>(c.selectionEnd() - c.selectionStart());
    };
    connect(this, &QPlainTextEdit::cursorPositionChanged, this, take);
    connect(this, &QPlainTextEdit::selectionChanged, this, take);
}

void PaneWidget::sync(bool panes) {
    syncCommon(*this, model_, view_);
    const bool readOnly = model_.Locked;
    if (isReadOnly() != readOnly) setReadOnly(readOnly);
    if (!panes || revision_ == model_.revision) return;
    revision_ = model_.revision;
    copying_ = true;
    const std::string& text = model_.Text();
    // Only what follows the part the widget already shows is replaced, in one
    // edit: the text is laid out once, where moving a cursor or setPlainText
    // would lay it out at every step.
    const auto kept = static_cast<std::size_t>(
        std::mismatch(shown_.begin(), shown_.end(), text.begin(), text.end()).first -
        shown_.begin());
    QTextCursor edit(document());
    edit.beginEditBlock();
    edit.setPosition(static_cast<int>(kept));
    edit.setPosition(document()->characterCount() - 1, QTextCursor::KeepAnchor);
    edit.insertText(latin1(std::string_view(text).substr(kept)));
    QTextCursor caret(document());
    caret.setPosition(static_cast<int>(std::min(model_.SelStart, text.size())));
    edit.endEditBlock();
    shown_ = text;
    setTextCursor(caret);
    ensureCursorVisible();
    copying_ = false;
}

void PaneWidget::keyPressEvent(QKeyEvent* e) {
    if (view_.detached()) return;
    // Moving the caret is the widget's, and so is copying where a key sends no
    // code (a read-only pane, Ctrl+Insert); every key that edits goes to the
    // model, a Ctrl+letter as its control code.
    const int code = keyAscii(*e);
    const bool moves = e->key() == Qt::Key_Left || e->key() == Qt::Key_Right ||
                       e->key() == Qt::Key_Up || e->key() == Qt::Key_Down ||
                       e->key() == Qt::Key_Home || e->key() == Qt::Key_End ||
                       e->key() == Qt::Key_PageUp || e->key() == Qt::Key_PageDown;
    const bool copies = (model_.Locked || code < 0) &&
                        (e->matches(QKeySequence::Copy) || e->matches(QKeySequence::SelectAll));
    if (moves || copies) return QPlainTextEdit::keyPressEvent(e);
    e->accept();
    if (code < 0) return;
    view_.desktop().dispatch([this, code] { model_.typeKey(code); });
}

void PaneWidget::inputMethodEvent(QInputMethodEvent* e) { e->accept(); }

void PaneWidget::mouseReleaseEvent(QMouseEvent* e) {
    QPlainTextEdit::mouseReleaseEvent(e);
    mouseUp(view_, model_, e->button());
    e->accept();
}

// ---- Boxes the widget edits

EditorWidget::EditorWidget(TextBox& model, FormView& view, QWidget* parent)
    : QPlainTextEdit(parent), model_(model), view_(view) {
    setUpTextArea(*this, model);
    connect(this, &QPlainTextEdit::textChanged, this, [this] {
        if (copying_ || view_.detached()) return;
        shown_ = bytes(toPlainText().replace(QChar(0x240D), QLatin1Char('\r')));
        view_.desktop().dispatch([this, text = shown_] { model_.setText(text); });
    });
}

void EditorWidget::sync(bool) {
    syncCommon(*this, model_, view_);
    if (isReadOnly() != model_.Locked) setReadOnly(model_.Locked);
    if (shown_ == model_.Text()) return;
    shown_ = model_.Text();
    copying_ = true;
    setPlainText(latin1(shown_).replace(QLatin1Char('\r'), QChar(0x240D)));
    copying_ = false;
}

void EditorWidget::mouseReleaseEvent(QMouseEvent* e) {
    QPlainTextEdit::mouseReleaseEvent(e);
    mouseUp(view_, model_, e->button());
    e->accept();
}

LineBoxWidget::LineBoxWidget(TextBox& model, FormView& view, QWidget* parent)
    : QLineEdit(parent), model_(model), view_(view) {
    connect(this, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (!view_.detached())
            view_.desktop().dispatch([this, t = bytes(text)] { model_.setText(t); });
    });
}

void LineBoxWidget::sync(bool) {
    syncCommon(*this, model_, view_);
    if (isReadOnly() != model_.Locked) setReadOnly(model_.Locked);
    if (text() != latin1View(model_.Text())) setText(latin1(model_.Text()));
}

// ---- Graphical check box

SwitchWidget::SwitchWidget(CheckBox& model, FormView& view, QWidget* parent)
    : QWidget(parent), model_(model), view_(view) {
    off_ = QPixmap(view.pictureFile(model.Picture));
    on_ = QPixmap(view.pictureFile(model.DownPicture));
    setContextMenuPolicy(Qt::PreventContextMenu);
    setCursor(Qt::PointingHandCursor);
}

void SwitchWidget::sync(bool) {
    syncCommon(*this, model_, view_);
    if (shown_ != model_.Value) {
        shown_ = model_.Value;
        update();
        QAccessible::State checked;
        checked.checked = true;
        QAccessibleStateChangeEvent told(this, checked);
        QAccessible::updateAccessibility(&told);
    }
}

void SwitchWidget::toggle() {
    if (!view_.detached())
        view_.desktop().dispatch([this] { model_.setValue(model_.Value ? 0 : 1); });
}

void SwitchWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    if (!isEnabled()) p.setOpacity(0.45);
    const QPixmap& picture = model_.Value ? on_ : off_;
    if (picture.isNull()) return;
    const QSizeF size = QSizeF(picture.size()) * (view_.px(1500) / 100.0);
    p.drawPixmap(
        QRectF(QPointF((width() - size.width()) / 2, (height() - size.height()) / 2), size),
        picture, QRectF(picture.rect()));
}

void SwitchWidget::mouseReleaseEvent(QMouseEvent* e) {
    e->accept();
    if (view_.detached()) return;
    if (e->button() == Qt::LeftButton && rect().contains(e->position().toPoint())) return toggle();
    mouseUp(view_, model_, e->button());
}

// ---- Toolbar

ToolbarWidget::ToolbarWidget(Toolbar& model, FormView& view, QWidget* parent)
    : QToolBar(parent), model_(model), view_(view) {
    setMovable(false);
    setFloatable(false);
    setContextMenuPolicy(Qt::PreventContextMenu);
    setIconSize(QSize(view.px(480), view.px(480)));
    setToolButtonStyle(Qt::ToolButtonIconOnly);
    setAutoFillBackground(true);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, systemColour(15));
    setPalette(pal);
    for (int n = 1; n <= model.buttonCount(); ++n) {
        const ToolbarButton& b = model.Buttons(n);
        QAction* a = b.Separator ? addSeparator() : addAction(QString());
        a->setObjectName(QStringLiteral("Buttons(%1)").arg(n));
        if (!b.Separator) {
            connect(a, &QAction::triggered, this, [this, n] {
                if (!view_.detached()) view_.desktop().dispatch([this, n] { model_.click(n); });
            });
            if (QWidget* button = widgetForAction(a)) {
                button->setFixedSize(view.px(585), view.px(570));
                button->setObjectName(
                    QStringLiteral("%1.Buttons(%2)").arg(latin1(model.key())).arg(n));
            }
        }
        actions_.push_back(a);
    }
    shown_.resize(actions_.size());
}

void ToolbarWidget::sync(bool) {
    setIfChanged(*this, model_);
    for (int n = 1; n <= model_.buttonCount(); ++n) {
        const ToolbarButton& b = model_.Buttons(n);
        QAction* a = actions_[n - 1];
        Shown& s = shown_[n - 1];
        if (s.visible != b.Visible) a->setVisible(s.visible = b.Visible);
        if (b.Separator) continue;
        if (s.enabled != b.Enabled) a->setEnabled(s.enabled = b.Enabled);
        if (s.tip != b.ToolTipText) {
            s.tip = b.ToolTipText;
            a->setToolTip(latin1(s.tip));
            a->setText(latin1(b.Key));
            // A picture button is called by its tip, which also says what it does now.
            if (QWidget* button = widgetForAction(a)) button->setAccessibleName(latin1(s.tip));
        }
        if (s.image != b.Image) {
            s.image = b.Image;
            const bool has = b.Image >= 1 && b.Image <= static_cast<int>(model_.ImageList.size());
            a->setIcon(has ? QIcon(view_.pictureFile(model_.ImageList[b.Image - 1])) : QIcon());
        }
    }
}

void ToolbarWidget::mouseReleaseEvent(QMouseEvent* e) {
    if (mouseUp(view_, model_, e->button())) e->accept();
}

// ---- Dialog controls

ButtonWidget::ButtonWidget(CommandButton& model, FormView& view, QWidget* parent)
    : QPushButton(parent), model_(model), view_(view) {
    setAutoDefault(false);
    connect(this, &QPushButton::clicked, this, [this] {
        if (!view_.detached() && model_.Click) view_.desktop().dispatch([this] { model_.Click(); });
    });
}

void ButtonWidget::sync(bool) {
    syncCommon(*this, model_, view_);
    if (text() != latin1View(model_.Caption)) setText(latin1(model_.Caption));
    // A picture button shows its picture over the whole face.
    if (pictureShown_ != model_.Picture) {
        pictureShown_ = model_.Picture;
        const QPixmap picture =
            pictureShown_.empty() ? QPixmap() : QPixmap(view_.pictureFile(pictureShown_));
        setIcon(QIcon(picture));
        setIconSize(picture.size());
        setFlat(!picture.isNull());
    }
    if (isDefault() != model_.Default) setDefault(model_.Default);
}

void ButtonWidget::paintEvent(QPaintEvent* e) {
    QPushButton::paintEvent(e);
    // A picture button has no bevel, where the style marks the focus: a key
    // would press a button nobody sees as chosen. It gets the style's focus frame.
    if (!hasFocus() || !isFlat()) return;
    QPainter p(this);
    QStyleOptionFocusRect frame;
    frame.initFrom(this);
    frame.rect = rect().adjusted(1, 1, -1, -1);
    frame.backgroundColor = palette().color(QPalette::Button);
    style()->drawPrimitive(QStyle::PE_FrameFocusRect, &frame, &p, this);
}

OptionWidget::OptionWidget(OptionButton& model, FormView& view, QWidget* parent)
    : QRadioButton(parent), model_(model), view_(view) {
    setAutoExclusive(false);  // the model clears the others of its group
    connect(this, &QRadioButton::clicked, this, [this] {
        if (!view_.detached()) view_.desktop().dispatch([this] { model_.choose(); });
    });
}

void OptionWidget::sync(bool) {
    syncCommon(*this, model_, view_);
    if (text() != latin1View(model_.Caption)) setText(latin1(model_.Caption));
    if (isChecked() != model_.Value) setChecked(model_.Value);
}

TickWidget::TickWidget(CheckBox& model, FormView& view, QWidget* parent)
    : QCheckBox(parent), model_(model), view_(view) {
    connect(this, &QCheckBox::clicked, this, [this] {
        if (!view_.detached())
            view_.desktop().dispatch([this] { model_.setValue(model_.Value ? 0 : 1); });
    });
}

void TickWidget::sync(bool) {
    syncCommon(*this, model_, view_);
    if (isChecked() != (model_.Value != 0)) setChecked(model_.Value != 0);
}

ComboWidget::ComboWidget(ComboBox& model, FormView& view, QWidget* parent)
    : QComboBox(parent), model_(model), view_(view) {
    // On Linux Qt tells a combo box's text as its name: a screen reader learns
    // what the box is from the label it is labelled by.
    name_ = new QLabel(parent);
    name_->setBuddy(this);
    name_->setFixedSize(0, 0);
    name_->hide();
    if (model_.Style == ComboBox::kDropdownList) {
        // A pick runs the model's Click; the model's Text stands in the box until one.
        connect(this, &QComboBox::activated, this, [this](int index) {
            if (copying_ || view_.detached()) return;
            view_.desktop().dispatch([this, index] { model_.pick(index); });
        });
        return;
    }
    setEditable(true);
    setInsertPolicy(QComboBox::NoInsert);
    connect(this, &QComboBox::currentTextChanged, this, [this](const QString& text) {
        if (copying_ || view_.detached()) return;
        view_.desktop().dispatch(
            [this, t = text.toLatin1().toStdString()] { model_.put("Text", t); });
    });
}

void ComboWidget::sync(bool) {
    syncCommon(*this, model_, view_);
    if (name_->text() != latin1View(model_.AccessibleName))
        name_->setText(latin1(model_.AccessibleName));
    copying_ = true;
    if (list_ != model_.List) {
        list_ = model_.List;
        clear();
        for (const auto& item : list_) addItem(latin1(item));
        // A list to pick from shows its lines whole, however narrow the box.
        if (model_.Style == ComboBox::kDropdownList)
            view()->setMinimumWidth(view()->sizeHintForColumn(0) + 24);
    }
    if (model_.Style == ComboBox::kDropdownList) {
        setPlaceholderText(latin1(model_.Text));
        if (currentIndex() != model_.ListIndex) setCurrentIndex(model_.ListIndex);
    } else if (currentText() != latin1View(model_.Text)) {
        setEditText(latin1(model_.Text));
    }
    copying_ = false;
}

// ---- Menus

MenuView::MenuView(Menu& model, FormView& view) : model_(model), menu_(new QMenu(&view)) {
    menu_->setObjectName(latin1(model.key()));
    for (Menu* entry : model.entries) {
        // A separator has no text: a style draws a text on one as a section heading.
        QAction* a = entry->Caption == "-" ? menu_->addSeparator()
                                           : menu_->addAction(latin1(entry->Caption));
        a->setObjectName(latin1(entry->key()));
        a->setData(QVariant::fromValue(static_cast<void*>(entry)));
        entries_.emplace_back(entry, a);
    }
}

void MenuView::sync(bool) {
    for (auto& [entry, a] : entries_) {
        if (a->isVisible() != entry->Visible) a->setVisible(entry->Visible);
        if (a->isEnabled() != entry->Enabled) a->setEnabled(entry->Enabled);
        if (!a->isSeparator() && a->text() != latin1View(entry->Caption))
            a->setText(latin1(entry->Caption));
    }
}

// ---- Timer

TimerView::TimerView(Timer& model, FormView& view)
    : QObject(&view), view_(view), driver_(model, [&view] { return view.desktop().tickHasWork(); }) {
    setObjectName(latin1(model.key()));
    clock_.setSingleShot(true);
    connect(&clock_, &QTimer::timeout, this, [this] { slice(); });
}

void TimerView::slice() {
    if (view_.detached()) return;
    TimerDriver::Next next = TimerDriver::Next::Stopped;
    QtDesktop& desktop = view_.desktop();
    desktop.dispatch([&] { next = driver_.runSlice(); }, QtDesktop::Copy::Paced);
    if (view_.detached()) return;
    if (next == TimerDriver::Next::Now)
        clock_.start(0);
    else if (next == TimerDriver::Next::Stopped)
        desktop.syncAll(true);  // a Stop among the ticks shows at once
}

void TimerView::sync(bool) {
    // An enabled timer with work runs at once; a disabled one, or one with
    // nothing to do, waits for bytes or for an event that gives it work.
    if (!clock_.isActive() && driver_.due()) clock_.start(0);
}

void TimerView::readable() {
    if (driver_.readable() && !clock_.isActive()) clock_.start(0);
}

}  // namespace tvl
