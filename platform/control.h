// The control model: plain objects holding the properties the program uses,
// with the events it handles. A window is a Form holding its controls; the Qt
// layer is only a view of these objects.
//
// Every control is registered on its form by its name and index
// ("txtCommunication(3)"), and its properties can be read and put by name
// (get/put), which is how scenarios and the view address them. A put is the
// user's change: a TextBox Text put runs Change before it returns, an option
// or check box Value put runs Click.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tvl {

class Form;

// A property value: Boolean, number or text.
using PropertyValue = std::variant<bool, double, std::string>;

enum class ControlKind {
    Label,
    Frame,
    Image,
    Line,
    TextBox,
    CheckBox,
    OptionButton,
    ComboBox,
    CommandButton,
    Toolbar,
    Menu,
    Timer
};

class Control {
public:
    Control(Form& form, Control* container, std::string name, int index);
    virtual ~Control() = default;
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

    virtual ControlKind kind() const = 0;
    const std::string& name() const { return name_; }
    int index() const { return index_; }  // -1 when not in a control array
    std::string key() const;              // "txtCommunication(3)" or "tmrTarvoline"
    Form& form() const { return form_; }
    Control* container() const { return container_; }

    // Read and put a property by name, matched without regard to case.
    // put returns false for a property this control does not have.
    virtual std::optional<PropertyValue> get(std::string_view property) const;
    virtual bool put(std::string_view property, const PropertyValue& value);

    bool Enabled = true;
    bool Visible = true;
    float Left = 0, Top = 0, Width = 0, Height = 0;  // twips, from the container
    std::string ToolTipText;
    // What a screen reader calls the control where nothing it shows (a
    // caption, a label's text) names it: a picture, a box, a lamp.
    std::string AccessibleName;

    std::function<void(int button)> MouseUp;  // 1 left, 2 right, 4 middle

private:
    Form& form_;
    Control* container_;
    std::string name_;
    int index_;
};

class Label : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::Label; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;
    std::string Caption;
    bool AutoSize = false;
};

class Frame : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::Frame; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;
    std::string Caption;
    bool Border = true;
};

class Image : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::Image; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;
    std::string Picture;  // file name in the program's folder
    bool Stretch = false;
    std::function<void()> Click;
};

class Line : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::Line; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;
    float X1 = 0, Y1 = 0, X2 = 0, Y2 = 0;
    int BorderWidth = 1;       // pixels
    unsigned BorderColor = 0;  // 0xRRGGBB, or a system colour below
    bool SystemColor = false;  // BorderColor is a system colour number
};

class TextBox : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::TextBox; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;

    const std::string& Text() const { return text_; }
    // Puts the text and runs Change before returning. The caret goes to the end.
    void setText(std::string text);
    // Adds one character at the end and runs Change: the same outcome as reading
    // the whole text, adding c and writing it back, without the copies.
    void append(char c);
    // Replaces the last n characters by with and runs Change: the same outcome
    // as writing the whole rewritten text.
    void replaceEnd(std::size_t n, std::string_view with);
    // Adds text at the end, after emptying the box where `fromEmpty`, as
    // `changes` changes whose Change handling the caller has done itself,
    // without running Change: for a writer that knows what its handler would
    // leave.
    void appendSettled(std::string_view text, unsigned changes, bool fromEmpty = false) {
        if (fromEmpty) text_.clear();
        if (text.size() == 1)
            text_.push_back(text[0]);  // the common case, a byte that stays as it came
        else
            text_.append(text);
        SelStart = text_.size();
        SelLength = 0;
        revision += changes;
    }
    // The user types a key: KeyPress, then the box's own editing at the caret
    // (a printable key is inserted, 8 deletes before the caret, 13 inserts CR);
    // a key typed over a selection replaces it. A box that appends keys adds
    // every key at its end as its byte, wherever the caret or selection
    // stands. A box that is disabled, hidden or locked takes no key.
    void typeKey(int code);

    std::size_t SelStart = 0;   // the caret, or the start of the selection
    std::size_t SelLength = 0;  // characters selected from SelStart
    bool Locked = false;        // read-only to the user
    bool MultiLine = true;
    bool AppendsKeys = false;   // a traffic pane: typed keys join the traffic at its end
    std::uint64_t revision = 0;  // rises with every change of the text

    std::function<void()> Change;
    std::function<void(int& keyAscii)> KeyPress;

