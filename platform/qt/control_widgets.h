// The widgets of the control models, one class per kind. Each copies its
// model's state in sync() (comparing first, setting only what changed) and
// turns its own events into the model's events through the desktop. None of
// them changes the model by itself: a text box's editing is the model's.
#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStaticText>
#include <QTimer>
#include <QToolBar>
#include <QWidget>
#include <cstdint>
#include <vector>

#include "platform/qt/form_view.h"

class QAction;
class QMenu;

namespace tvl {

class CheckBox;
class ComboBox;
class CommandButton;
class OptionButton;
class Frame;
class Image;
class Label;
class Line;
class TextBox;
class Timer;
class Toolbar;

// The character code a key gives a KeyPress handler: its character (0x20 to
// 0xFF), Ctrl+A to Ctrl+Z 1 to 26, Backspace 8, Tab 9, Enter 13, Esc 27; -1
// for a key that gives none (a move, a function key, a modifier alone).
int keyAscii(const QKeyEvent& key);

// Places a widget on its model's Left, Top, Width, Height and copies
// Visible, Enabled and ToolTipText.
void syncCommon(QWidget& widget, const Control& control, const FormView& view, bool sized = true);

// Raises the model's MouseUp for a button released over this control's
// widget; true when the widget took the event.
bool mouseUp(FormView& view, Control& control, Qt::MouseButton button);

class FrameWidget : public QWidget, public ControlView {
public:
    FrameWidget(Frame& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;
    const QString& caption() const { return caption_; }

protected:
    void paintEvent(QPaintEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    void drawEdge(QPainter& p, qreal mid);

    Frame& model_;
    FormView& view_;
    QString caption_;
    QStaticText captionText_;  // the caption laid out once for its paints
    int captionWidth_ = 0;     // of the caption strip, as last painted
    // The etched edge, or a borderless group's panel, drawn once for a size:
    // a counter in the caption redraws its strip many times a second, and
    // stroking a rounded edge is dear.
    QPixmap edge_;
    struct EdgeKey {
        QColor ground;
        qreal mid = 0;  // the caption's middle, where the edge runs
        bool border = false;
        bool operator==(const EdgeKey&) const = default;
    } edgeKey_;
};

class LabelWidget : public QLabel, public ControlView {
public:
    LabelWidget(Label& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;
    // The whole caption; the label may show it with its middle elided.
    const QString& caption() const { return caption_; }

protected:
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    Label& model_;
    FormView& view_;
    QString caption_;
    QSize shownFor_;  // the size the shown text was made for
};

class ImageWidget : public QWidget, public ControlView {
public:
    ImageWidget(Image& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;

protected:
    void paintEvent(QPaintEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    Image& model_;
    FormView& view_;
    std::string file_;
    QPixmap picture_;
};

class LineWidget : public QWidget, public ControlView {
public:
    LineWidget(Line& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;

protected:
    void paintEvent(QPaintEvent*) override;

private:
    Line& model_;
    FormView& view_;
    QPointF from_, to_;  // within the widget
    int thickness_ = 1;
};

// A traffic pane: the program writes into it while the user types, so the
// model does all editing; the widget sends keys and shows the text.
class PaneWidget : public QPlainTextEdit, public ControlView {
public:
    PaneWidget(TextBox& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;

protected:
    void keyPressEvent(QKeyEvent*) override;
    void inputMethodEvent(QInputMethodEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;
    bool canInsertFromMimeData(const QMimeData*) const override { return false; }
    void insertFromMimeData(const QMimeData*) override {}

private:
    TextBox& model_;
    FormView& view_;
    std::uint64_t revision_ = ~std::uint64_t{0};
    std::string shown_;  // the text last copied into the widget
    bool copying_ = false;
};

// A multi-line box the user edits as on any desktop (selection, clipboard,
// undo, the mouse): the widget edits and puts each result into the model,
// which runs Change. A CR shows as the sign U+240D, so every byte comes back.
class EditorWidget : public QPlainTextEdit, public ControlView {
public:
    EditorWidget(TextBox& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;

protected:
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    TextBox& model_;
    FormView& view_;
    std::string shown_;  // the model's text as the widget last had it
    bool copying_ = false;
};

// A single-line box: edited as EditorWidget is; Enter and Esc go on to the
// window, which presses its default or cancel button.
class LineBoxWidget : public QLineEdit, public ControlView {
public:
    LineBoxWidget(TextBox& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;

private:
    TextBox& model_;
    FormView& view_;
};

// A graphical check box: its off or on picture; a click toggles the model's Value.
class SwitchWidget : public QWidget, public ControlView {
public:
    SwitchWidget(CheckBox& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;
    bool on() const { return shown_ == 1; }  // as drawn
    void toggle();                           // the user's click

protected:
    void paintEvent(QPaintEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    CheckBox& model_;
    FormView& view_;
    int shown_ = -1;
    QPixmap off_, on_;
};

class ToolbarWidget : public QToolBar, public ControlView {
public:
    ToolbarWidget(Toolbar& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;
    // The action of Buttons(n), counted from 1.
    QAction* action(int n) const { return actions_.at(n - 1); }

protected:
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    struct Shown {
        bool enabled = true, visible = true;
        int image = -1;
        std::string tip;
    };
    Toolbar& model_;
    FormView& view_;
    std::vector<QAction*> actions_;
    std::vector<Shown> shown_;
};

// The plain controls of dialogs: a button, an option, a tick box, a combo box.
// Each sends the user's change to its model, which runs the handlers.
class ButtonWidget : public QPushButton, public ControlView {
public:
    ButtonWidget(CommandButton& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;

protected:
    void paintEvent(QPaintEvent*) override;

private:
    CommandButton& model_;
    FormView& view_;
    std::string pictureShown_;  // the picture file on the face, to load it once
};

class OptionWidget : public QRadioButton, public ControlView {
public:
    OptionWidget(OptionButton& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;

protected:
    // The whole rectangle of the control takes the click, not only its text.
    bool hitButton(const QPoint& pos) const override { return rect().contains(pos); }

private:
    OptionButton& model_;
    FormView& view_;
};

class TickWidget : public QCheckBox, public ControlView {
public:
    TickWidget(CheckBox& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;

protected:
    bool hitButton(const QPoint& pos) const override { return rect().contains(pos); }

private:
    CheckBox& model_;
    FormView& view_;
};

class ComboWidget : public QComboBox, public ControlView {
public:
    ComboWidget(ComboBox& model, FormView& view, QWidget* parent);
    void sync(bool panes) override;

private:
    ComboBox& model_;
    FormView& view_;
    QLabel* name_;  // hidden, the box's buddy: it says what the box is
    std::vector<std::string> list_;
    bool copying_ = false;
};

// A top-level menu and its entries: a popup raised only by PopupMenu.
class MenuView : public ControlView {
public:
    MenuView(Menu& model, FormView& view);
    void sync(bool panes) override;
    QMenu* menu() const { return menu_; }

private:
    Menu& model_;
    QMenu* menu_;
    std::vector<std::pair<Menu*, QAction*>> entries_;
};

// A model Timer driven by its TimerDriver: a zero-time Qt timer runs each
// slice once the event loop has had its turn.
class TimerView : public QObject, public ControlView {
public:
    TimerView(Timer& model, FormView& view);
    void sync(bool panes) override;
    void readable();
    TimerDriver& driver() { return driver_; }

private:
    void slice();
    FormView& view_;
    TimerDriver driver_;
    QTimer clock_;
};

}  // namespace tvl