private:
    void changed();
    std::string text_;
};

class CheckBox : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::CheckBox; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;
    int Value = 0;                     // 0 unticked, 1 ticked
    void setValue(int value);          // runs Click when it changes
    std::string Picture, DownPicture;  // graphical style: off and on picture
    std::function<void()> Click;
};

class OptionButton : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::OptionButton; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;
    bool Value = false;
    // Switches this option on, clears the others of its group (the options in
    // the same container) and runs Click.
    void choose();
    std::string Caption;
    std::function<void()> Click;
};

class ComboBox : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::ComboBox; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;
    std::string Text;
    std::vector<std::string> List;
    // kDropdownCombo takes typed text; kDropdownList is a list to pick from,
    // showing Text until an item is picked.
    static constexpr int kDropdownCombo = 0, kDropdownList = 2;
    int Style = kDropdownCombo;
    int ListIndex = -1;  // the item picked, -1 for none
    // The user picks item `index` of List: ListIndex and Text take it, then Click runs.
    void pick(int index);
    std::function<void()> Click;
};

class CommandButton : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::CommandButton; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;
    std::string Caption;
    std::string Picture;
    bool Default = false;  // Enter presses it
    bool Cancel = false;   // Esc presses it
    std::function<void()> Click;
};

struct ToolbarButton {
    std::string Key;
    std::string ToolTipText;
    int Image = 0;  // 1-based into the toolbar's image list; 0 none
    bool Enabled = true;
    bool Visible = true;
    bool Separator = false;
    std::optional<PropertyValue> get(std::string_view property) const;
    bool put(std::string_view property, const PropertyValue& value);
};

class Toolbar : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::Toolbar; }
    // Buttons(n), counted from 1. Throws std::out_of_range for a bad n.
    ToolbarButton& Buttons(int n);
    const ToolbarButton& Buttons(int n) const;
    int buttonCount() const { return static_cast<int>(buttons.size()); }
    std::vector<ToolbarButton> buttons;
    std::vector<std::string> ImageList;  // picture files, image 1 first
    // A click on an enabled, visible button that is not a separator.
    void click(int n);
    std::function<void(ToolbarButton& button)> ButtonClick;
};

class Menu : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::Menu; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;
    std::string Caption;  // "-" is a separator
    std::vector<Menu*> entries;
    std::function<void()> Click;
};

class Timer : public Control {
public:
    using Control::Control;
    ControlKind kind() const override { return ControlKind::Timer; }
    std::optional<PropertyValue> get(std::string_view property) const override;
    bool put(std::string_view property, const PropertyValue& value) override;
    int Interval = 0;  // milliseconds
    std::function<void()> Tick;
    // Optional: up to n ticks at once, with the outcome of as many Tick calls
    // made back to back while the timer stays enabled; returns how many ran.
    std::function<int(int n)> Ticks;
    // Runs one tick if enabled; the platform calls this.
    void fire() {
        if (Enabled && Tick) Tick();
    }
    // Runs up to n ticks if enabled (one where there is no Ticks); how many ran.
    int fire(int n) {
        if (!Enabled) return 0;
        if (Ticks) return Ticks(n);
        fire();
        return 1;
    }
};

// Sets a control's place and size in twips; returns it, for chaining on add<>().
template <class T>
T* place(T* control, float left, float top, float width, float height) {
    control->Left = left;
    control->Top = top;
    control->Width = width;
    control->Height = height;
    return control;
}

// Case-blind comparison of names.
bool sameName(std::string_view a, std::string_view b);

}  // namespace tvl
